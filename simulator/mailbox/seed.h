#pragma once

// Fills mailboxes from a folder: users.json, and a folder of .eml files per mailbox folder. See samples/README.md.

#include <string>

#include "simulator/mailbox/model.h"

namespace velmore::simulator {

/// Users and directory contacts of users.json; nothing when the file is not there. Throws SimulatorError.
void ReadUsers(const std::string& directory, Options& options);
/// Messages for the mailboxes that the store has.
void ReadMessages(const std::string& directory, Store& store);

/// A folder by distinguished name or by path below the top of the mailbox, made when absent.
Folder& FolderByPath(Mailbox& mailbox, const std::string& path, bool create);
/// A message into a folder, with the flags that go with it.
Item& SeedMessage(Mailbox& mailbox, Folder& folder, std::shared_ptr<const std::string> mime, Seconds received);

}  // namespace velmore::simulator
