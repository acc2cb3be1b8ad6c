// Every form of expression, under every set of options.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>

#include "platform/xml/uVqXMLDOM.h"

namespace velmore {
namespace {

const char kReply[] =
    R"(<soap:Envelope xmlns:soap="urn:s"><soap:Header/><soap:Body><m:GetItemResponse>)"
    R"(<m:ResponseMessages><m:GetItemResponseMessage ResponseClass="Success"><m:Items>)"
    R"(<t:Contact><t:ItemId Id="1"/><t:Subject>First</t:Subject>)"
    R"(<t:ExtendedProperty><t:ExtendedFieldURI PropertyTag="0x3a45" PropertyType="String"/>)"
    R"(<t:Value>Dr.</t:Value></t:ExtendedProperty>)"
    R"(<t:ExtendedProperty><t:ExtendedFieldURI PropertySetId="00062008-0000-0000-c000-000000000046")"
    R"( PropertyId="34050"/><t:Value>2024</t:Value></t:ExtendedProperty>)"
    R"(<t:PhoneNumbers><t:Entry Key="HomePhone">1</t:Entry><t:Entry Key="CarPhone">2</t:Entry>)"
    R"(</t:PhoneNumbers><t:Attachments><t:FileAttachment><t:Content>QQ==</t:Content></t:FileAttachment>)"
    R"(<t:ItemAttachment><t:AttachmentId Id="a1"/><t:Message><t:ItemId Id="2"/></t:Message>)"
    R"(</t:ItemAttachment></t:Attachments></t:Contact></m:Items></m:GetItemResponseMessage>)"
    R"(</m:ResponseMessages></m:GetItemResponse></soap:Body></soap:Envelope>)";

class Selection : public testing::Test {
 protected:
  string Text(const char* expression, TVqDOMSelectOptions options = kSelectQuiet) const {
    return Contact.SelectSingleElement(expression, options).GetText();
  }

