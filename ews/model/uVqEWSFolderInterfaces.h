#pragma once

/// Stores, folders, tables and restrictions as the application sees them.
///
///     auto inbox = session.OpenDefaultMsgStore()->GetFolder(dfininbox, "");
///     auto items = inbox->GetItems();
///     items->GetFields().Add(FLD_ITEM_SUBJECT);
///     for (items->Open(); !items->Eof(); items->Next())
///       std::cout << items->FieldByName(FLD_ITEM_SUBJECT).GetAsString() << '\n';
///
/// Who owns what, which thread may call and what is raised: see the head of uVqEWSInterfaces.h.

#include <concepts>
#include <vector>

#include "ews/model/uVqEWSItemInterfaces.h"
#include "platform/xml/uVqXMLUtils.h"

namespace velmore {

class TVqStringStream;
class TVqEWSField;
class TVqEWSFields;
struct TVqEWSFieldDef;
class IVqEWSMsgStore;
class IVqEWSFolders;
class IVqEWSItems;
class IVqEWSItemChanges;
class IVqEWSFolderChanges;
class TVqEWSCategory;

/// How a deletion is carried out; the wire text is the name without "dt".
enum TVqEWSFolderDeleteType : std::int32_t { dtHardDelete, dtSoftDelete, dtMoveToDeletedItems };

/// Flags of an imported message. As bits on the wire: read 1, unmodified 2, unsent 8, from me 32.
enum TVqEWSMessageFlag : std::int32_t { msgflgRead, msgflgUnmodified, msgflgUnsent, msgflgFromMe };
/// Several of them.
using TVqEWSMessageFlags = TVqSet<TVqEWSMessageFlag>;

/// The kinds of restrictions, and the interface of each: `rtAnd` has IVqEWSRestrictionAnd, and so on.
enum TVqEWSRestrictionType : std::int32_t {
  rtAnd,
  rtOr,
  rtNot,
  rtExists,
  rtCompare,
  rtCompareFields,
  rtBitmask,
  rtContent
};
/// How a field stands to a value. The wire text is the name without "op".
enum TVqEWSRestrictionOperator : std::int32_t {
  opIsEqualTo,
  opIsNotEqualTo,
  opIsGreaterThan,
  opIsGreaterThanOrEqualTo,
  opIsLessThan,
  opIsLessThanOrEqualTo,
};
/// How much of the field the text must be. The wire text is the name without "cm".
enum TVqEWSContainmentMode : std::int32_t { cmFullString, cmPrefixed, cmSubstring, cmPrefixOnWords, cmExactPhrase };
/// Which differences do not count. The wire text is the name without "cc".
enum TVqEWSContainmentComparison : std::int32_t {
  ccExact,
  ccIgnoreCase,
  ccIgnoreNonSpacingCharacters,
  ccIgnoreCaseAndNonSpacingCharacters
};

/// In which direction a column is sorted. The wire text is the name without "sd".
enum TVqEWSSortDirection : std::int32_t { sdAscending, sdDescending };
/// Which folders a table of folders has: those directly below, all below, or those that were deleted from the folder
/// and can be recovered. The wire text is the name without "ft".
enum TVqEWSFolderTraversal : std::int32_t { ftShallow, ftDeep, ftSoftDeleted };

/// The wire texts of these enumerations, for VqEnumToText and its kin.
const TVqEnumInfo& VqEnumInfoOf(TVqEWSFolderDeleteType) noexcept;
const TVqEnumInfo& VqEnumInfoOf(TVqEWSSortDirection) noexcept;
const TVqEnumInfo& VqEnumInfoOf(TVqEWSFolderTraversal) noexcept;
const TVqEnumInfo& VqEnumInfoOf(TVqEWSRestrictionOperator) noexcept;
const TVqEnumInfo& VqEnumInfoOf(TVqEWSContainmentMode) noexcept;
const TVqEnumInfo& VqEnumInfoOf(TVqEWSContainmentComparison) noexcept;

/// A node of a server-side filter. Made by CreateRestriction of a table, which it does not keep alive: keep the table.
class IVqEWSRestriction : public virtual IVqEWSObject {
 public:
  /// Which of the interfaces below this node has.
  virtual TVqEWSRestrictionType GetRestrictionType() = 0;
  /// Writes the node and everything below it. A child or field that was never set raises a plain exception, and so does
  /// a tree that is deeper than a request can carry.
  virtual void SaveToStream(TVqStringStream& AStream) = 0;

