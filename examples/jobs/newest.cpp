// The ten newest messages of the inbox, and an answer to each.

#include "job.h"

const char* const kUsage = "newest ANSWER";

void Job(IVqEWSMsgStore& store, std::span<char*> arguments) {
  const auto items = VqItemsOf(*store.GetFolder(dfininbox, ""));
  items->SetSortOrder(FLD_ITEM_DATETIMERECEIVED, sdDescending);
  items->SetMaxEntries(10);
  for (const auto& result : TVqEWSBulk(store).GetItems(VqIdsOf(*items))) {
    const auto reply = Supports<IVqEWSEMail>(result.Value())->CreateReply(false);
    reply->SetBodyText(arguments[0]);
    reply->SubmitMessage(true);
    std::cout << result.Value()->GetSubject() << '\n';
  }
}
