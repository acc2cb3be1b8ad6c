#include "ews/events/uVqEWSNotifications.h"

#include <algorithm>

#include "ews/events/uVqEWSNotifications_p.h"
#include "platform/http/uVqHTTPClient.h"
#include "platform/http/uVqWinINet.h"

namespace velmore {
namespace {

using namespace std::chrono_literals;

// Milliseconds until the next connection.
constexpr std::int32_t kAfterShortConnection = 5000;
constexpr std::int32_t kAfterFault = 2500;
constexpr std::int32_t kAfterTimeOut = 500;
constexpr std::int32_t kAfterFailure = 5000;

constexpr auto kShortConnection = 60s;  // what lasts less is followed by a wait

// Time-outs in milliseconds. Nothing for two minutes is a line that died: the server ends each connection after one.
constexpr std::int32_t kConnectTimeOut = 1000;
constexpr std::int32_t kSendTimeOut = 5000;
constexpr std::int32_t kReceiveTimeOut = 120000;
constexpr std::int32_t kSubscribeTimeOut = 15000;

// What the server says of a subscription that no further connection will bring back.
constexpr const char* kForgotten[] = {"ErrorSubscriptionNotFound", "ErrorInvalidSubscription",
                                      "ErrorExpiredSubscription",  "ErrorSubscriptionUnsubscribed",
                                      "ErrorReadEventsFailed",     "ErrorMissedNotificationEvents"};

thread_local TVqEWSGetEvents* CurrentReader = nullptr;

string TextOf(const std::exception_ptr& failure) {
  try {
    std::rethrow_exception(failure);
  } catch (const std::exception& known) {
    return string(known.what());
  } catch (...) {
    return "An exception of another kind.";
  }
}

/// What the HTTP layer's numbers mean for the next connection.
std::int32_t DelayAfter(std::uint32_t number) {
  if (number == VqErrTimeOut) return kAfterTimeOut;
  return number == VqErrCancelled ? 0 : kAfterFailure;
}

}  // namespace

TVqEWSGetEvents::TVqEWSGetEvents(TVqEWSSingleStoreFolderEvents& AOwner, TVqEWSEventGroup& AGroup)
    : FGround(AOwner.FGround), FGroup(AGroup), FWrapper(AOwner.FSession) {}

TVqEWSGetEvents::~TVqEWSGetEvents() {
  if (!FThread.joinable()) return;
  Terminate();
  FThread.join();
}

TVqEWSGetEvents* TVqEWSGetEvents::Current() noexcept {
  return CurrentReader;
}

bool TVqEWSGetEvents::IsOf(const TVqEWSSingleStoreFolderEvents& AOwner) const noexcept {
  return FGround == AOwner.FGround;
}

// ---- Of the application's thread

void TVqEWSGetEvents::Prepare() {
  const TVqRef<IVqSOAPRequest> request = FWrapper->CreateRequest(nullptr, "m:GetStreamingEvents", string());
  FWrapper = nullptr;
  InitializeSOAPRequest(FGroup, *request);
  request->GetDocument().SaveToStream(FBody, kVqCodePageUtf8, true, false);
  FThread = std::thread([self = shared_from_this()] { self->Execute(); });
}

void TVqEWSGetEvents::StartListening() {
  {
    const std::scoped_lock lock(FMutex);
    FStartEvent = true;
  }
  FChanged.notify_all();
}

void TVqEWSGetEvents::Terminate() {
  TVqRef<IVqHTTPRequestEx> request;
  {
    const std::scoped_lock lock(FMutex);
    FStartEvent = true;  // a thread that was never started gets out of its wait
    FTerminated = true;
    std::swap(request, FHTTPRequest);
    FWaitEvent = true;
  }
  if (request) request->Cancel();
  FChanged.notify_all();
}

void TVqEWSGetEvents::WaitFor() {
  if (FThread.joinable()) FThread.join();
}

void TVqEWSGetEvents::Leave() {
  FThread.detach();
}

// ---- The thread

void TVqEWSGetEvents::Execute() {
  CurrentReader = this;
  {
    std::unique_lock lock(FMutex);
    FChanged.wait(lock, [this] { return FStartEvent; });
  }
  ClearRequest();
  while (!FTerminated) {
    if (FForgotten && CanResubscribe()) {
      Resubscribe();
    } else {
      Connect();
    }
    if (FTerminated) break;
    const std::int32_t delay = FWaitTime.exchange(0);
    if (delay == 0) continue;
    Tell({.State = TVqEWSConnectionState::waiting, .Delay = delay});
    WaitBeforeNext(std::chrono::milliseconds(delay));
  }
}

/// One connection, from its client to the delay behind it. No failure goes further.
void TVqEWSGetEvents::Connect() {
  TVqRef<IVqHTTPClient> client;
  FConnected = false;
  try {
    client = NewClient();
    Perform(client);
  } catch (const EVqHTTPApiException& failure) {
    FWaitTime.exchange(DelayAfter(failure.GetNumber()));
    TellLost(string());
  } catch (...) {
    FWaitTime.exchange(kAfterFailure);
    TellLost(string());
  }
  ClearRequest();
  if (!client) return;
  client->SetOnDataReceived(nullptr);
  // What pins a stream to a back end is not for the other requests of the session.
  client->GetComponent()->RemoveCookies("X-BackEndOverrideCookie");
  FGround->SetToken(client->GetOAuth().GetAccessToken());
}

void TVqEWSGetEvents::Perform(const TVqRef<IVqHTTPClient>& AClient) {
  FBody.SetPosition(0);
  FCutter.Clear();
  FCutter.SetLimit(FGround->StreamLimit);
  InitializeHTTPClient(*AClient);
  const TVqRef<IVqHTTPRequestEx> request =
      AClient->CreateRequest(TVqHTTPVerb::post, FGround->ServiceURL, FBody.ReadAll(), "text/xml");
  SetRequest(request);
  InitializeHTTPRequest(*request);
  const TClock::time_point start = Now();
  const TVqRef<IVqHTTPResponse> response = request->Execute();
  ClearRequest();
  if (std::chrono::floor<std::chrono::seconds>(Now() - start) < kShortConnection) {
    FWaitTime.exchange(kAfterShortConnection);
  }
  const TVqHTTPStatus status = response->GetStatus();
  string text;
  if (status.Code >= 300) {
    text = Format("The server answered with status %d (%s).", {static_cast<std::int32_t>(status.Code), status.Text});
    const string hint = response->GetAuthenticationHint();
    if (!hint.empty()) text = text + " " + hint;
  } else if (!FConnected) {
    text = "The server answered with no stream of events.";
  }
  TellLost(text);
}

/// A client with the settings of the template.
TVqRef<IVqHTTPClient> TVqEWSGetEvents::NewClient() const {
  if (!FGround->Client) throw EVqException("There is no active EWS Session!").NoteSessionUnusable();
  TVqHTTPClientBase& pattern = *FGround->Client->GetComponent();
  const TVqRef<IVqHTTPClient> made = TVqHTTPClient(dynamic_cast<TVqWinINetClient*>(&pattern) == nullptr);
  TVqHTTPClientBase& client = *made->GetComponent();
  client.ShareSessionOf(pattern);
  client.SetHTTPVersion(pattern.GetHTTPVersion());
  client.SetAuthentication(pattern.GetAuthentication());
  client.GetCredentials().Assign(pattern.GetCredentials());
  client.GetProxyCredentials().Assign(pattern.GetProxyCredentials());
  client.GetOAuth().Assign(pattern.GetOAuth());
  const TVqOAuthAccessToken token = FGround->Token();
  if (!token.GetExpired()) client.GetOAuth().SetAccessToken(token);
  client.SetSecurityFlags(pattern.GetSecurityFlags());
  client.SetAllowPlainTextPassword(pattern.GetAllowPlainTextPassword());
  client.GetRequestHeaders().SetAccept("text/xml");
  return made;
}

void TVqEWSGetEvents::InitializeHTTPClient(IVqHTTPClient& AClient) {
  AClient.GetTimeOuts().SetConnect(kConnectTimeOut);
  AClient.GetTimeOuts().SetSend(kSendTimeOut);
  AClient.GetTimeOuts().SetReceive(kReceiveTimeOut);
  AClient.SetUseCookies(true);
  AClient.SetOnDataReceived(
      [this](TVqComponent& sender, TVqHTTPReplyStream& stream) { OnDataReceived(sender, stream); });
}

void TVqEWSGetEvents::InitializeHTTPRequest(IVqHTTPRequestEx& ARequest) {
  ARequest.SetCookie("exchangecookie", FGround->ExchangeCookie);
}

void TVqEWSGetEvents::InitializeSOAPRequest(TVqEWSEventGroup& AGroup, IVqSOAPRequest& ARequest) {
  const IVqDOMElement ids = ARequest.GetMethod().AddElement("m:SubscriptionIds");
  for (std::int32_t i = 0; i < AGroup.Count(); ++i) {
    ids.AddElement("t:SubscriptionId").SetText(AGroup.GetItem(i).GetSubscriptionId());
  }
  ARequest.GetMethod().AddElement("m:ConnectionTimeout").SetText("1");  // minutes; fixed, on purpose
}

void TVqEWSGetEvents::SetRequest(const TVqRef<IVqHTTPRequestEx>& ARequest) {
  const std::scoped_lock lock(FMutex);
  FHTTPRequest = ARequest;
  if (FTerminated) ARequest->Cancel();  // it ends at its start
}

void TVqEWSGetEvents::ClearRequest() noexcept {
  TVqRef<IVqHTTPRequestEx> request;  // goes when the lock is released
  const std::scoped_lock lock(FMutex);
  std::swap(request, FHTTPRequest);
}

void TVqEWSGetEvents::WaitBeforeNext(std::chrono::milliseconds ATime) {
  WaitUntilTerminated(ATime);
}

void TVqEWSGetEvents::WaitUntilTerminated(std::chrono::milliseconds ATime) {
  std::unique_lock lock(FMutex);
  FChanged.wait_for(lock, ATime, [this] { return FWaitEvent; });
}

// ---- What the server says

void TVqEWSGetEvents::OnDataReceived(TVqComponent&, TVqHTTPReplyStream& AStream) {
  if (FTerminated) return;
  FCutter.Add(AStream.Bytes());
  AStream.Clear();
  const bool eager = FGround->EagerDispatch;
  while (std::optional<std::string> envelope = FCutter.Take()) {
    TakeEnvelope(std::move(*envelope));
    // On purpose one at a time: a second one waits for the next bytes, unless the application is in a hurry.
    if (!eager || FTerminated) return;
  }
}

void TVqEWSGetEvents::TakeEnvelope(std::string AEnvelope) {
  const TVqDOMDocument document;
  document.SetLimits(VqSOAPReplyLimits());
  document.SetOnParseError([](const IVqSAXLocator&, const string& message) { throw EAbort(message); });
  document.LoadFromBytes(AEnvelope, kVqCodePageUtf8);
  const IVqDOMElement fault = document.SelectSingleElement("/Envelope/Body/Fault", kSelectQuiet);
  if (fault) {
    // Counts when the connection ends, and only if it lasted a minute: the other delay takes its place, on purpose.
    FWaitTime.exchange(kAfterFault);
    return Refused(fault.SelectSingleElement("detail/ResponseCode", kSelectQuiet).GetText(),
                   fault.SelectSingleElement("faultstring", kSelectQuiet).GetText(), {});
  }
  LookAtAnswer(document);
  FGround->ProcessEvents(document);
}

/// Looks for refusals, which change nothing unless the application wants them to.
void TVqEWSGetEvents::LookAtAnswer(const IVqDOMDocument& ADocument) {
  bool refused = false;
  for (const IVqDOMElement& message : ADocument.CreateElementList(
           "/Envelope/Body/GetStreamingEventsResponse/ResponseMessages/GetStreamingEventsResponseMessage",
           kSelectQuiet)) {
    if (message.GetAttribute("ResponseClass") == "Success") continue;
    std::vector<string> ids;
    for (const IVqDOMElement& id : message.CreateElementList("ErrorSubscriptionIds/SubscriptionId", kSelectQuiet)) {
      ids.push_back(id.GetText());
    }
    refused = true;
    Refused(message.SelectSingleElement("ResponseCode", kSelectQuiet).GetText(),
            message.SelectSingleElement("MessageText", kSelectQuiet).GetText(), std::move(ids));
  }
  if (refused || FConnected) return;
  FConnected = true;
  Tell({.State = TVqEWSConnectionState::connected});
}

void TVqEWSGetEvents::Refused(const string& ACode, const string& AText, std::vector<string> AIds) {
  const auto same = [&](const char* code) { return ACode == code; };
  if (std::any_of(std::begin(kForgotten), std::end(kForgotten), same)) FForgotten = true;
  FConnected = true;  // the server was reached: what ends now is told as it is
  Tell({.State = TVqEWSConnectionState::refused, .Text = AText, .Code = ACode, .SubscriptionIds = std::move(AIds)});
}

// ---- The observer

void TVqEWSGetEvents::Tell(TVqEWSConnectionReport AReport) {
  const TVqEWSConnectionStateEvent observer = FGround->Observer();
  if (!observer || FTerminated) return;
  AReport.GroupCode = FGroup.GetGroupCode();
  try {
    observer(AReport);
  } catch (...) {
    // Whoever looks on changes nothing.
  }
}

/// The connection has ended: by the failure that is being handled, if any.
void TVqEWSGetEvents::TellLost(const string& AText) {
  const std::exception_ptr failure = std::current_exception();
  Tell({.State = TVqEWSConnectionState::lost, .Failure = failure, .Text = failure ? TextOf(failure) : AText});
}

// ---- Subscribing anew

bool TVqEWSGetEvents::CanResubscribe() const {
  if (!FGround->Resubscribe) return false;
  for (std::int32_t i = 0; i < FGroup.Count(); ++i) {
    if (FGroup.GetItem(i).FRequest.empty()) return false;  // Resubscribe was off at Start
  }
  return true;
}

void TVqEWSGetEvents::Resubscribe() {
  TVqRef<IVqHTTPClient> client;
  try {
    client = NewClient();
    BeforeResubscribe();
    InitializeHTTPClient(*client);
    client->SetOnDataReceived(nullptr);
    client->GetTimeOuts().Assign({kSubscribeTimeOut, kSubscribeTimeOut, kSubscribeTimeOut});
    for (std::int32_t i = 0; i < FGroup.Count() && !FTerminated; ++i) {
      TVqEWSEventSubscription& subscription = FGroup.GetItem(i);
      const string old = subscription.GetSubscriptionId();
      subscription.SetSubscriptionId(SubscribeAgain(*client, subscription));
      FGround->IndexSubscription(old, subscription);
    }
    WriteSubscriptionIds();
    FForgotten = false;
    Tell({.State = TVqEWSConnectionState::resubscribed});
  } catch (...) {
    FWaitTime.exchange(kAfterFailure);
    TellLost(string());
  }
  ClearRequest();
  if (client) FGround->SetToken(client->GetOAuth().GetAccessToken());
}

/// The id that the server gives.
string TVqEWSGetEvents::SubscribeAgain(IVqHTTPClient& AClient, TVqEWSEventSubscription& ASubscription) {
  const TVqRef<IVqHTTPRequestEx> request =
      AClient.CreateRequest(TVqHTTPVerb::post, FGround->ServiceURL, ASubscription.FRequest, "text/xml; charset=utf-8");
  if (AClient.GetAdditionalHeaders().Count() == 0) {
    request->SetHeader("X-AnchorMailbox", ASubscription.GetStoreIdentity());
  }
  SetRequest(request);
  InitializeHTTPRequest(*request);
  const TVqRef<IVqHTTPResponse> response = request->Execute();
  ClearRequest();
  const TVqDOMDocument document;
  document.SetLimits(VqSOAPReplyLimits());
  document.LoadFromBytes(response->GetBody());
  const IVqDOMElement message = document.SelectSingleElement(
      "/Envelope/Body/SubscribeResponse/ResponseMessages/SubscribeResponseMessage", kSelectRequired);
  if (message.GetAttribute("ResponseClass") != "Success") {
    throw EEWSException(message.SelectSingleElement("ResponseCode", kSelectQuiet).GetText(),
                        message.SelectSingleElement("MessageText", kSelectQuiet).GetText(), 0);
  }
  AfterResubscribed(ASubscription, *response);
  return message.SelectSingleElement("SubscriptionId", kSelectRequired).GetText();
}

void TVqEWSGetEvents::AfterResubscribed(TVqEWSEventSubscription&, const IVqHTTPResponse&) {}

/// Puts the present ids into the request, which was composed once.
void TVqEWSGetEvents::WriteSubscriptionIds() {
  const TVqDOMDocument document;
  document.LoadFromBytes(FBody.Bytes(), kVqCodePageUtf8);
  const IVqDOMElement ids =
      document.SelectSingleElement("/Envelope/Body/GetStreamingEvents/SubscriptionIds", kSelectRequired);
  ids.RemoveAllChildren();
  for (std::int32_t i = 0; i < FGroup.Count(); ++i) {
    ids.AddElement("t:SubscriptionId").SetText(FGroup.GetItem(i).GetSubscriptionId());
  }
  FBody.Clear();
  document.SaveToStream(FBody, kVqCodePageUtf8, true, false);
}

}  // namespace velmore
