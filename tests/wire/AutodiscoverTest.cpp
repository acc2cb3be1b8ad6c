// The look for a server by a mailbox address. One server stands for all hosts that are asked; the map of hosts sends
// every name of the test to it.

#include <algorithm>
#include <thread>

#include "SessionTestSupport.h"
#include "platform/http/uVqURL.h"
#include "tests/support/TestCertificates.h"

namespace velmore::testing {
namespace {

constexpr const char* kPath = "/autodiscover/autodiscover.xml";

std::string Settings(const std::string& account) {
  return "<?xml version=\"1.0\" encoding=\"utf-8\"?><Autodiscover "
         "xmlns=\"http://schemas.microsoft.com/exchange/autodiscover/responseschema/2006\"><Response "
         "xmlns=\"http://schemas.microsoft.com/exchange/autodiscover/outlook/responseschema/2006a\"><Account>" +
         account + "</Account></Response></Autodiscover>";
}

std::string Protocol(const std::string& url) {
  return "<Protocol><Type>EXCH</Type><EwsUrl>https://inside/ews</EwsUrl></Protocol><Protocol><Type>EXPR</"
         "Type><EwsUrl>" +
         url + "</EwsUrl></Protocol>";
}

class TAutodiscoverSession : public TVqEWSServiceSession {
 public:
  using TVqEWSCustomSession::AnswersAt;
  using TVqEWSCustomSession::GetAutodiscoverResults;
  using TVqEWSCustomSession::GetHTTPClient;
};

class Autodiscover : public ::testing::Test {
 protected:
  using Answer = ScriptedServer::Answer;
  using Names = std::vector<std::string>;

  Autodiscover()
      : FAuthority("Velmore test authority"),
        FAuthorityFile(FAuthority.Certificate()),
        FSecure(IdentityOf(FAuthority)),
        FHosts({"example.com", "autodiscover.example.com", "www.example.com", "other.example.com", "mail.example.com",
                "autodiscover-s.example.net", "autodiscover.example.tenant.example.net", "example.tenant.example.net",
                "json.example.net", "autodiscover.other.example.com", "www.other.example.com"}) {
    Online.Json = "https://json.example.net";
    Online.Soap = "autodiscover-s.example.net";
    Online.TenantSuffix = ".tenant.example.net";
    std::swap(Online, TVqEWSCustomSession::OnlineHosts());
    std::map<string, string> map;
    for (const std::string& host : FHosts) {
      map[string(host + ":443")] = "127.0.0.1:" + IntToStr(FSecure.Port());
      map[string(host + ":80")] = "127.0.0.1:" + IntToStr(FPlain.Port());
    }
    Session.SetConnectTo(map);
    Session.SetCAFile(FAuthorityFile.Path());
    Session.SetAutodiscoverEMail("ann@example.com");
    Session.GetCredentials().SetUserName("ann");
    Session.GetCredentials().SetPassword("Geheim-4711");
    for (ScriptedServer* server : {&FSecure, &FPlain}) {
      server->Always([this, server](const ScriptedServer::Request& request) {
        const std::string url =
            (server == &FSecure ? "https://" : "http://") + request.Header("Host") + request.Target();
        FAsked.push_back(request.Method() + " " + url);
        FRequests.push_back(request);
        const auto found = FAnswers.find(FAsked.back());
        if (found != FAnswers.end()) return found->second;
        const auto any = FAnswers.find("*");
        return any == FAnswers.end() ? Status(404) : any->second;
      });
    }
  }
  ~Autodiscover() override { std::swap(Online, TVqEWSCustomSession::OnlineHosts()); }

