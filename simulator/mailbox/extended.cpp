// Extended properties as they look from outside: under their second name, from a header, made by the server, or as they
// were written.

#include "simulator/mailbox/view.h"

#include "simulator/mailbox/mime.h"
#include "simulator/mailbox/two_names.h"

namespace velmore::simulator {

std::optional<ExtendedValue> ExtendedOf(const Item& item, const ExtendedKey& key, const Viewer& viewer) {
  if (const TwoNames* row = FindTwoNames(key, item)) {
    auto values = row->read(*row, *viewer.mailbox, item);
    return values ? std::optional(ExtendedValue{key, std::move(*values)}) : std::nullopt;
  }
  if (key.set == "00020386-0000-0000-c000-000000000046" && key.type == "String" && !item.headers.empty()) {
    const Element headers = HeadersElement(item.headers);
    for (const Element& header : headers.children)
      if (SameText(header.AttributeText("HeaderName"), key.name)) return ExtendedValue{key, {header.text}};
  }
  const ExtendedValue* stored = item.FindExtended(key);
  return stored != nullptr ? std::optional(*stored) : std::nullopt;
}

std::optional<ExtendedValue> ExtendedOf(const Folder& folder, const ExtendedKey& key, const Viewer& viewer) {
  struct Row {
    std::int64_t tag;
    const char* type;
    std::string (*read)(const Folder& folder, const Mailbox& mailbox);
  };
  static constexpr Row kRows[] = {
      {0x0e09, "Binary", [](const Folder& folder, const Mailbox&) { return EncodeBase64(folder.parent); }},
      {0x0ff9, "Binary", [](const Folder& folder, const Mailbox&) { return EncodeBase64(folder.entry_id); }},
      {0x0ffe, "Integer", [](const Folder&, const Mailbox&) { return std::string("3"); }},
      {0x0fff, "Binary", [](const Folder& folder, const Mailbox&) { return EncodeBase64(folder.entry_id); }},
      {0x10f4, "Boolean", [](const Folder&, const Mailbox&) { return std::string("false"); }},
      {0x3001, "String", [](const Folder& folder, const Mailbox&) { return folder.display_name; }},
      {0x3601, "Integer",
       [](const Folder& folder, const Mailbox&) {
         return std::string(folder.parent.empty() ? "0" : folder.element == "SearchFolder" ? "2" : "1");
       }},
      {0x3602, "Integer", [](const Folder& folder, const Mailbox&) { return std::to_string(folder.items.size()); }},
      {0x3603, "Integer", [](const Folder& folder, const Mailbox&) { return std::to_string(folder.UnreadCount()); }},
      {0x360a, "Boolean",
       [](const Folder& folder, const Mailbox&) { return std::string(folder.children.empty() ? "false" : "true"); }},
      {0x3613, "String", [](const Folder& folder, const Mailbox&) { return folder.folder_class; }},
      {0x670a, "SystemTime", [](const Folder& folder, const Mailbox&) { return TimeText(folder.committed); }},
      // Numbers of articles, as mail clients of the older kind count: those of the items.
      {0x6751, "Integer",
       [](const Folder&, const Mailbox& mailbox) { return std::to_string(mailbox.last_number + 1); }},
      {0x6752, "Integer",
       [](const Folder& folder, const Mailbox&) {
         return std::to_string(folder.items.empty() ? 0 : folder.items.rbegin()->first);
       }},
  };
  if (key.set.empty())
    for (const Row& row : kRows)
      if (key.number == row.tag && key.type == row.type) return ExtendedValue{key, {row.read(folder, *viewer.mailbox)}};
  for (const ExtendedValue& value : folder.extended)
    if (value.key == key) return value;
  return std::nullopt;
}

}  // namespace velmore::simulator
