// What a session has learnt as one user is forgotten with that user.

#include "SessionTestSupport.h"

namespace velmore::testing {
namespace {

class SessionIdentity : public SessionTest {
 protected:
  SessionIdentity() {
    Session.GetCredentials().SetUserName("anna");
    Answer();
  }
  /// Answers as a server of the user that the request names, or of anna.
  void Answer() {
    Server.Always([](const ScriptedServer::Request& request) {
      if (request.Body.find("Id=\"00\"") != std::string::npos) return ProbeAnswer({});
      return StoreAnswer(request, "anna@example.com");
    });
  }
  void BeAnna() {
    Session.SetActive(true);
    TVqOAuthAccessToken token;
    token.Token = "annas";
    Session.SetAccessToken(token);
    Session.OpenDefaultMsgStore();
    EXPECT_EQ(Anchor(), "anna@example.com");
  }
  /// The anchor that the next request has.
  std::string Anchor() {
    TVqRef<IVqSOAPResponse> response;
    Session.CreateRequest(nullptr, "m:GetItem", "")->Send(response);
    return LastRequest().Header("X-AnchorMailbox");
  }
  void ExpectForgotten() {
    EXPECT_EQ(Session.GetAccessToken().Token, "");
    EXPECT_EQ(Anchor(), "");
    EXPECT_EQ(Session.CreateHTTPClient(true)->GetOAuth().GetAccessToken().Token, "");
  }
  static TVqCredentials Bert() {
    TVqCredentials bert;
    bert.SetUserName("bert");
    bert.SetPassword("secret");
    return bert;
  }
};

TEST_F(SessionIdentity, LogoffForgetsTokenAndAnchor) {
  BeAnna();
  Session.SetActive(false);
  EXPECT_EQ(Session.GetAccessToken().Token, "");
  Session.SetActive(true);
  ExpectForgotten();
}

TEST_F(SessionIdentity, OtherCredentialsForgetTokenAndAnchor) {
  BeAnna();
  Session.SetCredentials(Bert());
  ExpectForgotten();
}

TEST_F(SessionIdentity, SameCredentialsForgetNothing) {
  BeAnna();
  Session.SetCredentials(Session.GetCredentials());
  EXPECT_EQ(Session.GetAccessToken().Token, "annas");
  EXPECT_EQ(Anchor(), "anna@example.com");
}

TEST_F(SessionIdentity, OtherOAuthSettingsForgetTokenAndAnchor) {
  BeAnna();
  Session.SetOAuth(TVqOAuth());
  ExpectForgotten();
}

TEST_F(SessionIdentity, AssignedSettingsForgetTokenAndAnchor) {
  BeAnna();
  TTestSession bert;
  bert.SetServiceUrl(Session.GetServiceUrl());
  bert.SetCredentials(Bert());
  bert.SetActive(true);
  bert.AssignTo(&Session);
  EXPECT_EQ(Session.GetCredentials().GetUserName(), "bert");
  ExpectForgotten();
}

TEST_F(SessionIdentity, FailedLogonOfTheNextUserLeavesNothingOfTheFormer) {
  BeAnna();
  Session.SetActive(false);
  Session.SetCredentials(Bert());
  const string url = Session.GetServiceUrl();
  Server.Always([](const ScriptedServer::Request&) { return Http("HTTP/1.1 401 No\r\nContent-Length: 0\r\n\r\n"); });
  EXPECT_THROW(Session.SetActive(true), EVqHTTPApiException);
  EXPECT_EQ(Session.GetAccessToken().Token, "");
  Answer();
  Session.SetServiceUrl(url);
  Session.SetActive(true);
  ExpectForgotten();
}

TEST_F(SessionIdentity, NextUserIsAskedForByTheServersWord) {
  BeAnna();
  Session.SetCredentials(Bert());
  Server.Always([](const ScriptedServer::Request& request) { return StoreAnswer(request, "bert@example.com"); });
  EXPECT_EQ(Session.OpenDefaultMsgStore()->GetIdentity()->GetEmailAddress(), "bert@example.com");
  EXPECT_EQ(Anchor(), "bert@example.com");
}

TEST_F(SessionIdentity, RequestsOfTheNextUserBringNoCookieOfTheFormer) {
  Server.Always([](const ScriptedServer::Request&) {
    return Http(
        "200 OK",
        Envelope(VersionHeader({}), "<m:ConvertIdResponse xmlns:m=\"urn:m\"><ResponseMessages/></m:ConvertIdResponse>"),
        "Set-Cookie: user=anna\r\n");
  });
  const auto cookie = [&] {
    Session.ConvertId({}, ifEwsId);
    return LastRequest().Header("Cookie");
  };
  Session.SetActive(true);
  EXPECT_EQ(cookie(), "user=anna");
  Session.SetCredentials(Bert());
  EXPECT_EQ(cookie(), "");
  Session.SetActive(false);
  Session.SetActive(true);
  EXPECT_EQ(LastRequest().Header("Cookie"), "");
}

}  // namespace
}  // namespace velmore::testing
