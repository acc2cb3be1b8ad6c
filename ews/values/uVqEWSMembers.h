#pragma once

/// What takes the place of run-time type information for the object classes: for each class a table of its published
/// properties, with their types and the definition that each is linked to. Lazy loading and the property layer look
/// members up by name or by definition.
///
///     // in the .cpp of the class, one line for each property
///     constinit const TVqEWSMemberInfo members[] = {
///         {"Subject", VqStringType, VqEWSField(ufuitem_Subject)},
///         {"Body", {tkClass, "TEwsBody"}, VqEWSField(ufuitem_Body)},
///         {"IsReminderSet", VqBooleanType, VqEWSField("PR_ISREMINDERSET")},
///         {"AllowedResponseActions", {tkClass, "TEwsNonEmptyArrayOfResponseObjects"}},      // linked to nothing
///     };
///     constinit const TVqEWSMemberTable table{"TVqEWSEMail", &TVqEWSItem::Members(), members};
///     const TVqEWSMemberTable& TVqEWSEMail::MemberTable() const { return table; }

#include <atomic>
#include <span>

#include "ews/schema/uVqEWSProps.h"
#include "platform/common/uVqSerializer.h"

namespace velmore {

/// Links a member of an object class to a definition.
///
/// Owns nothing. A copy costs a few words. Constant but for the definition, which is looked up once and kept; any
/// number of threads may ask.
class VqEWSField {
 public:
  /// No link.
  constexpr VqEWSField() noexcept = default;
  /// To a definition by its key. The kind is `fdtExtendedField`, whatever the definition is.
  constexpr explicit VqEWSField(TVqShortString APropDefName) noexcept
      : FPropDefName(APropDefName), FURIType(fdtExtendedField), FAssigned(true) {}
  /// To a field by its URI.
  constexpr explicit VqEWSField(TUnindexedFieldURI AURI) noexcept
      : FURIType(fdtField), FUnindexedFieldURI(AURI), FAssigned(true) {}
  /// To an entry of a dictionary. `GetPropDef` raises for it, as no field is named after a dictionary alone.
  constexpr VqEWSField(TDictionaryURI AURI, TVqShortString AFieldIndex) noexcept
      : FURIType(fdtIndexedField), FDictionaryURI(AURI), FFieldIndex(AFieldIndex), FAssigned(true) {}
  /// The definition that was found already is looked up again.
  constexpr VqEWSField(const VqEWSField& AOther) noexcept
      : FPropDefName(AOther.FPropDefName),
        FURIType(AOther.FURIType),
        FUnindexedFieldURI(AOther.FUnindexedFieldURI),
        FDictionaryURI(AOther.FDictionaryURI),
        FFieldIndex(AOther.FFieldIndex),
        FAssigned(AOther.FAssigned) {}
  VqEWSField& operator=(const VqEWSField&) = delete;

  /// False for a member that is linked to nothing.
  constexpr explicit operator bool() const noexcept { return FAssigned; }
  /// What the link was made from; the parts that its kind does not have are at their defaults.
  constexpr TVqEWSFieldDefType GetURIType() const noexcept { return FURIType; }
  constexpr TVqShortString GetPropDefName() const noexcept { return FPropDefName; }
  constexpr TUnindexedFieldURI GetUnindexedFieldURI() const noexcept { return FUnindexedFieldURI; }
  constexpr TDictionaryURI GetDictionaryURI() const noexcept { return FDictionaryURI; }
  constexpr TVqShortString GetFieldIndex() const noexcept { return FFieldIndex; }

  /// The definition; none for no link. Raises what the look-up raises when there is none under that name or URI.
  PVqEWSPropDef GetPropDef() const;

 private:
  TVqShortString FPropDefName;
  TVqEWSFieldDefType FURIType = fdtField;
  TUnindexedFieldURI FUnindexedFieldURI{};
  TDictionaryURI FDictionaryURI{};
  TVqShortString FFieldIndex;
  bool FAssigned = false;
  mutable std::atomic<PVqEWSPropDef> FPropDef{nullptr};
};

/// Types of members and values that rows and tables name.
inline constexpr TVqTypeInfo VqStringType{tkString, "string"};
inline constexpr TVqTypeInfo VqBooleanType{tkBoolean, "bool"};
inline constexpr TVqTypeInfo VqInt32Type{tkInteger, "std::int32_t"};
inline constexpr TVqTypeInfo VqInt64Type{tkInteger, "std::int64_t"};
inline constexpr TVqTypeInfo VqDoubleType{tkFloat, "double"};
inline constexpr TVqTypeInfo VqExtendedType{tkFloat, "Extended"};
inline constexpr TVqTypeInfo VqDateTimeType{tkDateTime, "TDateTime"};
inline constexpr TVqTypeInfo VqGuidType{tkGUID, "TGUID"};
/// Bytes; `SetAsString` stores the digits of "0x..." as they are.
inline constexpr TVqTypeInfo VqByteArrayType{tkArray, "TArray<System.Byte>"};
/// The same bytes under another name; `SetAsString` decodes "0x...".
inline constexpr TVqTypeInfo VqBytesType{tkArray, "TBytes"};

/// One published property of a class.
struct TVqEWSMemberInfo {
  /// The property's name without "Get", its type, and the definition that it is linked to.
  std::string_view Name;
  TVqTypeInfo Type;
  VqEWSField Field{};

  /// Whether it is linked to a definition with this key, ignoring case. Raises what `VqEWSField::GetPropDef` raises.
  bool IsLinkedTo(std::string_view APropDefName) const;
};

/// The published properties of a class, chained to those of its base.
struct TVqEWSMemberTable {
  /// The class, the table of its base (null for none), and its own properties. All of it lives as long as the program.
  std::string_view ClassName;
  const TVqEWSMemberTable* Base = nullptr;
  std::span<const TVqEWSMemberInfo> Members{};

  /// By name, the class before its bases; none when absent.
  const TVqEWSMemberInfo* Find(std::string_view AName) const noexcept;
  /// The first member, the class before its bases, that is linked to a definition with this key (ignoring case); none
  /// when absent. Raises what `VqEWSField::GetPropDef` raises.
  const TVqEWSMemberInfo* FindLinked(std::string_view APropDefName) const;
};

/// The creator of a property list: an object that has published properties.
class IVqEWSFieldSource {
 public:
  /// The table of the object's own class.
  virtual const TVqEWSMemberTable& MemberTable() const = 0;

 protected:
  ~IVqEWSFieldSource() = default;
};

}  // namespace velmore
