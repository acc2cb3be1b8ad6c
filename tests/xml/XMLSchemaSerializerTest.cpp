#include <gtest/gtest.h>

#include "platform/xml/uVqXMLSerializer.h"

using namespace velmore;

namespace {

enum TLevel : std::int32_t { leLow, leHigh };
const TVqEnumInfo& VqEnumInfoOf(TLevel) noexcept {
  static constexpr std::string_view kTexts[] = {"Low", "High"};
  static constexpr TVqEnumInfo kInfo{"TLevel", kTexts, 2};
  return kInfo;
}

struct TPart {
  string Name;
  friend bool operator==(const TPart&, const TPart&) = default;
};
void VqDescribeRecord(TVqRecordVisitor& visitor, TPart& value) {
  visitor.Member("Name", value.Name);
}

struct TWhole {
  string Text;
  std::int32_t Number = 0;
  double Ratio = 0;
  bool Flag = false;
  TDateTime When;
  TGUID Id;
  TBytes Bytes;
  TLevel Level = leLow;
  TVqSet<TLevel> Levels;
  TPart Part;
  std::vector<TPart> Parts;
  std::vector<std::int32_t> Numbers;
  friend bool operator==(const TWhole&, const TWhole&) = default;
};
void VqDescribeRecord(TVqRecordVisitor& visitor, TWhole& value) {
  visitor.Attribute("Number", value.Number);
  visitor.Member("Text", value.Text);
  visitor.Member("Ratio", value.Ratio);
  visitor.Member("Flag", value.Flag);
  visitor.Member("When", value.When);
  visitor.Member("Id", value.Id);
  visitor.Member("Bytes", value.Bytes);
  visitor.Member("Level", value.Level);
  visitor.Member("Levels", value.Levels);
  visitor.Member("Part", value.Part);
  visitor.List("OnePart", value.Parts);
  visitor.List("One", value.Numbers);
}

TWhole Sample() {
  TWhole value;
  value.Text = "a <b> & \"c\" ü";
  value.Number = -3;
  value.Ratio = 0.1;
  value.Flag = true;
  value.When = 45351.5;
  value.Id = TGUID("00020328-0000-0000-c000-000000000046");
  value.Bytes = {1, 2, 255};
  value.Level = leHigh;
  value.Levels = {leLow, leHigh};
  value.Part.Name = "part";
  value.Parts = {{"one"}, {"two"}};
  value.Numbers = {7, 8, 9};
  return value;
}

TEST(XMLSchemaSerializer, RecordsSurviveXMLAndJSON) {
  for (const auto format : {dsfXML, dsfJSON}) {
    EXPECT_EQ(VqDeserialize<TWhole>(format, VqSerialize(Sample(), format)), Sample()) << format;
    EXPECT_EQ(VqCreateFrom<TWhole>(format, VqSerialize(TWhole(), format)), TWhole()) << format;
    EXPECT_EQ(VqCreateDeserializerEx(format).Deserialize<TWhole>(VqCreateSerializerEx(format).Serialize(Sample())),
              Sample());
  }
  EXPECT_EQ(VqSerialize(TPart{"x"}, dsfXML, "Part"), "<Part><Name>x</Name></Part>");
}

TEST(XMLSchemaSerializer, AbsentMembersBecomeTheEmptyValue) {
  TWhole value = Sample();
  VqDeserialize(value, dsfXML, "<Any/>");
  EXPECT_EQ(value, TWhole());
}

TEST(XMLSchemaSerializer, BadTextRaises) {
  EXPECT_THROW(VqDeserialize<TPart>(dsfXML, "<a>"), EVqXMLError);
  EXPECT_THROW(VqDeserialize<TPart>(dsfJSON, "{\"a\":"), EVqException);
  EXPECT_THROW(VqDeserialize<TWhole>(dsfXML, "<a><Flag>maybe</Flag></a>"), EConvertError);
  EXPECT_THROW(VqSerialize(TPart(), dsfNone), EVqException);
}

TEST(XMLSchemaSerializer, SingleValuesBecomeTextAndBack) {
  EXPECT_EQ(static_cast<int>(dsfXML), 1);
  EXPECT_EQ(TVqXMLSerializer::ToText(leHigh), "High");
  EXPECT_EQ(TVqXMLDeserializer::FromText<TLevel>("High"), leHigh);
  EXPECT_EQ(TVqXMLDeserializer::FromText<TLevel>("no such"), leLow);
  EXPECT_EQ(TVqXMLSerializer::ToText(TVqSet<TLevel>{leLow, leHigh}), "[Low,High]");
  EXPECT_EQ(TVqXMLDeserializer::FromText<TVqSet<TLevel>>("[Low,High]"), (TVqSet<TLevel>{leLow, leHigh}));
  EXPECT_EQ(TVqXMLDeserializer::FromText<TVqSet<TLevel>>("High"), TVqSet<TLevel>{leHigh});
  EXPECT_EQ(TVqXMLSerializer::ToText(true), "true");
  EXPECT_EQ(TVqXMLSerializer::ToText(std::int32_t{5}), "5");
  EXPECT_EQ(TVqXMLDeserializer::FromText<std::int32_t>("0x10"), 16);
  EXPECT_EQ(TVqXMLDeserializer::FromText<std::int32_t>(""), 0);
}

TEST(XMLSchemaSerializer, SetsHaveBracketsAndSkipUnknownWords) {
  EXPECT_EQ(VqSetToText(TVqSet<TLevel>()), "[]");
  EXPECT_EQ(VqSetToText(TVqSet<TLevel>{leHigh}), "[High]");
  EXPECT_EQ(VqTextToSet<TLevel>("[Low, High]"), (TVqSet<TLevel>{leLow, leHigh}));
  EXPECT_EQ(VqTextToSet<TLevel>(" High  Medium "), TVqSet<TLevel>{leHigh});
  EXPECT_TRUE(VqTextToSet<TLevel>("").empty());
}

TEST(XMLSchemaSerializer, NumberThatIsNoEnumerationValueIsRefused) {
  EXPECT_THROW(VqEnumToText(static_cast<TLevel>(2)), EConvertError);
  EXPECT_THROW(VqEnumToText(static_cast<TLevel>(-1)), EConvertError);
}

TEST(XMLSchemaSerializer, KindsHaveTheNumbersThatAreReliedUpon) {
  EXPECT_EQ(static_cast<int>(tkInteger), 1);
  EXPECT_EQ(static_cast<int>(tkFloat), 2);
  EXPECT_EQ(static_cast<int>(tkString), 3);
  EXPECT_EQ(static_cast<int>(tkBoolean), 4);
  EXPECT_EQ(static_cast<int>(tkDateTime), 5);
  EXPECT_EQ(static_cast<int>(tkArray), 26);
  EXPECT_EQ(static_cast<int>(tkRecord), 27);
  EXPECT_EQ(static_cast<int>(tkClass), 28);
}

class TThing : public TVqSerializable {
 public:
  string GetName() const { return FName; }
  void SetName(const string& AValue) { FName = AValue; }
  std::vector<string> Tags;

