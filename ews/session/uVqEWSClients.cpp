#include "ews/session/uVqEWSClients_p.h"

#include "platform/http/uVqWinHTTP.h"

namespace velmore {
namespace {

/// What both kinds do with classes of their own.
template <typename TSession, typename TClient>
class TClientKindOf : public TVqEWSClientKind {
 public:
  std::unique_ptr<TVqHTTPSessionBase> NewSession(TVqComponent& AOwner) const override {
    return std::make_unique<TSession>(&AOwner);
  }
  std::unique_ptr<TVqHTTPClientBase> NewClient(TVqComponent& AOwner) const override {
    return std::make_unique<TClient>(&AOwner);
  }
  void Share(TVqHTTPClientBase& AClient, TVqHTTPSessionBase& ASession) const override {
    static_cast<TClient&>(AClient).SetSession(static_cast<TSession*>(&ASession));
  }

 protected:
  constexpr TClientKindOf() noexcept = default;
  ~TClientKindOf() = default;
};

class TServiceKind final : public TClientKindOf<TVqWinHTTPSession, TVqWinHTTPClient> {
 public:
  constexpr TServiceKind() noexcept = default;
  TVqHTTPSecurityFlags Heeded(TVqHTTPSecurityFlags AFlags) const override { return AFlags; }
  void SetOnError(TVqHTTPClientBase&, TVqWinINetErrorEvent) const override {}
  void SetParentWnd(TVqHTTPClientBase&, TVqWindowHandle) const override {}
};

class TDesktopKind final : public TClientKindOf<TVqWinINetSession, TVqWinINetClient> {
 public:
  constexpr TDesktopKind() noexcept = default;
  /// It knows nothing of the wrong-usage check; the session's property keeps the flag.
  TVqHTTPSecurityFlags Heeded(TVqHTTPSecurityFlags AFlags) const override {
    return AFlags - TVqHTTPSecurityFlag::IgnoreWrongUsage;
  }
  void SetOnError(TVqHTTPClientBase& AClient, TVqWinINetErrorEvent AHandler) const override {
    static_cast<TVqWinINetClient&>(AClient).SetOnWinINetError(std::move(AHandler));
  }
  void SetParentWnd(TVqHTTPClientBase& AClient, TVqWindowHandle AWindow) const override {
    static_cast<TVqWinINetClient&>(AClient).SetParentWnd(AWindow);
  }
};

}  // namespace

const TVqEWSClientKind& TVqEWSClientKind::Of(bool ANTService) noexcept {
  static constexpr TServiceKind service;
  static constexpr TDesktopKind desktop;
  if (ANTService) return service;
  return desktop;
}

}  // namespace velmore
