#include "platform/os/uVqTimeZone.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>

#include "platform/common/uVqDateTimeUtils.h"
#include "platform/common/uVqSysUtils.h"
#include "platform/os/uVqPosixTimeZone_p.h"

namespace velmore {
namespace {

namespace fs = std::filesystem;

const TDateTime kWinter = VqEncodeDateTime({2024, 1, 15, 12, 0, 0, 0});
const TDateTime kSummer = VqEncodeDateTime({2024, 7, 15, 12, 0, 0, 0});

/// A machine of our own: a folder that stands for its root.
class Machine : public testing::Test {
 protected:
  Machine() {
    FSource.Root = (fs::temp_directory_path() / ("velmore-zone-" + std::to_string(::getpid()) + "-" +
                                                 testing::UnitTest::GetInstance()->current_test_info()->name()))
                       .string();
    fs::create_directories(FSource.Root + "/etc");
    FSource.Library = [this](TDateTime utc) {
      FAskedFor = utc;
      return FLibrary;
    };
    for (const char* zone : {"Europe/Berlin", "Europe/Zurich", "Europe/Busingen", "America/New_York"}) {
      Write(std::string("usr/share/zoneinfo/") + zone, std::string("TZif2 ") + zone);
    }
  }
  ~Machine() override { fs::remove_all(FSource.Root); }

  void Write(const std::string& name, const std::string& content) {
    const fs::path path = fs::path(FSource.Root) / name;
    fs::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << content;
  }
  void Link(const std::string& name, const std::string& target) {
    const fs::path path = fs::path(FSource.Root) / name;
    fs::create_directories(path.parent_path());
    fs::create_symlink(target, path);
  }
  string Zone() const { return VqMachineTimeZone(FSource, kWinter).IanaId; }
  string ZoneOfVariable(const std::string& value) {
    FSource.TZ = value;
    return Zone();
  }

