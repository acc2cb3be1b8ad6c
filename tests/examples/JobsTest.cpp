// The twelve jobs as a person runs them: exit code, text, files, and what the server holds then.

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <regex>
#include <set>
#include <thread>

#include "tests/simulator/ProgramTestSupport.h"
#include "tests/wire/MailboxTestSupport.h"

namespace velmore::testing {
namespace {

namespace fs = std::filesystem;
using simulator::testing::Program;
using simulator::testing::ReadFile;

struct Ran {
  int status;
  std::string output;
  bool Says(const std::string& text) const { return output.find(text) != std::string::npos; }
};

[[maybe_unused]] void PrintTo(const Ran& ran, std::ostream* out) {
  *out << "exit code " << ran.status << ":\n" << ran.output;
}

class Jobs : public MailboxTest {
 protected:
  explicit Jobs(simulator::Options options = TwoUsers()) : MailboxTest(std::move(options)) {
    ::setenv("EWS_URL", Server().HttpUrl().c_str(), 1);
    ::setenv("EWS_USER", "alice", 1);
    ::setenv("EWS_PASSWORD", "wonder", 1);
    ::unsetenv("EWS_CA_FILE");
  }
  static std::vector<std::string> Command(const std::string& job, std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), VELMORE_JOBS "/job-" + job);
    return arguments;
  }
  static Ran Run(const std::string& job, std::vector<std::string> arguments = {}) {
    Program program(Command(job, std::move(arguments)));
    const int status = program.Wait();
    return {status, program.Output()};
  }
  void Message(const std::string& subject, const std::string& day, const std::string& more = {}) {
    Server().AddMessage(kAlice, "inbox",
                        "Received: from a by b; " + day + " 10:00:00 +0000\r\n" + more +
                            "From: Bob Birch <bob@example.com>\r\nTo: alice@example.com\r\nSubject: " + subject +
                            "\r\n\r\nHello");
  }
  std::string Path(const std::string& name) const { return FFolder.Path(name); }
  std::set<std::string> Files(const std::string& below) const {
    std::set<std::string> names;
    for (const auto& entry : fs::recursive_directory_iterator(Path(below)))
      if (entry.is_regular_file()) names.insert(fs::relative(entry.path(), Path(below)).generic_string());
    return names;
  }
  int Requests(const std::string& operation) {
    const auto operations = Operations();
    return static_cast<int>(std::ranges::count(operations, operation));
  }

  simulator::testing::Folder FFolder;
};

TEST_F(Jobs, SayHowTheyAreCalledAndWhatFails) {
  for (const auto& job : fs::directory_iterator(VELMORE_JOBS)) {
    const std::string name = job.path().filename().string();
    if (!name.starts_with("job-")) continue;
    ::setenv("EWS_PASSWORD", "not this one", 1);
    const Ran run = Run(name.substr(4), {"1", "2", "3", "4", "5"});
    EXPECT_EQ(run.status, 1) << name << ": " << run.output;
    EXPECT_TRUE(run.Says("LOGIN_FAILURE")) << name << ": " << run.output;
    EXPECT_FALSE(run.Says("not this one"));
  }
  const Ran usage = Run("archive");
  EXPECT_EQ(usage.status, 1);
  EXPECT_EQ(usage.output, "usage: archive YEAR\n");
}

TEST_F(Jobs, ExportAWholeMailboxAndGoOn) {
  AddMessage("One");
  AddMessage("Two");
  AddMessage("Three", "Projects/Light:house");
  RefuseNext("FindFolder", "ErrorInternalServerError");
  EXPECT_EQ(Run("export-mailbox", {Path("out")}).status, 1) << "the tree cannot be walked to its end";
  const Ran run = Run("export-mailbox", {Path("out")});
  EXPECT_EQ(run.status, 0) << run.output;
  const auto files = Files("out");
  ASSERT_EQ(files.size(), 3u);
  const std::regex name("(Inbox/One|Inbox/Two|Projects/Light.house/Three) [0-9a-f]{16}\\.eml");
  for (const std::string& file : files) {
    EXPECT_TRUE(std::regex_match(file, name)) << file;
    EXPECT_NE(ReadFile(Path("out/" + file)).find("Subject: "), std::string::npos) << file;
  }
  Forget();
  EXPECT_EQ(Run("export-mailbox", {Path("out")}).output, "0 written\n");
  EXPECT_EQ(Requests("GetItem"), 0) << "what is there is not fetched again";
}

