#pragma once

// What the two halves of data protection share: how a blob begins, on every system.

#include <cstddef>
#include <string_view>

#pragma GCC visibility push(hidden)

namespace velmore {

/// Ours: four letters, the version and the scope.
inline constexpr std::string_view kVqBlobMark = "VqDP";

/// How blobs of Windows' data protection begin: their version and the GUID of their provider, as they stand in memory.
inline constexpr std::string_view kVqWindowsBlobMark{
    "\x01\x00\x00\x00\xD0\x8C\x9D\xDF\x01\x15\xD1\x11\x8C\x7A\x00\xC0\x4F\xC2\x97\xEB", 20};

}  // namespace velmore

#pragma GCC visibility pop
