#pragma once

// What the operation of a thread may touch: a check of ourselves, as an operation that goes to a mailbox whose lock it
// does not hold would be right nearly always.

#include <mutex>
#include <set>

namespace velmore::simulator {

/// While it lives, its thread reaches those mailboxes whose locks it names, and no other. Without one a thread reaches
/// all: it holds the store whole, or is alone with it.
class Reach {
 public:
  Reach() : before_(current_) { current_ = this; }
  ~Reach() { current_ = before_; }
  Reach(const Reach&) = delete;
  Reach& operator=(const Reach&) = delete;

  void Allow(const std::mutex& lock) { allowed_.insert(&lock); }
  /// Throws std::logic_error when the mailbox of this lock is out of reach. Called by what leads into a mailbox.
  static void Check(const std::mutex& lock) {
    if (current_ != nullptr && !current_->allowed_.contains(&lock)) Refuse();
  }

 private:
  [[noreturn]] static void Refuse();

  static thread_local Reach* current_;
  Reach* before_;
  std::set<const std::mutex*> allowed_;
};

}  // namespace velmore::simulator
