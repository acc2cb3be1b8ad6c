// The tour over all operations as a person runs it: it tells what worked, and leaves the mailbox as it was.

#include <algorithm>
#include <csignal>
#include <cstdlib>

#include "ews/schema/uVqEWSPropsFLD.h"
#include "tests/simulator/ProgramTestSupport.h"
#include "tests/support/EWSTestSupport.h"

namespace velmore::testing {
namespace {

using simulator::testing::Program;

class Interop : public EWSTest {
 protected:
  explicit Interop(simulator::Options options = Keeping()) : EWSTest(std::move(options)) {
    ::setenv("VELMORE_PASSWORD", "wonder", 1);
    for (const char* folder : {"inbox", "drafts", "deleteditems", "Projects/2026"})
      Server().AddMessage(kAlice, folder,
                          "From: bob@example.com\r\nSubject: In " + std::string(folder) + "\r\n\r\nHello");
    Server().AddMessage(
        kAlice, "inbox",
        "Subject: Enclosed\r\nMIME-Version: 1.0\r\nContent-Type: multipart/mixed; boundary=b\r\n\r\n"
        "--b\r\n\r\nText\r\n--b\r\nContent-Disposition: attachment; filename=a.txt\r\n\r\naaa\r\n--b--\r\n");
    Server().SetUserConfiguration(kAlice, "calendar", "CategoryList", "<categories/>");
    Session().SetStrictSchema(true);  // looking at the mailbox must pass everywhere
    FBefore = Mailboxes();
  }
  static simulator::Options Keeping() {
    simulator::Options options = TwoUsers();
    options.keep_exchanges = 100000;
    options.users[0].photo = "painted";
    options.lists = {{"rooms@example.com", "Rooms", {"bob@example.com"}, true}};
    return options;
  }

  Program Run(std::vector<std::string> options) {
    std::vector<std::string> command = {VELMORE_INTEROP, "--url", Server().HttpUrl(), "--user", "alice"};
    command.insert(command.end(), options.begin(), options.end());
    return Program(command);
  }

  /// All folders, and all items in them with their ids, keys and subjects.
  std::string Mailboxes() {
    std::string text;
    const auto store = Session().OpenDefaultMsgStore();
    Walk(*store, store->GetFolderId(dfinmsgfolderroot), "", text);
    text += "Bob " + std::to_string(Server().CountItems(kBob, "inbox"));
    return text;
  }

  std::string FBefore;

