// The code of the pages on objects, run. A page shows a test's lines as they stand here, comments aside;
// PagesShowCodeThatIsTested compares them.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <thread>

#include "ews/VelmoreEWS.h"
#include "ews/schema/uVqEWSPropsEFLD.h"
#include "ews/schema/uVqEWSPropsEPR.h"
#include "ews/schema/uVqEWSPropsFLD.h"
#include "ews/schema/uVqEWSPropsMPR.h"
#include "ews/stores/uVqEWSImpersonation.h"
#include "ews/values/uVqEWSProperties.h"
#include "platform/http/uVqURL.h"
#include "platform/os/uVqDns.h"
#include "platform/soap/uVqSOAPClient.h"
#include "tests/support/ScriptedServer.h"
#include "tests/support/Transcript.h"
#include "tests/wire/MailboxTestSupport.h"

using namespace velmore;

namespace velmore::testing {
namespace {

namespace fs = std::filesystem;

simulator::Options ThreeUsers() {
  simulator::Options options = TwoUsers();
  options.accept_departures = false;  // what the guide teaches works with every server, without a setting
  options.users[0].may_impersonate = true;
  options.users[0].grants = {{"carol@example.com", "calendar"}};
  options.users.push_back({"carol", "carol@example.com", "Carol Clay", "wheel"});
  return options;
}

/// Alice's mailbox, and an empty folder as the current one, with a report in it.
class Guide : public MailboxTest {
 protected:
  Guide() : MailboxTest(ThreeUsers()) {
    std::string pattern = (fs::temp_directory_path() / "velmore-guide-XXXXXX").string();
    FFolder = ::mkdtemp(pattern.data());
    fs::current_path(FFolder);
    std::ofstream("report.pdf") << "All is well.";
    std::ofstream("message.eml") << MimeOf("Imported");
  }
  ~Guide() override {
    fs::current_path(FBefore);
    fs::remove_all(FFolder);
  }

