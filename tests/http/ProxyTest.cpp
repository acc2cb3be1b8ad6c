#include "HTTPTestSupport.h"
#include "platform/http/uVqHTTPEngine_p.h"

using namespace velmore;

namespace {

TVqHTTPRoute RouteOf(const char* server, const char* bypass, const char* host, const char* scheme = "http") {
  TVqHTTPSessionSettings settings;
  settings.AccessType = TVqHTTPAccessType::proxy;
  settings.ProxyServer = server;
  settings.ProxyServerBypass = bypass;
  return VqHTTPRouteFor(settings, scheme, host);
}

bool Bypassed(const char* list, const char* host) {
  return RouteOf("p:1", list, host).Kind == TVqHTTPRouteKind::direct;
}

TVqRef<IVqHTTPClient> Through(const ScriptedServer& proxy) {
  const auto client = NewClient();
  client->GetSession()->SetAccessType(TVqHTTPAccessType::proxy);
  client->GetSession()->SetProxyServer("127.0.0.1:" + std::to_string(proxy.Port()));
  return client;
}

}  // namespace

TEST(ProxyRoute, AccessTypeDecides) {
  TVqHTTPSessionSettings settings;
  settings.ProxyServer = "p:1";
  EXPECT_EQ(VqHTTPRouteFor(settings, "http", "h").Kind, TVqHTTPRouteKind::system);
  settings.AccessType = TVqHTTPAccessType::direct;
  EXPECT_EQ(VqHTTPRouteFor(settings, "http", "h").Kind, TVqHTTPRouteKind::direct);
  settings.AccessType = TVqHTTPAccessType::proxy;
  EXPECT_EQ(VqHTTPRouteFor(settings, "http", "h").Proxy, "p:1");
  settings.ProxyServer = "";
  EXPECT_EQ(VqHTTPRouteFor(settings, "http", "h").Kind, TVqHTTPRouteKind::direct);
}

TEST(ProxyRoute, AListBySchemeAndAnEntryForTheRest) {
  EXPECT_EQ(RouteOf("http=a:1;https=b:2", "", "h").Proxy, "a:1");
  EXPECT_EQ(RouteOf("http=a:1;https=b:2", "", "h", "https").Proxy, "b:2");
  EXPECT_EQ(RouteOf("ftp=a:1", "", "h").Kind, TVqHTTPRouteKind::direct);
  EXPECT_EQ(RouteOf("rest:3 https=b:2", "", "h").Proxy, "rest:3");
  EXPECT_EQ(RouteOf("rest:3 https=b:2", "", "h", "https").Proxy, "b:2");
}

TEST(ProxyRoute, BypassListByNamePatternAndLocal) {
  EXPECT_TRUE(Bypassed("a.example;B.example", "b.EXAMPLE"));
  EXPECT_TRUE(Bypassed("a.example b.example", "a.example"));
  EXPECT_FALSE(Bypassed("a.example", "xa.example"));
  EXPECT_TRUE(Bypassed("*.example", "mail.inner.example"));
  EXPECT_FALSE(Bypassed("*.example", "example"));
  EXPECT_TRUE(Bypassed("10.*", "10.1.2.3"));
  EXPECT_FALSE(Bypassed("10.*", "110.1.2.3"));
  EXPECT_TRUE(Bypassed("a*c*e", "abcde"));
  EXPECT_TRUE(Bypassed("*", "anything"));
  EXPECT_TRUE(Bypassed("<local>", "intranet"));
  EXPECT_FALSE(Bypassed("<local>", "mail.example"));
  EXPECT_FALSE(Bypassed("<local>", "::1"));
  EXPECT_TRUE(Bypassed("[::1]", "::1"));
  EXPECT_TRUE(Bypassed("http://a.example", "a.example"));
  EXPECT_FALSE(Bypassed("https://a.example", "a.example"));
  EXPECT_FALSE(Bypassed("", "a.example"));
}

TEST(Proxy, PlainRequestsGoToItWithTheWholeAddress) {
  ScriptedServer proxy;
  proxy.Then(ScriptedServer::Ok("through"));
  EXPECT_EQ(Get(Through(proxy), "http://mail.example.invalid/path?q")->GetText(), "through");
  EXPECT_EQ(proxy.Requests()[0].Target(), "http://mail.example.invalid/path?q");
}

TEST(Proxy, BypassedHostsAreReachedDirectly) {
  ScriptedServer proxy, server;
  server.Then(ScriptedServer::Ok("direct"));
  const auto client = Through(proxy);
  client->GetSession()->SetProxyServerBypass("<local>;127.0.0.*");
  EXPECT_EQ(Get(client, server.Url())->GetText(), "direct");
  EXPECT_EQ(proxy.Connections(), 0);
}

