#pragma once

/// What every item has, whatever its kind.
///
/// Every getter reads the item as it stands in memory. What the load left out is fetched from the server on first read
/// (m:GetItem), so a getter can block and can raise; setters write in memory only, and SaveChanges sends what differs.
/// Who owns what, which thread may call and what is raised: see the head of uVqEWSInterfaces.h.

#include "ews/model/uVqEWSInterfaces.h"
#include "platform/common/uVqSet.h"

namespace velmore {

class TVqEWSStrings;
class TVqEWSAttachments;
class IVqEWSMsgStore;
class IVqEWSFolder;

/// The kinds of items; the name without "t" is the element's name.
enum TItemType : std::int32_t {
  tItem,
  tMessage,
  tCalendarItem,
  tContact,
  tDistributionList,
  tMeetingMessage,
  tMeetingRequest,
  tMeetingResponse,
  tMeetingCancellation,
  tTask,
  tPostItem,
  tReplyToItem,
  tReplyAllToItem,
  tForwardItem,
};

/// What a save does when the item has meanwhile changed on the server; the wire text ("ConflictResolution") is the name
/// without "so".
enum TVqEWSSaveOption : std::int32_t { soNeverOverwrite, soAutoResolve, soAlwaysOverwrite };

/// What becomes of a created or updated message. The third value's prefix is spelled so on purpose: programs use the
/// name.
enum TMessageDispositionType : std::int32_t { mdpSaveOnly, mdpSendAndSaveCopy, mdbSendOnly };

/// The responses to an item that the server allows; the wire text is the name without "irt".
enum TVqEWSItemResponseType : std::int32_t {
  irtAcceptItem,
  irtTentativelyAcceptItem,
  irtDeclineItem,
  irtReplyToItem,
  irtForwardItem,
  irtReplyAllToItem,
  irtCancelCalendarItem,
  irtRemoveItem,
  irtPostReplyItem,
  irtSuppressReadReceipt,
  irtAcceptSharingInvitation,
};
/// Several of them.
using TVqEWSItemResponseTypes = TVqSet<TVqEWSItemResponseType>;

/// The wire texts of these enumerations, for VqEnumToText and its kin.
const TVqEnumInfo& VqEnumInfoOf(TItemType) noexcept;
const TVqEnumInfo& VqEnumInfoOf(TVqEWSSaveOption) noexcept;
const TVqEnumInfo& VqEnumInfoOf(TMessageDispositionType) noexcept;
const TVqEnumInfo& VqEnumInfoOf(TVqEWSItemResponseType) noexcept;

/// A body as text with its type.
struct TVqEwsTextBody {
  /// What the text is: HTML or plain.
  TBodyType BodyType = btHTML;
  /// The text itself.
  string Value;
};

/// An attachment that a save was to delete but that the server refused to delete.
struct TVqEWSRefusedDeletion {
  /// The server's id of the attachment, which is still on the item.
  string AttachmentId;
  /// What the server said.
  EEWSException Refusal;
};

/// Any item of a mailbox. Records and lists that getters return belong to the item as it was loaded. From its next load
/// on (every save ends with one) they raise a plain exception, and so do recipients and attachments that are still
/// held. A record that is not in the item is made, empty, by its getter; what reading makes is never sent. An operation
/// that "needs" a version raises a plain exception with an earlier server.
class IVqEWSItem : public virtual IVqEWSPropObject {
 public:
  /// The kind of the item: which interface and record it has.
  virtual TItemType GetItemType() = 0;
  /// The item's element in the current tree.
  virtual IVqDOMElement AsElement() = 0;
  /// True until the first save.
  virtual bool GetIsNewItem() = 0;
  /// True when the item has an id.
  virtual bool GetIsSaved() = 0;
  /// The store that the item was reached through, found along its creators; empty when there is none.
  virtual TVqRef<IVqEWSMsgStore> GetMsgStore() = 0;
  /// The folder that the item was reached through; else its parent folder, asked of the store (m:GetFolder).
  virtual TVqRef<IVqEWSFolder> GetParentFolder() = 0;

