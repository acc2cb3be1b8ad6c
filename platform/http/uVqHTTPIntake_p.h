#pragma once

// The body of a reply as it comes in: unpacked, and measured while it is.

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "platform/http/uVqHTTPTypes.h"

#pragma GCC visibility push(hidden)

namespace velmore {

/// Raises 12152 for a reply that is longer than `most` bytes, `unpacked` or as it came in.
[[noreturn]] void VqRaiseTooLong(const std::string& host, std::uint64_t most, bool unpacked);

/// Knows no sockets: takes bytes, however they are cut, and gives bytes. Used by the thread of the request.
class TVqHTTPIntake {
 public:
  using TSink = std::function<void(std::string_view)>;

  TVqHTTPIntake();
  ~TVqHTTPIntake();
  TVqHTTPIntake(const TVqHTTPIntake&) = delete;
  TVqHTTPIntake& operator=(const TVqHTTPIntake&) = delete;

  /// The headers of a reply are in. `encoding` is its "Content-Encoding"; `kept` says that the body is kept whole, so
  /// that the bounds of its size hold. Raises EVqHTTPApiException 12152 for an encoding that was not asked for.
  void Begin(std::string_view host, std::string_view encoding, const TVqHTTPLimits& limits, bool kept);
  /// The next bytes. Raises 12152 for what cannot be unpacked and what exceeds a bound, and whatever `sink` raises.
  void Take(std::string_view bytes, const TSink& sink);
  /// The reply is over. Raises 12030 when a packed body is not.
  void End();

 private:
  struct TUnpacker;
  void Pass(std::string_view bytes, const TSink& sink);

  std::string FHost;
  TVqHTTPLimits FLimits;
  bool FKept = true;
  std::uint64_t FPacked = 0, FUnpacked = 0;
  std::unique_ptr<TUnpacker> FUnpacker;  // empty: the body comes as it is
};

}  // namespace velmore

#pragma GCC visibility pop
