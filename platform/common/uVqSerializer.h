#pragma once

/// Enumerations and sets as text, kinds of types at run time, and the formats of serialisation.
///
///     VqEnumToText(fsFlagged)                        // "Flagged"
///     VqTextToEnum<TFlagStatus>("Complete")          // fsComplete
///     VqSetToText(TDaysOfWeek{dowMonday, dowFriday}) // "[Monday,Friday]"
///
/// An enumeration takes part through one function beside its declaration, `VqEnumInfoOf`, found by its argument. The
/// texts are a table in read-only memory. All functions are free of state and may be called from any thread.

#include <concepts>
#include <string_view>
#include <type_traits>

#include "platform/common/uVqSet.h"
#include "platform/common/uVqSysUtils.h"

namespace velmore {

/// What `Serialize` and `Deserialize` write and read.
enum TVqDataSerializationFormatType : std::int32_t { dsfNone = 0, dsfXML = 1, dsfJSON = 2 };

/// What kind of type a value has at run time. The numbers of the first five and of the last three are relied upon.
enum TVqTypeKind : std::int32_t {
  tkUnknown = 0,
  tkInteger = 1,  ///< 32-bit and 64-bit integers
  tkFloat = 2,    ///< floating point
  tkString = 3,   ///< text, URIs, languages, durations and base-64 text among them
  tkBoolean = 4,
  tkDateTime = 5,  ///< points in time, dates and times of day
  tkEnumeration = 6,
  tkSet = 7,
  tkGUID = 8,
  tkArray = 26,
  tkRecord = 27,  ///< a plain value made of members
  tkClass = 28    ///< an object
};

/// A type at run time: its kind and its name in the words of the schema's rows ("string", "TFlagStatus", "TEwsBody").
/// For an array the name is that of its entries' type.
struct TVqTypeInfo {
  /// What kind of type it is.
  TVqTypeKind Kind = tkUnknown;
  /// The type's name in the schema's rows; refers to a table that lives as long as the program.
  std::string_view Name;

  /// True for a type whose values are written as one text.
  constexpr bool IsSimple() const noexcept { return Kind != tkUnknown && Kind < tkArray; }
  friend constexpr bool operator==(const TVqTypeInfo&, const TVqTypeInfo&) = default;
};

/// The texts of an enumeration, in the order of its values from 0.
struct TVqEnumInfo {
  /// The enumeration's name, "TFlagStatus".
  std::string_view Name;
  /// The wire texts, `Count` of them; a value is the position of its text. The table lives as long as the program.
  const std::string_view* Texts;
  std::int32_t Count;
};

/// An enumeration with texts. To give an enumeration its texts, declare beside it
/// `const TVqEnumInfo& VqEnumInfoOf(TColour);`
template <typename T>
concept VqTextEnum = std::is_enum_v<T> && requires(T value) {
  { VqEnumInfoOf(value) } -> std::same_as<const TVqEnumInfo&>;
};

/// Text of the value with this number; raises EConvertError when the enumeration has no such value.
std::string_view VqEnumTextOf(const TVqEnumInfo& info, std::int32_t value);
/// Number of the value with exactly this text, or -1.
std::int32_t VqEnumValueOf(const TVqEnumInfo& info, std::string_view text) noexcept;

/// The value's wire text. Raises EConvertError for a number that is no value.
template <VqTextEnum T>
string VqEnumToText(T value) {
  return VqEnumTextOf(VqEnumInfoOf(value), static_cast<std::int32_t>(value));
}
/// The value with this text; false, and nothing changed, when there is none.
template <VqTextEnum T>
bool VqTryTextToEnum(const string& text, T& value) {
  const std::int32_t found = VqEnumValueOf(VqEnumInfoOf(T{}), text.utf8());
  if (found >= 0) value = static_cast<T>(found);
  return found >= 0;
}
/// The value with this text. An unknown text gives the first value: a newer server may send what this table lacks, and
/// that must not end the reading of everything else.
template <VqTextEnum T>
T VqTextToEnum(const string& text) {
  T value{};
  VqTryTextToEnum(text, value);
  return value;
}

/// Bits of a set from its text: words separated by commas or blanks, with or without "[" and "]". Unknown words are
/// skipped.
std::uint64_t VqSetBitsOf(const TVqEnumInfo& info, std::string_view text) noexcept;
/// The words of a set, in the order of the values, between `open` and `close`.
std::string VqSetTextOf(const TVqEnumInfo& info, std::uint64_t bits, std::string_view open, char separator,
                        std::string_view close);

/// "[Monday,Friday]"; the empty set is "[]".
template <VqTextEnum T>
string VqSetToText(TVqSet<T> value) {
  return VqSetTextOf(VqEnumInfoOf(T{}), value.Bits(), "[", ',', "]");
}
/// The converse; also reads the wire's form "Monday Friday".
template <VqTextEnum T>
TVqSet<T> VqTextToSet(const string& text) {
  const std::uint64_t bits = VqSetBitsOf(VqEnumInfoOf(T{}), text.utf8());
  TVqSet<T> value;
  for (std::int32_t i = 0; i < 64; ++i) {
    if (bits >> i & 1) value.Include(static_cast<T>(i));
  }
  return value;
}

}  // namespace velmore
