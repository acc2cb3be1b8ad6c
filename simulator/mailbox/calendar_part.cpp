#include "simulator/mailbox/calendar_part.h"

#include <libical/ical.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <vector>

#include "simulator/mailbox/expansion.h"
#include "simulator/mailbox/html.h"
#include "simulator/mailbox/item_zone.h"

namespace velmore::simulator {

namespace {

constexpr Seconds kDay = 86400;

struct Deleter {
  void operator()(icalcomponent* component) const { icalcomponent_free(component); }
};
using Component = std::unique_ptr<icalcomponent, Deleter>;

void Put(icalcomponent* component, icalproperty* property) {
  icalcomponent_add_property(component, property);
}
void PutText(icalcomponent* component, icalproperty* (*make)(const char*), const std::string& text) {
  if (!text.empty()) Put(component, make(text.c_str()));
}
void PutExtension(icalcomponent* component, const char* name, const std::string& value) {
  if (value.empty()) return;
  icalproperty* property = icalproperty_new_x(value.c_str());
  icalproperty_set_x_name(property, name);
  Put(component, property);
}

/// Names stand in parameters, where nothing escapes the end of a line.
std::string OneLine(std::string text) {
  std::replace_if(
      text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x20; }, ' ');
  return text;
}

icaltimetype TimeOf(Seconds time, bool date_only, bool utc) {
  const Seconds second = ((time % kDay) + kDay) % kDay;
  const Date date = DateFromDays((time - second) / kDay);
  icaltimetype made = icaltime_null_time();
  made.year = static_cast<int>(date.year);
  made.month = static_cast<int>(date.month);
  made.day = static_cast<int>(date.day);
  made.is_date = date_only ? 1 : 0;
  if (date_only) return made;
  made.hour = static_cast<int>(second / 3600);
  made.minute = static_cast<int>(second / 60 % 60);
  made.second = static_cast<int>(second % 60);
  if (utc) made.zone = icaltimezone_get_utc_timezone();
  return made;
}

std::string TextOf(const icaltimetype& time) {
  const std::unique_ptr<char, void (*)(void*)> text(icaltime_as_ical_string_r(time), std::free);
  return text.get();
}

// ---- The zone

/// Where the offset of a zone changes within a year.
struct OffsetChange {
  Seconds at = 0;  // the first second with the new one
  Seconds before = 0;
  Seconds after = 0;
};

std::vector<OffsetChange> ChangesIn(const Zone& zone, std::int64_t year) {
  std::vector<OffsetChange> changes;
  const Seconds end = DaysFromDate(year + 1, 1, 1) * kDay;
  for (Seconds day = DaysFromDate(year, 1, 1) * kDay; day < end; day += kDay) {
    if (zone.OffsetAt(day) == zone.OffsetAt(day + kDay)) continue;
    Seconds low = day;
    Seconds high = day + kDay;
    while (high - low > 1) {
      const Seconds middle = low + (high - low) / 2;
      (zone.OffsetAt(middle) == zone.OffsetAt(day) ? low : high) = middle;
    }
    changes.push_back({high, zone.OffsetAt(low), zone.OffsetAt(high)});
  }
  return changes;
}

/// "The last Sunday of October", by what a zone does in this year and the next ones; empty when it keeps no such rule.
std::string RuleOfChange(const Zone& zone, const OffsetChange& change) {
  constexpr int kYears = 10;
  static constexpr const char* kWeekdays[] = {"SU", "MO", "TU", "WE", "TH", "FR", "SA"};
  const Seconds wall = change.at + change.before;
  const Seconds second = ((wall % kDay) + kDay) % kDay;
  const std::int64_t day = (wall - second) / kDay;
  const Date date = DateFromDays(day);
  const unsigned weekday = Weekday(day);
  for (const int occurrence : {-1, static_cast<int>((date.day - 1) / 7 + 1)}) {
    const auto day_in = [&](std::int64_t year) {
      const std::int64_t first = DaysFromDate(year, date.month, 1);
      const std::int64_t on = first + (7 + weekday - Weekday(first)) % 7;
      const std::int64_t last = on + (DaysInMonth(year, date.month) - 1 - (on - first)) / 7 * 7;
      return occurrence == -1 ? last : on + (occurrence - 1) * 7;
    };
    bool holds = true;
    for (std::int64_t year = date.year; holds && year < date.year + kYears; ++year) {
      const Seconds at = day_in(year) * kDay + second - change.before;
      holds = zone.OffsetAt(at - 1) == change.before && zone.OffsetAt(at) == change.after;
    }
    if (holds)
      return "FREQ=YEARLY;BYMONTH=" + std::to_string(date.month) + ";BYDAY=" + std::to_string(occurrence) +
             kWeekdays[weekday];
  }
  return {};
}

/// From a year on, which must be one before the first event: readers know nothing of the time before it.
Component ZoneComponent(const Zone& zone, const std::string& id, std::int64_t year) {
  Component component(icalcomponent_new(ICAL_VTIMEZONE_COMPONENT));
  Put(component.get(), icalproperty_new_tzid(id.c_str()));
  const auto observance = [&](Seconds at, Seconds before, Seconds after, bool daylight, const std::string& rule) {
    icalcomponent* part = icalcomponent_new(daylight ? ICAL_XDAYLIGHT_COMPONENT : ICAL_XSTANDARD_COMPONENT);
    Put(part, icalproperty_new_dtstart(TimeOf(at + before, false, false)));
    Put(part, icalproperty_new_tzoffsetfrom(static_cast<int>(before)));
    Put(part, icalproperty_new_tzoffsetto(static_cast<int>(after)));
    if (!rule.empty()) Put(part, icalproperty_new_rrule(icalrecurrencetype_from_string(rule.c_str())));
    icalcomponent_add_component(component.get(), part);
  };
  const std::vector<OffsetChange> changes = ChangesIn(zone, year);
  if (changes.empty()) {
    const Seconds offset = zone.OffsetAt(DaysFromDate(year, 1, 1) * kDay);
    observance(DaysFromDate(1970, 1, 1) * kDay - offset, offset, offset, false, {});
  }
  for (const OffsetChange& change : changes)
    observance(change.at, change.before, change.after, change.after > change.before, RuleOfChange(zone, change));
  return component;
}

// ---- The event

/// How the times of an item are written.
struct Clock {
  std::shared_ptr<const Zone> zone;
  std::string id;  // empty: in UTC
  bool whole_days = false;

