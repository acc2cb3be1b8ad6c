#include "platform/xml/uVqXMLScan_p.h"

#include <bit>
#include <cstring>

#if defined(__SSE2__) || defined(_M_X64)
#include <emmintrin.h>
#define VELMORE_SSE2 1
#endif

namespace velmore {

EVqXMLError::EVqXMLError(const string& AMessage, std::int32_t ALine, std::int32_t AColumn)
    : EVqException(ALine > 0 ? Format("%s (line %d, column %d)", {AMessage, ALine, AColumn}) : AMessage),
      FLine(ALine),
      FColumn(AColumn) {}

namespace detail {
namespace {

struct TRange {
  char32_t First, Last;
};
constexpr TRange kNameStart[] = {{0xC0, 0xD6},     {0xD8, 0xF6},     {0xF8, 0x2FF},    {0x370, 0x37D},
                                 {0x37F, 0x1FFF},  {0x200C, 0x200D}, {0x2070, 0x218F}, {0x2C00, 0x2FEF},
                                 {0x3001, 0xD7FF}, {0xF900, 0xFDCF}, {0xFDF0, 0xFFFD}, {0x10000, 0xEFFFF}};

/// Reads the reference at `at` (an ampersand); gives its length, 0 when it is none that may stand in a reply without
/// further ado.
std::size_t GoodReference(std::string_view text, std::size_t at) noexcept {
  const std::string_view rest = text.substr(at + 1, 12);
  if (rest.starts_with("lt;") || rest.starts_with("gt;")) return 4;
  if (rest.starts_with("amp;")) return 5;
  if (rest.starts_with("quot;") || rest.starts_with("apos;")) return 6;
  if (!rest.starts_with('#')) return 0;
  const bool hex = rest.size() > 1 && rest[1] == 'x';
  std::size_t i = hex ? 2 : 1;
  const std::size_t digits = i;
  char32_t value = 0;
  for (; i < rest.size(); ++i) {
    const char c = rest[i];
    char32_t digit;
    if (c >= '0' && c <= '9') {
      digit = static_cast<char32_t>(c - '0');
    } else if (hex && ((c | 0x20) >= 'a' && (c | 0x20) <= 'f')) {
      digit = static_cast<char32_t>((c | 0x20) - 'a' + 10);
    } else {
      break;
    }
    value =
        value * (hex ? 16 : 10) + digit;  // twelve digits at most, which the strict reading takes if they do not fit
    if (value > 0x10FFFF) return 0;
  }
  if (i == digits || i >= rest.size() || rest[i] != ';' || !IsXmlChar(value)) return 0;
  return i + 2;
}

/// Reads well-formed characters beyond ASCII up to the next ASCII byte; npos when there is something else.
std::size_t SkipNonAscii(std::string_view text, std::size_t at) noexcept {
  while (at < text.size() && static_cast<unsigned char>(text[at]) >= 0x80) {
    std::size_t length;
    const char32_t c = DecodeUtf8(text, at, length);
    if (length == 0 || c == 0xFFFE || c == 0xFFFF) return std::string_view::npos;
    at += length;
  }
  return at;
}

/// What the blocks of a quick scan share.
struct TQuick {
  std::string_view Text;
  std::size_t Checked = 0;  // characters beyond ASCII are checked up to here
  bool NonAscii = false;

  /// Looks at the places of a block at `base` that bits in `high` (beyond ASCII) and `references` point out.
  bool Details(std::size_t base, unsigned high, unsigned references) noexcept {
    if (high != 0) NonAscii = true;
    while (high != 0) {
      const std::size_t at = base + static_cast<std::size_t>(std::countr_zero(high));
      high &= high - 1;
      if (at < Checked) continue;
      Checked = SkipNonAscii(Text, at);
      if (Checked == std::string_view::npos) return false;
    }
    while (references != 0) {
      const std::size_t at = base + static_cast<std::size_t>(std::countr_zero(references));
      references &= references - 1;
      if (GoodReference(Text, at) == 0) return false;
    }
    return true;
  }

