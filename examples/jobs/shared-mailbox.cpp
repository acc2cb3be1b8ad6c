// What nobody has read or taken in a mailbox that several people look after: this one takes all of it, by a category.

#include "job.h"

const char* const kUsage = "shared-mailbox ADDRESS NAME";

void Job(IVqEWSMsgStore& store, std::span<char*> arguments) {
  const auto items = VqItemsOf(*store.GetFolder(dfininbox, arguments[0]));
  VqFilter(*items, VqField(FLD_MESSAGE_ISREAD) == false && !VqExists(FLD_ITEM_CATEGORIES));
  TVqEWSBulk bulk(store);
  std::vector<TVqRef<IVqEWSItem>> taken;
  for (const auto& result : bulk.GetItems(VqIdsOf(*items))) {
    result.Value()->GetCategories().Add(arguments[1]);
    taken.push_back(result.Value());
  }
  const auto results = bulk.SaveItems(taken, soNeverOverwrite);  // what somebody else took meanwhile stays theirs
  for (std::size_t i = 0; i < taken.size(); ++i)
    std::cout << taken[i]->GetSubject() << (results[i] ? "\n" : ": " + results[i].FailureText() + "\n");
}
