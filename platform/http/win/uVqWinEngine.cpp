#include "platform/http/win/uVqWinEngine_p.h"

#include <algorithm>
#include <charconv>

#include "platform/common/uVqNetEncoding.h"
#include "platform/common/uVqSecret.h"
#include "platform/http/win/uVqWinErrors_p.h"

namespace velmore {

namespace {

/// Of a body, handed over at a time: what the stack takes shows that the server reads.
constexpr std::size_t kPiece = 65536;
/// In an answer of this length nothing was packed that would be worth a limit of its own.
constexpr std::size_t kLongestLine = 100U << 10;

}  // namespace

// ---- Failures

std::string TVqWinEngine::Host() const {
  const std::string_view url = FRequest->URL;
  const std::size_t start = url.find("://") + 3;
  return std::string(url.substr(start, url.find('/', start) - start));
}

void TVqWinEngine::RaiseCancelled() {
  throw EVqHTTPApiException(FName, "The request was cancelled.", VqErrCancelled);
}

void TVqWinEngine::RaiseTimeOut() {
  const string host(Host());
  const TVqHTTPTimeOuts& limits = FRequest->TimeOuts;
  if (Clock::now() >= FRequest->Deadline) {
    throw EVqHTTPApiException(FName,
                              Format("The call to \"%s\" took longer than %d ms.",
                                     {host, std::int64_t{FRequest->Session.Limits.TotalTime.count()}}),
                              VqErrTimeOut);
  }
  switch (FPhase) {
    case TPhase::connecting:
      throw EVqHTTPApiException(
          FName, Format("No connection to \"%s\" came about within %d ms.", {host, limits.GetConnect()}), VqErrTimeOut);
    case TPhase::sending:
      throw EVqHTTPApiException(
          FName, Format("The server \"%s\" took nothing of the request for %d ms.", {host, limits.GetSend()}),
          VqErrTimeOut);
    default:
      throw EVqHTTPApiException(FName, Format("The server \"%s\" sent nothing for %d ms.", {host, limits.GetReceive()}),
                                VqErrTimeOut);
  }
}

void TVqWinEngine::Raise(const char* api, DWORD error) {
  if (FRequest->IsCancelled()) RaiseCancelled();
  // A stack whose own limit came first may tell of a connection that ended.
  const bool late = FPhase == TPhase::sending && Clock::now() >= LimitAt();
  if (error == VqErrTimeOut || error == WSAETIMEDOUT || late) RaiseTimeOut();
  const string host(Host());
  const std::uint32_t distrust = FCall ? FCall->Distrust() : 0;
  if (const std::uint32_t number = distrust != 0 ? distrust : CertificateNumber(error); number != 0) {
    throw EVqHTTPApiException(
        api, Format("The certificate of \"%s\" is not accepted: %s.", {host, string(VqCertificateText(number))}),
        number);
  }
  const TVqWinError row = VqWinErrorOf(error, FAnswered);
  throw EVqHTTPApiException(api, Format(string(row.Text), {host}), row.Number);
}

// ---- Waiting

/// When the wait that is under way has lasted long enough.
TVqWinEngine::Clock::time_point TVqWinEngine::LimitAt() const {
  const TVqHTTPTimeOuts& limits = FRequest->TimeOuts;
  const int limit = FPhase == TPhase::connecting ? limits.GetConnect()
                    : FPhase == TPhase::sending  ? limits.GetSend()
                                                 : limits.GetReceive();
  return limit > 0 ? FProgress + std::chrono::milliseconds(limit) : Clock::time_point::max();
}

void TVqWinEngine::Enter(TPhase phase) noexcept {
  FPhase = phase;
  FProgress = Clock::now();
}

void TVqWinEngine::Await(TStep step) {
  bool late = false;
  const auto until = [this] {
    return std::min({LimitAt(), FRequest->Deadline, Clock::now() + std::chrono::seconds(1)});
  };
  const bool through = FCall->Wait(step, until, [&] {
    if (FPhase == TPhase::connecting && FCall->IsConnected()) Enter(TPhase::sending);
    if (FPhase == TPhase::sending && FCall->IsSent()) Enter(TPhase::receiving);
    late = Clock::now() >= std::min(LimitAt(), FRequest->Deadline);
    return late || FRequest->IsCancelled();
  });
  if (!through) {
    if (FRequest->IsCancelled()) RaiseCancelled();
    RaiseTimeOut();
  }
  if (const DWORD error = FCall->Error(); error != 0) Raise(FName, error);
  if (FPhase == TPhase::connecting) FPhase = TPhase::sending;
  FProgress = Clock::now();
}

// ---- Handles

void TVqWinEngine::CloseHandles() noexcept {
  FConnect.Reset();
  FSession.Reset();
  FKey.clear();
}

void TVqWinEngine::OpenHandles() {
  const TVqEngineRequest& request = *FRequest;
  const TVqHTTPSessionSettings& settings = request.Session;
  const std::string key = settings.UserAgent + "\n" + std::to_string(static_cast<int>(request.Route.Kind)) + "\n" +
                          request.Route.Proxy + "\n" + request.ProxyUser + "\n" +
                          std::to_string(request.SecurityFlags.Bits()) + "\n" + settings.CAFile + "\n" +
                          settings.CRLFile + "\n" + std::to_string(static_cast<int>(settings.LowestTls));
  if (FDrop.exchange(false) || key != FKey) CloseHandles();
  if (!FSession.Get()) {
    // Read anew for each set of connections, all of which are judged by what was read.
    const auto trust = std::make_shared<TVqWinTrust>();
    trust->Open(settings, request.SecurityFlags, JudgesAlways());
    FTrust = trust;
    OpenSession();
    FKey = key;
    FConnectKey.clear();
  }
  const std::string connectKey = FUrl.Host.utf8() + ":" + std::to_string(FUrl.Port);
  if (FConnect.Get() && connectKey == FConnectKey) return;
  FConnect.Reset(OpenConnect(VqWide(FUrl.Host.utf8()), FUrl.Port));
  if (!FConnect.Get()) RaiseLast(FName);
  FConnectKey = connectKey;
}

void TVqWinEngine::NewCall() {
  const TVqEngineRequest& request = *FRequest;
  std::string target = FUrl.Path.utf8();
  if (!FUrl.Query.empty()) target += "?" + FUrl.Query.utf8();
  const auto call = std::make_shared<TVqWinCall>(FClose);
  if (FUrl.IsHttps() && FTrust->IsOpen()) call->Trust = FTrust;
  call->Host = VqWide(FUrl.Host.utf8());
  {
    const std::scoped_lock lock(FCallMutex);
    FCall = call;
  }
  const DWORD_PTR number = TVqWinCall::Register(call);
  TVqWinHandleValue const handle = OpenRequest(VqWide(request.Verb), VqWide(target), number);
  if (!handle) {
    const DWORD error = GetLastError();
    TVqWinCall::Forget(number);
    Raise(FName, error);
  }
  call->SetHandle(handle);
}

// ---- Sending

void TVqWinEngine::SetUpHeaders() {
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
  SetUp(close);
  if (!encoding) lines += "Accept-Encoding: gzip, deflate\r\n";
  if (!request.Cookies.empty()) lines += "Cookie: " + request.Cookies + "\r\n";
  if (request.Scheme == schemeBasic) {
    // Ours and not the stack's, so that it goes out at once and can be overwritten.
    std::string plain = request.User + ":" + request.Password;
    lines += "Authorization: Basic " + VqBase64Encode(plain) + "\r\n";
    VqWipe(plain);
  }
  std::wstring wide = VqWide(lines);
  VqWipe(lines);
  const bool added = AddHeaders(wide);
  const DWORD error = added ? 0 : GetLastError();
  VqWipeWide(wide);
  if (!added) Raise(FName, error);
}

void TVqWinEngine::WritePieces(const std::function<void(const std::string& piece)>& write) {
  std::string& piece = FCall->Piece;
  for (std::size_t at = 0; at < FRequest->Body.size(); at += piece.size()) {
    piece = FRequest->Body.substr(at, kPiece);
    write(piece);
    Await(TStep::written);
  }
}

// ---- The reply

void TVqWinEngine::TakeHead() {
  const std::wstring head = Head();
  const std::string text = VqToUtf8(std::u16string(head.begin(), head.end()));
  // A connection that ended without a reply is a failure, whatever a stack makes of it.
  if (text.empty()) Raise(FName, VqErrConnectionAborted);
  FAnswered = true;
  const std::uint32_t most = FRequest->Session.Limits.HeaderBytes;
  if (most != 0 && text.size() > most) {
    throw EVqHTTPApiException(
        FName, Format("The headers of the reply of \"%s\" are longer than %d bytes.", {string(Host()), most}),
        VqErrInvalidServerResponse);
  }
  TakeHeaderLines(text);
}

void TVqWinEngine::TakeHeaderLines(std::string_view text) {
  FReply.Status = 0;
  FReply.Headers.clear();
  std::size_t at = 0;
  while (at < text.size()) {
    const std::size_t end = std::min(text.find("\r\n", at), text.size());
    const std::string_view line = text.substr(at, end - at);
    at = end + 2;
    if (line.size() > kLongestLine) {
      throw EVqHTTPApiException(FName,
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
  if (FReply.Status == 0) Raise(FName, VqErrInvalidServerResponse);
}

void TVqWinEngine::TakeBody() {
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
    AskAvailable();
    Await(TStep::available);
    const DWORD available = std::min(FCall->Count(), static_cast<DWORD>(FCall->Room.size()));
    if (available == 0) break;
    Read(available);
    Await(TStep::read);
    if (FCall->Count() == 0) break;
    // More than there is room for: a length that the server made up came through.
    if (FCall->Count() > available) Raise(FName, VqErrInvalidServerResponse);
    taken += FCall->Count();
    FIntake.Take({FCall->Room.data(), FCall->Count()}, [&](std::string_view unpacked) {
      if (request.OnBody) request.OnBody(unpacked);
    });
    // After the caller's work: the time that it takes is not the server's.
    FProgress = Clock::now();
  }
  if (counted && hasLength && taken < promised) Raise(FName, VqErrConnectionAborted);
  FIntake.End();
}

// ---- One exchange

TVqEngineReply TVqWinEngine::Perform(const TVqEngineRequest& request) {
  if (FRunning.exchange(true)) throw EVqException("The HTTP client is busy with another request.");
  struct Running {
    TVqWinEngine& Engine;
    ~Running() {
      std::shared_ptr<TVqWinCall> call;
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
  Enter(TPhase::connecting);
  if (request.IsCancelled()) RaiseCancelled();
  if (!request.Session.ConnectTo.empty()) {
    throw EVqHTTPApiException(FName, "On Windows a host is found by its name alone: ConnectTo is not offered.",
                              VqErrNotSupported);
  }
  if (request.Body.size() > 0xFFFFFFFFU)
    throw EVqHTTPInvalidArgument("Request", "A body of more than 4 GB cannot be sent on Windows.");
  OpenHandles();
  NewCall();
  SetUpHeaders();
  Enter(TPhase::connecting);
  Send();
  FReply.CredentialsSent = request.Scheme != schemeNone;
  TakeBody();
  return std::move(FReply);
}

void TVqWinEngine::Wake() noexcept {
  const std::scoped_lock lock(FCallMutex);
  if (FCall) FCall->Wake();
}

void TVqWinEngine::DropConnections() noexcept {
  FDrop = true;
  if (FRunning.exchange(true)) return;
  if (FDrop.exchange(false)) CloseHandles();
  FRunning = false;
}

std::shared_ptr<TVqHTTPEngine> VqCreateHTTPEngine(bool useWinHTTP) {
  return useWinHTTP ? VqCreateWinHTTPEngine() : VqCreateWinINetEngine();
}

}  // namespace velmore
