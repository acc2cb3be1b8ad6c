#pragma once

/// Profiles in the registry: a key for each profile, a value for each setting.
///
///     TVqEWSProfileRegistryContainer profiles(nullptr);
///     profiles.SaveProfile(session, "Anna");
///
/// Where there is no Windows, the registry is a file (platform/os/uVqRegistry.h). Nothing here talks to a mail server,
/// except that saving reads the session's additional mailboxes, which an active session may have to ask for.
///
/// For administrators: the value ClientSecretEncryption reads "Machine" for a secret that is protected for the user and
/// "User" for one that is protected for the machine. The word is read only to see that there is one: delete it, and
/// ClientSecret is taken as it stands.

#include "ews/session/uVqEWSProfiles.h"
#include "platform/os/uVqRegistry.h"

namespace velmore {

/// Below which root the profiles are: the user's own, or those of all users, whose secrets are protected for the
/// machine.
enum TVqEWSRegistryRootKey { rkCurrentUser, rkLocalMachine };

/// The container over the registry. Raises EVqRegistryError when the registry does not let us write or is damaged.
///
/// When a container has a single profile, that one is the default, without a prompt: saving and deleting see to that.
class TVqEWSProfileRegistryContainer : public TVqEWSProfileCustomContainer {
 public:
  /// `AOwner` may be empty.
  explicit TVqEWSProfileRegistryContainer(TVqComponent* AOwner) : TVqEWSProfileCustomContainer(AOwner) {}

  /// rkCurrentUser unless changed.
  TVqEWSRegistryRootKey GetRootKey() const noexcept { return FRootKey; }
  void SetRootKey(TVqEWSRegistryRootKey AValue) noexcept { FRootKey = AValue; }
  /// The key above the profiles, "SOFTWARE\Velmore\EWS\Profiles" unless changed.
  const string& GetKey() const noexcept { return FKey; }
  void SetKey(const string& AValue) { FKey = AValue; }
  /// The registry to use; the system's own when empty.
  const TVqRef<IVqRegistry>& GetRegistry() const noexcept { return FRegistry; }
  void SetRegistry(const TVqRef<IVqRegistry>& AValue) { FRegistry = AValue; }

  string GetDefaultProfileName() override;
  bool GetPromptForProfile() override;
  void SetPromptForProfile(bool AValue) override;
  void SetDefaultProfileName(const string& AValue) override;
  std::int32_t GetProfileNames(TVqStrings& AStrings) override;
  void SaveProfile(TVqEWSCustomSession& ASession, const string& AProfileName) override;
  void DeleteProfile(const string& AProfileName) override;
  /// True also for a profile that is not there: nothing is set then, and the session is checked as it is.
  bool LoadProfile(TVqEWSCustomSession& ASession, const string& AProfileName) override;

  void AssignTo(TVqComponent* ADest) override;

 private:
  TVqRegistryRoot Root() const;
  TVqRef<IVqRegistry> Registry() const;
  TVqRef<IVqRegistryKey> TryOpen(const string& APath, std::uint32_t AAccess, bool ACreate) const;
  void FixProfile(const TVqRef<IVqRegistry>& ARegistry);

  TVqEWSRegistryRootKey FRootKey = rkCurrentUser;
  string FKey = u"SOFTWARE\\Velmore\\EWS\\Profiles";
  TVqRef<IVqRegistry> FRegistry;
};

}  // namespace velmore
