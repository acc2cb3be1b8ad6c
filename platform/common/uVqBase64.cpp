#include <array>

#include "platform/common/uVqBase64_p.h"

#if defined(__GNUC__) && (defined(__x86_64__) || defined(__i386__))
#define VELMORE_X86_KERNELS 1
#include <immintrin.h>
#endif

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

#ifdef VELMORE_X86_KERNELS

// The vector forms follow Muła and Lemire, "Faster Base64 Encoding and Decoding Using AVX2 Instructions" (2018): the
// nibbles of a character look up bits whose intersection is empty for the alphabet only, and the high nibble chooses
// the distance from the character to its value.

__attribute__((target("ssse3"))) std::size_t DecodeSsse3(const char* text, std::size_t size, std::uint8_t* bytes) {
  const __m128i lowBits =
      _mm_setr_epi8(0x15, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x13, 0x1A, 0x1B, 0x1B, 0x1B, 0x1A);
  const __m128i highBits =
      _mm_setr_epi8(0x10, 0x10, 0x01, 0x02, 0x04, 0x08, 0x04, 0x08, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10);
  const __m128i distance = _mm_setr_epi8(0, 16, 19, 4, -65, -65, -71, -71, 0, 0, 0, 0, 0, 0, 0, 0);
  const __m128i slash = _mm_set1_epi8(0x2F);  // the one character that shares its high nibble; also a mask of nibbles
  const __m128i order = _mm_setr_epi8(2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1);
  std::size_t i = 0;
  for (; size - i >= 24; i += 16, bytes += 12) {  // 16 bytes are stored where 12 count
    const __m128i in = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text + i));
    const __m128i high = _mm_and_si128(_mm_srli_epi32(in, 4), slash);
    const __m128i low = _mm_and_si128(in, slash);
    const __m128i wrong = _mm_and_si128(_mm_shuffle_epi8(lowBits, low), _mm_shuffle_epi8(highBits, high));
    if (_mm_movemask_epi8(_mm_cmpgt_epi8(wrong, _mm_setzero_si128())) != 0) break;
    const __m128i which = _mm_add_epi8(_mm_cmpeq_epi8(in, slash), high);
    const __m128i values = _mm_add_epi8(in, _mm_shuffle_epi8(distance, which));
    const __m128i pairs = _mm_maddubs_epi16(values, _mm_set1_epi32(0x01400140));
    const __m128i groups = _mm_madd_epi16(pairs, _mm_set1_epi32(0x00011000));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(bytes), _mm_shuffle_epi8(groups, order));
  }
  return i + DecodePortable(text + i, size - i, bytes);
}

__attribute__((target("ssse3"))) std::size_t EncodeSsse3(const std::uint8_t* bytes, std::size_t size, char* text) {
  const __m128i order = _mm_setr_epi8(1, 0, 2, 1, 4, 3, 5, 4, 7, 6, 8, 7, 10, 9, 11, 10);
  const __m128i distance = _mm_setr_epi8(65, 71, -4, -4, -4, -4, -4, -4, -4, -4, -4, -4, -19, -16, 0, 0);
  std::size_t i = 0;
  for (; size - i >= 16; i += 12, text += 16) {  // 16 bytes are loaded where 12 count
    const __m128i in = _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes + i)), order);
    const __m128i outer = _mm_mulhi_epu16(_mm_and_si128(in, _mm_set1_epi32(0x0fc0fc00)), _mm_set1_epi32(0x04000040));
    const __m128i inner = _mm_mullo_epi16(_mm_and_si128(in, _mm_set1_epi32(0x003f03f0)), _mm_set1_epi32(0x01000010));
    const __m128i values = _mm_or_si128(outer, inner);
    const __m128i which =
        _mm_sub_epi8(_mm_subs_epu8(values, _mm_set1_epi8(51)), _mm_cmpgt_epi8(values, _mm_set1_epi8(25)));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(text), _mm_add_epi8(values, _mm_shuffle_epi8(distance, which)));
  }
  return i + EncodePortable(bytes + i, size - i, text);
}

