// The inner loops of base64: one in each direction over vectors, which Highway compiles for each instruction set, and a
// plain one for machines without and for the ends of a text. This file includes itself once for each set.

#include <array>

#include "platform/common/uVqBase64_p.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "platform/common/uVqBase64.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "platform/common/internal/uVqVectorTargets.h"

#ifndef VELMORE_BASE64_SHARED
#define VELMORE_BASE64_SHARED

namespace velmore {
namespace {

constexpr std::uint32_t kInvalid = 0x01000000;  // a bit that no three bytes reach

constexpr std::array<std::uint8_t, 256> MakeValues() {
  std::array<std::uint8_t, 256> values{};
  values.fill(0xFF);
  for (std::uint8_t i = 0; i < 64; ++i) values[static_cast<unsigned char>(kVqBase64Alphabet[i])] = i;
  return values;
}
constexpr std::array<std::uint8_t, 256> kValues = MakeValues();

/// The value of a character at its place among the 24 bits of a group.
constexpr std::array<std::uint32_t, 256> MakePlaced(int shift) {
  std::array<std::uint32_t, 256> placed{};
  for (std::size_t c = 0; c < 256; ++c) {
    placed[c] = kValues[c] == 0xFF ? kInvalid : static_cast<std::uint32_t>(kValues[c]) << shift;
  }
  return placed;
}
constexpr std::array<std::uint32_t, 256> kFirst = MakePlaced(18), kSecond = MakePlaced(12), kThird = MakePlaced(6),
                                         kFourth = MakePlaced(0);

/// Twelve bits at a time.
constexpr std::array<char, 8192> MakePairs() {
  std::array<char, 8192> pairs{};
  for (std::size_t i = 0; i < 4096; ++i) {
    pairs[2 * i] = kVqBase64Alphabet[i >> 6];
    pairs[2 * i + 1] = kVqBase64Alphabet[i & 63];
  }
  return pairs;
}
constexpr std::array<char, 8192> kPairs = MakePairs();

std::size_t DecodePortable(const char* text, std::size_t size, std::uint8_t* bytes) {
  const auto* in = reinterpret_cast<const unsigned char*>(text);
  std::size_t i = 0;
  for (; i + 4 <= size; i += 4, bytes += 3) {
    const std::uint32_t group = kFirst[in[i]] | kSecond[in[i + 1]] | kThird[in[i + 2]] | kFourth[in[i + 3]];
    if (group & kInvalid) break;
    bytes[0] = static_cast<std::uint8_t>(group >> 16);
    bytes[1] = static_cast<std::uint8_t>(group >> 8);
    bytes[2] = static_cast<std::uint8_t>(group);
  }
  return i;
}

std::size_t EncodePortable(const std::uint8_t* bytes, std::size_t size, char* text) {
  std::size_t i = 0;
  for (; i + 3 <= size; i += 3, text += 4) {
    const std::uint32_t group =
        static_cast<std::uint32_t>(bytes[i]) << 16 | static_cast<std::uint32_t>(bytes[i + 1]) << 8 | bytes[i + 2];
    const char* high = &kPairs[std::size_t{2} * (group >> 12)];
    const char* low = &kPairs[std::size_t{2} * (group & 0xFFF)];
    text[0] = high[0];
    text[1] = high[1];
    text[2] = low[0];
    text[3] = low[1];
  }
  return i;
}

// The vector forms follow Muła and Lemire, "Faster Base64 Encoding and Decoding Using AVX2 Instructions" (2018): the
// halves of a character look up bits whose intersection is empty for the alphabet only, and the high half chooses the
// distance from the character to its value.

using TVqSixteen = std::array<std::uint8_t, 16>;

struct TVqDecodeTables {
  alignas(16) TVqSixteen Low = {0x15, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11,
                                0x11, 0x11, 0x13, 0x1A, 0x1B, 0x1B, 0x1B, 0x1A};
  alignas(16) TVqSixteen High = {0x10, 0x10, 0x01, 0x02, 0x04, 0x08, 0x04, 0x08,
                                 0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10};
  /// By the high half, but for the slash, which has an entry of its own in front of its half's.
  alignas(16) TVqSixteen Distance = {0, 16, 19, 4, 256 - 65, 256 - 65, 256 - 71, 256 - 71, 0, 0, 0, 0, 0, 0, 0, 0};
  /// Three bytes of each group of four, in the order of the text; the rest is passed over.
  alignas(16) TVqSixteen Order = {2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, 15, 15, 15, 15};
};
constexpr TVqDecodeTables kDecode;

struct TVqEncodeTables {
  /// Each group of three as four bytes in which every value lies within a half.
  alignas(16) TVqSixteen Order = {1, 0, 2, 1, 4, 3, 5, 4, 7, 6, 8, 7, 10, 9, 11, 10};
  /// From a value to its character, by what range of the alphabet it lies in.
  alignas(16) TVqSixteen Distance = {65,      71,      256 - 4, 256 - 4, 256 - 4,  256 - 4,  256 - 4, 256 - 4,
                                     256 - 4, 256 - 4, 256 - 4, 256 - 4, 256 - 19, 256 - 16, 0,       0};
};
constexpr TVqEncodeTables kEncode;

}  // namespace
}  // namespace velmore

