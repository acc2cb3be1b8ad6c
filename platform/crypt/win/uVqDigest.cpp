#include "platform/crypt/internal/uVqDigest.h"

#include <windows.h>

#include <bcrypt.h>

#include "platform/crypt/uVqCNG.h"

namespace velmore {
namespace {

constexpr std::size_t kSha256Size = 32;

void Check(NTSTATUS status) {
  if (status < 0) throw EVqDataProtection("The cryptographic library failed.", TVqProtectionFailure::system);
}

UCHAR* BytesOf(std::string& text) {
  return reinterpret_cast<UCHAR*>(text.data());
}

struct TAlgorithm {
  BCRYPT_ALG_HANDLE Handle = nullptr;
  TAlgorithm() { Check(BCryptOpenAlgorithmProvider(&Handle, BCRYPT_SHA256_ALGORITHM, nullptr, 0)); }
  ~TAlgorithm() { BCryptCloseAlgorithmProvider(Handle, 0); }
  TAlgorithm(const TAlgorithm&) = delete;
  TAlgorithm& operator=(const TAlgorithm&) = delete;
};

struct THash {
  BCRYPT_HASH_HANDLE Handle = nullptr;
  explicit THash(const TAlgorithm& algorithm) {
    Check(BCryptCreateHash(algorithm.Handle, &Handle, nullptr, 0, nullptr, 0, 0));
  }
  ~THash() { BCryptDestroyHash(Handle); }
  THash(const THash&) = delete;
  THash& operator=(const THash&) = delete;
};

}  // namespace

std::string VqSha256(std::string_view bytes) {
  std::string input(bytes), digest(kSha256Size, '\0');
  const TAlgorithm algorithm;
  const THash hash(algorithm);
  Check(BCryptHashData(hash.Handle, BytesOf(input), static_cast<ULONG>(input.size()), 0));
  Check(BCryptFinishHash(hash.Handle, BytesOf(digest), static_cast<ULONG>(digest.size()), 0));
  return digest;
}

std::string VqRandomBytes(std::size_t count) {
  std::string bytes(count, '\0');
  Check(BCryptGenRandom(nullptr, BytesOf(bytes), static_cast<ULONG>(count), BCRYPT_USE_SYSTEM_PREFERRED_RNG));
  return bytes;
}

}  // namespace velmore
