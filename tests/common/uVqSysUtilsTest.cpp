#include "platform/common/uVqSysUtils.h"

#include <gtest/gtest.h>

#include <limits>

namespace velmore {
namespace {

TEST(Exceptions, TellTheirTextInBothForms) {
  const EVqException error(u"Zürich");
  EXPECT_EQ(error.Message(), u"Zürich");
  EXPECT_STREQ(error.what(), "Z\xC3\xBCrich");
  const EVqException copy = error;  // as catching by value makes one
  EXPECT_STREQ(copy.what(), "Z\xC3\xBCrich");
}

template <typename E>
void ExpectPlain() {
  try {
    throw E("text");
  } catch (const EVqException& error) {
    EXPECT_STREQ(error.what(), "text");
    EXPECT_NE(dynamic_cast<const E*>(&error), nullptr);
    EXPECT_NE(dynamic_cast<const std::exception*>(&error), nullptr);
  }
}

TEST(Exceptions, AllHaveOneRoot) {
  ExpectPlain<EVqException>();
  ExpectPlain<EListError>();
  ExpectPlain<EConvertError>();
  ExpectPlain<EStreamError>();
  ExpectPlain<EAssertionFailed>();
  ExpectPlain<EVqNotSupported>();
  ExpectPlain<EAbort>();
}

TEST(Case, ChangesLettersOfEveryScript) {
  EXPECT_EQ(UpperCase("item:Subject"), "ITEM:SUBJECT");
  EXPECT_EQ(LowerCase("Item:SUBJECT"), "item:subject");
  EXPECT_EQ(UpperCase(u"äöüéσω"), u"ÄÖÜÉΣΩ");
  EXPECT_EQ(LowerCase(u"ÄÖÜÉ"), u"äöüé");
  EXPECT_EQ(UpperCase(u"Straße"), u"STRASSE") << "the result may be longer";
  EXPECT_EQ(UpperCase(std::u16string(100, u'ß')), std::u16string(200, u'S'));
  EXPECT_EQ(UpperCase(u"\U00010428"), u"\U00010400") << "letters beyond 16 bits";
  EXPECT_EQ(UpperCase(""), "");
  EXPECT_EQ(LowerCase(""), "");
  EXPECT_EQ(UpperCase("i"), "I") << "whatever the locale";
}

TEST(Case, TextsAreTheSameWithoutRegardToCase) {
  EXPECT_TRUE(SameText("", ""));
  EXPECT_TRUE(SameText("Adele@Example.COM", "adele@example.com"));
  EXPECT_TRUE(SameText(u"MÜLLER", u"müller"));
  EXPECT_TRUE(SameText(u"STRASSE", u"straße"));
  EXPECT_FALSE(SameText("a", "b"));
  EXPECT_FALSE(SameText("a", "ab"));
  EXPECT_FALSE(SameText("", "a"));
  EXPECT_TRUE(SameText(string(std::u16string(u"a\0B", 3)), string(std::u16string(u"A\0b", 3))));
  EXPECT_FALSE(SameText(string(std::u16string(u"a\0b", 3)), string(std::u16string(u"a\0c", 3))));
}

TEST(Numbers, AreWrittenInDecimal) {
  EXPECT_EQ(IntToStr(0), "0");
  EXPECT_EQ(IntToStr(-1), "-1");
  EXPECT_EQ(IntToStr(std::numeric_limits<std::int64_t>::min()), "-9223372036854775808");
  EXPECT_EQ(IntToStr(std::numeric_limits<std::int64_t>::max()), "9223372036854775807");
}

TEST(Formats, PlaceholdersTakeTheArgumentsInOrder) {
  EXPECT_EQ(Format("\"%s\" is not supported by %s.", {"Photo", u"Exchange2007"}),
            "\"Photo\" is not supported by Exchange2007.");
  EXPECT_EQ(Format("%d of %d", {1, std::size_t{2}}), "1 of 2");
  EXPECT_EQ(Format("%s%s%s%s%s", {string("a"), std::string("b"), std::string_view("c"), "d", u"e"}), "abcde");
  EXPECT_EQ(Format("%d %d %d %d", {std::int8_t{-5}, std::uint16_t{6}, -7ll, std::numeric_limits<std::uint64_t>::max()}),
            "-5 6 -7 18446744073709551615");
  EXPECT_EQ(Format("no placeholder", {}), "no placeholder");
  EXPECT_EQ(Format("", {}), "");
}

TEST(Formats, NumbersTakeLeadingZeros) {
  EXPECT_EQ(Format("(UTC-%.2d:%.2d)", {9, 30}), "(UTC-09:30)");
  EXPECT_EQ(Format("%.2d", {123}), "123");
  EXPECT_EQ(Format("%.3d", {-7}), "-007");
  EXPECT_EQ(Format("%.0d", {5}), "5");
}

TEST(Formats, PercentSignsThatPlaceNothingStandForThemselves) {
  EXPECT_EQ(Format("100%%", {}), "100%");
  EXPECT_EQ(Format("100%", {}), "100%");
  EXPECT_EQ(Format("%%s", {"x"}), "%s");
  EXPECT_EQ(Format("%LOCALAPPDATA%\\%s", {"x"}), "%LOCALAPPDATA%\\x");
  EXPECT_EQ(Format("%.2s %.d %.", {}), "%.2s %.d %.");
}

TEST(Formats, ArgumentsAreNotFormatsThemselves) {
  EXPECT_EQ(Format("%s %s", {"%s", "%d"}), "%s %d");
}

TEST(Formats, MissingArgumentsRaiseAndSurplusOnesDoNot) {
  try {
    Format("%s and %s", {"one"});
    FAIL();
  } catch (const EConvertError& error) {
    EXPECT_STREQ(error.what(), "The format \"%s and %s\" has more placeholders than arguments.");
  }
  EXPECT_EQ(Format("%s", {"one", "two"}), "one");
}

TEST(Tokens, SeparatorsCutAndQuotesProtect) {
  using List = std::vector<string>;
  EXPECT_EQ(VqTokenize("a;b;c", u';'), (List{"a", "b", "c"}));
  EXPECT_EQ(VqTokenize("\"Doe; John\" <j@x.example>; b", u';'), (List{"\"Doe; John\" <j@x.example>", " b"}));
  EXPECT_EQ(VqTokenize("a;;b", u';'), (List{"a", "", "b"})) << "empty pieces are kept: whoever adds them says so";
  EXPECT_EQ(VqTokenize("a;", u';'), (List{"a", ""}));
  EXPECT_EQ(VqTokenize("", u';'), List{});
  EXPECT_EQ(VqTokenize("\"never closed; b", u';'), (List{"\"never closed; b"}));
}

TEST(Tokens, EnclosingQuotesAreStripped) {
  EXPECT_EQ(VqStripLiterals("  \"Doe, John\" "), "Doe, John");
  EXPECT_EQ(VqStripLiterals("'Doe'"), "Doe");
  EXPECT_EQ(VqStripLiterals("\"'Doe'\""), "Doe");
  EXPECT_EQ(VqStripLiterals("Doe"), "Doe");
  EXPECT_EQ(VqStripLiterals("\"Doe"), "\"Doe");
  EXPECT_EQ(VqStripLiterals("\"Doe'"), "\"Doe'");
  EXPECT_EQ(VqStripLiterals("\""), "\"");
  EXPECT_EQ(VqStripLiterals("\"\""), "");
  EXPECT_EQ(VqStripLiterals(""), "");
}

TEST(Trimming, TakesWhatItsNameSays) {
  const std::string_view text = "\x01 \t\r\n a \t b \n\r\t \x1F";
  EXPECT_EQ(VqTrimControls(text), "a \t b");
  EXPECT_EQ(VqTrimSpace(text), text) << "a control stays";
  EXPECT_EQ(VqTrimSpace(text.substr(1, text.size() - 2)), "a \t b");
  EXPECT_EQ(VqTrimBlanks(text.substr(1, text.size() - 2)), "\r\n a \t b \n\r");
  for (const auto trim : {VqTrimBlanks, VqTrimSpace, VqTrimControls}) {
    EXPECT_EQ(trim(""), "");
    EXPECT_EQ(trim(" \t "), "");
    EXPECT_EQ(trim("\xC2\xA0"), "\xC2\xA0") << "beyond ASCII nothing is blank";
    EXPECT_EQ(trim("\x7F"), "\x7F");
  }
}

}  // namespace
}  // namespace velmore
