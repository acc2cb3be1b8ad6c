// The settings of a session: their defaults, what passes on to a live session, what waits for the next logon.

#include "SessionTestSupport.h"
#include "ews/session/uVqEWSClients_p.h"
#include "platform/http/uVqWinHTTP.h"
#include "platform/http/uVqWinINet.h"

namespace velmore::testing {
namespace {

constexpr auto kDate = TVqHTTPSecurityFlag::IgnoreInvalidCertDate;
constexpr auto kUsage = TVqHTTPSecurityFlag::IgnoreWrongUsage;

/// Over each of the two clients where the difference matters.
class SessionSettings : public SessionTest {
 protected:
  void Ask(TVqSOAPClient* client = nullptr) {
    Server.Then(Reply("GetItem", Success("GetItem")));
    TVqRef<IVqSOAPResponse> response;
    Session.CreateRequest(client, "m:GetItem", "")->Send(response);
  }
};

class WinINetSettings : public SessionSettings {
 protected:
  WinINetSettings() { Session.SetNTService(false); }
};

TEST(SessionDefaults, AreThoseOfANewSession) {
  TVqEWSCustomSession session(nullptr);
  EXPECT_FALSE(session.GetActive());
  EXPECT_EQ(session.GetAccessType(), static_cast<TVqHTTPAccessType>(0));
  EXPECT_TRUE(session.GetSecurityFlags().Empty());
  EXPECT_TRUE(session.GetCredentials().Empty());
  EXPECT_TRUE(session.GetProxyCredentials().Empty());
  EXPECT_EQ(session.GetOAuth().GetClientId(), "");
  EXPECT_EQ(session.GetOAuth().GetGrantType(), TVqOAuthGrantType::none);
  EXPECT_EQ(session.GetUserAgent(), "Velmore EWS Client");
  EXPECT_EQ(session.GetTimeOuts(), TVqHTTPTimeOuts(15000, 15000, 15000));
  EXPECT_EQ(session.GetProxyServer(), "");
  EXPECT_EQ(session.GetProxyServerBypass(), "");
  EXPECT_EQ(session.GetProfileContainer(), nullptr);
  EXPECT_EQ(session.GetProfileName(), "");
  EXPECT_FALSE(session.GetProfileRequired());
  EXPECT_EQ(session.GetServiceUrl(), "");
  EXPECT_EQ(session.GetAutodiscoverEMail(), "");
  EXPECT_EQ(session.GetConnectingSIDType(), csSmtpAddress);
  EXPECT_EQ(session.GetConnectingSID(), "");
  EXPECT_FALSE(session.GetNTService());
  EXPECT_TRUE(session.GetLogonDialog());
  EXPECT_TRUE(session.GetPasswordDialog());
  EXPECT_EQ(session.GetParentWnd(), 0u);
  EXPECT_EQ(session.GetExchangeCookie(), "");
  EXPECT_TRUE(session.GetAccessToken().GetExpired());
  EXPECT_FALSE(session.GetStrictSchema());
  EXPECT_EQ(session.GetMsgStores().Count(), 1);
}

TEST(SessionDefaults, ServiceSessionHasNoDesktop) {
  TVqEWSServiceSession session;
  EXPECT_TRUE(session.GetNTService());
  EXPECT_FALSE(session.GetLogonDialog());
  EXPECT_FALSE(session.GetPasswordDialog());
}

TEST(SessionDefaults, ServiceSessionRefusesADesktopWithoutAText) {
  TVqEWSServiceSession session;
  EXPECT_EQ(PlainMessageOf([&] { session.SetNTService(false); }), "");
  EXPECT_TRUE(session.GetNTService());
  EXPECT_NO_THROW(session.SetNTService(true));
}

TEST(SessionDefaults, ConnectingSIDTypesAreInOrder) {
  EXPECT_EQ(csPrincipalName, 0);
  EXPECT_EQ(csSID, 1);
  EXPECT_EQ(csPrimarySmtpAddress, 2);
  EXPECT_EQ(csSmtpAddress, 3);
}

TEST(SessionDefaults, ResponseClassForApplicationsExists) {
  const auto response = MakeRef<TVqEWSResponse>("<s:Envelope><s:Body><m:R/></s:Body></s:Envelope>", "");
  EXPECT_EQ(response->GetResponse().GetQualifiedName(), "m:R");
}

// ---- Addresses

TEST(SessionAddresses, AutodiscoverAddressClearsTheServiceUrlAnEmptyOneDoesNot) {
  TVqEWSServiceSession session;
  session.SetServiceUrl("https://mail.example.com/ews");
  session.SetAutodiscoverEMail("");
  EXPECT_EQ(session.GetServiceUrl(), "https://mail.example.com/ews");
  session.SetAutodiscoverEMail("ann@example.com");
  EXPECT_EQ(session.GetServiceUrl(), "");
  session.SetServiceUrl("https://mail.example.com/ews");
  EXPECT_EQ(session.GetAutodiscoverEMail(), "ann@example.com") << "set afterwards, both stay";
  EXPECT_EQ(session.GetServiceURL(), "https://mail.example.com/ews");
}

TEST(SessionAddresses, UseAutoDiscoverIsTrueWithoutAUrlWhateverWasSet) {
  TVqEWSServiceSession session;
  session.SetUseAutoDiscover(false);
  EXPECT_TRUE(session.GetUseAutoDiscover());
  session.SetServiceUrl("https://mail.example.com/ews");
  session.SetUseAutoDiscover(true);
  EXPECT_FALSE(session.GetUseAutoDiscover()) << "without an address there is nothing to discover";
  session.SetAutodiscoverEMail("ann@example.com");
  session.SetServiceUrl("https://mail.example.com/ews");
  EXPECT_TRUE(session.GetUseAutoDiscover());
  session.SetUseAutoDiscover(false);
  EXPECT_FALSE(session.GetUseAutoDiscover());
}

TEST(SessionAddresses, AuthorizeFormIsOneForTheWholeProcess) {
  TVqEWSServiceSession one, two;
  int asked = 0;
  one.SetOnGetOAuthAuthorizeForm([&](TVqOAuth&) {
    ++asked;
    return TVqRef<IVqHTTPOAuthAutorizeForm>();
  });
  ASSERT_TRUE(two.GetOnGetOAuthAuthorizeForm());
  ASSERT_TRUE(VqOnGetOAuthAuthorizeForm);
  TVqOAuth oauth;
  two.GetOnGetOAuthAuthorizeForm()(oauth);
  EXPECT_EQ(asked, 1);
  two.SetOnGetOAuthAuthorizeForm(nullptr);
  EXPECT_FALSE(one.GetOnGetOAuthAuthorizeForm());
}

// ---- Live sessions

TEST_F(SessionSettings, ClientsComeWithTheLogonAndGoWithTheLogoff) {
  EXPECT_EQ(Session.GetHTTPClient(), nullptr);
  LogOn();
  EXPECT_TRUE(dynamic_cast<TVqWinHTTPClient*>(Session.GetHTTPClient()));
  EXPECT_EQ(Session.GetHTTPClient()->GetHTTPVersion(), TVqHTTPVersion::http11);
  EXPECT_EQ(Session.GetHTTPClient()->GetAuthentication(), TVqHTTPAuthentication::byChallenge);
  EXPECT_EQ(static_cast<int>(TVqHTTPAuthentication::byChallenge), 1);
  Session.SetActive(false);
  EXPECT_EQ(Session.GetHTTPClient(), nullptr);
}

TEST_F(SessionSettings, CheckedSessionIsOpen) {
  Session.CheckHTTPClient();
  const auto http = Session.GetHTTPClient()->GetSession();
  EXPECT_TRUE(http->GetActive());
  http->SetActive(false);
  Session.CheckHTTPClient();
  EXPECT_TRUE(http->GetActive());
}

TEST_F(SessionSettings, CheckHTTPClientMakesNothingAnew) {
  Session.CheckHTTPClient();
  auto* const client = Session.GetHTTPClient();
  const auto session = client->GetSession();
  EXPECT_TRUE(session->GetActive());
  Session.CheckHTTPClient();
  EXPECT_EQ(Session.GetHTTPClient(), client);
  EXPECT_EQ(client->GetSession(), session);
}

TEST_F(SessionSettings, UserAgentReachesALiveSession) {
  LogOn();
  Session.SetUserAgent("Other/1.0");
  Ask();
  EXPECT_EQ(LastRequest().Header("User-Agent"), "Other/1.0");
}

TEST_F(SessionSettings, ProxyReachesALiveSession) {
  LogOn();
  ScriptedServer proxy;
  Session.SetProxyServer("127.0.0.1:" + std::to_string(proxy.Port()));
  Session.SetAccessType(TVqHTTPAccessType::proxy);
  proxy.Then(Reply("GetItem", Success("GetItem")));
  TVqRef<IVqSOAPResponse> response;
  Session.CreateRequest(nullptr, "m:GetItem", "")->Send(response);
  ASSERT_EQ(proxy.Requests().size(), 1u);
  EXPECT_EQ(proxy.Requests()[0].Target(), Server.Url("/EWS/Exchange.asmx"));
  Session.SetProxyServerBypass("127.0.0.1");
  Ask();
  EXPECT_EQ(proxy.Requests().size(), 1u);
  Session.SetProxyServerBypass("");
  Session.SetAccessType(TVqHTTPAccessType::direct);
  Ask();
  EXPECT_EQ(proxy.Requests().size(), 1u);
}

TEST_F(SessionSettings, CredentialsReachALiveSession) {
  LogOn();
  TVqCredentials credentials;
  credentials.SetUserName("ann");
  credentials.SetPassword("geheim");
  Session.SetCredentials(credentials);
  EXPECT_EQ(Session.GetHTTPClient()->GetCredentials(), credentials);
  EXPECT_EQ(Session.GetCredentials(), credentials);
  Server.Then("HTTP/1.1 401 Unauthorized\r\nWWW-Authenticate: Basic realm=\"x\"\r\nContent-Length: 0\r\n\r\n");
  Ask();
  EXPECT_EQ(LastRequest().Header("Authorization"), "Basic YW5uOmdlaGVpbQ==");
  credentials.SetUserName("proxy");
  Session.SetProxyCredentials(credentials);
  EXPECT_EQ(Session.GetHTTPClient()->GetProxyCredentials(), credentials);
  EXPECT_EQ(Session.GetProxyCredentials(), credentials);
  EXPECT_EQ(Session.GetCredentials().GetUserName(), "ann");
}

TEST_F(SessionSettings, OAuthReachesALiveSession) {
  LogOn();
  TVqOAuth oauth;
  oauth.SetClientId("id");
  oauth.SetScope("scope");
  Session.SetOAuth(oauth);
  EXPECT_EQ(Session.GetHTTPClient()->GetOAuth().GetScope(), "scope");
  EXPECT_EQ(Session.GetOAuth().GetScope(), "scope");
}

TEST_F(SessionSettings, BoundsAndRoutesReachALiveSessionAndSeparateClients) {
  const TVqHTTPLimits noLimits;
  EXPECT_EQ(Session.GetLimits(), noLimits);
  EXPECT_EQ(Session.GetLowestTls(), TVqHTTPTlsVersion::tls12);
  EXPECT_TRUE(Session.GetConnectTo().empty());
  EXPECT_FALSE(Session.GetAllowPlainTextPassword());
  LogOn();
  TVqHTTPLimits limits;
  limits.ReplyBytes = 4711;
  const std::map<string, string> map{{"mail.example.com:443", "127.0.0.1:9"}};
  Session.SetLimits(limits);
  Session.SetLowestTls(TVqHTTPTlsVersion::tls13);
  Session.SetConnectTo(map);
  Session.SetAllowPlainTextPassword(true);
  const auto look = [&](TVqHTTPClientBase& client) {
    EXPECT_EQ(client.GetSession()->GetLimits(), limits);
    EXPECT_EQ(client.GetSession()->GetLowestTls(), TVqHTTPTlsVersion::tls13);
    EXPECT_EQ(client.GetSession()->GetConnectTo(), map);
    EXPECT_TRUE(client.GetAllowPlainTextPassword());
  };
  look(*Session.GetHTTPClient());
  for (const bool shared : {true, false}) look(*Session.CreateHTTPClient(shared)->GetComponent());
  Session.SetNTService(!Session.GetNTService());
  look(*Session.GetHTTPClient());
  TTestSession copy;
  Session.SetActive(false);
  Session.AssignTo(&copy);
  copy.CheckHTTPClient();
  look(*copy.GetHTTPClient());
}

TEST_F(SessionSettings, BoundsOfDocumentsCountForReplies) {
  TVqXMLLimits limits;
  limits.MaxNodes = 8;
  Session.SetXMLLimits(limits);
  Server.Then(ProbeAnswer({}));
  EXPECT_THROW(Session.SetActive(true), EVqXMLError);
  Session.SetServiceUrl(Server.Url("/"));
  Session.SetXMLLimits({});
  LogOn();
  Session.SetXMLLimits(limits);
  const auto http = Session.CreateHTTPClient(true);
  const std::unique_ptr<TVqSOAPClient> separate(Session.CreateSOAPClient(http));
  for (TVqSOAPClient* const client : {static_cast<TVqSOAPClient*>(nullptr), separate.get()})
    EXPECT_THROW(Ask(client), EVqXMLError);
  Session.SetXMLLimits({});
  EXPECT_NO_THROW(Ask());
  TTestSession copy;
  Session.SetXMLLimits(limits);
  Session.SetActive(false);
  Session.AssignTo(&copy);
  EXPECT_EQ(copy.GetXMLLimits().MaxNodes, 8u);
}

TEST_F(SessionSettings, TimeOutsWaitForTheNextLogon) {
  LogOn();
  EXPECT_EQ(Session.GetHTTPClient()->GetTimeOuts(), TVqHTTPTimeOuts(15000, 15000, 15000));
  Session.SetTimeOuts(TVqHTTPTimeOuts(1, 2, 3));
  EXPECT_EQ(Session.GetTimeOuts(), TVqHTTPTimeOuts(1, 2, 3));
  EXPECT_EQ(Session.GetHTTPClient()->GetTimeOuts(), TVqHTTPTimeOuts(15000, 15000, 15000));
  Session.SetTimeOuts(TVqHTTPTimeOuts(5001, 5002, 5003));
  Session.SetActive(false);
  LogOn();
  EXPECT_EQ(Session.GetHTTPClient()->GetTimeOuts(), TVqHTTPTimeOuts(5001, 5002, 5003));
}

TEST_F(SessionSettings, WinHTTPClientGetsAllSecurityFlags) {
  Session.SetSecurityFlags({kDate});
  LogOn();
  EXPECT_EQ(Session.GetHTTPClient()->GetSecurityFlags(), TVqHTTPSecurityFlags({kDate}));
  Session.SetSecurityFlags({kDate, kUsage});
  EXPECT_EQ(Session.GetHTTPClient()->GetSecurityFlags(), TVqHTTPSecurityFlags({kDate, kUsage}));
  EXPECT_EQ(Session.CreateHTTPClient(true)->GetComponent()->GetSecurityFlags(), TVqHTTPSecurityFlags({kDate, kUsage}));
}

TEST_F(WinINetSettings, WinINetClientNeverGetsTheUsageFlagAndThePropertyKeepsIt) {
  Session.SetSecurityFlags({kDate, kUsage});
  LogOn();
  EXPECT_TRUE(dynamic_cast<TVqWinINetClient*>(Session.GetHTTPClient()));
  EXPECT_EQ(Session.GetHTTPClient()->GetSecurityFlags(), TVqHTTPSecurityFlags({kDate}));
  Session.SetSecurityFlags(TVqHTTPSecurityFlags::FromBits(0x1F));
  EXPECT_EQ(Session.GetHTTPClient()->GetSecurityFlags(), TVqHTTPSecurityFlags::FromBits(0x0F));
  EXPECT_EQ(Session.GetSecurityFlags(), TVqHTTPSecurityFlags::FromBits(0x1F));
  EXPECT_EQ(Session.CreateHTTPClient(true)->GetComponent()->GetSecurityFlags(), TVqHTTPSecurityFlags::FromBits(0x0F));
  EXPECT_EQ(Session.CreateHTTPClient(false)->GetComponent()->GetSecurityFlags(), TVqHTTPSecurityFlags::FromBits(0x0F));
}

// ---- With and without a desktop

TEST(SessionDesktop, ServiceSwitchesTheDialogsOffForGood) {
  TVqEWSCustomSession session(nullptr);
  session.SetNTService(true);
  EXPECT_FALSE(session.GetLogonDialog());
  EXPECT_FALSE(session.GetPasswordDialog());
  session.SetNTService(false);
  EXPECT_FALSE(session.GetLogonDialog());
  EXPECT_FALSE(session.GetPasswordDialog());
  session.SetLogonDialog(true);
  session.SetPasswordDialog(true);
  EXPECT_TRUE(session.GetLogonDialog() && session.GetPasswordDialog()) << "but the application can";
}

TEST_F(SessionSettings, ClientOfTheOtherKindTakesThePlaceOfALiveOne) {
  LogOn();
  Session.SetUserAgent("Kept/1.0");
  auto* const before = Session.GetHTTPClient();
  Session.SetNTService(true);
  EXPECT_EQ(Session.GetHTTPClient(), before) << "the right kind stays";
  Session.SetNTService(false);
  EXPECT_TRUE(dynamic_cast<TVqWinINetClient*>(Session.GetHTTPClient()));
  Ask();
  EXPECT_EQ(LastRequest().Header("User-Agent"), "Kept/1.0");
  Session.SetNTService(true);
  EXPECT_TRUE(dynamic_cast<TVqWinHTTPClient*>(Session.GetHTTPClient()));
  Ask();
}

TEST_F(WinINetSettings, ParentWindowReachesALiveClient) {
  Session.SetParentWnd(7);
  LogOn();
  auto& client = dynamic_cast<TVqWinINetClient&>(*Session.GetHTTPClient());
  EXPECT_EQ(client.GetParentWnd(), 7u);
  Session.SetParentWnd(8);
  EXPECT_EQ(client.GetParentWnd(), 8u);
  EXPECT_EQ(dynamic_cast<TVqWinINetClient&>(*Session.CreateHTTPClient(true)->GetComponent()).GetParentWnd(), 8u);
}

class PasswordDialog : public WinINetSettings {
 protected:
  PasswordDialog() {
    Session.SetParentWnd(7);
    LogOn();
  }

