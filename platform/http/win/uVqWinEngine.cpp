// The engine of Windows: synchronous WinHTTP, for both clients. WinINet itself is no ground for a library that also
// runs in services; its client differs in dialogs and flags, which are decided above.

#define WIN32_LEAN_AND_MEAN
#define NOMINMAX
#include <windows.h>
// After windows.h, which it needs.
#include <winhttp.h>

#include <algorithm>
#include <exception>

#include "platform/http/uVqHTTPEngine_p.h"
#include "platform/http/uVqHTTPIntake_p.h"
#include "platform/http/uVqURL.h"

#ifndef WINHTTP_OPTION_DECOMPRESSION
#define WINHTTP_OPTION_DECOMPRESSION 118
#define WINHTTP_DECOMPRESSION_FLAG_ALL 3
#endif

namespace velmore {

namespace {

std::wstring Wide(std::string_view utf8) {
  const std::u16string text = VqToUtf16(utf8);
  return std::wstring(text.begin(), text.end());
}

std::string Narrow(const wchar_t* text, std::size_t length) {
  return VqToUtf8(std::u16string(text, text + length));
}

struct TVqWinHandle {
  HINTERNET Value = nullptr;
  TVqWinHandle() = default;
  ~TVqWinHandle() { Close(); }
  TVqWinHandle(const TVqWinHandle&) = delete;
  TVqWinHandle& operator=(const TVqWinHandle&) = delete;
  void Close() noexcept {
    if (Value) WinHttpCloseHandle(Value);
    Value = nullptr;
  }
};

// The one check that failed, out of the flags of the secure-failure callback.
std::uint32_t CertificateNumber(DWORD flags) {
  if (flags & WINHTTP_CALLBACK_STATUS_FLAG_CERT_REVOKED) return VqErrCertRevoked;
  if (flags & WINHTTP_CALLBACK_STATUS_FLAG_CERT_REV_FAILED) return VqErrRevocationCheckFailed;
  if (flags & WINHTTP_CALLBACK_STATUS_FLAG_INVALID_CA) return VqErrInvalidCA;
  if (flags & WINHTTP_CALLBACK_STATUS_FLAG_CERT_DATE_INVALID) return VqErrCertDateInvalid;
  if (flags & WINHTTP_CALLBACK_STATUS_FLAG_CERT_CN_INVALID) return VqErrCertCommonNameInvalid;
  if (flags & WINHTTP_CALLBACK_STATUS_FLAG_INVALID_CERT) return VqErrInvalidCertificate;
  return VqErrSecureFailure;
}

// Windows' own words for a number, without the line break behind them.
std::string SystemText(std::uint32_t number) {
  wchar_t text[512];
  const DWORD length =
      FormatMessageW(FORMAT_MESSAGE_FROM_HMODULE | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
                     GetModuleHandleW(L"winhttp.dll"), number, 0, text, 512, nullptr);
  std::string narrow = Narrow(text, length);
  while (!narrow.empty() && static_cast<unsigned char>(narrow.back()) <= ' ') narrow.pop_back();
  return narrow;
}

class TVqWinEngine final : public TVqHTTPEngine {
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
  void Open(const TVqEngineRequest& request);
  void SetUp(const TVqEngineRequest& request);
  void Send(const TVqEngineRequest& request);
  void TakeHeaders(TVqEngineReply& reply);
  void TakeBody(const TVqEngineRequest& request, bool kept);
  void SetOption(HINTERNET handle, DWORD option, DWORD value, const char* name);
  [[noreturn]] void RaiseFailure(const char* api);

  static void CALLBACK OnStatus(HINTERNET, DWORD_PTR self, DWORD status, void* information, DWORD) {
    if (status != WINHTTP_CALLBACK_STATUS_SECURE_FAILURE || self == 0 || !information) return;
    reinterpret_cast<TVqWinEngine*>(self)->FSecureFailure = *static_cast<DWORD*>(information);
  }

