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
  fs::create_directories(arguments[0]);
  const auto inbox = store.GetFolder(dfininbox, "");
  const auto changes = VqChangesOf(*inbox, "", FLD_ITEM_SUBJECT);
  for (; !ended; std::this_thread::sleep_for(std::chrono::seconds(2))) try {
      for (const auto change : changes)
        if (change.Kind() == TVqEWSChangeKind::created && SaveOnce(*inbox, change.Id(), "", arguments[0]))
          std::cout << change[FLD_ITEM_SUBJECT].GetAsString() << std::endl;
    } catch (const EVqException& failure) {
      std::cerr << failure.what() << std::endl;
      changes->SetState("");  // all is told again, and what is there already does no harm
    }
}
