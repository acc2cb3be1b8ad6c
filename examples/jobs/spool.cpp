// A daemon: each message that arrives in the inbox becomes one file, whatever ends in between: the line, the server,
// this program. The file is the note that it was done, so it stays as long as its message does.

#include <atomic>
#include <csignal>
#include <thread>

#include "job.h"

const char* const kUsage = "spool TARGET";

std::atomic<bool> ended{false};

void Job(IVqEWSMsgStore& store, std::span<char*> arguments) {
  std::signal(SIGTERM, [](int) { ended = true; });
  const auto changes = VqChangesOf(*store.GetFolder(dfininbox, ""), "");
  for (; !ended; std::this_thread::sleep_for(std::chrono::seconds(2))) try {
      std::vector<TVqEWSItemFile> files;
      for (const auto change : changes)
        if (change.Kind() == TVqEWSChangeKind::created)
          files.push_back({change.Id(), arguments[0] / fs::path(VqItemFileName(change.Id()).utf16())});
      for (const auto& file : TVqEWSBulk(store).ExportItems(files)) {
        file.Value();
        std::cout << file.FileName << std::endl;
      }
    } catch (const EVqException& failure) {
      std::cerr << failure.what() << std::endl;
      changes->SetState("");  // all is told again, and what is there already does no harm
    }
}
