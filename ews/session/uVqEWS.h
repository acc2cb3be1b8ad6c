#pragma once

/// The session: the component that an application creates, configures and activates. Setting Active to true is the
/// logon.
///
///     TVqEWSServiceSession session(nullptr);
///     session.SetServiceUrl("https://mail.example.com/EWS/Exchange.asmx");
///     session.GetCredentials().SetUserName("ann@example.com");
///     session.GetCredentials().SetPassword(password);
///     session.SetActive(true);
///     auto inbox = session.OpenDefaultMsgStore()->GetFolder(dfininbox, "");

#include <chrono>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <stop_token>

#include "ews/model/uVqEWSAvailability.h"
#include "ews/model/uVqEWSBase.h"
#include "ews/model/uVqEWSFolderInterfaces.h"
#include "ews/model/uVqEWSIds.h"
#include "ews/model/uVqEWSResolution.h"
#include "ews/model/uVqEWSWireForm.h"
#include "ews/session/uVqEWSAutodiscover.h"
#include "ews/session/uVqEWSProfiles.h"
#include "ews/session/uVqEWSRetry.h"
#include "ews/session/uVqEWSTexts.h"
#include "ews/session/uVqEWSTraffic.h"

namespace velmore {

class TVqEWSClientKind;
class TVqEWSCustomSession;

/// What the server said about its version, in the header of its first reply.
struct TServerVersionInfo {
  /// The four numbers of "15.1.2507.6".
  std::int32_t MajorVersion = 0;
  std::int32_t MinorVersion = 0;
  std::int32_t MajorBuildNumber = 0;
  std::int32_t MinorBuildNumber = 0;
  /// "Exchange2016" and the like, UTF-8, cut at 255 bytes.
  std::string Version;
};

/// The mailboxes of a session by position: the default one first, then the additional ones. Belongs to its session.
/// Reading may run Autodiscover once.
class TVqEWSMsgStores {
 public:
  /// Made by its session.
  explicit TVqEWSMsgStores(TVqEWSCustomSession& AOwner) : FOwner(AOwner) {}
  /// The default mailbox and the additional ones.
  std::int32_t Count();
  /// The address of a mailbox, as OpenMsgStore takes it. Raises EListError for a position that does not exist.
  string GetName(std::int32_t AIndex);

 private:
  TVqEWSCustomSession& FOwner;
};

/// A reply, under the name that applications use. The library itself makes none: its replies are of the base class.
class TVqEWSResponse : public TVqSOAPResponse {
 public:
  using TVqSOAPResponse::TVqSOAPResponse;
};

/// The session: holds the settings, logs on and off, and opens mailboxes.
///
/// Owns its settings, and its HTTP session, HTTP client and SOAP client (made at logon, freed at logoff). No copies:
/// see AssignTo. One thread at a time; any number of other threads may send requests if each makes a pair of clients of
/// its own with CreateHTTPClient and CreateSOAPClient, passes it to CreateRequest and changes no setting. Only Cancel
/// is for every thread. Raises plain exceptions for misuse and EEWSException for refusals; outside of logon, the
/// transport's own exceptions pass through.
class TVqEWSCustomSession : public TVqEWSBaseSession, public IVqEWSNameResolver {
 public:
  /// `AOwner` may be empty. The destructor closes all connections, without the events of a logoff.
  explicit TVqEWSCustomSession(TVqComponent* AOwner);
  ~TVqEWSCustomSession() override;
  /// Lets go of the documents that Autodiscover found. The destructor calls it first; calling it earlier costs no more
  /// than asking for them again.
  void BeforeDestruction();

  // ---- Logging on and off

  /// True between logon and logoff.
  bool GetActive() const noexcept { return FActive; }
  /// True logs on: loads the profile, finds the service URL, probes the server (m:ConvertId) and settles the version of
  /// all requests and the time-zone context (m:GetServerTimeZones). False logs off. Blocks. A failed logon clears the
  /// service URL.
  ///
  /// Raises EVqHTTPApiException "NAME_NOT_RESOLVED: ..." (12007) and "LOGIN_FAILURE: ..." (12015), EEWSException for
  /// other transport failures, and a plain exception when `PasswordDialog` is on and there is no `ParentWnd` to show it
  /// on: a program without a desktop uses TVqEWSServiceSession.
  void SetActive(bool AValue);

