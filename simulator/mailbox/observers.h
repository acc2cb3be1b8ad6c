#pragma once

// What has happened in the mailboxes, for whoever wants to know.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>

#include "simulator/time/time.h"

namespace velmore::simulator {

struct Folder;
struct Mailbox;

/// A change of an item or a folder. It is told after it has happened, while the lock of its mailbox is held.
struct StoreChange {
  enum class Kind { kNewMail, kCreated, kModified, kMoved, kCopied, kDeleted };
  /// Ids and change keys as clients see them.
  struct Place {
    std::string id;
    std::string key;
    std::string parent;
    std::string parent_key;
  };
  const Mailbox& mailbox;
  Kind kind;
  bool of_folder;
  Place now;             // of something deleted: where it was
  Place before;          // of something moved or copied: where it came from, or was copied from
  const Folder* folder;  // that changed, while it is told; null for items and for what is gone
  Seconds time;

  /// Unread messages in the folder that changed. Counts them, so that only who wants to know pays for it.
  std::size_t Unread() const;
};

/// Who is told. Who adds or removes an observer holds the store whole; changes are told one after the other.
class Observers {
 public:
  using Observer = std::function<void(const StoreChange&)>;
  /// An observer must be quick, must not touch the store, and is told until it is removed by the number that this
  /// returns.
  std::uint64_t Add(Observer observer) {
    observers_.emplace(++last_, std::move(observer));
    return last_;
  }
  void Remove(std::uint64_t number) { observers_.erase(number); }
  bool Empty() const { return observers_.empty(); }
  void Tell(const StoreChange& change) const {
    if (observers_.empty()) return;
    const std::lock_guard lock(telling_);
    for (const auto& [number, observer] : observers_) observer(change);
  }

 private:
  mutable std::mutex telling_;  // two mailboxes may change at a time
  std::map<std::uint64_t, Observer> observers_;
  std::uint64_t last_ = 0;
};

}  // namespace velmore::simulator
