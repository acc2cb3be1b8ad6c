// Marks everything in every folder as read, and tells how much that was.

#include "job.h"

const char* const kUsage = "mark-read";

void Job(IVqEWSMsgStore& store, std::span<char*>) {
  for (const TVqEWSFolderNode& node : VqFolderTree(*store.GetFolder(dfinmsgfolderroot, ""))) {
    if (node.UnreadCount == 0) continue;
    store.GetFolder(node.Id)->MarkAllAsRead(false);
    std::cout << node.Path << ": " << node.UnreadCount << '\n';
  }
}
