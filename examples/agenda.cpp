// A week of several calendars, as text and as a page of hours that a browser shows.
//
//   agenda --from 2025-03-03 --zone "W. Europe Standard Time" --svg week.svg bob@example.com

#include <algorithm>
#include <fstream>
#include <iomanip>
#include <iostream>

#include "ews/VelmoreEWS.h"
#include "ews/schema/uVqEWSPropsFLD.h"
#include "platform/common/uVqDateTimeUtils.h"
#include "platform/os/uVqTimeZone.h"
#include "platform/xml/uVqXMLUtils.h"
#include "support/ExampleServer.h"

using namespace velmore;

namespace {

constexpr std::int32_t kDays = 7;
constexpr const char* kWeekDays[] = {"Sat", "Sun", "Mon", "Tue",
                                     "Wed", "Thu", "Fri"};  // 30 December 1899 was a Saturday

struct TEntry {
  TDateTime Start, End;  // as clocks of the zone show them
  string Subject, Location;
  bool WholeDay;
  std::size_t Calendar;  // which one it is from
};

class TZone {
 public:
  explicit TZone(const string& windowsId) : FName(VqIanaTimeZoneOf(windowsId)) {
    if (FName.empty()) throw EVqException("\"" + windowsId + "\" is no time zone.");
  }
  TDateTime Shown(TDateTime utc) const { return utc + VqUtcOffsetMinutes(FName, utc) / 1440.0; }
  TDateTime Utc(TDateTime shown) const { return VqUtcOfLocalTime(FName, shown); }

 private:
  string FName;
};

/// What the calendar has between two points in time, occurrences of series included: one request.
void Read(IVqEWSMsgStore& store, const string& mailbox, std::size_t number, TDateTime from, const TZone& zone,
          std::vector<TEntry>& entries) {
  auto calendar = Supports<IVqEWSCalendarFolder>(store.GetFolder(dfincalendar, mailbox));
  auto view = calendar->GetCalendarView(zone.Utc(from), zone.Utc(from + kDays), 1000);
  for (const TVqEWSFieldDef* field :
       {&FLD_ITEM_SUBJECT, &FLD_CALENDAR_START, &FLD_CALENDAR_END, &FLD_CALENDAR_LOCATION, &FLD_CALENDAR_ISALLDAYEVENT})
    view->GetFields().Add(*field);
  for (view->Open(); !view->Eof(); view->Next()) {
    entries.push_back({zone.Shown(view->FieldByName(FLD_CALENDAR_START).GetAsDateTime()),
                       zone.Shown(view->FieldByName(FLD_CALENDAR_END).GetAsDateTime()),
                       view->FieldByName(FLD_ITEM_SUBJECT).GetAsString(),
                       view->FieldByName(FLD_CALENDAR_LOCATION).GetAsString(),
                       view->FieldByName(FLD_CALENDAR_ISALLDAYEVENT).GetAsBoolean(), number});
  }
}

string Clock(TDateTime time) {
  const TVqDateTimeParts parts = VqDecodeDateTime(time);
  return Format("%.2d:%.2d", {parts.Hour, parts.Minute});
}

string DayName(TDateTime day) {
  const TVqDateTimeParts parts = VqDecodeDateTime(day);
  return Format("%s %.4d-%.2d-%.2d",
                {kWeekDays[static_cast<std::int64_t>(day) % 7], parts.Year, parts.Month, parts.Day});
}

void Print(const std::vector<TEntry>& entries, const std::vector<string>& names, TDateTime from) {
  for (std::int32_t day = 0; day < kDays; ++day) {
    std::cout << DayName(from + day) << '\n';
    for (const TEntry& entry : entries) {
      if (entry.End <= from + day || entry.Start >= from + day + 1) continue;
      const string time = entry.WholeDay ? string("all day    ") : Clock(entry.Start) + "-" + Clock(entry.End);
      std::cout << "  " << time << "  " << std::left << std::setw(24) << entry.Subject.utf8() << "  "
                << names[entry.Calendar] << (entry.Location.empty() ? "" : ", ") << entry.Location << '\n';
    }
  }
}

/// Columns of days, lines of hours; whole days stand in a band above.
void Draw(std::ostream& out, const std::vector<TEntry>& entries, const std::vector<string>& names, TDateTime from) {
  constexpr double kLeft = 50, kTop = 70, kDay = 130, kHour = 26;
  static constexpr const char* kColours[] = {"#cfe2f3", "#d9ead3", "#fce5cd", "#ead1dc", "#fff2cc"};
  out << "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 " << kLeft + kDays * kDay + 10 << ' '
      << kTop + 24 * kHour + 30 << "\" font-family=\"sans-serif\" font-size=\"11\">\n";
  for (int hour = 0; hour <= 24; ++hour) {
    const double y = kTop + hour * kHour;
    out << "<line x1=\"" << kLeft << "\" y1=\"" << y << "\" x2=\"" << kLeft + kDays * kDay << "\" y2=\"" << y
        << "\" stroke=\"#ddd\"/><text x=\"8\" y=\"" << y + 4 << "\" fill=\"#777\">" << hour << ":00</text>\n";
  }
  for (std::int32_t day = 0; day < kDays; ++day) {
    const double x = kLeft + day * kDay;
    out << "<line x1=\"" << x << "\" y1=\"30\" x2=\"" << x << "\" y2=\"" << kTop + 24 * kHour
        << "\" stroke=\"#bbb\"/><text x=\"" << x + 6 << "\" y=\"20\" font-weight=\"bold\">" << DayName(from + day)
        << "</text>\n";
    double band = 32;
    for (const TEntry& entry : entries) {
      const double start = std::max<double>(entry.Start - from - day, 0),
                   end = std::min<double>(entry.End - from - day, 1);
      if (end <= 0 || start >= 1) continue;
      // Calendars stand side by side in a day.
      const double width = entry.WholeDay ? kDay : kDay / static_cast<double>(names.size());
      const double left = x + (entry.WholeDay ? 0 : width * static_cast<double>(entry.Calendar));
      const double top = entry.WholeDay ? band : kTop + start * 24 * kHour;
      const double height = entry.WholeDay ? 14 : std::max((end - start) * 24 * kHour, 12.0);
      if (entry.WholeDay) band += 15;
      out << "<g><title>" << VqEscapeXML(Clock(entry.Start) + " " + entry.Subject + " " + entry.Location)
          << "</title><rect x=\"" << left + 1 << "\" y=\"" << top << "\" width=\"" << width - 2 << "\" height=\""
          << height << "\" rx=\"3\" fill=\"" << kColours[entry.Calendar % std::size(kColours)]
          << "\" stroke=\"#999\"/><text x=\"" << left + 5 << "\" y=\"" << top + 11 << "\">"
          << VqEscapeXML(entry.Subject.Copy(0, static_cast<std::size_t>(width / 7))) << "</text></g>\n";
    }
  }
  double x = kLeft;
  for (std::size_t i = 0; i < names.size(); ++i, x += 200) {
    out << "<rect x=\"" << x << "\" y=\"" << kTop + 24 * kHour + 10 << "\" width=\"12\" height=\"12\" fill=\""
        << kColours[i % std::size(kColours)] << "\" stroke=\"#999\"/><text x=\"" << x + 18 << "\" y=\""
        << kTop + 24 * kHour + 20 << "\">" << VqEscapeXML(names[i]) << "</text>\n";
  }
  out << "</svg>\n";
}

}  // namespace

