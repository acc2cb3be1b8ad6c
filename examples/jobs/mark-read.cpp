// Marks everything in every folder as read, and tells how much that was.

#include "job.h"

const char* const kUsage = "mark-read";

void Job(IVqEWSMsgStore& store, std::span<char*>) {
  for (const TVqEWSFolderNode& folder : VqFolderTree(store)) {
    if (folder.UnreadCount == 0) continue;
    store.GetFolder(folder.Id)->MarkAllAsRead(false);
    std::cout << folder.Path << ": " << folder.UnreadCount << '\n';
  }
}
