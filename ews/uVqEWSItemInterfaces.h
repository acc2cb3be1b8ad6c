#pragma once

/// Items, messages and attachments as the application sees them.
///
///     auto mail = Supports<IVqEWSEMail>(drafts->CreateItem(tMessage));
///     mail->SetSubject("Lunch?");
///     mail->GetToRecipients()->Add("Bob <bob@example.com>");
///     mail->SetBodyText("At noon, by the fountain.");
///     mail->SubmitMessage(true);
///
/// Every getter reads the item as it stands in memory. What the load left out is fetched from the server on first read
/// (m:GetItem), so a getter can block and can raise; setters only write in memory, SaveChanges sends what differs.

#include "ews/uVqEWSInterfaces.h"
#include "ews/uVqEWSRecipients.h"
#include "platform/common/uVqSet.h"

namespace velmore {

class TVqEWSStrings;
class TVqEWSAttachments;
class IVqEWSMsgStore;
class IVqEWSFolder;
class IVqEWSItem;

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

/// What a save does when the item changed on the server meanwhile; the wire text ("ConflictResolution") is the name
/// without "so".
enum TVqEWSSaveOption : std::int32_t { soNeverOverwrite, soAutoResolve, soAlwaysOverwrite };

/// What becomes of a created or updated message. The third value's prefix is spelled so on purpose.
enum TMessageDispositionType : std::int32_t { mdpSaveOnly, mdpSendAndSaveCopy, mdbSendOnly };

/// The responses that the server allows to an item; the wire text is the name without "irt".
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
using TVqEWSItemResponseTypes = TVqSet<TVqEWSItemResponseType>;

// Their wire texts, for VqEnumToText.
const TVqEnumInfo& VqEnumInfoOf(TItemType) noexcept;
const TVqEnumInfo& VqEnumInfoOf(TVqEWSSaveOption) noexcept;
const TVqEnumInfo& VqEnumInfoOf(TMessageDispositionType) noexcept;
const TVqEnumInfo& VqEnumInfoOf(TVqEWSItemResponseType) noexcept;

/// A body as text with its type.
struct TVqEwsTextBody {
  TBodyType BodyType = btHTML;
  string Value;
};

enum TVqEWSAttachmentType : std::int32_t { attFile, attItem };

/// One attachment. A view into its item: it may not outlive the item, and using it then raises a plain exception.
/// Setters mark the attachment as modified; the item's save then replaces it on the server.
class IVqEWSAttachment : public virtual IVqObject {
 public:
  virtual TVqEWSAttachmentType GetAttachmentType() = 0;
  /// The attachment's element in the item's tree.
  virtual IVqDOMElement AsElement() = 0;
  /// The record of the server's ids; empty for a new attachment. Owned by the item's tree.
  virtual TEwsAttachmentId& GetAttachmentId() = 0;
  virtual string GetName() = 0;
  virtual void SetName(const string& AValue) = 0;
  virtual string GetContentType() = 0;
  virtual void SetContentType(const string& AValue) = 0;
  virtual string GetContentId() = 0;
  virtual void SetContentId(const string& AValue) = 0;
  virtual string GetContentLocation() = 0;
  virtual void SetContentLocation(const string& AValue) = 0;
  /// In bytes, as the server or the load told.
  virtual std::int32_t GetSize() = 0;
  virtual void SetSize(std::int32_t AValue) = 0;
  virtual TDateTime GetLastModifiedTime() = 0;
  virtual void SetLastModifiedTime(TDateTime AValue) = 0;
  virtual bool GetIsInline() = 0;
  /// Needs Exchange2010.
  virtual void SetIsInline(bool AValue) = 0;
  virtual bool GetModified() = 0;
  virtual void SetModified() = 0;

 protected:
  ~IVqEWSAttachment() = default;
};

/// A file. Its content is fetched with m:GetAttachment on first use and kept.
class IVqEWSFileAttachment : public virtual IVqEWSAttachment {
 public:
  virtual bool GetIsContactPhoto() = 0;
  /// Needs Exchange2010.
  virtual void SetIsContactPhoto(bool AValue) = 0;
  /// Replaces the content. An empty stream (or none) leaves it and still marks the attachment as modified.
  virtual void LoadFromStream(TVqStream* AStream) = 0;
  virtual void LoadFromFile(const string& AFileName) = 0;
  /// Writes the decoded content; may ask the server.
  virtual void SaveToStream(TVqStream& AStream) = 0;
  virtual void SaveToFile(const string& AFileName) = 0;

