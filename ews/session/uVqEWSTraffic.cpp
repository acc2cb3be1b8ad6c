#include "ews/session/uVqEWSTraffic.h"

#include <string_view>

namespace velmore {
namespace {

constexpr std::string_view kMask = "****";
constexpr std::size_t kShortestSecret = 4;
constexpr auto kNone = std::string::npos;

/// The local name of the tag that begins at a position.
std::string_view NameAt(std::string_view text, std::size_t at) {
  const std::string_view name = text.substr(at, text.find_first_of(" \t\r\n>/", at) - at);
  return name.substr(name.find(':') + 1);
}

}  // namespace

std::string EwsMaskTexts(std::string AText, const std::vector<std::string>& ASecrets) {
  for (const std::string& secret : ASecrets) {
    if (secret.size() < kShortestSecret) continue;
    for (std::size_t at = 0; (at = AText.find(secret, at)) != kNone; at += kMask.size())
      AText.replace(at, secret.size(), kMask);
  }
  return AText;
}

std::string EwsOperationOf(const std::string& ABody) {
  for (std::size_t open = ABody.find('<'); open != kNone; open = ABody.find('<', open + 1)) {
    if (NameAt(ABody, open + 1) != "Body") continue;
    const std::size_t end = ABody.find('>', open);  // its attributes are declarations of namespaces
    const std::size_t method = end == kNone ? kNone : ABody.find_first_not_of(" \t\r\n", end + 1);
    if (method == kNone || ABody[method] != '<') return {};
    return std::string(NameAt(ABody, method + 1));
  }
  return {};
}

}  // namespace velmore
