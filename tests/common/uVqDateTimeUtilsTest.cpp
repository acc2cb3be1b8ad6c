#include "platform/common/uVqDateTimeUtils.h"

#include <gtest/gtest.h>

#include <tuple>

#include <cmath>
#include <limits>
#include <random>

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
  EXPECT_EQ(VqDecodeDateTime(0), (TVqDateTimeParts{1899, 12, 30, 0, 0, 0, 0}));
  EXPECT_EQ(VqDecodeDateTime(0), TVqDateTimeParts());
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
  TDateTime value = 7;
  ASSERT_TRUE(VqTryEncodeDateTime(good, value));
  const auto refused = [&](auto change) {
    TVqDateTimeParts parts = good;
    change(parts);
    TDateTime untouched = 7;
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

}  // namespace
}  // namespace velmore
