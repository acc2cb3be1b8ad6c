#include "platform/http/uVqHTTPBase.h"

#include <condition_variable>
#include <optional>

#include "platform/http/uVqHTTPExchange_p.h"

namespace velmore {

// ---- Reply stream

void TVqHTTPReplyStream::Consume(std::size_t ACount) noexcept {
  FBytes.erase(0, ACount < FBytes.size() ? ACount : FBytes.size());
  FPosition = 0;
}

// ---- Session

TVqHTTPSessionBase::TVqHTTPSessionBase(TVqComponent* AOwner)
    : TVqComponent(AOwner), FState(std::make_shared<TVqHTTPSessionState>()) {
  FState->Component = this;
}

TVqHTTPSessionBase::~TVqHTTPSessionBase() {
  SetActive(false);
  const std::scoped_lock lock(FState->Mutex);
  if (FState->Component == this) FState->Component = nullptr;
}

bool TVqHTTPSessionBase::GetActive() const {
  const std::scoped_lock lock(FState->Mutex);
  return FState->Active;
}

void TVqHTTPSessionBase::SetActive(bool AValue) {
  std::vector<std::weak_ptr<TVqHTTPEngine>> engines;
  {
    const std::scoped_lock lock(FState->Mutex);
    FState->Active = AValue;
    if (AValue) return;
    engines = FState->Engines;
  }
  // Outside the lock: closing connections talks to sockets.
  for (const auto& weak : engines) {
    if (const auto engine = weak.lock()) engine->DropConnections();
  }
}

namespace {

// A handler may take itself away while it runs: the copy lives on.
template <typename Event, typename... Args>
void Fire(const Event& event, Args&&... args) {
  const Event copy = event;
  if (copy) copy(std::forward<Args>(args)...);
}

string Read(const TVqHTTPSessionState& state, std::string TVqHTTPSessionSettings::*member) {
  const std::scoped_lock lock(state.Mutex);
  return state.Settings.*member;
}

void Write(TVqHTTPSessionState& state, std::string TVqHTTPSessionSettings::*member, const string& value) {
  std::string utf8 = value.utf8();
  const std::scoped_lock lock(state.Mutex);
  state.Settings.*member = std::move(utf8);
}

}  // namespace

string TVqHTTPSessionBase::GetUserAgent() const {
  return Read(*FState, &TVqHTTPSessionSettings::UserAgent);
}

void TVqHTTPSessionBase::SetUserAgent(const string& AValue) {
  VqCheckHeader("User-Agent", AValue.utf8());
  Write(*FState, &TVqHTTPSessionSettings::UserAgent, AValue);
}

string TVqHTTPSessionBase::GetProxyServer() const {
  return Read(*FState, &TVqHTTPSessionSettings::ProxyServer);
}

void TVqHTTPSessionBase::SetProxyServer(const string& AValue) {
  VqCheckProxyServer(AValue.utf8());
  Write(*FState, &TVqHTTPSessionSettings::ProxyServer, AValue);
}

string TVqHTTPSessionBase::GetProxyServerBypass() const {
  return Read(*FState, &TVqHTTPSessionSettings::ProxyServerBypass);
}

void TVqHTTPSessionBase::SetProxyServerBypass(const string& AValue) {
  Write(*FState, &TVqHTTPSessionSettings::ProxyServerBypass, AValue);
}

TVqHTTPAccessType TVqHTTPSessionBase::GetAccessType() const {
  const std::scoped_lock lock(FState->Mutex);
  return FState->Settings.AccessType;
}

void TVqHTTPSessionBase::SetAccessType(TVqHTTPAccessType AValue) {
  const std::scoped_lock lock(FState->Mutex);
  FState->Settings.AccessType = AValue;
}

TVqHTTPCookies& TVqHTTPSessionBase::GetCookies() {
  return FState->Cookies;
}

string TVqHTTPSessionBase::GetCAFile() const {
  return Read(*FState, &TVqHTTPSessionSettings::CAFile);
}

void TVqHTTPSessionBase::SetCAFile(const string& AValue) {
  Write(*FState, &TVqHTTPSessionSettings::CAFile, AValue);
}

string TVqHTTPSessionBase::GetCRLFile() const {
  return Read(*FState, &TVqHTTPSessionSettings::CRLFile);
}

void TVqHTTPSessionBase::SetCRLFile(const string& AValue) {
  Write(*FState, &TVqHTTPSessionSettings::CRLFile, AValue);
}

TVqHTTPTlsVersion TVqHTTPSessionBase::GetLowestTls() const {
  const std::scoped_lock lock(FState->Mutex);
  return FState->Settings.LowestTls;
}

void TVqHTTPSessionBase::SetLowestTls(TVqHTTPTlsVersion AValue) {
  if (AValue > TVqHTTPTlsVersion::tls13)
    throw EVqHTTPInvalidArgument("SetLowestTls", "There is no such version of TLS.");
  const std::scoped_lock lock(FState->Mutex);
  FState->Settings.LowestTls = AValue;
}

TVqHTTPLimits TVqHTTPSessionBase::GetLimits() const {
  const std::scoped_lock lock(FState->Mutex);
  return FState->Settings.Limits;
}

void TVqHTTPSessionBase::SetLimits(const TVqHTTPLimits& AValue) {
  const std::scoped_lock lock(FState->Mutex);
  FState->Settings.Limits = AValue;
}

std::map<string, string> TVqHTTPSessionBase::GetConnectTo() const {
  const std::scoped_lock lock(FState->Mutex);
  std::map<string, string> map;
  for (const auto& [from, to] : FState->Settings.ConnectTo) map.emplace(from, to);
  return map;
}

void TVqHTTPSessionBase::SetConnectTo(const std::map<string, string>& AValue) {
  std::vector<std::pair<std::string, std::string>> entries;
  for (const auto& [from, to] : AValue) {
    for (const string& one : {from, to}) {
      TVqHTTPProxyAddress parts;
      const std::string text = one.utf8();
      if (text.find("://") == std::string::npos && VqReadProxyAddress(text, parts) && parts.User.empty() &&
          parts.Address.size() > parts.Host.size()) {
        continue;
      }
      throw EVqHTTPInvalidArgument("SetConnectTo", Format("\"%s\" is not of the form \"host:port\".", {one}));
    }
    entries.emplace_back(LowerCase(from).utf8(), to.utf8());
  }
  const std::scoped_lock lock(FState->Mutex);
  FState->Settings.ConnectTo = std::move(entries);
}

void TVqHTTPSessionBase::Cancel() noexcept {
  const std::scoped_lock lock(FState->Mutex);
  for (TVqHTTPClientBase* const client : FState->Clients) client->Cancel();
}

// ---- Identities

std::shared_ptr<const TVqHTTPIdentity> TVqHTTPSessionState::Identify(TVqHTTPAuthentication authentication,
                                                                     const TVqCredentials& credentials,
                                                                     const TVqCredentials& proxyCredentials,
                                                                     const TVqOAuth& oauth) {
  const std::scoped_lock lock(Mutex);
  for (const auto& known : Identities) {
    if (known->SameAs(authentication, credentials, proxyCredentials, oauth)) return known;
  }
  auto made = std::make_shared<const TVqHTTPIdentity>(
      TVqHTTPIdentity{authentication, credentials, proxyCredentials, oauth, ++LastIdentity});
  Identities.push_back(made);
  return made;
}

void TVqHTTPSessionState::ForgetTheGone() {
  std::vector<std::uint64_t> left;
  {
    const std::scoped_lock lock(Mutex);
    std::erase_if(Identities, [](const auto& identity) { return identity.use_count() == 1; });
    for (const auto& identity : Identities) left.push_back(identity->Number);
  }
  Cookies.ForgetAllBut(left);
}

TVqEngineRequest::~TVqEngineRequest() {
  VqWipe(Password);
  VqWipe(ProxyPassword);
  for (std::string& line : Headers) {
    if (VqSameAscii(std::string_view(line).substr(0, 14), "Authorization:")) VqWipe(line);
  }
}

// ---- Client

TVqHTTPClientBase::TVqHTTPClientBase(TVqComponent* AOwner, bool AUseWinHTTP)
    : TVqComponent(AOwner), FAdditionalHeaders(false), FEngine(VqCreateHTTPEngine(AUseWinHTTP)) {}

TVqHTTPClientBase::~TVqHTTPClientBase() {
  LeaveSession();
}

void TVqHTTPClientBase::LeaveSession() noexcept {
  if (!FSession) return;
  {
    const std::scoped_lock lock(FSession->Mutex);
    std::erase_if(FSession->Engines, [this](const auto& weak) { return weak.lock() == FEngine; });
    std::erase(FSession->Clients, this);
  }
  FIdentity = nullptr;
  FSession = nullptr;
}

// Looked at before each request: credentials and settings are handed out by reference, so nothing else notices a
// change.
std::uint64_t TVqHTTPClientBase::Identify() {
  if (FIdentity && FIdentity->SameAs(FAuthentication, FCredentials, FProxyCredentials, FOAuth))
    return FIdentity->Number;
  const bool changed = FIdentity != nullptr;
  FIdentity = FSession->Identify(FAuthentication, FCredentials, FProxyCredentials, FOAuth);
  if (changed) {
    FEngine->DropConnections();
    FKnownScheme = schemeNone;
    FSession->ForgetTheGone();
  }
  return FIdentity->Number;
}

void TVqHTTPClientBase::ShareSession(TVqHTTPSessionBase* ASession) {
  Share(ASession ? ASession->FState : nullptr);
}

void TVqHTTPClientBase::Share(const std::shared_ptr<TVqHTTPSessionState>& AState) {
  if (AState == FSession) return;
  LeaveSession();
  FEngine->DropConnections();
  FKnownScheme = schemeNone;
  FSession = AState;
  if (FSession) {
    const std::scoped_lock lock(FSession->Mutex);
    FSession->Engines.push_back(FEngine);
    FSession->Clients.push_back(this);
  }
}

TVqRef<IVqHTTPSession> TVqHTTPClientBase::GetSession() {
  if (!FSession) {
    TVqHTTPSessionBase* const own = CreateOwnSession();  // owned by this component
    ShareSession(own);
    return TVqRef<IVqHTTPSession>(own);
  }
  {
    const std::scoped_lock lock(FSession->Mutex);
    if (FSession->Component) return TVqRef<IVqHTTPSession>(FSession->Component);
  }
  // The session that it shared is gone. Its settings and cookies are not: somebody chose them for this client.
  TVqHTTPSessionBase* const own = CreateOwnSession();
  own->FState = FSession;
  const std::scoped_lock lock(FSession->Mutex);
  FSession->Component = own;
  return TVqRef<IVqHTTPSession>(own);
}

void TVqHTTPClientBase::SetAuthentication(TVqHTTPAuthentication AValue) {
  switch (AValue) {
    case TVqHTTPAuthentication::anonymous:
    case TVqHTTPAuthentication::byChallenge:
    case TVqHTTPAuthentication::basic:
    case TVqHTTPAuthentication::ntlm:
    case TVqHTTPAuthentication::negotiate:
    case TVqHTTPAuthentication::oAuth:
      FAuthentication = AValue;
      return;
  }
  throw EVqHTTPInvalidArgument("SetAuthentication", "There is no such authentication scheme.");
}

void TVqHTTPClientBase::SetSecurityFlags(TVqHTTPSecurityFlags AValue) {
  if (AValue == FSecurityFlags) return;
  FSecurityFlags = AValue;
  FEngine->DropConnections();
}

bool TVqHTTPClientBase::AskAfterError(std::uint32_t) {
  return false;
}

TVqRef<IVqHTTPRequestEx> TVqHTTPClientBase::CreateRequest(TVqHTTPVerb AVerb, const string& AURL, std::string ABody,
                                                          const string& AContentType) {
  auto request = MakeRef<TVqHTTPRequest>(this, AVerb, AURL, true, std::move(ABody));
  request->SetHeader("Content-Type", AContentType);
  return request;
}

TVqRef<IVqHTTPRequestEx> TVqHTTPClientBase::CreateRequest(TVqHTTPVerb AVerb, const string& AURL) {
  return MakeRef<TVqHTTPRequest>(this, AVerb, AURL, false, std::string());
}

void TVqHTTPClientBase::Request(TVqRef<IVqHTTPResponse>& AResponse, TVqHTTPVerb AVerb, const string& AURL,
                                std::string ABody, const string& AContentType, bool ARaiseOnStatus) {
  AResponse = nullptr;
  AResponse = CreateRequest(AVerb, AURL, std::move(ABody), AContentType)->Execute();
  const TVqHTTPStatus status = AResponse->GetStatus();
  if (ARaiseOnStatus && status.Code >= 400) {
    throw EVqHTTPException(Format("The server refused the request with status %d (%s).",
                                  {static_cast<std::int32_t>(status.Code), status.Text}),
                           status.Code);
  }
}

void TVqHTTPClientBase::Request(TVqRef<IVqHTTPResponse>& AResponse, TVqHTTPVerb AVerb, const string& AURL) {
  AResponse = nullptr;
  AResponse = CreateRequest(AVerb, AURL)->Execute();
}

void TVqHTTPClientBase::Cancel() noexcept {
  const std::scoped_lock lock(FRunningMutex);
  if (FRunning) FRunning->Cancel();
}

void TVqHTTPClientBase::RemoveCookies(const string& AName) {
  if (FSession) FSession->Cookies.Remove(AName);
}

void TVqHTTPClientBase::CloseConnections() noexcept {
  FEngine->CloseConnections();
}

/// What a client is while a request is under way: taken, and to be cancelled.
class TVqHTTPClientBase::TBusy {
 public:
  TBusy(TVqHTTPClientBase& client, TVqHTTPRequest& request) : FAlive(&client) {
    if (client.FBusy.exchange(true)) throw EVqException("The HTTP client is busy with another request.");
    {
      const std::scoped_lock lock(client.FRunningMutex);
      client.FRunning = &request;
    }
    request.Begin();
    FStopped.emplace(client.FStopToken,
                     std::bind_front(&TVqHTTPRequest::Stop, &request));  // at once, if it was asked for before
  }
  ~TBusy() {
    FStopped.reset();
    {
      const std::scoped_lock lock(FAlive->FRunningMutex);
      FAlive->FRunning = nullptr;
    }
    FAlive->FBusy = false;
  }
  TBusy(const TBusy&) = delete;
  TBusy& operator=(const TBusy&) = delete;

