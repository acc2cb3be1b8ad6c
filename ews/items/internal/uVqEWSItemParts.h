#pragma once

/// What one item does to be loaded, saved and sent, in steps: the operations on a single item take them one after the
/// other, those on many (ews/bulk) put the requests of several items together in between.

#include "ews/items/internal/uVqEWSItemCalls.h"

namespace velmore {
class TVqEWSItemCore;
}  // namespace velmore

#pragma GCC visibility push(hidden)

namespace velmore {

/// The steps of one item. Free functions in a class, so that items need one friend.
class TVqEWSItemParts {
 public:
  /// Whether the item has to be saved by its own SaveChanges: responses, and what servers of old times take in several
  /// requests.
  static bool SavesAlone(TVqEWSItemCore& AItem);
  /// Whether it goes out in the request that would create it.
  static bool SendsInOneStep(TVqEWSItemCore& AItem);

  // ---- A save: prepare, one of the two requests, its answer, the attachments, the closing load

  /// Raises when an attachment cannot be made anew; may ask the server for the content of some.
  static void Prepare(TVqEWSItemCore& AItem);
  /// Whether an m:CreateItem carries it, and not an m:UpdateItem.
  static bool IsToBeCreated(TVqEWSItemCore& AItem);
  static void ComposeCreate(TVqEWSItemCore& AItem, const TVqEWSCall& ACall);
  /// Gives the `t:Updates`.
  static IVqDOMElement ComposeUpdate(TVqEWSItemCore& AItem, const TVqEWSCall& ACall, TVqEWSSaveOption ASaveOption);
  /// `AKeyIsFresh` when the item was created or updated just now. Talks to the server where there are any.
  static void SaveAttachments(TVqEWSItemCore& AItem, bool AKeyIsFresh);
  /// To be called before the closing load is sent: whatever comes of it, the item is no new one any more.
  static void NoteSaved(TVqEWSItemCore& AItem);
  /// What the closing load has brought.
  static void TakeLoaded(TVqEWSItemCore& AItem, const TVqEWSLoadedItem& ALoaded);

  // ---- Sending

  /// Raises "The message has already been submitted!".
  static void CheckNotSubmitted(TVqEWSItemCore& AItem);
  /// Raises what the server said to a deletion of attachments that it refused: what was taken away is not to reach
  /// anybody.
  static void CheckRefusedDeletions(TVqEWSItemCore& AItem);
  static void ComposeSend(TVqEWSItemCore& AItem, const TVqEWSCall& ACall, bool AMoveToSentItems);
  static void NoteSubmitted(TVqEWSItemCore& AItem);

  /// Writes a member that the server has set into both records, so that it does not count as changed. Asks nothing.
  static void Merge(TVqEWSItemCore& AItem, const IVqDOMElement& AAnswer, const string& AMember);
};

}  // namespace velmore

#pragma GCC visibility pop
