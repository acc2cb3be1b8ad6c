#pragma once

// A folder picker in a terminal: a tree that is loaded as far as it is opened.

#include <vector>

#include "dialogs/Screen.h"
#include "ews/VelmoreEWS.h"

class FolderWindow : public velmore::TVqObject, public virtual velmore::IVqEWSFolderDialog {
 public:
  FolderWindow(Screen& screen, velmore::TVqEWSBaseSession& session) : screen_(screen), session_(session) {}

  velmore::TItemId GetFolderId() override { return folder_.Id; }
  velmore::string GetFolderName() override { return folder_.Name; }
  velmore::string GetMsgStore() override { return mailbox_; }
  void SetMsgStore(const velmore::string& AValue) override { mailbox_ = AValue; }
  void SetTitle(const velmore::string& AValue) override { title_ = AValue; }
  void SetFolderTypes(const velmore::TVqEWSFolderDialogDisplayTypes& AValue) override { types_ = AValue; }
  void SetAllowSelectMsgStore(bool AValue) override { may_change_mailbox_ = AValue; }
  std::int32_t ShowModal() override;

 private:
  struct Folder {
    velmore::TItemId Id;
    velmore::string Name;
    int Depth = 0;
    bool HasChildren = false;
    bool Open = false;
  };

  void Load();
  /// The subfolders of a folder that the types let be seen.
  std::vector<Folder> Children(velmore::IVqEWSFolder& parent, int depth);
  bool IsShown(const velmore::IVqDOMElement& row) const;
  void Draw(const std::string& remark);
  void Toggle(bool open);

  Screen& screen_;
  velmore::TVqEWSBaseSession& session_;
  velmore::TVqRef<velmore::IVqEWSMsgStore> store_;
  velmore::string mailbox_, title_;
  velmore::TVqEWSFolderDialogDisplayTypes types_;
  bool may_change_mailbox_ = false;
  std::vector<Folder> folders_;  // as they are shown, from top to bottom
  std::size_t at_ = 0;
  Folder folder_;
};
