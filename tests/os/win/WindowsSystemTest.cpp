// What Windows is asked for beside its registry: zones, variables, names of hosts.

#include <gtest/gtest.h>

#include "platform/common/uVqDateTimeUtils.h"
#include "platform/os/uVqDns.h"
#include "platform/os/uVqEnvironment.h"
#include "platform/os/uVqTimeZone.h"

using namespace velmore;

namespace {

const TDateTime kWinter = VqEncodeDate(2024, 1, 15), kSummer = VqEncodeDate(2024, 7, 15);

TEST(WindowsZones, AreKnownByBothNames) {
  EXPECT_EQ(VqWindowsTimeZoneOf("Europe/Berlin"), "W. Europe Standard Time");
  EXPECT_EQ(VqWindowsTimeZoneOf("Asia/Calcutta"), "India Standard Time");
  EXPECT_EQ(VqWindowsTimeZoneOf("Asia/Kolkata"), "India Standard Time");
  EXPECT_EQ(VqWindowsTimeZoneOf("Mars/Olympus"), "");
  EXPECT_EQ(VqIanaTimeZoneOf("W. Europe Standard Time"), "Europe/Berlin");
  EXPECT_EQ(VqIanaTimeZoneOf("W. Europe Standard Time", "CH"), "Europe/Zurich");
  EXPECT_EQ(VqIanaTimeZoneOf("No Standard Time"), "");
  EXPECT_TRUE(VqIsIanaTimeZone("UTC"));
  EXPECT_FALSE(VqIsIanaTimeZone("Etc/Unknown"));
  EXPECT_FALSE(VqIsIanaTimeZone(""));
}

TEST(WindowsZones, HaveTheOffsetsOfTheRegistrysRules) {
  EXPECT_EQ(VqUtcOffsetMinutes("Europe/Berlin", kWinter), 60);
  EXPECT_EQ(VqUtcOffsetMinutes("Europe/Berlin", kSummer), 120);
  EXPECT_EQ(VqStandardOffsetMinutes("Europe/Berlin", kSummer), 60);
  EXPECT_EQ(VqUtcOffsetMinutes("America/St_Johns", kWinter), -210);
  EXPECT_EQ(VqUtcOffsetMinutes("Asia/Kathmandu", kSummer), 345);
  EXPECT_EQ(VqUtcOffsetMinutes("Australia/Sydney", kWinter), 660) << "summer there";
  EXPECT_EQ(VqUtcOfLocalTime("Europe/Berlin", kSummer), kSummer - 2 / 24.0);
  try {
    VqUtcOffsetMinutes("Mars/Olympus", kWinter);
    FAIL();
  } catch (const EConvertError& error) {
    EXPECT_STREQ(error.what(), "The time zone \"Mars/Olympus\" is not known.");
  }
}

TEST(WindowsZones, TheMachinesIsTheSystems) {
  const TVqMachineTimeZone zone = VqMachineTimeZone();
  EXPECT_FALSE(zone.WindowsId.empty());
  EXPECT_EQ(zone.IanaId, VqIanaTimeZoneOf(zone.WindowsId));
  const TVqTimeZoneInfo rule = VqTimeZoneInfo();
  EXPECT_EQ(rule.Bias, -zone.StandardOffset);
  EXPECT_EQ(rule.StandardDate == TDateTime(0), rule.DaylightDate == TDateTime(0));
  const TVqZoneOffsets offsets = VqLibraryOffsets(VqNow());
  EXPECT_EQ(offsets.Current, zone.CurrentOffset);
}

TEST(WindowsVariables, AreExpandedByTheSystem) {
  ASSERT_EQ(setenv("VELMORE_TEST", "warts", 1), 0) << "the C library's copy and the process's";
  EXPECT_EQ(VqExpandEnvironment("<%velmore_test%> %NO SUCH VARIABLE% 100%").Copy(0, 1), "<");
  EXPECT_TRUE(VqExpandEnvironment("<%velmore_test%>").EndsWith("rts>")) << "without regard to case";
  EXPECT_EQ(VqExpandEnvironment("%NO SUCH VARIABLE% 100%"), "%NO SUCH VARIABLE% 100%");
  const string long1(std::u16string(1000, u'x'));
  EXPECT_EQ(VqExpandEnvironment(long1), long1);
  EXPECT_EQ(VqExpandEnvironment(""), "");
  EXPECT_TRUE(VqGetEnvironment("LOCALAPPDATA"));
  EXPECT_EQ(VqNativePath("a/b\\c"), "a\\b\\c");
}

TEST(WindowsNames, AreServedByTheLibraryThatIsLoadedAtRunTime) {
  const TVqDnsFunctions functions = VqLoadDnsFunctions();
  EXPECT_TRUE(functions.DnsQuery_A);
  EXPECT_TRUE(functions.DnsRecordListFree);
  TVqDnsRecord* records = nullptr;
  EXPECT_EQ(functions.DnsQuery_A("contoso.test", 1, {}, records), kVqDnsNotSupported) << "addresses are not asked for";
  EXPECT_EQ(records, nullptr);
}

}  // namespace