  TVqTimeZoneSource FSource;
  TVqZoneOffsets FLibrary;  // what the C library says
  std::optional<TDateTime> FAskedFor;
};

/// A zone file of one fixed offset, as the C library reads it.
std::string FixedZoneFile(std::int32_t minutes, const std::string& name) {
  const auto number = [](std::int32_t value) {
    std::string bytes;
    for (const int shift : {24, 16, 8, 0})
      bytes += static_cast<char>((static_cast<std::uint32_t>(value) >> shift) & 0xFF);
    return bytes;
  };
  std::string file = "TZif" + std::string(16, '\0');
  for (const std::int32_t count : {0, 0, 0, 0, 1, static_cast<std::int32_t>(name.size()) + 1}) file += number(count);
  return file + number(minutes * 60) + std::string(2, '\0') + name + '\0';
}

/// Runs `look` in a child process whose variable TZ is `value` from the start, and gives what it says.
std::string InChild(const std::string& value, const std::function<std::string()>& look) {
  int ends[2];
  if (::pipe(ends) != 0) return "no pipe";
  const pid_t child = ::fork();
  if (child == 0) {
    ::setenv("TZ", value.c_str(), 1);
    std::string said;
    try {
      said = look();
    } catch (const std::exception& failure) {
      said = failure.what();
    }
    const bool written = ::write(ends[1], said.data(), said.size()) == static_cast<ssize_t>(said.size());
    ::_exit(written ? 0 : 1);
  }
  ::close(ends[1]);
  std::string said;
  char piece[256];
  for (ssize_t got; (got = ::read(ends[0], piece, sizeof piece)) > 0;)
    said.append(piece, static_cast<std::size_t>(got));
  ::close(ends[0]);
  int status = 0;
  ::waitpid(child, &status, 0);
  return WIFEXITED(status) && WEXITSTATUS(status) == 0 ? said : "the child died";
}

std::string MachineInChild(const std::string& value) {
  return InChild(value, [] {
    const TVqMachineTimeZone zone = VqMachineTimeZone(TVqTimeZoneSource::Machine(), kSummer);
    return zone.IanaId.utf8() + " " + std::to_string(zone.StandardOffset) + "/" + std::to_string(zone.CurrentOffset);
  });
}

TEST_F(Machine, WithNothingAtAllIsInUtc) {
  const TVqMachineTimeZone zone = VqMachineTimeZone(FSource, kSummer);
  EXPECT_EQ(zone.IanaId, "Etc/UTC");
  EXPECT_EQ(zone.WindowsId, "UTC");
  EXPECT_EQ(zone.CurrentOffset, 0);
  EXPECT_EQ(zone.StandardOffset, 0);
  FSource.Root += "/no/such/folder";
  EXPECT_EQ(Zone(), "Etc/UTC");
}

TEST_F(Machine, FollowsTheLinkOfLocaltime) {
  Link("etc/localtime", "/usr/share/zoneinfo/Europe/Berlin");
  const TVqMachineTimeZone winter = VqMachineTimeZone(FSource, kWinter);
  EXPECT_EQ(winter.IanaId, "Europe/Berlin");
  EXPECT_EQ(winter.WindowsId, "W. Europe Standard Time");
  EXPECT_EQ(winter.CurrentOffset, 60);
  EXPECT_EQ(winter.StandardOffset, 60);
  const TVqMachineTimeZone summer = VqMachineTimeZone(FSource, kSummer);
  EXPECT_EQ(summer.CurrentOffset, 120);
  EXPECT_EQ(summer.StandardOffset, 60);
}

TEST_F(Machine, FollowsRelativeLinksAndLinksToLinks) {
  Link("etc/localtime", "../usr/share/zoneinfo/America/New_York");
  EXPECT_EQ(Zone(), "America/New_York");
  fs::remove(FSource.Root + "/etc/localtime");
  Link("etc/localtime", "/etc/zones/current");
  Link("etc/zones/current", "here");
  Link("etc/zones/here", "/usr/share/zoneinfo/posix/Europe/Berlin");
  EXPECT_EQ(Zone(), "Europe/Berlin");
}

TEST_F(Machine, TheFirstLinkThatNamesAZoneDecides) {
  fs::remove(FSource.Root + "/usr/share/zoneinfo/Europe/Busingen");
  Link("usr/share/zoneinfo/Europe/Busingen", "Zurich");
  Link("etc/localtime", "/usr/share/zoneinfo/Europe/Busingen");
  EXPECT_EQ(Zone(), "Europe/Busingen");
}

TEST_F(Machine, LinksInACircleEndInUtc) {
  Link("etc/localtime", "other");
  Link("etc/other", "localtime");
  EXPECT_EQ(Zone(), "Etc/UTC");
}

TEST_F(Machine, ALinkGoesBeforeTheText) {
  Link("etc/localtime", "/usr/share/zoneinfo/Europe/Berlin");
  Write("etc/timezone", "America/New_York\n");
  EXPECT_EQ(Zone(), "Europe/Berlin") << "the C library follows the link";
}

TEST_F(Machine, TakesTheTextBesideACopiedFile) {
  Write("etc/localtime", "TZif2 Europe/Berlin");
  Write("etc/timezone", "# set by hand\n\n  America/New_York \n");
  EXPECT_EQ(Zone(), "America/New_York");
}

TEST_F(Machine, TakesTheTextAlone) {
  Write("etc/timezone", "Europe/Berlin");
  EXPECT_EQ(Zone(), "Europe/Berlin");
  Write("etc/timezone", "Mars/Olympus\n");
  EXPECT_EQ(Zone(), "Etc/UTC");
  Write("etc/timezone", "");
  EXPECT_EQ(Zone(), "Etc/UTC");
}

TEST_F(Machine, RecognisesACopiedFileByItsContent) {
  Write("etc/localtime", "TZif2 America/New_York");
  EXPECT_EQ(Zone(), "America/New_York");
  Write("etc/localtime", "TZif2 of nobody");
  EXPECT_EQ(Zone(), "Etc/UTC");
  Write("etc/localtime", "");
  EXPECT_EQ(Zone(), "Etc/UTC");
}

TEST_F(Machine, OfZonesWithEqualFilesTheShortestNameStandsForAll) {
  Write("usr/share/zoneinfo/Europe/Busingen", "TZif2 same");
  Write("usr/share/zoneinfo/Europe/Zurich", "TZif2 same");
  Write("usr/share/zoneinfo/posix/Europe/Zurich", "TZif2 same");
  Write("etc/localtime", "TZif2 same");
  EXPECT_EQ(Zone(), "Europe/Zurich");
}

TEST_F(Machine, VariableGoesBeforeTheFiles) {
  Link("etc/localtime", "/usr/share/zoneinfo/Europe/Berlin");
  EXPECT_EQ(ZoneOfVariable("America/New_York"), "America/New_York");
  EXPECT_EQ(ZoneOfVariable(":America/New_York"), "America/New_York");
  EXPECT_EQ(ZoneOfVariable("posix/America/New_York"), "America/New_York");
  EXPECT_EQ(ZoneOfVariable(":right/America/New_York"), "America/New_York");
  EXPECT_EQ(ZoneOfVariable("EST5EDT"), "EST5EDT") << "a rule that is a name, too";
}

TEST_F(Machine, VariableMayNameAFile) {
  EXPECT_EQ(ZoneOfVariable("/usr/share/zoneinfo/America/New_York"), "America/New_York");
  EXPECT_EQ(ZoneOfVariable(":/usr/share/zoneinfo/right/Europe/Berlin"), "Europe/Berlin");
  Link("etc/localtime", "/usr/share/zoneinfo/Europe/Zurich");
  EXPECT_EQ(ZoneOfVariable(":/etc/localtime"), "Europe/Zurich");
  EXPECT_EQ(ZoneOfVariable("/no/such/file"), "Etc/UTC");
}

TEST_F(Machine, VariableMayNameACopyOfAZoneFile) {
  Write("etc/localtime", "TZif2 America/New_York");
  Write("srv/zone", "TZif2 Europe/Zurich");
  EXPECT_EQ(ZoneOfVariable(":/etc/localtime"), "America/New_York");
  EXPECT_EQ(ZoneOfVariable("/srv/zone"), "Europe/Zurich");
  EXPECT_FALSE(FAskedFor);
}

TEST_F(Machine, WithoutAKnownNameHasTheOffsetsOfTheLibrary) {
  FLibrary = {-240, -180, true};
  Write("usr/share/zoneinfo/America/Coyhaique2", "TZif2 young");
  Write("srv/zone", "TZif2 of nobody");
  for (const char* value : {"America/Coyhaique2", ":America/Coyhaique2", "/usr/share/zoneinfo/America/Coyhaique2",
                            "/srv/zone", ":/srv/zone", "/no/such/file", "Mars/Olympus"}) {
    FAskedFor.reset();
    FSource.TZ = value;
    const TVqMachineTimeZone zone = VqMachineTimeZone(FSource, kSummer);
    EXPECT_EQ(zone.IanaId, "") << value;
    EXPECT_EQ(zone.WindowsId, "") << value;
    EXPECT_EQ(zone.StandardOffset, -240) << value;
    EXPECT_EQ(zone.CurrentOffset, -180) << value;
    ASSERT_TRUE(FAskedFor) << value;
    EXPECT_EQ(static_cast<double>(*FAskedFor), static_cast<double>(kSummer)) << value;
  }
  FSource.TZ.reset();
  Link("etc/localtime", "/usr/share/zoneinfo/America/Coyhaique2");
  EXPECT_EQ(VqMachineTimeZone(FSource, kSummer).CurrentOffset, -180);
  fs::remove(FSource.Root + "/etc/localtime");
  Write("etc/localtime", "TZif2 of nobody");
  EXPECT_EQ(VqMachineTimeZone(FSource, kSummer).CurrentOffset, -180);
}

TEST_F(Machine, FixedHoursOfTheLibraryAreAZone) {
  FLibrary = {180, 180, false};
  Write("etc/localtime", "TZif2 of nobody");
  EXPECT_EQ(Zone(), "Etc/GMT-3");
}

TEST(LibraryOffsets, AreThoseOfTheProcess) {
  const auto offsets = [](const char* zone, TDateTime utc) {
    return InChild(zone, [&] {
      const TVqZoneOffsets found = VqLibraryOffsets(utc);
      return std::to_string(found.Standard) + "/" + std::to_string(found.Current) + (found.Changes ? " changes" : "");
    });
  };
  EXPECT_EQ(offsets("CET-1CEST,M3.5.0,M10.5.0/3", kSummer), "60/120 changes");
  EXPECT_EQ(offsets("CET-1CEST,M3.5.0,M10.5.0/3", kWinter), "60/60 changes");
  EXPECT_EQ(offsets("AEST-10AEDT,M10.1.0,M4.1.0/3", kWinter), "600/660 changes") << "the southern summer";
  EXPECT_EQ(offsets("<-0930>9:30", kSummer), "-570/-570");
  EXPECT_EQ(offsets("UTC0", kSummer), "0/0");
  EXPECT_EQ(offsets("Mars/Olympus", kSummer), "0/0");
}

TEST_F(Machine, ThatRunsThisProcessIsFoundByAFileOfItsOwn) {
  Write("zone", FixedZoneFile(345, "NPT"));
  for (const char* before : {"", ":"}) EXPECT_EQ(MachineInChild(before + FSource.Root + "/zone"), " 345/345");
  Write("zone", FixedZoneFile(-180, "XXX"));
  EXPECT_EQ(MachineInChild(":" + FSource.Root + "/zone"), "Etc/GMT+3 -180/-180");
  EXPECT_EQ(MachineInChild(":" + FSource.Root + "/none"), "Etc/UTC 0/0");
}

TEST(MachineZone, LocaltimeInTheVariableIsWhatNoVariableGives) {
  const auto zone = [](const TVqTimeZoneSource& source) { return VqMachineTimeZone(source, kSummer); };
  TVqTimeZoneSource silent;
  const TVqMachineTimeZone without = zone(silent);
  silent.TZ = ":/etc/localtime";
  EXPECT_EQ(zone(silent).CurrentOffset, without.CurrentOffset);
}

TEST_F(Machine, EmptyOrSenselessVariableMeansUtc) {
  Link("etc/localtime", "/usr/share/zoneinfo/Europe/Berlin");
  for (const char* value : {"", ":", "Mars/Olympus", "CET-", "12", "Etc/Unknown", "CET-1CEST,M3"}) {
    EXPECT_EQ(ZoneOfVariable(value), "Etc/UTC") << value;
  }
}

TEST_F(Machine, VariableMayHoldARule) {
  FSource.TZ = "CET-1CEST,M3.5.0,M10.5.0/3";
  TVqMachineTimeZone zone = VqMachineTimeZone(FSource, kSummer);
  EXPECT_EQ(zone.IanaId, "");
  EXPECT_EQ(zone.WindowsId, "");
  EXPECT_EQ(zone.StandardOffset, 60);
  EXPECT_EQ(zone.CurrentOffset, 120);
  EXPECT_EQ(ZoneOfVariable("<+03>-3"), "Etc/GMT-3");
  EXPECT_EQ(ZoneOfVariable("PPT5"), "Etc/GMT+5");
  EXPECT_EQ(ZoneOfVariable("UTC0"), "Etc/UTC");
  FSource.TZ = "<+0545>-5:45";
  zone = VqMachineTimeZone(FSource, kSummer);
  EXPECT_EQ(zone.IanaId, "");
  EXPECT_EQ(zone.CurrentOffset, 345);
}

TEST(MachineZone, OfThisProcessIsFound) {
  const TVqMachineTimeZone zone = VqMachineTimeZone();
  EXPECT_LE(std::abs(zone.CurrentOffset), 14 * 60);
}

// ---- Rules

std::string Offsets(const char* rule, const TVqDateTimeParts& utc) {
  const auto offsets = VqPosixOffsets(rule, VqEncodeDateTime(utc));
  return offsets ? std::to_string(offsets->Standard) + "/" + std::to_string(offsets->Current) : "no rule";
}

TEST(PosixRule, ChangesAtTheSecondThatItTells) {
  const char* berlin = "CET-1CEST,M3.5.0,M10.5.0/3";
  EXPECT_EQ(Offsets(berlin, {2024, 3, 31, 0, 59, 59, 0}), "60/60");
  EXPECT_EQ(Offsets(berlin, {2024, 3, 31, 1, 0, 0, 0}), "60/120");
  EXPECT_EQ(Offsets(berlin, {2024, 10, 27, 0, 59, 59, 0}), "60/120");
  EXPECT_EQ(Offsets(berlin, {2024, 10, 27, 1, 0, 0, 0}), "60/60");
  const char* newYork = "EST5EDT,M3.2.0,M11.1.0";
  EXPECT_EQ(Offsets(newYork, {2024, 3, 10, 6, 59, 59, 0}), "-300/-300");
  EXPECT_EQ(Offsets(newYork, {2024, 3, 10, 7, 0, 0, 0}), "-300/-240");
  EXPECT_EQ(Offsets(newYork, {2024, 11, 3, 5, 59, 59, 0}), "-300/-240");
  EXPECT_EQ(Offsets(newYork, {2024, 11, 3, 6, 0, 0, 0}), "-300/-300");
}

TEST(PosixRule, SouthernSummersSpanTheYearsEnd) {
  const char* sydney = "AEST-10AEDT,M10.1.0,M4.1.0/3";
  EXPECT_EQ(Offsets(sydney, {2024, 1, 1, 0, 0, 0, 0}), "600/660");
  EXPECT_EQ(Offsets(sydney, {2024, 7, 1, 0, 0, 0, 0}), "600/600");
  EXPECT_EQ(Offsets(sydney, {2024, 12, 1, 0, 0, 0, 0}), "600/660");
}

TEST(PosixRule, DaylightTimeMayHaveAnOffsetOfItsOwn) {
  EXPECT_EQ(Offsets("<+1030>-10:30<+11>-11,M10.1.0,M4.1.0", {2024, 1, 1, 0, 0, 0, 0}), "630/660");
  EXPECT_EQ(Offsets("IST-1GMT0,M10.5.0,M3.5.0/1", {2024, 1, 1, 0, 0, 0, 0}), "60/0") << "winter time as the exception";
  EXPECT_EQ(Offsets("<-02>2<-01>,M3.5.0/-1,M10.5.0/0", {2024, 7, 1, 0, 0, 0, 0}), "-120/-60");
}

TEST(PosixRule, DaysMayBeCounted) {
  EXPECT_EQ(Offsets("AAA0BBB,J60/0,J300/0", {2024, 2, 29, 12, 0, 0, 0}), "0/0") << "day 60 is always 1 March";
  EXPECT_EQ(Offsets("AAA0BBB,J60/0,J300/0", {2024, 3, 1, 0, 0, 0, 0}), "0/60");
  EXPECT_EQ(Offsets("AAA0BBB,59/0,300/0", {2024, 2, 29, 0, 0, 0, 0}), "0/60") << "counted from 0, with the leap day";
  EXPECT_EQ(Offsets("AAA0BBB,59/0,300/0", {2023, 3, 1, 0, 0, 0, 0}), "0/60");
  EXPECT_EQ(Offsets("AAA0BBB,59/0,300/0", {2023, 2, 28, 23, 59, 59, 0}), "0/0");
}

TEST(PosixRule, WithoutDatesHasThoseOfTheUnitedStates) {
  EXPECT_EQ(Offsets("AAA5BBB", {2024, 3, 10, 6, 59, 59, 0}), "-300/-300");
  EXPECT_EQ(Offsets("AAA5BBB", {2024, 3, 10, 7, 0, 0, 0}), "-300/-240");
  EXPECT_EQ(Offsets("AAA5BBB4", {2024, 7, 1, 0, 0, 0, 0}), "-300/-240");
}

TEST(PosixRule, AgreesWithTheZoneDatabase) {
  const std::pair<const char*, const char*> zones[] = {{"CET-1CEST,M3.5.0,M10.5.0/3", "Europe/Berlin"},
                                                       {"EST5EDT,M3.2.0,M11.1.0", "America/New_York"},
                                                       {"AEST-10AEDT,M10.1.0,M4.1.0/3", "Australia/Sydney"},
                                                       {"NST3:30NDT,M3.2.0,M11.1.0", "America/St_Johns"}};
  for (const auto& [rule, zone] : zones) {
    for (int hour = 0; hour < 366 * 24; ++hour) {
      const TDateTime time = VqFromUnixMilliseconds(1704067200000 + hour * std::int64_t{3600000});
      const auto offsets = VqPosixOffsets(rule, time);
      ASSERT_TRUE(offsets);
      ASSERT_EQ(offsets->Current, VqUtcOffsetMinutes(zone, time)) << zone << ", hour " << hour;
      ASSERT_EQ(offsets->Standard, VqStandardOffsetMinutes(zone, time)) << zone << ", hour " << hour;
    }
  }
}

TEST(PosixRule, OtherTextsAreNone) {
  for (const char* text : {"",
                           "A1",
                           "AB1",
                           "ABC",
                           "<AB>1",
                           "<ABC1",
                           "ABC25",
                           "ABC1:60",
                           "ABC1:00:60",
                           "ABC-",
                           "ABC1DE",
                           "ABC1DEF,",
                           "ABC1DEF,M3.2.0",
                           "ABC1DEF,M13.2.0,M11.1.0",
                           "ABC1DEF,M3.6.0,M11.1.0",
                           "ABC1DEF,M3.2.7,M11.1.0",
                           "ABC1DEF,J0,J10",
                           "ABC1DEF,J366,J10",
                           "ABC1DEF,366,1",
                           "ABC1DEF,M3.2.0,M11.1.0x",
                           "ABC1DEF,M3.2.0/168,M11.1.0",
                           "ABC1 DEF",
                           "1ABC",
                           "ABC99999999999"}) {
    EXPECT_EQ(Offsets(text, {2024, 1, 1, 0, 0, 0, 0}), "no rule") << text;
  }
}

// ---- Names

TEST(ZoneNames, MapToWindowsIdsAndBack) {
  EXPECT_EQ(VqWindowsTimeZoneOf("Europe/Berlin"), "W. Europe Standard Time");
  EXPECT_EQ(VqWindowsTimeZoneOf("America/New_York"), "Eastern Standard Time");
  EXPECT_EQ(VqWindowsTimeZoneOf("Asia/Calcutta"), "India Standard Time") << "old names count";
  EXPECT_EQ(VqWindowsTimeZoneOf("Asia/Kolkata"), "India Standard Time");
  EXPECT_EQ(VqWindowsTimeZoneOf("Etc/UTC"), "UTC");
  EXPECT_EQ(VqWindowsTimeZoneOf("Mars/Olympus"), "");
  EXPECT_EQ(VqWindowsTimeZoneOf(""), "");
  EXPECT_EQ(VqIanaTimeZoneOf("W. Europe Standard Time"), "Europe/Berlin");
  EXPECT_EQ(VqIanaTimeZoneOf("W. Europe Standard Time", "CH"), "Europe/Zurich");
  EXPECT_EQ(VqIanaTimeZoneOf("No Standard Time"), "");
  EXPECT_EQ(VqIanaTimeZoneOf(""), "");
}

TEST(ZoneNames, AreKnownOrNot) {
  EXPECT_TRUE(VqIsIanaTimeZone("Europe/Berlin"));
  EXPECT_TRUE(VqIsIanaTimeZone("UTC"));
  EXPECT_FALSE(VqIsIanaTimeZone("Mars/Olympus"));
  EXPECT_FALSE(VqIsIanaTimeZone("Etc/Unknown"));
  EXPECT_FALSE(VqIsIanaTimeZone("GMT+3:30")) << "an offset is no zone";
  EXPECT_FALSE(VqIsIanaTimeZone(""));
}

TEST(LocalTime, OfAZoneAsUtc) {
  const auto utc = [](const char* zone, TVqDateTimeParts local) {
    return VqDecodeDateTime(VqUtcOfLocalTime(zone, VqEncodeDateTime(local)));
  };
  using TParts = TVqDateTimeParts;
  EXPECT_EQ(utc("Europe/Berlin", {2024, 1, 15, 12}), (TParts{2024, 1, 15, 11}));
  EXPECT_EQ(utc("Europe/Berlin", {2024, 7, 15, 12}), (TParts{2024, 7, 15, 10}));
  EXPECT_EQ(utc("Asia/Kathmandu", {2024, 7, 15, 5, 45}), (TParts{2024, 7, 15}));
  EXPECT_EQ(utc("Pacific/Kiritimati", {2024, 7, 15}), (TParts{2024, 7, 14, 10}));
  // Clocks go from 2:00 to 3:00: what they skip is shown moved on.
  EXPECT_EQ(utc("Europe/Berlin", {2024, 3, 31, 1, 59}), (TParts{2024, 3, 31, 0, 59}));
  EXPECT_EQ(utc("Europe/Berlin", {2024, 3, 31, 2, 30}), (TParts{2024, 3, 31, 1, 30}));
  EXPECT_EQ(utc("Europe/Berlin", {2024, 3, 31, 3}), (TParts{2024, 3, 31, 1}));
  // And from 3:00 back to 2:00: of what they show twice, the first one.
  EXPECT_EQ(utc("Europe/Berlin", {2024, 10, 27, 2, 30}), (TParts{2024, 10, 27, 0, 30}));
  EXPECT_EQ(utc("Europe/Berlin", {2024, 10, 27, 3}), (TParts{2024, 10, 27, 2}));
  // South of the equator, half an hour; and a day that was left out.
  EXPECT_EQ(utc("Australia/Lord_Howe", {2024, 4, 7, 1, 45}), (TParts{2024, 4, 6, 14, 45}));
  EXPECT_EQ(utc("Australia/Lord_Howe", {2024, 10, 6, 2, 15}), (TParts{2024, 10, 5, 15, 45}));
  EXPECT_EQ(utc("Pacific/Apia", {2011, 12, 30, 12}), (TParts{2011, 12, 30, 22}));
  EXPECT_EQ(utc("Pacific/Apia", {2011, 12, 31}), (TParts{2011, 12, 30, 10}));
  EXPECT_THROW(VqUtcOfLocalTime("Europe/Atlantis", 1.0), EConvertError);
}

TEST(ZoneNames, HaveOffsetsAtATime) {
  EXPECT_EQ(VqUtcOffsetMinutes("Europe/Berlin", kWinter), 60);
  EXPECT_EQ(VqUtcOffsetMinutes("Europe/Berlin", kSummer), 120);
  EXPECT_EQ(VqStandardOffsetMinutes("Europe/Berlin", kSummer), 60);
  EXPECT_EQ(VqUtcOffsetMinutes("America/St_Johns", kWinter), -210);
  EXPECT_EQ(VqUtcOffsetMinutes("Asia/Kathmandu", kSummer), 345);
  try {
    VqUtcOffsetMinutes("Mars/Olympus", kWinter);
    FAIL();
  } catch (const EConvertError& error) {
    EXPECT_STREQ(error.what(), "The time zone \"Mars/Olympus\" is not known.");
  }
  EXPECT_THROW(VqUtcOffsetMinutes("Europe/Berlin", 1e9), EConvertError);
}

// ---- The rule of a year

/// "bias standard-date daylight-date daylight-bias" of a zone at a time.
std::string RuleOf(const std::string& zone, TDateTime at) {
  TVqTimeZoneSource source;
  source.TZ = zone;
  const TVqTimeZoneInfo info = VqTimeZoneInfo(source, at);
  const auto date = [](TDateTime value) {
    if (value == TDateTime(0)) return std::string("-");
    const TVqDateTimeParts parts = VqDecodeDateTime(value);
    return Format("%.4d-%.2d-%.2d %.2d:%.2d", {parts.Year, parts.Month, parts.Day, parts.Hour, parts.Minute}).utf8();
  };
  return std::to_string(info.Bias) + " " + date(info.StandardDate) + " " + date(info.DaylightDate) + " " +
         std::to_string(info.DaylightBias);
}

TEST(ZoneRule, HasTheChangesOfTheYearAsTheClockShowsThem) {
  EXPECT_EQ(RuleOf("Europe/Berlin", kSummer), "-60 2024-10-27 03:00 2024-03-31 02:00 -60");
  EXPECT_EQ(RuleOf("Europe/Berlin", kWinter), "-60 2024-10-27 03:00 2024-03-31 02:00 -60");
  EXPECT_EQ(RuleOf("America/New_York", kWinter), "300 2024-11-03 02:00 2024-03-10 02:00 -60");
  EXPECT_EQ(RuleOf("America/St_Johns", kWinter), "210 2024-11-03 02:00 2024-03-10 02:00 -60");
}

TEST(ZoneRule, OfTheSouthernHemisphereBeginsAndEndsTheYearInSummer) {
  EXPECT_EQ(RuleOf("Australia/Sydney", kWinter), "-600 2024-04-07 03:00 2024-10-06 02:00 -60");
  EXPECT_EQ(RuleOf("Australia/Lord_Howe", kWinter), "-630 2024-04-07 02:00 2024-10-06 02:00 -30");
  EXPECT_EQ(RuleOf("Pacific/Auckland", kWinter), "-720 2024-04-07 03:00 2024-09-29 02:00 -60");
}

TEST(ZoneRule, OfAZoneThatNeverChangesHasNoDates) {
  EXPECT_EQ(RuleOf("UTC", kSummer), "0 - - 0");
  EXPECT_EQ(RuleOf("Asia/Kolkata", kSummer), "-330 - - 0");
  EXPECT_EQ(RuleOf("<-0030>0:30", kSummer), "30 - - 0");
}

TEST(ZoneRule, OfAYearInWhichAZoneMovedForGoodHasNoDates) {
  const TDateTime before = VqEncodeDate(2011, 12, 1);
  EXPECT_EQ(RuleOf("Asia/Manila", before), "-480 - - 0");
  // Moscow gave summer time up in 2011, by keeping it.
  EXPECT_EQ(RuleOf("Europe/Moscow", before), "-240 - - 0");
}

TEST(ZoneRule, ComesOfARuleInTheVariable) {
  EXPECT_EQ(RuleOf("CET-1CEST,M3.5.0,M10.5.0/3", kWinter), "-60 2024-10-27 03:00 2024-03-31 02:00 -60");
}

TEST(ZoneRule, ComesOfTheCLibraryWhereAZoneHasNoName) {
  TVqTimeZoneSource source;
  source.TZ = "no/such/zone";
  // Summer time from the 100th to the 200th day of the year.
  source.Library = [](TDateTime utc) {
    const double day = double(utc) - double(VqEncodeDate(2024, 1, 1));
    const bool summer = day >= 100 && day < 200;
    return TVqZoneOffsets{135, summer ? 195 : 135, true};
  };
  const TVqTimeZoneInfo info = VqTimeZoneInfo(source, kWinter);
  EXPECT_EQ(info.Bias, -135);
  EXPECT_EQ(info.DaylightBias, -60);
  EXPECT_EQ(double(info.DaylightDate), double(VqEncodeDateTime({2024, 4, 10, 2, 15})));
  EXPECT_EQ(double(info.StandardDate), double(VqEncodeDateTime({2024, 7, 19, 3, 15})));
}

TEST(ZoneRule, OfThisMachineIsThatOfItsVariable) {
  const auto look = [] {
    const TVqTimeZoneInfo info = VqTimeZoneInfo();
    return std::to_string(info.Bias) + " " + std::to_string(info.DaylightBias) + " " +
           std::to_string(VqDecodeDateTime(info.DaylightDate).Month);
  };
  EXPECT_EQ(InChild("Europe/Berlin", look), "-60 -60 3");
  EXPECT_EQ(InChild("Australia/Sydney", look), "-600 -60 10");
}

}  // namespace
}  // namespace velmore
