// Many mailboxes: groups by what Autodiscover tells, anchors, affinity headers and cookies, impersonation.

#include <gmock/gmock.h>

#include "EventsTestSupport.h"

namespace velmore::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using FolderRef = TVqRef<IVqEWSFolder>;

constexpr const char* kCarol = "carol@example.com";

simulator::Options ThreeUsers(const std::string& version = "Exchange2016") {
  simulator::Options options = TwoUsers(version);
  options.users[0].may_impersonate = true;
  options.users.push_back({"carol", kCarol, "Carol Chen", "crystal"});
  options.back_ends = 2;
  options.users[2].back_end = 1;
  return options;
}

/// A session whose Autodiscover is played by the test.
class TPlacedSession : public TVqEWSServiceSession {
 public:
  std::function<std::string(const std::string& address)> Answer;  // the inside of the protocol
  Names Asked;

  IVqDOMDocument Autodiscover(const string& AEMail) override {
    Asked.push_back(AEMail.utf8());
    return TVqDOMDocument(
        "<Autodiscover><Response><Account><Protocol><Type>EXCH</Type></Protocol><Protocol>"
        "<Type>EXPR</Type>" +
        Answer(AEMail.utf8()) + "</Protocol></Account></Response></Autodiscover>");
  }
};

class ManyStores : public EventsTest {
 protected:
  explicit ManyStores(simulator::Options options = ThreeUsers()) : EventsTest(std::move(options)) {
    Configure(Placed);
    Placed.GetCredentials().SetUserName("alice@example.com");
    Placed.Answer = [](const std::string& address) {
      return "<EwsUrl>https://mail/</EwsUrl><GroupingInformation>" + std::string(address == kCarol ? "two" : "one") +
             "</GroupingInformation>";
    };
    Placed.SetActive(true);
    LogEvents(Events, Log);
    Events.SetThreadedEvents(true);
    Events.SetEagerDispatch(true);
    Events.SetOnConnectionState(
        [this](const TVqEWSConnectionReport& report) { States.Add(report.GroupCode.utf8() + " " + TextOf(report)); });
  }

  FolderRef InboxOf(const char* address) { return Placed.OpenMsgStore(address)->GetFolder(dfininbox, ""); }
  std::vector<simulator::Exchange> Exchanges(const std::string& operation) {
    std::vector<simulator::Exchange> found;
    for (const auto& exchange : Server().Exchanges())
      if (exchange.operation == operation) found.push_back(exchange);
    return found;
  }
  static std::string Impersonation(const std::string& address) {
    return "<t:ExchangeImpersonation><t:ConnectingSID><t:PrimarySmtpAddress>" + address +
           "</t:PrimarySmtpAddress></t:ConnectingSID></t:ExchangeImpersonation>";
  }
  TVqEWSEventSubscriptionEx& Subscription(const string& group, std::int32_t at) {
    return dynamic_cast<TVqEWSEventSubscriptionEx&>(Events.GetHandler().GetEventGroups().GetGroup(group).GetItem(at));
  }
  Names Codes() {
    Names codes;
    for (const auto& [code, group] : Events.GetHandler().GetEventGroups())
      codes.push_back(code.utf8() + " " + std::to_string(group->Count()));
    return codes;
  }

  TPlacedSession Placed;
  TLog Log, States;
  TVqEWSFolderEvents Events;
};

TEST_F(ManyStores, StoresAreGroupedByWhatAutodiscoverTells) {
  for (const char* address : {kBob, kAlice, kCarol}) Events.Subscribe(InboxOf(address));
  EXPECT_THAT(Placed.Asked, ElementsAre(kBob, kAlice, kCarol));
  EXPECT_THAT(Codes(), ElementsAre("onehttps://mail/ 2", "twohttps://mail/ 1"));
}

TEST_F(ManyStores, AnotherUrlIsAnotherGroup) {
  Placed.Answer = [](const std::string& address) {
    return "<EwsUrl>https://" + address + "/</EwsUrl><GroupingInformation>one</GroupingInformation>";
  };
  for (const char* address : {kBob, kAlice}) Events.Subscribe(InboxOf(address));
  EXPECT_THAT(Codes(), ElementsAre("onehttps://alice@example.com/ 1", "onehttps://bob@example.com/ 1"));
  Events.Start();
  ASSERT_TRUE(States.WaitFor(2));
  EXPECT_EQ(CountOf("GetStreamingEvents"), 2u) << "a reader each";
  EXPECT_TRUE(Subscription("onehttps://bob@example.com/", 0).GetIsAnchor());
}

