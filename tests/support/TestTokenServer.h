#pragma once

// A token server of other makers, run for one test on a port of 127.0.0.1: token_server.py beside this file, on Authlib
// and Flask (Debian: python3-authlib, python3-flask). And a browser of other makers that goes where it is sent.
//
// Knows nothing of the library, like ScriptedServer.

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/support/LocalPort.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/TestDnsServer.h"  // a port that is free

/// A program in a process of its own, its output in a file; killed with its object.
class QuietProgram {
 public:
  QuietProgram(std::vector<std::string> command, const std::string& output) {
    std::vector<char*> arguments;
    for (std::string& word : command) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    FPid = ::fork();
    if (FPid < 0) throw std::runtime_error("no process for a test");
    if (FPid > 0) return;
    ::setpgid(0, 0);
    const int file = ::open(output.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    const int nowhere = ::open("/dev/null", O_RDONLY);
    ::dup2(nowhere, 0);
    ::dup2(file, 1);
    ::dup2(file, 2);
    ::execv(arguments[0], arguments.data());
    ::_exit(127);
  }
  ~QuietProgram() {
    if (FPid <= 0) return;
    ::kill(-FPid, SIGKILL);
    ::kill(FPid, SIGKILL);
    ::waitpid(FPid, nullptr, 0);
  }
  QuietProgram(const QuietProgram&) = delete;
  QuietProgram& operator=(const QuietProgram&) = delete;

  bool Ended() const { return ::waitpid(FPid, nullptr, WNOHANG) != 0; }

 private:
  pid_t FPid;
};

class TestTokenServer {
 public:
  /// What is missing on this machine, with the packages' names; empty when nothing is.
  static std::string Missing() {
    static const bool there = std::system("/usr/bin/python3 -c 'import authlib, flask' >/dev/null 2>&1") == 0;
    return there ? "" : "Authlib or Flask (Debian: python3-authlib, python3-flask)";
  }

  /// `script` is the path of token_server.py.
  explicit TestTokenServer(const std::string& script) {
    for (int attempt = 0; attempt < 10; ++attempt) {
      FPort = SilentPort().Port();  // free a moment ago
      FServer = std::make_unique<QuietProgram>(
          std::vector<std::string>{"/usr/bin/python3", script, std::to_string(FPort), FFolder.Path()},
          FFolder.Path("output"));
      if (Answers()) return;
    }
    throw std::runtime_error("the token server does not start: " + TemporaryFolder::Read(FFolder.Path("output")));
  }

  std::string Url(const std::string& path) const { return "http://127.0.0.1:" + std::to_string(FPort) + path; }
  /// How many seconds the tokens live that are made from now on.
  void SetLifetime(int seconds) const { TemporaryFolder::Write(FFolder.Path("lifetime"), std::to_string(seconds)); }
  /// Whether the login page types by itself, as a person would.
  void SetTyping() const { TemporaryFolder::Write(FFolder.Path("typing"), ""); }
  /// What was asked, and what became of it, in order.
  std::vector<std::string> Log() const {
    std::vector<std::string> lines;
    std::istringstream log(TemporaryFolder::Read(FFolder.Path("log")));
    for (std::string line; std::getline(log, line);) lines.push_back(line);
    return lines;
  }
  std::string PathOf(const std::string& name) const { return FFolder.Path(name); }

 private:
  bool Answers() const {
    return AwaitPort(FPort, std::chrono::seconds(60), [&] { return FServer->Ended(); });
  }

  TemporaryFolder FFolder;
  int FPort = 0;
  std::unique_ptr<QuietProgram> FServer;
};

/// Chromium without a window (Debian: chromium).
class TestBrowser {
 public:
  static std::string Path() {
    for (const char* path : {"/usr/bin/chromium", "/usr/bin/chromium-browser"}) {
      if (::access(path, X_OK) == 0) return path;
    }
    return {};
  }
  static std::string Missing() { return Path().empty() ? "a browser (Debian: chromium)" : ""; }

  /// Goes to the address, and where it is sent from there.
  explicit TestBrowser(const std::string& url)
      : FProgram({Path(), "--headless", "--no-sandbox", "--disable-gpu", "--disable-background-networking",
                  "--disable-component-update", "--disable-sync", "--no-first-run", "--no-proxy-server",
                  "--remote-debugging-port=0", "--user-data-dir=" + FProfile.Path("profile"), url},
                 FProfile.Path("output")) {}

 private:
  TemporaryFolder FProfile;
  QuietProgram FProgram;
};
