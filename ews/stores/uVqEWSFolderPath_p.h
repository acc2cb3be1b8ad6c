#pragma once

// From the path of a folder to the folder: one look among the subfolders for each name in it.

#include <optional>
#include <variant>

#include "ews/model/uVqEWSBase.h"
#include "ews/model/uVqEWSFolderInterfaces.h"

namespace velmore {

/// The names on the way to a folder. A value. See IVqEWSMsgStore::GetFolder about what a path is.
class TVqEWSFolderPath {
 public:
  /// Where a path begins: at a folder that every mailbox has, or at one that is known by its id.
  using TStart = std::variant<TDistinguishedFolderIdName, TItemId>;

  /// Raises a plain exception for a path without a part, or with an empty one.
  explicit TVqEWSFolderPath(const string& APath) : FParts(VqFolderPathParts(APath)) {}

  /// The folder, made by `ACreator`, in whose name requests go out. Raises EEWSException "ErrorFolderNotFound (...)."
  /// with the part that is missing.
  TVqRef<IVqEWSFolder> Open(TVqEWSObject& ACreator, const TStart& AStart);
  /// The same; an empty reference when a part is missing.
  TVqRef<IVqEWSFolder> Find(TVqEWSObject& ACreator, const TStart& AStart);

 private:
  TVqRef<IVqEWSFolder> Walk(TVqEWSObject& ACreator, const TStart& AStart);

  std::vector<string> FParts;
  std::size_t FFound = 0;  // how many of the parts are there
};

}  // namespace velmore
