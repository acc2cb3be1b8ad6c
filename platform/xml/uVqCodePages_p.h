#pragma once

/// Text to bytes and back, with a say in what happens to characters that do not fit.

#include <string>
#include <string_view>

#include "platform/xml/uVqCodePages.h"
#include "platform/xml/uVqXMLDOM.h"

#pragma GCC visibility push(hidden)

namespace velmore::detail {

/// Raises EConvertError unless the code page is one of `kVqCodePage...` (but the default).
void CheckCodePage(std::int32_t codePage);
/// True for a code page that has every character.
constexpr bool IsUnicode(std::int32_t codePage) noexcept {
  return codePage == kVqCodePageUtf8 || codePage == kVqCodePageUtf16LE || codePage == kVqCodePageUtf16BE;
}
/// Does a code page have a character?
bool HasCharacter(std::int32_t codePage, char32_t character);
/// What `make` gives for a code page that lacks characters; made once for each of them.
template <typename TMake>
const auto& OnceForPage(std::int32_t codePage, TMake make) {
  static const auto windows = make(kVqCodePage1252);
  static const auto latin1 = make(kVqCodePageLatin1);
  static const auto ascii = make(kVqCodePageAscii);
  return codePage == kVqCodePage1252 ? windows : codePage == kVqCodePageLatin1 ? latin1 : ascii;
}
/// The name for an XML declaration.
std::string_view EncodingName(std::int32_t codePage);
/// The code page of a name in a declaration, in any case and under any alias that ICU knows; 0 for an unknown one.
/// "utf-16" gives little endian.
std::int32_t CodePageOfEncoding(std::string_view name);

enum class TVqMisfit {
  mQuestionMark,  ///< "?" when writing, U+FFFD when reading
  mReference      ///< a character reference when writing
};
/// Appends UTF-8 as bytes of a code page.
void EncodeText(std::string& out, std::string_view utf8, std::int32_t codePage, TVqMisfit misfit);
/// The same of UTF-16 in one of the code pages other than UTF-8: the system's part of it.
void EncodeUnits(std::string& out, std::u16string_view text, std::int32_t codePage, TVqMisfit misfit);
/// Appends bytes of a code page as UTF-8. Bytes that are no text there become U+FFFD; false, at once, if `strict`.
bool DecodeText(std::string& out, std::string_view bytes, std::int32_t codePage, bool strict);

}  // namespace velmore::detail

#pragma GCC visibility pop
