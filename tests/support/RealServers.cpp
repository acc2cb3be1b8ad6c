#include "tests/support/RealServers.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <thread>

#include "tests/support/LocalPort.h"

namespace {

using namespace std::chrono_literals;

constexpr const char* kApacheProgram = "/usr/sbin/apache2";
constexpr const char* kApacheModules = "/usr/lib/apache2/modules/";

/// Looks until `condition` holds; false when the time is over.
template <typename TCondition>
bool WaitFor(TCondition condition, std::chrono::milliseconds limit = 10s) {
  const auto end = std::chrono::steady_clock::now() + limit;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(5ms);
  }
  return true;
}

// A port that is free for TCP and UDP now. Somebody else may take it before the server does, so starting is tried
// again.
std::uint16_t FreePort() {
  sockaddr_in address = LocalAddress();
  socklen_t size = sizeof address;
  const int probe = socket(AF_INET, SOCK_STREAM, 0);
  bind(probe, reinterpret_cast<sockaddr*>(&address), sizeof address);
  getsockname(probe, reinterpret_cast<sockaddr*>(&address), &size);
  close(probe);
  return ntohs(address.sin_port);
}

// Starts a program with its output in a file. What it is to know of the environment comes on top of ours.
pid_t Spawn(const std::vector<std::string>& command,
            const std::vector<std::pair<std::string, std::string>>& environment, const std::string& output) {
  // Everything that takes memory is done before the fork: other threads may hold the heap's lock.
  std::vector<std::string> texts;
  for (char** entry = environ; *entry; ++entry) texts.emplace_back(*entry);
  for (const auto& [name, value] : environment) {
    std::erase_if(texts, [&](const std::string& text) { return text.starts_with(name + "="); });
    texts.push_back(name + "=" + value);
  }
  std::vector<char*> variables, arguments;
  for (const std::string& text : texts) variables.push_back(const_cast<char*>(text.c_str()));
  for (const std::string& text : command) arguments.push_back(const_cast<char*>(text.c_str()));
  variables.push_back(nullptr);
  arguments.push_back(nullptr);
  const int log = open(output.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
  const pid_t child = fork();
  if (child == 0) {
    setpgid(0, 0);
    prctl(PR_SET_PDEATHSIG, SIGTERM);  // a test that is killed leaves no server behind
    dup2(log, 1);
    dup2(log, 2);
    execve(arguments[0], arguments.data(), variables.data());
    _exit(127);
  }
  close(log);
  return child;
}

bool Ended(pid_t& child) {
  if (child < 0 || waitpid(child, nullptr, WNOHANG) != child) return child < 0;
  child = -1;
  return true;
}

void End(pid_t& child) {
  if (child < 0) return;
  kill(child, SIGTERM);
  // Apache waits for a process with an open tunnel; there is nothing to wait for.
  if (!WaitFor([&] { return Ended(child); }, 1s)) {
    kill(-child, SIGKILL);
    waitpid(child, nullptr, 0);
  }
  child = -1;
}

int Occurrences(const std::string& text, const std::string& wanted) {
  int count = 0;
  for (auto at = text.find(wanted); at != std::string::npos; at = text.find(wanted, at + wanted.size())) ++count;
  return count;
}

}  // namespace

TestFolder::TestFolder() {
  std::string pattern = (std::filesystem::temp_directory_path() / "velmore-server-XXXXXX").string();
  if (!mkdtemp(pattern.data())) throw std::runtime_error("no folder for a test: " + pattern);
  FPath = pattern;
  // A server that was started by root reads its files as somebody else.
  chmod(FPath.c_str(), 0755);
}

TestFolder::~TestFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(FPath, ignored);
}

std::string TestFolder::Write(const std::string& name, const std::string& text) const {
  std::ofstream(PathOf(name)) << text;
  chmod(PathOf(name).c_str(), 0644);
  return PathOf(name);
}

