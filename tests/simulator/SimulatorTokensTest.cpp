// Bearer: tokens of the simulator's own endpoint let in.

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "SimulatorTestSupport.h"

namespace velmore::simulator::testing {
namespace {

using Json = nlohmann::json;

Options WithBearer() {
  Options options = TestOptions();
  options.authentication = {"Bearer"};
  return options;
}

class SimulatorTokens : public ::testing::Test {
 protected:
  /// Asks the token endpoint; the status stands under "status".
  Json Grant(const std::string& form) {
    Client client(server, "", "");
    client.url = server.HttpUrl().substr(0, server.HttpUrl().find("/EWS")) + "/oauth2/token";
    client.content_type = "application/x-www-form-urlencoded";
    const Reply reply = client.Post(form);
    Json json = Json::parse(reply.body);
    json["status"] = reply.status;
    return json;
  }
  /// The code that an authorization gives; "" when there is none.
  std::string Authorize(const std::string& query, const std::string& user = "alice",
                        const std::string& password = "wonder") {
    Client client(server, user, password);
    const Reply reply = client.Get("/oauth2/authorize?" + query);
    if (reply.status != 302) return {};
    const std::string location = reply.headers.at("location");
    const std::size_t at = location.find("code=") + 5;
    EXPECT_TRUE(location.ends_with("&state=a%20b")) << location;
    return location.substr(at, location.find('&', at) - at);
  }
  /// Status of a request with a token.
  long With(const std::string& token) {
    Client client(server, "", "");
    client.http_headers = {"Authorization: Bearer " + token};
    return client.Call(GetFolderXml(Distinguished("inbox"))).status;
  }
  Started server{WithBearer()};
};

const std::string kPassword = "grant_type=password&username=alice%40example.com&password=wonder&client_id=x";

TEST_F(SimulatorTokens, WithoutATokenTheSchemeIsOffered) {
  Client client(server, "", "");
  const Reply reply = client.Call(GetFolderXml(Distinguished("inbox")));
  EXPECT_EQ(reply.status, 401);
  EXPECT_EQ(reply.headers.at("www-authenticate"), "Bearer");
  EXPECT_EQ(With("made-up"), 401);
}

TEST_F(SimulatorTokens, AUserLogsOnByPassword) {
  const Json json = Grant(kPassword);
  EXPECT_EQ(json["status"], 200) << json;
  EXPECT_EQ(json["token_type"], "Bearer");
  EXPECT_EQ(json["expires_in"], 3600);
  EXPECT_EQ(With(json["access_token"]), 200);
  EXPECT_EQ(Grant("grant_type=password&username=alice&password=wrong")["error"], "invalid_grant");
  EXPECT_EQ(Grant("grant_type=password&username=nobody&password=wonder")["error"], "invalid_grant");
  EXPECT_EQ(Grant("grant_type=implicit")["error"], "unsupported_grant_type");
}

TEST_F(SimulatorTokens, AClientActsForItself) {
  const Json json = Grant("grant_type=client_credentials&client_id=bob&client_secret=builder");
  EXPECT_EQ(With(json["access_token"]), 200);
  EXPECT_FALSE(json.contains("refresh_token"));
  const Json refused = Grant("grant_type=client_credentials&client_id=bob&client_secret=wrong");
  EXPECT_EQ(refused["error"], "invalid_client");
  EXPECT_EQ(refused["status"], 401);
}

TEST_F(SimulatorTokens, ARefreshTokenWorksOnce) {
  const std::string refresh = Grant(kPassword)["refresh_token"];
  const Json json = Grant("grant_type=refresh_token&client_id=x&refresh_token=" + refresh);
  EXPECT_EQ(With(json["access_token"]), 200);
  EXPECT_NE(json["refresh_token"], refresh);
  EXPECT_EQ(Grant("grant_type=refresh_token&client_id=x&refresh_token=" + refresh)["error"], "invalid_grant");
}

TEST_F(SimulatorTokens, ACodeNeedsItsProofAndItsAddress) {
  // The pair of RFC 7636, appendix B.
  const std::string query =
      "response_type=code&client_id=x&redirect_uri=http%3A%2F%2F127.0.0.1%3A1%2Fback&state=a%20b&code_challenge_method="
      "S256&code_challenge=E9Melhoa2OwvFrEMTJguCHaoeK1t8URWbuGJSstw-cM";
  const std::string proof = "&code_verifier=dBjftJeZ4CVP-mB92K27uhbUJU1p1r_wW1gFWFOEjXk";
  const std::string back = "&redirect_uri=http%3A%2F%2F127.0.0.1%3A1%2Fback";
  const auto redeem = [&](const std::string& code, const std::string& rest) {
    return Grant("grant_type=authorization_code&client_id=x&code=" + code + rest);
  };
  std::string code = Authorize(query);
  ASSERT_FALSE(code.empty());
  const Json json = redeem(code, back + proof);
  EXPECT_EQ(With(json["access_token"]), 200);
  EXPECT_EQ(redeem(code, back + proof)["error"], "invalid_grant") << "used";
  EXPECT_EQ(redeem(Authorize(query), back + "&code_verifier=wrong")["error"], "invalid_grant");
  EXPECT_EQ(redeem(Authorize(query), proof)["error"], "invalid_grant") << "another address";
  EXPECT_EQ(Authorize(query, "alice", "wrong"), "");
  EXPECT_EQ(Authorize(query, "", ""), "");
}

TEST_F(SimulatorTokens, ACodeIsForTheClientThatAskedForIt) {
  const std::string query = "response_type=code&client_id=x&state=a%20b&redirect_uri=http%3A%2F%2F127.0.0.1%3A1%2F";
  const std::string rest = "&redirect_uri=http%3A%2F%2F127.0.0.1%3A1%2F&code=";
  EXPECT_EQ(Grant("grant_type=authorization_code&client_id=y" + rest + Authorize(query))["error_description"],
            "The code is another client's.");
  const Json json = Grant("grant_type=authorization_code&client_id=x" + rest + Authorize(query + "&scope=mail"));
  EXPECT_EQ(json["scope"], "mail");
  const std::string refresh = json["refresh_token"];
  EXPECT_EQ(Grant("grant_type=refresh_token&client_id=y&refresh_token=" + refresh)["error_description"],
            "The refresh token is another client's.");
  EXPECT_EQ(Grant("grant_type=refresh_token&client_id=x&refresh_token=" + refresh)["scope"], "mail");
}

TEST_F(SimulatorTokens, RequestsOutOfFormAreRefused) {
  EXPECT_EQ(Grant("username=alice")["error_description"], "There is no grant_type.");
  EXPECT_EQ(Grant(kPassword + "&username=bob")["error_description"], "A parameter stands twice.");
  Client client(server, "", "");
  client.url = server.HttpUrl().substr(0, server.HttpUrl().find("/EWS")) + "/oauth2/token";
  EXPECT_EQ(Json::parse(client.Post(kPassword).body)["error_description"], "The parameters must come as a form.");
  Client browser(server);
  const std::string back = "redirect_uri=http%3A%2F%2F127.0.0.1%3A1%2F&state=s";
  EXPECT_EQ(browser.Get("/oauth2/authorize?" + back + "&response_type=token").headers.at("location"),
            "http://127.0.0.1:1/?error=unsupported_response_type&state=s");
  EXPECT_EQ(
      browser.Get("/oauth2/authorize?" + back + "&response_type=code&code_challenge_method=S1").headers.at("location"),
      "http://127.0.0.1:1/?error=invalid_request&state=s");
}

TEST_F(SimulatorTokens, FailAsTheyAreToldTo) {
  Fault fault;
  fault.operation = "Token";
  fault.response_code = "invalid_grant";
  fault.message_text = "The \"account\" is locked.";
  server.AddFault(fault);
  const Json refused = Grant(kPassword);
  EXPECT_EQ(refused["status"], 400);
  EXPECT_EQ(refused["error"], "invalid_grant");
  EXPECT_EQ(refused["error_description"], "The \"account\" is locked.");
  fault = {};
  fault.operation = "authorize";
  fault.http_status = 503;
  fault.headers = {{"Retry-After", "7"}};
  server.AddFault(fault);
  const Reply busy = Client(server).Get("/oauth2/authorize?x=y");
  EXPECT_EQ(busy.status, 503);
  EXPECT_EQ(busy.headers.at("retry-after"), "7");
  fault = {};
  fault.http_status = 503;
  server.AddFault(fault);
  EXPECT_EQ(Grant(kPassword)["status"], 200) << "a fault without a name is one of the service";
  EXPECT_EQ(server.PendingFaults(), 1u);
}

TEST_F(SimulatorTokens, NobodyIsSentElsewhere) {
  for (const char* address :
       {"http://evil.example/", "http://127.0.0.1.evil.example/", "http://localhost@evil.example/",
        "https://evil.example", "", "http://127.0.0.1:1%0d%0aX:y"})
    EXPECT_EQ(Authorize("response_type=code&state=a%20b&redirect_uri=" + std::string(address)), "") << address;
}

TEST_F(SimulatorTokens, TokensGrowOld) {
  Options options = WithBearer();
  options.token_lifetime = std::chrono::seconds(0);
  Started other(options);
  Client client(other, "", "");
  client.url = other.HttpUrl().substr(0, other.HttpUrl().find("/EWS")) + "/oauth2/token";
  client.content_type = "application/x-www-form-urlencoded";
  const std::string token = Json::parse(client.Post(kPassword).body)["access_token"];
  Client asking(other, "", "");
  asking.http_headers = {"Authorization: Bearer " + token};
  const Reply refusal = asking.Call(GetFolderXml(Distinguished("inbox")));
  EXPECT_EQ(refusal.status, 401);
  EXPECT_EQ(refusal.headers.at("www-authenticate"), "Bearer error=\"invalid_token\"");
}

TEST_F(SimulatorTokens, SecretsAreMaskedInWhatIsKept) {
  const std::string token = Grant(kPassword)["access_token"];
  With(token);
  for (const Exchange& exchange : server.Exchanges()) {
    for (const std::string& text :
         {exchange.request_body, exchange.response_body, exchange.RequestHeader("Authorization")}) {
      EXPECT_EQ(text.find("wonder"), std::string::npos) << text;
      EXPECT_EQ(text.find(token), std::string::npos) << text;
    }
  }
}

}  // namespace
}  // namespace velmore::simulator::testing
