// export, import and sync.

#include <algorithm>
#include <csignal>
#include <regex>

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
  int Fetches() {
    const auto operations = Operations();
    return static_cast<int>(std::ranges::count(operations, "GetItem"));
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
  for (int i = 0; i < 8; ++i) AddMessage("Message " + std::to_string(i));
  simulator::Fault slow;  // from the third message on, so that there is a middle
  slow.operation = "GetItem";
  slow.skip = 6;
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
  RefuseNext("GetItem", "ErrorItemNotFound");
  const MailRun run = Run({"export", Path("out")});
  EXPECT_EQ(run.status, 1);
  EXPECT_TRUE(run.Says("1 written, 0 were there, 1 not possible")) << run.output;
  EXPECT_TRUE(run.Says("ErrorItemNotFound")) << run.output;
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
  for (int i = 0; i < 3; ++i)
    WriteFile("in/" + std::to_string(i) + ".eml",
              "Message-ID: <" + std::to_string(i) + "@example.com>\r\n" + MimeOf("Number " + std::to_string(i)));
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
    EXPECT_TRUE(again.Says(executed ? "1 imported, 2 were there" : "2 imported, 1 were there")) << again.output;
    EXPECT_EQ(Server().CountItems(kAlice, target), 3u);
  }
}

TEST_F(VelmoreMailFiles, ImportGoesOnBehindAFileThatIsRefused) {
  WriteFile("in/1.eml", MimeOf("One"));
  WriteFile("in/2.eml", MimeOf("Two"));
  RefuseNext("CreateItem", "ErrorMimeContentInvalid", 0);
  const MailRun run = Run({"import", Path("in")});
  EXPECT_EQ(run.status, 1);
  EXPECT_TRUE(run.Says("1.eml: ErrorMimeContentInvalid")) << run.output;
  EXPECT_TRUE(run.Says("1 imported, 0 were there, 1 refused")) << run.output;
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
  EXPECT_EQ(Fetches(), 2 * 3) << "what did not change is not fetched";
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
