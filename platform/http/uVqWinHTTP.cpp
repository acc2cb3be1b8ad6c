#include "platform/http/uVqWinHTTP.h"

namespace velmore {

TVqWinHTTPSession::TVqWinHTTPSession(TVqComponent* AOwner) : TVqHTTPSessionBase(AOwner) {}

TVqWinHTTPClient::TVqWinHTTPClient(TVqComponent* AOwner) : TVqHTTPClientBase(AOwner, true) {}

TVqHTTPSessionBase* TVqWinHTTPClient::CreateOwnSession() {
  return new TVqWinHTTPSession(this);
}

}  // namespace velmore
