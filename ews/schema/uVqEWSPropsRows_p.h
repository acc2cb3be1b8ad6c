#pragma once

// One family of rows with its index by key, both made by the compiler. Not installed.

#include <array>
#include <bit>
#include <cstdint>
#include <span>
#include <string_view>

#pragma GCC visibility push(hidden)

namespace velmore::props {

constexpr std::uint32_t KeyHash(std::string_view AKey) noexcept {
  std::uint32_t hash = 2166136261u;  // FNV-1a
  for (const char c : AKey) hash = (hash ^ static_cast<unsigned char>(c)) * 16777619u;
  return hash ^ hash >> 15;
}

constexpr std::uint16_t kNoRow = 0xFFFF;

constexpr std::string_view KeyOf(const auto& ARow) noexcept {
  if constexpr (requires { ARow.PropDefName; })
    return ARow.PropDefName.view();
  else
    return ARow.FieldDefName.view();
}

// An open-addressing table of row numbers, at most half full. Two rows with one key do not compile.
template <typename TDef, std::size_t N>
consteval auto MakeIndex(const TDef* const (&ARows)[N]) {
  std::array<std::uint16_t, std::bit_ceil(2 * N)> index;
  index.fill(kNoRow);
  for (std::size_t i = 0; i < N; ++i) {
    const std::string_view key = KeyOf(*ARows[i]);
    std::size_t slot = KeyHash(key) & (index.size() - 1);
    while (index[slot] != kNoRow) {
      if (KeyOf(*ARows[index[slot]]) == key) throw "two rows with one key";
      slot = (slot + 1) & (index.size() - 1);
    }
    index[slot] = static_cast<std::uint16_t>(i);
  }
  return index;
}

template <typename TDef>
struct TFamily {
  std::string_view Prefix;  // of every key
  std::span<const TDef* const> Rows;
  std::span<const std::uint16_t> Index;

  const TDef* Find(std::string_view AKey) const noexcept {
    for (std::size_t slot = KeyHash(AKey) & (Index.size() - 1); Index[slot] != kNoRow;
         slot = (slot + 1) & (Index.size() - 1))
      if (KeyOf(*Rows[Index[slot]]) == AKey) return Rows[Index[slot]];
    return nullptr;
  }
};

}  // namespace velmore::props

#pragma GCC visibility pop

namespace velmore {

struct TVqEWSPropDef;
struct TVqEWSFieldDef;

namespace props {
extern const TFamily<TVqEWSPropDef> FamilyPR, FamilyEPR, FamilyMPR;
extern const TFamily<TVqEWSFieldDef> FamilyFLD, FamilyEFLD, FamilyMFLD;
}  // namespace props

}  // namespace velmore
