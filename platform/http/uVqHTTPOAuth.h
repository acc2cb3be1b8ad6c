#pragma once

/// OAuth settings, the access token, and the event that gives the window for an interactive log-on.
///
///     TVqOAuth& oauth = client->GetOAuth();
///     oauth.SetClientId("11111111-2222-3333-4444-555555555555");
///     oauth.SetAccessToken(token);                                // from wherever the application got it
///     client->SetAuthentication(TVqHTTPAuthentication::oAuth);    // sends "Authorization: Bearer ..."

#include "platform/common/uVqClasses.h"
#include "platform/http/uVqHTTPTypes.h"

namespace velmore {

/// How a token is obtained. The numbers are part of the contract.
enum class TVqOAuthGrantType : std::uint8_t {
  none = 0,               ///< no grant: a token comes from the application by SetAccessToken
  Authorize = 1,          ///< a person logs on in a browser
  Password = 2,           ///< user name and password of the client's credentials
  ClientCredentials = 3,  ///< client id and secret; no user stands behind the token
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
/// Owns its texts and token; a copy copies them all, the token too. One thread at a time. Nothing here talks to a
/// server: the client that holds the settings does, before a request that needs a token. Raises nothing.
class TVqOAuth {
 public:
  /// Id of the registered application. A non-empty one means that OAuth is in use.
  const string& GetClientId() const noexcept { return FClientId; }
  void SetClientId(const string& AValue) { FClientId = AValue; }
  /// The application's own secret, where it has one. Held as a password is (see TVqCredentials); never part of a
  /// message or a record of an exchange.
  const string& GetClientSecret() const noexcept { return FClientSecret.Text(); }
  void SetClientSecret(const string& AValue) { FClientSecret = TVqSecret(AValue); }
  /// Settings of the grants, kept for the application. No grant is carried out in this version: a token comes by
  /// SetAccessToken, and a request that needs a new one under a grant raises a plain exception. The redirect URI is
  /// where the browser is sent after an interactive log-on.
  const string& GetRedirectURI() const noexcept { return FRedirectURI; }
  void SetRedirectURI(const string& AValue) { FRedirectURI = AValue; }
  const string& GetAuthorizationEndpoint() const noexcept { return FAuthorizationEndpoint; }
  void SetAuthorizationEndpoint(const string& AValue) { FAuthorizationEndpoint = AValue; }
  const string& GetTokenEndpoint() const noexcept { return FTokenEndpoint; }
  void SetTokenEndpoint(const string& AValue) { FTokenEndpoint = AValue; }
  const string& GetScope() const noexcept { return FScope; }
  void SetScope(const string& AValue) { FScope = AValue; }
  /// `none` at first. With `ClientCredentials` a session of Exchange Web Services acts in the name of a mailbox.
  TVqOAuthGrantType GetGrantType() const noexcept { return FGrantType; }
  void SetGrantType(TVqOAuthGrantType AValue) noexcept { FGrantType = AValue; }

  /// The token in force; an empty one before the first.
  const TVqOAuthAccessToken& GetAccessToken() const noexcept { return FAccessToken; }
  void SetAccessToken(const TVqOAuthAccessToken& AValue) { FAccessToken = AValue; }

  /// Takes over all settings and the token.
  void Assign(const TVqOAuth& ASource) { *this = ASource; }
  /// True when all settings are equal, whatever the tokens are.
  bool SameSettings(const TVqOAuth& AOther) const;

 private:
  string FClientId;
  TVqSecret FClientSecret;
  string FRedirectURI;
  string FAuthorizationEndpoint;
  string FTokenEndpoint;
  string FScope;
  TVqOAuthGrantType FGrantType = TVqOAuthGrantType::none;
  TVqOAuthAccessToken FAccessToken;
};

/// The form in which a person logs on and grants access. An application with a user interface supplies it. The
/// misspelling is part of the interface's name.
class IVqHTTPOAuthAutorizeForm : public virtual IVqObject {
 public:
  /// Shows the page `AURL` and returns when the browser is sent to an address that begins with `ARedirectURI`, or when
  /// the person gives up. Gives that address with its query, or an empty text. Called on the thread of the request that
  /// needs a token; may take as long as the person does.
  virtual string Authorize(const string& AURL, const string& ARedirectURI, TVqWindowHandle AParentWnd) = 0;

 protected:
  ~IVqHTTPOAuthAutorizeForm() = default;
};

/// Gives the form for the interactive grant, or an empty reference for none.
using TVqGetOAuthAuthorizeFormEvent = std::function<TVqRef<IVqHTTPOAuthAutorizeForm>(TVqOAuth& AOAuth)>;

/// One setting for the whole process, not for one session: set it before threads make requests.
extern TVqGetOAuthAuthorizeFormEvent VqOnGetOAuthAuthorizeForm;

}  // namespace velmore
