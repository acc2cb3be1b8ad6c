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

/// What `Finish` needs beside the masks.
struct TRaw {
  std::uint64_t Slash, Mark, Control;  // "/"; "!" and "?"; controls but TAB, LF and CR
};

/// Derives what depends on neighbours. Inlined into each kernel, so that it is compiled for its instruction set.
VELMORE_INLINE void Finish(TVqMasks& masks, const TRaw& raw, unsigned& carry) {
  const std::uint64_t behindLess = masks.Less << 1 | (carry & 1);
  const std::uint64_t behindSlash = raw.Slash << 1 | (carry >> 1 & 1);
  carry = static_cast<unsigned>(masks.Less >> 63 | (raw.Slash >> 63) << 1);
  masks.Rare = (raw.Control | (raw.Mark & behindLess)) != 0;
  masks.Tags = static_cast<std::uint8_t>(std::popcount(masks.Less));
  masks.Ends = static_cast<std::uint8_t>(std::popcount(raw.Slash & behindLess));
  masks.Selfs = static_cast<std::uint8_t>(std::popcount(masks.Greater & behindSlash));
}

/// Each bit the sum, without carry, of the bits up to and including it.
VELMORE_INLINE std::uint64_t PrefixXor(std::uint64_t bits) {
  for (int shift = 1; shift < 64; shift *= 2) bits ^= bits << shift;
  return bits;
}

void FillPortable(const char* text, std::size_t blocks, TVqMasks* masks, unsigned& carry) {
  for (; blocks > 0; --blocks, text += 64, ++masks) {
    *masks = {};
    TRaw raw{};
    for (unsigned i = 0; i < 64; ++i) {
      const std::uint64_t bit = std::uint64_t{1} << i;
      const auto c = static_cast<unsigned char>(text[i]);
      if (c >= 0x80) {
        masks->High |= bit;
      } else if (c < 0x20) {
        if (c != '\t' && c != '\n' && c != '\r') raw.Control |= bit;
      } else if (c <= '?') {
        switch (c) {
          case '<':
            masks->Less |= bit;
            break;
          case '>':
            masks->Greater |= bit;
            break;
          case '"':
            masks->Quote |= bit;
            break;
          case '\'':
            masks->Apostrophe |= bit;
            break;
          case '&':
            masks->Reference |= bit;
            break;
          case '/':
            raw.Slash |= bit;
            break;
          case '!':
          case '?':
            raw.Mark |= bit;
            break;
          default:
            break;
        }
      }
    }
    masks->Inside = PrefixXor(masks->Less | masks->Greater);
    Finish(*masks, raw, carry);
  }
}

#ifdef VELMORE_X86_KERNELS

// The three kernels differ in the width of a load and in how a comparison becomes bits; intrinsics of one instruction
// set cannot stand in a template that is compiled for another.

void FillSse2(const char* text, std::size_t blocks, TVqMasks* masks, unsigned& carry) {
  for (; blocks > 0; --blocks, text += 64, ++masks) {
    *masks = {};
    TRaw raw{};
    for (int part = 0; part < 4; ++part) {
      const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text + 16 * part));
      const auto bits = [&](__m128i equal) {
        return static_cast<std::uint64_t>(static_cast<unsigned>(_mm_movemask_epi8(equal))) << (16 * part);
      };
      const auto is = [&](char c) { return _mm_cmpeq_epi8(v, _mm_set1_epi8(c)); };
      masks->Less |= bits(is('<'));
      masks->Greater |= bits(is('>'));
      masks->Quote |= bits(is('"'));
      masks->Apostrophe |= bits(is('\''));
      masks->Reference |= bits(is('&'));
      masks->High |= bits(v);
      raw.Slash |= bits(is('/'));
      raw.Mark |= bits(_mm_or_si128(is('!'), is('?')));
      const __m128i low = _mm_cmpeq_epi8(_mm_min_epu8(v, _mm_set1_epi8(0x1F)), v);
      raw.Control |= bits(_mm_andnot_si128(_mm_or_si128(is('\n'), _mm_or_si128(is('\t'), is('\r'))), low));
    }
    masks->Inside = PrefixXor(masks->Less | masks->Greater);
    Finish(*masks, raw, carry);
  }
}

/// As PrefixXor: a multiplication without carries by all ones.
__attribute__((target("pclmul,sse4.1"))) inline std::uint64_t CarrylessPrefix(std::uint64_t bits) {
  const __m128i product =
      _mm_clmulepi64_si128(_mm_set_epi64x(0, static_cast<long long>(bits)), _mm_set1_epi8(static_cast<char>(0xFF)), 0);
  return static_cast<std::uint64_t>(_mm_cvtsi128_si64(product));
}

