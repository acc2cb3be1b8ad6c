// Logging on and off: the probe to the letter, the order of things, the events.

#include "SessionTestSupport.h"

namespace velmore::testing {
namespace {

class Logon : public SessionTest {
 protected:
  static std::string ProbeBody() {
    return "<m:ConvertId DestinationFormat=\"HexEntryId\"><m:SourceIds><t:AlternateId Format=\"HexEntryId\" Id=\"00\" "
           "Mailbox=\"nobody@example.com\"/></m:SourceIds></m:ConvertId>";
  }
  static std::string Impersonation(const std::string& address) {
    return "<t:RequestServerVersion Version=\"Exchange2007_SP1\"/><t:ExchangeImpersonation><t:ConnectingSID>"
           "<t:PrimarySmtpAddress>" +
           address + "</t:PrimarySmtpAddress></t:ConnectingSID></t:ExchangeImpersonation>";
  }
  void UseClientCredentials() {
    TVqOAuth oauth;
    oauth.SetGrantType(TVqOAuthGrantType::ClientCredentials);
    Session.SetOAuth(oauth);
  }
};

TEST_F(Logon, ProbeIsAConversionOfAWorthlessIdAtAFixedVersion) {
  Session.SetCurrentTimeZoneContext("W. Europe Standard Time");
  Session.SetAutodiscoverEMail("ann@example.com");
  Session.SetServiceUrl(Server.Url("/EWS/Exchange.asmx"));
  LogOn();
  ASSERT_EQ(Server.Requests().size(), 1u);
  EXPECT_EQ(Sent(Request(0)), Expected("<t:RequestServerVersion Version=\"Exchange2007_SP1\"/>", ProbeBody()));
  EXPECT_EQ(Request(0).Header("X-AnchorMailbox"), "") << "no other header goes along";
}

TEST_F(Logon, ProbeGoesOutBeforeTheSessionIsActiveAndItsBodyIsNotRead) {
  Server.Always([this](const ScriptedServer::Request&) {
    EXPECT_FALSE(Session.GetActive());
    return Http("200 OK", Envelope(VersionHeader({}),
                                   "<m:ConvertIdResponse><m:ResponseMessages><m:x ResponseClass=\"Error\"/>"
                                   "</m:ResponseMessages></m:ConvertIdResponse>"));
  });
  Session.SetActive(true);
  EXPECT_TRUE(Session.GetActive());
}

TEST_F(Logon, ProbeOfClientCredentialsActsAsTheConnectingSID) {
  UseClientCredentials();
  Session.SetConnectingSID("boss@example.com");
  Session.SetAutodiscoverEMail("ann@example.com");
  Session.SetServiceUrl(Server.Url("/EWS/Exchange.asmx"));
  LogOn();
  EXPECT_EQ(Sent(Request(0)), Expected(Impersonation("boss@example.com"), ProbeBody()));
  EXPECT_EQ(Session.GetHTTPClient()->GetCredentials().GetUserName(), "boss@example.com");
  EXPECT_EQ(Session.GetCredentials().GetUserName(), "") << "only the client's own are completed";
  EXPECT_EQ(Request(0).Header("X-AnchorMailbox"), "");
}

TEST_F(Logon, ProbeOfClientCredentialsFallsBackToTheAddressAndKeepsAUserName) {
  UseClientCredentials();
  Session.GetCredentials().SetUserName("service");
  Session.SetAutodiscoverEMail("ann@example.com");
  Session.SetServiceUrl(Server.Url("/EWS/Exchange.asmx"));
  LogOn();
  EXPECT_EQ(Sent(Request(0)), Expected(Impersonation("ann@example.com"), ProbeBody()));
  EXPECT_EQ(Session.GetHTTPClient()->GetCredentials().GetUserName(), "service");
}

TEST_F(Logon, SettingTheSameStateDoesNothing) {
  Session.SetActive(false);
  EXPECT_TRUE(Session.Calls.empty());
  LogOn();
  Session.Calls.clear();
  Session.SetActive(true);
  EXPECT_TRUE(Session.Calls.empty());
  EXPECT_EQ(Server.Requests().size(), 1u);
}

TEST_F(Logon, WaitCursorIsTakenBackAlsoOnFailure) {
  LogOn();
  EXPECT_EQ(Session.Calls, (Names{"SetWaitCursor(true)", "SetWaitCursor(false)"}));
  Session.SetActive(false);
  Session.Calls.clear();
  Server.Then("HTTP/1.1 500 Broken\r\nContent-Length: 0\r\n\r\n");
  EXPECT_THROW(Session.SetActive(true), EVqHTTPException);
  EXPECT_EQ(Session.Calls, (Names{"SetWaitCursor(true)", "SetWaitCursor(false)"}));
}

TEST_F(Logon, WaitCursorIsTakenBackBeforeTheTimeZonesAreAsked) {
  Server.Always([this](const ScriptedServer::Request& request) {
    if (request.Body.find("GetServerTimeZones") != std::string::npos) Session.Calls.push_back("zones");
    return ProbeAnswer({15, 1, 0, 0, "Exchange2016"});
  });
  Session.SetActive(true);
  EXPECT_EQ(Session.Calls, (Names{"SetWaitCursor(true)", "SetWaitCursor(false)", "zones"}));
}

TEST_F(Logon, WaitCursorStandsFromTheClientsToTheVersionOfRequests) {
  Session.OnWaitCursor = [&](bool on) {
    EXPECT_TRUE(Session.GetHTTPClient());
    EXPECT_EQ(Session.GetRequestVersion(), on ? Exchange2007 : Exchange2007_SP1);
    EXPECT_FALSE(Session.GetActive());
    EXPECT_EQ(Server.Requests().size(), on ? 0u : 1u);
  };
  LogOn();
  EXPECT_EQ(Session.Calls.size(), 2u);
}

TEST_F(Logon, FailureOfTheWaitCursorIsAnOrdinaryException) {
  for (const bool when : {true, false}) {
    Session.OnWaitCursor = [&](bool on) {
      if (on == when) throw std::runtime_error("No desktop.");
    };
    if (!when) Server.Then(ProbeAnswer({}));
    ExpectRaised<std::runtime_error>([&] { Session.SetActive(true); },
                                     [](const auto& failure) { EXPECT_STREQ(failure.what(), "No desktop."); });
    EXPECT_FALSE(Session.GetActive());
    EXPECT_NE(Session.GetServiceUrl(), "") << "nothing is wrong with the server";
  }
  Session.OnWaitCursor = nullptr;
  LogOn();
}

TEST_F(Logon, FailureOfTheLogonWinsOverOneOfTheWaitCursor) {
  Session.OnWaitCursor = [&](bool on) {
    if (!on) throw std::runtime_error("No desktop.");
  };
  Server.Then("HTTP/1.1 500 Broken\r\nContent-Length: 0\r\n\r\n");
  EXPECT_THROW(Session.SetActive(true), EVqHTTPException);
  EXPECT_EQ(Session.Calls, (Names{"SetWaitCursor(true)", "SetWaitCursor(false)"}));
}

TEST_F(Logon, WaitCursorIsTakenBackWhenNoUrlIsFound) {
  Session.SetAutodiscoverEMail("ann@example.com");
  EXPECT_THROW(Session.SetActive(true), EAbort) << "there are no credentials";
  EXPECT_EQ(Session.Calls, (Names{"SetWaitCursor(true)", "Autodiscover()", "SetWaitCursor(false)"}));
}

TEST_F(Logon, EventsAreFiredInTheirPlaces) {
  Names events;
  const auto note = [&](const char* name) {
    return [&events, name, this](TVqComponent& sender) {
      EXPECT_EQ(&sender, &Session);
      events.push_back(std::string(name) + (Session.GetActive() ? " active" : " inactive") +
                       (Session.GetHTTPClient() ? " with clients" : ""));
    };
  };
  Session.SetAfterLogon(note("AfterLogon"));
  Session.SetBeforeLogoff(note("BeforeLogoff"));
  Session.SetAfterLogoff(note("AfterLogoff"));
  LogOn();
  Session.SetActive(false);
  EXPECT_EQ(events,
            (Names{"AfterLogon active with clients", "BeforeLogoff active with clients", "AfterLogoff inactive"}));
}

TEST_F(Logon, FailedLogonFiresNothing) {
  Session.SetAfterLogon([](TVqComponent&) { ADD_FAILURE(); });
  Server.Then("HTTP/1.1 500 Broken\r\nContent-Length: 0\r\n\r\n");
  EXPECT_THROW(Session.SetActive(true), EVqHTTPException);
  EXPECT_FALSE(Session.GetActive());
}

TEST_F(Logon, FailureOfTheEventLeavesTheSessionActive) {
  Session.SetAfterLogon([](TVqComponent&) { throw EVqException("mine"); });
  Server.Then(ProbeAnswer({}));
  EXPECT_EQ(PlainMessageOf([&] { Session.SetActive(true); }), "mine");
  EXPECT_TRUE(Session.GetActive());
  ExpectUsable();
}

TEST_F(Logon, HandlerMayTakeItselfAway) {
  int calls = 0;
  Session.SetAfterLogon([&](TVqComponent&) {
    Session.SetAfterLogon(nullptr);
    ++calls;
  });
  LogOn();
  EXPECT_EQ(calls, 1);
}

TEST_F(Logon, DestructionFiresNothing) {
  auto session = std::make_unique<TTestSession>();
  session->SetServiceUrl(Server.Url("/"));
  Server.Then(ProbeAnswer({}));
  session->SetActive(true);
  for (auto set : {&TVqEWSCustomSession::SetBeforeLogoff, &TVqEWSCustomSession::SetAfterLogoff})
    (session.get()->*set)([](TVqComponent&) { ADD_FAILURE() << "fired"; });
  session.reset();
}

TEST_F(Logon, LogoffForgetsTheServerAndKeepsTheUrl) {
  LogOn({15, 1, 2507, 6, "Exchange2013"});
  Session.SetActive(false);
  EXPECT_FALSE(Session.GetActive());
  EXPECT_EQ(Session.GetServiceUrl(), Server.Url("/EWS/Exchange.asmx"));
  EXPECT_EQ(PlainMessageOf([&] { Session.GetServerVersion(); }),
            "You must logon first before you can get the ServerVersion!");
  LogOn({0, 0, 0, 0, ""});
  EXPECT_EQ(Session.GetServerVersionInfo().MajorVersion, 0);
}

TEST_F(Logon, VersionIsUnknownBeforeLogon) {
  const std::string text = "You must logon first before you can get the ServerVersion!";
  EXPECT_EQ(PlainMessageOf([&] { Session.GetServerVersion(); }), text);
  EXPECT_EQ(PlainMessageOf([&] { Session.GetServerVersionInfo(); }), text);
  EXPECT_EQ(PlainMessageOf([&] { Session.GetServerDescription(); }), text);
}

TEST_F(Logon, ObjectsOutliveALogoff) {
  LogOn();
  const auto store = Session.OpenMsgStore("bob@example.com");
  Session.SetActive(false);
  EXPECT_EQ(PlainMessageOf([&] { store->GetFolderId(dfininbox); }), "You must logon first!");
}

TEST_F(Logon, DialogNeedsAWindow) {
  TVqEWSCustomSession session(nullptr);
  session.SetName("EWSSession1");
  session.SetServiceUrl(Server.Url("/"));
  EXPECT_EQ(PlainMessageOf([&] { session.SetActive(true); }),
            "You've enabled the \"EWSSession1.PasswordDialog\" property, but you haven't specified a value for the "
            "\"EWSSession1.ParentWnd\" property!\r\nA value for this property is required to show this dialog.");
  EXPECT_FALSE(session.GetActive());
  EXPECT_EQ(session.GetServiceUrl(), Server.Url("/")) << "this is before the probe, which clears it";
  session.SetParentWnd(1);
  Server.Then(ProbeAnswer({}));
  session.SetActive(true);
  EXPECT_TRUE(session.GetActive());
}

TEST_F(Logon, ProfileDialogEventHasTheDialogAsItsSender) {
  TVqComponent dialog;
  TVqComponent* seen = nullptr;
  Session.SetOnShowProfileDialog([&](TVqComponent& sender) { seen = &sender; });
  Session.DoOnShowProfileDialog(dialog);
  EXPECT_EQ(seen, &dialog);
  Session.SetOnShowProfileDialog(nullptr);
  Session.DoOnShowProfileDialog(dialog);
}

TEST_F(Logon, TokenOfTheGrantIsTakenToTheSession) {
  // A token that the client has already stands for one that it would be granted.
  for (const auto grant :
       {TVqOAuthGrantType::Authorize, TVqOAuthGrantType::Password, TVqOAuthGrantType::ClientCredentials}) {
    TTestSession session;
    session.SetServiceUrl(Server.Url("/"));
    TVqOAuth oauth;
    oauth.SetClientId("id");
    oauth.SetGrantType(grant);
    TVqOAuthAccessToken token;
    token.Token = "granted";
    oauth.SetAccessToken(token);
    session.SetOAuth(oauth);
    Server.Then(ProbeAnswer({}));
    session.SetActive(true);
    EXPECT_EQ(LastRequest().Header("Authorization"), "Bearer granted");
    EXPECT_EQ(session.GetHTTPClient()->GetAuthentication(), TVqHTTPAuthentication::oAuth);
    EXPECT_EQ(static_cast<int>(TVqHTTPAuthentication::oAuth), 6);
    EXPECT_EQ(session.GetAccessToken().Token, "granted");
  }
}

TEST_F(Logon, WithoutAClientIdNoTokenIsTakenToTheSession) {
  TVqOAuth oauth;
  oauth.SetGrantType(TVqOAuthGrantType::Password);
  TVqOAuthAccessToken token;
  token.Token = "of nobody";
  oauth.SetAccessToken(token);
  Session.SetOAuth(oauth);
  LogOn();
  EXPECT_EQ(Session.GetAccessToken().Token, "");
}

TEST_F(Logon, VersionOfTheServerIsForgottenAtLogoff) {
  Server.Then(ProbeAnswer({15, 1, 0, 0, "Exchange2016"})).Then(Reply("GetServerTimeZones", ""));
  Session.SetActive(true);
  const auto name = [&] { return Session.CreateRecipients()->Add("ann@example.com")->GetOriginalDisplayName(); };
  EXPECT_NO_THROW(name());
  Session.SetActive(false);
  EXPECT_NE(PlainMessageOf([&] { name(); }).find("is not supported by Exchange2007_SP1"), std::string::npos);
  EXPECT_EQ(Session.GetRequestVersion(), Exchange2016) << "this one stays";
}

TEST_F(Logon, WithoutAGrantNoTokenIsTakenToTheSession) {
  TVqOAuth oauth;
  oauth.SetClientId("id");
  TVqOAuthAccessToken token;
  token.Token = "mine";
  oauth.SetAccessToken(token);
  Session.SetOAuth(oauth);
  LogOn();
  EXPECT_EQ(LastRequest().Header("Authorization"), "Bearer mine");
  EXPECT_EQ(Session.GetAccessToken().Token, "");
}

}  // namespace
}  // namespace velmore::testing
