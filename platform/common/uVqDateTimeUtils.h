#pragma once

/// Calendar arithmetic on TDateTime: the proleptic Gregorian calendar, years 1 to 9999, no leap seconds, no time zones.
///
///     TDateTime start = VqEncodeDateTime({2024, 2, 29, 8, 30, 0, 0});
///     TDateTime next = VqIncMonth(start, 12);                           // 28 February 2025, 8:30
///     auto clock = VqToSysTime(start);                                  // for std::chrono; the way back is implicit
///     if (auto due = VqIfSet(task->GetDueDate())) std::cout << *due;    // 2025-02-28T08:30:00Z
///
/// A TDateTime is a straight line: 0 is 30 December 1899, -0.25 is 18:00 of the day before. Its double tells
/// milliseconds apart in every year of the range, so that a value is exact to the millisecond here and whatever is
/// finer is rounded. All functions are free of state and may be called from any thread.

#include <chrono>
#include <optional>
#include <utility>

#include "platform/common/uVqSysUtils.h"

namespace velmore {

/// Days between 30 December 1899, where TDateTime starts, and 1 January 1970.
inline constexpr std::int64_t kVqUnixEpochDays = 25569;
/// Leap seconds are not counted.
inline constexpr std::int64_t kVqMillisecondsPerDay = 86'400'000;

/// A date and a time of day in their parts: month and day from 1, the hour from 0 to 23.
struct TVqDateTimeParts {
  /// The parts, midnight of 30 December 1899 at first, which is the value 0. Nothing is checked until they are
  /// encoded.
  std::int32_t Year = 1899;
  std::int32_t Month = 12;
  std::int32_t Day = 30;
  std::int32_t Hour = 0;
  std::int32_t Minute = 0;
  std::int32_t Second = 0;
  std::int32_t Millisecond = 0;

