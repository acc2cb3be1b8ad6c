// Logging on to the simulator by each of its schemes, the library being the client.

#include <gssapi/gssapi.h>
#include <gssapi/gssapi_ext.h>
#include <unistd.h>

#include "simulator/transport/authentication.h"
#include "simulator/transport/gss.h"
#include "simulator/xml/element.h"
#include "tests/realauth/RealAuthTestSupport.h"

namespace velmore::testing {
namespace {

using simulator::GssHandshake;
using simulator::GssKeys;
using simulator::GssMechanism;

bool HasNtlm() {
  return access("/etc/gss/mech.d/mech.ntlmssp.conf", R_OK) == 0;
}

/// A simulator that is made with options of the test's own.
class OnItsOwn {
 public:
  OnItsOwn(const std::vector<std::string>& schemes, const std::function<void(simulator::Options&)>& change = {}) {
    simulator::Options options = TwoUsers();
    options.authentication = schemes;
    if (change) change(options);
    Server = std::make_unique<simulator::Simulator>(options);
    Server->Start();
  }
  std::unique_ptr<TVqEWSServiceSession> NewSession(const string& user, const string& password, bool tls = false) const {
    auto session = std::make_unique<TVqEWSServiceSession>();
    session->SetServiceUrl(tls ? Server->HttpsUrl()
                               : "http://localhost:" + std::to_string(Server->HttpPort()) + "/EWS/Exchange.asmx");
    session->SetCAFile(Server->CaCertificateFile());
    session->GetCredentials().SetUserName(user);
    session->GetCredentials().SetPassword(password);
    return session;
  }
  void Ask(TVqEWSServiceSession& session) const {
    session.OpenDefaultMsgStore()->GetFolder(dfininbox, "")->GetTotalCount();
  }
  /// Replies of this status so far.
  std::size_t WithStatus(int status) const {
    const auto all = Server->Exchanges();
    return static_cast<std::size_t>(std::ranges::count(all, status, &simulator::Exchange::status));
  }
  std::string LastUser() const { return Server->Exchanges().back().user; }

  std::unique_ptr<simulator::Simulator> Server;
};

class SimulatorNtlm : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!HasNtlm()) GTEST_SKIP() << "not on this machine: NTLM for GSSAPI (package gss-ntlmssp)";
  }
  TestFolder Folder;
  TestEnvironment Environment{TestRealm::NoRealm(Folder)};
};

TEST_F(SimulatorNtlm, LetsInUsersByTheirPasswordsUnderEachOfTheirNames) {
  const OnItsOwn server({"NTLM"});
  for (const char* name : {"alice", "alice@example.com", "EXAMPLE\\alice", "example.com\\alice"}) {
    const auto session = server.NewSession(name, "wonder");
    EXPECT_NO_THROW(session->SetActive(true)) << name;
    EXPECT_EQ(server.LastUser(), "alice") << name;
  }
  EXPECT_ANY_THROW(server.NewSession("alice", "falsch")->SetActive(true));
  EXPECT_ANY_THROW(server.NewSession("nobody", "wonder")->SetActive(true));
  EXPECT_ANY_THROW(server.NewSession("ELSEWHERE\\alice", "wonder")->SetActive(true)) << "the domain is part of it";
}

TEST_F(SimulatorNtlm, HoldsForItsConnectionAndForNoOther) {
  const OnItsOwn server({"NTLM"});
  const auto session = server.NewSession("alice", "wonder");
  session->SetActive(true);
  for (int i = 0; i < 20; ++i) server.Ask(*session);
  EXPECT_EQ(server.WithStatus(401), 2u) << "the challenge and the first message";
  EXPECT_EQ(server.Server->GetCounters().connections, 1u);
  server.Server->DropConnections();
  server.Ask(*session);
  EXPECT_GT(server.Server->GetCounters().connections, 1u);
  EXPECT_GT(server.WithStatus(401), 2u) << "a new connection is nobody's";
}

