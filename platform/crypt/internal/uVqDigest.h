#pragma once

// Digests and random bytes of the system's cryptographic library, for the rooms above.

#include <cstddef>
#include <string>
#include <string_view>

#pragma GCC visibility push(hidden)

namespace velmore {

/// The 32 bytes of SHA-256. Raises EVqDataProtection when the cryptographic library fails.
std::string VqSha256(std::string_view bytes);

/// Bytes that nobody can guess. Raises as above.
std::string VqRandomBytes(std::size_t count);

}  // namespace velmore

#pragma GCC visibility pop
