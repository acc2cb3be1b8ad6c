// Items from requests: properties set one by one, recipients completed, attachments taken over.

#include <algorithm>

#include "simulator/mailbox/cards.h"
#include "simulator/mailbox/ids.h"
#include "simulator/mailbox/mime.h"
#include "simulator/mailbox/two_names.h"
#include "simulator/operations/operations.h"

namespace velmore::simulator {

namespace {

/// The URI with which clients name a member of an item ("message:IsRead").
std::string UriOf(const std::string& name) {
  for (const char* family : {"item", "message", "calendar", "contacts", "task", "postitem", "distributionlist",
                             "meeting", "meetingRequest"}) {
    const std::string uri = std::string(family) + ":" + name;
    if (FindFieldUri(uri) != nullptr) return uri;
  }
  return "item:" + name;
}

/// Until then it may be today somewhere.
constexpr Seconds kDayOfAnyZone = 2 * 86400;

EwsError Refusal(const char* code, const std::string& name) {
  EwsError error(code);
  Element path = Types("FieldURI");
  path.Set("FieldURI", UriOf(name));
  error.details.push_back(std::move(path));
  return error;
}

void SetBody(Item& item, const Element& value, Change change) {
  const bool html = value.AttributeText("BodyType") == "HTML";
  if (change == Change::kAppend) {
    if (!item.html.empty())
      item.html += html ? value.text : TextToHtml(value.text);
    else
      item.text += value.text;
    return;
  }
  item.html = html ? value.text : std::string();
  item.text = html ? std::string() : value.text;
}

void SetMime(Item& item, const Element& value, Change change) {
  std::shared_ptr<const std::string> mime;
  try {
    mime = std::make_shared<const std::string>(DecodeBase64(value.text));
  } catch (const std::invalid_argument&) {
    throw EwsError("ErrorMimeContentInvalidBase64String");
  }
  if (mime->empty()) throw EwsError("ErrorMimeContentInvalid");
  if (ImportCard(item, *mime)) {
    item.mime = std::move(mime);
    return;
  }
  const std::shared_ptr<Item> imported = ImportMime(std::move(mime), Now());
  item.html = imported->html;
  item.text = imported->text;
  item.mime = imported->mime;
  item.headers = imported->headers;
  item.attachments = imported->attachments;
  if (change == Change::kCreate) {
    item.sent = imported->sent;
    item.received = imported->received;
  }
  // What has happened to a message does not happen again because it gets another content.
  static const char* const kHistory[] = {"IsDraft",     "IsRead",       "IsFromMe",
                                         "IsSubmitted", "IsUnmodified", "ConversationTopic"};
  for (Element& property : imported->properties) {
    const bool history =
        std::any_of(std::begin(kHistory), std::end(kHistory), [&](const char* name) { return property.name == name; });
    if (history && change != Change::kCreate) continue;
    if (property.name != "ItemClass" || item.Text("ItemClass").empty()) item.Set(std::move(property));
  }
}

void SetExtendedProperty(Item& item, const Element& value) {
  ExtendedValue extended = ReadExtended(value);
  if (const TwoNames* row = FindTwoNames(extended.key, item)) {
    WriteByMapiName(*row, item, extended);
    return;
  }
  item.SetExtended(std::move(extended));
}

std::string DefaultClass(const std::string& element) {
  if (element == "CalendarItem") return "IPM.Appointment";
  if (element == "Contact") return "IPM.Contact";
  if (element == "DistributionList") return "IPM.DistList";
  if (element == "Task") return "IPM.Task";
  if (element == "PostItem") return "IPM.Post";
  if (element == "MeetingRequest") return "IPM.Schedule.Meeting.Request";
  if (element == "MeetingCancellation") return "IPM.Schedule.Meeting.Canceled";
  if (element == "MeetingResponse") return "IPM.Schedule.Meeting.Resp.Pos";
  return "IPM.Note";
}

std::string Normalized(const Member& member, const std::string& text) {
  if (member.kind == ValueKind::kBoolean) return IsTrue(text) ? "true" : "false";
  if (member.kind == ValueKind::kDateTime) {
    const auto time = ParseTime(text);
    return time ? TimeText(*time) : text;
  }
  return text;
}

}  // namespace

ExtendedValue ReadExtended(const Element& value) {
  ExtendedValue extended;
  extended.key = ParseExtendedKey(*value.Child("ExtendedFieldURI"));
  const Element* values = value.Child("Values");
  if (extended.key.IsArray() != (values != nullptr))
    throw EwsError("ErrorInvalidExtendedPropertyValue", "The extended property value and its type do not match.");
  if (values != nullptr)
    for (const Element& entry : values->children) extended.values.push_back(entry.text);
  else
    extended.values.push_back(value.ChildText("Value"));
  for (std::string& text : extended.values) {
    if (auto canonical = extended.key.Canonical(text)) {
      text = std::move(*canonical);
      continue;
    }
    EwsError error("ErrorInvalidExtendedPropertyValue");
    error.details.push_back(WriteExtendedKey(extended.key));
    throw error;
  }
  return extended;
}

void CompleteRecipients(Context& context, Element& value) {
  for (Element& child : value.children) {
    if (child.name == "Mailbox")
      CompleteMailbox(context, child);
    else
      CompleteRecipients(context, child);
  }
}

void CompleteMailbox(Context& context, Element& mailbox) {
  std::string address = mailbox.ChildText("EmailAddress");
  std::string name = mailbox.ChildText("Name");
  std::string routing = mailbox.ChildText("RoutingType");
  std::string type = mailbox.ChildText("MailboxType");
  const Element* item_id = mailbox.Child("ItemId");
  Element id;
  if (item_id != nullptr) {
    id = *item_id;
    try {
      const Found found = LocateItem(context, id);
      if (address.empty())
        if (const Element* addresses = found.item->Find("EmailAddresses");
            addresses != nullptr && !addresses->children.empty())
          address = addresses->children.front().text;
      if (name.empty()) name = found.item->Text("DisplayName");
      if (type.empty()) type = found.item->element == "DistributionList" ? "PrivateDL" : "Contact";
    } catch (const EwsError&) {
      // An id that leads nowhere is of no consequence as long as there is an address.
    }
  }
  const auto find = [&](const std::string& wanted_address, const std::string& wanted_name) {
    for (const auto& candidate : context.store.Mailboxes()) {
      const User& user = candidate->owner;
      if (!wanted_address.empty() ? SameText(user.smtp_address, wanted_address)
                                  : SameText(user.display_name, wanted_name) || SameText(user.name, wanted_name)) {
        address = wanted_address.empty() ? user.smtp_address : wanted_address;
        if (name.empty() || wanted_address.empty() || name == wanted_address) name = user.display_name;
        if (type.empty() || type == "OneOff" || type == "Unknown") type = "Mailbox";
        return;
      }
    }
  };
  find(address, name);
  if (name.empty()) name = address;
  if (type == "PrivateDL") routing = "MAPIPDL";
  if (routing.empty() && !address.empty()) routing = "SMTP";
  if (type.empty()) type = address.empty() ? "Unknown" : "OneOff";
  mailbox.children.clear();
  mailbox.Add("Name", name);
  if (!address.empty()) mailbox.Add("EmailAddress", address);
  if (!routing.empty()) mailbox.Add("RoutingType", routing);
  mailbox.Add("MailboxType", type);
  if (!id.attributes.empty()) mailbox.Add(std::move(id));
}

Attachment MakeAttachment(Context& context, const Element& element) {
  if (element.name == "ReferenceAttachment")
    throw EwsError("ErrorInvalidOperation", "This server does not keep reference attachments.");
  Attachment attachment;
  attachment.name = element.ChildText("Name");
  attachment.content_type = element.ChildText("ContentType");
  attachment.content_id = element.ChildText("ContentId");
  attachment.content_location = element.ChildText("ContentLocation");
  attachment.is_inline = IsTrue(element.ChildText("IsInline"));
  attachment.is_contact_photo = IsTrue(element.ChildText("IsContactPhoto"));
  attachment.modified = Now();
  if (element.name == "FileAttachment") {
    const Element* content = element.Child("Content");
    if (content == nullptr)
      throw SchemaViolation(
          "The element 'FileAttachment' in namespace '" + std::string(kTypesNamespace) +
              "' has incomplete content. List of possible elements expected: 'Content' in namespace '" +
              kTypesNamespace + "'.",
          element.line, element.column);
    try {
      attachment.content = std::make_shared<const std::string>(DecodeBase64(content->text));
    } catch (const std::invalid_argument&) {
      throw SchemaViolation(
          "The 'Content' element is invalid - The value is invalid according to its datatype "
          "'http://www.w3.org/2001/XMLSchema:base64Binary'.",
          content->line, content->column);
    }
    return attachment;
  }
  attachment.is_item = true;
  const Element* inner = nullptr;
  for (const Element& child : element.children)
    if (Schema::Instance().ItemType(child.name) != nullptr) inner = &child;
  if (inner == nullptr)
    throw EwsError("ErrorInvalidOperation", "An item attachment without an item cannot be created.");
  // What a client copies from a loaded item includes what only the server sets; it is passed over here, as Exchange
  // does.
  Element settable = *inner;
  const SchemaType* type = Schema::Instance().ItemType(inner->name);
  std::erase_if(settable.children, [&](const Element& child) {
    const Member* member = type->Find(child.name);
    return member != nullptr && member->Has('r') && member->name != "Attachments";
  });
  attachment.item = MakeItem(context, settable);
  attachment.item->created = attachment.item->modified = attachment.item->received = attachment.modified;
  if (attachment.content_type.empty()) attachment.content_type = "message/rfc822";
  if (attachment.name.empty()) attachment.name = attachment.item->Text("Subject");
  return attachment;
}

void SetProperty(Context& context, Item& item, const Member& member, const std::string&, const Element& value,
                 Change change) {
  const std::string& name = member.name;
  if (name == "ExtendedProperty") {
    if (change == Change::kAppend) throw EwsError("ErrorInvalidPropertyAppend");
    SetExtendedProperty(item, value);
    return;
  }
  if (name == "Attachments" && change == Change::kCreate) {
    for (const Element& attachment : value.children) item.attachments.push_back(MakeAttachment(context, attachment));
    return;
  }
  // A new message may bring headers with it; nothing else that is read only may be written.
  const bool create_only = change == Change::kCreate && name == "InternetMessageHeaders";
  if (member.Has('r') && !create_only) throw Refusal("ErrorInvalidPropertySet", name);
  if (change != Change::kCreate && member.Has('t') && !item.IsDraft())
    throw Refusal("ErrorInvalidPropertyUpdateSentMessage", name);
  if (change == Change::kAppend) {
    const bool list = name == "ToRecipients" || name == "CcRecipients" || name == "BccRecipients" ||
                      name == "ReplyTo" || name == "RequiredAttendees" || name == "OptionalAttendees" ||
                      name == "Resources" || name == "Members";
    if (name != "Body" && !list) throw Refusal("ErrorInvalidPropertyAppend", name);
    if (list) {
      Element added = value;
      CompleteRecipients(context, added);
      Element all = item.Find(name) != nullptr ? *item.Find(name) : Types(name);
      for (Element& child : added.children) all.children.push_back(std::move(child));
      item.Set(std::move(all));
      return;
    }
  }
  if (name == "Body") {
    SetBody(item, value, change);
    return;
  }
  if (name == "MimeContent") {
    SetMime(item, value, change);
    return;
  }
  if (name == "IsAssociated" && change != Change::kCreate) throw Refusal("ErrorInvalidPropertySet", name);
  if ((name == "From" || name == "Sender") && value.children.empty()) throw Refusal("ErrorInvalidPropertySet", name);
  Element stored = value;
  stored.text = Normalized(member, value.text);
  if (member.kind == ValueKind::kComplex) CompleteRecipients(context, stored);
  if (member.kind == ValueKind::kComplex && stored.children.empty() && stored.attributes.empty()) {
    item.Remove(name);
    return;
  }
  item.Set(std::move(stored));
  if (name == "Status") Reopen(item);
  if (name == "PercentComplete") Progress(item);
  if (name == "CompleteDate" && ParseTime(item.Text(name)).value_or(0) > Now() + kDayOfAnyZone)
    throw Refusal("ErrorInvalidCompleteDate", name);
  // A name that somebody chose is made from no others.
  if (name == "FileAs" && change == Change::kSet) item.Remove("FileAsMapping");
}

std::shared_ptr<Item> MakeItem(Context& context, const Element& element) {
  auto item = std::make_shared<Item>();
  item->element = element.name == "Item" ? "Message" : element.name;
  const SchemaType* type = Schema::Instance().ItemType(element.name);
  if (type == nullptr || type->Find("ItemClass") == nullptr || type->Find("DateTimeReceived") == nullptr)
    throw EwsError("ErrorInvalidOperation", "Items of the kind " + element.name + " are not supported by this server.");
  item->Set("ItemClass", DefaultClass(element.name));
  item->SetFlag("IsUnmodified", true);
  item->modified_by = context.user.display_name;
  item->Set("CreatorAddress", context.user.smtp_address);
  // MIME content comes first: what stands beside it wins. Flags come last: they describe the finished item.
  if (const Element* mime = element.Child("MimeContent"))
    SetProperty(context, *item, *type->Find("MimeContent"), type->name, *mime, Change::kCreate);
  // Only now it is known what the content made of it.
  item->SetFlag("IsDraft", item->element == "Message");
  if (item->element == "Message" || element.Child("MimeContent") != nullptr) item->SetFlag("IsRead", true);
  for (const Element& child : element.children) {
    const Member* member = type->Find(child.name);
    if (member == nullptr || child.name == "MimeContent" || child.name == "ExtendedProperty") continue;
    SetProperty(context, *item, *member, type->name, child, Change::kCreate);
    if (child.name != "IsRead") item->mime = element.children.size() == 1 ? item->mime : nullptr;
  }
  for (const Element& child : element.children)
    if (child.name == "ExtendedProperty")
      SetProperty(context, *item, *type->Find("ExtendedProperty"), type->name, child, Change::kCreate);
  if (const std::string& item_class = item->Text("ItemClass");
      item->element == "Message" && item_class.starts_with("IPM.Post"))
    item->element = "PostItem";
  Refresh(context, *item);
  return item;
}

}  // namespace velmore::simulator
