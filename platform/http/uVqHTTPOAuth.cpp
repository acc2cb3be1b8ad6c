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

}  // namespace velmore
