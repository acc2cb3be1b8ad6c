#pragma once

/// Appointments, meetings and the answers to invitations, as the application sees them.
///
///     auto meeting = Supports<IVqEWSCalendarItem>(calendar->CreateItem(tCalendarItem));
///     meeting->SetSubject("Planning");
///     meeting->SetStartInZone(VqEncodeDateTime({2026, 7, 6, 10, 0}), "W. Europe Standard Time");
///     meeting->SetEndInZone(VqEncodeDateTime({2026, 7, 6, 11, 0}), "W. Europe Standard Time");
///     auto guests = session.CreateRecipients();
///     guests->AddMailbox("Bob Birch", "bob@example.com");
///     meeting->ModifyRequiredAttendees(guests);
///     meeting->SaveMeeting(soAutoResolve, smiocSendToAllAndSaveCopy);
///
/// All times are UTC, but where an operation names a zone.

#include <exception>

#include "ews/model/uVqEWSBaseItemInterfaces.h"
#include "ews/model/uVqEWSRecipients.h"

namespace velmore {

/// Whom a saved or deleted meeting is announced to; the wire text is the name without "smioc".
enum TSendMeetingInvitationsOrCancellations : std::int32_t {
  smiocSendToNone,
  smiocSendOnlyToAll,
  smiocSendToAllAndSaveCopy,
  smiocSendOnlyToChanged,
  smiocSendToChangedAndSaveCopy,
};
/// The first three of them: what a deletion can announce.
using TSendMeetingCancellations = TSendMeetingInvitationsOrCancellations;

/// What can be done in answer to an item.
enum TVqEWSResponseAction : std::int32_t {
  raNone,
  raAccept,
  raTentativelyAccept,
  raDecline,
  raReply,
  raReplyAll,
  raForward,
  raCancel,
  raRemoveFromCalendar,
  raSuppressReadReceipt,
  raPostReply,
};
/// Several of them.
using TVqEWSResponseActions = TVqSet<TVqEWSResponseAction>;
/// The part from raAccept to raDecline: the answers to an invitation.
using TVqEWSMeetingResponseAction = TVqEWSResponseAction;

/// The wire texts of the enumeration, for VqEnumToText and its kin.
const TVqEnumInfo& VqEnumInfoOf(TSendMeetingInvitationsOrCancellations) noexcept;

/// The second save of a meeting failed: the item is saved, the change of its attendees is not, and nobody was notified.
/// When the failure leaves open what the server did, the text says so. The attendees stand in the item as they were to
/// be: SaveMeeting may be called again.
class EVqEWSAttendeesNotSaved : public EEWSException {
 public:
  /// Takes over the code and the status of a refusal; any other failure is told by its text alone.
  explicit EVqEWSAttendeesNotSaved(std::exception_ptr ACause);
  /// What failed, to be thrown again by whoever handles its kind, such as EVqServerBusy.
  const std::exception_ptr& Cause() const noexcept { return FCause; }
  /// What the cause told.
  std::int32_t HTTPStatus() const noexcept override { return FHTTPStatus; }
  const string& ResponseCode() const noexcept override { return FResponseCode; }
  std::chrono::milliseconds RetryAfter() const noexcept override { return FRetryAfter; }

 protected:
  /// The first save was carried out in any case.
  bool LeavesOpen() const noexcept override { return true; }

 private:
  static EEWSException TextOf(const std::exception_ptr& ACause);

  std::exception_ptr FCause;
  std::int32_t FHTTPStatus = 0;
  string FResponseCode;
  std::chrono::milliseconds FRetryAfter{0};
};

/// The answer to an invitation, before it is sent. Made by CreateMeetingResponse; keeps its item alive. Its recipients
/// and attachments are built once. See IVqEWSItem about records that getters make.
class IVqEwsWellKnownResponse : public virtual IVqEWSPropObject {
 public:
  /// The answer's class; the server's own when it is left empty.
  virtual string GetItemClass() = 0;
  virtual void SetItemClass(const string& AValue) = 0;
  /// The MAPI property of that name, and not the member of the schema: 0 is normal, 1 personal, 2 private, 3
  /// confidential. In the schema's form it goes out as the member.
  virtual TSensitivityChoices GetSensitivity() = 0;
  virtual void SetSensitivity(TSensitivityChoices AValue) = 0;
  /// The message to the organizer. Set both its type and its text.
  virtual TEwsBody& GetBody() = 0;
  /// Attachments go out with the answer.
  virtual TVqEWSAttachments& GetAttachments() = 0;
  /// Headers of the answer.
  virtual TEwsNonEmptyArrayOfInternetHeaders& GetInternetMessageHeaders() = 0;
  /// Who answers, and in whose name (From). The server fills in both; to set them is for delegates.
  virtual TVqRef<IVqEWSRecipient> GetSender() = 0;
  virtual TVqRef<IVqEWSRecipient> GetFrom() = 0;
  /// Recipients beside the organizer, to whom the server sends the answer.
  virtual TVqRef<IVqEWSRecipients> GetToRecipients() = 0;
  virtual TVqRef<IVqEWSRecipients> GetCcRecipients() = 0;
  virtual TVqRef<IVqEWSRecipients> GetBccRecipients() = 0;
  /// Whether the answer asks to be told that it was read, and that it arrived.
  virtual bool GetIsReadReceiptRequested() = 0;
  virtual void SetIsReadReceiptRequested(bool AValue) = 0;
  virtual bool GetIsDeliveryReceiptRequested() = 0;
  virtual void SetIsDeliveryReceiptRequested(bool AValue) = 0;
  /// The item that is answered: its id, and its change key with servers later than Exchange2013.
  virtual TEwsItemId& GetReferenceItemId() = 0;
  /// An attribute of the answer that servers do not take: leave it alone.
  virtual string GetObjectName() = 0;
  virtual void SetObjectName(const string& AValue) = 0;

