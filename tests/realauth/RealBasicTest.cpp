// Basic: Apache's password files, at the server and at a proxy.

#include "RealAuthTestSupport.h"
#include "tests/support/TestCertificates.h"

namespace velmore::testing {
namespace {

using RealBasic = RealPasswordTest;
using RealProxy = RealPasswordTest;

TEST_F(RealBasic, AWholeSessionOverTls) {
  PutMail("One");
  const TestAuthority authority;
  const auto made = authority.MakeServer({});
  const TestFile trusted(authority.Certificate());
  StartBasic(made.Certificate, made.Key);
  const auto session = NewSession("alice");
  session->SetCAFile(trusted.Path());
  session->SetActive(true);
  for (int i = 0; i < 20; ++i) Ask(*session);
  EXPECT_EQ(SubjectsOf(*session), std::vector<string>{"One"});
  const auto log = LogWith(1);
  EXPECT_GE(log.size(), 22u);
  EXPECT_EQ(Connections(log), 1u) << Print(log);
  EXPECT_EQ(WithStatus(log, 401), 1u) << Print(log);
  EXPECT_EQ(log.back().User, "alice");
}

TEST_F(RealBasic, ARefusedPasswordIsToldByAnOrdinaryOperation) {
  StartBasic();
  const auto session = NewSession("alice");
  session->SetActive(true);
  TVqCredentials wrong;
  wrong.SetUserName("alice");
  wrong.SetPassword("falsch");
  session->SetCredentials(wrong);
  EXPECT_EQ(RefusalOf([&] { Ask(*session); }), "The server refused the credentials; it offers Basic, Basic was tried.");
  const auto log = LogWith(3);
  EXPECT_EQ(WithStatus(log, 401), 3u) << "the challenge twice, the refused password once\n" << Print(log);
}

TEST_F(RealBasic, AfterARestartOfTheServerTheSessionGoesOn) {
  PutMail("One");
  StartBasic();
  const auto session = NewSession("alice");
  session->SetActive(true);
  Apache().RestartGracefully();
  EXPECT_EQ(SubjectsOf(*session), std::vector<string>{"One"});
  const auto log = LogWith(1);
  EXPECT_EQ(Connections(log), 2u) << Print(log);
  EXPECT_EQ(WithStatus(log, 401), 1u) << Print(log);
}

TEST_F(RealProxy, APasswordForTheProxyAndAnotherForTheServer) {
  PutMail("One");
  StartProxy();
  const auto session = std::make_unique<TVqEWSServiceSession>();
  Configure(*session);
  UseProxy(*session, "pia", kPassword);
  session->SetActive(true);
  EXPECT_EQ(SubjectsOf(*session), std::vector<string>{"One"});
  const auto log = LogWith(1);
  EXPECT_EQ(Connections(log), 1u) << Print(log);
  EXPECT_EQ(WithStatus(log, 407), 1u) << "asked once\n" << Print(log);
  EXPECT_EQ(WithStatus(log, 401), 1u) << Print(log);
  for (const auto& request : log) EXPECT_EQ(request.User, request.Status == 407 ? "-" : "pia") << Print(log);
}

TEST_F(RealProxy, ATunnelToATlsServer) {
  PutMail("One");
  StartProxy();
  const auto session = std::make_unique<TVqEWSServiceSession>();
  Configure(*session);
  session->SetServiceUrl(Server().HttpsUrl());
  session->SetCAFile(Server().CaCertificateFile());
  UseProxy(*session, "pia", kPassword);
  session->SetActive(true);
  EXPECT_EQ(SubjectsOf(*session), std::vector<string>{"One"});
}

TEST_F(RealProxy, ARefusedPasswordIsTold) {
  StartProxy();
  const auto session = std::make_unique<TVqEWSServiceSession>();
  Configure(*session);
  UseProxy(*session, "pia", kPassword);
  session->SetActive(true);
  TVqCredentials wrong;
  wrong.SetUserName("pia");
  wrong.SetPassword("falsch");
  session->SetProxyCredentials(wrong);
  EXPECT_EQ(RefusalOf([&] { Ask(*session); }), "The proxy refused the credentials; it offers Basic, Basic was tried.");
}

}  // namespace
}  // namespace velmore::testing
