// Meetings as the mailboxes of all who take part live them.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>

#include "ProgramTestSupport.h"
#include "SimulatorTestSupport.h"
#include "simulator/types/text.h"

namespace velmore::simulator::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

class SimulatorMeetings : public WriteTest {
 protected:
  static std::string Attendees(const std::string& list, std::initializer_list<const char*> names) {
    std::string xml;
    for (const char* name : names)
      xml += "<t:Attendee><t:Mailbox><t:EmailAddress>" + std::string(name) +
             "@example.com</t:EmailAddress></t:Mailbox></t:Attendee>";
    return "<t:" + list + ">" + xml + "</t:" + list + ">";
  }
  static std::string Weekly() {
    return "<t:Recurrence><t:WeeklyRecurrence><t:Interval>1</t:Interval><t:DaysOfWeek>Monday</t:DaysOfWeek>"
           "</t:WeeklyRecurrence><t:NumberedRecurrence><t:StartDate>2026-02-02</t:StartDate>"
           "<t:NumberOfOccurrences>4</t:NumberOfOccurrences></t:NumberedRecurrence></t:Recurrence>";
  }
  Reply Create(const std::string& attendees, const std::string& disposition, const std::string& recurrence = {}) {
    return client.Call("<m:CreateItem SendMeetingInvitations=\"" + disposition +
                       "\"><m:Items><t:CalendarItem><t:Subject>Lamp</t:Subject><t:Body BodyType=\"Text\">Bring oil"
                       "</t:Body><t:Start>2026-02-02T09:00:00Z</t:Start><t:End>2026-02-02T10:00:00Z</t:End>"
                       "<t:Location>Tower</t:Location>" +
                       attendees + recurrence + "</t:CalendarItem></m:Items></m:CreateItem>");
  }
  /// A meeting of alice with bob, and carol if she likes.
  Element Meeting(const std::string& recurrence = {}) {
    const Reply reply = Create(Attendees("RequiredAttendees", {"bob"}) + Attendees("OptionalAttendees", {"carol"}),
                               "SendToAllAndSaveCopy", recurrence);
    EXPECT_EQ(reply.Code(), "NoError") << reply.body;
    return reply.Find("ItemId");
  }
  Reply Change(const Element& id, const std::string& updates, const std::string& disposition = "SendToAllAndSaveCopy") {
    return client.Call("<m:UpdateItem ConflictResolution=\"AlwaysOverwrite\" SendMeetingInvitationsOrCancellations=\"" +
                       disposition + "\"><m:ItemChanges><t:ItemChange><t:ItemId Id=\"" + id.AttributeText("Id") +
                       "\"/><t:Updates>" + updates + "</t:Updates></t:ItemChange></m:ItemChanges></m:UpdateItem>");
  }
  static std::string Set(const std::string& name, const std::string& text) {
    return "<t:SetItemField><t:FieldURI FieldURI=\"" + std::string(name == "Subject" ? "item:" : "calendar:") + name +
           "\"/><t:CalendarItem>" + (text.starts_with("<") ? text : "<t:" + name + ">" + text + "</t:" + name + ">") +
           "</t:CalendarItem></t:SetItemField>";
  }
  /// The items of a folder, as their owner sees them, oldest first.
  static std::vector<Element> All(Client& who, const std::string& folder) {
    std::vector<Element> items;
    const Reply rows = who.Call(FindItemXml(folder));
    const std::vector<const Element*> ids = rows.All("ItemId");
    for (auto id = ids.rbegin(); id != ids.rend(); ++id)
      items.push_back(who.Call(GetItemXml((*id)->AttributeText("Id"))).Find("Items").children.front());
    return items;
  }
  static std::string Subjects(Client& who, const std::string& folder) {
    std::string all;
    for (const Element& item : All(who, folder)) all += item.name + ":" + item.ChildText("Subject") + "|";
    return all;
  }
  static Element Last(Client& who, const std::string& folder) {
    const std::vector<Element> all = All(who, folder);
    return all.empty() ? Element() : all.back();
  }
  static Reply Answer(Client& who, const std::string& kind, const Element& item, const std::string& rest = {},
                      const std::string& disposition = "SendAndSaveCopy", const std::string& before = {}) {
    return who.Call(CreateItemXml(
        "<t:" + kind + ">" + before + "<t:ReferenceItemId Id=\"" + item.Child("ItemId")->AttributeText("Id") +
            "\" ChangeKey=\"" + item.Child("ItemId")->AttributeText("ChangeKey") + "\"/>" + rest + "</t:" + kind + ">",
        disposition));
  }
  std::string Tracking(const Element& id) {
    const Element meeting = Item(id);
    std::string all;
    for (const char* list : {"RequiredAttendees", "OptionalAttendees", "Resources"})
      if (const Element* attendees = meeting.Child(list))
        for (const Element& attendee : attendees->children)
          all += attendee.Child("Mailbox")->ChildText("Name") + "=" + attendee.ChildText("ResponseType") + " ";
    return all;
  }
  static std::string Occurrence(const Element& master, int index) {
    return "<t:OccurrenceItemId RecurringMasterId=\"" + master.AttributeText("Id") + "\" InstanceIndex=\"" +
           std::to_string(index) + "\"/>";
  }
  static std::string View(Client& who) {
    const Reply reply = who.Call(
        "<m:FindItem Traversal=\"Shallow\"><m:ItemShape><t:BaseShape>AllProperties</t:BaseShape></m:ItemShape>"
        "<m:CalendarView StartDate=\"2026-02-01T00:00:00Z\" EndDate=\"2026-04-01T00:00:00Z\"/><m:ParentFolderIds>" +
        Distinguished("calendar") + "</m:ParentFolderIds></m:FindItem>");
    std::string all;
    for (const Element* item : reply.All("CalendarItem"))
      all += item->ChildText("Start").substr(5, 8) + " " + item->ChildText("Subject") + "|";
    return all;
  }

  /// The calendar part of a message, as calendar_part.py reads it.
  std::string Calendar(const Element& message) {
    Client& who = message.Child("ItemId") != nullptr &&
                          client.Call(GetItemXml(message.Child("ItemId")->AttributeText("Id"))).Code() == "NoError"
                      ? client
                      : bob;
    const Reply reply = who.Call(GetItemXml(message.Child("ItemId")->AttributeText("Id"),
                                            "<t:BaseShape>IdOnly</t:BaseShape><t:IncludeMimeContent>true"
                                            "</t:IncludeMimeContent>"));
    const testing::Folder folder;
    const std::string file = folder.Write("message", DecodeBase64(reply.Find("MimeContent").text));
    FILE* answer = ::popen(("python3 " VELMORE_CALENDAR_PART " " + file + " 2>&1").c_str(), "r");
    std::string text;
    for (char buffer[4096]; const std::size_t got = std::fread(buffer, 1, sizeof buffer, answer);)
      text.append(buffer, got);
    EXPECT_EQ(::pclose(answer), 0) << text;
    return text;
  }

