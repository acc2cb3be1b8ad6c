// What other threads may do to a request that is under way.

#include <atomic>
#include <chrono>
#include <thread>

#include "HTTPTestSupport.h"

using namespace velmore;

namespace {

using Clock = std::chrono::steady_clock;

// An answer that never comes.
ScriptedServer::Answer Never() {
  ScriptedServer::Answer answer;
  answer.Hang = true;
  return answer;
}

}  // namespace

TEST(CancelThreads, ASessionEndsTheRequestsOfAllItsClients) {
  ScriptedServer server;
  server.Always([](const auto&) { return Never(); });
  TTestHTTPSession session;
  constexpr int count = 4;
  std::atomic<int> cancelled{0};
  std::vector<Clock::time_point> ended(count);
  std::vector<std::thread> threads;
  for (int i = 0; i < count; ++i) {
    threads.emplace_back([&, i] {
      const TVqRef<IVqHTTPClient> client = TVqHTTPClient(TestsUseWinHTTP());
      session.Join(client);
      if (NumberOf([&] { Get(client, server.Url()); }) == 6) ++cancelled;
      ended[static_cast<std::size_t>(i)] = Clock::now();
    });
  }
  EXPECT_TRUE(server.WaitFor([&] { return server.Requests().size() == count; }));
  const auto asked = Clock::now();
  session->Cancel();
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(cancelled, count);
  for (const auto& end : ended) EXPECT_LT(end - asked, std::chrono::milliseconds(100));
}

TEST(CancelThreads, WhatBeginsAfterwardsIsNotConcerned) {
  ScriptedServer server;
  server.Always([](const auto&) { return Plain(ScriptedServer::Ok("x")); });
  const auto client = NewClient();
  client->GetSession()->Cancel();
  EXPECT_EQ(Get(client, server.Url())->GetText(), "x");
}

TEST(CancelThreads, AStopEndsTheRequestAndLetsNoneBegin) {
  ScriptedServer server;
  server.Always([](const ScriptedServer::Request& request) {
    return request.Target() == "/never" ? Never() : Plain(ScriptedServer::Ok("x"));
  });
  const auto client = NewClient();
  std::stop_source source;
  client->GetComponent()->SetStopToken(source.get_token());
  EXPECT_EQ(Get(client, server.Url())->GetText(), "x") << "nobody asked for a stop";
  Clock::time_point asked;
  std::thread stopper([&] {
    EXPECT_TRUE(server.WaitFor([&] { return server.Requests().size() == 2; }));
    asked = Clock::now();
    source.request_stop();
  });
  const auto request = client->CreateRequest(TVqHTTPVerb::get, server.Url("/never"));
  EXPECT_EQ(NumberOf([&] { request->Execute(); }), 6U);
  const auto ended = Clock::now();
  stopper.join();
  EXPECT_LT(ended - asked, std::chrono::milliseconds(100));
  const std::size_t before = server.Requests().size();
  EXPECT_EQ(NumberOf([&] { Get(client, server.Url()); }), 6U);
  EXPECT_EQ(server.Requests().size(), before) << "nothing was sent";
  client->GetComponent()->SetStopToken({});
  EXPECT_EQ(Get(client, server.Url())->GetText(), "x");
}

TEST(CancelThreads, ARequestThatAStopEndedCanBeExecutedAgain) {
  ScriptedServer server;
  server.Always([](const auto&) { return Plain(ScriptedServer::Ok("x")); });
  const auto client = NewClient();
  std::stop_source source;
  source.request_stop();
  client->GetComponent()->SetStopToken(source.get_token());
  const auto request = client->CreateRequest(TVqHTTPVerb::get, server.Url());
  EXPECT_EQ(NumberOf([&] { request->Execute(); }), 6U);
  client->GetComponent()->SetStopToken({});
  EXPECT_EQ(request->Execute()->GetText(), "x");
  request->Cancel();
  EXPECT_EQ(NumberOf([&] { request->Execute(); }), 6U) << "a cancelled one cannot";
}

TEST(CancelThreads, ClientsComeAndGoWhileTheSessionIsCancelled) {
  ScriptedServer server;
  server.Always([](const auto&) { return Plain(ScriptedServer::Ok("x")); });
  TTestHTTPSession session;
  std::atomic<bool> done{false};
  std::vector<std::thread> threads;
  for (int t = 0; t < 3; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < 15; ++i) {
        const auto client = As("user" + std::to_string(t), "pw");
        session.Join(client);
        NumberOf([&] { Get(client, server.Url()); });
        client->GetCredentials().SetPassword("other");
        NumberOf([&] { Get(client, server.Url()); });
      }
    });
  }
  std::thread canceller([&] {
    while (!done) session->Cancel();
  });
  for (std::thread& thread : threads) thread.join();
  done = true;
  canceller.join();
  const auto last = NewClient();
  session.Join(last);
  EXPECT_EQ(Get(last, server.Url())->GetStatus().Code, 200);
}
