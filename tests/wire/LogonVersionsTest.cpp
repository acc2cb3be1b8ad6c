// What the session makes of the version that a server tells.

#include "SessionTestSupport.h"

namespace velmore::testing {
namespace {

class LogonVersions : public SessionTest {
 protected:
  /// Logs a new session on to a server with these numbers; gives what it takes the server for, and how it describes it.
  std::pair<TServerVersion, std::string> Judge(const std::string& header) {
    Server.Always(
        [header](const ScriptedServer::Request&) { return Http("200 OK", Envelope(header, "<ConvertIdResponse/>")); });
    TTestSession session;
    session.SetServiceUrl(Server.Url("/"));
    session.SetCurrentTimeZoneContext("");
    session.SetActive(true);
    Info = session.GetServerVersionInfo();
    TVqRef<IVqSOAPRequest> request = session.CreateRequest(nullptr, "m:GetItem", "");
    Requested = request->GetHeader()
                    .SelectSingleElement("RequestServerVersion", kSelectRequired)
                    .GetAttribute("Version")
                    .utf8();
    return {session.GetServerVersion(), session.GetServerDescription().utf8()};
  }
  TServerVersion Numbers(int major, int minor, int build, const std::string& name = "") {
    return Judge(VersionHeader({major, minor, build, 0, name})).first;
  }

