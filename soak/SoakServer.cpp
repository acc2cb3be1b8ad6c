#include "SoakServer.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <optional>
#include <random>
#include <sstream>
#include <stdexcept>

#include "SoakFaults.h"

namespace soak {

using velmore::simulator::Certificate;
using velmore::simulator::Simulator;

namespace {

/// What the process of the server does: obeys words that come in, and keeps one fault waiting while it is rough.
class Host {
 public:
  Host(const std::string& version, unsigned seed, int in, std::FILE* out)
      : FIn(in), FOut(out), FRandom(seed), FSimulator(OptionsOf(version)) {
    FSimulator.Start();
    for (int user = 0; user < kUsers; ++user) Fill(user);
    std::fprintf(FOut, "%s\n%s\n%s\n", FSimulator.HttpUrl().c_str(), FSimulator.HttpsUrl().c_str(),
                 FSimulator.CaCertificateFile().c_str());
    std::fflush(FOut);
  }

  void Run() {
    for (std::string word; (word = NextWord()) != "stop";) {
      FRough = word == "rough";
      if (!FRough) FSimulator.ClearFaults();  // first, or one of them undoes what is put right
      if (!FRough) PutRight();
      std::fprintf(FOut, "%s\n", word.c_str());
      std::fflush(FOut);
    }
    for (const auto& [name, count] : FSimulator.GetCounters().operations)
      std::fprintf(FOut, "request %llu %s\n", static_cast<unsigned long long>(count), name.c_str());
    for (const auto& [name, count] : FKinds)
      std::fprintf(FOut, "fault %llu %s\n", static_cast<unsigned long long>(count), name.c_str());
    std::fprintf(FOut, "end\n");
    std::fflush(FOut);
    FSimulator.Stop();
  }

 private:
  static velmore::simulator::Options OptionsOf(const std::string& version) {
    velmore::simulator::Options options;
    options.accept_departures = true;
    options.version = version;
    options.keep_exchanges = 10;
    for (int user = 0; user < kUsers; ++user)
      options.users.push_back({UserName(user), Address(user), "User " + std::to_string(user), kPassword});
    options.users.push_back({"service", "service@example.com", "Service", kPassword, {}, true});
    return options;
  }
  void Fill(int user) {
    for (int i = 0; i < 30; ++i)
      FSimulator.AddMessage(Address(user), "inbox",
                            "From: " + Address((user + 1) % kUsers) + "\r\nTo: " + Address(user) +
                                "\r\nSubject: Seed " + std::to_string(i) +
                                "\r\nDate: Mon, 02 Mar 2026 10:00:00 +0000\r\nContent-Type: text/html; charset=utf-8"
                                "\r\n\r\n<html><body><p>Gr\xC3\xBC\xC3\x9F"
                                "e " +
                                std::string(200, 'x') + "</p></body></html>");
    for (const char* start : {"2026-03-02", "2026-03-03"})
      FSimulator.AddItem(Address(user), "calendar",
                         std::string("<t:CalendarItem><t:Subject>Daily</t:Subject><t:Start>") + start +
                             "T09:00:00Z</t:Start><t:End>" + start +
                             "T10:00:00Z</t:End><t:Recurrence><t:DailyRecurrence><t:Interval>1</t:Interval>"
                             "</t:DailyRecurrence><t:NumberedRecurrence><t:StartDate>" +
                             start +
                             "Z</t:StartDate>"
                             "<t:NumberOfOccurrences>30</t:NumberOfOccurrences></t:NumberedRecurrence></t:Recurrence></"
                             "t:CalendarItem>");
  }

