#include <algorithm>
#include <chrono>
#include <thread>

#include "HTTPTestSupport.h"
#include "tests/support/FullPort.h"

using namespace velmore;
using namespace std::chrono_literals;

namespace {

using Clock = std::chrono::steady_clock;

ScriptedServer::Answer Silence(std::string bytes = "", bool unread = false) {
  return {std::move(bytes), 0, {}, {}, false, false, true, unread};
}

}  // namespace

TEST(TimeOut, Connect) {
  const FullPort port;
  const auto client = NewClient();
  client->GetTimeOuts() = TVqHTTPTimeOuts(150, 60000, 60000);
  const auto start = Clock::now();
  std::string text;
  EXPECT_EQ(NumberOf([&] { Get(client, port.Url()); }, &text), 12002U);
  EXPECT_NE(text.find("within 150 ms"), std::string::npos) << text;
  EXPECT_GE(Clock::now() - start, 140ms);
  EXPECT_LT(Clock::now() - start, 3s);
}

TEST(TimeOut, ReceiveBeforeTheFirstByte) {
  ScriptedServer server;
  server.Then(Silence());
  const auto client = NewClient();
  client->GetTimeOuts() = TVqHTTPTimeOuts(60000, 60000, 150);
  const auto start = Clock::now();
  std::string text;
  EXPECT_EQ(NumberOf([&] { Post(client, server.Url(), "x"); }, &text), 12002U);
  EXPECT_NE(text.find("sent nothing for 150 ms"), std::string::npos) << text;
  EXPECT_GE(Clock::now() - start, 140ms);
  EXPECT_LT(Clock::now() - start, 3s);
}

TEST(TimeOut, ReceiveInTheMiddleOfTheReply) {
  ScriptedServer server;
  server.Then(Silence("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nbeginning"));
  const auto client = NewClient();
  client->GetTimeOuts() = TVqHTTPTimeOuts(60000, 60000, 150);
  EXPECT_EQ(NumberOf([&] { Get(client, server.Url()); }), 12002U);
}

TEST(TimeOut, AReplyThatKeepsComingMayTakeLongerThanTheLimit) {
  ScriptedServer server;
  server.Then({ScriptedServer::Ok("12345678"), 7, 60ms, {}, false, false, false, false});
  const auto client = NewClient();
  client->GetTimeOuts() = TVqHTTPTimeOuts(60000, 60000, 300);
  const auto start = Clock::now();
  EXPECT_EQ(Get(client, server.Url())->GetBody(), "12345678");
  EXPECT_GT(Clock::now() - start, 300ms);
}

TEST(TimeOut, SendIsALimitOfItsOwn) {
  ScriptedServer server;
  server.Then(Silence("", true));  // takes the headers and no more
  const auto client = NewClient();
  client->GetTimeOuts() = TVqHTTPTimeOuts(60000, 150, 60000);
  std::string text;
  EXPECT_EQ(NumberOf([&] { Post(client, server.Url(), std::string(64 << 20, 'x')); }, &text), 12002U);
  EXPECT_NE(text.find("took nothing of the request for 150 ms"), std::string::npos) << text;
}

TEST(TimeOut, SendLimitDoesNotRunWhileTheServerThinks) {
  ScriptedServer server;
  server.Then({ScriptedServer::Ok("late"), 0, {}, 300ms, false, false, false, false});
  const auto client = NewClient();
  client->GetTimeOuts() = TVqHTTPTimeOuts(100, 100, 60000);
  EXPECT_EQ(Post(client, server.Url(), "x")->GetBody(), "late");
}

TEST(TimeOut, ZeroIsNoLimit) {
  ScriptedServer server;
  server.Then({ScriptedServer::Ok("late"), 0, {}, 200ms, false, false, false, false});
  const auto client = NewClient();
  client->GetTimeOuts() = TVqHTTPTimeOuts(0, 0, 0);
  EXPECT_EQ(Post(client, server.Url(), "x")->GetBody(), "late");
}

TEST(TimeOut, DefaultsOfAClientThatWasToldNothing) {
  const TVqRef<IVqHTTPClient> client = TVqHTTPClient(true);
  EXPECT_EQ(client->GetTimeOuts().GetConnect(), 60000);
  EXPECT_EQ(client->GetTimeOuts().GetSend(), 30000);
  EXPECT_EQ(client->GetTimeOuts().GetReceive(), 30000);
}

// The best of some tries counts: on a busy machine a thread may wait for its turn longer than that. A request that
// slept on would take its second each time.
constexpr int kTries = 5;

TEST(Cancel, EndsABlockedRequestWithinATenthOfASecond) {
  for (const bool midway : {false, true}) {
    Clock::duration best = Clock::duration::max();
    for (int i = 0; i < kTries && best >= 100ms; ++i) {
      ScriptedServer server;
      server.Then(Silence(midway ? "HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nbeginning" : ""));
      const auto client = NewClient();
      client->GetTimeOuts() = TVqHTTPTimeOuts(0, 0, 0);
      const auto request = client->CreateRequest(TVqHTTPVerb::post, server.Url(), "x", "text/xml");
      Clock::time_point cancelled;
      std::thread other([&] {
        server.WaitFor([&] { return !server.Requests().empty(); });
        std::this_thread::sleep_for(20ms);  // well into the wait
        cancelled = Clock::now();
        request->Cancel();
      });
      EXPECT_EQ(NumberOf([&] { request->Execute(); }), 6U);
      const auto ended = Clock::now();
      other.join();
      best = std::min(best, ended - cancelled);
      EXPECT_TRUE(server.WaitFor([&] { return server.OpenConnections() == 0; }));
      EXPECT_EQ(NumberOf([&] { request->Execute(); }), 6U) << "and stays cancelled";
      EXPECT_EQ(server.Requests().size(), 1U);
      server.Then(ScriptedServer::Ok("y"));
      EXPECT_EQ(Get(client, server.Url())->GetBody(), "y") << "the client stays usable";
    }
    EXPECT_LT(best, 100ms);
  }
}

TEST(Cancel, WhileConnecting) {
  const FullPort port;
  Clock::duration best = Clock::duration::max();
  for (int i = 0; i < kTries && best >= 100ms; ++i) {
    const auto client = NewClient();
    client->GetTimeOuts() = TVqHTTPTimeOuts(0, 0, 0);
    Clock::time_point cancelled;
    std::thread other([&] {
      std::this_thread::sleep_for(50ms);
      cancelled = Clock::now();
      client->GetComponent()->Cancel();
    });
    EXPECT_EQ(NumberOf([&] { Get(client, port.Url()); }), 6U);
    const auto ended = Clock::now();
    other.join();
    best = std::min(best, ended - cancelled);
  }
  EXPECT_LT(best, 100ms);
}

TEST(Cancel, OfAClientThatRunsNothingDoesNothing) {
  ScriptedServer server;
  server.Then(ScriptedServer::Ok("x"));
  const auto client = NewClient();
  client->GetComponent()->Cancel();
  EXPECT_EQ(Get(client, server.Url())->GetBody(), "x");
}

TEST(Cancel, IsNoErrorForTheErrorDialog) {
  TVqWinINetClient client;
  bool asked = false;
  client.SetOnWinINetError([&](TVqComponent&, std::uint32_t, TVqWindowHandle&, bool&) { asked = true; });
  const auto request = static_cast<IVqHTTPClient&>(client).CreateRequest(TVqHTTPVerb::get, "http://127.0.0.1:1/");
  request->Cancel();
  EXPECT_EQ(NumberOf([&] { request->Execute(); }), 6U);
  EXPECT_FALSE(asked);
}
