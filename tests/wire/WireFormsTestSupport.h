#pragma once

// The published schema as an independent judge of requests, and what two forms of the same request have in common.

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "tests/support/EWSTestSupport.h"

namespace velmore::testing {

/// Whether VELMORE_EWS_SCHEMA names a folder with messages.xsd, types.xsd and an envelope that ties them together,
/// soap-envelope.xsd. Says so plainly when it does not, once.
bool HasPublishedSchema();
/// What the schema says against an envelope; empty when it is valid. Only with HasPublishedSchema.
std::string SchemaProblemsOf(const std::string& envelope);

/// Two users on a server that refuses the library's own forms.
simulator::Options Refusing(const std::string& version);

/// Writes requests down without what the two forms may differ in, and without what differs from run to run. A departure
/// from the schema is undone and counted by its name, so that a request of the library's own form and its strict
/// counterpart read the same, and the counts tell which departures there were. Shares no code with the library.
class TNormalForm {
 public:
  /// `version` as the simulator has it.
  explicit TNormalForm(const std::string& version);

  /// The requests one by one, those left out that the strict form does not send. Members of items stand in the order of
  /// their names.
  std::vector<std::string> Of(const std::vector<std::string>& envelopes);
  /// How often each departure was undone.
  const std::map<std::string, std::size_t>& Departures() const { return FDepartures; }

 private:
  bool FLateAttachments;
  std::map<std::string, std::size_t> FDepartures;
};

}  // namespace velmore::testing
