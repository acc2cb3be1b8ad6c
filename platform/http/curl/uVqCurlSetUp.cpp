// What libcurl is told before a request.

#include <algorithm>

#include "platform/http/curl/uVqCurlEngine_p.h"
#include "platform/http/curl/uVqCurlProxy_p.h"

namespace velmore {

namespace {

long CurlSchemes(unsigned schemes) {
  unsigned long bits = CURLAUTH_NONE;
#define VELMORE_HTTP_SCHEME(name, bit, library, setting, takesName, readable) \
  if (schemes & scheme##name) bits |= CURLAUTH_##library;
  VELMORE_HTTP_SCHEMES(VELMORE_HTTP_SCHEME)
#undef VELMORE_HTTP_SCHEME
  return static_cast<long>(bits);
}

bool IsHeader(std::string_view line, std::string_view name) {
  return line.size() > name.size() && line[name.size()] == ':' && VqSameAscii(line.substr(0, name.size()), name);
}

}  // namespace

void TVqCurlList::Set(std::vector<std::string> lines) {
  if (lines == FLines) return;
  Clear();
  for (const std::string& line : lines) {
    curl_slist* const longer = curl_slist_append(FHead, line.c_str());
    if (!longer) throw EVqHTTPApiException("curl_slist_append", "There is not enough memory.", VqErrNotEnoughMemory);
    FHead = longer;
  }
  FLines = std::move(lines);
}

void TVqCurlList::Clear() noexcept {
  for (curl_slist* one = FHead; one; one = one->next) {
    if (IsHeader(one->data, "Authorization")) VqWipe(one->data, std::string_view(one->data).size());
  }
  for (std::string& line : FLines) {
    if (IsHeader(line, "Authorization")) VqWipe(line);
  }
  FLines.clear();
  curl_slist_free_all(std::exchange(FHead, nullptr));
}

// libcurl would take the address apart and put it together again for each request.
void TVqCurlEngine::SetUpAddress(const std::string& address) {
  if (FAddress && address == FAddressText) return;
  CURLU* const parsed = curl_url();
  if (!parsed || curl_url_set(parsed, CURLUPART_URL, address.c_str(), 0) != CURLUE_OK) {
    curl_url_cleanup(parsed);
    RaiseFailure(CURLE_URL_MALFORMAT);
  }
  // Set before the old one goes, which libcurl still points to.
  Set(CURLOPT_URL, static_cast<const char*>(nullptr));
  Set(CURLOPT_CURLU, parsed);
  curl_url_cleanup(std::exchange(FAddress, parsed));
  FAddressText = address;
}

void TVqCurlEngine::SetUp(const TLeg& leg) {
  const TVqEngineRequest& request = *FRequest;
  SetUpAddress(request.URL);
  Set(CURLOPT_HTTP_VERSION, static_cast<long>(request.HTTP11 ? CURL_HTTP_VERSION_1_1 : CURL_HTTP_VERSION_1_0));
  const std::string verb(request.Verb);
  const bool head = verb == "HEAD";
  Set(CURLOPT_NOBODY, head ? 1L : 0L);
  const bool post = request.HasBody || verb == "POST";
  if (post) {
    const std::string_view body = leg.BodyAtHome ? std::string_view() : request.Body;
    Set(CURLOPT_POST, 1L);
    Set(CURLOPT_POSTFIELDS, body.empty() ? "" : body.data());
    Set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body.size()));
  } else if (!head) {
    Set(CURLOPT_HTTPGET, 1L);
  }
  const bool usual = verb == (post ? "POST" : "GET") || head;
  Set(CURLOPT_CUSTOMREQUEST, usual ? static_cast<const char*>(nullptr) : verb.c_str());

  SetUpHeaders(leg, post);
  SetText(CURLOPT_USERAGENT, FUserAgent, request.Session.UserAgent);
  SetText(CURLOPT_COOKIE, FCookies, request.Cookies);
  const long connectLimit = request.TimeOuts.GetConnect() > 0 ? request.TimeOuts.GetConnect() : 0x7FFFFFFFL;
  Set(CURLOPT_CONNECTTIMEOUT_MS, connectLimit);
  SetUpRoute();
  SetUpCredentials();
  if (request.URL.starts_with("https:")) SetUpTls();
}

