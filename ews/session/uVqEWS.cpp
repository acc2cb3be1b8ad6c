#include "ews/session/uVqEWS.h"

#include <algorithm>

#include "ews/model/internal/uVqEWSCall.h"
#include "ews/model/uVqEWSTimeZones.h"
#include "ews/session/uVqEWSClients_p.h"
#include "ews/stores/uVqEWSImpersonation.h"
#include "platform/http/internal/uVqHTTPText.h"
#include "platform/http/uVqHTTPClient.h"
#include "platform/http/uVqHTTPLook.h"
#include "platform/os/uVqEnvironment.h"
#include "platform/soap/uVqSOAPClient.h"
#include "platform/xml/uVqXMLUtils.h"

namespace velmore {

// ---- TVqEWSMsgStores

std::int32_t TVqEWSMsgStores::Count() {
  return FOwner.GetAdditionalMailboxes().Count() + 1;
}

string TVqEWSMsgStores::GetName(std::int32_t AIndex) {
  const TVqStrings& additional = FOwner.GetAdditionalMailboxes();
  return AIndex == 0 ? FOwner.GetDefaultMsgStore() : additional.GetItem(AIndex - 1);
}

// ---- Life

TVqEWSCustomSession::TVqEWSCustomSession(TVqComponent* AOwner)
    : TVqEWSBaseSession(AOwner), FCurrentTimeZoneContext(EwsMachineTimeZoneContext()) {}

TVqEWSCustomSession::~TVqEWSCustomSession() {
  BeforeDestruction();
  FreeClients();
}

void TVqEWSCustomSession::BeforeDestruction() {
  for (auto& [address, document] : FAutodiscoverResults) document = nullptr;
  FAutodiscoverResults.clear();
}

void TVqEWSCustomSession::FreeClients() {
  // In this order: each uses the next.
  FSOAPClient.reset();
  ReplaceHTTPClient(nullptr);
  FHTTPSession.reset();
}

std::unique_ptr<TVqHTTPClientBase> TVqEWSCustomSession::ReplaceHTTPClient(
    std::unique_ptr<TVqHTTPClientBase> AClient) noexcept {
  const std::scoped_lock lock(FClientMutex);
  FHTTPClient.swap(AClient);
  return AClient;
}

void TVqEWSCustomSession::Notification(TVqComponent* AComponent, TVqOperation AOperation) {
  TVqEWSBaseSession::Notification(AComponent, AOperation);
  if (AOperation == TVqOperation::opRemove && AComponent == FProfileContainer) FProfileContainer = nullptr;
}

// ---- What the server is

TServerVersion TVqEWSCustomSession::GetServerVersion() {
  if (!FActive) throw EVqException("You must logon first before you can get the ServerVersion!").NoteSessionUnusable();
  return FServerVersion;
}

const TServerVersionInfo& TVqEWSCustomSession::GetServerVersionInfo() const {
  if (!FActive) throw EVqException("You must logon first before you can get the ServerVersion!").NoteSessionUnusable();
  return FServerVersionInfo;
}

string TVqEWSCustomSession::GetServerDescription() const {
  const TServerVersionInfo& info = GetServerVersionInfo();
  const string numbers =
      Format("%d.%d.%d.%d", {info.MajorVersion, info.MinorVersion, info.MajorBuildNumber, info.MinorBuildNumber});
  const auto format = [&]() -> const char* {
    switch (FServerVersion) {
      case Exchange2007_SP1:
        return "Exchange Server 2007 SP1 (%s)";
      case Exchange2010:
        return "Exchange Server 2010 (%s)";
      case Exchange2010_SP1:
        return "Exchange Server 2010 SP1 (%s)";
      case Exchange2010_SP2:
        return "Exchange Server 2010 SP2 (%s)";
      case Exchange2013:
        return "Exchange Server 2013 (%s)";
      case Exchange2013_SP1:
        return "Exchange Server 2013 SP1 (%s)";
      case Exchange2015:
        return "Exchange Server 2015 (%s)";
      case Exchange2016:
      case V2015_10_05:
      case V2016_01_06:
        return "Exchange Server 2016 (%s)";
      default:
        return "Exchange Server (%s)";
    }
  };
  return Format(format(), {numbers});
}

// ---- Settings, passed on to live clients at once

void TVqEWSCustomSession::ForgetUser() {
  TVqEWSBaseSession::SetAccessToken({});
  SetDefaultStoreEmail({});
}

void TVqEWSCustomSession::SetAccessToken(const TVqOAuthAccessToken& AValue) {
  TVqEWSBaseSession::SetAccessToken(AValue);
  if (FHTTPClient) FHTTPClient->GetOAuth().SetAccessToken(AValue);
}

void TVqEWSCustomSession::SetCredentials(const TVqCredentials& AValue) {
  if (!(AValue == FCredentials)) ForgetUser();
  FCredentials.Assign(AValue);
  if (FHTTPClient) FHTTPClient->GetCredentials().Assign(FCredentials);
}

void TVqEWSCustomSession::SetOAuth(const TVqOAuth& AValue) {
  ForgetUser();
  FOAuth.Assign(AValue);
  if (FHTTPClient) FHTTPClient->GetOAuth().Assign(FOAuth);
}

TVqHTTPAuthentication TVqEWSCustomSession::LogonScheme() const {
  return FOAuth.GetClientId().empty() ? FAuthentication : TVqHTTPAuthentication::oAuth;
}

void TVqEWSCustomSession::SetAuthentication(TVqHTTPAuthentication AValue) {
  FAuthentication = AValue;
  if (FHTTPClient) FHTTPClient->SetAuthentication(LogonScheme());
}

void TVqEWSCustomSession::SetProxyCredentials(const TVqCredentials& AValue) {
  FProxyCredentials.Assign(AValue);
  if (FHTTPClient) FHTTPClient->GetProxyCredentials().Assign(FProxyCredentials);
}

void TVqEWSCustomSession::SetUserAgent(const string& AValue) {
  FUserAgent = AValue;
  if (FHTTPSession) FHTTPSession->SetUserAgent(AValue);
}

void TVqEWSCustomSession::SetProxyServer(const string& AValue) {
  FProxyServer = AValue;
  if (FHTTPSession) FHTTPSession->SetProxyServer(AValue);
}

void TVqEWSCustomSession::SetProxyServerBypass(const string& AValue) {
  FProxyServerBypass = AValue;
  if (FHTTPSession) FHTTPSession->SetProxyServerBypass(AValue);
}

void TVqEWSCustomSession::SetAccessType(TVqHTTPAccessType AValue) {
  FAccessType = AValue;
  if (FHTTPSession) FHTTPSession->SetAccessType(AValue);
}

void TVqEWSCustomSession::SetSecurityFlags(TVqHTTPSecurityFlags AValue) {
  FSecurityFlags = AValue;
  if (FHTTPClient) FHTTPClient->SetSecurityFlags(ClientKind().Heeded(AValue));
}

void TVqEWSCustomSession::SetLowestTls(TVqHTTPTlsVersion AValue) {
  FLowestTls = AValue;
  if (FHTTPSession) FHTTPSession->SetLowestTls(AValue);
}

void TVqEWSCustomSession::SetLimits(const TVqHTTPLimits& AValue) {
  FLimits = AValue;
  if (FHTTPSession) FHTTPSession->SetLimits(AValue);
}

void TVqEWSCustomSession::SetXMLLimits(const TVqXMLLimits& AValue) {
  FXMLLimits = AValue;
  if (FSOAPClient) FSOAPClient->SetReplyLimits(AValue);
}

void TVqEWSCustomSession::SetConnectTo(const std::map<string, string>& AValue) {
  FConnectTo = AValue;
  if (FHTTPSession) FHTTPSession->SetConnectTo(AValue);
}

void TVqEWSCustomSession::SetAllowPlainTextPassword(bool AValue) {
  FAllowPlainTextPassword = AValue;
  if (FHTTPClient) FHTTPClient->SetAllowPlainTextPassword(AValue);
}

void TVqEWSCustomSession::SetTimeOuts(const TVqHTTPTimeOuts& AValue) {
  FTimeOuts.Assign(AValue);
}

void TVqEWSCustomSession::SetParentWnd(TVqWindowHandle AValue) {
  FParentWnd = AValue;
  if (FHTTPClient) ClientKind().SetParentWnd(*FHTTPClient, AValue);
}

void TVqEWSCustomSession::SetNTService(bool AValue) {
  const bool wrongKind = FHTTPClient && AValue != FNTService;
  FNTService = AValue;
  if (wrongKind) {
    ReplaceHTTPClient(nullptr);
    FHTTPSession.reset();
    CheckHTTPClient();
    if (FSOAPClient) FSOAPClient->SetHTTPClient(FHTTPClient.get());
  }
  if (AValue) {  // a service has no desktop; setting false does not bring the dialogs back
    FLogonDialog = false;
    FPasswordDialog = false;
  }
}

void TVqEWSCustomSession::SetServiceUrl(const string& AValue) {
  if (AValue != FServiceUrl) FWireForms.Forget();  // another server may want the other form
  FServiceUrl = AValue;
}

void TVqEWSCustomSession::SetAutodiscoverEMail(const string& AValue) {
  FAutodiscoverEMail = AValue;
  if (!AValue.empty()) SetServiceUrl(string());
}

bool TVqEWSCustomSession::GetUseAutoDiscover() const {
  if (FServiceUrl.empty()) return true;
  return !FAutodiscoverEMail.empty() && FUseAutoDiscover;
}

const TVqGetOAuthAuthorizeFormEvent& TVqEWSCustomSession::GetOnGetOAuthAuthorizeForm() {
  return VqOnGetOAuthAuthorizeForm;
}

void TVqEWSCustomSession::SetOnGetOAuthAuthorizeForm(TVqGetOAuthAuthorizeFormEvent AValue) {
  VqOnGetOAuthAuthorizeForm = std::move(AValue);
}

void TVqEWSCustomSession::SetProfileContainer(TVqEWSProfileCustomContainer* AValue) {
  if (FProfileContainer) FProfileContainer->RemoveFreeNotification(this);
  FProfileContainer = AValue;
  if (AValue) AValue->FreeNotification(this);
}

std::int32_t TVqEWSCustomSession::GetProfileNames(TVqStrings* AStrings) {
  if (!FProfileContainer) return 0;
  TVqStrings names;
  const std::int32_t count = FProfileContainer->GetProfileNames(names);
  if (AStrings) AStrings->Assign(names);
  return count;
}

bool TVqEWSCustomSession::LoadProfile(const string& AName) {
  return FProfileContainer && FProfileContainer->LoadProfile(*this, AName);
}

void TVqEWSCustomSession::SaveProfile(const string& AName) {
  if (FProfileContainer) FProfileContainer->SaveProfile(*this, AName);
}

void TVqEWSCustomSession::AssignTo(TVqComponent* ADest) {
  auto* dest = dynamic_cast<TVqEWSCustomSession*>(ADest);
  if (!dest) return TVqEWSBaseSession::AssignTo(ADest);
  dest->SetActive(FActive);  // first: an active source logs the destination on with what it has
  dest->SetUserAgent(FUserAgent);
  dest->SetProxyServer(FProxyServer);
  dest->SetProxyServerBypass(FProxyServerBypass);
  dest->SetAccessType(FAccessType);
  dest->SetSecurityFlags(FSecurityFlags);
  dest->SetProfileName(FProfileName);
  dest->SetProfileRequired(FProfileRequired);
  dest->SetUseAutoDiscover(GetUseAutoDiscover());
  dest->SetServiceUrl(FServiceUrl);
  dest->SetAutodiscoverEMail(FAutodiscoverEMail);
  dest->SetConnectingSIDType(FConnectingSIDType);
  dest->SetConnectingSID(FConnectingSID);
  dest->SetNTService(FNTService);
  dest->SetLogonDialog(FLogonDialog);
  dest->SetPasswordDialog(FPasswordDialog);
  dest->FServerVersion = FServerVersion;
  dest->SetParentWnd(FParentWnd);
  dest->SetCredentials(FCredentials);
  dest->SetProxyCredentials(FProxyCredentials);
  dest->SetOAuth(FOAuth);
  dest->SetStrictSchema(GetStrictSchema());
  dest->SetSchemaFallback(GetSchemaFallback());
  dest->SetLeanRoundTrips(FLeanRoundTrips);
  dest->SetAuthentication(FAuthentication);
  dest->SetRetryPolicy(GetRetryPolicy());
  dest->SetLocalImages(FLocalImages);
  dest->SetCAFile(FCAFile);
  dest->SetCRLFile(FCRLFile);
  dest->SetLowestTls(FLowestTls);
  dest->SetLimits(FLimits);
  dest->SetXMLLimits(FXMLLimits);
  dest->SetConnectTo(FConnectTo);
  dest->SetAllowPlainTextPassword(FAllowPlainTextPassword);
}

// ---- Mailboxes

string TVqEWSCustomSession::GetDefaultMsgStore() {
  if (!FAutodiscoverEMail.empty()) return FAutodiscoverEMail;
  const string& user = GetCredentials().GetUserName();
  return user.empty() ? VqGetUserName() : user;
}

string TVqEWSCustomSession::GetOwnAddress() {
  const bool actsAsAnother = FOAuth.GetGrantType() == TVqOAuthGrantType::ClientCredentials;
  const string& own = actsAsAnother ? FConnectingSID : GetCredentials().GetUserName();
  return own.Contains(u"@") ? own : FAutodiscoverEMail;
}

TVqStrings& TVqEWSCustomSession::GetAdditionalMailboxes() {
  if (!FAdditionalMailboxesRetrieved && FActive && !FAutodiscoverEMail.empty()) {
    const IVqDOMDocument answer = Autodiscover(FAutodiscoverEMail);
    for (const IVqDOMElement& mailbox : answer.CreateElementList(
             "/Autodiscover/Response/Account/AlternativeMailbox[Type=\"Delegate\"]", kSelectQuiet)) {
      IVqDOMElement address = mailbox.SelectSingleElement("OwnerSmtpAddress", kSelectQuiet);
      if (!address) address = mailbox.SelectSingleElement("SmtpAddress", kSelectQuiet);
      const string text = address.GetText();
      if (!text.empty() && FAdditionalMailboxes.IndexOf(text) < 0) FAdditionalMailboxes.Add(text);
    }
    FAdditionalMailboxesRetrieved = true;  // once in the session's life: logging off does not reset it
  }
  return FAdditionalMailboxes;
}

TVqRef<IVqEWSMsgStore> TVqEWSCustomSession::OpenDefaultMsgStore() {
  const auto store = MakeRef<TVqEWSMsgStore>(this, string());
  if (!FLeanRoundTrips && DefaultStoreEmail().empty()) SetDefaultStoreEmail(store->GetIdentity()->GetEmailAddress());
  return store;
}

string TVqEWSCustomSession::DefaultStoreEmail() const {
  const std::scoped_lock lock(FFramingMutex);
  return FDefaultStoreEmail;
}

// It stands in a header of every request from then on: what can be no address would make the session useless.
void TVqEWSCustomSession::SetDefaultStoreEmail(const string& AValue) {
  constexpr std::size_t longest = 320;
  const auto control = [](char16_t unit) { return unit < u' ' || unit == 0x7F; };
  if (AValue.size() > longest || std::ranges::any_of(AValue.view(), control)) return;
  const std::scoped_lock lock(FFramingMutex);
  FDefaultStoreEmail = AValue;
}

TVqRef<IVqEWSMsgStore> TVqEWSCustomSession::OpenMsgStore(const string& ASmtpAddress) {
  if (ASmtpAddress.empty() || ASmtpAddress == GetDefaultMsgStore()) return OpenDefaultMsgStore();
  return MakeRef<TVqEWSImpersonatedMsgStore>(this, ASmtpAddress);
}

// ---- Clients and requests

const TVqEWSClientKind& TVqEWSCustomSession::ClientKind() const noexcept {
  return TVqEWSClientKind::Of(FNTService);
}

void TVqEWSCustomSession::Configure(IVqHTTPSession& ASession) const {
  ASession.SetUserAgent(FUserAgent);
  ASession.SetProxyServer(FProxyServer);
  ASession.SetProxyServerBypass(FProxyServerBypass);
  ASession.SetAccessType(FAccessType);
  ASession.SetCAFile(FCAFile);
  ASession.SetCRLFile(FCRLFile);
  ASession.SetLowestTls(FLowestTls);
  ASession.SetLimits(FLimits);
  ASession.SetConnectTo(FConnectTo);
}

void TVqEWSCustomSession::Configure(TVqHTTPClientBase& AClient, TClientUse AUse) {
  // A separate client may outlive the session.
  ClientKind().SetOnError(AClient,
                          [this, life = std::weak_ptr<const bool>(FLife)](TVqComponent& sender, std::uint32_t error,
                                                                          TVqWindowHandle& window, bool& handled) {
                            if (!life.expired()) OnWinINetClientError(sender, error, window, handled);
                          });
  AClient.SetHTTPVersion(TVqHTTPVersion::http11);
  AClient.SetSecurityFlags(ClientKind().Heeded(FSecurityFlags));
  if (AUse == TClientUse::own) {
    EwsIdentifyOwnClient(AClient, GetCredentials(), FProxyCredentials, FOAuth);
  } else {
    EwsIdentifySeparateClient(AClient, GetCredentials(), FProxyCredentials, FOAuth);
  }
  ClientKind().SetParentWnd(AClient, FParentWnd);
  AClient.GetRequestHeaders().SetAccept("text/xml");
  AClient.SetAllowPlainTextPassword(FAllowPlainTextPassword);
}

void TVqEWSCustomSession::CheckHTTPClient() {
  if (!FHTTPSession) FHTTPSession = ClientKind().NewSession(*this);
  Configure(*FHTTPSession);
  FHTTPSession->SetActive(true);
  if (!FHTTPClient) ReplaceHTTPClient(ClientKind().NewClient(*this));
  ClientKind().Share(*FHTTPClient, *FHTTPSession);
  Configure(*FHTTPClient, TClientUse::own);
  FHTTPClient->SetOnRequest(
      [this](TVqComponent& sender, const TVqRef<IVqHTTPRequest>& request) { BeforeSendHTTPRequest(sender, request); });
  FHTTPClient->SetOnResponse(
      [this](TVqComponent& sender, const TVqRef<IVqHTTPResponse>& response) { OnHTTPResponse(sender, response); });
  FHTTPClient->SetTimeOuts(FTimeOuts);
  FHTTPClient->SetStopToken(FStopToken);
  FHTTPClient->SetAuthentication(LogonScheme());
  // A token that the application has set, or that a client of this session has got, or what refreshes one.
  const TVqOAuthAccessToken& token = GetAccessToken();
  if (!token.Token.empty() || !token.RefreshToken.empty()) FHTTPClient->GetOAuth().SetAccessToken(token);
}

TVqRef<IVqHTTPClient> TVqEWSCustomSession::CreateHTTPClient(bool AUseSession) {
  if (!FHTTPClient) throw EVqException("You must logon first!").NoteSessionUnusable();
  const TVqRef<IVqHTTPClient> result = TVqHTTPClient(FNTService);
  TVqHTTPClientBase& client = *result->GetComponent();
  if (AUseSession) {
    ClientKind().Share(client, *FHTTPSession);
  } else {
    Configure(*client.GetSession());
  }
  Configure(client, TClientUse::separate);
  client.SetAuthentication(FHTTPClient->GetAuthentication());
  // The token in force goes along, so that a separate client asks for none; time-outs and events do not.
  if (!GetAccessToken().GetExpired()) client.GetOAuth().SetAccessToken(GetAccessToken());
  return result;
}

TVqRef<IVqHTTPClient> TVqEWSCustomSession::CreateWorkingClient() {
  const TVqRef<IVqHTTPClient> client = CreateHTTPClient(true);
  client->GetComponent()->SetTimeOuts(FTimeOuts);
  return client;
}

void TVqEWSCustomSession::InitSOAPEnv(TVqSOAPClient& AClient) {
  AClient.InitSOAPEnv(FServiceUrl, "soap",
                      {{"xmlns:xsi", "http://www.w3.org/2001/XMLSchema-instance"},
                       {"xmlns:soap", "http://schemas.xmlsoap.org/soap/envelope/"},
                       {"xmlns:m", "http://schemas.microsoft.com/exchange/services/2006/messages"},
                       {"xmlns:t", "http://schemas.microsoft.com/exchange/services/2006/types"}},
                      TVqSOAPEncodingVersion::soap11);
  AClient.SetReplyLimits(FXMLLimits);
  AClient.SetSender([this, client = &AClient](IVqSOAPRequest& request, TVqRef<IVqSOAPResponse>& response,
                                              const std::function<void()>& exchange) {
    // Other clients may be those of other threads, where the context is not to change.
    if (client == FSOAPClient.get()) SettleTimeZoneContextOf(request);
    Exchange(request, response, exchange);
  });
}

void TVqEWSCustomSession::Exchange(IVqSOAPRequest& ARequest, TVqRef<IVqSOAPResponse>& AResponse,
                                   const std::function<void()>& AExchange) {
  try {
    FRetries.Send(
        ARequest, AResponse, [&] { FWireForms.Send(ARequest, AResponse, AExchange); },
        [&](std::chrono::milliseconds time) {
          dynamic_cast<IVqHTTPClient&>(*ARequest.GetHTTPClient()).GetComponent()->Wait(time);
        });
  } catch (EVqException& failure) {
    if (EwsOnlyReads(ARequest.GetMethod().GetLocalName())) failure.NoteMayHaveHappened(false);
    throw;
  }
}

TVqSOAPClient* TVqEWSCustomSession::CreateSOAPClient(const TVqRef<IVqHTTPClient>& AHTTPClient) {
  auto client = std::make_unique<TVqSOAPClient>(this);
  client->SetHTTPClient(AHTTPClient->GetComponent());
  InitSOAPEnv(*client);
  return client.release();  // the session owns it
}

void TVqEWSCustomSession::CheckActive() const {
  if (!FActive) throw EVqException("You must logon first!").NoteSessionUnusable();
}

void TVqEWSCustomSession::AddImpersonation(IVqSOAPRequest& ARequest, const string& AAddress) {
  // Always this form of address, whatever ConnectingSIDType says.
  ARequest.AddSOAPHeader("t:ExchangeImpersonation")
      .AddElement("t:ConnectingSID")
      .AddElement("t:PrimarySmtpAddress")
      .SetText(AAddress);
}

TVqRef<IVqSOAPRequest> TVqEWSCustomSession::CreateRequest(TVqSOAPClient* ASOAPClient, const string& AMethod,
                                                          const string& AResponseName) {
  CheckActive();
  TVqRef<IVqSOAPRequest> request =
      (ASOAPClient ? ASOAPClient : FSOAPClient.get())->CreateRequest(AMethod, AResponseName);
  request->AddSOAPHeader("t:RequestServerVersion").SetAttribute("Version", VqEnumToText(FRequestVersion));
  if (const string zone = TimeZoneContext(); !zone.empty()) {
    request->AddSOAPHeader("t:TimeZoneContext").AddElement("t:TimeZoneDefinition").SetAttribute("Id", zone);
  }
  if (FOAuth.GetGrantType() != TVqOAuthGrantType::ClientCredentials) {
    string anchor = DefaultStoreEmail();
    if (anchor.empty()) anchor = FAutodiscoverEMail;
    // Until somebody has asked who the default store is of.
    if (anchor.empty() && FLeanRoundTrips) anchor = GetOwnAddress();
    if (!anchor.empty()) request->AddHTTPHeader("X-AnchorMailbox", anchor);
  } else if (!FConnectingSID.empty()) {
    AddImpersonation(*request, FConnectingSID);
    request->AddHTTPHeader("X-AnchorMailbox", FConnectingSID);
    request->AddHTTPHeader("X-PreferServerAffinity", "true");
  } else {
    AddImpersonation(*request, FAutodiscoverEMail);
  }
  return request;
}

void TVqEWSCustomSession::CheckResponseError(const IVqDOMElement& AElement) {
  if (AElement.GetAttribute("ResponseClass") == "Success") return;  // "Warning" is a failure like "Error"
  const std::size_t most = FLimits.TextLength;
  const string code = AElement.SelectSingleElement("ResponseCode", kSelectRequired).GetText();
  const string text = VqCutText(AElement.SelectSingleElement("MessageText", kSelectRequired).GetText(), most);
  const string shown = VqShownText(code, most);
  if (code != "ErrorServerBusy") throw EEWSException(shown, text, 0);
  const IVqDOMElement hint =
      AElement.SelectSingleElement("MessageXml/Value[@Name=\"BackOffMilliseconds\"]", kSelectQuiet);
  throw EEWSServerBusy(shown, text, hint ? std::max(VqXMLToIntDef(hint.GetText(), 0), 0) : 0);
}

// ---- Cancelling and watching

void TVqEWSCustomSession::Cancel() noexcept {
  const std::scoped_lock lock(FClientMutex);
  for (std::stop_source& operation : FOperations) operation.request_stop();
  if (FHTTPClient) FHTTPClient->Cancel();
}

void TVqEWSCustomSession::BeginOperation(const std::stop_source& AStop) {
  const std::scoped_lock lock(FClientMutex);
  FOperations.push_back(AStop);
}

void TVqEWSCustomSession::EndOperation(const std::stop_source& AStop) noexcept {
  const std::scoped_lock lock(FClientMutex);
  std::erase(FOperations, AStop);
}

void TVqEWSCustomSession::SetStopToken(std::stop_token AValue) {
  FStopToken = std::move(AValue);
  if (FHTTPClient) FHTTPClient->SetStopToken(FStopToken);
}

void TVqEWSCustomSession::Watch(const TVqEWSTrafficEvent& AEvent, TVqEWSTraffic ATraffic, const string& AContentType) {
  const TVqEWSTrafficEvent handler = AEvent;  // it may take itself away
  std::vector<std::string> secrets{FCredentials.GetPassword().utf8(),
                                   FProxyCredentials.GetPassword().utf8(),
                                   FOAuth.GetClientSecret().utf8(),
                                   FOAuth.GetAccessToken().Token.utf8(),
                                   FOAuth.GetAccessToken().RefreshToken.utf8(),
                                   GetAccessToken().Token.utf8(),
                                   GetAccessToken().RefreshToken.utf8()};
  if (FHTTPClient) {
    const TVqOAuthAccessToken& token = FHTTPClient->GetOAuth().GetAccessToken();
    secrets.insert(secrets.end(), {token.Token.utf8(), token.RefreshToken.utf8()});
  }
  ATraffic.Operation = EwsOperationOf(ATraffic.Body);
  ATraffic.Body = EwsMaskTexts(VqHTTPMaskedBody(ATraffic.Body, AContentType).utf8(), secrets);
  ATraffic.URL = EwsMaskTexts(VqHTTPMaskedAddress(ATraffic.URL).utf8(), secrets);
  for (auto& [name, value] : ATraffic.Headers) value = EwsMaskTexts(VqHTTPMaskedHeader(name, value).utf8(), secrets);
  for (std::string& secret : secrets) VqWipe(secret);
  handler(*this, ATraffic);
}

void TVqEWSCustomSession::BeforeSendHTTPRequest(TVqComponent&, const TVqRef<IVqHTTPRequest>& ARequest) {
  FRequestedAt = std::chrono::steady_clock::now();
  if (!FOnRequest) return;
  TVqEWSTraffic traffic;
  traffic.URL = ARequest->GetURL().utf8();
  for (const auto& [name, value] : ARequest->GetHeaders()) traffic.Headers.emplace_back(name.utf8(), value.utf8());
  traffic.Body = std::string(ARequest->GetBody());
  Watch(FOnRequest, std::move(traffic), ARequest->GetHeader("Content-Type"));
}

void TVqEWSCustomSession::OnHTTPResponse(TVqComponent&, const TVqRef<IVqHTTPResponse>& AResponse) {
  if (FOnResponse) {
    TVqEWSTraffic traffic;
    traffic.URL = AResponse->GetURL().utf8();
    for (const auto& [name, value] : AResponse->GetHeaders()) traffic.Headers.emplace_back(name.utf8(), value.utf8());
    traffic.Body = AResponse->GetBody();
    traffic.Status = AResponse->GetStatus().Code;
    traffic.Duration =
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - FRequestedAt);
    Watch(FOnResponse, std::move(traffic), AResponse->GetHeader("Content-Type"));
  }
  // A client renews its token by itself, and separate clients are given the session's.
  if (FActive && FHTTPClient && FOAuth.GetGrantType() != TVqOAuthGrantType::none && !FOAuth.GetClientId().empty())
    TVqEWSBaseSession::SetAccessToken(FHTTPClient->GetOAuth().GetAccessToken());
  const string cookie = AResponse->GetCookie("exchangecookie");
  if (!cookie.empty()) SetExchangeCookie(cookie);  // only logging off clears the stored one
}

void TVqEWSCustomSession::OnWinINetClientError(TVqComponent&, std::uint32_t AError, TVqWindowHandle& AParentWnd,
                                               bool&) {
  const bool logonFailure =
      AError == VqErrIncorrectUserName || AError == VqErrIncorrectPassword || AError == VqErrLoginFailure;
  if (logonFailure && !FPasswordDialog) AParentWnd = 0;  // the client then shows no dialog
}

// ---- TVqEWSServiceSession

TVqEWSServiceSession::TVqEWSServiceSession(TVqComponent* AOwner) : TVqEWSCustomSession(AOwner) {
  SetNTService(true);
  SetLogonDialog(false);
  SetPasswordDialog(false);
}

void TVqEWSServiceSession::SetNTService(bool AValue) {
  if (!AValue) throw EVqException("");  // without a text, on purpose: programs tell it by that
  TVqEWSCustomSession::SetNTService(AValue);
}

}  // namespace velmore
