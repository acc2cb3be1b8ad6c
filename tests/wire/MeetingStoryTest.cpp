// A meeting as the mailboxes of all who take part live it, from the first invitation to the last cancellation: in both
// forms of requests, and with a server that wants the other one, on servers of several versions.

#include <set>
#include <tuple>

#include "tests/wire/CalendarTestSupport.h"

namespace velmore::testing {
namespace {

enum class Form { own, schema, healing };

simulator::Options ManyUsers(const std::string& version, Form form) {
  simulator::Options options = TwoUsers(version);
  options.accept_departures = form == Form::own;
  for (const char* name : {"carol", "dan", "eve"})
    options.users.push_back({name, std::string(name) + "@example.com", name, "pw"});
  return options;
}

/// One of those who take part, with a session of his own.
class Person {
 public:
  Person(simulator::Simulator& server, const std::string& name, const std::string& password, Form form) : FName(name) {
    FSession.SetServiceUrl(server.HttpUrl());
    FSession.GetCredentials().SetUserName(name);
    FSession.GetCredentials().SetPassword(password);
    FSession.SetStrictSchema(form == Form::schema);
    FSession.SetSchemaFallback(form == Form::healing);
    FSession.SetActive(true);
    FStore = FSession.OpenDefaultMsgStore();
  }

  const std::string& Name() const { return FName; }
  TVqEWSServiceSession& Session() { return FSession; }
  TVqRef<IVqEWSCalendarFolder> Calendar() {
    return Supports<IVqEWSCalendarFolder>(FStore->GetFolder(dfincalendar, ""));
  }
  TVqRef<IVqEWSCalendarItem> Open(const TItemId& id) { return Supports<IVqEWSCalendarItem>(FStore->GetItem(id)); }
  /// The only item of the calendar, a series as its master.
  TVqRef<IVqEWSCalendarItem> Entry() {
    const auto items = Calendar()->GetItems();
    items->Open();
    EXPECT_EQ(items->Count(), 1) << FName;
    return items->Eof() ? TVqRef<IVqEWSCalendarItem>() : Open(items->GetItemId());
  }
  /// What a month shows: "16T09:00 23T10:00".
  std::string March() {
    const auto view = Calendar()->GetCalendarView(VqEncodeDate(2026, 3, 1), VqEncodeDate(2026, 4, 15), 100);
    view->GetFields().Add(FLD_CALENDAR_START);
    std::string text;
    for (view->Open(); !view->Eof(); view->Next()) {
      text += (text.empty() ? "" : " ") +
              VqDateTimeToXML(view->FieldByName(FLD_CALENDAR_START).GetAsDateTime()).utf8().substr(5, 11);
    }
    return text;
  }
  /// Classes of the messages in a folder, those that came last first, since the last call.
  Names News(TDistinguishedFolderIdName folder = dfininbox) {
    const auto items = FStore->GetFolder(folder, "")->GetItems();
    items->GetFields().Add(FLD_ITEM_ITEMCLASS);
    Names classes;
    for (items->Open(); !items->Eof(); items->Next()) {
      if (FSeen.insert(items->GetItemId().Id.utf8()).second)
        classes.push_back(items->FieldByName(FLD_ITEM_ITEMCLASS).GetAsString().utf8());
    }
    return classes;
  }
  TVqRef<IVqEWSRecipients> List(const Names& names) {
    const auto list = FSession.CreateRecipients();
    for (const std::string& name : names) list->AddMailbox(name, name + "@example.com");
    return list;
  }

 private:
  std::string FName;
  TVqEWSServiceSession FSession;
  TVqRef<IVqEWSMsgStore> FStore;
  std::set<std::string> FSeen;
};

const Names kRequest = {"IPM.Schedule.Meeting.Request"};
const Names kCancelled = {"IPM.Schedule.Meeting.Canceled"};

class MeetingStory : public EWSTest, public ::testing::WithParamInterface<std::tuple<std::string, Form>> {
 protected:
  MeetingStory() : EWSTest(ManyUsers(std::get<0>(GetParam()), std::get<1>(GetParam()))) {}

  Form Wire() const { return std::get<1>(GetParam()); }
  /// "bob=Accept carol=Unknown"
  static std::string Tracking(IVqEWSCalendarItem& meeting) {
    std::string text;
    for (TEwsAttendee& attendee : meeting.GetRequiredAttendees().GetAttendee()) {
      const std::string address = attendee.GetMailbox().GetEmailAddress().utf8();
      text += (text.empty() ? "" : " ") + address.substr(0, address.find('@')) + "=" +
              VqEnumToText(attendee.GetResponseType()).utf8();
    }
    return text;
  }
  static void Answer(IVqEWSCalendarItem& entry, TVqEWSMeetingResponseAction action, const string& text) {
    const auto answer = entry.CreateMeetingResponse(action);
    answer->GetBody().SetBodyType(btText);
    answer->GetBody().SetValue(text);
    answer->Submit(mdpSendAndSaveCopy);
  }

