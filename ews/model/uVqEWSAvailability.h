#pragma once

/// When people are free, and what is worth knowing before one writes to them: the results of GetUserAvailibility and of
/// GetMailTips.
///
///     auto ann = session.GetUserAvailibility({"ann@example.com"}, start, start + 1, 30, fbvtDetailed);
///     for (const TVqEWSCalendarEvent& event : ann->GetEvents())
///       std::cout << event.GetStartTime() << ' ' << event.GetSubject() << '\n';

#include <memory>
#include <vector>

#include "ews/schema/uVqEWSTypes.h"
#include "platform/os/uVqTimeZone.h"
#include "platform/xml/uVqXMLSerializer.h"

namespace velmore {

/// What somebody is in a meeting; the wire text is the name without "at".
enum TVqEWSAttendeeType : std::int32_t { atOrganizer, atRequired, atOptional, atRoom, atResource };
/// How much is to be told of a calendar; the wire text is the name without "fbvt". Merged views have the status by
/// intervals besides, detailed ones subjects and places, as far as the calendar's owner lets the asker see them.
enum TVqEWSFreeBusyViewType : std::int32_t {
  fbvtNone,
  fbvtMergedOnly,
  fbvtFreeBusy,
  fbvtFreeBusyMerged,
  fbvtDetailed,
  fbvtDetailedMerged
};
/// The wire texts, for VqEnumToText and its kin.
const TVqEnumInfo& VqEnumInfoOf(TVqEWSAttendeeType) noexcept;
const TVqEnumInfo& VqEnumInfoOf(TVqEWSFreeBusyViewType) noexcept;

/// The days on which a period of work repeats.
using TVqEWSDayOfWeekType = TDayOfWeek;
using TVqEWSDayOfWeekTypes = TDaysOfWeek;

/// Whose free and busy times are asked for.
struct TVqEWSMailboxData {
  /// SMTP address.
  string Email;
  /// Plays a part in suggestions of times alone, which this operation does not ask for.
  TVqEWSAttendeeType AttendeeType = atRequired;
  bool ExcludeConflicts = false;
};

/// One entry of a calendar, as far as the asker may see it.
///
/// Owns its values. A copy copies them. One thread at a time. Raises EConvertError when it is made from values that do
/// not convert, and what TVqSerializable raises.
class TVqEWSCalendarEvent : public TVqSerializable {
 public:
  TVqEWSCalendarEvent() = default;
  /// From an element "CalendarEvent".
  explicit TVqEWSCalendarEvent(const IVqDOMElement& AEvent);

  /// When it begins and ends. UTC when the request was in the schema's form; see docs/guide/availability.md for the
  /// library's own one.
  TDateTime GetStartTime() const noexcept { return FStartTime; }
  TDateTime GetEndTime() const noexcept { return FEndTime; }
  /// Free, tentative, busy, out of office, or elsewhere.
  TLegacyFreeBusy GetBusyType() const noexcept { return FBusyType; }
  /// Whether the server told more than the time; all below is empty and false otherwise.
  bool GetHasDetails() const noexcept { return FHasDetails; }
  /// The entry id as hexadecimal digits.
  const string& GetID() const noexcept { return FID; }
  /// What it is called and where it is; empty for private entries of others.
  const string& GetSubject() const noexcept { return FSubject; }
  const string& GetLocation() const noexcept { return FLocation; }
  /// Whether it has attendees, is one of a series, or one that was changed in it, reminds its owner, is private.
  bool GetIsMeeting() const noexcept { return FIsMeeting; }
  bool GetIsRecurring() const noexcept { return FIsRecurring; }
  bool GetIsException() const noexcept { return FIsException; }
  bool GetIsReminderSet() const noexcept { return FIsReminderSet; }
  bool GetIsPrivate() const noexcept { return FIsPrivate; }

 protected:
  void DescribeMembers(TVqRecordVisitor& AVisitor) override;
  string SerializedName() const override { return "CalendarEvent"; }

