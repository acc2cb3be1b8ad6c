// The accessors of the records: each row becomes its getter and setter.

#include "ews/schema/uVqEWSTypes_p.h"

namespace velmore {

#define VQ_INDEX(name) detail::rows::index::VQ_CLASS::i##name

namespace {

// An entry without a key of the wanted text is never the one: an unknown text would otherwise read as the first key.
template <typename TEntry, typename TKey>
TEntry& EntryOf(TVqXMLSchemaElementArray<TEntry>& entries, TKey key, bool& made) {
  constexpr bool hasKey = requires(TEntry & entry) {
    entry.GetKey();
  };
  const string text = VqEnumToText(key);
  for (TEntry& entry : entries) {
    const IVqDOMNode node = entry.FindNode(hasKey ? "Key" : "t:Type");
    if (node && node.GetText().Trim() == text) return entry;
  }
  TEntry& entry = entries.Add();
  made = true;
  if constexpr (hasKey) {
    entry.SetKey(key);
  } else {
    entry.SetType_(key);
  }
  return entry;
}

template <typename TEntry>
void CompleteEntry(TEntry&) {}

// Of the dictionaries only that of e-mail addresses gives a new entry more than its key.
void CompleteEntry(TEwsEmailAddressDictionaryEntry& entry) {
  entry.SetMailboxType(mtOneOff);
  entry.SetRoutingType("SMTP");
}

}  // namespace

#define VQ_RECORD(name, base)                                      \
  const TVqXMLSchemaClass& name::SchemaClass() noexcept {          \
    return detail::rows::name##Class;                              \
  }                                                                \
  const TVqXMLSchemaClass& name::GetSchemaClass() const noexcept { \
    return detail::rows::name##Class;                              \
  }
#define VQ_VALUE(name, wire, type, rule)         \
  type VQ_CLASS::Get##name() const {             \
    return GetValue<type>(VQ_INDEX(name));       \
  }                                              \
  void VQ_CLASS::Set##name(const type& AValue) { \
    SetValue<type>(VQ_INDEX(name), AValue);      \
  }
#define VQ_ATTRIBUTE(name, wire, type, rule)     \
  type VQ_CLASS::Get##name() const {             \
    return GetValue<type>(VQ_INDEX(name));       \
  }                                              \
  void VQ_CLASS::Set##name(const type& AValue) { \
    SetValue<type>(VQ_INDEX(name), AValue);      \
  }
#define VQ_DATE(name, wire, rule)              \
  TDateTime VQ_CLASS::Get##name() const {      \
    return GetDateValue(VQ_INDEX(name));       \
  }                                            \
  void VQ_CLASS::Set##name(TDateTime AValue) { \
    SetDateValue(VQ_INDEX(name), AValue);      \
  }
#define VQ_TIME(name, wire, rule)              \
  TDateTime VQ_CLASS::Get##name() const {      \
    return GetTimeValue(VQ_INDEX(name));       \
  }                                            \
  void VQ_CLASS::Set##name(TDateTime AValue) { \
    SetTimeValue(VQ_INDEX(name), AValue);      \
  }
#define VQ_BASE64(name, wire, rule)                \
  string VQ_CLASS::Get##name() const {             \
    return GetBase64binaryValue(VQ_INDEX(name));   \
  }                                                \
  void VQ_CLASS::Set##name(const string& AValue) { \
    SetBase64binaryValue(VQ_INDEX(name), AValue);  \
  }
#define VQ_CHILD(name, wire, type, rule)                                             \
  type& VQ_CLASS::Get##name() const {                                                \
    return static_cast<type&>(GetRecord(VQ_INDEX(name), detail::rows::type##Class)); \
  }
#define VQ_ARRAY(name, wire, type, rule)                        \
  TVqXMLSchemaElementArray<type>& VQ_CLASS::Get##name() const { \
    return GetArray<type>(VQ_INDEX(name));                      \
  }
#define VQ_ENTRIES(name, wire, type, key, rule)                  \
  TVqXMLSchemaElementArray<type>& VQ_CLASS::GetEntries() const { \
    return GetArray<type>(VQ_INDEX(name));                       \
  }                                                              \
  type& VQ_CLASS::Get##name(key AKey) {                          \
    bool made = false;                                           \
    type& entry = EntryOf(GetEntries(), AKey, made);             \
    if (made) CompleteEntry(entry);                              \
    return entry;                                                \
  }                                                              \
  type& VQ_CLASS::GetItem(std::int32_t AIndex) const {           \
    return GetEntries().GetItem(AIndex);                         \
  }                                                              \
  std::int32_t VQ_CLASS::Count() const {                         \
    return GetEntries().Count();                                 \
  }
#define VQ_PART(name, wire, type, rule)    \
  type VQ_CLASS::Get##name() const {       \
    return GetValue<type>(VQ_INDEX(name)); \
  }
#define VQ_READONLY(name, wire, type, rule) \
  type VQ_CLASS::Get##name() const {        \
    return GetValue<type>(VQ_INDEX(name));  \
  }
#define VQ_SELECTOR(name, type, group) \
  type VQ_CLASS::Get##name() const {   \
    return GetChoice<type>(group);     \
  }
#include "ews/tables/uVqEWSRecords.inc"

}  // namespace velmore
