#include "HTTPTestSupport.h"

#include <cstdlib>

namespace {

// The machine's own proxy and trust settings must not decide about a test.
class CleanEnvironment : public testing::Environment {
  void SetUp() override {
    for (const char* name : {"http_proxy", "https_proxy", "HTTP_PROXY", "HTTPS_PROXY", "all_proxy", "ALL_PROXY",
                             "no_proxy", "NO_PROXY", "SSL_CERT_FILE", "SSL_CERT_DIR"}) {
      unsetenv(name);
    }
  }
};

[[maybe_unused]] const auto* const Installed = testing::AddGlobalTestEnvironment(new CleanEnvironment);

constexpr std::string_view kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

}  // namespace

namespace velmore {

std::string EncodeBase64(std::string_view bytes) {
  std::string text;
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    unsigned value = 0;
    for (std::size_t k = 0; k < 3; ++k) {
      value = value << 8 | (i + k < bytes.size() ? static_cast<unsigned char>(bytes[i + k]) : 0U);
    }
    for (std::size_t k = 0; k < 4; ++k) {
      text += i + k > bytes.size() ? '=' : kAlphabet[value >> (18 - 6 * k) & 63];
    }
  }
  return text;
}

std::string DecodeBase64(std::string_view base64) {
  std::string bytes;
  unsigned value = 0;
  int bits = 0;
  for (const char c : base64) {
    const auto digit = kAlphabet.find(c);
    if (digit == std::string_view::npos) break;
    value = value << 6 | static_cast<unsigned>(digit);
    bits += 6;
    if (bits < 8) continue;
    bits -= 8;
    bytes += static_cast<char>(value >> bits & 0xFF);
  }
  return bytes;
}

}  // namespace velmore
