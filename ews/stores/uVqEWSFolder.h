#pragma once

/// One folder of a mailbox, and the tables of its contents.

#include "ews/model/uVqEWSBase.h"
#include "ews/stores/uVqEWSTable.h"

namespace velmore {

/// What EmptyFolder and DeleteFolder raise: the operation was composed but not carried out.
class EVqEWSNotCarriedOut : public EVqException {
 public:
  using EVqException::EVqException;
};

/// A folder as it was when it was loaded.
///
/// Owns the answer that it was loaded from; lives by its reference count and keeps its creator alive, as its tables and
/// items keep the folder. One thread at a time. Raises what the server refuses as EEWSException.
class TVqEWSFolder : public TVqEWSPropObject<TEwsFolder>, public virtual IVqEWSFolder {
 public:
  /// Loads the folder (m:GetFolder).
  TVqEWSFolder(TVqComponent* ACreator, const TItemId& AFolderId);
  /// The folder of an answer that is there already (all properties). Asks nothing.
  TVqEWSFolder(TVqComponent* ACreator, const IVqDOMElement& AFolder);

  TItemId GetID() override;
  /// Always raises EEWSException.
  void SetId(const TItemId& AId) override;

  TVqRef<IVqEWSObject> GetMsgStore() override;
  TItemId GetParentFolderId() override;
  TSetFolderFieldType GetFolderFieldType() override;
  std::int32_t GetChildFolderCount() override;
  string GetDisplayName() override;
  TEwsEffectiveRights& GetEffectiveRights() override;
  std::int32_t GetTotalCount() override;
  std::int32_t GetUnreadCount() override;
  void SetDisplayName(const string& AValue) override;
  TVqRef<IVqEWSFolders> GetSubFolders() override;
  TVqRef<IVqEWSFolder> GetSubFolder(const string& APath) override;
  TVqRef<IVqEWSFolder> FindSubFolder(const string& APath) override;
  TItemId CreateFolder(TSetFolderFieldType AFolderType, const string& ADisplayName) override;
  void EmptyFolder(TVqEWSFolderDeleteType ADeleteType, bool ADeleteSubFolders) override;
  void DeleteFolder(const TItemId& AFolderId, TVqEWSFolderDeleteType ADeleteType) override;
  void RemoveContents(TVqEWSFolderDeleteType ADeleteType, bool ARemoveSubFolders) override;
  void RemoveFolder(const TItemId& AFolderId, TVqEWSFolderDeleteType ADeleteType) override;
  void MarkAllAsRead(bool ASendReceipts) override;
  void MarkAllAsUnread() override;
  TVqRef<IVqEWSItemChanges> SyncItems(const string& AState) override;
  TVqRef<IVqEWSFolderChanges> SyncFolders(const string& AState) override;
  void SaveChanges() override;
  TVqRef<IVqEWSItems> GetItems() override;
  TVqRef<IVqEWSItem> GetItem(const TItemId& AItemId) override;
  TVqRef<IVqEWSItem> CreateItem(TItemType AItemType) override;
  TVqRef<IVqEWSDistributionList> CreateDistributionList() override;
  TItemId CopyItem(const TEwsItemId& AItemId, const TEwsFolderId& AFolderId) override;
  TItemId CopyItem(const TItemId& AItemId, const TItemId& AFolderId) override;
  TItemId MoveItem(const TEwsItemId& AItemId, const TEwsFolderId& AFolderId) override;
  TItemId MoveItem(const TItemId& AItemId, const TItemId& AFolderId) override;
  void DeleteItem(const TEwsItemId& AItemId, TVqEWSFolderDeleteType ADeleteType) override;
  void DeleteItem(const TItemId& AItemId, TVqEWSFolderDeleteType ADeleteType) override;
  TItemId ImportItem(const string& AFileName, std::uint16_t ASharingMode, TVqEWSMessageFlags AFlags) override;
  TItemId ImportItem(TVqStream& AStream, TVqEWSMessageFlags AFlags) override;

  /// The id of the folder, as GetID.
  TItemId GetFolderId() { return GetID(); }
  /// The store, found along the creators; empty when there is none.
  TVqRef<IVqEWSMsgStore> FindMsgStore();

 protected:
  ~TVqEWSFolder() override = default;

  /// What a deletion sends to the attendees; empty for "not a calendar folder object".
  virtual string CancellationText() { return {}; }

