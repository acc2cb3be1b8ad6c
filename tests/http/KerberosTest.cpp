// Negotiate against a real ticket server, set up for the test in a folder of its own and gone with it. The web server's
// part is played by the system's GSSAPI library.

#include <arpa/inet.h>
#include <curl/curl.h>
#include <gssapi/gssapi.h>
#include <gssapi/gssapi_ext.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <map>
#include <thread>

#include "HTTPTestSupport.h"
#include "platform/http/curl/uVqGssTokens_p.h"
#include "tests/support/RealServers.h"
#include "tests/support/TestCertificates.h"

using namespace velmore;

namespace {

// Accepts tickets and greets who came: "anna@VELMORE.TEST". Says that a handshake holds for the connection, as IIS
// does, or asks each request for one, as RFC 4559 has it.
class Kerberized {
 public:
  explicit Kerberized(ScriptedServer& server, std::string others = "") : FOthers(std::move(others)) {
    server.Always([this](const ScriptedServer::Request& request) { return Plain(Reply(request)); });
  }
  int Handshakes = 0;
  bool PerConnection = true;
  std::string EndPoint;  // not empty: only who is bound to it comes in

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
    OM_uint32 minor = 0, flags = 0;
    gss_channel_bindings_struct bindings = {};
    bindings.application_data = {EndPoint.size(), EndPoint.data()};
    const OM_uint32 major = gss_accept_sec_context(&minor, &context, GSS_C_NO_CREDENTIAL, &in,
                                                   EndPoint.empty() ? GSS_C_NO_CHANNEL_BINDINGS : &bindings, &who,
                                                   nullptr, &out, &flags, nullptr, nullptr);
    std::string reply = Refusal("WWW-Authenticate: Negotiate\r\n");
    if (major == GSS_S_COMPLETE && (EndPoint.empty() || (flags & GSS_C_CHANNEL_BOUND_FLAG) != 0)) {
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

// A wrong password is one failure of one account: the KDC's no is final where the name says that the account is its
// own.
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

// ---- Who a connection speaks for

TEST_F(Kerberos, OtherCredentialsDoNotGoOnAsTheFormerUser) {
  ScriptedServer server;
  Kerberized negotiate(server);
  const auto client = As("anna@VELMORE.TEST", "geheim");
  const string url = server.Url("/", "localhost");
  EXPECT_EQ(Post(client, url, "x")->GetText(), "anna@VELMORE.TEST");
  EXPECT_EQ(Post(client, url, "x")->GetText(), "anna@VELMORE.TEST");
  client->GetCredentials().SetUserName("bert@VELMORE.TEST");
  client->GetCredentials().SetPassword("falsch");
  EXPECT_EQ(Post(client, url, "x")->GetStatus().Code, 401) << "with a wrong password";
  client->GetCredentials().SetPassword("anders");
  EXPECT_EQ(Post(client, url, "x")->GetText(), "bert@VELMORE.TEST");
  client->SetAuthentication(TVqHTTPAuthentication::anonymous);
  EXPECT_EQ(Post(client, url, "x")->GetStatus().Code, 401);
  EXPECT_EQ(negotiate.Handshakes, 2);
}

TEST_F(Kerberos, TheSettingAloneTakesItWithoutWaitingForAChallenge) {
  ScriptedServer server;
  Kerberized negotiate(server);
  const auto client = As("anna@VELMORE.TEST", "geheim");
  client->SetAuthentication(TVqHTTPAuthentication::negotiate);
  EXPECT_EQ(Post(client, server.Url("/", "localhost"), "x")->GetText(), "anna@VELMORE.TEST");
  EXPECT_EQ(server.Requests().size(), 1U);
}

// ---- Bound to the server's certificate

namespace {

std::string EndPointOf(const std::string& pem) {
  BIO* const bio = BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size()));
  X509* const certificate = PEM_read_bio_X509(bio, nullptr, nullptr, nullptr);
  unsigned char bytes[EVP_MAX_MD_SIZE];
  unsigned length = 0;
  X509_digest(certificate, EVP_sha256(), bytes, &length);
  X509_free(certificate);
  BIO_free(bio);
  return "tls-server-end-point:" + std::string(reinterpret_cast<char*>(bytes), length);
}

// A TLS server and who trusts it.
struct Bound {
  explicit Bound(const char* authority = "Velmore test authority") : Authority(authority) {}
  TestAuthority Authority;
  TestAuthority::Made Made = Authority.MakeServer({});
  ScriptedServer Server{{Made.Certificate, Made.Key, ""}};
  TestFile Trusted{Authority.Certificate()};
  std::string EndPoint = EndPointOf(Made.Certificate);
  string Url = Server.Url("/", "localhost");

