#pragma once

// Who is asking? One object per scheme; a new scheme is a new class and a line in MakeScheme.

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "simulator/transport/gss.h"
#include "simulator/transport/http_message.h"
#include "simulator/transport/tokens.h"
#include "simulator/types/options.h"

namespace velmore::simulator {

/// The users as the directory knows them. Any thread may ask.
struct Directory {
  FindUser find;
  AllUsers all;
};

class AuthenticationScheme {
 public:
  /// What became of the words of a client.
  struct Verdict {
    std::optional<User> user;     // nothing: refused, or to be continued
    bool goes_on = false;         // the client is to answer `token`
    std::string token;            // for the client; with a user: the server's own proof
    bool for_connection = false;  // the user is the connection's from now on
    std::string challenge;        // of a refusal that has words of its own; else that of the scheme
  };
  virtual ~AuthenticationScheme() = default;
  virtual std::string Name() const = 0;  // "Basic"
  /// Value of WWW-Authenticate that offers the scheme.
  virtual std::string Challenge() const = 0;
  /// Judges what stands behind the scheme's name in Authorization.
  virtual Verdict Check(const std::string& credentials, ConnectionState& connection) = 0;
};

class Authenticator {
 public:
  /// Throws OptionError for a keytab or a password file that cannot be used.
  Authenticator(Directory directory, const Tokens& tokens, const Options& options);
  struct Result {
    std::optional<User> user;
    std::vector<std::string> challenges;  // when there is no user
    Headers headers;                      // of the reply to a user
  };
  Result Check(const HttpRequest& request, ConnectionState& connection);
  /// What is offered to somebody who does not say who he is.
  std::vector<std::string> Challenges() const;
  void SetSchemes(const std::vector<std::string>& schemes);

 private:
  using Schemes = std::vector<std::unique_ptr<AuthenticationScheme>>;
  std::shared_ptr<const Schemes> Current() const;
  std::unique_ptr<AuthenticationScheme> MakeScheme(const std::string& name);

  const Directory directory_;
  const Tokens& tokens_;
  GssKeys keys_;
  const bool require_binding_;
  mutable std::mutex mutex_;  // protects the pointer; requests under way keep the schemes that they began with
  std::shared_ptr<const Schemes> schemes_;
};

}  // namespace velmore::simulator
