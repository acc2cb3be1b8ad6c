#pragma once

// Keeps the mailboxes in the state file: reads them at the start, and adds what has changed while the server runs.

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "simulator/mailbox/state.h"
#include "simulator/mailbox/state_file.h"

namespace velmore::simulator {

/// Owns the file, and between Start and Stop a thread that writes to it. What changed is copied under the lock of its
/// mailbox, a few items at a time, and written without it, so that no request waits for the writing.
class StateKeeper {
 public:
  /// Takes the file for this server alone; see StateFile.
  StateKeeper(const std::string& file, Store& store);
  ~StateKeeper();  ///< ends the thread; what has changed since it looked is not written
  StateKeeper(const StateKeeper&) = delete;
  StateKeeper& operator=(const StateKeeper&) = delete;

  /// Fills the empty store with what the file holds. Throws OptionError when that cannot be used.
  void Read();
  /// Begins to look for changes, each time after this interval. A failure to write is not told: the old file is whole,
  /// the next look is another try, and Stop tells.
  void Start(std::chrono::milliseconds interval);
  /// Ends the thread and writes what is left, without what no longer counts. Throws SimulatorError.
  void Stop();

 private:
  /// What the file has of a mailbox, beside its folders and items.
  struct Known {
    std::string text;
    std::size_t tombstones = 0;
  };
  struct Place {
    Mailbox* mailbox;
    MailboxKind kind;
    std::size_t place;
  };
  void EndThread();
  std::vector<Place> Places() const;
  /// Brings the file up to date. Throws SimulatorError.
  void Write();
  void Collect(const Place& place, bool all, StateEntries& entries);

  Store& store_;
  StateFile file_;
  std::map<const Mailbox*, Known> known_;
  std::string directory_;
  bool anew_ = false;  // the file is to be written as a whole

  std::mutex mutex_;  // protects the next two
  std::condition_variable ending_;
  bool end_ = false;
  std::thread thread_;
};

}  // namespace velmore::simulator
