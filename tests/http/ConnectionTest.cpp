#include <dirent.h>

#include <atomic>
#include <thread>

#include "HTTPTestSupport.h"

using namespace velmore;

namespace {

int OpenDescriptors() {
  int count = 0;
  DIR* const folder = opendir("/proc/self/fd");
  while (readdir(folder)) ++count;
  closedir(folder);
  return count;
}

}  // namespace

TEST(Connection, HundredRequestsOneConnection) {
  ScriptedServer server;
  server.Always([](const auto&) { return Plain(ScriptedServer::Ok("x")); });
  const auto client = NewClient();
  for (int i = 0; i < 50; ++i) {
    Get(client, server.Url());
    Post(client, server.Url(), "body");
  }
  EXPECT_EQ(server.Requests().size(), 100U);
  EXPECT_EQ(server.Connections(), 1);
}

TEST(Connection, TenThousandRequestsLeaveNoDescriptorBehind) {
  ScriptedServer server;
  server.Always([](const auto&) { return Plain(ScriptedServer::Ok("x")); });
  const auto client = NewClient();
  Get(client, server.Url());
  const int before = OpenDescriptors();
  for (int i = 0; i < 10000; ++i) Get(client, server.Url());
  EXPECT_EQ(OpenDescriptors(), before);
  EXPECT_EQ(server.Connections(), 1);
}

TEST(Connection, ClientsComeAndGoWithoutLeavingDescriptors) {
  ScriptedServer server;
  server.Always([](const auto&) { return Plain(ScriptedServer::Ok("x")); });
  Get(NewClient(), server.Url());
  server.WaitFor([&] { return server.OpenConnections() == 0; });
  const int before = OpenDescriptors();
  for (int i = 0; i < 20; ++i) Get(NewClient(), server.Url());
  server.WaitFor([&] { return server.OpenConnections() == 0; });
  EXPECT_EQ(OpenDescriptors(), before);
}

TEST(Connection, SetActiveFalseClosesItAndTheNextRequestOpensAnother) {
  ScriptedServer server;
  server.Always([](const auto&) { return Plain(ScriptedServer::Ok("x")); });
  const auto client = NewClient();
  Get(client, server.Url());
  EXPECT_TRUE(client->GetSession()->GetActive());
  client->GetSession()->SetActive(false);
  EXPECT_FALSE(client->GetSession()->GetActive());
  EXPECT_TRUE(server.WaitFor([&] { return server.OpenConnections() == 0; }));
  EXPECT_EQ(Get(client, server.Url())->GetStatus().Code, 200);
  EXPECT_EQ(server.Connections(), 2);
}

TEST(Connection, SetActiveFalseInsideARequestTakesEffectAtItsEnd) {
  ScriptedServer server;
  server.Then(ScriptedServer::Ok("x"));
  const auto client = NewClient();
  client->SetOnDataReceived([&](TVqComponent&, TVqHTTPReplyStream&) { client->GetSession()->SetActive(false); });
  EXPECT_EQ(Get(client, server.Url())->GetBody(), "x");
  EXPECT_TRUE(server.WaitFor([&] { return server.OpenConnections() == 0; }));
}

TEST(Connection, ClosedByTheServerBetweenTwoRequestsIsNotNoticed) {
  ScriptedServer server;
  server.Always([](const auto&) { return Plain(ScriptedServer::Ok("x")); });
  const auto client = NewClient();
  Post(client, server.Url(), "1");
  server.CloseConnections();
  EXPECT_EQ(Post(client, server.Url(), "2")->GetStatus().Code, 200);
  EXPECT_EQ(server.Requests().size(), 2U);
  EXPECT_EQ(server.Connections(), 2);
}

TEST(Connection, APostThatTheServerHasReadIsNeverSentTwice) {
  for (const bool reset : {false, true}) {
    ScriptedServer server;
    server.Then(ScriptedServer::Ok("x")).Then({"", 0, {}, {}, !reset, reset, false, false});
    const auto client = NewClient();
    Post(client, server.Url(), "1");
    std::string text;
    EXPECT_EQ(NumberOf([&] { Post(client, server.Url(), "2"); }, &text), 12030U);
    EXPECT_NE(text.find("was not sent again"), std::string::npos) << text;
    EXPECT_EQ(server.Requests().size(), 2U);
    EXPECT_EQ(server.Complaints(), "");
    server.Then(ScriptedServer::Ok("y"));
    EXPECT_EQ(Post(client, server.Url(), "3")->GetText(), "y") << "the client stays usable";
  }
}

