// velmore-ews-simulator: the server as a program.

#include <signal.h>

#include <CLI/CLI.hpp>
#include <cstdio>

#include "simulator/simulator.h"

int main(int argc, char** argv) {
  using namespace velmore::simulator;
  Options options;
  bool no_https = false;
  bool no_http = false;
  std::vector<std::string> users;

  CLI::App app("An in-memory Exchange Web Services server for demonstrations and tests.");
  app.add_option("--http", options.http_port, "Port for HTTP; 0 lets the system choose")->capture_default_str();
  app.add_option("--https", options.https_port, "Port for HTTPS; 0 lets the system choose")->capture_default_str();
  app.add_flag("--no-http", no_http, "Do not listen for HTTP");
  app.add_flag("--no-https", no_https, "Do not listen for HTTPS");
  app.add_option("--address", options.address, "Address to listen on")->capture_default_str();
  app.add_option("--seed", options.seed_directory, "Folder with users.json and a folder of .eml files per mailbox")
      ->check(CLI::ExistingDirectory);
  app.add_option("--users", users, "Users without a seed, each as name:address:password");
  app.add_option("--version", options.version, "Server version to play")
      ->check(CLI::IsMember(VersionNames()))
      ->capture_default_str();
  app.add_option("--record", options.record_directory, "Folder into which every exchange is written");
  app.add_flag(
      "--strict", [&](std::int64_t) { options.accept_departures = false; },
      "Refuse all that departs from the published schema");
  CLI11_PARSE(app, argc, argv);

  options.http = !no_http;
  options.https = !no_https;
  for (const std::string& text : users) {
    const std::size_t first = text.find(':');
    const std::size_t second = first == std::string::npos ? first : text.find(':', first + 1);
    if (second == std::string::npos) {
      std::fprintf(stderr, "--users takes name:address:password, not \"%s\".\n", text.c_str());
      return 2;
    }
    options.users.push_back({text.substr(0, first), text.substr(first + 1, second - first - 1), text.substr(0, first),
                             text.substr(second + 1)});
  }

  // The signals are taken here and nowhere else, so that the mailboxes go down in good order.
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  signal(SIGPIPE, SIG_IGN);
  try {
    Simulator simulator(options);
    simulator.Start();
    if (!simulator.HttpUrl().empty()) std::printf("HTTP   %s\n", simulator.HttpUrl().c_str());
    if (!simulator.HttpsUrl().empty()) {
      std::printf("HTTPS  %s\n", simulator.HttpsUrl().c_str());
      std::printf("CA     %s\n", simulator.CaCertificateFile().c_str());
    }
    std::printf("Ready. Stop with Ctrl+C.\n");
    std::fflush(stdout);
    int received = 0;
    sigwait(&signals, &received);
    simulator.Stop();
  } catch (const SimulatorError& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
  return 0;
}
