#pragma once

// The inner loops of base64, one set for each instruction set, so that tests and benchmarks reach every one of them on
// one machine.

#include <cstddef>
#include <cstdint>
#include <vector>

#pragma GCC visibility push(hidden)

namespace velmore {

struct TVqBase64Kernel {
  const char* Name;
  /// Decodes the leading groups of four characters of the alphabet and stops at the first group that has anything else
  /// in it. Gives the number of characters taken, a multiple of four. `bytes` has room for three bytes for each whole
  /// group of the text; what lies behind the result in this room may be overwritten.
  std::size_t (*Decode)(const char* text, std::size_t size, std::uint8_t* bytes);
  /// Encodes all whole groups of three bytes. Gives the number of bytes taken, a multiple of three.
  std::size_t (*Encode)(const std::uint8_t* bytes, std::size_t size, char* text);
};

/// What this machine can run, the fastest first; the last one runs everywhere.
const std::vector<TVqBase64Kernel>& VqBase64Kernels();

/// Value of a character of the alphabet, or a value above 63.
std::uint8_t VqBase64Value(char c) noexcept;
inline constexpr char kVqBase64Alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

}  // namespace velmore

#pragma GCC visibility pop
