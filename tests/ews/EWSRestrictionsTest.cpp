// The texts of restrictions, to the letter.

#include "ews/stores/uVqEWSRestrictions.h"

#include <gtest/gtest.h>

#include "ews/idioms/uVqEWSFilters.h"
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
  /// The value that a content restriction writes after this was done to it.
  template <typename TAction>
  std::string Contained(TAction action) {
    auto content = Make<IVqEWSRestrictionContent>(rtContent);
    content->SetFieldDef(FLD_ITEM_SUBJECT);
    action(*content);
    const std::string text = TextOf(*content);
    const std::size_t from = text.find("Value=\"") + 7;
    return text.substr(from, text.rfind("\" />") - from);
  }
  TVqEWSServiceSession& Session() { return FSession; }
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

// ---- Values: as markup, which is the default, and as text

TEST_F(Restrictions, ValuesStandAsTheyAre) {
  for (const char* value : {"a&amp;b", "&lt;&gt;&quot;&apos;", "&#65;&#x1F600;", "it's", "a>b", "]]>", "a\tb", ""}) {
    EXPECT_EQ(Compared(string(value)), value);
    EXPECT_EQ(Contained([&](auto& content) { content.SetValue(value); }), value);
  }
}

TEST_F(Restrictions, MarkupThatCannotStandBetweenQuotesIsRefusedWhenItIsSet) {
  const std::pair<string, const char*> wrong[] = {{"a\"b", "has a quote"},
                                                  {"\"", "has a quote"},
                                                  {"a<b", "has a \"<\""},
                                                  {"a\"<&", "has a quote"},
                                                  {"Birch & Sons", "has an \"&\" that begins no reference"},
                                                  {"&", "has an \"&\" that begins no reference"},
                                                  {"&nbsp;", "has an \"&\" that begins no reference"},
                                                  {"&amp", "has an \"&\" that begins no reference"},
                                                  {"&#0;", "has an \"&\" that begins no reference"},
                                                  {"&#x;", "has an \"&\" that begins no reference"},
                                                  {u"a\u0001", "has a character that XML cannot carry"},
                                                  {string(u"\xD800"), "has a character that XML cannot carry"}};
  for (const auto& [value, what] : wrong) {
    const auto expected = [&, what = what](const std::string& filter) {
      return "The value of " + filter + " " + what +
             ": set it as text with SetTextValue, or escape it with VqEscapeXML.";
    };
    auto compare = Make<IVqEWSRestrictionCompare>(rtCompare);
    compare->SetFieldDef(FLD_MESSAGE_INTERNETMESSAGEID);
    compare->SetValue(string("kept"));
    EXPECT_EQ(Failure([&, &value = value] { compare->SetValue(value); }),
              expected("the filter on FLD_MESSAGE_INTERNETMESSAGEID"));
    EXPECT_EQ(std::get<string>(compare->GetValue()), "kept");
    auto content = Make<IVqEWSRestrictionContent>(rtContent);
    EXPECT_EQ(Failure([&, &value = value] { content->SetValue(value); }), expected("a filter without a field"));
    static constexpr TVqEWSFieldDef unnamed{.UnindexedFieldURI = "item:Subject"};
    content->SetFieldDef(unnamed);
    EXPECT_EQ(Failure([&, &value = value] { content->SetValue(value); }), expected("the filter on item:Subject"));
    EXPECT_EQ(content->GetValue(), "");
  }
}

