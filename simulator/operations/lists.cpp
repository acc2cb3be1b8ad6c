// ExpandDL and GetDelegate: who is in a list, and who may act for somebody.

#include <algorithm>

#include "simulator/mailbox/mime.h"
#include "simulator/operations/operations.h"

namespace velmore::simulator {

Element ExpandDL(Context& context, const Element& request) {
  Element response = RespondOnce("ExpandDL", [&] {
    const Element& wanted = *request.Child("Mailbox");
    std::vector<Element> members;
    if (const Element* id = wanted.Child("ItemId")) {
      const Found found = LocateItem(context, *id);
      if (found.item->element != "DistributionList")
        throw EwsError("ErrorInvalidOperation", "The item is no distribution list.");
      if (const Element* list = found.item->Find("Members"))
        for (const Element& member : list->children)
          if (const Element* mailbox = member.Child("Mailbox")) members.push_back(*mailbox);
    } else {
      const std::string& address = wanted.ChildText("EmailAddress");
      const auto list =
          std::find_if(context.store.lists.begin(), context.store.lists.end(), [&](const DirectoryList& l) {
            return SameText(l.smtp_address, address) ||
                   (address.empty() && SameText(l.display_name, wanted.ChildText("Name")));
          });
      if (list == context.store.lists.end()) throw EwsError("ErrorNameResolutionNoResults");
      for (const std::string& member : list->members) {
        Element mailbox = MailboxElement({}, member);
        CompleteMailbox(context, mailbox);
        members.push_back(std::move(mailbox));
      }
    }
    Element expansion = Messages("DLExpansion");
    expansion.Set("TotalItemsInView", std::to_string(members.size())).Set("IncludesLastItemInRange", "true");
    for (Element& member : members) {
      member.space = Space::kTypes;
      expansion.Add(std::move(member));
    }
    return std::vector<Element>{std::move(expansion)};
  });
  return response;
}

Element GetDelegate(Context& context, const Element& request) {
  Mailbox* mailbox = context.store.ByAddress(request.Child("Mailbox")->ChildText("EmailAddress"));
  if (mailbox == nullptr) throw EwsError("ErrorNonExistentMailbox");
  if (!SameText(mailbox->owner.smtp_address, context.user.smtp_address)) throw EwsError("ErrorAccessDenied");
  const bool with_permissions = IsTrue(request.AttributeText("IncludePermissions"));
  Element response = Messages("GetDelegateResponse");
  response.Set("ResponseClass", "Success");
  response.Add(Messages("ResponseCode", "NoError"));
  Element users = Messages("ResponseMessages");
  for (const auto& other : context.store.Mailboxes()) {
    Access rights = Access::kNone;
    Element permissions = Types("DelegatePermissions");
    static constexpr std::pair<const char*, const char*> kFolders[] = {
        {"CalendarFolderPermissionLevel", "calendar"}, {"TasksFolderPermissionLevel", "tasks"},
        {"InboxFolderPermissionLevel", "inbox"},       {"ContactsFolderPermissionLevel", "contacts"},
        {"NotesFolderPermissionLevel", "notes"},       {"JournalFolderPermissionLevel", "journal"}};
    for (const auto& [element, folder] : kFolders) {
      if (other.get() == mailbox) break;
      const Access access = context.store.AccessTo(*mailbox, *mailbox->Distinguished(folder), other->owner);
      rights = std::max(rights, access);
      permissions.Add(element, access == Access::kNone       ? "None"
                               : access == Access::kReviewer ? "Reviewer"
                               : access == Access::kAuthor   ? "Author"
                                                             : "Editor");
    }
    if (rights == Access::kNone) continue;
    Element& message = users.Add(Messages("DelegateUserResponseMessageType"));
    message.Set("ResponseClass", "Success");
    message.Add(Messages("ResponseCode", "NoError"));
    Element& user = message.Add(Messages("DelegateUser"));
    Element& id = user.Add("UserId");
    id.Add("PrimarySmtpAddress", other->owner.smtp_address);
    id.Add("DisplayName", other->owner.display_name);
    if (with_permissions) user.Add(std::move(permissions));
    user.Add("ReceiveCopiesOfMeetingMessages", "false");
    user.Add("ViewPrivateItems", rights == Access::kOwner ? "true" : "false");
  }
  if (!users.children.empty()) response.Add(std::move(users));
  response.Add(Messages("DeliverMeetingRequests", "DelegatesAndMe"));
  return response;
}

}  // namespace velmore::simulator
