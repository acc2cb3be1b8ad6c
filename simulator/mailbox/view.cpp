#include "simulator/mailbox/view.h"

#include <algorithm>
#include <cstdlib>
#include <functional>

#include "simulator/mailbox/attendant.h"
#include "simulator/mailbox/ids.h"
#include "simulator/mailbox/item_zone.h"
#include "simulator/mailbox/mime.h"
#include "simulator/mailbox/neighbours.h"
#include "simulator/mailbox/recurrence.h"
#include "simulator/mailbox/standing_permissions.h"

namespace velmore::simulator {

namespace {

const char* BooleanText(bool value) {
  return value ? "true" : "false";
}

/// What may be done with a folder, or with an item of somebody who may be the one that looks.
Element EffectiveRights(const Viewer& viewer, bool own) {
  Element rights = Types("EffectiveRights");
  rights.Add("CreateAssociated", BooleanText(viewer.access >= Access::kAuthor));
  rights.Add("CreateContents", BooleanText(viewer.access >= Access::kAuthor));
  rights.Add("CreateHierarchy", BooleanText(viewer.access.Has(Right::kCreateFolders)));
  rights.Add("Delete", BooleanText(viewer.access.MayDelete(own)));
  rights.Add("Modify", BooleanText(viewer.access.MayEdit(own)));
  rights.Add("Read", BooleanText(viewer.access >= Access::kReviewer));
  if (viewer.version >= kExchange2010Sp1) rights.Add("ViewPrivateItems", BooleanText(viewer.access >= Access::kOwner));
  return rights;
}

bool HasRealAttachments(const Item& item) {
  return std::any_of(item.attachments.begin(), item.attachments.end(),
                     [](const Attachment& a) { return !a.is_inline; });
}

Element BodyElement(const Item& item, const char* name, Shape::BodyKind kind, std::size_t max_body) {
  Element body = Types(name);
  const bool html = kind == Shape::BodyKind::kHtml || (kind == Shape::BodyKind::kBest && !item.html.empty());
  body.Set("BodyType", html ? "HTML" : "Text");
  if (html)
    body.text = item.html.empty() ? TextToHtml(item.text) : item.html;
  else
    body.text = item.text.empty() && !item.html.empty() ? HtmlToText(item.html) : item.text;
  if (max_body != 0 && body.text.size() > max_body) {
    std::size_t cut = max_body;
    while (cut > 0 && (static_cast<unsigned char>(body.text[cut]) & 0xc0u) == 0x80u) --cut;
    body.text.resize(cut);
    body.Set("IsTruncated", "true");
  }
  return body;
}

Element ResponseObjects(const Item& item) {
  Element objects = Types("ResponseObjects");
  if (item.element == "MeetingRequest") {
    objects.Add("AcceptItem");
    objects.Add("TentativelyAcceptItem");
    objects.Add("DeclineItem");
  }
  if (item.element == "MeetingCancellation") objects.Add("RemoveItem");
  if (item.element == "CalendarItem") {
    if (item.Flag("IsMeeting") && item.Text("MyResponseType") == "Organizer") {
      objects.Add("CancelCalendarItem");
    } else if (item.Flag("IsMeeting")) {
      objects.Add("AcceptItem");
      objects.Add("TentativelyAcceptItem");
      objects.Add("DeclineItem");
    }
    objects.Add("ForwardItem");
    return objects;
  }
  if (item.element == "PostItem") objects.Add("PostReplyItem");
  if (item.element == "Contact" || item.element == "DistributionList" || item.element == "Task") {
    objects.Add("ForwardItem");
    return objects;
  }
  if (!item.IsDraft()) {
    objects.Add("ReplyToItem");
    objects.Add("ReplyAllToItem");
  }
  objects.Add("ForwardItem");
  if (item.Flag("IsReadReceiptRequested") && !item.Flag("IsRead") && !item.IsDraft() &&
      !item.Flag("ReadReceiptSuppressed"))
    objects.Add("SuppressReadReceipt");
  return objects;
}

/// The picture that a list of items shows beside one.
std::string IconOf(const Item& item) {
  if (item.element == "Task") return item.Find("Recurrence") != nullptr ? "TaskRecur" : "TaskItem";
  for (const ExtendedValue& value : item.extended) {
    if (!value.key.set.empty() || value.key.number != 0x1080 || value.values.empty()) continue;
    if (value.values.front() == "261") return "MailReplied";
    if (value.values.front() == "262") return "MailForwarded";
  }
  return "Default";
}

/// Found rows tell of an organizer nothing but the name; until Exchange 2013 that was so of Sender and From, too.
Element FoundSender(const Element& stored, const Viewer& viewer) {
  Element out = stored;
  if (viewer.version < kExchange2013 || stored.name == "Organizer")
    for (Element& mailbox : out.children)
      std::erase_if(mailbox.children, [](const Element& part) { return part.name != "Name"; });
  return out;
}

std::string Preview(const Item& item) {
  const std::string text = item.text.empty() ? HtmlToText(item.html) : item.text;
  std::string out;
  for (const char c : text) {
    if (out.size() >= 255 && (static_cast<unsigned char>(c) & 0xc0u) != 0x80u) break;
    out += c;
  }
  return out;
}

bool InBase(const Member& member, const Shape& shape) {
  switch (shape.base) {
    case Shape::Base::kIdOnly:
      return member.name == "ItemId" || member.name == "FolderId";
    case Shape::Base::kDefault:
      return member.Has(shape.found ? 'd' : 'g');
    case Shape::Base::kAll:
      return member.Has(shape.found ? 'f' : 'a');
  }
  return false;
}

/// The one entry of a dictionary that a path names.
void PickEntry(const Element& dictionary, const Path& path, Element& out) {
  for (const Element& entry : dictionary.children) {
    const bool header = entry.name == "InternetMessageHeader";
    const std::string& key = entry.AttributeText(header ? "HeaderName" : "Key");
    if (header ? !SameText(key, path.index) : key != path.index) continue;
    if (std::any_of(out.children.begin(), out.children.end(),
                    [&](const Element& present) {
                      return present.AttributeText(header ? "HeaderName" : "Key") == key && present.text == entry.text;
                    }) &&
        path.indexed_uri.find(':') == path.indexed_uri.rfind(':'))
      continue;
    Element picked = entry;
    const std::size_t part = path.indexed_uri.rfind(':');
    if (dictionary.name == "PhysicalAddresses" && part != path.indexed_uri.find(':')) {
      const std::string wanted = path.indexed_uri.substr(part + 1);
      std::erase_if(picked.children, [&](const Element& child) { return child.name != wanted; });
      for (Element& present : out.children) {
        if (present.AttributeText("Key") != key) continue;
        for (Element& child : picked.children) present.children.push_back(std::move(child));
        return;
      }
    }
    out.children.push_back(std::move(picked));
    if (!header) return;
  }
}

/// What a row of FindItem holds of a text or of bytes: tables of the store end there.
std::string CutText(const std::string& text) {
  std::size_t units = 0;  // of UTF-16, in which the store counts
  for (std::size_t at = 0; at < text.size();) {
    const auto lead = static_cast<unsigned char>(text[at]);
    units += lead >= 0xf0 ? 2 : 1;
    if (units > 255) return text.substr(0, at);
    at += lead >= 0xf0 ? 4 : lead >= 0xe0 ? 3 : lead >= 0xc0 ? 2 : 1;
  }
  return text;
}

std::string CutBytes(const std::string& base64) {
  return base64.size() < 684 ? base64 : EncodeBase64(DecodeBase64(base64).substr(0, 512));
}

void Cut(Element& value, const Member& member) {
  // Addresses for browsers are made when they are asked for.
  if (member.kind == ValueKind::kString && !member.name.starts_with("WebClient")) value.text = CutText(value.text);
  if (member.kind == ValueKind::kBinary) value.text = CutBytes(value.text);
}

Element ExtendedElement(ExtendedValue value, bool cut) {
  for (std::string& text : value.values) {
    if (cut && value.key.Kind() == ValueKind::kString) text = CutText(text);
    if (cut && value.key.Kind() == ValueKind::kBinary) text = CutBytes(text);
  }

  Element property = Types("ExtendedProperty");
  property.Add(WriteExtendedKey(value.key));
  if (value.key.IsArray()) {
    Element& values = property.Add("Values");
    for (const std::string& text : value.values) values.Add("Value", text);
  } else {
    property.Add("Value", value.values.empty() ? std::string() : value.values.front());
  }
  return property;
}

/// Renders members in the order of the schema, extended properties in their place.
template <class Object>
Element Render(const Object& object, const SchemaType& type, const std::string& element_name, const Shape& shape,
               const Viewer& viewer, const std::function<std::optional<Element>(const Member&)>& property) {
  Element out = Types(element_name);
  for (const Member& member : type.members) {
    if (member.since > viewer.version) continue;
    if (member.name == "ExtendedProperty") {
      std::vector<ExtendedKey> done;
      for (const Path& path : shape.additional) {
        if (!path.extended || std::find(done.begin(), done.end(), *path.extended) != done.end()) continue;
        done.push_back(*path.extended);
        if (auto value = ExtendedOf(object, *path.extended, viewer))
          out.Add(ExtendedElement(std::move(*value), shape.found));
      }
      continue;
    }
    bool whole = InBase(member, shape) || (member.name == "MimeContent" && shape.mime);
    std::vector<const Path*> parts;
    for (const Path& path : shape.additional) {
      if (path.extended || path.ElementName() != member.name) continue;
      if (path.field != nullptr && path.indexed_uri.empty() && type.Find(path.field->member->name) == nullptr) continue;
      if (path.indexed_uri.empty())
        whole = true;
      else
        parts.push_back(&path);
    }
    if (!whole && parts.empty()) continue;
    if (shape.found && member.Has('n')) continue;
    std::optional<Element> value = property(member);
    if (!value) continue;
    value->name = member.name;
    if (shape.found) Cut(*value, member);
    if (whole) {
      out.Add(std::move(*value));
      continue;
    }
    Element picked = Types(member.name);
    for (const Path* path : parts) PickEntry(*value, *path, picked);
    if (!picked.children.empty()) out.Add(std::move(picked));
  }
  return out;
}

std::vector<std::string> TextsOf(const Element& value, const Path& path) {
  std::vector<std::string> texts;
  if (!path.indexed_uri.empty()) {
    Element picked = Types(value.name);
    PickEntry(value, path, picked);
    for (const Element& entry : picked.children) {
      if (entry.children.empty()) texts.push_back(entry.text);
      for (const Element& part : entry.children) texts.push_back(part.text);
    }
    return texts;
  }
  if (value.name == "ItemId" || value.name == "FolderId" || value.name == "ParentFolderId" ||
      value.name == "ConversationId") {
    texts.push_back(value.AttributeText("Id"));
    return texts;
  }
  if (value.children.empty()) {
    texts.push_back(value.text);
    return texts;
  }
  for (const Element& child : value.children) {
    if (child.name == "Mailbox") {
      // Recipients are searched by name and by address.
      texts.push_back(child.ChildText("Name"));
      texts.push_back(child.ChildText("EmailAddress"));
    } else if (child.children.empty()) {
      texts.push_back(child.text);
    } else if (const Element* mailbox = child.Child("Mailbox")) {
      texts.push_back(mailbox->ChildText("Name"));
      texts.push_back(mailbox->ChildText("EmailAddress"));
    }
  }
  return texts;
}

}  // namespace

Element ItemIdElement(const Mailbox& mailbox, const Item& item, const char* name) {
  Element id = Types(name);
  id.Set("Id", mailbox.IdOf(item));
  id.Set("ChangeKey", mailbox.KeyOf(item));
  return id;
}

Element FolderIdElement(const Mailbox& mailbox, const Folder& folder, const char* name) {
  Element id = Types(name);
  id.Set("Id", mailbox.IdOf(folder));
  id.Set("ChangeKey", mailbox.KeyOf(folder));
  return id;
}

Element RenderAttachment(const Mailbox& mailbox, const Item& item, const Attachment& attachment, const Viewer& viewer) {
  Element out = Types(attachment.is_item ? "ItemAttachment" : "FileAttachment");
  out.Add("AttachmentId").Set("Id", EwsId(mailbox.guid, item.entry_id, attachment.number));
  out.Add("Name", attachment.name);
  if (!attachment.content_type.empty()) out.Add("ContentType", attachment.content_type);
  if (!attachment.content_id.empty()) out.Add("ContentId", attachment.content_id);
  if (!attachment.content_location.empty()) out.Add("ContentLocation", attachment.content_location);
  if (viewer.version >= kExchange2010) {
    out.Add("Size", std::to_string(attachment.Size()));
    out.Add("LastModifiedTime", TimeText(attachment.modified));
    out.Add("IsInline", BooleanText(attachment.is_inline));
    if (!attachment.is_item) out.Add("IsContactPhoto", BooleanText(attachment.is_contact_photo));
  }
  return out;
}

std::optional<Element> PropertyOf(const Item& item, const Member& member, const Shape& shape, const Viewer& viewer) {
  const std::string& name = member.name;
  const Mailbox& mailbox = *viewer.mailbox;
  const auto time = [&](Seconds seconds) {
    return seconds != 0 ? std::optional(Types(name, TimeText(seconds))) : std::nullopt;
  };
  const auto flag = [&](const char* stored) { return std::optional(Types(name, BooleanText(item.Flag(stored)))); };

  if (name == "MimeContent") {
    Element mime = Types(name);
    mime.Set("CharacterSet", "UTF-8");
    mime.base64 = MimeOf(item);
    return mime;
  }
  if (name == "ItemId") return item.entry_id.empty() ? std::nullopt : std::optional(ItemIdElement(mailbox, item));
  if (name == "ParentFolderId") {
    const Folder* folder = mailbox.FindFolder(item.folder);
    return folder != nullptr ? std::optional(FolderIdElement(mailbox, *folder, "ParentFolderId")) : std::nullopt;
  }
  if (name == "Body") return BodyElement(item, "Body", shape.body, shape.max_body);
  if (name == "UniqueBody") return BodyElement(item, "UniqueBody", shape.unique_body, shape.max_body);
  if (name == "NormalizedBody") return BodyElement(item, "NormalizedBody", shape.normalized_body, shape.max_body);
  if (name == "TextBody") return BodyElement(item, "TextBody", Shape::BodyKind::kText, shape.max_body);
  if (name == "Preview") return item.Find(name) != nullptr ? *item.Find(name) : Types(name, Preview(item));
  if (name == "Attachments") {
    Element attachments = Types(name);
    for (const Attachment& attachment : item.attachments)
      attachments.Add(RenderAttachment(mailbox, item, attachment, viewer));
    return attachments.children.empty() ? std::nullopt : std::optional(std::move(attachments));
  }
  if (name == "HasAttachments") return Types(name, BooleanText(HasRealAttachments(item)));
  if (name == "DateTimeReceived") return time(item.received);
  if (name == "DateTimeSent") return time(item.sent != 0 ? item.sent : item.created);
  if (name == "DateTimeCreated") return time(item.created);
  if (name == "LastModifiedTime") return time(item.modified);
  if (name == "LastModifiedName")
    return item.modified_by.empty() ? std::nullopt : std::optional(Types(name, item.modified_by));
  if (name == "PostedTime") return time(item.received);
  if (name == "Size") return Types(name, std::to_string(item.Size()));
  for (const char* boolean :
       {"IsSubmitted", "IsDraft", "IsFromMe", "IsResend", "IsUnmodified", "IsAssociated", "ReminderIsSet"})
    if (name == boolean) return flag(boolean);
  if (name == "InternetMessageHeaders") {
    if (item.headers.empty()) return item.Find(name) != nullptr ? std::optional(*item.Find(name)) : std::nullopt;
    Element headers = HeadersElement(item.headers);
    return headers.children.empty() ? std::nullopt : std::optional(std::move(headers));
  }
  if (name == "ResponseObjects") return ResponseObjects(item);
  for (const char* list : {"To", "Cc", "Bcc"}) {
    if (name != std::string("Display") + list) continue;
    return Types(name, DisplayNames(item, (std::string(list) + "Recipients").c_str()));
  }
  if (name == "EffectiveRights") return EffectiveRights(viewer, SameText(item.Text("CreatorAddress"), viewer.address));
  if (name == "Culture") return Types(name, item.Text(name).empty() ? "en-US" : item.Text(name));
  if (name == "WebClientReadFormQueryString" || name == "WebClientEditFormQueryString") {
    if (name == "WebClientEditFormQueryString" && !item.IsDraft()) return std::nullopt;
    return Types(name, "?ae=Item&a=" + std::string(item.IsDraft() ? "Edit" : "Open") + "&t=" + item.Text("ItemClass") +
                           "&id=" + FormatId({mailbox.guid, item.entry_id, {}}, "OwaId"));
  }
  if (name == "ConversationId") {
    if (member.kind != ValueKind::kComplex) return std::nullopt;
    Element id = Types(name);
    id.Set("Id", EncodeBase64(std::string("\0\4\x24\0", 4) + mailbox.guid + std::string("\0\x10\0", 3) +
                              ConversationHash(item)));
    return id;
  }
  if (name == "ConversationIndex") return Types(name, EncodeBase64(item.conversation_index));
  if (name == "InstanceKey")
    return Types(name, EncodeBase64(item.entry_id.substr(item.entry_id.size() > 24 ? item.entry_id.size() - 24 : 0)));
  if (name == "StoreEntryId") return Types(name, EncodeBase64(item.entry_id));
  if (name == "Flag") {
    if (const Element* stored = item.Find(name)) return *stored;
    Element out = Types(name);
    out.Add("FlagStatus", "NotFlagged");
    return out;
  }
  if (name == "IconIndex") return Types(name, IconOf(item));
  if (name == "IsResponseRequested" && item.element == "Message") return flag("IsResponseRequested");
  for (const char* info : {"FirstOccurrence", "LastOccurrence", "ModifiedOccurrences", "DeletedOccurrences"})
    if (name == info && item.element == "CalendarItem") return OccurrenceInfo(mailbox, item, name);
  if (item.element == "CalendarItem" || item.element.starts_with("Meeting")) {
    for (const char* zone : {"StartTimeZone", "EndTimeZone", "StartTimeZoneId", "EndTimeZoneId", "StartWallClock",
                             "EndWallClock", "TimeZone"})
      if (name == zone && item.Find("Start") != nullptr) return ZoneProperty(item, name);
    if (name == "AssociatedCalendarItemId") return AssociatedItem(mailbox, item);
    if (auto near = NeighboursOf(mailbox, item, name)) return near;
    if (name == "IsOrganizer")
      return Types(name, BooleanText(item.element == "CalendarItem" && item.Text("MyResponseType") != "Unknown"
                                         ? item.Text("MyResponseType") == "Organizer"
                                         : item.element == "CalendarItem"));
  }
  if (name == "HasPicture") {
    const bool has = std::any_of(item.attachments.begin(), item.attachments.end(),
                                 [](const Attachment& a) { return a.is_contact_photo; });
    return Types(name, BooleanText(has));
  }
  if (name == "CompleteName") {
    Element out = Types(name);
    const std::pair<const char*, const char*> parts[] = {{"FirstName", "GivenName"},
                                                         {"MiddleName", "MiddleName"},
                                                         {"LastName", "Surname"},
                                                         {"Suffix", "Generation"},
                                                         {"Initials", "Initials"},
                                                         {"FullName", "DisplayName"},
                                                         {"Nickname", "Nickname"},
                                                         {"YomiFirstName", "PhoneticFirstName"},
                                                         {"YomiLastName", "PhoneticLastName"}};
    if (const ExtendedValue* title = item.FindExtended({"", "", 0x3a45, "String"}))
      out.Add("Title", title->values.front());
    for (const auto& [part, source] : parts)
      if (!item.Text(source).empty()) out.Add(part, item.Text(source));
    return out.children.empty() ? std::nullopt : std::optional(std::move(out));
  }
  const Element* stored = item.Find(name);
  if (stored == nullptr) {
    for (const char* boolean : {"IsReadReceiptRequested", "IsDeliveryReceiptRequested", "IsRead"})
      if (name == boolean) return Types(name, "false");
    if (name == "Importance" || name == "Sensitivity") return Types(name, "Normal");
    return std::nullopt;
  }
  // The addressee of a blind copy does not see the others.
  if (name == "BccRecipients" && !item.IsDraft() && !item.Flag("IsFromMe")) return std::nullopt;
  if (shape.found && (name == "From" || name == "Sender" || name == "Organizer")) return FoundSender(*stored, viewer);
  return *stored;
}

Element RenderItem(const Item& item, const Shape& shape, const Viewer& viewer) {
  const SchemaType* type = Schema::Instance().ItemType(item.element);
  return Render(item, *type, item.element, shape, viewer,
                [&](const Member& member) { return PropertyOf(item, member, shape, viewer); });
}

namespace {

std::optional<Element> FolderProperty(const Folder& folder, const Member& member, const Viewer& viewer) {
  const std::string& name = member.name;
  const Mailbox& mailbox = *viewer.mailbox;
  if (name == "FolderId") return FolderIdElement(mailbox, folder);
  if (name == "ParentFolderId") {
    const Folder* parent = mailbox.FindFolder(folder.parent);
    return FolderIdElement(mailbox, parent != nullptr ? *parent : folder, "ParentFolderId");
  }
  if (name == "FolderClass")
    return folder.folder_class.empty() ? std::nullopt : std::optional(Types(name, folder.folder_class));
  if (name == "DisplayName") return Types(name, folder.display_name);
  if (name == "TotalCount") {
    std::size_t count = 0;
    for (const auto& item : folder.Contents()) count += item->Flag("IsAssociated") ? 0 : 1;
    return Types(name, std::to_string(count));
  }
  if (name == "ChildFolderCount") return Types(name, std::to_string(folder.children.size()));
  if (name == "UnreadCount") return Types(name, std::to_string(folder.UnreadCount()));
  if (name == "EffectiveRights") return EffectiveRights(viewer, false);
  if (name == "DistinguishedFolderId")
    return folder.distinguished.empty()
               ? std::nullopt
               : std::optional(Types(name, (mailbox.is_archive ? "archive" : "") + folder.distinguished));
  if (name == "PermissionSet") {
    if (!viewer.access.Has(Right::kOwns)) return std::nullopt;
    return folder.permission_set ? *folder.permission_set : StandingPermissions(folder);
  }
  if (name == "SearchParameters") return folder.search_parameters;
  return std::nullopt;
}

}  // namespace

Element RenderFolder(const Folder& folder, const Shape& shape, const Viewer& viewer) {
  const SchemaType* type = Schema::Instance().ItemType(folder.element);
  return Render(folder, *type, folder.element, shape, viewer,
                [&](const Member& member) { return FolderProperty(folder, member, viewer); });
}

std::vector<std::string> ValuesOf(const Item& item, const Path& path, const Viewer& viewer) {
  if (path.extended) {
    const auto value = ExtendedOf(item, *path.extended, viewer);
    return value ? value->values : std::vector<std::string>();
  }
  const SchemaType* type = Schema::Instance().ItemType(item.element);
  const Member* member = type != nullptr ? type->Find(path.ElementName()) : nullptr;
  if (member == nullptr) return {};
  Shape shape;
  shape.body = Shape::BodyKind::kText;
  const auto value = PropertyOf(item, *member, shape, viewer);
  return value ? TextsOf(*value, path) : std::vector<std::string>();
}

std::vector<std::string> ValuesOf(const Folder& folder, const Path& path, const Viewer& viewer) {
  if (path.extended) {
    const auto value = ExtendedOf(folder, *path.extended, viewer);
    return value ? value->values : std::vector<std::string>();
  }
  const SchemaType* type = Schema::Instance().ItemType(folder.element);
  const Member* member = type->Find(path.ElementName());
  if (member == nullptr) return {};
  const auto value = FolderProperty(folder, *member, viewer);
  return value ? TextsOf(*value, path) : std::vector<std::string>();
}

std::string DumpItem(const Mailbox& mailbox, const Item& item, int version) {
  Shape shape;
  shape.base = Shape::Base::kAll;
  for (const ExtendedValue& value : item.extended) {
    Path path;
    path.extended = value.key;
    shape.additional.push_back(std::move(path));
  }
  std::string out;
  WriteXml(RenderItem(item, shape, {&mailbox, Access::kOwner, version}), out);
  return out;
}

}  // namespace velmore::simulator
