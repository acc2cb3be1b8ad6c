// The programs of the page on OAuth, run against a simulator's token endpoint as a tenant would have it, and the other
// code of the page.

#include <gtest/gtest.h>

#include <thread>

#include "ews/VelmoreEWS.h"
#include "platform/http/uVqHTTPClient.h"
#include "tests/simulator/ProgramTestSupport.h"
#include "tests/support/EWSTestSupport.h"

using namespace velmore;

namespace velmore::testing {
namespace {

simulator::Options Tenant() {
  simulator::Options options = TwoUsers();
  simulator::User service{"service", "service@example.com", "The service", "service-secret"};
  service.may_impersonate = true;
  options.users.push_back(service);
  options.authentication = {"Basic", "Bearer"};
  return options;
}

class GuideOAuth : public EWSTest {
 protected:
  GuideOAuth() : EWSTest(Tenant()) {
    const std::string url = Server().HttpUrl(), host = url.substr(0, url.find("/EWS"));
    for (const auto& [name, value] :
         std::vector<std::pair<const char*, std::string>>{{"EWS_URL", url},
                                                          {"TOKEN_ENDPOINT", host + "/oauth2/token"},
                                                          {"AUTHORIZATION_ENDPOINT", host + "/oauth2/authorize"},
                                                          {"CLIENT_ID", "service"},
                                                          {"CLIENT_SECRET", "service-secret"},
                                                          {"SCOPE", "ews"},
                                                          {"MAILBOX", kAlice},
                                                          {"PASSWORD", "wonder"}}) {
      ::setenv(name, value.c_str(), 1);
      FNames.push_back(name);
    }
    for (const char* name : {"DISPLAY", "WAYLAND_DISPLAY"}) ::unsetenv(name);
  }
  ~GuideOAuth() override {
    for (const char* name : FNames) ::unsetenv(name);
    VqOnOpenBrowser = {};
    TVqEWSCustomSession::SetOnGetOAuthAuthorizeForm({});
  }

 public:
  /// Alice at the page that a program shows.
  static void LogOnAt(const string& url) {
    const TVqRef<IVqHTTPClient> browser = TVqHTTPClient(true);
    browser->SetAuthentication(TVqHTTPAuthentication::basic);
    browser->GetCredentials().SetUserName("alice");
    browser->GetCredentials().SetPassword("wonder");
    TVqRef<IVqHTTPResponse> response;
    browser->Request(response, TVqHTTPVerb::get, url);
    ASSERT_EQ(response->GetStatus().Code, 302) << response->GetText().utf8();
    browser->SetAuthentication(TVqHTTPAuthentication::anonymous);
    browser->Request(response, TVqHTTPVerb::get, response->GetHeader("Location"));
    EXPECT_EQ(response->GetStatus().Code, 200);
  }

 private:
  std::vector<const char*> FNames;
};

TEST_F(GuideOAuth, ServiceLogsOnForAMailbox) {
  simulator::testing::Program program({VELMORE_OAUTH_CLIENT_CREDENTIALS});
  EXPECT_EQ(program.Wait(), 0) << program.Output();
  EXPECT_EQ(program.Output(), "alice@example.com: 0 items\n");
  ::setenv("CLIENT_SECRET", "another", 1);
  simulator::testing::Program wrong({VELMORE_OAUTH_CLIENT_CREDENTIALS});
  EXPECT_EQ(wrong.Wait(), 1);
  EXPECT_TRUE(wrong.Output().starts_with("No token (invalid_client): ")) << wrong.Output();
}

TEST_F(GuideOAuth, PasswordIsGivenForAToken) {
  simulator::testing::Program program({VELMORE_OAUTH_PASSWORD});
  EXPECT_EQ(program.Wait(), 0) << program.Output();
  EXPECT_EQ(program.Output(), "alice@example.com: 0 items\n");
  ::setenv("PASSWORD", "another", 1);
  simulator::testing::Program wrong({VELMORE_OAUTH_PASSWORD});
  EXPECT_EQ(wrong.Wait(), 1);
  EXPECT_TRUE(wrong.Output().starts_with("No token (invalid_grant): ")) << wrong.Output();
  EXPECT_EQ(wrong.Output().find("another"), std::string::npos);
}

TEST_F(GuideOAuth, PersonLogsOnInABrowser) {
  simulator::testing::Program program({VELMORE_OAUTH_AUTHORIZE});
  const std::string start = "Open this address in a browser to log on:\n";
  ASSERT_TRUE(program.ReadUntil("&scope=ews\n")) << program.Output();
  ASSERT_TRUE(program.Output().starts_with(start)) << program.Output();
  LogOnAt(program.Output().substr(start.size(), program.Output().size() - start.size() - 1));
  EXPECT_EQ(program.Wait(), 0) << program.Output();
  EXPECT_NE(program.Output().find("\nalice@example.com: 0 items\n"), std::string::npos) << program.Output();
}

int Shown = 0;
std::jthread Person;
void ShowInWindow(const string& url);
TVqRef<IVqHTTPOAuthAutorizeForm> MyForm() {
  return VqOAuthLoopbackForm();
}

TEST_F(GuideOAuth, LogOnIsKeptForTheNextRun) {
  VqOnOpenBrowser = [](const string& url) { ShowInWindow(url); };
  TVqEWSCustomSession::SetOnGetOAuthAuthorizeForm([](TVqOAuth&) { return MyForm(); });

  TVqOAuth oauth;
  oauth.SetGrantType(TVqOAuthGrantType::Authorize);
  oauth.SetClientId("my-program");
  oauth.SetAuthorizationEndpoint(string(std::getenv("AUTHORIZATION_ENDPOINT")));
  oauth.SetTokenEndpoint(string(std::getenv("TOKEN_ENDPOINT")));
  oauth.SetRedirectURI("http://127.0.0.1/my-program");
  TVqEWSServiceSession session;
  session.SetServiceUrl(string(std::getenv("EWS_URL")));
  session.SetOAuth(oauth);
  session.SetActive(true);
  Person.join();
  const TVqOAuthAccessToken kept = session.GetAccessToken();
  session.SetActive(false);

  TVqEWSServiceSession later;
  later.SetServiceUrl(string(std::getenv("EWS_URL")));
  later.SetOAuth(oauth);
  later.SetAccessToken(kept);
  later.SetActive(true);
  EXPECT_EQ(later.OpenDefaultMsgStore()->GetFolder(dfininbox, "")->GetDisplayName(), "Inbox");
  EXPECT_EQ(Shown, 1);
}

void ShowInWindow(const string& url) {
  ++Shown;
  Person = std::jthread([url] { GuideOAuth::LogOnAt(url); });
}

}  // namespace
}  // namespace velmore::testing
