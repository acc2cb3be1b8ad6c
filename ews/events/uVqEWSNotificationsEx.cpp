#include "ews/events/uVqEWSNotificationsEx.h"

namespace velmore {
namespace {

constexpr const char* kOverrideCookie = "X-BackEndOverrideCookie";
constexpr const char* kAnchorHeader = "X-AnchorMailbox";
constexpr const char* kAffinityHeader = "X-PreferServerAffinity";

/// Beside whatever the session has put in, on purpose.
void AddImpersonation(IVqSOAPRequest& request, const string& address) {
  request.AddSOAPHeader("t:ExchangeImpersonation")
      .AddElement("t:ConnectingSID")
      .AddElement("t:PrimarySmtpAddress")
      .SetText(address);
}

TVqEWSEventSubscriptionEx& AnchorOf(TVqEWSEventGroup& group) {
  return dynamic_cast<TVqEWSEventSubscriptionEx&>(group.GetItem(0));
}

/// Takes the cookie of a group's back end out of the session again, where it would lead everybody else's requests, and
/// the next group's, to that back end.
class TOverrideCookies {
 public:
  explicit TOverrideCookies(TVqSessionWrapper& wrapper) : FWrapper(wrapper) {}
  ~TOverrideCookies() { FWrapper.GetDefaultClient()->GetComponent()->RemoveCookies(kOverrideCookie); }
  TOverrideCookies(const TOverrideCookies&) = delete;
  TOverrideCookies& operator=(const TOverrideCookies&) = delete;

