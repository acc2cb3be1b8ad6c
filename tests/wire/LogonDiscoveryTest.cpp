// How the service URL is found: the order of the ways, and what each failure does.

#include "SessionTestSupport.h"
#include "platform/os/uVqDns.h"

namespace velmore::testing {
namespace {

class LogonDiscovery : public SessionTest {
 protected:
  LogonDiscovery() {
    Session.SetAutodiscoverEMail("ann@example.com");
    Session.OnAutodiscover = [this](const string&) { return Settings(Server.Url("/autodiscover")); };
    Session.OnAnswersAt = [](const string&) { return false; };
  }

  static IVqDOMDocument Settings(const std::string& url) {
    return VqCreateDOM(
        "<Autodiscover xmlns=\"urn:a\"><Response xmlns=\"urn:b\"><Account>"
        "<Protocol><Type>EXCH</Type><EwsUrl>http://inside.example.com/ews</EwsUrl></Protocol>"
        "<Protocol><Type>EXPR</Type><EwsUrl>" +
        url + "</EwsUrl></Protocol></Account></Response></Autodiscover>");
  }
  void UseOAuth() {
    TVqOAuth oauth;
    oauth.SetClientId("id");
    TVqOAuthAccessToken token;
    token.Token = "token";
    oauth.SetAccessToken(token);
    Session.SetOAuth(oauth);
  }
  void SetPassword() { Session.GetCredentials().SetPassword("geheim"); }
  /// The hooks that were asked, without the wait cursor.
  Names Asked() {
    Names asked;
    for (const std::string& call : Session.Calls)
      if (!call.starts_with("SetWaitCursor")) asked.push_back(call);
    return asked;
  }
  /// Logs on; gives the path that was probed.
  std::string Found() {
    Server.Then(ProbeAnswer({}));
    Session.SetActive(true);
    EXPECT_EQ(Session.GetServiceUrl(), Server.Url(LastRequest().Target()));
    return LastRequest().Target();
  }
  static IVqDOMDocument FailWith(std::uint32_t number) {
    throw EEWSException("ErrorAutoDiscoverFailed", "The service was not found.", number);
  }
};

TEST_F(LogonDiscovery, UrlThatIsSetIsTakenAndNobodyIsAsked) {
  Session.SetUseAutoDiscover(true);  // logon does not consult it
  Session.SetServiceUrl(Server.Url("/mine"));
  EXPECT_EQ(Found(), "/mine");
  EXPECT_EQ(Asked(), Names{});
}

TEST_F(LogonDiscovery, WithoutAPasswordAndOAuthOnlyAutodiscoverIsAsked) {
  Session.SetUseAutoDiscover(false);
  EXPECT_EQ(Found(), "/autodiscover") << "of the protocol for clients outside";
  EXPECT_EQ(Asked(), Names{"Autodiscover()"});
}

TEST_F(LogonDiscovery, OAuthAsksTheSecondVersionFirst) {
  UseOAuth();
  SetPassword();
  Session.OnAutodiscoverV2 = [this](const string&, const string&) { return string(Server.Url("/v2")); };
  EXPECT_EQ(Found(), "/v2");
  EXPECT_EQ(Asked(), Names{"AutodiscoverV2(ann@example.com, Ews)"});
}

TEST_F(LogonDiscovery, FailureOfTheSecondVersionIsSwallowed) {
  UseOAuth();
  Session.OnAutodiscoverV2 = [](const string&, const string&) -> string { throw EVqHTTPInvalidArgument("a", "b"); };
  EXPECT_EQ(Found(), "/autodiscover");
  EXPECT_EQ(Asked(), (Names{"AutodiscoverV2(ann@example.com, Ews)", "Autodiscover()"}));
}

TEST_F(LogonDiscovery, EmptyUrlOfTheSecondVersionIsNone) {
  UseOAuth();
  SetPassword();
  Session.OnAutodiscoverV2 = [](const string&, const string&) { return string(); };
  EXPECT_EQ(Found(), "/autodiscover");
  EXPECT_EQ(Asked(), (Names{"AutodiscoverV2(ann@example.com, Ews)", "FindHostBySRV(_autodiscover._tcp.example.com)",
                            "Autodiscover()"}));
}

TEST_F(LogonDiscovery, HostOfTheServiceRecordIsTakenOverHttps) {
  SetPassword();
  Session.SetTimeOuts(TVqHTTPTimeOuts(3000, 3000, 3000));
  Session.OnFindHost = [](const string&) {
    return string("srv.a-label-of-more-than-sixty-three-characters-is-never-asked-for-on-the-net.example");
  };
  EXPECT_THROW(Session.SetActive(true), EEWSException);
  EXPECT_EQ(Asked(), Names{"FindHostBySRV(_autodiscover._tcp.example.com)"}) << "Autodiscover is not asked any more";
}

TEST_F(LogonDiscovery, PathOfTheServiceRecordIsTheUsualOne) {
  SetPassword();
  Session.OnFindHost = [this](const string&) { return string("127.0.0.1:" + std::to_string(Server.Port())); };
  // The server speaks no TLS: what counts is the URL that is told in the failure.
  Session.SetTimeOuts(TVqHTTPTimeOuts(500, 500, 500));
  const auto messages = NestedMessagesOf([&] { Session.SetActive(true); });
  ASSERT_EQ(messages.size(), 2u);
  EXPECT_TRUE(messages[0].starts_with("ErrorAutoDiscoverFailed (")) << messages[0];
  EXPECT_TRUE(Server.Requests().empty()) << "nothing readable was sent";
}

TEST_F(LogonDiscovery, NoServiceRecordGoesOnToAutodiscover) {
  SetPassword();
  EXPECT_EQ(Found(), "/autodiscover");
  EXPECT_EQ(Asked(), (Names{"FindHostBySRV(_autodiscover._tcp.example.com)", "Autodiscover()"}));
}

TEST_F(LogonDiscovery, DomainBeginsBehindTheFirstAt) {
  SetPassword();
  Session.SetAutodiscoverEMail("a@b@c.example.com");
  Found();
  EXPECT_EQ(Asked()[0], "FindHostBySRV(_autodiscover._tcp.b@c.example.com)");
}

TEST_F(LogonDiscovery, SettingsWithoutAUrlAreAFailure) {
  Session.OnAutodiscover = [](const string&) {
    return VqCreateDOM(
        "<Autodiscover><Response><Account><Protocol><Type>EXCH</Type><EwsUrl>x</EwsUrl></Protocol></Account>"
        "</Response></Autodiscover>");
  };
  EXPECT_THROW(Session.SetActive(true), EVqXMLError);
  EXPECT_FALSE(Session.GetActive());
}

// ---- The usual host names

TEST_F(LogonDiscovery, UsualNamesAreTriedOnlyWhenTheNameWasNotResolved) {
  for (const std::uint32_t number : {0u, 401u, 12002u, 12015u, 12029u}) {
    Session.Calls.clear();
    Session.OnAutodiscover = [number](const string&) { return FailWith(number); };
    ExpectRaised<EEWSException>([&] { Session.SetActive(true); },
                                [&](const EEWSException& failure) { EXPECT_EQ(failure.HTTPErrorCode(), number); });
    EXPECT_EQ(Asked(), Names{"Autodiscover()"}) << number;
  }
}

TEST_F(LogonDiscovery, MailIsTriedThenWwwThenTheOriginalIsRaised) {
  Session.OnAutodiscover = [](const string&) { return FailWith(12007); };
  ExpectRaised<EEWSException>([&] { Session.SetActive(true); },
                              [](const EEWSException& failure) {
                                EXPECT_EQ(failure.Message(), "ErrorAutoDiscoverFailed (The service was not found.).");
                                EXPECT_EQ(failure.HTTPErrorCode(), 12007u);
                              });
  EXPECT_EQ(Asked(), (Names{"Autodiscover()", "AnswersAt(https://mail.example.com/ews/exchange.asmx)",
                            "AnswersAt(https://www.example.com/ews/exchange.asmx)"}));
  EXPECT_FALSE(Session.GetActive());
}

TEST_F(LogonDiscovery, FirstUsualNameThatAnswersIsTaken) {
  for (const string wanted :
       {"https://mail.a-label-of-more-than-sixty-three-characters-is-never-asked-for-on-the-net.example/ews/"
        "exchange.asmx",
        "https://www.a-label-of-more-than-sixty-three-characters-is-never-asked-for-on-the-net.example/ews/"
        "exchange.asmx"}) {
    Session.SetAutodiscoverEMail(
        "ann@a-label-of-more-than-sixty-three-characters-is-never-asked-for-on-the-net.example");
    Session.OnAutodiscover = [](const string&) { return FailWith(12007); };
    string url;
    Session.OnAnswersAt = [&](const string& asked) {
      if (asked == wanted) url = asked;
      return asked == wanted;
    };
    // It is probed next, and not there.
    ExpectRaised<EEWSException>(
        [&] { Session.SetActive(true); },
        [](const EEWSException& failure) {
          EXPECT_TRUE(failure.EWSErrorCode().StartsWith(u"NAME_NOT_RESOLVED: The autodiscover returned"))
              << failure.what();
        });
    EXPECT_EQ(url, wanted);
  }
}

TEST_F(LogonDiscovery, MessageOfAuthenticationFailureIsTheSameOutcome) {
  // The one-text form of it: the comparison that never matches a message of two texts matches here, and raises it again
  // as well.
  Session.OnAutodiscover = [](const string&) -> IVqDOMDocument {
    throw EEWSException("Authentication Failure!", 12007);
  };
  ExpectRaised<EEWSException>(
      [&] { Session.SetActive(true); },
      [](const EEWSException& failure) { EXPECT_EQ(failure.Message(), "Authentication Failure!"); });
  EXPECT_EQ(Asked(), Names{"Autodiscover()"});
  Session.Calls.clear();
  Session.OnAutodiscover = [](const string&) -> IVqDOMDocument {
    throw EEWSException("Authentication Failure!", "No.", 12015);
  };
  EXPECT_THROW(Session.SetActive(true), EEWSException);
  EXPECT_EQ(Asked(), Names{"Autodiscover()"});
}

TEST_F(LogonDiscovery, OtherExceptionsOfAutodiscoverPass) {
  Session.OnAutodiscover = [](const string&) -> IVqDOMDocument {
    throw EVqHTTPApiException("api", "text", VqErrNameNotResolved);
  };
  ExpectRaised<EVqHTTPApiException>([&] { Session.SetActive(true); },
                                    [](const EVqHTTPApiException& failure) { EXPECT_STREQ(failure.what(), "text"); });
  EXPECT_EQ(Asked(), Names{"Autodiscover()"});
}

TEST_F(LogonDiscovery, OnlyStatus200IsAnAnswer) {
  Session.OnAnswersAt = nullptr;  // the real one
  Session.CheckHTTPClient();
  const auto answers = [&](const std::string& status) {
    Server.Then("HTTP/1.1 " + status + "\r\nContent-Length: 0\r\n\r\n");
    return Session.AnswersAtOf(Server.Url("/ews/exchange.asmx"));
  };
  EXPECT_TRUE(answers("200 OK"));
  EXPECT_EQ(LastRequest().Method(), "GET");
  EXPECT_EQ(LastRequest().Target(), "/ews/exchange.asmx");
  for (const char* status : {"401 Unauthorized", "204 No Content", "302 Found", "404 Not Found", "500 Broken"})
    EXPECT_FALSE(answers(status)) << status;
  EXPECT_FALSE(Session.AnswersAtOf(
      "http://mail.a-label-of-more-than-sixty-three-characters-is-never-asked-for-on-the-net.example/"))
      << "a failure of the transport is no answer";
}

/// Name look-ups that give these services, for one test.
class TServices {
 public:
  explicit TServices(std::vector<TVqDnsRecord> records) : FBefore(VqGetDnsFunctions()), FRecords(std::move(records)) {
    for (std::size_t i = 1; i < FRecords.size(); ++i) FRecords[i - 1].Next = &FRecords[i];
    VqSetDnsFunctions({[this](const std::string& name, std::uint16_t type, const TVqDnsOptions&, TVqDnsRecord*& list) {
                         Asked.push_back(name);
                         EXPECT_EQ(type, 33);
                         list = FRecords.data();
                         return kVqDnsFound;
                       },
                       [this](TVqDnsRecord*, std::int32_t kind) {
                         EXPECT_EQ(kind, 1);
                         ++Freed;
                       }});
  }
  ~TServices() { VqSetDnsFunctions(FBefore); }
  TServices(const TServices&) = delete;
  TServices& operator=(const TServices&) = delete;

