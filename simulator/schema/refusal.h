#pragma once

// How requests are refused: in a response message of their own, or as a whole by a fault.

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "simulator/xml/element.h"

namespace velmore::simulator {

/// The usual text of a code; a general one when the code is not known here.
std::string_view DefaultText(std::string_view code);

/// A refusal of a request or of one of its parts.
class EwsError : public std::runtime_error {
 public:
  /// With an empty text the one that Exchange uses for the code.
  explicit EwsError(std::string code, const std::string& text = {});
  std::string code;
  std::vector<Element> details;  // content of MessageXml
};

/// The whole request is refused with a SOAP fault.
class SoapFault : public std::runtime_error {
 public:
  explicit SoapFault(std::string fault_code, const std::string& text = {});
  std::string code;
  std::vector<Element> details;  // content of MessageXml
};

}  // namespace velmore::simulator
