#pragma once

/// All folders below one, with their paths.
///
///     for (const TVqEWSFolderNode& folder : VqFolderTree(*store->GetFolder(dfinmsgfolderroot, "")))
///       std::cout << folder.Path << ": " << folder.UnreadCount << '\n';

#include <vector>

#include "ews/model/uVqEWSFolderInterfaces.h"

namespace velmore {

/// A folder in a tree. A plain value, of the moment when the tree was asked for.
struct TVqEWSFolderNode {
  TItemId Id;        ///< for GetFolder of the store
  TItemId ParentId;  ///< of the folder above
  string Name;       ///< as people see it
  /// From the top of the tree, for GetSubFolder of the top, or GetFolder of the store where the top is that of the
  /// mailbox. Empty when the server did not tell of the folder above, as for one that the user may not see.
  string Path{};
  TSetFolderFieldType Type = sffFolder;  ///< of messages, a calendar, contacts, tasks, a search
  std::int32_t Depth = 0;                ///< number of names in the path
  std::int32_t TotalCount = 0;           ///< of items, of unread ones among them, and of folders directly below
  std::int32_t UnreadCount = 0;
  std::int32_t ChildFolderCount = 0;
};

/// The folders below `ATop`, each before those below it, siblings in the order of their names; what has no path comes
/// last. One m:FindFolder for each 500 folders. Raises what a table raises.
std::vector<TVqEWSFolderNode> VqFolderTree(IVqEWSFolder& ATop);

}  // namespace velmore