 protected:
  void DescribeMembers(TVqRecordVisitor& AVisitor) override {
    AVisitor.Property(
        "Name", [this] { return GetName(); }, [this](const string& AValue) { SetName(AValue); });
    AVisitor.List("Tag", Tags);
  }
  string SerializedName() const override { return "Thing"; }

 private:
  string FName;
};

TEST(XMLSchemaSerializer, ObjectsOfferTheFourOperations) {
  TThing thing;
  thing.SetName("x");
  thing.Tags = {"a", "b"};
  EXPECT_EQ(thing.AsXML(), "<Thing><Name>x</Name><Tag>a</Tag><Tag>b</Tag></Thing>");
  EXPECT_EQ(thing.AsXML("urn:x"), "<Thing xmlns=\"urn:x\"><Name>x</Name><Tag>a</Tag><Tag>b</Tag></Thing>");
  EXPECT_EQ(thing.Serialize(dsfXML), thing.AsXML());
  EXPECT_EQ(thing.Serialize(dsfJSON), thing.AsJSON());
  for (const auto format : {dsfXML, dsfJSON}) {
    TThing other;
    other.Deserialize(format, thing.Serialize(format));
    EXPECT_EQ(other.GetName(), "x");
    EXPECT_EQ(other.Tags, thing.Tags);
  }
  EXPECT_THROW(thing.Serialize(dsfNone), EVqException);
}

}  // namespace