  /// The server's version: as a value of the enumeration, with its numbers, and as a text. These three raise a plain
  /// exception before logon.
  TServerVersion GetServerVersion() override;
  const TServerVersionInfo& GetServerVersionInfo() const;
  /// "Exchange Server 2016 (15.1.2507.6)" and the like.
  string GetServerDescription() const;
  /// The version that requests carry: that of the server at the last logon, also after a logoff; before any logon, the
  /// first of the enumeration. Does not raise.
  TServerVersion GetRequestVersion() const noexcept { return FRequestVersion; }

  // ---- Where and as whom

  string GetServiceURL() override { return FServiceUrl; }
  /// The endpoint, "https://mail.example.com/EWS/Exchange.asmx".
  const string& GetServiceUrl() const noexcept { return FServiceUrl; }
  void SetServiceUrl(const string& AValue);
  /// As whom to log on: by name and password, or by OAuth. Changes to the object that a getter gives reach the clients
  /// at the next logon. The setters reach a live client at once, and make the session forget what it has learnt of the
  /// former user (the token, the address of the default store).
  TVqCredentials& GetCredentials() override { return FCredentials; }
  void SetCredentials(const TVqCredentials& AValue);
  TVqOAuth& GetOAuth() noexcept { return FOAuth; }
  void SetOAuth(const TVqOAuth& AValue);
  /// A token that the application has got by itself: used from the next request on until it expires, then the grant of
  /// the settings gets the next one, by its refresh token first; without a grant EVqOAuthException tells so. One that
  /// has expired, with a refresh token that was kept from an earlier run, does as well. GetAccessToken gives the token
  /// in force, renewed ones too, after each reply.
  void SetAccessToken(const TVqOAuthAccessToken& AValue) override;
  /// How a name and a password are proven: what the server asks for (`byChallenge`) unless changed. `basic` sends them
  /// with the first request, without a question that would cost a request; over plain HTTP, to this machine alone. The
  /// search for the server never does. Settings for OAuth go before. Reaches a live client at once. Not part of a
  /// profile.
  TVqHTTPAuthentication GetAuthentication() const noexcept { return FAuthentication; }
  void SetAuthentication(TVqHTTPAuthentication AValue);
  /// The address by which logon looks for the service URL.
  const string& GetAutodiscoverEMail() const noexcept { return FAutodiscoverEMail; }
  /// A non-empty address clears the service URL; an empty one leaves it.
  void SetAutodiscoverEMail(const string& AValue);
  /// True while there is no service URL; false when there is no Autodiscover address; else what was set. Logon does not
  /// consult it.
  bool GetUseAutoDiscover() const;
  /// What GetUseAutoDiscover gives when there are both an address and a URL.
  void SetUseAutoDiscover(bool AValue) { FUseAutoDiscover = AValue; }
  /// Kept for the application; requests always name the user by the SMTP address.
  TConnectingSIDType GetConnectingSIDType() const noexcept { return FConnectingSIDType; }
  void SetConnectingSIDType(TConnectingSIDType AValue) { FConnectingSIDType = AValue; }
  /// The user that a session with the ClientCredentials grant acts as.
  const string& GetConnectingSID() const noexcept { return FConnectingSID; }
  void SetConnectingSID(const string& AValue) { FConnectingSID = AValue; }

  // ---- Finding the server

  /// The settings document for an address, as the server of its domain gives it; an empty address means
  /// `AutodiscoverEMail`. The document is kept until the session goes: a second call sends nothing. A subclass that
  /// knows better may replace this function and the next one.
  ///
  /// Raises EEWSException "ErrorAutoDiscoverFailed (...)." when there is no such server, or when it refuses the
  /// credentials ("Authentication Failure!") or answers with an error; EAbort when there are no credentials; plain
  /// exceptions when there is no address; and what the parser raises for an answer that is no XML.
  virtual IVqDOMDocument Autodiscover(const string& AEMail);
  /// The URL of a protocol ("Ews", "Autodiscoverv1") for an address, as told by the service of Exchange Online, which
  /// wants no credentials; empty when the service knows none. Raises EAbort for a failure of the transport.
  virtual string AutodiscoverV2(const string& AEMail, const string& AProtocol);
  /// Each address that the last call of Autodiscover asked, and what came of it. Empty when the call was answered
  /// without asking.
  const std::vector<TVqEWSAutodiscoverStep>& GetAutodiscoverReport() const noexcept { return FAutodiscoverReport; }
  /// Called before the search goes where a server redirects it; without a handler, it goes to any https address.
  void SetOnAutodiscoverRedirect(TVqEWSAutodiscoverRedirectEvent AValue) {
    FOnAutodiscoverRedirect = std::move(AValue);
  }
  /// Where Exchange Online is asked. One setting for the whole process; set it before threads make sessions.
  static TVqEWSOnlineHosts& OnlineHosts() noexcept;

