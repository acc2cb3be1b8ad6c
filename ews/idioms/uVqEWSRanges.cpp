#include "ews/idioms/uVqEWSRanges.h"

namespace velmore {
namespace {

TItemId IdIn(const IVqDOMElement& row, const char* name) {
  const IVqDOMElement id = row.SelectSingleElement(name, kSelectQuiet);
  return {id.GetAttribute("Id"), id.GetAttribute("ChangeKey")};
}

}  // namespace

TVqEWSAddress TVqEWSItemRow::Sender() const {
  const IVqDOMElement row = Element();
  for (const char* path : {"From/Mailbox", "Sender/Mailbox"}) {
    const IVqDOMElement mailbox = row.SelectSingleElement(path, kSelectQuiet);
    if (!mailbox) continue;
    return {mailbox.SelectSingleElement("Name", kSelectQuiet).GetText(),
            mailbox.SelectSingleElement("EmailAddress", kSelectQuiet).GetText()};
  }
  return {};
}

TItemId TVqEWSFolderRow::Id() const {
  return IdIn(Element(), "FolderId");
}

TItemId TVqEWSFolderRow::ParentId() const {
  return IdIn(Element(), "ParentFolderId");
}

string TVqEWSFolderRow::DisplayName() const {
  return Element().SelectSingleElement("DisplayName", kSelectQuiet).GetText();
}

std::int32_t TVqEWSFolderRow::Number(const char* AName) const {
  return VqXMLToIntDef(Element().SelectSingleElement(AName, kSelectQuiet).GetText(), 0);
}

std::vector<TItemId> VqIdsOf(IVqEWSItems& ATable) {
  std::vector<TItemId> ids;
  for (const auto row : ATable) ids.push_back(row.Id());
  return ids;
}

std::ostream& operator<<(std::ostream& AStream, TVqEWSData& AValue) {
  return AStream << AValue.GetAsString();
}

}  // namespace velmore