  friend constexpr bool operator==(const TVqDateTimeParts&, const TVqDateTimeParts&) = default;
};

/// True when the year has a 29 February in the Gregorian calendar.
constexpr bool VqIsLeapYear(std::int32_t year) noexcept {
  return std::chrono::year(year).is_leap();
}

/// Days of a month, 1 to 12; 0 for any other month.
constexpr std::int32_t VqDaysInMonth(std::int32_t year, std::int32_t month) noexcept {
  if (month < 1 || month > 12) return 0;
  const std::chrono::month number(static_cast<unsigned>(month));
  return static_cast<std::int32_t>(unsigned((std::chrono::year(year) / number / std::chrono::last).day()));
}

/// True for a date of the years 1 to 9999 that the calendar has.
constexpr bool VqIsValidDate(std::int32_t year, std::int32_t month, std::int32_t day) noexcept {
  return year >= 1 && year <= 9999 && day >= 1 && day <= VqDaysInMonth(year, month);
}

/// True for 0:00:00.000 to 23:59:59.999.
constexpr bool VqIsValidTime(std::int32_t hour, std::int32_t minute, std::int32_t second,
                             std::int32_t millisecond) noexcept {
  return hour >= 0 && hour <= 23 && minute >= 0 && minute <= 59 && second >= 0 && second <= 59 && millisecond >= 0 &&
         millisecond <= 999;
}

/// Whole days from 1 January 1970 to a date; the date must be one that the calendar has, and may lie some 20,000 years
/// beyond the range.
constexpr std::int64_t VqDaysFromCivil(std::int32_t year, std::int32_t month, std::int32_t day) noexcept {
  using namespace std::chrono;
  const year_month_day date(std::chrono::year(year), std::chrono::month(static_cast<unsigned>(month)),
                            std::chrono::day(static_cast<unsigned>(day)));
  return sys_days(date).time_since_epoch().count();
}

/// The date that lies `days` whole days after 1 January 1970; the time of day stays 0. The inverse of VqDaysFromCivil,
/// with the same reach.
constexpr TVqDateTimeParts VqCivilFromDays(std::int64_t days) noexcept {
  const std::chrono::year_month_day date{std::chrono::sys_days(std::chrono::days(days))};
  TVqDateTimeParts parts;
  parts.Year = int(date.year());
  parts.Month = static_cast<std::int32_t>(unsigned(date.month()));
  parts.Day = static_cast<std::int32_t>(unsigned(date.day()));
  return parts;
}

/// The first millisecond of the year 1, and the one after the last of the year 9999, as VqToUnixMilliseconds counts
/// them.
inline constexpr std::int64_t kVqFirstMillisecond = VqDaysFromCivil(1, 1, 1) * kVqMillisecondsPerDay;
inline constexpr std::int64_t kVqEndMillisecond = VqDaysFromCivil(10000, 1, 1) * kVqMillisecondsPerDay;

/// A number of milliseconds as days and what is left of them.
struct TVqDayTime {
  /// Whole days, rounded down, before zero as after it.
  std::int64_t Days;
  /// Milliseconds of that day, from 0.
  std::int64_t Milliseconds;
};
/// Splits a number of milliseconds. Time runs straight through zero.
constexpr TVqDayTime VqSplitMilliseconds(std::int64_t milliseconds) noexcept {
  const auto days = std::chrono::floor<std::chrono::days>(std::chrono::milliseconds(milliseconds));
  return {days.count(), milliseconds - days.count() * kVqMillisecondsPerDay};
}

/// Milliseconds from 1 January 1970, 0:00, rounded to the nearest, but never beyond the end: what lies in the last half
/// millisecond of 9999 stays in that year. Raises EConvertError when the value is not a number or lies outside the
/// years 1 to 9999.
std::int64_t VqToUnixMilliseconds(TDateTime value);
/// The inverse. Raises EConvertError outside the years 1 to 9999.
TDateTime VqFromUnixMilliseconds(std::int64_t milliseconds);

/// A date and time from its parts; false, and nothing changed, when the calendar has no such point.
bool VqTryEncodeDateTime(const TVqDateTimeParts& parts, TDateTime& value) noexcept;
/// The same; raises EConvertError when the calendar has no such point.
TDateTime VqEncodeDateTime(const TVqDateTimeParts& parts);
/// A date at 0:00. Raises EConvertError when the calendar has no such date.
TDateTime VqEncodeDate(std::int32_t year, std::int32_t month, std::int32_t day);
/// A time of day as a fraction of a day. Raises EConvertError when no clock shows it.
TDateTime VqEncodeTime(std::int32_t hour, std::int32_t minute, std::int32_t second, std::int32_t millisecond = 0);
/// The parts of a point in time, rounded to the millisecond. Raises EConvertError outside the years 1 to 9999.
TVqDateTimeParts VqDecodeDateTime(TDateTime value);

/// Midnight at or before the point; raises as VqDecodeDateTime does.
TDateTime VqDateOf(TDateTime value);
/// The time of day, from 0 to just under 1; raises as VqDecodeDateTime does.
TDateTime VqTimeOf(TDateTime value);
/// 0 for Sunday to 6 for Saturday; raises as VqDecodeDateTime does.
std::int32_t VqDayOfWeek(TDateTime value);
/// Midnight of the n-th (1 to 4; 5 for the last) weekday (0 for Sunday to 6) of a month. Raises EConvertError for a
/// month or a number that there is not.
TDateTime VqNthWeekday(std::int32_t year, std::int32_t month, std::int32_t n, std::int32_t weekday);
/// The same day and time so many months later (or earlier); a day that the month does not have becomes its last one.
/// Raises EConvertError when either point lies outside the years 1 to 9999.
TDateTime VqIncMonth(TDateTime value, std::int32_t months);

/// A point on the system clock, fine enough for a TDateTime and wide enough for all its years.
using TVqSysTime = std::chrono::time_point<std::chrono::system_clock, std::chrono::milliseconds>;

/// Exact to the millisecond; raises EConvertError outside the years 1 to 9999. The way back is TDateTime's constructor.
TVqSysTime VqToSysTime(TDateTime value);
/// The same in another unit, such as `VqToSysTime<std::chrono::days>`: units that are coarser get the point at or
/// before the value. Raises EConvertError, too, beyond what the unit can tell: nanoseconds end in the years 1678 and
/// 2261.
template <typename TDuration>
std::chrono::sys_time<TDuration> VqToSysTime(TDateTime value);
/// The inverse; exact to the millisecond, raises EConvertError outside the years 1 to 9999.
inline TDateTime VqFromSysTime(TVqSysTime value) {
  return value;
}
/// The same in the clock's own unit. Clocks that count nanoseconds end in the years 1678 and 2261: raises EConvertError
/// beyond what the clock can tell.
inline std::chrono::system_clock::time_point VqToTimePoint(TDateTime value) {
  return VqToSysTime<std::chrono::system_clock::duration>(value);
}
/// Rounded to the millisecond; raises EConvertError outside the years 1 to 9999.
inline TDateTime VqFromTimePoint(std::chrono::system_clock::time_point value) {
  return value;
}

/// The point in time, or nothing for 0, as which every date reads that an object does not have. For points in time
/// only: as a time of day, 0 is midnight.
constexpr std::optional<TDateTime> VqIfSet(TDateTime value) noexcept {
  return value == 0.0 ? std::nullopt : std::optional(value);
}

/// ISO 8601 in UTC, "2024-02-29T08:30:00Z", with three digits behind a point where there are milliseconds: what `<<`
/// writes. Raises EConvertError outside the years 1 to 9999. VqXMLToDateTime (uVqXMLUtils.h) reads it, in any zone.
string VqToIso8601(TDateTime value);

/// Now, UTC.
TDateTime VqNow();

template <typename TDuration>
std::chrono::sys_time<TDuration> VqToSysTime(TDateTime value) {
  using std::chrono::milliseconds;
  const milliseconds since = VqToSysTime(value).time_since_epoch();
  if constexpr (std::chrono::treat_as_floating_point_v<typename TDuration::rep>) {
    return std::chrono::sys_time<TDuration>(since);
  } else if constexpr (std::ratio_less_v<typename TDuration::period, std::milli>) {
    // Cutting towards zero stays inside the unit at both ends; rounding outward would overflow.
    if (since < std::chrono::duration_cast<milliseconds>((TDuration::min)()) ||
        since > std::chrono::duration_cast<milliseconds>((TDuration::max)())) {
      throw EConvertError("The date lies outside what the system's clock can tell.");
    }
    return std::chrono::sys_time<TDuration>(std::chrono::duration_cast<TDuration>(since));
  } else {
    using TWide = std::chrono::duration<std::int64_t, typename TDuration::period>;
    const std::int64_t count = std::chrono::floor<TWide>(since).count();
    if (!std::in_range<typename TDuration::rep>(count)) {
      throw EConvertError("The date lies outside what the system's clock can tell.");
    }
    return std::chrono::sys_time<TDuration>(TDuration(static_cast<typename TDuration::rep>(count)));
  }
}

}  // namespace velmore
