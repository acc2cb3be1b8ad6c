// What the tour does beyond the two forms of requests: operations that come when a thread of their own likes, and those
// on many items.

#include <condition_variable>
#include <mutex>

#include "ews/bulk/uVqEWSBulk.h"
#include "ews/events/uVqEWSFolderEvents.h"
#include "tests/wire/WireFormsTourTestSupport.h"

namespace velmore::testing {

using namespace std::chrono_literals;

void TWireTour::Beyond() {
  if (FHooks.BeforeStep) FHooks.BeforeStep();
  Try("Watching", [&] { Watching(); });
  Try("MoveItems", [&] {
    const TItemId ids[] = {Add("inbox", "<t:Message><t:Subject>One</t:Subject></t:Message>"),
                           Add("inbox", "<t:Message><t:Subject>Two</t:Subject></t:Message>")};
    for (const TVqEWSIdResult& moved : TVqEWSBulk(FStore).MoveItems(ids, FStore->GetFolderId(dfindrafts)))
      moved.Value();
  });
}

// Subscribes, listens until the stream has told of a message or has met trouble, and goes.
void TWireTour::Watching() {
  std::mutex mutex;
  std::condition_variable changed;
  int told = 0, troubles = 0;
  TVqEWSFolderEvents events;
  events.SetThreadedEvents(true);
  events.SetOnItemCreated([&](const TVqRef<IVqEWSFolder>&, TDateTime, const TItemId&, const TItemId&) {
    const std::scoped_lock lock(mutex);
    ++told;
    changed.notify_all();
  });
  events.SetOnConnectionState([&](const TVqEWSConnectionReport& report) {
    const std::scoped_lock lock(mutex);
    if (report.State == TVqEWSConnectionState::connected) return;
    ++troubles;
    changed.notify_all();
  });
  Try("subscribe", [&] {
    events.Subscribe(Folder(dfininbox));
    events.Start();
    Add("inbox", "<t:Message><t:Subject>Watched</t:Subject></t:Message>");
    std::unique_lock lock(mutex);
    changed.wait_for(lock, 10s, [&] { return told > 0 || troubles > 1; });
  });
  Try("unsubscribe", [&] { events.Stop(); });
}

}  // namespace velmore::testing
