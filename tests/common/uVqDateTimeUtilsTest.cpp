#include "platform/common/uVqDateTimeUtils.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <iomanip>
#include <limits>
#include <random>
#include <sstream>
#include <tuple>
#include <unordered_map>

#include "platform/common/uVqSysUtils.h"

namespace velmore {
namespace {

constexpr TVqDateTimeParts kFirst{1, 1, 1, 0, 0, 0, 0};
constexpr TVqDateTimeParts kLast{9999, 12, 31, 23, 59, 59, 999};

TEST(Calendar, DaysRunThroughAllYearsWithoutAGap) {
  // Counting by the rule that children learn is an independent judge.
  static constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  std::int64_t days = VqDaysFromCivil(1, 1, 1);
  for (std::int32_t year = 1; year <= 9999; ++year) {
    const bool leap = year % 400 == 0 || (year % 4 == 0 && year % 100 != 0);
    ASSERT_EQ(VqIsLeapYear(year), leap) << year;
    for (std::int32_t month = 1; month <= 12; ++month) {
      const int last = month == 2 && leap ? 29 : kDays[month - 1];
      ASSERT_EQ(VqDaysInMonth(year, month), last) << year << '-' << month;
      for (std::int32_t day = 1; day <= last; ++day, ++days) {
        const TVqDateTimeParts parts = VqCivilFromDays(days);
        ASSERT_TRUE(VqDaysFromCivil(year, month, day) == days && parts.Year == year && parts.Month == month &&
                    parts.Day == day)
            << year << '-' << month << '-' << day;
      }
    }
  }
  EXPECT_EQ(VqDaysFromCivil(1970, 1, 1), 0);
  EXPECT_EQ(days, VqDaysFromCivil(10000, 1, 1));
  EXPECT_EQ(days, 2932897);
}

TEST(Calendar, CenturiesAreLeapYearsEveryFourth) {
  EXPECT_TRUE(VqIsLeapYear(2000));
  EXPECT_FALSE(VqIsLeapYear(1900));
  EXPECT_TRUE(VqIsLeapYear(2024));
  EXPECT_FALSE(VqIsLeapYear(2023));
  EXPECT_EQ(VqDaysInMonth(2024, 2), 29);
  EXPECT_EQ(VqDaysInMonth(1900, 2), 28);
  EXPECT_EQ(VqDaysInMonth(2024, 0), 0);
  EXPECT_EQ(VqDaysInMonth(2024, 13), 0);
}

TEST(DateTime, KnownDaysHaveKnownNumbers) {
  EXPECT_EQ(VqEncodeDate(1899, 12, 30), 0.0);
  EXPECT_EQ(VqEncodeDate(1899, 12, 31), 1.0);
  EXPECT_EQ(VqEncodeDate(1970, 1, 1), 25569.0);
  EXPECT_EQ(VqEncodeDate(2000, 1, 1), 36526.0);
  EXPECT_EQ(VqEncodeDate(1, 1, 1), -693593.0);
  EXPECT_EQ(VqEncodeDate(9999, 12, 31), 2958465.0);
  EXPECT_EQ(VqEncodeDateTime({2000, 1, 1, 6, 0, 0, 0}), 36526.25);
  EXPECT_EQ(VqEncodeDateTime({1899, 12, 29, 18, 0, 0, 0}), -0.25) << "time runs straight through zero";
  EXPECT_EQ(VqEncodeTime(12, 0, 0), 0.5);
  EXPECT_EQ(VqEncodeTime(0, 0, 0), 0.0);
  EXPECT_EQ(VqDecodeDateTime({}), (TVqDateTimeParts{1899, 12, 30, 0, 0, 0, 0}));
  EXPECT_EQ(VqDecodeDateTime({}), TVqDateTimeParts());
  EXPECT_EQ(VqDecodeDateTime(-0.25), (TVqDateTimeParts{1899, 12, 29, 18, 0, 0, 0}));
}

TEST(DateTime, EveryMillisecondIsExactInAllYears) {
  std::mt19937 random(20240229);
  std::uniform_int_distribution<std::int64_t> days(VqDaysFromCivil(1, 1, 1), VqDaysFromCivil(9999, 12, 31));
  std::uniform_int_distribution<std::int64_t> rest(0, kVqMillisecondsPerDay - 1);
  for (int i = 0; i < 200000; ++i) {
    const std::int64_t milliseconds = days(random) * kVqMillisecondsPerDay + rest(random);
    const TDateTime value = VqFromUnixMilliseconds(milliseconds);
    ASSERT_EQ(VqToUnixMilliseconds(value), milliseconds);
    const TVqDateTimeParts parts = VqDecodeDateTime(value);
    ASSERT_EQ(double(VqEncodeDateTime(parts)), double(value)) << milliseconds;
    ASSERT_LT(VqToUnixMilliseconds(VqFromUnixMilliseconds(milliseconds)),
              milliseconds == VqToUnixMilliseconds(VqEncodeDateTime(kLast))
                  ? milliseconds + 1
                  : VqToUnixMilliseconds(VqFromUnixMilliseconds(milliseconds + 1)));
  }
}

TEST(DateTime, EndsOfTheRangeAreInside) {
  EXPECT_EQ(VqDecodeDateTime(VqEncodeDateTime(kFirst)), kFirst);
  EXPECT_EQ(VqDecodeDateTime(VqEncodeDateTime(kLast)), kLast);
  const std::int64_t first = VqToUnixMilliseconds(VqEncodeDateTime(kFirst));
  const std::int64_t last = VqToUnixMilliseconds(VqEncodeDateTime(kLast));
  EXPECT_EQ(first, -62135596800000);
  EXPECT_EQ(last, 253402300799999);
  EXPECT_THROW(VqFromUnixMilliseconds(first - 1), EConvertError);
  EXPECT_THROW(VqFromUnixMilliseconds(last + 1), EConvertError);
  EXPECT_THROW(VqFromUnixMilliseconds(std::numeric_limits<std::int64_t>::min()), EConvertError);
  EXPECT_THROW(VqFromUnixMilliseconds(std::numeric_limits<std::int64_t>::max()), EConvertError);
}

TEST(DateTime, ValuesThatAreNoDateRaise) {
  const double infinity = std::numeric_limits<double>::infinity();
  for (const double value : {std::nan(""), infinity, -infinity, 1e300, -1e300, 2958466.0, -693593.5, 1e7, -1e7}) {
    try {
      VqDecodeDateTime(value);
      FAIL() << value;
    } catch (const EConvertError& error) {
      EXPECT_STREQ(error.what(), "The date lies outside the years 1 to 9999.");
    }
    EXPECT_THROW(VqDateOf(value), EConvertError);
    EXPECT_THROW(VqTimeOf(value), EConvertError);
    EXPECT_THROW(VqDayOfWeek(value), EConvertError);
    EXPECT_THROW(VqIncMonth(value, 0), EConvertError);
    EXPECT_THROW(VqToSysTime(value), EConvertError);
    EXPECT_THROW(VqToTimePoint(value), EConvertError);
  }
}

TEST(DateTime, PartsThatTheCalendarDoesNotHaveAreRefused) {
  const TVqDateTimeParts good{2024, 2, 29, 23, 59, 59, 999};
  TDateTime value = 7.0;
  ASSERT_TRUE(VqTryEncodeDateTime(good, value));
  const auto refused = [&](auto change) {
    TVqDateTimeParts parts = good;
    change(parts);
    TDateTime untouched = 7.0;
    EXPECT_FALSE(VqTryEncodeDateTime(parts, untouched));
    EXPECT_EQ(untouched, 7.0);
    EXPECT_THROW(VqEncodeDateTime(parts), EConvertError);
  };
  refused([](auto& p) { p.Year = 2023; });
  refused([](auto& p) { p.Year = 0; });
  refused([](auto& p) { p.Year = 10000; });
  refused([](auto& p) { p.Year = -4; });
  refused([](auto& p) { p.Month = 0; });
  refused([](auto& p) { p.Month = 13; });
  refused([](auto& p) { p.Day = 0; });
  refused([](auto& p) { p.Day = 30; });
  refused([](auto& p) { p.Hour = 24; });
  refused([](auto& p) { p.Hour = -1; });
  refused([](auto& p) { p.Minute = 60; });
  refused([](auto& p) { p.Minute = -1; });
  refused([](auto& p) { p.Second = 60; });
  refused([](auto& p) { p.Second = -1; });
  refused([](auto& p) { p.Millisecond = 1000; });
  refused([](auto& p) { p.Millisecond = -1; });
  try {
    VqEncodeDateTime({2023, 2, 29, 1, 2, 3, 4});
    FAIL();
  } catch (const EConvertError& error) {
    EXPECT_STREQ(error.what(), "There is no date and time 2023-02-29 01:02:03.4.");
  }
  try {
    VqEncodeDate(2023, 2, 29);
    FAIL();
  } catch (const EConvertError& error) {
    EXPECT_STREQ(error.what(), "There is no date 2023-02-29.");
  }
  try {
    VqEncodeTime(24, 0, 0);
    FAIL();
  } catch (const EConvertError& error) {
    EXPECT_STREQ(error.what(), "There is no time of day 24:00:00.0.");
  }
}

TEST(DateTime, FractionsRoundToTheNearestMillisecond) {
  const TDateTime noon = VqEncodeDateTime({2024, 1, 1, 12, 0, 0, 0});
  const double millisecond = 1.0 / static_cast<double>(kVqMillisecondsPerDay);
  EXPECT_EQ(VqDecodeDateTime(noon + 0.4 * millisecond).Millisecond, 0);
  EXPECT_EQ(VqDecodeDateTime(noon + 0.6 * millisecond).Millisecond, 1);
  EXPECT_EQ(VqDecodeDateTime(noon - 0.6 * millisecond), (TVqDateTimeParts{2024, 1, 1, 11, 59, 59, 999}));
  const TDateTime midnight = VqEncodeDate(2024, 1, 1);
  EXPECT_EQ(VqDecodeDateTime(midnight - 0.4 * millisecond), (TVqDateTimeParts{2024, 1, 1, 0, 0, 0, 0}))
      << "rounding may reach the next day";
}

TEST(DateTime, LastHalfMillisecondStaysInItsYear) {
  const double end = 2958466.0;
  EXPECT_EQ(VqDecodeDateTime(std::nextafter(end, 0)), kLast);
  EXPECT_EQ(double(VqDateOf(std::nextafter(end, 0))), 2958465.0);
  EXPECT_EQ(VqToUnixMilliseconds(end - 0.4 / static_cast<double>(kVqMillisecondsPerDay)), kVqEndMillisecond - 1);
  EXPECT_THROW(VqToUnixMilliseconds(end), EConvertError);
  EXPECT_THROW(VqToUnixMilliseconds(std::nextafter(end, 1e9)), EConvertError);
  EXPECT_EQ(VqToUnixMilliseconds(std::nextafter(-693593.0, -1e9)), kVqFirstMillisecond) << "to the nearest";
}

TEST(DateTime, DateAndTimeComeApart) {
  const TDateTime value = VqEncodeDateTime({2024, 2, 29, 8, 30, 15, 250});
  EXPECT_EQ(double(VqDateOf(value)), double(VqEncodeDate(2024, 2, 29)));
  EXPECT_EQ(double(VqTimeOf(value)), double(VqEncodeTime(8, 30, 15, 250)));
  EXPECT_EQ(double(VqDateOf(-0.25)), -1.0);
  EXPECT_EQ(double(VqTimeOf(-0.25)), 0.75);
}

TEST(DateTime, WeekdaysCountFromSunday) {
  EXPECT_EQ(VqDayOfWeek(VqEncodeDate(1970, 1, 1)), 4);
  EXPECT_EQ(VqDayOfWeek(VqEncodeDate(2024, 2, 25)), 0);
  EXPECT_EQ(VqDayOfWeek(VqEncodeDateTime({2024, 3, 2, 23, 59, 59, 999})), 6);
  EXPECT_EQ(VqDayOfWeek(VqEncodeDate(1, 1, 1)), 1);
  EXPECT_EQ(VqDayOfWeek(VqEncodeDate(9999, 12, 31)), 5);
}

TEST(DateTime, MonthsEndWithTheirLastDay) {
  const auto moved = [](std::int32_t year, std::int32_t month, std::int32_t day, std::int32_t months) {
    const TVqDateTimeParts parts =
        VqDecodeDateTime(VqIncMonth(VqEncodeDateTime({year, month, day, 8, 30, 0, 1}), months));
    EXPECT_EQ(parts.Hour, 8);
    EXPECT_EQ(parts.Millisecond, 1);
    return parts.Year * 10000 + parts.Month * 100 + parts.Day;
  };
  EXPECT_EQ(moved(2024, 1, 31, 1), 20240229);
  EXPECT_EQ(moved(2023, 1, 31, 1), 20230228);
  EXPECT_EQ(moved(2024, 2, 29, 12), 20250228);
  EXPECT_EQ(moved(2024, 3, 31, -1), 20240229);
  EXPECT_EQ(moved(2024, 1, 15, -1), 20231215);
  EXPECT_EQ(moved(2024, 12, 15, 1), 20250115);
  EXPECT_EQ(moved(2024, 5, 5, 0), 20240505);
  EXPECT_THROW(moved(1, 1, 1, -1), EConvertError);
  EXPECT_THROW(moved(9999, 12, 1, 1), EConvertError);
  EXPECT_THROW(moved(2024, 1, 1, std::numeric_limits<std::int32_t>::max()), EConvertError);
  EXPECT_THROW(moved(2024, 1, 1, std::numeric_limits<std::int32_t>::min()), EConvertError);
}

TEST(Clock, PointsConvertBothWays) {
  using namespace std::chrono;
  const TDateTime value = VqEncodeDateTime({2024, 2, 29, 8, 30, 15, 250});
  const TVqSysTime point = sys_days(year(2024) / 2 / 29) + hours(8) + minutes(30) + seconds(15) + milliseconds(250);
  EXPECT_EQ(VqToSysTime(value), point);
  EXPECT_EQ(double(VqFromSysTime(point)), double(value));
  EXPECT_EQ(VqToTimePoint(value), system_clock::time_point(point));
  EXPECT_EQ(double(VqFromTimePoint(system_clock::time_point(point))), double(value));
  const auto rounded = [&](microseconds more) {
    return VqToSysTime(VqFromTimePoint(system_clock::time_point(point) + more)) - point;
  };
  EXPECT_EQ(rounded(microseconds(499)), milliseconds(0));
  EXPECT_EQ(rounded(microseconds(500)), milliseconds(1));
  EXPECT_EQ(rounded(microseconds(-499)), milliseconds(0));
  EXPECT_EQ(rounded(microseconds(-501)), milliseconds(-1));
  const system_clock::time_point early = sys_days(year(1800) / 1 / 1) - microseconds(600);
  EXPECT_EQ(VqDecodeDateTime(VqFromTimePoint(early)).Millisecond, 999) << "before 1970, too";
  EXPECT_EQ(VqToSysTime(VqEncodeDateTime(kFirst)), TVqSysTime(sys_days(year(1) / 1 / 1)));
}

TEST(Clock, ItsOwnLimitsRaise) {
  using Clock = std::chrono::system_clock;
  if (std::ratio_less_v<Clock::period, std::micro>) {  // counts nanoseconds, in 64 bits
    EXPECT_THROW(VqToTimePoint(VqEncodeDate(1600, 1, 1)), EConvertError);
    EXPECT_THROW(VqToTimePoint(VqEncodeDate(2400, 1, 1)), EConvertError);
    EXPECT_NO_THROW(VqToTimePoint(VqEncodeDate(1678, 1, 1)));
    EXPECT_NO_THROW(VqToTimePoint(VqEncodeDate(2261, 12, 31)));
    EXPECT_NO_THROW(VqFromTimePoint(Clock::time_point::min()));
    EXPECT_NO_THROW(VqFromTimePoint(Clock::time_point::max()));
  }
}

TEST(Clock, NowLiesBetweenTwoLooksAtTheClock) {
  const auto before = std::chrono::system_clock::now() - std::chrono::milliseconds(1);
  const auto now = VqToTimePoint(VqNow());
  const auto after = std::chrono::system_clock::now() + std::chrono::milliseconds(1);
  EXPECT_LE(before, now);
  EXPECT_LE(now, after);
}

TEST(Calendar, HasItsNthWeekdays) {
  const auto day = [](std::int32_t month, std::int32_t n, std::int32_t weekday) {
    return VqDecodeDateTime(VqNthWeekday(2026, month, n, weekday)).Day;
  };
  EXPECT_EQ(day(3, 1, 0), 1);
  EXPECT_EQ(day(3, 2, 0), 8);
  EXPECT_EQ(day(3, 4, 0), 22);
  EXPECT_EQ(day(3, 5, 0), 29) << "the fifth";
  EXPECT_EQ(day(10, 5, 0), 25) << "the last, which is the fourth";
  EXPECT_EQ(day(2, 5, 6), 28);
  EXPECT_EQ(day(3, 1, 6), 7);
  for (const auto& [month, n, weekday] : {std::tuple{0, 1, 0}, {13, 1, 0}, {1, 0, 0}, {1, 6, 0}, {1, 1, -1}, {1, 1, 7}})
    EXPECT_THROW(VqNthWeekday(2026, month, n, weekday), EConvertError);
}

// ---- std::chrono

template <typename TDuration>
std::chrono::sys_time<TDuration> At(typename TDuration::rep count) {
  return std::chrono::sys_time<TDuration>(TDuration(count));
}

TEST(Chrono, ADateIsAssignedFromAPointInAnyUnit) {
  using namespace std::chrono;
  const auto taken = [](TDateTime value) { return VqToUnixMilliseconds(value); };  // implicit, as for a setter
  constexpr std::int64_t kDay = 1772409600000;                                     // 2 March 2026
  EXPECT_EQ(taken(sys_days(year(2026) / 3 / 2)), kDay);
  EXPECT_EQ(taken(At<hours>(kDay / 3600000)), kDay);
  EXPECT_EQ(taken(At<seconds>(kDay / 1000 + 1)), kDay + 1000);
  EXPECT_EQ(taken(At<milliseconds>(kDay + 1)), kDay + 1);
  EXPECT_EQ(taken(At<microseconds>(kDay * 1000 + 1000)), kDay + 1);
  EXPECT_EQ(taken(At<nanoseconds>(kDay * 1000000 + 1000000)), kDay + 1);
  EXPECT_EQ(taken(At<duration<double>>(static_cast<double>(kDay) / 1000 + 0.25)), kDay + 250);
  EXPECT_EQ(taken(At<duration<float, std::ratio<86400>>>(0.5f)), 43200000);
  EXPECT_EQ(taken(At<duration<std::int64_t, std::ratio<1, 60>>>(59)), 983) << "983.3 milliseconds";
  EXPECT_EQ(taken(At<duration<std::int32_t>>(-1)), -1000);
  EXPECT_EQ(taken(At<duration<std::uint32_t>>(4000000000u)), 4000000000000);
  EXPECT_EQ(taken(system_clock::from_time_t(1)), 1000);
}

TEST(Chrono, WhatIsFinerIsRoundedToTheMillisecondOnBothSidesOf1970) {
  using namespace std::chrono;
  const auto rounded = [](std::int64_t microseconds_) { return VqToUnixMilliseconds(At<microseconds>(microseconds_)); };
  EXPECT_EQ(rounded(1499), 1);
  EXPECT_EQ(rounded(1500), 2);
  EXPECT_EQ(rounded(2500), 3);
  EXPECT_EQ(rounded(-499), 0);
  EXPECT_EQ(rounded(-500), 0) << "half a millisecond goes up the line, before 1970 as after it";
  EXPECT_EQ(rounded(-501), -1);
  EXPECT_EQ(rounded(-1500), -1);
  EXPECT_EQ(rounded(-1501), -2);
}

TEST(Chrono, TheEndsOfTheRangeAreThoseOfDates) {
  using namespace std::chrono;
  constexpr std::int64_t kLastMicrosecond = kVqEndMillisecond * 1000 - 1;
  EXPECT_EQ(VqToUnixMilliseconds(At<microseconds>(kLastMicrosecond)), kVqEndMillisecond - 1)
      << "the end of time is rounded down";
  EXPECT_EQ(VqToUnixMilliseconds(At<microseconds>(kLastMicrosecond - 499)), kVqEndMillisecond - 1);
  EXPECT_EQ(VqToUnixMilliseconds(At<microseconds>(kVqFirstMillisecond * 1000 - 500)), kVqFirstMillisecond);
  EXPECT_EQ(VqToUnixMilliseconds(sys_days(year(1) / 1 / 1)), kVqFirstMillisecond);
  EXPECT_EQ(VqToUnixMilliseconds(sys_days(year(9999) / 12 / 31)), kVqEndMillisecond - kVqMillisecondsPerDay);
  const auto refused = [](auto point) { EXPECT_THROW(TDateTime{point}, EConvertError); };
  refused(At<microseconds>(kVqEndMillisecond * 1000));
  refused(At<microseconds>(kVqFirstMillisecond * 1000 - 501));
  refused(sys_days(year(10000) / 1 / 1));
  refused(sys_days(year(0) / 12 / 31));
  // Nothing overflows on the way to the refusal.
  refused(sys_seconds::max());
  refused(sys_seconds::min());
  refused(sys_time<hours>::max());
  refused(sys_time<milliseconds>::max());
  refused(sys_time<milliseconds>::min());
  refused(sys_time<years>::max());
  refused(sys_days::min());
  refused(At<duration<double>>(std::nan("")));
  refused(At<duration<double>>(1e300));
  refused(At<duration<float>>(-std::numeric_limits<float>::infinity()));
}

TEST(Chrono, ADateBecomesAPointInAnyUnit) {
  using namespace std::chrono;
  const TDateTime value = VqEncodeDateTime({2026, 3, 2, 8, 30, 15, 250});
  const sys_days day = year(2026) / 3 / 2;
  EXPECT_EQ(VqToSysTime<milliseconds>(value), day + hours(8) + minutes(30) + seconds(15) + milliseconds(250));
  EXPECT_EQ(VqToSysTime<nanoseconds>(value), VqToSysTime(value));
  EXPECT_EQ(VqToSysTime<seconds>(value), day + hours(8) + minutes(30) + seconds(15));
  EXPECT_EQ(VqToSysTime<days>(value), day);
  EXPECT_EQ(VqToSysTime<days>(VqEncodeDateTime({1969, 12, 31, 23, 0, 0, 0})), sys_days(year(1969) / 12 / 31))
      << "the day that it lies in, before 1970 as after it";
  EXPECT_DOUBLE_EQ(VqToSysTime<duration<double>>(value).time_since_epoch().count(), 1772440215.25);
  EXPECT_THROW((VqToSysTime<duration<std::int16_t, days::period>>(VqEncodeDate(2100, 1, 1))), EConvertError);
  EXPECT_THROW((VqToSysTime<duration<std::uint64_t>>(VqEncodeDate(1969, 1, 1))), EConvertError);
  EXPECT_THROW(VqToSysTime<seconds>(1e7), EConvertError);
}

TEST(Chrono, ThereAndBackIsTheSameInAllYears) {
  using namespace std::chrono;
  std::mt19937_64 random(7);
  std::uniform_int_distribution<std::int64_t> any(kVqFirstMillisecond, kVqEndMillisecond - 1);
  for (int i = 0; i < 20000; ++i) {
    const TVqSysTime point{milliseconds(any(random))};
    const TDateTime value = point;
    ASSERT_EQ(VqToSysTime(value), point);
    ASSERT_EQ(TDateTime(VqToSysTime<microseconds>(value)), value);
    ASSERT_EQ(VqToSysTime<seconds>(value), floor<seconds>(point));
    ASSERT_EQ(VqToSysTime<days>(value), floor<days>(point));
  }
}

// Only points on the system's clock are points in time: what a wall shows somewhere needs a zone.
static_assert(std::convertible_to<std::chrono::sys_days, TDateTime>);
static_assert(!std::convertible_to<std::chrono::local_days, TDateTime>);
static_assert(!std::constructible_from<TDateTime, std::chrono::local_days>);
static_assert(!std::convertible_to<std::chrono::steady_clock::time_point, TDateTime>);
static_assert(!std::convertible_to<std::chrono::seconds, TDateTime>);

// ---- Numbers

template <typename T>
constexpr bool kSilent = std::convertible_to<T, TDateTime>;
static_assert(kSilent<double> && kSilent<float>);
static_assert(!kSilent<bool> && !kSilent<char> && !kSilent<int> && !kSilent<unsigned> && !kSilent<std::int64_t> &&
              !kSilent<std::size_t> && !kSilent<std::memory_order> && !kSilent<const char*>);
static_assert(std::constructible_from<TDateTime, int>, "a whole number of days must be asked for");
static_assert(!std::constructible_from<TDateTime, bool>);
static_assert(TDateTime(46000) == 46000.0 && TDateTime() == 0.0 && TDateTime(-1).operator double() == -1.0);

// ---- Absent, printed, as a key

TEST(DateTime, AnAbsentDateIsAnEmptyOptional) {
  EXPECT_FALSE(VqIfSet({}));
  EXPECT_FALSE(VqIfSet(-0.0));
  EXPECT_EQ(VqIfSet(0.5), TDateTime(0.5)) << "noon of the first day is a point in time";
  EXPECT_EQ(VqIfSet(VqEncodeDate(1, 1, 1)), VqEncodeDate(1, 1, 1));
  if (const auto due = VqIfSet(46000.25)) {
    EXPECT_EQ(VqToIso8601(*due), "2025-12-09T06:00:00Z");
  } else {
    FAIL();
  }
}

TEST(DateTime, PrintsAsIso8601) {
  const auto printed = [](TDateTime value) {
    std::ostringstream out;
    out << value;
    return out.str();
  };
  EXPECT_EQ(printed(VqEncodeDateTime({2026, 3, 2, 8, 30, 0, 0})), "2026-03-02T08:30:00Z");
  EXPECT_EQ(printed(VqEncodeDateTime({2026, 3, 2, 8, 30, 5, 7})), "2026-03-02T08:30:05.007Z");
  EXPECT_EQ(printed(VqEncodeDateTime(kFirst)), "0001-01-01T00:00:00Z");
  EXPECT_EQ(printed(VqEncodeDateTime(kLast)), "9999-12-31T23:59:59.999Z");
  EXPECT_EQ(printed({}), "1899-12-30T00:00:00Z");
  EXPECT_EQ(printed(1e7), "1e+07 days") << "what is no date is printed nevertheless";
  EXPECT_EQ(printed(std::nan("")), "nan days");
  EXPECT_THROW(VqToIso8601(1e7), EConvertError);
  std::ostringstream wide;
  wide << std::setw(22) << VqEncodeDate(2026, 3, 2);
  EXPECT_EQ(wide.str(), "  2026-03-02T00:00:00Z");
}

TEST(DateTime, IsAKey) {
  std::unordered_map<TDateTime, int> counts;
  ++counts[46000.5];
  ++counts[VqEncodeDateTime({2025, 12, 9, 12, 0, 0, 0})];
  ++counts[46000.0];
  EXPECT_EQ(counts.size(), 2u);
  EXPECT_EQ(counts[46000.5], 2);
}

}  // namespace
}  // namespace velmore