 private:
  TDateTime FStartTime{}, FEndTime{};
  TLegacyFreeBusy FBusyType{};
  bool FHasDetails = false;
  string FID, FSubject, FLocation;
  bool FIsMeeting = false, FIsRecurring = false, FIsException = false, FIsReminderSet = false, FIsPrivate = false;
};

/// A time of day at which somebody works, on some days of the week.
struct TVqEWSUserWorkingPeriod {
  /// The days.
  TVqEWSDayOfWeekTypes DayOfWeek;
  /// Minutes since midnight, in the zone of the working hours.
  std::int32_t StartTimeInMinutes = 0;
  std::int32_t EndTimeInMinutes = 0;
};
/// The members, for VqSerialize and VqDeserialize; those of a zone, too.
void VqDescribeRecord(TVqRecordVisitor& AVisitor, TVqEWSUserWorkingPeriod& AValue);
void VqDescribeRecord(TVqRecordVisitor& AVisitor, TVqTimeZoneInfo& AValue);

/// When somebody works.
///
/// Owns its values. A copy copies them. One thread at a time. Raises EConvertError when it is made from values that do
/// not convert, and what TVqSerializable raises.
class TVqEWSUserWorkingHours : public TVqSerializable {
 public:
  TVqEWSUserWorkingHours() = default;
  /// From an element "WorkingHours"; an empty one gives no periods.
  explicit TVqEWSUserWorkingHours(const IVqDOMElement& AWorkingHours);

  /// The zone of the periods. Its dates are those of the present year.
  const TVqTimeZoneInfo& GetTimeZone() const noexcept { return FTimeZone; }
  /// The periods, in the server's order.
  const std::vector<TVqEWSUserWorkingPeriod>& GetWorkingPeriods() const noexcept { return FWorkingPeriods; }

 protected:
  void DescribeMembers(TVqRecordVisitor& AVisitor) override;
  string SerializedName() const override { return "WorkingHours"; }

 private:
  TVqTimeZoneInfo FTimeZone;
  std::vector<TVqEWSUserWorkingPeriod> FWorkingPeriods;
};

/// What a server told of one mailbox. Owns all that it hands out.
class IVqEWSUserAvailability : public virtual IVqObject {
 public:
  /// The server's code: "NoError", "ErrorMailRecipientNotFound" and the like.
  virtual const string& GetError() = 0;
  /// Whether the server refused this mailbox. A refusal is not raised: others of the same request may have succeeded.
  virtual bool GetHasError() = 0;
  /// The address that was asked for.
  virtual const string& GetEMail() = 0;
  /// The entries of the time window; none in a view without entries.
  virtual const std::vector<TVqEWSCalendarEvent>& GetEvents() = 0;
  /// Without periods when the server did not tell them.
  virtual const TVqEWSUserWorkingHours& GetWorkingHours() = 0;
  /// In merged views a digit for each interval of the window: 0 free, 1 tentative, 2 busy, 3 out of office, 4 works
  /// elsewhere or not known, by the server's version. Empty in other views.
  virtual const string& GetMergedFreeBusy() = 0;

 protected:
  ~IVqEWSUserAvailability() = default;
};

/// The same over a "FreeBusyResponse" of the reply.
class TVqEWSUserAvailability : public TVqObject, public virtual IVqEWSUserAvailability {
 public:
  /// Reads everything; keeps nothing of the reply.
  TVqEWSUserAvailability(const string& AMailbox, const IVqDOMElement& AFreeBusyViewElm);

  const string& GetError() override { return FError; }
  bool GetHasError() override { return FHasError; }
  const string& GetEMail() override { return FEMail; }
  const std::vector<TVqEWSCalendarEvent>& GetEvents() override { return FEvents; }
  const TVqEWSUserWorkingHours& GetWorkingHours() override { return FWorkingHours; }
  const string& GetMergedFreeBusy() override { return FMergedFreeBusy; }

