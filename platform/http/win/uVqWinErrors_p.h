#pragma once

// What the numbers of Windows' stacks become: a number of ours and a text.

#include <cstdint>

#pragma GCC visibility push(hidden)

namespace velmore {

struct TVqWinError {
  std::uint32_t Number;
  const char* Text;  // "%s" is the host
};

/// `answered` says that something of the reply has come in.
TVqWinError VqWinErrorOf(std::uint32_t error, bool answered) noexcept;

/// The one check that failed, out of the bits of WinHTTP's report on a certificate.
std::uint32_t VqWinCertificateNumber(std::uint32_t bits) noexcept;

}  // namespace velmore

#pragma GCC visibility pop
