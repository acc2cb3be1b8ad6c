#pragma once

/// The types of the schema: its enumerations and records.
///
///     TEwsMessage message(element);                          // a view over <t:Message>
///     message.SetSubject("Hello");
///     message.GetBody().SetBodyType(btText);
///     for (TEwsEmailAddressType& to : message.GetToRecipients().GetMailbox()) std::cout << to.GetEmailAddress();
///
/// The lists are tables: ews/tables/uVqEWSEnumerations.inc, uVqEWSFieldURIs.inc and uVqEWSRecords.inc, one row for each
/// value or member, in the order of the schema; this header makes the declarations from them. What holds for every
/// record (what it owns, what a copy costs, which thread may use it, what it raises) stands at the head of
/// uVqXMLSchema.h.
///
/// A member `t:Subject` gives `GetSubject` and `SetSubject`; `t:Start` gives `GetStart_` and `SetStart_`, as do To,
/// Create, String, Property, Type, And, Or, Message and End. By the kind of member:
/// - A value: the getter gives the converted text of the node, or the empty value; the setter makes the node at its
///   place if missing. Days are without a time zone, points in time are UTC, base-64 is given as text.
/// - A record: the getter gives a reference that the parent owns, and makes the node if missing; test with `FindNode`.
///   There is no setter; `SetValue<T>(index, source)` copies one record onto another.
/// - An array: the getter gives a `TVqXMLSchemaElementArray` that the parent owns, and makes nothing.
/// - A choice: `GetRecurrenceType` and the like say which alternative is there; to choose, write the member.

#include "platform/xml/uVqXMLSchema.h"

namespace velmore {

// ---- Enumerations
// A value's name is the enumeration's prefix and its wire text: `fsNotFlagged` is "NotFlagged". TServerVersion alone
// has no prefix; its order is that of comparison. VqEnumToText and VqTextToEnum convert.

#define VQ_ENUM(type) enum type : std::int32_t {
#define VQ_TEXT(prefix, text) prefix##text,
#define VQ_ENUM_END(type) \
  }                       \
  ;                       \
  const TVqEnumInfo& VqEnumInfoOf(type) noexcept;
#include "ews/tables/uVqEWSEnumerations.inc"

/// Every URI of a field; what the wire writes with ":" is written with "_" here.
#define VQ_ENUM(type) enum type : std::int32_t {
#define VQ_TEXT(prefix, text) prefix##text,
#define VQ_ENUM_END(type) \
  }                       \
  ;                       \
  const TVqEnumInfo& VqEnumInfoOf(type) noexcept;
#include "ews/tables/uVqEWSFieldURIs.inc"

/// On the wire the words of a set stand between blanks: "Monday Tuesday".
using TDaysOfWeek = TVqSet<TDayOfWeek>;
using TMailTipSet = TVqSet<TMailTip>;

// ---- Records

#define VQ_RECORD(name, base) class name;
#include "ews/tables/uVqEWSRecords.inc"

#define VQ_RECORD(name, base)                                                 \
  class name : public base {                                                  \
   public:                                                                    \
    using base_type = base;                                                   \
    using base_type::GetValue;                                                \
    using base_type::SetValue;                                                \
    explicit name(const IVqDOMElement& AElement) noexcept : base(AElement) {} \
    static const TVqXMLSchemaClass& SchemaClass() noexcept;                   \
    const TVqXMLSchemaClass& GetSchemaClass() const noexcept override;
#define VQ_VALUE(name, wire, type, rule) \
  type Get##name() const;                \
  void Set##name(const type& AValue);
#define VQ_ATTRIBUTE(name, wire, type, rule) \
  type Get##name() const;                    \
  void Set##name(const type& AValue);
#define VQ_DATE(name, wire, rule) \
  TDateTime Get##name() const;    \
  void Set##name(TDateTime AValue);
#define VQ_TIME(name, wire, rule) \
  TDateTime Get##name() const;    \
  void Set##name(TDateTime AValue);
#define VQ_BASE64(name, wire, rule) \
  string Get##name() const;         \
  void Set##name(const string& AValue);
#define VQ_CHILD(name, wire, type, rule) type& Get##name() const;
#define VQ_ARRAY(name, wire, type, rule) TVqXMLSchemaElementArray<type>& Get##name() const;
#define VQ_ENTRIES(name, wire, type, key, rule)                               \
  /** The first entry with this key; made, with its key, if there is none. */ \
  type& Get##name(key AKey);                                                  \
  /** By position, as the array does. */                                      \
  type& GetItem(std::int32_t AIndex) const;                                   \
  std::int32_t Count() const;                                                 \
  /** All entries, to add to or delete from. */                               \
  TVqXMLSchemaElementArray<type>& GetEntries() const;
#define VQ_PART(name, wire, type, rule)                                          \
  type Get##name() const;                                                        \
  /** Writes what differs, and into the contact around the complete name: the */ \
  /** server takes the parts of a name there alone. */                           \
  void Set##name(const type& AValue);
#define VQ_READONLY(name, wire, type, rule) type Get##name() const;
#define VQ_SELECTOR(name, type, group) type Get##name() const;
#define VQ_END(name) \
  }                  \
  ;
#include "ews/tables/uVqEWSRecords.inc"

// ---- Records by name

/// The class with this name ("TEwsMessage"), to make records of it; empty when there is none.
const TVqXMLSchemaClass* EwsFindRecordClass(const TVqUtf8View& AClassName);
/// The class of an item element ("t:Message" or "Message": TEwsMessage), of a folder element and of an attachment
/// element; empty for other names.
const TVqXMLSchemaClass* EwsFindItemClass(const TVqUtf8View& AElementName);
const TVqXMLSchemaClass* EwsFindFolderClass(const TVqUtf8View& AElementName);
const TVqXMLSchemaClass* EwsFindAttachmentClass(const TVqUtf8View& AElementName);

/// All record classes, in the order of the schema, and all enumerations, for whoever expands them: tools and tests.
std::int32_t EwsRecordClassCount() noexcept;
const TVqXMLSchemaClass& EwsRecordClass(std::int32_t AIndex);

}  // namespace velmore
