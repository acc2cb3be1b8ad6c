#include "platform/os/uVqEnvironment.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <map>

namespace velmore {
namespace {

TVqEnvironmentLookup Variables(std::map<std::string, std::string> variables) {
  return [variables](const string& name) -> std::optional<string> {
    const auto found = variables.find(name.utf8());
    if (found == variables.end()) return {};
    return string(found->second);
  };
}

TEST(Environment, NamesBetweenPercentSignsBecomeTheirValues) {
  const TVqEnvironmentLookup lookup = Variables({{"A", "one"}, {"B", "zw\xC3\xB6lf"}, {"EMPTY", ""}, {"SELF", "%A%"}});
  EXPECT_EQ(VqExpandEnvironment("%A%", lookup), "one");
  EXPECT_EQ(VqExpandEnvironment("x%A%y%B%z", lookup), u"xoneyzwölfz");
  EXPECT_EQ(VqExpandEnvironment("%A%%B%", lookup), u"onezwölf");
  EXPECT_EQ(VqExpandEnvironment("[%EMPTY%]", lookup), "[]");
  EXPECT_EQ(VqExpandEnvironment("%SELF%", lookup), "%A%") << "values are not expanded again";
  EXPECT_EQ(VqExpandEnvironment("plain", lookup), "plain");
  EXPECT_EQ(VqExpandEnvironment("", lookup), "");
}

TEST(Environment, NamesWithoutAValueStayAsTheyStand) {
  const TVqEnvironmentLookup lookup = Variables({{"A", "one"}});
  EXPECT_EQ(VqExpandEnvironment("%NONE%", lookup), "%NONE%");
  EXPECT_EQ(VqExpandEnvironment("%NONE%A%", lookup), "%NONEone") << "a sign that closes nothing may open the next name";
  EXPECT_EQ(VqExpandEnvironment("100%", lookup), "100%");
  EXPECT_EQ(VqExpandEnvironment("%A", lookup), "%A");
  EXPECT_EQ(VqExpandEnvironment("%%", lookup), "%%");
  EXPECT_EQ(VqExpandEnvironment("%%A%", lookup), "%one");
  EXPECT_EQ(VqExpandEnvironment("5% of %A%", lookup), "5% of one");
}

}  // namespace
}  // namespace velmore
