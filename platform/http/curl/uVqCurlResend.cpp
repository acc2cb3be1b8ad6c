#include "platform/http/curl/uVqCurlResend_p.h"

#ifdef __linux__
#include <linux/tcp.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstddef>
#endif

namespace velmore {

namespace {

// The goodbye is one record of its own: an alert, encrypted, far below this.
constexpr std::uint64_t kGoodbye = 128;

}  // namespace

bool VqMayHaveBeenRead(const TVqLostConnection& connection) noexcept {
  // What the system never took cannot have arrived, and what opens a handshake carries nothing to act on.
  if (connection.BodyTaken < connection.BodyTotal || connection.BodyAtHome) return false;
  if (!connection.TcpKnown) return true;
  // The server's system closes with an acknowledgement of all that came in before. Bytes that this one leaves out came
  // later: no program has read them. A connection that was reset says nothing of the kind.
  if (!connection.ClosedByServer) return true;
  const std::uint64_t goodbye = connection.Tls ? kGoodbye : 0;
  return connection.Acknowledged + goodbye >= connection.Sent - connection.Repeated;
}

void VqAskTcp([[maybe_unused]] int socket, [[maybe_unused]] TVqLostConnection& connection) noexcept {
#ifdef __linux__
  tcp_info info = {};
  socklen_t size = sizeof info;
  int error = 0;
  socklen_t errorSize = sizeof error;
  constexpr socklen_t needed = offsetof(tcp_info, tcpi_bytes_retrans) + sizeof info.tcpi_bytes_retrans;
  constexpr int closeWait = 8;  // TCP_CLOSE_WAIT, whose header contradicts linux/tcp.h
  if (getsockopt(socket, IPPROTO_TCP, TCP_INFO, &info, &size) != 0 || size < needed ||
      getsockopt(socket, SOL_SOCKET, SO_ERROR, &error, &errorSize) != 0) {
    return;
  }
  connection.TcpKnown = true;
  // EPIPE: closed in order first, and reset by our own bytes only afterwards.
  connection.ClosedByServer = info.tcpi_state == closeWait || error == EPIPE;
  connection.Sent = info.tcpi_bytes_sent;
  connection.Repeated = info.tcpi_bytes_retrans;
  connection.Acknowledged = info.tcpi_bytes_acked;
#endif
}

}  // namespace velmore
