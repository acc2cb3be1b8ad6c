#pragma once

// From the path of a folder to the folder: one look among the subfolders for each name in it.

#include <optional>
#include <variant>

#include "ews/model/uVqEWSBase.h"
#include "ews/model/uVqEWSFolderInterfaces.h"

#pragma GCC visibility push(hidden)

namespace velmore {

/// The names on the way to a folder. A value. See IVqEWSMsgStore::GetFolder about what a path is.
class TVqEWSFolderPath {
 public:
  /// Where a path begins: at a folder that every mailbox has, or at one that is known by its id.
  using TStart = std::variant<TDistinguishedFolderIdName, TItemId>;

  /// Raises a plain exception for a path without a part, or with an empty one.
  explicit TVqEWSFolderPath(const string& APath) : FParts(VqFolderPathParts(APath)) {}

  /// What was found at the end of a path.
  struct TPlace {
    TItemId Id;
    string Kind;  ///< "CalendarFolder" and the like
  };

  /// Looks for the folder, in the name of `AObject`. None when a part is missing.
  std::optional<TPlace> Find(TVqEWSObject& AObject, const TStart& AStart);
  /// The same. Raises EEWSException "ErrorFolderNotFound (...)." with the part that is missing.
  TPlace Get(TVqEWSObject& AObject, const TStart& AStart);

 private:
  std::vector<string> FParts;
  std::size_t FFound = 0;  // how many of the parts are there
};

}  // namespace velmore

#pragma GCC visibility pop
