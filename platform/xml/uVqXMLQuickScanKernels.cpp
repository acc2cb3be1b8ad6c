#include <algorithm>
#include <array>
#include <bit>

#include "platform/xml/uVqXMLQuickScan_p.h"

#if (defined(__GNUC__) || defined(__clang__)) && defined(__x86_64__)
#include <immintrin.h>
#define VELMORE_X86_KERNELS 1
#define VELMORE_INLINE inline __attribute__((always_inline))
#else
#define VELMORE_INLINE inline
#endif

namespace velmore::detail {
namespace {

/// The bytes of a block that matter.
struct TBytes64 {
  std::uint64_t Less, Greater, Quote, Slash;
  std::uint64_t Special;  // see IsSpecial
};

/// Goes on in the state and gives the quotes that open values. `tag` is set from each "<" to before its ">", `value` from
/// each quote that opens a value to before the one that closes it. Inlined into each kernel, so that it is compiled for
/// its instruction set.
VELMORE_INLINE std::uint64_t Finish(const TBytes64& bytes, std::uint64_t tag, std::uint64_t value,
                                    TVqScanState& state) {
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
VELMORE_INLINE std::uint64_t PrefixXor(std::uint64_t bits) {
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

#ifdef VELMORE_X86_KERNELS

// The three kernels differ in the width of a load and in how a comparison becomes bits; intrinsics of one instruction
// set cannot stand in a template that is compiled for another.

/// Special characters of ASCII by the halves of their code: those whose two entries have a bit in common. A shuffle
/// looks 16 or more of them up at once, and finds nothing for what is beyond ASCII.
alignas(16) constexpr auto kHigh = [] {
  std::array<std::uint8_t, 16> high{};
  for (unsigned h = 0; h < 4; ++h) high[h] = static_cast<std::uint8_t>(1 << h);
  return high;
}();
alignas(16) constexpr auto kLow = [] {
  std::array<std::uint8_t, 16> low{};
  for (unsigned c = 0; c < 0x40; ++c) {
    if (IsSpecial(c)) low[c & 15] = static_cast<std::uint8_t>(low[c & 15] | 1 << (c >> 4));
  }
  return low;
}();

/// As PrefixXor: a multiplication without carries by all ones.
__attribute__((target("pclmul"))) inline std::uint64_t CarrylessPrefix(std::uint64_t bits) {
  const __m128i product =
      _mm_clmulepi64_si128(_mm_set_epi64x(0, static_cast<long long>(bits)), _mm_set1_epi8(static_cast<char>(0xFF)), 0);
  return static_cast<std::uint64_t>(_mm_cvtsi128_si64(product));
}

__attribute__((target("ssse3,popcnt,pclmul"))) void FillSsse3(const char* text, std::size_t blocks, TVqMasks* masks,
                                                              TVqScanState& known) {
  const __m128i low = _mm_load_si128(reinterpret_cast<const __m128i*>(kLow.data()));
  const __m128i high = _mm_load_si128(reinterpret_cast<const __m128i*>(kHigh.data()));
#define VELMORE_BITS(expression) \
  static_cast<std::uint64_t>(static_cast<unsigned>(_mm_movemask_epi8(expression))) << (16 * part)
#define VELMORE_IS(c) VELMORE_BITS(_mm_cmpeq_epi8(v, _mm_set1_epi8(c)))
  TVqScanState state = known;
  for (; blocks > 0; --blocks, text += 64, ++masks) {
    TBytes64 bytes{};
    for (std::size_t part = 0; part < 4; ++part) {
      const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text + 16 * part));
      bytes.Less |= VELMORE_IS('<');
      bytes.Greater |= VELMORE_IS('>');
      bytes.Quote |= VELMORE_IS('"');
      bytes.Slash |= VELMORE_IS('/');
      const __m128i upper = _mm_and_si128(_mm_srli_epi16(v, 4), _mm_set1_epi8(15));
      const __m128i common = _mm_and_si128(_mm_shuffle_epi8(low, v), _mm_shuffle_epi8(high, upper));
      bytes.Special |= VELMORE_BITS(_mm_or_si128(v, _mm_cmpgt_epi8(common, _mm_setzero_si128())));
    }
    const std::uint64_t tag = CarrylessPrefix(bytes.Less | bytes.Greater) ^ state.Tag;
    const std::uint64_t value = CarrylessPrefix(bytes.Quote & tag) ^ state.Value;
    *masks = {Finish(bytes, tag, value, state), bytes.Special};
  }
  known = state;
#undef VELMORE_BITS
#undef VELMORE_IS
}

__attribute__((target("avx2,popcnt,bmi,pclmul"))) void FillAvx2(const char* text, std::size_t blocks, TVqMasks* masks,
                                                                TVqScanState& known) {
  const __m256i low = _mm256_broadcastsi128_si256(_mm_load_si128(reinterpret_cast<const __m128i*>(kLow.data())));
  const __m256i high = _mm256_broadcastsi128_si256(_mm_load_si128(reinterpret_cast<const __m128i*>(kHigh.data())));
#define VELMORE_BITS(expression) \
  static_cast<std::uint64_t>(static_cast<unsigned>(_mm256_movemask_epi8(expression))) << (32 * part)
#define VELMORE_IS(c) VELMORE_BITS(_mm256_cmpeq_epi8(v, _mm256_set1_epi8(c)))
  TVqScanState state = known;
  for (; blocks > 0; --blocks, text += 64, ++masks) {
    TBytes64 bytes{};
    for (std::size_t part = 0; part < 2; ++part) {
      const __m256i v = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(text + 32 * part));
      bytes.Less |= VELMORE_IS('<');
      bytes.Greater |= VELMORE_IS('>');
      bytes.Quote |= VELMORE_IS('"');
      bytes.Slash |= VELMORE_IS('/');
      const __m256i upper = _mm256_and_si256(_mm256_srli_epi16(v, 4), _mm256_set1_epi8(15));
      const __m256i common = _mm256_and_si256(_mm256_shuffle_epi8(low, v), _mm256_shuffle_epi8(high, upper));
      bytes.Special |= VELMORE_BITS(_mm256_or_si256(v, _mm256_cmpgt_epi8(common, _mm256_setzero_si256())));
    }
    const std::uint64_t tag = CarrylessPrefix(bytes.Less | bytes.Greater) ^ state.Tag;
    const std::uint64_t value = CarrylessPrefix(bytes.Quote & tag) ^ state.Value;
    *masks = {Finish(bytes, tag, value, state), bytes.Special};
  }
  known = state;
#undef VELMORE_BITS
#undef VELMORE_IS
}

__attribute__((target("avx512f,avx512bw,popcnt,bmi,pclmul"))) void FillAvx512(const char* text, std::size_t blocks,
                                                                              TVqMasks* masks, TVqScanState& known) {
  // With a mask, as GCC 12 takes what the plain form leaves undefined for a mistake of ours.
  const __m512i low =
      _mm512_maskz_broadcast_i32x4(0xFFFF, _mm_load_si128(reinterpret_cast<const __m128i*>(kLow.data())));
  const __m512i high =
      _mm512_maskz_broadcast_i32x4(0xFFFF, _mm_load_si128(reinterpret_cast<const __m128i*>(kHigh.data())));
#define VELMORE_IS(c) _mm512_cmpeq_epi8_mask(v, _mm512_set1_epi8(c))
  TVqScanState state = known;
  for (; blocks > 0; --blocks, text += 64, ++masks) {
    const __m512i v = _mm512_loadu_si512(text);
    TBytes64 bytes;
    bytes.Less = VELMORE_IS('<');
    bytes.Greater = VELMORE_IS('>');
    bytes.Quote = VELMORE_IS('"');
    bytes.Slash = VELMORE_IS('/');
    // Else the compiler makes one masked comparison of this and "& tag" below, which then waits for the tags.
    __asm__("" : "+r"(bytes.Quote));
    const __m512i upper = _mm512_and_si512(_mm512_srli_epi16(v, 4), _mm512_set1_epi8(15));
    bytes.Special =
        _mm512_movepi8_mask(v) | _mm512_test_epi8_mask(_mm512_shuffle_epi8(low, v), _mm512_shuffle_epi8(high, upper));
    const std::uint64_t tag = CarrylessPrefix(bytes.Less | bytes.Greater) ^ state.Tag;
    const std::uint64_t value = CarrylessPrefix(bytes.Quote & tag) ^ state.Value;
    *masks = {Finish(bytes, tag, value, state), bytes.Special};
  }
  known = state;
#undef VELMORE_IS
}

#endif

}  // namespace

const std::vector<TVqScanKernel>& ScanKernels() {
  static const std::vector<TVqScanKernel> kernels = [] {
    std::vector<TVqScanKernel> found;
#ifdef VELMORE_X86_KERNELS
    __builtin_cpu_init();
    // Whatever has the wide registers has these, too; but virtual machines can be set up otherwise.
    const bool bits = __builtin_cpu_supports("popcnt") && __builtin_cpu_supports("pclmul");
    const bool more = bits && __builtin_cpu_supports("bmi");
    if (more && __builtin_cpu_supports("avx512bw")) found.push_back({"avx512", FillAvx512});
    if (more && __builtin_cpu_supports("avx2")) found.push_back({"avx2", FillAvx2});
    if (bits && __builtin_cpu_supports("ssse3")) found.push_back({"ssse3", FillSsse3});
#endif
    found.push_back({"portable", FillPortable});
    return found;
  }();
  return kernels;
}

}  // namespace velmore::detail