  explicit Clock(const Item& item) : zone(ZoneOf(item)), whole_days(item.Flag("IsAllDayEvent")) {
    const std::string named = ZoneIdOf(item);
    if (zone != Zone::Utc() && named != "UTC")
      id = Zone::Find(named) != nullptr ? OneLine(named) : std::string("Customized Time Zone");
  }
  icalproperty* Property(icalproperty* (*make)(icaltimetype), Seconds time) const {
    const bool utc = id.empty();
    icalproperty* property = make(TimeOf(whole_days || !utc ? zone->ToWall(time) : time, whole_days, utc));
    if (whole_days)
      icalproperty_add_parameter(property, icalparameter_new_value(ICAL_VALUE_DATE));
    else if (!utc)
      icalproperty_add_parameter(property, icalparameter_new_tzid(id.c_str()));
    return property;
  }
};

icalparameter_partstat StatusOf(const std::string& response) {
  if (response == "Accept") return ICAL_PARTSTAT_ACCEPTED;
  if (response == "Tentative") return ICAL_PARTSTAT_TENTATIVE;
  return response == "Decline" ? ICAL_PARTSTAT_DECLINED : ICAL_PARTSTAT_NEEDSACTION;
}

/// ORGANIZER or ATTENDEE; null for who has no address that can stand there.
icalproperty* PersonProperty(const Element* mailbox, icalproperty* (*make)(const char*)) {
  if (mailbox == nullptr) return nullptr;
  const std::string& address = mailbox->ChildText("EmailAddress");
  if (address.empty() || std::any_of(address.begin(), address.end(), [](unsigned char c) { return c <= 0x20; }))
    return nullptr;
  icalproperty* property = make(("mailto:" + address).c_str());
  if (const std::string name = OneLine(mailbox->ChildText("Name")); !name.empty() && name != address)
    icalproperty_add_parameter(property, icalparameter_new_cn(name.c_str()));
  return property;
}

void PutAttendees(icalcomponent* event, const Item& item) {
  struct Row {
    const char* list;
    icalparameter_role role;
    bool resource;
  };
  static constexpr Row kRows[] = {{"RequiredAttendees", ICAL_ROLE_REQPARTICIPANT, false},
                                  {"OptionalAttendees", ICAL_ROLE_OPTPARTICIPANT, false},
                                  {"Resources", ICAL_ROLE_NONPARTICIPANT, true}};
  for (const Row& row : kRows) {
    const Element* list = item.Find(row.list);
    if (list == nullptr) continue;
    for (const Element& attendee : list->children) {
      icalproperty* property = PersonProperty(attendee.Child("Mailbox"), icalproperty_new_attendee);
      if (property == nullptr) continue;
      if (row.resource) icalproperty_add_parameter(property, icalparameter_new_cutype(ICAL_CUTYPE_RESOURCE));
      icalproperty_add_parameter(property, icalparameter_new_role(row.role));
      icalproperty_add_parameter(property, icalparameter_new_partstat(StatusOf(attendee.ChildText("ResponseType"))));
      icalproperty_add_parameter(property, icalparameter_new_rsvp(ICAL_RSVP_TRUE));
      Put(event, property);
    }
  }
}

void PutRecurrence(icalcomponent* event, const Item& item, const Clock& clock) {
  const Element* recurrence = item.Find("Recurrence");
  if (recurrence == nullptr || recurrence->children.size() < 2) return;
  std::string rule = RuleOf(recurrence->children[0]);
  if (rule.empty()) return;
  const Element& range = recurrence->children[1];
  if (range.name == "NumberedRecurrence") rule += ";COUNT=" + range.ChildText("NumberOfOccurrences");
  icalrecurrencetype parsed = icalrecurrencetype_from_string(rule.c_str());
  if (const auto end = ParseTime(range.ChildText("EndDate").substr(0, 10)); range.name == "EndDateRecurrence" && end) {
    // The last day, to the time at which an occurrence begins on it.
    const Seconds start = clock.zone->ToWall(ParseTime(item.Text("Start")).value_or(0));
    const Seconds last = *end + ((start % kDay) + kDay) % kDay;
    parsed.until = clock.whole_days ? TimeOf(*end, true, false) : TimeOf(clock.zone->ToUtc(last), false, true);
  }
  Put(event, icalproperty_new_rrule(parsed));
  for (const auto& [original, exception] : item.exceptions)
    if (exception == nullptr) Put(event, clock.Property(icalproperty_new_exdate, original));
}

std::string BusyText(const std::string& status) {
  if (status == "OOF") return "OOF";
  if (status == "Free" || status == "Tentative") return status == "Free" ? "FREE" : "TENTATIVE";
  return status == "WorkingElsewhere" ? "WORKINGELSEWHERE" : "BUSY";
}

/// The event of a message, or of an occurrence in one that is otherwise.
Component EventOf(const Item& item, const Item& message, const Clock& clock, const std::string& method) {
  Component owner(icalcomponent_new(ICAL_VEVENT_COMPONENT));
  icalcomponent* const event = owner.get();
  if (icalproperty* organizer = nullptr; const Element* holder = message.Find("Organizer"))
    if (!holder->children.empty() &&
        (organizer = PersonProperty(&holder->children.front(), icalproperty_new_organizer)) != nullptr)
      Put(event, organizer);
  const Element* from = message.Find("From");
  if (method == "REPLY" || method == "COUNTER") {
    if (icalproperty* attendee =
            PersonProperty(from != nullptr && !from->children.empty() ? &from->children.front() : nullptr,
                           icalproperty_new_attendee)) {
      icalproperty_add_parameter(attendee, icalparameter_new_partstat(StatusOf(message.Text("ResponseType"))));
      Put(event, attendee);
    }
  } else {
    PutAttendees(event, item);
  }
  PutText(event, icalproperty_new_summary, item.Text("Subject"));
  const std::string text = item.text.empty() ? HtmlToText(item.html) : item.text;
  PutText(event, icalproperty_new_description, text);
  PutText(event, icalproperty_new_uid, message.Text("UID"));
  const bool proposes = method == "COUNTER";
  const auto start = ParseTime(item.Text(proposes ? "ProposedStart" : "Start"));
  const auto end = ParseTime(item.Text(proposes ? "ProposedEnd" : "End"));
  if (start) Put(event, clock.Property(icalproperty_new_dtstart, *start));
  if (end) Put(event, clock.Property(icalproperty_new_dtend, *end));
  if (const auto original = ParseTime(item.Text("RecurrenceId")))
    Put(event, clock.Property(icalproperty_new_recurrenceid, *original));
  else
    PutRecurrence(event, item, clock);
  Put(event, icalproperty_new_dtstamp(
                 TimeOf(ParseTime(message.Text("DateTimeStamp")).value_or(message.created), false, true)));
  Put(event, icalproperty_new_sequence(std::atoi(message.Text("AppointmentSequenceNumber").c_str())));
  const std::string& sensitivity = item.Text("Sensitivity");
  Put(event, icalproperty_new_class(sensitivity == "Confidential"                           ? ICAL_CLASS_CONFIDENTIAL
                                    : sensitivity == "Private" || sensitivity == "Personal" ? ICAL_CLASS_PRIVATE
                                                                                            : ICAL_CLASS_PUBLIC));
  const std::string& importance = item.Text("Importance");
  Put(event, icalproperty_new_priority(importance == "High" ? 1 : importance == "Low" ? 9 : 5));
  const std::string busy = BusyText(method == "REQUEST"  ? item.Text("IntendedFreeBusyStatus")
                                    : method == "CANCEL" ? std::string("Free")
                                                         : item.Text("LegacyFreeBusyStatus"));
  Put(event, icalproperty_new_transp(busy == "FREE" ? ICAL_TRANSP_TRANSPARENT : ICAL_TRANSP_OPAQUE));
  Put(event, icalproperty_new_status(method == "CANCEL" ? ICAL_STATUS_CANCELLED : ICAL_STATUS_CONFIRMED));
  PutText(event, icalproperty_new_location, item.Text("Location"));
  PutExtension(event, "X-MICROSOFT-CDO-APPT-SEQUENCE",
               std::to_string(std::atoi(message.Text("AppointmentSequenceNumber").c_str())));
  PutExtension(event, "X-MICROSOFT-CDO-BUSYSTATUS", method == "REQUEST" ? std::string("TENTATIVE") : busy);
  if (method == "REQUEST") PutExtension(event, "X-MICROSOFT-CDO-INTENDEDSTATUS", busy);
  PutExtension(event, "X-MICROSOFT-CDO-ALLDAYEVENT", clock.whole_days ? "TRUE" : "FALSE");
  if (proposes) {
    for (const auto& [name, value] : {std::pair("X-MS-OLK-ORIGINALSTART", "Start"), {"X-MS-OLK-ORIGINALEND", "End"}})
      if (const auto time = ParseTime(item.Text(value))) PutExtension(event, name, TextOf(TimeOf(*time, false, true)));
  }
  return owner;
}

std::string MethodOf(const Item& item) {
  if (item.element == "MeetingRequest") return "REQUEST";
  if (item.element == "MeetingCancellation") return "CANCEL";
  if (item.element == "MeetingResponse") return item.Find("ProposedStart") != nullptr ? "COUNTER" : "REPLY";
  return {};
}

icalproperty_method MethodNumber(const std::string& method) {
  if (method == "REQUEST") return ICAL_METHOD_REQUEST;
  if (method == "CANCEL") return ICAL_METHOD_CANCEL;
  return method == "COUNTER" ? ICAL_METHOD_COUNTER : ICAL_METHOD_REPLY;
}

}  // namespace

