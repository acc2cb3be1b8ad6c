// The grants against a token server that no one here wrote, which checks proof keys, redirect addresses, clients and
// lifetimes by itself, and with a real browser on its login page.

#include <gtest/gtest.h>

#include "platform/http/uVqHTTPClient.h"
#include "platform/http/uVqHTTPOAuthGrants_p.h"
#include "tests/support/EWSTestSupport.h"
#include "tests/support/TestTokenServer.h"

namespace velmore::testing {
namespace {

using TGrant = TVqOAuthGrantType;
using Names = std::vector<std::string>;

class RealOAuth : public ::testing::Test {
 protected:
  void SetUp() override {
    if (const std::string missing = TestTokenServer::Missing(); !missing.empty()) GTEST_SKIP() << missing;
    FServer = std::make_unique<TestTokenServer>(VELMORE_SOURCE "/tests/support/token_server.py");
  }
  ~RealOAuth() override { VqOnOpenBrowser = {}; }

  TVqRef<IVqHTTPClient> Client(TGrant grant, const char* id = "web", const char* secret = "web-secret") const {
    const TVqRef<IVqHTTPClient> client = TVqHTTPClient(true);
    client->SetAuthentication(TVqHTTPAuthentication::oAuth);
    client->GetCredentials().SetUserName("anna");
    client->GetCredentials().SetPassword("geheim");
    TVqOAuth& oauth = client->GetOAuth();
    oauth.SetClientId(id);
    oauth.SetClientSecret(secret);
    oauth.SetTokenEndpoint(FServer->Url("/token"));
    oauth.SetAuthorizationEndpoint(FServer->Url("/authorize"));
    oauth.SetRedirectURI("http://127.0.0.1/app");
    oauth.SetScope("mail offline_access");
    oauth.SetGrantType(grant);
    return client;
  }
  std::string Read(const TVqRef<IVqHTTPClient>& client) const {
    TVqRef<IVqHTTPResponse> response;
    client->Request(response, TVqHTTPVerb::get, FServer->Url("/EWS/Exchange.asmx"));
    return response->GetStatus().Code == 200 ? response->GetText().utf8() : std::to_string(response->GetStatus().Code);
  }
  static string ErrorOf(const std::function<void()>& job) {
    try {
      job();
    } catch (const EVqOAuthException& failure) {
      return failure.GetError();
    }
    return "nothing raised";
  }
  /// What a browser does with the login page when a person types this password, without a browser.
  static void Type(const string& url, const string& password) {
    const TVqRef<IVqHTTPClient> browser = TVqHTTPClient(true);
    TVqRef<IVqHTTPResponse> response;
    browser->Request(response, TVqHTTPVerb::get, url);
    EXPECT_NE(response->GetText().utf8().find("<h1>Sign in</h1>"), std::string::npos) << response->GetText().utf8();
    browser->Request(response, TVqHTTPVerb::post, url, "user=anna&password=" + password.utf8(),
                     "application/x-www-form-urlencoded");
    EXPECT_EQ(response->GetStatus().Code, 302) << response->GetText().utf8();
    browser->Request(response, TVqHTTPVerb::get, response->GetHeader("Location"));
    EXPECT_EQ(response->GetStatus().Code, 200);
  }

