// Negotiate against a real ticket server, set up for the test in a folder of its own and gone with it. The web server's
// part is played by the system's GSSAPI library.

#include <arpa/inet.h>
#include <fcntl.h>
#include <gssapi/gssapi.h>
#include <gssapi/gssapi_ext.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <thread>

#include "HTTPTestSupport.h"
#include "platform/http/curl/uVqKerberos_p.h"

using namespace velmore;

namespace {

std::string Base64(std::string_view bytes) {
  static constexpr char Alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    unsigned value = 0;
    for (std::size_t k = 0; k < 3; ++k) {
      value = value << 8 | (i + k < bytes.size() ? static_cast<unsigned char>(bytes[i + k]) : 0U);
    }
    for (std::size_t k = 0; k < 4; ++k) {
      text += i + k > bytes.size() ? '=' : Alphabet[value >> (18 - 6 * k) & 63];
    }
  }
  return text;
}

std::string Unbase64(std::string_view base64) {
  static constexpr std::string_view Alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string bytes;
  unsigned value = 0;
  int bits = 0;
  for (const char c : base64) {
    const auto digit = Alphabet.find(c);
    if (digit == std::string_view::npos) break;
    value = value << 6 | static_cast<unsigned>(digit);
    bits += 6;
    if (bits < 8) continue;
    bits -= 8;
    bytes += static_cast<char>(value >> bits & 0xFF);
  }
  return bytes;
}

int FreePort() {
  const int probe = socket(AF_INET, SOCK_DGRAM, 0);
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  bind(probe, reinterpret_cast<sockaddr*>(&address), sizeof address);
  getsockname(probe, reinterpret_cast<sockaddr*>(&address), &size);
  close(probe);
  return ntohs(address.sin_port);
}

// A realm with anna (password "geheim"), bert ("anders") and the service HTTP/localhost.
class Realm {
 public:
  static bool Installed() { return access("/usr/sbin/krb5kdc", X_OK) == 0 && access("/usr/sbin/kdb5_util", X_OK) == 0; }

  Realm() {
    std::string pattern = (std::filesystem::temp_directory_path() / "velmore-realm-XXXXXX").string();
    FFolder = mkdtemp(pattern.data());
    const std::string port = std::to_string(FreePort());
    Write("krb5.conf",
          "[libdefaults]\n default_realm = VELMORE.TEST\n dns_lookup_kdc = false\n dns_lookup_realm = false\n"
          " dns_canonicalize_hostname = false\n rdns = false\n"
          "[realms]\n VELMORE.TEST = {\n  kdc = 127.0.0.1:" +
              port +
              "\n }\n"
              "[domain_realm]\n localhost = VELMORE.TEST\n");
    Write("kdc.conf", "[kdcdefaults]\n kdc_listen = 127.0.0.1:" + port + "\n kdc_tcp_listen = 127.0.0.1:" + port +
                          "\n"
                          "[realms]\n VELMORE.TEST = {\n  database_name = " +
                          FFolder + "/principal\n  key_stash_file = " + FFolder +
                          "/stash\n  max_life = 10h\n }\n[logging]\n kdc = FILE:" + FFolder + "/kdc.log\n");
    setenv("KRB5_CONFIG", (FFolder + "/krb5.conf").c_str(), 1);
    setenv("KRB5_KDC_PROFILE", (FFolder + "/kdc.conf").c_str(), 1);
    setenv("KRB5_KTNAME", ("FILE:" + FFolder + "/keytab").c_str(), 1);
    setenv("KRB5CCNAME", ("FILE:" + FFolder + "/tickets").c_str(), 1);
    setenv("KRB5RCACHENAME", "none:", 1);
    Run("/usr/sbin/kdb5_util create -s -r VELMORE.TEST -P master");
    Run("/usr/sbin/kadmin.local -q 'addprinc -pw geheim anna'");
    Run("/usr/sbin/kadmin.local -q 'addprinc -pw anders bert'");
    Run("/usr/sbin/kadmin.local -q 'addprinc -randkey HTTP/localhost'");
    Run("/usr/sbin/kadmin.local -q 'ktadd HTTP/localhost'");
    FServer = fork();
    if (FServer == 0) {
      const int log = open((FFolder + "/out.log").c_str(), O_WRONLY | O_CREAT, 0600);
      dup2(log, 1);
      dup2(log, 2);
      execl("/usr/sbin/krb5kdc", "krb5kdc", "-n", static_cast<char*>(nullptr));
      _exit(127);
    }
    // The log says when it listens.
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (std::chrono::steady_clock::now() < end) {
      std::ifstream log(FFolder + "/kdc.log");
      const std::string text((std::istreambuf_iterator<char>(log)), {});
      if (text.find("commencing operation") != std::string::npos) break;
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
  }
  ~Realm() {
    kill(FServer, SIGTERM);
    waitpid(FServer, nullptr, 0);
    for (const char* name : {"KRB5_CONFIG", "KRB5_KDC_PROFILE", "KRB5_KTNAME", "KRB5CCNAME", "KRB5RCACHENAME"})
      unsetenv(name);
    std::filesystem::remove_all(FFolder);
  }

  void LogOnAs(const std::string& user, const std::string& password) { Run("echo " + password + " | kinit " + user); }
  void LogOff() { Run("kdestroy"); }

 private:
  void Write(const char* name, const std::string& text) { std::ofstream(FFolder + "/" + name) << text; }
  void Run(const std::string& command) {
    EXPECT_EQ(std::system(("(" + command + ") >>" + FFolder + "/out.log 2>&1").c_str()), 0) << command;
  }

  std::string FFolder;
  pid_t FServer = -1;
};

// Accepts tickets and greets who came: "anna@VELMORE.TEST". Says that a handshake holds for the connection, as IIS does,
// or asks each request for one, as RFC 4559 has it.
class Kerberized {
 public:
  explicit Kerberized(ScriptedServer& server, std::string others = "") : FOthers(std::move(others)) {
    server.Always([this](const ScriptedServer::Request& request) {
      return ScriptedServer::Answer{Reply(request), 0, {}, {}, false, false, false, false};
    });
  }
  int Handshakes = 0;
  bool PerConnection = true;