 private:
  void Walk(IVqEWSMsgStore& store, const TItemId& id, const std::string& indent, std::string& text) {
    const auto folder = store.GetFolder(id);
    text += indent + folder->GetDisplayName().utf8() + " " + folder->GetID().Id.utf8() + "\n";
    const auto items = folder->GetItems();
    items->GetFields().Add(FLD_ITEM_SUBJECT);
    for (items->Open(); !items->Eof(); items->Next()) {
      const TItemId item = items->GetItemId();
      text += indent + "- " + items->FieldByName(FLD_ITEM_SUBJECT).GetAsString().utf8() + " " + item.Id.utf8() + " " +
              item.ChangeKey.utf8() + "\n";
    }
    const auto request = Session().CreateRequest(nullptr, "m:FindFolder", "");
    request->GetMethod().SetAttribute("Traversal", "Shallow");
    request->GetMethod().AddElement("m:FolderShape").AddElement("t:BaseShape").SetText("IdOnly");
    request->GetMethod().AddElement("m:ParentFolderIds").AddElement("t:FolderId").SetAttribute("Id", id.Id);
    TVqRef<IVqSOAPResponse> response;
    request->Send(response);
    for (const IVqDOMElement& below : response->GetDocument().CreateElementList("//FolderId", kSelectQuiet))
      Walk(store, {below.GetAttribute("Id"), below.GetAttribute("ChangeKey")}, indent + "  ", text);
  }
};

TEST_F(Interop, ReadsAndWritesNothing) {
  Program tour = Run({});
  EXPECT_EQ(tour.Wait(), 0) << tour.Output();
  for (const char* form : {"default", "own", "schema"})
    EXPECT_NE(tour.Output().find(std::string("\n") + form + ": 24 worked, 0 refused, 2 skipped;"), std::string::npos)
        << tour.Output();
  EXPECT_NE(tour.Output().find("Nothing was written."), std::string::npos);
  EXPECT_NE(tour.Output().find("Verdict: both forms of requests are the same to this server.\n"
                               "The library works with it, without a setting.\n"),
            std::string::npos);
  for (const char* writing : {"CreateFolder", "CreateItem", "UpdateItem", "DeleteItem", "SendItem", "DeleteFolder"})
    EXPECT_FALSE(Server().GetCounters().operations.contains(writing)) << writing;
  EXPECT_EQ(Mailboxes(), FBefore);
}

TEST_F(Interop, SkipsWhatAMailboxNeedNotHave) {
  simulator::Options options = TwoUsers();
  options.version = "Exchange2010_SP2";
  simulator::Simulator older(options), bare(TwoUsers());
  for (simulator::Simulator* server : {&older, &bare}) {
    server->Start();
    Program tour({VELMORE_INTEROP, "--url", server->HttpUrl(), "--user", "alice", "--form", "schema"});
    EXPECT_EQ(tour.Wait(), 0) << tour.Output();
    for (const char* line : {"there are no lists of rooms", server == &older ? "since Exchange2013" : "has no photo"})
      EXPECT_NE(tour.Output().find(line), std::string::npos) << tour.Output();
  }
}

TEST_F(Interop, WritesAndSendsAndLeavesTheMailboxAsItWas) {
  Program tour = Run({"--write", "--send", "--form", "schema"});
  EXPECT_EQ(tour.Wait(), 0) << tour.Output();
  EXPECT_NE(tour.Output().find("45 worked, 0 refused, 4 skipped;"), std::string::npos) << tour.Output();
  EXPECT_TRUE(Server().GetCounters().departures.empty()) << "in the form of the schema";
  for (const char* operation : {"CreateFolder", "CreateItem", "UpdateItem", "DeleteItem", "SendItem", "DeleteFolder",
                                "CopyItem", "CreateAttachment", "DeleteAttachment", "GetAttachment"})
    EXPECT_TRUE(Server().GetCounters().operations.contains(operation)) << operation;
  EXPECT_EQ(Mailboxes(), FBefore);
}

TEST_F(Interop, KnowsItsForms) {
  Forget();
  Program tour = Run({"--form", "other"});
  EXPECT_EQ(tour.Wait(), 2);
  EXPECT_EQ(tour.Output(), "There is no form \"other\": default, own, schema\n");
  EXPECT_TRUE(Operations().empty());
}

TEST_F(Interop, TakesItsFolderAwayAlsoAfterFailures) {
  simulator::Fault fault;
  fault.operation = "CreateItem";
  fault.times = -1;
  fault.http_status = 503;
  Server().AddFault(fault);
  fault.operation = "DeleteFolder";  // the first try of the cleaning up, too
  fault.times = 1;
  Server().AddFault(fault);
  Program tour = Run({"--write"});
  EXPECT_EQ(tour.Wait(), 1) << tour.Output();
  EXPECT_NE(tour.Output().find("refused"), std::string::npos);
  EXPECT_EQ(Mailboxes(), FBefore) << tour.Output();
}

TEST_F(Interop, TakesItsFolderAwayWhenTheAnswerToItsCreationIsLost) {
  simulator::Fault fault;
  fault.operation = "CreateFolder";
  fault.execute = true;
  fault.close_before_reply = true;
  Server().AddFault(fault);
  Program tour = Run({"--write"});
  EXPECT_EQ(tour.Wait(), 1) << tour.Output();
  EXPECT_EQ(Mailboxes(), FBefore) << tour.Output();
}

TEST_F(Interop, CleansUpWhenItIsInterrupted) {
  simulator::Fault slow;
  slow.operation = "UpdateItem";
  slow.delay = std::chrono::milliseconds(500);
  Server().AddFault(slow);
  Program tour = Run({"--write"});
  ASSERT_TRUE(tour.ReadUntil("save a new message (CreateItem)")) << tour.Output();
  tour.Signal(SIGINT);
  EXPECT_EQ(tour.Wait(), 130) << tour.Output();
  EXPECT_EQ(tour.Output().find("import a message"), std::string::npos) << "it went on";
  EXPECT_EQ(Mailboxes(), FBefore) << tour.Output();
}

TEST_F(Interop, TellsWhatItCouldNotTakeAway) {
  simulator::Fault fault;
  fault.operation = "DeleteFolder";
  fault.times = -1;
  fault.response_code = "ErrorAccessDenied";
  Server().AddFault(fault);
  Program tour = Run({"--write"});
  EXPECT_EQ(tour.Wait(), 3) << tour.Output();
  EXPECT_NE(tour.Output().find("LEFT BEHIND (Velmore tour "), std::string::npos);
  EXPECT_NE(tour.Output().find("the folder of the tour: ErrorAccessDenied"), std::string::npos) << tour.Output();
}

simulator::Options Refusing() {
  simulator::Options options = TwoUsers();
  options.accept_departures = false;
  options.keep_exchanges = 100000;
  return options;
}

/// Against a server that validates what it is sent.
class InteropWithASchema : public Interop {
 protected:
  InteropWithASchema() : Interop(Refusing()) {}
};

TEST_F(InteropWithASchema, TellsWhichFormTheServerWantsAndThatNothingNeedsToBeSet) {
  Program tour = Run({"--write", "--send"});
  EXPECT_EQ(tour.Wait(), 0) << tour.Output();
  for (const char* form : {"default", "schema"})
    EXPECT_NE(tour.Output().find(std::string("\n") + form + ": 43 worked, 0 refused, 6 skipped;"), std::string::npos)
        << tour.Output();
  EXPECT_NE(tour.Output().find("load a folder (GetFolder)                    own      refused"), std::string::npos)
      << tour.Output();
  EXPECT_NE(tour.Output().find("(ErrorSchemaValidation)"), std::string::npos);
  EXPECT_NE(
      tour.Output().find("Verdict: this server wants the form of the schema. In the library's own form it refuses\n"
                         "  load a folder (GetFolder)\n"),
      std::string::npos);
  EXPECT_NE(tour.Output().find("\nThe library works with it, without a setting.\n"), std::string::npos);
  EXPECT_EQ(Mailboxes(), FBefore);
}

TEST_F(InteropWithASchema, TellsWhatAnApplicationIsRefused) {
  simulator::Fault fault;
  fault.operation = "GetAttachment";
  fault.response_code = "ErrorAccessDenied";
  Server().AddFault(fault);
  Program tour = Run({"--form", "default"});
  EXPECT_EQ(tour.Wait(), 1) << tour.Output();
  EXPECT_NE(tour.Output().find("Verdict: of the forms that were tried.\nAn application that sets nothing is refused\n"
                               "  load an attachment (GetAttachment)\n"),
            std::string::npos)
      << tour.Output();
}

}  // namespace
}  // namespace velmore::testing