  TVqRef<IVqHTTPClient> Client(const char* user, const char* password) const {
    auto client = As(user, password);
    client->GetSession()->SetCAFile(Trusted.Path());
    return client;
  }
};

// NTLM's server, played by GSSAPI with gss-ntlmssp.
class NtlmAcceptor {
 public:
  NtlmAcceptor(ScriptedServer& server, std::string endPoint) : FEndPoint(std::move(endPoint)) {
    server.Always([this](const ScriptedServer::Request& request) { return Plain(Reply(request)); });
  }
  ~NtlmAcceptor() {
    OM_uint32 minor = 0;
    for (auto& [connection, context] : FContexts) gss_delete_sec_context(&minor, &context, GSS_C_NO_BUFFER);
  }
  NtlmAcceptor(const NtlmAcceptor&) = delete;
  NtlmAcceptor& operator=(const NtlmAcceptor&) = delete;
  int Handshakes = 0;

 private:
  std::string Reply(const ScriptedServer::Request& request) {
    const std::string sent = request.Header("Authorization");
    if (!sent.starts_with("NTLM ")) {
      const auto known = FKnown.find(request.Connection);
      return known != FKnown.end() ? ScriptedServer::Ok(known->second) : Refusal("WWW-Authenticate: NTLM\r\n");
    }
    std::string token = DecodeBase64(std::string_view(sent).substr(5));
    gss_buffer_desc in = {token.size(), token.data()};
    gss_buffer_desc out = GSS_C_EMPTY_BUFFER;
    gss_channel_bindings_struct bindings = {};
    bindings.application_data = {FEndPoint.size(), FEndPoint.data()};
    gss_OID_desc mechanism = {10, const_cast<char*>("\x2b\x06\x01\x04\x01\x82\x37\x02\x02\x0a")};
    gss_OID_set_desc mechanisms = {1, &mechanism};
    gss_cred_id_t credential = GSS_C_NO_CREDENTIAL;
    gss_name_t who = GSS_C_NO_NAME;
    OM_uint32 minor = 0;
    gss_acquire_cred(&minor, GSS_C_NO_NAME, GSS_C_INDEFINITE, &mechanisms, GSS_C_ACCEPT, &credential, nullptr, nullptr);
    gss_ctx_id_t& context = FContexts.emplace(request.Connection, GSS_C_NO_CONTEXT).first->second;
    const OM_uint32 major = gss_accept_sec_context(&minor, &context, credential, &in,
                                                   FEndPoint.empty() ? GSS_C_NO_CHANNEL_BINDINGS : &bindings, &who,
                                                   nullptr, &out, nullptr, nullptr, nullptr);
    std::string reply = Refusal("WWW-Authenticate: NTLM\r\n");
    if (major == GSS_S_CONTINUE_NEEDED) {
      reply = Refusal("WWW-Authenticate: NTLM " + EncodeBase64({static_cast<char*>(out.value), out.length}) + "\r\n");
    } else if (major == GSS_S_COMPLETE) {
      gss_buffer_desc name = GSS_C_EMPTY_BUFFER;
      gss_display_name(&minor, who, &name, nullptr);
      FKnown[request.Connection] = static_cast<char*>(name.value);  // whose length counts the zero, too
      gss_release_buffer(&minor, &name);
      ++Handshakes;
      reply = ScriptedServer::Ok(FKnown[request.Connection]);
    }
    gss_release_name(&minor, &who);
    gss_release_cred(&minor, &credential);
    gss_release_buffer(&minor, &out);
    return reply;
  }

