#pragma once

// The orders in which clients are told who logs on. They differ between the session's own client and separate ones, and stay so: an application's
// own client class may look at one when it is given another.

#include "platform/http/uVqHTTPBase.h"

namespace velmore {

/// Credentials, proxy credentials, OAuth.
template <typename TClient>
void EwsIdentifyOwnClient(TClient& client, const TVqCredentials& credentials, const TVqCredentials& proxyCredentials,
                          const TVqOAuth& oauth) {
  client.GetCredentials().Assign(credentials);
  client.GetProxyCredentials().Assign(proxyCredentials);
  client.GetOAuth().Assign(oauth);
}

/// OAuth, credentials, proxy credentials.
template <typename TClient>
void EwsIdentifySeparateClient(TClient& client, const TVqCredentials& credentials,
                               const TVqCredentials& proxyCredentials, const TVqOAuth& oauth) {
  client.GetOAuth().Assign(oauth);
  client.GetCredentials().Assign(credentials);
  client.GetProxyCredentials().Assign(proxyCredentials);
}

}  // namespace velmore
