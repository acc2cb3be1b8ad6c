// The .eml files of a folder as messages of the mailbox's folder "Imported".

#include "job.h"

const char* const kUsage = "import-eml SOURCE";

void Job(IVqEWSMsgStore& store, std::span<char*> arguments) {
  const auto target = FolderBelow(*store.GetFolder(dfinmsgfolderroot, ""), "Imported");
  int imported = 0;
  for (const auto& file : fs::directory_iterator(arguments[0])) try {
      if (file.path().extension() != ".eml") continue;
      target->ImportItem(file.path().string(), 0x40, {msgflgRead});
      ++imported;
    } catch (const EEWSException& refusal) {
      std::cerr << file.path().filename().string() << ": " << refusal.what() << '\n';
    }
  std::cout << imported << " imported\n";
}
