#include "simulator/time/zones.h"

#include <unicode/basictz.h>
#include <unicode/simpletz.h>
#include <unicode/timezone.h>
#include <unicode/unistr.h>

#include <cstdlib>
#include <map>
#include <mutex>
#include <utility>

namespace velmore::simulator {

namespace {

class IcuZone : public Zone {
 public:
  explicit IcuZone(std::unique_ptr<icu::TimeZone> zone) : zone_(std::move(zone)) {}

  Seconds OffsetAt(Seconds utc) const override {
    int32_t raw = 0;
    int32_t daylight = 0;
    UErrorCode status = U_ZERO_ERROR;
    zone_->getOffset(static_cast<UDate>(utc) * 1000, 0, raw, daylight, status);
    return (raw + daylight) / 1000;
  }

  Seconds ToUtc(Seconds wall) const override {
    // The offsets of the days around a change are the only two that there can be.
    const Seconds before = OffsetAt(wall - 86400);
    const Seconds after = OffsetAt(wall + 86400);
    if (OffsetAt(wall - before) == before) return wall - before;
    if (OffsetAt(wall - after) == after) return wall - after;
    return wall - before;
  }

 private:
  std::unique_ptr<icu::TimeZone> zone_;
};

}  // namespace

std::shared_ptr<const Zone> Zone::Find(const std::string& windows_id) {
  static std::mutex mutex;  // protects the zones that were found
  static std::map<std::string, std::shared_ptr<const Zone>> found;
  const std::lock_guard lock(mutex);
  if (const auto known = found.find(windows_id); known != found.end()) return known->second;
  UErrorCode status = U_ZERO_ERROR;
  icu::UnicodeString id;
  icu::TimeZone::getIDForWindowsID(icu::UnicodeString::fromUTF8(windows_id), nullptr, id, status);
  std::shared_ptr<const Zone> zone;
  if (U_SUCCESS(status) && !id.isEmpty())
    zone = std::make_shared<IcuZone>(std::unique_ptr<icu::TimeZone>(icu::TimeZone::createTimeZone(id)));
  // Names that nobody knows are not kept: there is no end of them.
  if (zone != nullptr) found[windows_id] = zone;
  return zone;
}

std::shared_ptr<const Zone> Zone::Utc() {
  static const std::shared_ptr<const Zone> zone =
      std::make_shared<IcuZone>(std::unique_ptr<icu::TimeZone>(icu::TimeZone::getGMT()->clone()));
  return zone;
}

std::shared_ptr<const Zone> Zone::Make(int offset, const std::vector<YearlyChange>& changes) {
  constexpr int32_t kMinute = 60000;
  if (changes.size() != 2 || changes[0].offset == changes[1].offset)
    return std::make_shared<IcuZone>(std::make_unique<icu::SimpleTimeZone>(offset * kMinute, "own"));
  const std::size_t summer = changes[0].offset > changes[1].offset ? 0 : 1;
  const YearlyChange& begin = changes[summer];
  const YearlyChange& end = changes[1 - summer];
  UErrorCode status = U_ZERO_ERROR;
  const auto weekday = [](const YearlyChange& change) { return static_cast<int8_t>(change.weekday + UCAL_SUNDAY); };
  const auto month = [](const YearlyChange& change) { return static_cast<int8_t>(change.month - 1); };
  auto zone = std::make_unique<icu::SimpleTimeZone>(
      end.offset * kMinute, "own", month(begin), static_cast<int8_t>(begin.occurrence), weekday(begin),
      begin.at_minutes * kMinute, icu::SimpleTimeZone::WALL_TIME, month(end), static_cast<int8_t>(end.occurrence),
      weekday(end), end.at_minutes * kMinute, icu::SimpleTimeZone::WALL_TIME, (begin.offset - end.offset) * kMinute,
      status);
  if (U_FAILURE(status)) zone = std::make_unique<icu::SimpleTimeZone>(offset * kMinute, "own");
  return std::make_shared<IcuZone>(std::move(zone));
}

std::string WallText(const Zone& zone, Seconds utc) {
  std::string text = TimeText(zone.ToWall(utc));
  const Seconds offset = zone.OffsetAt(utc);
  if (offset == 0) return text;
  const auto two = [](Seconds value) { return (value < 10 ? "0" : "") + std::to_string(value); };
  const Seconds size = std::abs(offset);
  text.back() = offset < 0 ? '-' : '+';
  return text + two(size / 3600) + ":" + two(size / 60 % 60);
}

}  // namespace velmore::simulator