std::string TestFolder::Read(const std::string& name) const {
  std::ifstream file(PathOf(name));
  return {std::istreambuf_iterator<char>(file), {}};
}

TestEnvironment::TestEnvironment(const std::vector<std::pair<std::string, std::string>>& variables) {
  for (const auto& [name, value] : variables) {
    if (const char* const before = std::getenv(name.c_str())) {
      FBefore.emplace_back(name, before);
    } else {
      FUnset.push_back(name);
    }
    setenv(name.c_str(), value.c_str(), 1);
  }
}

TestEnvironment::~TestEnvironment() {
  for (const auto& [name, value] : FBefore) setenv(name.c_str(), value.c_str(), 1);
  for (const std::string& name : FUnset) unsetenv(name.c_str());
}

std::string TestRealm::Missing() {
  for (const char* program : {"/usr/sbin/krb5kdc", "/usr/sbin/kdb5_util", "/usr/sbin/kadmin.local"}) {
    if (access(program, X_OK) != 0) return std::string(program) + " (packages krb5-kdc and krb5-admin-server)";
  }
  if (access("/usr/bin/kinit", X_OK) != 0) return "/usr/bin/kinit (package krb5-user)";
  return {};
}

TestRealm::TestRealm() {
  for (int attempt = 0; attempt < 3; ++attempt) {
    const std::string address = "127.0.0.1:" + std::to_string(FreePort());
    FFolder.Write("krb5.conf",
                  "[libdefaults]\n default_realm = VELMORE.TEST\n dns_lookup_kdc = false\n dns_lookup_realm = false\n"
                  " dns_canonicalize_hostname = false\n rdns = false\n"
                  "[realms]\n VELMORE.TEST = {\n  kdc = " +
                      address + "\n }\n[domain_realm]\n localhost = VELMORE.TEST\n");
    FFolder.Write("kdc.conf", "[kdcdefaults]\n kdc_listen = " + address + "\n kdc_tcp_listen = " + address +
                                  "\n[realms]\n VELMORE.TEST = {\n  database_name = " + FFolder.PathOf("principal") +
                                  "\n  key_stash_file = " + FFolder.PathOf("stash") +
                                  "\n  max_life = 10h\n }\n[logging]\n kdc = FILE:" + FFolder.PathOf("kdc.log") + "\n");
    if (attempt == 0) {
      Run("/usr/sbin/kdb5_util create -s -r VELMORE.TEST -P master");
      Run("/usr/sbin/kadmin.local -q 'addprinc -randkey HTTP/localhost'");
      Run("/usr/sbin/kadmin.local -q 'ktadd -k " + KeyTab() + " HTTP/localhost'");
      chmod(KeyTab().c_str(), 0644);
    }
    FServer = Spawn({"/usr/sbin/krb5kdc", "-n"},
                    {{"KRB5_CONFIG", ConfigFile()}, {"KRB5_KDC_PROFILE", FFolder.PathOf("kdc.conf")}},
                    FFolder.PathOf("out.log"));
    WaitFor(
        [&] { return Ended(FServer) || FFolder.Read("kdc.log").find("commencing operation") != std::string::npos; });
    if (FServer >= 0) return;
  }
  throw std::runtime_error("the ticket server does not start: " + FFolder.Read("out.log") + FFolder.Read("kdc.log"));
}

TestRealm::~TestRealm() {
  End(FServer);
}

void TestRealm::AddUser(const std::string& name, const std::string& password, const std::string& options) {
  Run("/usr/sbin/kadmin.local -q 'addprinc " + options + " -pw " + password + " " + name + "'");
}

void TestRealm::LogOnAs(const std::string& name, const std::string& password) {
  Run("echo " + password + " | kinit -c FILE:" + FFolder.PathOf("tickets") + " " + name);
}

void TestRealm::LogOff() {
  Run("kdestroy -c FILE:" + FFolder.PathOf("tickets"));
}

