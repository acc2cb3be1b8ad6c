#include "simulator/mailbox/state_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string_view>
#include <thread>
#include <utility>

namespace velmore::simulator {

namespace {

namespace fs = std::filesystem;

constexpr int kFormat = 2;
constexpr std::string_view kTitle = "Velmore EWS Simulator state, format ";
/// How long a simulator that is ending is waited for.
constexpr std::chrono::seconds kPatience{2};
/// A file below this size is not worth being written anew.
constexpr std::uint64_t kSmall = 16 << 20;

std::string TitleLine() {
  return std::string(kTitle) + std::to_string(kFormat) + "\n";
}

std::string Why() {
  return std::strerror(errno);
}

unsigned long Checksum(std::string_view bytes) {
  return crc32_z(0, reinterpret_cast<const Bytef*>(bytes.data()), bytes.size());
}

/// A record: whether it commits, the size and the checksum of what follows, and the entries, each behind its key and
/// size.
std::string Record(const StateEntries& entries, bool commit) {
  std::string body;
  for (const auto& [key, text] : entries) body += key + " " + std::to_string(text.size()) + "\n" + text + "\n";
  std::array<char, 64> head{};
  std::snprintf(head.data(), head.size(), "%s %zu %08lx\n", commit ? "commit" : "part", body.size(), Checksum(body));
  return head.data() + body;
}

/// Takes a number at the front of a text, and the one character behind it.
bool TakeNumber(std::string_view& text, std::uint64_t& number, int base, char behind) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
  if (error != std::errc() || end == text.data() + text.size() || *end != behind) return false;
  text.remove_prefix(static_cast<std::size_t>(end - text.data()) + 1);
  return true;
}

enum class Found { kRecord, kCut, kWrong };

/// Takes the record at the front. A cut one is what a kill leaves behind.
Found TakeRecord(std::string_view& bytes, std::string_view& body, bool& commit) {
  std::string_view rest = bytes;
  commit = rest.starts_with("commit ");
  const std::string_view word = commit ? "commit " : "part ";
  if (!rest.starts_with(word))
    return word.starts_with(rest) || std::string_view("commit ").starts_with(rest) ? Found::kCut : Found::kWrong;
  rest.remove_prefix(word.size());
  if (rest.find('\n') == std::string_view::npos) return Found::kCut;
  std::uint64_t size = 0;
  std::uint64_t checksum = 0;
  if (!TakeNumber(rest, size, 10, ' ') || !TakeNumber(rest, checksum, 16, '\n')) return Found::kWrong;
  if (rest.size() < size) return Found::kCut;
  body = rest.substr(0, size);
  if (Checksum(body) != checksum) return Found::kWrong;
  bytes = rest.substr(size);
  return Found::kRecord;
}

bool TakeEntries(std::string_view body, StateEntries& entries) {
  while (!body.empty()) {
    const std::size_t blank = body.find(' ');
    if (blank == std::string_view::npos) return false;
    std::string key(body.substr(0, blank));
    body.remove_prefix(blank + 1);
    std::uint64_t size = 0;
    if (!TakeNumber(body, size, 10, '\n') || body.size() <= size || body[size] != '\n') return false;
    entries[std::move(key)] = body.substr(0, size);
    body.remove_prefix(size + 1);
  }
  return true;
}

bool WriteAll(int handle, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = ::write(handle, bytes.data(), bytes.size());
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

std::string ReadAll(int handle) {
  struct stat status {};
  if (::fstat(handle, &status) != 0 || ::lseek(handle, 0, SEEK_SET) != 0) return {};
  std::string bytes(static_cast<std::size_t>(status.st_size), '\0');
  std::size_t at = 0;
  while (at < bytes.size()) {
    const ssize_t count = ::read(handle, bytes.data() + at, bytes.size() - at);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) break;
    at += static_cast<std::size_t>(count);
  }
  bytes.resize(at);
  return bytes;
}

}  // namespace

void CheckStatePlace(const std::string& file) {
  fs::path folder = fs::path(file).parent_path();
  if (folder.empty()) folder = ".";
  if (!fs::is_directory(folder) || ::access(folder.c_str(), W_OK) != 0)
    throw OptionError("The folder of the state file " + file + " is not there or cannot be written to.");
  if (fs::is_directory(file)) throw OptionError("The state file " + file + " is a folder.");
}

StateFile::StateFile(std::string path) : path_(std::move(path)) {
  CheckStatePlace(path_);
  Open();
}

