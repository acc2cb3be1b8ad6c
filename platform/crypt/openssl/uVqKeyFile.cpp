#include "platform/crypt/openssl/uVqKeyFile_p.h"

#include <fcntl.h>
#include <openssl/rand.h>
#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <system_error>

#include "platform/crypt/uVqCNG.h"
#include "platform/os/internal/uVqFileHandle.h"
#include "platform/os/uVqEnvironment.h"
#include "platform/os/uVqFiles.h"

namespace velmore {
namespace {

/// The folder and the file of a key, and the words for its errors.
class TKeyFile {
 public:
  explicit TKeyFile(const TVqKeyPlace& place) : FMachine(place.Machine) {
    FFolder = VqNativePath(VqExpandEnvironment(place.Folder));
    while (FFolder.Length() > 1 && FFolder.EndsWith("/")) FFolder = FFolder.Copy(0, FFolder.Length() - 1);
    FName = FFolder + (FMachine ? "/machine.key" : "/user.key");
    FNative = FName.utf8();
    if (FFolder.empty() || FFolder.Contains("%")) {
      // A relative folder named "%LOCALAPPDATA%" would be made in whatever folder the process runs in.
      Raise(TVqProtectionFailure::keyMissing,
            "There is no folder for " + Whose() + " key: \"" + place.Folder +
                "\" names a variable that is not set. Set HOME or XDG_DATA_HOME, or name another folder.");
    }
    if (FNative.find('\0') != std::string::npos)
      Raise(TVqProtectionFailure::keyMissing, "The folder of " + Whose() + " key has a name that no file can have.");
  }

  /// False when there is no such file.
  bool TryRead(TVqKey& key) const {
    const TVqFileHandle file(
        ::open(FNative.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));  // a pipe would wait for its writer
    if (!file && errno == ENOENT) return false;
    if (!file && errno == EACCES) RaiseNotReadable();
    struct stat status;
    if (!file || ::fstat(file.get(), &status) != 0) RaiseSystem("could not be opened", errno);
    CheckExposure(status);
    if (!S_ISREG(status.st_mode) || status.st_size != TVqKey::kSize || !Fill(file, key)) RaiseDamaged();
    return true;
  }

