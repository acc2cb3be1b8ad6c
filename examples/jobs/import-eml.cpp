// The .eml files of a folder as messages of the mailbox's folder "Imported".

#include "job.h"

const char* const kUsage = "import-eml SOURCE";

void Job(IVqEWSMsgStore& store, std::span<char*> arguments) {
  std::vector<string> files;
  for (const auto& file : fs::directory_iterator(arguments[0]))
    if (file.path().extension() == ".eml") files.push_back(file.path());
  const auto target = VqMakeFolder(store, "Imported");
  std::cout << Told(TVqEWSBulk(store).ImportItems(*target, files, {msgflgRead})) << " imported\n";
}
