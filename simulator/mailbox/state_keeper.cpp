#include "simulator/mailbox/state_keeper.h"

#include <algorithm>

#include "simulator/mailbox/state.h"

namespace velmore::simulator {
namespace {

/// A number that is another one after each change. Whatever changes moves a change key or makes or takes something
/// away.
std::uint64_t Revision(const Store& store) {
  std::uint64_t revision = store.contacts.size();
  const auto add = [&revision](const Mailbox& mailbox) {
    for (const std::uint64_t part : {std::uint64_t{1}, mailbox.last_change, mailbox.last_number,
                                     std::uint64_t{mailbox.folders.size()}, std::uint64_t{mailbox.items.size()}})
      revision = revision * 1099511628211U + part;
  };
  for (const auto& mailbox : store.Mailboxes()) add(*mailbox);
  add(store.PublicFolders());
  return revision;
}

}  // namespace

StateKeeper::StateKeeper(std::string file, const Store& store, std::chrono::milliseconds interval)
    : file_(std::move(file)), store_(store), interval_(interval) {
  // Before the thread, which may begin late: what changes behind this line is a change.
  std::uint64_t revision = 0;
  {
    const std::lock_guard lock(store_.mutex);
    revision = Revision(store_);
  }
  thread_ = std::thread([this, revision] { Run(revision); });
}

StateKeeper::~StateKeeper() {
  {
    const std::lock_guard lock(mutex_);
    end_ = true;
  }
  ending_.notify_all();
  thread_.join();
}

void StateKeeper::Run(std::uint64_t written) {
  using Clock = std::chrono::steady_clock;
  Clock::duration wait = interval_;
  std::unique_lock lock(mutex_);
  while (!ending_.wait_for(lock, wait, [this] { return end_; })) {
    lock.unlock();
    const auto start = Clock::now();
    std::string text;
    std::uint64_t revision = 0;
    {
      const std::lock_guard store_lock(store_.mutex);
      revision = Revision(store_);
      if (revision != written) text = StateText(store_);
    }
    if (!text.empty()) {
      try {
        WriteStateText(file_, text);
        written = revision;
      } catch (const SimulatorError&) {
        // Tried again after the next wait.
      }
    }
    // Large mailboxes are written less often: a tenth of the time at most goes into it.
    wait = std::max<Clock::duration>(interval_, 9 * (Clock::now() - start));
    lock.lock();
  }
}

}  // namespace velmore::simulator
