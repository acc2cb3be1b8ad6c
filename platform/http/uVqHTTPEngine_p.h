#pragma once

// What an engine (curl/, win/) is to the rest of the layer: one exchange with one server, with at most one
// authentication scheme. Which scheme, which proxy, which cookies: that is decided above, once for all engines.

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/common/uVqSysUtils.h"
#include "platform/http/uVqHTTPBase.h"
#include "platform/http/uVqHTTPSchemes_p.h"

#pragma GCC visibility push(hidden)

namespace velmore {

struct [[gnu::visibility("hidden")]] TVqHTTPIdentity;      // named by a public header
struct [[gnu::visibility("hidden")]] TVqHTTPSessionState;  // named by a public header
class [[gnu::visibility("hidden")]] TVqHTTPEngine;         // named by a public header

/// The settings of a session as one request takes them.
struct TVqHTTPSessionSettings {
  std::string UserAgent;
  std::string ProxyServer;
  std::string ProxyServerBypass;
  TVqHTTPAccessType AccessType = TVqHTTPAccessType::preConfig;
  std::string CAFile;
  std::string CRLFile;
  TVqHTTPTlsVersion LowestTls = TVqHTTPTlsVersion::tls12;
  TVqHTTPLimits Limits;
  std::vector<std::pair<std::string, std::string>> ConnectTo;  // "host:port" in lower case, to "address:port"
};

/// Who a client's requests come from, for servers and for the proxy. Connections and cookies belong to one of these.
struct TVqHTTPIdentity {
  TVqHTTPAuthentication Authentication = TVqHTTPAuthentication::byChallenge;
  TVqCredentials Credentials, ProxyCredentials;
  TVqOAuth OAuth;
  std::uint64_t Number = 0;  // of its session; 0 is nobody's

  /// Where the grant says who comes, a token is only renewed.
  bool SameAs(TVqHTTPAuthentication authentication, const TVqCredentials& credentials,
              const TVqCredentials& proxyCredentials, const TVqOAuth& oauth) const {
    const TVqOAuthGrantType grant = oauth.GetGrantType();
    const bool named = grant == TVqOAuthGrantType::Password || grant == TVqOAuthGrantType::ClientCredentials;
    return Authentication == authentication && Credentials == credentials && ProxyCredentials == proxyCredentials &&
           OAuth.SameSettings(oauth) && (named || OAuth.GetAccessToken() == oauth.GetAccessToken());
  }
};

/// What a session component shares with its clients.
struct TVqHTTPSessionState {
  mutable std::mutex Mutex;  // protects all but Cookies, which has its own; taken before a client's FRunningMutex
  bool Active = false;
  TVqHTTPSessionSettings Settings;
  TVqHTTPSessionBase* Component = nullptr;  // empty once the component is gone
  std::vector<std::weak_ptr<TVqHTTPEngine>> Engines;
  std::vector<TVqHTTPClientBase*> Clients;  // each takes itself out before it goes
  TVqHTTPCookies Cookies;
  std::vector<std::shared_ptr<const TVqHTTPIdentity>> Identities;
  std::uint64_t LastIdentity = 0;

  /// The identity with these values, which clients with the same ones share.
  std::shared_ptr<const TVqHTTPIdentity> Identify(TVqHTTPAuthentication authentication,
                                                  const TVqCredentials& credentials,
                                                  const TVqCredentials& proxyCredentials, const TVqOAuth& oauth);
  /// Takes the cookies of identities away that no client has any more.
  void ForgetTheGone();
};

enum class TVqHTTPRouteKind { system, direct, proxy };

/// How the target is reached.
struct TVqHTTPRoute {
  TVqHTTPRouteKind Kind = TVqHTTPRouteKind::direct;
  std::string Proxy;  // "host:port", with a scheme where the application wrote one
};

using TVqHTTPClock = std::chrono::steady_clock;

struct TVqEngineRequest {
  TVqEngineRequest() = default;
  ~TVqEngineRequest();  // overwrites what is secret
  TVqEngineRequest(const TVqEngineRequest&) = delete;
  TVqEngineRequest& operator=(const TVqEngineRequest&) = delete;

