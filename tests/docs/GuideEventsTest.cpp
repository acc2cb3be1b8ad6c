// The code of the page on events.

#include <atomic>
#include <set>

#include "tests/events/EventsTestSupport.h"

namespace velmore::testing {
namespace {

class GuideEvents : public EventsTest {
 protected:
  TLog log;
};

TEST_F(GuideEvents, TheFirstProgram) {
  TVqEWSServiceSession& session = Session();
  std::atomic<bool> running{true};
  const auto Print = [&](const string& text) {
    log.Add(text.utf8());
    running = false;
  };
  const auto store = session.OpenDefaultMsgStore();
  const auto inbox = store->GetFolder(dfininbox, "");

  TVqEWSFolderEvents events;
  events.SetEagerDispatch(true);
  events.SetOnNewMail([&](const TVqRef<IVqEWSFolder>&, TDateTime, const TItemId& item, const TItemId&) {
    Print(store->GetItem(item)->GetSubject());
  });
  events.Subscribe(inbox);
  events.Start();
  Deliver("Hello");
  while (running) VqProcessMainThreadQueue(100ms);

  EXPECT_TRUE(log.Has("Hello"));
}

TEST_F(GuideEvents, DeletionsAndCopies) {
  const auto inbox = Inbox();
  TVqEWSFolderEvents events;
  std::vector<TItemId> gone;
  std::vector<TItemId> copied;
  events.SetOnItemDeleted([](const auto&, TDateTime, const auto&, const auto&) {});  // has the server tell of deletions
  events.SetOnItemCopied([&](const TVqRef<IVqEWSFolder>&, TDateTime, const TItemId& item, const TItemId&,
                             const TItemId& oldItem,
                             const TItemId&) { (oldItem.Id.empty() ? gone : copied).push_back(item); });
  events.SetEagerDispatch(true);
  events.Subscribe(inbox);
  events.Start();
  const simulator::Id id = Server().AddMessage(kAlice, "inbox", MimeOf("Hello"));
  inbox->CopyItem({id.id, id.change_key}, inbox->GetID());
  ASSERT_TRUE(Eventually([&] { return copied.size() == 1; }));
  inbox->DeleteItem({id.id, id.change_key}, dtHardDelete);
  ASSERT_TRUE(Eventually([&] { return gone.size() == 1; }));
  EXPECT_EQ(gone.front().Id, id.id);
}

TEST_F(GuideEvents, Threads) {
  TVqEWSFolderEvents events;
  std::mutex mutex;
  std::vector<TItemId> waiting;
  events.SetThreadedEvents(true);
  events.SetOnNewMail([&](const TVqRef<IVqEWSFolder>&, TDateTime, const TItemId& item, const TItemId&) {
    const std::scoped_lock lock(mutex);
    waiting.push_back(item);  // the session is another thread's: only the ids are taken along
  });
  events.Subscribe(Inbox());
  events.Start();
  Deliver();
  EXPECT_TRUE(Eventually([&] {
    const std::scoped_lock lock(mutex);
    return waiting.size() == 1;
  }));
}

TEST_F(GuideEvents, WhatAStreamCanMiss) {
  TTestEvents events;
  LogEvents(events, log);
  std::atomic<bool> gap{false};
  Server().AddMessage(kAlice, "inbox", MimeOf("Known"));
  string state;
  const auto inbox = Inbox();
  const auto changes = VqChangesOf(*inbox, state, FLD_ITEM_SUBJECT);
  for ([[maybe_unused]] const auto change : changes) {
  }
  events.SetResubscribe(true);
  events.SetOnConnectionState([&](const TVqEWSConnectionReport& report) {
    if (report.State == TVqEWSConnectionState::resubscribed) gap = true;
  });
  events.Subscribe(inbox);
  events.Start();
  // What comes while the server does not know the subscription is told by nobody.
  simulator::Fault refused;
  refused.operation = "Subscribe";
  refused.response_code = "ErrorInternalServerError";
  Server().AddFault(refused);
  Server().ForgetSubscriptions();
  Deliver("Missed");
  ASSERT_TRUE(Eventually([&] { return gap.load(); }));
  Names came, subjects;
  if (gap.exchange(false)) {
    for (const auto change : changes) {
      if (change.Kind() == TVqEWSChangeKind::created) came.push_back(change[FLD_ITEM_SUBJECT].GetAsString().utf8());
    }
    state = changes->GetState();
  }
  EXPECT_EQ(came, Names{"Missed"});
  EXPECT_NE(state, "");
  for (const auto row : VqItemsOf(*inbox, FLD_ITEM_SUBJECT))
    subjects.push_back(row[FLD_ITEM_SUBJECT].GetAsString().utf8());
  EXPECT_EQ(std::set<std::string>(subjects.begin(), subjects.end()), (std::set<std::string>{"Known", "Missed"}));
  EXPECT_EQ(log.Count(), 0u);
}

TEST_F(GuideEvents, LookingOn) {
  TVqEWSFolderEvents events;
  LogEvents(events, log);
  std::ostringstream lines;
  std::mutex mutex;
  events.SetOnConnectionState([&](const TVqEWSConnectionReport& report) {
    const std::scoped_lock lock(mutex);
    switch (report.State) {
      case TVqEWSConnectionState::connected:
        lines << report.GroupCode << " listens\n";
        break;
      case TVqEWSConnectionState::lost:
        lines << report.GroupCode << " lost its connection. " << report.Text << '\n';
        break;
      case TVqEWSConnectionState::waiting:
        lines << report.GroupCode << " connects again in " << report.Delay << " ms\n";
        break;
      case TVqEWSConnectionState::refused:
        lines << report.GroupCode << " was refused: " << report.Code << ' ' << report.Text << '\n';
        break;
      case TVqEWSConnectionState::resubscribed:
        lines << report.GroupCode << " subscribed anew: look what was missed\n";
        break;
    }
  });
  events.Subscribe(Inbox());
  events.Start();
  const auto text = [&] {
    const std::scoped_lock lock(mutex);
    return lines.str();
  };
  ASSERT_TRUE(Eventually([&] { return text() == " listens\n"; })) << text();
}

}  // namespace
}  // namespace velmore::testing
