#pragma once

// Failures from a file, written by people: docs/guide/simulator.md tells its form.

#include <string>
#include <vector>

#include "simulator/types/fault.h"

namespace velmore::simulator {

struct Script {
  std::vector<Fault> faults;
  std::optional<Certificate> certificate;
  std::optional<std::vector<std::string>> authentication;
};

/// Reads a script. Throws OptionError: "faults.json:14: faults[2].delay must be ...".
Script ReadScript(const std::string& file);

}  // namespace velmore::simulator
