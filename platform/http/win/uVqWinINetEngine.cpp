// The calls of WinINet, the stack of programs with a desktop: proxies, versions of TLS and zones are those of the
// user's own settings. It keeps connections, and what was once allowed of a certificate, for the whole process; what
// follows from that stands at the places below.

#include "platform/http/win/uVqWinEngine_p.h"
// After windows.h, which it needs.
#include <wininet.h>

#include "platform/http/win/uVqWinErrors_p.h"

namespace velmore {

namespace {

constexpr const char* kName = "HttpSendRequest";
/// Connections to one server at a time: each event stream holds one, and WinINet lets a process have six.
constexpr DWORD kMostConnections = 128;

class TVqWinINetEngine final : public TVqWinEngine {
 public:
  TVqWinINetEngine() noexcept : TVqWinEngine(kName, &InternetCloseHandle) {}

 private:
  void OpenSession() override;
  HINTERNET OpenConnect(const std::wstring& host, std::uint16_t port) override {
    return InternetConnectW(FSession.Get(), host.c_str(), port, nullptr, nullptr, INTERNET_SERVICE_HTTP, 0, 0);
  }
  HINTERNET OpenRequest(const std::wstring& verb, const std::wstring& target, DWORD_PTR context) override;
  void SetUp(bool close) override;
  bool AddHeaders(const std::wstring& lines) override {
    return HttpAddRequestHeadersW(Request(), lines.c_str(), static_cast<DWORD>(-1), HTTP_ADDREQ_FLAG_ADD) != 0;
  }
  void Send() override;
  std::wstring Head() override;
  void AskAvailable() override;
  void Read(DWORD count) override;
  std::uint32_t CertificateNumber(DWORD error) override;
  bool JudgesAlways() const noexcept override { return true; }