 protected:
  ~IVqEWSFileAttachment() = default;
};

/// An item inside an item, fetched with m:GetAttachment on first use. A getter of another kind than the item's raises a
/// plain exception that says so.
class IVqEWSItemAttachment : public virtual IVqEWSAttachment {
 public:
  virtual TItemAttachmentType GetItemAttachmentType() = 0;
  virtual TEwsItem& GetItem() = 0;
  virtual TEwsMessage& GetMessage() = 0;
  virtual TEwsCalendarItem& GetCalendarItem() = 0;
  virtual TEwsContactItem& GetContact() = 0;
  virtual TEwsTask& GetTask() = 0;
  virtual TEwsPostItem& GetPostItem() = 0;
  virtual TEwsMeetingMessage& GetMeetingMessage() = 0;
  virtual TEwsMeetingRequestMessage& GetMeetingRequest() = 0;
  virtual TEwsMeetingResponseMessage& GetMeetingResponse() = 0;
  virtual TEwsMeetingCancellationMessage& GetMeetingCancellation() = 0;
  /// These three need Exchange2016 and ask nothing of the server.
  virtual TEwsRoleMemberItem& GetRoleMember() = 0;
  virtual TEwsNetworkItem& GetNetwork() = 0;
  virtual TEwsAbchPersonItem& GetPerson() = 0;

 protected:
  ~IVqEWSItemAttachment() = default;
};

/// Any item of a mailbox. Records that getters return belong to the item and stay valid until its next reload.
class IVqEWSItem : public virtual IVqEWSPropObject {
 public:
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

  virtual TEwsFolderId& GetParentFolderId() = 0;
  virtual string GetItemClass() = 0;
  virtual void SetItemClass(const string& AValue) = 0;
  virtual string GetSubject() = 0;
  virtual void SetSubject(const string& AValue) = 0;
  virtual TSensitivityChoices GetSensitivity() = 0;
  virtual void SetSensitivity(TSensitivityChoices AValue) = 0;
  virtual TEwsBody& GetBody() = 0;
  virtual string GetBodyText() = 0;
  /// Text that starts with "<" (behind blanks) makes an HTML body, any other a plain one.
  virtual void SetBodyText(const string& AValue) = 0;
  virtual TVqEwsTextBody GetTextBody() = 0;
  /// Built once, until the next reload. Owned by the item.
  virtual TVqEWSAttachments& GetAttachments() = 0;
  /// Points in time are UTC.
  virtual TDateTime GetDateTimeReceived() = 0;
  virtual TDateTime GetDateTimeSent() = 0;
  virtual TDateTime GetDateTimeCreated() = 0;
  virtual TDateTime GetLastModifiedTime() = 0;
  /// In bytes.
  virtual std::int32_t GetSize() = 0;
  /// Built once, until the next reload. Owned by the item.
  virtual TVqEWSStrings& GetCategories() = 0;
  virtual TImportanceChoices GetImportance() = 0;
  virtual void SetImportance(TImportanceChoices AValue) = 0;
  virtual string GetInReplyTo() = 0;
  virtual void SetInReplyTo(const string& AValue) = 0;
  virtual bool GetIsSubmitted() = 0;
  virtual bool GetIsDraft() = 0;
  virtual bool GetIsFromMe() = 0;
  virtual bool GetIsResend() = 0;
  virtual bool GetIsUnmodified() = 0;
  virtual bool GetHasAttachments() = 0;
  virtual TEwsNonEmptyArrayOfInternetHeaders& GetInternetMessageHeaders() = 0;
  virtual TEwsNonEmptyArrayOfResponseObjects& GetAllowedResponseActions() = 0;
  virtual TVqEWSItemResponseTypes GetAllowedResponseTypes() = 0;
  virtual TDateTime GetReminderDueBy() = 0;
  virtual void SetReminderDueBy(TDateTime AValue) = 0;
  virtual bool GetIsReminderSet() = 0;
  virtual void SetIsReminderSet(bool AValue) = 0;
  /// Needs Exchange2013.
  virtual TDateTime GetReminderNextTime() = 0;
  virtual void SetReminderNextTime(TDateTime AValue) = 0;
  virtual std::int32_t GetReminderMinutesBeforeStart() = 0;
  virtual void SetReminderMinutesBeforeStart(std::int32_t AValue) = 0;
  virtual string GetDisplayCc() = 0;
  virtual string GetDisplayTo() = 0;
  virtual string GetCulture() = 0;
  virtual void SetCulture(const string& AValue) = 0;
  virtual TEwsEffectiveRights& GetEffectiveRights() = 0;
  virtual string GetLastModifiedName() = 0;
  /// These five need Exchange2010.
  virtual bool GetIsAssociated() = 0;
  virtual void SetIsAssociated(bool AValue) = 0;
  virtual string GetWebClientReadFormQueryString() = 0;
  virtual string GetWebClientEditFormQueryString() = 0;
  virtual TEwsItemId& GetConversationId() = 0;
  virtual TEwsBody& GetUniqueBody() = 0;
  /// These three need Exchange2013.
  virtual TEwsFlag& GetFlag() = 0;
  virtual TBytes GetInstanceKey() = 0;
  virtual TEwsEntityExtractionResult& GetEntityExtractionResult() = 0;
  virtual TEwsRetentionTag& GetArchiveTag() = 0;
  virtual TVqXMLSchemaElementArray<TEwsExtendedProperty>& GetExtendedProperty() = 0;
  /// Needs Exchange2013.
  virtual TIconIndex GetIconIndex() = 0;
  virtual TEwsMimeContent& GetMimeContent() = 0;
  /// These six need Exchange2013.
  virtual TEwsBody& GetNormalizedBody() = 0;
  virtual TEwsRetentionTag& GetPolicyTag() = 0;
  virtual string GetPreview() = 0;
  virtual void SetPreview(const string& AValue) = 0;
  virtual TDateTime GetRetentionDate() = 0;
  virtual TBytes GetStoreEntryId() = 0;

