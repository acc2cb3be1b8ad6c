// Prefixes that are renamed, declarations that are dropped; and JSON.

#include <gtest/gtest.h>

#include <algorithm>

#include "platform/xml/uVqXMLDOM.h"

namespace velmore {
namespace {

constexpr std::string_view kM = "urn:messages", kT = "urn:types";

std::string Renamed(const char* text) {
  TVqDOMDocument document(text);
  document.RenamePrefixes({{kM, "m"}, {kT, "t"}});
  const std::string loaded = document.GetXMLAsUtf8();
  // Once changed, the whole tree is walked instead of what the load found; the result is the same.
  TVqDOMDocument changed(text);
  changed.GetDocumentElement().SetAttribute("zz", "");
  changed.RenamePrefixes({{kM, "m"}, {kT, "t"}});
  changed.GetDocumentElement().RemoveAttribute("zz");
  EXPECT_EQ(changed.GetXMLAsUtf8(), loaded);
  return loaded;
}

TEST(RenamingPrefixes, ChangesNothingThatIsRightAlready) {
  const char* right = "<s:E xmlns:s=\"urn:s\"><m:R xmlns:m=\"urn:messages\" xmlns:t=\"urn:types\"><t:a/></m:R></s:E>";
  TVqDOMDocument document(right);
  const auto before = document.GetModificationCount();
  document.RenamePrefixes({{kM, "m"}, {kT, "t"}});
  EXPECT_EQ(document.GetModificationCount(), before);
  EXPECT_EQ(document.GetXML(), right);
  EXPECT_EQ(Renamed("<t:a><m:b/></t:a>"), "<t:a><m:b/></t:a>");
}

TEST(RenamingPrefixes, OfAnyOtherChoice) {
  EXPECT_EQ(Renamed("<a:R xmlns:a=\"urn:messages\" xmlns:b=\"urn:types\"><b:x b:k=\"1\" k=\"2\"/><a:y/></a:R>"),
            "<m:R xmlns:m=\"urn:messages\" xmlns:t=\"urn:types\"><t:x t:k=\"1\" k=\"2\"/><m:y/></m:R>");
}

TEST(RenamingPrefixes, OfDefaultNamespaces) {
  EXPECT_EQ(Renamed("<R xmlns=\"urn:messages\"><a><S xmlns=\"urn:types\" k=\"1\"><b/></S></a></R>"),
            "<m:R xmlns:m=\"urn:messages\"><m:a><t:S xmlns:t=\"urn:types\" k=\"1\"><t:b/></t:S></m:a></m:R>");
  EXPECT_EQ(Renamed("<R xmlns=\"urn:messages\"><a xmlns=\"\"><b/></a></R>"),
            "<m:R xmlns:m=\"urn:messages\"><a xmlns=\"\"><b/></a></m:R>");
}

TEST(RenamingPrefixes, WhereTheTwoAreExchanged) {
  EXPECT_EQ(Renamed("<t:R xmlns:t=\"urn:messages\" xmlns:m=\"urn:types\"><m:x/><t:y/></t:R>"),
            "<m:R xmlns:m=\"urn:messages\" xmlns:t=\"urn:types\"><t:x/><m:y/></m:R>");
}

TEST(RenamingPrefixes, WhereAForeignNamespaceHasOne) {
  EXPECT_EQ(
      Renamed("<t:R xmlns:t=\"urn:foreign\" xmlns:ns1=\"urn:x\"><x xmlns=\"urn:types\"/><t:y t:k=\"1\"/></t:R>"),
      "<ns2:R xmlns:ns2=\"urn:foreign\" xmlns:ns1=\"urn:x\"><t:x xmlns:t=\"urn:types\"/><ns2:y ns2:k=\"1\"/></ns2:R>");
}

TEST(RenamingPrefixes, WhereOneNamespaceHasTwoPrefixes) {
  EXPECT_EQ(Renamed("<a:R xmlns:a=\"urn:types\" xmlns:b=\"urn:types\"><b:x/></a:R>"),
            "<t:R xmlns:t=\"urn:types\"><t:x/></t:R>");
}

TEST(RenamingPrefixes, ReachesOnlyWhatTheDeclarationReaches) {
  EXPECT_EQ(Renamed("<s:E xmlns:s=\"urn:s\"><s:H><h:V xmlns:h=\"urn:types\"/><h:W xmlns:h=\"urn:h\"/></s:H>"
                    "<m:R xmlns:m=\"urn:messages\" xmlns:t=\"urn:types\"><t:a/></m:R></s:E>"),
            "<s:E xmlns:s=\"urn:s\"><s:H><t:V xmlns:t=\"urn:types\"/><h:W xmlns:h=\"urn:h\"/></s:H>"
            "<m:R xmlns:m=\"urn:messages\" xmlns:t=\"urn:types\"><t:a/></m:R></s:E>");
  EXPECT_EQ(Renamed("<r><x/><y xmlns:q=\"urn:types\"><q:a><z/></q:a></y><q:b/></r>"),
            "<r><x/><y xmlns:t=\"urn:types\"><t:a><z/></t:a></y><q:b/></r>");
}

TEST(RenamingPrefixes, OfElementsWithoutAnythingInside) {
  const std::pair<const char*, const char*> leaves[] = {
      {"<h:V xmlns:h=\"urn:types\" k=\"1\"/>", "<t:V xmlns:t=\"urn:types\" k=\"1\"/>"},
      {"<h:V k=\"1\" h:k=\"2\" xmlns:h=\"urn:types\"/>", "<t:V k=\"1\" t:k=\"2\" xmlns:t=\"urn:types\"/>"},
      {"<h:V s:k=\"2\" xmlns:h=\"urn:types\"/>", "<t:V s:k=\"2\" xmlns:t=\"urn:types\"/>"},
      {"<h:V xmlns:h=\"urn:types\" xmlns:i=\"urn:messages\"/>",
       "<t:V xmlns:t=\"urn:types\" xmlns:m=\"urn:messages\"/>"},
      {"<h:V xmlns:h=\"urn:types\" xmlns:i=\"urn:types\"/>", "<t:V xmlns:t=\"urn:types\"/>"},
      {"<m:V xmlns:m=\"urn:types\"/>", "<t:V xmlns:t=\"urn:types\"/>"},
      {"<V xmlns=\"urn:types\"/>", "<t:V xmlns:t=\"urn:types\"/>"},
      {"<s:V xmlns:h=\"urn:types\"/>", "<s:V xmlns:t=\"urn:types\"/>"},
      {"<h:V xmlns:h=\"urn:types\">text</h:V>", "<t:V xmlns:t=\"urn:types\">text</t:V>"},
      {"<h:V xmlns:h=\"urn:h\"/>", "<h:V xmlns:h=\"urn:h\"/>"},
      {"<t:V xmlns:t=\"urn:h\"/>", "<ns1:V xmlns:ns1=\"urn:h\"/>"},
  };
  for (const auto& [leaf, renamed] : leaves) {
    const std::string before = "<s:E xmlns:s=\"urn:s\"><s:H>", after = "</s:H></s:E>";
    EXPECT_EQ(Renamed((before + leaf + after).c_str()), before + renamed + after);
  }
}

TEST(RenamingPrefixes, InDocumentsThatTheQuickLookLeavesAlone) {
  EXPECT_EQ(Renamed("<!-- c --><a:R xmlns:a='urn:messages'><!-- d --><a:b/></a:R>"),
            "<!-- c --><m:R xmlns:m=\"urn:messages\"><!-- d --><m:b/></m:R>");
  EXPECT_NO_THROW(TVqDOMDocument().RenamePrefixes({{kM, "m"}}));
}

TEST(RefreshingNamespaces, DropsRepetitions) {
  TVqDOMDocument document(
      "<t:a xmlns:t=\"urn:t\"><t:b xmlns:t=\"urn:t\" xmlns:u=\"urn:u\"><t:c xmlns:t=\"urn:other\"/></t:b></t:a>");
  document.GetDocumentElement().RefreshNamespaces();
  EXPECT_EQ(document.GetXML(),
            "<t:a xmlns:t=\"urn:t\"><t:b xmlns:u=\"urn:u\"><t:c xmlns:t=\"urn:other\"/></t:b></t:a>");
}

TEST(RefreshingNamespaces, KnowsWhatStandsAroundTheElement) {
  TVqDOMDocument document(
      "<a xmlns:t='urn:t' xmlns:u='urn:u'><b xmlns:u='urn:v'><c xmlns:t='urn:t' xmlns:u='urn:u' xmlns:xml="
      "'http://www.w3.org/XML/1998/namespace' xmlns=''/></b></a>");
  document.SelectSingleElement("//c").RefreshNamespaces();
  EXPECT_EQ(document.SelectSingleElement("//c").GetXML(), "<c xmlns:u=\"urn:u\"/>");
  document.RefreshNamespaces();
  EXPECT_EQ(document.GetXML(),
            "<a xmlns:t=\"urn:t\" xmlns:u=\"urn:u\"><b xmlns:u=\"urn:v\"><c xmlns:u=\"urn:u\"/></b></a>");
}

TEST(RenamingPrefixes, LeavesAScopeWithItsElement) {
  EXPECT_EQ(Renamed("<r><x:a xmlns:x=\"urn:types\"><x:b xmlns:x=\"urn:messages\"/><x:c/></x:a><x:d/></r>"),
            "<r><t:a xmlns:t=\"urn:types\"><m:b xmlns:m=\"urn:messages\"/><t:c/></t:a><x:d/></r>");
  // Around the element that declares: found, and the inner one first.
  EXPECT_EQ(
      Renamed("<y:r xmlns:y=\"urn:y\"><x:a xmlns:x=\"urn:x\"><q:b xmlns:q=\"urn:types\" x:k=\"1\"><x:c/></q:b></x:a>"
              "</y:r>"),
      "<y:r xmlns:y=\"urn:y\"><x:a xmlns:x=\"urn:x\"><t:b xmlns:t=\"urn:types\" x:k=\"1\"><x:c/></t:b></x:a></y:r>");
}

TEST(Namespaces, TakeNoLongerHoweverManyAreInScope) {
  // 40,000 declarations around 100,000 elements: with a look at each of them these two would take minutes.
  std::string open = "<o:r xmlns:o=\"urn:types\">", close = "</o:r>";
  for (int depth = 0; depth < 200; ++depth) {
    open += "<x";
    for (int i = 0; i < 200; ++i) {
      const std::string name = std::to_string(depth) + "_" + std::to_string(i);
      open += " xmlns:p" + name + "=\"urn:" + name + "\"";
    }
    open += ">";
    close = "</x>" + close;
  }
  for (int i = 0; i < 100'000; ++i) open += "<o:e/>";
  TVqDOMDocument document;
  document.LoadXML(open + close);
  document.RenamePrefixes({{kM, "m"}, {kT, "t"}});
  EXPECT_EQ(document.CreateElementList("//t:e").Count(), 100'000);
  const IVqDOMElement inner = document.SelectSingleElement("//t:e");
  for (const IVqDOMElement& element : document.CreateElementList("//t:e")) element.SetAttribute("xmlns:t", "urn:types");
  document.RefreshNamespaces();
  EXPECT_EQ(inner.AttributeCount(), 0);
  EXPECT_EQ(inner.GetNamespaceURI(), "urn:types");
}

TEST(CreateRootNode, DeclaresItsNamespace) {
  TVqDOMDocument prefixed, plain;
  prefixed.CreateRootNode("soap:Envelope", "urn:s").AddElement("soap:Body");
  plain.CreateRootNode("Profiles", "urn:p");
  EXPECT_EQ(prefixed.GetXML(), "<soap:Envelope xmlns:soap=\"urn:s\"><soap:Body/></soap:Envelope>");
  EXPECT_EQ(plain.GetXML(), "<Profiles xmlns=\"urn:p\"/>");
  EXPECT_EQ(prefixed.SelectSingleElement("//Body", kSelectQuiet).GetNamespaceURI(), "urn:s");
}

// ---- JSON

std::string Json(const char* xml, bool indent = false) {
  TVqMemoryStream stream;
  TVqDOMDocument(xml).GetDocumentElement().SaveToJSONStream(stream, kVqCodePageUtf8, indent);
  return stream.Bytes();
}

TEST(Json, HasAShapeForEverything) {
  EXPECT_EQ(Json("<a/>"), R"({"a":""})");
  EXPECT_EQ(Json("<t:a>x</t:a>"), R"({"t:a":"x"})");
  EXPECT_EQ(Json("<a k=\"1\">x</a>"), R"({"a":{"@k":"1","#text":"x"}})");
  EXPECT_EQ(Json("<a> <b>1</b> <c/><b>2</b></a>"), R"({"a":{"b":["1","2"],"c":""}})");
  EXPECT_EQ(Json("<a>\"\\&#9;&#10;&#13;</a>"), R"({"a":"\"\\\t\n\r"})");
  EXPECT_EQ(Json("<a><b>1</b><b>2</b></a>", true),
            "{\n  \"a\": {\n    \"b\": [\n      \"1\",\n      \"2\"\n    ]\n  }\n}");
}

TEST(Json, IsReadBack) {
  for (const char* xml : {"<a/>", "<t:a k=\"1\">x</t:a>", "<a><b>1</b><b><c k=\"v\"/></b><d>2</d></a>",
                          "<a k=\"1\" l=\"2\">\xC3\xBC<b/></a>"}) {
    TVqMemoryStream stream(Json(xml));
    TVqDOMDocument document("<old/>");
    document.LoadFromJSONStream(stream);
    EXPECT_EQ(document.GetXMLAsUtf8(), xml);
    TVqMemoryStream again(Json(xml, true));
    TVqDOMDocument inside("<r><x/></r>");
    inside.SelectSingleElement("//x").LoadFromJSONStream(again, kVqCodePageUtf8);
    EXPECT_EQ(inside.GetDocumentElement().GetInnerXML().utf8(), xml);
  }
  TVqMemoryStream values(std::string(R"({"a":{"b":true,"c":null,"d":-1.50,"e":18446744073709551615}})"));
  TVqDOMDocument document;
  document.LoadFromJSONStream(values);
  EXPECT_EQ(document.GetXML(), "<a><b>true</b><c/><d>-1.50</d><e>18446744073709551615</e></a>");
}

TEST(Json, OfAnotherShapeIsRefusedAndChangesNothing) {
  const std::string deep = [] {
    std::string text = "{\"a\":";
    for (int i = 0; i < 100'000; ++i) text += "{\"a\":";
    return text;
  }();
  for (const std::string& wrong : std::initializer_list<std::string>{
           "", "1", "\"a\"", "[]", "{}", "{\"a\":1,\"b\":2}", "{\"a\":[1]}", "{\"a\":{\"b\":[[1]]}}", "{\"a\"",
           "{\"1\":\"\"}", "{\"a\":\"\\u0001\"}", "{\"a\":{\"@\":\"\"}}", deep}) {
    TVqMemoryStream stream(wrong);
    TVqDOMDocument document("<old/>");
    EXPECT_THROW(document.LoadFromJSONStream(stream), EVqXMLError) << wrong.substr(0, 100);
    EXPECT_EQ(document.GetXML(), "<old/>") << wrong.substr(0, 100);
  }
}

TEST(Json, HasABoundOfItsOwnForDepth) {
  const auto nested = [](int depth) {
    TVqDOMDocument document;
    IVqDOMElement element = document.CreateRootNode("a");
    for (int i = 1; i < depth; ++i) element = element.AddElement("a");
    // Raised limits are for documents; this is for the stack.
    document.SetLimits({.MaxDepth = 10'000'000});
    return document;
  };
  TVqMemoryStream stream;
  nested(512).SaveToJSONStream(stream, kVqCodePageUtf8, false);
  const std::string text = stream.TakeBytes();
  EXPECT_EQ(std::count(text.begin(), text.end(), '{'), 512);
  for (const int depth : {513, 100'000}) {
    try {
      nested(depth).SaveToJSONStream(stream, kVqCodePageUtf8, false);
      FAIL() << depth;
    } catch (const EVqException& error) {
      EXPECT_STREQ(error.what(), "The elements are nested too deep for JSON.");
    }
  }
  EXPECT_EQ(stream.GetSize(), 0u) << "nothing is written of what is refused";
}

TEST(Json, BoundIsOfElementsAndNotOfLines) {
  // Each level has two elements of one name, so that each element stands in an array.
  TVqDOMDocument document;
  IVqDOMElement element = document.CreateRootNode("a");
  for (int i = 1; i < 500; ++i) {
    element.AddElement("a");
    element = element.AddElement("a");
  }
  TVqMemoryStream stream;
  EXPECT_NO_THROW(document.SaveToJSONStream(stream, kVqCodePageUtf8, true));
}

TEST(Json, ComesBackFromADepthBeyondTheUsualLimit) {
  TVqDOMDocument document;
  IVqDOMElement element = document.CreateRootNode("a");
  for (int i = 1; i < 400; ++i) element = element.AddElement("a");
  element.SetText("x");
  TVqMemoryStream stream;
  document.SaveToJSONStream(stream, kVqCodePageUtf8, false);
  const std::string json = stream.TakeBytes();
  TVqMemoryStream again(json);
  TVqDOMDocument read("<a/>");
  EXPECT_THROW(read.LoadFromJSONStream(again), EVqXMLError) << "nested deeper than documents may be";
  read.SetLimits({.MaxDepth = 500});
  again.SetPosition(0);
  read.LoadFromJSONStream(again);
  EXPECT_EQ(read.GetXML(), document.GetXML());
}

}  // namespace
}  // namespace velmore
