// The life of one reader: every row of its table of delays, and every state in which it can be told to stop.

#include <gmock/gmock.h>

#include <future>

#include "EventsTestSupport.h"
#include "platform/common/uVqDateTimeUtils.h"
#include "platform/http/uVqWinHTTP.h"
#include "tests/support/FullPort.h"
#include "tests/support/ScriptedServer.h"

namespace velmore::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using FolderRef = TVqRef<IVqEWSFolder>;

class ReaderThreads : public EventsTest {
 protected:
  explicit ReaderThreads(simulator::Options options = TwoUsers()) : EventsTest(std::move(options)) {
    LogEvents(Events, Log);
    Events.SetThreadedEvents(true);
    Events.SetOnConnectionState([this](const TVqEWSConnectionReport& report) { States.Add(TextOf(report)); });
    Events.Subscribe(Inbox());
  }
  /// What is waited after connections that last so long and go so wrong; the reader is stopped after that many waits.
  std::vector<std::int64_t> Waits(std::size_t count, std::vector<std::chrono::milliseconds> durations = {}) {
    Events.Time->Durations.assign(durations.begin(), durations.end());
    Events.Time->Free = count;
    Events.Start();
    EXPECT_TRUE(Events.Time->WaitForWaits(count));
    Events.Stop();
    return Events.Time->AllWaits();
  }
  /// The answer of a fault: an envelope with this in its body.
  static simulator::Fault Answering(const std::string& body, int times = 1) {
    simulator::Fault fault = StreamFault(times);
    fault.replace_body = true;
    fault.body = body;
    fault.content_type = "text/xml; charset=utf-8";
    return fault;
  }
  static std::string FaultEnvelope() {
    return "<s:Envelope xmlns:s=\"http://schemas.xmlsoap.org/soap/envelope/\"><s:Body><s:Fault><faultcode>s:Server"
           "</faultcode><faultstring>Not now.</faultstring><detail><e:ResponseCode xmlns:e=\"urn:e\">ErrorServerBusy"
           "</e:ResponseCode></detail></s:Fault></s:Body></s:Envelope>";
  }
  static std::string Empty() { return EnvelopeOf("x", ""); }

  TLog Log, States;
  TTestEvents Events;
};

// ---- The table of delays

TEST_F(ReaderThreads, AfterAMinuteTheNextConnectionIsMadeAtOnce) {
  Server().AddFault(Answering(Empty(), 3));
  // The third one is a moment too short.
  EXPECT_THAT(Waits(1, {60s, 3600s, 59999ms}), ElementsAre(5000));
  EXPECT_GE(CountOf("GetStreamingEvents"), 3u);
  EXPECT_THAT(States.Entries(),
              ElementsAre("connected", "lost: ", "connected", "lost: ", "connected", "lost: ", "waiting 5000"));
}

TEST_F(ReaderThreads, AShortConnectionIsFollowedByFiveSeconds) {
  Server().AddFault(Answering(Empty(), 2));
  EXPECT_THAT(Waits(2, {0s, 59s}), ElementsAre(5000, 5000));
}

TEST_F(ReaderThreads, AFaultInAShortConnectionIsOverwritten) {
  Server().AddFault(Answering(FaultEnvelope()));
  EXPECT_THAT(Waits(1, {59s}), ElementsAre(5000));
  EXPECT_THAT(States.Entries(), ElementsAre("refused ErrorServerBusy", "lost: ", "waiting 5000"));
}

TEST_F(ReaderThreads, AFaultInALongConnectionCostsHalfOfThat) {
  Server().AddFault(Answering(FaultEnvelope()));
  EXPECT_THAT(Waits(1, {60s}), ElementsAre(2500));
}

TEST_F(ReaderThreads, AFaultWithItsOwnStatusIsAFault) {
  simulator::Fault fault = StreamFault();
  fault.soap_fault_code = "ErrorInternalServerError";
  Server().AddFault(fault);
  EXPECT_THAT(Waits(1, {60s}), ElementsAre(2500));
  EXPECT_EQ(States.Entries().front(), "refused ErrorInternalServerError");
}

