// Stores: folders and items by name and id, and which class stands for them.

#include "ews/items/uVqEWSItem.h"
#include "tests/wire/MailboxTestSupport.h"

namespace velmore::testing {
namespace {

using Stores = MailboxTest;

constexpr const char* kNoFolder =
    "ErrorFolderNotFound (There was no FolderId in the SOAP Response!).|There was no FolderId in the SOAP Response!";
constexpr const char* kNoItem =
    "ErrorItemNotFound (There was no ItemId in the SOAP Response!).|There was no ItemId in the SOAP Response!";

TEST_F(Stores, FolderIdIsOneRequestForTheIdAlone) {
  Store();
  TItemId id;
  EXPECT_EQ(Sent([&] { id = Store().GetFolderId(dfininbox); }), Names{"GetFolder"});
  EXPECT_FALSE(id.Id.empty());
  EXPECT_FALSE(id.ChangeKey.empty());
  EXPECT_EQ(Request("GetFolder"),
            "<m:GetFolder><m:FolderShape><t:BaseShape>IdOnly</t:BaseShape></m:FolderShape><m:FolderIds>"
            "<t:DistinguishedFolderId Id=\"inbox\"/></m:FolderIds></m:GetFolder>");
}

TEST_F(Stores, EveryDistinguishedNameIsWrittenWithoutItsPrefix) {
  const char* names[] = {"calendar",
                         "contacts",
                         "deleteditems",
                         "drafts",
                         "inbox",
                         "journal",
                         "notes",
                         "outbox",
                         "sentitems",
                         "tasks",
                         "msgfolderroot",
                         "publicfoldersroot",
                         "root",
                         "junkemail",
                         "searchfolders",
                         "voicemail",
                         "recoverableitemsroot",
                         "recoverableitemsdeletions",
                         "recoverableitemsversions",
                         "recoverableitemspurges",
                         "recoverableitemsdiscoveryholds",
                         "archiveroot",
                         "archivemsgfolderroot",
                         "archivedeleteditems",
                         "archiveinbox",
                         "archiverecoverableitemsroot",
                         "archiverecoverableitemsdeletions",
                         "archiverecoverableitemsversions",
                         "archiverecoverableitemspurges",
                         "archiverecoverableitemsdiscoveryholds",
                         "syncissues",
                         "conflicts",
                         "localfailures",
                         "serverfailures",
                         "recipientcache",
                         "quickcontacts",
                         "conversationhistory",
                         "adminauditlogs",
                         "todosearch",
                         "mycontacts",
                         "directory",
                         "imcontactlist",
                         "peopleconnect",
                         "favorites",
                         "mecontact",
                         "personmetadata",
                         "teamspaceactivity",
                         "teamspacemessaging",
                         "teamspaceworkitems",
                         "scheduled"};
  ASSERT_EQ(std::size(names), 50u);
  for (int value = 0; value < 50; ++value) {
    EXPECT_EQ(VqEnumToText(static_cast<TDistinguishedFolderIdName>(value)), names[value]);
  }
}

TEST_F(Stores, FolderByNameCostsTwoRequests) {
  Store();
  TVqRef<IVqEWSFolder> inbox;
  EXPECT_EQ(Sent([&] { inbox = Store().GetFolder(dfininbox, ""); }), (Names{"GetFolder", "GetFolder"}));
  EXPECT_EQ(Requests("GetFolder")[1],
            "<m:GetFolder><m:FolderShape><t:BaseShape>AllProperties</t:BaseShape></m:FolderShape><m:FolderIds>" +
                LoadId("FolderId", inbox->GetID()) + "</m:FolderIds></m:GetFolder>");
  EXPECT_FALSE(Supports<IVqEWSCalendarFolder>(inbox));
}

TEST_F(Stores, CalendarIsACalendarFolderByNameAndById) {
  TVqRef<IVqEWSFolder> byName, byId;
  Store();
  EXPECT_EQ(Sent([&] { byName = Folder(dfincalendar); }).size(), 2u);
  EXPECT_TRUE(Supports<IVqEWSCalendarFolder>(byName));
  const TItemId id = byName->GetID();
  // By id the kind is only known from the first answer: the folder is loaded again as what it is.
  EXPECT_EQ(Sent([&] { byId = Store().GetFolder(id); }), (Names{"GetFolder", "GetFolder"}));
  EXPECT_EQ(Requests("GetFolder")[0], Requests("GetFolder")[1]);
  EXPECT_TRUE(Supports<IVqEWSCalendarFolder>(byId));
}

TEST_F(Stores, FolderByIdThatIsNoCalendarCostsOneRequest) {
  const TItemId id = Store().GetFolderId(dfincontacts);
  TVqRef<IVqEWSFolder> folder;
  EXPECT_EQ(Sent([&] { folder = Store().GetFolder(id); }), Names{"GetFolder"});
  EXPECT_EQ(folder->GetFolderFieldType(), sffContactsFolder);
  // The same through a record of the id.
  const TVqDOMDocument document("<t:FolderId/>");
  TEwsFolderId record(document.GetDocumentElement());
  record.SetId(id.Id);
  record.SetChangeKey(id.ChangeKey);
  EXPECT_EQ(Store().GetFolder(record)->GetID().Id, id.Id);
}

TEST_F(Stores, CaseCountsForTheElementOfACalendarFolder) {
  const TItemId id = Store().GetFolderId(dfincalendar);
  AnswerNext("GetFolder",
             ReplyOf("GetFolder", "<m:Folders><t:Calendarfolder><t:FolderId Id=\"" + id.Id.utf8() + "\" ChangeKey=\"" +
                                      id.ChangeKey.utf8() + "\"/></t:Calendarfolder></m:Folders>"));
  EXPECT_FALSE(Supports<IVqEWSCalendarFolder>(Store().GetFolder(dfincalendar, "")));
}

TEST_F(Stores, AnotherMailboxIsNamedByItsAddress) {
  Server().AddUser({"carol", "carol@example.com", "Carol Cole", "cradle", {}, false});
  simulator::User dave{"dave", "dave@example.com", "Dave Dunn", "dancer"};
  dave.grants = {{kBob, "inbox", simulator::Access::kReviewer}};
  Server().AddUser(dave);
  Server().AddMessage(kBob, "inbox", MimeOf("Bob's"));
  TVqEWSServiceSession session;
  Configure(session);
  session.GetCredentials().SetUserName("dave");
  session.GetCredentials().SetPassword("dancer");
  session.SetActive(true);
  const auto store = session.OpenDefaultMsgStore();
  Forget();
  const auto inbox = store->GetFolder(dfininbox, kBob);
  EXPECT_EQ(Requests("GetFolder")[0],
            "<m:GetFolder><m:FolderShape><t:BaseShape>IdOnly</t:BaseShape></m:FolderShape><m:FolderIds>"
            "<t:DistinguishedFolderId Id=\"inbox\"><t:Mailbox><t:EmailAddress>bob@example.com</t:EmailAddress>"
            "</t:Mailbox></t:DistinguishedFolderId></m:FolderIds></m:GetFolder>");
  EXPECT_EQ(inbox->GetTotalCount(), 1);
  auto items = inbox->GetItems();
  items->Open();
  EXPECT_EQ(Supports<IVqEWSItem>(inbox->GetItem(items->GetItemId()))->GetSubject(), "Bob's");
  // No right there, and a mailbox that does not exist.
  EXPECT_EQ(CodeOf([&] { store->GetFolder(dfininbox, "carol@example.com"); }), "ErrorAccessDenied");
  EXPECT_EQ(CodeOf([&] { store->GetFolder(dfininbox, "nobody@example.com"); }), "ErrorNonExistentMailbox");
}

TEST_F(Stores, PublicFoldersAreADistinguishedFolder) {
  const auto root = Folder(dfinpublicfoldersroot);
  EXPECT_FALSE(root->GetID().Id.empty());
  EXPECT_NE(root->GetID().Id, Store().GetFolderId(dfinmsgfolderroot).Id);
}

TEST_F(Stores, UnknownAndMalformedIdsAreRefusedAsExchangeDoes) {
  const TItemId item = AddMessage("one");
  const TItemId folder = Store().GetFolderId(dfininbox);
  EXPECT_EQ((CodeOf([&] { Store().GetFolder(TItemId{"nonsense", ""}); })), "ErrorInvalidIdMalformed");
  EXPECT_EQ((CodeOf([&] { Store().GetItem({"nonsense", ""}); })), "ErrorInvalidIdMalformed");
  EXPECT_EQ((CodeOf([&] { Store().GetItem({"", ""}); })), "ErrorInvalidIdEmpty");
  EXPECT_EQ((CodeOf([&] { Store().GetFolder(item); })), "ErrorCannotUseItemIdForFolderId");
  EXPECT_EQ((CodeOf([&] { Store().GetItem(folder); })), "ErrorCannotUseFolderIdForItemId");
  Inbox()->DeleteItem(item, dtHardDelete);
  EXPECT_EQ((CodeOf([&] { Store().GetItem(item); })), "ErrorItemNotFound");
  EXPECT_EQ((CodeOf([&] { Store().GetFolderId(dfinarchiveinbox); })), "ErrorFolderNotFound");
}

TEST_F(Stores, AnAnswerWithoutExactlyOneFolderRaises) {
  Store();
  AnswerNext("GetFolder", ReplyOf("GetFolder", "<m:Folders/>"));
  EXPECT_EQ(RefusalOf([&] { Store().GetFolderId(dfininbox); }), kNoFolder);
  AnswerNext("GetFolder", ReplyOf("GetFolder",
                                  "<m:Folders><t:Folder><t:FolderId Id=\"a\"/></t:Folder><t:Folder><t:FolderId "
                                  "Id=\"b\"/></t:Folder></m:Folders>"));
  EXPECT_EQ(RefusalOf([&] { Store().GetFolder(dfininbox, ""); }), kNoFolder);
  AnswerNext("GetFolder", ReplyOf("GetFolder", "<m:Folders/>"));
  EXPECT_EQ(RefusalOf([&] { Store().GetFolder(TItemId{"x", "y"}); }), kNoFolder);
  AnswerNext("GetFolder", ReplyOf("GetFolder",
                                  "<m:Folders><t:Folder><t:FolderId Id=\"a\"/></t:Folder><t:Folder><t:FolderId "
                                  "Id=\"b\"/></t:Folder></m:Folders>"));
  EXPECT_EQ(RefusalOf([&] { Store().GetFolder(TItemId{"x", "y"}); }), kNoFolder);
}

TEST_F(Stores, FindFolderIdSwallowsEveryFailure) {
  TItemId id{"left", "over"};
  EXPECT_TRUE(Store().FindFolderId(dfininbox, id));
  EXPECT_EQ(id.Id, Store().GetFolderId(dfininbox).Id);
  EXPECT_FALSE(Store().FindFolderId(dfinarchiveinbox, id));
  EXPECT_EQ(id.Id, "");
  EXPECT_EQ(id.ChangeKey, "");
  // Also one of the transport, and an answer that is no envelope.
  simulator::Fault cut;
  cut.close_before_reply = true;
  cut.times = 3;
  Server().AddFault(cut);
  id = {"left", "over"};
  EXPECT_FALSE(Store().FindFolderId(dfininbox, id));
  EXPECT_EQ(id.Id, "");
  Server().ClearFaults();
  AnswerNext("GetFolder", "<html/>");
  EXPECT_FALSE(Store().FindFolderId(dfininbox, id));
  Server().Stop();
  EXPECT_FALSE(Store().FindFolderId(dfininbox, id));
}

// ---- Items

TEST_F(Stores, ItemIsProbedForItsClassAndThenLoaded) {
  const TItemId id = AddMessage("Hello");
  Store();
  TVqRef<IVqEWSItem> item;
  EXPECT_EQ(Sent([&] { item = Store().GetItem(id); }), (Names{"GetItem", "GetItem"}));
  const std::string load = "<m:GetItem><m:ItemShape><t:BaseShape>AllProperties</t:BaseShape></m:ItemShape><m:ItemIds>" +
                           LoadId("ItemId", id) + "</m:ItemIds></m:GetItem>";
  EXPECT_EQ(Requests("GetItem"), (Names{load, load}));
  EXPECT_TRUE(Supports<IVqEWSEMail>(item));
  EXPECT_EQ(item->GetSubject(), "Hello");
  EXPECT_EQ(item->GetMsgStore().get(), &Store());
}

TEST_F(Stores, ItemClassPlaysNoPartInTheChoice) {
  // A message that says that it is an appointment is a message; case of the element does not count.
  const TItemId id = AddItem("inbox", "<t:Message><t:ItemClass>IPM.Appointment</t:ItemClass></t:Message>");
  EXPECT_TRUE(Supports<IVqEWSEMail>(Store().GetItem(id)));
  AnswerNext("GetItem", ReplyOf("GetItem", "<m:Items><t:MESSAGE/></m:Items>"));
  EXPECT_TRUE(Supports<IVqEWSEMail>(Store().GetItem(id)));
  AnswerNext("GetItem", ReplyOf("GetItem", "<m:Items><t:MeetingRequest/></m:Items>"));
  const auto request = Store().GetItem(id);
  EXPECT_FALSE(Supports<IVqEWSEMail>(request));
  EXPECT_TRUE(Supports<TVqEWSItem>(request));
  EXPECT_EQ(request->GetItemType(), tItem);
}

TEST_F(Stores, EveryPropertyOfAKindWithoutAClassReads) {
  const TItemId id = AddMessage("Hello");
  const std::string content =
      "<m:Items><t:MeetingRequest><t:ItemId Id=\"I\" "
      "ChangeKey=\"C\"/><t:Subject>Lunch</t:Subject><t:HasAttachments>false"
      "</t:HasAttachments><t:Start>2026-03-02T12:00:00Z</t:Start><t:Organizer><t:Mailbox><t:Name>Ann</t:Name></"
      "t:Mailbox>"
      "</t:Organizer><t:AdjacentMeetingCount>2</t:AdjacentMeetingCount><t:EndTimeZone "
      "Id=\"UTC\"/></t:MeetingRequest></m:Items>";
  AnswerNext("GetItem", ReplyOf("GetItem", content));
  AnswerNext("GetItem", ReplyOf("GetItem", content));
  const auto item = Store().GetItem(id);
  Forget();
  TVqEWSProperties& properties = item->GetProperties();
  std::map<std::string, std::string> texts;
  for (std::int32_t i = 0; i < properties.Count(); ++i)
    texts[properties.GetItem(i).GetName().utf8()] = properties.GetItem(i).GetAsString().utf8();
  EXPECT_EQ(Operations(), Names{});
  EXPECT_EQ(texts["PR_SUBJECT"], "Lunch");
  EXPECT_EQ(texts["PR_START"], "2026-03-02T12:00:00Z");
  EXPECT_EQ(texts["PR_ADJACENTMEETINGCOUNT"], "2");
  EXPECT_EQ(texts["PR_ORGANIZER"], "<t:Organizer><t:Mailbox><t:Name>Ann</t:Name></t:Mailbox></t:Organizer>");
  TVqEWSProperty& start = item->PropertyByName(PR_START);
  EXPECT_EQ(start.GetAsDateTime(), VqXMLToDateTime("2026-03-02T12:00:00Z"));
  EXPECT_EQ(start.GetValue<TDateTime>(), VqXMLToDateTime("2026-03-02T12:00:00Z"));
  EXPECT_EQ(start.GetValue<string>(), "2026-03-02T12:00:00Z");
  EXPECT_EQ(item->PropertyByName(PR_ADJACENTMEETINGCOUNT).GetValue<std::int32_t>(), 2);
  EXPECT_EQ(MessageOf<EVqException>([&] { start.GetValue<std::int32_t>(); }),
            "Failed to get the value for Start!\r\nType std::int32_t expected, but type string returned!");
  EXPECT_EQ(MessageOf<EVqException>([&] { start.GetTypeInfo(); }), "Start (PR_START) is not a property of TEwsItem!");
}

TEST_F(Stores, EveryPropertyOfASearchFolderReads) {
  Store();
  AnswerNext("GetFolder",
             ReplyOf("GetFolder",
                     "<m:Folders><t:SearchFolder><t:FolderId Id=\"F\"/><t:DisplayName>Unread</t:DisplayName>"
                     "<t:SearchParameters Traversal=\"Deep\"><t:BaseFolderIds/></t:SearchParameters>"
                     "</t:SearchFolder></m:Folders>"));
  const auto folder = Store().GetFolder(TItemId{"F", "K"});
  TVqEWSProperties& properties = folder->GetProperties();
  std::map<std::string, std::string> texts;
  for (std::int32_t i = 0; i < properties.Count(); ++i)
    texts[properties.GetItem(i).GetName().utf8()] = properties.GetItem(i).GetAsString().utf8();
  EXPECT_EQ(texts["PR_DISPLAYNAME"], "Unread");
  EXPECT_EQ(texts["PR_SEARCHPARAMETERS"],
            "<t:SearchParameters Traversal=\"Deep\"><t:BaseFolderIds/></t:SearchParameters>");
}

TEST_F(Stores, PostItemIsAPlainItem) {
  const TItemId id = AddItem("inbox", "<t:PostItem><t:Subject>Posted</t:Subject></t:PostItem>");
  const auto item = Store().GetItem(id);
  EXPECT_TRUE(Supports<TVqEWSItem>(item));
  EXPECT_EQ(item->GetSubject(), "Posted");
}

TEST_F(Stores, AnAnswerWithoutExactlyOneItemRaises) {
  const TItemId id = AddMessage("Hello");
  Store();
  for (const char* items : {"<m:Items/>", "<m:Items><t:Message/><t:Message/></m:Items>"}) {
    AnswerNext("GetItem", ReplyOf("GetItem", items));
    EXPECT_EQ(RefusalOf([&] { Store().GetItem(id); }), kNoItem);
    AnswerNext("GetItem", ReplyOf("GetItem", items), 1);
    EXPECT_EQ(RefusalOf([&] { Store().GetItem(id); }), kNoItem);
    Server().ClearFaults();
  }
}

TEST_F(Stores, OccurrenceIsFoundWithoutAChangeKey) {
  Store();
  auto store = Supports<TVqEWSMsgStore>(&Store());
  const TItemId standIn = AddItem("calendar",
                                  "<t:CalendarItem><t:Subject>stands for the occurrence</t:Subject>"
                                  "<t:Start>2026-03-02T09:00:00Z</t:Start><t:End>2026-03-02T10:00:00Z</t:End>"
                                  "</t:CalendarItem>");
  AnswerNext("GetItem",
             ReplyOf("GetItem", "<m:Items><t:calendaritem><t:ItemId Id=\"" + standIn.Id.utf8() + "\" ChangeKey=\"" +
                                    standIn.ChangeKey.utf8() + "\"/></t:calendaritem></m:Items>"));
  TVqRef<IVqEWSCalendarItem> occurrence;
  EXPECT_EQ(Sent([&] { occurrence = store->GetOccurence({"MASTER", "KEY"}, 3); }).size(), 3u);
  EXPECT_EQ(Requests("GetItem")[0],
            "<m:GetItem><m:ItemShape><t:BaseShape>IdOnly</t:BaseShape></m:ItemShape><m:ItemIds>"
            "<t:OccurrenceItemId RecurringMasterId=\"MASTER\" InstanceIndex=\"3\"/></m:ItemIds></m:GetItem>");
  EXPECT_EQ(occurrence->GetID().Id, standIn.Id);

  AnswerNext("GetItem", ReplyOf("GetItem", "<m:Items/>"));
  EXPECT_EQ(RefusalOf([&] { store->GetOccurence({"MASTER", ""}, 1); }), kNoItem);
  AnswerNext("GetItem", ReplyOf("GetItem", "<m:Items><t:Message/></m:Items>"));
  EXPECT_NE(MessageOf<EAssertionFailed>([&] {
              store->GetOccurence({"MASTER", ""}, 1);
            }).find("ews/uVqEWSMsgStore"),
            std::string::npos);
}

TEST_F(Stores, OccurrenceOfASeries) {
  const TItemId master = AddItem(
      "calendar",
      "<t:CalendarItem><t:Subject>Daily</t:Subject><t:Start>2026-03-02T09:00:00Z</t:Start><t:End>2026-03-02T10:00:00Z"
      "</t:End><t:Recurrence><t:DailyRecurrence><t:Interval>1</t:Interval></t:DailyRecurrence><t:NumberedRecurrence>"
      "<t:StartDate>2026-03-02Z</t:StartDate><t:NumberOfOccurrences>5</t:NumberOfOccurrences></t:NumberedRecurrence>"
      "</t:Recurrence></t:CalendarItem>");
  Store();
  auto store = Supports<TVqEWSMsgStore>(&Store());
  const auto second = store->GetOccurence(master, 2);
  EXPECT_EQ(second->AsElement().SelectSingleElement("Start", kSelectRequired).GetText(), "2026-03-03T09:00:00Z");
  EXPECT_EQ(CodeOf([&] { store->GetOccurence(master, 6); }), "ErrorCalendarOccurrenceIndexIsOutOfRecurrenceRange");
}

// ---- Identity

TEST_F(Stores, IdentityIsAskedForThroughAMadeUpAddressAndKept) {
  Store();
  const auto store = MakeRef<TVqEWSMsgStore>(&Session(), "");
  EXPECT_EQ(store->GetID().Id, "");
  string name;
  EXPECT_EQ(Sent([&] { name = store->GetDisplayName(); }), (Names{"GetFolder", "ConvertId", "ResolveNames"}));
  EXPECT_EQ(name, "Alice Arden");
  const TItemId inbox = Store().GetFolderId(dfininbox);
  const std::string request = Request("ConvertId");
  const std::string head =
      "<m:ConvertId DestinationFormat=\"EwsId\"><m:SourceIds><t:AlternateId Format=\"EwsId\" Id=\"" + inbox.Id.utf8() +
      "\" Mailbox=\"";
  EXPECT_EQ(request.substr(0, head.size()), head);
  const std::string mailbox = request.substr(head.size(), request.find('"', head.size()) - head.size());
  EXPECT_NE(mailbox.find('@'), std::string::npos);
  EXPECT_NE(mailbox, kAlice);
  EXPECT_EQ(request.substr(head.size() + mailbox.size()), "\"/></m:SourceIds></m:ConvertId>");
  EXPECT_EQ(Sent([&] {
              EXPECT_EQ(store->GetDisplayName(), "Alice Arden");
              EXPECT_EQ(store->GetIdentity()->GetEmailAddress(), kAlice);
            }),
            Names{});
}

TEST_F(Stores, NameGivenAtCreationIsKeptAndIsTheId) {
  Store();
  const auto store = MakeRef<TVqEWSMsgStore>(&Session(), "My mailbox");
  EXPECT_EQ(Sent([&] { EXPECT_EQ(store->GetDisplayName(), "My mailbox"); }), Names{});
  EXPECT_EQ(store->GetID().Id, "My mailbox");
  EXPECT_EQ(store->GetID().ChangeKey, "");
  EXPECT_EQ(store->GetIdentity()->GetName(), "Alice Arden");
  EXPECT_EQ(store->GetIdentity().get(), store->GetIdentity().get());
}

TEST_F(Stores, IdentityThatFailsIsAskedForAgain) {
  Store();
  const auto store = MakeRef<TVqEWSMsgStore>(&Session(), "");
  RefuseNext("ConvertId", "ErrorInvalidIdMalformed");
  EXPECT_EQ(CodeOf([&] { store->GetIdentity(); }), "ErrorInvalidIdMalformed");
  EXPECT_EQ(store->GetIdentity()->GetEmailAddress(), kAlice);
}

TEST_F(Stores, NothingWorksBeforeLogOn) {
  TVqEWSServiceSession session;
  Configure(session);
  const auto store = MakeRef<TVqEWSMsgStore>(&session, "early");
  Forget();
  EXPECT_EQ(MessageOf<EVqException>([&] { store->GetItem({"x", "y"}); }), "You must logon first!");
  EXPECT_EQ(Operations(), Names{});
}

// ---- Older servers

class OldStore : public MailboxTest {
 protected:
  OldStore() : MailboxTest("Exchange2013") {}
};
class NewerStore : public MailboxTest {
 protected:
  NewerStore() : MailboxTest("Exchange2013_SP1") {}
};

TEST_F(OldStore, NoChangeKeyGoesWithALoad) {
  const TItemId id = AddMessage("Hello");
  const auto item = Store().GetItem(id);
  const std::string load = "<m:GetItem><m:ItemShape><t:BaseShape>AllProperties</t:BaseShape></m:ItemShape><m:ItemIds>" +
                           LoadId("ItemId", id, false) + "</m:ItemIds></m:GetItem>";
  EXPECT_EQ(Requests("GetItem"), (Names{load, load}));
  Inbox();
  EXPECT_EQ(Request("GetFolder").find("ChangeKey"), std::string::npos);
}

TEST_F(NewerStore, TheChangeKeyGoesWithALoadInAnElementOfItsOwn) {
  const TItemId id = AddMessage("Hello");
  Store().GetItem(id);
  EXPECT_NE(Requests("GetItem")[0].find(LoadId("ItemId", id)), std::string::npos);
  EXPECT_NE(Requests("GetItem")[1].find(LoadId("ItemId", id)), std::string::npos);
}

}  // namespace
}  // namespace velmore::testing
