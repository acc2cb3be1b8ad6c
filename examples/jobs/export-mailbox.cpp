// Every item of a mailbox as a file, in folders as they are there. Started again, it goes on where it ended.

#include "job.h"

const char* const kUsage = "export-mailbox TARGET";

void Job(IVqEWSMsgStore& store, std::span<char*> arguments) {
  int written = 0;
  for (const TVqEWSFolderNode& folder : VqFolderTree(store)) {
    const fs::path target = arguments[0] / fs::path(VqFolderFilePath(folder.Path).utf16());
    std::vector<TVqEWSItemFile> files;
    for (const auto row : VqItemsOf(*store.GetFolder(folder.Id), FLD_ITEM_SUBJECT)) {
      const string name = VqItemFileName(row.Id(), row[FLD_ITEM_SUBJECT].GetAsString());
      files.push_back({row.Id(), target / name.utf16()});
    }
    written += Told(TVqEWSBulk(store).ExportItems(files));
  }
  std::cout << written << " written\n";
}
