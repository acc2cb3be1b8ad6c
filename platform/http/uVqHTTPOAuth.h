#pragma once

/// OAuth: the settings of the grants, the access token, and the events that an interactive log-on goes through.
///
///     TVqOAuth& oauth = client->GetOAuth();
///     oauth.SetClientId("11111111-2222-3333-4444-555555555555");
///     oauth.SetTokenEndpoint("https://login.example.com/oauth2/v2.0/token");
///     oauth.SetScope("https://mail.example.com/.default");
///     oauth.SetClientSecret(secret);
///     oauth.SetGrantType(TVqOAuthGrantType::ClientCredentials);
///     client->SetAuthentication(TVqHTTPAuthentication::oAuth);    // gets a token, and sends "Authorization: Bearer
///     ..."
///
/// A client gets a token before the first request that needs one, a new one a little before the end of the old one (by
/// the refresh token, if there is one, else by the grant), and one more when a server says of a token that it is not
/// valid (401 with "invalid_token"); that request is then sent once more. Clients whose settings are copies of one
/// TVqOAuth share what they get: when several need a token at the same time, one asks and the others wait for it.

#include <memory>

#include "platform/common/uVqClasses.h"
#include "platform/http/uVqHTTPTypes.h"

namespace velmore {

class TVqOAuthShare;

/// How a token is obtained. The numbers are part of the contract.
enum class TVqOAuthGrantType : std::uint8_t {
  none = 0,               ///< no grant: a token comes from the application by SetAccessToken
  Authorize = 1,          ///< a person logs on in a browser (RFC 6749, 4.1, with the proof key of RFC 7636)
  Password = 2,           ///< user name and password of the client's credentials (4.3)
  ClientCredentials = 3,  ///< client id and secret; no user stands behind the token (4.4)
};

/// How an application with a secret proves at the token endpoint that it is the one that was registered.
enum class TVqOAuthClientAuthentication : std::uint8_t {
  basic,  ///< in the header of Basic, which every server takes that keeps to RFC 6749
  post    ///< in the form, for servers that want it there
};

/// No token was to be had. The text names the grant, the address that was asked and the reason, and never holds a
/// secret, a token, a code or a proof key. A failure of the transport is nested (std::rethrow_if_nested).
class EVqOAuthException : public EVqHTTPException {
 public:
  /// The text; the status of the answer or an API error number; what the server said of the reason.
  EVqOAuthException(string AMessage, std::uint32_t ANumber, string AError = {}, string ADescription = {},
                    string AErrorURI = {})
      : EVqHTTPException(std::move(AMessage), ANumber),
        FError(std::move(AError)),
        FDescription(std::move(ADescription)),
        FErrorURI(std::move(AErrorURI)) {}

  /// The server's code, such as "invalid_grant", "invalid_client", "access_denied" (RFC 6749, 4.1.2.1 and 5.2); empty
  /// when the server did not say, or was not reached.
  const string& GetError() const noexcept { return FError; }
  /// The server's own words, and a page that it points to; often empty.
  const string& GetDescription() const noexcept { return FDescription; }
  const string& GetErrorURI() const noexcept { return FErrorURI; }
  /// As GetError.
  const string& ResponseCode() const noexcept override { return FError; }

 protected:
  /// Without a token the request itself was not sent.
  bool LeavesOpen() const noexcept override { return false; }
  /// Only what may pass by itself leaves the next request a chance to get a token.
  bool LeavesSessionUsable() const noexcept override;

 private:
  string FError, FDescription, FErrorURI;
};

/// An access token and what came with it. A plain value; one thread at a time.
struct TVqOAuthAccessToken {
  string Token;            ///< what goes behind "Bearer"
  string TokenType;        ///< "Bearer", or empty for the same
  string RefreshToken;     ///< empty when the server gave none
  string Scope;            ///< as granted; empty when the server did not say
  TDateTime ExpiresAt{0};  ///< UTC; 0 when no end is known

