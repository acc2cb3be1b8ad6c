#include "platform/common/uVqDateTimeUtils.h"

#include <cmath>
#include <cstdio>
#include <ostream>

#include "platform/common/internal/uVqIsoTexts.h"

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

void TDateTime::CheckDays(double since) {
  if (!(since > -750000.0 && since < 3000000.0)) RaiseOutOfRange();  // not a number fails the test, too
}

double TDateTime::DaysOf(TRounded since) {
  // The end of time, as servers write it, is rounded down, and not refused.
  if (since.Up && since.Milliseconds == kVqEndMillisecond) --since.Milliseconds;
  return VqFromUnixMilliseconds(since.Milliseconds);
}

std::ostream& operator<<(std::ostream& out, TDateTime value) {
  try {
    return out << VqToIso8601(value);
  } catch (const EConvertError&) {
    return out << static_cast<double>(value) << " days";
  }
}

string VqToIso8601(TDateTime value) {
  const auto [days, milliseconds] = VqSplitMilliseconds(VqToUnixMilliseconds(value));
  return detail::DateText(days) + "T" + detail::TimeText(milliseconds) + "Z";
}

TDateTime VqNow() {
  return std::chrono::system_clock::now();
}

}  // namespace velmore

namespace velmore::detail {

std::string DateText(std::int64_t days) {
  const TVqDateTimeParts date = VqCivilFromDays(days);
  char text[16];
  std::snprintf(text, sizeof text, "%04d-%02d-%02d", date.Year % 10000, date.Month % 100, date.Day % 100);
  return text;
}

std::string TimeText(std::int64_t milliseconds) {
  const auto part = [&](std::int64_t unit, int range) { return static_cast<int>(milliseconds / unit) % range; };
  char text[24];
  std::snprintf(text, sizeof text, "%02d:%02d:%02d", part(3600000, 24), part(60000, 60), part(1000, 60));
  std::string result = text;
  if (const int rest = part(1, 1000); rest != 0) {
    std::snprintf(text, sizeof text, ".%03d", rest);
    result += text;
  }
  return result;
}

}  // namespace velmore::detail
