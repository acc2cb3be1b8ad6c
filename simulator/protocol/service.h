#pragma once

// SOAP: reads the envelope of a request, checks it, runs the operation, writes the envelope of the reply.

#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "simulator/operations/operations.h"
#include "simulator/schema/validator.h"
#include "simulator/types/reply_stream.h"

namespace velmore::simulator {

struct SoapReply {
  int status = 200;
  std::string body;
  StreamBody stream = {};  // in place of the body, for a reply that stays open
  std::vector<std::pair<std::string, std::string>> headers = {};
};

/// What a request's HTTP headers say of where it is to run.
struct Arrival {
  std::string anchor_mailbox;     // X-AnchorMailbox
  std::string override_cookie;    // the cookie X-BackEndOverrideCookie
  bool prefers_affinity = false;  // X-PreferServerAffinity
};

/// A request after its envelope was read.
struct SoapRequest {
  std::string operation;             // "GetItem"; empty when the envelope could not be read that far
  Element header;                    // soap:Header
  Element method;                    // the operation's element
  std::optional<SoapReply> refusal;  // set when the envelope itself is refused
  Arrival arrival = {};
  std::string_view bytes;  // the envelope as it came; belongs to whoever called Read
};

class Service {
 public:
  Service(Store& store, const Options& options);

  SoapRequest Read(std::string_view body) const;
  /// Runs an operation for a user. `departures` gets what the schema forbids: what was accepted nevertheless, and what
  /// was refused by a schema folder.
  SoapReply Execute(SoapRequest& request, const User& user, std::map<std::string, std::uint64_t>& departures,
                    bool& refused);

  std::size_t CountSubscriptions();
  /// The server forgets all subscriptions.
  void ForgetSubscriptions();

  // Replies made without running anything
  SoapReply FaultReply(const std::string& code, const std::string& text, const std::vector<Element>& details) const;
  SoapReply ViolationReply(const std::string& text, unsigned line, unsigned column) const;
  /// A response message of an operation with a code.
  SoapReply MessageReply(const std::string& operation, const EwsError& error, bool warning) const;

 private:
  std::string Envelope(const std::string& body) const;
  int BackEndOf(const Arrival& arrival, const Mailbox* home) const;
  Store& store_;
  const Options& options_;
  Subscriptions subscriptions_;
  std::unique_ptr<Validator> validator_;  // null without a schema folder
};

}  // namespace velmore::simulator