TEST_F(ManyStores, TheAnchorIsTheFirstByAddressWhicheverCameFirst) {
  for (const char* address : {kBob, kAlice, kCarol}) Events.Subscribe(InboxOf(address));
  Forget();
  Events.Start();
  ASSERT_TRUE(States.WaitFor(2));
  const auto subscribes = Exchanges("Subscribe");
  ASSERT_EQ(subscribes.size(), 3u);
  // The anchor asks for its back end, the second one is led there, the third one is another group's anchor.
  EXPECT_EQ(subscribes[0].RequestHeader("X-AnchorMailbox"), kAlice);
  EXPECT_EQ(subscribes[0].RequestHeader("X-PreferServerAffinity"), "true");
  EXPECT_THAT(subscribes[0].request_body, HasSubstr(Impersonation(kAlice)));
  EXPECT_THAT(subscribes[0].RequestHeader("Cookie"), Not(HasSubstr("X-BackEndOverrideCookie")));
  EXPECT_EQ(subscribes[1].RequestHeader("X-AnchorMailbox"), kAlice);
  EXPECT_EQ(subscribes[1].RequestHeader("X-PreferServerAffinity"), "true");
  EXPECT_THAT(subscribes[1].request_body, HasSubstr(Impersonation(kBob)));
  EXPECT_THAT(subscribes[1].RequestHeader("Cookie"), HasSubstr("X-BackEndOverrideCookie=backend-0~1941997017"));
  EXPECT_EQ(subscribes[2].RequestHeader("X-AnchorMailbox"), kCarol);
  EXPECT_THAT(subscribes[2].request_body, HasSubstr(Impersonation(kCarol)));
  EXPECT_THAT(subscribes[2].RequestHeader("Cookie"), Not(HasSubstr("X-BackEndOverrideCookie")))
      << "that of the group before leads to the wrong back end";
  EXPECT_EQ(Subscription("onehttps://mail/", 0).GetStoreIdentity(), kAlice);
  EXPECT_TRUE(Subscription("onehttps://mail/", 0).GetIsAnchor());
  EXPECT_EQ(Subscription("onehttps://mail/", 0).GetBackendOverrideCookie(), "backend-0~1941997017");
  EXPECT_FALSE(Subscription("onehttps://mail/", 1).GetIsAnchor());
  EXPECT_EQ(Subscription("onehttps://mail/", 1).GetBackendOverrideCookie(), "");
  EXPECT_EQ(Subscription("twohttps://mail/", 0).GetBackendOverrideCookie(), "backend-1~1941997017");
}

TEST_F(ManyStores, TheReaderAsksInTheNameOfTheAnchorForAll) {
  for (const char* address : {kBob, kAlice}) Events.Subscribe(InboxOf(address));
  Events.Start();
  ASSERT_TRUE(States.WaitFor(1));
  Events.Stop();
  const simulator::Exchange stream = EndedStream();
  EXPECT_EQ(stream.RequestHeader("X-AnchorMailbox"), kAlice);
  EXPECT_EQ(stream.RequestHeader("X-PreferServerAffinity"), "true");
  EXPECT_THAT(stream.RequestHeader("Cookie"), HasSubstr("X-BackEndOverrideCookie=backend-0~1941997017"));
  EXPECT_THAT(stream.request_body, HasSubstr(Impersonation(kAlice)));
  const std::string ids = BodyOf(stream.request_body);
  EXPECT_EQ(ids.find("<t:SubscriptionId>", ids.find("<t:SubscriptionId>") + 1) == std::string::npos, false) << ids;
}

TEST_F(ManyStores, EveryMailboxIsHeardOfOnItsBackEnd) {
  for (const char* address : {kBob, kAlice, kCarol}) Events.Subscribe(InboxOf(address));
  Events.Start();
  ASSERT_TRUE(States.WaitFor(2));
  EXPECT_TRUE(States.Has("onehttps://mail/ connected"));
  EXPECT_TRUE(States.Has("twohttps://mail/ connected"));
  for (const char* address : {kAlice, kBob, kCarol}) Server().Deliver(address, MimeOf("Hello"));
  EXPECT_TRUE(Log.WaitFor(6)) << "one of several mailboxes must not be silent";
}

TEST_F(ManyStores, OrdinaryRequestsAreNotPinnedToABackEnd) {
  for (const char* address : {kBob, kAlice}) Events.Subscribe(InboxOf(address));
  Events.Start();
  ASSERT_TRUE(States.WaitFor(1));
  InboxOf(kCarol);
  EXPECT_THAT(LastExchange("GetFolder").RequestHeader("Cookie"), Not(HasSubstr("X-BackEndOverrideCookie")));
  Server().DropConnections();
  ASSERT_TRUE(States.WaitFor(3));
  Events.Stop();
  InboxOf(kCarol);
  EXPECT_THAT(LastExchange("GetFolder").RequestHeader("Cookie"), Not(HasSubstr("X-BackEndOverrideCookie")))
      << "nor after the end of a stream";
}

