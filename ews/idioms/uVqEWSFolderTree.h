#pragma once

/// All folders below one, with their paths, and folders made by their paths.
///
///     for (const TVqEWSFolderNode& folder : VqFolderTree(*store))
///       std::cout << folder.Path << ": " << folder.UnreadCount << '\n';
///     const auto march = VqMakeFolder(*store, "Archive/2026/03");

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
/// All that people see of the mailbox: those below `dfinmsgfolderroot`, which costs two m:GetFolder more.
std::vector<TVqEWSFolderNode> VqFolderTree(IVqEWSMsgStore& AStore);

/// The folder of that path, as GetSubFolder of the top gives it, or GetFolder of the store; what is missing of it is
/// made. The last folder is of the type that is given when it is made, those above it are folders of messages. When all
/// is there, it costs what GetSubFolder does; else one m:FindFolder and one m:GetFolder for each part that is there,
/// and one m:CreateFolder and one m:GetFolder for each that is not. A folder that somebody else makes meanwhile is
/// taken as it is. Raises a plain exception for a path with an empty part, and what CreateFolder raises.
TVqRef<IVqEWSFolder> VqMakeFolder(IVqEWSFolder& ATop, const string& APath, TSetFolderFieldType AType = sffFolder);
TVqRef<IVqEWSFolder> VqMakeFolder(IVqEWSMsgStore& AStore, const string& APath, TSetFolderFieldType AType = sffFolder);

}  // namespace velmore