  /// The next word of the other process; "stop" when it is gone. Faults go on meanwhile.
  std::string NextWord() {
    std::string word;
    for (;;) {
      pollfd in{FIn, POLLIN, 0};
      if (::poll(&in, 1, 2) > 0) {
        char next = 0;
        if (::read(FIn, &next, 1) != 1) return "stop";
        if (next == '\n') return word;
        word += next;
        continue;
      }
      if (FRough) Plague();
    }
  }
  void Plague() {
    const auto now = std::chrono::steady_clock::now();
    if (FPutRight && FSimulator.PendingFaults() == 0) {
      if (FDue == std::chrono::steady_clock::time_point()) FDue = now + std::chrono::milliseconds(*FPutRight);
      if (now >= FDue) PutRight();
      return;
    }
    if (FSimulator.PendingFaults() > 0) return;
    if (FRandom() % 200 == 0) FSimulator.DropConnections();
    RandomFault drawn = DrawFault(FRandom);
    ++FKinds[drawn.Kind];
    if (drawn.PutRightAfter > 0) FPutRight = drawn.PutRightAfter;
    FSimulator.AddFault(std::move(drawn.Fault));
  }
  void PutRight() {
    FSimulator.SetCertificate(Certificate::kValid);
    FSimulator.SetAuthentication({"Basic"});
    FPutRight.reset();
    FDue = {};
  }

  int FIn;
  std::FILE* FOut;
  std::mt19937 FRandom;
  Simulator FSimulator;
  bool FRough = false;
  std::map<std::string, std::uint64_t> FKinds;
  std::optional<int> FPutRight;
  std::chrono::steady_clock::time_point FDue;
};

}  // namespace

std::string UserName(int number) {
  return "user" + std::to_string(number);
}
std::string Address(int number) {
  return UserName(number) + "@example.com";
}

SoakServer::SoakServer(std::string version, unsigned seed) : FVersion(std::move(version)) {
  int to[2], from[2];
  if (::pipe2(to, O_CLOEXEC) != 0 || ::pipe2(from, O_CLOEXEC) != 0) throw std::runtime_error("There are no pipes.");
  std::fflush(nullptr);
  FProcess = ::fork();
  if (FProcess < 0) throw std::runtime_error("The server's process cannot be made.");
  if (FProcess == 0) {
    ::close(to[1]);
    ::close(from[0]);
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);  // a server that hangs must not stay behind
    ::signal(SIGPIPE, SIG_IGN);
    ::signal(SIGINT, SIG_IGN);  // the end comes through the pipe
    int code = 1;
    try {
      std::FILE* const out = ::fdopen(from[1], "w");
      Host(FVersion, seed, to[0], out).Run();
      std::fclose(out);
      code = 0;
    } catch (const std::exception& failure) {
      std::fprintf(stderr, "The server: %s\n", failure.what());
    }
    std::exit(code);  // not _exit: what looks for leaks does so then
  }
  ::close(to[0]);
  ::close(from[1]);
  FTo = ::fdopen(to[1], "w");
  FFrom = ::fdopen(from[0], "r");
  FHttpUrl = Read();
  FHttpsUrl = Read();
  FCAFile = Read();
}

SoakServer::~SoakServer() {
  if (FProcess > 0) Stop();
}

std::string SoakServer::Read() {
  char line[4096];
  if (std::fgets(line, sizeof line, FFrom) == nullptr) throw std::runtime_error("The server's process is gone.");
  std::string text = line;
  if (!text.empty() && text.back() == '\n') text.pop_back();
  return text;
}

void SoakServer::Tell(const std::string& word) {
  std::fprintf(FTo, "%s\n", word.c_str());
  std::fflush(FTo);
  Read();
}

std::size_t SoakServer::ResidentBytes() const {
  std::FILE* const file = std::fopen(("/proc/" + std::to_string(FProcess) + "/statm").c_str(), "r");
  if (file == nullptr) return 0;
  unsigned long size = 0, resident = 0;
  const int read = std::fscanf(file, "%lu %lu", &size, &resident);
  std::fclose(file);
  return read == 2 ? resident * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE)) : 0;
}

SoakServer::Summary SoakServer::Stop() {
  Summary summary;
  std::fprintf(FTo, "stop\n");
  std::fclose(FTo);
  try {
    for (std::string line; (line = Read()) != "end";) {
      std::istringstream words(line);
      std::string what, name;
      std::uint64_t count = 0;
      words >> what >> count;
      std::getline(words >> std::ws, name);
      (what == "fault" ? summary.Faults : summary.Requests)[name] += count;
    }
  } catch (const std::runtime_error&) {
    // Its exit code tells the rest.
  }
  int status = 0;
  ::waitpid(FProcess, &status, 0);
  std::fclose(FFrom);
  FProcess = -1;
  summary.Clean = WIFEXITED(status) && WEXITSTATUS(status) == 0;
  return summary;
}

}  // namespace soak