TEST_F(ReaderThreads, ATimeOutCostsHalfASecond) {
  simulator::Fault fault = StreamFault(2);
  fault.delay = 60s;
  Server().AddFault(fault);
  Events.ReceiveTimeOut = 20;
  EXPECT_THAT(Waits(2), ElementsAre(500, 500));
}

TEST_F(ReaderThreads, ACancelledConnectionIsMadeAgainAtOnce) {
  Events.Time->Free = 1;
  Events.Start();
  ASSERT_TRUE(States.WaitFor(1));
  Events.GetWrapper()->GetDefaultClient()->GetSession()->Cancel();
  ASSERT_TRUE(States.WaitFor(3));
  Server().AddFault(Answering(Empty()));  // ends the test's connection after the next one
  EXPECT_EQ(States.Entries()[0], "connected");
  EXPECT_TRUE(States.Entries()[1].starts_with("lost: ")) << States.Entries()[1];
  EXPECT_EQ(States.Entries()[2], "connected");
  EXPECT_THAT(Events.Time->AllWaits(), IsEmpty());
}

TEST_F(ReaderThreads, AnyOtherFailureCostsFiveSeconds) {
  simulator::Fault cut = StreamFault();
  cut.cut_at_byte = 300;
  Server().AddFault(cut);
  simulator::Fault closed = StreamFault();
  closed.close_before_reply = true;
  Server().AddFault(closed);
  Server().AddFault(Answering("<s:Envelope><s:Body></s:Envelope>"));  // no XML
  EXPECT_THAT(Waits(3, {60s, 60s, 60s}), ElementsAre(5000, 5000, 5000));
}

TEST_F(ReaderThreads, NothingOfThatReachesTheApplication) {
  simulator::Fault closed = StreamFault(20);
  closed.close_before_reply = true;
  Server().AddFault(closed);
  EXPECT_EQ(Waits(20).size(), 20u) << "it goes on for ever";
  EXPECT_THAT(Log.Entries(), IsEmpty());
}

TEST_F(ReaderThreads, APageInsteadOfAStreamIsAShortConnection) {
  simulator::Fault page = StreamFault();
  page.replace_body = true;
  page.body = "<!DOCTYPE html>\n<html><body><p>Sign in</p></body></html>";
  page.content_type = "text/html";
  Server().AddFault(page);
  EXPECT_THAT(Waits(1), ElementsAre(5000));
  EXPECT_THAT(States.Entries(), ElementsAre("lost: The server answered with no stream of events.", "waiting 5000"));
}

TEST_F(ReaderThreads, ARefusalOfTheServerIsAShortConnection) {
  for (const int status : {401, 403, 503}) {
    simulator::Fault refusal = StreamFault();
    refusal.http_status = status;
    Server().AddFault(refusal);
  }
  EXPECT_THAT(Waits(3), ElementsAre(5000, 5000, 5000));
  ASSERT_EQ(States.Count(), 6u);
  EXPECT_THAT(States.Entries()[0], HasSubstr("The server answered with status 401"));
  EXPECT_THAT(States.Entries()[4], HasSubstr("The server answered with status 503"));
}

TEST_F(ReaderThreads, AHandlerThatRaisesEndsTheConnection) {
  Events.SetOnNewMail([](const FolderRef&, TDateTime, const TItemId&, const TItemId&) { throw EVqException("Oops."); });
  Events.Time->Free = 2;
  Events.Start();
  Deliver();
  ASSERT_TRUE(Events.Time->WaitForWaits(1));
  EXPECT_THAT(Events.Time->AllWaits(), ElementsAre(5000));
  EXPECT_TRUE(States.Has("lost: Oops."));
  Events.SetOnNewMail([this](const FolderRef&, TDateTime, const TItemId&, const TItemId&) { throw 7; });
  ASSERT_TRUE(States.WaitFor(4));
  Deliver();
  ASSERT_TRUE(Events.Time->WaitForWaits(2));
  EXPECT_TRUE(States.Has("lost: An exception of another kind."));
}

