// Large texts that a document shows without having a copy of them.

#include <gtest/gtest.h>

#include <optional>

#include "platform/common/uVqClasses.h"
#include "platform/xml/internal/uVqXMLDOMAccess.h"
#include "platform/xml/uVqXMLDOM.h"

namespace velmore {
namespace {

class Borrowed : public ::testing::Test {
 protected:
  static IVqDOMElement Reply(const char* markup = "<Content>text &amp; more</Content>") {
    return TVqDOMDocument(markup).GetDocumentElement();
  }
  static const char* Address(const IVqDOMElement& element) {
    std::string scratch;
    const std::string_view text = detail::TVqRawElement(element).Text(scratch);
    return text.data() == scratch.data() ? nullptr : text.data();
  }
  /// Borrows from a reply that nobody else keeps.
  void Borrow(const char* markup = "<Content>text &amp; more</Content>") {
    detail::BorrowText(FContent, Reply(markup));
  }

  TVqDOMDocument FDocument{"<Item><Name>a</Name><Content/></Item>"};
  IVqDOMElement FItem = FDocument.GetDocumentElement();
  IVqDOMElement FContent = FItem.SelectSingleElement("Content");
};

TEST_F(Borrowed, TextIsNotCopied) {
  const IVqDOMElement reply = Reply();
  detail::BorrowText(FContent, reply);
  ASSERT_NE(Address(reply), nullptr);
  EXPECT_EQ(Address(FContent), Address(reply));
}

TEST_F(Borrowed, TextIsReadAndWrittenLikeAnyOther) {
  Borrow();
  EXPECT_EQ(FContent.GetText(), "text & more");
  EXPECT_EQ(FContent.GetTextAsUtf8(), "text & more");
  EXPECT_EQ(FItem.GetText(), "atext & more");
  EXPECT_TRUE(FContent.HasChildren());
  EXPECT_EQ(FContent.GetChildCount(), 1);
  EXPECT_EQ(FContent.GetInnerXML(), "text &amp; more");
  EXPECT_EQ(FDocument.GetXML(), "<Item><Name>a</Name><Content>text &amp; more</Content></Item>");
  EXPECT_EQ(FItem.GetFormattedInnerXML(), "<Name>a</Name>\n<Content>text &amp; more</Content>");
  TVqMemoryStream json;
  FItem.SaveToJSONStream(json, kVqCodePageUtf8, false);
  EXPECT_EQ(json.TakeBytes(), R"({"Item":{"Name":"a","Content":"text & more"}})");
  EXPECT_TRUE(FItem.SelectSingleElement(".[Content=\"text & more\"]"));
  EXPECT_EQ(FContent.GetFirstChild().GetNodeValue(), "text & more");
}

TEST_F(Borrowed, OwnerLivesAsLongAsItsTextIsShown) {
  const std::int64_t before = VqLiveObjectCount();
  Borrow();
  EXPECT_EQ(VqLiveObjectCount(), before + 1);
  Borrow("<Content>other</Content>");
  EXPECT_EQ(VqLiveObjectCount(), before + 1);
  EXPECT_EQ(FContent.GetText(), "other");
  FContent.SetText("own");
  EXPECT_EQ(VqLiveObjectCount(), before);
  EXPECT_EQ(FContent.GetText(), "own");
}

TEST_F(Borrowed, TextsOfADocumentThatIsLoadedAgainAreGivenBack) {
  const std::int64_t before = VqLiveObjectCount();
  Borrow();
  FContent = {};
  FItem = {};
  FDocument.LoadXML("<Item/>");
  EXPECT_EQ(VqLiveObjectCount(), before);
  EXPECT_EQ(FDocument.GetXML(), "<Item/>");
}

TEST_F(Borrowed, TextsOfNodesThatWereRemovedStayReadable) {
  Borrow();
  const IVqDOMNode text = FContent.GetFirstChild();
  FContent.RemoveAllChildren();
  EXPECT_EQ(FContent.GetText(), "");
  EXPECT_EQ(text.GetNodeValue(), "text & more");
  FContent.AddChild(text);
  EXPECT_EQ(FContent.GetText(), "text & more");
  FItem.RemoveChild(FContent);
  EXPECT_EQ(FContent.GetText(), "text & more");
}

TEST_F(Borrowed, CopiesHaveATextOfTheirOwn) {
  const std::function<IVqDOMNode(const IVqDOMElement&)> copies[] = {
      [](const IVqDOMElement& item) { return IVqDOMNode(item.GetOwnerDocument().CreateClone()); },
      [](const IVqDOMElement& item) { return item.CloneNode(true); },
      [](const IVqDOMElement& item) { return item.SelectSingleElement("Content").CloneNode(true); },
      [](const IVqDOMElement& item) { return item.SelectSingleElement("Content").GetFirstChild().CloneNode(false); },
      [](const IVqDOMElement& item) { return TVqDOMDocument("<x/>").GetDocumentElement().AddChild(item); },
      [](const IVqDOMElement& item) {
        const IVqDOMElement target = TVqDOMDocument("<x/>").GetDocumentElement();
        detail::AssignContent(target, item);
        return IVqDOMNode(target);
      },
  };
  for (const auto& copy : copies) {
    std::optional<TVqDOMDocument> document("<Item><Content/></Item>");
    IVqDOMElement item = document->GetDocumentElement();
    detail::BorrowText(item.SelectSingleElement("Content"), Reply());
    const IVqDOMNode made = copy(item);
    EXPECT_EQ(item.GetText(), "text & more");
    document.reset();
    item = {};
    EXPECT_EQ(made.GetText(), "text & more") << &copy - copies;
  }
}

TEST_F(Borrowed, TextsCanBeBorrowedOn) {
  Borrow();
  {
    const TVqDOMDocument request("<Request><Content/></Request>");
    const IVqDOMElement content = request.GetDocumentElement().GetFirstChildElement();
    detail::BorrowText(content, FContent);
    EXPECT_EQ(Address(content), Address(FContent));
    EXPECT_EQ(request.GetXML(), "<Request><Content>text &amp; more</Content></Request>");
  }
  EXPECT_EQ(FContent.GetText(), "text & more");
}

TEST_F(Borrowed, TextsAreComparedAsTexts) {
  Borrow();
  const auto same = [this](const char* markup) {
    const TVqDOMDocument other(markup);
    return detail::SameInnerXML(detail::TVqRawElement(FItem), detail::TVqRawElement(other.GetDocumentElement()));
  };
  EXPECT_TRUE(same("<Item><Name>a</Name><Content>text &amp; more</Content></Item>"));
  EXPECT_FALSE(same("<Item><Name>a</Name><Content>text &amp; less</Content></Item>"));
  EXPECT_FALSE(same("<Item><Name>a</Name><Content/></Item>"));
}

TEST_F(Borrowed, WhatIsNotInOnePieceIsCopied) {
  Borrow("<Content>one<![CDATA[ two]]></Content>");
  EXPECT_EQ(FContent.GetText(), "one two");
  Borrow("<Content/>");
  EXPECT_EQ(FContent.GetText(), "");
  EXPECT_FALSE(FContent.HasChildren());
}

TEST_F(Borrowed, TheMarkCannotComeFromOutside) {
  FDocument.LoadXML("<Item>&#2;</Item>");
  EXPECT_EQ(FDocument.GetDocumentElement().GetText(), u"\uFFFD");
  FDocument.LoadXML("<Item>\x02</Item>");
  EXPECT_EQ(FDocument.GetDocumentElement().GetText(), u"\uFFFD");
  EXPECT_THROW(FContent.SetText("\x02"), EVqXMLError);
}

}  // namespace
}  // namespace velmore
