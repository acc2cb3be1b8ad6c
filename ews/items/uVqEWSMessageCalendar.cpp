#include "ews/items/uVqEWSMessageCalendar.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "ews/items/uVqEWSMemberRows_p.h"
#include "ews/schema/uVqEWSPropsPR.h"
#include "ews/values/internal/uVqEWSEmptyElements.h"
#include "platform/common/uVqDateTimeUtils.h"
#include "platform/os/uVqTimeZone.h"

namespace velmore {
namespace {

using namespace detail::members;

constinit const TVqEWSMemberInfo kMembers[] = {
#define VQ_MEMBER(access, ...) VQ_ROW_##access(__VA_ARGS__)
#include "ews/tables/MemberRowsCalendarItem.inc"
};

constexpr double kMinutesPerDay = 24 * 60;

/// Towards zero: before 30 December 1899 a time is cut to the midnight after it. Meant so: it is what programs that
/// wrote such days have stored.
TDateTime WholeDay(TDateTime value) {
  return std::trunc(static_cast<double>(value));
}

/// What a server gives and takes from nobody.
constexpr std::array kOfTheServer = {"calendar:Organizer", "calendar:ModifiedOccurrences",
                                     "calendar:DeletedOccurrences", "item:ResponseObjects"};

/// Patterns and ranges that reading has made beside the one that counts: of each, a series has one.
void RemoveEmptyChoices(const IVqDOMElement& recurrence) {
  for (const IVqDOMElement& choice : recurrence.GetChildElements()) {
    if (EwsIsEmpty(choice)) recurrence.RemoveChild(choice);
  }
}

bool IsOfTheServer(const string& uri) {
  return std::ranges::find(kOfTheServer, uri) != kOfTheServer.end();
}

[[noreturn]] void NotHere(const char* operation) {
  throw EVqNotSupported(string("TVqEWSCalendarItem has no \"") + operation + "\": TVqEWSCalendarItemEx has.");
}

}  // namespace

TVqEWSCalendarItem::TVqEWSCalendarItem(TVqComponent* ACreator, const TItemId& AItemId) : TVqEWSBaseItem(ACreator) {
  Initialize(AItemId);
}
TVqEWSCalendarItem::TVqEWSCalendarItem(TVqComponent* ACreator, const TVqEWSLoadedItem& ALoaded)
    : TVqEWSBaseItem(ACreator) {
  Initialize(ALoaded);
}

const TVqEWSMemberTable& TVqEWSCalendarItem::MemberTable() const {
  static const TVqEWSMemberTable table{"TVqEWSCalendarItem", &TVqEWSItemCore::MemberTable(), kMembers};
  return table;
}

#define VQ_MEMBER(access, ...) VQ_FORWARD_##access(TVqEWSCalendarItem, NewData, __VA_ARGS__)
#include "ews/tables/MemberRowsCalendarItem.inc"

// ---- When

TDateTime TVqEWSCalendarItem::GetStartDateTime() {
  return NewData().GetStart_();
}
TDateTime TVqEWSCalendarItem::GetEndDateTime() {
  return NewData().GetEnd_();
}

TDateTime TVqEWSCalendarItem::WholeDayIfAllDay(TDateTime AValue) {
  return GetIsAllDayEvent() ? WholeDay(AValue) : AValue;
}

void TVqEWSCalendarItem::SetStartDateTime(TDateTime AValue) {
  NewData().SetStart_(WholeDayIfAllDay(AValue));
}
void TVqEWSCalendarItem::SetEndDateTime(TDateTime AValue) {
  NewData().SetEnd_(WholeDayIfAllDay(AValue));
}

bool TVqEWSCalendarItem::GetIsAllDayEvent() {
  return NewData().GetIsAllDayEvent();
}

void TVqEWSCalendarItem::SetIsAllDayEvent(bool AValue) {
  TEwsCalendarItem& item = NewData();
  item.SetIsAllDayEvent(AValue);
  if (!AValue) return;  // what was cut stays cut: nobody knows the times of day any more
  // A time that was never set is not made.
  if (item.FindNode("t:Start")) item.SetStart_(WholeDay(item.GetStart_()));
  if (item.FindNode("t:End")) item.SetEnd_(WholeDay(item.GetEnd_()));
}

/// A zone is told in an attribute, which comparing does not see. What else the element tells is of the former zone.
void TVqEWSCalendarItem::NameZone(const IVqDOMElement& AZone, const char* AAttribute, const string& AId,
                                  const TVqEWSPropDef& APropDef) {
  if (AZone.GetAttribute(AAttribute) == AId) return;
  AZone.RemoveAllChildren();
  for (const char* other : {"Id", "Name", "TimeZoneName"}) {
    if (AZone.HasAttribute(other)) AZone.RemoveAttribute(other);
  }
  AZone.SetAttribute(AAttribute, AId);
  PropertyByName(APropDef).SetModified(true);
}

void TVqEWSCalendarItem::SetTimezoneStartDateTime(TDateTime AValue, const string& ATimezoneId) {
  const std::int32_t offset = ActiveSession().GetTimezoneOffset(ATimezoneId);
  NameZone(GetStartTimeZone().AsElement(), "Id", ATimezoneId, PR_STARTTIMEZONE);
  SetStartDateTime(AValue - offset / kMinutesPerDay);
}

void TVqEWSCalendarItem::SetTimezoneEndDateTime(TDateTime AValue, const string& ATimezoneId) {
  const std::int32_t offset = ActiveSession().GetTimezoneOffset(ATimezoneId);
  NameZone(GetEndTimeZone().AsElement(), "Id", ATimezoneId, PR_ENDTIMEZONE);
  SetEndDateTime(AValue - offset / kMinutesPerDay);
}

namespace {

TDateTime UtcOf(TDateTime local, const string& zone, const TVqEWSBaseSession& session) {
  const string iana = VqIanaTimeZoneOf(zone);
  if (!iana.empty()) return VqUtcOfLocalTime(iana, local);
  session.GetTimezoneOffset(zone);  // raises for what is no zone at all
  throw EVqException(Format("The zone database of this machine does not know \"%s\".", {zone}));
}

}  // namespace

void TVqEWSCalendarItem::NameZoneOfStart(const string& AId) {
  if (ServerVersion() >= Exchange2010) {
    NameZone(IVqDOMElement(NewRecord().GetNode("t:StartTimeZone")), "Id", AId, PR_STARTTIMEZONE);
  } else {  // one zone for both
    NameZone(IVqDOMElement(NewRecord().GetNode("t:MeetingTimeZone")), "TimeZoneName", AId, PR_MEETINGTIMEZONE);
  }
}

void TVqEWSCalendarItem::NameZoneOfEnd(const string& AId) {
  if (ServerVersion() >= Exchange2010)
    NameZone(IVqDOMElement(NewRecord().GetNode("t:EndTimeZone")), "Id", AId, PR_ENDTIMEZONE);
}

void TVqEWSCalendarItem::SetStartInZone(TDateTime AValue, const string& ATimezoneId) {
  const TDateTime utc = UtcOf(AValue, ATimezoneId, ActiveSession());
  NameZoneOfStart(ATimezoneId);
  SetStartDateTime(utc);
}

void TVqEWSCalendarItem::SetEndInZone(TDateTime AValue, const string& ATimezoneId) {
  const TDateTime utc = UtcOf(AValue, ATimezoneId, ActiveSession());
  NameZoneOfEnd(ATimezoneId);
  SetEndDateTime(utc);
}

void TVqEWSCalendarItem::SetWholeDays(TDateTime AFirstDay, std::int32_t ACount, const string& ATimezoneId) {
  if (ACount < 1) throw EVqException("An event of whole days lasts one day at least.");
  const TDateTime first = VqDateOf(AFirstDay);
  const TDateTime start = UtcOf(first, ATimezoneId, ActiveSession());
  const TDateTime end = UtcOf(first + ACount, ATimezoneId, ActiveSession());
  NameZoneOfStart(ATimezoneId);
  NameZoneOfEnd(ATimezoneId);
  TEwsCalendarItem& item = NewData();
  item.SetIsAllDayEvent(true);
  item.SetStart_(start);  // not cut: midnight is where the zone has it
  item.SetEnd_(end);
}

TCalendarItemType TVqEWSCalendarItem::GetCalendarItemType() {
  const TCalendarItemType type = NewData().GetCalendarItemType();
  // The server has not typed a series that was just made. A record that reading alone has made is no series.
  const IVqDOMElement recurrence(NewRecord().FindNode("t:Recurrence"));
  return type == citSingle && recurrence && EwsFirstPart(recurrence) ? citRecurringMaster : type;
}

// ---- Saving

void TVqEWSCalendarItem::PrepareSave() {
  // What nobody has read since the last save was not changed.
  if (const IVqDOMElement recurrence(KnownRecord().FindNode("t:Recurrence")); recurrence) {
    const IVqDOMElement loaded(KnownOldRecord().FindNode("t:Recurrence"));
    // Emptied, it is deleted; one that is empty because reading made it is not sent.
    PropertyByName(PR_RECURRENCE).SetDeleted(!EwsFirstPart(recurrence) && loaded && EwsFirstPart(loaded));
  }
}

void TVqEWSCalendarItem::BeforeSaveChanges(IVqSOAPRequest& ASOAPRequest) {
  TVqEWSBaseItem::BeforeSaveChanges(ASOAPRequest);
  const IVqDOMElement method = ASOAPRequest.GetMethod();
  // Servers want to be told, and are told to notify nobody.
  if (method.GetLocalName() == "CreateItem") {
    method.SetAttribute("SendMeetingInvitations", VqEnumToText(smiocSendToNone));
    for (const char* uri : kOfTheServer) {
      const string name = string(uri).Copy(string(uri).Pos(u":") + 1);
      if (const IVqDOMElement member = method.SelectSingleElement("Items/*/" + name, kSelectQuiet))
        member.GetParentElement().RemoveChild(member);
    }
    RemoveEmptyChoices(method.SelectSingleElement("Items/*/Recurrence", kSelectQuiet));
  } else if (method.GetLocalName() == "UpdateItem") {
    method.SetAttribute("SendMeetingInvitationsOrCancellations", VqEnumToText(smiocSendToNone));
    for (const IVqDOMElement& change : method.CreateElementList("ItemChanges/ItemChange/Updates/*", kSelectQuiet)) {
      if (IsOfTheServer(change.SelectSingleElement("FieldURI", kSelectQuiet).GetAttribute("FieldURI")))
        change.GetParentElement().RemoveChild(change);
      RemoveEmptyChoices(change.SelectSingleElement("CalendarItem/Recurrence", kSelectQuiet));
    }
  }
}

// ---- Of meetings and series

void TVqEWSCalendarItem::SaveMeeting(TVqEWSSaveOption, TSendMeetingInvitationsOrCancellations) {
  NotHere("SaveMeeting");
}
TVqRef<IVqEWSCalendarItem> TVqEWSCalendarItem::GetOccurrence(std::int32_t) {
  NotHere("GetOccurrence");
}
TVqRef<IVqEWSCalendarItem> TVqEWSCalendarItem::GetRecurringMaster() {
  NotHere("GetRecurringMaster");
}
void TVqEWSCalendarItem::ModifyRequiredAttendees(const TVqRef<IVqEWSRecipients>&) {
  NotHere("ModifyRequiredAttendees");
}
void TVqEWSCalendarItem::ModifyOptionalAttendees(const TVqRef<IVqEWSRecipients>&) {
  NotHere("ModifyOptionalAttendees");
}
TVqRef<IVqEwsMeetingResponse> TVqEWSCalendarItem::CreateMeetingResponse(TVqEWSMeetingResponseAction) {
  NotHere("CreateMeetingResponse");
}

}  // namespace velmore
