#pragma once

/// Names that come from strangers, as names of files.
///
///     file->SaveToFile(VqSafeFileName(file->GetName()));   // in the program's folder, whatever the sender called it

#include "platform/common/uVqTypes.h"

namespace velmore {

/// A name that any system takes for a file of the current folder, as near to the given one as that allows. Never empty,
/// never a path, a device or a hidden file, without control characters and without marks that make one name look like
/// another; at most 200 bytes of UTF-8, the extension kept. The same name for the same argument; names that differ may
/// become the same one, and a file of that name may be there: whoever must not overwrite it has to look. Raises nothing
/// except for lack of memory.
string VqSafeFileName(const string& AName);

}  // namespace velmore