TEST_F(ReaderThreads, AnObserverThatRaisesChangesNothing) {
  Events.SetOnConnectionState([this](const TVqEWSConnectionReport& report) {
    States.Add(TextOf(report));
    throw 7;
  });
  Server().AddFault(Answering(Empty(), 2));
  EXPECT_THAT(Waits(2, {0s, 0s}), ElementsAre(5000, 5000));
}

TEST_F(ReaderThreads, ALimitEndsTheConnection) {
  Events.SetStreamLimit(1000);
  EXPECT_EQ(Events.GetStreamLimit(), 1000u);
  Server().AddFault(Answering("<s:Envelope>" + std::string(2000, ' ')));
  EXPECT_THAT(Waits(1, {60s}), ElementsAre(5000));
  EXPECT_THAT(States.Entries().front(), HasSubstr("more than 1000 bytes"));
}

TEST_F(ReaderThreads, ErrorsInTheStreamNameTheirSubscriptions) {
  Server().AddFault(Answering(
      "<s:Envelope xmlns:s=\"http://schemas.xmlsoap.org/soap/envelope/\"><s:Body><m:GetStreamingEventsResponse "
      "xmlns:m=\"http://schemas.microsoft.com/exchange/services/2006/messages\" "
      "xmlns:t=\"http://schemas.microsoft.com/exchange/services/2006/types\"><m:ResponseMessages>"
      "<m:GetStreamingEventsResponseMessage ResponseClass=\"Error\"><m:MessageText>Gone.</m:MessageText>"
      "<m:ResponseCode>ErrorMissedNotificationEvents</m:ResponseCode><m:ErrorSubscriptionIds><t:SubscriptionId>a"
      "</t:SubscriptionId><t:SubscriptionId>b</t:SubscriptionId></m:ErrorSubscriptionIds>"
      "</m:GetStreamingEventsResponseMessage></m:ResponseMessages></m:GetStreamingEventsResponse></s:Body>"
      "</s:Envelope>"));
  std::vector<string> ids;
  string text;
  Events.SetOnConnectionState([&](const TVqEWSConnectionReport& report) {
    if (report.State != TVqEWSConnectionState::refused) return;
    ids = report.SubscriptionIds;
    text = report.Text;
  });
  EXPECT_THAT(Waits(1), ElementsAre(5000));
  EXPECT_THAT(ids, ElementsAre("a", "b"));
  EXPECT_EQ(text, "Gone.");
}

TEST_F(ReaderThreads, FailuresAreToldAsExceptionsToo) {
  simulator::Fault closed = StreamFault();
  closed.close_before_reply = true;
  Server().AddFault(closed);
  std::atomic<std::uint32_t> number{0};
  Events.SetOnConnectionState([&](const TVqEWSConnectionReport& report) {
    if (report.State != TVqEWSConnectionState::lost) return;
    try {
      std::rethrow_exception(report.Failure);
    } catch (const EVqHTTPApiException& failure) {
      number = failure.GetNumber();
    }
  });
  Waits(1);
  EXPECT_EQ(number, VqErrConnectionAborted);
}

TEST_F(ReaderThreads, ALineThatDiesWithoutAWordIsNoticed) {
  simulator::Fault dead = StreamFault();
  dead.silent_after = 1;
  Server().AddFault(dead);
  Events.ReceiveTimeOut = 50;
  Events.Time->Free = 2;
  Events.Start();
  ASSERT_TRUE(Events.Time->WaitForWaits(1));
  EXPECT_THAT(Events.Time->AllWaits(), ElementsAre(500));
  EXPECT_EQ(States.Entries().front(), "connected");
  Deliver();
  EXPECT_TRUE(Log.WaitFor(1)) << "the next connection brings what it missed";
}