  /// Sends the answer (m:CreateItem): with mdpSaveOnly it is saved and not sent, with mdbSendOnly no copy is kept. When
  /// the server tells the id of the meeting's item, it becomes the id of this object and of the item that was answered,
  /// so that the item can be saved afterwards. Raises EVqEWSUnclearAnswer when the reply is not the answer: it may have
  /// gone out.
  virtual void Submit(TMessageDispositionType AMessageDisposition) = 0;

 protected:
  ~IVqEwsWellKnownResponse() = default;
};

/// The answer to an invitation, which may propose another time.
class IVqEwsMeetingResponse : public virtual IVqEwsWellKnownResponse {
 public:
  /// The time that is proposed instead; 0 when there is none. UTC. Getters and setters need Exchange2013.
  virtual TDateTime GetProposedStart() = 0;
  virtual void SetProposedStart(TDateTime AValue) = 0;
  virtual TDateTime GetProposedEnd() = 0;
  virtual void SetProposedEnd(TDateTime AValue) = 0;

 protected:
  ~IVqEwsMeetingResponse() = default;
};

/// An appointment, a meeting, the master of a series or one of its occurrences.
///
/// A plain SaveChanges tells nobody (it goes out with "SendToNone") and writes attendees like any other member, without
/// a notice. Organizer, ModifiedOccurrences, DeletedOccurrences and AllowedResponseActions are the server's: what is
/// changed there is never sent.
class IVqEWSCalendarItem : public virtual IVqEWSItem {
 public:
  // ---- When and where

  /// The first moment, and the one after the last. UTC. While IsAllDayEvent is true, the setters store the beginning of
  /// the day (cut towards zero).
  virtual TDateTime GetStartDateTime() = 0;
  virtual void SetStartDateTime(TDateTime AValue) = 0;
  virtual TDateTime GetEndDateTime() = 0;
  virtual void SetEndDateTime(TDateTime AValue) = 0;
  /// Sets the time that clocks in a zone show, and names the zone (StartTimeZone, EndTimeZone). The zone's offset
  /// without daylight saving is taken at any time of the year, as GetTimezoneOffset gives it: in summer the stored time
  /// is an hour late. SetStartInZone and SetEndInZone know summer time. `ATimezoneId` is a Windows id; an unknown one
  /// raises EEWSException "The specified TimezoneId is not valid!". Needs Exchange2013 for the start, Exchange2010 for
  /// the end.
  virtual void SetTimezoneStartDateTime(TDateTime AValue, const string& ATimezoneId) = 0;
  virtual void SetTimezoneEndDateTime(TDateTime AValue, const string& ATimezoneId) = 0;
  /// The same with the offset that the zone has at that time, summer time included, by the zone database of this
  /// machine. Of a time that clocks show twice, the first one is meant; one that they skip is moved on by what they
  /// skip. On servers that do not know the members, the time alone is set. Raises as the operations above for an
  /// unknown zone, and a plain exception for one that the zone database does not have.
  virtual void SetStartInZone(TDateTime AValue, const string& ATimezoneId) = 0;
  virtual void SetEndInZone(TDateTime AValue, const string& ATimezoneId) = 0;
  /// The start that an occurrence had before it was moved. UTC.
  virtual TDateTime GetOriginalStart() = 0;
  virtual void SetOriginalStart(TDateTime AValue) = 0;
  /// Makes it an event of whole days as a zone has them: from the first moment of `AFirstDay` there, `ACount` days
  /// long. Sets times, zones and IsAllDayEvent; see SetStartInZone. Raises a plain exception for less than one day.
  virtual void SetWholeDays(TDateTime AFirstDay, std::int32_t ACount, const string& ATimezoneId) = 0;
  /// Whether it lasts whole days. True cuts start and end, as stored, to the beginning of their days, which are days of
  /// UTC: SetWholeDays takes those of a zone. False leaves them.
  virtual bool GetIsAllDayEvent() = 0;
  virtual void SetIsAllDayEvent(bool AValue) = 0;
  /// What others see of the time: free, tentative, busy, away, working elsewhere.
  virtual TLegacyFreeBusy GetLegacyFreeBusyStatus() = 0;
  virtual void SetLegacyFreeBusyStatus(TLegacyFreeBusy AValue) = 0;
  /// Where it takes place.
  virtual string GetLocation() = 0;
  virtual void SetLocation(const string& AValue) = 0;
  /// The time in words, as the organizer's program wrote it.
  virtual string GetWhen() = 0;
  virtual void SetWhen(const string& AValue) = 0;
  /// How long it lasts, as an XML duration ("PT1H"); made by the server from start and end.
  virtual string GetDuration() = 0;
  virtual void SetDuration(const string& AValue) = 0;
  /// The name of the zone in words.
  virtual string GetTimeZone() = 0;
  /// The zone of a series on Exchange2007, which later servers replace by the two below.
  virtual TEwsTimeZone& GetMeetingTimeZone() = 0;
  /// The zones that start and end are told in, by Windows id. A series repeats in the zone of its start. The start's
  /// needs Exchange2013, the end's Exchange2010.
  virtual TEwsTimeZoneDefinition& GetStartTimeZone() = 0;
  virtual TEwsTimeZoneDefinition& GetEndTimeZone() = 0;
  /// The ids of these zones. Need Exchange2013.
  virtual string GetStartTimeZoneId() = 0;
  virtual string GetEndTimeZoneId() = 0;
  /// The time that clocks show in these zones. Need Exchange2013.
  virtual TDateTime GetStartWallClock() = 0;
  virtual TDateTime GetEndWallClock() = 0;
  /// The place with its address. Needs Exchange2013.
  virtual TEwsEnhancedLocation& GetEnhancedLocation() = 0;

