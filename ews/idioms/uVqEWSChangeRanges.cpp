#include "ews/idioms/uVqEWSChangeRanges.h"

namespace velmore {

TItemId TVqEWSFolderChange::ParentId() const {
  const IVqDOMElement id = Element().SelectSingleElement("ParentFolderId", kSelectQuiet);
  return {id.GetAttribute("Id"), id.GetAttribute("ChangeKey")};
}

string TVqEWSFolderChange::DisplayName() const {
  return Element().SelectSingleElement("DisplayName", kSelectQuiet).GetText();
}

}  // namespace velmore