  Client bob{server, "bob", "builder"};
  Client carol{server, "carol", "cembalo"};
};

// ---- Invitations

TEST_F(SimulatorMeetings, InvitationArrivesWithATentativeAppointment) {
  const Element id = Meeting();
  const Element request = Last(bob, "inbox");
  EXPECT_EQ(request.name, "MeetingRequest");
  EXPECT_EQ(request.ChildText("ItemClass"), "IPM.Schedule.Meeting.Request");
  EXPECT_EQ(request.ChildText("Subject"), "Lamp");
  EXPECT_EQ(request.ChildText("MeetingRequestType"), "NewMeetingRequest");
  EXPECT_EQ(request.ChildText("IntendedFreeBusyStatus"), "Busy");
  EXPECT_EQ(request.ChildText("Start"), "2026-02-02T09:00:00Z");
  EXPECT_EQ(request.ChildText("Location"), "Tower");
  EXPECT_EQ(request.ChildText("HasBeenProcessed"), "true");
  EXPECT_EQ(request.ChildText("IsOutOfDate"), "false");
  EXPECT_EQ(request.Child("Organizer")->Child("Mailbox")->ChildText("Name"), "Alice Arden");
  EXPECT_NE(request.Child("Body")->text.find("Bring oil"), std::string::npos);
  EXPECT_NE(request.Child("ResponseObjects")->Child("AcceptItem"), nullptr);
  const Element appointment = Last(bob, "calendar");
  EXPECT_EQ(request.Child("AssociatedCalendarItemId")->AttributeText("Id"),
            appointment.Child("ItemId")->AttributeText("Id"));
  EXPECT_EQ(appointment.ChildText("UID"), Item(id).ChildText("UID"));
  EXPECT_EQ(appointment.ChildText("MyResponseType"), "NoResponseReceived");
  EXPECT_EQ(appointment.ChildText("LegacyFreeBusyStatus"), "Tentative");
  EXPECT_EQ(appointment.ChildText("AppointmentState"), "3");
  EXPECT_EQ(appointment.ChildText("IsMeeting"), "true");
  EXPECT_EQ(appointment.ChildText("IsOrganizer"), "false");
  EXPECT_NE(appointment.Child("ResponseObjects")->Child("DeclineItem"), nullptr);
  const Element own = Item(id);
  EXPECT_EQ(own.ChildText("MeetingRequestWasSent"), "true");
  EXPECT_EQ(own.ChildText("MyResponseType"), "Organizer");
  EXPECT_EQ(own.ChildText("AppointmentState"), "1");
  EXPECT_EQ(own.ChildText("IsOrganizer"), "true");
  EXPECT_EQ(Tracking(id), "Bob Birch=Unknown Carol Cedar=Unknown ");
  EXPECT_EQ(Subjects(client, "sentitems"), "MeetingRequest:Lamp|");
  EXPECT_EQ(server.CountItems("carol@example.com", "calendar"), 1u);
}

TEST_F(SimulatorMeetings, DispositionSaysWhetherAnythingIsSentAndKept) {
  const std::string who = Attendees("RequiredAttendees", {"bob"});
  EXPECT_EQ(Create(who, "SendToNone").Code(), "NoError");
  EXPECT_EQ(server.CountItems("bob@example.com", "inbox"), 0u);
  EXPECT_EQ(Last(client, "calendar").ChildText("MeetingRequestWasSent"), "false");
  EXPECT_EQ(Create(who, "SendOnlyToAll").Code(), "NoError");
  EXPECT_EQ(server.CountItems("bob@example.com", "inbox"), 1u);
  EXPECT_EQ(server.CountItems("alice@example.com", "sentitems"), 0u);
  EXPECT_EQ(Create(who, "SendToAllAndSaveCopy").Code(), "NoError");
  EXPECT_EQ(server.CountItems("bob@example.com", "inbox"), 2u);
  EXPECT_EQ(server.CountItems("alice@example.com", "sentitems"), 1u);
  // An appointment of one's own is nobody's business.
  EXPECT_EQ(Create({}, "SendToAllAndSaveCopy").Code(), "NoError");
  EXPECT_EQ(server.CountItems("alice@example.com", "sentitems"), 1u);
}

TEST_F(SimulatorMeetings, ResourcesAreInvitedToo) {
  EXPECT_EQ(Create(Attendees("RequiredAttendees", {"bob"}) + Attendees("Resources", {"carol"}), "SendOnlyToAll").Code(),
            "NoError");
  EXPECT_EQ(Last(carol, "calendar").ChildText("Subject"), "Lamp");
  EXPECT_EQ(Last(bob, "inbox").Child("BccRecipients"), nullptr);
}

// ---- Answers

