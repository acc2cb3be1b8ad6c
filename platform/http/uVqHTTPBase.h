#pragma once

/// The abstract HTTP client: client, session, request, response, and the base classes of both concrete clients.
///
///     TVqRef<IVqHTTPClient> client = TVqHTTPClient(true);                     // uVqHTTPClient.h
///     TVqRef<IVqHTTPResponse> response;
///     client->Request(response, TVqHTTPVerb::get, "https://mail.example.com/");
///     if (response->GetStatus().Code == 200) std::cout << response->GetText();
///
/// Rules that hold for every client:
/// - Redirects are never followed: the reply with its "Location" is given back, so that credentials and bodies go to no
///   host that the caller did not name.
/// - A reply of any status is given back; only failures of the transport raise.
/// - A request that met a closed kept connection is sent again once, on a new connection, when it is certain that the
///   server did not get all of it (or when its verb changes nothing); otherwise it fails with 12030.
/// - A connection belongs to the identity that made it: other credentials, another scheme, other OAuth settings or
///   other credentials for the proxy close the connections that a client keeps, and the cookies of the old identity go
///   too.
/// - A connection is not used again after a status of 400 or more (the steps of a handshake aside), nor while bytes
///   that nobody asked for stand on it.
/// - A password or token never goes over plain HTTP to another machine (see `SetAllowPlainTextPassword`).
/// - With OAuth a request may have the client ask the token endpoint first, and open a browser (see uVqHTTPOAuth.h); no
///   event tells of that exchange. No token raises EVqOAuthException.
/// - A client with its requests and replies belongs to one thread at a time, a session to any number (see
///   TVqHTTPClientBase and TVqHTTPSessionBase). All are counted: one more TVqRef costs one atomic increment.

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <stop_token>

#include "platform/http/uVqHTTPOAuth.h"

namespace velmore {

class IVqHTTPClient;
class IVqHTTPRequest;
class IVqHTTPResponse;
class IVqHTTPSession;
class TVqHTTPClientBase;
class TVqHTTPCookies;
class TVqHTTPReplyStream;
class TVqHTTPRequest;
struct TVqHTTPIdentity;
struct TVqHTTPSessionState;
class TVqHTTPEngine;

/// Before a request goes out; may still change its headers.
using TVqHTTPRequestEvent = std::function<void(TVqComponent& ASender, const TVqRef<IVqHTTPRequest>& ARequest)>;
/// After a reply has come in whole.
using TVqHTTPResponseEvent = std::function<void(TVqComponent& ASender, const TVqRef<IVqHTTPResponse>& AResponse)>;
/// After a request without a body failed, before the failure is raised. May raise something else instead.
using TVqHTTPErrorEvent =
    std::function<void(TVqComponent& ASender, const TVqRef<IVqHTTPRequest>& ARequest, std::uint32_t AError)>;
/// When bytes of a reply have arrived: `AStream` holds all that no call has taken out yet. Runs inside the request, on
/// its thread; what it raises ends the connection and comes out of the request.
using TVqHTTPDataEvent = std::function<void(TVqComponent& ASender, TVqHTTPReplyStream& AStream)>;
/// Installed on one request and told of its response.
using TVqHTTPResponseHandler = std::function<void(const TVqRef<IVqHTTPResponse>& AResponse)>;

/// The bytes of a reply as they arrive, with a position.
///
/// Owns its bytes. Made by the client; belongs to the thread of the request. Raises nothing of its own.
class TVqHTTPReplyStream : public TVqMemoryStream {
 public:
  /// Takes the first `ACount` bytes out and moves the rest to the front, position 0.
  void Consume(std::size_t ACount) noexcept;
  /// Puts bytes behind the last one; the position stays.
  void Append(std::string_view ABytes) { FBytes.append(ABytes); }
};

/// Cookies of a session, shared by all clients on it.
///
/// A cookie goes back to the host that set it and to no other, whatever its "Domain" says, and only with requests of
/// the identity under which it came: two clients with different credentials on one session do not see each other's
/// cookies. At most 4,096 bytes a cookie, 50 cookies a host and 3,000 in all, the oldest making room.
///
/// Owns them; not copied. Every thread may call it: one mutex protects the list. Raises nothing.
class TVqHTTPCookies {
 public:
  /// Adds "name=value", with attributes as a "Set-Cookie" header has them, for clients of every identity. With an empty
  /// URL the cookie goes out with every request of the session; otherwise to the host of the URL. A cookie of the same
  /// name and place is replaced.
  void Add(const string& AURL, const string& ACookie);
  /// The value of a cookie that was added for `AURL`, or an empty text.
  string GetValue(const string& AURL, const string& AName) const;
  /// The header for a request: "a=1; b=2". Only of cookies that were added, not of those that servers set.
  std::string HeaderFor(const std::string& AURL) const;
  /// Takes out every cookie of that name, whoever set it and for whatever place.
  void Remove(const string& AName);
  /// Number of cookies, those of all identities; those that have expired since they came are among them.
  std::int32_t Count() const;
  /// Forgets all.
  void Clear();

