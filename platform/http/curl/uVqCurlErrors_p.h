#pragma once

// libcurl's result codes as API error numbers, one row a code.

#include <cstdint>
#include <string>
#include <string_view>

#pragma GCC visibility push(hidden)

namespace velmore {

struct TVqCurlErrorRow {
  int Code;              // CURLcode
  std::uint32_t Number;  // TVqHTTPErrorNumber
  const char* Text;      // "%s" stands for the host and port
};

/// The row of a code; empty for a code that libcurl did not have when the table was made.
const TVqCurlErrorRow* VqFindCurlError(int code) noexcept;

/// The sentence of a row with the host put in, and libcurl's own words behind it where there are any.
std::string VqCurlErrorText(const TVqCurlErrorRow& row, std::string_view host, std::string_view detail);

}  // namespace velmore

#pragma GCC visibility pop
