#pragma once

// What stands for Windows' variables where they are not set.

#include "platform/os/uVqEnvironment.h"

#pragma GCC visibility push(hidden)

namespace velmore {

/// Nothing for a variable that nothing stands for.
std::optional<string> VqSubstituteVariable(const string& name, const TVqEnvironmentLookup& lookup);

}  // namespace velmore

#pragma GCC visibility pop
