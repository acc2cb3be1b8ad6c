// velmore_soak: sessions in threads do everything that the library can do, against simulators that fail in every way.
// README.md tells the rules; the exit code is 0 when none was broken, 1 when one was, 2 when the arguments are wrong.

#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <barrier>
#include <chrono>
#include <cmath>
#include <cstring>
#include <memory>
#include <optional>
#include <thread>

#include "SoakJobs.h"
#include "SoakReport.h"

#ifdef __SANITIZE_ADDRESS__
// Memory that waits in quarantine would hide growth.
extern "C" const char* __asan_default_options();
extern "C" const char* __asan_default_options() {
  return "quarantine_size_mb=8:thread_local_quarantine_size_kb=64:allocator_release_to_os_interval_ms=1000";
}
#endif

namespace {

using namespace soak;
using Clock = std::chrono::steady_clock;

// What may be held more at the end than after the warm-up. Sessions that are gone hold nothing; the rest is caches of
// the libraries below.
constexpr std::size_t kHeapBound = 512 << 10;
constexpr std::size_t kResidentBound = 32 << 20;
constexpr int kDescriptorBound = 2;  // connections of the session that stays

struct Settings {
  std::chrono::seconds Length{60};
  unsigned Seed = 0;
  int Workers = 4;
  bool Verbose = false;
};

enum class Phase { work, muster, calm, end };

std::atomic<bool> Interrupted = false;

class Soak {
 public:
  explicit Soak(const Settings& settings) : FSettings(settings), FGate(settings.Workers + 1), FRandom(settings.Seed) {
    for (const char* version : {"Exchange2016", "Exchange2010_SP1", "Exchange2007_SP1"})
      FServers.push_back(std::make_unique<SoakServer>(version, static_cast<unsigned>(FRandom())));
  }

  bool Run() {
    std::vector<std::thread> workers;
    for (int i = 0; i < FSettings.Workers; ++i)
      workers.emplace_back([this, i, seed = static_cast<unsigned>(FRandom())] { Work(i, seed); });
    for (const auto& server : FServers) server->BeRough();
    const auto start = Clock::now();
    const auto step = std::clamp<std::chrono::milliseconds>(FSettings.Length / 20, std::chrono::milliseconds(1000),
                                                            std::chrono::milliseconds(15000));
    while (Clock::now() - start < FSettings.Length && !Interrupted) {
      std::this_thread::sleep_for(step);
      Turn(Phase::muster);
      Note(Clock::now() - start);
      Turn(Phase::work);
    }
    for (const auto& server : FServers) server->BeCalm();
    Turn(Phase::calm);
    Turn(Phase::end);
    for (std::thread& worker : workers) worker.join();
    Judge();
    return Conclude();
  }

 private:
  /// All workers go over into a phase together; they have nothing in hand then.
  void Turn(Phase phase) {
    FPhase = phase;
    FGate.arrive_and_wait();
  }

  // ---- Workers

  struct Seat {
    SoakServer* Server = nullptr;
    std::unique_ptr<velmore::TVqEWSServiceSession> Session;
  };

  void Work(int user, unsigned seed) {
    std::mt19937 random(seed);
    unsigned serial = 0;
    std::vector<Job> wheel;
    for (const Job& job : Jobs()) wheel.insert(wheel.end(), static_cast<std::size_t>(job.Weight), job);
    const bool stays = user == 0;  // one session lives as long as the run
    Seat seat;
    for (;;) {
      switch (FPhase.load()) {
        case Phase::work:
          Do(wheel[random() % wheel.size()], user, seat, random, serial);
          if (!stays && random() % 20 == 0) seat = {};
          break;
        case Phase::muster:
          if (!stays) seat = {};
          FGate.arrive_and_wait();
          FGate.arrive_and_wait();
          break;
        case Phase::calm:
          FGate.arrive_and_wait();
          BeWellAgain(user, seat, random, serial);
          FGate.arrive_and_wait();
          return;
        case Phase::end:
          return;
      }
    }
  }

  /// Runs a job as whoever sits there, after a logon if need be. What goes wrong is in the report; false when something
  /// did.
  bool Do(const Job& job, int user, Seat& seat, std::mt19937& random, unsigned& serial) {
    const char* name = "log on";
    try {
      if (!seat.Session) {
        SoakServer* const server = user == 0 ? FServers.front().get() : FServers[random() % FServers.size()].get();
        auto session = std::make_unique<velmore::TVqEWSServiceSession>();
        Configure(*session, *server, UserName(user), random);
        session->SetActive(true);
        seat = {server, std::move(session)};
        FReport.Succeeded(name);
      }
      name = job.Name;
      const auto store = seat.Session->OpenDefaultMsgStore();
      Desk desk{*seat.Server, *seat.Session, *store, user, random, serial};
      job.Run(desk);
      FReport.Succeeded(name);
      return true;
    } catch (const RuleBroken& rule) {
      FReport.Broken(std::string(name) + ": " + rule.what());
      FLast = rule.what();
    } catch (const std::exception& failure) {
      FReport.Failed(name, failure);
      FLast = failure.what();
    } catch (...) {
      FReport.Broken(std::string(name) + " raised what is no std::exception");
    }
    return false;
  }

