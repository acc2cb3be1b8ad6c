// A session with OAuth: how the token comes to the session and on to other clients, and what an application can set.

#include "SessionTestSupport.h"
#include "platform/common/uVqDateTimeUtils.h"
#include "tests/support/EWSTestSupport.h"

namespace velmore::testing {
namespace {

using TGrant = TVqOAuthGrantType;

class SessionOAuth : public SessionTest {
 protected:
  SessionOAuth() {
    Server.Always([this](const ScriptedServer::Request& request) {
      if (request.Target() == "/token") return Give(request);
      const std::string token = request.Header("Authorization");
      if (token.empty() || token == "Bearer " + FRefused) {
        return Http("HTTP/1.1 401 X\r\nWWW-Authenticate: Bearer error=\"invalid_token\"\r\nContent-Length: 0\r\n\r\n");
      }
      return request.Body.find("Id=\"00\"") != std::string::npos ? ProbeAnswer({})
                                                                 : StoreAnswer(request, "anna@example.com");
    });
    Session.GetCredentials().SetUserName("anna");
    Session.GetCredentials().SetPassword("Pa55w0rd!");
  }
  void Use(TGrant grant) {
    TVqOAuth oauth;
    oauth.SetClientId("app");
    oauth.SetClientSecret("S3cret!s");
    oauth.SetTokenEndpoint(Server.Url("/token"));
    oauth.SetAuthorizationEndpoint(Server.Url("/authorize"));
    oauth.SetRedirectURI("http://127.0.0.1/app");
    oauth.SetScope("mail.read");
    oauth.SetGrantType(grant);
    Session.SetOAuth(oauth);
    Session.SetConnectingSID("boss@example.com");
  }
  static TVqOAuthAccessToken Token(const string& text, double seconds, const string& refresh = {}) {
    return {text, "Bearer", refresh, "", TDateTime(VqNow() + seconds / (24 * 60 * 60))};
  }
  void Ask() {
    TVqRef<IVqSOAPResponse> response;
    Session.CreateRequest(nullptr, "m:GetItem", "")->Send(response);
  }
  void Refuse(const std::string& token) { FRefused = token; }
  /// The forms that came to the token endpoint.
  std::vector<std::string> Forms() const {
    std::vector<std::string> forms;
    for (const auto& request : Server.Requests()) {
      if (request.Target() == "/token") forms.push_back(request.Body);
    }
    return forms;
  }
  /// The tokens of all other requests, each once.
  std::set<std::string> Used() const {
    std::set<std::string> used;
    for (const auto& request : Server.Requests()) {
      if (request.Target() != "/token") used.insert(request.Header("Authorization"));
    }
    return used;
  }
  std::string FExtra = ",\"expires_in\":3600";
  bool FWrong = false;

