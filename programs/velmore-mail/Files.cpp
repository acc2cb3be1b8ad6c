// export, import and sync: a mailbox as files and files as a mailbox.

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <thread>

#include "ews/bulk/uVqEWSBulk.h"
#include "ews/idioms/uVqEWSFileNames.h"
#include "ews/idioms/uVqEWSFilters.h"
#include "ews/idioms/uVqEWSFolderTree.h"
#include "ews/schema/uVqEWSPropsFLD.h"
#include "platform/os/uVqFiles.h"
#include "programs/velmore-mail/Commands.h"
#include "programs/velmore-mail/Folders.h"
#include "programs/velmore-mail/Progress.h"
#include "programs/velmore-mail/Text.h"

namespace mail {

using namespace velmore;
using namespace std::chrono_literals;
namespace fs = std::filesystem;

namespace {

// In one request at most: what is fetched or stored in one go is also what an interruption may cost.
constexpr std::size_t kMostItems = 100;
constexpr std::uint64_t kMostBytes = 4u << 20;
// Of one wait for a server that is busy, or not reached just now.
constexpr std::chrono::milliseconds kLongestWait = 10min;

/// What the three commands work with: a session that waits where that is worth it, ends what is under way when a signal
/// comes, and is as before afterwards.
class Work {
 public:
  explicit Work(Account& account) : session_(account.Session()), bulk_(account.Store()) {
    session_.SetStopToken(stop_.get_token());
    session_.SetRetryPolicy(
        {.Attempts = 6,
         .FirstWait = 2s,
         .LongestWait = kLongestWait,
         .OnWait = [this](const EVqException& failure, std::int32_t, std::chrono::milliseconds wait) {
           const bool busy = dynamic_cast<const EVqServerBusy*>(&failure);
           SayWait(busy ? "The server is busy." : Printable(failure.what()), wait);
         }});
    bulk_.SetRequestSize(kMostItems);
    bulk_.SetRequestBytes(kMostBytes);
    bulk_.SetBusyRetries(9);
    bulk_.SetLongestWait(kLongestWait);
    bulk_.SetOnProgress([this](const TVqEWSBulkProgress& at) {
      if (at.Waiting > 0ms && !std::exchange(waits_, true)) SayWait("The server is busy.", at.Waiting);
      if (at.Waiting == 0ms) waits_ = false;
      return !IsInterrupted();
    });
    watcher_ = std::jthread([this](const std::stop_token& ended) {
      std::mutex mutex;  // protects nothing: there is nothing to wait for but the end and a signal
      std::condition_variable_any never;
      std::unique_lock lock(mutex);
      while (!never.wait_for(lock, ended, 20ms, [] { return IsInterrupted(); }) && !ended.stop_requested()) {
      }
      if (IsInterrupted()) stop_.request_stop();
    });
  }
  ~Work() {
    session_.SetStopToken({});
    session_.SetRetryPolicy({});
  }
  Work(const Work&) = delete;
  Work& operator=(const Work&) = delete;

  TVqEWSBulk& Bulk() { return bulk_; }
  /// From now on there is a bar.
  Progress& Begin(std::uint64_t total, bool shown) { return progress_.emplace(total, shown); }
  Progress& Bar() { return *progress_; }

 private:
  void SayWait(const std::string& why, std::chrono::milliseconds wait) {
    const std::string line = why + " Going on in " + std::to_string((wait.count() + 999) / 1000) + " s.";
    progress_ ? progress_->Say(line) : void(std::cerr << line << std::endl);
  }

