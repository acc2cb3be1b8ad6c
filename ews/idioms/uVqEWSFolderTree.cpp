#include "ews/idioms/uVqEWSFolderTree.h"

#include <algorithm>
#include <unordered_map>

#include "ews/idioms/uVqEWSRanges.h"

namespace velmore {
namespace {

constexpr std::int32_t kFoldersPerPage = 500;

/// Folders by the id of the one above.
using TChildren = std::unordered_map<string, std::vector<TVqEWSFolderNode>>;

void Take(TChildren& children, const string& parent, const string& path, std::int32_t depth,
          std::vector<TVqEWSFolderNode>& tree) {
  auto found = children.extract(parent);  // taken out, so that a circle ends
  if (!found) return;
  std::ranges::stable_sort(found.mapped(), [](const TVqEWSFolderNode& a, const TVqEWSFolderNode& b) {
    return LowerCase(a.Name) < LowerCase(b.Name);
  });
  for (TVqEWSFolderNode& folder : found.mapped()) {
    folder.Path = path + VqFolderPathPart(folder.Name);
    folder.Depth = depth;
    const string id = folder.Id.Id, below = folder.Path + "/";
    tree.push_back(std::move(folder));
    Take(children, id, below, depth + 1, tree);
  }
}

/// A folder that is not there, as far as anybody knows.
TVqRef<IVqEWSFolder> MakeBelow(IVqEWSFolder& parent, const string& name, TSetFolderFieldType type) {
  try {
    const TItemId id = parent.CreateFolder(type, name);
    return Supports<IVqEWSMsgStore>(parent.GetMsgStore())->GetFolder(id);
  } catch (const EEWSException& refusal) {
    if (refusal.ResponseCode() != "ErrorFolderExists") throw;
    return parent.GetSubFolder(VqFolderPathPart(name));
  }
}

}  // namespace

std::vector<TVqEWSFolderNode> VqFolderTree(IVqEWSFolder& ATop) {
  const auto table = ATop.GetSubFolders();
  table->SetTraversal(ftDeep);
  table->SetMaxEntriesPerPage(kFoldersPerPage);
  TChildren children;
  for (const TVqEWSFolderRow row : *table) {
    children[row.ParentId().Id].push_back({.Id = row.Id(),
                                           .ParentId = row.ParentId(),
                                           .Name = row.DisplayName(),
                                           .Type = row.FolderType(),
                                           .TotalCount = row.TotalCount(),
                                           .UnreadCount = row.UnreadCount(),
                                           .ChildFolderCount = row.ChildFolderCount()});
  }
  std::vector<TVqEWSFolderNode> tree;
  Take(children, ATop.GetID().Id, string(), 1, tree);
  for (auto& [parent, folders] : children) std::ranges::move(folders, std::back_inserter(tree));
  return tree;
}

std::vector<TVqEWSFolderNode> VqFolderTree(IVqEWSMsgStore& AStore) {
  return VqFolderTree(*AStore.GetFolder(dfinmsgfolderroot, ""));
}

TVqRef<IVqEWSFolder> VqMakeFolder(IVqEWSFolder& ATop, const string& APath, TSetFolderFieldType AType) {
  if (const auto there = ATop.FindSubFolder(APath)) return there;
  const std::vector<string> names = VqFolderPathParts(APath);
  TVqRef<IVqEWSFolder> folder = &ATop;
  bool missing = false;  // below what was made there is nothing to be found
  for (std::size_t i = 0; i < names.size(); ++i) {
    const bool last = i + 1 == names.size();
    const TVqRef<IVqEWSFolder> there =
        missing || last ? TVqRef<IVqEWSFolder>() : folder->FindSubFolder(VqFolderPathPart(names[i]));
    missing = !there;
    folder = there ? there : MakeBelow(*folder, names[i], last ? AType : sffFolder);
  }
  return folder;
}

TVqRef<IVqEWSFolder> VqMakeFolder(IVqEWSMsgStore& AStore, const string& APath, TSetFolderFieldType AType) {
  return VqMakeFolder(*AStore.GetFolder(dfinmsgfolderroot, ""), APath, AType);
}

}  // namespace velmore