TEST_F(ManyStores, OneStoreIsWatchedPlainly) {
  Events.Subscribe(InboxOf(kCarol));
  Events.Subscribe(Placed.OpenMsgStore(kCarol)->GetFolder(dfindrafts, ""));
  Server().AddFault([] {
    simulator::Fault fault;  // Alice's account may not watch Carol's folders without acting as her
    fault.operation = "Subscribe";
    fault.response_code = "ErrorSubscriptionDelegateAccessNotSupported";
    return fault;
  }());
  EXPECT_THROW(Events.Start(), EEWSException);
  const simulator::Exchange subscribe = LastExchange("Subscribe");
  EXPECT_EQ(subscribe.RequestHeader("X-PreferServerAffinity"), "");
  EXPECT_THAT(subscribe.request_body, Not(HasSubstr("ExchangeImpersonation")));
  EXPECT_EQ(Exchanges("Subscribe").size(), 1u) << "two folders of a store share a subscription";
}

TEST_F(ManyStores, AServerWithoutAffinityGetsAnEmptyCookie) {
  for (const char* address : {kBob, kAlice}) Events.Subscribe(InboxOf(address));
  // The first answer comes without the cookie.
  simulator::Fault bare;
  bare.operation = "Subscribe";
  bare.replace_body = true;
  bare.content_type = "text/xml; charset=utf-8";
  bare.body =
      "<s:Envelope xmlns:s=\"http://schemas.xmlsoap.org/soap/envelope/\"><s:Body><m:SubscribeResponse "
      "xmlns:m=\"http://schemas.microsoft.com/exchange/services/2006/messages\"><m:ResponseMessages>"
      "<m:SubscribeResponseMessage ResponseClass=\"Success\"><m:ResponseCode>NoError</m:ResponseCode>"
      "<m:SubscriptionId>one</m:SubscriptionId></m:SubscribeResponseMessage></m:ResponseMessages>"
      "</m:SubscribeResponse></s:Body></s:Envelope>";
  Server().AddFault(bare);
  Events.Start();
  EXPECT_EQ(Subscription("onehttps://mail/", 0).GetBackendOverrideCookie(), "");
  const auto subscribes = Exchanges("Subscribe");
  ASSERT_EQ(subscribes.size(), 2u);
  const std::string cookies = subscribes[1].RequestHeader("Cookie") + ";";
  EXPECT_THAT(cookies, HasSubstr("X-BackEndOverrideCookie=;")) << "and no error";
}

TEST_F(ManyStores, TheRolesAreWorkedOutByEachStart) {
  for (const char* address : {kBob, kCarol}) {
    Placed.Answer = [](const std::string&) { return "<EwsUrl/><GroupingInformation>g</GroupingInformation>"; };
    Events.Subscribe(InboxOf(address));
  }
  Events.Start();
  EXPECT_EQ(Subscription("g", 0).GetStoreIdentity(), kBob);
  EXPECT_EQ(Subscription("g", 0).GetBackendOverrideCookie(), "backend-0~1941997017");
  Events.Subscribe(InboxOf(kAlice));
  EXPECT_EQ(Subscription("g", 0).GetStoreIdentity(), kAlice);
  EXPECT_TRUE(Subscription("g", 0).GetIsAnchor());
  EXPECT_FALSE(Subscription("g", 1).GetIsAnchor());
  EXPECT_EQ(Subscription("g", 1).GetBackendOverrideCookie(), "");
}

TEST_F(ManyStores, TheCallersHookIsDropped) {
  bool called = false;
  Events.GetHandler().Subscribe(InboxOf(kBob), [&](const string&) {
    called = true;
    return "mine";
  });
  EXPECT_FALSE(called);
  EXPECT_THAT(Codes(), ElementsAre("onehttps://mail/ 1"));
}

TEST_F(ManyStores, WithoutAUsableAddressTheCodeIsEmpty) {
  const auto inbox = InboxOf(kBob);
  Placed.GetCredentials().SetUserName("alice");
  Events.Subscribe(inbox);
  EXPECT_THAT(Codes(), ElementsAre(" 1"));
  EXPECT_THAT(Placed.Asked, IsEmpty());
}

TEST_F(ManyStores, AnAnswerThatDoesNotTellThePlaceRaises) {
  const auto inbox = InboxOf(kBob);
  for (const char* lacking : {"<EwsUrl>u</EwsUrl>", "<GroupingInformation>g</GroupingInformation>"}) {
    Placed.Answer = [lacking](const std::string&) { return lacking; };
    EXPECT_THROW(Events.Subscribe(inbox), EVqXMLError) << lacking;
  }
  EXPECT_THAT(Codes(), IsEmpty());
}

