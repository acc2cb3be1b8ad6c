// The inner loops of the quick scan: one over vectors, which Highway compiles for each instruction set, and a plain one
// for machines without. This file includes itself once for each set.

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

#include "platform/xml/uVqXMLQuickScan_p.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "platform/xml/uVqXMLQuickScanKernels.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "platform/common/internal/uVqVectorTargets.h"

#ifndef VELMORE_QUICK_SCAN_SHARED
#define VELMORE_QUICK_SCAN_SHARED

namespace velmore::detail {
namespace {

/// The bytes of a block that matter.
struct TBytes64 {
  std::uint64_t Less, Greater, Quote, Slash;
  std::uint64_t Special;  // see IsSpecial
};

/// Goes on in the state and gives the quotes that open values. `tag` is set from each "<" to before its ">", `value`
/// from each quote that opens a value to before the one that closes it. Inlined into each kernel, so that it is
/// compiled for its instruction set.
HWY_INLINE std::uint64_t Finish(const TBytes64& bytes, std::uint64_t tag, std::uint64_t value, TVqScanState& state) {
  const std::uint64_t names = tag & ~value;
  // A "<" in a tag or a ">" outside of one; either in a value; what no name is made of.
  state.Bad |= ((bytes.Less | bytes.Greater) & ((tag ^ bytes.Less) | value)) | (bytes.Special & names);
  // A name that goes on for a whole block may be longer than names may be.
  state.Bad |= static_cast<std::uint64_t>(names == ~std::uint64_t{0});

  // A tag opens an element if its second byte is no "/"; any "/" in a tag, at either end of it, closes one.
  const int starts = std::popcount((bytes.Less << 1 | state.Less) & ~bytes.Slash);
  state.Elements += starts;
  state.Depth += starts;
  state.Deepest = std::max(state.Deepest, state.Depth);
  state.Depth -= std::popcount(bytes.Slash & names);

  state.Tag = std::uint64_t{0} - (tag >> 63);
  state.Value = std::uint64_t{0} - (value >> 63);
  state.Less = bytes.Less >> 63;
  return bytes.Quote & tag & value;
}

/// Each bit the sum, without carry, of the bits up to and including it: set from every odd one to before the next.
HWY_INLINE std::uint64_t PrefixXor(std::uint64_t bits) {
  for (int shift = 1; shift < 64; shift *= 2) bits ^= bits << shift;
  return bits;
}

constexpr bool IsSpecial(unsigned c) {
  return c >= 0x80 || (c < 0x20 && c != '\t' && c != '\n' && c != '\r') || c == '&' || c == '\'' || c == '!' ||
         c == '?';
}

/// One bit for each member of TBytes64.
constexpr auto kClasses = [] {
  std::array<std::uint8_t, 256> classes{};
  for (unsigned c = 0; c < 256; ++c) {
    classes[c] =
        static_cast<std::uint8_t>((c == '<') | (c == '>') << 1 | (c == '"') << 2 | (c == '/') << 3 | IsSpecial(c) << 4);
  }
  return classes;
}();

void FillPortable(const char* text, std::size_t blocks, TVqMasks* masks, TVqScanState& known) {
  TVqScanState state = known;
  for (; blocks > 0; --blocks, text += 64, ++masks) {
    TBytes64 bytes{};
    for (unsigned part = 0; part < 64; part += 8) {
      std::uint64_t classes = 0;
      for (unsigned i = 0; i < 8; ++i) {
        classes |= std::uint64_t{kClasses[static_cast<unsigned char>(text[part + i])]} << (8 * i);
      }
      // The multiplication moves the lowest bits of the eight bytes next to each other, to the top.
      const auto bits = [&](unsigned which) {
        return ((classes >> which & 0x0101010101010101u) * 0x0102040810204080u >> 56) << part;
      };
      bytes.Less |= bits(0);
      bytes.Greater |= bits(1);
      bytes.Quote |= bits(2);
      bytes.Slash |= bits(3);
      bytes.Special |= bits(4);
    }
    const std::uint64_t tag = PrefixXor(bytes.Less | bytes.Greater) ^ state.Tag;
    const std::uint64_t value = PrefixXor(bytes.Quote & tag) ^ state.Value;
    *masks = {Finish(bytes, tag, value, state), bytes.Special};
  }
  known = state;
}

/// Special characters by the halves of their code: those whose two entries have a bit in common. A shuffle looks 16 or
/// more of them up at once.
struct TVqHalves {
  alignas(16) std::array<std::uint8_t, 16> Low{}, High{};
};
constexpr auto kHalves = [] {
  TVqHalves halves;
  for (unsigned h = 0; h < 8; ++h) halves.High[h] = h < 4 ? static_cast<std::uint8_t>(1 << h) : std::uint8_t{0};
  for (unsigned h = 8; h < 16; ++h) halves.High[h] = 0x80;  // beyond ASCII
  for (unsigned c = 0; c < 0x40; ++c) {
    if (IsSpecial(c)) halves.Low[c & 15] = static_cast<std::uint8_t>(halves.Low[c & 15] | 1 << (c >> 4));
  }
  for (std::uint8_t& low : halves.Low) low |= 0x80;
  return halves;
}();

}  // namespace
}  // namespace velmore::detail

