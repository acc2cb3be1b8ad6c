// Code pages by Windows. It is asked once for the 256 characters of each of the small ones; UTF-16 needs no table, and
// UTF-8 is the system's to judge.

#include <windows.h>

#include <algorithm>
#include <array>
#include <limits>
#include <utility>
#include <vector>

#include "platform/xml/uVqCodePages_p.h"

namespace velmore {
namespace detail {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

struct TVqAlias {
  const char* Name;
  std::int32_t CodePage;
};
// The names that are registered for these, and those that are met.
constexpr TVqAlias kAliases[] = {
    {"utf-8", kVqCodePageUtf8},
    {"utf8", kVqCodePageUtf8},
    {"unicode-1-1-utf-8", kVqCodePageUtf8},
    {"cp65001", kVqCodePageUtf8},
    {"windows-65001", kVqCodePageUtf8},
    {"utf-16", kVqCodePageUtf16LE},
    {"utf16", kVqCodePageUtf16LE},
    {"unicode", kVqCodePageUtf16LE},
    {"csunicode", kVqCodePageUtf16LE},
    {"iso-10646-ucs-2", kVqCodePageUtf16LE},
    {"ucs-2", kVqCodePageUtf16LE},
    {"utf-16le", kVqCodePageUtf16LE},
    {"utf16le", kVqCodePageUtf16LE},
    {"x-utf-16le", kVqCodePageUtf16LE},
    {"utf-16be", kVqCodePageUtf16BE},
    {"utf16be", kVqCodePageUtf16BE},
    {"x-utf-16be", kVqCodePageUtf16BE},
    {"unicodebigunmarked", kVqCodePageUtf16BE},
    {"windows-1252", kVqCodePage1252},
    {"cp1252", kVqCodePage1252},
    {"ibm-5348", kVqCodePage1252},
    {"iso-8859-1", kVqCodePageLatin1},
    {"iso8859-1", kVqCodePageLatin1},
    {"iso8859_1", kVqCodePageLatin1},
    {"iso_8859-1", kVqCodePageLatin1},
    {"iso_8859-1:1987", kVqCodePageLatin1},
    {"iso-ir-100", kVqCodePageLatin1},
    {"csisolatin1", kVqCodePageLatin1},
    {"latin1", kVqCodePageLatin1},
    {"l1", kVqCodePageLatin1},
    {"ibm819", kVqCodePageLatin1},
    {"ibm-819", kVqCodePageLatin1},
    {"cp819", kVqCodePageLatin1},
    {"819", kVqCodePageLatin1},
    {"8859_1", kVqCodePageLatin1},
    {"us-ascii", kVqCodePageAscii},
    {"ascii", kVqCodePageAscii},
    {"ascii7", kVqCodePageAscii},
    {"ansi_x3.4-1968", kVqCodePageAscii},
    {"ansi_x3.4-1986", kVqCodePageAscii},
    {"iso_646.irv:1991", kVqCodePageAscii},
    {"iso_646.irv:1983", kVqCodePageAscii},
    {"iso646-us", kVqCodePageAscii},
    {"iso-ir-6", kVqCodePageAscii},
    {"us", kVqCodePageAscii},
    {"csascii", kVqCodePageAscii},
    {"cp367", kVqCodePageAscii},
    {"ibm367", kVqCodePageAscii},
    {"646", kVqCodePageAscii},
};

/// A name as names are compared: without regard to case, hyphens, underscores and blanks.
std::string Plain(std::string_view name) {
  std::string plain;
  for (const char c : name) {
    if (c == '-' || c == '_' || c == ' ') continue;
    plain += c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  }
  return plain;
}

/// The characters of a code page that has one byte for each.
struct TVqTable {
  std::array<char16_t, 256> Character{};
  std::vector<std::pair<char32_t, char>> Byte;  // sorted

  explicit TVqTable(UINT page) {
    for (unsigned byte = 0; byte < 256; ++byte) {
      const char from = static_cast<char>(byte);
      wchar_t to = 0;
      // For a byte that is no ASCII Windows forgets the uppermost bit instead of failing.
      const bool none = page == static_cast<UINT>(kVqCodePageAscii) && byte >= 0x80;
      if (!none && MultiByteToWideChar(page, MB_ERR_INVALID_CHARS, &from, 1, &to, 1) == 1) {
        Character[byte] = static_cast<char16_t>(to);
        Byte.emplace_back(Character[byte], from);
      } else {
        Character[byte] = static_cast<char16_t>(kReplacement);
      }
    }
    std::sort(Byte.begin(), Byte.end());
  }

