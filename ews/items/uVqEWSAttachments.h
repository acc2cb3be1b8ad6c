#pragma once

/// The attachments of an item: files first, then items.
///
///     item->GetAttachments().AddAttachment("report.pdf");
///     for (std::int32_t i = 0; i < item->GetAttachments().Count(); ++i) {
///       if (auto file = Supports<IVqEWSFileAttachment>(item->GetAttachments().GetAttachment(i)))
///         file->SaveToFile(VqSafeFileName(file->GetName()));
///     }
///
/// Changes are made in the item's tree; the item's save sends them. Content is fetched with m:GetAttachment when it is
/// first read.

#include <functional>
#include <memory>

#include "ews/model/uVqEWSItemInterfaces.h"

namespace velmore {

/// What all views of one attachment share.
struct TVqEWSAttachmentContent {
  /// The record over its element, a TEwsFileAttachment or a TEwsItemAttachment.
  std::unique_ptr<TEwsAttachment> Record;
  /// True for content that was fetched, or read from memory: it is not fetched again.
  bool Retrieved = false;
  TItemAttachmentType ItemType = iaItem;
};

/// What a list and its attachments share; outlives the list, so that an attachment notices when the list is gone.
struct TVqEWSAttachmentsState {
  /// The session that attachments are fetched through; the element of all attachments; the ids of those with edits;
  /// false when the list was given up.
  TVqRef<IVqEWSSession> Session;
  IVqDOMElement Parent;
  std::vector<string> Modified;
  bool Alive = true;
  /// By element, as far as it was asked for.
  std::vector<std::pair<IVqDOMElement, std::shared_ptr<TVqEWSAttachmentContent>>> Contents;

  /// The content of an attachment; the class makes its record.
  std::shared_ptr<TVqEWSAttachmentContent> ContentOf(const IVqDOMElement& AElement, const TVqXMLSchemaClass& AClass);
  /// From now on every view raises.
  void Discard() noexcept;
};

/// Base of both kinds of attachments. Owns a record over its element and keeps the tree alive; using it after its list
/// is gone raises a plain exception. One thread at a time.
class TVqEWSAttachment : public TVqObject, public virtual IVqEWSAttachment {
 public:
  IVqDOMElement AsElement() override { return Record().AsElement(); }
  TEwsAttachmentId& GetAttachmentId() override { return Record().GetAttachmentId(); }
  string GetName() override { return Record().GetName(); }
  void SetName(const string& AValue) override;
  string GetContentType() override { return Record().GetContentType(); }
  void SetContentType(const string& AValue) override;
  string GetContentId() override { return Record().GetContentId(); }
  void SetContentId(const string& AValue) override;
  string GetContentLocation() override { return Record().GetContentLocation(); }
  void SetContentLocation(const string& AValue) override;
  std::int32_t GetSize() override { return Record().GetSize(); }
  void SetSize(std::int32_t AValue) override;
  TDateTime GetLastModifiedTime() override { return Record().GetLastModifiedTime(); }
  void SetLastModifiedTime(TDateTime AValue) override;
  bool GetIsInline() override { return Record().GetIsInline(); }
  void SetIsInline(bool AValue) override;
  bool GetModified() override;
  void SetModified() override;

 protected:
  /// A view of an element; the class is that of its record.
  TVqEWSAttachment(std::shared_ptr<TVqEWSAttachmentsState> AState, const IVqDOMElement& AElement,
                   const TVqXMLSchemaClass& AClass);
  ~TVqEWSAttachment() override;

  /// The record, and the session. Raise a plain exception when the list is gone.
  TEwsAttachment& Record() const;
  IVqEWSSession& Session() const;
  /// The id without making an element for it; empty for a new attachment.
  string IdText() const;
  /// Marks the attachment as modified and writes; a value that is refused takes the mark back.
  void Change(const std::function<void()>& AWrite);
  /// What all views of this attachment share. Raises as `Record`.
  TVqEWSAttachmentContent& Content() const;
  /// Fetches this attachment and gives the checked response message (m:GetAttachment).
  IVqDOMElement Fetch(bool AIncludeMimeContent, const TVqSOAPResponseFactory& AFactory = nullptr);

 private:
  std::shared_ptr<TVqEWSAttachmentsState> FState;
  std::shared_ptr<TVqEWSAttachmentContent> FContent;
};

/// A file. See IVqEWSFileAttachment for each operation.
class TVqEWSFileAttachment : public TVqEWSAttachment, public virtual IVqEWSFileAttachment {
 public:
  /// Over an element "t:FileAttachment".
  TVqEWSFileAttachment(std::shared_ptr<TVqEWSAttachmentsState> AState, const IVqDOMElement& AElement);

  TVqEWSAttachmentType GetAttachmentType() override { return attFile; }
  bool GetIsContactPhoto() override;
  void SetIsContactPhoto(bool AValue) override;
  void LoadFromStream(TVqStream* AStream) override;
  void LoadFromFile(const string& AFileName) override;
  void SaveToStream(TVqStream& AStream) override;
  void SaveToFile(const string& AFileName) override;

