// The machine's zone where a variable of the process decides about it.

#include <gtest/gtest.h>

#include <cstdlib>
#include <optional>

#include "ews/model/uVqEWSTimeZones.h"

namespace velmore {
namespace {

/// TZ of this process for one test.
class TimeZoneVariable : public testing::Test {
 protected:
  TimeZoneVariable() {
    if (const char* old = std::getenv("TZ")) FOld = old;
  }
  ~TimeZoneVariable() override {
    if (FOld) {
      ::setenv("TZ", FOld->c_str(), 1);
    } else {
      ::unsetenv("TZ");
    }
  }

  std::optional<std::string> FOld;
};

TEST_F(TimeZoneVariable, DecidesAboutTheContext) {
  ::setenv("TZ", "Asia/Kathmandu", 1);
  EXPECT_EQ(EwsMachineTimeZoneContext(), "Nepal Standard Time");
  EXPECT_EQ(EwsMachineOffsetText(), "(UTC+05:45)");
  ::setenv("TZ", "America/Phoenix", 1);
  EXPECT_EQ(EwsMachineTimeZoneContext(), "US Mountain Standard Time");
  EXPECT_EQ(EwsMachineOffsetText(), "(UTC-07:00)");
  ::setenv("TZ", "", 1);
  EXPECT_EQ(EwsMachineTimeZoneContext(), "Greenwich Standard Time");
  EXPECT_EQ(EwsMachineOffsetText(), "(UTC+00:00)");
  ::setenv("TZ", "XYZ-13:37", 1);
  EXPECT_EQ(EwsMachineTimeZoneContext(), "") << "no row has this offset";
  EXPECT_EQ(EwsMachineOffsetText(), "(UTC+13:37)");
  ::setenv("TZ", "XXX-5YYY-5:45,J1/0,J365/25", 1);  // it is summer all the year
  EXPECT_EQ(EwsMachineTimeZoneContext(), "Nepal Standard Time") << "the present offset decides";
  EXPECT_EQ(EwsMachineOffsetText(), "(UTC+05:45)");
  ::setenv("TZ", "XYZ9:30", 1);
  EXPECT_EQ(EwsMachineTimeZoneContext(), "Marquesas Standard Time");
}

}  // namespace
}  // namespace velmore