TEST_F(SimulatorMeetings, AnswersReachTheOrganizersTracking) {
  const Element id = Meeting();
  const Element bobs = Last(bob, "inbox");
  const Reply accepted =
      Answer(bob, "AcceptItem", bobs, {}, "SendAndSaveCopy", "<t:Body BodyType=\"Text\">With oil</t:Body>");
  ASSERT_EQ(accepted.Code(), "NoError") << accepted.body;
  ASSERT_EQ(accepted.Find("Items").children.size(), 2u);
  EXPECT_EQ(accepted.Find("Items").children[0].name, "CalendarItem");
  const Element mine = Last(bob, "calendar");
  EXPECT_EQ(accepted.Find("ItemId").AttributeText("ChangeKey"), mine.Child("ItemId")->AttributeText("ChangeKey"));
  EXPECT_EQ(mine.ChildText("MyResponseType"), "Accept");
  EXPECT_EQ(mine.ChildText("LegacyFreeBusyStatus"), "Busy");
  EXPECT_FALSE(mine.ChildText("AppointmentReplyTime").empty());
  EXPECT_EQ(server.CountItems("bob@example.com", "inbox"), 0u) << "the invitation has done its work";
  EXPECT_EQ(Subjects(bob, "deleteditems"), "MeetingRequest:Lamp|");
  EXPECT_EQ(Subjects(bob, "sentitems"), "MeetingResponse:Accepted: Lamp|");
  const Element response = Last(client, "inbox");
  EXPECT_EQ(response.ChildText("ItemClass"), "IPM.Schedule.Meeting.Resp.Pos");
  EXPECT_EQ(response.ChildText("ResponseType"), "Accept");
  EXPECT_NE(response.Child("Body")->text.find("With oil"), std::string::npos);
  EXPECT_EQ(response.Child("AssociatedCalendarItemId")->AttributeText("Id"), id.AttributeText("Id"));
  EXPECT_EQ(Tracking(id), "Bob Birch=Accept Carol Cedar=Unknown ");

  const Reply tentative = Answer(carol, "TentativelyAcceptItem", Last(carol, "calendar"));
  EXPECT_EQ(tentative.Code(), "NoError") << tentative.body;
  EXPECT_EQ(Last(carol, "calendar").ChildText("LegacyFreeBusyStatus"), "Tentative");
  EXPECT_EQ(Tracking(id), "Bob Birch=Accept Carol Cedar=Tentative ");

  const Reply declined = Answer(carol, "DeclineItem", Last(carol, "calendar"));
  EXPECT_EQ(declined.Code(), "NoError") << declined.body;
  EXPECT_EQ(server.CountItems("carol@example.com", "calendar"), 0u);
  EXPECT_EQ(Tracking(id), "Bob Birch=Accept Carol Cedar=Decline ");
  EXPECT_EQ(Last(client, "inbox").ChildText("ItemClass"), "IPM.Schedule.Meeting.Resp.Neg");
  // Who thinks better of it still has the invitation.
  const Reply again = Answer(carol, "AcceptItem", Last(carol, "inbox"));
  EXPECT_EQ(again.Code(), "NoError") << again.body;
  EXPECT_EQ(Last(carol, "calendar").ChildText("MyResponseType"), "Accept");
  EXPECT_EQ(Tracking(id), "Bob Birch=Accept Carol Cedar=Accept ");
}

TEST_F(SimulatorMeetings, AnotherTimeIsProposed) {
  const Element id = Meeting();
  const Reply reply = Answer(bob, "TentativelyAcceptItem", Last(bob, "calendar"),
                             "<t:ProposedStart>2026-02-03T09:00:00Z</t:ProposedStart>"
                             "<t:ProposedEnd>2026-02-03T10:00:00Z</t:ProposedEnd>");
  EXPECT_EQ(reply.Code(), "NoError") << reply.body;
  const Element response = Last(client, "inbox");
  EXPECT_EQ(response.ChildText("Subject"), "New Time Proposed: Lamp");
  EXPECT_EQ(response.ChildText("ProposedStart"), "2026-02-03T09:00:00Z");
  const Element attendee = Item(id).Child("RequiredAttendees")->children[0];
  EXPECT_EQ(attendee.ChildText("ResponseType"), "Tentative");
  EXPECT_EQ(attendee.ChildText("ProposedStart"), "2026-02-03T09:00:00Z");
  EXPECT_EQ(attendee.ChildText("ProposedEnd"), "2026-02-03T10:00:00Z");
}

TEST_F(SimulatorMeetings, DispositionOfAnAnswerHolds) {
  const Element id = Meeting();
  const Reply only = Answer(bob, "AcceptItem", Last(bob, "calendar"), {}, "SendOnly");
  EXPECT_EQ(only.Code(), "NoError") << only.body;
  EXPECT_TRUE(only.Find("Items").children.empty());
  EXPECT_EQ(server.CountItems("bob@example.com", "sentitems"), 0u);
  EXPECT_EQ(Tracking(id), "Bob Birch=Accept Carol Cedar=Unknown ");
  const Reply saved = Answer(carol, "AcceptItem", Last(carol, "calendar"), {}, "SaveOnly");
  EXPECT_EQ(saved.Code(), "NoError") << saved.body;
  EXPECT_EQ(saved.Find("Items").children.back().name, "MeetingResponse");
  EXPECT_EQ(Last(carol, "calendar").ChildText("MyResponseType"), "Accept");
  EXPECT_EQ(Tracking(id), "Bob Birch=Accept Carol Cedar=Unknown ") << "until the answer is sent";
  const Reply sent = carol.Call("<m:SendItem SaveItemToFolder=\"false\"><m:ItemIds>" +
                                Ids(*Last(carol, "drafts").Child("ItemId")) + "</m:ItemIds></m:SendItem>");
  EXPECT_EQ(sent.Code(), "NoError") << sent.body;
  EXPECT_EQ(Tracking(id), "Bob Birch=Accept Carol Cedar=Accept ");
}

TEST_F(SimulatorMeetings, WhatCannotBeAnsweredIsRefused) {
  const Element id = Meeting();
  for (const auto& [kind, code] : {std::pair{"AcceptItem", "ErrorCalendarIsOrganizerForAccept"},
                                   {"TentativelyAcceptItem", "ErrorCalendarIsOrganizerForTentative"},
                                   {"DeclineItem", "ErrorCalendarIsOrganizerForDecline"}})
    EXPECT_EQ(Answer(client, kind, Item(id)).Code(), code);
  EXPECT_EQ(Answer(bob, "CancelCalendarItem", Last(bob, "calendar")).Code(), "ErrorCalendarIsNotOrganizer");
  EXPECT_EQ(Answer(bob, "AcceptItem", Last(bob, "calendar"), {}, "").Code(), "ErrorMessageDispositionRequired");
  EXPECT_EQ(Answer(bob, "RemoveItem", Last(bob, "calendar")).Code(), "ErrorInvalidReferenceItem");
  const Element old = Last(bob, "inbox");
  Change(id, Set("Start", "2026-02-02T08:00:00Z"));
  const Element outdated = bob.Call(GetItemXml(old.Child("ItemId")->AttributeText("Id"))).Find("MeetingRequest");
  EXPECT_EQ(outdated.ChildText("IsOutOfDate"), "true");
  EXPECT_EQ(Answer(bob, "AcceptItem", outdated).Code(), "ErrorCalendarMeetingRequestIsOutOfDate");
  Answer(client, "CancelCalendarItem", Item(id));
  for (const auto& [kind, code] : {std::pair{"AcceptItem", "ErrorCalendarIsCancelledForAccept"},
                                   {"TentativelyAcceptItem", "ErrorCalendarIsCancelledForTentative"},
                                   {"DeclineItem", "ErrorCalendarIsCancelledForDecline"}})
    EXPECT_EQ(Answer(bob, kind, Last(bob, "calendar")).Code(), code);
}

// ---- Updates