  // ---- What it is

  /// The id that a meeting has in all mailboxes, its series included.
  virtual string GetUID() = 0;
  /// Which occurrence of its series it is, by its original time. UTC.
  virtual TDateTime GetRecurrenceId() = 0;
  /// When the organizer's program wrote it last. UTC.
  virtual TDateTime GetDateTimeStamp() = 0;
  /// Single, occurrence, exception or master. An item with a recurrence that the server has not typed yet is a master.
  virtual TCalendarItemType GetCalendarItemType() = 0;
  /// Whether it has attendees; was cancelled; is one of a series.
  virtual bool GetIsMeeting() = 0;
  virtual bool GetIsCancelled() = 0;
  virtual bool GetIsRecurring() = 0;
  /// Whether invitations went out, and whether they ask for an answer.
  virtual bool GetMeetingRequestWasSent() = 0;
  virtual bool GetIsResponseRequested() = 0;
  /// Whether attendees may propose another time, and whether they meet online.
  virtual bool GetAllowNewTimeProposal() = 0;
  virtual bool GetIsOnlineMeeting() = 0;
  /// Whether the mailbox's owner called the meeting. Needs Exchange2013.
  virtual bool GetIsOrganizer() = 0;
  /// The number of the last update, and state bits: 1 meeting, 2 received, 4 cancelled.
  virtual std::int32_t GetAppointmentSequenceNumber() = 0;
  virtual std::int32_t GetAppointmentState() = 0;
  virtual void SetAppointmentState(std::int32_t AValue) = 0;
  /// 0 NetMeeting, 1 NetShow, 2 Chat.
  virtual std::int32_t GetConferenceType() = 0;
  /// Addresses of a shared workspace, of a NetShow, and of the online meeting. The last one needs Exchange2013.
  virtual string GetMeetingWorkspaceUrl() = 0;
  virtual string GetNetShowUrl() = 0;
  virtual string GetJoinOnlineMeetingUrl() = 0;
  /// Who may do what in the online meeting. Needs Exchange2013.
  virtual TEwsOnlineMeetingSettings& GetOnlineMeetingSettings() = 0;
  /// What the invitation asks the time to be shown as.
  virtual TLegacyFreeBusy GetIntendedFreeBusyStatus() = 0;
  /// For the server's own use. Needs Exchange2016.
  virtual TEwsCalendarActivityData& GetCalendarActivityData() = 0;

  // ---- Who

