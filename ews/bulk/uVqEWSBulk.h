#pragma once

/// Many items at once: as few requests as the server takes, one result for each item, in order.
///
///     TVqEWSBulk bulk(store);
///     for (const auto& result : bulk.GetItems(ids)) {
///       if (result) Show(*result.Value()); else Log(result.FailureText());
///     }
///
/// These operations are additions to the prescribed ones, which take one item and a few requests each. Objects that
/// come out are the same as theirs. So are the failures: each item has the exception that it alone would have raised.
///
/// - A request that the server is too busy for, or whose answer is too large or cannot be read, is made again with half
///   of the items, down to single ones; see SetBusyRetries. What changes something is made again only where the server
///   said that it carried nothing out.
/// - Nothing is carried out twice. When the answer to a request that changes something is lost, each of its items has
///   that failure, and `MayHaveHappened` says true: see docs/guide/robust.md.
/// - A failure of the connection or by Cancel, and one after which no request can succeed (`SessionUsable`), ends the
///   operation: those that were not sent have it as well, `WasSent` and `MayHaveHappened` say false.
/// - Memory: what an operation holds besides its results is one answer, or one a connection.

#include <memory>
#include <span>
#include <vector>

#include "ews/bulk/uVqEWSBulkTypes.h"

namespace velmore {

class TVqEWSObject;
struct TVqEWSBulkSettings;

/// The MIME text of one message, on its way through ExportItems. Belongs to the call of the handler.
class TVqEWSMimeText {
 public:
  /// Its length in bytes, or a few more.
  std::uint64_t GetSize() const noexcept;
  /// Writes it to a stream, at its position.
  void SaveToStream(TVqStream& AStream) const;
  /// Writes it to a file, which is created or overwritten.
  void SaveToFile(const string& AFileName) const;

 private:
  friend class TVqEWSBulk;
  explicit TVqEWSMimeText(std::string_view ABase64) noexcept : FBase64(ABase64) {}
  std::string_view FBase64;
};

/// The operations on many. Each blocks until every item has its result.
///
/// Owns its settings and keeps its store alive. A copy copies the settings. Threads: those of the session, which work
/// for the time of an operation when several connections are asked for; handlers are called on the caller's thread.
/// Raises plain exceptions for misuse ("You must logon first!"), what handlers raise, and nothing else: failures are in
/// the results.
class TVqEWSBulk {
 public:
  /// Requests go out in the name of this store, and objects that come out belong to it.
  explicit TVqEWSBulk(TVqRef<IVqEWSMsgStore> AStore);
  explicit TVqEWSBulk(IVqEWSMsgStore& AStore) : TVqEWSBulk(TVqRef<IVqEWSMsgStore>(&AStore)) {}

  // ---- Settings, in force from the next operation on

  /// Items in one request; 0, as at first, is 500 where only ids go out (marking, moving, copying, deleting) and 100
  /// otherwise.
  std::size_t GetRequestSize() const noexcept { return FRequestSize; }
  void SetRequestSize(std::size_t AValue) noexcept { FRequestSize = AValue; }
  /// Bytes of MIME text in one request of ImportItems, unless a single message has more: 8 MiB at first. Servers have
  /// limits for requests, 35 MB as a rule, and base64 takes a third more.
  std::uint64_t GetRequestBytes() const noexcept { return FRequestBytes; }
  void SetRequestBytes(std::uint64_t AValue) noexcept { FRequestBytes = AValue; }
  /// How many requests are under way at a time; 1 at first. More than one have connections and threads of their own for
  /// the time of an operation; their messages are not seen by the session's OnRequest and OnResponse.
  std::int32_t GetConnections() const noexcept { return FConnections; }
  /// Raises a plain exception for less than 1.
  void SetConnections(std::int32_t AValue);
  /// How many times in a row the operation waits for a busy server before it gives up: 5 at first, none with 0. It
  /// waits as long as the server asks, else 1, 2, 4 ... seconds, and goes on with half of the items and half of the
  /// connections. A retry policy of the session (TVqEWSRetryPolicy) leaves a busy server to this, and waits out what
  /// else may pass.
  std::int32_t GetBusyRetries() const noexcept { return FBusyRetries; }
  void SetBusyRetries(std::int32_t AValue) noexcept { FBusyRetries = AValue; }
  /// The longest wait; it gives up at once when the server asks for more. 5 minutes at first.
  std::chrono::milliseconds GetLongestWait() const noexcept { return FLongestWait; }
  void SetLongestWait(std::chrono::milliseconds AValue) noexcept { FLongestWait = AValue; }
  /// Called with the progress.
  void SetOnProgress(TVqEWSBulkProgressEvent AValue) { FOnProgress = std::move(AValue); }

  // ---- Reading

