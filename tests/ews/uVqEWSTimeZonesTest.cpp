#include "ews/model/uVqEWSTimeZones.h"

#include <gtest/gtest.h>

#include <set>

#include "ews/model/uVqEWSInterfaces.h"
#include "platform/os/uVqTimeZone.h"

namespace velmore {
namespace {

TEST(TimeZones, TableHasEachZoneOnceFromWestToEast) {
  EXPECT_EQ(EwsTimeZoneCount(), 134);
  std::set<string> ids;
  std::int32_t last = -12 * 60;
  std::set<std::int32_t> offsets;
  for (std::int32_t i = 0; i < EwsTimeZoneCount(); ++i) {
    const TVqEWSTimeZone& zone = EwsTimeZone(i);
    EXPECT_TRUE(ids.insert(zone.Id).second) << zone.Id;
    const std::int32_t offset = EwsTimeZoneOffset(zone.Id);
    EXPECT_GE(offset, last) << zone.Id;
    EXPECT_EQ(EwsOffsetText(offset), zone.Text);
    EXPECT_EQ(EwsFindTimeZone(zone.Id), &zone);
    offsets.insert(last = offset);
  }
  EXPECT_EQ(offsets.size(), 39u);
  EXPECT_STREQ(EwsTimeZone(0).Id, "Dateline Standard Time");
  EXPECT_STREQ(EwsTimeZone(133).Id, "Line Islands Standard Time");
  EXPECT_STREQ(EwsTimeZone(1).Text, "(UTC-11:00)");
}

TEST(TimeZones, PositionsThatAreNotThereRaise) {
  EXPECT_THROW(EwsTimeZone(-1), EListError);
  EXPECT_THROW(EwsTimeZone(134), EListError);
}

TEST(TimeZones, OffsetsAreMinutesEastOfUtc) {
  EXPECT_EQ(EwsTimeZoneOffset("UTC+12"), 720);
  EXPECT_EQ(EwsTimeZoneOffset("Newfoundland Standard Time"), -210);
  EXPECT_EQ(EwsTimeZoneOffset("Nepal Standard Time"), 345);
  EXPECT_EQ(EwsTimeZoneOffset("GMT Standard Time"), 0);
  EXPECT_EQ(EwsTimeZoneOffset("Marquesas Standard Time"), -570);
  EXPECT_EQ(EwsTimeZoneOffset("Line Islands Standard Time"), 840);
}

TEST(TimeZones, UnknownIdsRaise) {
  for (const char* id : {"", "utc+12", "UTC", "Europe/Berlin", " GMT Standard Time"}) {
    EXPECT_EQ(EwsFindTimeZone(id), nullptr) << id;
    try {
      EwsTimeZoneOffset(id);
      FAIL() << id;
    } catch (const EEWSException& error) {
      EXPECT_EQ(error.Message(), "The specified TimezoneId is not valid!");
      EXPECT_EQ(error.EWSErrorCode(), "");
      EXPECT_EQ(error.HTTPErrorCode(), 0u);
    }
  }
}

TEST(TimeZones, OffsetTextHasTwoDigitsEach) {
  EXPECT_EQ(EwsOffsetText(0), "(UTC+00:00)");
  EXPECT_EQ(EwsOffsetText(60), "(UTC+01:00)");
  EXPECT_EQ(EwsOffsetText(345), "(UTC+05:45)");
  EXPECT_EQ(EwsOffsetText(840), "(UTC+14:00)");
  EXPECT_EQ(EwsOffsetText(-30), "(UTC-00:30)");
  EXPECT_EQ(EwsOffsetText(-570), "(UTC-09:30)");
}

TEST(TimeZones, DictionaryHasEveryRow) {
  const std::map<string, string> zones = EwsTimeZoneDictionary();
  EXPECT_EQ(zones.size(), 134u);
  for (std::int32_t i = 0; i < EwsTimeZoneCount(); ++i) EXPECT_EQ(zones.at(EwsTimeZone(i).Id), EwsTimeZone(i).Text);
}

TEST(TimeZones, OffsetOfATextIsTheOtherWayRound) {
  for (const std::int32_t minutes : {0, 60, 345, 840, -30, -570, -1439})
    EXPECT_EQ(EwsOffsetMinutes(EwsOffsetText(minutes)), minutes);
}

TEST(TimeZones, AMachinesOwnZoneIsTakenWhateverItsOffsetIsNow) {
  EXPECT_EQ(EwsChooseTimeZone("W. Europe Standard Time", 120), "W. Europe Standard Time");
  EXPECT_EQ(EwsChooseTimeZone("UTC+12", 0), "UTC+12");
}

TEST(TimeZones, AnUnknownZoneTakesTheFirstOfItsOffset) {
  EXPECT_EQ(EwsChooseTimeZone("Sudan Standard Time", 120), "Middle East Standard Time");
  EXPECT_EQ(EwsChooseTimeZone("", 60), "Central Europe Standard Time");
  EXPECT_EQ(EwsChooseTimeZone("", 0), "GMT Standard Time");
  EXPECT_EQ(EwsChooseTimeZone("", -570), "Marquesas Standard Time");
}

TEST(TimeZones, UtcTakesTheZoneWithoutDaylightSaving) {
  EXPECT_EQ(EwsChooseTimeZone("UTC", 0), "Greenwich Standard Time");
}

TEST(TimeZones, AnOffsetThatNoRowHasLeavesNoContext) {
  EXPECT_EQ(EwsChooseTimeZone("", -60 * 12 - 30), "");
  EXPECT_EQ(EwsChooseTimeZone("Sudan Standard Time", 7), "");
}

TEST(TimeZones, EveryZoneOfThisSystemGetsAContext) {
  // The database goes on; whatever it adds still has an offset of the table.
  for (const char* id : {"Europe/Berlin", "America/New_York", "Asia/Kathmandu", "Africa/Khartoum", "Etc/UTC",
                         "Asia/Pyongyang", "America/Whitehorse", "Pacific/Kiritimati", "Europe/Volgograd"}) {
    EXPECT_NE(EwsChooseTimeZone(VqWindowsTimeZoneOf(id), VqUtcOffsetMinutes(id, 45000.0)), "") << id;
  }
}

}  // namespace
}  // namespace velmore
