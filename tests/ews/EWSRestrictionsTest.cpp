// The texts of restrictions, to the letter.

#include "ews/stores/uVqEWSRestrictions.h"

#include <gtest/gtest.h>

#include "ews/schema/uVqEWSPropsEFLD.h"
#include "ews/schema/uVqEWSPropsFLD.h"
#include "ews/schema/uVqEWSPropsMFLD.h"
#include "ews/session/uVqEWS.h"
#include "ews/stores/uVqEWSMsgStore.h"
#include "platform/xml/uVqStringStream.h"
#include "platform/xml/uVqXMLUtils.h"

namespace velmore {
namespace {

class Restrictions : public ::testing::Test {
 protected:
  template <typename T>
  TVqRef<T> Make(TVqEWSRestrictionType type) {
    const TVqRef<IVqEWSRestriction> made = EwsCreateRestriction(FStore.get(), type);
    EXPECT_EQ(made->GetRestrictionType(), type);
    return Supports<T>(made);
  }
  static std::string TextOf(IVqEWSRestriction& restriction) {
    TVqStringStream stream(kVqCodePageUtf16LE, 16);
    restriction.SaveToStream(stream);
    return stream.GetAsString().utf8();
  }
  TVqRef<IVqEWSRestrictionExists> Exists(const TVqEWSFieldDef& field) {
    auto exists = Make<IVqEWSRestrictionExists>(rtExists);
    exists->SetFieldDef(field);
    return exists;
  }
  std::string Compared(const TVqVariant& value) {
    auto compare = Make<IVqEWSRestrictionCompare>(rtCompare);
    compare->SetFieldDef(FLD_ITEM_SIZE);
    compare->SetValue(value);
    const std::string text = TextOf(*compare);
    const std::size_t from = text.find("Value=\"") + 7;
    return text.substr(from, text.find("\"/>", from) - from);
  }
  template <typename TAction>
  static std::string Failure(TAction action) {
    try {
      action();
    } catch (const EVqException& failure) {
      return failure.what();
    }
    return "none";
  }

