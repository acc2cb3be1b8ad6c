// GetMailTips: what is worth knowing before one writes.

#include <algorithm>

#include "simulator/mailbox/mime.h"
#include "simulator/operations/operations.h"

namespace velmore::simulator {

namespace {

const DirectoryList* FindList(const Store& store, const std::string& address) {
  const auto list = std::find_if(store.lists.begin(), store.lists.end(),
                                 [&](const DirectoryList& each) { return SameText(each.smtp_address, address); });
  return list != store.lists.end() ? &*list : nullptr;
}

bool IsKnown(const Store& store, const std::string& address) {
  return store.ByAddress(address) != nullptr || FindList(store, address) != nullptr ||
         std::any_of(store.contacts.begin(), store.contacts.end(),
                     [&](const DirectoryContact& contact) { return SameText(contact.smtp_address, address); });
}

Element OutOfOffice(const Mailbox* mailbox) {
  const auto away = mailbox != nullptr ? AwayMessageOf(*mailbox, Audience::kInside) : std::nullopt;
  Element tip = Types("OutOfOffice");
  tip.Add("ReplyBody").Add("Message", away ? away->text : std::string());
  if (away && away->start) {
    Element& duration = tip.Add("Duration");
    duration.Add("StartTime", TimeText(*away->start));
    duration.Add("EndTime", TimeText(*away->end));
  }
  return tip;
}

bool IsFull(const Mailbox* mailbox) {
  if (mailbox == nullptr) return false;
  try {
    mailbox->CheckQuota(1);
    return false;
  } catch (const EwsError&) {
    return true;
  }
}

Element TipsOf(Context& context, const std::string& sender, const std::string& address, const std::string& requested) {
  const Store& store = context.store;
  const auto asked = [&](const std::string& tip) {
    const std::string words = " " + requested + " ";
    return words.find(" All ") != std::string::npos || words.find(" " + tip + " ") != std::string::npos;
  };
  const auto flag = [](bool value) { return value ? "true" : "false"; };
  const Mailbox* mailbox = store.ByAddress(address);
  const DirectoryList* list = FindList(store, address);
  const DeliveryRules rules = mailbox != nullptr ? mailbox->owner.delivery
                              : list != nullptr  ? list->delivery
                                                 : DeliveryRules();
  const std::set<std::string> members = PeopleBehind(store, address);
  const auto outside =
      std::count_if(members.begin(), members.end(), [&](const std::string& each) { return !IsInside(store, each); });

  Element tips = Messages("MailTips");
  Element recipient = list != nullptr ? MailboxElement(list->display_name, list->smtp_address, "PublicDL") : Types({});
  if (list == nullptr) recipient.Add("EmailAddress", address);
  if (list == nullptr) CompleteMailbox(context, recipient);
  recipient.name = "RecipientAddress";
  tips.Add(std::move(recipient));
  tips.Add("PendingMailTips");
  if (asked("OutOfOfficeMessage")) tips.Add(OutOfOffice(mailbox));
  if (asked("MailboxFullStatus")) tips.Add("MailboxFull", flag(IsFull(mailbox)));
  if (asked("CustomMailTip") && !rules.mail_tip.empty()) tips.Add("CustomMailTip", rules.mail_tip);
  if (asked("TotalMemberCount")) tips.Add("TotalMemberCount", std::to_string(members.size()));
  if (asked("ExternalMemberCount")) tips.Add("ExternalMemberCount", std::to_string(outside));
  if (asked("MaxMessageSize"))
    tips.Add("MaxMessageSize",
             std::to_string(rules.max_message_bytes != 0
                                ? rules.max_message_bytes
                                : std::min<std::size_t>(context.options.max_message_bytes, INT32_MAX)));
  if (asked("DeliveryRestriction")) tips.Add("DeliveryRestricted", flag(IsRestricted(rules, sender)));
  if (asked("ModerationStatus")) tips.Add("IsModerated", flag(rules.moderated));
  if (asked("InvalidRecipient"))
    tips.Add("InvalidRecipient", flag(!IsKnown(store, address) && IsInside(store, address)));
  return tips;
}

}  // namespace

std::set<std::string> PeopleBehind(const Store& store, const std::string& address) {
  std::set<std::string> people;
  std::set<std::string> seen;
  std::vector<std::string> open{address};
  while (!open.empty()) {
    const std::string next = open.back();
    open.pop_back();
    if (!seen.insert(Lower(next)).second) continue;
    if (const DirectoryList* list = FindList(store, next))
      open.insert(open.end(), list->members.begin(), list->members.end());
    else
      people.insert(Lower(next));
  }
  return people;
}

bool IsRestricted(const DeliveryRules& rules, const std::string& sender) {
  return !rules.accepts_from.empty() &&
         std::none_of(rules.accepts_from.begin(), rules.accepts_from.end(),
                      [&](const std::string& address) { return SameText(address, sender); });
}

Element GetMailTips(Context& context, const Element& request) {
  const std::string& sender = request.Child("SendingAs")->ChildText("EmailAddress");
  Element response = RespondEach("GetMailTips", *request.Child("Recipients"), [&](const Element& recipient) {
    if (!SameText(sender, context.user.smtp_address)) {
      const Mailbox* principal = context.store.ByAddress(sender);
      const Folder* root = principal != nullptr ? principal->FindFolder(principal->root) : nullptr;
      if (root == nullptr || context.store.AccessTo(*principal, *root, context.user) < Access::kOwner)
        throw EwsError("ErrorSendAsDenied");
    }
    const std::string& address = recipient.ChildText("EmailAddress");
    if (address.find('@') == std::string::npos) throw EwsError("ErrorInvalidRecipients");
    return std::vector<Element>{TipsOf(context, sender, address, request.ChildText("MailTipsRequested"))};
  });
  for (Element& message : response.children.front().children) message.name = "MailTipsResponseMessageType";
  response.Set("ResponseClass", "Success");
  response.children.insert(response.children.begin(), Messages("ResponseCode", "NoError"));
  return response;
}

}  // namespace velmore::simulator
