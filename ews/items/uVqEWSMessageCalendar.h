#pragma once

/// Calendar items without the operations of meetings, which uVqEWSMessageEx.h adds. A continuation of uVqEWSMessage.h.

#include "ews/items/uVqEWSItem.h"

namespace velmore {

/// An appointment: its members, its times and its saving. See TVqEWSItemCore for what it owns, its threads and
/// failures.
///
/// Nothing makes one of its own class: TVqEWSCalendarItemEx does the rest. The six operations on meetings and series
/// raise EVqNotSupported here.
class TVqEWSCalendarItem : public TVqEWSBaseItem<TEwsCalendarItem>, public virtual IVqEWSCalendarItem {
 public:
  /// An empty id makes a new appointment in `ACreator` (a folder, for its place); any other loads it (m:GetItem).
  TVqEWSCalendarItem(TVqComponent* ACreator, const TItemId& AItemId);
  /// The appointment that an answer to m:GetItem holds. Asks nothing.
  TVqEWSCalendarItem(TVqComponent* ACreator, const TVqEWSLoadedItem& ALoaded);

  TItemType GetItemType() override { return tCalendarItem; }
  TDateTime GetStartDateTime() override;
  void SetStartDateTime(TDateTime AValue) override;
  TDateTime GetEndDateTime() override;
  void SetEndDateTime(TDateTime AValue) override;
  void SetTimezoneStartDateTime(TDateTime AValue, const string& ATimezoneId) override;
  void SetTimezoneEndDateTime(TDateTime AValue, const string& ATimezoneId) override;
  void SetStartInZone(TDateTime AValue, const string& ATimezoneId) override;
  void SetEndInZone(TDateTime AValue, const string& ATimezoneId) override;
  void SetWholeDays(TDateTime AFirstDay, std::int32_t ACount, const string& ATimezoneId) override;
  bool GetIsAllDayEvent() override;
  void SetIsAllDayEvent(bool AValue) override;
  TCalendarItemType GetCalendarItemType() override;
  void SaveMeeting(TVqEWSSaveOption ASaveOption,
                   TSendMeetingInvitationsOrCancellations ASendMeetingInvitationsOrCancellations) override;
  TVqRef<IVqEWSCalendarItem> GetOccurrence(std::int32_t AIndex) override;
  TVqRef<IVqEWSCalendarItem> GetRecurringMaster() override;
  void ModifyRequiredAttendees(const TVqRef<IVqEWSRecipients>& ARecipients) override;
  void ModifyOptionalAttendees(const TVqRef<IVqEWSRecipients>& ARecipients) override;
  TVqRef<IVqEwsMeetingResponse> CreateMeetingResponse(TVqEWSMeetingResponseAction AResponseType) override;

  const TVqEWSMemberTable& MemberTable() const override;

 protected:
  ~TVqEWSCalendarItem() override = default;

  void PrepareSave() override;
  /// Tells nobody: "SendToNone".
  void BeforeSaveChanges(IVqSOAPRequest& ASOAPRequest) override;

 private:
  TDateTime WholeDayIfAllDay(TDateTime AValue);
  void NameZone(const IVqDOMElement& AZone, const char* AAttribute, const string& AId, const TVqEWSPropDef& APropDef);
  void NameZoneOfStart(const string& AId);
  void NameZoneOfEnd(const string& AId);

 public:
  // The published properties that have no rules of their own.
#define VQ_MEMBER(access, ...) VQ_DECLARE_##access(__VA_ARGS__)
#include "ews/tables/MemberRowsCalendarItem.inc"
};

}  // namespace velmore
