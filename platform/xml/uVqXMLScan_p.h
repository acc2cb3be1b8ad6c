#pragma once

/// Well-formedness: a quick look that most documents pass, and the strict reading for those that do not.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/xml/uVqXMLDOM.h"

#pragma GCC visibility push(hidden)

namespace velmore::detail {

struct TVqScanKernel;

/// What a quick look at UTF-8 markup found out.
struct TVqScan {
  /// Nothing rare and nothing that the parser lets pass though it is wrong: no forbidden characters, valid UTF-8, only
  /// good references, no comments and the like, no "<" in an attribute, no attribute twice, nothing beyond the limits.
  /// What may be wrong with such a text is found by the parser, but for what stands before and behind the root.
  bool Clean = false;

  struct TDeclaration {
    std::size_t Element;  // the how-manieth element, from 1 in document order
    std::string Prefix;   // empty for the default namespace
    std::string URI;
  };
  std::vector<TDeclaration> Declarations;
  bool AllDeclarations = true;  // false when some are missing above
};
/// `text` begins with the root's tag. Without `kernel` the fastest one is used.
TVqScan QuickScan(std::string_view text, const TVqXMLLimits& limits, const TVqScanKernel* kernel = nullptr);

enum class TVqXMLRules {
  rReply,     ///< a document of the outside: forbidden characters become U+FFFD
  rDocument,  ///< a document to the letter
  rContent    ///< what may stand inside an element, to the letter
};

/// Reads markup strictly against the grammar of XML 1.0 (fifth edition) without document types, and against limits.
/// Raises EVqXMLError with the place. True when forbidden characters were found; `rewritten` is then the text with
/// U+FFFD in their places. `text` has neither byte order mark nor, unless `rDocument` and `rReply`, a declaration.
bool CheckMarkup(std::string_view text, TVqXMLRules rules, const TVqXMLLimits& limits, std::string& rewritten);

/// An XML declaration.
struct TVqXMLDeclaration {
  std::size_t End = 0;  // length, 0 for none
  std::string_view Encoding;
  std::size_t EncodingAt = 0;
};
/// Reads the declaration at the start of a text, if there is one. Raises EVqXMLError for a wrong one.
TVqXMLDeclaration ReadDeclaration(std::string_view text);

/// Ends of lines as XML reads them. The parser sees to it itself, but not in processing instructions.
bool NeedsLines(std::string_view text) noexcept;
std::string WithLines(std::string_view text);

/// Raises EVqXMLError at a byte of a text.
[[noreturn]] void FailAt(std::string_view text, std::size_t position, const string& message);

/// XML 1.0 Char, NameStartChar, NameChar.
constexpr bool IsXmlChar(char32_t c) noexcept {
  return c >= 0x20 ? c <= 0xD7FF || (c >= 0xE000 && c <= 0xFFFD) || (c >= 0x10000 && c <= 0x10FFFF)
                   : c == 0x9 || c == 0xA || c == 0xD;
}
bool IsNameStart(char32_t c) noexcept;
bool IsNameChar(char32_t c) noexcept;
/// One or more name characters, the first one a start.
bool IsName(std::string_view name) noexcept;
/// Reads one character of UTF-8; `length` is 0 where the bytes are none.
char32_t DecodeUtf8(std::string_view text, std::size_t at, std::size_t& length) noexcept;

/// Position of the first byte of a character that XML cannot carry or of bytes that are no UTF-8; npos if there is
/// none.
std::size_t FindForbidden(std::string_view text) noexcept;

constexpr bool IsXmlSpace(char c) noexcept {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

}  // namespace velmore::detail

#pragma GCC visibility pop
