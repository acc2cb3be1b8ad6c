#pragma once

#pragma GCC visibility push(hidden)

namespace velmore {

/// Stands where a request must name a mailbox and none is meant; a domain that is reserved for examples.
inline constexpr const char* kDummyAddress = "nobody@example.com";

}  // namespace velmore

#pragma GCC visibility pop
