#pragma once

/// Filters as expressions, over the restriction objects of uVqEWSRestrictions.h.
///
///     using namespace std::chrono;
///     auto items = VqItemsOf(*inbox, FLD_ITEM_SUBJECT);
///     VqFilter(*items, VqField(FLD_ITEM_DATETIMERECEIVED) >= sys_days(2026y / 1 / 1) &&
///                          (VqContains(FLD_ITEM_SUBJECT, typed) || VqField(FLD_ITEM_IMPORTANCE) ==
///                          TImportanceChoices::icHigh));
///
/// Values are values: text is escaped whatever it contains, a number is written in decimal, an enumerator by its wire
/// text, a point in time in UTC. A value that does not fit its field raises a plain exception with the field's name
/// when the expression is composed, and what no field can hold does not compile. Nothing here talks to the server.

#include <chrono>
#include <concepts>
#include <memory>
#include <vector>

#include "ews/model/uVqEWSFolderInterfaces.h"
#include "ews/schema/uVqEWSProps.h"
#include "platform/common/uVqSerializer.h"

namespace velmore {

namespace detail {
struct TFilterNode;
}

/// A condition on items. A value: copies share what never changes, any thread may read them. Independent of tables: one
/// filter serves as many as you like. The definitions of its fields must outlive it; the library's rows do.
class TVqEWSFilter {
 public:
  /// No condition: every item.
  TVqEWSFilter() noexcept = default;
  /// Whether there is no condition.
  bool IsEmpty() const noexcept { return !FNode; }
  /// The condition as restriction objects of a table, which must be kept; empty for no condition.
  TVqRef<IVqEWSRestriction> MakeFor(IVqEWSTableBase& ATable) const;

  /// Both hold; either holds; it does not hold. An empty filter adds nothing to And, and makes Or hold everywhere; Not
  /// of an empty filter raises a plain exception, as no request can ask for nothing.
  friend TVqEWSFilter operator&&(const TVqEWSFilter& A, const TVqEWSFilter& B);
  friend TVqEWSFilter operator||(const TVqEWSFilter& A, const TVqEWSFilter& B);
  friend TVqEWSFilter operator!(const TVqEWSFilter& A);

 private:
  friend struct detail::TFilterNode;
  explicit TVqEWSFilter(std::shared_ptr<const detail::TFilterNode> ANode) noexcept : FNode(std::move(ANode)) {}

  std::shared_ptr<const detail::TFilterNode> FNode;
};

/// What a field is compared with: its text on the wire and what kind of value it was. Made from integers, floating
/// point, bool, enumerations with wire texts, text and points in time; anything else does not compile.
struct TVqEWSFilterValue {
  string Text;       ///< as it goes out, before it is escaped
  TVqTypeInfo Type;  ///< what it was made from

  /// Whole numbers of any width. Characters are not numbers here.
  template <std::integral T>
  requires(!std::same_as<T, bool> && !std::same_as<T, char> && !std::same_as<T, char8_t> &&
           !std::same_as<T, char16_t> && !std::same_as<T, char32_t> && !std::same_as<T, wchar_t>)
      TVqEWSFilterValue(T AValue)
      : Text(string(std::to_string(AValue))), Type{tkInteger, "std::int64_t"} {}
  /// True or false.
  template <std::same_as<bool> T>
  TVqEWSFilterValue(T AValue) : Text(AValue ? "true" : "false"), Type{tkBoolean, "bool"} {}
  /// Floating point.
  template <std::floating_point T>
  TVqEWSFilterValue(T AValue) : Text(DoubleText(static_cast<double>(AValue))), Type{tkFloat, "double"} {}
  /// An enumerator by its wire text.
  template <VqTextEnum T>
  TVqEWSFilterValue(T AValue) : Text(VqEnumToText(AValue)), Type{tkEnumeration, VqEnumInfoOf(AValue).Name} {}
  /// Text as it is.
  template <typename T>
  requires(std::convertible_to<T, string> && !std::is_arithmetic_v<T>) TVqEWSFilterValue(const T& AValue)
      : Text(AValue), Type{tkString, "string"} {}
  /// A point in time of the library, in UTC.
  template <std::same_as<TDateTime> T>
  TVqEWSFilterValue(T AValue) : Text(TimeText(AValue)), Type{tkDateTime, "TDateTime"} {}
  /// Midnight, UTC, of a day that is in the calendar; raises a plain exception for 30 February.
  TVqEWSFilterValue(std::chrono::year_month_day AValue) : TVqEWSFilterValue(DayOf(AValue)) {}
  /// A point in time of the system's clock; what is finer than a millisecond is cut off.
  template <typename TDuration>
  TVqEWSFilterValue(std::chrono::sys_time<TDuration> AValue)
      : TVqEWSFilterValue(TimeOf(std::chrono::floor<std::chrono::milliseconds>(AValue))) {}

