// A call of a session is ended by another thread.

#include <stop_token>
#include <thread>

#include "SessionTestSupport.h"

namespace velmore::testing {
namespace {

using namespace std::chrono_literals;

class SessionCancelThreads : public SessionTest {
 protected:
  static constexpr std::uint32_t kCancelled = 6;

  /// A server that answers nothing from the request on that holds this word.
  void HangAt(const std::string& word) {
    Server.Always([word](const ScriptedServer::Request& request) {
      if (request.Body.find(word) != std::string::npos) {
        ScriptedServer::Answer answer;
        answer.Hang = true;
        return answer;
      }
      if (request.Body.find("Id=\"00\"") != std::string::npos) return ProbeAnswer({14, 1, 0, 0, "Exchange2010"});
      return StoreAnswer(request, "ann@example.com");
    });
  }
  /// Runs `action` and ends it by `end` once the server has the request with this word. How long the end took.
  template <typename TAction>
  std::chrono::steady_clock::duration EndWith(const std::string& word, const std::function<void()>& end,
                                              TAction action) {
    std::chrono::steady_clock::time_point ended;
    std::thread other([&] {
      Server.WaitFor([&] {
        for (const auto& request : Server.Requests()) {
          if (request.Body.find(word) != std::string::npos) return true;
        }
        return false;
      });
      ended = std::chrono::steady_clock::now();
      end();
    });
    action();
    const auto now = std::chrono::steady_clock::now();
    other.join();
    return now - ended;
  }
  void ExpectCancelled(const std::function<void()>& action) {
    ExpectRaised<EVqHTTPApiException>(
        action, [](const EVqHTTPApiException& failure) { EXPECT_EQ(failure.GetNumber(), kCancelled); });
  }
  void Convert() { Session.ConvertId({}, ifEwsId); }
};

TEST_F(SessionCancelThreads, EndsTheRequestUnderWay) {
  LogOn();
  HangAt("ConvertId");
  const auto took = EndWith(
      "DestinationFormat=\"EwsId\"", [&] { Session.Cancel(); }, [&] { ExpectCancelled([&] { Convert(); }); });
  EXPECT_LT(took, 2s) << "100 ms, on a machine that has nothing else to do";
  Server.Always(nullptr);
  ExpectUsable();
}

TEST_F(SessionCancelThreads, EndsALogon) {
  HangAt("ConvertId");
  EndWith(
      "ConvertId", [&] { Session.Cancel(); },
      [&] {
        ExpectRaised<EEWSException>([&] { Session.SetActive(true); },
                                    [](const EEWSException& failure) {
                                      EXPECT_TRUE(failure.Message().StartsWith("ErrorAutoDiscoverFailed ("))
                                          << failure.what();
                                      EXPECT_EQ(failure.HTTPErrorCode(), kCancelled);
                                    });
      });
  EXPECT_FALSE(Session.GetActive());
  EXPECT_EQ(Session.GetServiceUrl(), "");
}

TEST_F(SessionCancelThreads, WithNothingUnderWayDoesNothing) {
  Session.Cancel();
  LogOn();
  Session.Cancel();
  ExpectUsable();
  Session.SetActive(false);
  Session.Cancel();
}

TEST_F(SessionCancelThreads, StopTokenEndsAnOperationOfSeveralRequests) {
  LogOn();
  HangAt("<m:GetFolder>");
  std::stop_source stop;
  Session.SetStopToken(stop.get_token());
  EndWith(
      "<m:GetFolder>", [&] { stop.request_stop(); }, [&] { ExpectCancelled([&] { Session.OpenDefaultMsgStore(); }); });
  const std::size_t before = Server.Requests().size();
  ExpectCancelled([&] { Convert(); });
  EXPECT_EQ(Server.Requests().size(), before) << "nothing begins any more";
  Session.SetStopToken({});
  Server.Always(nullptr);
  ExpectUsable();
}

TEST_F(SessionCancelThreads, StopThatWasAskedForBeforeSendsNothing) {
  std::stop_source stop;
  stop.request_stop();
  Session.SetStopToken(stop.get_token());
  ExpectRaised<EEWSException>([&] { Session.SetActive(true); },
                              [](const EEWSException& failure) { EXPECT_EQ(failure.HTTPErrorCode(), kCancelled); });
  EXPECT_EQ(Server.Requests().size(), 0u);
}

TEST_F(SessionCancelThreads, StopInTheTimeZoneStepLeavesTheLogonStanding) {
  HangAt("GetServerTimeZones");
  std::stop_source stop;
  Session.SetStopToken(stop.get_token());
  EndWith(
      "GetServerTimeZones", [&] { stop.request_stop(); }, [&] { Session.SetActive(true); });
  EXPECT_TRUE(Session.GetActive());
  ExpectCancelled([&] { Convert(); });
}

TEST_F(SessionCancelThreads, TokenOfASessionThatIsGoneStopsNothing) {
  std::stop_source stop;
  {
    TTestSession session;
    session.SetStopToken(stop.get_token());
    session.CheckHTTPClient();
  }
  EXPECT_TRUE(stop.request_stop());
}

TEST_F(SessionCancelThreads, MayComeWhileClientsComeAndGo) {
  Server.Always([](const ScriptedServer::Request&) { return ProbeAnswer({}); });
  const string url = Session.GetServiceUrl();
  std::atomic<bool> ready{false};
  std::jthread other([&](const std::stop_token& stop) {
    ready = true;
    while (!stop.stop_requested()) Session.Cancel();
  });
  while (!ready) std::this_thread::yield();
  for (int i = 0; i < 20; ++i) {
    Session.SetServiceUrl(url);
    try {
      Session.SetActive(true);
      Session.SetNTService(i % 2 == 0);
    } catch (const EEWSException& failure) {
      EXPECT_EQ(failure.HTTPErrorCode(), kCancelled);
    }
    Session.SetActive(false);
  }
}

}  // namespace
}  // namespace velmore::testing
