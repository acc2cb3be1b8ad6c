// Subscriptions: those that stream and those that are asked, what they are told, and what goes wrong with them.

#include <curl/curl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "SimulatorTestSupport.h"
#include "simulator/mailbox/ids.h"
#include "simulator/mailbox/model.h"
#include "simulator/operations/subscriptions.h"
#include "simulator/protocol/service.h"

namespace velmore::simulator::testing {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr const char* kAll =
    "<t:EventTypes><t:EventType>CopiedEvent</t:EventType><t:EventType>CreatedEvent</t:EventType>"
    "<t:EventType>DeletedEvent</t:EventType><t:EventType>ModifiedEvent</t:EventType>"
    "<t:EventType>MovedEvent</t:EventType><t:EventType>NewMailEvent</t:EventType></t:EventTypes>";

/// A service without a net, and a stream that a test reads.
class SimulatorNotifications : public ::testing::Test {
 protected:
  SimulatorNotifications() {
    for (const User& user : TestOptions().users) store.AddMailbox(user);
    options.stream_minute = 20ms;
  }

  struct Told : ReplyStream {
    std::vector<std::string> envelopes;
    std::function<void()> on_wait;
    bool open = true;
    bool Write(std::string_view bytes) override {
      envelopes.emplace_back(bytes);
      return open;
    }
    bool Wait(std::chrono::milliseconds) override {
      if (on_wait) on_wait();
      return open;
    }
    void Wake() override {}
  };

  SoapReply Run(const std::string& operation, const std::string& user = "alice", const Arrival& arrival = {},
                const std::string& version = "Exchange2016", const std::string& as = {}) {
    std::map<std::string, std::uint64_t> departures;
    bool refused = false;
    const std::string envelope =
        "<s:Envelope xmlns:s=\"" + std::string(kSoapNamespace) + "\" xmlns:m=\"" + kMessagesNamespace +
        "\" xmlns:t=\"" + kTypesNamespace + "\"><s:Header><t:RequestServerVersion Version=\"" + version + "\"/>" +
        (as.empty() ? ""
                    : "<t:ExchangeImpersonation><t:ConnectingSID><t:PrimarySmtpAddress>" + as +
                          "</t:PrimarySmtpAddress></t:ConnectingSID></t:ExchangeImpersonation>") +
        "</s:Header><s:Body>" + operation + "</s:Body></s:Envelope>";
    SoapRequest request = service.Read(envelope);
    request.arrival = arrival;
    return service.Execute(request, store.ByLogon(user)->owner, departures, refused);
  }
  static std::string Part(const std::string& text, const std::string& name) {
    const std::size_t at = text.find("<m:" + name + ">");
    if (at == std::string::npos) return {};
    const std::size_t begin = at + name.size() + 4;
    return text.substr(begin, text.find('<', begin) - begin);
  }
  static std::string Code(const SoapReply& reply) { return Part(reply.body, "ResponseCode"); }
  std::string FolderXml(const char* name, const char* user = "alice") {
    const Mailbox& mailbox = *store.ByLogon(user);
    return "<t:FolderId Id=\"" + mailbox.IdOf(*mailbox.Distinguished(name)) + "\"/>";
  }
  std::string Streaming(const std::string& folders, const std::string& types = kAll) {
    return "<m:Subscribe><m:StreamingSubscriptionRequest><t:FolderIds>" + folders + "</t:FolderIds>" + types +
           "</m:StreamingSubscriptionRequest></m:Subscribe>";
  }
  std::string Subscribed(const std::string& folders, const std::string& types = kAll) {
    return Part(Run(Streaming(folders, types)).body, "SubscriptionId");
  }
  static std::string Stream(const std::vector<std::string>& ids, int minutes = 1) {
    std::string text = "<m:GetStreamingEvents><m:SubscriptionIds>";
    for (const std::string& id : ids) text += "<t:SubscriptionId>" + id + "</t:SubscriptionId>";
    return text + "</m:SubscriptionIds><m:ConnectionTimeout>" + std::to_string(minutes) +
           "</m:ConnectionTimeout></m:GetStreamingEvents>";
  }
  /// Runs a stream to its end.
  void Read(const std::vector<std::string>& ids, Told& told) {
    const SoapReply reply = Run(Stream(ids));
    ASSERT_TRUE(reply.stream) << reply.body;
    reply.stream(told);
  }
  Item& Deliver() {
    const std::lock_guard lock(store.mutex);
    auto item = std::make_shared<Item>();
    item->element = "Message";
    item->SetFlag("IsRead", false);
    return store.ByLogon("alice")->Deliver(item);
  }

