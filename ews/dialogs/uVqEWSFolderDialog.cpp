#include "ews/dialogs/uVqEWSFolderDialog.h"

#include "ews/dialogs/uVqEWSDialogHooks_p.h"

namespace velmore {

TVqEWSCreateFolderDialog CreateFolderDialog;

void TVqEWSFolderDialog::SetSession(TVqEWSBaseSession* AValue) {
  EwsWatchSession(*this, FSession, AValue);
}

bool TVqEWSFolderDialog::Execute() {
  if (!FSession) throw EEWSException("No EWS Session has been assigned to the FolderDialog!");
  const auto dialog = EwsCallHook("CreateFolderDialog", CreateFolderDialog, *FSession);
  dialog->SetTitle(FTitle);
  dialog->SetFolderTypes(FFolderTypes);
  dialog->SetAllowSelectMsgStore(FAllowSelectMsgStore);
  dialog->SetMsgStore(FMsgStore);
  if (dialog->ShowModal() != 1) return false;
  FMsgStore = dialog->GetMsgStore();
  FFolderId = dialog->GetFolderId();
  FFolderName = dialog->GetFolderName();
  return true;
}

void TVqEWSFolderDialog::Notification(TVqComponent* AComponent, TVqOperation AOperation) {
  TVqComponent::Notification(AComponent, AOperation);
  if (AOperation == TVqOperation::opRemove && AComponent == FSession) FSession = nullptr;
}

}  // namespace velmore
