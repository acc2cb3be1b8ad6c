#pragma once

// Folders by the names that people type, and the tree below one.

#include <string>
#include <vector>

#include "ews/model/uVqEWSFolderInterfaces.h"

namespace mail {

/// The folder of a name: a distinguished one ("inbox", "sentitems"), or a path below the top of the mailbox
/// ("Projects/Lighthouse"; case does not matter, "\\/" is a slash in a name). Empty is the top itself. Raises
/// UsageError when there is none, unless it is to be made.
velmore::TVqRef<velmore::IVqEWSFolder> FolderOf(velmore::IVqEWSMsgStore& store, const std::string& name,
                                                bool make = false);
/// A folder and where it stands, as it was when the walk began.
struct Place {
  std::string path;           ///< as a terminal may show it; empty for the folder that the walk began at
  velmore::string directory;  ///< for its items, relative, with "/" between; empty for the same
  velmore::TItemId id;
  std::int32_t total = 0, unread = 0;
};
/// A folder and all that are below it, each before those in it.
std::vector<Place> TreeOf(velmore::IVqEWSFolder& folder);

}  // namespace mail
