// export, import and sync: a mailbox as files and files as a mailbox.

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <set>
#include <thread>

#include "ews/idioms/uVqEWSFilters.h"
#include "ews/schema/uVqEWSPropsFLD.h"
#include "platform/os/uVqFiles.h"
#include "programs/velmore-mail/Commands.h"
#include "programs/velmore-mail/Folders.h"
#include "programs/velmore-mail/Progress.h"
#include "programs/velmore-mail/Text.h"

namespace mail {

using namespace velmore;
namespace fs = std::filesystem;

namespace {

/// Does what only reads, and waits where the server asks to be left alone: as long as it says, some seconds otherwise.
template <typename TAction>
auto Patiently(Progress& progress, TAction action) {
  constexpr int kAttempts = 10;
  for (int attempt = 1;; ++attempt) try {
      return action();
    } catch (const EVqServerBusy& busy) {
      if (attempt == kAttempts) throw;
      const auto wait = std::chrono::milliseconds(busy.GetRetryAfter() > 0 ? busy.GetRetryAfter() : 5000);
      progress.Say("The server is busy. Going on in " + std::to_string((wait.count() + 999) / 1000) + " s.");
      for (const auto until = std::chrono::steady_clock::now() + wait; std::chrono::steady_clock::now() < until;) {
        CheckInterrupted();
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
      }
    }
}

/// A row of a folder, as far as files are concerned.
struct Entry {
  TItemId id;
  std::string name;  ///< of its file
};

std::vector<Entry> EntriesOf(IVqEWSFolder& folder) {
  const auto items = VqItemsOf(folder, FLD_ITEM_DATETIMERECEIVED, FLD_ITEM_SUBJECT);
  items->SetMaxEntriesPerPage(500);
  std::vector<Entry> entries;
  for (const auto row : items) {
    CheckInterrupted();
    entries.push_back({row.Id(), FileNameOf(row)});
  }
  return entries;
}

fs::path PathOf(const fs::path& target, const Place& place) {
  fs::path path = target;
  for (const string& name : place.names) path /= SafeName(name);
  return path;
}

/// The folders of the mailbox that are to be walked.
std::vector<Place> PlacesOf(Account& account, const FilesOptions& options) {
  return TreeOf(account.Store(), FolderOf(account.Store(), options.folder));
}

/// Writes an item beside its place and puts it there when it is whole. The number of its bytes.
std::uint64_t Write(IVqEWSFolder& folder, const TItemId& id, const fs::path& file) {
  const std::string part = file.string() + ".part";
  folder.GetItem(id)->SaveToFile(part);
  fs::rename(part, file);
  return fs::file_size(file);
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
  const std::vector<Place> places = PlacesOf(account, options);
  std::uint64_t total = 0;
  for (const Place& place : places) total += static_cast<std::uint64_t>(place.folder->GetTotalCount());
  int written = 0, there = 0, failed = 0;
  Progress progress(total, options.progress);
  for (const Place& place : places) {
    const fs::path target = PathOf(options.target, place);
    fs::create_directories(target);
    for (const Entry& entry : Patiently(progress, [&] { return EntriesOf(*place.folder); })) {
      CheckInterrupted();
      const fs::path file = target / entry.name;
      if (fs::exists(file)) {
        ++there;
        progress.Step(0);
        continue;
      }
      try {
        progress.Step(Patiently(progress, [&] { return Write(*place.folder, entry.id, file); }));
        ++written;
      } catch (const EEWSException& refusal) {
        // Tasks have no MIME text, and what was deleted meanwhile has none any more.
        progress.Say(Printable(place.path + "/" + string(entry.name)) + ": " + Printable(refusal.what()));
        progress.Step(0);
        ++failed;
      }
    }
  }
  progress.End();
  std::cout << written << " written, " << there << " were there, " << failed << " not possible, "
            << SizeText(progress.Bytes()) << '\n';
  return failed;
}

int Import(Account& account, const FilesOptions& options) {
  const fs::path source = options.target;
  if (!fs::is_directory(source)) throw UsageError("There is no folder \"" + string(options.target) + "\".");
  std::vector<fs::path> files;
  for (const auto& entry : fs::recursive_directory_iterator(source))
    if (entry.is_regular_file() && entry.path().extension() == ".eml")
      files.push_back(fs::relative(entry.path(), source));
  std::ranges::sort(files);

  // "? name" before a file is sent and "+ name" behind it: what has a question alone may stand on the server.
  Journal journal(source / ".velmore-mail-imported");
  std::set<std::string> asked, done;
  for (const std::string& line : journal.Lines())
    (line.starts_with("+ ") ? done : asked).insert(line.substr(std::min<std::size_t>(2, line.size())));

  IVqEWSMsgStore& store = account.Store();
  std::map<fs::path, TVqRef<IVqEWSFolder>> folders;
  folders[""] = FolderOf(store, options.folder.empty() ? "inbox" : options.folder, true);
  int imported = 0, there = 0, failed = 0;
  Progress progress(files.size(), options.progress);
  for (const fs::path& file : files) {
    CheckInterrupted();
    const std::string name = file.generic_string();
    if (done.contains(name)) {
      ++there;
      progress.Step(0);
      continue;
    }
    fs::path below;
    for (const fs::path& step : file.parent_path()) {
      auto& folder = folders[below / step];
      if (!folder) folder = FolderBelow(store, *folders[below], step.string(), true);
      below /= step;
    }
    IVqEWSFolder& folder = *folders[below];
    try {
      const std::string message_id = asked.contains(name) ? MessageIdOf(source / file) : std::string();
      if (!message_id.empty() && HasMessage(folder, message_id)) {
        ++there;
        progress.Step(0);
      } else {
        journal.Add("? " + name);
        folder.ImportItem((source / file).string(), 0x40, {msgflgRead});
        ++imported;
        progress.Step(fs::file_size(source / file));
      }
      journal.Add("+ " + name);
    } catch (const EEWSException& refusal) {
      progress.Say(Printable(name) + ": " + Printable(refusal.what()));
      progress.Step(0);
      ++failed;
    }
  }
  progress.End();
  std::cout << imported << " imported, " << there << " were there, " << failed << " refused" << '\n';
  return failed;
}

int Sync(Account& account, const FilesOptions& options) {
  const fs::path target = options.target;
  fs::create_directories(target);
  const std::vector<Place> places = PlacesOf(account, options);
  SyncNote note(target / ".velmore-mail-synced", HandleOf(places.front().folder->GetID()));
  const SyncNote::Entries& before = note.Read();
  SyncNote::Entries now, sofar = before;
  std::uint64_t total = 0;
  for (const Place& place : places) total += static_cast<std::uint64_t>(place.folder->GetTotalCount());
  int added = 0, changed = 0, failed = 0, gone = 0;
  Progress progress(total, options.progress);
  try {
    for (const Place& place : places) {
      fs::create_directories(PathOf(target, place));
      for (const Entry& entry : Patiently(progress, [&] { return EntriesOf(*place.folder); })) {
        CheckInterrupted();
        const std::string handle = HandleOf(entry.id);
        const std::string name = (PathOf({}, place) / entry.name).generic_string();
        const auto known = before.find(handle);
        const bool same = known != before.end() && known->second.name == name && fs::exists(target / name);
        if (same && known->second.change_key == entry.id.ChangeKey.utf8()) {
          now[handle] = known->second;
          progress.Step(0);
          continue;
        }
        try {
          progress.Step(Patiently(progress, [&] { return Write(*place.folder, entry.id, target / name); }));
          // Another name, where the subject or the folder's name was changed: the file of the old one goes.
          if (known != before.end() && !same) fs::remove(target / known->second.name);
          ++(known == before.end() ? added : changed);
          now[handle] = sofar[handle] = {entry.id.ChangeKey.utf8(), name};
        } catch (const EEWSException& refusal) {
          progress.Say(Printable(name) + ": " + Printable(refusal.what()));
          progress.Step(0);
          if (known != before.end()) now[handle] = known->second;
          ++failed;
        }
      }
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
}

}  // namespace mail
