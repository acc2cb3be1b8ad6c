#pragma once

// What stands at the same time as an appointment, and right before and behind it.

#include <optional>
#include <string>

#include "simulator/mailbox/model.h"

namespace velmore::simulator {

/// ConflictingMeetings, AdjacentMeetings and their counts, of an appointment or of an invitation to one; nothing for
/// other names.
std::optional<Element> NeighboursOf(const Mailbox& mailbox, const Item& item, const std::string& name);

}  // namespace velmore::simulator
