#include "platform/os/uVqFiles.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdlib>
#include <system_error>
#include <thread>

#include "platform/os/internal/uVqFileHandle.h"

namespace velmore {
namespace {

[[noreturn]] void Raise(const string& path, const char* what, int error) {
  const auto reason = error == ENOENT || error == ENOTDIR                   ? EVqFileError::TReason::missing
                      : error == EACCES || error == EPERM || error == EROFS ? EVqFileError::TReason::accessDenied
                                                                            : EVqFileError::TReason::other;
  throw EVqFileError(
      "The file \"" + path + "\" could not be " + what + ": " + std::generic_category().message(error) + ".", reason);
}

/// The path as the system takes it, which would end at a zero.
std::string Native(const string& path) {
  std::string native = path.utf8();
  if (native.find('\0') != std::string::npos) Raise(path, "opened", EINVAL);
  return native;
}

/// The same file when a link points to it: the link is to stay.
std::string Target(const std::string& path) {
  struct stat status;
  if (::lstat(path.c_str(), &status) != 0 || !S_ISLNK(status.st_mode)) return path;
  char resolved[PATH_MAX];
  return ::realpath(path.c_str(), resolved) ? std::string(resolved) : path;
}

std::string FolderOf(const std::string& path) {
  const std::size_t slash = path.find_last_of('/');
  if (slash == std::string::npos) return {};
  return slash == 0 ? "/" : path.substr(0, slash);
}

int WriteAll(int file, std::string_view bytes) noexcept {
  while (!bytes.empty()) {
    const ssize_t written = ::write(file, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return errno;
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return 0;
}

/// A file of a new name in the folder of `path`, and the name.
TVqFileHandle CreateBeside(const std::string& path, std::string& name) {
  static std::atomic<unsigned> number{0};
  for (;;) {
    name = path + "." + std::to_string(::getpid()) + "-" + std::to_string(number++) + ".new";
    TVqFileHandle file(::open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600));
    if (file || errno != EEXIST) return file;  // what a process of the same number left behind stands in the way
  }
}

/// So that the new name is still there after a power cut. A file system that cannot do it has done what it can.
void SyncFolder(const std::string& folder) noexcept {
  const TVqFileHandle handle(::open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (handle) ::fsync(handle.get());
}

}  // namespace

bool VqPathExists(const string& APath) {
  struct stat status;
  return ::stat(Native(APath).c_str(), &status) == 0;
}

std::optional<std::string> VqTryReadFile(const string& APath) {
  const TVqFileHandle file(
      ::open(Native(APath).c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));  // a pipe would wait for its writer
  if (!file && (errno == ENOENT || errno == ENOTDIR)) return {};
  struct stat status;
  if (!file || ::fstat(file.get(), &status) != 0) Raise(APath, "opened", errno);
  if (!S_ISREG(status.st_mode)) Raise(APath, "read", S_ISDIR(status.st_mode) ? EISDIR : EINVAL);
  std::string bytes;
  bytes.resize(static_cast<std::size_t>(status.st_size));
  std::size_t got = 0;
  for (;;) {
    if (got == bytes.size()) bytes.resize(got + 4096);  // it may have grown
    const ssize_t count = ::read(file.get(), bytes.data() + got, bytes.size() - got);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) Raise(APath, "read", errno);
    if (count == 0) break;
    got += static_cast<std::size_t>(count);
  }
  bytes.resize(got);
  return bytes;
}

void VqReplaceFile(const string& APath, std::string_view ABytes, TVqFileModes AModes) {
  const std::string path = Target(Native(APath));
  std::string name;
  TVqFileHandle file = CreateBeside(path, name);
  if (!file) Raise(APath, "written", errno);
  mode_t mode = AModes.New;
  struct stat old;
  if (::stat(path.c_str(), &old) == 0) {
    mode = old.st_mode & AModes.Keep;
    // Only the administrator can, and only there does it matter.
    if ((old.st_uid != ::geteuid() || old.st_gid != ::getegid()) && ::fchown(file.get(), old.st_uid, old.st_gid) != 0)
      mode &= 0700;
  }
  int error = WriteAll(file.get(), ABytes);
  if (error == 0 && ::fchmod(file.get(), mode) != 0) error = errno;
  if (error == 0 && ::fsync(file.get()) != 0) error = errno;
  if (::close(file.release()) != 0 && error == 0) error = errno;
  if (error == 0 && ::rename(name.c_str(), path.c_str()) != 0) error = errno;
  if (error != 0) {
    ::unlink(name.c_str());
    Raise(APath, "written", error);
  }
  SyncFolder(FolderOf(path));
}

bool VqDeleteFile(const string& APath) {
  if (::unlink(Native(APath).c_str()) == 0) return true;
  if (errno == ENOENT) return false;
  Raise(APath, "deleted", errno);
}

void VqMakeFolders(const string& APath, unsigned AMode) {
  const std::string path = Native(APath);
  struct stat status;
  if (path.empty() || (::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode))) return;
  VqMakeFolders(FolderOf(path), AMode);
  if (::mkdir(path.c_str(), AMode) == 0) return;
  const int error = errno;
  if (::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode)) return;  // another process was faster
  throw EVqFileError("The folder \"" + APath + "\" could not be made: " + std::generic_category().message(error) + ".",
                     error == EACCES || error == EPERM || error == EROFS ? EVqFileError::TReason::accessDenied
                                                                         : EVqFileError::TReason::other);
}

string VqFolderOf(const string& APath) {
  return FolderOf(APath.utf8());
}

TVqFileLock::TVqFileLock(const string& APath, std::uint32_t AMilliseconds, unsigned AMode) {
  const string name = APath + ".lock";
  TVqFileHandle file(::open(Native(name).c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, AMode));
  if (!file) Raise(name, "opened", errno);
  const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(AMilliseconds);
  while (::flock(file.get(), LOCK_EX | LOCK_NB) != 0) {
    if (errno != EWOULDBLOCK && errno != EINTR) Raise(name, "locked", errno);
    if (std::chrono::steady_clock::now() >= end) {
      throw EVqFileError("The file \"" + APath + "\" is being changed by another process.",
                         EVqFileError::TReason::other);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  FHandle = file.release();
}

TVqFileLock::~TVqFileLock() {
  ::close(static_cast<int>(FHandle));
}

}  // namespace velmore
