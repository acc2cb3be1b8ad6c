#pragma once

/// What an application sets in a component that watches folders: the handlers and the options. See
/// uVqEWSFolderEvents.h for the whole, uVqEWSNotificationTypes.h for what a handler is told.

#include <cstddef>
#include <memory>

#include "ews/events/uVqEWSNotificationTypes.h"

namespace velmore {

class TVqEWSReaderGround;

/// The handlers and options of a component, which its front has in common with it.
///
/// Shares what is set with the component's readers. Any thread may read and set; nothing here raises or talks to a
/// server.
class TVqEWSEventSettings {
 public:
  // ---- Handlers. Those set while running count at once, but the server tells only what had a handler at Start.

  /// What was copied into a watched folder, and, on purpose, also what was deleted from one. Deletions are subscribed
  /// to only if OnItemDeleted is set as well.
  TEwsMovedCopiedEvent GetOnItemCopied() const;
  void SetOnItemCopied(TEwsMovedCopiedEvent AValue);
  /// What was created in a watched folder, subfolders included.
  TEwsBaseObjectChangedEvent GetOnItemCreated() const;
  void SetOnItemCreated(TEwsBaseObjectChangedEvent AValue);
  /// Has the server tell of deletions. They arrive at OnItemCopied, on purpose: this handler is called for nothing.
  TEwsBaseObjectChangedEvent GetOnItemDeleted() const;
  void SetOnItemDeleted(TEwsBaseObjectChangedEvent AValue);
  /// What was changed in a watched folder.
  TEwsModifiedEvent GetOnItemModified() const;
  void SetOnItemModified(TEwsModifiedEvent AValue);
  /// What was moved into a watched folder.
  TEwsMovedCopiedEvent GetOnItemMoved() const;
  void SetOnItemMoved(TEwsMovedCopiedEvent AValue);
  /// What was delivered.
  TEwsBaseObjectChangedEvent GetOnNewMail() const;
  void SetOnNewMail(TEwsBaseObjectChangedEvent AValue);

  // ---- Options. Each counts from the next event or connection on.

  /// True calls handlers on the readers' threads, where a slow one holds up its stream, and one that raises ends the
  /// connection. False, as at first, queues them to the main thread.
  bool GetThreadedEvents() const noexcept;
  void SetThreadedEvents(bool AValue) noexcept;
  /// True hands over every envelope as soon as it is complete. With false, as at first, a second one that came glued to
  /// another waits for the next bytes, which may be the next sign of life half a minute later.
  bool GetEagerDispatch() const noexcept;
  void SetEagerDispatch(bool AValue) noexcept;
  /// True has a reader make the subscriptions of its group anew when the server has forgotten one. With false, as at
  /// first, it goes on asking for them in vain. Set it before Start. See TVqEWSConnectionState::resubscribed.
  bool GetResubscribe() const noexcept;
  void SetResubscribe(bool AValue) noexcept;
  /// The most bytes that a reader holds without an envelope that could be taken; beyond it the connection ends.
  std::size_t GetStreamLimit() const noexcept;
  void SetStreamLimit(std::size_t AValue) noexcept;
  /// Told of the connections.
  void SetOnConnectionState(TVqEWSConnectionStateEvent AValue);

 protected:
  /// The settings of what the readers look at.
  explicit TVqEWSEventSettings(std::shared_ptr<TVqEWSReaderGround> AGround) noexcept : FGround(std::move(AGround)) {}
  /// The settings of the other one, not a copy of them.
  TVqEWSEventSettings(const TVqEWSEventSettings& AOther) noexcept = default;
  TVqEWSEventSettings& operator=(const TVqEWSEventSettings&) = delete;
  ~TVqEWSEventSettings() = default;

  std::shared_ptr<TVqEWSReaderGround> FGround;  // handlers, FThreadedEvents and FEventGroups, as readers see them
};

}  // namespace velmore
