#pragma once

// HTTP/1.1 on two ports. An event loop with a few threads serves all connections, each on a strand of its own; every
// byte of a reply can be held back, cut or dribbled. What is answered is decided by a handler; nothing here knows of
// mail.

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "simulator/transport/http_message.h"

namespace velmore::simulator {

class HttpServer {
 public:
  using Handler = std::function<HttpResponse(const HttpRequest&, ConnectionState&)>;

  using Settings = HttpSettings;

  HttpServer(Settings settings, Handler handler);
  ~HttpServer();
  void Start();  // throws SimulatorError
  /// Ends within a moment whatever the connections are doing, and joins all threads.
  void Stop();
  /// Ends the connections that are open now. What still comes in on them is not carried out.
  void DropConnections();
  void SetIdentity(const std::string& certificate, const std::string& key);
  std::uint16_t HttpPort() const;   // 0 when off
  std::uint16_t HttpsPort() const;  // 0 when off

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace velmore::simulator
