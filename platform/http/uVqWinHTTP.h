#pragma once

/// Session and client for services, without a desktop: over WinHTTP on Windows, over libcurl elsewhere.
///
///     TVqWinHTTPSession session;
///     TVqWinHTTPClient client;
///     client.SetSession(&session);

#include "platform/http/uVqHTTPBase.h"

namespace velmore {

/// The session of a TVqWinHTTPClient; see TVqHTTPSessionBase.
class TVqWinHTTPSession : public TVqHTTPSessionBase {
 public:
  /// `AOwner` may be empty.
  explicit TVqWinHTTPSession(TVqComponent* AOwner = nullptr);
};

/// The client for services; see TVqHTTPClientBase. Heeds all five security flags and shows no dialog.
class TVqWinHTTPClient : public TVqHTTPClientBase {
 public:
  /// `AOwner` may be empty.
  explicit TVqWinHTTPClient(TVqComponent* AOwner = nullptr);
  /// Shares a session with other clients; empty goes back to one of its own. Not owned.
  void SetSession(TVqWinHTTPSession* ASession) { ShareSession(ASession); }

 protected:
  /// A session of the client's own kind.
  TVqHTTPSessionBase* CreateOwnSession() override;
};

}  // namespace velmore
