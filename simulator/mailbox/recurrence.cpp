#include "simulator/mailbox/recurrence.h"

#include <algorithm>
#include <cstdlib>
#include <limits>

#include "simulator/mailbox/ids.h"

namespace velmore::simulator {

namespace {

constexpr std::string_view kDays[] = {"Sunday", "Monday", "Tuesday", "Wednesday", "Thursday", "Friday", "Saturday"};
constexpr std::string_view kMonths[] = {"January", "February", "March",     "April",   "May",      "June",
                                        "July",    "August",   "September", "October", "November", "December"};

unsigned DaySet(const std::string& text) {
  unsigned set = 0;
  for (unsigned day = 0; day < 7; ++day)
    if (text.find(kDays[day]) != std::string::npos) set |= 1u << day;
  if (text == "Day") set = 0x7f;
  if (text == "Weekday") set = 0x3e;
  if (text == "WeekendDay") set = 0x41;
  return set;
}

unsigned MonthOf(const std::string& text) {
  for (unsigned month = 0; month < 12; ++month)
    if (text == kMonths[month]) return month + 1;
  return 1;
}

int IndexOf(const std::string& text) {
  static constexpr std::string_view kTexts[] = {"First", "Second", "Third", "Fourth"};
  for (int i = 0; i < 4; ++i)
    if (text == kTexts[i]) return i + 1;
  return -1;  // Last
}

/// The n-th (-1: last) day of a month that is in a set of weekdays.
std::int64_t RelativeDay(std::int64_t year, unsigned month, unsigned days, int index) {
  const std::int64_t first = DaysFromDate(year, month, 1);
  const auto count = static_cast<std::int64_t>(DaysInMonth(year, month));
  int seen = 0;
  std::int64_t last = first;
  for (std::int64_t day = first; day < first + count; ++day) {
    if ((days & 1u << Weekday(day)) == 0) continue;
    last = day;
    if (++seen == index) return day;
  }
  return last;
}

std::int64_t AbsoluteDay(std::int64_t year, unsigned month, int day) {
  return DaysFromDate(year, month, std::min(static_cast<unsigned>(std::max(1, day)), DaysInMonth(year, month)));
}

int Number(const Element& element, const char* child, int fallback) {
  const std::string& text = element.ChildText(child);
  return text.empty() ? fallback : std::atoi(text.c_str());
}

std::shared_ptr<Item> MakeOccurrence(const std::shared_ptr<Item>& master, Seconds start) {
  const auto exception = master->exceptions.find(start);
  if (exception != master->exceptions.end()) {
    if (exception->second != nullptr) exception->second->change = master->change;
    return exception->second;  // null when deleted
  }
  auto item = std::make_shared<Item>(*master);
  const Seconds duration = *ParseTime(master->Text("End")) - *ParseTime(master->Text("Start"));
  item->exceptions.clear();
  item->id_tail = OccurrenceTail(start);
  item->Set("Start", TimeText(start));
  item->Set("End", TimeText(start + duration));
  item->Set("OriginalStart", TimeText(start));
  item->Set("RecurrenceId", TimeText(start));
  item->Set("CalendarItemType", "Occurrence");
  item->SetFlag("IsRecurring", true);
  item->Remove("Recurrence");
  return item;
}

}  // namespace

std::vector<Seconds> OccurrenceStarts(const Item& master, Seconds until, std::size_t limit) {
  std::vector<Seconds> starts;
  const Element* recurrence = master.Find("Recurrence");
  if (recurrence == nullptr || recurrence->children.size() < 2) return starts;
  const Element& pattern = recurrence->children[0];
  const Element& range = recurrence->children[1];
  const Seconds start = *ParseTime(master.Text("Start"));
  const Seconds time_of_day = ((start % 86400) + 86400) % 86400;
  const std::int64_t first_day = (start - time_of_day) / 86400;
  std::size_t count = limit;
  Seconds range_end = std::numeric_limits<Seconds>::max();
  if (range.name == "NumberedRecurrence")
    count = std::min(limit, static_cast<std::size_t>(std::max(0, Number(range, "NumberOfOccurrences", 0))));
  if (range.name == "EndDateRecurrence")
    range_end = ParseTime(range.ChildText("EndDate").substr(0, 10)).value_or(0) + 86400;
  const auto interval = static_cast<std::int64_t>(std::max(1, Number(pattern, "Interval", 1)));
  const auto add = [&](std::int64_t day) {
    const Seconds at = day * 86400 + time_of_day;
    if (day < first_day) return true;
    if (at >= until || at >= range_end || starts.size() >= count) return false;
    starts.push_back(at);
    return true;
  };
  const Date date = DateFromDays(first_day);
  const unsigned days = DaySet(pattern.ChildText("DaysOfWeek"));
  if (pattern.name == "DailyRecurrence") {
    for (std::int64_t day = first_day; add(day); day += interval) {
    }
  } else if (pattern.name == "WeeklyRecurrence" && days != 0) {
    unsigned week_start = 0;
    for (unsigned day = 0; day < 7; ++day)
      if (pattern.ChildText("FirstDayOfWeek") == kDays[day]) week_start = day;
    std::int64_t week = first_day - (Weekday(first_day) + 7 - week_start) % 7;
    for (bool more = true; more; week += 7 * interval)
      for (std::int64_t day = week; more && day < week + 7; ++day)
        if ((days & 1u << Weekday(day)) != 0) more = add(day);
  } else if (pattern.name == "AbsoluteMonthlyRecurrence" || pattern.name == "RelativeMonthlyRecurrence") {
    constexpr std::int64_t kMonths = std::int64_t{9999} * 12;  // behind them there is no date
    std::int64_t month = date.year * 12 + static_cast<std::int64_t>(date.month) - 1;
    for (bool more = true; more && month < kMonths; month += interval) {
      const auto in_year = static_cast<unsigned>(month % 12 + 1);
      more = add(pattern.name.starts_with("Absolute")
                     ? AbsoluteDay(month / 12, in_year, Number(pattern, "DayOfMonth", 1))
                     : RelativeDay(month / 12, in_year, days, IndexOf(pattern.ChildText("DayOfWeekIndex"))));
    }
  } else if (pattern.name == "AbsoluteYearlyRecurrence" || pattern.name == "RelativeYearlyRecurrence") {
    const unsigned month = MonthOf(pattern.ChildText("Month"));
    for (std::int64_t year = date.year; year < 9999; ++year)
      if (!add(pattern.name.starts_with("Absolute")
                   ? AbsoluteDay(year, month, Number(pattern, "DayOfMonth", 1))
                   : RelativeDay(year, month, days, IndexOf(pattern.ChildText("DayOfWeekIndex")))))
        break;
  }
  return starts;
}

void CheckRecurrence(const Item& master) {
  const Element* recurrence = master.Find("Recurrence");
  const auto is_range = [](const Element& e) {
    return e.name == "NoEndRecurrence" || e.name == "EndDateRecurrence" || e.name == "NumberedRecurrence";
  };
  if (recurrence->children.size() != 2 || is_range(recurrence->children[0]) || !is_range(recurrence->children[1]))
    throw EwsError("ErrorCalendarInvalidRecurrence");
  if (Number(recurrence->children[0], "Interval", 1) < 1) throw EwsError("ErrorCalendarInvalidRecurrence");
  if (OccurrenceStarts(master, std::numeric_limits<Seconds>::max(), 1).empty())
    throw EwsError("ErrorCalendarInvalidRecurrence");
}

std::optional<Element> OccurrenceInfo(const Mailbox& mailbox, const Item& master, const std::string& name) {
  if (master.Find("Recurrence") == nullptr) return std::nullopt;
  const Seconds duration = *ParseTime(master.Text("End")) - *ParseTime(master.Text("Start"));
  const auto info = [&](const char* element, Seconds original) {
    Element out = Types(element);
    const auto exception = master.exceptions.find(original);
    const Item* changed = exception != master.exceptions.end() ? exception->second.get() : nullptr;
    Element& id = out.Add("ItemId");
    id.Set("Id", EwsId(mailbox.guid, master.entry_id, OccurrenceTail(original)));
    id.Set("ChangeKey", mailbox.KeyOf(master));
    out.Add("Start", changed != nullptr ? changed->Text("Start") : TimeText(original));
    out.Add("End", changed != nullptr ? changed->Text("End") : TimeText(original + duration));
    out.Add("OriginalStart", TimeText(original));
    return out;
  };
  const auto is_deleted = [&](Seconds original) {
    const auto exception = master.exceptions.find(original);
    return exception != master.exceptions.end() && exception->second == nullptr;
  };
  if (name == "FirstOccurrence" || name == "LastOccurrence") {
    const bool last = name == "LastOccurrence";
    if (last && master.Find("Recurrence")->children.back().name == "NoEndRecurrence") return std::nullopt;
    auto starts =
        OccurrenceStarts(master, std::numeric_limits<Seconds>::max(), last ? 5000 : 1 + master.exceptions.size());
    std::erase_if(starts, is_deleted);
    if (starts.empty()) return std::nullopt;
    return info(name.c_str(), last ? starts.back() : starts.front());
  }
  Element out = Types(name);
  for (const auto& [original, item] : master.exceptions) {
    if (name == "ModifiedOccurrences" && item != nullptr) out.Add(info("Occurrence", original));
    if (name == "DeletedOccurrences" && item == nullptr) out.Add("DeletedOccurrence").Add("Start", TimeText(original));
  }
  return out.children.empty() ? std::nullopt : std::optional(std::move(out));
}

bool IsOccurrenceTail(std::string_view tail) {
  return tail.size() == 9 && tail.front() == '\x20';
}

std::string OccurrenceTail(Seconds original_start) {
  std::string tail(1, '\x20');
  for (int shift = 56; shift >= 0; shift -= 8) tail += static_cast<char>(original_start >> shift & 0xff);
  return tail;
}

std::vector<std::shared_ptr<Item>> OccurrencesBetween(const Mailbox&, const std::shared_ptr<Item>& master,
                                                      Seconds start, Seconds end) {
  std::vector<std::shared_ptr<Item>> found;
  // Exceptions may have been moved into the window from outside of it.
  Seconds until = end;
  for (const auto& [original, item] : master->exceptions) until = std::max(until, original + 1);
  for (const Seconds at : OccurrenceStarts(*master, until)) {
    const std::shared_ptr<Item> item = MakeOccurrence(master, at);
    if (item == nullptr) continue;
    const Seconds from = *ParseTime(item->Text("Start"));
    const Seconds to = *ParseTime(item->Text("End"));
    if (from < end && (to > start || (from == to && from >= start))) found.push_back(item);
  }
  return found;
}

std::shared_ptr<Item> OccurrenceByTail(const Mailbox&, const std::shared_ptr<Item>& master, std::string_view tail) {
  Seconds start = 0;
  for (const char c : tail.substr(1))
    start = static_cast<Seconds>(static_cast<std::uint64_t>(start) << 8 | static_cast<unsigned char>(c));
  const auto starts = OccurrenceStarts(*master, start + 1);
  if (starts.empty() || starts.back() != start) throw EwsError("ErrorItemNotFound");
  auto item = MakeOccurrence(master, start);
  if (item == nullptr) throw EwsError("ErrorItemNotFound");
  return item;
}

std::shared_ptr<Item> OccurrenceByIndex(const Mailbox&, const std::shared_ptr<Item>& master, int index) {
  if (index < 1 || index > 5000) throw EwsError("ErrorCalendarOccurrenceIndexIsOutOfRecurrenceRange");
  const auto starts = OccurrenceStarts(*master, std::numeric_limits<Seconds>::max(), static_cast<std::size_t>(index));
  if (starts.size() < static_cast<std::size_t>(index))
    throw EwsError("ErrorCalendarOccurrenceIndexIsOutOfRecurrenceRange");
  auto item = MakeOccurrence(master, starts[static_cast<std::size_t>(index) - 1]);
  if (item == nullptr) throw EwsError("ErrorCalendarOccurrenceIsDeletedFromRecurrence");
  return item;
}

}  // namespace velmore::simulator
