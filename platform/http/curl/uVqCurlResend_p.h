#pragma once

// Whether a server has read a request whose connection went without a reply. docs/decisions/resending.md tells the rule
// and when it may be wrong.

#include <cstdint>

#pragma GCC visibility push(hidden)

namespace velmore {

/// What this machine knows of a connection when it is closed before any byte of a reply.
struct TVqLostConnection {
  std::uint64_t BodyTotal = 0;     ///< bytes of the request's body as it was to go out ...
  std::uint64_t BodyTaken = 0;     ///< ... and those that the system took
  bool BodyAtHome = false;         ///< the request opened a handshake, and its body was kept back
  bool Tls = false;                ///< with a record of goodbye behind the request
  bool TcpKnown = false;           ///< the next four are
  bool ClosedByServer = false;     ///< the server closed in order, before anything was reset
  std::uint64_t Sent = 0;          ///< bytes that went out on the connection, those of repetitions too
  std::uint64_t Repeated = 0;      ///< bytes of repetitions
  std::uint64_t Acknowledged = 0;  ///< bytes that the server's system has confirmed
};

/// True when a program on the other side may have got the whole request; false only when that cannot be.
bool VqMayHaveBeenRead(const TVqLostConnection& connection) noexcept;

/// The TCP part, of a socket that is about to be closed; nothing of it where the system does not tell.
void VqAskTcp(int socket, TVqLostConnection& connection) noexcept;

}  // namespace velmore

#pragma GCC visibility pop
