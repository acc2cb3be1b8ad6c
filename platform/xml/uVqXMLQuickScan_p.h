#pragma once

/// The inner loops of the quick scan, one for each instruction set, so that tests reach every one of them on one machine.

#include <cstddef>
#include <cstdint>
#include <vector>

namespace velmore::detail {

/// What stands where in 64 bytes of markup; bit 0 is the first byte.
struct TVqMasks {
  std::uint64_t Less, Greater;      // < >
  std::uint64_t Quote, Apostrophe;  // " '
  std::uint64_t Reference;          // &
  std::uint64_t High;               // beyond ASCII
  std::uint64_t Inside;             // from each odd one of < and > to the next even one, that one excluded
  bool Rare;                        // controls, or "<!" or "<?"
  std::uint8_t Tags, Ends, Selfs;   // "<", "</" and "/>"; the latter two count where their second byte stands
};

struct TVqScanKernel {
  const char* Name;
  /// Looks at `blocks` of 64 bytes. `carry` holds what the last byte before was: 1 for <, 2 for /; it is updated.
  void (*Fill)(const char* text, std::size_t blocks, TVqMasks* masks, unsigned& carry);
};

/// What this machine can run, the fastest first; the last one runs everywhere.
const std::vector<TVqScanKernel>& ScanKernels();

}  // namespace velmore::detail
