#pragma once

// Time zones by the names that Windows gives them, and by rules of their own.

#include <memory>
#include <string>
#include <vector>

#include "simulator/time/time.h"

namespace velmore::simulator {

/// When the offset of a zone changes each year: "the last Sunday of October at 3:00 to UTC+1".
struct YearlyChange {
  int month = 1;       // from 1
  int weekday = 0;     // 0 Sunday
  int occurrence = 1;  // -1: the last
  int at_minutes = 0;  // of that day, by the clock that is changed
  int offset = 0;      // from then on, minutes east of UTC
};

/// Knows what the clocks of a zone show. May be read by several threads.
class Zone {
 public:
  /// Null when nobody knows the name.
  static std::shared_ptr<const Zone> Find(const std::string& windows_id);
  static std::shared_ptr<const Zone> Utc();
  /// A zone of one offset in minutes east of UTC, or of two that change each year.
  static std::shared_ptr<const Zone> Make(int offset, const std::vector<YearlyChange>& changes);
  virtual ~Zone() = default;

  /// Seconds east of UTC at a point in time.
  virtual Seconds OffsetAt(Seconds utc) const = 0;
  /// What the clocks show, as if it were UTC.
  Seconds ToWall(Seconds utc) const { return utc + OffsetAt(utc); }
  /// When they show it. A time that summer time skips counts by the clock before the change, and so falls behind the
  /// gap; of one that comes twice the first is taken.
  virtual Seconds ToUtc(Seconds wall) const = 0;
};

/// "2026-03-04T10:00:00+01:00"
std::string WallText(const Zone& zone, Seconds utc);

}  // namespace velmore::simulator
