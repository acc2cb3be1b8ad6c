#include "programs/velmore-mail/Folders.h"

#include "ews/idioms/uVqEWSFileNames.h"
#include "ews/idioms/uVqEWSFolderTree.h"
#include "platform/common/uVqSerializer.h"
#include "programs/velmore-mail/Text.h"

namespace mail {

using velmore::string;
using velmore::TVqRef;

TVqRef<velmore::IVqEWSFolder> FolderOf(velmore::IVqEWSMsgStore& store, const std::string& name, bool make) {
  const auto known = velmore::VqTextToEnum<velmore::TDistinguishedFolderIdName>(name);
  // A text that is no name reads as the first one.
  if (velmore::VqEnumToText(known) == name) return store.GetFolder(known, "");
  if (name.empty()) return store.GetFolder(velmore::dfinmsgfolderroot, "");
  const auto folder = make ? velmore::VqMakeFolder(store, name) : store.FindFolder(string(name));
  if (!folder)
    throw UsageError("There is no folder \"" + string(name) +
                     "\". \"velmore-mail list --folders\" tells which there are.");
  return folder;
}

std::vector<Place> TreeOf(velmore::IVqEWSFolder& folder) {
  std::vector<Place> tree{{"", {}, folder.GetID(), folder.GetTotalCount(), folder.GetUnreadCount()}};
  for (const velmore::TVqEWSFolderNode& node : velmore::VqFolderTree(folder)) {
    // Below a folder that the user may not see, the name is all that is known.
    const string path = node.Path.empty() ? velmore::VqFolderPathPart(node.Name) : node.Path;
    std::string shown;
    for (const string& name : velmore::VqFolderPathParts(path)) shown += (shown.empty() ? "" : "/") + Printable(name);
    tree.push_back({shown, velmore::VqFolderFilePath(path), node.Id, node.TotalCount, node.UnreadCount});
  }
  return tree;
}

}  // namespace mail