  /// Has the server refuse once, and gives the windows that dialogs were shown with.
  std::vector<TVqWindowHandle> Windows(TVqWinINetClient& client, TVqSOAPClient* soap = nullptr) {
    std::vector<TVqWindowHandle> windows;
    client.SetOnCredentialsDialog([&](TVqComponent&, TVqWindowHandle window, TVqCredentials& credentials) {
      windows.push_back(window);
      credentials.SetUserName("ann");
      credentials.SetPassword("geheim");
      return true;
    });
    const std::string refusal =
        "HTTP/1.1 401 Unauthorized\r\nWWW-Authenticate: Basic realm=\"x\"\r\nContent-Length: 0\r\n\r\n";
    Server.Always([refusal](const ScriptedServer::Request& request) {
      return request.Header("Authorization").empty() ? Http(refusal) : Reply("GetItem", Success("GetItem"));
    });
    TVqRef<IVqSOAPResponse> response;
    try {
      Session.CreateRequest(soap, "m:GetItem", "")->Send(response);
    } catch (const EVqHTTPApiException& failure) {
      EXPECT_EQ(failure.GetNumber(), 12015u);
    }
    client.SetOnCredentialsDialog(nullptr);
    return windows;
  }
  TVqWinINetClient& Client() { return dynamic_cast<TVqWinINetClient&>(*Session.GetHTTPClient()); }
};

TEST_F(PasswordDialog, IsShownOnTheParentWindowWhenItIsOn) {
  Session.SetPasswordDialog(true);
  EXPECT_EQ(Windows(Client()), std::vector<TVqWindowHandle>{7});
  EXPECT_EQ(LastRequest().Header("Authorization"), "Basic YW5uOmdlaGVpbQ==");
}

TEST_F(PasswordDialog, IsNotShownWhenItIsOff) {
  Session.SetPasswordDialog(false);
  EXPECT_EQ(Windows(Client()), std::vector<TVqWindowHandle>{});
  EXPECT_EQ(Client().GetParentWnd(), 7u) << "the client's own window stays";
}

TEST_F(PasswordDialog, ThreeNumbersAreRefusedLogons) {
  // The transport itself knows but the last one.
  struct TOpen : TVqWinINetClient {
    using TVqWinINetClient::AskAfterError;
  };
  for (const bool on : {false, true}) {
    Session.SetPasswordDialog(on);
    int shown = 0;
    Client().SetOnCredentialsDialog([&](TVqComponent&, TVqWindowHandle, TVqCredentials&) {
      ++shown;
      return false;
    });
    for (const std::uint32_t number : {12013u, 12014u, 12015u}) (Client().*&TOpen::AskAfterError)(number);
    EXPECT_EQ(shown, on ? 3 : 0);
    for (const std::uint32_t number : {12002u, 12007u, 12012u, 12016u, 12029u})
      (Client().*&TOpen::AskAfterError)(number);
    EXPECT_EQ(shown, on ? 3 : 0) << "another failure asks nobody";
  }
}

TEST_F(PasswordDialog, OfASeparateClientFollowsTheSession) {
  const auto http = Session.CreateHTTPClient(true);
  TVqSOAPClient* const soap = Session.CreateSOAPClient(http);
  auto& client = dynamic_cast<TVqWinINetClient&>(*http->GetComponent());
  EXPECT_EQ(Windows(client, soap), std::vector<TVqWindowHandle>{});
  Session.SetPasswordDialog(true);
  EXPECT_EQ(Windows(client, soap), std::vector<TVqWindowHandle>{7});
  delete soap;
}

// ---- Life

TEST(SessionLife, DocumentsOfAutodiscoverGoBeforeTheSession) {
  const std::int64_t before = VqLiveObjectCount();
  TTestSession session;
  const std::int64_t with = VqLiveObjectCount();
  IVqDOMDocument kept = VqCreateDOM("<Autodiscover/>");
  session.GetAutodiscoverResults()["ann@example.com"] = kept;
  session.BeforeDestruction();
  EXPECT_TRUE(session.GetAutodiscoverResults().empty());
  EXPECT_EQ(kept.GetDocumentElement().GetLocalName(), "Autodiscover") << "who holds one keeps it";
  kept = nullptr;
  session.BeforeDestruction();
  EXPECT_EQ(VqLiveObjectCount(), with);
  EXPECT_EQ(with, before + 1);
}

TEST(SessionLife, OwnClientsBelongToTheSession) {
  const std::int64_t before = VqLiveObjectCount();
  for (const bool service : {true, false}) {
    TTestSession session(service);
    session.CheckHTTPClient();
    EXPECT_EQ(session.GetHTTPClient()->GetOwner(), &session);
  }
  EXPECT_EQ(VqLiveObjectCount(), before);
}

// ---- Separate clients

TEST_F(SessionSettings, SeparateClientNeedsAnOpeningSession) {
  EXPECT_EQ(PlainMessageOf([&] { Session.CreateHTTPClient(true); }), "You must logon first!");
  Session.CheckHTTPClient();
  EXPECT_TRUE(Session.CreateHTTPClient(true)) << "opening is enough";
}

TEST_F(SessionSettings, SeparateClientTakesNoTimeOutsAndNoEvents) {
  Session.SetTimeOuts(TVqHTTPTimeOuts(5000, 5000, 5000));
  LogOn();
  const auto client = Session.CreateHTTPClient(true);
  EXPECT_EQ(client->GetTimeOuts(), TVqHTTPTimeOuts()) << "those of the HTTP layer";
  EXPECT_FALSE(client->GetComponent()->GetOnRequest());
  EXPECT_FALSE(client->GetComponent()->GetOnResponse());
  EXPECT_TRUE(Session.GetHTTPClient()->GetOnRequest());
  EXPECT_TRUE(Session.GetHTTPClient()->GetOnResponse());
}

TEST_F(SessionSettings, SeparateClientHasTheSettingsOfTheSession) {
  LogOn();
  TVqCredentials credentials;
  credentials.SetUserName("ann");
  Session.SetCredentials(credentials);
  credentials.SetUserName("proxy");
  Session.SetProxyCredentials(credentials);
  Session.GetHTTPClient()->SetAuthentication(TVqHTTPAuthentication::ntlm);
  const auto client = Session.CreateHTTPClient(true);
  EXPECT_TRUE(dynamic_cast<TVqWinHTTPClient*>(client->GetComponent()));
  EXPECT_NE(client->GetComponent(), Session.GetHTTPClient());
  EXPECT_EQ(client->GetCredentials().GetUserName(), "ann");
  EXPECT_EQ(client->GetProxyCredentials().GetUserName(), "proxy");
  EXPECT_EQ(client->GetAuthentication(), TVqHTTPAuthentication::ntlm) << "of the session's client, whichever it is";
  EXPECT_EQ(client->GetRequestHeaders().GetAccept(), "text/xml");
  EXPECT_EQ(client->GetHTTPVersion(), TVqHTTPVersion::http11);
}

TEST_F(SessionSettings, SeparateClientSharesTheSessionWhenItIsToldTo) {
  LogOn();
  const auto own = Session.GetHTTPClient()->GetSession();
  EXPECT_EQ(Session.CreateHTTPClient(true)->GetSession(), own);
  EXPECT_FALSE(Session.CreateHTTPClient(false)->GetSession() == own);
}

TEST_F(SessionSettings, EverySettingOfTheTransportGoesWithASeparateClientAndStays) {
  Session.SetCAFile("/ca.pem");
  Session.SetCRLFile("/crl.pem");
  Session.SetUserAgent("Agent/2");
  Session.SetProxyServer("proxy:8080");
  Session.SetProxyServerBypass("127.0.0.1");
  Session.SetAccessType(TVqHTTPAccessType::proxy);
  const string url = Session.GetServiceUrl();
  for (const bool shared : {true, false}) {
    for (const bool service : {true, false}) {
      for (const bool replaced : {true, false}) {
        Session.SetNTService(service);
        Session.SetServiceUrl(url);
        LogOn();
        const auto client = Session.CreateHTTPClient(shared);
        const auto look = [&] {
          const auto session = client->GetSession();
          EXPECT_EQ(session->GetCAFile(), "/ca.pem");
          EXPECT_EQ(session->GetCRLFile(), "/crl.pem");
          EXPECT_EQ(session->GetUserAgent(), "Agent/2");
          EXPECT_EQ(session->GetProxyServer(), "proxy:8080");
          EXPECT_EQ(session->GetProxyServerBypass(), "127.0.0.1");
          EXPECT_EQ(session->GetAccessType(), TVqHTTPAccessType::proxy);
        };
        look();
        if (replaced) Session.SetNTService(!service);
        Session.SetActive(false);
        look();
      }
    }
  }
}

TEST_F(SessionSettings, ClientThatStaysBehindGoesByTheProxyAsBefore) {
  ScriptedServer proxy;
  Session.SetUserAgent("Agent/2");
  Session.SetProxyServer("127.0.0.1:" + IntToStr(proxy.Port()));
  Session.SetAccessType(TVqHTTPAccessType::proxy);
  Session.CheckHTTPClient();
  const auto client = Session.CreateHTTPClient(true);
  Session.SetNTService(!Session.GetNTService());
  proxy.Then(ScriptedServer::Ok("by proxy"));
  TVqRef<IVqHTTPResponse> response;
  client->Request(response, TVqHTTPVerb::get, "http://mail.example.com/");
  EXPECT_EQ(response->GetText(), "by proxy");
  EXPECT_EQ(proxy.Requests().at(0).Header("User-Agent"), "Agent/2");
}

TEST_F(SessionSettings, TokenInForceGoesWithASeparateClientAnExpiredOneDoesNot) {
  LogOn();
  TVqOAuthAccessToken token;
  token.Token = "in-force";
  Session.SetAccessToken(token);
  EXPECT_EQ(Session.CreateHTTPClient(true)->GetOAuth().GetAccessToken().Token, "in-force");
  token.ExpiresAt = TDateTime{1};
  Session.SetAccessToken(token);
  EXPECT_EQ(Session.CreateHTTPClient(true)->GetOAuth().GetAccessToken().Token, "");
}

TEST_F(WinINetSettings, SeparateClientMayOutliveTheSession) {
  auto session = std::make_unique<TTestSession>(false);
  session->SetServiceUrl(Server.Url("/"));
  Server.Then(ProbeAnswer({}));
  session->SetActive(true);
  const auto client = session->CreateHTTPClient(true);
  session.reset();
  Server.Then("HTTP/1.1 401 Unauthorized\r\nWWW-Authenticate: Basic realm=\"x\"\r\nContent-Length: 0\r\n\r\n");
  TVqRef<IVqHTTPResponse> response;
  client->Request(response, TVqHTTPVerb::get, Server.Url("/"));
  EXPECT_EQ(response->GetStatus().Code, 401);
}

TEST_F(SessionSettings, SeparateSOAPClientGoesWithTheSessionOrEarlier) {
  const std::int64_t before = VqLiveObjectCount();
  {
    TTestSession session;
    session.SetServiceUrl(Server.Url("/"));
    Server.Then(ProbeAnswer({}));
    session.SetActive(true);
    const auto http = session.CreateHTTPClient(true);
    delete session.CreateSOAPClient(http);
    EXPECT_EQ(session.CreateSOAPClient(http)->GetOwner(), &session);
  }
  EXPECT_EQ(VqLiveObjectCount(), before);
}

/// Notes the order in which it is told who logs on.
struct TListeningClient {
  std::vector<std::string> Order;
  TVqCredentials Own, Proxy;
  TVqOAuth OAuth;
  TVqCredentials& GetCredentials() {
    Order.push_back("credentials");
    return Own;
  }
  TVqCredentials& GetProxyCredentials() {
    Order.push_back("proxy");
    return Proxy;
  }
  TVqOAuth& GetOAuth() {
    Order.push_back("OAuth");
    return OAuth;
  }
};

TEST(SessionClients, OrdersOfAssignmentDiffer) {
  TVqCredentials own, proxy;
  own.SetUserName("own");
  proxy.SetUserName("proxy");
  TVqOAuth oauth;
  oauth.SetClientId("id");
  TListeningClient client, separate;
  EwsIdentifyOwnClient(client, own, proxy, oauth);
  EwsIdentifySeparateClient(separate, own, proxy, oauth);
  EXPECT_EQ(client.Order, (std::vector<std::string>{"credentials", "proxy", "OAuth"}));
  EXPECT_EQ(separate.Order, (std::vector<std::string>{"OAuth", "credentials", "proxy"}));
  for (const auto* one : {&client, &separate}) {
    EXPECT_EQ(one->Own, own);
    EXPECT_EQ(one->Proxy, proxy);
    EXPECT_EQ(one->OAuth.GetClientId(), "id");
  }
}

}  // namespace
}  // namespace velmore::testing