  /// The folder that holds the item; empty for a new one.
  virtual TEwsFolderId& GetParentFolderId() = 0;
  /// "IPM.Note" and the like: mail programs choose a form by it.
  virtual string GetItemClass() = 0;
  virtual void SetItemClass(const string& AValue) = 0;
  /// The subject, prefixes such as "RE:" included. As a rule, servers allow at most 255 characters.
  virtual string GetSubject() = 0;
  virtual void SetSubject(const string& AValue) = 0;
  /// Normal, personal, private or confidential.
  virtual TSensitivityChoices GetSensitivity() = 0;
  virtual void SetSensitivity(TSensitivityChoices AValue) = 0;
  /// The body's record: its text and type. A body whose type was never set is not saved.
  virtual TEwsBody& GetBody() = 0;
  /// The body's text, HTML or plain, as it was loaded.
  virtual string GetBodyText() = 0;
  /// Text that starts with "<" (leading blanks aside) makes an HTML body, any other text a plain one.
  virtual void SetBodyText(const string& AValue) = 0;
  /// The body as plain text, which the server makes (t:TextBody from Exchange2013 on, a MAPI property before that); for
  /// a new item, the body as it stands.
  virtual TVqEwsTextBody GetTextBody() = 0;
  /// Built once, until the next reload. Owned by the item.
  virtual TVqEWSAttachments& GetAttachments() = 0;
  /// When it arrived. This time and the three below are UTC, and 0 when the item has no such time.
  virtual TDateTime GetDateTimeReceived() = 0;
  /// When it was sent.
  virtual TDateTime GetDateTimeSent() = 0;
  /// When it was made in this mailbox.
  virtual TDateTime GetDateTimeCreated() = 0;
  /// When anybody changed it last.
  virtual TDateTime GetLastModifiedTime() = 0;
  /// The size in bytes.
  virtual std::int32_t GetSize() = 0;
  /// Built once, until the next reload. Owned by the item.
  virtual TVqEWSStrings& GetCategories() = 0;
  /// Low, normal or high.
  virtual TImportanceChoices GetImportance() = 0;
  virtual void SetImportance(TImportanceChoices AValue) = 0;
  /// The Internet message id of the message that this one answers.
  virtual string GetInReplyTo() = 0;
  virtual void SetInReplyTo(const string& AValue) = 0;
  /// True when it was given to the server for sending.
  virtual bool GetIsSubmitted() = 0;
  /// True for what was never sent.
  virtual bool GetIsDraft() = 0;
  /// True when the mailbox's owner sent it to himself.
  virtual bool GetIsFromMe() = 0;
  /// True for an item that was sent again.
  virtual bool GetIsResend() = 0;
  /// True when it is as it arrived.
  virtual bool GetIsUnmodified() = 0;
  /// Whether it has attachments, as the server counts: inline pictures are none.
  virtual bool GetHasAttachments() = 0;
  /// The headers under which a message travelled, as far as the server gives them.
  virtual TEwsNonEmptyArrayOfInternetHeaders& GetInternetMessageHeaders() = 0;
  /// What may be done in answer (t:ResponseObjects), as a record and as a set.
  virtual TEwsNonEmptyArrayOfResponseObjects& GetAllowedResponseActions() = 0;
  virtual TVqEWSItemResponseTypes GetAllowedResponseTypes() = 0;
  /// The time that the reminder counts back from. UTC.
  virtual TDateTime GetReminderDueBy() = 0;
  virtual void SetReminderDueBy(TDateTime AValue) = 0;
  /// Whether there is a reminder (t:ReminderIsSet).
  virtual bool GetIsReminderSet() = 0;
  virtual void SetIsReminderSet(bool AValue) = 0;
  /// When the reminder rings next. UTC. Needs Exchange2013.
  virtual TDateTime GetReminderNextTime() = 0;
  virtual void SetReminderNextTime(TDateTime AValue) = 0;
  /// Minutes before the due time.
  virtual std::int32_t GetReminderMinutesBeforeStart() = 0;
  virtual void SetReminderMinutesBeforeStart(std::int32_t AValue) = 0;
  /// Names of the recipients as one text, "Ann Example; Bob Birch", made by the server at the last save.
  virtual string GetDisplayCc() = 0;
  virtual string GetDisplayTo() = 0;
  /// The language, "en-US".
  virtual string GetCulture() = 0;
  virtual void SetCulture(const string& AValue) = 0;
  /// What the user may do with the item.
  virtual TEwsEffectiveRights& GetEffectiveRights() = 0;
  /// Display name of the person who changed it last.
  virtual string GetLastModifiedName() = 0;
  /// True for an item that stands beside the folder's contents (associated contents). Needs Exchange2010.
  virtual bool GetIsAssociated() = 0;
  virtual void SetIsAssociated(bool AValue) = 0;
  /// Addresses under which a browser opens the item for reading and for writing. Need Exchange2010.
  virtual string GetWebClientReadFormQueryString() = 0;
  virtual string GetWebClientEditFormQueryString() = 0;
  /// What all items of one conversation have in common. Needs Exchange2010.
  virtual TEwsItemId& GetConversationId() = 0;
  /// The body without what it quotes. Needs Exchange2010.
  virtual TEwsBody& GetUniqueBody() = 0;
  /// The flag with its dates. Needs Exchange2013.
  virtual TEwsFlag& GetFlag() = 0;
  /// The row of a table that the item was in. Needs Exchange2013.
  virtual TBytes GetInstanceKey() = 0;
  /// Addresses, dates and the like that the server found in the text. Needs Exchange2013.
  virtual TEwsEntityExtractionResult& GetEntityExtractionResult() = 0;
  /// When the item goes to the archive. No version is checked here; servers know it from Exchange2013 on.
  virtual TEwsRetentionTag& GetArchiveTag() = 0;
  /// The extended properties that are in the item's tree. `PropertyByName` loads and adds them.
  virtual TVqXMLSchemaElementArray<TEwsExtendedProperty>& GetExtendedProperty() = 0;
  /// The icon that mail programs show. Needs Exchange2013.
  virtual TIconIndex GetIconIndex() = 0;
  /// The whole item as base64 of its MIME text, loaded on first use. A draft's content is given "X-Unsent: 1" as its
  /// first line, which changes the record.
  virtual TEwsMimeContent& GetMimeContent() = 0;
  /// The body as harmless HTML. Needs Exchange2013.
  virtual TEwsBody& GetNormalizedBody() = 0;
  /// When the item is deleted. Needs Exchange2013.
  virtual TEwsRetentionTag& GetPolicyTag() = 0;
  /// The first 256 characters of the body. Needs Exchange2013.
  virtual string GetPreview() = 0;
  virtual void SetPreview(const string& AValue) = 0;
  /// The day on which the item is removed. Needs Exchange2013.
  virtual TDateTime GetRetentionDate() = 0;
  /// The entry id of MAPI. Needs Exchange2013.
  virtual TBytes GetStoreEntryId() = 0;

