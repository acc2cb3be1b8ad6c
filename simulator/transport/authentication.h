#pragma once

// Who is asking? One object per scheme; a new scheme is a new class and a line in MakeScheme.

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "simulator/transport/http_server.h"
#include "simulator/transport/tokens.h"
#include "simulator/types/options.h"

namespace velmore::simulator {

class AuthenticationScheme {
 public:
  virtual ~AuthenticationScheme() = default;
  virtual std::string Name() const = 0;  // "Basic"
  /// Value of WWW-Authenticate that offers the scheme.
  virtual std::string Challenge() const = 0;
  /// Judges what stands behind the scheme's name in Authorization. Nothing: refused, or to be continued when
  /// `continuation` was set to a further challenge. `state` lives as long as the connection.
  virtual std::optional<User> Check(const std::string& credentials, std::shared_ptr<void>& state,
                                    std::string& continuation) = 0;
};

class Authenticator {
 public:
  Authenticator(FindUser find, const Tokens& tokens, const std::vector<std::string>& schemes);
  struct Result {
    std::optional<User> user;
    std::vector<std::string> challenges;  // when there is no user
  };
  Result Check(const HttpRequest& request, ConnectionState& connection);
  /// What is offered to somebody who does not say who he is.
  std::vector<std::string> Challenges() const;
  void SetSchemes(const std::vector<std::string>& schemes);

 private:
  using Schemes = std::vector<std::unique_ptr<AuthenticationScheme>>;
  std::shared_ptr<const Schemes> Current() const;
  const FindUser find_;
  const Tokens& tokens_;
  mutable std::mutex mutex_;  // protects the pointer; requests under way keep the schemes that they began with
  std::shared_ptr<const Schemes> schemes_;
};

}  // namespace velmore::simulator
