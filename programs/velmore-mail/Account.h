#pragma once

// Where the program logs on and as whom, and what to do when that fails.

#include <string>
#include <vector>

#include "ews/session/uVqEWS.h"
#include "ews/session/uVqEWSProfileRegistry.h"

namespace mail {

/// What the command line and the environment say of the account. The password is not among it: it comes from
/// VELMORE_MAIL_PASSWORD, from the profile, or from the terminal without being shown.
struct AccountOptions {
  std::string url, user, address, profile, ca_file;
  std::string mailbox;  ///< of somebody else, in whose name to act
};

/// One session, logged on when it is first asked for.
class Account {
 public:
  explicit Account(AccountOptions options) : options_(std::move(options)) {}

  /// The session with its settings, not yet logged on. Asks for the password where nobody gave one.
  velmore::TVqEWSServiceSession& Configured();
  /// Logs on. Raises what a logon raises.
  velmore::TVqEWSServiceSession& Session();
  velmore::IVqEWSMsgStore& Store();

  /// Logs on step by step and prints what is found, and what is wrong with advice. False when something is.
  bool Check();
  /// Keeps the settings and the password under a name, after they were tried. This and the next two give 0.
  int Save(const std::string& name);
  /// Prints the names.
  static int ListProfiles();
  /// Raises UsageError when there is none.
  static int Forget(const std::string& name);

 private:
  AccountOptions options_;
  velmore::TVqEWSProfileRegistryContainer profiles_{nullptr};
  velmore::TVqEWSServiceSession session_{nullptr};
  bool configured_ = false;
  velmore::TVqRef<velmore::IVqEWSMsgStore> store_;
};

/// A failure with all that is nested in it, a line each, and what usually helps as the last one.
std::string Explained(const std::exception& failure);

}  // namespace mail