  TVqDOMDocument Document{kReply};
  IVqDOMElement Contact = Document.SelectSingleElement("//Contact", kSelectRequired);
};

TEST_F(Selection, ChildPath) {
  EXPECT_EQ(Text("Subject"), "First");
  EXPECT_EQ(Text("Attachments/FileAttachment/Content"), "QQ==");
  EXPECT_EQ(Text("./Subject"), "First");
  EXPECT_FALSE(Contact.SelectSingleElement("Content", kSelectQuiet)) << "a child, not a descendant";
}

TEST_F(Selection, PathFromTheDocumentsRootWorksFromEveryNode) {
  const char* path = "/Envelope/Body/GetItemResponse/ResponseMessages/GetItemResponseMessage";
  EXPECT_EQ(Document.SelectSingleElement(path, kSelectQuiet).GetAttribute("ResponseClass"), "Success");
  EXPECT_EQ(Contact.SelectSingleElement(path, kSelectQuiet), Document.SelectSingleElement(path, kSelectQuiet));
  EXPECT_TRUE(Contact.SelectSingleElement("/Envelope/Body/m:GetItemResponse/ResponseMessages", kSelectQuiet));
  EXPECT_TRUE(Document.SelectSingleElement("Envelope/Body", kSelectQuiet)) << "relative to the document";
  EXPECT_FALSE(Document.SelectSingleElement("/Body", kSelectQuiet));
}

TEST_F(Selection, WildcardStep) {
  EXPECT_EQ(Text("Attachments/*/Content"), "QQ==");
  EXPECT_EQ(Contact.CreateElementList("*", kSelectQuiet).Count(), 6);
  EXPECT_EQ(Contact.CreateElementList("Attachments/*", kSelectQuiet).Count(), 2);
}

TEST_F(Selection, Descendants) {
  EXPECT_EQ(Contact.CreateElementList(".//ItemId", kSelectQuiet).Count(), 2);
  EXPECT_EQ(Contact.CreateElementList(".//t:ItemId").Count(), 2);
  EXPECT_EQ(Contact.SelectSingleElement("//ItemId", kSelectQuiet).GetAttribute("Id"), "1");
  EXPECT_EQ(Contact.SelectSingleElement("Attachments//ItemId", kSelectQuiet).GetAttribute("Id"), "2");
  EXPECT_EQ(Contact.SelectSingleElement("//AttachmentId", kSelectQuiet).GetAttribute("Id"), "a1");
  EXPECT_FALSE(
      Contact.SelectSingleElement("Attachments", kSelectQuiet).SelectSingleElement(".//Subject", kSelectQuiet));
  EXPECT_TRUE(Contact.SelectSingleElement("Attachments", kSelectQuiet).SelectSingleElement("//Subject", kSelectQuiet))
      << "from the document's root";
  EXPECT_EQ(Document.CreateElementList("//*", kSelectQuiet).Count(), 26);
}

TEST_F(Selection, DescendantsComeInDocumentOrderAndOnce) {
  TVqDOMDocument nested(R"(<r><a n="1"><a n="2"><b>x</b></a><b>y</b></a></r>)");
  const auto found = nested.CreateElementList("//a//b", kSelectQuiet);
  ASSERT_EQ(found.Count(), 2);
  EXPECT_EQ(found.GetItem(0).GetText(), "x");
  EXPECT_EQ(found.GetItem(1).GetText(), "y");
  EXPECT_EQ(nested.SelectSingleElement("//a/b", kSelectQuiet).GetText(), "x");
  EXPECT_EQ(nested.CreateElementList("//b/../../a", kSelectQuiet).Count(), 2);
}

TEST_F(Selection, AttributePredicate) {
  EXPECT_EQ(Text("PhoneNumbers/Entry[@Key=\"CarPhone\"]"), "2");
  EXPECT_EQ(Text("PhoneNumbers/Entry[@Key='CarPhone']"), "2");
  EXPECT_EQ(Text("PhoneNumbers/Entry[ @Key = \"CarPhone\" ]"), "2");
  EXPECT_EQ(Text("PhoneNumbers/Entry[(@Key=\"CarPhone\")]"), "2");
  EXPECT_EQ(Text("PhoneNumbers/Entry[@Key]"), "1");
  EXPECT_FALSE(Contact.SelectSingleElement("PhoneNumbers/Entry[@key2]", kSelectQuiet));
  EXPECT_FALSE(Contact.SelectSingleElement("PhoneNumbers/Entry[@Key=\"carphone\"]", kSelectQuiet))
      << "values are compared exactly";
  EXPECT_EQ(Text("PhoneNumbers/Entry[@key=\"CarPhone\"]"), "2") << "names are not";
  EXPECT_FALSE(Contact.SelectSingleElement("t:PhoneNumbers/t:Entry[@key=\"CarPhone\"]"));
}

TEST_F(Selection, ConditionsJoinedByAnd) {
  EXPECT_EQ(Text("ExtendedProperty/ExtendedFieldURI[(@PropertySetId=\"00062008-0000-0000-c000-000000000046\") and "
                 "(@PropertyId=\"34050\")]/../Value"),
            "2024");
  EXPECT_EQ(Text("ExtendedProperty/ExtendedFieldURI[(@PropertySetId=\"00062008-0000-0000-c000-000000000046\") and "
                 "(@PropertyId=\"1\")]/../Value"),
            "");
  EXPECT_EQ(Text("PhoneNumbers/Entry[@Key=\"CarPhone\" and .=\"2\"]"), "2");
  EXPECT_EQ(Text("PhoneNumbers/Entry[@Key=\"CarPhone\"][.=\"3\"]"), "");
}

TEST_F(Selection, PropertyTagsAreComparedAsNumbers) {
  EXPECT_TRUE(Contact.SelectSingleElement("ExtendedProperty/ExtendedFieldURI[@PropertyTag=\"0x3A45\"]", kSelectQuiet));
  EXPECT_EQ(Text("ExtendedProperty/ExtendedFieldURI[(@PropertyTag=\"14917\")]/../Value"), "Dr.");
  EXPECT_EQ(Text("ExtendedProperty/ExtendedFieldURI[(@PropertyTag=\"0x3A46\")]/../Value"), "");
  EXPECT_EQ(Text("ExtendedProperty/ExtendedFieldURI[(@PropertyTag=\"tag\")]/../Value"), "");
}

TEST_F(Selection, OneSurplusBracketIsIgnored) {
  EXPECT_EQ(Text("ExtendedProperty/ExtendedFieldURI[(@PropertyTag=\"0x3A45\")]]/../Value"), "Dr.");
  EXPECT_THROW(Text("ExtendedProperty/ExtendedFieldURI[(@PropertyTag=\"0x3A45\")]]]/../Value"), EVqXMLError);
}

TEST_F(Selection, ParentStepGivesTheSiblingOfTheMatch) {
  EXPECT_EQ(Text("Subject/../ItemId/../Subject"), "First");
  EXPECT_FALSE(Document.SelectSingleElement("/Envelope/..", kSelectQuiet));
}

TEST_F(Selection, ParentStepsFindEachElementOnce) {
  EXPECT_EQ(Contact.CreateElementList("ExtendedProperty/..", kSelectQuiet).Count(), 1);
  EXPECT_EQ(Contact.CreateElementList("ExtendedProperty/../PhoneNumbers/Entry", kSelectQuiet).Count(), 2);
}

TEST_F(Selection, PositionPredicateIsZeroBased) {
  TVqDOMDocument document(
      "<R><ResolutionSet><Resolution><Mailbox><A>1</A></Mailbox><Mailbox><A>2</A></Mailbox></Resolution>"
      "<Resolution><Mailbox><A>3</A></Mailbox></Resolution></ResolutionSet></R>");
  const IVqDOMElement root = document.GetDocumentElement();
  EXPECT_EQ(root.SelectSingleElement("ResolutionSet/Resolution/Mailbox[0]", kSelectQuiet).GetText(), "1");
  EXPECT_EQ(root.SelectSingleElement("ResolutionSet/Resolution/Mailbox[1]", kSelectQuiet).GetText(), "2");
  EXPECT_EQ(root.SelectSingleElement("ResolutionSet/Resolution[1]/Mailbox[0]", kSelectQuiet).GetText(), "3");
  EXPECT_FALSE(root.SelectSingleElement("ResolutionSet/Resolution/Mailbox[2]", kSelectQuiet));
  EXPECT_EQ(root.CreateElementList("ResolutionSet/Resolution/Mailbox[0]", kSelectQuiet).Count(), 2) << "of each parent";
  EXPECT_EQ(root.CreateElementList(".//Mailbox[0]", kSelectQuiet).Count(), 2);
  EXPECT_EQ(root.SelectSingleElement(".//Mailbox[1]", kSelectQuiet).GetText(), "2");
  EXPECT_EQ(root.SelectSingleElement("ResolutionSet/Resolution/Mailbox[A=\"2\"][0]", kSelectQuiet).GetText(), "2")
      << "counted among those that meet what stands before";
}

TEST_F(Selection, ChildPredicate) {
  TVqDOMDocument document(
      "<R><Mailbox><t:Name>a</t:Name><t:MailboxType>Mailbox</t:MailboxType></Mailbox>"
      "<Mailbox><t:Name>b</t:Name><t:MailboxType>Contact</t:MailboxType></Mailbox>"
      "<Protocol><Type>EXPR</Type><Server><Name>x</Name></Server></Protocol></R>");
  const IVqDOMElement root = document.GetDocumentElement();
  EXPECT_EQ(root.SelectSingleElement("Mailbox[./MailboxType=\"Contact\"]/Name", kSelectQuiet).GetText(), "b");
  EXPECT_FALSE(root.SelectSingleElement("Mailbox[./MailboxType=\"contact\"]", kSelectQuiet));
  EXPECT_TRUE(root.SelectSingleElement("Protocol[Type=\"EXPR\"]", kSelectQuiet));
  EXPECT_TRUE(root.SelectSingleElement("Protocol[Server/Name=\"x\"]", kSelectQuiet));
  EXPECT_TRUE(root.SelectSingleElement("Protocol[*=\"EXPR\"]", kSelectQuiet));
  EXPECT_TRUE(root.SelectSingleElement("Protocol[Type]", kSelectQuiet));
  EXPECT_FALSE(root.SelectSingleElement("Protocol[Kind]", kSelectQuiet));
  EXPECT_TRUE(root.SelectSingleElement("Protocol/Type[text()=\"EXPR\"]", kSelectQuiet));
}

TEST_F(Selection, ValuesMayContainQuotes) {
  TVqDOMDocument document("<Profiles/>");
  document.GetDocumentElement().AddElement("Profile").SetAttribute("name", "My \"own\" one");
  EXPECT_TRUE(document.SelectSingleElement("/Profiles/Profile[@name=\"My \"own\" one\"]", kSelectQuiet));
}

// ---- Sets of options

struct TOptionCase {
  unsigned Options;
  bool PrefixCounts, CaseCounts;
};
class SelectionOptions : public testing::TestWithParam<TOptionCase> {};

TEST_P(SelectionOptions, CompareNamesAsTheySay) {
  const auto [bits, prefixCounts, caseCounts] = GetParam();
  const TVqDOMSelectOptions options(bits & ~3u);
  TVqDOMDocument document("<t:Root><t:Subject a:Key=\"k\">x</t:Subject></t:Root>");
  const IVqDOMElement root = document.GetDocumentElement();
  const auto finds = [&](const char* expression) {
    const bool found = static_cast<bool>(root.SelectSingleElement(expression, options));
    EXPECT_EQ(root.CreateElementList(expression, options).Count(), found ? 1 : 0);
    EXPECT_EQ(root.HasChildElement(expression, options), found);
    return found;
  };
  EXPECT_TRUE(finds("t:Subject"));
  EXPECT_EQ(finds("Subject"), !prefixCounts);
  EXPECT_EQ(finds("m:Subject"), !prefixCounts) << "a written prefix is ignored";
  EXPECT_EQ(finds("t:subject"), !caseCounts);
  EXPECT_EQ(finds("T:Subject"), !prefixCounts || !caseCounts);
  EXPECT_EQ(finds("subject"), !prefixCounts && !caseCounts);
  EXPECT_FALSE(finds("Subjects"));
  EXPECT_FALSE(finds("Subjec"));
  EXPECT_FALSE(root.HasChildElement(std::string_view("t:Subject\0x", 11), options));
  const IVqDOMElement subject = root.GetFirstChildElement();
  EXPECT_TRUE(subject.HasAttribute("a:Key", options));
  EXPECT_EQ(subject.HasAttribute("Key", options), !prefixCounts);
  EXPECT_EQ(subject.HasAttribute("a:key", options), !caseCounts);
  EXPECT_EQ(subject.GetAttribute("key", options), !prefixCounts && !caseCounts ? "k" : "");
}

TEST_P(SelectionOptions, FindingNothingIsQuietRaisesOrCreates) {
  const unsigned bits = GetParam().Options;
  TVqDOMDocument document("<t:Root/>");
  const IVqDOMElement root = document.GetDocumentElement();
  EXPECT_EQ(root.SelectSingleElement("Absent", bits & ~3u), nullptr);
  EXPECT_EQ(root.CreateElementList("Absent", bits & ~3u).Count(), 0);
  EXPECT_THROW(root.SelectSingleElement("Absent", (bits & ~3u) | 1), EVqXMLError);
  EXPECT_THROW(root.CreateElementList("Absent", (bits & ~3u) | 1), EVqXMLError);
  EXPECT_FALSE(root.HasChildren()) << "nothing so far creates";
  const IVqDOMElement made = root.SelectSingleElement("Absent", (bits & ~3u) | 2);
  EXPECT_EQ(made.GetQualifiedName(), GetParam().PrefixCounts ? "Absent" : "t:Absent");
  EXPECT_EQ(root.SelectSingleElement("Absent", (bits & ~3u) | 2), made) << "and is found from then on";
}

INSTANTIATE_TEST_SUITE_P(Sets, SelectionOptions,
                         testing::Values(TOptionCase{0, true, true}, TOptionCase{2, true, true},
                                         TOptionCase{8, true, false}, TOptionCase{20, false, true},
                                         TOptionCase{21, false, true}, TOptionCase{22, false, true},
                                         TOptionCase{24, false, false}, TOptionCase{25, false, false},
                                         TOptionCase{26, false, false}, TOptionCase{28, false, true}),
                         [](const auto& info) { return "Set" + std::to_string(info.param.Options); });

TEST_F(Selection, RaisingSaysWhatIsAbsent) {
  try {
    Contact.SelectSingleElement("Items/NoSuch", kSelectRequired);
    FAIL();
  } catch (const EVqXMLError& error) {
    EXPECT_STREQ(error.what(), "There is no \"Items/NoSuch\" in \"t:Contact\".");
    EXPECT_EQ(error.GetLine(), 0);
  }
  EXPECT_THROW(Document.SelectSingleElement("/a", kSelectRequired), EVqXMLError);
  EXPECT_THROW(IVqDOMElement().SelectSingleElement("a", kSelectRequired), EVqXMLError);
  EXPECT_FALSE(IVqDOMElement().SelectSingleElement("a", kSelectQuiet));
  EXPECT_THROW(IVqDOMElement().SelectSingleElement("a", kSelectCreate), EVqException);
  EXPECT_EQ(IVqDOMElement().CreateElementList("a", kSelectQuiet).Count(), 0);
}

// ---- Creating

string Created(const char* start, const char* expression, TVqDOMSelectOptions options = kSelectCreate) {
  TVqDOMDocument document(start);
  const IVqDOMElement made = document.GetDocumentElement().SelectSingleElement(expression, options);
  made.SetText("!");
  return document.GetXML();
}

TEST(SelectionCreates, OnlyTheStepsThatAreMissing) {
  EXPECT_EQ(Created("<a/>", "b/c/d"), "<a><b><c><d>!</d></c></b></a>");
  EXPECT_EQ(Created("<a><b><x/></b></a>", "b/c"), "<a><b><x/><c>!</c></b></a>");
  EXPECT_EQ(Created("<a><b/><b><c/></b></a>", "b/c/d"), "<a><b/><b><c><d>!</d></c></b></a>");
  EXPECT_EQ(Created("<a/>", "/a/b"), "<a><b>!</b></a>");
}

TEST(SelectionCreates, AttributeConditions) {
  EXPECT_EQ(Created("<t:a/>", "PhoneNumbers/Entry[@Key=\"HomePhone\"]"),
            "<t:a><t:PhoneNumbers><t:Entry Key=\"HomePhone\">!</t:Entry></t:PhoneNumbers></t:a>");
  EXPECT_EQ(Created("<t:a><t:P><t:Entry Key=\"x\"/></t:P></t:a>", "P/Entry[@Key=\"y\"]"),
            "<t:a><t:P><t:Entry Key=\"x\"/><t:Entry Key=\"y\">!</t:Entry></t:P></t:a>");
  EXPECT_EQ(Created("<a/>", "b[(@x=\"1\") and (@y=\"2\")]"), "<a><b x=\"1\" y=\"2\">!</b></a>");
  EXPECT_EQ(Created("<a/>", "b[./Type=\"T\"]/c"), "<a><b><Type>T</Type><c>!</c></b></a>");
}

TEST(SelectionCreates, AnExtendedPropertyOfItsOwn) {
  EXPECT_EQ(Created("<t:a><t:ExtendedProperty><t:ExtendedFieldURI PropertyTag=\"0x1\"/><t:Value>1</t:Value>"
                    "</t:ExtendedProperty></t:a>",
                    "ExtendedProperty/ExtendedFieldURI[@PropertyTag=\"0x2\"]/../Value"),
            "<t:a><t:ExtendedProperty><t:ExtendedFieldURI PropertyTag=\"0x1\"/><t:Value>1</t:Value>"
            "</t:ExtendedProperty><t:ExtendedProperty><t:ExtendedFieldURI PropertyTag=\"0x2\"/><t:Value>!</t:Value>"
            "</t:ExtendedProperty></t:a>");
  EXPECT_EQ(Created("<t:a><t:ExtendedProperty><t:ExtendedFieldURI PropertyTag=\"0x2\"/></t:ExtendedProperty></t:a>",
                    "ExtendedProperty/ExtendedFieldURI[@PropertyTag=\"0x2\"]/../Value"),
            "<t:a><t:ExtendedProperty><t:ExtendedFieldURI PropertyTag=\"0x2\"/><t:Value>!</t:Value>"
            "</t:ExtendedProperty></t:a>");
}

TEST(SelectionCreates, WithThePrefixThatIsWrittenElseTheParents) {
  EXPECT_EQ(Created("<m:CreateItem/>", "SavedItemFolderId"),
            "<m:CreateItem><m:SavedItemFolderId>!</m:SavedItemFolderId></m:CreateItem>");
  EXPECT_EQ(Created("<m:CreateItem/>", "t:x/y"), "<m:CreateItem><t:x><t:y>!</t:y></t:x></m:CreateItem>");
  EXPECT_EQ(Created("<m:a/>", "t:GivenName", 2), "<m:a><t:GivenName>!</t:GivenName></m:a>");
}

TEST(SelectionCreates, ARootInAnEmptyDocument) {
  TVqDOMDocument document;
  EXPECT_EQ(document.SelectSingleElement("/a/b", kSelectCreate).GetQualifiedName(), "b");
  EXPECT_EQ(document.GetXML(), "<a><b/></a>");
  EXPECT_THROW(document.SelectSingleElement("/x/b", kSelectCreate), EVqXMLError);
}

TEST(SelectionCreates, NothingThatIsOpen) {
  for (const char* open : {"*", "b/*", ".//b", "//b", "b[1]", "b[*=\"1\"]"}) {
    TVqDOMDocument document("<a/>");
    EXPECT_THROW(document.GetDocumentElement().SelectSingleElement(open, kSelectCreate), EVqXMLError) << open;
    EXPECT_EQ(document.GetXML(), "<a/>") << open;
  }
  EXPECT_EQ(Created("<a/>", "b[0]"), "<a><b>!</b></a>");
}

TEST(AddElement, WithAPathAndAConditionMakesTheStepsBelow) {
  TVqDOMDocument document("<t:Contact/>");
  const IVqDOMElement contact = document.GetDocumentElement();
  const IVqDOMElement entry = contact.AddElement("t:PhoneNumbers/Entry[@Key=\"HomePhone\"]");
  entry.SetText("1");
  contact.AddElement("t:PhoneNumbers/Entry[@Key=\"CarPhone\"]").SetText("2");
  EXPECT_EQ(
      contact.GetInnerXML(),
      "<t:PhoneNumbers><t:Entry Key=\"HomePhone\">1</t:Entry><t:Entry Key=\"CarPhone\">2</t:Entry></t:PhoneNumbers>");
  EXPECT_EQ(contact.AddElement("t:PhoneNumbers/Entry[@Key=\"HomePhone\"]"), entry);
  TVqDOMDocument other("<m:Contact/>");
  other.GetDocumentElement().AddElement("t:CompleteName/FirstName");
  EXPECT_EQ(other.GetXML(), "<m:Contact><t:CompleteName><t:FirstName/></t:CompleteName></m:Contact>");
  EXPECT_THROW(contact.AddElement("/t:a/b"), EVqXMLError);
}

// ---- The language

TEST_F(Selection, RefusesWhatItCannotRead) {
  for (const char* wrong : {"",    " ",          "/",      "//",        "a/",      "a//",   "a[",
                            "a[]", "a[@]",       "a[@b=]", "a[@b=\"c]", "a[@b=c]", "a b",   "a[(@b=\"c\"]",
                            "a]",  "a[@b=\"c\"", "//..",   "a//.",      "1",       "a[-1]", "a[99999999999]",
                            "a|b", "\xFF",       "a/\xC3"}) {
    EXPECT_THROW(Contact.SelectSingleElement(wrong, kSelectQuiet), EVqXMLError) << wrong;
  }
  try {
    Contact.SelectSingleElement("Items/a[@b=c]", kSelectQuiet);
    FAIL();
  } catch (const EVqXMLError& error) {
    EXPECT_EQ(error.GetColumn(), 12);
    EXPECT_THAT(error.what(), testing::HasSubstr("Items/a[@b=c]"));
  }
}

TEST_F(Selection, CompiledOnceWorksAsTextDoes) {
  const TVqDOMSelection selection("PhoneNumbers/Entry[@Key=\"CarPhone\"]");
  EXPECT_EQ(Contact.SelectSingleElement(selection, kSelectQuiet).GetText(), "2");
  EXPECT_EQ(Contact.CreateElementList(selection, kSelectQuiet).Count(), 1);
  EXPECT_FALSE(Contact.SelectSingleElement(selection));
}

TEST_F(Selection, IsUsedByManyThreadsEachWithItsDocument) {
  std::vector<std::thread> threads;
  std::atomic<int> found = 0;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&, i] {
      TVqDOMDocument document(kReply);
      for (int k = 0; k < 2000; ++k) {
        const string path = "//Entry[@Key=\"" + string(k % 2 ? "HomePhone" : "CarPhone") + "\"]";
        found += static_cast<bool>(document.SelectSingleElement(path, kSelectQuiet));
        // More different texts than are kept.
        document.SelectSingleElement("x" + std::to_string(i * 2000 + k), kSelectQuiet);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(found, 8000);
}

TEST_F(Selection, NeverMeetsWhatWasRemoved) {
  Contact.RemoveChild(Contact.SelectSingleElement("Subject", kSelectRequired));
  EXPECT_FALSE(Contact.SelectSingleElement("Subject", kSelectQuiet));
  EXPECT_FALSE(Document.SelectSingleElement("//Subject", kSelectQuiet));
  EXPECT_EQ(Document.SelectSingleElement("Envelope", kSelectQuiet), Document.GetDocumentElement());
  const IVqDOMElement body = Document.SelectSingleElement("/Envelope/Body", kSelectRequired);
  body.GetParentElement().RemoveChild(body);
  EXPECT_EQ(Document.CreateElementList("//*", kSelectQuiet).Count(), 2);
  EXPECT_EQ(Document.CreateElementList("*", kSelectQuiet).Count(), 1);
  EXPECT_TRUE(body.SelectSingleElement("GetItemResponse", kSelectQuiet)) << "but is selected in as before";
}

TEST_F(Selection, DoesNotEnterTextAttributesAndComments) {
  TVqDOMDocument document("<a x='1'>t<!--c--><?b d?><b/></a>");
  EXPECT_EQ(document.CreateElementList("a/b", kSelectQuiet).Count(), 1) << "an instruction is no element";
  const IVqDOMElement root = document.GetDocumentElement();
  EXPECT_EQ(root.SelectSingleElement("b", kSelectQuiet), root.GetFirstChildElement());
  EXPECT_FALSE(document.GetDocumentElement().GetAttributeNode("x").SelectSingleElement("b", kSelectQuiet));
  EXPECT_FALSE(document.GetDocumentElement().GetFirstChild().SelectSingleElement("b", kSelectQuiet));
}

TEST(Positions, AmongSiblingsAtAnyDepth) {
  TVqDOMDocument document(
      "<r><b>1</b><!-- --><a><b>2</b>text<b>3<b>4</b><b>5</b></b><b k='1'>6</b></a><b k='1'>7</b><c><b "
      "k='1'>8</b></c></r>");
  const auto found = [&](const char* expression) {
    string texts;
    for (const IVqDOMElement& element : document.CreateElementList(expression)) {
      texts += (texts.empty() ? "" : " ") + element.GetText();
    }
    return texts;
  };
  EXPECT_EQ(found("//b[0]"), "1 2 4 8");
  EXPECT_EQ(found("//b[1]"), "345 5 7");
  EXPECT_EQ(found("//b[2]"), "6");
  EXPECT_EQ(found("//b[@k=\"1\"][0]"), "6 7 8") << "counted among those that meet what stands before";
  EXPECT_EQ(found("//b[1][@k=\"1\"]"), "7");
  EXPECT_EQ(found("//b[1][0]"), "345 5 7") << "the second of all, which is the first of those";
  EXPECT_EQ(found("//*[3]"), "8") << "elements alone count";
  EXPECT_EQ(found("/r/a//b[1]"), "345 5");
  EXPECT_EQ(found("//r[0]/a//b[0]"), "2 4");
  EXPECT_EQ(found("//r[1]"), "");
}

TEST(Positions, TakeNoLongerHoweverManySiblingsThereAre) {
  // Counting anew for each of them would take minutes.
  std::string text = "<r>";
  for (int i = 0; i < 200'000; ++i) text += "<b/>";
  TVqDOMDocument document(text + "<b k='1'/></r>");
  EXPECT_EQ(document.CreateElementList("//b[200000]").Count(), 1);
  EXPECT_EQ(document.SelectSingleElement("//b[200000]").GetAttribute("k"), "1");
  EXPECT_EQ(document.CreateElementList("//b[200001]").Count(), 0);
}

TEST(Positions, TakeNoLongerHoweverDeepTheTreeIs) {
  TVqDOMDocument document;
  IVqDOMElement element = document.CreateRootNode("b");
  for (int i = 0; i < 200'000; ++i) element = element.AddElement("b");
  EXPECT_EQ(document.CreateElementList("//b[0]").Count(), 200'001);
  EXPECT_EQ(document.CreateElementList("//b[1]").Count(), 0);
}

}  // namespace
}  // namespace velmore
