#pragma once

// The checks of a server's certificate, each of which a security flag lifts alone. libcurl knows only "all" and "the
// name"; the rest is done in OpenSSL's verification, which libcurl hands out per connection.

#include <cstdint>
#include <memory>
#include <string>

#include "platform/http/uVqHTTPEngine_p.h"

#pragma GCC visibility push(hidden)

namespace velmore {

/// One per engine; lives as long as the engine's connections.
class TVqCurlTrust {
 public:
  /// Takes the settings for the connections to come; true when they differ from the last ones, so that connections made
  /// under those must go. Raises EVqHTTPInvalidArgument for a file that cannot be read.
  bool Prepare(TVqHTTPSecurityFlags flags, const TVqHTTPSessionSettings& session, const char* systemFile,
               const char* systemFolder);
  /// Sets up a connection; `sslContext` is an SSL_CTX. False when that fails.
  bool Apply(void* sslContext);

  void ForgetFailure() noexcept {
    FFailure = 0;
    FAskedForCertificate = false;
  }
  /// The server asked for a certificate of the client, and there was none to give.
  bool AskedForCertificate() const noexcept { return FAskedForCertificate; }
  void NoteCertificateRequest() noexcept { FAskedForCertificate = true; }
  /// The API error number of the check that failed, 0 when none did.
  std::uint32_t Failure() const noexcept { return FFailure; }
  const std::string& FailureText() const noexcept { return FFailureText; }

  /// For OpenSSL: one error of the chain; true forgives it.
  bool Judge(int error, int depth);

 private:
  TVqHTTPSecurityFlags FFlags;
  TVqHTTPTlsVersion FLowest = TVqHTTPTlsVersion::tls12;
  std::shared_ptr<void> FStore;  // an X509_STORE
  std::uint32_t FFailure = 0;
  std::string FFailureText;
  bool FAskedForCertificate = false;
};

/// The end point of the TLS connection that an easy handle works on, as authentication is bound to it
/// ("tls-server-end-point" and a hash of the server's certificate); empty without TLS.
std::string VqEndPointBinding(void* easy);

/// What an error of OpenSSL's verification (X509_V_ERR_...) is to us.
struct TVqCertificateCheck {
  std::uint32_t Number;  // TVqHTTPErrorNumber
  int Flag;              // the bit that lifts it, or -1 when nothing does
};
TVqCertificateCheck VqClassifyCertificateError(int error, int depth) noexcept;

}  // namespace velmore

#pragma GCC visibility pop
