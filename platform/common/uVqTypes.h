#pragma once

/// The value types that everything else speaks: text, bytes, points in time and GUIDs.
///
///     velmore::string subject = "Grüße";          // from UTF-8
///     subject += u"!";                             // from UTF-16
///     std::cout << subject << '\n';                // prints UTF-8
///     std::string bytes = subject.utf8();          // or std::string(subject)
///     velmore::TDateTime due = std::chrono::sys_days(2026y / 11 / 30);

#include <chrono>
#include <compare>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <iosfwd>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace velmore {

/// A std::filesystem::path, told by its shape: that header is large, and most programs do without it.
template <typename T>
concept VqFilePath = requires(const T& path) {
  T::preferred_separator;
  typename T::string_type;
  { path.u8string() } -> std::same_as<std::u8string>;
};

/// Text of 16-bit code units, as the wire protocol's own object model counts it, for programs that speak UTF-8.
///
/// Owns its units; a copy costs what a std::u16string costs. A value is used by one thread at a time. Conversions never
/// raise: what is not well-formed UTF-8 (or a lone surrogate on the way back) becomes U+FFFD. A null pointer reads as
/// the empty text.
class TVqString {
 public:
  /// Counts 16-bit units.
  using size_type = std::size_t;
  /// "To the end", and "nowhere" as an answer.
  static constexpr size_type npos = std::u16string::npos;

  TVqString() noexcept = default;
  /// From UTF-16, whose units are taken as they are, or from UTF-8.
  TVqString(std::u16string text) noexcept : FText(std::move(text)) {}
  TVqString(std::u16string_view text) : FText(text) {}
  TVqString(const char16_t* text) : FText(text ? std::u16string_view(text) : std::u16string_view()) {}
  TVqString(std::string_view utf8) { AppendUtf8(utf8); }
  TVqString(const std::string& utf8) { AppendUtf8(utf8); }
  TVqString(const char* utf8) { AppendUtf8(utf8 ? std::string_view(utf8) : std::string_view()); }
  TVqString(const char8_t* utf8);
  TVqString(std::u8string_view utf8);
  TVqString(const std::u8string& utf8) : TVqString(std::u8string_view(utf8)) {}
  /// The name of a file, from a std::filesystem::path. Raises EConvertError when the name is not well-formed UTF-8,
  /// which file systems allow: its text would be the name of another file. The way back is
  /// `std::filesystem::path(text.utf16())`, which is right on every system.
  template <VqFilePath T>
  TVqString(const T& path) : TVqString(OfFileName(path.u8string())) {}

  /// Number of 16-bit units, not of characters.
  size_type Length() const noexcept { return FText.size(); }
  size_type size() const noexcept { return FText.size(); }
  /// True for a text without units.
  bool empty() const noexcept { return FText.empty(); }
  /// Takes out all units.
  void clear() noexcept { FText.clear(); }

  /// The units. Valid until the text changes.
  std::u16string_view view() const noexcept { return FText; }
  const std::u16string& utf16() const noexcept { return FText; }
  /// The text as UTF-8.
  std::string utf8() const;
  /// The same, for who asks for it by name: `std::string(text)`.
  explicit operator std::string() const { return utf8(); }
  explicit operator std::u8string() const;

  /// The unit at a position. Raises EListError when there is none.
  char16_t operator[](size_type index) const {
    if (index >= FText.size()) RaiseNoUnit(index);
    return FText[index];
  }
  /// Over the units. Valid until the text changes.
  auto begin() const noexcept { return FText.begin(); }
  auto end() const noexcept { return FText.end(); }

  /// Part of the text; a start past the end gives an empty text.
  TVqString Copy(size_type start, size_type count = npos) const;
  /// Position of the first occurrence at or after `from`, or npos.
  size_type Pos(const TVqString& what, size_type from = 0) const noexcept { return FText.find(what.FText, from); }
  /// True when the other text is in this one, at its start or at its end; case counts. An empty text always is.
  bool Contains(const TVqString& what) const noexcept { return Pos(what) != npos; }
  bool StartsWith(const TVqString& what) const noexcept { return view().starts_with(what.view()); }
  bool EndsWith(const TVqString& what) const noexcept { return view().ends_with(what.view()); }
  /// Every occurrence of `what` (must not be empty) replaced by `by`.
  TVqString Replace(const TVqString& what, const TVqString& by) const;
  /// Without white space and control characters (everything up to U+0020) at both ends.
  TVqString Trim() const;

