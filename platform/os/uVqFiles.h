#pragma once

/// Small files that several processes share: read whole, replaced whole, locked while they are changed.
///
///     const TVqFileLock lock(name);
///     std::string text = VqTryReadFile(name).value_or("");
///     VqReplaceFile(name, Changed(text));
///
/// Whoever replaces a file writes a new one beside it and renames it over the old one, so that a reader sees the old
/// content or the new one and a crash or a full disk leaves the old one. Everything here raises EVqFileError and may be
/// called from any thread. Nothing talks to a server.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/common/uVqClasses.h"

namespace velmore {

/// A file operation that failed; the text has the file's name and the system's words.
class EVqFileError : public EStreamError {
 public:
  /// For programs: what the system said.
  enum class TReason { missing, accessDenied, other };

  /// A whole sentence, and the reason.
  EVqFileError(string AMessage, TReason AReason) : EStreamError(std::move(AMessage)), FReason(AReason) {}
  /// Why it failed.
  TReason Reason() const noexcept { return FReason; }

 private:
  TReason FReason;
};

/// Who may read and write a file. Windows takes its access lists from the folder and ignores this.
struct TVqFileModes {
  /// Of a file that is new.
  unsigned New = 0600;
  /// What an old file may keep of its own: whoever gave it to a group did so knowingly.
  unsigned Keep = 0660;
};

/// True when there is something of that name, whatever it is.
bool VqPathExists(const string& APath);
/// The file's content; nothing when there is no such file.
std::optional<std::string> VqTryReadFile(const string& APath);
/// The same of a file that must be there: raises with the reason `missing` when it is not.
inline std::string VqReadFile(const string& APath) {
  if (std::optional<std::string> bytes = VqTryReadFile(APath)) return *std::move(bytes);
  throw EVqFileError("There is no file \"" + APath.utf8() + "\".", EVqFileError::TReason::missing);
}
/// Puts the bytes in place of the file's content, on the disk when this returns. A symbolic link stays and what it
/// points to is replaced. The folder must exist. Where the caller is the administrator, the file's owner stays, too.
void VqReplaceFile(const string& APath, std::string_view ABytes, TVqFileModes AModes = {});
/// Takes the file away; false when there was none.
bool VqDeleteFile(const string& APath);
/// Makes the folder and those above it, as far as they are missing, for this user alone (0700) or with another mode.
void VqMakeFolders(const string& APath, unsigned AMode = 0700);
/// The folder of a path, without the separator at its end; empty when it names none.
string VqFolderOf(const string& APath);

/// Keeps other processes and threads that ask for the same lock away until it is destroyed. The lock is a file of its
/// own beside the file that it protects (".lock" after the name), since that one is replaced; the lock's file stays.
/// Whoever only reads needs no lock.
class TVqFileLock {
 public:
  /// Waits until the lock is free, `AMilliseconds` at most; then raises, naming the file.
  explicit TVqFileLock(const string& APath, std::uint32_t AMilliseconds = 10000, unsigned AMode = 0600);
  ~TVqFileLock();
  TVqFileLock(const TVqFileLock&) = delete;
  TVqFileLock& operator=(const TVqFileLock&) = delete;

 private:
  std::intptr_t FHandle;
};

}  // namespace velmore
