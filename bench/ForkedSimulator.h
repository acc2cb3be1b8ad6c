#pragma once

// A simulator in a process of its own, so that memory that a benchmark counts is the library's alone.

#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>
#include <string>

#include "ews/VelmoreEWS.h"
#include "simulator/simulator.h"

namespace velmore {

/// A simulator in a process of its own, filled by `fill`, which gives a text for this process (an id).
class TForkedSimulator {
 public:
  template <typename TFill>
  explicit TForkedSimulator(TFill fill) {
    int up[2], down[2];
    if (pipe(up) != 0 || pipe(down) != 0) throw std::runtime_error("no pipe");
    FProcess = fork();
    if (FProcess == 0) {
      close(up[0]);
      close(down[1]);
      simulator::Options options;
      options.accept_departures = true;
      options.users = {{"alice", "alice@example.com", "Alice Arden", "wonder"}};
      options.keep_exchanges = 0;
      options.gzip = false;
      simulator::Simulator server(options);
      const std::string told = fill(server);
      server.Start();
      const std::string line = server.HttpUrl() + " " + told + "\n";
      if (write(up[1], line.data(), line.size()) < 0) _exit(1);
      char end;
      while (read(down[0], &end, 1) > 0) {
      }
      _exit(0);
    }
    close(up[1]);
    close(down[0]);
    FDown = down[1];
    std::string line;
    for (char c; read(up[0], &c, 1) == 1 && c != '\n';) line += c;
    close(up[0]);
    FUrl = line.substr(0, line.find(' '));
    FTold = line.substr(line.find(' ') + 1);
  }
  ~TForkedSimulator() {
    close(FDown);
    waitpid(FProcess, nullptr, 0);
  }
  void LogOn(TVqEWSServiceSession& session) const {
    session.SetServiceUrl(FUrl);
    session.GetCredentials().SetUserName("alice");
    session.GetCredentials().SetPassword("wonder");
    session.SetActive(true);
  }
  const std::string& Told() const { return FTold; }

 private:
  pid_t FProcess = 0;
  int FDown = -1;
  std::string FUrl, FTold;
};

}  // namespace velmore
