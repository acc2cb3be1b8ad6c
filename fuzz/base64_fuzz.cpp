// Base64 and hexadecimal from foreign hands: every kernel must agree with a decoder of a dozen lines, in one piece and
// in many, and what was encoded must come back.

#include <cstdlib>
#include <optional>

#include "platform/common/uVqBase64_p.h"
#include "platform/common/uVqNetEncoding.h"

namespace {

void Require(bool condition) {
  if (!condition) std::abort();
}

/// The judge: slow and plain.
std::optional<std::string> Plain(std::string_view text) {
  std::string bytes, group;
  bool ended = false;
  for (const char c : text) {
    if (c == ' ' || c == '\t' || c == '\r' || c == '\n') continue;
    if (ended || (c != '=' && velmore::VqBase64Value(c) > 63)) return {};
    group += c;
    if (group.size() < 4) continue;
    const std::size_t padding = group.ends_with("==") ? 2 : group.ends_with("=") ? 1 : 0;
    if (group.substr(0, 4 - padding).find('=') != std::string::npos) return {};
    unsigned bits = 0;
    for (const char g : group) bits = bits << 6 | (g == '=' ? 0u : velmore::VqBase64Value(g));
    for (std::size_t i = 0; i < 3 - padding; ++i) bytes += static_cast<char>(bits >> (16 - 8 * i) & 0xFF);
    ended = padding > 0;
    group.clear();
  }
  if (!group.empty()) return {};
  return bytes;
}

std::optional<std::string> InPieces(std::string_view text, std::size_t piece) {
  velmore::TVqMemoryStream target;
  try {
    velmore::TVqBinaryDecoder decoder(velmore::TVqBinaryEncoding::beBase64, target);
    for (std::size_t i = 0; i < text.size(); i += piece) decoder.Add(text.substr(i, piece));
    decoder.Finish();
  } catch (const velmore::EConvertError&) {
    return {};
  }
  return target.TakeBytes();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  const std::optional<std::string> expected = Plain(input);
  std::optional<std::string> got;
  try {
    got = velmore::VqBase64Decode(input);
  } catch (const velmore::EConvertError&) {
  }
  Require(got == expected);
  for (const std::size_t piece : {1, 3, 64}) Require(InPieces(input, piece) == expected);

  Require(velmore::VqBase64Decode(velmore::VqBase64Encode(input)) == input);
  Require(velmore::VqBase64UrlDecode(velmore::VqBase64UrlEncode(input)) == input);
  Require(velmore::VqHexDecode(velmore::VqHexEncode(input)) == input);

  const auto& kernels = velmore::VqBase64Kernels();
  std::vector<std::uint8_t> first(size / 4 * 3), other(size / 4 * 3);
  const std::size_t taken = kernels.back().Decode(input.data(), size, first.data());
  for (const velmore::TVqBase64Kernel& kernel : kernels) {
    Require(kernel.Decode(input.data(), size, other.data()) == taken);
    Require(std::equal(first.begin(), first.begin() + static_cast<std::ptrdiff_t>(taken / 4 * 3), other.begin()));
  }
  try {
    velmore::VqHexDecode(input);
  } catch (const velmore::EConvertError&) {
  }
  try {
    velmore::VqBase64UrlDecode(input);
  } catch (const velmore::EConvertError&) {
  }
  return 0;
}
