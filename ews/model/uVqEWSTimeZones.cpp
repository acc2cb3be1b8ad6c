#include "ews/model/uVqEWSTimeZones.h"

#include <iterator>

#include "ews/model/uVqEWSInterfaces.h"
#include "platform/os/uVqTimeZone.h"

namespace velmore {
namespace {

#define VQ_TIME_ZONE(id, text) {id, text},
constexpr TVqEWSTimeZone kTimeZones[] = {
#include "ews/tables/uVqEWSTimeZones.inc"
};
#undef VQ_TIME_ZONE

/// "(UTC-09:30)" in minutes: sign, hours and minutes stand at fixed places.
constexpr std::int32_t Minutes(const char* text) noexcept {
  const auto two = [&](int at) { return (text[at] - '0') * 10 + (text[at + 1] - '0'); };
  const std::int32_t minutes = two(5) * 60 + two(8);
  return text[4] == '-' ? -minutes : minutes;
}
static_assert(Minutes("(UTC-09:30)") == -570 && Minutes("(UTC+14:00)") == 840);

}  // namespace

std::int32_t EwsTimeZoneCount() noexcept {
  return static_cast<std::int32_t>(std::size(kTimeZones));
}

const TVqEWSTimeZone& EwsTimeZone(std::int32_t AIndex) {
  if (AIndex < 0 || AIndex >= EwsTimeZoneCount()) {
    throw EListError("There is no time zone at position " + IntToStr(AIndex) + ".");
  }
  return kTimeZones[AIndex];
}

const TVqEWSTimeZone* EwsFindTimeZone(const string& AId) {
  for (const TVqEWSTimeZone& zone : kTimeZones) {
    if (AId == zone.Id) return &zone;
  }
  return nullptr;
}

std::int32_t EwsTimeZoneOffset(const string& AId) {
  const TVqEWSTimeZone* zone = EwsFindTimeZone(AId);
  if (!zone) throw EEWSException("The specified TimezoneId is not valid!");
  return Minutes(zone->Text);
}

string EwsOffsetText(std::int32_t AMinutes) {
  const std::int32_t minutes = AMinutes < 0 ? -AMinutes : AMinutes;
  return Format(AMinutes < 0 ? "(UTC-%.2d:%.2d)" : "(UTC+%.2d:%.2d)", {minutes / 60, minutes % 60});
}

string EwsChooseTimeZone(const string& AWindowsId, std::int32_t ACurrentOffset) {
  if (EwsFindTimeZone(AWindowsId)) return AWindowsId;
  if (AWindowsId == "UTC") return "Greenwich Standard Time";
  const string text = EwsOffsetText(ACurrentOffset);
  for (const TVqEWSTimeZone& zone : kTimeZones) {
    if (text == zone.Text) return zone.Id;
  }
  return {};
}

string EwsMachineTimeZoneContext() {
  const TVqMachineTimeZone zone = VqMachineTimeZone();
  return EwsChooseTimeZone(zone.WindowsId, zone.CurrentOffset);
}

string EwsMachineOffsetText() {
  return EwsOffsetText(VqMachineTimeZone().CurrentOffset);
}

}  // namespace velmore
