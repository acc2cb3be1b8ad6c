#include "simulator/time/time.h"

#include <array>
#include <chrono>
#include <cstdio>

namespace velmore::simulator {

namespace {

constexpr std::int64_t kTicks = 10000000;  // of a second

bool Digits(std::string_view text, std::size_t at, std::size_t count, int& value) {
  if (at + count > text.size()) return false;
  value = 0;
  for (std::size_t i = at; i < at + count; ++i) {
    if (text[i] < '0' || text[i] > '9') return false;
    value = value * 10 + (text[i] - '0');
  }
  return true;
}

}  // namespace

Seconds Now() {
  return std::chrono::duration_cast<std::chrono::seconds>(std::chrono::system_clock::now().time_since_epoch()).count();
}

std::int64_t DaysFromDate(std::int64_t year, unsigned month, unsigned day) {
  return std::chrono::sys_days(std::chrono::year(static_cast<int>(year)) / std::chrono::month(month) /
                               std::chrono::day(1))
             .time_since_epoch()
             .count() +
         static_cast<std::int64_t>(day) - 1;
}

Date DateFromDays(std::int64_t days) {
  const std::chrono::year_month_day date{std::chrono::sys_days(std::chrono::days(days))};
  return {static_cast<int>(date.year()), static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day())};
}

unsigned Weekday(std::int64_t days) {
  return std::chrono::weekday(std::chrono::sys_days(std::chrono::days(days))).c_encoding();
}

unsigned DaysInMonth(std::int64_t year, unsigned month) {
  return static_cast<unsigned>(
      (std::chrono::year(static_cast<int>(year)) / std::chrono::month(month) / std::chrono::last).day());
}

std::string TimeText(Seconds time) {
  std::int64_t days = time / 86400;
  std::int64_t rest = time % 86400;
  if (rest < 0) {
    rest += 86400;
    --days;
  }
  const Date date = DateFromDays(days);
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), "%04d-%02u-%02uT%02d:%02d:%02dZ", static_cast<int>(date.year), date.month,
                date.day, static_cast<int>(rest / 3600), static_cast<int>(rest / 60 % 60), static_cast<int>(rest % 60));
  return text.data();
}

std::optional<std::int64_t> ParseTicks(std::string_view text) {
  std::int64_t ticks = 0, unit = kTicks / 10;
  int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
  if (!Digits(text, 0, 4, year) || !Digits(text, 5, 2, month) || !Digits(text, 8, 2, day)) return std::nullopt;
  if (text[4] != '-' || text[7] != '-' || year < 1 || month < 1 || month > 12 || day < 1 ||
      static_cast<unsigned>(day) > DaysInMonth(year, static_cast<unsigned>(month)))
    return std::nullopt;
  std::size_t at = 10;
  if (at < text.size() && text[at] == 'T') {
    if (!Digits(text, 11, 2, hour) || !Digits(text, 14, 2, minute) || !Digits(text, 17, 2, second) || text[13] != ':' ||
        text[16] != ':' || hour > 24 || minute > 59 || second > 60)
      return std::nullopt;
    at = 19;
    if (at < text.size() && text[at] == '.') {
      for (++at; at < text.size() && text[at] >= '0' && text[at] <= '9'; ++at, unit /= 10)
        ticks += unit * (text[at] - '0');
    }
  }
  Seconds offset = 0;
  if (at < text.size() && text[at] == 'Z') {
    ++at;
  } else if (at < text.size() && (text[at] == '+' || text[at] == '-')) {
    int hours = 0, minutes = 0;
    if (!Digits(text, at + 1, 2, hours) || !Digits(text, at + 4, 2, minutes) || text[at + 3] != ':')
      return std::nullopt;
    offset = (Seconds{hours} * 60 + minutes) * 60;
    if (text[at] == '-') offset = -offset;
    at += 6;
  }
  if (at != text.size()) return std::nullopt;
  const Seconds seconds = DaysFromDate(year, static_cast<unsigned>(month), static_cast<unsigned>(day)) * 86400 +
                          (Seconds{hour} * 60 + minute) * 60 + second - offset;
  return seconds * kTicks + ticks;
}

std::optional<Seconds> ParseTime(std::string_view text) {
  const auto ticks = ParseTicks(text);
  if (!ticks) return std::nullopt;
  return (*ticks - ((*ticks % kTicks) + kTicks) % kTicks) / kTicks;
}

std::string MailDate(Seconds time) {
  static constexpr const char* kDays[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
  static constexpr const char* kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                            "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  const std::int64_t days = time >= 0 ? time / 86400 : -((-time + 86399) / 86400);
  const std::int64_t rest = time - days * 86400;
  const Date date = DateFromDays(days);
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), "%s, %02u %s %04d %02d:%02d:%02d +0000", kDays[Weekday(days)], date.day,
                kMonths[date.month - 1], static_cast<int>(date.year), static_cast<int>(rest / 3600),
                static_cast<int>(rest / 60 % 60), static_cast<int>(rest % 60));
  return text.data();
}

}  // namespace velmore::simulator
