// Kerberos: tickets of MIT's server, taken by Apache's GSSAPI module.

#include <chrono>
#include <thread>

#include "RealAuthTestSupport.h"
#include "platform/http/uVqHTTPBase.h"
#include "tests/support/TestCertificates.h"

namespace velmore::testing {
namespace {

using RealNegotiate = RealKerberosTest;

TEST_F(RealNegotiate, AWholeSessionWithNameAndPasswordListsTheInbox) {
  PutMail("One");
  PutMail("Two");
  StartGssapi(std::string(kNegotiate) + kPersistent);
  const auto session = NewSession("alice@VELMORE.TEST");
  session->SetActive(true);
  EXPECT_EQ(SubjectsOf(*session), (std::vector<string>{"Two", "One"}));
  const auto log = LogWith(1);
  EXPECT_EQ(WithStatus(log, 401), 1u) << Print(log);
  EXPECT_EQ(Connections(log), 1u) << Print(log);
  EXPECT_EQ(WithScheme(log, "Negotiate"), 1u) << Print(log);
  for (const auto& request : log) {
    EXPECT_EQ(request.User, request.Status == 401 ? "-" : "alice@VELMORE.TEST") << Print(log);
  }
}

TEST_F(RealNegotiate, NamesInEveryForm) {
  StartGssapi(std::string(kNegotiate) + kPersistent);
  for (const char* user : {"alice", "alice@velmore.test", "velmore.test\\alice", "VELMORE\\alice"}) {
    const auto session = NewSession(user);
    EXPECT_NO_THROW(session->SetActive(true)) << user;
  }
  const auto session = NewSession("alice");
  session->GetCredentials().SetDomain("velmore.test");
  EXPECT_NO_THROW(session->SetActive(true));
}

TEST_F(RealNegotiate, HundredRequestsOneConnectionOneHandshake) {
  StartGssapi(std::string(kNegotiate) + kPersistent);
  const auto session = NewSession("alice@VELMORE.TEST");
  session->SetActive(true);
  for (int i = 0; i < 100; ++i) Ask(*session);
  const std::size_t requests = Server().Exchanges().size();
  EXPECT_GE(requests, 100u);
  const auto log = Apache().Log(requests + 1);
  EXPECT_EQ(log.size(), requests + 1);
  EXPECT_EQ(Connections(log), 1u);
  EXPECT_EQ(WithStatus(log, 401), 1u) << Print(log);
  EXPECT_EQ(WithScheme(log, "Negotiate"), 1u) << Print(log);
}

TEST_F(RealNegotiate, AServerThatWantsATicketWithEachRequestChallengesOnce) {
  StartGssapi(kNegotiate);
  const auto session = NewSession("alice@VELMORE.TEST");
  session->SetActive(true);
  const int tickets = Realm().TicketsIssued();
  for (int i = 0; i < 20; ++i) Ask(*session);
  const std::size_t requests = Server().Exchanges().size();
  EXPECT_GE(requests, 20u);
  const auto log = Apache().Log(requests + 1);
  EXPECT_EQ(log.size(), requests + 1);
  EXPECT_EQ(Connections(log), 1u);
  EXPECT_EQ(WithStatus(log, 401), 1u) << Print(log);
  EXPECT_EQ(WithScheme(log, "Negotiate"), log.size() - 1) << Print(log);
  EXPECT_EQ(Realm().TicketsIssued(), tickets) << "the ticket is kept";
}

TEST_F(RealNegotiate, OverTls) {
  PutMail("One");
  const TestAuthority authority;
  const auto made = authority.MakeServer({});
  const TestFile trusted(authority.Certificate());
  StartGssapi(std::string(kNegotiate) + kPersistent + "GssapiSSLonly On\n", "", made.Certificate, made.Key);
  const auto session = NewSession("alice@VELMORE.TEST");
  session->SetCAFile(trusted.Path());
  session->SetActive(true);
  EXPECT_EQ(SubjectsOf(*session), std::vector<string>{"One"});
}

TEST_F(RealNegotiate, ASecondClientMakesItsOwnHandshake) {
  StartGssapi(std::string(kNegotiate) + kPersistent);
  const auto session = NewSession("alice@VELMORE.TEST");
  session->SetActive(true);
  const auto client = session->CreateHTTPClient(true);
  for (int i = 0; i < 3; ++i) {
    TVqRef<IVqHTTPResponse> response;
    client->Request(response, TVqHTTPVerb::get, Apache().Url("/EWS/Exchange.asmx"));
    EXPECT_NE(response->GetStatus().Code, 401);
  }
  const auto log = LogWith(2);
  EXPECT_EQ(Connections(log), 2u) << Print(log);
  EXPECT_EQ(WithScheme(log, "Negotiate"), 2u) << Print(log);
}

TEST_F(RealNegotiate, AfterARestartOfTheServerTheHandshakeIsMadeAnewUnnoticed) {
  PutMail("One");
  StartGssapi(std::string(kNegotiate) + kPersistent);
  const auto session = NewSession("alice@VELMORE.TEST");
  session->SetActive(true);
  EXPECT_EQ(SubjectsOf(*session), std::vector<string>{"One"});
  Apache().RestartGracefully();
  EXPECT_EQ(SubjectsOf(*session), std::vector<string>{"One"});
  EXPECT_TRUE(session->GetActive());
  const auto log = LogWith(1);
  EXPECT_EQ(Connections(log), 2u) << Print(log);
  EXPECT_EQ(WithScheme(log, "Negotiate"), 2u) << Print(log);
}

TEST_F(RealNegotiate, AnExpiredTicketIsFetchedAnewUnnoticed) {
  Realm().AddUser("alice/short", kPassword, "-maxlife \"3 seconds\"");
  StartGssapi(kNegotiate);
  TVqRef<IVqHTTPClient> client = TVqHTTPClient(true);
  client->GetCredentials().SetUserName("alice/short@VELMORE.TEST");
  client->GetCredentials().SetPassword(kPassword);
  const auto status = [&] {
    TVqRef<IVqHTTPResponse> response;
    client->Request(response, TVqHTTPVerb::get, Apache().Url("/"));
    return response->GetStatus().Code;
  };
  EXPECT_NE(status(), 401);
  const int tickets = Realm().TicketsIssued();
  std::this_thread::sleep_for(std::chrono::seconds(4));
  EXPECT_NE(status(), 401);
  EXPECT_GE(Realm().TicketsIssued(), tickets + 2) << "one to log on, one for the server";
  const auto log = Apache().Log(3);
  EXPECT_EQ(log.back().User, "alice/short@VELMORE.TEST") << Print(log);
}

TEST_F(RealNegotiate, AWrongPasswordIsToldByAnOrdinaryOperation) {
  StartGssapi(kNegotiate);
  const auto session = NewSession("alice@VELMORE.TEST");
  session->SetActive(true);
  TVqCredentials wrong;
  wrong.SetUserName("alice@VELMORE.TEST");
  wrong.SetPassword("falsch");
  session->SetCredentials(wrong);
  Apache().RestartGracefully();
  const int refusals = Realm().PasswordsRefused();
  const auto text = RefusalOf([&] { Ask(*session); });
  EXPECT_EQ(
      text,
      "The server refused the credentials; it offers Negotiate, Negotiate was tried. The Kerberos server refused the "
      "password.");
  EXPECT_EQ(Realm().PasswordsRefused(), refusals + 1) << "each one counts towards a locked account";
}

TEST_F(RealNegotiate, ARefusedPasswordIsNotTriedOnceMoreAsNtlm) {
  StartGssapi(std::string(kPersistent) + "GssapiAllowedMech krb5\nGssapiAllowedMech ntlmssp\nGssapiBasicAuth On\n");
  const int refusals = Realm().PasswordsRefused();
  const auto session = NewSession("alice@VELMORE.TEST", "falsch");
  EXPECT_ANY_THROW(session->SetActive(true));
  EXPECT_EQ(Realm().PasswordsRefused(), refusals + 1);
  const auto log = Apache().Log(1);
  EXPECT_EQ(log.size(), 1u) << "the challenge\n" << Print(log);
}

TEST_F(RealNegotiate, TheTicketStandsInNoRecordedExchange) {
  Server().SetAuthentication({"Negotiate"});
  TVqEWSServiceSession session;
  session.SetServiceUrl("http://localhost:" + IntToStr(Server().HttpPort()) + "/EWS/Exchange.asmx");
  session.GetCredentials().SetUserName("alice@VELMORE.TEST");
  session.GetCredentials().SetPassword(kPassword);
  EXPECT_ANY_THROW(session.SetActive(true)) << "the simulator takes no tickets";
  const auto exchange = Server().Exchanges().at(1);
  EXPECT_EQ(exchange.RequestHeader("Authorization"), "Negotiate ****");
}

TEST_F(RealNegotiate, WhoIsSomebodyElseIsRefusedBehindApache) {
  StartGssapi(std::string(kNegotiate) + kPersistent);
  const auto session = NewSession("bob@VELMORE.TEST", "anders");
  EXPECT_ANY_THROW(session->SetActive(true));
  const auto log = Apache().Log(2);
  EXPECT_EQ(log.back().User, "bob@VELMORE.TEST") << Print(log);
}

TEST_F(RealNegotiate, ComesFirstWhereAllAreOffered) {
  StartGssapi(std::string(kPersistent) + "GssapiAllowedMech krb5\nGssapiAllowedMech ntlmssp\nGssapiBasicAuth On\n");
  const auto session = NewSession("alice@VELMORE.TEST");
  session->SetActive(true);
  const auto log = LogWith(1);
  EXPECT_EQ(WithStatus(log, 401), 1u) << Print(log);
  EXPECT_EQ(log.back().Mechanism, "Negotiate/krb5") << Print(log);
  EXPECT_EQ(WithScheme(log, "NTLM") + WithScheme(log, "Basic"), 0u) << Print(log);
}

TEST_F(RealNegotiate, WithoutATicketBasicIsTakenWhereItIsTheOnlyOtherOffer) {
  StartGssapi("GssapiAllowedMech krb5\nGssapiBasicAuth On\n");
  const TestEnvironment nowhere(TestRealm::NoRealm(Folder));
  const auto session = NewSession("alice");
  session->SetActive(true);
  const auto log = LogWith(1);
  EXPECT_EQ(WithStatus(log, 401), 1u) << Print(log);
  EXPECT_EQ(log.back().Mechanism, "Basic/krb5") << Print(log);
  EXPECT_EQ(log.back().User, "alice@VELMORE.TEST") << Print(log);
}

}  // namespace
}  // namespace velmore::testing
