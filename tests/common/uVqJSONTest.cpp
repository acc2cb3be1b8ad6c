#include "platform/common/uVqJSON.h"

#include <gtest/gtest.h>

#include <limits>
#include <thread>

#include "platform/common/uVqSysUtils.h"

namespace velmore {
namespace {

std::string Message(const std::function<void()>& operation) {
  try {
    operation();
  } catch (const EConvertError& error) {
    return error.what();
  }
  return "nothing raised";
}

TEST(Json, KindsAreTold) {
  const TVqJSONValue value = VqParseJSON(R"([null, true, 1, -1, 18446744073709551615, 1.5, "s", [], {}])");
  using enum TVqJSONKind;
  EXPECT_EQ(value.Kind(), jkArray);
  const TVqJSONKind kinds[] = {jkNull,   jkBoolean, jkInteger, jkInteger, jkInteger,
                               jkNumber, jkString,  jkArray,   jkObject};
  ASSERT_EQ(value.Count(), 9);
  for (std::int32_t i = 0; i < 9; ++i) EXPECT_EQ(value.Item(i).Kind(), kinds[i]) << i;
  EXPECT_EQ(value.Item(9).Kind(), jkNone);
  EXPECT_TRUE(value.Item(0).IsNull());
  EXPECT_TRUE(value.Item(0)) << "null is a value";
  EXPECT_FALSE(value.Item(1).IsNull());
}

TEST(Json, EmptyHandlesReadEmpty) {
  const TVqJSONValue none;
  EXPECT_FALSE(none);
  EXPECT_FALSE(none.IsNull());
  EXPECT_EQ(none.AsString(), "");
  EXPECT_EQ(none.AsInteger(7), 7);
  EXPECT_EQ(none.AsDouble(1.5), 1.5);
  EXPECT_TRUE(none.AsBoolean(true));
  EXPECT_EQ(none.Count(), 0);
  EXPECT_FALSE(none.Item(0));
  EXPECT_EQ(none.Name(0), "");
  EXPECT_FALSE(none.Member("a"));
  EXPECT_FALSE(none.Find("a/b"));
  EXPECT_EQ(none.Text(), "");
  for (const TVqJSONValue& value : none) FAIL() << value.Text();
}

TEST(Json, ValuesReadAsWhatTheyHold) {
  const TVqJSONValue value = VqParseJSON(
      R"({"s":"Gr\u00fc\u00dfe \ud83d\ude00","i":42,"d":2.5,"w":3.0,"t":true,"n":null,"is":"-17","bs":"TRUE","ds":"2.5","x":"12a",
          "big":18446744073709551615,"huge":1e30,"min":-9223372036854775808,"a":[1],"o":{"k":1},"e":""})");
  EXPECT_EQ(value.Member("s").AsString(), u"Grüße \U0001F600");
  EXPECT_EQ(value.Member("i").AsString(), "42");
  EXPECT_EQ(value.Member("d").AsString(), "2.5");
  EXPECT_EQ(value.Member("t").AsString(), "true");
  EXPECT_EQ(value.Member("n").AsString(), "");
  EXPECT_EQ(value.Member("a").AsString(), "");
  EXPECT_EQ(value.Member("o").AsString(), "");
  EXPECT_EQ(value.Member("i").AsInteger(), 42);
  EXPECT_EQ(value.Member("w").AsInteger(), 3);
  EXPECT_EQ(value.Member("d").AsInteger(9), 9);
  EXPECT_EQ(value.Member("is").AsInteger(), -17);
  EXPECT_EQ(value.Member("x").AsInteger(9), 9);
  EXPECT_EQ(value.Member("e").AsInteger(9), 9);
  EXPECT_EQ(value.Member("big").AsInteger(9), 9);
  EXPECT_EQ(value.Member("huge").AsInteger(9), 9);
  EXPECT_EQ(value.Member("min").AsInteger(), std::numeric_limits<std::int64_t>::min());
  EXPECT_EQ(value.Member("t").AsInteger(9), 9);
  EXPECT_EQ(value.Member("i").AsDouble(), 42.0);
  EXPECT_EQ(value.Member("d").AsDouble(), 2.5);
  EXPECT_EQ(value.Member("ds").AsDouble(), 2.5);
  EXPECT_EQ(value.Member("x").AsDouble(9), 9.0);
  EXPECT_TRUE(value.Member("t").AsBoolean());
  EXPECT_TRUE(value.Member("bs").AsBoolean());
  EXPECT_FALSE(VqParseJSON("\"False\"").AsBoolean(true));
  EXPECT_FALSE(value.Member("i").AsBoolean());
  EXPECT_TRUE(value.Member("n").AsBoolean(true));
}

TEST(Json, MembersKeepTheirOrderAndTheirCase) {
  const TVqJSONValue value = VqParseJSON(R"({"zeta":1,"alpha":2,"Zeta":3})");
  EXPECT_EQ(value.Count(), 3);
  EXPECT_EQ(value.Name(0), "zeta");
  EXPECT_EQ(value.Name(1), "alpha");
  EXPECT_EQ(value.Item(1).AsInteger(), 2);
  EXPECT_EQ(value.Member("Zeta").AsInteger(), 3);
  EXPECT_FALSE(value.Member("ZETA"));
  EXPECT_EQ(value.Name(3), "");
  EXPECT_EQ(value.Name(-1), "");
  EXPECT_FALSE(value.Item(-1));
  std::int64_t sum = 0;
  for (const TVqJSONValue& member : value) sum += member.AsInteger();
  EXPECT_EQ(sum, 6);
  EXPECT_EQ(VqParseJSON("[1]").Name(0), "") << "elements have no name";
}

TEST(Json, OfTwoMembersWithOneNameTheLastCounts) {
  const TVqJSONValue value = VqParseJSON(R"({"a":1,"a":2})");
  EXPECT_EQ(value.Member("a").AsInteger(), 2);
  EXPECT_EQ(value.Count(), 1);
}

TEST(Json, PathsLeadThroughObjectsAndArrays) {
  const TVqJSONValue value =
      VqParseJSON(R"({"Protocols":[{"Url":"https://a.example"},{"Url":"https://b.example"}],"a/b":1,"7":{"":2}})");
  EXPECT_EQ(value.Find("Protocols/1/Url").AsString(), "https://b.example");
  EXPECT_EQ(value.Find("").Count(), 3);
  EXPECT_EQ(value.Find("7").Count(), 1) << "digits may be a name";
  for (const char* path : {"Protocols/2/Url", "Protocols/-1", "Protocols/x", "Protocols/1x", "Protocols//Url",
                           "Protocols/0/Url/x", "protocols", "a/b", "Protocols/99999999999"}) {
    EXPECT_FALSE(value.Find(path)) << path;
  }
  EXPECT_EQ(value.Member("a/b").AsInteger(), 1);
  EXPECT_EQ(value.Require("Protocols/0/Url").AsString(), "https://a.example");
  EXPECT_EQ(Message([&] { value.Require("Protocols/0/Uri"); }), "The JSON has no \"Protocols/0/Uri\".");
}

TEST(Json, AHandleKeepsItsTextAlive) {
  TVqJSONValue inner;
  {
    const std::string text = R"({"a":{"b":"deep"}})";
    inner = VqParseJSON(text).Find("a/b");
  }
  EXPECT_EQ(inner.AsString(), "deep");
}

TEST(Json, MayBeReadByManyThreads) {
  const TVqJSONValue value = VqParseJSON(R"({"a":[1,2,3]})");
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([value] {
      for (int k = 0; k < 1000; ++k) EXPECT_EQ(value.Find("a/2").AsInteger(), 3);
    });
  }
  for (std::thread& thread : threads) thread.join();
}

TEST(Json, AByteOrderMarkIsSkipped) {
  EXPECT_EQ(VqParseJSON("\xEF\xBB\xBF{\"a\":1}").Find("a").AsInteger(), 1);
}

TEST(Json, FailuresTellTheirPlace) {
  EXPECT_EQ(Message([] { VqParseJSON(""); }).find("The text is no JSON (line 1, column 1): "), 0u);
  EXPECT_EQ(
      Message([] { VqParseJSON("{\n  \"a\": 1,\n  \"b\": oops\n}"); }).find("The text is no JSON (line 3, column 8): "),
      0u);
  EXPECT_EQ(Message([] { VqParseJSON("<html>"); }).find("The text is no JSON (line 1, column 1): "), 0u);
  for (const char* text : {"{", "[1,]", "{\"a\"}", "{'a':1}", "[1] 2", "nul", "01", "\"\n\"", "\"\\ud800\"", "\"\\x\"",
                           "\"\xFF\"", "\"\xC0\xAF\"", "{\"a\":1,}", "// c\n1", "NaN", "1e999"}) {
    EXPECT_THROW(VqParseJSON(text), EConvertError) << text;
  }
}

TEST(Json, DepthHasALimit) {
  const auto nested = [](std::size_t depth) { return std::string(depth, '[') + std::string(depth, ']'); };
  EXPECT_NO_THROW(VqParseJSON(nested(200)));
  EXPECT_EQ(Message([&] { VqParseJSON(nested(201)); }), "The JSON has more than 200 levels.");
  EXPECT_THROW(VqParseJSON(std::string(10'000'000, '[')), EConvertError);
  std::string objects;
  for (int i = 0; i < 100000; ++i) objects += "{\"a\":";
  EXPECT_THROW(VqParseJSON(objects), EConvertError);
}

TEST(Json, WritesItself) {
  EXPECT_EQ(VqParseJSON(" { \"b\" : [ 1 , 2.5 , \"\\u00fc\" , null ] , \"a\" : true } ").Text(),
            u"{\"b\":[1,2.5,\"ü\",null],\"a\":true}");
}

TEST(Json, QuotesTexts) {
  EXPECT_EQ(VqJSONQuote("a\"b\\c\n\x01"), "\"a\\\"b\\\\c\\n\\u0001\"");
  EXPECT_EQ(VqJSONQuote(u"ü"), u"\"ü\"");
  const string lone(std::u16string(1, char16_t{0xD800}));
  EXPECT_EQ(VqParseJSON(VqJSONQuote(lone).utf8()).AsString(), u"\uFFFD");
}

// ---- Size

// With a look at every member, or at every neighbour, each of these would take many minutes.

TEST(JSONSize, ObjectsOfManyMembersAreReadAndFoundIn) {
  constexpr int kMembers = 150000;
  std::string text = "{";
  for (int i = 0; i < kMembers; ++i) text += (i > 0 ? ",\"m" : "\"m") + std::to_string(i) + "\":" + std::to_string(i);
  const TVqJSONValue object = VqParseJSON(text + ",\"m7\":-7}");
  ASSERT_EQ(object.Count(), kMembers);
  for (int i = 0; i < kMembers; ++i) {
    ASSERT_EQ(object.Member("m" + std::to_string(i)).AsInteger(), i == 7 ? -7 : i) << "the last of one name counts";
  }
  EXPECT_FALSE(object.Member("m" + std::to_string(kMembers)));
  EXPECT_EQ(object.Name(7), "m7") << "in the order of the text";
  EXPECT_EQ(object.Name(kMembers - 1), "m" + std::to_string(kMembers - 1));
}

TEST(JSONSize, ArraysOfManyObjectsAreRead) {
  std::string text = "[{}";
  for (int i = 1; i < 150000; ++i) text += i % 2 == 0 ? ",{\"a\":[]}" : ",[]";
  EXPECT_EQ(VqParseJSON(text + "]").Count(), 150000);
}

TEST(JSONSize, MembersAreFoundInObjectsOfEverySize) {
  std::string text;
  for (int members = 0; members < 40; ++members) {
    const TVqJSONValue object = VqParseJSON("{" + text + "}");
    ASSERT_EQ(object.Count(), members);
    for (int i = 0; i < members; ++i) {
      ASSERT_EQ(object.Member("m" + std::to_string(i)).AsInteger(-1), i) << members;
      ASSERT_EQ(object.Name(i), "m" + std::to_string(i));
    }
    ASSERT_FALSE(object.Member("m" + std::to_string(members)));
    const std::string again = text + (members > 0 ? "," : "") + "\"m0\":\"first\"";
    ASSERT_EQ(VqParseJSON("{" + again + "}").Member("m0").AsString(), "first");
    ASSERT_EQ(VqParseJSON("{" + again + "}").Count(), std::max(members, 1));
    text += (members > 0 ? ",\"m" : "\"m") + std::to_string(members) + "\":" + std::to_string(members);
  }
}

}  // namespace
}  // namespace velmore