void TVqCurlEngine::SetUpHeaders(const TLeg& leg, bool post) {
  const TVqEngineRequest& request = *FRequest;
  std::vector<std::string> lines;
  lines.reserve(request.Headers.size() + 4);
  const auto has = [&](std::string_view name) {
    return std::any_of(lines.begin(), lines.end(), [&](const std::string& line) { return IsHeader(line, name); });
  };
  lines = request.Headers;
  const bool last = std::any_of(lines.begin(), lines.end(),
                                [](const std::string& line) { return VqSameAscii(line, "Connection: close"); });
  std::string authorization = leg.Authorization;
  if (request.Scheme == schemeBasic) {
    // Ours and not libcurl's, so that it can be overwritten.
    std::string plain = request.User + ":" + request.Password;
    authorization = "Basic " + VqEncodeToken(plain);
    VqWipe(plain);
  }
  if (!authorization.empty()) {
    FReply.CredentialsSent = true;
    lines.push_back("Authorization: " + authorization);
  }
  VqWipe(authorization);
  if (!has("Accept-Encoding")) lines.emplace_back("Accept-Encoding: gzip, deflate");
  if (post && !has("Content-Type")) lines.emplace_back("Content-Type:");
  // Waiting for "100 Continue" costs a second with every server that does not know it.
  if (post) lines.emplace_back("Expect:");
  FHeaders.Set(std::move(lines));
  Set(CURLOPT_HTTPHEADER, FHeaders.Head());
  Set(CURLOPT_FORBID_REUSE, last ? 1L : 0L);
}

void TVqCurlEngine::SetUpRoute() {
  using Kind = TVqHTTPRouteKind;
  const TVqEngineRequest& request = *FRequest;
  TVqHTTPProxyAddress proxy;
  std::string bypass;
  if (request.Route.Kind == Kind::proxy) proxy.Address = request.Route.Proxy;
  if (request.Route.Kind == Kind::system) bypass = VqEnvironmentProxy(request.URL, proxy);
  Set(CURLOPT_PROXY, proxy.Address.c_str());
  Set(CURLOPT_NOPROXY, bypass.c_str());
  const bool named = request.ProxySchemes != schemeNone;
  const bool environment = !named && !proxy.User.empty();
  FProxy = proxy.Address;
  FProxyKnown =
      named && !FProxy.empty() && FProxyTakesBasic == FProxy && (request.ProxySchemes & schemeBasic) != schemeNone;
  // What the environment gives is good for Basic, as with other programs.
  Set(CURLOPT_PROXYAUTH, named && !FProxyKnown ? CurlSchemes(request.ProxySchemes) : static_cast<long>(CURLAUTH_BASIC));
  Set(CURLOPT_PROXYUSERNAME, named ? request.ProxyUser.c_str() : environment ? proxy.User.c_str() : nullptr);
  Set(CURLOPT_PROXYPASSWORD, named ? request.ProxyPassword.c_str() : environment ? proxy.Password.c_str() : nullptr);
  VqWipe(proxy.Password);

  std::vector<std::string> places;
  for (const auto& [from, to] : request.Session.ConnectTo) places.push_back(from + ":" + to);
  FConnectTo.Set(std::move(places));
  Set(CURLOPT_CONNECT_TO, FConnectTo.Head());
}