 private:
  void Load(const TItemId& AFolderId);
  TVqEWSObject& Opener();
  void MarkAll(bool AIsRead, bool ASendReceipts, const char* AFeature);
  void AddItemClassAttributes(const IVqDOMElement& AMethod, const TItemId& AItemId);

  TVqRef<IVqEWSMsgStore> FMsgStore;
};

/// A folder of calendar items.
class TVqEWSCalendarFolder : public TVqEWSFolder, public virtual IVqEWSCalendarFolder {
 public:
  using TVqEWSFolder::TVqEWSFolder;

  void DeleteItem(const TEwsItemId& AItemId, TVqEWSFolderDeleteType ADeleteType) override;
  void DeleteItem(const TItemId& AItemId, TVqEWSFolderDeleteType ADeleteType) override;
  TVqRef<IVqEWSItems> GetCalendarView(TDateTime AStart, TDateTime AEnd, std::int32_t AMaxEntriesReturned) override;
  void DeleteMeeting(const TEwsItemId& AItemId, TVqEWSFolderDeleteType ADeleteType,
                     TSendMeetingCancellations ASendMeetingCancellations) override;
  void DeleteMeeting(const TItemId& AItemId, TVqEWSFolderDeleteType ADeleteType,
                     TSendMeetingCancellations ASendMeetingCancellations) override;

 protected:
  ~TVqEWSCalendarFolder() override = default;

  string CancellationText() override;

 private:
  friend class TVqEWSItems;

  TDateTime FEndDate;
  std::int32_t FMaxItemsReturned = 0;
  TDateTime FStartDate;
  TSendMeetingCancellations FSendMeetingCancellations = smiocSendToNone;
};

/// The folder with this id, loaded, of the class for elements of that name: case matters.
TVqRef<IVqEWSFolder> EwsOpenFolder(const string& AElementName, TVqEWSObject* ACreator, const TItemId& AFolderId);

/// The subfolders of a folder (m:FindFolder). See TVqEWSTable.
class TVqEWSFolders : public TVqEWSTable, public virtual IVqEWSFolders {
 public:
  /// The table of the subfolders of that folder; asks nothing until it is opened.
  TVqEWSFolders(TVqComponent* ACreator, const TItemId& AParentFolderId);

  TSetFolderFieldType FolderFieldType() override;
  /// Looks for a child "ItemId" of the row, which folder rows do not have: always an empty id. The row's id is its
  /// FolderId.
  TItemId GetItemId();
  TVqEWSFolderTraversal GetTraversal() override { return FTraversal; }
  void SetTraversal(TVqEWSFolderTraversal AValue) override { FTraversal = AValue; }

 protected:
  ~TVqEWSFolders() override = default;
  void GetNextPage() override;

 private:
  TItemId FParentFolderId;
  TVqEWSFolderTraversal FTraversal = ftShallow;
};

/// The items of a folder (m:FindItem). See TVqEWSTable.
class TVqEWSItems : public TVqEWSTable, public virtual IVqEWSItems {
 public:
  /// The table of the items of that folder; asks nothing until it is opened.
  TVqEWSItems(TVqComponent* ACreator, const TItemId& AParentFolderId) : TVqEWSItems(ACreator, AParentFolderId, true) {}

  TItemId GetItemId() override;
  const std::vector<TVqEWSSortKey>& GetSortOrder() override { return FSortOrder; }
  using IVqEWSItems::SetSortOrder;
  void SetSortOrder(std::vector<TVqEWSSortKey> AValue) override { FSortOrder = std::move(AValue); }

 protected:
  /// False for a table that the server gives in one page.
  TVqEWSItems(TVqComponent* ACreator, const TItemId& AParentFolderId, bool APagedDataSupported);
  ~TVqEWSItems() override = default;
  void GetNextPage() override;

 private:
  void AddView(const IVqDOMElement& AMethod);
  void AddRestriction(const IVqDOMElement& AMethod);
  void AddSortOrder(const IVqDOMElement& AMethod);

  TItemId FParentFolderId;
  std::vector<TVqEWSSortKey> FSortOrder;
};

/// The items of a calendar folder between two points in time, one page.
class TVqEWSCalendarView : public TVqEWSItems {
 public:
  /// The window is set by the folder; without one, the table gives an ordinary page.
  TVqEWSCalendarView(TVqComponent* ACreator, const TItemId& AParentFolderId)
      : TVqEWSItems(ACreator, AParentFolderId, false) {}

 protected:
  ~TVqEWSCalendarView() override = default;
};

}  // namespace velmore
