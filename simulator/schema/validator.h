#pragma once

// Requests against the schema that servers publish. It is read from files of the user; nothing of it is part of the
// simulator.

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "simulator/schema/schema.h"

namespace velmore::simulator {

class Validator {
 public:
  /// Reads messages.xsd and types.xsd of a folder. Throws OptionError.
  explicit Validator(const std::string& directory);
  ~Validator();

  /// The first thing wrong with an envelope, in the words that servers use. Any thread may ask.
  std::optional<SchemaViolation> Check(std::string_view envelope) const;

 private:
  struct Parts;
  std::unique_ptr<Parts> parts_;
};

}  // namespace velmore::simulator
