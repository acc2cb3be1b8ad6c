#pragma once

// Names of hosts in the letters that name servers know.

#include <string>

#include "platform/common/uVqTypes.h"

#pragma GCC visibility push(hidden)

namespace velmore {

/// The 8-bit form of a name; empty when it has none.
std::string VqAsciiHostName(const string& name);

}  // namespace velmore

#pragma GCC visibility pop