__attribute__((target("avx2,popcnt,bmi,pclmul"))) void FillAvx2(const char* text, std::size_t blocks, TVqMasks* masks,
                                                                unsigned& carry) {
#define VELMORE_BITS(expression0, expression1)                                            \
  (static_cast<std::uint64_t>(static_cast<unsigned>(_mm256_movemask_epi8(expression0))) | \
   static_cast<std::uint64_t>(static_cast<unsigned>(_mm256_movemask_epi8(expression1))) << 32)
#define VELMORE_IS(v, c) _mm256_cmpeq_epi8(v, _mm256_set1_epi8(c))
#define VELMORE_CONTROL(v)                                                                                             \
  _mm256_andnot_si256(_mm256_or_si256(VELMORE_IS(v, '\n'), _mm256_or_si256(VELMORE_IS(v, '\t'), VELMORE_IS(v, '\r'))), \
                      _mm256_cmpeq_epi8(_mm256_min_epu8(v, _mm256_set1_epi8(0x1F)), v))
  for (; blocks > 0; --blocks, text += 64, ++masks) {
    const __m256i a = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(text));
    const __m256i b = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(text + 32));
    masks->Less = VELMORE_BITS(VELMORE_IS(a, '<'), VELMORE_IS(b, '<'));
    masks->Greater = VELMORE_BITS(VELMORE_IS(a, '>'), VELMORE_IS(b, '>'));
    masks->Quote = VELMORE_BITS(VELMORE_IS(a, '"'), VELMORE_IS(b, '"'));
    masks->Apostrophe = VELMORE_BITS(VELMORE_IS(a, '\''), VELMORE_IS(b, '\''));
    masks->Reference = VELMORE_BITS(VELMORE_IS(a, '&'), VELMORE_IS(b, '&'));
    masks->High = VELMORE_BITS(a, b);
    TRaw raw;
    raw.Slash = VELMORE_BITS(VELMORE_IS(a, '/'), VELMORE_IS(b, '/'));
    raw.Mark = VELMORE_BITS(_mm256_or_si256(VELMORE_IS(a, '!'), VELMORE_IS(a, '?')),
                            _mm256_or_si256(VELMORE_IS(b, '!'), VELMORE_IS(b, '?')));
    raw.Control = VELMORE_BITS(VELMORE_CONTROL(a), VELMORE_CONTROL(b));
    masks->Inside = CarrylessPrefix(masks->Less | masks->Greater);
    Finish(*masks, raw, carry);
  }
#undef VELMORE_BITS
#undef VELMORE_IS
#undef VELMORE_CONTROL
}

__attribute__((target("avx512f,avx512bw,popcnt,bmi,pclmul"))) void FillAvx512(const char* text, std::size_t blocks,
                                                                              TVqMasks* masks, unsigned& carry) {
#define VELMORE_IS(c) _mm512_cmpeq_epi8_mask(v, _mm512_set1_epi8(c))
  for (; blocks > 0; --blocks, text += 64, ++masks) {
    const __m512i v = _mm512_loadu_si512(text);
    masks->Less = VELMORE_IS('<');
    masks->Greater = VELMORE_IS('>');
    masks->Quote = VELMORE_IS('"');
    masks->Apostrophe = VELMORE_IS('\'');
    masks->Reference = VELMORE_IS('&');
    masks->High = _mm512_movepi8_mask(v);
    TRaw raw;
    raw.Slash = VELMORE_IS('/');
    raw.Mark = VELMORE_IS('!') | VELMORE_IS('?');
    raw.Control = _mm512_cmplt_epu8_mask(v, _mm512_set1_epi8(0x20));
    if (raw.Control != 0) raw.Control &= ~(VELMORE_IS('\n') | VELMORE_IS('\t') | VELMORE_IS('\r'));
    masks->Inside = CarrylessPrefix(masks->Less | masks->Greater);
    Finish(*masks, raw, carry);
  }
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
    const bool small =
        __builtin_cpu_supports("popcnt") && __builtin_cpu_supports("bmi") && __builtin_cpu_supports("pclmul");
    if (small && __builtin_cpu_supports("avx512bw")) found.push_back({"avx512", FillAvx512});
    if (small && __builtin_cpu_supports("avx2")) found.push_back({"avx2", FillAvx2});
    found.push_back({"sse2", FillSse2});
#endif
    found.push_back({"portable", FillPortable});
    return found;
  }();
  return kernels;
}

}  // namespace velmore::detail
