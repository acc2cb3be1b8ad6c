#pragma once

// Bodies of replies that may be large.

#include <string>
#include <string_view>
#include <vector>

#pragma GCC visibility push(hidden)

namespace velmore {

/// Gathers a body whose length is not known. A string that doubles would hold up to three times the body while it
/// grows; pieces hold it once, and so does putting them together: memory of this size belongs to the process only once
/// it is written to, and a piece goes back to the system when it is freed.
class TVqHTTPBodyPieces {
 public:
  void Clear() noexcept {
    FFirst.clear();
    FPieces.clear();
  }
  void Append(std::string_view bytes);
  /// Everything in one; nothing is left here.
  std::string Take();

 private:
  /// Beyond what any allocator keeps for later use.
  static constexpr std::size_t kPiece = std::size_t{33} << 20;

  std::string FFirst;
  std::vector<std::string> FPieces;
};

/// A response that gives its body away instead of a copy.
class IVqHTTPBodyOwner {
 public:
  virtual std::string TakeBody() noexcept = 0;

 protected:
  ~IVqHTTPBodyOwner() = default;
};

}  // namespace velmore

#pragma GCC visibility pop
