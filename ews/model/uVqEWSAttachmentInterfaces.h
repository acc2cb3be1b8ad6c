#pragma once

/// Attachments as the application sees them: files, and items inside the item.

#include "ews/model/uVqEWSInterfaces.h"

namespace velmore {

/// A file, or an item inside the item.
enum TVqEWSAttachmentType : std::int32_t { attFile, attItem };

/// One attachment. A view into its item: once the item is gone, using the attachment raises a plain exception. Setters
/// mark the attachment as modified; the item's save then replaces it on the server. The first setter called on an
/// attached item asks the server for that item, and raises "Unsupported Attachment Type!" for a kind that could not be
/// made anew. The setters of an attachment that belongs to an attached item raise.
class IVqEWSAttachment : public virtual IVqObject {
 public:
  /// Which of the two interfaces below this attachment has.
  virtual TVqEWSAttachmentType GetAttachmentType() = 0;
  /// The attachment's element in the item's tree.
  virtual IVqDOMElement AsElement() = 0;
  /// The record of the server's ids; empty for a new attachment. Owned by the item's tree.
  virtual TEwsAttachmentId& GetAttachmentId() = 0;
  /// The name as the sender wrote it. Never use it as the name of a file: VqSafeFileName makes a safe one of it.
  virtual string GetName() = 0;
  virtual void SetName(const string& AValue) = 0;
  /// The MIME type, "image/png".
  virtual string GetContentType() = 0;
  virtual void SetContentType(const string& AValue) = 0;
  /// What "cid:" in an HTML body names, without angle brackets.
  virtual string GetContentId() = 0;
  virtual void SetContentId(const string& AValue) = 0;
  /// A URI that stands for the content; empty as a rule.
  virtual string GetContentLocation() = 0;
  virtual void SetContentLocation(const string& AValue) = 0;
  /// The size in bytes, as the server told it or as loading the content set it.
  virtual std::int32_t GetSize() = 0;
  /// Writes the number; the content stays.
  virtual void SetSize(std::int32_t AValue) = 0;
  /// UTC; 0 when the server did not tell. The setter writes the text only.
  virtual TDateTime GetLastModifiedTime() = 0;
  virtual void SetLastModifiedTime(TDateTime AValue) = 0;
  /// True for what an HTML body shows.
  virtual bool GetIsInline() = 0;
  /// Needs Exchange2010.
  virtual void SetIsInline(bool AValue) = 0;
  /// True when the item's next save replaces the attachment on the server.
  virtual bool GetModified() = 0;
  /// Asks for that replacement.
  virtual void SetModified() = 0;

 protected:
  ~IVqEWSAttachment() = default;
};

/// A file. Its content is fetched with m:GetAttachment on first use and kept.
class IVqEWSFileAttachment : public virtual IVqEWSAttachment {
 public:
  /// True for the picture of a contact.
  virtual bool GetIsContactPhoto() = 0;
  /// Needs Exchange2010.
  virtual void SetIsContactPhoto(bool AValue) = 0;
  /// Replaces the content by the whole stream. An empty stream (or none) leaves the content as it is, and still marks
  /// the attachment as modified.
  virtual void LoadFromStream(TVqStream* AStream) = 0;
  /// The same from a file; the name and type of the attachment stay. Raises EStreamError.
  virtual void LoadFromFile(const string& AFileName) = 0;
  /// Writes the decoded content; may ask the server.
  virtual void SaveToStream(TVqStream& AStream) = 0;
  /// The same into a new file, which is made only once the content is there. Raises EStreamError.
  virtual void SaveToFile(const string& AFileName) = 0;

 protected:
  ~IVqEWSFileAttachment() = default;
};

/// An item inside an item, fetched with m:GetAttachment on first use. A getter for another kind than the item's raises
/// a plain exception that says so.
class IVqEWSItemAttachment : public virtual IVqEWSAttachment {
 public:
  /// The kind of the item inside. The first call asks the server (m:GetAttachment, MIME content included), as does the
  /// first of the getters below. Post items raise "Unsupported Attachment Type!".
  virtual TItemAttachmentType GetItemAttachmentType() = 0;
  /// The item inside, by its kind. Owned by the attachment's record.
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

}  // namespace velmore
