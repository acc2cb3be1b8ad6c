// The grants over a real socket: what is asked of a token endpoint, what is made of its answers, and when another token
// is got.

#include <gtest/gtest.h>

#include <cmath>

#include "OAuthTestSupport.h"
#include "platform/common/uVqNetEncoding.h"
#include "platform/http/uVqHTTPLook.h"

namespace velmore {
namespace {

using Names = std::vector<std::string>;
using TGrant = TVqOAuthGrantType;

// ---- What is asked

TEST(OAuthGrant, ClientCredentialsAreIdAndSecretInTheHeader) {
  TokenServer server;
  const auto client = server.Client();
  EXPECT_EQ(Get(client, server.Mail())->GetText(), "mail");
  EXPECT_EQ(server.Forms(),
            (std::vector<TokenServer::Form>{{{"grant_type", "client_credentials"},
                                             {"scope", "mail.read"},
                                             {"Authorization", "Basic " + VqBase64Encode("app:S3cret%21s")}}}));
  EXPECT_EQ(server.Used(), Names{"Bearer access-1"});
  const auto request = server.Server.Requests()[0];
  EXPECT_EQ(request.Method(), "POST");
  EXPECT_EQ(request.Header("Content-Type"), "application/x-www-form-urlencoded");
  EXPECT_EQ(request.Header("Accept"), "application/json");
}

TEST(OAuthGrant, SecretGoesIntoTheFormForServersThatWantItThere) {
  TokenServer server;
  const auto client = server.Client();
  client->GetOAuth().SetClientAuthentication(TVqOAuthClientAuthentication::post);
  client->GetOAuth().SetClientSecret("a b&c=d+%\u00e9");
  Get(client, server.Mail());
  EXPECT_EQ(server.Forms()[0], (TokenServer::Form{{"grant_type", "client_credentials"},
                                                  {"scope", "mail.read"},
                                                  {"client_id", "app"},
                                                  {"client_secret", "a b&c=d+%\xc3\xa9"},
                                                  {"Authorization", ""}}));
}

TEST(OAuthGrant, PasswordSendsTheCredentialsOfTheClientAndAnApplicationWithoutASecretItsId) {
  TokenServer server;
  const auto client = server.Client(TGrant::Password);
  client->GetOAuth().SetClientSecret("");
  client->GetOAuth().SetScope("");
  client->GetCredentials().SetUserName("anna@example.com");
  client->GetCredentials().SetPassword("p&=\u20ac");
  Get(client, server.Mail());
  EXPECT_EQ(server.Forms()[0], (TokenServer::Form{{"grant_type", "password"},
                                                  {"username", "anna@example.com"},
                                                  {"password", "p&=\xe2\x82\xac"},
                                                  {"client_id", "app"},
                                                  {"Authorization", ""}}));
}

TEST(OAuthGrant, TokenIsAskedForOnceAndByNobodysName) {
  TokenServer server;
  const auto client = server.Client();
  client->GetSession()->GetCookies().Add("", "session=1");
  for (int i = 0; i < 3; ++i) EXPECT_EQ(Get(client, server.Mail())->GetStatus().Code, 200);
  EXPECT_EQ(server.Forms().size(), 1U);
  EXPECT_EQ(server.Server.Requests()[0].Header("Cookie"), "");
  EXPECT_EQ(client->GetOAuth().GetAccessToken().Token, "access-1");
  EXPECT_EQ(client->GetOAuth().GetAccessToken().RefreshToken, "refresh-1");
  EXPECT_NEAR(static_cast<double>(client->GetOAuth().GetAccessToken().ExpiresAt) - VqNow(), 1.0 / 24, 1.0 / 24 / 60);
}

TEST(OAuthGrant, TokenCanBeGotAheadOfTheFirstRequest) {
  TokenServer server;
  const auto client = server.Client();
  client->GetComponent()->AcquireToken();
  client->GetComponent()->AcquireToken();
  EXPECT_EQ(server.Forms().size(), 1U);
  EXPECT_EQ(server.Used(), Names());
  Get(client, server.Mail());
  EXPECT_EQ(server.Forms().size(), 1U);
  client->SetAuthentication(TVqHTTPAuthentication::anonymous);
  client->GetOAuth() = server.Settings(TGrant::Password);
  client->GetComponent()->AcquireToken();
  EXPECT_EQ(server.Forms().size(), 1U) << "without OAuth there is nothing to get";
}

TEST(OAuthGrant, MissingSettingsAreToldByName) {
  struct Case {
    TGrant Grant;
    std::function<void(IVqHTTPClient&)> Take;
    const char* Text;
  };
  const std::vector<Case> cases = {
      {TGrant::Password, [](IVqHTTPClient& c) { c.GetOAuth().SetTokenEndpoint(""); },
       "The OAuth grant \"Password\" needs a token endpoint."},
      {TGrant::ClientCredentials, [](IVqHTTPClient& c) { c.GetOAuth().SetClientId(" "); },
       "The OAuth grant \"ClientCredentials\" needs a client id."},
      {TGrant::ClientCredentials, [](IVqHTTPClient& c) { c.GetOAuth().SetClientSecret(""); },
       "The OAuth grant \"ClientCredentials\" needs a client secret."},
      {TGrant::Password, [](IVqHTTPClient& c) { c.GetCredentials().SetUserName(""); },
       "The OAuth grant \"Password\" needs a user name."},
      {TGrant::Password, [](IVqHTTPClient& c) { c.GetCredentials().SetPassword(""); },
       "The OAuth grant \"Password\" needs a password."},
      {TGrant::Authorize, [](IVqHTTPClient& c) { c.GetOAuth().SetAuthorizationEndpoint(""); },
       "The OAuth grant \"Authorize\" needs an authorization endpoint."},
      {TGrant::Authorize, [](IVqHTTPClient& c) { c.GetOAuth().SetRedirectURI(""); },
       "The OAuth grant \"Authorize\" needs a redirect URI."},
      {TGrant::Authorize,
       [](IVqHTTPClient& c) { c.GetOAuth().SetAuthorizationEndpoint("http://login.example.com/a?b"); },
       "The OAuth grant \"Authorize\" cannot use the authorization endpoint \"http://login.example.com/a\": it must be "
       "https."},
      {TGrant::Authorize,
       [](IVqHTTPClient& c) { c.GetOAuth().SetAuthorizationEndpoint("https://login.example.com/#a"); },
       "The OAuth grant \"Authorize\" cannot use the authorization endpoint \"https://login.example.com/\": it must be "
       "https."},
  };
  for (const Case& one : cases) {
    TokenServer server;
    const auto client = server.Client(one.Grant);
    one.Take(*client);
    EXPECT_STREQ(FailureOf([&] { Get(client, server.Mail()); }).what(), one.Text);
    EXPECT_EQ(server.Server.Requests().size(), 0U) << one.Text;
  }
}

TEST(OAuthGrant, SecretsGoOverPlainHttpToThisMachineAlone) {
  ScriptedServer proxy;
  const auto client = TokenServer().Client();
  client->GetOAuth().SetTokenEndpoint("http://login.example.invalid/token");
  client->GetSession()->SetAccessType(TVqHTTPAccessType::proxy);
  client->GetSession()->SetProxyServer("127.0.0.1:" + std::to_string(proxy.Port()));
  client->GetSession()->SetProxyServerBypass("127.0.0.1");
  ScriptedServer mail;
  const auto failure = FailureOf([&] { Get(client, mail.Url()); });
  EXPECT_STREQ(failure.what(),
               "The OAuth grant \"ClientCredentials\" got no access token from \"http://login.example.invalid/token\": "
               "Secrets are not sent over plain HTTP to another machine.");
  EXPECT_EQ(failure.GetNumber(), 12006U);
  EXPECT_EQ(proxy.Connections(), 0);
  EXPECT_EQ(mail.Connections(), 0);
}

TEST(OAuthGrant, NothingIsAskedForARequestThatMayNotCarryTheToken) {
  TokenServer server;
  ScriptedServer proxy;
  proxy.Then(Refusal(""));
  const auto client = server.Client();
  client->GetSession()->SetAccessType(TVqHTTPAccessType::proxy);
  client->GetSession()->SetProxyServer("127.0.0.1:" + std::to_string(proxy.Port()));
  client->GetSession()->SetProxyServerBypass("127.0.0.1");
  EXPECT_EQ(Get(client, "http://mail.example.invalid/")->GetAuthenticationHint(),
            "An access token is not sent over plain HTTP to another machine.");
  EXPECT_EQ(server.Forms().size(), 0U);
}

// ---- When another token is got

TEST(OAuthRenewal, TokenIsRenewedAMinuteBeforeItsEndByItsRefreshToken) {
  TokenServer server;
  const auto client = server.Client(TGrant::Password);
  client->GetOAuth().SetAccessToken(TokenFor("early", 70, "refresh-0"));
  Get(client, server.Mail());
  EXPECT_EQ(server.Forms().size(), 0U);
  client->GetOAuth().SetAccessToken(TokenFor("late", 50, "refresh-0"));
  Get(client, server.Mail());
  ASSERT_EQ(server.Forms().size(), 1U);
  EXPECT_EQ(server.Forms()[0], (TokenServer::Form{{"grant_type", "refresh_token"},
                                                  {"refresh_token", "refresh-0"},
                                                  {"Authorization", "Basic " + VqBase64Encode("app:S3cret%21s")}}));
  EXPECT_EQ(server.Used(), (Names{"Bearer early", "Bearer access-1"}));
}

TEST(OAuthRenewal, TokenThatLivesShortlyIsNotRenewedAtEachRequest) {
  TokenServer server;
  server.Extra = ",\"expires_in\":40";
  const auto client = server.Client();
  for (int i = 0; i < 3; ++i) Get(client, server.Mail());
  EXPECT_EQ(server.Forms().size(), 1U) << "a tenth of its life is the margin then";
}

TEST(OAuthRenewal, TokenWithoutALifeIsUsedAndTheNextRequestGetsAnother) {
  TokenServer server;
  server.Extra = ",\"expires_in\":0";
  const auto client = server.Client();
  for (int i = 0; i < 2; ++i) EXPECT_EQ(Get(client, server.Mail())->GetStatus().Code, 200);
  EXPECT_EQ(server.Used(), (Names{"Bearer access-1", "Bearer access-2"}));
}

TEST(OAuthRenewal, RefreshTokenThatIsOverLeadsToTheGrant) {
  for (const char* error : {"invalid_grant", "interaction_required"}) {
    TokenServer server;
    server.OnAsk = [&](const TokenServer::Form& form) {
      return form.at("grant_type") == "refresh_token"
                 ? Plain(TokenServer::Json(400, "{\"error\":\"" + std::string(error) + "\"}"))
                 : ScriptedServer::Answer{};
    };
    const auto client = server.Client(TGrant::Password);
    client->GetOAuth().SetAccessToken(TokenFor("old", -5, "refresh-0"));
    EXPECT_EQ(Get(client, server.Mail())->GetStatus().Code, 200);
    ASSERT_EQ(server.Forms().size(), 2U);
    EXPECT_EQ(server.Forms()[1].at("grant_type"), "password");
  }
}

TEST(OAuthRenewal, OtherRefusalsOfARefreshTokenAreRaised) {
  TokenServer server;
  server.OnAsk = [](const auto&) { return Plain(TokenServer::Json(401, "{\"error\":\"invalid_client\"}")); };
  const auto client = server.Client(TGrant::Password);
  client->GetOAuth().SetAccessToken(TokenFor("old", -5, "refresh-0"));
  EXPECT_EQ(FailureOf([&] { Get(client, server.Mail()); }).GetError(), "invalid_client");
  EXPECT_EQ(server.Forms().size(), 1U);
}

TEST(OAuthRenewal, RefreshTokenStaysWhenTheAnswerHasNoOther) {
  TokenServer server;
  server.Refreshable = false;
  const auto client = server.Client(TGrant::Password);
  client->GetOAuth().SetAccessToken({"", "", "refresh-0", "scope-0", {}});
  Get(client, server.Mail());
  EXPECT_EQ(server.Forms()[0].at("refresh_token"), "refresh-0") << "a refresh token alone does";
  EXPECT_EQ(client->GetOAuth().GetAccessToken().RefreshToken, "refresh-0");
  EXPECT_EQ(client->GetOAuth().GetAccessToken().Scope, "scope-0");
}

TEST(OAuthRenewal, ClientCredentialsHaveNoUseForARefreshToken) {
  TokenServer server;
  const auto client = server.Client();
  client->GetOAuth().SetAccessToken(TokenFor("old", -5, "refresh-0"));
  Get(client, server.Mail());
  EXPECT_EQ(server.Forms()[0].at("grant_type"), "client_credentials");
}

TEST(OAuthRenewal, TokenThatIsGoodStillDoesWhenItCannotBeRenewedAndNobodyAsksAtEachRequest) {
  for (const bool refusal : {true, false}) {
    TokenServer server;
    server.OnAsk = [&](const auto&) {
      return refusal ? Plain(TokenServer::Json(400, "{\"error\":\"invalid_grant\"}"))
                     : Plain("HTTP/1.1 503 X\r\nContent-Length: 0\r\n\r\n");
    };
    const auto client = server.Client(TGrant::ClientCredentials);
    client->GetOAuth().SetAccessToken(TokenFor("worn", 40));
    for (int i = 0; i < 3; ++i) EXPECT_EQ(Get(client, server.Mail())->GetStatus().Code, 200);
    EXPECT_EQ(server.Forms().size(), 1U) << refusal;
    EXPECT_EQ(server.Used(), (Names{"Bearer worn", "Bearer worn", "Bearer worn"}));
  }
}

TEST(OAuthRenewal, TokenOfTheApplicationIsUsedUntilItExpiresThenTheGrantRuns) {
  TokenServer server;
  const auto client = server.Client();
  client->GetOAuth().SetAccessToken(TokenFor("mine", 3000));
  Get(client, server.Mail());
  EXPECT_EQ(server.Forms().size(), 0U);
  client->GetOAuth().SetAccessToken(TokenFor("mine", -1));
  Get(client, server.Mail());
  EXPECT_EQ(server.Used(), (Names{"Bearer mine", "Bearer access-1"}));
}

TEST(OAuthRenewal, InvalidTokenIsRenewedOnceAndTheRequestSentOnceMore) {
  TokenServer server;
  const auto client = server.Client();
  Get(client, server.Mail());
  server.Refuse("access-1");
  EXPECT_EQ(Post(client, server.Mail(), "<body/>")->GetText(), "mail");
  EXPECT_EQ(server.Used(), (Names{"Bearer access-1", "Bearer access-1", "Bearer access-2"}));
  EXPECT_EQ(server.Server.Requests().back().Body, "<body/>");
  server.Refuse("access-2");
  server.Refuse("access-3");
  const auto response = Post(client, server.Mail(), "<body/>");
  EXPECT_EQ(response->GetStatus().Code, 401) << "another token is tried once";
  EXPECT_EQ(response->GetTriedScheme(), "Bearer");
  EXPECT_EQ(server.Used().size(), 5U);
  EXPECT_EQ(server.Forms().size(), 3U);
}

TEST(OAuthRenewal, NewTokenThatIsOverAlreadyIsTriedOnceAsWell) {
  TokenServer server;
  server.Extra = ",\"expires_in\":0";
  const auto client = server.Client();
  for (const char* token : {"access-1", "access-2"}) server.Refuse(token);
  EXPECT_EQ(Get(client, server.Mail())->GetStatus().Code, 401);
  EXPECT_EQ(server.Forms().size(), 2U);
}

TEST(OAuthRenewal, InvalidTokenOfAnApplicationWithoutAGrantIsGivenBack) {
  TokenServer server;
  const auto client = server.Client(TGrant::none);
  client->GetOAuth().SetAccessToken({"mine", "", "", "", {}});
  server.Refuse("mine");
  EXPECT_EQ(Get(client, server.Mail())->GetStatus().Code, 401);
  EXPECT_EQ(server.Server.Requests().size(), 1U);
}

TEST(OAuthRenewal, AnyOtherRefusalIsNotTheTokensFault) {
  for (const char* challenge : {"Bearer", "Bearer error=\"insufficient_scope\"", "Basic error=\"invalid_token\"",
                                "Bearer realm=\"error=\\\"invalid_token\\\"\""}) {
    TokenServer server;
    ScriptedServer mail;
    mail.Then(Refusal("WWW-Authenticate: " + std::string(challenge) + "\r\n"));
    EXPECT_EQ(Get(server.Client(), mail.Url())->GetStatus().Code, 401) << challenge;
    EXPECT_EQ(server.Forms().size(), 1U) << challenge;
    EXPECT_EQ(mail.Complaints(), "");
  }
}

TEST(OAuthRenewal, FailureOfTheRenewalIsRaised) {
  TokenServer server;
  const auto client = server.Client();
  Get(client, server.Mail());
  server.OnAsk = [](const auto&) { return Plain(TokenServer::Json(400, "{\"error\":\"invalid_client\"}")); };
  server.Refuse("access-1");
  EXPECT_EQ(FailureOf([&] { Get(client, server.Mail()); }).GetError(), "invalid_client");
}

// ---- Answers that bring no token

class OAuthAnswer : public ::testing::Test {
 protected:
  EVqOAuthException Failure(ScriptedServer::Answer answer, TGrant grant = TGrant::ClientCredentials) {
    FServer.OnAsk = [answer](const auto&) { return answer; };
    return FailureOf([&] { Get(FServer.Client(grant), FServer.Mail()); });
  }
  std::string Why(const std::string& bytes) {
    const std::string text = Failure(Plain(bytes)).what();
    const std::string start =
        "The OAuth grant \"ClientCredentials\" got no access token from \"" + FServer.TokenEndpoint().utf8() + "\": ";
    EXPECT_TRUE(text.starts_with(start)) << text;
    return text.substr(std::min(start.size(), text.size()));
  }
  TokenServer FServer;
};

TEST_F(OAuthAnswer, WithAnErrorIsRaisedWithCodeDescriptionAndPage) {
  for (const char* code : {"invalid_request", "invalid_client", "invalid_grant", "unauthorized_client",
                           "unsupported_grant_type", "invalid_scope", "a_new_one"}) {
    const auto failure = Failure(
        Plain(TokenServer::Json(400, "{\"error\":\"" + std::string(code) +
                                         "\",\"error_description\":\"No,\\n really.\",\"error_uri\":\"https://e/\"}")));
    EXPECT_EQ(failure.GetError(), code);
    EXPECT_EQ(failure.GetDescription(), "No,  really.");
    EXPECT_EQ(failure.GetErrorURI(), "https://e/");
    EXPECT_EQ(failure.GetNumber(), 400U);
    EXPECT_EQ(failure.Message(), "The OAuth grant \"ClientCredentials\" got no access token from \"" +
                                     FServer.TokenEndpoint() + "\": " + code + " (No,  really.).");
  }
  EXPECT_EQ(Why(TokenServer::Json(401, "{\"error\":\"invalid_client\"}")), "invalid_client.");
  EXPECT_EQ(Why(TokenServer::Json(200, "{\"error\":\"invalid_client\"}")), "invalid_client.") << "some say it with 200";
}

TEST_F(OAuthAnswer, ThatIsNoneIsAClearError) {
  EXPECT_EQ(Why(TokenServer::Json(200, "<html>", "text/html")),
            "the answer has the status 200 and is no JSON object (text/html).");
  EXPECT_EQ(Why(TokenServer::Json(502, "<html>", "text/html")),
            "the answer has the status 502 and is no JSON object (text/html).");
  EXPECT_EQ(Why("HTTP/1.1 302 Found\r\nLocation: https://elsewhere/\r\nContent-Length: 0\r\n\r\n"),
            "the answer has the status 302 and is empty.");
  EXPECT_EQ(Why(TokenServer::Json(200, "[]")),
            "the answer has the status 200 and is no JSON object (application/json).");
  EXPECT_EQ(Why(TokenServer::Json(200, "{\"access_token\":\"cut")),
            "the answer has the status 200 and is no JSON object (application/json).");
  EXPECT_EQ(Why(TokenServer::Json(500, "{}")), "the answer has the status 500 and does not say why.");
}

TEST_F(OAuthAnswer, WithoutAUsableTokenIsAClearError) {
  EXPECT_EQ(Why(TokenServer::Json(200, "{}")), "the answer holds no access token.");
  EXPECT_EQ(Why(TokenServer::Json(200, "{\"access_token\":\"\"}")), "the answer holds no access token.");
  EXPECT_EQ(Why(TokenServer::Json(200, "{\"access_token\":null}")), "the answer holds no access token.");
  EXPECT_EQ(Why(TokenServer::Json(200, "{\"access_token\":{\"a\":1}}")), "the answer holds no access token.");
  EXPECT_EQ(Why(TokenServer::Json(200, "{\"access_token\":\"abcd\",\"token_type\":\"mac\"}")),
            "the token is of the type \"mac\"; only \"Bearer\" is known.");
  EXPECT_EQ(Why(TokenServer::Json(200, "{\"access_token\":\"ab\\r\\nX-Evil: 1\"}")),
            "the token holds characters that no header can.");
}

TEST_F(OAuthAnswer, ThatIsHugeEndsAtAMegabyte) {
  const auto failure = Failure(Plain(TokenServer::Json(200, std::string(2U << 20, ' '))));
  EXPECT_EQ(failure.GetNumber(), 12152U) << failure.what();
  EXPECT_EQ(FServer.Used(), Names());
}

TEST_F(OAuthAnswer, ThatComesSlowlyEndsInTime) {
  ScriptedServer::Answer slow = Plain(TokenServer::Json(200, std::string(100000, ' ')));
  slow.PieceSize = 1;
  slow.Between = std::chrono::milliseconds(20);
  FServer.OnAsk = [slow](const auto&) { return slow; };
  const auto client = FServer.Client();
  TVqHTTPLimits limits = client->GetSession()->GetLimits();
  limits.TotalTime = std::chrono::milliseconds(200);
  client->GetSession()->SetLimits(limits);
  EXPECT_EQ(FailureOf([&] { Get(client, FServer.Mail()); }).GetNumber(), 12002U);

  ScriptedServer::Answer silent = Plain("");
  silent.Hang = true;
  FServer.OnAsk = [silent](const auto&) { return silent; };
  client->GetSession()->SetLimits({});
  client->GetTimeOuts().SetReceive(100);
  EXPECT_EQ(FailureOf([&] { Get(client, FServer.Mail()); }).GetNumber(), 12002U);
}

TEST_F(OAuthAnswer, OfNobodyNestsTheFailureOfTheTransport) {
  const auto client = FServer.Client();
  client->GetOAuth().SetTokenEndpoint("http://127.0.0.1:1/token?x=1");
  try {
    Get(client, FServer.Mail());
    FAIL();
  } catch (const EVqOAuthException& failure) {
    EXPECT_EQ(failure.GetNumber(), 12029U);
    EXPECT_TRUE(failure.Message().StartsWith(
        "The OAuth grant \"ClientCredentials\" got no access token from \"http://127.0.0.1:1/token\": "))
        << failure.what();
    EXPECT_THROW(std::rethrow_if_nested(failure), EVqHTTPApiException);
  }
  client->GetOAuth().SetTokenEndpoint("ftp://x/");
  EXPECT_EQ(FailureOf([&] { Get(client, FServer.Mail()); }).GetNumber(), 12006U);
}

// ---- Reading alone

TVqOAuthAccessToken Read(const std::string& body) {
  return VqReadTokenAnswer({200, "application/json", body}, {TGrant::Password, "https://login.example.com/", {}});
}

TEST(OAuthTokenAnswer, LifeIsANumberOrATextWithOne) {
  const auto seconds = [](const std::string& value) {
    const double end = Read("{\"access_token\":\"abcd\",\"expires_in\":" + value + "}").ExpiresAt;
    return end == 0 ? -1.0 : std::round((end - VqNow()) * 24 * 60 * 60);
  };
  EXPECT_EQ(seconds("3599"), 3599);
  EXPECT_EQ(seconds("\"3599\""), 3599);
  EXPECT_EQ(seconds("3599.4"), 3599);
  EXPECT_EQ(seconds("null"), -1);
  EXPECT_EQ(seconds("-7"), 0);
  EXPECT_EQ(seconds("\"soon\""), 0);
  EXPECT_EQ(seconds("1e300"), 100.0 * 365 * 24 * 60 * 60);
  EXPECT_EQ(static_cast<double>(Read("{\"access_token\":\"abcd\"}").ExpiresAt), 0) << "the server did not say";
}

TEST(OAuthTokenAnswer, EveryPartIsTaken) {
  const auto token = Read(
      "{\"access_token\":\"abcd\",\"token_type\":\"bEARER\",\"refresh_token\":\"r\",\"scope\":\"a b\",\"other\":[1]}");
  EXPECT_EQ(token.Token, "abcd");
  EXPECT_EQ(token.TokenType, "bEARER");
  EXPECT_EQ(token.RefreshToken, "r");
  EXPECT_EQ(token.Scope, "a b");
}

TEST(OAuthForm, IsEncodedAndDecoded) {
  const TVqFormFields fields{{"a b", "\xc3\xa9&=+%/~-._"}, {"", ""}, {"n", "\n"}};
  EXPECT_EQ(VqFormEncode(fields), "a%20b=%C3%A9%26%3D%2B%25%2F~-._&=&n=%0A");
  EXPECT_EQ(VqFormDecode(VqFormEncode(fields)), fields);
  EXPECT_EQ(VqFormDecode("a=1+2&&b&c=%4&d=%zz%41"),
            (TVqFormFields{{"a", "1 2"}, {"b", ""}, {"c", "%4"}, {"d", "%zzA"}}));
  EXPECT_EQ(VqFormDecode(""), TVqFormFields());
}

TEST(OAuthChallenge, ErrorOfBearerIsFoundAmongOthers) {
  EXPECT_EQ(VqBearerError("Bearer error=\"invalid_token\""), "invalid_token");
  EXPECT_EQ(VqBearerError("bearer realm=\"a, b=c\",ERROR=invalid_token , x=1"), "invalid_token");
  EXPECT_EQ(VqBearerError("Basic realm=\"x\", Bearer client_id=\"1\", trusted_issuers=\"a@*,b@*\", "
                          "error=\"invalid_token\",Basic Realm=\"\""),
            "invalid_token");
  EXPECT_EQ(VqBearerError("Bearer, Digest error=\"x\""), "");
  EXPECT_EQ(VqBearerError("Digest error=\"x\", Bearer"), "");
  EXPECT_EQ(VqBearerError("Bearer realm=\"error=\\\"invalid_token\\\"\""), "");
  for (const char* header :
       {"", ",", "Bearer", "Bearer ", "Bearer \"", "Bearer error", "Bearer error=", "=", "Bearer = error=\"x\""})
    EXPECT_EQ(VqBearerError(header), "") << header;
}

// ---- Secrets

TEST(OAuthSecrets, AreInNoTextWhateverTheServerRepeats) {
  TokenServer server;
  const std::vector<std::string> secrets{"Pa55w0rd!",   "S3cret!s",  "S3cret%21s",
                                         "Pa55w0rd%21", "refresh-0", "0ld-t0ken"};
  server.OnAsk = [&](const auto& form) {
    std::string said;
    for (const auto& [name, value] : form) said += name + " " + value + " " + VqFormEncode(value) + " ";
    return Plain(TokenServer::Json(400, "{\"error\":\"" + said + "\",\"error_description\":\"" + said +
                                            "S3cret!s S3cret%21s\",\"error_uri\":\"" + said + "\"}"));
  };
  for (const auto grant : {TGrant::Password, TGrant::ClientCredentials}) {
    for (const auto how : {TVqOAuthClientAuthentication::basic, TVqOAuthClientAuthentication::post}) {
      for (const bool refresh : {false, true}) {
        const auto client = server.Client(grant);
        client->GetOAuth().SetClientAuthentication(how);
        if (refresh) client->GetOAuth().SetAccessToken(TokenFor("0ld-t0ken", -1, "refresh-0"));
        const auto failure = FailureOf([&] { Get(client, server.Mail()); });
        const std::string all =
            failure.what() + failure.GetError().utf8() + failure.GetDescription().utf8() + failure.GetErrorURI().utf8();
        EXPECT_NE(all.find("grant_type"), std::string::npos) << all;
        for (const std::string& secret : secrets)
          EXPECT_EQ(all.find(secret), std::string::npos) << secret << "\n" << all;
      }
    }
  }
}

TEST(OAuthSecrets, AreInNoTextOfATypeEither) {
  const TVqOAuthQuestion question{TGrant::Password, "https://login.example.com/", {"Pa55w0rd!"}};
  const auto text = [&](const TVqOAuthAnswer& answer) {
    return std::string(FailureOf([&] { VqReadTokenAnswer(answer, question); }).what());
  };
  for (const std::string& told :
       {text({200, "application/json", "{\"access_token\":\"t0ken\",\"token_type\":\"Pa55w0rd! Pa55w0rd%21 t0ken\"}"}),
        text({200, "text/Pa55w0rd!Pa55w0rd%21", "x"})}) {
    EXPECT_NE(told.find("****"), std::string::npos) << told;
    for (const char* secret : {"Pa55w0rd!", "Pa55w0rd%21", "t0ken"})
      EXPECT_EQ(told.find(secret), std::string::npos) << told;
  }
}

TEST(OAuthSecrets, NoEventTellsOfTheTokenEndpoint) {
  TokenServer server;
  const auto client = server.Client(TGrant::Password);
  std::string seen;
  client->GetComponent()->SetOnRequest([&](auto&, const auto& request) { seen += VqHTTPLook(*request).utf8(); });
  client->GetComponent()->SetOnResponse([&](auto&, const auto& response) { seen += VqHTTPLook(*response).utf8(); });
  Get(client, server.Mail());
  EXPECT_NE(seen.find("/mail"), std::string::npos);
  for (const char* secret : {"/token", "access-1", "refresh-1", "Pa55w0rd!", "S3cret"})
    EXPECT_EQ(seen.find(secret), std::string::npos) << secret;
}

}  // namespace
}  // namespace velmore
