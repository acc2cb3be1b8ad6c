#pragma once

// The time zone that an appointment is in, and its parts as clients see them.

#include <memory>
#include <optional>
#include <string>

#include "simulator/mailbox/model.h"
#include "simulator/time/zones.h"

namespace velmore::simulator {

/// The zone of t:TimeZoneDefinition: one that has a name, or one with rules of its own. Null for neither.
std::shared_ptr<const Zone> ZoneOfDefinition(const Element& definition);
/// That of an appointment: by its StartTimeZone, else its MeetingTimeZone, else UTC.
std::shared_ptr<const Zone> ZoneOf(const Item& item);
/// The name of that zone, "UTC" when it has none.
std::string ZoneIdOf(const Item& item, const char* property = "StartTimeZone");

/// t:TimeZoneDefinition of a name that servers list, with its rules or without; nothing for others.
std::optional<Element> ZoneDefinition(const std::string& id, bool full);
/// The names that servers list, from west to east.
std::vector<std::string> ListedZones();

/// StartTimeZone, EndTimeZone, StartTimeZoneId, EndTimeZoneId, StartWallClock, EndWallClock and TimeZone.
std::optional<Element> ZoneProperty(const Item& item, const std::string& name);

}  // namespace velmore::simulator