TEST_F(ReaderThreads, TheFirstConnectionAfterAChangeOfTheNetIsNotTheLast) {
  Events.Start();
  ASSERT_TRUE(States.WaitFor(1));
  const string here = "127.0.0.1:" + std::to_string(Server().HttpPort());
  Session().SetConnectTo({{here, "127.0.0.1:1"}});  // nobody is there
  Server().DropConnections();
  ASSERT_TRUE(Events.Time->WaitForWaits(3));
  Session().SetConnectTo({});
  Deliver();
  EXPECT_TRUE(Log.WaitFor(1));
}

// ---- The client of a connection

/// A reader that shows its client.
class TShownReader : public TTestReader {
 public:
  using TTestReader::TTestReader;
  std::function<void(IVqHTTPClient&)> OnClient;

 protected:
  void InitializeHTTPClient(IVqHTTPClient& AClient) override {
    TTestReader::InitializeHTTPClient(AClient);
    OnClient(AClient);
  }
};

TEST_F(ReaderThreads, EachConnectionHasAFreshClientWithTheSessionsSettings) {
  Session().SetSecurityFlags({TVqHTTPSecurityFlag::IgnoreUnknownCA});
  Session().GetProxyCredentials().SetUserName("proxy");
  Session().SetAllowPlainTextPassword(true);
  std::vector<const IVqHTTPClient*> clients;
  Events.Time->Free = 2;
  Server().AddFault(Answering(Empty(), 2));
  Events.DoStart(
      [](TVqEWSEventGroup&) {}, [](TVqEWSEventSubscription&, IVqSOAPRequest&) {},
      [&](TVqEWSEventGroup& group) {
        auto reader = std::make_shared<TShownReader>(Events, group, Events.Time);
        reader->OnClient = [&](IVqHTTPClient& client) {
          clients.push_back(&client);
          EXPECT_EQ(client.GetTimeOuts(), TVqHTTPTimeOuts(1000, 5000, 120000));
          EXPECT_TRUE(client.GetUseCookies());
          EXPECT_NE(dynamic_cast<TVqWinHTTPClient*>(client.GetComponent()), nullptr);
          EXPECT_EQ(client.GetHTTPVersion(), TVqHTTPVersion::http11);
          EXPECT_EQ(client.GetAuthentication(), TVqHTTPAuthentication::byChallenge);
          EXPECT_EQ(client.GetCredentials().GetUserName(), "alice");
          EXPECT_EQ(client.GetProxyCredentials().GetUserName(), "proxy");
          EXPECT_EQ(client.GetRequestHeaders().GetAccept(), "text/xml");
          EXPECT_TRUE(client.GetComponent()->GetSecurityFlags().Contains(TVqHTTPSecurityFlag::IgnoreUnknownCA));
          EXPECT_TRUE(client.GetComponent()->GetAllowPlainTextPassword());
        };
        return reader;
      });
  ASSERT_TRUE(Events.Time->WaitForWaits(2));
  Events.Stop();
  EXPECT_EQ(clients.size(), 2u);
}

TEST_F(ReaderThreads, TheTokenOfTheSessionGoesAlong) {
  TVqOAuthAccessToken token;
  token.Token = "secret";
  token.ExpiresAt = static_cast<double>(VqNow()) + 1;
  Session().SetAccessToken(token);
  Server().AddFault(Answering(Empty()));
  Events.Time->Free = 1;
  std::string seen;
  Events.DoStart([](TVqEWSEventGroup&) {}, [](TVqEWSEventSubscription&, IVqSOAPRequest&) {},
                 [&](TVqEWSEventGroup& group) {
                   auto reader = std::make_shared<TShownReader>(Events, group, Events.Time);
                   reader->OnClient = [&](IVqHTTPClient& client) {
                     seen = client.GetOAuth().GetAccessToken().Token.utf8();
                   };
                   return reader;
                 });
  ASSERT_TRUE(Events.Time->WaitForWaits(1));
  Events.Stop();
  EXPECT_EQ(seen, "secret");
}

