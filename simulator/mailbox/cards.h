#pragma once

// Contacts as vCard and appointments as iCalendar, the forms that their MIME content has.

#include <string>

#include "simulator/mailbox/model.h"

namespace velmore::simulator {

/// Reads a card or the first event of a calendar into an item and makes it a Contact or a CalendarItem. False, and
/// nothing is touched, when the text is neither.
bool ImportCard(Item& item, const std::string& text);

}  // namespace velmore::simulator