 private:
  std::string Reply(const ScriptedServer::Request& request) {
    const std::string sent = request.Header("Authorization");
    if (!sent.starts_with("Negotiate ")) {
      if (const auto known = FKnown.find(request.Connection); known != FKnown.end())
        return ScriptedServer::Ok(known->second);
      return "HTTP/1.1 401 No\r\nWWW-Authenticate: Negotiate\r\n" + FOthers + "Content-Length: 0\r\n\r\n";
    }
    std::string token = Unbase64(std::string_view(sent).substr(10));
    gss_buffer_desc in = {token.size(), token.data()};
    gss_buffer_desc out = GSS_C_EMPTY_BUFFER;
    gss_ctx_id_t context = GSS_C_NO_CONTEXT;
    gss_name_t who = GSS_C_NO_NAME;
    OM_uint32 minor = 0;
    const OM_uint32 major =
        gss_accept_sec_context(&minor, &context, GSS_C_NO_CREDENTIAL, &in, GSS_C_NO_CHANNEL_BINDINGS, &who, nullptr,
                               &out, nullptr, nullptr, nullptr);
    std::string reply = "HTTP/1.1 401 No\r\nWWW-Authenticate: Negotiate\r\nContent-Length: 0\r\n\r\n";
    if (major == GSS_S_COMPLETE) {
      gss_buffer_desc name = GSS_C_EMPTY_BUFFER;
      gss_display_name(&minor, who, &name, nullptr);
      const std::string text(static_cast<const char*>(name.value), name.length);
      gss_release_buffer(&minor, &name);
      if (PerConnection) FKnown[request.Connection] = text;
      ++Handshakes;
      reply = ScriptedServer::Ok(text, "WWW-Authenticate: Negotiate " +
                                           Base64({static_cast<const char*>(out.value), out.length}) + "\r\n" +
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

TVqRef<IVqHTTPClient> As(const char* user, const char* password) {
  const auto client = NewClient();
  client->GetCredentials().SetUserName(user);
  client->GetCredentials().SetPassword(password);
  return client;
}

// One realm for all tests: setting it up takes most of a second.
class Kerberos : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    if (Realm::Installed()) FRealm = new Realm;
  }
  static void TearDownTestSuite() {
    delete FRealm;
    FRealm = nullptr;
  }
  void SetUp() override {
    if (!FRealm) GTEST_SKIP() << "no ticket server (package krb5-kdc) on this machine";
  }
  static Realm* FRealm;
};
Realm* Kerberos::FRealm = nullptr;

}  // namespace

TEST(KerberosNames, RealmFromDomainsWithADot) {
  EXPECT_EQ(VqKerberosPrincipal("anna"), "anna");
  EXPECT_EQ(VqKerberosPrincipal("CONTOSO\\anna"), "anna");
  EXPECT_EQ(VqKerberosPrincipal("contoso.example\\anna"), "anna@CONTOSO.EXAMPLE");
  EXPECT_EQ(VqKerberosPrincipal("anna@contoso.example"), "anna@CONTOSO.EXAMPLE");
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

TEST_F(Kerberos, AWrongPasswordLeavesTheNextOffer) {
  ScriptedServer server;
  Kerberized negotiate(server, "WWW-Authenticate: Basic realm=\"x\"\r\n");
  const auto response = Get(As("anna", "falsch"), server.Url("/", "localhost"));
  EXPECT_EQ(response->GetStatus().Code, 401);
  EXPECT_EQ(response->GetTriedScheme(), "Basic");
  EXPECT_EQ(response->GetOfferedSchemes(), (std::vector<string>{"Negotiate", "Basic"}));
}