std::vector<std::pair<std::string, std::string>> TestRealm::ClientEnvironment() const {
  return {{"KRB5_CONFIG", ConfigFile()}, {"KRB5CCNAME", "FILE:" + FFolder.PathOf("tickets")}};
}

std::vector<std::pair<std::string, std::string>> TestRealm::NoRealm(const TestFolder& folder) {
  const std::string file = folder.Write(
      "norealm.conf",
      "[libdefaults]\n default_realm = NOWHERE.INVALID\n dns_lookup_kdc = false\n dns_lookup_realm = false\n"
      " dns_canonicalize_hostname = false\n rdns = false\n");
  return {{"KRB5_CONFIG", file}, {"KRB5CCNAME", "FILE:" + folder.PathOf("tickets")}};
}

int TestRealm::TicketsIssued() const {
  return Occurrences(FFolder.Read("kdc.log"), " ISSUE: ");
}

int TestRealm::PasswordsRefused() const {
  return Occurrences(FFolder.Read("kdc.log"), " PREAUTH_FAILED: ");
}

void TestRealm::Run(const std::string& command) const {
  const std::string whole = "(export KRB5_CONFIG=" + ConfigFile() + " KRB5_KDC_PROFILE=" + FFolder.PathOf("kdc.conf") +
                            "; " + command + ") >>" + FFolder.PathOf("out.log") + " 2>&1";
  if (std::system(whole.c_str()) != 0) throw std::runtime_error(command + ": " + FFolder.Read("out.log"));
}

std::string TestApache::Missing() {
  if (access(kApacheProgram, X_OK) != 0) return std::string(kApacheProgram) + " (package apache2-bin)";
  if (access((std::string(kApacheModules) + "mod_auth_gssapi.so").c_str(), R_OK) != 0) {
    return "mod_auth_gssapi.so (package libapache2-mod-auth-gssapi)";
  }
  return {};
}

TestApache::TestApache(const Settings& settings) : FSettings(settings) {
  // The machine may be busy with many tests: another one may take the port before the server has it.
  for (int attempt = 0; attempt < 3; ++attempt) {
    if (Start()) return;
  }
  throw std::runtime_error("Apache does not start: " + FFolder.Read("out.log") + ErrorLog());
}

TestApache::~TestApache() {
  End(FServer);
}

bool TestApache::Start() {
  FPort = FreePort();
  std::ostringstream config;
  config << "ServerRoot " << FFolder.Path() << "\nDefaultRuntimeDir " << FFolder.Path() << "\nPidFile "
         << FFolder.PathOf("pid") << "\nErrorLog " << FFolder.PathOf("error.log") << "\nListen 127.0.0.1:" << FPort
         << "\nServerName localhost\nServerSignature Off\n";
  std::vector<std::string> modules = {"mpm_event", "authn_core", "authn_file", "authz_core", "authz_user", "auth_basic",
                                      "headers",   "setenvif",   "env",        "proxy",      "proxy_http"};
  modules.insert(modules.end(), FSettings.Modules.begin(), FSettings.Modules.end());
  if (!FSettings.Certificate.empty()) modules.emplace_back("ssl");
  for (const std::string& module : modules) {
    config << "LoadModule " << module << "_module " << kApacheModules << "mod_" << module << ".so\n";
  }
  if (getuid() == 0) config << "User www-data\nGroup www-data\n";
  // Room for the processes of old beside the new ones when it restarts.
  config << "StartServers 1\nServerLimit 4\nThreadsPerChild 8\nMaxRequestWorkers 32\nMinSpareThreads 1\n"
            "MaxSpareThreads 32\nKeepAlive On\nMaxKeepAliveRequests 0\nKeepAliveTimeout 60\nTimeout 20\n"
            "SetEnvIf Authorization \"^(\\w+)\" VELMORE_SCHEME=$1\n"
            "SetEnvIf Proxy-Authorization \"^(\\w+)\" VELMORE_SCHEME=$1\n"
            "LogFormat \"%{remote}p\\t%>s\\t%u\\t%{VELMORE_SCHEME}e\\t%{GSS_MECH}e\\t%r\" tests\n"
         << "CustomLog " << FFolder.PathOf("access.log") << " tests\n";
  if (!FSettings.Certificate.empty()) {
    FFolder.Write("server.crt", FSettings.Certificate);
    FFolder.Write("server.key", FSettings.Key);
    config << "SSLEngine On\nSSLCertificateFile " << FFolder.PathOf("server.crt") << "\nSSLCertificateKeyFile "
           << FFolder.PathOf("server.key") << "\nSSLSessionCache none\n";
  }
  config << FSettings.Server << "\n<Location \"/\">\n" << FSettings.Root << "\n</Location>\n";
  FFolder.Write("apache.conf", config.str());
  FServer = Spawn({kApacheProgram, "-d", FFolder.Path(), "-f", FFolder.PathOf("apache.conf"), "-D", "FOREGROUND"},
                  FSettings.Environment, FFolder.PathOf("out.log"));
  WaitFor([&] { return Ended(FServer) || ErrorLog().find("resuming normal operations") != std::string::npos; });
  return FServer >= 0 && TakesConnections(FPort);
}

