#pragma once

/// A request whose caller has its own way of waiting for a busy server.

#pragma GCC visibility push(hidden)

namespace velmore {

/// What every request of a TVqSOAPClient is besides. Who repeats requests on the way leaves a busy server to the caller
/// of one that keeps its own pace: else both would wait, one after the other.
class IVqSOAPOwnPace {
 public:
  /// From now on.
  virtual void KeepOwnPace() noexcept = 0;
  virtual bool KeepsOwnPace() const noexcept = 0;

 protected:
  ~IVqSOAPOwnPace() = default;
};

}  // namespace velmore

#pragma GCC visibility pop
