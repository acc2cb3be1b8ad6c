#include "platform/crypt/internal/uVqDigest.h"

#include <openssl/evp.h>
#include <openssl/rand.h>

#include "platform/crypt/uVqCNG.h"

namespace velmore {
namespace {

constexpr std::size_t kSha256Size = 32;

void Check(int result) {
  if (result != 1) throw EVqDataProtection("The cryptographic library failed.", TVqProtectionFailure::system);
}

unsigned char* BytesOf(std::string& text) {
  return reinterpret_cast<unsigned char*>(text.data());
}

}  // namespace

std::string VqSha256(std::string_view bytes) {
  std::string digest(kSha256Size, '\0');
  Check(EVP_Digest(bytes.data(), bytes.size(), BytesOf(digest), nullptr, EVP_sha256(), nullptr));
  return digest;
}

std::string VqRandomBytes(std::size_t count) {
  std::string bytes(count, '\0');
  Check(RAND_bytes(BytesOf(bytes), static_cast<int>(count)));
  return bytes;
}

}  // namespace velmore