  std::string FEndPoint;
  std::map<int, gss_ctx_id_t> FContexts;
  std::map<int, std::string> FKnown;
};

}  // namespace

TEST_F(Kerberos, AServerThatDemandsTheBindingLetsTheClientIn) {
  Bound bound;
  Kerberized negotiate(bound.Server);
  negotiate.EndPoint = bound.EndPoint;
  const auto client = bound.Client("anna@VELMORE.TEST", "geheim");
  for (int i = 0; i < 3; ++i) EXPECT_EQ(Post(client, bound.Url, "x")->GetText(), "anna@VELMORE.TEST");
  EXPECT_EQ(negotiate.Handshakes, 1);
  EXPECT_EQ(bound.Server.Connections(), 1);
  // A new connection to the known certificate costs no challenge.
  client->GetComponent()->CloseConnections();
  const std::size_t before = bound.Server.Requests().size();
  EXPECT_EQ(Post(client, bound.Url, "x")->GetText(), "anna@VELMORE.TEST");
  EXPECT_EQ(bound.Server.Requests().size(), before + 1);
}

TEST_F(Kerberos, TheBindingIsThereWithoutAChallengeToo) {
  Bound bound;
  Kerberized negotiate(bound.Server);
  negotiate.EndPoint = bound.EndPoint;
  const auto client = bound.Client("anna@VELMORE.TEST", "geheim");
  client->SetAuthentication(TVqHTTPAuthentication::negotiate);
  EXPECT_EQ(Post(client, bound.Url, "x")->GetText(), "anna@VELMORE.TEST");
}

// Behind one name stands another server: a proof that was made for the first one's certificate is not sent to it.
TEST_F(Kerberos, AnotherCertificateIsNoticedBeforeAProofGoesOut) {
  Bound first("One authority"), second("Another authority");
  Kerberized atFirst(first.Server), atSecond(second.Server);
  atFirst.EndPoint = first.EndPoint;
  atSecond.EndPoint = second.EndPoint;
  const auto client = As("anna@VELMORE.TEST", "geheim");
  const TestFile trusted(first.Authority.Certificate() + second.Authority.Certificate());
  client->GetSession()->SetCAFile(trusted.Path());
  const auto place = [](const ScriptedServer& server) { return string("127.0.0.1:" + std::to_string(server.Port())); };
  client->GetSession()->SetConnectTo({{"localhost:443", place(first.Server)}});
  EXPECT_EQ(Post(client, "https://localhost/", "x")->GetText(), "anna@VELMORE.TEST");
  client->GetSession()->SetConnectTo({{"localhost:443", place(second.Server)}});
  client->GetComponent()->CloseConnections();
  EXPECT_EQ(Post(client, "https://localhost/", "x")->GetText(), "anna@VELMORE.TEST");
  EXPECT_EQ(second.Server.Requests().size(), 1U);
  EXPECT_EQ(atSecond.Handshakes, 1);
}

TEST_F(Kerberos, AServerThatDemandsTheBindingRefusesWhoIsBoundElsewhere) {
  Bound bound;
  Kerberized negotiate(bound.Server);
  negotiate.EndPoint = EndPointOf(TestAuthority("Somebody between").Certificate());
  EXPECT_EQ(Post(bound.Client("anna@VELMORE.TEST", "geheim"), bound.Url, "x")->GetStatus().Code, 401);
  EXPECT_EQ(negotiate.Handshakes, 0);
}

TEST_F(Kerberos, AServerThatDemandsTheBindingRefusesWhoHasNone) {
  FRealm->LogOnAs("anna", "geheim");
  Bound bound;
  Kerberized negotiate(bound.Server);
  negotiate.EndPoint = bound.EndPoint;
  // libcurl's own Negotiate, which knows no binding in this release.
  CURL* const easy = curl_easy_init();
  const std::string url = bound.Url.utf8();
  curl_easy_setopt(easy, CURLOPT_URL, url.c_str());
  curl_easy_setopt(easy, CURLOPT_CAINFO, bound.Trusted.Path().c_str());
  curl_easy_setopt(easy, CURLOPT_HTTPAUTH, CURLAUTH_NEGOTIATE);
  curl_easy_setopt(easy, CURLOPT_USERPWD, ":");
  EXPECT_EQ(curl_easy_perform(easy), CURLE_OK);
  long status = 0;
  curl_easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &status);
  curl_easy_cleanup(easy);
  EXPECT_TRUE(bound.Server.Requests().back().Header("Authorization").starts_with("Negotiate "));
  EXPECT_EQ(status, 401);
  EXPECT_EQ(Get(bound.Client("anna", ""), bound.Url)->GetText(), "anna@VELMORE.TEST") << "with the same ticket, bound";
  FRealm->LogOff();
}

