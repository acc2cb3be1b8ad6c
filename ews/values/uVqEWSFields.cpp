#include "ews/values/uVqEWSFields.h"

#include <algorithm>

#include "ews/values/internal/uVqEWSTableCells.h"

namespace velmore {
namespace {

bool IsPlainName(std::string_view path) noexcept {
  const auto isPlain = [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
  };
  return !path.empty() && std::ranges::all_of(path, isPlain);
}

}  // namespace

IVqDOMElement TVqEWSField::Find() {
  if (!FCells) return TVqEWSData::Find();
  // The table finds the row's cells when it gives the record.
  const IVqDOMElement& row = Record(desCurrent).AsElement();
  return detail::MakeElement(row, FCells->Get(FColumn));
}

IVqDOMElement TVqEWSField::MakeValueNode(const IVqDOMElement& AObject) {
  const IVqDOMElement made = TVqEWSData::MakeValueNode(AObject);
  if (FCells) FCells->Set(FColumn, made);
  static_cast<TVqEWSFields&>(Owner()).FMade.insert(detail::TVqRawElement(made).Node());
  return made;
}

bool TVqEWSField::IsFromServer() {
  const IVqDOMElement found = Find();
  if (!found) return false;
  const bool made = static_cast<TVqEWSFields&>(Owner()).FMade.contains(detail::TVqRawElement(found).Node());
  return !made || found.HasChildElements() || !found.GetTextAsUtf8().empty();
}

IVqDOMElement VqEntryOf(const IVqDOMElement& ARow, const TVqEWSFieldDef& AKey) {
  if (!AKey.PropDef)
    throw EVqException(Format("The field definition \"%s\" has no property!", {AKey.FieldDefName.ToString()}));
  return ARow.SelectSingleElement(GetNodePath(*AKey.PropDef), kSelectQuiet);
}

void TVqEWSFields::FindCells(const IVqDOMElement& ARow, TVqEWSTableCells& ACells) {
  if (ACells.GetVersion() != Version()) GiveColumns(ACells);
  ACells.Find(ARow);
}

void TVqEWSFields::GiveColumns(TVqEWSTableCells& ACells) {
  std::vector<std::string> names;
  for (std::int32_t i = 0; i < Count(); ++i) {
    TVqEWSField& field = GetItem(i);
    std::string path = field.GetPath().utf8();
    // The element that an indexed field makes stands below the one that its path finds.
    if (field.GetURIType() != fdtField || !IsPlainName(path)) continue;
    field.FCells = &ACells;
    field.FColumn = names.size();
    names.push_back(std::move(path));
  }
  ACells.SetColumns(std::move(names), Version());
}

}  // namespace velmore
