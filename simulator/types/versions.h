#pragma once

/// The server versions that a simulator can play, and what it says of itself in each.

#include <string>
#include <string_view>
#include <vector>

namespace velmore::simulator {

/// The names that Options::version takes, oldest first.
std::vector<std::string> VersionNames();
/// Index of a version name, -1 when unknown.
int VersionIndex(std::string_view name);
enum Version : int {
  kExchange2007,
  kExchange2007Sp1,
  kExchange2009,
  kExchange2010,
  kExchange2010Sp1,
  kExchange2010Sp2,
  kExchange2012,
  kExchange2013,
  kExchange2013Sp1,
  kExchange2015,
  kExchange2016,
  kV2015_10_05,
  kV2016_01_06,
};

struct ServerVersionRow {
  int major;
  int minor;
  int build;
  int minor_build;
};
const ServerVersionRow& ServerVersionOf(int version);
/// "15.1.225.42"
std::string ServerVersionText(int version);
/// Name of the mail server in Received headers.
std::string ServerName(int version);

}  // namespace velmore::simulator
