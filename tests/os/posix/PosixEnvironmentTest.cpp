// Variables, folders and names where there is no Windows.

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <map>

#include "platform/os/uVqEnvironment.h"

namespace velmore {
namespace {

TVqEnvironmentLookup Variables(std::map<std::string, std::string> variables) {
  return [variables](const string& name) -> std::optional<string> {
    const auto found = variables.find(name.utf8());
    if (found == variables.end()) return {};
    return string(found->second);
  };
}

TEST(Environment, FoldersOfWindowsHaveTheirPlacesHere) {
  const TVqEnvironmentLookup home = Variables({{"HOME", "/home/adele"}});
  EXPECT_EQ(VqExpandEnvironment("%LOCALAPPDATA%/Velmore", home), "/home/adele/.local/share/Velmore");
  EXPECT_EQ(VqExpandEnvironment("%APPDATA%", home), "/home/adele/.config");
  EXPECT_EQ(VqExpandEnvironment("%USERPROFILE%", home), "/home/adele");
  EXPECT_EQ(VqExpandEnvironment("%TEMP%|%TMP%", home), "/tmp|/tmp");
  EXPECT_EQ(VqExpandEnvironment("%PROGRAMDATA%", home), "/var/lib");
  EXPECT_EQ(VqExpandEnvironment("%USERNAME%", home), VqGetUserName());
  EXPECT_EQ(VqExpandEnvironment("%COMPUTERNAME%", home), VqGetHostName());

  const TVqEnvironmentLookup own = Variables(
      {{"HOME", "/home/adele"}, {"XDG_DATA_HOME", "/data"}, {"XDG_CONFIG_HOME", "/config"}, {"TMPDIR", "/scratch"}});
  EXPECT_EQ(VqExpandEnvironment("%LOCALAPPDATA%|%APPDATA%|%TEMP%|%TMP%", own), "/data|/config|/scratch|/scratch");

  const TVqEnvironmentLookup senseless =
      Variables({{"HOME", "/home/adele"}, {"XDG_DATA_HOME", "relative"}, {"XDG_CONFIG_HOME", ""}, {"TMPDIR", ""}});
  EXPECT_EQ(VqExpandEnvironment("%LOCALAPPDATA%|%APPDATA%|%TEMP%", senseless),
            "/home/adele/.local/share|/home/adele/.config|/tmp");

  const TVqEnvironmentLookup set = Variables({{"HOME", "/home/adele"}, {"LOCALAPPDATA", "C:\\Users"}});
  EXPECT_EQ(VqExpandEnvironment("%LOCALAPPDATA%", set), "C:\\Users") << "a variable of that name goes first";

  const TVqEnvironmentLookup nothing = Variables({});
  EXPECT_EQ(VqExpandEnvironment("%LOCALAPPDATA%/x", nothing), "%LOCALAPPDATA%/x");
}

TEST(Environment, VariablesOfTheProcessAreRead) {
  ::setenv("VELMORE_TEST_VARIABLE", "gr\xC3\xBCn", 1);
  EXPECT_EQ(VqGetEnvironment("VELMORE_TEST_VARIABLE"), string(u"grün"));
  EXPECT_EQ(VqExpandEnvironment("<%VELMORE_TEST_VARIABLE%>"), u"<grün>");
  ::setenv("VELMORE_TEST_VARIABLE", "", 1);
  EXPECT_EQ(VqGetEnvironment("VELMORE_TEST_VARIABLE"), string());
  ::unsetenv("VELMORE_TEST_VARIABLE");
  EXPECT_EQ(VqGetEnvironment("VELMORE_TEST_VARIABLE"), std::nullopt);
  EXPECT_EQ(VqGetEnvironment(""), std::nullopt);
  EXPECT_EQ(VqGetEnvironment("A=B"), std::nullopt);
}

TEST(Environment, PathsTakeTheSeparatorsOfTheSystem) {
  EXPECT_EQ(VqNativePath("/home/adele\\Velmore\\EWS\\Profiles.config"), "/home/adele/Velmore/EWS/Profiles.config");
  EXPECT_EQ(VqNativePath(""), "");
}

TEST(Environment, APathForUseHasNoVariableLeftInIt) {
  ::setenv("VELMORE_TEST_VARIABLE", "/data/100%/x", 1);
  EXPECT_EQ(VqTryExpandPath("%VELMORE_TEST_VARIABLE%\\Keys"), string("/data/100%/x/Keys"))
      << "a sign in a value is part of a name";
  EXPECT_EQ(VqTryExpandPath("/data/50%/a"), string("/data/50%/a"));
  EXPECT_EQ(VqTryExpandPath("/data/%%/a"), string("/data/%%/a"));
  EXPECT_EQ(VqTryExpandPath("%VELMORE_NO_SUCH_VARIABLE%\\Keys"), std::nullopt);
  EXPECT_EQ(VqTryExpandPath("%VELMORE_TEST_VARIABLE%\\%VELMORE_NO_SUCH_VARIABLE%"), std::nullopt);
  EXPECT_EQ(VqTryExpandPath("100%VELMORE_NO_SUCH_VARIABLE%"), std::nullopt);
  EXPECT_EQ(VqTryExpandPath(""), std::nullopt);
  ::setenv("VELMORE_TEST_VARIABLE", "", 1);
  EXPECT_EQ(VqTryExpandPath("%VELMORE_TEST_VARIABLE%"), std::nullopt);
  ::unsetenv("VELMORE_TEST_VARIABLE");
}

TEST(Environment, UserAndHostHaveNames) {
  EXPECT_FALSE(VqGetUserName().empty());
  if (::geteuid() == 0) {
    EXPECT_EQ(VqGetUserName(), "root");
  }
  EXPECT_FALSE(VqGetHostName().empty());
  EXPECT_FALSE(VqGetHostName().Contains("."));
}

}  // namespace
}  // namespace velmore
