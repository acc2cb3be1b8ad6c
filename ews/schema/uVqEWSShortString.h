#pragma once

/// The text of definition rows: at most 255 bytes of UTF-8 that live as long as the program.
///
///     constexpr TVqShortString key = "PR_SUBJECT";          // a literal costs nothing
///     TVqShortString name = EWSShortName(edit->GetText());  // a text of run time is kept in a pool

#include <concepts>
#include <cstdint>
#include <string_view>

#include "platform/common/uVqTypes.h"

namespace velmore {

/// A text of at most 255 bytes.
///
/// Owns nothing: a literal stands in the program, a text of run time in a pool of the module that is never emptied, one
/// entry for each different text. So rows are plain constants, copies cost two words and no row can dangle. Meant for
/// names of definitions, not for data. May be used from several threads. Raises nothing; a literal that is too long
/// does not compile, a longer text of run time is cut.
class TVqShortString {
 public:
  constexpr TVqShortString() noexcept = default;
  /// From a literal; all its bytes count, an embedded NUL too.
  template <std::size_t N>
  consteval TVqShortString(const char (&AText)[N]) : FText(N > 1 ? AText : nullptr), FLength(N - 1) {
    static_assert(N <= 256, "a short text has at most 255 bytes");
  }
  /// From text of run time, kept for good. Text longer than 255 bytes is cut, never inside a character.
  TVqShortString(std::string_view AText);
  TVqShortString(const std::string& AText) : TVqShortString(std::string_view(AText)) {}
  TVqShortString(const string& AText);

  /// A text whose bytes the caller keeps alive: for look-ups, not for rows.
  static constexpr TVqShortString View(std::string_view AText) noexcept {
    TVqShortString text;
    text.FText = AText.data();
    text.FLength = static_cast<std::uint8_t>(Cut(AText));
    return text;
  }

  /// The text as UTF-8; it lives as long as the program.
  constexpr std::string_view view() const noexcept { return {FText, FLength}; }
  constexpr operator std::string_view() const noexcept { return view(); }
  /// True for the empty text.
  constexpr bool empty() const noexcept { return FLength == 0; }
  /// Number of bytes.
  constexpr std::size_t Length() const noexcept { return FLength; }
  /// The text in 16-bit units.
  string ToString() const { return string(view()); }

  /// Byte by byte, with a short text, a literal or a view.
  template <std::convertible_to<std::string_view> T>
  friend constexpr bool operator==(TVqShortString a, const T& b) noexcept {
    return a.view() == std::string_view(b);
  }

 private:
  static constexpr std::size_t Cut(std::string_view AText) noexcept {
    if (AText.size() <= 255) return AText.size();
    std::size_t length = 255;
    while (length > 0 && (static_cast<unsigned char>(AText[length]) & 0xC0) == 0x80) --length;
    return length;
  }

  const char* FText = nullptr;
  std::uint8_t FLength = 0;
};

/// Text to short text: UTF-8, cut at 255 bytes.
TVqShortString EWSShortName(const string& AText);
/// The same under its other name.
TVqShortString EWSShortNameEx(const string& AText);
/// Short text to text.
string EWSShortNameToStr(TVqShortString AText);

}  // namespace velmore
