// The calls of WinHTTP.

#include "platform/http/win/uVqWinEngine_p.h"
// After windows.h, which it needs.
#include <winhttp.h>

#include "platform/http/win/uVqWinErrors_p.h"

namespace velmore {

namespace {

class TVqWinHTTPEngine final : public TVqWinEngine {
 public:
  TVqWinHTTPEngine() noexcept : TVqWinEngine("WinHttpReceiveResponse", &WinHttpCloseHandle) {}

 private:
  void OpenSession() override;
  HINTERNET OpenConnect(const std::wstring& host, std::uint16_t port) override {
    return WinHttpConnect(FSession.Get(), host.c_str(), port, 0);
  }
  HINTERNET OpenRequest(const std::wstring& verb, const std::wstring& target, DWORD_PTR context) override;
  void SetUp(bool close) override;
  bool AddHeaders(const std::wstring& lines) override {
    return WinHttpAddRequestHeaders(Request(), lines.c_str(), static_cast<DWORD>(-1), WINHTTP_ADDREQ_FLAG_ADD) != 0;
  }
  void Send() override;
  std::wstring Head() override;
  void AskAvailable() override {
    if (!WinHttpQueryDataAvailable(Request(), nullptr)) RaiseLast("WinHttpQueryDataAvailable");
  }
  void Read(DWORD count) override {
    if (!WinHttpReadData(Request(), FCall->Room.data(), count, nullptr)) RaiseLast("WinHttpReadData");
  }
  std::uint32_t CertificateNumber(DWORD error) override {
    return error == ERROR_WINHTTP_SECURE_FAILURE && FCall ? VqWinCertificateNumber(FCall->SecureFailure()) : 0U;
  }

