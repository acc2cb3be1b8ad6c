#include <sys/socket.h>
#include <unistd.h>

#include <array>

#include "HTTPTestSupport.h"
#include "tests/support/FullPort.h"

using namespace velmore;

namespace {

/// Sockets that take the lowest numbers that are free, each with something that waits to be read.
class SpeakingSockets {
 public:
  SpeakingSockets() {
    for (auto& pair : FPairs) {
      if (socketpair(AF_UNIX, SOCK_STREAM, 0, pair.data()) != 0) throw std::runtime_error("no sockets for a test");
      for (const int one : pair)
        if (write(one, "x", 1) != 1) throw std::runtime_error("a socket takes nothing");
    }
  }
  ~SpeakingSockets() {
    for (const auto& pair : FPairs)
      for (const int one : pair) close(one);
  }
  SpeakingSockets(const SpeakingSockets&) = delete;
  SpeakingSockets& operator=(const SpeakingSockets&) = delete;

 private:
  std::array<std::array<int, 2>, 16> FPairs{};
};

}  // namespace

TEST(ForeignSockets, AreNotTakenForAConnectionThatNeverCameAbout) {
  ScriptedServer server;
  const auto client = NewClient();
  client->GetTimeOuts() = TVqHTTPTimeOuts(50, 60000, 60000);
  server.Then(ScriptedServer::Ok("x"));
  Get(client, server.Url());
  {
    const FullPort port;
    EXPECT_EQ(NumberOf([&] { Get(client, port.Url()); }), 12002U);
  }
  const SpeakingSockets sockets;
  server.Then(ScriptedServer::Ok("y"));
  EXPECT_EQ(Get(client, server.Url())->GetBody(), "y");
  EXPECT_EQ(server.Connections(), 1) << "the kept connection had nothing to say";
}
