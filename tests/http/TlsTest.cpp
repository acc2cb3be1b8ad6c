#include <openssl/tls1.h>

#include <cstdlib>

#include "HTTPTestSupport.h"
#include "tests/support/TestCertificates.h"

using namespace velmore;

namespace {

constexpr TVqHTTPSecurityFlag kAllFlags[] = {
    TVqHTTPSecurityFlag::IgnoreInvalidCertDate, TVqHTTPSecurityFlag::IgnoreUnknownCA,
    TVqHTTPSecurityFlag::IgnoreInvalidCommonName, TVqHTTPSecurityFlag::IgnoreRevocation,
    TVqHTTPSecurityFlag::IgnoreWrongUsage};

ScriptedServer::Identity IdentityOf(const TestAuthority::Made& made, const std::string& clientCA = "") {
  return {made.Certificate, made.Key, clientCA};
}

class Tls : public testing::Test {
 protected:
  // 200, or the number of the failure.
  std::uint32_t Ask(const ScriptedServer& server, TVqHTTPSecurityFlags flags, const std::string& crlFile = "",
                    bool winHTTP = TestsUseWinHTTP()) {
    const auto client = NewClient(winHTTP);
    client->GetSession()->SetCAFile(FTrusted.Path());
    client->GetSession()->SetCRLFile(crlFile);
    client->GetComponent()->SetSecurityFlags(flags);
    std::uint32_t status = 0;
    const std::uint32_t number = NumberOf([&] { status = Get(client, server.Url())->GetStatus().Code; }, &FText);
    return number ? number : status;
  }

  // The server is refused with `number`; exactly the flag `lifts` (and every set with it) lets it through.
  void ExpectOneCheck(const TestAuthority::Made& made, std::uint32_t number, TVqHTTPSecurityFlag lifts,
                      const std::string& crlFile = "") {
    ScriptedServer server(IdentityOf(made));
    server.Always([](const auto&) {
      return ScriptedServer::Answer{ScriptedServer::Ok("x"), 0, {}, {}, false, false, false, false};
    });
    for (unsigned bits = 0; bits < 32; ++bits) {
      const auto flags = TVqHTTPSecurityFlags::FromBits(static_cast<std::uint8_t>(bits));
      EXPECT_EQ(Ask(server, flags, crlFile), flags.Contains(lifts) ? 200U : number)
          << "flags " << bits << ": " << FText;
    }
  }

  TestAuthority FAuthority;
  TestAuthority FStranger{"Velmore stranger"};
  TestFile FTrusted{FAuthority.Certificate()};
  std::string FText;
};

}  // namespace

TEST_F(Tls, AGoodCertificateOfAnAddedAuthorityIsAccepted) {
  ScriptedServer server(IdentityOf(FAuthority.MakeServer({})));
  server.Then(ScriptedServer::Ok("x"));
  EXPECT_EQ(Ask(server, {}), 200U) << FText;
}

TEST_F(Tls, APostThatTheServerHasReadIsNeverSentTwice) {
  for (const bool reset : {false, true}) {
    ScriptedServer server(IdentityOf(FAuthority.MakeServer({})));
    server.Then(ScriptedServer::Ok("x")).Then({"", 0, {}, {}, !reset, reset, false, false});
    const auto client = NewClient();
    client->GetSession()->SetCAFile(FTrusted.Path());
    Post(client, server.Url(), "1");
    // Saying goodbye sends a few bytes more, which nobody acknowledges.
    EXPECT_EQ(NumberOf([&] { Post(client, server.Url(), "2"); }), 12030U);
    EXPECT_EQ(server.Requests().size(), 2U);
    EXPECT_EQ(server.Complaints(), "");
  }
}

TEST_F(Tls, AKeptConnectionThatTheServerClosedIsNotNoticed) {
  ScriptedServer server(IdentityOf(FAuthority.MakeServer({})));
  server.Always([](const auto&) { return Plain(ScriptedServer::Ok("x")); });
  const auto client = NewClient();
  client->GetSession()->SetCAFile(FTrusted.Path());
  Post(client, server.Url(), "1");
  server.CloseConnections();
  EXPECT_EQ(Post(client, server.Url(), "2")->GetStatus().Code, 200);
  EXPECT_EQ(server.Requests().size(), 2U);
}

TEST_F(Tls, TheServersOwnCertificateMayBeTrusted) {
  const auto made = FStranger.MakeServer({});
  ScriptedServer server(IdentityOf(made));
  server.Then(ScriptedServer::Ok("x"));
  const TestFile own(made.Certificate);
  const auto client = NewClient();
  client->GetSession()->SetCAFile(own.Path());
  EXPECT_EQ(Get(client, server.Url())->GetStatus().Code, 200);
}

TEST_F(Tls, TheMachinesFileIsTakenFromTheEnvironment) {
  ScriptedServer server(IdentityOf(FAuthority.MakeServer({})));
  server.Then(ScriptedServer::Ok("x"));
  setenv("SSL_CERT_FILE", FTrusted.Path().c_str(), 1);
  const std::uint32_t number = NumberOf([&] { Get(NewClient(), server.Url()); }, &FText);
  unsetenv("SSL_CERT_FILE");
  EXPECT_EQ(number, 0U) << FText;
  EXPECT_EQ(NumberOf([&] { Get(NewClient(), server.Url()); }), 12045U) << "without it nobody knows the authority";
}

