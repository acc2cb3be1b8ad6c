// A second thread with clients of its own works while the main one does.

#include <atomic>
#include <thread>

#include "SessionTestSupport.h"
#include "tests/support/EWSTestSupport.h"

namespace velmore::testing {
namespace {

constexpr int kRequests = 50;

class SessionThreads : public EWSTest {
 protected:
  /// Runs `work` on so many threads while the main one makes requests through objects.
  void RunBeside(int threads, const std::function<void(int)>& work) {
    auto& session = Session();
    const auto store = session.OpenDefaultMsgStore();  // settles the anchor before anybody else reads it
    std::vector<std::thread> workers;
    for (int i = 0; i < threads; ++i) workers.emplace_back([&, i] { work(i); });
    for (int i = 0; i < kRequests; ++i) EXPECT_NE(store->GetFolderId(dfininbox).Id, "");
    for (std::thread& worker : workers) worker.join();
  }
  static void AskForZones(TVqEWSCustomSession& session, TVqSOAPClient* soap) {
    const auto request = session.CreateRequest(soap, "m:GetServerTimeZones", "m:GetServerTimeZonesResponse");
    request->GetMethod().SetAttribute("ReturnFullTimeZoneData", "false");
    TVqRef<IVqSOAPResponse> response;
    request->Send(response);
    for (const IVqDOMElement& message :
         response->GetResponse().SelectSingleElement("ResponseMessages", kSelectRequired).GetChildElements())
      session.CheckResponseError(message);
  }
};

TEST_F(SessionThreads, SecondThreadHasClientsOfItsOwn) {
  std::atomic<int> done{0};
  RunBeside(1, [&](int) {
    auto& session = Session();
    const auto http = session.CreateHTTPClient(true);
    const std::unique_ptr<TVqSOAPClient> soap(session.CreateSOAPClient(http));
    for (int i = 0; i < kRequests; ++i) {
      AskForZones(session, soap.get());
      ++done;
    }
  });
  EXPECT_EQ(done, kRequests);
}

TEST_F(SessionThreads, SeveralThreadsHaveAPairEach) {
  struct Pair {
    TVqRef<IVqHTTPClient> HTTP;
    std::unique_ptr<TVqSOAPClient> SOAP;
  };
  std::vector<Pair> pairs(4);
  for (Pair& pair : pairs) {
    pair.HTTP = Session().CreateHTTPClient(true);
    pair.SOAP.reset(Session().CreateSOAPClient(pair.HTTP));
  }
  std::atomic<int> done{0};
  RunBeside(static_cast<int>(pairs.size()), [&](int i) {
    for (int n = 0; n < kRequests; ++n) {
      AskForZones(Session(), pairs[static_cast<std::size_t>(i)].SOAP.get());
      ++done;
    }
  });
  EXPECT_EQ(done, 4 * kRequests);
}

TEST_F(SessionThreads, PairsAreMadeAndFreedByAllThreadsAtATime) {
  constexpr int kThreads = 16, kPairs = 8;
  std::atomic<int> done{0};
  auto& session = Session();  // without its default store: the anchor becomes known while the others frame requests
  const std::int64_t before = VqLiveObjectCount();
  {
    std::vector<std::jthread> workers;
    for (int i = 0; i < kThreads; ++i) {
      workers.emplace_back([&, i] {
        for (int n = 0; n < kPairs; ++n) {
          const auto http = session.CreateHTTPClient((i + n) % 2 == 0);
          TVqSOAPClient* const soap = session.CreateSOAPClient(http);
          AskForZones(session, soap);
          if (n % 4 != 0) delete soap;  // the others go with the session
          ++done;
        }
      });
    }
    const auto store = session.OpenDefaultMsgStore();
    for (int i = 0; i < kRequests; ++i) EXPECT_NE(store->GetFolderId(dfininbox).Id, "");
  }
  EXPECT_EQ(done, kThreads * kPairs);
  const std::int64_t left = VqLiveObjectCount();
  {
    const auto http = session.CreateHTTPClient(true);
    AskForZones(session, session.CreateSOAPClient(http));
  }
  const std::int64_t perClient = VqLiveObjectCount() - left;
  EXPECT_EQ(left, before + perClient * kThreads * kPairs / 4);
}

TEST_F(SessionThreads, ContextOfLeanRoundTripsIsSettledWhileOthersFrameRequests) {
  constexpr int kThreads = 4;
  TVqEWSServiceSession session;
  Configure(session);
  session.SetLeanRoundTrips(true);
  session.SetCurrentTimeZoneContext("");
  session.SetActive(true);
  std::atomic<int> done{0};
  std::atomic<bool> settled{false};
  {
    std::vector<std::jthread> workers;
    for (int i = 0; i < kThreads; ++i) {
      workers.emplace_back([&] {
        const auto http = session.CreateHTTPClient(true);
        const std::unique_ptr<TVqSOAPClient> soap(session.CreateSOAPClient(http));
        bool last;
        do {
          last = settled;
          AskForZones(session, soap.get());
          ++done;
        } while (!last);
      });
    }
    while (done < kThreads) std::this_thread::yield();
    EXPECT_EQ(LastExchange("GetServerTimeZones").request_body.find("TimeZoneContext"), std::string::npos);
    session.GetCurrentTimeZoneContext();  // asks, and writes what the others read
    settled = true;
  }
  const std::string context = session.GetCurrentTimeZoneContext().utf8();
  if (context.empty()) GTEST_SKIP() << "no zone of the simulator has this machine's offset";
  EXPECT_NE(LastExchange("GetServerTimeZones").request_body.find("\"" + context + "\""), std::string::npos)
      << "who frames a request behind it has it";
}

TEST_F(SessionThreads, FailureOnOneThreadIsNoneOfTheOthers) {
  std::atomic<int> failed{0};
  RunBeside(1, [&](int) {
    auto& session = Session();
    const auto http = session.CreateHTTPClient(true);
    http->GetCredentials().SetPassword("wrong");
    const std::unique_ptr<TVqSOAPClient> soap(session.CreateSOAPClient(http));
    for (int i = 0; i < 5; ++i) {
      try {
        AskForZones(session, soap.get());
      } catch (const EVqHTTPApiException& failure) {
        EXPECT_EQ(failure.GetNumber(), 12015u);
        ++failed;
      }
    }
  });
  EXPECT_EQ(failed, 5);
}

TEST_F(SessionThreads, RequestIsCancelledFromAnotherThread) {
  auto& session = Session();
  const auto http = session.CreateHTTPClient(true);
  const std::unique_ptr<TVqSOAPClient> soap(session.CreateSOAPClient(http));
  simulator::Fault late;
  late.operation = "GetServerTimeZones";
  late.delay = std::chrono::seconds(30);
  Server().AddFault(late);
  std::thread worker([&] {
    ExpectRaised<EVqHTTPApiException>([&] { AskForZones(session, soap.get()); },
                                      [](const EVqHTTPApiException& failure) { EXPECT_EQ(failure.GetNumber(), 6u); });
  });
  while (Server().PendingFaults() > 0) std::this_thread::yield();  // the server has the request by then
  const auto start = std::chrono::steady_clock::now();
  http->GetComponent()->Cancel();
  worker.join();
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
  session.OpenDefaultMsgStore();
}

}  // namespace
}  // namespace velmore::testing