  // ---- Transport

  /// The "User-Agent" header. The setter raises EVqHTTPInvalidArgument for a line break once there is a client.
  const string& GetUserAgent() const noexcept { return FUserAgent; }
  void SetUserAgent(const string& AValue);
  /// The proxy's address.
  const string& GetProxyServer() const noexcept { return FProxyServer; }
  /// "host:port", or a list by scheme. Used when the access type is `proxy`.
  void SetProxyServer(const string& AValue);
  /// Hosts that are reached directly, see IVqHTTPSession.
  const string& GetProxyServerBypass() const noexcept { return FProxyServerBypass; }
  void SetProxyServerBypass(const string& AValue);
  /// Who logs on to the proxy.
  TVqCredentials& GetProxyCredentials() noexcept { return FProxyCredentials; }
  void SetProxyCredentials(const TVqCredentials& AValue);
  /// How servers are reached: as the machine is configured, directly, or by ProxyServer.
  TVqHTTPAccessType GetAccessType() const noexcept { return FAccessType; }
  void SetAccessType(TVqHTTPAccessType AValue);
  /// Each flag lifts one check of the server's certificate. The wrong-usage flag reaches the WinHTTP client only.
  TVqHTTPSecurityFlags GetSecurityFlags() const noexcept { return FSecurityFlags; }
  void SetSecurityFlags(TVqHTTPSecurityFlags AValue);
  /// A PEM file with certification authorities to trust besides those of the machine, and one with revocation lists;
  /// empty for none. Clients take both at logon. Not part of a profile.
  const string& GetCAFile() const noexcept { return FCAFile; }
  void SetCAFile(const string& AValue) { FCAFile = AValue; }
  const string& GetCRLFile() const noexcept { return FCRLFile; }
  void SetCRLFile(const string& AValue) { FCRLFile = AValue; }
  /// The lowest version of TLS that is agreed to: 1.2 unless changed, whatever the machine says. This setting and the
  /// four below reach a live session at once; none is part of a profile.
  TVqHTTPTlsVersion GetLowestTls() const noexcept { return FLowestTls; }
  void SetLowestTls(TVqHTTPTlsVersion AValue);
  /// How large a reply may be, on the wire and unpacked, and how long a call may take.
  const TVqHTTPLimits& GetLimits() const noexcept { return FLimits; }
  void SetLimits(const TVqHTTPLimits& AValue);
  /// How large the document of a reply may be: bytes, nodes, depth.
  const TVqXMLLimits& GetXMLLimits() const noexcept { return FXMLLimits; }
  void SetXMLLimits(const TVqXMLLimits& AValue);
  /// Where hosts are really found: "mail.example.com:443" at "10.0.0.7:8443". See IVqHTTPSession.
  const std::map<string, string>& GetConnectTo() const noexcept { return FConnectTo; }
  void SetConnectTo(const std::map<string, string>& AValue);
  /// True lets Basic credentials and access tokens go over plain HTTP to other machines. False unless changed.
  bool GetAllowPlainTextPassword() const noexcept { return FAllowPlainTextPassword; }
  void SetAllowPlainTextPassword(bool AValue);
  /// The time-outs for connecting, sending and receiving, in milliseconds: 15,000 each unless set. Clients take them at
  /// logon.
  TVqHTTPTimeOuts& GetTimeOuts() noexcept { return FTimeOuts; }
  void SetTimeOuts(const TVqHTTPTimeOuts& AValue);
  /// Whether the session works without a desktop.
  bool GetNTService() const noexcept { return FNTService; }
  /// True uses the client without a desktop and switches both dialogs off for good; a live client of the other kind is
  /// replaced.
  virtual void SetNTService(bool AValue);
  /// Whether a user interface may ask for a profile at logon, and for a password when the server has refused the logon.
  /// True unless changed.
  bool GetLogonDialog() const noexcept { return FLogonDialog; }
  void SetLogonDialog(bool AValue) { FLogonDialog = AValue; }
  bool GetPasswordDialog() const noexcept { return FPasswordDialog; }
  void SetPasswordDialog(bool AValue) { FPasswordDialog = AValue; }
  /// The window that dialogs belong to; 0 for none.
  TVqWindowHandle GetParentWnd() const noexcept { return FParentWnd; }
  void SetParentWnd(TVqWindowHandle AValue);
  /// Asks for the form in which the user authorizes by OAuth. One handler for the whole process, not for this session.
  static const TVqGetOAuthAuthorizeFormEvent& GetOnGetOAuthAuthorizeForm();
  static void SetOnGetOAuthAuthorizeForm(TVqGetOAuthAuthorizeFormEvent AValue);