 private:
  string FError;
  bool FHasError;
  string FEMail;
  std::vector<TVqEWSCalendarEvent> FEvents;
  TVqEWSUserWorkingHours FWorkingHours;
  string FMergedFreeBusy;
};

/// What is worth knowing before one writes to a recipient. A view over the reply, which it keeps alive; what the server
/// did not tell reads as empty. Records live as long as it does.
class IVqEWSMailTips : public virtual IVqObject {
 public:
  /// Whom the tips are about.
  virtual TEwsEmailAddressType& GetRecipientAddress() = 0;
  /// Tips that the server could not find out in time.
  virtual TMailTipSet GetPendingMailTips() = 0;
  /// What the recipient's mailbox answers now, and for how long.
  virtual TEwsOutOfOfficeMailTip& GetOutOfOffice() = 0;
  /// Whether a message would come back because the mailbox is full.
  virtual bool GetMailboxFull() = 0;
  /// A text of the administrator's, as HTML.
  virtual string GetCustomMailTip() = 0;
  /// How many people a list has, and how many of them outside of the organisation.
  virtual std::int32_t GetTotalMemberCount() = 0;
  virtual std::int32_t GetExternalMemberCount() = 0;
  /// The largest message that the recipient takes, in bytes; 0 when there is no limit.
  virtual std::int32_t GetMaxMessageSize() = 0;
  /// Whether the recipient takes no messages of this sender; whether somebody has to approve of them first.
  virtual bool GetDeliveryRestricted() = 0;
  virtual bool GetIsModerated() = 0;
  /// Whether nobody has this address.
  virtual bool GetInvalidRecipient() = 0;
  /// Whether the recipient is inside or outside of the organisation, as the server's bits.
  virtual std::int32_t GetScope() = 0;
  /// Whom else to write to; and whether the recipient wants content that can be read aloud. Since Exchange2016.
  virtual TEwsArrayOfRecipientSuggestions& GetRecipientSuggestions() = 0;
  virtual bool GetPreferAccessibleContent() = 0;

 protected:
  ~IVqEWSMailTips() = default;
};

/// The same over an element "MailTips".
class TVqEWSMailTips : public TVqObject, public virtual IVqEWSMailTips {
 public:
  /// Reads nothing yet.
  explicit TVqEWSMailTips(const IVqDOMElement& AMailTips) : FMailTips(AMailTips) {}

  TEwsEmailAddressType& GetRecipientAddress() override { return FMailTips.GetRecipientAddress(); }
  TMailTipSet GetPendingMailTips() override { return FMailTips.GetPendingMailTips(); }
  TEwsOutOfOfficeMailTip& GetOutOfOffice() override { return FMailTips.GetOutOfOffice(); }
  bool GetMailboxFull() override { return FMailTips.GetMailboxFull(); }
  string GetCustomMailTip() override { return FMailTips.GetCustomMailTip(); }
  std::int32_t GetTotalMemberCount() override { return FMailTips.GetTotalMemberCount(); }
  std::int32_t GetExternalMemberCount() override { return FMailTips.GetExternalMemberCount(); }
  std::int32_t GetMaxMessageSize() override { return FMailTips.GetMaxMessageSize(); }
  bool GetDeliveryRestricted() override { return FMailTips.GetDeliveryRestricted(); }
  bool GetIsModerated() override { return FMailTips.GetIsModerated(); }
  bool GetInvalidRecipient() override { return FMailTips.GetInvalidRecipient(); }
  std::int32_t GetScope() override { return FMailTips.GetScope(); }
  TEwsArrayOfRecipientSuggestions& GetRecipientSuggestions() override { return FMailTips.GetRecipientSuggestions(); }
  bool GetPreferAccessibleContent() override { return FMailTips.GetPreferAccessibleContent(); }

 private:
  TEwsMailTips FMailTips;
};

}  // namespace velmore