#endif

HWY_BEFORE_NAMESPACE();
namespace velmore::detail {
namespace HWY_NAMESPACE {
namespace {

#if HWY_TARGET == HWY_SCALAR || HWY_TARGET == HWY_EMU128

void Fill(const char* text, std::size_t blocks, TVqMasks* masks, TVqScanState& state) {
  FillPortable(text, blocks, masks, state);
}

#else

namespace hn = hwy::HWY_NAMESPACE;

/// One bit for each byte of a vector, the first lowest.
template <typename D>
HWY_INLINE std::uint64_t Bits(D d, hn::Mask<D> mask) {
  std::uint8_t bytes[8] = {};
  hn::StoreMaskBits(d, mask, bytes);
  // Read as wide as it was written, so that compilers keep it in a register.
  const auto as = [&](auto bits) {
    std::memcpy(&bits, bytes, sizeof bits);
    return std::uint64_t{bits};
  };
  if constexpr (hn::MaxLanes(D()) == 16) return as(std::uint16_t{});
  if constexpr (hn::MaxLanes(D()) == 32) return as(std::uint32_t{});
  return as(std::uint64_t{});
}

/// As PrefixXor, by a multiplication without carries by all ones where there is one.
HWY_INLINE std::uint64_t Prefix(std::uint64_t bits) {
#if (HWY_ARCH_X86 && HWY_TARGET <= HWY_SSE4) || (HWY_ARCH_ARM_A64 && HWY_TARGET == HWY_NEON)
  const hn::Full128<std::uint64_t> d;
  return hn::GetLane(hn::CLMulLower(hn::Set(d, bits), hn::Set(d, ~std::uint64_t{0})));
#else
  return PrefixXor(bits);
#endif
}

void Fill(const char* text, std::size_t blocks, TVqMasks* masks, TVqScanState& known) {
  const HWY_CAPPED(std::uint8_t, 64) d;
  const auto low = hn::LoadDup128(d, kHalves.Low.data()), high = hn::LoadDup128(d, kHalves.High.data());
  TVqScanState state = known;
  for (; blocks > 0; --blocks, text += 64, ++masks) {
    TBytes64 bytes{};
    std::uint64_t plain = 0;
    HWY_UNROLL(4) for (std::size_t part = 0; part < 64; part += hn::Lanes(d)) {
      const auto v = hn::LoadU(d, reinterpret_cast<const std::uint8_t*>(text) + part);
      const auto is = [&](char c)
                          HWY_ATTR { return Bits(d, hn::Eq(v, hn::Set(d, static_cast<std::uint8_t>(c)))) << part; };
      bytes.Less |= is('<');
      bytes.Greater |= is('>');
      // By way of a vector, else compilers for AVX-512 make one masked comparison of this and "& tag" below, which then
      // waits for the tags.
      const auto quotes = hn::VecFromMask(d, hn::Eq(v, hn::Set(d, std::uint8_t{'"'})));
      bytes.Quote |= Bits(d, hn::MaskFromVec(quotes)) << part;
      bytes.Slash |= is('/');
      const auto common = hn::And(hn::TableLookupBytes(low, hn::And(v, hn::Set(d, 15))),
                                  hn::TableLookupBytes(high, hn::ShiftRight<4>(v)));
      plain |= Bits(d, hn::Eq(common, hn::Zero(d))) << part;
    }
    bytes.Special = ~plain;
    const std::uint64_t tag = Prefix(bytes.Less | bytes.Greater) ^ state.Tag;
    const std::uint64_t value = Prefix(bytes.Quote & tag) ^ state.Value;
    *masks = {Finish(bytes, tag, value, state), bytes.Special};
  }
  known = state;
#if HWY_ARCH_X86 && HWY_TARGET <= HWY_AVX2
  _mm256_zeroupper();  // not every compiler does it here, and whatever runs next would be slow
#endif
}

#endif

}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace velmore::detail
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace velmore::detail {
namespace {
HWY_EXPORT(Fill);
}

const std::vector<TVqScanKernel>& ScanKernels() {
  static const std::vector<TVqScanKernel> kernels = [] {
    std::vector<TVqScanKernel> found;
    VqForEachVectorTarget(HWY_DISPATCH_TABLE(Fill), [&](const char* name, auto fill) {
      found.push_back({name, fill});
    });
    found.push_back({"portable", FillPortable});
    return found;
  }();
  return kernels;
}

}  // namespace velmore::detail

#endif
