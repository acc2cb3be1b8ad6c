#pragma once

// The ids that clients see. Exchange packs a mailbox and an entry id into one text; the forms are kept apart here as
// they are there, so that ConvertId has something to convert and a damaged id is told from an unknown one.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace velmore::simulator {

/// What an id of any form comes down to.
struct ParsedId {
  std::string mailbox;     // 36 characters of a GUID; empty for forms that do not tell it
  std::string entry;       // binary entry id of the folder or item
  std::string attachment;  // binary, empty unless it is an attachment id
};

std::string NewGuid();  // "0f8fad5b-d9cb-469f-a165-70867728950e"

/// Entry ids. A folder's has 46 bytes, an item's 70.
std::string FolderEntryId(std::string_view mailbox_guid, std::uint64_t number);
std::string ItemEntryId(std::string_view mailbox_guid, std::uint64_t folder_number, std::uint64_t number);
inline bool IsFolderEntry(std::string_view entry) {
  return entry.size() == 46;
}

std::string EwsId(std::string_view mailbox_guid, std::string_view entry, std::string_view attachment = {});
/// Reads an EwsId; nothing when it is malformed.
std::optional<ParsedId> ParseEwsId(std::string_view text);

/// Reads an id of a ConvertId format ("EwsId", "HexEntryId", ...); nothing when it is malformed.
std::optional<ParsedId> ParseId(std::string_view text, std::string_view format);
/// Writes one.
std::string FormatId(const ParsedId& id, std::string_view format);

/// `kind` is the number with which Exchange begins the change key of that sort of object.
std::string ChangeKey(std::string_view mailbox_guid, unsigned char kind, std::uint64_t change);
/// The change number inside; nothing when the key is malformed.
std::optional<std::uint64_t> ParseChangeKey(std::string_view text);

std::string ToHex(std::string_view bytes, bool upper = true);

}  // namespace velmore::simulator
