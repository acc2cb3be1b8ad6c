#pragma once

// Wrong replies made of right ones.

#include <random>
#include <string>
#include <vector>

namespace velmore::testing {

/// Changes replies by chance, each in one way: bits, cuts, elements that are doubled, swapped, dropped, renamed or
/// foreign, senseless numbers, texts and names of a megabyte, the answer to another request.
class TReplyMutator {
 public:
  explicit TReplyMutator(unsigned seed) : FRandom(seed) {}

  /// True in one of `one_in` calls.
  bool Draws(unsigned one_in) { return FRandom() % one_in == 0; }
  /// The changed reply; Kind tells how.
  std::string Change(std::string reply);
  const char* Kind() const { return FKind; }

 private:
  /// An element of the reply by its places in the text.
  struct TElement {
    std::size_t Start = 0, Inside = 0, InsideEnd = 0, End = 0;
    std::size_t Parent = 0;  // its place in the list; the root has its own
  };
  static std::vector<TElement> ElementsOf(const std::string& reply);
  std::size_t Below(std::size_t count) { return count == 0 ? 0 : FRandom() % count; }

  std::mt19937 FRandom;
  const char* FKind = "";
  std::string FFormer;  // another answer
};

}  // namespace velmore::testing
