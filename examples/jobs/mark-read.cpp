// Marks everything in every folder as read, and tells how much that was.

#include "job.h"

const char* const kUsage = "mark-read";

void MarkRead(IVqEWSMsgStore& store, IVqEWSFolder& folder) {
  const auto items = VqItemsOf(folder, FLD_MESSAGE_ISREAD);
  VqFilter(*items, VqField(FLD_MESSAGE_ISREAD) == false);
  const auto unread = VqIdsOf(*items);
  for (const TItemId& id : unread) {
    const auto mail = Supports<IVqEWSEMail>(folder.GetItem(id));
    mail->SetIsRead(true);
    mail->SaveChanges(soAutoResolve);
  }
  if (!unread.empty()) std::cout << folder.GetDisplayName() << ": " << unread.size() << '\n';
  for (const auto row : folder.GetSubFolders()) MarkRead(store, *store.GetFolder(row.Id()));
}

void Job(IVqEWSMsgStore& store, std::span<char*>) {
  MarkRead(store, *store.GetFolder(dfinmsgfolderroot, ""));
}
