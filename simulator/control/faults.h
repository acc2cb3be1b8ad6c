#pragma once

// The queue of failures to be played.

#include <deque>
#include <mutex>
#include <optional>
#include <string>

#include "simulator/types/fault.h"

namespace velmore::simulator {

class FaultQueue {
 public:
  void Add(Fault fault);
  void Clear();
  std::size_t Pending() const;
  /// The fault for a request of this operation, if one is due.
  std::optional<Fault> Take(const std::string& operation);

 private:
  mutable std::mutex mutex_;  // protects the queue
  std::deque<Fault> faults_;
};

}  // namespace velmore::simulator
