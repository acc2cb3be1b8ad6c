#pragma once

// One connection of a client: reads requests, has them answered, writes the replies. All that it does waits in the
// event loop, on a strand of its own; only a reply that stays open has a thread while it is open.

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl/context.hpp>
#include <cstdint>
#include <functional>
#include <memory>

#include "simulator/transport/http_message.h"

namespace velmore::simulator {

/// What a certificate makes of new connections.
struct TlsIdentity {
  boost::asio::ssl::context context{boost::asio::ssl::context::tls_server};
  std::string end_point;
};

/// What connections need of their server. Any thread may call; the server outlives its connections.
class ConnectionHost {
 public:
  virtual const HttpSettings& Settings() const = 0;
  virtual HttpResponse Answer(const HttpRequest& request, ConnectionState& state) = 0;
  /// False once the connection was dropped, or the server is stopping: what still comes in is not carried out.
  virtual bool Serves(std::uint64_t number) const = 0;
  virtual bool Stopping() const = 0;
  /// The connection is about to close its socket.
  virtual void Forget(std::uint64_t number) = 0;
  /// Runs something on a thread of its own, which the server waits for in the end. Throws std::system_error when there
  /// are no more threads.
  virtual void RunAside(std::function<void()> job) = 0;

 protected:
  ~ConnectionHost() = default;
};

class Connection {
 public:
  virtual ~Connection() = default;
  virtual void Start() = 0;
  /// Ends a delay; the socket is shut down by who calls this.
  virtual void Interrupt() = 0;
};

/// `tls` null: plain HTTP. The socket's executor is a strand.
std::shared_ptr<Connection> MakeConnection(ConnectionHost& host, boost::asio::ip::tcp::socket socket,
                                           std::uint64_t number, std::shared_ptr<TlsIdentity> tls);

}  // namespace velmore::simulator
