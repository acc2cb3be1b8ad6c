// Negotiate against a real ticket server, set up for the test in a folder of its own and gone with it. The web server's
// part is played by the system's GSSAPI library.

#include <gssapi/gssapi.h>

#include <map>

#include "HTTPTestSupport.h"
#include "platform/http/curl/uVqKerberos_p.h"
#include "tests/support/RealServers.h"

using namespace velmore;

namespace {

// Accepts tickets and greets who came: "anna@VELMORE.TEST". Says that a handshake holds for the connection, as IIS does,
// or asks each request for one, as RFC 4559 has it.
class Kerberized {
 public:
  explicit Kerberized(ScriptedServer& server, std::string others = "") : FOthers(std::move(others)) {
    server.Always([this](const ScriptedServer::Request& request) { return Plain(Reply(request)); });
  }
  int Handshakes = 0;
  bool PerConnection = true;

 private:
  std::string Reply(const ScriptedServer::Request& request) {
    const std::string sent = request.Header("Authorization");
    if (!sent.starts_with("Negotiate ")) {
      if (const auto known = FKnown.find(request.Connection); known != FKnown.end())
        return ScriptedServer::Ok(known->second);
      return Refusal("WWW-Authenticate: Negotiate\r\n" + FOthers);
    }
    std::string token = DecodeBase64(std::string_view(sent).substr(10));
    gss_buffer_desc in = {token.size(), token.data()};
    gss_buffer_desc out = GSS_C_EMPTY_BUFFER;
    gss_ctx_id_t context = GSS_C_NO_CONTEXT;
    gss_name_t who = GSS_C_NO_NAME;
    OM_uint32 minor = 0;
    const OM_uint32 major =
        gss_accept_sec_context(&minor, &context, GSS_C_NO_CREDENTIAL, &in, GSS_C_NO_CHANNEL_BINDINGS, &who, nullptr,
                               &out, nullptr, nullptr, nullptr);
    std::string reply = Refusal("WWW-Authenticate: Negotiate\r\n");
    if (major == GSS_S_COMPLETE) {
      gss_buffer_desc name = GSS_C_EMPTY_BUFFER;
      gss_display_name(&minor, who, &name, nullptr);
      const std::string text(static_cast<const char*>(name.value), name.length);
      gss_release_buffer(&minor, &name);
      if (PerConnection) FKnown[request.Connection] = text;
      ++Handshakes;
      reply = ScriptedServer::Ok(text, "WWW-Authenticate: Negotiate " +
                                           EncodeBase64({static_cast<const char*>(out.value), out.length}) + "\r\n" +
                                           (PerConnection ? "Persistent-Auth: true\r\n" : ""));
    }
    gss_release_name(&minor, &who);
    gss_release_buffer(&minor, &out);
    gss_delete_sec_context(&minor, &context, GSS_C_NO_BUFFER);
    return reply;
  }

  std::string FOthers;
  std::map<int, std::string> FKnown;
};

// One realm for all tests, with anna, bert and the service HTTP/localhost: setting it up takes most of a second.
class Kerberos : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    if (!TestRealm::Missing().empty()) return;
    FRealm = new TestRealm;
    FRealm->AddUser("anna", "geheim", "+requires_preauth");  // as Active Directory has it
    FRealm->AddUser("bert", "anders");
    auto environment = FRealm->ClientEnvironment();
    environment.emplace_back("KRB5_KTNAME", "FILE:" + FRealm->KeyTab());  // for the server's part
    environment.emplace_back("KRB5RCACHENAME", "none:");
    FEnvironment = new TestEnvironment(environment);
  }
  static void TearDownTestSuite() {
    delete FEnvironment;
    delete FRealm;
    FEnvironment = nullptr;
    FRealm = nullptr;
  }
  void SetUp() override {
    if (!FRealm) GTEST_SKIP() << "not on this machine: " << TestRealm::Missing();
  }
  static TestRealm* FRealm;
  static TestEnvironment* FEnvironment;
};
TestRealm* Kerberos::FRealm = nullptr;
TestEnvironment* Kerberos::FEnvironment = nullptr;

}  // namespace

TEST(KerberosNames, RealmFromDomainsWithADot) {
  EXPECT_EQ(VqKerberosPrincipal("anna"), "anna");
  EXPECT_EQ(VqKerberosPrincipal("CONTOSO\\anna"), "anna");
  EXPECT_EQ(VqKerberosPrincipal("contoso.example\\anna"), "anna@CONTOSO.EXAMPLE");
  EXPECT_EQ(VqKerberosPrincipal("anna@contoso.example"), "anna@CONTOSO.EXAMPLE");
}

TEST(KerberosNames, SayWhetherTheyNameTheirRealm) {
  for (const char* name : {"anna@contoso.example", "contoso.example\\anna", "velmore\\anna", "VELMORE\\anna"})
    EXPECT_TRUE(VqNamesItsRealm(name, "VELMORE.TEST")) << name;
  for (const char* name : {"anna", "CONTOSO\\anna", "\\anna", "anna@contoso", "VELMORE.TESTER"})
    EXPECT_FALSE(VqNamesItsRealm(name, "VELMORE.TEST")) << name;
  EXPECT_FALSE(VqNamesItsRealm("CONTOSO\\anna", "")) << "a machine without a realm";
}