TEST_F(SimulatorNtlm, TakesAPasswordFileInPlaceOfTheUsers) {
  const std::string file = Folder.Write("users", "CONTOSO:alice:geheim\nCONTOSO:stranger:geheim\n");
  const OnItsOwn server({"NTLM"}, [&](simulator::Options& options) { options.ntlm_file = file; });
  EXPECT_NO_THROW(server.NewSession("CONTOSO\\alice", "geheim")->SetActive(true));
  EXPECT_ANY_THROW(server.NewSession("alice", "wonder")->SetActive(true));
  EXPECT_ANY_THROW(server.NewSession("CONTOSO\\stranger", "geheim")->SetActive(true)) << "has no mailbox";
}

TEST_F(SimulatorNtlm, KnowsUsersWhoCameLater) {
  const OnItsOwn server({"NTLM"});
  EXPECT_ANY_THROW(server.NewSession("dora", "delta")->SetActive(true));
  server.Server->AddUser({"dora", "dora@example.com", "Dora Dogwood", "delta"});
  EXPECT_NO_THROW(server.NewSession("dora", "delta")->SetActive(true));
}

TEST_F(SimulatorNtlm, IsNoLongerTakenWhenItIsNoLongerOffered) {
  const OnItsOwn server({"NTLM"});
  const auto session = server.NewSession("alice", "wonder");
  session->SetActive(true);
  server.Server->SetAuthentication({"Basic"});
  server.Server->ClearExchanges();
  EXPECT_ANY_THROW(server.Ask(*session));
  EXPECT_GT(server.WithStatus(401), 0u);
}

TEST_F(SimulatorNtlm, IsBoundToTheCertificate) {
  const OnItsOwn server({"NTLM"}, [](simulator::Options& options) { options.require_channel_binding = true; });
  const auto session = server.NewSession("alice", "wonder", true);
  EXPECT_NO_THROW(session->SetActive(true));
  EXPECT_EQ(server.LastUser(), "alice");
}

TEST(SimulatorSchemes, AFileThatIsNotThereIsTold) {
  simulator::Options options;
  options.keytab_file = "/nowhere/keytab";
  EXPECT_EQ(MessageOf<simulator::OptionError>([&] { simulator::Simulator server(options); }),
            "Cannot read the keytab /nowhere/keytab.");
  options.keytab_file.clear();
  options.ntlm_file = "/nowhere/users";
  EXPECT_EQ(MessageOf<simulator::OptionError>([&] { simulator::Simulator server(options); }),
            "Cannot read the password file of NTLM /nowhere/users.");
  const TestFolder folder;
  options.ntlm_file.clear();
  options.keytab_file = folder.Write("keytab", "no keytab");
  EXPECT_TRUE(MessageOf<simulator::OptionError>([&] {
                simulator::Simulator server(options);
              }).starts_with("The keytab " + options.keytab_file + " cannot be used: "));
}

TEST(SimulatorSchemes, BasicOverTls) {
  const OnItsOwn server({"Basic"});
  const auto session = server.NewSession("alice", "wonder", true);
  session->SetActive(true);
  EXPECT_EQ(server.LastUser(), "alice");
  EXPECT_ANY_THROW(server.NewSession("alice", "falsch", true)->SetActive(true));
}

/// One realm for all tests: setting it up takes most of a second.
class SimulatorNegotiate : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    if (!TestRealm::Missing().empty()) return;
    Realm = new TestRealm;
    Realm->AddUser("alice", "geheim", "+requires_preauth");
    Realm->AddUser("stranger", "geheim");
    Environment = new TestEnvironment(Realm->ClientEnvironment());
  }
  static void TearDownTestSuite() {
    delete Environment;
    delete Realm;
    Environment = nullptr;
    Realm = nullptr;
  }
  void SetUp() override {
    if (Realm == nullptr) GTEST_SKIP() << "not on this machine: " << TestRealm::Missing();
  }
  static OnItsOwn WithKeytab(bool bound = false) {
    return OnItsOwn({"Negotiate"}, [&](simulator::Options& options) {
      options.keytab_file = Realm->KeyTab();
      options.require_channel_binding = bound;
    });
  }
  static TestRealm* Realm;
  static TestEnvironment* Environment;
};
TestRealm* SimulatorNegotiate::Realm = nullptr;
TestEnvironment* SimulatorNegotiate::Environment = nullptr;

