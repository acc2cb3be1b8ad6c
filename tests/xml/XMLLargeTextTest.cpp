// Large texts that stand apart from the tree of the document that shows them.

#include <gtest/gtest.h>

#include <optional>

#include "platform/xml/internal/uVqXMLDOMAccess.h"
#include "platform/xml/internal/uVqXMLLargeText.h"
#include "platform/xml/uVqXMLDOM.h"

namespace velmore {
namespace {

using detail::TVqSharedText;

TVqSharedText Shared(const char* text = "text & more") {
  return std::make_shared<const std::string>(text);
}

class LargeText : public ::testing::Test {
 protected:
  /// Where the text of an element stands; none when it had to be put together.
  static const char* Address(const IVqDOMElement& element) {
    std::string scratch;
    const std::string_view text = detail::TVqRawElement(element).Text(scratch);
    return text.data() == scratch.data() ? nullptr : text.data();
  }
  void Share() { detail::ShareText(FContent, Shared()); }

  TVqDOMDocument FDocument{"<Item><Name>a</Name><Content/></Item>"};
  IVqDOMElement FItem = FDocument.GetDocumentElement();
  IVqDOMElement FContent = FItem.SelectSingleElement("Content");
};

TEST_F(LargeText, IsNotCopied) {
  const TVqSharedText text = Shared();
  detail::ShareText(FContent, text);
  EXPECT_EQ(Address(FContent), text->data());
  EXPECT_EQ(detail::SharedTextOf(FContent), text);
}

TEST_F(LargeText, IsReadAndWrittenLikeAnyOther) {
  Share();
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

TEST_F(LargeText, GoesWhenNobodyShowsIt) {
  std::weak_ptr<const std::string> text;
  const auto share = [&] {
    const TVqSharedText made = Shared();
    text = made;
    detail::ShareText(FContent, made);
  };
  share();
  EXPECT_FALSE(text.expired());
  FContent.SetText("own");
  EXPECT_TRUE(text.expired());
  EXPECT_EQ(FContent.GetText(), "own");
  share();
  detail::ShareText(FContent, Shared("other"));
  EXPECT_TRUE(text.expired());
  EXPECT_EQ(FContent.GetText(), "other");
  share();
  detail::ShareText(FContent, nullptr);
  EXPECT_TRUE(text.expired());
  EXPECT_FALSE(FContent.HasChildren());
  share();
  FContent.SetInnerXML("<x/>");
  EXPECT_TRUE(text.expired());
  EXPECT_EQ(FContent.GetInnerXML(), "<x/>");
  share();
  EXPECT_EQ(FContent.GetInnerXML(), "text &amp; more");
  FContent = {};
  FItem = {};
  FDocument.LoadXML("<Item/>");
  EXPECT_TRUE(text.expired());
  EXPECT_EQ(FDocument.GetXML(), "<Item/>");
}

TEST_F(LargeText, IsReplacedAlsoAsANodeOfItsOwn) {
  Share();
  const IVqDOMNode text = FContent.GetFirstChild();
  FContent.SetText("new");
  EXPECT_EQ(FContent.GetText(), "new");
  EXPECT_EQ(text.GetNodeValue(), "text & more") << "taken out of the tree as it was";
  Share();
  FContent.GetFirstChild().SetNodeValue("changed");
  EXPECT_EQ(FContent.GetText(), "changed");
}

TEST_F(LargeText, StandsInFrontOfChildrenThatAreAdded) {
  Share();
  FContent.AddElement("x").SetText("y");
  EXPECT_EQ(FContent.GetText(), "text & morey");
  EXPECT_EQ(FContent.GetChildCount(), 2);
  EXPECT_EQ(FContent.GetXML(), "<Content>text &amp; more<x>y</x></Content>");
  FContent.NormalizeTextNodes();
  EXPECT_EQ(FContent.GetXML(), "<Content>text &amp; more<x>y</x></Content>");
  EXPECT_EQ(*detail::SharedTextOf(FContent), "text & morey");
  FContent.SetText("");
  EXPECT_FALSE(FContent.HasChildren());
}

TEST_F(LargeText, MayBecomeTheTextOfItsOwnElement) {
  Share();
  detail::AssignTextOf(FContent, FContent);
  EXPECT_EQ(FContent.GetText(), "text & more");
}

TEST_F(LargeText, ComesBeforeTheDocumentChanges) {
  int calls = 0;
  detail::SetBeforeChange(FContent, this, [&] { ++calls; });
  Share();
  EXPECT_EQ(calls, 1);
}

TEST_F(LargeText, TextsOfNodesThatWereRemovedStayReadable) {
  Share();
  const IVqDOMNode text = FContent.GetFirstChild();
  FContent.RemoveAllChildren();
  EXPECT_EQ(FContent.GetText(), "");
  EXPECT_EQ(text.GetNodeValue(), "text & more");
  FContent.AddChild(text);
  EXPECT_EQ(FContent.GetText(), "text & more");
  FItem.RemoveChild(FContent);
  EXPECT_EQ(FContent.GetText(), "text & more");
}

TEST_F(LargeText, IsSharedByCopies) {
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
      [](const IVqDOMElement& item) {
        const IVqDOMElement target = TVqDOMDocument("<x/>").GetDocumentElement();
        detail::AssignContent(target, item.SelectSingleElement("Content"));
        return IVqDOMNode(target);
      },
      [](const IVqDOMElement& item) {
        const IVqDOMElement target = TVqDOMDocument("<x/>").GetDocumentElement();
        detail::ShareText(target, detail::SharedTextOf(item.SelectSingleElement("Content")));
        return IVqDOMNode(target);
      },
  };
  int number = 0;
  for (const auto& copy : copies) {
    std::optional<TVqDOMDocument> document("<Item><a/><b><c/></b><Content/></Item>");
    IVqDOMElement item = document->GetDocumentElement();
    const TVqSharedText text = Shared();
    detail::ShareText(item.SelectSingleElement("Content"), text);
    IVqDOMNode made = copy(item);
    EXPECT_EQ(item.GetText(), "text & more") << number;
    EXPECT_GT(text.use_count(), 2) << "the copy shows the same text: " << number;
    item.SelectSingleElement("Content").SetText("changed");
    EXPECT_EQ(made.GetText(), "text & more") << number;
    document.reset();
    item = {};
    EXPECT_EQ(made.GetText(), "text & more") << number;
    made = {};
    EXPECT_EQ(text.use_count(), 1) << number;
    ++number;
  }
}

TEST_F(LargeText, IsCopiedWithItsElementWithinOneDocument) {
  Share();
  FItem.AddChild(FContent.CloneNode(true));
  EXPECT_EQ(FItem.GetXML(),
            "<Item><Name>a</Name><Content>text &amp; more</Content><Content>text &amp; more</Content></Item>");
}

TEST_F(LargeText, TextsAreComparedAsTexts) {
  Share();
  const auto same = [this](const char* markup) {
    const TVqDOMDocument other(markup);
    return detail::SameInnerXML(detail::TVqRawElement(FItem), detail::TVqRawElement(other.GetDocumentElement()));
  };
  EXPECT_TRUE(same("<Item><Name>a</Name><Content>text &amp; more</Content></Item>"));
  EXPECT_FALSE(same("<Item><Name>a</Name><Content>text &amp; less</Content></Item>"));
  EXPECT_FALSE(same("<Item><Name>a</Name><Content/></Item>"));
}

TEST_F(LargeText, OfAnElementIsSharedWhateverItsForm) {
  FContent.SetInnerXML("one<![CDATA[ two]]>");
  EXPECT_EQ(*detail::SharedTextOf(FContent), "one two");
  FContent.SetText("");
  EXPECT_EQ(*detail::SharedTextOf(FContent), "");
  EXPECT_EQ(detail::SharedTextOf({}), nullptr);
}

// ---- Cutting it out of the bytes

struct TCut {
  const char* Bytes;
  const char* Text;  // none: nothing is cut
  const char* Rest;
};

TEST(CuttingText, TakesTheFirstElementOfTheName) {
  const TCut cuts[] = {
      {"<a><t:Content>QUJD</t:Content></a>", "QUJD", "<a><t:Content></t:Content></a>"},
      {"<a><Content>QUJD</Content></a>", "QUJD", "<a><Content></Content></a>"},
      {"<a><x:Content y=\"1>2\" z='\">'\n>QUJD</x:Content></a>", "QUJD",
       "<a><x:Content y=\"1>2\" z='\">'\n></x:Content></a>"},
      {"<Content>one</Content><Content>two</Content>", "one", "<Content></Content><Content>two</Content>"},
      {"<Contents>no</Contents><Content>two</Content>", "two", "<Contents>no</Contents><Content></Content>"},
      {"<Content>one\r\ntwo\rthree\n</Content>", "one\ntwo\nthree\n", "<Content></Content>"},
      {"<a b=\"t:Content>no\"/>", nullptr, nullptr},
      {"<a>t:Content>no</a>", nullptr, nullptr},
      {"<ContentType>no</ContentType>", nullptr, nullptr},
      {"<MyContent>no</MyContent>", nullptr, nullptr},
      {"<t:Content/>", nullptr, nullptr},
      {"<t:Content />", nullptr, nullptr},
      {"<t:Content></t:Content><t:Content>two</t:Content>", nullptr, nullptr},
      {"<t:Content>a&amp;b</t:Content>", nullptr, nullptr},
      {"<t:Content>\xC3\xBC</t:Content>", nullptr, nullptr},
      {"<t:Content>a\x01</t:Content>", nullptr, nullptr},
      {"<t:Content>a]]></t:Content>", nullptr, nullptr},
      {"<t:Content>one<!-- piece -->two</t:Content>", nullptr, nullptr},
      {"<t:Content>one<![CDATA[two]]></t:Content>", nullptr, nullptr},
      {"<t:Content>one<b/>two</t:Content>", nullptr, nullptr},
      {"<!--<t:Content>a-->", nullptr, nullptr},
      {"<t:Content>never ends", nullptr, nullptr},
      {"<t:Content", nullptr, nullptr},
      {"<t:Content a=\"", nullptr, nullptr},
      {"<t:Content a<b>", nullptr, nullptr},
      {"<", nullptr, nullptr},
      {"", nullptr, nullptr},
  };
  for (const TCut& cut : cuts) {
    std::string bytes = cut.Bytes;
    const TVqSharedText text = detail::CutText(bytes, "Content");
    if (cut.Text) {
      ASSERT_TRUE(text) << cut.Bytes;
      EXPECT_EQ(*text, cut.Text);
      EXPECT_EQ(bytes, cut.Rest);
    } else {
      EXPECT_FALSE(text) << cut.Bytes;
      EXPECT_EQ(bytes, cut.Bytes);
    }
  }
}

TEST(CuttingText, LeavesTheTextWhereItStood) {
  std::string bytes = "<t:Content>" + std::string(1 << 20, 'x') + "</t:Content>";
  const char* before = bytes.data();
  const TVqSharedText text = detail::CutText(bytes, "Content");
  ASSERT_TRUE(text);
  EXPECT_EQ(text->data(), before) << "the bytes around it are copied, and not the text";
}

}  // namespace
}  // namespace velmore
