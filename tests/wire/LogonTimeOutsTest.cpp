// The three limits at logon, each alone: the others are far away.

#include "SessionTestSupport.h"
#include "tests/support/FullPort.h"

namespace velmore::testing {
namespace {

constexpr int kFar = 60000, kShort = 200;

class LogonTimeOuts : public SessionTest {
 protected:
  /// The logon, which must run out of time with this text of the transport.
  void ExpectTimeOut(const std::string& text) {
    const auto start = std::chrono::steady_clock::now();
    try {
      Session.SetActive(true);
      ADD_FAILURE() << "no exception";
    } catch (const EEWSException& failure) {
      EXPECT_EQ(failure.Message(), "ErrorAutoDiscoverFailed (" + text + ").");
      EXPECT_EQ(failure.EWSErrorCode(), text);
      EXPECT_EQ(failure.HTTPErrorCode(), 12002u);
    }
    const auto took = std::chrono::steady_clock::now() - start;
    EXPECT_GE(took, std::chrono::milliseconds(kShort - 10));
    EXPECT_LT(took, std::chrono::milliseconds(kFar / 2)) << "another limit";
    EXPECT_FALSE(Session.GetActive());
    EXPECT_EQ(Session.GetServiceUrl(), "");
  }
  std::string Host() const { return "127.0.0.1:" + std::to_string(Server.Port()); }
  static Answer Silence(bool unread = false) {
    Answer silence;
    silence.Hang = true;
    silence.Unread = unread;
    return silence;
  }
};

TEST_F(LogonTimeOuts, ServerThatAcceptsNoConnection) {
  const FullPort port;
  Session.SetServiceUrl(port.Url());
  Session.SetTimeOuts(TVqHTTPTimeOuts(kShort, kFar, kFar));
  ExpectTimeOut("No connection to \"" + port.Host() + "\" came about within 200 ms.");
}

TEST_F(LogonTimeOuts, ServerThatDoesNotReadTheRequest) {
  // What is usual in a probe fits into the system's buffers. An address of this length does not.
  TVqOAuth oauth;
  oauth.SetClientId("id");
  oauth.SetGrantType(TVqOAuthGrantType::ClientCredentials);
  TVqOAuthAccessToken token;
  token.Token = "t0k3n";
  oauth.SetAccessToken(token);
  Session.SetOAuth(oauth);
  Session.SetConnectingSID(string(std::string(std::size_t{32} << 20, 'x')));
  Session.SetTimeOuts(TVqHTTPTimeOuts(kFar, kShort, kFar));
  Server.Then(Silence(true));
  ExpectTimeOut("The server \"" + Host() + "\" took nothing of the request for 200 ms.");
}

TEST_F(LogonTimeOuts, ServerThatDoesNotAnswer) {
  Session.SetTimeOuts(TVqHTTPTimeOuts(kFar, kFar, kShort));
  Server.Then(Silence());
  ExpectTimeOut("The server \"" + Host() + "\" sent nothing for 200 ms.");
}

TEST_F(LogonTimeOuts, ServerThatStopsInTheMiddleOfItsAnswer) {
  Session.SetTimeOuts(TVqHTTPTimeOuts(kFar, kFar, kShort));
  Answer half = ProbeAnswer({});
  half.Bytes.resize(half.Bytes.size() / 2);
  half.Hang = true;
  Server.Then(half);
  ExpectTimeOut("The server \"" + Host() + "\" sent nothing for 200 ms.");
}

TEST_F(LogonTimeOuts, AddressOfAutodiscoverMakesNoDifference) {
  Session.SetAutodiscoverEMail("ann@example.com");
  Session.SetServiceUrl(Server.Url("/"));
  Session.SetTimeOuts(TVqHTTPTimeOuts(kFar, kFar, kShort));
  Server.Then(Silence());
  ExpectTimeOut("The server \"" + Host() + "\" sent nothing for 200 ms.");
}

TEST_F(LogonTimeOuts, SameSessionLogsOnWithMorePatience) {
  Session.SetTimeOuts(TVqHTTPTimeOuts(kFar, kFar, kShort));
  Server.Then(Silence());
  ExpectTimeOut("The server \"" + Host() + "\" sent nothing for 200 ms.");
  Session.SetTimeOuts(TVqHTTPTimeOuts(kFar, kFar, kFar));
  Session.SetServiceUrl(Server.Url("/"));
  Answer late = ProbeAnswer({});
  late.Before = std::chrono::milliseconds(2 * kShort);
  Server.Then(late);
  Session.SetActive(true);
  EXPECT_TRUE(Session.GetActive());
}

}  // namespace
}  // namespace velmore::testing
