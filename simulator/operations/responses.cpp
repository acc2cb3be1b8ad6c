// Response objects: what answers an item, by naming it instead of repeating it.

#include "simulator/operations/responses.h"

#include <algorithm>

#include "simulator/mailbox/ids.h"
#include "simulator/mailbox/mime.h"
#include "simulator/mailbox/quote.h"
#include "simulator/operations/invitations.h"

namespace velmore::simulator {

namespace {

struct Kind {
  const char* element;
  const char* prefix;  // of the subject
  const char* verb;    // MAPI's number of what was last done with the original
  const char* icon;    // and the number of the picture that shows it
};
constexpr Kind kKinds[] = {{"ReplyToItem", "RE: ", "102", "261"},
                           {"ReplyAllToItem", "RE: ", "103", "261"},
                           {"ForwardItem", "FW: ", "104", "262"},
                           {"PostReplyItem", "RE: ", "108", "261"}};

const Kind* KindOf(const std::string& element) {
  for (const Kind& kind : kKinds)
    if (element == kind.element) return &kind;
  return nullptr;
}

bool IsMail(const Item& item) {
  return item.element == "Message" || item.element.starts_with("Meeting");
}

ExtendedValue Tag(std::int64_t number, const char* type, std::string value) {
  ExtendedValue tag;
  tag.key.number = number;
  tag.key.type = type;
  tag.values.push_back(std::move(value));
  return tag;
}

bool IsAmong(const Element& list, const std::string& address) {
  return std::any_of(list.children.begin(), list.children.end(),
                     [&](const Element& mailbox) { return SameText(mailbox.ChildText("EmailAddress"), address); });
}

/// Adds those mailboxes of a list that are neither there nor the one who answers.
void AddOthers(const Element* list, const std::string& own, const Element& besides, Element& out) {
  if (list == nullptr) return;
  for (const Element& mailbox : list->children) {
    const std::string& address = mailbox.ChildText("EmailAddress");
    if (!SameText(address, own) && !IsAmong(out, address) && !IsAmong(besides, address)) out.Add(mailbox);
  }
}

/// Where answers to a message go.
void AddressReply(const Item& original, const std::string& own, bool all, Item& answer) {
  Element to = Types("ToRecipients");
  Element cc = Types("CcRecipients");
  const Element none = Types("Recipients");
  for (const char* author : {"ReplyTo", "From", "Sender"}) {
    const Element* list = original.Find(author);
    if (list == nullptr || list->children.empty()) continue;
    to.children = list->children;
    break;
  }
  if (all) {
    // Whoever answers his own message means those to whom he wrote it.
    if (to.children.size() == 1 && IsAmong(to, own)) to.children.clear();
    AddOthers(original.Find("ToRecipients"), own, none, to);
    AddOthers(original.Find("CcRecipients"), own, to, cc);
  }
  if (!to.children.empty()) answer.Set(std::move(to));
  if (!cc.children.empty()) answer.Set(std::move(cc));
}

/// In-Reply-To, References, and the place in the conversation.
void Thread(const Item& original, Item& answer) {
  const std::string& id = original.Text("InternetMessageId");
  std::string references = original.Text("References");
  if (references.empty()) references = original.Text("InReplyTo");
  if (!id.empty()) {
    answer.Set("InReplyTo", id);
    references += (references.empty() ? "" : " ") + id;
  }
  if (!references.empty()) answer.Set("References", references);
  answer.conversation_index = original.conversation_index + NewGuid().substr(0, 5);
}

/// Pictures of a quoted body go with it; everything else only when it is forwarded.
void TakeAttachments(const Item& original, bool all, Item& answer) {
  const std::shared_ptr<Item> copy = Copy(original);
  for (Attachment& attachment : copy->attachments) {
    const bool shown = attachment.is_inline && !attachment.content_id.empty() &&
                       answer.html.find("cid:" + attachment.content_id) != std::string::npos;
    if (all || shown) answer.attachments.push_back(std::move(attachment));
  }
}

/// A contact, list, task or appointment is forwarded as what hangs on a message.
void Attach(const Item& original, Item& answer) {
  Attachment attachment;
  attachment.is_item = true;
  attachment.item = Copy(original);
  attachment.name = original.Text("Subject");
  attachment.content_type = "message/rfc822";
  attachment.modified = Now();
  answer.attachments.push_back(std::move(attachment));
}

/// Is this what may be done with that item?
void CheckReference(const std::string& response, const Item& original) {
  const bool forward = response == "ForwardItem";
  const bool post = response == "PostReplyItem";
  if (post ? original.element != "PostItem" : !forward && (!IsMail(original) && original.element != "PostItem"))
    throw EwsError("ErrorInvalidReferenceItem");
  // What was never sent has nobody to answer to.
  if (!forward && !post && original.IsDraft()) throw EwsError("ErrorInvalidReferenceItem");
}

}  // namespace

bool IsResponseObject(const std::string& element) {
  return KindOf(element) != nullptr || element == "SuppressReadReceipt";
}

std::shared_ptr<Item> MakeAnswer(Context& context, const Element& response, const Found& found) {
  const Kind& kind = *KindOf(response.name);
  const Item& original = *found.item;
  CheckReference(response.name, original);
  const bool forward = response.name == "ForwardItem";
  const bool as_attachment = forward && !IsMail(original) && original.element != "PostItem" && !CanInvite(original);

  // What the request says of the answer itself is what it would say of a message.
  Element written = Types(response.name == "PostReplyItem" ? "PostItem" : "Message");
  for (const Element& child : response.children)
    if (child.name != "ReferenceItemId" && child.name != "NewBodyContent" && child.name != "IsSpecificMessageReply")
      written.Add(child);
  std::shared_ptr<Item> answer = MakeItem(context, written);

  NewContent content;
  if (const Element* given = response.Child("NewBodyContent"))
    content = {given->text, given->AttributeText("BodyType") == "HTML"};
  if (as_attachment) {
    if (response.Child("Body") == nullptr) (content.html ? answer->html : answer->text) = content.text;
    Attach(original, *answer);
  } else if (!CanInvite(original) || !forward) {
    if (response.Child("Body") == nullptr) Quote(original, content, *answer);
    TakeAttachments(original, forward, *answer);
    Thread(original, *answer);
  }
  if (forward && CanInvite(original)) {
    const std::shared_ptr<Item> invitation = PassOn(context, found);
    for (const char* name : {"ToRecipients", "CcRecipients", "BccRecipients", "From", "IsReadReceiptRequested",
                             "IsDeliveryReceiptRequested", "Subject"})
      if (const Element* given = answer->Find(name); given != nullptr && response.Child(name) != nullptr)
        invitation->Set(*given);
    if (response.Child("Subject") == nullptr)
      invitation->Set("Subject", AnswerSubject(kind.prefix, original.Text("Subject")));
    if (response.Child("Body") != nullptr || response.Child("NewBodyContent") != nullptr) {
      if (response.Child("Body") == nullptr) Quote(original, content, *answer);
      invitation->html = answer->html;
      invitation->text = answer->text;
    }
    invitation->Set("CreatorAddress", context.user.smtp_address);
    return invitation;
  }
  if (response.Child("Subject") == nullptr)
    answer->Set("Subject", AnswerSubject(kind.prefix, original.Text("Subject")));
  if (!forward && kind.verb != std::string("108")) {
    const bool addressed = response.Child("ToRecipients") != nullptr;
    Item defaults;
    AddressReply(original, context.user.smtp_address, response.name == "ReplyAllToItem", defaults);
    for (const char* list : {"ToRecipients", "CcRecipients"})
      if (const Element* recipients = defaults.Find(list);
          recipients != nullptr && response.Child(list) == nullptr && (!addressed || list[0] == 'C'))
        answer->Set(*recipients);
  }
  Refresh(context, *answer);
  if (!as_attachment && response.Child("Subject") == nullptr && !original.Text("ConversationTopic").empty())
    answer->Set("ConversationTopic", original.Text("ConversationTopic"));
  // A draft must still know what it answers on the day when it is sent.
  if (!original.id_tail.empty()) return answer;
  answer->Set("AnswersItem", EwsId(found.mailbox->guid, original.entry_id));
  answer->Set("AnswersBy", response.name);
  return answer;
}

void MarkAnswered(Context& context, Item& sent) {
  const std::string id = sent.Text("AnswersItem");
  const std::string by = sent.Text("AnswersBy");
  sent.Remove("AnswersItem");
  sent.Remove("AnswersBy");
  const auto parsed = ParseEwsId(id);
  const Kind* kind = KindOf(by);
  Mailbox* mailbox = parsed && kind != nullptr ? context.store.ByGuid(parsed->mailbox) : nullptr;
  const std::shared_ptr<Item> original = mailbox != nullptr ? mailbox->FindItem(parsed->entry) : nullptr;
  if (original == nullptr) return;
  const Folder* folder = mailbox->FindFolder(original->folder);
  if (folder == nullptr || context.store.AccessTo(*mailbox, *folder, context.user) < Access::kEditor) return;
  original->SetExtended(Tag(0x1080, "Integer", kind->icon));
  original->SetExtended(Tag(0x1081, "Integer", kind->verb));
  original->SetExtended(Tag(0x1082, "SystemTime", TimeText(Now())));
  mailbox->Touch(*original, context.user.display_name);
}

void SuppressReadReceipt(Context& context, const Found& found) {
  Item& item = *found.item;
  if (!item.Flag("IsReadReceiptRequested") || item.IsDraft() || item.Flag("ReadReceiptSuppressed"))
    throw EwsError("ErrorReadReceiptNotPending");
  item.SetFlag("ReadReceiptSuppressed", true);
  found.mailbox->Touch(item, context.user.display_name);
}

}  // namespace velmore::simulator
