// Replies in forms that servers and what stands in front of them may give them: the job learns the same.

#include "RoughWorldTestSupport.h"

namespace velmore::testing {
namespace {

using RoughWorldReplies = RoughWorldTest;

const std::string kMessages = "http://schemas.microsoft.com/exchange/services/2006/messages";
const std::string kTypes = "http://schemas.microsoft.com/exchange/services/2006/types";

/// The prefix that the simulator uses, so that a test notices when it changes.
std::string Prefixed(const std::string& body) {
  EXPECT_NE(body.find("<s:Envelope"), std::string::npos) << body;
  return body;
}

TEST_F(RoughWorldReplies, WithoutAnyNamespacePrefix) {
  ExpectTheSame([](const std::string& body) {
    std::string bare = RegexReplaced(body, " xmlns(:[A-Za-z]+)?=\"[^\"]*\"", "");
    bare = RegexReplaced(bare, "<s:([A-Za-z]+)", "<$1 xmlns=\"http://schemas.xmlsoap.org/soap/envelope/\"");
    bare = RegexReplaced(bare, "<m:([A-Za-z]+)", "<$1 xmlns=\"" + kMessages + "\"");
    bare = RegexReplaced(bare, "<[th]:([A-Za-z]+)", "<$1 xmlns=\"" + kTypes + "\"");
    bare = RegexReplaced(bare, "</[a-z]+:", "</");
    bare = RegexReplaced(bare, " xsi:[a-z]+=\"[^\"]*\"", "");
    EXPECT_FALSE(std::regex_search(bare, std::regex("</?[a-z]+:"))) << bare;
    return bare;
  });
}

TEST_F(RoughWorldReplies, WithOtherPrefixes) {
  ExpectTheSame([](const std::string& body) {
    std::string other = Prefixed(body);
    for (const auto& [ours, theirs] : {std::pair{"m", "ns12"}, {"t", "Q"}, {"s", "SOAP-ENV"}}) {
      other = Replaced(other, std::string("<") + ours + ":", std::string("<") + theirs + ":");
      other = Replaced(other, std::string("</") + ours + ":", std::string("</") + theirs + ":");
      other = Replaced(other, std::string("xmlns:") + ours + "=", std::string("xmlns:") + theirs + "=");
      other = Replaced(other, std::string("=\"") + ours + ":", std::string("=\"") + theirs + ":");
    }
    EXPECT_EQ(other.find("<t:"), std::string::npos);
    return other;
  });
}

TEST_F(RoughWorldReplies, WithThePrefixesOfTheTwoNamespacesExchanged) {
  ExpectTheSame([](std::string body) {
    for (const char* before : {"<", "</", "xmlns:", "=\""}) {
      const std::string at = before;
      body = Replaced(body, at + "m:", at + "swap:");
      body = Replaced(body, at + "t:", at + "m:");
      body = Replaced(body, at + "swap:", at + "t:");
    }
    body = Replaced(body, "xmlns:m=", "xmlns:swap=");
    body = Replaced(body, "xmlns:t=", "xmlns:m=");
    return Replaced(body, "xmlns:swap=", "xmlns:t=");
  });
}

TEST_F(RoughWorldReplies, WithADefaultNamespace) {
  for (const char* prefix : {"m", "t"}) {
    ExpectTheSame([&](const std::string& body) {
      // Declared once on the envelope, and taken back where another namespace has no prefix either.
      const std::string tag = std::string("<") + prefix + ":", end = std::string("</") + prefix + ":";
      const std::string uri = *prefix == 'm' ? kMessages : kTypes;
      std::string other = Replaced(Replaced(Prefixed(body), tag, "<"), end, "</");
      other = RegexReplaced(other, std::string(" xmlns:") + prefix + "=\"[^\"]*\"", "");
      return Replaced(other, "<s:Envelope", "<s:Envelope xmlns=\"" + uri + "\"");
    });
  }
}

TEST_F(RoughWorldReplies, WithTheNamesOfEnvelopeAndHeaderInCapitals) {
  ExpectTheSame([](const std::string& body) {
    std::string other = Replaced(Prefixed(body), "s:Envelope", "s:ENVELOPE");
    other = Replaced(other, "s:Header", "s:HEADER");
    return Replaced(other, "s:Body", "s:BODY");
  });
}

TEST_F(RoughWorldReplies, WithTheNamesOfEnvelopeAndHeaderInLowerCase) {
  ExpectTheSame([](const std::string& body) {
    std::string other = Replaced(Prefixed(body), "s:Envelope", "s:envelope");
    other = Replaced(other, "s:Header", "s:header");
    return Replaced(other, "s:Body", "s:body");
  });
}

TEST_F(RoughWorldReplies, WithAByteOrderMark) {
  ExpectTheSame([](const std::string& body) { return "\xEF\xBB\xBF" + body; });
}

/// A reply in UTF-16, with or without its mark.
std::string Utf16(const std::string& body, bool littleEndian, bool mark) {
  const std::u16string units = string(Replaced(body, "encoding=\"utf-8\"", "encoding=\"utf-16\"")).utf16();
  std::string bytes;
  const auto add = [&](char16_t unit) {
    const char low = static_cast<char>(unit & 0xFF), high = static_cast<char>(unit >> 8);
    bytes += littleEndian ? low : high;
    bytes += littleEndian ? high : low;
  };
  if (mark) add(0xFEFF);
  for (const char16_t unit : units) add(unit);
  return bytes;
}

TEST_F(RoughWorldReplies, InUtf16LittleEndian) {
  ExpectTheSame([](const std::string& body) { return Utf16(body, true, true); }, "text/xml; charset=utf-16");
  ExpectTheSame([](const std::string& body) { return Utf16(body, true, false); }, "text/xml; charset=utf-16le");
  ExpectTheSame([](const std::string& body) { return Utf16(body, true, true); }, "text/xml");
}

TEST_F(RoughWorldReplies, InUtf16BigEndian) {
  ExpectTheSame([](const std::string& body) { return Utf16(body, false, true); }, "text/xml; charset=utf-16");
  ExpectTheSame([](const std::string& body) { return Utf16(body, false, false); }, "text/xml; charset=utf-16be");
  ExpectTheSame([](const std::string& body) { return Utf16(body, false, true); }, "text/xml");
}

TEST_F(RoughWorldReplies, CompressedWithGzip) {
  const std::string plain = Plain();
  int packed = 0;
  EXPECT_EQ(Through(
                [&](TRawReply reply) {
                  if (reply.Head.find("Content-Encoding: gzip") != std::string::npos) ++packed;
                  return AnswerOf(reply.Head + "\r\n\r\n" + reply.Body);
                },
                true),
            plain);
  EXPECT_GT(packed, 10);
}

TEST_F(RoughWorldReplies, InOneBytePieces) {
  const std::string plain = Plain();
  EXPECT_EQ(Through([](TRawReply reply) { return AnswerOf(reply.Head + "\r\n\r\n" + reply.Body, 1); }), plain);
  EXPECT_GT(FRewritten, 15);
}

TEST_F(RoughWorldReplies, InChunksOfOneByte) {
  const std::string plain = Plain();
  EXPECT_EQ(Through([](TRawReply reply) {
              std::string bytes =
                  "HTTP/1.1 200 OK\r\nContent-Type: text/xml; charset=utf-8\r\nTransfer-Encoding: chunked\r\n\r\n";
              for (const char byte : reply.Body) bytes += std::string("1\r\n") + byte + "\r\n";
              return AnswerOf(bytes + "0\r\n\r\n");
            }),
            plain);
}

// Who speaks behind the end of the envelope is not the server. The reply is not trusted, and the place is told.
TEST_F(RoughWorldReplies, WithHtmlBehindTheXml) {
  auto& session = Session();
  const auto store = session.OpenDefaultMsgStore();
  const auto inbox = store->GetFolder(dfininbox, "");
  const std::string body = LastExchange("GetFolder").response_body;
  for (const char* behind : {"<html><body>Advertisement</body></html>", "\n<!-- proxy --><html>", "text"}) {
    AnswerNext("GetFolder", body + behind);
    try {
      store->GetFolder(inbox->GetID());
      ADD_FAILURE() << "no exception";
    } catch (const EVqXMLError& failure) {
      EXPECT_GT(failure.GetLine(), 0) << failure.what();
    }
    EXPECT_EQ(store->GetFolder(dfininbox, "")->GetDisplayName(), inbox->GetDisplayName()) << "the session is usable";
  }
  // Blanks and comments are part of a document.
  AnswerNext("GetFolder", body + "\r\n<!-- proxy -->\r\n");
  EXPECT_NO_THROW(store->GetFolder(dfininbox, ""));
}

}  // namespace
}  // namespace velmore::testing
