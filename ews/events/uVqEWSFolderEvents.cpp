#include "ews/events/uVqEWSFolderEvents.h"

#include "ews/events/uVqEWSNotificationsEx.h"

namespace velmore {

TVqEWSFolderEvents::TVqEWSFolderEvents(TVqComponent* AOwner)
    : TVqComponent(AOwner), FHandler(std::make_unique<TVqEWSMultipleStoreFolderEvents>()) {}

TVqEWSFolderEvents::~TVqEWSFolderEvents() = default;

void TVqEWSFolderEvents::Subscribe(const TVqRef<IVqEWSFolder>& AFolder) {
  FHandler->Subscribe(AFolder);
}
void TVqEWSFolderEvents::Unsubscribe(const TVqRef<IVqEWSFolder>& AFolder) {
  FHandler->Unsubscribe(AFolder);
}
void TVqEWSFolderEvents::Start() {
  FHandler->Start();
}
void TVqEWSFolderEvents::Stop() {
  FHandler->Stop();
}
bool TVqEWSFolderEvents::GetActive() const noexcept {
  return FHandler->GetActive();
}
void TVqEWSFolderEvents::SetActive(bool AValue) {
  if (AValue == GetActive()) return;
  if (AValue) {
    Start();
  } else {
    Stop();
  }
}

// ---- Handlers and options

TEwsMovedCopiedEvent TVqEWSFolderEvents::GetOnItemCopied() const {
  return FHandler->GetOnItemCopied();
}
void TVqEWSFolderEvents::SetOnItemCopied(TEwsMovedCopiedEvent AValue) {
  FHandler->SetOnItemCopied(std::move(AValue));
}
TEwsBaseObjectChangedEvent TVqEWSFolderEvents::GetOnItemCreated() const {
  return FHandler->GetOnItemCreated();
}
void TVqEWSFolderEvents::SetOnItemCreated(TEwsBaseObjectChangedEvent AValue) {
  FHandler->SetOnItemCreated(std::move(AValue));
}
TEwsBaseObjectChangedEvent TVqEWSFolderEvents::GetOnItemDeleted() const {
  return FHandler->GetOnItemDeleted();
}
void TVqEWSFolderEvents::SetOnItemDeleted(TEwsBaseObjectChangedEvent AValue) {
  FHandler->SetOnItemDeleted(std::move(AValue));
}
TEwsModifiedEvent TVqEWSFolderEvents::GetOnItemModified() const {
  return FHandler->GetOnItemModified();
}
void TVqEWSFolderEvents::SetOnItemModified(TEwsModifiedEvent AValue) {
  FHandler->SetOnItemModified(std::move(AValue));
}
TEwsMovedCopiedEvent TVqEWSFolderEvents::GetOnItemMoved() const {
  return FHandler->GetOnItemMoved();
}
void TVqEWSFolderEvents::SetOnItemMoved(TEwsMovedCopiedEvent AValue) {
  FHandler->SetOnItemMoved(std::move(AValue));
}
TEwsBaseObjectChangedEvent TVqEWSFolderEvents::GetOnNewMail() const {
  return FHandler->GetOnNewMail();
}
void TVqEWSFolderEvents::SetOnNewMail(TEwsBaseObjectChangedEvent AValue) {
  FHandler->SetOnNewMail(std::move(AValue));
}

bool TVqEWSFolderEvents::GetThreadedEvents() const noexcept {
  return FHandler->GetThreadedEvents();
}
void TVqEWSFolderEvents::SetThreadedEvents(bool AValue) noexcept {
  FHandler->SetThreadedEvents(AValue);
}
bool TVqEWSFolderEvents::GetEagerDispatch() const noexcept {
  return FHandler->GetEagerDispatch();
}
void TVqEWSFolderEvents::SetEagerDispatch(bool AValue) noexcept {
  FHandler->SetEagerDispatch(AValue);
}
bool TVqEWSFolderEvents::GetResubscribe() const noexcept {
  return FHandler->GetResubscribe();
}
void TVqEWSFolderEvents::SetResubscribe(bool AValue) noexcept {
  FHandler->SetResubscribe(AValue);
}
std::size_t TVqEWSFolderEvents::GetStreamLimit() const noexcept {
  return FHandler->GetStreamLimit();
}
void TVqEWSFolderEvents::SetStreamLimit(std::size_t AValue) noexcept {
  FHandler->SetStreamLimit(AValue);
}
void TVqEWSFolderEvents::SetOnConnectionState(TVqEWSConnectionStateEvent AValue) {
  FHandler->SetOnConnectionState(std::move(AValue));
}

}  // namespace velmore