  /// True when there is no token, or its end has come.
  bool GetExpired() const;
  /// Every part is equal.
  friend bool operator==(const TVqOAuthAccessToken& a, const TVqOAuthAccessToken& b) {
    return a.Token == b.Token && a.TokenType == b.TokenType && a.RefreshToken == b.RefreshToken && a.Scope == b.Scope &&
           static_cast<double>(a.ExpiresAt) == static_cast<double>(b.ExpiresAt);
  }
};

/// The settings of OAuth and the token in force.
///
/// Owns its texts and token; a copy copies them all, the token too, and takes part in what the client of the original
/// gets from now on, until a setting of either is changed or the application sets a token of its own. One thread at a
/// time, copies on any threads. Nothing here talks to a server: the client that holds the settings does, before a
/// request that needs a token. Raises nothing.
class TVqOAuth {
 public:
  TVqOAuth();

  /// Id of the registered application. A non-empty one means that OAuth is in use.
  const string& GetClientId() const noexcept { return FClientId; }
  void SetClientId(const string& AValue) { Change(FClientId, AValue); }
  /// The application's own secret, where it has one. Held as a password is (see TVqCredentials); never part of a
  /// message or a record of an exchange.
  const string& GetClientSecret() const noexcept { return FClientSecret.Text(); }
  void SetClientSecret(const string& AValue) { Change(FClientSecret, TVqSecret(AValue)); }
  /// Where the browser is sent after an interactive log-on. With the form of this library an address of http on this
  /// machine, "http://127.0.0.1/app" or "http://localhost": without a port on one that is free, which servers accept of
  /// a program on a desktop (RFC 8252, 7.3); with one, on that.
  const string& GetRedirectURI() const noexcept { return FRedirectURI; }
  void SetRedirectURI(const string& AValue) { Change(FRedirectURI, AValue); }
  /// The page of the log-on, for `Authorize`. Must be https, unless it is on this machine.
  const string& GetAuthorizationEndpoint() const noexcept { return FAuthorizationEndpoint; }
  void SetAuthorizationEndpoint(const string& AValue) { Change(FAuthorizationEndpoint, AValue); }
  /// Where tokens are asked for. Must be https, unless it is on this machine or the client allows passwords over plain
  /// HTTP.
  const string& GetTokenEndpoint() const noexcept { return FTokenEndpoint; }
  void SetTokenEndpoint(const string& AValue) { Change(FTokenEndpoint, AValue); }
  /// What the token is to be good for, names with blanks between; empty leaves it to the server.
  const string& GetScope() const noexcept { return FScope; }
  void SetScope(const string& AValue) { Change(FScope, AValue); }
  /// `none` at first. With `ClientCredentials` a session of Exchange Web Services acts in the name of a mailbox.
  TVqOAuthGrantType GetGrantType() const noexcept { return FGrantType; }
  void SetGrantType(TVqOAuthGrantType AValue) { Change(FGrantType, AValue); }
  /// How the secret goes to the token endpoint; `basic` at first. Not part of a profile.
  TVqOAuthClientAuthentication GetClientAuthentication() const noexcept { return FClientAuthentication; }
  void SetClientAuthentication(TVqOAuthClientAuthentication AValue) { Change(FClientAuthentication, AValue); }

  /// The token in force; an empty one before the first.
  const TVqOAuthAccessToken& GetAccessToken() const noexcept { return FAccessToken; }
  /// A token from elsewhere: used until it expires; then the grant gets the next one, by its refresh token first. A
  /// token that has expired, with a refresh token, does for the latter alone.
  void SetAccessToken(const TVqOAuthAccessToken& AValue);
  /// Takes no part any more in what copies get or have got. The token that stands here stays.
  void Separate();

