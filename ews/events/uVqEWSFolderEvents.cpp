#include "ews/events/uVqEWSFolderEvents.h"

#include "ews/events/uVqEWSNotificationsEx.h"

namespace velmore {

TVqEWSFolderEvents::TVqEWSFolderEvents(TVqComponent* AOwner)
    : TVqEWSFolderEvents(AOwner, std::make_unique<TVqEWSMultipleStoreFolderEvents>()) {}
TVqEWSFolderEvents::TVqEWSFolderEvents(TVqComponent* AOwner, std::unique_ptr<TVqEWSMultipleStoreFolderEvents> AHandler)
    : TVqComponent(AOwner), TVqEWSEventSettings(*AHandler), FHandler(std::move(AHandler)) {}

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

}  // namespace velmore
