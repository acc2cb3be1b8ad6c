// Who wants to see a document once more before it changes is told in time, once, and whatever changes it.

#include <gtest/gtest.h>

#include "platform/xml/internal/uVqXMLDOMAccess.h"
#include "platform/xml/uVqXMLDOM.h"

namespace velmore {
namespace {

constexpr const char* kMarkup = "<a xmlns:t=\"u\" x=\"1\"><b xmlns:t=\"u\">text</b><!--c--><c/></a>";

class BeforeChange : public ::testing::Test {
 protected:
  TVqDOMDocument FDocument{kMarkup};
  IVqDOMElement FRoot = FDocument.GetDocumentElement();
  std::string FSeen;
  int FCalls = 0;

  void Watch() {
    detail::SetBeforeChange(FRoot, this, [this] {
      ++FCalls;
      FSeen = FRoot.GetXML().utf8();
    });
  }
};

TEST_F(BeforeChange, EveryKindOfChangeIsToldInTime) {
  const std::function<void(const IVqDOMElement&)> changes[] = {
      [](const IVqDOMElement& root) { root.GetFirstChildElement().SetText("other"); },
      [](const IVqDOMElement& root) { root.GetFirstChildElement().SetNodeValue("other"); },
      [](const IVqDOMElement& root) { root.SetInnerXML("<d/>"); },
      [](const IVqDOMElement& root) { root.AddElement("d"); },
      [](const IVqDOMElement& root) { root.AddElement("d/e[@k=\"v\"]"); },
      [](const IVqDOMElement& root) { root.InsertElement("d", TVqDOMPosition::dpFirst); },
      [](const IVqDOMElement& root) { root.SelectSingleElement("d/e", TVqDOMSelectOption::soCreate); },
      [](const IVqDOMElement& root) { root.RemoveChild(root.GetFirstChildElement()); },
      [](const IVqDOMElement& root) { root.RemoveAllChildren(); },
      [](const IVqDOMElement& root) { root.SetAttribute("x", "2"); },
      [](const IVqDOMElement& root) { root.AddAttribute("y"); },
      [](const IVqDOMElement& root) { root.RemoveAttribute("x"); },
      [](const IVqDOMElement& root) { root.RemoveAllAttributes(); },
      [](const IVqDOMElement& root) { root.GetAttributeNode("x").SetValue("2"); },
      [](const IVqDOMElement& root) { root.GetFirstChildElement().SetQualifiedName("z"); },
      [](const IVqDOMElement& root) { root.GetFirstChildElement().SetPrefix("t"); },
      [](const IVqDOMElement& root) { root.AddChild(root.GetFirstChildElement()); },
      [](const IVqDOMElement& root) { root.AddChild(TVqDOMDocument("<n/>").GetDocumentElement()); },
      [](const IVqDOMElement& root) { root.RefreshNamespaces(); },
      [](const IVqDOMElement& root) { root.NormalizeTextNodes(); },
      [](const IVqDOMElement& root) {
        root.GetOwnerDocument().RenamePrefixes({{"u", "v"}});
      },
      [](const IVqDOMElement& root) { detail::AssignKnownText(root.GetFirstChildElement(), "known"); },
      [](const IVqDOMElement& root) { detail::AssignTextOf(root, TVqDOMDocument("<n>m</n>").GetDocumentElement()); },
      [](const IVqDOMElement& root) { detail::AssignContent(root, TVqDOMDocument("<n>m</n>").GetDocumentElement()); },
      [](const IVqDOMElement& root) { root.GetOwnerDocument().LoadXML("<new/>"); },
      [](const IVqDOMElement& root) { root.GetOwnerDocument().Clear(); },
  };
  int number = 0;
  for (const auto& change : changes) {
    FDocument = TVqDOMDocument(kMarkup);
    FRoot = FDocument.GetDocumentElement();
    FCalls = 0;
    Watch();
    change(FRoot);
    EXPECT_EQ(FCalls, 1) << number;
    EXPECT_EQ(FSeen, kMarkup) << number;
    change(TVqDOMDocument(kMarkup).GetDocumentElement());  // another document is none of its business
    FRoot.AddElement("more");
    EXPECT_EQ(FCalls, 1) << number;
    ++number;
  }
}

TEST_F(BeforeChange, ReadingTellsNothing) {
  Watch();
  FRoot.GetXML();
  FRoot.GetChildren();
  FRoot.GetChildElements();
  FRoot.SelectSingleElement("b", kSelectRequired);
  FRoot.SelectSingleElement("b", kSelectCreate);  // is there already
  FRoot.GetAttributes();
  FRoot.CloneNode(true);
  FDocument.CreateClone();
  EXPECT_EQ(FCalls, 0);
}

TEST_F(BeforeChange, WhoForgetsIsNotTold) {
  Watch();
  detail::ForgetBeforeChange(FRoot, this);
  FRoot.AddElement("d");
  EXPECT_EQ(FCalls, 0);
  detail::ForgetBeforeChange(IVqDOMElement(), this);
}

TEST_F(BeforeChange, FailureKeepsTheChangeFromHappening) {
  int calls = 0;
  detail::SetBeforeChange(FRoot, this, [&] {
    if (++calls == 1) throw EVqException("not now");
  });
  EXPECT_THROW(FRoot.AddElement("d"), EVqException);
  EXPECT_EQ(FRoot.GetXML(), kMarkup);
  FRoot.AddElement("d");
  EXPECT_EQ(calls, 2);
}

TEST_F(BeforeChange, SeveralMayWatch) {
  int first = 0, second = 0;
  detail::SetBeforeChange(FRoot, &first, [&] { ++first; });
  detail::SetBeforeChange(FRoot, &second, [&] {
    ++second;
    detail::ForgetBeforeChange(FRoot, &first);
  });
  FRoot.AddElement("d");
  EXPECT_EQ(first, 0);
  EXPECT_EQ(second, 1);
}

TEST(OwnedBytes, AreReadAsAnyOthers) {
  for (const std::size_t size : {std::size_t{10}, std::size_t{17} << 20}) {
    const std::string text(size, 'x');
    const TVqDOMDocument document;
    detail::LoadOwnedBytes(document, "\xEF\xBB\xBF<?xml version=\"1.0\"?><a><b>" + text + "</b></a>");
    EXPECT_EQ(document.GetDocumentElement().GetTextAsUtf8(), text);
    EXPECT_THROW(detail::LoadOwnedBytes(document, "<a><b>" + text + "</a>"), EVqXMLError);
  }
}

}  // namespace
}  // namespace velmore
