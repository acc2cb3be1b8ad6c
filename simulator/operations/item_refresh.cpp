// What the server itself keeps up to date on an item that was written to.

#include <algorithm>
#include <cstdlib>

#include "simulator/mailbox/file_as.h"
#include "simulator/mailbox/ids.h"
#include "simulator/mailbox/item_zone.h"
#include "simulator/mailbox/members.h"
#include "simulator/mailbox/mime.h"
#include "simulator/mailbox/recurrence.h"
#include "simulator/mailbox/topic.h"
#include "simulator/operations/operations.h"

namespace velmore::simulator {

namespace {

/// What an appointment is called in all calendars that it stands in, as hexadecimal.
std::string NewGlobalObjectId() {
  std::string bytes("\x04\x00\x00\x00\x82\x00\xE0\x00\x74\xC5\xB7\x10\x1A\x82\xE0\x08\0\0\0\0", 20);
  const std::uint64_t ticks = (static_cast<std::uint64_t>(Now()) + 11644473600u) * 10000000u;  // since 1601
  for (int shift = 0; shift < 64; shift += 8) bytes += static_cast<char>(ticks >> shift & 0xff);
  bytes += std::string(8, '\0') + std::string("\x10\0\0\0", 4) + NewGuid().substr(0, 16);
  return ToHex(bytes);
}

/// An event of whole days begins and ends at midnight of its own zone.
void KeepWholeDays(Item& item) {
  constexpr Seconds kDay = 86400;
  const std::shared_ptr<const Zone> zone = ZoneOf(item);
  const Seconds start = zone->ToWall(*ParseTime(item.Text("Start")));
  const Seconds end = zone->ToWall(*ParseTime(item.Text("End")));
  const Seconds first = start - ((start % kDay) + kDay) % kDay;
  const Seconds last = std::max(first + kDay, end + (kDay - ((end % kDay) + kDay) % kDay) % kDay);
  item.Set("Start", TimeText(zone->ToUtc(first)));
  item.Set("End", TimeText(zone->ToUtc(last)));
}

/// An appointment is in the zone that it is given, else in that of the request.
void SettleZone(const Context& context, Item& item) {
  if (const Element* zone = item.Find("StartTimeZone"); zone != nullptr && ZoneOfDefinition(*zone) == nullptr)
    throw EwsError("ErrorTimeZone");
  if (item.Find("StartTimeZone") == nullptr && item.Find("MeetingTimeZone") == nullptr && !context.time_zone.empty() &&
      Zone::Find(context.time_zone) != nullptr)
    item.Set(Types("StartTimeZone").Set("Id", context.time_zone));
}

void RefreshAppointment(Context& context, Item& item) {
  SettleZone(context, item);
  if (item.Text("Start").empty() && item.Text("End").empty()) {
    const Seconds next = (Now() / 1800 + 1) * 1800;
    item.Set("Start", TimeText(next));
    item.Set("End", TimeText(next + 1800));
  }
  if (item.Text("End").empty()) item.Set("End", TimeText(*ParseTime(item.Text("Start")) + 1800));
  if (item.Text("Start").empty()) item.Set("Start", TimeText(*ParseTime(item.Text("End")) - 1800));
  const Seconds start = *ParseTime(item.Text("Start"));
  const Seconds end = *ParseTime(item.Text("End"));
  if (end < start) throw EwsError("ErrorCalendarEndDateIsEarlierThanStartDate");
  if (end - start > 5LL * 366 * 86400) throw EwsError("ErrorCalendarDurationIsTooLong");
  if (item.Flag("IsAllDayEvent")) KeepWholeDays(item);
  if (item.Find("Recurrence") != nullptr) SettleRecurrence(item);
  if (item.Text("UID").empty()) item.Set("UID", NewGlobalObjectId());
  for (const char* flag : {"IsAllDayEvent", "IsCancelled", "MeetingRequestWasSent"})
    if (item.Find(flag) == nullptr) item.SetFlag(flag, false);
  if (item.Find("LegacyFreeBusyStatus") == nullptr) item.Set("LegacyFreeBusyStatus", "Busy");
  const bool recurring = item.Find("Recurrence") != nullptr;
  if (item.Text("CalendarItemType") != "Occurrence" && item.Text("CalendarItemType") != "Exception") {
    item.Set("CalendarItemType", recurring ? "RecurringMaster" : "Single");
    item.SetFlag("IsRecurring", false);
  }
  item.SetFlag("IsMeeting", item.Find("RequiredAttendees") != nullptr || item.Find("OptionalAttendees") != nullptr ||
                                item.Find("Resources") != nullptr);
  if (item.Find("Organizer") == nullptr) {
    Element organizer = Types("Organizer");
    organizer.Add(MailboxElement(context.user.display_name, context.user.smtp_address, "Mailbox"));
    item.Set(std::move(organizer));
  }
  if (const std::string& mine = item.Text("MyResponseType"); mine.empty() || mine == "Unknown" || mine == "Organizer") {
    // Who has sent invitations stays the organizer, though nobody is left in the lists.
    const bool organizes = item.Flag("IsMeeting") || item.Flag("MeetingRequestWasSent");
    item.Set("MyResponseType", organizes ? "Organizer" : "Unknown");
    item.Set("AppointmentState", item.Flag("IsMeeting") ? "1" : "0");
  }
  if (item.Find("AppointmentSequenceNumber") == nullptr) item.Set("AppointmentSequenceNumber", "0");
  for (const char* list : {"RequiredAttendees", "OptionalAttendees", "Resources"}) {
    const Element* stored = item.Find(list);
    if (stored == nullptr) continue;
    Element attendees = *stored;
    for (Element& attendee : attendees.children)
      if (attendee.Child("ResponseType") == nullptr && attendee.children.size() == 1)
        attendee.Add("ResponseType", "Unknown");
    item.Set(std::move(attendees));
  }
  if (item.Flag("IsMeeting"))
    for (const char* flag : {"IsResponseRequested", "AllowNewTimeProposal"})
      if (item.Find(flag) == nullptr) item.SetFlag(flag, true);
  const Seconds length = *ParseTime(item.Text("End")) - *ParseTime(item.Text("Start"));
  item.Set("Duration", "PT" + std::to_string(length / 60) + "M");
}

void RefreshTask(Context& context, Item& item) {
  if (item.Find("Status") == nullptr) item.Set("Status", "NotStarted");
  if (item.Find("PercentComplete") == nullptr)
    item.Set("PercentComplete", item.Text("Status") == "Completed" ? "100" : "0");
  if (item.Find("CompleteDate") != nullptr) item.Set("Status", "Completed");
  const bool done = item.Text("Status") == "Completed";
  if (done) item.Set("PercentComplete", "100");
  if (done && item.Find("CompleteDate") == nullptr) item.Set("CompleteDate", TimeText(Now()));
  if (!done) item.Remove("CompleteDate");
  item.SetFlag("IsComplete", done);
  if (item.Find("IsTeamTask") == nullptr) item.SetFlag("IsTeamTask", false);
  item.SetFlag("IsRecurring", item.Find("Recurrence") != nullptr);
  item.Set("ChangeCount", std::to_string(std::strtol(item.Text("ChangeCount").c_str(), nullptr, 10) + 1));
  static constexpr std::pair<const char*, const char*> kDescriptions[] = {
      {"NotStarted", "Not Started"},
      {"InProgress", "In Progress"},
      {"Completed", "Completed"},
      {"WaitingOnOthers", "Waiting on someone else"},
      {"Deferred", "Deferred"}};
  for (const auto& [status, description] : kDescriptions)
    if (item.Text("Status") == status) item.Set("StatusDescription", description);
  if (item.Find("Owner") == nullptr) item.Set("Owner", context.user.display_name);
}

void RefreshContact(Item& item) {
  FileAgain(item);
  if (item.Text("DisplayName").empty()) {
    std::string name = item.Text("GivenName");
    if (!name.empty() && !item.Text("Surname").empty()) name += ' ';
    name += item.Text("Surname");
    if (!name.empty()) item.Set("DisplayName", name);
  }
}

}  // namespace

void Refresh(Context& context, Item& item) {
  if (item.element == "Message" || item.element == "PostItem" || item.element.starts_with("Meeting"))
    item.Set("ConversationTopic", TopicOf(item.Text("Subject")));
  if (item.element == "CalendarItem") RefreshAppointment(context, item);
  if (item.element == "Task") RefreshTask(context, item);
  if (item.element == "Contact") RefreshContact(item);
  if (item.element == "DistributionList") RefreshMembers(item);
  if ((item.element == "Contact" || item.element == "DistributionList") && item.Text("Subject").empty() &&
      !item.Text("DisplayName").empty())
    item.Set("Subject", item.Text("DisplayName"));
}

}  // namespace velmore::simulator