 private:
  TVqSessionWrapper& FWrapper;
};

}  // namespace

// ---- TVqEWSGetAnchorEvents

TVqEWSGetAnchorEvents::TVqEWSGetAnchorEvents(TVqEWSSingleStoreFolderEvents& AOwner, TVqEWSEventGroup& AGroup)
    : TVqEWSGetEvents(AOwner, AGroup),
      FAnchorMailBox(AGroup.GetItem(0).GetStoreIdentity()),
      FBackendOverrideCookie(AnchorOf(AGroup).GetBackendOverrideCookie()) {}

void TVqEWSGetAnchorEvents::InitializeHTTPClient(IVqHTTPClient& AClient) {
  TVqEWSGetEvents::InitializeHTTPClient(AClient);
  AClient.GetAdditionalHeaders().Add(string(kAnchorHeader) + "=" + FAnchorMailBox);
  AClient.GetAdditionalHeaders().Add(string(kAffinityHeader) + "=true");
}

void TVqEWSGetAnchorEvents::InitializeHTTPRequest(IVqHTTPRequestEx& ARequest) {
  TVqEWSGetEvents::InitializeHTTPRequest(ARequest);
  ARequest.SetCookie(kOverrideCookie, FBackendOverrideCookie);
}

void TVqEWSGetAnchorEvents::InitializeSOAPRequest(TVqEWSEventGroup& AGroup, IVqSOAPRequest& ARequest) {
  TVqEWSGetEvents::InitializeSOAPRequest(AGroup, ARequest);
  AddImpersonation(ARequest, FAnchorMailBox);
}

void TVqEWSGetAnchorEvents::BeforeResubscribe() {
  FBackendOverrideCookie = string();  // the anchor may live elsewhere by now
}

void TVqEWSGetAnchorEvents::AfterResubscribed(TVqEWSEventSubscription& ASubscription,
                                              const IVqHTTPResponse& AResponse) {
  if (ASubscription.GetGroup().IndexOf(ASubscription) == 0) {
    FBackendOverrideCookie = AResponse.GetCookie(kOverrideCookie);
  }
}

// ---- TVqEWSMultipleStoreFolderEvents

std::unique_ptr<TVqEWSEventSubscription> TVqEWSMultipleStoreFolderEvents::EventSubscriptionClass(
    TVqEWSEventGroup& AGroup, const string& AStoreSmtpAddress) {
  return std::make_unique<TVqEWSEventSubscriptionEx>(AGroup, AStoreSmtpAddress);
}

void TVqEWSMultipleStoreFolderEvents::Subscribe(const TVqRef<IVqEWSFolder>& AFolder,
                                                const TVqEWSFolderEventsGetEventGroup&) {
  TVqEWSSingleStoreFolderEvents::Subscribe(AFolder, [this](const string& address) { return GroupOf(address); });
}

string TVqEWSMultipleStoreFolderEvents::GroupOf(const string& AStoreSmtpAddress) const {
  if (GetWrapper()->GetServerVersion() < Exchange2013) return "GroupXXX";
  TVqEWSCustomSession* const session = GetSession();
  if (!session) throw EVqException("There is no active EWS Session!").NoteSessionUnusable();
  const bool usable =
      !session->GetAutodiscoverEMail().empty() || session->GetCredentials().GetUserName().Contains(u"@");
  if (!usable) return string();
  const IVqDOMElement protocol =
      session->Autodiscover(AStoreSmtpAddress)
          .SelectSingleElement("/Autodiscover/Response/Account/Protocol[Type=\"EXPR\"]", kSelectRequired);
  const string grouping = protocol.SelectSingleElement("GroupingInformation", kSelectRequired).GetText();
  return grouping + protocol.SelectSingleElement("EwsUrl", kSelectRequired).GetText();
}

void TVqEWSMultipleStoreFolderEvents::Start() {
  const TVqEWSEventGroups& groups = GetEventGroups();
  const bool alone = groups.Count() == 0 || (groups.Count() == 1 && groups.begin()->second->Count() == 1);
  if (alone) return TVqEWSSingleStoreFolderEvents::Start();
  const TVqRef<TVqSessionWrapper> wrapper = GetWrapper();
  if (!wrapper) throw EVqException("There is no active EWS Session!").NoteSessionUnusable();
  const TOverrideCookies cookies(*wrapper);
  DoStart([](TVqEWSEventGroup& group) { group.SortByAddress(); }, &AnchorRequest,
          [this](TVqEWSEventGroup& group) { return std::make_shared<TVqEWSGetAnchorEvents>(*this, group); });
}

void TVqEWSMultipleStoreFolderEvents::AnchorRequest(TVqEWSEventSubscription& ASubscription, IVqSOAPRequest& ARequest) {
  auto* const client = dynamic_cast<IVqHTTPClient*>(ARequest.GetHTTPClient());
  if (!client) throw EVqException("IVqHTTPClient must be implemented by the client!");
  auto& subscription = dynamic_cast<TVqEWSEventSubscriptionEx&>(ASubscription);
  TVqHTTPCookies& cookies = client->GetSession()->GetCookies();
  ARequest.AddHTTPHeader(kAffinityHeader, "true");
  subscription.SetBackendOverrideCookie(string());
  const bool anchor = ASubscription.GetGroup().IndexOf(ASubscription) == 0;
  AddImpersonation(ARequest, ASubscription.GetStoreIdentity());
  subscription.SetIsAnchor(anchor);
  if (anchor) {
    cookies.Remove(kOverrideCookie);  // of the group before, whose back end is another one
    ARequest.AddHTTPHeader(kAnchorHeader, ASubscription.GetStoreIdentity());
    ARequest.SetResponseHandler([&subscription](const TVqRef<IVqHTTPResponse>& response) {
      subscription.SetBackendOverrideCookie(response->GetCookie(kOverrideCookie));
    });
    return;
  }
  const TVqEWSEventSubscriptionEx& first = AnchorOf(ASubscription.GetGroup());
  ARequest.AddHTTPHeader(kAnchorHeader, first.GetStoreIdentity());
  cookies.Add(string(), string(kOverrideCookie) + "=" + first.GetBackendOverrideCookie());
}

}  // namespace velmore
