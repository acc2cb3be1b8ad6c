#pragma once

// What each system tells of a zone in its own way.

#include "platform/os/uVqTimeZone.h"

#pragma GCC visibility push(hidden)

namespace velmore {

/// The two parts of an offset, in minutes.
struct TVqOffsetParts {
  std::int32_t Standard = 0, Daylight = 0;
};

/// Raises EConvertError for a name that the zone database does not know.
TVqOffsetParts VqOffsetsOf(const string& ianaId, TDateTime utc);

}  // namespace velmore

#pragma GCC visibility pop
