#include "platform/http/uVqHTTPOAuth.h"

#include "platform/common/uVqDateTimeUtils.h"
#include "platform/http/uVqHTTPOAuthShare_p.h"

namespace velmore {

TVqGetOAuthAuthorizeFormEvent VqOnGetOAuthAuthorizeForm;
TVqOpenBrowserEvent VqOnOpenBrowser;

bool TVqOAuthAccessToken::GetExpired() const {
  if (Token.empty()) return true;
  const double end = ExpiresAt;
  if (end == 0) return false;
  return VqNow() >= end;
}

bool EVqOAuthException::LeavesSessionUsable() const noexcept {
  if (GetError() == "temporarily_unavailable" || GetError() == "server_error") return true;
  return GetError().empty() && (GetNumber() == VqErrCancelled || VqHTTPMayPass(GetNumber()));
}

TVqOAuth::TVqOAuth() : FShare(std::make_shared<TVqOAuthShare>()) {}

void TVqOAuth::SetAccessToken(const TVqOAuthAccessToken& AValue) {
  if (AValue == FAccessToken) return;
  // One that was got by a copy is no stranger's: a session hands it on to its clients.
  if (!FShare || !FShare->Knows(AValue)) Separate();
  FAccessToken = AValue;
}

void TVqOAuth::Separate() {
  FShare = std::make_shared<TVqOAuthShare>();
}

bool TVqOAuth::SameSettings(const TVqOAuth& AOther) const {
  return FClientId == AOther.FClientId && FClientSecret == AOther.FClientSecret &&
         FRedirectURI == AOther.FRedirectURI && FAuthorizationEndpoint == AOther.FAuthorizationEndpoint &&
         FTokenEndpoint == AOther.FTokenEndpoint && FScope == AOther.FScope && FGrantType == AOther.FGrantType &&
         FClientAuthentication == AOther.FClientAuthentication;
}

}  // namespace velmore