 private:
  friend class TVqHTTPExchange;
  friend struct TVqHTTPSessionState;
  struct TVqHTTPSessionState;

  struct Cookie {
    std::uint64_t Identity = 0;  // 0 is everybody
    std::string Name, Value, Host, Path;
    bool Secure = false;
    std::int64_t ExpiresAt = 0;  // seconds since 1970, 0 is the end of the session
    bool Expired(std::int64_t now) const;
    bool Take(std::string_view attribute, bool& maxAge);
  };
  // The same for the requests of one identity.
  void AddOf(std::uint64_t AIdentity, const string& AURL, std::string_view ACookie);
  std::string HeaderOf(std::uint64_t AIdentity, const std::string& AURL) const;
  void ForgetAllBut(const std::vector<std::uint64_t>& AIdentities);
  std::vector<const Cookie*> Matching(std::uint64_t AIdentity, const std::string& AURL) const;
  void Keep(Cookie ACookie, std::int64_t ANow);

  mutable std::mutex FMutex;  // protects FCookies
  std::vector<Cookie> FCookies;
};

/// A session, the settings of a connection pool: agent, proxy, cookies, trust.
class IVqHTTPSession : public virtual IVqObject {
 public:
  /// True from the first request on, until it is set to false.
  virtual bool GetActive() const = 0;
  /// False closes the kept connections of all clients on this session (those with a request under way: at its end). A
  /// request opens the session again by itself.
  virtual void SetActive(bool AValue) = 0;
  /// The "User-Agent" header; empty sends none. Raises EVqHTTPInvalidArgument for a line break.
  virtual string GetUserAgent() const = 0;
  virtual void SetUserAgent(const string& AValue) = 0;
  /// "host:port", or a list by scheme: "http=host:port;https=host:port".
  /// Raises EVqHTTPInvalidArgument for anything else, and for a user name in it: credentials are set at the client.
  virtual string GetProxyServer() const = 0;
  virtual void SetProxyServer(const string& AValue) = 0;
  /// Hosts that are reached directly, separated by ";" or blanks. "*" stands for any characters; "<local>" for every
  /// name without a dot.
  virtual string GetProxyServerBypass() const = 0;
  virtual void SetProxyServerBypass(const string& AValue) = 0;
  /// Whether servers are reached through a proxy, and through which. Counts from the next request on.
  virtual TVqHTTPAccessType GetAccessType() const = 0;
  virtual void SetAccessType(TVqHTTPAccessType AValue) = 0;
  /// The cookies of all clients on this session, which owns them.
  virtual TVqHTTPCookies& GetCookies() = 0;
  /// A PEM file with certification authorities to trust besides those of the machine. Empty is none. Where there is no
  /// Windows, the variable SSL_CERT_FILE, if set, names the machine's own file. Clients on this session use the file
  /// from their next connection on.
  virtual string GetCAFile() const = 0;
  virtual void SetCAFile(const string& AValue) = 0;
  /// A PEM file with revocation lists. Empty checks no revocation (with the engine used where there is no Windows);
  /// with a file every issuer in a server's chain must have its list there.
  virtual string GetCRLFile() const = 0;
  virtual void SetCRLFile(const string& AValue) = 0;
  /// The lowest version of TLS that is accepted; 1.2 at first, whatever the machine's own configuration says. A lower
  /// one lets in the ciphers of its time, too. A change closes the kept connections.
  virtual TVqHTTPTlsVersion GetLowestTls() const = 0;
  virtual void SetLowestTls(TVqHTTPTlsVersion AValue) = 0;
  /// How large a reply may be, and how long a call may take. Counts from the next request on.
  virtual TVqHTTPLimits GetLimits() const = 0;
  virtual void SetLimits(const TVqHTTPLimits& AValue) = 0;
  /// Where hosts are really to be found, whatever name look-up says: "mail.example.com:443" to "10.0.0.7:8443", an IPv6
  /// address in brackets. The name stays in the request, and the certificate is checked against the name. Raises
  /// EVqHTTPInvalidArgument for what is no host and port. Not offered by the engine of Windows, whose requests raise
  /// 50.
  virtual std::map<string, string> GetConnectTo() const = 0;
  virtual void SetConnectTo(const std::map<string, string>& AValue) = 0;
  /// Ends, within 100 ms, the requests that are under way on this session, whichever clients they belong to; each
  /// raises EVqHTTPApiException 6. Any thread may call it. Requests that begin afterwards are not affected.
  virtual void Cancel() noexcept = 0;

