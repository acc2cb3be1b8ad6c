#include "platform/http/win/uVqWinTrust_p.h"

#include <ws2tcpip.h>

#include <algorithm>
#include <cstddef>
#include <limits>
#include <vector>

#include "platform/os/uVqFiles.h"

namespace velmore {

namespace {

/// Calls `take` with the bytes of each PEM block of a kind; gives how many it took.
template <typename TTake>
int ForEachBlock(const std::string& text, const std::string& kind, TTake take) {
  const std::string begin = "-----BEGIN " + kind + "-----", end = "-----END " + kind + "-----";
  int taken = 0;
  for (std::size_t at = text.find(begin); at != std::string::npos; at = text.find(begin, at)) {
    at += begin.size();
    const std::size_t stop = text.find(end, at);
    if (stop == std::string::npos || stop - at > std::numeric_limits<DWORD>::max()) break;
    const auto length = static_cast<DWORD>(stop - at);
    DWORD size = 0;
    if (!CryptStringToBinaryA(text.data() + at, length, CRYPT_STRING_BASE64, nullptr, &size, nullptr, nullptr))
      continue;
    std::vector<BYTE> bytes(size);
    if (CryptStringToBinaryA(text.data() + at, length, CRYPT_STRING_BASE64, bytes.data(), &size, nullptr, nullptr) &&
        take(bytes.data(), size)) {
      ++taken;
    }
  }
  return taken;
}

std::string FileOf(const std::string& name) {
  try {
    return VqTryReadFile(string(name)).value_or(std::string());
  } catch (const EVqFileError&) {
    return {};  // told as what cannot be read
  }
}

HCERTSTORE NewStore() {
  const HCERTSTORE store = CertOpenStore(CERT_STORE_PROV_MEMORY, 0, 0, CERT_STORE_CREATE_NEW_FLAG, nullptr);
  if (!store) throw EVqHTTPApiException("CertOpenStore", "There is not enough memory.", VqErrNotEnoughMemory);
  return store;
}

/// Whether a certificate is made out to an address: Windows looks for names alone, in older releases.
bool IsMadeOutTo(PCCERT_CONTEXT certificate, const std::wstring& host) noexcept {
  BYTE address[16];
  DWORD size = 4;
  if (InetPtonW(AF_INET, host.c_str(), address) != 1) {
    size = 16;
    if (InetPtonW(AF_INET6, host.c_str(), address) != 1) return false;
  }
  const CERT_INFO& info = *certificate->pCertInfo;
  char oid[] = szOID_SUBJECT_ALT_NAME2;
  const CERT_EXTENSION* const names = CertFindExtension(oid, info.cExtension, info.rgExtension);
  CERT_ALT_NAME_INFO* list = nullptr;
  DWORD length = 0;
  if (!names || !CryptDecodeObjectEx(X509_ASN_ENCODING, X509_ALTERNATE_NAME, names->Value.pbData, names->Value.cbData,
                                     CRYPT_DECODE_ALLOC_FLAG, nullptr, static_cast<void*>(&list), &length)) {
    return false;
  }
  bool found = false;
  for (DWORD i = 0; i < list->cAltEntry; ++i) {
    const CERT_ALT_NAME_ENTRY& entry = list->rgAltEntry[i];
    found = found || (entry.dwAltNameChoice == CERT_ALT_NAME_IP_ADDRESS && entry.IPAddress.cbData == size &&
                      std::equal(address, address + size, entry.IPAddress.pbData));
  }
  LocalFree(list);
  return found;
}

constexpr DWORD kDates = CERT_TRUST_IS_NOT_TIME_VALID;
constexpr DWORD kIssuers = CERT_TRUST_IS_UNTRUSTED_ROOT | CERT_TRUST_IS_PARTIAL_CHAIN;
constexpr DWORD kUsage = CERT_TRUST_IS_NOT_VALID_FOR_USAGE;
// Told certificate by certificate, and for a file's lists apart.
constexpr DWORD kRevocation =
    CERT_TRUST_IS_REVOKED | CERT_TRUST_REVOCATION_STATUS_UNKNOWN | CERT_TRUST_IS_OFFLINE_REVOCATION;

/// What Windows found out. A certificate that names no place to ask at is not suspected, as with WinHTTP.
std::uint32_t RevocationByMachine(const CERT_SIMPLE_CHAIN& chain) noexcept {
  bool silent = false;
  for (DWORD i = 0; i + 1 < chain.cElement; ++i) {
    const CERT_REVOCATION_INFO* const info = chain.rgpElement[i]->pRevocationInfo;
    if (!info) continue;
    if (info->dwRevocationResult == static_cast<DWORD>(CRYPT_E_REVOKED)) return VqErrCertRevoked;
    silent = silent || info->dwRevocationResult == static_cast<DWORD>(CRYPT_E_REVOCATION_OFFLINE);
  }
  return silent ? std::uint32_t{VqErrRevocationCheckFailed} : 0U;
}

}  // namespace

void TVqWinTrust::Close() noexcept {
  if (FEngine) CertFreeCertificateChainEngine(FEngine);
  if (FAuthorities) CertCloseStore(FAuthorities, 0);
  if (FLists) CertCloseStore(FLists, 0);
  FEngine = nullptr;
  FAuthorities = FLists = nullptr;
  FByMachine = false;
}

void TVqWinTrust::Open(const TVqHTTPSessionSettings& session, TVqHTTPSecurityFlags flags, bool byMachine) {
  Close();
  FFlags = flags;
  if (session.CAFile.empty() && session.CRLFile.empty()) {
    FByMachine = byMachine;
    return;
  }
  FAuthorities = NewStore();
  if (!session.CAFile.empty() && ForEachBlock(FileOf(session.CAFile), "CERTIFICATE", [this](BYTE* bytes, DWORD size) {
                                   return CertAddEncodedCertificateToStore(FAuthorities, X509_ASN_ENCODING, bytes, size,
                                                                           CERT_STORE_ADD_ALWAYS, nullptr);
                                 }) == 0) {
    throw EVqHTTPInvalidArgument(
        "SetCAFile", Format("The file \"%s\" holds no certificates that can be read.", {string(session.CAFile)}));
  }
  if (!session.CRLFile.empty()) {
    FLists = NewStore();
    if (ForEachBlock(FileOf(session.CRLFile), "X509 CRL", [this](BYTE* bytes, DWORD size) {
          return CertAddEncodedCRLToStore(FLists, X509_ASN_ENCODING, bytes, size, CERT_STORE_ADD_ALWAYS, nullptr);
        }) == 0) {
      throw EVqHTTPInvalidArgument("SetCRLFile", Format("The file \"%s\" holds no revocation list that can be read.",
                                                        {string(session.CRLFile)}));
    }
  }
  if (session.CAFile.empty()) return;  // the machine's authorities alone
  CERT_CHAIN_ENGINE_CONFIG config = {};
  config.cbSize = sizeof config;
  config.hExclusiveRoot = FAuthorities;
  config.dwExclusiveFlags = CERT_CHAIN_EXCLUSIVE_ENABLE_CA_FLAG;
  if (!CertCreateCertificateChainEngine(&config, &FEngine)) {
    // Windows 7 does not know the last field: authorities below a root do not count there.
    config.cbSize = offsetof(CERT_CHAIN_ENGINE_CONFIG, dwExclusiveFlags);
    if (!CertCreateCertificateChainEngine(&config, &FEngine)) FEngine = nullptr;
  }
  if (!FEngine) {
    throw EVqHTTPApiException("CertCreateCertificateChainEngine",
                              "The authorities of the file could not be put to use.", VqErrSecureFailure);
  }
}

std::uint32_t TVqWinTrust::RevocationOf(PCCERT_CHAIN_CONTEXT chain) const noexcept {
  if (chain->cChain == 0) return 0;
  const CERT_SIMPLE_CHAIN& simple = *chain->rgpChain[0];
  if (FByMachine) return RevocationByMachine(simple);
  if (!FLists) return 0;
  // The root is trusted as it is: its issuer is itself.
  for (DWORD i = 0; i + 1 < simple.cElement; ++i) {
    PCCERT_CONTEXT const certificate = simple.rgpElement[i]->pCertContext;
    PCCERT_CONTEXT const issuer = simple.rgpElement[i + 1]->pCertContext;
    bool listed = false;
    PCCRL_CONTEXT list = nullptr;
    while ((list = CertFindCRLInStore(FLists, X509_ASN_ENCODING,
                                      CRL_FIND_ISSUED_BY_SIGNATURE_FLAG | CRL_FIND_ISSUED_BY_AKI_FLAG,
                                      CRL_FIND_ISSUED_BY, issuer, list)) != nullptr) {
      if (CertVerifyCRLTimeValidity(nullptr, list->pCrlInfo) != 0) continue;
      listed = true;
      PCRL_ENTRY entry = nullptr;
      if (CertFindCertificateInCRL(certificate, list, 0, nullptr, &entry) && entry) {
        CertFreeCRLContext(list);
        return VqErrCertRevoked;
      }
    }
    if (!listed) return VqErrRevocationCheckFailed;
  }
  return 0;
}

/// The bits of what is wrong by one chain engine; whether the certificate is made out to the host.
DWORD TVqWinTrust::TrustOf(PCCERT_CONTEXT certificate, HCERTSTORE others, HCERTCHAINENGINE engine, bool& named,
                           const std::wstring& host, std::uint32_t& revocation) const noexcept {
  char usage[] = szOID_PKIX_KP_SERVER_AUTH;
  LPSTR usages[] = {usage};
  CERT_CHAIN_PARA wanted = {};
  wanted.cbSize = sizeof wanted;
  wanted.RequestedUsage.dwType = USAGE_MATCH_TYPE_OR;
  wanted.RequestedUsage.Usage.cUsageIdentifier = 1;
  wanted.RequestedUsage.Usage.rgpszUsageIdentifier = usages;
  PCCERT_CHAIN_CONTEXT chain = nullptr;
  const DWORD online = FByMachine && !FFlags.Contains(TVqHTTPSecurityFlag::IgnoreRevocation)
                           ? CERT_CHAIN_REVOCATION_CHECK_CHAIN_EXCLUDE_ROOT
                           : 0;
  if (!CertGetCertificateChain(engine, certificate, nullptr, others, &wanted, online, nullptr, &chain))
    return CERT_TRUST_IS_PARTIAL_CHAIN;
  SSL_EXTRA_CERT_CHAIN_POLICY_PARA server = {};
  server.cbSize = sizeof server;
  server.dwAuthType = AUTHTYPE_SERVER;
  // The name alone: everything else is judged by the bits.
  server.fdwChecks = 0x00000080 | 0x00000100 | 0x00000200 | 0x00002000;  // revocation, authority, usage, date
  server.pwszServerName = const_cast<wchar_t*>(host.c_str());
  CERT_CHAIN_POLICY_PARA policy = {};
  policy.cbSize = sizeof policy;
  policy.dwFlags = CERT_CHAIN_POLICY_ALLOW_UNKNOWN_CA_FLAG | CERT_CHAIN_POLICY_IGNORE_ALL_NOT_TIME_VALID_FLAGS |
                   CERT_CHAIN_POLICY_IGNORE_WRONG_USAGE_FLAG | CERT_CHAIN_POLICY_IGNORE_ALL_REV_UNKNOWN_FLAGS;
  policy.pvExtraPolicyPara = &server;
  CERT_CHAIN_POLICY_STATUS status = {};
  status.cbSize = sizeof status;
  const bool judged = CertVerifyCertificateChainPolicy(CERT_CHAIN_POLICY_SSL, chain, &policy, &status) != 0;
  named = (judged && status.dwError != static_cast<DWORD>(CERT_E_CN_NO_MATCH)) || IsMadeOutTo(certificate, host);
  revocation = RevocationOf(chain);
  const DWORD errors = chain->TrustStatus.dwErrorStatus;
  CertFreeCertificateChain(chain);
  return errors;
}

std::uint32_t TVqWinTrust::Judge(PCCERT_CONTEXT certificate, HCERTSTORE others,
                                 const std::wstring& host) const noexcept {
  bool named = false;
  std::uint32_t revocation = 0;
  DWORD errors = TrustOf(certificate, others, FEngine, named, host, revocation);
  // The file adds to the machine's authorities: either may know the issuer.
  if (FEngine && (errors & kIssuers)) {
    std::uint32_t again = 0;
    const DWORD byMachine = TrustOf(certificate, others, nullptr, named, host, again);
    if (!(byMachine & kIssuers)) {
      errors = byMachine;
      revocation = again;
    }
  }
  // What stands in the file itself is trusted, whoever issued it.
  if (FAuthorities && (errors & kIssuers)) {
    PCCERT_CONTEXT const same =
        CertFindCertificateInStore(FAuthorities, X509_ASN_ENCODING, 0, CERT_FIND_EXISTING, certificate, nullptr);
    if (same) {
      CertFreeCertificateContext(same);
      errors &= ~kIssuers;
    }
  }
  const auto fails = [&](DWORD bits, TVqHTTPSecurityFlag flag) { return (errors & bits) && !FFlags.Contains(flag); };
  if (fails(kIssuers, TVqHTTPSecurityFlag::IgnoreUnknownCA)) return VqErrInvalidCA;
  if (fails(kDates, TVqHTTPSecurityFlag::IgnoreInvalidCertDate)) return VqErrCertDateInvalid;
  if (fails(kUsage, TVqHTTPSecurityFlag::IgnoreWrongUsage)) return VqErrCertWrongUsage;
  if (errors & ~(kIssuers | kDates | kUsage | kRevocation | CERT_TRUST_IS_NOT_TIME_NESTED))
    return VqErrInvalidCertificate;
  if (revocation != 0 && !FFlags.Contains(TVqHTTPSecurityFlag::IgnoreRevocation)) return revocation;
  if (!named && !FFlags.Contains(TVqHTTPSecurityFlag::IgnoreInvalidCommonName)) return VqErrCertCommonNameInvalid;
  return 0;
}

const char* VqCertificateText(std::uint32_t number) noexcept {
  switch (number) {
    case VqErrCertDateInvalid:
      return "it has expired or is not valid yet";
    case VqErrInvalidCA:
      return "its issuer is not trusted";
    case VqErrCertCommonNameInvalid:
      return "it is made out to another name";
    case VqErrCertWrongUsage:
      return "it was not made for servers";
    case VqErrCertRevoked:
      return "it is revoked";
    case VqErrRevocationCheckFailed:
      return "whether it is revoked could not be found out";
    default:
      return "it is not valid";
  }
}

}  // namespace velmore