void TVqCurlEngine::SetUpTls() {
  Set(CURLOPT_SSL_VERIFYPEER, 1L);
  Set(CURLOPT_SSL_VERIFYHOST, FRequest->SecurityFlags.Contains(TVqHTTPSecurityFlag::IgnoreInvalidCommonName) ? 0L : 2L);
  // The authorities are those of FTrust; libcurl shall not read the machine's list for each connection again.
  Set(CURLOPT_CAINFO, static_cast<const char*>(nullptr));
  Set(CURLOPT_CAPATH, static_cast<const char*>(nullptr));
  curl_ssl_ctx_callback const onContext = [](CURL*, void* context, void* self) {
    return static_cast<TVqCurlEngine*>(self)->FTrust.Apply(context) ? CURLE_OK : CURLE_SSL_CONNECT_ERROR;
  };
  if (curl_easy_setopt(FEasy, CURLOPT_SSL_CTX_FUNCTION, onContext) != CURLE_OK) {
    throw EVqHTTPApiException("curl_easy_setopt",
                              "This libcurl was not built with OpenSSL, without which certificates cannot be checked.",
                              VqErrSecureFailure);
  }
  Set(CURLOPT_SSL_CTX_DATA, this);
}

// libcurl's own part in proving who we are to the server: NTLM without a GSSAPI module for it, and Negotiate where the
// library was built without Kerberos.
void TVqCurlEngine::SetUpCredentials() {
  const TVqEngineRequest& request = *FRequest;
  const bool byCurl = request.Scheme != schemeNone && request.Scheme != schemeBasic && !UsesTokens(request.Scheme);
  Set(CURLOPT_HTTPAUTH, byCurl ? CurlSchemes(request.Scheme) : static_cast<long>(CURLAUTH_NONE));
  Set(CURLOPT_USERNAME, byCurl ? request.User.c_str() : nullptr);
  Set(CURLOPT_PASSWORD, byCurl ? request.Password.c_str() : nullptr);
  if (byCurl && request.Scheme == schemeNTLM) FReply.CredentialsSent = true;
  // Whether a ticket was found shows only in what goes out.
  const bool lookOut = (byCurl && request.Scheme == schemeNegotiate) || request.ProxySchemes != schemeNone;
  Set(CURLOPT_VERBOSE, lookOut ? 1L : 0L);
}

void TVqCurlEngine::SetUpCallbacks() {
  curl_write_callback const onHeader = [](char* data, std::size_t size, std::size_t count, void* engine) {
    return static_cast<TVqCurlEngine*>(engine)->TakeHeader({data, size * count});
  };
  curl_write_callback const onBody = [](char* data, std::size_t size, std::size_t count, void* engine) {
    return static_cast<TVqCurlEngine*>(engine)->TakeBody({data, size * count});
  };
  curl_prereq_callback const onPrerequisite = [](void* engine, char*, char*, int, int port) {
    return static_cast<TVqCurlEngine*>(engine)->BeforeSending(port);
  };
  curl_opensocket_callback const onOpen = [](void* engine, curlsocktype, curl_sockaddr* address) {
    return static_cast<TVqCurlEngine*>(engine)->OpenSocket(*address);
  };
  curl_closesocket_callback const onClose = [](void* engine, curl_socket_t socket) {
    return static_cast<TVqCurlEngine*>(engine)->BeforeClosing(socket);
  };
  curl_debug_callback const onDebug = [](CURL*, curl_infotype type, char* data, std::size_t size, void* engine) {
    if (type == CURLINFO_HEADER_OUT) static_cast<TVqCurlEngine*>(engine)->LookForCredentials({data, size});
    return 0;
  };
  Set(CURLOPT_ERRORBUFFER, FErrorText);
  Set(CURLOPT_HEADERFUNCTION, onHeader);
  Set(CURLOPT_HEADERDATA, this);
  Set(CURLOPT_WRITEFUNCTION, onBody);
  Set(CURLOPT_WRITEDATA, this);
  Set(CURLOPT_PREREQFUNCTION, onPrerequisite);
  Set(CURLOPT_PREREQDATA, this);
  Set(CURLOPT_OPENSOCKETFUNCTION, onOpen);
  Set(CURLOPT_OPENSOCKETDATA, this);
  Set(CURLOPT_CLOSESOCKETFUNCTION, onClose);
  Set(CURLOPT_CLOSESOCKETDATA, this);
  Set(CURLOPT_DEBUGFUNCTION, onDebug);
  Set(CURLOPT_DEBUGDATA, this);
}

}  // namespace velmore