TEST_F(Kerberos, LogsOnWithNameAndPasswordInEveryForm) {
  for (const char* user : {"anna", "anna@velmore.test", "VELMORE.TEST\\anna", "VELMORE\\anna"}) {
    ScriptedServer server;
    Kerberized negotiate(server);
    const auto response = Post(As(user, "geheim"), server.Url("/", "localhost"), "x");
    EXPECT_EQ(response->GetStatus().Code, 200) << user;
    EXPECT_EQ(response->GetText(), "anna@VELMORE.TEST") << user;
  }
}

TEST_F(Kerberos, HundredRequestsOneConnectionOneHandshake) {
  ScriptedServer server;
  Kerberized negotiate(server);
  const auto client = As("anna", "geheim");
  for (int i = 0; i < 100; ++i) EXPECT_EQ(Post(client, server.Url("/", "localhost"), "x")->GetStatus().Code, 200);
  EXPECT_EQ(server.Connections(), 1);
  EXPECT_EQ(negotiate.Handshakes, 1);
  EXPECT_EQ(server.Requests().size(), 101U) << "one challenge";
}

TEST_F(Kerberos, AServerThatAsksEachRequestCostsNoRoundTripMore) {
  ScriptedServer server;
  Kerberized negotiate(server);
  negotiate.PerConnection = false;
  const auto client = As("anna", "geheim");
  for (int i = 0; i < 10; ++i) EXPECT_EQ(Post(client, server.Url("/", "localhost"), "x")->GetStatus().Code, 200);
  EXPECT_EQ(server.Connections(), 1);
  EXPECT_EQ(negotiate.Handshakes, 10);
  EXPECT_EQ(server.Requests().size(), 11U) << "one challenge, then the ticket at once";
}

TEST_F(Kerberos, TheTicketAtHandServesAClientWithoutAName) {
  ScriptedServer server;
  Kerberized negotiate(server);
  const auto client = NewClient();
  EXPECT_EQ(Get(client, server.Url("/", "localhost"))->GetStatus().Code, 401);
  FRealm->LogOnAs("bert", "anders");
  EXPECT_EQ(Get(client, server.Url("/", "localhost"))->GetText(), "bert@VELMORE.TEST");
  FRealm->LogOff();
}

TEST_F(Kerberos, AnothersTicketIsNeverTaken) {
  FRealm->LogOnAs("bert", "anders");
  ScriptedServer server;
  Kerberized negotiate(server);
  EXPECT_EQ(Get(As("anna", "geheim"), server.Url("/", "localhost"))->GetText(), "anna@VELMORE.TEST");
  const auto refused = Get(As("anna", ""), server.Url("/", "localhost"));
  EXPECT_EQ(refused->GetStatus().Code, 401);
  EXPECT_EQ(refused->GetTriedScheme(), "");
  EXPECT_EQ(Get(As("bert", ""), server.Url("/", "localhost"))->GetText(), "bert@VELMORE.TEST");
  FRealm->LogOff();
}

// A wrong password is one failure of one account: the KDC's no is final where the name says that the account is its own.
TEST_F(Kerberos, APasswordThatTheKdcRefusesIsNotOfferedToTheServerToo) {
  for (const char* user : {"anna@velmore.test", "velmore.test\\anna", "VELMORE\\anna"}) {
    ScriptedServer server;
    Kerberized negotiate(server, "WWW-Authenticate: NTLM\r\nWWW-Authenticate: Basic realm=\"x\"\r\n");
    const int refusals = FRealm->PasswordsRefused();
    const auto response = Get(As(user, "falsch"), server.Url("/", "localhost"));
    EXPECT_EQ(response->GetStatus().Code, 401) << user;
    EXPECT_EQ(response->GetTriedScheme(), "Negotiate") << user;
    EXPECT_EQ(response->GetAuthenticationHint(), "The Kerberos server refused the password.") << user;
    EXPECT_EQ(server.Requests().size(), 1U) << user << ": the challenge and nothing behind it";
    EXPECT_EQ(FRealm->PasswordsRefused(), refusals + 1) << user;
  }
}

// The default realm need not be the one of the server: there "anna" may be somebody else, with another password.
TEST_F(Kerberos, ANameWithoutItsRealmLeavesTheNextOffer) {
  for (const char* user : {"anna", "CONTOSO\\anna"}) {
    ScriptedServer server;
    Kerberized negotiate(server, "WWW-Authenticate: Basic realm=\"x\"\r\n");
    const auto response = Get(As(user, "falsch"), server.Url("/", "localhost"));
    EXPECT_EQ(response->GetStatus().Code, 401);
    EXPECT_EQ(response->GetTriedScheme(), "Basic");
    EXPECT_EQ(response->GetOfferedSchemes(), (std::vector<string>{"Negotiate", "Basic"}));
  }
}

TEST_F(Kerberos, AnAccountThatTheKdcDoesNotKnowLeavesTheNextOffer) {
  ScriptedServer server;
  Kerberized negotiate(server, "WWW-Authenticate: Basic realm=\"x\"\r\n");
  EXPECT_EQ(Get(As("carl@velmore.test", "geheim"), server.Url("/", "localhost"))->GetTriedScheme(), "Basic");
}
