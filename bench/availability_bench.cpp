// Free and busy times of 100 mailboxes with 1,000 entries each, read into objects, beside the bare parse of the same
// answer. Both take turns in one run. Ends in failure when reading costs more than 3 times the parse.

#include <time.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include <pugixml.hpp>

#include "ews/model/uVqEWSAvailability.h"
#include "platform/soap/uVqSOAPTypes.h"

namespace {

constexpr double kMost = 3;
constexpr int kMailboxes = 100, kEvents = 1000, kRounds = 11;

std::string Answer() {
  std::string text =
      "<s:Envelope xmlns:s=\"http://schemas.xmlsoap.org/soap/envelope/\"><s:Body><GetUserAvailabilityResponse "
      "xmlns=\"http://schemas.microsoft.com/exchange/services/2006/messages\"><FreeBusyResponseArray>";
  for (int mailbox = 0; mailbox < kMailboxes; ++mailbox) {
    text +=
        "<FreeBusyResponse><ResponseMessage ResponseClass=\"Success\"><ResponseCode>NoError</ResponseCode>"
        "</ResponseMessage><FreeBusyView><FreeBusyViewType "
        "xmlns=\"http://schemas.microsoft.com/exchange/services/2006/types\">Detailed</FreeBusyViewType>"
        "<CalendarEventArray xmlns=\"http://schemas.microsoft.com/exchange/services/2006/types\">";
    for (int event = 0; event < kEvents; ++event) {
      char line[600];
      std::snprintf(line, sizeof line,
                    "<CalendarEvent><StartTime>2026-%02d-%02dT%02d:00:00</StartTime><EndTime>2026-%02d-%02dT%02d:30:00"
                    "</EndTime><BusyType>Busy</BusyType><CalendarEventDetails><ID>00000000%024d</ID><Subject>Meeting "
                    "number %d</Subject><Location>Room %d</Location><IsMeeting>true</IsMeeting><IsRecurring>false"
                    "</IsRecurring><IsException>false</IsException><IsReminderSet>true</IsReminderSet><IsPrivate>false"
                    "</IsPrivate></CalendarEventDetails></CalendarEvent>",
                    event % 12 + 1, event % 28 + 1, event % 24, event % 12 + 1, event % 28 + 1, event % 24, event,
                    event, event % 7);
      text += line;
    }
    text += "</CalendarEventArray></FreeBusyView></FreeBusyResponse>";
  }
  return text + "</FreeBusyResponseArray></GetUserAvailabilityResponse></s:Body></s:Envelope>";
}

double Now() {
  timespec time{};
  ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

double Median(std::vector<double> values) {
  std::nth_element(values.begin(), values.begin() + values.size() / 2, values.end());
  return values[values.size() / 2];
}

}  // namespace

int main() {
  const std::string answer = Answer();
  std::vector<double> bare, parse, read;
  for (int round = 0; round < kRounds; ++round) {
    {
      std::string copy = answer;
      const double start = Now();
      pugi::xml_document document;
      if (!document.load_buffer_inplace(copy.data(), copy.size())) return 2;
      bare.push_back(Now() - start);
    }
    std::string copy = answer;
    const double start = Now();
    const auto response = velmore::MakeRef<velmore::TVqSOAPResponse>(std::move(copy), "m:GetUserAvailabilityResponse");
    const double parsed = Now();
    std::size_t events = 0;
    std::vector<velmore::TVqRef<velmore::IVqEWSUserAvailability>> results;
    for (const velmore::IVqDOMElement& each :
         response->GetResponse().CreateElementList("FreeBusyResponseArray/FreeBusyResponse", velmore::kSelectQuiet)) {
      results.push_back(velmore::MakeRef<velmore::TVqEWSUserAvailability>("a@example.com", each));
      events += results.back()->GetEvents().size();
    }
    const double end = Now();
    if (events != std::size_t{kMailboxes} * kEvents) return 2;
    parse.push_back(parsed - start);
    read.push_back(end - parsed);
  }
  const double ratio = Median(read) / Median(parse);
  std::printf("%d mailboxes with %d entries, %zu MB: bare parser %.0f ms, parse %.0f ms, read into objects %.0f ms\n",
              kMailboxes, kEvents, answer.size() >> 20, Median(bare) * 1e3, Median(parse) * 1e3, Median(read) * 1e3);
  std::printf("reading costs %.2f times the parse (at most %.0f)\n", ratio, kMost);
  return ratio <= kMost ? 0 : 1;
}