  void SetUpTls();
  void SetUpCredentials(DWORD target, unsigned scheme, const std::string& user, const std::string& password);
  void SendOnce();
  void SetOption(HINTERNET handle, DWORD option, DWORD value, const char* name) {
    if (!WinHttpSetOption(handle, option, &value, sizeof value)) RaiseLast(name);
  }
};

std::uint32_t Judgement(const TVqWinCall& call, HINTERNET handle) {
  if (!call.Trust) return 0;
  PCCERT_CONTEXT certificate = nullptr;
  DWORD size = sizeof certificate;
  if (!WinHttpQueryOption(handle, WINHTTP_OPTION_SERVER_CERT_CONTEXT, &certificate, &size) || !certificate)
    return VqErrSecureFailure;
  const std::uint32_t number = call.Trust->Judge(certificate, certificate->hCertStore, call.Host);
  CertFreeCertificateContext(certificate);
  return number;
}

/// Any thread; the callback of all requests of a session.
void CALLBACK OnStatus(HINTERNET handle, DWORD_PTR context, DWORD status, void* information, DWORD length) {
  using TStep = TVqWinCall::TStep;
  // Kept here: reporting may close the handle.
  const std::shared_ptr<TVqWinCall> call = TVqWinCall::Of(context);
  if (!call) return;
  switch (status) {
    case WINHTTP_CALLBACK_STATUS_HANDLE_CLOSING:
      return TVqWinCall::Forget(context);  // nothing is reported behind this
    case WINHTTP_CALLBACK_STATUS_SENDING_REQUEST:
      // The one moment to look at who is at the connection's other end.
      return call->Connected(Judgement(*call, handle));
    case WINHTTP_CALLBACK_STATUS_SECURE_FAILURE:
      return call->AddSecureFailure(*static_cast<DWORD*>(information));
    case WINHTTP_CALLBACK_STATUS_REQUEST_SENT:
      return call->Wake();
    case WINHTTP_CALLBACK_STATUS_SENDREQUEST_COMPLETE:
      return call->Reach(TStep::sent);
    case WINHTTP_CALLBACK_STATUS_WRITE_COMPLETE:
      return call->Reach(TStep::written, *static_cast<DWORD*>(information));
    case WINHTTP_CALLBACK_STATUS_HEADERS_AVAILABLE:
      return call->Reach(TStep::headers);
    case WINHTTP_CALLBACK_STATUS_DATA_AVAILABLE:
      return call->Reach(TStep::available, *static_cast<DWORD*>(information));
    case WINHTTP_CALLBACK_STATUS_READ_COMPLETE:
      return call->Reach(TStep::read, length);
    case WINHTTP_CALLBACK_STATUS_REQUEST_ERROR:
      return call->Fail(static_cast<WINHTTP_ASYNC_RESULT*>(information)->dwError);
    default:
      return;
  }
}

void TVqWinHTTPEngine::OpenSession() {
  using Kind = TVqHTTPRouteKind;
  const TVqHTTPRoute& route = FRequest->Route;
  const std::wstring agent = VqWide(FRequest->Session.UserAgent), proxy = VqWide(route.Proxy);
  const DWORD access = route.Kind == Kind::system   ? WINHTTP_ACCESS_TYPE_AUTOMATIC_PROXY
                       : route.Kind == Kind::direct ? WINHTTP_ACCESS_TYPE_NO_PROXY
                                                    : WINHTTP_ACCESS_TYPE_NAMED_PROXY;
  const auto open = [&](DWORD type) {
    FSession.Reset(WinHttpOpen(agent.empty() ? nullptr : agent.c_str(), type,
                               proxy.empty() ? WINHTTP_NO_PROXY_NAME : proxy.c_str(), WINHTTP_NO_PROXY_BYPASS,
                               WINHTTP_FLAG_ASYNC));
  };
  open(access);
  // Windows before 8.1 knows the machine's setting alone.
  if (!FSession.Get() && access == WINHTTP_ACCESS_TYPE_AUTOMATIC_PROXY) open(WINHTTP_ACCESS_TYPE_DEFAULT_PROXY);
  if (!FSession.Get()) RaiseLast("WinHttpOpen");
  if (WinHttpSetStatusCallback(FSession.Get(), &OnStatus, WINHTTP_CALLBACK_FLAG_ALL_NOTIFICATIONS, 0) ==
      WINHTTP_INVALID_STATUS_CALLBACK) {
    RaiseLast("WinHttpSetStatusCallback");
  }
  // Limits are kept above, in each phase; WinHTTP's own would cut into them.
  WinHttpSetTimeouts(FSession.Get(), 0, 0, 0, 0);
}

HINTERNET TVqWinHTTPEngine::OpenRequest(const std::wstring& verb, const std::wstring& target, DWORD_PTR context) {
  HINTERNET const handle = WinHttpOpenRequest(
      FConnect.Get(), verb.c_str(), target.c_str(), FRequest->HTTP11 ? nullptr : L"HTTP/1.0", WINHTTP_NO_REFERER,
      WINHTTP_DEFAULT_ACCEPT_TYPES, WINHTTP_FLAG_ESCAPE_DISABLE | (FUrl.IsHttps() ? WINHTTP_FLAG_SECURE : 0U));
  if (handle && !WinHttpSetOption(handle, WINHTTP_OPTION_CONTEXT_VALUE, &context, sizeof context)) {
    WinHttpCloseHandle(handle);
    return nullptr;
  }
  return handle;
}

void TVqWinHTTPEngine::SetUp(bool close) {
  const TVqEngineRequest& request = *FRequest;
  HINTERNET const handle = Request();
  // Redirects, cookies and challenges are answered above, the same with every engine.
  SetOption(handle, WINHTTP_OPTION_DISABLE_FEATURE,
            WINHTTP_DISABLE_REDIRECTS | WINHTTP_DISABLE_COOKIES | (close ? WINHTTP_DISABLE_KEEP_ALIVE : 0U),
            "WINHTTP_OPTION_DISABLE_FEATURE");
  // Nobody's credentials but those that were given: the logged-on user's only where no name is set.
  const bool own = request.Scheme == schemeNegotiate && request.User.empty();
  SetOption(handle, WINHTTP_OPTION_AUTOLOGON_POLICY,
            own ? WINHTTP_AUTOLOGON_SECURITY_LEVEL_LOW : WINHTTP_AUTOLOGON_SECURITY_LEVEL_HIGH,
            "WINHTTP_OPTION_AUTOLOGON_POLICY");
  DWORD mostHeaders = request.Session.Limits.HeaderBytes;
  if (mostHeaders != 0)
    WinHttpSetOption(handle, WINHTTP_OPTION_MAX_RESPONSE_HEADER_SIZE, &mostHeaders, sizeof mostHeaders);
  if (FUrl.IsHttps()) SetUpTls();
  if (request.Scheme == schemeNTLM || request.Scheme == schemeNegotiate)
    SetUpCredentials(WINHTTP_AUTH_TARGET_SERVER, request.Scheme, request.User, request.Password);
}

void TVqWinHTTPEngine::SetUpTls() {
  const TVqEngineRequest& request = *FRequest;
  HINTERNET const handle = Request();
  constexpr DWORD since[] = {
      WINHTTP_FLAG_SECURE_PROTOCOL_TLS1 | WINHTTP_FLAG_SECURE_PROTOCOL_TLS1_1 | WINHTTP_FLAG_SECURE_PROTOCOL_TLS1_2,
      WINHTTP_FLAG_SECURE_PROTOCOL_TLS1_1 | WINHTTP_FLAG_SECURE_PROTOCOL_TLS1_2, WINHTTP_FLAG_SECURE_PROTOCOL_TLS1_2,
      0};
  constexpr DWORD tls13 = 0x00002000;
  const DWORD versions = since[static_cast<std::size_t>(request.Session.LowestTls)];
  // Systems before the newest version of TLS refuse its bit.
  DWORD wanted = versions | tls13;
  if (!WinHttpSetOption(FSession.Get(), WINHTTP_OPTION_SECURE_PROTOCOLS, &wanted, sizeof wanted)) {
    SetOption(FSession.Get(), WINHTTP_OPTION_SECURE_PROTOCOLS, versions, "WINHTTP_OPTION_SECURE_PROTOCOLS");
  }
  constexpr DWORD all = SECURITY_FLAG_IGNORE_CERT_DATE_INVALID | SECURITY_FLAG_IGNORE_UNKNOWN_CA |
                        SECURITY_FLAG_IGNORE_CERT_CN_INVALID | SECURITY_FLAG_IGNORE_CERT_WRONG_USAGE;
  const auto lifted = [&](TVqHTTPSecurityFlag flag, DWORD bit) {
    return request.SecurityFlags.Contains(flag) ? bit : 0UL;
  };
  // Where files decide, each connection is judged by them before a request goes out on it.
  SetOption(handle, WINHTTP_OPTION_SECURITY_FLAGS,
            FTrust->IsOpen()
                ? all
                : lifted(TVqHTTPSecurityFlag::IgnoreInvalidCertDate, SECURITY_FLAG_IGNORE_CERT_DATE_INVALID) |
                      lifted(TVqHTTPSecurityFlag::IgnoreUnknownCA, SECURITY_FLAG_IGNORE_UNKNOWN_CA) |
                      lifted(TVqHTTPSecurityFlag::IgnoreInvalidCommonName, SECURITY_FLAG_IGNORE_CERT_CN_INVALID) |
                      lifted(TVqHTTPSecurityFlag::IgnoreWrongUsage, SECURITY_FLAG_IGNORE_CERT_WRONG_USAGE),
            "WINHTTP_OPTION_SECURITY_FLAGS");
  if (!FTrust->IsOpen() && !request.SecurityFlags.Contains(TVqHTTPSecurityFlag::IgnoreRevocation))
    SetOption(handle, WINHTTP_OPTION_ENABLE_FEATURE, WINHTTP_ENABLE_SSL_REVOCATION, "WINHTTP_OPTION_ENABLE_FEATURE");
  // Many servers ask for a certificate and do not insist.
  WinHttpSetOption(handle, WINHTTP_OPTION_CLIENT_CERT_CONTEXT, WINHTTP_NO_CLIENT_CERT_CONTEXT, 0);
}

void TVqWinHTTPEngine::SetUpCredentials(DWORD target, unsigned scheme, const std::string& user,
                                        const std::string& password) {
  const DWORD native = scheme == schemeBasic  ? WINHTTP_AUTH_SCHEME_BASIC
                       : scheme == schemeNTLM ? WINHTTP_AUTH_SCHEME_NTLM
                                              : WINHTTP_AUTH_SCHEME_NEGOTIATE;
  const std::wstring name = VqWide(user);
  std::wstring secret = VqWide(password);
  const BOOL set = WinHttpSetCredentials(Request(), target, native, user.empty() ? nullptr : name.c_str(),
                                         user.empty() ? nullptr : secret.c_str(), nullptr);
  VqWipeWide(secret);
  if (!set) RaiseLast("WinHttpSetCredentials");
}

void TVqWinHTTPEngine::SendOnce() {
  const auto total = static_cast<DWORD>(FRequest->Body.size());
  // Steps of a handshake that WinHTTP repeats by itself need the body at hand; otherwise it goes out piece by piece.
  const bool whole =
      FRequest->Scheme == schemeNTLM || FRequest->Scheme == schemeNegotiate || !FRequest->ProxyUser.empty();
  std::string& piece = FCall->Piece;
  if (whole) piece = FRequest->Body;
  if (!WinHttpSendRequest(Request(), WINHTTP_NO_ADDITIONAL_HEADERS, 0,
                          whole && total > 0 ? piece.data() : WINHTTP_NO_REQUEST_DATA, whole ? total : 0, total, 0)) {
    RaiseLast("WinHttpSendRequest");
  }
  Await(TStep::sent);
  if (!whole) {
    WritePieces([this](const std::string& bytes) {
      if (!WinHttpWriteData(Request(), bytes.data(), static_cast<DWORD>(bytes.size()), nullptr))
        RaiseLast("WinHttpWriteData");
    });
  }
  Enter(TPhase::receiving);
  if (!WinHttpReceiveResponse(Request(), nullptr)) RaiseLast("WinHttpReceiveResponse");
  Await(TStep::headers);
  TakeHead();
}

void TVqWinHTTPEngine::Send() {
  const TVqEngineRequest& request = *FRequest;
  SendOnce();
  DWORD offered = 0, first = 0, target = 0;
  const bool byHandshake = request.Scheme == schemeNTLM || request.Scheme == schemeNegotiate;
  const bool byProxy = FReply.Status == 407 && !request.ProxyUser.empty();
  if (!byProxy && !(FReply.Status == 401 && byHandshake)) return;
  if (!WinHttpQueryAuthSchemes(Request(), &offered, &first, &target)) return;
  if (byProxy && target == WINHTTP_AUTH_TARGET_PROXY) {
    const unsigned scheme = offered & WINHTTP_AUTH_SCHEME_NEGOTIATE ? schemeNegotiate
                            : offered & WINHTTP_AUTH_SCHEME_NTLM    ? schemeNTLM
                                                                    : schemeBasic;
    SetUpCredentials(target, scheme, request.ProxyUser, request.ProxyPassword);
    FReply.ProxyCredentialsSent = true;
  } else if (!byProxy && target == WINHTTP_AUTH_TARGET_SERVER) {
    SetUpCredentials(target, request.Scheme, request.User, request.Password);
  } else {
    return;
  }
  Enter(TPhase::connecting);
  SendOnce();
}

std::wstring TVqWinHTTPEngine::Head() {
  DWORD size = 0;
  WinHttpQueryHeaders(Request(), WINHTTP_QUERY_RAW_HEADERS_CRLF, WINHTTP_HEADER_NAME_BY_INDEX, nullptr, &size,
                      WINHTTP_NO_HEADER_INDEX);
  std::wstring raw(size / sizeof(wchar_t) + 1, L'\0');
  size = static_cast<DWORD>(raw.size() * sizeof(wchar_t));
  if (!WinHttpQueryHeaders(Request(), WINHTTP_QUERY_RAW_HEADERS_CRLF, WINHTTP_HEADER_NAME_BY_INDEX, raw.data(), &size,
                           WINHTTP_NO_HEADER_INDEX)) {
    RaiseLast("WinHttpQueryHeaders");
  }
  raw.resize(size / sizeof(wchar_t));
  return raw;
}

}  // namespace

std::shared_ptr<TVqHTTPEngine> VqCreateWinHTTPEngine() {
  return std::make_shared<TVqWinHTTPEngine>();
}

}  // namespace velmore
