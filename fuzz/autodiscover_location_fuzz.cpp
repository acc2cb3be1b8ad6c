// The "Location" of a redirect: what may be asked is an https address that can be taken apart, and no path leads off
// the host that it was found at. The first line is where the redirect was found.

#include <cstdlib>

#include "ews/session/uVqEWSAutodiscoverAnswer_p.h"

namespace {

void Require(bool condition) {
  if (!condition) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  const std::size_t line = std::min(input.find('\n'), input.size());
  const velmore::string from("https://" + std::string(input.substr(0, line)) + "/autodiscover/autodiscover.xml");
  const velmore::string location(input.substr(std::min(line + 1, input.size())));
  const velmore::string target = velmore::EwsRedirectTarget(from, location);
  const velmore::TVqURLData parts = velmore::VqDecodeURL(target), start = velmore::VqDecodeURL(from);
  velmore::EwsIsHomePage(parts);
  if (velmore::EwsWhyNoTarget(target).empty()) {
    Require(parts.IsValid && parts.IsHttps());
    Require(!parts.Host.empty());
  }
  const bool path = location.StartsWith("/") && !location.StartsWith("//");
  if (path && start.IsValid && parts.IsValid) Require(parts.Host == start.Host && parts.Port == start.Port);
  if (!path) Require(target == location);
  return 0;
}
