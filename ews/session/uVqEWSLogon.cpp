// Logging on and off: the profile, the service URL, the probe and what follows from its answer.

#include <limits>

#include "ews/model/internal/uVqEWSCall.h"
#include "ews/model/internal/uVqEWSConstants.h"
#include "ews/model/uVqEWSTimeZones.h"
#include "ews/session/uVqEWS.h"
#include "platform/common/uVqSerializer.h"
#include "platform/http/internal/uVqHTTPText.h"
#include "platform/http/uVqHTTPBase.h"
#include "platform/os/uVqDns.h"
#include "platform/soap/uVqSOAPClient.h"

namespace velmore {
namespace {

constexpr std::size_t kLongestZoneId = 255;  // it stands in every request
constexpr std::int32_t kAny = std::numeric_limits<std::int32_t>::min();

struct TVersionRule {
  std::int32_t Major, Minor, Build;
  TServerVersion Version;
};

/// Judges a server whose version has no name that we know; the first row that fits decides. The first three rows are
/// separate decisions of the same result.
constexpr TVersionRule kVersionRules[] = {
    {15, 1, 466, Exchange2016},         //
    {15, 1, 225, Exchange2016},         //
    {15, 1, kAny, Exchange2016},        //
    {15, kAny, 847, Exchange2013_SP1},  //
    {15, kAny, kAny, Exchange2013},     //
    {14, 3, kAny, Exchange2012},        //
    {14, 2, kAny, Exchange2010_SP2},    //
    {14, 1, kAny, Exchange2010_SP1},    //
    {14, kAny, kAny, Exchange2010},     //
    {8, 1, kAny, Exchange2007_SP1},     //
};

TServerVersion VersionOf(const TServerVersionInfo& info) {
  TServerVersion version = Exchange2007;
  if (VqTryTextToEnum(string(info.Version), version)) return std::min(version, Exchange2016);
  for (const TVersionRule& rule : kVersionRules) {
    if (info.MajorVersion >= rule.Major && info.MinorVersion >= rule.Minor && info.MajorBuildNumber >= rule.Build)
      return rule.Version;
  }
  return Exchange2007;
}

/// The first `size` bytes of a UTF-8 text, without cutting a character in two.
std::string CutUtf8(std::string text, std::size_t size) {
  if (text.size() <= size) return text;
  while (size > 0 && (static_cast<unsigned char>(text[size]) & 0xC0) == 0x80) --size;
  text.resize(size);
  return text;
}

}  // namespace

void TVqEWSCustomSession::SetActive(bool AValue) {
  if (AValue == FActive) return;
  if (!AValue) return LogOff();
  try {
    LogOn();
  } catch (EVqException& failure) {
    if (!FActive) failure.NoteSessionUnusable();  // else it is what AfterLogon raised
    throw;
  }
}

void TVqEWSCustomSession::Fire(const TVqNotifyEvent& AEvent) {
  const TVqNotifyEvent handler = AEvent;  // it may take itself away
  if (handler) handler(*this);
}

void TVqEWSCustomSession::LogOff() {
  Fire(FBeforeLogoff);
  FServerVersion = Exchange2007_SP1;
  FServerVersionInfo = {};
  FreeClients();
  SetExchangeCookie(string());
  ForgetUser();
  FOAuth.Separate();
  FWireForms.Forget();
  FTimeZoneIsOpen = false;
  FTimeZoneOnce.reset();
  FActive = false;
  Fire(FAfterLogoff);
}

void TVqEWSCustomSession::LogOn() {
  if (FProfileContainer) UseProfile();
  if (FPasswordDialog && FParentWnd == 0) {
    throw EVqException("You've enabled the \"" + GetName() +
                       ".PasswordDialog\" property, but you haven't specified a value for the \"" + GetName() +
                       ".ParentWnd\" property!\r\nA value for this property is required to show this dialog.");
  }
  CheckHTTPClient();
  SetWaitCursor(true);
  try {
    FindServer();
  } catch (...) {
    try {
      SetWaitCursor(false);
    } catch (...) {
      // The failure of the logon tells more than one of its cursor.
    }
    throw;
  }
  SetWaitCursor(false);
  FActive = true;
  FTimeZoneIsOpen = FServerVersion >= Exchange2010;
  if (!FLeanRoundTrips) SettleOpenTimeZoneContext();
  FTimeZoneOnce.reset();  // no request was composed before
  const TVqOAuthGrantType grant = FOAuth.GetGrantType();
  if (grant != TVqOAuthGrantType::none && !FOAuth.GetClientId().empty()) {
    SetAccessToken(FHTTPClient->GetOAuth().GetAccessToken());
  }
  Fire(FAfterLogon);
}

void TVqEWSCustomSession::FindServer() {
  if (!FAutodiscoverEMail.empty() && FServiceUrl.empty()) {
    // Hosts whose names are guesses are not given a password unasked.
    if (LogonScheme() == TVqHTTPAuthentication::basic)
      FHTTPClient->SetAuthentication(TVqHTTPAuthentication::byChallenge);
    FindServiceUrl();
    FHTTPClient->SetAuthentication(LogonScheme());
  }
  if (!FSOAPClient) FSOAPClient = std::make_unique<TVqSOAPClient>(this);
  Probe();
  FRequestVersion = FServerVersion;
}

// ---- The profile

void TVqEWSCustomSession::UseProfile() {
  const auto load = [this](const string& name) {
    if (!LoadProfile(name)) throw EEWSException("Failed to load profile \"" + name + "\"!");
  };
  if (!FProfileName.empty()) return load(FProfileName);
  if (FProfileRequired && !FLogonDialog) throw EEWSException("One or more logon-parameters were invalid.");
  const string defaultName = FProfileRequired ? string() : FProfileContainer->GetDefaultProfileName();
  if (!defaultName.empty()) {
    if (LoadProfile(defaultName)) return;
    CreateProfile(defaultName);
    SaveProfile(defaultName);
    return load(defaultName);
  }
  if (GetProfileNames(nullptr) > 0) {
    const string name = SelectProfile();
    if (name.empty()) throw EEWSException("No profile selected!");
    return load(name);
  }
  const string name = CreateProfile(string());
  if (name.empty()) throw EEWSException("Failed to create a profile!");
  SaveProfile(name);
  FProfileContainer->SetDefaultProfileName(name);
  FProfileContainer->SetPromptForProfile(false);
}

void TVqEWSCustomSession::SetWaitCursor(bool) {}
// The container knows no session but by name, so that it can stand below it; what it looks at stands here.
bool TVqEWSProfileCustomContainer::LoadProfile(TVqEWSCustomSession& ASession, const string& AProfileName) {
  if (ASession.GetAutodiscoverEMail().empty() && ASession.GetServiceUrl().empty()) {
    throw EEWSException(
        "The \"" + AProfileName +
        "\" profile is corrupted.\r\nIt does not contain a ServiceUrl, nor an Autodiscover email address.\r\n"
        "Please fix the profile information and try it again.");
  }
  return false;
}

string TVqEWSCustomSession::CreateProfile(const string&) {
  throw EEWSException("Failed to create a profile!");
}
string TVqEWSCustomSession::SelectProfile() {
  return {};
}
bool TVqEWSCustomSession::EditProfile(const string&) {
  return false;
}

void TVqEWSCustomSession::DoOnShowProfileDialog(TVqComponent& ADialog) {
  if (FOnShowProfileDialog) FOnShowProfileDialog(ADialog);
}

// ---- The service URL

string TVqEWSCustomSession::FindHostBySRV(const string& AName) {
  TVqDnsOptions options;
  options.Stop = FStopToken;
  const TVqDnsAnswer answer = VqLookUpService(AName, options);
  if (answer.Services.empty()) return {};
  const TVqDnsService& service = answer.Services.front();  // whatever the priorities say
#ifndef NDEBUG
  if (service.Port != 443) throw EAssertionFailed("The EWS Server should be accessible on port 443!");
#endif
  return service.Host;
}

void TVqEWSCustomSession::FindServiceUrl() {
  const auto urlOf = [](const string& host) { return "https://" + host + "/ews/exchange.asmx"; };
  const string domain = FAutodiscoverEMail.Copy(FAutodiscoverEMail.Pos(u"@") + 1);
  if (!FOAuth.GetClientId().empty()) {
    try {
      FServiceUrl = AutodiscoverV2(FAutodiscoverEMail, "Ews");
    } catch (const std::exception&) {
      FServiceUrl.clear();
    }
  }
  if (FServiceUrl.empty() && !FCredentials.GetPassword().empty()) {
    const string host = FindHostBySRV("_autodiscover._tcp." + domain);
    if (!host.empty()) FServiceUrl = urlOf(host);
  }
  if (!FServiceUrl.empty()) return;
  try {
    FServiceUrl = EwsUrlOf(Autodiscover(string()));
  } catch (const EEWSException& failure) {
    // The second test never matches a message of two texts; it is the same outcome.
    if (failure.HTTPErrorCode() != VqErrNameNotResolved || failure.Message() == "Authentication Failure!") throw;
    for (const char* host : {"mail.", "www."}) {
      const string url = urlOf(host + domain);
      if (!AnswersAt(url)) continue;
      FServiceUrl = url;
      return;
    }
    throw;
  }
}

bool TVqEWSCustomSession::AnswersAt(const string& AURL) {
  try {
    TVqRef<IVqHTTPResponse> response;
    FHTTPClient->Request(response, TVqHTTPVerb::get, AURL);
    return response->GetStatus().Code == 200;
  } catch (const EVqHTTPInvalidArgument&) {
    throw;
  } catch (const EVqHTTPException&) {
    return false;
  }
}

// ---- The probe

void TVqEWSCustomSession::Probe() {
  try {
    SendProbe();
  } catch (const EVqHTTPInvalidArgument&) {  // an error of the caller: raised as it is
    FServiceUrl.clear();
    throw;
  } catch (const EVqHTTPApiException& failure) {
    FServiceUrl.clear();  // also one that the application had set
    RaiseProbeFailure(failure);
  } catch (...) {
    FServiceUrl.clear();
    throw;
  }
}

void TVqEWSCustomSession::SendProbe() {
  FSOAPClient->SetHTTPClient(FHTTPClient.get());
  InitSOAPEnv(*FSOAPClient);
  const TVqRef<IVqSOAPRequest> request = FSOAPClient->CreateRequest("m:ConvertId", string());
  request->AddSOAPHeader("t:RequestServerVersion").SetAttribute("Version", "Exchange2007_SP1");
  if (FOAuth.GetGrantType() == TVqOAuthGrantType::ClientCredentials) {
    const string& address = FConnectingSID.empty() ? FAutodiscoverEMail : FConnectingSID;
    AddImpersonation(*request, address);
    TVqCredentials& credentials = FSOAPClient->GetCredentials();
    if (credentials.GetUserName().empty()) credentials.SetUserName(address);
  }
  // The id is worthless on purpose: all that is wanted is the header of the reply.
  const IVqDOMElement method = request->GetMethod();
  method.SetAttribute("DestinationFormat", "HexEntryId");
  const IVqDOMElement id = method.AddElement("m:SourceIds").AddElement("t:AlternateId");
  id.SetAttribute("Format", "HexEntryId");
  id.SetAttribute("Id", "00");
  id.SetAttribute("Mailbox", kDummyAddress);

  TVqRef<IVqSOAPResponse> response;
  request->AcceptAnyResponse();  // the header counts alone
  request->Send(response);
  FServerVersionInfo = {};
  if (response->HasHeader()) ReadServerVersion(response->GetHeader());
  FServerVersion = VersionOf(FServerVersionInfo);
}

void TVqEWSCustomSession::ReadServerVersion(const IVqDOMElement& AHeader) {
  const IVqDOMElement info =
      AHeader.ElementByName("ServerVersionInfo", "http://schemas.microsoft.com/exchange/services/2006/types");
  FServerVersionInfo.MajorVersion = info.GetAttributeAsInteger("MajorVersion");
  FServerVersionInfo.MinorVersion = info.GetAttributeAsInteger("MinorVersion");
  FServerVersionInfo.MajorBuildNumber = info.GetAttributeAsInteger("MajorBuildNumber");
  FServerVersionInfo.MinorBuildNumber = info.GetAttributeAsInteger("MinorBuildNumber");
  FServerVersionInfo.Version = CutUtf8(info.GetAttribute("Version").utf8(), 255);
}

void TVqEWSCustomSession::RaiseProbeFailure(const EVqHTTPApiException& AFailure) {
  static constexpr const char* kLoginFailure = "LOGIN_FAILURE: Either an invalid name and/or password were provided!";
  const std::uint32_t number = AFailure.GetNumber();
  // The original goes along as the nested exception: it tells more than these fixed texts. Both NAME_NOT_RESOLVED texts
  // show the service URL, which is cleared by now: two quotation marks with nothing between them.
  if (FAutodiscoverEMail.empty()) {
    if (number == VqErrNameNotResolved) {
      std::throw_with_nested(EVqHTTPApiException(
          AFailure.GetApiName(),
          "NAME_NOT_RESOLVED: The specified EWS Service \"" + FServiceUrl + "\" could not be found!", number));
    }
    if (number == VqErrLoginFailure) {
      std::throw_with_nested(EVqHTTPApiException(AFailure.GetApiName(), kLoginFailure, number, AFailure.HTTPStatus()));
    }
    std::throw_with_nested(EEWSException("ErrorAutoDiscoverFailed", AFailure.Message(), number));
  }
  if (number == VqErrNameNotResolved) {
    std::throw_with_nested(
        EEWSException("ErrorAutoDiscoverFailed",
                      "NAME_NOT_RESOLVED: The autodiscover returned the following url for the EWS Service \"" +
                          VqCutText(FServiceUrl, FLimits.TextLength) + "\", however, the service could not be found!",
                      number));
  }
  if (number == VqErrLoginFailure)
    std::throw_with_nested(EEWSException("ErrorConnectionFailed", kLoginFailure, number));
  std::throw_with_nested(EEWSException("ErrorAutoDiscoverFailed", AFailure.Message(), number));
}

// ---- The time-zone context

const string& TVqEWSCustomSession::GetCurrentTimeZoneContext() {
  SettleOpenTimeZoneContext();
  return FCurrentTimeZoneContext;
}

string TVqEWSCustomSession::TimeZoneContext() const {
  const std::scoped_lock lock(FFramingMutex);
  return FCurrentTimeZoneContext;
}

void TVqEWSCustomSession::SetCurrentTimeZoneContext(const string& AValue) {
  {
    const std::scoped_lock lock(FFramingMutex);
    FCurrentTimeZoneContext = AValue;
  }
  if (FActive) FTimeZoneIsOpen = false;  // the application has decided
  FTimeZoneOnce.reset();
}

void TVqEWSCustomSession::SettleOpenTimeZoneContext() noexcept {
  if (!std::exchange(FTimeZoneIsOpen, false)) return;
  try {
    const string once = FCurrentTimeZoneContext;
    SettleTimeZoneContext();
    if (FCurrentTimeZoneContext != once) FTimeZoneOnce = once;
  } catch (const std::exception&) {
    // A logon without a context is better than none.
  }
}

namespace {

/// What a request writes or asks for in the user's time zone. Of everything else the context changes nothing.
bool NamesTimesOfTheCalendar(const IVqDOMElement& method) {
  const string name = method.GetLocalName();
  if (name == "FindItem") return method.HasChildElement("CalendarView", kSelectQuiet);
  if (name != "CreateItem" && name != "UpdateItem") return false;
  const char* items = name == "CreateItem" ? "Items/*" : "ItemChanges/ItemChange/Updates/*/*";
  for (const IVqDOMElement& item : method.CreateElementList(items, kSelectQuiet)) {
    if (item.GetLocalName() == "CalendarItem" || item.GetLocalName() == "Task") return true;
  }
  return false;
}

}  // namespace

// New items are requests that were composed when they were made, maybe before the zone was known.
void TVqEWSCustomSession::SettleTimeZoneContextOf(IVqSOAPRequest& ARequest) {
  if ((!FTimeZoneIsOpen && !FTimeZoneOnce) || !NamesTimesOfTheCalendar(ARequest.GetMethod())) return;
  SettleOpenTimeZoneContext();
  if (!FTimeZoneOnce) return;
  IVqDOMElement zone = ARequest.GetHeader().SelectSingleElement("TimeZoneContext/TimeZoneDefinition", kSelectQuiet);
  if (zone.GetAttribute("Id") != *FTimeZoneOnce) return;
  if (!zone) zone = ARequest.AddSOAPHeader("t:TimeZoneContext").AddElement("t:TimeZoneDefinition");
  zone.SetAttribute("Id", FCurrentTimeZoneContext);
}

void TVqEWSCustomSession::SettleTimeZoneContext() {
  const string offset = EwsMachineOffsetText();
  TVqEWSCall call(*this, {"GetServerTimeZones", "m:GetServerTimeZonesResponse", TVqEWSAnswerPath::below});
  call.Set("ReturnFullTimeZoneData", "false");
  const IVqDOMElement zones = call.SendUnchecked().SelectSingleElement("TimeZoneDefinitions", kSelectQuiet);
  if (!zones || zones.SelectSingleElement("TimeZoneDefinition[@Id=\"" + FCurrentTimeZoneContext + "\"]", kSelectQuiet))
    return;
  for (const IVqDOMElement& zone : zones.GetChildElements()) {
    if (!zone.GetAttribute("Name").StartsWith(offset)) continue;  // display names begin with the offset
    const string id = zone.GetAttribute("Id");
    if (id.size() > kLongestZoneId) continue;
    const std::scoped_lock lock(FFramingMutex);
    FCurrentTimeZoneContext = id;
    return;
  }
}

}  // namespace velmore
