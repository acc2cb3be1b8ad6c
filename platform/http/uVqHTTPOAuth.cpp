#include "platform/http/uVqHTTPOAuth.h"

#include <chrono>

namespace velmore {

TVqGetOAuthAuthorizeFormEvent VqOnGetOAuthAuthorizeForm;

bool TVqOAuthAccessToken::GetExpired() const {
  if (Token.empty()) return true;
  const double end = ExpiresAt;
  if (end == 0) return false;
  constexpr double unixEpoch = 25569;  // 1 January 1970 in days since 30 December 1899
  using Days = std::chrono::duration<double, std::ratio<86400>>;
  const double now = unixEpoch + Days(std::chrono::system_clock::now().time_since_epoch()).count();
  return now >= end;
}

}  // namespace velmore
