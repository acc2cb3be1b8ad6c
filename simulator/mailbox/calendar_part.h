#pragma once

// What meetings say in iCalendar, written by libical: the part of a meeting message that programs of other makers read.

#include <optional>
#include <string>

#include "simulator/mailbox/model.h"

namespace velmore::simulator {

struct CalendarPart {
  std::string method;  // "REQUEST"
  std::string text;    // lines end with CR LF
};

/// The part of an invitation, an answer, a proposal of another time or a cancellation, series with what was changed or
/// deleted in them; nothing for other items.
std::optional<CalendarPart> CalendarPartOf(const Item& item);

}  // namespace velmore::simulator
