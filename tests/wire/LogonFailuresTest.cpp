// Everything that can go wrong when a session logs on: one clear exception each, and the session ready for the next
// try.

#include <typeinfo>

#include "SessionTestSupport.h"
#include "tests/support/TestCertificates.h"

namespace velmore::testing {
namespace {

constexpr const char* kLoginFailure = "LOGIN_FAILURE: Either an invalid name and/or password were provided!";

class LogonFailures : public SessionTest {
 protected:
  LogonFailures() { Session.SetTimeOuts(TVqHTTPTimeOuts(3000, 3000, 3000)); }

  void SetAddress() {
    const string url = Session.GetServiceUrl();
    Session.SetAutodiscoverEMail("ann@example.com");
    Session.SetServiceUrl(url);
  }
  /// The failure of the logon, which must be an EVqHTTPApiException itself.
  void ExpectApi(std::uint32_t number, const std::string& text) {
    ExpectRaised<EVqHTTPApiException>([&] { Session.SetActive(true); },
                                      [&](const EVqHTTPApiException& failure) {
                                        EXPECT_EQ(failure.what(), text);
                                        EXPECT_EQ(failure.GetNumber(), number);
                                        EXPECT_NE(failure.GetApiName(), "");
                                      });
    ExpectLoggedOff();
  }
  void ExpectEWS(std::uint32_t number, const std::string& first, const std::string& second = {}) {
    ExpectRaised<EEWSException>([&] { Session.SetActive(true); },
                                [&](const EEWSException& failure) {
                                  if (!second.empty()) {
                                    EXPECT_EQ(failure.Message(), first + " (" + second + ").");
                                    EXPECT_EQ(failure.EWSErrorCode(), second);
                                  }
                                  EXPECT_TRUE(failure.Message().StartsWith(string(first + " ("))) << failure.what();
                                  EXPECT_EQ(failure.HTTPErrorCode(), number) << failure.what();
                                });
    ExpectLoggedOff();
  }
  void ExpectLoggedOff() {
    EXPECT_FALSE(Session.GetActive());
    EXPECT_EQ(Session.GetServiceUrl(), "") << "cleared, also one that was set by hand";
  }
  /// The same session logs on to a server in order.
  void ExpectLogsOnNow() {
    Session.SetAutodiscoverEMail("");
    Session.SetServiceUrl(Server.Url("/EWS/Exchange.asmx"));
    Server.Then(ProbeAnswer({}));
    Session.SetActive(true);
    ExpectUsable();
  }
  /// A port on which nobody listens.
  static std::string DeafUrl() {
    const ScriptedServer gone;
    return gone.Url("/");
  }
  void RefuseCredentials() {
    TVqCredentials credentials;
    credentials.SetUserName("ann");
    credentials.SetPassword("wrong");
    Session.SetCredentials(credentials);
    for (int i = 0; i < 2; ++i)
      Server.Then("HTTP/1.1 401 Unauthorized\r\nWWW-Authenticate: Basic realm=\"x\"\r\nContent-Length: 0\r\n\r\n");
  }
};

// ---- The table, row by row

TEST_F(LogonFailures, UnknownHostWithoutAnAddress) {
  Session.SetServiceUrl(
      "http://mail.a-label-of-more-than-sixty-three-characters-is-never-asked-for-on-the-net.example/EWS/"
      "Exchange.asmx");
  ExpectApi(12007, "NAME_NOT_RESOLVED: The specified EWS Service \"\" could not be found!");
  ExpectLogsOnNow();
}

TEST_F(LogonFailures, WrongPasswordWithoutAnAddress) {
  RefuseCredentials();
  ExpectApi(12015, kLoginFailure);
  ExpectLogsOnNow();
}

TEST_F(LogonFailures, AnythingElseWithoutAnAddress) {
  Session.SetServiceUrl(DeafUrl());
  ExpectEWS(12029, "ErrorAutoDiscoverFailed");
  ExpectLogsOnNow();
}

TEST_F(LogonFailures, UnknownHostWithAnAddress) {
  Session.SetServiceUrl(
      "http://mail.a-label-of-more-than-sixty-three-characters-is-never-asked-for-on-the-net.example/EWS/"
      "Exchange.asmx");
  SetAddress();
  ExpectEWS(
      12007, "ErrorAutoDiscoverFailed",
      "NAME_NOT_RESOLVED: The autodiscover returned the following url for the EWS Service \"\", however, the service "
      "could not be found!");
  ExpectLogsOnNow();
}

TEST_F(LogonFailures, WrongPasswordWithAnAddress) {
  RefuseCredentials();
  SetAddress();
  ExpectEWS(12015, "ErrorConnectionFailed", kLoginFailure);
  ExpectLogsOnNow();
}

TEST_F(LogonFailures, AnythingElseWithAnAddress) {
  Session.SetServiceUrl(DeafUrl());
  SetAddress();
  ExpectEWS(12029, "ErrorAutoDiscoverFailed");
  ExpectLogsOnNow();
}

TEST_F(LogonFailures, OtherExceptionsComeAsTheyAre) {
  for (const bool address : {false, true}) {
    Session.SetServiceUrl(Server.Url("/"));
    if (address) SetAddress();
    Server.Then(SoapFault("ErrorSchemaValidation", "The request failed schema validation."));
    ExpectRaised<EVqSOAPFault>([&] { Session.SetActive(true); },
                               [](const EVqSOAPFault& fault) {
                                 EXPECT_STREQ(fault.what(),
                                              "The request failed schema validation. (ErrorSchemaValidation)");
                               });
    ExpectLoggedOff();
  }
  ExpectLogsOnNow();
}

TEST_F(LogonFailures, ErrorOfTheCallerIsNeverTurnedIntoAnother) {
  TVqOAuth oauth;
  oauth.SetClientId("id");
  TVqOAuthAccessToken token;
  token.Token = "with\nbreak";
  oauth.SetAccessToken(token);
  Session.SetOAuth(oauth);
  EXPECT_THROW(Session.SetActive(true), EVqHTTPInvalidArgument);
  ExpectLoggedOff();
  Session.SetOAuth(TVqOAuth());
  ExpectLogsOnNow();
}

// ---- The original

TEST_F(LogonFailures, OriginalIsNestedAndTellsMore) {
  RefuseCredentials();
  EXPECT_EQ(NestedMessagesOf([&] { Session.SetActive(true); }),
            (Names{kLoginFailure, "The server refused the credentials; it offers Basic, Basic was tried."}));
  Session.SetServiceUrl(
      "http://mail.a-label-of-more-than-sixty-three-characters-is-never-asked-for-on-the-net.example/");
  const auto unknown = NestedMessagesOf([&] { Session.SetActive(true); });
  ASSERT_EQ(unknown.size(), 2u);
  EXPECT_NE(unknown[1].find("mail.a-label-of-more-than-sixty-three-characters-is-never-asked-for-on-the-net.example"),
            std::string::npos)
      << unknown[1];
  Session.SetServiceUrl(DeafUrl());
  const auto deaf = NestedMessagesOf([&] { Session.SetActive(true); });
  ASSERT_EQ(deaf.size(), 2u);
  EXPECT_EQ(deaf[0], "ErrorAutoDiscoverFailed (" + deaf[1] + ").");
}

TEST_F(LogonFailures, NestedOriginalHasItsNumber) {
  Session.SetServiceUrl(DeafUrl());
  try {
    Session.SetActive(true);
    FAIL();
  } catch (const EEWSException& failure) {
    try {
      std::rethrow_if_nested(failure);
      FAIL();
    } catch (const EVqHTTPApiException& original) {
      EXPECT_EQ(original.GetNumber(), 12029u);
    }
  }
}

// ---- Other things that happen

TEST_F(LogonFailures, NoUrlAtAll) {
  Session.SetServiceUrl("");
  ExpectEWS(12005, "ErrorAutoDiscoverFailed", "The address is empty.");
  ExpectLogsOnNow();
}

TEST_F(LogonFailures, UrlThatIsNone) {
  for (const char* url : {"mail.example.com", "ftp://mail.example.com/", "http://", "http://mail server/"}) {
    Session.SetServiceUrl(url);
    EXPECT_THROW(Session.SetActive(true), EEWSException) << url;
    ExpectLoggedOff();
  }
  ExpectLogsOnNow();
}

TEST_F(LogonFailures, UntrustedCertificate) {
  const TestAuthority authority;
  const auto made = authority.MakeServer({});
  ScriptedServer secure({made.Certificate, made.Key, ""});
  Session.SetServiceUrl(secure.Url("/", "localhost"));
  ExpectEWS(12045, "ErrorAutoDiscoverFailed");

  const TestFile trusted(authority.Certificate());
  Session.SetCAFile(trusted.Path());
  Session.SetServiceUrl(secure.Url("/", "localhost"));
  secure.Then(ProbeAnswer({}));
  Session.SetActive(true);
  EXPECT_TRUE(Session.GetActive());
}

TEST_F(LogonFailures, CertificateOfAnotherHost) {
  const TestAuthority authority;
  const TestFile trusted(authority.Certificate());
  TestAuthority::Server wanted;
  wanted.Names = "DNS:mail.elsewhere.example";
  const auto made = authority.MakeServer(wanted);
  ScriptedServer secure({made.Certificate, made.Key, ""});
  Session.SetCAFile(trusted.Path());
  Session.SetServiceUrl(secure.Url("/", "localhost"));
  ExpectEWS(12038, "ErrorAutoDiscoverFailed");
  Session.SetSecurityFlags({TVqHTTPSecurityFlag::IgnoreInvalidCommonName});
  Session.SetServiceUrl(secure.Url("/", "localhost"));
  secure.Then(ProbeAnswer({}));
  Session.SetActive(true);
  EXPECT_TRUE(Session.GetActive());
}

TEST_F(LogonFailures, ExpiredCertificate) {
  const TestAuthority authority;
  const TestFile trusted(authority.Certificate());
  TestAuthority::Server wanted;
  wanted.FromDays = -30;
  wanted.ToDays = -1;
  const auto made = authority.MakeServer(wanted);
  ScriptedServer secure({made.Certificate, made.Key, ""});
  Session.SetCAFile(trusted.Path());
  Session.SetServiceUrl(secure.Url("/", "localhost"));
  ExpectEWS(12037, "ErrorAutoDiscoverFailed");
  ExpectLogsOnNow();
}

TEST_F(LogonFailures, ServerThatSaysNothing) {
  Session.SetTimeOuts(TVqHTTPTimeOuts(3000, 3000, 200));
  Answer silence;
  silence.Hang = true;
  Server.Then(silence);
  ExpectEWS(12002, "ErrorAutoDiscoverFailed");
  Session.SetTimeOuts(TVqHTTPTimeOuts(3000, 3000, 3000));
  ExpectLogsOnNow();
}

TEST_F(LogonFailures, ReplyCutInTheMiddle) {
  Answer cut = ProbeAnswer({});
  cut.Bytes.resize(cut.Bytes.size() / 2);
  cut.Close = true;
  Server.Then(cut);
  ExpectEWS(12030, "ErrorAutoDiscoverFailed");
  ExpectLogsOnNow();
}

TEST_F(LogonFailures, ConnectionThatBreaksInTheMiddle) {
  Answer reset = ProbeAnswer({});
  reset.Bytes.resize(reset.Bytes.size() / 2);
  reset.Reset = true;
  Server.Then(reset);
  EXPECT_THROW(Session.SetActive(true), EEWSException);
  ExpectLoggedOff();
  ExpectLogsOnNow();
}

TEST_F(LogonFailures, WebPageInsteadOfXML) {
  const std::string page = "<!DOCTYPE html><html><body><p>Sign in</body></html>";
  Server.Then("HTTP/1.1 200 OK\r\nContent-Type: text/html\r\nContent-Length: " + std::to_string(page.size()) +
              "\r\n\r\n" + page);
  ExpectRaised<EVqHTTPException>(
      [&] { Session.SetActive(true); },
      [](const EVqHTTPException& failure) {
        EXPECT_EQ(typeid(failure), typeid(EVqHTTPException));
        EXPECT_EQ(failure.GetNumber(), 200u);
        EXPECT_STREQ(failure.what(), "The server answered \"200 OK\" with text/html instead of a SOAP envelope.");
      });
  ExpectLoggedOff();
  ExpectLogsOnNow();
}

TEST_F(LogonFailures, EmptyReply) {
  Server.Then("HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n");
  ExpectRaised<EVqHTTPException>(
      [&] { Session.SetActive(true); },
      [](const EVqHTTPException& failure) {
        EXPECT_EQ(failure.GetNumber(), 200u);
        EXPECT_STREQ(failure.what(), "The server answered \"200 OK\" with an empty body instead of a SOAP envelope.");
      });
  ExpectLoggedOff();
  ExpectLogsOnNow();
}

TEST_F(LogonFailures, StatusesWithoutAnEnvelope) {
  for (const char* status : {"302 Found", "403 Forbidden", "404 Not Found", "500 Internal Server Error",
                             "502 Bad Gateway", "503 Service Unavailable", "429 Too Many Requests"}) {
    Session.SetServiceUrl(Server.Url("/"));
    Server.Then(std::string("HTTP/1.1 ") + status + "\r\nRetry-After: 5\r\nContent-Length: 0\r\n\r\n");
    ExpectRaised<EVqHTTPException>([&] { Session.SetActive(true); },
                                   [&](const EVqHTTPException& failure) {
                                     EXPECT_EQ(failure.GetNumber(), static_cast<std::uint32_t>(std::atoi(status)));
                                     EXPECT_TRUE(failure.Message().Contains(string(status))) << failure.what();
                                     const auto* busy = dynamic_cast<const EVqServerBusy*>(&failure);
                                     EXPECT_EQ(busy != nullptr,
                                               failure.GetNumber() == 503 || failure.GetNumber() == 429);
                                     EXPECT_EQ(busy ? busy->GetRetryAfter() : 5000, 5000);
                                   });
    ExpectLoggedOff();
  }
  ExpectLogsOnNow();
}

TEST_F(LogonFailures, EnvelopeThatIsNotWellFormed) {
  Server.Then(Http("200 OK", "<s:Envelope xmlns:s=\"x\">\n<s:Body><a></s:Body></s:Envelope>"));
  ExpectRaised<EVqXMLError>([&] { Session.SetActive(true); },
                            [](const EVqXMLError& failure) { EXPECT_EQ(failure.GetLine(), 2); });
  ExpectLoggedOff();
  ExpectLogsOnNow();
}

TEST_F(LogonFailures, LogonAfterAFailureFindsTheUrlAgain) {
  int asked = 0;
  Session.OnAutodiscover = [&](const string&) {
    ++asked;
    return VqCreateDOM("<Autodiscover><Response><Account><Protocol><Type>EXPR</Type><EwsUrl>" + Server.Url("/found") +
                       "</EwsUrl></Protocol></Account></Response></Autodiscover>");
  };
  Session.SetAutodiscoverEMail("ann@example.com");
  Server.Then("HTTP/1.1 500 Broken\r\nContent-Length: 0\r\n\r\n");
  EXPECT_THROW(Session.SetActive(true), EVqHTTPException);
  EXPECT_EQ(asked, 1);
  Server.Then(ProbeAnswer({}));
  Session.SetActive(true);
  EXPECT_EQ(asked, 2);
  Session.SetActive(false);
  Server.Then(ProbeAnswer({}));
  Session.SetActive(true);
  EXPECT_EQ(asked, 2) << "the URL survived the logoff";
}

}  // namespace
}  // namespace velmore::testing
