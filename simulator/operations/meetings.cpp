#include "simulator/operations/meetings.h"

#include <algorithm>
#include <cstdlib>
#include <set>

#include "simulator/mailbox/attendant.h"
#include "simulator/mailbox/ids.h"
#include "simulator/mailbox/mime.h"
#include "simulator/operations/invitations.h"

namespace velmore::simulator {

namespace {

/// The lists of attendees, and where messages to them are addressed.
constexpr std::pair<const char*, const char*> kLists[] = {
    {"RequiredAttendees", "ToRecipients"}, {"OptionalAttendees", "CcRecipients"}, {"Resources", "BccRecipients"}};

struct Answer {
  const char* element;
  const char* response;
  const char* item_class;
  const char* subject;
  const char* for_organizer;
  const char* for_cancelled;
};
constexpr Answer kAnswers[] = {
    {"AcceptItem", "Accept", "IPM.Schedule.Meeting.Resp.Pos", "Accepted: ", "ErrorCalendarIsOrganizerForAccept",
     "ErrorCalendarIsCancelledForAccept"},
    {"TentativelyAcceptItem", "Tentative", "IPM.Schedule.Meeting.Resp.Tent",
     "Tentative: ", "ErrorCalendarIsOrganizerForTentative", "ErrorCalendarIsCancelledForTentative"},
    {"DeclineItem", "Decline", "IPM.Schedule.Meeting.Resp.Neg", "Declined: ", "ErrorCalendarIsOrganizerForDecline",
     "ErrorCalendarIsCancelledForDecline"}};

const Answer* FindAnswer(const std::string& element) {
  for (const Answer& answer : kAnswers)
    if (element == answer.element) return &answer;
  return nullptr;
}

bool IsOwn(const Item& meeting) {
  return meeting.Text("MyResponseType") == "Organizer";
}

std::set<std::string> AddressesIn(const Item& item, const char* list) {
  std::set<std::string> addresses;
  if (const Element* holder = item.Find(list))
    for (const Element& entry : holder->children) {
      const Element* mailbox = entry.Child("Mailbox");
      addresses.insert(Lower(mailbox != nullptr ? mailbox->ChildText("EmailAddress") : entry.text));
    }
  return addresses;
}

std::set<std::string> Attendees(const Item& meeting) {
  std::set<std::string> all;
  for (const auto& [list, recipients] : kLists) all.merge(AddressesIn(meeting, list));
  return all;
}

void NoteInvited(Item& meeting, const std::set<std::string>& addresses) {
  Element invited = Types("Invited");
  for (const std::string& address : addresses) invited.Add("Address", address);
  meeting.Set(std::move(invited));
}

/// Addresses a message to those attendees of a meeting who are meant.
void AddressTo(const Item& meeting, const std::set<std::string>& meant, Item& message) {
  for (const auto& [list, recipients] : kLists) {
    const Element* holder = meeting.Find(list);
    if (holder == nullptr) continue;
    Element to = Types(recipients);
    for (const Element& attendee : holder->children)
      if (const Element* mailbox = attendee.Child("Mailbox");
          mailbox != nullptr && meant.contains(Lower(mailbox->ChildText("EmailAddress"))))
        to.Add(*mailbox);
    if (!to.children.empty()) message.Set(std::move(to));
  }
}

bool HasRecipients(const Item& message) {
  return std::any_of(std::begin(kLists), std::end(kLists),
                     [&](const auto& row) { return message.Find(row.second) != nullptr; });
}

void Save(Mailbox& mailbox, const std::shared_ptr<Item>& message, const char* folder) {
  mailbox.AddItem(*mailbox.Distinguished(folder), message);
}

std::shared_ptr<Item> Cancellation(const Context& context, const Mailbox& from, const Item& meeting) {
  auto message = MeetingMessage(context, from, meeting, "MeetingCancellation", "IPM.Schedule.Meeting.Canceled");
  message->Set("Subject", "Canceled: " + meeting.Text("Subject"));
  message->Set("ResponseType", "NoResponseReceived");
  message->Set("AppointmentSequenceNumber",
               std::to_string(std::atoi(meeting.Text("AppointmentSequenceNumber").c_str()) + 1));
  message->html = meeting.html;
  message->text = meeting.text;
  return message;
}

/// Addresses a message to those whom no list has any more.
void AddressToGone(Context& context, const std::set<std::string>& gone, Item& message) {
  Element to = Types("ToRecipients");
  for (const std::string& address : gone) to.Add("Mailbox").Add("EmailAddress", address);
  CompleteRecipients(context, to);
  message.Set(std::move(to));
}

Element Entry(const Mailbox& mailbox, const Item& item) {
  Element entry = Types(item.element);
  entry.Add(ItemIdElement(mailbox, item));
  return entry;
}

void CheckCurrent(const Item& reference) {
  if (reference.element == "MeetingRequest" && reference.Flag("IsOutOfDate"))
    throw EwsError("ErrorCalendarMeetingRequestIsOutOfDate");
}

/// The attendee's own copy of a meeting, by the item that an answer names.
Found OwnCopy(Context& context, const Found& reference) {
  if (reference.item->element == "CalendarItem") return reference;
  Found own = reference;
  own.item = FindMeeting(*reference.mailbox, reference.item->Text("UID"));
  own.master = nullptr;
  if (own.item == nullptr) {
    // It was declined or removed before; the invitation still knows all of it.
    AttendTo(*reference.mailbox, *reference.item);
    own.item = FindMeeting(*reference.mailbox, reference.item->Text("UID"));
  }
  if (own.item == nullptr) throw EwsError("ErrorItemNotFound");
  own.folder = own.mailbox->FindFolder(own.item->folder);
  own.access = context.store.AccessTo(*own.mailbox, *own.folder, context.user);
  if (const auto original = ParseTime(reference.item->Text("RecurrenceId"));
      original && own.item->Find("Recurrence") != nullptr) {
    own.master = own.item;
    own.item = OpenException(*own.mailbox, *own.master, *original);
    if (own.item == nullptr) throw EwsError("ErrorItemNotFound");
  }
  return own;
}

std::vector<Element> Respond(Context& context, const Answer& answer, const Element& response, const Element& request) {
  const std::string& disposition = request.AttributeText("MessageDisposition");
  if (disposition.empty()) throw EwsError("ErrorMessageDispositionRequired");
  const Found reference = LocateReference(context, response);
  const bool is_request = reference.item->element == "MeetingRequest";
  if (!is_request && (reference.item->element != "CalendarItem" || !reference.item->Flag("IsMeeting")))
    throw EwsError("ErrorInvalidReferenceItem");
  if (reference.item->Flag("IsDelegated")) throw EwsError("ErrorCalendarIsDelegatedFor" + std::string(answer.response));
  CheckCurrent(*reference.item);
  const Found own = OwnCopy(context, reference);
  RequireEdit(context, own);
  if (IsOwn(*own.item)) throw EwsError(answer.for_organizer);
  if (own.item->Flag("IsCancelled")) throw EwsError(answer.for_cancelled);
  for (const char* proposed : {"ProposedStart", "ProposedEnd"})
    if (response.Child(proposed) != nullptr && own.item->Text("AllowNewTimeProposal") == "false")
      throw EwsError("ErrorInvalidOperation", "The organizer of this meeting takes no proposals of another time.");

  Mailbox& mailbox = *own.mailbox;
  std::shared_ptr<Item> target = own.item;
  if (own.master != nullptr) {
    target = OpenException(mailbox, *own.master, *ParseTime(own.item->Text("OriginalStart")));
    if (target == nullptr) throw EwsError("ErrorItemNotFound");
  }
  const std::string type = answer.response;
  target->Set("MyResponseType", type);
  target->Set("AppointmentReplyTime", TimeText(Now()));
  const std::string& intended = target->Text("IntendedFreeBusyStatus");
  if (type == "Accept") target->Set("LegacyFreeBusyStatus", intended.empty() ? "Busy" : intended);
  if (type == "Tentative") target->Set("LegacyFreeBusyStatus", "Tentative");
  if (type == "Decline") target->Set("LegacyFreeBusyStatus", "Free");

  auto message = MeetingMessage(context, mailbox, *target, "MeetingResponse", answer.item_class);
  for (const char* list : {"Recurrence", "RequiredAttendees", "OptionalAttendees", "Resources"}) message->Remove(list);
  const bool proposes = response.Child("ProposedStart") != nullptr;
  message->Set("Subject", (proposes ? "New Time Proposed: " : answer.subject) + target->Text("Subject"));
  message->Set("ResponseType", type);
  for (const Element& child : response.children) {
    const Member* member = Schema::Instance().ItemType("MeetingResponse")->Find(child.name);
    if (child.name == "Body")
      (child.AttributeText("BodyType") == "HTML" ? message->html : message->text) = child.text;
    else if (child.name.starts_with("Proposed"))
      message->Set(child.name, TimeText(ParseTime(child.text).value_or(0)));
    else if (member != nullptr && child.name != "Attachments" && child.name != "Sender" && child.name != "From" &&
             child.name != "InternetMessageHeaders" && child.name != "ItemClass")
      SetProperty(context, *message, *member, {}, child, Change::kCreate);
  }
  if (message->Find("ToRecipients") == nullptr) {
    Element to = Types("ToRecipients");
    if (const Element* organizer = target->Find("Organizer")) to.children = organizer->children;
    message->Set(std::move(to));
  }

  std::vector<Element> changed;
  if (type != "Decline") {
    mailbox.Touch(own.master != nullptr ? *own.master : *target, context.user.display_name);
    if (own.master != nullptr) target->change = own.master->change;
    changed.push_back(Entry(mailbox, *target));
  } else if (own.master != nullptr) {
    own.master->exceptions[*ParseTime(target->Text("OriginalStart"))] = nullptr;
    mailbox.Touch(*own.master, context.user.display_name);
  } else {
    changed.push_back(Entry(mailbox, mailbox.MoveItem(target, mailbox, *mailbox.Distinguished("deleteditems"))));
  }
  // An invitation that was answered has done its work.
  if (is_request && reference.item->id_tail.empty())
    changed.push_back(
        Entry(mailbox, mailbox.MoveItem(reference.item, mailbox, *mailbox.Distinguished("deleteditems"))));
  if (disposition == "SaveOnly") {
    Save(mailbox, message, "drafts");
    changed.push_back(Entry(mailbox, *message));
    return changed;
  }
  Send(context, *message, true);
  if (disposition == "SendAndSaveCopy") Save(mailbox, message, "sentitems");
  if (disposition == "SendOnly") changed.clear();
  return changed;
}

std::vector<Element> CancelByRequest(Context& context, const Element& response, const Element& request) {
  const std::string& disposition = request.AttributeText("MessageDisposition");
  if (disposition.empty()) throw EwsError("ErrorMessageDispositionRequired");
  const Found found = LocateReference(context, response);
  if (found.item->element != "CalendarItem" || !found.item->Flag("IsMeeting"))
    throw EwsError("ErrorInvalidReferenceItem");
  RequireEdit(context, found);
  if (!IsOwn(*found.item)) throw EwsError("ErrorCalendarIsNotOrganizer");
  Mailbox& mailbox = *found.mailbox;
  std::vector<Element> changed;
  if (disposition == "SaveOnly") {
    // Nobody is told before the draft goes out, and until then the meeting takes place.
    auto draft = Cancellation(context, mailbox, *found.item);
    AddressTo(*found.item, Attendees(*found.item), *draft);
    if (const Element* body = response.Child("NewBodyContent"))
      (body->AttributeText("BodyType") == "HTML" ? draft->html : draft->text) = body->text;
    Save(mailbox, draft, "drafts");
    return {Entry(mailbox, *draft)};
  }
  Cancel(context, found, disposition == "SendAndSaveCopy", response.Child("NewBodyContent"));
  if (found.master != nullptr) {
    found.master->exceptions[*ParseTime(found.item->Text("OriginalStart"))] = nullptr;
    mailbox.Touch(*found.master, context.user.display_name);
    return changed;
  }
  found.item->SetFlag("IsCancelled", true);
  found.item->Set("AppointmentState", "5");
  found.item->Set("LegacyFreeBusyStatus", "Free");
  changed.push_back(Entry(mailbox, mailbox.MoveItem(found.item, mailbox, *mailbox.Distinguished("deleteditems"))));
  return changed;
}

std::vector<Element> RemoveCancelled(Context& context, const Element& response) {
  const Found reference = LocateReference(context, response);
  const bool message = reference.item->element == "MeetingCancellation";
  if (!message && (reference.item->element != "CalendarItem" || !reference.item->Flag("IsCancelled")))
    throw EwsError("ErrorInvalidReferenceItem");
  RequireDelete(context, reference);
  Mailbox& mailbox = *reference.mailbox;
  Folder& trash = *mailbox.Distinguished("deleteditems");
  std::vector<Element> changed;
  const std::shared_ptr<Item> meeting = message ? FindMeeting(mailbox, reference.item->Text("UID"))
                                        : reference.master == nullptr ? reference.item
                                                                      : nullptr;
  const auto original = ParseTime(reference.item->Text("RecurrenceId"));
  const std::shared_ptr<Item> master =
      message && meeting != nullptr && original && meeting->Find("Recurrence") != nullptr ? meeting : reference.master;
  if (master != nullptr) {
    master->exceptions[*original] = nullptr;
    mailbox.Touch(*master, context.user.display_name);
  } else if (meeting != nullptr && meeting->Flag("IsCancelled")) {
    changed.push_back(Entry(mailbox, mailbox.MoveItem(meeting, mailbox, trash)));
  }
  if (message) changed.push_back(Entry(mailbox, mailbox.MoveItem(reference.item, mailbox, trash)));
  return changed;
}

}  // namespace

Notices::Notices(const std::string& disposition)
    : send(!disposition.empty() && disposition != "SendToNone"),
      only_changed(disposition == "SendOnlyToChanged" || disposition == "SendToChangedAndSaveCopy"),
      save_copy(disposition.ends_with("SaveCopy")) {}

void Invite(Context& context, const Found& found, const Notices& notices, bool content_changed) {
  if (!notices.send || !IsOwn(*found.item)) return;
  Item& meeting = *found.item;
  Item& noted = found.master != nullptr ? *found.master : meeting;
  std::set<std::string> present = Attendees(meeting);
  std::set<std::string> invited = AddressesIn(noted, "Invited");
  present.erase(Lower(found.mailbox->owner.smtp_address));
  std::set<std::string> meant;
  for (const std::string& address : present)
    if (!notices.only_changed || content_changed || !invited.contains(address)) meant.insert(address);
  std::set<std::string> gone;
  for (const std::string& address : invited)
    if (!present.contains(address)) gone.insert(address);
  if (!meant.empty()) {
    // Known to be sent before it goes out, so that the copies say so, too.
    meeting.SetFlag("MeetingRequestWasSent", true);
    noted.SetFlag("MeetingRequestWasSent", true);
    const std::shared_ptr<Item> request = Invitation(context, *found.mailbox, meeting);
    AddressTo(meeting, meant, *request);
    Send(context, *request, true);
    if (notices.save_copy) Save(*found.mailbox, request, "sentitems");
  }
  if (!gone.empty()) {
    const std::shared_ptr<Item> message = Cancellation(context, *found.mailbox, meeting);
    AddressToGone(context, gone, *message);
    Send(context, *message, true);
    if (notices.save_copy) Save(*found.mailbox, message, "sentitems");
  }
  if (found.master == nullptr) NoteInvited(noted, present);
}

std::shared_ptr<Item> Cancel(Context& context, const Found& found, bool save_copy, const Element* body) {
  if (!IsOwn(*found.item)) return nullptr;
  const Item& noted = found.master != nullptr ? *found.master : *found.item;
  const std::shared_ptr<Item> message = Cancellation(context, *found.mailbox, *found.item);
  if (body != nullptr) {
    message->html.clear();
    message->text.clear();
    (body->AttributeText("BodyType") == "HTML" ? message->html : message->text) = body->text;
  }
  AddressTo(*found.item, AddressesIn(noted, "Invited"), *message);
  if (!HasRecipients(*message)) return nullptr;
  Send(context, *message, true);
  if (save_copy) Save(*found.mailbox, message, "sentitems");
  return message;
}

void CopyToDelegates(Store& store, Mailbox& mailbox, const std::string& entry_id) {
  const std::shared_ptr<Item> message = mailbox.FindItem(entry_id);
  if (message == nullptr || mailbox.meeting_delivery == "NoForward" ||
      (message->element != "MeetingRequest" && message->element != "MeetingCancellation"))
    return;
  bool copied = false;
  for (const Element& delegate : mailbox.delegates) {
    Mailbox* to = store.ByAddress(delegate.Child("UserId")->ChildText("PrimarySmtpAddress"));
    if (to == nullptr || !IsTrue(delegate.ChildText("ReceiveCopiesOfMeetingMessages"))) continue;
    const std::shared_ptr<Item> copy = Copy(*message);
    copy->SetFlag("IsDelegated", true);
    copy->Set("MeetingRequestType", "PrincipalWantsCopy");
    // It tells of somebody else's calendar, so nothing is done with one's own.
    to->Deliver(copy);
    copied = true;
  }
  if (copied && mailbox.meeting_delivery == "DelegatesOnly") mailbox.RemoveItem(entry_id);
}

void KeepTracking(const Item& before, Item& after) {
  Item known = before;
  for (const auto& [list, recipients] : kLists) {
    const Element* stored = after.Find(list);
    if (stored == nullptr) continue;
    Element attendees = *stored;
    for (Element& attendee : attendees.children) {
      const Element* mailbox = attendee.Child("Mailbox");
      if (mailbox == nullptr) continue;
      const Element* tracked = FindAttendee(known, mailbox->ChildText("EmailAddress"));
      const Element address = *mailbox;
      if (tracked == nullptr || tracked->Child("LastResponseTime") == nullptr) continue;
      attendee = *tracked;
      *attendee.Child("Mailbox") = address;
    }
    after.Set(std::move(attendees));
  }
}

bool IsMeetingAnswer(const std::string& element) {
  return FindAnswer(element) != nullptr || element == "CancelCalendarItem" || element == "RemoveItem";
}

std::vector<Element> AnswerMeeting(Context& context, const Element& response, const Element& request) {
  if (response.name == "CancelCalendarItem") return CancelByRequest(context, response, request);
  if (response.name == "RemoveItem") return RemoveCancelled(context, response);
  return Respond(context, *FindAnswer(response.name), response, request);
}

}  // namespace velmore::simulator