class Ntlm : public testing::Test {
 protected:
  void SetUp() override {
    if (!VqHasGssNtlm()) GTEST_SKIP() << "not on this machine: NTLM for GSSAPI (package gss-ntlmssp)";
  }
  TestFolder FFolder;
  TestEnvironment FUsers{{{"NTLM_USER_FILE", FFolder.Write("users", "CONTOSO:anna:geheim\nCONTOSO:bert:anders\n")}}};
};

TEST_F(Ntlm, IsSpokenToTheEndAndOneHandshakePerConnection) {
  ScriptedServer server;
  NtlmAcceptor ntlm(server, "");
  const auto client = As("CONTOSO\\anna", "geheim");
  for (int i = 0; i < 5; ++i) EXPECT_EQ(Post(client, server.Url(), "x")->GetText(), "CONTOSO\\anna");
  EXPECT_EQ(ntlm.Handshakes, 1);
  EXPECT_EQ(server.Connections(), 1);
}

TEST_F(Ntlm, OtherCredentialsDoNotGoOnAsTheFormerUser) {
  ScriptedServer server;
  NtlmAcceptor ntlm(server, "");
  const auto client = As("CONTOSO\\anna", "geheim");
  EXPECT_EQ(Post(client, server.Url(), "x")->GetText(), "CONTOSO\\anna");
  client->GetCredentials().SetUserName("CONTOSO\\bert");
  EXPECT_EQ(Post(client, server.Url(), "x")->GetStatus().Code, 401) << "with a wrong password";
  client->GetCredentials().SetPassword("anders");
  EXPECT_EQ(Post(client, server.Url(), "x")->GetText(), "CONTOSO\\bert");
  EXPECT_EQ(ntlm.Handshakes, 2);
}

TEST_F(Ntlm, IsBoundToTheServersCertificate) {
  Bound bound;
  NtlmAcceptor ntlm(bound.Server, bound.EndPoint);
  const auto client = bound.Client("CONTOSO\\anna", "geheim");
  for (int i = 0; i < 3; ++i) EXPECT_EQ(Post(client, bound.Url, "x")->GetText(), "CONTOSO\\anna");
  EXPECT_EQ(ntlm.Handshakes, 1);
}

TEST_F(Ntlm, WhoIsBoundElsewhereIsRefused) {
  Bound bound;
  NtlmAcceptor ntlm(bound.Server, EndPointOf(TestAuthority("Somebody between").Certificate()));
  EXPECT_EQ(Post(bound.Client("CONTOSO\\anna", "geheim"), bound.Url, "x")->GetStatus().Code, 401);
  EXPECT_EQ(ntlm.Handshakes, 0);
}

TEST_F(Ntlm, ApachesModuleTakesTheMessagesAsTheyAre) {
  if (const auto missing = TestApache::Missing(); !missing.empty()) GTEST_SKIP() << "not on this machine: " << missing;
  TestApache::Settings settings;
  settings.Modules = {"auth_gssapi"};
  settings.Root =
      "AuthType GSSAPI\nAuthName \"Mail\"\nRequire valid-user\nGssapiAllowedMech ntlmssp\nGssapiConnectionBound On\n"
      "GssapiSignalPersistentAuth On\n";
  settings.Environment = {{"NTLM_USER_FILE", FFolder.PathOf("users")}};
  const TestApache apache(settings);
  const auto client = As("CONTOSO\\anna", "geheim");
  for (int i = 0; i < 3; ++i) EXPECT_NE(Get(client, apache.Url("/x"))->GetStatus().Code, 401);
  const auto log = apache.LogOfAnswers(3);
  ASSERT_GE(log.size(), 3U);
  EXPECT_EQ(log.back().User, "CONTOSO\\\\anna") << "the log doubles the backslash";
  EXPECT_EQ(Get(As("CONTOSO\\anna", "falsch"), apache.Url("/x"))->GetStatus().Code, 401);
}

// ---- A ticket server that is silent