 protected:
  ~IVqEWSRestriction() = default;
};

/// And, Or: any number of children.
class IVqEWSRestrictionList : public virtual IVqEWSRestriction {
 public:
  /// Adds a child; the list keeps it. Raises a plain exception for an empty reference and for a child that holds the
  /// list.
  virtual void AddRestriction(const TVqRef<IVqEWSRestriction>& ARestriction) = 0;
  /// Removes a child; does nothing for a node that is not one of the children.
  virtual void RemoveRestriction(const TVqRef<IVqEWSRestriction>& ARestriction) = 0;

 protected:
  ~IVqEWSRestrictionList() = default;
};
/// All children hold (t:And).
class IVqEWSRestrictionAnd : public virtual IVqEWSRestrictionList {
 protected:
  ~IVqEWSRestrictionAnd() = default;
};
/// Any child holds (t:Or).
class IVqEWSRestrictionOr : public virtual IVqEWSRestrictionList {
 protected:
  ~IVqEWSRestrictionOr() = default;
};

/// The child does not hold (t:Not).
class IVqEWSRestrictionNot : public virtual IVqEWSRestriction {
 public:
  /// The child, in place of an earlier one; kept. Raises a plain exception for a child that holds this one.
  virtual void SetRestriction(const TVqRef<IVqEWSRestriction>& ARestriction) = 0;

 protected:
  ~IVqEWSRestrictionNot() = default;
};

/// A restriction on one field. Keeps the address of the definition, which must outlive the restriction: the rows of the
/// tables do.
class IVqEWSRestrictionField : public virtual IVqEWSRestriction {
 public:
  /// The field; null before it is set.
  virtual const TVqEWSFieldDef* GetFieldDef() = 0;
  virtual void SetFieldDef(const TVqEWSFieldDef& AValue) = 0;

 protected:
  ~IVqEWSRestrictionField() = default;
};

/// The field is there (t:Exists).
class IVqEWSRestrictionExists : public virtual IVqEWSRestrictionField {
 protected:
  ~IVqEWSRestrictionExists() = default;
};

/// The field against a value. For text that a person typed, or that a program found somewhere, use `SetTextValue`.
class IVqEWSRestrictionCompare : public virtual IVqEWSRestrictionField {
 public:
  /// How the field stands to the value; equal at first.
  virtual TVqEWSRestrictionOperator GetCompareOperator() = 0;
  virtual void SetCompareOperator(TVqEWSRestrictionOperator AValue) = 0;
  /// The value as it was set; its text in the request is that of VqVariantToXML.
  virtual const TVqVariant& GetValue() = 0;
  /// Sets the value as markup, "Birch &amp; Sons": its text is written between the quotes as it is. Text that would
  /// break out of the quotes (a quote, "<", an "&" that begins no reference) or that is no XML raises EVqXMLError at
  /// once; set the field first, so that the message can name it. With the session's StrictSchema the value is text, as
  /// for SetTextValue.
  virtual void SetValue(const TVqVariant& AValue) = 0;
  /// Sets the value as text, "Birch & Sons", whatever it contains: the text is escaped in every form of requests.
  /// Raises EVqXMLError for a character that XML cannot carry.
  virtual void SetTextValue(const string& AValue) = 0;

