#include "platform/http/curl/uVqCurlProxy_p.h"

#include <cstdlib>

namespace velmore {

namespace {

const char* FirstSet(std::initializer_list<const char*> names, std::string& name) {
  for (const char* one : names) {
    name = one;
    if (const char* const value = std::getenv(one); value && *value) return value;
  }
  return "";
}

}  // namespace

std::string VqEnvironmentProxy(const std::string& url, TVqHTTPProxyAddress& proxy) {
  proxy = {};
  std::string name;
  std::string_view value =
      url.starts_with("https:") ? FirstSet({"https_proxy", "HTTPS_PROXY"}, name) : FirstSet({"http_proxy"}, name);
  if (value.empty()) value = FirstSet({"all_proxy", "ALL_PROXY"}, name);
  if (value.empty()) return {};
  if (!VqReadProxyAddress(value, proxy)) {
    proxy = {};
    throw EVqHTTPApiException("getenv",
                              Format("The environment variable \"%s\" holds no address of a proxy.", {string(name)}),
                              VqErrInvalidUrl);
  }
  return FirstSet({"no_proxy", "NO_PROXY"}, name);
}

}  // namespace velmore
