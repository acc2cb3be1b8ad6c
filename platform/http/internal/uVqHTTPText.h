#pragma once

// What a server says, in texts for people.

#include "platform/common/uVqTypes.h"

#pragma GCC visibility push(hidden)

namespace velmore {

/// Without control characters, and no longer than `most` units, behind which "..." stands (0: any length).
string VqShownText(const string& text, std::size_t most);

/// The beginning of a text whose line breaks are part of it, of so many units, behind which "..." stands (0: any
/// length).
string VqCutText(const string& text, std::size_t most);

/// An address as it may be shown: without user information, and without what stands behind "?" and "#".
string VqShownAddress(const string& address, std::size_t most);

}  // namespace velmore

#pragma GCC visibility pop