 protected:
  ~IVqEWSRestrictionCompare() = default;
};

/// One field against another.
class IVqEWSRestrictionCompareFields : public virtual IVqEWSRestriction {
 public:
  /// How the first field stands to the second; equal at first.
  virtual TVqEWSRestrictionOperator GetCompareOperator() = 0;
  virtual void SetCompareOperator(TVqEWSRestrictionOperator AValue) = 0;
  /// The two fields; null before they are set. Their definitions must outlive the restriction.
  virtual const TVqEWSFieldDef* GetFieldDef1() = 0;
  virtual void SetFieldDef1(const TVqEWSFieldDef& AValue) = 0;
  virtual const TVqEWSFieldDef* GetFieldDef2() = 0;
  virtual void SetFieldDef2(const TVqEWSFieldDef& AValue) = 0;

 protected:
  ~IVqEWSRestrictionCompareFields() = default;
};

/// None of the mask's bits is set in the field (t:Excludes). The low 32 bits go to the server.
class IVqEWSRestrictionBitMask : public virtual IVqEWSRestrictionField {
 public:
  /// The mask; 0 at first.
  virtual std::uintptr_t GetBitMask() = 0;
  virtual void SetBitMask(std::uintptr_t AValue) = 0;

 protected:
  ~IVqEWSRestrictionBitMask() = default;
};

/// The field contains a text (t:Contains).
class IVqEWSRestrictionContent : public virtual IVqEWSRestrictionField {
 public:
  /// How much of the field the text must be; all of it at first.
  virtual TVqEWSContainmentMode GetContainmentMode() = 0;
  virtual void SetContainmentMode(TVqEWSContainmentMode AValue) = 0;
  /// Which differences do not count; all count at first.
  virtual TVqEWSContainmentComparison GetContainmentComparison() = 0;
  virtual void SetContainmentComparison(TVqEWSContainmentComparison AValue) = 0;
  /// The text as it was set.
  virtual string GetValue() = 0;
  /// Set the text as markup, and as text: see IVqEWSRestrictionCompare.
  virtual void SetValue(const string& AValue) = 0;
  virtual void SetTextValue(const string& AValue) = 0;

 protected:
  ~IVqEWSRestrictionContent() = default;
};

/// One column of a sort order. Keeps the address of the definition, which must outlive the table: the rows of the
/// tables do.
struct TVqEWSSortKey {
  const TVqEWSFieldDef* Field;    ///< need not be among the columns
  TVqEWSSortDirection Direction;  ///< ascending unless told otherwise

