// NTLM: the proof of the password is looked at by another maker's implementation.

#include "RealAuthTestSupport.h"

namespace velmore::testing {
namespace {

class RealNtlm : public RealPasswordTest {
 protected:
  void SetUp() override {
    RealPasswordTest::SetUp();
    if (IsSkipped()) return;
    if (const auto missing = NtlmMissing(); !missing.empty()) GTEST_SKIP() << "not on this machine: " << missing;
  }
};

TEST_F(RealNtlm, AWholeSessionListsTheInbox) {
  PutMail("One");
  StartGssapi(std::string(kNtlm) + kPersistent);
  const auto session = NewSession("CONTOSO\\alice");
  session->SetActive(true);
  EXPECT_EQ(SubjectsOf(*session), std::vector<string>{"One"});
  const auto log = Apache().LogOfAnswers(Server().Exchanges().size());
  EXPECT_EQ(log.back().User, "CONTOSO\\\\alice") << Print(log);  // the log doubles the backslash
  EXPECT_EQ(log.back().Mechanism, "NTLM/NTLM") << Print(log);
}

TEST_F(RealNtlm, HundredRequestsOneConnectionOneHandshake) {
  StartGssapi(std::string(kNtlm) + kPersistent);
  const auto session = NewSession("CONTOSO\\alice");
  session->SetActive(true);
  for (int i = 0; i < 100; ++i) Ask(*session);
  const std::size_t requests = Server().Exchanges().size();
  EXPECT_GE(requests, 100u);
  const auto log = Apache().Log(requests + 2);
  EXPECT_EQ(log.size(), requests + 2);
  EXPECT_EQ(Connections(log), 1u);
  EXPECT_EQ(WithStatus(log, 401), 2u) << "the challenge and the first message\n" << Print(log);
  EXPECT_EQ(WithScheme(log, "NTLM"), 2u) << "the first and the third message\n" << Print(log);
}

TEST_F(RealNtlm, DomainBeforeTheNameBehindItAndApart) {
  // A server's directory knows the mail form as a name of its own.
  StartGssapi(std::string(kNtlm) + kPersistent, "CONTOSO:alice:geheim\n:alice@contoso.example:geheim\n");
  EXPECT_NO_THROW(NewSession("alice@contoso.example")->SetActive(true));
  EXPECT_NO_THROW(NewSession("CONTOSO\\alice")->SetActive(true));
  const auto apart = NewSession("alice");
  apart->GetCredentials().SetDomain("CONTOSO");
  EXPECT_NO_THROW(apart->SetActive(true));
  const auto another = NewSession("ELSEWHERE\\alice");
  EXPECT_ANY_THROW(another->SetActive(true)) << "the domain is part of the proof";
}

TEST_F(RealNtlm, ARefusedPasswordIsToldByAnOrdinaryOperation) {
  StartGssapi(std::string(kNtlm) + kPersistent);
  const auto session = NewSession("CONTOSO\\alice");
  session->SetActive(true);
  TVqCredentials wrong;
  wrong.SetUserName("CONTOSO\\alice");
  wrong.SetPassword("falsch");
  session->SetCredentials(wrong);
  Apache().RestartGracefully();
  const std::size_t before = LogWith(2).size();
  EXPECT_EQ(RefusalOf([&] { Ask(*session); }),
            "The server refused the credentials; it offers Negotiate, NTLM, NTLM was tried.");
  const auto log = Apache().Log(before + 3);
  EXPECT_EQ(log.size(), before + 3) << "challenge, first and third message; no second try\n" << Print(log);
}

TEST_F(RealNtlm, OtherCredentialsOfTheSameClientTakeANewHandshake) {
  StartGssapi(std::string(kNtlm) + kPersistent);
  const auto session = NewSession("CONTOSO\\alice");
  session->SetActive(true);
  TVqCredentials wrong;
  wrong.SetUserName("CONTOSO\\alice");
  wrong.SetPassword("falsch");
  session->SetCredentials(wrong);
  RefusalOf([&] { Ask(*session); });
}

TEST_F(RealNtlm, AfterARestartOfTheServerTheHandshakeIsMadeAnewUnnoticed) {
  PutMail("One");
  StartGssapi(std::string(kNtlm) + kPersistent);
  const auto session = NewSession("CONTOSO\\alice");
  session->SetActive(true);
  EXPECT_EQ(SubjectsOf(*session), std::vector<string>{"One"});
  Apache().RestartGracefully();
  EXPECT_EQ(SubjectsOf(*session), std::vector<string>{"One"});
  const auto log = LogWith(3);
  EXPECT_EQ(Connections(log), 2u) << Print(log);
  EXPECT_EQ(WithStatus(log, 401), 3u) << "the challenge once, the first message twice\n" << Print(log);
}

TEST_F(RealNtlm, WithoutATicketItComesBeforeBasic) {
  StartGssapi(std::string(kPersistent) + "GssapiAllowedMech krb5\nGssapiAllowedMech ntlmssp\nGssapiBasicAuth On\n");
  const auto session = NewSession("CONTOSO\\alice");
  session->SetActive(true);
  const auto log = Apache().LogOfAnswers(Server().Exchanges().size());
  EXPECT_EQ(log.back().Mechanism, "NTLM/NTLM") << Print(log);
  EXPECT_EQ(WithScheme(log, "Negotiate") + WithScheme(log, "Basic"), 0u) << Print(log);
}

}  // namespace
}  // namespace velmore::testing