  /// Whether the item is closed to others with rights to the folder: sensitivity "Private". The setter writes the
  /// sensitivity and the MAPI property of that meaning.
  virtual bool GetIsPrivate() = 0;
  virtual void SetIsPrivate(bool AValue) = 0;

  /// Marks a property for deletion by the next save (t:DeleteItemField).
  virtual void DeleteProperty(const TVqEWSPropDef& APropDef) = 0;
  /// Fetches what the load left out, many names in one m:GetItem: plain names ("Subject"), or "PROPDEF:" and the key of
  /// a definition. Nothing that is fetched in this way counts as changed. Asks nothing for a new item.
  virtual void GetAdditionalProperties(const std::vector<string>& AProps) = 0;
  /// Sends what changed (m:CreateItem or m:UpdateItem, m:DeleteAttachment, m:CreateAttachment) and reads the item again
  /// (m:GetItem).
#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Woverloaded-virtual"  // IVqEWSSmartResponse has one that stands in its place
#endif
  virtual void SaveChanges(TVqEWSSaveOption ASaveOption) = 0;
#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif
  /// Attachments that a save of this object was to delete (because they were taken away, or were changed and so made
  /// anew), that the server refused to delete, and that were still on the item when it was last loaded. A save does not
  /// fail because of them; SubmitMessage does, before anything is sent.
  virtual const std::vector<TVqEWSRefusedDeletion>& GetRefusedDeletions() const = 0;
  /// The MIME content of a saved item, decoded into a file (m:GetItem). The content never stands in memory as a tree.
  virtual void SaveToFile(const string& AFileName) = 0;
  /// The same into a stream.
  virtual void SaveToStream(TVqStream& AStream) = 0;

 protected:
  ~IVqEWSItem() = default;
};

}  // namespace velmore
