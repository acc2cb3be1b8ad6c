#pragma once

/// The component with which an application hears of what happens in folders, for one mailbox or for ten thousand.
///
///     TVqEWSFolderEvents events;
///     events.SetOnNewMail([](const TVqRef<IVqEWSFolder>&, TDateTime, const TItemId& item, const TItemId&) { ... });
///     events.Subscribe(inbox);
///     events.Start();
///     while (running) VqProcessMainThreadQueue(100ms);   // the handler is called here
///
/// The handlers and options stand in uVqEWSEventSettings.h.
///
/// docs/guide/events.md has the rest: threads, what is guaranteed and what not, and how to catch up after a gap.

#include "ews/events/uVqEWSNotifications.h"

namespace velmore {

class TVqEWSMultipleStoreFolderEvents;

/// The front of a TVqEWSMultipleStoreFolderEvents, which it owns.
///
/// No copies. Threads and failures as told at TVqEWSSingleStoreFolderEvents: one thread, that of the session, makes and
/// destroys it and calls Subscribe, Unsubscribe, Start and Stop; any thread may set handlers and options.
class TVqEWSFolderEvents : public TVqComponent, public TVqEWSEventSettings {
 public:
  /// `AOwner` may be empty.
  explicit TVqEWSFolderEvents(TVqComponent* AOwner = nullptr);
  /// Stops; failures of that are lost. On a reader's thread, that is, in a handler with `ThreadedEvents`, the reader
  /// ends when the handler returns.
  ~TVqEWSFolderEvents() override;

  // ---- Watching

  /// Watches one more folder. Folders of one component belong to one session. Asks the server for the owner of the
  /// folder's store, once a store object, and on Exchange2013 and later Autodiscover for the store's place. A session
  /// that knows no mailbox address (neither `AutodiscoverEMail` nor a user name with an "@") cannot ask: all its stores
  /// are one group. While running, everything is stopped and started again.
  void Subscribe(const TVqRef<IVqEWSFolder>& AFolder);
  /// No longer watches a folder. Raises the plain exception "You must stop the event monitoring before you can
  /// unsubscribe a folder!" while running.
  void Unsubscribe(const TVqRef<IVqEWSFolder>& AFolder);
  /// Subscribes on the server what has a handler, and connects (m:Subscribe, m:GetStreamingEvents). Since
  /// Exchange2010_SP1. Does nothing without a handler. Raises EEWSException when the server refuses a subscription.
  void Start();
  /// Disconnects within 200 ms, unless a handler holds a reader, and removes the subscriptions (m:Unsubscribe). Raises
  /// a plain exception in a handler on a reader's thread.
  void Stop();
  /// True between Start and Stop; true starts, false stops.
  bool GetActive() const noexcept;
  void SetActive(bool AValue);

  /// The component behind this front. Owned by it.
  TVqEWSMultipleStoreFolderEvents& GetHandler() noexcept { return *FHandler; }

 private:
  TVqEWSFolderEvents(TVqComponent* AOwner, std::unique_ptr<TVqEWSMultipleStoreFolderEvents> AHandler);

  std::unique_ptr<TVqEWSMultipleStoreFolderEvents> FHandler;
};

}  // namespace velmore
