#include "platform/http/uVqHTTPOAuthShare_p.h"

#include <algorithm>
#include <exception>
#include <limits>
#include <type_traits>
#include <typeinfo>

#include "platform/common/uVqDateTimeUtils.h"

namespace velmore {
namespace {

constexpr double kSecond = 1.0 / (24 * 60 * 60);
// Clocks of different machines differ, and a request takes its time.
constexpr double kMargin = 60 * kSecond;
constexpr double kShareOfLife = 0.1;  // of a token that does not live for ten margins
constexpr double kPause = 10 * kSecond;

/// Raises a copy of a failure whenever it is called: the layers above note on a failure what they know, each on a
/// thread of its own. Of a class that is none of these, as an application's may be, the text is told.
template <typename... TFailures>
std::function<void()> RaiserOf(const EVqException& failure) {
  std::function<void()> raise = [copy = failure] { throw copy; };
  const auto take = [&]<typename T>(std::type_identity<T>) {
    if (typeid(failure) == typeid(T)) raise = [copy = static_cast<const T&>(failure)] { throw copy; };
  };
  (take(std::type_identity<TFailures>()), ...);
  return raise;
}

}  // namespace

const TVqOAuthShare::Entry* TVqOAuthShare::FindEntry(const TVqCredentials& who) const {
  const auto found = std::find_if(FEntries.begin(), FEntries.end(), [&](const Entry& one) { return one.Who == who; });
  return found == FEntries.end() ? nullptr : &*found;
}

TVqOAuthShare::Entry& TVqOAuthShare::EntryOf(const TVqCredentials& who) {
  if (const Entry* known = FindEntry(who)) return const_cast<Entry&>(*known);
  FEntries.emplace_back().Who = who;
  return FEntries.back();
}

bool TVqOAuthShare::Knows(const TVqOAuthAccessToken& token) const {
  const std::scoped_lock lock(FMutex);
  return !token.Token.empty() &&
         std::any_of(FEntries.begin(), FEntries.end(), [&](const Entry& one) { return one.Last == token; });
}

bool TVqOAuthShare::IsWorn(const TVqCredentials& who, const TVqOAuthAccessToken& token, bool needsPerson) const {
  if (token.GetExpired()) return true;
  if (needsPerson || static_cast<double>(token.ExpiresAt) == 0) return false;
  const std::scoped_lock lock(FMutex);
  const Entry* entry = FindEntry(who);
  const double now = VqNow();
  if (entry && now < entry->PausedUntil) return false;
  return now >= (entry && entry->Last == token ? entry->RenewAt : token.ExpiresAt - kMargin);
}

bool TVqOAuthShare::Renew(const TVqCredentials& who, const TVqOAuthAccessToken& worn, const TGrant& grant,
                          const TEnding& ending, TVqOAuthAccessToken& token) {
  std::unique_lock lock(FMutex);
  Entry& entry = EntryOf(who);
  while (entry.InFlight) {
    if (entry.Pilot == std::this_thread::get_id())
      throw EVqException("A token is being asked for on this thread; what asks for it must not need one.");
    const std::uint64_t flight = entry.Flights;
    FLanded.wait(lock, [&] { return entry.Flights != flight || ending(); });
    if (ending()) return false;
    if (entry.Flights != flight && !entry.InFlight && !entry.Abandoned) {
      if (entry.Raise) entry.Raise();
      token = entry.Last;
      return true;
    }
  }
  if (!(entry.Last == worn) && !entry.Last.GetExpired()) {
    token = entry.Last;
    return true;
  }
  entry.InFlight = true;
  entry.Pilot = std::this_thread::get_id();
  const TVqOAuthAccessToken last = entry.Last.Token.empty() ? worn : entry.Last;
  lock.unlock();

  std::exception_ptr failure;
  std::function<void()> raise;  // for the others
  bool abandoned = false;
  TVqOAuthAccessToken granted;
  try {
    granted = grant(last);
  } catch (const EVqException& raised) {
    failure = std::current_exception();
    raise = RaiserOf<EVqOAuthException, EVqHTTPException, EVqHTTPServerBusy, EVqHTTPClientApiException,
                     EVqHTTPApiException, EVqHTTPInvalidArgument, EAbort, EVqNotSupported, EConvertError>(raised);
    abandoned = ending();
  } catch (...) {
    failure = std::current_exception();
    raise = [failure] { std::rethrow_exception(failure); };
    abandoned = ending();
  }

  lock.lock();
  entry.InFlight = false;
  ++entry.Flights;
  entry.Raise = std::move(raise);
  entry.Abandoned = abandoned;
  if (!failure) {
    const double end = granted.ExpiresAt, now = VqNow();
    entry.Last = granted;
    entry.RenewAt = end == 0 ? std::numeric_limits<double>::max() : end - std::min(kMargin, kShareOfLife * (end - now));
    entry.PausedUntil = 0;
  }
  FLanded.notify_all();
  if (failure) std::rethrow_exception(failure);
  token = granted;
  return true;
}

void TVqOAuthShare::Wake() {
  const std::scoped_lock lock(FMutex);
  FLanded.notify_all();
}

void TVqOAuthShare::Pause(const TVqCredentials& who, bool refused) {
  const std::scoped_lock lock(FMutex);
  EntryOf(who).PausedUntil = refused ? std::numeric_limits<double>::max() : VqNow() + kPause;
}

}  // namespace velmore
