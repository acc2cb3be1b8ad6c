#include "simulator/mailbox/recurrence.h"

#include <algorithm>
#include <cstdlib>
#include <limits>

#include "simulator/mailbox/expansion.h"
#include "simulator/mailbox/ids.h"
#include "simulator/mailbox/item_zone.h"

namespace velmore::simulator {

namespace {

int Number(const Element& element, const char* child, int fallback) {
  const std::string& text = element.ChildText(child);
  return text.empty() ? fallback : std::atoi(text.c_str());
}

/// Where a series begins: the day, the time of day and the length by the clocks of its own zone.
struct Course {
  std::shared_ptr<const Zone> zone;
  std::int64_t first_day = 0;
  Seconds time_of_day = 0;
  Seconds length = 0;

  explicit Course(const Item& master) : zone(ZoneOf(master)) {
    const Seconds start = zone->ToWall(*ParseTime(master.Text("Start")));
    length = zone->ToWall(*ParseTime(master.Text("End"))) - start;
    time_of_day = ((start % 86400) + 86400) % 86400;
    first_day = (start - time_of_day) / 86400;
    const Element* recurrence = master.Find("Recurrence");
    if (recurrence == nullptr || recurrence->children.size() < 2) return;
    // The range says on which day it begins; the appointment, when on that day.
    const std::string& begin = recurrence->children[1].ChildText("StartDate");
    if (const auto day = ParseTime(begin.substr(0, 10))) first_day = *day / 86400;
  }
  Seconds StartOn(std::int64_t day) const { return zone->ToUtc(day * 86400 + time_of_day); }
  Seconds EndOf(Seconds start) const { return zone->ToUtc(zone->ToWall(start) + length); }
};

std::shared_ptr<Item> MakeOccurrence(const std::shared_ptr<Item>& master, const Course& course, Seconds start) {
  const auto exception = master->exceptions.find(start);
  if (exception != master->exceptions.end()) {
    if (exception->second != nullptr) exception->second->change = master->change;
    return exception->second;  // null when deleted
  }
  auto item = std::make_shared<Item>(*master);
  item->exceptions.clear();
  item->id_tail = OccurrenceTail(start);
  item->Set("Start", TimeText(start));
  item->Set("End", TimeText(course.EndOf(start)));
  item->Set("OriginalStart", TimeText(start));
  item->Set("RecurrenceId", TimeText(start));
  item->Set("CalendarItemType", "Occurrence");
  item->SetFlag("IsRecurring", true);
  item->Remove("Recurrence");
  return item;
}

bool IsDeleted(const Item& master, Seconds original) {
  const auto exception = master.exceptions.find(original);
  return exception != master.exceptions.end() && exception->second == nullptr;
}

}  // namespace

std::vector<Seconds> OccurrenceStarts(const Item& master, Seconds until, std::size_t limit) {
  std::vector<Seconds> starts;
  const Element* recurrence = master.Find("Recurrence");
  if (recurrence == nullptr || recurrence->children.size() < 2) return starts;
  const Element& range = recurrence->children[1];
  const Course course(master);
  std::size_t count = limit;
  std::int64_t last_day = std::numeric_limits<std::int64_t>::max();
  if (range.name == "NumberedRecurrence")
    count = std::min(limit, static_cast<std::size_t>(std::max(0, Number(range, "NumberOfOccurrences", 0))));
  if (range.name == "EndDateRecurrence")
    last_day = ParseTime(range.ChildText("EndDate").substr(0, 10)).value_or(0) / 86400;
  ExpandDays(recurrence->children[0], course.first_day, [&](std::int64_t day) {
    const Seconds at = course.StartOn(day);
    if (at >= until || day > last_day || starts.size() >= count) return false;
    starts.push_back(at);
    return starts.size() < count;
  });
  return starts;
}

void SettleRecurrence(Item& master) {
  const Element* recurrence = master.Find("Recurrence");
  const auto is_range = [](const Element& e) {
    return e.name == "NoEndRecurrence" || e.name == "EndDateRecurrence" || e.name == "NumberedRecurrence";
  };
  if (recurrence->children.size() != 2 || is_range(recurrence->children[0]) || !is_range(recurrence->children[1]))
    throw EwsError("ErrorCalendarInvalidRecurrence");
  if (Number(recurrence->children[0], "Interval", 1) < 1) throw EwsError("ErrorCalendarInvalidRecurrence");
  const auto first = OccurrenceStarts(master, std::numeric_limits<Seconds>::max(), 1);
  if (first.empty()) throw EwsError("ErrorCalendarInvalidRecurrence");
  // A series begins with its first occurrence, whatever day was given.
  const Seconds end = Course(master).EndOf(first.front());
  master.Set("Start", TimeText(first.front()));
  master.Set("End", TimeText(end));
}

std::optional<Element> OccurrenceInfo(const Mailbox& mailbox, const Item& master, const std::string& name) {
  if (master.Find("Recurrence") == nullptr) return std::nullopt;
  const Course course(master);
  const auto info = [&](const char* element, Seconds original) {
    Element out = Types(element);
    const auto exception = master.exceptions.find(original);
    const Item* changed = exception != master.exceptions.end() ? exception->second.get() : nullptr;
    Element& id = out.Add("ItemId");
    id.Set("Id", EwsId(mailbox.guid, master.entry_id, OccurrenceTail(original)));
    id.Set("ChangeKey", mailbox.KeyOf(master));
    out.Add("Start", changed != nullptr ? changed->Text("Start") : TimeText(original));
    out.Add("End", changed != nullptr ? changed->Text("End") : TimeText(course.EndOf(original)));
    out.Add("OriginalStart", TimeText(original));
    return out;
  };
  if (name == "FirstOccurrence" || name == "LastOccurrence") {
    const bool last = name == "LastOccurrence";
    if (last && master.Find("Recurrence")->children.back().name == "NoEndRecurrence") return std::nullopt;
    auto starts = OccurrenceStarts(master, std::numeric_limits<Seconds>::max(),
                                   last ? kMostOccurrences : 1 + master.exceptions.size());
    std::erase_if(starts, [&](Seconds original) { return IsDeleted(master, original); });
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

void CheckNeighbours(const Item& master, const Item& changed) {
  const Seconds original = *ParseTime(changed.Text("OriginalStart"));
  const Seconds start = *ParseTime(changed.Text("Start"));
  const Seconds end = *ParseTime(changed.Text("End"));
  const Course course(master);
  const auto interval = [&](Seconds at) {
    const auto exception = master.exceptions.find(at);
    if (exception == master.exceptions.end()) return std::pair(at, course.EndOf(at));
    return std::pair(*ParseTime(exception->second->Text("Start")), *ParseTime(exception->second->Text("End")));
  };
  for (const Seconds at : OccurrenceStarts(master, std::max(original, start) + 366 * 86400)) {
    if (at == original || IsDeleted(master, at)) continue;
    const auto [from, to] = interval(at);
    if (at < original ? start < to : end > from) throw EwsError("ErrorOccurrenceCrossingBoundary");
    if (at > original) return;
  }
}

std::vector<std::shared_ptr<Item>> OccurrencesBetween(const Mailbox&, const std::shared_ptr<Item>& master,
                                                      Seconds start, Seconds end) {
  std::vector<std::shared_ptr<Item>> found;
  // Exceptions may have been moved into the window from outside of it.
  Seconds until = end;
  for (const auto& [original, item] : master->exceptions) until = std::max(until, original + 1);
  const Course course(*master);
  const bool plain = master->exceptions.empty();
  for (const Seconds at : OccurrenceStarts(*master, until)) {
    if (plain && course.EndOf(at) < start) continue;
    const std::shared_ptr<Item> item = MakeOccurrence(master, course, at);
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
  auto item = MakeOccurrence(master, Course(*master), start);
  if (item == nullptr) throw EwsError("ErrorItemNotFound");
  return item;
}

std::shared_ptr<Item> OccurrenceByIndex(const Mailbox&, const std::shared_ptr<Item>& master, int index) {
  if (index < 1) throw EwsError("ErrorCalendarOccurrenceIndexIsOutOfRecurrenceRange");
  const auto starts = OccurrenceStarts(*master, std::numeric_limits<Seconds>::max(), static_cast<std::size_t>(index));
  if (starts.size() < static_cast<std::size_t>(index))
    throw EwsError("ErrorCalendarOccurrenceIndexIsOutOfRecurrenceRange");
  auto item = MakeOccurrence(master, Course(*master), starts[static_cast<std::size_t>(index) - 1]);
  if (item == nullptr) throw EwsError("ErrorCalendarOccurrenceIsDeletedFromRecurrence");
  return item;
}

}  // namespace velmore::simulator
