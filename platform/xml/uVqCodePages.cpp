#include <algorithm>
#include <cstdio>
#include <iterator>

#include "platform/xml/uVqCodePages_p.h"
#include "platform/xml/uVqStringStream.h"
#include "platform/xml/uVqXMLScan_p.h"

namespace velmore {
namespace detail {
namespace {

/// windows-1252 from 0x80 to 0x9F. The five bytes that it leaves free keep their value, as everybody reads them.
constexpr char16_t k1252[32] = {0x20AC, 0x81,   0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
                                0x2039, 0x0152, 0x8D,   0x017D, 0x8F,   0x90,   0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
                                0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x9D,   0x017E, 0x0178};

/// The byte of a character in a narrow code page, -1 when it has none.
int NarrowByte(std::int32_t codePage, char32_t c) noexcept {
  if (c < 0x80) return static_cast<int>(c);
  if (codePage == kVqCodePageLatin1) return c <= 0xFF ? static_cast<int>(c) : -1;
  if (codePage == kVqCodePage1252) {
    if (c >= 0xA0 && c <= 0xFF) return static_cast<int>(c);
    const auto* found = std::find(std::begin(k1252), std::end(k1252), c);
    if (found != std::end(k1252)) return static_cast<int>(0x80 + (found - k1252));
  }
  return -1;
}

void PutUnit(std::string& out, char32_t unit, bool big) {
  const char low = static_cast<char>(static_cast<unsigned char>(unit & 0xFF));
  const char high = static_cast<char>(static_cast<unsigned char>(unit >> 8 & 0xFF));
  out += big ? high : low;
  out += big ? low : high;
}

bool DecodeUtf16(std::string& out, std::string_view bytes, bool big, bool strict) {
  const auto unit = [&](std::size_t at) {
    const char32_t first = static_cast<unsigned char>(bytes[at]), second = static_cast<unsigned char>(bytes[at + 1]);
    return big ? first << 8 | second : second << 8 | first;
  };
  std::size_t i = 0;
  for (; i + 2 <= bytes.size(); i += 2) {
    char32_t c = unit(i);
    if (c >= 0xD800 && c <= 0xDFFF) {
      if (c < 0xDC00 && i + 4 <= bytes.size() && (unit(i + 2) & 0xFC00) == 0xDC00) {
        c = 0x10000 + ((c - 0xD800) << 10) + (unit(i + 2) - 0xDC00);
        i += 2;
      } else if (strict) {
        return false;
      } else {
        c = 0xFFFD;
      }
    }
    AppendUtf8(out, c);
  }
  if (i == bytes.size()) return true;
  if (!strict) AppendUtf8(out, 0xFFFD);
  return !strict;
}

}  // namespace

void CheckCodePage(std::int32_t codePage) {
  switch (codePage) {
    case kVqCodePageUtf8:
    case kVqCodePageUtf16LE:
    case kVqCodePageUtf16BE:
    case kVqCodePage1252:
    case kVqCodePageLatin1:
    case kVqCodePageAscii:
      return;
    default:
      throw EConvertError(Format("The code page %d is not supported.", {codePage}));
  }
}

bool HasCharacter(std::int32_t codePage, char32_t character) noexcept {
  return IsUnicode(codePage) || NarrowByte(codePage, character) >= 0;
}

std::string_view EncodingName(std::int32_t codePage) {
  switch (codePage) {
    case kVqCodePageUtf16LE:
    case kVqCodePageUtf16BE:
      return "utf-16";
    case kVqCodePage1252:
      return "windows-1252";
    case kVqCodePageLatin1:
      return "iso-8859-1";
    case kVqCodePageAscii:
      return "us-ascii";
    default:
      return "utf-8";
  }
}

std::int32_t CodePageOfEncoding(std::string_view name) noexcept {
  static constexpr struct {
    std::string_view Name;
    std::int32_t CodePage;
  } kNames[] = {
      {"utf-8", kVqCodePageUtf8},       {"utf8", kVqCodePageUtf8},        {"utf-16", kVqCodePageUtf16LE},
      {"utf-16le", kVqCodePageUtf16LE}, {"utf-16be", kVqCodePageUtf16BE}, {"iso-8859-1", kVqCodePageLatin1},
      {"iso8859-1", kVqCodePageLatin1}, {"latin1", kVqCodePageLatin1},    {"windows-1252", kVqCodePage1252},
      {"cp1252", kVqCodePage1252},      {"us-ascii", kVqCodePageAscii},   {"ascii", kVqCodePageAscii},
  };
  const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c; };
  for (const auto& known : kNames) {
    if (std::equal(name.begin(), name.end(), known.Name.begin(), known.Name.end(),
                   [&](char a, char b) { return lower(a) == b; })) {
      return known.CodePage;
    }
  }
  return 0;
}

void EncodeText(std::string& out, std::string_view utf8, std::int32_t codePage, TVqMisfit misfit) {
  CheckCodePage(codePage);
  if (codePage == kVqCodePageUtf8) {
    out.append(utf8);
    return;
  }
  const bool wide = IsUnicode(codePage), big = codePage == kVqCodePageUtf16BE;
  out.reserve(out.size() + utf8.size() * (wide ? 2 : 1));
  for (std::size_t i = 0; i < utf8.size();) {
    std::size_t length;
    const char32_t c = DecodeUtf8(utf8, i, length);
    i += length > 0 ? length : 1;
    if (wide) {
      if (c >= 0x10000) {
        PutUnit(out, 0xD800 + ((c - 0x10000) >> 10), big);
        PutUnit(out, 0xDC00 + ((c - 0x10000) & 0x3FF), big);
      } else {
        PutUnit(out, c, big);
      }
    } else if (const int byte = NarrowByte(codePage, c); byte >= 0) {
      out += static_cast<char>(static_cast<unsigned char>(byte));
    } else if (misfit == TVqMisfit::mReference) {
      char reference[16];
      std::snprintf(reference, sizeof reference, "&#x%X;", static_cast<unsigned>(c));
      out += reference;
    } else {
      out += '?';
    }
  }
}

bool DecodeText(std::string& out, std::string_view bytes, std::int32_t codePage, bool strict) {
  CheckCodePage(codePage);
  if (codePage == kVqCodePageUtf16LE || codePage == kVqCodePageUtf16BE) {
    return DecodeUtf16(out, bytes, codePage == kVqCodePageUtf16BE, strict);
  }
  out.reserve(out.size() + bytes.size());
  for (std::size_t i = 0; i < bytes.size();) {
    const auto byte = static_cast<unsigned char>(bytes[i]);
    std::size_t length = 1;
    char32_t c = byte;
    if (codePage == kVqCodePageUtf8) {
      c = DecodeUtf8(bytes, i, length);
    } else if (codePage == kVqCodePageAscii && byte >= 0x80) {
      length = 0;
    } else if (codePage == kVqCodePage1252 && byte >= 0x80 && byte <= 0x9F) {
      c = k1252[byte - 0x80];
    }
    if (length == 0) {
      if (strict) return false;
      c = 0xFFFD;
      length = 1;
    }
    AppendUtf8(out, c);
    i += length;
  }
  return true;
}

}  // namespace detail

std::string VqEncodeText(std::string_view AUtf8, std::int32_t ACodePage) {
  std::string out;
  detail::EncodeText(out, AUtf8, ACodePage, detail::TVqMisfit::mQuestionMark);
  return out;
}

std::string VqDecodeText(std::string_view ABytes, std::int32_t ACodePage) {
  std::string out;
  detail::DecodeText(out, ABytes, ACodePage, false);
  return out;
}

}  // namespace velmore