  TVqEWSServiceSession& session_;
  TVqEWSBulk bulk_;
  std::optional<Progress> progress_;
  bool waits_ = false;
  std::stop_source stop_;
  std::jthread watcher_;  // ends before anything that it uses
};

/// Does one of the three; what a signal has ended says so, whatever it looks like.
template <typename TAction>
int With(Account& account, TAction action) {
  try {
    Work work(account);
    return action(work);
  } catch (const std::exception&) {
    CheckInterrupted();
    throw;
  }
}

/// A row of a folder, as far as files are concerned.
struct Entry {
  TItemId id;
  fs::path file;
  std::string name;  ///< of the file, below the directory of all
  std::uint64_t size = 0;
};

std::vector<Entry> EntriesOf(Account& account, const Place& place, const fs::path& target) {
  const auto folder = account.Store().GetFolder(place.id);
  const auto items = VqItemsOf(*folder, FLD_ITEM_DATETIMERECEIVED, FLD_ITEM_SUBJECT, FLD_ITEM_SIZE);
  items->SetMaxEntriesPerPage(500);
  std::vector<Entry> entries;
  for (const auto row : items) {
    CheckInterrupted();
    const fs::path name = fs::path(place.directory.utf16()) / FileNameOf(row);
    const auto size = static_cast<std::uint64_t>(std::max(0, row[FLD_ITEM_SIZE].GetAsInteger()));
    entries.push_back({row.Id(), target / name, name.generic_string(), size});
  }
  return entries;
}

std::uint64_t TotalOf(const std::vector<Place>& places) {
  std::uint64_t total = 0;
  for (const Place& place : places) total += static_cast<std::uint64_t>(place.total);
  return total;
}

/// The folders of the mailbox that are to be walked.
std::vector<Place> PlacesOf(Account& account, const FilesOptions& options) {
  return TreeOf(*FolderOf(account.Store(), options.folder));
}

/// As many of the entries from one on as one request may have.
std::size_t WindowOf(const std::vector<Entry>& entries, std::size_t at) {
  std::uint64_t bytes = entries[at].size;
  std::size_t count = 1;
  for (; at + count < entries.size() && count < kMostItems; ++count)
    if ((bytes += entries[at + count].size) > kMostBytes) break;
  return count;
}

/// What the server says about one message, or the system about one file. Anything else, and a server that stays busy,
/// ends the command.
string RefusalOf(const TVqEWSIdResult& result) {
  try {
    result.Value();
  } catch (const EEWSServerBusy&) {
    throw;
  } catch (const EEWSException& refusal) {
    return refusal.Message();
  } catch (const EStreamError& unreadable) {
    return unreadable.Message();
  }
  return {};
}

/// Fetches messages and writes each beside its place, to put it there when it is whole. `written` is called for each
/// one then; gives how many the server did not give, each told in a line.
int Fetch(Work& work, const std::vector<Entry>& entries, const std::function<void(const Entry&)>& written,
          const std::function<void(const Entry&)>& refused = nullptr) {
  int failed = 0;
  for (std::size_t at = 0, count = 0; at < entries.size(); at += count) {
    count = WindowOf(entries, at);
    std::vector<TItemId> ids;
    for (std::size_t i = 0; i < count; ++i) ids.push_back(entries[at + i].id);
    const auto results = work.Bulk().ExportItems(ids, [&](std::size_t index, const TVqEWSMimeText& mime) {
      CheckInterrupted();
      const Entry& entry = entries[at + index];
      const std::string part = entry.file.string() + ".part";
      mime.SaveToFile(part);
      fs::rename(part, entry.file);
      written(entry);
      work.Bar().Step(fs::file_size(entry.file));
    });
    CheckInterrupted();
    for (std::size_t i = 0; i < count; ++i) {
      if (results[i]) continue;
      // Tasks have no MIME text, and what was deleted meanwhile has none any more.
      work.Bar().Say(Printable(entries[at + i].name) + ": " + Printable(RefusalOf(results[i])));
      work.Bar().Step(0);
      if (refused) refused(entries[at + i]);
      ++failed;
    }
  }
  return failed;
}

/// Lines in a file beside what they tell of; each is on the disk before the next thing is done.
class Journal {
 public:
  explicit Journal(const fs::path& file) : file_(file) {
    std::ifstream in(file_, std::ios::binary);
    for (std::string line; std::getline(in, line);)
      if (!in.eof()) lines_.push_back(line);  // a line without an end was interrupted
    if (in.is_open()) {
      std::string text;
      for (const std::string& line : lines_) text += line + '\n';
      VqReplaceFile(file_.string(), text);
    }
  }
  const std::vector<std::string>& Lines() const { return lines_; }
  void Add(const std::string& line) {
    if (!out_.is_open()) out_.open(file_, std::ios::binary | std::ios::app);
    out_ << line << '\n' << std::flush;
    if (!out_) throw EVqException("\"" + string(file_.string()) + "\" cannot be written.");
  }

 private:
  fs::path file_;
  std::vector<std::string> lines_;
  std::ofstream out_;
};

/// The header "Message-ID" of a message in a file, with its angle brackets; empty when it has none.
std::string MessageIdOf(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  std::string id;
  for (std::string line; std::getline(in, line) && line != "\r" && !line.empty();) {
    const bool is = id.empty() && SameText(line.substr(0, 11), "Message-ID:");
    // A long one stands on a line of its own below its name.
    if (is || (id == "?" && line.starts_with(' '))) {
      const std::size_t open = line.find('<'), close = line.find('>');
      id = open < close && close != std::string::npos ? line.substr(open, close - open + 1) : "?";
    }
  }
  return id == "?" ? std::string() : id;
}

/// What "sync" wrote, in a file beside it. Files that it did not write are none of its business.
class SyncNote {
 public:
  struct Known {
    std::string change_key, name;
  };
  using Entries = std::map<std::string, Known>;  // by handle

