#pragma once

// Mailboxes in a file, so that they outlive the program: one line that tells the format, a checksum and the size, and
// JSON behind it.

#include <string>

#include "simulator/mailbox/model.h"

namespace velmore::simulator {

/// Fills an empty store from a file; false when there is no such file. Throws OptionError when the file is damaged, of
/// another format or of another server version, and leaves it alone.
bool ReadState(const std::string& file, Store& store);
/// What a file of these mailboxes holds.
std::string StateText(const Store& store);
/// One item with all that is in it, and back; the latter throws what the text deserves.
std::string ItemText(const Item& item);
std::shared_ptr<Item> ItemFromText(const std::string& text);
/// Replaces the file at once or not at all. Only its owner may read it, since it holds passwords. Throws
/// SimulatorError.
void WriteStateText(const std::string& file, const std::string& text);
/// Throws OptionError when a file of this name could not be written.
void CheckStatePlace(const std::string& file);

}  // namespace velmore::simulator