 private:
  Answer Give(const ScriptedServer::Request&) {
    const std::string json = "Content-Type: application/json\r\n";
    if (FWrong) return Http("400 Bad Request", "{\"error\":\"invalid_grant\",\"error_description\":\"Locked.\"}", json);
    const std::string number = std::to_string(++FGiven);
    return Http(
        "200 OK",
        "{\"access_token\":\"access-" + number + "\",\"refresh_token\":\"refresh-" + number + "\"" + FExtra + "}",
        json);
  }
  std::string FRefused;
  int FGiven = 0;
};

TEST_F(SessionOAuth, LogonGetsTheTokenAndHandsItToSeparateClients) {
  for (const TGrant grant : {TGrant::Password, TGrant::ClientCredentials, TGrant::Authorize}) {
    class Form final : public TVqObject, public virtual IVqHTTPOAuthAutorizeForm {
      string Authorize(const string& AURL, const string& ARedirectURI, TVqWindowHandle) override {
        const std::string url = AURL.utf8();
        const std::size_t at = url.find("&state=") + 1;
        return ARedirectURI + "?code=1&" + string(url.substr(at, url.find('&', at) - at));
      }
    };
    TVqEWSCustomSession::SetOnGetOAuthAuthorizeForm(
        [](TVqOAuth&) { return TVqRef<IVqHTTPOAuthAutorizeForm>(MakeRef<Form>().get()); });
    const std::size_t before = Forms().size();
    Use(grant);
    Session.SetActive(true);
    TVqEWSCustomSession::SetOnGetOAuthAuthorizeForm({});
    const string token = Session.GetAccessToken().Token;
    EXPECT_EQ(token, "access-" + IntToStr(static_cast<std::int32_t>(before) + 1));
    EXPECT_EQ(Session.CreateHTTPClient(true)->GetOAuth().GetAccessToken().Token, token);
    EXPECT_EQ(Session.CreateHTTPClient(false)->GetOAuth().GetAccessToken().Token, token);
    TVqRef<IVqHTTPResponse> response;
    Session.CreateHTTPClient(false)->Request(response, TVqHTTPVerb::get, Server.Url("/mail"));
    Session.OpenDefaultMsgStore();
    EXPECT_EQ(LastRequest().Header("Authorization"), "Bearer " + token.utf8());
    EXPECT_EQ(Forms().size(), before + 1) << "one grant for all of it";
    Session.SetActive(false);
  }
}

TEST_F(SessionOAuth, WithoutAGrantTheTokenOfTheSettingsStaysWhereItIs) {
  Use(TGrant::none);
  Session.GetOAuth().SetAccessToken(Token("mine", 3000));
  Session.SetActive(true);
  EXPECT_EQ(Session.GetAccessToken().Token, "");
  EXPECT_EQ(Used(), std::set<std::string>{"Bearer mine"});
  EXPECT_EQ(Session.CreateHTTPClient(true)->GetOAuth().GetAccessToken().Token, "mine");
}

TEST_F(SessionOAuth, TokenOfTheApplicationIsUsedUntilItExpiresThenTheGrantRuns) {
  Use(TGrant::ClientCredentials);
  Session.SetAccessToken(Token("mine", 3000));
  Session.SetActive(true);
  EXPECT_EQ(Used(), std::set<std::string>{"Bearer mine"});
  EXPECT_EQ(Session.GetAccessToken().Token, "mine");
  EXPECT_EQ(Forms().size(), 0U);
  Session.SetAccessToken(Token("another", 3000));
  Ask();
  EXPECT_EQ(LastRequest().Header("Authorization"), "Bearer another") << "it reaches a live client";
  Session.SetAccessToken(Token("old", -1));
  Ask();
  EXPECT_EQ(LastRequest().Header("Authorization"), "Bearer access-1");
}

TEST_F(SessionOAuth, WithoutATokenAndAGrantTheErrorIsClearAndComesOutOfTheLogon) {
  Use(TGrant::none);
  const auto text = [&] { return MessageOf<EVqOAuthException>([&] { Session.SetActive(true); }); };
  EXPECT_EQ(text(), "OAuth is in use, but there is no access token and no grant to get one.");
  Session.SetServiceUrl(Server.Url("/EWS/Exchange.asmx"));
  Session.SetAccessToken(Token("mine", -1));
  EXPECT_EQ(text(), "The OAuth access token has expired and there is no grant to get another.");
  EXPECT_FALSE(Session.GetActive());
}

TEST_F(SessionOAuth, RefreshTokenOfAnEarlierRunSparesTheLogOn) {
  Use(TGrant::Password);
  Session.SetAccessToken(Token("", 0, "kept"));
  Session.SetActive(true);
  EXPECT_EQ(Forms(), std::vector<std::string>{"grant_type=refresh_token&refresh_token=kept"});
  EXPECT_EQ(Session.GetAccessToken().RefreshToken, "refresh-1") << "for the next run";
}

TEST_F(SessionOAuth, RenewedTokenIsTheSessionsAndThatOfSeparateClients) {
  Use(TGrant::Password);
  Session.SetActive(true);
  const auto separate = Session.CreateHTTPClient(true);
  Refuse("access-1");
  Session.OpenDefaultMsgStore();
  EXPECT_EQ(Session.GetAccessToken().Token, "access-2");
  TVqRef<IVqHTTPResponse> response;
  separate->Request(response, TVqHTTPVerb::get, Server.Url("/mail"));
  EXPECT_EQ(response->GetStatus().Code, 200) << "one that was made before renews with it";
  EXPECT_EQ(Session.CreateHTTPClient(true)->GetOAuth().GetAccessToken().Token, "access-2");
  EXPECT_EQ(Forms().size(), 2U);
}

TEST_F(SessionOAuth, RefusedGrantComesOutOfTheLogonAsItIs) {
  Use(TGrant::Password);
  FWrong = true;
  try {
    Session.SetActive(true);
    FAIL();
  } catch (const EVqOAuthException& failure) {
    EXPECT_EQ(failure.GetError(), "invalid_grant");
    EXPECT_EQ(failure.GetDescription(), "Locked.");
  }
  EXPECT_EQ(Session.GetServiceUrl(), "");
  EXPECT_EQ(Forms().size(), 1U) << "a refused password counts once";
}

TEST_F(SessionOAuth, TokenOutlivesAFailedLogonAndNotALogoff) {
  Use(TGrant::Password);
  Session.SetServiceUrl("http://127.0.0.1:1/");
  EXPECT_THROW(Session.SetActive(true), EVqException);
  EXPECT_EQ(Forms().size(), 1U);
  Session.SetServiceUrl(Server.Url("/EWS/Exchange.asmx"));
  Session.SetActive(true);
  EXPECT_EQ(Forms().size(), 1U) << "nobody logs on twice for one mistyped address";
  Session.SetActive(false);
  EXPECT_EQ(Session.GetAccessToken().Token, "");
  Session.SetActive(true);
  EXPECT_EQ(Forms().size(), 2U);
}

TEST_F(SessionOAuth, TokenOfAnotherPersonIsNotTaken) {
  Use(TGrant::Password);
  Session.SetServiceUrl("http://127.0.0.1:1/");
  EXPECT_THROW(Session.SetActive(true), EVqException);
  Session.SetServiceUrl(Server.Url("/EWS/Exchange.asmx"));
  Session.GetCredentials().SetUserName("bert");
  Session.SetActive(true);
  ASSERT_EQ(Forms().size(), 2U);
  EXPECT_NE(Forms()[1].find("username=bert"), std::string::npos);
  EXPECT_EQ(Used(), std::set<std::string>{"Bearer access-2"});
}

TEST_F(SessionOAuth, SessionsOfOneTenantShareWhatTheySetTogether) {
  Use(TGrant::ClientCredentials);
  TTestSession other;
  other.SetCurrentTimeZoneContext("");
  other.SetServiceUrl(Session.GetServiceUrl());
  other.SetOAuth(Session.GetOAuth());
  other.SetConnectingSID("anna@example.com");
  Session.SetActive(true);
  other.SetActive(true);
  EXPECT_EQ(Forms().size(), 1U);
}

TEST_F(SessionOAuth, NoEventShowsASecret) {
  Use(TGrant::Password);
  std::string seen;
  const auto note = [&](TVqComponent&, const TVqEWSTraffic& traffic) {
    seen += traffic.URL + traffic.Body;
    for (const auto& [name, value] : traffic.Headers) seen += name + ":" + value + "\n";
  };
  Session.SetOnRequest(note);
  Session.SetOnResponse(note);
  Session.SetActive(true);
  Refuse("access-1");
  Session.OpenDefaultMsgStore();
  EXPECT_NE(seen.find("ConvertId"), std::string::npos);
  for (const char* secret : {"access-", "refresh-", "Pa55w0rd!", "S3cret", "/token"})
    EXPECT_EQ(seen.find(secret), std::string::npos) << secret;
}

}  // namespace
}  // namespace velmore::testing