  SyncNote(fs::path file, std::string folder) : file_(std::move(file)), folder_(std::move(folder)) {}
  /// Raises UsageError when the files are those of another folder or mailbox: all of them would be taken for gone.
  const Entries& Read() {
    std::ifstream in(file_, std::ios::binary);
    std::string line;
    if (std::getline(in, line) && line != "folder\t" + folder_)
      throw UsageError("\"" + string(file_.parent_path().string()) +
                       "\" holds another folder or mailbox. Give each a directory of its own.");
    while (std::getline(in, line)) {
      const std::size_t first = line.find('\t');
      const std::size_t second = first == std::string::npos ? first : line.find('\t', first + 1);
      if (second == std::string::npos) continue;
      // Whoever wrote this file, nothing outside of the directory is touched.
      const fs::path name = line.substr(second + 1);
      if (name.is_absolute() || std::ranges::find(name, "..") != name.end()) continue;
      entries_[line.substr(0, first)] = {line.substr(first + 1, second - first - 1), name.generic_string()};
    }
    return entries_;
  }
  void Write(const Entries& entries) const {
    std::string text = "folder\t" + folder_ + '\n';
    for (const auto& [handle, each] : entries) text += handle + '\t' + each.change_key + '\t' + each.name + '\n';
    VqReplaceFile(file_.string(), text);
  }

 private:
  fs::path file_;
  std::string folder_;
  Entries entries_;
};

bool HasMessage(IVqEWSFolder& folder, const std::string& message_id) {
  const auto items = VqItemsOf(folder, FLD_ITEM_SUBJECT);
  VqFilter(*items, VqField(FLD_MESSAGE_INTERNETMESSAGEID) == message_id);
  items->Open();
  return !items->Eof();
}

}  // namespace

int Export(Account& account, const FilesOptions& options) {
  return With(account, [&](Work& work) {
    const std::vector<Place> places = PlacesOf(account, options);
    Progress& progress = work.Begin(TotalOf(places), options.progress);
    int written = 0, there = 0, failed = 0;
    for (const Place& place : places) {
      fs::create_directories(fs::path(options.target) / fs::path(place.directory.utf16()));
      std::vector<Entry> entries = EntriesOf(account, place, options.target);
      std::erase_if(entries, [&](const Entry& entry) {
        if (!fs::exists(entry.file)) return false;
        ++there;
        progress.Step(0);
        return true;
      });
      failed += Fetch(work, entries, [&](const Entry&) { ++written; });
    }
    progress.End();
    std::cout << written << " written, " << there << " were there, " << failed << " not possible, "
              << SizeText(progress.Bytes()) << '\n';
    return failed;
  });
}

namespace {

/// Stores the files of one directory.
class Importer {
 public:
  Importer(Work& work, fs::path source) : work_(work), source_(std::move(source)), journal_(source_ / kNote) {
    for (const std::string& line : journal_.Lines())
      (line.starts_with("+ ") ? done_ : asked_).insert(line.substr(std::min<std::size_t>(2, line.size())));
  }

  /// Puts a file on the list for a folder, and stores the list when it is full or another folder's turn has come.
  void Add(IVqEWSFolder& folder, const fs::path& file) {
    const std::string name = file.generic_string();
    if (done_.contains(name)) return Leave();
    const std::string message_id = asked_.contains(name) ? MessageIdOf(source_ / file) : std::string();
    if (!message_id.empty() && HasMessage(folder, message_id)) {
      journal_.Add("+ " + name);
      return Leave();
    }
    const std::uint64_t size = fs::file_size(source_ / file);
    if (!names_.empty() && (&folder != folder_.get() || names_.size() == kMostItems || bytes_ + size > kMostBytes))
      Store();
    folder_ = &folder;
    names_.push_back(name);
    bytes_ += size;
  }
  /// Stores what is on the list.
  void Store() {
    if (names_.empty()) return;
    std::vector<string> files;
    for (const std::string& name : names_) {
      journal_.Add("? " + name);
      files.emplace_back(source_ / name);
    }
    const auto results = work_.Bulk().ImportItems(*folder_, files, {msgflgRead});
    // First what is certain, whatever the others raise.
    for (std::size_t i = 0; i < results.size(); ++i) {
      if (!results[i]) continue;
      journal_.Add("+ " + names_[i]);
      ++imported_;
      work_.Bar().Step(fs::file_size(source_ / names_[i]));
    }
    for (std::size_t i = 0; i < results.size(); ++i) {
      if (results[i]) continue;
      work_.Bar().Say(Printable(names_[i]) + ": " + Printable(RefusalOf(results[i])));
      work_.Bar().Step(0);
      ++failed_;
    }
    names_.clear();
    bytes_ = 0;
    CheckInterrupted();
  }

