// What a hostile server can do to a client: as much as the bounds allow, and the client works on.

#include <zlib.h>

#include <atomic>

#include "HTTPTestSupport.h"
#include "platform/http/uVqHTTPIntake_p.h"

using namespace velmore;

namespace {

constexpr int kGzip = 15 + 16, kZlib = 15, kBare = -15;

std::string Packed(std::string_view text, int form = kGzip) {
  z_stream stream = {};
  deflateInit2(&stream, Z_BEST_COMPRESSION, Z_DEFLATED, form, 9, Z_DEFAULT_STRATEGY);
  std::string out(deflateBound(&stream, static_cast<uLong>(text.size())) + 64, '\0');
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
  stream.avail_in = static_cast<uInt>(text.size());
  stream.next_out = reinterpret_cast<Bytef*>(out.data());
  stream.avail_out = static_cast<uInt>(out.size());
  deflate(&stream, Z_FINISH);
  out.resize(stream.total_out);
  deflateEnd(&stream);
  return out;
}

std::string Encoded(const std::string& encoding, const std::string& body) {
  return ScriptedServer::Ok(body, "Content-Encoding: " + encoding + "\r\n");
}

// What an intake makes of a body that comes in pieces of this size.
std::string Through(const std::string& encoding, const std::string& body, std::size_t piece,
                    const TVqHTTPLimits& limits = {}, bool kept = true) {
  TVqHTTPIntake intake;
  std::string whole;
  intake.Begin("h", encoding, limits, kept);
  for (std::size_t at = 0; at < body.size(); at += piece) {
    intake.Take(std::string_view(body).substr(at, piece), [&](std::string_view bytes) { whole += bytes; });
  }
  intake.End();
  return whole;
}

/// A client with these limits and a server: a request fails with this number and text, and the next one succeeds.
class Limits : public testing::Test {
 protected:
  void Expect(ScriptedServer::Answer answer, std::uint32_t number, const std::string& text) {
    Client->GetSession()->SetLimits(Bounds);
    Server.Then(std::move(answer)).Then(ScriptedServer::Ok("fine"));
    std::string told;
    EXPECT_EQ(NumberOf([&] { Get(Client, Server.Url()); }, &told), number);
    const std::string host = "127.0.0.1:" + std::to_string(Server.Port());
    std::string wanted = text;
    wanted.replace(wanted.find("HOST"), 4, host);
    EXPECT_EQ(told, wanted);
    EXPECT_EQ(Get(Client, Server.Url())->GetText(), "fine") << "the client is usable behind it";
  }
  void Expect(const std::string& bytes, std::uint32_t number, const std::string& text) {
    Expect(Plain(bytes), number, text);
  }

  ScriptedServer Server;
  TVqRef<IVqHTTPClient> Client = NewClient();
  TVqHTTPLimits Bounds;
};

}  // namespace

TEST_F(Limits, BytesOnTheWire) {
  Bounds.ReplyBytes = 1000;
  Server.Then(ScriptedServer::Ok(std::string(1000, 'x')));
  Client->GetSession()->SetLimits(Bounds);
  EXPECT_EQ(Get(Client, Server.Url())->GetBody().size(), 1000U) << "as many as the bound says";
  Expect(ScriptedServer::Ok(std::string(1001, 'x')), 12152, "The reply of \"HOST\" is longer than 1000 bytes.");
}

TEST_F(Limits, ABodyWithoutEnd) {
  Bounds.ReplyBytes = 100000;
  ScriptedServer::Answer endless;
  endless.Bytes = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n";
  for (int i = 0; i < 200; ++i) endless.Bytes += "400\r\n" + std::string(1024, 'x') + "\r\n";
  endless.Hang = true;
  Expect(endless, 12152, "The reply of \"HOST\" is longer than 100000 bytes.");
}

TEST_F(Limits, BytesWhenUnpacked) {
  Bounds.UnpackedBytes = 5000;
  Server.Then(Encoded("gzip", Packed(std::string(5000, 'x'))));
  Client->GetSession()->SetLimits(Bounds);
  EXPECT_EQ(Get(Client, Server.Url())->GetBody().size(), 5000U);
  Expect(Encoded("gzip", Packed(std::string(5001, 'x'))), 12152,
         "The reply of \"HOST\" is longer than 5000 bytes when unpacked.");
}

TEST_F(Limits, ABombIsStoppedAtItsRatio) {
  Bounds.UnpackRatioFloor = 1 << 20;
  Bounds.UnpackRatio = 50;
  Expect(Encoded("gzip", Packed(std::string(8 << 20, 'x'))), 12152,
         "The reply of \"HOST\" unpacks to more than 50 times its size.");
}

