#pragma once

// The days of a recurrence, found by libical.

#include <cstdint>
#include <functional>
#include <string>

#include "simulator/xml/element.h"

namespace velmore::simulator {

/// The rule of a recurrence pattern as iCalendar writes it ("FREQ=WEEKLY;INTERVAL=2;BYDAY=MO;WKST=SU"); empty for what
/// is no pattern. A day that a month lacks is its last one.
std::string RuleOf(const Element& pattern);

/// Calls `each` with the days of a pattern, as days since 1970, from `first` on, until it returns false or there are
/// no more.
void ExpandDays(const Element& pattern, std::int64_t first, const std::function<bool(std::int64_t)>& each);

}  // namespace velmore::simulator