  /// Loads items (m:GetItem): the objects that the store's GetItem gives. Those of one request share its answer, which
  /// lives as long as the last of them.
  std::vector<TVqEWSItemResult> GetItems(std::span<const TItemId> AIds);
  /// The same, one after the other, in order, so that no more than one answer is held. What the handler raises ends the
  /// operation and comes out of it.
  using TItemHandler = std::function<void(std::size_t AIndex, const TVqEWSItemResult& AResult)>;
  void GetItems(std::span<const TItemId> AIds, const TItemHandler& AHandler);
  /// Loads folders (m:GetFolder): the objects that the store's GetFolder gives.
  std::vector<TVqEWSFolderResult> GetFolders(std::span<const TItemId> AIds);
  /// Fetches the MIME text of items (m:GetItem) and hands each to the handler, one after the other, in order. Gives the
  /// ids, with the change keys as they are now. What the handler raises ends the operation and comes out of it.
  using TMimeHandler = std::function<void(std::size_t AIndex, const TVqEWSMimeText& AMime)>;
  std::vector<TVqEWSIdResult> ExportItems(std::span<const TItemId> AIds, const TMimeHandler& AHandler);
  /// The same into files. A file that is there stays as it is, and its item is not asked for, unless `AReplace` says
  /// so: with names that stay the same (VqItemFileName), an export that is started again goes on where it ended.
  /// Directories are made. A file is written beside its place, with ".part" behind its name, and put there when it is
  /// whole: what bears the name is never half a message. Gives a result for each item that was asked for, in order.
  /// A file that cannot be written ends the operation with EStreamError.
  std::vector<TVqEWSFileResult> ExportItems(std::span<const TVqEWSItemFile> AFiles, bool AReplace = false);

  // ---- Writing. Ids of the results have the new change key where the server tells one

  /// Marks messages as read, or unread, whatever else others have written (m:UpdateItem). `ASuppressReceipts` keeps the
  /// server from telling those who asked for a receipt; needs Exchange2013.
  std::vector<TVqEWSIdResult> MarkAsRead(std::span<const TItemId> AIds, bool ARead = true,
                                         bool ASuppressReceipts = false);
  /// The same for items in hand: their IsRead and change keys are as on the server afterwards. Other changes stay
  /// unsaved.
  std::vector<TVqEWSIdResult> MarkAsRead(std::span<const TVqRef<IVqEWSItem>> AItems, bool ARead = true,
                                         bool ASuppressReceipts = false);
  /// Moves items to a folder, in one step (m:MoveItem, where the folder's MoveItem copies and deletes), or copies them
  /// (m:CopyItem). Gives the new ids; EVqEWSIdNotTold when the target is in another mailbox.
  std::vector<TVqEWSIdResult> MoveItems(std::span<const TItemId> AIds, const TItemId& AFolderId);
  std::vector<TVqEWSIdResult> CopyItems(std::span<const TItemId> AIds, const TItemId& AFolderId);
  /// Deletes items (m:DeleteItem), of tasks that repeat all occurrences. Attendees of meetings among them are told as
  /// said; by default nobody is. Gives the ids.
  std::vector<TVqEWSIdResult> DeleteItems(std::span<const TItemId> AIds, TVqEWSFolderDeleteType ADeleteType,
                                          TSendMeetingCancellations ACancellations = smiocSendToNone);
  /// Sends saved messages (m:SendItem), with a copy in the sent items or without one. Gives the ids, which the server
  /// knows no longer.
  std::vector<TVqEWSIdResult> SendItems(std::span<const TItemId> AIds, bool AMoveToSentItems);
  /// Sends messages as SubmitMessage does: new ones without attachments in the request that makes them, and to servers
  /// up to Exchange2013 and with attachments one by one; others are saved, as by SaveItems, and sent. Gives the ids
  /// that the messages had; empty for those that never had one.
  std::vector<TVqEWSIdResult> SendItems(std::span<const TVqRef<IVqEWSItem>> AItems, bool AMoveToSentItems);
  /// Saves items as their SaveChanges does: new ones in m:CreateItem, what has changed of others in m:UpdateItem,
  /// attachments one by one, and one m:GetItem that reads them back. For an item without changes no update is sent.
  /// Items of a kind that needs several requests, such as responses, are saved by their own SaveChanges, one by one.
  /// Gives the ids.
  ///
  /// Items of one request stand in the order of their kinds and folders first. A class of an application that has its
  /// own SaveChanges is not asked for it.
  std::vector<TVqEWSIdResult> SaveItems(std::span<const TVqRef<IVqEWSItem>> AItems,
                                        TVqEWSSaveOption ASaveOption = soAutoResolve);
  /// Stores MIME texts in a folder as messages (m:CreateItem), as its ImportItem does. `ASource` opens the text of a
  /// message when its turn comes, and again when a request is made again; what it raises is that message's failure.
  /// Gives the ids.
  using TMimeSource = std::function<std::unique_ptr<TVqStream>(std::size_t AIndex)>;
  std::vector<TVqEWSIdResult> ImportItems(IVqEWSFolder& AFolder, std::size_t ACount, const TMimeSource& ASource,
                                          TVqEWSMessageFlags AFlags = {});
  /// The same from files.
  std::vector<TVqEWSFileResult> ImportItems(IVqEWSFolder& AFolder, std::span<const string> AFileNames,
                                            TVqEWSMessageFlags AFlags = {});

 private:
  TVqEWSObject& Store() const;
  TVqEWSBulkSettings Settings() const;
  std::vector<TVqEWSIdResult> CopyOrMove(const char* AOperation, std::span<const TItemId> AIds,
                                         const TItemId& AFolderId);

  TVqRef<IVqEWSMsgStore> FStore;
  std::size_t FRequestSize = 0;
  std::uint64_t FRequestBytes = std::uint64_t{8} << 20;
  std::int32_t FConnections = 1;
  std::int32_t FBusyRetries = 5;
  std::chrono::milliseconds FLongestWait = std::chrono::minutes(5);
  TVqEWSBulkProgressEvent FOnProgress;
};

}  // namespace velmore