  std::vector<std::string> Asked;
  int Freed = 0;

 private:
  TVqDnsFunctions FBefore;
  std::vector<TVqDnsRecord> FRecords;
};

TEST_F(LogonDiscovery, FirstServiceRecordIsTaken) {
  TServices services({{nullptr, "first.example.com", 20, 0, 443}, {nullptr, "second.example.com", 10, 0, 443}});
  EXPECT_EQ(Session.HostBySRVOf("_autodiscover._tcp.example.com"), "first.example.com") << "priorities do not count";
  EXPECT_EQ(services.Asked, Names{"_autodiscover._tcp.example.com"});
  EXPECT_EQ(services.Freed, 1);
}

#ifndef NDEBUG
TEST_F(LogonDiscovery, ServiceOnAnotherPortIsAnError) {
  TServices services({{nullptr, "first.example.com", 0, 0, 8443}});
  ExpectRaised<EAssertionFailed>([&] { Session.HostBySRVOf("_autodiscover._tcp.example.com"); },
                                 [](const EAssertionFailed& failure) {
                                   EXPECT_EQ(failure.Message(), "The EWS Server should be accessible on port 443!");
                                 });
}
#endif

TEST_F(LogonDiscovery, MissingCredentialsStopALogonQuietly) {
  Session.OnAutodiscover = nullptr;
  ExpectRaised<EAbort>(
      [&] { Session.SetActive(true); },
      [](const EAbort& abort) { EXPECT_EQ(abort.Message(), "Cannot Autodiscover because of missing credentials!"); });
  EXPECT_EQ(Server.Requests().size(), 0u);
  EXPECT_EQ(Session.HostBySRVOf("_autodiscover._tcp.example.com"), "");
}

}  // namespace
}  // namespace velmore::testing
