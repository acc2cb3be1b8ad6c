#include "ews/events/uVqEWSNotifications.h"

#include <algorithm>

#include "ews/events/uVqEWSNotifications_p.h"

namespace velmore {
namespace {

[[noreturn]] void NoSuchPosition(const char* what, std::int32_t index) {
  throw EListError(Format("There is no %s at position %d.", {string(what), index}));
}

/// The session along the creators of a folder.
TVqEWSBaseSession& SessionOf(IVqEWSFolder& folder) {
  TVqComponent* link = dynamic_cast<TVqComponent*>(&folder);
  while (link) {
    if (auto* session = dynamic_cast<TVqEWSBaseSession*>(link)) return *session;
    if (auto* object = dynamic_cast<TVqEWSObject*>(link)) return object->ActiveSession();
    break;
  }
  throw EVqException("Failed to find the EWS Session!").NoteSessionUnusable();
}

}  // namespace

// ---- TVqEWSEventSubscription

TVqEWSEventSubscription::TVqEWSEventSubscription(TVqEWSEventGroup& AGroup, const string& AStoreSmtpAddress)
    : FGroup(AGroup), FSmtpAddress(AStoreSmtpAddress) {}

TVqEWSEventSubscription::~TVqEWSEventSubscription() = default;

string TVqEWSEventSubscription::GetSubscriptionId() const {
  const std::scoped_lock lock(FIdMutex);
  return FSubscriptionId;
}

void TVqEWSEventSubscription::SetSubscriptionId(const string& AValue) {
  const std::scoped_lock lock(FIdMutex);
  FSubscriptionId = AValue;
}

const TVqRef<IVqEWSFolder>& TVqEWSEventSubscription::GetItem(std::int32_t AIndex) const {
  if (AIndex < 0 || AIndex >= Count()) NoSuchPosition("folder", AIndex);
  return FFolders[static_cast<std::size_t>(AIndex)].Folder;
}

TVqRef<IVqEWSFolder> TVqEWSEventSubscription::FindFolder(const string& AFolderId) const {
  const auto found = std::find_if(FFolders.rbegin(), FFolders.rend(),
                                  [&](const TWatched& watched) { return watched.Id == AFolderId; });
  return found == FFolders.rend() ? TVqRef<IVqEWSFolder>() : found->Folder;
}

void TVqEWSEventSubscription::Add(const TVqRef<IVqEWSFolder>& AFolder) {
  if (!HasFolder(AFolder)) FFolders.push_back({AFolder, AFolder->GetID().Id});
}

void TVqEWSEventSubscription::Remove(const TVqRef<IVqEWSFolder>& AFolder) {
  const string id = AFolder->GetID().Id;
  const auto found =
      std::find_if(FFolders.rbegin(), FFolders.rend(), [&](const TWatched& watched) { return watched.Id == id; });
  if (found != FFolders.rend()) FFolders.erase(std::next(found).base());
}

// ---- TVqEWSEventGroup

TVqEWSEventGroup::TVqEWSEventGroup(TVqEWSSingleStoreFolderEvents& AOwner, const string& AGroupCode)
    : FOwner(AOwner), FGroupCode(AGroupCode) {}

TVqEWSEventSubscription& TVqEWSEventGroup::GetItem(std::int32_t AIndex) const {
  if (AIndex < 0 || AIndex >= Count()) NoSuchPosition("subscription", AIndex);
  return *FSubscriptions[static_cast<std::size_t>(AIndex)];
}

std::int32_t TVqEWSEventGroup::IndexOf(const TVqEWSEventSubscription& ASubscription) const noexcept {
  const auto found = std::find_if(FSubscriptions.begin(), FSubscriptions.end(),
                                  [&](const auto& one) { return one.get() == &ASubscription; });
  return found == FSubscriptions.end() ? -1 : static_cast<std::int32_t>(found - FSubscriptions.begin());
}

TVqEWSEventSubscription* TVqEWSEventGroup::FindFolder(const TVqRef<IVqEWSFolder>& AFolder) const {
  const string id = AFolder->GetID().Id;
  const auto found = std::find_if(FSubscriptions.begin(), FSubscriptions.end(),
                                  [&](const auto& one) { return static_cast<bool>(one->FindFolder(id)); });
  return found == FSubscriptions.end() ? nullptr : found->get();
}

void TVqEWSEventGroup::AddFolder(const string& AStoreSmtpAddress, const TVqRef<IVqEWSFolder>& AFolder) {
  auto found = std::find_if(FSubscriptions.begin(), FSubscriptions.end(),
                            [&](const auto& one) { return one->GetStoreIdentity() == AStoreSmtpAddress; });
  if (found == FSubscriptions.end()) {
    FSubscriptions.push_back(FOwner.EventSubscriptionClass(*this, AStoreSmtpAddress));
    found = std::prev(FSubscriptions.end());
  }
  (*found)->Add(AFolder);
}

void TVqEWSEventGroup::RemoveFolder(const TVqRef<IVqEWSFolder>& AFolder) {
  TVqEWSEventSubscription* const subscription = FindFolder(AFolder);
  if (!subscription) return;
  subscription->Remove(AFolder);
  if (subscription->Count() == 0) Remove(*subscription);
}

void TVqEWSEventGroup::Remove(const TVqEWSEventSubscription& ASubscription) {
  std::erase_if(FSubscriptions, [&](const auto& one) { return one.get() == &ASubscription; });
}

void TVqEWSEventGroup::SortByAddress() {
  std::stable_sort(FSubscriptions.begin(), FSubscriptions.end(),
                   [](const auto& a, const auto& b) { return a->GetStoreIdentity() < b->GetStoreIdentity(); });
}

// ---- TVqEWSEventGroups

std::int32_t TVqEWSEventGroups::SubscriptionCount() const noexcept {
  std::int32_t count = 0;
  for (const auto& [code, group] : FGroups) count += group->Count();
  return count;
}

bool TVqEWSEventGroups::FindSubscription(const string& ASubscriptionId, TVqEWSEventSubscription*& ASubscription) const {
  ASubscription = nullptr;
  for (const auto& [code, group] : FGroups) {
    for (std::int32_t i = 0; i < group->Count(); ++i) {
      if (group->GetItem(i).GetSubscriptionId() != ASubscriptionId) continue;
      ASubscription = &group->GetItem(i);
      return true;
    }
  }
  return false;
}

void TVqEWSEventGroups::RemoveSubscription(const string& ASubscriptionId) {
  for (const auto& [code, group] : FGroups) {
    for (std::int32_t i = 0; i < group->Count(); ++i) {
      if (group->GetItem(i).GetSubscriptionId() != ASubscriptionId) continue;
      group->Remove(group->GetItem(i));
      break;
    }
  }
}

TVqEWSEventGroup& TVqEWSEventGroups::GetGroup(const string& ACode) {
  std::unique_ptr<TVqEWSEventGroup>& group = FGroups[ACode];
  if (!group) group = std::make_unique<TVqEWSEventGroup>(FOwner, ACode);
  return *group;
}

void TVqEWSEventGroups::AddFolder(const string& AGroupCode, const string& AStoreSmtpAddress,
                                  const TVqRef<IVqEWSFolder>& AFolder) {
  for (const auto& [code, group] : FGroups) {
    if (group->FindFolder(AFolder)) return;
  }
  TVqEWSEventGroup* group = &GetGroup(AGroupCode);
  // On purpose also for a store that has its subscription in the full group: it gets another one.
  for (std::int32_t count = 1; group->Count() >= kMostSubscriptions; ++count) {
    group = &GetGroup(AGroupCode + IntToStr(count));
  }
  group->AddFolder(AStoreSmtpAddress, AFolder);
}

// ---- TVqSessionWrapper

TVqSessionWrapper::TVqSessionWrapper(TVqEWSBaseSession* ACreator) : TVqEWSImpersonatedObject(ACreator, false) {
  RenewDefaultClient();
}

// ---- TVqEWSSingleStoreFolderEvents

TVqEWSSingleStoreFolderEvents::TVqEWSSingleStoreFolderEvents(TVqComponent* AOwner)
    : TVqComponent(AOwner), TVqEWSEventSettings(std::make_shared<TVqEWSReaderGround>(*this)) {}

TVqEWSSingleStoreFolderEvents::~TVqEWSSingleStoreFolderEvents() {
  try {
    TVqEWSSingleStoreFolderEvents::Stop();
  } catch (const std::exception&) {
    // On a reader's own thread it raises, and a session that is logged off has nobody to tell of the subscriptions.
  }
  EndListeners();
  FGround->Gone = true;
  FGround->Groups.Clear();  // here and not with the last reader: folders belong to the session's thread
  FSession = nullptr;
  FGround->Client = nullptr;
}

std::unique_ptr<TVqEWSEventSubscription> TVqEWSSingleStoreFolderEvents::EventSubscriptionClass(
    TVqEWSEventGroup& AGroup, const string& AStoreSmtpAddress) {
  return std::make_unique<TVqEWSEventSubscription>(AGroup, AStoreSmtpAddress);
}

void TVqEWSSingleStoreFolderEvents::Subscribe(const TVqRef<IVqEWSFolder>& AFolder,
                                              const TVqEWSFolderEventsGetEventGroup& AGetEventGroup) {
  CheckThread();
  const bool active = GetActive();
  if (active) Stop();
  if (!FSession) {
    TVqEWSBaseSession& session = SessionOf(*AFolder);
    FSession = MakeRef<TVqSessionWrapper>(&session);
    FWrappedSession = &session;
    session.FreeNotification(this);
  }
  const auto store = Supports<IVqEWSMsgStore>(AFolder->GetMsgStore());
  if (!store) throw EVqException("The folder has no message store.");
  const string address = store->GetIdentity()->GetEmailAddress();
  if (FFirstStoreName.empty()) FFirstStoreName = address;
  FGround->Groups.AddFolder(AGetEventGroup ? AGetEventGroup(address) : string("Default"), address, AFolder);
  if (active) Start();
}

void TVqEWSSingleStoreFolderEvents::Unsubscribe(const TVqRef<IVqEWSFolder>& AFolder) {
  for (const auto& [code, group] : FGround->Groups) {
    if (!group->FindFolder(AFolder)) continue;
    if (GetActive()) throw EVqException("You must stop the event monitoring before you can unsubscribe a folder!");
    return group->RemoveFolder(AFolder);
  }
}

TVqEWSCustomSession* TVqEWSSingleStoreFolderEvents::GetSession() const noexcept {
  return FSession ? dynamic_cast<TVqEWSCustomSession*>(FSession->GetCreatedBy()) : nullptr;
}

TVqEWSEventGroups& TVqEWSSingleStoreFolderEvents::GetEventGroups() noexcept {
  return FGround->Groups;
}

void TVqEWSSingleStoreFolderEvents::Notification(TVqComponent* AComponent, TVqOperation AOperation) {
  TVqComponent::Notification(AComponent, AOperation);
  if (AOperation != TVqOperation::opRemove || AComponent != FWrappedSession) return;
  EndListeners();  // there is nobody left on whose behalf they could listen
  FSession = nullptr;
  FWrappedSession = nullptr;
  FGround->Client = nullptr;
}

}  // namespace velmore