  /// Who called the meeting. The server's.
  virtual TEwsSingleRecipient& GetOrganizer() = 0;
  /// The attendees and rooms, with their answers; changed in place, or by the operations below. Only SaveMeeting
  /// notifies them, and only with another value than smiocSendToNone.
  virtual TEwsNonEmptyArrayOfAttendees& GetRequiredAttendees() = 0;
  virtual TEwsNonEmptyArrayOfAttendees& GetOptionalAttendees() = 0;
  virtual TEwsNonEmptyArrayOfAttendees& GetResources() = 0;
  /// What the mailbox's owner answered, and when. UTC.
  virtual TResponseType GetMyResponseType() = 0;
  virtual TDateTime GetAppointmentReplyTime() = 0;
  virtual void SetAppointmentReplyTime(TDateTime AValue) = 0;
  /// Reminders that come as messages. Needs Exchange2015.
  virtual TEwsArrayOfInboxReminder& GetInboxReminders() = 0;
  /// Meetings at the same time, and those that touch it.
  virtual std::int32_t GetConflictingMeetingCount() = 0;
  virtual std::int32_t GetAdjacentMeetingCount() = 0;
  virtual TEwsNonEmptyArrayOfAllItems& GetConflictingMeetings() = 0;
  virtual TEwsNonEmptyArrayOfAllItems& GetAdjacentMeetings() = 0;

  // ---- Series

  /// The pattern and the range, filled in place; the server makes the occurrences. Choose one pattern and one range:
  /// take a former one away with RemoveNode before another is written. Emptied (`AsElement().RemoveAllChildren()`), it
  /// is deleted by the next save, and the series becomes a single item. DeleteProperty has no effect while it is
  /// filled.
  virtual TEwsRecurrence& GetRecurrence() = 0;
  /// The ends of a series, as the server has them.
  virtual TEwsOccurrenceInfo& GetFirstOccurrence() = 0;
  virtual TEwsOccurrenceInfo& GetLastOccurrence() = 0;
  /// Occurrences that differ from the series, and those that are gone. The server's.
  virtual TEwsNonEmptyArrayOfOccurrenceInfo& GetModifiedOccurrences() = 0;
  virtual TEwsNonEmptyArrayOfDeletedOccurrences& GetDeletedOccurrences() = 0;

  // ---- Operations

  /// Saves in two steps, so that attendees see their change alone: everything but the attendees, silently; then the
  /// attendees, with the notice that is asked for. With smiocSendToNone the second step is left out, and with it the
  /// change of the attendees of a loaded item: it is dropped. SaveChanges writes it without a notice.
  ///
  /// A failure in the first step raises as SaveChanges does; until the next load, a plain save then leaves the
  /// attendees out. A failure in the second raises EVqEWSAttendeesNotSaved. Either way SaveMeeting may be called again.
  virtual void SaveMeeting(TVqEWSSaveOption ASaveOption,
                           TSendMeetingInvitationsOrCancellations ASendMeetingInvitationsOrCancellations) = 0;
  /// The occurrence with that index, from 1 (m:GetItem, then as GetItem of the store). Raises EEWSException
  /// "The calendaritem is not a recurring appointment!" for what is no master.
  virtual TVqRef<IVqEWSCalendarItem> GetOccurrence(std::int32_t AIndex) = 0;
  /// The master of an occurrence's series, looked for in the occurrence's folder (m:GetFolder, m:GetItem, m:FindItem).
  /// Only for items that a store has opened: for any other one a plain exception is raised. Raises EEWSException "The
  /// calendaritem is not an occurrence!", and "Failed to locate the recurring master via the UID!" when there is none;
  /// only the first one that is found counts.
  virtual TVqRef<IVqEWSCalendarItem> GetRecurringMaster() = 0;
  /// Makes the attendees those of the list, in memory: who is on both keeps the entry with its answer, the others go,
  /// new ones come last. Addresses are compared without regard to case. For the required ones: while the list holds the
  /// mailbox's owner, nobody is removed (asks the server once who that is).
  virtual void ModifyRequiredAttendees(const TVqRef<IVqEWSRecipients>& ARecipients) = 0;
  virtual void ModifyOptionalAttendees(const TVqRef<IVqEWSRecipients>& ARecipients) = 0;
  /// An answer to the invitation, to be sent by its Submit. Asks nothing of the server. Raises "Unsupported
  /// ResponseType" for anything but raAccept, raTentativelyAccept and raDecline.
  virtual TVqRef<IVqEwsMeetingResponse> CreateMeetingResponse(TVqEWSMeetingResponseAction AResponseType) = 0;

 protected:
  ~IVqEWSCalendarItem() = default;
};

/// What the items of a mailbox ask of its store beyond IVqEWSMsgStore. Every store of the library has it.
class IVqEWSOccurrences {
 public:
  /// Occurrence `AIdx`, from 1, of a recurring master. The spelling of the name stays.
  virtual TVqRef<IVqEWSCalendarItem> GetOccurence(const TItemId& AItemId, std::int32_t AIdx) = 0;

 protected:
  ~IVqEWSOccurrences() = default;
};

}  // namespace velmore
