#include "simulator/mailbox/expansion.h"

#include <libical/ical.h>

#include <algorithm>
#include <cstdlib>
#include <memory>

#include "simulator/time/time.h"

namespace velmore::simulator {

namespace {

constexpr std::pair<std::string_view, std::string_view> kDays[] = {
    {"Sunday", "SU"},   {"Monday", "MO"}, {"Tuesday", "TU"}, {"Wednesday", "WE"},
    {"Thursday", "TH"}, {"Friday", "FR"}, {"Saturday", "SA"}};

/// "MO,WE" for "Monday Wednesday", and for the sets of days that have names.
std::string ByDay(const std::string& text) {
  if (text == "Day") return "MO,TU,WE,TH,FR,SA,SU";
  if (text == "Weekday") return "MO,TU,WE,TH,FR";
  if (text == "WeekendDay") return "SA,SU";
  std::string days;
  for (const auto& [name, code] : kDays)
    if (text.find(name) != std::string::npos) days += (days.empty() ? "" : ",") + std::string(code);
  return days;
}

std::string Month(const std::string& text) {
  static constexpr std::string_view kMonths[] = {"January", "February", "March",     "April",   "May",      "June",
                                                 "July",    "August",   "September", "October", "November", "December"};
  for (int month = 0; month < 12; ++month)
    if (text == kMonths[month]) return std::to_string(month + 1);
  return "1";
}

std::string Position(const std::string& text) {
  static constexpr std::string_view kTexts[] = {"First", "Second", "Third", "Fourth"};
  for (int i = 0; i < 4; ++i)
    if (text == kTexts[i]) return std::to_string(i + 1);
  return "-1";
}

std::string MonthDay(const std::string& text) {
  const int day = std::clamp(std::atoi(text.c_str()), 1, 31);
  // Of the days up to this one the last that there is.
  std::string days = "BYMONTHDAY=" + std::to_string(std::min(day, 28));
  for (int more = 29; more <= day; ++more) days += "," + std::to_string(more);
  return days + ";BYSETPOS=-1";
}

}  // namespace

std::string RuleOf(const Element& pattern) {
  const std::string& text = pattern.ChildText("Interval");
  const std::string interval =
      ";INTERVAL=" + std::to_string(std::clamp(text.empty() ? 1 : std::atoi(text.c_str()), 1, 999));
  const std::string& name = pattern.name;
  if (name.starts_with("Daily")) return "FREQ=DAILY" + interval;
  if (name == "WeeklyRegeneration") return "FREQ=WEEKLY" + interval;
  if (name == "MonthlyRegeneration") return "FREQ=MONTHLY" + interval;
  if (name == "YearlyRegeneration") return "FREQ=YEARLY" + interval;
  const std::string days = ByDay(pattern.ChildText("DaysOfWeek"));
  if (name == "WeeklyRecurrence") {
    const std::string week = ByDay(pattern.ChildText("FirstDayOfWeek"));
    return days.empty() ? ""
                        : "FREQ=WEEKLY" + interval + ";BYDAY=" + days + ";WKST=" + (week.size() == 2 ? week : "SU");
  }
  if (name == "AbsoluteMonthlyRecurrence")
    return "FREQ=MONTHLY" + interval + ";" + MonthDay(pattern.ChildText("DayOfMonth"));
  const std::string relative = ";BYDAY=" + days + ";BYSETPOS=" + Position(pattern.ChildText("DayOfWeekIndex"));
  if (name == "RelativeMonthlyRecurrence") return days.empty() ? "" : "FREQ=MONTHLY" + interval + relative;
  const std::string month = "FREQ=YEARLY;BYMONTH=" + Month(pattern.ChildText("Month"));
  if (name == "AbsoluteYearlyRecurrence") return month + ";" + MonthDay(pattern.ChildText("DayOfMonth"));
  if (name == "RelativeYearlyRecurrence") return days.empty() ? "" : month + relative;
  return {};
}

void ExpandDays(const Element& pattern, std::int64_t first, const std::function<bool(std::int64_t)>& each) {
  const std::string rule = RuleOf(pattern);
  if (rule.empty()) return;
  const icalrecurrencetype recurrence = icalrecurrencetype_from_string(rule.c_str());
  const Date date = DateFromDays(first);
  icaltimetype start = icaltime_null_time();
  start.year = static_cast<int>(date.year);
  start.month = static_cast<int>(date.month);
  start.day = static_cast<int>(date.day);
  start.is_date = 1;
  const std::unique_ptr<icalrecur_iterator, void (*)(icalrecur_iterator*)> iterator(
      icalrecur_iterator_new(recurrence, start), icalrecur_iterator_free);
  if (iterator == nullptr) return;
  for (icaltimetype at = icalrecur_iterator_next(iterator.get()); !icaltime_is_null_time(at);
       at = icalrecur_iterator_next(iterator.get())) {
    const std::int64_t day = DaysFromDate(at.year, static_cast<unsigned>(at.month), static_cast<unsigned>(at.day));
    if (day >= first && !each(day)) return;
  }
}

}  // namespace velmore::simulator
