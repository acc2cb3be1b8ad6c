// Bytes on the simulator's port, whatever they are: it answers or hangs up, and serves the next client.

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "simulator/simulator.h"

namespace {

using velmore::simulator::Options;
using velmore::simulator::Simulator;

Simulator& Server() {
  static Simulator& server = []() -> Simulator& {
    Options options;
    options.https = false;
    options.users = {{"alice", "alice@example.com", "Alice Arden", "wonder"}};
    options.max_request_bytes = 1 << 20;
    options.keep_exchanges = 2;
    auto* made = new Simulator(options);
    made->Start();
    return *made;
  }();
  return server;
}

/// What is answered until the connection ends.
std::string Ask(std::string_view bytes) {
  const int handle = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(Server().HttpPort());
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  // One that is held is a finding as well.
  const timeval limit{10, 0};
  ::setsockopt(handle, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
  if (::connect(handle, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) std::abort();
  while (!bytes.empty()) {
    const ssize_t sent = ::send(handle, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (sent <= 0) break;
    bytes.remove_prefix(static_cast<std::size_t>(sent));
  }
  ::shutdown(handle, SHUT_WR);
  std::string answer;
  char buffer[1 << 14];
  ssize_t got = 0;
  while ((got = ::recv(handle, buffer, sizeof buffer, 0)) > 0) answer.append(buffer, static_cast<std::size_t>(got));
  if (got < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) std::abort();
  ::close(handle);
  return answer;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static unsigned runs = 0;
  const std::string answer = Ask({reinterpret_cast<const char*>(data), size});
  if (!answer.empty() && !answer.starts_with("HTTP/1.")) std::abort();
  if (++runs % 64 == 0 && Ask("GET / HTTP/1.1\r\nHost: 127.0.0.1\r\nConnection: close\r\n\r\n").empty()) std::abort();
  return 0;
}
