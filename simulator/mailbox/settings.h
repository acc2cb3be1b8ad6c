#pragma once

// An organisation in one file: users, rooms, lists, domains, and how they log on. users.json of a seed folder has the
// same form. See docs/guide/simulator.md.

#include <string>

#include "simulator/types/options.h"

namespace velmore::simulator {

/// Adds what a file tells to the options; what was chosen beside it counts. Throws OptionError with the place when
/// something in the file is wrong.
void ReadSettings(const std::string& file, Options& options);

}  // namespace velmore::simulator
