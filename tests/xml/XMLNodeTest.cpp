// Handles and nodes: names, texts, attributes, children, surgery, writing.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "platform/xml/internal/uVqXMLDOMAccess.h"
#include "platform/xml/uVqXMLDOM.h"

namespace velmore {
namespace {

// ---- Handles

TEST(Handle, ThatRefersToNothingIsAGoodCitizen) {
  const IVqDOMElement none;
  EXPECT_FALSE(none);
  EXPECT_EQ(none, nullptr);
  EXPECT_EQ(none.GetNodeType(), TVqDOMNodeType::ntNone);
  EXPECT_EQ(none.GetText(), "");
  EXPECT_EQ(none.GetXML(), "");
  EXPECT_EQ(none.GetInnerXML(), "");
  EXPECT_EQ(none.GetLocalName(), "");
  EXPECT_EQ(none.GetNamespaceURI(), "");
  EXPECT_EQ(none.GetAttribute("Id"), "");
  EXPECT_EQ(none.GetAttributeAsInteger("Id"), 0);
  EXPECT_FALSE(none.HasAttribute("Id"));
  EXPECT_EQ(none.AttributeCount(), 0);
  EXPECT_EQ(none.GetAttributes().Count(), 0);
  EXPECT_EQ(none.ElementCount(), 0);
  EXPECT_EQ(none.GetChildElements().Count(), 0);
  EXPECT_EQ(none.GetChildCount(), 0);
  EXPECT_FALSE(none.HasChildren());
  EXPECT_FALSE(none.HasChildElement("a"));
  EXPECT_FALSE(none.GetParentElement());
  EXPECT_FALSE(none.GetOwnerDocument());
  EXPECT_FALSE(none.GetFirstChild());
  EXPECT_FALSE(none.GetNextSibling());
  EXPECT_FALSE(none.GetFirstChildElement());
  EXPECT_FALSE(none.GetNextSiblingElement());
  EXPECT_FALSE(none.ElementByName("a", ""));
  EXPECT_FALSE(none.CloneNode(true));
  EXPECT_EQ(none.GetAsInteger(), 0);
  EXPECT_FALSE(none.GetAsBoolean());
  EXPECT_EQ(static_cast<double>(none.GetAsDateTime()), 0);
  EXPECT_EQ(none.GetAsAnsiString(), "");
  EXPECT_NO_THROW(none.NormalizeTextNodes());
  EXPECT_NO_THROW(none.RefreshNamespaces());
  EXPECT_FALSE(IVqDOMDocument().GetDocumentElement());
  EXPECT_FALSE(TVqDOMDocument().GetDocumentElement());
}

TEST(Handle, ThatRefersToNothingRaisesWhenItIsWrittenTo) {
  const IVqDOMElement none;
  EXPECT_THROW(none.SetText("x"), EVqException);
  EXPECT_THROW(none.SetAttribute("a", "b"), EVqException);
  EXPECT_THROW(none.AddElement("a"), EVqException);
  EXPECT_THROW(none.InsertElement("a", TVqDOMPosition::dpLast), EVqException);
  EXPECT_THROW(none.SetInnerXML("x"), EVqException);
  EXPECT_THROW(none.SetQualifiedName("x"), EVqException);
  EXPECT_THROW(none.RemoveAllChildren(), EVqException);
  EXPECT_THROW(none.RemoveChild(none), EVqException);
  EXPECT_THROW(none.AddChild(none), EVqException);
  EXPECT_THROW(IVqDOMDocument().LoadXML("<a/>"), EVqException);
}

TEST(Handle, KeepsItsDocumentAlive) {
  IVqDOMElement element;
  {
    TVqDOMDocument document("<a><b>x</b></a>");
    element = document.GetDocumentElement().GetFirstChildElement();
  }
  EXPECT_EQ(element.GetText(), "x");
  EXPECT_EQ(element.GetOwnerDocument().GetXML(), "<a><b>x</b></a>");
}

TEST(Handle, ComparesByNode) {
  TVqDOMDocument document("<a x=\"1\"><b/><b/></a>");
  const IVqDOMElement root = document.GetDocumentElement();
  EXPECT_EQ(root.GetChildElements().GetItem(0), root.GetFirstChildElement());
  EXPECT_FALSE(root.GetChildElements().GetItem(0) == root.GetChildElements().GetItem(1));
  EXPECT_EQ(root.GetAttributeNode("x"), root.GetAttributes().GetItem(0));
  EXPECT_FALSE(root == root.GetAttributeNode("x"));
  EXPECT_EQ(root.GetOwnerDocument(), document);
  EXPECT_EQ(document.GetOwnerDocument(), document);
}

TEST(Handle, DocumentsConvertToTheirInterfaceFreely) {
  const IVqDOMDocument document = TVqDOMDocument("<a/>");
  const TVqDOMElement element = document.GetDocumentElement();
  const IVqDOMNode node = element;
  EXPECT_EQ(node.AsElement(), element);
  EXPECT_FALSE(node.AsAttribute());
  EXPECT_FALSE(IVqDOMElement(document));
}

TEST(Handle, OfAReplacedDocumentStaysValid) {
  TVqDOMDocument document("<a><b>old</b></a>");
  const IVqDOMElement old = document.SelectSingleElement("//b");
  document.LoadXML("<c/>");
  EXPECT_EQ(old.GetText(), "old");
  old.SetText("still");
  EXPECT_EQ(old.GetParentElement().GetXML(), "<a><b>still</b></a>");
  EXPECT_EQ(document.GetXML(), "<c/>");
  document.GetDocumentElement().AddChild(old);
  EXPECT_EQ(document.GetXML(), "<c><b>still</b></c>");
  document.Clear();
  EXPECT_EQ(document.GetXML(), "");
  EXPECT_EQ(old.GetText(), "still");
}

// ---- Removed nodes

TEST(RemovedNode, StaysValidAndCanBePutBack) {
  TVqDOMDocument document("<a><b k=\"1\">x<c/></b><d/></a>");
  const IVqDOMElement root = document.GetDocumentElement(), b = root.GetFirstChildElement();
  root.RemoveChild(b);
  EXPECT_EQ(document.GetXML(), "<a><d/></a>");
  EXPECT_EQ(b.GetXML(), "<b k=\"1\">x<c/></b>");
  EXPECT_FALSE(b.GetParentElement());
  EXPECT_FALSE(b.GetNextSibling());
  EXPECT_FALSE(b.GetNextSiblingElement());
  EXPECT_EQ(document.GetChildCount(), 1);
  EXPECT_EQ(root.AddChild(b), b);
  EXPECT_EQ(document.GetXML(), "<a><d/><b k=\"1\">x<c/></b></a>");
  EXPECT_EQ(b.GetParentElement(), root);
}

TEST(RemovedNode, TheRootToo) {
  TVqDOMDocument document("<!-- c --><a/>");
  const IVqDOMElement root = document.GetDocumentElement();
  document.RemoveChild(root);
  EXPECT_FALSE(document.GetDocumentElement());
  EXPECT_EQ(document.GetXML(), "<!-- c -->");
  document.CreateRootNode("b").AddChild(root);
  EXPECT_EQ(document.GetXML(), "<!-- c --><b><a/></b>");
  EXPECT_FALSE(document.GetDocumentElement().GetNextSibling());
}

TEST(RemovedNode, OnlyAChildCanBeRemoved) {
  TVqDOMDocument document("<a><b><c/></b></a>");
  const IVqDOMElement root = document.GetDocumentElement();
  EXPECT_THROW(root.RemoveChild(document.SelectSingleElement("//c")), EListError);
  EXPECT_THROW(root.RemoveChild(root), EListError);
  EXPECT_THROW(root.RemoveChild(IVqDOMNode()), EListError);
  const IVqDOMElement b = root.GetFirstChildElement();
  root.RemoveChild(b);
  EXPECT_THROW(root.RemoveChild(b), EListError);
}

TEST(RemovedNode, AttributesStayValid) {
  TVqDOMDocument document("<a x=\"1\" y=\"2\"/>");
  const IVqDOMElement root = document.GetDocumentElement();
  const IVqDOMAttribute x = root.GetAttributeNode("x");
  root.RemoveAttribute("x");
  root.RemoveAttribute("absent");
  EXPECT_EQ(x.GetValue(), "1");
  EXPECT_EQ(x.GetName(), "x");
  EXPECT_FALSE(x.GetParentElement());
  EXPECT_EQ(document.GetXML(), "<a y=\"2\"/>");
  EXPECT_EQ(root.AttributeCount(), 1);
  EXPECT_FALSE(root.HasAttribute("x"));
  root.SetAttribute("x", "3");
  EXPECT_EQ(x.GetValue(), "1");
  EXPECT_EQ(document.GetXML(), "<a y=\"2\" x=\"3\"/>");
  root.RemoveAllAttributes();
  EXPECT_EQ(document.GetXML(), "<a/>");
  EXPECT_EQ(root.CloneNode(true).GetXML(), "<a/>");
}

// ---- Text

TEST(Text, OfAnElementIsAllTextInside) {
  TVqDOMDocument document("<a>1<b>2<c/></b><!-- no -->3<![CDATA[4]]></a>");
  EXPECT_EQ(document.GetDocumentElement().GetText(), "1234");
  EXPECT_EQ(document.GetText(), "1234");
}

TEST(Text, OfAnElementKeepsItsWhiteSpace) {
  EXPECT_EQ(TVqDOMDocument("<a> \n </a>").GetDocumentElement().GetText(), " \n ");
  EXPECT_EQ(TVqDOMDocument("<a> x </a>").GetDocumentElement().GetText(), " x ");
}

TEST(Text, SettingReplacesEverythingInside) {
  TVqDOMDocument document("<a>1<b>2</b>3</a>");
  const IVqDOMElement root = document.GetDocumentElement(), b = root.GetFirstChildElement();
  for (const char* text : {"x", "a longer text than before", "<&>\"'", "", "again", ""}) {
    root.SetText(text);
    EXPECT_EQ(root.GetText(), text);
    EXPECT_EQ(root.GetChildCount(), *text != '\0' ? 1 : 0);
  }
  EXPECT_EQ(document.GetXML(), "<a/>");
  EXPECT_EQ(b.GetText(), "2");
}

TEST(Text, SettingKeepsAttributes) {
  TVqDOMDocument document("<a x=\"1\"/>");
  document.GetDocumentElement().SetText(u"\u20AC\U0001F600");
  EXPECT_EQ(document.GetXMLAsUtf8(), "<a x=\"1\">\xE2\x82\xAC\xF0\x9F\x98\x80</a>");
}

TEST(Text, WithCharactersThatXmlCannotCarryIsRefusedWithThePlace) {
  TVqDOMDocument document("<a x=\"old\">old</a>");
  const IVqDOMElement root = document.GetDocumentElement();
  const auto place = [&](const TVqUtf8View& text) {
    try {
      root.SetText(text);
    } catch (const EVqXMLError& error) {
      return std::pair(error.GetLine(), error.GetColumn());
    }
    return std::pair(0, 0);
  };
  EXPECT_EQ(place("a\x0B"), std::pair(1, 2));
  EXPECT_EQ(place("\xC3\xBC\n\xC3\xBC\x1F"), std::pair(2, 2));
  EXPECT_EQ(place(std::string_view("x\0y", 3)), std::pair(1, 2));
  EXPECT_EQ(place(u"ab\uFFFE"), std::pair(1, 3));
  EXPECT_EQ(place(u"ab\uFFFF"), std::pair(1, 3));
  EXPECT_EQ(place(std::u16string(u"ab") + char16_t(0xD800)), std::pair(1, 3));
  EXPECT_EQ(place(std::u16string(u"ab") + char16_t(0xDC00) + u"c"), std::pair(1, 3));
  EXPECT_EQ(place("ab\xFF"), std::pair(1, 3));
  EXPECT_THROW(root.SetAttribute("x", "\x01"), EVqXMLError);
  EXPECT_THROW(root.GetAttributeNode("x").SetValue("\x01"), EVqXMLError);
  EXPECT_EQ(document.GetXML(), "<a x=\"old\">old</a>") << "nothing was changed";
  EXPECT_EQ(place(u"\t\n\r\uFFFD\U0010FFFF"), std::pair(0, 0));
  EXPECT_EQ(root.GetText(), u"\t\n\r\uFFFD\U0010FFFF");
  try {
    root.SetText("\x0B");
    FAIL();
  } catch (const EVqXMLError& error) {
    EXPECT_STREQ(error.what(), "XML cannot carry the character U+000B. (line 1, column 1)");
  }
}

TEST(Text, IsLookedThroughToItsLastByteWhereverAForbiddenOneStands) {
  const IVqDOMElement root = VqCreateDOM("<a/>").GetDocumentElement();
  for (std::size_t length = 1; length < 26; ++length) {
    for (std::size_t at = 0; at < length; ++at) {
      for (const std::string_view inside : {"\x1F", "\x01", "\xEF\xBF\xBF", "\xFF"}) {
        std::string text(length, 'x');
        text.replace(at, 1, inside);
        try {
          root.SetText(text);
          ADD_FAILURE() << length << " " << at;
        } catch (const EVqXMLError& error) {
          EXPECT_EQ(error.GetColumn(), static_cast<std::int32_t>(at + 1)) << length;
        }
      }
      for (const std::string_view inside : {" ", "\t", "\n", "\r", "\x7F", "\xC3\xBC", "\xF0\x9F\x98\x80"}) {
        std::string text(length, '~');
        text.replace(at, 1, inside);
        root.SetText(text);
        EXPECT_EQ(root.GetTextAsUtf8(), text) << length << " " << at;
      }
    }
  }
}

TEST(Text, TypedAccess) {
  TVqDOMDocument document("<a/>");
  const IVqDOMElement a = document.GetDocumentElement();
  EXPECT_EQ(a.GetAsInteger(), 0);
  EXPECT_FALSE(a.GetAsBoolean());
  a.SetAsInteger(-42);
  EXPECT_EQ(a.GetAsString(), "-42");
  EXPECT_EQ(a.GetAsInteger(), -42);
  a.SetAsBoolean(true);
  EXPECT_EQ(a.GetAsString(), "true");
  EXPECT_TRUE(a.GetAsBoolean());
  a.SetAsDateTime(45351.5);
  EXPECT_EQ(a.GetAsString(), "2024-02-29T12:00:00Z");
  EXPECT_EQ(static_cast<double>(a.GetAsDateTime()), 45351.5);
  a.SetAsString(u"\u20AC\u4E00");
  EXPECT_EQ(a.GetAsAnsiString(kVqCodePage1252), "\x80?");
  EXPECT_EQ(a.GetAsAnsiString(), "\xE2\x82\xAC\xE4\xB8\x80");
  EXPECT_THROW(a.GetAsInteger(), EConvertError);
  EXPECT_THROW(a.GetAsBoolean(), EConvertError);
  EXPECT_THROW(a.GetAsDateTime(), EConvertError);
}

// ---- Names

TEST(Name, ItsPartsAndItsChange) {
  TVqDOMDocument document("<t:a m:x=\"1\" xmlns:t=\"urn:t\" xmlns:m=\"urn:m\"><b xmlns=\"urn:d\"/></t:a>");
  const IVqDOMElement a = document.GetDocumentElement(), b = a.GetFirstChildElement();
  EXPECT_EQ(a.GetLocalName(), "a");
  EXPECT_EQ(a.GetQualifiedName(), "t:a");
  EXPECT_EQ(a.GetPrefix(), "t");
  EXPECT_EQ(a.GetNamespaceURI(), "urn:t");
  EXPECT_EQ(a.GetAttributeNode("m:x").GetNamespaceURI(), "urn:m");
  EXPECT_EQ(b.GetNamespaceURI(), "urn:d");
  EXPECT_EQ(b.GetPrefix(), "");
  a.SetQualifiedName("m:c");
  EXPECT_EQ(a.GetNamespaceURI(), "urn:m");
  b.SetPrefix("t");
  EXPECT_EQ(b.GetQualifiedName(), "t:b");
  b.SetPrefix("");
  EXPECT_EQ(b.GetQualifiedName(), "b");
  a.GetAttributeNode("m:x").SetQualifiedName("y");
  EXPECT_EQ(a.GetAttribute("y"), "1");
  a.SetAttribute("z", "2");
  EXPECT_THROW(a.GetAttributeNode("z").SetQualifiedName("y"), EVqXMLError);
  for (const char* wrong : {"", "1", "a b", "<", "a=", "\xFF", "-a"}) {
    EXPECT_THROW(a.SetQualifiedName(wrong), EVqXMLError) << wrong;
    EXPECT_THROW(a.SetAttribute(wrong, "v"), EVqXMLError) << wrong;
    EXPECT_THROW(a.InsertElement(wrong, TVqDOMPosition::dpLast), EVqXMLError) << wrong;
  }
  EXPECT_EQ(TVqDOMDocument("<a/>").GetDocumentElement().GetNamespaceURI(), "");
}

// ---- Children

TEST(Children, AreAddedLastOrWhereTheCallerSays) {
  TVqDOMDocument document;
  const IVqDOMElement root = document.CreateRootNode("r");
  const IVqDOMElement b = root.AddElement("b");
  root.InsertElement("a", TVqDOMPosition::dpBefore, b);
  root.InsertElement("c", TVqDOMPosition::dpAfter, b);
  root.InsertElement("z", TVqDOMPosition::dpLast);
  root.InsertElement("first", TVqDOMPosition::dpFirst);
  EXPECT_EQ(root.GetInnerXML(), "<first/><a/><b/><c/><z/>");
  EXPECT_THROW(root.InsertElement("x", TVqDOMPosition::dpBefore), EListError);
  EXPECT_THROW(root.InsertElement("x", TVqDOMPosition::dpAfter, root), EListError);
  EXPECT_THROW(b.InsertElement("x", TVqDOMPosition::dpAfter, b), EListError);
}

TEST(Children, FirstPlaceIsBeforeText) {
  TVqDOMDocument document("<r>text<a/></r>");
  document.GetDocumentElement().InsertElement("b", TVqDOMPosition::dpFirst);
  EXPECT_EQ(document.GetXML(), "<r><b/>text<a/></r>");
}

TEST(Children, OfEveryKindAreCountedAndListed) {
  TVqDOMDocument document("<r>text<a/><!--c--><![CDATA[d]]><?p q?></r>");
  const IVqDOMElement root = document.GetDocumentElement();
  EXPECT_EQ(root.GetChildCount(), 5);
  EXPECT_EQ(root.ElementCount(), 1);
  const TVqDOMNodeList children = root.GetChildren();
  ASSERT_EQ(children.Count(), 5);
  EXPECT_EQ(children.GetItem(0).GetNodeType(), TVqDOMNodeType::ntText);
  EXPECT_EQ(children.GetItem(0).GetNodeValue(), "text");
  EXPECT_EQ(children.GetItem(1).GetNodeType(), TVqDOMNodeType::ntElement);
  EXPECT_EQ(children.GetItem(2).GetNodeType(), TVqDOMNodeType::ntComment);
  EXPECT_EQ(children.GetItem(3).GetNodeType(), TVqDOMNodeType::ntCDATA);
  EXPECT_EQ(children.GetItem(4).GetNodeType(), TVqDOMNodeType::ntProcessingInstruction);
  EXPECT_EQ(children.GetItem(4).GetQualifiedName(), "p");
  EXPECT_THROW(children.GetItem(5), EListError);
  EXPECT_EQ(children.GetItem(1).GetPreviousSibling(), children.GetItem(0));
  EXPECT_EQ(children.GetItem(0).GetNextSibling(), children.GetItem(1));
  children.GetItem(0).SetNodeValue("new & text");
  EXPECT_THROW(children.GetItem(2).SetNodeValue("a--b"), EVqXMLError);
  EXPECT_THROW(children.GetItem(4).SetNodeValue("?>"), EVqXMLError);
  EXPECT_EQ(document.GetXML(), "<r>new &amp; text<a/><!--c--><![CDATA[d]]><?p q?></r>");
  EXPECT_TRUE(TVqDOMDocument("<r>x</r>").GetDocumentElement().HasChildren());
  EXPECT_FALSE(TVqDOMDocument("<r x=\"1\"/>").GetDocumentElement().HasChildren());
}

TEST(Children, ElementListIsReachedByPositionAndName) {
  TVqDOMDocument document("<r>x<a/>y<t:b/><c/></r>");
  const IVqDOMElement root = document.GetDocumentElement();
  const TVqDOMElementList list = root.GetChildElements();
  EXPECT_EQ(list.Count(), 3);
  EXPECT_EQ(list.GetItem(1).GetQualifiedName(), "t:b");
  EXPECT_EQ(list.GetItem("t:b"), list.GetItem(1));
  EXPECT_EQ(list.GetItem("b"), list.GetItem(1));
  EXPECT_FALSE(list.GetItem("x"));
  EXPECT_THROW(list.GetItem(3), EListError);
  EXPECT_THROW(list.GetItem(-1), EListError);
  EXPECT_THROW(TVqDOMElementList().GetItem(0), EListError);
  std::string names;
  for (const IVqDOMElement& element : list) names += element.GetLocalName().utf8();
  EXPECT_EQ(names, "abc");
  root.RemoveChild(list.GetItem(0));
  EXPECT_EQ(list.Count(), 3) << "a list is what was found";
  EXPECT_EQ(root.GetChildElements().Count(), 2);
  EXPECT_EQ(root.GetChildElements().GetItem(0).GetNextSiblingElement().GetLocalName(), "c");
  EXPECT_EQ(root.GetChildElements().GetItem(1).GetPreviousSiblingElement().GetLocalName(), "b");
}

TEST(Children, ElementByNameLooksAtNamespaces) {
  TVqDOMDocument document("<r xmlns:t=\"urn:t\"><b/><c><t:b/></c></r>");
  const IVqDOMElement root = document.GetDocumentElement();
  EXPECT_EQ(root.ElementByName("b", "").GetQualifiedName(), "b");
  EXPECT_FALSE(root.ElementByName("b", "urn:t"));
  EXPECT_EQ(root.ElementByName("b", "urn:t", true).GetQualifiedName(), "t:b");
}

TEST(Children, MoveWithinADocumentAndAreCopiedBetweenTwo) {
  TVqDOMDocument document("<r><a><x/></a><b/></r>"), other("<o><c k=\"1\">t</c></o>");
  const IVqDOMElement a = document.SelectSingleElement("//a"), b = document.SelectSingleElement("//b");
  EXPECT_EQ(b.AddChild(a), a);
  EXPECT_EQ(document.GetXML(), "<r><b><a><x/></a></b></r>");
  const IVqDOMElement c = other.SelectSingleElement("//c");
  const IVqDOMNode copy = b.AddChild(c);
  EXPECT_FALSE(copy == c);
  EXPECT_EQ(copy.GetOwnerDocument(), document);
  EXPECT_EQ(document.GetXML(), "<r><b><a><x/></a><c k=\"1\">t</c></b></r>");
  EXPECT_EQ(other.GetXML(), "<o><c k=\"1\">t</c></o>");
  EXPECT_THROW(a.AddChild(b), EVqException) << "into itself";
  EXPECT_THROW(a.AddChild(a), EVqException);
  EXPECT_THROW(a.AddChild(document), EVqException);
  EXPECT_THROW(a.AddChild(c.GetAttributeNode("k")), EVqException);
  EXPECT_THROW(document.AddChild(a), EVqException) << "a second root";
  EXPECT_THROW(document.AppendChild(c), EVqException);
  EXPECT_THROW(document.CreateRootNode("x"), EVqException);
}

TEST(Children, Clones) {
  TVqDOMDocument document("<r><a k=\"1\">t<x/></a></r>");
  const IVqDOMElement a = document.SelectSingleElement("//a");
  EXPECT_EQ(a.CloneNode(true).GetXML(), "<a k=\"1\">t<x/></a>");
  EXPECT_EQ(a.CloneNode(false).GetXML(), "<a k=\"1\"/>");
  EXPECT_EQ(a.GetFirstChild().CloneNode(true).GetText(), "t");
  EXPECT_EQ(a.GetAttributeNode("k").CloneNode(true).GetText(), "1");
  const IVqDOMDocument clone = document.CreateClone();
  clone.GetDocumentElement().SetText("changed");
  EXPECT_EQ(document.GetXML(), "<r><a k=\"1\">t<x/></a></r>");
  EXPECT_EQ(clone.GetXML(), "<r>changed</r>");
}

TEST(Children, TextNodesAreJoined) {
  TVqDOMDocument document("<r>1<a/>2<b>3<!----></b></r>");
  const IVqDOMElement root = document.GetDocumentElement();
  root.RemoveChild(root.GetFirstChildElement());
  EXPECT_EQ(root.GetChildCount(), 3);
  root.NormalizeTextNodes();
  EXPECT_EQ(root.GetChildCount(), 2);
  EXPECT_EQ(root.GetFirstChild().GetNodeValue(), "12");
  EXPECT_EQ(document.GetXML(), "<r>12<b>3<!----></b></r>");
}

// ---- Inner XML

TEST(InnerXML, IsSetAndRead) {
  TVqDOMDocument document("<r k=\"1\"><old/></r>");
  const IVqDOMElement root = document.GetDocumentElement(), old = root.GetFirstChildElement();
  for (const char* markup :
       {"<a/>", "text", "<a>1</a>text<b x=\"&lt;\"/>", "&amp;", "", "<!--c--><?p q?><![CDATA[x]]>"}) {
    root.SetInnerXML(markup);
    EXPECT_EQ(root.GetInnerXML(), markup);
    EXPECT_EQ(document.GetXML(),
              string("<r k=\"1\"") + (*markup != '\0' ? string(">") + markup + "</r>" : string("/>")));
  }
  EXPECT_EQ(old.GetXML(), "<old/>");
  root.SetInnerXML(root.GetXML());
  EXPECT_TRUE(root.SelectSingleElement("r"));
}

TEST(InnerXML, KeepsAnInvisibleCharacterAtItsStart) {
  TVqDOMDocument document("<r>old</r>");
  const IVqDOMElement root = document.GetDocumentElement();
  for (const char* markup : {"\uFEFF", "\uFEFF\uFEFF", "\uFEFF<a/>", "\uFEFFtext"}) {
    root.SetInnerXML(markup);
    EXPECT_EQ(root.GetInnerXML(), markup);
  }
}

TEST(InnerXML, IsHeldToTheLetter) {
  TVqDOMDocument document("<r>old</r>");
  const IVqDOMElement root = document.GetDocumentElement();
  const std::pair<const char*, int> wrong[] = {{"R&D", 2},
                                               {"<a x='<'/>", 7},
                                               {"<a x=\"1\"\"/>", 9},
                                               {"<a>", 4},
                                               {"</a>", 1},
                                               {"a\x0B", 2},
                                               {"&#x1F;", 1},
                                               {"&nbsp;", 1},
                                               {"]]>", 1},
                                               {"<a b='1' b='1'/>", 10},
                                               {"<?xml version='1.0'?><a/>", 1},
                                               {"<!DOCTYPE a>", 1},
                                               {"<a b=1/>", 6},
                                               {"x\xFF", 2}};
  for (const auto& [markup, column] : wrong) {
    try {
      root.SetInnerXML(markup);
      ADD_FAILURE() << markup;
    } catch (const EVqXMLError& error) {
      EXPECT_EQ(error.GetColumn(), column) << markup;
    }
    EXPECT_EQ(document.GetXML(), "<r>old</r>") << markup;
  }
  EXPECT_THROW(root.SetInnerXML(std::u16string(1, char16_t(0xD800))), EVqXMLError);
}

TEST(InnerXML, Formatted) {
  TVqDOMDocument document("<r><a><b>text</b><c>x<d/>y</c></a>\n\n<e/><!--f--></r>");
  EXPECT_EQ(document.GetDocumentElement().GetFormattedInnerXML(),
            "<a>\n  <b>text</b>\n  <c>x<d/>y</c>\n</a>\n<e/>\n<!--f-->");
  EXPECT_EQ(TVqDOMDocument("<r>a<b><c/></b></r>").GetDocumentElement().GetFormattedInnerXML(), "a<b>\n  <c/>\n</b>");
  EXPECT_EQ(TVqDOMDocument("<r>a</r>").GetDocumentElement().GetFormattedInnerXML(), "a");
}

// ---- Saving

std::string Saved(const IVqDOMDocument& document, std::int32_t codePage, bool declaration, bool indent) {
  TVqMemoryStream stream;
  document.SaveToStream(stream, codePage, declaration, indent);
  return stream.Bytes();
}

TEST(Saving, WithAndWithoutDeclarationAndIndentation) {
  TVqDOMDocument document("<a><b>1</b><c/></a>");
  EXPECT_EQ(Saved(document, 0, false, false), "<a><b>1</b><c/></a>");
  EXPECT_EQ(Saved(document, 0, true, false), "<?xml version=\"1.0\" encoding=\"utf-8\"?><a><b>1</b><c/></a>");
  EXPECT_EQ(Saved(document, 0, true, true),
            "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<a>\n  <b>1</b>\n  <c/>\n</a>\n");
  TVqMemoryStream stream;
  document.SaveToStream(stream, true, false);
  EXPECT_EQ(stream.Bytes(), "<?xml version=\"1.0\" encoding=\"utf-8\"?><a><b>1</b><c/></a>");
  TVqMemoryStream node;
  document.SelectSingleElement("//b").SaveToStream(node, kVqCodePageUtf8, false);
  EXPECT_EQ(node.Bytes(), "<b>1</b>");
}

TEST(Saving, IndentedDocumentsAreIndentedOnce) {
  TVqDOMDocument document("<a><b><c>1</c></b></a>");
  const std::string once = Saved(document, 0, false, true);
  EXPECT_EQ(Saved(TVqDOMDocument(once), 0, false, true), once);
}

TEST(Saving, EveryCodePageIsReadBack) {
  TVqDOMDocument document(u"<a x=\"\u00E9\">\u20AC \u4E00 \U0001F600</a>");
  for (const std::int32_t codePage : {kVqCodePageUtf8, kVqCodePageUtf16LE, kVqCodePageUtf16BE, kVqCodePage1252,
                                      kVqCodePageLatin1, kVqCodePageAscii}) {
    TVqDOMDocument read;
    read.LoadFromBytes(Saved(document, codePage, true, false));
    EXPECT_EQ(read.GetXML(), document.GetXML()) << codePage;
    TVqMemoryStream stream;
    read.SaveToStream(stream, true, false);
    EXPECT_EQ(stream.Bytes(), Saved(document, codePage, true, false)) << "a document remembers its code page";
  }
  EXPECT_EQ(Saved(document, kVqCodePageAscii, false, false), "<a x=\"&#xE9;\">&#x20AC; &#x4E00; &#x1F600;</a>");
  EXPECT_EQ(Saved(document, kVqCodePage1252, false, false), "<a x=\"\xE9\">\x80 &#x4E00; &#x1F600;</a>");
  EXPECT_THROW(Saved(document, 437, true, false), EConvertError);
}

TEST(Saving, CDataAndNamesThatTheCodePageLacks) {
  TVqDOMDocument document(u"<a><![CDATA[<\u4E00>]]></a>");
  EXPECT_EQ(Saved(document, kVqCodePageLatin1, false, false), "<a>&lt;&#x4E00;&gt;</a>");
  EXPECT_THROW(Saved(TVqDOMDocument(u"<\u4E00/>"), kVqCodePageLatin1, false, false), EConvertError);
  TVqDOMDocument section("<a><![CDATA[x]]></a>");
  section.GetDocumentElement().GetFirstChild().SetNodeValue("a]]>b");
  EXPECT_EQ(section.GetXML(), "<a><![CDATA[a]]]]><![CDATA[>b]]></a>");
  EXPECT_EQ(TVqDOMDocument(section.GetXML()).GetDocumentElement().GetText(), "a]]>b");
}

TEST(Saving, ToAFileAndBack) {
  const std::filesystem::path name = std::filesystem::temp_directory_path() / u8"velmore-xml-\u00FC.xml";
  TVqDOMDocument document(u"<a>\u20AC</a>");
  document.SaveToFile(name, true, false);
  document.SaveToFile(name, true, true);
  TVqDOMDocument read;
  read.LoadFromFile(name);
  EXPECT_EQ(read.GetXML(), document.GetXML());
  std::filesystem::remove(name);
  EXPECT_THROW(read.LoadFromFile(name), EStreamError);
  EXPECT_THROW(document.SaveToFile("/no/such/folder/x.xml", true, false), EStreamError);
}

TEST(Saving, AFailureKeepsTheOldFile) {
  const std::filesystem::path folder = std::filesystem::temp_directory_path() / "velmore-xml-old";
  std::filesystem::create_directories(folder / "target.xml" / "inside");  // a folder cannot be replaced by a file
  TVqDOMDocument document("<a/>");
  EXPECT_THROW(document.SaveToFile((folder / "target.xml").string(), true, false), EStreamError);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder), {}), 1) << "no temporary file is left";
  std::filesystem::remove_all(folder);
}