  TServerVersionInfo Info;
  std::string Requested;
};

TEST_F(LogonVersions, RowsDecideInTheirOrder) {
  struct Row {
    int Major, Minor, Build;
    TServerVersion Version;
  };
  const Row rows[] = {
      {15, 1, 466, Exchange2016},      {15, 1, 465, Exchange2016},     {15, 1, 225, Exchange2016},
      {15, 1, 224, Exchange2016},      {15, 1, 0, Exchange2016},       {15, 20, 8000, Exchange2016},
      {16, 1, 0, Exchange2016},        {15, 2, 100, Exchange2016},     {15, 0, 847, Exchange2013_SP1},
      {15, 0, 1497, Exchange2013_SP1}, {16, 0, 847, Exchange2013_SP1}, {15, 0, 846, Exchange2013},
      {15, 0, 0, Exchange2013},        {20, 0, 0, Exchange2013},       {14, 3, 0, Exchange2012},
      {14, 3, 513, Exchange2012},      {14, 9, 0, Exchange2012},       {14, 2, 999, Exchange2010_SP2},
      {14, 2, 0, Exchange2010_SP2},    {14, 1, 0, Exchange2010_SP1},   {14, 0, 0, Exchange2010},
      {14, 0, 9999, Exchange2010},     {9, 1, 0, Exchange2007_SP1},    {8, 1, 0, Exchange2007_SP1},
      {8, 3, 83, Exchange2007_SP1},    {13, 5, 0, Exchange2007_SP1},   {8, 0, 999, Exchange2007},
      {13, 0, 0, Exchange2007},        {7, 9, 999, Exchange2007},      {0, 0, 0, Exchange2007},
      {15, -1, 847, Exchange2013_SP1}, {15, 1, -1, Exchange2016},      {-1, -1, -1, Exchange2007},
  };
  for (const Row& row : rows)
    EXPECT_EQ(Numbers(row.Major, row.Minor, row.Build), row.Version)
        << row.Major << '.' << row.Minor << '.' << row.Build;
}

TEST_F(LogonVersions, TextThatIsNoNameIsJudgedByTheNumbers) {
  EXPECT_EQ(Numbers(15, 1, 2507, "V2017_07_11"), Exchange2016);
  EXPECT_EQ(Requested, "Exchange2016");
  EXPECT_EQ(Numbers(14, 0, 0, "exchange2016"), Exchange2010) << "a name counts to the letter";
  EXPECT_EQ(Numbers(14, 0, 0, " Exchange2016"), Exchange2010);
}

TEST_F(LogonVersions, NameWinsOverTheNumbers) {
  const std::pair<const char*, TServerVersion> names[] = {
      {"Exchange2007", Exchange2007}, {"Exchange2007_SP1", Exchange2007_SP1}, {"Exchange2009", Exchange2009},
      {"Exchange2010", Exchange2010}, {"Exchange2010_SP1", Exchange2010_SP1}, {"Exchange2010_SP2", Exchange2010_SP2},
      {"Exchange2012", Exchange2012}, {"Exchange2013", Exchange2013},         {"Exchange2013_SP1", Exchange2013_SP1},
      {"Exchange2015", Exchange2015}, {"Exchange2016", Exchange2016},
  };
  for (const auto& [name, version] : names) {
    EXPECT_EQ(Numbers(15, 1, 2507, name), version) << name;
    EXPECT_EQ(Requested, name) << "every request carries it";
  }
}

TEST_F(LogonVersions, LaterNamesAreLoweredTo2016) {
  for (const char* name : {"V2015_10_05", "V2016_01_06"}) {
    EXPECT_EQ(Numbers(15, 1, 0, name), Exchange2016) << name;
    EXPECT_EQ(Requested, "Exchange2016");
    EXPECT_EQ(Info.Version, name) << "what the server said is still there to be seen";
  }
}

TEST_F(LogonVersions, RequestVersionOfANewSessionIsTheFirst) {
  EXPECT_EQ(Session.GetRequestVersion(), Exchange2007);
}

TEST_F(LogonVersions, NumbersOfTheVersionsAreFixed) {
  EXPECT_EQ(static_cast<int>(Exchange2007), 0);
  EXPECT_EQ(static_cast<int>(Exchange2010), 3);
  EXPECT_EQ(static_cast<int>(Exchange2016), 10);
  EXPECT_EQ(static_cast<int>(V2016_01_06), 12);
}

TEST_F(LogonVersions, InfoIsWhatTheServerTold) {
  Judge(VersionHeader({15, 1, 2507, 6, "Exchange2016"}));
  EXPECT_EQ(Info.MajorVersion, 15);
  EXPECT_EQ(Info.MinorVersion, 1);
  EXPECT_EQ(Info.MajorBuildNumber, 2507);
  EXPECT_EQ(Info.MinorBuildNumber, 6);
  EXPECT_EQ(Info.Version, "Exchange2016");
}

TEST_F(LogonVersions, LongVersionTextIsCutAt255BytesWithoutHalfACharacter) {
  Judge(VersionHeader({15, 1, 0, 0, std::string(300, 'x')}));
  EXPECT_EQ(Info.Version, std::string(255, 'x'));
  Judge(VersionHeader({15, 1, 0, 0, std::string(254, 'x') + "ä"}));
  EXPECT_EQ(Info.Version, std::string(254, 'x'));
  Judge(VersionHeader({15, 1, 0, 0, std::string(253, 'x') + "ä"}));
  EXPECT_EQ(Info.Version, std::string(253, 'x') + "ä");
}

TEST_F(LogonVersions, WithoutAHeaderItIsTheFirstOne) {
  EXPECT_EQ(Judge("").first, Exchange2007);
  EXPECT_EQ(Requested, "Exchange2007");
  EXPECT_EQ(Info.MajorVersion, 0);
  EXPECT_EQ(Judge("").second, "Exchange Server (0.0.0.0)");
}

TEST_F(LogonVersions, HeaderOfAnotherNamespaceOrWithoutVersionTellsNothing) {
  EXPECT_EQ(Judge("<o:ServerVersionInfo xmlns:o=\"urn:other\" MajorVersion=\"15\" MinorVersion=\"1\" "
                  "Version=\"Exchange2016\"/>")
                .first,
            Exchange2007);
  EXPECT_EQ(Judge("<o:Other xmlns:o=\"urn:other\"/>").first, Exchange2007);
}

TEST_F(LogonVersions, DescriptionsOfAllVersions) {
  const std::pair<const char*, const char*> texts[] = {
      {"Exchange2007", "Exchange Server (15.1.2507.6)"},
      {"Exchange2007_SP1", "Exchange Server 2007 SP1 (15.1.2507.6)"},
      {"Exchange2009", "Exchange Server (15.1.2507.6)"},
      {"Exchange2010", "Exchange Server 2010 (15.1.2507.6)"},
      {"Exchange2010_SP1", "Exchange Server 2010 SP1 (15.1.2507.6)"},
      {"Exchange2010_SP2", "Exchange Server 2010 SP2 (15.1.2507.6)"},
      {"Exchange2012", "Exchange Server (15.1.2507.6)"},
      {"Exchange2013", "Exchange Server 2013 (15.1.2507.6)"},
      {"Exchange2013_SP1", "Exchange Server 2013 SP1 (15.1.2507.6)"},
      {"Exchange2015", "Exchange Server 2015 (15.1.2507.6)"},
      {"Exchange2016", "Exchange Server 2016 (15.1.2507.6)"},
      {"V2015_10_05", "Exchange Server 2016 (15.1.2507.6)"},
      {"V2016_01_06", "Exchange Server 2016 (15.1.2507.6)"},
  };
  for (const auto& [name, text] : texts) EXPECT_EQ(Judge(VersionHeader({15, 1, 2507, 6, name})).second, text) << name;
  EXPECT_EQ(Judge(VersionHeader({14, 3, 123, 4, ""})).second, "Exchange Server (14.3.123.4)") << "no year";
}

TEST_F(LogonVersions, NumbersThatAreNoneFailTheLogonAsTheyAre) {
  Server.Then(Http(
      "200 OK", Envelope("<t:ServerVersionInfo xmlns:t=\"http://schemas.microsoft.com/exchange/services/2006/types\" "
                         "MajorVersion=\"fifteen\"/>",
                         "<ConvertIdResponse/>")));
  EXPECT_THROW(Session.SetActive(true), EConvertError);
  EXPECT_FALSE(Session.GetActive());
  EXPECT_EQ(Session.GetServiceUrl(), "");
}

TEST_F(LogonVersions, RequestVersionIsFixedAtLogonAndNotResetAtLogoff) {
  Server.Always([](const ScriptedServer::Request& request) {
    return request.Body.find("m:ConvertId") != std::string::npos
               ? ProbeAnswer({15, 0, 0, 0, "Exchange2013"})
               : Http("200 OK", Envelope(VersionHeader({15, 1, 0, 0, "Exchange2016"}), "<GetItemResponse/>"));
  });
  Session.SetActive(true);
  const auto requested = [](const TVqRef<IVqSOAPRequest>& request) {
    return request->GetHeader().GetFirstChildElement().GetAttribute("Version");
  };
  TVqRef<IVqSOAPResponse> response;
  Session.CreateRequest(nullptr, "m:GetItem", "")->Send(response);
  EXPECT_EQ(requested(Session.CreateRequest(nullptr, "m:GetItem", "")), "Exchange2013")
      << "the header of an ordinary reply is not looked at";

  Session.SetActive(false);
  Server.Always(
      [](const ScriptedServer::Request&) { return Http("HTTP/1.1 500 Broken\r\nContent-Length: 0\r\n\r\n"); });
  EXPECT_THROW(Session.SetActive(true), EVqHTTPException);
  EXPECT_EQ(Session.GetRequestVersion(), Exchange2013) << "nor by a failed logon";
}

}  // namespace
}  // namespace velmore::testing