 protected:
  ~IVqHTTPSession() = default;
};

/// A request, as events see it.
class IVqHTTPRequest : public virtual IVqObject {
 public:
  /// The client that sends it.
  virtual TVqRef<IVqHTTPClient> GetClient() const = 0;
  /// The verb and the address with which it was made.
  virtual TVqHTTPVerb GetVerb() const = 0;
  virtual string GetURL() const = 0;
  /// A header set on this request; empty when it is not there.
  virtual string GetHeader(const string& AName) const = 0;
  /// All headers set on this request, in their order. The client adds its own, the session's, and what proves who it
  /// is.
  virtual std::vector<std::pair<string, string>> GetHeaders() const = 0;
  /// The body's bytes; empty without one. Valid as long as the request.
  virtual std::string_view GetBody() const = 0;
  /// Sets a header of this one request; an empty value takes it away. Raises EVqHTTPInvalidArgument for a name that is
  /// no token or a value with a line break.
  virtual void SetHeader(const string& AName, const string& AValue) = 0;

 protected:
  ~IVqHTTPRequest() = default;
};

/// A request that the caller drives: composed once, executed as often as wanted, cancelled from another thread.
class IVqHTTPRequestEx : public virtual IVqHTTPRequest {
 public:
  /// A cookie of this one request; takes the place of the session's cookie of that name. An empty value takes it away.
  virtual void SetCookie(const string& AName, const string& AValue) = 0;
  /// Told of the response, before the client's OnResponse.
  virtual void SetResponseHandler(TVqHTTPResponseHandler AHandler) = 0;
  /// Sends the request and waits for the whole reply. Talks to the server. Raises EVqHTTPApiException for a failure of
  /// the transport, with number 6 after `Cancel`, and a plain exception when the client is busy with another request.
  virtual TVqRef<IVqHTTPResponse> Execute() = 0;
  /// Ends, within 100 ms, an `Execute` that is under way, and every later one at its start. Any thread may call it.
  virtual void Cancel() noexcept = 0;

 protected:
  ~IVqHTTPRequestEx() = default;
};

/// A reply: its status, headers, cookies and body.
class IVqHTTPResponse : public virtual IVqObject {
 public:
  /// The status of the last answer: after an exchange of credentials, that of the one that counts.
  virtual TVqHTTPStatus GetStatus() const = 0;
  /// A header's value, names without regard to case; several of one name joined by ", ". Empty when there is none.
  virtual string GetHeader(const string& AName) const = 0;
  /// The value of a cookie that this reply set; empty when it did not.
  virtual string GetCookie(const string& AName) const = 0;
  /// The body as text: by its byte order mark, else by the charset of "Content-Type", else UTF-8.
  virtual string GetText() const = 0;

  /// The body's bytes, decompressed. After a request with a data event: what the event did not take out.
  virtual const std::string& GetBody() const = 0;
  /// All headers in the order of the reply.
  virtual const std::vector<std::pair<string, string>>& GetHeaders() const = 0;
  /// The address that was asked.
  virtual string GetURL() const = 0;
  /// With a status of 401 or 407: the schemes that the server (the proxy) offers, in its order.
  virtual const std::vector<string>& GetOfferedSchemes() const = 0;
  /// With a status of 401 or 407: the scheme that was tried; empty when none was.
  virtual string GetTriedScheme() const = 0;
  /// With a status of 401 or 407: a sentence on why credentials were not sent, where that is so; else empty.
  virtual string GetAuthenticationHint() const = 0;

