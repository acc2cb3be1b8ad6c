// A connection and a cookie belong to who they were made for.

#include <map>

#include "HTTPTestSupport.h"

using namespace velmore;

namespace {

using Change = std::function<void(IVqHTTPClient&)>;

// Every setting that says who comes, changed alone.
const std::vector<std::pair<const char*, Change>> kChanges = {
    {"user name", [](IVqHTTPClient& client) { client.GetCredentials().SetUserName("bert"); }},
    {"password", [](IVqHTTPClient& client) { client.GetCredentials().SetPassword("other"); }},
    {"domain", [](IVqHTTPClient& client) { client.GetCredentials().SetDomain("CONTOSO"); }},
    {"no credentials", [](IVqHTTPClient& client) { client.GetCredentials().Clear(); }},
    {"scheme", [](IVqHTTPClient& client) { client.SetAuthentication(TVqHTTPAuthentication::basic); }},
    {"anonymous", [](IVqHTTPClient& client) { client.SetAuthentication(TVqHTTPAuthentication::anonymous); }},
    {"proxy's user", [](IVqHTTPClient& client) { client.GetProxyCredentials().SetUserName("pia"); }},
    {"proxy's password", [](IVqHTTPClient& client) { client.GetProxyCredentials().SetPassword("pw"); }},
    {"client id", [](IVqHTTPClient& client) { client.GetOAuth().SetClientId("id"); }},
    {"client secret", [](IVqHTTPClient& client) { client.GetOAuth().SetClientSecret("secret"); }},
    {"grant", [](IVqHTTPClient& client) { client.GetOAuth().SetGrantType(TVqOAuthGrantType::Password); }},
    {"scope", [](IVqHTTPClient& client) { client.GetOAuth().SetScope("scope"); }},
    {"token end point", [](IVqHTTPClient& client) { client.GetOAuth().SetTokenEndpoint("https://t/"); }},
    {"authorisation end point",
     [](IVqHTTPClient& client) { client.GetOAuth().SetAuthorizationEndpoint("https://a/"); }},
    {"redirect", [](IVqHTTPClient& client) { client.GetOAuth().SetRedirectURI("https://r/"); }},
    {"token",
     [](IVqHTTPClient& client) {
       client.GetOAuth().SetAccessToken({"t0k3n", "", "", "", {}});
     }},
};

void Greets(ScriptedServer& server) {
  server.Always([](const ScriptedServer::Request& request) {
    return Plain(ScriptedServer::Ok("x", "Set-Cookie: who=" + std::to_string(request.Connection) + "\r\n"));
  });
}

}  // namespace

TEST(Identity, EveryChangeOfItTakesANewConnectionWithoutTheCookies) {
  for (const auto& [name, change] : kChanges) {
    ScriptedServer server;
    Greets(server);
    const auto client = As("anna", "geheim");
    Get(client, server.Url());
    Get(client, server.Url());
    EXPECT_EQ(server.Connections(), 1) << name;
    EXPECT_EQ(server.Requests()[1].Header("Cookie"), "who=1") << name;
    change(*client);
    Get(client, server.Url());
    EXPECT_EQ(server.Connections(), 2) << name;
    EXPECT_EQ(server.Requests()[2].Header("Cookie"), "") << name;
    EXPECT_TRUE(server.WaitFor([&] { return server.OpenConnections() == 1; })) << name << ": the former one is closed";
    Get(client, server.Url());
    EXPECT_EQ(server.Connections(), 2) << name << ": once is enough";
    EXPECT_EQ(server.Requests()[3].Header("Cookie"), "who=2") << name;
    EXPECT_EQ(client->GetSession()->GetCookies().Count(), 1) << name << ": those of the former identity are gone";
  }
}

