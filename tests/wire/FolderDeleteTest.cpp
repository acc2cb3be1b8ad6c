// Deletions: what goes with them by class of the item, kind of the folder and way to it.

#include "tests/wire/MailboxTestSupport.h"

namespace velmore::testing {
namespace {

class FolderDeletion : public MailboxTest {
 protected:
  TItemId AddAppointment(const std::string& itemClass = "") {
    return AddItem("calendar", "<t:CalendarItem>" +
                                   (itemClass.empty() ? "" : "<t:ItemClass>" + itemClass + "</t:ItemClass>") +
                                   "<t:Subject>Meet</t:Subject><t:Start>2026-03-02T09:00:00Z</t:Start>"
                                   "<t:End>2026-03-02T10:00:00Z</t:End></t:CalendarItem>");
  }
  TItemId AddTask() { return AddItem("tasks", "<t:Task><t:Subject>Do</t:Subject></t:Task>"); }
  static std::string Deletion(const std::string& attributes, const TItemId& id) {
    return "<m:DeleteItem " + attributes + "><m:ItemIds>" + IdElement("ItemId", id) + "</m:ItemIds></m:DeleteItem>";
  }
};

TEST_F(FolderDeletion, KindsOfDeletionAreWrittenWithoutTheirPrefix) {
  const auto inbox = Inbox();
  const std::pair<TVqEWSFolderDeleteType, const char*> kinds[] = {
      {dtHardDelete, "HardDelete"}, {dtSoftDelete, "SoftDelete"}, {dtMoveToDeletedItems, "MoveToDeletedItems"}};
  for (const auto& [kind, text] : kinds) {
    const TItemId id = AddMessage("Hello");
    // A folder of a store looks at the item first, which costs the two requests of GetItem.
    EXPECT_EQ(Sent([&] { inbox->DeleteItem(id, kind); }), (Names{"GetItem", "GetItem", "DeleteItem"}));
    EXPECT_EQ(Request("DeleteItem"), Deletion(std::string("DeleteType=\"") + text + "\"", id));
  }
  EXPECT_EQ(Server().CountItems(kAlice, "inbox"), 0u);
  EXPECT_EQ(Server().CountItems(kAlice, "deleteditems"), 1u);
}

TEST_F(FolderDeletion, TaskThroughAFolderOfAStoreNamesItsOccurrences) {
  const auto tasks = Folder(dfintasks);
  const TItemId id = AddTask();
  tasks->DeleteItem(id, dtHardDelete);
  EXPECT_EQ(Request("DeleteItem"),
            Deletion("DeleteType=\"HardDelete\" AffectedTaskOccurrences=\"AllOccurrences\"", id));
}

TEST_F(FolderDeletion, TaskThroughAFolderOfATableNamesNothing) {
  const auto table = Supports<TVqEWSFolders>(Folder(dfinmsgfolderroot)->GetSubFolders());
  const auto tasks = MakeRef<TVqEWSFolder>(table.get(), Store().GetFolderId(dfintasks));
  EXPECT_EQ(Supports<IVqEWSMsgStore>(tasks->GetMsgStore()).get(), &Store());  // found along the creators all the same
  const TItemId id = AddTask();
  AnswerNext("DeleteItem", ReplyOf("DeleteItem", ""));
  EXPECT_EQ(Sent([&] { tasks->DeleteItem(id, dtHardDelete); }), Names{"DeleteItem"});
  EXPECT_EQ(Request("DeleteItem"), Deletion("DeleteType=\"HardDelete\"", id));
}

TEST_F(FolderDeletion, ClassesOfAppointmentsAreComparedExactly) {
  const auto inbox = Inbox();
  const std::string cancel = "DeleteType=\"SoftDelete\" SendMeetingCancellations=\"SendToAllAndSaveCopy\"";
  const std::pair<const char*, std::string> classes[] = {
      {"IPM.Appointment", cancel},
      {"IPM.Appointment.Occurrence", cancel},
      {"IPM.OLE.CLASS.{00061055-0000-0000-C000-000000000046}", cancel},
      {"IPM.Task", "DeleteType=\"SoftDelete\" AffectedTaskOccurrences=\"AllOccurrences\""},
      {"ipm.appointment", "DeleteType=\"SoftDelete\""},
      {"ipm.task", "DeleteType=\"SoftDelete\""},
      {"IPM.Task.Mine", "DeleteType=\"SoftDelete\""},
      {"IPM.Appointment.Mine", "DeleteType=\"SoftDelete\""},
      {"IPM.Note", "DeleteType=\"SoftDelete\""}};
  for (const auto& [itemClass, attributes] : classes) {
    const TItemId id = AddMessage("Hello");
    const std::string item = ReplyOf("GetItem", std::string("<m:Items><t:Message><t:ItemClass>") + itemClass +
                                                    "</t:ItemClass></t:Message></m:Items>");
    AnswerNext("GetItem", item);
    AnswerNext("GetItem", item);
    AnswerNext("DeleteItem", ReplyOf("DeleteItem", ""));
    inbox->DeleteItem(id, dtSoftDelete);
    EXPECT_EQ(Request("DeleteItem"), Deletion(attributes, id)) << itemClass;
  }
}

TEST_F(FolderDeletion, CalendarFolderSendsToNoneInPlaceOfWhatTheClassSays) {
  const auto calendar = Folder(dfincalendar);
  const TItemId id = AddAppointment();
  EXPECT_EQ(Sent([&] { calendar->DeleteItem(id, dtHardDelete); }), (Names{"GetItem", "GetItem", "DeleteItem"}));
  EXPECT_EQ(Request("DeleteItem"), Deletion("DeleteType=\"HardDelete\" SendMeetingCancellations=\"SendToNone\"", id));
  EXPECT_EQ(Server().CountItems(kAlice, "calendar"), 0u);
}

TEST_F(FolderDeletion, CalendarOpenedAsAPlainFolderSendsToAll) {
  const auto folder =
      MakeRef<TVqEWSFolder>(Supports<TVqEWSMsgStore>(&Store()).get(), Store().GetFolderId(dfincalendar));
  const TItemId id = AddAppointment("IPM.Appointment.Mine");
  folder->DeleteItem(id, dtHardDelete);
  EXPECT_EQ(Request("DeleteItem"),
            Deletion("DeleteType=\"HardDelete\" SendMeetingCancellations=\"SendToAllAndSaveCopy\"", id));
}

TEST_F(FolderDeletion, DeleteMeetingCountsForOneDeletionOnly) {
  const auto calendar = Supports<IVqEWSCalendarFolder>(Folder(dfincalendar));
  const TItemId first = AddAppointment(), second = AddAppointment(), third = AddAppointment();
  calendar->DeleteMeeting(first, dtMoveToDeletedItems, smiocSendOnlyToAll);
  EXPECT_EQ(Request("DeleteItem"),
            Deletion("DeleteType=\"MoveToDeletedItems\" SendMeetingCancellations=\"SendOnlyToAll\"", first));
  calendar->DeleteItem(second, dtHardDelete);
  EXPECT_EQ(Request("DeleteItem"),
            Deletion("DeleteType=\"HardDelete\" SendMeetingCancellations=\"SendToNone\"", second));
  const TVqDOMDocument document("<t:ItemId/>");
  TEwsItemId record(document.GetDocumentElement());
  record.SetId(third.Id);
  record.SetChangeKey(third.ChangeKey);
  calendar->DeleteMeeting(record, dtHardDelete, smiocSendToAllAndSaveCopy);
  EXPECT_EQ(Request("DeleteItem"),
            Deletion("DeleteType=\"HardDelete\" SendMeetingCancellations=\"SendToAllAndSaveCopy\"", third));
}

TEST_F(FolderDeletion, FailureLeavesTheAnnouncementForTheNextDeletion) {
  const auto calendar = Supports<IVqEWSCalendarFolder>(Folder(dfincalendar));
  const TItemId first = AddAppointment(), second = AddAppointment();
  RefuseNext("DeleteItem", "ErrorCannotDeleteObject");
  EXPECT_EQ(CodeOf([&] { calendar->DeleteMeeting(first, dtHardDelete, smiocSendOnlyToAll); }),
            "ErrorCannotDeleteObject");
  calendar->DeleteItem(second, dtHardDelete);
  EXPECT_EQ(Request("DeleteItem"),
            Deletion("DeleteType=\"HardDelete\" SendMeetingCancellations=\"SendOnlyToAll\"", second));
  calendar->DeleteItem(first, dtHardDelete);
  EXPECT_EQ(Request("DeleteItem"),
            Deletion("DeleteType=\"HardDelete\" SendMeetingCancellations=\"SendToNone\"", first));
}

TEST_F(FolderDeletion, AnnouncementToSomeOnlyIsRefusedBeforeItIsSent) {
  const auto calendar = Supports<IVqEWSCalendarFolder>(Folder(dfincalendar));
  const TItemId id = AddAppointment();
  Forget();
  EXPECT_EQ(MessageOf<EVqException>([&] { calendar->DeleteMeeting(id, dtHardDelete, smiocSendOnlyToChanged); }),
            "A deletion cannot announce itself to some attendees only.");
  EXPECT_EQ(Operations(), Names{});
  EXPECT_EQ(Server().CountItems(kAlice, "calendar"), 1u);
  // It was no announcement, and the next deletion knows nothing of it.
  calendar->DeleteItem(id, dtHardDelete);
  EXPECT_EQ(Request("DeleteItem"), Deletion("DeleteType=\"HardDelete\" SendMeetingCancellations=\"SendToNone\"", id));
}

}  // namespace
}  // namespace velmore::testing