 protected:
  ~IVqHTTPResponse() = default;
};

/// The client: makes requests, sends them over its session and gives back the replies.
class IVqHTTPClient : public virtual IVqObject {
 public:
  /// The implementing object: a TVqWinHTTPClient or a TVqWinINetClient.
  virtual TVqHTTPClientBase* GetComponent() = 0;
  /// The session in use; a client that was given none has one of its own.
  virtual TVqRef<IVqHTTPSession> GetSession() = 0;
  /// How the client authenticates; `byChallenge` at first. Raises EVqHTTPInvalidArgument for a number that is not one
  /// of the values.
  virtual TVqHTTPAuthentication GetAuthentication() const = 0;
  virtual void SetAuthentication(TVqHTTPAuthentication AValue) = 0;
  /// Settings that the client owns and every request reads.
  virtual TVqOAuth& GetOAuth() = 0;
  virtual TVqHTTPRequestHeaders& GetRequestHeaders() = 0;
  virtual TVqHTTPTimeOuts& GetTimeOuts() = 0;
  /// Called for requests without a body only.
  virtual void SetOnError(TVqHTTPErrorEvent AValue) = 0;
  /// Sends a request with a body and waits for the reply. With `ARaiseOnStatus` a status of 400 and above raises
  /// EVqHTTPException. Talks to the server; raises as IVqHTTPRequestEx::Execute.
  virtual void Request(TVqRef<IVqHTTPResponse>& AResponse, TVqHTTPVerb AVerb, const string& AURL, std::string ABody,
                       const string& AContentType, bool ARaiseOnStatus = false) = 0;
  /// The same without a body.
  virtual void Request(TVqRef<IVqHTTPResponse>& AResponse, TVqHTTPVerb AVerb, const string& AURL) = 0;

  /// A request to be executed by the caller. It keeps the client alive.
  virtual TVqRef<IVqHTTPRequestEx> CreateRequest(TVqHTTPVerb AVerb, const string& AURL, std::string ABody,
                                                 const string& AContentType) = 0;
  /// The same without a body.
  virtual TVqRef<IVqHTTPRequestEx> CreateRequest(TVqHTTPVerb AVerb, const string& AURL) = 0;
  /// Who logs on to servers, and to the proxy. The client owns both.
  virtual TVqCredentials& GetCredentials() = 0;
  virtual TVqCredentials& GetProxyCredentials() = 0;
  /// The version that requests name; HTTP 1.1 at first.
  virtual TVqHTTPVersion GetHTTPVersion() const = 0;
  virtual void SetHTTPVersion(TVqHTTPVersion AValue) = 0;
  /// Headers of every request, as "Name=value".
  virtual TVqStrings& GetAdditionalHeaders() = 0;
  /// Gives replies as a stream. An empty event collects the body in the response.
  virtual void SetOnDataReceived(TVqHTTPDataEvent AValue) = 0;
  /// Sends and keeps the session's cookies; true by default.
  virtual bool GetUseCookies() const = 0;
  virtual void SetUseCookies(bool AValue) = 0;

 protected:
  ~IVqHTTPClient() = default;
};

/// Base of both sessions.
///
/// Owns the settings and cookies, shared with its clients. No copies. Setters and getters may be called by every thread
/// (one mutex); the component itself belongs to one thread and may go before its clients: a client that is left goes on
/// with the settings and cookies that it had. Raises what is told at the setters; talks to no server.
class TVqHTTPSessionBase : public TVqComponent, public virtual IVqHTTPSession {
 public:
  ~TVqHTTPSessionBase() override;

  bool GetActive() const override;
  void SetActive(bool AValue) override;
  string GetUserAgent() const override;
  void SetUserAgent(const string& AValue) override;
  string GetProxyServer() const override;
  void SetProxyServer(const string& AValue) override;
  string GetProxyServerBypass() const override;
  void SetProxyServerBypass(const string& AValue) override;
  TVqHTTPAccessType GetAccessType() const override;
  void SetAccessType(TVqHTTPAccessType AValue) override;
  TVqHTTPCookies& GetCookies() override;
  string GetCAFile() const override;
  void SetCAFile(const string& AValue) override;
  string GetCRLFile() const override;
  void SetCRLFile(const string& AValue) override;
  TVqHTTPTlsVersion GetLowestTls() const override;
  void SetLowestTls(TVqHTTPTlsVersion AValue) override;
  TVqHTTPLimits GetLimits() const override;
  void SetLimits(const TVqHTTPLimits& AValue) override;
  std::map<string, string> GetConnectTo() const override;
  void SetConnectTo(const std::map<string, string>& AValue) override;
  void Cancel() noexcept override;

