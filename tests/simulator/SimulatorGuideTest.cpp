// What the guide shows must be what there is.

#include <gtest/gtest.h>

#include <sstream>

#include "ProgramTestSupport.h"
#include "SimulatorTestSupport.h"

namespace velmore::simulator::testing {
namespace {

/// The lines of the code blocks of a language, without the blanks around them.
std::vector<std::string> Code(const std::string& text, const std::string& language) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  bool inside = false;
  for (std::string line; std::getline(in, line);) {
    if (line.starts_with("```")) {
      inside = line == "```" + language;
      continue;
    }
    const std::size_t begin = line.find_first_not_of(' ');
    if (inside && begin != std::string::npos) lines.push_back(line.substr(begin));
  }
  return lines;
}

const std::string kGuide = ReadFile(VELMORE_SOURCE "/docs/guide/simulator.md");

TEST(SimulatorGuide, CodeOfTheTestingGuideIsThatOfItsExample) {
  const std::string example = ReadFile(VELMORE_SOURCE "/examples/testing.cpp");
  const std::vector<std::string> lines = Code(ReadFile(VELMORE_SOURCE "/docs/guide/testing.md"), "cpp");
  EXPECT_GT(lines.size(), 30u);
  for (const std::string& line : lines) EXPECT_NE(example.find(line + "\n"), std::string::npos) << line;
}

TEST(SimulatorGuide, ScriptInTheGuideIsRead) {
  std::string script;
  for (const std::string& line : Code(kGuide, "json")) script += line + "\n";
  const Folder folder;
  Simulator server(TestOptions());
  server.LoadScript(folder.Write("faults.json", script));
  EXPECT_EQ(server.PendingFaults(), 4u);
}

TEST(SimulatorGuide, EveryKeyOfAScriptIsInTheGuide) {
  const Folder folder;
  Simulator server(TestOptions());
  std::string known;
  try {
    server.LoadScript(folder.Write("faults.json", R"({"faults": [{"nonsense": 1}]})"));
  } catch (const OptionError& error) {
    known = error.what();
  }
  const std::size_t begin = known.find("known are ");
  ASSERT_NE(begin, std::string::npos) << known;
  std::istringstream words(known.substr(begin + 10));
  std::size_t count = 0;
  for (std::string word; words >> word;) {
    if (word == "and") continue;
    while (word.ends_with(",") || word.ends_with(".")) word.pop_back();
    ++count;
    EXPECT_TRUE(kGuide.find("`" + word + "`") != std::string::npos ||
                kGuide.find("\"" + word + "\": true") != std::string::npos)
        << word;
  }
  EXPECT_EQ(count, 29u);
}

TEST(SimulatorGuide, EveryOptionOfTheProgramIsInTheGuide) {
  Program program(SimulatorProgram({"--help"}, false));
  ASSERT_EQ(program.Wait(), 0);
  std::istringstream lines(program.Output());
  std::size_t count = 0;
  for (std::string line; std::getline(lines, line);) {
    const std::size_t begin = line.find("--");
    if (begin == std::string::npos || line.find_first_not_of(' ') != begin) continue;
    const std::string option = line.substr(begin, line.find_first_of(" ,", begin) - begin);
    ++count;
    EXPECT_TRUE(kGuide.find("`" + option + "`") != std::string::npos ||
                kGuide.find("`" + option + " ") != std::string::npos)
        << option;
  }
  EXPECT_GE(count, 14u);
}

}  // namespace
}  // namespace velmore::simulator::testing
