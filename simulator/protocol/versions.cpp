#include "simulator/protocol/versions.h"

#include "simulator/operations/operations.h"

namespace velmore::simulator {

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

std::string VersionGaps(const std::string& version) {
  const int index = VersionIndex(version);
  if (index < 0) throw OptionError("Unknown server version \"" + version + "\".");
  std::string text;
  const auto list = [&](const char* what, const std::vector<std::string>& names) {
    if (names.empty()) return;
    text += what;
    for (std::size_t i = 0; i < names.size(); ++i) text += (i == 0 ? " " : ", ") + names[i];
    text += '\n';
  };
  // What came after this version: from the same tables that the answers come from.
  list("operations:", OperationNames(index + 1));
  list("folders:", DistinguishedNames(index + 1));
  list("fields:", FieldUris(index + 1));
  if (index == kExchange2007) text += "replies that tell the version by name\n";
  return text;
}

std::string ServerName(int) {
  return "mbx01.example.com";
}

}  // namespace velmore::simulator