TEST_F(Limits, BelowTheFloorARatioIsNoBomb) {
  Bounds.UnpackRatioFloor = 1 << 20;
  Bounds.UnpackRatio = 50;
  Client->GetSession()->SetLimits(Bounds);
  Server.Then(Encoded("gzip", Packed(std::string(1 << 20, 'x'))));
  EXPECT_EQ(Get(Client, Server.Url())->GetBody().size(), std::size_t{1} << 20);
}

TEST_F(Limits, TheDefaultsStopABombOf3Megabytes) {
  const TVqHTTPLimits limits;
  TVqHTTPIntake intake;
  std::uint64_t passed = 0;
  const std::string member = Packed(std::string(1 << 20, 'x'));
  std::string bomb;
  for (int i = 0; i < 80; ++i) bomb += member;
  intake.Begin("h", "gzip", limits, true);
  EXPECT_EQ(NumberOf([&] { intake.Take(bomb, [&](std::string_view bytes) { passed += bytes.size(); }); }), 12152U);
  EXPECT_LE(passed, std::uint64_t{65} << 20);
}

TEST_F(Limits, HeadersInAll) {
  Bounds.HeaderBytes = 2000;
  std::string lines = "HTTP/1.1 200 OK\r\n";
  for (int i = 0; i < 100; ++i) lines += "X-Filler: 0123456789\r\n";
  Expect(lines + "Content-Length: 0\r\n\r\n", 12152,
         "The headers of the reply of \"HOST\" are longer than 2000 bytes.");
}

TEST_F(Limits, RepliesBeforeTheReplyCountToo) {
  Bounds.HeaderBytes = 2000;
  std::string lines;
  for (int i = 0; i < 100; ++i) lines += "HTTP/1.1 100 Continue\r\n\r\n";
  Expect(lines, 12152, "The headers of the reply of \"HOST\" are longer than 2000 bytes.");
}

TEST_F(Limits, CookiesOfAServerThatGivesEightThousand) {
  std::atomic<int> given = 0;
  Server.Always([&](const auto&) {
    std::string cookies;
    for (int i = 0; i < 25; ++i)
      cookies += "Set-Cookie: c" + std::to_string(given++) + "=" + std::string(4000, 'x') + "\r\n";
    return Plain(ScriptedServer::Ok("fine", cookies));
  });
  while (given < 8000) ASSERT_EQ(Get(Client, Server.Url())->GetText(), "fine");
  EXPECT_EQ(Client->GetSession()->GetCookies().Count(), 50);
  EXPECT_EQ(Get(Client, Server.Url())->GetText(), "fine");
  const std::string sent = Server.Requests().back().Header("Cookie");
  EXPECT_LT(sent.size(), 50u * 4096);
  EXPECT_TRUE(sent.starts_with("c7950=")) << "the newest";
}

TEST_F(Limits, AHugeHeaderLineIsNoLackOfMemory) {
  Bounds.HeaderBytes = 0;
  Expect("HTTP/1.1 200 OK\r\nX-Filler: " + std::string(200 << 10, 'x') + "\r\n\r\n", 12152,
         "The reply of \"HOST\" has a header line that is too long.");
  Bounds.HeaderBytes = TVqHTTPLimits().HeaderBytes;
  Expect("HTTP/1.1 200 OK\r\nX-Filler: " + std::string(200 << 10, 'x') + "\r\n\r\n", 12152,
         "The reply of \"HOST\" has a header line that is too long.");
}

TEST_F(Limits, TimeOfACallIsOffUntilItIsSet) {
  EXPECT_EQ(Bounds.TotalTime.count(), 0);
  Bounds.TotalTime = std::chrono::milliseconds(150);
  ScriptedServer::Answer slow = Plain(ScriptedServer::Ok(std::string(10000, 'x')));
  slow.PieceSize = 1;
  slow.Between = std::chrono::milliseconds(5);
  Expect(slow, 12002, "The call to \"HOST\" took longer than 150 ms.");
}

TEST_F(Limits, TimeOfACallCountsItsHandshake) {
  Bounds.TotalTime = std::chrono::milliseconds(150);
  ScriptedServer::Answer slow = Plain(Refusal("WWW-Authenticate: Basic realm=\"x\"\r\n"));
  slow.Before = std::chrono::milliseconds(90);
  Client->GetCredentials().SetUserName("anna");
  Server.Then(slow);
  ScriptedServer::Answer again = Plain(ScriptedServer::Ok("x"));
  again.Before = std::chrono::milliseconds(90);
  Expect(again, 12002, "The call to \"HOST\" took longer than 150 ms.");
}

