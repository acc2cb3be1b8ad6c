#include "platform/http/curl/uVqCurlTrust_p.h"

#include <curl/curl.h>
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <openssl/x509_vfy.h>
#include <sys/stat.h>

#include <cstdlib>
#include <mutex>
#include <vector>

namespace velmore {

namespace {

// Where an SSL_CTX keeps its TVqCurlTrust.
int TrustIndex() {
  static const int index = SSL_CTX_get_ex_new_index(0, nullptr, nullptr, nullptr, nullptr);
  return index;
}

TVqCurlTrust* TrustOf(const SSL* ssl) {
  return ssl ? static_cast<TVqCurlTrust*>(SSL_CTX_get_ex_data(SSL_get_SSL_CTX(ssl), TrustIndex())) : nullptr;
}

extern "C" int VqClientCertificateCallback(SSL* ssl, X509**, EVP_PKEY**) {
  if (TVqCurlTrust* const trust = TrustOf(ssl)) trust->NoteCertificateRequest();
  return 0;  // none: many servers ask and do not insist
}

extern "C" int VqVerifyCallback(int ok, X509_STORE_CTX* context) {
  if (ok) return 1;
  TVqCurlTrust* const trust =
      TrustOf(static_cast<const SSL*>(X509_STORE_CTX_get_ex_data(context, SSL_get_ex_data_X509_STORE_CTX_idx())));
  if (!trust || !trust->Judge(X509_STORE_CTX_get_error(context), X509_STORE_CTX_get_error_depth(context))) return 0;
  // libcurl asks for the result once more after the handshake.
  X509_STORE_CTX_set_error(context, X509_V_OK);
  return 1;
}

std::string Stamp(const std::string& file) {
  struct stat info = {};
  if (file.empty() || stat(file.c_str(), &info) != 0) return file;
  return file + "|" + std::to_string(info.st_mtim.tv_sec) + "." + std::to_string(info.st_mtim.tv_nsec) + "|" +
         std::to_string(info.st_size);
}

struct TVqCachedStore {
  std::string Key;
  std::shared_ptr<X509_STORE> Store;
};

// Reading the machine's authorities takes some 20 ms: once for the process, not once a connection. The few last
// combinations of files are kept.
std::shared_ptr<X509_STORE> FindStore(const std::string& caFile, const std::string& crlFile, const std::string& file,
                                      const std::string& folder) {
  static std::mutex Mutex;  // protects Cache
  static std::vector<TVqCachedStore> Cache;
  const std::string key = Stamp(caFile) + "\n" + Stamp(crlFile) + "\n" + Stamp(file) + "\n" + folder;
  const std::scoped_lock lock(Mutex);
  for (const TVqCachedStore& cached : Cache) {
    if (cached.Key == key) return cached.Store;
  }
  const std::shared_ptr<X509_STORE> store(X509_STORE_new(), X509_STORE_free);
  if (!store) throw EVqHTTPApiException("X509_STORE_new", "There is not enough memory.", VqErrNotEnoughMemory);
  // A machine without authorities is no error here: it trusts nobody, and says so at the first connection.
  if (!file.empty()) X509_STORE_load_file(store.get(), file.c_str());
  if (!folder.empty()) X509_STORE_load_path(store.get(), folder.c_str());
  if (!caFile.empty() && X509_STORE_load_file(store.get(), caFile.c_str()) != 1) {
    ERR_clear_error();
    throw EVqHTTPInvalidArgument("SetCAFile",
                                 Format("The file \"%s\" holds no certificates that can be read.", {string(caFile)}));
  }
  if (!crlFile.empty()) {
    X509_LOOKUP* const lookup = X509_STORE_add_lookup(store.get(), X509_LOOKUP_file());
    if (!lookup || X509_load_crl_file(lookup, crlFile.c_str(), X509_FILETYPE_PEM) < 1) {
      ERR_clear_error();
      throw EVqHTTPInvalidArgument(
          "SetCRLFile", Format("The file \"%s\" holds no revocation list that can be read.", {string(crlFile)}));
    }
    X509_STORE_set_flags(store.get(), X509_V_FLAG_CRL_CHECK | X509_V_FLAG_CRL_CHECK_ALL);
  }
  // What stands in the file of trusted certificates is trusted, be it an issuer below the root or the server itself.
  X509_STORE_set_flags(store.get(), X509_V_FLAG_TRUSTED_FIRST | X509_V_FLAG_PARTIAL_CHAIN);
  ERR_clear_error();
  if (Cache.size() >= 8) Cache.erase(Cache.begin());
  Cache.push_back({key, store});
  return store;
}

}  // namespace

TVqCertificateCheck VqClassifyCertificateError(int error, int depth) noexcept {
  const auto flag = [](TVqHTTPSecurityFlag value) { return static_cast<int>(value); };
  switch (error) {
    case X509_V_ERR_CERT_NOT_YET_VALID:
    case X509_V_ERR_CERT_HAS_EXPIRED:
    case X509_V_ERR_ERROR_IN_CERT_NOT_BEFORE_FIELD:
    case X509_V_ERR_ERROR_IN_CERT_NOT_AFTER_FIELD:
      return {VqErrCertDateInvalid, flag(TVqHTTPSecurityFlag::IgnoreInvalidCertDate)};
    case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT:
    case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY:
    case X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT:
    case X509_V_ERR_SELF_SIGNED_CERT_IN_CHAIN:
    case X509_V_ERR_UNABLE_TO_VERIFY_LEAF_SIGNATURE:
    case X509_V_ERR_CERT_UNTRUSTED:
      return {VqErrInvalidCA, flag(TVqHTTPSecurityFlag::IgnoreUnknownCA)};
    case X509_V_ERR_HOSTNAME_MISMATCH:
    case X509_V_ERR_IP_ADDRESS_MISMATCH:
      return {VqErrCertCommonNameInvalid, flag(TVqHTTPSecurityFlag::IgnoreInvalidCommonName)};
    case X509_V_ERR_CERT_REVOKED:
      return {VqErrCertRevoked, flag(TVqHTTPSecurityFlag::IgnoreRevocation)};
    case X509_V_ERR_UNABLE_TO_GET_CRL:
    case X509_V_ERR_UNABLE_TO_DECRYPT_CRL_SIGNATURE:
    case X509_V_ERR_CRL_SIGNATURE_FAILURE:
    case X509_V_ERR_CRL_NOT_YET_VALID:
    case X509_V_ERR_CRL_HAS_EXPIRED:
    case X509_V_ERR_ERROR_IN_CRL_LAST_UPDATE_FIELD:
    case X509_V_ERR_ERROR_IN_CRL_NEXT_UPDATE_FIELD:
    case X509_V_ERR_UNABLE_TO_GET_CRL_ISSUER:
    case X509_V_ERR_KEYUSAGE_NO_CRL_SIGN:
    case X509_V_ERR_UNHANDLED_CRITICAL_CRL_EXTENSION:
    case X509_V_ERR_DIFFERENT_CRL_SCOPE:
    case X509_V_ERR_CRL_PATH_VALIDATION_ERROR:
      return {VqErrRevocationCheckFailed, flag(TVqHTTPSecurityFlag::IgnoreRevocation)};
    case X509_V_ERR_INVALID_PURPOSE:
      // Of the server's own certificate only: an issuer that may not issue is a broken chain, not a wrong usage.
      if (depth == 0) return {VqErrCertWrongUsage, flag(TVqHTTPSecurityFlag::IgnoreWrongUsage)};
      return {VqErrInvalidCertificate, -1};
    default:
      return {VqErrInvalidCertificate, -1};
  }
}

bool TVqCurlTrust::Prepare(TVqHTTPSecurityFlags flags, const TVqHTTPSessionSettings& session, const char* systemFile,
                           const char* systemFolder) {
  const char* const fileSet = std::getenv("SSL_CERT_FILE");
  const char* const folderSet = std::getenv("SSL_CERT_DIR");
  const bool machine = !fileSet && !folderSet;
  const std::string file = fileSet ? fileSet : machine && systemFile ? systemFile : "";
  const std::string folder = folderSet ? folderSet : machine && systemFolder ? systemFolder : "";
  const std::shared_ptr<void> store = FindStore(session.CAFile, session.CRLFile, file, folder);
  const bool changed = FStore && (store != FStore || !(flags == FFlags) || session.LowestTls != FLowest);
  FStore = store;
  FFlags = flags;
  FLowest = session.LowestTls;
  return changed;
}

bool TVqCurlTrust::Apply(void* sslContext) {
  auto* const context = static_cast<SSL_CTX*>(sslContext);
  if (TrustIndex() < 0 || SSL_CTX_set_ex_data(context, TrustIndex(), this) != 1) return false;
  constexpr int versions[] = {TLS1_VERSION, TLS1_1_VERSION, TLS1_2_VERSION, TLS1_3_VERSION};
  if (SSL_CTX_set_min_proto_version(context, versions[static_cast<std::size_t>(FLowest)]) != 1) return false;
  // The hashes of the old versions are below every level of security that OpenSSL knows but the lowest.
  if (FLowest < TVqHTTPTlsVersion::tls12) SSL_CTX_set_security_level(context, 0);
  SSL_CTX_set1_cert_store(context, static_cast<X509_STORE*>(FStore.get()));
  SSL_CTX_set_verify(context, SSL_VERIFY_PEER, VqVerifyCallback);
  SSL_CTX_set_client_cert_cb(context, VqClientCertificateCallback);
  return true;
}

std::string VqEndPointBinding(void* easy) {
  curl_tlssessioninfo* session = nullptr;
  if (curl_easy_getinfo(easy, CURLINFO_TLS_SSL_PTR, &session) != CURLE_OK || !session || !session->internals ||
      session->backend != CURLSSLBACKEND_OPENSSL) {
    return {};
  }
  X509* const certificate = SSL_get1_peer_certificate(static_cast<const SSL*>(session->internals));
  if (!certificate) return {};
  // The hash of the certificate's own signature; a weak or an unknown one gives way to SHA-256 (RFC 5929).
  int hash = NID_undef;
  X509_get_signature_info(certificate, &hash, nullptr, nullptr, nullptr);
  const EVP_MD* digest = hash == NID_md5 || hash == NID_sha1 ? nullptr : EVP_get_digestbynid(hash);
  unsigned char bytes[EVP_MAX_MD_SIZE];
  unsigned length = 0;
  const bool good = X509_digest(certificate, digest ? digest : EVP_sha256(), bytes, &length) == 1;
  X509_free(certificate);
  if (!good) return {};
  return std::string("tls-server-end-point:").append(reinterpret_cast<const char*>(bytes), length);
}

bool TVqCurlTrust::Judge(int error, int depth) {
  const TVqCertificateCheck check = VqClassifyCertificateError(error, depth);
  if (check.Flag >= 0 && FFlags.Contains(static_cast<TVqHTTPSecurityFlag>(check.Flag))) return true;
  if (FFailure == 0) {
    FFailure = check.Number;
    FFailureText = X509_verify_cert_error_string(error);
  }
  return false;
}

}  // namespace velmore
