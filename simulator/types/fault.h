#pragma once

/// Failures that a simulator plays on request.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "simulator/types/options.h"

namespace velmore::simulator {

/// A failure to be played once (or several times) instead of, or on top of, the proper reply. Faults are kept in a
/// queue; a request takes the first that fits its operation.
struct Fault {
  /// "GetItem", or empty for any operation of the service; compared without case. Beside the service, and only by their
  /// names: "Autodiscover", "AutodiscoverV2", "Token" and "Authorize".
  std::string operation = {};
  int skip = 0;          ///< lets this many fitting requests pass first
  int times = 1;         ///< plays this many times; negative: for ever
  bool execute = false;  ///< carry the operation out although its reply is replaced or lost

  std::chrono::milliseconds delay{0};  ///< waits before replying; ends early when the simulator stops

  // Replaces the reply; the first that is set counts.
  int http_status = 0;               ///< e.g. 503; with `body` and `headers`; 401 offers the schemes if no header does
  std::string soap_fault_code = {};  ///< e.g. "ErrorServerBusy": HTTP 500 with a SOAP fault of that code
  std::string response_code = {};    ///< e.g. "ErrorItemNotFound": a response message of that code
  bool warning = false;              ///< with response_code: ResponseClass "Warning" instead of "Error"
  std::string message_text = {};     ///< text of the fault or response message
  int back_off_milliseconds = 0;     ///< back-off hint of ErrorServerBusy, 0: none
  bool replace_body = false;         ///< answer HTTP 200 with `body` as it stands (garbage, HTML, nothing)

  /// What is answered, byte for byte, and its "Content-Type"; with an HTTP status or `replace_body`.
  std::string body = {};
  std::string content_type = {};
  std::vector<std::pair<std::string, std::string>> headers = {};  ///< added to whatever is answered

  // What happens to the bytes of the reply.
  bool close_before_reply = false;  ///< ends the connection instead of answering
  std::int64_t cut_at_byte = -1;    ///< ends the connection after this many bytes of the whole reply, head included
  bool close_after_reply = false;   ///< ends the connection after the reply without having said so
  std::size_t piece_size = 0;       ///< writes the reply in pieces of this many bytes; 0: at once

  // What happens to a reply that stays open (GetStreamingEvents), into which one envelope is written at a time.
  std::int64_t silent_after = -1;    ///< after so many envelopes: says nothing any more, and ends nothing
  std::int64_t end_after = -1;       ///< after so many envelopes: ends the reply in good order
  std::string stream_text = {};      ///< written before that
  std::size_t glue = 0;              ///< holds envelopes back until there are so many, and writes them at once
  std::string before_envelope = {};  ///< written before each: white space, a declaration
  std::string prefix = {};           ///< of the SOAP namespace, in place of "s"

  // What is different from then on.
  std::optional<Certificate> certificate = {};                  ///< shown to connections made later
  std::optional<std::vector<std::string>> authentication = {};  ///< schemes offered to requests that come later

  /// True when nothing of the proper reply is sent.
  bool Replaces() const {
    return http_status != 0 || !soap_fault_code.empty() || !response_code.empty() || replace_body || close_before_reply;
  }
};

}  // namespace velmore::simulator