std::optional<CalendarPart> CalendarPartOf(const Item& item) {
  const std::string method = MethodOf(item);
  const auto start = ParseTime(item.Text("Start"));
  if (method.empty() || !start || !ParseTime(item.Text("End"))) return std::nullopt;
  const Component calendar(icalcomponent_new(ICAL_VCALENDAR_COMPONENT));
  Put(calendar.get(), icalproperty_new_method(MethodNumber(method)));
  Put(calendar.get(), icalproperty_new_prodid("-//Velmore//EWS Simulator//EN"));
  Put(calendar.get(), icalproperty_new_version("2.0"));
  const Clock clock(item);
  if (!clock.id.empty() && !clock.whole_days)
    icalcomponent_add_component(
        calendar.get(),
        ZoneComponent(*clock.zone, clock.id, DateFromDays(clock.zone->ToWall(*start) / kDay).year - 1).release());
  icalcomponent_add_component(calendar.get(), EventOf(item, item, clock, method).release());
  for (const auto& [original, exception] : item.exceptions)
    if (exception != nullptr)
      icalcomponent_add_component(calendar.get(), EventOf(*exception, item, clock, method).release());
  const std::unique_ptr<char, void (*)(void*)> text(icalcomponent_as_ical_string_r(calendar.get()), std::free);
  if (text == nullptr) return std::nullopt;
  return CalendarPart{method, text.get()};
}

}  // namespace velmore::simulator
