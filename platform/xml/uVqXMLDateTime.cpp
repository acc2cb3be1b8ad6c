// Points in time, dates, times of day and spans as the texts of XML schema. What a day is, and how days are counted,
// stands in the calendar; all arithmetic is done in whole milliseconds.

#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "platform/common/internal/uVqIsoTexts.h"
#include "platform/common/uVqDateTimeUtils.h"
#include "platform/xml/uVqXMLConvert_p.h"

namespace velmore {

using detail::DateText;
using detail::FailConvert;
using detail::TimeText;

namespace {

constexpr std::int64_t kDay = kVqMillisecondsPerDay;

/// Reads the parts of a text one after the other.
class TReader {
 public:
  TReader(std::string_view text, const char* type) : FAll(text), FText(VqTrimSpace(text)), FType(type) {}

  [[noreturn]] void Fail() const { FailConvert(FAll, FType); }
  void Want(bool condition) const {
    if (!condition) Fail();
  }
  bool AtEnd() const { return FText.empty(); }
  char Peek() const { return FText.empty() ? '\0' : FText.front(); }
  bool Take(char c) {
    if (Peek() != c || AtEnd()) return false;
    FText.remove_prefix(1);
    return true;
  }
  static bool IsDigit(char c) { return c >= '0' && c <= '9'; }

  /// Exactly so many digits.
  std::int64_t Number(int digits) {
    std::int64_t value = 0;
    for (; digits > 0; --digits) {
      Want(IsDigit(Peek()));
      value = value * 10 + (FText.front() - '0');
      FText.remove_prefix(1);
    }
    return value;
  }

  /// "yyyy-mm-dd" as days from 1 January 1970.
  std::int64_t Date() {
    const auto year = static_cast<std::int32_t>(Number(4));
    Want(Take('-'));
    const auto month = static_cast<std::int32_t>(Number(2));
    Want(Take('-'));
    const auto day = static_cast<std::int32_t>(Number(2));
    Want(VqIsValidDate(year, month, day));
    return VqDaysFromCivil(year, month, day);
  }

  /// Digits behind the point as milliseconds, to the nearest; says whether that was upwards.
  std::int64_t Fraction(bool* roundedUp = nullptr) {
    Want(IsDigit(Peek()));
    std::int64_t value = 0;
    int digits = 0;
    for (; IsDigit(Peek()); FText.remove_prefix(1), ++digits) {
      const int digit = FText.front() - '0';
      if (digits < 3) {
        value = value * 10 + digit;
      } else if (digits == 3 && digit >= 5) {
        ++value;
        if (roundedUp) *roundedUp = true;
      }
    }
    for (; digits < 3; ++digits) value *= 10;
    return value;
  }

  /// Milliseconds of "hh:mm:ss", with a fraction or without.
  std::int64_t Time(bool* roundedUp = nullptr) {
    const std::int64_t hour = Number(2);
    Want(Take(':'));
    const std::int64_t minute = Number(2);
    Want(Take(':'));
    const std::int64_t second = Number(2);
    const std::int64_t fraction = Take('.') ? Fraction(roundedUp) : 0;
    const std::int64_t time = ((hour * 60 + minute) * 60 + second) * 1000 + fraction;
    Want(minute <= 59 && second <= 59 && (hour <= 23 || (hour == 24 && time == kDay)));
    return time;
  }

  /// Milliseconds to be subtracted for what stands behind a time; a missing zone is none.
  std::int64_t Zone() {
    if (Take('Z')) return 0;
    const bool west = Peek() == '-';
    if (!west && Peek() != '+') return 0;
    FText.remove_prefix(1);
    const std::int64_t hour = Number(2);
    Want(Take(':'));
    const std::int64_t minute = Number(2);
    Want(minute <= 59 && (hour < 14 || (hour == 14 && minute == 0)));
    const std::int64_t offset = (hour * 60 + minute) * 60000;
    return west ? -offset : offset;
  }

