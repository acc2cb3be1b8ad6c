#pragma once

/// The code page that bytes of an XML document tell of themselves.

#include <cstdint>

#include "platform/common/uVqClasses.h"

namespace velmore {

/// The code page of the document at the stream's position, as its first bytes tell it: by a byte order mark, by how
/// they spell "<", by the XML declaration. 0 when they tell nothing, or name an encoding that is not known or cannot be
/// theirs. Reads at most some hundred bytes and leaves the stream where it was.
std::int32_t VqGetCodePage(TVqStream& AStream);

}  // namespace velmore
