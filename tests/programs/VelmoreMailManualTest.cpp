// The page of manual and the completion against what the program itself says.

#include <regex>

#include "VelmoreMailTestSupport.h"

namespace velmore::testing {
namespace {

using simulator::testing::Program;
using simulator::testing::ReadFile;

class VelmoreMailManual : public VelmoreMail {
 protected:
  /// Every "--option" and every command of the help of all commands.
  static std::set<std::string> Words() {
    std::set<std::string> words;
    for (const char* command : {"", "check", "list", "read", "send", "export", "import", "sync", "profile"}) {
      std::vector<std::string> arguments = {"--help"};
      if (*command) arguments.insert(arguments.begin(), command);
      const MailRun help = Run(arguments);
      EXPECT_EQ(help.status, 0) << help.output;
      const std::regex option("--[a-z][a-z-]*");
      for (std::sregex_iterator found(help.output.begin(), help.output.end(), option), end; found != end; ++found)
        words.insert(found->str());
      if (*command) words.insert(command);
    }
    EXPECT_GT(words.size(), 35u);
    return words;
  }
  /// What bash offers behind these words, the last of which is being typed.
  std::string Completed(const std::string& line) const {
    Program bash({"bash", "-c",
                  "compopt() { :; }; PATH=\"$(dirname " VELMORE_MAIL "):$PATH\"; . " VELMORE_MAIL_PACKAGING
                  "/velmore-mail.bash; COMP_WORDS=(" +
                      line + "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _velmore_mail; echo \"${COMPREPLY[*]}\""});
    EXPECT_EQ(bash.Wait(), 0) << bash.Output();
    return bash.Output();
  }
};

TEST_F(VelmoreMailManual, TellsEveryOptionAndCommand) {
  std::string page = ReadFile(VELMORE_MAIL_PACKAGING "/velmore-mail.1");
  page = std::regex_replace(page, std::regex(R"(\\-)"), "-");
  for (const std::string& word : Words()) EXPECT_NE(page.find(word), std::string::npos) << word;
  for (const char* variable : {"URL", "USER", "ADDRESS", "PROFILE", "CA_FILE", "MAILBOX", "PASSWORD"})
    EXPECT_NE(page.find(Variable(variable)), std::string::npos) << variable;
}

TEST_F(VelmoreMailManual, CompletionKnowsEveryOptionAndCommand) {
  const std::string completion = ReadFile(VELMORE_MAIL_PACKAGING "/velmore-mail.bash");
  for (const std::string& word : Words()) EXPECT_NE(completion.find(word), std::string::npos) << word;
}

TEST_F(VelmoreMailManual, CompletionOffersWhatFits) {
  EXPECT_EQ(Completed("velmore-mail ex"), "export\n");
  EXPECT_EQ(Completed("velmore-mail list --un"), "--unread\n");
  EXPECT_EQ(Completed("velmore-mail --url x send --h"), "--html --help\n");
  EXPECT_EQ(Completed("velmore-mail profile s"), "save\n");
  EXPECT_EQ(Completed("velmore-mail list --folder in"), "inbox\n");
  EXPECT_EQ(Run({"profile", "save", "work"}).status, 0);
  EXPECT_EQ(Completed("velmore-mail check --profile w"), "work\n");
}

TEST_F(VelmoreMailManual, NoOptionTakesAPassword) {
  for (const std::string& word : Words()) EXPECT_EQ(word.find("pass"), std::string::npos) << word;
}

}  // namespace
}  // namespace velmore::testing
