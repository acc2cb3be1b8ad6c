#pragma once

// A server with two paths, "/token" and everything else, that hands out tokens "access-1", "access-2" ... and knows
// which one is good now.

#include <atomic>
#include <map>
#include <mutex>
#include <set>
#include <string>

#include "platform/common/uVqDateTimeUtils.h"
#include "platform/http/uVqHTTPOAuthGrants_p.h"
#include "tests/http/HTTPTestSupport.h"

namespace velmore {

class TokenServer {
 public:
  using Form = std::map<std::string, std::string>;

  TokenServer() {
    Server.Always([this](const ScriptedServer::Request& request) {
      return request.Target() == "/token" ? Give(request) : Serve(request);
    });
  }

  /// What the token endpoint says instead of a token.
  std::function<ScriptedServer::Answer(const Form& form)> OnAsk;
  /// Put into the answer beside the token: ",\"expires_in\":3600".
  std::string Extra = ",\"expires_in\":3600";
  /// When false, tokens have no refresh token.
  bool Refreshable = true;
  /// Refuses a token from the next request on.
  void Refuse(const std::string& token) { Refused.insert(token); }

  static std::string Json(int status, const std::string& body, const std::string& type = "application/json") {
    return "HTTP/1.1 " + std::to_string(status) + " X\r\nContent-Type: " + type +
           "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
  }

  string TokenEndpoint() const { return Server.Url("/token"); }
  string Mail() const { return Server.Url("/mail"); }
  /// The forms that came to the token endpoint, in order.
  std::vector<Form> Forms() const {
    std::vector<Form> forms;
    for (const auto& request : Server.Requests()) {
      if (request.Target() != "/token") continue;
      forms.push_back(FormOf(request.Body));
      forms.back()["Authorization"] = request.Header("Authorization");
    }
    return forms;
  }
  /// The tokens that came with the other requests, in order.
  std::vector<std::string> Used() const {
    std::vector<std::string> used;
    for (const auto& request : Server.Requests()) {
      if (request.Target() != "/token") used.push_back(request.Header("Authorization"));
    }
    return used;
  }
  static Form FormOf(const std::string& body) {
    Form form;
    for (auto& [name, value] : VqFormDecode(body)) form[name] = value;
    return form;
  }

  /// A client whose settings are good for the grant.
  TVqRef<IVqHTTPClient> Client(TVqOAuthGrantType grant = TVqOAuthGrantType::ClientCredentials) const {
    const auto client = As("anna", "Pa55w0rd!");
    client->SetAuthentication(TVqHTTPAuthentication::oAuth);
    client->GetOAuth() = Settings(grant);
    return client;
  }
  TVqOAuth Settings(TVqOAuthGrantType grant) const {
    TVqOAuth oauth;
    oauth.SetClientId("app");
    oauth.SetClientSecret("S3cret!s");
    oauth.SetTokenEndpoint(TokenEndpoint());
    oauth.SetAuthorizationEndpoint(Server.Url("/authorize"));
    oauth.SetRedirectURI("http://127.0.0.1/app");
    oauth.SetScope("mail.read");
    oauth.SetGrantType(grant);
    return oauth;
  }

  ScriptedServer Server;

 private:
  ScriptedServer::Answer Give(const ScriptedServer::Request& request) {
    if (OnAsk) {
      ScriptedServer::Answer answer = OnAsk(FormOf(request.Body));
      if (!answer.Bytes.empty() || answer.Hang || answer.Close) return answer;
    }
    const std::string number = std::to_string(++Given);
    const std::string refresh = Refreshable ? ",\"refresh_token\":\"refresh-" + number + "\"" : "";
    return Plain(
        Json(200, "{\"access_token\":\"access-" + number + "\",\"token_type\":\"Bearer\"" + refresh + Extra + "}"));
  }
  ScriptedServer::Answer Serve(const ScriptedServer::Request& request) {
    const std::string header = request.Header("Authorization");
    if (header.starts_with("Bearer ") && Refused.count(header.substr(7)) == 0) return Plain(ScriptedServer::Ok("mail"));
    return Plain(Refusal("WWW-Authenticate: Bearer client_id=\"0000\", error=\"invalid_token\"\r\n"));
  }

  std::set<std::string> Refused;  // before the request is sent
  int Given = 0;
};

/// Takes the place of a setting of the whole process for the time of a test.
template <typename Event>
class Instead {
 public:
  Instead(Event& place, Event event) : FPlace(place), FBefore(std::exchange(place, std::move(event))) {}
  ~Instead() { FPlace = std::move(FBefore); }
  Instead(const Instead&) = delete;
  Instead& operator=(const Instead&) = delete;

 private:
  Event& FPlace;
  Event FBefore;
};

/// The exception that `job` raises for want of a token.
template <typename Job>
EVqOAuthException FailureOf(Job job) {
  try {
    job();
  } catch (const EVqOAuthException& failure) {
    return failure;
  }
  return EVqOAuthException("nothing was raised", 0);
}

/// A token that ends so many seconds from now on.
inline TVqOAuthAccessToken TokenFor(const string& text, double seconds, const string& refresh = {}) {
  return {text, "Bearer", refresh, "", TDateTime(VqNow() + seconds / (24 * 60 * 60))};
}

}  // namespace velmore
