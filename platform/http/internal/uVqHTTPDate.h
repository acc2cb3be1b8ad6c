#pragma once

// Dates of headers, read once for all: "Expires" of cookies, "Retry-After", "Date".

#include <cstdint>
#include <optional>
#include <string_view>

#pragma GCC visibility push(hidden)

namespace velmore {

/// Seconds since 1970 of a date in any of the three forms that servers write ("Sun, 06 Nov 1994 08:49:37 GMT",
/// "Sunday, 06-Nov-94 08:49:37 GMT", "Sun Nov  6 08:49:37 1994"). Two digits of a year below 70 are of this century.
/// Nothing when the text is no date, or one before 1601. All dates are UTC, whatever zone stands behind them.
std::optional<std::int64_t> VqHTTPDate(std::string_view text) noexcept;

/// Seconds since 1970.
std::int64_t VqHTTPNow() noexcept;

}  // namespace velmore

#pragma GCC visibility pop
