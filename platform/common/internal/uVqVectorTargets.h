#pragma once

/// For the sources with a vector loop, in any room: such a loop is written once, over Highway, and compiled for each
/// instruction set that a machine may have. Includes Highway, so that only those sources take it.
///
///     HWY_EXPORT(Fill);
///     VqForEachVectorTarget(HWY_DISPATCH_TABLE(Fill), [&](const char* name, auto fill) { ... });

#include <hwy/highway.h>

#include <bit>
#include <cstddef>
#include <cstdint>

#pragma GCC visibility push(hidden)

namespace velmore::detail {

/// Calls `visit` with the name and the function of each instruction set that this machine has, the best first. The one
/// without vectors is left out: what is to be done there is another loop, for the caller to know.
template <typename TFunction, std::size_t Size, typename TVisit>
void VqForEachVectorTarget(TFunction const (&table)[Size], TVisit visit) {
  constexpr std::int64_t kNone = HWY_SCALAR | HWY_EMU128;
  if constexpr (Size == 1) {  // compiled for one alone: nothing is chosen when the program runs
    if constexpr ((HWY_TARGETS & kNone) == 0) visit(hwy::TargetName(HWY_TARGETS), table[0]);
  } else {
    for (std::int64_t targets = hwy::SupportedTargets() & HWY_TARGETS & ~kNone; targets != 0; targets &= targets - 1) {
      const std::int64_t target = targets & -targets;  // the lowest bit is the best
      const auto place = std::countr_zero(static_cast<std::uint64_t>(HWY_CHOSEN_TARGET_SHIFT(target)));
      visit(hwy::TargetName(target), table[place]);
    }
  }
}

}  // namespace velmore::detail

#pragma GCC visibility pop