  Person Alice{Server(), "alice", "wonder", Wire()}, Bob{Server(), "bob", "builder", Wire()},
      Carol{Server(), "carol", "pw", Wire()}, Dan{Server(), "dan", "pw", Wire()}, Eve{Server(), "eve", "pw", Wire()};
};

TEST_P(MeetingStory, FromTheInvitationToTheCancellation) {
  // Mondays at 10 in Berlin, whose clocks change on the 29th.
  auto meeting = Supports<IVqEWSCalendarItem>(Alice.Calendar()->CreateItem(tCalendarItem));
  meeting->SetSubject("Planning & <more>");
  meeting->SetStartInZone(VqEncodeDateTime({2026, 3, 16, 10, 0}), "W. Europe Standard Time");
  meeting->SetEndInZone(VqEncodeDateTime({2026, 3, 16, 11, 0}), "W. Europe Standard Time");
  meeting->GetRecurrence().GetWeeklyRecurrence().SetInterval(1);
  meeting->GetRecurrence().GetWeeklyRecurrence().SetDaysOfWeek({dowMonday});
  meeting->GetRecurrence().GetNumberedRecurrence().SetStartDate(VqEncodeDate(2026, 3, 16));
  meeting->GetRecurrence().GetNumberedRecurrence().SetNumberOfOccurrences(4);
  meeting->ModifyRequiredAttendees(Alice.List({"bob", "carol", "dan"}));
  meeting->SaveMeeting(soAutoResolve, smiocSendToAllAndSaveCopy);
  EXPECT_TRUE(meeting->GetMeetingRequestWasSent());
  EXPECT_TRUE(meeting->GetIsMeeting());
  const std::string kMonth = "03-16T09:00 03-23T09:00 03-30T08:00 04-06T08:00";
  for (Person* person : {&Alice, &Bob, &Carol, &Dan}) EXPECT_EQ(person->March(), kMonth) << person->Name();
  for (Person* person : {&Bob, &Carol, &Dan}) EXPECT_EQ(person->News(), kRequest) << person->Name();
  EXPECT_EQ(Alice.News(dfinsentitems), kRequest);
  EXPECT_EQ(Bob.Entry()->GetMyResponseType(), rtNoResponseReceived);
  EXPECT_EQ(Bob.Entry()->GetCalendarItemType(), citRecurringMaster);

  // One accepts, one declines, one proposes another time, which old servers do not know.
  const auto entry = Bob.Entry();
  Answer(*entry, raAccept, "Gladly & soon");
  EXPECT_EQ(Bob.Entry()->GetMyResponseType(), rtAccept);
  entry->SetReminderMinutesBeforeStart(5);
  entry->SaveChanges(soNeverOverwrite);  // its change key went on with the answer
  EXPECT_EQ(Bob.Entry()->GetReminderMinutesBeforeStart(), 5);
  Answer(*Carol.Entry(), raDecline, "Alas");
  EXPECT_EQ(Carol.March(), "");
  const bool proposes = Dan.Session().GetServerVersion() >= Exchange2013;
  const TDateTime proposed = VqEncodeDateTime({2026, 3, 16, 13, 0});
  {
    const auto answer = Dan.Entry()->CreateMeetingResponse(raTentativelyAccept);
    if (Wire() != Form::own) answer->SetSensitivity(scPrivate);  // a property that no server takes in that form
    if (proposes) {
      answer->SetProposedStart(proposed);
      answer->SetProposedEnd(proposed + 1.0 / 24);
    }
    answer->Submit(mdbSendOnly);
  }
  EXPECT_EQ(Alice.News().size(), 3u);
  meeting = Alice.Open(meeting->GetID());
  EXPECT_EQ(Tracking(*meeting), "bob=Accept carol=Decline dan=Tentative");
  if (proposes) {
    EXPECT_EQ(meeting->GetRequiredAttendees().GetAttendee().GetItem(2).GetProposedStart(), proposed);
  }

  // One occurrence is moved, with a notice.
  const auto second = meeting->GetOccurrence(2);
  second->SetStartInZone(VqEncodeDateTime({2026, 3, 24, 15, 0}), "W. Europe Standard Time");
  second->SetEndInZone(VqEncodeDateTime({2026, 3, 24, 16, 0}), "W. Europe Standard Time");
  second->SaveMeeting(soAutoResolve, smiocSendToAllAndSaveCopy);
  const std::string kMoved = "03-16T09:00 03-24T14:00 03-30T08:00 04-06T08:00";
  EXPECT_EQ(Alice.March(), kMoved);
  EXPECT_EQ(Bob.March(), kMoved);
  EXPECT_EQ(Bob.News(), kRequest);

  // The way back from it to the series.
  meeting = Alice.Open(meeting->GetID());
  const auto moved = meeting->GetOccurrence(2);
  EXPECT_EQ(moved->GetCalendarItemType(), citException);
  const auto master = moved->GetRecurringMaster();
  EXPECT_EQ(master->GetID().Id, meeting->GetID().Id);
  const auto bobsMaster = Bob.Entry()->GetOccurrence(3)->GetRecurringMaster();
  EXPECT_EQ(bobsMaster->GetUID(), meeting->GetUID());
  EXPECT_EQ(bobsMaster->GetID().Id, Bob.Entry()->GetID().Id);

  // One more is invited, and nobody else is bothered.
  for (Person* person : {&Bob, &Carol, &Dan}) person->News();
  meeting->ModifyRequiredAttendees(Alice.List({"bob", "carol", "dan", "eve"}));
  meeting->SaveMeeting(soAutoResolve, smiocSendOnlyToChanged);
  EXPECT_EQ(Eve.News().front(), kRequest.front());
  EXPECT_EQ(Eve.March().substr(0, 11), kMoved.substr(0, 11));
  for (Person* person : {&Bob, &Carol, &Dan}) EXPECT_EQ(person->News(), Names()) << person->Name();
  EXPECT_EQ(Tracking(*Alice.Open(meeting->GetID())), "bob=Accept carol=Decline dan=Tentative eve=Unknown");

  // One occurrence is cancelled.
  Alice.Calendar()->DeleteMeeting(Alice.Open(meeting->GetID())->GetOccurrence(3)->GetID(), dtMoveToDeletedItems,
                                  smiocSendToAllAndSaveCopy);
  EXPECT_EQ(Alice.March(), "03-16T09:00 03-24T14:00 04-06T08:00");
  EXPECT_EQ(Bob.News(), kCancelled);

  // Then all of them.
  Eve.News();
  Alice.Calendar()->DeleteMeeting(meeting->GetID(), dtMoveToDeletedItems, smiocSendToAllAndSaveCopy);
  EXPECT_EQ(Alice.March(), "");
  EXPECT_EQ(Bob.News(), kCancelled);
  EXPECT_EQ(Eve.News(), kCancelled);
  EXPECT_TRUE(Bob.Entry()->GetIsCancelled());
}

/// Each value, and who hears of what: one who stays, one who comes, one who goes.
TEST_P(MeetingStory, EachNoticeReachesWhomItIsFor) {
  struct TCase {
    TSendMeetingInvitationsOrCancellations Notice;
    bool Saved, Stays, Changed, Copy;
  };
  for (const TCase& row : {TCase{smiocSendToNone, false, false, false, false},
                           {smiocSendOnlyToAll, true, true, true, false},
                           {smiocSendToAllAndSaveCopy, true, true, true, true},
                           {smiocSendOnlyToChanged, true, false, true, false},
                           {smiocSendToChangedAndSaveCopy, true, false, true, true}}) {
    SCOPED_TRACE(VqEnumToText(row.Notice).utf8());
    const auto meeting = Supports<IVqEWSCalendarItem>(Alice.Calendar()->CreateItem(tCalendarItem));
    meeting->SetSubject("Planning");
    meeting->SetStartDateTime(VqEncodeDateTime({2026, 3, 16, 10, 0}));
    meeting->SetEndDateTime(VqEncodeDateTime({2026, 3, 16, 11, 0}));
    meeting->ModifyRequiredAttendees(Alice.List({"bob", "carol"}));
    meeting->SaveMeeting(soAutoResolve, smiocSendToAllAndSaveCopy);
    for (Person* person : {&Bob, &Carol, &Dan}) person->News();
    Alice.News(dfinsentitems);

    meeting->ModifyRequiredAttendees(Alice.List({"bob", "dan"}));
    meeting->SaveMeeting(soAutoResolve, row.Notice);
    EXPECT_EQ(Tracking(*Alice.Open(meeting->GetID())),
              row.Saved ? "bob=Unknown dan=Unknown" : "bob=Unknown carol=Unknown");
    EXPECT_EQ(Bob.News().size(), row.Stays ? 1u : 0u);
    EXPECT_EQ(Carol.News(), row.Changed ? kCancelled : Names());
    EXPECT_EQ(Dan.News(), row.Changed ? kRequest : Names());
    EXPECT_EQ(!Alice.News(dfinsentitems).empty(), row.Copy);
  }
}

std::string NameOf(const ::testing::TestParamInfo<std::tuple<std::string, Form>>& test) {
  static const char* const kForms[] = {"Own", "Schema", "Healing"};
  return std::get<0>(test.param) + kForms[static_cast<int>(std::get<1>(test.param))];
}

INSTANTIATE_TEST_SUITE_P(FormsAndVersions, MeetingStory,
                         ::testing::Combine(::testing::Values("Exchange2007_SP1", "Exchange2010", "Exchange2013",
                                                              "Exchange2016"),
                                            ::testing::Values(Form::own, Form::schema, Form::healing)),
                         NameOf);

}  // namespace
}  // namespace velmore::testing