TEST_F(SimulatorNegotiate, LetsInWhoHasATicket) {
  const OnItsOwn server = WithKeytab();
  const auto session = server.NewSession("alice@VELMORE.TEST", "geheim");
  session->SetActive(true);
  EXPECT_EQ(server.LastUser(), "alice");
  EXPECT_ANY_THROW(server.NewSession("alice@VELMORE.TEST", "falsch")->SetActive(true));
  EXPECT_ANY_THROW(server.NewSession("stranger@VELMORE.TEST", "geheim")->SetActive(true)) << "has no mailbox";
}

TEST_F(SimulatorNegotiate, ProvesItselfAndHoldsForTheConnection) {
  const OnItsOwn server = WithKeytab();
  const auto session = server.NewSession("alice@VELMORE.TEST", "geheim");
  session->SetActive(true);
  for (int i = 0; i < 10; ++i) server.Ask(*session);
  std::size_t proofs = 0;
  for (const auto& exchange : server.Server->Exchanges())
    if (!exchange.RequestHeader("Authorization").empty()) ++proofs;
  EXPECT_EQ(proofs, 1u);
  const auto all = server.Server->Exchanges();
  const auto proved = std::ranges::find_if(
      all, [](const simulator::Exchange& one) { return !one.RequestHeader("Authorization").empty(); });
  const auto has = [&](const std::string& name, const std::string& begin) {
    return std::ranges::any_of(proved->response_headers, [&](const auto& header) {
      return header.first == name && header.second.starts_with(begin) && header.second.size() >= begin.size();
    });
  };
  EXPECT_TRUE(has("WWW-Authenticate", "Negotiate "));
  EXPECT_TRUE(has("Persistent-Auth", "true"));
}

TEST_F(SimulatorNegotiate, IsBoundToTheCertificate) {
  const OnItsOwn server = WithKeytab(true);
  const auto session = server.NewSession("alice@VELMORE.TEST", "geheim", true);
  EXPECT_NO_THROW(session->SetActive(true));
  EXPECT_EQ(server.LastUser(), "alice");
}

// What no client of ours does: a proof for another connection, or for none.

/// A client's tokens for the service HTTP@localhost.
class Initiator {
 public:
  Initiator(GssMechanism mechanism, const std::string& user, const std::string& password, std::string end_point)
      : FNtlm(mechanism == GssMechanism::kNtlm), FEndPoint(std::move(end_point)) {
    gss_OID_set_desc only = {1, Mechanism()};
    OM_uint32 minor = 0;
    gss_buffer_desc text = {user.size(), const_cast<char*>(user.data())};
    gss_buffer_desc secret = {password.size(), const_cast<char*>(password.data())};
    gss_name_t name = GSS_C_NO_NAME;
    gss_import_name(&minor, &text, GSS_C_NT_USER_NAME, &name);
    gss_acquire_cred_with_password(&minor, name, &secret, GSS_C_INDEFINITE, &only, GSS_C_INITIATE, &FCredential,
                                   nullptr, nullptr);
    gss_release_name(&minor, &name);
  }
  ~Initiator() {
    OM_uint32 minor = 0;
    gss_release_cred(&minor, &FCredential);
    gss_delete_sec_context(&minor, &FContext, GSS_C_NO_BUFFER);
  }
  Initiator(const Initiator&) = delete;
  Initiator& operator=(const Initiator&) = delete;

