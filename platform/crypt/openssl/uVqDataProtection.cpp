// Data protection where there is no Windows. A blob is
//
//      0   4  "VqDP"
//      4   1  version, 1
//      5   1  scope: 1 user, 2 machine
//      6   8  which key: the first bytes of HMAC-SHA256(key, "VqDP key")
//     14   4  length of the protected bytes, the high byte first
//     18  12  nonce, random
//     30   n  the protected bytes, AES-256-GCM
//   30+n  16  tag over everything before it

#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <openssl/rand.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <memory>

#include "platform/crypt/openssl/uVqKeyFile_p.h"
#include "platform/crypt/uVqCNG.h"
#include "platform/crypt/uVqCNG_p.h"

namespace velmore {
namespace {

constexpr std::uint8_t kVersion = 1;
enum TScope : std::uint8_t { scUser = 1, scMachine = 2 };

constexpr std::size_t kVersionAt = 4, kScopeAt = 5, kKeyAt = 6, kLengthAt = 14, kNonceAt = 18, kHeader = 30;
constexpr std::size_t kKeyIdSize = 8, kNonceSize = 12, kTagSize = 16;

using TContext = std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)>;

[[noreturn]] void Raise(TVqProtectionFailure failure, const string& message) {
  throw EVqDataProtection(message, failure);
}

[[noreturn]] void RaiseLibrary() {
  char text[256] = "";
  ERR_error_string_n(ERR_get_error(), text, sizeof text);
  ERR_clear_error();
  Raise(TVqProtectionFailure::system, string("The cryptographic library failed: ") + text + ".");
}

void Check(int result) {
  if (result != 1) RaiseLibrary();
}

/// Starts AES-256-GCM in one direction, with the header as data that is authenticated only.
TContext Start(bool encrypt, const TVqKey& key, const std::uint8_t* header) {
  TContext context(EVP_CIPHER_CTX_new(), EVP_CIPHER_CTX_free);
  if (!context) RaiseLibrary();
  Check(EVP_CipherInit_ex(context.get(), EVP_aes_256_gcm(), nullptr, key.data(), header + kNonceAt, encrypt ? 1 : 0));
  int written = 0;
  Check(EVP_CipherUpdate(context.get(), nullptr, &written, header, static_cast<int>(kHeader)));
  return context;
}

void KeyIdOf(const TVqKey& key, std::uint8_t* id) {
  static constexpr std::string_view kLabel = "VqDP key";
  std::uint8_t digest[EVP_MAX_MD_SIZE];
  unsigned size = 0;
  if (!HMAC(EVP_sha256(), key.data(), TVqKey::kSize, reinterpret_cast<const std::uint8_t*>(kLabel.data()),
            kLabel.size(), digest, &size))
    RaiseLibrary();
  std::memcpy(id, digest, kKeyIdSize);
}

TVqKeyPlace PlaceOf(const TVqKeyFolders& folders, bool machine) {
  return {machine ? folders.Machine : folders.User, machine};
}

/// The number of protected bytes of a blob whose header is whole and of this version.
std::size_t CheckedLength(std::string_view blob) {
  if (blob.starts_with(kVqWindowsBlobMark)) {
    Raise(
        TVqProtectionFailure::otherSystem,
        "This was protected by Windows, for a user or machine there, and cannot be read here. Enter the secret anew.");
  }
  if (blob.empty() || !blob.starts_with(kVqBlobMark.substr(0, blob.size()))) {
    Raise(TVqProtectionFailure::foreignBytes, "These are no protected bytes.");
  }
  const auto truncated = [] {
    Raise(TVqProtectionFailure::truncated, "The protected bytes are not complete: their end is missing.");
  };
  if (blob.size() <= kVersionAt) truncated();
  const auto version = static_cast<std::uint8_t>(blob[kVersionAt]);
  if (version != kVersion) {
    Raise(TVqProtectionFailure::unknownVersion, "These bytes were protected in version " + IntToStr(version) +
                                                    " of the format; this library knows version 1.");
  }
  if (blob.size() < kHeader + kTagSize) truncated();
  std::size_t length = 0;
  for (std::size_t i = kLengthAt; i < kNonceAt; ++i) length = length << 8 | static_cast<std::uint8_t>(blob[i]);
  if (blob.size() - kHeader - kTagSize < length) truncated();
  const auto scope = static_cast<std::uint8_t>(blob[kScopeAt]);
  if (blob.size() - kHeader - kTagSize > length || (scope != scUser && scope != scMachine)) {
    Raise(TVqProtectionFailure::tampered, "The protected bytes were changed.");
  }
  return length;
}

}  // namespace