TEST_F(Limits, AStreamIsBoundedByWhatItLeavesStanding) {
  Bounds.ReplyBytes = Bounds.UnpackedBytes = 10000;
  Client->GetSession()->SetLimits(Bounds);
  std::size_t taken = 0;
  Client->SetOnDataReceived([&](TVqComponent&, TVqHTTPReplyStream& stream) { taken += stream.TakeBytes().size(); });
  Server.Then(ScriptedServer::Ok(std::string(300000, 'x')));
  Get(Client, Server.Url());
  EXPECT_EQ(taken, 300000U);
  Client->SetOnDataReceived([](TVqComponent&, TVqHTTPReplyStream&) {});
  Expect(ScriptedServer::Ok(std::string(300000, 'x')), 12152,
         "The reply of \"HOST\" is longer than 10000 bytes when unpacked.");
}

TEST_F(Limits, ZeroIsNoBound) {
  Bounds = {0, 0, 0, 0, 0, {}, 0};
  Client->GetSession()->SetLimits(Bounds);
  EXPECT_EQ(Client->GetSession()->GetLimits(), Bounds);
  Server.Then(Encoded("gzip", Packed(std::string(1 << 20, 'x'))));
  EXPECT_EQ(Get(Client, Server.Url())->GetBody().size(), std::size_t{1} << 20);
}

// ---- Encodings

TEST_F(Limits, AnEncodingThatWasNotAskedForIsTold) {
  for (const char* encoding : {"br", "zstd", "compress", "gzip, gzip", "x"}) {
    Expect(Encoded(encoding, "abc"), 12152,
           "The reply of \"HOST\" is encoded as \"" + std::string(encoding) + "\", which was not asked for.");
  }
}

TEST_F(Limits, ACompressedReplyThatEndsEarlyIsAFailureOfTheTransport) {
  const std::string whole = Packed("some text that is long enough to be cut in the middle of it");
  for (const std::size_t length : {std::size_t{1}, std::size_t{5}, whole.size() / 2, whole.size() - 1}) {
    Expect(Encoded("gzip", whole.substr(0, length)), 12030, "The compressed reply of \"HOST\" ends in the middle.");
  }
}

TEST_F(Limits, WhatIsNotCompressedAtAllIsTold) {
  Expect(Encoded("gzip", "<s:Envelope/>"), 12152, "The reply of \"HOST\" is compressed in a way that cannot be read.");
  Expect(Encoded("gzip", Packed("text") + "garbage"), 12152,
         "The reply of \"HOST\" is compressed in a way that cannot be read.");
}

TEST(Intake, EveryFormInPiecesOfEverySize) {
  std::string text;
  for (int i = 0; i < 5000; ++i) text += "line " + std::to_string(i * 7919 % 10007) + "\n";
  const std::pair<const char*, std::string> forms[] = {{"", text},
                                                       {"identity", text},
                                                       {"gzip", Packed(text)},
                                                       {"X-GZIP", Packed(text)},
                                                       {" gzip ", Packed(text)},
                                                       {"deflate", Packed(text, kZlib)},
                                                       {"deflate", Packed(text, kBare)}};
  for (const auto& [encoding, body] : forms) {
    for (const std::size_t piece : {std::size_t{1}, std::size_t{2}, std::size_t{7}, std::size_t{4096}, body.size()}) {
      EXPECT_TRUE(Through(encoding, body, piece) == text) << encoding << " " << piece;
    }
  }
}

TEST(Intake, MembersBehindEachOtherAndATapesZeros) {
  const std::string two = Packed("one ") + Packed("two");
  for (const std::size_t piece : {std::size_t{1}, std::size_t{3}, two.size()}) {
    EXPECT_EQ(Through("gzip", two, piece), "one two");
    EXPECT_EQ(Through("gzip", two + std::string(100, '\0'), piece), "one two");
    EXPECT_EQ(Through("gzip", two + std::string(2, '\0') + "rest", piece), "one two");
  }
  EXPECT_EQ(NumberOf([&] { Through("gzip", two.substr(0, two.size() - 3), 5); }), 12030U);
}

TEST(Intake, AReplyWithoutABodyMaySayThatItIsPacked) {
  EXPECT_EQ(Through("gzip", "", 1), "");
  EXPECT_EQ(Through("deflate", "", 1), "");
}

TEST(Intake, OneBodyAfterTheOther) {
  TVqHTTPIntake intake;
  TVqHTTPLimits limits;
  limits.ReplyBytes = 10;
  for (int i = 0; i < 3; ++i) {
    intake.Begin("h", "", limits, true);
    EXPECT_NO_THROW(intake.Take("0123456789", [](std::string_view) {}));
    intake.End();
  }
}
