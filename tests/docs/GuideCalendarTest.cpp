// The code of the pages on the calendar, on time zones and on meetings, run. A page shows a test's lines as they stand
// here, comments aside; PagesShowCodeThatIsTested compares them.

#include <gtest/gtest.h>

#include <iostream>
#include <sstream>

#include "ews/VelmoreEWS.h"
#include "ews/schema/uVqEWSPropsFLD.h"
#include "platform/common/uVqDateTimeUtils.h"
#include "platform/os/uVqTimeZone.h"
#include "tests/wire/MailboxTestSupport.h"

using namespace velmore;

namespace velmore::testing {
namespace {

simulator::Options Careful() {
  simulator::Options options = TwoUsers();
  options.accept_departures = false;  // what the guide teaches works with every server, without a setting
  return options;
}

class GuideCalendar : public MailboxTest {
 protected:
  GuideCalendar() : MailboxTest(Careful()) {}

  TVqRef<IVqEWSCalendarItem> Weekly() {
    const auto calendar = Folder(dfincalendar);
    auto standUp = Supports<IVqEWSCalendarItem>(calendar->CreateItem(tCalendarItem));
    standUp->SetSubject("Stand-up");
    standUp->SetStartInZone(VqEncodeDateTime({2026, 3, 2, 9, 30}), "W. Europe Standard Time");
    standUp->SetEndInZone(VqEncodeDateTime({2026, 3, 2, 9, 45}), "W. Europe Standard Time");
    TEwsRecurrence& recurrence = standUp->GetRecurrence();
    recurrence.GetWeeklyRecurrence().SetInterval(1);
    recurrence.GetWeeklyRecurrence().SetDaysOfWeek({dowMonday, dowThursday});
    recurrence.GetNumberedRecurrence().SetStartDate(VqEncodeDate(2026, 3, 2));
    recurrence.GetNumberedRecurrence().SetNumberOfOccurrences(20);
    standUp->SaveChanges(soAutoResolve);
    return standUp;
  }
};

TEST_F(GuideCalendar, AnAppointment) {
  const TVqRef<IVqEWSMsgStore> store = Session().OpenDefaultMsgStore();

  auto calendar = store->GetFolder(dfincalendar, "");
  auto dentist = Supports<IVqEWSCalendarItem>(calendar->CreateItem(tCalendarItem));
  dentist->SetSubject("Dentist");
  dentist->SetLocation("Main Street 5");
  dentist->SetStartInZone(VqEncodeDateTime({2026, 7, 6, 10, 0}), "W. Europe Standard Time");
  dentist->SetEndInZone(VqEncodeDateTime({2026, 7, 6, 10, 45}), "W. Europe Standard Time");
  dentist->SetLegacyFreeBusyStatus(lfbOOF);
  dentist->SaveChanges(soAutoResolve);

  EXPECT_EQ(VqDecodeDateTime(dentist->GetStartDateTime()), (TVqDateTimeParts{2026, 7, 6, 8, 0}));
}

TEST_F(GuideCalendar, AWeek) {
  Weekly();
  const TVqRef<IVqEWSMsgStore> store = Session().OpenDefaultMsgStore();
  std::ostringstream out;

  auto calendar = Supports<IVqEWSCalendarFolder>(store->GetFolder(dfincalendar, ""));
  auto week = calendar->GetCalendarView(VqEncodeDate(2026, 3, 2), VqEncodeDate(2026, 3, 9), 1000);
  week->GetFields().Add(FLD_ITEM_SUBJECT);
  week->GetFields().Add(FLD_CALENDAR_START);
  for (week->Open(); !week->Eof(); week->Next()) {
    const TVqDateTimeParts start = VqDecodeDateTime(week->FieldByName(FLD_CALENDAR_START).GetAsDateTime());
    out << start.Day << ". " << start.Hour << ':' << start.Minute << ' '
        << week->FieldByName(FLD_ITEM_SUBJECT).GetAsString() << '\n';
  }

  EXPECT_EQ(out.str(), "2. 8:30 Stand-up\n5. 8:30 Stand-up\n");
}

TEST_F(GuideCalendar, ASeries) {
  const auto calendar = Folder(dfincalendar);
  const TVqRef<IVqEWSMsgStore> store = Session().OpenDefaultMsgStore();

  auto standUp = Supports<IVqEWSCalendarItem>(calendar->CreateItem(tCalendarItem));
  standUp->SetSubject("Stand-up");
  standUp->SetStartInZone(VqEncodeDateTime({2026, 3, 2, 9, 30}), "W. Europe Standard Time");
  standUp->SetEndInZone(VqEncodeDateTime({2026, 3, 2, 9, 45}), "W. Europe Standard Time");
  TEwsRecurrence& recurrence = standUp->GetRecurrence();
  recurrence.GetWeeklyRecurrence().SetInterval(1);
  recurrence.GetWeeklyRecurrence().SetDaysOfWeek({dowMonday, dowThursday});
  recurrence.GetNumberedRecurrence().SetStartDate(VqEncodeDate(2026, 3, 2));
  recurrence.GetNumberedRecurrence().SetNumberOfOccurrences(20);
  standUp->SaveChanges(soAutoResolve);

  auto third = standUp->GetOccurrence(3);
  third->SetLocation("Room 2");
  third->SaveChanges(soAutoResolve);

  EXPECT_EQ(standUp->GetOccurrence(3)->GetLocation(), "Room 2");
  EXPECT_EQ(standUp->GetOccurrence(3)->GetCalendarItemType(), citException);

  standUp = Supports<IVqEWSCalendarItem>(store->GetItem(standUp->GetID()));
  standUp->GetRecurrence().RemoveNode("t:WeeklyRecurrence");
  standUp->GetRecurrence().GetDailyRecurrence().SetInterval(1);
  standUp->SaveChanges(soAutoResolve);

  EXPECT_EQ(standUp->GetRecurrence().GetRecurrenceType(), rDailyRecurrence);

  standUp->GetRecurrence().AsElement().RemoveAllChildren();
  standUp->SaveChanges(soAutoResolve);

  EXPECT_EQ(standUp->GetCalendarItemType(), citSingle);
}

TEST_F(GuideCalendar, WholeDays) {
  auto holiday = Supports<IVqEWSCalendarItem>(Folder(dfincalendar)->CreateItem(tCalendarItem));
  holiday->SetSubject("Holiday");

  holiday->SetWholeDays(VqEncodeDate(2026, 7, 6), 5, "W. Europe Standard Time");

  holiday->SaveChanges(soAutoResolve);
  EXPECT_EQ(VqDecodeDateTime(holiday->GetStartDateTime()), (TVqDateTimeParts{2026, 7, 5, 22, 0}));
  EXPECT_EQ(VqDecodeDateTime(holiday->GetEndDateTime()), (TVqDateTimeParts{2026, 7, 10, 22, 0}));
}

TEST_F(GuideCalendar, TimesOfZones) {
  auto call = Supports<IVqEWSCalendarItem>(Folder(dfincalendar)->CreateItem(tCalendarItem));

  call->SetTimezoneStartDateTime(VqEncodeDateTime({2026, 7, 6, 10, 0}), "W. Europe Standard Time");  // 9:00 UTC
  call->SetStartInZone(VqEncodeDateTime({2026, 7, 6, 10, 0}), "W. Europe Standard Time");            // 8:00 UTC

  EXPECT_EQ(VqDecodeDateTime(call->GetStartDateTime()), (TVqDateTimeParts{2026, 7, 6, 8, 0}));

  const string zone = VqIanaTimeZoneOf("Eastern Standard Time");
  const TDateTime local = call->GetStartDateTime() + VqUtcOffsetMinutes(zone, call->GetStartDateTime()) / 1440.0;

  EXPECT_EQ(VqDecodeDateTime(local), (TVqDateTimeParts{2026, 7, 6, 4, 0}));
}

// ---- Meetings

void Invite(TVqEWSServiceSession& session, IVqEWSFolder& calendar) {
  auto meeting = Supports<IVqEWSCalendarItem>(calendar.CreateItem(tCalendarItem));
  meeting->SetSubject("Planning");
  meeting->SetStartInZone(VqEncodeDateTime({2026, 7, 6, 10, 0}), "W. Europe Standard Time");
  meeting->SetEndInZone(VqEncodeDateTime({2026, 7, 6, 11, 0}), "W. Europe Standard Time");
  auto guests = session.CreateRecipients();
  guests->AddMailbox("Bob Birch", "bob@example.com");
  meeting->ModifyRequiredAttendees(guests);
  meeting->SaveMeeting(soAutoResolve, smiocSendToAllAndSaveCopy);
}

void Answer(const TVqRef<IVqEWSCalendarItem>& invitation) {
  auto answer = invitation->CreateMeetingResponse(raTentativelyAccept);
  answer->GetBody().SetBodyType(btText);
  answer->GetBody().SetValue("Could we start an hour later?");
  answer->SetProposedStart(invitation->GetStartDateTime() + 1.0 / 24);
  answer->SetProposedEnd(invitation->GetEndDateTime() + 1.0 / 24);
  answer->Submit(mdpSendAndSaveCopy);
}

TEST_F(GuideCalendar, AnInvitationAndItsAnswer) {
  Invite(Session(), *Folder(dfincalendar));

  TVqEWSServiceSession bobs;
  bobs.SetServiceUrl(Server().HttpUrl());
  bobs.GetCredentials().SetUserName("bob");
  bobs.GetCredentials().SetPassword("builder");
  bobs.SetActive(true);
  const auto store = bobs.OpenDefaultMsgStore();
  const auto entries = store->GetFolder(dfincalendar, "")->GetItems();
  entries->Open();
  ASSERT_FALSE(entries->Eof());
  const auto invitation = Supports<IVqEWSCalendarItem>(store->GetItem(entries->GetItemId()));
  EXPECT_EQ(invitation->GetSubject(), "Planning");
  Answer(invitation);

  const auto own = Folder(dfincalendar)->GetItems();
  own->Open();
  const auto meeting = Supports<IVqEWSCalendarItem>(Store().GetItem(own->GetItemId()));
  TEwsAttendee& bob = meeting->GetRequiredAttendees().GetAttendee().GetItem(0);
  EXPECT_EQ(bob.GetResponseType(), rtTentative);
  EXPECT_EQ(VqDecodeDateTime(bob.GetProposedStart()), (TVqDateTimeParts{2026, 7, 6, 9, 0}));
}

TEST_F(GuideCalendar, AttendeesWithoutANotice) {
  const auto meeting = Supports<IVqEWSCalendarItem>(Folder(dfincalendar)->CreateItem(tCalendarItem));
  meeting->SetSubject("Planning");
  meeting->SetStartDateTime(VqEncodeDateTime({2026, 7, 6, 8, 0}));
  meeting->SetEndDateTime(VqEncodeDateTime({2026, 7, 6, 9, 0}));
  meeting->SaveChanges(soAutoResolve);
  const auto guests = Session().CreateRecipients();
  guests->AddMailbox("Bob Birch", "bob@example.com");

  meeting->ModifyOptionalAttendees(guests);
  meeting->SaveMeeting(soAutoResolve, smiocSendToNone);  // drops them
  meeting->ModifyOptionalAttendees(guests);
  meeting->SaveChanges(soAutoResolve);  // writes them

  EXPECT_EQ(meeting->GetOptionalAttendees().GetAttendee().Count(), 1);
}

}  // namespace
}  // namespace velmore::testing
