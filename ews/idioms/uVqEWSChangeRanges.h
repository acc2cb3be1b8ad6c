#pragma once

/// Range loops over what has changed since last time.
///
///     const auto changes = VqChangesOf(*inbox, state, FLD_ITEM_SUBJECT);
///     for (const auto change : changes) {
///       switch (change.Kind()) {
///         case TVqEWSChangeKind::created: std::cout << "+ " << change[FLD_ITEM_SUBJECT].GetAsString() << '\n'; break;
///         case TVqEWSChangeKind::updated: std::cout << "~ " << change[FLD_ITEM_SUBJECT].GetAsString() << '\n'; break;
///         case TVqEWSChangeKind::deleted: std::cout << "- " << change.Id().Id << '\n'; break;
///         case TVqEWSChangeKind::readChanged: std::cout << (change.IsRead() ? "read " : "unread ") << ...; break;
///       }
///     }
///     state = changes->GetState();
///
/// A loop begins with the first change that the state does not cover, and fetches page after page; what `Open` and
/// `Next` raise comes out of it. A change is valid until the loop goes on. A second loop over the same object, behind
/// the end of the first, asks what came since. As for tables, write the reference behind the colon.

#include "ews/idioms/uVqEWSRanges.h"
#include "ews/model/uVqEWSSyncInterfaces.h"

namespace velmore {

/// What became of an item. Costs a pointer; valid until the cursor moves or goes.
class TVqEWSItemChange {
 public:
  /// The change that the cursor stands on.
  explicit TVqEWSItemChange(IVqEWSItemChanges& AChanges) noexcept : FChanges(&AChanges) {}

  /// What became of it.
  TVqEWSChangeKind Kind() const { return FChanges->GetKind(); }
  /// The id of the item, for `GetItem` and its kin.
  TItemId Id() const { return FChanges->GetItemId(); }
  /// Of `readChanged`: whether it was read. Raises a plain exception for others.
  bool IsRead() const { return FChanges->GetIsRead(); }
  /// The value of a column; raises a plain exception when it was not added, and for an item that was deleted or only
  /// read. Empty where the item lacks it.
  TVqEWSField& operator[](const TVqEWSFieldDef& AFieldDef) const { return FChanges->FieldByName(AFieldDef); }
  /// Whether the server gave a value for the column.
  bool Has(const TVqEWSFieldDef& AFieldDef) const { return FChanges->HasField(AFieldDef); }
  /// The item as it came, for typed records: `TEwsMessage message(change.Element())`. Empty when only its id is told.
  IVqDOMElement Element() const { return FChanges->GetElement(); }
  /// Loads the item (two m:GetItem).
  TVqRef<IVqEWSItem> Item() const { return FChanges->GetItem(); }

 private:
  IVqEWSItemChanges* FChanges;
};

/// What became of a folder. Costs a pointer; valid until the cursor moves or goes.
class TVqEWSFolderChange {
 public:
  /// The change that the cursor stands on.
  explicit TVqEWSFolderChange(IVqEWSFolderChanges& AChanges) noexcept : FChanges(&AChanges) {}

  /// What became of it.
  TVqEWSChangeKind Kind() const { return FChanges->GetKind(); }
  /// The id of the folder, and of the one that it is in, which is empty for a folder that was deleted.
  TItemId Id() const { return FChanges->GetFolderId(); }
  TItemId ParentId() const;
  /// The name that people see; empty for a folder that was deleted.
  string DisplayName() const;
  /// The folder as it came, for typed records: `TEwsFolder folder(change.Element())`. Empty when only its id is told.
  IVqDOMElement Element() const { return FChanges->GetElement(); }
  /// Loads the folder (m:GetFolder; a calendar folder costs two).
  TVqRef<IVqEWSFolder> Folder() const { return FChanges->GetFolder(); }

 private:
  IVqEWSFolderChanges* FChanges;
};

/// The first change that the state does not cover.
inline TVqEWSRowIterator<IVqEWSItemChanges, TVqEWSItemChange> begin(IVqEWSItemChanges& AChanges) {
  AChanges.Open();
  return TVqEWSRowIterator<IVqEWSItemChanges, TVqEWSItemChange>(AChanges);
}
inline TVqEWSRowIterator<IVqEWSFolderChanges, TVqEWSFolderChange> begin(IVqEWSFolderChanges& AChanges) {
  AChanges.Open();
  return TVqEWSRowIterator<IVqEWSFolderChanges, TVqEWSFolderChange>(AChanges);
}
/// Behind the last one.
inline std::default_sentinel_t end(IVqEWSChanges&) noexcept {
  return {};
}

/// The changes among the items of a folder since that state, with these columns; not opened yet.
template <std::convertible_to<const TVqEWSFieldDef&>... TColumns>
TVqRef<IVqEWSItemChanges> VqChangesOf(IVqEWSFolder& AFolder, const string& AState, const TColumns&... AColumns) {
  TVqRef<IVqEWSItemChanges> changes = AFolder.SyncItems(AState);
  (changes->GetFields().Add(AColumns), ...);
  return changes;
}

}  // namespace velmore
