// The text of a reply's bytes.

#include "platform/http/uVqHTTPCharset_p.h"
#include "platform/http/uVqHTTPEngine_p.h"

namespace velmore {

namespace {

std::string CharsetOf(std::string_view contentType) {
  std::size_t at = contentType.find(';');
  while (at != std::string_view::npos) {
    std::string_view rest = contentType.substr(at + 1);
    at = contentType.find(';', at + 1);
    rest = rest.substr(0, rest.find(';'));
    const std::size_t mark = rest.find('=');
    if (mark == std::string_view::npos) continue;
    const auto trim = [](std::string_view text) {
      while (!text.empty() && (text.front() == ' ' || text.front() == '"' || text.front() == '\t'))
        text.remove_prefix(1);
      while (!text.empty() && (text.back() == ' ' || text.back() == '"' || text.back() == '\t')) text.remove_suffix(1);
      return text;
    };
    if (VqSameAscii(trim(rest.substr(0, mark)), "charset")) return std::string(trim(rest.substr(mark + 1)));
  }
  return {};
}

string FromUtf16(std::string_view bytes, bool bigEndian) {
  std::u16string text;
  text.reserve(bytes.size() / 2);
  for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
    const auto first = static_cast<unsigned char>(bytes[i]);
    const auto second = static_cast<unsigned char>(bytes[i + 1]);
    text += static_cast<char16_t>(bigEndian ? first << 8 | second : second << 8 | first);
  }
  return text;
}

// Latin-1 in name is windows-1252 in fact, on the web and in mail alike.
string FromWindows1252(std::string_view bytes) {
  static constexpr char16_t High[32] = {0x20AC, 0x81,   0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
                                        0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0x8D,   0x017D, 0x8F,
                                        0x90,   0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
                                        0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x9D,   0x017E, 0x0178};
  std::u16string text;
  text.reserve(bytes.size());
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    text += byte >= 0x80 && byte < 0xA0 ? High[byte - 0x80] : static_cast<char16_t>(byte);
  }
  return text;
}

}  // namespace

string VqDecodeBody(std::string_view bytes, std::string_view contentType) {
  if (bytes.starts_with("\xEF\xBB\xBF")) return bytes.substr(3);
  if (bytes.starts_with("\xFF\xFE")) return FromUtf16(bytes.substr(2), false);
  if (bytes.starts_with("\xFE\xFF")) return FromUtf16(bytes.substr(2), true);
  const std::string charset = CharsetOf(contentType);
  if (charset.empty() || VqSameAscii(charset, "utf-8") || VqSameAscii(charset, "utf8") ||
      VqSameAscii(charset, "us-ascii")) {
    return bytes;
  }
  if (VqSameAscii(charset, "utf-16") || VqSameAscii(charset, "utf-16le")) return FromUtf16(bytes, false);
  if (VqSameAscii(charset, "utf-16be")) return FromUtf16(bytes, true);
  if (VqSameAscii(charset, "iso-8859-1") || VqSameAscii(charset, "windows-1252")) return FromWindows1252(bytes);
  if (string text; VqDecodeCharset(bytes, charset, text)) return text;
  return bytes;  // an unknown charset: UTF-8 loses the least
}

}  // namespace velmore
