// A daemon: each message that arrives in the inbox becomes one file, whatever ends in between: the line, the server,
// this program. The file is the note that it was done, so it stays as long as its message does.

#include <atomic>
#include <csignal>

#include "job.h"

const char* const kUsage = "spool TARGET";

std::atomic<bool> ended{false}, look{true};

void Job(IVqEWSMsgStore& store, std::span<char*> arguments) {
  for (const int signal : {SIGINT, SIGTERM}) std::signal(signal, [](int) { ended = true; });
  fs::create_directories(arguments[0]);
  const auto inbox = store.GetFolder(dfininbox, "");
  TVqEWSFolderEvents events;
  events.SetEagerDispatch(true);
  events.SetResubscribe(true);
  events.SetOnItemCreated([](const auto&...) { look = true; });
  events.SetOnConnectionState([](const auto&) { look = true; });  // what came in a gap is told by nobody
  events.Subscribe(inbox);
  events.Start();
  while (!ended) try {
      if (look.exchange(false))
        for (const auto row : VqItemsOf(*inbox, FLD_ITEM_SUBJECT))
          if (SaveOnce(*inbox, row.Id(), "", arguments[0]))
            std::cout << row[FLD_ITEM_SUBJECT].GetAsString() << std::endl;
      VqProcessMainThreadQueue(std::chrono::seconds(1));
    } catch (const EVqException& failure) {
      std::cerr << failure.what() << '\n';
      look = true;
    }
}
