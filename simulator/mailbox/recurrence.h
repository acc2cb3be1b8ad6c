#pragma once

// Occurrences of recurring calendar items. They are not stored: each is made from its master when it is asked for,
// unless it was changed, which makes it an exception that the master keeps.

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "simulator/mailbox/model.h"

namespace velmore::simulator {

/// More than a series that begins in this century has until the end of the calendar.
constexpr std::size_t kMostOccurrences = 400000;

/// Starts of the occurrences of a master that begin before `until`, deleted ones included, at most `limit`. They are at
/// the same time of day by the clocks of the series' own zone.
std::vector<Seconds> OccurrenceStarts(const Item& master, Seconds until, std::size_t limit = kMostOccurrences);

bool IsOccurrenceTail(std::string_view tail);  // the end of an occurrence's id
std::string OccurrenceTail(Seconds original_start);

/// The occurrences that touch a time window, exceptions in place of what they replace.
std::vector<std::shared_ptr<Item>> OccurrencesBetween(const Mailbox& mailbox, const std::shared_ptr<Item>& master,
                                                      Seconds start, Seconds end);
/// By id and by number (from 1). Throws EwsError when there is none.
std::shared_ptr<Item> OccurrenceByTail(const Mailbox& mailbox, const std::shared_ptr<Item>& master,
                                       std::string_view tail);
std::shared_ptr<Item> OccurrenceByIndex(const Mailbox& mailbox, const std::shared_ptr<Item>& master, int index);

/// FirstOccurrence, LastOccurrence, ModifiedOccurrences or DeletedOccurrences of a master; nothing when it has none.
std::optional<Element> OccurrenceInfo(const Mailbox& mailbox, const Item& master, const std::string& name);

/// Throws EwsError for a recurrence that cannot be; moves the start and end of the series to its first occurrence.
void SettleRecurrence(Item& master);
/// Throws EwsError when a changed occurrence would come before its predecessor's end or behind its successor's start.
void CheckNeighbours(const Item& master, const Item& changed);

}  // namespace velmore::simulator
