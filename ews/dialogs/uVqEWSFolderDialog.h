#pragma once

/// A folder picker. The component holds what an application wants to be asked and what the user chose; the window comes
/// from a user-interface layer, which sets the hook CreateFolderDialog once for the process.
///
///     TVqEWSFolderDialog dialog(nullptr);
///     dialog.SetSession(&session);
///     dialog.SetTitle("Where to?");
///     if (dialog.Execute()) store->GetFolder(dialog.GetFolderId());

#include <functional>

#include "ews/model/uVqEWSBase.h"
#include "ews/model/uVqEWSFolderDialogTypes.h"

namespace velmore {

/// The window behind a folder picker. What a user-interface layer implements.
class IVqEWSFolderDialog : public virtual IVqObject {
 public:
  /// What the user chose: asked for after a run that gave 1.
  virtual TItemId GetFolderId() = 0;
  virtual string GetFolderName() = 0;
  /// The mailbox that is shown or was chosen, by its address; empty for the default one.
  virtual string GetMsgStore() = 0;
  virtual void SetMsgStore(const string& AValue) = 0;
  virtual void SetTitle(const string& AValue) = 0;
  /// The settings belong to the component and stay as they are during a run.
  virtual void SetFolderTypes(const TVqEWSFolderDialogDisplayTypes& AValue) = 0;
  /// Whether the user may change to another mailbox.
  virtual void SetAllowSelectMsgStore(bool AValue) = 0;
  /// Shows the window until the user is done; 1 for OK.
  virtual std::int32_t ShowModal() = 0;

 protected:
  ~IVqEWSFolderDialog() = default;
};

/// Makes the window. Set once for the process by a user-interface layer, before the first picker runs; empty at first.
using TVqEWSCreateFolderDialog = std::function<TVqRef<IVqEWSFolderDialog>(TVqEWSBaseSession& ASession)>;
extern TVqEWSCreateFolderDialog CreateFolderDialog;

/// The folder picker.
///
/// Owns its settings, not its session, which is forgotten when it goes away. No copies. One thread at a time. Raises
/// EEWSException without a session, a plain exception without a hook, and whatever the window raises; what talks to the
/// server is the window's affair.
class TVqEWSFolderDialog : public TVqComponent {
 public:
  /// `AOwner` may be empty.
  explicit TVqEWSFolderDialog(TVqComponent* AOwner = nullptr) : TVqComponent(AOwner) {}

  TVqEWSBaseSession* GetSession() const noexcept { return FSession; }  ///< null when there is none
  void SetSession(TVqEWSBaseSession* AValue);                          ///< not owned; forgotten when it goes away
  /// Which folders are shown. Setting copies into the component's own.
  TVqEWSFolderDialogDisplayTypes& GetFolderTypes() noexcept { return FFolderTypes; }
  void SetFolderTypes(const TVqEWSFolderDialogDisplayTypes& AValue) noexcept { FFolderTypes.Assign(AValue); }
  /// The mailbox by its address, empty for the default one: before a run the one to show, after it the one chosen.
  const string& GetMsgStore() const noexcept { return FMsgStore; }
  void SetMsgStore(const string& AValue) { FMsgStore = AValue; }
  /// What the user chose at the last run that gave true.
  const TItemId& GetFolderId() const noexcept { return FFolderId; }
  const string& GetFolderName() const noexcept { return FFolderName; }
  /// Whether the user may change to another mailbox. False at first.
  bool GetAllowSelectMsgStore() const noexcept { return FAllowSelectMsgStore; }
  void SetAllowSelectMsgStore(bool AValue) noexcept { FAllowSelectMsgStore = AValue; }
  const string& GetTitle() const noexcept { return FTitle; }
  void SetTitle(const string& AValue) { FTitle = AValue; }

  /// Shows the picker. True when the user chose a folder; otherwise everything stays as it was. Raises EEWSException
  /// "No EWS Session has been assigned to the FolderDialog!".
  bool Execute();

 protected:
  void Notification(TVqComponent* AComponent, TVqOperation AOperation) override;

 private:
  TVqEWSBaseSession* FSession = nullptr;
  TVqEWSFolderDialogDisplayTypes FFolderTypes;
  string FMsgStore;
  TItemId FFolderId;
  bool FAllowSelectMsgStore = false;
  string FTitle;
  string FFolderName;
};

}  // namespace velmore