TEST(Connection, AGetIsSentAgainOnceAndOnlyOnce) {
  ScriptedServer server;
  server.Then(ScriptedServer::Ok("x")).Then({"", 0, {}, {}, true, false, false, false}).Then(ScriptedServer::Ok("y"));
  const auto client = NewClient();
  Get(client, server.Url());
  EXPECT_EQ(Get(client, server.Url())->GetText(), "y");
  EXPECT_EQ(server.Complaints(), "");
}

TEST(Connection, APostCutWhileItGoesOutIsSentAgain) {
  ScriptedServer server;
  // The server drops the connection on the headers, with most of a body that no buffer holds still to come.
  server.Then(ScriptedServer::Ok("x")).Then({"", 0, {}, {}, false, true, false, true}).Then(ScriptedServer::Ok("y"));
  const auto client = NewClient();
  Post(client, server.Url(), "1");
  EXPECT_EQ(Post(client, server.Url(), std::string(64 << 20, 'x'))->GetText(), "y");
  EXPECT_EQ(server.Complaints(), "");
  EXPECT_EQ(server.Connections(), 2);
}

TEST(Connection, AClientIsForOneRequestAtATime) {
  ScriptedServer server;
  server.Then(ScriptedServer::Ok("x"));
  const auto client = NewClient();
  std::string text;
  client->SetOnDataReceived([&](TVqComponent&, TVqHTTPReplyStream&) {
    try {
      Get(client, server.Url());
    } catch (const EVqException& error) {
      text = error.what();
    }
  });
  Get(client, server.Url());
  EXPECT_EQ(text, "The HTTP client is busy with another request.");
}

TEST(Connection, TheResponseEventMayUseTheClient) {
  ScriptedServer server;
  server.Then(ScriptedServer::Ok("x")).Then(ScriptedServer::Ok("y"));
  const auto client = NewClient();
  std::string inner;
  client->GetComponent()->SetOnResponse([&](TVqComponent&, const TVqRef<IVqHTTPResponse>&) {
    client->GetComponent()->SetOnResponse(nullptr);
    inner = Get(client, server.Url())->GetBody();
  });
  EXPECT_EQ(Get(client, server.Url())->GetBody(), "x");
  EXPECT_EQ(inner, "y");
}

TEST(Connection, ClientOutlivesItsSession) {
  ScriptedServer server;
  server.Always([](const auto&) { return Plain(ScriptedServer::Ok("x")); });
  const auto client = NewClient();
  {
    TTestHTTPSession session;
    session.Join(client);
    EXPECT_EQ(client->GetSession().get(), &*session);
    Get(client, server.Url());
  }
  EXPECT_TRUE(server.WaitFor([&] { return server.OpenConnections() == 0; }));
  EXPECT_EQ(Get(client, server.Url())->GetStatus().Code, 200);
}

TEST(Threads, ClientsOnOneSessionWorkSideBySide) {
  ScriptedServer server;
  server.Always([](const ScriptedServer::Request& request) {
    return Plain(ScriptedServer::Ok(request.Body, "Set-Cookie: c" + request.Header("X-Thread") + "=1\r\n"));
  });
  TTestHTTPSession session;
  session->SetUserAgent("shared");
  std::atomic<int> good{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] {
      const auto client = NewClient();
      session.Join(client);
      client->GetAdditionalHeaders().Add("X-Thread=" + std::to_string(t));
      for (int i = 0; i < 25; ++i) {
        const std::string body = std::to_string(t) + "." + std::to_string(i);
        if (Post(client, server.Url(), body, "text/plain")->GetBody() == body) ++good;
      }
    });
  }
  for (int i = 0; i < 20; ++i) {
    session->SetUserAgent("shared " + std::to_string(i));
    session->SetActive(i % 2 == 0);
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(good, 100);
  EXPECT_EQ(session->GetCookies().Count(), 4);
}