  /// Takes over all settings and the token.
  void Assign(const TVqOAuth& ASource) { *this = ASource; }
  /// True when all settings are equal, whatever the tokens are.
  bool SameSettings(const TVqOAuth& AOther) const;

 private:
  friend class TVqHTTPClientBase;

  template <typename TMember>
  void Change(TMember& AMember, const TMember& AValue) {
    if (AMember == AValue) return;
    AMember = AValue;
    Separate();  // a token that others get is none of these settings
  }

  string FClientId;
  TVqSecret FClientSecret;
  string FRedirectURI;
  string FAuthorizationEndpoint;
  string FTokenEndpoint;
  string FScope;
  TVqOAuthGrantType FGrantType = TVqOAuthGrantType::none;
  TVqOAuthClientAuthentication FClientAuthentication = TVqOAuthClientAuthentication::basic;
  TVqOAuthAccessToken FAccessToken;
  std::shared_ptr<TVqOAuthShare> FShare;
};

/// The form in which a person logs on and grants access. An application with a user interface supplies one of its own;
/// else it is VqOAuthLoopbackForm. The misspelling is part of the interface's name.
///
/// One form serves one log-on. All but `Cancel` is called on the thread of the request that needs a token, which must
/// not be used for another request with the same settings meanwhile.
class IVqHTTPOAuthAutorizeForm : public virtual IVqObject {
 public:
  /// Shows the page `AURL` and returns when the browser is sent to an address that begins with `ARedirectURI`, or when
  /// the person gives up. Gives that address with its query, or an empty text. May take as long as the person does.
  /// What it raises comes out of the request.
  virtual string Authorize(const string& AURL, const string& ARedirectURI, TVqWindowHandle AParentWnd) = 0;

  /// Asked before `Authorize`, with the address of the settings: the one that the server is told, for a form that
  /// chooses a part of it by itself. That of the settings unless a form says otherwise.
  virtual string UseRedirectURI(const string& ARedirectURI) { return ARedirectURI; }
  /// The request was cancelled: `Authorize` is to return soon, whatever it gives. Called from any thread, and must
  /// return at once. Does nothing unless a form can do better; the request then waits for the person.
  virtual void Cancel() noexcept {}

 protected:
  ~IVqHTTPOAuthAutorizeForm() = default;
};

/// Gives the form for the interactive grant, or an empty reference for none, which refuses to log on.
using TVqGetOAuthAuthorizeFormEvent = std::function<TVqRef<IVqHTTPOAuthAutorizeForm>(TVqOAuth& AOAuth)>;

/// One setting for the whole process, not for one session: set it before threads make requests. Without a handler the
/// form is VqOAuthLoopbackForm.
extern TVqGetOAuthAuthorizeFormEvent VqOnGetOAuthAuthorizeForm;

/// How long the form of this library waits for the person.
inline constexpr std::chrono::milliseconds kVqOAuthPatience = std::chrono::minutes(10);

/// The form of this library: it listens on a port of this machine alone, has the person's browser show the page, and
/// takes the answer that the browser brings to the port (RFC 8252). Anything else that comes to the port, from other
/// programs or pages, is refused and changes nothing. The page that the person sees at the end says that the window may
/// be closed. Raises EVqOAuthException for a redirect URI that is not of this machine, for a port that is taken, and
/// when nobody has logged on for `APatience`.
TVqRef<IVqHTTPOAuthAutorizeForm> VqOAuthLoopbackForm(std::chrono::milliseconds APatience = kVqOAuthPatience);

/// Shows a page to the person. `AURL` is of use to whoever logs on next: it belongs into no log.
using TVqOpenBrowserEvent = std::function<void(const string& AURL)>;

/// How VqOAuthLoopbackForm opens a browser; one setting for the whole process, as the one above. Without a handler the
/// desktop opens it, and without a desktop the address is printed on the standard error stream for the person to copy.
extern TVqOpenBrowserEvent VqOnOpenBrowser;

}  // namespace velmore
