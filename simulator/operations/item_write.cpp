// Items from requests: properties set one by one, recipients completed, attachments taken over.

#include <algorithm>

#include "simulator/mailbox/cards.h"
#include "simulator/mailbox/ids.h"
#include "simulator/mailbox/mime.h"
#include "simulator/mailbox/recurrence.h"
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

EwsError Refusal(const char* code, const std::string& name) {
  EwsError error(code);
  Element path = Types("FieldURI");
  path.Set("FieldURI", UriOf(name));
  error.details.push_back(std::move(path));
  return error;
}

void CompleteRecipients(Context& context, Element& value) {
  for (Element& child : value.children) {
    if (child.name == "Mailbox")
      CompleteMailbox(context, child);
    else
      CompleteRecipients(context, child);
  }
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

std::string TopicOf(std::string subject) {
  for (;;) {
    const std::string lower = Lower(subject.substr(0, 4));
    const std::size_t cut = lower == "fwd:" ? 4 : lower.starts_with("re:") || lower.starts_with("fw:") ? 3 : 0;
    if (cut == 0) return subject;
    subject.erase(0, cut);
    subject.erase(0, std::min(subject.find_first_not_of(' '), subject.size()));
  }
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
                      name == "Resources";
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

void Refresh(Context& context, Item& item) {
  if (item.element == "Message" || item.element == "PostItem" || item.element.starts_with("Meeting"))
    item.Set("ConversationTopic", TopicOf(item.Text("Subject")));
  if (item.element == "CalendarItem") {
    if (item.Text("Start").empty() && item.Text("End").empty()) {
      const Seconds next = (Now() / 1800 + 1) * 1800;
      item.Set("Start", TimeText(next));
      item.Set("End", TimeText(next + 1800));
    }
    if (item.Text("End").empty()) item.Set("End", TimeText(*ParseTime(item.Text("Start")) + 1800));
    if (item.Text("Start").empty()) item.Set("Start", TimeText(*ParseTime(item.Text("End")) - 1800));
    const Seconds start = *ParseTime(item.Text("Start"));
    const Seconds end = *ParseTime(item.Text("End"));
    if (end < start) throw EwsError("ErrorCalendarEndDateIsEarlierThanStartDate");
    if (end - start > 5LL * 366 * 86400) throw EwsError("ErrorCalendarDurationIsTooLong");
    if (item.Find("Recurrence") != nullptr) CheckRecurrence(item);
    if (item.Text("UID").empty()) item.Set("UID", "040000008200E00074C5B7101A82E008" + ToHex(NewGuid().substr(0, 12)));
    for (const char* flag : {"IsAllDayEvent", "IsCancelled", "MeetingRequestWasSent"})
      if (item.Find(flag) == nullptr) item.SetFlag(flag, false);
    if (item.Find("LegacyFreeBusyStatus") == nullptr) item.Set("LegacyFreeBusyStatus", "Busy");
    const bool recurring = item.Find("Recurrence") != nullptr;
    if (item.Text("CalendarItemType") != "Occurrence" && item.Text("CalendarItemType") != "Exception") {
      item.Set("CalendarItemType", recurring ? "RecurringMaster" : "Single");
      item.SetFlag("IsRecurring", false);
    }
    item.SetFlag("IsMeeting", item.Find("RequiredAttendees") != nullptr || item.Find("OptionalAttendees") != nullptr ||
                                  item.Find("Resources") != nullptr);
    if (item.Find("Organizer") == nullptr) {
      Element organizer = Types("Organizer");
      organizer.Add(MailboxElement(context.user.display_name, context.user.smtp_address, "Mailbox"));
      item.Set(std::move(organizer));
    }
    if (item.Find("MyResponseType") == nullptr)
      item.Set("MyResponseType", item.Flag("IsMeeting") ? "Organizer" : "Unknown");
    item.Set("Duration", "PT" + std::to_string((end - start) / 60) + "M");
  }
  if (item.element == "Task") {
    if (item.Find("Status") == nullptr) item.Set("Status", "NotStarted");
    if (item.Find("PercentComplete") == nullptr)
      item.Set("PercentComplete", item.Text("Status") == "Completed" ? "100" : "0");
    if (item.Find("CompleteDate") != nullptr) item.Set("Status", "Completed");
    if (item.Text("Status") == "Completed") item.Set("PercentComplete", "100");
    if (item.Text("Status") == "Completed" && item.Find("CompleteDate") == nullptr)
      item.Set("CompleteDate", TimeText(Now()));
    if (item.Text("Status") != "Completed") item.Remove("CompleteDate");
    item.SetFlag("IsComplete", item.Text("Status") == "Completed");
    item.SetFlag("IsRecurring", item.Find("Recurrence") != nullptr);
    item.Set("ChangeCount", std::to_string(std::strtol(item.Text("ChangeCount").c_str(), nullptr, 10) + 1));
    static constexpr std::pair<const char*, const char*> kDescriptions[] = {
        {"NotStarted", "Not Started"},
        {"InProgress", "In Progress"},
        {"Completed", "Completed"},
        {"WaitingOnOthers", "Waiting on someone else"},
        {"Deferred", "Deferred"}};
    for (const auto& [status, description] : kDescriptions)
      if (item.Text("Status") == status) item.Set("StatusDescription", description);
    if (item.Find("Owner") == nullptr) item.Set("Owner", context.user.display_name);
  }
  if (item.element == "Contact" && item.Text("FileAs").empty() && !item.Text("Surname").empty())
    item.Set("FileAs", item.Text("Surname") + (item.Text("GivenName").empty() ? "" : ", " + item.Text("GivenName")));
  if (item.element == "Contact" && item.Text("DisplayName").empty()) {
    std::string name = item.Text("GivenName");
    if (!name.empty() && !item.Text("Surname").empty()) name += ' ';
    name += item.Text("Surname");
    if (!name.empty()) item.Set("DisplayName", name);
  }
  if ((item.element == "Contact" || item.element == "DistributionList") && item.Text("Subject").empty() &&
      !item.Text("DisplayName").empty())
    item.Set("Subject", item.Text("DisplayName"));
}

}  // namespace velmore::simulator
