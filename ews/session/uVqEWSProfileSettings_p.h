#pragma once

// The settings of a profile: one row each, in the order in which they are written, for every container.

#include <exception>
#include <functional>
#include <optional>
#include <string_view>
#include <vector>

#include "platform/common/uVqTypes.h"

namespace velmore {
class TVqEWSCustomSession;
class TVqEWSProfileCustomContainer;
}  // namespace velmore

#pragma GCC visibility push(hidden)

namespace velmore {

/// One setting as a container holds it: a truth value, or a text.
struct TVqEWSProfileValue {
  std::string_view Name;
  bool IsBoolean = false;
  bool Boolean = false;
  string Text;
};

/// How a container protects what it saves.
struct TVqEWSProfileScopes {
  bool PasswordForMachine;
  bool SecretForMachine;
  /// What is written beside the secret. In the registry the two words are crossed, and nobody reads their meaning.
  const char* SecretWord;
};

/// The session's settings, secrets protected, in the order of the rows.
std::vector<TVqEWSProfileValue> EwsProfileOf(TVqEWSCustomSession& session,
                                             const TVqEWSProfileCustomContainer& container,
                                             const TVqEWSProfileScopes& scopes);

/// Asked for each row: fills the value that the container has, and says false when it has none.
using TVqEWSProfileReader = std::function<bool(TVqEWSProfileValue& value)>;
/// Reads all rows, then sets those that were there, in their order. A reader that raises, or a secret that cannot be
/// read, leaves the session as it was. With `resetFlags` the checks that certificates are spared are all asked for
/// again before those of the profile are lifted. What another system protected (a profile that came from Windows) can
/// never be read here: such secrets are set empty, everything else counts, and the result is the failure, for the
/// container to raise when it has loaded its own. Null without such a secret.
[[nodiscard]] std::exception_ptr EwsApplyProfile(TVqEWSCustomSession& session, const TVqEWSProfileReader& reader,
                                                 bool resetFlags);

/// Raises a plain exception for a name that no profile can have.
void EwsCheckProfileName(const string& name, bool inRegistry);

}  // namespace velmore

#pragma GCC visibility pop
