#pragma once

#include <cstdint>
#include <initializer_list>

namespace velmore {

/// A set of enumerators, by position: `TVqSet<TColour>{coRed, coBlue}`. For enumerations of at most 64 values from 0. A
/// copy costs one word.
template <typename T>
class TVqSet {
 public:
  constexpr TVqSet() noexcept = default;
  /// With these values in it.
  constexpr TVqSet(std::initializer_list<T> values) noexcept {
    for (const T value : values) Include(value);
  }

  /// Puts a value in or takes it out; changes nothing when it is in, or out, already.
  constexpr void Include(T value) noexcept { FBits |= Bit(value); }
  constexpr void Exclude(T value) noexcept { FBits &= ~Bit(value); }
  /// True when the value is in it.
  constexpr bool Contains(T value) const noexcept { return (FBits & Bit(value)) != 0; }
  /// True when no value is in it.
  constexpr bool empty() const noexcept { return FBits == 0; }
  /// One bit per value; the first value has the lowest.
  constexpr std::uint64_t Bits() const noexcept { return FBits; }

  /// The same values.
  friend constexpr bool operator==(TVqSet, TVqSet) noexcept = default;
  /// What is in either set, and what is in the first one alone.
  friend constexpr TVqSet operator+(TVqSet a, TVqSet b) noexcept { return TVqSet(a.FBits | b.FBits); }
  friend constexpr TVqSet operator-(TVqSet a, TVqSet b) noexcept { return TVqSet(a.FBits & ~b.FBits); }

 private:
  constexpr explicit TVqSet(std::uint64_t bits) noexcept : FBits(bits) {}
  static constexpr std::uint64_t Bit(T value) noexcept { return std::uint64_t{1} << static_cast<unsigned>(value); }

  std::uint64_t FBits = 0;
};

}  // namespace velmore