  Options options = TestOptions();
  Store store{kExchange2016};
  Service service{store, options};
};

TEST_F(SimulatorNotifications, AStreamBeginsWithOkAndEndsWithClosed) {
  Told told;
  Read({Subscribed(FolderXml("inbox"))}, told);
  ASSERT_EQ(told.envelopes.size(), 2u);
  EXPECT_TRUE(told.envelopes[0].starts_with("<?xml ")) << told.envelopes[0];
  EXPECT_THAT(told.envelopes[0], HasSubstr("<m:Notifications/><m:ConnectionStatus>OK</m:ConnectionStatus>"));
  EXPECT_TRUE(told.envelopes[1].starts_with("<s:Envelope")) << told.envelopes[1];
  EXPECT_THAT(told.envelopes[1], HasSubstr("<m:ConnectionStatus>Closed</m:ConnectionStatus>"));
}

TEST_F(SimulatorNotifications, EventsOfABatchStandInOneNotificationInTheirOrder) {
  const std::string id = Subscribed(FolderXml("inbox"));
  Deliver();
  Told told;
  Read({id}, told);
  ASSERT_EQ(told.envelopes.size(), 3u);
  const std::string& batch = told.envelopes[1];
  const std::size_t mail = batch.find("<t:NewMailEvent>"), created = batch.find("<t:CreatedEvent>"),
                    folder = batch.find("<t:ModifiedEvent>");
  EXPECT_LT(mail, created);
  EXPECT_LT(created, folder);
  EXPECT_NE(folder, std::string::npos);
  EXPECT_THAT(batch.substr(folder), HasSubstr("<t:FolderId Id="));
  EXPECT_THAT(batch.substr(folder), HasSubstr("<t:UnreadCount>1</t:UnreadCount>"));
  EXPECT_THAT(batch, HasSubstr("<m:Notifications><t:Notification>"));
}

TEST_F(SimulatorNotifications, MovesGoToBothFolders) {
  const std::string from = Subscribed(FolderXml("inbox")), to = Subscribed(FolderXml("drafts"));
  Item& item = Deliver();
  {
    const std::lock_guard lock(store.mutex);
    Mailbox& alice = *store.ByLogon("alice");
    alice.MoveItem(alice.FindItem(item.entry_id), alice, *alice.Distinguished("drafts"));
  }
  Told told;
  Read({from, to}, told);
  const std::string& batch = told.envelopes[1];
  EXPECT_EQ(batch.find("<t:MovedEvent>") == batch.rfind("<t:MovedEvent>"), false) << batch;
  EXPECT_THAT(batch, HasSubstr("<t:OldItemId "));
  EXPECT_THAT(batch, HasSubstr("<t:OldParentFolderId "));
}

TEST_F(SimulatorNotifications, OnlyWhatWasAskedForIsTold) {
  const std::string id =
      Subscribed(FolderXml("drafts"), "<t:EventTypes><t:EventType>NewMailEvent</t:EventType></t:EventTypes>");
  const std::string other =
      Subscribed(FolderXml("inbox"), "<t:EventTypes><t:EventType>DeletedEvent</t:EventType></t:EventTypes>");
  Deliver();
  Told told;
  Read({id, other}, told);
  EXPECT_EQ(told.envelopes.size(), 2u);
}

TEST_F(SimulatorNotifications, AllFoldersCanBeWatched) {
  const SoapReply reply = Run("<m:Subscribe><m:StreamingSubscriptionRequest SubscribeToAllFolders=\"true\">" +
                              std::string(kAll) + "</m:StreamingSubscriptionRequest></m:Subscribe>");
  Deliver();
  Told told;
  Read({Part(reply.body, "SubscriptionId")}, told);
  EXPECT_THAT(told.envelopes[1], HasSubstr("NewMailEvent"));
  EXPECT_EQ(Code(Run("<m:Subscribe><m:StreamingSubscriptionRequest>" + std::string(kAll) +
                     "</m:StreamingSubscriptionRequest></m:Subscribe>")),
            "ErrorInvalidSubscriptionRequest");
}

TEST_F(SimulatorNotifications, AQuietStreamGivesSignsOfLife) {
  options.stream_keep_alive = 1ms;
  Told told;
  const std::string id = Subscribed(FolderXml("inbox"));
  Read({id}, told);
  ASSERT_GT(told.envelopes.size(), 2u);
  EXPECT_THAT(told.envelopes[1], HasSubstr("<t:SubscriptionId>" + id + "</t:SubscriptionId><t:StatusEvent/>"));
}

TEST_F(SimulatorNotifications, WhatHappensWhileItIsOpenIsTold) {
  Told told;
  int waits = 0;
  told.on_wait = [&] {
    if (++waits == 1) Deliver();
  };
  Read({Subscribed(FolderXml("inbox"))}, told);
  EXPECT_THAT(told.envelopes[1], HasSubstr("NewMailEvent"));
}

TEST_F(SimulatorNotifications, WhatIsForgottenEndsTheStreamWithItsId) {
  const std::string id = Subscribed(FolderXml("inbox"));
  EXPECT_EQ(service.CountSubscriptions(), 1u);
  Told told;
  told.on_wait = [&] { service.ForgetSubscriptions(); };
  Read({id}, told);
  EXPECT_THAT(told.envelopes.back(), HasSubstr("<m:ResponseCode>ErrorSubscriptionNotFound</m:ResponseCode>"));
  EXPECT_THAT(told.envelopes.back(),
              HasSubstr("<m:ErrorSubscriptionIds><t:SubscriptionId>" + id + "</t:SubscriptionId>"));
  const SoapReply again = Run(Stream({id}));
  EXPECT_FALSE(again.stream);
  EXPECT_EQ(Code(again), "ErrorSubscriptionNotFound");
  EXPECT_THAT(again.body, HasSubstr("<t:SubscriptionId>" + id));
}

TEST_F(SimulatorNotifications, WhatNobodyFetchesExpires) {
  options.subscription_lifetime = -1ms;
  const std::string id = Subscribed(FolderXml("inbox"));
  EXPECT_EQ(Code(Run(Stream({id}))), "ErrorSubscriptionNotFound");
  EXPECT_EQ(service.CountSubscriptions(), 0u);
}

TEST_F(SimulatorNotifications, MoreThanIsKeptIsMissed) {
  options.kept_events = 2;
  const std::string id = Subscribed(FolderXml("inbox"));
  Deliver();
  Told told;
  Read({id}, told);
  EXPECT_THAT(told.envelopes.back(), HasSubstr("ErrorMissedNotificationEvents"));
}

TEST_F(SimulatorNotifications, SubscriptionsEndWhenTheyAreRemoved) {
  const std::string id = Subscribed(FolderXml("inbox"));
  const std::string remove = "<m:Unsubscribe><m:SubscriptionId>" + id + "</m:SubscriptionId></m:Unsubscribe>";
  EXPECT_EQ(Code(Run(remove)), "NoError");
  EXPECT_EQ(Code(Run(remove)), "ErrorSubscriptionNotFound");
  EXPECT_EQ(service.CountSubscriptions(), 0u);
}

TEST_F(SimulatorNotifications, SubscriptionsBelongToWhoMadeThem) {
  const std::string id = Subscribed(FolderXml("inbox"));
  EXPECT_EQ(Code(Run(Stream({id}), "bob")), "ErrorSubscriptionAccessDenied");
  EXPECT_EQ(Code(Run(Streaming(FolderXml("inbox", "bob")))), "ErrorAccessDenied");
}

TEST_F(SimulatorNotifications, AnotherMailboxIsWatchedInItsOwnersName) {
  store.ByLogon("alice")->owner.may_impersonate = true;
  const SoapReply reply = Run(Streaming(FolderXml("inbox", "bob")), "alice", {}, "Exchange2016", "bob@example.com");
  EXPECT_EQ(Code(reply), "NoError") << reply.body;
}

TEST_F(SimulatorNotifications, AUserHasSoManyStreams) {
  options.streams_per_user = 1;
  const std::string id = Subscribed(FolderXml("inbox"));
  const SoapReply first = Run(Stream({id}));
  ASSERT_TRUE(first.stream);
  const SoapReply second = Run(Stream({id}));
  EXPECT_EQ(second.status, 500);
  EXPECT_THAT(second.body, HasSubstr("ErrorExceededConnectionCount"));
}

TEST_F(SimulatorNotifications, TheShareOfAStreamIsGivenBack) {
  options.streams_per_user = 1;
  const std::string id = Subscribed(FolderXml("inbox"));
  for (int i = 0; i < 3; ++i) {
    Told told;
    Read({id}, told);
  }
}

TEST_F(SimulatorNotifications, OldServersKnowOnlyThoseThatAreAsked) {
  EXPECT_EQ(Code(Run(Streaming(FolderXml("inbox")), "alice", {}, "Exchange2010")), "ErrorInvalidSubscriptionRequest");
  EXPECT_THAT(Run(Stream({"x"}), "alice", {}, "Exchange2010").body, HasSubstr("ErrorSchemaValidation"));
}

TEST_F(SimulatorNotifications, SubscriptionsAreAskedForTheirEvents) {
  const SoapReply reply =
      Run("<m:Subscribe><m:PullSubscriptionRequest><t:FolderIds>" + FolderXml("inbox") + "</t:FolderIds>" + kAll +
          "<t:Timeout>10</t:Timeout></m:PullSubscriptionRequest>"
          "</m:Subscribe>");
  const std::string id = Part(reply.body, "SubscriptionId"), mark = Part(reply.body, "Watermark");
  const auto ask = [&](const std::string& since) {
    return Run("<m:GetEvents><m:SubscriptionId>" + id + "</m:SubscriptionId><m:Watermark>" + since +
               "</m:Watermark></m:GetEvents>");
  };
  EXPECT_THAT(ask(mark).body, HasSubstr("<t:StatusEvent><t:Watermark>" + mark));
  Deliver();
  const std::string body = ask(mark).body;
  EXPECT_THAT(body, HasSubstr("<t:PreviousWatermark>" + mark + "</t:PreviousWatermark><t:MoreEvents>false"));
  EXPECT_THAT(body, HasSubstr("<t:NewMailEvent><t:Watermark>"));
  EXPECT_EQ(ask(mark).body, body) << "until its mark is told back";
  const std::size_t last = body.rfind("<t:Watermark>") + 13;
  const std::string newest = body.substr(last, body.find('<', last) - last);
  EXPECT_THAT(ask(newest).body, HasSubstr("StatusEvent"));
  EXPECT_EQ(Code(ask("nonsense")), "ErrorInvalidWatermark");
  EXPECT_EQ(Code(Run(Stream({id}))), "ErrorInvalidSubscription");
  const std::string streaming = Subscribed(FolderXml("inbox"));
  EXPECT_EQ(Code(Run("<m:GetEvents><m:SubscriptionId>" + streaming + "</m:SubscriptionId><m:Watermark>" + mark +
                     "</m:Watermark></m:GetEvents>")),
            "ErrorInvalidPullSubscriptionId");
}

TEST_F(SimulatorNotifications, NothingIsPushed) {
  EXPECT_EQ(
      Code(Run("<m:Subscribe><m:PushSubscriptionRequest><t:FolderIds>" + FolderXml("inbox") + "</t:FolderIds>" + kAll +
               "<t:StatusFrequency>1</t:StatusFrequency><t:URL>http://x/</t:URL>"
               "</m:PushSubscriptionRequest></m:Subscribe>")),
      "ErrorInvalidSubscriptionRequest");
}

TEST_F(SimulatorNotifications, ASubscriptionIsKnownOnTheBackEndThatMadeIt) {
  options.back_ends = 2;
  store.ByLogon("bob")->owner.back_end = 1;
  // The cookie counts first, then the anchor, then whose mailbox it is.
  Arrival to_bob{"bob@example.com", "", true};
  SoapReply reply = Run(Streaming(FolderXml("inbox")), "alice", to_bob);
  ASSERT_EQ(reply.headers.size(), 1u);
  EXPECT_EQ(reply.headers[0].second, "X-BackEndOverrideCookie=backend-1~1941997017; path=/; HttpOnly");
  const std::string id = Part(reply.body, "SubscriptionId");
  EXPECT_EQ(Code(Run(Stream({id}))), "ErrorSubscriptionNotFound");
  EXPECT_TRUE(Run(Stream({id}), "alice", to_bob).stream);
  EXPECT_TRUE(Run(Stream({id}), "alice", {"alice@example.com", "backend-1~1941997017", false}).stream);
  EXPECT_FALSE(Run(Stream({id}), "alice", {"bob@example.com", "backend-0~1941997017", false}).stream);
  EXPECT_TRUE(Run(Stream({id}), "alice", {"bob@example.com", "backend-7~1941997017", false}).stream)
      << "a back end that is none";
  EXPECT_TRUE(Run(Stream({id}), "alice", {}, "Exchange2010_SP2").headers.empty());
}

// ---- Trouble

Options ShortMinutes() {
  Options options = TestOptions();
  options.stream_minute = 100ms;
  return options;
}

class SimulatorStreamTrouble : public ::testing::Test {
 protected:
  std::string Streamed(Fault fault) {
    const Reply made = client.Call(
        "<m:Subscribe><m:StreamingSubscriptionRequest><t:FolderIds><t:DistinguishedFolderId Id=\"inbox\"/>"
        "</t:FolderIds>" +
        std::string(kAll) + "</m:StreamingSubscriptionRequest></m:Subscribe>");
    fault.operation = "GetStreamingEvents";
    server.AddFault(std::move(fault));
    const Reply reply =
        client.Call("<m:GetStreamingEvents><m:SubscriptionIds><t:SubscriptionId>" + made.Find("SubscriptionId").text +
                    "</t:SubscriptionId></m:SubscriptionIds><m:ConnectionTimeout>1"
                    "</m:ConnectionTimeout></m:GetStreamingEvents>");
    code = reply.curl_code;
    return reply.body;
  }
  Started server{ShortMinutes()};
  Client client{server};
  int code = 0;
};

TEST_F(SimulatorStreamTrouble, GluesAndSplitsAndWritesBetween) {
  Fault fault;
  fault.glue = 2;
  fault.piece_size = 7;
  fault.before_envelope = "\r\n<!-- -->";
  const std::string body = Streamed(fault);
  EXPECT_EQ(code, 0);
  EXPECT_TRUE(body.starts_with("\r\n<!-- --><?xml")) << body;
  EXPECT_THAT(body, HasSubstr("</s:Envelope>\r\n<!-- --><s:Envelope"));
}

TEST_F(SimulatorStreamTrouble, AnswersWithAnotherPrefix) {
  Fault fault;
  fault.prefix = "soap-env";
  const std::string body = Streamed(fault);
  EXPECT_THAT(body, HasSubstr("<soap-env:Envelope xmlns:soap-env="));
  EXPECT_THAT(body, HasSubstr("</soap-env:Envelope>"));
  EXPECT_THAT(body, Not(HasSubstr("s:Envelope>\n")));
}

TEST_F(SimulatorStreamTrouble, EndsEarlyWithATextOfItsOwn) {
  Fault fault;
  fault.end_after = 1;
  fault.stream_text = "<a/>";
  const std::string body = Streamed(fault);
  EXPECT_EQ(code, 0);
  EXPECT_TRUE(body.ends_with("</s:Envelope><a/>")) << body;
}

TEST_F(SimulatorStreamTrouble, FallsSilentAndEndsNothing) {
  Fault fault;
  fault.silent_after = 0;
  client.timeout_milliseconds = 500;
  EXPECT_EQ(Streamed(fault), "");
  EXPECT_EQ(code, CURLE_OPERATION_TIMEDOUT);
}

TEST_F(SimulatorStreamTrouble, IsCutAtAnyByte) {
  Fault fault;
  fault.cut_at_byte = 600;
  const std::string body = Streamed(fault);
  EXPECT_NE(code, 0);
  EXPECT_LT(body.size(), 600u);
}

}  // namespace
}  // namespace velmore::simulator::testing