  /// When true, every request is valid against the schema that servers publish, from the first one on; when false,
  /// requests begin in the library's own forms. Not part of a profile.
  bool GetStrictSchema() const override { return FWireForms.GetStrictSchema(); }
  void SetStrictSchema(bool AValue) { FWireForms.SetStrictSchema(AValue); }
  /// When true, the default, a request that a server refuses for its form, and so has not carried out, is sent again in
  /// the schema's form, and the session stays with that form until logoff or until it is given another service URL.
  /// When false, the refusal is raised. Not part of a profile.
  bool GetSchemaFallback() const { return FWireForms.GetSchemaFallback(); }
  void SetSchemaFallback(bool AValue) { FWireForms.SetSchemaFallback(AValue); }
  TVqEWSWireForm GetWireForm() const override { return FWireForms.GetForm(); }
  /// When true, requests are left out whose answer nobody has read yet; what an application sees stays the same. False
  /// unless changed. Not part of a profile. See docs/guide/round-trips.md.
  ///
  /// - An item or a folder that a store opens takes one request: the look at its class is its load.
  /// - An item that is made by its class is loaded when it is first read: SaveToFile and SaveToStream need no load.
  /// - A save takes the new id from its answer and is read back when something is read that it could not know. What
  ///   would raise from a load, raises from that read; an item that is deleted, moved or sent meanwhile cannot be read
  ///   back.
  /// - Whose mailbox the default store is, is asked by GetIdentity and not by OpenDefaultMsgStore. Until then requests
  ///   are anchored on AutodiscoverEMail, else on a user name that is an address.
  /// - The server's time zones are asked (m:GetServerTimeZones) by GetCurrentTimeZoneContext, or before the first
  ///   request that writes an appointment or a task, or opens a calendar view. Clients of an application's own are not
  ///   looked after.
  bool GetLeanRoundTrips() const override { return FLeanRoundTrips; }
  void SetLeanRoundTrips(bool AValue) { FLeanRoundTrips = AValue; }
  /// Whether a save attaches the pictures of this machine that an application's HTML body names by "file:". On by
  /// default. Sources that stood in a body when it was loaded, or that a reply quotes, are never taken.
  bool GetLocalImages() const override { return FLocalImages; }
  void SetLocalImages(bool AValue) { FLocalImages = AValue; }

  /// What is done when a request that only reads meets a failure that may pass by itself: nothing, unless set. Holds
  /// for every client of the session, and for the requests of a logon. Set it before other threads send. Not part of a
  /// profile. The setter raises a plain exception for a policy that makes no sense.
  const TVqEWSRetryPolicy& GetRetryPolicy() const noexcept { return FRetries.GetPolicy(); }
  void SetRetryPolicy(TVqEWSRetryPolicy AValue) { FRetries.SetPolicy(std::move(AValue)); }

  // ---- Profiles

