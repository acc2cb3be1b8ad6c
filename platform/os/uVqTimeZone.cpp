#include "platform/os/uVqTimeZone.h"

#include <cstdlib>

#include "platform/common/uVqDateTimeUtils.h"
#include "platform/os/uVqTimeZone_p.h"

namespace velmore {

TVqTimeZoneSource TVqTimeZoneSource::Machine() {
  TVqTimeZoneSource source;
  if (const char* value = std::getenv("TZ")) source.TZ = value;
  return source;
}

TVqMachineTimeZone VqMachineTimeZone() {
  return VqMachineTimeZone(TVqTimeZoneSource::Machine(), VqNow());
}

TVqTimeZoneInfo VqTimeZoneInfo() {
  return VqTimeZoneInfo(TVqTimeZoneSource::Machine(), VqNow());
}

std::int32_t VqUtcOffsetMinutes(const string& ianaId, TDateTime utc) {
  const auto [standard, daylight] = VqOffsetsOf(ianaId, utc);
  return standard + daylight;
}

std::int32_t VqStandardOffsetMinutes(const string& ianaId, TDateTime utc) {
  return VqOffsetsOf(ianaId, utc).Standard;
}

TDateTime VqUtcOfLocalTime(const string& ianaId, TDateTime local) {
  const std::int64_t shown = VqToUnixMilliseconds(local);
  const auto offsetAt = [&](std::int64_t milliseconds) {
    return VqUtcOffsetMinutes(ianaId, VqFromUnixMilliseconds(milliseconds)) * std::int64_t{60'000};
  };
  // No zone changes twice within two days: the offsets before and after are all that the time can have.
  const std::int64_t before = offsetAt(shown - kVqMillisecondsPerDay), after = offsetAt(shown + kVqMillisecondsPerDay);
  const bool shownAfter = offsetAt(shown - after) == after;
  const bool shownBefore = offsetAt(shown - before) == before;
  return VqFromUnixMilliseconds(shown - (shownBefore || !shownAfter ? before : after));
}

}  // namespace velmore
