// The export as a person runs it: stopped in the middle, and started again.

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <set>

#include "tests/simulator/ProgramTestSupport.h"
#include "tests/support/EWSTestSupport.h"

namespace velmore::testing {
namespace {

using simulator::testing::Folder;
using simulator::testing::Program;

class ExportMessages : public EWSTest {
 protected:
  ExportMessages() {
    ::setenv("VELMORE_PASSWORD", "wonder", 1);
    for (int i = 0; i < 8; ++i)
      Server().AddMessage(kAlice, "inbox", "Subject: Message " + std::to_string(i) + "\r\n\r\nHello");
  }

  std::vector<std::string> Command() {
    return {VELMORE_EXPORT_MESSAGES,
            "--url",
            Server().HttpUrl(),
            "--user",
            "alice",
            "--to",
            FFolder.Path("out"),
            "--at-once",
            "2"};
  }
  std::set<std::string> Files() {
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(FFolder.Path("out")))
      names.insert(entry.path().filename().string());
    return names;
  }
  Folder FFolder;
};

TEST_F(ExportMessages, GoesOnWhereItWasInterrupted) {
  simulator::Fault slow;  // from the second request on, so that there is a middle
  slow.operation = "GetItem";
  slow.skip = 1;
  slow.times = -1;
  slow.delay = std::chrono::milliseconds(250);
  Server().AddFault(slow);
  Program first(Command());
  ASSERT_TRUE(first.ReadUntil("4 of 8, 4 written")) << first.Output();
  first.Signal(SIGINT);
  EXPECT_EQ(first.Wait(), 2) << first.Output();
  EXPECT_NE(first.Output().find("Interrupted. Start it again to go on."), std::string::npos);
  const std::set<std::string> done = Files();
  EXPECT_GE(done.size(), 4u);
  EXPECT_LT(done.size(), 8u);
  for (const std::string& name : done) EXPECT_TRUE(name.ends_with(".eml")) << name;  // nothing that is half there

  Server().ClearFaults();
  Forget();
  Program second(Command());
  EXPECT_EQ(second.Wait(), 0) << second.Output();
  EXPECT_NE(second.Output().find("8 of 8, " + std::to_string(8 - done.size()) + " written"), std::string::npos);
  EXPECT_EQ(Files().size(), 8u);
  const auto operations = Operations();
  EXPECT_EQ(static_cast<std::size_t>(std::count(operations.begin(), operations.end(), "GetItem")),
            (8 - done.size()) / 2)
      << "what is there is not fetched again";

  Forget();
  Program third(Command());
  EXPECT_EQ(third.Wait(), 0) << third.Output();
  EXPECT_NE(third.Output().find("8 of 8, 0 written"), std::string::npos);
}

}  // namespace
}  // namespace velmore::testing
