// Replies to every operation, changed on their way by chance: each is read, or refused with a clear exception, within
// bounds of memory, and the session is usable behind it. VELMORE_SEED plays a run again, VELMORE_SECONDS a longer one.

#include <sys/resource.h>

#include <algorithm>
#include <atomic>
#include <iostream>
#include <map>
#include <mutex>

#include "tests/support/ServerFailures.h"
#include "tests/wire/RandomRunTestSupport.h"
#include "tests/wire/ReplyMutationsTestSupport.h"
#include "tests/wire/RoughWorldTestSupport.h"
#include "tests/wire/WireFormsTourTestSupport.h"

namespace velmore::testing {
namespace {

/// Of memory that the process ever held, in bytes.
std::size_t HighWater() {
  rusage used{};
  ::getrusage(RUSAGE_SELF, &used);
  return static_cast<std::size_t>(used.ru_maxrss) << 10;
}

/// Stands before a simulator and changes one reply of three while it is told to.
class TChangingServer {
 public:
  TChangingServer(const simulator::Simulator& server, unsigned seed) : FServer(server), FMutator(seed) {
    FBetween.Always([this](const ScriptedServer::Request& asked) { return Answer(asked); });
  }

  std::string Url() const { return FBetween.Url("/EWS/Exchange.asmx"); }
  void Change(bool on) { FOn = on; }
  /// Operations with the number of their replies that were changed.
  std::map<std::string, int> Changed() const {
    const std::scoped_lock lock(FMutex);
    return FChanged;
  }
  const char* Kind() const { return FMutator.Kind(); }

 private:
  ScriptedServer::Answer Answer(const ScriptedServer::Request& asked) {
    std::string bytes = "POST /EWS/Exchange.asmx HTTP/1.1\r\nHost: 127.0.0.1\r\nConnection: close\r\n";
    for (const char* header : {"Content-Type", "Authorization", "Cookie"})
      if (!asked.Header(header).empty()) bytes += std::string(header) + ": " + asked.Header(header) + "\r\n";
    TRawReply reply = AskRaw(FServer.HttpPort(),
                             bytes + "Content-Length: " + std::to_string(asked.Body.size()) + "\r\n\r\n" + asked.Body);
    ScriptedServer::Answer answer;
    const std::scoped_lock lock(FMutex);
    if (reply.Body.empty() || !FOn || !FMutator.Draws(3)) {
      answer.Bytes = Replaced(reply.Head, "\r\nConnection: close", "") + "\r\n\r\n" + reply.Body;
      return answer;
    }
    const std::size_t body = asked.Body.find("<m:", asked.Body.find("Body>"));
    ++FChanged[asked.Body.substr(body + 3, asked.Body.find_first_of(" />", body) - body - 3)];
    reply.Body = FMutator.Change(std::move(reply.Body));
    answer.Bytes = reply.Head.substr(0, reply.Head.find("\r\n")) +
                   "\r\nContent-Type: text/xml; charset=utf-8\r\nContent-Length: " + std::to_string(reply.Body.size()) +
                   "\r\n\r\n" + reply.Body;
    return answer;
  }

  const simulator::Simulator& FServer;
  mutable std::mutex FMutex;  // protects the mutator and the counts: a reader of events has a connection of its own
  TReplyMutator FMutator;
  std::atomic<bool> FOn = false;
  std::map<std::string, int> FChanged;
  ScriptedServer FBetween;  // last: it answers as long as it lives
};

/// What the tour is told among honest replies, too, or what a reply that lies brings the tour itself to.
bool IsOfTheTour(const std::string& text) {
  static constexpr const char* kBeginnings[] = {
      "An empty reference to ",                  // an item of a class that the tour does not expect
      "There is no property definition \"MPR_",  // deleting what has none
      "The result does not contain a value",     // deleting what the item lacks
      "Items of the kind \"",                    // one that cannot be made
      "A member needs the id of a contact",      // one whose creation was not understood
      "Assertion failure (ews/uVqEWSMsgStore)",  // an occurrence that is no calendar item
  };
  return std::ranges::any_of(kBeginnings, [&](const char* begin) { return text.starts_with(begin); }) ||
         text.find(" is not supported by ") != std::string::npos;  // the version that it was told
}

class MutatedReplies : public ::testing::TestWithParam<bool> {};

TEST_P(MutatedReplies, AreReadOrRefusedInClearWords) {
  TRandomRun run(8);
  SCOPED_TRACE(run.Name());
  const std::size_t before = HighWater();
  std::map<std::string, int> raised, changed;
  do {
    const unsigned seed = run.NextSeed();
    SCOPED_TRACE("VELMORE_SEED=" + std::to_string(seed));
    TWireTour tour("Exchange2016", GetParam(), seed, false);
    TChangingServer between(tour.Server(), seed);
    const std::size_t longest = 4 * TVqHTTPLimits().TextLength;
    tour.SetHooks({[&] {
                     between.Change(false);
                     ASSERT_NO_THROW(tour.Recover());
                     EXPECT_NO_THROW(tour.Ask()) << "the session is usable";
                     between.Change(true);
                   },
                   [&](const char* step, const std::exception& failure) {
                     const std::string text = failure.what();
                     ++raised[typeid(failure).name()];
                     EXPECT_TRUE(IsDocumentedOfServers(failure) || IsOfTheTour(text))
                         << step << " (" << between.Kind() << "): " << typeid(failure).name() << ": "
                         << text.substr(0, 500);
                     EXPECT_NE(text, "") << step;
                     EXPECT_LT(text.size(), longest) << step << ": " << text.substr(0, 200);
                   }});
    tour.GoBy(between.Url());
    tour.Round();
    tour.Beyond();
    between.Change(false);
    tour.Recover();
    tour.Ask();
    for (const auto& [operation, count] : between.Changed()) changed[operation] += count;
  } while (run.GoesOn());
  int all = 0, failures = 0;
  for (const auto& [operation, count] : changed) all += count;
  for (const auto& [name, count] : raised) failures += count;
  std::cout << "[  NOTE    ] " << all << " replies to " << changed.size() << " operations changed, " << failures
            << " exceptions\n";
  EXPECT_GE(changed.size(), 20u);
  EXPECT_GT(failures, 20);
  // A reply of a megabyte costs some tens of them as a document.
  EXPECT_LT(HighWater() - before, std::size_t{600} << 20);
}

INSTANTIATE_TEST_SUITE_P(Forms, MutatedReplies, ::testing::Bool(),
                         [](const auto& strict) { return strict.param ? "Strict" : "Default"; });

}  // namespace
}  // namespace velmore::testing