  /// Where profiles are kept; null for nowhere.
  TVqEWSProfileCustomContainer* GetProfileContainer() const noexcept { return FProfileContainer; }
  /// The container is not owned, and is forgotten when it goes away.
  void SetProfileContainer(TVqEWSProfileCustomContainer* AValue);
  /// The profile that a logon loads; empty for the container's default, or for the user's choice.
  const string& GetProfileName() const noexcept { return FProfileName; }
  void SetProfileName(const string& AValue) { FProfileName = AValue; }
  /// True keeps a logon from taking the default profile without asking.
  bool GetProfileRequired() const noexcept { return FProfileRequired; }
  void SetProfileRequired(bool AValue) { FProfileRequired = AValue; }
  /// The number of profiles; 0 without a container. `AStrings` may be empty.
  std::int32_t GetProfileNames(TVqStrings* AStrings);
  /// Loads a profile into the session. False without a container.
  bool LoadProfile(const string& AName);
  /// Saves the session's settings as a profile. Does nothing without a container.
  void SaveProfile(const string& AName);

  // ---- Mailboxes

  /// The Autodiscover address, else the user name, else the name of the logged-on user of the operating system.
  string GetDefaultMsgStore();
  /// The user name of the credentials where it is an address, else the Autodiscover address; with the ClientCredentials
  /// grant, the address of the user whom the session acts as.
  string GetOwnAddress() override;
  /// The mailboxes by position. Owned by the session.
  TVqEWSMsgStores& GetMsgStores() noexcept { return FMsgStores; }
  /// The additional mailboxes. An active session with an Autodiscover address completes the list once in its life with
  /// what Autodiscover tells.
  TVqStrings& GetAdditionalMailboxes();
  void SetAdditionalMailboxes(const TVqStrings& AValue) { FAdditionalMailboxes.Assign(AValue); }
  /// The mailbox of the logged-on user. A new object at each call; the first one asks the server who that is, unless
  /// round trips are lean.
  TVqRef<IVqEWSMsgStore> OpenDefaultMsgStore();
  /// Another mailbox, in the name of its owner (every request carries t:ExchangeImpersonation). An empty address or
  /// that of the default store opens the default store; the comparison is case-sensitive.
  TVqRef<IVqEWSMsgStore> OpenMsgStore(const string& ASmtpAddress);
  /// An empty recipient list that belongs to no item.
  TVqRef<IVqEWSRecipients> CreateRecipients() override;

  // ---- Names (m:ResolveNames)

  /// All candidates for a name or address. A name that is not found gives an empty set.
  TVqRef<IVqEWSResolutionSet> ResolveName(const string& AUnresolvedEntry, TSearchScope ASearchScope);
  /// Completes one recipient in place. False, or with `ARaiseError` an EEWSException, when there is no candidate.
  bool ResolveName(const TVqRef<IVqEWSRecipient>& ARecipient, bool ARaiseError) override;
  /// Completes a list of recipients; once one is not found, those after it are skipped.
  bool ResolveNames(const TVqRef<IVqEWSRecipients>& ARecipients, bool ARaiseError) override;

  // ---- Free and busy times (m:GetUserAvailabilityRequest) and mail tips (m:GetMailTips)

  /// What calendars tell of a time window, one result a mailbox, in their order. A mailbox that the server refuses is
  /// not raised: its result has GetHasError. The interval is that of the merged views, in minutes. The misspelling is
  /// the name.
  ///
  /// In the library's own form the request tells the machine's zone in hours where servers expect minutes, so that
  /// windows and entries are shifted; with StrictSchema they are UTC, as every TDateTime is. Programs set StrictSchema:
  /// see docs/guide/availability.md.
  ///
  /// Raises EEWSException when the server does not tell of every mailbox.
  TVqRef<IVqEWSUserAvailability> GetUserAvailibility(const TVqEWSMailboxData& AMailboxData, TDateTime AStartTime,
                                                     TDateTime AEndTime, std::int32_t AMergedFreeBusyIntervalInMinutes,
                                                     TVqEWSFreeBusyViewType ARequestedView);
  std::vector<TVqRef<IVqEWSUserAvailability>> GetUserAvailibility(std::span<const TVqEWSMailboxData> AMailboxes,
                                                                  TDateTime AStartTime, TDateTime AEndTime,
                                                                  std::int32_t AMergedFreeBusyIntervalInMinutes,
                                                                  TVqEWSFreeBusyViewType ARequestedView);
  std::vector<TVqRef<IVqEWSUserAvailability>> GetUserAvailibility(const std::list<TVqEWSMailboxData>& AMailboxes,
                                                                  TDateTime AStartTime, TDateTime AEndTime,
                                                                  std::int32_t AMergedFreeBusyIntervalInMinutes,
                                                                  TVqEWSFreeBusyViewType ARequestedView);
  /// What is worth knowing before one writes to these addresses, in their order; or to one. Since Exchange2010. Opens a
  /// default store to tell who writes (its GetIdentity asks the server). Raises EEWSException for the first address
  /// that the server refuses: then there are no tips at all.
  TVqRef<IVqEWSMailTips> GetMailTips(const string& AMailbox);
  std::vector<TVqRef<IVqEWSMailTips>> GetMailTips(const TVqStrings& AMailboxes);

