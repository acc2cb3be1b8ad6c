// The session's services that need no store: free and busy times, and mail tips.

#include "ews/model/internal/uVqEWSCall.h"
#include "ews/session/uVqEWS.h"
#include "platform/common/uVqDateTimeUtils.h"
#include "platform/common/uVqSerializer.h"
#include "platform/os/uVqTimeZone.h"
#include "platform/xml/uVqXMLUtils.h"

namespace velmore {
namespace {

/// One of the two changes of a zone. The number of the weekday in its month is that of `AOrder`'s day.
void AddChange(const IVqDOMElement& change, std::int32_t bias, TDateTime date, TDateTime order) {
  const TVqDateTimeParts parts = VqDecodeDateTime(date);
  change.AddElement("t:Bias").SetAsInteger(bias);
  change.AddElement("t:Time").SetText(VqTimeToXML(VqTimeOf(date), kVqTimeZoneNone));
  change.AddElement("t:DayOrder").SetAsInteger((VqDecodeDateTime(order).Day - 1) / 7 + 1);
  change.AddElement("t:Month").SetAsInteger(parts.Month);
  change.AddElement("t:DayOfWeek").SetText(VqEnumToText(static_cast<TDayOfWeek>(VqDayOfWeek(date))));
}

/// A change that never comes.
void AddNoChange(const IVqDOMElement& change, const char* time) {
  change.AddElement("t:Bias").SetAsInteger(0);
  change.AddElement("t:Time").SetText(time);
  change.AddElement("t:DayOrder").SetAsInteger(5);
  change.AddElement("t:Month").SetAsInteger(0);
  change.AddElement("t:DayOfWeek").SetText("Sunday");
}

/// The machine's zone in the library's own form, which is odd on purpose: the bias is in hours and has the sign of the
/// offset, though the schema speaks of minutes the other way round; the day of the change to standard time is counted
/// as that of the change to daylight saving; and a zone that has none puts both into `t:StandardTime`. See
/// uVqEWSWireForm.h for the form that servers understand.
void AddTimeZone(const IVqDOMElement& zone) {
  const TVqTimeZoneInfo info = VqTimeZoneInfo();
  zone.AddElement("t:Bias").SetAsInteger(VqMachineTimeZone().CurrentOffset / 60);
  const IVqDOMElement standard = zone.AddElement("t:StandardTime");
  const IVqDOMElement daylight = zone.AddElement("t:DaylightTime");
  if (info.StandardDate == TDateTime(0)) {
    AddNoChange(standard, "03:00:00");
  } else {
    AddChange(standard, 0, info.StandardDate, info.DaylightDate);
  }
  if (info.DaylightDate == TDateTime(0)) {
    AddNoChange(standard, "02:00:00");
  } else {
    AddChange(daylight, info.DaylightBias, info.DaylightDate, info.DaylightDate);
  }
}

}  // namespace

TVqRef<IVqEWSUserAvailability> TVqEWSCustomSession::GetUserAvailibility(const TVqEWSMailboxData& AMailboxData,
                                                                        TDateTime AStartTime, TDateTime AEndTime,
                                                                        std::int32_t AMergedFreeBusyIntervalInMinutes,
                                                                        TVqEWSFreeBusyViewType ARequestedView) {
  return GetUserAvailibility(std::span(&AMailboxData, 1), AStartTime, AEndTime, AMergedFreeBusyIntervalInMinutes,
                             ARequestedView)
      .front();
}

std::vector<TVqRef<IVqEWSUserAvailability>> TVqEWSCustomSession::GetUserAvailibility(
    const std::list<TVqEWSMailboxData>& AMailboxes, TDateTime AStartTime, TDateTime AEndTime,
    std::int32_t AMergedFreeBusyIntervalInMinutes, TVqEWSFreeBusyViewType ARequestedView) {
  return GetUserAvailibility(std::vector<TVqEWSMailboxData>(AMailboxes.begin(), AMailboxes.end()), AStartTime, AEndTime,
                             AMergedFreeBusyIntervalInMinutes, ARequestedView);
}

std::vector<TVqRef<IVqEWSUserAvailability>> TVqEWSCustomSession::GetUserAvailibility(
    std::span<const TVqEWSMailboxData> AMailboxes, TDateTime AStartTime, TDateTime AEndTime,
    std::int32_t AMergedFreeBusyIntervalInMinutes, TVqEWSFreeBusyViewType ARequestedView) {
  TVqEWSCall call(*this, {"GetUserAvailabilityRequest", "m:GetUserAvailabilityResponse", TVqEWSAnswerPath::bare});
  AddTimeZone(call.Add("t:TimeZone"));
  const IVqDOMElement mailboxes = call.Add("m:MailboxDataArray");
  for (const TVqEWSMailboxData& mailbox : AMailboxes) {
    const IVqDOMElement data = mailboxes.AddElement("t:MailboxData");
    data.AddElement("t:Email").AddElement("t:Address").SetText(mailbox.Email);
    data.AddElement("t:AttendeeType").SetText(VqEnumToText(mailbox.AttendeeType));
    data.AddElement("t:ExcludeConflicts").SetAsBoolean(mailbox.ExcludeConflicts);
  }
  const IVqDOMElement options = call.Add("t:FreeBusyViewOptions");
  const IVqDOMElement window = options.AddElement("t:TimeWindow");
  window.AddElement("t:StartTime").SetAsDateTime(AStartTime);
  window.AddElement("t:EndTime").SetAsDateTime(AEndTime);
  options.AddElement("t:MergedFreeBusyIntervalInMinutes").SetAsInteger(AMergedFreeBusyIntervalInMinutes);
  options.AddElement("t:RequestedView").SetText(VqEnumToText(ARequestedView));

  // Not checked for a refusal, on purpose: each result tells its own.
  const TVqDOMElementList responses =
      call.SendUnchecked().CreateElementList("FreeBusyResponseArray/FreeBusyResponse", kSelectQuiet);
  if (static_cast<std::size_t>(responses.Count()) != AMailboxes.size())
    throw EEWSException("The call to GetUserAvailability dit not return info for all requested mailboxes!");
  std::vector<TVqRef<IVqEWSUserAvailability>> results;
  results.reserve(AMailboxes.size());
  for (const TVqEWSMailboxData& mailbox : AMailboxes)
    results.push_back(
        MakeRef<TVqEWSUserAvailability>(mailbox.Email, responses.GetItem(static_cast<std::int32_t>(results.size()))));
  return results;
}

TVqRef<IVqEWSMailTips> TVqEWSCustomSession::GetMailTips(const string& AMailbox) {
  TVqStrings mailboxes;
  mailboxes.Add(AMailbox);
  const std::vector<TVqRef<IVqEWSMailTips>> tips = GetMailTips(mailboxes);
  if (tips.empty()) throw EEWSException(Format("The server gave no mail tips for %s.", {AMailbox}));
  return tips.front();
}

std::vector<TVqRef<IVqEWSMailTips>> TVqEWSCustomSession::GetMailTips(const TVqStrings& AMailboxes) {
  TVqEWSCall call(*this, {"GetMailTips", "m:GetMailTipsResponse", TVqEWSAnswerPath::below});
  const IVqDOMElement sender = call.Add("m:SendingAs");
  sender.AddElement("t:EmailAddress").SetText(OpenDefaultMsgStore()->GetIdentity()->GetEmailAddress());
  sender.AddElement("t:RoutingType").SetText("SMTP");
  const IVqDOMElement recipients = call.Add("m:Recipients");
  for (const string& address : AMailboxes) {
    const IVqDOMElement mailbox = recipients.AddElement("t:Mailbox");
    mailbox.AddElement("t:EmailAddress").SetText(address);
    mailbox.AddElement("t:RoutingType").SetText("SMTP");
  }
  call.Add("m:MailTipsRequested").SetText("All");

  // All or nothing, on purpose: the first refusal ends the call.
  std::vector<TVqRef<IVqEWSMailTips>> tips;
  const IVqDOMElement messages = call.SendAllUnchecked();
  for (const IVqDOMElement& message : messages.CreateElementList("MailTipsResponseMessageType", kSelectQuiet)) {
    const auto at = static_cast<std::int32_t>(tips.size());
    const string code = message.SelectSingleElement("ResponseCode", kSelectQuiet).GetText();
    if (code != "NoError") {
      const string mailbox = at < AMailboxes.Count() ? AMailboxes.GetItem(at) : string();
      throw EEWSException::CreateFmt("Failed to get the mailtips for %s!", {mailbox}, code);
    }
    tips.push_back(MakeRef<TVqEWSMailTips>(message.SelectSingleElement("MailTips", kSelectRequired)));
  }
  return tips;
}

}  // namespace velmore
