#include "platform/http/uVqHTTPTypes.h"

#include <algorithm>
#include <array>

namespace velmore {
namespace {

bool IsOneOf(std::uint32_t number, std::initializer_list<std::uint32_t> numbers) noexcept {
  return std::ranges::find(numbers, number) != numbers.end();
}

constexpr std::uint32_t kStatusRequestTimeOut = 408;
constexpr std::uint32_t kStatusTooManyRequests = 429;
constexpr std::uint32_t kStatusNotImplemented = 501;
constexpr std::uint32_t kStatusBadGateway = 502;
constexpr std::uint32_t kStatusServiceUnavailable = 503;
constexpr std::uint32_t kStatusGatewayTimeOut = 504;

}  // namespace

bool VqHTTPLeavesOpen(std::uint32_t ANumber) noexcept {
  // A status of redirection or of refusal says that nothing was done, and so does a service that is not there. Any
  // other one without a message of the service comes from something that may stand behind the service, too.
  if (VqHTTPStatusOf(ANumber) != 0)
    return ANumber / 100 != 3 && ANumber / 100 != 4 &&
           !IsOneOf(ANumber, {kStatusNotImplemented, kStatusServiceUnavailable});
  // What is found before a request goes out. A time-out is in doubt: it may have been that of the connection.
  return !IsOneOf(ANumber, {VqErrNotSupported, VqErrInvalidParameter, VqErrInvalidUrl, VqErrUnrecognizedScheme,
                            VqErrNameNotResolved, VqErrInvalidOption, VqErrCannotConnect, VqErrRedirectFailed}) &&
         VqHTTPLeavesSessionUsable(ANumber);
}

bool VqHTTPLeavesSessionUsable(std::uint32_t ANumber) noexcept {
  static constexpr std::initializer_list<std::uint32_t> kWrongForAll = {
      // The address is not that of a service, or the service wants nothing to do with this caller.
      401, 403, 404, 405, 407, 410,
      // The engine, the address.
      VqErrNotSupported, VqErrInvalidUrl, VqErrUnrecognizedScheme,
      // Who logs on.
      VqErrIncorrectUserName, VqErrIncorrectPassword, VqErrLoginFailure, VqErrClientCertificateNeeded,
      // Whom it is that answers.
      VqErrCertDateInvalid, VqErrCertCommonNameInvalid, VqErrInvalidCA, VqErrRevocationCheckFailed, VqErrSecureChannel,
      VqErrInvalidCertificate, VqErrCertRevoked, VqErrSecureFailure, VqErrCertWrongUsage};
  return !IsOneOf(ANumber, kWrongForAll);
}

bool VqHTTPMayPass(std::uint32_t ANumber) noexcept {
  return IsOneOf(ANumber, {kStatusRequestTimeOut, kStatusTooManyRequests, kStatusBadGateway, kStatusServiceUnavailable,
                           kStatusGatewayTimeOut, VqErrTimeOut, VqErrNameNotResolved, VqErrCannotConnect,
                           VqErrConnectionAborted, VqErrConnectionReset});
}

std::string_view VqHTTPVerbText(TVqHTTPVerb AVerb) noexcept {
  static constexpr std::array<std::string_view, 10> Texts = {"",     "OPTIONS", "TRACE", "CONNECT", "GET",
                                                             "HEAD", "POST",    "PUT",   "DELETE",  "PATCH"};
  const auto index = static_cast<std::size_t>(AVerb);
  return index < Texts.size() ? Texts[index] : std::string_view();
}

string VqHTTPAccessTypeText(TVqHTTPAccessType AValue) {
  switch (AValue) {
    case TVqHTTPAccessType::preConfig:
      return "preConfig";
    case TVqHTTPAccessType::direct:
      return "direct";
    case TVqHTTPAccessType::proxy:
      return "proxy";
  }
  return {};
}

bool VqTryHTTPAccessType(const string& AText, TVqHTTPAccessType& AValue) {
  for (const auto value : {TVqHTTPAccessType::preConfig, TVqHTTPAccessType::direct, TVqHTTPAccessType::proxy}) {
    if (!SameText(AText, VqHTTPAccessTypeText(value))) continue;
    AValue = value;
    return true;
  }
  return false;
}

string TVqCredentials::GetLogonName() const {
  if (FDomain.empty() || FUserName.empty() || FUserName.Contains(u"\\") || FUserName.Contains(u"@")) return FUserName;
  return FDomain + u"\\" + FUserName;
}

}  // namespace velmore
