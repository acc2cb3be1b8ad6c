#pragma once

// The operations of the service, one function each: takes the request element, gives the response element. They run
// under the lock of the store, or under those of the mailboxes that they name. A refusal of one part of a request
// becomes a response message, a refusal of the whole an exception.

#include <functional>
#include <set>
#include <string>

#include "simulator/mailbox/model.h"
#include "simulator/mailbox/view.h"
#include "simulator/operations/subscriptions.h"

namespace velmore::simulator {

struct Context {
  Store& store;
  const Options& options;
  User user;                 // as whom the request acts
  Mailbox* home = nullptr;   // mailbox of that user; null when he has none
  int version = 0;           // of the request
  std::string account = {};  // log-on name of whoever sent it
  int back_end = 0;          // on which it runs
  Subscriptions* subscriptions = nullptr;
  Subscriptions::Writer envelope = {};  // writes replies that stay open
  StreamBody stream = {};               // set by an operation whose reply does
  std::string time_zone = {};           // in which it speaks, empty when it does not say
};

using Operation = Element (*)(Context& context, const Element& request);
/// Null when there is no such operation, or not at this version of the request.
Operation FindOperation(std::string_view name, int version);
/// Is this an operation that servers have and this one has not?
bool IsMissingHere(std::string_view name);
/// See simulator.h.
std::string VersionGaps(const std::string& version);
/// Names of the operations that came with this version or later, in alphabetical order.
std::vector<std::string> OperationNames(int since = 0);

// Replies

/// "<m:NAMEResponse><m:ResponseMessages>...": calls `each` for every child of `list`; what it returns goes into the
/// response message behind the code, what it throws becomes the message.
Element RespondEach(const char* operation, const Element& list,
                    const std::function<std::vector<Element>(const Element&)>& each,
                    const std::vector<Element>& when_failed = {});
/// The same for a single response message.
Element RespondOnce(const char* operation, const std::function<std::vector<Element>()>& once,
                    const std::vector<Element>& when_failed = {});
/// m:NAMEResponse that is a response message itself.
Element RespondBare(const char* operation, const std::function<std::vector<Element>()>& once);
/// Is the response of an operation a response message itself?
bool IsBareMessage(std::string_view operation);
/// m:NAMEResponseMessage of an error.
Element ErrorMessage(const std::string& operation, const EwsError& error, bool warning = false);
/// The same for a request that was refused before it was looked at item by item.
Element RefusedMessage(const std::string& operation, const EwsError& error, bool warning = false);

// Finding things

struct Place {
  Mailbox* mailbox = nullptr;
  Folder* folder = nullptr;
  Rights access = Access::kNone;
};
/// t:FolderId or t:DistinguishedFolderId. Throws EwsError when it does not exist or is not visible.
Place LocateFolder(Context& context, const Element& id);
/// The one folder in m:ToFolderId, m:ParentFolderId, m:SavedItemFolderId.
Place LocateTarget(Context& context, const Element& target);
void Require(const Place& place, Access access);
/// Throws EwsError for items that have no place in a folder of this kind.
void CheckFits(const Item& item, const Folder& folder);

struct Found {
  Mailbox* mailbox = nullptr;
  Folder* folder = nullptr;
  Rights access = Access::kNone;
  std::shared_ptr<Item> item;    // an occurrence is an item of its own making
  std::shared_ptr<Item> master;  // of an occurrence
};
/// t:ItemId, t:OccurrenceItemId or t:RecurringMasterItemId.
Found LocateItem(Context& context, const Element& id);
/// The item that a response object is about. Throws EwsError when there is none, or when it has changed since its
/// change key was given out.
Found LocateReference(Context& context, const Element& response);
/// Throw EwsError unless the user may change, or delete, this item.
void RequireEdit(const Context& context, const Found& found);
void RequireDelete(const Context& context, const Found& found);
Viewer ViewerOf(const Context& context, const Place& place);
Viewer ViewerOf(const Context& context, const Found& found);

struct FoundAttachment {
  Found root;                               // the item in the folder, however deep the attachment lies in it
  std::vector<Attachment>* list = nullptr;  // that holds the attachment
  std::size_t index = 0;
  Attachment& Get() const { return (*list)[index]; }
};
/// t:AttachmentId.
FoundAttachment LocateAttachment(Context& context, const Element& id);

// Writing items

enum class Change { kCreate, kSet, kAppend };
/// Puts one property of a request into an item. Throws EwsError for what cannot be set.
void SetProperty(Context& context, Item& item, const Member& member, const std::string& owner, const Element& value,
                 Change change);
/// Reads t:ExtendedProperty, values in their canonical form. Throws EwsError for values that do not fit.
ExtendedValue ReadExtended(const Element& property);
/// Makes an item from its element in a request.
std::shared_ptr<Item> MakeItem(Context& context, const Element& element);
/// Completes each mailbox below an element.
void CompleteRecipients(Context& context, Element& value);
/// Fills in what a recipient of a request lacks: name, routing type, sort.
void CompleteMailbox(Context& context, Element& mailbox);
/// t:FileAttachment or t:ItemAttachment of a request.
Attachment MakeAttachment(Context& context, const Element& element);
/// What the server itself keeps up to date on an item that was written to (topic, recurrence flags, the MIME text).
void Refresh(Context& context, Item& item);

/// Sends a message from the user's mailbox to all its recipients; sets what a sent message has.
/// With `on_behalf` for whoever stands in From, as delegates may do with meetings.
void Send(Context& context, Item& item, bool on_behalf = false);
/// Makes a user configuration of a folder, or replaces it; `xml_data` as bytes.
void KeepUserConfiguration(Mailbox& mailbox, Folder& folder, const std::string& name, const std::string& xml_data);
/// Whom an answer goes to: somebody of the organisation, or outside of it one of the mailbox's contacts or anybody.
enum class Audience { kInside, kKnown, kStranger };
/// What a mailbox says while its owner is away.
struct AwayMessage {
  std::string text;
  std::optional<Seconds> start, end;  // of a timed absence
};
/// Nothing when the owner is not away now, or does not say so to this audience.
std::optional<AwayMessage> AwayMessageOf(const Mailbox& mailbox, Audience audience);
/// Is the address of a domain that mailboxes have?
bool IsInside(const Store& store, std::string_view address);
/// Everybody whom mail to an address goes to, in lower case: the members of lists, of those in lists, each once.
std::set<std::string> PeopleBehind(const Store& store, const std::string& address);
/// Does a recipient refuse the mail of this sender?
bool IsRestricted(const DeliveryRules& rules, const std::string& sender);
/// Answers the sender of a message that was delivered, once, when the mailbox's owner is away.
void AnswerForAway(Store& store, Mailbox& mailbox, const Item& item);
/// Delivers to one mailbox, which answers while its owner is away.
Item& DeliverTo(Store& store, Mailbox& mailbox, std::shared_ptr<Item> item, const std::string& from_server);

// The operations, by file

Element GetFolder(Context&, const Element&);
Element FindFolder(Context&, const Element&);
Element CreateFolder(Context&, const Element&);
Element UpdateFolder(Context&, const Element&);
Element DeleteFolder(Context&, const Element&);
Element EmptyFolder(Context&, const Element&);
Element MarkAllItemsAsRead(Context&, const Element&);
Element Subscribe(Context&, const Element&);
Element Unsubscribe(Context&, const Element&);
Element GetEvents(Context&, const Element&);
Element GetStreamingEvents(Context&, const Element&);
Element SyncFolderItems(Context&, const Element&);
Element SyncFolderHierarchy(Context&, const Element&);
Element CreateUserConfiguration(Context&, const Element&);
Element GetUserConfiguration(Context&, const Element&);
Element UpdateUserConfiguration(Context&, const Element&);
Element DeleteUserConfiguration(Context&, const Element&);
Element GetDelegate(Context&, const Element&);
Element AddDelegate(Context&, const Element&);
Element UpdateDelegate(Context&, const Element&);
Element RemoveDelegate(Context&, const Element&);
Element ExpandDL(Context&, const Element&);
Element GetUserOofSettings(Context&, const Element&);
Element SetUserOofSettings(Context&, const Element&);
Element GetMailTips(Context&, const Element&);
Element GetUserAvailability(Context&, const Element&);
Element GetRoomLists(Context&, const Element&);
Element GetRooms(Context&, const Element&);
Element GetUserPhoto(Context&, const Element&);
Element ArchiveItem(Context&, const Element&);
Element ExportItems(Context&, const Element&);
Element UploadItems(Context&, const Element&);
Element CopyFolder(Context&, const Element&);
Element MoveFolder(Context&, const Element&);
Element FindItem(Context&, const Element&);
Element GetItem(Context&, const Element&);
Element CreateItem(Context&, const Element&);
Element UpdateItem(Context&, const Element&);
Element DeleteItem(Context&, const Element&);
Element CopyItem(Context&, const Element&);
Element MoveItem(Context&, const Element&);
Element SendItem(Context&, const Element&);
Element CreateAttachment(Context&, const Element&);
Element DeleteAttachment(Context&, const Element&);
Element GetAttachment(Context&, const Element&);
Element ResolveNames(Context&, const Element&);
Element ConvertId(Context&, const Element&);
Element GetServerTimeZones(Context&, const Element&);

}  // namespace velmore::simulator
