#pragma once

// Mailboxes as texts, so that they outlive the program: an entry for each mailbox, folder, item and tombstone, in JSON.
// state_file.h keeps entries in a file, state_keeper.h brings the file up to date.

#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "simulator/mailbox/model.h"

namespace velmore::simulator {

/// Entries by their keys; an empty text says that there is no such entry any more.
using StateEntries = std::map<std::string, std::string>;

// What a key begins with. Behind it stand the guid of the mailbox and what tells its entries apart.
inline constexpr char kDirectoryEntry = 'a';
inline constexpr char kMailboxEntry = 'b';
inline constexpr char kFolderEntry = 'c';
inline constexpr char kItemEntry = 'd';
inline constexpr char kStoneEntry = 'e';
std::string EntryKey(char kind, const Mailbox& mailbox, std::string_view rest = {});

enum class MailboxKind { kUser, kArchive, kPublic };

std::string DirectoryText(const Store& store);
/// The version of the server whose directory this is.
std::string VersionOfDirectory(const std::string& text);
/// A mailbox without what is in it.
std::string MailboxText(const Mailbox& mailbox, MailboxKind kind, std::size_t place);
/// A folder without its items.
std::string FolderText(const Folder& folder);
std::string StoneText(const Tombstone& stone);
/// One item with all that is in it, and back; the latter throws what the text deserves.
std::string ItemText(const Item& item);
std::shared_ptr<Item> ItemFromText(const std::string& text);

/// Fills an empty store. Throws what is wrong with the entries.
void RestoreStore(const StateEntries& entries, Store& store);

}  // namespace velmore::simulator