int main(int argc, char** argv) try {
  const ExampleServer server(argc, argv,
                             "agenda [MAILBOX...]: a week of one's own calendar and of those of others\n"
                             "  --from DATE      the first day, 2025-03-03 when left out\n"
                             "  --zone NAME      whose clocks count, \"W. Europe Standard Time\" when left out\n"
                             "  --svg FILE       the week as a picture, too");
  TVqEWSServiceSession session;
  server.Configure(session);
  session.SetActive(true);
  auto store = session.OpenDefaultMsgStore();

  const TZone zone(server.Option("zone", "W. Europe Standard Time"));
  const TDateTime from = VqDateOf(VqXMLToDateTime(server.Option("from", "2025-03-03") + "T00:00:00Z"));
  std::vector<string> names = {server.Address()};
  std::vector<TEntry> entries;
  Read(*store, "", 0, from, zone, entries);
  for (const std::string& mailbox : server.Arguments()) {
    names.push_back(mailbox);
    Read(*store, mailbox, names.size() - 1, from, zone, entries);
  }
  std::ranges::stable_sort(entries, {}, [](const TEntry& entry) { return static_cast<double>(entry.Start); });

  Print(entries, names, from);
  if (server.HasOption("svg")) {
    std::ofstream file(server.Option("svg"));
    Draw(file, entries, names, from);
    if (!file.flush()) throw EVqException("\"" + string(server.Option("svg")) + "\" cannot be written.");
  }
  std::cout << entries.size() << " entries of " << names.size() << " calendars\n";
} catch (const std::exception& failure) {
  std::cerr << failure.what() << '\n';
  return 1;
}
