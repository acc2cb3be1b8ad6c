#include "platform/http/uVqHTTPLook.h"

#include "HTTPTestSupport.h"

using namespace velmore;

TEST(Look, ShowsARequestAndItsReplyWithoutSecrets) {
  ScriptedServer server;
  server.Then(ScriptedServer::Ok("{\"access_token\":\"Pa55w0rd!\",\"n\":1}",
                                 "Content-Type: application/json\r\nSet-Cookie: session=Pa55w0rd!; Path=/\r\n"));
  const auto client = As("anna", "Pa55w0rd!");
  client->SetAuthentication(TVqHTTPAuthentication::basic);
  std::string seen;
  client->GetComponent()->SetOnRequest(
      [&](TVqComponent&, const TVqRef<IVqHTTPRequest>& request) { seen += VqHTTPLook(*request).utf8(); });
  client->GetComponent()->SetOnResponse(
      [&](TVqComponent&, const TVqRef<IVqHTTPResponse>& reply) { seen += VqHTTPLook(*reply).utf8(); });
  const auto request = client->CreateRequest(TVqHTTPVerb::post, server.Url("/t?code=Pa55w0rd!&x=1"),
                                             "grant_type=password&password=Pa55w0rd!&client_secret=Pa55w0rd!",
                                             "application/x-www-form-urlencoded");
  request->SetHeader("Cookie", "a=Pa55w0rd!; b=Pa55w0rd!");
  request->SetHeader("Proxy-Authorization", "Basic Pa55w0rd!");
  request->Execute();
  const std::string url = server.Url("/t?code=****&x=1");
  EXPECT_EQ(seen, "POST " + url +
                      "\nContent-Type: application/x-www-form-urlencoded\nCookie: a=****; b=****\n"
                      "Proxy-Authorization: Basic ****\n\n"
                      "grant_type=password&password=****&client_secret=****\n"
                      "200 OK " +
                      url +
                      "\nContent-Length: 34\nContent-Type: application/json\nSet-Cookie: session=****; Path=/\n\n"
                      "{\"access_token\":\"****\",\"n\":1}\n");
}

TEST(Look, Headers) {
  const auto masked = [](const char* name, const char* value) { return VqHTTPMaskedHeader(name, value).utf8(); };
  EXPECT_EQ(masked("authorization", "Bearer abc"), "Bearer ****");
  EXPECT_EQ(masked("Authorization", "abc"), "****");
  EXPECT_EQ(masked("WWW-Authenticate", "NTLM TlRMTVNT"), "NTLM ****");
  EXPECT_EQ(masked("WWW-Authenticate", "Negotiate"), "Negotiate");
  EXPECT_EQ(masked("Proxy-Authenticate", "Basic realm=\"x\""), "Basic realm=\"x\"");
  EXPECT_EQ(masked("Cookie", "a=1;b"), "a=****;b");
  EXPECT_EQ(masked("Set-Cookie", "a=1; Expires=x; Path=/"), "a=****; Expires=x; Path=/");
  EXPECT_EQ(masked("Location", "https://anna:pw@h/p?token=1"), "https://****@h/p?token=****");
  EXPECT_EQ(masked("X-User-Token", "abc"), "****");
  EXPECT_EQ(masked("X-AnchorMailbox", "anna@example.com"), "anna@example.com");
}

TEST(Look, Addresses) {
  const auto masked = [](const char* url) { return VqHTTPMaskedAddress(url).utf8(); };
  EXPECT_EQ(masked("https://h/p"), "https://h/p");
  EXPECT_EQ(masked("https://anna:p@w@h/p"), "https://****@h/p");
  EXPECT_EQ(masked("https://h/?Email=anna@example.com"), "https://h/?Email=anna@example.com");
  EXPECT_EQ(masked("https://h/?x=1&ID_TOKEN=2&y=3"), "https://h/?x=1&ID_TOKEN=****&y=3");
  EXPECT_EQ(masked("http://127.0.0.1/#access_token=2"), "http://127.0.0.1/#access_token=****");
  EXPECT_EQ(masked(""), "");
}

TEST(Look, BodiesByTheirType) {
  const auto masked = [](const char* body, const char* type) { return VqHTTPMaskedBody(body, type).utf8(); };
  EXPECT_EQ(masked("a=1&code=2&code_verifier=3&token=", "Application/X-WWW-Form-Urlencoded; charset=utf-8"),
            "a=1&code=****&code_verifier=****&token=****");
  EXPECT_EQ(masked(R"({"a":{"refresh_token" : "x\"y", "b":"token"},"client_secret":["x"],"id_token":null})",
                   "application/json"),
            R"({"a":{"refresh_token" : "****", "b":"token"},"client_secret":"****"],"id_token":"****"})");
  EXPECT_EQ(masked(R"({"access_token":"cut)", "application/json"), R"({"access_token":"****")");
  EXPECT_EQ(masked(R"({"access_token)", "application/json"), R"({"access_token)");
  EXPECT_EQ(masked("<a><t:Password x='1'>pw</t:Password><NewPassword>pw</NewPassword><Password/>x</a>", "text/xml"),
            "<a><t:Password x='1'>****</t:Password><NewPassword>****</NewPassword><Password/>x</a>");
  EXPECT_EQ(masked("<Password>cut", "text/xml"), "<Password>****");
  EXPECT_EQ(masked("password=x", "text/plain"), "password=x");
  const auto xml = [&](const char* body) { return masked(body, "text/xml; charset=utf-8"); };
  EXPECT_EQ(xml("<OldPassword ><![CDATA[x</OldPassword y]]></OldPassword><b/>"),
            "<OldPassword >****</OldPassword><b/>");
  EXPECT_EQ(xml("<t:Password>x<a/>y</t:Password>"), "<t:Password>****</t:Password>");
  EXPECT_EQ(xml("<a ClientSecret='x>y' Id = \"1\" t:token=\"z\"/>"),
            "<a ClientSecret='****' Id = \"1\" t:token=\"****\"/>");
  EXPECT_EQ(xml("<a password=\"cut off"), "<a password=\"****");
  EXPECT_EQ(xml("<Token/><Token></Token>"), "<Token/><Token></Token>");
  EXPECT_EQ(xml("<?xml version=\"1.0\"?><!-- < --><a><![CDATA[<Token>]]>b</a>"),
            "<?xml version=\"1.0\"?><!-- < --><a><![CDATA[<Token>]]>b</a>");
  for (const char* body : {"", "plain", "<", "<>", "< a", "a>b", "<a b=c>"}) EXPECT_EQ(xml(body), body);
}

TEST(Look, ALongBodyIsCutBehindTheMasking) {
  const auto client = NewClient();
  const auto request = client->CreateRequest(TVqHTTPVerb::post, "http://h/",
                                             "password=" + std::string(100, 'x') + "&a=" + std::string(100, 'y'),
                                             "application/x-www-form-urlencoded");
  EXPECT_EQ(VqHTTPLook(*request, 20).utf8(),
            "POST http://h/\nContent-Type: application/x-www-form-urlencoded\n\npassword=****&a=yyyy...\n");
}