 private:
  TVqEWSServiceSession FSession;
  TVqRef<TVqEWSMsgStore> FStore = MakeRef<TVqEWSMsgStore>(&FSession, "store");
};

constexpr const char* kSubject = "<t:FieldURI FieldURI=\"item:Subject\" />";

TEST_F(Restrictions, ExistsWritesTheField) {
  EXPECT_EQ(TextOf(*Exists(FLD_ITEM_SUBJECT)), std::string("<t:Exists>") + kSubject + "</t:Exists>");
  EXPECT_EQ(TextOf(*Exists(MFLD_SENSITIVITY)),
            "<t:Exists><t:ExtendedFieldURI PropertyTag=\"0x36\" PropertyType=\"Integer\" /></t:Exists>");
  EXPECT_EQ(TextOf(*Exists(FLD_CONTACTS_PHONENUMBER_HOMEPHONE)),
            "<t:Exists><t:FieldURI FieldURI=\"contacts:PhoneNumber\" FieldIndex=\"HomePhone\" /></t:Exists>");
}

TEST_F(Restrictions, AndOrNotWriteTheirChildrenInOrder) {
  auto all = Make<IVqEWSRestrictionAnd>(rtAnd);
  EXPECT_EQ(TextOf(*all), "<t:And></t:And>");
  auto any = Make<IVqEWSRestrictionOr>(rtOr);
  EXPECT_EQ(TextOf(*any), "<t:Or></t:Or>");
  auto no = Make<IVqEWSRestrictionNot>(rtNot);
  const auto subject = Exists(FLD_ITEM_SUBJECT), size = Exists(FLD_ITEM_SIZE);
  no->SetRestriction(subject);
  any->AddRestriction(no);
  any->AddRestriction(size);
  all->AddRestriction(size);
  all->AddRestriction(any);
  EXPECT_EQ(TextOf(*all),
            "<t:And><t:Exists><t:FieldURI FieldURI=\"item:Size\" /></t:Exists><t:Or><t:Not><t:Exists><t:FieldURI "
            "FieldURI=\"item:Subject\" /></t:Exists></t:Not><t:Exists><t:FieldURI FieldURI=\"item:Size\" /></t:Exists>"
            "</t:Or></t:And>");
  all->RemoveRestriction(any);
  all->RemoveRestriction(any);  // is none any more
  EXPECT_EQ(TextOf(*all), "<t:And><t:Exists><t:FieldURI FieldURI=\"item:Size\" /></t:Exists></t:And>");
}

TEST_F(Restrictions, ComparisonsHaveNoBlankBeforeTheEndOfTheirConstant) {
  const std::pair<TVqEWSRestrictionOperator, const char*> operators[] = {
      {opIsEqualTo, "IsEqualTo"},         {opIsNotEqualTo, "IsNotEqualTo"},
      {opIsGreaterThan, "IsGreaterThan"}, {opIsGreaterThanOrEqualTo, "IsGreaterThanOrEqualTo"},
      {opIsLessThan, "IsLessThan"},       {opIsLessThanOrEqualTo, "IsLessThanOrEqualTo"}};
  for (const auto& [op, name] : operators) {
    auto compare = Make<IVqEWSRestrictionCompare>(rtCompare);
    compare->SetCompareOperator(op);
    compare->SetFieldDef(FLD_ITEM_SUBJECT);
    compare->SetValue(string("Hello"));
    EXPECT_EQ(TextOf(*compare),
              std::string("<t:") + name + ">" + kSubject +
                  "<t:FieldURIOrConstant><t:Constant Value=\"Hello\"/></t:FieldURIOrConstant></t:" + name + ">");
    auto fields = Make<IVqEWSRestrictionCompareFields>(rtCompareFields);
    fields->SetCompareOperator(op);
    fields->SetFieldDef1(FLD_ITEM_SUBJECT);
    fields->SetFieldDef2(FLD_ITEM_DISPLAYTO);
    EXPECT_EQ(TextOf(*fields), std::string("<t:") + name + ">" + kSubject +
                                   "<t:FieldURIOrConstant><t:FieldURI FieldURI=\"item:DisplayTo\" />"
                                   "</t:FieldURIOrConstant></t:" +
                                   name + ">");
    EXPECT_EQ(compare->GetCompareOperator(), op);
    EXPECT_EQ(fields->GetFieldDef2(), &FLD_ITEM_DISPLAYTO);
  }
}

TEST_F(Restrictions, ValuesOfComparisonsHaveTheirXmlForm) {
  EXPECT_EQ(Compared(true), "true");
  EXPECT_EQ(Compared(false), "false");
  EXPECT_EQ(Compared(std::int32_t{-5}), "-5");
  EXPECT_EQ(Compared(std::int64_t{9'000'000'000}), "9000000000");
  EXPECT_EQ(Compared(0.1), "0.1");
  EXPECT_EQ(Compared(VqXMLToDateTime("2026-03-02T09:00:00Z")), "2026-03-02T09:00:00Z");
  EXPECT_EQ(Compared(string("Grüße")), "Grüße");
}

TEST_F(Restrictions, NothingIsEscaped) {
  EXPECT_EQ(Compared(string("a<b&c")), "a<b&c");
  auto content = Make<IVqEWSRestrictionContent>(rtContent);
  content->SetFieldDef(FLD_ITEM_SUBJECT);
  content->SetValue("\"<&");
  EXPECT_NE(TextOf(*content).find("<t:Constant Value=\"\"<&\" />"), std::string::npos);
}

TEST_F(Restrictions, BitMaskWritesItsLow32BitsInDecimal) {
  auto mask = Make<IVqEWSRestrictionBitMask>(rtBitmask);
  mask->SetFieldDef(MFLD_SENSITIVITY);
  const auto text = [&](std::uintptr_t value) {
    mask->SetBitMask(value);
    return TextOf(*mask);
  };
  const auto expected = [](const std::string& value) {
    return "<t:Excludes><t:ExtendedFieldURI PropertyTag=\"0x36\" PropertyType=\"Integer\" /><t:Bitmask Value=\"" +
           value + "\" /></t:Excludes>";
  };
  EXPECT_EQ(text(0), expected("0"));
  EXPECT_EQ(text(0x11), expected("17"));
  EXPECT_EQ(text(0x80000000u), expected("2147483648"));  // servers take no sign
  if constexpr (sizeof(std::uintptr_t) > 4) {
    EXPECT_EQ(text(static_cast<std::uintptr_t>(0x1'0000'0003ull)), expected("3"));
  }
}

TEST_F(Restrictions, ContentWritesModeAndComparison) {
  const std::pair<TVqEWSContainmentMode, const char*> modes[] = {{cmFullString, "FullString"},
                                                                 {cmPrefixed, "Prefixed"},
                                                                 {cmSubstring, "Substring"},
                                                                 {cmPrefixOnWords, "PrefixOnWords"},
                                                                 {cmExactPhrase, "ExactPhrase"}};
  const std::pair<TVqEWSContainmentComparison, const char*> comparisons[] = {
      {ccExact, "Exact"},
      {ccIgnoreCase, "IgnoreCase"},
      {ccIgnoreNonSpacingCharacters, "IgnoreNonSpacingCharacters"},
      {ccIgnoreCaseAndNonSpacingCharacters, "IgnoreCaseAndNonSpacingCharacters"}};
  for (const auto& [mode, modeText] : modes) {
    for (const auto& [comparison, comparisonText] : comparisons) {
      auto content = Make<IVqEWSRestrictionContent>(rtContent);
      content->SetFieldDef(FLD_ITEM_SUBJECT);
      content->SetContainmentMode(mode);
      content->SetContainmentComparison(comparison);
      content->SetValue("invoice");
      EXPECT_EQ(TextOf(*content), std::string("<t:Contains ContainmentMode=\"") + modeText +
                                      "\" ContainmentComparison=\"" + comparisonText + "\">" + kSubject +
                                      "<t:Constant Value=\"invoice\" /></t:Contains>");
    }
  }
}

TEST_F(Restrictions, UnknownTypeIsRefused) {
  int beyond = rtContent + 1;
  EXPECT_EQ(Failure([&] { Make<IVqEWSRestriction>(static_cast<TVqEWSRestrictionType>(beyond)); }),
            "Unsupported RestrictionType!");
}

TEST_F(Restrictions, UnsetChildOrFieldRaisesWhenItIsWritten) {
  EXPECT_EQ(Failure([&] { TextOf(*Make<IVqEWSRestrictionNot>(rtNot)); }), "A restriction has no child.");
  for (const auto type : {rtExists, rtCompare, rtCompareFields, rtBitmask, rtContent}) {
    EXPECT_EQ(Failure([&] { TextOf(*Make<IVqEWSRestriction>(type)); }), "A restriction has no field.") << type;
  }
  auto fields = Make<IVqEWSRestrictionCompareFields>(rtCompareFields);
  fields->SetFieldDef1(FLD_ITEM_SUBJECT);
  EXPECT_EQ(Failure([&] { TextOf(*fields); }), "A restriction has no field.");
  EXPECT_EQ(Failure([&] { Make<IVqEWSRestrictionAnd>(rtAnd)->AddRestriction({}); }),
            "An empty reference is no restriction.");
}

}  // namespace
}  // namespace velmore
