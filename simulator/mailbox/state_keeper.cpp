#include "simulator/mailbox/state_keeper.h"

#include <shared_mutex>
#include <utility>

#include "simulator/mailbox/ids.h"

namespace velmore::simulator {
namespace {

/// Items that are copied under one hold of the lock: a few milliseconds.
constexpr std::size_t kBatch = 250;
/// Text that is held in memory before it is written.
constexpr std::size_t kMostText = 8 << 20;

/// A copy that shares nothing that may change.
Item CopyOf(const Item& item) {
  Item copy = item;
  for (Attachment& attachment : copy.attachments)
    if (attachment.item != nullptr) attachment.item = std::make_shared<Item>(CopyOf(*attachment.item));
  for (auto& [start, exception] : copy.exceptions)
    if (exception != nullptr) exception = std::make_shared<Item>(CopyOf(*exception));
  return copy;
}

/// A number so that its texts stand in the order of the numbers.
std::string Ordered(std::uint64_t number) {
  std::string bytes;
  for (int shift = 56; shift >= 0; shift -= 8) bytes += static_cast<char>(number >> shift & 0xff);
  return bytes;
}

std::size_t SizeOf(const StateEntries& entries) {
  std::size_t size = 0;
  for (const auto& [key, text] : entries) size += key.size() + text.size();
  return size;
}

/// From now on what changes is noted.
void NoteFromNowOn(Mailbox& mailbox) {
  mailbox.noted.emplace();
}

void NoteAll(Mailbox& mailbox) {
  mailbox.noted.emplace();
  for (const auto& [id, item] : mailbox.items) mailbox.noted->insert(id);
  for (const auto& [id, folder] : mailbox.folders) mailbox.noted->insert(id);
}

}  // namespace

StateKeeper::StateKeeper(const std::string& file, Store& store) : store_(store), file_(file) {}

StateKeeper::~StateKeeper() {
  EndThread();
}

void StateKeeper::Read() {
  const StateEntries entries = file_.Read();
  const std::string hint = " It is left as it is; move it away to start with new mailboxes.";
  const auto directory = entries.lower_bound(std::string(1, kDirectoryEntry));
  if (directory == entries.end()) {
    anew_ = true;
    return;
  }
  std::string version;
  try {
    version = VersionOfDirectory(directory->second);
  } catch (const std::exception& wrong) {
    throw OptionError("The state file " + file_.Path() + " is damaged: " + wrong.what() + "." + hint);
  }
  if (const std::string played = VersionNames()[static_cast<std::size_t>(store_.server_version)]; version != played)
    throw OptionError("The state file " + file_.Path() + " is of a server of version " + version +
                      " and cannot be used with " + played + "." + hint);
  try {
    RestoreStore(entries, store_);
  } catch (const std::exception& wrong) {
    throw OptionError("The state file " + file_.Path() + " is damaged: " + wrong.what() + "." + hint);
  }
  directory_ = directory->second;
  for (const Place& place : Places()) {
    NoteFromNowOn(*place.mailbox);
    known_[place.mailbox].tombstones = place.mailbox->tombstones.size();
  }
}

void StateKeeper::Start(std::chrono::milliseconds interval) {
  end_ = false;
  thread_ = std::thread([this, interval] {
    std::unique_lock lock(mutex_);
    while (!ending_.wait_for(lock, interval, [this] { return end_; })) {
      lock.unlock();
      try {
        Write();
        file_.Compact(false);
      } catch (const SimulatorError&) {
        // Tried again after the next wait.
      }
      lock.lock();
    }
  });
}

void StateKeeper::EndThread() {
  if (!thread_.joinable()) return;
  {
    const std::lock_guard lock(mutex_);
    end_ = true;
  }
  ending_.notify_all();
  thread_.join();
}

void StateKeeper::Stop() {
  EndThread();
  Write();
  file_.Compact(true);
}

std::vector<StateKeeper::Place> StateKeeper::Places() const {
  std::vector<Place> places;
  std::size_t number = 0;
  for (const auto& mailbox : store_.Mailboxes()) places.push_back({mailbox.get(), MailboxKind::kUser, number++});
  for (const auto& archive : store_.Archives()) places.push_back({archive.get(), MailboxKind::kArchive, number++});
  places.push_back({&store_.PublicFolders(), MailboxKind::kPublic, number});
  return places;
}

void StateKeeper::Write() {
  std::vector<Place> places;
  StateEntries entries;
  std::string directory;
  {
    const std::shared_lock lock(store_.mutex);
    places = Places();
    directory = DirectoryText(store_);
  }
  const bool anew = std::exchange(anew_, true);  // until all has gone well
  if (anew || directory != directory_) entries[std::string(1, kDirectoryEntry)] = directory;
  for (const Place& place : places) Collect(place, anew, entries);
  if (anew)
    file_.Replace(entries);
  else if (!entries.empty())
    file_.Append(entries, true);
  directory_ = std::move(directory);
  anew_ = false;
}

void StateKeeper::Collect(const Place& place, bool all, StateEntries& entries) {
  Mailbox& mailbox = *place.mailbox;
  Known& known = known_[&mailbox];
  // What changes meanwhile comes on top, but not for ever: then it is taken at once, however much it is.
  std::size_t rounds = 0;
  for (bool done = false; !done;) {
    std::vector<Item> items;
    {
      const std::shared_lock store_lock(store_.mutex);
      const std::lock_guard lock(*mailbox.lock);
      if (rounds == 0) {
        if (all || !mailbox.noted) {
          NoteAll(mailbox);
          known = {};
        }
        rounds = mailbox.noted->size() / kBatch + 8;
      }
      auto& noted = *mailbox.noted;
      for (std::size_t left = --rounds == 1 ? noted.size() : kBatch; left > 0 && !noted.empty(); --left) {
        const std::string id = std::move(noted.extract(noted.begin()).value());
        if (const auto item = mailbox.FindItem(id))
          items.push_back(CopyOf(*item));
        else if (const Folder* folder = mailbox.FindFolder(id))
          entries[EntryKey(kFolderEntry, mailbox, id)] = FolderText(*folder);
        else if (!all)
          entries[EntryKey(IsFolderEntry(id) ? kFolderEntry : kItemEntry, mailbox, id)].clear();
      }
      done = noted.empty();
      if (done) {
        // Last, at the moment at which all that was taken belongs together.
        for (; known.tombstones < mailbox.tombstones.size(); ++known.tombstones)
          entries[EntryKey(kStoneEntry, mailbox, Ordered(known.tombstones))] =
              StoneText(mailbox.tombstones[known.tombstones]);
        if (std::string text = MailboxText(mailbox, place.kind, place.place); text != known.text) {
          entries[EntryKey(kMailboxEntry, mailbox)] = text;
          known.text = std::move(text);
        }
      }
    }
    for (const Item& item : items) entries[EntryKey(kItemEntry, mailbox, item.entry_id)] = ItemText(item);
    if (!all && SizeOf(entries) > kMostText) {
      file_.Append(entries, false);
      entries.clear();
    }
  }
}

}  // namespace velmore::simulator