 private:
  std::string_view FAll;
  std::string_view FText;
  const char* FType;
};

}  // namespace

string VqDateTimeToXML(TDateTime AValue, TVqTimeZoneFormat AFormat) {
  const string text = VqToIso8601(AValue);
  return AFormat == kVqTimeZoneUtc ? text : text.Copy(0, text.Length() - 1);  // the point as it stands, without "Z"
}

TDateTime VqXMLToDateTime(const TVqUtf8View& AText, TVqTimeZoneFormat AFormat) {
  TReader reader(AText.View(), "a date and time");
  std::int64_t value = reader.Date() * kDay;
  bool roundedUp = false;
  if (reader.Take('T')) value += reader.Time(&roundedUp);
  const std::int64_t zone = reader.Zone();
  reader.Want(reader.AtEnd());
  if (AFormat == kVqTimeZoneUtc) value -= zone;
  // The last moments of the calendar are rounded down, and not refused: servers write the end of time like this.
  if (roundedUp && value == kVqEndMillisecond) --value;
  reader.Want(value >= kVqFirstMillisecond && value < kVqEndMillisecond);
  return VqFromUnixMilliseconds(value);
}

string VqDateToXML(TDateTime AValue) {
  return DateText(VqSplitMilliseconds(VqToUnixMilliseconds(AValue)).Days);
}

TDateTime VqXMLToDate(const TVqUtf8View& AText) {
  TReader reader(AText.View(), "a date");
  const std::int64_t day = reader.Date();
  if (reader.Take('T')) reader.Time();
  reader.Zone();
  reader.Want(reader.AtEnd());
  return VqFromUnixMilliseconds(day * kDay);
}

string VqTimeToXML(TDateTime AValue, TVqTimeZoneFormat AFormat) {
  const double days = AValue;
  if (!std::isfinite(days)) throw EConvertError("The time " + VqDoubleToXML(days) + " is none.");
  const std::int64_t time = std::llround((days - std::floor(days)) * static_cast<double>(kDay)) % kDay;
  return TimeText(time) + (AFormat == kVqTimeZoneUtc ? "Z" : "");
}

TDateTime VqXMLToTime(const TVqUtf8View& AText, TVqTimeZoneFormat AFormat) {
  TReader reader(AText.View(), "a time of day");
  std::int64_t time = reader.Time();
  const std::int64_t zone = reader.Zone();
  reader.Want(reader.AtEnd());
  if (AFormat == kVqTimeZoneUtc) time -= zone;
  return static_cast<double>(VqSplitMilliseconds(time).Milliseconds) / static_cast<double>(kDay);
}

string VqDurationToXML(double ADays) {
  if (!(std::fabs(ADays) < 1e9)) throw EConvertError("The span " + VqDoubleToXML(ADays) + " is too long.");
  std::int64_t rest = std::llround(ADays * static_cast<double>(kDay));
  std::string text = rest < 0 ? "-P" : "P";
  rest = std::llabs(rest);
  const auto put = [&](std::int64_t unit, char letter) {
    if (const std::int64_t count = rest / unit; count > 0) text += std::to_string(count) + letter;
    rest %= unit;
  };
  put(kDay, 'D');
  if (rest > 0) {
    text += 'T';
    put(3600000, 'H');
    put(60000, 'M');
    if (rest > 0) {
      std::string seconds = std::to_string(rest / 1000);
      if (rest % 1000 != 0) {
        char fraction[8];
        std::snprintf(fraction, sizeof fraction, ".%03d", static_cast<int>(rest % 1000));
        seconds += fraction;
        while (seconds.back() == '0') seconds.pop_back();
      }
      text += seconds + 'S';
    }
  }
  if (text.back() == 'P') return "PT0S";
  return text;
}

double VqXMLToDuration(const TVqUtf8View& AText) {
  TReader reader(AText.View(), "a span of time");
  const bool negative = reader.Take('-');
  reader.Want(reader.Take('P'));
  // Each letter at most once and in this order; the second part begins behind "T".
  static constexpr struct {
    char Letter;
    bool Time;
    double Milliseconds;
  } kUnits[] = {{'Y', false, 365.0 * kDay}, {'M', false, 30.0 * kDay}, {'D', false, 1.0 * kDay},
                {'H', true, 3600000},       {'M', true, 60000},        {'S', true, 1000}};
  double total = 0;
  std::size_t unit = 0;
  bool time = false, any = false;
  while (!reader.AtEnd()) {
    if (!time && reader.Take('T')) {
      time = true;
      any = false;  // something must follow
      continue;
    }
    reader.Want(TReader::IsDigit(reader.Peek()));
    double count = 0;
    while (TReader::IsDigit(reader.Peek())) count = count * 10 + static_cast<double>(reader.Number(1));
    double fraction = 0;
    const bool point = reader.Take('.');
    if (point) fraction = static_cast<double>(reader.Fraction());
    const char letter = reader.Peek();
    while (unit < 6 && (kUnits[unit].Letter != letter || kUnits[unit].Time != time)) ++unit;
    reader.Want(unit < 6 && reader.Take(letter) && (!point || letter == 'S'));
    total += count * kUnits[unit].Milliseconds + fraction;
    ++unit;
    any = true;
  }
  reader.Want(any);
  const double days = total / static_cast<double>(kDay);
  if (days > 1e9) reader.Fail();
  return negative ? -days : days;
}

}  // namespace velmore
