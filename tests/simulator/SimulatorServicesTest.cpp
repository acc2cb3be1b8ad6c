// The services of mailboxes without the library: what a reply is made of, what is refused, what outlives a restart.

#include "ProgramTestSupport.h"
#include "SimulatorTestSupport.h"
#include "simulator/time/time.h"

namespace velmore::simulator::testing {
namespace {

constexpr const char* kNoChange =
    "<t:Bias>0</t:Bias><t:Time>00:00:00</t:Time><t:DayOrder>0</t:DayOrder><t:Month>0</t:Month>"
    "<t:DayOfWeek>Sunday</t:DayOfWeek>";
const std::string kUtc = std::string("<t:TimeZone><t:Bias>0</t:Bias><t:StandardTime>") + kNoChange +
                         "</t:StandardTime><t:DaylightTime>" + kNoChange + "</t:DaylightTime></t:TimeZone>";
/// As the published schema has it: minutes, to be added to local time.
const std::string kBerlin =
    "<t:TimeZone><t:Bias>-60</t:Bias><t:StandardTime><t:Bias>0</t:Bias><t:Time>03:00:00</t:Time><t:DayOrder>5"
    "</t:DayOrder><t:Month>10</t:Month><t:DayOfWeek>Sunday</t:DayOfWeek></t:StandardTime><t:DaylightTime><t:Bias>-60"
    "</t:Bias><t:Time>02:00:00</t:Time><t:DayOrder>5</t:DayOrder><t:Month>3</t:Month><t:DayOfWeek>Sunday"
    "</t:DayOfWeek></t:DaylightTime></t:TimeZone>";
const std::string kSydney =
    "<t:TimeZone><t:Bias>-600</t:Bias><t:StandardTime><t:Bias>0</t:Bias><t:Time>03:00:00</t:Time><t:DayOrder>1"
    "</t:DayOrder><t:Month>4</t:Month><t:DayOfWeek>Sunday</t:DayOfWeek></t:StandardTime><t:DaylightTime><t:Bias>-60"
    "</t:Bias><t:Time>02:00:00</t:Time><t:DayOrder>1</t:DayOrder><t:Month>10</t:Month><t:DayOfWeek>Sunday"
    "</t:DayOfWeek></t:DaylightTime></t:TimeZone>";

std::string Ask(const std::string& zone, const std::string& start, const std::string& end,
                const std::string& more = "<t:RequestedView>FreeBusy</t:RequestedView>") {
  return "<m:GetUserAvailabilityRequest>" + zone +
         "<m:MailboxDataArray><t:MailboxData><t:Email><t:Address>alice@example.com</t:Address></t:Email>"
         "<t:AttendeeType>Required</t:AttendeeType></t:MailboxData></m:MailboxDataArray><t:FreeBusyViewOptions>"
         "<t:TimeWindow><t:StartTime>" +
         start + "</t:StartTime><t:EndTime>" + end + "</t:EndTime></t:TimeWindow>" + more +
         "</t:FreeBusyViewOptions></m:GetUserAvailabilityRequest>";
}

class SimulatorServices : public ::testing::Test {
 protected:
  void AddEvent(const std::string& start, const std::string& end) {
    server.AddItem("alice@example.com", "calendar",
                   "<t:CalendarItem><t:Start>" + start + "</t:Start><t:End>" + end + "</t:End></t:CalendarItem>");
  }
  /// "start-end" of the first entry as the reply tells it; the fault's code when there is one.
  std::string First(const std::string& request) {
    const Reply reply = client.Call(request);
    if (reply.Has("faultcode")) return reply.Code();
    return reply.Has("CalendarEvent") ? reply.Find("CalendarEvent").ChildText("StartTime") + " " +
                                            reply.Find("CalendarEvent").ChildText("EndTime")
                                      : std::string("none");
  }
  Started server;
  Client client{server};
};

TEST_F(SimulatorServices, TimesAreThoseOfTheRequestsZone) {
  AddEvent("2026-01-15T09:00:00Z", "2026-01-15T10:00:00Z");
  AddEvent("2026-07-15T09:00:00Z", "2026-07-15T10:00:00Z");
  const std::string winter = "2026-01-15T00:00:00", winterEnd = "2026-01-16T00:00:00";
  const std::string summer = "2026-07-15T00:00:00", summerEnd = "2026-07-16T00:00:00";
  EXPECT_EQ(First(Ask(kUtc, winter, winterEnd)), "2026-01-15T09:00:00 2026-01-15T10:00:00");
  EXPECT_EQ(First(Ask(kBerlin, winter, winterEnd)), "2026-01-15T10:00:00 2026-01-15T11:00:00");
  EXPECT_EQ(First(Ask(kBerlin, summer, summerEnd)), "2026-07-15T11:00:00 2026-07-15T12:00:00");
  EXPECT_EQ(First(Ask(kSydney, winter, winterEnd)), "2026-01-15T20:00:00 2026-01-15T21:00:00");
  EXPECT_EQ(First(Ask(kSydney, summer, summerEnd)), "2026-07-15T19:00:00 2026-07-15T20:00:00");
}

TEST_F(SimulatorServices, TheWindowIsInThatZoneToo) {
  AddEvent("2026-01-15T23:30:00Z", "2026-01-15T23:45:00Z");
  EXPECT_EQ(First(Ask(kBerlin, "2026-01-16T00:00:00", "2026-01-17T00:00:00")),
            "2026-01-16T00:30:00 2026-01-16T00:45:00");
  EXPECT_EQ(First(Ask(kBerlin, "2026-01-15T00:00:00Z", "2026-01-16T00:00:00Z")), "none") << "a Z changes nothing";
  EXPECT_EQ(First(Ask(kBerlin, "2026-01-15T00:00:00+00:00", "2026-01-16T00:00:00+00:00")),
            "2026-01-16T00:30:00 2026-01-16T00:45:00")
      << "another offset is taken by its word";
}

TEST_F(SimulatorServices, ChangesOfAZoneAreKeptToTheMinute) {
  for (const auto& [utc, clock] : {std::pair("2026-03-29T00:59:00Z", "2026-03-29T01:59:00"),
                                   {"2026-03-29T01:00:00Z", "2026-03-29T03:00:00"},
                                   {"2026-10-25T00:59:00Z", "2026-10-25T02:59:00"},
                                   {"2026-10-25T02:00:00Z", "2026-10-25T03:00:00"}}) {
    Started own;
    own.AddItem("alice@example.com", "calendar",
                std::string("<t:CalendarItem><t:Start>") + utc +
                    "</t:Start><t:End>2026-12-31T00:00:00Z</t:End>"
                    "</t:CalendarItem>");
    const std::string from = std::string(utc).substr(0, 10) + "T00:00:00";
    const Reply reply = Client(own).Call(Ask(kBerlin, from, std::string(utc).substr(0, 10) + "T23:00:00"));
    EXPECT_EQ(reply.Find("CalendarEvent").ChildText("StartTime"), clock);
  }
}

// Unless a calendar says otherwise everybody is told when its owner is busy; whoever it shuts out is told so.
TEST_F(SimulatorServices, WhoMayNotSeeWhenSomebodyIsBusyIsRefused) {
  AddEvent("2026-01-15T09:00:00Z", "2026-01-15T10:00:00Z");
  Client bob(server, "bob", "builder"), carol(server, "carol", "cembalo");
  const std::string ask = Ask(kUtc, "2026-01-15T00:00:00", "2026-01-16T00:00:00");
  const auto set = [&](const std::string& entries) {
    const std::string id = client.Call(GetFolderXml(Distinguished("calendar"))).Find("FolderId").AttributeText("Id");
    const Reply reply = client.Call(
        "<m:UpdateFolder><m:FolderChanges><t:FolderChange><t:FolderId Id=\"" + id +
        "\"/><t:Updates><t:SetFolderField><t:FieldURI FieldURI=\"folder:PermissionSet\"/><t:CalendarFolder>"
        "<t:PermissionSet><t:CalendarPermissions>" +
        entries +
        "</t:CalendarPermissions></t:PermissionSet></t:CalendarFolder></t:SetFolderField></t:Updates></t:FolderChange>"
        "</m:FolderChanges></m:UpdateFolder>");
    EXPECT_EQ(reply.Code(), "NoError") << reply.body;
  };
  const auto entry = [](const std::string& user, const std::string& level) {
    return "<t:CalendarPermission><t:UserId>" + user + "</t:UserId><t:CalendarPermissionLevel>" + level +
           "</t:CalendarPermissionLevel></t:CalendarPermission>";
  };
  const std::string to_bob = "<t:PrimarySmtpAddress>bob@example.com</t:PrimarySmtpAddress>";
  const std::string to_all = "<t:DistinguishedUser>Default</t:DistinguishedUser>";
  EXPECT_EQ(bob.Call(ask).Count("CalendarEvent"), 1u);
  set(entry(to_bob, "None"));
  const Reply refused = bob.Call(ask);
  EXPECT_EQ(refused.Code(), "ErrorNoFreeBusyAccess");
  EXPECT_EQ(refused.Find("MessageText").text, "The caller does not have access to free/busy data.");
  EXPECT_EQ(refused.Find("FreeBusyViewType").text, "None");
  EXPECT_EQ(carol.Call(ask).Count("CalendarEvent"), 1u) << "nothing is said of her";
  set(entry(to_all, "None") + entry(to_bob, "FreeBusyTimeOnly"));
  EXPECT_EQ(bob.Call(ask).Count("CalendarEvent"), 1u);
  EXPECT_EQ(carol.Call(ask).Code(), "ErrorNoFreeBusyAccess");
  EXPECT_EQ(client.Call(ask).Count("CalendarEvent"), 1u) << "the owner";
  set(entry(to_all, "None") + entry(to_bob, "Reviewer"));
  EXPECT_EQ(bob.Call(ask).Count("CalendarEvent"), 1u);
}

// How far the answers of who is away may go is the administrator's affair, and clients are told it.
TEST_F(SimulatorServices, AnAdministratorSaysWhomOutsideIsAnswered) {
  Options options = TestOptions();
  options.users[0].outside_answers = OutsideAnswers::kNone;
  options.users[1].outside_answers = OutsideAnswers::kKnown;
  Started told(options);
  const auto of = [&](const std::string& user, const std::string& password) {
    Client who(told, user, password);
    EXPECT_EQ(who.Call("<m:SetUserOofSettingsRequest><t:Mailbox><t:Address>" + user +
                       "@example.com</t:Address></t:Mailbox><t:UserOofSettings><t:OofState>Enabled</t:OofState>"
                       "<t:ExternalAudience>All</t:ExternalAudience><t:InternalReply><t:Message>in</t:Message>"
                       "</t:InternalReply><t:ExternalReply><t:Message>out</t:Message></t:ExternalReply>"
                       "</t:UserOofSettings></m:SetUserOofSettingsRequest>")
                  .Code(),
              "NoError");
    const std::size_t before = told.SentOutside().size();
    told.AddItem(user + "@example.com", "contacts",
                 "<t:Contact><t:EmailAddresses><t:Entry Key=\"EmailAddress1\">known@elsewhere.example</t:Entry>"
                 "</t:EmailAddresses></t:Contact>");
    for (const char* sender : {"known@elsewhere.example", "stranger@elsewhere.example"})
      told.Deliver(user + "@example.com", "From: " + std::string(sender) + "\r\nSubject: x\r\n\r\nx");
    return who.Call("<m:GetUserOofSettingsRequest><t:Mailbox><t:Address>" + user +
                    "@example.com</t:Address></t:Mailbox></m:GetUserOofSettingsRequest>")
               .Find("AllowExternalOof")
               .text +
           " " + std::to_string(told.SentOutside().size() - before);
  };
  EXPECT_EQ(of("alice", "wonder"), "None 0");
  EXPECT_EQ(of("bob", "builder"), "Known 1");
  EXPECT_EQ(of("carol", "cembalo"), "All 2");
  const Folder folder;
  for (const auto& [all, one, expected] : {std::tuple("", "", "All"),
                                           {"\"outsideAnswers\": \"known\", ", "", "Known"},
                                           {"\"outsideAnswers\": \"known\", ", ", \"outsideAnswers\": \"all\"", "All"},
                                           {"", ", \"outsideAnswers\": \"none\"", "None"}}) {
    Options read;
    read.settings_file = folder.Write("s.json", std::string("{") + all +
                                                    "\"users\": [{\"name\": \"a\", \"smtp\": "
                                                    "\"a@x.example\", \"password\": \"p\"" +
                                                    one + "}]}");
    Started server(read);
    EXPECT_EQ(Client(server, "a", "p")
                  .Call("<m:GetUserOofSettingsRequest><t:Mailbox><t:Address>a@x.example</t:Address></t:Mailbox>"
                        "</m:GetUserOofSettingsRequest>")
                  .Find("AllowExternalOof")
                  .text,
              expected);
  }
  Options wrong;
  wrong.settings_file = folder.Write("s.json", "{\"outsideAnswers\": \"some\"}");
  EXPECT_THROW(Simulator{wrong}, OptionError);
}

TEST_F(SimulatorServices, MoreThanAThousandEntriesAreTooMany) {
  Options options = TestOptions();
  options.fills = {{"alice@example.com", "calendar", 1001}};
  Started full(options);
  const Reply reply = Client(full).Call(Ask(kUtc, "2026-01-01T00:00:00", "2026-01-31T00:00:00"));
  EXPECT_EQ(reply.Code(), "ErrorResultSetTooBig");
  EXPECT_EQ(reply.Find("FreeBusyViewType").text, "None");
}

TEST_F(SimulatorServices, WithoutAZoneOrWithoutAViewNothingIsTold) {
  EXPECT_EQ(First(Ask("", "2026-01-01T00:00:00", "2026-01-02T00:00:00")), "ErrorTimeZone");
  EXPECT_EQ(client
                .Call("<m:GetUserAvailabilityRequest>" + kUtc +
                      "<m:MailboxDataArray><t:MailboxData><t:Email><t:Address>a</t:Address></t:Email><t:AttendeeType>"
                      "Required</t:AttendeeType></t:MailboxData></m:MailboxDataArray></m:GetUserAvailabilityRequest>")
                .Code(),
            "ErrorInvalidRequest");
}

TEST_F(SimulatorServices, ZonesThatTheSchemaDoesNotKnowAreRefused) {
  const std::string ten = std::string("<t:TimeZone><t:Bias>0</t:Bias><t:StandardTime>") + kNoChange + kNoChange +
                          "</t:StandardTime><t:DaylightTime/></t:TimeZone>";
  Options options = TestOptions();
  options.accept_departures = false;
  Started refusing(options);
  Client refused(refusing);
  EXPECT_EQ(refused.Call(Ask(ten, "2026-01-01T00:00:00", "2026-01-02T00:00:00")).Code(), "ErrorSchemaValidation");
  options.accept_departures = true;
  Started lenient(options);
  EXPECT_FALSE(Client(lenient).Call(Ask(ten, "2026-01-01T00:00:00", "2026-01-02T00:00:00")).Has("faultcode"));
  EXPECT_EQ(lenient.GetCounters().departures.at("ZoneChangesInOne"), 1u);
  const char* photo =
      "<m:GetUserPhoto><m:Email>alice@example.com</m:Email><m:SizeRequested>HR96X96</m:SizeRequested>"
      "</m:GetUserPhoto>";
  EXPECT_EQ(refused.Call(photo).Code(), "ErrorSchemaValidation");
  EXPECT_EQ(Client(lenient).Call(photo).Code(), "ErrorItemNotFound");
  EXPECT_EQ(lenient.GetCounters().departures.at("PhotoSize"), 1u);
}

TEST_F(SimulatorServices, MailTipsAreThoseThatAreAskedFor) {
  const auto ask = [&](const std::string& tips) {
    return client.Call(
        "<m:GetMailTips><m:SendingAs><t:EmailAddress>alice@example.com</t:EmailAddress></m:SendingAs><m:Recipients>"
        "<t:Mailbox><t:EmailAddress>bob@example.com</t:EmailAddress></t:Mailbox></m:Recipients><m:MailTipsRequested>" +
        tips + "</m:MailTipsRequested></m:GetMailTips>");
  };
  const Reply two = ask("MailboxFullStatus TotalMemberCount");
  EXPECT_EQ(two.Code(), "NoError");
  EXPECT_TRUE(two.Has("MailboxFull"));
  EXPECT_TRUE(two.Has("TotalMemberCount"));
  for (const char* other : {"OutOfOffice", "ExternalMemberCount", "MaxMessageSize", "IsModerated", "InvalidRecipient"})
    EXPECT_FALSE(two.Has(other)) << other;
}

TEST_F(SimulatorServices, ServicesCameWithTheirVersions) {
  const std::pair<const char*, const char*> calls[] = {
      {"Exchange2010", "<m:GetRoomLists/>"},
      {"Exchange2010",
       "<m:GetRooms><m:RoomList><t:EmailAddress>x@example.com</t:EmailAddress></m:RoomList></m:GetRooms>"},
      {"Exchange2013",
       "<m:GetUserPhoto><m:Email>alice@example.com</m:Email><m:SizeRequested>HR48x48</m:SizeRequested></"
       "m:GetUserPhoto>"}};
  for (const auto& [since, call] : calls) {
    client.version = since;
    EXPECT_NE(client.Call(call).Code(), "ErrorSchemaValidation") << call;
    client.version = since == std::string("Exchange2010") ? "Exchange2007_SP1" : "Exchange2010_SP2";
    EXPECT_EQ(client.Call(call).Code(), "ErrorSchemaValidation") << call;
  }
  const std::string gaps = VersionGaps("Exchange2007_SP1");
  for (const char* name : {"GetMailTips", "GetRoomLists", "GetRooms", "GetUserPhoto"})
    EXPECT_NE(gaps.find(name), std::string::npos) << name;
}

TEST_F(SimulatorServices, AbsencesAndRulesOutliveARestart) {
  Folder folder;
  Options options = TestOptions();
  options.state_file = folder.Path("state");
  options.users[1].delivery = {"A tip", true, {"alice@example.com"}, 4000};
  options.users[1].work_hours = {"Sunday", 1, 2, 3};
  options.users[1].room = true;
  options.users[1].photo = std::string("\xFF\x00\x01", 3);
  {
    Started first(options);
    EXPECT_EQ(Client(first)
                  .Call("<m:SetUserOofSettingsRequest><t:Mailbox><t:Address>alice@example.com</t:Address></t:Mailbox>"
                        "<t:UserOofSettings><t:OofState>Enabled</t:OofState><t:ExternalAudience>All"
                        "</t:ExternalAudience><t:InternalReply><t:Message>Away</t:Message></t:InternalReply>"
                        "</t:UserOofSettings></m:SetUserOofSettingsRequest>")
                  .Code(),
              "NoError");
    first.Deliver("alice@example.com", "From: bob@example.com\r\nSubject: a\r\n\r\nx");
    EXPECT_EQ(first.CountItems("bob@example.com", "inbox"), 1u);
    first.Stop();
  }
  Options again = TestOptions();
  again.users.erase(again.users.begin() + 1);  // Bob is known from the file alone
  again.state_file = options.state_file;
  Started second(again);
  second.Deliver("alice@example.com", "From: bob@example.com\r\nSubject: b\r\n\r\nx");
  EXPECT_EQ(second.CountItems("bob@example.com", "inbox"), 1u) << "answered before the restart";
  Client alice(second);
  EXPECT_EQ(alice
                .Call("<m:GetUserOofSettingsRequest><t:Mailbox><t:Address>alice@example.com</t:Address></t:Mailbox>"
                      "</m:GetUserOofSettingsRequest>")
                .Find("InternalReply")
                .ChildText("Message"),
            "Away");
  const Reply tips = alice.Call(
      "<m:GetMailTips><m:SendingAs><t:EmailAddress>alice@example.com</t:EmailAddress></m:SendingAs><m:Recipients>"
      "<t:Mailbox><t:EmailAddress>bob@example.com</t:EmailAddress></t:Mailbox></m:Recipients><m:MailTipsRequested>All"
      "</m:MailTipsRequested></m:GetMailTips>");
  EXPECT_EQ(tips.Find("CustomMailTip").text, "A tip");
  EXPECT_EQ(tips.Find("IsModerated").text, "true");
  EXPECT_EQ(tips.Find("DeliveryRestricted").text, "false");
  EXPECT_EQ(tips.Find("MaxMessageSize").text, "4000");
  EXPECT_EQ(alice
                .Call("<m:GetUserPhoto><m:Email>bob@example.com</m:Email><m:SizeRequested>HR48x48</m:SizeRequested>"
                      "</m:GetUserPhoto>")
                .Find("PictureData")
                .text,
            "/wAB");
}

TEST_F(SimulatorServices, OfASettingsFileAreRead) {
  Folder folder;
  folder.Write(
      "settings.json",
      "{\"users\": [{\"name\": \"alice\", \"smtp\": \"alice@example.com\", \"password\": \"wonder\", \"photo\": "
      "\"face.png\", \"delivery\": {\"mailTip\": \"Hm\", \"moderated\": true, \"acceptsFrom\": "
      "[\"x@example.com\"], \"maxMessageBytes\": 9}, \"workHours\": {\"days\": \"Sunday\", \"start\": 60, "
      "\"end\": 120, \"bias\": -30}}], \"rooms\": [{\"smtp\": \"tower@example.com\", \"displayName\": \"T\"}], "
      "\"roomLists\": [{\"smtp\": \"all@example.com\", \"displayName\": \"All\", \"rooms\": "
      "[\"tower@example.com\", \"alice@example.com\"]}]}");
  folder.Write("face.png", "a face");
  Options options;
  options.settings_file = folder.Path("settings.json");
  Started told(options);
  Client alice(told);
  EXPECT_EQ(alice.Call("<m:GetRoomLists/>").Find("Address").ChildText("EmailAddress"), "all@example.com");
  const Reply rooms =
      alice.Call("<m:GetRooms><m:RoomList><t:EmailAddress>all@example.com</t:EmailAddress></m:RoomList></m:GetRooms>");
  ASSERT_EQ(rooms.Count("Room"), 1u);
  EXPECT_EQ(rooms.Find("Id").ChildText("Name"), "T");
  EXPECT_EQ(alice
                .Call("<m:GetUserPhoto><m:Email>alice@example.com</m:Email><m:SizeRequested>HR48x48</m:SizeRequested>"
                      "</m:GetUserPhoto>")
                .Find("PictureData")
                .text,
            EncodeBase64("a face"));
  const Reply hours = alice.Call(Ask(kUtc, "2026-01-01T00:00:00", "2026-01-02T00:00:00"));
  EXPECT_EQ(hours.Find("WorkingPeriod").ChildText("DayOfWeek"), "Sunday");
  EXPECT_EQ(hours.Find("WorkingPeriod").ChildText("StartTimeInMinutes"), "60");
  EXPECT_EQ(hours.Find("WorkingPeriod").ChildText("EndTimeInMinutes"), "120");
  EXPECT_EQ(hours.Find("WorkingHours").Child("TimeZone")->ChildText("Bias"), "-30");
}

TEST_F(SimulatorServices, MailThatARecipientDoesNotTakeComesBack) {
  Options options = TestOptions();
  options.users[1].delivery.max_message_bytes = 5000;
  options.users[2].delivery.accepts_from = {"bob@example.com"};
  Started strict(options);
  Client alice(strict);
  for (const auto& [to, body] : {std::pair("bob@example.com", std::string(20000, 'x')), {"carol@example.com", "hello"}})
    EXPECT_EQ(alice.Call(CreateItemXml(MessageXml("S", to, body), "SendOnly")).Code(), "NoError");
  EXPECT_EQ(strict.CountItems("bob@example.com", "inbox"), 0u);
  EXPECT_EQ(strict.CountItems("carol@example.com", "inbox"), 0u);
  EXPECT_EQ(strict.CountItems("alice@example.com", "inbox"), 2u);
  EXPECT_EQ(alice.Call(CreateItemXml(MessageXml("S", "bob@example.com", "short"), "SendOnly")).Code(), "NoError");
  EXPECT_EQ(strict.CountItems("bob@example.com", "inbox"), 1u);
}

TEST_F(SimulatorServices, WhatGoesOutsideCanBeLookedAt) {
  EXPECT_EQ(client.Call(CreateItemXml(MessageXml("Far", "x@far.example", "hello"), "SendOnly")).Code(), "NoError");
  ASSERT_EQ(server.SentOutside().size(), 1u);
  EXPECT_NE(server.SentOutside()[0].find("Subject: Far"), std::string::npos);
  EXPECT_EQ(client.Call(CreateItemXml(MessageXml("Near", "nobody@example.com", "hello"), "SendOnly")).Code(),
            "NoError");
  EXPECT_EQ(server.SentOutside().size(), 1u) << "what bounces stays inside";
}

}  // namespace
}  // namespace velmore::simulator::testing
