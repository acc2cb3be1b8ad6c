#pragma once

// Points in time as seconds since 1970 UTC, and their texts.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace velmore::simulator {

using Seconds = std::int64_t;

Seconds Now();
/// "2026-03-04T05:06:07Z"
std::string TimeText(Seconds time);
/// Reads an XML date-time or date with any offset ("Z", "+02:00" or none, which is UTC). Fractions are dropped.
std::optional<Seconds> ParseTime(std::string_view text);
/// The same in units of 100 ns, fractions included as far as these can hold them.
std::optional<std::int64_t> ParseTicks(std::string_view text);
/// "Wed, 04 Mar 2026 05:06:07 +0000"
std::string MailDate(Seconds time);

/// Days since 1970 of a date of the proleptic Gregorian calendar, and back.
std::int64_t DaysFromDate(std::int64_t year, unsigned month, unsigned day);
struct Date {
  std::int64_t year = 0;
  unsigned month = 0;  // from 1
  unsigned day = 0;    // from 1
};
Date DateFromDays(std::int64_t days);
/// 0 Sunday .. 6 Saturday
unsigned Weekday(std::int64_t days);
unsigned DaysInMonth(std::int64_t year, unsigned month);

}  // namespace velmore::simulator
