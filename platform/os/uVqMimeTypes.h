#pragma once

/// MIME types by file extension, from a table of our own, so that the answer is the same on every machine.

#include "platform/common/uVqTypes.h"

namespace velmore {

/// The type of a file whose extension is not in the table.
inline constexpr char kVqDefaultMimeType[] = "application/octet-stream";

/// The MIME type of a file by the extension of its name, in any case; "application/octet-stream" when it has none or an
/// unknown one. The file need not exist. A name that starts with its only dot (".txt") has no extension.
string VqGetFileMimeType(const string& AFileName);
/// The usual extension of a MIME type, with its dot (".jpg" of "image/jpeg; name=a"), whatever its case and parameters;
/// empty for an unknown type.
string VqGetMimeTypeExtension(const string& AMimeType);

}  // namespace velmore
