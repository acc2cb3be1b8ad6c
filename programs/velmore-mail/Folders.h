#pragma once

// Folders by the names that people type, and the tree below one.

#include <string>
#include <vector>

#include "ews/idioms/uVqEWSRanges.h"
#include "ews/model/uVqEWSFolderInterfaces.h"

namespace mail {

/// The folder of a name: a distinguished one ("inbox", "sentitems"), or a path below the top of the mailbox
/// ("Projects/Lighthouse"; case does not matter). Empty is the top itself. Raises UsageError when there is none, unless
/// it is to be made.
velmore::TVqRef<velmore::IVqEWSFolder> FolderOf(velmore::IVqEWSMsgStore& store, const std::string& name,
                                                bool make = false);
/// The folder below another one; made when it is missing.
velmore::TVqRef<velmore::IVqEWSFolder> FolderBelow(velmore::IVqEWSMsgStore& store, velmore::IVqEWSFolder& parent,
                                                   const velmore::string& name, bool make);

/// A folder and where it stands.
struct Place {
  std::string
      path;  ///< names with "/" between, each as a terminal may show it; empty for the folder that the walk began at
  std::vector<velmore::string> names;
  velmore::TVqRef<velmore::IVqEWSFolder> folder;
};
/// A folder and all that are below it, each before those in it.
std::vector<Place> TreeOf(velmore::IVqEWSMsgStore& store, const velmore::TVqRef<velmore::IVqEWSFolder>& folder);

}  // namespace mail