StateFile::~StateFile() {
  if (handle_ >= 0) ::close(handle_);
}

void StateFile::Refuse(const std::string& what) const {
  throw OptionError(what + " It is left as it is; move it away to start with new mailboxes.");
}

void StateFile::Fail() const {
  throw SimulatorError("The state file " + path_ + " cannot be written: " + Why() + ".");
}

void StateFile::Open() {
  const auto until = std::chrono::steady_clock::now() + kPatience;
  for (;;) {
    handle_ = ::open(path_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (handle_ < 0) throw OptionError("The state file " + path_ + " cannot be read.");
    struct stat mine {};
    struct stat there {};
    const bool locked = ::flock(handle_, LOCK_EX | LOCK_NB) == 0;
    // Who held it may have put another file in its place meanwhile.
    if (locked && ::fstat(handle_, &mine) == 0 && ::stat(path_.c_str(), &there) == 0 && mine.st_ino == there.st_ino)
      return;
    ::close(handle_);
    handle_ = -1;
    if (!locked && std::chrono::steady_clock::now() >= until)
      throw OptionError("The state file " + path_ + " is in use by another simulator.");
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
}

StateEntries StateFile::Read() {
  const std::string all = ReadAll(handle_);
  const std::string title = TitleLine();
  live_ = end_ = all.size();
  if (all.empty() || title.starts_with(all)) {
    // New, or its maker was killed in the first line.
    end_ = 0;
    return {};
  }
  int format = 0;
  if (!all.starts_with(kTitle) || std::sscanf(all.c_str() + kTitle.size(), "%d", &format) != 1)
    Refuse("The file " + path_ + " is no state file of the simulator.");
  if (!all.starts_with(title))
    Refuse("The state file " + path_ + " has format " + std::to_string(format) + "; this simulator reads format " +
           std::to_string(kFormat) + ".");
  StateEntries entries;
  StateEntries pending;
  bool counts = false;
  std::string_view rest = std::string_view(all).substr(title.size());
  end_ = title.size();
  while (!rest.empty()) {
    std::string_view body;
    bool commit = false;
    const Found found = TakeRecord(rest, body, commit);
    if (found == Found::kCut) break;
    if (found == Found::kWrong) Refuse("The state file " + path_ + " is damaged: its checksum is wrong.");
    if (!TakeEntries(body, pending)) Refuse("The state file " + path_ + " is damaged: a record has no entries.");
    if (!commit) continue;
    for (auto& [key, text] : pending) {
      if (text.empty())
        entries.erase(key);
      else
        entries[key] = std::move(text);
    }
    pending.clear();
    counts = true;
    end_ = all.size() - rest.size();
  }
  // What a kill cuts is a change; the file as a whole is cut by something else.
  if (!counts && all.size() > title.size()) Refuse("The state file " + path_ + " is damaged: it ends in the middle.");
  return entries;
}

void StateFile::Append(const StateEntries& entries, bool commit) {
  const std::string bytes = (end_ == 0 ? TitleLine() : std::string()) + Record(entries, commit);
  // Behind what counts, over what was cut.
  if (::ftruncate(handle_, static_cast<off_t>(end_)) != 0 || ::lseek(handle_, static_cast<off_t>(end_), SEEK_SET) < 0 ||
      !WriteAll(handle_, bytes)) {
    const int reason = errno;
    static_cast<void>(::ftruncate(handle_, static_cast<off_t>(end_)));
    errno = reason;
    Fail();
  }
  end_ += bytes.size();
}

void StateFile::Compact(bool always) {
  if (always || (end_ >= kSmall && end_ >= 2 * live_)) Replace(Read());
}

void StateFile::Replace(const StateEntries& entries) {
  const std::string fresh = path_ + ".new";
  ::unlink(fresh.c_str());
  const int handle = ::open(fresh.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  if (handle < 0) Fail();
  const std::string bytes = TitleLine() + Record(entries, true);
  // Locked before it is in place, and on the disk before the old one goes.
  if (::flock(handle, LOCK_EX | LOCK_NB) == 0 && WriteAll(handle, bytes) && ::fsync(handle) == 0 &&
      ::rename(fresh.c_str(), path_.c_str()) == 0) {
    ::close(std::exchange(handle_, handle));
    live_ = end_ = bytes.size();
    return;
  }
  const int reason = errno;
  ::close(handle);
  ::unlink(fresh.c_str());
  errno = reason;
  Fail();
}

}  // namespace velmore::simulator