TEST_F(Jobs, ExportTellsWhatHasNoFile) {
  AddMessage("One");
  AddMessage("Two");
  for (int i = 0; i < 2; ++i) RefuseNext("GetItem", "ErrorItemNotFound");  // an answer for both, and then the first
  const Ran run = Run("export-mailbox", {Path("out")});
  EXPECT_EQ(run.status, 0);
  EXPECT_TRUE(run.Says(": ErrorItemNotFound")) << run.output;
  EXPECT_TRUE(run.Says("1 written\n")) << run.output;
}

TEST_F(Jobs, ArchiveByYearAndMonth) {
  Message("New", "Mon, 02 Mar 2026");
  Message("Old", "Sun, 02 Mar 2025");
  Message("Older", "Fri, 01 Mar 2024");
  for (int i = 0; i < 120; ++i) Message("Many", "Sat, 14 Jun 2025");  // more than a page
  const Ran run = Run("archive", {"2026"});
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.output, "2024-03: 1\n2025-03: 1\n2025-06: 120\n");
  EXPECT_EQ(Server().CountItems(kAlice, "inbox"), 1u);
  EXPECT_EQ(Server().CountItems(kAlice, "Archive/2024/03"), 1u);
  EXPECT_EQ(Server().CountItems(kAlice, "Archive/2025/03"), 1u);
  EXPECT_EQ(Server().CountItems(kAlice, "Archive/2025/06"), 120u);
  EXPECT_EQ(Run("archive", {"2027"}).output, "2026-03: 1\n");
  EXPECT_EQ(Run("archive", {"soon"}).status, 1);
}

TEST_F(Jobs, SearchBySenderDatesCategoryAndSize) {
  Message("Early", "Mon, 02 Mar 2026");
  Server().AddMessage(kAlice, "inbox",
                      "Received: from a by b; Wed, 04 Mar 2026 10:00:00 +0000\r\nFrom: Carol Clay "
                      "<carol@example.com>\r\nSubject: Large\r\n\r\n" +
                          std::string(9000, 'x'));
  AddItem(
      "inbox",
      "<t:Message><t:Subject>Marked</t:Subject><t:Categories><t:String>Kitchen</t:String></t:Categories></t:Message>");
  EXPECT_TRUE(
      std::regex_match(Run("search", {"from=CAROL"}).output, std::regex("2026-03-04T10:00:00Z  Carol Clay: Large\n")));
  EXPECT_TRUE(std::regex_match(Run("search", {"category=Kitchen"}).output, std::regex(".*Marked\n")));
  EXPECT_TRUE(std::regex_match(Run("search", {"larger=8000"}).output, std::regex(".*Large\n")));
  EXPECT_TRUE(
      std::regex_match(Run("search", {"since=2026-03-01", "before=2026-03-03"}).output, std::regex(".*Early\n")));
  EXPECT_EQ(Run("search", {"from=bob", "larger=8000"}).output, "");
  const Ran wrong = Run("search", {"shoesize=43"});
  EXPECT_EQ(wrong.status, 1);
  EXPECT_EQ(wrong.output, "\"shoesize=43\" is no condition.\n");
  EXPECT_EQ(Run("search", {"since=soon"}).status, 1);
}

TEST_F(Jobs, NewsletterReachesEverybodyOnceThoughItIsStoppedOnItsWay) {
  std::string list;
  for (int i = 0; i < 300; ++i) list += "Reader " + std::to_string(i) + " <r" + std::to_string(i) + "@example.org>\n";
  const std::vector<std::string> arguments = {
      FFolder.Write("list", list), "News", FFolder.Write("letter.html", "<p>Dear reader</p>"),
      FFolder.Write("tower.png", "\x89PNG"), FFolder.Write("paper.pdf", "%PDF")};
  RefuseNext("SendItem", "ErrorMessageSizeExceeded", 120);
  EXPECT_EQ(Run("newsletter", arguments).status, 1);
  EXPECT_EQ(Server().SentOutside().size(), 120u);
  const Ran second = Run("newsletter", arguments);
  EXPECT_EQ(second.output, "180 sent\n");
  std::set<std::string> readers;
  const auto sent = Server().SentOutside();
  ASSERT_EQ(sent.size(), 300u);
  for (const std::string& mime : sent) {
    std::smatch to;
    EXPECT_TRUE(std::regex_search(mime, to, std::regex("<(r[0-9]+@example.org)>")));
    readers.insert(to[1]);
  }
  EXPECT_EQ(readers.size(), 300u);
  EXPECT_NE(sent.front().find("paper.pdf"), std::string::npos);
  EXPECT_NE(sent.front().find("cid:_inlineImg0"), std::string::npos) << "the picture is in the letter";
  EXPECT_EQ(Run("newsletter", arguments).output, "0 sent\n");
  const Ran without = Run("newsletter", {arguments[0], "News", Path("none"), arguments[3], arguments[4]});
  EXPECT_EQ(without.status, 1);
  EXPECT_EQ(without.output, "There is no file \"" + Path("none") + "\".\n");
}