 private:
  const TVqRef<TVqHTTPClientBase> FAlive;
  std::optional<std::stop_callback<std::function<void()>>> FStopped;
};

void TVqHTTPClientBase::AcquireToken() {
  if (FAuthentication != TVqHTTPAuthentication::oAuth) return;
  const TVqRef<TVqHTTPRequest> request =
      MakeRef<TVqHTTPRequest>(this, TVqHTTPVerb::none, string(), false, std::string());
  const TBusy busy(*this, *request);
  if (!FSession) GetSession();
  CheckToken(*request);
  TokenInForce();
}

void TVqHTTPClientBase::Wait(std::chrono::milliseconds ATime) {
  const TVqRef<TVqHTTPRequest> waiting =
      MakeRef<TVqHTTPRequest>(this, TVqHTTPVerb::none, string(), false, std::string());
  const TBusy busy(*this, *waiting);
  std::mutex mutex;  // orders a cancellation and the look at it
  std::condition_variable cancelled;
  {
    const TVqHTTPRequest::TStopHook hook(*waiting, [&] {
      const std::scoped_lock lock(mutex);
      cancelled.notify_all();
    });
    std::unique_lock lock(mutex);
    cancelled.wait_for(lock, ATime, [&] { return waiting->IsEnding(); });
  }
  if (waiting->IsEnding()) throw EVqHTTPApiException("Wait", "The request was cancelled.", VqErrCancelled);
}

namespace {

/// What a handler raises, in place of a failure or behind the answer, knows nothing of what became of the request.
template <typename TWork>
void Telling(bool mayHaveHappened, TWork work) try {
  work();
} catch (EVqException& raised) {
  raised.NoteMayHaveHappened(mayHaveHappened);
  throw;
}

}  // namespace

TVqRef<IVqHTTPResponse> TVqHTTPClientBase::Execute(TVqHTTPRequest& ARequest) {
  const TVqRef<TVqHTTPClientBase> alive(this);
  const TVqRef<IVqHTTPRequest> request(&ARequest);
  TVqRef<IVqHTTPResponse> response;
  std::optional<TBusy> busy(std::in_place, *this, ARequest);
  try {
    Fire(FOnRequest, *this, request);
    bool renewed = false;
    for (;;) {
      if (!FSession) GetSession();
      response = TVqHTTPExchange(*this, ARequest, *FSession).Run();
      if (response->GetStatus().Code != 401) break;
      if (!renewed && RenewRefusedToken(ARequest, *response)) {
        renewed = true;  // another token is no better than the first: it is tried once
        continue;
      }
      if (!AskAfterError(VqErrLoginFailure)) break;
    }
    busy.reset();
  } catch (const EVqHTTPInvalidArgument&) {
    throw;
  } catch (const EVqHTTPApiException& error) {
    busy.reset();
    Telling(error.MayHaveHappened(), [&] {
      if (error.GetNumber() != VqErrCancelled) AskAfterError(error.GetNumber());
      // For bodiless requests only: a request with a body is the job itself, its failure belongs to the caller.
      if (!ARequest.FHasBody) Fire(FOnError, *this, request, error.GetNumber());
    });
    throw;
  }
  Telling(true, [&] {
    Fire(ARequest.FHandler, response);
    Fire(FOnResponse, *this, response);
  });
  return response;
}

}  // namespace velmore
