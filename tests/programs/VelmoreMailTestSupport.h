#pragma once

// Runs velmore-mail as Alice, with a home folder of its own.

#include <cstdlib>
#include <filesystem>
#include <set>

#include "tests/simulator/ProgramTestSupport.h"
#include "tests/wire/MailboxTestSupport.h"

namespace velmore::testing {

/// What one run of the program left behind.
struct MailRun {
  int status;
  std::string output;
  bool Says(const std::string& text) const { return output.find(text) != std::string::npos; }
};

inline void PrintTo(const MailRun& run, std::ostream* out) {
  *out << "exit code " << run.status << ":\n" << run.output;
}

class VelmoreMail : public MailboxTest {
 protected:
  explicit VelmoreMail(simulator::Options options = TwoUsers()) : MailboxTest(std::move(options)) {
    ::setenv("HOME", FFolder.Path().c_str(), 1);
    ::unsetenv("XDG_DATA_HOME");
    for (const char* name : {"PROFILE", "ADDRESS", "CA_FILE", "MAILBOX"}) ::unsetenv(Variable(name).c_str());
    ::setenv(Variable("URL").c_str(), Server().HttpUrl().c_str(), 1);
    ::setenv(Variable("USER").c_str(), "alice", 1);
    ::setenv(Variable("PASSWORD").c_str(), "wonder", 1);
  }
  static std::string Variable(const std::string& name) { return "VELMORE_MAIL_" + name; }

  /// In a session of its own, so that there is no terminal to ask on.
  static std::vector<std::string> Command(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"setsid", "--wait", VELMORE_MAIL});
    return arguments;
  }
  /// Runs the program to its end. Whatever it says, the password is not among it.
  static MailRun Run(const std::vector<std::string>& arguments) {
    simulator::testing::Program program(Command(arguments));
    const int status = program.Wait();
    EXPECT_EQ(program.Output().find("wonder"), std::string::npos) << program.Output();
    return {status, program.Output()};
  }
  std::string Path(const std::string& name) const { return FFolder.Path(name); }
  std::string WriteFile(const std::string& name, const std::string& content) const {
    std::filesystem::create_directories(std::filesystem::path(Path(name)).parent_path());
    return FFolder.Write(name, content);
  }
  /// The names of all files below a folder, what the program notes for itself aside.
  std::set<std::string> Files(const std::string& below) const {
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(Path(below)))
      if (entry.is_regular_file() && !entry.path().filename().string().starts_with("."))
        names.insert(std::filesystem::relative(entry.path(), Path(below)).generic_string());
    return names;
  }

  simulator::testing::Folder FFolder;
};

}  // namespace velmore::testing