TEST_F(SimulatorMeetings, AnotherTimeWantsAnotherAnswerAndAnotherRoomDoesNot) {
  const Element id = Meeting();
  Answer(bob, "AcceptItem", Last(bob, "calendar"));
  EXPECT_EQ(Change(id, Set("Location", "Cellar")).Code(), "NoError");
  EXPECT_EQ(Last(bob, "inbox").ChildText("MeetingRequestType"), "InformationalUpdate");
  Element mine = Last(bob, "calendar");
  EXPECT_EQ(mine.ChildText("Location"), "Cellar");
  EXPECT_EQ(mine.ChildText("MyResponseType"), "Accept");
  EXPECT_EQ(Item(id).ChildText("AppointmentSequenceNumber"), "0");
  EXPECT_EQ(Change(id, Set("Start", "2026-02-02T08:00:00Z")).Code(), "NoError");
  EXPECT_EQ(Last(bob, "inbox").ChildText("MeetingRequestType"), "FullUpdate");
  mine = Last(bob, "calendar");
  EXPECT_EQ(mine.ChildText("Start"), "2026-02-02T08:00:00Z");
  EXPECT_EQ(mine.ChildText("MyResponseType"), "NoResponseReceived");
  EXPECT_EQ(mine.ChildText("LegacyFreeBusyStatus"), "Tentative");
  EXPECT_EQ(Item(id).ChildText("AppointmentSequenceNumber"), "1");
  EXPECT_EQ(server.CountItems("bob@example.com", "calendar"), 1u);
}

TEST_F(SimulatorMeetings, WhoComesIsInvitedAndWhoGoesIsTold) {
  const Element id = Create(Attendees("RequiredAttendees", {"bob"}), "SendToAllAndSaveCopy").Find("ItemId");
  Answer(bob, "AcceptItem", Last(bob, "calendar"));
  const std::size_t before = server.CountItems("bob@example.com", "inbox");
  EXPECT_EQ(
      Change(id, Set("RequiredAttendees", Attendees("RequiredAttendees", {"bob", "carol"})), "SendToChangedAndSaveCopy")
          .Code(),
      "NoError");
  EXPECT_EQ(Last(carol, "inbox").ChildText("MeetingRequestType"), "NewMeetingRequest");
  EXPECT_EQ(server.CountItems("bob@example.com", "inbox"), before) << "nothing changed for him";
  EXPECT_EQ(Tracking(id), "Bob Birch=Accept Carol Cedar=Unknown ") << "his answer is not forgotten";
  EXPECT_EQ(Change(id, Set("RequiredAttendees", Attendees("RequiredAttendees", {"carol"})), "SendOnlyToChanged").Code(),
            "NoError");
  EXPECT_EQ(Last(bob, "inbox").name, "MeetingCancellation");
  EXPECT_EQ(Last(bob, "calendar").ChildText("IsCancelled"), "true");
  EXPECT_EQ(server.CountItems("carol@example.com", "inbox"), 1u);
  // Another subject concerns everybody who is left.
  EXPECT_EQ(Change(id, Set("Subject", "Wick"), "SendOnlyToChanged").Code(), "NoError");
  EXPECT_EQ(Last(carol, "calendar").ChildText("Subject"), "Wick");
}

TEST_F(SimulatorMeetings, WhoIsLeftAloneTellsEverybody) {
  const Element id = Meeting();
  const std::string nobody =
      "<t:DeleteItemField><t:FieldURI FieldURI=\"calendar:RequiredAttendees\"/></t:DeleteItemField>"
      "<t:DeleteItemField><t:FieldURI FieldURI=\"calendar:OptionalAttendees\"/></t:DeleteItemField>";
  EXPECT_EQ(Change(id, nobody, "SendOnlyToAll").Code(), "NoError");
  for (Client* who : {&bob, &carol}) {
    const Element cancellation = Last(*who, "inbox");
    EXPECT_EQ(cancellation.name, "MeetingCancellation");
    EXPECT_EQ(cancellation.ChildText("DisplayTo"), "Bob Birch; Carol Cedar");
    EXPECT_EQ(Last(*who, "calendar").ChildText("IsCancelled"), "true");
  }
  EXPECT_EQ(Item(id).ChildText("IsMeeting"), "false");
}

TEST_F(SimulatorMeetings, MeetingThatWasSavedSilentlyIsSentByAnUpdateThatChangesNothing) {
  const Element id = Create(Attendees("RequiredAttendees", {"bob"}), "SendToNone").Find("ItemId");
  EXPECT_EQ(Change(id, {}, "SendToNone").Code(), "NoError");
  EXPECT_EQ(server.CountItems("bob@example.com", "inbox"), 0u);
  EXPECT_EQ(Change(id, {}, "SendOnlyToAll").Code(), "NoError");
  EXPECT_EQ(Last(bob, "inbox").ChildText("MeetingRequestType"), "NewMeetingRequest");
  EXPECT_EQ(Item(id).ChildText("MeetingRequestWasSent"), "true");
}

TEST_F(SimulatorMeetings, WhatAnAttendeeWritesIsHisOwn) {
  Meeting();
  const Element mine = Last(bob, "calendar");
  const Reply reply = bob.Call(
      "<m:UpdateItem ConflictResolution=\"AlwaysOverwrite\" "
      "SendMeetingInvitationsOrCancellations=\"SendToAllAndSaveCopy\"><m:ItemChanges><t:ItemChange>" +
      Ids(*mine.Child("ItemId")) + "<t:Updates>" + Set("Subject", "Mine") +
      "</t:Updates></t:ItemChange></m:ItemChanges></m:UpdateItem>");
  EXPECT_EQ(reply.Code(), "NoError") << reply.body;
  EXPECT_EQ(server.CountItems("alice@example.com", "inbox"), 0u);
  EXPECT_EQ(Last(bob, "calendar").ChildText("MyResponseType"), "NoResponseReceived");
}

// ---- Cancellations

