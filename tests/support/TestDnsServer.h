#pragma once

// dnsmasq (Debian: dnsmasq-base), run for one test on a port of 127.0.0.1, with records of the test's own. It asks
// nobody else: what it does not know it refuses, and below the domains that are given to it does not exist.
//
// Knows nothing of the library, like ScriptedServer.

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/support/LocalPort.h"
#include "tests/support/TemporaryFolder.h"

/// A UDP port of 127.0.0.1 that answers nothing by itself.
class SilentPort {
 public:
  SilentPort() {
    FSocket = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = LocalAddress();
    socklen_t size = sizeof address;
    if (::bind(FSocket, reinterpret_cast<sockaddr*>(&address), size) != 0 ||
        ::getsockname(FSocket, reinterpret_cast<sockaddr*>(&address), &size) != 0)
      throw std::runtime_error("no port for a test");
    FPort = ntohs(address.sin_port);
  }
  ~SilentPort() { ::close(FSocket); }
  SilentPort(const SilentPort&) = delete;
  SilentPort& operator=(const SilentPort&) = delete;

  int Socket() const { return FSocket; }
  int Port() const { return FPort; }
  std::string Address() const { return "127.0.0.1:" + std::to_string(FPort); }

 private:
  int FSocket;
  int FPort = 0;
};

class TestDnsServer {
 public:
  /// `options` are those of dnsmasq's command line: "--srv-host=_autodiscover._tcp.contoso.test,mail.contoso.test,443",
  /// "--local=/contoso.test/".
  explicit TestDnsServer(const std::vector<std::string>& options) {
    for (int attempt = 0; attempt < 10; ++attempt) {
      FPort = SilentPort().Port();  // free a moment ago, which is all that the program lets us know
      Start(options);
      if (Answers()) return;
      Stop();
    }
    throw std::runtime_error("dnsmasq does not start: " + Log());
  }
  ~TestDnsServer() { Stop(); }
  TestDnsServer(const TestDnsServer&) = delete;
  TestDnsServer& operator=(const TestDnsServer&) = delete;

  /// What is missing on this machine, with the package's name; empty when nothing is.
  static std::string Missing() {
    for (const char* path : {"/usr/sbin/dnsmasq", "/sbin/dnsmasq"}) {
      if (::access(path, X_OK) == 0) return {};
    }
    return "dnsmasq (Debian: dnsmasq-base)";
  }

  int Port() const { return FPort; }
  std::string Address() const { return "127.0.0.1:" + std::to_string(FPort); }
  /// The questions so far, in order: "SRV _autodiscover._tcp.contoso.test".
  std::vector<std::string> Questions() const {
    std::vector<std::string> questions;
    std::istringstream log(Log());
    for (std::string line; std::getline(log, line);) {
      const std::size_t type = line.find(": query[");
      const std::size_t name = line.find("] ", type);
      const std::size_t end = line.find(" from ", name);
      if (type == std::string::npos || name == std::string::npos || end == std::string::npos) continue;
      questions.push_back(line.substr(type + 8, name - type - 8) + line.substr(name + 1, end - name - 1));
    }
    return questions;
  }
  std::string Log() const { return TemporaryFolder::Read(FFolder.Path("log")); }

 private:
  void Start(const std::vector<std::string>& options) {
    std::vector<std::string> command = {"dnsmasq",
                                        "--keep-in-foreground",
                                        "--conf-file=/dev/null",
                                        "--port=" + std::to_string(FPort),
                                        "--listen-address=127.0.0.1",
                                        "--bind-interfaces",
                                        "--no-resolv",
                                        "--no-hosts",
                                        "--no-poll",
                                        "--pid-file=",
                                        "--log-queries",
                                        "--log-facility=" + FFolder.Path("log"),
                                        "--user="};
    command.insert(command.end(), options.begin(), options.end());
    std::vector<char*> arguments;
    for (std::string& word : command) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    FPid = ::fork();
    if (FPid < 0) throw std::runtime_error("no process for a test");
    if (FPid > 0) return;
    const int nowhere = ::open("/dev/null", O_RDWR);
    for (const int stream : {0, 1, 2}) ::dup2(nowhere, stream);
    for (const char* path : {"/usr/sbin/dnsmasq", "/sbin/dnsmasq"}) ::execv(path, arguments.data());
    ::_exit(127);
  }

  /// True as soon as it takes connections; false when it has ended.
  bool Answers() const {
    return AwaitPort(FPort, std::chrono::seconds(30), [&] { return ::waitpid(FPid, nullptr, WNOHANG) != 0; });
  }

  void Stop() {
    if (FPid <= 0) return;
    ::kill(FPid, SIGKILL);
    ::waitpid(FPid, nullptr, 0);
    FPid = -1;
  }

  TemporaryFolder FFolder;
  int FPort = 0;
  pid_t FPid = -1;
};