TEST_F(Jobs, AConflictIsResolved) {
  const Ran run = Run("conflict");
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.output, "Lunch on Thursday at one\n");
  EXPECT_EQ(Server().CountItems(kAlice, "drafts"), 1u);
}

simulator::Options WithASharedMailbox() {
  simulator::Options options = TwoUsers();
  options.users[0].grants = {{"bob@example.com", "", simulator::Access::kEditor}};
  return options;
}

class JobsOnASharedMailbox : public Jobs {
 protected:
  JobsOnASharedMailbox() : Jobs(WithASharedMailbox()) {}
};

TEST_F(JobsOnASharedMailbox, WhatNobodyTookIsTaken) {
  for (const char* subject : {"First", "Second"})
    Server().Deliver(kBob, "From: x@example.org\r\nSubject: " + std::string(subject) + "\r\n\r\nx");
  Server().AddItem(
      kBob, "inbox",
      "<t:Message><t:Subject>Theirs</t:Subject><t:Categories><t:String>Carol</t:String></t:Categories></t:Message>");
  const Ran run = Run("shared-mailbox", {kBob, "Alice"});
  EXPECT_EQ(run.status, 0);
  EXPECT_TRUE(run.Says("First\n")) << run.output;
  EXPECT_TRUE(run.Says("Second\n")) << run.output;
  EXPECT_FALSE(run.Says("Theirs")) << run.output;
  EXPECT_EQ(Run("shared-mailbox", {kBob, "Alice"}).output, "");
}

TEST_F(Jobs, EverythingIsMarkedAsReadWithCounts) {
  for (int i = 0; i < 120; ++i) AddMessage("Many");
  AddMessage("Deep", "Projects/Lighthouse");
  const Ran run = Run("mark-read");
  EXPECT_EQ(run.status, 0);
  EXPECT_TRUE(run.Says("Inbox: 120\n")) << run.output;
  EXPECT_TRUE(run.Says("Lighthouse: 1\n")) << run.output;
  EXPECT_EQ(Inbox()->GetUnreadCount(), 0);
  EXPECT_EQ(Run("mark-read").output, "");
}

TEST_F(Jobs, FilesAreImported) {
  fs::create_directories(Path("in"));
  for (int i = 0; i < 3; ++i) FFolder.Write("in/" + std::to_string(i) + ".eml", MimeOf("Number " + std::to_string(i)));
  FFolder.Write("in/notes.txt", "none of it");
  FFolder.Write("in/1.eml", "");
  Forget();
  const Ran run = Run("import-eml", {Path("in")});
  EXPECT_EQ(run.status, 0);
  EXPECT_TRUE(run.Says("in/1.eml: ErrorMimeContentInvalid")) << run.output;
  EXPECT_TRUE(run.Says("2 imported\n")) << run.output;
  EXPECT_EQ(Requests("CreateItem"), 1);
  EXPECT_EQ(Server().CountItems(kAlice, "Imported"), 2u);
}

TEST_F(Jobs, HeadersAndNamedPropertiesAreTold) {
  Message("Road", "Mon, 02 Mar 2026", "X-Road: by sea\r\n");
  AddItem(
      "inbox",
      "<t:Message><t:Subject>Road works</t:Subject><t:ExtendedProperty><t:ExtendedFieldURI "
      "DistinguishedPropertySetId=\"Common\" "
      "PropertyId=\"34101\" PropertyType=\"String\"/><t:Value>Project 17</t:Value></t:ExtendedProperty></t:Message>");
  const Ran run = Run("analyse", {"road"});
  EXPECT_EQ(run.status, 0);
  EXPECT_TRUE(run.Says("Road\n")) << run.output;
  EXPECT_TRUE(run.Says("  X-Road: by sea\n")) << run.output;
  EXPECT_TRUE(run.Says(" = Project 17\n")) << run.output;
}

