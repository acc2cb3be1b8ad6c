#include "ews/values/internal/uVqEWSTableCells.h"

#include <algorithm>

namespace velmore {
namespace {

constexpr char Lower(char c) noexcept {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c;
}

// As selections compare names: the case of ASCII letters does not count.
bool SameName(std::string_view a, std::string_view b) noexcept {
  return std::ranges::equal(a, b, {}, Lower, Lower);
}

// Whether this is an element's name without its prefix, which need not be looked for then.
bool IsCalled(detail::TVqRawElement element, std::string_view local) noexcept {
  const std::string_view name = element.Name();
  if (!name.ends_with(local)) return false;
  const std::string_view before = name.substr(0, name.size() - local.size());
  return before.empty() || (before.back() == ':' && before.find(':') == before.size() - 1);
}

}  // namespace

void TVqEWSTableCells::Find(const IVqDOMElement& ARow) {
  FCells.assign(FNames.size(), {});
  std::size_t place = 0;
  for (detail::TVqRawElement child = detail::TVqRawElement(ARow).FirstChild(); child; child = child.Next()) {
    const std::size_t expected = FBehind[place];
    const bool asExpected = expected < FNames.size() && IsCalled(child, FNames[expected]);
    const std::size_t column = asExpected ? expected : ColumnOf(child.LocalName());
    if (column == kNone) continue;
    if (!FCells[column]) FCells[column] = child;
    FBehind[place] = column;
    place = column + 1;
  }
  FDocument = ARow.GetOwnerDocument();
  FStructure = FDocument.GetStructureCount();
}

std::size_t TVqEWSTableCells::ColumnOf(std::string_view AName) const noexcept {
  for (std::size_t i = 0; i < FNames.size(); ++i) {
    if (SameName(FNames[i], AName)) return i;
  }
  return kNone;
}

void TVqEWSTableCells::SetColumns(std::vector<std::string> ANames, std::uint32_t AVersion) {
  FNames = std::move(ANames);
  FBehind.resize(FNames.size() + 1);
  for (std::size_t i = 0; i < FBehind.size(); ++i) FBehind[i] = i;
  FVersion = AVersion;
}

void TVqEWSTableCells::Set(std::size_t AColumn, const IVqDOMElement& AElement) noexcept {
  FCells[AColumn] = detail::TVqRawElement(AElement);
  FStructure = FDocument.GetStructureCount();
}

}  // namespace velmore
