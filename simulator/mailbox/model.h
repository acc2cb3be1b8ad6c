#pragma once

// Mailboxes, folders and items in memory. Nothing here knows of requests. Store::mutex held whole protects all of it.
// Held shared it protects the list of mailboxes, their owners and the directory; what is in a mailbox is then protected
// by the lock of that mailbox. All of them are held for the whole of an operation.

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "simulator/mailbox/observers.h"
#include "simulator/mailbox/permissions.h"
#include "simulator/mailbox/store_lock.h"
#include "simulator/schema/refusal.h"
#include "simulator/schema/schema.h"
#include "simulator/time/time.h"
#include "simulator/types/options.h"
#include "simulator/types/text.h"
#include "simulator/xml/element.h"

namespace velmore::simulator {

struct Item;

/// Identity of an extended property: a MAPI tag, or a property set with an id or a name.
struct ExtendedKey {
  std::string set;  // GUID in lower case, empty for a tag
  std::string name;
  std::int64_t number = -1;  // tag or id; -1 when there is a name
  std::string type;          // "String", "IntegerArray"

  bool operator==(const ExtendedKey&) const = default;
  bool IsArray() const { return type.ends_with("Array"); }
  ValueKind Kind() const;
  /// A value as the server tells it: numbers without leading zeros, times in UTC. Nothing for what is no value of the
  /// type, or out of its range.
  std::optional<std::string> Canonical(const std::string& text) const;
};
/// Reads t:ExtendedFieldURI; throws EwsError for combinations that the server refuses.
ExtendedKey ParseExtendedKey(const Element& uri);
/// Writes t:ExtendedFieldURI as Exchange answers it: tags as lower-case hexadecimal without leading zeros.
Element WriteExtendedKey(const ExtendedKey& key);

struct ExtendedValue {
  ExtendedKey key;
  std::vector<std::string> values;
};

struct Attachment {
  std::string number;  // binary tail of its id, unique within the mailbox
  bool is_item = false;
  std::string name;
  std::string content_type;
  std::string content_id;
  std::string content_location;
  bool is_inline = false;
  bool is_contact_photo = false;
  Seconds modified = 0;
  std::shared_ptr<const std::string> content;  // of a file
  std::shared_ptr<Item> item;                  // of an item

  std::size_t Size() const;
};

struct Item {
  std::string entry_id;
  std::uint64_t number = 0;  // order of creation within the mailbox
  std::uint64_t change = 0;
  std::string folder;        // entry id
  std::uint64_t born = 0;    // change number at which it came into its folder
  std::string deleted_from;  // of an item that was deleted softly: the folder that it was in
  std::string element;       // "Message"
  Seconds received = 0;
  Seconds sent = 0;  // 0: never
  Seconds created = 0;
  Seconds modified = 0;
  std::string modified_by;
  std::string conversation_index;   // binary
  std::vector<Element> properties;  // those of the schema that are stored as they are written
  std::vector<ExtendedValue> extended;
  std::string html;  // body; an item may have both
  std::string text;
  std::vector<Attachment> attachments;
  std::shared_ptr<const std::string> mime;              // as it came; null: made from the rest when asked for
  std::string headers;                                  // of the message as delivered, for InternetMessageHeaders
  std::string id_tail;                                  // end of the id of an occurrence or of an item in an attachment
  std::map<std::string, std::uint64_t> written;         // change number of the last write to each property
  std::map<Seconds, std::shared_ptr<Item>> exceptions;  // of a recurring master, by original start; null: deleted

