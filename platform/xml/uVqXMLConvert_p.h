#pragma once

/// What the conversions share.

#include "platform/xml/uVqXMLScan_p.h"
#include "platform/xml/uVqXMLUtils.h"

namespace velmore::detail {

inline std::string_view Trimmed(std::string_view text) noexcept {
  while (!text.empty() && IsXmlSpace(text.front())) text.remove_prefix(1);
  while (!text.empty() && IsXmlSpace(text.back())) text.remove_suffix(1);
  return text;
}

[[noreturn]] inline void FailConvert(std::string_view text, const char* type) {
  throw EConvertError("\"" + string(text.substr(0, 200)) + "\" is not " + type + ".");
}

}  // namespace velmore::detail
