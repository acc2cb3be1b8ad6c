#include "simulator/operations/recurring_tasks.h"

#include <cstdlib>
#include <optional>

#include "simulator/mailbox/expansion.h"

namespace velmore::simulator {

namespace {

constexpr Seconds kDay = 86400;

std::optional<std::int64_t> DayOf(const std::string& text) {
  const auto time = ParseTime(text.substr(0, 10));
  return time ? std::optional(*time / kDay) : std::nullopt;
}

/// The day of the series that the task is on now: that on which it is due, else that on which it begins.
std::optional<std::int64_t> CurrentDay(const Item& task, const Element& range) {
  for (const char* name : {"StartDate", "DueDate"})
    if (!task.Text(name).empty()) return DayOf(task.Text(name));
  return DayOf(range.ChildText("StartDate"));
}

/// The next day of a recurrence behind one; nothing when there is none.
std::optional<std::int64_t> NextDay(const Element& recurrence, std::int64_t current) {
  const Element& pattern = recurrence.children[0];
  const Element& range = recurrence.children[1];
  // What regenerates counts from the day on which it was done.
  const bool regenerates = pattern.name.ends_with("Regeneration");
  const std::int64_t first = regenerates ? Now() / kDay : DayOf(range.ChildText("StartDate")).value_or(current);
  const auto last = DayOf(range.ChildText("EndDate"));
  const std::string& number = range.ChildText("NumberOfOccurrences");
  std::optional<std::int64_t> next;
  int count = 0;
  ExpandDays(pattern, first, [&](std::int64_t day) {
    if (last && day > *last) return false;
    if (!number.empty() && !regenerates && ++count > std::atoi(number.c_str())) return false;
    if (regenerates ? day <= first : day <= current) return true;
    next = day;
    return false;
  });
  return next;
}

}  // namespace

bool MoveOn(Context& context, Item& task) {
  const Element* stored = task.Find("Recurrence");
  if (stored == nullptr || stored->children.size() < 2) return false;
  Element recurrence = *stored;
  const auto current = CurrentDay(task, recurrence.children[1]);
  const auto next = current ? NextDay(recurrence, *current) : std::nullopt;
  if (!next) return false;
  // A series of so many has one less to go when it counts from each that is done.
  if (Element* left = recurrence.children[1].Child("NumberOfOccurrences");
      left != nullptr && recurrence.children[0].name.ends_with("Regeneration")) {
    if (std::atoi(left->text.c_str()) <= 1) return false;
    left->text = std::to_string(std::atoi(left->text.c_str()) - 1);
    task.Set(recurrence);
  }
  bool dated = false;
  for (const char* name : {"StartDate", "DueDate"}) {
    const auto time = ParseTime(task.Text(name));
    if (!time) continue;
    task.Set(name, TimeText(*time + (*next - *current) * kDay));
    dated = true;
  }
  if (!dated) task.Set("DueDate", TimeText(*next * kDay));
  task.Set("Status", "NotStarted");
  task.Set("PercentComplete", "0");
  task.Remove("CompleteDate");
  Refresh(context, task);
  return true;
}

void KeepDone(Context& context, Mailbox& mailbox, Folder& folder, const Item& before, Item& after) {
  if (after.element != "Task" || before.Text("Status") == "Completed" || after.Text("Status") != "Completed") return;
  const std::shared_ptr<Item> done = Copy(after);
  if (!MoveOn(context, after)) return;
  done->Remove("Recurrence");
  done->SetFlag("IsRecurring", false);
  mailbox.AddItem(folder, done);
}

}  // namespace velmore::simulator
