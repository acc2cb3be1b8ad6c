// What the objects write as XML and JSON they read back as it was, in either format.

#include "EWSPropertyTestSupport.h"
#include "ews/items/uVqEWSAttachments.h"
#include "ews/model/uVqEWSCategory.h"
#include "ews/schema/uVqEWSPropsPR.h"
#include "ews/values/uVqEWSFields.h"
#include "ews/values/uVqEWSStrings.h"

namespace velmore {
namespace {

constexpr std::string_view kItem =
    "<t:Message><t:Subject>Gr\xC3\xBC\xC3\x9F"
    "e &amp; \"mehr\"</t:Subject><t:Body BodyType=\"HTML\">&lt;p&gt;</t:Body><t:Categories><t:String>a</t:String>"
    "<t:String>b</t:String></t:Categories><t:IsRead>true</t:IsRead></t:Message>";

class Serialisation : public testing::TestWithParam<TVqDataSerializationFormatType> {
 protected:
  // Writes one object and reads the text into another; gives what that one writes as XML then.
  template <typename T>
  static string Carried(T& source, T& target) {
    const string text = source.Serialize(GetParam());
    EXPECT_EQ(text, GetParam() == dsfXML ? source.AsXML() : source.AsJSON());
    target.Deserialize(GetParam(), text);
    EXPECT_EQ(target.Serialize(GetParam()), text);
    EXPECT_THROW(target.Deserialize(GetParam(), text.Copy(0, text.Length() - 1)), EVqException) << "a text cut short";
    EXPECT_THROW(target.Deserialize(dsfNone, text), EVqException);
    EXPECT_THROW(target.Serialize(dsfNone), EVqException);
    return target.AsXML();
  }
  static IVqDOMElement Parse(std::string_view markup) { return VqCreateDOM(markup).GetDocumentElement(); }
};

TEST_P(Serialisation, OfAProperty) {
  test::TPropertyObject<TEwsMessage> source{std::string(kItem)}, target("<t:Message/>");
  EXPECT_EQ(Carried(source.Properties.Add(PR_SUBJECT), target.Properties.Add(PR_SUBJECT)),
            string("<t:Subject>Gr\xC3\xBC\xC3\x9F"
                   "e &amp; \"mehr\"</t:Subject>"));
  EXPECT_EQ(target.New->GetSubject(), source.New->GetSubject());
}

TEST_P(Serialisation, OfAListOfProperties) {
  test::TPropertyObject<TEwsMessage> source{std::string(kItem)}, target("<t:Message><t:Size>1</t:Size></t:Message>");
  EXPECT_EQ(Carried(source.Properties, target.Properties), string(kItem));
  EXPECT_EQ(target.New->GetCategories().GetString_().Count(), 2);
  EXPECT_EQ(target.Properties.Add(PR_SUBJECT).GetAsString(), source.New->GetSubject());
}

TEST_P(Serialisation, OfARowsFields) {
  TEwsMessage from(Parse(kItem)), to(Parse("<t:Message/>"));
  TVqEWSFields source(nullptr, [&](TVqEWSGetDataElmSource, bool) { return &from; });
  TVqEWSFields target(nullptr, [&](TVqEWSGetDataElmSource, bool) { return &to; });
  EXPECT_EQ(Carried(source, target), string(kItem));
}

TEST_P(Serialisation, OfAListOfTexts) {
  TEwsArrayOfStrings from(Parse("<t:Categories><t:String>a</t:String><t:String>b &lt;c&gt;</t:String></t:Categories>"));
  TEwsArrayOfStrings to(Parse("<t:Categories><t:String>old</t:String></t:Categories>"));
  TVqEWSStrings source(from), target(to);
  EXPECT_EQ(Carried(source, target),
            "<t:Categories><t:String>a</t:String><t:String>b &lt;c&gt;</t:String></t:Categories>");
  EXPECT_EQ(target.AsString("|"), "a|b <c>");
  EXPECT_EQ(target.Add("more"), 2);
}

TEST_P(Serialisation, OfAttachments) {
  const char* markup =
      "<t:Attachments><t:FileAttachment><t:AttachmentId Id=\"1\"/><t:Name>a.txt</t:Name><t:Content>QQ==</t:Content>"
      "</t:FileAttachment><t:ItemAttachment><t:Name>b</t:Name></t:ItemAttachment></t:Attachments>";
  TEwsNonEmptyArrayOfAttachments from(Parse(markup)), to(Parse("<t:Attachments/>"));
  TVqEWSAttachments source({}, from), target({}, to);
  EXPECT_EQ(Carried(source, target), markup);
  ASSERT_EQ(target.Count(), 2);
  EXPECT_EQ(target.GetAttachment(0)->GetName(), "a.txt");
  EXPECT_EQ(target.GetAttachment(1)->GetAttachmentType(), attItem);
}

TEST_P(Serialisation, OfACategory) {
  TVqEWSCategory source(Parse("<category name=\"Travel\" color=\"0\" keyboardShortcut=\"2\"/>"));
  TVqEWSCategory target(Parse("<category name=\"Work\"/>"));
  EXPECT_EQ(Carried(source, target), "<category name=\"Travel\" color=\"0\" keyboardShortcut=\"2\"/>");
  EXPECT_EQ(target.GetName(), "Travel");
  EXPECT_EQ(target.GetColor(), source.GetColor());
  EXPECT_EQ(target.GetShortCut(), 0x4072);
}

INSTANTIATE_TEST_SUITE_P(Formats, Serialisation, testing::Values(dsfXML, dsfJSON),
                         [](const auto& info) { return info.param == dsfXML ? "XML" : "JSON"; });

TEST(SerialisationOfNamespaces, AreDeclaredOrLeftOutAsTold) {
  TEwsArrayOfStrings record(VqCreateDOM("<t:Categories><t:String>a</t:String></t:Categories>").GetDocumentElement());
  const TVqEWSStrings list(record);
  EXPECT_EQ(list.AsXML("urn:t"), "<t:Categories xmlns:t=\"urn:t\"><t:String>a</t:String></t:Categories>");
  EXPECT_EQ(list.AsXML({}, true), "<Categories><String>a</String></Categories>");
  EXPECT_EQ(list.AsXML("urn:t", true), "<Categories xmlns=\"urn:t\"><String>a</String></Categories>");
  EXPECT_EQ(list.AsXML(), "<t:Categories><t:String>a</t:String></t:Categories>") << "the list itself is as it was";
}

}  // namespace
}  // namespace velmore
