// Makes appointments and series of the events in .ics files, which libical reads.
//
//   import-ics --zone "W. Europe Standard Time" holidays.ics      (the zone is for times that name none)

#include <libical/ical.h>

#include <fstream>
#include <iostream>
#include <memory>
#include <sstream>

#include "ews/VelmoreEWS.h"
#include "ews/schema/uVqEWSPropsFLD.h"
#include "platform/common/uVqDateTimeUtils.h"
#include "platform/os/uVqTimeZone.h"
#include "support/ExampleServer.h"

using namespace velmore;

namespace {

constexpr const char* kDemo =
    "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//Example//Demonstration//EN\r\n"
    "BEGIN:VEVENT\r\nUID:1@example.com\r\nSUMMARY:Lamp check\r\nLOCATION:The lighthouse\r\n"
    "DTSTART;TZID=Europe/Berlin:20260706T100000\r\nDTEND;TZID=Europe/Berlin:20260706T113000\r\nEND:VEVENT\r\n"
    "BEGIN:VEVENT\r\nUID:2@example.com\r\nSUMMARY:Storm drill\r\nDTSTART;TZID=America/New_York:20260310T180000\r\n"
    "DTEND;TZID=America/New_York:20260310T190000\r\nRRULE:FREQ=MONTHLY;BYDAY=2TU;COUNT=6\r\n"
    "EXDATE;TZID=America/New_York:20260512T180000\r\nEND:VEVENT\r\n"
    "BEGIN:VEVENT\r\nUID:3@example.com\r\nSUMMARY:Harbour fair\r\nDTSTART;VALUE=DATE:20260814\r\n"
    "DTEND;VALUE=DATE:20260817\r\nEND:VEVENT\r\nEND:VCALENDAR\r\n";

string Text(const char* text) {
  return text ? string(text) : string();
}

std::string ReadText(const std::string& name) {
  std::ifstream file(name, std::ios::binary);
  if (!file) throw EVqException("\"" + string(name) + "\" cannot be read.");
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

/// A time as it stands in the file, and the Windows id of the zone that it is told in.
struct TTime {
  TDateTime Local;
  string Zone;
  bool Day;
};

TTime TimeOf(icalproperty* property, const icaltimetype& value, const string& otherwise) {
  TTime time{value.is_date
                 ? VqEncodeDate(value.year, value.month, value.day)
                 : VqEncodeDateTime({value.year, value.month, value.day, value.hour, value.minute, value.second}),
             otherwise, value.is_date != 0};
  if (icaltime_is_utc(value)) time.Zone = "UTC";
  icalparameter* parameter = icalproperty_get_first_parameter(property, ICAL_TZID_PARAMETER);
  if (!parameter) return time;
  const string name = icalparameter_get_tzid(parameter);  // "Europe/Berlin", or a Windows id
  time.Zone = VqIsIanaTimeZone(name) ? VqWindowsTimeZoneOf(name) : name;
  return time;
}

[[noreturn]] void Inexpressible(const string& rule) {
  throw EVqException("A server's series cannot be \"" + rule + "\".");
}

TDayOfWeek DayOf(int day) {  // libical counts from 1, a Sunday
  return static_cast<TDayOfWeek>(icalrecurrencetype_day_day_of_week(static_cast<short>(day)) - ICAL_SUNDAY_WEEKDAY);
}

TDayOfWeekIndex IndexOf(int position, const string& rule) {
  if (position == -1) return dowiLast;
  if (position < 1 || position > 4) Inexpressible(rule);
  return static_cast<TDayOfWeekIndex>(position - 1);
}

/// Each kind of rule that a server's series can be.
void FillPattern(TEwsRecurrence& recurrence, const icalrecurrencetype& rule, const icaltimetype& start,
                 const string& text) {
  const auto given = [](short value) { return value != ICAL_RECURRENCE_ARRAY_MAX; };
  const bool byDay = given(rule.by_day[0]), oneDay = byDay && !given(rule.by_day[1]);
  const int position = given(rule.by_set_pos[0]) ? rule.by_set_pos[0]
                       : oneDay                  ? icalrecurrencetype_day_position(rule.by_day[0])
                                                 : 0;
  const int dayOfMonth = given(rule.by_month_day[0]) ? rule.by_month_day[0] : start.day;
  const auto month = static_cast<TMonthNames>((given(rule.by_month[0]) ? rule.by_month[0] : start.month) - 1);
  if (given(rule.by_month_day[0]) && given(rule.by_month_day[1])) Inexpressible(text);
  if (byDay && !oneDay && rule.freq != ICAL_WEEKLY_RECURRENCE) Inexpressible(text);
  switch (rule.freq) {
    case ICAL_DAILY_RECURRENCE:
      if (byDay) Inexpressible(text);
      return recurrence.GetDailyRecurrence().SetInterval(rule.interval);
    case ICAL_WEEKLY_RECURRENCE: {
      TDaysOfWeek days;
      for (int i = 0; given(rule.by_day[i]); ++i) days.Include(DayOf(rule.by_day[i]));
      if (!byDay) days.Include(static_cast<TDayOfWeek>(icaltime_day_of_week(start) - 1));
      recurrence.GetWeeklyRecurrence().SetInterval(rule.interval);
      recurrence.GetWeeklyRecurrence().SetDaysOfWeek(days);
      return;
    }
    case ICAL_MONTHLY_RECURRENCE:
      if (byDay) {
        recurrence.GetRelativeMonthlyRecurrence().SetInterval(rule.interval);
        recurrence.GetRelativeMonthlyRecurrence().SetDaysOfWeek(DayOf(rule.by_day[0]));
        recurrence.GetRelativeMonthlyRecurrence().SetDayOfWeekIndex(IndexOf(position, text));
      } else {
        recurrence.GetAbsoluteMonthlyRecurrence().SetInterval(rule.interval);
        recurrence.GetAbsoluteMonthlyRecurrence().SetDayOfMonth(dayOfMonth);
      }
      return;
    case ICAL_YEARLY_RECURRENCE:
      if (rule.interval != 1) Inexpressible(text);
      if (byDay) {
        recurrence.GetRelativeYearlyRecurrence().SetDaysOfWeek(DayOf(rule.by_day[0]));
        recurrence.GetRelativeYearlyRecurrence().SetDayOfWeekIndex(IndexOf(position, text));
        recurrence.GetRelativeYearlyRecurrence().SetMonth(month);
      } else {
        recurrence.GetAbsoluteYearlyRecurrence().SetDayOfMonth(dayOfMonth);
        recurrence.GetAbsoluteYearlyRecurrence().SetMonth(month);
      }
      return;
    default:
      Inexpressible(text);
  }
}

void FillRange(TEwsRecurrence& recurrence, const icalrecurrencetype& rule, TDateTime start) {
  if (rule.count > 0) {
    recurrence.GetNumberedRecurrence().SetStartDate(VqDateOf(start));
    recurrence.GetNumberedRecurrence().SetNumberOfOccurrences(rule.count);
  } else if (!icaltime_is_null_time(rule.until)) {
    recurrence.GetEndDateRecurrence().SetStartDate(VqDateOf(start));
    recurrence.GetEndDateRecurrence().SetEndDate(VqEncodeDate(rule.until.year, rule.until.month, rule.until.day));
  } else {
    recurrence.GetNoEndRecurrence().SetStartDate(VqDateOf(start));
  }
}

/// Deletes the occurrences that the series leaves out; gives how many.
int LeaveOut(IVqEWSFolder& calendar, icalcomponent* event, IVqEWSCalendarItem& series, const string& zone) {
  int deleted = 0;
  for (icalproperty* day = icalcomponent_get_first_property(event, ICAL_EXDATE_PROPERTY); day;
       day = icalcomponent_get_next_property(event, ICAL_EXDATE_PROPERTY)) {
    const TTime left = TimeOf(day, icalproperty_get_exdate(day), zone);
    const TDateTime start = VqUtcOfLocalTime(VqIanaTimeZoneOf(left.Zone), left.Local);
    auto view = Supports<IVqEWSCalendarFolder>(&calendar)->GetCalendarView(start, start + 1.0 / 1440, 100);
    view->GetFields().Add(FLD_CALENDAR_UID);
    for (view->Open(); !view->Eof(); view->Next()) {
      if (view->FieldByName(FLD_CALENDAR_UID).GetAsString() != series.GetUID()) continue;
      calendar.DeleteItem(view->GetItemId(), dtHardDelete);
      ++deleted;
      break;
    }
  }
  return deleted;
}

void Import(IVqEWSFolder& calendar, icalcomponent* event, const string& zone) {
  icalproperty* begins = icalcomponent_get_first_property(event, ICAL_DTSTART_PROPERTY);
  if (!begins) throw EVqException("An event has no beginning.");
  icalproperty* ends = icalcomponent_get_first_property(event, ICAL_DTEND_PROPERTY);
  const TTime start = TimeOf(begins, icalproperty_get_dtstart(begins), zone);
  const TTime end = ends ? TimeOf(ends, icalproperty_get_dtend(ends), zone)
                         : TTime{start.Local + (start.Day ? 1 : 0), start.Zone, start.Day};

  auto item = Supports<IVqEWSCalendarItem>(calendar.CreateItem(tCalendarItem));
  item->SetSubject(Text(icalcomponent_get_summary(event)));
  item->SetLocation(Text(icalcomponent_get_location(event)));
  if (const string text = Text(icalcomponent_get_description(event)); !text.empty()) item->SetBodyText(text);
  if (start.Day) {
    item->SetWholeDays(start.Local, static_cast<std::int32_t>(end.Local - start.Local), start.Zone);
  } else {
    item->SetStartInZone(start.Local, start.Zone);
    item->SetEndInZone(end.Local, end.Zone);
  }
  if (icalproperty* rule = icalcomponent_get_first_property(event, ICAL_RRULE_PROPERTY)) {
    const icalrecurrencetype recurrence = icalproperty_get_rrule(rule);
    FillPattern(item->GetRecurrence(), recurrence, icalproperty_get_dtstart(begins),
                Text(icalproperty_get_value_as_string(rule)));
    FillRange(item->GetRecurrence(), recurrence, start.Local);
  }
  item->SaveChanges(soAutoResolve);
  std::cout << item->GetSubject() << ", " << (item->GetCalendarItemType() == citRecurringMaster ? "a series" : "once");
  if (const int left = LeaveOut(calendar, event, *item, zone); left > 0) std::cout << ", without " << left;
  std::cout << '\n';
}

}  // namespace

int main(int argc, char** argv) try {
  const ExampleServer server(
      argc, argv,
      "import-ics [FILE...]: makes appointments of the events in .ics files\n"
      "  --zone NAME      for times that name no zone, \"W. Europe Standard Time\" when left out");
  TVqEWSServiceSession session;
  server.Configure(session);
  session.SetActive(true);
  auto calendar = session.OpenDefaultMsgStore()->GetFolder(dfincalendar, "");

  int imported = 0, refused = 0;
  std::vector<std::string> texts;
  for (const std::string& file : server.Arguments()) texts.push_back(ReadText(file));
  if (texts.empty()) texts.push_back(kDemo);
  for (const std::string& text : texts) {
    const std::unique_ptr<icalcomponent, void (*)(icalcomponent*)> all(icalparser_parse_string(text.c_str()),
                                                                       icalcomponent_free);
    if (!all) throw EVqException("This is no calendar.");
    for (icalcomponent* event = icalcomponent_get_first_component(all.get(), ICAL_VEVENT_COMPONENT); event;
         event = icalcomponent_get_next_component(all.get(), ICAL_VEVENT_COMPONENT)) {
      try {
        Import(*calendar, event, server.Option("zone", "W. Europe Standard Time"));
        ++imported;
      } catch (const EVqException& failure) {  // the others are made all the same
        std::cerr << Text(icalcomponent_get_summary(event)) << ": " << failure.what() << '\n';
        ++refused;
      }
    }
  }
  std::cout << imported << " imported, " << refused << " not\n";
  return refused > 0;
} catch (const std::exception& failure) {
  std::cerr << failure.what() << '\n';
  return 1;
}