// ---- Cutting

class Cutting : public ReaderThreads {
 protected:
  /// A reader that was composed and is never started: the test gives it its bytes.
  TTestReader& Reader() {
    if (!FReader) {
      FReader = std::make_shared<TTestReader>(Events, Events.GetEventGroups().GetGroup("Default"), Events.Time);
      Events.GetEventGroups().GetGroup("Default").GetItem(0).SetSubscriptionId("sub");
    }
    return *FReader;
  }
  void Receive(std::string_view bytes) {
    FStream.Append(bytes);
    TVqWinHTTPClient client;
    Reader().OnDataReceived(client, FStream);
  }
  std::string Mail() {
    return EnvelopeOf("sub",
                      "<t:NewMailEvent><t:ParentFolderId Id=\"" + Inbox()->GetID().Id.utf8() + "\"/></t:NewMailEvent>");
  }

 private:
  std::shared_ptr<TTestReader> FReader;
  TVqHTTPReplyStream FStream;
};

TEST_F(Cutting, OneEnvelopeACallAndTheSecondWithTheNextData) {
  const std::string mail = Mail();
  Receive(mail + mail + mail);
  EXPECT_EQ(Log.Count(), 1u);
  Receive(" ");
  EXPECT_EQ(Log.Count(), 2u);
  Receive(mail.substr(0, 10));
  EXPECT_EQ(Log.Count(), 3u);
  Receive(mail.substr(10));
  EXPECT_EQ(Log.Count(), 4u);
}

TEST_F(Cutting, EagerDispatchHandsOverAllThatIsComplete) {
  EXPECT_FALSE(Events.GetEagerDispatch());
  Events.SetEagerDispatch(true);
  const std::string mail = Mail();
  Receive(mail + "\r\n" + mail + "<?xml version=\"1.0\"?>" + mail + mail.substr(0, 40));
  EXPECT_EQ(Log.Count(), 3u);
  Receive(mail.substr(40));
  EXPECT_EQ(Log.Count(), 4u);
}

TEST_F(Cutting, AnEnvelopeSplitAtAnyByteArrivesWithItsLastOne) {
  const std::string mail = "\xEF\xBB\xBF junk " + Mail();
  for (std::size_t at = 1; at < mail.size(); at += at + 40 < mail.size() ? 17 : 1) {
    Log.Clear();
    Receive(std::string_view(mail).substr(0, at));
    EXPECT_EQ(Log.Count(), 0u) << at;
    Receive(std::string_view(mail).substr(at));
    EXPECT_EQ(Log.Count(), 1u) << at;
  }
}

TEST_F(Cutting, ForbiddenCharactersLoseNothing) {
  std::string mail = Mail();
  mail.insert(mail.find("<t:ParentFolderId"), "<t:Subject>a&#x1F;b\x0B</t:Subject>");
  Receive(mail);
  EXPECT_EQ(Log.Count(), 1u);
}

TEST_F(Cutting, AnEnvelopeOfFiftyMegabytesArrives) {
  std::string mail = Mail();
  mail.insert(mail.find("<t:ParentFolderId"), "<t:Subject>" + std::string(std::size_t{50} << 20, 'x') + "</t:Subject>");
  for (std::size_t at = 0; at < mail.size(); at += 1 << 20) {
    EXPECT_EQ(Log.Count(), 0u);
    Receive(std::string_view(mail).substr(at, 1 << 20));
  }
  EXPECT_EQ(Log.Count(), 1u);
}

TEST_F(Cutting, WhatIsNoXMLRaisesWithItsText) {
  EXPECT_THROW(Receive("<s:Envelope><s:Body></s:Envelope>"), EAbort);
}

