#include "platform/xml/uVqXMLSchema.h"

#include <gtest/gtest.h>

#include "platform/xml/uVqXMLSerializer.h"

using namespace velmore;

namespace {

enum TColour : std::int32_t { coRed, coGreen, coBlue };
const TVqEnumInfo& VqEnumInfoOf(TColour) noexcept {
  static constexpr std::string_view kTexts[] = {"Red", "Green", "Blue"};
  static constexpr TVqEnumInfo kInfo{"TColour", kTexts, 3};
  return kInfo;
}

enum TShape : std::int32_t { shCircle, shSquare };
const TVqEnumInfo& VqEnumInfoOf(TShape) noexcept {
  static constexpr std::string_view kTexts[] = {"Circle", "Square"};
  static constexpr TVqEnumInfo kInfo{"TShape", kTexts, 2};
  return kInfo;
}

struct TPoint {
  std::int32_t X = 0;
  string Unit;
  friend bool operator==(const TPoint&, const TPoint&) = default;
};
void VqDescribeRecord(TVqRecordVisitor& visitor, TPoint& value) {
  visitor.Member("X", value.X);
  visitor.Attribute("Unit", value.Unit);
}

class TNoRecord {};

/// Indices of the members of the record below, in the order of registration.
enum : std::int32_t {
  mText,
  mNumber,
  mLong,
  mDouble,
  mFlag,
  mDate,
  mTime,
  mDateTime,
  mDuration,
  mLanguage,
  mUri,
  mGuid,
  mBytes,
  mColour,
  mColours,
  mPoint,
  mInner,
  mOther,
  mItems,
  mCircle,
  mSquare,
  mAttribute
};

/// A record class as an application writes one.
class TSample : public TVqXMLSchemaElement {
 public:
  using TVqXMLSchemaElement::TVqXMLSchemaElement;

 protected:
  void AfterConstruction() override {
    TVqXMLSchemaElement::AfterConstruction();
    constexpr auto kElement = TVqDOMNodeType::ntElement;
    std::int32_t index = 0;
    for (const char* name :
         {"t:Text", "t:Number", "t:Long", "t:Double", "t:Flag", "t:Date", "t:Time", "t:DateTime", "t:Duration",
          "t:Language", "t:Uri", "t:Guid", "t:Bytes", "t:Colour", "t:Colours", "t:Point", "t:Inner", "t:Other"}) {
      AddSchemaInfo(index++, kElement, name, 0, 1, false, -1);
    }
    AddSchemaInfo(mItems, kElement, "t:Item", 1, -1, false, -1);
    AddSchemaInfo(mCircle, kElement, "t:Circle", 0, 1, false, 0);
    AddSchemaInfo(mSquare, kElement, "t:Square", 0, 1, false, 0);
    AddSchemaInfo(mAttribute, TVqDOMNodeType::ntAttribute, "Name", 0, 1, true, -1);
  }
};

class TSpecialSample : public TSample {
 public:
  using TSample::TSample;

 protected:
  void AfterConstruction() override {
    TSample::AfterConstruction();
    AddSchemaInfo(100, TVqDOMNodeType::ntElement, "t:Special", 0, 1, false, -1);
    AddSchemaInfo(101, TVqDOMNodeType::ntElement, "t:Text", 1, 1, false, -1);  // once more, and required
  }
};

class TBroken : public TSample {
 public:
  using TSample::TSample;

 protected:
  void AfterConstruction() override {
    TSample::AfterConstruction();
    AddSchemaInfo(mText, TVqDOMNodeType::ntElement, "t:Twice", 0, 1, false, -1);
  }
};

class XMLSchema : public testing::Test {
 protected:
  static IVqDOMElement Parse(const char* markup) { return VqCreateDOM(markup).GetDocumentElement(); }
  TSample& Over(const char* markup) {
    FRecord = std::make_unique<TSample>(Parse(markup));
    return *FRecord;
  }
  template <typename F>
  static std::string TextOfFailure(F operation) {
    try {
      operation();
    } catch (const EVqException& failure) {
      return failure.what();
    }
    return "no exception";
  }

