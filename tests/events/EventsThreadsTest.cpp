// One component on the simulator: what happens in a folder arrives in a handler.

#include <gmock/gmock.h>

#include "EventsTestSupport.h"

namespace velmore::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class EventsThreads : public EventsTest {
 protected:
  /// Watches the inbox, with handlers that log, and waits until the server streams.
  void Watch() {
    LogEvents(Events, Log);
    Events.SetOnConnectionState([this](const TVqEWSConnectionReport& report) { States.Add(TextOf(report)); });
    Events.SetEagerDispatch(true);
    Events.Subscribe(Inbox());
    Events.Start();
    ASSERT_TRUE(States.WaitFor(1));
    ASSERT_EQ(States.Entries().front(), "connected");
  }

  TLog Log, States;
  TVqEWSFolderEvents Events;
};

TEST_F(EventsThreads, NewMailArrivesOnTheMainThread) {
  std::thread::id where;
  std::vector<TItemId> items;
  LogEvents(Events, Log);
  const auto inbox = Inbox();
  Events.SetOnNewMail(
      [&](const TVqRef<IVqEWSFolder>& folder, TDateTime at, const TItemId& item, const TItemId& parent) {
        where = std::this_thread::get_id();
        EXPECT_EQ(folder, inbox);
        EXPECT_EQ(parent.Id, inbox->GetID().Id);
        EXPECT_GT(static_cast<double>(at), 40000);
        items.push_back(item);
      });
  Events.Subscribe(inbox);
  EXPECT_FALSE(Events.GetActive());
  Events.Start();
  EXPECT_TRUE(Events.GetActive());
  Deliver("A letter");
  ASSERT_TRUE(Eventually([&] { return !items.empty(); }));
  EXPECT_EQ(where, std::this_thread::get_id());
  EXPECT_EQ(Store().GetItem(items.front())->GetSubject(), "A letter") << "ids of the stream are those of the store";
  Events.Stop();
  EXPECT_FALSE(Events.GetActive());
  EXPECT_EQ(CountOf("Unsubscribe"), 1u);
  EXPECT_EQ(Server().CountSubscriptions(), 0u);
}

}  // namespace
}  // namespace velmore::testing
