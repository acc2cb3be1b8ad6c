#pragma once

// Tokens of GSSAPI by which a user proves who it is: Kerberos tickets for Negotiate, and NTLM's messages where a module
// for it is installed (gss-ntlmssp). No other user of the process, and no ticket that lies about, is ever taken for the
// one that was named.

#include <memory>
#include <string>

#include "platform/http/uVqHTTPEngine_p.h"

#pragma GCC visibility push(hidden)

namespace velmore {

/// Whether this build has Kerberos, and whether GSSAPI on this machine has NTLM.
bool VqHasGssKerberos() noexcept;
bool VqHasGssNtlm() noexcept;

/// What tokens are made with: the tickets or the password of one user. Belongs to one engine, used by the thread of the
/// request. What asks a ticket server runs aside, so that a silent one costs the connect limit at most and a cancelled
/// request ends at once; what was asked for is thrown away when it comes after all.
class TVqGssCredentials {
 public:
  TVqGssCredentials();
  ~TVqGssCredentials();
  TVqGssCredentials(const TVqGssCredentials&) = delete;
  TVqGssCredentials& operator=(const TVqGssCredentials&) = delete;

  /// Sees to it that there is a ticket for the user of a request: with a password it is fetched from the ticket server,
  /// without one the ticket at hand must be made out to that user, and without a user any ticket at hand will do.
  TVqTicket Prepare(const TVqEngineRequest& request);
  /// Forgets tickets and password.
  void Forget() noexcept { FPrepared.reset(); }

 private:
  friend class TVqGssHandshake;
  struct TPrepared;
  std::shared_ptr<TPrepared> FPrepared;
};

/// One exchange of tokens with one server.
class TVqGssHandshake {
 public:
  /// `scheme` is Negotiate or NTLM, `binding` the TLS connection's end point (empty without TLS).
  TVqGssHandshake(const TVqGssCredentials& credentials, unsigned scheme, std::string binding);
  ~TVqGssHandshake();
  TVqGssHandshake(const TVqGssHandshake&) = delete;
  TVqGssHandshake& operator=(const TVqGssHandshake&) = delete;

  /// The next token, in answer to the server's last one (empty at first). False when there is none.
  bool Step(const TVqEngineRequest& request, const std::string& challenge, std::string& token);

 private:
  struct TContext;
  std::shared_ptr<TContext> FContext;
};

/// A token as it stands in a header, and back; false for what is no base64.
std::string VqEncodeToken(const std::string& token);
bool VqDecodeToken(std::string_view text, std::string& token);

/// The Kerberos principal of a logon name: "user", "DOMAIN\user" and "user@domain"; a domain without a dot names no
/// realm and is left to the default.
std::string VqKerberosPrincipal(const std::string& logonName);
/// Whether a logon name says itself that its account is one of `defaultRealm` or of the realm that it names:
/// "user@realm", "realm\user", or "VELMORE\user" where the default realm begins with "VELMORE.". Else the KDC may know
/// another account of that name.
bool VqNamesItsRealm(const std::string& logonName, const std::string& defaultRealm);

}  // namespace velmore

#pragma GCC visibility pop
