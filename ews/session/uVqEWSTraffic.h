#pragma once

/// The messages between a session and its server, for a program that wants to look at them.
///
///     session.SetOnResponse([](TVqComponent&, const TVqEWSTraffic& t) {
///       std::clog << t.Operation << ": " << t.Status << " after " << t.Duration.count() << " ms\n";
///     });

#include <chrono>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "platform/common/uVqClasses.h"

namespace velmore {

/// One message. A plain value that owns its texts. No password, token or cookie stands in it: "****" is in their place.
struct TVqEWSTraffic {
  /// The operation of a SOAP message, "GetItem"; empty for others, such as the search for a server.
  std::string Operation;
  /// The address that was asked.
  std::string URL;
  /// The message's own headers in their order; what the transport adds to a request is not among them.
  std::vector<std::pair<std::string, std::string>> Headers;
  /// The body as it goes over the wire, unpacked.
  std::string Body;
  /// The status of a reply; 0 for a request.
  std::int32_t Status = 0;
  /// From the request to its reply; 0 for a request.
  std::chrono::milliseconds Duration{0};
};

/// Called when a message passes, on the thread of the request; what the handler raises ends the request.
using TVqEWSTrafficEvent = std::function<void(TVqComponent& ASender, const TVqEWSTraffic& ATraffic)>;

/// A text in which each of these secrets is "****", wherever it stands. Secrets shorter than four bytes are left alone:
/// masking them would tear every text.
std::string EwsMaskTexts(std::string AText, const std::vector<std::string>& ASecrets);
/// The local name of the first element in a SOAP body; empty when there is none.
std::string EwsOperationOf(const std::string& ABody);

}  // namespace velmore