  /// A field alone is a key.
  TVqEWSSortKey(const TVqEWSFieldDef& AField, TVqEWSSortDirection ADirection = sdAscending) noexcept
      : Field(&AField), Direction(ADirection) {}
};

/// A forward cursor over the contents of one folder, page by page. Pages are fetched by Open, First and Next, never
/// ahead; only the current page is held. Records and fields of a row are valid until the cursor moves.
class IVqEWSTableBase : public virtual IVqEWSObject {
 public:
  /// True when a page is held.
  virtual bool GetActive() = 0;
  /// The columns to ask for; add them before Open. Owned by the table.
  virtual TVqEWSFields& GetFields() = 0;
  /// True asks for the first page, even when the table is open; if that fails, the table stays as it was. False drops
  /// the current page.
  virtual void SetActive(bool AValue) = 0;
  /// True after the last row on the server. (Not EOF, which is a macro of the C library.)
  virtual bool Eof() = 0;
  /// The total number of rows on the server, as the last answer told it; not the number of rows in the page.
  virtual std::int32_t Count() = 0;
  /// Opens the table on its first row; does nothing when it is open.
  virtual void Open() = 0;
  /// Goes back to the first row; asks the server only when a later page is held.
  virtual void First() = 0;
  /// Goes to the next row; after the last row of a page it asks the server for the next page. Raises a plain exception
  /// when the server says that more rows follow but names no place after this page. Elements that are no rows known to
  /// the library are skipped.
  virtual void Next() = 0;
  /// A new node for a filter of this table; asks nothing of the server. Raises "Unsupported RestrictionType!".
  virtual TVqRef<IVqEWSRestriction> CreateRestriction(TVqEWSRestrictionType ARestrictionType) = 0;
  /// Sets the filter of the requests to come; rows that were read already stay. An empty reference means no filter.
  virtual void Filter(const TVqRef<IVqEWSRestriction>& ARestriction) = 0;
  /// Whether the field is among the columns and, in an open table, whether the server gave it for the current row.
  /// Columns of dictionary entries are never there, see uVqEWSFields.h.
  virtual bool HasField(const TVqEWSFieldDef& AFieldDef) = 0;
  /// The field, or none.
  virtual TVqEWSField* FindField(const TVqEWSFieldDef& AFieldDef) = 0;
  /// The field; raises a plain exception when it was not added.
  virtual TVqEWSField& FieldByName(const TVqEWSFieldDef& AFieldDef) = 0;
  /// Rows of a page; 50 unless changed. The next request uses it.
  virtual std::int32_t GetMaxEntriesPerPage() = 0;
  virtual void SetMaxEntriesPerPage(std::int32_t AValue) = 0;
  /// The number of rows after which the table ends, whatever the server has; 0, the default, for all. No more is asked
  /// for than that: the ten newest messages are one request of ten rows. Counts from the next request on; `Count` still
  /// tells of all. Raises a plain exception for a negative number.
  virtual std::int32_t GetMaxEntries() = 0;
  virtual void SetMaxEntries(std::int32_t AValue) = 0;
  /// The current row as it came, for what no column reads: `TEwsContactItem contact(items->GetRowElement())`. Empty
  /// when there is no row. Valid until the cursor moves.
  virtual IVqDOMElement GetRowElement() = 0;

 protected:
  ~IVqEWSTableBase() = default;
};

/// The items of a folder (m:FindItem).
class IVqEWSItems : public virtual IVqEWSTableBase {
 public:
  /// The id of the current row's item.
  virtual TItemId GetItemId() = 0;
  /// The order of the rows, by one column or by several, the first one counting most (m:SortOrder); an empty list for
  /// the server's own, which has the newest first. Counts from the next request on. Opening a calendar view with a
  /// window raises a plain exception: the server orders those by their start. Raises EEWSException
  /// "ErrorUnsupportedPathForSortGroup" when it is opened and the server cannot sort by a column, such as recipients.
  ///
  ///     items->SetSortOrder(FLD_ITEM_DATETIMERECEIVED, sdDescending);
  ///     items->SetSortOrder({{FLD_ITEM_IMPORTANCE, sdDescending}, FLD_ITEM_SUBJECT});
  virtual const std::vector<TVqEWSSortKey>& GetSortOrder() = 0;
  virtual void SetSortOrder(std::vector<TVqEWSSortKey> AValue) = 0;
  template <std::same_as<TVqEWSFieldDef> TField>
  void SetSortOrder(const TField& AField, TVqEWSSortDirection ADirection = sdAscending) {
    SetSortOrder(std::vector<TVqEWSSortKey>{{AField, ADirection}});
  }

 protected:
  ~IVqEWSItems() = default;
};

/// The subfolders of a folder (m:FindFolder), or all folders below it. Fields and filters play no part in the request:
/// rows have what "AllProperties" gives.
class IVqEWSFolders : public virtual IVqEWSTableBase {
 public:
  /// The kind of the current row's folder.
  virtual TSetFolderFieldType FolderFieldType() = 0;
  /// Which folders the table has: those directly below unless changed. Counts from the next request on. In which order
  /// the server gives those of a whole tree is its own affair; each row has the id of its parent, and VqFolderTree
  /// makes paths of them. Public folders know nothing but ftShallow.
  virtual TVqEWSFolderTraversal GetTraversal() = 0;
  virtual void SetTraversal(TVqEWSFolderTraversal AValue) = 0;

