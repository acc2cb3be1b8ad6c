#include "ews/values/uVqEWSStrings.h"

namespace velmore {

// The entries are the child elements, whatever their name, and not the record's array, which searches at any depth.

IVqDOMElement TVqEWSStrings::Entry(std::int32_t AIndex) const {
  return FStrings.AsElement().GetChildElements().GetItem(AIndex);
}

std::int32_t TVqEWSStrings::Count() const {
  return FStrings.AsElement().ElementCount();
}

string TVqEWSStrings::GetItem(std::int32_t AIndex) const {
  return Entry(AIndex).GetText();
}

void TVqEWSStrings::SetItem(std::int32_t AIndex, const string& AValue) {
  Entry(AIndex).SetText(AValue);
}

std::int32_t TVqEWSStrings::Add(const string& AValue) {
  const IVqDOMElement entry = FStrings.AsElement().AddElement("t:String");
  try {
    entry.SetText(AValue);
  } catch (...) {
    FStrings.AsElement().RemoveChild(entry);  // a text that XML cannot carry leaves no empty entry behind
    throw;
  }
  return Count() - 1;
}

void TVqEWSStrings::Delete(std::int32_t AIndex) {
  FStrings.AsElement().RemoveChild(Entry(AIndex));
}

void TVqEWSStrings::Clear() {
  FStrings.GetString_().Clear();
}

std::int32_t TVqEWSStrings::IndexOf(const string& AValue) const {
  std::int32_t index = 0;
  for (const IVqDOMElement& entry : FStrings.AsElement().GetChildElements()) {
    if (entry.GetText() == AValue) return index;
    ++index;
  }
  return -1;
}

string TVqEWSStrings::AsString(const string& ASeparator) const {
  string text;
  for (const IVqDOMElement& entry : FStrings.AsElement().GetChildElements()) text += ASeparator + entry.GetText();
  return text.Copy(ASeparator.Length());
}

}  // namespace velmore