TEST_F(SimulatorMeetings, CancelledMeetingIsMarkedUntilItIsRemoved) {
  const Element id = Meeting();
  const Reply reply =
      Answer(client, "CancelCalendarItem", Item(id), "<t:NewBodyContent BodyType=\"Text\">No oil</t:NewBodyContent>");
  ASSERT_EQ(reply.Code(), "NoError") << reply.body;
  EXPECT_EQ(server.CountItems("alice@example.com", "calendar"), 0u);
  EXPECT_EQ(Subjects(client, "deleteditems"), "CalendarItem:Lamp|");
  EXPECT_EQ(Subjects(client, "sentitems"), "MeetingRequest:Lamp|MeetingCancellation:Canceled: Lamp|");
  const Element cancellation = Last(bob, "inbox");
  EXPECT_EQ(cancellation.ChildText("ItemClass"), "IPM.Schedule.Meeting.Canceled");
  EXPECT_NE(cancellation.Child("Body")->text.find("No oil"), std::string::npos);
  const Element mine = Last(bob, "calendar");
  EXPECT_EQ(mine.ChildText("IsCancelled"), "true");
  EXPECT_EQ(mine.ChildText("LegacyFreeBusyStatus"), "Free");
  EXPECT_EQ(mine.ChildText("AppointmentState"), "7");
  EXPECT_EQ(mine.ChildText("Subject"), "Canceled: Lamp");
  EXPECT_NE(cancellation.Child("ResponseObjects")->Child("RemoveItem"), nullptr);
  const Reply removed = Answer(bob, "RemoveItem", cancellation, {}, "");
  EXPECT_EQ(removed.Code(), "NoError") << removed.body;
  EXPECT_EQ(server.CountItems("bob@example.com", "calendar"), 0u);
}

TEST_F(SimulatorMeetings, DeletionTellsTheAttendeesWhenItIsTo) {
  for (const auto& [disposition, told] :
       {std::pair{"SendToNone", 0u}, {"SendOnlyToAll", 1u}, {"SendToAllAndSaveCopy", 1u}}) {
    const Element id = Meeting();
    const auto cancellations = [&] {
      std::size_t count = 0;
      for (const Element& item : All(bob, "inbox")) count += item.name == "MeetingCancellation" ? 1 : 0;
      return count;
    };
    const std::size_t before = cancellations();
    EXPECT_EQ(client
                  .Call("<m:DeleteItem DeleteType=\"MoveToDeletedItems\" SendMeetingCancellations=\"" +
                        std::string(disposition) + "\"><m:ItemIds><t:ItemId Id=\"" + id.AttributeText("Id") +
                        "\"/></m:ItemIds></m:DeleteItem>")
                  .Code(),
              "NoError");
    EXPECT_EQ(cancellations() - before, told) << disposition;
  }
}

// ---- Series

TEST_F(SimulatorMeetings, SeriesAsThreeMailboxesLiveIt) {
  const Element id = Meeting(Weekly());
  EXPECT_EQ(Last(bob, "inbox").ChildText("CalendarItemType"), "RecurringMaster");
  EXPECT_NE(Last(bob, "inbox").Child("Recurrence"), nullptr);
  EXPECT_EQ(View(bob), "02-02T09 Lamp|02-09T09 Lamp|02-16T09 Lamp|02-23T09 Lamp|");
  Answer(bob, "AcceptItem", Last(bob, "inbox"));
  EXPECT_EQ(Tracking(id), "Bob Birch=Accept Carol Cedar=Unknown ");
  // One occurrence is moved.
  const Element second = client.Call(GetItemXml(Occurrence(id, 2))).Find("CalendarItem");
  const Reply moved =
      Change(*second.Child("ItemId"), Set("Start", "2026-02-10T12:00:00Z") + Set("End", "2026-02-10T13:00:00Z"));
  EXPECT_EQ(moved.Code(), "NoError") << moved.body;
  EXPECT_EQ(View(bob), "02-02T09 Lamp|02-10T12 Lamp|02-16T09 Lamp|02-23T09 Lamp|");
  const Element update = Last(bob, "inbox");
  EXPECT_EQ(update.ChildText("CalendarItemType"), "Exception");
  EXPECT_EQ(update.ChildText("RecurrenceId"), "2026-02-09T09:00:00Z");
  const Element his =
      bob.Call(GetItemXml(update.Child("AssociatedCalendarItemId")->AttributeText("Id"))).Find("CalendarItem");
  EXPECT_EQ(his.ChildText("CalendarItemType"), "Exception");
  EXPECT_EQ(his.ChildText("MyResponseType"), "NoResponseReceived");
  // He declines that one, and keeps the others.
  EXPECT_EQ(Answer(bob, "DeclineItem", update).Code(), "NoError");
  EXPECT_EQ(View(bob), "02-02T09 Lamp|02-16T09 Lamp|02-23T09 Lamp|");
  EXPECT_EQ(Tracking(*client.Call(GetItemXml(Occurrence(id, 2))).Find("CalendarItem").Child("ItemId")),
            "Bob Birch=Decline Carol Cedar=Unknown ");
  EXPECT_EQ(Tracking(id), "Bob Birch=Accept Carol Cedar=Unknown ");
  // One occurrence is cancelled, then all of them.
  const Element third = client.Call(GetItemXml(Occurrence(id, 3))).Find("CalendarItem");
  EXPECT_EQ(Answer(client, "CancelCalendarItem", third).Code(), "NoError");
  EXPECT_EQ(View(client), "02-02T09 Lamp|02-10T12 Lamp|02-23T09 Lamp|");
  EXPECT_EQ(View(bob), "02-02T09 Lamp|02-16T09 Canceled: Lamp|02-23T09 Lamp|");
  EXPECT_EQ(Answer(bob, "RemoveItem", Last(bob, "inbox"), {}, "").Code(), "NoError");
  EXPECT_EQ(View(bob), "02-02T09 Lamp|02-23T09 Lamp|");
  EXPECT_EQ(Answer(client, "CancelCalendarItem", Item(id)).Code(), "NoError");
  EXPECT_EQ(View(client), "");
  EXPECT_EQ(Last(carol, "calendar").ChildText("IsCancelled"), "true");
}

TEST_F(SimulatorMeetings, SeriesAtAnotherTimeIsANewQuestionForEachOfItsDays) {
  const Element id = Meeting(Weekly());
  Answer(bob, "AcceptItem", Last(bob, "inbox"));
  const Element master = *Last(bob, "calendar").Child("ItemId");
  const Element second = bob.Call(GetItemXml(Occurrence(master, 2))).Find("CalendarItem");
  EXPECT_EQ(Answer(bob, "DeclineItem", second).Code(), "NoError");
  EXPECT_EQ(View(bob), "02-02T09 Lamp|02-16T09 Lamp|02-23T09 Lamp|");
  EXPECT_EQ(Change(id, Set("Start", "2026-02-02T07:00:00Z")).Code(), "NoError");
  EXPECT_EQ(View(bob), "02-02T07 Lamp|02-09T07 Lamp|02-16T07 Lamp|02-23T07 Lamp|");
  EXPECT_EQ(Last(bob, "calendar").ChildText("MyResponseType"), "NoResponseReceived");
}