  /// The 16 bytes of `block`; the one behind them is readable, too.
  bool Block(const char* block, std::size_t base) noexcept {
#ifdef VELMORE_SSE2
    const __m128i here = _mm_loadu_si128(reinterpret_cast<const __m128i*>(block));
    const __m128i next = _mm_loadu_si128(reinterpret_cast<const __m128i*>(block + 1));
    const auto is = [](const __m128i& bytes, char c) { return _mm_cmpeq_epi8(bytes, _mm_set1_epi8(c)); };
    const __m128i low = _mm_cmpeq_epi8(_mm_min_epu8(here, _mm_set1_epi8(0x1F)), here);
    const __m128i white = _mm_or_si128(is(here, '\n'), _mm_or_si128(is(here, '\t'), is(here, '\r')));
    const __m128i marked = _mm_and_si128(is(here, '<'), _mm_or_si128(is(next, '!'), is(next, '?')));
    const __m128i brackets = _mm_and_si128(is(here, ']'), is(next, ']'));
    const __m128i rare = _mm_or_si128(_mm_andnot_si128(white, low), _mm_or_si128(marked, brackets));
    if (_mm_movemask_epi8(rare) != 0) return false;
    const auto high = static_cast<unsigned>(_mm_movemask_epi8(here));
    const auto references = static_cast<unsigned>(_mm_movemask_epi8(is(here, '&')));
#else
    unsigned high = 0, references = 0;
    for (unsigned i = 0; i < 16; ++i) {
      const auto c = static_cast<unsigned char>(block[i]);
      const char next = block[i + 1];
      if (c < 0x20 && c != '\n' && c != '\t' && c != '\r') return false;
      if (c == '<' && (next == '!' || next == '?')) return false;
      if (c == ']' && next == ']') return false;
      if (c >= 0x80) high |= 1u << i;
      if (c == '&') references |= 1u << i;
    }
#endif
    return (high | references) == 0 || Details(base, high, references);
  }
};

}  // namespace

TVqScan QuickScan(std::string_view text) noexcept {
  TQuick quick{text};
  std::size_t i = 0;
  for (; i + 17 <= text.size(); i += 16) {
    if (!quick.Block(text.data() + i, i)) return {false, quick.NonAscii};
  }
  char tail[48];
  std::memset(tail, ' ', sizeof tail);
  const std::size_t rest = text.size() - i;  // up to 16 bytes, and the last one still wants its neighbour
  std::memcpy(tail, text.data() + i, rest);
  if (!quick.Block(tail, i) || !quick.Block(tail + 16, i + 16)) return {false, quick.NonAscii};
  return {true, quick.NonAscii};
}

bool IsNameStart(char32_t c) noexcept {
  if (c < 0x80) return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' || c == ':';
  for (const TRange& range : kNameStart) {
    if (c <= range.Last) return c >= range.First;
  }
  return false;
}

bool IsNameChar(char32_t c) noexcept {
  return IsNameStart(c) || (c >= '0' && c <= '9') || c == '-' || c == '.' || c == 0xB7 || (c >= 0x300 && c <= 0x36F) ||
         c == 0x203F || c == 0x2040;
}

bool IsName(std::string_view name) noexcept {
  for (std::size_t i = 0; i < name.size();) {
    std::size_t length;
    const char32_t c = DecodeUtf8(name, i, length);
    if (length == 0 || !(i == 0 ? IsNameStart(c) : IsNameChar(c))) return false;
    i += length;
  }
  return !name.empty();
}

char32_t DecodeUtf8(std::string_view text, std::size_t at, std::size_t& length) noexcept {
  const auto byte = [&](std::size_t i) {
    return at + i < text.size() ? static_cast<unsigned char>(text[at + i]) : static_cast<unsigned char>(0);
  };
  const auto trail = [&](std::size_t i) { return (byte(i) & 0xC0) == 0x80; };
  const auto bits = [&](std::size_t i) { return static_cast<char32_t>(byte(i) & 0x3F); };
  const unsigned char lead = byte(0);
  length = 1;
  if (lead < 0x80) return lead;
  if (lead >= 0xC2 && lead <= 0xDF && trail(1)) {
    length = 2;
    return static_cast<char32_t>(lead & 0x1F) << 6 | bits(1);
  }
  if ((lead & 0xF0) == 0xE0 && trail(1) && trail(2)) {
    const char32_t c = static_cast<char32_t>(lead & 0x0F) << 12 | bits(1) << 6 | bits(2);
    length = 3;
    if (c >= 0x800 && (c < 0xD800 || c > 0xDFFF)) return c;
  }
  if (lead >= 0xF0 && lead <= 0xF4 && trail(1) && trail(2) && trail(3)) {
    const char32_t c = static_cast<char32_t>(lead & 0x07) << 18 | bits(1) << 12 | bits(2) << 6 | bits(3);
    length = 4;
    if (c >= 0x10000 && c <= 0x10FFFF) return c;
  }
  length = 0;
  return 0xFFFD;
}

void AppendUtf8(std::string& out, char32_t c) {
  const auto put = [&](char32_t byte) { out += static_cast<char>(static_cast<unsigned char>(byte)); };
  if (c < 0x80) {
    put(c);
  } else if (c < 0x800) {
    put(0xC0 | c >> 6);
    put(0x80 | (c & 0x3F));
  } else if (c < 0x10000) {
    put(0xE0 | c >> 12);
    put(0x80 | (c >> 6 & 0x3F));
    put(0x80 | (c & 0x3F));
  } else {
    put(0xF0 | c >> 18);
    put(0x80 | (c >> 12 & 0x3F));
    put(0x80 | (c >> 6 & 0x3F));
    put(0x80 | (c & 0x3F));
  }
}

std::size_t FindForbidden(std::string_view text) noexcept {
  for (std::size_t i = 0; i < text.size();) {
    const auto c = static_cast<unsigned char>(text[i]);
    if (c < 0x80) {
      if (!IsXmlChar(c)) return i;
      ++i;
      continue;
    }
    std::size_t length;
    if (!IsXmlChar(DecodeUtf8(text, i, length)) || length == 0) return i;
    i += length;
  }
  return std::string_view::npos;
}

void FailAt(std::string_view text, std::size_t position, const string& message) {
  std::int32_t line = 1, column = 1;
  for (std::size_t i = 0; i < position && i < text.size(); ++i) {
    const char c = text[i];
    if (c == '\n' || (c == '\r' && (i + 1 >= text.size() || text[i + 1] != '\n'))) {
      ++line;
      column = 1;
    } else if ((static_cast<unsigned char>(c) & 0xC0) != 0x80) {
      ++column;
    }
  }
  throw EVqXMLError(message, line, column);
}

}  // namespace detail
}  // namespace velmore
