// ExpandDL: who is in a list.

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

}  // namespace velmore::simulator
