#pragma once

// Brings the state file up to date while the server runs, so that a server that is killed loses little.

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>

#include "simulator/mailbox/model.h"

namespace velmore::simulator {

/// Owns a thread that looks for changes and writes the file when there are any. A failure to write is not told: the old
/// file is whole, the next change is another try, and the end of the server tells.
class StateKeeper {
 public:
  StateKeeper(std::string file, const Store& store, std::chrono::milliseconds interval);
  ~StateKeeper();  ///< ends the thread; what has changed since it looked is not written
  StateKeeper(const StateKeeper&) = delete;
  StateKeeper& operator=(const StateKeeper&) = delete;

 private:
  /// `written`: the revision of the mailboxes that needs no writing.
  void Run(std::uint64_t written);

  const std::string file_;
  const Store& store_;
  const std::chrono::milliseconds interval_;
  std::mutex mutex_;  // protects the next two
  std::condition_variable ending_;
  bool end_ = false;
  std::thread thread_;
};

}  // namespace velmore::simulator
