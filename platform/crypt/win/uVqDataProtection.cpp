// Data protection by Windows. Its blobs are written and read as they are, so that profiles which other programs of the
// same user wrote can be read.

#include <windows.h>
// After windows.h, which they need.
#include <dpapi.h>
#include <winerror.h>

#include <limits>
#include <system_error>

#include "platform/crypt/uVqCNG.h"
#include "platform/crypt/uVqCNG_p.h"

namespace velmore {
namespace {

[[noreturn]] void Raise(TVqProtectionFailure failure, const string& message) {
  throw EVqDataProtection(message, failure);
}

[[noreturn]] void RaiseSystem(const char* what, DWORD number) {
  Raise(TVqProtectionFailure::system, string(what) + std::system_category().message(static_cast<int>(number)));
}

/// What the system gave, wiped and given back to it.
struct TResult : DATA_BLOB {
  TResult() : DATA_BLOB{} {}
  ~TResult() {
    if (pbData) VqWipe(pbData, cbData);
    LocalFree(pbData);
  }
  TResult(const TResult&) = delete;
  TResult& operator=(const TResult&) = delete;

  TVqBytes Bytes() const { return TVqBytes(TBytes(pbData, pbData + cbData)); }
};

DATA_BLOB BlobOf(const TVqBytes& bytes) {
  static BYTE none = 0;  // the system refuses a null pointer, also for no bytes
  if (bytes.size() > std::numeric_limits<DWORD>::max())
    Raise(TVqProtectionFailure::system, "More than 4 GB cannot be protected at once.");
  return {static_cast<DWORD>(bytes.size()), bytes.empty() ? &none : const_cast<BYTE*>(bytes.Bytes().data())};
}

}  // namespace

TVqBytes TVqDataProtection::Encrypt(const TVqBytes& ABytes, bool AMachine) const {
  DATA_BLOB plain = BlobOf(ABytes);
  TResult result;
  const DWORD flags = CRYPTPROTECT_UI_FORBIDDEN | (AMachine ? CRYPTPROTECT_LOCAL_MACHINE : 0u);
  if (!CryptProtectData(&plain, nullptr, nullptr, nullptr, nullptr, flags, &result))
    RaiseSystem("Windows could not protect the bytes: ", GetLastError());
  return result.Bytes();
}

TVqBytes TVqDataProtection::Decrypt(const TVqBytes& ABytes) const {
  const std::string_view blob = ABytes.View();
  if (blob.starts_with(kVqBlobMark)) {
    Raise(TVqProtectionFailure::otherSystem,
          "This was protected where there is no Windows and cannot be read here. Enter the secret anew.");
  }
  DATA_BLOB data = BlobOf(ABytes);
  TResult result;
  if (CryptUnprotectData(&data, nullptr, nullptr, nullptr, nullptr, CRYPTPROTECT_UI_FORBIDDEN, &result))
    return result.Bytes();
  const auto number = static_cast<std::uint32_t>(GetLastError());
  if (!blob.starts_with(kVqWindowsBlobMark)) {
    const bool cut = !blob.empty() && kVqWindowsBlobMark.starts_with(blob);
    if (cut) Raise(TVqProtectionFailure::truncated, "The protected bytes are not complete: their end is missing.");
    Raise(TVqProtectionFailure::foreignBytes, "These are no protected bytes.");
  }
  switch (number) {
    case ERROR_INVALID_DATA:  // Windows does not tell the one from the other
      Raise(TVqProtectionFailure::tampered, "The protected bytes were changed, or their end is missing.");
    case 0x80090005:  // NTE_BAD_DATA
    case 0x8009000B:  // NTE_BAD_KEY_STATE: the user's password was set anew by an administrator, or the profile is
                      // another one
    case ERROR_FILE_NOT_FOUND:
      Raise(TVqProtectionFailure::otherKey, "This was protected by another user or machine. Enter the secret anew.");
    default:
      RaiseSystem("Windows could not read the protected bytes: ", number);
  }
}

}  // namespace velmore
