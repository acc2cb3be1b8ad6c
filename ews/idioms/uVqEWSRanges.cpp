#include "ews/idioms/uVqEWSRanges.h"

namespace velmore {

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
  const IVqDOMElement id = Element().SelectSingleElement("FolderId", kSelectQuiet);
  return {id.GetAttribute("Id"), id.GetAttribute("ChangeKey")};
}

string TVqEWSFolderRow::DisplayName() const {
  return Element().SelectSingleElement("DisplayName", kSelectQuiet).GetText();
}

std::int32_t TVqEWSFolderRow::Number(const char* AName) const {
  return VqXMLToIntDef(Element().SelectSingleElement(AName, kSelectQuiet).GetText(), 0);
}

}  // namespace velmore