 protected:
  ~IVqEWSFolders() = default;
};

/// A folder as it was when it was loaded; for fresh numbers, get a new object.
class IVqEWSFolder : public virtual IVqEWSPropObject {
 public:
  /// The store that the folder was reached through; empty when there is none.
  virtual TVqRef<IVqEWSObject> GetMsgStore() = 0;
  /// The parent folder, as loaded.
  virtual TItemId GetParentFolderId() = 0;
  /// The kind of folder: of messages, a calendar, contacts, tasks, a search.
  virtual TSetFolderFieldType GetFolderFieldType() = 0;
  /// Number of subfolders when the folder was loaded.
  virtual std::int32_t GetChildFolderCount() = 0;
  /// The name that people see, in their language.
  virtual string GetDisplayName() = 0;
  /// What the user may do with the folder. Owned by the folder.
  virtual TEwsEffectiveRights& GetEffectiveRights() = 0;
  /// Number of all items, and of unread ones, when the folder was loaded.
  virtual std::int32_t GetTotalCount() = 0;
  virtual std::int32_t GetUnreadCount() = 0;
  /// Changes the name in memory only: folders cannot be saved.
  virtual void SetDisplayName(const string& AValue) = 0;
  /// A new table of the subfolders.
  virtual TVqRef<IVqEWSFolders> GetSubFolders() = 0;
  /// A folder below this one by its path, as GetFolder of the store with a path: the first raises EEWSException
  /// "ErrorFolderNotFound (...)." with the part that is missing, the second gives an empty reference.
  virtual TVqRef<IVqEWSFolder> GetSubFolder(const string& APath) = 0;
  virtual TVqRef<IVqEWSFolder> FindSubFolder(const string& APath) = 0;
  /// Makes a subfolder (m:CreateFolder) and gives its id.
  virtual TItemId CreateFolder(TSetFolderFieldType AFolderType, const string& ADisplayName) = 0;
  /// These two are not carried out: they compose their request, send nothing and raise EVqEWSNotCarriedOut. The next
  /// two do what they say.
  virtual void EmptyFolder(TVqEWSFolderDeleteType ADeleteType, bool ADeleteSubFolders) = 0;
  virtual void DeleteFolder(const TItemId& AFolderId, TVqEWSFolderDeleteType ADeleteType) = 0;
  /// Removes all items of the folder, and its subfolders with all that is in them if wanted (m:EmptyFolder). Needs
  /// Exchange2010_SP1: raises a plain exception before. Servers refuse it for calendars and search folders
  /// (ErrorCannotEmptyFolder).
  virtual void RemoveContents(TVqEWSFolderDeleteType ADeleteType, bool ARemoveSubFolders) = 0;
  /// Removes a folder, of this mailbox or of one that the account may change, with all that is in it (m:DeleteFolder).
  /// Distinguished folders are refused (ErrorDeleteDistinguishedFolder).
  virtual void RemoveFolder(const TItemId& AFolderId, TVqEWSFolderDeleteType ADeleteType) = 0;
  /// Marks all items of the folder as read, in one request (m:MarkAllItemsAsRead); with `ASendReceipts` those who asked
  /// for a receipt get one. Subfolders stay as they are. Needs Exchange2013: raises a plain exception before.
  virtual void MarkAllAsRead(bool ASendReceipts) = 0;
  /// The same the other way round: nothing was read.
  virtual void MarkAllAsUnread() = 0;
  /// Always raises EEWSException: folders are read only.
  virtual void SaveChanges() = 0;
  /// A new table of the items.
  virtual TVqRef<IVqEWSItems> GetItems() = 0;
  /// What has changed among the items since that state (m:SyncFolderItems, when it is opened); see
  /// uVqEWSSyncInterfaces.h. The empty state is the beginning, at which everything is new.
  virtual TVqRef<IVqEWSItemChanges> SyncItems(const string& AState) = 0;
  /// The same of the folders below this one, at any depth (m:SyncFolderHierarchy).
  virtual TVqRef<IVqEWSFolderChanges> SyncFolders(const string& AState) = 0;
  /// Loads an item (two m:GetItem: the first finds its class).
  virtual TVqRef<IVqEWSItem> GetItem(const TItemId& AItemId) = 0;
  /// A new, unsaved item of this folder. Asks nothing of the server. Raises EVqNotSupported for a kind that this
  /// version has no class for. Of a distribution list it makes a plain item, on purpose; see the next operation.
  virtual TVqRef<IVqEWSItem> CreateItem(TItemType AItemType) = 0;
  /// A new, unsaved distribution list of this folder, to be filled and saved. Asks nothing of the server.
  virtual TVqRef<IVqEWSDistributionList> CreateDistributionList() = 0;
  /// Copies an item to another folder (m:CopyItem) and gives the copy's id. Raises EVqEWSIdNotTold when the copy was
  /// made but the server does not tell its id, as for a copy in another mailbox; repeating the call then makes a second
  /// copy.
  virtual TItemId CopyItem(const TEwsItemId& AItemId, const TEwsFolderId& AFolderId) = 0;
  virtual TItemId CopyItem(const TItemId& AItemId, const TItemId& AFolderId) = 0;
  /// Moves an item: a copy, then a hard delete of the original. When the deletion fails, the copy stays; when the
  /// copy's id is not told (EVqEWSIdNotTold), nothing is deleted.
  virtual TItemId MoveItem(const TEwsItemId& AItemId, const TEwsFolderId& AFolderId) = 0;
  virtual TItemId MoveItem(const TItemId& AItemId, const TItemId& AFolderId) = 0;
  /// Deletes an item (m:DeleteItem).
  virtual void DeleteItem(const TEwsItemId& AItemId, TVqEWSFolderDeleteType ADeleteType) = 0;
  virtual void DeleteItem(const TItemId& AItemId, TVqEWSFolderDeleteType ADeleteType) = 0;
  /// Stores a MIME message (m:CreateItem) and gives the new item's id. Without flags, a message imported into the
  /// drafts folder counts as unsent. `ASharingMode` is the open and sharing mode of the file, as the Windows API takes
  /// it; other systems do not use it. A stream is read whole, whatever its position.
  virtual TItemId ImportItem(const string& AFileName, std::uint16_t ASharingMode, TVqEWSMessageFlags AFlags) = 0;
  virtual TItemId ImportItem(TVqStream& AStream, TVqEWSMessageFlags AFlags) = 0;