/// A request that goes through a client of another kind.
class TStrangeRequest : public TVqObject, public virtual IVqSOAPRequest {
 public:
  TVqComponent* GetHTTPClient() override { return &FOther; }
  IVqDOMDocument GetDocument() override { return {}; }
  IVqDOMElement GetEnvelope() override { return {}; }
  IVqDOMElement GetHeader() override { return {}; }
  bool HasHeader() override { return false; }
  IVqDOMElement GetBody() override { return {}; }
  IVqDOMElement GetMethod() override { return {}; }
  string GetResponseName() override { return {}; }
  void LoadEnvelope(IVqSOAPEnvelope&) override {}
  void AddHTTPHeader(const string&, const string&) override {}
  IVqDOMElement AddSOAPHeader(const string&, const string&) override { return {}; }
  void Send(TVqRef<IVqSOAPResponse>&, TVqSOAPSendKind, const TVqSOAPResponseFactory&) override {}
  void AcceptAnyResponse() override {}
  void SetResponseHandler(TVqHTTPResponseHandler) override {}

 private:
  TVqComponent FOther;
};

/// Many stores, with readers whose time the test moves.
class TTestManyStores : public TVqEWSMultipleStoreFolderEvents {
 public:
  using TVqEWSMultipleStoreFolderEvents::AnchorRequest;

  void Start() override {
    class TReader : public TVqEWSGetAnchorEvents {
     public:
      using TVqEWSGetAnchorEvents::TVqEWSGetAnchorEvents;

     protected:
      void WaitBeforeNext(std::chrono::milliseconds) override {}
    };
    DoStart([](TVqEWSEventGroup& group) { group.SortByAddress(); }, &AnchorRequest,
            [this](TVqEWSEventGroup& group) { return std::make_shared<TReader>(*this, group); });
  }
};

TEST_F(ManyStores, AClientThatIsNoHttpClientIsRefused) {
  Events.Subscribe(InboxOf(kBob));
  const auto request = MakeRef<TStrangeRequest>();
  EXPECT_EQ(
      MessageOf<EVqException>([&] { TTestManyStores::AnchorRequest(Subscription("onehttps://mail/", 0), *request); }),
      "IVqHTTPClient must be implemented by the client!");
}

TEST_F(ManyStores, ABackEndThatMovesIsFoundAgainByResubscribing) {
  TTestManyStores events;
  LogEvents(events, Log);
  events.SetThreadedEvents(true);
  events.SetEagerDispatch(true);
  events.SetResubscribe(true);
  events.SetOnConnectionState([this](const TVqEWSConnectionReport& report) { States.Add(TextOf(report)); });
  for (const char* address : {kBob, kAlice}) events.Subscribe(InboxOf(address));
  events.Start();
  ASSERT_TRUE(States.WaitFor(1));
  Server().SetBackEnd(kAlice, 1);
  Server().SetBackEnd(kBob, 1);
  Server().ForgetSubscriptions();
  ASSERT_TRUE(States.WaitFor(6));
  EXPECT_THAT(States.Entries(), ElementsAre("connected", "refused ErrorSubscriptionNotFound", "lost: ", "waiting 5000",
                                            "resubscribed", "connected"));
  Server().Deliver(kBob, MimeOf("Hello"));
  EXPECT_TRUE(Log.WaitFor(2));
  events.Stop();
  ASSERT_TRUE(Eventually([&] { return Exchanges("GetStreamingEvents").size() >= 2; }));
  const simulator::Exchange stream = LastExchange("GetStreamingEvents");
  EXPECT_THAT(stream.RequestHeader("Cookie"), HasSubstr("X-BackEndOverrideCookie=backend-1~1941997017"));
  EXPECT_THAT(Exchanges("Subscribe").back().request_body, HasSubstr(Impersonation(kBob)));
}

class ManyStoresOfOldServers : public ManyStores {
 protected:
  ManyStoresOfOldServers() : ManyStores(ThreeUsers("Exchange2010_SP2")) {}
};

TEST_F(ManyStoresOfOldServers, AllStoresShareOneGroupWithItsAnchor) {
  for (const char* address : {kBob, kAlice}) Events.Subscribe(InboxOf(address));
  EXPECT_THAT(Codes(), ElementsAre("GroupXXX 2"));
  EXPECT_THAT(Placed.Asked, IsEmpty());
  Events.Start();
  ASSERT_TRUE(States.WaitFor(1));
  for (const auto& subscribe : Exchanges("Subscribe")) {
    EXPECT_EQ(subscribe.RequestHeader("X-AnchorMailbox"), kAlice);
    EXPECT_EQ(subscribe.RequestHeader("X-PreferServerAffinity"), "true");
  }
}

}  // namespace
}  // namespace velmore::testing
