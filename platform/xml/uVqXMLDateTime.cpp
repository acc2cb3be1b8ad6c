// Points in time, dates, times of day and spans.
//
// A TDateTime is a day number with a fraction that counts forward in time even before day zero, but is written as a
// double whose fraction always points away from zero: -1.25 is six o'clock on the day before day zero. All arithmetic
// is done in whole milliseconds.

#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "platform/xml/uVqXMLConvert_p.h"

namespace velmore {

using detail::FailConvert;
using detail::Trimmed;

namespace {

constexpr std::int64_t kDay = 86'400'000;    // in milliseconds
constexpr std::int64_t kFirstDay = -693593;  // 0001-01-01
constexpr std::int64_t kLastDay = 2958465;   // 9999-12-31

/// Days since 30 December 1899 of a date, and back (proleptic Gregorian calendar).
std::int64_t DayOf(std::int64_t year, std::int64_t month, std::int64_t day) noexcept {
  year -= month <= 2;
  const std::int64_t era = (year >= 0 ? year : year - 399) / 400;
  const std::int64_t yearOfEra = year - era * 400;
  const std::int64_t dayOfYear = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
  return era * 146097 + yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear - 693899;
}

struct TDate {
  std::int64_t Year, Month, Day;
};
TDate DateOf(std::int64_t number) noexcept {
  const std::int64_t days = number + 693899;
  const std::int64_t era = (days >= 0 ? days : days - 146096) / 146097;
  const std::int64_t dayOfEra = days - era * 146097;
  const std::int64_t yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
  const std::int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
  const std::int64_t part = (5 * dayOfYear + 2) / 153;
  const std::int64_t month = part < 10 ? part + 3 : part - 9;
  return {yearOfEra + era * 400 + (month <= 2), month, dayOfYear - (153 * part + 2) / 5 + 1};
}

std::int64_t DaysIn(std::int64_t year, std::int64_t month) noexcept {
  static constexpr std::int64_t kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  const bool leap = year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
  return month == 2 && leap ? 29 : kDays[month - 1];
}

/// Milliseconds since day zero, to the nearest.
std::int64_t MillisecondsOf(double value) {
  const double day = std::trunc(value);
  return static_cast<std::int64_t>(day) * kDay + std::llround(std::fabs(value - day) * static_cast<double>(kDay));
}

double ValueOf(std::int64_t milliseconds) noexcept {
  std::int64_t day = milliseconds / kDay, rest = milliseconds % kDay;
  if (rest < 0) {
    rest += kDay;
    --day;
  }
  const double fraction = static_cast<double>(rest) / static_cast<double>(kDay);
  return day < 0 ? static_cast<double>(day) - fraction : static_cast<double>(day) + fraction;
}

/// Splits a value into day and milliseconds of the day; refuses years that have no four digits.
void Split(TDateTime value, std::int64_t& day, std::int64_t& milliseconds) {
  const double days = value;
  if (!(days > static_cast<double>(kFirstDay) - 1 && days < static_cast<double>(kLastDay) + 1)) {
    throw EConvertError("The date " + VqDoubleToXML(days) + " is outside of the years 1 to 9999.");
  }
  const std::int64_t all = MillisecondsOf(days);
  day = all / kDay;
  milliseconds = all % kDay;
  if (milliseconds < 0) {
    milliseconds += kDay;
    --day;
  }
  if (day < kFirstDay || day > kLastDay) {
    throw EConvertError("The date " + VqDoubleToXML(days) + " is outside of the years 1 to 9999.");
  }
}

std::string DateText(std::int64_t day) {
  const TDate date = DateOf(day);
  char text[16];
  std::snprintf(text, sizeof text, "%04d-%02d-%02d", static_cast<int>(date.Year) % 10000,
                static_cast<int>(date.Month) % 100, static_cast<int>(date.Day) % 100);
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

/// Reads the parts of a text one after the other.
class TReader {
 public:
  TReader(std::string_view text, const char* type) : FAll(text), FText(Trimmed(text)), FType(type) {}

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

  /// Days of "yyyy-mm-dd".
  std::int64_t Date() {
    const std::int64_t year = Number(4);
    Want(Take('-'));
    const std::int64_t month = Number(2);
    Want(Take('-'));
    const std::int64_t day = Number(2);
    Want(year >= 1 && month >= 1 && month <= 12 && day >= 1 && day <= DaysIn(year, month));
    return DayOf(year, month, day);
  }

  /// Digits behind the point as milliseconds, to the nearest.
  std::int64_t Fraction() {
    Want(IsDigit(Peek()));
    std::int64_t value = 0;
    int digits = 0;
    for (; IsDigit(Peek()); FText.remove_prefix(1), ++digits) {
      const int digit = FText.front() - '0';
      if (digits < 3) {
        value = value * 10 + digit;
      } else if (digits == 3 && digit >= 5) {
        ++value;
      }
    }
    for (; digits < 3; ++digits) value *= 10;
    return value;
  }

  /// Milliseconds of "hh:mm:ss", with a fraction or without.
  std::int64_t Time() {
    const std::int64_t hour = Number(2);
    Want(Take(':'));
    const std::int64_t minute = Number(2);
    Want(Take(':'));
    const std::int64_t second = Number(2);
    const std::int64_t fraction = Take('.') ? Fraction() : 0;
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
  std::int64_t day, time;
  Split(AValue, day, time);
  return DateText(day) + "T" + TimeText(time) + (AFormat == kVqTimeZoneUtc ? "Z" : "");
}

TDateTime VqXMLToDateTime(const TVqUtf8View& AText, TVqTimeZoneFormat AFormat) {
  TReader reader(AText.View(), "a date and time");
  std::int64_t value = reader.Date() * kDay;
  if (reader.Take('T')) value += reader.Time();
  const std::int64_t zone = reader.Zone();
  reader.Want(reader.AtEnd());
  if (AFormat == kVqTimeZoneUtc) value -= zone;
  reader.Want(value >= kFirstDay * kDay && value < (kLastDay + 1) * kDay);
  return ValueOf(value);
}

string VqDateToXML(TDateTime AValue) {
  std::int64_t day, time;
  Split(AValue, day, time);
  return DateText(day);
}

TDateTime VqXMLToDate(const TVqUtf8View& AText) {
  TReader reader(AText.View(), "a date");
  const std::int64_t day = reader.Date();
  if (reader.Take('T')) reader.Time();
  reader.Zone();
  reader.Want(reader.AtEnd());
  return static_cast<double>(day);
}

string VqTimeToXML(TDateTime AValue, TVqTimeZoneFormat AFormat) {
  const double days = AValue;
  if (!std::isfinite(days)) throw EConvertError("The time " + VqDoubleToXML(days) + " is none.");
  const std::int64_t time = std::llround(std::fabs(days - std::trunc(days)) * static_cast<double>(kDay)) % kDay;
  return TimeText(time) + (AFormat == kVqTimeZoneUtc ? "Z" : "");
}

TDateTime VqXMLToTime(const TVqUtf8View& AText, TVqTimeZoneFormat AFormat) {
  TReader reader(AText.View(), "a time of day");
  std::int64_t time = reader.Time();
  const std::int64_t zone = reader.Zone();
  reader.Want(reader.AtEnd());
  if (AFormat == kVqTimeZoneUtc) time -= zone;
  return ValueOf(((time % kDay) + kDay) % kDay);
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