  std::unique_ptr<TestTokenServer> FServer;
};

TEST_F(RealOAuth, ClientCredentialsWithTheSecretWhereTheServerWantsIt) {
  EXPECT_EQ(Read(Client(TGrant::ClientCredentials)), "mail of None");
  const auto poster = Client(TGrant::ClientCredentials, "poster", "post-secret");
  EXPECT_EQ(ErrorOf([&] { Read(poster); }), "invalid_client") << "not in the header";
  poster->GetOAuth().SetClientAuthentication(TVqOAuthClientAuthentication::post);
  EXPECT_EQ(Read(poster), "mail of None");
  EXPECT_EQ(ErrorOf([&] { Read(Client(TGrant::ClientCredentials, "web", "another")); }), "invalid_client");
  EXPECT_EQ(ErrorOf([&] { Read(Client(TGrant::ClientCredentials, "nobody", "web-secret")); }), "invalid_client");
}

TEST_F(RealOAuth, PasswordWithAndWithoutASecret) {
  EXPECT_EQ(Read(Client(TGrant::Password)), "mail of anna");
  EXPECT_EQ(Read(Client(TGrant::Password, "desktop", "")), "mail of anna");
  const auto wrong = Client(TGrant::Password);
  wrong->GetCredentials().SetPassword("another");
  EXPECT_NE(ErrorOf([&] { Read(wrong); }), "nothing raised");
  EXPECT_EQ(FServer->Log().back().substr(0, 18), "token password 400");
}

TEST_F(RealOAuth, TokenThatTheServerSaysIsOverIsRefreshedOnceARequest) {
  FServer->SetLifetime(0);
  const auto client = Client(TGrant::Password);
  EXPECT_EQ(Read(client), "401") << "the new one is over as well";
  EXPECT_EQ(FServer->Log(), (Names{"token password 200 granted", "token refresh_token 200 granted"}));
  FServer->SetLifetime(60);
  EXPECT_EQ(Read(client), "mail of anna");
  EXPECT_EQ(Read(client), "mail of anna");
  EXPECT_EQ(FServer->Log().size(), 5U) << "one more refresh, and two readings";
}

TEST_F(RealOAuth, PersonWhoLogsOnIsAskedOnce) {
  for (const char* id : {"desktop", "web"}) {
    std::thread person;
    VqOnOpenBrowser = [&](const string& url) { person = std::thread([url] { Type(url, "geheim"); }); };
    const auto client = Client(TGrant::Authorize, id, string(id) == "web" ? "web-secret" : "");
    EXPECT_EQ(Read(client), "mail of anna") << id;
    person.join();
    VqOnOpenBrowser = [](const string&) { ADD_FAILURE(); };
    client->GetOAuth().SetAccessToken({"", "", client->GetOAuth().GetAccessToken().RefreshToken, "", {}});
    EXPECT_EQ(Read(client), "mail of anna") << "by the refresh token";
  }
}

TEST_F(RealOAuth, PersonWhoIsRefusedIsToldAndNoTokenIsAskedFor) {
  std::thread person;
  VqOnOpenBrowser = [&](const string& url) { person = std::thread([url] { Type(url, "wrong"); }); };
  EXPECT_EQ(ErrorOf([&] { Read(Client(TGrant::Authorize)); }), "access_denied");
  person.join();
  EXPECT_EQ(FServer->Log(), (Names{"login page shown to a program", "logged on nobody"}));
}

TEST_F(RealOAuth, ServerReallyLooksAtProofKeyAndRedirectAddress) {
  string code, redirect;
  const auto steal = [&](const string& url) {
    const TVqRef<IVqHTTPClient> browser = TVqHTTPClient(true);
    TVqRef<IVqHTTPResponse> response;
    browser->Request(response, TVqHTTPVerb::post, url, "user=anna&password=geheim",
                     "application/x-www-form-urlencoded");
    const string location = response->GetHeader("Location");
    redirect = location.Copy(0, location.Pos(u"?"));
    for (const auto& [name, value] : VqFormDecode(location.Copy(location.Pos(u"?") + 1).utf8())) {
      if (name == "code") code = value;
    }
    throw EAbort("seen enough");
  };
  VqOnOpenBrowser = steal;
  EXPECT_THROW(Read(Client(TGrant::Authorize)), EAbort);
  ASSERT_NE(code, "");
  const auto ask = [&](const string& to, const char* verifier) {
    const TVqRef<IVqHTTPClient> thief = TVqHTTPClient(true);
    TVqRef<IVqHTTPResponse> response;
    thief->Request(response, TVqHTTPVerb::post, FServer->Url("/token"),
                   VqFormEncode({{"grant_type", "authorization_code"},
                                 {"client_id", "web"},
                                 {"client_secret", "web-secret"},
                                 {"code", code.utf8()},
                                 {"redirect_uri", to.utf8()},
                                 {"code_verifier", verifier}}),
                   "application/x-www-form-urlencoded");
    return response->GetStatus().Code;
  };
  EXPECT_GE(ask(redirect, "0123456789012345678901234567890123456789012"), 400);
  EXPECT_GE(ask("http://127.0.0.1:1/app", "0123456789012345678901234567890123456789012"), 400);
  VqOnOpenBrowser = [&](const string& url) {
    const TVqRef<IVqHTTPClient> browser = TVqHTTPClient(true);
    TVqRef<IVqHTTPResponse> response;
    browser->Request(response, TVqHTTPVerb::get, url);
    EXPECT_EQ(response->GetStatus().Code, 400);
    throw EAbort("seen enough");
  };
  const auto elsewhere = Client(TGrant::Authorize);
  elsewhere->GetOAuth().SetRedirectURI("http://127.0.0.1/elsewhere");
  EXPECT_THROW(Read(elsewhere), EAbort);
  EXPECT_EQ(FServer->Log().back(), "authorize refused invalid_request");
}

TEST_F(RealOAuth, RealBrowserGoesThroughTheLoginPageAndComesBack) {
  if (const std::string missing = TestBrowser::Missing(); !missing.empty()) GTEST_SKIP() << missing;
  FServer->SetTyping();
  std::unique_ptr<TestBrowser> browser;
  VqOnOpenBrowser = [&](const string& url) { browser = std::make_unique<TestBrowser>(url.utf8()); };
  EXPECT_EQ(Read(Client(TGrant::Authorize, "desktop", "")), "mail of anna");
  EXPECT_EQ(FServer->Log(), (Names{"login page shown to a browser", "logged on anna",
                                   "token authorization_code 200 granted", "mail read"}));
}

}  // namespace
}  // namespace velmore::testing
