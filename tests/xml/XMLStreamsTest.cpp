// Nodes in streams of every code page, and attributes as numbers.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/xml/uVqCodePages.h"
#include "platform/xml/uVqXMLDOM.h"

namespace velmore {
namespace {

constexpr std::int32_t kCodePages[] = {kVqCodePageUtf8, kVqCodePageUtf16LE, kVqCodePageUtf16BE,
                                       kVqCodePage1252, kVqCodePageLatin1,  kVqCodePageAscii};

IVqDOMElement Sample() {
  return VqCreateDOM(u"<t:a k=\"\u00E9\">\u20AC \u4E00 \U0001F600<b>\u00FC</b></t:a>").GetDocumentElement();
}

TEST(NodeStreams, EveryCodePageIsReadBack) {
  for (const std::int32_t codePage : kCodePages) {
    TVqMemoryStream stream;
    Sample().SaveToStream(stream, codePage, false);
    stream.SetPosition(0);
    TVqDOMDocument target("<r><x old=\"1\"><old/></x></r>");
    target.SelectSingleElement("//x").LoadFromStream(stream, codePage);
    EXPECT_EQ(target.GetDocumentElement().GetInnerXML(), u"<x k=\"\u00E9\">\u20AC \u4E00 \U0001F600<b>\u00FC</b></x>")
        << codePage;
  }
  TVqMemoryStream stream;
  EXPECT_THROW(Sample().SaveToStream(stream, 437, false), EConvertError);
}

TEST(NodeStreams, AreIndentedWhenToldTo) {
  TVqMemoryStream stream;
  VqCreateDOM("<r><a><b>1</b></a></r>").SelectSingleElement("//a").SaveToStream(stream, kVqCodePageUtf8, true);
  EXPECT_EQ(stream.Bytes(), "<a>\n  <b>1</b>\n</a>");
}

TEST(NodeStreams, DocumentsAreReadInTheCodePageThatTheCallerKnows) {
  for (const std::int32_t codePage : kCodePages) {
    TVqMemoryStream stream;
    Sample().SaveToStream(stream, codePage, false);
    stream.SetPosition(0);
    EXPECT_EQ(TVqDOMDocument(stream, codePage).GetXML(), Sample().GetXML()) << codePage;
  }
  TVqMemoryStream high(std::string("<a>\xFC</a>"));
  EXPECT_THROW(TVqDOMDocument(high, kVqCodePageAscii), EVqXMLError);
}

TEST(JsonStreams, EveryCodePageIsReadBack) {
  for (const std::int32_t codePage : kCodePages) {
    TVqMemoryStream stream;
    Sample().SaveToJSONStream(stream, codePage, false);
    stream.SetPosition(0);
    TVqDOMDocument target;
    target.LoadFromJSONStream(stream, codePage);
    const IVqDOMElement root = target.GetDocumentElement();
    EXPECT_EQ(root.GetAttribute("k"), u"\u00E9") << codePage;
    EXPECT_EQ(root.GetText(), u"\u20AC \u4E00 \U0001F600\u00FC") << codePage;
  }
}

TEST(JsonStreams, EscapeWhatTheCodePageLacks) {
  TVqMemoryStream latin, ascii;
  Sample().SaveToJSONStream(latin, kVqCodePageLatin1, false);
  EXPECT_EQ(latin.Bytes(), "{\"t:a\":{\"@k\":\"\xE9\",\"#text\":\"\\u20ac \\u4e00 \\ud83d\\ude00\",\"b\":\"\xFC\"}}");
  Sample().SaveToJSONStream(ascii, kVqCodePageAscii, false);
  EXPECT_EQ(ascii.Bytes(),
            "{\"t:a\":{\"@k\":\"\\u00e9\",\"#text\":\"\\u20ac \\u4e00 \\ud83d\\ude00\",\"b\":\"\\u00fc\"}}");
  EXPECT_THROW(Sample().SaveToJSONStream(ascii, 437, false), EConvertError);
}

TEST(Attributes, AbsentOneIsTheNumberZeroAndNoFailure) {
  const IVqDOMElement element = VqCreateDOM("<a hex=\"0x0E07\" t:n=\"-5\" text=\"x\" none=\"\"/>").GetDocumentElement();
  EXPECT_EQ(element.GetAttributeAsInteger("absent"), 0);
  EXPECT_EQ(element.GetAttributeAsInteger("absent", kSelectQuiet), 0);
  EXPECT_THROW(element.GetAttributeAsInteger("absent", kSelectRequired), EVqXMLError);
  EXPECT_THROW(element.GetAttribute("absent", kSelectRequired), EVqXMLError);
  EXPECT_EQ(element.AttributeCount(), 4) << "reading makes nothing";
  EXPECT_EQ(element.GetAttributeAsInteger("hex"), 0x0E07);
  EXPECT_EQ(element.GetAttributeAsInteger("N", kSelectQuiet), -5);
  EXPECT_THROW(element.GetAttributeAsInteger("text"), EConvertError);
  EXPECT_EQ(element.GetAttributeNode("made", kSelectCreate).GetText(), "");
  EXPECT_TRUE(element.HasAttribute("made"));
}

// ---- What bytes tell of their code page

std::int32_t CodePageOf(const std::string& bytes, std::uint64_t position = 0) {
  TVqMemoryStream stream(bytes);
  stream.SetPosition(position);
  const std::int32_t codePage = VqGetCodePage(stream);
  EXPECT_EQ(stream.GetPosition(), position);
  return codePage;
}

TEST(CodePageOfAStream, IsToldByItsMark) {
  EXPECT_EQ(CodePageOf("\xEF\xBB\xBF<a/>"), kVqCodePageUtf8);
  EXPECT_EQ(CodePageOf(std::string("\xFF\xFE<\0", 4)), kVqCodePageUtf16LE);
  EXPECT_EQ(CodePageOf(std::string("\xFE\xFF\0<", 4)), kVqCodePageUtf16BE);
  EXPECT_EQ(CodePageOf("\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"iso-8859-1\"?><a/>"), kVqCodePageUtf8);
}

TEST(CodePageOfAStream, IsToldByHowItSpellsItsFirstCharacter) {
  EXPECT_EQ(CodePageOf(std::string("<\0a\0", 4)), kVqCodePageUtf16LE);
  EXPECT_EQ(CodePageOf(std::string("\0<\0a", 4)), kVqCodePageUtf16BE);
}

TEST(CodePageOfAStream, IsToldByTheDeclaration) {
  const auto declared = [](const std::string& encoding) {
    return CodePageOf("<?xml version=\"1.0\" encoding=\"" + encoding + "\"?><a/>");
  };
  EXPECT_EQ(declared("utf-8"), kVqCodePageUtf8);
  EXPECT_EQ(declared("ISO-8859-1"), kVqCodePageLatin1);
  EXPECT_EQ(declared("windows-1252"), kVqCodePage1252);
  EXPECT_EQ(declared("us-ascii"), kVqCodePageAscii);
  EXPECT_EQ(declared("utf-16"), 0) << "which these bytes are not";
  EXPECT_EQ(declared("nobody-knows-it"), 0);
}

TEST(CodePageOfAStream, MayBeUntold) {
  EXPECT_EQ(CodePageOf(""), 0);
  EXPECT_EQ(CodePageOf("<"), 0);
  EXPECT_EQ(CodePageOf("<a/>"), 0);
  EXPECT_EQ(CodePageOf("plain"), 0);
  EXPECT_EQ(CodePageOf("<?xml version=\"1.0\"?><a/>"), 0);
  EXPECT_EQ(CodePageOf("<?xml broken"), 0);
  EXPECT_EQ(CodePageOf("<?xml version=\"1.0\" encoding=\"utf-8" + std::string(1000, ' ')), 0);
}

TEST(CodePageOfAStream, IsThatOfItsPosition) {
  EXPECT_EQ(CodePageOf("xx\xEF\xBB\xBF<a/>", 2), kVqCodePageUtf8);
  EXPECT_EQ(CodePageOf("xx", 2), 0);
  EXPECT_EQ(CodePageOf("xx", 5), 0);
}

}  // namespace
}  // namespace velmore
