#pragma once

#include <cstdint>
#include <initializer_list>

namespace velmore {

/// A set of enumerators, by position: `TVqSet<TColour>{coRed, coBlue}`. For enumerations of at most 64 values from 0. A copy costs one word.
template <typename T>
class TVqSet {
 public:
  constexpr TVqSet() noexcept = default;
  constexpr TVqSet(std::initializer_list<T> values) noexcept {
    for (const T value : values) Include(value);
  }

  constexpr void Include(T value) noexcept { FBits |= Bit(value); }
  constexpr void Exclude(T value) noexcept { FBits &= ~Bit(value); }
  constexpr bool Contains(T value) const noexcept { return (FBits & Bit(value)) != 0; }
  constexpr bool empty() const noexcept { return FBits == 0; }
  /// One bit a value, the first value the lowest.
  constexpr std::uint64_t Bits() const noexcept { return FBits; }

  friend constexpr bool operator==(TVqSet, TVqSet) noexcept = default;
  friend constexpr TVqSet operator+(TVqSet a, TVqSet b) noexcept { return TVqSet(a.FBits | b.FBits); }
  friend constexpr TVqSet operator-(TVqSet a, TVqSet b) noexcept { return TVqSet(a.FBits & ~b.FBits); }

 private:
  constexpr explicit TVqSet(std::uint64_t bits) noexcept : FBits(bits) {}
  static constexpr std::uint64_t Bit(T value) noexcept { return std::uint64_t{1} << static_cast<unsigned>(value); }

  std::uint64_t FBits = 0;
};

}  // namespace velmore
