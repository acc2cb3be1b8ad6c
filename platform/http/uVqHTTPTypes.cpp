#include "platform/http/uVqHTTPTypes.h"

#include <array>

namespace velmore {

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