 private:
  static string DoubleText(double AValue);
  static string TimeText(TDateTime AValue);
  static std::chrono::sys_days DayOf(std::chrono::year_month_day AValue);
  static TDateTime TimeOf(std::chrono::sys_time<std::chrono::milliseconds> AValue);
};

/// A field in an expression. Keeps the address of the definition.
class TVqEWSFilterField {
 public:
  /// Of this field, whose definition must outlive it and the filters made with it.
  explicit TVqEWSFilterField(const TVqEWSFieldDef& AFieldDef) noexcept : FFieldDef(&AFieldDef) {}

  /// The field against a value, or against another field.
  friend TVqEWSFilter operator==(const TVqEWSFilterField& AField, const TVqEWSFilterValue& AValue) {
    return AField.Compare(opIsEqualTo, AValue);
  }
  friend TVqEWSFilter operator!=(const TVqEWSFilterField& AField, const TVqEWSFilterValue& AValue) {
    return AField.Compare(opIsNotEqualTo, AValue);
  }
  friend TVqEWSFilter operator<(const TVqEWSFilterField& AField, const TVqEWSFilterValue& AValue) {
    return AField.Compare(opIsLessThan, AValue);
  }
  friend TVqEWSFilter operator<=(const TVqEWSFilterField& AField, const TVqEWSFilterValue& AValue) {
    return AField.Compare(opIsLessThanOrEqualTo, AValue);
  }
  friend TVqEWSFilter operator>(const TVqEWSFilterField& AField, const TVqEWSFilterValue& AValue) {
    return AField.Compare(opIsGreaterThan, AValue);
  }
  friend TVqEWSFilter operator>=(const TVqEWSFilterField& AField, const TVqEWSFilterValue& AValue) {
    return AField.Compare(opIsGreaterThanOrEqualTo, AValue);
  }
  friend TVqEWSFilter operator==(const TVqEWSFilterField& AField, const TVqEWSFilterField& AOther) {
    return AField.Compare(opIsEqualTo, AOther);
  }
  friend TVqEWSFilter operator!=(const TVqEWSFilterField& AField, const TVqEWSFilterField& AOther) {
    return AField.Compare(opIsNotEqualTo, AOther);
  }
  friend TVqEWSFilter operator<(const TVqEWSFilterField& AField, const TVqEWSFilterField& AOther) {
    return AField.Compare(opIsLessThan, AOther);
  }
  friend TVqEWSFilter operator<=(const TVqEWSFilterField& AField, const TVqEWSFilterField& AOther) {
    return AField.Compare(opIsLessThanOrEqualTo, AOther);
  }
  friend TVqEWSFilter operator>(const TVqEWSFilterField& AField, const TVqEWSFilterField& AOther) {
    return AField.Compare(opIsGreaterThan, AOther);
  }
  friend TVqEWSFilter operator>=(const TVqEWSFilterField& AField, const TVqEWSFilterField& AOther) {
    return AField.Compare(opIsGreaterThanOrEqualTo, AOther);
  }

 private:
  TVqEWSFilter Compare(TVqEWSRestrictionOperator AOperator, const TVqEWSFilterValue& AValue) const;
  TVqEWSFilter Compare(TVqEWSRestrictionOperator AOperator, const TVqEWSFilterField& AOther) const;

  const TVqEWSFieldDef* FFieldDef;
};

/// The field of an expression.
inline TVqEWSFilterField VqField(const TVqEWSFieldDef& AFieldDef) noexcept {
  return TVqEWSFilterField(AFieldDef);
}

/// The field is there.
TVqEWSFilter VqExists(const TVqEWSFieldDef& AFieldDef);
/// The field contains the text, wherever it stands in it and in whatever case unless told otherwise. Raises a plain
/// exception for a field that is not text.
TVqEWSFilter VqContains(const TVqEWSFieldDef& AFieldDef, const string& AText, TVqEWSContainmentMode AMode = cmSubstring,
                        TVqEWSContainmentComparison AComparison = ccIgnoreCase);
/// The field begins with the text, in whatever case.
inline TVqEWSFilter VqStartsWith(const TVqEWSFieldDef& AFieldDef, const string& AText) {
  return VqContains(AFieldDef, AText, cmPrefixed);
}
/// None of the mask's bits is set in the field, which holds a whole number.
TVqEWSFilter VqHasNoBitOf(const TVqEWSFieldDef& AFieldDef, std::uint32_t AMask);

/// Filters a table from its next request on; an empty filter lets every row through.
void VqFilter(IVqEWSTableBase& ATable, const TVqEWSFilter& AFilter);

}  // namespace velmore
