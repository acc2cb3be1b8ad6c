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

const std::string kManual = ReadFile(VELMORE_SOURCE "/simulator/packaging/velmore-ews-simulator.1");

/// The options that a text tells the program.
std::vector<std::string> OptionsIn(const std::string& text) {
  std::vector<std::string> options;
  for (std::size_t at = text.find(" --"); at != std::string::npos; at = text.find(" --", at + 1)) {
    const std::size_t end = text.find_first_not_of("abcdefghijklmnopqrstuvwxyz-", at + 3);
    options.push_back(text.substr(at + 1, end - at - 1));
  }
  return options;
}

TEST(SimulatorGuide, UnitAndContainerTellOptionsThatThereAre) {
  Program program(SimulatorProgram({"--help"}, false));
  ASSERT_EQ(program.Wait(), 0);
  std::size_t count = 0;
  std::istringstream unit(ReadFile(VELMORE_SOURCE "/simulator/packaging/velmore-ews-simulator.service"));
  for (std::string line; std::getline(unit, line);) {
    if (!line.starts_with("Exec")) continue;
    for (const std::string& option : OptionsIn(line)) {
      ++count;
      EXPECT_NE(program.Output().find("  " + option + " "), std::string::npos) << option;
    }
  }
  EXPECT_GE(count, 6u);
  const std::string container = ReadFile(VELMORE_SOURCE "/simulator/packaging/Containerfile");
  const std::size_t entry = container.find("ENTRYPOINT");
  ASSERT_NE(entry, std::string::npos);
  for (const char* option : {"--address", "--http", "--https"}) {
    EXPECT_NE(container.find("\"" + std::string(option) + "\"", entry), std::string::npos) << option;
    EXPECT_NE(program.Output().find("  " + std::string(option) + " "), std::string::npos) << option;
  }
}

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
    // The page of the manual writes a hyphen that is to be typed with a backslash.
    std::string escaped;
    for (const char c : option) escaped += c == '-' ? "\\-" : std::string(1, c);
    EXPECT_NE(kManual.find(escaped), std::string::npos) << escaped;
  }
  EXPECT_GE(count, 14u);
}

}  // namespace
}  // namespace velmore::simulator::testing
