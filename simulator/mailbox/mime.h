#pragma once

// Between MIME messages and items, through GMime.

#include <memory>
#include <string>

#include "simulator/mailbox/html.h"
#include "simulator/mailbox/model.h"

namespace velmore::simulator {

/// Reads a MIME message into a new item: properties, bodies, attachments (nested messages as item attachments) and the
/// MIME text itself. Never fails for odd messages; what cannot be understood is kept as text. `received` is used where
/// the message does not tell it.
std::shared_ptr<Item> ImportMime(std::shared_ptr<const std::string> mime, Seconds received);

/// Writes an item as a MIME message. `with_bcc` keeps the Bcc header (drafts and sent items).
std::string BuildMime(const Item& item, bool with_bcc);

/// The MIME text of an item: as it came, or made now.
std::shared_ptr<const std::string> MimeOf(const Item& item);

/// Header block of a MIME text, up to the blank line.
std::string HeaderBlock(const std::string& mime);
/// The headers of a block as t:InternetMessageHeaders.
Element HeadersElement(const std::string& block);

/// t:Mailbox with name, address, routing type and sort.
Element MailboxElement(const std::string& name, const std::string& address, const std::string& mailbox_type = "OneOff");

}  // namespace velmore::simulator
