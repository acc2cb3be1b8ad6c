#pragma once

// Requests and replies as the server and its connections hand them on.

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "simulator/types/fault.h"
#include "simulator/types/reply_stream.h"

namespace velmore::simulator {

using Headers = std::vector<std::pair<std::string, std::string>>;

struct HttpRequest {
  std::string method;
  std::string target;
  Headers headers;
  std::string body;
  bool secure = false;
  bool may_chunk = true;  // the client understands chunks

  const std::string* Header(std::string_view name) const;  // compares without case
};

struct HttpResponse {
  int status = 200;
  Headers headers;
  std::string body;
  bool may_compress = true;

  StreamBody stream;            // in place of the body; runs when the head is out
  bool announce_close = false;  // "Connection: close"
  Fault fault;                  // of which the delay, and what happens to the bytes, are done here
};

/// What a handler may keep for the life of a connection (the state of an authentication).
struct ConnectionState {
  std::uint64_t number = 0;
  std::string end_point;  // what proofs are bound to: "tls-server-end-point:..."; empty without TLS
  std::shared_ptr<void> authentication;
};

/// How a server listens and answers.
struct HttpSettings {
  std::string address;
  bool http = true;
  bool https = true;
  std::uint16_t http_port = 0;
  std::uint16_t https_port = 0;
  std::string certificate;  // PEM
  std::string key;          // PEM
  std::size_t max_request_bytes = 0;
  bool gzip = true;
  std::size_t chunk_bytes = 0;                   // replies go in chunks of this size; 0: with their length in front
  std::chrono::milliseconds idle_limit{120000};  // between requests
  std::chrono::milliseconds stall_limit{30000};  // for a whole head, and between the pieces of a body or a reply
  std::function<void()> on_connection;
};

}  // namespace velmore::simulator
