#pragma once

/// What a row of ews/tables/MemberRows*.inc becomes in a class's source: the accessor of the record's member, behind
/// its version guard, and the row of the member table. What it becomes in the class itself (VQ_DECLARE_...) stands in
/// uVqEWSItem.h.

#include <concepts>
#include <type_traits>

#include "ews/model/uVqEWSItemInterfaces.h"
#include "ews/values/uVqEWSMembers.h"
#include "platform/xml/uVqXMLUtils.h"

#pragma GCC visibility push(hidden)

namespace velmore::detail::members {

/// In a row's columns of versions: every server knows the property.
constexpr TServerVersion Any = Exchange2007;
/// In a row's last column: the property is linked to no definition.
constexpr VqEWSField Unlinked;

/// The type of a published property, by its C++ type and that one's name.
template <typename T>
constexpr TVqTypeInfo TypeOf(std::string_view AName) {
  if (std::same_as<T, string>) return VqStringType;
  if (std::same_as<T, bool>) return VqBooleanType;
  if (std::same_as<T, std::int32_t>) return VqInt32Type;
  if (std::same_as<T, std::int64_t>) return VqInt64Type;
  if (std::same_as<T, double>) return VqExtendedType;
  if (std::same_as<T, TDateTime>) return VqDateTimeType;
  if (std::same_as<T, TBytes>) return VqBytesType;
  if (std::same_as<T, TVqEwsTextBody>) return {tkRecord, AName};
  return {std::is_enum_v<T> ? tkEnumeration : tkClass, AName};
}

/// A record's value as the property gives it, and the other way round: bytes stand in the record as base-64 text.
template <typename T>
T FromRecord(const auto& AValue) {
  if constexpr (std::same_as<T, TBytes>) {
    return VqXMLToBytes(AValue);
  } else {
    return AValue;
  }
}
template <typename T>
auto ToRecord(const T& AValue) {
  if constexpr (std::same_as<T, TBytes>) {
    return VqBytesToXML(AValue);
  } else {
    return AValue;
  }
}

}  // namespace velmore::detail::members

#pragma GCC visibility pop

// The accessors of class `owner`, whose current record `record` gives, and `record`ToRead and `record`ToWrite for one
// member.
#define VQ_GUARD(name, needs) \
  if constexpr (needs != Any) NeedsVersion(needs, #name)
#define VQ_FORWARD_Read(owner, record, name, type, member, needs, field) \
  type owner::Get##name() {                                              \
    VQ_GUARD(name, needs);                                               \
    return FromRecord<type>(record##ToRead(#member).Get##member());      \
  }
#define VQ_FORWARD_Write(owner, record, name, type, member, needs, needsToSet, field)                                \
  VQ_FORWARD_Read(owner, record, name, type, member, needs, field) void owner::Set##name(TVqSetterOf<type> AValue) { \
    VQ_GUARD(name, needsToSet);                                                                                      \
    record##ToWrite(#member).Set##member(ToRecord<type>(AValue));                                                    \
  }
#define VQ_FORWARD_Child(owner, record, name, type, member, needs, field) \
  type& owner::Get##name() {                                              \
    VQ_GUARD(name, needs);                                                \
    return record().Get##member();                                        \
  }
#define VQ_FORWARD_Array(owner, record, name, type, member, needs, field) \
  TVqXMLSchemaElementArray<type>& owner::Get##name() {                    \
    VQ_GUARD(name, needs);                                                \
    return record().Get##member();                                        \
  }
#define VQ_FORWARD_Own(owner, record, name, type, field)

// The rows of a member table.
#define VQ_ROW_Own(name, type, field) {#name, TypeOf<type>(#type), VqEWSField(field)},
#define VQ_ROW_Read(name, type, member, needs, field) VQ_ROW_Own(name, type, field)
#define VQ_ROW_Write(name, type, member, needs, needsToSet, field) VQ_ROW_Own(name, type, field)
#define VQ_ROW_Child(name, type, member, needs, field) VQ_ROW_Own(name, type, field)
#define VQ_ROW_Array(name, type, member, needs, field) {#name, {tkArray, #type}, VqEWSField(field)},
