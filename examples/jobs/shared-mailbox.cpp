// What nobody has read or taken in a mailbox that several people look after: this one takes all of it, by a category.

#include "job.h"

const char* const kUsage = "shared-mailbox ADDRESS NAME";

void Job(IVqEWSMsgStore& store, std::span<char*> arguments) {
  const auto inbox = store.GetFolder(dfininbox, arguments[0]);
  const auto items = VqItemsOf(*inbox, FLD_ITEM_SUBJECT);
  VqFilter(*items, VqField(FLD_MESSAGE_ISREAD) == false && !VqExists(FLD_ITEM_CATEGORIES));
  for (const TItemId& id : VqIdsOf(*items)) {
    const auto item = inbox->GetItem(id);
    item->GetCategories().Add(arguments[1]);
    item->SaveChanges(soNeverOverwrite);  // what somebody else took meanwhile stays theirs
    std::cout << item->GetSubject() << '\n';
  }
}