TEST(Saving, DeepTreesThatTheApplicationBuilds) {
  TVqDOMDocument document;
  IVqDOMElement element = document.CreateRootNode("a");
  for (int i = 0; i < 200'000; ++i) element = element.AddElement("a");
  EXPECT_EQ(document.GetXMLAsUtf8().size(), 200'000u * 7 + 4);
  EXPECT_EQ(document.GetDocumentElement().GetText(), "");
  EXPECT_EQ(document.CreateElementList("//a").Count(), 200'001);
  EXPECT_EQ(document.CreateClone().GetXMLAsUtf8().size(), 200'000u * 7 + 4);
}

TEST(Loading, OfANodeReplacesWhatIsInside) {
  TVqDOMDocument document("<r><a x=\"1\"><old/></a></r>");
  const IVqDOMElement a = document.SelectSingleElement("//a");
  TVqMemoryStream stream(std::string("<b y=\"2\">t<new/></b>"));
  a.LoadFromStream(stream, kVqCodePageUtf8);
  EXPECT_EQ(document.GetXML(), "<r><a y=\"2\">t<new/></a></r>");
}

TEST(Loading, ThroughEveryConstructor) {
  EXPECT_EQ(TVqDOMDocument("<a/>").GetXML(), "<a/>");
  EXPECT_EQ(TVqDOMDocument(u"<a/>").GetXML(), "<a/>");
  EXPECT_EQ(TVqDOMDocument(string("<a/>"), kVqCodePageUtf16LE).GetXML(), "<a/>");
  TVqMemoryStream stream(std::string("xx<a>\xE9</a>"));
  stream.SetPosition(2);
  EXPECT_EQ(TVqDOMDocument(stream, kVqCodePageLatin1).GetXML(), u"<a>\u00E9</a>");
  EXPECT_EQ(VqCreateDOM("<a/>").GetXML(), "<a/>");
  TVqDOMDocument document;
  document.SetXml("<b/>");
  EXPECT_EQ(document.GetXML(), "<b/>");
  EXPECT_EQ(document.GetDocumentElement().GetXML(), "<b/>");
  EXPECT_THROW(TVqDOMDocument("<a>"), EVqXMLError);
}

// ---- Counters

TEST(ModificationCount, ChangesWithEveryChangeAndWithNothingElse) {
  TVqDOMDocument document("<r><a x=\"1\">t</a></r>");
  const IVqDOMElement root = document.GetDocumentElement(), a = root.GetFirstChildElement();
  const auto changes = [&](auto action, bool structure) {
    const auto before = document.GetModificationCount(), elements = document.GetStructureCount();
    action();
    EXPECT_EQ(document.GetStructureCount() != elements, structure);
    return document.GetModificationCount() != before;
  };
  EXPECT_FALSE(changes(
      [&] {
        root.GetXML();
        a.GetText();
        root.CreateElementList("//a");
        a.GetChildren();
      },
      false));
  EXPECT_FALSE(changes(
      [&] {
        root.GetChildElements();
        root.SelectSingleElement("a", kSelectCreate);
      },
      false));
  EXPECT_TRUE(changes([&] { a.SetText("u"); }, false));
  EXPECT_TRUE(changes([&] { a.SetAttribute("x", "2"); }, false));
  EXPECT_TRUE(changes([&] { a.RemoveAttribute("x"); }, false));
  EXPECT_TRUE(changes([&] { root.AddElement("b"); }, true));
  EXPECT_TRUE(changes([&] { root.SelectSingleElement("c", kSelectCreate); }, true));
  EXPECT_TRUE(changes([&] { a.SetQualifiedName("d"); }, true));
  EXPECT_TRUE(changes([&] { root.RemoveChild(a); }, true));
  EXPECT_TRUE(changes([&] { root.SetInnerXML("<a/>"); }, true));
  EXPECT_TRUE(changes([&] { root.SetText("x"); }, true)) << "elements went";
  EXPECT_TRUE(changes([&] { document.LoadXML("<a/>"); }, true));
}

// ---- What the typed records use

TEST(RawAccess, ReadsInPlace) {
  TVqDOMDocument document("<r><t:a>1</t:a><t:b><c>2</c>3</t:b>x<t:d k=\"v\"/></r>");
  const IVqDOMElement root = document.GetDocumentElement();
  const detail::TVqRawElement raw(root);
  std::string scratch;
  EXPECT_EQ(detail::ChildText(root, "t:a", scratch), "1");
  EXPECT_EQ(detail::ChildText(root, "t:b", scratch), "23");
  EXPECT_EQ(detail::ChildText(root, "t:d", scratch), "");
  EXPECT_EQ(detail::ChildText(root, "a", scratch), std::nullopt);
  EXPECT_EQ(raw.FirstChild().Name(), "t:a");
  EXPECT_EQ(raw.FirstChild().LocalName(), "a");
  EXPECT_EQ(raw.LastChild().Name(), "t:d");
  EXPECT_EQ(raw.LastChild().Previous().Name(), "t:b");
  EXPECT_EQ(raw.FirstChild().Next(), raw.Child("t:b"));
  EXPECT_EQ(raw.FirstChild().Parent(), raw);
  EXPECT_FALSE(raw.Parent());
  EXPECT_EQ(raw.LastChild().Attribute("k"), "v");
  EXPECT_EQ(raw.LastChild().Attribute("x"), std::nullopt);
  EXPECT_EQ(detail::MakeElement(root, raw.FirstChild()), root.GetFirstChildElement());
  const detail::TVqRawElement none;
  EXPECT_FALSE(none.FirstChild() || none.Next() || none.Parent() || none.Child("a") || none.HasChildren());
  EXPECT_EQ(none.Text(scratch), "");
}

TEST(RawAccess, InsertsAtAPlace) {
  TVqDOMDocument document("<r>t<b/></r>");
  const IVqDOMElement root = document.GetDocumentElement();
  const detail::TVqRawElement b = detail::TVqRawElement(root).FirstChild();
  detail::InsertChildBefore(root, "a", b);
  detail::InsertChildAfter(root, "c", b);
  detail::InsertChildBefore(root, "z", {});
  detail::InsertChildAfter(root, "first", {});
  EXPECT_EQ(root.GetInnerXML(), "<first/>t<a/><b/><c/><z/>");
  EXPECT_THROW(detail::InsertChildAfter(root, "x", detail::TVqRawElement(root)), EListError);
  EXPECT_THROW(detail::InsertChildAfter(root, "1", {}), EVqXMLError);
}

TEST(RawAccess, ComparesTexts) {
  TVqDOMDocument a("<r k=\"1\">t<x y=\"2\">u</x><!--c--></r>"), b("<q>t<x y=\"2\">u</x><!--c--></q>");
  const auto raw = [](const IVqDOMDocument& document) { return detail::TVqRawElement(document.GetDocumentElement()); };
  EXPECT_TRUE(detail::SameInnerXML(raw(a), raw(b)));
  EXPECT_TRUE(detail::SameText(raw(a), raw(b)));
  for (const char* other : {"<q/>", "<q>t</q>", "<q>t<x y=\"3\">u</x><!--c--></q>", "<q>t<x y=\"2\">v</x><!--c--></q>",
                            "<q>t<x y=\"2\">u</x><!--d--></q>", "<q>t<x>u</x><!--c--></q>",
                            "<q>t<x y=\"2\">u</x><!--c--><z/></q>", "<q>T<x y=\"2\">u</x><!--c--></q>"}) {
    TVqDOMDocument c(other);
    EXPECT_FALSE(detail::SameInnerXML(raw(a), raw(c))) << other;
    EXPECT_FALSE(detail::SameInnerXML(raw(c), raw(a))) << other;
  }
  b.GetDocumentElement().SetText("t");
  a.LoadXML("<r>t</r>");
  EXPECT_TRUE(detail::SameInnerXML(raw(a), raw(b))) << "text that was set against text that was read";
}

TEST(RawAccess, AssignsContentEvenFromInside) {
  TVqDOMDocument document("<r a=\"1\"><b c=\"2\">t<d/></b></r>");
  const IVqDOMElement root = document.GetDocumentElement();
  detail::AssignContent(root, root.GetFirstChildElement());
  EXPECT_EQ(document.GetXML(), "<r c=\"2\">t<d/></r>");
}

}  // namespace
}  // namespace velmore
