#pragma once

// The two kinds of HTTP clients that a session works with, and the orders in which clients are told who logs on.

#include <memory>

#include "platform/http/uVqWinINet.h"

#pragma GCC visibility push(hidden)

namespace velmore {

class [[gnu::visibility("hidden")]] TVqEWSClientKind;  // named by a public header

/// What differs between the clients of a service and those of a program with a desktop. Has no state: one object a
/// kind, for the whole process.
class TVqEWSClientKind {
 public:
  /// The kind that the property NTService stands for.
  static const TVqEWSClientKind& Of(bool ANTService) noexcept;

  /// A session and a client, owned by whoever takes them and by `AOwner`.
  virtual std::unique_ptr<TVqHTTPSessionBase> NewSession(TVqComponent& AOwner) const = 0;
  virtual std::unique_ptr<TVqHTTPClientBase> NewClient(TVqComponent& AOwner) const = 0;
  /// Puts a client on a session; both are of this kind.
  virtual void Share(TVqHTTPClientBase& AClient, TVqHTTPSessionBase& ASession) const = 0;
  /// The flags that mean something to clients of this kind.
  virtual TVqHTTPSecurityFlags Heeded(TVqHTTPSecurityFlags AFlags) const = 0;
  /// Tells a client of its dialogs' window and of who is asked before they are shown; nothing for a kind without
  /// dialogs.
  virtual void SetOnError(TVqHTTPClientBase& AClient, TVqWinINetErrorEvent AHandler) const = 0;
  virtual void SetParentWnd(TVqHTTPClientBase& AClient, TVqWindowHandle AWindow) const = 0;

 protected:
  ~TVqEWSClientKind() = default;
};

// Who logs on is told in two orders. They differ between the session's own client and separate ones, and stay so: an
// application's own client class may look at one when it is given another.

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

#pragma GCC visibility pop
