// The time-zone context: from the machine when a session is made, from the server's list when it logs on.

#include "SessionTestSupport.h"
#include "ews/model/uVqEWSTimeZones.h"

#include <cstdlib>

namespace velmore::testing {
namespace {

/// TZ of this process for one test.
class LogonTimeZone : public SessionTest {
 protected:
  LogonTimeZone() {
    if (const char* old = std::getenv("TZ")) Old = old;
    ::setenv("TZ", "Asia/Kathmandu", 1);  // +05:45, without daylight saving
  }
  ~LogonTimeZone() override {
    if (Old) {
      ::setenv("TZ", Old->c_str(), 1);
    } else {
      ::unsetenv("TZ");
    }
  }

  /// Logs on to an Exchange 2016 that answers with these zones.
  void LogOnWith(const std::string& zones) {
    Server.Then(ProbeAnswer({15, 1, 0, 0, "Exchange2016"}))
        .Then(Reply("GetServerTimeZones", Success("GetServerTimeZones", zones)));
    Session.SetActive(true);
    EXPECT_EQ(Server.Complaints(), "");
  }
  static std::string Zones(const std::vector<std::pair<std::string, std::string>>& zones) {
    std::string xml = "<m:TimeZoneDefinitions>";
    for (const auto& [id, name] : zones) xml += "<t:TimeZoneDefinition Id=\"" + id + "\" Name=\"" + name + "\"/>";
    return xml + "</m:TimeZoneDefinitions>";
  }

