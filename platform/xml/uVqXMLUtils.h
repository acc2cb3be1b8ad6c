#pragma once

/// Conversions between values and the texts that XML schema gives them.
///
///     VqXMLToInt("0x3A45");                                  // 14917
///     VqDateTimeToXML(VqXMLToDateTime("2024-02-29T12:00:00+01:00"));   // "2024-02-29T11:00:00Z"
///
/// Free functions without state, for any number of threads. White space around a value is ignored when reading. Text
/// that is no such value raises EConvertError with the text in its message; empty text does, too.

#include <concepts>
#include <cstdint>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>

#include "platform/common/uVqSerializer.h"
#include "platform/common/uVqSysUtils.h"
#include "platform/xml/uVqXMLDOM.h"

namespace velmore {

/// The alternatives of TVqVariant.
using TVqVariantBase = std::variant<std::monostate, bool, std::int32_t, std::int64_t, double, TDateTime, string>;

/// A value whose kind is known only at run time. An empty one holds std::monostate. A variant of the standard library
/// in all but its constructors, which keep a value what it is: every whole number is one of the two kinds of numbers,
/// and an enumerator is its wire text. A character, and an enumeration without texts, do not compile.
class TVqVariant : public TVqVariantBase {
 public:
  /// Empty.
  TVqVariant() noexcept = default;
  TVqVariant(std::monostate) noexcept {}
  /// True or false.
  template <std::same_as<bool> T>
  TVqVariant(T AValue) noexcept : TVqVariantBase(AValue) {}
  /// A whole number, of 32 bits where its type has no more. Raises EConvertError beyond 63 bits.
  template <std::integral T>
  requires(!std::same_as<T, bool> && !std::same_as<T, char> && !std::same_as<T, wchar_t> && !std::same_as<T, char8_t> &&
           !std::same_as<T, char16_t> && !std::same_as<T, char32_t>) TVqVariant(T AValue)
      : TVqVariantBase(Whole(AValue)) {}
  /// A number with a fraction.
  template <std::floating_point T>
  TVqVariant(T AValue) noexcept : TVqVariantBase(static_cast<double>(AValue)) {}
  /// A point in time.
  template <std::same_as<TDateTime> T>
  TVqVariant(T AValue) noexcept : TVqVariantBase(AValue) {}
  /// The wire text of an enumerator.
  template <VqTextEnum T>
  TVqVariant(T AValue) : TVqVariantBase(VqEnumToText(AValue)) {}
  /// Text.
  template <typename T>
  requires(!std::derived_from<T, TVqVariantBase> && !std::is_arithmetic_v<T> && std::convertible_to<const T&, string>)
      TVqVariant(const T& AValue)
      : TVqVariantBase(string(AValue)) {}

 private:
  static auto Whole(auto AValue) {
    using T = decltype(AValue);
    if constexpr (sizeof(T) < sizeof(std::int32_t) || (std::is_signed_v<T> && sizeof(T) == sizeof(std::int32_t))) {
      return static_cast<std::int32_t>(AValue);
    } else {
      if (!std::in_range<std::int64_t>(AValue)) RaiseTooLarge();
      return static_cast<std::int64_t>(AValue);
    }
  }
  [[noreturn]] static void RaiseTooLarge();
};

/// How points in time are written: as UTC with "Z" (0, what the wire uses throughout), or as they are without any sign
/// of a time zone (1).
using TVqTimeZoneFormat = std::int32_t;
inline constexpr TVqTimeZoneFormat kVqTimeZoneUtc = 0;
inline constexpr TVqTimeZoneFormat kVqTimeZoneNone = 1;

/// Decimal text. `VqXMLToInt` also reads a sign and the hexadecimal forms "0x3A45" and "0X3a45", the latter two up to
/// 0xFFFFFFFF (read as the same 32 bits). A number beyond 32 bits raises.
string VqIntToXML(std::int32_t AValue);
std::int32_t VqXMLToInt(const TVqUtf8View& AText);
string VqInt64ToXML(std::int64_t AValue);
std::int64_t VqXMLToInt64(const TVqUtf8View& AText);
/// For optional texts: `ADefault` instead of a failure.
std::int32_t VqXMLToIntDef(const TVqUtf8View& AText, std::int32_t ADefault) noexcept;

/// The shortest text that reads back as the same value; "INF", "-INF" and "NaN" as the schema has them. The separator
/// is a point, whatever the locale.
string VqDoubleToXML(double AValue);
double VqXMLToDouble(const TVqUtf8View& AText);

/// "true" and "false"; reading takes these in any case, and "1" and "0".
string VqBoolToXML(bool AValue);
bool VqXMLToBool(const TVqUtf8View& AText);

/// Date and time, "2024-02-29T11:00:00Z". Written to the nearest millisecond, and milliseconds only if they are not
/// zero. Reading takes "Z", an offset (converted to UTC) or none (taken as it stands), fractions of any length, years
/// from 0001 to 9999, "24:00:00" as the next midnight, and a date alone. The last half millisecond of 9999, where
/// servers put what never ends, is rounded down in both directions. Values outside these years raise EConvertError when
/// written.
string VqDateTimeToXML(TDateTime AValue, TVqTimeZoneFormat AFormat = kVqTimeZoneUtc);
TDateTime VqXMLToDateTime(const TVqUtf8View& AText, TVqTimeZoneFormat AFormat = kVqTimeZoneUtc);
/// The date, "2024-02-29". Reading takes a time zone behind it and ignores it: a date is a day, wherever one is; a
/// date-and-time gives its day.
string VqDateToXML(TDateTime AValue);
TDateTime VqXMLToDate(const TVqUtf8View& AText);
/// The time of day, "11:00:00", with "Z" in the first format. Reading gives a fraction of a day (0 up to, not
/// including, 1; an offset wraps round).
string VqTimeToXML(TDateTime AValue, TVqTimeZoneFormat AFormat = kVqTimeZoneUtc);
TDateTime VqXMLToTime(const TVqUtf8View& AText, TVqTimeZoneFormat AFormat = kVqTimeZoneUtc);
/// A span of time in days, as "P1DT2H3M4.5S". Months and years, whose length is not fixed, are read as 30 and 365
/// days; they are never written.
string VqDurationToXML(double ADays);
double VqXMLToDuration(const TVqUtf8View& AText);

/// The text of whatever value it is; empty for an empty one.
string VqVariantToXML(const TVqVariant& AValue);

/// A text as markup, so that it reads back as it is between tags and between quotes of either kind: "&", "<", ">",
/// quotes, tabs and line ends become references. Raises EVqXMLError for a character that XML cannot carry.
string VqEscapeXML(const TVqUtf8View& AText);

/// Base64 without line breaks; reading ignores white space and wants correct padding.
string VqBytesToXML(const TBytes& AValue);
TBytes VqXMLToBytes(const TVqUtf8View& AText);
/// GUIDs in lower case without braces; reading takes either case, with and without braces.
string VqGuidToXML(const TGUID& AValue);
TGUID VqXMLToGuid(const TVqUtf8View& AText);

}  // namespace velmore
