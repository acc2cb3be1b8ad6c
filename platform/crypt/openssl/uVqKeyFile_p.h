#pragma once

// The key of a scope, in a file of 32 bytes.

#include <array>
#include <cstdint>

#include "platform/common/uVqSecret.h"
#include "platform/common/uVqTypes.h"

#pragma GCC visibility push(hidden)

namespace velmore {

/// A key in memory, wiped when it goes. No copies, so that there is one place to wipe.
class TVqKey {
 public:
  static constexpr std::size_t kSize = 32;

  TVqKey() noexcept = default;
  ~TVqKey() { VqWipe(FBytes.data(), kSize); }
  TVqKey(const TVqKey&) = delete;
  TVqKey& operator=(const TVqKey&) = delete;

  std::uint8_t* data() noexcept { return FBytes.data(); }
  const std::uint8_t* data() const noexcept { return FBytes.data(); }

 private:
  std::array<std::uint8_t, kSize> FBytes{};
};

/// Where a key is and whose it is.
struct TVqKeyPlace {
  /// As configured, with variables and backslashes.
  string Folder;
  bool Machine;
};

/// Reads the key of a place; makes it first when there is none and `make` is true. However many processes and threads
/// do so at once, all of them get the same key. Raises EVqDataProtection: keyMissing, keyNotReadable, keyExposed,
/// keyDamaged, system.
void VqLoadKey(const TVqKeyPlace& place, bool make, TVqKey& key);

}  // namespace velmore

#pragma GCC visibility pop