// Who comes later finds the series as it is by now.
TEST_F(SimulatorMeetings, WhoComesToASeriesLaterSeesWhatWasMovedAndDeletedBefore) {
  const Element id = Create(Attendees("RequiredAttendees", {"bob"}), "SendToAllAndSaveCopy", Weekly()).Find("ItemId");
  Answer(bob, "AcceptItem", Last(bob, "inbox"));
  const Element second = client.Call(GetItemXml(Occurrence(id, 2))).Find("CalendarItem");
  EXPECT_EQ(
      Change(*second.Child("ItemId"), Set("Start", "2026-02-10T12:00:00Z") + Set("End", "2026-02-10T13:00:00Z")).Code(),
      "NoError");
  const Element third = client.Call(GetItemXml(Occurrence(id, 3))).Find("CalendarItem");
  EXPECT_EQ(client
                .Call("<m:DeleteItem DeleteType=\"HardDelete\" SendMeetingCancellations=\"SendToNone\"><m:ItemIds>" +
                      Ids(*third.Child("ItemId")) + "</m:ItemIds></m:DeleteItem>")
                .Code(),
            "NoError");
  const std::string his = View(bob);
  EXPECT_EQ(Change(id, Set("OptionalAttendees", Attendees("OptionalAttendees", {"carol"})) + Set("Location", "Cellar"),
                   "SendToChangedAndSaveCopy")
                .Code(),
            "NoError");
  EXPECT_EQ(View(carol), "02-02T09 Lamp|02-10T12 Lamp|02-23T09 Lamp|");
  EXPECT_EQ(View(bob), his) << "who knew of it is left as he was";
  const Element master = *Last(carol, "calendar").Child("ItemId");
  const Element moved = carol.Call(GetItemXml(Occurrence(master, 2))).Find("CalendarItem");
  EXPECT_EQ(moved.ChildText("CalendarItemType"), "Exception");
  EXPECT_EQ(moved.ChildText("OriginalStart"), "2026-02-09T09:00:00Z");
  EXPECT_EQ(moved.ChildText("MyResponseType"), "NoResponseReceived");
  EXPECT_EQ(moved.ChildText("LegacyFreeBusyStatus"), "Tentative");
  EXPECT_EQ(moved.ChildText("Location"), "Cellar");
  // It is hers: what she does with it is not done to the organizer's.
  EXPECT_EQ(Answer(carol, "DeclineItem", moved).Code(), "NoError");
  EXPECT_EQ(View(carol), "02-02T09 Lamp|02-23T09 Lamp|");
  EXPECT_EQ(View(client), "02-02T09 Lamp|02-10T12 Lamp|02-23T09 Lamp|");
  EXPECT_THAT(Tracking(*client.Call(GetItemXml(Occurrence(id, 2))).Find("CalendarItem").Child("ItemId")),
              HasSubstr("Carol Cedar=Decline "));
  // Another course makes it void for all.
  EXPECT_EQ(Change(id, Set("Start", "2026-02-02T07:00:00Z")).Code(), "NoError");
  EXPECT_EQ(View(carol), "02-02T07 Lamp|02-09T07 Lamp|02-16T07 Lamp|02-23T07 Lamp|");
}

// ---- The part that programs of other makers read

TEST_F(SimulatorMeetings, MessagesHaveACalendarPart) {
  EXPECT_EQ(Create("<t:RequiredAttendees><t:Attendee><t:Mailbox><t:Name>Bob; &quot;the&quot; Builder\n</t:Name>"
                   "<t:EmailAddress>bob@example.com</t:EmailAddress></t:Mailbox></t:Attendee></t:RequiredAttendees>",
                   "SendToAllAndSaveCopy")
                .Code(),
            "NoError");
  const std::string uid = "UID:" + Last(client, "calendar").ChildText("UID");
  const std::string request = Calendar(Last(bob, "inbox"));
  EXPECT_THAT(request, StartsWith("multipart/alternative text/plain text/calendar\nmethod REQUEST utf-8\n"
                                  "BEGIN:VCALENDAR\nMETHOD:REQUEST\n"));
  for (const std::string& line :
       {std::string("ORGANIZER;CN=Alice Arden:mailto:alice@example.com"),
        std::string("ROLE=REQ-PARTICIPANT;PARTSTAT=NEEDS-ACTION;RSVP=TRUE:mailto:bob@example.com"),
        std::string("SUMMARY:Lamp"), std::string("DESCRIPTION:Bring oil"), uid, std::string("DTSTART:20260202T090000Z"),
        std::string("DTEND:20260202T100000Z"), std::string("SEQUENCE:0"), std::string("CLASS:PUBLIC"),
        std::string("PRIORITY:5"), std::string("TRANSP:OPAQUE"), std::string("STATUS:CONFIRMED"),
        std::string("LOCATION:Tower"), std::string("X-MICROSOFT-CDO-BUSYSTATUS:TENTATIVE"),
        std::string("X-MICROSOFT-CDO-INTENDEDSTATUS:BUSY")})
    EXPECT_THAT(request, HasSubstr(line + "\n"));
  EXPECT_EQ(Calendar(Last(client, "sentitems")), request) << "the sender's copy says the same";

  EXPECT_EQ(Answer(bob, "AcceptItem", Last(bob, "inbox"), "", "SendAndSaveCopy",
                   "<t:Body BodyType=\"HTML\">&lt;b&gt;Gladly&lt;/b&gt;</t:Body>")
                .Code(),
            "NoError");
  const std::string reply = Calendar(Last(client, "inbox"));
  EXPECT_THAT(reply, StartsWith("multipart/alternative text/plain text/html text/calendar\nmethod REPLY utf-8\n"));
  for (const char* line :
       {"PARTSTAT=ACCEPTED:mailto:bob@example.com", "SUMMARY:Accepted: Lamp", "DESCRIPTION:Gladly\\n"})
    EXPECT_THAT(reply, HasSubstr(std::string(line) + "\n"));
  EXPECT_THAT(reply, HasSubstr(uid));
  EXPECT_EQ(reply.find("RSVP"), std::string::npos) << "he speaks for himself";

  const Element his = Last(bob, "calendar");
  EXPECT_EQ(Answer(bob, "TentativelyAcceptItem", his,
                   "<t:ProposedStart>2026-02-02T11:00:00Z</t:ProposedStart><t:ProposedEnd>2026-02-02T12:00:00Z"
                   "</t:ProposedEnd>")
                .Code(),
            "NoError");
  const std::string counter = Calendar(Last(client, "inbox"));
  for (const char* line : {"METHOD:COUNTER", "DTSTART:20260202T110000Z", "DTEND:20260202T120000Z",
                           "X-MS-OLK-ORIGINALSTART:20260202T090000Z"})
    EXPECT_THAT(counter, HasSubstr(std::string(line) + "\n"));

  EXPECT_EQ(Answer(client, "CancelCalendarItem", Last(client, "calendar")).Code(), "NoError");
  const std::string cancel = Calendar(Last(bob, "inbox"));
  for (const char* line : {"METHOD:CANCEL", "STATUS:CANCELLED", "TRANSP:TRANSPARENT", "SUMMARY:Canceled: Lamp"})
    EXPECT_THAT(cancel, HasSubstr(std::string(line) + "\n"));
  EXPECT_EQ(Calendar(Last(client, "inbox")), counter) << "and what came before is as it came";
}

