// Filters as expressions: the same requests as from restriction objects, values checked against their fields.

#include "ews/idioms/uVqEWSFilters.h"

#include "ews/idioms/uVqEWSRanges.h"
#include "ews/schema/uVqEWSPropsEFLD.h"
#include "tests/wire/MailboxTestSupport.h"

namespace velmore::testing {
namespace {

using namespace std::chrono_literals;

class Filters : public MailboxTest {
 protected:
  using MailboxTest::MailboxTest;

  /// What stands between the tags of the restriction in the request that opens a table with the filter.
  std::string Sent(const TVqEWSFilter& filter) {
    const auto items = VqItemsOf(*Inbox(), FLD_ITEM_SUBJECT);
    VqFilter(*items, filter);
    Forget();
    items->Open();
    const std::string request = Request("FindItem");
    const std::size_t from = request.find("<m:Restriction>");
    if (from == std::string::npos) return "";
    return request.substr(from + 15, request.find("</m:Restriction>") - from - 15);
  }
  Names Found(const TVqEWSFilter& filter) {
    const auto items = VqItemsOf(*Inbox(), FLD_ITEM_SUBJECT);
    VqFilter(*items, filter);
    Names subjects;
    for (const auto row : *items) subjects.push_back(row[FLD_ITEM_SUBJECT].GetAsString().utf8());
    std::sort(subjects.begin(), subjects.end());
    return subjects;
  }
  static std::string Comparison(const std::string& node, const std::string& uri, const std::string& value) {
    return "<t:" + node + "><t:FieldURI FieldURI=\"" + uri + "\"/><t:FieldURIOrConstant><t:Constant Value=\"" + value +
           "\"/></t:FieldURIOrConstant></t:" + node + ">";
  }
};

TEST_F(Filters, EveryKindOfValueByItsTextOnTheWire) {
  EXPECT_EQ(Sent(VqField(FLD_ITEM_SUBJECT) == "Birch & \"Sons\" <x>"),
            Comparison("IsEqualTo", "item:Subject", "Birch &amp; &quot;Sons&quot; &lt;x&gt;"));
  EXPECT_EQ(Sent(VqField(FLD_ITEM_SIZE) >= std::size_t{5'000'000'000}),
            Comparison("IsGreaterThanOrEqualTo", "item:Size", "5000000000"));
  EXPECT_EQ(Sent(VqField(FLD_ITEM_SIZE) > -1), Comparison("IsGreaterThan", "item:Size", "-1"));
  EXPECT_EQ(Sent(VqField(FLD_ITEM_SIZE) < std::uint8_t{65}), Comparison("IsLessThan", "item:Size", "65"));
  EXPECT_EQ(Sent(VqField(FLD_MESSAGE_ISREAD) != true), Comparison("IsNotEqualTo", "message:IsRead", "true"));
  EXPECT_EQ(Sent(VqField(FLD_ITEM_IMPORTANCE) == icHigh), Comparison("IsEqualTo", "item:Importance", "High"));
  EXPECT_EQ(Sent(VqField(FLD_ITEM_DATETIMERECEIVED) <= std::chrono::sys_days{2026y / 3 / 29} + 1h + 30min + 500ms),
            Comparison("IsLessThanOrEqualTo", "item:DateTimeReceived", "2026-03-29T01:30:00.500Z"));
  EXPECT_EQ(Sent(VqField(FLD_ITEM_DATETIMERECEIVED) == TDateTime(2.5)),
            Comparison("IsEqualTo", "item:DateTimeReceived", "1900-01-01T12:00:00Z"));
  EXPECT_EQ(Sent(VqField(FLD_TASK_PERCENTCOMPLETE) > 12.5),
            Comparison("IsGreaterThan", "task:PercentComplete", "12.5"));
}

TEST_F(Filters, PointsInTimeBeforeDayZeroAndAtTheLastMillisecond) {
  using namespace std::chrono;
  EXPECT_EQ(TVqEWSFilterValue(sys_days{1899y / 12 / 29} + 6h).Text, "1899-12-29T06:00:00Z");
  EXPECT_EQ(TVqEWSFilterValue(sys_days{1601y / 1 / 1}).Text, "1601-01-01T00:00:00Z");
  EXPECT_EQ(TVqEWSFilterValue(sys_days{9999y / 12 / 31} + 23h + 59min + 59s).Text, "9999-12-31T23:59:59Z");
}

TEST_F(Filters, JoinedConditionsStandInOneListAsAPersonWouldWriteThem) {
  const auto subject = VqField(FLD_ITEM_SUBJECT) == "a";
  const auto read = VqField(FLD_MESSAGE_ISREAD) == false;
  const std::string a = Comparison("IsEqualTo", "item:Subject", "a");
  const std::string b = Comparison("IsEqualTo", "message:IsRead", "false");
  EXPECT_EQ(Sent(subject && read && subject), "<t:And>" + a + b + a + "</t:And>");
  EXPECT_EQ(Sent(subject || (read || subject)), "<t:Or>" + a + b + a + "</t:Or>");
  EXPECT_EQ(Sent(subject && (read || subject)), "<t:And>" + a + "<t:Or>" + b + a + "</t:Or></t:And>");
  EXPECT_EQ(Sent(!subject), "<t:Not>" + a + "</t:Not>");
}

TEST_F(Filters, TheOtherConditionsToTheLetter) {
  EXPECT_EQ(Sent(VqExists(FLD_ITEM_INREPLYTO)), "<t:Exists><t:FieldURI FieldURI=\"item:InReplyTo\"/></t:Exists>");
  EXPECT_EQ(Sent(VqContains(FLD_ITEM_SUBJECT, "x & y")),
            "<t:Contains ContainmentMode=\"Substring\" ContainmentComparison=\"IgnoreCase\"><t:FieldURI "
            "FieldURI=\"item:Subject\"/><t:Constant Value=\"x &amp; y\"/></t:Contains>");
  EXPECT_EQ(Sent(VqStartsWith(FLD_ITEM_SUBJECT, "x")),
            "<t:Contains ContainmentMode=\"Prefixed\" ContainmentComparison=\"IgnoreCase\"><t:FieldURI "
            "FieldURI=\"item:Subject\"/><t:Constant Value=\"x\"/></t:Contains>");
  EXPECT_EQ(Sent(VqHasNoBitOf(FLD_ITEM_SIZE, 0x80000000u)),
            "<t:Excludes><t:FieldURI FieldURI=\"item:Size\"/><t:Bitmask Value=\"2147483648\"/></t:Excludes>");
  EXPECT_EQ(Sent(VqField(FLD_ITEM_DATETIMESENT) < VqField(FLD_ITEM_DATETIMERECEIVED)),
            "<t:IsLessThan><t:FieldURI FieldURI=\"item:DateTimeSent\"/><t:FieldURIOrConstant><t:FieldURI "
            "FieldURI=\"item:DateTimeReceived\"/></t:FieldURIOrConstant></t:IsLessThan>");
}

TEST_F(Filters, WhatIsEmptyLetsEverythingThrough) {
  const TVqEWSFilter none;
  const auto some = VqExists(FLD_ITEM_SUBJECT);
  EXPECT_TRUE(none.IsEmpty());
  EXPECT_EQ(Sent(none), "");
  EXPECT_EQ(Sent(none && some), Sent(some));
  EXPECT_EQ(Sent(some && none), Sent(some));
  EXPECT_EQ(Sent(none || some), "");
  EXPECT_EQ(Sent(some || none), "");
  EXPECT_EQ(MessageOf<EVqException>([&] { !none; }),
            "An empty filter lets everything through: there is nothing that it could not.");
}

TEST_F(Filters, AValueOfAnotherTypeNamesItsField) {
  const auto text = [](const auto& compose) { return MessageOf<EVqException>([&] { compose(); }); };
  EXPECT_EQ(text([] { return VqField(FLD_ITEM_SIZE) == "large"; }),
            "FLD_ITEM_SIZE holds a whole number and cannot be compared with text.");
  EXPECT_EQ(text([] { return VqField(FLD_ITEM_SUBJECT) == 5; }),
            "FLD_ITEM_SUBJECT holds text and cannot be compared with a whole number.");
  EXPECT_EQ(text([] { return VqField(FLD_MESSAGE_ISREAD) == 1; }),
            "FLD_MESSAGE_ISREAD holds true or false and cannot be compared with a whole number.");
  EXPECT_EQ(text([] { return VqField(FLD_ITEM_DATETIMERECEIVED) > 45000.0; }),
            "FLD_ITEM_DATETIMERECEIVED holds a point in time and cannot be compared with a number.");
  EXPECT_EQ(text([] { return VqField(FLD_ITEM_IMPORTANCE) == scPrivate; }),
            "FLD_ITEM_IMPORTANCE holds a TImportanceChoices and cannot be compared with a TSensitivityChoices.");
  EXPECT_EQ(text([] { return VqContains(FLD_ITEM_SIZE, "1"); }),
            "FLD_ITEM_SIZE holds a whole number and cannot be compared with text.");
  EXPECT_EQ(text([] { return VqHasNoBitOf(FLD_ITEM_SUBJECT, 1); }),
            "FLD_ITEM_SUBJECT holds text and cannot be compared with a whole number.");
}

TEST_F(Filters, ListsAreComparedWithOneOfTheirEntriesAndRecordsWithText) {
  EXPECT_EQ(Sent(VqField(FLD_ITEM_CATEGORIES) == "Red"), Comparison("IsEqualTo", "item:Categories", "Red"));
  const auto text = [](const auto& compose) { return MessageOf<EVqException>([&] { compose(); }); };
  EXPECT_EQ(text([] { return VqField(FLD_ITEM_CATEGORIES) == 5; }),
            "FLD_ITEM_CATEGORIES holds text and cannot be compared with a whole number.");
  EXPECT_EQ(text([] { return VqField(FLD_MESSAGE_FROM) == true; }),
            "FLD_MESSAGE_FROM holds text and cannot be compared with true or false.");
  EXPECT_EQ(text([] { return VqField(FLD_CONTACTS_PHONENUMBER_HOMEPHONE) == 555; }),
            "FLD_CONTACTS_PHONENUMBER_HOMEPHONE holds text and cannot be compared with a whole number.");
  const TVqEWSPropDef numbers{
      .PropDefName = "EPR_NUMBERS", .Extended = true, .PropType = ptIntegerArray, .PropertyTag = 0x26};
  const TVqEWSFieldDef field{.FieldDefName = "EFLD_NUMBERS", .PropDef = &numbers, .FieldType = fdtExtendedField};
  EXPECT_FALSE((VqField(field) == 3).IsEmpty());
  EXPECT_EQ(MessageOf<EVqException>([&] { VqField(field) == "3"; }),
            "EFLD_NUMBERS holds a whole number and cannot be compared with text.");
}

TEST_F(Filters, FieldsOfDifferentTypesAreNotCompared) {
  EXPECT_EQ(MessageOf<EVqException>([] { VqField(FLD_ITEM_SIZE) == VqField(FLD_ITEM_SUBJECT); }),
            "FLD_ITEM_SIZE holds a whole number and cannot be compared with FLD_ITEM_SUBJECT, which holds text.");
}

TEST_F(Filters, TextThatNoRequestCanCarryNamesItsField) {
  const auto begins = [](const auto& compose) {
    const std::string text = MessageOf<EVqXMLError>([&] { compose(); });
    EXPECT_TRUE(text.starts_with("FLD_ITEM_SUBJECT cannot be compared with this text: ")) << text;
  };
  begins([] { return VqField(FLD_ITEM_SUBJECT) == u"a\x0001"; });
  begins([] { return VqContains(FLD_ITEM_SUBJECT, u"\x0001"); });
}

TEST_F(Filters, FieldsWithoutANameAreNamedByTheirAddress) {
  const TVqEWSFieldDef field{.PropDef = FLD_ITEM_SIZE.PropDef, .UnindexedFieldURI = "item:Size"};
  EXPECT_EQ(MessageOf<EVqException>([&] { VqField(field) == "x"; }),
            "item:Size holds a whole number and cannot be compared with text.");
}

TEST_F(Filters, DaysOfTheCalendar) {
  EXPECT_EQ(Sent(VqField(FLD_ITEM_DATETIMERECEIVED) >= 2026y / 3 / 29),
            Comparison("IsGreaterThanOrEqualTo", "item:DateTimeReceived", "2026-03-29T00:00:00Z"));
  EXPECT_EQ(MessageOf<EVqException>([] { VqField(FLD_ITEM_DATETIMERECEIVED) >= 2026y / 2 / 30; }),
            "A filter cannot compare with a day that is in no calendar.");
}

// A sub-millisecond is cut off, in times before day zero, too: what is finer would lie in front of the value.
TEST_F(Filters, EveryClockDurationThatTheStandardHas) {
  EXPECT_EQ(TVqEWSFilterValue(std::chrono::sys_time<std::chrono::nanoseconds>(1'999'999ns)).Text,
            "1970-01-01T00:00:00.001Z");
  EXPECT_EQ(TVqEWSFilterValue(std::chrono::sys_seconds(1s)).Text, "1970-01-01T00:00:01Z");
  EXPECT_EQ(TVqEWSFilterValue(std::chrono::sys_time<std::chrono::hours>(2h)).Text, "1970-01-01T02:00:00Z");
}

// Every integral and every floating type, to the letter.
template <typename T>
class FilterNumbers : public ::testing::Test {};
using TNumbers =
    ::testing::Types<signed char, unsigned char, short, unsigned short, int, unsigned, long, unsigned long, long long,
                     unsigned long long, std::size_t, std::ptrdiff_t, float, double, long double>;
TYPED_TEST_SUITE(FilterNumbers, TNumbers);
TYPED_TEST(FilterNumbers, AreWrittenInDecimal) {
  EXPECT_EQ(TVqEWSFilterValue(TypeParam{65}).Text, "65");
  EXPECT_EQ(TVqEWSFilterValue(TypeParam{65}).Type.Kind, std::is_integral_v<TypeParam> ? tkInteger : tkFloat);
}

TEST_F(Filters, ExtendedFieldsHaveTheTypesOfTheirRows) {
  const TVqEWSPropDef number{.PropDefName = "EPR_NUMBER", .Extended = true, .PropType = ptInteger, .PropertyTag = 0x26};
  const TVqEWSFieldDef field{.FieldDefName = "EFLD_NUMBER", .PropDef = &number, .FieldType = fdtExtendedField};
  EXPECT_FALSE((VqField(field) == 3).IsEmpty());
  EXPECT_EQ(MessageOf<EVqException>([&] { VqField(field) == "3"; }),
            "EFLD_NUMBER holds a whole number and cannot be compared with text.");
}

TEST_F(Filters, FindWhatTheySay) {
  for (const char* subject : {"Birch & Sons", "Oak", "Ash \"and\" Elm"}) AddMessage(subject);
  EXPECT_EQ(Found(VqField(FLD_ITEM_SUBJECT) == "Birch & Sons"), Names{"Birch & Sons"});
  EXPECT_EQ(Found(VqContains(FLD_ITEM_SUBJECT, "\"AND\"")), Names{"Ash \"and\" Elm"});
  EXPECT_EQ(Found(!VqContains(FLD_ITEM_SUBJECT, "a")), Names{"Birch & Sons"});
  EXPECT_EQ(Found(VqStartsWith(FLD_ITEM_SUBJECT, "o") || VqStartsWith(FLD_ITEM_SUBJECT, "b")),
            (Names{"Birch & Sons", "Oak"}));
  EXPECT_EQ(Found({}).size(), 3u);
}

TEST_F(Filters, OneFilterServesSeveralTablesAndOutlivesThem) {
  AddMessage("One");
  const auto filter = VqField(FLD_ITEM_SUBJECT) == "One" && VqExists(FLD_ITEM_SUBJECT);
  EXPECT_EQ(Found(filter), Names{"One"});
  EXPECT_EQ(Found(filter), Names{"One"});
}

}  // namespace
}  // namespace velmore::testing
