#include <gtest/gtest.h>

#include "platform/xml/uVqXMLSchema.h"

using namespace velmore;

namespace {

class TEntry : public TVqXMLSchemaElement {
 public:
  using TVqXMLSchemaElement::TVqXMLSchemaElement;
  string Text() const { return AsElement().GetText(); }
};

using TEntries = TVqXMLSchemaElementArray<TEntry>;

IVqDOMElement Parse(const char* markup) {
  return VqCreateDOM(markup).GetDocumentElement();
}

TEST(XMLSchemaArray, EntriesAreCountedAndGivenByPosition) {
  TEntries entries(Parse("<t:L><t:E>a</t:E><t:Other/><t:E>b</t:E></t:L>"), "t:E");
  ASSERT_EQ(entries.Count(), 2);
  EXPECT_EQ(entries.GetItem(0).Text(), "a");
  EXPECT_EQ(entries.GetItem(1).Text(), "b");
  EXPECT_EQ(&entries.GetItem(1), &entries.GetItem(1));
  EXPECT_THROW(entries.GetItem(2), EListError);
  EXPECT_THROW(entries.GetItem(-1), EListError);
}

TEST(XMLSchemaArray, CountIncludesNestedElementsOfTheSameName) {
  // By descendant, on purpose.
  TEntries entries(Parse("<t:L><t:E><t:E/></t:E><t:X><t:E/></t:X></t:L>"), "t:E");
  EXPECT_EQ(entries.Count(), 3);
}

TEST(XMLSchemaArray, NamesAreComparedWithTheirPrefixAsWritten) {
  EXPECT_EQ(TEntries(Parse("<t:L><t:E/><m:E/><E/></t:L>"), "t:E").Count(), 1);
  EXPECT_EQ(TEntries(Parse("<t:L><t:E/><m:E/><E/></t:L>"), "m:E").Count(), 1);
}

TEST(XMLSchemaArray, AddAppendsBehindEverythingElse) {
  const IVqDOMElement list = Parse("<t:L><t:E>a</t:E><t:Other/></t:L>");
  TEntries entries(list, "t:E");
  TEntry& added = entries.Add();
  added.AsElement().SetText("b");
  EXPECT_EQ(list.GetXML(), "<t:L><t:E>a</t:E><t:Other/><t:E>b</t:E></t:L>");
  EXPECT_EQ(&entries.GetItem(1), &added);
}

TEST(XMLSchemaArray, EntriesAddedElsewhereAreSeen) {
  const IVqDOMElement list = Parse("<t:L/>");
  TEntries entries(list, "t:E");
  EXPECT_EQ(entries.Count(), 0);
  list.AddElement("t:E");
  EXPECT_EQ(entries.Count(), 1);
  list.AddElement("t:X").AddElement("t:E");
  EXPECT_EQ(entries.Count(), 2);
  list.RemoveAllChildren();
  EXPECT_EQ(entries.Count(), 0);
}

TEST(XMLSchemaArray, ResultFollowsEveryKindOfChange) {
  const IVqDOMElement list = Parse("<t:L><t:E><t:A/></t:E></t:L>");
  TEntries entries(list, "t:E");
  EXPECT_EQ(entries.Count(), 1);
  // Nodes that records make: of another name, and of the entries' own.
  static const TVqXMLSchemaClass schema("TList", &TVqXMLSchemaElement::SchemaClass(), nullptr, 0, 0, nullptr);
  for (int i = 0; i < 200; ++i) schema.InsertInto(list, "t:Other");
  EXPECT_EQ(entries.Count(), 1);
  schema.InsertInto(list, "t:E");
  EXPECT_EQ(entries.Count(), 2);
  schema.InsertInto(list, "t:Other");
  schema.InsertInto(list, "t:E");
  schema.InsertInto(list, "t:Other");
  EXPECT_EQ(entries.Count(), 3);
  // And what happens to the tree otherwise.
  list.SetInnerXML("<t:E/><t:E/><t:X/>");
  EXPECT_EQ(entries.Count(), 2);
  list.GetFirstChildElement().SetText("text");
  EXPECT_EQ(entries.Count(), 2);
  list.SelectSingleElement("t:X").SetQualifiedName("t:E");
  EXPECT_EQ(entries.Count(), 3);
  list.RemoveChild(list.GetFirstChildElement());
  EXPECT_EQ(entries.Count(), 2);
  list.AddChild(Parse("<t:E><t:E/></t:E>"));
  EXPECT_EQ(entries.Count(), 4);
  list.SelectSingleElement("t:X/t:E", 2);
  EXPECT_EQ(entries.Count(), 5);
  list.SetText("text alone");
  EXPECT_EQ(entries.Count(), 0);
}

TEST(XMLSchemaArray, DeleteLeavesAStaleRecordAboveTheGap) {
  // On purpose: what was asked for stays under its position.
  const IVqDOMElement list = Parse("<t:L><t:E>a</t:E><t:E>b</t:E><t:E>c</t:E></t:L>");
  TEntries entries(list, "t:E");
  TEntry& c = entries.GetItem(2);
  entries.Delete(1);
  EXPECT_EQ(list.GetXML(), "<t:L><t:E>a</t:E><t:E>c</t:E></t:L>");
  EXPECT_EQ(entries.Count(), 2);
  EXPECT_EQ(&entries.GetItem(2), &c);
  EXPECT_NE(&entries.GetItem(1), &c);
  EXPECT_EQ(entries.GetItem(1).Text(), "c");
  // And so the next entry that is added comes back as the stale record.
  EXPECT_EQ(&entries.Add(), &c);
  EXPECT_EQ(list.GetXML(), "<t:L><t:E>a</t:E><t:E>c</t:E><t:E/></t:L>");
}

TEST(XMLSchemaArray, RecordOfADeletedEntryRaisesWhenUsed) {
  TEntries entries(Parse("<t:L><t:E>a</t:E></t:L>"), "t:E");
  TEntry& a = entries.GetItem(0);
  entries.Delete(0);
  EXPECT_THROW(a.Text(), EVqException);
  EXPECT_THROW(entries.Delete(0), EListError);
}

TEST(XMLSchemaArray, DeleteReachesNestedEntries) {
  const IVqDOMElement list = Parse("<t:L><t:X><t:E>a</t:E></t:X></t:L>");
  TEntries entries(list, "t:E");
  entries.Delete(0);
  EXPECT_EQ(list.GetXML(), "<t:L><t:X/></t:L>");
}

TEST(XMLSchemaArray, ClearRemovesEverythingInsideTheParent) {
  // Other members included, on purpose; records that were asked for stay usable, outside of the tree.
  const IVqDOMElement list = Parse("<t:L><t:E>a</t:E><t:Other/></t:L>");
  TEntries entries(list, "t:E");
  TEntry& a = entries.GetItem(0);
  entries.Clear();
  EXPECT_EQ(list.GetXML(), "<t:L/>");
  EXPECT_EQ(entries.Count(), 0);
  EXPECT_EQ(a.Text(), "a");
  EXPECT_NE(&entries.Add(), &a);
}

TEST(XMLSchemaArray, ValuesAreConvertedAtEachCall) {
  const IVqDOMElement list = Parse("<t:L><t:E>a</t:E><t:E>b</t:E></t:L>");
  TVqXMLSchemaElementArray<string> texts(list, "t:E");
  EXPECT_EQ(texts.GetItem(0), "a");
  texts.SetItem(0, "x");
  EXPECT_EQ(texts.GetItem(0), "x");
  texts.Delete(0);
  EXPECT_EQ(texts.GetItem(0), "b");
  EXPECT_EQ(texts.Add("c"), "c");
  EXPECT_EQ(texts.Add(), "");
  EXPECT_EQ(texts.Count(), 3);
  EXPECT_EQ(list.ElementCount(), 3);
  EXPECT_EQ(list.GetText(), "bc");
}

TEST(XMLSchemaArray, GuidsAndNumbersAreValues) {
  const IVqDOMElement list = Parse("<t:L/>");
  TVqXMLSchemaElementArray<TGUID> guids(list, "t:G");
  const TGUID guid("00020328-0000-0000-c000-000000000046");
  guids.Add(guid);
  EXPECT_EQ(guids.GetItem(0), guid);
  TVqXMLSchemaElementArray<std::int32_t> numbers(list, "t:N");
  EXPECT_EQ(numbers.Add(5), 5);
  EXPECT_EQ(numbers.Count(), 1);
}

TEST(XMLSchemaArray, ArraysAreGoneThroughWithFor) {
  TEntries entries(Parse("<t:L><t:E>a</t:E><t:E>b</t:E></t:L>"), "t:E");
  string all;
  for (TEntry& entry : entries) all += entry.Text();
  EXPECT_EQ(all, "ab");
  all.clear();
  for (const string& text : TVqXMLSchemaElementArray<string>(Parse("<t:L><t:E>c</t:E></t:L>"), "t:E")) all += text;
  EXPECT_EQ(all, "c");
}

TEST(XMLSchemaArray, DeletingOneAfterTheOtherDoesNotSearchAgain) {
  // 100,000 entries beside as many others: with a search after each deletion this would take minutes.
  for (const bool fromTheEnd : {false, true}) {
    std::string markup = "<t:L>";
    for (int i = 0; i < 100'000; ++i) markup += "<t:E/><t:Other/>";
    const IVqDOMElement list = Parse((markup + "</t:L>").c_str());
    TEntries entries(list, "t:E");
    for (std::int32_t left = 100'000; left > 0; --left) {
      ASSERT_EQ(entries.Count(), left);
      entries.Delete(fromTheEnd ? left - 1 : 0);
    }
    EXPECT_EQ(entries.Count(), 0);
    EXPECT_EQ(list.ElementCount(), 100'000);
  }
}

TEST(XMLSchemaArray, WhatADeletionLeavesIsWhatASearchFinds) {
  const char* markup = "<t:L><t:E><t:E/><t:X><t:E/></t:X></t:E><t:E/><t:X><t:E><t:E/></t:E></t:X><t:E/></t:L>";
  for (std::int32_t first = 0; first < 7; ++first) {
    const IVqDOMElement list = Parse(markup);
    TVqXMLSchemaElementArray<string> entries(list, "t:E");
    ASSERT_EQ(entries.Count(), 7);
    entries.Delete(first);
    while (entries.Count() > 0) {
      const TVqXMLSchemaElementArray<string> anew(list, "t:E");
      ASSERT_EQ(entries.Count(), anew.Count()) << first;
      const std::int32_t middle = entries.Count() / 2;
      list.AddElement("t:Y");  // something else changes in between
      entries.Delete(middle);
    }
    EXPECT_EQ(TVqXMLSchemaElementArray<string>(list, "t:E").Count(), 0);
  }
}

}  // namespace
