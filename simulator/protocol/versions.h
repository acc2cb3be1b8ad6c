#pragma once

// What the simulator says of itself, by version.

#include <string>

#include "simulator/xml/element.h"

namespace velmore::simulator {

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
