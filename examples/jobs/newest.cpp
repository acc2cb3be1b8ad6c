// The ten newest messages of the inbox, and an answer to each.

#include "job.h"

const char* const kUsage = "newest ANSWER";

void Job(IVqEWSMsgStore& store, std::span<char*> arguments) {
  const auto items = VqItemsOf(*store.GetFolder(dfininbox, ""), FLD_ITEM_SUBJECT);
  items->SetSortOrder(FLD_ITEM_DATETIMERECEIVED, sdDescending);
  items->SetMaxEntries(10);
  for (const auto row : items) {
    const auto reply = Supports<IVqEWSEMail>(store.GetItem(row.Id()))->CreateReply(false);
    reply->SetBodyText(arguments[0]);
    reply->SubmitMessage(true);
    std::cout << row[FLD_ITEM_SUBJECT].GetAsString() << '\n';
  }
}