  void SendHead();
  void SendPieces();
  /// Begins a step, which WinINet takes at once or in the background; to be awaited.
  template <typename TDo>
  void Begin(TStep step, const char* name, TDo start);
  void Wish(HINTERNET handle, DWORD option, DWORD value) noexcept {
    InternetSetOptionW(handle, option, &value, sizeof value);
  }
};

/// Judges by the chain that the server showed.
std::uint32_t Judgement(const TVqWinCall& call, HINTERNET handle) {
  if (!call.Trust) return 0;
  PCCERT_CHAIN_CONTEXT chain = nullptr;
  DWORD size = sizeof chain;
  if (!InternetQueryOptionW(handle, INTERNET_OPTION_SERVER_CERT_CHAIN_CONTEXT, &chain, &size) || !chain)
    return VqErrSecureFailure;
  std::uint32_t number = VqErrSecureFailure;
  HCERTSTORE const others = CertOpenStore(CERT_STORE_PROV_MEMORY, 0, 0, CERT_STORE_CREATE_NEW_FLAG, nullptr);
  if (others && chain->cChain > 0 && chain->rgpChain[0]->cElement > 0) {
    const CERT_SIMPLE_CHAIN& shown = *chain->rgpChain[0];
    for (DWORD i = 1; i < shown.cElement; ++i)
      CertAddCertificateContextToStore(others, shown.rgpElement[i]->pCertContext, CERT_STORE_ADD_ALWAYS, nullptr);
    number = call.Trust->Judge(shown.rgpElement[0]->pCertContext, others, call.Host);
  }
  if (others) CertCloseStore(others, 0);
  CertFreeCertificateChain(chain);
  return number;
}

/// Any thread; the callback of all requests of a session.
void CALLBACK OnStatus(HINTERNET handle, DWORD_PTR context, DWORD status, void* information, DWORD) {
  // Kept here: reporting may close the handle.
  const std::shared_ptr<TVqWinCall> call = TVqWinCall::Of(context);
  if (!call) return;
  switch (status) {
    case INTERNET_STATUS_HANDLE_CLOSING:
      // A connection's or session's handle has no number; nothing is reported behind this.
      return TVqWinCall::Forget(context);
    case INTERNET_STATUS_CONNECTING_TO_SERVER:
      return call->Connecting();
    case INTERNET_STATUS_SENDING_REQUEST:
      // The one moment to look at who is at the connection's other end. With each request, a kept connection's too: it
      // may have been made for somebody who allowed more.
      if (!call->IsConnected()) call->Connected(Judgement(*call, handle));
      return;
    case INTERNET_STATUS_REQUEST_SENT:
      return call->Wake();
    case INTERNET_STATUS_RECEIVING_RESPONSE:
      return call->Sent();
    case INTERNET_STATUS_REQUEST_COMPLETE: {
      const auto& result = *static_cast<INTERNET_ASYNC_RESULT*>(information);
      if (result.dwResult != 0 || result.dwError == ERROR_SUCCESS) return call->ReachExpected();
      return call->Fail(result.dwError);
    }
    default:
      return;
  }
}

void TVqWinINetEngine::OpenSession() {
  using Kind = TVqHTTPRouteKind;
  const TVqHTTPRoute& route = FRequest->Route;
  if (FRequest->Session.LowestTls > TVqHTTPTlsVersion::tls12) {
    throw EVqHTTPApiException("InternetOpen",
                              "WinINet takes the versions of TLS from the settings of Windows: one above 1.2 can be "
                              "asked for with NTService alone.",
                              VqErrNotSupported);
  }
  const std::wstring agent = VqWide(FRequest->Session.UserAgent);
  std::wstring proxy = VqWide(route.Proxy);
  if (const std::size_t mark = proxy.find(L"://"); mark != std::wstring::npos && proxy.starts_with(L"socks"))
    proxy = L"socks=" + proxy.substr(mark + 3);
  const DWORD access = route.Kind == Kind::system   ? INTERNET_OPEN_TYPE_PRECONFIG
                       : route.Kind == Kind::direct ? INTERNET_OPEN_TYPE_DIRECT
                                                    : INTERNET_OPEN_TYPE_PROXY;
  // Who passes a proxy by was decided above: WinINet is not to do so for this machine by itself.
  FSession.Reset(InternetOpenW(agent.c_str(), access, proxy.empty() ? nullptr : proxy.c_str(),
                               proxy.empty() ? nullptr : L"<-loopback>", INTERNET_FLAG_ASYNC));
  if (!FSession.Get()) RaiseLast("InternetOpen");
  if (InternetSetStatusCallbackW(FSession.Get(), &OnStatus) == INTERNET_INVALID_STATUS_CALLBACK)
    RaiseLast("InternetSetStatusCallback");
  // Limits are kept above, in each phase; WinINet's own would cut into them.
  for (const DWORD option :
       {INTERNET_OPTION_CONNECT_TIMEOUT, INTERNET_OPTION_SEND_TIMEOUT, INTERNET_OPTION_RECEIVE_TIMEOUT,
        INTERNET_OPTION_DATA_SEND_TIMEOUT, INTERNET_OPTION_DATA_RECEIVE_TIMEOUT}) {
    Wish(FSession.Get(), option, 0xFFFFFFFFU);
  }
  Wish(FSession.Get(), INTERNET_OPTION_CONNECT_RETRIES, 1);
  static std::once_flag widened;
  std::call_once(widened, [this] {
    for (const DWORD option : {INTERNET_OPTION_MAX_CONNS_PER_SERVER, INTERNET_OPTION_MAX_CONNS_PER_1_0_SERVER,
                               INTERNET_OPTION_MAX_CONNS_PER_PROXY}) {
      Wish(nullptr, option, kMostConnections);
    }
  });
}

HINTERNET TVqWinINetEngine::OpenRequest(const std::wstring& verb, const std::wstring& target, DWORD_PTR context) {
  // Redirects, cookies, challenges and kept replies are answered above, the same with every engine.
  const DWORD flags = INTERNET_FLAG_NO_AUTO_REDIRECT | INTERNET_FLAG_NO_COOKIES | INTERNET_FLAG_NO_CACHE_WRITE |
                      INTERNET_FLAG_RELOAD | INTERNET_FLAG_NO_UI | INTERNET_FLAG_KEEP_CONNECTION |
                      INTERNET_FLAG_NO_AUTH | (FUrl.IsHttps() ? INTERNET_FLAG_SECURE : 0U);
  const wchar_t* none[] = {nullptr};
  return HttpOpenRequestW(FConnect.Get(), verb.c_str(), target.c_str(), FRequest->HTTP11 ? L"HTTP/1.1" : L"HTTP/1.0",
                          nullptr, none, flags, context);
}

void TVqWinINetEngine::SetUp(bool) {
  const TVqEngineRequest& request = *FRequest;
  if (FUrl.IsHttps()) {
    // What is lifted here stays lifted for this server in the whole process, the application's own requests included.
    // So no more is lifted than was asked for, and what a file trusts; and nothing that WinINet lets through for that
    // reason goes out before it was judged in OnStatus.
    const auto lifted = [&](TVqHTTPSecurityFlag flag, DWORD bit) {
      return request.SecurityFlags.Contains(flag) ? bit : 0UL;
    };
    DWORD flags = lifted(TVqHTTPSecurityFlag::IgnoreInvalidCertDate, SECURITY_FLAG_IGNORE_CERT_DATE_INVALID) |
                  lifted(TVqHTTPSecurityFlag::IgnoreUnknownCA, SECURITY_FLAG_IGNORE_UNKNOWN_CA) |
                  lifted(TVqHTTPSecurityFlag::IgnoreInvalidCommonName, SECURITY_FLAG_IGNORE_CERT_CN_INVALID) |
                  lifted(TVqHTTPSecurityFlag::IgnoreRevocation, SECURITY_FLAG_IGNORE_REVOCATION);
    // Who is trusted by a file is nobody whom Windows knows; of an address WinINet knows no names, and for a wrong
    // usage it has no number of its own.
    if (FTrust->HasFiles()) {
      flags |= SECURITY_FLAG_IGNORE_UNKNOWN_CA | SECURITY_FLAG_IGNORE_CERT_CN_INVALID |
               SECURITY_FLAG_IGNORE_REVOCATION | SECURITY_FLAG_IGNORE_WRONG_USAGE;
    }
    if (!InternetSetOptionW(Request(), INTERNET_OPTION_SECURITY_FLAGS, &flags, sizeof flags))
      RaiseLast("INTERNET_OPTION_SECURITY_FLAGS");
  }
  // Wine writes a body on our own thread, where nothing but this ends it.
  if (const int limit = request.TimeOuts.GetSend(); limit > 0)
    Wish(Request(), INTERNET_OPTION_SEND_TIMEOUT, static_cast<DWORD>(limit));
  // Event streams are not to wait for one another.
  Wish(Request(), INTERNET_OPTION_EXEMPT_CONNECTION_LIMIT, TRUE);
}

template <typename TDo>
void TVqWinINetEngine::Begin(TStep step, const char* name, TDo start) {
  FCall->Expect(step);
  if (start()) {
    FCall->ReachExpected();
  } else if (const DWORD error = GetLastError(); error != ERROR_IO_PENDING) {
    Raise(name, error);
  }
}

void TVqWinINetEngine::SendHead() {
  Begin(TStep::headers, kName, [this] { return HttpSendRequestW(Request(), nullptr, 0, nullptr, 0); });
  Await(TStep::headers);
}

void TVqWinINetEngine::SendPieces() {
  INTERNET_BUFFERSW buffers = {};
  buffers.dwStructSize = sizeof buffers;
  buffers.dwBufferTotal = static_cast<DWORD>(FRequest->Body.size());
  Begin(TStep::sent, "HttpSendRequestEx",
        [&] { return HttpSendRequestExW(Request(), &buffers, nullptr, HSR_INITIATE, 0); });
  Await(TStep::sent);
  WritePieces([this](const std::string& piece) {
    Begin(TStep::written, "InternetWriteFile",
          [&] { return InternetWriteFile(Request(), piece.data(), static_cast<DWORD>(piece.size()), &FCall->Number); });
  });
  Enter(TPhase::receiving);
  Begin(TStep::headers, "HttpEndRequest", [this] { return HttpEndRequestW(Request(), nullptr, 0, 0); });
  Await(TStep::headers);
}

void TVqWinINetEngine::Send() {
  if (FRequest->Body.empty()) {
    SendHead();
  } else {
    SendPieces();
  }
  TakeHead();
}

std::wstring TVqWinINetEngine::Head() {
  DWORD size = 0;
  HttpQueryInfoW(Request(), HTTP_QUERY_RAW_HEADERS_CRLF, nullptr, &size, nullptr);
  std::wstring raw(size / sizeof(wchar_t) + 1, L'\0');
  size = static_cast<DWORD>(raw.size() * sizeof(wchar_t));
  if (!HttpQueryInfoW(Request(), HTTP_QUERY_RAW_HEADERS_CRLF, raw.data(), &size, nullptr)) RaiseLast("HttpQueryInfo");
  raw.resize(size / sizeof(wchar_t));
  return raw;
}

void TVqWinINetEngine::AskAvailable() {
  Begin(TStep::available, "InternetQueryDataAvailable",
        [this] { return InternetQueryDataAvailable(Request(), &FCall->Number, 0, 0); });
}

void TVqWinINetEngine::Read(DWORD count) {
  Begin(TStep::read, "InternetReadFile",
        [&] { return InternetReadFile(Request(), FCall->Room.data(), count, &FCall->Number); });
}

/// WinINet tells several faults by one number, and leaves a wrong usage without one.
std::uint32_t TVqWinINetEngine::CertificateNumber(DWORD error) {
  switch (error) {
    case ERROR_INTERNET_SEC_CERT_DATE_INVALID:
    case ERROR_INTERNET_SEC_CERT_CN_INVALID:
    case ERROR_INTERNET_INVALID_CA:
    case ERROR_INTERNET_SEC_CERT_ERRORS:
    case ERROR_INTERNET_SEC_CERT_REV_FAILED:
    case ERROR_INTERNET_SEC_INVALID_CERT:
    case ERROR_INTERNET_SEC_CERT_REVOKED:
    case ERROR_INTERNET_SEC_CERT_NO_REV:
      break;
    default:
      return 0;
  }
  const std::uint32_t number = FCall ? Judgement(*FCall, Request()) : 0;
  if (number != 0 && number != VqErrSecureFailure) return number;
  switch (error) {
    case ERROR_INTERNET_SEC_CERT_NO_REV:
      return VqErrRevocationCheckFailed;
    case ERROR_INTERNET_SEC_CERT_ERRORS:
      return VqErrInvalidCertificate;
    default:
      return error;
  }
}

/// WinINet, but for handshakes, which go over WinHTTP. WinINet answers a challenge by any scheme that is offered, Basic
/// included, and the connection that was logged on may carry anybody's next request in this process.
class TVqDesktopEngine final : public TVqHTTPEngine {
 public:
  TVqEngineReply Perform(const TVqEngineRequest& request) override {
    const bool handshake =
        request.Scheme == schemeNTLM || request.Scheme == schemeNegotiate || !request.ProxyUser.empty();
    return handshake ? FWinHTTP->Perform(request) : FWinINet.Perform(request);
  }
  void Wake() noexcept override {
    FWinINet.Wake();
    FWinHTTP->Wake();
  }
  void DropConnections() noexcept override {
    FWinINet.DropConnections();
    FWinHTTP->DropConnections();
  }
  void CloseConnections() noexcept override { DropConnections(); }
  unsigned Schemes() const noexcept override { return FWinINet.Schemes(); }
  TVqTicket PrepareNegotiate(const TVqEngineRequest& request) override { return FWinHTTP->PrepareNegotiate(request); }

 private:
  TVqWinINetEngine FWinINet;
  const std::shared_ptr<TVqHTTPEngine> FWinHTTP = VqCreateWinHTTPEngine();
};

}  // namespace

std::shared_ptr<TVqHTTPEngine> VqCreateWinINetEngine() {
  return std::make_shared<TVqDesktopEngine>();
}

}  // namespace velmore