  virtual bool GetIsPrivate() = 0;
  virtual void SetIsPrivate(bool AValue) = 0;

  /// Marks a property for deletion by the next save (t:DeleteItemField).
  virtual void DeleteProperty(const TVqEWSPropDef& APropDef) = 0;
  /// Fetches what the load left out, many names in one m:GetItem: plain names ("Subject"), or "PROPDEF:" and the key of
  /// a definition. Nothing that is fetched so counts as changed. Asks nothing for a new item.
  virtual void GetAdditionalProperties(const std::vector<string>& AProps) = 0;
  /// Sends what changed (m:CreateItem or m:UpdateItem, m:DeleteAttachment, m:CreateAttachment) and reads the item again
  /// (m:GetItem).
  virtual void SaveChanges(TVqEWSSaveOption ASaveOption) = 0;
  /// The MIME content of a saved item, decoded into a file (m:GetItem). The content never stands in memory as a tree.
  virtual void SaveToFile(const string& AFileName) = 0;
  virtual void SaveToStream(TVqStream& AStream) = 0;

 protected:
  ~IVqEWSItem() = default;
};

/// A reply or forward that is being written. Not part of this version: nothing makes one.
class IVqEWSSmartResponse : public virtual IVqEWSItem {
 protected:
  ~IVqEWSSmartResponse() = default;
};

/// A message.
class IVqEWSEMail : public virtual IVqEWSItem {
 public:
  /// Recipients are built once, until the next reload.
  virtual TVqRef<IVqEWSRecipient> GetSender() = 0;
  virtual TVqRef<IVqEWSRecipient> GetFrom() = 0;
  virtual TVqRef<IVqEWSRecipients> GetToRecipients() = 0;
  virtual TVqRef<IVqEWSRecipients> GetCcRecipients() = 0;
  virtual TVqRef<IVqEWSRecipients> GetBccRecipients() = 0;
  virtual TVqRef<IVqEWSRecipients> GetReplyTo() = 0;
  virtual TVqRef<IVqEWSRecipient> GetReceivedBy() = 0;
  virtual TVqRef<IVqEWSRecipient> GetReceivedRepresenting() = 0;
  virtual bool GetIsReadReceiptRequested() = 0;
  virtual void SetIsReadReceiptRequested(bool AValue) = 0;
  virtual bool GetIsDeliveryReceiptRequested() = 0;
  virtual void SetIsDeliveryReceiptRequested(bool AValue) = 0;
  virtual bool GetIsRead() = 0;
  virtual void SetIsRead(bool AValue) = 0;
  virtual bool GetIsResponseRequested() = 0;
  virtual TBytes GetConversationIndex() = 0;
  virtual string GetConversationTopic() = 0;
  virtual string GetInternetMessageId() = 0;
  virtual string GetReferences() = 0;
  /// These three need Exchange2013.
  virtual TEwsApprovalRequestData& GetApprovalRequestData() = 0;
  virtual TEwsVotingInformation& GetVotingInformation() = 0;
  virtual TEwsReminderMessageData& GetReminderMessageData() = 0;
  /// These two need Exchange2016.
  virtual string GetSenderSMTPAddress() = 0;
  virtual TEwsMessageType_MailboxGuids& GetMailboxGuids() = 0;

  /// Sends the message: a new one without attachments in one m:CreateItem (servers later than Exchange2013), any other
  /// saved first and then sent with m:SendItem. With `AMoveToSentItems` the server keeps a copy in the sent items.
  /// Raises a plain exception on a message that was submitted already.
  virtual void SubmitMessage(bool AMoveToSentItems) = 0;
  /// Answers and forwards are not part of this version: both raise EVqNotSupported.
  virtual TVqRef<IVqEWSSmartResponse> CreateReply(bool AReplyAll) = 0;
  virtual TVqRef<IVqEWSSmartResponse> CreateForward() = 0;

 protected:
  ~IVqEWSEMail() = default;
};

}  // namespace velmore