  // ---- Ids (m:ConvertId) and time zones

  /// Converts one id, or several, of a mailbox into another form. Raises EEWSException when the server refuses.
  TVqRef<IVqEwsNonEmptyArrayOfAlternateIds> ConvertId(TIdFormat AFormat, const string& AId, const string& AMailbox,
                                                      TIdFormat ADestinationFormat);
  TVqRef<IVqEwsNonEmptyArrayOfAlternateIds> ConvertId(const TVqEwsAlternateIds& ASourceIds,
                                                      TIdFormat ADestinationFormat);
  /// The Windows id of the zone that requests carry; empty for none. With lean round trips, the first call of a
  /// logged-on session asks the server for its zones (m:GetServerTimeZones). Does not raise.
  const string& GetCurrentTimeZoneContext();
  void SetCurrentTimeZoneContext(const string& AValue);

  // ---- Requests

  /// Makes the session's own clients if they are missing, and brings them in line with the properties. Logging on and
  /// SetNTService call it; another call changes nothing. Talks to nobody.
  void CheckHTTPClient();
  TVqRef<IVqHTTPClient> CreateHTTPClient(bool AUseSession) override;
  TVqSOAPClient* CreateSOAPClient(const TVqRef<IVqHTTPClient>& AHTTPClient) override;
  TVqRef<IVqSOAPRequest> CreateRequest(TVqSOAPClient* ASOAPClient, const string& AMethod,
                                       const string& AResponseName) override;
  void CheckResponseError(const IVqDOMElement& AElement) override;
  /// Raises the plain exception "You must logon first!" unless the session is active.
  void CheckActive() const;

  /// Copies the settings and the state to another session: an active source first logs the destination on, with the
  /// settings that the destination has at that moment. Time-outs are not copied.
  void AssignTo(TVqComponent* ADest) override;

  // ---- Cancelling and watching

  /// Ends, within 100 ms, the request that the session's own client has under way: the operation raises
  /// EVqHTTPApiException 6. An operation on many items (uVqEWSBulk.h) ends as a whole, with all of its connections and
  /// waits. Does nothing when there is none. Any thread may call it.
  void Cancel() noexcept;
  /// Does the same when a stop is requested through this token, and also ends every request that would follow, until
  /// another token is set: for operations of several requests. An empty token, the default, never requests a stop.
  void SetStopToken(std::stop_token AValue);
  std::stop_token GetStopToken() const override { return FStopToken; }
  void BeginOperation(const std::stop_source& AStop) override;
  void EndOperation(const std::stop_source& AStop) noexcept override;
  TVqRef<IVqHTTPClient> CreateWorkingClient() override;
  void SettleRequest(IVqSOAPRequest& ARequest) override { SettleTimeZoneContextOf(ARequest); }
  /// Handlers that see each message of the session's own client: a request before it goes out, a reply once it has come
  /// in whole. Secrets are masked.
  void SetOnRequest(TVqEWSTrafficEvent AValue) { FOnRequest = std::move(AValue); }
  void SetOnResponse(TVqEWSTrafficEvent AValue) { FOnResponse = std::move(AValue); }

  // ---- Events

