#pragma once

// Who is asking? One object per scheme; a new scheme is a new class and a line in MakeScheme.

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "simulator/mailbox/model.h"
#include "simulator/transport/http_server.h"

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
  Authenticator(Store& store, const std::vector<std::string>& schemes);
  struct Result {
    std::optional<User> user;
    std::vector<std::string> challenges;  // when there is no user
  };
  Result Check(const HttpRequest& request, ConnectionState& connection);

 private:
  std::vector<std::unique_ptr<AuthenticationScheme>> schemes_;
};

}  // namespace velmore::simulator