  static ScriptedServer::Identity IdentityOf(const TestAuthority& authority) {
    TestAuthority::Server server;
    server.Names =
        "DNS:example.com,DNS:*.example.com,DNS:*.other.example.com,DNS:*.example.net,"
        "DNS:*.tenant.example.net,DNS:*.example.tenant.example.net,IP:127.0.0.1";
    const TestAuthority::Made made = authority.MakeServer(server);
    return {made.Certificate, made.Key, {}};
  }
  static Answer Say(const std::string& bytes) {
    Answer answer;
    answer.Bytes = bytes;
    return answer;
  }
  static Answer Status(int status, const std::string& headers = {}, const std::string& body = {}) {
    return Say("HTTP/1.1 " + std::to_string(status) + " Words\r\n" + headers +
               "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body);
  }
  static Answer Redirect(const std::string& to, int status = 302) { return Status(status, "Location: " + to + "\r\n"); }
  static std::string Secure(const std::string& host) { return "https://" + host + kPath; }
  /// The candidate answers, and gives this to the question.
  void AnswerAt(const std::string& url, const std::string& document) {
    FAnswers["GET " + url] = Status(200);
    FAnswers["POST " + url] = Status(200, "Content-Type: text/xml\r\n", document);
  }
  string Url(const IVqDOMDocument& document) {
    return document
        .SelectSingleElement("/Autodiscover/Response/Account/Protocol[Type=\"EXPR\"]/EwsUrl", kSelectRequired)
        .GetText();
  }
  /// The second text and the number of the failure of a look.
  std::pair<std::string, std::uint32_t> Failure(const char* address = "") {
    try {
      Session.Autodiscover(address);
    } catch (const EEWSException& failure) {
      EXPECT_EQ(failure.Message(), "ErrorAutoDiscoverFailed (" + failure.EWSErrorCode() + ").");
      return {failure.EWSErrorCode().utf8(), failure.HTTPErrorCode()};
    } catch (const std::exception& failure) {
      ADD_FAILURE() << "another exception: " << failure.what();
      return {};
    }
    ADD_FAILURE() << "nothing raised";
    return {};
  }
  void UseOAuth() {
    TVqOAuth oauth;
    oauth.SetClientId("id");
    TVqOAuthAccessToken token;
    token.Token = "TOKEN-4711";
    oauth.SetAccessToken(token);
    Session.SetOAuth(oauth);
    Session.SetCredentials({});
  }
  /// The grant that sends a password; the token endpoint is a host of the test, too.
  void UseGrant() {
    TVqOAuth oauth;
    oauth.SetClientId("id");
    oauth.SetTokenEndpoint("https://mail.example.com/token");
    oauth.SetGrantType(TVqOAuthGrantType::Password);
    Session.SetOAuth(oauth);
  }
  static constexpr const char* kToken = "POST https://mail.example.com/token";
  static constexpr const char* kJson = "Content-Type: application/json\r\n";
  static const Names& AllCandidates() {
    static const Names names{Secure("example.com"), Secure("autodiscover.example.com"), Secure("www.example.com"),
                             std::string("http://autodiscover.example.com") + kPath,
                             std::string("http://www.example.com") + kPath};
    return names;
  }
  static Names Gets(const Names& urls) {
    Names gets;
    for (const std::string& url : urls) gets.push_back("GET " + url);
    return gets;
  }

  TVqEWSOnlineHosts Online;
  TestAuthority FAuthority;
  TestFile FAuthorityFile;
  ScriptedServer FSecure{IdentityOf(FAuthority)};
  ScriptedServer FPlain;
  Names FHosts;
  std::map<std::string, Answer> FAnswers;
  Names FAsked;
  std::vector<ScriptedServer::Request> FRequests;
  TAutodiscoverSession Session;
};

TEST_F(Autodiscover, FirstCandidateThatAnswersIsAsked) {
  AnswerAt(Secure("autodiscover.example.com"), Settings(Protocol("https://mail.example.com/ews")));
  const IVqDOMDocument answer = Session.Autodiscover("");
  EXPECT_EQ(Url(answer), "https://mail.example.com/ews");
  EXPECT_EQ(FAsked, (Names{"GET " + Secure("example.com"), "GET " + Secure("autodiscover.example.com"),
                           "POST " + Secure("autodiscover.example.com")}));
  EXPECT_EQ(FRequests.back().Body,
            "<?xml version=\"1.0\" encoding=\"utf-8\"?><Autodiscover "
            "xmlns=\"http://schemas.microsoft.com/exchange/autodiscover/outlook/requestschema/2006\"><Request>"
            "<EMailAddress>ann@example.com</EMailAddress><AcceptableResponseSchema>"
            "http://schemas.microsoft.com/exchange/autodiscover/outlook/responseschema/2006a"
            "</AcceptableResponseSchema></Request></Autodiscover>");
  EXPECT_EQ(FRequests.back().Header("Content-Type"), "text/xml; charset=utf-8");
  EXPECT_EQ(FRequests.back().Header("Accept"), "text/xml");
  EXPECT_EQ(FRequests.back().Header("User-Agent"), "Velmore EWS Client");
}

TEST_F(Autodiscover, CandidatesAreAskedInTheirOrder) {
  EXPECT_EQ(Failure(), std::pair(std::string("Failed to determine the Autodiscover URL!"), 0u));
  EXPECT_EQ(FAsked, Gets(AllCandidates()));
}

TEST_F(Autodiscover, SessionOfExchangeOnlineKnowsThreeMore) {
  Session.SetServiceUrl("https://outlook.office365.com/ews/exchange.asmx");
  Failure("bob@example.com");
  Names all = AllCandidates();
  all.insert(all.begin() + 3, {Secure("autodiscover-s.example.net"), Secure("autodiscover.example.tenant.example.net"),
                               Secure("example.tenant.example.net")});
  EXPECT_EQ(FAsked, Gets(all)) << "the URL of the service decides, not the domain";
}

TEST_F(Autodiscover, AnswerIsKeptForItsAddress) {
  AnswerAt(Secure("example.com"), Settings(Protocol("https://mail.example.com/ews")));
  Session.Autodiscover("");
  FAsked.clear();
  EXPECT_EQ(Url(Session.Autodiscover("ann@example.com")), "https://mail.example.com/ews");
  EXPECT_EQ(Session.AutodiscoverV2("", "Ews"), "https://mail.example.com/ews");
  EXPECT_EQ(FAsked, Names{}) << "nothing is sent";
  Session.Autodiscover("Ann@example.com");
  EXPECT_EQ(FAsked.size(), 2u) << "addresses are compared to the letter";
}

TEST_F(Autodiscover, NeedsAnAddressAndCredentials) {
  Session.SetAutodiscoverEMail("");
  EXPECT_EQ(PlainMessageOf([&] { Session.Autodiscover(""); }), "No EMail address specified!");
  EXPECT_EQ(PlainMessageOf([&] { Session.AutodiscoverV2("", "Ews"); }), "No EMail address specified!");
  for (const bool noName : {true, false}) {
    TVqCredentials credentials;
    if (noName) credentials.SetPassword("x");
    if (!noName) credentials.SetUserName("x");
    Session.SetCredentials(credentials);
    ExpectRaised<EAbort>(
        [&] { Session.Autodiscover("ann@example.com"); },
        [](const EAbort& abort) { EXPECT_EQ(abort.Message(), "Cannot Autodiscover because of missing credentials!"); });
  }
  EXPECT_EQ(FAsked, Names{});
}

TEST_F(Autodiscover, SessionHasItsOwnClientsBack) {
  Session.CheckHTTPClient();
  TVqHTTPClientBase* const own = Session.GetHTTPClient();
  const auto http = own->GetSession();
  const auto look = [&] {
    EXPECT_EQ(Session.GetHTTPClient(), own);
    EXPECT_EQ(own->GetSession(), http);
    EXPECT_EQ(own->GetTimeOuts(), TVqHTTPTimeOuts(15000, 15000, 15000));
    EXPECT_EQ(own->GetAuthentication(), TVqHTTPAuthentication::byChallenge);
  };
  Failure();
  look();
  AnswerAt(Secure("example.com"), "no document");
  EXPECT_THROW(Session.Autodiscover(""), EVqXMLError);
  look();
  AnswerAt(Secure("example.com"), Settings(""));
  Session.Autodiscover("");
  look();
  Session.AutodiscoverV2("", "Autodiscoverv1");
  look();
}

TEST_F(Autodiscover, CandidateThatBreaksIsLeftForTheNext) {
  Answer reset;
  reset.Reset = true;
  for (const Answer& broken : {reset, Say("no HTTP at all\r\n\r\n"), Status(403), Status(404), Status(503)}) {
    Session.GetAutodiscoverResults().clear();
    FAsked.clear();
    FAnswers["GET " + Secure("example.com")] = broken;
    AnswerAt(Secure("autodiscover.example.com"), Settings(Protocol("https://mail.example.com/ews")));
    Session.Autodiscover("");
    EXPECT_EQ(FAsked.back(), "POST " + Secure("autodiscover.example.com")) << broken.Bytes;
  }
}

TEST_F(Autodiscover, CandidateThatSaysNothingCostsASecond) {
  Answer hang;
  hang.Hang = true;
  FAnswers["GET " + Secure("example.com")] = hang;
  AnswerAt(Secure("autodiscover.example.com"), Settings(""));
  const auto start = std::chrono::steady_clock::now();
  Session.Autodiscover("");
  const auto took = std::chrono::steady_clock::now() - start;
  EXPECT_GE(took, std::chrono::milliseconds(900));
  EXPECT_LT(took, std::chrono::seconds(8)) << "not the session's fifteen";
}

TEST_F(Autodiscover, RefusedCredentialsEndTheLook) {
  FAnswers["GET " + Secure("example.com")] = Status(401, "WWW-Authenticate: Basic realm=\"x\"\r\n");
  EXPECT_EQ(Failure(), std::pair(std::string("Authentication Failure!"), 0u));
  for (const std::string& asked : FAsked) EXPECT_EQ(asked, "GET " + Secure("example.com"));
}

TEST_F(Autodiscover, InternalErrorIsAskedAgain) {
  FAnswers["GET " + Secure("example.com")] = Status(500);
  Failure();
  ASSERT_GE(FAsked.size(), 3u);
  EXPECT_EQ(FAsked[0], FAsked[1]);
  EXPECT_NE(FAsked[1], FAsked[2]);
}

// ---- Redirects of a candidate

TEST_F(Autodiscover, RedirectIsFollowedAndTheTargetAsked) {
  FAnswers["GET " + Secure("example.com")] = Redirect(Secure("other.example.com"), 301);
  AnswerAt(Secure("other.example.com"), Settings(""));
  Session.Autodiscover("");
  EXPECT_EQ(FAsked, (Names{"GET " + Secure("example.com"), "GET " + Secure("other.example.com"),
                           "POST " + Secure("other.example.com")}));
}

TEST_F(Autodiscover, RedirectOnTheSameHostMayBeAPathAlone) {
  FAnswers["GET " + Secure("example.com")] = Redirect("/elsewhere");
  AnswerAt("https://example.com/elsewhere", Settings(""));
  Session.Autodiscover("");
  EXPECT_EQ(FAsked.back(), "POST https://example.com/elsewhere");
}

TEST_F(Autodiscover, ThreeRedirectsAreFollowedAFourthIsNot) {
  for (int i = 0; i < 4; ++i) {
    const std::string from = i == 0 ? Secure("example.com") : "https://example.com/" + std::to_string(i);
    FAnswers["GET " + from] = Redirect("https://example.com/" + std::to_string(i + 1));
  }
  AnswerAt("https://example.com/4", Settings(""));
  Failure();
  EXPECT_EQ(FAsked[3], "GET https://example.com/3");
  EXPECT_EQ(FAsked[4], "GET " + Secure("autodiscover.example.com")) << "the candidate has failed";
  FAsked.clear();
  AnswerAt("https://example.com/3", Settings(""));
  Session.Autodiscover("");
  EXPECT_EQ(FAsked.back(), "POST https://example.com/3");
}

TEST_F(Autodiscover, RedirectsThatLeadNowhere) {
  for (const std::string& target :
       {Secure("example.com"), std::string("https://www.example.com"), std::string("https://WWW.example.com/"),
        std::string("http://other.example.com/plain"), std::string("nonsense"), std::string()}) {
    FAsked.clear();
    FAnswers["GET " + Secure("example.com")] = Redirect(target);
    Failure();
    EXPECT_EQ(FAsked, Gets(AllCandidates())) << target;
  }
}

TEST_F(Autodiscover, ApplicationMayRefuseATarget) {
  FAnswers["GET " + Secure("example.com")] = Redirect(Secure("other.example.com"));
  Names seen;
  Session.SetOnAutodiscoverRedirect([&](TVqComponent& sender, const string& from, const string& to) {
    EXPECT_EQ(&sender, &Session);
    seen.push_back((from + " " + to).utf8());
    return false;
  });
  Failure();
  EXPECT_EQ(seen, Names{Secure("example.com") + " " + Secure("other.example.com")});
  EXPECT_EQ(FAsked, Gets(AllCandidates()));
}

TEST_F(Autodiscover, PlainCandidateSendsTheLookElsewhereWithoutCredentials) {
  FAnswers[std::string("GET http://autodiscover.example.com") + kPath] = Redirect(Secure("other.example.com"));
  FAnswers["*"] = Status(404);
  AnswerAt(Secure("other.example.com"), Settings(""));
  Session.Autodiscover("");
  EXPECT_EQ(FAsked.back(), "POST " + Secure("other.example.com"));
}

TEST_F(Autodiscover, PlainCandidateGetsNoCredentials) {
  UseOAuth();
  FAnswers["GET https://json.example.net/autodiscover/autodiscover.json/v1.0/ann@example.com?Protocol=Autodiscoverv1"] =
      Status(404);
  AnswerAt(std::string("http://autodiscover.example.com") + kPath, Settings(""));
  Session.Autodiscover("");
  EXPECT_EQ(FAsked.back(), std::string("POST http://autodiscover.example.com") + kPath);
  for (std::size_t i = 0; i < FAsked.size(); ++i) {
    const bool anonymous =
        FAsked[i].find("http://") != std::string::npos || FAsked[i].find(".json/") != std::string::npos;
    EXPECT_EQ(FRequests[i].Header("Authorization"), anonymous ? "" : "Bearer TOKEN-4711") << FAsked[i];
  }
}

// ---- The question

TEST_F(Autodiscover, FailuresOfTheQuestionAreToldOnce) {
  AnswerAt(Secure("example.com"), "");
  const auto ask = [&](const Answer& answer) {
    FAnswers["POST " + Secure("example.com")] = answer;
    FAsked.clear();
    const auto failure = Failure();
    EXPECT_EQ(FAsked.size(), 2u) << "it does not go on to the next candidate";
    return failure;
  };
  EXPECT_EQ(ask(Status(401)).first, "Authentication Failure!");
  EXPECT_EQ(ask(Status(407)).first, "Authentication Failure!");
  EXPECT_EQ(ask(Status(503)).first, "Words");
  EXPECT_EQ(ask(Status(200)).first, "The server did not return any data!");
  EXPECT_EQ(ask(Status(200, "", "<other/>")).first, "The server did not return valid data!");
  EXPECT_EQ(ask(Status(200, "",
                       "<Autodiscover><Response><Error><Message>No such user.</Message></Error></Response>"
                       "</Autodiscover>")),
            std::pair(std::string("No such user."), 0u));
  Answer reset;
  reset.Reset = true;
  const auto failure = ask(reset);
  EXPECT_NE(failure.first, "");
  EXPECT_NE(failure.second, 0u) << "the number of the transport";
}

// Whatever text a server chooses, and whichever exception it comes to stand in.
TEST_F(Autodiscover, TextsOfServersAreCut) {
  TVqHTTPLimits limits;
  limits.TextLength = 50;
  Session.SetLimits(limits);
  const std::string x(1 << 20, 'x'), most = std::string(50, 'x') + "...";
  const auto ask = [&](const std::string& document) {
    FAnswers.clear();
    Session.GetAutodiscoverResults().clear();
    AnswerAt(Secure("example.com"), document);
    return Failure().first;
  };
  EXPECT_EQ(ask("<Autodiscover><Response><Error><Message>" + x + "</Message></Error></Response></Autodiscover>"), most);
  EXPECT_EQ(ask(Settings("<Action>redirectUrl</Action><RedirectUrl>" + x + "</RedirectUrl>")),
            "The server refers to \"" + most + "\": it is no address.");
  EXPECT_LT(ask(Settings("<Action>redirectAddr</Action><RedirectAddr>" + x + "@x</RedirectAddr>")).size(), 1000u);
  EXPECT_LT(ask(Settings("<Action>redirectAddr</Action><RedirectAddr>" + x + "</RedirectAddr>")).size(), 1000u);
}

TEST_F(Autodiscover, AddressStandsAsItIsUnlessTheSchemaCounts) {
  AnswerAt(Secure("example.com"), Settings(""));
  Session.Autodiscover("a&b<@example.com");
  EXPECT_NE(FRequests.back().Body.find("<EMailAddress>a&b<@example.com</EMailAddress>"), std::string::npos);
  Session.SetStrictSchema(true);
  Session.Autodiscover("c&d<@example.com");
  EXPECT_NE(FRequests.back().Body.find("<EMailAddress>c&amp;d&lt;@example.com</EMailAddress>"), std::string::npos);
}

TEST_F(Autodiscover, AddressWithoutAnAtIsADomain) {
  FHosts.clear();
  Failure("example.com");
  EXPECT_EQ(FAsked, Gets(AllCandidates()));
}

TEST_F(Autodiscover, DomainOfOneLabelHasNoFirstOne) {
  std::map<string, string> map;
  for (const char* host : {"nodot", "autodiscover.nodot", "www.nodot"}) {
    map[string(host) + ":443"] = "127.0.0.1:" + IntToStr(FSecure.Port());
    map[string(host) + ":80"] = "127.0.0.1:" + IntToStr(FPlain.Port());
  }
  map["autodiscover-s.example.net:443"] = "127.0.0.1:" + IntToStr(FSecure.Port());
  Session.SetConnectTo(map);
  Session.SetServiceUrl("https://outlook.office365.com/ews/exchange.asmx");
  Failure("ann@nodot");
  Names urls;
  for (const TVqEWSAutodiscoverStep& step : Session.GetAutodiscoverReport()) urls.push_back(step.URL.utf8());
  ASSERT_EQ(urls.size(), 8U);
  EXPECT_EQ(urls[4], Secure("autodiscover..tenant.example.net"));
  EXPECT_EQ(urls[5], Secure(".tenant.example.net"));
}

// ---- Answers that refer to others

TEST_F(Autodiscover, AnswerMayReferToAnotherAddress) {
  AnswerAt(Secure("example.com"),
           Settings("<Action>redirectAddr</Action><RedirectAddr>ann@other.example.com</RedirectAddr>"));
  AnswerAt(Secure("other.example.com"), Settings(Protocol("https://mail.example.com/ews")));
  EXPECT_EQ(Url(Session.Autodiscover("")), "https://mail.example.com/ews");
  EXPECT_NE(FRequests.back().Body.find("<EMailAddress>ann@other.example.com<"), std::string::npos);
  FAsked.clear();
  Session.Autodiscover("ann@example.com");
  EXPECT_EQ(FAsked, Names{}) << "kept under the address that was asked for";
}

TEST_F(Autodiscover, AnswerMayReferToAnotherServer) {
  AnswerAt(Secure("example.com"),
           Settings("<Action>redirectUrl</Action><RedirectUrl>" + Secure("other.example.com") + "</RedirectUrl>"));
  AnswerAt(Secure("other.example.com"), Settings(Protocol("https://mail.example.com/ews")));
  EXPECT_EQ(Url(Session.Autodiscover("")), "https://mail.example.com/ews");
  EXPECT_EQ(FAsked.back(), "POST " + Secure("other.example.com"));
  EXPECT_NE(FRequests.back().Body.find("<EMailAddress>ann@example.com<"), std::string::npos);
}

TEST_F(Autodiscover, ReferencesInACircleAreAnErrorOfTheirOwn) {
  AnswerAt(Secure("example.com"),
           Settings("<Action>redirectAddr</Action><RedirectAddr>ANN@example.com</RedirectAddr>"));
  EXPECT_EQ(Failure().first, "The servers refer to each other: \"ANN@example.com\" was asked already.");
  AnswerAt(Secure("example.com"),
           Settings("<Action>redirectUrl</Action><RedirectUrl>http://other.example.com/</RedirectUrl>"));
  EXPECT_EQ(Failure().first, "The server refers to \"http://other.example.com/\": it is not https.");
}

TEST_F(Autodiscover, ReferenceToNothingIsNoValidData) {
  for (const char* account :
       {"<Action>redirectAddr</Action><RedirectAddr> </RedirectAddr>", "<Action>redirectUrl</Action><RedirectUrl/>"}) {
    AnswerAt(Secure("example.com"), Settings(account));
    EXPECT_EQ(Failure().first, "The server did not return valid data!") << account;
  }
}

TEST_F(Autodiscover, FiveReferencesAreFollowed) {
  const auto refer = [&](int from) {
    const std::string url = from == 0 ? Secure("example.com") : "https://example.com/" + std::to_string(from);
    AnswerAt(url, Settings("<Action>redirectUrl</Action><RedirectUrl>https://example.com/" + std::to_string(from + 1) +
                           "</RedirectUrl>"));
  };
  for (int i = 0; i < 5; ++i) refer(i);
  AnswerAt("https://example.com/5", Settings(Protocol("https://mail.example.com/ews")));
  EXPECT_EQ(Url(Session.Autodiscover("")), "https://mail.example.com/ews");
  Session.GetAutodiscoverResults().clear();
  refer(5);
  EXPECT_EQ(Failure().first, "The servers refer to each other more than five times.");
}

// ---- With a grant of OAuth

TEST_F(Autodiscover, TokenIsGotOnceForAllThatIsAsked) {
  UseGrant();
  FAnswers[kToken] = Status(200, kJson, "{\"access_token\":\"granted\"}");
  AnswerAt(Secure("www.example.com"), Settings(Protocol("https://mail.example.com/ews")));
  Session.SetServiceUrl("https://mail.example.com/ews");
  EXPECT_THROW(Session.SetActive(true), EVqException) << "there is no mailbox, but clients are made";
  Session.SetAutodiscoverEMail("ann@example.com");
  EXPECT_EQ(Url(Session.Autodiscover("")), "https://mail.example.com/ews");
  EXPECT_EQ(std::ranges::count(FAsked, std::string(kToken)), 1);
  for (std::size_t i = 1; i < FAsked.size(); ++i) {
    const bool anonymous = FAsked[i].find("json.example.net") != std::string::npos;
    EXPECT_EQ(FRequests[i].Header("Authorization"), anonymous ? "" : "Bearer granted") << FAsked[i];
  }
}

TEST_F(Autodiscover, RefusedGrantEndsTheLookBeforeAnyCandidate) {
  UseGrant();
  FAnswers[kToken] = Status(400, kJson, "{\"error\":\"invalid_grant\"}");
  ExpectRaised<EVqOAuthException>([&] { Session.Autodiscover(""); },
                                  [](const auto& failure) { EXPECT_EQ(failure.GetError(), "invalid_grant"); });
  EXPECT_EQ(FAsked, Names{kToken}) << "a refused password counts once";
}

TEST_F(Autodiscover, GrantThatFailsInTheMiddleEndsTheLook) {
  UseGrant();
  FAnswers[kToken] = Status(200, kJson, "{\"access_token\":\"granted\"}");
  FAnswers["*"] = Status(401, "WWW-Authenticate: Bearer error=\"invalid_token\"\r\n");
  Session.SetOnAutodiscoverRedirect([&](auto&, const auto&, const auto&) {
    FAnswers[kToken] = Status(400, kJson, "{\"error\":\"invalid_grant\"}");
    return true;
  });
  FAnswers["GET " + Secure("example.com")] = Redirect(Secure("other.example.com"));
  ExpectRaised<EVqOAuthException>([&] { Session.Autodiscover(""); },
                                  [](const auto& failure) { EXPECT_EQ(failure.GetError(), "invalid_grant"); });
  EXPECT_EQ(std::ranges::count(FAsked, std::string(kToken)), 2);
}

TEST_F(Autodiscover, LogOnMayTakeLongerThanACandidate) {
  UseGrant();
  FAnswers[kToken] = Status(200, kJson, "{\"access_token\":\"granted\"}");
  FAnswers[kToken].Before = std::chrono::milliseconds(1200);
  AnswerAt(Secure("example.com"), Settings(Protocol("https://mail.example.com/ews")));
  EXPECT_EQ(Url(Session.Autodiscover("")), "https://mail.example.com/ews");
}

// ---- The service that answers in JSON

TEST_F(Autodiscover, JsonServiceGivesAnUrl) {
  const std::string url = "https://json.example.net/autodiscover/autodiscover.json/v1.0/ann@example.com?Protocol=Ews";
  FAnswers["GET " + url] = Status(200, "Content-Type: application/json\r\n",
                                  "{\"Protocol\":\"Ews\",\"Url\":\"https://mail.example.com/ews\"}");
  UseOAuth();
  EXPECT_EQ(Session.AutodiscoverV2("", "Ews"), "https://mail.example.com/ews");
  EXPECT_EQ(FAsked, Names{"GET " + url});
  EXPECT_EQ(FRequests.back().Header("Authorization"), "") << "it wants nobody's";
  FAnswers["GET " + url] = Status(200, "Content-Type: text/html\r\n", "{\"Url\":\"x\"}");
  EXPECT_EQ(Session.AutodiscoverV2("", "Ews"), "");
  FAnswers["GET " + url] = Status(400, "Content-Type: application/json\r\n", "{\"Url\":\"x\"}");
  EXPECT_EQ(Session.AutodiscoverV2("", "Ews"), "");
}

TEST_F(Autodiscover, JsonServiceIsAskedAnewUnlessTheUrlOfEwsIsKnown) {
  AnswerAt(Secure("example.com"), Settings(Protocol("https://mail.example.com/ews")));
  Session.Autodiscover("");
  FAsked.clear();
  EXPECT_EQ(Session.AutodiscoverV2("", "Autodiscoverv1"), "");
  EXPECT_EQ(FAsked, Names{"GET https://json.example.net/autodiscover/autodiscover.json/v1.0/ann@example.com?Protocol="
                          "Autodiscoverv1"});
}

TEST_F(Autodiscover, JsonServiceThatBreaksIsAQuietFailure) {
  Answer reset;
  reset.Reset = true;
  FAnswers["*"] = reset;
  ExpectRaised<EAbort>(
      [&] { Session.AutodiscoverV2("", "Ews"); },
      [](const EAbort& abort) { EXPECT_TRUE(abort.Message().StartsWith("Error: 120")) << abort.what(); });
}

TEST_F(Autodiscover, AddressWithSignsOfAPathIsEncodedInIt) {
  Session.AutodiscoverV2("a/b?c#d%e+f@example.com", "Ews");
  EXPECT_EQ(FAsked.back(),
            "GET https://json.example.net/autodiscover/autodiscover.json/v1.0/"
            "a%2Fb%3Fc%23d%25e+f@example.com?Protocol=Ews");
}

TEST_F(Autodiscover, UrlOfTheJsonServiceIsAskedFirst) {
  UseOAuth();
  const auto say = [&](const std::string& url) {
    FAnswers
        ["GET https://json.example.net/autodiscover/autodiscover.json/v1.0/ann@example.com?Protocol=Autodiscoverv1"] =
            Status(200, "Content-Type: application/json\r\n", "{\"Url\":\"" + url + "\"}");
    FAsked.clear();
    Failure();
    FAsked.erase(FAsked.begin());
    return FAsked;
  };
  Names all = AllCandidates();
  all.insert(all.begin(), Secure("other.example.com"));
  EXPECT_EQ(say(Secure("other.example.com")), Gets(all)) << "a new one stands before all others";
  EXPECT_EQ(Failure().first, "Failed to determine the Autodiscover URL!");
  EXPECT_EQ(FAsked.size(), all.size() + AllCandidates().size()) << "once used it is cleared, and not asked for again";
  all = AllCandidates();
  std::rotate(all.begin(), all.begin() + 2, all.begin() + 3);
  EXPECT_EQ(say(Secure("www.example.com")), Gets(all)) << "one of the list moves";
  Failure();
  all = AllCandidates();
  all.insert(all.begin(), Secure("example.com"));
  EXPECT_EQ(say(Secure("example.com")), Gets(all)) << "the first one is there twice";
}

// ---- What the session does with it

TEST_F(Autodiscover, LogonTakesTheUrlOfTheProtocolForClientsOutside) {
  AnswerAt(Secure("autodiscover.example.com"), Settings(Protocol("https://mail.example.com/EWS/Exchange.asmx")));
  FAnswers["POST https://mail.example.com/EWS/Exchange.asmx"] = Status(
      200, "Content-Type: text/xml\r\n",
      "<s:Envelope "
      "xmlns:s=\"http://schemas.xmlsoap.org/soap/envelope/\"><s:Body><ConvertIdResponse/></s:Body></s:Envelope>");
  Session.SetActive(true);
  EXPECT_EQ(Session.GetServiceUrl(), "https://mail.example.com/EWS/Exchange.asmx");
  FAsked.clear();
  Session.SetActive(false);
  Session.SetActive(true);
  EXPECT_EQ(FAsked.size(), 1u) << "the URL stayed: the probe alone";
}

TEST_F(Autodiscover, AdditionalMailboxesAreReadFromTheAnswer) {
  Session.GetAutodiscoverResults()["ann@example.com"] = VqCreateDOM(Settings(
      Protocol("https://mail.example.com/ews") +
      "<AlternativeMailbox><Type>Delegate</Type><OwnerSmtpAddress>boss@example.com</OwnerSmtpAddress>"
      "</AlternativeMailbox><AlternativeMailbox><Type>Archive</Type><SmtpAddress>old@example.com</SmtpAddress>"
      "</AlternativeMailbox><AlternativeMailbox><Type>Delegate</Type><SmtpAddress>team@example.com</SmtpAddress>"
      "</AlternativeMailbox>"));
  FAnswers["POST https://mail.example.com/ews"] = Status(
      200, "Content-Type: text/xml\r\n",
      "<s:Envelope "
      "xmlns:s=\"http://schemas.xmlsoap.org/soap/envelope/\"><s:Body><ConvertIdResponse/></s:Body></s:Envelope>");
  Session.SetActive(true);
  EXPECT_EQ(Session.GetAdditionalMailboxes().GetText(), "boss@example.com\r\nteam@example.com\r\n");
}

// ---- Looking at it

TEST_F(Autodiscover, ReportTellsWhatWasAskedAndWhatCameOfIt) {
  Answer reset;
  reset.Reset = true;
  FAnswers["GET " + Secure("example.com")] = reset;
  FAnswers["GET " + Secure("autodiscover.example.com")] = Redirect(Secure("other.example.com"));
  AnswerAt(Secure("other.example.com"), Settings(""));
  Session.Autodiscover("");
  const auto& report = Session.GetAutodiscoverReport();
  ASSERT_EQ(report.size(), 3u);
  EXPECT_EQ(report[0].URL, Secure("example.com"));
  EXPECT_TRUE(report[0].Outcome.StartsWith("failed: ")) << report[0].Outcome;
  EXPECT_EQ(report[0].Status, 0);
  EXPECT_EQ(report[1].Outcome, "redirected to " + string(Secure("other.example.com")));
  EXPECT_EQ(report[1].Status, 302);
  EXPECT_EQ(report[2].URL, Secure("other.example.com"));
  EXPECT_EQ(report[2].Outcome, "answered");
  EXPECT_EQ(report[2].Status, 200);
}

TEST_F(Autodiscover, CancelEndsTheWholeLook) {
  Answer hang;
  hang.Hang = true;
  FAnswers["*"] = hang;
  std::thread other([&] {
    FSecure.WaitFor([&] { return !FSecure.Requests().empty(); });
    Session.Cancel();
  });
  ExpectRaised<EVqHTTPApiException>([&] { Session.Autodiscover(""); },
                                    [](const EVqHTTPApiException& failure) { EXPECT_EQ(failure.GetNumber(), 6u); });
  other.join();
  EXPECT_EQ(FAsked.size(), 1u);
}

TEST_F(Autodiscover, NoOtherDomainIsEverAsked) {
  Failure("ann@deep.example.com");
  for (const auto& step : Session.GetAutodiscoverReport())
    EXPECT_TRUE(VqDecodeURL(step.URL).Host.EndsWith("deep.example.com")) << step.URL;
  EXPECT_EQ(Session.GetAutodiscoverReport().size(), 5u);
}

}  // namespace
}  // namespace velmore::testing
