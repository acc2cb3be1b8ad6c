#include "ews/values/uVqEWSStrings.h"

#include "platform/xml/internal/uVqXMLDOMAccess.h"

namespace velmore {

// The entries are the child elements, whatever their name, and not the record's array, which searches at any depth.

// They are looked up once, as long as no element comes or goes but by this list: going through it, or deleting one
// after the other, is linear.
std::deque<IVqDOMElement>& TVqEWSStrings::Entries() const {
  const IVqDOMElement& element = FStrings.AsElement();
  const std::uint32_t structure = element.GetOwnerDocument().GetStructureCount();
  if (element != FKnownOf || structure != FStructure) {
    FEntries.clear();
    for (const IVqDOMElement& entry : element.GetChildElements()) FEntries.push_back(entry);
    FKnownOf = element;
    FStructure = structure;
  }
  return FEntries;
}

void TVqEWSStrings::Keep() const {
  FStructure = FKnownOf.GetOwnerDocument().GetStructureCount();
}

IVqDOMElement TVqEWSStrings::Entry(std::int32_t AIndex) const {
  const auto& entries = Entries();
  // Outside, the element's own list raises.
  if (AIndex < 0 || static_cast<std::size_t>(AIndex) >= entries.size())
    return FStrings.AsElement().GetChildElements().GetItem(AIndex);
  return entries[static_cast<std::size_t>(AIndex)];
}

std::int32_t TVqEWSStrings::Count() const {
  return static_cast<std::int32_t>(Entries().size());
}

string TVqEWSStrings::GetItem(std::int32_t AIndex) const {
  return Entry(AIndex).GetText();
}

void TVqEWSStrings::SetItem(std::int32_t AIndex, const string& AValue) {
  Entry(AIndex).SetText(AValue);
}

std::int32_t TVqEWSStrings::Add(const string& AValue) {
  detail::CheckText(AValue);  // a text that XML cannot carry leaves no empty entry behind
  auto& entries = Entries();
  const IVqDOMElement entry = FStrings.AsElement().AddElement("t:String");
  entry.SetText(AValue);
  entries.push_back(entry);
  Keep();
  return Count() - 1;
}

void TVqEWSStrings::Delete(std::int32_t AIndex) {
  const IVqDOMElement entry = Entry(AIndex);
  FStrings.AsElement().RemoveChild(entry);
  FEntries.erase(FEntries.begin() + AIndex);
  Keep();
}

void TVqEWSStrings::Clear() {
  FStrings.GetString_().Clear();
}

std::int32_t TVqEWSStrings::IndexOf(const string& AValue) const {
  std::int32_t index = 0;
  for (const IVqDOMElement& entry : Entries()) {
    if (entry.GetText() == AValue) return index;
    ++index;
  }
  return -1;
}

string TVqEWSStrings::AsString(const string& ASeparator) const {
  string text;
  for (const IVqDOMElement& entry : Entries()) text += ASeparator + entry.GetText();
  return text.Copy(ASeparator.Length());
}

}  // namespace velmore
