// Time zones by the files of the machine and ICU's copy of the zone database.

#include "platform/os/uVqTimeZone.h"

#include <unicode/ucal.h>
#include <unicode/ustring.h>

#include <array>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <memory>
#include <vector>

#include "platform/common/uVqDateTimeUtils.h"
#include "platform/common/uVqSysUtils.h"
#include "platform/os/uVqPosixTimeZone_p.h"
#include "platform/os/uVqTimeZone_p.h"

namespace velmore {
namespace {

constexpr std::int32_t kIdCapacity = 128;  // longer than any name of a zone

std::int32_t Length(const string& text) {
  return static_cast<std::int32_t>(text.Length());
}

struct TCloseCalendar {
  void operator()(void** calendar) const { ucal_close(calendar); }
};
using TCalendar = std::unique_ptr<void*, TCloseCalendar>;

}  // namespace

TVqOffsetParts VqOffsetsOf(const string& ianaId, TDateTime utc) {
  if (!VqIsIanaTimeZone(ianaId)) throw EConvertError("The time zone \"" + ianaId + "\" is not known.");
  UErrorCode error = U_ZERO_ERROR;
  const TCalendar calendar(ucal_open(ianaId.utf16().data(), Length(ianaId), "", UCAL_GREGORIAN, &error));
  if (U_SUCCESS(error)) {
    ucal_setMillis(calendar.get(), static_cast<double>(VqToUnixMilliseconds(utc)), &error);
  }
  std::int32_t standard = 0, daylight = 0;
  if (U_SUCCESS(error)) standard = ucal_get(calendar.get(), UCAL_ZONE_OFFSET, &error);
  if (U_SUCCESS(error)) daylight = ucal_get(calendar.get(), UCAL_DST_OFFSET, &error);
  if (U_FAILURE(error)) {
    throw EConvertError("The offset of the time zone \"" + ianaId + "\" cannot be told: " + u_errorName(error) + ".");
  }
  return {standard / 60000, daylight / 60000};
}

namespace {

TVqMachineTimeZone ByName(const string& ianaId, TDateTime now) {
  TVqMachineTimeZone zone;
  zone.IanaId = ianaId;
  zone.WindowsId = VqWindowsTimeZoneOf(ianaId);
  const auto [standard, daylight] = VqOffsetsOf(ianaId, now);
  zone.StandardOffset = standard;
  zone.CurrentOffset = standard + daylight;
  return zone;
}

namespace fs = std::filesystem;

constexpr std::string_view kZoneFolder = "zoneinfo/";

/// "Europe/Berlin" of ".../zoneinfo/posix/Europe/Berlin"; empty when the path leads elsewhere.
std::string NameOfZoneFile(const std::string& path) {
  const std::size_t at = path.rfind(kZoneFolder);
  if (at == std::string::npos) return {};
  std::string name = path.substr(at + kZoneFolder.size());
  for (const std::string_view variant : {"posix/", "right/"}) {
    if (name.starts_with(variant)) name.erase(0, variant.size());
  }
  return VqIsIanaTimeZone(name) ? name : std::string();
}

/// An absolute path as the root of the source sees it.
fs::path Under(const std::string& root, const fs::path& path) {
  return fs::path(root) / path.relative_path();
}

/// Follows links by hand, since each target counts from the source's root, and since the first one that names a zone
/// decides: zone files link to each other, too.
std::string NameByLink(const std::string& root, fs::path path) {
  std::error_code error;
  for (int links = 0; links < 16; ++links) {
    if (std::string name = NameOfZoneFile(path.string()); !name.empty()) return name;
    const fs::path target = fs::read_symlink(Under(root, path), error);
    if (error) return {};
    path = (target.is_absolute() ? target : path.parent_path() / target).lexically_normal();
  }
  return {};
}

std::optional<std::string> Content(const fs::path& path) {
  std::error_code error;
  if (!fs::is_regular_file(path, error) || fs::file_size(path, error) > 1 << 20) return {};
  std::ifstream file(path, std::ios::binary);
  std::string content(std::istreambuf_iterator<char>(file), {});
  if (!file) return {};
  return content;
}

std::string NameByText(const std::string& root) {
  const std::optional<std::string> text = Content(Under(root, "/etc/timezone"));
  if (!text) return {};
  for (std::size_t start = 0; start < text->size();) {
    std::size_t end = text->find('\n', start);
    if (end == std::string::npos) end = text->size();
    const string line = string(std::string_view(*text).substr(start, end - start)).Trim();
    if (!line.empty() && !line.StartsWith("#")) return VqIsIanaTimeZone(line) ? line.utf8() : std::string();
    start = end + 1;
  }
  return {};
}

/// A container, or a variable TZ, may have a copy of a zone file. Many zones have equal files: the shortest name wins,
/// then the first in the alphabet, so that the answer is the same everywhere.
std::string NameByContent(const std::string& root, const fs::path& path) {
  const std::optional<std::string> local = Content(Under(root, path));
  if (!local || !local->starts_with("TZif")) return {};
  const fs::path folder = Under(root, "/usr/share/zoneinfo");
  std::error_code error;
  std::string best;
  for (fs::recursive_directory_iterator at(folder, fs::directory_options::skip_permission_denied, error), end;
       !error && at != end; at.increment(error)) {
    if (!at->is_regular_file(error) || at->file_size(error) != local->size()) continue;
    const std::string name = NameOfZoneFile(kZoneFolder.data() + at->path().lexically_relative(folder).string());
    if (name.empty() || Content(at->path()) != local) continue;
    if (best.empty() || name.size() < best.size() || (name.size() == best.size() && name < best)) best = name;
  }
  return best;
}

/// The zone that has a fixed offset of whole hours; its sign is turned round, as in the rules.
string FixedZone(const TVqZoneOffsets& offsets) {
  const std::int32_t hours = offsets.Standard / 60;
  if (offsets.Changes || offsets.Standard % 60 != 0 || hours < -12 || hours > 14) return {};
  if (hours == 0) return "Etc/UTC";
  return (hours > 0 ? "Etc/GMT-" : "Etc/GMT+") + IntToStr(hours > 0 ? hours : -hours);
}

/// The zone with these offsets, whose name, if it has one, nobody here knows.
TVqMachineTimeZone ByOffsets(const TVqZoneOffsets& offsets, TDateTime now) {
  if (const string name = FixedZone(offsets); !name.empty()) return ByName(name, now);
  TVqMachineTimeZone zone;
  zone.StandardOffset = offsets.Standard;
  zone.CurrentOffset = offsets.Current;
  return zone;
}

TVqMachineTimeZone ByNameOrLibrary(const std::string& name, const TVqTimeZoneSource& source, TDateTime now) {
  return name.empty() ? ByOffsets(source.Library(now), now) : ByName(name, now);
}

TVqMachineTimeZone ByVariable(const TVqTimeZoneSource& source, TDateTime now) {
  std::string value = *source.TZ;
  if (value.starts_with(':')) value.erase(0, 1);
  if (value.starts_with('/')) {
    std::string name = NameByLink(source.Root, value);
    if (name.empty()) name = NameByContent(source.Root, value);
    return ByNameOrLibrary(name, source, now);
  }
  for (const std::string_view variant : {"posix/", "right/"}) {
    if (value.starts_with(variant)) value.erase(0, variant.size());
  }
  if (VqIsIanaTimeZone(value)) return ByName(value, now);
  if (const std::optional<TVqZoneOffsets> offsets = VqPosixOffsets(value, now)) return ByOffsets(*offsets, now);
  return ByNameOrLibrary({}, source, now);
}

}  // namespace

TVqZoneOffsets VqLibraryOffsets(TDateTime AUtc) {
  ::tzset();  // local time alone need not look at TZ again
  const auto at = static_cast<std::time_t>(VqToUnixMilliseconds(AUtc) / 1000);
  std::tm now = {};
  if (!::localtime_r(&at, &now)) return {};
  const auto minutes = [](const std::tm& time) { return static_cast<std::int32_t>(time.tm_gmtoff / 60); };
  TVqZoneOffsets offsets{minutes(now), minutes(now), false};
  // Standard time, where it is not now, is the nearest one in the year around.
  bool found = now.tm_isdst <= 0;
  for (int month = 1; month <= 6; ++month) {
    for (const int way : {-1, 1}) {
      const std::time_t then = at + static_cast<std::time_t>(way) * month * 30 * 86400;
      std::tm time = {};
      if (!::localtime_r(&then, &time)) continue;
      offsets.Changes = offsets.Changes || minutes(time) != offsets.Current;
      if (found || time.tm_isdst > 0) continue;
      offsets.Standard = minutes(time);
      found = true;
    }
  }
  return offsets;
}

TVqMachineTimeZone VqMachineTimeZone(const TVqTimeZoneSource& source, TDateTime now) {
  if (source.TZ) return ByVariable(source, now);
  std::string name = NameByLink(source.Root, "/etc/localtime");
  if (name.empty()) name = NameByText(source.Root);
  if (name.empty()) name = NameByContent(source.Root, "/etc/localtime");
  return ByNameOrLibrary(name, source, now);
}

TVqTimeZoneInfo VqTimeZoneInfo(const TVqTimeZoneSource& source, TDateTime now) {
  constexpr std::int64_t kMinutesPerDay = 24 * 60;
  const TVqMachineTimeZone zone = VqMachineTimeZone(source, now);
  const string rule = source.TZ ? string(*source.TZ) : string();
  const auto offsetAt = [&](std::int64_t minutes) {
    const TDateTime utc = VqFromUnixMilliseconds(minutes * 60'000);
    if (!zone.IanaId.empty()) return VqUtcOffsetMinutes(zone.IanaId, utc);
    if (const auto offsets = VqPosixOffsets(rule.utf8(), utc)) return offsets->Current;
    return source.Library(utc).Current;
  };
  // A change of the offset is looked for from week to week, then from minute to minute.
  struct TChange {
    std::int64_t At = 0;  // minutes since 1970, UTC
    std::int32_t Before = 0, After = 0;
  };
  std::vector<TChange> changes;
  const std::int32_t year = VqDecodeDateTime(now + zone.CurrentOffset / double(kMinutesPerDay)).Year;
  const std::int64_t end = VqDaysFromCivil(year + 1, 1, 1) * kMinutesPerDay;
  std::int64_t from = VqDaysFromCivil(year, 1, 1) * kMinutesPerDay;
  std::int32_t before = offsetAt(from);
  while (from < end) {
    const std::int64_t to = std::min(from + 7 * kMinutesPerDay, end);
    if (const std::int32_t after = offsetAt(to); after != before) {
      std::int64_t low = from, high = to;
      while (high - low > 1) (offsetAt((low + high) / 2) == before ? low : high) = (low + high) / 2;
      changes.push_back({high, before, after});
      before = after;
    }
    from = to;
  }
  TVqTimeZoneInfo info;
  info.Bias = -zone.CurrentOffset;
  if (changes.size() != 2 || changes[0].Before != changes[1].After) return info;
  const bool forward = changes[0].After > changes[0].Before;  // the northern hemisphere
  const TChange& toDaylight = changes[forward ? 0 : 1];
  const TChange& toStandard = changes[forward ? 1 : 0];
  const auto clock = [](const TChange& change) { return VqFromUnixMilliseconds((change.At + change.Before) * 60'000); };
  info.Bias = -toStandard.After;
  info.StandardDate = clock(toStandard);
  info.DaylightDate = clock(toDaylight);
  info.DaylightBias = toStandard.After - toDaylight.After;
  return info;
}

string VqWindowsTimeZoneOf(const string& ianaId) {
  std::array<char16_t, kIdCapacity> id;
  UErrorCode error = U_ZERO_ERROR;
  const std::int32_t length =
      ucal_getWindowsTimeZoneID(ianaId.utf16().data(), Length(ianaId), id.data(), kIdCapacity, &error);
  return U_SUCCESS(error) ? string(std::u16string_view(id.data(), static_cast<std::size_t>(length))) : string();
}

string VqIanaTimeZoneOf(const string& windowsId, const string& region) {
  std::array<char16_t, kIdCapacity> id;
  UErrorCode error = U_ZERO_ERROR;
  const std::int32_t length = ucal_getTimeZoneIDForWindowsID(windowsId.utf16().data(), Length(windowsId),
                                                             region.utf8().c_str(), id.data(), kIdCapacity, &error);
  return U_SUCCESS(error) ? string(std::u16string_view(id.data(), static_cast<std::size_t>(length))) : string();
}

bool VqIsIanaTimeZone(const string& ianaId) {
  std::array<char16_t, kIdCapacity> id;
  UErrorCode error = U_ZERO_ERROR;
  UBool system = false;
  ucal_getCanonicalTimeZoneID(ianaId.utf16().data(), Length(ianaId), id.data(), kIdCapacity, &system, &error);
  return U_SUCCESS(error) && system && ianaId != "Etc/Unknown";
}

}  // namespace velmore
