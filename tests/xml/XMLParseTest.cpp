// What is read, what is refused, and where.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <pugixml.hpp>

#include "platform/xml/uVqXMLDOM.h"
#include "platform/xml/uVqXMLQuickScan_p.h"
#include "platform/xml/uVqXMLScan_p.h"

namespace velmore {
namespace {

using namespace std::string_literals;

std::string Read(std::string_view bytes, std::int32_t codePage = kVqCodePageDefault) {
  TVqDOMDocument document;
  document.LoadFromBytes(bytes, codePage);
  return document.GetXMLAsUtf8();
}

struct TPlace {
  std::int32_t Line, Column;
  bool operator==(const TPlace&) const = default;
  friend std::ostream& operator<<(std::ostream& out, const TPlace& place) {
    return out << place.Line << ":" << place.Column;
  }
};
TPlace PlaceOfError(std::string_view bytes, std::int32_t codePage = kVqCodePageDefault) {
  TVqDOMDocument document;
  try {
    document.LoadFromBytes(bytes, codePage);
  } catch (const EVqXMLError& error) {
    EXPECT_FALSE(document.GetDocumentElement()) << "a document that could not be read is empty";
    return {error.GetLine(), error.GetColumn()};
  }
  ADD_FAILURE() << "accepted: " << bytes;
  return {};
}

const char kReply[] =
    "<?xml version=\"1.0\" encoding=\"utf-8\"?>\r\n"
    "<s:Envelope xmlns:s=\"http://schemas.xmlsoap.org/soap/envelope/\"><s:Body>"
    "<m:GetItemResponse xmlns:m=\"http://schemas.microsoft.com/exchange/services/2006/messages\" "
    "xmlns:t='http://schemas.microsoft.com/exchange/services/2006/types'><m:ResponseMessages>"
    "<m:GetItemResponseMessage ResponseClass=\"Success\"><m:ResponseCode>NoError</m:ResponseCode><m:Items>"
    "<t:Message><t:ItemId Id=\"AAMk=\" ChangeKey=\"CQAA\"/><t:Subject>Gr\xC3\xBC\xC3\x9F"
    "e &amp; \xE2\x82\xAC &#x263A;</t:Subject>"
    "<t:Body BodyType=\"HTML\">&lt;p&gt;Hello&lt;/p&gt;</t:Body></t:Message></m:Items></m:GetItemResponseMessage>"
    "</m:ResponseMessages></m:GetItemResponse></s:Body></s:Envelope>\r\n";

TEST(Parsing, ReadsAReply) {
  TVqDOMDocument document;
  document.LoadFromBytes(kReply);
  EXPECT_EQ(document.SelectSingleElement("//Subject", kSelectQuiet).GetTextAsUtf8(),
            "Gr\xC3\xBC\xC3\x9F"
            "e & \xE2\x82\xAC \xE2\x98\xBA");
  EXPECT_EQ(document.SelectSingleElement("//ItemId", kSelectQuiet).GetAttribute("ChangeKey"), "CQAA");
}

TEST(Parsing, RefusesAReplyCutAtEveryByte) {
  const std::string_view reply(kReply, sizeof kReply - 1);
  const std::size_t whole = reply.rfind('>') + 1;
  for (std::size_t length = 0; length < reply.size(); ++length) {
    TVqDOMDocument document;
    if (length >= whole) {
      EXPECT_NO_THROW(document.LoadFromBytes(reply.substr(0, length))) << length;
    } else {
      EXPECT_THROW(document.LoadFromBytes(reply.substr(0, length)), EVqXMLError) << length;
    }
  }
}

TEST(Parsing, TellsLineAndColumnInCharacters) {
  EXPECT_EQ(PlaceOfError(""), (TPlace{1, 1}));
  EXPECT_EQ(PlaceOfError("<a>"), (TPlace{1, 4}));
  EXPECT_EQ(PlaceOfError("<a>\n<b>\n</a>"), (TPlace{3, 1}));
  EXPECT_EQ(PlaceOfError("<a>\r\n\r  &no;</a>"), (TPlace{3, 3}));
  EXPECT_EQ(PlaceOfError("<a>\xC3\xBC\xE2\x82\xAC&x</a>"), (TPlace{1, 6}));
  EXPECT_EQ(PlaceOfError("<a x=\"1\" y='<'/>"), (TPlace{1, 13}));
}

TEST(Parsing, SaysWhatIsWrong) {
  const std::pair<const char*, const char*> wrong[] = {
      {"", "no root element"},
      {" \n", "no root element"},
      {"<!-- only -->", "no root element"},
      {"text", "Text outside of the root element"},
      {"text<a/>", "Text outside of the root element"},
      {"<a/>text", "Text outside of the root element"},
      {"<a></a>text>", "Text outside of the root element"},
      {"<a/>text<!-- c -->", "Text outside of the root element"},
      {"<a/>&amp;", "Text outside of the root element"},
      {"<a/><![CDATA[x]]>", "Text outside of the root element"},
      {"<a/><b/>", "A second root element"},
      {"<a></a><b></b>", "A second root element"},
      {"<a>", "ends inside of the element \"a\""},
      {"<a><b></a>", "The end of \"a\" where \"b\" is open"},
      {"<a></b>", "The end of \"b\" where \"a\" is open"},
      {"<a></a></a>", "The end of \"a\" has no beginning"},
      {"</a>", "The end of \"a\" has no beginning"},
      {"<a", "ends inside of a tag"},
      {"<a b", "has no value"},
      {"<a b=", "must be quoted"},
      {"<a b=c/>", "must be quoted"},
      {"<a b='c/>", "ends inside of an attribute"},
      {"<a b='1'c='2'/>", "An attribute, \"/>\" or \">\" is expected"},
      {"<a b='1' b='2'/>", "The attribute \"b\" occurs twice"},
      {"<a b=\"1\" b=\"2\"/>", "The attribute \"b\" occurs twice"},
      {"<a x=\"1\" b=\"1\" c=\"2\" b=\"3\"></a>", "The attribute \"b\" occurs twice"},
      {"<a b=\"<\"/>", "\"<\" in the value"},
      {"<a b=\"<c></c>\"/>", "\"<\" in the value"},
      {"<a b=\"><c/>\"/>", "\"<\" in the value"},
      {"<a b='x<y'></a>", "\"<\" in the value"},
      {"< a/>", "begins no tag"},
      {"<1/>", "begins no tag"},
      {"<a>x < y</a>", "begins no tag"},
      {"<a></ a>", "begins no tag"},
      {"<a></a x>", "A \">\" is expected"},
      {"<a>&</a>", "begins no reference"},
      {"<a>R&D</a>", "begins no reference"},
      {"<a>&;</a>", "begins no reference"},
      {"<a>&#;</a>", "begins no reference"},
      {"<a>&#x;</a>", "begins no reference"},
      {"<a>&#12a;</a>", "begins no reference"},
      {"<a>&#X41;</a>", "begins no reference"},
      {"<a>&lt</a>", "begins no reference"},
      {"<a b='&'/>", "begins no reference"},
      {"<a>&nbsp;</a>", "The entity \"nbsp\" is not defined"},
      {"<a b=\"&uuml;\"/>", "The entity \"uuml\" is not defined"},
      {"<a>]]></a>", "\"]]>\" in text"},
      {"<a><!-- a -- b --></a>", "\"--\" in a comment"},
      {"<a><!-- a ---></a>", "\"--\" in a comment"},
      {"<a><!-- a", "inside of a comment"},
      {"<a><![CDATA[", "inside of a CDATA section"},
      {"<a><![CDATA", "begins no tag"},
      {"<a><?x", "A blank or \"?>\" is expected"},
      {"<a><?x y", "inside of a processing instruction"},
      {"<a><? x?></a>", "begins no processing instruction"},
      {"<a><?xml version='1.0'?></a>", "stands only at the start"},
      {" <?xml version='1.0'?><a/>", "stands only at the start"},
      {"<a><?XmL?></a>", "stands only at the start"},
      {"<?xml?><a/>", "declaration is wrong"},
      {"<?xml version='2.0'?><a/>", "declaration is wrong"},
      {"<?xml version='1.0' version='1.0'?><a/>", "declaration is wrong"},
      {"<?xml encoding='utf-8' version='1.0'?><a/>", "declaration is wrong"},
      {"<?xml version='1.0' standalone='maybe'?><a/>", "declaration is wrong"},
      {"<?xml version='1.0'encoding='utf-8'?><a/>", "declaration is wrong"},
      {"<?xml version='1.0' ><a/>", "declaration is wrong"},
      {"<?xml version='1.0", "declaration is wrong"},
      {"<?xml version='1.0' encoding='ebcdic'?><a/>", "\"ebcdic\" is not supported"},
      {"<?xml version='1.0' encoding='utf-16'?><a/>", "says that it is UTF-16"},
      {"<!DOCTYPE a><a/>", "document type declaration is not accepted"},
      {"<a\xC3\x97/>", "An attribute, \"/>\" or \">\" is expected"},
      {"<\xC3\x97/>", "begins no tag"},
      {"<a \xC3\xB7='1'/>", "An attribute, \"/>\" or \">\" is expected"},
  };
  for (const auto& [text, message] : wrong) {
    try {
      Read(text);
      ADD_FAILURE() << "accepted: " << text;
    } catch (const EVqXMLError& error) {
      EXPECT_THAT(error.what(), testing::HasSubstr(message)) << text;
      EXPECT_GT(error.GetLine(), 0) << text;
    }
  }
}

// A hostile document does not choose how long the text of its failure is.
TEST(Parsing, FailuresShowTheBeginningOfWhatTheyName) {
  const std::string x(1 << 20, 'x');
  for (const std::string& text :
       {"<?xml version='1.0' encoding='" + x + "'?><a/>", "<a>&" + x + ";</a>", "<" + x + "/>", "<a " + x + "=''/>",
        "<" + x.substr(0, 1000) + "></b>", "<" + x.substr(0, 1000) + ">"}) {
    try {
      Read(text);
      ADD_FAILURE() << "accepted: " << text.substr(0, 50);
    } catch (const EVqXMLError& error) {
      EXPECT_LT(std::string_view(error.what()).size(), 1200u) << text.substr(0, 50);
    }
  }
}

TEST(Parsing, TakesEverythingThatIsWellFormed) {
  const std::pair<const char*, const char*> good[] = {
      {"<a/>", "<a/>"},
      {" \r\n<a/>\t ", "<a/>"},
      {"<a ></a >", "<a/>"},
      {"<a b = 'c' d\n=\n\"e\" />", "<a b=\"c\" d=\"e\"/>"},
      {"<a b='\"' c=\"'\"/>", "<a b=\"&quot;\" c=\"'\"/>"},
      {"<a b='x>y'>1>0</a>", "<a b=\"x&gt;y\">1&gt;0</a>"},
      {"<a>]]</a>", "<a>]]</a>"},
      {"<a>]] ></a>", "<a>]] &gt;</a>"},
      {"<a>&lt;&gt;&amp;&quot;&apos;&#65;&#x42;&#x000043;</a>", "<a>&lt;&gt;&amp;\"'ABC</a>"},
      {"<a> <b/> </a>", "<a> <b/> </a>"},
      {"<a>x<b/>y<c/>z</a>", "<a>x<b/>y<c/>z</a>"},
      {"<a>x\r\ny\rz</a>", "<a>x\ny\nz</a>"},
      {"<a>x&#13;y</a>", "<a>x&#13;y</a>"},
      {"<a b='x\ty\nz'/>", "<a b=\"x y z\"/>"},
      {"<a b='x&#9;y&#10;z'/>", "<a b=\"x&#9;y&#10;z\"/>"},
      {"<a><![CDATA[<b>&]]]]></a>", "<a><![CDATA[<b>&]]]]></a>"},
      {"<!-- x --><a><!-- y --></a><!-- z -->", "<!-- x --><a><!-- y --></a><!-- z -->"},
      {"<?p d?><a><?q?></a>", "<?p d?><a><?q?></a>"},
      {"<?xml version='1.0'?><a/>", "<a/>"},
      {"<?xml version=\"1.1\" encoding=\"UTF-8\" standalone='yes' ?>\n<a/>", "<a/>"},
      {"<t:Subject>no declaration</t:Subject>", "<t:Subject>no declaration</t:Subject>"},
      {"<\xC3\xBC \xC3\xA4='1'/>", "<\xC3\xBC \xC3\xA4=\"1\"/>"},
      {"\xEF\xBB\xBF<a/>", "<a/>"},
      {"<a b='&lt;'/>", "<a b=\"&lt;\"/>"},
      {"<a\nb=\"1\"\nc=\"1\"/>", "<a b=\"1\" c=\"1\"/>"},
      {"<x><a i=\"1\"/><a i=\"1\"/></x>", "<x><a i=\"1\"/><a i=\"1\"/></x>"},
      {"<_:-.1/>", "<_:-.1/>"},
  };
  for (const auto& [text, written] : good) EXPECT_EQ(Read(text), written) << text;
}

// ---- Characters that XML forbids

TEST(Parsing, ReadsForbiddenCharactersOfRepliesAsReplacement) {
  const std::string replaced = "\xEF\xBF\xBD";
  for (int c = 1; c < 0x20; ++c) {
    if (c == '\t' || c == '\n' || c == '\r') continue;
    const std::string raw(1, static_cast<char>(c));
    EXPECT_EQ(Read("<a b='x" + raw + "y'>p" + raw + "q</a>"), "<a b=\"x" + replaced + "y\">p" + replaced + "q</a>")
        << c;
    EXPECT_EQ(Read("<a b='&#" + std::to_string(c) + ";'>&#" + std::to_string(c) + ";</a>"),
              "<a b=\"" + replaced + "\">" + replaced + "</a>")
        << c;
  }
  EXPECT_EQ(Read("<a>\0x&#0;y</a>"s), "<a>" + replaced + "x" + replaced + "y</a>");
  EXPECT_EQ(Read("<a>&#x1F;&#x0B;&#xD800;&#xDFFF;&#xFFFE;&#xFFFF;&#x110000;&#99999999999;</a>"),
            "<a>" + replaced + replaced + replaced + replaced + replaced + replaced + replaced + replaced + "</a>");
  EXPECT_EQ(Read("<a>\xEF\xBF\xBE\xEF\xBF\xBF</a>"), "<a>" + replaced + replaced + "</a>");
  EXPECT_EQ(Read("<a><![CDATA[\x01]]><!-- \x02 --></a>"),
            "<a><![CDATA[" + replaced + "]]><!-- " + replaced + " --></a>");
}

TEST(Parsing, RefusesBytesThatAreNoUtf8) {
  EXPECT_EQ(PlaceOfError("<a>\xFF</a>"), (TPlace{1, 4}));
  EXPECT_EQ(PlaceOfError("<a>\n\xC3</a>"), (TPlace{2, 1}));
  EXPECT_EQ(PlaceOfError("<a>\xC0\x80</a>"), (TPlace{1, 4}));          // overlong
  EXPECT_EQ(PlaceOfError("<a>\xED\xA0\x80</a>"), (TPlace{1, 4}));      // a surrogate
  EXPECT_EQ(PlaceOfError("<a>\xF4\x90\x80\x80</a>"), (TPlace{1, 4}));  // beyond U+10FFFF
  EXPECT_EQ(PlaceOfError("<a>\xE2\x82</a>"), (TPlace{1, 4}));          // cut
  EXPECT_EQ(PlaceOfError("<a b='\x80'/>"), (TPlace{1, 7}));
}

// ---- Encodings

std::string Wide(std::u16string_view text, bool big) {
  std::string bytes;
  for (const char16_t unit : text) {
    const char low = static_cast<char>(unit & 0xFF), high = static_cast<char>(unit >> 8);
    bytes += big ? high : low;
    bytes += big ? low : high;
  }
  return bytes;
}

TEST(Encodings, AreTakenFromTheDeclaration) {
  EXPECT_EQ(Read("<?xml version='1.0' encoding='ISO-8859-1'?><a>\xFC</a>"), "<a>\xC3\xBC</a>");
  EXPECT_EQ(Read("<?xml version='1.0' encoding='windows-1252'?><a>\x80\xFC</a>"), "<a>\xE2\x82\xAC\xC3\xBC</a>");
  EXPECT_EQ(Read("<?xml version='1.0' encoding='us-ascii'?><a>x</a>"), "<a>x</a>");
  EXPECT_EQ(PlaceOfError("<?xml version='1.0' encoding='US-ASCII'?><a>\xFC</a>").Column, 45);
}

TEST(Encodings, AreTakenFromTheByteOrderMark) {
  EXPECT_EQ(Read("\xFF\xFE" + Wide(u"<a>\u20AC\U0001F600</a>", false)), "<a>\xE2\x82\xAC\xF0\x9F\x98\x80</a>");
  EXPECT_EQ(Read("\xFE\xFF" + Wide(u"<?xml version='1.0' encoding='utf-16'?><a>\u20AC</a>", true)),
            "<a>\xE2\x82\xAC</a>");
  // A mark overrules what the declaration and the caller say.
  EXPECT_EQ(Read("\xEF\xBB\xBF<?xml version='1.0' encoding='iso-8859-1'?><a>\xC3\xBC</a>", kVqCodePageLatin1),
            "<a>\xC3\xBC</a>");
}

TEST(Encodings, AreFoundWithoutMark) {
  EXPECT_EQ(Read(Wide(u"<a>\u20AC</a>", false)), "<a>\xE2\x82\xAC</a>");
  EXPECT_EQ(Read(Wide(u"<a>\u20AC</a>", true)), "<a>\xE2\x82\xAC</a>");
}

TEST(Encodings, AreTakenFromTheArgument) {
  EXPECT_EQ(Read("<a>\xFC</a>", kVqCodePageLatin1), "<a>\xC3\xBC</a>");
  EXPECT_EQ(Read("<a>\x80</a>", kVqCodePage1252), "<a>\xE2\x82\xAC</a>");
  EXPECT_EQ(Read(Wide(u"<a/>", true), kVqCodePageUtf16BE), "<a/>");
  EXPECT_EQ(Read("<?xml version='1.0' encoding='utf-8'?><a>\xFC</a>", kVqCodePageLatin1), "<a>\xC3\xBC</a>");
  EXPECT_THROW(Read("<a/>", 437), EConvertError);
}

TEST(Encodings, RefuseHalfCharactersOfUtf16) {
  EXPECT_EQ(PlaceOfError(Wide(u"<a>", false) + "\x01\xD8" + Wide(u"</a>", false)), (TPlace{1, 4}));
  EXPECT_EQ(PlaceOfError(Wide(u"<a/>", false) + "x"), (TPlace{1, 5}));
}

TEST(Encodings, OfTextAreIgnored) {
  TVqDOMDocument document(string(u"<?xml version='1.0' encoding='utf-16'?><a>\u20AC</a>"));
  EXPECT_EQ(document.GetDocumentElement().GetText(), u"\u20AC");
}

TEST(Encodings, ForbiddenCharactersAreReplacedInStreamsOfAnyEncoding) {
  TVqMemoryStream stream(Wide(u"<a>\x01&#x1F;</a>", false));
  TVqDOMDocument document(stream, kVqCodePageUtf16LE);
  EXPECT_EQ(document.GetDocumentElement().GetText(), u"\uFFFD\uFFFD");
}

// ---- Hostile input

TEST(HostileInput, MeetsTheLimitOfDepth) {
  const auto nested = [](int depth) {
    std::string text;
    for (int i = 0; i < depth; ++i) text += "<a>";
    for (int i = 0; i < depth; ++i) text += "</a>";
    return text;
  };
  EXPECT_NO_THROW(Read(nested(256)));
  try {
    Read(nested(257));
    FAIL();
  } catch (const EVqXMLError& error) {
    EXPECT_EQ(error.GetColumn(), 256 * 3 + 1);
    EXPECT_THAT(error.what(), testing::HasSubstr("more than 256 deep"));
  }
  EXPECT_THROW(Read(nested(3'000'000)), EVqXMLError);
  EXPECT_THROW(Read(std::string(30'000'000, '<')), EVqXMLError);
}

TEST(HostileInput, SelfClosingElementsDoNotAddUpToDepth) {
  std::string text = "<r>";
  for (int i = 0; i < 5000; ++i) text += "<a x=\"1\"/><b></b>";
  EXPECT_NO_THROW(Read(text + "</r>"));
}

TEST(HostileInput, MeetsTheLimitsOfAttributesNamesNodesAndSize) {
  TVqDOMDocument document;
  TVqXMLLimits limits;
  limits.MaxAttributes = 3;
  limits.MaxNameLength = 5;
  limits.MaxNodes = 10;
  limits.MaxBytes = 100;
  document.SetLimits(limits);
  EXPECT_NO_THROW(document.LoadXML("<abcde a='' b='' c=''/>"));
  EXPECT_THROW(document.LoadXML("<abcdef/>"), EVqXMLError);
  EXPECT_THROW(document.LoadXML("<a abcdef=''/>"), EVqXMLError);
  EXPECT_THROW(document.LoadXML("<a a='' b='' c='' d=''/>"), EVqXMLError);
  EXPECT_NO_THROW(document.LoadXML("<a><b/><b/><b/><b/><b/><b/><b/><b/><b/></a>"));
  EXPECT_THROW(document.LoadXML("<a><b/><b/><b/><b/><b/><b/><b/><b/><b/><b/></a>"), EVqXMLError);
  EXPECT_NO_THROW(document.LoadFromBytes("<a>" + std::string(93, 'x') + "</a>"));
  EXPECT_THROW(document.LoadFromBytes("<a>" + std::string(94, 'x') + "</a>"), EVqXMLError);
  TVqMemoryStream endless("<a>" + std::string(1000, 'x') + "</a>");
  EXPECT_THROW(document.LoadFromStream(endless), EVqXMLError);
  EXPECT_EQ(endless.GetPosition(), 101u) << "no more is read than is needed to refuse";

  TVqDOMDocument wide;  // the limits as they are
  std::string attributes, longName(1024, 'n');
  for (int i = 0; i < 256; ++i) attributes += " a" + std::to_string(i) + "=\"\"";
  EXPECT_NO_THROW(wide.LoadXML("<a" + attributes + "/>"));
  EXPECT_THROW(wide.LoadXML("<a" + attributes + " b=\"\"/>"), EVqXMLError);
  EXPECT_NO_THROW(wide.LoadXML("<" + longName + " " + longName + "=\"\"/>"));
  EXPECT_THROW(wide.LoadXML("<" + longName + "n/>"), EVqXMLError);
  EXPECT_THROW(wide.LoadXML("<a " + longName + "n=\"\"/>"), EVqXMLError);
}

TEST(HostileInput, TellsWhichLimitItMet) {
  const auto message = [](const char* text, const TVqXMLLimits& limits) -> std::string {
    TVqDOMDocument document;
    document.SetLimits(limits);
    try {
      document.LoadFromBytes(text);
    } catch (const EVqXMLError& error) {
      return error.what();
    }
    return "read";
  };
  EXPECT_EQ(message("<a><b/><b/></a>", {.MaxNodes = 2}), "The document has more than 2 nodes. (line 1, column 10)");
  EXPECT_EQ(message("<a b='' c=''/>", {.MaxNodes = 2}), "The document has more than 2 nodes. (line 1, column 10)");
  EXPECT_EQ(message("<a>xxxx</a>", {.MaxBytes = 10}), "The document has more than 10 bytes. (line 1, column 1)");
  EXPECT_EQ(message("<a>xxx</a>", {.MaxBytes = 10}), "read");
  EXPECT_EQ(message("<a><b/></a>", {.MaxDepth = 1}), "The elements are nested more than 1 deep. (line 1, column 4)");
}

TEST(HostileInput, ManySmallElementsAreRefusedBeforeTheyCostMemory) {
  // A tree takes 16 times the size of such a text.
  static std::size_t allocated;
  allocated = 0;
  const pugi::allocation_function before = pugi::get_memory_allocation_function();
  const pugi::deallocation_function freeing = pugi::get_memory_deallocation_function();
  pugi::set_memory_management_functions(
      [](std::size_t size) {
        allocated += size;
        return std::malloc(size);
      },
      std::free);
  std::string text = "<r>";
  while (text.size() < (20u << 20)) text += "<a/>";
  text += "</r>";
  std::string failure;
  {
    TVqDOMDocument document;
    try {
      document.LoadFromBytes(text);
    } catch (const EVqXMLError& error) {
      failure = error.what();
    }
  }
  pugi::set_memory_management_functions(before, freeing);
  EXPECT_THAT(failure, testing::StartsWith("The document has more than 4000000 nodes. (line 1, column "));
  EXPECT_LT(allocated, 1u << 20);
}

TEST(HostileInput, EntitiesOfADocumentTypeExpandNothing) {
  EXPECT_THROW(Read("<!DOCTYPE a [<!ENTITY x \"xxxxxxxxxx\"><!ENTITY y \"&x;&x;&x;\">]><a>&y;</a>"), EVqXMLError);
  EXPECT_THROW(Read("<!DOCTYPE a SYSTEM \"file:///etc/passwd\"><a/>"), EVqXMLError);
}

TEST(HostileInput, HundredMegabytesOfTextInOneElement) {
  std::string text = "<a><b>";
  text.append(100'000'000, 'Q');
  text += "</b></a>";
  TVqMemoryStream stream(std::move(text));
  TVqDOMDocument document(stream, kVqCodePageDefault);
  EXPECT_EQ(document.SelectSingleElement("//b").GetTextAsUtf8().size(), 100'000'000u);
}

TEST(HostileInput, RandomBytesNeverGetThroughUnchecked) {
  // Whatever is accepted must be written and read again with the same result.
  std::uint32_t state = 12345;
  const auto next = [&] { return state = state * 1664525 + 1013904223; };
  const std::string_view alphabet = "<<<>>//ab ='\"&;#x!?-[]\n\xC3\xBC\x01";
  int accepted = 0;
  for (int i = 0; i < 200'000; ++i) {
    std::string text = i % 3 == 0 ? "<a>" : "<a ";
    for (std::uint32_t length = next() >> 27; length > 0; --length) text += alphabet[(next() >> 8) % alphabet.size()];
    text += i % 3 == 2 ? "/>" : "</a>";
    TVqDOMDocument document;
    try {
      document.LoadFromBytes(text);
    } catch (const EVqXMLError&) {
      continue;
    }
    ++accepted;
    const std::string written = document.GetXMLAsUtf8();
    ASSERT_EQ(Read(written), written) << text;
  }
  EXPECT_GT(accepted, 100);
}

// ---- The quick look

TEST(QuickLook, EveryKernelSeesTheSame) {
  std::uint32_t state = 99;
  const auto next = [&] { return (state = state * 1664525 + 1013904223) >> 8; };
  const std::string_view alphabet("<</>>=\"'&!? ax\n\t\r\x01\x7F\x80\xFF", 21);
  const auto& kernels = detail::ScanKernels();
  for (int round = 0; round < 500; ++round) {
    std::string text;
    for (int i = 0; i < 64 * 5; ++i) text += alphabet[next() % alphabet.size()];
    detail::TVqScanState expectedState;
    detail::TVqMasks expected[5];
    kernels.back().Fill(text.data(), 5, expected, expectedState);
    for (const auto& kernel : kernels) {
      detail::TVqMasks masks[5];
      detail::TVqScanState state;
      kernel.Fill(text.data(), 5, masks, state);
      EXPECT_EQ(state.Tag, expectedState.Tag) << kernel.Name;
      EXPECT_EQ(state.Value, expectedState.Value) << kernel.Name;
      EXPECT_EQ(state.Less, expectedState.Less) << kernel.Name;
      EXPECT_EQ(state.Bad, expectedState.Bad) << kernel.Name;
      EXPECT_EQ(state.Elements, expectedState.Elements) << kernel.Name;
      EXPECT_EQ(state.Depth, expectedState.Depth) << kernel.Name;
      EXPECT_EQ(state.Deepest, expectedState.Deepest) << kernel.Name;
      for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(masks[i].Opening, expected[i].Opening) << kernel.Name;
        EXPECT_EQ(masks[i].Special, expected[i].Special) << kernel.Name;
      }
    }
  }
}

TEST(QuickLook, FindsWhatIsWrongAtEveryDistanceFromTheEdgeOfABlock) {
  const std::pair<const char*, bool> pieces[] = {
      {"<b x=\"1\" y=\"2\"/>", true},
      {"<b>&amp;&#x41;</b>", true},
      {"<b>\xC3\xBC</b>", true},
      {"<b x=\"it's \xC3\xBC\"/>", true},
      {"<b x=\"1\" x=\"2\"/>", false},
      {"<b x=\"<\"/>", false},
      {"<b x=\"><c/>\"/>", false},
      {"<b>&nbsp;</b>", false},
      {"<b>\xC3</b>", false},
      {"<b>\x01</b>", false},
      {"<!-- -->", false},
      {"<b>]]></b>", false},
      {"<?p?>", false},
      {"<b x='1'/>", false},
      {"<\xC3\xBC></\xC3\xBC>", false},
      {"<b>\xEF\xBF\xBF</b>", false},
      {"<b x=\"<c></c>\"/>", false},
  };
  const TVqXMLLimits limits;
  for (const auto& kernel : detail::ScanKernels()) {
    for (const auto& [piece, clean] : pieces) {
      for (std::size_t distance = 0; distance < 140; ++distance) {
        const std::string text = "<a>" + std::string(distance, 'x') + piece + "</a>";
        EXPECT_EQ(detail::QuickScan(text, limits, &kernel).Clean, clean) << kernel.Name << " " << text;
      }
    }
  }
}

TEST(QuickLook, FindsAnAttributeThatOccursTwiceAmongManyAndAcrossValuesThatLookLikeTags) {
  const std::pair<std::string, bool> tags[] = {
      {"PropertySetId=\"1\" PropertyId=\"2\" PropertyType=\"3\"", true},
      {"aa=\"1\" ba=\"2\" ca=\"3\"", true},
      {"aa=\"1\"\n\t ba=\"2\"  \r\naa=\"3\"", false},
      {"aa=\"x ba=\" ba=\"2\" ca=\"\" aa=\"\"", false},
      {"aa=\"x ba=\" ba=\"2\"", true},
      {"aa=\"/>\" aa=\"\"", false},
      {"an-attribute-of-more-than-sixteen-letters=\"\" an-attribute-of-more-than-sixteen-letters=\"\"", false},
      {"xmlns:aa=\"1\" xmlns:ba=\"2\" xmlns:aa=\"3\"", false},
  };
  for (const auto& kernel : detail::ScanKernels()) {
    for (const auto& [tag, clean] : tags) {
      for (std::size_t distance = 0; distance < 70; ++distance) {
        // The tags around it have attributes of these names, too.
        const std::string text =
            "<a aa=\"\" ba=\"\">" + std::string(distance, 'x') + "<b " + tag + "/><b aa=\"\" ba=\"\"/></a>";
        EXPECT_EQ(detail::QuickScan(text, {}, &kernel).Clean, clean) << kernel.Name << " " << text;
      }
    }
  }
}

TEST(QuickLook, IsNotLedAstrayByAttributesThatAreNotApart) {
  for (const char* text : {"<a ca=\" m\"%2-aa=\"u\" ba=\"x\"/>", "<a ca=\" m\"aa=\"u\" ba=\"x\" da=\"y\"/>"}) {
    EXPECT_FALSE(detail::QuickScan(text, {}).Clean) << text;
    EXPECT_THROW(Read(text), EVqXMLError) << text;
  }
}

TEST(QuickLook, LeavesTagsOfManyAttributesAndNarrowLimitsToTheStrictReading) {
  std::string tag = "<a";
  for (int i = 0; i < 200; ++i) tag += " attribute" + std::to_string(i) + "=\"\"";
  EXPECT_FALSE(detail::QuickScan(tag + "/>", {}).Clean);
  EXPECT_EQ(Read(tag + "/>"), tag + "/>");
  EXPECT_ANY_THROW(Read(tag + " attribute0=\"\"/>"));

  TVqXMLLimits limits;
  limits.MaxAttributes = 63;
  EXPECT_FALSE(detail::QuickScan("<a/>", limits).Clean);
  limits.MaxAttributes = 64;
  EXPECT_TRUE(detail::QuickScan("<a/>", limits).Clean);
}

TEST(QuickLook, MeetsTheDepthLimitWhereverATagIsCutByABlock) {
  TVqXMLLimits limits;
  limits.MaxDepth = 100;
  for (const auto& kernel : detail::ScanKernels()) {
    for (std::size_t distance = 0; distance < 70; ++distance) {
      std::string open = "<a>" + std::string(distance, 'x'), close = "</a>";
      for (int i = 1; i < 70; ++i) {
        open += "<b><c/>";
        close = "</b>" + close;
      }
      EXPECT_TRUE(detail::QuickScan(open + close, limits, &kernel).Clean) << kernel.Name << " " << distance;
      for (int i = 70; i < 101; ++i) {
        open += "<b>";
        close = "</b>" + close;
      }
      EXPECT_FALSE(detail::QuickScan(open + close, limits, &kernel).Clean) << kernel.Name << " " << distance;
    }
  }
}

TEST(QuickLook, CountsElementsUpToADeclarationAnywhere) {
  std::string text = "<a>";
  for (std::size_t i = 2; i < 1500; ++i) {
    text += "<b>/x</b>";
    if (i == 3 || i == 7 || i == 700) text += "<c xmlns:c=\"urn:" + std::to_string(i) + "\"/>";
  }
  for (const auto& kernel : detail::ScanKernels()) {
    const detail::TVqScan scan = detail::QuickScan(text + "</a>", {}, &kernel);
    ASSERT_TRUE(scan.Clean);
    ASSERT_EQ(scan.Declarations.size(), 3u);
    EXPECT_EQ(scan.Declarations[0].Element, 4u);
    EXPECT_EQ(scan.Declarations[1].Element, 9u);
    EXPECT_EQ(scan.Declarations[2].Element, 703u);
  }
}

TEST(QuickLook, CountsElementsBetweenDeclarationsOfOneTagAndOfSeveral) {
  const std::string text =
      "<a xmlns=\"urn:0\" xmlns:b=\"urn:1\"><b:b/><c xmlns:c=\"urn:2\" k=\"<\" xmlns:d=\"urn:3\"></c><e><f "
      "xmlns:f=\"urn:4\"/></e></a>";
  const std::string good =
      "<a xmlns=\"urn:0\" xmlns:b=\"urn:1\"><b:b/><c xmlns:c=\"urn:2\" k=\"1\" "
      "xmlns:d=\"urn:3\"></c><e><f xmlns:f=\"urn:4\"/></e></a>";
  EXPECT_FALSE(detail::QuickScan(text, {}).Clean);
  for (const auto& kernel : detail::ScanKernels()) {
    const detail::TVqScan scan = detail::QuickScan(good, {}, &kernel);
    ASSERT_TRUE(scan.Clean);
    std::vector<std::size_t> elements;
    for (const auto& declaration : scan.Declarations) elements.push_back(declaration.Element);
    EXPECT_EQ(elements, (std::vector<std::size_t>{1, 1, 3, 3, 5})) << kernel.Name;
  }
}

TEST(QuickLook, AnOrdinaryPageIsNeverReadTwice) {
  std::string page = "<m:Response xmlns:m=\"urn:m\" xmlns:t=\"urn:t\">";
  for (int i = 0; i < 500; ++i) {
    page +=
        "<t:Message><t:ItemId Id=\"AAMkAGI=\" ChangeKey=\"CQ==\"/><t:Subject>It's &quot;M\xC3\xBCller&quot; / &lt;x&gt;"
        "</t:Subject><t:Size>12</t:Size></t:Message>\r\n";
  }
  const detail::TVqScan scan = detail::QuickScan(page + "</m:Response>", {});
  EXPECT_TRUE(scan.Clean);
  ASSERT_EQ(scan.Declarations.size(), 2u);
  EXPECT_EQ(scan.Declarations[1].Prefix, "t");
  EXPECT_EQ(scan.Declarations[1].URI, "urn:t");
  EXPECT_EQ(scan.Declarations[1].Element, 1u);
}

// ---- The event

TEST(ParseErrorEvent, CarriesPlaceAndMessage) {
  TVqDOMDocument document;
  int line = 0, column = 0;
  string message;
  document.SetOnParseError([&](const IVqSAXLocator& locator, const string& text) {
    line = locator.GetLineNumber();
    column = locator.GetColumnNumber();
    message = text;
  });
  EXPECT_THROW(document.LoadXML("<a>\n <b></a>"), EVqXMLError);
  EXPECT_EQ(line, 2);
  EXPECT_EQ(column, 5);
  EXPECT_TRUE(message.Contains("where \"b\" is open"));
}

TEST(ParseErrorEvent, MayRaiseAnExceptionOfItsOwn) {
  TVqDOMDocument document;
  document.SetOnParseError([](const IVqSAXLocator&, const string& text) { throw EAbort(text); });
  EXPECT_THROW(document.LoadXML("<a>"), EAbort);
  EXPECT_NO_THROW(document.LoadXML("<a/>"));
}

}  // namespace
}  // namespace velmore
