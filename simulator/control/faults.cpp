#include "simulator/control/faults.h"

#include "simulator/types/text.h"

namespace velmore::simulator {

void FaultQueue::Add(Fault fault) {
  const std::lock_guard lock(mutex_);
  faults_.push_back(std::move(fault));
}

void FaultQueue::Clear() {
  const std::lock_guard lock(mutex_);
  faults_.clear();
}

std::size_t FaultQueue::Pending() const {
  const std::lock_guard lock(mutex_);
  return faults_.size();
}

std::optional<Fault> FaultQueue::Take(const std::string& operation) {
  return Take(operation, false);
}

std::optional<Fault> FaultQueue::TakeNamed(const std::string& name) {
  return Take(name, true);
}

std::optional<Fault> FaultQueue::Take(const std::string& operation, bool named_only) {
  const std::lock_guard lock(mutex_);
  for (auto fault = faults_.begin(); fault != faults_.end(); ++fault) {
    if (fault->operation.empty() ? named_only : !SameText(fault->operation, operation)) continue;
    if (fault->skip > 0) {
      --fault->skip;
      continue;
    }
    Fault taken = *fault;
    take_effect_(taken);
    if (fault->times > 0 && --fault->times == 0) faults_.erase(fault);
    return taken;
  }
  return std::nullopt;
}

}  // namespace velmore::simulator
