// One component on the simulator: subscribing, starting, stopping, and what arrives in handlers.

#include <gmock/gmock.h>

#include <future>

#include "EventsTestSupport.h"

namespace velmore::testing {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using FolderRef = TVqRef<IVqEWSFolder>;

class EventsThreads : public EventsTest {
 protected:
  explicit EventsThreads(const std::string& version = "Exchange2016") : EventsTest(TwoUsers(version)) {}

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
  /// The body of the last request of an operation.
  std::string Sent(const std::string& operation) { return BodyOf(LastExchange(operation).request_body); }

  TLog Log, States;
  TVqEWSFolderEvents Events;
};

// ---- What arrives

TEST_F(EventsThreads, NewMailArrivesOnTheMainThread) {
  std::thread::id where;
  std::vector<TItemId> items;
  LogEvents(Events, Log);
  const auto inbox = Inbox();
  Events.SetOnNewMail([&](const FolderRef& folder, TDateTime at, const TItemId& item, const TItemId& parent) {
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

TEST_F(EventsThreads, EveryChangeOfAFolderIsTold) {
  Events.Subscribe(Folder(dfindeleteditems));
  Watch();
  const auto inbox = Inbox();
  Deliver();
  ASSERT_TRUE(Eventually([&] { return Log.Count() >= 2; }));
  EXPECT_THAT(Log.Entries(), ElementsAre("new mail", "created"));
  Log.Clear();
  const auto first = [&] {
    const auto table = inbox->GetItems();
    table->GetFields().Add(FLD_ITEM_ITEMID);
    table->Open();
    return table->FieldByName(FLD_ITEM_ITEMID).GetValue<TItemId>();
  };
  const TItemId item = first();
  Server().Touch(item.Id.utf8());
  ASSERT_TRUE(Eventually([&] { return Log.Has("modified -1"); }));
  Log.Clear();
  inbox->CopyItem(item, inbox->GetID());
  ASSERT_TRUE(Eventually([&] { return Log.Has("copied"); }));
  Log.Clear();
  inbox->DeleteItem(item, dtMoveToDeletedItems);
  ASSERT_TRUE(Eventually([&] { return Log.Has("moved"); }));
  Log.Clear();
  inbox->DeleteItem(first(), dtHardDelete);
  ASSERT_TRUE(Eventually([&] { return Log.Count() > 0; }));
  EXPECT_THAT(Log.Entries(), ElementsAre("copied")) << "the deletion";
}

TEST_F(EventsThreads, ThreadedHandlersRunOnTheReader) {
  std::atomic<bool> other{false}, heard{false};
  Events.SetThreadedEvents(true);
  EXPECT_TRUE(Events.GetThreadedEvents());
  Events.SetOnNewMail(
      [&, main = std::this_thread::get_id()](const FolderRef&, TDateTime, const TItemId&, const TItemId&) {
        other = std::this_thread::get_id() != main;
        heard = true;
      });
  Events.Subscribe(Inbox());
  Events.Start();
  Deliver();
  ASSERT_TRUE(Eventually([&] { return heard.load(); }));
  EXPECT_TRUE(other);
  EXPECT_EQ(VqMainThreadQueueLength(), 0);
}

TEST_F(EventsThreads, ThreadedEventsCountsFromTheNextEventOn) {
  Watch();
  Events.SetThreadedEvents(true);
  Deliver();
  ASSERT_TRUE(Log.WaitFor(2)) << "nobody processes the queue";
  Events.SetThreadedEvents(false);
  Deliver();
  ASSERT_TRUE(Eventually([&] { return Log.Count() >= 4; }));
  EXPECT_EQ(Log.Entries().back(), "created");
}

TEST_F(EventsThreads, EventsPileUpWhileTheMainThreadIsBusy) {
  Watch();
  for (int i = 0; i < 20; ++i) Deliver();
  const auto end = std::chrono::steady_clock::now() + 30s;
  while (VqMainThreadQueueLength() < 40 && std::chrono::steady_clock::now() < end) std::this_thread::yield();
  EXPECT_EQ(VqMainThreadQueueLength(), 40) << "the reader goes on";
  EXPECT_THAT(Log.Entries(), IsEmpty());
  Events.Stop();
  VqProcessMainThreadQueue();
  EXPECT_EQ(Log.Count(), 40u) << "on purpose also after Stop";
}

TEST_F(EventsThreads, EventsBetweenTwoConnectionsAreTold) {
  TTestEvents events;
  LogEvents(events, Log);
  events.SetOnConnectionState([this](const TVqEWSConnectionReport& report) { States.Add(TextOf(report)); });
  events.Subscribe(Inbox());
  events.Start();
  ASSERT_TRUE(States.WaitFor(1));
  Server().DropConnections();
  Deliver();
  EXPECT_TRUE(Eventually([&] { return Log.Has("new mail"); }));
  events.Stop();
}

// ---- Subscribing

TEST_F(EventsThreads, WithoutAHandlerNothingStarts) {
  Events.Subscribe(Inbox());
  Forget();
  Events.Start();
  EXPECT_FALSE(Events.GetActive());
  EXPECT_THAT(Operations(), IsEmpty());
}

TEST_F(EventsThreads, WithoutAFolderNothingStarts) {
  LogEvents(Events, Log);
  Events.Start();
  EXPECT_FALSE(Events.GetActive());
  Events.Stop();
}

class EventsThreadsOfOldServers : public EventsThreads {
 protected:
  EventsThreadsOfOldServers() : EventsThreads("Exchange2010_SP1") {}
};

TEST_F(EventsThreads, TheRequestNamesFoldersWithBothAttributesAndEventsInTheirOrder) {
  Watch();
  const auto inbox = Inbox();
  EXPECT_EQ(Sent("Subscribe"),
            "<m:Subscribe><m:StreamingSubscriptionRequest><t:FolderIds><t:FolderId Id=\"" + inbox->GetID().Id.utf8() +
                "\" ChangeKey=\"" + inbox->GetID().ChangeKey.utf8() +
                "\"/></t:FolderIds><t:EventTypes><t:EventType>NewMailEvent</t:EventType><t:EventType>CopiedEvent"
                "</t:EventType><t:EventType>CreatedEvent</t:EventType><t:EventType>DeletedEvent</t:EventType>"
                "<t:EventType>ModifiedEvent</t:EventType><t:EventType>MovedEvent</t:EventType></t:EventTypes>"
                "</m:StreamingSubscriptionRequest></m:Subscribe>");
}

TEST_F(EventsThreadsOfOldServers, BothAttributesAtEveryVersion) {
  Watch();
  EXPECT_THAT(Sent("Subscribe"), HasSubstr("\" ChangeKey=\"" + Inbox()->GetID().ChangeKey.utf8() + "\"/>"));
}

TEST_F(EventsThreads, OnlyWhatHasAHandlerIsSubscribed) {
  Events.SetOnItemMoved(
      [](const FolderRef&, TDateTime, const TItemId&, const TItemId&, const TItemId&, const TItemId&) {});
  Events.SetOnItemCreated([](const FolderRef&, TDateTime, const TItemId&, const TItemId&) {});
  Events.Subscribe(Inbox());
  Events.Start();
  EXPECT_THAT(Sent("Subscribe"), HasSubstr("<t:EventTypes><t:EventType>CreatedEvent</t:EventType>"
                                           "<t:EventType>MovedEvent</t:EventType></t:EventTypes>"));
}

TEST_F(EventsThreads, AHandlerThatCameLaterHearsOfWhatIsSubscribed) {
  Events.SetOnItemCreated([this](const FolderRef&, TDateTime, const TItemId&, const TItemId&) { Log.Add("created"); });
  Events.SetEagerDispatch(true);
  Events.Subscribe(Inbox());
  Events.Start();
  Events.SetOnNewMail([this](const FolderRef&, TDateTime, const TItemId&, const TItemId&) { Log.Add("new mail"); });
  Deliver();
  Deliver();
  ASSERT_TRUE(Eventually([&] { return Log.Count() >= 2; }));
  EXPECT_THAT(Log.Entries(), ElementsAre("created", "created"));
}

TEST_F(EventsThreads, TheStreamIsAskedForWithAllIdsOfTheGroup) {
  Watch();
  const string id = Events.GetHandler().GetEventGroups().begin()->second->GetItem(0).GetSubscriptionId();
  Events.Stop();
  EXPECT_EQ(BodyOf(EndedStream().request_body),
            "<m:GetStreamingEvents><m:SubscriptionIds><t:SubscriptionId>" + id.utf8() +
                "</t:SubscriptionId></m:SubscriptionIds><m:ConnectionTimeout>1</m:ConnectionTimeout>"
                "</m:GetStreamingEvents>");
}

TEST_F(EventsThreads, ForOneStoreNothingSpeaksOfAnchors) {
  Events.Subscribe(Folder(dfindrafts));  // two folders share a subscription
  Watch();
  Events.Stop();
  EXPECT_EQ(CountOf("Subscribe"), 1u);
  for (const char* operation : {"Subscribe", "GetStreamingEvents"}) {
    const simulator::Exchange exchange = operation[0] == 'S' ? LastExchange(operation) : EndedStream();
    EXPECT_EQ(exchange.RequestHeader("X-PreferServerAffinity"), "") << operation;
    EXPECT_EQ(HeaderOf(exchange.request_body).find("ExchangeImpersonation"), std::string::npos) << operation;
  }
  EXPECT_EQ(EndedStream().RequestHeader("X-AnchorMailbox"), "");
}

TEST_F(EventsThreads, TheRequestsCarryTheExchangeCookie) {
  Watch();
  Events.Stop();
  EXPECT_EQ(LastExchange("Subscribe").RequestHeader("Cookie"), "exchangecookie=****");
  const simulator::Exchange stream = EndedStream();
  EXPECT_EQ(stream.RequestHeader("Cookie"), "exchangecookie=****");
  EXPECT_EQ(stream.RequestHeader("Content-Type"), "text/xml");
  EXPECT_EQ(stream.RequestHeader("Accept"), "text/xml");
  EXPECT_EQ(stream.method, "POST");
}

TEST_F(EventsThreads, SubscribingWhileActiveStartsEverythingAnew) {
  Watch();
  TVqEWSEventGroups& groups = Events.GetHandler().GetEventGroups();
  const string before = groups.begin()->second->GetItem(0).GetSubscriptionId();
  Events.Subscribe(Folder(dfindrafts));
  EXPECT_TRUE(Events.GetActive());
  EXPECT_NE(groups.begin()->second->GetItem(0).GetSubscriptionId(), before);
  EXPECT_EQ(CountOf("Subscribe"), 2u);
  EXPECT_EQ(CountOf("Unsubscribe"), 1u);
  EXPECT_EQ(Server().CountSubscriptions(), 1u);
}

TEST_F(EventsThreads, UnsubscribingWhileActiveIsRefused) {
  Watch();
  const auto inbox = Inbox();
  EXPECT_EQ(MessageOf<EVqException>([&] { Events.Unsubscribe(inbox); }),
            "You must stop the event monitoring before you can unsubscribe a folder!");
  Events.Unsubscribe(Folder(dfindrafts));  // is not watched
  Events.Stop();
  Events.Unsubscribe(inbox);
  EXPECT_EQ(Events.GetHandler().GetEventGroups().SubscriptionCount(), 0);
  Events.Start();
  EXPECT_FALSE(Events.GetActive());
}

TEST_F(EventsThreads, ARefusedSubscriptionRaisesAndNothingRuns) {
  simulator::Fault fault;
  fault.operation = "Subscribe";
  fault.response_code = "ErrorSubscriptionDelegateAccessNotSupported";
  fault.message_text = "No.";
  Server().AddFault(fault);
  LogEvents(Events, Log);
  Events.Subscribe(Inbox());
  EXPECT_EQ(MessageOf<EEWSException>([&] { Events.Start(); }), "ErrorSubscriptionDelegateAccessNotSupported (No.).");
  EXPECT_FALSE(Events.GetActive());
  EXPECT_EQ(CountOf("GetStreamingEvents"), 0u);
  Forget();
  Events.Stop();
  EXPECT_THAT(Operations(), IsEmpty()) << "what has no id is not removed";
  Events.Start();
  EXPECT_TRUE(Events.GetActive());
}

TEST_F(EventsThreads, SubscriptionsMadeBeforeAFailureKeepTheirIds) {
  TVqEWSSingleStoreFolderEvents events;
  LogEvents(events, Log);
  events.Subscribe(Inbox(), [](const string&) { return "A"; });
  events.Subscribe(Folder(dfindrafts), [](const string&) { return "B"; });
  simulator::Fault fault;
  fault.operation = "Subscribe";
  fault.skip = 1;
  fault.response_code = "ErrorInternalServerError";
  Server().AddFault(fault);
  EXPECT_THROW(events.Start(), EEWSException);
  EXPECT_NE(events.GetEventGroups().GetGroup("A").GetItem(0).GetSubscriptionId(), "");
  EXPECT_EQ(events.GetEventGroups().GetGroup("B").GetItem(0).GetSubscriptionId(), "");
  EXPECT_FALSE(events.GetActive());
  events.Stop();
  EXPECT_EQ(CountOf("Unsubscribe"), 1u);
}

TEST_F(EventsThreads, TheSubscribingClientHasItsOwnConnectTimeOutAndItsCookies) {
  TTestEvents events;
  LogEvents(events, Log);
  std::string group;
  events.Subscribe(Inbox(), [&](const string& address) {
    group = address.utf8();
    return "X";
  });
  EXPECT_EQ(group, kAlice);
  int asked = 0;
  events.DoStart([](TVqEWSEventGroup& each) { EXPECT_EQ(each.GetGroupCode(), "X"); },
                 [&](TVqEWSEventSubscription&, IVqSOAPRequest& request) {
                   auto& client = dynamic_cast<IVqHTTPClient&>(*request.GetHTTPClient());
                   EXPECT_EQ(client.GetTimeOuts().GetConnect(), 15000);
                   EXPECT_TRUE(client.GetUseCookies());
                   EXPECT_EQ(client.GetSession()->GetCookies().GetValue(Session().GetServiceURL(), "exchangecookie"),
                             Session().GetExchangeCookie());
                   ++asked;
                 },
                 [&](TVqEWSEventGroup& each) { return std::make_shared<TTestReader>(events, each, events.Time); });
  EXPECT_EQ(asked, 1);
  EXPECT_TRUE(events.GetActive());
}

TEST_F(EventsThreads, TheCodeWithoutAHookIsDefault) {
  TVqEWSSingleStoreFolderEvents events;
  EXPECT_EQ(events.GetSession(), nullptr);
  EXPECT_EQ(events.GetFirstStoreName(), "");
  events.Subscribe(Inbox());
  EXPECT_EQ(events.GetEventGroups().begin()->first, "Default");
  EXPECT_EQ(events.GetSession(), &Session());
  EXPECT_EQ(events.GetFirstStoreName(), kAlice);
}

// ---- Stopping

TEST_F(EventsThreads, ASecondStopHasNothingLeftToSay) {
  Watch();
  Events.Stop();
  Forget();
  Events.Stop();
  EXPECT_THAT(Operations(), IsEmpty());
  EXPECT_EQ(Events.GetHandler().GetEventGroups().SubscriptionCount(), 1) << "folders stay listed";
  Events.Start();
  EXPECT_TRUE(Events.GetActive());
}

TEST_F(EventsThreads, WhatTheServerSaysToUnsubscribeIsNotLookedAt) {
  for (int kind = 0; kind < 4; ++kind) {
    simulator::Fault fault;
    fault.operation = "Unsubscribe";
    if (kind == 0) fault.response_code = "ErrorSubscriptionNotFound";
    if (kind == 1) fault.soap_fault_code = "ErrorServerBusy";
    if (kind == 2) fault.body = "<s:Envelope xmlns:s=\"http://schemas.xmlsoap.org/soap/envelope/\"><s:Body>";
    if (kind == 3)
      fault.body = "<s:Envelope xmlns:s=\"http://schemas.xmlsoap.org/soap/envelope/\"><s:Body/></s:Envelope>";
    fault.replace_body = kind >= 2;
    Server().AddFault(fault);
    States.Clear();
    Watch();
    EXPECT_NO_THROW(Events.Stop()) << kind;
    EXPECT_EQ(Server().PendingFaults(), 0u);
  }
}

TEST_F(EventsThreads, AFailureOfTheTransportPassesAndTheReadersHaveEnded) {
  Watch();
  simulator::Fault fault;
  fault.operation = "Unsubscribe";
  fault.http_status = 403;
  Server().AddFault(fault);
  EXPECT_THROW(Events.Stop(), EVqHTTPException);
  EXPECT_FALSE(Events.GetActive());
  Events.Stop();
  EXPECT_EQ(Server().CountSubscriptions(), 0u) << "the id was kept for the next Stop";
}

TEST_F(EventsThreads, StopAfterALogoffRaisesAndTheDestructorDoesNot) {
  auto events = std::make_unique<TVqEWSFolderEvents>();
  LogEvents(*events, Log);
  events->Subscribe(Inbox());
  events->Start();
  Session().SetActive(false);
  EXPECT_EQ(MessageOf<EVqException>([&] { events->Stop(); }), "You must logon first!");
  EXPECT_FALSE(events->GetActive());
  EXPECT_NO_THROW(events.reset());
}

TEST_F(EventsThreads, AnOldIdFindsNothingAfterStop) {
  Watch();
  const auto inbox = Inbox();
  const string id = Events.GetHandler().GetEventGroups().begin()->second->GetItem(0).GetSubscriptionId();
  const TVqDOMDocument late(EnvelopeOf(
      id.utf8(), "<t:NewMailEvent><t:ParentFolderId Id=\"" + inbox->GetID().Id.utf8() + "\"/></t:NewMailEvent>"));
  Events.GetHandler().ProcessEvents(late);
  EXPECT_EQ(VqMainThreadQueueLength(), 1);
  Events.Stop();
  Events.GetHandler().ProcessEvents(late);
  Events.Unsubscribe(inbox);
  Events.GetHandler().ProcessEvents(late);
  EXPECT_EQ(VqMainThreadQueueLength(), 1) << "nor with its folder gone";
}

TEST_F(EventsThreads, TheDestructorStops) {
  {
    TVqEWSFolderEvents events;
    LogEvents(events, Log);
    events.Subscribe(Inbox());
    events.SetActive(true);
    EXPECT_TRUE(events.GetActive());
  }
  EXPECT_EQ(CountOf("Unsubscribe"), 1u);
}

TEST_F(EventsThreads, ActiveStartsAndStops) {
  Watch();
  Events.SetActive(true);
  EXPECT_EQ(CountOf("Subscribe"), 1u) << "it was active";
  Events.SetActive(false);
  EXPECT_FALSE(Events.GetActive());
}

TEST_F(EventsThreads, ASessionThatGoesEndsTheReaders) {
  TVqEWSFolderEvents events;
  LogEvents(events, Log);
  events.SetOnConnectionState([this](const TVqEWSConnectionReport& report) { States.Add(TextOf(report)); });
  {
    TVqEWSServiceSession session;
    Configure(session);
    session.SetActive(true);
    events.Subscribe(session.OpenDefaultMsgStore()->GetFolder(dfininbox, ""));
    events.Start();
    ASSERT_TRUE(States.WaitFor(1));
    EXPECT_EQ(events.GetHandler().GetSession(), &session);
  }
  EXPECT_FALSE(events.GetActive());
  EXPECT_EQ(events.GetHandler().GetSession(), nullptr);
  EXPECT_NO_THROW(events.Stop());
  EXPECT_EQ(MessageOf<EVqException>([&] { events.Start(); }), "There is no active EWS Session!");
}

TEST_F(EventsThreads, ANewLogonCountsAtTheNextStart) {
  Watch();
  Events.Stop();
  Session().SetActive(false);
  Session().SetActive(true);
  States.Clear();
  Events.Start();
  ASSERT_TRUE(States.WaitFor(1));
  EXPECT_EQ(States.Entries().front(), "connected");
}

// ---- Handlers that do what they should not

TEST_F(EventsThreads, StoppingOnAReadersThreadIsAnError) {
  Events.SetThreadedEvents(true);
  const auto drafts = Folder(dfindrafts);
  Events.SetOnNewMail([&](const FolderRef&, TDateTime, const TItemId&, const TItemId&) {
    const auto text = [](const std::function<void()>& action) {
      try {
        action();
      } catch (const EVqException& failure) {
        return std::string(failure.what());
      }
      return std::string("nothing");
    };
    Log.Add(text([&] { Events.Stop(); }));
    Log.Add(text([&] { Events.Start(); }));
    Log.Add(text([&] { Events.Subscribe(drafts); }));
  });
  Events.Subscribe(Inbox());
  Events.Start();
  Deliver();
  ASSERT_TRUE(Log.WaitFor(3));
  const std::string text =
      "The event monitoring cannot be stopped on the thread of one of its readers, which would wait for itself!";
  EXPECT_THAT(Log.Entries(), ElementsAre(text, text, text));
  EXPECT_TRUE(Events.GetActive());
}

TEST_F(EventsThreads, ComponentsOfOtherReadersMayBeStoppedOnAReadersThread) {
  TVqEWSFolderEvents other;  // nothing is subscribed: no session is used on two threads
  Events.SetThreadedEvents(true);
  Events.SetOnNewMail([&](const FolderRef&, TDateTime, const TItemId&, const TItemId&) {
    other.Stop();
    Log.Add("stopped");
  });
  Events.Subscribe(Inbox());
  Events.Start();
  Deliver();
  EXPECT_TRUE(Log.WaitFor(1));
}

TEST_F(EventsThreads, AHandlerOnAReadersThreadMayDestroyTheComponent) {
  const auto inbox = Inbox();  // so that the last reference does not go on the reader's thread
  const std::int64_t before = VqLiveObjectCount();
  auto events = std::make_unique<TVqEWSFolderEvents>();
  std::promise<void> ready;
  events->SetThreadedEvents(true);
  events->SetOnNewMail(
      [&, go = ready.get_future().share()](const FolderRef&, TDateTime, const TItemId&, const TItemId&) {
        go.wait();
        events = nullptr;
        Log.Add("destroyed");
      });
  events->Subscribe(inbox);
  events->Start();
  Deliver();
  Deliver();
  ready.set_value();  // from here on the session is the handler's
  ASSERT_TRUE(Log.WaitFor(1));
  EXPECT_EQ(events, nullptr);
  EXPECT_TRUE(Eventually([&] { return VqLiveObjectCount() <= before; })) << "the thread has ended and left nothing";
}

TEST_F(EventsThreads, AHandlerOnTheMainThreadMayDoAnything) {
  auto events = std::make_unique<TVqEWSFolderEvents>();
  int heard = 0;
  events->SetOnNewMail([&](const FolderRef&, TDateTime, const TItemId&, const TItemId&) {
    if (++heard == 1) {
      events->Subscribe(Folder(dfindrafts));
    } else if (heard == 2) {
      events->Stop();
      events->Start();
    } else {
      events = nullptr;
    }
  });
  events->Subscribe(Inbox());
  events->Start();
  for (int i = 1; i <= 3; ++i) {
    Deliver();
    ASSERT_TRUE(Eventually([&] { return heard == i; }));
  }
  EXPECT_EQ(events, nullptr);
}

TEST_F(EventsThreads, AHandlerMaySetAnother) {
  Events.SetThreadedEvents(true);
  Events.SetOnNewMail([this](const FolderRef&, TDateTime, const TItemId&, const TItemId&) {
    Events.SetOnNewMail([this](const FolderRef&, TDateTime, const TItemId&, const TItemId&) { Log.Add("second"); });
    Log.Add("first");
  });
  Events.Subscribe(Inbox());
  Events.Start();
  Deliver();
  ASSERT_TRUE(Log.WaitFor(1));
  Deliver();
  ASSERT_TRUE(Log.WaitFor(2));
  EXPECT_THAT(Log.Entries(), ElementsAre("first", "second"));
}

TEST_F(EventsThreads, HandlersAreSetWhileEventsCome) {
  Watch();
  Events.SetThreadedEvents(true);
  std::atomic<bool> done{false};
  std::jthread setter([&] {
    while (!done) {
      Events.SetOnNewMail([this](const FolderRef&, TDateTime, const TItemId&, const TItemId&) { Log.Add("new mail"); });
      Events.SetThreadedEvents(true);
      Events.SetOnConnectionState(nullptr);
      static_cast<void>(Events.GetOnNewMail());
    }
  });
  for (int i = 0; i < 50; ++i) Deliver();
  EXPECT_TRUE(Log.WaitFor(100));
  done = true;
}

// ---- The recipe for what a stream can miss

TEST_F(EventsThreads, ASubscriptionThatWasForgottenGoesOnFailing) {
  TTestEvents events;
  LogEvents(events, Log);
  events.Time->Free = 3;
  events.SetOnConnectionState([this](const TVqEWSConnectionReport& report) { States.Add(TextOf(report)); });
  events.Subscribe(Inbox());
  events.Start();
  ASSERT_TRUE(States.WaitFor(1));
  Server().ForgetSubscriptions();
  ASSERT_TRUE(events.Time->WaitForWaits(3));
  EXPECT_THAT(States.Entries(), ElementsAre("connected", "refused ErrorSubscriptionNotFound", "lost: ", "waiting 5000",
                                            "refused ErrorSubscriptionNotFound", "lost: ", "waiting 5000",
                                            "refused ErrorSubscriptionNotFound", "lost: ", "waiting 5000"));
  EXPECT_EQ(CountOf("Subscribe"), 1u);
}

TEST_F(EventsThreads, ResubscribeMakesForgottenSubscriptionsAnew) {
  TTestEvents events;
  LogEvents(events, Log);
  events.SetThreadedEvents(true);
  events.SetEagerDispatch(true);
  events.SetResubscribe(true);
  events.SetOnConnectionState([this](const TVqEWSConnectionReport& report) {
    std::string text = TextOf(report);
    for (const string& id : report.SubscriptionIds) text += " " + id.utf8();
    EXPECT_EQ(report.GroupCode, "Default");
    States.Add(text);
  });
  events.Subscribe(Inbox());
  events.Start();
  ASSERT_TRUE(States.WaitFor(1));
  TVqEWSEventSubscription& subscription = events.GetEventGroups().begin()->second->GetItem(0);
  const string before = subscription.GetSubscriptionId();
  const std::string request = Sent("Subscribe");
  Server().ForgetSubscriptions();
  ASSERT_TRUE(States.WaitFor(6));
  EXPECT_THAT(States.Entries(), ElementsAre("connected", "refused ErrorSubscriptionNotFound " + before.utf8(),
                                            "lost: ", "waiting 5000", "resubscribed", "connected"));
  EXPECT_NE(subscription.GetSubscriptionId(), before);
  EXPECT_EQ(Sent("Subscribe"), request);
  Deliver();
  EXPECT_TRUE(Log.WaitFor(2));
  events.Stop();
  EXPECT_EQ(Server().CountSubscriptions(), 0u) << "Stop knows the new ids";
}

TEST_F(EventsThreads, ResubscribingGoesOnUntilTheServerIsBack) {
  TTestEvents events;
  LogEvents(events, Log);
  events.SetResubscribe(true);
  events.SetOnConnectionState([this](const TVqEWSConnectionReport& report) { States.Add(TextOf(report)); });
  events.Subscribe(Inbox());
  events.Start();
  ASSERT_TRUE(States.WaitFor(1));
  simulator::Fault fault;
  fault.operation = "Subscribe";
  fault.response_code = "ErrorServerBusy";
  fault.message_text = "Later.";
  fault.times = 2;
  Server().AddFault(fault);
  Server().ForgetSubscriptions();
  ASSERT_TRUE(States.WaitFor(10));
  EXPECT_THAT(States.Entries(),
              ElementsAre("connected", "refused ErrorSubscriptionNotFound", "lost: ", "waiting 5000",
                          "lost: ErrorServerBusy (Later.).", "waiting 5000", "lost: ErrorServerBusy (Later.).",
                          "waiting 5000", "resubscribed", "connected"));
}

}  // namespace
}  // namespace velmore::testing
