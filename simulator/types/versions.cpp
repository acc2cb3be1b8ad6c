#include "simulator/types/versions.h"

#include <iterator>

namespace velmore::simulator {

namespace {

const char* const kVersions[] = {"Exchange2007",     "Exchange2007_SP1", "Exchange2009", "Exchange2010",
                                 "Exchange2010_SP1", "Exchange2010_SP2", "Exchange2012", "Exchange2013",
                                 "Exchange2013_SP1", "Exchange2015",     "Exchange2016", "V2015_10_05",
                                 "V2016_01_06"};

}  // namespace

std::vector<std::string> VersionNames() {
  return {std::begin(kVersions), std::end(kVersions)};
}

int VersionIndex(std::string_view name) {
  for (std::size_t i = 0; i < std::size(kVersions); ++i)
    if (name == kVersions[i]) return static_cast<int>(i);
  return -1;
}

const ServerVersionRow& ServerVersionOf(int version) {
  static constexpr ServerVersionRow kRows[] = {
      {8, 0, 685, 24},   // Exchange2007
      {8, 1, 240, 5},    // Exchange2007_SP1
      {14, 0, 639, 21},  // Exchange2009
      {14, 0, 639, 21},  // Exchange2010
      {14, 1, 218, 15},  // Exchange2010_SP1
      {14, 2, 247, 5},   // Exchange2010_SP2
      {14, 3, 123, 4},   // Exchange2012
      {15, 0, 516, 32},  // Exchange2013
      {15, 0, 847, 32},  // Exchange2013_SP1
      {15, 0, 1076, 9},  // Exchange2015
      {15, 1, 225, 42},  // Exchange2016
      {15, 1, 396, 30},  // V2015_10_05
      {15, 1, 466, 34},  // V2016_01_06
  };
  return kRows[version];
}

std::string ServerVersionText(int version) {
  const ServerVersionRow& row = ServerVersionOf(version);
  return std::to_string(row.major) + "." + std::to_string(row.minor) + "." + std::to_string(row.build) + "." +
         std::to_string(row.minor_build);
}

std::string ServerName(int) {
  return "mbx01.example.com";
}

}  // namespace velmore::simulator
