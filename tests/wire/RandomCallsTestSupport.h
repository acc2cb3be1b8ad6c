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

/// What an item is.
enum class TKind { mail, contact, task, appointment };
TKind KindOf(IVqEWSItem& item);

/// Values by the names of the fields of a kind.
using TFieldValues = std::map<std::string, std::string>;
/// Contents by the names of the files.
using TFiles = std::map<std::string, std::string>;

/// One property of an item: how a text is written to it, and read from it.
struct TItemField {
  const char* Name;
  void (*Write)(IVqEWSItem& item, const std::string& value);
  std::string (*Read)(IVqEWSItem& item);
  /// A text that the property can have.
  std::string (*Draw)(std::mt19937& random);
};
const std::vector<TItemField>& FieldsOf(TKind kind);
const TItemField& ItemField(TKind kind, const std::string& name);

/// An item as the server has it.
struct TItemState {
  TFieldValues Values;
  TFiles Files;
  friend bool operator==(const TItemState&, const TItemState&) = default;
};
std::string Shown(const TItemState& state);

/// All that an object says of its item. Adds a failure when two files have one name.
TItemState StateOf(IVqEWSItem& item);

/// An item of the model.
struct TModelItem {
  std::string Folder;
  TItemState State;
};

/// An object that is held, with what was done to it since it was loaded.
struct THeldItem {
  TVqRef<IVqEWSItem> Item;
  std::string Id;  // empty: the server does not know it
  TFieldValues Loaded, Pending;
  TFiles LoadedFiles, Added;
  std::set<std::string> Removed;
  std::map<std::string, std::string> Renamed;  // new names by the old ones
  std::string Key;                             // of the item, when this was loaded
  bool Unsure = false;                         // a save of it failed

  /// What a save changes.
  TFieldValues Changes() const;
  /// What the server holds after a save, by what it holds now: what was absent when the item was loaded is asked for
  /// when it is set, so that setting it to nothing can be a change or none.
  TItemState After(TItemState before, const TItemState& now) const;
};

/// Nothing is lost and nothing is doubled by a save that failed somewhere: the values are those of before or those that
/// were to be, all of them; files that were not touched are there. Empty when it holds.
std::string ViolationOfFailedSave(const THeldItem& held, const TItemState& before, const TItemState& now);

}  // namespace velmore::testing
