// velmore-ews-simulator: the server as a program.

#include <signal.h>
#include <sys/resource.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <fstream>

#include "simulator/simulator.h"

namespace {

using namespace velmore::simulator;

/// "text, text, ..." broken into lines that a terminal shows whole.
void PrintWrapped(const std::string& text, const char* indent) {
  constexpr std::size_t kWidth = 110;
  std::string line;
  std::size_t at = 0;
  while (at < text.size()) {
    const std::size_t end = std::min(text.find(' ', at), text.size());
    if (!line.empty() && line.size() + end - at >= kWidth) {
      std::printf("%s%s\n", indent, line.c_str());
      line.assign("  ");
    } else if (!line.empty()) {
      line += ' ';
    }
    line.append(text, at, end - at);
    at = end + 1;
  }
  std::printf("%s%s\n", indent, line.c_str());
}

void PrintVersions() {
  std::printf("Server versions that --version plays, oldest first, each with what it lacks of the newest:\n");
  for (const std::string& version : VersionNames()) {
    const std::string gaps = VersionGaps(version);
    std::printf("\n%s%s\n", version.c_str(), gaps.empty() ? ": lacks nothing" : "");
    std::size_t at = 0;
    while (at < gaps.size()) {
      const std::size_t end = gaps.find('\n', at);
      PrintWrapped(gaps.substr(at, end - at), "  ");
      at = end + 1;
    }
  }
}

/// For clients elsewhere, who do not see what the server keeps in its own folder for temporary files.
void WriteCertificate(const std::string& path, const std::string& pem) {
  std::ofstream out(path, std::ios::trunc);
  out << pem;
  out.close();
  if (!out) throw OptionError("Cannot write " + path + ".");
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  bool no_https = false;
  bool no_http = false;
  bool list_versions = false;
  std::vector<std::string> users;
  std::string check;
  std::string ca_file;

  CLI::App app("An in-memory Exchange Web Services server for demonstrations and tests.");
  app.add_option("--http", options.http_port, "Port for HTTP; 0 lets the system choose")->capture_default_str();
  app.add_option("--https", options.https_port, "Port for HTTPS; 0 lets the system choose")->capture_default_str();
  app.add_flag("--no-http", no_http, "Do not listen for HTTP");
  app.add_flag("--no-https", no_https, "Do not listen for HTTPS");
  app.add_option("--ca", ca_file, "File to write the certificate into that clients over HTTPS are to trust")
      ->excludes("--no-https");
  app.add_option("--address", options.address, "Address to listen on")->capture_default_str();
  app.add_option("--seed", options.seed_directory, "Folder with users.json and a folder of .eml files per mailbox")
      ->check(CLI::ExistingDirectory);
  app.add_option("--settings", options.settings_file,
                 "File with an organisation: users, rooms, lists, rights, quotas (JSON)")
      ->check(CLI::ExistingFile);
  app.add_option("--check", check, "Tell whether a settings file is in order, or what is wrong and where, and end");
  app.add_option("--users", users, "Users without a seed, each as name:address:password");
  app.add_option("--authentication", options.authentication,
                 "Schemes offered, in this order: Basic, NTLM, Negotiate, Bearer")
      ->capture_default_str();
  app.add_option("--keytab", options.keytab_file, "Keys of the service HTTP/..., for Negotiate by Kerberos");
  app.add_option("--ntlm-users", options.ntlm_file,
                 "Passwords for NTLM, DOMAIN:name:password in a line; without it those of the users");
  app.add_flag("--require-binding", options.require_channel_binding,
               "Over TLS, refuse Negotiate and NTLM without a binding to the certificate");
  app.add_option("--domain", options.domains,
                 "Mail domains besides those of the users, for Autodiscover and for mail that bounces");
  app.add_option("--external-url", options.external_url, "What Autodiscover tells as the address of the service");
  app.add_option("--page-host", options.page_hosts, "Names under which a browser may ask for the page at /");
  app.add_option("--version", options.version, "Server version to play; --versions tells what each lacks")
      ->check(CLI::IsMember(VersionNames()))
      ->capture_default_str();
  app.add_flag("--versions", list_versions, "List the server versions with what each lacks, and end");
  app.add_option("--state", options.state_file,
                 "File that keeps the mailboxes (and passwords) over a restart; written after changes");
  app.add_option("--script", options.script_file, "File with failures to be played (JSON)");
  app.add_option("--schema", options.schema_directory,
                 "Folder with messages.xsd and types.xsd: refuse requests that do not validate");
  app.add_option("--record", options.record_directory, "Folder into which every exchange is written");
  app.add_option("--chunks", options.chunk_bytes, "Write replies in chunks of so many bytes");
  app.add_flag(
      "--accept-departures", [&](std::int64_t) { options.accept_departures = true; },
      "Accept the departures from the published schema that the library's default forms make");
  app.add_flag(
      "--strict", [&](std::int64_t) { options.accept_departures = false; },
      "Refuse all that departs from the published schema, by the simulator's own rules");
  app.add_flag(
      "--no-page", [&](std::int64_t) { options.browser_page = false; }, "Do not show mailboxes and exchanges at /");
  app.footer(
      "Ends with 0 after SIGINT or SIGTERM, with 1 when the server fails, with 2 when an option or a file is wrong.");
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : 2;
  }
  if (list_versions) {
    PrintVersions();
    return 0;
  }

  options.http = !no_http;
  options.https = !no_https;
  if (!check.empty()) {
    options.settings_file = check;
    // Nothing but the file is looked at: neither mailboxes that are kept nor what else was told.
    options.state_file.clear();
  }
  for (const std::string& text : users) {
    const std::size_t first = text.find(':');
    const std::size_t second = first == std::string::npos ? first : text.find(':', first + 1);
    if (second == std::string::npos) {
      // Not the whole text: its end may be a password.
      std::fprintf(stderr, "--users takes name:address:password, not \"%s\".\n", text.substr(0, first).c_str());
      return 2;
    }
    options.users.push_back({text.substr(0, first), text.substr(first + 1, second - first - 1), text.substr(0, first),
                             text.substr(second + 1)});
  }

  // As many connections as the machine allows; what it gives at first is for programs that have a few.
  rlimit descriptors{};
  if (::getrlimit(RLIMIT_NOFILE, &descriptors) == 0) {
    descriptors.rlim_cur = descriptors.rlim_max;
    ::setrlimit(RLIMIT_NOFILE, &descriptors);
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
    if (!check.empty()) {
      std::printf("%s is in order.\n", check.c_str());
      return 0;
    }
    simulator.Start();
    if (!simulator.HttpUrl().empty()) std::printf("HTTP   %s\n", simulator.HttpUrl().c_str());
    if (!simulator.HttpsUrl().empty()) {
      std::printf("HTTPS  %s\n", simulator.HttpsUrl().c_str());
      if (!ca_file.empty()) WriteCertificate(ca_file, simulator.CaCertificate());
      std::printf("CA     %s\n", (ca_file.empty() ? simulator.CaCertificateFile() : ca_file).c_str());
    }
    std::printf("Ready. Stop with Ctrl+C.\n");
    std::fflush(stdout);
    int received = 0;
    sigwait(&signals, &received);
    simulator.Stop();
  } catch (const OptionError& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 2;
  } catch (const SimulatorError& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
  return 0;
}