  const Element* Find(std::string_view name) const;
  const std::string& Text(std::string_view name) const;  // text of a stored property, empty when absent
  bool Flag(std::string_view name) const { return Text(name) == "true"; }
  void Set(Element property);
  void Set(const std::string& name, const std::string& text) { Set(Types(name, text)); }
  void SetFlag(const std::string& name, bool value) { Set(Types(name, value ? "true" : "false")); }
  void Remove(std::string_view name);
  const ExtendedValue* FindExtended(const ExtendedKey& key) const;
  void SetExtended(ExtendedValue value);
  std::size_t Size() const;
  bool IsDraft() const { return Flag("IsDraft"); }
  bool IsUnread() const { return Text("IsRead") == "false"; }
};
/// A task whose status says that it is not done has no date on which it was.
void Reopen(Item& item);
/// The status of a task follows how much of it is done. Throws EwsError for less than nothing and more than all.
void Progress(Item& item);
/// Did this user put the item where it is?
bool IsOwnedBy(const Item& item, const User& user);
/// Names of the recipients in a property, "Alice; Bob".
std::string DisplayNames(const Item& item, const char* property);
/// What items of one conversation have in common, 16 bytes.
std::string ConversationHash(const Item& item);
/// A copy without ids.
std::shared_ptr<Item> Copy(const Item& item);

struct Folder {
  std::string entry_id;
  std::uint64_t number = 0;
  std::uint64_t change = 0;
  std::string parent;   // entry id; empty for the root
  std::string element;  // "Folder"
  std::string folder_class;
  std::string display_name;
  std::string distinguished;                 // "inbox" or empty
  std::uint64_t born = 0;                    // change number at which it was made
  std::string deleted_from;                  // of a folder that was deleted softly: the one that it was in
  std::optional<Element> permission_set;     // each entry with all that it comes down to
  std::optional<Element> search_parameters;  // of a search folder
  std::function<std::vector<std::shared_ptr<Item>>()> live;  // what it finds now; see search.h
  std::vector<ExtendedValue> extended;
  std::map<std::uint64_t, std::shared_ptr<Item>> items;  // by number
  std::vector<std::string> children;                     // entry ids in order of creation

  /// The result of the last search, reused by the following pages while nothing changes.
  struct Search {
    std::string key;
    std::uint64_t change = 0;
    std::vector<std::shared_ptr<Item>> rows;
  };
  Search search;
  std::uint64_t content_change = 0;  // moves whenever an item in here does
  Seconds committed = 0;             // when it last did

  /// The items that it shows: its own, or what it finds.
  std::vector<std::shared_ptr<Item>> Contents() const;
  std::size_t UnreadCount() const;
};

/// What is no longer in a folder.
struct Tombstone {
  std::uint64_t change = 0;
  std::uint64_t born = 0;
  bool of_folder = false;
  std::string folder;  // entry id of the one that it was in
  std::string id;      // as clients see it
  std::string key;
};

struct Mailbox {
  User owner;
  bool is_archive = false;
  std::string guid;
  std::string root;  // entry id
  std::unordered_map<std::string, std::unique_ptr<Folder>> folders;
  std::unordered_map<std::string, std::shared_ptr<Item>> items;
  std::map<std::string, std::string> distinguished;  // name to entry id
  std::map<std::string, Access> access;              // to the whole mailbox, by SMTP address in lower case
  std::map<std::string, Element> settings;           // of services, by the name of their element: out of office
  std::uint64_t last_change = 100;
  std::uint64_t last_number = 1000;
  std::vector<Tombstone> tombstones;                // oldest first
  std::vector<Element> delegates;                   // t:DelegateUser without permissions, which the folders have
  std::string meeting_delivery = "DelegatesAndMe";  // who gets invitations: t:DeliverMeetingRequests
  Observers* observers = nullptr;                   // told of every change; those of the store
  /// Entry ids of what was written, made or taken away, for whoever keeps the mailbox; nothing is noted while there is
  /// nobody.
  std::optional<std::unordered_set<std::string>> noted;
  /// Protects all but the owner and the guid. An archive has that of its mailbox.
  std::shared_ptr<std::mutex> lock = std::make_shared<std::mutex>();

  Folder* FindFolder(std::string_view entry_id) const;
  std::shared_ptr<Item> FindItem(std::string_view entry_id) const;
  Folder* Distinguished(std::string_view name) const;
  /// Where things go that are deleted softly: the recoverable items, or a folder that nobody sees where the server has
  /// none.
  Folder& Dumpster();
  Folder& AddFolder(Folder& parent, const std::string& element, const std::string& display_name,
                    const std::string& folder_class);
  /// Puts an item into a folder: gives it an id and moves its change key.
  Item& AddItem(Folder& folder, std::shared_ptr<Item> item);
  /// Puts an item into the inbox as new mail.
  Item& Deliver(std::shared_ptr<Item> item);
  void RemoveItem(const std::string& entry_id);
  /// An item leaves this mailbox, or its folder, and stands in another, under a new id.
  Item& MoveItem(const std::shared_ptr<Item>& item, Mailbox& to, Folder& folder);
  Item& CopyItem(const Item& item, Mailbox& to, Folder& folder) const;
  // Folders with all that is in them
  void RemoveFolder(const std::string& entry_id);
  void MoveFolder(Folder& folder, Folder& parent);  // within the mailbox
  Folder& CopyFolder(const Folder& folder, Mailbox& to, Folder& parent) const;
  /// Moves the change key.
  void Touch(Item& item, const std::string& by);
  void Touch(Folder& folder);
  /// Gives an item another content, and moves its change key.
  void Replace(Item& item, Item&& with, const std::string& by);
  /// Gives ids to the attachments of an item, and to the items in them.
  void Adopt(Item& item);
  std::string IdOf(const Item& item) const;
  std::string IdOf(const Folder& folder) const;
  std::string KeyOf(const Item& item) const;
  std::string KeyOf(const Folder& folder) const;
  /// Throws EwsError when so many bytes more are more than its owner may keep.
  void CheckQuota(std::size_t more) const;

