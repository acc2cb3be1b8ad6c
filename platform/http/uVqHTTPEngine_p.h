#pragma once

// What an engine (curl/, win/) is to the rest of the layer: one exchange with one server, with at most one authentication
// scheme. Which scheme, which proxy, which cookies: that is decided above, once for all engines.

#include <atomic>
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

namespace velmore {

/// The settings of a session as one request takes them.
struct TVqHTTPSessionSettings {
  std::string UserAgent;
  std::string ProxyServer;
  std::string ProxyServerBypass;
  TVqHTTPAccessType AccessType = TVqHTTPAccessType::preConfig;
  std::string CAFile;
  std::string CRLFile;
};

/// What a session component shares with its clients.
struct TVqHTTPSessionState {
  mutable std::mutex Mutex;  // protects all but Cookies, which has its own
  bool Active = false;
  TVqHTTPSessionSettings Settings;
  TVqHTTPSessionBase* Component = nullptr;  // empty once the component is gone
  std::vector<std::weak_ptr<TVqHTTPEngine>> Engines;
  TVqHTTPCookies Cookies;
};

enum class TVqHTTPRouteKind { system, direct, proxy };

/// How the target is reached.
struct TVqHTTPRoute {
  TVqHTTPRouteKind Kind = TVqHTTPRouteKind::direct;
  std::string Proxy;  // "host:port", with a scheme where the application wrote one
};

struct TVqEngineRequest {
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
  std::function<void(std::uint16_t status)> OnHeaders;  // at the end of each header block that may be the last
  std::function<void(std::string_view bytes)> OnBody;   // of the reply that is given back; may raise
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
};

/// An address taken apart.
struct TVqHTTPTarget {
  string URL;                // as the caller wrote it
  std::string Scheme, Host;  // in lower case; without brackets
  std::string Origin;        // "https://mail.example.com:443"
  std::string Address;       // what goes out
  bool OnTheWire = true;     // what is sent as plain text can be read by others
};

/// One engine serves one client: its connections are its own.
class TVqHTTPEngine {
 public:
  virtual ~TVqHTTPEngine() = default;
  /// Blocks until the reply is in. Raises EVqHTTPApiException.
  virtual TVqEngineReply Perform(const TVqEngineRequest& request) = 0;
  /// Has `Perform` look at `Cancelled` now. Any thread.
  virtual void Wake() noexcept = 0;
  /// Closes kept connections; while `Perform` runs on another thread, at its end. Any thread.
  virtual void DropConnections() noexcept = 0;
  /// Whether Negotiate can be tried with these credentials. May ask a ticket server; on the thread of the request.
  virtual TVqTicket PrepareNegotiate(const std::string& user, const std::string& password) = 0;
  /// The set of schemes that this engine can do.
  virtual unsigned Schemes() const noexcept = 0;

  /// Of the last request: the next one mostly goes to the same address. On the thread of the request.
  std::shared_ptr<const TVqHTTPTarget> Target;
};

/// The engine of this system.
std::shared_ptr<TVqHTTPEngine> VqCreateHTTPEngine(bool useWinHTTP);

/// Works out the way to `host` by the session's settings.
TVqHTTPRoute VqHTTPRouteFor(const TVqHTTPSessionSettings& settings, const std::string& scheme, const std::string& host);

/// Text of bytes: byte order mark, else the charset of a content type, else UTF-8.
string VqDecodeBody(std::string_view bytes, std::string_view contentType);

/// ASCII comparison without regard to case, for header names and the like.
bool VqSameAscii(std::string_view a, std::string_view b) noexcept;

}  // namespace velmore
