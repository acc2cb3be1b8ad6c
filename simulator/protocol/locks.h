#pragma once

// What an operation holds while it runs.

#include <mutex>
#include <optional>
#include <shared_mutex>
#include <string>
#include <vector>

#include "simulator/mailbox/model.h"
#include "simulator/mailbox/reach.h"

namespace velmore::simulator {

/// True when an operation stays within the mailboxes that its request names: those of the ids and addresses in it, and
/// that of its user. Any other runs with the whole store: what is sent goes to mailboxes that nobody can tell
/// beforehand.
bool StaysInMailboxes(const std::string& operation, const Element& request);

/// The locks of an operation, from its begin to its end.
class OperationLock {
 public:
  /// Takes the store whole, or shares it.
  OperationLock(Store& store, bool whole);
  /// Takes the locks of the mailboxes that a request names, and those of the users. No more can be taken later.
  void TakeMailboxes(const Element& request, const std::vector<Mailbox*>& of_users);

 private:
  Store& store_;
  std::unique_lock<StoreLock> whole_;
  std::shared_lock<StoreLock> shared_;
  std::vector<std::unique_lock<std::mutex>> mailboxes_;
  std::optional<Reach> reach_;  // nothing before the locks are taken, the mailboxes that are locked from then on
};

}  // namespace velmore::simulator
