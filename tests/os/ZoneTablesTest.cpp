// The tables by which Windows knows names of the zone database are those of the database that stands here.

#include <gtest/gtest.h>

#include <set>
#include <string>

#include "platform/os/uVqTimeZone.h"

using namespace velmore;

namespace {

struct Row {
  const char* Left;
  const char* Region;
  const char* Right;
};

#define VQ_ZONE(name, id) {name, "", id},
constexpr Row kNames[] = {
#include "platform/os/win/uVqZoneNames.inc"
};
#undef VQ_ZONE
#define VQ_ZONE_OF_REGION(id, region, name) {id, region, name},
constexpr Row kRegions[] = {
#include "platform/os/win/uVqZoneRegions.inc"
};
#undef VQ_ZONE_OF_REGION

/// Another release of the database tells a few zones otherwise.
constexpr std::size_t kTolerated = 12;

TEST(ZoneTables, NamesStandInOrderAndAreThoseOfTheDatabase) {
  std::set<std::string> others;
  std::string last;
  for (const Row& row : kNames) {
    EXPECT_LT(last, row.Left);
    last = row.Left;
    if (VqWindowsTimeZoneOf(row.Left) != row.Right) others.insert(row.Left);
  }
  EXPECT_LE(others.size(), kTolerated) << ::testing::PrintToString(others);
  EXPECT_GT(std::size(kNames), 550U);
}

TEST(ZoneTables, RegionsAreThoseOfTheDatabase) {
  std::set<std::string> others;
  for (const Row& row : kRegions) {
    if (VqIanaTimeZoneOf(row.Left, row.Region) != row.Right) others.insert(row.Left);
  }
  EXPECT_LE(others.size(), kTolerated) << ::testing::PrintToString(others);
  EXPECT_GT(std::size(kRegions), 350U);
}

}  // namespace