  /// Appends UTF-8. ASCII takes a fast path.
  TVqString& AppendUtf8(std::string_view utf8);
  /// Appends a text, or one unit.
  TVqString& operator+=(const TVqString& other) {
    FText += other.FText;
    return *this;
  }
  TVqString& operator+=(char16_t unit) {
    FText += unit;
    return *this;
  }
  /// Both texts, one after the other.
  friend TVqString operator+(TVqString left, const TVqString& right) {
    left += right;
    return left;
  }

  /// Equal unit by unit; narrow texts are compared as UTF-8. Case and forms of composition count. A null pointer equals
  /// the empty text.
  friend bool operator==(const TVqString& a, const TVqString& b) noexcept { return a.FText == b.FText; }
  friend bool operator==(const TVqString& a, std::u16string_view b) noexcept { return a.FText == b; }
  friend bool operator==(const TVqString& a, const std::u16string& b) noexcept { return a.FText == b; }
  friend bool operator==(const TVqString& a, const char16_t* b) noexcept { return b ? a.FText == b : a.empty(); }
  friend bool operator==(const TVqString& a, std::string_view utf8) noexcept { return a.EqualsUtf8(utf8); }
  friend bool operator==(const TVqString& a, const std::string& utf8) noexcept { return a.EqualsUtf8(utf8); }
  friend bool operator==(const TVqString& a, const char* utf8) noexcept {
    return utf8 ? a.EqualsUtf8(utf8) : a.empty();
  }
  template <VqFilePath T>
  friend bool operator==(const TVqString& a, const T& path) {
    return a == TVqString(path.u8string());
  }
  /// Order of the code units.
  friend std::strong_ordering operator<=>(const TVqString& a, const TVqString& b) noexcept {
    return a.FText.compare(b.FText) <=> 0;
  }

  /// Writes UTF-8.
  friend std::ostream& operator<<(std::ostream& out, const TVqString& text);

 private:
  static TVqString OfFileName(const std::u8string& name);
  bool EqualsUtf8(std::string_view utf8) const noexcept;
  [[noreturn]] void RaiseNoUnit(size_type index) const;

  std::u16string FText;
};

/// The library's word for text.
using string = TVqString;
/// The same by a name that stays one when a program says `using namespace velmore` and `using namespace std`.
using TText = TVqString;

/// Bytes without a meaning of their own: contents of attachments, binary property values.
using TBytes = std::vector<std::uint8_t>;

/// True when the bytes are well-formed UTF-8 (no overlong forms, no surrogates, nothing above U+10FFFF).
bool VqIsUtf8(std::string_view bytes) noexcept;
/// UTF-16 to UTF-8, lone surrogates become U+FFFD.
std::string VqToUtf8(std::u16string_view text);
/// UTF-8 to UTF-16, malformed bytes become U+FFFD.
std::u16string VqToUtf16(std::string_view utf8);

/// A point in time: whole days since 30 December 1899, with the fraction of a day after the decimal point. UTC unless
/// an operation says otherwise. A double in all but name, so that days can be added and compared. A date that an object
/// does not have reads as 0; VqIfSet (uVqDateTimeUtils.h) makes an empty optional of it, and VqToSysTime is the way to
/// std::chrono.
class TDateTime {
 public:
  /// 0: 30 December 1899, or no date.
  constexpr TDateTime() noexcept = default;
  /// From a number of days.
  template <std::floating_point T>
  constexpr TDateTime(T days) noexcept : FDays(static_cast<double>(days)) {}
  /// The same from a whole number, which must be asked for: seconds of other clocks are whole numbers, too, and a flag
  /// is no date at all.
  template <std::integral T>
  requires(!std::same_as<T, bool>) constexpr explicit TDateTime(T days) noexcept : FDays(static_cast<double>(days)) {}
  /// From a point on the system's clock, whatever it counts in; finer than a millisecond is rounded. Raises
  /// EConvertError outside the years 1 to 9999.
  template <typename TDuration>
  TDateTime(std::chrono::sys_time<TDuration> point) : FDays(DaysOf(Round(point.time_since_epoch()))) {}
  /// The number of days.
  constexpr operator double() const noexcept { return FDays; }

