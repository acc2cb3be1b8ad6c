#pragma once

/// The time zone of this machine, by its IANA name, by its Windows id and by its offsets.
///
///     TVqMachineTimeZone zone = VqMachineTimeZone();
///     zone.WindowsId;                                   // "W. Europe Standard Time"
///     VqUtcOffsetMinutes("Europe/Berlin", VqNow());     // 60 or 120
///
/// Everything here reads files and the environment at each call and keeps nothing; any thread may call, as long as no
/// other thread changes the environment. Nothing talks to a server.

#include <functional>
#include <optional>

#include "platform/common/uVqTypes.h"

namespace velmore {

/// The offsets of a zone at some time, in minutes east of UTC; seconds are cut.
struct TVqZoneOffsets {
  /// Without daylight saving.
  std::int32_t Standard = 0;
  /// With it.
  std::int32_t Current = 0;
  /// False when the offset never changes.
  bool Changes = false;
};

/// The offsets of this process by the C library: local time at `AUtc` and over the year around it. Reads TZ anew.
TVqZoneOffsets VqLibraryOffsets(TDateTime AUtc);

/// Where the machine says what its zone is. The default is the real machine; tests use a folder, a variable and a
/// library of their own.
struct TVqTimeZoneSource {
  /// The variable TZ, or nothing when it is not set. An empty one means UTC, as the C library has it.
  std::optional<std::string> TZ;
  /// What stands for "/" when etc/localtime, etc/timezone and usr/share/zoneinfo are looked up.
  std::string Root = "/";
  /// What is asked for the offsets of a zone that has no name here.
  std::function<TVqZoneOffsets(TDateTime AUtc)> Library = VqLibraryOffsets;

  /// TZ of this process and the real root.
  static TVqTimeZoneSource Machine();
};

/// What is known of the machine's zone. A plain value.
struct TVqMachineTimeZone {
  /// "Europe/Berlin"; "Etc/GMT-3" for a rule of whole hours ("<+03>-3"); empty for a rule that no zone stands for
  /// ("CET-1CEST,M3.5.0,M10.5.0/3") and for a zone without a name here, whose offsets are known all the same.
  string IanaId;
  /// "W. Europe Standard Time"; empty when no Windows zone is known for the name.
  string WindowsId;
  /// Minutes east of UTC, daylight saving included.
  std::int32_t CurrentOffset = 0;
  /// Minutes east of UTC without daylight saving.
  std::int32_t StandardOffset = 0;
};

/// The rule of a zone for one year: two offsets and when the clock changes from one to the other.
struct TVqTimeZoneInfo {
  /// Minutes to add to local time without daylight saving to get UTC: -60 for a zone that is an hour ahead.
  std::int32_t Bias = 0;
  /// When standard time begins, as the clock shows it right before it is put back; 0 when there is no daylight saving.
  TDateTime StandardDate;
  /// When daylight saving begins, as the clock shows it right before it is put forward; 0 when there is none.
  TDateTime DaylightDate;
  /// Minutes to add to the bias in daylight saving: -60 as a rule; 0 when there is none.
  std::int32_t DaylightBias = 0;
};

/// The rule of this machine's zone for the present year. A zone whose offset changes otherwise than twice a year, there
/// and back, has no daylight saving: the bias is that of this moment.
TVqTimeZoneInfo VqTimeZoneInfo();
/// The same from another source and for the year of a time (UTC). Not on Windows, where it gives the system's zone.
TVqTimeZoneInfo VqTimeZoneInfo(const TVqTimeZoneSource& source, TDateTime now);

/// The zone of this machine at this moment. Looked for in this order: the variable TZ in all its forms (a name, ":" and
/// a name, a file, a rule); the file that /etc/localtime links to; the name in /etc/timezone; a zone file with the
/// content of /etc/localtime. Where all of this leads to no name that the zone database knows (a zone file of the
/// machine's own, a zone that is younger than the database), the C library's offsets count. A machine that says nothing
/// is in UTC, and so is one whose TZ nobody understands. On Windows: the system's zone. Does not raise for what it
/// finds.
TVqMachineTimeZone VqMachineTimeZone();
/// The same from another source and at a given time (UTC). Not on Windows, where it gives the system's zone.
TVqMachineTimeZone VqMachineTimeZone(const TVqTimeZoneSource& source, TDateTime now);

/// The Windows id of an IANA name; empty when there is none.
string VqWindowsTimeZoneOf(const string& ianaId);
/// The IANA name that stands for a Windows id in a region ("DE"; "001" for the world); empty when there is none.
string VqIanaTimeZoneOf(const string& windowsId, const string& region = "001");
/// True for a name that the zone database knows.
bool VqIsIanaTimeZone(const string& ianaId);

/// Minutes east of UTC at a point in time (UTC), daylight saving included. Raises EConvertError for a name that the
/// zone database does not know.
std::int32_t VqUtcOffsetMinutes(const string& ianaId, TDateTime utc);
/// The same without daylight saving.
std::int32_t VqStandardOffsetMinutes(const string& ianaId, TDateTime utc);
/// The point in time (UTC) at which clocks in a zone show `local`. Of a time that they show twice, the first one; a
/// time that they skip counts from the last moment before the gap, so that they show it moved on by what was skipped.
/// Raises as VqUtcOffsetMinutes does.
TDateTime VqUtcOfLocalTime(const string& ianaId, TDateTime local);

}  // namespace velmore
