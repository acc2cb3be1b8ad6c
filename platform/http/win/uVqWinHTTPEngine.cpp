#include "platform/http/win/uVqWinHTTPEngine_p.h"

#include <algorithm>
#include <charconv>

#include "platform/common/uVqNetEncoding.h"
#include "platform/common/uVqSecret.h"
#include "platform/http/uVqURL.h"
#include "platform/http/win/uVqWinErrors_p.h"

namespace velmore {

namespace {

using TStep = TVqWinHTTPCall::TStep;

std::string Narrow(const wchar_t* text, std::size_t length) {
  return VqToUtf8(std::u16string(text, text + length));
}

/// Of a body, handed over at a time: what WinHTTP takes shows that the server reads.
constexpr std::size_t kPiece = 65536;
/// In an answer of this length nothing was packed that would be worth a limit of its own.
constexpr std::size_t kLongestLine = 100U << 10;

class TVqWinHTTPEngine final : public TVqHTTPEngine {
 public:
  TVqEngineReply Perform(const TVqEngineRequest& request) override;
  void Wake() noexcept override;
  void DropConnections() noexcept override;
  // Connections belong to the session's handle: there is no closing them alone.
  void CloseConnections() noexcept override { DropConnections(); }
  unsigned Schemes() const noexcept override { return schemeBasic | schemeNTLM | schemeNegotiate; }
  // The system has its own tickets and takes the name that it is given.
  TVqTicket PrepareNegotiate(const TVqEngineRequest&) override { return TVqTicket::ready; }

 private:
  using Clock = TVqHTTPClock;
  enum class TPhase { connecting, sending, receiving };

  void OpenSession();
  void OpenConnect();
  void OpenRequest();
  void SetUpTls();
  void SetUpHeaders();
  void SetUpCredentials(DWORD target, unsigned scheme, const std::string& user, const std::string& password);
  void Exchange();
  void Send();
  void TakeHeaders();
  void TakeHeaderLines(std::string_view text);
  void TakeBody();
  void SetOption(HINTERNET handle, DWORD option, DWORD value, const char* name);
  void Await(TStep step);
  Clock::time_point LimitAt() const;
  [[noreturn]] void RaiseLast(const char* api) { Raise(api, GetLastError()); }
  [[noreturn]] void Raise(const char* api, DWORD error);
  [[noreturn]] void RaiseTimeOut();
  [[noreturn]] void RaiseCancelled();
  std::string Host() const;

  TVqWinHTTPHandle FSession;
  TVqWinHTTPHandle FConnect;
  TVqWinTrust FTrust;
  std::string FKey, FConnectKey;  // what FSession and FConnect were opened for
  std::mutex FCallMutex;          // protects FCall against Wake
  std::shared_ptr<TVqWinHTTPCall> FCall;
  std::atomic<bool> FRunning{false};
  std::atomic<bool> FDrop{false};

