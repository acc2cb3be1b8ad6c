#pragma once

// What the tests of the calendar share: appointments in Alice's mailbox, meetings whose notices are answered by hand,
// times.

#include "ews/items/uVqEWSMessageEx.h"
#include "platform/common/uVqDateTimeUtils.h"
#include "platform/os/uVqTimeZone.h"
#include "platform/xml/uVqXMLUtils.h"
#include "tests/wire/SaveTestSupport.h"

namespace velmore::testing {

class CalendarTest : public SaveTest {
 protected:
  using SaveTest::SaveTest;

  TVqRef<IVqEWSCalendarItem> NewAppointment() {
    return Supports<IVqEWSCalendarItem>(Folder(dfincalendar)->CreateItem(tCalendarItem));
  }
  TVqRef<IVqEWSCalendarItem> Open(const TItemId& id) { return Supports<IVqEWSCalendarItem>(Store().GetItem(id)); }
  /// An appointment of one hour on 2 March 2026 with these members, on the server.
  TItemId Add(const std::string& members) {
    return AddItem("calendar",
                   "<t:CalendarItem><t:Subject>Planning</t:Subject><t:Start>2026-03-02T09:00:00Z</t:Start>"
                   "<t:End>2026-03-02T10:00:00Z</t:End>" +
                       members + "</t:CalendarItem>");
  }
  TVqRef<IVqEWSCalendarItem> Appointment(const std::string& members = {}) { return Open(Add(members)); }

  /// A daily series from 2 March 2026, without an end.
  static constexpr const char* kDaily =
      "<t:Recurrence><t:DailyRecurrence><t:Interval>1</t:Interval></t:DailyRecurrence><t:NoEndRecurrence>"
      "<t:StartDate>2026-03-02</t:StartDate></t:NoEndRecurrence></t:Recurrence>";

  static std::string AttendeeXml(const std::string& address, const std::string& more = {}) {
    return "<t:Attendee><t:Mailbox><t:EmailAddress>" + address + "</t:EmailAddress></t:Mailbox>" + more +
           "</t:Attendee>";
  }
  static std::string Required(const std::string& attendees) {
    return "<t:RequiredAttendees>" + attendees + "</t:RequiredAttendees>";
  }
  static std::string Optional(const std::string& attendees) {
    return "<t:OptionalAttendees>" + attendees + "</t:OptionalAttendees>";
  }
  /// The addresses of a list of attendees, "a@example.com b@example.com".
  static std::string AddressesOf(TEwsNonEmptyArrayOfAttendees& attendees) {
    std::string text;
    for (TEwsAttendee& attendee : attendees.GetAttendee())
      text += (text.empty() ? "" : " ") + attendee.GetMailbox().GetEmailAddress().utf8();
    return text;
  }
  TVqRef<IVqEWSRecipients> Recipients(const Names& addresses) {
    const auto list = Session().CreateRecipients();
    for (const std::string& address : addresses) list->AddMailbox("", address);
    return list;
  }

  /// An attribute of the last request of an operation.
  std::string Attribute(const std::string& operation, const std::string& name) {
    return VqCreateDOM(LastExchange(operation).request_body)
        .SelectSingleElement("/Envelope/Body/" + operation, kSelectRequired)
        .GetAttribute(name)
        .utf8();
  }
  static TDateTime At(const std::string& text) { return VqXMLToDateTime(text); }
  static std::string TextOf(TDateTime value) { return VqDateTimeToXML(value, kVqTimeZoneUtc).utf8(); }
};

}  // namespace velmore::testing