TEST_F(Jobs, ADaemonLosesAndDoublesNothing) {
  const auto subjects = [&] {
    std::set<std::string> found;
    for (const std::string& name : Files("spool")) {
      EXPECT_TRUE(std::regex_match(name, std::regex("[0-9a-f]{16}\\.eml"))) << name;
      std::smatch subject;
      const std::string text = ReadFile(Path("spool/" + name));
      EXPECT_TRUE(std::regex_search(text, subject, std::regex("Subject: ([^\r\n]*)"))) << text;
      found.insert(subject[1]);
    }
    return found;
  };
  using Subjects = std::set<std::string>;
  const auto spooled = [&](std::ptrdiff_t count) {
    const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    const auto whole = [](const std::string& name) { return name.ends_with(".eml"); };
    while (!fs::exists(Path("spool")) || std::ranges::count_if(Files("spool"), whole) < count) {
      if (std::chrono::steady_clock::now() > until) return false;
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
  };
  Server().Deliver(kAlice, MimeOf("Before"));
  const auto command = Command("spool", {Path("spool")});
  {
    Program first(command);
    ASSERT_TRUE(spooled(1)) << first.Output();
    Server().Deliver(kAlice, MimeOf("Meanwhile"));
    ASSERT_TRUE(spooled(2)) << first.Output();
    EXPECT_EQ(subjects(), (Subjects{"Before", "Meanwhile"}));
    Server().DropConnections();
    Server().Deliver(kAlice, MimeOf("In a gap"));
    ASSERT_TRUE(spooled(3)) << first.Output();
    first.Signal(SIGKILL);  // without a word, as a machine that loses its power
    EXPECT_EQ(first.Wait(), -1);
  }
  Server().Deliver(kAlice, MimeOf("While nobody looked"));
  Program second(command);
  ASSERT_TRUE(spooled(4)) << second.Output();
  second.Signal(SIGTERM);
  EXPECT_EQ(second.Wait(), 0) << second.Output();
  EXPECT_EQ(std::ranges::count(second.Output(), '\n'), 1) << "what is there is not told again: " << second.Output();
  EXPECT_EQ(subjects(), (Subjects{"Before", "Meanwhile", "In a gap", "While nobody looked"}));
  EXPECT_EQ(Files("spool").size(), 4u);
}

simulator::Options WithManyMailboxes() {
  simulator::Options options = TwoUsers();
  options.users[0].may_impersonate = true;
  for (int i = 0; i < 20; ++i) {
    const std::string name = "user" + std::to_string(i);
    options.users.push_back({name, name + "@example.com", "User", "x"});
  }
  return options;
}

class JobsOnManyMailboxes : public Jobs {
 protected:
  JobsOnManyMailboxes() : Jobs(WithManyMailboxes()) {}
};

TEST_F(JobsOnManyMailboxes, TwentyMailboxesAreLookedAtAtOnce) {
  std::vector<std::string> addresses;
  std::string expected;
  for (int i = 0; i < 20; ++i) {
    addresses.push_back("user" + std::to_string(i) + "@example.com");
    for (int j = 0; j < i % 3; ++j) Server().Deliver(addresses.back(), MimeOf("x"));
    expected += addresses.back() + ": " + std::to_string(i % 3) + " unread\n";
  }
  const Ran run = Run("many-mailboxes", addresses);
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.output, expected);
  const Ran one = Run("many-mailboxes", {"nobody@example.com", addresses[1]});
  EXPECT_TRUE(one.Says("(ErrorNonExistentMailbox)")) << one.output;
  EXPECT_TRUE(one.Says(addresses[1] + ": 1 unread\n")) << "one mailbox that fails is no reason for others";
}

TEST_F(Jobs, TheTenNewestAreAnswered) {
  for (int i = 1; i <= 12; ++i)
    Message("Number " + std::to_string(i),
            std::string("Mon, ") + (i < 10 ? "0" : "") + std::to_string(i) + " Mar 2026");
  Forget();
  const Ran run = Run("newest", {"Thank you."});
  EXPECT_EQ(run.status, 0);
  std::string expected;
  for (int i = 12; i > 2; --i) expected += "Number " + std::to_string(i) + "\n";
  EXPECT_EQ(run.output, expected);
  EXPECT_EQ(Server().CountItems(kBob, "inbox"), 10u);
  EXPECT_EQ(Requests("FindItem"), 1) << "ten rows in one request";
}

TEST(JobsInShort, DoNotGrow) {
  int jobs = 0, lines = 0;
  for (const auto& file : fs::directory_iterator(VELMORE_JOB_SOURCES)) {
    if (file.path().extension() != ".cpp" && file.path().extension() != ".h") continue;
    ++jobs;
    std::ifstream source(file.path());
    for (std::string line; std::getline(source, line);) {
      const std::size_t begin = line.find_first_not_of(' ');
      EXPECT_LE(line.size(), 120u) << file.path();
      if (begin != std::string::npos && line.compare(begin, 2, "//") != 0) ++lines;
    }
  }
  EXPECT_EQ(jobs, 12 + 2) << "twelve jobs, and what they share";
  EXPECT_LE(lines, 230);
}

}  // namespace
}  // namespace velmore::testing
