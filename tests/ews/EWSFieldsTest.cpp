#include "ews/values/uVqEWSFields.h"

#include "EWSPropertyTestSupport.h"
#include "ews/model/uVqEWSCategory.h"
#include "ews/schema/uVqEWSPropsFLD.h"
#include "ews/schema/uVqEWSPropsMFLD.h"
#include "ews/schema/uVqEWSPropsPR.h"
#include "ews/values/uVqEWSStrings.h"

namespace velmore {
namespace {

using test::MessageOf;

class TRow {
 public:
  explicit TRow(const std::string& AXml)
      : Document(VqCreateDOM(AXml)),
        Record(Document.GetDocumentElement()),
        Fields(this, [this](TVqEWSGetDataElmSource, bool) { return &Record; }) {}

  IVqDOMDocument Document;
  TEwsMessage Record;
  TVqEWSFields Fields;
};

TEST(Fields, AreAddedOnceAndFoundByTheirProperty) {
  TRow row("<t:Message><t:Subject>a</t:Subject></t:Message>");
  TVqEWSField& subject = row.Fields.Add(FLD_ITEM_SUBJECT);
  EXPECT_EQ(row.Fields.Count(), 1);
  EXPECT_EQ(row.Fields.FindField(FLD_ITEM_SUBJECT), &subject);
  EXPECT_EQ(&row.Fields.FieldByName(FLD_ITEM_SUBJECT), &subject);
  EXPECT_EQ(&row.Fields.GetItem(0), &subject);
  EXPECT_EQ(subject.GetAsString(), "a");
  EXPECT_THROW(row.Fields.Add(FLD_ITEM_SUBJECT), EListError);
}

TEST(Fields, ThatWereNotAddedAreNotFound) {
  TRow row("<t:Message/>");
  EXPECT_EQ(row.Fields.FindField(FLD_ITEM_BODY), nullptr);
  EXPECT_EQ(MessageOf([&] { row.Fields.FieldByName(FLD_ITEM_BODY); }),
            "The requested item (FLD_ITEM_BODY) could not be found!");
  EXPECT_EQ(MessageOf([&] { row.Fields.GetItem("Body"); }), "The requested item (Body) could not be found!");
}

TEST(Fields, AreMadeThroughTheListOfAnyKind) {
  TRow row("<t:Message><t:Subject>a</t:Subject></t:Message>");
  TVqEWSDataList<TVqEWSField>& list = row.Fields;
  TVqEWSField& subject = list.CreateItem("Subject");
  EXPECT_EQ(subject.GetAsString(), "a");
  EXPECT_EQ(&list.CreateItem(FLD_ITEM_SUBJECT), &subject) << "it is in the list";
  EXPECT_EQ(list.CreateItem(PR_ISREAD).GetName(), "PR_ISREAD");
  EXPECT_EQ(list.Count(), 2);
  EXPECT_EQ(MessageOf([&] { list.CreateItem("NoSuchMember"); }),
            "There is no property definition for \"TEwsMessage:NoSuchMember\"!");
}

TEST(Fields, NeverAskAndMakeWhatTheRowLacks) {
  TRow row("<t:Message/>");
  int asked = 0;
  row.Record.SetOnGetSOAPElement([&](TVqXMLSchemaElement*, const TVqXMLSchemaInfo&) { ++asked; });
  EXPECT_EQ(row.Fields.Add(FLD_ITEM_PREVIEW).GetAsString(), "");
  EXPECT_EQ(row.Fields.Add(MFLD_SUBJECT).GetAsString(), "");
  EXPECT_EQ(asked, 0);
  EXPECT_EQ(row.Record.AsElement().ElementCount(), 2);
}

TEST(Fields, ShareTheirPropertyAcrossSchemes) {
  TRow row("<t:Message/>");
  row.Fields.Add(FLD_FOLDER_DISPLAYNAME);
  EXPECT_THROW(row.Fields.Add(FLD_CONTACTS_DISPLAYNAME), EListError);
  TVqDOMDocument request("<t:AdditionalProperties/>");
  EXPECT_EQ(row.Fields.FieldByName(FLD_CONTACTS_DISPLAYNAME).AddEWS(request.GetDocumentElement()).GetXML(),
            "<t:FieldURI FieldURI=\"folder:DisplayName\"/>");
}

TEST(Fields, AreClearedWithTheirShellsKept) {
  TRow row("<t:Message><t:Subject>a</t:Subject></t:Message>");
  TVqEWSField& subject = row.Fields.Add(FLD_ITEM_SUBJECT);
  row.Fields.Clear();
  EXPECT_EQ(row.Fields.Count(), 0);
  EXPECT_THROW(subject.GetAsString(), EVqException);
  EXPECT_NO_THROW(row.Fields.Add(FLD_ITEM_SUBJECT));
}

TEST(Fields, OfTheCompleteNamesTitleHaveAnEmptyUri) {
  TRow row("<t:Message/>");
  EXPECT_EQ(row.Fields.Add(FLD_CONTACTS_COMPLETENAME_TITLE).GetFieldURI(), TUnindexedFieldURI{});
}

// ---- TVqEWSStrings

struct TStrings {
  explicit TStrings(const char* AXml)
      : Document(VqCreateDOM(AXml)), Record(Document.GetDocumentElement()), List(Record) {}
  IVqDOMDocument Document;
  TEwsArrayOfStrings Record;
  TVqEWSStrings List;
};

TEST(Strings, ReadAndWriteTheChildElements) {
  TStrings strings("<t:Categories><t:String>a</t:String><t:String>b</t:String></t:Categories>");
  TVqEWSStrings& list = strings.List;
  EXPECT_EQ(list.Count(), 2);
  EXPECT_EQ(list.GetItem(1), "b");
  EXPECT_EQ(list.Add("c"), 2);
  list.SetItem(0, "A");
  EXPECT_EQ(strings.Record.GetXML(),
            "<t:Categories><t:String>A</t:String><t:String>b</t:String><t:String>c</t:String></t:Categories>");
  EXPECT_EQ(list.IndexOf("c"), 2);
  EXPECT_EQ(list.IndexOf("a"), -1);
  EXPECT_EQ(list.AsString(", "), "A, b, c");
  EXPECT_EQ(list.AsString(""), "Abc");
  list.Delete(1);
  EXPECT_EQ(list.AsString(";"), "A;c");
  list.Clear();
  EXPECT_EQ(list.Count(), 0);
  EXPECT_EQ(list.Add("new"), 0);
}

// What the list remembers of its entries follows every other writer of the tree.
TEST(Strings, FollowTheTree) {
  TStrings strings("<t:Categories><t:String>a</t:String><t:String>b</t:String></t:Categories>");
  TVqEWSStrings& list = strings.List;
  EXPECT_EQ(list.AsString(";"), "a;b");
  strings.Record.GetString_().Add("c");
  EXPECT_EQ(list.AsString(";"), "a;b;c");
  strings.Record.AsElement().RemoveChild(strings.Record.AsElement().GetFirstChildElement());
  EXPECT_EQ(list.AsString(";"), "b;c");
  strings.Record.AsElement().SetInnerXML("<t:String>x</t:String><t:String>y</t:String><t:String>z</t:String>");
  list.Delete(1);
  list.Add("w");
  list.Delete(0);
  EXPECT_EQ(list.AsString(";"), "z;w");
  EXPECT_EQ(strings.Record.GetXML(), "<t:Categories><t:String>z</t:String><t:String>w</t:String></t:Categories>");
}

TEST(Strings, LongListsAreEmptiedFromBothEnds) {
  for (const bool fromTheEnd : {false, true}) {
    TStrings strings("<t:Categories/>");
    for (int i = 0; i < 10000; ++i) strings.List.Add("c" + IntToStr(i));
    while (strings.List.Count() > 0) strings.List.Delete(fromTheEnd ? strings.List.Count() - 1 : 0);
    EXPECT_FALSE(strings.Record.AsElement().HasChildElements());
  }
}

TEST(Strings, EmptyListIsAnEmptyText) {
  TStrings strings("<t:Categories/>");
  EXPECT_EQ(strings.List.AsString(", "), "");
  EXPECT_EQ(strings.List.IndexOf(""), -1);
}

TEST(Strings, PositionsOutsideRaise) {
  TStrings strings("<t:Categories><t:String>a</t:String></t:Categories>");
  EXPECT_THROW(strings.List.GetItem(1), EListError);
  EXPECT_THROW(strings.List.GetItem(-1), EListError);
  EXPECT_THROW(strings.List.SetItem(1, "x"), EListError);
  EXPECT_THROW(strings.List.Delete(1), EListError);
}

TEST(Strings, ATextThatXmlCannotCarryLeavesNothingBehind) {
  TStrings strings("<t:Categories/>");
  EXPECT_THROW(strings.List.Add(u"a\u0001"), EVqException);
  EXPECT_EQ(strings.List.Count(), 0);
}

TEST(Strings, AreSerialisedAsTheirElement) {
  TStrings strings("<t:Categories><t:String>a</t:String></t:Categories>");
  EXPECT_EQ(strings.List.AsXML(), "<t:Categories><t:String>a</t:String></t:Categories>");
  const string text = strings.List.Serialize(dsfXML);
  strings.List.Clear();
  strings.List.Deserialize(dsfXML, text);
  EXPECT_EQ(strings.List.GetItem(0), "a");
}

// ---- TVqEWSCategory

TVqEWSCategory Category(const std::string& AAttributes) {
  return TVqEWSCategory(VqCreateDOM("<category " + AAttributes + "/>").GetDocumentElement());
}

TEST(Category, HasOneOf25Colours) {
  const std::uint32_t rgb[] = {0xD6252E, 0xF06C15, 0xFFCA4C, 0xFFFE3D, 0x4AB63F, 0x40BD95, 0x859A52, 0x3267B8, 0x613DB4,
                               0xA34E78, 0xC4CCDD, 0x8C9CBD, 0xC4C4C4, 0xA5A5A5, 0x1C1C1C, 0xAF1E25, 0xB14F0D, 0xAB7B05,
                               0x999400, 0x35792B, 0x2E7D64, 0x5F6C3A, 0x2A5191, 0x50328F, 0x82375F};
  for (std::size_t i = 0; i < std::size(rgb); ++i) {
    const TVqEWSCategory category = Category("name=\"n\" color=\"" + std::to_string(i) + "\"");
    const std::uint32_t red = rgb[i] >> 16, green = rgb[i] >> 8 & 0xFF, blue = rgb[i] & 0xFF;
    EXPECT_EQ(category.GetColor(), blue << 16 | green << 8 | red) << i;
  }
  EXPECT_EQ(Category("color=\"25\"").GetColor(), 0xFFFFFFu);
  EXPECT_EQ(Category("color=\"-1\"").GetColor(), 0xFFFFFFu);
  EXPECT_EQ(Category("name=\"n\"").GetColor(), 0x2E25D6u);  // an absent number is 0, as everywhere
  for (const char* odd : {"", " ", "red", "1.5", "99999999999"})
    EXPECT_EQ(Category("color=\"" + std::string(odd) + "\"").GetColor(), 0xFFFFFFu) << odd;
}

TEST(Category, HasAShortCutOfCtrlAndAFunctionKey) {
  EXPECT_EQ(Category("keyboardShortcut=\"1\"").GetShortCut(), 0x4071);
  EXPECT_EQ(Category("keyboardShortcut=\"11\"").GetShortCut(), 0x407B);
  EXPECT_EQ(Category("keyboardShortcut=\"0\"").GetShortCut(), 0);
  EXPECT_EQ(Category("keyboardShortcut=\"12\"").GetShortCut(), 0);
  EXPECT_EQ(Category("keyboardShortcut=\"-1\"").GetShortCut(), 0);
  EXPECT_EQ(Category("name=\"Travel\"").GetShortCut(), 0);
  for (const char* odd : {"", "F2", "99999999999"})
    EXPECT_EQ(Category("keyboardShortcut=\"" + std::string(odd) + "\"").GetShortCut(), 0) << odd;
  EXPECT_EQ(Category("name=\"Travel\"").GetName(), "Travel");
}

TEST(Category, IsSerialisedAsItsElement) {
  TVqEWSCategory category = Category("name=\"Travel\" color=\"3\"");
  EXPECT_EQ(category.AsXML(), "<category name=\"Travel\" color=\"3\"/>");
  category.Deserialize(dsfXML, "<category name=\"Work\" color=\"0\" keyboardShortcut=\"2\"/>");
  EXPECT_EQ(category.GetName(), "Work");
  EXPECT_EQ(category.GetColor(), 0x2E25D6u);
  EXPECT_EQ(category.GetShortCut(), 0x4072);
}

}  // namespace
}  // namespace velmore
