// Finds the first free hour of some people and a room, and draws their day.
//
//   free-room --day 2025-03-10 --people ann@example.com,bob@example.com --rooms lighthouse@example.com --svg day.svg
//
// Without arguments: five people of the simulator, on a day of theirs, with the rooms of its first list.

#include <algorithm>
#include <fstream>
#include <iostream>

#include "ews/VelmoreEWS.h"
#include "platform/common/uVqDateTimeUtils.h"
#include "platform/xml/uVqXMLUtils.h"
#include "support/ExampleServer.h"

using namespace velmore;

namespace {

constexpr std::int32_t kInterval = 30;         // minutes
constexpr int kFirst = 8 * 2, kLast = 18 * 2;  // when a meeting may begin and end, in intervals from midnight
constexpr int kMeeting = 60 / kInterval;       // an hour

struct TPlan {
  std::vector<TVqEWSMailboxData> Everybody;  // people first, then rooms
  std::vector<TVqRef<IVqEWSUserAvailability>> Calendars;
  std::size_t People = 0;
};

bool IsFree(IVqEWSUserAvailability& calendar, int start) {
  const std::string digits = calendar.GetMergedFreeBusy().utf8();
  if (calendar.GetHasError() || digits.size() < static_cast<std::size_t>(start + kMeeting)) return false;
  return std::all_of(digits.begin() + start, digits.begin() + start + kMeeting, [](char c) { return c == '0'; });
}

/// The position of a room that is free, and the interval with which the hour begins; -1 when there is none.
std::pair<int, int> FirstFreeHour(const TPlan& plan) {
  for (int start = kFirst; start + kMeeting <= kLast; ++start) {
    bool all = true;
    for (std::size_t i = 0; i < plan.People; ++i) all = all && IsFree(*plan.Calendars[i], start);
    for (std::size_t i = plan.People; all && i < plan.Calendars.size(); ++i) {
      if (IsFree(*plan.Calendars[i], start)) return {static_cast<int>(i), start};
    }
  }
  return {-1, -1};
}

std::string Clock(int interval) {
  return Format("%.2d:%.2d", {interval / 2, interval % 2 * 30}).utf8();
}

/// A line for each calendar, a bar for each entry, and a frame around the hour.
void Draw(const TPlan& plan, TDateTime day, int room, int start, std::ostream& out) {
  constexpr int kLeft = 210, kHour = 60, kRow = 30;
  const auto x = [](double hours) { return std::to_string(static_cast<int>(kLeft + (hours - 7) * kHour)); };
  const int height = 60 + kRow * static_cast<int>(plan.Everybody.size());
  out << "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" << kLeft + 12 * kHour + 20 << "\" height=\"" << height
      << "\" font-family=\"sans-serif\" font-size=\"13\">\n<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n";
  for (int hour = 7; hour <= 19; ++hour) {
    out << "<line x1=\"" << x(hour) << "\" x2=\"" << x(hour) << "\" y1=\"30\" y2=\"" << height - 20
        << "\" stroke=\"#ddd\"/><text x=\"" << x(hour) << "\" y=\"22\" text-anchor=\"middle\">" << hour << "</text>\n";
  }
  for (std::size_t i = 0; i < plan.Calendars.size(); ++i) {
    const int y = 40 + kRow * static_cast<int>(i);
    out << "<text x=\"10\" y=\"" << y + 15 << "\">" << VqEscapeXML(plan.Everybody[i].Email) << "</text>\n";
    for (const TVqEWSCalendarEvent& event : plan.Calendars[i]->GetEvents()) {
      const double from = std::max(7.0, double(event.GetStartTime() - day) * 24);
      const double to = std::min(19.0, double(event.GetEndTime() - day) * 24);
      if (to <= from) continue;
      static constexpr const char* kColours[] = {"#e8f0e4", "#bcd3ef", "#5b8fd6", "#8a5bb5", "#9bc7b5", "#eee"};
      out << "<rect x=\"" << x(from) << "\" y=\"" << y << "\" width=\"" << static_cast<int>((to - from) * kHour)
          << "\" height=\"22\" rx=\"3\" fill=\"" << kColours[event.GetBusyType()] << "\"><title>"
          << VqEscapeXML(event.GetSubject()) << "</title></rect>\n";
    }
    if (static_cast<int>(i) < static_cast<int>(plan.People) || static_cast<int>(i) == room)
      out << (start < 0 ? ""
                        : "<rect x=\"" + x(start / 2.0) + "\" y=\"" + std::to_string(y - 2) + "\" width=\"" +
                              std::to_string(kHour) +
                              "\" height=\"26\" fill=\"none\" stroke=\"#d33\" "
                              "stroke-width=\"2\"/>\n");
  }
  out << "</svg>\n";
}

std::vector<string> Split(const std::string& text) {
  std::vector<string> pieces = VqTokenize(text, u',');
  std::erase_if(pieces, [](const string& piece) { return piece.empty(); });
  return pieces;
}

int Run(const ExampleServer& server) {
  TVqEWSServiceSession session;
  server.Configure(session);
  session.SetStrictSchema(true);  // so that the times that servers tell are UTC
  session.SetActive(true);
  const auto store = session.OpenDefaultMsgStore();

  TPlan plan;
  for (const string& person : Split(server.Option(
           "people", "alice@example.com,bob@example.com,carol@example.com,dan@example.com,eve@example.com")))
    plan.Everybody.push_back({person, atRequired, false});
  plan.People = plan.Everybody.size();
  string list = server.Option("rooms");
  if (list.empty()) {
    const auto lists = store->GetRoomLists();
    if (lists->Count() == 0) throw EVqException("The organisation has no list of rooms.");
    list = lists->GetItem(0)->GetEmailAddress();
  }
  const auto rooms = store->GetRooms(list);
  for (std::int32_t i = 0; i < rooms->Count(); ++i)
    plan.Everybody.push_back({rooms->GetItem(i)->GetEmailAddress(), atRoom, false});

  const TDateTime day = VqXMLToDate(server.Option("day", "2025-03-10"));
  plan.Calendars = session.GetUserAvailibility(plan.Everybody, day, day + 1, kInterval, fbvtDetailedMerged);
  for (const auto& calendar : plan.Calendars) {
    if (calendar->GetHasError()) std::cerr << calendar->GetEMail() << ": " << calendar->GetError() << '\n';
  }

  const auto [room, start] = FirstFreeHour(plan);
  if (const std::string file = server.Option("svg"); !file.empty()) {
    std::ofstream out(file);
    Draw(plan, day, room, start, out);
    if (!out.flush()) throw EVqException("The drawing cannot be written.");
  }
  if (start < 0) {
    std::cout << "There is no hour at which all of them and a room are free.\n";
    return 1;
  }
  std::cout << Clock(start) << " to " << Clock(start + kMeeting) << " UTC, in "
            << rooms->GetItem(room - static_cast<int>(plan.People))->GetName() << ".\n";
  return 0;
}

}  // namespace

int main(int argc, char** argv) try {
  const ExampleServer server(
      argc, argv,
      "free-room: the first free hour of some people and a room\n"
      "  --people A,B      their addresses\n  --rooms LIST      address of a list of rooms; the first one if left out\n"
      "  --day YYYY-MM-DD  the day, in UTC\n  --svg FILE        draws the day");
  return Run(server);
} catch (const std::exception& failure) {
  std::cerr << failure.what() << '\n';
  return 1;
}
