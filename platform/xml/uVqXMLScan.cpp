#include "platform/xml/uVqXMLScan_p.h"

#include <array>
#include <cstdint>
#include <cstring>

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

constexpr bool IsAsciiNameStart(char32_t c) noexcept {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' || c == ':';
}

/// Names are checked whenever an element or an attribute is made.
constexpr auto kAsciiNameChars = [] {
  std::array<bool, 0x80> chars{};
  for (char32_t c = 0; c < 0x80; ++c) chars[c] = IsAsciiNameStart(c) || (c >= '0' && c <= '9') || c == '-' || c == '.';
  return chars;
}();

}  // namespace

bool IsNameStart(char32_t c) noexcept {
  if (c < 0x80) return IsAsciiNameStart(c);
  for (const TRange& range : kNameStart) {
    if (c <= range.Last) return c >= range.First;
  }
  return false;
}

bool IsNameChar(char32_t c) noexcept {
  if (c < 0x80) return kAsciiNameChars[c];
  return IsNameStart(c) || c == 0xB7 || (c >= 0x300 && c <= 0x36F) || c == 0x203F || c == 0x2040;
}

bool IsName(std::string_view name) noexcept {
  for (std::size_t i = 0; i < name.size();) {
    std::size_t length = 1;
    char32_t c = static_cast<unsigned char>(name[i]);
    if (c >= 0x80) c = DecodeUtf8(name, i, length);
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

namespace {

/// Whether these eight bytes are letters, digits and the like, with no control and nothing beyond ASCII among them. A
/// "no" may be wrong, a "yes" never is.
bool IsPlainBlock(const char* bytes) noexcept {
  std::uint64_t block;
  std::memcpy(&block, bytes, sizeof block);
  return ((block | (block - 0x2020202020202020u)) & 0x8080808080808080u) == 0;
}

}  // namespace

std::size_t FindForbidden(std::string_view text) noexcept {
  for (std::size_t i = 0; i < text.size();) {
    if (i + 8 <= text.size() && IsPlainBlock(text.data() + i)) {
      i += 8;
      continue;
    }
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

bool NeedsLines(std::string_view text) noexcept {
  return text.find('\r') != std::string_view::npos && text.find("<?", 1) != std::string_view::npos;
}

std::string WithLines(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\r') {
      out += text[i];
    } else if (i + 1 >= text.size() || text[i + 1] != '\n') {
      out += '\n';
    }
  }
  return out;
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