  std::string_view Verb;
  std::string URL;
  bool HTTP11 = true;
  std::vector<std::string> Headers;  // "Name: value"; well-formed
  std::string Cookies;               // "a=1; b=2"
  std::string_view Body;
  bool HasBody = false;
  TVqHTTPTimeOuts TimeOuts;
  TVqHTTPSecurityFlags SecurityFlags;
  TVqHTTPSessionSettings Session;
  TVqHTTPRoute Route;
  unsigned Scheme = schemeNone;        // the one to use
  std::string User, Password;          // may be empty with Negotiate: then the ticket at hand
  unsigned ProxySchemes = schemeNone;  // those that may be used
  std::string ProxyUser, ProxyPassword;
  const std::atomic<bool>* Cancelled = nullptr;
  TVqHTTPClock::time_point Deadline = TVqHTTPClock::time_point::max();  // of the whole call
  // At the end of each header block that may be the last; true when the body is kept whole, so that its bounds hold.
  std::function<bool(std::uint16_t status)> OnHeaders;
  std::function<void(std::string_view bytes)> OnBody;  // of the reply that is given back, unpacked; may raise

  bool IsCancelled() const noexcept { return Cancelled && *Cancelled; }
};

struct TVqEngineReply {
  std::uint16_t Status = 0;
  std::string Reason;
  std::vector<std::pair<std::string, std::string>> Headers;
  std::vector<std::string> SetCookies;  // of all replies of the exchange, those of handshakes too
  bool CredentialsSent = false;         // a token of the scheme really went out
  bool ProxyCredentialsSent = false;
};

/// What came of asking for a Kerberos ticket.
enum class TVqTicket {
  ready,
  none,     // no ticket server, or it does not know the account
  refused,  // the ticket server of this very account did not take the password
  silent,   // the ticket server did not answer within the connect limit
};

/// An address taken apart.
struct TVqHTTPTarget {
  string URL;                // as the caller wrote it
  std::string Scheme, Host;  // in lower case; without brackets
  std::string Origin;        // "https://mail.example.com:443"
  std::string Address;       // what goes out
  std::string Place;         // "mail.example.com", and the port where it is not the usual one: for messages
  std::uint16_t Port = 0;
};

/// One engine serves one client: its connections are its own.
class TVqHTTPEngine {
 public:
  virtual ~TVqHTTPEngine() = default;
  /// Blocks until the reply is in. Raises EVqHTTPApiException.
  virtual TVqEngineReply Perform(const TVqEngineRequest& request) = 0;
  /// Has `Perform` look at `Cancelled` now. Any thread.
  virtual void Wake() noexcept = 0;
  /// Closes kept connections and forgets what was learnt with them (TLS sessions, tickets); while `Perform` runs on
  /// another thread, at its end. Any thread.
  virtual void DropConnections() noexcept = 0;
  /// Closes kept connections alone; otherwise the same.
  virtual void CloseConnections() noexcept = 0;
  /// Whether Negotiate can be tried with the credentials of a request. May ask a ticket server, within the connect
  /// limit; on the thread of the request. Raises when the request is cancelled.
  virtual TVqTicket PrepareNegotiate(const TVqEngineRequest& request) = 0;
  /// The set of schemes that this engine can do.
  virtual unsigned Schemes() const noexcept = 0;

  /// Of the last request: the next one mostly goes to the same address. On the thread of the request.
  std::shared_ptr<const TVqHTTPTarget> Target;
};

/// The engine of this system.
std::shared_ptr<TVqHTTPEngine> VqCreateHTTPEngine(bool useWinHTTP);

/// Whether what goes to `target` in the clear stays on this machine.
bool VqStaysHere(const TVqHTTPSessionSettings& settings, const TVqHTTPRoute& route, const TVqHTTPTarget& target);

/// A proxy's address taken apart.
struct TVqHTTPProxyAddress {
  std::string Address;  // "host:port", with a scheme where one was written
  std::string Host;
  std::string User, Password;  // decoded
};
/// False for what is no address of a proxy.
bool VqReadProxyAddress(std::string_view text, TVqHTTPProxyAddress& address);

/// Raises EVqHTTPInvalidArgument for what is no list of proxies. The text shows nothing of it: there may be a password
/// in it.
void VqCheckProxyServer(std::string_view list);

/// Works out the way to `host` by the session's settings.
TVqHTTPRoute VqHTTPRouteFor(const TVqHTTPSessionSettings& settings, const std::string& scheme, const std::string& host);

/// Text of bytes: byte order mark, else the charset of a content type, else UTF-8.
string VqDecodeBody(std::string_view bytes, std::string_view contentType);

/// ASCII comparison without regard to case, for header names and the like.
bool VqSameAscii(std::string_view a, std::string_view b) noexcept;

}  // namespace velmore

#pragma GCC visibility pop
