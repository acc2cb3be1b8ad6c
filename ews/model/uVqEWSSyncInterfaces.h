#pragma once

/// What has changed since last time: among the items of a folder, and among the folders of a mailbox.
///
///     auto changes = inbox->SyncItems(state);  // what the last run kept; empty at first
///     changes->GetFields().Add(FLD_ITEM_SUBJECT);
///     for (changes->Open(); !changes->Eof(); changes->Next()) {
///       if (changes->GetKind() == TVqEWSChangeKind::deleted) forget(changes->GetItemId());
///       else remember(changes->GetItemId(), changes->FieldByName(FLD_ITEM_SUBJECT).GetAsString());
///     }
///     state = changes->GetState();
///
/// uVqEWSChangeRanges.h has range loops over them.
/// Who owns what, which thread may call and what is raised: see the head of uVqEWSInterfaces.h.

#include <span>

#include "ews/model/uVqEWSItemInterfaces.h"

namespace velmore {

class IVqEWSFolder;
class TVqEWSField;
class TVqEWSFields;
struct TVqEWSFieldDef;

/// What became of an item or a folder.
enum class TVqEWSChangeKind {
  created,      ///< it came: was made, delivered, copied or moved here
  updated,      ///< it was changed
  deleted,      ///< it went: was deleted or moved away. Only its id is told
  readChanged,  ///< of an item only: it was read, or marked as unread, and nothing else; since Exchange2010
};

/// The server does not take the state of an earlier run: it has expired, was damaged, or belongs to another folder or
/// mailbox. Begin anew with the empty state, which tells everything as created, and forget what was known.
class EVqEWSSyncStateInvalid : public EEWSException {
 public:
  using EEWSException::EEWSException;
  /// The refusal that said so.
  explicit EVqEWSSyncStateInvalid(const EEWSException& ARefusal) : EEWSException(ARefusal) {}
};

/// A forward cursor over changes, page by page; only the current page is held. The server tells each object once, with
/// its last state: many changes of one item are one.
///
/// GetState is the state behind the last page that the cursor went past; it moves only between two pages, so that a
/// page that could not be fetched costs nothing. A program that is stopped and goes on with it is told the changes of
/// an unfinished page again. Keep a state together with what it covers, no less and no more: what such a page created
/// and somebody deleted meanwhile is not told again, and stays for ever in a copy that was kept without its state.
class IVqEWSChanges : public virtual IVqEWSObject {
 public:
  /// What is to be kept for the next time: an opaque text of the server's, some kilobytes long. It survives restarts
  /// and belongs to this folder and kind of changes.
  virtual string GetState() = 0;
  /// Goes on from this state; empty for the beginning. Drops the page in hand; the next Open asks the server.
  virtual void SetState(const string& AValue) = 0;

  /// Goes to the first change that GetState does not cover: of the page in hand, or else of the next one, for which the
  /// server is asked (m:SyncFolderItems, m:SyncFolderHierarchy). At the end it asks what came since, so that one object
  /// serves for as long as the program runs. Raises EVqEWSSyncStateInvalid, and a plain exception when the server says
  /// that more follows and does not move on.
  virtual void Open() = 0;
  /// True when there is no change in hand: before Open, and behind the last one.
  virtual bool Eof() = 0;
  /// Goes to the next change; behind the last one of a page it asks for the next page. When that fails, the last change
  /// stays in hand, and both Next and Open try again.
  virtual void Next() = 0;

  /// What became of the object that the current change is about. This and the next operation raise the plain exception
  /// "There is no data!" where there is no change in hand.
  virtual TVqEWSChangeKind GetKind() = 0;
  /// The item or folder as it came, for typed records: `TEwsMessage message(changes->GetElement())`. Empty for an item
  /// that was deleted or only read. Valid until the cursor moves.
  virtual IVqDOMElement GetElement() = 0;

 protected:
  ~IVqEWSChanges() = default;
};

/// What has changed among the items of a folder (m:SyncFolderItems). Made by SyncItems of the folder.
class IVqEWSItemChanges : public virtual IVqEWSChanges {
 public:
  /// The columns that are told of items that were created or updated; add them before Open. Without columns the ids
  /// alone are. As in tables, columns are what a server knows without opening the item: bodies and recipients with
  /// their addresses are not among it. Owned by this object.
  virtual TVqEWSFields& GetFields() = 0;
  /// Changes in a page, from 1 to 512; 512 unless changed. The next request uses it. Raises a plain exception for other
  /// numbers.
  virtual std::int32_t GetMaxChangesPerPage() = 0;
  virtual void SetMaxChangesPerPage(std::int32_t AValue) = 0;
  /// Whether the folder's hidden items, in which programs keep settings, are told of as well; no at first. Needs
  /// Exchange2010: raises a plain exception before.
  virtual bool GetWithAssociated() = 0;
  virtual void SetWithAssociated(bool AValue) = 0;
  /// Items that the next requests do not tell of, whatever became of them, such as those that this program has just
  /// changed itself. The state moves on past their changes.
  virtual void SetIgnored(std::span<const TItemId> AItemIds) = 0;

  /// The item that the current change is about.
  virtual TItemId GetItemId() = 0;
  /// Whether the item was read or marked as unread, of a change that tells nothing else (`readChanged`). Raises a plain
  /// exception for others, whose column tells it.
  virtual bool GetIsRead() = 0;
  /// Whether the field is a column and the server told it of the current item.
  virtual bool HasField(const TVqEWSFieldDef& AFieldDef) = 0;
  /// The column; raises a plain exception when it was not added. Reading it raises "There is no data!" for an item that
  /// was deleted or only read.
  virtual TVqEWSField& FieldByName(const TVqEWSFieldDef& AFieldDef) = 0;
  /// Loads the item (two m:GetItem, as GetItem of a folder). It may have gone meanwhile, which raises.
  virtual TVqRef<IVqEWSItem> GetItem() = 0;

 protected:
  ~IVqEWSItemChanges() = default;
};

/// What has changed among the folders below a folder, at any depth (m:SyncFolderHierarchy). Made by SyncFolders of a
/// store, for all its folders, or of a folder. A folder is told before those in it.
class IVqEWSFolderChanges : public virtual IVqEWSChanges {
 public:
  /// The folder that the current change is about.
  virtual TItemId GetFolderId() = 0;
  /// Loads the folder (m:GetFolder; a calendar folder costs two). It may have gone meanwhile, which raises.
  virtual TVqRef<IVqEWSFolder> GetFolder() = 0;

 protected:
  ~IVqEWSFolderChanges() = default;
};

}  // namespace velmore