  int End() {
    work_.Bar().End();
    std::cout << imported_ << " imported, " << there_ << " were there, " << failed_ << " refused" << '\n';
    return failed_;
  }

 private:
  static constexpr const char* kNote = ".velmore-mail-imported";

  void Leave() {
    ++there_;
    work_.Bar().Step(0);
  }

  Work& work_;
  fs::path source_;
  // "? name" before a file is sent and "+ name" behind it: what has a question alone may stand on the server.
  Journal journal_;
  std::set<std::string> asked_, done_;
  TVqRef<IVqEWSFolder> folder_;
  std::vector<std::string> names_;
  std::uint64_t bytes_ = 0;
  int imported_ = 0, there_ = 0, failed_ = 0;
};

}  // namespace

int Import(Account& account, const FilesOptions& options) {
  const fs::path source = options.target;
  if (!fs::is_directory(source)) throw UsageError("There is no folder \"" + string(options.target) + "\".");
  std::vector<fs::path> files;
  for (const auto& entry : fs::recursive_directory_iterator(source))
    if (entry.is_regular_file() && entry.path().extension() == ".eml")
      files.push_back(fs::relative(entry.path(), source));
  std::ranges::sort(files);

  return With(account, [&](Work& work) {
    std::map<fs::path, TVqRef<IVqEWSFolder>> folders;
    folders[""] = FolderOf(account.Store(), options.folder.empty() ? "inbox" : options.folder, true);
    work.Begin(files.size(), options.progress);
    Importer importer(work, source);
    for (const fs::path& file : files) {
      CheckInterrupted();
      auto& folder = folders[file.parent_path()];
      if (!folder) {
        string path;
        for (const fs::path& step : file.parent_path())
          path += (path.empty() ? string() : string("/")) + VqFolderPathPart(step);
        folder = VqMakeFolder(*folders[""], path);
      }
      importer.Add(*folder, file);
    }
    importer.Store();
    return importer.End();
  });
}

int Sync(Account& account, const FilesOptions& options) {
  const fs::path target = options.target;
  fs::create_directories(target);
  return With(account, [&](Work& work) {
    const std::vector<Place> places = PlacesOf(account, options);
    SyncNote note(target / ".velmore-mail-synced", VqItemHandle(places.front().id).utf8());
    const SyncNote::Entries& before = note.Read();
    SyncNote::Entries now, sofar = before;
    int added = 0, changed = 0, failed = 0, gone = 0;
    Progress& progress = work.Begin(TotalOf(places), options.progress);
    const auto knownOf = [&](const Entry& entry) { return before.find(VqItemHandle(entry.id).utf8()); };
    const auto isSame = [&](const Entry& entry) {
      const auto known = knownOf(entry);
      return known != before.end() && known->second.name == entry.name && fs::exists(entry.file);
    };
    try {
      for (const Place& place : places) {
        fs::create_directories(target / fs::path(place.directory.utf16()));
        std::vector<Entry> entries = EntriesOf(account, place, target);
        std::erase_if(entries, [&](const Entry& entry) {
          if (!isSame(entry) || knownOf(entry)->second.change_key != entry.id.ChangeKey.utf8()) return false;
          now.insert(*knownOf(entry));
          progress.Step(0);
          return true;
        });
        const auto written = [&](const Entry& entry) {
          const auto known = knownOf(entry);
          // Another name, where the subject or the folder's name was changed: the file of the old one goes.
          if (known != before.end() && known->second.name != entry.name) fs::remove(target / known->second.name);
          ++(known == before.end() ? added : changed);
          const std::string handle = VqItemHandle(entry.id).utf8();
          now[handle] = sofar[handle] = {entry.id.ChangeKey.utf8(), entry.name};
        };
        const auto refused = [&](const Entry& entry) {
          if (const auto known = knownOf(entry); known != before.end()) now.insert(*known);
        };
        failed += Fetch(work, entries, written, refused);
      }
    } catch (...) {
      note.Write(sofar);  // nothing is taken for gone that was only not looked at
      throw;
    }
    for (const auto& [handle, each] : before) {
      if (now.contains(handle)) continue;
      gone += fs::remove(target / each.name);
    }
    note.Write(now);
    progress.End();
    std::cout << added << " new, " << changed << " changed, " << gone << " gone, " << failed << " not possible, "
              << SizeText(progress.Bytes()) << '\n';
    return failed;
  });
}

}  // namespace mail