 protected:
  ~IVqEWSFolder() = default;
};

/// A folder of calendar items.
class IVqEWSCalendarFolder : public virtual IVqEWSFolder {
 public:
  /// A table of the items between two points in time, with occurrences expanded by the server; one page only. A second
  /// call changes what earlier views ask for next.
  virtual TVqRef<IVqEWSItems> GetCalendarView(TDateTime AStart, TDateTime AEnd, std::int32_t AMaxEntriesReturned) = 0;
  /// Deletes a meeting and tells its attendees as asked.
  virtual void DeleteMeeting(const TEwsItemId& AItemId, TVqEWSFolderDeleteType ADeleteType,
                             TSendMeetingCancellations ASendMeetingCancellations) = 0;
  virtual void DeleteMeeting(const TItemId& AItemId, TVqEWSFolderDeleteType ADeleteType,
                             TSendMeetingCancellations ASendMeetingCancellations) = 0;

 protected:
  ~IVqEWSCalendarFolder() = default;
};

/// The sizes of a user photo, in pixels. No prefix: the names go on the wire as they stand, with a small "x" in the
/// first two and a capital one in the others, on purpose; the schema's form has small ones throughout.
enum TSizeRequested : std::int32_t {
  HR48x48,
  HR64x64,
  HR96X96,
  HR120X120,
  HR240X240,
  HR360X360,
  HR432X432,
  HR504X504,
  HR648X648,
};
/// The wire texts, for VqEnumToText and its kin.
const TVqEnumInfo& VqEnumInfoOf(TSizeRequested) noexcept;

/// The master list of categories of a mailbox, as it was when it was asked for.
class IVqEWSCategories : public virtual IVqObject {
 public:
  /// Owned by the list. Raises EListError for a position that does not exist.
  virtual TVqEWSCategory& GetCategory(std::int32_t AIndex) = 0;
  /// Name of the category that a quick click gives.
  virtual string GetDefaultCategory() = 0;
  /// Number of categories.
  virtual std::int32_t Count() = 0;

