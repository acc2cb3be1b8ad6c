// Folders: what they tell, folders below, copies and moves.

#include <algorithm>

#include "tests/wire/MailboxTestSupport.h"

namespace velmore::testing {
namespace {

using Folders = MailboxTest;

TEST_F(Folders, TellWhatTheLoadTold) {
  AddMessage("one");
  AddMessage("two");
  const auto inbox = Inbox();
  Forget();
  EXPECT_EQ(inbox->GetFolderFieldType(), sffFolder);
  EXPECT_EQ(inbox->GetDisplayName(), "Inbox");
  EXPECT_EQ(inbox->GetTotalCount(), 2);
  EXPECT_EQ(inbox->GetUnreadCount(), 2);
  EXPECT_EQ(inbox->GetChildFolderCount(), 0);
  EXPECT_EQ(inbox->GetParentFolderId().Id, Store().GetFolderId(dfinmsgfolderroot).Id);
  EXPECT_TRUE(inbox->GetEffectiveRights().GetCreateContents());
  EXPECT_EQ(Supports<IVqEWSMsgStore>(inbox->GetMsgStore()).get(), &Store());
  // A folder does not refresh.
  AddMessage("three");
  EXPECT_EQ(inbox->GetTotalCount(), 2);
  EXPECT_EQ(Inbox()->GetTotalCount(), 3);
}

TEST_F(Folders, KindIsTheElementsName) {
  EXPECT_EQ(Folder(dfincalendar)->GetFolderFieldType(), sffCalendarFolder);
  EXPECT_EQ(Folder(dfincontacts)->GetFolderFieldType(), sffContactsFolder);
  EXPECT_EQ(Folder(dfintasks)->GetFolderFieldType(), sffTasksFolder);
  // A name that no kind has is the first one.
  AnswerNext("GetFolder", ReplyOf("GetFolder", "<m:Folders><t:NewKindOfFolder/></m:Folders>"));
  EXPECT_EQ(Store().GetFolder(TItemId{"a", "b"})->GetFolderFieldType(), sffFolder);
  AnswerNext("GetFolder", ReplyOf("GetFolder", "<m:Folders><t:SearchFolder/></m:Folders>"));
  EXPECT_EQ(Store().GetFolder(TItemId{"a", "b"})->GetFolderFieldType(), sffSearchFolder);
}

TEST_F(Folders, AreReadOnly) {
  const auto inbox = Inbox();
  Forget();
  inbox->SetDisplayName("Renamed");
  EXPECT_EQ(inbox->GetDisplayName(), "Renamed");
  EXPECT_EQ(RefusalOf([&] { inbox->SaveChanges(); }),
            "ErrorReadOnly (EWS Folders are currently read only!).|EWS Folders are currently read only!");
  EXPECT_EQ(RefusalOf([&] {
              Supports<TVqEWSFolder>(inbox)->SetId({"a", "b"});
            }),
            "ErrorReadOnly (The FolderId is a read only property!).|The FolderId is a read only property!");
  EXPECT_EQ(Operations(), Names{});
  EXPECT_EQ(Inbox()->GetDisplayName(), "Inbox");
}

TEST_F(Folders, EmptyAndDeleteSendNothingAndSayThatTheyAreNotCarriedOut) {
  AddMessage("stays");
  const auto inbox = Inbox();
  Forget();
  EXPECT_EQ(MessageOf<EVqEWSNotCarriedOut>([&] { inbox->EmptyFolder(dtHardDelete, true); }),
            "EmptyFolder is not carried out: nothing was sent to the server.");
  EXPECT_EQ(MessageOf<EVqEWSNotCarriedOut>([&] { inbox->DeleteFolder(inbox->GetID(), dtSoftDelete); }),
            "DeleteFolder is not carried out: nothing was sent to the server.");
  EXPECT_EQ(Operations(), Names{});
  EXPECT_EQ(Server().CountItems(kAlice, "inbox"), 1u);
}

TEST_F(Folders, CreateFolderMakesOneOfEachKind) {
  const auto root = Folder(dfinmsgfolderroot);
  const std::pair<TSetFolderFieldType, const char*> kinds[] = {{sffFolder, "Folder"},
                                                               {sffCalendarFolder, "CalendarFolder"},
                                                               {sffContactsFolder, "ContactsFolder"},
                                                               {sffTasksFolder, "TasksFolder"}};
  for (const auto& [kind, name] : kinds) {
    TItemId id;
    EXPECT_EQ(Sent([&] { id = root->CreateFolder(kind, string("New ") + name + " <&>"); }), Names{"CreateFolder"});
    EXPECT_EQ(Request("CreateFolder"), "<m:CreateFolder><m:ParentFolderId>" + IdElement("FolderId", root->GetID()) +
                                           "</m:ParentFolderId><m:Folders><t:" + name + "><t:DisplayName>New " + name +
                                           " &lt;&amp;&gt;</t:DisplayName></t:" + name +
                                           "></m:Folders></m:CreateFolder>");
    EXPECT_FALSE(id.ChangeKey.empty());
    const auto made = Store().GetFolder(id);
    EXPECT_EQ(made->GetFolderFieldType(), kind);
    EXPECT_EQ(made->GetDisplayName(), string("New ") + name + " <&>");
    EXPECT_EQ(made->GetParentFolderId().Id, root->GetID().Id);
  }
  EXPECT_EQ(CodeOf([&] { root->CreateFolder(sffFolder, "New Folder <&>"); }), "ErrorFolderExists");
}

TEST_F(Folders, CopyItemAsksOnceAndGivesTheCopysId) {
  const TItemId id = AddMessage("Hello");
  const auto inbox = Inbox();
  const TItemId target = Store().GetFolderId(dfindrafts);
  TItemId copy;
  EXPECT_EQ(Sent([&] { copy = inbox->CopyItem(id, target); }), Names{"CopyItem"});
  EXPECT_EQ(Request("CopyItem"), "<m:CopyItem><m:ToFolderId>" + IdElement("FolderId", target) +
                                     "</m:ToFolderId><m:ItemIds>" + IdElement("ItemId", id) +
                                     "</m:ItemIds></m:CopyItem>");
  EXPECT_NE(copy.Id, id.Id);
  EXPECT_EQ(Store().GetItem(copy)->GetSubject(), "Hello");
  EXPECT_EQ(Server().CountItems(kAlice, "inbox"), 1u);
}

TEST_F(Folders, MoveIsACopyAndAHardDelete) {
  const TItemId id = AddMessage("Hello");
  // A folder that a table made does not look at the item's class.
  const auto inbox = MakeRef<TVqEWSFolder>(Supports<TVqEWSItems>(Inbox()->GetItems()).get(), Inbox()->GetID());
  const TItemId target = Store().GetFolderId(dfindrafts);
  TItemId moved;
  EXPECT_EQ(Sent([&] { moved = inbox->MoveItem(id, target); }), (Names{"CopyItem", "DeleteItem"}));
  EXPECT_EQ(Request("DeleteItem"), "<m:DeleteItem DeleteType=\"HardDelete\"><m:ItemIds>" + IdElement("ItemId", id) +
                                       "</m:ItemIds></m:DeleteItem>");
  EXPECT_EQ(Server().CountItems(kAlice, "inbox"), 0u);
  EXPECT_EQ(Server().CountItems(kAlice, "drafts"), 1u);
  EXPECT_EQ(Store().GetItem(moved)->GetSubject(), "Hello");
}

TEST_F(Folders, MoveWhoseDeletionFailsLeavesTheCopy) {
  const TItemId id = AddMessage("Hello");
  const auto inbox = Inbox();
  RefuseNext("DeleteItem", "ErrorCannotDeleteObject");
  EXPECT_EQ(CodeOf([&] { inbox->MoveItem(id, Store().GetFolderId(dfindrafts)); }), "ErrorCannotDeleteObject");
  EXPECT_EQ(Server().CountItems(kAlice, "inbox"), 1u);
  EXPECT_EQ(Server().CountItems(kAlice, "drafts"), 1u);
}

TEST_F(Folders, MoveThatIsCutLosesNothing) {
  const auto inbox = Inbox();
  const TItemId drafts = Store().GetFolderId(dfindrafts);
  const auto lose = [&](const char* operation) {
    simulator::Fault fault;
    fault.operation = operation;
    fault.execute = true;  // carried out, and nobody is told
    fault.close_before_reply = true;
    Server().AddFault(fault);
  };
  const auto count = [&](const char* folder) { return Server().CountItems(kAlice, folder); };
  // The reply of the copy is lost: the original is not touched.
  TItemId id = AddMessage("One");
  lose("CopyItem");
  Forget();
  EXPECT_THROW(inbox->MoveItem(id, drafts), EVqHTTPApiException);
  EXPECT_EQ(std::ranges::count(Operations(), "DeleteItem"), 0);
  EXPECT_EQ(count("inbox"), 1u);
  EXPECT_EQ(count("drafts"), 1u);
  // The reply of the deletion is lost: the copy is there, and a second deletion tells that the original is gone.
  lose("DeleteItem");
  EXPECT_THROW(inbox->MoveItem(id, drafts), EVqHTTPApiException);
  EXPECT_EQ(count("inbox"), 0u);
  EXPECT_EQ(count("drafts"), 2u);
  EXPECT_EQ(CodeOf([&] { inbox->DeleteItem(id, dtHardDelete); }), "ErrorItemNotFound");
}

TEST_F(Folders, TakeRecordsOfIds) {
  const TItemId id = AddMessage("Hello");
  const auto inbox = Inbox();
  const TItemId target = Store().GetFolderId(dfindrafts);
  const TVqDOMDocument items("<t:ItemId/>"), folders("<t:FolderId/>");
  TEwsItemId item(items.GetDocumentElement());
  item.SetId(id.Id);
  item.SetChangeKey(id.ChangeKey);
  TEwsFolderId folder(folders.GetDocumentElement());
  folder.SetId(target.Id);
  folder.SetChangeKey(target.ChangeKey);
  Forget();
  inbox->CopyItem(item, folder);
  EXPECT_NE(Request("CopyItem").find(IdElement("ItemId", id)), std::string::npos);
  inbox->MoveItem(item, folder);
  EXPECT_EQ(Server().CountItems(kAlice, "drafts"), 2u);
  EXPECT_EQ(Server().CountItems(kAlice, "inbox"), 0u);
}

TEST_F(Folders, ItemsOfAFolderAreThoseOfItsStore) {
  const TItemId id = AddMessage("Hello");
  const auto inbox = Inbox();
  EXPECT_EQ(Sent([&] { EXPECT_EQ(inbox->GetItem(id)->GetSubject(), "Hello"); }), (Names{"GetItem", "GetItem"}));
  EXPECT_EQ(inbox->GetItem(id)->GetMsgStore().get(), &Store());
}

TEST_F(Folders, CreateItemMapsMessagesAndNotDistributionLists) {
  const auto drafts = Folder(dfindrafts);
  Forget();
  EXPECT_TRUE(Supports<IVqEWSEMail>(drafts->CreateItem(tMessage)));
  EXPECT_TRUE(Supports<IVqEWSContact>(drafts->CreateItem(tContact)));
  EXPECT_TRUE(Supports<IVqEWSTask>(drafts->CreateItem(tTask)));
  EXPECT_TRUE(Supports<IVqEWSDistributionList>(drafts->CreateDistributionList()));
  const auto list = drafts->CreateItem(tDistributionList);
  EXPECT_EQ(list->GetItemType(), tItem);
  EXPECT_EQ(list->AsElement().GetQualifiedName(), "t:Item");
  const auto item = drafts->CreateItem(tItem);
  EXPECT_EQ(item->GetItemType(), tItem);
  EXPECT_EQ(item->AsElement().GetQualifiedName(), "t:Item");
  EXPECT_FALSE(Supports<IVqEWSEMail>(item));
  EXPECT_TRUE(list->GetIsNewItem());
  EXPECT_FALSE(list->GetIsSaved());
  EXPECT_EQ(list->GetParentFolder().get(), drafts.get());
  EXPECT_EQ(Operations(), Names{});
}

TEST_F(Folders, CreateItemMakesNoneOfAKindWithoutAClass) {
  const auto drafts = Folder(dfindrafts);
  Forget();
  for (int kind = tItem; kind <= tForwardItem; ++kind) {
    const auto type = static_cast<TItemType>(kind);
    if (type == tItem || type == tMessage || type == tCalendarItem || type == tContact || type == tDistributionList ||
        type == tTask)
      continue;
    EXPECT_EQ(MessageOf<EVqNotSupported>([&] { drafts->CreateItem(type); }),
              "Items of the kind \"" + VqEnumToText(type).utf8() + "\" cannot be made here.");
  }
  EXPECT_EQ(Operations(), Names{});
}

TEST_F(Folders, KeepTheirStoreAlive) {
  auto store = Session().OpenDefaultMsgStore();
  auto inbox = store->GetFolder(dfininbox, "");
  AddMessage("Hello");
  store = nullptr;
  auto items = inbox->GetItems();
  inbox = nullptr;
  items->Open();
  EXPECT_EQ(items->Count(), 1);
}

TEST_F(Folders, PropertiesAreThoseOfTheRecord) {
  const auto inbox = Inbox();
  Forget();
  EXPECT_EQ(inbox->PropertyByName(PR_DISPLAYNAME).GetAsString(), "Inbox");
  EXPECT_FALSE(inbox->HasProperty(PR_SUBJECT));
  EXPECT_EQ(inbox->PropertyByName(PR_DISPLAYNAME).GetUpdateStatus(), dusUnmodified);
  inbox->SetDisplayName("Other");
  EXPECT_EQ(inbox->PropertyByName(PR_DISPLAYNAME).GetUpdateStatus(), dusModified);
  EXPECT_EQ(Operations(), Names{});
}

class FoldersOfAnOldServer : public MailboxTest {
 protected:
  FoldersOfAnOldServer() : MailboxTest("Exchange2013") {}  // the last one without
};
class FoldersOfALaterServer : public MailboxTest {
 protected:
  FoldersOfALaterServer() : MailboxTest("Exchange2013_SP1") {}  // the first one with
};

TEST_F(FoldersOfAnOldServer, NoRequestHasAChangeKey) {
  const TItemId id = AddMessage("Hello");
  const auto inbox = Inbox();
  const TItemId target = Store().GetFolderId(dfindrafts);
  inbox->CreateFolder(sffFolder, "Below");
  inbox->MoveItem(id, target);
  auto items = inbox->GetItems();
  items->Open();
  auto folders = inbox->GetSubFolders();
  folders->Open();
  EXPECT_EQ(folders->Count(), 1);
  TVqMemoryStream mime(MimeOf("Imported"));
  inbox->ImportItem(mime, {});
  for (const auto& exchange : Server().Exchanges()) {
    EXPECT_EQ(exchange.request_body.find("ChangeKey"), std::string::npos) << exchange.request_body;
  }
}

TEST_F(FoldersOfALaterServer, RequestsHaveTheChangeKeyAsAnAttributeAndLoadsAsAnElement) {
  const TItemId id = AddMessage("Hello");
  const auto inbox = Inbox();
  const TItemId target = Store().GetFolderId(dfindrafts);
  const std::string here = IdElement("FolderId", inbox->GetID()), there = IdElement("FolderId", target);
  inbox->CreateFolder(sffFolder, "Below");
  inbox->MoveItem(id, target);
  inbox->GetItems()->Open();
  inbox->GetSubFolders()->Open();
  TVqMemoryStream mime(MimeOf("Imported"));
  inbox->ImportItem(mime, {});
  EXPECT_NE(Request("CreateFolder").find(here), std::string::npos);
  EXPECT_NE(Request("CopyItem").find(there), std::string::npos);
  EXPECT_NE(Request("CopyItem").find(IdElement("ItemId", id)), std::string::npos);
  EXPECT_NE(Request("DeleteItem").find(IdElement("ItemId", id)), std::string::npos);
  EXPECT_NE(Request("FindItem").find(here), std::string::npos);
  EXPECT_NE(Request("FindFolder").find(here), std::string::npos);
  EXPECT_NE(Request("CreateItem").find(here), std::string::npos);
  EXPECT_EQ(Sent([&] { Store().GetFolder(inbox->GetID()); }), Names{"GetFolder"});
  EXPECT_NE(Request("GetFolder").find(LoadId("FolderId", inbox->GetID())), std::string::npos);
}

}  // namespace
}  // namespace velmore::testing