TEST_F(Cutting, ATerminatedReaderTakesNothing) {
  Reader().Terminate();
  Receive(Mail());
  EXPECT_EQ(Log.Count(), 0u);
}

// ---- Stopping

TEST_F(ReaderThreads, AReaderThatWasNeverStartedEnds) {
  const auto reader = std::make_shared<TTestReader>(Events, Events.GetEventGroups().GetGroup("Default"), Events.Time);
  reader->Prepare();
  reader->Terminate();
  reader->WaitFor();
  EXPECT_EQ(CountOf("GetStreamingEvents"), 0u);
  // Nor does one hang that is only let go.
  std::make_shared<TTestReader>(Events, Events.GetEventGroups().GetGroup("Default"), Events.Time);
}

TEST_F(ReaderThreads, StopCutsAWaitShort) {
  simulator::Fault closed = StreamFault(-1);
  closed.close_before_reply = true;
  Server().AddFault(closed);
  Events.Time->Free = 1;  // the first wait is one of an hour
  Events.Start();
  ASSERT_TRUE(Events.Time->WaitForWaits(1));
  Events.Stop();
  EXPECT_FALSE(Events.GetActive());
}

TEST_F(ReaderThreads, StopEndsAStreamThatIsOpen) {
  Events.Start();
  ASSERT_TRUE(States.WaitFor(1));
  Events.Stop();
  EXPECT_EQ(States.Count(), 1u) << "what ends on purpose is not lost";
}

TEST_F(ReaderThreads, StopEndsAStreamInTheMiddleOfAnEnvelope) {
  Events.Time->Free = 1;
  simulator::Fault half = StreamFault();
  half.silent_after = 0;
  half.stream_text = "<s:Envelope><s:Body>";
  Server().AddFault(half);
  Events.Start();
  ASSERT_TRUE(Eventually([&] { return CountOf("GetStreamingEvents") == 1; }));
  Events.Stop();
  EXPECT_FALSE(Events.GetActive());
}

TEST_F(ReaderThreads, StopWaitsForAHandlerThatSeesItComing) {
  std::promise<void> inside;
  Events.SetOnNewMail([&](const FolderRef&, TDateTime, const TItemId&, const TItemId&) {
    const auto reader = Events.Readers.back().lock();
    inside.set_value();
    while (!reader->GetTerminated()) std::this_thread::yield();
    Log.Add("returned");
  });
  Events.Start();
  Deliver();
  ASSERT_EQ(inside.get_future().wait_for(30s), std::future_status::ready);
  Events.Stop();
  EXPECT_TRUE(Log.Has("returned"));
}

TEST_F(ReaderThreads, StopAtAnyMoment) {
  for (int i = 0; i < 40; ++i) {
    Events.Start();
    for (int pause = 0; pause < i * 50; ++pause) std::this_thread::yield();
    Events.Stop();
    ASSERT_FALSE(Events.GetActive());
  }
}

/// Leads the readers elsewhere, once their subscriptions are there.
class StopThreads : public ReaderThreads {
 protected:
  void StartAt(const std::string& place) {
    Events.DoStart(
        [](TVqEWSEventGroup&) {}, [](TVqEWSEventSubscription&, IVqSOAPRequest&) {},
        [&](TVqEWSEventGroup& group) {
          Session().SetConnectTo({{string("127.0.0.1:" + std::to_string(Server().HttpPort())), string(place)}});
          return std::make_shared<TTestReader>(Events, group, Events.Time);
        });
  }
  void StopAndGoBack() {
    Session().SetConnectTo({});
    Events.Stop();
    EXPECT_FALSE(Events.GetActive());
  }
};

TEST_F(StopThreads, WhileItConnects) {
  const FullPort port;
  StartAt(port.Host());
  StopAndGoBack();
}

