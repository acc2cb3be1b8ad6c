#pragma once

/// What a component that watches folders calls: the handlers of its events, and the observer of its connections.

#include <exception>

#include "ews/model/uVqEWSFolderInterfaces.h"

namespace velmore {

/// The kinds of events that a server tells of.
enum TVqEWSNotificationEventType {
  etCopiedEvent,
  etCreatedEvent,
  etDeletedEvent,
  etModifiedEvent,
  etMovedEvent,
  etNewMailEvent
};
/// A set of them.
using TVqEWSNotificationEventTypes = TVqSet<TVqEWSNotificationEventType>;

// ---- Handlers

/// What every event tells: the watched folder in which something happened, when (UTC), and to what. `AItemId` is empty
/// when it happened to a folder.
using TEwsBaseNotificationEvent =
    std::function<void(const TVqRef<IVqEWSFolder>& AFolder, TDateTime ATimeStamp, const TItemId& AItemId)>;
/// Something was created, or a mail came. `AParentFolderId` is the watched folder, with its present change key.
using TEwsBaseObjectChangedEvent = std::function<void(const TVqRef<IVqEWSFolder>& AFolder, TDateTime ATimeStamp,
                                                      const TItemId& AItemId, const TItemId& AParentFolderId)>;
/// Something was changed. `AUnreadCount` is the number of unread items of a folder that changed, and -1 where the
/// server tells none, as for items.
using TEwsModifiedEvent =
    std::function<void(const TVqRef<IVqEWSFolder>& AFolder, TDateTime ATimeStamp, const TItemId& AItemId,
                       const TItemId& AParentFolderId, std::int32_t AUnreadCount)>;
/// Something was moved, copied or deleted. The new id and folder first, then the old ones; of what was deleted there
/// are mostly no old ones.
using TEwsMovedCopiedEvent =
    std::function<void(const TVqRef<IVqEWSFolder>& AFolder, TDateTime ATimeStamp, const TItemId& AItemId,
                       const TItemId& AParentFolderId, const TItemId& AOldItemId, const TItemId& AOldParentFolderId)>;

// ---- The observer

/// What has become of the connection of one group.
enum class TVqEWSConnectionState {
  connected,  ///< the server has taken the subscriptions and streams
  lost,       ///< the connection has ended, or could not be made
  waiting,    ///< the next connection is made after `Delay`
  refused,    ///< the server does not know a subscription, or cannot tell its events: `Code`, `SubscriptionIds`
  /// The subscriptions were made anew, which happens with `Resubscribe` only: what happened since the last connection
  /// was not told. Bring the folders up to date by other means.
  resubscribed
};

/// A report on the connection of one group of subscriptions.
struct TVqEWSConnectionReport {
  /// What has happened.
  TVqEWSConnectionState State = TVqEWSConnectionState::connected;
  /// The group, by its code.
  string GroupCode = {};
  /// Of a lost connection: the failure, or null where the server ended it in good order.
  std::exception_ptr Failure = {};
  /// The text of the failure, or of the server's refusal; the status where the server answered with no stream.
  string Text = {};
  /// Milliseconds until the next connection; 0 unless the state is `waiting`.
  std::int32_t Delay = 0;
  /// Of a refusal: the server's code ("ErrorSubscriptionNotFound"), and the subscriptions that it names, if any.
  string Code = {};
  std::vector<string> SubscriptionIds = {};
};

/// Told of each change. Called on a reader's thread, whatever `ThreadedEvents` says: it must be quick, and must not
/// call the component. What it raises is lost, and nothing that it does changes when connections are made.
using TVqEWSConnectionStateEvent = std::function<void(const TVqEWSConnectionReport& AReport)>;

}  // namespace velmore