  /// Makes the key under a name of its own and gives it its true name only if nobody else has done so meanwhile: a
  /// link, other than a renaming, never takes the place of a file that is there, and what it names is complete.
  void Make() const {
    if (FMachine) {
      if (!VqPathExists(FFolder)) RaiseNoMachineFolder();
    } else {
      try {
        VqMakeFolders(FFolder);
      } catch (const EVqFileError& failure) {
        Raise(TVqProtectionFailure::system, "The user's key could not be made. " + failure.Message());
      }
    }
    const struct stat folder = CheckFolder();

    static std::atomic<unsigned> number{0};
    const std::string name = FNative + "." + std::to_string(::getpid()) + "-" + std::to_string(number++) + ".new";
    ::unlink(name.c_str());  // what a process of the same number left behind
    TVqFileHandle file(::open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600));
    if (!file && FMachine && (errno == EACCES || errno == EPERM || errno == EROFS)) RaiseNoMachineKey();
    if (!file) RaiseSystem("could not be made", errno);
    TVqKey key;
    int error = 0;
    if (RAND_bytes(key.data(), TVqKey::kSize) != 1) error = EIO;
    if (error == 0 && ::write(file.get(), key.data(), TVqKey::kSize) != static_cast<ssize_t>(TVqKey::kSize))
      error = errno ? errno : EIO;
    if (error == 0 && FMachine && ::fchmod(file.get(), 0640) != 0) error = errno;
    // The administrator in a user's name makes it for that user, who could not read it otherwise.
    if (error == 0 && !FMachine && folder.st_uid != ::geteuid() &&
        ::fchown(file.get(), folder.st_uid, folder.st_gid) != 0)
      error = errno;
    if (error == 0 && ::fsync(file.get()) != 0) error = errno;
    if (error == 0 && ::link(name.c_str(), FNative.c_str()) != 0 && errno != EEXIST) error = errno;
    ::unlink(name.c_str());
    if (error != 0) RaiseSystem("could not be made", error);
    const TVqFileHandle directory(::open(FFolder.utf8().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (directory) ::fsync(directory.get());
  }

  [[noreturn]] void RaiseMissing() const {
    if (FMachine) {
      if (!VqPathExists(FFolder)) RaiseNoMachineFolder();
      RaiseNoMachineKey();
    }
    Raise(TVqProtectionFailure::keyMissing, "The user's key \"" + FName +
                                                "\" does not exist, so that nothing that was protected with it can be "
                                                "read. Bring it back, or enter the secrets anew.");
  }

 private:
  [[noreturn]] static void Raise(TVqProtectionFailure failure, const string& message) {
    throw EVqDataProtection(message, failure);
  }

  string Whose() const { return FMachine ? "the machine's" : "the user's"; }
  string WhoseKey() const { return (FMachine ? "The machine's key \"" : "The user's key \"") + FName + "\""; }

  [[noreturn]] void RaiseSystem(const char* what, int error) const {
    Raise(TVqProtectionFailure::system, WhoseKey() + " " + what + ": " + std::generic_category().message(error) + ".");
  }
  [[noreturn]] void RaiseNotReadable() const {
    Raise(TVqProtectionFailure::keyNotReadable,
          WhoseKey() + " cannot be read by the user \"" + VqGetUserName() + "\". " +
              (FMachine ? "An administrator lets a user read it by adding the user to the group of the file."
                        : "It must belong to this user: chown it."));
  }
  [[noreturn]] void RaiseNoMachineFolder() const {
    Raise(TVqProtectionFailure::keyMissing,
          "The folder of the machine's key, \"" + FFolder +
              "\", does not exist. An administrator makes it once, for the group of users whose programs share the "
              "key: install -d -m 2770 -g GROUP \"" +
              FFolder + "\"");
  }
  [[noreturn]] void RaiseNoMachineKey() const {
    Raise(TVqProtectionFailure::keyMissing, WhoseKey() +
                                                " does not exist and this user may not make it. An administrator makes "
                                                "it once, for the group of users whose "
                                                "programs share it: openssl rand -out \"" +
                                                FName + "\" 32 && chgrp GROUP \"" + FName + "\" && chmod 640 \"" +
                                                FName + "\"");
  }
  [[noreturn]] void RaiseDamaged() const {
    Raise(TVqProtectionFailure::keyDamaged, WhoseKey() +
                                                " is damaged: it must be a file of 32 random bytes. Bring the old one "
                                                "back, or delete it and enter the secrets anew.");
  }

  static bool Fill(const TVqFileHandle& file, TVqKey& key) {
    std::size_t got = 0;
    while (got < TVqKey::kSize) {
      const ssize_t count = ::read(file.get(), key.data() + got, TVqKey::kSize - got);
      if (count < 0 && errno == EINTR) continue;
      if (count <= 0) return false;
      got += static_cast<std::size_t>(count);
    }
    // What a file system leaves of a file when the power goes.
    return std::any_of(key.data(), key.data() + TVqKey::kSize, [](std::uint8_t byte) { return byte != 0; });
  }

  /// A key that others can read protects nothing, and one that others can write may be one that they know.
  void CheckExposure(const struct stat& status) const {
    const unsigned forbidden = FMachine ? 0027 : 0077;
    if (status.st_mode & forbidden & 0777) {
      Raise(TVqProtectionFailure::keyExposed,
            WhoseKey() + " can be read or changed by others. Its mode must be " + (FMachine ? "640" : "600") +
                ": chmod " + (FMachine ? "640" : "600") + " \"" + FName +
                "\". If somebody may have read it, delete it and enter the secrets anew.");
    }
    if (!FMachine && status.st_uid != ::geteuid() && ::geteuid() != 0) {
      Raise(TVqProtectionFailure::keyExposed, WhoseKey() + " belongs to another user.");
    }
    CheckFolder();
  }

  struct stat CheckFolder() const {
    struct stat status;
    if (::stat(FFolder.utf8().c_str(), &status) != 0) RaiseSystem("could not be reached", errno);
    if (!S_ISDIR(status.st_mode)) RaiseSystem("could not be reached", ENOTDIR);
    if (status.st_mode & (FMachine ? 0002 : 0022)) {
      Raise(TVqProtectionFailure::keyExposed, "Others can replace " + Whose() +
                                                  " key, as they can write to its folder \"" + FFolder + "\": chmod " +
                                                  (FMachine ? "o-w" : "go-w") + " \"" + FFolder + "\"");
    }
    if (!FMachine && status.st_uid != ::geteuid() && ::geteuid() != 0) {
      Raise(TVqProtectionFailure::keyExposed,
            "The folder of the user's key, \"" + FFolder + "\", belongs to another user.");
    }
    return status;
  }

  bool FMachine;
  string FFolder;
  string FName;
  std::string FNative;
};

}  // namespace

void VqLoadKey(const TVqKeyPlace& place, bool make, TVqKey& key) {
  const TKeyFile file(place);
  if (file.TryRead(key)) return;
  if (make) {
    file.Make();
    if (file.TryRead(key)) return;
  }
  file.RaiseMissing();
}

}  // namespace velmore
