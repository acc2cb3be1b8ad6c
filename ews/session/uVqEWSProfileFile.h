#pragma once

/// Profiles in one XML file.
///
///     TVqEWSProfileConfigFileContainer profiles(nullptr);
///     profiles.SetFilename("%LOCALAPPDATA%\\Contoso\\Profiles.config");
///     profiles.SaveProfile(session, "Anna");
///
/// The file is written beside the old one and put in its place, so that a crash or a full disk leaves the old one;
/// elements, attributes and comments that are not ours stay. The file is this user's alone (0600; a group that somebody
/// gave it to stays). Several processes may save at the same time without losing each other's profiles. Nothing here
/// talks to a mail server, except that saving reads the session's additional mailboxes, which an active session may
/// have to ask for.
///
/// Secrets are protected for the user with the Authorize grant and for the machine otherwise, as a service has no user
/// who could have protected them. Where there is no Windows, an administrator must have set up the machine's key; see
/// TVqKeyFolders.

#include "ews/session/uVqEWSProfiles.h"
#include "platform/xml/uVqXMLDOM.h"

namespace velmore {

/// The container over a file. Raises EVqFileError, EVqXMLError for a file that is no XML or lacks a profile that is to
/// be loaded, and EConvertError for a truth value that is none.
class TVqEWSProfileConfigFileContainer : public TVqEWSProfileCustomContainer {
 public:
  /// `AOwner` may be empty.
  explicit TVqEWSProfileConfigFileContainer(TVqComponent* AOwner) : TVqEWSProfileCustomContainer(AOwner) {}

  /// "%LOCALAPPDATA%\Velmore\EWS\Profiles.config" unless changed. Saving a profile puts the expanded name here.
  const string& GetFilename() const noexcept { return FFilename; }
  void SetFilename(const string& AValue) { FFilename = AValue; }
  /// The name with variables expanded (VqExpandEnvironment) and the separators of this system.
  string ExpandConfigFileName() const;

  /// The document of the file. A file that is not there, is no XML, has no root or has another version than "1.0"
  /// counts as absent: the result is then false and the document empty; with `ACreate` the result is true, the document
  /// is a new one without profiles, and the folders of the file are made. A file that the system does not let us read
  /// raises EVqFileError with `ACreate`.
  bool GetConfig(bool ACreate, IVqDOMDocument& ADocument) const;
  /// Says why the file counts as absent, in a plain exception: "The ConfigFile does not exist!", "No rootnode
  /// detected", "Incorrect version", or what the parser said. Does nothing when the file can be used.
  void CheckConfig() const;
  /// Deletes the file if it is there.
  void DeleteConfig();

  string GetDefaultProfileName() override;
  bool GetPromptForProfile() override;
  void SetPromptForProfile(bool AValue) override;
  void SetDefaultProfileName(const string& AValue) override;
  std::int32_t GetProfileNames(TVqStrings& AStrings) override;
  /// A file that counts as absent is replaced by one with this profile alone; what was there stays beside it, with
  /// ".version-2.0" or ".damaged" appended to the name.
  void SaveProfile(TVqEWSCustomSession& ASession, const string& AProfileName) override;
  void DeleteProfile(const string& AProfileName) override;
  /// False when the file counts as absent; a file that is no XML and a profile that is not in the file raise
  /// EVqXMLError.
  bool LoadProfile(TVqEWSCustomSession& ASession, const string& AProfileName) override;

  void AssignTo(TVqComponent* ADest) override;

 private:
  struct TConfig;

  static TConfig ReadConfig(const string& AName);
  template <typename TChange>
  void ChangeConfig(const string& AName, TChange AChange) const;
  void SetRootAttribute(const char* AName, const string& AValue) const;

  string FFilename = u"%LOCALAPPDATA%\\Velmore\\EWS\\Profiles.config";
};

}  // namespace velmore
