#pragma once

// Fills mailboxes from a folder: users.json, and a folder of .eml files per mailbox folder. See samples/README.md.

#include <functional>
#include <string>

#include "simulator/mailbox/model.h"

namespace velmore::simulator {

/// What the settings file and users.json tell; nothing of a file that is not named or not there. Throws SimulatorError.
void ReadUsers(const std::string& directory, Options& options);
/// Messages (.eml) and other items (.xml) for the mailboxes that the store has. `add_xml` puts an item into a folder
/// from its XML as CreateItem takes it. Mailboxes in `filled` are left alone.
void ReadMessages(const std::string& directory, Store& store, const std::vector<const Mailbox*>& filled,
                  const std::function<void(Mailbox&, Folder&, const std::string& xml)>& add_xml);

/// A folder by distinguished name or by path below the top of the mailbox, made when absent.
Folder& FolderByPath(Mailbox& mailbox, const std::string& path, bool create);
/// Items that are made up, of the kind of the folder; the same ones for the same seed.
void FillFolder(Mailbox& mailbox, Folder& folder, std::size_t count, std::uint64_t seed);
/// "alice@example.com", "alice", "public", "alice@example.com/archive". Throws SimulatorError.
Mailbox& MailboxNamed(Store& store, const std::string& name);
/// A message into a folder, with the flags that go with it.
Item& SeedMessage(Mailbox& mailbox, Folder& folder, std::shared_ptr<const std::string> mime, Seconds received);

}  // namespace velmore::simulator