__attribute__((target("avx2"))) std::size_t DecodeAvx2(const char* text, std::size_t size, std::uint8_t* bytes) {
  const __m256i lowBits =
      _mm256_setr_epi8(0x15, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x13, 0x1A, 0x1B, 0x1B, 0x1B, 0x1A,
                       0x15, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x13, 0x1A, 0x1B, 0x1B, 0x1B, 0x1A);
  const __m256i highBits =
      _mm256_setr_epi8(0x10, 0x10, 0x01, 0x02, 0x04, 0x08, 0x04, 0x08, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10,
                       0x10, 0x10, 0x01, 0x02, 0x04, 0x08, 0x04, 0x08, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10);
  const __m256i distance = _mm256_setr_epi8(0, 16, 19, 4, -65, -65, -71, -71, 0, 0, 0, 0, 0, 0, 0, 0, 0, 16, 19, 4, -65,
                                            -65, -71, -71, 0, 0, 0, 0, 0, 0, 0, 0);
  const __m256i slash = _mm256_set1_epi8(0x2F);
  const __m256i order = _mm256_setr_epi8(2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1, 2, 1, 0, 6, 5, 4, 10,
                                         9, 8, 14, 13, 12, -1, -1, -1, -1);
  const __m256i close = _mm256_setr_epi32(0, 1, 2, 4, 5, 6, -1, -1);
  std::size_t i = 0;
  for (; size - i >= 44; i += 32, bytes += 24) {  // 32 bytes are stored where 24 count
    const __m256i in = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(text + i));
    const __m256i high = _mm256_and_si256(_mm256_srli_epi32(in, 4), slash);
    const __m256i low = _mm256_and_si256(in, slash);
    if (!_mm256_testz_si256(_mm256_shuffle_epi8(lowBits, low), _mm256_shuffle_epi8(highBits, high))) break;
    const __m256i which = _mm256_add_epi8(_mm256_cmpeq_epi8(in, slash), high);
    const __m256i values = _mm256_add_epi8(in, _mm256_shuffle_epi8(distance, which));
    const __m256i pairs = _mm256_maddubs_epi16(values, _mm256_set1_epi32(0x01400140));
    const __m256i groups = _mm256_madd_epi16(pairs, _mm256_set1_epi32(0x00011000));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(bytes),
                        _mm256_permutevar8x32_epi32(_mm256_shuffle_epi8(groups, order), close));
  }
  _mm256_zeroupper();  // not every compiler does it here, and whatever runs next would be slow
  return i + DecodeSsse3(text + i, size - i, bytes);
}

__attribute__((target("avx2"))) std::size_t EncodeAvx2(const std::uint8_t* bytes, std::size_t size, char* text) {
  const __m256i order = _mm256_setr_epi8(1, 0, 2, 1, 4, 3, 5, 4, 7, 6, 8, 7, 10, 9, 11, 10, 1, 0, 2, 1, 4, 3, 5, 4, 7,
                                         6, 8, 7, 10, 9, 11, 10);
  const __m256i distance = _mm256_setr_epi8(65, 71, -4, -4, -4, -4, -4, -4, -4, -4, -4, -4, -19, -16, 0, 0, 65, 71, -4,
                                            -4, -4, -4, -4, -4, -4, -4, -4, -4, -19, -16, 0, 0);
  std::size_t i = 0;
  for (; size - i >= 28; i += 24, text += 32) {  // two halves of 16 bytes where 12 count each
    const __m256i both =
        _mm256_inserti128_si256(_mm256_castsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes + i))),
                                _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes + i + 12)), 1);
    const __m256i in = _mm256_shuffle_epi8(both, order);
    const __m256i outer =
        _mm256_mulhi_epu16(_mm256_and_si256(in, _mm256_set1_epi32(0x0fc0fc00)), _mm256_set1_epi32(0x04000040));
    const __m256i inner =
        _mm256_mullo_epi16(_mm256_and_si256(in, _mm256_set1_epi32(0x003f03f0)), _mm256_set1_epi32(0x01000010));
    const __m256i values = _mm256_or_si256(outer, inner);
    const __m256i which = _mm256_sub_epi8(_mm256_subs_epu8(values, _mm256_set1_epi8(51)),
                                          _mm256_cmpgt_epi8(values, _mm256_set1_epi8(25)));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(text),
                        _mm256_add_epi8(values, _mm256_shuffle_epi8(distance, which)));
  }
  _mm256_zeroupper();  // not every compiler does it here, and whatever runs next would be slow
  return i + EncodeSsse3(bytes + i, size - i, text);
}

#endif

}  // namespace

const std::vector<TVqBase64Kernel>& VqBase64Kernels() {
  static const std::vector<TVqBase64Kernel> kernels = [] {
    std::vector<TVqBase64Kernel> found;
#ifdef VELMORE_X86_KERNELS
    __builtin_cpu_init();
    if (__builtin_cpu_supports("avx2")) found.push_back({"avx2", DecodeAvx2, EncodeAvx2});
    if (__builtin_cpu_supports("ssse3")) found.push_back({"ssse3", DecodeSsse3, EncodeSsse3});
#endif
    found.push_back({"portable", DecodePortable, EncodePortable});
    return found;
  }();
  return kernels;
}

std::uint8_t VqBase64Value(char c) noexcept {
  return kValues[static_cast<unsigned char>(c)];
}

}  // namespace velmore