TEST(Proxy, TheMachinesConfigurationIsHeededByPreConfigOnly) {
  ScriptedServer proxy;
  proxy.Then(ScriptedServer::Ok("through"));
  ScriptedServer server;
  server.Then(ScriptedServer::Ok("direct"));
  setenv("http_proxy", ("http://127.0.0.1:" + std::to_string(proxy.Port())).c_str(), 1);
  const auto client = NewClient();
  const string first = Get(client, server.Url())->GetText();
  client->GetSession()->SetAccessType(TVqHTTPAccessType::direct);
  const string second = Get(client, server.Url())->GetText();
  unsetenv("http_proxy");
  EXPECT_EQ(first, "through");
  EXPECT_EQ(second, "direct");
}

TEST(Proxy, CredentialsAfterItsChallengeAndNeverToTheServer) {
  ScriptedServer proxy;
  proxy.Then("HTTP/1.1 407 Proxy\r\nProxy-Authenticate: Basic realm=\"p\"\r\nContent-Length: 0\r\n\r\n")
      .Then(ScriptedServer::Ok("through"));
  const auto client = Through(proxy);
  client->GetProxyCredentials().SetUserName("anna");
  client->GetProxyCredentials().SetPassword("geheim");
  EXPECT_EQ(Get(client, "http://mail.example.invalid/")->GetText(), "through");
  EXPECT_EQ(proxy.Requests()[0].Header("Proxy-Authorization"), "");
  EXPECT_EQ(proxy.Requests()[1].Header("Proxy-Authorization"), "Basic YW5uYTpnZWhlaW0=");
  EXPECT_EQ(proxy.Requests()[1].Header("Authorization"), "");
  EXPECT_EQ(proxy.Complaints(), "");
}

TEST(Proxy, ItsRefusalIsGivenBack) {
  for (const bool tunnel : {false, true}) {
    ScriptedServer proxy;
    proxy.Always([](const auto&) {
      return ScriptedServer::Answer{
          "HTTP/1.1 407 Proxy\r\nProxy-Authenticate: Basic realm=\"p\"\r\nContent-Length: 0\r\n\r\n",
          0,
          {},
          {},
          false,
          false,
          false,
          false};
    });
    const auto client = Through(proxy);
    const char* const url = tunnel ? "https://mail.example.invalid/" : "http://mail.example.invalid/";
    const auto anonymous = Get(client, url);
    EXPECT_EQ(anonymous->GetStatus().Code, 407);
    EXPECT_EQ(anonymous->GetOfferedSchemes(), std::vector<string>{"Basic"});
    EXPECT_EQ(anonymous->GetTriedScheme(), "");
    EXPECT_EQ(anonymous->GetAuthenticationHint(), "No user name is set for the proxy.");
    client->GetProxyCredentials().SetUserName("anna");
    client->GetProxyCredentials().SetPassword("geheim");
    const auto refused = Get(client, url);
    EXPECT_EQ(refused->GetStatus().Code, 407);
    EXPECT_EQ(refused->GetTriedScheme(), "Basic");
    EXPECT_EQ(proxy.Requests()[0].Method(), tunnel ? "CONNECT" : "GET");
  }
}

TEST(Proxy, WithoutATicketItsNextOfferIsTaken) {
  ScriptedServer proxy;
  proxy.Always([](const ScriptedServer::Request& request) {
    const bool in = request.Header("Proxy-Authorization") == "Basic YW5uYTpnZWhlaW0=";
    return ScriptedServer::Answer{in ? ScriptedServer::Ok("through")
                                     : "HTTP/1.1 407 Proxy\r\nProxy-Authenticate: Negotiate\r\n"
                                       "Proxy-Authenticate: Basic realm=\"p\"\r\nContent-Length: 0\r\n\r\n",
                                  0,
                                  {},
                                  {},
                                  false,
                                  false,
                                  false,
                                  false};
  });
  setenv("KRB5CCNAME", "FILE:/nowhere/ticket", 1);
  const auto client = Through(proxy);
  client->GetProxyCredentials().SetUserName("anna");
  client->GetProxyCredentials().SetPassword("geheim");
  EXPECT_EQ(Get(client, "http://mail.example.invalid/")->GetText(), "through");
  unsetenv("KRB5CCNAME");
}

TEST(Proxy, ATunnelThatItRefusesIsNoConnection) {
  ScriptedServer proxy;
  proxy.Then("HTTP/1.1 403 No\r\nContent-Length: 0\r\n\r\n");
  std::string text;
  EXPECT_EQ(NumberOf([&] { Get(Through(proxy), "https://mail.example.invalid/"); }, &text), 12029U);
  EXPECT_EQ(text, "The proxy refused the connection to \"mail.example.invalid\" with status 403.");
}

TEST(Proxy, NobodyListeningAndUnknownName) {
  const auto client = NewClient();
  client->GetSession()->SetAccessType(TVqHTTPAccessType::proxy);
  client->GetSession()->SetProxyServer("127.0.0.1:1");
  EXPECT_EQ(NumberOf([&] { Get(client, "http://mail.example.invalid/"); }), 12029U);
  client->GetSession()->SetProxyServer(
      "a-label-of-more-than-sixty-three-characters-is-never-asked-for-on-the-net.example:8080");
  EXPECT_EQ(NumberOf([&] { Get(client, "http://mail.example.invalid/"); }), 12007U);
}