  // Of the exchange under way.
  const TVqEngineRequest* FRequest = nullptr;
  TVqURLData FUrl;
  TVqEngineReply FReply;
  TVqHTTPIntake FIntake;
  TPhase FPhase = TPhase::connecting;
  Clock::time_point FProgress;
  bool FAnswered = false;
};

std::string TVqWinHTTPEngine::Host() const {
  const std::string_view url = FRequest->URL;
  const std::size_t start = url.find("://") + 3;
  return std::string(url.substr(start, url.find('/', start) - start));
}

void TVqWinHTTPEngine::RaiseCancelled() {
  throw EVqHTTPApiException(kVqWinHTTPName, "The request was cancelled.", VqErrCancelled);
}

void TVqWinHTTPEngine::RaiseTimeOut() {
  const string host(Host());
  const TVqHTTPTimeOuts& limits = FRequest->TimeOuts;
  if (Clock::now() >= FRequest->Deadline) {
    throw EVqHTTPApiException(kVqWinHTTPName,
                              Format("The call to \"%s\" took longer than %d ms.",
                                     {host, std::int64_t{FRequest->Session.Limits.TotalTime.count()}}),
                              VqErrTimeOut);
  }
  switch (FPhase) {
    case TPhase::connecting:
      throw EVqHTTPApiException(kVqWinHTTPName,
                                Format("No connection to \"%s\" came about within %d ms.", {host, limits.GetConnect()}),
                                VqErrTimeOut);
    case TPhase::sending:
      throw EVqHTTPApiException(
          kVqWinHTTPName, Format("The server \"%s\" took nothing of the request for %d ms.", {host, limits.GetSend()}),
          VqErrTimeOut);
    default:
      throw EVqHTTPApiException(kVqWinHTTPName,
                                Format("The server \"%s\" sent nothing for %d ms.", {host, limits.GetReceive()}),
                                VqErrTimeOut);
  }
}

void TVqWinHTTPEngine::Raise(const char* api, DWORD error) {
  if (FRequest->IsCancelled()) RaiseCancelled();
  if (error == ERROR_WINHTTP_TIMEOUT) RaiseTimeOut();
  const string host(Host());
  if (error == ERROR_WINHTTP_SECURE_FAILURE && FCall) {
    const std::uint32_t number =
        FCall->Distrust() != 0 ? FCall->Distrust() : VqWinCertificateNumber(FCall->SecureFailure());
    throw EVqHTTPApiException(
        api, Format("The certificate of \"%s\" is not accepted: %s.", {host, string(VqCertificateText(number))}),
        number);
  }
  const TVqWinError row = VqWinErrorOf(error, FAnswered);
  throw EVqHTTPApiException(api, Format(string(row.Text), {host}), row.Number);
}

void TVqWinHTTPEngine::SetOption(HINTERNET handle, DWORD option, DWORD value, const char* name) {
  if (!WinHttpSetOption(handle, option, &value, sizeof value)) RaiseLast(name);
}

/// When the wait that is under way has lasted long enough.
TVqWinHTTPEngine::Clock::time_point TVqWinHTTPEngine::LimitAt() const {
  const TVqHTTPTimeOuts& limits = FRequest->TimeOuts;
  const int limit = FPhase == TPhase::connecting ? limits.GetConnect()
                    : FPhase == TPhase::sending  ? limits.GetSend()
                                                 : limits.GetReceive();
  return limit > 0 ? FProgress + std::chrono::milliseconds(limit) : Clock::time_point::max();
}

void TVqWinHTTPEngine::Await(TStep step) {
  bool late = false;
  const auto until = [this] {
    return std::min({LimitAt(), FRequest->Deadline, Clock::now() + std::chrono::seconds(1)});
  };
  const bool through = FCall->Wait(step, until, [&] {
    if (FPhase == TPhase::connecting && FCall->Connected()) {
      FPhase = TPhase::sending;
      FProgress = Clock::now();
    }
    late = Clock::now() >= std::min(LimitAt(), FRequest->Deadline);
    return late || FRequest->IsCancelled();
  });
  if (!through) {
    if (FRequest->IsCancelled()) RaiseCancelled();
    RaiseTimeOut();
  }
  if (const DWORD error = FCall->Error(); error != 0) Raise(kVqWinHTTPName, error);
  if (FPhase == TPhase::connecting) FPhase = TPhase::sending;
  FProgress = Clock::now();
}

void TVqWinHTTPEngine::OpenSession() {
  const TVqEngineRequest& request = *FRequest;
  const TVqHTTPSessionSettings& settings = request.Session;
  const std::string key = settings.UserAgent + "\n" + std::to_string(static_cast<int>(request.Route.Kind)) + "\n" +
                          request.Route.Proxy + "\n" + request.ProxyUser + "\n" +
                          std::to_string(request.SecurityFlags.Bits()) + "\n" + settings.CAFile + "\n" +
                          settings.CRLFile + "\n" + std::to_string(static_cast<int>(settings.LowestTls));
  if (FDrop.exchange(false) || key != FKey) {
    FConnect.Reset();
    FSession.Reset();
  }
  if (FSession.Get()) return;
  // Read anew for each set of connections, all of which are judged by what was read.
  FTrust.Open(settings, request.SecurityFlags);
  using Kind = TVqHTTPRouteKind;
  const std::wstring agent = VqWide(settings.UserAgent), proxy = VqWide(request.Route.Proxy);
  const DWORD access = request.Route.Kind == Kind::system   ? WINHTTP_ACCESS_TYPE_AUTOMATIC_PROXY
                       : request.Route.Kind == Kind::direct ? WINHTTP_ACCESS_TYPE_NO_PROXY
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
  if (WinHttpSetStatusCallback(FSession.Get(), &TVqWinHTTPCall::OnStatus, WINHTTP_CALLBACK_FLAG_ALL_NOTIFICATIONS, 0) ==
      WINHTTP_INVALID_STATUS_CALLBACK) {
    RaiseLast("WinHttpSetStatusCallback");
  }
  // Limits are kept here, in each phase; WinHTTP's own would cut into them.
  WinHttpSetTimeouts(FSession.Get(), 0, 0, 0, 0);
  FKey = key;
  FConnectKey.clear();
}

void TVqWinHTTPEngine::OpenConnect() {
  const std::string key = FUrl.Host.utf8() + ":" + std::to_string(FUrl.Port);
  if (FConnect.Get() && key == FConnectKey) return;
  FConnect.Reset(WinHttpConnect(FSession.Get(), VqWide(FUrl.Host.utf8()).c_str(), FUrl.Port, 0));
  if (!FConnect.Get()) RaiseLast("WinHttpConnect");
  FConnectKey = key;
}

void TVqWinHTTPEngine::OpenRequest() {
  const TVqEngineRequest& request = *FRequest;
  std::string target = FUrl.Path.utf8();
  if (!FUrl.Query.empty()) target += "?" + FUrl.Query.utf8();
  const auto call = std::make_shared<TVqWinHTTPCall>();
  call->Trust = &FTrust;
  call->Host = VqWide(FUrl.Host.utf8());
  TVqWinHTTPCall::Open(call, FConnect.Get(), VqWide(request.Verb).c_str(), VqWide(target).c_str(),
                       request.HTTP11 ? nullptr : L"HTTP/1.0", FUrl.IsHttps());
  {
    const std::scoped_lock lock(FCallMutex);
    FCall = call;
  }
  HINTERNET const handle = call->Handle();
  if (!handle) RaiseLast("WinHttpOpenRequest");
  // Redirects, cookies and challenges are answered above, the same with every engine.
  SetOption(handle, WINHTTP_OPTION_DISABLE_FEATURE, WINHTTP_DISABLE_REDIRECTS | WINHTTP_DISABLE_COOKIES,
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
  SetUpHeaders();
  if (request.Scheme == schemeNTLM || request.Scheme == schemeNegotiate)
    SetUpCredentials(WINHTTP_AUTH_TARGET_SERVER, request.Scheme, request.User, request.Password);
}

void TVqWinHTTPEngine::SetUpTls() {
  const TVqEngineRequest& request = *FRequest;
  HINTERNET const handle = FCall->Handle();
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
            FTrust.IsOpen()
                ? all
                : lifted(TVqHTTPSecurityFlag::IgnoreInvalidCertDate, SECURITY_FLAG_IGNORE_CERT_DATE_INVALID) |
                      lifted(TVqHTTPSecurityFlag::IgnoreUnknownCA, SECURITY_FLAG_IGNORE_UNKNOWN_CA) |
                      lifted(TVqHTTPSecurityFlag::IgnoreInvalidCommonName, SECURITY_FLAG_IGNORE_CERT_CN_INVALID) |
                      lifted(TVqHTTPSecurityFlag::IgnoreWrongUsage, SECURITY_FLAG_IGNORE_CERT_WRONG_USAGE),
            "WINHTTP_OPTION_SECURITY_FLAGS");
  if (!FTrust.IsOpen() && !request.SecurityFlags.Contains(TVqHTTPSecurityFlag::IgnoreRevocation))
    SetOption(handle, WINHTTP_OPTION_ENABLE_FEATURE, WINHTTP_ENABLE_SSL_REVOCATION, "WINHTTP_OPTION_ENABLE_FEATURE");
  // Many servers ask for a certificate and do not insist.
  WinHttpSetOption(handle, WINHTTP_OPTION_CLIENT_CERT_CONTEXT, WINHTTP_NO_CLIENT_CERT_CONTEXT, 0);
}

void TVqWinHTTPEngine::SetUpHeaders() {
  const TVqEngineRequest& request = *FRequest;
  std::string lines;
  bool encoding = false, close = false;
  for (const std::string& line : request.Headers) {
    const std::string_view name = std::string_view(line).substr(0, line.find_first_of(":;"));
    encoding = encoding || VqSameAscii(name, "Accept-Encoding");
    close = close || VqSameAscii(line, "Connection: close");
    lines += line.ends_with(';') ? line.substr(0, line.size() - 1) + ":" : line;
    lines += "\r\n";
  }
  if (!encoding) lines += "Accept-Encoding: gzip, deflate\r\n";
  if (!request.Cookies.empty()) lines += "Cookie: " + request.Cookies + "\r\n";
  if (request.Scheme == schemeBasic) {
    // Ours and not WinHTTP's, so that it goes out at once and can be overwritten.
    std::string plain = request.User + ":" + request.Password;
    lines += "Authorization: Basic " + VqBase64Encode(plain) + "\r\n";
    VqWipe(plain);
    FReply.CredentialsSent = true;
  }
  std::wstring wide = VqWide(lines);
  VqWipe(lines);
  const BOOL added =
      WinHttpAddRequestHeaders(FCall->Handle(), wide.c_str(), static_cast<DWORD>(-1), WINHTTP_ADDREQ_FLAG_ADD);
  VqWipeWide(wide);
  if (!added) RaiseLast("WinHttpAddRequestHeaders");
  if (close)
    SetOption(FCall->Handle(), WINHTTP_OPTION_DISABLE_FEATURE, WINHTTP_DISABLE_KEEP_ALIVE,
              "WINHTTP_OPTION_DISABLE_FEATURE");
}

void TVqWinHTTPEngine::SetUpCredentials(DWORD target, unsigned scheme, const std::string& user,
                                        const std::string& password) {
  const DWORD native = scheme == schemeBasic  ? WINHTTP_AUTH_SCHEME_BASIC
                       : scheme == schemeNTLM ? WINHTTP_AUTH_SCHEME_NTLM
                                              : WINHTTP_AUTH_SCHEME_NEGOTIATE;
  const std::wstring name = VqWide(user);
  std::wstring secret = VqWide(password);
  const BOOL set = WinHttpSetCredentials(FCall->Handle(), target, native, user.empty() ? nullptr : name.c_str(),
                                         user.empty() ? nullptr : secret.c_str(), nullptr);
  VqWipeWide(secret);
  if (!set) RaiseLast("WinHttpSetCredentials");
}

void TVqWinHTTPEngine::Send() {
  const TVqEngineRequest& request = *FRequest;
  FPhase = TPhase::connecting;
  FProgress = Clock::now();
  if (request.Body.size() > 0xFFFFFFFFU) {
    throw EVqHTTPInvalidArgument("Request", "A body of more than 4 GB cannot be sent on Windows.");
  }
  const auto total = static_cast<DWORD>(request.Body.size());
  // Steps of a handshake that WinHTTP repeats by itself need the body at hand; otherwise it goes out piece by piece.
  const bool handshake =
      request.Scheme == schemeNTLM || request.Scheme == schemeNegotiate || !request.ProxyUser.empty();
  std::string& piece = FCall->Piece;
  if (handshake) piece = request.Body;
  for (;;) {
    if (!WinHttpSendRequest(FCall->Handle(), WINHTTP_NO_ADDITIONAL_HEADERS, 0,
                            handshake && total > 0 ? piece.data() : WINHTTP_NO_REQUEST_DATA, handshake ? total : 0,
                            total, 0)) {
      RaiseLast("WinHttpSendRequest");
    }
    Await(TStep::sent);
    for (std::size_t at = handshake ? total : 0; at < total; at += piece.size()) {
      piece = request.Body.substr(at, kPiece);
      if (!WinHttpWriteData(FCall->Handle(), piece.data(), static_cast<DWORD>(piece.size()), nullptr))
        RaiseLast("WinHttpWriteData");
      Await(TStep::written);
    }
    FPhase = TPhase::receiving;
    FProgress = Clock::now();
    if (!WinHttpReceiveResponse(FCall->Handle(), nullptr)) RaiseLast("WinHttpReceiveResponse");
    return Await(TStep::headers);
  }
}

void TVqWinHTTPEngine::TakeHeaders() {
  FAnswered = true;
  HINTERNET const handle = FCall->Handle();
  DWORD size = 0;
  WinHttpQueryHeaders(handle, WINHTTP_QUERY_RAW_HEADERS_CRLF, WINHTTP_HEADER_NAME_BY_INDEX, nullptr, &size,
                      WINHTTP_NO_HEADER_INDEX);
  std::wstring raw(size / sizeof(wchar_t) + 1, L'\0');
  size = static_cast<DWORD>(raw.size() * sizeof(wchar_t));
  if (!WinHttpQueryHeaders(handle, WINHTTP_QUERY_RAW_HEADERS_CRLF, WINHTTP_HEADER_NAME_BY_INDEX, raw.data(), &size,
                           WINHTTP_NO_HEADER_INDEX)) {
    RaiseLast("WinHttpQueryHeaders");
  }
  const std::string text = Narrow(raw.data(), size / sizeof(wchar_t));
  const std::uint32_t most = FRequest->Session.Limits.HeaderBytes;
  if (most != 0 && text.size() > most) {
    throw EVqHTTPApiException(
        kVqWinHTTPName, Format("The headers of the reply of \"%s\" are longer than %d bytes.", {string(Host()), most}),
        VqErrInvalidServerResponse);
  }
  TakeHeaderLines(text);
}

void TVqWinHTTPEngine::TakeHeaderLines(std::string_view text) {
  FReply.Headers.clear();
  std::size_t at = 0;
  while (at < text.size()) {
    const std::size_t end = std::min(text.find("\r\n", at), text.size());
    const std::string_view line = text.substr(at, end - at);
    at = end + 2;
    if (line.size() > kLongestLine) {
      throw EVqHTTPApiException(kVqWinHTTPName,
                                Format("The reply of \"%s\" has a header line that is too long.", {string(Host())}),
                                VqErrInvalidServerResponse);
    }
    if (line.starts_with("HTTP/")) {
      const std::size_t space = line.find(' ');
      std::string_view rest = space == std::string_view::npos ? std::string_view() : line.substr(space + 1);
      unsigned code = 0;
      const auto [stop, error] = std::from_chars(rest.data(), rest.data() + rest.size(), code);
      if (error != std::errc()) code = 0;
      FReply.Status = static_cast<std::uint16_t>(std::min(code, 999U));
      FReply.Reason = VqTrimBlanks(rest.substr(static_cast<std::size_t>(stop - rest.data())));
      continue;
    }
    const std::size_t colon = line.find(':');
    if (colon == std::string_view::npos) continue;
    const std::string_view name = line.substr(0, colon), value = VqTrimBlanks(line.substr(colon + 1));
    FReply.Headers.emplace_back(name, value);
    if (VqSameAscii(name, "Set-Cookie")) FReply.SetCookies.emplace_back(value);
  }
}

void TVqWinHTTPEngine::TakeBody() {
  const TVqEngineRequest& request = *FRequest;
  const bool kept = !request.OnHeaders || request.OnHeaders(FReply.Status);
  std::string encoding;
  std::uint64_t promised = 0, taken = 0;
  bool counted = request.Verb != "HEAD" && FReply.Status != 204 && FReply.Status != 304;
  bool hasLength = false;
  for (const auto& [name, value] : FReply.Headers) {
    if (VqSameAscii(name, "Content-Encoding")) encoding = value;
    if (VqSameAscii(name, "Transfer-Encoding")) counted = false;
    if (VqSameAscii(name, "Content-Length"))
      hasLength = std::from_chars(value.data(), value.data() + value.size(), promised).ec == std::errc();
  }
  FIntake.Begin(Host(), encoding, request.Session.Limits, kept);
  for (;;) {
    if (!WinHttpQueryDataAvailable(FCall->Handle(), nullptr)) RaiseLast("WinHttpQueryDataAvailable");
    Await(TStep::available);
    const DWORD available = std::min(FCall->Count(), static_cast<DWORD>(FCall->Room.size()));
    if (available == 0) break;
    if (!WinHttpReadData(FCall->Handle(), FCall->Room.data(), available, nullptr)) RaiseLast("WinHttpReadData");
    Await(TStep::read);
    if (FCall->Count() == 0) break;
    // More than there is room for: a length that the server made up came through.
    if (FCall->Count() > available) Raise("WinHttpReadData", ERROR_WINHTTP_INVALID_SERVER_RESPONSE);
    taken += FCall->Count();
    FIntake.Take({FCall->Room.data(), FCall->Count()}, [&](std::string_view unpacked) {
      if (request.OnBody) request.OnBody(unpacked);
    });
    // After the caller's work: the time that it takes is not the server's.
    FProgress = Clock::now();
  }
  if (counted && hasLength && taken < promised) Raise("WinHttpReadData", ERROR_WINHTTP_CONNECTION_ERROR);
  FIntake.End();
}

void TVqWinHTTPEngine::Exchange() {
  const TVqEngineRequest& request = *FRequest;
  Send();
  TakeHeaders();
  DWORD offered = 0, first = 0, target = 0;
  const bool byHandshake = request.Scheme == schemeNTLM || request.Scheme == schemeNegotiate;
  const bool byProxy = FReply.Status == 407 && !request.ProxyUser.empty();
  if ((byProxy || (FReply.Status == 401 && byHandshake)) &&
      WinHttpQueryAuthSchemes(FCall->Handle(), &offered, &first, &target)) {
    if (byProxy && target == WINHTTP_AUTH_TARGET_PROXY) {
      const unsigned scheme = offered & WINHTTP_AUTH_SCHEME_NEGOTIATE ? schemeNegotiate
                              : offered & WINHTTP_AUTH_SCHEME_NTLM    ? schemeNTLM
                                                                      : schemeBasic;
      SetUpCredentials(target, scheme, request.ProxyUser, request.ProxyPassword);
      FReply.ProxyCredentialsSent = true;
      Send();
      TakeHeaders();
    } else if (!byProxy && target == WINHTTP_AUTH_TARGET_SERVER) {
      SetUpCredentials(target, request.Scheme, request.User, request.Password);
      Send();
      TakeHeaders();
    }
  }
  FReply.CredentialsSent = request.Scheme != schemeNone;
  TakeBody();
}

TVqEngineReply TVqWinHTTPEngine::Perform(const TVqEngineRequest& request) {
  if (FRunning.exchange(true)) throw EVqException("The HTTP client is busy with another request.");
  struct Running {
    TVqWinHTTPEngine& Engine;
    ~Running() {
      std::shared_ptr<TVqWinHTTPCall> call;
      {
        const std::scoped_lock lock(Engine.FCallMutex);
        call = std::move(Engine.FCall);
      }
      if (call) call->Close();
      Engine.FRequest = nullptr;
      Engine.FRunning = false;
      if (Engine.FDrop) Engine.DropConnections();
    }
  } running{*this};
  FRequest = &request;
  FUrl = VqDecodeURL(request.URL);
  FReply = {};
  FAnswered = false;
  FPhase = TPhase::connecting;
  FProgress = Clock::now();
  if (request.IsCancelled()) RaiseCancelled();
  if (!request.Session.ConnectTo.empty()) {
    throw EVqHTTPApiException(
        "WinHttpConnect", "On Windows a host is found by its name alone: ConnectTo is not offered.", VqErrNotSupported);
  }
  OpenSession();
  OpenConnect();
  OpenRequest();
  Exchange();
  return std::move(FReply);
}

void TVqWinHTTPEngine::Wake() noexcept {
  const std::scoped_lock lock(FCallMutex);
  if (FCall) FCall->Wake();
}

void TVqWinHTTPEngine::DropConnections() noexcept {
  FDrop = true;
  if (FRunning.exchange(true)) return;
  if (FDrop.exchange(false)) {
    FConnect.Reset();
    FSession.Reset();
  }
  FRunning = false;
}

}  // namespace

std::shared_ptr<TVqHTTPEngine> VqCreateHTTPEngine(bool) {
  return std::make_shared<TVqWinHTTPEngine>();
}

}  // namespace velmore