  std::unique_ptr<TSample> FRecord;
};

TEST_F(XMLSchema, MissingMembersReadAsTheEmptyValueAndMakeNoNode) {
  TSample& record = Over("<t:S/>");
  EXPECT_EQ(record.GetStringValue(mText), "");
  EXPECT_EQ(record.GetIntValue(mNumber), 0);
  EXPECT_EQ(record.GetLongValue(mLong), 0);
  EXPECT_EQ(record.GetDoubleValue(mDouble), 0.0);
  EXPECT_FALSE(record.GetBooleanValue(mFlag));
  EXPECT_EQ(record.GetDateValue(mDate), 0.0);
  EXPECT_EQ(record.GetTimeValue(mTime), 0.0);
  EXPECT_EQ(record.GetDatetimeValue(mDateTime), 0.0);
  EXPECT_EQ(record.GetDurationValue(mDuration), 0.0);
  EXPECT_EQ(record.GetLanguageValue(mLanguage), "");
  EXPECT_EQ(record.GetAnyUriValue(mUri), "");
  EXPECT_EQ(record.GetGuidValue(mGuid), TGUID());
  EXPECT_EQ(record.GetBase64binaryValue(mBytes), "");
  EXPECT_EQ(record.GetValue<TColour>(mColour), coRed);
  EXPECT_TRUE(record.GetValue<TVqSet<TColour>>(mColours).empty());
  EXPECT_EQ(record.GetValue<TPoint>(mPoint), TPoint());
  EXPECT_EQ(record.GetValue<string>(mAttribute), "");
  EXPECT_EQ(record.GetXML(), "<t:S/>");
}

TEST_F(XMLSchema, EmptyElementsReadAsTheEmptyValue) {
  TSample& record = Over("<t:S><t:Number/><t:Long> </t:Long><t:Flag/><t:DateTime/><t:Guid/><t:Colour/></t:S>");
  EXPECT_EQ(record.GetIntValue(mNumber), 0);
  EXPECT_EQ(record.GetLongValue(mLong), 0);
  EXPECT_FALSE(record.GetBooleanValue(mFlag));
  EXPECT_EQ(record.GetDatetimeValue(mDateTime), 0.0);
  EXPECT_EQ(record.GetGuidValue(mGuid), TGUID());
  EXPECT_EQ(record.GetValue<TColour>(mColour), coRed);
}

TEST_F(XMLSchema, EveryKindOfValueIsReadBackAsWritten) {
  TSample& record = Over("<t:S/>");
  const TGUID guid("00020328-0000-0000-c000-000000000046");
  record.SetStringValue(mText, "Grüße & <mehr>");
  record.SetIntValue(mNumber, -5);
  record.SetLongValue(mLong, std::int64_t{1} << 40);
  record.SetDoubleValue(mDouble, 0.1);
  record.SetBooleanValue(mFlag, true);
  record.SetDateValue(mDate, 45351.0);
  record.SetTimeValue(mTime, 0.25);
  record.SetDatetimeValue(mDateTime, 45351.5);
  record.SetDurationValue(mDuration, 1.5);
  record.SetLanguageValue(mLanguage, "de-CH");
  record.SetAnyUriValue(mUri, "http://localhost/?a=1&b=2");
  record.SetGuidValue(mGuid, guid);
  record.SetBase64binaryValue(mBytes, "AQI=");
  record.SetValue(mColour, coBlue);
  record.SetValue<string>(mAttribute, "the \"name\"");
  EXPECT_EQ(record.GetStringValue(mText), "Grüße & <mehr>");
  EXPECT_EQ(record.GetIntValue(mNumber), -5);
  EXPECT_EQ(record.GetLongValue(mLong), std::int64_t{1} << 40);
  EXPECT_EQ(record.GetDoubleValue(mDouble), 0.1);
  EXPECT_TRUE(record.GetBooleanValue(mFlag));
  EXPECT_EQ(record.GetDateValue(mDate), 45351.0);
  EXPECT_EQ(record.GetTimeValue(mTime), 0.25);
  EXPECT_EQ(record.GetDatetimeValue(mDateTime), 45351.5);
  EXPECT_EQ(record.GetDurationValue(mDuration), 1.5);
  EXPECT_EQ(record.GetLanguageValue(mLanguage), "de-CH");
  EXPECT_EQ(record.GetAnyUriValue(mUri), "http://localhost/?a=1&b=2");
  EXPECT_EQ(record.GetGuidValue(mGuid), guid);
  EXPECT_EQ(record.GetBase64binaryValue(mBytes), "AQI=");
  EXPECT_EQ(record.GetValue<TBytes>(mBytes), (TBytes{1, 2}));
  EXPECT_EQ(record.GetValue<TColour>(mColour), coBlue);
  EXPECT_EQ(record.GetValue<string>(mAttribute), "the \"name\"");
  EXPECT_EQ(record.AsElement().GetAttribute("Name"), "the \"name\"");
  EXPECT_EQ(record.AsElement().SelectSingleElement("t:DateTime").GetText(), "2024-02-29T12:00:00Z");
  EXPECT_EQ(record.AsElement().SelectSingleElement("t:Date").GetText(), "2024-02-29");
  EXPECT_EQ(record.AsElement().SelectSingleElement("t:Time").GetText(), "06:00:00");
}

TEST_F(XMLSchema, GenericFormServesEveryKindOfValue) {
  TSample& record = Over("<t:S/>");
  record.SetValue<std::int32_t>(mNumber, 7);
  record.SetValue<std::int64_t>(mLong, 8);
  record.SetValue<double>(mDouble, 2.5);
  record.SetValue<bool>(mFlag, true);
  record.SetValue<TDateTime>(mDateTime, TDateTime(45351.25));
  record.SetValue<TGUID>(mGuid, TGUID("00020328-0000-0000-c000-000000000046"));
  record.SetValue<TBytes>(mBytes, TBytes{255});
  record.SetValue(mText, "literal");
  EXPECT_EQ(record.GetValue<std::int32_t>(mNumber), 7);
  EXPECT_EQ(record.GetValue<std::int64_t>(mLong), 8);
  EXPECT_EQ(record.GetValue<double>(mDouble), 2.5);
  EXPECT_TRUE(record.GetValue<bool>(mFlag));
  EXPECT_EQ(record.GetValue<TDateTime>(mDateTime), 45351.25);
  EXPECT_EQ(record.GetValue<TGUID>(mGuid), TGUID("00020328-0000-0000-c000-000000000046"));
  EXPECT_EQ(record.GetValue<TBytes>(mBytes), TBytes{255});
  EXPECT_EQ(record.GetValue<string>(mText), "literal");
}

TEST_F(XMLSchema, TextThatDoesNotConvertRaises) {
  TSample& record = Over("<t:S><t:Number>seven</t:Number><t:Flag>perhaps</t:Flag><t:Guid>no</t:Guid></t:S>");
  EXPECT_THROW(record.GetIntValue(mNumber), EConvertError);
  EXPECT_THROW(record.GetBooleanValue(mFlag), EConvertError);
  EXPECT_THROW(record.GetGuidValue(mGuid), EConvertError);
}

TEST_F(XMLSchema, TextWithForbiddenCharactersIsRefused) {
  TSample& record = Over("<t:S/>");
  EXPECT_THROW(record.SetStringValue(mText, std::string_view("a\x01", 2)), EVqXMLError);
}

TEST_F(XMLSchema, UnknownEnumerationTextReadsAsTheFirstValueAndStays) {
  TSample& record = Over("<t:S><t:Colour>Ultraviolet</t:Colour></t:S>");
  EXPECT_EQ(record.GetValue<TColour>(mColour), coRed);
  EXPECT_EQ(record.GetStringValue(mColour), "Ultraviolet");
}

TEST_F(XMLSchema, SetsAreWordsBetweenBlanks) {
  TSample& record = Over("<t:S/>");
  const TVqSet<TColour> both{coRed, coBlue};
  record.SetValue(mColours, both);
  EXPECT_EQ(record.GetStringValue(mColours), "Red Blue");
  EXPECT_EQ(record.GetValue<TVqSet<TColour>>(mColours), both);
  record.SetValue(mColours, TVqSet<TColour>());
  EXPECT_EQ(record.GetStringValue(mColours), "");
}

TEST_F(XMLSchema, PlainRecordBecomesChildrenAndAttributes) {
  TSample& record = Over("<t:S/>");
  record.SetValue(mPoint, TPoint{3, "cm"});
  EXPECT_EQ(record.GetXML(), "<t:S><t:Point Unit=\"cm\"><X>3</X></t:Point></t:S>");
  EXPECT_EQ(record.GetValue<TPoint>(mPoint), (TPoint{3, "cm"}));
}

TEST_F(XMLSchema, OtherClassesRaise) {
  TSample& record = Over("<t:S/>");
  const std::string kText = "Only TVqXMLSchemaElement class types are supported!";
  EXPECT_EQ(TextOfFailure([&] { record.GetValue<TNoRecord>(mInner); }), kText);
  EXPECT_EQ(TextOfFailure([&] { record.SetValue(mInner, TNoRecord()); }), kText);
}

TEST_F(XMLSchema, ClassGetterMakesTheElementAndGivesOneRecordForEachNode) {
  TSample& record = Over("<t:S/>");
  TSample& inner = record.GetValue<TSample>(mInner);
  EXPECT_EQ(record.GetXML(), "<t:S><t:Inner/></t:S>");
  EXPECT_EQ(&record.GetValue<TSample>(mInner), &inner);
  inner.SetStringValue(mText, "x");
  EXPECT_EQ(record.GetXML(), "<t:S><t:Inner><t:Text>x</t:Text></t:Inner></t:S>");
}

TEST_F(XMLSchema, NodeThatWasPutInPlaceOfAnotherGetsARecordOfItsOwn) {
  TSample& record = Over("<t:S/>");
  TSample& first = record.GetValue<TSample>(mInner);
  record.RemoveNode("t:Inner");
  TSample& second = record.GetValue<TSample>(mInner);
  EXPECT_NE(&first, &second);
  first.SetStringValue(mText, "out of the tree");
  EXPECT_EQ(record.GetXML(), "<t:S><t:Inner/></t:S>");
}

TEST_F(XMLSchema, NodeAskedForAsAMoreSpecialClassGetsOne) {
  TSample& record = Over("<t:S/>");
  TSample& plain = record.GetValue<TSample>(mInner);
  TSpecialSample& special = record.GetValue<TSpecialSample>(mInner);
  EXPECT_NE(static_cast<TSample*>(&special), &plain);
  special.SetStringValue(100, "s");
  EXPECT_EQ(record.GetXML(), "<t:S><t:Inner><t:Special>s</t:Special></t:Inner></t:S>");
}

TEST_F(XMLSchema, WritingAClassCopiesChildrenAndAttributesOntoTheNode) {
  TSample& record = Over("<t:S><t:Inner Name=\"old\"><t:Text>old</t:Text></t:Inner></t:S>");
  TSample source(Parse("<t:Any Name=\"new\"><t:Number>1</t:Number></t:Any>"));
  record.SetValue(mInner, source);
  EXPECT_EQ(record.GetXML(), "<t:S><t:Inner Name=\"new\"><t:Number>1</t:Number></t:Inner></t:S>");
}

TEST_F(XMLSchema, WritingAClassDiscardsAllChildRecordsAndArrays) {
  TSample& record = Over("<t:S><t:Item/></t:S>");
  TSample& inner = record.GetValue<TSample>(mInner);
  TSample& deeper = inner.GetValue<TSample>(mInner);
  TSample& sibling = record.GetValue<TSample>(mOther);
  auto& items = record.GetArray<TSample>(mItems);
  TSample& item = items.GetItem(0);
  TSample source(Parse("<t:Any/>"));
  record.SetValue(mInner, source);
  for (TSample* discarded : {&inner, &deeper, &sibling, &item}) {
    EXPECT_THROW(discarded->GetStringValue(mText), EVqException);
    EXPECT_THROW(discarded->SetStringValue(mText, "x"), EVqException);
    EXPECT_THROW(discarded->GetXML(), EVqException);
    EXPECT_THROW(discarded->FindNode("t:Text"), EVqException);
  }
  EXPECT_THROW(items.Count(), EVqException);
  EXPECT_THROW(items.GetItem(0), EVqException);
  EXPECT_NE(&record.GetValue<TSample>(mInner), &inner);
}

TEST_F(XMLSchema, ClassMayBeWrittenOntoItself) {
  TSample& record = Over("<t:S><t:Inner Name=\"n\"><t:Text>x</t:Text></t:Inner></t:S>");
  record.SetValue(mInner, record.GetValue<TSample>(mInner));
  EXPECT_EQ(record.GetXML(), "<t:S><t:Inner Name=\"n\"><t:Text>x</t:Text></t:Inner></t:S>");
  // And a part onto the whole that it stands in.
  record.SetValue(mInner, record.GetValue<TSample>(mInner).GetValue<TSample>(mOther));
  EXPECT_EQ(record.GetXML(), "<t:S><t:Inner/></t:S>");
}

TEST_F(XMLSchema, NewMembersLandAtTheirPlaceWhateverTheOrder) {
  TSample& record = Over("<t:S/>");
  for (std::int32_t i = mSquare; i >= 0; --i) record.GetNodeByIndex(i, true);
  std::int32_t expected = 0;
  for (const IVqDOMElement child : record.AsElement().GetChildElements()) {
    EXPECT_EQ(record.FindSchemaInfo(child.GetQualifiedName())->GetIndex(), expected++);
  }
  EXPECT_EQ(expected, mSquare + 1);
}

TEST_F(XMLSchema, UnknownSiblingsStayWhereTheyAre) {
  TSample& record = Over("<t:S><x:First/><t:Text/><x:Middle/><t:Flag/><x:Last/></t:S>");
  record.SetIntValue(mNumber, 1);
  record.SetStringValue(mUri, "u");
  EXPECT_EQ(record.GetXML(),
            "<t:S><x:First/><t:Text/><t:Number>1</t:Number><x:Middle/><t:Flag/><t:Uri>u</t:Uri><x:Last/></t:S>");
}

TEST_F(XMLSchema, FirstKnownMemberGoesBeforeLaterOnes) {
  TSample& record = Over("<t:S><x:First/><t:Flag/></t:S>");
  record.SetStringValue(mText, "x");
  EXPECT_EQ(record.GetXML(), "<t:S><x:First/><t:Text>x</t:Text><t:Flag/></t:S>");
}

TEST_F(XMLSchema, DerivedMembersComeBehindThoseOfTheBase) {
  TSpecialSample record(Parse("<t:S/>"));
  record.SetStringValue(100, "special");
  record.SetBooleanValue(mFlag, true);
  EXPECT_EQ(record.GetXML(), "<t:S><t:Flag>true</t:Flag><t:Special>special</t:Special></t:S>");
}

TEST_F(XMLSchema, MostDerivedDeclarationOfANameWins) {
  TSpecialSample record(Parse("<t:S/>"));
  EXPECT_EQ(record.FindSchemaInfo("t:Text")->GetIndex(), 101);
  EXPECT_EQ(record.FindSchemaInfo("t:Text")->GetMinOccurs(), 1);
  record.SetStringValue(mText, "by the base's index");
  record.SetStringValue(100, "s");
  EXPECT_EQ(record.GetXML(), "<t:S><t:Special>s</t:Special><t:Text>by the base's index</t:Text></t:S>");
  EXPECT_EQ(record.GetStringValue(101), "by the base's index");
}

TEST_F(XMLSchema, IndexThatIsTakenIsRefused) {
  TBroken record(Parse("<t:S/>"));
  EXPECT_THROW(record.GetStringValue(mText), EListError);
}

TEST_F(XMLSchema, SchemaInfoCarriesWhatWasRegistered) {
  TSample& record = Over("<t:S/>");
  const auto info = record.FindSchemaInfo("t:Item");
  ASSERT_TRUE(info);
  EXPECT_EQ(info->GetIndex(), mItems);
  EXPECT_EQ(info->GetNodeType(), TVqDOMNodeType::ntElement);
  EXPECT_EQ(info->GetName(), "t:Item");
  EXPECT_EQ(info->GetMinOccurs(), 1);
  EXPECT_EQ(info->GetMaxOccurs(), -1);
  EXPECT_FALSE(info->GetRequired());
  EXPECT_EQ(info->GetChoiceGroup(), -1);
  EXPECT_TRUE(record.FindSchemaInfo("Name")->GetRequired());
  EXPECT_EQ(record.FindSchemaInfo("Name")->GetNodeType(), TVqDOMNodeType::ntAttribute);
  EXPECT_EQ(record.FindSchemaInfo("t:Square")->GetChoiceGroup(), 0);
  EXPECT_FALSE(record.FindSchemaInfo("t:Nothing"));
}

TEST_F(XMLSchema, InfoIsBuiltFromANameAndANodeType) {
  const TVqXMLSchemaInfo info("PROPDEF:PR_SUBJECT", TVqDOMNodeType::ntElement);
  EXPECT_EQ(info.GetName(), "PROPDEF:PR_SUBJECT");
  EXPECT_EQ(static_cast<int>(info.GetNodeType()), 1);
  EXPECT_EQ(info.GetChoiceGroup(), -1);
}

TEST_F(XMLSchema, NodesAreFoundMadeAndRemovedByName) {
  TSample& record = Over("<t:S/>");
  EXPECT_FALSE(record.FindNode("t:Text"));
  EXPECT_EQ(record.GetXML(), "<t:S/>");
  record.GetNode("t:Text").SetText("x");
  EXPECT_TRUE(record.FindNode("t:Text"));
  EXPECT_EQ(record.GetNode("t:Text"), record.FindNode("t:Text"));
  record.GetNode("Name").SetText("n");
  EXPECT_EQ(record.GetXML(), "<t:S Name=\"n\"><t:Text>x</t:Text></t:S>");
  record.RemoveNode("t:Text");
  record.RemoveNode("Name");
  record.RemoveNode("t:Number");
  EXPECT_EQ(record.GetXML(), "<t:S/>");
}

TEST_F(XMLSchema, NamesAreTakenWithoutPrefixToo) {
  TSample& record = Over("<t:S/>");
  record.GetNode("Text").SetText("x");
  EXPECT_EQ(record.GetXML(), "<t:S><t:Text>x</t:Text></t:S>");
  EXPECT_EQ(record.FindNode("Text").GetText(), "x");
}

TEST_F(XMLSchema, NamesOfNoMemberGiveNothing) {
  TSample& record = Over("<t:S><t:Nothing/></t:S>");
  EXPECT_FALSE(record.FindNode("t:Nothing"));
  EXPECT_FALSE(record.GetNode("t:Nothing"));
  EXPECT_FALSE(record.GetNode("item:Text"));
  record.RemoveNode("t:Nothing");
  EXPECT_EQ(record.GetXML(), "<t:S><t:Nothing/></t:S>");
}

TEST_F(XMLSchema, IndexOfNoMemberRaises) {
  TSample& record = Over("<t:S/>");
  EXPECT_EQ(TextOfFailure([&] { record.GetArray<TSample>(4711); }), "Invalid Schema Index");
  EXPECT_THROW(record.GetArray<TSample>(4711), EListError);
  EXPECT_THROW(record.GetStringValue(-1), EListError);
  EXPECT_THROW(record.SetStringValue(4711, "x"), EListError);
}

TEST_F(XMLSchema, SelectorGivesThePresentAlternativeOrTheFirst) {
  EXPECT_EQ(Over("<t:S/>").GetChoice<TShape>(0), shCircle);
  EXPECT_EQ(Over("<t:S><t:Square/></t:S>").GetChoice<TShape>(0), shSquare);
  EXPECT_EQ(Over("<t:S><t:Circle/></t:S>").GetChoice<TShape>(0), shCircle);
  EXPECT_EQ(Over("<t:S><t:Square/></t:S>").GetChoice<TShape>(1), shCircle);  // no such group
}

TEST_F(XMLSchema, ChoiceRestrictsNothing) {
  TSample& record = Over("<t:S/>");
  record.SetStringValue(mSquare, "s");
  record.SetStringValue(mCircle, "c");
  EXPECT_EQ(record.GetXML(), "<t:S><t:Circle>c</t:Circle><t:Square>s</t:Square></t:S>");
}

TEST_F(XMLSchema, RecordOverNothingReadsEmptyAndRaisesWhenWritten) {
  TSample record{IVqDOMElement()};
  EXPECT_EQ(record.GetStringValue(mText), "");
  EXPECT_EQ(record.GetStringValue(mAttribute), "");
  EXPECT_FALSE(record.FindNode("t:Text"));
  EXPECT_EQ(record.GetXML(), "");
  EXPECT_EQ(record.GetArray<TSample>(mItems).Count(), 0);
  EXPECT_THROW(record.SetStringValue(mText, "x"), EVqException);
  EXPECT_THROW(record.GetValue<TSample>(mInner), EVqException);
}

TEST_F(XMLSchema, AssignToCopiesTheTree) {
  TSample source(Parse("<t:A Name=\"a\"><t:Text>x</t:Text></t:A>"));
  TSample& target = Over("<t:S Name=\"old\"><t:Flag>true</t:Flag></t:S>");
  TSample& inner = target.GetValue<TSample>(mInner);
  source.AssignTo(target);
  EXPECT_EQ(target.GetXML(), "<t:S Name=\"a\"><t:Text>x</t:Text></t:S>");
  source.SetStringValue(mText, "y");
  EXPECT_EQ(target.GetStringValue(mText), "x");
  EXPECT_THROW(inner.GetXML(), EVqException);
  EXPECT_THROW(source.AssignTo(nullptr), EVqException);
  target.AssignTo(target);
  EXPECT_EQ(target.GetXML(), "<t:S Name=\"a\"><t:Text>x</t:Text></t:S>");
}

TEST_F(XMLSchema, RecordKeepsItsDocumentAlive) {
  auto record = std::make_unique<TSample>(Parse("<t:S><t:Text>x</t:Text></t:S>"));
  EXPECT_EQ(record->GetStringValue(mText), "x");
}

TEST_F(XMLSchema, SimpleContentIsTextBesideAttributes) {
  TVqXMLSchemaSimpleContentElement<string> text(Parse("<t:B Type=\"HTML\">hello</t:B>"));
  EXPECT_EQ(text.GetValue(), "hello");
  text.SetValue("<b>");
  EXPECT_EQ(text.GetXML(), "<t:B Type=\"HTML\">&lt;b&gt;</t:B>");
  TVqXMLSchemaSimpleContentElement<TGUID> guid(Parse("<t:G>00020328-0000-0000-c000-000000000046</t:G>"));
  EXPECT_EQ(guid.GetValue(), TGUID("00020328-0000-0000-c000-000000000046"));
  guid.SetValue(TGUID("10020328-0000-0000-c000-000000000046"));
  EXPECT_EQ(guid.GetXML(), "<t:G>10020328-0000-0000-c000-000000000046</t:G>");
  TVqXMLSchemaSimpleContentElement<std::int32_t> number(Parse("<t:N/>"));
  EXPECT_EQ(number.GetValue(), 0);
  number.SetValue(12);
  EXPECT_EQ(number.GetValue(), 12);
}

// ---- Loading on demand

class XMLSchemaDemand : public XMLSchema {
 protected:
  void Hook(TSample& record) {
    record.SetOnGetSOAPElement([this](TVqXMLSchemaElement* ARecord, const TVqXMLSchemaInfo& AInfo) {
      FAsked.push_back(AInfo.GetName().utf8());
      if (FAnswer && ARecord) ARecord->GetNode(AInfo.GetName()).SetText("5");
    });
  }
  std::vector<std::string> FAsked;
  bool FAnswer = false;
};

TEST_F(XMLSchemaDemand, TypedGettersAskForAMissingMemberAndLookAgain) {
  TSample& record = Over("<t:S/>");
  Hook(record);
  FAnswer = true;
  EXPECT_EQ(record.GetIntValue(mNumber), 5);
  EXPECT_EQ(record.GetIntValue(mNumber), 5);
  EXPECT_EQ(record.GetStringValue(mText), "5");
  EXPECT_EQ(FAsked, (std::vector<std::string>{"t:Number", "t:Text"}));
}

TEST_F(XMLSchemaDemand, MemberThatTheHandlerDoesNotAddReadsEmptyAndIsAskedForAgain) {
  TSample& record = Over("<t:S/>");
  Hook(record);
  EXPECT_EQ(record.GetStringValue(mText), "");
  EXPECT_EQ(record.GetValue<TColour>(mColour), coRed);
  EXPECT_EQ(record.GetStringValue(mText), "");
  EXPECT_EQ(FAsked, (std::vector<std::string>{"t:Text", "t:Colour", "t:Text"}));
}

TEST_F(XMLSchemaDemand, ClassGetterAsksBeforeItMakesTheElement) {
  TSample& record = Over("<t:S/>");
  Hook(record);
  record.GetValue<TSample>(mInner);
  record.GetValue<TSample>(mInner);
  EXPECT_EQ(FAsked, std::vector<std::string>{"t:Inner"});
}

TEST_F(XMLSchemaDemand, AttributesAreAskedForWithTheirKind) {
  TSample& record = Over("<t:S/>");
  TVqDOMNodeType kind{};
  record.SetOnGetSOAPElement([&](TVqXMLSchemaElement*, const TVqXMLSchemaInfo& AInfo) { kind = AInfo.GetNodeType(); });
  record.GetStringValue(mAttribute);
  EXPECT_EQ(kind, TVqDOMNodeType::ntAttribute);
}

TEST_F(XMLSchemaDemand, SettersAndQuietLookUpsNeverAsk) {
  TSample& record = Over("<t:S/>");
  Hook(record);
  record.SetIntValue(mNumber, 1);
  record.SetValue(mColour, coBlue);
  record.SetValue(mInner, TSample(Parse("<t:X/>")));
  record.FindNode("t:Text");
  record.GetNode("t:Uri");
  record.RemoveNode("t:Uri");
  record.GetNodeByIndex(mLong, false);
  record.AsElement().HasChildElement("t:Text");
  record.FindSchemaInfo("t:Text");
  record.GetArray<TSample>(mItems).Count();
  record.GetChoice<TShape>(0);
  EXPECT_TRUE(FAsked.empty());
}

TEST_F(XMLSchemaDemand, ChildRecordsStaySilent) {
  TSample& record = Over("<t:S><t:Inner/><t:Item/></t:S>");
  Hook(record);
  record.GetValue<TSample>(mInner).GetStringValue(mText);
  record.GetArray<TSample>(mItems).GetItem(0).GetStringValue(mText);
  EXPECT_TRUE(FAsked.empty());
}

TEST_F(XMLSchemaDemand, HandlerMayTakeItselfOffAndMayRaise) {
  TSample& record = Over("<t:S/>");
  record.SetOnGetSOAPElement([&](TVqXMLSchemaElement*, const TVqXMLSchemaInfo&) { record.SetOnGetSOAPElement({}); });
  record.GetStringValue(mText);
  EXPECT_FALSE(record.GetOnGetSOAPElement());
  record.SetOnGetSOAPElement([](TVqXMLSchemaElement*, const TVqXMLSchemaInfo&) { throw EVqException("no answer"); });
  EXPECT_EQ(TextOfFailure([&] { record.GetStringValue(mText); }), "no answer");
}

// ---- Serialisation

TEST_F(XMLSchema, RecordSurvivesXMLAndJSON) {
  const char* kMarkup =
      "<t:S Name=\"n\"><t:Text>a &amp; b</t:Text><t:Number>1</t:Number><t:Inner><t:Flag>true</t:Flag></t:Inner>"
      "<t:Item>1</t:Item><t:Item>2</t:Item></t:S>";
  TSample source(Parse(kMarkup));
  for (const auto format : {dsfXML, dsfJSON}) {
    TSample& target = Over("<t:S><t:Uri>old</t:Uri></t:S>");
    TSample& inner = target.GetValue<TSample>(mInner);
    target.Deserialize(format, source.Serialize(format));
    EXPECT_EQ(target.GetXML(), kMarkup) << format;
    EXPECT_THROW(inner.GetXML(), EVqException);
  }
  EXPECT_EQ(source.AsXML(), kMarkup);
  EXPECT_EQ(source.AsJSON(), source.Serialize(dsfJSON));
}

TEST_F(XMLSchema, XMLWithoutNamespacesIsReadBackIntoMembers) {
  TSample source(Parse("<t:S xmlns:t=\"urn:t\" Name=\"n\"><t:Text>x</t:Text></t:S>"));
  const string bare = source.AsXML({}, true);
  EXPECT_EQ(bare, "<S Name=\"n\"><Text>x</Text></S>");
  TSample& target = Over("<t:S/>");
  target.Deserialize(dsfXML, bare);
  EXPECT_EQ(target.GetStringValue(mText), "x");
  EXPECT_EQ(TSample(Parse("<t:S/>")).AsXML("urn:t"), "<t:S xmlns:t=\"urn:t\"/>");
  EXPECT_EQ(TSample(Parse("<t:S/>")).AsXML("urn:t", true), "<S xmlns=\"urn:t\"/>");
}

TEST_F(XMLSchema, BadTextIsRefusedAndChangesNothing) {
  TSample& record = Over("<t:S><t:Text>x</t:Text></t:S>");
  EXPECT_THROW(record.Deserialize(dsfXML, "<t:S>"), EVqXMLError);
  EXPECT_THROW(record.Deserialize(dsfJSON, "{"), EVqException);
  EXPECT_THROW(record.Deserialize(dsfNone, "<t:S/>"), EVqException);
  EXPECT_THROW(record.Serialize(static_cast<TVqDataSerializationFormatType>(9)), EVqException);
  EXPECT_EQ(record.GetXML(), "<t:S><t:Text>x</t:Text></t:S>");
}

}  // namespace
