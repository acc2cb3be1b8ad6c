#include "ews/events/uVqEWSNotifications_p.h"

namespace velmore {

TEwsMovedCopiedEvent TVqEWSEventSettings::GetOnItemCopied() const {
  return FGround->Handler(&TVqEWSHandlers::Copied);
}
void TVqEWSEventSettings::SetOnItemCopied(TEwsMovedCopiedEvent AValue) {
  FGround->SetHandler(&TVqEWSHandlers::Copied, std::move(AValue));
}
TEwsBaseObjectChangedEvent TVqEWSEventSettings::GetOnItemCreated() const {
  return FGround->Handler(&TVqEWSHandlers::Created);
}
void TVqEWSEventSettings::SetOnItemCreated(TEwsBaseObjectChangedEvent AValue) {
  FGround->SetHandler(&TVqEWSHandlers::Created, std::move(AValue));
}
TEwsBaseObjectChangedEvent TVqEWSEventSettings::GetOnItemDeleted() const {
  return FGround->Handler(&TVqEWSHandlers::Deleted);
}
void TVqEWSEventSettings::SetOnItemDeleted(TEwsBaseObjectChangedEvent AValue) {
  FGround->SetHandler(&TVqEWSHandlers::Deleted, std::move(AValue));
}
TEwsModifiedEvent TVqEWSEventSettings::GetOnItemModified() const {
  return FGround->Handler(&TVqEWSHandlers::Modified);
}
void TVqEWSEventSettings::SetOnItemModified(TEwsModifiedEvent AValue) {
  FGround->SetHandler(&TVqEWSHandlers::Modified, std::move(AValue));
}
TEwsMovedCopiedEvent TVqEWSEventSettings::GetOnItemMoved() const {
  return FGround->Handler(&TVqEWSHandlers::Moved);
}
void TVqEWSEventSettings::SetOnItemMoved(TEwsMovedCopiedEvent AValue) {
  FGround->SetHandler(&TVqEWSHandlers::Moved, std::move(AValue));
}
TEwsBaseObjectChangedEvent TVqEWSEventSettings::GetOnNewMail() const {
  return FGround->Handler(&TVqEWSHandlers::NewMail);
}
void TVqEWSEventSettings::SetOnNewMail(TEwsBaseObjectChangedEvent AValue) {
  FGround->SetHandler(&TVqEWSHandlers::NewMail, std::move(AValue));
}

bool TVqEWSEventSettings::GetThreadedEvents() const noexcept {
  return FGround->ThreadedEvents;
}
void TVqEWSEventSettings::SetThreadedEvents(bool AValue) noexcept {
  FGround->ThreadedEvents = AValue;
}
bool TVqEWSEventSettings::GetEagerDispatch() const noexcept {
  return FGround->EagerDispatch;
}
void TVqEWSEventSettings::SetEagerDispatch(bool AValue) noexcept {
  FGround->EagerDispatch = AValue;
}
bool TVqEWSEventSettings::GetResubscribe() const noexcept {
  return FGround->Resubscribe;
}
void TVqEWSEventSettings::SetResubscribe(bool AValue) noexcept {
  FGround->Resubscribe = AValue;
}
std::size_t TVqEWSEventSettings::GetStreamLimit() const noexcept {
  return FGround->StreamLimit;
}
void TVqEWSEventSettings::SetStreamLimit(std::size_t AValue) noexcept {
  FGround->StreamLimit = AValue;
}
void TVqEWSEventSettings::SetOnConnectionState(TVqEWSConnectionStateEvent AValue) {
  FGround->SetObserver(std::move(AValue));
}

}  // namespace velmore
