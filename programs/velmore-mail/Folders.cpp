#include "programs/velmore-mail/Folders.h"

#include "platform/common/uVqSerializer.h"
#include "programs/velmore-mail/Text.h"

namespace mail {

using velmore::string;
using velmore::TVqRef;

TVqRef<velmore::IVqEWSFolder> FolderBelow(velmore::IVqEWSMsgStore& store, velmore::IVqEWSFolder& parent,
                                          const string& name, bool make) {
  for (const auto row : parent.GetSubFolders())
    if (velmore::SameText(row.DisplayName(), name)) return store.GetFolder(row.Id());
  if (make) return store.GetFolder(parent.CreateFolder(velmore::sffFolder, name));
  return {};
}

TVqRef<velmore::IVqEWSFolder> FolderOf(velmore::IVqEWSMsgStore& store, const std::string& name, bool make) {
  const auto known = velmore::VqTextToEnum<velmore::TDistinguishedFolderIdName>(name);
  // A text that is no name reads as the first one.
  if (velmore::VqEnumToText(known) == name) return store.GetFolder(known, "");
  auto folder = store.GetFolder(velmore::dfinmsgfolderroot, "");
  for (std::size_t at = 0; at < name.size();) {
    const std::size_t end = std::min(name.find('/', at), name.size());
    if (end > at) folder = FolderBelow(store, *folder, name.substr(at, end - at), make);
    if (!folder)
      throw UsageError("There is no folder \"" + string(name) +
                       "\". \"velmore-mail list --folders\" tells which there are.");
    at = end + 1;
  }
  return folder;
}

std::vector<Place> TreeOf(velmore::IVqEWSMsgStore& store, const TVqRef<velmore::IVqEWSFolder>& folder) {
  std::vector<Place> tree{{"", {}, folder}};
  for (std::size_t i = 0; i < tree.size(); ++i) {
    CheckInterrupted();
    std::vector<Place> below;
    for (const auto row : tree[i].folder->GetSubFolders()) {
      Place place{tree[i].path + (tree[i].path.empty() ? "" : "/") + Printable(row.DisplayName()), tree[i].names,
                  store.GetFolder(row.Id())};
      place.names.push_back(row.DisplayName());
      below.push_back(std::move(place));
    }
    tree.insert(tree.begin() + static_cast<std::ptrdiff_t>(i) + 1, below.begin(), below.end());
  }
  return tree;
}

}  // namespace mail