  /// The servers are well again, and so must everything be: with the session that was there and with a new one on each
  /// server.
  void BeWellAgain(int user, Seat& seat, std::mt19937& random, unsigned& serial) {
    // Each job once for the failure that a connection may still have in it.
    if (seat.Session) Do(Jobs().front(), user, seat, random, serial);
    const auto all = [&](Seat& where) {
      for (const Job& job : Jobs()) {
        const bool well = Do(job, user, where, random, serial) || std::strcmp(job.Name, "beside") == 0;
        if (!well) FReport.Broken(std::string(job.Name) + " does not work on a server that is well again: " + FLast);
      }
    };
    all(seat);
    for (const auto& server : FServers) {
      Seat fresh{server.get(), std::make_unique<velmore::TVqEWSServiceSession>()};
      Configure(*fresh.Session, *server, UserName(user), random);
      try {
        fresh.Session->SetActive(true);
      } catch (const std::exception& failure) {
        FReport.Broken(std::string("log on does not work on a server that is well again: ") + failure.what());
        continue;
      }
      all(fresh);
    }
  }

  // ---- What is held

  void Note(Clock::duration at) {
    const Holdings held = TakeStock();
    FNotes.push_back(held);
    std::size_t servers = 0;
    for (const auto& server : FServers) servers += server->ResidentBytes();
    std::printf(
        "%6llds  heap %6zu KiB  resident %4zu MiB  descriptors %3d  threads %2d  objects %3lld  failures %7llu  "
        "servers %4zu MiB\n",
        static_cast<long long>(std::chrono::duration_cast<std::chrono::seconds>(at).count()), held.Heap >> 10,
        held.Resident >> 20, held.Descriptors, held.Threads, static_cast<long long>(held.Objects),
        static_cast<unsigned long long>(FReport.Failures()), servers >> 20);
    std::fflush(stdout);
  }

  /// The last half of the run against the most that was held in the first third, which is the warm-up.
  void Judge() {
    if (FSettings.Length < std::chrono::minutes(1) || FNotes.size() < 6) return;  // a short run is all warm-up
    const auto most = [this](auto member, std::size_t from, std::size_t to) {
      auto highest = FNotes[from].*member;
      for (std::size_t i = from; i < to; ++i) highest = std::max(highest, FNotes[i].*member);
      return highest;
    };
    const auto check = [&](const char* what, auto member, auto bound) {
      const auto before = most(member, 0, FNotes.size() / 3);
      const auto after = most(member, FNotes.size() / 2, FNotes.size());
      if (after > before + bound)
        FReport.Broken(std::string(what) + " grew from " + std::to_string(before) + " to " + std::to_string(after));
    };
    check("heap", &Holdings::Heap, kHeapBound);
    check("resident memory", &Holdings::Resident, kResidentBound);
    check("descriptors", &Holdings::Descriptors, kDescriptorBound);
    check("threads", &Holdings::Threads, 0);
    check("objects", &Holdings::Objects, std::int64_t{0});
  }

  bool Conclude() {
    SoakServer::Summary all;
    for (const auto& server : FServers) {
      SoakServer::Summary summary = server->Stop();
      if (!summary.Clean) FReport.Broken("the simulator of " + server->Version() + " did not end well");
      for (const auto& [name, count] : summary.Requests) all.Requests[name] += count;
      for (const auto& [name, count] : summary.Faults) all.Faults[name] += count;
    }
    if (velmore::VqLiveObjectCount() != 0)
      FReport.Broken(std::to_string(velmore::VqLiveObjectCount()) + " objects are left at the end");
    if (FReport.Failures() == 0) FReport.Broken("no fault was felt by anybody");
    FReport.Print(FSettings.Verbose);
    const auto table = [](const char* title, const std::map<std::string, std::uint64_t>& counts) {
      std::printf("\n%s\n", title);
      for (const auto& [name, count] : counts)
        std::printf("%10llu  %s\n", static_cast<unsigned long long>(count), name.c_str());
    };
    table("requests by operation", all.Requests);
    table("faults played", all.Faults);
    std::printf("\n%s (seed %u)\n", FReport.Clean() ? "No rule was broken." : "RULES WERE BROKEN.", FSettings.Seed);
    return FReport.Clean();
  }

  Settings FSettings;
  std::vector<std::unique_ptr<SoakServer>> FServers;  // before any thread: their processes are forked
  Report FReport;
  std::atomic<Phase> FPhase = Phase::work;
  std::barrier<> FGate;
  std::mt19937 FRandom;
  std::vector<Holdings> FNotes;
  static thread_local std::string FLast;  // the text of this thread's last failure
};

thread_local std::string Soak::FLast;

int Usage() {
  std::fprintf(stderr,
               "usage: velmore_soak [--seconds N] [--seed N] [--workers 1..8] [--verbose]\n"
               "Does everything that the library can do, for so long, against simulators that fail.\n");
  return 2;
}

std::optional<Settings> Read(int argc, char** argv) {
  Settings settings;
  settings.Seed = std::random_device()();
  for (int i = 1; i < argc; ++i) {
    const std::string_view option = argv[i];
    if (option == "--verbose") {
      settings.Verbose = true;
      continue;
    }
    if (++i == argc) return {};
    char* end = nullptr;
    const unsigned long value = std::strtoul(argv[i], &end, 10);
    if (*argv[i] == '\0' || *end != '\0' || *argv[i] == '-') return {};
    if (option == "--seconds" && value > 0 && value <= 1000000)
      settings.Length = std::chrono::seconds(value);
    else if (option == "--seed")
      settings.Seed = static_cast<unsigned>(value);
    else if (option == "--workers" && value > 0 && value <= kUsers)
      settings.Workers = static_cast<int>(value);
    else
      return {};
  }
  return settings;
}

}  // namespace

int main(int argc, char** argv) {
  const std::optional<Settings> settings = Read(argc, argv);
  if (!settings) return Usage();
  ::signal(SIGPIPE, SIG_IGN);
  ::signal(SIGINT, [](int) { Interrupted = true; });
  ::alarm(static_cast<unsigned>(settings->Length.count() + 600));  // a run that hangs ends, too
  try {
    return Soak(*settings).Run() ? 0 : 1;
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "%s\n", failure.what());
    return 1;
  }
}
