#include "ews/schema/uVqEWSTypes.h"

#include <iterator>
#include <unordered_map>

#include "ews/schema/uVqEWSTypes_p.h"

// The tables behind the enumerations and records. Each inclusion of the rows makes one thing of them; the accessors
// are in uVqEWSTypeAccessors.cpp.

namespace velmore {

// ---- Texts of the enumerations

#define VQ_ENUM(type)                                \
  const TVqEnumInfo& VqEnumInfoOf(type) noexcept {   \
    static constexpr std::string_view kName = #type; \
    static constexpr std::string_view kTexts[] = {
#define VQ_TEXT(prefix, text) #text,
#define VQ_ENUM_END(type)                                                                          \
  }                                                                                                \
  ;                                                                                                \
  static constexpr TVqEnumInfo kInfo{kName, kTexts, static_cast<std::int32_t>(std::size(kTexts))}; \
  return kInfo;                                                                                    \
  }
#include "ews/tables/uVqEWSEnumerations.inc"

#define VQ_ENUM(type)                                \
  const TVqEnumInfo& VqEnumInfoOf(type) noexcept {   \
    static constexpr std::string_view kName = #type; \
    static constexpr std::string_view kTexts[] = {
#define VQ_TEXT(prefix, text) #text,
#define VQ_ENUM_END(type)                                                                          \
  }                                                                                                \
  ;                                                                                                \
  static constexpr TVqEnumInfo kInfo{kName, kTexts, static_cast<std::int32_t>(std::size(kTexts))}; \
  return kInfo;                                                                                    \
  }
#include "ews/tables/uVqEWSFieldURIs.inc"

// ---- Members of the records

namespace detail::rows {
namespace {

using enum TVqXMLSchemaRule;

constexpr TVqDOMNodeType kElement = TVqDOMNodeType::ntElement;
constexpr TVqDOMNodeType kAttribute = TVqDOMNodeType::ntAttribute;

template <typename T>
constexpr TVqTypeInfo TypeOf(std::string_view name) {
  if (std::is_same_v<T, bool>) return {tkBoolean, "boolean"};
  if (std::is_same_v<T, std::int32_t>) return {tkInteger, "int32"};
  if (std::is_same_v<T, std::int64_t>) return {tkInteger, "int64"};
  if (std::is_same_v<T, double>) return {tkFloat, "extended"};
  if (std::is_same_v<T, TDateTime>) return {tkDateTime, name};
  if (std::is_same_v<T, TGUID>) return {tkGUID, name};
  if (std::is_same_v<T, string>) return {tkString, name};
  if (std::is_enum_v<T>) return {tkEnumeration, name};
  return {kIsSet<T> ? tkSet : tkClass, name};
}

// The class of a record type, for the rows of arrays, whose entries may be values as well.
template <typename T>
constexpr const TVqXMLSchemaClass* kClassOf = nullptr;
template <>
constexpr const TVqXMLSchemaClass* kClassOf<TVqXMLSchemaElement> = &RootSchemaClass;
template <typename T>
constexpr const TVqXMLSchemaClass* kClassOf<TVqXMLSchemaSimpleContentElement<T>> = &SimpleContentSchemaClass;

#define VQ_RECORD(name, base) \
  template <>                 \
  constexpr const TVqXMLSchemaClass* kClassOf<name> = &name##Class;
#include "ews/tables/uVqEWSRecords.inc"

// One array of rows a class; the empty row at its end lets a class without members have one, too.
#define VQ_RECORD(name, base) constexpr TVqXMLSchemaMember name##Rows[] = {
#define VQ_VALUE(name, wire, type, rule) {wire, kElement, rule, TypeOf<type>(#type)},
#define VQ_DATE(name, wire, rule) {wire, kElement, rule, {tkDateTime, "date"}},
#define VQ_TIME(name, wire, rule) {wire, kElement, rule, {tkDateTime, "time"}},
#define VQ_BASE64(name, wire, rule) {wire, kElement, rule, {tkString, "base-64 text"}},
#define VQ_ATTRIBUTE(name, wire, type, rule) {wire, kAttribute, rule, TypeOf<type>(#type)},
#define VQ_CHILD(name, wire, type, rule) {wire, kElement, rule, {tkClass, #type}, &type##Class},
#define VQ_ARRAY(name, wire, type, rule) {wire, kElement, rule, {tkArray, TypeOf<type>(#type).Name}, kClassOf<type>},
#define VQ_ENTRIES(name, wire, type, key, rule) {wire, kElement, rule, {tkArray, #type}, kClassOf<type>},
#define VQ_PART(name, wire, type, rule) {wire, kElement, rule, TypeOf<type>(#type)},
#define VQ_READONLY(name, wire, type, rule) {wire, kElement, rule, TypeOf<type>(#type)},
#define VQ_END(name) \
  {}                 \
  }                  \
  ;
#include "ews/tables/uVqEWSRecords.inc"

}  // namespace

#define VQ_RECORD(name, base)                                                                          \
  constinit const TVqXMLSchemaClass name##Class(#name, kClassOf<base>, name##Rows, index::name::First, \
                                                index::name::End - index::name::First, &MakeRecord<name>);
#include "ews/tables/uVqEWSRecords.inc"

namespace {

constexpr const TVqXMLSchemaClass* kAllClasses[] = {
#define VQ_RECORD(name, base) &name##Class,
#include "ews/tables/uVqEWSRecords.inc"
};

// Of an element by the rows of the class that lists all elements of its family.
const TVqXMLSchemaClass* EntryClass(const TVqXMLSchemaClass& family, std::string_view elementName) {
  const std::int32_t index = family.FindMember(elementName);
  return index < 0 ? nullptr : family.GetMember(index).Class;
}

}  // namespace
}  // namespace detail::rows

using namespace detail::rows;

const TVqXMLSchemaClass* EwsFindRecordClass(const TVqUtf8View& AClassName) {
  static const auto* const kByName = [] {
    auto* map = new std::unordered_map<std::string_view, const TVqXMLSchemaClass*>;
    for (const TVqXMLSchemaClass* schema : kAllClasses) map->emplace(schema->GetName(), schema);
    return map;
  }();
  const auto found = kByName->find(AClassName.View());
  return found == kByName->end() ? nullptr : found->second;
}

const TVqXMLSchemaClass* EwsFindItemClass(const TVqUtf8View& AElementName) {
  return EntryClass(TEwsNonEmptyArrayOfAllItemsClass, AElementName.View());
}
const TVqXMLSchemaClass* EwsFindFolderClass(const TVqUtf8View& AElementName) {
  return EntryClass(TEwsArrayOfFoldersClass, AElementName.View());
}
const TVqXMLSchemaClass* EwsFindAttachmentClass(const TVqUtf8View& AElementName) {
  return EntryClass(TEwsNonEmptyArrayOfAttachmentsClass, AElementName.View());
}

std::int32_t EwsRecordClassCount() noexcept {
  return static_cast<std::int32_t>(std::size(kAllClasses));
}
const TVqXMLSchemaClass& EwsRecordClass(std::int32_t AIndex) {
  if (AIndex < 0 || AIndex >= EwsRecordClassCount()) throw EListError(Format("There is no record class %d.", {AIndex}));
  return *kAllClasses[AIndex];
}

}  // namespace velmore
