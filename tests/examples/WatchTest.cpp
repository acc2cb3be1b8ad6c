// The watch as a person runs it: stopped, started again, over a gap, and with a state that has expired.

#include <csignal>
#include <cstdlib>
#include <map>

#include "ews/schema/uVqEWSPropsFLD.h"
#include "tests/simulator/ProgramTestSupport.h"
#include "tests/support/EWSTestSupport.h"

namespace velmore::testing {
namespace {

using simulator::testing::Folder;
using simulator::testing::Program;

class WatchExample : public EWSTest, public ::testing::WithParamInterface<const char*> {
 protected:
  WatchExample() { ::setenv("VELMORE_PASSWORD", "wonder", 1); }

  std::vector<std::string> Command() {
    std::vector<std::string> command = {VELMORE_WATCH, "--url",  Server().HttpUrl(),  "--user",
                                        "alice",       "--keep", FFolder.Path("kept")};
    if (*GetParam() != '\0') command.push_back(GetParam());
    return command;
  }
  simulator::Id Add(const std::string& subject) {
    return Server().AddMessage(kAlice, "inbox", "Subject: " + subject + "\r\n\r\nHello");
  }
  void Delete(const simulator::Id& id) {
    Session().OpenDefaultMsgStore()->GetFolder(dfininbox, "")->DeleteItem({id.id, id.change_key}, dtHardDelete);
  }
  /// How often a line stands in an output.
  static int Count(const Program& program, const std::string& line) {
    int count = 0;
    for (std::size_t at = 0; (at = program.Output().find(line + "\n", at)) != std::string::npos; ++at) ++count;
    return count;
  }
  static void End(Program& program) {
    program.Signal(SIGINT);
    EXPECT_EQ(program.Wait(), 0) << program.Output();
  }
  /// Waits until the subscription is there, behind which everything is told.
  static void Ready(Program& program) { ASSERT_TRUE(program.ReadUntil("listening")) << program.Output(); }

  Folder FFolder;
};

TEST_P(WatchExample, TellsWhatCameWhileItDidNotRun) {
  const simulator::Id one = Add("One");
  Add("Two");
  {
    Program first(Command());
    Ready(first);
    Add("Three");
    EXPECT_TRUE(first.ReadUntil("+ Three\n")) << first.Output();
    EXPECT_EQ(Count(first, "+ One"), 0) << "what is there at the start is nothing new";
    End(first);
  }
  Delete(one);
  Add("Four");
  Program second(Command());
  EXPECT_TRUE(second.ReadUntil("+ Four\n")) << second.Output();
  Ready(second);
  End(second);
  EXPECT_EQ(Count(second, "- One"), 1) << second.Output();
  EXPECT_EQ(Count(second, "+ Four"), 1) << second.Output();
  EXPECT_EQ(Count(second, "+ Three"), 0) << second.Output();
}

TEST_P(WatchExample, TellsWhatCameWhileTheServerHadForgottenIt) {
  Add("One");
  Program program(Command());
  Ready(program);
  Server().ForgetSubscriptions();
  Add("Missed");
  EXPECT_TRUE(program.ReadUntil("+ Missed\n")) << program.Output();
  End(program);
  EXPECT_EQ(Count(program, "+ Missed"), 1) << program.Output();
  EXPECT_EQ(Count(program, "+ One"), 0) << program.Output();
}

INSTANTIATE_TEST_SUITE_P(Ways, WatchExample, ::testing::Values("", "--by-table"),
                         [](const auto& info) { return std::string(*info.param == '\0' ? "ByChanges" : "ByTable"); });

using WatchWithAState = WatchExample;

TEST_P(WatchWithAState, ComparesWhenTheStateHasExpired) {
  const simulator::Id one = Add("One");
  Add("Two");
  {
    Program first(Command());
    Ready(first);
    End(first);
  }
  Delete(one);
  Add("Three");
  simulator::Fault expired;
  expired.operation = "SyncFolderItems";
  expired.response_code = "ErrorInvalidSyncStateData";
  Server().AddFault(expired);
  Program second(Command());
  EXPECT_TRUE(second.ReadUntil("- One\n")) << second.Output();
  Ready(second);
  End(second);
  EXPECT_EQ(Count(second, "+ Three"), 1) << second.Output();
  EXPECT_EQ(Count(second, "+ Two"), 0) << second.Output();
  EXPECT_EQ(Server().PendingFaults(), 0u);
}

INSTANTIATE_TEST_SUITE_P(Ways, WatchWithAState, ::testing::Values(""),
                         [](const auto&) { return std::string("ByChanges"); });

}  // namespace
}  // namespace velmore::testing
