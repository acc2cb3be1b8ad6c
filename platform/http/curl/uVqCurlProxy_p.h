#pragma once

// The proxy that the environment names.

#include <string>

#include "platform/http/uVqHTTPEngine_p.h"

#pragma GCC visibility push(hidden)

namespace velmore {

/// Reads http_proxy (in small letters only: a web server makes HTTP_PROXY of a visitor's header), https_proxy,
/// all_proxy and gives the list of no_proxy. `proxy` stays empty where there is none. Raises EVqHTTPApiException 12005
/// for one that is no address; the text names the variable and not what stands in it.
std::string VqEnvironmentProxy(const std::string& url, TVqHTTPProxyAddress& proxy);

}  // namespace velmore

#pragma GCC visibility pop
