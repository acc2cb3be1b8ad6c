#include <algorithm>

#include "platform/xml/uVqXMLDOMAccess_p.h"
#include "platform/xml/uVqXMLSchema_p.h"

namespace velmore::detail {

// -- Look-up by name --------------------------------------------------------------------------------------------------

TVqXMLNameIndex::TVqXMLNameIndex(const TVqXMLSchemaClass& schema) {
  const std::int32_t count = schema.GetMemberCount();
  std::size_t size = 4;
  while (size < 2 * static_cast<std::size_t>(count)) size *= 2;
  FExact.resize(size);
  FLocal.resize(size);
  // Bases first, so that what a derived class declares again is what stays.
  for (std::int32_t i = 0; i < count; ++i) {
    const std::string_view name = schema.GetMember(i).Name;
    Put(FExact, name, i);
    Put(FLocal, LocalName(name), i);
  }
}

std::size_t TVqXMLNameIndex::HashOf(std::string_view name) noexcept {
  std::uint32_t hash = 2166136261u;
  for (const char c : name) hash = (hash ^ static_cast<std::uint8_t>(c)) * 16777619u;
  return hash;
}

void TVqXMLNameIndex::Put(TTable& table, std::string_view name, std::int32_t index) {
  std::size_t at = HashOf(name) & (table.size() - 1);
  while (table[at].Index >= 0 && table[at].Name != name) at = (at + 1) & (table.size() - 1);
  table[at] = {name, index};
}

std::int32_t TVqXMLNameIndex::Look(const TTable& table, std::string_view name) noexcept {
  std::size_t at = HashOf(name) & (table.size() - 1);
  while (table[at].Index >= 0 && table[at].Name != name) at = (at + 1) & (table.size() - 1);
  return table[at].Index;
}

// -- Arrays -----------------------------------------------------------------------------------------------------------

TVqXMLSchemaArray::TVqXMLSchemaArray(const IVqDOMElement& AParent, std::string_view AName)
    : FParent(AParent), FDocument(AParent.GetOwnerDocument()), FName(AName) {}

TVqXMLSchemaArray::~TVqXMLSchemaArray() = default;

void TVqXMLSchemaArray::Discard() noexcept {
  FDiscarded = true;
  for (const auto& record : FRecords) {
    if (record) record->Discard();
  }
}

const TVqDOMElementList& TVqXMLSchemaArray::Entries() const {
  if (FDiscarded) TVqXMLSchemaElement::RaiseDiscarded();
  const std::uint32_t count = FDocument.GetModificationCount();
  if (!FListValid || count != FListCount) {
    FList = FParent.CreateElementList(".//" + FName);
    FListCount = count;
    FListValid = true;
  }
  return FList;
}

IVqDOMElement TVqXMLSchemaArray::ElementAt(std::int32_t AIndex) const {
  const TVqDOMElementList& entries = Entries();
  if (AIndex < 0 || AIndex >= entries.Count()) {
    throw EListError(Format("\"%s\" has no entry %d.", {string(FName), AIndex}));
  }
  return entries.GetItem(AIndex);
}

std::string TVqXMLSchemaArray::TextAt(std::int32_t AIndex) const {
  return ElementAt(AIndex).GetTextAsUtf8();
}

TVqXMLSchemaElement& TVqXMLSchemaArray::RecordAt(std::int32_t AIndex, TVqXMLSchemaClass::TFactory AFactory) {
  if (FDiscarded) TVqXMLSchemaElement::RaiseDiscarded();
  const auto at = static_cast<std::size_t>(AIndex);
  // What was asked for once stays under its position, even when entries before it have been deleted since: on purpose.
  if (AIndex >= 0 && at < FRecords.size() && FRecords[at]) return *FRecords[at];
  std::unique_ptr<TVqXMLSchemaElement> record(AFactory(ElementAt(AIndex)));
  if (at >= FRecords.size()) FRecords.resize(at + 1);
  return *(FRecords[at] = std::move(record));
}

std::int32_t TVqXMLSchemaArray::Append() {
  const std::int32_t index = Count();
  FParent.AddElement(FName);
  return index;
}

void TVqXMLSchemaArray::Delete(std::int32_t AIndex) {
  const IVqDOMElement entry = ElementAt(AIndex);
  const auto at = static_cast<std::size_t>(AIndex);
  if (at < FRecords.size() && FRecords[at]) {
    FRecords[at]->Discard();
    FParked.push_back(std::move(FRecords[at]));
  }
  // The entry may stand deeper than directly below the parent, as the search is by descendant.
  entry.GetParentElement().RemoveChild(entry);
}

void TVqXMLSchemaArray::Clear() {
  if (FDiscarded) TVqXMLSchemaElement::RaiseDiscarded();
  for (auto& record : FRecords) {
    if (record) FParked.push_back(std::move(record));
  }
  FRecords.clear();
  FParent.RemoveAllChildren();
}

}  // namespace velmore::detail
