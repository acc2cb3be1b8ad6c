// MAPI properties that stand for properties of the schema: asked for by tag they give the same value.

#include "simulator/mailbox/view.h"

#include <cstring>

#include "simulator/mailbox/ids.h"
#include "simulator/mailbox/mime.h"

namespace velmore::simulator {

namespace {

std::string FirstMailbox(const Item& item, const char* property, const char* part) {
  const Element* holder = item.Find(property);
  return holder != nullptr && !holder->children.empty() ? holder->children.front().ChildText(part) : std::string();
}

std::int64_t MessageFlags(const Item& item) {
  std::int64_t flags = 0;
  if (item.Flag("IsRead")) flags |= 0x01;
  if (item.Flag("IsUnmodified")) flags |= 0x02;
  if (item.Flag("IsSubmitted")) flags |= 0x04;
  if (item.IsDraft()) flags |= 0x08;
  for (const Attachment& attachment : item.attachments)
    if (!attachment.is_inline) flags |= 0x10;
  if (item.Flag("IsFromMe")) flags |= 0x20;
  if (item.Flag("IsAssociated")) flags |= 0x40;
  return flags;
}

/// Value of a well-known tag; false when the item has none.
bool WellKnown(const Item& item, const Viewer& viewer, std::int64_t tag, const std::string& type, std::string& out) {
  const auto time = [&](Seconds seconds) {
    if (seconds == 0) return false;
    out = TimeText(seconds);
    return type == "SystemTime";
  };
  const auto text = [&](const std::string& value) {
    out = value;
    return type == "String" && !value.empty();
  };
  const auto number = [&](std::int64_t value) {
    out = std::to_string(value);
    return type == "Integer";
  };
  const auto binary = [&](const std::string& value) {
    out = EncodeBase64(value);
    return type == "Binary";
  };
  const auto boolean = [&](bool value) {
    out = value ? "true" : "false";
    return type == "Boolean";
  };
  const auto choice = [&](const char* property, std::initializer_list<const char*> texts) {
    int index = 0;
    for (const char* value : texts) {
      if (item.Text(property) == value) return number(index);
      ++index;
    }
    return number(property == std::string("Importance") ? 1 : 0);
  };
  switch (tag) {
    case 0x0017:
      return choice("Importance", {"Low", "Normal", "High"});
    case 0x001a:
      return text(item.Text("ItemClass"));
    case 0x0036:
      return choice("Sensitivity", {"Normal", "Personal", "Private", "Confidential"});
    case 0x0037:
      out = item.Text("Subject");
      return type == "String";
    case 0x0039:
      return time(item.sent);
    case 0x0042:
    case 0x0c1a:
      return text(FirstMailbox(item, tag == 0x0042 ? "From" : "Sender", "Name"));
    case 0x0064:
    case 0x0c1e:
      return text(FirstMailbox(item, tag == 0x0064 ? "From" : "Sender", "RoutingType"));
    case 0x0065:
    case 0x0c1f:
    case 0x5d01:
    case 0x5d02:
      return text(FirstMailbox(item, tag == 0x0065 || tag == 0x5d02 ? "From" : "Sender", "EmailAddress"));
    case 0x0070:
      return text(item.Text("ConversationTopic"));
    case 0x0071:
      return binary(item.conversation_index);
    case 0x007d:
      return text(item.headers);
    case 0x0e02:
      return text(DisplayNames(item, "BccRecipients"));
    case 0x0e03:
      return text(DisplayNames(item, "CcRecipients"));
    case 0x0e04:
      return text(DisplayNames(item, "ToRecipients"));
    case 0x0e06:
      return time(item.received);
    case 0x0e07:
      return number(MessageFlags(item));
    case 0x0e08:
      return number(static_cast<std::int64_t>(item.Size()));
    case 0x0e09:
      return binary(item.folder);
    case 0x0e1b:
      return boolean(!item.attachments.empty());
    case 0x0e1d:
      return text(item.Text("ConversationTopic"));
    case 0x0e69:
      return boolean(item.Flag("IsRead"));
    case 0x0fff:
      return binary(item.entry_id);
    case 0x1000:
      return text(!item.text.empty() || item.html.empty() ? item.text : HtmlToText(item.html));
    case 0x1013:
      return !item.html.empty() && binary(item.html);
    case 0x1035:
      return text(item.Text("InternetMessageId"));
    case 0x1039:
      return text(item.Text("References"));
    case 0x1042:
      return text(item.Text("InReplyTo"));
    case 0x10f4:
      return boolean(item.Flag("IsAssociated"));
    case 0x3001:
      return text(item.Text("DisplayName"));
    case 0x3007:
      return time(item.created);
    case 0x3008:
      return time(item.modified);
    case 0x300b:
      return binary(item.entry_id.substr(item.entry_id.size() > 24 ? item.entry_id.size() - 24 : 0, 16));
    case 0x3a06:
      return text(item.Text("GivenName"));
    case 0x3a11:
      return text(item.Text("Surname"));
    case 0x3a16:
      return text(item.Text("CompanyName"));
    case 0x3fde:
      return number(65001);
    case 0x3ffa:
      return text(item.modified_by);
    default:
      break;
  }
  static_cast<void>(viewer);
  return false;
}

}  // namespace

std::optional<ExtendedValue> ExtendedOf(const Item& item, const ExtendedKey& key, const Viewer& viewer) {
  if (key.set.empty()) {
    std::string out;
    if (WellKnown(item, viewer, key.number, key.type, out)) return ExtendedValue{key, {out}};
  }
  if (key.set == "00020386-0000-0000-c000-000000000046" && key.type == "String" && !item.headers.empty()) {
    const Element headers = HeadersElement(item.headers);
    for (const Element& header : headers.children)
      if (SameText(header.AttributeText("HeaderName"), key.name)) return ExtendedValue{key, {header.text}};
  }
  const ExtendedValue* stored = item.FindExtended(key);
  return stored != nullptr ? std::optional(*stored) : std::nullopt;
}

std::optional<ExtendedValue> ExtendedOf(const Folder& folder, const ExtendedKey& key, const Viewer&) {
  if (key.set.empty()) {
    std::string out;
    switch (key.number) {
      case 0x0fff:
        return ExtendedValue{key, {EncodeBase64(folder.entry_id)}};
      case 0x0e09:
        return ExtendedValue{key, {EncodeBase64(folder.parent)}};
      case 0x3001:
        return ExtendedValue{key, {folder.display_name}};
      case 0x3602:
        return ExtendedValue{key, {std::to_string(folder.items.size())}};
      case 0x360a:
        return ExtendedValue{key, {folder.children.empty() ? "false" : "true"}};
      case 0x3613:
        return ExtendedValue{key, {folder.folder_class}};
      case 0x10f4:
        return ExtendedValue{key, {"false"}};
      default:
        break;
    }
  }
  for (const ExtendedValue& value : folder.extended)
    if (value.key == key) return value;
  return std::nullopt;
}

}  // namespace velmore::simulator
