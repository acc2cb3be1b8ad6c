#include "simulator/mailbox/neighbours.h"

#include "simulator/mailbox/ids.h"
#include "simulator/mailbox/recurrence.h"

namespace velmore::simulator {

std::optional<Element> NeighboursOf(const Mailbox& mailbox, const Item& item, const std::string& name) {
  const bool conflicting = name.starts_with("ConflictingMeeting");
  if (!conflicting && !name.starts_with("AdjacentMeeting")) return std::nullopt;
  const auto start = ParseTime(item.Text("Start"));
  const auto end = ParseTime(item.Text("End"));
  const Folder* calendar = mailbox.Distinguished("calendar");
  if (!start || !end || calendar == nullptr) return std::nullopt;
  std::vector<std::shared_ptr<Item>> near;
  const auto look_at = [&](const std::shared_ptr<Item>& other) {
    if (other->Text("LegacyFreeBusyStatus") == "Free" || other->Flag("IsCancelled")) return;
    const auto from = ParseTime(other->Text("Start"));
    const auto to = ParseTime(other->Text("End"));
    if (!from || !to) return;
    if (conflicting ? *from<*end&& * to> * start : *from == *end || *to == *start) near.push_back(other);
  };
  for (const auto& [number, other] : calendar->items) {
    // An appointment is not in its own way, and neither is what an invitation made.
    if (other->element != "CalendarItem" || other->entry_id == item.entry_id || other->Text("UID") == item.Text("UID"))
      continue;
    if (other->Find("Recurrence") == nullptr)
      look_at(other);
    else
      for (const auto& occurrence : OccurrencesBetween(mailbox, other, *start - 86400, *end + 86400))
        look_at(occurrence);
  }
  if (name.ends_with("Count")) return Types(name, std::to_string(near.size()));
  Element list = Types(name);
  for (const auto& other : near) {
    Element& entry = list.Add("CalendarItem");
    Element& id = entry.Add("ItemId");
    id.Set("Id", mailbox.IdOf(*other));
    id.Set("ChangeKey", mailbox.KeyOf(*other));
    for (const char* part : {"Subject", "Start", "End", "LegacyFreeBusyStatus", "Location"})
      if (!other->Text(part).empty()) entry.Add(part, other->Text(part));
  }
  return list.children.empty() ? std::nullopt : std::optional(std::move(list));
}

}  // namespace velmore::simulator