  std::string Next(const std::string& answer) {
    OM_uint32 minor = 0;
    gss_channel_bindings_struct bindings = {};
    bindings.application_data = {FEndPoint.size(), FEndPoint.data()};
    gss_buffer_desc service = {14, const_cast<char*>("HTTP@localhost")};
    gss_name_t name = GSS_C_NO_NAME;
    gss_import_name(&minor, &service, GSS_C_NT_HOSTBASED_SERVICE, &name);
    gss_buffer_desc in = {answer.size(), const_cast<char*>(answer.data())};
    gss_buffer_desc out = GSS_C_EMPTY_BUFFER;
    gss_init_sec_context(&minor, FCredential, &FContext, name, Mechanism(), 0, GSS_C_INDEFINITE,
                         FEndPoint.empty() ? GSS_C_NO_CHANNEL_BINDINGS : &bindings,
                         answer.empty() ? GSS_C_NO_BUFFER : &in, nullptr, &out, nullptr, nullptr);
    std::string token(static_cast<const char*>(out.value), out.length);
    gss_release_buffer(&minor, &out);
    gss_release_name(&minor, &name);
    return token;
  }

 private:
  gss_OID Mechanism() const {
    static gss_OID_desc ntlm = {10, const_cast<char*>("\x2b\x06\x01\x04\x01\x82\x37\x02\x02\x0a")};
    static gss_OID_desc spnego = {6, const_cast<char*>("\x2b\x06\x01\x05\x05\x02")};
    return FNtlm ? &ntlm : &spnego;
  }
  const bool FNtlm;
  std::string FEndPoint;
  gss_cred_id_t FCredential = GSS_C_NO_CREDENTIAL;
  gss_ctx_id_t FContext = GSS_C_NO_CONTEXT;
};

/// How a handshake ends between a client and a server that see these end points.
struct Outcome {
  GssHandshake::Step Step = GssHandshake::Step::kRefused;
  bool Bound = false;
};
Outcome Meet(GssKeys& keys, GssMechanism mechanism, const std::string& password, const std::string& client,
             const std::string& server) {
  Initiator initiator(mechanism, "alice", password, client);
  GssHandshake handshake(keys, mechanism, server);
  std::string answer;
  Outcome outcome;
  for (int i = 0; i < 4; ++i) {
    outcome.Step = handshake.Take(initiator.Next(answer), answer);
    if (outcome.Step != GssHandshake::Step::kGoesOn) break;
  }
  outcome.Bound = handshake.IsBound();
  return outcome;
}

void BindingsAreLookedAt(GssKeys& keys, GssMechanism mechanism, const std::string& password) {
  const std::string here = "tls-server-end-point:here";
  const std::string elsewhere = "tls-server-end-point:elsewhere";
  const Outcome same = Meet(keys, mechanism, password, here, here);
  EXPECT_EQ(same.Step, GssHandshake::Step::kDone);
  EXPECT_TRUE(same.Bound);
  EXPECT_EQ(Meet(keys, mechanism, password, elsewhere, here).Step, GssHandshake::Step::kRefused);
  const Outcome none = Meet(keys, mechanism, password, "", here);
  EXPECT_EQ(none.Step, GssHandshake::Step::kDone);
  EXPECT_FALSE(none.Bound);
}

TEST_F(SimulatorNtlm, AProofForAnotherConnectionIsRefused) {
  GssKeys keys("", "", [] { return TwoUsers().users; });
  BindingsAreLookedAt(keys, GssMechanism::kNtlm, "wonder");
}

TEST_F(SimulatorNegotiate, AProofForAnotherConnectionIsRefused) {
  GssKeys keys(Realm->KeyTab(), "", [] { return TwoUsers().users; });
  BindingsAreLookedAt(keys, GssMechanism::kNegotiate, "geheim");
}

/// A client of NTLM that is bound to `client`, at a server that shows itself as `kShown`.
class AtAuthenticator {
 public:
  explicit AtAuthenticator(bool require)
      : FTokens(Find, std::chrono::seconds(60)),
        FAuthenticator({Find, [] { return TwoUsers().users; }}, FTokens, Options(require)) {}

