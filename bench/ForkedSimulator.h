#pragma once

// A simulator in a process of its own, so that memory that a benchmark counts is the library's alone.

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
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
      for (std::size_t sent = 0; sent < line.size();) {
        const ssize_t size = write(up[1], line.data() + sent, line.size() - sent);
        if (size < 0) _exit(1);
        sent += static_cast<std::size_t>(size);
      }
      char end;
      while (read(down[0], &end, 1) > 0) {
      }
      _exit(0);
    }
    close(up[1]);
    close(down[0]);
    FDown = down[1];
    std::string line;
    char piece[65536];
    for (ssize_t size; (line.empty() || line.back() != '\n') && (size = read(up[0], piece, sizeof piece)) > 0;)
      line.append(piece, static_cast<std::size_t>(size));
    line.erase(std::min(line.find('\n'), line.size()));
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
  const std::string& Url() const { return FUrl; }
  const std::string& Told() const { return FTold; }

 private:
  pid_t FProcess = 0;
  int FDown = -1;
  std::string FUrl, FTold;
};

}  // namespace velmore
