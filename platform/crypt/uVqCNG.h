#pragma once

/// Protection of secrets that a program keeps: what one user, or one machine, has protected can be read by that user,
/// or on that machine, and nowhere else.
///
///     TVqDataProtection protection;
///     TVqBytes blob = protection.Encrypt(TVqBytes(password), false);      // false: for this user
///     string again = protection.Decrypt(blob).AsString();
///
/// On Windows this is the system's data protection. Elsewhere it is AES-256-GCM with a key in a file for each scope:
/// the user's in the user's data folder, made on first use; the machine's in a folder that an administrator sets up
/// once. A blob tells its version, its scope and which key it wants, so that every way to fail has an error of its own;
/// none of them ever gives bytes that were not protected.
///
/// Any thread may call, and any number of processes; nothing is kept between calls. Nothing talks to a server.

#include "platform/common/uVqNetEncoding.h"
#include "platform/common/uVqSecret.h"

namespace velmore {

/// Why bytes could not be protected or read.
enum class TVqProtectionFailure {
  foreignBytes,    ///< not protected bytes at all
  truncated,       ///< the end is missing
  unknownVersion,  ///< from a newer version of this library
  otherSystem,     ///< protected on Windows and read elsewhere, or the other way round
  tampered,        ///< changed since they were protected
  otherKey,        ///< protected with a key that is not there (any more): by another user or machine
  keyMissing,      ///< there is no key, or no folder where it could be made
  keyNotReadable,  ///< the system does not let this user read the key
  keyExposed,      ///< others than the key's user can read or replace it
  keyDamaged,      ///< the key's file holds something else
  system           ///< the system or the cryptographic library failed; the text has its words
};

/// Raised by everything here. The text says what to do; it has file names, and never a part of a secret or a key.
class EVqDataProtection : public EVqException {
 public:
  /// The text, and what happened.
  EVqDataProtection(string AMessage, TVqProtectionFailure AFailure)
      : EVqException(std::move(AMessage)), FFailure(AFailure) {}
  /// What happened, for programs.
  TVqProtectionFailure GetFailure() const noexcept { return FFailure; }

 private:
  TVqProtectionFailure FFailure;
};

/// Where the keys are. Windows keeps its own and looks at neither folder.
struct TVqKeyFolders {
  /// The folder of the key "user.key": made with all folders above it on first use (0700, the key 0600).
  string User = "%LOCALAPPDATA%\\Velmore\\EWS\\Keys";
  /// The folder of the key "machine.key". Never made here: who may read it is the administrator's decision. The key is
  /// made in it on first use by a user who may write there, readable by the folder's group (0640).
  string Machine = "%PROGRAMDATA%\\Velmore\\EWS\\Keys";
};

/// The folders that a TVqDataProtection without arguments uses from now on, in the whole process. Variables in them are
/// expanded at each call.
TVqKeyFolders VqGetKeyFolders();
void VqSetKeyFolders(const TVqKeyFolders& AFolders);

/// Protects and reads bytes. A plain value: owns the names of two folders, a copy copies them, any thread may call.
/// Raises EVqDataProtection.
class TVqDataProtection {
 public:
  /// With the folders of this process.
  TVqDataProtection() : TVqDataProtection(VqGetKeyFolders()) {}
  /// With folders of its own.
  explicit TVqDataProtection(TVqKeyFolders AFolders) : FFolders(std::move(AFolders)) {}

  /// The bytes protected for this user (`AMachine` false) or for all users of this machine whom the administrator lets
  /// read its key. The same bytes give another blob each time. An empty sequence of bytes can be protected, too.
  TVqBytes Encrypt(const TVqBytes& ABytes, bool AMachine) const;
  /// The bytes of a blob of either scope. They are the caller's to wipe.
  TVqBytes Decrypt(const TVqBytes& ABytes) const;

 private:
  TVqKeyFolders FFolders;
};

/// As the other forms of VqWipe: overwrites a secret in memory with zeros and leaves it empty.
void VqWipe(TVqBytes& ABytes) noexcept;

/// Wipes a secret at the end of its block, however the block is left. Refers to the secret, which must outlive it.
template <typename T>
class TVqWiped {
 public:
  /// The secret to wipe.
  explicit TVqWiped(T& ASecret) noexcept : FSecret(ASecret) {}
  ~TVqWiped() { VqWipe(FSecret); }
  TVqWiped(const TVqWiped&) = delete;
  TVqWiped& operator=(const TVqWiped&) = delete;

 private:
  T& FSecret;
};

}  // namespace velmore
