#include "ews/model/uVqEWSAvailability.h"

#include "platform/common/uVqDateTimeUtils.h"
#include "platform/xml/internal/uVqXMLDOMAccess.h"
#include "platform/xml/uVqXMLUtils.h"

namespace velmore {

void VqDescribeRecord(TVqRecordVisitor& AVisitor, TVqTimeZoneInfo& AValue) {
  AVisitor.Member("Bias", AValue.Bias);
  AVisitor.Member("StandardDate", AValue.StandardDate);
  AVisitor.Member("DaylightDate", AValue.DaylightDate);
  AVisitor.Member("DaylightBias", AValue.DaylightBias);
}

void VqDescribeRecord(TVqRecordVisitor& AVisitor, TVqEWSUserWorkingPeriod& AValue) {
  AVisitor.Member("DayOfWeek", AValue.DayOfWeek);
  AVisitor.Member("StartTimeInMinutes", AValue.StartTimeInMinutes);
  AVisitor.Member("EndTimeInMinutes", AValue.EndTimeInMinutes);
}

namespace {

using detail::TVqRawElement;

/// Reads the values of an element's children in one walk: answers have them by the hundred thousand.
class TReader {
 public:
  explicit TReader(TVqRawElement element) : FChild(element ? element.FirstChild() : TVqRawElement()) {}

  /// Goes to the next child; false behind the last one.
  bool Next(std::string_view& name) {
    if (!FChild) return false;
    FCurrent = FChild;
    FChild = FChild.Next();
    name = FCurrent.LocalName();
    return true;
  }
  TVqRawElement Element() const { return FCurrent; }
  template <typename T>
  void Read(T& value) {
    value = detail::FromText<T>(FCurrent.Text(FScratch));
  }

 private:
  TVqRawElement FChild, FCurrent;
  std::string FScratch;
};

TVqRawElement ChildOf(TVqRawElement element, std::string_view name) {
  for (TVqRawElement child = element ? element.FirstChild() : TVqRawElement(); child; child = child.Next()) {
    if (child.LocalName() == name) return child;
  }
  return {};
}

/// One of the two changes of a zone, as the wire has it.
struct TChange {
  std::int32_t Bias = 0, DayOrder = 0, Month = 0;
  TDateTime Time{};
  TDayOfWeek DayOfWeek{};

  explicit TChange(TVqRawElement element) {
    TReader reader(element);
    for (std::string_view name; reader.Next(name);) {
      if (name == "Bias") reader.Read(Bias);
      if (name == "DayOrder") reader.Read(DayOrder);
      if (name == "Month") reader.Read(Month);
      if (name == "DayOfWeek") reader.Read(DayOfWeek);
      if (name == "Time") {
        std::string scratch;
        Time = VqXMLToTime(reader.Element().Text(scratch));
      }
    }
  }