TEST(Identity, TheSameValuesAgainAreNoChange) {
  ScriptedServer server;
  Greets(server);
  const auto client = As("anna", "geheim");
  client->GetSession()->GetCookies().Add("", "mine=1");
  for (int i = 0; i < 3; ++i) {
    TVqCredentials same;
    same.SetUserName("anna");
    same.SetPassword("geheim");
    client->GetCredentials().Assign(same);
    client->SetAuthentication(TVqHTTPAuthentication::byChallenge);
    Get(client, server.Url());
  }
  EXPECT_EQ(server.Connections(), 1);
  EXPECT_EQ(server.Requests()[2].Header("Cookie"), "who=1; mine=1");
}

TEST(Identity, CookiesOfTheApplicationStay) {
  ScriptedServer server;
  Greets(server);
  const auto client = As("anna", "geheim");
  client->GetSession()->GetCookies().Add("", "mine=1");
  Get(client, server.Url());
  client->GetCredentials().SetUserName("bert");
  Get(client, server.Url());
  EXPECT_EQ(server.Requests()[1].Header("Cookie"), "mine=1");
}

TEST(Identity, ARenewedTokenOfAGrantThatNamesWhoComesIsNoChange) {
  for (const auto grant : {TVqOAuthGrantType::none, TVqOAuthGrantType::Authorize, TVqOAuthGrantType::Password,
                           TVqOAuthGrantType::ClientCredentials}) {
    ScriptedServer server;
    Greets(server);
    const auto client = NewClient();
    client->SetAuthentication(TVqHTTPAuthentication::oAuth);
    client->GetOAuth().SetGrantType(grant);
    for (const char* token : {"one", "two"}) {
      client->GetOAuth().SetAccessToken({token, "", "", "", {}});
      Get(client, server.Url());
    }
    const bool named = grant == TVqOAuthGrantType::Password || grant == TVqOAuthGrantType::ClientCredentials;
    EXPECT_EQ(server.Connections(), named ? 1 : 2) << static_cast<int>(grant);
    EXPECT_EQ(server.Requests()[1].Header("Authorization"), "Bearer two");
  }
}

TEST(Identity, ClientsOfOneSessionShareCookiesOnlyWhenTheyAreOne) {
  ScriptedServer server;
  Greets(server);
  TTestHTTPSession session;
  const auto join = [&](const TVqRef<IVqHTTPClient>& client) {
    session.Join(client);
    return client;
  };
  const auto anna = join(As("anna", "geheim")), again = join(As("anna", "geheim")), bert = join(As("bert", "geheim"));
  Get(anna, server.Url());
  Get(again, server.Url());
  Get(bert, server.Url());
  EXPECT_EQ(server.Requests()[1].Header("Cookie"), "who=1");
  EXPECT_EQ(server.Requests()[2].Header("Cookie"), "");
  // Anna becomes somebody else; the cookies stay for the client that is still anna.
  anna->GetCredentials().SetPassword("wrong");
  Get(anna, server.Url());
  EXPECT_EQ(server.Requests()[3].Header("Cookie"), "");
  Get(again, server.Url());
  EXPECT_EQ(server.Requests()[4].Header("Cookie"), "who=2");
}

TEST(Identity, AFailedLogOnDoesNotGoOnAsTheFormerUser) {
  ScriptedServer server;
  const std::string annas = "Basic " + EncodeBase64("anna:geheim");
  server.Always([&](const ScriptedServer::Request& request) {
    return Plain(request.Header("Authorization") == annas ? ScriptedServer::Ok("anna", "Set-Cookie: session=annas\r\n")
                                                          : Refusal("WWW-Authenticate: Basic realm=\"x\"\r\n"));
  });
  const auto client = As("anna", "geheim");
  EXPECT_EQ(Get(client, server.Url())->GetText(), "anna");
  client->GetCredentials().SetUserName("bert");
  client->GetCredentials().SetPassword("wrong");
  EXPECT_EQ(Get(client, server.Url())->GetStatus().Code, 401);
  for (std::size_t i = 2; i < server.Requests().size(); ++i) {
    EXPECT_EQ(server.Requests()[i].Header("Cookie"), "");
    EXPECT_NE(server.Requests()[i].Header("Authorization"), annas);
    EXPECT_NE(server.Requests()[i].Connection, 1);
  }
}