 private:
  fs::path FBefore = fs::current_path();
  fs::path FFolder;
};

// Go to a server that does not exist, so they are only compiled; examples/logon.cpp runs.

[[maybe_unused]] void ListTheInbox(const string& password) {
  TVqEWSServiceSession session;
  session.SetServiceUrl("https://mail.example.com/EWS/Exchange.asmx");
  session.GetCredentials().SetUserName("ann@example.com");
  session.GetCredentials().SetPassword(password);
  session.SetActive(true);

  auto items = session.OpenDefaultMsgStore()->GetFolder(dfininbox, "")->GetItems();
  items->GetFields().Add(FLD_ITEM_SUBJECT);
  for (items->Open(); !items->Eof(); items->Next()) {
    std::cout << items->FieldByName(FLD_ITEM_SUBJECT).GetAsString() << '\n';
  }
}

[[maybe_unused]] void LogOn(const string& password) {
  TVqEWSServiceSession session;
  session.SetServiceUrl("https://mail.example.com/EWS/Exchange.asmx");
  session.GetCredentials().SetUserName("ann@example.com");
  session.GetCredentials().SetPassword(password);
  session.SetActive(true);
  std::cout << session.GetServerDescription() << '\n';
}

TEST_F(Guide, ABusyServerIsOneHandler) {
  const TVqRef<IVqEWSFolder> folder = Inbox();
  simulator::Fault fault;
  fault.soap_fault_code = "ErrorServerBusy";
  fault.back_off_milliseconds = 250;
  Server().AddFault(fault);
  const auto work = [&] { folder->GetItems()->Open(); };
  std::int32_t waited = 0;
  const auto wait = [&](std::int32_t milliseconds) { waited = milliseconds; };
  try {
    work();
  } catch (const EVqServerBusy& busy) {
    std::cerr << busy.Failure().what() << '\n';
    wait(busy.GetRetryAfter());
  }
  EXPECT_EQ(waited, 250);
}

TEST_F(Guide, ASecondThreadTakesClientsOfItsOwn) {
  TVqEWSServiceSession& session = Session();
  auto http = session.CreateHTTPClient(true);
  std::unique_ptr<TVqSOAPClient> soap(session.CreateSOAPClient(http));
  auto request = session.CreateRequest(soap.get(), "m:GetFolder", "");
  EXPECT_EQ(request->GetMethod().GetQualifiedName(), "m:GetFolder");
}

TEST_F(Guide, TheFormOfRequestsNeedsNoSetting) {
  TVqEWSServiceSession& session = Session();
  EXPECT_EQ(session.GetWireForm(), TVqEWSWireForm::own);
  session.SetStrictSchema(true);     // the schema's form from the first request: for a server that is known to want it
  session.SetSchemaFallback(false);  // the library's own form or an exception
  session.GetWireForm();             // TVqEWSWireForm::own or ::schema: what the next request has
  EXPECT_EQ(session.GetWireForm(), TVqEWSWireForm::schema);
  EXPECT_FALSE(session.GetSchemaFallback());
}

TEST_F(Guide, StoresAndFolders) {
  TVqEWSServiceSession& session = Session();
  auto store = session.OpenDefaultMsgStore();
  auto inbox = store->GetFolder(dfininbox, "");
  auto hers = store->GetFolder(dfincalendar, "carol@example.com");
  auto again = store->GetFolder(inbox->GetID());
  TItemId id;
  if (store->FindFolderId(dfinarchiveinbox, id)) std::cout << "there is an archive\n";
  EXPECT_TRUE(Supports<IVqEWSCalendarFolder>(hers));
  EXPECT_EQ(again->GetDisplayName(), inbox->GetDisplayName());

  const TItemId message = AddMessage("Move me");
  TItemId below = inbox->CreateFolder(sffFolder, "Invoices");
  TItemId moved = inbox->MoveItem(message, below);
  inbox->DeleteItem(moved, dtMoveToDeletedItems);
  inbox->ImportItem("message.eml", 0x40, {msgflgRead});
  EXPECT_EQ(Server().CountItems(kAlice, "deleteditems"), 1u);
  EXPECT_EQ(Server().CountItems(kAlice, "inbox"), 1u);
}

TEST_F(Guide, MovingInTwoSteps) {
  const TVqRef<IVqEWSFolder> inbox = Inbox();
  const TItemId below = inbox->CreateFolder(sffFolder, "Invoices");
  const TItemId message = AddMessage("Move me");
  TItemId copy = inbox->CopyItem(message, below);

  inbox->DeleteItem(message, dtHardDelete);
  EXPECT_EQ(Store().GetItem(copy)->GetSubject(), "Move me");
  EXPECT_EQ(Server().CountItems(kAlice, "inbox"), 0u);
}

TEST_F(Guide, Impersonation) {
  TVqEWSServiceSession& session = Session();
  auto store = MakeRef<TVqEWSImpersonatedMsgStore>(&session, "carol@example.com");
  auto inbox = store->GetFolder(dfininbox, "");
  EXPECT_EQ(inbox->GetDisplayName(), "Inbox");
  EXPECT_NE(LastExchange("GetFolder").request_body.find("carol@example.com"), std::string::npos);
}

TEST_F(Guide, TablesAndFilters) {
  AddMessage("Invoice & \"Co\" 1");
  AddMessage("Hello");
  const TVqRef<IVqEWSFolder> inbox = Inbox();
  auto items = inbox->GetItems();
  for (auto* field : {&FLD_ITEM_DATETIMERECEIVED, &FLD_ITEM_SUBJECT, &FLD_ITEM_SIZE}) items->GetFields().Add(*field);
  items->SetMaxEntriesPerPage(200);
  for (items->Open(); !items->Eof(); items->Next()) {
    std::cout << items->FieldByName(FLD_ITEM_SUBJECT).GetAsString() << '\n';
  }
  std::cout << items->Count() << " in all\n";
  EXPECT_EQ(items->Count(), 2);

  const string typed = "invoice & \"co\"";
  auto unread = Supports<IVqEWSRestrictionCompare>(items->CreateRestriction(rtCompare));
  unread->SetFieldDef(FLD_MESSAGE_ISREAD);
  unread->SetValue(false);
  auto about = Supports<IVqEWSRestrictionContent>(items->CreateRestriction(rtContent));
  about->SetFieldDef(FLD_ITEM_SUBJECT);
  about->SetContainmentMode(cmSubstring);
  about->SetContainmentComparison(ccIgnoreCase);
  about->SetTextValue(typed);
  auto both = Supports<IVqEWSRestrictionAnd>(items->CreateRestriction(rtAnd));
  both->AddRestriction(unread);
  both->AddRestriction(about);
  items->Filter(both);
  items->SetActive(false);
  items->Open();
  EXPECT_EQ(items->Count(), 1);
}

TEST_F(Guide, RowsAsARangeAndFiltersAsExpressions) {
  AddMessage("Invoice & \"Co\" 1");
  AddMessage("Hello");
  const TVqRef<IVqEWSFolder> inbox = Inbox();
  ::testing::internal::CaptureStdout();
  for (const auto row : VqItemsOf(*inbox, FLD_ITEM_SUBJECT, FLD_MESSAGE_FROM)) {
    std::cout << row.Sender().Name << ": " << row[FLD_ITEM_SUBJECT].GetAsString() << '\n';
  }
  for (const auto folder : inbox->GetSubFolders()) std::cout << folder.DisplayName() << '\n';
  EXPECT_NE(::testing::internal::GetCapturedStdout().find("Bob Birch: Hello\n"), std::string::npos);

  const string typed = "invoice & \"co\"";
  auto items = VqItemsOf(*inbox, FLD_ITEM_SUBJECT);
  using namespace std::chrono;
  VqFilter(*items, VqField(FLD_MESSAGE_ISREAD) == false && VqContains(FLD_ITEM_SUBJECT, typed) &&
                       VqField(FLD_ITEM_DATETIMERECEIVED) >= sys_days(2026y / January / 1));
  int rows = 0;
  for ([[maybe_unused]] const auto row : *items) ++rows;
  EXPECT_EQ(rows, 1);
}

TEST_F(Guide, TheTenNewest) {
  for (int i = 0; i < 12; ++i) AddMessage("Message");
  const TVqRef<IVqEWSFolder> inbox = Inbox();
  ::testing::internal::CaptureStdout();
  auto newest = VqItemsOf(*inbox, FLD_ITEM_SUBJECT);
  newest->SetSortOrder(FLD_ITEM_DATETIMERECEIVED, sdDescending);
  newest->SetMaxEntries(10);
  for (const auto row : newest) std::cout << row[FLD_ITEM_SUBJECT].GetAsString() << '\n';

  newest->SetSortOrder({{FLD_ITEM_IMPORTANCE, sdDescending}, FLD_ITEM_SUBJECT});  // counts from the next request on

  const std::string listed = ::testing::internal::GetCapturedStdout();
  EXPECT_EQ(std::ranges::count(listed, '\n'), 10);
}

TEST_F(Guide, PathsAndTrees) {
  for (const char* folder : {"Projects/2026/May", "Projects/A"}) AddMessage("One", folder);
  IVqEWSMsgStore* const store = &Store();
  Folder(dfinmsgfolderroot)->CreateFolder(sffFolder, "In / Out");
  const string name = "A";
  ::testing::internal::CaptureStdout();
  auto year = store->GetFolder("Projects/2026");                        // from the top of what people see
  auto month = year->GetSubFolder("May");                               // from a folder
  if (!store->FindFolder("Projects/2027")) std::cout << "not yet\n";    // an empty reference instead of an exception
  auto both = store->GetFolder("In \\/ Out");                           // the folder "In / Out"
  auto typed = store->GetFolder("Projects/" + VqFolderPathPart(name));  // whatever the name has in it

  for (const TVqEWSFolderNode& folder : VqFolderTree(*store)) {  // or of any folder
    std::cout << folder.Path << ": " << folder.UnreadCount << " of " << folder.TotalCount << '\n';
  }
  auto march = VqMakeFolder(*store, "Archive/2026/03");
  EXPECT_EQ(march->GetDisplayName(), "03");
  const std::string listed = ::testing::internal::GetCapturedStdout();
  EXPECT_TRUE(listed.starts_with("not yet\n")) << listed;
  EXPECT_NE(listed.find("Projects/2026/May: 1 of 1\n"), std::string::npos) << listed;
  EXPECT_EQ(month->GetDisplayName(), "May");
  EXPECT_EQ(both->GetDisplayName(), "In / Out");
  EXPECT_EQ(typed->GetDisplayName(), "A");
}

bool Looked = false;
void LookBeforeRepeating() {
  Looked = true;
}

bool Recovers(const EVqException& failure) {
  std::cerr << failure.what() << '\n';
  if (VqResponseCode(failure) == "ErrorItemNotFound") return false;  // of any kind of exception, nested ones too
  if (!failure.SessionUsable()) return false;                        // log on again, or tell a person
  if (failure.MayHaveHappened()) LookBeforeRepeating();              // the answer was lost
  std::this_thread::sleep_for(failure.RetryAfter());                 // what the server asks for, or nothing
  return true;
}

TEST_F(Guide, WhatAFailureTells) {
  EXPECT_FALSE(Recovers(EEWSException("ErrorItemNotFound", "Gone.", 0)));
  EXPECT_FALSE(Recovers(EVqHTTPApiException("api", "Refused.", VqErrLoginFailure)));
  EXPECT_FALSE(Looked);
  EXPECT_TRUE(Recovers(EVqHTTPApiException("api", "Cut.", VqErrConnectionAborted)));
  EXPECT_TRUE(Looked);
}

TEST_F(Guide, ReadingAgain) {
  TVqEWSServiceSession& session = Session();
  session.SetRetryPolicy({.Attempts = 5, .LongestWait = std::chrono::seconds(60)});
  EXPECT_EQ(session.GetRetryPolicy().Attempts, 5);
}

TEST_F(Guide, RowsThatLackAColumn) {
  AddItem("inbox", "<t:Message><t:Subject>no sender</t:Subject></t:Message>");
  const TVqRef<IVqEWSItems> items = Inbox()->GetItems();
  items->GetFields().Add(FLD_MESSAGE_FROM);
  for (items->Open(); !items->Eof(); items->Next()) {
    const auto from = items->FieldByName(FLD_MESSAGE_FROM).GetValue<IVqDOMElement>();
    std::cout << from.SelectSingleElement("Mailbox/Name", kSelectQuiet).GetText() << '\n';
  }
  EXPECT_EQ(items->Count(), 1);
  EXPECT_FALSE(items->HasField(FLD_MESSAGE_FROM));
}

TEST_F(Guide, EntriesOfDictionaries) {
  AddItem("contacts",
          "<t:Contact><t:PhoneNumbers><t:Entry Key=\"HomePhone\">456</t:Entry></t:PhoneNumbers></t:Contact>");
  const TVqRef<IVqEWSFolder> contacts = Folder(dfincontacts);
  auto people = contacts->GetItems();
  people->GetFields().Add(FLD_CONTACTS_PHONENUMBER_HOMEPHONE);
  for (people->Open(); !people->Eof(); people->Next()) {
    std::cout << VqEntryOf(people->GetRowElement(), FLD_CONTACTS_PHONENUMBER_HOMEPHONE).GetText() << '\n';
    TEwsContactItem person(people->GetRowElement());
    std::cout << person.GetPhoneNumbers().GetEntry(pnkHomePhone).GetValue() << '\n';
  }
  EXPECT_EQ(VqEntryOf(people->GetRowElement(), FLD_CONTACTS_PHONENUMBER_HOMEPHONE).GetText(), "456");
}

TEST_F(Guide, Items) {
  AddMessage("Hello");
  const TVqRef<IVqEWSFolder> inbox = Inbox();
  const TVqRef<IVqEWSItems> items = inbox->GetItems();
  items->Open();
  auto item = inbox->GetItem(items->GetItemId());
  std::cout << item->GetSubject() << '\n' << item->GetTextBody().Value << '\n';
  item->SetImportance(icHigh);
  item->SaveChanges(soAutoResolve);
  EXPECT_EQ(inbox->GetItem(items->GetItemId())->GetImportance(), icHigh);

  item->GetAdditionalProperties({"UniqueBody", "Preview", "PROPDEF:EPR_COMMON_PRIVATE"});
  Forget();
  item->GetPreview();
  EXPECT_EQ(Operations(), Names());
}

TEST_F(Guide, Attachments) {
  const TItemId id = AddMessage("Files");
  const TVqRef<IVqEWSItem> item = Store().GetItem(id);
  item->GetAttachments().AddAttachment("message.eml");
  item->SaveChanges(soAutoResolve);
  fs::remove("message.eml");

  TVqEWSAttachments& attachments = item->GetAttachments();
  for (std::int32_t i = 0; i < attachments.Count(); ++i) {
    if (auto file = Supports<IVqEWSFileAttachment>(attachments.GetAttachment(i)))
      file->SaveToFile(VqSafeFileName(file->GetName()));
  }
  attachments.AddAttachment("report.pdf");
  item->SaveChanges(soAutoResolve);
  EXPECT_TRUE(fs::exists("message.eml"));
  EXPECT_EQ(Store().GetItem(id)->GetAttachments().Count(), 2);
}

TEST_F(Guide, Composing) {
  const TVqRef<IVqEWSFolder> drafts = Folder(dfindrafts);
  auto mail = Supports<IVqEWSEMail>(drafts->CreateItem(tMessage));
  mail->SetSubject("Report");
  mail->GetToRecipients()->SetAsString("Bob Birch <bob@example.com>; carol@example.com");
  mail->SetBodyText("<p>See the <b>file</b>.</p>");
  mail->GetAttachments().AddAttachment("report.pdf");
  mail->SaveChanges(soAutoResolve);
  EXPECT_EQ(Server().CountItems(kAlice, "drafts"), 1u);

  mail->SubmitMessage(true);
  EXPECT_EQ(Server().CountItems(kAlice, "sentitems"), 1u);
  EXPECT_EQ(Server().CountItems(kBob, "inbox"), 1u);
}

TEST_F(Guide, SavingAndConflicts) {
  const TItemId id = AddMessage("Plan");
  IVqEWSMsgStore* const store = &Store();
  TVqRef<IVqEWSItem> item = store->GetItem(id);
  item->SetSubject("New");
  item->GetCategories().Add("Seen");
  item->SaveChanges(soAutoResolve);

  const TVqRef<IVqEWSItem> theirs = store->GetItem(item->GetID());
  const string mine = "Mine";
  item->SetSubject(mine);
  theirs->SetSubject("Theirs");
  theirs->SaveChanges(soAutoResolve);
  Forget();
  try {
    item->SaveChanges(soAutoResolve);
  } catch (const EEWSException& failure) {
    if (!failure.Message().StartsWith("ErrorIrresolvableConflict")) throw;
    item = store->GetItem(item->GetID());
    item->SetSubject(mine);
    item->SaveChanges(soAutoResolve);
  }
  EXPECT_EQ(store->GetItem(item->GetID())->GetSubject(), mine);
  EXPECT_EQ(std::ranges::count(Operations(), "UpdateItem"), 2);
}

constexpr TVqEWSPropDef EPR_PROJECT{.PropDefName = "EPR_PROJECT",
                                    .Extended = true,
                                    .PropType = ptString,
                                    .PropertySetId = &PSETID_PublicStrings,
                                    .PropKind = pkName,
                                    .Name = "Project"};
constexpr TVqEWSFieldDef EFLD_PROJECT{
    .FieldDefName = "EFLD_PROJECT", .PropDef = &EPR_PROJECT, .FieldType = fdtExtendedField};

TEST_F(Guide, Properties) {
  ForEachPropDef([](const TVqEWSPropDef& def) {
    if (def.PropDefName.view().find("REMINDER") != std::string_view::npos) std::cout << def.PropDefName.view() << '\n';
    return true;
  });

  const TItemId id = AddMessage("Bridge");
  TVqRef<IVqEWSItem> mail = Store().GetItem(id);
  mail->PropertyByName(EPR_COMMON_PRIVATE).SetAsBoolean(true);
  mail->SaveChanges(soAutoResolve);
  mail = Store().GetItem(id);
  if (mail->HasProperty(EPR_COMMON_PRIVATE)) std::cout << "marked, one way or the other\n";
  EXPECT_TRUE(mail->PropertyByName(EPR_COMMON_PRIVATE).GetAsBoolean());

  TVqEWSProperties& properties = mail->GetProperties();
  for (std::int32_t i = 0; i < properties.Count(); ++i) {
    TVqEWSProperty& property = properties.GetItem(i);
    std::cout << property.GetName() << ": " << property.GetAsString() << '\n';
  }
  EXPECT_GT(properties.Count(), 5);

  mail->PropertyByName(EPR_COMMON_BILLINGINFORMATION).SetAsString("Project 17");
  mail->DeleteProperty(EPR_COMMON_MILEAGE);
  mail->SaveChanges(soAutoResolve);
  EXPECT_EQ(Store().GetItem(id)->PropertyByName(EPR_COMMON_BILLINGINFORMATION).GetAsString(), "Project 17");

  RegisterProp(&EPR_PROJECT);
  RegisterField(&EFLD_PROJECT);
  mail->PropertyByName(EPR_PROJECT).SetAsString("Bridge");
  mail->SaveChanges(soAutoResolve);
  EXPECT_EQ(Store().GetItem(id)->PropertyByName(EPR_PROJECT).GetAsString(), "Bridge");
}

TEST_F(Guide, AMapiPropertyIsAskedFor) {
  const TVqRef<IVqEWSItem> mail = Store().GetItem(AddMessage("Hello"));
  TVqEWSProperty& body = mail->PropertyByName(MPR_BODY);
  std::cout << body.GetAsString() << '\n';
  EXPECT_TRUE(body.GetAsString().Contains("Hello"));
}

TEST_F(Guide, ColumnsOfATable) {
  AddMessage("Hello");
  const TVqRef<IVqEWSFolder> folder = Inbox();
  TVqRef<IVqEWSItems> table = folder->GetItems();
  table->GetFields().Add(FLD_ITEM_SUBJECT);
  table->GetFields().Add(EFLD_COMMON_PRIVATE);
  for (table->Open(); !table->Eof(); table->Next())
    std::cout << table->GetFields().FieldByName(FLD_ITEM_SUBJECT).GetAsString() << '\n';
  EXPECT_EQ(table->Count(), 1);
}

TEST_F(Guide, AnEmbeddedTranscript) {
  const std::string folder = VELMORE_SOURCE "/tests/wire/transcripts/list-and-read";
  TVqEWSServiceSession session;
  Configure(session);
  TranscriptServer server(folder);
  session.SetServiceUrl(server.Url());
  session.SetActive(true);
  auto inbox = session.OpenDefaultMsgStore()->GetFolder(dfininbox, "");
  auto items = inbox->GetItems();
  items->GetFields().Add(FLD_ITEM_SUBJECT);
  items->Open();
  EXPECT_TRUE(Supports<IVqEWSEMail>(inbox->GetItem(items->GetItemId()))->GetBodyText().StartsWith("Hello Alice"));
  EXPECT_EQ(server.Finish(), "");
}

TEST_F(Guide, WatchingAndCancelling) {
  auto& session = Session();
  std::ostringstream log;
  session.SetOnRequest([&](TVqComponent&, const TVqEWSTraffic& message) {
    log << "> " << message.Operation << ' ' << message.Body.size() << '\n';
  });
  session.SetOnResponse([&](TVqComponent&, const TVqEWSTraffic& message) {
    log << "< " << message.Operation << ' ' << message.Status << '\n';
  });
  session.ResolveName("alice", scActiveDirectory);
  EXPECT_EQ(log.str().find("> ResolveNames "), 0u);
  EXPECT_NE(log.str().find("\n< ResolveNamesResponse 200\n"), std::string::npos);
  {
    std::thread button([&] { session.Cancel(); });
    button.join();
  }
  session.ResolveName("alice", scActiveDirectory);

  std::stop_source stop;
  session.SetStopToken(stop.get_token());
  stop.request_stop();
  EXPECT_THROW(session.ResolveName("alice", scActiveDirectory), EVqHTTPApiException);
  session.SetStopToken({});
  session.ResolveName("alice", scActiveDirectory);
}

TEST_F(Guide, FindingTheServer) {
  TVqEWSServiceSession session;
  VqSetDnsFunctions({[](const std::string&, std::uint16_t, const TVqDnsOptions&, TVqDnsRecord*& records) {
                       records = nullptr;
                       return kVqDnsNoSuchName;
                     },
                     [](TVqDnsRecord*, std::int32_t) {}});
  ScriptedServer proxy;  // stands for the whole net, and knows of no server
  proxy.Always([](const ScriptedServer::Request&) {
    ScriptedServer::Answer answer;
    answer.Bytes = "HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\n\r\n";
    return answer;
  });
  session.SetAccessType(TVqHTTPAccessType::proxy);
  session.SetProxyServer("127.0.0.1:" + IntToStr(proxy.Port()));
  const string password = "secret";
  const auto logOn = [&] {
    session.SetAutodiscoverEMail("ann@example.com");
    session.GetCredentials().SetUserName("ann@example.com");
    session.GetCredentials().SetPassword(password);
    session.SetActive(true);
  };
  session.SetOnAutodiscoverRedirect(
      [](TVqComponent&, const string&, const string& to) { return VqDecodeURL(to).Host.EndsWith(".example.com"); });
  EXPECT_THROW(logOn(), EEWSException);
  std::ostringstream report;
  std::streambuf* const screen = std::cout.rdbuf(report.rdbuf());
  for (const TVqEWSAutodiscoverStep& step : session.GetAutodiscoverReport())
    std::cout << step.URL << ": " << step.Outcome << '\n';
  std::cout.rdbuf(screen);
  EXPECT_NE(report.str().find("https://example.com/autodiscover/autodiscover.xml: failed: "), std::string::npos);
}

}  // namespace
}  // namespace velmore::testing
