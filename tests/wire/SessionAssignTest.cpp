// Copying the settings of a session to another one.

#include "SessionTestSupport.h"

namespace velmore::testing {
namespace {

class SessionAssign : public SessionTest {
 protected:
  TTestSession Copy;
};

TEST_F(SessionAssign, CopiesEverySettingButTheTimeOuts) {
  Session.SetUserAgent("Agent/2");
  Session.SetProxyServer("proxy:8080");
  Session.SetProxyServerBypass("<local>");
  Session.SetAccessType(TVqHTTPAccessType::proxy);
  Session.SetSecurityFlags({TVqHTTPSecurityFlag::IgnoreUnknownCA});
  Session.SetProfileName("Profile");
  Session.SetProfileRequired(true);
  Session.SetConnectingSIDType(csSID);
  Session.SetConnectingSID("S-1");
  Session.SetNTService(false);
  Session.SetLogonDialog(true);
  Session.SetPasswordDialog(true);
  Session.SetParentWnd(9);
  Session.GetCredentials().SetUserName("ann");
  Session.GetProxyCredentials().SetUserName("proxy");
  Session.GetOAuth().SetScope("scope");
  Session.SetTimeOuts(TVqHTTPTimeOuts(1, 2, 3));
  Session.AssignTo(&Copy);
  EXPECT_EQ(Copy.GetUserAgent(), "Agent/2");
  EXPECT_EQ(Copy.GetProxyServer(), "proxy:8080");
  EXPECT_EQ(Copy.GetProxyServerBypass(), "<local>");
  EXPECT_EQ(Copy.GetAccessType(), TVqHTTPAccessType::proxy);
  EXPECT_EQ(Copy.GetSecurityFlags(), Session.GetSecurityFlags());
  EXPECT_EQ(Copy.GetProfileName(), "Profile");
  EXPECT_TRUE(Copy.GetProfileRequired());
  EXPECT_EQ(Copy.GetServiceUrl(), Session.GetServiceUrl());
  EXPECT_EQ(Copy.GetConnectingSIDType(), csSID);
  EXPECT_EQ(Copy.GetConnectingSID(), "S-1");
  EXPECT_FALSE(Copy.GetNTService());
  EXPECT_TRUE(Copy.GetLogonDialog());
  EXPECT_TRUE(Copy.GetPasswordDialog());
  EXPECT_EQ(Copy.GetParentWnd(), 9u);
  EXPECT_EQ(Copy.GetCredentials().GetUserName(), "ann");
  EXPECT_EQ(Copy.GetProxyCredentials().GetUserName(), "proxy");
  EXPECT_EQ(Copy.GetOAuth().GetScope(), "scope");
  EXPECT_EQ(Copy.GetTimeOuts(), TVqHTTPTimeOuts(15000, 15000, 15000));
}

TEST_F(SessionAssign, UseAutoDiscoverGoesAlongAsItReads) {
  for (const bool use : {true, false}) {
    TTestSession source, copy;
    source.SetAutodiscoverEMail("ann@example.com");
    source.SetServiceUrl("https://mail.example.com/ews");
    source.SetUseAutoDiscover(use);
    source.AssignTo(&copy);
    EXPECT_TRUE(copy.GetUseAutoDiscover()) << "without a URL";
    copy.SetServiceUrl("https://mail.example.com/ews");
    EXPECT_EQ(copy.GetUseAutoDiscover(), use);
  }
  TTestSession source, copy;
  source.SetServiceUrl("https://mail.example.com/ews");
  source.AssignTo(&copy);
  copy.SetAutodiscoverEMail("ann@example.com");
  copy.SetServiceUrl("https://mail.example.com/ews");
  EXPECT_FALSE(copy.GetUseAutoDiscover()) << "without an address the source read false";
}

TEST_F(SessionAssign, AddressBehindTheUrlClearsIt) {
  Session.SetAutodiscoverEMail("ann@example.com");
  Session.SetServiceUrl("https://mail.example.com/ews");
  Session.AssignTo(&Copy);
  EXPECT_EQ(Copy.GetAutodiscoverEMail(), "ann@example.com");
  EXPECT_EQ(Copy.GetServiceUrl(), "") << "the address is assigned behind the URL";
}

TEST_F(SessionAssign, ActiveSourceLogsTheDestinationOnFirstWithWhatItHas) {
  LogOn();
  Session.SetUserAgent("Source/1");
  Session.GetCredentials().SetUserName("source");
  Copy.SetServiceUrl(Server.Url("/copy"));
  Copy.SetUserAgent("Copy/1");
  Server.Then(ProbeAnswer({}));
  Session.AssignTo(&Copy);
  EXPECT_TRUE(Copy.GetActive());
  EXPECT_EQ(LastRequest().Target(), "/copy");
  EXPECT_EQ(LastRequest().Header("User-Agent"), "Copy/1");
  EXPECT_EQ(Copy.GetUserAgent(), "Source/1");
}

TEST_F(SessionAssign, DestinationThatCannotLogOnTakesNothing) {
  LogOn();
  Session.SetUserAgent("Source/1");
  EXPECT_THROW(Session.AssignTo(&Copy), EEWSException) << "it has no service URL at that moment";
  EXPECT_EQ(Copy.GetUserAgent(), "Velmore EWS Client");
  EXPECT_FALSE(Copy.GetActive());
}

TEST_F(SessionAssign, InactiveSourceLogsTheDestinationOff) {
  Copy.SetServiceUrl(Server.Url("/copy"));
  Server.Then(ProbeAnswer({}));
  Copy.SetActive(true);
  int logoffs = 0;
  Copy.SetAfterLogoff([&](TVqComponent&) { ++logoffs; });
  Session.AssignTo(&Copy);
  EXPECT_FALSE(Copy.GetActive());
  EXPECT_EQ(logoffs, 1);
}

TEST_F(SessionAssign, VersionOfTheServerGoesAlong) {
  LogOn({15, 1, 2507, 6, "Exchange2013"});
  Copy.SetServiceUrl(Server.Url("/copy"));
  Server.Then(ProbeAnswer({}));
  Session.AssignTo(&Copy);
  EXPECT_EQ(Copy.GetServerVersion(), Exchange2013);
}

TEST_F(SessionAssign, ServiceSessionRefusesADesktopInTheMiddle) {
  Session.SetNTService(false);
  Session.SetConnectingSID("S-1");
  Session.GetCredentials().SetUserName("ann");
  TVqEWSServiceSession service;
  EXPECT_EQ(PlainMessageOf([&] { Session.AssignTo(&service); }), "");
  EXPECT_EQ(service.GetConnectingSID(), "S-1") << "assigned before";
  EXPECT_EQ(service.GetCredentials().GetUserName(), "") << "assigned behind";
}

TEST_F(SessionAssign, AnotherDestinationIsRefused) {
  TVqComponent stranger;
  EXPECT_THROW(Session.AssignTo(&stranger), EVqException);
}

}  // namespace
}  // namespace velmore::testing