 protected:
  /// `AOwner` may be empty.
  explicit TVqHTTPSessionBase(TVqComponent* AOwner);

 private:
  friend class TVqHTTPClientBase;
  std::shared_ptr<TVqHTTPSessionState> FState;
};

/// Base of both clients.
///
/// Owns its settings, its connections and, when it was given no session, a session. No copies. One caller at a time:
/// a second request while one is under way raises a plain exception; only `IVqHTTPRequestEx::Cancel` and `Cancel` may
/// be called from other threads. Clients on one session may work at the same time on different threads. Raises as told
/// at IVqHTTPRequestEx::Execute.
class TVqHTTPClientBase : public TVqComponent, public virtual IVqHTTPClient {
 public:
  ~TVqHTTPClientBase() override;

  TVqHTTPClientBase* GetComponent() override { return this; }
  TVqRef<IVqHTTPSession> GetSession() override;
  TVqHTTPAuthentication GetAuthentication() const override { return FAuthentication; }
  void SetAuthentication(TVqHTTPAuthentication AValue) override;
  TVqOAuth& GetOAuth() override { return FOAuth; }
  TVqHTTPRequestHeaders& GetRequestHeaders() override { return FRequestHeaders; }
  TVqHTTPTimeOuts& GetTimeOuts() override { return FTimeOuts; }
  void SetOnError(TVqHTTPErrorEvent AValue) override { FOnError = std::move(AValue); }
  void Request(TVqRef<IVqHTTPResponse>& AResponse, TVqHTTPVerb AVerb, const string& AURL, std::string ABody,
               const string& AContentType, bool ARaiseOnStatus = false) override;
  void Request(TVqRef<IVqHTTPResponse>& AResponse, TVqHTTPVerb AVerb, const string& AURL) override;
  TVqRef<IVqHTTPRequestEx> CreateRequest(TVqHTTPVerb AVerb, const string& AURL, std::string ABody,
                                         const string& AContentType) override;
  TVqRef<IVqHTTPRequestEx> CreateRequest(TVqHTTPVerb AVerb, const string& AURL) override;
  TVqCredentials& GetCredentials() override { return FCredentials; }
  TVqCredentials& GetProxyCredentials() override { return FProxyCredentials; }
  TVqHTTPVersion GetHTTPVersion() const override { return FHTTPVersion; }
  void SetHTTPVersion(TVqHTTPVersion AValue) override { FHTTPVersion = AValue; }
  TVqStrings& GetAdditionalHeaders() override { return FAdditionalHeaders; }
  void SetOnDataReceived(TVqHTTPDataEvent AValue) override { FOnDataReceived = std::move(AValue); }
  bool GetUseCookies() const override { return FUseCookies; }
  void SetUseCookies(bool AValue) override { FUseCookies = AValue; }

  /// The checks that are lifted. A change closes the kept connections, which were made under the old ones.
  TVqHTTPSecurityFlags GetSecurityFlags() const noexcept { return FSecurityFlags; }
  virtual void SetSecurityFlags(TVqHTTPSecurityFlags AValue);
  /// The same as changing GetTimeOuts(): counts from the next request on.
  void SetTimeOuts(const TVqHTTPTimeOuts& AValue) { FTimeOuts = AValue; }
  /// Called before a request goes out, and after its reply has come in whole, on the thread of the request, which ends
  /// with what they raise.
  void SetOnRequest(TVqHTTPRequestEvent AValue) { FOnRequest = std::move(AValue); }
  void SetOnResponse(TVqHTTPResponseEvent AValue) { FOnResponse = std::move(AValue); }
  const TVqHTTPRequestEvent& GetOnRequest() const noexcept { return FOnRequest; }
  const TVqHTTPResponseEvent& GetOnResponse() const noexcept { return FOnResponse; }

  /// Allows Basic and access tokens over plain HTTP to hosts that are not this machine; false by default, and then the
  /// request goes without them and the server's 401 comes back. A proxy's credentials are not affected.
  bool GetAllowPlainTextPassword() const noexcept { return FAllowPlainTextPassword; }
  void SetAllowPlainTextPassword(bool AValue) noexcept { FAllowPlainTextPassword = AValue; }

