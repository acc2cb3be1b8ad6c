#pragma once

// The rules that a variable TZ may hold instead of a name: "CET-1CEST,M3.5.0,M10.5.0/3", "<+0330>-3:30", "EST5EDT".

#include <optional>
#include <string_view>

#include "platform/os/uVqTimeZone.h"

#pragma GCC visibility push(hidden)

namespace velmore {

/// The offsets that a rule gives at a time (UTC); nothing when the text is no rule. A rule with daylight saving but
/// without dates has those of the United States, as the C library does it.
std::optional<TVqZoneOffsets> VqPosixOffsets(std::string_view rule, TDateTime utc);

}  // namespace velmore

#pragma GCC visibility pop
