#pragma once

// A line between a client and a server: a process that hands on every byte half a round trip after it came, in both
// directions. A new connection costs a round trip of its own, as it does between machines. As wide as the loopback is.

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <deque>
#include <functional>
#include <list>
#include <stdexcept>
#include <string>
#include <vector>

namespace velmore {

class TLine {
 public:
  /// `prepare` is called in the new process.
  TLine(std::uint16_t server, std::chrono::milliseconds roundTrip, const std::function<void()>& prepare) {
    FListener = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address = Loopback(0);
    socklen_t size = sizeof address;
    if (::bind(FListener, reinterpret_cast<sockaddr*>(&address), size) != 0 || ::listen(FListener, 64) != 0 ||
        ::getsockname(FListener, reinterpret_cast<sockaddr*>(&address), &size) != 0)
      throw std::runtime_error("The line could not be opened.");
    FPort = ::ntohs(address.sin_port);
    FProcess = ::fork();
    if (FProcess == 0) {
      prepare();
      Carry(server, roundTrip);
      ::_exit(0);
    }
    ::close(FListener);
  }
  ~TLine() {
    ::kill(FProcess, SIGKILL);
    ::waitpid(FProcess, nullptr, 0);
  }
  TLine(const TLine&) = delete;
  TLine& operator=(const TLine&) = delete;

  std::uint16_t Port() const { return FPort; }

 private:
  using TClock = std::chrono::steady_clock;

  /// What is on its way; nothing at all is the end of the stream.
  struct TPiece {
    TClock::time_point Due;
    std::string Bytes;
  };
  /// One direction of a connection.
  struct TWay {
    int From, To;
    std::deque<TPiece> Pieces;
    bool Ended = false;    // nothing more comes in
    bool Arrived = false;  // and nothing more goes out
  };
  struct TConnection {
    TWay There, Back;
    bool IsNew = true;
  };

  static sockaddr_in Loopback(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = ::htonl(INADDR_LOOPBACK);
    address.sin_port = ::htons(port);
    return address;
  }

  void Carry(std::uint16_t server, std::chrono::milliseconds roundTrip) const {
    ::signal(SIGPIPE, SIG_IGN);
    std::list<TConnection> connections;
    for (;;) {
      Wait(connections);
      const auto now = TClock::now();
      pollfd listener{FListener, POLLIN, 0};
      if (::poll(&listener, 1, 0) > 0) Accept(connections, server);
      for (TConnection& connection : connections) {
        // The handshake went over the line before the first bytes did.
        const auto there = roundTrip / 2 + (connection.IsNew ? roundTrip : std::chrono::milliseconds(0));
        if (Take(connection.There, now + there)) connection.IsNew = false;
        Take(connection.Back, now + roundTrip / 2);
        Give(connection.There, now);
        Give(connection.Back, now);
      }
      connections.remove_if([](const TConnection& connection) {
        if (!connection.There.Arrived || !connection.Back.Arrived) return false;
        ::close(connection.There.From);
        ::close(connection.Back.From);
        return true;
      });
    }
  }

  void Wait(const std::list<TConnection>& connections) const {
    std::vector<pollfd> handles{{FListener, POLLIN, 0}};
    auto next = TClock::now() + std::chrono::seconds(10);
    for (const TConnection& connection : connections) {
      for (const TWay* way : {&connection.There, &connection.Back}) {
        if (!way->Ended) handles.push_back({way->From, POLLIN, 0});
        if (!way->Pieces.empty()) next = std::min(next, way->Pieces.front().Due);
      }
    }
    const auto wait = std::max(TClock::duration(0), next - TClock::now());
    const auto nanoseconds = std::chrono::duration_cast<std::chrono::nanoseconds>(wait).count();
    const timespec time{nanoseconds / 1'000'000'000, nanoseconds % 1'000'000'000};
    ::ppoll(handles.data(), handles.size(), &time, nullptr);
  }

  void Accept(std::list<TConnection>& connections, std::uint16_t server) const {
    const int client = ::accept(FListener, nullptr, nullptr);
    const int upstream = ::socket(AF_INET, SOCK_STREAM, 0);
    const sockaddr_in address = Loopback(server);
    if (::connect(upstream, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
      ::close(client);
      ::close(upstream);
      return;
    }
    const int one = 1;
    for (const int handle : {client, upstream}) ::setsockopt(handle, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
    connections.push_back({{client, upstream, {}}, {upstream, client, {}}});
  }

  /// Takes in what has come; whether something has.
  static bool Take(TWay& way, TClock::time_point due) {
    bool came = false;
    char piece[65536];
    while (!way.Ended) {
      const ssize_t size = ::recv(way.From, piece, sizeof piece, MSG_DONTWAIT);
      if (size < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR)) break;
      way.Ended = size <= 0;
      way.Pieces.push_back({due, std::string(piece, size > 0 ? static_cast<std::size_t>(size) : 0)});
      came = came || size > 0;
    }
    return came;
  }

  static void Give(TWay& way, TClock::time_point now) {
    while (!way.Pieces.empty() && way.Pieces.front().Due <= now) {
      const std::string& bytes = way.Pieces.front().Bytes;
      if (bytes.empty()) {
        ::shutdown(way.To, SHUT_WR);
        way.Arrived = true;
      }
      for (std::size_t sent = 0; sent < bytes.size();) {
        const ssize_t size = ::send(way.To, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (size <= 0) break;  // its other end is gone, which the other direction notices
        sent += static_cast<std::size_t>(size);
      }
      way.Pieces.pop_front();
    }
  }

  int FListener = -1;
  std::uint16_t FPort = 0;
  pid_t FProcess = -1;
};

}  // namespace velmore
