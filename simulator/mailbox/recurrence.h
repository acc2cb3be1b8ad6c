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

/// Starts of the occurrences of a master that begin before `until`, deleted ones included, at most `limit`.
std::vector<Seconds> OccurrenceStarts(const Item& master, Seconds until, std::size_t limit = 5000);

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

/// Checks a recurrence; throws EwsError for one that cannot be.
void CheckRecurrence(const Item& master);

}  // namespace velmore::simulator
