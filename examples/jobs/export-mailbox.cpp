// Every item of a mailbox as a file, in folders as they are there. Started again, it goes on where it ended.

#include "job.h"

const char* const kUsage = "export-mailbox TARGET";

int written = 0;

void Export(IVqEWSMsgStore& store, IVqEWSFolder& folder, const fs::path& target) {
  fs::create_directories(target);
  for (const auto row : VqItemsOf(folder, FLD_ITEM_SUBJECT)) try {
      written += SaveOnce(folder, row.Id(), row[FLD_ITEM_SUBJECT].GetAsString(), target);
    } catch (const EEWSException& refusal) {  // kinds that have no form outside of the server
      std::cerr << row[FLD_ITEM_SUBJECT].GetAsString() << ": " << refusal.what() << '\n';
    }
  for (const auto row : folder.GetSubFolders())
    Export(store, *store.GetFolder(row.Id()), target / VqSafeFileName(row.DisplayName()).utf8());
}

void Job(IVqEWSMsgStore& store, std::span<char*> arguments) {
  Export(store, *store.GetFolder(dfinmsgfolderroot, ""), arguments[0]);
  std::cout << written << " written\n";
}
