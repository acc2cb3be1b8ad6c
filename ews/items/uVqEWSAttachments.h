#pragma once

/// The attachments of an item: files first, then items.
///
///     item->GetAttachments().AddAttachment("report.pdf");
///     for (std::int32_t i = 0; i < item->GetAttachments().Count(); ++i) {
///       if (auto file = Supports<IVqEWSFileAttachment>(item->GetAttachments().GetAttachment(i))) file->SaveToFile(file->GetName());
///     }
///
/// Changes are made in the item's tree; the item's save sends them. Content is fetched with m:GetAttachment when it is first read.

#include <memory>

#include "ews/model/uVqEWSItemInterfaces.h"

namespace velmore {

/// What a list and its attachments share; stays behind when the list goes, so that an attachment notices it.
struct TVqEWSAttachmentsState {
  /// The session that attachments are fetched through; the ids of those with edits; false when the list is gone.
  TVqRef<IVqEWSSession> Session;
  std::vector<string> Modified;  // ids of attachments with edits
  bool Alive = true;
};

/// Base of both kinds. Owns a record over its element and keeps the tree alive; using it after its list is gone raises a plain exception. One thread at
/// a time.
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
  /// Takes the record over.
  TVqEWSAttachment(std::shared_ptr<TVqEWSAttachmentsState> AState, std::unique_ptr<TEwsAttachment> ARecord);
  ~TVqEWSAttachment() override;

  /// The record, and the session. Raise a plain exception when the list is gone.
  TEwsAttachment& Record() const;
  IVqEWSSession& Session() const;
  /// The id without making an element for it; empty for a new attachment.
  string IdText() const;
  /// Fetches this attachment and gives the checked response message (m:GetAttachment).
  IVqDOMElement Fetch(bool AIncludeMimeContent, const TVqSOAPResponseFactory& AFactory = nullptr);

 private:
  std::shared_ptr<TVqEWSAttachmentsState> FState;
  std::unique_ptr<TEwsAttachment> FAttachment;
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

  /// Fetches the content if it is not there yet.
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

  TItemAttachmentType FItemType = iaItem;
  bool FItemRetrieved = false;
};

/// The list. Owns nothing but the ids of modified attachments; made by an item, lives until its reload. One thread at a time. Positions that it does not have
/// raise EListError.
class TVqEWSAttachments {
 public:
  /// Over the record of an item's attachments, which must outlive the list.
  TVqEWSAttachments(const TVqRef<IVqEWSSession>& ASession, TEwsNonEmptyArrayOfAttachments& AAttachments);
  ~TVqEWSAttachments();
  TVqEWSAttachments(const TVqEWSAttachments&) = delete;
  TVqEWSAttachments& operator=(const TVqEWSAttachments&) = delete;

  /// Files and items together.
  std::int32_t Count();
  /// A new view at each call.
  TVqRef<IVqEWSAttachment> GetAttachment(std::int32_t AIndex);
  /// Removes attachments from the tree: all, or all that are not inline.
  void Clear(bool AClearInlineAttachments);
  /// A file, with the MIME type that its name tells.
  TVqRef<IVqEWSFileAttachment> AddAttachment(const string& AFileName);
  /// The whole stream, whatever its position.
  TVqRef<IVqEWSFileAttachment> AddAttachment(const string& AName, const string& AContentType, TVqStream& AStream);
  /// A copy of an item as it stands in memory.
  TVqRef<IVqEWSItemAttachment> AddAttachment(const string& AName, const TVqRef<IVqEWSItem>& AItem);
  /// The attachment with that id (case does not matter), or an empty reference.
  TVqRef<IVqEWSAttachment> FindAttachment(const string& AAttachmentId);
  /// Removes an attachment from the tree.
  void DeleteAttachment(std::int32_t AIndex);

  /// Makes an attachment that the server knows into a new one, to be created again: its content is fetched if it never was, so that nothing is lost,
  /// and its id goes.
  void PrepareReplacement(IVqEWSAttachment& AAttachment);

  /// Of the element of all attachments, as TVqXMLSchemaElement has them.
  string Serialize(TVqDataSerializationFormatType AFormat);
  void Deserialize(TVqDataSerializationFormatType AFormat, const string& AText);
  string AsXML(const string& ATargetNamespace = {}, bool AExcludeNamespaces = false);
  string AsJSON();

 private:
  TVqDOMElementList Files() const;
  TVqDOMElementList Items() const;

  TEwsNonEmptyArrayOfAttachments& FAttachments;
  std::shared_ptr<TVqEWSAttachmentsState> FState;
};

}  // namespace velmore