  /// Fetches the content if it is not there yet. A new attachment has what it was given.
  void LoadContent();

 private:
  TEwsFileAttachment& File() const;
};

/// An item inside the item. See IVqEWSItemAttachment for each operation.
class TVqEWSItemAttachment : public TVqEWSAttachment, public virtual IVqEWSItemAttachment {
 public:
  /// Over an element "t:ItemAttachment".
  TVqEWSItemAttachment(std::shared_ptr<TVqEWSAttachmentsState> AState, const IVqDOMElement& AElement);

  TVqEWSAttachmentType GetAttachmentType() override { return attItem; }
  /// Raises "Unsupported Attachment Type!" where the save could not make the attachment anew; to find out, asks the
  /// server if it was not asked before.
  void SetModified() override;
  /// Raises what `SetModified` raises.
  void CheckAttachable();
  TItemAttachmentType GetItemAttachmentType() override;
  TEwsItem& GetItem() override;
  TEwsMessage& GetMessage() override;
  TEwsCalendarItem& GetCalendarItem() override;
  TEwsContactItem& GetContact() override;
  TEwsTask& GetTask() override;
  TEwsPostItem& GetPostItem() override;
  TEwsMeetingMessage& GetMeetingMessage() override;
  TEwsMeetingRequestMessage& GetMeetingRequest() override;
  TEwsMeetingResponseMessage& GetMeetingResponse() override;
  TEwsMeetingCancellationMessage& GetMeetingCancellation() override;
  TEwsRoleMemberItem& GetRoleMember() override;
  TEwsNetworkItem& GetNetwork() override;
  TEwsAbchPersonItem& GetPerson() override;

 private:
  TEwsItemAttachment& Attached() const;
  void Require(TItemAttachmentType AType, const char* AMessage);
};

/// The list of an item's attachments. Owns nothing but the ids of modified attachments. Made by an item; from the
/// item's next load on it raises a plain exception. One thread at a time. Positions that it does not have raise
/// EListError.
///
/// The list finds its entries at any depth, on purpose: once an attached item has been fetched, that item's own files
/// are in the list, too. They belong to that item: changing or deleting one here raises.
class TVqEWSAttachments {
 public:
  /// Over the record of an item's attachments, which must outlive the list.
  TVqEWSAttachments(const TVqRef<IVqEWSSession>& ASession, TEwsNonEmptyArrayOfAttachments& AAttachments);
  ~TVqEWSAttachments();
  TVqEWSAttachments(const TVqEWSAttachments&) = delete;
  TVqEWSAttachments& operator=(const TVqEWSAttachments&) = delete;

  /// Files and items together.
  std::int32_t Count();
  /// A new view at each call; all views of one attachment share its content.
  TVqRef<IVqEWSAttachment> GetAttachment(std::int32_t AIndex);
  /// Removes attachments from the tree: all, or all that are not inline.
  void Clear(bool AClearInlineAttachments);
  /// Adds a file, with the MIME type that its name tells.
  TVqRef<IVqEWSFileAttachment> AddAttachment(const string& AFileName);
  /// Adds the whole stream, whatever its position.
  TVqRef<IVqEWSFileAttachment> AddAttachment(const string& AName, const string& AContentType, TVqStream& AStream);
  /// Adds a copy of an item as it stands in memory. The save fetches those of the item's own attachments that were
  /// never loaded.
  TVqRef<IVqEWSItemAttachment> AddAttachment(const string& AName, const TVqRef<IVqEWSItem>& AItem);
  /// The attachment with that id (case does not matter), or an empty reference.
  TVqRef<IVqEWSAttachment> FindAttachment(const string& AAttachmentId);
  /// Removes an attachment from the tree.
  void DeleteAttachment(std::int32_t AIndex);

  /// The attachments of the item itself, in the order of the tree: what a save looks at.
  std::vector<TVqRef<IVqEWSAttachment>> OwnAttachments();
  /// Fetches what the item's next save needs of an attachment that it makes, or makes anew: its content and, to any
  /// depth, that of the attachments inside, whose ids are removed. Raises what the server says when something cannot be
  /// fetched; nothing is lost then.
  void Complete(IVqEWSAttachment& AAttachment);
  /// From now on the list and every view of an attachment raise. Called by the item when it has been loaded again.
  void Discard() noexcept;

  /// These work on the element of all attachments, as the functions of TVqXMLSchemaElement do.
  string Serialize(TVqDataSerializationFormatType AFormat);
  void Deserialize(TVqDataSerializationFormatType AFormat, const string& AText);
  string AsXML(const string& ATargetNamespace = {}, bool AExcludeNamespaces = false);
  string AsJSON();

 private:
  TEwsNonEmptyArrayOfAttachments& List() const;
  TVqDOMElementList Files() const;
  TVqDOMElementList Items() const;
  TVqRef<IVqEWSAttachment> ViewOf(const IVqDOMElement& AElement) const;
  void CompleteInside(const IVqDOMElement& AItem);

  TEwsNonEmptyArrayOfAttachments& FAttachments;
  std::shared_ptr<TVqEWSAttachmentsState> FState;
};

}  // namespace velmore
