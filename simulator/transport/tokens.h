#pragma once

// OAuth tokens and the endpoint that gives them out: /oauth2/token and /oauth2/authorize. Users are those of the
// mailboxes; a client that acts for itself is a user whose name and password are its id and secret.

#include <chrono>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "simulator/transport/http_message.h"
#include "simulator/types/options.h"

namespace velmore::simulator {

/// The user of a log-on name, as the directory knows him; nothing when there is none. Any thread may ask.
using FindUser = std::function<std::optional<User>(std::string_view name)>;

class Tokens {
 public:
  Tokens(FindUser find, std::chrono::seconds lifetime) : find_(std::move(find)), lifetime_(lifetime) {}

  /// Is this a request to the endpoint?
  static bool Serves(const HttpRequest& request);
  /// What such a request is called where failures are chosen: "Authorize", or "Token".
  static const char* NameOf(const HttpRequest& request);
  /// An error answer: a code such as "invalid_grant" and its description, which may be empty.
  static HttpResponse Refused(const std::string& error, const std::string& description);
  /// Grants: password, client_credentials, authorization_code (with a proof key, if one was announced), refresh_token.
  HttpResponse Answer(const HttpRequest& request);
  /// Whose token this is; nothing when it was never given out, or is too old.
  std::optional<User> UserOf(const std::string& token) const;

 private:
  struct Code {
    std::string user;
    std::string redirect;
    std::string challenge;
    bool hashed = false;
    std::string client;
    std::string scope;
    std::chrono::steady_clock::time_point end;
  };
  struct Refresh {
    std::string user;
    std::string client;
    std::string scope;
  };
  struct Token {
    std::string user;
    std::chrono::steady_clock::time_point end;
  };
  HttpResponse Grant(const HttpRequest& request);
  HttpResponse Authorize(const HttpRequest& request);
  HttpResponse Give(const Refresh& grant, bool refreshable);
  HttpResponse Redeem(const std::map<std::string, std::string>& form, const std::string& client);
  std::optional<User> LoggedOn(const std::string& name, const std::string& password) const;

  const FindUser find_;
  const std::chrono::seconds lifetime_;
  mutable std::mutex mutex_;  // protects what follows
  std::map<std::string, Token> tokens_;
  std::map<std::string, Refresh> refresh_;  // by refresh token
  std::map<std::string, Code> codes_;
};

}  // namespace velmore::simulator
