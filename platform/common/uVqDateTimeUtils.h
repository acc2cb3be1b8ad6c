#pragma once

/// Calendar arithmetic on TDateTime: the proleptic Gregorian calendar, years 1 to 9999, no leap seconds, no time zones.
///
///     TDateTime start = VqEncodeDateTime({2024, 2, 29, 8, 30, 0, 0});
///     TDateTime next = VqIncMonth(start, 12);                           // 28 February 2025, 8:30
///     auto clock = VqToTimePoint(start);                                // for std::chrono
///
/// A TDateTime is a straight line: 0 is 30 December 1899, -0.25 is 18:00 of the day before. Its double tells
/// milliseconds apart in every year of the range, so that a value is exact to the millisecond here and whatever is
/// finer is rounded. All functions are free of state and may be called from any thread.

#include <chrono>

#include "platform/common/uVqTypes.h"

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
  return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

/// Days of a month, 1 to 12; 0 for any other month.
constexpr std::int32_t VqDaysInMonth(std::int32_t year, std::int32_t month) noexcept {
  constexpr std::int8_t kDays[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  if (month < 1 || month > 12) return 0;
  return month == 2 && VqIsLeapYear(year) ? 29 : kDays[month - 1];
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

/// Whole days from 1 January 1970 to a date of any year; the date must be one that the calendar has.
constexpr std::int64_t VqDaysFromCivil(std::int64_t year, std::int32_t month, std::int32_t day) noexcept {
  // Years that start in March put the leap day at the end; eras of 400 years are all alike.
  year -= month <= 2;
  const std::int64_t era = (year >= 0 ? year : year - 399) / 400;
  const std::int64_t yearOfEra = year - era * 400;
  const std::int64_t dayOfYear = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
  return era * 146097 + yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear - 719468;
}

/// The date that lies `days` whole days behind 1 January 1970; the time of day stays 0. The inverse of
/// VqDaysFromCivil; meant for the years 1 to 9999, right far beyond them.
constexpr TVqDateTimeParts VqCivilFromDays(std::int64_t days) noexcept {
  days += 719468;
  const std::int64_t era = (days >= 0 ? days : days - 146096) / 146097;
  const std::int64_t dayOfEra = days - era * 146097;
  const std::int64_t yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
  const std::int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
  const std::int64_t month = (5 * dayOfYear + 2) / 153;
  TVqDateTimeParts parts;
  parts.Day = static_cast<std::int32_t>(dayOfYear - (153 * month + 2) / 5 + 1);
  parts.Month = static_cast<std::int32_t>(month < 10 ? month + 3 : month - 9);
  parts.Year = static_cast<std::int32_t>(yearOfEra + era * 400 + (parts.Month <= 2));
  return parts;
}

/// Milliseconds from 1 January 1970, 0:00, rounded to the nearest. Raises EConvertError when the value is not a number
/// or lies outside the years 1 to 9999.
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
/// The same day and time so many months later (or earlier); a day that the month does not have becomes its last one.
/// Raises EConvertError when either point lies outside the years 1 to 9999.
TDateTime VqIncMonth(TDateTime value, std::int32_t months);

/// A point on the system clock, fine enough for a TDateTime and wide enough for all its years.
using TVqSysTime = std::chrono::time_point<std::chrono::system_clock, std::chrono::milliseconds>;

/// Exact to the millisecond; raises EConvertError outside the years 1 to 9999.
TVqSysTime VqToSysTime(TDateTime value);
/// The inverse; exact to the millisecond, raises EConvertError outside the years 1 to 9999.
TDateTime VqFromSysTime(TVqSysTime value);
/// The same in the clock's own unit. Clocks that count nanoseconds end in the years 1678 and 2261: raises EConvertError
/// beyond what the clock can tell.
std::chrono::system_clock::time_point VqToTimePoint(TDateTime value);
/// Rounded to the millisecond; raises EConvertError outside the years 1 to 9999.
TDateTime VqFromTimePoint(std::chrono::system_clock::time_point value);

/// Now, UTC.
TDateTime VqNow();

}  // namespace velmore