// By the clocks of its zone, whatever the zone does: another library finds the same moments in it as the server.
TEST_F(SimulatorMeetings, SeriesInACalendarPartTakePlaceWhenTheServerSaysSo) {
  for (const char* zone : {"W. Europe Standard Time", "Eastern Standard Time", "AUS Eastern Standard Time",
                           "Nepal Standard Time", "Iran Standard Time", "UTC"}) {
    const Element id =
        Create(Attendees("RequiredAttendees", {"bob"}), "SendToAllAndSaveCopy",
               "<t:Recurrence><t:WeeklyRecurrence><t:Interval>3</t:Interval><t:DaysOfWeek>Monday Friday</t:DaysOfWeek>"
               "</t:WeeklyRecurrence><t:EndDateRecurrence><t:StartDate>2026-02-02</t:StartDate><t:EndDate>2027-06-01"
               "</t:EndDate></t:EndDateRecurrence></t:Recurrence><t:StartTimeZone Id=\"" +
                   std::string(zone) + "\"/>")
            .Find("ItemId");
    // One is left out, and one is otherwise, before anybody else hears of it.
    const Element second = client.Call(GetItemXml(Occurrence(id, 2))).Find("CalendarItem");
    EXPECT_EQ(Change(*second.Child("ItemId"), Set("Subject", "Candle"), "SendToNone").Code(), "NoError");
    const Element third = client.Call(GetItemXml(Occurrence(id, 3))).Find("CalendarItem");
    EXPECT_EQ(client
                  .Call("<m:DeleteItem DeleteType=\"HardDelete\" SendMeetingCancellations=\"SendToNone\"><m:ItemIds>" +
                        Ids(*third.Child("ItemId")) + "</m:ItemIds></m:DeleteItem>")
                  .Code(),
              "NoError");
    EXPECT_EQ(Change(id, Set("Location", "Cellar")).Code(), "NoError");
    const std::string text = Calendar(Last(bob, "inbox"));
    std::string there, here;
    for (std::size_t at = text.find("\noccurrence "); at != std::string::npos; at = text.find("\noccurrence ", at + 1))
      there += text.substr(at + 12, 19) + "Z ";
    for (int index = 1;; ++index) {
      const Reply occurrence = client.Call(GetItemXml(Occurrence(id, index)));
      if (occurrence.Code() == "ErrorCalendarOccurrenceIsDeletedFromRecurrence") continue;
      if (occurrence.Code() != "NoError") break;
      here += occurrence.Find("CalendarItem").ChildText("Start") + " ";
    }
    EXPECT_EQ(there, here) << zone << ": " << text;
    EXPECT_THAT(text, HasSubstr("\nRECURRENCE-ID")) << zone;
    EXPECT_THAT(text, HasSubstr("\nSUMMARY:Candle\n")) << zone;
    EXPECT_EQ(text.find("BEGIN:VTIMEZONE") == std::string::npos, zone == std::string("UTC"));
  }
}

TEST_F(SimulatorMeetings, DaysInACalendarPartAreDays) {
  const Reply made = client.Call(
      "<m:CreateItem "
      "SendMeetingInvitations=\"SendToAllAndSaveCopy\"><m:Items><t:CalendarItem><t:Subject>Fair</t:Subject>"
      "<t:Start>2026-02-01T23:00:00Z</t:Start><t:End>2026-02-03T23:00:00Z</t:End><t:IsAllDayEvent>true"
      "</t:IsAllDayEvent>" +
      Attendees("RequiredAttendees", {"bob"}) +
      "<t:StartTimeZone Id=\"W. Europe Standard Time\"/></t:CalendarItem></m:Items></m:CreateItem>");
  ASSERT_EQ(made.Code(), "NoError") << made.body;
  const std::string text = Calendar(Last(bob, "inbox"));
  EXPECT_THAT(text, HasSubstr("\nDTSTART;VALUE=DATE:20260202\nDTEND;VALUE=DATE:20260204\n"));
}

// ---- Others who take part

TEST_F(SimulatorMeetings, WhoIsPassedAnInvitationTakesPart) {
  const Element id = Create(Attendees("RequiredAttendees", {"bob"}), "SendOnlyToAll").Find("ItemId");
  const std::string to =
      "<t:ToRecipients><t:Mailbox><t:EmailAddress>carol@example.com</t:EmailAddress></t:Mailbox></t:ToRecipients>";
  for (const char* folder : {"inbox", "calendar"}) {
    const Reply reply =
        Answer(bob, "ForwardItem", Last(bob, folder),
               "<t:NewBodyContent BodyType=\"Text\">Come, too</t:NewBodyContent>", "SendAndSaveCopy", to);
    ASSERT_EQ(reply.Code(), "NoError") << reply.body;
    const Element request = Last(carol, "inbox");
    EXPECT_EQ(request.name, "MeetingRequest");
    EXPECT_EQ(request.ChildText("Subject"), "FW: Lamp");
    EXPECT_EQ(request.ChildText("IntendedFreeBusyStatus"), "Busy");
    EXPECT_EQ(request.Child("From")->Child("Mailbox")->ChildText("Name"), "Bob Birch");
    EXPECT_EQ(request.Child("Organizer")->Child("Mailbox")->ChildText("Name"), "Alice Arden");
    EXPECT_TRUE(request.Child("Body")->text.starts_with("Come, too")) << request.Child("Body")->text;
    EXPECT_NE(request.Child("Body")->text.find("Bring oil"), std::string::npos);
  }
  EXPECT_EQ(server.CountItems("carol@example.com", "calendar"), 1u);
  EXPECT_EQ(Answer(carol, "AcceptItem", Last(carol, "calendar")).Code(), "NoError");
  EXPECT_EQ(Tracking(id), "Bob Birch=Unknown Carol Cedar=Accept ");
  EXPECT_EQ(Item(id).Child("OptionalAttendees")->children.size(), 1u);
}

