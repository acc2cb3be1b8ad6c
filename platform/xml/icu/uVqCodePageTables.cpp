// Code pages by ICU: their tables, the names that documents give them, and what becomes of characters that they lack.

#include "platform/xml/uVqCodePages_p.h"

#include <unicode/ucnv.h>
#include <unicode/ucnv_err.h>
#include <unicode/uset.h>

#include <memory>

namespace velmore {
namespace detail {
namespace {

struct TVqPage {
  std::int32_t CodePage;
  const char* Icu;  // where the byte order is fixed, or the name has several meanings
};
constexpr TVqPage kPages[] = {
    {kVqCodePageUtf8, "UTF-8"},        {kVqCodePageUtf16LE, "UTF-16LE"},  {kVqCodePageUtf16BE, "UTF-16BE"},
    {kVqCodePage1252, "windows-1252"}, {kVqCodePageLatin1, "ISO-8859-1"}, {kVqCodePageAscii, "US-ASCII"},
};

const char* IcuName(std::int32_t codePage) {
  for (const TVqPage& page : kPages) {
    if (page.CodePage == codePage) return page.Icu;
  }
  return nullptr;
}

void Check(UErrorCode error, const char* what) {
  if (U_FAILURE(error)) throw EConvertError(Format("%s: %s.", {what, u_errorName(error)}));
}

using TVqConverter = std::unique_ptr<UConverter, decltype(&ucnv_close)>;

TVqConverter Open(std::int32_t codePage) {
  UErrorCode error = U_ZERO_ERROR;
  TVqConverter converter(ucnv_open(IcuName(codePage), &error), ucnv_close);
  Check(error, IcuName(codePage));
  return converter;
}

/// The characters of a code page that has not all of them; made once each.
const USet* CharactersOf(std::int32_t codePage) {
  return OnceForPage(codePage, [](std::int32_t page) {
    UErrorCode error = U_ZERO_ERROR;
    USet* characters = uset_openEmpty();
    ucnv_getUnicodeSet(Open(page).get(), characters, UCNV_ROUNDTRIP_SET, &error);
    Check(error, IcuName(page));
    uset_freeze(characters);
    return characters;
  });
}

/// ICU's own name of an encoding, whatever the alias; empty for an unknown one.
std::string_view CanonicalName(const char* name) noexcept {
  UErrorCode error = U_ZERO_ERROR;
  const char* canonical = ucnv_getAlias(name, 0, &error);
  return U_SUCCESS(error) && canonical ? canonical : "";
}

}  // namespace

bool HasCharacter(std::int32_t codePage, char32_t character) {
  return IsUnicode(codePage) || uset_contains(CharactersOf(codePage), static_cast<UChar32>(character));
}

std::int32_t CodePageOfEncoding(std::string_view name) {
  const std::string_view wanted = CanonicalName(std::string(name).c_str());
  if (wanted.empty()) return 0;
  if (wanted == CanonicalName("UTF-16")) return kVqCodePageUtf16LE;
  for (const TVqPage& page : kPages) {
    if (wanted == CanonicalName(page.Icu)) return page.CodePage;
  }
  return 0;
}

void EncodeUnits(std::string& out, std::u16string_view text, std::int32_t codePage, TVqMisfit misfit) {
  const TVqConverter converter = Open(codePage);
  UErrorCode error = U_ZERO_ERROR;
  if (misfit == TVqMisfit::mReference) {
    ucnv_setFromUCallBack(converter.get(), UCNV_FROM_U_CALLBACK_ESCAPE, UCNV_ESCAPE_XML_HEX, nullptr, nullptr, &error);
  } else if (!IsUnicode(codePage)) {
    ucnv_setSubstChars(converter.get(), "?", 1, &error);
  }
  Check(error, "Writing in a code page");
  const char16_t *from = text.data(), *const end = from + text.size();
  char piece[4096];
  do {
    error = U_ZERO_ERROR;
    char* to = piece;
    ucnv_fromUnicode(converter.get(), &to, piece + sizeof piece, &from, end, nullptr, true, &error);
    out.append(piece, to);
  } while (error == U_BUFFER_OVERFLOW_ERROR);
  Check(error, "Writing in a code page");
}

bool DecodeText(std::string& out, std::string_view bytes, std::int32_t codePage, bool strict) {
  CheckCodePage(codePage);
  const TVqConverter converter = Open(codePage);
  UErrorCode error = U_ZERO_ERROR;
  if (strict) ucnv_setToUCallBack(converter.get(), UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &error);
  Check(error, "Reading a code page");
  out.reserve(out.size() + bytes.size());
  const char *from = bytes.data(), *const end = from + bytes.size();
  char16_t piece[4096];
  std::u16string half;  // a character may be cut by the end of a piece
  do {
    error = U_ZERO_ERROR;
    char16_t* to = piece;
    ucnv_toUnicode(converter.get(), &to, piece + std::size(piece), &from, end, nullptr, true, &error);
    half.append(piece, to);
    const bool cut = error == U_BUFFER_OVERFLOW_ERROR && !half.empty() && (half.back() & 0xFC00) == 0xD800;
    const char16_t lead = cut ? half.back() : char16_t{0};
    if (cut) half.pop_back();
    out += VqToUtf8(half);
    half.assign(cut ? 1 : 0, lead);
  } while (error == U_BUFFER_OVERFLOW_ERROR);
  if (strict && U_FAILURE(error)) return false;
  Check(error, "Reading a code page");
  return true;
}

}  // namespace detail
}  // namespace velmore