 protected:
  ~IVqEWSCategories() = default;
};

/// The out-of-office settings of a mailbox; changes live in memory until Apply. What the server did not tell reads as
/// the first value, the zero date or the empty text.
class IVqEWSOOF : public virtual IVqObject {
 public:
  /// Off, on, or on for a time.
  virtual TOofState GetState() = 0;
  /// Which senders outside of the organisation get an answer, and which the administrator allows at most.
  virtual TExternalAudience GetExternalAudience() = 0;
  virtual TExternalAudience GetAllowExternalOof() = 0;
  /// When a timed absence ends. UTC.
  virtual TDateTime GetEndTime() = 0;
  /// The answers to senders outside and inside the organisation, HTML or plain.
  virtual string GetExternalReply() = 0;
  virtual string GetInternalReply() = 0;
  /// When a timed absence begins. UTC.
  virtual TDateTime GetStartTime() = 0;
  /// Each writes what its getter reads.
  virtual void SetState(TOofState AValue) = 0;
  virtual void SetExternalAudience(TExternalAudience AValue) = 0;
  virtual void SetEndTime(TDateTime AValue) = 0;
  virtual void SetExternalReply(const string& AValue) = 0;
  virtual void SetInternalReply(const string& AValue) = 0;
  virtual void SetStartTime(TDateTime AValue) = 0;
  /// Switches everything off and sends that.
  virtual void Clear() = 0;
  /// Sends the settings (m:SetUserOofSettingsRequest).
  virtual void Apply() = 0;

