// Logging on, list, read, send and profiles.

#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <regex>

#include "VelmoreMailTestSupport.h"

namespace velmore::testing {
namespace {

namespace fs = std::filesystem;
using simulator::testing::ReadFile;

/// The ten digits that a list shows before a message.
std::string DigitsOf(const MailRun& list, const std::string& subject) {
  std::smatch found;
  const std::regex line("(^|\n)([0-9a-f]{10})[^\n]*" + subject);
  return std::regex_search(list.output, found, line) ? found[2].str() : std::string();
}

// ---- Logging on

TEST_F(VelmoreMail, ChecksALogon) {
  AddMessage("Hello");
  const MailRun run = Run({"check"});
  EXPECT_EQ(run.status, 0);
  EXPECT_TRUE(run.Says("Server      Exchange Server 2016")) << run.output;
  EXPECT_TRUE(run.Says("Mailbox     Alice Arden <alice@example.com>")) << run.output;
  EXPECT_TRUE(run.Says("Inbox       1 items, ")) << run.output;
  EXPECT_TRUE(run.Says("Everything works.")) << run.output;
}

TEST_F(VelmoreMail, SaysWhatIsWrongWithALogon) {
  ::setenv("VELMORE_MAIL_PASSWORD", "not this one", 1);
  const MailRun refused = Run({"check"});
  EXPECT_EQ(refused.status, 1);
  EXPECT_TRUE(refused.Says("LOGIN_FAILURE")) << refused.output;
  EXPECT_TRUE(refused.Says("try DOMAIN\\user and user@domain with --user")) << refused.output;
  EXPECT_FALSE(refused.Says("not this one"));
  EXPECT_FALSE(refused.Says("Everything works."));

  ::setenv("VELMORE_MAIL_PASSWORD", "wonder", 1);
  const MailRun path = Run({"check", "--url", Server().HttpUrl() + "/nowhere"});
  EXPECT_EQ(path.status, 1);
  EXPECT_TRUE(path.Says("it ends in /EWS/Exchange.asmx")) << path.output;

  const MailRun authority = Run({"check", "--url", Server().HttpsUrl()});
  EXPECT_EQ(authority.status, 1);
  EXPECT_TRUE(authority.Says("with --ca-file.")) << authority.output;
  EXPECT_EQ(Run({"check", "--url", Server().HttpsUrl(), "--ca-file", Server().CaCertificateFile()}).status, 0);

  const std::string url = Server().HttpUrl();
  Server().Stop();
  const MailRun nobody = Run({"check", "--url", url});
  EXPECT_EQ(nobody.status, 1);
  EXPECT_TRUE(nobody.Says("Nobody listens at that address and port")) << nobody.output;
}

TEST_F(VelmoreMail, FailuresOfOtherCommandsAreExplainedToo) {
  ::setenv("VELMORE_MAIL_PASSWORD", "not this one", 1);
  const MailRun run = Run({"list"});
  EXPECT_EQ(run.status, 1);
  EXPECT_TRUE(run.Says("try DOMAIN\\user")) << run.output;
}

TEST_F(VelmoreMail, WantsToKnowTheAccount) {
  ::unsetenv("VELMORE_MAIL_URL");
  const MailRun account = Run({"list"});
  EXPECT_EQ(account.status, 2);
  EXPECT_TRUE(account.Says("Which account?")) << account.output;

  ::setenv("VELMORE_MAIL_URL", Server().HttpUrl().c_str(), 1);
  ::unsetenv("VELMORE_MAIL_USER");
  const MailRun user = Run({"list"});
  EXPECT_EQ(user.status, 2);
  EXPECT_TRUE(user.Says("--url needs --user.")) << user.output;

  const MailRun both = Run({"list", "--profile", "work"});
  EXPECT_EQ(both.status, 2);
  EXPECT_TRUE(both.Says("give one of them")) << both.output;

  ::setenv("VELMORE_MAIL_USER", "alice", 1);
  ::unsetenv("VELMORE_MAIL_PASSWORD");
  const MailRun password = Run({"list"});
  EXPECT_EQ(password.status, 2);
  EXPECT_TRUE(password.Says("There is no password for alice: set VELMORE_MAIL_PASSWORD")) << password.output;
  EXPECT_TRUE(Operations().empty());
}

/// Types on a terminal; what stands on it in the end.
std::string OnTerminal(const std::vector<std::string>& arguments, const std::string& typed, int& status) {
  int master = -1;
  const pid_t child = ::forkpty(&master, nullptr, nullptr, nullptr);
  if (child == 0) {
    std::vector<char*> list{const_cast<char*>(VELMORE_MAIL)};
    for (const std::string& argument : arguments) list.push_back(const_cast<char*>(argument.c_str()));
    list.push_back(nullptr);
    ::execv(VELMORE_MAIL, list.data());
    ::_exit(127);
  }
  std::string shown;
  bool answered = false;
  char buffer[1024];
  for (ssize_t count = 0; (count = ::read(master, buffer, sizeof buffer)) > 0;) {
    shown.append(buffer, static_cast<std::size_t>(count));
    if (!answered && shown.find("Password of alice: ") != std::string::npos) {
      answered = true;
      EXPECT_EQ(::write(master, typed.data(), typed.size()), static_cast<ssize_t>(typed.size()));
    }
  }
  ::close(master);
  int ended = 0;
  ::waitpid(child, &ended, 0);
  status = WIFEXITED(ended) ? WEXITSTATUS(ended) : -1;
  return shown;
}

TEST_F(VelmoreMail, AsksForThePasswordWithoutShowingIt) {
  ::unsetenv("VELMORE_MAIL_PASSWORD");
  int status = -1;
  const std::string shown = OnTerminal({"check"}, "wonder\n", status);
  EXPECT_EQ(status, 0);
  EXPECT_NE(shown.find("Everything works."), std::string::npos) << shown;
  EXPECT_EQ(shown.find("wonder"), std::string::npos) << shown;
}

TEST_F(VelmoreMail, AQuestionForThePasswordCanBeLeft) {
  ::unsetenv("VELMORE_MAIL_PASSWORD");
  int status = -1;
  const std::string shown = OnTerminal({"check"}, "won\x03", status);
  EXPECT_EQ(status, 3) << shown;
  EXPECT_TRUE(Operations().empty());
}

TEST_F(VelmoreMail, CommandLinesThatMakeNoSense) {
  for (const auto& arguments : std::vector<std::vector<std::string>>{{},
                                                                     {"sing"},
                                                                     {"list", "--shoesize", "43"},
                                                                     {"list", "--limit", "-1"},
                                                                     {"read"},
                                                                     {"export"},
                                                                     {"profile"},
                                                                     {"check", "--password", "x"}}) {
    const MailRun run = Run(arguments);
    EXPECT_EQ(run.status, 2) << run.output;
  }
  EXPECT_TRUE(Operations().empty());
}

// ---- list

TEST_F(VelmoreMail, ListsWithWhatTheServerFilters) {
  Server().AddMessage(kAlice, "inbox",
                      "Received: from a by b; Mon, 02 Mar 2026 10:00:00 +0000\r\nFrom: Bob Birch "
                      "<bob@example.com>\r\nSubject: Early\r\n\r\nx");
  Server().AddMessage(kAlice, "inbox",
                      "Received: from a by b; Wed, 04 Mar 2026 10:00:00 +0000\r\nFrom: Carol Clay "
                      "<carol@example.com>\r\nSubject: Late\r\n\r\n" +
                          std::string(5000, 'x'));
  AddItem("inbox",
          "<t:Message><t:Subject>Marked</t:Subject><t:Categories><t:String>Kitchen</t:String></"
          "t:Categories><t:IsRead>true</t:IsRead></t:Message>");
  const MailRun all = Run({"list"});
  EXPECT_EQ(all.status, 0);
  EXPECT_TRUE(all.Says("3 of 3 in \"Inbox\"")) << all.output;
  EXPECT_EQ(DigitsOf(all, "Late").size(), 10u) << all.output;
  EXPECT_TRUE(
      std::regex_search(all.output, std::regex("[0-9a-f]{10} \\*  2026-03-02T10:00  Bob Birch  .*bytes +Early\n")))
      << all.output;
  EXPECT_TRUE(std::regex_search(all.output, std::regex("[0-9a-f]{10}    .*Marked\n"))) << all.output;

  const auto only = [&](std::vector<std::string> filter, const std::string& subject) {
    filter.insert(filter.begin(), "list");
    const MailRun run = Run(filter);
    EXPECT_EQ(run.status, 0);
    EXPECT_TRUE(run.Says("1 of 1 in")) << run.output;
    EXPECT_FALSE(DigitsOf(run, subject).empty()) << run.output;
  };
  only({"--from", "carol"}, "Late");
  only({"--subject", "EARL"}, "Early");
  only({"--since", "2026-03-03", "--before", "2026-03-05"}, "Late");
  only({"--before", "2026-03-03"}, "Early");
  only({"--category", "Kitchen"}, "Marked");
  only({"--larger", "4000"}, "Late");
  only({"--unread", "--from", "bob"}, "Early");

  const MailRun limited = Run({"list", "--limit", "2"});
  EXPECT_TRUE(limited.Says("2 of 3 in")) << limited.output;
  const MailRun wrong = Run({"list", "--since", "yesterday"});
  EXPECT_EQ(wrong.status, 2);
  EXPECT_TRUE(wrong.Says("--since takes a day such as 2026-03-01, not \"yesterday\".")) << wrong.output;
}

TEST_F(VelmoreMail, ListsFoldersAndFindsThemByPath) {
  AddMessage("Glass", "Projects/Lighthouse");
  const MailRun folders = Run({"list", "--folders"});
  EXPECT_EQ(folders.status, 0);
  EXPECT_TRUE(std::regex_search(folders.output, std::regex("Projects/Lighthouse +1 items"))) << folders.output;
  EXPECT_FALSE(DigitsOf(Run({"list", "--folder", "projects/lighthouse"}), "Glass").empty());
  const MailRun none = Run({"list", "--folder", "Projects/Tower"});
  EXPECT_EQ(none.status, 2);
  EXPECT_TRUE(none.Says("There is no folder \"Projects/Tower\".")) << none.output;
}

// ---- read

TEST_F(VelmoreMail, ReadsAMessageWithoutLettingItSteerTheTerminal) {
  Server().AddMessage(kAlice, "inbox",
                      "From: =?utf-8?Q?Evil=1B=5B2J?= <eve@example.com>\r\nTo: alice@example.com\r\nSubject: "
                      "=?utf-8?Q?Red_=1B=5B31m?=\r\n"
                      "X-Road: by sea\r\nContent-Type: text/plain; charset=utf-8\r\n\r\nOne\r\nTwo \xE2\x80\xAE three "
                      "\x1b]0;title\x07");
  const std::string digits = DigitsOf(Run({"list"}), "Red");
  const MailRun run = Run({"read", digits});
  EXPECT_EQ(run.status, 0);
  EXPECT_TRUE(run.Says("Subject:  Red ")) << run.output;
  EXPECT_TRUE(run.Says("<eve@example.com>")) << run.output;
  EXPECT_TRUE(run.Says("One\nTwo ")) << run.output;
  EXPECT_EQ(run.output.find('\x1b'), std::string::npos) << run.output;
  EXPECT_EQ(run.output.find("\xE2\x80\xAE"), std::string::npos) << run.output;
  EXPECT_FALSE(run.Says("X-Road"));
  EXPECT_TRUE(Run({"read", digits, "--headers"}).Says("X-Road: by sea"));
  EXPECT_TRUE(Run({"read", digits.substr(0, 4), "--raw"}).Says("X-Road: by sea\r\n"));
}

TEST_F(VelmoreMail, ReadSavesFilesUnderSafeNamesAndMarks) {
  const TVqRef<IVqEWSItem> item = Store().GetItem(AddMessage("With files"));
  TVqMemoryStream one("one"), two("two");
  item->GetAttachments().AddAttachment("../evil.txt", "text/plain", one);
  item->GetAttachments().AddAttachment("../evil.txt", "text/plain", two);
  item->SaveChanges(soAutoResolve);
  const std::string digits = DigitsOf(Run({"list"}), "With files");
  const MailRun run = Run({"read", digits, "--attachments", Path("out"), "--mark"});
  EXPECT_EQ(run.status, 0) << run.output;
  const auto files = Files("out");
  EXPECT_EQ(files.size(), 2u) << run.output;
  EXPECT_FALSE(fs::exists(Path("evil.txt")));
  std::set<std::string> contents;
  for (const std::string& name : files) contents.insert(ReadFile(Path("out/" + name)));
  EXPECT_EQ(contents, (std::set<std::string>{"one", "two"}));
  EXPECT_TRUE(Run({"list", "--unread"}).Says("0 of 0 in"));
  EXPECT_EQ(Run({"read", digits}).status, 0);
}

TEST_F(VelmoreMail, TellsAMessageThatIsNone) {
  AddMessage("One");
  AddMessage("Two");
  const MailRun none = Run({"read", "zz"});
  EXPECT_EQ(none.status, 2);
  EXPECT_TRUE(none.Says("There is no message \"zz\"")) << none.output;
  const MailRun many = Run({"read", ""});
  EXPECT_EQ(many.status, 2);
  EXPECT_TRUE(many.Says("names more than one message")) << many.output;
}

// ---- send

TEST_F(VelmoreMail, SendsWithRecipientsAndFiles) {
  const MailRun run =
      Run({"send", "--to", "Bob O'Birch <bob@example.com>", "--cc", "o'neil@example.org", "--bcc", "hidden@example.org",
           "--subject", "Report", "--text", "<not html>", "--attach", WriteFile("report.pdf", "All is well.")});
  EXPECT_EQ(run.status, 0) << run.output;
  EXPECT_TRUE(run.Says("Sent \"Report\".")) << run.output;
  EXPECT_EQ(Server().CountItems(kBob, "inbox"), 1u);
  EXPECT_EQ(Server().CountItems(kAlice, "sentitems"), 1u);
  EXPECT_EQ(Server().CountItems(kAlice, "drafts"), 0u);
  const auto outside = Server().SentOutside();
  ASSERT_EQ(outside.size(), 2u);
  EXPECT_NE(outside[0].find("o'neil@example.org"), std::string::npos) << outside[0];
  EXPECT_NE(outside[0].find("O'Birch"), std::string::npos) << outside[0];
  EXPECT_EQ(outside[0].find("hidden@example.org"), std::string::npos) << outside[0];
  EXPECT_NE(outside[0].find("report.pdf"), std::string::npos) << outside[0];
  EXPECT_NE(outside[0].find("text/plain"), std::string::npos) << outside[0];
}

TEST_F(VelmoreMail, SendsWhatStandsOnItsInput) {
  simulator::testing::Program program(
      {"sh", "-c", std::string("echo 'From the pipe' | ") + VELMORE_MAIL + " send --html --to bob@example.org"});
  EXPECT_EQ(program.Wait(), 0) << program.Output();
  ASSERT_EQ(Server().SentOutside().size(), 1u);
  EXPECT_NE(Server().SentOutside()[0].find("From the pipe"), std::string::npos);
  EXPECT_NE(Server().SentOutside()[0].find("text/html"), std::string::npos);
}

TEST_F(VelmoreMail, SaysWhatBecameOfAMessageThatFailed) {
  EXPECT_EQ(Run({"send", "--text", "x"}).status, 2);
  const MailRun file = Run({"send", "--to", "bob@example.com", "--text", "x", "--attach", "nowhere.pdf"});
  EXPECT_EQ(file.status, 2);
  EXPECT_TRUE(file.Says("There is no file \"nowhere.pdf\" to attach.")) << file.output;
  EXPECT_TRUE(Operations().empty());

  RefuseNext("SendItem", "ErrorSendAsDenied");
  const MailRun refused = Run({"send", "--to", "bob@example.com", "--text", "x"});
  EXPECT_EQ(refused.status, 1);
  EXPECT_TRUE(refused.Says("It was not sent, and stays in the drafts.")) << refused.output;
  EXPECT_EQ(Server().CountItems(kAlice, "drafts"), 1u);

  simulator::Fault cut;
  cut.operation = "SendItem";
  cut.execute = true;
  cut.close_before_reply = true;
  Server().AddFault(cut);
  const MailRun unclear = Run({"send", "--to", "bob@example.com", "--text", "x"});
  EXPECT_EQ(unclear.status, 1);
  EXPECT_TRUE(unclear.Says("It may have been sent: look into the sent items.")) << unclear.output;
  EXPECT_EQ(Server().CountItems(kBob, "inbox"), 1u);
}

// ---- Profiles, and other mailboxes

TEST_F(VelmoreMail, KeepsAnAccountUnderAName) {
  EXPECT_EQ(Run({"profile", "save", "work"}).status, 0);
  EXPECT_EQ(Run({"profile", "list"}).output, "work\n");
  for (const auto& entry : fs::recursive_directory_iterator(FFolder.Path()))
    if (entry.is_regular_file()) {
      EXPECT_EQ(ReadFile(entry.path().string()).find("wonder"), std::string::npos) << entry.path();
    }
  for (const char* name : {"URL", "USER", "PASSWORD"}) ::unsetenv(Variable(name).c_str());
  EXPECT_EQ(Run({"check", "--profile", "work"}).status, 0);
  EXPECT_EQ(Run({"check"}).status, 0) << "the only one is taken";
  const MailRun other = Run({"check", "--profile", "home"});
  EXPECT_EQ(other.status, 2);
  EXPECT_TRUE(other.Says("There is no profile \"home\".")) << other.output;
  EXPECT_EQ(Run({"profile", "delete", "home"}).status, 2);
  EXPECT_EQ(Run({"profile", "delete", "work"}).status, 0);
  EXPECT_EQ(Run({"profile", "list"}).output, "");
}

TEST_F(VelmoreMail, KeepsNoAccountThatDoesNotWork) {
  ::setenv("VELMORE_MAIL_PASSWORD", "not this one", 1);
  EXPECT_EQ(Run({"profile", "save", "work"}).status, 1);
  EXPECT_EQ(Run({"profile", "list"}).output, "");
}

simulator::Options WithAService() {
  simulator::Options options = TwoUsers();
  options.users[0].may_impersonate = true;
  return options;
}

class VelmoreMailOfOthers : public VelmoreMail {
 protected:
  VelmoreMailOfOthers() : VelmoreMail(WithAService()) {}
};

TEST_F(VelmoreMailOfOthers, ActsInTheNameOfAnotherMailbox) {
  Server().Deliver(kBob, "From: carol@example.com\r\nSubject: For Bob\r\n\r\nx");
  EXPECT_FALSE(DigitsOf(Run({"list", "--mailbox", kBob}), "For Bob").empty());
}

}  // namespace
}  // namespace velmore::testing
