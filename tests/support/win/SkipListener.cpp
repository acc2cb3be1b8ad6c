// Tests that say nothing under Wine, or on Windows at all, are skipped one by one, each with its reason: a line
// "Suite.Test: reason" of skipped.txt. A "*" at the end of a name stands for all that begins so; "[WinINet]" or
// "[WinHTTP]" behind it says that the other client's tests are run.

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

namespace {

class SkipListener : public testing::EmptyTestEventListener {
 public:
  SkipListener() {
    if (std::getenv("VELMORE_SKIP_NOTHING")) return;
    std::ifstream file(VELMORE_SKIPPED);
    if (!file) {
      ADD_FAILURE() << "no list of skipped tests: " << VELMORE_SKIPPED;
      return;
    }
    for (std::string line; std::getline(file, line);) {
      if (!line.empty() && line.back() == '\r') line.pop_back();
      const std::size_t colon = line.find(": ");
      if (line.empty() || line.front() == '#' || colon == std::string::npos) continue;
      std::string name = line.substr(0, colon);
      if (const std::size_t mark = name.find(" ["); mark != std::string::npos) {
        if (name.substr(mark) != (std::getenv("VELMORE_TEST_WININET") ? " [WinINet]" : " [WinHTTP]")) continue;
        name.resize(mark);
      }
      rows_.emplace_back(name, line.substr(colon + 2));
    }
  }

 private:
  void OnTestStart(const testing::TestInfo& info) override {
    const std::string name = std::string(info.test_suite_name()) + "." + info.name();
    for (const auto& [wanted, reason] : rows_) {
      const bool begins = wanted.ends_with('*') && name.starts_with(wanted.substr(0, wanted.size() - 1));
      if (begins || name == wanted) GTEST_SKIP() << reason;
    }
  }

  std::vector<std::pair<std::string, std::string>> rows_;
};

const bool Installed = [] {
  testing::UnitTest::GetInstance()->listeners().Append(new SkipListener);
  return true;
}();

}  // namespace
