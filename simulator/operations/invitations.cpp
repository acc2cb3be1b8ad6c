#include "simulator/operations/invitations.h"

#include "simulator/mailbox/attendant.h"
#include "simulator/mailbox/mime.h"

namespace velmore::simulator {

namespace {

/// What is otherwise in a series goes with the invitation to it: who comes later would never hear of it.
void CarryExceptions(const Item& meeting, Item& request) {
  if (meeting.Find("Recurrence") == nullptr) return;
  for (const auto& [original, exception] : meeting.exceptions) {
    if (exception == nullptr) {
      // What an attendee took out of his own calendar takes place for others.
      if (meeting.Text("MyResponseType") == "Organizer") request.exceptions[original] = nullptr;
      continue;
    }
    const std::shared_ptr<Item> carried = Copy(*exception);
    if (carried->Text("IntendedFreeBusyStatus").empty())
      carried->Set("IntendedFreeBusyStatus", carried->Text("LegacyFreeBusyStatus"));
    request.exceptions[original] = carried;
  }
}

}  // namespace

std::shared_ptr<Item> MeetingMessage(const Context& context, const Mailbox& from, const Item& meeting,
                                     const char* element, const char* item_class) {
  auto message = std::make_shared<Item>();
  message->element = element;
  message->Set("ItemClass", item_class);
  CopyMeeting(meeting, *message);
  message->Set("Subject", meeting.Text("Subject"));
  Element author = Types("From");
  author.Add(MailboxElement(from.owner.display_name, from.owner.smtp_address, "Mailbox"));
  message->Set(std::move(author));
  message->Set("CalendarItemType", meeting.Text("CalendarItemType"));
  message->SetFlag("IsDraft", true);
  message->SetFlag("IsRead", true);
  message->Set("ConversationTopic", meeting.Text("Subject"));
  message->Set("DateTimeStamp", TimeText(Now()));
  message->modified_by = context.user.display_name;
  return message;
}

std::shared_ptr<Item> Invitation(const Context& context, const Mailbox& from, const Item& meeting) {
  auto request = MeetingMessage(context, from, meeting, "MeetingRequest", "IPM.Schedule.Meeting.Request");
  request->html = meeting.html;
  request->text = meeting.text;
  request->attachments = Copy(meeting)->attachments;
  request->Set("MeetingRequestType", "NewMeetingRequest");
  request->Set("IntendedFreeBusyStatus", meeting.Text("LegacyFreeBusyStatus"));
  request->Set("LegacyFreeBusyStatus", "Tentative");
  request->Set("MyResponseType", "NoResponseReceived");
  request->Set("ResponseType", "NoResponseReceived");
  request->SetFlag("IsMeeting", true);
  request->SetFlag("IsCancelled", false);
  request->SetFlag("IsRecurring", meeting.Find("Recurrence") != nullptr || meeting.Flag("IsRecurring"));
  request->SetFlag("MeetingRequestWasSent", true);
  request->Set("AppointmentState", "3");
  CarryExceptions(meeting, *request);
  return request;
}

bool CanInvite(const Item& item) {
  return item.element == "MeetingRequest" || (item.element == "CalendarItem" && item.Flag("IsMeeting"));
}

std::shared_ptr<Item> PassOn(Context& context, const Found& meeting) {
  const Mailbox& from = context.home != nullptr ? *context.home : *meeting.mailbox;
  const std::shared_ptr<Item> request = Invitation(context, from, *meeting.item);
  // What the organizer meant, not how the one who passes it on stands to it.
  if (const std::string& intended = meeting.item->Text("IntendedFreeBusyStatus"); !intended.empty())
    request->Set("IntendedFreeBusyStatus", intended);
  return request;
}

}  // namespace velmore::simulator
