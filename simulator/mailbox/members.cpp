#include "simulator/mailbox/members.h"

#include "simulator/mailbox/ids.h"

namespace velmore::simulator {

namespace {

/// UTF-16 of a text, low byte first, with its end.
std::string Wide(const std::string& text) {
  std::string out;
  const auto unit = [&](unsigned value) {
    out += static_cast<char>(value & 0xff);
    out += static_cast<char>(value >> 8 & 0xff);
  };
  for (std::size_t at = 0; at < text.size();) {
    const auto lead = static_cast<unsigned char>(text[at]);
    const std::size_t length = lead >= 0xf0 ? 4 : lead >= 0xe0 ? 3 : lead >= 0xc0 ? 2 : 1;
    unsigned code = length == 1 ? lead : lead & (0xffu >> (length + 1));
    for (std::size_t i = 1; i < length && at + i < text.size(); ++i)
      code = code << 6 | (static_cast<unsigned char>(text[at + i]) & 0x3fu);
    at += length;
    if (code >= 0x10000) {
      unit(0xd800 | (code - 0x10000) >> 10);
      unit(0xdc00 | ((code - 0x10000) & 0x3ff));
    } else {
      unit(code);
    }
  }
  unit(0);
  return out;
}

/// The entry id that a list holds of a member, in the forms of MAPI: a one-off address, or what points into a folder.
std::string KeyOf(const Element& mailbox) {
  static const std::string kOneOff("\x81\x2B\x1F\xA4\xBE\xA3\x10\x19\x9D\x6E\x00\xDD\x01\x0F\x54\x02", 16);
  static const std::string kWrapped("\xC0\x91\xAD\xD3\x51\x9D\xCF\x11\xA4\xA9\x00\xAA\x00\x47\xFA\xA4", 16);
  const std::string flags(4, '\0');
  if (const Element* id = mailbox.Child("ItemId")) {
    const auto parsed = ParseEwsId(id->AttributeText("Id"));
    const char kind = mailbox.ChildText("MailboxType") == "PrivateDL" ? '\xB4' : '\xC3';
    if (parsed) return flags + kWrapped + kind + parsed->entry;
  }
  return flags + kOneOff + std::string("\0\0\x01\x80", 4) + Wide(mailbox.ChildText("Name")) +
         Wide(mailbox.ChildText("RoutingType")) + Wide(mailbox.ChildText("EmailAddress"));
}

}  // namespace

void RefreshMembers(Item& list) {
  const Element* stored = list.Find("Members");
  if (stored == nullptr) return;
  Element members = *stored;
  for (Element& member : members.children) {
    const Element* mailbox = member.Child("Mailbox");
    if (mailbox == nullptr) continue;
    member.attributes.clear();
    member.Set("Key", EncodeBase64(KeyOf(*mailbox)));
    member.Remove("Status");
    member.Add("Status", "Normal");
  }
  list.Set(std::move(members));
}

}  // namespace velmore::simulator