  /// Called on the thread that logs on or off, with the session as the sender. What AfterLogon raises comes out of
  /// SetActive; the session is logged on by then.
  void SetAfterLogon(TVqNotifyEvent AValue) { FAfterLogon = std::move(AValue); }
  void SetBeforeLogoff(TVqNotifyEvent AValue) { FBeforeLogoff = std::move(AValue); }
  void SetAfterLogoff(TVqNotifyEvent AValue) { FAfterLogoff = std::move(AValue); }
  void SetOnShowProfileDialog(TVqNotifyEvent AValue) { FOnShowProfileDialog = std::move(AValue); }

 protected:
  // Hooks of a subclass with a user interface.
  /// True before the server is looked for and probed, false afterwards. Here: does nothing.
  virtual void SetWaitCursor(bool AValue);
  /// The name of a new profile. Here: raises EEWSException "Failed to create a profile!".
  virtual string CreateProfile(const string& AName);
  /// The name of the profile that the user chose. Here: empty.
  virtual string SelectProfile();
  /// Whether the user changed the profile. Here: false.
  virtual bool EditProfile(const string& AName);
  /// Fires OnShowProfileDialog with the dialog as its sender.
  void DoOnShowProfileDialog(TVqComponent& ADialog);

  // How the service URL is found, for a subclass that knows better.

  /// The target host of the first DNS SRV record of a name ("_autodiscover._tcp.example.com"); empty when there is
  /// none. Called only when there is a password. Raises ENotSupportedException where the system has no such look-up.
  virtual string FindHostBySRV(const string& AName);
  /// Whether a GET of this address on the session's client gives status 200. Called for the usual host names of a
  /// domain after Autodiscover has found no server by itself. Talks to the server.
  virtual bool AnswersAt(const string& AURL);

  /// The session's own client; none until it is first needed, and none after logoff. A subclass with a desktop gives it
  /// the dialog that asks for credentials.
  TVqHTTPClientBase* GetHTTPClient() const noexcept { return FHTTPClient.get(); }
  /// The documents that Autodiscover found, by the mailbox address that they were asked for. They survive a logoff.
  std::map<string, IVqDOMDocument>& GetAutodiscoverResults() noexcept { return FAutodiscoverResults; }

  void Notification(TVqComponent* AComponent, TVqOperation AOperation) override;

 private:
  enum class TClientUse { own, separate };
  class TThrowAwayClients;

  void LogOn();
  void FindServer();
  void Fire(const TVqNotifyEvent& AEvent);
  void LogOff();
  void FreeClients();
  void UseProfile();
  void FindServiceUrl();
  std::vector<string> AutodiscoverCandidates(const string& AAddress) const;
  string FindAutodiscover(TVqHTTPClientBase& AClient, const string& AAddress);
  bool ProbeAutodiscover(TVqHTTPClientBase& AClient, string& AURL, int ADepth);
  IVqDOMDocument PostAutodiscover(TVqHTTPClientBase& AClient, const string& AURL, const string& AAddress);
  string RefusedTarget(const string& AFrom, const string& ATo);
  static string EwsUrlOf(const IVqDOMDocument& AAnswer);
  void Probe();
  void SendProbe();
  [[noreturn]] void RaiseProbeFailure(const class EVqHTTPApiException& AFailure);
  void ReadServerVersion(const IVqDOMElement& AHeader);
  void SettleTimeZoneContext();
  void SettleOpenTimeZoneContext() noexcept;
  void SettleTimeZoneContextOf(IVqSOAPRequest& ARequest);
  TVqHTTPAuthentication LogonScheme() const;
  void InitSOAPEnv(TVqSOAPClient& AClient);
  void Exchange(IVqSOAPRequest& ARequest, TVqRef<IVqSOAPResponse>& AResponse, const std::function<void()>& AExchange);
  void AddImpersonation(IVqSOAPRequest& ARequest, const string& AAddress);
  void BeforeSendHTTPRequest(TVqComponent& ASender, const TVqRef<IVqHTTPRequest>& ARequest);
  void OnHTTPResponse(TVqComponent& ASender, const TVqRef<IVqHTTPResponse>& AResponse);
  void OnWinINetClientError(TVqComponent& ASender, std::uint32_t AError, TVqWindowHandle& AParentWnd, bool& AHandled);
  void ForgetUser();
  string DefaultStoreEmail() const;
  string TimeZoneContext() const;
  void SetDefaultStoreEmail(const string& AValue);
  void Watch(const TVqEWSTrafficEvent& AEvent, TVqEWSTraffic ATraffic, const string& AContentType);
  std::unique_ptr<TVqHTTPClientBase> ReplaceHTTPClient(std::unique_ptr<TVqHTTPClientBase> AClient) noexcept;
  const TVqEWSClientKind& ClientKind() const noexcept;
  void Configure(IVqHTTPSession& ASession) const;
  void Configure(TVqHTTPClientBase& AClient, TClientUse AUse);

