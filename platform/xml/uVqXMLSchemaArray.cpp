#include <algorithm>

#include "platform/xml/uVqXMLDOMData_p.h"
#include "platform/xml/uVqXMLSchema_p.h"

namespace velmore::detail {

// ---- Look-up by name

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

std::size_t HashOfName(std::string_view name) noexcept {
  std::uint32_t hash = 2166136261u;
  for (const char c : name) hash = (hash ^ static_cast<std::uint8_t>(c)) * 16777619u;
  return hash;
}

void TVqXMLNameIndex::Put(TTable& table, std::string_view name, std::int32_t index) {
  std::size_t at = HashOfName(name) & (table.size() - 1);
  while (table[at].Index >= 0 && table[at].Name != name) at = (at + 1) & (table.size() - 1);
  table[at] = {name, index};
}

std::int32_t TVqXMLNameIndex::Look(const TTable& table, std::string_view name) noexcept {
  std::size_t at = HashOfName(name) & (table.size() - 1);
  while (table[at].Index >= 0 && table[at].Name != name) at = (at + 1) & (table.size() - 1);
  return table[at].Index;
}

TVqRawElement TVqXMLPlaces::Find(TVqRawElement element, const TVqXMLNameIndex& names, std::int32_t count,
                                 std::string_view name, std::int32_t index) {
  const std::uint32_t structure = element.Data()->Structure;
  if (structure != FStructure) {
    FStructure = structure;
    FLooks = 0;
    FNodes.clear();
  }
  if (FNodes.empty()) {
    if (++FLooks < kWorthIt) return element.Child(name);
    FNodes.resize(static_cast<std::size_t>(count));
    for (TVqRawElement child = element.FirstChild(); child; child = child.Next()) {
      const std::int32_t at = names.FindExact(child.Name());
      if (at < 0) continue;
      void*& node = FNodes[static_cast<std::size_t>(at)];
      if (!node) node = child.Node();
    }
  }
  void* const node = FNodes[static_cast<std::size_t>(index)];
  // Of a name that the class and a base of it declare, the last one alone is known by its index.
  return node ? TVqRawElement(element.Data(), node) : element.Child(name);
}

// ---- Arrays

TVqXMLSchemaArray::TVqXMLSchemaArray(const IVqDOMElement& AParent, std::string_view AName)
    : FParent(AParent), FDocument(AParent.GetOwnerDocument()), FName(AName) {}

TVqXMLSchemaArray::~TVqXMLSchemaArray() = default;

void TVqXMLSchemaArray::Discard() noexcept {
  FDiscarded = true;
  FParent = {};
  FDocument = {};
  for (const auto& record : FRecords) {
    if (record) record->Discard();
  }
}

namespace {

std::uint32_t NameHash(std::string_view name) noexcept {
  return static_cast<std::uint32_t>(HashOfName(name));
}

// All elements of a name below an element, in document order. A walk, as a tree that was built may be deeper than any
// stack; on the parser's own nodes, as it visits every node of a page.
void CollectBelow(const IVqDOMElement& parent, const std::string& name, std::deque<void*>& found) {
  const pugi::xml_node top = TVqDOMFactory::Node(parent);
  pugi::xml_node node = top.first_child();
  while (node) {
    if (node.type() == pugi::node_element && name == node.name()) found.push_back(node.internal_object());
    pugi::xml_node next = node.first_child();
    while (!next && node != top) {
      next = node.next_sibling();
      if (!next) node = node.parent();
    }
    node = next;
  }
}

}  // namespace

void NoteInsertion(const IVqDOMElement& element, std::string_view name) {
  TVqDOMData& data = *TVqDOMFactory::Data(element);
  if (!data.Insertions) data.Insertions = std::make_unique<TVqDOMData::TInsertion[]>(TVqDOMData::kInsertions);
  data.Insertions[data.Structure % TVqDOMData::kInsertions] = {data.Structure, NameHash(name)};
}

bool OnlyOthersInserted(const IVqDOMElement& element, std::string_view name, std::uint32_t structure) {
  const TVqDOMData& data = *TVqDOMFactory::Data(element);
  if (!data.Insertions || data.Structure - structure > TVqDOMData::kInsertions) return false;
  const std::uint32_t hash = NameHash(name);
  for (std::uint32_t at = structure + 1; at != data.Structure + 1; ++at) {
    const TVqDOMData::TInsertion& insertion = data.Insertions[at % TVqDOMData::kInsertions];
    if (insertion.Structure != at || insertion.NameHash == hash) return false;
  }
  return true;
}

const std::deque<void*>& TVqXMLSchemaArray::Entries() const {
  if (FDiscarded) TVqXMLSchemaElement::RaiseDiscarded();
  if (!FParent) return FEntries;
  const std::uint32_t structure = FDocument.GetStructureCount();
  if (FEntriesKnown && structure != FEntriesAt) FEntriesKnown = OnlyOthersInserted(FParent, FName, FEntriesAt);
  if (!FEntriesKnown) {
    FEntries.clear();
    CollectBelow(FParent, FName, FEntries);
    FEntriesKnown = true;
  }
  FEntriesAt = structure;
  return FEntries;
}

IVqDOMElement TVqXMLSchemaArray::ElementAt(std::int32_t AIndex) const {
  const auto& entries = Entries();
  if (AIndex < 0 || static_cast<std::size_t>(AIndex) >= entries.size()) {
    throw EListError(Format("\"%s\" has no entry %d.", {string(FName), AIndex}));
  }
  return MakeElement(FParent, TVqRawElement(TVqDOMFactory::Data(FParent), entries[static_cast<std::size_t>(AIndex)]));
}

std::string TVqXMLSchemaArray::TextAt(std::int32_t AIndex) const {
  return ElementAt(AIndex).GetTextAsUtf8();
}

TVqXMLSchemaElement& TVqXMLSchemaArray::RecordAt(std::int32_t AIndex, TVqXMLSchemaClass::TFactory AFactory) {
  if (FDiscarded) TVqXMLSchemaElement::RaiseDiscarded();
  const auto at = static_cast<std::size_t>(AIndex);
  // What was asked for once stays under its position, even when entries before it have been deleted since: on purpose,
  // so that who holds it goes on holding the same entry.
  if (AIndex >= 0 && at < FRecords.size() && FRecords[at]) return *FRecords[at];
  std::unique_ptr<TVqXMLSchemaElement> record(AFactory(ElementAt(AIndex)));
  if (at >= FRecords.size()) FRecords.resize(at + 1);
  return *(FRecords[at] = std::move(record));
}

std::int32_t TVqXMLSchemaArray::Append() {
  const std::int32_t index = Count();
  const IVqDOMElement made = FParent.AddElement(FName);
  // The new one is last in document order: no need to search again.
  FEntries.push_back(TVqRawElement(made).Node());
  FEntriesAt = FDocument.GetStructureCount();
  return index;
}

std::int32_t TVqXMLSchemaArray::Append(const TVqUtf8View& AText) {
  CheckText(AText);
  const std::int32_t index = Append();
  ElementAt(index).SetText(AText);
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
  // With it go those inside of it, which stand right behind it. What stays is known, so that deleting one after the
  // other does not search again each time.
  const void* const removed = TVqRawElement(entry).Node();
  const auto first = FEntries.begin() + AIndex;
  auto last = first + 1;
  while (last != FEntries.end()) {
    pugi::xml_node up = RawNode(*last);
    while (up && RawPointer(up) != removed) up = up.parent();
    if (!up) break;
    ++last;
  }
  FEntries.erase(first, last);
  FEntriesAt = FDocument.GetStructureCount();
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
