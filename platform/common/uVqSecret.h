#pragma once

/// Texts that must not stay behind in memory: passwords, client secrets.
///
///     TVqSecret held("geheim");
///     TVqSecret another = held;     // the same text, not a second one
///     logOn(another.Text());

#include <memory>

#include "platform/common/uVqTypes.h"

namespace velmore {

/// A text that is held once, however often it is copied, and overwritten when the last copy goes.
///
/// A copy costs an atomic increment. Many threads may copy and read it; one at a time may change it. Raises nothing.
/// The text that the caller made it from, and copies made of `Text()`, are the caller's own to overwrite.
class TVqSecret {
 public:
  /// Holds nothing.
  TVqSecret() noexcept = default;
  /// Takes a copy of the text; an empty one is held as nothing.
  explicit TVqSecret(const string& AText);

  /// The text. Valid until the last copy goes.
  const string& Text() const noexcept;
  /// True when nothing is held.
  bool empty() const noexcept { return !FHeld; }

  /// The same text, whether held once or twice.
  friend bool operator==(const TVqSecret& a, const TVqSecret& b) noexcept {
    return a.FHeld == b.FHeld || a.Text() == b.Text();
  }

 private:
  std::shared_ptr<const string> FHeld;
};

/// Overwrites memory in a way that no optimiser leaves out.
void VqWipe(void* AData, std::size_t ASize) noexcept;
/// Overwrites a text and empties it. What an earlier growth of the text left behind is not reached.
void VqWipe(std::string& AText) noexcept;
void VqWipe(string& AText) noexcept;

}  // namespace velmore
