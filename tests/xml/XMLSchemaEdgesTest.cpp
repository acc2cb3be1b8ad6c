// Records at their edges: numbers of every width, texts that are refused, trees deeper than any stack.

#include <gtest/gtest.h>

#include "platform/xml/uVqXMLSerializer.h"

namespace velmore {
namespace {

enum : std::int32_t { mText, mNumber, mInner, mTexts, mName };

class TSample : public TVqXMLSchemaElement {
 public:
  using TVqXMLSchemaElement::TVqXMLSchemaElement;

 protected:
  void AfterConstruction() override {
    AddSchemaInfo(mText, TVqDOMNodeType::ntElement, "t:Text", 0, 1, false, -1);
    AddSchemaInfo(mNumber, TVqDOMNodeType::ntElement, "t:Number", 0, 1, false, -1);
    AddSchemaInfo(mInner, TVqDOMNodeType::ntElement, "t:Inner", 0, 1, false, -1);
    AddSchemaInfo(mTexts, TVqDOMNodeType::ntElement, "t:String", 0, -1, false, -1);
    AddSchemaInfo(mName, TVqDOMNodeType::ntAttribute, "Name", 0, 1, false, -1);
  }
};

IVqDOMElement Parse(const char* markup) {
  return VqCreateDOM(markup).GetDocumentElement();
}

// ---- Numbers

template <typename T>
void ExpectKept(std::initializer_list<T> values) {
  TSample record(Parse("<t:S/>"));
  for (const T value : values) {
    record.SetValue(mNumber, value);
    EXPECT_EQ(record.GetValue<T>(mNumber), value) << record.GetXML();
  }
}

TEST(XMLSchemaEdges, NumbersOfEveryWidthAreValues) {
  ExpectKept<std::int8_t>({-128, 127});
  ExpectKept<std::uint8_t>({0, 255});
  ExpectKept<std::int16_t>({-32768, 32767});
  ExpectKept<std::uint16_t>({0, 65535});
  ExpectKept<std::uint32_t>({0, 4'294'967'295});
  ExpectKept<long>({-1, std::numeric_limits<long>::max()});
  ExpectKept<long long>({std::numeric_limits<long long>::min(), std::numeric_limits<long long>::max()});
  ExpectKept<unsigned long long>({0, 9'223'372'036'854'775'807u});
  ExpectKept<float>({0, -1.5f, 0.1f});
  TSample record(Parse("<t:S/>"));
  record.SetValue(mNumber, 7LL);
  EXPECT_EQ(record.GetXML(), "<t:S><t:Number>7</t:Number></t:S>");
}

TEST(XMLSchemaEdges, NumberThatDoesNotFitIsRefused) {
  TSample record(Parse("<t:S><t:Number>70000</t:Number></t:S>"));
  EXPECT_THROW(record.GetValue<std::uint16_t>(mNumber), EConvertError);
  EXPECT_THROW(record.GetValue<std::int8_t>(mNumber), EConvertError);
  EXPECT_THROW(record.SetValue(mNumber, std::numeric_limits<std::uint64_t>::max()), EConvertError);
  record.SetValue(mNumber, -1);
  EXPECT_THROW(record.GetValue<std::uint32_t>(mNumber), EConvertError);
  EXPECT_EQ(record.GetXML(), "<t:S><t:Number>-1</t:Number></t:S>");
}

// ---- Texts of servers

enum TColour : std::int32_t { coRed, coGreen };
const TVqEnumInfo& VqEnumInfoOf(TColour) noexcept {
  static constexpr std::string_view kTexts[] = {"Red", "Green"};
  static constexpr TVqEnumInfo kInfo{"TColour", kTexts, 2};
  return kInfo;
}

TEST(XMLSchemaEdges, WhiteSpaceAroundAValueIsNoPartOfIt) {
  TSample record(Parse("<t:S Name=\" Green\"><t:Text>\n  Green\n</t:Text><t:Number>\t7 </t:Number></t:S>"));
  EXPECT_EQ(record.GetValue<TColour>(mText), coGreen);
  EXPECT_EQ(record.GetValue<TColour>(mName), coGreen);
  EXPECT_EQ(record.GetIntValue(mNumber), 7);
  EXPECT_EQ(record.GetStringValue(mText), "\n  Green\n") << "but of a text";
}

TEST(XMLSchemaEdges, TimeOfDayIsOnTheWallWhateverItsZone) {
  TSample record(Parse("<t:S><t:Text>18:00:00+06:00</t:Text></t:S>"));
  EXPECT_EQ(record.GetTimeValue(mText), 0.75);
}

// ---- What is refused

TEST(XMLSchemaEdges, TextThatIsRefusedLeavesNothingBehind) {
  TSample record(Parse("<t:S><t:Number>1</t:Number></t:S>"));
  const std::string_view forbidden("a\x01", 2);
  EXPECT_THROW(record.SetStringValue(mText, forbidden), EVqXMLError);
  EXPECT_THROW(record.SetStringValue(mNumber, forbidden), EVqXMLError);
  EXPECT_THROW(record.SetStringValue(mName, forbidden), EVqXMLError);
  EXPECT_THROW(record.SetValue<string>(mText, u"\uFFFF"), EVqXMLError);
  EXPECT_THROW(record.GetArray<string>(mTexts).Add(forbidden), EVqXMLError);
  EXPECT_EQ(record.GetArray<string>(mTexts).Count(), 0);
  EXPECT_EQ(record.GetXML(), "<t:S><t:Number>1</t:Number></t:S>");
}

TEST(XMLSchemaEdges, DateThatIsRefusedLeavesNothingBehind) {
  TSample record(Parse("<t:S/>"));
  EXPECT_THROW(record.SetDatetimeValue(mText, 1e300), EConvertError);
  EXPECT_THROW(record.GetArray<TDateTime>(mTexts).Add(1e300), EConvertError);
  EXPECT_EQ(record.GetXML(), "<t:S/>");
}

// ---- Members and their nodes

TEST(XMLSchemaEdges, NodeIsGivenByIndexAndMadeOnlyWhenToldTo) {
  TSample record(Parse("<t:S/>"));
  EXPECT_FALSE(record.GetNodeByIndex(mText, false));
  EXPECT_FALSE(record.GetNodeByIndex(mName, false));
  EXPECT_EQ(record.GetXML(), "<t:S/>");
  const IVqDOMNode text = record.GetNodeByIndex(mText, true), name = record.GetNodeByIndex(mName, true);
  EXPECT_EQ(text.GetNodeType(), TVqDOMNodeType::ntElement);
  EXPECT_EQ(name.GetNodeType(), TVqDOMNodeType::ntAttribute);
  EXPECT_EQ(record.GetNodeByIndex(mText, false), text);
  EXPECT_EQ(record.GetNodeByIndex(mName, true), name);
  EXPECT_EQ(record.GetXML(), "<t:S Name=\"\"><t:Text/></t:S>");
}

TEST(XMLSchemaEdges, HandlerIsGivenTheRecordThatAsksAndItsMember) {
  TSample record(Parse("<t:S/>"));
  TVqXMLSchemaElement* asking = nullptr;
  std::optional<TVqXMLSchemaInfo> member;
  record.SetOnGetSOAPElement([&](TVqXMLSchemaElement* ARecord, const TVqXMLSchemaInfo& AInfo) {
    asking = ARecord;
    member = AInfo;
  });
  record.GetStringValue(mText);
  EXPECT_EQ(asking, &record);
  ASSERT_TRUE(member);
  EXPECT_EQ(member->GetName(), "t:Text");
  EXPECT_EQ(member->GetIndex(), mText);
  EXPECT_EQ(member->GetNodeType(), TVqDOMNodeType::ntElement);
}

struct TPoint {
  std::int32_t X = 0;
};
void VqDescribeRecord(TVqRecordVisitor& visitor, TPoint& value) {
  visitor.Member("X", value.X);
}

TEST(XMLSchemaEdges, EveryTypedGetterAsksForWhatIsMissing) {
  using TGet = void (*)(TSample&);
  const TGet getters[] = {
      [](TSample& r) { r.GetStringValue(mText); },       [](TSample& r) { r.GetIntValue(mText); },
      [](TSample& r) { r.GetLongValue(mText); },         [](TSample& r) { r.GetDoubleValue(mText); },
      [](TSample& r) { r.GetBooleanValue(mText); },      [](TSample& r) { r.GetDateValue(mText); },
      [](TSample& r) { r.GetTimeValue(mText); },         [](TSample& r) { r.GetDatetimeValue(mText); },
      [](TSample& r) { r.GetDurationValue(mText); },     [](TSample& r) { r.GetLanguageValue(mText); },
      [](TSample& r) { r.GetAnyUriValue(mText); },       [](TSample& r) { r.GetGuidValue(mText); },
      [](TSample& r) { r.GetBase64binaryValue(mText); }, [](TSample& r) { r.GetValue<TColour>(mText); },
      [](TSample& r) { r.GetValue<TBytes>(mText); },     [](TSample& r) { r.GetValue<TVqSet<TColour>>(mText); },
      [](TSample& r) { r.GetValue<TPoint>(mText); },     [](TSample& r) { r.GetValue<std::uint16_t>(mText); },
      [](TSample& r) { r.GetValue<TSample>(mText); },
  };
  for (const TGet& get : getters) {
    TSample record(Parse("<t:S/>"));
    int asked = 0;
    record.SetOnGetSOAPElement([&](TVqXMLSchemaElement*, const TVqXMLSchemaInfo&) { ++asked; });
    get(record);
    EXPECT_EQ(asked, 1) << &get - getters;
  }
}

TEST(XMLSchemaEdges, ChildRecordStaysGoodWhenTheParentsTextsChange) {
  TSample record(Parse("<t:S/>"));
  TSample& inner = record.GetValue<TSample>(mInner);
  record.SetStringValue(mText, "x");
  record.SetValue(mNumber, 1);
  record.GetArray<string>(mTexts).Add("y");
  EXPECT_EQ(&record.GetValue<TSample>(mInner), &inner);
  inner.SetStringValue(mText, "z");
  EXPECT_EQ(record.GetXML(),
            "<t:S><t:Text>x</t:Text><t:Number>1</t:Number><t:Inner><t:Text>z</t:Text></t:Inner>"
            "<t:String>y</t:String></t:S>");
}

TEST(XMLSchemaEdges, ArrayIsMadeOnceForEachMember) {
  TSample record(Parse("<t:S/>"));
  auto& texts = record.GetArray<string>(mTexts);
  texts.Add("a");
  EXPECT_EQ(&record.GetArray<string>(mTexts), &texts);
  // The same entries as records are another array.
  EXPECT_EQ(record.GetArray<TSample>(mTexts).GetItem(0).AsElement().GetText(), "a");
  EXPECT_EQ(&record.GetArray<string>(mTexts), &texts);
}

TEST(XMLSchemaEdges, EntriesThatWereAllAskedForKeepTheirPositionsWhenOneIsDeleted) {
  // On purpose: the record above the gap is stale, and what moved down gets a second one.
  TVqXMLSchemaElementArray<TSample> entries(Parse("<t:L><t:E>a</t:E><t:E>b</t:E><t:E>c</t:E></t:L>"), "t:E");
  TSample& b = entries.GetItem(1);
  TSample& c = entries.GetItem(2);
  entries.Delete(1);
  EXPECT_EQ(&entries.GetItem(2), &c);
  TSample& moved = entries.GetItem(1);
  EXPECT_NE(&moved, &c);
  EXPECT_EQ(moved.AsElement(), c.AsElement());
  EXPECT_THROW(b.GetXML(), EVqException);
  EXPECT_EQ(entries.Count(), 2);
}

// ---- As text

TEST(XMLSchemaEdges, NothingIsLeftOfNamespacesWhenTheyAreExcluded) {
  TSample record(
      Parse("<t:S xmlns:t=\"urn:t\" t:Kind=\"k\" xml:lang=\"de\"><m:X xmlns:m=\"urn:m\" m:a=\"1\" a=\"2\"/>"
            "<Y xmlns=\"urn:y\"/></t:S>"));
  EXPECT_EQ(record.AsXML({}, true), "<S Kind=\"k\" xml:lang=\"de\"><X m:a=\"1\" a=\"2\"/><Y/></S>")
      << "but a prefix that tells two attributes apart";
}

TEST(XMLSchemaEdges, TreesDeeperThanAnyStackAreWritten) {
  TVqDOMDocument document;
  IVqDOMElement element = document.CreateRootNode("t:a");
  constexpr std::size_t kDepth = 200'000;
  for (std::size_t i = 1; i < kDepth; ++i) element = element.AddElement("t:a");
  const TVqXMLSchemaElement record(document.GetDocumentElement());
  EXPECT_EQ(record.AsXML({}, true).Length(), kDepth * 7 - 3);
  EXPECT_EQ(record.GetXML().Length(), kDepth * 11 - 5);
  EXPECT_THROW(record.AsJSON(), EVqException);
  EXPECT_EQ(TVqXMLSchemaElementArray<string>(record.AsElement(), "t:a").Count(), static_cast<std::int32_t>(kDepth - 1));
}

}  // namespace
}  // namespace velmore
