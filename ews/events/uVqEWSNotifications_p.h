#pragma once

// What the readers of a component share with the application's thread.

#include <shared_mutex>
#include <unordered_map>

#include "ews/events/uVqEWSNotifications.h"

#pragma GCC visibility push(hidden)

namespace velmore {

class [[gnu::visibility("hidden")]] TVqEWSReaderGround;  // named by a public header

/// The handlers of a component.
struct TVqEWSHandlers {
  TEwsMovedCopiedEvent Copied;
  TEwsBaseObjectChangedEvent Created;
  TEwsBaseObjectChangedEvent Deleted;
  TEwsModifiedEvent Modified;
  TEwsMovedCopiedEvent Moved;
  TEwsBaseObjectChangedEvent NewMail;
};

/// The ground on which the application's thread and the readers meet. The component, its readers and whatever waits in
/// the main thread's queue hold it, so that none of them needs another one to be alive. What it has is of one of these
/// kinds, and nothing else is reached from two threads:
///
/// - Set while no reader runs, and read-only while one does: Groups, Client, ServiceURL, ExchangeCookie. Starting and
///   joining a thread orders these accesses.
/// - Atomic: the options, Gone.
/// - Behind a mutex that is held for a copy and never while anything is called: handlers, observer, the token, the
///   index of subscriptions.
class TVqEWSReaderGround : public std::enable_shared_from_this<TVqEWSReaderGround> {
 public:
  explicit TVqEWSReaderGround(TVqEWSSingleStoreFolderEvents& AOwner) : Groups(AOwner) {}

  // ---- Of the application's thread; read-only while readers run

  TVqEWSEventGroups Groups;
  TVqRef<IVqHTTPClient> Client;  // the template
  string ServiceURL;
  string ExchangeCookie;

  // ---- Of any thread

  std::atomic<bool> ThreadedEvents{false};
  std::atomic<bool> EagerDispatch{false};
  std::atomic<bool> Resubscribe{false};
  std::atomic<std::size_t> StreamLimit{TVqSOAPStreamCutter::kDefaultLimit};
  std::atomic<bool> Gone{false};  // the component was destroyed: nothing is called any more

  /// A copy of one handler; empty when there is none, or when the component is gone.
  template <typename T>
  T Handler(T TVqEWSHandlers::*AHandler) const {
    if (Gone) return nullptr;
    const std::scoped_lock lock(FMutex);
    return FHandlers.*AHandler;
  }
  template <typename T>
  void SetHandler(T TVqEWSHandlers::*AHandler, T AValue) {
    const std::scoped_lock lock(FMutex);
    std::swap(FHandlers.*AHandler, AValue);  // the old one goes behind the lock's end
  }

  TVqEWSConnectionStateEvent Observer() const;
  void SetObserver(TVqEWSConnectionStateEvent AValue);

  /// The newest token that a connection used, so that the next one need not ask for another.
  TVqOAuthAccessToken Token() const;
  void SetToken(const TVqOAuthAccessToken& AValue);

  /// Finds the subscriptions by their ids from now on, as fast with ten thousand as with one.
  void IndexSubscriptions();
  /// The same by looking all through, when the subscriptions may change again.
  void ForgetIndex();
  void IndexSubscription(const string& AOldId, TVqEWSEventSubscription& ASubscription);
  TVqEWSEventSubscription* FindSubscription(const string& AId) const;

  /// See TVqEWSSingleStoreFolderEvents.
  void ProcessEvents(const IVqDOMDocument& ADocument);

  /// Hands an event to its handler.
  template <typename T, typename... TArgs>
  void Dispatch(T TVqEWSHandlers::*AHandler, const TArgs&... AArgs) {
    const T handler = Handler(AHandler);  // a copy: it may set another one, or destroy the component
    if (!handler) return;
    if (ThreadedEvents) return handler(AArgs...);
    VqQueue([ground = weak_from_this(), AHandler, AArgs...] {
      T queued;
      if (const auto alive = ground.lock()) queued = alive->Handler(AHandler);
      if (queued) queued(AArgs...);
    });
  }

 private:
  void ProcessEvent(const TVqEWSEventSubscription& ASubscription, const IVqDOMElement& AEvent);
  static void VqQueue(std::function<void()> AJob);

  mutable std::mutex FMutex;  // protects the three below it
  TVqEWSHandlers FHandlers;
  TVqEWSConnectionStateEvent FObserver;
  TVqOAuthAccessToken FToken;
  mutable std::shared_mutex FIndexMutex;  // protects FIndex
  std::unordered_map<string, TVqEWSEventSubscription*> FIndex;
};

}  // namespace velmore

#pragma GCC visibility pop
