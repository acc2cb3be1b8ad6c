// export, import and sync.

#include <algorithm>
#include <csignal>
#include <regex>
#include <thread>

#include "VelmoreMailTestSupport.h"

namespace velmore::testing {
namespace {

namespace fs = std::filesystem;
using simulator::testing::Program;
using simulator::testing::ReadFile;

/// The names without day and handle.
std::set<std::string> Subjects(const std::set<std::string>& files) {
  std::set<std::string> subjects;
  for (const std::string& name : files)
    subjects.insert(std::regex_replace(name, std::regex("\\d{4}-\\d\\d-\\d\\d (.*) [0-9a-f]{16}\\.eml"), "$1"));
  return subjects;
}

class VelmoreMailFiles : public VelmoreMail {
 protected:
  int Requests(const std::string& operation) {
    const auto operations = Operations();
    return static_cast<int>(std::ranges::count(operations, operation));
  }
  int Fetches() { return Requests("GetItem"); }
  /// Of which a request holds two.
  static std::string Long(const std::string& subject) {
    std::string body;
    for (int i = 0; i < 20000; ++i) body += "A line of some seventy characters, as people and programs write them.\r\n";
    return MimeOf(subject, body);
  }
};

// ---- export

TEST_F(VelmoreMailFiles, ExportWritesTheTree) {
  AddMessage("One");
  AddMessage("1/2 of ..\\..", "Projects/Lighthouse");
  const MailRun run = Run({"export", Path("out")});
  EXPECT_EQ(run.status, 0) << run.output;
  EXPECT_TRUE(run.Says("2 written, 0 were there, 0 not possible")) << run.output;
  const auto files = Files("out");
  ASSERT_EQ(files.size(), 2u);
  EXPECT_EQ(Subjects(files), (std::set<std::string>{"Inbox/One", "Projects/Lighthouse/1_2 of .._.."}));
  for (const std::string& name : files)
    EXPECT_NE(ReadFile(Path("out/" + name)).find("Subject: "), std::string::npos) << name;

  Forget();
  const MailRun again = Run({"export", Path("out")});
  EXPECT_TRUE(again.Says("0 written, 2 were there")) << again.output;
  EXPECT_EQ(Fetches(), 0);
  EXPECT_TRUE(Run({"export", Path("part"), "--folder", "inbox"}).Says("1 written"));
}

TEST_F(VelmoreMailFiles, ExportIsInterruptedAndGoesOn) {
  for (int i = 0; i < 8; ++i) Server().AddMessage(kAlice, "inbox", Long("Message " + std::to_string(i)));
  simulator::Fault slow;  // from the second request on, so that there is a middle
  slow.operation = "GetItem";
  slow.skip = 1;
  slow.times = -1;
  slow.delay = std::chrono::milliseconds(250);
  Server().AddFault(slow);
  Program first({VELMORE_MAIL, "export", Path("out"), "--folder", "inbox", "--progress"});
  ASSERT_TRUE(first.ReadUntil("3 of 8")) << first.Output();
  first.Signal(SIGINT);
  EXPECT_EQ(first.Wait(), 3) << first.Output();
  EXPECT_NE(first.Output().find("Interrupted. The same command goes on from here."), std::string::npos);
  EXPECT_NE(first.Output().find(" s left"), std::string::npos);
  const auto done = Files("out").size();
  EXPECT_GE(done, 3u);
  EXPECT_LT(done, 8u);

  Server().ClearFaults();
  const MailRun second = Run({"export", Path("out"), "--folder", "inbox", "--progress"});
  EXPECT_EQ(second.status, 0);
  EXPECT_TRUE(second.Says(std::to_string(8 - done) + " written, " + std::to_string(done) + " were there"))
      << second.output;
  EXPECT_TRUE(second.Says("[##############################] 8 of 8")) << second.output;
  for (const std::string& name : Files("out")) EXPECT_TRUE(name.ends_with(".eml")) << name;
}

TEST_F(VelmoreMailFiles, ExportWaitsWhereTheServerAsksForIt) {
  AddMessage("One");
  simulator::Fault busy;
  busy.operation = "GetItem";
  busy.times = 2;
  busy.soap_fault_code = "ErrorServerBusy";
  busy.back_off_milliseconds = 50;
  Server().AddFault(busy);
  const MailRun run = Run({"export", Path("out")});
  EXPECT_EQ(run.status, 0) << run.output;
  EXPECT_TRUE(run.Says("The server is busy. Going on in 1 s.")) << run.output;
  EXPECT_EQ(Files("out").size(), 1u);
}

TEST_F(VelmoreMailFiles, ExportTellsWhatItCannotHave) {
  AddMessage("One");
  AddMessage("Two");
  for (int i = 0; i < 2; ++i) RefuseNext("GetItem", "ErrorItemNotFound");  // an answer for both, and then the first
  const MailRun run = Run({"export", Path("out")});
  EXPECT_EQ(run.status, 1);
  EXPECT_TRUE(run.Says("1 written, 0 were there, 1 not possible")) << run.output;
  EXPECT_TRUE(run.Says("ErrorItemNotFound")) << run.output;
}

TEST_F(VelmoreMailFiles, ExportFetchesManyInOneRequest) {
  for (int i = 0; i < 30; ++i) AddMessage("Message " + std::to_string(i));
  Forget();
  EXPECT_TRUE(Run({"export", Path("out")}).Says("30 written"));
  EXPECT_EQ(Fetches(), 1);
  EXPECT_EQ(Requests("FindFolder"), 1) << "the tree in one request";
  EXPECT_EQ(Files("out").size(), 30u);
}

TEST_F(VelmoreMailFiles, ExportIsInterruptedInTheMiddleOfARequest) {
  AddMessage("One");
  simulator::Fault slow;
  slow.operation = "GetItem";
  slow.delay = std::chrono::minutes(5);
  Server().AddFault(slow);
  Program run({VELMORE_MAIL, "export", Path("out"), "--folder", "inbox"});
  while (Server().PendingFaults() > 0) std::this_thread::sleep_for(std::chrono::milliseconds(5));
  run.Signal(SIGINT);
  EXPECT_EQ(run.Wait(), 3) << run.Output();
  EXPECT_EQ(run.Output(), "Interrupted. The same command goes on from here.\n");
}

TEST_F(VelmoreMailFiles, AListThatIsCutIsAskedForAgain) {
  AddMessage("One");
  simulator::Fault cut;
  cut.operation = "FindItem";
  cut.close_before_reply = true;
  Server().AddFault(cut);
  const MailRun run = Run({"export", Path("out"), "--folder", "inbox"});
  EXPECT_TRUE(run.Says(" Going on in 2 s.") || run.Says(" Going on in 3 s.")) << run.output;
  EXPECT_TRUE(run.Says("1 written")) << run.output;
}

// ---- import

TEST_F(VelmoreMailFiles, ImportStoresFilesInFoldersOfTheirNames) {
  WriteFile("in/one.eml", MimeOf("One"));
  WriteFile("in/2025/March/two.eml", MimeOf("Two"));
  WriteFile("in/notes.txt", "none of our business");
  const MailRun run = Run({"import", Path("in"), "--folder", "Imported"});
  EXPECT_EQ(run.status, 0) << run.output;
  EXPECT_TRUE(run.Says("2 imported, 0 were there, 0 refused")) << run.output;
  EXPECT_EQ(Server().CountItems(kAlice, "Imported"), 1u);
  EXPECT_EQ(Server().CountItems(kAlice, "Imported/2025/March"), 1u);
  EXPECT_TRUE(Run({"list", "--folder", "Imported", "--unread"}).Says("0 of 0 in"));
  EXPECT_TRUE(Run({"import", Path("in"), "--folder", "Imported"}).Says("0 imported, 2 were there"));
  EXPECT_EQ(Run({"import", Path("nowhere")}).status, 2);
}

TEST_F(VelmoreMailFiles, ImportDoublesNothingWhenTheLineIsCut) {
  // Two requests of two; the second one is cut.
  for (int i = 0; i < 4; ++i)
    WriteFile("in/" + std::to_string(i) + ".eml",
              "Message-ID: <" + std::to_string(i) + "@example.com>\r\n" + Long("Number " + std::to_string(i)));
  for (const bool executed : {true, false}) {
    const std::string target = executed ? "Executed" : "Lost";
    fs::remove(Path("in/.velmore-mail-imported"));
    simulator::Fault cut;
    cut.operation = "CreateItem";
    cut.skip = 1;
    cut.execute = executed;
    cut.close_before_reply = true;
    Server().AddFault(cut);
    EXPECT_EQ(Run({"import", Path("in"), "--folder", target}).status, 1);
    const MailRun again = Run({"import", Path("in"), "--folder", target});
    EXPECT_EQ(again.status, 0) << again.output;
    EXPECT_TRUE(again.Says(executed ? "0 imported, 4 were there" : "2 imported, 2 were there")) << again.output;
    EXPECT_EQ(Server().CountItems(kAlice, target), 4u);
  }
}

TEST_F(VelmoreMailFiles, ImportStoresManyInOneRequest) {
  for (int i = 0; i < 12; ++i)
    WriteFile("in/" + std::to_string(i % 3) + "/" + std::to_string(i) + ".eml", MimeOf("Number " + std::to_string(i)));
  Forget();
  EXPECT_TRUE(Run({"import", Path("in")}).Says("12 imported"));
  EXPECT_EQ(Requests("CreateItem"), 3) << "one a folder";
  EXPECT_EQ(Server().CountItems(kAlice, "inbox/1"), 4u);
}

TEST_F(VelmoreMailFiles, ImportGoesOnBehindAFileThatIsRefused) {
  WriteFile("in/1.eml", "");
  WriteFile("in/2.eml", MimeOf("Two"));
  const MailRun run = Run({"import", Path("in")});
  EXPECT_EQ(run.status, 1);
  EXPECT_TRUE(run.Says("1.eml: ErrorMimeContentInvalid")) << run.output;
  EXPECT_TRUE(run.Says("1 imported, 0 were there, 1 refused")) << run.output;
  WriteFile("in/1.eml", MimeOf("One"));
  EXPECT_TRUE(Run({"import", Path("in")}).Says("1 imported, 1 were there, 0 refused"));
}

// ---- sync

TEST_F(VelmoreMailFiles, SyncFollowsTheMailbox) {
  const TItemId keep = AddMessage("Keep"), change = AddMessage("Change"), leave = AddMessage("Leave");
  const MailRun first = Run({"sync", Path("out")});
  EXPECT_EQ(first.status, 0) << first.output;
  EXPECT_TRUE(first.Says("3 new, 0 changed, 0 gone, 0 not possible")) << first.output;
  WriteFile("out/mine.txt", "written by somebody else");

  const TVqRef<IVqEWSItem> item = Store().GetItem(change);
  item->SetSubject("Changed");
  item->SaveChanges(soAutoResolve);
  Inbox()->DeleteItem(leave, dtHardDelete);
  AddMessage("New", "Projects");
  Forget();
  const MailRun second = Run({"sync", Path("out")});
  EXPECT_EQ(second.status, 0) << second.output;
  EXPECT_TRUE(second.Says("1 new, 1 changed, 1 gone, 0 not possible")) << second.output;
  EXPECT_EQ(Subjects(Files("out")), (std::set<std::string>{"Inbox/Keep", "Inbox/Changed", "Projects/New", "mine.txt"}));
  EXPECT_EQ(Fetches(), 2) << "what did not change is not fetched";
}

TEST_F(VelmoreMailFiles, SyncBringsBackAFileThatSomebodyRemoved) {
  AddMessage("One");
  EXPECT_EQ(Run({"sync", Path("out")}).status, 0);
  const auto files = Files("out");
  fs::remove(Path("out/" + *files.begin()));
  const MailRun again = Run({"sync", Path("out")});
  EXPECT_TRUE(again.Says("0 new, 1 changed, 0 gone")) << again.output;
  EXPECT_EQ(Files("out"), files);
}

TEST_F(VelmoreMailFiles, SyncBringsBackAFileThatSomebodyDeleted) {
  AddMessage("One");
  EXPECT_EQ(Run({"sync", Path("out")}).status, 0);
  const auto files = Files("out");
  ASSERT_EQ(files.size(), 1u);
  fs::remove(Path("out/" + *files.begin()));
  for (const char* said : {"0 new, 1 changed, 0 gone", "0 new, 0 changed, 0 gone"}) {
    const MailRun run = Run({"sync", Path("out")});
    EXPECT_EQ(run.status, 0) << run.output;
    EXPECT_TRUE(run.Says(said)) << run.output;
    EXPECT_EQ(Files("out"), files);
  }
}

TEST_F(VelmoreMailFiles, SyncTakesNothingForGoneThatItCouldNotSee) {
  AddMessage("One");
  AddMessage("Two", "Projects");
  EXPECT_EQ(Run({"sync", Path("out")}).status, 0);
  AddMessage("Three");
  RefuseNext("FindItem", "ErrorInternalServerError", 1);
  EXPECT_EQ(Run({"sync", Path("out")}).status, 1);
  EXPECT_GE(Files("out").size(), 2u);
  EXPECT_EQ(Run({"sync", Path("out")}).status, 0);
  EXPECT_EQ(Files("out").size(), 3u);
}

TEST_F(VelmoreMailFiles, SyncRefusesTheDirectoryOfAnotherFolder) {
  AddMessage("One");
  AddMessage("Two", "Projects");
  EXPECT_EQ(Run({"sync", Path("out")}).status, 0);
  const MailRun other = Run({"sync", Path("out"), "--folder", "Projects"});
  EXPECT_EQ(other.status, 2);
  EXPECT_TRUE(other.Says("holds another folder or mailbox")) << other.output;
  EXPECT_EQ(Files("out").size(), 2u);
}

TEST_F(VelmoreMailFiles, SyncTouchesNothingOutsideWhateverItsNoteSays) {
  AddMessage("One");
  EXPECT_EQ(Run({"sync", Path("out")}).status, 0);
  WriteFile("precious.txt", "x");
  const std::string note = Path("out/.velmore-mail-synced");
  WriteFile(
      "out/.velmore-mail-synced",
      ReadFile(note) + "0000000000000000\tkey\t../precious.txt\n1111111111111111\tkey\t" + Path("precious.txt") + "\n");
  EXPECT_EQ(Run({"sync", Path("out")}).status, 0);
  EXPECT_TRUE(fs::exists(Path("precious.txt")));
}

}  // namespace
}  // namespace velmore::testing
