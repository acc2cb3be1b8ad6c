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
  return EwsOffsetMinutes(zone->Text);
}

std::map<string, string> EwsTimeZoneDictionary() {
  std::map<string, string> zones;
  for (const TVqEWSTimeZone& zone : kTimeZones) zones.emplace(zone.Id, zone.Text);
  return zones;
}

std::int32_t EwsOffsetMinutes(const string& AText) {
  const auto two = [&](std::size_t at) { return (AText[at] - u'0') * 10 + (AText[at + 1] - u'0'); };
  const std::int32_t minutes = two(5) * 60 + two(8);
  return AText[4] == u'-' ? -minutes : minutes;
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
