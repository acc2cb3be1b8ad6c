// A connection that may be out of step with the requests on it is not used again.

#include <fstream>
#include <sstream>

#include "HTTPTestSupport.h"
#include "tests/support/TestCertificates.h"

using namespace velmore;

namespace {

// Bytes that wait unread at this end of a connection to `port` on loopback, as the kernel's table tells.
bool BytesWait(std::uint16_t port) {
  char remote[16];
  std::snprintf(remote, sizeof remote, "0100007F:%04X", static_cast<unsigned>(port));
  std::ifstream table("/proc/net/tcp");
  for (std::string line; std::getline(table, line);) {
    std::istringstream fields(line);
    std::string number, local, other, state, queues;
    fields >> number >> local >> other >> state >> queues;
    if (other == remote && queues.size() == 17 && queues.substr(9) != "00000000") return true;
  }
  return false;
}

std::string Named(const std::string& text, const std::string& status = "200 OK") {
  return "HTTP/1.1 " + status + "\r\nContent-Length: " + std::to_string(text.size()) + "\r\n\r\n" + text;
}

}  // namespace

TEST(OutOfStep, AnAnswerGivenTwiceAtOnceIsNotTakenForTheNext) {
  ScriptedServer server;
  server.Then(Named("one") + Named("one")).Then(Named("two")).Then(Named("three"));
  const auto client = NewClient();
  EXPECT_EQ(Get(client, server.Url())->GetText(), "one");
  EXPECT_EQ(Get(client, server.Url())->GetText(), "two");
  EXPECT_EQ(Get(client, server.Url())->GetText(), "three");
  EXPECT_EQ(server.Requests()[1].Connection, 2);
}

TEST(OutOfStep, AnAnswerThatComesAgainLaterIsNotTakenForTheNext) {
  ScriptedServer server;
  ScriptedServer::Answer twice;
  twice.Bytes = Named("one") + Named("one");
  twice.PieceSize = Named("one").size();
  twice.Between = std::chrono::milliseconds(20);
  server.Then(twice).Then(Named("two"));
  const auto client = NewClient();
  EXPECT_EQ(Post(client, server.Url(), "x")->GetText(), "one");
  ASSERT_TRUE(server.WaitFor([&] { return BytesWait(server.Port()); }));
  EXPECT_EQ(Post(client, server.Url(), "x")->GetText(), "two");
  EXPECT_EQ(server.Requests()[1].Connection, 2);
  EXPECT_EQ(server.Requests().size(), 2U);
}

TEST(OutOfStep, OverTlsToo) {
  const TestAuthority authority;
  const auto made = authority.MakeServer({});
  ScriptedServer server({made.Certificate, made.Key, ""});
  const TestFile trusted(authority.Certificate());
  ScriptedServer::Answer twice;
  twice.Bytes = Named("one") + Named("one");
  twice.PieceSize = Named("one").size();
  twice.Between = std::chrono::milliseconds(20);
  server.Then(twice).Then(Named("two")).Then(Named("three"));
  const auto client = NewClient();
  client->GetSession()->SetCAFile(trusted.Path());
  EXPECT_EQ(Post(client, server.Url("/", "localhost"), "x")->GetText(), "one");
  ASSERT_TRUE(server.WaitFor([&] { return BytesWait(server.Port()); }));
  EXPECT_EQ(Post(client, server.Url("/", "localhost"), "x")->GetText(), "two");
  EXPECT_EQ(Post(client, server.Url("/", "localhost"), "x")->GetText(), "three");
  EXPECT_EQ(server.Connections(), 2);
}

TEST(OutOfStep, ARefusedRequestEndsItsConnection) {
  for (const char* status : {"400 Bad", "401 No", "403 No", "404 No", "429 Slow", "500 Fault", "503 Busy", "599 Odd"}) {
    ScriptedServer server;
    server.Then(Named("no", status)).Then(Named("yes"));
    const auto client = NewClient();
    Post(client, server.Url(), "x");
    EXPECT_TRUE(server.WaitFor([&] { return server.OpenConnections() == 0; })) << status;
    EXPECT_EQ(Post(client, server.Url(), "x")->GetText(), "yes") << status;
    EXPECT_EQ(server.Connections(), 2) << status;
  }
}

TEST(OutOfStep, OtherStatusesKeepTheirs) {
  for (const char* status : {"200 OK", "207 Many", "302 Found", "399 Odd"}) {
    ScriptedServer server;
    server.Then(Named("x", status)).Then(Named("y"));
    const auto client = NewClient();
    Post(client, server.Url(), "x");
    Post(client, server.Url(), "x");
    EXPECT_EQ(server.Connections(), 1) << status;
  }
}

TEST(OutOfStep, TheStepsOfAHandshakeStayOnTheirConnection) {
  ScriptedServer server;
  server.Then(Refusal("WWW-Authenticate: Basic realm=\"x\"\r\n")).Then(Named("in"));
  EXPECT_EQ(Post(As("anna", "geheim"), server.Url(), "x")->GetText(), "in");
  EXPECT_EQ(server.Connections(), 1);
}

TEST(OutOfStep, CloseConnectionsEndsTheKeptOnes) {
  ScriptedServer server;
  server.Always([](const auto&) { return Plain(Named("x")); });
  const auto client = NewClient();
  Get(client, server.Url());
  client->GetComponent()->CloseConnections();
  EXPECT_TRUE(server.WaitFor([&] { return server.OpenConnections() == 0; }));
  Get(client, server.Url());
  EXPECT_EQ(server.Connections(), 2);
}