TEST_F(Tls, ExpiredIsLiftedByTheDateFlagAlone) {
  TestAuthority::Server wanted;
  wanted.FromDays = -30;
  wanted.ToDays = -2;
  ExpectOneCheck(FAuthority.MakeServer(wanted), 12037, TVqHTTPSecurityFlag::IgnoreInvalidCertDate);
}

TEST_F(Tls, NotYetValidIsLiftedByTheDateFlagAlone) {
  TestAuthority::Server wanted;
  wanted.FromDays = 2;
  ExpectOneCheck(FAuthority.MakeServer(wanted), 12037, TVqHTTPSecurityFlag::IgnoreInvalidCertDate);
}

TEST_F(Tls, UnknownIssuerIsLiftedByTheAuthorityFlagAlone) {
  ExpectOneCheck(FStranger.MakeServer({}), 12045, TVqHTTPSecurityFlag::IgnoreUnknownCA);
}

TEST_F(Tls, WrongNameIsLiftedByTheNameFlagAlone) {
  TestAuthority::Server wanted;
  wanted.Names = "DNS:mail.example.com,IP:127.0.0.2";
  ExpectOneCheck(FAuthority.MakeServer(wanted), 12038, TVqHTTPSecurityFlag::IgnoreInvalidCommonName);
}

TEST_F(Tls, RevokedIsLiftedByTheRevocationFlagAlone) {
  const auto made = FAuthority.MakeServer({});
  const TestFile list(FAuthority.MakeRevocationList({made.Serial}));
  ExpectOneCheck(made, 12170, TVqHTTPSecurityFlag::IgnoreRevocation, list.Path());
}

TEST_F(Tls, AnIssuerWithoutItsListIsLiftedByTheRevocationFlagAlone) {
  const TestFile list(FStranger.MakeRevocationList({}));
  ExpectOneCheck(FAuthority.MakeServer({}), 12057, TVqHTTPSecurityFlag::IgnoreRevocation, list.Path());
}

TEST_F(Tls, NotOnTheListIsNotRevoked) {
  const auto made = FAuthority.MakeServer({});
  const TestFile list(FAuthority.MakeRevocationList({made.Serial + 1000000}));
  ScriptedServer server(IdentityOf(made));
  server.Then(ScriptedServer::Ok("x"));
  EXPECT_EQ(Ask(server, {}, list.Path()), 200U) << FText;
}

TEST_F(Tls, WrongUsageIsLiftedByTheUsageFlagAlone) {
  TestAuthority::Server wanted;
  wanted.Usage = "clientAuth";
  ExpectOneCheck(FAuthority.MakeServer(wanted), 12179, TVqHTTPSecurityFlag::IgnoreWrongUsage);
}

TEST_F(Tls, TheUsageFlagHasNoMeaningToTheWinINetClient) {
  TestAuthority::Server wanted;
  wanted.Usage = "clientAuth";
  ScriptedServer server(IdentityOf(FAuthority.MakeServer(wanted)));
  server.Then(ScriptedServer::Ok("x"));
  const auto all = TVqHTTPSecurityFlags::FromBits(0x1F);
  EXPECT_EQ(Ask(server, all, "", false), 12179U);
  EXPECT_EQ(Ask(server, all, "", true), 200U) << FText;
}

TEST_F(Tls, SeveralFaultsNeedSeveralFlags) {
  TestAuthority::Server wanted;
  wanted.FromDays = -30;
  wanted.ToDays = -2;
  wanted.Names = "DNS:mail.example.com";
  wanted.Usage = "clientAuth";
  ScriptedServer server(IdentityOf(FStranger.MakeServer(wanted)));
  server.Then(ScriptedServer::Ok("x"));
  TVqHTTPSecurityFlags needed{TVqHTTPSecurityFlag::IgnoreInvalidCertDate, TVqHTTPSecurityFlag::IgnoreUnknownCA,
                              TVqHTTPSecurityFlag::IgnoreInvalidCommonName, TVqHTTPSecurityFlag::IgnoreWrongUsage};
  for (const TVqHTTPSecurityFlag flag : kAllFlags) {
    if (flag == TVqHTTPSecurityFlag::IgnoreRevocation) continue;
    EXPECT_GT(Ask(server, needed - flag), 12000U);
  }
  EXPECT_EQ(Ask(server, needed), 200U) << FText;
}

TEST_F(Tls, FlagsTakenBackHoldForTheNextRequest) {
  ScriptedServer server(IdentityOf(FStranger.MakeServer({})));
  server.Then(ScriptedServer::Ok("x"));
  const auto client = NewClient();
  client->GetComponent()->SetSecurityFlags({TVqHTTPSecurityFlag::IgnoreUnknownCA});
  EXPECT_EQ(Get(client, server.Url())->GetStatus().Code, 200);
  client->GetComponent()->SetSecurityFlags({});
  EXPECT_EQ(NumberOf([&] { Get(client, server.Url()); }), 12045U) << "neither the connection nor the TLS session stays";
  EXPECT_EQ(server.Requests().size(), 1U);
}

