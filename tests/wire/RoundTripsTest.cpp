// What each operation costs: these requests, in this order, and no others.

#include <filesystem>

#include "ews/items/uVqEWSAttachments.h"
#include "ews/items/uVqEWSMessage.h"
#include "ews/schema/uVqEWSPropsEPR.h"
#include "ews/schema/uVqEWSPropsMPR.h"
#include "ews/stores/uVqEWSImpersonation.h"
#include "ews/values/uVqEWSStrings.h"
#include "platform/common/uVqNetEncoding.h"
#include "platform/xml/uVqXMLUtils.h"
#include "tests/wire/MailboxTestSupport.h"

namespace velmore::testing {
namespace {

const Names kNone;

class RoundTrips : public MailboxTest {
 protected:
  void Costs(const char* operation, const Names& requests, const std::function<void()>& action) {
    EXPECT_EQ(Sent(action), requests) << operation;
  }
  /// The same of an operation that refuses what it was asked to do.
  template <typename T>
  void Refuses(const char* operation, const Names& requests, const std::function<void()>& action) {
    EXPECT_EQ(Sent([&] { EXPECT_THROW(action(), T) << operation; }), requests) << operation;
  }
  TVqEWSMsgStore* Creator() { return Supports<TVqEWSMsgStore>(&Store()).get(); }
  TItemId AddAppointment() {
    return AddItem("calendar",
                   "<t:CalendarItem><t:Subject>Meet</t:Subject><t:Start>2026-03-02T09:00:00Z</t:Start>"
                   "<t:End>2026-03-02T10:00:00Z</t:End></t:CalendarItem>");
  }
  TVqRef<TVqEWSEMail> Mail() { return MakeRef<TVqEWSEMail>(Creator(), AddMessage("Hello")); }
};

TEST_F(RoundTrips, OfAStore) {
  const TItemId message = AddMessage("Hello");
  const TItemId series = AddItem(
      "calendar",
      "<t:CalendarItem><t:Start>2026-03-02T09:00:00Z</t:Start><t:End>2026-03-02T10:00:00Z</t:End><t:Recurrence>"
      "<t:DailyRecurrence><t:Interval>1</t:Interval></t:DailyRecurrence><t:NumberedRecurrence><t:StartDate>2026-03-02Z"
      "</t:StartDate><t:NumberOfOccurrences>5</t:NumberOfOccurrences></t:NumberedRecurrence></t:Recurrence>"
      "</t:CalendarItem>");
  const TItemId inbox = Store().GetFolderId(dfininbox), calendar = Store().GetFolderId(dfincalendar);
  const TVqDOMDocument document("<t:FolderId/>");
  TEwsFolderId record(document.GetDocumentElement());
  record.SetId(inbox.Id);
  record.SetChangeKey(inbox.ChangeKey);
  TItemId id;

  TVqRef<TVqEWSMsgStore> store;
  Costs("to make one", kNone, [&] { store = MakeRef<TVqEWSMsgStore>(&Session(), ""); });
  Costs("GetID, GetCreatedBy", kNone, [&] {
    store->GetID();
    store->GetCreatedBy();
  });
  Costs("GetDisplayName without a name", {"GetFolder", "ConvertId", "ResolveNames"}, [&] { store->GetDisplayName(); });
  Costs("GetDisplayName, GetIdentity, again", kNone, [&] {
    store->GetDisplayName();
    store->GetIdentity();
  });
  Costs("GetFolderId", {"GetFolder"}, [&] { store->GetFolderId(dfininbox); });
  Costs("GetFolderId, again: nothing is kept", {"GetFolder"}, [&] { store->GetFolderId(dfininbox); });
  Costs("FindFolderId", {"GetFolder"}, [&] { store->FindFolderId(dfininbox, id); });
  Costs("FindFolderId of none", {"GetFolder"}, [&] { store->FindFolderId(dfinarchiveinbox, id); });
  Refuses<EEWSException>("GetFolderId of none", {"GetFolder"}, [&] { store->GetFolderId(dfinarchiveinbox); });
  Costs("GetFolder by name", {"GetFolder", "GetFolder"}, [&] { store->GetFolder(dfininbox, ""); });
  Costs("GetFolder of another mailbox", {"GetFolder", "GetFolder"}, [&] { store->GetFolder(dfininbox, kAlice); });
  Costs("GetFolder by the name of a calendar", {"GetFolder", "GetFolder"}, [&] { store->GetFolder(dfincalendar, ""); });
  Costs("GetFolder by id", {"GetFolder"}, [&] { store->GetFolder(inbox); });
  Costs("GetFolder by a record of the id", {"GetFolder"}, [&] { store->GetFolder(record); });
  Costs("GetFolder by the id of a calendar", {"GetFolder", "GetFolder"}, [&] { store->GetFolder(calendar); });
  Costs("GetItem", {"GetItem", "GetItem"}, [&] { store->GetItem(message); });
  Costs("GetOccurence", {"GetItem", "GetItem", "GetItem"}, [&] { store->GetOccurence(series, 2); });
  TVqMemoryStream photo;
  TVqRef<IVqEWSOOF> oof;
  Server().SetUserConfiguration(kAlice, "calendar", "CategoryList", "<categories/>");
  Costs("GetCategories", {"GetUserConfiguration"}, [&] { store->GetCategories(); });
  Costs("GetCategories, again: nothing is kept", {"GetUserConfiguration"}, [&] { store->GetCategories(); });
  Costs("GetRoomLists", {"GetRoomLists"}, [&] { store->GetRoomLists(); });
  Refuses<EEWSException>("GetRooms", {"GetRooms"}, [&] { store->GetRooms("rooms@example.com"); });
  Refuses<EEWSException>("GetUserPhoto", {"GetUserPhoto"}, [&] { store->GetUserPhoto(photo, HR48x48); });
  Costs("GetOOF", {"GetUserOofSettingsRequest"}, [&] { oof = store->GetOOF(); });
  Costs("Apply", {"SetUserOofSettingsRequest"}, [&] { oof->Apply(); });
  Costs("Clear", {"SetUserOofSettingsRequest"}, [&] { oof->Clear(); });
}

TEST_F(RoundTrips, OfTheSessionsServices) {
  Session();
  const TVqEWSMailboxData alice{kAlice};
  Costs("GetUserAvailibility", {"GetUserAvailabilityRequest"},
        [&] { Session().GetUserAvailibility(alice, 46000.0, 46001.0, 30, fbvtFreeBusy); });
  // A store is opened for the address of the sender.
  Costs("GetMailTips", {"GetFolder", "ConvertId", "ResolveNames", "GetMailTips"}, [&] { Session().GetMailTips(kBob); });
  Costs("GetMailTips, again", {"GetFolder", "ConvertId", "ResolveNames", "GetMailTips"},
        [&] { Session().GetMailTips(kBob); });
}

TEST_F(RoundTrips, OfAnImpersonatingStore) {
  simulator::User service{"service", "service@example.com", "Service", "robot"};
  service.may_impersonate = true;
  Server().AddUser(service);
  const TItemId message = AddMessage("Hello");
  TVqEWSServiceSession session;
  Configure(session);
  session.GetCredentials().SetUserName("service");
  session.GetCredentials().SetPassword("robot");
  session.SetActive(true);
  TVqRef<TVqEWSImpersonatedMsgStore> store;
  Costs("to make one", kNone, [&] { store = MakeRef<TVqEWSImpersonatedMsgStore>(&session, kAlice); });
  Costs("GetDisplayName", kNone, [&] { store->GetDisplayName(); });
  Costs("GetFolderId", {"GetFolder"}, [&] { store->GetFolderId(dfininbox); });
  Costs("GetFolder by name", {"GetFolder", "GetFolder"}, [&] { store->GetFolder(dfininbox, ""); });
  Costs("GetItem", {"GetItem", "GetItem"}, [&] { store->GetItem(message); });
}

TEST_F(RoundTrips, OfAFolder) {
  const TItemId inboxId = Store().GetFolderId(dfininbox), target = Store().GetFolderId(dfindrafts);
  TVqRef<TVqEWSFolder> inbox;
  Costs("to load one", {"GetFolder"}, [&] { inbox = MakeRef<TVqEWSFolder>(Creator(), inboxId); });
  Costs("what it tells", kNone, [&] {
    inbox->GetID();
    inbox->GetFolderId();
    inbox->GetParentFolderId();
    inbox->GetFolderFieldType();
    inbox->GetDisplayName();
    inbox->GetTotalCount();
    inbox->GetUnreadCount();
    inbox->GetChildFolderCount();
    inbox->GetEffectiveRights().GetRead();
    inbox->GetMsgStore();
    inbox->PropertyByName(PR_DISPLAYNAME).GetAsString();
    inbox->PropertyByName(PR_FOLDERCLASS).GetAsString();
    inbox->HasProperty(PR_SUBJECT);
  });
  Costs("SetDisplayName", kNone, [&] { inbox->SetDisplayName("Other"); });
  Refuses<EEWSException>("SaveChanges", kNone, [&] { inbox->SaveChanges(); });
  Refuses<EEWSException>("SetId", kNone, [&] { inbox->SetId({}); });
  Refuses<EVqEWSNotCarriedOut>("EmptyFolder", kNone, [&] { inbox->EmptyFolder(dtSoftDelete, false); });
  Refuses<EVqEWSNotCarriedOut>("DeleteFolder", kNone, [&] { inbox->DeleteFolder(target, dtSoftDelete); });
  Costs("GetSubFolders, GetItems", kNone, [&] {
    inbox->GetSubFolders();
    inbox->GetItems();
  });
  TVqRef<IVqEWSItemChanges> items;
  TVqRef<IVqEWSFolderChanges> folders;
  Costs("SyncItems, SyncFolders", kNone, [&] {
    items = inbox->SyncItems("");
    folders = inbox->SyncFolders("");
  });
  Costs("to walk the changes", {"SyncFolderItems", "SyncFolderHierarchy"}, [&] {
    for (items->Open(); !items->Eof(); items->Next()) items->GetItemId();
    for (folders->Open(); !folders->Eof(); folders->Next()) folders->GetFolderId();
  });
  Costs("MarkAllAsRead, MarkAllAsUnread", {"MarkAllItemsAsRead", "MarkAllItemsAsRead"}, [&] {
    inbox->MarkAllAsRead(false);
    inbox->MarkAllAsUnread();
  });
  Costs("RemoveContents", {"EmptyFolder"}, [&] { inbox->RemoveContents(dtHardDelete, false); });
  Refuses<EEWSException>("RemoveFolder", {"DeleteFolder"}, [&] { inbox->RemoveFolder(target, dtHardDelete); });
  Costs("CreateItem", kNone, [&] { inbox->CreateItem(tMessage); });
  Costs("CreateFolder", {"CreateFolder"}, [&] { inbox->CreateFolder(sffFolder, "Below"); });
  TItemId id = AddMessage("Hello");
  Costs("GetItem", {"GetItem", "GetItem"}, [&] { inbox->GetItem(id); });
  Costs("CopyItem", {"CopyItem"}, [&] { inbox->CopyItem(id, target); });
  // A folder of a store looks at the class of what it deletes, which costs a GetItem of the store.
  Costs("MoveItem", {"CopyItem", "GetItem", "GetItem", "DeleteItem"}, [&] { inbox->MoveItem(id, target); });
  id = AddMessage("Hello");
  Costs("DeleteItem", {"GetItem", "GetItem", "DeleteItem"}, [&] { inbox->DeleteItem(id, dtHardDelete); });
  const auto viaTable = MakeRef<TVqEWSFolder>(Supports<TVqEWSItems>(inbox->GetItems()).get(), inboxId);
  id = AddMessage("Hello");
  Costs("MoveItem of a folder of a table", {"CopyItem", "DeleteItem"}, [&] { viaTable->MoveItem(id, target); });
  id = AddMessage("Hello");
  Costs("DeleteItem of a folder of a table", {"DeleteItem"}, [&] { viaTable->DeleteItem(id, dtHardDelete); });
  TVqMemoryStream mime(MimeOf("Imported"));
  Costs("ImportItem", {"GetFolder", "GetFolder", "CreateItem"}, [&] { inbox->ImportItem(mime, {}); });
  const auto contacts = Folder(dfincontacts);
  AnswerNext("CreateItem", ReplyOf("CreateItem", "<m:Items><t:Message><t:ItemId Id=\"I\"/></t:Message></m:Items>"));
  mime.SetPosition(0);
  Costs("ImportItem into a folder of another kind", {"CreateItem"}, [&] { contacts->ImportItem(mime, {}); });
}

TEST_F(RoundTrips, OfACalendarFolder) {
  const auto calendar = Supports<IVqEWSCalendarFolder>(Folder(dfincalendar));
  const TItemId first = AddAppointment(), second = AddAppointment();
  TVqRef<IVqEWSItems> view;
  Costs("GetCalendarView", kNone, [&] {
    view =
        calendar->GetCalendarView(VqXMLToDateTime("2026-03-01T00:00:00Z"), VqXMLToDateTime("2026-03-09T00:00:00Z"), 1);
  });
  Costs("to walk it", {"FindItem"}, [&] {
    for (view->Open(); !view->Eof(); view->Next()) view->GetItemId();
  });
  Costs("DeleteItem", {"GetItem", "GetItem", "DeleteItem"}, [&] { calendar->DeleteItem(first, dtHardDelete); });
  Costs("DeleteMeeting", {"GetItem", "GetItem", "DeleteItem"},
        [&] { calendar->DeleteMeeting(second, dtHardDelete, smiocSendToNone); });
}

TEST_F(RoundTrips, OfATableOfItems) {
  for (int i = 0; i < 5; ++i) AddMessage("Message " + std::to_string(i));
  const auto inbox = Inbox();
  TVqRef<IVqEWSItems> items;
  Costs("all that comes before it is opened", kNone, [&] {
    items = inbox->GetItems();
    items->GetFields().Add(FLD_ITEM_SUBJECT);
    items->GetFields().Add(FLD_ITEM_INREPLYTO);
    items->SetMaxEntriesPerPage(2);
    const auto filter = Supports<IVqEWSRestrictionExists>(items->CreateRestriction(rtExists));
    filter->SetFieldDef(FLD_ITEM_SUBJECT);
    items->Filter(filter);
    items->GetActive();
    items->Eof();
    items->Count();
    items->GetItemId();
    items->HasField(FLD_ITEM_SUBJECT);
    items->FindField(FLD_ITEM_SUBJECT);
    items->FieldByName(FLD_ITEM_SUBJECT);
    items->SetActive(false);
  });
  const auto read = [&] {
    items->GetActive();
    items->Eof();
    items->Count();
    items->GetItemId();
    items->HasField(FLD_ITEM_INREPLYTO);
    items->FieldByName(FLD_ITEM_SUBJECT).GetAsString();
    items->FieldByName(FLD_ITEM_INREPLYTO).GetAsString();  // what the row lacks is not asked for
  };
  Costs("Open", {"FindItem"}, [&] { items->Open(); });
  Costs("Open, open", kNone, [&] { items->Open(); });
  Costs("reading the row", kNone, read);
  Costs("Next within the page", kNone, [&] { items->Next(); });
  Costs("First within the first page", kNone, [&] { items->First(); });
  items->Next();
  Costs("Next behind the page", {"FindItem"}, [&] { items->Next(); });
  Costs("reading the row of the next page", kNone, read);
  Costs("First from a later page", {"FindItem"}, [&] { items->First(); });
  Costs("Filter, open", kNone, [&] { items->Filter({}); });
  Costs("to walk the rest", {"FindItem", "FindItem"}, [&] {
    while (!items->Eof()) items->Next();
  });
  Costs("Next at the end", kNone, [&] { items->Next(); });
  Costs("SetActive(false)", kNone, [&] { items->SetActive(false); });
  Costs("SetActive(true)", {"FindItem"}, [&] { items->SetActive(true); });
  Costs("SetActive(true), open: the first page anew", {"FindItem"}, [&] { items->SetActive(true); });
  items->SetActive(false);
  Costs("First, closed", {"FindItem"}, [&] { items->First(); });
}

TEST_F(RoundTrips, OfATableOfFolders) {
  const auto root = Folder(dfinmsgfolderroot);
  const TVqRef<IVqEWSFolders> folders = root->GetSubFolders();
  folders->GetFields().Add(FLD_FOLDER_DISPLAYNAME);
  folders->SetMaxEntriesPerPage(3);
  Costs("Open", {"FindFolder"}, [&] { folders->Open(); });
  Costs("reading the row", kNone, [&] {
    folders->FolderFieldType();
    folders->FieldByName(FLD_FOLDER_DISPLAYNAME).GetAsString();
    folders->HasField(FLD_FOLDER_DISPLAYNAME);
    Supports<TVqEWSFolders>(folders)->GetItemId();
  });
  Costs("Next within the page", kNone, [&] {
    folders->Next();
    folders->Next();
  });
  Costs("Next behind the page", {"FindFolder"}, [&] { folders->Next(); });
}

TEST_F(RoundTrips, OfAnItem) {
  const TItemId id = AddMessage("Hello");
  Store();
  TVqRef<TVqEWSEMail> mail;
  Costs("to load one", {"GetItem"}, [&] { mail = MakeRef<TVqEWSEMail>(Creator(), id); });
  Costs("what the load has", kNone, [&] {
    mail->GetID();
    mail->GetItemType();
    mail->GetIsNewItem();
    mail->GetIsSaved();
    mail->AsElement();
    mail->GetSubject();
    mail->GetBodyText();
    mail->GetItemClass();
    mail->GetSize();
    mail->GetDateTimeReceived();
    mail->GetAllowedResponseTypes();
    mail->GetEffectiveRights().GetRead();
    mail->GetIsPrivate();
    mail->GetMsgStore();
    mail->HasProperty(PR_SUBJECT);
    mail->HasProperty(PR_PREVIEW);  // the record knows the member: nobody is asked whether it is there
    mail->PropertyByName(PR_SUBJECT).GetAsString();
  });
  Costs("what it leaves out, at the first read", {"GetItem"}, [&] { mail->GetPreview(); });
  Costs("and at the second", kNone, [&] { mail->GetPreview(); });
  Costs("what the server does not have", {"GetItem"}, [&] { mail->GetInReplyTo(); });
  Costs("what the server does not have, again", {"GetItem"}, [&] { mail->GetInReplyTo(); });
  Costs("a record that the server does not have", {"GetItem"}, [&] { mail->GetPolicyTag(); });
  Costs("such a record, again", kNone, [&] { mail->GetPolicyTag(); });
  Costs("GetAttachments of an item without any", {"GetItem"}, [&] { mail->GetAttachments(); });
  Costs("GetAttachments, again", kNone, [&] { mail->GetAttachments().Count(); });
  Costs("GetCategories of an item without any", {"GetItem"}, [&] { mail->GetCategories(); });
  Costs("GetCategories, again", kNone, [&] { mail->GetCategories().Count(); });
  Costs("recipients of a kind that the message has", kNone, [&] { mail->GetToRecipients()->Count(); });
  Costs("recipients of a kind that it has not", {"GetItem"}, [&] { mail->GetCcRecipients(); });
  Costs("recipients of a kind that it has not, again", kNone, [&] { mail->GetCcRecipients()->Count(); });
  Costs("GetAdditionalProperties, many", {"GetItem"}, [&] {
    mail->GetAdditionalProperties({"UniqueBody", "TextBody", "PROPDEF:MPR_MESSAGE_FLAGS"});
  });
  Costs("what they fetched", kNone, [&] {
    mail->GetUniqueBody();
    mail->GetTextBody();
    mail->PropertyByName(MPR_MESSAGE_FLAGS).GetAsInteger();
  });
  Costs("HasProperty of a named property", {"GetItem"}, [&] { mail->HasProperty(EPR_COMMON_CLASSIFIED); });
  Costs("PropertyByName of a named property", {"GetItem"}, [&] { mail->PropertyByName(EPR_COMMON_CLASSIFIED); });
  Costs("PropertyByName of a named property, again", kNone, [&] { mail->PropertyByName(EPR_COMMON_CLASSIFIED); });
  mail->HasProperty(EPR_COMMON_PRIVATE);
  Costs("every change", kNone, [&] {
    mail->SetSubject("Other");
    mail->SetBodyText("<p>Other</p>");
    mail->SetIsPrivate(true);
    mail->GetCategories().Add("Red");
    mail->DeleteProperty(PR_SUBJECT);
    mail->GetProperties().Count();
  });
  TVqMemoryStream stream;
  Costs("SaveToStream", {"GetItem"}, [&] { mail->SaveToStream(stream); });
  const auto path = std::filesystem::temp_directory_path() / ("velmore-trips-" + IntToStr(::getpid()).utf8());
  Costs("SaveToFile", {"GetItem"}, [&] { mail->SaveToFile(path.string()); });
  std::filesystem::remove(path);
  Costs("GetParentFolder of an item of a store", {"GetFolder"}, [&] { mail->GetParentFolder(); });
  Costs("ReloadItem", {"GetItem"}, [&] { mail->ReloadItem(mail->GetID()); });
  const auto inbox = Inbox();
  const auto below = MakeRef<TVqEWSEMail>(Supports<TVqEWSFolder>(inbox).get(), id);
  Costs("GetParentFolder of an item of a folder", kNone, [&] { below->GetParentFolder(); });
}

TEST_F(RoundTrips, OfANewItem) {
  const auto drafts = Folder(dfindrafts);
  Costs("whatever is read or written", kNone, [&] {
    const auto item = Supports<IVqEWSEMail>(drafts->CreateItem(tMessage));
    item->GetSubject();
    item->GetPreview();
    item->GetTextBody();
    item->GetAttachments().Count();
    item->GetCategories().Add("Red");
    item->GetToRecipients()->Add("Ann <ann@example.com>");
    item->SetBodyText("Hello");
    item->SetIsPrivate(false);
    item->GetAdditionalProperties({"Preview", "PROPDEF:EPR_COMMON_PRIVATE"});
    item->HasProperty(EPR_COMMON_PRIVATE);
    item->GetParentFolder();
    item->GetMsgStore();
    TVqMemoryStream stream("content");
    item->GetAttachments().AddAttachment("a.txt", "text/plain", stream);
  });
}

TEST_F(RoundTrips, OfAttachments) {
  const TItemId id =
      AddItem("inbox",
              "<t:Message><t:Attachments><t:ItemAttachment><t:Name>inner</t:Name><t:Message><t:Subject>Inside"
              "</t:Subject></t:Message></t:ItemAttachment><t:FileAttachment><t:Name>a.txt</t:Name><t:Content>" +
                  VqBase64Encode("content of a") +
                  "</t:Content></t:FileAttachment><t:FileAttachment><t:Name>"
                  "b.txt</t:Name><t:Content>" +
                  VqBase64Encode("content of b") + "</t:Content></t:FileAttachment></t:Attachments></t:Message>");
  Store();
  const auto item = MakeRef<TVqEWSEMail>(Creator(), id);
  TVqRef<IVqEWSFileAttachment> a, b;
  TVqRef<IVqEWSItemAttachment> inner;
  Costs("the list and what the load tells of it", kNone, [&] {
    TVqEWSAttachments& list = item->GetAttachments();
    EXPECT_EQ(list.Count(), 3);
    a = Supports<IVqEWSFileAttachment>(list.GetAttachment(0));
    b = Supports<IVqEWSFileAttachment>(list.GetAttachment(1));
    inner = Supports<IVqEWSItemAttachment>(list.GetAttachment(2));
    for (IVqEWSAttachment* attachment : std::initializer_list<IVqEWSAttachment*>{a.get(), b.get(), inner.get()}) {
      attachment->GetAttachmentType();
      attachment->GetName();
      attachment->GetContentType();
      attachment->GetContentId();
      attachment->GetContentLocation();
      attachment->GetSize();
      attachment->GetLastModifiedTime();
      attachment->GetIsInline();
      attachment->GetModified();
      EXPECT_TRUE(list.FindAttachment(attachment->GetAttachmentId().GetId()));
    }
  });
  TVqMemoryStream stream;
  Costs("SaveToStream", {"GetAttachment"}, [&] { a->SaveToStream(stream); });
  Costs("SaveToStream, again", kNone, [&] { a->SaveToStream(stream); });
  const auto path = std::filesystem::temp_directory_path() / ("velmore-trips-" + IntToStr(::getpid()).utf8());
  Costs("SaveToFile", {"GetAttachment"}, [&] { b->SaveToFile(path.string()); });
  Costs("SaveToFile, again", kNone, [&] { b->SaveToFile(path.string()); });
  Costs("LoadFromFile", kNone, [&] { b->LoadFromFile(path.string()); });
  Costs("GetItemAttachmentType", {"GetAttachment"}, [&] { inner->GetItemAttachmentType(); });
  Costs("GetItemAttachmentType and the getters, again", kNone, [&] {
    inner->GetItemAttachmentType();
    inner->GetMessage();
    EXPECT_THROW(inner->GetContact(), EVqException);
    inner->GetPerson();
  });
  Costs("every change", kNone, [&] {
    a->SetName("other");
    stream.SetPosition(0);
    a->LoadFromStream(&stream);
    item->GetAttachments().AddAttachment(path.string());
    item->GetAttachments().AddAttachment("copy", TVqRef<IVqEWSItem>(item));
    item->GetAttachments().DeleteAttachment(0);
    item->GetAttachments().Clear(false);
    item->GetAttachments().Clear(true);
  });
  std::filesystem::remove(path);
}

TEST_F(RoundTrips, OfNames) {
  Session();
  Costs("ResolveName of a text", {"ResolveNames"}, [&] { Session().ResolveName("alice", scActiveDirectory); });
  TVqRef<IVqEWSRecipients> list;
  Costs("a list of recipients", kNone, [&] {
    list = Session().CreateRecipients();
    list->Add("Alice Arden <alice@example.com>");
    list->Add(kBob);
    list->GetAsString();
    list->GetItem(1)->SetName("Bob");
  });
  Costs("ResolveName of a recipient", {"ResolveNames"}, [&] { Session().ResolveName(list->GetItem(0), true); });
  Costs("ResolveNames", {"ResolveNames", "ResolveNames"}, [&] { EXPECT_TRUE(Session().ResolveNames(list, true)); });
  Costs("ResolveNames of nobody", kNone, [&] { Session().ResolveNames(Session().CreateRecipients(), true); });
  // Behind one that is not found the rest is left alone.
  list->SetAsString("Nobody at all; " + string(kBob));
  Costs("ResolveNames with a stranger first", {"ResolveNames"},
        [&] { EXPECT_FALSE(Session().ResolveNames(list, false)); });
}

}  // namespace
}  // namespace velmore::testing
