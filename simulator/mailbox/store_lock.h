#pragma once

#include <condition_variable>
#include <mutex>

namespace velmore::simulator {

/// The lock of the store: one holds it whole, or many share it, each with the locks of the mailboxes that it uses. Who
/// waits for the whole comes before those who come later to share it, and those who wait by then come next, so that
/// neither sort keeps the other waiting for ever.
class StoreLock {
 public:
  void lock() {
    std::unique_lock lock(mutex_);
    ++waiting_whole_;
    changed_.wait(lock, [this] { return !whole_ && sharing_ == 0 && turn_ == 0; });
    --waiting_whole_;
    whole_ = true;
  }
  void unlock() {
    {
      const std::lock_guard lock(mutex_);
      whole_ = false;
      turn_ = waiting_shared_;
    }
    changed_.notify_all();
  }
  void lock_shared() {
    std::unique_lock lock(mutex_);
    if (whole_ || waiting_whole_ > 0) {
      ++waiting_shared_;
      changed_.wait(lock, [this] { return !whole_ && (waiting_whole_ == 0 || turn_ > 0); });
      --waiting_shared_;
      if (turn_ > 0) --turn_;
    }
    ++sharing_;
  }
  void unlock_shared() {
    bool last = false;
    {
      const std::lock_guard lock(mutex_);
      last = --sharing_ == 0;
    }
    if (last) changed_.notify_all();
  }

 private:
  std::mutex mutex_;  // protects what follows
  std::condition_variable changed_;
  bool whole_ = false;
  unsigned sharing_ = 0;
  unsigned waiting_whole_ = 0;
  unsigned waiting_shared_ = 0;
  unsigned turn_ = 0;  // of those who waited to share it, how many come before the next who wants it whole
};

}  // namespace velmore::simulator