#endif

HWY_BEFORE_NAMESPACE();
namespace velmore {
namespace HWY_NAMESPACE {
namespace {

#if HWY_TARGET == HWY_SCALAR || HWY_TARGET == HWY_EMU128

std::size_t Decode(const char* text, std::size_t size, std::uint8_t* bytes) {
  return DecodePortable(text, size, bytes);
}

std::size_t Encode(const std::uint8_t* bytes, std::size_t size, char* text) {
  return EncodePortable(bytes, size, text);
}

#else

namespace hn = hwy::HWY_NAMESPACE;

using TBytesOf = HWY_CAPPED(std::uint8_t, 64);
using TPairsOf = hn::Repartition<std::uint16_t, TBytesOf>;
using TGroupsOf = hn::Repartition<std::uint32_t, TBytesOf>;

/// Lanes of four bytes that move the three of each sixteen that count next to each other, or apart from each other.
template <bool Apart>
HWY_INLINE auto Lanes(TGroupsOf d) {
  HWY_ALIGN std::uint32_t lanes[HWY_MAX_BYTES / 4] = {};
  const auto count = static_cast<std::uint32_t>(hn::Lanes(d));
  for (std::uint32_t i = 0; i < count; ++i) {
    const std::uint32_t from = Apart ? i / 4 * 3 + i % 4 : i / 3 * 4 + i % 3;
    lanes[i] = from < count ? from : 0;
  }
  return hn::SetTableIndices(d, lanes);
}

std::size_t Decode(const char* text, std::size_t size, std::uint8_t* bytes) {
  const TBytesOf d;
  const TPairsOf pairs;
  const TGroupsOf groups;
  const std::size_t taken = hn::Lanes(d), given = taken / 4 * 3;
  const auto lowBits = hn::LoadDup128(d, kDecode.Low.data()), highBits = hn::LoadDup128(d, kDecode.High.data());
  const auto distance = hn::LoadDup128(d, kDecode.Distance.data()), order = hn::LoadDup128(d, kDecode.Order.data());
  const auto slash = hn::Set(d, std::uint8_t{'/'}), half = hn::Set(d, std::uint8_t{15});
  const auto close = Lanes<false>(groups);
  std::size_t i = 0;
  // A whole vector is stored where three quarters of it count, within the room that the rest of the text has.
  for (; size - i >= (taken + 2) / 3 * 4; i += taken, bytes += given) {
    const auto in = hn::LoadU(d, reinterpret_cast<const std::uint8_t*>(text) + i);
    const auto high = hn::ShiftRight<4>(in);
    const auto wrong = hn::And(hn::TableLookupBytes(lowBits, hn::And(in, half)), hn::TableLookupBytes(highBits, high));
    if (!hn::AllTrue(d, hn::Eq(wrong, hn::Zero(d)))) break;
    const auto which = hn::Add(hn::VecFromMask(d, hn::Eq(in, slash)), high);  // one less for the slash
    const auto values = hn::BitCast(pairs, hn::Add(in, hn::TableLookupBytes(distance, which)));
    // Six bits and six bits to twelve, these to twenty-four.
    const auto twelve =
        hn::Or(hn::And(hn::ShiftLeft<6>(values), hn::Set(pairs, std::uint16_t{0x0FC0})), hn::ShiftRight<8>(values));
    const auto two = hn::BitCast(groups, twelve);
    const auto whole =
        hn::Or(hn::And(hn::ShiftLeft<12>(two), hn::Set(groups, std::uint32_t{0x00FFF000})), hn::ShiftRight<16>(two));
    const auto ordered = hn::BitCast(groups, hn::TableLookupBytes(hn::BitCast(d, whole), order));
    hn::StoreU(hn::BitCast(d, hn::TableLookupLanes(ordered, close)), d, bytes);
  }
#if HWY_ARCH_X86 && HWY_TARGET <= HWY_AVX2
  _mm256_zeroupper();  // not every compiler does it here, and whatever runs next would be slow
#endif
  return i + DecodePortable(text + i, size - i, bytes);
}

std::size_t Encode(const std::uint8_t* bytes, std::size_t size, char* text) {
  const TBytesOf d;
  const TPairsOf pairs;
  const TGroupsOf groups;
  const hn::RebindToSigned<TBytesOf> signs;
  const std::size_t given = hn::Lanes(d), taken = given / 4 * 3;
  const auto order = hn::LoadDup128(d, kEncode.Order.data()), distance = hn::LoadDup128(d, kEncode.Distance.data());
  const auto apart = Lanes<true>(groups);
  std::size_t i = 0;
  for (; size - i >= given; i += taken, text += given) {  // a whole vector is loaded where three quarters of it count
    const auto lanes = hn::TableLookupLanes(hn::BitCast(groups, hn::LoadU(d, bytes + i)), apart);
    const auto in = hn::TableLookupBytes(hn::BitCast(d, lanes), order);
    const auto outer = hn::MulHigh(hn::BitCast(pairs, hn::And(hn::BitCast(groups, in), hn::Set(groups, 0x0FC0FC00u))),
                                   hn::BitCast(pairs, hn::Set(groups, 0x04000040u)));
    const auto inner = hn::Mul(hn::BitCast(pairs, hn::And(hn::BitCast(groups, in), hn::Set(groups, 0x003F03F0u))),
                               hn::BitCast(pairs, hn::Set(groups, 0x01000010u)));
    const auto values = hn::BitCast(d, hn::Or(outer, inner));
    // 0 and 1 for the letters, 2 to 11 for the digits, 12 and 13 for the signs.
    const auto letters = hn::VecFromMask(signs, hn::Gt(hn::BitCast(signs, values), hn::Set(signs, std::int8_t{25})));
    const auto which = hn::Sub(hn::SaturatedSub(values, hn::Set(d, std::uint8_t{51})), hn::BitCast(d, letters));
    hn::StoreU(hn::Add(values, hn::TableLookupBytes(distance, which)), d, reinterpret_cast<std::uint8_t*>(text));
  }
#if HWY_ARCH_X86 && HWY_TARGET <= HWY_AVX2
  _mm256_zeroupper();  // not every compiler does it here, and whatever runs next would be slow
#endif
  return i + EncodePortable(bytes + i, size - i, text);
}

#endif

}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace velmore
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace velmore {
namespace {
HWY_EXPORT(Decode);
HWY_EXPORT(Encode);
}  // namespace

const std::vector<TVqBase64Kernel>& VqBase64Kernels() {
  static const std::vector<TVqBase64Kernel> kernels = [] {
    std::vector<TVqBase64Kernel> found;
    detail::VqForEachVectorTarget(HWY_DISPATCH_TABLE(Decode), [&](const char* name, auto decode) {
      found.push_back({name, decode, nullptr});
    });
    auto kernel = found.begin();
    detail::VqForEachVectorTarget(HWY_DISPATCH_TABLE(Encode),
                                  [&](const char*, auto encode) { (kernel++)->Encode = encode; });
    found.push_back({"portable", DecodePortable, EncodePortable});
    return found;
  }();
  return kernels;
}

std::uint8_t VqBase64Value(char c) noexcept {
  return kValues[static_cast<unsigned char>(c)];
}

}  // namespace velmore

#endif