  /// In the present year; 0 for a change that never comes.
  TDateTime Date() const {
    if (Month < 1 || Month > 12 || DayOrder < 1 || DayOrder > 5 || DayOfWeek > dowSaturday) return {};
    return VqNthWeekday(VqDecodeDateTime(VqNow()).Year, Month, DayOrder, DayOfWeek) + Time;
  }
};

TVqTimeZoneInfo ReadZone(TVqRawElement element) {
  TVqTimeZoneInfo zone;
  const TChange standard(ChildOf(element, "StandardTime")), daylight(ChildOf(element, "DaylightTime"));
  TReader reader(element);
  for (std::string_view name; reader.Next(name);) {
    if (name == "Bias") reader.Read(zone.Bias);
  }
  zone.Bias += standard.Bias;  // 0 as a rule
  zone.StandardDate = standard.Date();
  zone.DaylightDate = daylight.Date();
  zone.DaylightBias = zone.DaylightDate == TDateTime(0) ? 0 : daylight.Bias - standard.Bias;
  return zone;
}

}  // namespace

// ---- TVqEWSCalendarEvent

TVqEWSCalendarEvent::TVqEWSCalendarEvent(const IVqDOMElement& AEvent) {
  TReader reader{TVqRawElement(AEvent)};
  for (std::string_view name; reader.Next(name);) {
    if (name == "StartTime") reader.Read(FStartTime);
    if (name == "EndTime") reader.Read(FEndTime);
    if (name == "BusyType") reader.Read(FBusyType);
    if (name != "CalendarEventDetails") continue;
    FHasDetails = true;
    TReader details(reader.Element());
    while (details.Next(name)) {
      if (name == "ID") details.Read(FID);
      if (name == "Subject") details.Read(FSubject);
      if (name == "Location") details.Read(FLocation);
      if (name == "IsMeeting") details.Read(FIsMeeting);
      if (name == "IsRecurring") details.Read(FIsRecurring);
      if (name == "IsException") details.Read(FIsException);
      if (name == "IsReminderSet") details.Read(FIsReminderSet);
      if (name == "IsPrivate") details.Read(FIsPrivate);
    }
  }
}

void TVqEWSCalendarEvent::DescribeMembers(TVqRecordVisitor& AVisitor) {
  AVisitor.Member("StartTime", FStartTime);
  AVisitor.Member("EndTime", FEndTime);
  AVisitor.Member("BusyType", FBusyType);
  AVisitor.Member("HasDetails", FHasDetails);
  AVisitor.Member("ID", FID);
  AVisitor.Member("Subject", FSubject);
  AVisitor.Member("Location", FLocation);
  AVisitor.Member("IsMeeting", FIsMeeting);
  AVisitor.Member("IsRecurring", FIsRecurring);
  AVisitor.Member("IsException", FIsException);
  AVisitor.Member("IsReminderSet", FIsReminderSet);
  AVisitor.Member("IsPrivate", FIsPrivate);
}

// ---- TVqEWSUserWorkingHours

TVqEWSUserWorkingHours::TVqEWSUserWorkingHours(const IVqDOMElement& AWorkingHours) {
  const TVqRawElement hours(AWorkingHours);
  FTimeZone = ReadZone(ChildOf(hours, "TimeZone"));
  TReader periods(ChildOf(hours, "WorkingPeriodArray"));
  for (std::string_view name; periods.Next(name);) {
    if (name != "WorkingPeriod") continue;
    TVqEWSUserWorkingPeriod& period = FWorkingPeriods.emplace_back();
    TReader reader(periods.Element());
    while (reader.Next(name)) {
      if (name == "DayOfWeek") reader.Read(period.DayOfWeek);
      if (name == "StartTimeInMinutes") reader.Read(period.StartTimeInMinutes);
      if (name == "EndTimeInMinutes") reader.Read(period.EndTimeInMinutes);
    }
  }
}

void TVqEWSUserWorkingHours::DescribeMembers(TVqRecordVisitor& AVisitor) {
  AVisitor.Member("TimeZone", FTimeZone);
  AVisitor.List("WorkingPeriod", FWorkingPeriods);
}

// ---- TVqEWSUserAvailability

TVqEWSUserAvailability::TVqEWSUserAvailability(const string& AMailbox, const IVqDOMElement& AFreeBusyViewElm)
    : FError(AFreeBusyViewElm.SelectSingleElement("ResponseMessage/ResponseCode", kSelectQuiet).GetText()),
      FHasError(AFreeBusyViewElm.SelectSingleElement("ResponseMessage", kSelectQuiet).GetAttribute("ResponseClass") !=
                "Success"),
      FEMail(AMailbox) {
  const IVqDOMElement view = AFreeBusyViewElm.SelectSingleElement("FreeBusyView", kSelectQuiet);
  FWorkingHours = TVqEWSUserWorkingHours(view.SelectSingleElement("WorkingHours", kSelectQuiet));
  FMergedFreeBusy = view.SelectSingleElement("MergedFreeBusy", kSelectQuiet).GetText();
  const TVqDOMElementList events = view.CreateElementList("CalendarEventArray/CalendarEvent", kSelectQuiet);
  FEvents.reserve(static_cast<std::size_t>(events.Count()));
  for (const IVqDOMElement& event : events) FEvents.emplace_back(event);
}

}  // namespace velmore
