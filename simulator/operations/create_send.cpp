// CreateItem, SendItem, and the way of a message into its recipients' mailboxes.

#include <algorithm>
#include <set>

#include "simulator/mailbox/attendant.h"
#include "simulator/mailbox/ids.h"
#include "simulator/mailbox/mime.h"
#include "simulator/operations/meetings.h"
#include "simulator/operations/operations.h"
#include "simulator/operations/responses.h"
#include "simulator/types/versions.h"

namespace velmore::simulator {

namespace {

const char* DefaultFolder(const Item& item, const std::string& disposition) {
  if (item.element == "CalendarItem") return "calendar";
  if (item.element == "Contact" || item.element == "DistributionList") return "contacts";
  if (item.element == "Task") return "tasks";
  if (item.element == "PostItem") return "inbox";
  return disposition == "SendAndSaveCopy" ? "sentitems" : "drafts";
}

bool IsMail(const Item& item) {
  return item.element == "Message" || item.element.starts_with("Meeting");
}

std::string DomainOf(const std::string& address) {
  const std::size_t at = address.find('@');
  return at == std::string::npos ? std::string() : Lower(address.substr(at + 1));
}

bool Takes(const DeliveryRules& rules, const std::string& sender, std::size_t bytes) {
  return !IsRestricted(rules, sender) && (rules.max_message_bytes == 0 || bytes <= rules.max_message_bytes);
}

/// Tells the sender of a local address that nobody has.
void ReturnUndelivered(Context& context, const Item& sent, const std::string& address,
                       const std::string& reason = "The e-mail address you entered couldn't be found.") {
  if (context.home == nullptr) return;
  const std::string mime = "From: Microsoft Outlook <postmaster@" + DomainOf(context.user.smtp_address) +
                           ">\r\nTo: " + context.user.smtp_address +
                           "\r\nSubject: Undeliverable: " + sent.Text("Subject") + "\r\nDate: " + MailDate(Now()) +
                           "\r\nMessage-ID: <" + NewGuid() + "@" + DomainOf(context.user.smtp_address) +
                           ">\r\nMIME-Version: 1.0\r\nContent-Type: text/plain; charset=us-ascii\r\n\r\nDelivery has "
                           "failed to these recipients:\r\n\r\n" +
                           address + "\r\n" + reason + "\r\n";
  auto report = ImportMime(std::make_shared<const std::string>(mime), Now());
  report->Set("ItemClass", "REPORT.IPM.Note.NDR");
  DeliverTo(context.store, *context.home, std::move(report), ServerName(context.store.server_version));
}

/// Puts the members of personal lists, and of the lists in them, in the place of the lists.
void ExpandLists(Context& context, Item& item) {
  for (const char* property : {"ToRecipients", "CcRecipients", "BccRecipients"}) {
    const Element* recipients = item.Find(property);
    if (recipients == nullptr) continue;
    Element expanded = Types(property);
    std::set<std::string> open;  // ids of lists that were seen, which may hold each other
    std::vector<Element> waiting(recipients->children.rbegin(), recipients->children.rend());
    while (!waiting.empty()) {
      Element mailbox = std::move(waiting.back());
      waiting.pop_back();
      const Element* id = mailbox.Child("ItemId");
      if (id == nullptr || mailbox.ChildText("MailboxType") != "PrivateDL") {
        expanded.Add(std::move(mailbox));
        continue;
      }
      if (!open.insert(id->AttributeText("Id")).second) continue;
      const Found found = LocateItem(context, *id);
      const Element* members = found.item->Find("Members");
      if (members == nullptr) continue;
      for (auto member = members->children.rbegin(); member != members->children.rend(); ++member)
        if (const Element* inner = member->Child("Mailbox")) waiting.push_back(*inner);
    }
    if (expanded.children.empty())
      item.Remove(property);
    else
      item.Set(std::move(expanded));
  }
}

}  // namespace

Item& DeliverTo(Store& store, Mailbox& mailbox, std::shared_ptr<Item> item, const std::string& from_server) {
  const Seconds now = Now();
  const std::string received = "Received: from " + from_server + " (127.0.0.1) by " + ServerName(store.server_version) +
                               " (127.0.0.1) with Microsoft SMTP Server id " + ServerVersionText(store.server_version) +
                               ";\r\n " + MailDate(now) + "\r\n";
  std::string mime =
      item->mime != nullptr && item->Find("BccRecipients") == nullptr ? *item->mime : BuildMime(*item, false);
  mime.insert(0, received);
  item->headers = HeaderBlock(mime);
  item->mime = std::make_shared<const std::string>(std::move(mime));
  item->Remove("BccRecipients");
  item->Remove("CreatorAddress");
  item->received = now;
  item->created = now;
  item->modified = now;
  if (item->sent == 0) item->sent = now;
  item->SetFlag("IsDraft", false);
  item->SetFlag("IsRead", false);
  item->SetFlag("IsFromMe", false);
  item->SetFlag("IsSubmitted", false);
  item->SetFlag("IsUnmodified", true);
  for (const char* property : {"ReceivedBy", "ReceivedRepresenting"}) {
    Element recipient = Types(property);
    recipient.Add(MailboxElement(mailbox.owner.display_name, mailbox.owner.smtp_address, "Mailbox"));
    item->Set(std::move(recipient));
  }
  Item& delivered = mailbox.Deliver(std::move(item));
  AttendTo(mailbox, delivered);
  AnswerForAway(store, mailbox, delivered);
  return delivered;
}

void Send(Context& context, Item& item, bool on_behalf) {
  ExpandLists(context, item);
  std::vector<std::string> addresses;
  for (const char* list : {"ToRecipients", "CcRecipients", "BccRecipients"}) {
    const Element* recipients = item.Find(list);
    if (recipients == nullptr) continue;
    for (const Element& mailbox : recipients->children) {
      const std::string& address = mailbox.ChildText("EmailAddress");
      if (address.empty() || address.find('@') == std::string::npos ||
          address.find_first_of(" \t\r\n<>") != std::string::npos)
        throw EwsError("ErrorInvalidRecipients");
      addresses.push_back(address);
    }
  }
  if (addresses.empty()) throw EwsError("ErrorMissingRecipients");
  const Element* from = item.Find("From");
  if (!on_behalf && from != nullptr &&
      !SameText(from->children.front().ChildText("EmailAddress"), context.user.smtp_address)) {
    const Mailbox* principal = context.store.ByAddress(from->children.front().ChildText("EmailAddress"));
    const Folder* root = principal != nullptr ? principal->FindFolder(principal->root) : nullptr;
    if (root == nullptr || context.store.AccessTo(*principal, *root, context.user) < Access::kOwner)
      throw EwsError("ErrorSendAsDenied");
  }
  Element sender = Types("Sender");
  sender.Add(MailboxElement(context.user.display_name, context.user.smtp_address, "Mailbox"));
  if (from == nullptr) {
    Element author = sender;
    author.name = "From";
    item.Set(std::move(author));
  }
  item.Set(std::move(sender));
  item.sent = Now();
  if (item.Text("InternetMessageId").empty())
    item.Set("InternetMessageId", "<" + NewGuid() + "@" + DomainOf(context.user.smtp_address) + ">");
  item.SetFlag("IsDraft", false);
  item.SetFlag("IsSubmitted", false);
  item.SetFlag("IsFromMe", true);
  item.SetFlag("IsRead", true);
  // A MIME text that was stored as a draft has neither sender nor date nor id of the message that goes out.
  item.mime = nullptr;
  item.headers.clear();
  item.mime = std::make_shared<const std::string>(BuildMime(item, true));
  item.received = item.sent;

  std::set<std::string> done;
  for (std::size_t i = 0; i < addresses.size(); ++i) {
    const std::string address = addresses[i];
    if (!done.insert(Lower(address)).second) continue;
    const auto list = std::find_if(context.store.lists.begin(), context.store.lists.end(),
                                   [&](const DirectoryList& l) { return SameText(l.smtp_address, address); });
    if (list != context.store.lists.end()) {
      addresses.insert(addresses.end(), list->members.begin(), list->members.end());
      continue;
    }
    if (Mailbox* mailbox = context.store.ByAddress(address)) {
      if (!Takes(mailbox->owner.delivery, context.user.smtp_address, item.Size())) {
        ReturnUndelivered(context, item, address, "The recipient does not take this message.");
        continue;
      }
      auto delivered = Copy(item);
      delivered->Remove("AnswersItem");
      delivered->Remove("AnswersBy");
      std::erase_if(delivered->extended,
                    [](const ExtendedValue& value) { return value.key.set.empty() && value.key.number == 0x0e07; });
      delivered->mime = std::make_shared<const std::string>(BuildMime(item, false));
      delivered->Remove("BccRecipients");
      delivered->modified_by = context.user.display_name;
      const Item& there =
          DeliverTo(context.store, *mailbox, std::move(delivered), ServerName(context.store.server_version));
      CopyToDelegates(context.store, *mailbox, there.entry_id);
      continue;
    }
    const bool known =
        std::any_of(context.store.contacts.begin(), context.store.contacts.end(),
                    [&](const DirectoryContact& contact) { return SameText(contact.smtp_address, address); });
    const bool local = std::find(context.options.domains.begin(), context.options.domains.end(), DomainOf(address)) !=
                           context.options.domains.end() ||
                       IsInside(context.store, address);
    if (local && !known)
      ReturnUndelivered(context, item, address);
    else
      context.store.SendOutside(std::make_shared<const std::string>(BuildMime(item, false)));
  }
  MarkAnswered(context, item);
}

Element CreateItem(Context& context, const Element& request) {
  const std::string& disposition = request.AttributeText("MessageDisposition");
  return RespondEach(
      "CreateItem", *request.Child("Items"),
      [&](const Element& element) {
        if (IsMeetingAnswer(element.name)) {
          Element changed = Messages("Items");
          for (Element& entry : AnswerMeeting(context, element, request)) changed.Add(std::move(entry));
          return std::vector<Element>{std::move(changed)};
        }
        std::shared_ptr<Item> item;
        Place place;
        if (IsResponseObject(element.name)) {
          const Found original = LocateReference(context, element);
          if (element.name == "SuppressReadReceipt") {
            SuppressReadReceipt(context, original);
            return std::vector<Element>{Messages("Items")};
          }
          item = MakeAnswer(context, element, original);
          // An answer in public stands where the question does.
          if (item->element == "PostItem") place = {original.mailbox, original.folder, original.access};
        } else if (const SchemaType* type = Schema::Instance().ItemType(element.name);
                   type == nullptr || type->Find("DateTimeReceived") == nullptr) {
          throw EwsError("ErrorInvalidOperation",
                         "This response object is not supported by this server: " + element.name + ".");
        } else {
          // Servers learnt only later to take the date when a task is due with its creation.
          if (element.name == "Task" && element.Child("DueDate") != nullptr &&
              context.store.server_version < kExchange2013) {
            EwsError error("ErrorInvalidPropertySet");
            error.details.push_back(Types("FieldURI"));
            error.details.back().Set("FieldURI", "task:DueDate");
            throw error;
          }
          item = MakeItem(context, element);
        }
        const bool mail = IsMail(*item);
        if (mail && disposition.empty()) throw EwsError("ErrorMessageDispositionRequired");
        if (item->element == "CalendarItem" && request.Attribute("SendMeetingInvitations") == nullptr)
          throw EwsError("ErrorSendMeetingInvitationsRequired");
        const Notices notices(request.AttributeText("SendMeetingInvitations"));
        if (item->Size() > context.options.max_message_bytes) throw EwsError("ErrorMessageSizeExceeded");

        if (const Element* target = request.Child("SavedItemFolderId")) {
          place = LocateTarget(context, *target);
        } else if (place.folder == nullptr) {
          if (context.home == nullptr) throw EwsError("ErrorNonExistentMailbox");
          place = {context.home, context.home->Distinguished(DefaultFolder(*item, disposition)), Access::kOwner};
        }
        Require(place, Access::kAuthor);
        // Who makes a meeting in somebody's calendar makes it in his name.
        if (item->element == "CalendarItem" && !place.mailbox->owner.smtp_address.empty()) {
          Element organizer = Types("Organizer");
          organizer.Add(
              MailboxElement(place.mailbox->owner.display_name, place.mailbox->owner.smtp_address, "Mailbox"));
          item->Set(std::move(organizer));
        }
        if (!mail || disposition != "SendOnly") CheckFits(*item, *place.folder);
        place.mailbox->CheckQuota(item->Size());

        Element items = Messages("Items");
        if (mail && disposition != "SaveOnly") {
          Send(context, *item);
          if (disposition == "SendAndSaveCopy") place.mailbox->AddItem(*place.folder, item);
          return std::vector<Element>{std::move(items)};
        }
        if (mail && item->IsDraft() && item->Text("InternetMessageId").empty())
          item->Set("InternetMessageId", "<" + NewGuid() + "@" + DomainOf(context.user.smtp_address) + ">");
        place.mailbox->AddItem(*place.folder, item);
        if (item->element == "CalendarItem")
          Invite(context, {place.mailbox, place.folder, place.access, item, nullptr}, notices, true);
        Element& created = items.Add(item->element);
        created.Add(ItemIdElement(*place.mailbox, *item));
        if (!item->attachments.empty()) {
          Element& attachments = created.Add("Attachments");
          for (const Attachment& attachment : item->attachments) {
            Element& out = attachments.Add(attachment.is_item ? "ItemAttachment" : "FileAttachment");
            out.Add("AttachmentId").Set("Id", EwsId(place.mailbox->guid, item->entry_id, attachment.number));
          }
        }
        return std::vector<Element>{std::move(items)};
      },
      {Messages("Items")});
}

Element SendItem(Context& context, const Element& request) {
  const bool save = IsTrue(request.AttributeText("SaveItemToFolder"));
  return RespondEach("SendItem", *request.Child("ItemIds"), [&](const Element& id) {
    if (!save && request.Child("SavedItemFolderId") != nullptr) throw EwsError("ErrorInvalidSendItemSaveSettings");
    const Found found = LocateItem(context, id);
    RequireEdit(context, found);
    const std::string& key = id.AttributeText("ChangeKey");
    if (key.empty()) throw EwsError("ErrorChangeKeyRequired");
    if (ParseChangeKey(key) != found.item->change) throw EwsError("ErrorIrresolvableConflict");
    if (!IsMail(*found.item)) throw EwsError("ErrorInvalidOperation", "Only messages can be sent.");
    Place place{found.mailbox, found.mailbox->Distinguished("sentitems"), found.access};
    if (const Element* target = request.Child("SavedItemFolderId")) place = LocateTarget(context, *target);
    Require(place, Access::kAuthor);
    const std::shared_ptr<Item> sent = Copy(*found.item);
    Send(context, *sent);
    // A draft goes away; what was sent before stays and is sent again.
    if (found.item->IsDraft()) found.mailbox->RemoveItem(found.item->entry_id);
    if (save) place.mailbox->AddItem(*place.folder, sent);
    return std::vector<Element>{};
  });
}

}  // namespace velmore::simulator