namespace {

// Takes what comes and never answers.
class SilentKdc {
 public:
  SilentKdc() {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    FTcp = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    bind(FTcp, reinterpret_cast<sockaddr*>(&address), sizeof address);
    listen(FTcp, 8);
    getsockname(FTcp, reinterpret_cast<sockaddr*>(&address), &size);
    FUdp = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    bind(FUdp, reinterpret_cast<sockaddr*>(&address), sizeof address);
    FFile = FFolder.Write("krb5.conf",
                          "[libdefaults]\n default_realm = VELMORE.TEST\n dns_lookup_kdc = false\n"
                          " dns_lookup_realm = false\n dns_canonicalize_hostname = false\n rdns = false\n[realms]\n"
                          " VELMORE.TEST = {\n  kdc = 127.0.0.1:" +
                              std::to_string(ntohs(address.sin_port)) + "\n }\n");
  }
  ~SilentKdc() {
    close(FTcp);
    close(FUdp);
  }
  SilentKdc(const SilentKdc&) = delete;
  SilentKdc& operator=(const SilentKdc&) = delete;
  // Until somebody asked.
  bool WasAsked() const {
    pollfd asked[] = {{FUdp, POLLIN, 0}, {FTcp, POLLIN, 0}};
    return poll(asked, 2, 10000) > 0;
  }
  std::vector<std::pair<std::string, std::string>> Environment() const {
    return {{"KRB5_CONFIG", FFile}, {"KRB5CCNAME", "FILE:" + FFolder.PathOf("none")}};
  }

 private:
  TestFolder FFolder;
  int FTcp = -1, FUdp = -1;
  std::string FFile;
};

std::int64_t MillisecondsOf(const std::function<void()>& job) {
  const auto before = std::chrono::steady_clock::now();
  job();
  return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - before).count();
}

}  // namespace

TEST(SilentTicketServer, CostsTheConnectLimitAndLeavesTheNextOffer) {
  const SilentKdc kdc;
  const TestEnvironment environment(kdc.Environment());
  ScriptedServer server;
  server.Always([](const ScriptedServer::Request& request) {
    return Plain(request.Header("Authorization").starts_with("Basic ")
                     ? ScriptedServer::Ok("in")
                     : Refusal("WWW-Authenticate: Negotiate\r\nWWW-Authenticate: Basic realm=\"x\"\r\n"));
  });
  const auto client = As("anna@VELMORE.TEST", "geheim");
  client->GetTimeOuts().SetConnect(200);
  string text;
  const auto time = MillisecondsOf([&] { text = Get(client, server.Url("/", "localhost"))->GetText(); });
  EXPECT_EQ(text, "in");
  EXPECT_GE(time, 200);
  EXPECT_LT(time, 1000);
}

TEST(SilentTicketServer, IsToldWhereThereIsNoOtherOffer) {
  const SilentKdc kdc;
  const TestEnvironment environment(kdc.Environment());
  ScriptedServer server;
  server.Always([](const auto&) { return Plain(Refusal("WWW-Authenticate: Negotiate\r\n")); });
  const auto client = As("anna@VELMORE.TEST", "geheim");
  client->GetTimeOuts().SetConnect(200);
  const auto response = Get(client, server.Url("/", "localhost"));
  EXPECT_EQ(response->GetStatus().Code, 401);
  EXPECT_EQ(response->GetAuthenticationHint(), "The Kerberos server did not answer.");
}

TEST(SilentTicketServer, DoesNotHoldUpACancelledRequest) {
  const SilentKdc kdc;
  const TestEnvironment environment(kdc.Environment());
  ScriptedServer server;
  server.Always([](const auto&) { return Plain(Refusal("WWW-Authenticate: Negotiate\r\n")); });
  const auto client = As("anna@VELMORE.TEST", "geheim");
  const auto session = client->GetSession();  // made here: the first look at a client makes it
  std::chrono::steady_clock::time_point cancelled;
  std::thread canceller([&] {
    EXPECT_TRUE(kdc.WasAsked());
    cancelled = std::chrono::steady_clock::now();
    session->Cancel();
  });
  EXPECT_EQ(NumberOf([&] { Get(client, server.Url("/", "localhost")); }), 6U);
  const auto ended = std::chrono::steady_clock::now();
  canceller.join();
  EXPECT_LT(ended - cancelled, std::chrono::milliseconds(100));
}