 protected:
  ~IVqEWSOOF() = default;
};

/// A folder's name as a part of a path, for IVqEWSMsgStore::GetFolder: with a backslash before each slash and
/// backslash.
string VqFolderPathPart(const string& AName);
/// The names in a path. Raises a plain exception for a path without a part, or with an empty one.
std::vector<string> VqFolderPathParts(const string& APath);

/// One mailbox. Holds no cache: each call goes to the server.
class IVqEWSMsgStore : public virtual IVqEWSObject {
 public:
  /// The name given at creation, else the owner's (asks the server once).
  virtual string GetDisplayName() = 0;
  /// The owner of the mailbox; asks the server once (m:GetFolder, m:ConvertId, m:ResolveNames).
  virtual TVqRef<IVqEWSRecipient> GetIdentity() = 0;
  /// The id of a distinguished folder (m:GetFolder); raises when it does not exist.
  virtual TItemId GetFolderId(TDistinguishedFolderIdName AFolderType) = 0;
  /// As GetFolderId, but gives false and an empty id for any failure, even one of the network.
  virtual bool FindFolderId(TDistinguishedFolderIdName AFolderType, TItemId& FolderId) = 0;
  /// A folder by id (m:GetFolder; a calendar folder costs two).
  virtual TVqRef<IVqEWSFolder> GetFolder(const TItemId& AFolderId) = 0;
  virtual TVqRef<IVqEWSFolder> GetFolder(const TEwsFolderId& AFolderId) = 0;
  /// A folder by its path from the top of what people see of the mailbox, "Projects/2026" (m:FindFolder for each part,
  /// then m:GetFolder). The parts are names as people see them, in the language of the mailbox: "Inbox/Invoices" is
  /// "Posteingang/Invoices" in a German one, so that below a distinguished folder GetSubFolder serves better.
  ///
  /// As in the store, case does not count; of two names that differ in nothing else, the one as written is taken. A
  /// name may have a slash in it: write "\\/" for that, and "\\\\" for a backslash (VqFolderPathPart does both). One
  /// slash may stand at either end. U+F8FF, which the server's own listings write for a slash in a name, is read as
  /// one. Raises a plain exception for a path without a part, or with an empty one, and EEWSException
  /// "ErrorFolderNotFound (...)." with the part that is missing; FindFolder gives an empty reference instead.
  virtual TVqRef<IVqEWSFolder> GetFolder(const string& APath) = 0;
  virtual TVqRef<IVqEWSFolder> FindFolder(const string& APath) = 0;
  /// A distinguished folder (two m:GetFolder). `AMailbox` names another mailbox by its SMTP address; empty for this
  /// one.
  virtual TVqRef<IVqEWSFolder> GetFolder(TDistinguishedFolderIdName AFolderType, const string& AMailbox) = 0;
  /// Loads an item (two m:GetItem: the first finds its class).
  virtual TVqRef<IVqEWSItem> GetItem(const TItemId& AItemId) = 0;
  /// The master list of categories (m:GetUserConfiguration), asked for anew at each call. Needs Exchange2013: raises a
  /// plain exception before. Raises EEWSException "ErrorItemNotFound ..." for a mailbox that never had one, EVqXMLError
  /// for a list that cannot be read, with the reason nested.
  virtual TVqRef<IVqEWSCategories> GetCategories() = 0;
  /// The lists of rooms of the organisation (m:GetRoomLists). Since Exchange2010. Changes to the result change nothing
  /// on the server.
  virtual TVqRef<IVqEWSRecipients> GetRoomLists() = 0;
  /// The rooms of one list (m:GetRooms), by the list's address. Since Exchange2010.
  virtual TVqRef<IVqEWSRecipients> GetRooms(const string& ARoomListEMailAddress) = 0;
  /// Writes the photo of the mailbox's owner to a stream, at its position, as the server has it: JPEG as a rule
  /// (m:GetUserPhoto, after what GetIdentity asks). Since Exchange2013. Raises EEWSException when there is none; after
  /// EConvertError, for a photo that is no base64, the stream may have some of its bytes.
  virtual void GetUserPhoto(TVqStream& APhoto, TSizeRequested ASize) = 0;
  /// The out-of-office settings (m:GetUserOofSettingsRequest, after what GetIdentity asks). A new object at each call.
  virtual TVqRef<IVqEWSOOF> GetOOF() = 0;
  /// What has changed among the folders of the mailbox since that state (m:SyncFolderHierarchy, when it is opened); see
  /// uVqEWSSyncInterfaces.h. The empty state is the beginning, at which everything is new.
  virtual TVqRef<IVqEWSFolderChanges> SyncFolders(const string& AState) = 0;

 protected:
  ~IVqEWSMsgStore() = default;
};

/// A mailbox that is opened in another user's name: every request carries the user in its header.
class IVqEWSImpersonatedMsgStore : public virtual IVqEWSMsgStore {
 public:
  /// The SMTP address of the user in whose name requests go out.
  virtual string GetImpersonatedUser() = 0;
  /// Requests go out in this user's name from now on; an empty address adds no header. The store keeps its name and
  /// what it has learnt of its mailbox: another mailbox is better opened by OpenMsgStore.
  virtual void SetImpersonatedUser(const string& AValue) = 0;

 protected:
  ~IVqEWSImpersonatedMsgStore() = default;
};

}  // namespace velmore
