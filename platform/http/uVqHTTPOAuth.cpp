#include "platform/http/uVqHTTPOAuth.h"

#include "platform/common/uVqDateTimeUtils.h"

namespace velmore {

TVqGetOAuthAuthorizeFormEvent VqOnGetOAuthAuthorizeForm;

bool TVqOAuthAccessToken::GetExpired() const {
  if (Token.empty()) return true;
  const double end = ExpiresAt;
  if (end == 0) return false;
  return VqNow() >= end;
}

bool TVqOAuth::SameSettings(const TVqOAuth& AOther) const {
  return FClientId == AOther.FClientId && FClientSecret == AOther.FClientSecret &&
         FRedirectURI == AOther.FRedirectURI && FAuthorizationEndpoint == AOther.FAuthorizationEndpoint &&
         FTokenEndpoint == AOther.FTokenEndpoint && FScope == AOther.FScope && FGrantType == AOther.FGrantType;
}

}  // namespace velmore
