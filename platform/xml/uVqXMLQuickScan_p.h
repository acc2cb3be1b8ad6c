#pragma once

/// The inner loops of the quick scan, one for each instruction set, so that tests reach every one of them on one
/// machine.

#include <cstddef>
#include <cstdint>
#include <vector>

#pragma GCC visibility push(hidden)

namespace velmore::detail {

/// What there is to be looked at in 64 bytes of markup; bit 0 is the first byte.
struct TVqMasks {
  std::uint64_t Opening;  // quotes that open the value of an attribute
  std::uint64_t Special;  // beyond ASCII, controls, and & ' ! ?
};

/// What a kernel finds out about all of the text so far.
struct TVqScanState {
  std::uint64_t Tag = 0, Value = 0;  // all bits set while a tag, or the value of an attribute, goes on
  std::uint64_t Less = 0;            // 1 if the last byte is a "<"
  std::uint64_t Bad = 0;  // not 0: the order of < > and quotes is broken, or a tag is not made of plain characters
  std::int64_t Elements = 0;
  std::int64_t Depth = 0;    // by the tags, as far as they are good, which is for the parser to see
  std::int64_t Deepest = 0;  // never less than what was reached anywhere, and at most a block's tags more
};

struct TVqScanKernel {
  const char* Name;
  /// Looks at `blocks` of 64 bytes.
  void (*Fill)(const char* text, std::size_t blocks, TVqMasks* masks, TVqScanState& state);
};

/// What this machine can run, the fastest first; the last one runs everywhere.
const std::vector<TVqScanKernel>& ScanKernels();

}  // namespace velmore::detail

#pragma GCC visibility pop
