#pragma once

/// An open file of the system that closes itself. For systems without Windows; applications have no need of it.

#include <unistd.h>

#include <utility>

#pragma GCC visibility push(hidden)

namespace velmore {

/// Owns a descriptor; moves, no copies. Raises nothing.
class TVqFileHandle {
 public:
  /// Takes a descriptor over; -1 is none.
  explicit TVqFileHandle(int AValue = -1) noexcept : FValue(AValue) {}
  TVqFileHandle(TVqFileHandle&& other) noexcept : FValue(std::exchange(other.FValue, -1)) {}
  TVqFileHandle& operator=(TVqFileHandle&& other) noexcept {
    std::swap(FValue, other.FValue);
    return *this;
  }
  ~TVqFileHandle() {
    if (FValue >= 0) ::close(FValue);
  }

  /// The descriptor, -1 when there is none.
  int get() const noexcept { return FValue; }
  explicit operator bool() const noexcept { return FValue >= 0; }
  /// Hands it out, to be closed by the caller.
  int release() noexcept { return std::exchange(FValue, -1); }

 private:
  int FValue;
};

}  // namespace velmore

#pragma GCC visibility pop
