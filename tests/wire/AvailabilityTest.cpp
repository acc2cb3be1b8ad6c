// Free and busy times: the request to the byte, in every zone that changes it, and what the answers become.

#include <cstdlib>
#include <ctime>
#include <fstream>

#include "platform/common/uVqDateTimeUtils.h"
#include "platform/xml/uVqXMLUtils.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TestCertificates.h"
#include "tests/wire/MailboxTestSupport.h"

namespace velmore::testing {
namespace {

using Results = std::vector<TVqRef<IVqEWSUserAvailability>>;

const TDateTime kMonday = VqEncodeDate(2026, 3, 2);

/// The zone of the library's own form where it is never put forward.
std::string ZoneWithout(const std::string& bias) {
  return "<t:TimeZone><t:Bias>" + bias +
         "</t:Bias><t:StandardTime><t:Bias>0</t:Bias><t:Time>03:00:00</t:Time><t:DayOrder>5</t:DayOrder><t:Month>0"
         "</t:Month><t:DayOfWeek>Sunday</t:DayOfWeek><t:Bias>0</t:Bias><t:Time>02:00:00</t:Time><t:DayOrder>5"
         "</t:DayOrder><t:Month>0</t:Month><t:DayOfWeek>Sunday</t:DayOfWeek></t:StandardTime><t:DaylightTime/>"
         "</t:TimeZone>";
}
constexpr const char* kUtc =
    "<t:TimeZone><t:Bias>0</t:Bias><t:StandardTime><t:Bias>0</t:Bias><t:Time>00:00:00</t:Time><t:DayOrder>0"
    "</t:DayOrder><t:Month>0</t:Month><t:DayOfWeek>Sunday</t:DayOfWeek></t:StandardTime><t:DaylightTime><t:Bias>0"
    "</t:Bias><t:Time>00:00:00</t:Time><t:DayOrder>0</t:DayOrder><t:Month>0</t:Month><t:DayOfWeek>Sunday"
    "</t:DayOfWeek></t:DaylightTime></t:TimeZone>";

class Availability : public MailboxTest {
 protected:
  explicit Availability(simulator::Options options = WithRights()) : MailboxTest(std::move(options)) {}
  static simulator::Options WithRights() {
    simulator::Options options = TwoUsers();
    options.users.push_back({"carol", "carol@example.com", "Carol Cedar", "cembalo"});
    options.users[2].grants = {{kAlice, "calendar", simulator::Access::kReviewer}};
    options.users[0].work_hours = {"Monday Friday", 540, 1050, -60};
    return options;
  }
  /// In the schema's form, where times are UTC.
  TVqEWSServiceSession& Strict() {
    Session().SetStrictSchema(true);
    return Session();
  }
  std::unique_ptr<TVqEWSServiceSession> As(const char* user, const char* password) {
    auto session = std::make_unique<TVqEWSServiceSession>();
    Configure(*session);
    session->GetCredentials().SetUserName(user);
    session->GetCredentials().SetPassword(password);
    session->SetStrictSchema(true);
    session->SetActive(true);
    return session;
  }
  void AddEvent(const std::string& mailbox, const std::string& subject, const std::string& start,
                const std::string& end, const std::string& more = {}) {
    Server().AddItem(mailbox, "calendar",
                     "<t:CalendarItem><t:Subject>" + subject + "</t:Subject>" +
                         (more.starts_with("<t:Sensitivity") ? more : "") + "<t:Start>" + start + "</t:Start><t:End>" +
                         end + "</t:End>" + (more.starts_with("<t:Sensitivity") ? "" : more) + "</t:CalendarItem>");
  }
  static TVqEWSMailboxData Who(const char* address) { return {address}; }
  /// "subject 09:00-10:00 2;" for each event.
  static std::string EventsOf(IVqEWSUserAvailability& availability) {
    std::string text;
    for (const TVqEWSCalendarEvent& event : availability.GetEvents())
      text += event.GetSubject().utf8() + " " + VqDateTimeToXML(event.GetStartTime()).utf8().substr(5, 11) + "-" +
              VqDateTimeToXML(event.GetEndTime()).utf8().substr(11, 5) + " " +
              VqEnumToText(event.GetBusyType()).utf8() + ";";
    return text;
  }
  /// A reply with these responses.
  static std::string Reply(const std::string& responses) {
    return "<s:Envelope xmlns:s=\"http://schemas.xmlsoap.org/soap/envelope/\"><s:Body><GetUserAvailabilityResponse "
           "xmlns=\"http://schemas.microsoft.com/exchange/services/2006/messages\" "
           "xmlns:t=\"http://schemas.microsoft.com/exchange/services/2006/types\"><FreeBusyResponseArray>" +
           responses + "</FreeBusyResponseArray></GetUserAvailabilityResponse></s:Body></s:Envelope>";
  }
  static std::string Success(const std::string& view) {
    return "<FreeBusyResponse><ResponseMessage ResponseClass=\"Success\"><ResponseCode>NoError</ResponseCode>"
           "</ResponseMessage><FreeBusyView>" +
           view + "</FreeBusyView></FreeBusyResponse>";
  }
  TVqRef<IVqEWSUserAvailability> Answered(const std::string& responses) {
    Session();
    AnswerNext("GetUserAvailabilityRequest", Reply(responses));
    return Session().GetUserAvailibility(Who(kAlice), kMonday, kMonday + 1, 30, fbvtDetailed);
  }
};

// ---- The request

/// Behind the zone.
constexpr const char* kRest =
    "<m:MailboxDataArray><t:MailboxData><t:Email><t:Address>alice@example.com</t:Address></t:Email><t:AttendeeType>"
    "Required</t:AttendeeType><t:ExcludeConflicts>false</t:ExcludeConflicts></t:MailboxData><t:MailboxData><t:Email>"
    "<t:Address>&lt;bob&gt; &amp; \xF0\x9F\x98\x80@example.com</t:Address></t:Email><t:AttendeeType>Room"
    "</t:AttendeeType><t:ExcludeConflicts>true</t:ExcludeConflicts></t:MailboxData></m:MailboxDataArray>"
    "<t:FreeBusyViewOptions><t:TimeWindow><t:StartTime>2026-03-02T00:00:00Z</t:StartTime><t:EndTime>"
    "2026-03-03T12:00:00Z</t:EndTime></t:TimeWindow><t:MergedFreeBusyIntervalInMinutes>30"
    "</t:MergedFreeBusyIntervalInMinutes><t:RequestedView>FreeBusyMerged</t:RequestedView></t:FreeBusyViewOptions>"
    "</m:GetUserAvailabilityRequest>";

/// One of the two changes.
std::string Change(const char* name, int bias, const char* time, unsigned order, unsigned month) {
  const std::string element(name);
  return "<t:" + element + "><t:Bias>" + std::to_string(bias) + "</t:Bias><t:Time>" + time + "</t:Time><t:DayOrder>" +
         std::to_string(order) + "</t:DayOrder><t:Month>" + std::to_string(month) +
         "</t:Month><t:DayOfWeek>Sunday</t:DayOfWeek></t:" + element + ">";
}

struct TZoneRow {
  const char* TZ;
  /// The zone's element, its bias put in by the test; `year` is the present one.
  std::string (*Zone)(std::chrono::year year, const std::string& bias);
};

unsigned DayOf(std::chrono::year_month_weekday_last day) {
  return static_cast<unsigned>(std::chrono::year_month_day(std::chrono::sys_days(day)).day());
}

/// Where the clock is put forward by `minutes` on the last Sunday of March at `forward`, and back in October at `back`.
/// Both days count as that of March: it may be the fourth or the fifth Sunday.
std::string European(std::chrono::year year, const std::string& bias, const char* forward, const char* back) {
  using namespace std::chrono;
  const unsigned order = (DayOf(year / March / Sunday[last]) - 1) / 7 + 1;
  return "<t:TimeZone><t:Bias>" + bias + "</t:Bias>" + Change("StandardTime", 0, back, order, 10) +
         Change("DaylightTime", -60, forward, order, 3) + "</t:TimeZone>";
}
/// The same for the n-th Sundays of two months.
std::string Sundays(const std::string& bias, const char* back, unsigned backMonth, int minutes, const char* forward,
                    unsigned order, unsigned forwardMonth) {
  return "<t:TimeZone><t:Bias>" + bias + "</t:Bias>" + Change("StandardTime", 0, back, order, backMonth) +
         Change("DaylightTime", minutes, forward, order, forwardMonth) + "</t:TimeZone>";
}
unsigned LastSundayOfSeptember(std::chrono::year year) {
  using namespace std::chrono;
  return (DayOf(year / September / Sunday[last]) - 1) / 7 + 1;
}

const TZoneRow kZones[] = {
    {"UTC", [](std::chrono::year, const std::string& bias) { return ZoneWithout(bias); }},
    {"Asia/Kolkata", [](std::chrono::year, const std::string& bias) { return ZoneWithout(bias); }},
    {"America/Phoenix", [](std::chrono::year, const std::string& bias) { return ZoneWithout(bias); }},
    {"Pacific/Kiritimati", [](std::chrono::year, const std::string& bias) { return ZoneWithout(bias); }},
    {"Pacific/Marquesas", [](std::chrono::year, const std::string& bias) { return ZoneWithout(bias); }},
    {"<+0130>-1:30", [](std::chrono::year, const std::string& bias) { return ZoneWithout(bias); }},
    {"<-0030>0:30", [](std::chrono::year, const std::string& bias) { return ZoneWithout(bias); }},
    {"Europe/Berlin",
     [](std::chrono::year year, const std::string& bias) { return European(year, bias, "02:00:00", "03:00:00"); }},
    {"Europe/London",
     [](std::chrono::year year, const std::string& bias) { return European(year, bias, "01:00:00", "02:00:00"); }},
    {"Europe/Dublin",  // some rules have its winter as the odd time
     [](std::chrono::year year, const std::string& bias) { return European(year, bias, "01:00:00", "02:00:00"); }},
    {"CET-1CEST,M3.5.0,M10.5.0/3",
     [](std::chrono::year year, const std::string& bias) { return European(year, bias, "02:00:00", "03:00:00"); }},
    {"America/New_York",
     [](std::chrono::year, const std::string& bias) { return Sundays(bias, "02:00:00", 11, -60, "02:00:00", 2, 3); }},
    {"America/St_Johns",
     [](std::chrono::year, const std::string& bias) { return Sundays(bias, "02:00:00", 11, -60, "02:00:00", 2, 3); }},
    {"Australia/Sydney",
     [](std::chrono::year, const std::string& bias) { return Sundays(bias, "03:00:00", 4, -60, "02:00:00", 1, 10); }},
    {"Australia/Lord_Howe",  // put forward by half an hour
     [](std::chrono::year, const std::string& bias) { return Sundays(bias, "02:00:00", 4, -30, "02:00:00", 1, 10); }},
    {"Pacific/Auckland",
     [](std::chrono::year year, const std::string& bias) {
       return Sundays(bias, "03:00:00", 4, -60, "02:00:00", LastSundayOfSeptember(year), 9);
     }},
};

/// Not a test: what the process of another zone does, see AskFrom.
TEST(AvailabilityOfAnotherZone, DISABLED_IsAsked) {
  const char* const url = std::getenv("VELMORE_ASK_URL");
  if (url == nullptr) GTEST_SKIP() << "only for AvailabilityZones";
  const std::time_t now = std::time(nullptr);
  std::tm local = {};
  ::localtime_r(&now, &local);
  std::ofstream(std::getenv("VELMORE_ASK_HOURS")) << local.tm_gmtoff / 3600;  // toward zero
  TVqEWSServiceSession session;
  session.SetServiceUrl(url);
  session.GetCredentials().SetUserName("alice");
  session.GetCredentials().SetPassword("wonder");
  session.SetActive(true);
  TVqEWSMailboxData room{"<bob> & \xF0\x9F\x98\x80@example.com", atRoom, true};
  session.GetUserAvailibility(std::vector<TVqEWSMailboxData>{{"alice@example.com"}, room}, kMonday, kMonday + 1.5, 30,
                              fbvtFreeBusyMerged);
}

/// Asks from a process of another zone.
void AskFrom(const std::string& url, const std::string& zone, int& hours) {
  const TestFile told("");
  ASSERT_EQ(RunThisProgram({"--gtest_also_run_disabled_tests", "--gtest_brief=1",
                            "--gtest_filter=AvailabilityOfAnotherZone.DISABLED_IsAsked"},
                           {"TZ=" + zone, "VELMORE_ASK_URL=" + url, "VELMORE_ASK_HOURS=" + told.Path()}),
            0);
  std::ifstream(told.Path()) >> hours;
}

class AvailabilityZones : public Availability, public ::testing::WithParamInterface<TZoneRow> {};

TEST_P(AvailabilityZones, OfTheMachineStandInTheRequest) {
  int hours = 99;
  ASSERT_NO_FATAL_FAILURE(AskFrom(Server().HttpUrl(), GetParam().TZ, hours));
  const std::time_t now = std::time(nullptr);
  std::tm utc = {};
  ::gmtime_r(&now, &utc);
  // Nobody runs this within a day of a new year in two zones at once.
  EXPECT_EQ(Request("GetUserAvailabilityRequest"),
            "<m:GetUserAvailabilityRequest>" +
                GetParam().Zone(std::chrono::year(utc.tm_year + 1900), std::to_string(hours)) + kRest);
}
INSTANTIATE_TEST_SUITE_P(All, AvailabilityZones, ::testing::ValuesIn(kZones), [](const auto& row) {
  std::string name = row.param.TZ;
  for (char& c : name) c = std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
  return name + std::to_string(row.index);
});

TEST_F(Availability, TheSchemasFormTellsUtc) {
  TVqEWSMailboxData room{"<bob> & \xF0\x9F\x98\x80@example.com", atRoom, true};
  Strict().GetUserAvailibility(std::vector<TVqEWSMailboxData>{Who(kAlice), room}, kMonday, kMonday + 1.5, 30,
                               fbvtFreeBusyMerged);
  EXPECT_EQ(Request("GetUserAvailabilityRequest"), std::string("<m:GetUserAvailabilityRequest>") + kUtc + kRest);
}

TEST_F(Availability, EveryEnumerationHasItsText) {
  const char* attendees[] = {"Organizer", "Required", "Optional", "Room", "Resource"};
  for (int i = 0; i < 5; ++i) EXPECT_EQ(VqEnumToText(static_cast<TVqEWSAttendeeType>(i)), attendees[i]);
  EXPECT_EQ(VqEnumInfoOf(atRoom).Count, 5);
  const char* views[] = {"None", "MergedOnly", "FreeBusy", "FreeBusyMerged", "Detailed", "DetailedMerged"};
  for (int i = 0; i < 6; ++i) EXPECT_EQ(VqEnumToText(static_cast<TVqEWSFreeBusyViewType>(i)), views[i]);
  EXPECT_EQ(VqEnumInfoOf(fbvtNone).Count, 6);
}

TEST_F(Availability, ThreeFormsSendOneRequest) {
  const std::vector<TVqEWSMailboxData> array = {Who(kAlice), Who(kBob)};
  Strict().GetUserAvailibility(array, kMonday, kMonday + 1, 30, fbvtFreeBusy);
  const std::string sent = Request("GetUserAvailabilityRequest");
  const std::list<TVqEWSMailboxData> list(array.begin(), array.end());
  const Results results = Strict().GetUserAvailibility(list, kMonday, kMonday + 1, 30, fbvtFreeBusy);
  EXPECT_EQ(Request("GetUserAvailabilityRequest"), sent);
  ASSERT_EQ(results.size(), 2u);
  EXPECT_EQ(results[0]->GetEMail(), kAlice);
  EXPECT_EQ(results[1]->GetEMail(), kBob);
  const auto one = Strict().GetUserAvailibility({kBob}, kMonday, kMonday + 1, 30, fbvtFreeBusy);
  EXPECT_EQ(one->GetEMail(), kBob);
  EXPECT_EQ(Requests("GetUserAvailabilityRequest").size(), 3u);
}

// ---- What becomes of a refused form

TEST_F(Availability, AZoneWithoutSummerTimeIsRefusedByServersAndGoesOverToTheSchemasForm) {
  simulator::Options options = WithRights();
  options.accept_departures = false;
  simulator::Simulator strict(options);
  strict.Start();
  int hours = 0;
  ASSERT_NO_FATAL_FAILURE(AskFrom(strict.HttpUrl(), "Asia/Kolkata", hours));
  std::vector<std::string> sent;
  for (const auto& exchange : strict.Exchanges())
    if (exchange.operation == "GetUserAvailabilityRequest") sent.push_back(BodyOf(exchange.request_body));
  ASSERT_EQ(sent.size(), 2u);
  EXPECT_NE(sent[0].find(ZoneWithout("5")), std::string::npos);
  EXPECT_NE(sent[1].find(kUtc), std::string::npos);
}

TEST_F(Availability, BiasOfHoursShiftsWhatAServerTells) {
  AddEvent(kAlice, "Standup", "2026-03-02T09:00:00Z", "2026-03-02T09:15:00Z");
  EXPECT_EQ(EventsOf(*Strict().GetUserAvailibility({kAlice}, kMonday, kMonday + 1, 30, fbvtDetailed)),
            "Standup 03-02T09:00-09:15 Busy;");
  // By default the server reads the hours of the machine's zone as minutes: the guide says so first of all.
  int hours = 0;
  ASSERT_NO_FATAL_FAILURE(AskFrom(Server().HttpUrl(), "Asia/Tokyo", hours));
  EXPECT_EQ(hours, 9);
  const std::string told = LastExchange("GetUserAvailabilityRequest").response_body;
  EXPECT_NE(told.find("<t:StartTime>2026-03-02T08:51:00</t:StartTime>"), std::string::npos) << told;
}

// ---- What a server answers

TEST_F(Availability, ViewsTellWhatWasAskedFor) {
  AddEvent(kAlice, "Standup", "2026-03-02T09:00:00Z", "2026-03-02T09:15:00Z", "<t:Location>Tower</t:Location>");
  AddEvent(kAlice, "Maybe", "2026-03-02T10:00:00Z", "2026-03-02T12:00:00Z",
           "<t:LegacyFreeBusyStatus>Tentative</t:LegacyFreeBusyStatus>");
  AddEvent(kAlice, "Away", "2026-03-02T11:00:00Z", "2026-03-02T11:30:00Z",
           "<t:LegacyFreeBusyStatus>OOF</t:LegacyFreeBusyStatus>");
  AddEvent(kAlice, "Outside", "2026-03-03T00:00:00Z", "2026-03-03T01:00:00Z");
  const auto ask = [&](TVqEWSFreeBusyViewType view, std::int32_t interval = 60) {
    return Strict().GetUserAvailibility({kAlice}, kMonday + 8.0 / 24, kMonday + 14.0 / 24, interval, view);
  };
  const auto merged = ask(fbvtMergedOnly);
  EXPECT_EQ(merged->GetMergedFreeBusy(), "021300");
  EXPECT_TRUE(merged->GetEvents().empty());
  const auto free = ask(fbvtFreeBusy);
  EXPECT_EQ(free->GetMergedFreeBusy(), "");
  EXPECT_EQ(EventsOf(*free), " 03-02T09:00-09:15 Busy; 03-02T10:00-12:00 Tentative; 03-02T11:00-11:30 OOF;");
  EXPECT_FALSE(free->GetEvents()[0].GetHasDetails());
  const auto both = ask(fbvtFreeBusyMerged, 30);
  EXPECT_EQ(both->GetMergedFreeBusy(), "002011310000");
  EXPECT_EQ(both->GetEvents().size(), 3u);
  const auto detailed = ask(fbvtDetailedMerged);
  EXPECT_EQ(detailed->GetMergedFreeBusy(), "021300");
  ASSERT_EQ(detailed->GetEvents().size(), 3u);
  const TVqEWSCalendarEvent& event = detailed->GetEvents()[0];
  EXPECT_TRUE(event.GetHasDetails());
  EXPECT_EQ(event.GetSubject(), "Standup");
  EXPECT_EQ(event.GetLocation(), "Tower");
  EXPECT_FALSE(event.GetID().empty());
  EXPECT_FALSE(event.GetIsMeeting());
  EXPECT_FALSE(event.GetIsPrivate());
  EXPECT_EQ(detailed->GetError(), "NoError");
  EXPECT_FALSE(detailed->GetHasError());
}

TEST_F(Availability, SeriesAreTheirOccurrences) {
  AddEvent(kAlice, "Daily", "2026-03-01T09:00:00Z", "2026-03-01T09:30:00Z",
           "<t:Recurrence><t:DailyRecurrence><t:Interval>1</t:Interval></t:DailyRecurrence><t:NoEndRecurrence>"
           "<t:StartDate>2026-03-01</t:StartDate></t:NoEndRecurrence></t:Recurrence>");
  const auto week = Strict().GetUserAvailibility({kAlice}, kMonday, kMonday + 3, 30, fbvtDetailed);
  EXPECT_EQ(EventsOf(*week), "Daily 03-02T09:00-09:30 Busy;Daily 03-03T09:00-09:30 Busy;Daily 03-04T09:00-09:30 Busy;");
  EXPECT_TRUE(week->GetEvents()[0].GetIsRecurring());
}

TEST_F(Availability, OthersSeeWhatTheyMay) {
  AddEvent(kAlice, "Plan", "2026-03-02T09:00:00Z", "2026-03-02T10:00:00Z");
  AddEvent(kAlice, "Doctor", "2026-03-02T11:00:00Z", "2026-03-02T12:00:00Z", "<t:Sensitivity>Private</t:Sensitivity>");
  const auto bob = As("bob", "builder");  // has no rights
  const auto his = bob->GetUserAvailibility({kAlice}, kMonday, kMonday + 1, 30, fbvtDetailed);
  EXPECT_EQ(EventsOf(*his), " 03-02T09:00-10:00 Busy; 03-02T11:00-12:00 Busy;");
  EXPECT_FALSE(his->GetEvents()[0].GetHasDetails());
  const auto carol = As("carol", "cembalo");  // may read the calendar
  const auto hers = carol->GetUserAvailibility({kAlice}, kMonday, kMonday + 1, 30, fbvtDetailed);
  EXPECT_EQ(EventsOf(*hers), "Plan 03-02T09:00-10:00 Busy; 03-02T11:00-12:00 Busy;");
  EXPECT_TRUE(hers->GetEvents()[1].GetHasDetails());
  EXPECT_TRUE(hers->GetEvents()[1].GetIsPrivate());
  EXPECT_EQ(hers->GetEvents()[1].GetID(), "");
  const auto mine = Strict().GetUserAvailibility({kAlice}, kMonday, kMonday + 1, 30, fbvtDetailed);
  EXPECT_EQ(mine->GetEvents()[1].GetSubject(), "Doctor");
}

TEST_F(Availability, WorkingHoursAreToldWithTheirZone) {
  const auto alice = Strict().GetUserAvailibility({kAlice}, kMonday, kMonday + 1, 30, fbvtFreeBusy);
  const TVqEWSUserWorkingHours& hours = alice->GetWorkingHours();
  ASSERT_EQ(hours.GetWorkingPeriods().size(), 1u);
  EXPECT_EQ(hours.GetWorkingPeriods()[0].DayOfWeek, (TVqEWSDayOfWeekTypes{dowMonday, dowFriday}));
  EXPECT_EQ(hours.GetWorkingPeriods()[0].StartTimeInMinutes, 540);
  EXPECT_EQ(hours.GetWorkingPeriods()[0].EndTimeInMinutes, 1050);
  EXPECT_EQ(hours.GetTimeZone().Bias, -60);
  EXPECT_EQ(hours.GetTimeZone().StandardDate, TDateTime(0));
}

TEST_F(Availability, AListTellsWhenSomebodyInItIsBusy) {
  simulator::Options options = WithRights();
  options.lists = {{"both@example.com", "Both", {kAlice, "inner@example.com"}},
                   {"inner@example.com", "Inner", {kBob, "both@example.com"}}};
  simulator::Simulator server(options);
  server.Start();
  for (const auto& [mailbox, hour] : {std::pair(kAlice, "09"), {kBob, "11"}})
    server.AddItem(mailbox, "calendar",
                   std::string("<t:CalendarItem><t:Start>2026-03-02T") + hour + ":00:00Z</t:Start><t:End>2026-03-02T" +
                       hour + ":30:00Z</t:End></t:CalendarItem>");
  TVqEWSServiceSession session;
  Configure(session);
  session.SetServiceUrl(server.HttpUrl());
  session.SetStrictSchema(true);
  session.SetActive(true);
  const auto both = session.GetUserAvailibility({"both@example.com"}, kMonday + 8.0 / 24, kMonday + 12.0 / 24, 60,
                                                fbvtDetailedMerged);
  EXPECT_EQ(both->GetMergedFreeBusy(), "0202");
  EXPECT_TRUE(both->GetEvents().empty());
}

// ---- What is refused

TEST_F(Availability, AMailboxThatIsRefusedIsAResultWithItsCode) {
  const char* addresses[] = {kAlice, "nobody@example.com", kBob, "x", "carol@example.com"};
  std::vector<TVqEWSMailboxData> who;
  for (const char* address : addresses) who.push_back(Who(address));
  const Results results = Strict().GetUserAvailibility(who, kMonday, kMonday + 1, 30, fbvtFreeBusy);
  ASSERT_EQ(results.size(), 5u);
  for (std::size_t i = 0; i < 5; ++i) {
    const bool refused = i == 1 || i == 3;
    EXPECT_EQ(results[i]->GetEMail(), addresses[i]);
    EXPECT_EQ(results[i]->GetHasError(), refused) << addresses[i];
    EXPECT_EQ(results[i]->GetError(), refused ? "ErrorMailRecipientNotFound" : "NoError");
    EXPECT_EQ(results[i]->GetWorkingHours().GetWorkingPeriods().empty(), refused);
    EXPECT_TRUE(results[i]->GetEvents().empty());
  }
}

TEST_F(Availability, TooFewResponsesRaiseAndSoDoTooMany) {
  constexpr const char* kText = "The call to GetUserAvailability dit not return info for all requested mailboxes!";
  EXPECT_EQ(RefusalOf([&] { Answered(""); }), std::string(kText) + "|");
  EXPECT_EQ(RefusalOf([&] { Answered(Success("") + Success("")); }), std::string(kText) + "|");
  AnswerNext("GetUserAvailabilityRequest",
             "<s:Envelope xmlns:s=\"http://schemas.xmlsoap.org/soap/envelope/\"><s:Body><GetUserAvailabilityResponse "
             "xmlns=\"http://schemas.microsoft.com/exchange/services/2006/messages\"/></s:Body></s:Envelope>");
  EXPECT_EQ(RefusalOf([&] { Session().GetUserAvailibility({kAlice}, kMonday, kMonday + 1, 30, fbvtDetailed); }),
            std::string(kText) + "|");
}

TEST_F(Availability, RequestsThatAreWrongAsAWholeAreFaults) {
  Strict();
  const auto code = [&](std::vector<TVqEWSMailboxData> who, TDateTime start, TDateTime end, std::int32_t interval,
                        TVqEWSFreeBusyViewType view) -> string {
    try {
      Session().GetUserAvailibility(who, start, end, interval, view);
    } catch (const EVqSOAPFault& fault) {
      return fault.ResponseCode();
    }
    return "NoError";
  };
  const std::vector<TVqEWSMailboxData> one{Who(kAlice)};
  EXPECT_EQ(code({}, kMonday, kMonday + 1, 30, fbvtFreeBusy), "ErrorMailboxDataArrayEmpty");
  EXPECT_EQ(code(std::vector<TVqEWSMailboxData>(100, Who(kAlice)), kMonday, kMonday + 1, 30, fbvtFreeBusy), "NoError");
  EXPECT_EQ(code(std::vector<TVqEWSMailboxData>(101, Who(kAlice)), kMonday, kMonday + 1, 30, fbvtFreeBusy),
            "ErrorMailboxDataArrayTooBig");
  EXPECT_EQ(code(one, kMonday, kMonday + 62, 30, fbvtFreeBusy), "NoError");
  EXPECT_EQ(code(one, kMonday, kMonday + 62.1, 30, fbvtFreeBusy), "ErrorTimeIntervalTooBig");
  EXPECT_EQ(code(one, kMonday, kMonday, 30, fbvtFreeBusy), "ErrorInvalidTimeInterval");
  EXPECT_EQ(code(one, kMonday + 1, kMonday, 30, fbvtFreeBusy), "ErrorInvalidTimeInterval");
  EXPECT_EQ(code(one, kMonday, kMonday + 1, 30, fbvtNone), "ErrorInvalidFreeBusyViewType");
  for (const std::int32_t minutes : {4, 0, -5, 1441})
    EXPECT_EQ(code(one, kMonday, kMonday + 5, minutes, fbvtMergedOnly), "ErrorInvalidMergedFreeBusyInterval");
  EXPECT_EQ(code(one, kMonday, kMonday + 0.01, 30, fbvtMergedOnly), "ErrorInvalidMergedFreeBusyInterval");
  EXPECT_EQ(code(one, kMonday, kMonday + 5, 1440, fbvtMergedOnly), "NoError");
  EXPECT_EQ(code(one, kMonday, kMonday + 5, 4, fbvtFreeBusy), "NoError") << "the interval plays no part here";
}

// ---- Reading

TEST_F(Availability, TimesWithoutAZoneAreUtcAndOthersAreReadIntoIt) {
  const auto read = Answered(Success(
      "<t:CalendarEventArray><t:CalendarEvent><t:StartTime>2026-03-02T09:00:00</t:StartTime><t:EndTime>"
      "2026-03-02T10:00:00Z</t:EndTime><t:BusyType>WorkingElsewhere</t:BusyType></t:CalendarEvent><t:CalendarEvent>"
      "<t:StartTime>2026-03-02T09:00:00+02:00</t:StartTime><t:EndTime>2026-03-02T10:00:00.5-01:00</t:EndTime>"
      "<t:BusyType>NoData</t:BusyType></t:CalendarEvent></t:CalendarEventArray>"));
  EXPECT_EQ(EventsOf(*read), " 03-02T09:00-10:00 WorkingElsewhere; 03-02T07:00-11:00 NoData;");
}

TEST_F(Availability, DetailsAreReadWhole) {
  const auto read = Answered(
      Success("<t:FreeBusyViewType>Detailed</t:FreeBusyViewType><t:CalendarEventArray><t:CalendarEvent><t:StartTime>"
              "2026-03-02T09:00:00</t:StartTime><t:EndTime>2026-03-02T10:00:00</t:EndTime><t:BusyType>OOF</t:BusyType>"
              "<t:CalendarEventDetails><t:ID>00FF</t:ID><t:Subject>A &amp; B</t:Subject><t:Location>Tower</t:Location>"
              "<t:IsMeeting>true</t:IsMeeting><t:IsRecurring>1</t:IsRecurring><t:IsException>true</t:IsException>"
              "<t:IsReminderSet>true</t:IsReminderSet><t:IsPrivate>true</t:IsPrivate><t:Newer>x</t:Newer>"
              "</t:CalendarEventDetails></t:CalendarEvent></t:CalendarEventArray>"));
  ASSERT_EQ(read->GetEvents().size(), 1u);
  const TVqEWSCalendarEvent& event = read->GetEvents()[0];
  EXPECT_EQ(event.GetBusyType(), lfbOOF);
  EXPECT_EQ(event.GetID(), "00FF");
  EXPECT_EQ(event.GetSubject(), "A & B");
  EXPECT_EQ(event.GetLocation(), "Tower");
  for (const bool flag : {event.GetHasDetails(), event.GetIsMeeting(), event.GetIsRecurring(), event.GetIsException(),
                          event.GetIsReminderSet(), event.GetIsPrivate()})
    EXPECT_TRUE(flag);
}

TEST_F(Availability, WhatAnAnswerLacksIsEmpty) {
  const auto nothing = Answered("<FreeBusyResponse/>");
  EXPECT_TRUE(nothing->GetHasError());
  EXPECT_EQ(nothing->GetError(), "");
  EXPECT_TRUE(nothing->GetEvents().empty());
  const auto bare =
      Answered(Success("<t:CalendarEventArray><t:CalendarEvent/><t:CalendarEvent><t:BusyType>Asleep</"
                       "t:BusyType><t:CalendarEventDetails/>"
                       "</t:CalendarEvent></t:CalendarEventArray><t:WorkingHours/>"));
  ASSERT_EQ(bare->GetEvents().size(), 2u);
  EXPECT_EQ(bare->GetEvents()[0].GetStartTime(), TDateTime(0));
  EXPECT_FALSE(bare->GetEvents()[0].GetHasDetails());
  EXPECT_EQ(bare->GetEvents()[1].GetBusyType(), lfbFree) << "a status that nobody knows yet";
  EXPECT_TRUE(bare->GetEvents()[1].GetHasDetails());
  EXPECT_TRUE(bare->GetWorkingHours().GetWorkingPeriods().empty());
}

TEST_F(Availability, AWarningIsAnErrorOfItsMailbox) {
  const auto read = Answered(
      "<FreeBusyResponse><ResponseMessage ResponseClass=\"Warning\"><ResponseCode>ErrorX</ResponseCode>"
      "</ResponseMessage></FreeBusyResponse>");
  EXPECT_TRUE(read->GetHasError());
  EXPECT_EQ(read->GetError(), "ErrorX");
}

TEST_F(Availability, TimesThatAreNoneRaise) {
  EXPECT_THROW(Answered(Success("<t:CalendarEventArray><t:CalendarEvent><t:StartTime>soon</t:StartTime>"
                                "</t:CalendarEvent></t:CalendarEventArray>")),
               EConvertError);
}

TEST_F(Availability, ZoneOfWorkingHoursHasTheDatesOfThisYear) {
  const auto read = Answered(Success(
      "<t:WorkingHours><t:TimeZone><t:Bias>-60</t:Bias><t:StandardTime><t:Bias>0</t:Bias><t:Time>03:00:00</t:Time>"
      "<t:DayOrder>5</t:DayOrder><t:Month>10</t:Month><t:DayOfWeek>Sunday</t:DayOfWeek></t:StandardTime>"
      "<t:DaylightTime><t:Bias>-60</t:Bias><t:Time>02:00:00</t:Time><t:DayOrder>5</t:DayOrder><t:Month>3</t:Month>"
      "<t:DayOfWeek>Sunday</t:DayOfWeek></t:DaylightTime></t:TimeZone><t:WorkingPeriodArray><t:WorkingPeriod>"
      "<t:DayOfWeek>Monday Tuesday</t:DayOfWeek><t:StartTimeInMinutes>480</t:StartTimeInMinutes><t:EndTimeInMinutes>"
      "1020</t:EndTimeInMinutes></t:WorkingPeriod><t:WorkingPeriod><t:DayOfWeek>Friday</t:DayOfWeek>"
      "<t:StartTimeInMinutes>480</t:StartTimeInMinutes><t:EndTimeInMinutes>720</t:EndTimeInMinutes>"
      "</t:WorkingPeriod></t:WorkingPeriodArray></t:WorkingHours>"));
  const TVqEWSUserWorkingHours& hours = read->GetWorkingHours();
  EXPECT_EQ(hours.GetTimeZone().Bias, -60);
  EXPECT_EQ(hours.GetTimeZone().DaylightBias, -60);
  const TVqDateTimeParts standard = VqDecodeDateTime(hours.GetTimeZone().StandardDate);
  EXPECT_EQ(standard.Month, 10);
  EXPECT_GT(standard.Day, 24);
  EXPECT_EQ(standard.Hour, 3);
  EXPECT_EQ(VqDayOfWeek(hours.GetTimeZone().StandardDate), 0);
  EXPECT_EQ(VqDecodeDateTime(hours.GetTimeZone().DaylightDate).Month, 3);
  EXPECT_EQ(standard.Year, VqDecodeDateTime(VqNow()).Year);
  ASSERT_EQ(hours.GetWorkingPeriods().size(), 2u);
  EXPECT_EQ(hours.GetWorkingPeriods()[1].DayOfWeek, TVqEWSDayOfWeekTypes{dowFriday});
}

TEST_F(Availability, EventsAndWorkingHoursGoToTextAndBack) {
  AddEvent(kAlice, "A &amp; B", "2026-03-02T09:00:00Z", "2026-03-02T09:15:00Z");
  const auto alice = Strict().GetUserAvailibility({kAlice}, kMonday, kMonday + 1, 30, fbvtDetailed);
  const TVqEWSCalendarEvent& event = alice->GetEvents().at(0);
  EXPECT_EQ(event.AsXML(),
            "<CalendarEvent><StartTime>2026-03-02T09:00:00Z</StartTime><EndTime>2026-03-02T09:15:00Z</EndTime>"
            "<BusyType>Busy</BusyType><HasDetails>true</HasDetails><ID>" +
                event.GetID() +
                "</ID><Subject>A &amp; B</Subject><Location/><IsMeeting>false</IsMeeting><IsRecurring>false"
                "</IsRecurring><IsException>false</IsException><IsReminderSet>false</IsReminderSet><IsPrivate>false"
                "</IsPrivate></CalendarEvent>");
  EXPECT_EQ(alice->GetWorkingHours().AsXML(),
            "<WorkingHours><TimeZone><Bias>-60</Bias><StandardDate>1899-12-30T00:00:00Z</StandardDate><DaylightDate>"
            "1899-12-30T00:00:00Z</DaylightDate><DaylightBias>0</DaylightBias></TimeZone><WorkingPeriod><DayOfWeek>"
            "Monday Friday</DayOfWeek><StartTimeInMinutes>540</StartTimeInMinutes><EndTimeInMinutes>1050"
            "</EndTimeInMinutes></WorkingPeriod></WorkingHours>");
  for (const TVqDataSerializationFormatType format : {dsfXML, dsfJSON}) {
    TVqEWSCalendarEvent again;
    again.Deserialize(format, event.Serialize(format));
    EXPECT_EQ(again.AsXML(), event.AsXML());
    EXPECT_EQ(again.AsJSON(), event.AsJSON());
    TVqEWSUserWorkingHours hours;
    hours.Deserialize(format, alice->GetWorkingHours().Serialize(format));
    EXPECT_EQ(hours.AsXML(), alice->GetWorkingHours().AsXML());
  }
}

TEST_F(Availability, ResultsOutliveTheirSession) {
  AddEvent(kAlice, "Standup", "2026-03-02T09:00:00Z", "2026-03-02T09:15:00Z");
  auto session = As("alice", "wonder");
  const auto alice = session->GetUserAvailibility({kAlice}, kMonday, kMonday + 1, 30, fbvtDetailed);
  session.reset();
  EXPECT_EQ(EventsOf(*alice), "Standup 03-02T09:00-09:15 Busy;");
}

}  // namespace
}  // namespace velmore::testing