TEST_F(Restrictions, TextIsEscapedInBothForms) {
  const std::pair<const char*, const char*> texts[] = {{"Birch & Sons", "Birch &amp; Sons"},
                                                       {"<a@b>", "&lt;a@b&gt;"},
                                                       {"\"x\" 'y'", "&quot;x&quot; &apos;y&apos;"},
                                                       {"&amp;", "&amp;amp;"},
                                                       {"a\tb\nc\rd", "a&#9;b&#10;c&#13;d"},
                                                       {"Grüße", "Grüße"},
                                                       {"", ""}};
  for (const bool strict : {false, true}) {
    Session().SetStrictSchema(strict);
    for (const auto& [text, escaped] : texts) {
      EXPECT_EQ(Contained([&, text = text](auto& content) { content.SetTextValue(text); }), escaped);
      auto compare = Make<IVqEWSRestrictionCompare>(rtCompare);
      compare->SetFieldDef(FLD_ITEM_SUBJECT);
      compare->SetTextValue(text);
      EXPECT_NE(TextOf(*compare).find("Value=\"" + std::string(escaped) + "\"/>"), std::string::npos) << text;
      EXPECT_EQ(std::get<string>(compare->GetValue()), text);
    }
    auto content = Make<IVqEWSRestrictionContent>(rtContent);
    EXPECT_THROW(content->SetTextValue(u"a\u0001"), EVqXMLError);
    EXPECT_THROW(Make<IVqEWSRestrictionCompare>(rtCompare)->SetTextValue(u"a\u0001"), EVqXMLError);
    EXPECT_EQ(content->GetValue(), "");
  }
}

TEST_F(Restrictions, ValueSetAfterATextIsMarkupAgain) {
  EXPECT_EQ(Contained([](auto& content) {
              content.SetTextValue("&");
              content.SetValue("&amp;");
            }),
            "&amp;");
  auto compare = Make<IVqEWSRestrictionCompare>(rtCompare);
  compare->SetFieldDef(FLD_ITEM_SIZE);
  compare->SetTextValue("&");
  compare->SetValue(string("&amp;"));
  EXPECT_NE(TextOf(*compare).find("Value=\"&amp;\""), std::string::npos);
}

