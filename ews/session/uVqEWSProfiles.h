#pragma once

/// Where a session's connection settings are kept outside of the program: named profiles in a container. There are two,
/// one over a file (uVqEWSProfileFile.h) and one over the registry (uVqEWSProfileRegistry.h); an application can bring
/// its own.
///
///     TVqEWSProfileConfigFileContainer profiles(nullptr);
///     session.SetProfileContainer(&profiles);
///     session.SetProfileName("Anna");
///     session.SetActive(true);                       // loads the profile first

#include "platform/common/uVqClasses.h"

namespace velmore {

class TVqEWSCustomSession;

/// A store of named profiles. Owns nothing but its switches; every operation opens the store anew and keeps nothing of
/// it. No copies: see AssignTo. One thread at a time; other processes may use the same store at any time. What each
/// operation raises depends on the container, apart from EVqDataProtection for secrets that cannot be protected or
/// read.
class TVqEWSProfileCustomContainer : public TVqComponent {
 public:
  /// `AOwner` may be empty.
  explicit TVqEWSProfileCustomContainer(TVqComponent* AOwner) : TVqComponent(AOwner) {}

  /// The profile of a logon that names none; empty when there is no profile of that name any more.
  virtual string GetDefaultProfileName() = 0;
  /// Whether a user interface asks for the profile all the same. True unless the store says something else.
  virtual bool GetPromptForProfile() = 0;
  virtual void SetPromptForProfile(bool AValue) = 0;
  virtual void SetDefaultProfileName(const string& AValue) = 0;
  /// The number of profiles; their names replace the content of `AStrings`.
  virtual std::int32_t GetProfileNames(TVqStrings& AStrings) = 0;
  /// Keeps the session's settings under a name, in place of those that were there. Raises a plain exception for a name
  /// that no profile can have.
  virtual void SaveProfile(TVqEWSCustomSession& ASession, const string& AProfileName) = 0;
  /// Forgets a profile; one that is not there is no error.
  virtual void DeleteProfile(const string& AProfileName) = 0;
  /// Sets the session's properties from a profile; what the profile does not hold stays as it is, and so does
  /// everything when reading fails. Only of secrets that another system protected, as those of a profile from Windows
  /// are elsewhere, EVqDataProtection (`otherSystem`) tells when all else is loaded: they are empty then. The base
  /// checks what was loaded: it raises EEWSException for a session with neither a service URL nor an Autodiscover
  /// address, and otherwise gives false; each container calls it at the end of its own.
  virtual bool LoadProfile(TVqEWSCustomSession& ASession, const string& AProfileName);

  /// True when GetProfileNames gives this name.
  bool ProfileExists(const string& AProfileName);

  /// Whether passwords are kept in the profile (protected). True unless changed. With false, an empty password is
  /// saved, and loading sets it.
  bool GetStoreCredentials() const noexcept { return FStoreCredentials; }
  void SetStoreCredentials(bool AValue) noexcept { FStoreCredentials = AValue; }
  /// The same for the proxy's password.
  bool GetStoreProxyCredentials() const noexcept { return FStoreProxyCredentials; }
  void SetStoreProxyCredentials(bool AValue) noexcept { FStoreProxyCredentials = AValue; }

  /// A password as profiles hold it: protected for this user, in base64. Empty for a password of nothing but blanks.
  static std::string EncryptPassword(const string& APassword);
  /// The password behind such a text, whichever scope it was protected in; empty for an empty one. Raises
  /// EVqDataProtection, and EConvertError for what is no base64.
  static string DecryptPassword(const std::string& AText);

  /// Copies the settings to a container of the same class; to one of another class, those that both have.
  void AssignTo(TVqComponent* ADest) override;

 private:
  bool FStoreCredentials = true;
  bool FStoreProxyCredentials = true;
};

}  // namespace velmore
