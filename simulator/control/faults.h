#pragma once

// The queue of failures to be played.

#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <string>

#include "simulator/types/fault.h"

namespace velmore::simulator {

class FaultQueue {
 public:
  /// `take_effect` is called with each fault that is taken, before the next one can be and before it is no longer
  /// pending for others; it may not call the queue.
  explicit FaultQueue(std::function<void(const Fault&)> take_effect) : take_effect_(std::move(take_effect)) {}

  void Add(Fault fault);
  void Clear();
  std::size_t Pending() const;
  /// The fault for a request of this operation, if one is due.
  std::optional<Fault> Take(const std::string& operation);
  /// The fault for a question beside the service; one without a name is not for it.
  std::optional<Fault> TakeNamed(const std::string& name);

 private:
  std::optional<Fault> Take(const std::string& operation, bool named_only);
  const std::function<void(const Fault&)> take_effect_;
  mutable std::mutex mutex_;  // protects the queue
  std::deque<Fault> faults_;
};

}  // namespace velmore::simulator