// A proxy that takes a connection for whoever spoke on it first, as those with NTLM do.
TEST(Identity, AProxyThatAuthenticatesTheConnectionIsLeftToo) {
  ScriptedServer proxy;
  std::map<int, std::string> known;
  proxy.Always([&](const ScriptedServer::Request& request) {
    const std::string sent = request.Header("Proxy-Authorization");
    std::string& who = known[request.Connection];
    if (who.empty() && !sent.empty()) who = DecodeBase64(std::string_view(sent).substr(6));
    return Plain(who.empty()
                     ? "HTTP/1.1 407 Proxy\r\nProxy-Authenticate: Basic realm=\"p\"\r\nContent-Length: 0\r\n\r\n"
                     : ScriptedServer::Ok(who));
  });
  const auto client = NewClient();
  client->GetSession()->SetAccessType(TVqHTTPAccessType::proxy);
  client->GetSession()->SetProxyServer("127.0.0.1:" + std::to_string(proxy.Port()));
  for (const char* user : {"pia", "paul"}) {
    client->GetProxyCredentials().SetUserName(user);
    client->GetProxyCredentials().SetPassword("pw");
    for (int i = 0; i < 2; ++i) {
      EXPECT_EQ(Get(client, "http://mail.example.invalid/")->GetText(), std::string(user) + ":pw");
    }
  }
}

// ---- Settings that a client keeps

TEST(OutlivedSession, LeavesItsSettingsAndCookiesBehind) {
  ScriptedServer proxy;
  proxy.Always([](const auto&) { return Plain(ScriptedServer::Ok("through", "Set-Cookie: a=1\r\n")); });
  TVqRef<IVqHTTPClient> client = As("anna", "geheim");
  {
    TTestHTTPSession shared;
    TVqHTTPSessionBase& session = *shared;
    session.SetUserAgent("agent");
    session.SetAccessType(TVqHTTPAccessType::proxy);
    session.SetProxyServer("127.0.0.1:" + std::to_string(proxy.Port()));
    session.SetProxyServerBypass("direct.invalid");
    session.SetCAFile("ca.pem");
    session.SetCRLFile("crl.pem");
    session.SetLowestTls(TVqHTTPTlsVersion::tls13);
    TVqHTTPLimits limits;
    limits.HeaderBytes = 12345;
    session.SetLimits(limits);
    session.SetConnectTo({{"a:1", "b:2"}});
    shared.Join(client);
    Get(client, "http://mail.example.invalid/");
  }
  EXPECT_EQ(Get(client, "http://mail.example.invalid/")->GetText(), "through");
  EXPECT_EQ(proxy.Requests()[1].Header("User-Agent"), "agent");
  EXPECT_EQ(proxy.Requests()[1].Header("Cookie"), "a=1");
  const TVqRef<IVqHTTPSession> own = client->GetSession();
  EXPECT_EQ(own->GetUserAgent(), "agent");
  EXPECT_EQ(own->GetAccessType(), TVqHTTPAccessType::proxy);
  EXPECT_EQ(own->GetProxyServer(), "127.0.0.1:" + std::to_string(proxy.Port()));
  EXPECT_EQ(own->GetProxyServerBypass(), "direct.invalid");
  EXPECT_EQ(own->GetCAFile(), "ca.pem");
  EXPECT_EQ(own->GetCRLFile(), "crl.pem");
  EXPECT_EQ(own->GetLowestTls(), TVqHTTPTlsVersion::tls13);
  EXPECT_EQ(own->GetLimits().HeaderBytes, 12345U);
  EXPECT_EQ(own->GetConnectTo().size(), 1U);
  own->SetUserAgent("another");
  Get(client, "http://mail.example.invalid/");
  EXPECT_EQ(proxy.Requests()[2].Header("User-Agent"), "another") << "and they can still be changed";
}
