#pragma once

/// What a simulator tells of the requests that it received.

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace velmore::simulator {

/// Counts of what happened; see Simulator::GetCounters.
struct Counters {
  std::uint64_t connections = 0;                    ///< accepted, HTTP and HTTPS together
  std::uint64_t requests = 0;                       ///< HTTP requests read to their end
  std::map<std::string, std::uint64_t> operations;  ///< by operation, "GetItem"
  /// Departures from the schema, by name; with a schema folder also those that were then refused.
  std::map<std::string, std::uint64_t> departures;
  std::uint64_t refused = 0;  ///< requests refused for the order or content of their elements
};

/// One request and its reply as they went over the wire (bodies before compression, secrets masked).
struct Exchange {
  std::uint64_t number = 0;  ///< 1 for the first
  std::string method;        ///< "POST"
  std::string target;        ///< "/EWS/Exchange.asmx"
  std::string operation;     ///< "GetItem"; empty when the body is no SOAP request
  std::string user;          ///< log-on name; empty when not authenticated
  bool secure = false;       ///< came over HTTPS
  /// Name and value, in the order of the wire; a value that holds a secret is masked. The body is as it was before
  /// compression.
  std::vector<std::pair<std::string, std::string>> request_headers;
  std::string request_body;
  int status = 0;  ///< HTTP status of the reply; 0 when the connection was cut before it
  /// The same of the reply: all of it, also where the connection was cut on its way.
  std::vector<std::pair<std::string, std::string>> response_headers;
  std::string response_body;

  /// Value of a request header, compared without case; empty when absent.
  std::string RequestHeader(std::string_view name) const;
};

}  // namespace velmore::simulator
