#pragma once

/// What the conversions share.

#include "platform/common/uVqSysUtils.h"
#include "platform/xml/uVqXMLUtils.h"

#pragma GCC visibility push(hidden)

namespace velmore::detail {

[[noreturn]] inline void FailConvert(std::string_view text, const char* type) {
  throw EConvertError("\"" + string(text.substr(0, 200)) + "\" is not " + type + ".");
}

}  // namespace velmore::detail

#pragma GCC visibility pop
