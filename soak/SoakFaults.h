#pragma once

// Everything that a server, a proxy or a network may do to a request, drawn by chance.

#include <random>
#include <string>

#include "simulator/simulator.h"

namespace soak {

struct RandomFault {
  std::string Kind;  // one word for the table: "cut"
  velmore::simulator::Fault Fault;
  /// Milliseconds after which what changed for good (certificate, schemes) is put right; 0: nothing did.
  int PutRightAfter = 0;
};

RandomFault DrawFault(std::mt19937& random);

}  // namespace soak
