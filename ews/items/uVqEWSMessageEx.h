#pragma once

/// Meetings: the calendar item with all its operations, and the answers to invitations.

#include "ews/items/uVqEWSAttachments.h"
#include "ews/items/uVqEWSMessageCalendar.h"
#include "ews/items/uVqEWSRecipientViews.h"

namespace velmore {

/// The calendar item that stores open and folders make. See TVqEWSItemCore for what it owns, its threads and failures.
class TVqEWSCalendarItemEx : public TVqEWSCalendarItem {
 public:
  /// An empty id makes a new item in `ACreator` (a folder, for its place); any other loads it (m:GetItem).
  TVqEWSCalendarItemEx(TVqComponent* ACreator, const TItemId& AItemId) : TVqEWSCalendarItem(ACreator, AItemId) {}
  /// The calendar item that an answer to m:GetItem holds. Asks nothing.
  TVqEWSCalendarItemEx(TVqComponent* ACreator, const TVqEWSLoadedItem& ALoaded)
      : TVqEWSCalendarItem(ACreator, ALoaded) {}

  void SaveChanges(TVqEWSSaveOption ASaveOption) override;
  void SaveMeeting(TVqEWSSaveOption ASaveOption,
                   TSendMeetingInvitationsOrCancellations ASendMeetingInvitationsOrCancellations) override;
  TVqRef<IVqEWSCalendarItem> GetOccurrence(std::int32_t AIndex) override;
  TVqRef<IVqEWSCalendarItem> GetRecurringMaster() override;
  void ModifyRequiredAttendees(const TVqRef<IVqEWSRecipients>& ARecipients) override;
  void ModifyOptionalAttendees(const TVqRef<IVqEWSRecipients>& ARecipients) override;
  TVqRef<IVqEwsMeetingResponse> CreateMeetingResponse(TVqEWSMeetingResponseAction AResponseType) override;

 protected:
  ~TVqEWSCalendarItemEx() override = default;

  void BeforeSaveChanges(IVqSOAPRequest& ASOAPRequest) override;
  /// The second save of a meeting notifies its attendees even when nothing about them changed.
  void FillEmptyUpdate(const IVqDOMElement& AUpdates) override;

 private:
  TVqRef<IVqEWSMsgStore> NeedsMsgStore();

  // What the next request says; smiocSendToNone at all times but in the second save of a meeting.
  TSendMeetingInvitationsOrCancellations FSendMeetingInvitationsOrCancellations = smiocSendToNone;
};

/// The part of TVqEwsWellKnownResponse<T> that is the same for every record type.
///
/// Owns the prepared request, its recipients and attachments; keeps the item that is answered alive, and lives by its
/// reference count. One thread at a time. Getters ask nothing of the server. Raises what the server refuses as
/// EEWSException.
class TVqEwsWellKnownResponseCore : public TVqEWSPropObjectCore, public virtual IVqEwsWellKnownResponse {
 public:
  string GetItemClass() override;
  void SetItemClass(const string& AValue) override;
  TSensitivityChoices GetSensitivity() override;
  void SetSensitivity(TSensitivityChoices AValue) override;
  TEwsBody& GetBody() override;
  TVqEWSAttachments& GetAttachments() override;
  TEwsNonEmptyArrayOfInternetHeaders& GetInternetMessageHeaders() override;
  TVqRef<IVqEWSRecipient> GetSender() override;
  TVqRef<IVqEWSRecipient> GetFrom() override;
  TVqRef<IVqEWSRecipients> GetToRecipients() override;
  TVqRef<IVqEWSRecipients> GetCcRecipients() override;
  TVqRef<IVqEWSRecipients> GetBccRecipients() override;
  bool GetIsReadReceiptRequested() override;
  void SetIsReadReceiptRequested(bool AValue) override;
  bool GetIsDeliveryReceiptRequested() override;
  void SetIsDeliveryReceiptRequested(bool AValue) override;
  TEwsItemId& GetReferenceItemId() override;
  string GetObjectName() override;
  void SetObjectName(const string& AValue) override;
  void Submit(TMessageDispositionType AMessageDisposition) override;

 protected:
  /// Prepares the request. `AReferenceEwsItem` is the record of the item that is answered.
  TVqEwsWellKnownResponseCore(const TVqRef<IVqEWSItem>& AReferenceItem, TEwsItem& AReferenceEwsItem,
                              TVqEWSMeetingResponseAction AResponseType, const TVqXMLSchemaClass& ARecordClass);
  ~TVqEwsWellKnownResponseCore() override;

  /// The current record as a response's.
  TEwsWellKnownResponseObject& Response() const { return static_cast<TEwsWellKnownResponseObject&>(NewRecord()); }

 private:
  TVqRef<IVqEWSRecipient> Single(const char* AName);
  TVqRef<IVqEWSRecipients> Many(const char* AName);

  TVqRef<IVqEWSItem> FReferenceItem;
  TVqEWSRecipientViews FRecipients;
  TVqRef<TVqEWSObjectSession> FSession;  // for the attachments
  std::unique_ptr<TVqEWSAttachments> FAttachments;
  TVqRef<IVqSOAPRequest> FSOAPRequest;
};

/// An answer with a record of type T.
template <typename T>
class TVqEwsWellKnownResponse : public TVqEwsWellKnownResponseCore {
 protected:
  /// Prepares the request of an answer to that item.
  TVqEwsWellKnownResponse(const TVqRef<IVqEWSItem>& AReferenceItem, TEwsItem& AReferenceEwsItem,
                          TVqEWSMeetingResponseAction AResponseType)
      : TVqEwsWellKnownResponseCore(AReferenceItem, AReferenceEwsItem, AResponseType, T::SchemaClass()) {}
  ~TVqEwsWellKnownResponse() override = default;

  /// The current record as a T.
  T& NewData() const { return static_cast<T&>(NewRecord()); }
};

/// The answer to an invitation. See TVqEwsWellKnownResponseCore for what it owns, its threads and failures.
class TVqEwsMeetingResponse : public TVqEwsWellKnownResponse<TEwsMeetingRegistrationResponseObject>,
                              public virtual IVqEwsMeetingResponse {
 public:
  /// Raises a plain exception "Unsupported ResponseType" for what is no answer to an invitation.
  TVqEwsMeetingResponse(const TVqRef<IVqEWSItem>& AReferenceItem, TEwsItem& AReferenceEwsItem,
                        TVqEWSMeetingResponseAction AResponseType)
      : TVqEwsWellKnownResponse(AReferenceItem, AReferenceEwsItem, AResponseType) {}

  TDateTime GetProposedStart() override;
  void SetProposedStart(TDateTime AValue) override;
  TDateTime GetProposedEnd() override;
  void SetProposedEnd(TDateTime AValue) override;

 protected:
  ~TVqEwsMeetingResponse() override = default;
};

}  // namespace velmore
