#include "simulator/mailbox/ids.h"

#include <array>
#include <mutex>
#include <random>
#include <stdexcept>

#include "simulator/xml/element.h"

namespace velmore::simulator {

namespace {

constexpr std::size_t kFolderEntrySize = 46;
constexpr std::size_t kItemEntrySize = 70;

void AppendNumber(std::string& out, std::uint64_t number) {  // six bytes, as a global counter has
  for (int shift = 40; shift >= 0; shift -= 8) out += static_cast<char>(number >> shift & 0xff);
}

void AppendLength(std::string& out, std::size_t length) {
  out += static_cast<char>(length & 0xff);
  out += static_cast<char>(length >> 8 & 0xff);
}

int HexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

std::string GuidBytes(std::string_view guid) {
  std::string bytes;
  int high = -1;
  for (const char c : guid) {
    const int value = HexValue(c);
    if (value < 0) continue;
    if (high < 0) {
      high = value;
    } else {
      bytes += static_cast<char>(high * 16 + value);
      high = -1;
    }
  }
  return bytes;
}

bool IsEntry(std::string_view bytes) {
  return (bytes.size() == kFolderEntrySize || bytes.size() == kItemEntrySize) &&
         bytes.substr(0, 4) == std::string_view("\0\0\0\0", 4);
}

std::optional<std::string> Decoded(std::string_view text) {
  try {
    return DecodeBase64(text);
  } catch (const std::invalid_argument&) {
    return std::nullopt;
  }
}

// What an entry id begins with: flags, the store, and what kind of thing it names.
std::string EntryHead(std::string_view mailbox_guid, char kind) {
  std::string head(4, '\0');
  head += GuidBytes(mailbox_guid);
  head += kind;
  head += '\0';
  return head;
}

// One folder or item within it.
std::string EntryPart(std::string_view mailbox_guid, std::uint64_t number) {
  std::string part(GuidBytes(mailbox_guid));
  AppendNumber(part, number);
  part.append(2, '\0');
  return part;
}

}  // namespace

std::string NewGuid() {
  static std::mutex mutex;  // protects the generator
  static std::mt19937_64 generator{std::random_device{}()};
  const std::lock_guard lock(mutex);
  std::string guid;
  static constexpr char kDigits[] = "0123456789abcdef";
  for (const int group : {8, 4, 4, 4, 12}) {
    if (!guid.empty()) guid += '-';
    for (int i = 0; i < group; ++i) guid += kDigits[generator() & 15u];
  }
  guid[14] = '4';
  guid[19] = 'a';
  return guid;
}

std::string ToHex(std::string_view bytes, bool upper) {
  const char* digits = upper ? "0123456789ABCDEF" : "0123456789abcdef";
  std::string out;
  for (const char c : bytes) {
    out += digits[static_cast<unsigned char>(c) >> 4];
    out += digits[static_cast<unsigned char>(c) & 15u];
  }
  return out;
}

std::string FolderEntryId(std::string_view mailbox_guid, std::uint64_t number) {
  return EntryHead(mailbox_guid, '\x01') + EntryPart(mailbox_guid, number);
}

std::string ItemEntryId(std::string_view mailbox_guid, std::uint64_t folder_number, std::uint64_t number) {
  return EntryHead(mailbox_guid, '\x07') + EntryPart(mailbox_guid, folder_number) + EntryPart(mailbox_guid, number);
}

std::string EwsId(std::string_view mailbox_guid, std::string_view entry, std::string_view attachment) {
  std::string bytes;
  bytes += '\0';    // not compressed
  bytes += '\x03';  // a mailbox, told by its GUID
  AppendLength(bytes, mailbox_guid.size());
  bytes += mailbox_guid;
  bytes += '\0';
  AppendLength(bytes, entry.size());
  bytes += entry;
  if (!attachment.empty()) {
    bytes += '\x01';
    AppendLength(bytes, attachment.size());
    bytes += attachment;
  }
  return EncodeBase64(bytes);
}

std::optional<ParsedId> ParseEwsId(std::string_view text) {
  const auto decoded = Decoded(text);
  if (!decoded) return std::nullopt;
  std::string_view bytes = *decoded;
  const auto block = [&](std::string& out) {
    if (bytes.size() < 2) return false;
    const std::size_t length = static_cast<unsigned char>(bytes[0]) + 256u * static_cast<unsigned char>(bytes[1]);
    if (bytes.size() < 2 + length) return false;
    out = bytes.substr(2, length);
    bytes.remove_prefix(2 + length);
    return true;
  };
  ParsedId id;
  if (bytes.substr(0, 2) != std::string_view("\0\3", 2)) return std::nullopt;
  bytes.remove_prefix(2);
  if (!block(id.mailbox) || id.mailbox.size() != 36 || bytes.empty() || bytes.front() != '\0') return std::nullopt;
  bytes.remove_prefix(1);
  if (!block(id.entry) || !IsEntry(id.entry)) return std::nullopt;
  if (!bytes.empty()) {
    if (bytes.front() != '\1') return std::nullopt;
    bytes.remove_prefix(1);
    if (!block(id.attachment) || id.attachment.empty() || !bytes.empty()) return std::nullopt;
  }
  return id;
}

std::optional<ParsedId> ParseId(std::string_view text, std::string_view format) {
  ParsedId id;
  if (format == "EwsId" || format == "EwsLegacyId") return ParseEwsId(text);
  if (format == "OwaId") {
    std::string plain;
    for (std::size_t i = 0; i < text.size(); ++i) {
      if (text[i] == '%' && i + 2 < text.size() && HexValue(text[i + 1]) >= 0 && HexValue(text[i + 2]) >= 0) {
        plain += static_cast<char>(HexValue(text[i + 1]) * 16 + HexValue(text[i + 2]));
        i += 2;
      } else {
        plain += text[i];
      }
    }
    return ParseEwsId(plain);
  }
  if (format == "HexEntryId") {
    if (text.size() % 2 != 0) return std::nullopt;
    for (std::size_t i = 0; i < text.size(); i += 2) {
      if (HexValue(text[i]) < 0 || HexValue(text[i + 1]) < 0) return std::nullopt;
      id.entry += static_cast<char>(HexValue(text[i]) * 16 + HexValue(text[i + 1]));
    }
  } else if (format == "EntryId") {
    const auto decoded = Decoded(text);
    if (!decoded) return std::nullopt;
    id.entry = *decoded;
  } else if (format == "StoreId") {
    const auto decoded = Decoded(text);
    if (!decoded || decoded->size() < 2 || static_cast<unsigned char>((*decoded)[0]) + 2u > decoded->size())
      return std::nullopt;
    id.entry = decoded->substr(1, static_cast<unsigned char>((*decoded)[0]));
  }
  if (!IsEntry(id.entry)) return std::nullopt;
  return id;
}

std::string FormatId(const ParsedId& id, std::string_view format) {
  if (format == "HexEntryId") return ToHex(id.entry);
  if (format == "EntryId") return EncodeBase64(id.entry);
  if (format == "StoreId") {
    std::string bytes(1, static_cast<char>(id.entry.size()));
    bytes += id.entry;
    bytes += IsFolderEntry(id.entry) ? '\x01' : '\x09';
    return EncodeBase64(bytes);
  }
  std::string text = EwsId(id.mailbox, id.entry, id.attachment);
  if (format != "OwaId") return text;
  std::string escaped;
  for (const char c : text) {
    if (c == '+')
      escaped += "%2b";
    else if (c == '/')
      escaped += "%2f";
    else if (c == '=')
      escaped += "%3d";
    else
      escaped += c;
  }
  return escaped;
}

std::string ChangeKey(std::string_view mailbox_guid, unsigned char kind, std::uint64_t change) {
  std::string bytes(1, static_cast<char>(kind));
  bytes.append(3, '\0');
  bytes += '\x16';
  bytes.append(3, '\0');
  bytes += GuidBytes(mailbox_guid);
  AppendNumber(bytes, change);
  bytes.append(4, '\0');
  return EncodeBase64(bytes);
}

std::optional<std::uint64_t> ParseChangeKey(std::string_view text) {
  const auto bytes = Decoded(text);
  if (!bytes || bytes->size() != 34 || (*bytes)[4] != '\x16') return std::nullopt;
  std::uint64_t change = 0;
  for (std::size_t i = 24; i < 30; ++i) change = change << 8 | static_cast<unsigned char>((*bytes)[i]);
  return change;
}

}  // namespace velmore::simulator
