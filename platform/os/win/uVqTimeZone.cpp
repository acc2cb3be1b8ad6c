// Time zones by Windows: its ids, and its registry's rules for each year. Names of the zone database are looked up in
// tables, as Windows has none.

#include "platform/os/uVqTimeZone.h"

#include <windows.h>

#include <algorithm>
#include <iterator>
#include <string_view>

#include "platform/common/uVqDateTimeUtils.h"
#include "platform/common/uVqSysUtils.h"
#include "platform/os/uVqTimeZone_p.h"

namespace velmore {
namespace {

struct TZoneName {
  std::string_view Name, Id;
};
#define VQ_ZONE(name, id) {name, id},
constexpr TZoneName kNames[] = {
#include "platform/os/win/uVqZoneNames.inc"
};
#undef VQ_ZONE

struct TZoneOfRegion {
  std::string_view Id, Region, Name;
};
#define VQ_ZONE_OF_REGION(id, region, name) {id, region, name},
constexpr TZoneOfRegion kRegions[] = {
#include "platform/os/win/uVqZoneRegions.inc"
};
#undef VQ_ZONE_OF_REGION

const TZoneName* FindName(std::string_view name) {
  const auto* found = std::lower_bound(std::begin(kNames), std::end(kNames), name,
                                       [](const TZoneName& row, std::string_view wanted) { return row.Name < wanted; });
  return found != std::end(kNames) && found->Name == name ? found : nullptr;
}

string KeyOf(const DYNAMIC_TIME_ZONE_INFORMATION& zone) {
  const wchar_t* key = zone.TimeZoneKeyName;
  return std::u16string(key, std::find(key, std::end(zone.TimeZoneKeyName), L'\0'));
}

/// The rules of a zone, by its id. False for an id that this Windows does not have.
bool FindZone(const string& id, DYNAMIC_TIME_ZONE_INFORMATION& zone) {
  const std::u16string_view name = id.view();
  if (name.empty() || name.size() >= std::size(zone.TimeZoneKeyName)) return false;
  for (DWORD index = 0; EnumDynamicTimeZoneInformation(index, &zone) == ERROR_SUCCESS; ++index) {
    if (KeyOf(zone) == id) return true;
  }
  return false;
}

SYSTEMTIME SystemTimeOf(TDateTime time) {
  const TVqDateTimeParts parts = VqDecodeDateTime(time);
  SYSTEMTIME system = {};
  system.wYear = static_cast<WORD>(parts.Year);
  system.wMonth = static_cast<WORD>(parts.Month);
  system.wDay = static_cast<WORD>(parts.Day);
  system.wHour = static_cast<WORD>(parts.Hour);
  system.wMinute = static_cast<WORD>(parts.Minute);
  system.wSecond = static_cast<WORD>(parts.Second);
  return system;
}

/// The two parts of the offset of a zone at a time (UTC), by the rules of the year that clocks show there.
bool OffsetsAt(DYNAMIC_TIME_ZONE_INFORMATION zone, TDateTime utc, TVqOffsetParts& parts) {
  const TDateTime shown = utc - static_cast<double>(zone.Bias) / 1440.0;
  TIME_ZONE_INFORMATION rules = {};
  const SYSTEMTIME at = SystemTimeOf(utc);
  SYSTEMTIME local = {};
  if (!GetTimeZoneInformationForYear(static_cast<USHORT>(VqDecodeDateTime(shown).Year), &zone, &rules) ||
      !SystemTimeToTzSpecificLocalTime(&rules, &at, &local)) {
    return false;
  }
  const TDateTime there =
      VqEncodeDate(local.wYear, local.wMonth, local.wDay) + VqEncodeTime(local.wHour, local.wMinute, local.wSecond);
  const TDateTime here = VqEncodeDate(at.wYear, at.wMonth, at.wDay) + VqEncodeTime(at.wHour, at.wMinute, at.wSecond);
  const auto current = static_cast<std::int32_t>((VqToUnixMilliseconds(there) - VqToUnixMilliseconds(here)) / 60'000);
  parts.Standard = -static_cast<std::int32_t>(rules.Bias + rules.StandardBias);
  parts.Daylight = current - parts.Standard;
  return true;
}

DYNAMIC_TIME_ZONE_INFORMATION MachineZone() {
  DYNAMIC_TIME_ZONE_INFORMATION zone = {};
  if (GetDynamicTimeZoneInformation(&zone) == TIME_ZONE_ID_INVALID) zone = {};
  return zone;
}

/// When a rule of Windows ("the last Sunday in March") takes effect in a year.
TDateTime DateOf(const SYSTEMTIME& rule, std::int32_t year) {
  if (rule.wMonth == 0) return {};
  const TDateTime time = VqEncodeTime(rule.wHour, rule.wMinute, rule.wSecond);
  if (rule.wYear != 0) return VqEncodeDate(rule.wYear, rule.wMonth, rule.wDay) + time;
  return VqNthWeekday(year, rule.wMonth, rule.wDay, rule.wDayOfWeek) + time;
}

}  // namespace

TVqOffsetParts VqOffsetsOf(const string& ianaId, TDateTime utc) {
  const TZoneName* name = FindName(ianaId.utf8());
  if (!name) throw EConvertError("The time zone \"" + ianaId + "\" is not known.");
  DYNAMIC_TIME_ZONE_INFORMATION zone = {};
  TVqOffsetParts parts;
  if (!FindZone(name->Id, zone) || !OffsetsAt(zone, utc, parts)) {
    throw EConvertError("The offset of the time zone \"" + ianaId + "\" cannot be told: this Windows has no \"" +
                        string(name->Id) + "\".");
  }
  return parts;
}

TVqZoneOffsets VqLibraryOffsets(TDateTime AUtc) {
  const DYNAMIC_TIME_ZONE_INFORMATION zone = MachineZone();
  TVqOffsetParts parts;
  if (!OffsetsAt(zone, AUtc, parts)) return {};
  const bool changes = zone.DaylightDate.wMonth != 0 && !zone.DynamicDaylightTimeDisabled;
  return {parts.Standard, parts.Standard + parts.Daylight, changes};
}

TVqMachineTimeZone VqMachineTimeZone(const TVqTimeZoneSource&, TDateTime now) {
  const DYNAMIC_TIME_ZONE_INFORMATION system = MachineZone();
  const TVqZoneOffsets offsets = VqLibraryOffsets(now);
  TVqMachineTimeZone zone;
  zone.WindowsId = KeyOf(system);
  zone.IanaId = VqIanaTimeZoneOf(zone.WindowsId);
  zone.StandardOffset = offsets.Standard;
  zone.CurrentOffset = offsets.Current;
  return zone;
}

TVqTimeZoneInfo VqTimeZoneInfo(const TVqTimeZoneSource&, TDateTime now) {
  DYNAMIC_TIME_ZONE_INFORMATION system = MachineZone();
  const std::int32_t year = VqDecodeDateTime(now).Year;
  TIME_ZONE_INFORMATION rules = {};
  TVqTimeZoneInfo info;
  if (!GetTimeZoneInformationForYear(static_cast<USHORT>(year), &system, &rules)) return info;
  info.Bias = static_cast<std::int32_t>(rules.Bias + rules.StandardBias);
  info.StandardDate = DateOf(rules.StandardDate, year);
  info.DaylightDate = DateOf(rules.DaylightDate, year);
  if (info.DaylightDate != 0) info.DaylightBias = static_cast<std::int32_t>(rules.DaylightBias - rules.StandardBias);
  return info;
}

string VqWindowsTimeZoneOf(const string& ianaId) {
  const TZoneName* name = FindName(ianaId.utf8());
  return name ? string(name->Id) : string();
}

string VqIanaTimeZoneOf(const string& windowsId, const string& region) {
  const std::string id = windowsId.utf8(), wanted = region.utf8();
  std::string_view world;
  for (const TZoneOfRegion& row : kRegions) {
    if (row.Id != id) continue;
    if (row.Region == wanted) return row.Name;
    if (row.Region == "001") world = row.Name;
  }
  return world;
}

bool VqIsIanaTimeZone(const string& ianaId) {
  return FindName(ianaId.utf8()) != nullptr;
}

}  // namespace velmore
