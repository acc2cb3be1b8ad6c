#include "ews/events/uVqEWSNotifications_p.h"
#include "ews/model/internal/uVqEWSCall.h"
#include "platform/common/uVqMainThread.h"
#include "platform/xml/uVqXMLUtils.h"

namespace velmore {
namespace {

constexpr const char* kNotifications =
    "/Envelope/Body/GetStreamingEventsResponse/ResponseMessages/GetStreamingEventsResponseMessage/Notifications/"
    "Notification";

IVqDOMElement Child(const IVqDOMElement& element, const char* name) {
  return element.SelectSingleElement(name, kSelectQuiet);
}

TDateTime TimeStampOf(const IVqDOMElement& event) {
  const IVqDOMElement element = Child(event, "TimeStamp");
  return element ? VqXMLToDateTime(element.GetText()) : TDateTime{0};
}

TItemId IdOf(const IVqDOMElement& event, const char* name) {
  const IVqDOMElement element = Child(event, name);
  return element ? EwsReadId(element) : TItemId();
}

std::int32_t UnreadCountOf(const IVqDOMElement& event) {
  const IVqDOMElement element = Child(event, "UnreadCount");
  return element ? VqXMLToInt(element.GetText()) : -1;
}

}  // namespace

void TVqEWSReaderGround::VqQueue(std::function<void()> AJob) {
  VqQueueToMainThread(std::move(AJob));
}

TVqEWSConnectionStateEvent TVqEWSReaderGround::Observer() const {
  if (Gone) return nullptr;
  const std::scoped_lock lock(FMutex);
  return FObserver;
}

void TVqEWSReaderGround::SetObserver(TVqEWSConnectionStateEvent AValue) {
  const std::scoped_lock lock(FMutex);
  FObserver.swap(AValue);
}

TVqOAuthAccessToken TVqEWSReaderGround::Token() const {
  const std::scoped_lock lock(FMutex);
  return FToken;
}

void TVqEWSReaderGround::SetToken(const TVqOAuthAccessToken& AValue) {
  const std::scoped_lock lock(FMutex);
  FToken = AValue;
}

// ---- Finding subscriptions

void TVqEWSReaderGround::IndexSubscriptions() {
  const std::unique_lock lock(FIndexMutex);
  FIndex.clear();
  FIndex.reserve(static_cast<std::size_t>(Groups.SubscriptionCount()));
  for (const auto& [code, group] : Groups) {
    for (std::int32_t i = 0; i < group->Count(); ++i) {
      TVqEWSEventSubscription& subscription = group->GetItem(i);
      FIndex.emplace(subscription.GetSubscriptionId(), &subscription);
    }
  }
}

void TVqEWSReaderGround::ForgetIndex() {
  const std::unique_lock lock(FIndexMutex);
  FIndex.clear();
}

void TVqEWSReaderGround::IndexSubscription(const string& AOldId, TVqEWSEventSubscription& ASubscription) {
  const std::unique_lock lock(FIndexMutex);
  FIndex.erase(AOldId);
  FIndex.emplace(ASubscription.GetSubscriptionId(), &ASubscription);
}

TVqEWSEventSubscription* TVqEWSReaderGround::FindSubscription(const string& AId) const {
  const std::shared_lock lock(FIndexMutex);
  if (!FIndex.empty()) {
    const auto found = FIndex.find(AId);
    return found == FIndex.end() ? nullptr : found->second;
  }
  TVqEWSEventSubscription* subscription = nullptr;
  Groups.FindSubscription(AId, subscription);
  return subscription;
}

// ---- Dispatch

void TVqEWSReaderGround::ProcessEvents(const IVqDOMDocument& ADocument) {
  for (const IVqDOMElement& notification : ADocument.CreateElementList(kNotifications, kSelectQuiet)) {
    if (Gone) return;
    const TVqEWSEventSubscription* subscription = FindSubscription(Child(notification, "SubscriptionId").GetText());
    if (!subscription) continue;
    for (const IVqDOMElement& event : notification.GetChildElements()) {
      if (Gone) return;  // a handler destroyed the component, and its subscriptions with it
      ProcessEvent(*subscription, event);
    }
  }
}

void TVqEWSReaderGround::ProcessEvent(const TVqEWSEventSubscription& ASubscription, const IVqDOMElement& AEvent) {
  const TItemId parent = IdOf(AEvent, "ParentFolderId");
  // The id of the subscription and signs of life have no folder.
  const TVqRef<IVqEWSFolder> folder = ASubscription.FindFolder(parent.Id);
  if (!folder) return;
  const string name = AEvent.GetLocalName();
  const auto changed = [&](TEwsBaseObjectChangedEvent TVqEWSHandlers::*handler) {
    const TDateTime at = TimeStampOf(AEvent);
    Dispatch(handler, folder, at, IdOf(AEvent, "ItemId"), parent);
  };
  const auto movedOrCopied = [&](TEwsMovedCopiedEvent TVqEWSHandlers::*handler) {
    const TDateTime at = TimeStampOf(AEvent);
    const TItemId item = IdOf(AEvent, "ItemId");
    const TItemId oldItem = IdOf(AEvent, "OldItemId");
    Dispatch(handler, folder, at, item, parent, oldItem, IdOf(AEvent, "OldParentFolderId"));
  };
  if (name == "ModifiedEvent") {
    const TDateTime at = TimeStampOf(AEvent);
    const TItemId item = IdOf(AEvent, "ItemId");
    Dispatch(&TVqEWSHandlers::Modified, folder, at, item, parent, UnreadCountOf(AEvent));
  } else if (name == "CreatedEvent") {
    changed(&TVqEWSHandlers::Created);
  } else if (name == "CopiedEvent" || name == "DeletedEvent") {
    // On purpose: a deletion takes the road of a copy.
    movedOrCopied(&TVqEWSHandlers::Copied);
  } else if (name == "MovedEvent") {
    movedOrCopied(&TVqEWSHandlers::Moved);
  } else if (name == "NewMailEvent") {
    changed(&TVqEWSHandlers::NewMail);
  }
}

void TVqEWSSingleStoreFolderEvents::ProcessEvents(const IVqDOMDocument& ADocument) {
  const auto ground = FGround;  // a handler may destroy this component
  ground->ProcessEvents(ADocument);
}

void TVqEWSSingleStoreFolderEvents::ItemCopied(const TVqRef<IVqEWSFolder>& AFolder, TDateTime ATimeStamp,
                                               const TItemId& AItemId, const TItemId& AParentFolderId,
                                               const TItemId& AOldItemId, const TItemId& AOldParentFolderId) {
  FGround->Dispatch(&TVqEWSHandlers::Copied, AFolder, ATimeStamp, AItemId, AParentFolderId, AOldItemId,
                    AOldParentFolderId);
}

void TVqEWSSingleStoreFolderEvents::ItemCreated(const TVqRef<IVqEWSFolder>& AFolder, TDateTime ATimeStamp,
                                                const TItemId& AItemId, const TItemId& AParentFolderId) {
  FGround->Dispatch(&TVqEWSHandlers::Created, AFolder, ATimeStamp, AItemId, AParentFolderId);
}

void TVqEWSSingleStoreFolderEvents::ItemDeleted(const TVqRef<IVqEWSFolder>& AFolder, TDateTime ATimeStamp,
                                                const TItemId& AItemId, const TItemId& AParentFolderId) {
  FGround->Dispatch(&TVqEWSHandlers::Deleted, AFolder, ATimeStamp, AItemId, AParentFolderId);
}

void TVqEWSSingleStoreFolderEvents::ItemModified(const TVqRef<IVqEWSFolder>& AFolder, TDateTime ATimeStamp,
                                                 const TItemId& AItemId, const TItemId& AParentFolderId,
                                                 std::int32_t AUnreadCount) {
  FGround->Dispatch(&TVqEWSHandlers::Modified, AFolder, ATimeStamp, AItemId, AParentFolderId, AUnreadCount);
}

void TVqEWSSingleStoreFolderEvents::ItemMoved(const TVqRef<IVqEWSFolder>& AFolder, TDateTime ATimeStamp,
                                              const TItemId& AItemId, const TItemId& AParentFolderId,
                                              const TItemId& AOldItemId, const TItemId& AOldParentFolderId) {
  FGround->Dispatch(&TVqEWSHandlers::Moved, AFolder, ATimeStamp, AItemId, AParentFolderId, AOldItemId,
                    AOldParentFolderId);
}

void TVqEWSSingleStoreFolderEvents::NewMail(const TVqRef<IVqEWSFolder>& AFolder, TDateTime ATimeStamp,
                                            const TItemId& AItemId, const TItemId& AParentFolderId) {
  FGround->Dispatch(&TVqEWSHandlers::NewMail, AFolder, ATimeStamp, AItemId, AParentFolderId);
}

}  // namespace velmore