  std::optional<std::string> Old;
};

TEST_F(LogonTimeZone, ContextOfANewSessionIsThatOfTheMachine) {
  EXPECT_EQ(TVqEWSServiceSession().GetCurrentTimeZoneContext(), "Nepal Standard Time");
  ::setenv("TZ", "UTC", 1);
  EXPECT_EQ(TVqEWSServiceSession().GetCurrentTimeZoneContext(), "Greenwich Standard Time");
  ::setenv("TZ", "<+01>-1", 1);
  EXPECT_EQ(EwsTimeZoneOffset(TVqEWSServiceSession().GetCurrentTimeZoneContext()), 60) << "any of that row";
  ::setenv("TZ", "<+05>-5:17", 1);
  EXPECT_EQ(TVqEWSServiceSession().GetCurrentTimeZoneContext(), "") << "no row has this offset";
}

TEST_F(LogonTimeZone, ServerIsAskedWithThePresentContext) {
  Session.SetCurrentTimeZoneContext("Nepal Standard Time");
  LogOnWith(Zones({{"Nepal Standard Time", "(UTC+05:45) Kathmandu"}}));
  EXPECT_EQ(Sent(Request(1)),
            Expected("<t:RequestServerVersion Version=\"Exchange2016\"/>"
                     "<t:TimeZoneContext><t:TimeZoneDefinition Id=\"Nepal Standard Time\"/></t:TimeZoneContext>",
                     "<m:GetServerTimeZones ReturnFullTimeZoneData=\"false\"/>"));
}

TEST_F(LogonTimeZone, ServersBefore2010AreNotAsked) {
  for (const char* name : {"Exchange2007", "Exchange2007_SP1", "Exchange2009"}) {
    const std::size_t before = Server.Requests().size();
    Server.Then(ProbeAnswer({8, 1, 0, 0, name}));
    Session.SetActive(true);
    EXPECT_EQ(Server.Requests().size(), before + 1) << name;
    Session.SetActive(false);
  }
  Session.SetCurrentTimeZoneContext("X");
  Server.Then(ProbeAnswer({14, 0, 0, 0, "Exchange2010"}))
      .Then(Reply("GetServerTimeZones", Success("GetServerTimeZones", Zones({{"Y", "(UTC+05:45) Y"}}))));
  Session.SetActive(true);
  EXPECT_EQ(Session.GetCurrentTimeZoneContext(), "Y") << "from this one on";
}

TEST_F(LogonTimeZone, ContextThatTheServerKnowsStays) {
  Session.SetCurrentTimeZoneContext("Known");
  LogOnWith(Zones({{"Nepal Standard Time", "(UTC+05:45) Kathmandu"}, {"Known", "(UTC-08:00) Elsewhere"}}));
  EXPECT_EQ(Session.GetCurrentTimeZoneContext(), "Known");
}

TEST_F(LogonTimeZone, ContextThatTheServerDoesNotKnowGoesByTheBeginningOfTheNames) {
  Session.SetCurrentTimeZoneContext("Unknown");
  LogOnWith(Zones({{"A", "UTC+05:45"},
                   {"B", "Kathmandu (UTC+05:45)"},
                   {"C", " (UTC+05:45) Kathmandu"},
                   {"D", "(UTC+05:30) Chennai"},
                   {"First", "(UTC+05:45) First"},
                   {"Second", "(UTC+05:45) Second"}}));
  EXPECT_EQ(Session.GetCurrentTimeZoneContext(), "First") << "the first match wins, and only at the first position";
}

TEST_F(LogonTimeZone, EmptyContextIsSettledToo) {
  LogOnWith(Zones({{"Nepal Standard Time", "(UTC+05:45) Kathmandu"}}));
  EXPECT_EQ(Request(1).Body.find("TimeZoneContext"), std::string::npos);
  EXPECT_EQ(Session.GetCurrentTimeZoneContext(), "Nepal Standard Time");
}

TEST_F(LogonTimeZone, AZoneWithASenselessIdIsPassedBy) {
  Session.SetCurrentTimeZoneContext("Unknown");
  LogOnWith(Zones({{std::string(1 << 20, 'x'), "(UTC+05:45) First"}, {"Second", "(UTC+05:45) Second"}}));
  EXPECT_EQ(Session.GetCurrentTimeZoneContext(), "Second") << "it would stand in every request";
}

TEST_F(LogonTimeZone, WhenNoNameFitsTheContextStays) {
  Session.SetCurrentTimeZoneContext("Unknown");
  LogOnWith(Zones({{"A", "(UTC+01:00) A"}, {"B", "(UTC) B"}}));
  EXPECT_EQ(Session.GetCurrentTimeZoneContext(), "Unknown");
}

TEST_F(LogonTimeZone, WithoutAListTheContextStays) {
  Session.SetCurrentTimeZoneContext("Unknown");
  LogOnWith("");
  EXPECT_EQ(Session.GetCurrentTimeZoneContext(), "Unknown");
  Session.SetActive(false);
  LogOnWith("<m:TimeZoneDefinitions/>");
  EXPECT_EQ(Session.GetCurrentTimeZoneContext(), "Unknown");
}

TEST_F(LogonTimeZone, FailuresAreSwallowedAndTheLogonGoesOn) {
  Answer cut = Http("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\n<");
  cut.Close = true;
  for (const Answer& answer :
       {SoapFault("ErrorInternalServerError", "No."), Http("HTTP/1.1 503 Busy\r\nContent-Length: 0\r\n\r\n"),
        Http("HTTP/1.1 401 No\r\nContent-Length: 0\r\n\r\n"), Http("200 OK", "<html>"),
        Http("200 OK", Envelope("", "<other/>")),
        Reply("GetServerTimeZones", Refusal("GetServerTimeZones", "ErrorInternalServerError", "No.")), cut}) {
    int logons = 0;
    Session.SetAfterLogon([&](TVqComponent&) { ++logons; });
    Session.SetCurrentTimeZoneContext("Kept");
    Server.Then(ProbeAnswer({15, 1, 0, 0, "Exchange2016"})).Then(answer);
    EXPECT_NO_THROW(Session.SetActive(true));
    EXPECT_TRUE(Session.GetActive());
    EXPECT_EQ(logons, 1);
    EXPECT_EQ(Session.GetCurrentTimeZoneContext(), "Kept");
    Session.SetActive(false);
  }
}

TEST_F(LogonTimeZone, SessionIsActiveWhileTheServerIsAsked) {
  Server.Always([this](const ScriptedServer::Request& request) {
    const bool zones = request.Body.find("GetServerTimeZones") != std::string::npos;
    EXPECT_EQ(Session.GetActive(), zones);
    return zones ? Reply("GetServerTimeZones", Success("GetServerTimeZones"))
                 : ProbeAnswer({15, 1, 0, 0, "Exchange2016"});
  });
  Session.SetActive(true);
}

TEST_F(LogonTimeZone, ContextWithAQuoteDoesNoHarm) {
  Session.SetCurrentTimeZoneContext("a\"b");
  LogOnWith(Zones({{"Nepal Standard Time", "(UTC+05:45) Kathmandu"}}));
  EXPECT_TRUE(Session.GetActive());
}

}  // namespace
}  // namespace velmore::testing