TVqBytes TVqDataProtection::Encrypt(const TVqBytes& ABytes, bool AMachine) const {
  const std::size_t length = ABytes.size();
  if (length > static_cast<std::size_t>(std::numeric_limits<int>::max()))
    Raise(TVqProtectionFailure::system, "More than 2 GB cannot be protected at once.");
  TVqKey key;
  VqLoadKey(PlaceOf(FFolders, AMachine), true, key);

  TBytes blob(kHeader + length + kTagSize);
  std::copy(kVqBlobMark.begin(), kVqBlobMark.end(), blob.begin());
  blob[kVersionAt] = kVersion;
  blob[kScopeAt] = AMachine ? scMachine : scUser;
  KeyIdOf(key, &blob[kKeyAt]);
  for (std::size_t i = 0; i < 4; ++i) blob[kLengthAt + i] = static_cast<std::uint8_t>(length >> (24 - 8 * i));
  Check(RAND_bytes(&blob[kNonceAt], static_cast<int>(kNonceSize)));

  const TContext context = Start(true, key, blob.data());
  int written = 0;
  if (length > 0)
    Check(EVP_CipherUpdate(context.get(), &blob[kHeader], &written, ABytes.Bytes().data(), static_cast<int>(length)));
  Check(EVP_CipherFinal_ex(context.get(), &blob[kHeader + length], &written));
  Check(EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_AEAD_GET_TAG, static_cast<int>(kTagSize), &blob[kHeader + length]));
  return TVqBytes(std::move(blob));
}

TVqBytes TVqDataProtection::Decrypt(const TVqBytes& ABytes) const {
  const std::size_t length = CheckedLength(ABytes.View());
  const TBytes& blob = ABytes.Bytes();
  const bool machine = blob[kScopeAt] == scMachine;
  TVqKey key;
  VqLoadKey(PlaceOf(FFolders, machine), false, key);
  std::uint8_t id[kKeyIdSize];
  KeyIdOf(key, id);
  if (!std::equal(std::begin(id), std::end(id), &blob[kKeyAt])) {
    Raise(TVqProtectionFailure::otherKey,
          machine
              ? "This was protected on another machine, or with a key of this machine that is gone. Enter the secret "
                "anew."
              : "This was protected by another user, or with a key of this user that is gone. Enter the secret anew.");
  }

  const TContext context = Start(false, key, blob.data());
  TVqBytes plain{TBytes(length)};
  // The memory of a value of our own; wiped when the tag does not fit, as nobody may see what was not authenticated.
  auto* out = const_cast<std::uint8_t*>(plain.Bytes().data());
  std::uint8_t tag[kTagSize];
  std::memcpy(tag, &blob[kHeader + length], kTagSize);
  std::uint8_t rest[kTagSize];
  int written = 0;
  if (length > 0) Check(EVP_CipherUpdate(context.get(), out, &written, &blob[kHeader], static_cast<int>(length)));
  Check(EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_AEAD_SET_TAG, static_cast<int>(kTagSize), tag));
  if (EVP_CipherFinal_ex(context.get(), rest, &written) != 1) {
    VqWipe(plain);
    ERR_clear_error();
    Raise(TVqProtectionFailure::tampered, "The protected bytes were changed.");
  }
  return plain;
}

}  // namespace velmore
