#include "ews/events/uVqEWSNotifications.h"

#include "ews/events/uVqEWSNotifications_p.h"
#include "ews/model/internal/uVqEWSCall.h"
#include "platform/soap/uVqSOAPClient.h"

namespace velmore {
namespace {

constexpr std::int32_t kSubscribeConnectTimeOut = 15000;  // milliseconds

/// The events of the handlers that are set. The order is fixed, on purpose.
std::vector<const char*> EventTypesOf(const TVqEWSReaderGround& ground) {
  std::vector<const char*> types;
  if (ground.Handler(&TVqEWSHandlers::NewMail)) types.push_back("NewMailEvent");
  if (ground.Handler(&TVqEWSHandlers::Copied)) types.push_back("CopiedEvent");
  if (ground.Handler(&TVqEWSHandlers::Created)) types.push_back("CreatedEvent");
  if (ground.Handler(&TVqEWSHandlers::Deleted)) types.push_back("DeletedEvent");
  if (ground.Handler(&TVqEWSHandlers::Modified)) types.push_back("ModifiedEvent");
  if (ground.Handler(&TVqEWSHandlers::Moved)) types.push_back("MovedEvent");
  return types;
}

}  // namespace

void TVqEWSSingleStoreFolderEvents::Start() {
  DoStart([](TVqEWSEventGroup&) {}, [](TVqEWSEventSubscription&, IVqSOAPRequest&) {},
          [this](TVqEWSEventGroup& group) { return std::make_shared<TVqEWSGetEvents>(*this, group); });
}

void TVqEWSSingleStoreFolderEvents::DoStart(const TVqEWSFolderEventsStart_Group& AGroupHook,
                                            const TVqEWSFolderEventsStart_Request& ARequestHook,
                                            const TVqEWSFolderEventsStart_Listener& AListenerHook) {
  CheckThread();
  if (GetActive()) Stop();
  if (EventTypesOf(*FGround).empty()) return;
  TVqEWSEventGroups& groups = FGround->Groups;
  if (groups.SubscriptionCount() == 0) return;
  if (!FSession) throw EVqException("There is no active EWS Session!").NoteSessionUnusable();
  FSession->RenewDefaultClient();  // the session may have another user by now
  for (const auto& [code, group] : groups) {
    AGroupHook(*group);
    CreateSubscriptions(*group, ARequestHook);
  }
  FGround->Client = FSession->GetDefaultClient();
  FGround->ServiceURL = FSession->GetServiceURL();
  FGround->ExchangeCookie = FSession->GetExchangeCookie();
  FGround->SetToken(FGround->Client->GetOAuth().GetAccessToken());
  FGround->IndexSubscriptions();
  std::vector<std::shared_ptr<TVqEWSGetEvents>> listeners;
  for (const auto& [code, group] : groups) {
    if (group->Count() == 0) continue;  // its last folder was unsubscribed
    listeners.push_back(AListenerHook(*group));
  }
  FListeners = std::move(listeners);
  try {
    for (const auto& listener : FListeners) listener->Prepare();
  } catch (...) {
    EndListeners();
    throw;
  }
  for (const auto& listener : FListeners) listener->StartListening();
}

/// One client serves the subscriptions of a group, so that a connection is made, and somebody logged on, once.
void TVqEWSSingleStoreFolderEvents::CreateSubscriptions(TVqEWSEventGroup& AGroup,
                                                        const TVqEWSFolderEventsStart_Request& ARequestHook) {
  if (AGroup.Count() == 0) return;
  const TVqRef<IVqHTTPClient> client = FSession->CreateHTTPClient(true);
  client->GetTimeOuts().SetConnect(kSubscribeConnectTimeOut);
  client->SetUseCookies(true);
  const std::unique_ptr<TVqSOAPClient> soap(FSession->CreateSOAPClient(client));
  client->GetSession()->GetCookies().Add(string(), "exchangecookie=" + FSession->GetExchangeCookie());
  for (std::int32_t i = 0; i < AGroup.Count(); ++i) CreateSubscription(AGroup.GetItem(i), *soap, ARequestHook);
}

void TVqEWSSingleStoreFolderEvents::CreateSubscription(TVqEWSEventSubscription& ASubscription, TVqSOAPClient& AClient,
                                                       const TVqEWSFolderEventsStart_Request& ARequestHook) {
  const TVqRef<IVqSOAPRequest> request = FSession->CreateRequest(&AClient, "m:Subscribe", string());
  const IVqDOMElement subscribe = request->GetMethod().AddElement("m:StreamingSubscriptionRequest");
  const IVqDOMElement folders = subscribe.AddElement("t:FolderIds");
  for (std::int32_t i = 0; i < ASubscription.Count(); ++i) {
    EwsWriteId(folders.AddElement("t:FolderId"), ASubscription.GetItem(i)->GetID());
  }
  const IVqDOMElement types = subscribe.AddElement("t:EventTypes");
  for (const char* type : EventTypesOf(*FGround)) types.AddElement("t:EventType").SetText(type);
  ARequestHook(ASubscription, *request);
  TVqRef<IVqSOAPResponse> response;
  request->Send(response);
  const IVqDOMElement message = response->GetDocument().SelectSingleElement(
      "/Envelope/Body/SubscribeResponse/ResponseMessages/SubscribeResponseMessage", kSelectRequired);
  FSession->CheckResponseError(message);
  ASubscription.SetSubscriptionId(message.SelectSingleElement("SubscriptionId", kSelectRequired).GetText());
  ASubscription.FRequest.clear();
  if (FGround->Resubscribe) {
    TVqMemoryStream bytes;
    request->GetDocument().SaveToStream(bytes, kVqCodePageUtf8, true, false);
    ASubscription.FRequest = bytes.TakeBytes();
  }
}

/// What a reader would have to wait for itself in.
void TVqEWSSingleStoreFolderEvents::CheckThread() const {
  const TVqEWSGetEvents* const reader = TVqEWSGetEvents::Current();
  if (!reader || !reader->IsOf(*this)) return;
  throw EVqException(
      "The event monitoring cannot be stopped on the thread of one of its readers, which would wait for itself!");
}

void TVqEWSSingleStoreFolderEvents::Stop() {
  CheckThread();
  EndListeners();
  if (!FSession) return;
  for (const auto& [code, group] : FGround->Groups) {
    for (std::int32_t i = 0; i < group->Count(); ++i) Unsubscribe(group->GetItem(i));
  }
}

/// Terminates all before it waits for the first. A reader that this very thread belongs to ends by itself, when the
/// handler that led here has returned.
void TVqEWSSingleStoreFolderEvents::EndListeners() {
  for (auto listener = FListeners.rbegin(); listener != FListeners.rend(); ++listener) (*listener)->Terminate();
  while (!FListeners.empty()) {
    if (FListeners.back().get() == TVqEWSGetEvents::Current()) {
      FListeners.back()->Leave();
    } else {
      FListeners.back()->WaitFor();
    }
    FListeners.pop_back();
  }
  FGround->ForgetIndex();
}

/// On purpose nothing is made of the answer: a subscription that the server has forgotten is as good as removed.
void TVqEWSSingleStoreFolderEvents::Unsubscribe(TVqEWSEventSubscription& ASubscription) {
  const string id = ASubscription.GetSubscriptionId();
  if (id.empty()) return;
  const TVqRef<IVqSOAPRequest> request = FSession->CreateRequest(nullptr, "m:Unsubscribe", string());
  request->GetMethod().AddElement("m:SubscriptionId").SetText(id);
  request->AcceptAnyResponse();
  TVqRef<IVqSOAPResponse> response;
  try {
    request->Send(response);
  } catch (const EVqSOAPFault&) {
    // An answer, too.
  } catch (const EVqXMLError&) {
    // So is what is no XML.
  }
  ASubscription.SetSubscriptionId(string());  // a second Stop has nothing left to say
}

}  // namespace velmore
