#include "platform/common/uVqSet.h"

#include <gtest/gtest.h>

namespace velmore {
namespace {

enum class TColour { coRed, coGreen, coBlue, coLast = 63 };
using TColours = TVqSet<TColour>;

TEST(Set, HoldsWhatWasIncluded) {
  TColours colours{TColour::coRed, TColour::coBlue};
  EXPECT_TRUE(colours.Contains(TColour::coRed));
  EXPECT_FALSE(colours.Contains(TColour::coGreen));
  colours.Include(TColour::coGreen);
  colours.Include(TColour::coGreen);
  colours.Exclude(TColour::coRed);
  colours.Exclude(TColour::coRed);
  EXPECT_EQ(colours, (TColours{TColour::coGreen, TColour::coBlue}));
  EXPECT_EQ(colours.Bits(), 6u);
}

TEST(Set, IsEmptyAtFirst) {
  EXPECT_TRUE(TColours().empty());
  EXPECT_EQ(TColours().Bits(), 0u);
  EXPECT_FALSE(TColours{TColour::coRed}.empty());
}

TEST(Set, AddsAndSubtracts) {
  const TColours a{TColour::coRed, TColour::coGreen}, b{TColour::coGreen, TColour::coBlue};
  EXPECT_EQ(a + b, (TColours{TColour::coRed, TColour::coGreen, TColour::coBlue}));
  EXPECT_EQ(a - b, TColours{TColour::coRed});
  EXPECT_EQ(a - a, TColours());
}

TEST(Set, HasRoomForSixtyFourValues) {
  TColours colours;
  colours.Include(TColour::coLast);
  EXPECT_EQ(colours.Bits(), 0x8000000000000000u);
  EXPECT_TRUE(colours.Contains(TColour::coLast));
}

}  // namespace
}  // namespace velmore
