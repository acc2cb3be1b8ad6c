#pragma once

/// The registry: named values in a tree of keys, for one user or for the machine.
///
///     TVqRef<IVqRegistry> registry = VqSystemRegistry();
///     TVqRef<IVqRegistryKey> key =
///         registry->OpenKey(TVqRegistryRoot::currentUser, "SOFTWARE\\Velmore\\EWS", kVqKeyRead | kVqKeyWrite, true);
///     key->WriteString("Server", "mail.example.com");
///     key->Close();
///
/// On Windows this is the system's. Elsewhere it is a tree in a file for each root (uVqFileRegistry.h). Names are equal
/// without regard to case and keep the case in which they were made. Nothing talks to a server.

#include "platform/common/uVqClasses.h"

namespace velmore {

/// Whose keys. Windows' names stand beside them.
enum class TVqRegistryRoot {
  currentUser,  ///< HKEY_CURRENT_USER
  localMachine  ///< HKEY_LOCAL_MACHINE: everyone reads, administrators write
};

/// Rights with which a key is opened, with the numbers of Windows. Only the bits of a right that is asked for count.
inline constexpr std::uint32_t kVqKeyQueryValue = 0x1;    ///< reading values and their names
inline constexpr std::uint32_t kVqKeySetValue = 0x2;      ///< writing and deleting values
inline constexpr std::uint32_t kVqKeyCreateSubKey = 0x4;  ///< making keys below
inline constexpr std::uint32_t kVqKeyEnumerate = 0x8;     ///< reading the names of the keys below
inline constexpr std::uint32_t kVqKeyRead = 0x20019;
inline constexpr std::uint32_t kVqKeyWrite = 0x20006;
/// The view of 32-bit programs. Where there is no Windows, there is only one view.
inline constexpr std::uint32_t kVqKeyView32 = 0x200;

/// Something that the registry does not let us do; the text names the key.
class EVqRegistryError : public EVqException {
 public:
  /// A whole sentence and Windows' number for it.
  EVqRegistryError(string AMessage, std::uint32_t ANumber) : EVqException(std::move(AMessage)), FNumber(ANumber) {}
  /// One of the constants below, or another number of Windows.
  std::uint32_t GetNumber() const noexcept { return FNumber; }

 private:
  std::uint32_t FNumber;
};
inline constexpr std::uint32_t kVqRegistryAccessDenied = 5;  ///< by the system, or by the rights it was opened with
inline constexpr std::uint32_t kVqRegistryWrongKind = 13;    ///< the value is of another kind than asked for
inline constexpr std::uint32_t kVqRegistryBadName = 161;     ///< a name that no key or value can have
inline constexpr std::uint32_t kVqRegistryDamaged = 1009;    ///< what is stored cannot be read
inline constexpr std::uint32_t kVqRegistryFailed = 1016;     ///< the disk failed; the text has the system's words

/// An open key. One thread at a time. Raises EVqRegistryError: access denied where the right was not asked for, a plain
/// exception after Close.
class IVqRegistryKey : public virtual IVqObject {
 public:
  /// The rights that it was opened with, as they were given.
  virtual std::uint32_t GetAccess() const = 0;
  /// Names of the keys directly below and of the values, in the order in which the registry has them.
  virtual std::vector<string> GetKeyNames() = 0;
  virtual std::vector<string> GetValueNames() = 0;
  /// True when there is a value of this name, of whatever kind.
  virtual bool ValueExists(const string& AName) = 0;
  /// A text, a number, a truth value (a number that is not 0). A value that is not there reads as empty, 0 or false.
  virtual string ReadString(const string& AName) = 0;
  virtual std::uint32_t ReadInteger(const string& AName) = 0;
  bool ReadBoolean(const string& AName) { return ReadInteger(AName) != 0; }
  /// Puts a value in place of one of that name, whatever its kind.
  virtual void WriteString(const string& AName, const string& AValue) = 0;
  virtual void WriteInteger(const string& AName, std::uint32_t AValue) = 0;
  void WriteBoolean(const string& AName, bool AValue) { WriteInteger(AName, AValue ? 1 : 0); }
  /// False when there was none.
  virtual bool DeleteValue(const string& AName) = 0;
  /// Ends the work with this key. What was written is there for everybody now at the latest: this is where a full disk
  /// shows. A key that goes without being closed may lose what was written through it (and does so where there is no
  /// Windows), so that what ended in an exception leaves nothing half done. Closing twice changes nothing.
  virtual void Close() = 0;

 protected:
  ~IVqRegistryKey() = default;
};

/// A registry. Any thread may call. Raises EVqRegistryError.
class IVqRegistry : public virtual IVqObject {
 public:
  /// The key of a path ("SOFTWARE\\Velmore"; separators at its ends and doubled ones do not count), made with all above
  /// it when `ACreate` is true; empty when there is none. Making a key needs the system's permission and none of the
  /// rights.
  virtual TVqRef<IVqRegistryKey> OpenKey(TVqRegistryRoot ARoot, const string& APath, std::uint32_t AAccess,
                                         bool ACreate) = 0;
  /// Deletes a key with everything below it; false when there was none. Of `AAccess` the view counts, and
  /// kVqKeySetValue must be in it. An empty path is refused.
  virtual bool DeleteKey(TVqRegistryRoot ARoot, const string& APath, std::uint32_t AAccess) = 0;

 protected:
  ~IVqRegistry() = default;
};

/// The registry of this system. On Windows its own; elsewhere the files %LOCALAPPDATA%\Velmore\EWS\Registry.txt and
/// %PROGRAMDATA%\Velmore\EWS\Registry.txt (see VqExpandEnvironment for where that is), which are looked for at each
/// use.
TVqRef<IVqRegistry> VqSystemRegistry();

/// "HKEY_CURRENT_USER" or "HKEY_LOCAL_MACHINE".
string VqRegistryRootText(TVqRegistryRoot ARoot);
/// The names along a path, without empty ones.
std::vector<string> VqRegistryNames(const string& APath);

}  // namespace velmore
