#include <algorithm>

#include "platform/common/uVqDateTimeUtils.h"
#include "platform/os/uVqPosixTimeZone_p.h"

namespace velmore {
namespace {

/// Day and second of a change, in local time.
struct TChange {
  enum class TKind { Month, Julian, DayOfYear } Kind = TKind::Month;
  int Month = 0, Week = 0, Day = 0;
  int Seconds = 2 * 3600;
};

class TReader {
 public:
  explicit TReader(std::string_view text) : FText(text) {}

  bool AtEnd() const { return FText.empty(); }
  bool Take(char c) {
    if (FText.empty() || FText.front() != c) return false;
    FText.remove_prefix(1);
    return true;
  }

  /// Three letters at least, or anything of letters, digits and signs in angle brackets.
  bool Name() {
    const bool quoted = Take('<');
    std::size_t length = 0;
    while (length < FText.size() && IsNameCharacter(FText[length], quoted)) ++length;
    if (length < 3) return false;
    FText.remove_prefix(length);
    return !quoted || Take('>');
  }

  bool Number(int low, int high, int& value) {
    std::size_t length = 0;
    value = 0;
    while (length < FText.size() && length < 4 && FText[length] >= '0' && FText[length] <= '9') {
      value = value * 10 + (FText[length++] - '0');
    }
    FText.remove_prefix(length);
    return length > 0 && value >= low && value <= high;
  }

  /// [+-]hh[:mm[:ss]] in seconds.
  bool Time(int mostHours, int& seconds) {
    const bool negative = Take('-');
    if (!negative) Take('+');
    int hours = 0, minutes = 0, rest = 0;
    if (!Number(0, mostHours, hours)) return false;
    if (Take(':') && (!Number(0, 59, minutes) || (Take(':') && !Number(0, 59, rest)))) return false;
    seconds = (hours * 60 + minutes) * 60 + rest;
    if (negative) seconds = -seconds;
    return true;
  }

  bool Change(TChange& change) {
    bool good;
    if (Take('M')) {
      good = Number(1, 12, change.Month) && Take('.') && Number(1, 5, change.Week) && Take('.') &&
             Number(0, 6, change.Day);
    } else if (Take('J')) {
      change.Kind = TChange::TKind::Julian;
      good = Number(1, 365, change.Day);
    } else {
      change.Kind = TChange::TKind::DayOfYear;
      good = Number(0, 365, change.Day);
    }
    return good && (!Take('/') || Time(167, change.Seconds));
  }

 private:
  static bool IsNameCharacter(char c, bool quoted) {
    const bool letter = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
    return letter || (quoted && ((c >= '0' && c <= '9') || c == '+' || c == '-'));
  }

  std::string_view FText;
};

/// Seconds from 1 January 1970, in local time.
std::int64_t When(const TChange& change, std::int32_t year) {
  std::int64_t day = VqDaysFromCivil(year, 1, 1);
  switch (change.Kind) {
    case TChange::TKind::DayOfYear:
      day += change.Day;
      break;
    case TChange::TKind::Julian:  // 29 February is never counted
      day += change.Day - 1 + (VqIsLeapYear(year) && change.Day > 59);
      break;
    case TChange::TKind::Month: {
      const std::int64_t first = VqDaysFromCivil(year, change.Month, 1);
      const int weekday = static_cast<int>(((first + 4) % 7 + 7) % 7);
      int date = 1 + (change.Day - weekday + 7) % 7 + (change.Week - 1) * 7;
      if (date > VqDaysInMonth(year, change.Month)) date -= 7;  // the fifth is the last
      day = first + date - 1;
      break;
    }
  }
  return day * 86400 + change.Seconds;
}

}  // namespace

std::optional<TVqZoneOffsets> VqPosixOffsets(std::string_view rule, TDateTime utc) {
  TReader reader(rule);
  int west = 0;
  if (!reader.Name() || !reader.Time(24, west)) return {};
  const std::int32_t standard = -west / 60;
  if (reader.AtEnd()) return TVqZoneOffsets{standard, standard, false};

  if (!reader.Name()) return {};
  int daylightWest = west - 3600;
  TChange start, end;
  start.Month = 3, start.Week = 2;
  end.Month = 11, end.Week = 1;
  bool dates = reader.Take(',');
  if (!dates && !reader.AtEnd()) {
    if (!reader.Time(24, daylightWest)) return {};
    dates = reader.Take(',');
  }
  if (dates && (!reader.Change(start) || !reader.Take(',') || !reader.Change(end))) return {};
  if (!reader.AtEnd()) return {};

  const std::int64_t now = VqToUnixMilliseconds(utc) / 1000;
  const std::int32_t year = VqDecodeDateTime(utc).Year;
  const std::int64_t from = When(start, year) + west;
  const std::int64_t to = When(end, year) + daylightWest;
  const bool daylight = from < to ? now >= from && now < to : now >= from || now < to;
  return TVqZoneOffsets{standard, daylight ? -daylightWest / 60 : standard, true};
}

}  // namespace velmore
