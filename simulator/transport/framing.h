#pragma once

// The bytes of a reply: head and body as they go over the wire.

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "simulator/transport/http_message.h"

namespace velmore::simulator {

/// One chunk of a body that is sent in chunks.
std::string ChunkOf(std::string_view bytes);
inline constexpr std::string_view kLastChunk = "0\r\n\r\n";

struct Framed {
  std::string head;
  std::string body;      // compressed and in chunks, where that was agreed on; empty for a stream
  bool chunked = false;  // of a stream: it goes in chunks
};
/// `request` null: refused before it could be read.
Framed Frame(HttpResponse& response, const HttpRequest* request, const HttpSettings& settings);

/// Head and body one behind the other, given out in pieces without copying.
class Outgoing {
 public:
  Outgoing() = default;
  Outgoing(std::string head, std::string body) : head_(std::move(head)), body_(std::move(body)) {
    end_ = head_.size() + body_.size();
  }
  /// Ends it behind so many bytes. False when there are no more than that.
  bool CutAt(std::uint64_t size);
  bool Done() const { return at_ >= end_; }
  /// The next piece, of `most` bytes at most: one part or two.
  std::array<std::string_view, 2> Next(std::size_t most);

 private:
  std::string head_;
  std::string body_;
  std::size_t at_ = 0;
  std::size_t end_ = 0;
};

}  // namespace velmore::simulator