  /// Ends the request that is under way, if any, within 100 ms. Any thread may call it.
  void Cancel() noexcept;
  /// Blocks for so long, for whoever wants to ask again later. Ends as a request does, by Cancel and by the stop token:
  /// raises EVqHTTPApiException with number 6.
  void Wait(std::chrono::milliseconds ATime);
  /// A request that is under way when a stop is asked for ends as by `Cancel`, and none begins from then on, until
  /// another token is set: for operations of several requests. An empty one, as at first, never asks.
  void SetStopToken(std::stop_token AValue) { FStopToken = std::move(AValue); }
  const std::stop_token& GetStopToken() const noexcept { return FStopToken; }
  /// Goes over to the session that another client uses, its settings and cookies, also where the session component is
  /// gone or belongs to another thread. The other client must have a session, and must not change it meanwhile.
  void ShareSessionOf(const TVqHTTPClientBase& AOther) { Share(AOther.FSession); }
  /// Takes every cookie of that name out of the session in use; see TVqHTTPCookies. Any thread may call it.
  void RemoveCookies(const string& AName);
  /// Closes the kept connections; the next request makes a new one. While a request is under way on another thread: at
  /// its end. Any thread may call it.
  void CloseConnections() noexcept;

  /// With OAuth: gets a token now, if there is none that is good, as the next request would: a program may want its
  /// person to log on before anything else. Does nothing with another scheme. Talks to the token endpoint; raises
  /// EVqOAuthException, and as IVqHTTPRequestEx::Execute when it is cancelled.
  void AcquireToken();

 protected:
  /// The second argument chooses the engine on Windows.
  TVqHTTPClientBase(TVqComponent* AOwner, bool AUseWinHTTP);

  /// Switches to a session, or with null to one of its own, and closes the kept connections.
  void ShareSession(TVqHTTPSessionBase* ASession);
  /// A session of the client's kind, owned by the client.
  virtual TVqHTTPSessionBase* CreateOwnSession() = 0;
  /// The flags that the engine is given.
  virtual TVqHTTPSecurityFlags EffectiveSecurityFlags() const { return FSecurityFlags; }
  /// Told of a failed log-on (12015) or another failure of the request; true asks for another try, with credentials
  /// that the call may have changed.
  virtual bool AskAfterError(std::uint32_t AError);
  /// The window that the form of an interactive log-on belongs to; 0 is none.
  virtual TVqWindowHandle WindowOfForms() const { return 0; }

 private:
  friend class TVqHTTPRequest;
  friend class TVqHTTPExchange;
  class TBusy;

  TVqRef<IVqHTTPResponse> Execute(TVqHTTPRequest& ARequest);
  void Share(const std::shared_ptr<TVqHTTPSessionState>& AState);
  void CheckToken(TVqHTTPRequest& ARequest);
  void RenewToken(TVqHTTPRequest& ARequest, bool AMayAsk);
  bool RenewRefusedToken(TVqHTTPRequest& ARequest, const IVqHTTPResponse& AResponse);
  const TVqOAuthAccessToken& TokenInForce() const;
  void LeaveSession() noexcept;
  std::uint64_t Identify();

  TVqHTTPAuthentication FAuthentication = TVqHTTPAuthentication::byChallenge;
  TVqHTTPVersion FHTTPVersion = TVqHTTPVersion::http11;
  TVqHTTPSecurityFlags FSecurityFlags;
  TVqHTTPTimeOuts FTimeOuts;
  TVqHTTPRequestHeaders FRequestHeaders;
  TVqStrings FAdditionalHeaders;
  TVqCredentials FCredentials;
  TVqCredentials FProxyCredentials;
  TVqOAuth FOAuth;
  bool FUseCookies = true;
  bool FAllowPlainTextPassword = false;
  TVqHTTPRequestEvent FOnRequest;
  TVqHTTPResponseEvent FOnResponse;
  TVqHTTPErrorEvent FOnError;
  TVqHTTPDataEvent FOnDataReceived;
  std::shared_ptr<TVqHTTPSessionState> FSession;
  std::shared_ptr<TVqHTTPEngine> FEngine;
  std::atomic<bool> FBusy{false};
  std::mutex FRunningMutex;  // protects FRunning
  TVqHTTPRequest* FRunning = nullptr;
  std::stop_token FStopToken;
  std::shared_ptr<const TVqHTTPIdentity> FIdentity;  // of the last request
  // What worked last, so that the next request does not ask again.
  std::string FKnownOrigin;
  int FKnownScheme = 0;  // a TVqHTTPScheme
};

}  // namespace velmore
