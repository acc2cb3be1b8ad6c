#pragma once

// A reply that is written in pieces while it stays open.

#include <chrono>
#include <functional>
#include <string_view>

namespace velmore::simulator {

/// The open end of a reply. One thread writes and waits, the one that was given the stream; Wake may come from any.
class ReplyStream {
 public:
  virtual ~ReplyStream() = default;
  /// Sends bytes now. False when the connection has ended.
  virtual bool Write(std::string_view bytes) = 0;
  /// Waits for the time or for Wake, whichever comes first; a Wake since the last wait counts. False when the
  /// connection has ended, which the end of the server brings about, too.
  virtual bool Wait(std::chrono::milliseconds time) = 0;
  virtual void Wake() = 0;
};

/// Writes the body of a reply. The reply ends where it returns.
using StreamBody = std::function<void(ReplyStream&)>;

}  // namespace velmore::simulator
