#pragma once

// The grants of OAuth: what is asked, and how the answers are read. Knows no sockets: who uses it brings the way to the
// token endpoint, so that tests and fuzzers feed it.

#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/http/uVqHTTPOAuth.h"

#pragma GCC visibility push(hidden)

namespace velmore {

/// What a token endpoint said.
struct TVqOAuthAnswer {
  std::uint16_t Status = 0;
  std::string ContentType;
  std::string Body;
};

/// Names and values of a form or a query.
using TVqFormFields = std::vector<std::pair<std::string, std::string>>;
/// "a=1&b=x%20y", for a body of type application/x-www-form-urlencoded and for a query alike.
std::string VqFormEncode(const TVqFormFields& fields);
/// A text as a value in one.
std::string VqFormEncode(std::string_view text);
/// The fields of a form or a query in their order. What is malformed stands for itself.
TVqFormFields VqFormDecode(std::string_view text);

/// "Authorize", "Password" ...
const char* VqOAuthGrantName(TVqOAuthGrantType grant) noexcept;

/// The value of "error" in the challenge of Bearer of a "WWW-Authenticate" header; empty when there is none.
std::string VqBearerError(std::string_view header);

/// What `VqReadTokenAnswer` tells in its texts, and what it keeps out of them.
struct TVqOAuthQuestion {
  TVqOAuthGrantType Grant = TVqOAuthGrantType::none;
  string Endpoint;
  std::vector<std::string> Secrets;  // that the server may have repeated
};

/// The token of an answer. Raises EVqOAuthException for everything that brings none.
TVqOAuthAccessToken VqReadTokenAnswer(const TVqOAuthAnswer& answer, const TVqOAuthQuestion& question);

/// One log-on. Refers to what it is made with.
class TVqOAuthGrant {
 public:
  /// The way to the token endpoint: an address, a form, and the value of the header that proves who the application is.
  using TPost =
      std::function<TVqOAuthAnswer(const string& url, std::string_view form, const std::string& authorization)>;
  /// Has a person log on: the form's address is asked with `url`, which `redirect` belongs to. Raises when it is
  /// cancelled.
  using TShow =
      std::function<string(const TVqRef<IVqHTTPOAuthAutorizeForm>& form, const string& url, const string& redirect)>;

  TVqOAuthGrant(TVqOAuth& settings, const TVqCredentials& credentials, TPost post, TShow show)
      : FSettings(settings), FCredentials(credentials), FPost(std::move(post)), FShow(std::move(show)) {}

  /// A new token: by the refresh token of the last one, else by the grant of the settings. Where a person is needed and
  /// `mayAsk` is false, the server's refusal of the refresh token is raised.
  TVqOAuthAccessToken Run(const TVqOAuthAccessToken& last, bool mayAsk);

 private:
  TVqOAuthAccessToken Refresh(const TVqOAuthAccessToken& last);
  TVqOAuthAccessToken Authorize();
  TVqOAuthAccessToken Ask(TVqFormFields fields);
  string CodeOf(const string& answer, const string& redirect, std::string_view state);
  void Need(const string& value, const char* what) const;
  [[noreturn]] void Fail(const string& why) const;

  TVqOAuth& FSettings;
  const TVqCredentials& FCredentials;
  TPost FPost;
  TShow FShow;
};

}  // namespace velmore

#pragma GCC visibility pop
