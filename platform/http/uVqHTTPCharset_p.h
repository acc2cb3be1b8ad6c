#pragma once

// Charsets that the layer has no table of its own for: the system's (iconv; Windows' code pages).

#include <string>
#include <string_view>

#include "platform/common/uVqTypes.h"

#pragma GCC visibility push(hidden)

namespace velmore {

/// False for a charset that the system does not know. Bytes that are no text in it become U+FFFD.
bool VqDecodeCharset(std::string_view bytes, const std::string& charset, string& result);

}  // namespace velmore

#pragma GCC visibility pop
