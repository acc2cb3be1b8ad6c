// Conversations that stand in files, replayed against the library.

#include "tests/support/Transcript.h"

#include <gtest/gtest-spi.h>

#include <filesystem>
#include <fstream>

#include "ews/schema/uVqEWSPropsFLD.h"
#include "tests/support/EWSTestSupport.h"

namespace velmore::testing {
namespace {

namespace fs = std::filesystem;

const fs::path kExample = fs::path(VELMORE_SOURCE_DIR) / "tests" / "wire" / "transcripts" / "list-and-read";

/// The client's part of the example: the subject of the first message of the inbox, and its body.
std::string ListAndRead(const std::string& url) {
  TVqEWSServiceSession session;
  session.SetServiceUrl(url);
  session.GetCredentials().SetUserName("alice");
  session.GetCredentials().SetPassword("wonder");
  session.SetActive(true);
  auto inbox = session.OpenDefaultMsgStore()->GetFolder(dfininbox, "");
  auto items = inbox->GetItems();
  items->GetFields().Add(FLD_ITEM_SUBJECT);
  items->Open();
  const std::string subject = items->FieldByName(FLD_ITEM_SUBJECT).GetAsString().utf8();
  return subject + ": " + Supports<IVqEWSEMail>(inbox->GetItem(items->GetItemId()))->GetBodyText().utf8();
}

class Transcript : public ::testing::Test {
 protected:
  Transcript() {
    std::string pattern = (fs::temp_directory_path() / "velmore-transcript-XXXXXX").string();
    Copy = ::mkdtemp(pattern.data());
    fs::copy(kExample, Copy, fs::copy_options::recursive);
  }
  ~Transcript() override { fs::remove_all(Copy); }
  void Write(const std::string& name, const std::string& content) const { std::ofstream(Copy / name) << content; }
  std::string Failure() const {
    try {
      ReadTranscript(Copy.string());
    } catch (const std::runtime_error& failure) {
      return failure.what();
    }
    return "no exception";
  }
  fs::path Copy;
};

TEST_F(Transcript, ExampleIsReplayed) {
  TranscriptServer server(kExample.string());
  EXPECT_EQ(ListAndRead(server.Url()), "Hello: Hello Alice\r\n");
  EXPECT_EQ(server.Finish(), "");
}

TEST_F(Transcript, WhatTheSimulatorRecordsIsATranscript) {
  const fs::path recorded = Copy / "recorded";
  std::string expected;
  {
    simulator::Options options = TwoUsers();
    options.record_directory = recorded.string();
    simulator::Simulator live(options);
    live.Start();
    live.AddMessage("alice@example.com", "inbox", "From: bob@example.com\r\nSubject: Hello\r\n\r\nHello Alice\r\n");
    expected = ListAndRead(live.HttpUrl());
  }
  TranscriptServer server(recorded.string());
  EXPECT_EQ(ListAndRead(server.Url()), expected);
  EXPECT_EQ(server.Finish(), "");
}

TEST_F(Transcript, MissingCallFails) {
  TranscriptServer server(kExample.string());
  const std::string wrong = server.Finish();
  for (const TranscriptExchange& exchange : ReadTranscript(kExample.string()))
    EXPECT_NE(wrong.find(exchange.Name + " was not asked for\n"), std::string::npos) << wrong;
}

TEST_F(Transcript, TestThatDoesNotAskFailsNevertheless) {
  EXPECT_NONFATAL_FAILURE({ const TranscriptServer server(kExample.string()); }, "000001-Challenge was not asked for");
}

TEST_F(Transcript, SurplusCallFails) {
  std::vector<TranscriptExchange> all = ReadTranscript(Copy.string());
  for (const char* kind : {".request.txt", ".response.txt"}) fs::remove(Copy / (all.back().Name + kind));
  TranscriptServer server(Copy.string());
  EXPECT_THROW(ListAndRead(server.Url()), EVqException);
  EXPECT_TRUE(server.Finish().starts_with("Surplus request: POST /EWS/Exchange.asmx\n")) << server.Finish();
}

TEST_F(Transcript, AnotherRequestFailsWithTheFirstDifference) {
  const TranscriptExchange last = ReadTranscript(Copy.string()).back();
  std::string body = last.RequestBody;
  const std::size_t at = body.find("IdOnly") != std::string::npos ? body.find("IdOnly") : body.find("AllProperties");
  ASSERT_NE(at, std::string::npos) << body;
  Write(last.Name + ".request.txt", last.Method + " " + last.Target + "\n\n" + body.replace(at, 6, "Default"));
  TranscriptServer server(Copy.string());
  EXPECT_THROW(ListAndRead(server.Url()), EVqException);
  EXPECT_TRUE(server.Finish().starts_with(last.Name + ": the request /Envelope/Body/")) << server.Finish();
}

TEST_F(Transcript, AnotherHeaderFails) {
  const TranscriptExchange first = ReadTranscript(Copy.string()).front();
  Write(first.Name + ".request.txt",
        first.Method + " " + first.Target + "\nContent-Type: text/plain\n\n" + first.RequestBody);
  TranscriptServer server(Copy.string());
  EXPECT_THROW(ListAndRead(server.Url()), EVqException);
  EXPECT_TRUE(server.Finish().starts_with(first.Name + ": the request has the header Content-Type \"text/xml"))
      << server.Finish();
}

TEST_F(Transcript, FilesThatDoNotFitTogetherAreRefused) {
  const TranscriptExchange first = ReadTranscript(Copy.string()).front();
  Write("000009-GetItem.response.txt", "HTTP 200\n\n");
  EXPECT_EQ(Failure(), "The transcript lacks the request to 000009-GetItem.response.txt.");
  Write("000009-GetItem.request.txt", "POST\n\n");
  EXPECT_EQ(Failure(), (Copy / "000009-GetItem.request.txt").string() + " does not begin with METHOD TARGET.");
  Write("000009-GetItem.request.txt", "POST /\nno header\n\n");
  EXPECT_EQ(Failure(), (Copy / "000009-GetItem.request.txt").string() + " has a header without a colon: no header");
  Write("000009-GetItem.request.txt", "POST /\n\n");
  Write("000009-GetItem.response.txt", "fine\n\n");
  EXPECT_EQ(Failure(), (Copy / "000009-GetItem.response.txt").string() + " does not begin with HTTP STATUS.");
  fs::remove(Copy / "000009-GetItem.response.txt");
  EXPECT_EQ(Failure(), "The transcript lacks " + (Copy / "000009-GetItem.response.txt").string() + ".");
}

TEST(TranscriptComparison, PrefixesAndBlanksDoNotCountAndOrderDoes) {
  EXPECT_EQ(XmlDifference("<a:x xmlns:a=\"u\">\n  <a:y k=\"1\">t</a:y>\n</a:x>",
                          "<b:x xmlns:b=\"u\"><b:y k=\"1\">t</b:y></b:x>"),
            "");
  EXPECT_EQ(XmlDifference("<x><y/><z/></x>", "<x><z/><y/></x>"), "/x/z stands where y is expected");
  EXPECT_EQ(XmlDifference("<x a=\"1\" b=\"2\"/>", "<x b=\"2\" a=\"1\"/>"),
            "/x has the attribute b that is not expected there");
  EXPECT_EQ(XmlDifference("<x a=\"1\"/>", "<x/>"), "/x lacks the attribute a");
  EXPECT_EQ(XmlDifference("<x a=\"1\"/>", "<x a=\"2\"/>"), "/x/@a is \"2\", expected \"1\"");
  EXPECT_EQ(XmlDifference("<x><y/></x>", "<x/>"), "/x lacks y");
  EXPECT_EQ(XmlDifference("<x/>", "<x><y/></x>"), "/x has a surplus y");
  EXPECT_EQ(XmlDifference("<x>1</x>", "<x>2</x>"), "/x is \"2\", expected \"1\"");
  EXPECT_EQ(XmlDifference("<x a=\"****\">****</x>", "<x a=\"7\">8</x>"), "");
  EXPECT_TRUE(XmlDifference("<x/>", "<x>").starts_with("it is not well-formed: "));
}

}  // namespace
}  // namespace velmore::testing
