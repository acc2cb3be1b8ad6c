#include <charconv>
#include <chrono>

#include "platform/http/internal/uVqHTTPDate.h"
#include "platform/http/uVqHTTPEngine_p.h"

namespace velmore {

namespace {

constexpr std::string_view kMonths[] = {"jan", "feb", "mar", "apr", "may", "jun",
                                        "jul", "aug", "sep", "oct", "nov", "dec"};

bool IsWord(char c) noexcept {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == ':';
}

// -1 for anything but digits.
int Number(std::string_view digits) noexcept {
  int value = -1;
  const auto [stop, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
  return error == std::errc() && stop == digits.data() + digits.size() ? value : -1;
}

// What the forms have in common: a day, a month's name, a year and hh:mm:ss, each a word of its own.
struct TVqDateParts {
  int Day = 0, Month = 0, Year = -1, Hour = -1, Minute = 0, Second = 0;

  void Take(std::string_view word) noexcept {
    if (word.size() == 8 && word[2] == ':' && word[5] == ':') {
      Hour = Number(word.substr(0, 2));
      Minute = Number(word.substr(3, 2));
      Second = Number(word.substr(6, 2));
    } else if (word[0] >= '0' && word[0] <= '9') {
      const int value = Number(word);
      if (value < 0) return;
      if (Day == 0 && word.size() <= 2) {
        Day = value;
      } else if (Year < 0) {
        Year = value < 70 ? 2000 + value : value < 100 ? 1900 + value : value;
      }
    } else if (word.size() >= 3 && Month == 0) {
      for (int m = 0; m < 12; ++m) {
        if (VqSameAscii(word.substr(0, 3), kMonths[m])) Month = m + 1;
      }
    }
  }
};

}  // namespace

std::optional<std::int64_t> VqHTTPDate(std::string_view text) noexcept {
  TVqDateParts parts;
  for (std::size_t at = 0; at < text.size();) {
    std::size_t end = at;
    while (end < text.size() && IsWord(text[end])) ++end;
    if (end > at) parts.Take(text.substr(at, end - at));
    at = end + 1;
  }
  const auto within = [](int value, int most) { return value >= 0 && value <= most; };
  if (!within(parts.Hour, 23) || !within(parts.Minute, 59) || !within(parts.Second, 60)) return {};
  const std::chrono::year_month_day date{std::chrono::year(parts.Year),
                                         std::chrono::month(static_cast<unsigned>(parts.Month)),
                                         std::chrono::day(static_cast<unsigned>(parts.Day))};
  if (parts.Year < 1601 || parts.Year > 9999 || !date.ok()) return {};
  const std::chrono::seconds time = std::chrono::sys_days(date).time_since_epoch() + std::chrono::hours(parts.Hour) +
                                    std::chrono::minutes(parts.Minute) + std::chrono::seconds(parts.Second);
  return time.count();
}

std::int64_t VqHTTPNow() noexcept {
  return std::chrono::duration_cast<std::chrono::seconds>(std::chrono::system_clock::now().time_since_epoch()).count();
}

}  // namespace velmore