TEST_F(SimulatorMeetings, DelegatesGetCopiesWhereTheOwnerWantsThat) {
  const auto delegate = [&](const std::string& operation, const std::string& delivery) {
    const Reply reply = bob.Call(
        "<m:" + operation +
        "><m:Mailbox><t:EmailAddress>bob@example.com</t:EmailAddress></m:Mailbox>"
        "<m:DelegateUsers><t:DelegateUser><t:UserId><t:PrimarySmtpAddress>carol@example.com</t:PrimarySmtpAddress>"
        "</t:UserId><t:DelegatePermissions><t:CalendarFolderPermissionLevel>Editor</t:CalendarFolderPermissionLevel>"
        "</t:DelegatePermissions><t:ReceiveCopiesOfMeetingMessages>true</t:ReceiveCopiesOfMeetingMessages>"
        "</t:DelegateUser></m:DelegateUsers><m:DeliverMeetingRequests>" +
        delivery + "</m:DeliverMeetingRequests></m:" + operation + ">");
    EXPECT_EQ(reply.Code(), "NoError") << reply.body;
  };
  const std::string who = Attendees("RequiredAttendees", {"bob"});
  delegate("AddDelegate", "DelegatesAndMe");
  Create(who, "SendOnlyToAll");
  EXPECT_EQ(server.CountItems("bob@example.com", "inbox"), 1u);
  const Element copy = Last(carol, "inbox");
  EXPECT_EQ(copy.ChildText("IsDelegated"), "true");
  EXPECT_EQ(copy.Child("ReceivedRepresenting")->Child("Mailbox")->ChildText("Name"), "Bob Birch");
  EXPECT_EQ(server.CountItems("carol@example.com", "calendar"), 0u) << "it is not her meeting";
  EXPECT_EQ(Answer(carol, "AcceptItem", copy).Code(), "ErrorCalendarIsDelegatedForAccept");
  // What she makes in his calendar she makes in his name.
  const Element his = bob.Call(GetFolderXml(Distinguished("calendar"))).Find("FolderId");
  const Reply made =
      carol.Call("<m:CreateItem SendMeetingInvitations=\"SendOnlyToAll\"><m:SavedItemFolderId>" + Fid(his) +
                 "</m:SavedItemFolderId><m:Items><t:CalendarItem><t:Subject>For him</t:Subject>" +
                 Attendees("RequiredAttendees", {"alice"}) + "</t:CalendarItem></m:Items></m:CreateItem>");
  EXPECT_EQ(made.Code(), "NoError") << made.body;
  const Element invitation = Last(client, "inbox");
  EXPECT_EQ(invitation.Child("Organizer")->Child("Mailbox")->ChildText("Name"), "Bob Birch");
  EXPECT_EQ(invitation.Child("Sender")->Child("Mailbox")->ChildText("Name"), "Carol Cedar");
  EXPECT_EQ(Answer(client, "AcceptItem", invitation).Code(), "NoError");
  EXPECT_EQ(Last(bob, "calendar").Child("RequiredAttendees")->children[0].ChildText("ResponseType"), "Accept");
  EXPECT_EQ(bob.Call("<m:DeleteItem DeleteType=\"HardDelete\" SendMeetingCancellations=\"SendToNone\"><m:ItemIds>" +
                     Ids(*Last(bob, "calendar").Child("ItemId")) + "</m:ItemIds></m:DeleteItem>")
                .Code(),
            "NoError");
  // In his calendar she answers for him.
  EXPECT_EQ(Answer(carol, "AcceptItem", Last(bob, "calendar")).Code(), "NoError");
  const Element answer = Last(client, "inbox");
  EXPECT_EQ(answer.Child("From")->Child("Mailbox")->ChildText("Name"), "Bob Birch");
  EXPECT_EQ(answer.Child("Sender")->Child("Mailbox")->ChildText("Name"), "Carol Cedar");
  delegate("UpdateDelegate", "DelegatesOnly");
  Create(who, "SendOnlyToAll");
  EXPECT_EQ(server.CountItems("bob@example.com", "inbox"), 2u);
  EXPECT_EQ(server.CountItems("bob@example.com", "calendar"), 2u);
  EXPECT_EQ(server.CountItems("carol@example.com", "inbox"), 2u);
  delegate("UpdateDelegate", "NoForward");
  Create(who, "SendOnlyToAll");
  EXPECT_EQ(server.CountItems("carol@example.com", "inbox"), 2u);
}

TEST_F(SimulatorMeetings, OldServersKnowNoProposals) {
  Options options = TestOptions();
  options.version = "Exchange2010_SP2";
  options.accept_departures = false;
  Started old(options);
  for (Client* who : {&client, &bob}) {
    who->url = old.HttpUrl();
    who->version = "Exchange2010_SP2";
  }
  Meeting();
  const Element mine = Last(bob, "calendar");
  EXPECT_EQ(Answer(bob, "AcceptItem", mine, "<t:ProposedStart>2026-02-03T09:00:00Z</t:ProposedStart>").Code(),
            "ErrorSchemaValidation");
  EXPECT_EQ(Answer(bob, "AcceptItem", mine).Code(), "NoError");
  EXPECT_EQ(Last(client, "inbox").Child("Start"), nullptr) << "an answer tells no time before Exchange2013";
}

TEST_F(SimulatorMeetings, MeetingsOutliveARestart) {
  Options options = TestOptions();
  options.state_file = ::testing::TempDir() + "meetings-" + std::to_string(::getpid()) + ".state";
  Element id;
  {
    Started first(options);
    client.url = bob.url = first.HttpUrl();
    id = Meeting(Weekly());
    Answer(bob, "AcceptItem", Last(bob, "inbox"));
  }
  Started second(options);
  client.url = bob.url = second.HttpUrl();
  EXPECT_EQ(Tracking(id), "Bob Birch=Accept Carol Cedar=Unknown ");
  EXPECT_EQ(Change(id, Set("RequiredAttendees", Attendees("RequiredAttendees", {"carol"})), "SendOnlyToChanged").Code(),
            "NoError");
  EXPECT_EQ(Last(bob, "inbox").name, "MeetingCancellation") << "who was invited is known";
  std::remove(options.state_file.c_str());
}

}  // namespace
}  // namespace velmore::simulator::testing
