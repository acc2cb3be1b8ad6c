// Every item of a mailbox as a file, in folders as they are there. Started again, it goes on where it ended.

#include "job.h"

const char* const kUsage = "export-mailbox TARGET";

void Job(IVqEWSMsgStore& store, std::span<char*> arguments) {
  int written = 0;
  for (const TVqEWSFolderNode& node : VqFolderTree(*store.GetFolder(dfinmsgfolderroot, ""))) {
    fs::path target = arguments[0];
    for (const string& name : VqFolderPathParts(node.Path)) target /= VqSafeFileName(name.Replace("/", "_")).utf8();
    fs::create_directories(target);
    const auto folder = store.GetFolder(node.Id);
    for (const auto row : VqItemsOf(*folder, FLD_ITEM_SUBJECT)) try {
        written += SaveOnce(*folder, row.Id(), row[FLD_ITEM_SUBJECT].GetAsString(), target);
      } catch (const EEWSException& refusal) {  // kinds that have no form outside of the server
        std::cerr << row[FLD_ITEM_SUBJECT].GetAsString() << ": " << refusal.what() << '\n';
      }
  }
  std::cout << written << " written\n";
}