TEST_F(Tls, ANarrowerTrustHoldsForTheNextRequest) {
  ScriptedServer server(IdentityOf(FAuthority.MakeServer({})));
  server.Then(ScriptedServer::Ok("x"));
  const auto client = NewClient();
  client->GetSession()->SetCAFile(FTrusted.Path());
  EXPECT_EQ(Get(client, server.Url())->GetStatus().Code, 200);
  client->GetSession()->SetCAFile("");
  EXPECT_EQ(NumberOf([&] { Get(client, server.Url()); }), 12045U);
}

TEST_F(Tls, FilesThatCannotBeReadAreNamed) {
  ScriptedServer server(IdentityOf(FAuthority.MakeServer({})));
  const auto client = NewClient();
  client->GetSession()->SetCAFile("/nowhere/authorities.pem");
  try {
    Get(client, server.Url());
    FAIL();
  } catch (const EVqHTTPInvalidArgument& error) {
    EXPECT_STREQ(error.what(), "The file \"/nowhere/authorities.pem\" holds no certificates that can be read.");
  }
  client->GetSession()->SetCAFile(FTrusted.Path());
  client->GetSession()->SetCRLFile(FTrusted.Path());
  EXPECT_THROW(Get(client, server.Url()), EVqHTTPInvalidArgument) << "certificates, but no list";
}

TEST_F(Tls, AServerThatWantsAClientsCertificate) {
  ScriptedServer server(IdentityOf(FAuthority.MakeServer({}), FStranger.Certificate()));
  EXPECT_EQ(Ask(server, {}), 12044U) << FText;
}

TEST_F(Tls, APlainServerBehindAnHttpsAddress) {
  ScriptedServer server;
  server.Then("no TLS here\r\n");
  const std::string url = "https://127.0.0.1:" + std::to_string(server.Port()) + "/";
  const std::uint32_t number = NumberOf([&] {
    const auto client = NewClient();
    client->GetTimeOuts() = TVqHTTPTimeOuts(500, 500, 500);
    Get(client, url);
  });
  EXPECT_TRUE(number == 12157U || number == 12002U) << number;
}

TEST_F(Tls, KeptConnectionsAndCookiesWorkAsOverPlainTcp) {
  ScriptedServer server(IdentityOf(FAuthority.MakeServer({})));
  server.Always([](const auto&) {
    return ScriptedServer::Answer{
        ScriptedServer::Ok("x", "Set-Cookie: s=1; Secure\r\n"), 0, {}, {}, false, false, false, false};
  });
  const auto client = NewClient();
  client->GetSession()->SetCAFile(FTrusted.Path());
  for (int i = 0; i < 5; ++i) Post(client, server.Url(), "x");
  EXPECT_EQ(server.Connections(), 1);
  EXPECT_EQ(server.Requests().back().Header("Cookie"), "s=1");
}

// ---- Versions

TEST_F(Tls, AnOldVersionIsAgreedToOnlyWhenItWasAskedFor) {
  constexpr int versions[] = {TLS1_VERSION, TLS1_1_VERSION, TLS1_2_VERSION, TLS1_3_VERSION};
  for (std::size_t highest = 0; highest < std::size(versions); ++highest) {
    auto identity = IdentityOf(FAuthority.MakeServer({}));
    identity.HighestTls = versions[highest];
    ScriptedServer server(identity);
    server.Always([](const auto&) { return Plain(ScriptedServer::Ok("x")); });
    EXPECT_EQ(Ask(server, {}), highest >= 2 ? 200U : 12157U) << highest << " by default: " << FText;
    for (std::size_t lowest = 0; lowest < std::size(versions); ++lowest) {
      const auto client = NewClient();
      client->GetSession()->SetCAFile(FTrusted.Path());
      client->GetSession()->SetLowestTls(static_cast<TVqHTTPTlsVersion>(lowest));
      const auto number = NumberOf([&] { Get(client, server.Url()); });
      EXPECT_EQ(number, highest >= lowest ? 0U : 12157U) << highest << " against " << lowest;
    }
  }
}

TEST_F(Tls, AChangeOfTheLowestVersionTakesANewConnection) {
  ScriptedServer server(IdentityOf(FAuthority.MakeServer({})));
  server.Always([](const auto&) { return Plain(ScriptedServer::Ok("x")); });
  const auto client = NewClient();
  EXPECT_EQ(client->GetSession()->GetLowestTls(), TVqHTTPTlsVersion::tls12);
  client->GetSession()->SetCAFile(FTrusted.Path());
  Get(client, server.Url());
  Get(client, server.Url());
  EXPECT_EQ(server.Connections(), 1);
  client->GetSession()->SetLowestTls(TVqHTTPTlsVersion::tls13);
  Get(client, server.Url());
  EXPECT_EQ(server.Connections(), 2);
  EXPECT_EQ(NumberOf([&] { client->GetSession()->SetLowestTls(static_cast<TVqHTTPTlsVersion>(4)); }), 87U);
}
