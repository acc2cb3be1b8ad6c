#include "simulator/mailbox/attendant.h"

#include <algorithm>
#include <cstdlib>

#include "simulator/mailbox/ids.h"
#include "simulator/mailbox/mime.h"
#include "simulator/mailbox/recurrence.h"

namespace velmore::simulator {

namespace {

constexpr const char* kAttendees[] = {"RequiredAttendees", "OptionalAttendees", "Resources"};

/// When a series happens, as a text to be compared.
std::string CourseOf(const Item& item) {
  std::string text = item.Text("Start") + item.Text("End") + item.Text("IsAllDayEvent");
  if (const Element* recurrence = item.Find("Recurrence")) WriteXml(*recurrence, text);
  return text;
}

int SequenceOf(const Item& item) {
  return std::atoi(item.Text("AppointmentSequenceNumber").c_str());
}

std::string SenderOf(const Item& message) {
  const Element* from = message.Find("From");
  return from != nullptr && !from->children.empty() ? from->children.front().ChildText("EmailAddress") : std::string();
}

bool IsOrganizedBy(const Item& message, const Mailbox& mailbox) {
  const Element* organizer = message.Find("Organizer");
  return organizer != nullptr && !organizer->children.empty() &&
         SameText(organizer->children.front().ChildText("EmailAddress"), mailbox.owner.smtp_address);
}

/// Invitations that came earlier are of no use any more.
void OutdateOthers(Mailbox& mailbox, const Item& message) {
  const Folder* inbox = mailbox.Distinguished("inbox");
  for (const auto& [number, other] : inbox->items) {
    if (other.get() == &message || other->element != "MeetingRequest" || other->Text("UID") != message.Text("UID") ||
        other->Text("RecurrenceId") != message.Text("RecurrenceId") || other->Flag("IsOutOfDate"))
      continue;
    other->SetFlag("IsOutOfDate", true);
    other->Set("MeetingRequestType", "Outdated");
    mailbox.Touch(*other, "");
  }
}

/// Until its reader answers, a meeting may or may not take place for him.
void AwaitAnswer(Item& item) {
  item.Set("MyResponseType", "NoResponseReceived");
  item.Set("LegacyFreeBusyStatus", "Tentative");
  item.Remove("AppointmentReplyTime");
}

void TakeContent(const Item& request, Item& item) {
  CopyMeeting(request, item);
  item.Set("Subject", request.Text("Subject"));
  item.html = request.html;
  item.text = request.text;
  item.attachments = Copy(request)->attachments;
  item.SetFlag("IsMeeting", true);
  item.SetFlag("IsCancelled", false);
  item.SetFlag("MeetingRequestWasSent", true);
  item.Set("AppointmentState", "3");
  item.mime = nullptr;
}

std::shared_ptr<Item> NewAppointment(const Item& request) {
  auto item = std::make_shared<Item>();
  item->element = "CalendarItem";
  item->Set("ItemClass", "IPM.Appointment");
  TakeContent(request, *item);
  const bool series = request.Find("Recurrence") != nullptr;
  item->Set("CalendarItemType", series ? "RecurringMaster" : "Single");
  item->SetFlag("IsRecurring", false);
  item->SetFlag("ReminderIsSet", true);
  item->Set("ReminderMinutesBeforeStart", "15");
  AwaitAnswer(*item);
  return item;
}

/// What is otherwise in the series that somebody is invited to.
void TakeExceptions(Mailbox& mailbox, const Item& request, Item& master) {
  for (const auto& [original, exception] : request.exceptions) {
    if (exception == nullptr) {
      master.exceptions[original] = nullptr;
      continue;
    }
    const std::shared_ptr<Item> item = OpenException(mailbox, master, original);
    if (item == nullptr) continue;
    TakeContent(*exception, *item);
    AwaitAnswer(*item);
    mailbox.Adopt(*item);
  }
}

void AttendToRequest(Mailbox& mailbox, Item& request) {
  if (IsOrganizedBy(request, mailbox)) return;
  request.SetFlag("IsOutOfDate", false);
  request.SetFlag("HasBeenProcessed", true);
  request.SetFlag("IsDelegated", false);
  const std::shared_ptr<Item> meeting = FindMeeting(mailbox, request.Text("UID"));
  const auto original = ParseTime(request.Text("RecurrenceId"));
  if (meeting == nullptr) {
    request.Set("MeetingRequestType", "NewMeetingRequest");
    TakeExceptions(mailbox, request, mailbox.AddItem(*mailbox.Distinguished("calendar"), NewAppointment(request)));
    return;
  }
  if (SequenceOf(request) < SequenceOf(*meeting)) {
    request.SetFlag("IsOutOfDate", true);
    request.Set("MeetingRequestType", "Outdated");
    return;
  }
  OutdateOthers(mailbox, request);
  std::shared_ptr<Item> target = meeting;
  if (original && meeting->Find("Recurrence") != nullptr) {
    target = OpenException(mailbox, *meeting, *original);
    if (target == nullptr) return;
  }
  const bool moved = CourseOf(request) != CourseOf(*target);
  request.Set("MeetingRequestType", moved ? "FullUpdate" : "InformationalUpdate");
  TakeContent(request, *target);
  if (moved) AwaitAnswer(*target);
  if (moved && target == meeting) {
    target->exceptions.clear();
    TakeExceptions(mailbox, request, *target);
  }
  if (!moved) request.Set("MyResponseType", target->Text("MyResponseType"));
  mailbox.Touch(*meeting, request.modified_by);
}

void AttendToResponse(Mailbox& mailbox, Item& response) {
  const std::shared_ptr<Item> meeting = FindMeeting(mailbox, response.Text("UID"));
  if (meeting == nullptr || !IsOrganizedBy(*meeting, mailbox)) return;
  std::shared_ptr<Item> target = meeting;
  if (const auto original = ParseTime(response.Text("RecurrenceId"));
      original && meeting->Find("Recurrence") != nullptr)
    target = OpenException(mailbox, *meeting, *original);
  if (target == nullptr || SenderOf(response).empty()) return;
  Element* attendee = FindAttendee(*target, SenderOf(response));
  if (attendee == nullptr) {
    // Somebody passed the invitation on; who answers it takes part, if he likes.
    Element optional = Types("OptionalAttendees");
    if (const Element* present = target->Find("OptionalAttendees")) optional = *present;
    optional.Add("Attendee").Add(response.Find("From")->children.front());
    target->Set(std::move(optional));
    attendee = FindAttendee(*target, SenderOf(response));
  }
  Element tracked = Types("Attendee");
  tracked.Add(*attendee->Child("Mailbox"));
  tracked.Add("ResponseType", response.Text("ResponseType"));
  tracked.Add("LastResponseTime", TimeText(response.sent));
  for (const char* proposed : {"ProposedStart", "ProposedEnd"})
    if (response.Find(proposed) != nullptr) tracked.Add(proposed, response.Text(proposed));
  *attendee = std::move(tracked);
  response.SetFlag("HasBeenProcessed", true);
  response.SetFlag("IsOutOfDate", SequenceOf(response) < SequenceOf(*target));
  mailbox.Touch(*meeting, response.modified_by);
}

void AttendToCancellation(Mailbox& mailbox, Item& cancellation) {
  const std::shared_ptr<Item> meeting = FindMeeting(mailbox, cancellation.Text("UID"));
  if (meeting == nullptr || IsOrganizedBy(*meeting, mailbox)) return;
  OutdateOthers(mailbox, cancellation);
  std::shared_ptr<Item> target = meeting;
  if (const auto original = ParseTime(cancellation.Text("RecurrenceId"));
      original && meeting->Find("Recurrence") != nullptr)
    target = OpenException(mailbox, *meeting, *original);
  if (target == nullptr) return;
  target->Set("Subject", cancellation.Text("Subject"));
  target->SetFlag("IsCancelled", true);
  target->Set("AppointmentState", "7");
  target->Set("LegacyFreeBusyStatus", "Free");
  target->SetFlag("ReminderIsSet", false);
  target->Set("AppointmentSequenceNumber", cancellation.Text("AppointmentSequenceNumber"));
  cancellation.SetFlag("HasBeenProcessed", true);
  mailbox.Touch(*meeting, cancellation.modified_by);
}

}  // namespace

std::shared_ptr<Item> FindMeeting(const Mailbox& mailbox, const std::string& uid) {
  const Folder* calendar = mailbox.Distinguished("calendar");
  if (uid.empty() || calendar == nullptr) return nullptr;
  for (const auto& [number, item] : calendar->items)
    if (item->element == "CalendarItem" && SameText(item->Text("UID"), uid)) return item;
  return nullptr;
}

std::shared_ptr<Item> OpenException(Mailbox& mailbox, Item& master, Seconds original) {
  const auto shared = mailbox.FindItem(master.entry_id);
  if (shared == nullptr) return nullptr;
  try {
    const std::shared_ptr<Item> item = OccurrenceByTail(mailbox, shared, OccurrenceTail(original));
    if (item->Text("CalendarItemType") == "Occurrence") item->written.clear();
    item->Set("CalendarItemType", "Exception");
    master.exceptions[original] = item;
    return item;
  } catch (const EwsError&) {
    return nullptr;  // it was deleted, or the series goes another way by now
  }
}

void CopyMeeting(const Item& from, Item& to) {
  for (const char* name : {"UID",
                           "RecurrenceId",
                           "OriginalStart",
                           "Start",
                           "End",
                           "IsAllDayEvent",
                           "Location",
                           "EnhancedLocation",
                           "Organizer",
                           "RequiredAttendees",
                           "OptionalAttendees",
                           "Resources",
                           "Recurrence",
                           "StartTimeZone",
                           "EndTimeZone",
                           "MeetingTimeZone",
                           "Duration",
                           "AppointmentSequenceNumber",
                           "AllowNewTimeProposal",
                           "IsResponseRequested",
                           "IntendedFreeBusyStatus",
                           "Importance",
                           "Sensitivity",
                           "DateTimeStamp"}) {
    if (const Element* value = from.Find(name))
      to.Set(*value);
    else if (name != std::string("RecurrenceId") && name != std::string("OriginalStart"))
      to.Remove(name);
  }
}

std::optional<Element> AssociatedItem(const Mailbox& mailbox, const Item& message) {
  const std::shared_ptr<Item> meeting = FindMeeting(mailbox, message.Text("UID"));
  if (meeting == nullptr) return std::nullopt;
  const auto original = ParseTime(message.Text("RecurrenceId"));
  Element id = Types("AssociatedCalendarItemId");
  id.Set("Id", original && meeting->Find("Recurrence") != nullptr
                   ? EwsId(mailbox.guid, meeting->entry_id, OccurrenceTail(*original))
                   : mailbox.IdOf(*meeting));
  id.Set("ChangeKey", mailbox.KeyOf(*meeting));
  return id;
}

Element* FindAttendee(Item& meeting, const std::string& address) {
  for (Element& property : meeting.properties) {
    if (std::none_of(std::begin(kAttendees), std::end(kAttendees),
                     [&](const char* name) { return property.name == name; }))
      continue;
    for (Element& attendee : property.children)
      if (const Element* mailbox = attendee.Child("Mailbox");
          mailbox != nullptr && SameText(mailbox->ChildText("EmailAddress"), address))
        return &attendee;
  }
  return nullptr;
}

void AttendTo(Mailbox& mailbox, Item& message) {
  if (message.element == "MeetingRequest") AttendToRequest(mailbox, message);
  if (message.element == "MeetingResponse") AttendToResponse(mailbox, message);
  if (message.element == "MeetingCancellation") AttendToCancellation(mailbox, message);
}

}  // namespace velmore::simulator
