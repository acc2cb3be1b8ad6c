#include "platform/http/uVqWinINet.h"

namespace velmore {

TVqWinINetSession::TVqWinINetSession(TVqComponent* AOwner) : TVqHTTPSessionBase(AOwner) {}

TVqWinINetClient::TVqWinINetClient(TVqComponent* AOwner) : TVqHTTPClientBase(AOwner, false) {}

TVqHTTPSessionBase* TVqWinINetClient::CreateOwnSession() {
  return new TVqWinINetSession(this);
}

TVqHTTPSecurityFlags TVqWinINetClient::EffectiveSecurityFlags() const {
  return GetSecurityFlags() - TVqHTTPSecurityFlag::IgnoreWrongUsage;
}

bool TVqWinINetClient::AskAfterError(std::uint32_t AError) {
  TVqWindowHandle window = FParentWnd;
  bool handled = false;
  if (const TVqWinINetErrorEvent event = FOnWinINetError) event(*this, AError, window, handled);
  const bool logon =
      AError == VqErrIncorrectUserName || AError == VqErrIncorrectPassword || AError == VqErrLoginFailure;
  const TVqCredentialsDialogEvent dialog = FOnCredentialsDialog;
  if (!logon || handled || window == 0 || !dialog) return false;
  return dialog(*this, window, GetCredentials());
}

}  // namespace velmore