  static constexpr const char* kShown = "tls-server-end-point:here";
  simulator::Authenticator::Result Ask(simulator::ConnectionState& connection, const std::string& authorization) {
    simulator::HttpRequest request;
    if (!authorization.empty()) request.headers = {{"Authorization", authorization}};
    return FAuthenticator.Check(request, connection);
  }
  /// The result of the third message.
  simulator::Authenticator::Result LogOn(simulator::ConnectionState& connection, const std::string& client) {
    connection.end_point = kShown;
    Initiator initiator(GssMechanism::kNtlm, "alice", "wonder", client);
    const auto challenged = Ask(connection, "NTLM " + simulator::EncodeBase64(initiator.Next("")));
    EXPECT_FALSE(challenged.user.has_value());
    EXPECT_EQ(challenged.challenges.size(), 1u);
    const std::string answer = simulator::DecodeBase64(challenged.challenges.at(0).substr(5));
    return Ask(connection, "ntlm " + simulator::EncodeBase64(initiator.Next(answer)));
  }

 private:
  static std::optional<simulator::User> Find(std::string_view name) {
    for (const auto& user : TwoUsers().users)
      if (user.name == name) return user;
    return std::nullopt;
  }
  static simulator::Options Options(bool require) {
    simulator::Options options;
    options.authentication = {"NTLM", "Basic"};
    options.require_channel_binding = require;
    return options;
  }
  simulator::Tokens FTokens;
  simulator::Authenticator FAuthenticator;
};

TEST_F(SimulatorNtlm, WhoIsBoundToNothingIsRefusedWhereABindingIsRequired) {
  for (const bool require : {false, true}) {
    AtAuthenticator server(require);
    simulator::ConnectionState bound, unbound, elsewhere;
    EXPECT_TRUE(server.LogOn(bound, AtAuthenticator::kShown).user.has_value()) << require;
    EXPECT_EQ(server.LogOn(unbound, "").user.has_value(), !require);
    const auto refused = server.LogOn(elsewhere, "tls-server-end-point:elsewhere");
    EXPECT_FALSE(refused.user.has_value()) << require;
    EXPECT_EQ(refused.challenges, (std::vector<std::string>{"NTLM", "Basic realm=\"Velmore EWS Simulator\""}));
  }
}

TEST_F(SimulatorNtlm, AConnectionIsItsUsersUntilSomebodySaysOtherwise) {
  AtAuthenticator server(false);
  simulator::ConnectionState one, other;
  const auto first = server.LogOn(one, AtAuthenticator::kShown);
  ASSERT_TRUE(first.user.has_value());
  EXPECT_EQ(first.user->name, "alice");
  EXPECT_EQ(std::ranges::count(first.headers, std::pair<std::string, std::string>("Persistent-Auth", "true")), 1);
  EXPECT_EQ(server.Ask(one, "").user.value_or(simulator::User{}).name, "alice");
  EXPECT_FALSE(server.Ask(other, "").user.has_value()) << "another connection";
  EXPECT_EQ(server.Ask(one, "Basic " + simulator::EncodeBase64("bob:builder")).user.value_or(simulator::User{}).name,
            "bob")
      << "who says who he is, is that";
  EXPECT_EQ(server.Ask(one, "").user.value_or(simulator::User{}).name, "alice");
  // A handshake that fails ends what was before.
  EXPECT_FALSE(server.Ask(one, "NTLM " + simulator::EncodeBase64("no token")).user.has_value());
  EXPECT_FALSE(server.Ask(one, "").user.has_value());
}

TEST_F(SimulatorNtlm, NonsenseIsRefused) {
  GssKeys keys("", "", [] { return TwoUsers().users; });
  std::string answer;
  GssHandshake handshake(keys, GssMechanism::kNtlm, "");
  EXPECT_EQ(handshake.Take("no token", answer), GssHandshake::Step::kRefused);
  EXPECT_EQ(GssHandshake(keys, GssMechanism::kNegotiate, "").Take("no token", answer), GssHandshake::Step::kRefused)
      << "without a keytab";
}

}  // namespace
}  // namespace velmore::testing
