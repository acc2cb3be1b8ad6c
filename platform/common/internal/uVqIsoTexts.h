#pragma once

/// The two halves of ISO 8601, which the calendar and the texts of XML put together.

#include <cstdint>
#include <string>

#pragma GCC visibility push(hidden)

namespace velmore::detail {

/// "2024-02-29", of whole days from 1 January 1970 in the years 1 to 9999.
std::string DateText(std::int64_t days);
/// "08:30:00", or "08:30:00.250" where there are milliseconds, of the milliseconds of a day.
std::string TimeText(std::int64_t milliseconds);

}  // namespace velmore::detail

#pragma GCC visibility pop