TEST_F(StopThreads, InTheMiddleOfTheTlsHandshake) {
  const auto listener = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr*>(&address), size), 0);
  ASSERT_EQ(listen(listener, 4), 0);
  ASSERT_EQ(getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size), 0);
  TVqEWSServiceSession secure;
  Configure(secure);
  secure.SetServiceUrl(Server().HttpsUrl());
  secure.SetCAFile(Server().CaCertificateFile());
  secure.SetActive(true);
  TTestEvents events;
  LogEvents(events, Log);
  events.Subscribe(secure.OpenDefaultMsgStore()->GetFolder(dfininbox, ""));
  events.DoStart([](TVqEWSEventGroup&) {}, [](TVqEWSEventSubscription&, IVqSOAPRequest&) {},
                 [&](TVqEWSEventGroup& group) {
                   secure.SetConnectTo({{string("localhost:" + std::to_string(Server().HttpsPort())),
                                         string("127.0.0.1:" + std::to_string(ntohs(address.sin_port)))}});
                   return std::make_shared<TTestReader>(events, group, events.Time);
                 });
  const int peer = accept(listener, nullptr, nullptr);  // and says nothing
  secure.SetConnectTo({});
  events.Stop();
  EXPECT_FALSE(events.GetActive());
  close(peer);
  close(listener);
}

TEST_F(StopThreads, WhileTheServerSaysNothing) {
  ScriptedServer silent;
  ScriptedServer::Answer nothing;
  nothing.Hang = true;
  silent.Then(nothing);
  StartAt("127.0.0.1:" + std::to_string(silent.Port()));
  ASSERT_TRUE(silent.WaitFor([&] { return !silent.Requests().empty(); }));
  StopAndGoBack();
}

TEST_F(StopThreads, InTheMiddleOfAChunk) {
  ScriptedServer server;
  ScriptedServer::Answer half;
  half.Bytes = "HTTP/1.1 200 OK\r\nContent-Type: text/xml\r\nTransfer-Encoding: chunked\r\n\r\n400\r\n<s:Envelope>";
  half.Hang = true;
  server.Then(half);
  StartAt("127.0.0.1:" + std::to_string(server.Port()));
  ASSERT_TRUE(server.WaitFor([&] { return !server.Requests().empty(); }));
  StopAndGoBack();
}

TEST_F(StopThreads, AfterAFault) {
  ScriptedServer server;
  ScriptedServer::Answer fault;
  const std::string body = FaultEnvelope();
  fault.Bytes = "HTTP/1.1 200 OK\r\nContent-Type: text/xml\r\nContent-Length: 10000\r\n\r\n" + body;
  fault.Hang = true;
  server.Then(fault);
  StartAt("127.0.0.1:" + std::to_string(server.Port()));
  ASSERT_TRUE(States.WaitFor(1));
  StopAndGoBack();
  EXPECT_THAT(States.Entries(), ElementsAre("refused ErrorServerBusy"));
}

TEST_F(StopThreads, FromADestructor) {
  ScriptedServer silent;
  ScriptedServer::Answer nothing;
  nothing.Hang = true;
  silent.Always([&](const ScriptedServer::Request&) { return nothing; });
  auto events = std::make_unique<TTestEvents>();
  LogEvents(*events, Log);
  events->Subscribe(Inbox());
  events->DoStart([](TVqEWSEventGroup&) {}, [](TVqEWSEventSubscription&, IVqSOAPRequest&) {},
                  [&](TVqEWSEventGroup& group) {
                    Session().SetConnectTo({{string("127.0.0.1:" + std::to_string(Server().HttpPort())),
                                             string("127.0.0.1:" + std::to_string(silent.Port()))}});
                    return std::make_shared<TTestReader>(*events, group, events->Time);
                  });
  ASSERT_TRUE(silent.WaitFor([&] { return !silent.Requests().empty(); }));
  Session().SetConnectTo({});
  events = nullptr;
}

}  // namespace
}  // namespace velmore::testing
