#pragma once

/// Session and client for programs with a desktop: over WinINet on Windows, over libcurl elsewhere.
///
/// WinINet takes proxies and the versions of TLS from the user's settings, and keeps its connections for the whole
/// process: closing those of one client has no effect there, and SetLowestTls above 1.2 ends requests with number 50.
/// NTLM, Negotiate and proxies that want credentials go over WinHTTP with this client too.
///
///     TVqWinINetClient client;
///     client.SetParentWnd(window);
///     client.SetOnCredentialsDialog([](TVqComponent&, TVqWindowHandle, TVqCredentials& c) { return ask(c); });

#include "platform/http/uVqHTTPBase.h"

namespace velmore {

/// A request failed with `AError`. Setting `AParentWnd` to 0 keeps the client from showing its dialog; setting
/// `AHandled` says that the application has done what was to be done, and no dialog is shown either.
using TVqWinINetErrorEvent =
    std::function<void(TVqComponent& ASender, std::uint32_t AError, TVqWindowHandle& AParentWnd, bool& AHandled)>;
/// Asks a person for credentials; true when they are to be tried.
using TVqCredentialsDialogEvent =
    std::function<bool(TVqComponent& ASender, TVqWindowHandle AParentWnd, TVqCredentials& ACredentials)>;

/// The session of a TVqWinINetClient; see TVqHTTPSessionBase.
class TVqWinINetSession : public TVqHTTPSessionBase {
 public:
  /// `AOwner` may be empty.
  explicit TVqWinINetSession(TVqComponent* AOwner = nullptr);
};

/// The client for programs with a desktop; see TVqHTTPClientBase. Has a window for its dialog; the flag
/// IgnoreWrongUsage has no meaning for it and is never heeded.
class TVqWinINetClient : public TVqHTTPClientBase {
 public:
  /// `AOwner` may be empty.
  explicit TVqWinINetClient(TVqComponent* AOwner = nullptr);
  /// Shares a session with other clients; empty goes back to one of its own. Not owned.
  void SetSession(TVqWinINetSession* ASession) { ShareSession(ASession); }

  /// The window that a dialog belongs to; 0 shows none.
  TVqWindowHandle GetParentWnd() const noexcept { return FParentWnd; }
  void SetParentWnd(TVqWindowHandle AValue) noexcept { FParentWnd = AValue; }
  /// Called for each request that failed, with a body or without; log-on failures come as 12015.
  void SetOnWinINetError(TVqWinINetErrorEvent AValue) { FOnWinINetError = std::move(AValue); }
  /// The dialog that asks for credentials when the server has refused those that the client had; on the thread of the
  /// request, and only with a window.
  void SetOnCredentialsDialog(TVqCredentialsDialogEvent AValue) { FOnCredentialsDialog = std::move(AValue); }

 protected:
  /// A session of the client's own kind.
  TVqHTTPSessionBase* CreateOwnSession() override;
  /// The flags without IgnoreWrongUsage.
  TVqHTTPSecurityFlags EffectiveSecurityFlags() const override;
  /// Fires OnWinINetError and, for a refused log-on with a window, shows the dialog.
  bool AskAfterError(std::uint32_t AError) override;
  /// GetParentWnd.
  TVqWindowHandle WindowOfForms() const override { return FParentWnd; }

 private:
  TVqWindowHandle FParentWnd = 0;
  TVqWinINetErrorEvent FOnWinINetError;
  TVqCredentialsDialogEvent FOnCredentialsDialog;
};

}  // namespace velmore
