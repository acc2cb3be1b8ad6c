#pragma once

/// The Windows time zones that requests name as their context, with their offsets, and which of them stands for this
/// machine. Nothing here talks to the server; the session asks the server for its own list when it logs on.

#include <map>

#include "platform/common/uVqTypes.h"

namespace velmore {

/// One row of the table; lives as long as the process.
struct TVqEWSTimeZone {
  const char* Id;    ///< "W. Europe Standard Time"
  const char* Text;  ///< the offset without daylight saving, "(UTC+01:00)"
};

/// Number of rows.
std::int32_t EwsTimeZoneCount() noexcept;
/// A row, in the order of the table: from west to east. Raises EListError when there is none.
const TVqEWSTimeZone& EwsTimeZone(std::int32_t AIndex);
/// The row with this id, which must match to the letter; null when there is none.
const TVqEWSTimeZone* EwsFindTimeZone(const string& AId);
/// Minutes east of UTC without daylight saving. Raises EEWSException "The specified TimezoneId is not valid!".
std::int32_t EwsTimeZoneOffset(const string& AId);

/// All rows as a dictionary: the offset's text by the id.
std::map<string, string> EwsTimeZoneDictionary();

/// 345 for "(UTC+05:45)": sign, hours and minutes stand at fixed places. Only for texts of the table and of
/// EwsOffsetText.
std::int32_t EwsOffsetMinutes(const string& AText);
/// "(UTC+05:45)" for 345, "(UTC-03:30)" for -210; zero is "(UTC+00:00)".
string EwsOffsetText(std::int32_t AMinutes);
/// The id that stands for a machine's zone: its own Windows id if the table has it; "Greenwich Standard Time", which
/// has no daylight saving, for "UTC"; otherwise the first row with the current offset. Empty when no row has that.
string EwsChooseTimeZone(const string& AWindowsId, std::int32_t ACurrentOffset);

/// EwsChooseTimeZone for this machine, now.
string EwsMachineTimeZoneContext();
/// EwsOffsetText of this machine's offset now, daylight saving included.
string EwsMachineOffsetText();

}  // namespace velmore