  /// Null where the code page lacks the character.
  const char* Find(char32_t character) const {
    const auto found = std::lower_bound(Byte.begin(), Byte.end(), std::pair(character, char{}),
                                        [](const auto& a, const auto& b) { return a.first < b.first; });
    return found != Byte.end() && found->first == character ? &found->second : nullptr;
  }
};

const TVqTable& TableOf(std::int32_t codePage) {
  return OnceForPage(codePage, [](std::int32_t page) { return TVqTable(static_cast<UINT>(page)); });
}

constexpr bool IsLead(char32_t unit) {
  return (unit & 0xFC00) == 0xD800;
}
constexpr bool IsTrail(char32_t unit) {
  return (unit & 0xFC00) == 0xDC00;
}

/// The character at a position, which moves behind it; what is no character is U+FFFD.
char32_t NextOf(std::u16string_view text, std::size_t& at) {
  const char32_t unit = text[at++];
  if (IsLead(unit) && at < text.size() && IsTrail(text[at]))
    return 0x10000 + ((unit - 0xD800) << 10) + (text[at++] - 0xDC00u);
  return IsLead(unit) || IsTrail(unit) ? kReplacement : unit;
}

void AppendReference(std::string& out, char32_t character) {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  out += "&#x";
  int shift = 28;
  while (shift > 0 && (character >> shift) == 0) shift -= 4;
  for (; shift >= 0; shift -= 4) out += kDigits[(character >> shift) & 0xF];
  out += ';';
}

/// As the other decoders: what stands before the bytes that are no text is there all the same.
bool DecodeUtf16(std::string& out, std::string_view bytes, bool bigEndian, bool strict) {
  std::u16string text, sound;
  text.reserve(bytes.size() / 2);
  for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
    const auto first = static_cast<unsigned char>(bytes[i]), second = static_cast<unsigned char>(bytes[i + 1]);
    text += static_cast<char16_t>(bigEndian ? first << 8 | second : second << 8 | first);
  }
  const bool cut = bytes.size() % 2 != 0;
  if (cut && !text.empty() && IsLead(text.back())) text.pop_back();  // cut within a character, which is one misfit
  bool whole = true;
  for (std::size_t at = 0; at < text.size() && (whole || !strict);) {
    const std::size_t start = at;
    whole = NextOf(text, at) != kReplacement || text[start] == kReplacement;
    if (whole) {
      sound.append(text, start, at - start);
    } else if (!strict) {
      sound += static_cast<char16_t>(kReplacement);
    }
  }
  if (cut && !strict) sound += static_cast<char16_t>(kReplacement);
  out += VqToUtf8(sound);
  return !strict || (whole && !cut);
}

bool DecodeUtf8(std::string& out, std::string_view bytes, bool strict) {
  if (bytes.empty()) return true;
  if (bytes.size() > static_cast<std::size_t>(std::numeric_limits<int>::max()))
    throw EConvertError("The text is too long.");
  const int length = static_cast<int>(bytes.size());
  std::u16string text(bytes.size(), u'\0');
  const int units = MultiByteToWideChar(CP_UTF8, strict ? MB_ERR_INVALID_CHARS : 0, bytes.data(), length,
                                        reinterpret_cast<wchar_t*>(text.data()), length);
  if (units <= 0) {
    if (strict && GetLastError() == ERROR_NO_UNICODE_TRANSLATION) return false;
    throw EConvertError("Reading a code page: " + IntToStr(GetLastError()) + ".");
  }
  text.resize(static_cast<std::size_t>(units));
  out += VqToUtf8(text);
  return true;
}

}  // namespace

bool HasCharacter(std::int32_t codePage, char32_t character) {
  return IsUnicode(codePage) || TableOf(codePage).Find(character);
}

std::int32_t CodePageOfEncoding(std::string_view name) {
  const std::string wanted = Plain(name);
  for (const TVqAlias& alias : kAliases) {
    if (wanted == Plain(alias.Name)) return alias.CodePage;
  }
  return 0;
}

void EncodeUnits(std::string& out, std::u16string_view text, std::int32_t codePage, TVqMisfit misfit) {
  if (IsUnicode(codePage)) {
    const bool bigEndian = codePage == kVqCodePageUtf16BE;
    out.reserve(out.size() + text.size() * 2);
    for (const char16_t unit : text) {
      const char high = static_cast<char>(unit >> 8), low = static_cast<char>(unit & 0xFF);
      out += bigEndian ? high : low;
      out += bigEndian ? low : high;
    }
    return;
  }
  const TVqTable& table = TableOf(codePage);
  for (std::size_t at = 0; at < text.size();) {
    const char32_t character = NextOf(text, at);
    if (const char* byte = table.Find(character)) {
      out += *byte;
    } else if (misfit == TVqMisfit::mReference) {
      AppendReference(out, character);
    } else {
      out += '?';
    }
  }
}

bool DecodeText(std::string& out, std::string_view bytes, std::int32_t codePage, bool strict) {
  CheckCodePage(codePage);
  if (codePage == kVqCodePageUtf8) return DecodeUtf8(out, bytes, strict);
  if (IsUnicode(codePage)) return DecodeUtf16(out, bytes, codePage == kVqCodePageUtf16BE, strict);
  const TVqTable& table = TableOf(codePage);
  std::u16string text;
  bool sound = true;
  text.reserve(bytes.size());
  for (const char c : bytes) {
    const char16_t character = table.Character[static_cast<unsigned char>(c)];
    sound = sound && character != kReplacement;
    if (strict && !sound) break;
    text += character;
  }
  out += VqToUtf8(text);
  return sound || !strict;
}

}  // namespace detail
}  // namespace velmore