  bool FActive = false;
  TVqHTTPAccessType FAccessType{};
  TVqHTTPSecurityFlags FSecurityFlags;
  TVqCredentials FCredentials;
  TVqOAuth FOAuth;
  string FUserAgent = u"Velmore EWS Client";
  TVqHTTPTimeOuts FTimeOuts{15000, 15000, 15000};
  string FProxyServer;
  string FProxyServerBypass;
  TVqCredentials FProxyCredentials;
  TVqEWSProfileCustomContainer* FProfileContainer = nullptr;
  string FProfileName;
  bool FProfileRequired = false;
  string FServiceUrl;
  bool FUseAutoDiscover = true;
  string FAutodiscoverEMail;
  mutable std::mutex FFramingMutex;  // protects the next two: every framed request looks at them, whichever its thread
  string FDefaultStoreEmail;
  string FCurrentTimeZoneContext;
  TConnectingSIDType FConnectingSIDType = csSmtpAddress;
  string FConnectingSID;
  bool FNTService = false;
  bool FLogonDialog = true;
  bool FPasswordDialog = true;
  TVqStrings FAdditionalMailboxes{false};
  bool FAdditionalMailboxesRetrieved = false;
  string FAutodisoverURL;  // the misspelling is the field's name
  std::map<string, IVqDOMDocument> FAutodiscoverResults;
  TVqEWSMsgStores FMsgStores{*this};
  TServerVersion FServerVersion = Exchange2007_SP1;
  TServerVersionInfo FServerVersionInfo;
  TServerVersion FRequestVersion = Exchange2007;
  TVqWindowHandle FParentWnd = 0;
  std::unique_ptr<TVqHTTPSessionBase> FHTTPSession;
  std::mutex FClientMutex;  // protects which client the next is, and the operations, against Cancel
  std::unique_ptr<TVqHTTPClientBase> FHTTPClient;
  std::vector<std::stop_source> FOperations;
  std::unique_ptr<TVqSOAPClient> FSOAPClient;
  TVqNotifyEvent FAfterLogon, FBeforeLogoff, FAfterLogoff;
  bool FTimeZoneIsOpen = false;         // the server's list was not asked for yet
  std::optional<string> FTimeZoneOnce;  // what requests named until it was, where they name another one now
  TVqNotifyEvent FOnShowProfileDialog;
  TVqEWSWireForms FWireForms;
  bool FLeanRoundTrips = false;
  TVqHTTPAuthentication FAuthentication = TVqHTTPAuthentication::byChallenge;
  TVqEWSRetries FRetries;
  bool FLocalImages = true;
  string FCAFile, FCRLFile;
  TVqEWSTrafficEvent FOnRequest, FOnResponse;
  std::chrono::steady_clock::time_point FRequestedAt;
  std::stop_token FStopToken;
  TVqHTTPTlsVersion FLowestTls = TVqHTTPTlsVersion::tls12;
  TVqHTTPLimits FLimits;
  TVqXMLLimits FXMLLimits = VqSOAPReplyLimits();
  std::map<string, string> FConnectTo;
  bool FAllowPlainTextPassword = false;
  std::vector<TVqEWSAutodiscoverStep> FAutodiscoverReport;
  TVqEWSAutodiscoverRedirectEvent FOnAutodiscoverRedirect;
  std::shared_ptr<const bool> FLife = std::make_shared<const bool>(true);  // expires with the session
};

/// The session of a program without a desktop: no dialogs, the WinHTTP client.
class TVqEWSServiceSession : public TVqEWSCustomSession {
 public:
  /// `AOwner` may be empty.
  explicit TVqEWSServiceSession(TVqComponent* AOwner = nullptr);
  /// Accepts only true; false raises a plain exception with an empty message.
  void SetNTService(bool AValue) override;
};

}  // namespace velmore