  /// Writes ISO 8601, "2026-11-30T08:00:00Z"; a value outside the years 1 to 9999 as its number of days.
  friend std::ostream& operator<<(std::ostream& out, TDateTime value);

 private:
  /// Milliseconds since 1970, and whether they were rounded upwards.
  struct TRounded {
    std::int64_t Milliseconds;
    bool Up;
  };
  template <typename TRep, typename TPeriod>
  static TRounded Round(std::chrono::duration<TRep, TPeriod> since) {
    using std::chrono::milliseconds;
    // Behind this check, nothing overflows.
    CheckDays(std::chrono::duration<double, std::chrono::days::period>(since).count());
    // Cut towards zero first: the whole before the earliest point of a fine clock is none of that clock's.
    auto whole = std::chrono::duration_cast<milliseconds>(since);
    auto rest = since - whole;
    if (rest < rest.zero()) {
      whole -= milliseconds(1);
      rest += milliseconds(1);
    }
    const bool up = 2 * rest >= milliseconds(1);
    return {whole.count() + up, up};
  }
  static void CheckDays(double since);
  static double DaysOf(TRounded since);

  double FDays = 0;
};

/// A GUID in its four textual parts. The constructor from text is for constants:
/// `TGUID("00020328-0000-0000-C000-000000000046")`.
struct TGUID {
  /// The parts in their textual order; the last one holds the fourth and fifth groups.
  std::uint32_t D1 = 0;
  std::uint16_t D2 = 0;
  std::uint16_t D3 = 0;
  std::uint8_t D4[8] = {};

  constexpr TGUID() = default;
  /// Text with or without braces, in either case. For constants only: text that is no GUID does not compile. Text that
  /// comes in at run time goes through `VqTryParseGuid`.
  consteval explicit TGUID(std::string_view text) {
    if (!Parse(text)) throw "not a GUID";
  }

  /// All parts are equal.
  friend constexpr bool operator==(const TGUID&, const TGUID&) = default;

  /// Fills this GUID from text; false, and nothing changed, when it is no GUID.
  constexpr bool Parse(std::string_view text) {
    if (text.size() == 38 && text.front() == '{' && text.back() == '}') text = text.substr(1, 36);
    if (text.size() != 36) return false;
    std::uint8_t digits[32] = {};
    std::size_t count = 0;
    for (std::size_t i = 0; i < 36; ++i) {
      const char c = text[i];
      if (i == 8 || i == 13 || i == 18 || i == 23) {
        if (c != '-') return false;
        continue;
      }
      const int digit = c >= '0' && c <= '9'   ? c - '0'
                        : c >= 'a' && c <= 'f' ? c - 'a' + 10
                        : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                               : -1;
      if (digit < 0) return false;
      digits[count++] = static_cast<std::uint8_t>(digit);
    }
    const auto number = [&](std::size_t from, std::size_t length) {
      std::uint32_t value = 0;
      for (std::size_t i = from; i < from + length; ++i) value = value << 4 | digits[i];
      return value;
    };
    D1 = number(0, 8);
    D2 = static_cast<std::uint16_t>(number(8, 4));
    D3 = static_cast<std::uint16_t>(number(12, 4));
    for (std::size_t i = 0; i < 8; ++i) D4[i] = static_cast<std::uint8_t>(number(16 + 2 * i, 2));
    return true;
  }
};

/// The standard text of a GUID: braces, upper case.
string VqGuidToString(const TGUID& guid);
/// Fills `guid` from text, with or without braces; false when it is no GUID.
bool VqTryParseGuid(const string& text, TGUID& guid);

}  // namespace velmore

/// Hash of the units, for unordered containers.
template <>
struct std::hash<velmore::TVqString> {
  /// Equal texts have equal numbers.
  std::size_t operator()(const velmore::TVqString& text) const noexcept {
    return std::hash<std::u16string_view>()(text.view());
  }
};

/// Hash of the point in time.
template <>
struct std::hash<velmore::TDateTime> {
  /// Equal points have equal numbers.
  std::size_t operator()(velmore::TDateTime value) const noexcept { return std::hash<double>()(value); }
};

/// Hash of all parts.
template <>
struct std::hash<velmore::TGUID> {
  /// Equal GUIDs have equal numbers.
  std::size_t operator()(const velmore::TGUID& guid) const noexcept;
};
