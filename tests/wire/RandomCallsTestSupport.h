#pragma once

// A plain model of a mailbox: what a server must hold after what was done to it, kept in maps of texts. It knows
// nothing of how the library works.

#include <map>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "tests/wire/SaveTestSupport.h"

namespace velmore::testing {

/// Values by the names of kMailFields.
using TFieldValues = std::map<std::string, std::string>;
/// Contents by the names of the files.
using TFiles = std::map<std::string, std::string>;

/// One property of a message: how a text is written to it, and read from it.
struct TMailField {
  const char* Name;
  void (*Write)(IVqEWSEMail& mail, const std::string& value);
  std::string (*Read)(IVqEWSEMail& mail);
  /// A text that the property can have.
  std::string (*Draw)(std::mt19937& random);
};
extern const std::vector<TMailField> kMailFields;
const TMailField& MailField(const std::string& name);

/// A message as the server has it.
struct TMailState {
  TFieldValues Values;
  TFiles Files;
  friend bool operator==(const TMailState&, const TMailState&) = default;
};
std::string Shown(const TMailState& state);

/// All that an object says of its message. Adds a failure when two files have one name.
TMailState StateOf(IVqEWSEMail& mail);

/// A message of the model.
struct TModelMail {
  std::string Folder;
  TMailState State;
};

/// An object that is held, with what was done to it since it was loaded.
struct THeldMail {
  TVqRef<IVqEWSEMail> Mail;
  std::string Id;  // empty: the server does not know it
  TFieldValues Loaded, Pending;
  TFiles LoadedFiles, Added;
  std::set<std::string> Removed;
  std::map<std::string, std::string> Renamed;  // new names by the old ones
  std::string Key;                             // of the message, when this was loaded
  bool Unsure = false;                         // a save of it failed

  /// What a save changes.
  TFieldValues Changes() const;
  /// What the server holds after a save, by what it holds now: what was absent when the message was loaded is asked for
  /// when it is set, so that setting it to nothing can be a change or none.
  TMailState After(TMailState before, const TMailState& now) const;
};

/// Nothing is lost and nothing is doubled by a save that failed somewhere: the values are those of before or those that
/// were to be, all of them; files that were not touched are there. Empty when it holds.
std::string ViolationOfFailedSave(const THeldMail& held, const TMailState& before, const TMailState& now);

}  // namespace velmore::testing