std::string TestApache::Url(const std::string& path) const {
  return (FSettings.Certificate.empty() ? "http" : "https") + ("://localhost:" + std::to_string(FPort)) + path;
}

std::vector<TestApache::Request> TestApache::ReadLog() const {
  std::vector<Request> requests;
  std::istringstream log(FFolder.Read("access.log"));
  for (std::string line; std::getline(log, line);) {
    std::istringstream fields(line);
    std::string port, status;
    Request one;
    std::getline(fields, port, '\t');
    std::getline(fields, status, '\t');
    std::getline(fields, one.User, '\t');
    std::getline(fields, one.Scheme, '\t');
    std::getline(fields, one.Mechanism, '\t');
    std::getline(fields, one.Line);
    if (one.Line.empty() || one.Line == "-") continue;  // half written, or a connection that asked nothing
    one.Connection = std::stoi(port);
    one.Status = std::stoi(status);
    requests.push_back(one);
  }
  return requests;
}

std::vector<TestApache::Request> TestApache::Log(std::size_t atLeast) const {
  std::vector<Request> requests;
  WaitFor([&] {
    requests = ReadLog();
    return requests.size() >= atLeast;
  });
  return requests;
}

std::vector<TestApache::Request> TestApache::LogOfAnswers(std::size_t answered) const {
  const auto refused = [](const Request& one) { return one.Status == 401 || one.Status == 407; };
  std::vector<Request> requests;
  WaitFor([&] {
    requests = ReadLog();
    const auto refusals = std::count_if(requests.begin(), requests.end(), refused);
    return requests.size() - static_cast<std::size_t>(refusals) >= answered;
  });
  return requests;
}

int TestApache::EstablishedConnections() const {
  // Columns: number, local address, remote address, state; "01" is an established connection.
  std::ifstream table("/proc/net/tcp");
  char wanted[16];
  std::snprintf(wanted, sizeof wanted, "0100007F:%04X", static_cast<unsigned>(FPort));
  int count = 0;
  for (std::string line; std::getline(table, line);) {
    std::istringstream fields(line);
    std::string number, local, remote, state;
    fields >> number >> local >> remote >> state;
    if (local == wanted && state == "01") ++count;
  }
  return count;
}

void TestApache::RestartGracefully() {
  const int before = Occurrences(ErrorLog(), "resuming normal operations");
  kill(FServer, SIGUSR1);
  const bool done = WaitFor(
      [&] { return Occurrences(ErrorLog(), "resuming normal operations") > before && EstablishedConnections() == 0; });
  if (!done) throw std::runtime_error("Apache did not restart: " + ErrorLog());
}
