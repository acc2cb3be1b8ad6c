// What clients may do to connections: leave them idle, send half of something, open very many.

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <filesystem>
#include <thread>
#include <utility>

#include "ProgramTestSupport.h"
#include "SimulatorTestSupport.h"

namespace velmore::simulator::testing {
namespace {

using namespace std::chrono_literals;

/// A connection whose bytes the test chooses.
class RawConnection {
 public:
  explicit RawConnection(std::uint16_t port) : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    open_ = socket_ >= 0 && ::connect(socket_, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
  }
  ~RawConnection() {
    if (socket_ >= 0) ::close(socket_);
  }
  RawConnection(RawConnection&& other) noexcept : socket_(std::exchange(other.socket_, -1)), open_(other.open_) {}
  RawConnection(const RawConnection&) = delete;
  RawConnection& operator=(const RawConnection&) = delete;

  bool IsOpen() const { return open_; }
  int Handle() const { return socket_; }
  void Send(std::string_view bytes) const {
    EXPECT_EQ(::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL), static_cast<ssize_t>(bytes.size()));
  }
  /// All that comes until the server closes, or says nothing for so long: then `quiet` is true.
  std::string ReadToTheEnd(bool& quiet, std::chrono::milliseconds patience = 20s) const {
    std::string bytes;
    char buffer[4096];
    for (;;) {
      pollfd waiting{socket_, POLLIN, 0};
      quiet = ::poll(&waiting, 1, static_cast<int>(patience.count())) == 0;
      if (quiet) return bytes;
      const ssize_t count = ::recv(socket_, buffer, sizeof buffer, 0);
      if (count <= 0) return bytes;
      bytes.append(buffer, static_cast<std::size_t>(count));
    }
  }
  bool ClosedByServer() const {
    bool quiet = false;
    ReadToTheEnd(quiet);
    return !quiet;
  }
  /// The head of a reply.
  std::string ReadHead() const {
    std::string bytes;
    char c = 0;
    while (!bytes.ends_with("\r\n\r\n") && ::recv(socket_, &c, 1, 0) == 1) bytes += c;
    return bytes;
  }

 private:
  int socket_;
  bool open_ = false;
};

Options Impatient() {
  Options options = TestOptions();
  options.idle_limit = 50ms;
  options.stall_limit = 50ms;
  return options;
}

const std::string kRequest = "GET /nothing HTTP/1.1\r\nHost: localhost\r\n\r\n";

TEST(SimulatorConnections, IdleOnesAreClosed) {
  const Started server(Impatient());
  const RawConnection never(server.HttpPort());
  const RawConnection once(server.HttpPort());
  const RawConnection secure(server.HttpsPort());
  once.Send(kRequest);
  bool quiet = false;
  EXPECT_TRUE(once.ReadToTheEnd(quiet).starts_with("HTTP/1.1 404 ")) << "what was asked is answered first";
  EXPECT_FALSE(quiet);
  EXPECT_TRUE(never.ClosedByServer());
  EXPECT_TRUE(secure.ClosedByServer()) << "a handshake that never begins";
}

TEST(SimulatorConnections, HalfSentRequestsAreClosed) {
  const Started server(Impatient());
  for (const std::string_view half : {"P", "POST /EWS/Exchange.asmx HTTP/1.1\r\nHost: loc",
                                      "POST /EWS/Exchange.asmx HTTP/1.1\r\nContent-Length: 100\r\n\r\n<half"}) {
    const RawConnection connection(server.HttpPort());
    connection.Send(half);
    EXPECT_TRUE(connection.ClosedByServer()) << half;
  }
  EXPECT_EQ(server.GetCounters().requests, 0u);
}

TEST(SimulatorConnections, AHeadThatDribblesHasOneLimitForAllOfIt) {
  Options options = TestOptions();
  options.stall_limit = 100ms;
  const Started server(options);
  const RawConnection connection(server.HttpPort());
  // A byte now and then, for as long as the server takes them.
  bool closed = false;
  const auto until = std::chrono::steady_clock::now() + 20s;
  const std::string head = "GET / HTTP/1.1\r\nX: " + std::string(100000, 'x');
  for (std::size_t i = 0; !closed && i < head.size() && std::chrono::steady_clock::now() < until; ++i) {
    bool quiet = false;
    connection.Send(head.substr(i, 1));
    connection.ReadToTheEnd(quiet, 20ms);
    closed = !quiet;
  }
  EXPECT_TRUE(closed);
}

TEST(SimulatorConnections, ALargeBodyThatGoesOnIsReadToItsEnd) {
  Options options = TestOptions();
  options.stall_limit = 2s;
  const Started server(options);
  const RawConnection connection(server.HttpPort());
  connection.Send("POST /nothing HTTP/1.1\r\nContent-Length: 50\r\nConnection: close\r\n\r\n");
  for (int i = 0; i < 50; ++i) connection.Send("x");
  bool quiet = false;
  EXPECT_TRUE(connection.ReadToTheEnd(quiet).starts_with("HTTP/1.1 404 "));
}

TEST(SimulatorConnections, RequestsOneBehindTheOtherAreAnsweredInTheirOrder) {
  const Started server;
  const RawConnection connection(server.HttpPort());
  connection.Send("GET /oauth2/token HTTP/1.1\r\n\r\n" + kRequest +
                  "GET /nothing HTTP/1.1\r\nConnection: close\r\n\r\n");
  bool quiet = false;
  const std::string all = connection.ReadToTheEnd(quiet);
  std::size_t replies = 0;
  for (std::size_t at = all.find("HTTP/1.1 404"); at != std::string::npos; at = all.find("HTTP/1.1 404", at + 1))
    ++replies;
  EXPECT_EQ(replies, 3u) << all;
  EXPECT_LT(all.find("application/json"), all.find("text/plain"));
}

TEST(SimulatorConnections, ExpectedContinueIsTold) {
  const Started server;
  const RawConnection connection(server.HttpPort());
  connection.Send("POST /nothing HTTP/1.1\r\nContent-Length: 4\r\nExpect: 100-continue\r\n\r\n");
  EXPECT_EQ(connection.ReadHead(), "HTTP/1.1 100 Continue\r\n\r\n");
  connection.Send("body");
  EXPECT_TRUE(connection.ReadHead().starts_with("HTTP/1.1 404 "));
}

TEST(SimulatorConnections, StopEndsAllOfThemInWhateverTheyDo) {
  Started server;
  const RawConnection idle(server.HttpPort());
  const RawConnection half(server.HttpPort());
  const RawConnection shaking(server.HttpsPort());
  half.Send("POST /EWS/Exchange.asmx HTTP/1.1\r\nContent-Le");
  idle.Send(kRequest);
  idle.ReadHead();
  server.Stop();
  EXPECT_TRUE(idle.ClosedByServer());
  EXPECT_TRUE(half.ClosedByServer());
  EXPECT_TRUE(shaking.ClosedByServer());
}

std::size_t ThreadsOf(const std::string& process) {
  const std::filesystem::directory_iterator tasks("/proc/" + process + "/task");
  return static_cast<std::size_t>(std::distance(begin(tasks), end(tasks)));
}

/// More descriptors for this process while it lives.
class ManyDescriptors {
 public:
  explicit ManyDescriptors(rlim_t wanted) {
    ::getrlimit(RLIMIT_NOFILE, &before_);
    const rlimit more = {std::min(wanted, before_.rlim_max), before_.rlim_max};
    enough_ = more.rlim_cur >= wanted && ::setrlimit(RLIMIT_NOFILE, &more) == 0;
  }
  ~ManyDescriptors() { ::setrlimit(RLIMIT_NOFILE, &before_); }
  ManyDescriptors(const ManyDescriptors&) = delete;
  ManyDescriptors& operator=(const ManyDescriptors&) = delete;
  bool Enough() const { return enough_; }

