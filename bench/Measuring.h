#pragma once

// What several benchmarks need around what they measure.

#include <sched.h>
#include <unistd.h>

#include <algorithm>

#include "platform/common/uVqClasses.h"

namespace velmore {

/// Client and server have a processor each, where there are two: else it is the scheduler that is measured.
inline void StayOn(int processor) {
  cpu_set_t set;
  CPU_ZERO(&set);
  CPU_SET(processor % std::max(1, static_cast<int>(::sysconf(_SC_NPROCESSORS_ONLN))), &set);
  ::sched_setaffinity(0, sizeof set, &set);
}

/// Takes everything and keeps nothing.
class TNowhere : public TVqStream {
 public:
  using TVqStream::Write;
  std::size_t Read(void*, std::size_t) override { return 0; }
  void Write(const void*, std::size_t count) override { FSize += count; }
  std::uint64_t GetPosition() const override { return FSize; }
  void SetPosition(std::uint64_t) override {}
  std::uint64_t GetSize() const override { return FSize; }

 private:
  std::uint64_t FSize = 0;
};

}  // namespace velmore
