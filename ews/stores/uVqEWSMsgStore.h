#pragma once

/// One mailbox: the root from which folders and items are reached, and the factory that decides which class stands for
/// what the server describes.

#include "ews/model/uVqEWSBase.h"
#include "ews/model/uVqEWSFolderInterfaces.h"

namespace velmore {

/// The mailbox of the logged-on user, or, as a base, another one.
///
/// Owns the identity of the mailbox's owner once that is known; lives by its reference count, and folders and items
/// keep it alive. One thread at a time. Raises what the server refuses as EEWSException; nothing works before logon.
class TVqEWSMsgStore : public TVqEWSObject, public virtual IVqEWSMsgStore, public IVqEWSOccurrences {
 public:
  /// The pair (display name, empty change key) becomes the object's id: a handle for the application, not a server id.
  TVqEWSMsgStore(TVqEWSBaseSession* ASession, const string& ADisplayName);

  string GetDisplayName() override;
  TVqRef<IVqEWSRecipient> GetIdentity() override;
  TItemId GetFolderId(TDistinguishedFolderIdName AFolderType) override;
  bool FindFolderId(TDistinguishedFolderIdName AFolderType, TItemId& FolderId) override;
  TVqRef<IVqEWSFolder> GetFolder(const TItemId& AFolderId) override;
  TVqRef<IVqEWSFolder> GetFolder(const TEwsFolderId& AFolderId) override;
  TVqRef<IVqEWSFolder> GetFolder(const string& APath) override;
  TVqRef<IVqEWSFolder> FindFolder(const string& APath) override;
  TVqRef<IVqEWSFolder> GetFolder(TDistinguishedFolderIdName AFolderType, const string& AMailbox) override;
  TVqRef<IVqEWSItem> GetItem(const TItemId& AItemId) override;
  TVqRef<IVqEWSCategories> GetCategories() override;
  TVqRef<IVqEWSRecipients> GetRoomLists() override;
  TVqRef<IVqEWSRecipients> GetRooms(const string& ARoomListEMailAddress) override;
  void GetUserPhoto(TVqStream& APhoto, TSizeRequested ASize) override;
  TVqRef<IVqEWSOOF> GetOOF() override;
  TVqRef<IVqEWSFolderChanges> SyncFolders(const string& AState) override;

  /// Occurrence `AIdx`, from 1, of a recurring master (m:GetItem, then GetItem). On the class, not on the store's
  /// interface; the spelling of the name stays. The master's change key is not sent.
  TVqRef<IVqEWSCalendarItem> GetOccurence(const TItemId& AItemId, std::int32_t AIdx) override;

 protected:
  ~TVqEWSMsgStore() override = default;

  /// The address that the mailbox's user is likely to have; empty when nothing tells one.
  virtual string OwnAddress() { return ActiveSession().GetOwnAddress(); }

 private:
  TItemId GetFolderIdAndType(TDistinguishedFolderIdName AFolderType, string& AFolderClass, const string& AMailbox,
                             bool ARaiseError);
  TItemId LookUpFolder(TDistinguishedFolderIdName AFolderType, string& AFolderClass, const string& AMailbox);
  IVqDOMElement AskForFolder(TDistinguishedFolderIdName AFolderType, const string& AMailbox, const char* AShape);
  TVqRef<IVqEWSFolder> FolderOf(const IVqDOMElement& AAnswer);

  string FDisplayName;
  TVqRef<IVqEWSRecipient> FIdentity;
  TVqRef<IVqEWSCategories> FCategories;
};

}  // namespace velmore