 private:
  rlimit before_{};
  bool enough_ = false;
};

TEST(SimulatorConnections, FifteenHundredNeedNoThreadEach) {
  const ManyDescriptors descriptors(4000);
  if (!descriptors.Enough()) GTEST_SKIP() << "this machine does not allow so many descriptors";
  const Started server;
  std::vector<RawConnection> all;
  for (int i = 0; i < 1500; ++i) {
    ASSERT_TRUE(all.emplace_back(server.HttpPort()).IsOpen()) << i;
    all.back().Send(kRequest);
    if (i % 100 != 99) continue;
    EXPECT_TRUE(all.back().ReadHead().starts_with("HTTP/1.1 404 ")) << i;
  }
  EXPECT_LT(ThreadsOf("self"), 100u);
  EXPECT_TRUE(all.front().ReadHead().starts_with("HTTP/1.1 404 ")) << "the first one is still there";
  EXPECT_EQ(Client(server).Call(GetFolderXml(Distinguished("inbox"))).Code(), "NoError");
}

TEST(SimulatorConnections, WithoutDescriptorsTheyAreRefusedAndLaterTakenAgain) {
#ifdef __SANITIZE_ADDRESS__
  GTEST_SKIP() << "UBSan looks through a pipe whether memory can be read, and takes its lack for a broken object";
#endif
  Program program({"/bin/sh", "-c", "ulimit -n 48; exec \"$0\" \"$@\"", VELMORE_SIMULATOR_PROGRAM, "--no-https"});
  ASSERT_TRUE(program.ReadUntil("Ready.")) << program.Output();
  const std::string url = program.Line("HTTP");
  const std::size_t colon = url.rfind(':');
  const auto port = static_cast<std::uint16_t>(std::stoi(url.substr(colon + 1)));
  {
    std::vector<RawConnection> all;
    for (int i = 0; i < 80; ++i) all.emplace_back(port);
    EXPECT_TRUE(all.back().ClosedByServer()) << "the last one is told that there is no place for it";
    all.front().Send(kRequest);
    EXPECT_TRUE(all.front().ReadHead().starts_with("HTTP/1.1 404 ")) << "those that are in are served";
  }
  for (int i = 0; i < 200; ++i) {
    const RawConnection again(port);
    if (::send(again.Handle(), kRequest.data(), kRequest.size(), MSG_NOSIGNAL) > 0 &&
        again.ReadHead().starts_with("HTTP/1.1 404 "))
      return;
    std::this_thread::sleep_for(20ms);
  }
  ADD_FAILURE() << "the places of those who went are not taken again";
}

}  // namespace
}  // namespace velmore::simulator::testing