 private:
  StoreChange::Place PlaceOf(const Item& item) const;
  StoreChange::Place PlaceOf(const Folder& folder) const;
  void Tell(StoreChange::Kind kind, const Item& item, const StoreChange::Place& before = {}) const;
  void Tell(StoreChange::Kind kind, const Folder& folder, const StoreChange::Place& before = {}) const;
  void Note(const std::string& entry_id) {
    if (noted) noted->insert(entry_id);
  }
  // What the operations above are made of; nobody is told.
  Folder& NewFolder(Folder& parent, const std::string& element, const std::string& display_name,
                    const std::string& folder_class);
  Item& Put(Folder& folder, std::shared_ptr<Item> item);
  Folder* Take(const std::string& entry_id);  // the folder that it was in
  void RemoveTree(const Folder& folder);
  Folder& CopyTree(const Folder& folder, Mailbox& to, Folder& parent) const;
};

/// All mailboxes and the directory.
class Store {
 public:
  explicit Store(int server_version);

  mutable StoreLock mutex;  // see above

  Mailbox& AddMailbox(const User& user);
  /// Gives a mailbox to somebody else, or to the same user with another password or other rights.
  static void SetOwner(Mailbox& mailbox, const User& user);
  /// Takes a mailbox as it was kept. Throws SimulatorError when there is one of that address.
  void Restore(std::unique_ptr<Mailbox> mailbox);
  void RestorePublicFolders(std::unique_ptr<Mailbox> mailbox);
  Observers& GetObservers() { return observers_; }
  void AddContact(const DirectoryContact& contact) { contacts.push_back(contact); }
  Mailbox* ByAddress(std::string_view smtp_address) const;  // compares without case
  Mailbox* ByGuid(std::string_view guid) const;
  Mailbox* ByEntry(std::string_view entry_id) const;
  Mailbox* ByLogon(std::string_view name) const;  // "alice", "DOMAIN\\alice" or "alice@example.com"
  Mailbox& PublicFolders() { return *public_folders_; }
  /// The archive of a mailbox; null when it has none.
  Mailbox* ArchiveOf(const Mailbox& mailbox) const;
  Mailbox& AddArchive(const Mailbox& mailbox);
  void RestoreArchive(std::unique_ptr<Mailbox> archive);
  const std::vector<std::unique_ptr<Mailbox>>& Archives() const { return archives_; }
  const Mailbox& PublicFolders() const { return *public_folders_; }
  /// Rights of a user in a folder.
  Rights AccessTo(const Mailbox& mailbox, const Folder& folder, const User& user) const;
  const std::vector<std::unique_ptr<Mailbox>>& Mailboxes() const { return mailboxes_; }

  /// Keeps what goes to an address that has no mailbox here; the oldest goes first when there is too much of it.
  void SendOutside(std::shared_ptr<const std::string> mime);
  const std::vector<std::shared_ptr<const std::string>>& SentOutside() const { return sent_outside_; }

  std::vector<DirectoryContact> contacts;
  std::vector<DirectoryList> lists;
  int server_version = 0;

 private:
  void MakeFolders(Mailbox& mailbox) const;
  Observers observers_;
  std::vector<std::shared_ptr<const std::string>> sent_outside_;  // MIME texts, oldest first
  std::vector<std::unique_ptr<Mailbox>> mailboxes_;
  std::vector<std::unique_ptr<Mailbox>> archives_;
  std::unique_ptr<Mailbox> public_folders_;
};

/// First server version with a distinguished folder name; -1 when there is no such name.
int DistinguishedSince(std::string_view name);
/// Distinguished names of the folders of a mailbox that came with this version or later.
std::vector<std::string> DistinguishedNames(int since);

}  // namespace velmore::simulator
