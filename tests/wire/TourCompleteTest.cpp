// The tour goes everywhere: whatever operation the sources of the library name, it sends. A new one fails here until it
// is in the tour, and with that among the changed replies.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>

#include "simulator/operations/operations.h"
#include "tests/wire/WireFormsTourTestSupport.h"

namespace velmore::testing {
namespace {

/// The operations that servers have and the sources name, as a call's own name or as the element of a request.
std::set<std::string> OperationsOfTheSources() {
  const std::vector<std::string> all = simulator::OperationNames();
  const std::regex names("\"(?:m:)?([A-Z][A-Za-z]+)\"");
  std::set<std::string> found;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(VELMORE_SOURCE_DIR "/ews")) {
    if (entry.path().extension() != ".cpp" && entry.path().extension() != ".h") continue;
    std::ifstream file(entry.path());
    for (std::string line; std::getline(file, line);) {
      const std::size_t code = line.find_first_not_of(' ');
      if (code == std::string::npos || line.compare(code, 2, "//") == 0) continue;
      for (std::sregex_iterator name(line.begin(), line.end(), names), end; name != end; ++name)
        if (std::ranges::find(all, (*name)[1].str()) != all.end()) found.insert((*name)[1]);
    }
  }
  return found;
}

TEST(Tour, ReachesEveryOperationThatTheLibraryCanSend) {
  TWireTour tour("Exchange2016", true, 20261122, false);
  for (int round = 0; round < 3; ++round) tour.Round();
  tour.Beyond();
  std::set<std::string> sent;
  for (const auto& [operation, count] : tour.Server().GetCounters().operations) sent.insert(operation);
  const std::set<std::string> known = OperationsOfTheSources();
  EXPECT_GE(known.size(), 25u);
  std::vector<std::string> missing;
  std::ranges::set_difference(known, sent, std::back_inserter(missing));
  // Named and never sent: applications ask for events by a request that they compose themselves.
  std::erase(missing, "GetEvents");
  EXPECT_EQ(missing, std::vector<std::string>{}) << "to be tried in WireFormsTourTestSupport.cpp or in its Beyond";
  for (const std::string& refusal : tour.Refusals())
    EXPECT_FALSE(refusal.starts_with("subscribe") || refusal.starts_with("unsubscribe") ||
                 refusal.starts_with("Watching"))
        << refusal;
}

}  // namespace
}  // namespace velmore::testing
