#include "platform/common/uVqTypes.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>
#include <unordered_set>

#include "platform/common/uVqSysUtils.h"
#include "tests/common/Utf8TestSupport.h"

namespace velmore {
namespace {

using namespace std::string_literals;

TEST(Text, Utf8BecomesUnitsAndGarbageBecomesReplacementCharacters) {
  for (const TUtf8Case& test : kCases) {
    SCOPED_TRACE(test.What);
    EXPECT_EQ(string(test.Utf8).utf16(), test.Units);
    EXPECT_EQ(VqToUtf16(test.Utf8), test.Units);
    EXPECT_EQ(VqIsUtf8(test.Utf8), test.WellFormed);
    if (test.WellFormed) {
      EXPECT_EQ(VqToUtf8(test.Units), test.Utf8);
    }
  }
}

TEST(Text, Utf8IsJudgedAlikeAtEveryPlaceOfABlock) {
  // The fast path looks at eight bytes at a time.
  for (std::size_t before = 0; before < 20; ++before) {
    for (const TUtf8Case& test : kCases) {
      const std::string padding(before, 'p');
      EXPECT_EQ(VqIsUtf8(padding + test.Utf8 + "tail"), test.WellFormed) << test.What << " behind " << before;
      EXPECT_EQ(string(padding + test.Utf8 + "tail").utf16(), std::u16string(before, u'p') + test.Units + u"tail")
          << test.What << " behind " << before;
    }
  }
}

TEST(Text, EveryCharacterSurvivesBothConversions) {
  std::u16string all;
  for (char32_t c = 0; c <= 0x10FFFF; ++c) {
    if (c >= 0xD800 && c <= 0xDFFF) continue;
    if (c < 0x10000) {
      all += static_cast<char16_t>(c);
    } else {
      all += static_cast<char16_t>(0xD800 + ((c - 0x10000) >> 10));
      all += static_cast<char16_t>(0xDC00 + ((c - 0x10000) & 0x3FF));
    }
  }
  const std::string utf8 = VqToUtf8(all);
  EXPECT_TRUE(VqIsUtf8(utf8));
  EXPECT_EQ(utf8.size(), 0x80 + 2 * 0x780 + 3 * (0x10000 - 0x800 - 0x800) + 4 * 0x100000u);
  EXPECT_TRUE(VqToUtf16(utf8) == all);
  EXPECT_TRUE(string(all) == utf8);
}

TEST(Text, LoneSurrogatesBecomeReplacementCharactersOnTheWayBack) {
  const std::u16string high(1, char16_t{0xD83D}), low(1, char16_t{0xDE00});
  EXPECT_EQ(VqToUtf8(high + low), "\xF0\x9F\x98\x80");
  EXPECT_EQ(VqToUtf8(high), "\xEF\xBF\xBD");
  EXPECT_EQ(VqToUtf8(low), "\xEF\xBF\xBD");
  EXPECT_EQ(VqToUtf8(low + high), "\xEF\xBF\xBD\xEF\xBF\xBD");
  EXPECT_EQ(VqToUtf8(high + high + low), "\xEF\xBF\xBD\xF0\x9F\x98\x80");
  EXPECT_EQ(VqToUtf8(high + u"abcdef" + low),
            "\xEF\xBF\xBD"
            "abcdef\xEF\xBF\xBD");
  EXPECT_EQ(string(high + low).Length(), 2u) << "the length counts units";
}

TEST(Text, ConstructsFromEveryFormOfText) {
  const string expected(std::u16string(u"Grüße"));
  EXPECT_EQ(string("Gr\xC3\xBC\xC3\x9F"
                   "e"),
            expected);
  EXPECT_EQ(string(u8"Grüße"), expected);
  EXPECT_EQ(string(u"Grüße"), expected);
  EXPECT_EQ(string(std::string("Gr\xC3\xBC\xC3\x9F"
                               "e")),
            expected);
  EXPECT_EQ(string(std::string_view("Gr\xC3\xBC\xC3\x9F"
                                    "e")),
            expected);
  EXPECT_EQ(string(std::u16string_view(u"Grüße")), expected);
  EXPECT_TRUE(string().empty());
}

TEST(Text, NullPointersReadAsTheEmptyText) {
  const char* narrow = nullptr;
  const char16_t* wide = nullptr;
  const char8_t* utf8 = nullptr;
  EXPECT_TRUE(string(narrow).empty());
  EXPECT_TRUE(string(wide).empty());
  EXPECT_TRUE(string(utf8).empty());
  EXPECT_TRUE(string() == narrow);
  EXPECT_TRUE(string() == wide);
  EXPECT_FALSE(string("x") == narrow);
  EXPECT_FALSE(string("x") == wide);
}

TEST(Text, ComparesWithEveryFormOfTextOnBothSides) {
  const string text(u"Ü1");
  EXPECT_TRUE(text == string(u"Ü1"));
  EXPECT_TRUE(text == u"Ü1");
  EXPECT_TRUE(u"Ü1" == text);
  EXPECT_TRUE(text == std::u16string(u"Ü1"));
  EXPECT_TRUE(std::u16string(u"Ü1") == text);
  EXPECT_TRUE(text == std::u16string_view(u"Ü1"));
  EXPECT_TRUE(text ==
              "\xC3\x9C"
              "1");
  EXPECT_TRUE(
      "\xC3\x9C"
      "1" == text);
  EXPECT_TRUE(text == u8"Ü1");
  EXPECT_TRUE(text == std::string("\xC3\x9C"
                                  "1"));
  EXPECT_TRUE(text == std::string_view("\xC3\x9C"
                                       "1"));
  EXPECT_TRUE(text != "\xC3\x9C");
  EXPECT_TRUE(text !=
              "\xC3\x9C"
              "12");
  EXPECT_TRUE(text !=
              "\xC3\x9C"
              "2");
  EXPECT_TRUE(text != u"ü1");
  EXPECT_FALSE(text == "");
  EXPECT_TRUE(string() == "");
}

TEST(Text, ComparisonWithUtf8AgreesWithConversion) {
  for (const TUtf8Case& a : kCases) {
    for (const TUtf8Case& b : kCases) {
      EXPECT_EQ(string(a.Units) == b.Utf8, a.Units == b.Units) << a.What << " / " << b.What;
    }
  }
  EXPECT_FALSE(string(std::u16string(1, char16_t{0xD83D})) == "\xF0\x9F\x98\x80") << "half a pair is not the pair";
}

TEST(Text, OrderIsThatOfTheUnits) {
  EXPECT_TRUE(string("a") < string("b"));
  EXPECT_TRUE(string("B") < string("a"));
  EXPECT_TRUE(string("a") < string("aa"));
  EXPECT_TRUE(string() < string("a"));
  EXPECT_TRUE(string(u"\U00010000") < string(u"\uFFFF")) << "surrogates come before the last units";
  EXPECT_TRUE(string("a") <= "a");
  EXPECT_TRUE((string("x") <=> string("x")) == std::strong_ordering::equal);
}

TEST(Text, EqualTextsHaveOneHash) {
  std::unordered_set<string> texts{"a", u"a", "b"};
  EXPECT_EQ(texts.size(), 2u);
  EXPECT_TRUE(texts.contains(u"b"));
}

TEST(Text, PrintsAsUtf8) {
  std::ostringstream out;
  out << string(u"für \U0001F600") << '|' << string();
  EXPECT_EQ(out.str(), "f\xC3\xBCr \xF0\x9F\x98\x80|");
}

TEST(Text, UnitsAreReadByPosition) {
  const string text("ab");
  EXPECT_EQ(text[0], u'a');
  EXPECT_EQ(text[1], u'b');
  try {
    static_cast<void>(text[2]);
    FAIL();
  } catch (const EListError& error) {
    EXPECT_STREQ(error.what(), "There is no unit at position 2 of a text of 2.");
  }
  EXPECT_THROW(static_cast<void>(string()[0]), EListError);
}

TEST(Text, CopyTakesWhatIsThere) {
  const string text("mailbox");
  EXPECT_EQ(text.Copy(0), "mailbox");
  EXPECT_EQ(text.Copy(4), "box");
  EXPECT_EQ(text.Copy(0, 4), "mail");
  EXPECT_EQ(text.Copy(4, 100), "box");
  EXPECT_EQ(text.Copy(6, 0), "");
  EXPECT_EQ(text.Copy(7), "");
  EXPECT_EQ(text.Copy(1000, 5), "");
}

TEST(Text, SearchFindsFirstOccurrences) {
  const string text("a;b;c");
  EXPECT_EQ(text.Pos(";"), 1u);
  EXPECT_EQ(text.Pos(";", 2), 3u);
  EXPECT_EQ(text.Pos(";", 4), string::npos);
  EXPECT_EQ(text.Pos(";", 400), string::npos);
  EXPECT_EQ(text.Pos(""), 0u);
  EXPECT_TRUE(text.Contains("b;c"));
  EXPECT_FALSE(text.Contains("B"));
  EXPECT_TRUE(text.StartsWith("a;"));
  EXPECT_FALSE(text.StartsWith("a;b;c;"));
  EXPECT_TRUE(text.EndsWith(";c"));
  EXPECT_TRUE(text.EndsWith(""));
  EXPECT_FALSE(text.EndsWith("b"));
}

TEST(Text, ReplaceGoesThroughTheWholeText) {
  EXPECT_EQ(string("a'b''c'").Replace("'", ""), "abc");
  EXPECT_EQ(string("aaa").Replace("aa", "b"), "ba");
  EXPECT_EQ(string("aa").Replace("a", "aa"), "aaaa") << "what was put in is not looked at again";
  EXPECT_EQ(string("abc").Replace("x", "y"), "abc");
  EXPECT_EQ(string("abc").Replace("", "y"), "abc");
  EXPECT_EQ(string().Replace("a", "y"), "");
}

TEST(Text, TrimTakesBlanksAndControlCharacters) {
  EXPECT_EQ(string(" \t\r\n a b \x01 ").Trim(), "a b");
  EXPECT_EQ(string("   ").Trim(), "");
  EXPECT_EQ(string().Trim(), "");
  EXPECT_EQ(string(u"\u00A0x").Trim(), u"\u00A0x") << "a no-break space is text";
}

TEST(Text, GrowsByPieces) {
  string text = "a";
  text += "b";
  text += u"c";
  text += u'd';
  text += text;
  EXPECT_EQ(text, "abcdabcd");
  EXPECT_EQ(string("x") + "y" + u"z", "xyz");
  EXPECT_EQ("x" + string("y"), "xy");
  text.AppendUtf8("\xC3\xBC!");
  EXPECT_EQ(text, u"abcdabcdü!");
  text.clear();
  EXPECT_TRUE(text.empty());
  EXPECT_EQ(text.size(), 0u);
}

TEST(Text, IteratesOverUnits) {
  std::u16string seen;
  for (const char16_t unit : string(u"aü")) seen += unit;
  EXPECT_EQ(seen, u"aü");
}

TEST(Guid, ReadsAndWritesItsText) {
  constexpr TGUID guid("00020328-0000-0000-C000-000000000046");
  EXPECT_EQ(guid.D1, 0x00020328u);
  EXPECT_EQ(guid.D2, 0);
  EXPECT_EQ(guid.D3, 0);
  EXPECT_EQ(guid.D4[0], 0xC0);
  EXPECT_EQ(guid.D4[7], 0x46);
  EXPECT_EQ(VqGuidToString(guid), "{00020328-0000-0000-C000-000000000046}");
  EXPECT_EQ(VqGuidToString(TGUID("{0123abcd-ef01-2345-6789-abcdef012345}")), "{0123ABCD-EF01-2345-6789-ABCDEF012345}");
  EXPECT_EQ(VqGuidToString(TGUID()), "{00000000-0000-0000-0000-000000000000}");
}

TEST(Guid, TextThatIsNoneLeavesTheValueAlone) {
  const TGUID before("00020328-0000-0000-C000-000000000046");
  for (const char* text : {"", "x", "{00020328-0000-0000-C000-000000000046", "00020328-0000-0000-C000-000000000046}",
                           "(00020328-0000-0000-C000-000000000046)", "00020328-0000-0000-C000-00000000004",
                           "00020328 0000-0000-C000-000000000046", "0002032g-0000-0000-C000-000000000046",
                           "00020328-0000-0000-C0000-00000000046", "0002032800000000C000000000000046",
                           " 00020328-0000-0000-C000-000000000046", "00020328-0000-0000-C000-0000000000\xC3\xBC"}) {
    TGUID guid = before;
    EXPECT_FALSE(VqTryParseGuid(text, guid)) << text;
    EXPECT_EQ(guid, before) << text;
  }
  TGUID guid;
  EXPECT_TRUE(VqTryParseGuid(u"{00020328-0000-0000-c000-000000000046}", guid));
  EXPECT_EQ(guid, before);
}

TEST(Guid, EveryPartCountsInComparison) {
  const TGUID guid("00020328-0000-0000-C000-000000000046");
  for (int part = 0; part < 11; ++part) {
    TGUID other = guid;
    if (part == 0) ++other.D1;
    if (part == 1) ++other.D2;
    if (part == 2) ++other.D3;
    if (part > 2) ++other.D4[part - 3];
    EXPECT_NE(other, guid) << part;
  }
}

TEST(Guid, IsAKey) {
  std::unordered_set<TGUID> seen;
  EXPECT_TRUE(seen.insert(TGUID("00020328-0000-0000-C000-000000000046")).second);
  EXPECT_FALSE(seen.insert(TGUID("{00020328-0000-0000-c000-000000000046}")).second);
  EXPECT_TRUE(seen.insert(TGUID("00020328-0000-0000-C000-000000000047")).second);
}

// ---- The standard library's texts

TEST(Text, BecomesStandardTextWhenAskedByName) {
  const string text = u"Gr\u00FC\u00DFe \U0001F600";
  EXPECT_EQ(std::string(text),
            "Gr\xC3\xBC\xC3\x9F"
            "e \xF0\x9F\x98\x80");
  EXPECT_EQ(static_cast<std::string>(text), text.utf8());
  EXPECT_TRUE(std::u8string(text) == u8"Gr\u00FC\u00DFe \U0001F600");
  const std::string kept{text};
  EXPECT_EQ(kept, text);
  const std::u16string lone(1, u'\xD800');
  EXPECT_EQ(std::string(string(lone)), "\xEF\xBF\xBD") << "a lone surrogate";
  EXPECT_TRUE(std::u8string(string(lone)) == u8"\uFFFD");
  EXPECT_EQ(std::string(string()), "");
  EXPECT_EQ(std::string(string("a\0b"s)).size(), 3u);
  static_assert(!std::convertible_to<string, std::string>, "a conversion that costs is written down");
  static_assert(!std::convertible_to<string, std::u8string>);
}

TEST(Text, ComesFromCharactersOfUtf8) {
  const std::u8string subject = u8"Gr\u00FC\u00DFe \U0001F600";
  const auto taken = [](const string& text) { return text.utf16(); };  // implicit, as for a setter
  EXPECT_EQ(taken(subject), u"Gr\u00FC\u00DFe \U0001F600");
  EXPECT_EQ(taken(std::u8string_view(subject).substr(0, 2)), u"Gr");
  EXPECT_EQ(taken(u8"\u00FC"), u"\u00FC");
  EXPECT_EQ(taken(std::u8string_view()), u"");
  EXPECT_EQ(string(std::u8string(u8"a\0b", 3)).Length(), 3u);
  EXPECT_TRUE(string(u8"\u00FC") == std::u8string(u8"\u00FC"));
  for (const TUtf8Case& test : kCases) {
    SCOPED_TRACE(test.What);
    EXPECT_EQ(string(std::u8string(test.Utf8.begin(), test.Utf8.end())).utf16(), test.Units);
  }
}

TEST(Text, ComesFromTheNameOfAFile) {
  const auto taken = [](const string& name) { return name; };
  const std::filesystem::path path = u8"Gr\u00FC\u00DFe/\U0001F600.eml";
  EXPECT_EQ(taken(path), string(path.u8string()));
  EXPECT_EQ(taken(std::filesystem::path()), "");
  EXPECT_EQ(std::filesystem::path(taken(path).utf16()), path) << "there and back";
  EXPECT_TRUE(string("b") == std::filesystem::path("a/b").filename());
  EXPECT_FALSE(string("a/b") == std::filesystem::path("a/c"));
  static_assert(!VqFilePath<std::string> && !VqFilePath<string> && VqFilePath<std::filesystem::path>);
}

TEST(Text, HasANameThatClashesWithNone) {
  static_assert(std::same_as<TText, string>);
}

}  // namespace
}  // namespace velmore
