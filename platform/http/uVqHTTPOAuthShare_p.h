#pragma once

// What copies of one TVqOAuth have in common: the token that one of their clients got last, and the wait for the one
// that is being got.

#include <condition_variable>
#include <functional>
#include <list>
#include <mutex>
#include <thread>

#include "platform/http/uVqHTTPOAuth.h"

#pragma GCC visibility push(hidden)

namespace velmore {

class [[gnu::visibility("hidden")]] TVqOAuthShare;  // named by a public header

/// Every thread may call.
class TVqOAuthShare {
 public:
  TVqOAuthShare() = default;
  TVqOAuthShare(const TVqOAuthShare&) = delete;
  TVqOAuthShare& operator=(const TVqOAuthShare&) = delete;

  /// Whether the token was got here, by whomever.
  bool Knows(const TVqOAuthAccessToken& token) const;

  /// Whether it is time for another token: this one has expired, or will soon and can be renewed without a person.
  bool IsWorn(const TVqCredentials& who, const TVqOAuthAccessToken& token, bool needsPerson) const;

  /// Gets a token; what it raises comes out of `Renew` for all who wait, for each as an object of his own.
  using TGrant = std::function<TVqOAuthAccessToken(const TVqOAuthAccessToken& last)>;
  /// Called by whoever waits, at times of his own, with the share locked: true when the wait is to end.
  using TEnding = std::function<bool()>;

  /// A token in place of `worn`: the one that another has got meanwhile, or is getting now, or that `grant` gets.
  /// `who` is the person of a grant that sends credentials. Gives false when the wait was ended. Raises what `grant`
  /// raises, and a plain exception when the thread that is getting a token waits for it.
  bool Renew(const TVqCredentials& who, const TVqOAuthAccessToken& worn, const TGrant& grant, const TEnding& ending,
             TVqOAuthAccessToken& token);
  /// Has those who wait look at `ending` now.
  void Wake();
  /// A token could not be renewed while it is good still: nobody tries again for a while; for as long as it is good
  /// where the server has said no.
  void Pause(const TVqCredentials& who, bool refused);

 private:
  struct Entry {
    TVqCredentials Who;
    TVqOAuthAccessToken Last;
    double RenewAt = 0;  // of Last; 0 when no end is known
    double PausedUntil = 0;
    std::uint64_t Flights = 0;  // that have ended
    bool InFlight = false;
    bool Abandoned = false;       // the last flight was cancelled, which concerns nobody else
    std::function<void()> Raise;  // what the last one failed with; empty when it did not fail
    std::thread::id Pilot;
  };
  Entry& EntryOf(const TVqCredentials& who);
  const Entry* FindEntry(const TVqCredentials& who) const;

  mutable std::mutex FMutex;  // protects FEntries
  std::condition_variable FLanded;
  std::list<Entry> FEntries;
};

}  // namespace velmore

#pragma GCC visibility pop
