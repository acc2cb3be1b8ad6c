#pragma once

// The judgement of a server's certificate: where files say whom to trust (SetCAFile, SetCRLFile), and by the machine's
// own stores for an engine that leaves nothing to its stack.

#include <windows.h>
// After windows.h, which it needs.
#include <wincrypt.h>

#include <string>

#include "platform/http/uVqHTTPEngine_p.h"

#pragma GCC visibility push(hidden)

namespace velmore {

class TVqWinTrust {
 public:
  TVqWinTrust() = default;
  ~TVqWinTrust() { Close(); }
  TVqWinTrust(const TVqWinTrust&) = delete;
  TVqWinTrust& operator=(const TVqWinTrust&) = delete;

  /// Reads the files. Without files, `byMachine` has the machine's stores judge, and its lists of what is revoked.
  /// Raises EVqHTTPInvalidArgument for what holds nothing that can be read.
  void Open(const TVqHTTPSessionSettings& session, TVqHTTPSecurityFlags flags, bool byMachine);
  /// There is something to judge by.
  bool IsOpen() const noexcept { return FAuthorities != nullptr || FByMachine; }
  /// The authorities are those of a file, which the stack does not know.
  bool HasFiles() const noexcept { return FAuthorities != nullptr; }
  /// The number of the first check that fails and that no flag lifts; 0 when the certificate is accepted. `others` is
  /// where the certificates between may be. The checks go on the callback's thread, so nothing is raised.
  std::uint32_t Judge(PCCERT_CONTEXT certificate, HCERTSTORE others, const std::wstring& host) const noexcept;

 private:
  void Close() noexcept;
  DWORD TrustOf(PCCERT_CONTEXT certificate, HCERTSTORE others, HCERTCHAINENGINE engine, bool& named,
                const std::wstring& host, std::uint32_t& revocation) const noexcept;
  std::uint32_t RevocationOf(PCCERT_CHAIN_CONTEXT chain) const noexcept;

  HCERTSTORE FAuthorities = nullptr;
  HCERTSTORE FLists = nullptr;  // null: no file of revocation lists
  HCERTCHAINENGINE FEngine = nullptr;
  bool FByMachine = false;
  TVqHTTPSecurityFlags FFlags;
};

/// What is wrong with a certificate, in words, by its number.
const char* VqCertificateText(std::uint32_t number) noexcept;

}  // namespace velmore

#pragma GCC visibility pop
