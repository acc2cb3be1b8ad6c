#include "platform/common/uVqDateTimeUtils.h"

#include <cmath>
#include <limits>

#include "platform/common/uVqSysUtils.h"

namespace velmore {
namespace {

[[noreturn]] void RaiseOutOfRange() {
  throw EConvertError("The date lies outside the years 1 to 9999.");
}

/// Days and the rest of a day apart: the sum of both in one step would lose digits that the day part does not need.
TDateTime FromMilliseconds(std::int64_t milliseconds) {
  const auto [days, rest] = VqSplitMilliseconds(milliseconds);
  return static_cast<double>(days + kVqUnixEpochDays) +
         static_cast<double>(rest) / static_cast<double>(kVqMillisecondsPerDay);
}

string TwoDigits(std::int32_t value) {
  return (value >= 0 && value < 10 ? "0" : "") + IntToStr(value);
}

}  // namespace

std::int64_t VqToUnixMilliseconds(TDateTime value) {
  const double days = value;
  if (!(days > -700000.0 && days < 3000000.0)) RaiseOutOfRange();  // not a number fails the test, too
  const double whole = std::floor(days);
  const std::int64_t rest = std::llround((days - whole) * static_cast<double>(kVqMillisecondsPerDay));
  const std::int64_t result = (static_cast<std::int64_t>(whole) - kVqUnixEpochDays) * kVqMillisecondsPerDay + rest;
  if (result < kVqFirstMillisecond || result > kVqEndMillisecond) RaiseOutOfRange();
  if (result == kVqEndMillisecond) {
    // Servers write the end of time as 9999-12-31T23:59:59.9999999: rounded down, and not refused.
    if (whole >= static_cast<double>(kVqEndMillisecond / kVqMillisecondsPerDay + kVqUnixEpochDays)) RaiseOutOfRange();
    return kVqEndMillisecond - 1;
  }
  return result;
}

TDateTime VqFromUnixMilliseconds(std::int64_t milliseconds) {
  if (milliseconds < kVqFirstMillisecond || milliseconds >= kVqEndMillisecond) RaiseOutOfRange();
  return FromMilliseconds(milliseconds);
}

bool VqTryEncodeDateTime(const TVqDateTimeParts& parts, TDateTime& value) noexcept {
  if (!VqIsValidDate(parts.Year, parts.Month, parts.Day) ||
      !VqIsValidTime(parts.Hour, parts.Minute, parts.Second, parts.Millisecond)) {
    return false;
  }
  const std::int64_t seconds = (parts.Hour * 60 + parts.Minute) * 60 + parts.Second;
  value = FromMilliseconds(VqDaysFromCivil(parts.Year, parts.Month, parts.Day) * kVqMillisecondsPerDay +
                           seconds * 1000 + parts.Millisecond);
  return true;
}

TDateTime VqEncodeDateTime(const TVqDateTimeParts& parts) {
  TDateTime value;
  if (!VqTryEncodeDateTime(parts, value)) {
    throw EConvertError("There is no date and time " + IntToStr(parts.Year) + "-" + TwoDigits(parts.Month) + "-" +
                        TwoDigits(parts.Day) + " " + TwoDigits(parts.Hour) + ":" + TwoDigits(parts.Minute) + ":" +
                        TwoDigits(parts.Second) + "." + IntToStr(parts.Millisecond) + ".");
  }
  return value;
}

TDateTime VqEncodeDate(std::int32_t year, std::int32_t month, std::int32_t day) {
  if (!VqIsValidDate(year, month, day)) {
    throw EConvertError("There is no date " + IntToStr(year) + "-" + TwoDigits(month) + "-" + TwoDigits(day) + ".");
  }
  return static_cast<double>(VqDaysFromCivil(year, month, day) + kVqUnixEpochDays);
}

TDateTime VqEncodeTime(std::int32_t hour, std::int32_t minute, std::int32_t second, std::int32_t millisecond) {
  if (!VqIsValidTime(hour, minute, second, millisecond)) {
    throw EConvertError("There is no time of day " + TwoDigits(hour) + ":" + TwoDigits(minute) + ":" +
                        TwoDigits(second) + "." + IntToStr(millisecond) + ".");
  }
  return static_cast<double>(((hour * 60 + minute) * 60 + second) * std::int64_t{1000} + millisecond) /
         static_cast<double>(kVqMillisecondsPerDay);
}

TVqDateTimeParts VqDecodeDateTime(TDateTime value) {
  const auto [days, rest] = VqSplitMilliseconds(VqToUnixMilliseconds(value));
  const std::chrono::hh_mm_ss time{std::chrono::milliseconds(rest)};
  TVqDateTimeParts parts = VqCivilFromDays(days);
  parts.Hour = static_cast<std::int32_t>(time.hours().count());
  parts.Minute = static_cast<std::int32_t>(time.minutes().count());
  parts.Second = static_cast<std::int32_t>(time.seconds().count());
  parts.Millisecond = static_cast<std::int32_t>(time.subseconds().count());
  return parts;
}

TDateTime VqDateOf(TDateTime value) {
  return static_cast<double>(VqSplitMilliseconds(VqToUnixMilliseconds(value)).Days + kVqUnixEpochDays);
}

TDateTime VqTimeOf(TDateTime value) {
  return static_cast<double>(VqSplitMilliseconds(VqToUnixMilliseconds(value)).Milliseconds) /
         static_cast<double>(kVqMillisecondsPerDay);
}

std::int32_t VqDayOfWeek(TDateTime value) {
  const std::chrono::sys_days day{std::chrono::days(VqSplitMilliseconds(VqToUnixMilliseconds(value)).Days)};
  return static_cast<std::int32_t>(std::chrono::weekday(day).c_encoding());
}

TDateTime VqNthWeekday(std::int32_t year, std::int32_t month, std::int32_t n, std::int32_t weekday) {
  if (n < 1 || n > 5 || weekday < 0 || weekday > 6)
    throw EConvertError(Format("There is no weekday %d of number %d in a month.", {weekday, n}));
  const TDateTime first = VqEncodeDate(year, month, 1);
  std::int32_t day = 1 + (weekday - VqDayOfWeek(first) + 7) % 7 + (n - 1) * 7;
  if (day > VqDaysInMonth(year, month)) day -= 7;
  return VqEncodeDate(year, month, day);
}

TDateTime VqIncMonth(TDateTime value, std::int32_t months) {
  TVqDateTimeParts parts = VqDecodeDateTime(value);
  const std::int64_t month = parts.Year * std::int64_t{12} + (parts.Month - 1) + months;
  if (month < 12 || month >= 120000) RaiseOutOfRange();
  parts.Year = static_cast<std::int32_t>(month / 12);
  parts.Month = static_cast<std::int32_t>(month % 12) + 1;
  const std::int32_t last = VqDaysInMonth(parts.Year, parts.Month);
  if (parts.Day > last) parts.Day = last;
  return VqEncodeDateTime(parts);
}

TVqSysTime VqToSysTime(TDateTime value) {
  return TVqSysTime(std::chrono::milliseconds(VqToUnixMilliseconds(value)));
}

TDateTime VqFromSysTime(TVqSysTime value) {
  return VqFromUnixMilliseconds(value.time_since_epoch().count());
}

std::chrono::system_clock::time_point VqToTimePoint(TDateTime value) {
  using Clock = std::chrono::system_clock;
  const TVqSysTime point = VqToSysTime(value);
  // Cutting towards zero stays inside the clock at both ends; rounding outward would overflow.
  constexpr auto kLowest = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::duration::min());
  constexpr auto kHighest = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::duration::max());
  if (point.time_since_epoch() < kLowest || point.time_since_epoch() > kHighest) {
    throw EConvertError("The date lies outside what the system's clock can tell.");
  }
  return std::chrono::time_point_cast<Clock::duration>(point);
}

TDateTime VqFromTimePoint(std::chrono::system_clock::time_point value) {
  const auto since = value.time_since_epoch();
  auto milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(since);
  const auto rest = since - milliseconds;
  if (rest >= std::chrono::microseconds(500)) ++milliseconds;
  if (rest < std::chrono::microseconds(-500)) --milliseconds;
  return VqFromUnixMilliseconds(milliseconds.count());
}

TDateTime VqNow() {
  return VqFromTimePoint(std::chrono::system_clock::now());
}

}  // namespace velmore
