#pragma once

/// Where a session's connection settings are kept outside of the program. The session talks to this abstract container; the containers over the
/// registry and over a file are not part of this version, an application can bring its own.

#include "platform/common/uVqClasses.h"

namespace velmore {

class TVqEWSCustomSession;

/// A store of named profiles. Owns nothing but its switches. No copies. One thread at a time. What each operation raises is the container's.
class TVqEWSProfileCustomContainer : public TVqComponent {
 public:
  /// `AOwner` may be empty.
  explicit TVqEWSProfileCustomContainer(TVqComponent* AOwner) : TVqComponent(AOwner) {}

  /// The profile of a logon that names none, and whether a user interface asks for it all the same.
  virtual string GetDefaultProfileName() = 0;
  virtual bool GetPromptForProfile() = 0;
  virtual void SetPromptForProfile(bool AValue) = 0;
  virtual void SetDefaultProfileName(const string& AValue) = 0;
  /// The number of profiles; their names replace the content of `AStrings`.
  virtual std::int32_t GetProfileNames(TVqStrings& AStrings) = 0;
  /// Keeps the session's settings under a name, in place of those that were there.
  virtual void SaveProfile(TVqEWSCustomSession& ASession, const string& AProfileName) = 0;
  /// Forgets a profile.
  virtual void DeleteProfile(const string& AProfileName) = 0;
  /// Sets the session's properties from a profile; false when there is none of that name. The base looks at what was loaded: it raises
  /// EEWSException for a profile with neither a service URL nor an Autodiscover address, and gives false; each container calls it at its end.
  virtual bool LoadProfile(TVqEWSCustomSession& ASession, const string& AProfileName);

  /// True when GetProfileNames gives this name.
  bool ProfileExists(const string& AProfileName);

  /// Whether passwords are kept in the profile (protected). True unless changed.
  bool GetStoreCredentials() const noexcept { return FStoreCredentials; }
  void SetStoreCredentials(bool AValue) noexcept { FStoreCredentials = AValue; }
  bool GetStoreProxyCredentials() const noexcept { return FStoreProxyCredentials; }
  void SetStoreProxyCredentials(bool AValue) noexcept { FStoreProxyCredentials = AValue; }

 private:
  bool FStoreCredentials = true;
  bool FStoreProxyCredentials = true;
};

}  // namespace velmore