  TVqWinHandle FSession;
  TVqWinHandle FConnect;
  std::string FKey;  // what FSession was opened for: agent, route, flags
  std::string FConnectKey;
  std::mutex FMutex;  // protects FRequest, which Wake closes under a blocked call
  HINTERNET FRequest = nullptr;
  const TVqEngineRequest* FCurrent = nullptr;
  std::string FHost;
  DWORD FSecureFailure = 0;
  std::atomic<bool> FRunning{false};
  std::atomic<bool> FDrop{false};
};

void TVqWinEngine::RaiseFailure(const char* api) {
  const DWORD error = GetLastError();
  if (FCurrent->Cancelled && *FCurrent->Cancelled) {
    throw EVqHTTPApiException(api, "The request was cancelled.", VqErrCancelled);
  }
  std::uint32_t number = error;
  if (error == ERROR_WINHTTP_SECURE_FAILURE && FSecureFailure != 0) number = CertificateNumber(FSecureFailure);
  throw EVqHTTPApiException(
      api, Format("The request to \"%s\" failed: %s (%d)", {string(FHost), string(SystemText(number)), number}),
      number);
}

void TVqWinEngine::SetOption(HINTERNET handle, DWORD option, DWORD value, const char* name) {
  if (!WinHttpSetOption(handle, option, &value, sizeof value)) RaiseFailure(name);
}

void TVqWinEngine::Open(const TVqEngineRequest& request) {
  const std::string key = request.Session.UserAgent + "\n" + std::to_string(static_cast<int>(request.Route.Kind)) +
                          request.Route.Proxy + "\n" + std::to_string(request.SecurityFlags.Bits()) + "\n" +
                          std::to_string(static_cast<int>(request.Session.LowestTls));
  if (FDrop.exchange(false) || key != FKey) {
    FConnect.Close();
    FSession.Close();
  }
  if (!FSession.Value) {
    using Kind = TVqHTTPRouteKind;
    const std::wstring proxy = Wide(request.Route.Proxy);
    const DWORD access = request.Route.Kind == Kind::system   ? WINHTTP_ACCESS_TYPE_DEFAULT_PROXY
                         : request.Route.Kind == Kind::direct ? WINHTTP_ACCESS_TYPE_NO_PROXY
                                                              : WINHTTP_ACCESS_TYPE_NAMED_PROXY;
    FSession.Value = WinHttpOpen(Wide(request.Session.UserAgent).c_str(), access,
                                 proxy.empty() ? WINHTTP_NO_PROXY_NAME : proxy.c_str(), WINHTTP_NO_PROXY_BYPASS, 0);
    if (!FSession.Value) RaiseFailure("WinHttpOpen");
    WinHttpSetStatusCallback(FSession.Value, &OnStatus, WINHTTP_CALLBACK_FLAG_SECURE_FAILURE, 0);
    FKey = key;
    FConnectKey.clear();
  }
  const TVqURLData url = VqDecodeURL(request.URL);
  FHost = url.Host.utf8();
  const std::string connectKey = FHost + ":" + std::to_string(url.Port);
  if (FConnect.Value && connectKey == FConnectKey) return;
  FConnect.Close();
  FConnect.Value = WinHttpConnect(FSession.Value, Wide(FHost).c_str(), url.Port, 0);
  if (!FConnect.Value) RaiseFailure("WinHttpConnect");
  FConnectKey = connectKey;
}

void TVqWinEngine::SetUp(const TVqEngineRequest& request) {
  const TVqURLData url = VqDecodeURL(request.URL);
  std::string target = url.Path.utf8();
  if (!url.Query.empty()) target += "?" + url.Query.utf8();
  HINTERNET const handle =
      WinHttpOpenRequest(FConnect.Value, Wide(request.Verb).c_str(), Wide(target).c_str(),
                         request.HTTP11 ? nullptr : L"HTTP/1.0", WINHTTP_NO_REFERER, WINHTTP_DEFAULT_ACCEPT_TYPES,
                         WINHTTP_FLAG_ESCAPE_DISABLE | (url.IsHttps() ? WINHTTP_FLAG_SECURE : 0U));
  if (!handle) RaiseFailure("WinHttpOpenRequest");
  {
    const std::scoped_lock lock(FMutex);
    FRequest = handle;
  }
  const auto limit = [](int milliseconds) { return milliseconds > 0 ? milliseconds : 0; };
  if (!WinHttpSetTimeouts(handle, limit(request.TimeOuts.GetConnect()), limit(request.TimeOuts.GetConnect()),
                          limit(request.TimeOuts.GetSend()), limit(request.TimeOuts.GetReceive()))) {
    RaiseFailure("WinHttpSetTimeouts");
  }
  // Redirects, cookies and challenges are answered above, the same with every engine.
  SetOption(handle, WINHTTP_OPTION_DISABLE_FEATURE, WINHTTP_DISABLE_REDIRECTS | WINHTTP_DISABLE_COOKIES,
            "WINHTTP_OPTION_DISABLE_FEATURE");
  // Nobody's credentials but those that were given: the logged-on user's only where no name is set.
  SetOption(handle, WINHTTP_OPTION_AUTOLOGON_POLICY,
            request.Scheme == schemeNegotiate && request.User.empty() ? WINHTTP_AUTOLOGON_SECURITY_LEVEL_LOW
                                                                      : WINHTTP_AUTOLOGON_SECURITY_LEVEL_HIGH,
            "WINHTTP_OPTION_AUTOLOGON_POLICY");
  DWORD decompress = WINHTTP_DECOMPRESSION_FLAG_ALL;
  WinHttpSetOption(handle, WINHTTP_OPTION_DECOMPRESSION, &decompress, sizeof decompress);  // Windows 8.1 and later

  if (url.IsHttps()) {
    constexpr DWORD since[] = {
        WINHTTP_FLAG_SECURE_PROTOCOL_TLS1 | WINHTTP_FLAG_SECURE_PROTOCOL_TLS1_1 | WINHTTP_FLAG_SECURE_PROTOCOL_TLS1_2,
        WINHTTP_FLAG_SECURE_PROTOCOL_TLS1_1 | WINHTTP_FLAG_SECURE_PROTOCOL_TLS1_2, WINHTTP_FLAG_SECURE_PROTOCOL_TLS1_2,
        0};
    constexpr DWORD tls13 = 0x00002000;
    const DWORD versions = since[static_cast<std::size_t>(request.Session.LowestTls)];
    // Systems before the newest version of TLS refuse its bit.
    DWORD wanted = versions | tls13;
    if (!WinHttpSetOption(FSession.Value, WINHTTP_OPTION_SECURE_PROTOCOLS, &wanted, sizeof wanted)) {
      SetOption(FSession.Value, WINHTTP_OPTION_SECURE_PROTOCOLS, versions, "WINHTTP_OPTION_SECURE_PROTOCOLS");
    }
    if (!request.Session.CAFile.empty() || !request.Session.CRLFile.empty()) {
      throw EVqHTTPInvalidArgument("SetCAFile", "On Windows the machine's certificate stores decide, not files.",
                                   VqErrNotSupported);
    }
    const auto lifted = [&](TVqHTTPSecurityFlag flag, DWORD bit) {
      return request.SecurityFlags.Contains(flag) ? bit : 0UL;
    };
    SetOption(handle, WINHTTP_OPTION_SECURITY_FLAGS,
              lifted(TVqHTTPSecurityFlag::IgnoreInvalidCertDate, SECURITY_FLAG_IGNORE_CERT_DATE_INVALID) |
                  lifted(TVqHTTPSecurityFlag::IgnoreUnknownCA, SECURITY_FLAG_IGNORE_UNKNOWN_CA) |
                  lifted(TVqHTTPSecurityFlag::IgnoreInvalidCommonName, SECURITY_FLAG_IGNORE_CERT_CN_INVALID) |
                  lifted(TVqHTTPSecurityFlag::IgnoreWrongUsage, SECURITY_FLAG_IGNORE_CERT_WRONG_USAGE),
              "WINHTTP_OPTION_SECURITY_FLAGS");
    if (!request.SecurityFlags.Contains(TVqHTTPSecurityFlag::IgnoreRevocation)) {
      SetOption(handle, WINHTTP_OPTION_ENABLE_FEATURE, WINHTTP_ENABLE_SSL_REVOCATION, "WINHTTP_OPTION_ENABLE_FEATURE");
    }
  }

  std::string headers;
  for (const std::string& line : request.Headers)
    headers += (line.ends_with(';') ? line.substr(0, line.size() - 1) + ":" : line) + "\r\n";
  if (!request.Cookies.empty()) headers += "Cookie: " + request.Cookies + "\r\n";
  if (!WinHttpAddRequestHeaders(handle, Wide(headers).c_str(), static_cast<DWORD>(-1),
                                WINHTTP_ADDREQ_FLAG_ADD | WINHTTP_ADDREQ_FLAG_REPLACE)) {
    RaiseFailure("WinHttpAddRequestHeaders");
  }
  const auto credentials = [&](DWORD target, unsigned scheme, const std::string& user, const std::string& password) {
    const DWORD native = scheme == schemeBasic  ? WINHTTP_AUTH_SCHEME_BASIC
                         : scheme == schemeNTLM ? WINHTTP_AUTH_SCHEME_NTLM
                                                : WINHTTP_AUTH_SCHEME_NEGOTIATE;
    const std::wstring name = Wide(user);
    const std::wstring secret = Wide(password);
    if (!WinHttpSetCredentials(handle, target, native, user.empty() ? nullptr : name.c_str(),
                               user.empty() ? nullptr : secret.c_str(), nullptr)) {
      RaiseFailure("WinHttpSetCredentials");
    }
  };
  if (request.Scheme != schemeNone)
    credentials(WINHTTP_AUTH_TARGET_SERVER, request.Scheme, request.User, request.Password);
}

void TVqWinEngine::Send(const TVqEngineRequest& request) {
  if (!WinHttpSendRequest(FRequest, WINHTTP_NO_ADDITIONAL_HEADERS, 0,
                          request.HasBody ? const_cast<char*>(request.Body.data()) : WINHTTP_NO_REQUEST_DATA,
                          static_cast<DWORD>(request.Body.size()), static_cast<DWORD>(request.Body.size()),
                          reinterpret_cast<DWORD_PTR>(this))) {
    RaiseFailure("WinHttpSendRequest");
  }
  if (!WinHttpReceiveResponse(FRequest, nullptr)) RaiseFailure("WinHttpReceiveResponse");
}

void TVqWinEngine::TakeHeaders(TVqEngineReply& reply) {
  DWORD size = 0;
  WinHttpQueryHeaders(FRequest, WINHTTP_QUERY_RAW_HEADERS_CRLF, WINHTTP_HEADER_NAME_BY_INDEX, nullptr, &size,
                      WINHTTP_NO_HEADER_INDEX);
  std::wstring raw(size / sizeof(wchar_t) + 1, L'\0');
  size = static_cast<DWORD>(raw.size() * sizeof(wchar_t));
  if (!WinHttpQueryHeaders(FRequest, WINHTTP_QUERY_RAW_HEADERS_CRLF, WINHTTP_HEADER_NAME_BY_INDEX, raw.data(), &size,
                           WINHTTP_NO_HEADER_INDEX)) {
    RaiseFailure("WinHttpQueryHeaders");
  }
  const std::string text = Narrow(raw.data(), size / sizeof(wchar_t));
  reply.Headers.clear();
  std::size_t at = 0;
  while (at < text.size()) {
    const std::size_t end = std::min(text.find("\r\n", at), text.size());
    const std::string_view line = std::string_view(text).substr(at, end - at);
    at = end + 2;
    if (line.starts_with("HTTP/")) {
      const std::size_t space = line.find(' ');
      if (space == std::string_view::npos) continue;
      std::string_view rest = line.substr(space + 1);
      unsigned code = 0;
      while (!rest.empty() && rest[0] >= '0' && rest[0] <= '9' && code < 1000) {
        code = code * 10 + static_cast<unsigned>(rest[0] - '0');
        rest.remove_prefix(1);
      }
      reply.Status = static_cast<std::uint16_t>(code);
      reply.Reason = rest.empty() ? rest : rest.substr(1);
      continue;
    }
    const std::size_t colon = line.find(':');
    if (colon == std::string_view::npos) continue;
    std::string_view value = line.substr(colon + 1);
    while (value.starts_with(' ')) value.remove_prefix(1);
    reply.Headers.emplace_back(line.substr(0, colon), value);
    if (VqSameAscii(line.substr(0, colon), "Set-Cookie")) reply.SetCookies.emplace_back(value);
  }
}

void TVqWinEngine::TakeBody(const TVqEngineRequest& request, bool kept) {
  char buffer[65536];
  std::uint64_t total = 0;
  for (;;) {
    DWORD available = 0;
    if (!WinHttpQueryDataAvailable(FRequest, &available)) RaiseFailure("WinHttpQueryDataAvailable");
    if (available == 0) return;
    DWORD read = 0;
    if (!WinHttpReadData(FRequest, buffer, std::min<DWORD>(available, sizeof buffer), &read))
      RaiseFailure("WinHttpReadData");
    if (read == 0) return;
    if (TVqHTTPClock::now() >= request.Deadline) {
      throw EVqHTTPApiException("WinHttpReadData",
                                Format("The call to \"%s\" took longer than %d ms.",
                                       {string(FHost), std::int64_t{request.Session.Limits.TotalTime.count()}}),
                                VqErrTimeOut);
    }
    total += read;
    const std::uint64_t most = request.Session.Limits.UnpackedBytes;
    if (kept && most != 0 && total > most) VqRaiseTooLong(FHost, most, true);
    if (request.OnBody) request.OnBody({buffer, read});
  }
}

TVqEngineReply TVqWinEngine::Perform(const TVqEngineRequest& request) {
  if (FRunning.exchange(true)) throw EVqException("The HTTP client is busy with another request.");
  struct Running {
    TVqWinEngine& Engine;
    ~Running() {
      {
        const std::scoped_lock lock(Engine.FMutex);
        if (Engine.FRequest) WinHttpCloseHandle(Engine.FRequest);
        Engine.FRequest = nullptr;
      }
      Engine.FRunning = false;
      if (Engine.FDrop) Engine.DropConnections();
    }
  } running{*this};
  FCurrent = &request;
  FSecureFailure = 0;
  if (request.Cancelled && *request.Cancelled) {
    throw EVqHTTPApiException("WinHttpOpenRequest", "The request was cancelled.", VqErrCancelled);
  }
  if (!request.Session.ConnectTo.empty()) {
    throw EVqHTTPApiException(
        "WinHttpConnect", "On Windows a host is found by its name alone: ConnectTo is not offered.", VqErrNotSupported);
  }
  Open(request);
  SetUp(request);
  // Between the look above and the handle a cancellation finds nothing to close.
  if (request.Cancelled && *request.Cancelled) {
    throw EVqHTTPApiException("WinHttpSendRequest", "The request was cancelled.", VqErrCancelled);
  }

  TVqEngineReply reply;
  Send(request);
  TakeHeaders(reply);
  DWORD offered = 0, first = 0, target = 0;
  if (reply.Status == 407 && !request.ProxyUser.empty() &&
      WinHttpQueryAuthSchemes(FRequest, &offered, &first, &target) && target == WINHTTP_AUTH_TARGET_PROXY) {
    const DWORD scheme = offered & WINHTTP_AUTH_SCHEME_NEGOTIATE ? WINHTTP_AUTH_SCHEME_NEGOTIATE
                         : offered & WINHTTP_AUTH_SCHEME_NTLM    ? WINHTTP_AUTH_SCHEME_NTLM
                                                                 : WINHTTP_AUTH_SCHEME_BASIC;
    if (!WinHttpSetCredentials(FRequest, target, scheme, Wide(request.ProxyUser).c_str(),
                               Wide(request.ProxyPassword).c_str(), nullptr)) {
      RaiseFailure("WinHttpSetCredentials");
    }
    reply.ProxyCredentialsSent = true;
    Send(request);
    TakeHeaders(reply);
  }
  reply.CredentialsSent = request.Scheme != schemeNone;
  TakeBody(request, !request.OnHeaders || request.OnHeaders(reply.Status));
  return reply;
}

void TVqWinEngine::Wake() noexcept {
  const std::scoped_lock lock(FMutex);
  // A synchronous call cannot be told to look: its handle is closed under it, and it fails with number 6.
  if (!FRequest || !FCurrent || !FCurrent->Cancelled || !*FCurrent->Cancelled) return;
  WinHttpCloseHandle(FRequest);
  FRequest = nullptr;
}

void TVqWinEngine::DropConnections() noexcept {
  FDrop = true;
  if (FRunning.exchange(true)) return;
  if (FDrop.exchange(false)) {
    FConnect.Close();
    FSession.Close();
  }
  FRunning = false;
}

}  // namespace

std::shared_ptr<TVqHTTPEngine> VqCreateHTTPEngine(bool) {
  return std::make_shared<TVqWinEngine>();
}

}  // namespace velmore
