#pragma once

/// The factory of clients.
///
///     TVqRef<IVqHTTPClient> client = TVqHTTPClient(true);   // a TVqWinHTTPClient behind the interface

#include "platform/http/uVqHTTPBase.h"

namespace velmore {

/// Makes one client and holds a reference to it.
///
/// Owns that reference; a copy costs one more reference to the same client. For threads and failures see
/// TVqHTTPClientBase. Talks to no server.
class TVqHTTPClient {
 public:
  /// True makes a TVqWinHTTPClient, false a TVqWinINetClient. The client goes when its last reference goes.
  explicit TVqHTTPClient(bool AUseWinHTTP);

  /// The client; never empty. It is handed on as a reference of its own.
  const TVqRef<IVqHTTPClient>& GetClient() const noexcept { return FClient; }
  operator const TVqRef<IVqHTTPClient>&() const noexcept { return FClient; }

 private:
  TVqRef<IVqHTTPClient> FClient;
};

}  // namespace velmore
