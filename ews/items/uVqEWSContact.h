#pragma once

/// Contacts and distribution lists.

#include "ews/items/uVqEWSItem.h"

namespace velmore {

/// A contact. See TVqEWSItemCore for what it owns, its threads and failures, and IVqEWSContact for each operation.
class TVqEWSContact : public TVqEWSBaseItem<TEwsContactItem>, public virtual IVqEWSContact {
 public:
  /// An empty id makes a new contact in `ACreator` (a folder, for its place); any other loads the contact (m:GetItem).
  TVqEWSContact(TVqComponent* ACreator, const TItemId& AItemId);
  /// The contact that an answer to m:GetItem holds. Asks nothing.
  TVqEWSContact(TVqComponent* ACreator, const TVqEWSLoadedItem& ALoaded);

  TItemType GetItemType() override { return tContact; }
  /// From Exchange2016 on a member of the contact's own, which leaves the sensitivity alone.
  bool GetIsPrivate() override;
  void SetIsPrivate(bool AValue) override;
  /// Of a dictionary: empties it, so that the next save deletes its entries.
  void DeleteProperty(const TVqEWSPropDef& APropDef) override;
  void GetUserPhoto(TVqStream& APhoto) override;
  void SetUserPhoto(TVqStream* APhoto) override;

  const TVqEWSMemberTable& MemberTable() const override;

 protected:
  ~TVqEWSContact() override = default;
  /// Takes entries away that nobody filled: asking for an entry makes it.
  void BeforeSaveChanges(IVqSOAPRequest& ASOAPRequest) override;

 private:
  bool IsPhoto(const TVqRef<IVqEWSAttachment>& AAttachment);
  TVqRef<IVqEWSFileAttachment> FindPhoto();
  void DeletePhoto();

 public:
  // The published properties that have no rules of their own.
#define VQ_MEMBER(access, ...) VQ_DECLARE_##access(__VA_ARGS__)
#include "ews/tables/MemberRowsContact.inc"
};

/// A distribution list. See TVqEWSItemCore for what it owns, its threads and failures; in addition it owns its members,
/// until the next load.
class TVqEWSDistributionList : public TVqEWSBaseItem<TEwsDistributionList>, public virtual IVqEWSDistributionList {
 public:
  /// An empty id makes a new list in `ACreator` (a folder, for its place); any other loads the list (m:GetItem).
  TVqEWSDistributionList(TVqComponent* ACreator, const TItemId& AItemId);
  /// The list that an answer to m:GetItem holds. Asks nothing.
  TVqEWSDistributionList(TVqComponent* ACreator, const TVqEWSLoadedItem& ALoaded);

  TItemType GetItemType() override { return tDistributionList; }
  TVqRef<TVqEWSMembersList> GetMembers() override;

  const TVqEWSMemberTable& MemberTable() const override;

 protected:
  ~TVqEWSDistributionList() override;

  void AfterLoad() override;

 private:
  TVqRef<TVqEWSMembersList> FMembers;
  std::shared_ptr<bool> FMembersAlive = std::make_shared<bool>(true);  // false for those of an earlier load

 public:
  // The published properties that have no rules of their own.
#define VQ_MEMBER(access, ...) VQ_DECLARE_##access(__VA_ARGS__)
#include "ews/tables/MemberRowsDistributionList.inc"
};

}  // namespace velmore