TEST_F(Restrictions, WithStrictSchemaValuesAreText) {
  Session().SetStrictSchema(true);
  const auto raw = [](auto& content) { content.SetValue("a\"<&amp;"); };
  EXPECT_EQ(Contained(raw), "a&quot;&lt;&amp;amp;");
  auto content = Make<IVqEWSRestrictionContent>(rtContent);
  content->SetFieldDef(FLD_ITEM_SUBJECT);
  EXPECT_THROW(content->SetValue(u"a\u0001"), EVqXMLError);
  raw(*content);
  // What was let pass is looked at again when it is no longer text.
  Session().SetStrictSchema(false);
  EXPECT_EQ(Failure([&] { TextOf(*content); }),
            "The value of the filter on FLD_ITEM_SUBJECT has a quote: set it as text with SetTextValue, or escape it "
            "with VqEscapeXML.");
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

// ---- Trees

TEST_F(Restrictions, HoldNeitherThemselvesNorWhatHoldsThem) {
  const char* const itself = "A restriction cannot hold itself.";
  auto all = Make<IVqEWSRestrictionAnd>(rtAnd);
  EXPECT_EQ(Failure([&] { all->AddRestriction(all); }), itself);
  auto no = Make<IVqEWSRestrictionNot>(rtNot);
  EXPECT_EQ(Failure([&] { no->SetRestriction(no); }), itself);
  auto any = Make<IVqEWSRestrictionOr>(rtOr);
  any->AddRestriction(Exists(FLD_ITEM_SIZE));
  any->AddRestriction(no);
  all->AddRestriction(any);
  EXPECT_EQ(Failure([&] { no->SetRestriction(all); }), itself);
  EXPECT_EQ(Failure([&] { TextOf(*all); }), "A restriction has no child.");
  // The same child in several places is no circle, however many ways lead to it.
  TVqRef<IVqEWSRestriction> twice = Exists(FLD_ITEM_SIZE);
  for (int i = 0; i < 200; ++i) {
    auto both = Make<IVqEWSRestrictionAnd>(rtAnd);
    both->AddRestriction(twice);
    both->AddRestriction(twice);
    twice = both;
  }
  no->SetRestriction(twice);
  no->SetRestriction({});  // taken back
  EXPECT_EQ(Failure([&] { TextOf(*no); }), "A restriction has no child.");
}

TEST_F(Restrictions, AreWrittenAsDeepAsARequestCanCarry) {
  const auto chain = [&](int depth, TVqRef<IVqEWSRestriction> leaf) {
    for (int i = 1; i < depth; ++i) {
      if (i % 2) {
        auto no = Make<IVqEWSRestrictionNot>(rtNot);
        no->SetRestriction(leaf);
        leaf = no;
      } else {
        auto all = Make<IVqEWSRestrictionAnd>(rtAnd);
        all->AddRestriction(leaf);
        leaf = all;
      }
    }
    return leaf;
  };
  auto compare = Make<IVqEWSRestrictionCompare>(rtCompare);
  compare->SetFieldDef(FLD_ITEM_SIZE);
  const auto deepest = chain(254, compare);
  const TVqDOMDocument request("<m:Restriction/>");
  for (int i = 0; i < 3; ++i) request.GetDocumentElement().SetInnerXML(TextOf(*deepest));  // and is read back
  const char* const refused = "Restrictions are nested more than 254 deep.";
  EXPECT_EQ(Failure([&] { TextOf(*chain(255, compare)); }), refused);
  EXPECT_EQ(Failure([&] { TextOf(*chain(100'000, compare)); }), refused);  // and 100,000 nodes go without a stack
  EXPECT_NE(TextOf(*deepest), "");                                         // a failure leaves no depth behind
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

// A variant keeps a value what it is, whichever type it came in.

TEST(Variant, EveryWholeNumberIsANumber) {
  EXPECT_EQ(std::get<std::int32_t>(TVqVariant(5)), 5);
  EXPECT_EQ(std::get<std::int32_t>(TVqVariant(std::int8_t{-5})), -5);
  EXPECT_EQ(std::get<std::int32_t>(TVqVariant(std::uint16_t{65535})), 65535);
  EXPECT_EQ(std::get<std::int64_t>(TVqVariant(std::uint32_t{4'000'000'000})), 4'000'000'000);
  EXPECT_EQ(std::get<std::int64_t>(TVqVariant(std::size_t{5'000'000'000})), 5'000'000'000);
  EXPECT_EQ(std::get<std::int64_t>(TVqVariant(5LL)), 5);
  EXPECT_EQ(VqVariantToXML(std::size_t{46000}), "46000") << "no date";
  EXPECT_THROW(TVqVariant(~std::uint64_t{0}), EConvertError);
}

TEST(Variant, EnumeratorsAreTheirWireText) {
  EXPECT_EQ(VqVariantToXML(icHigh), "High");
  EXPECT_EQ(VqVariantToXML(dtHardDelete), "HardDelete");
  EXPECT_FALSE((std::is_constructible_v<TVqVariant, TVqTypeKind>)) << "without texts";
}

TEST(Variant, EverythingElseIsWhatItWas) {
  EXPECT_EQ(std::get<bool>(TVqVariant(true)), true);
  EXPECT_EQ(std::get<double>(TVqVariant(1.5f)), 1.5);
  EXPECT_EQ(std::get<TDateTime>(TVqVariant(TDateTime(2.5))), TDateTime(2.5));
  for (const TVqVariant& text : {TVqVariant("a"), TVqVariant(u"a"), TVqVariant(std::string("a")),
                                 TVqVariant(std::string_view("a")), TVqVariant(string("a"))})
    EXPECT_EQ(std::get<string>(text), "a");
  EXPECT_TRUE(std::holds_alternative<std::monostate>(TVqVariant()));
  TVqVariant changing = 5;
  changing = "text";
  EXPECT_EQ(changing, TVqVariant("text"));
  EXPECT_FALSE((std::is_constructible_v<TVqVariant, char>));
  EXPECT_FALSE((std::is_constructible_v<TVqVariant, char16_t>));
  EXPECT_FALSE((std::is_constructible_v<TVqVariant, void*>));
  EXPECT_FALSE((std::is_constructible_v<TVqEWSFilterValue, char>));
  EXPECT_FALSE((std::is_constructible_v<TVqEWSFilterValue, TVqTypeKind>));
  EXPECT_FALSE((std::is_constructible_v<TVqEWSFilterValue, std::chrono::hours>));
}

}  // namespace
}  // namespace velmore
