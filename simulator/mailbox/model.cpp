#include "simulator/mailbox/model.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>

#include "simulator/mailbox/ids.h"
#include "simulator/mailbox/reach.h"

namespace velmore::simulator {

namespace {

const std::string kEmpty;

unsigned char KindOf(const Item& item) {
  if (item.element == "CalendarItem") return 0x0f;
  if (item.element == "Contact") return 0x11;
  if (item.element == "DistributionList") return 0x12;
  if (item.element == "Task") return 0x13;
  if (item.element == "MeetingRequest" || item.element == "MeetingCancellation") return 0x0a;
  if (item.element == "MeetingResponse") return 0x0b;
  return 0x09;
}

std::size_t TreeSize(const Element& element) {
  std::size_t size = element.text.size();
  for (const Element& child : element.children) size += TreeSize(child);
  return size;
}

}  // namespace

std::size_t Attachment::Size() const {
  if (content != nullptr) return content->size();
  return item != nullptr ? item->Size() : 0;
}

const Element* Item::Find(std::string_view name) const {
  for (const Element& property : properties)
    if (property.name == name) return &property;
  return nullptr;
}

const std::string& Item::Text(std::string_view name) const {
  const Element* property = Find(name);
  return property != nullptr ? property->text : kEmpty;
}

void Item::Set(Element property) {
  property.space = Space::kTypes;
  for (Element& present : properties) {
    if (present.name == property.name) {
      present = std::move(property);
      return;
    }
  }
  properties.push_back(std::move(property));
}

void Item::Remove(std::string_view name) {
  std::erase_if(properties, [&](const Element& property) { return property.name == name; });
}

const ExtendedValue* Item::FindExtended(const ExtendedKey& key) const {
  for (const ExtendedValue& value : extended)
    if (value.key == key) return &value;
  return nullptr;
}

void Item::SetExtended(ExtendedValue value) {
  for (ExtendedValue& present : extended) {
    if (present.key == value.key) {
      present = std::move(value);
      return;
    }
  }
  extended.push_back(std::move(value));
}

std::size_t Item::Size() const {
  std::size_t size = 200 + html.size() + text.size() + headers.size();
  for (const Element& property : properties) size += TreeSize(property);
  for (const Attachment& attachment : attachments) size += attachment.Size();
  return size;
}

void Reopen(Item& item) {
  if (item.element != "Task" || item.Text("Status") == "Completed") return;
  item.Remove("CompleteDate");
  if (item.Text("PercentComplete") == "100") item.Set("PercentComplete", "0");
}

void Progress(Item& item) {
  const double percent = std::strtod(item.Text("PercentComplete").c_str(), nullptr);
  if (!(percent >= 0 && percent <= 100)) throw EwsError("ErrorInvalidPercentCompleteValue");
  const std::string& status = item.Text("Status");
  const bool waits = status == "WaitingOnOthers" || status == "Deferred";
  if (percent == 100)
    item.Set("Status", "Completed");
  else if (percent == 0 ? status == "Completed" || status == "InProgress" : !waits)
    item.Set("Status", percent == 0 ? "NotStarted" : "InProgress");
  if (percent != 100) item.Remove("CompleteDate");
}

bool IsOwnedBy(const Item& item, const User& user) {
  return SameText(item.Text("CreatorAddress"), user.smtp_address);
}

std::string DisplayNames(const Item& item, const char* property) {
  std::string out;
  if (const Element* holder = item.Find(property))
    for (const Element& mailbox : holder->children) out += (out.empty() ? "" : "; ") + mailbox.ChildText("Name");
  return out;
}

std::string ConversationHash(const Item& item) {
  // One conversation per topic, as far as a mailbox can tell.
  const std::string& topic =
      item.Text("ConversationTopic").empty() ? item.Text("Subject") : item.Text("ConversationTopic");
  std::string hash(16, '\0');
  std::uint64_t value = 1469598103934665603u;
  for (int half = 0; half < 2; ++half) {
    for (const char c : topic) value = (value ^ static_cast<unsigned char>(c)) * 1099511628211u;
    for (std::size_t i = 0; i < 8; ++i)
      hash[static_cast<std::size_t>(half) * 8 + i] = static_cast<char>(value >> (i * 8) & 0xff);
  }
  return hash;
}

std::shared_ptr<Item> Copy(const Item& item) {
  auto copy = std::make_shared<Item>(item);
  copy->entry_id.clear();
  copy->number = 0;
  copy->id_tail.clear();
  for (Attachment& attachment : copy->attachments) {
    attachment.number.clear();
    if (attachment.item != nullptr) attachment.item = Copy(*attachment.item);
  }
  for (auto& [original, exception] : copy->exceptions)
    if (exception != nullptr) exception = Copy(*exception);
  return copy;
}

std::size_t Folder::UnreadCount() const {
  if (live) return static_cast<std::size_t>(std::ranges::count_if(live(), &Item::IsUnread));
  return static_cast<std::size_t>(
      std::ranges::count_if(items, [](const auto& entry) { return entry.second->IsUnread(); }));
}

std::vector<std::shared_ptr<Item>> Folder::Contents() const {
  if (live) return live();
  std::vector<std::shared_ptr<Item>> all;
  all.reserve(items.size());
  for (const auto& [number, item] : items) all.push_back(item);
  return all;
}

Folder* Mailbox::FindFolder(std::string_view entry_id) const {
  Reach::Check(*lock);
  const auto found = folders.find(std::string(entry_id));
  return found != folders.end() ? found->second.get() : nullptr;
}

std::shared_ptr<Item> Mailbox::FindItem(std::string_view entry_id) const {
  Reach::Check(*lock);
  const auto found = items.find(std::string(entry_id));
  return found != items.end() ? found->second : nullptr;
}

Folder* Mailbox::Distinguished(std::string_view name) const {
  Reach::Check(*lock);
  const auto found = distinguished.find(std::string(name));
  return found != distinguished.end() ? FindFolder(found->second) : nullptr;
}

std::size_t StoreChange::Unread() const {
  return folder != nullptr ? folder->UnreadCount() : 0;
}

void Mailbox::Tell(StoreChange::Kind kind, const Item& item, const StoreChange::Place& before) const {
  if (observers == nullptr || observers->Empty()) return;
  observers->Tell({*this, kind, false, PlaceOf(item), before, nullptr, Now()});
}

void Mailbox::Tell(StoreChange::Kind kind, const Folder& folder, const StoreChange::Place& before) const {
  if (observers == nullptr || observers->Empty()) return;
  observers->Tell({*this, kind, true, PlaceOf(folder), before, &folder, Now()});
}

StoreChange::Place Mailbox::PlaceOf(const Item& item) const {
  const Folder* folder = FindFolder(item.folder);
  return {IdOf(item), KeyOf(item), folder != nullptr ? IdOf(*folder) : "", folder != nullptr ? KeyOf(*folder) : ""};
}

StoreChange::Place Mailbox::PlaceOf(const Folder& folder) const {
  const Folder* parent = FindFolder(folder.parent);
  return {IdOf(folder), KeyOf(folder), parent != nullptr ? IdOf(*parent) : "", parent != nullptr ? KeyOf(*parent) : ""};
}

Folder& Mailbox::Dumpster() {
  if (Folder* recoverable = Distinguished("recoverableitemsdeletions")) return *recoverable;
  if (Folder* hidden = Distinguished("dumpster")) return *hidden;
  auto folder = std::make_unique<Folder>();
  folder->number = ++last_number;
  folder->entry_id = FolderEntryId(guid, folder->number);
  folder->change = folder->born = ++last_change;
  folder->element = "Folder";
  folder->distinguished = "dumpster";
  distinguished["dumpster"] = folder->entry_id;
  Folder& result = *folder;
  Note(result.entry_id);
  folders.emplace(result.entry_id, std::move(folder));
  return result;
}

Folder& Mailbox::NewFolder(Folder& parent, const std::string& element, const std::string& display_name,
                           const std::string& folder_class) {
  auto folder = std::make_unique<Folder>();
  folder->number = ++last_number;
  folder->entry_id = FolderEntryId(guid, folder->number);
  folder->committed = Now();
  folder->change = folder->born = ++last_change;
  folder->parent = parent.entry_id;
  folder->element = element;
  folder->display_name = display_name;
  folder->folder_class = folder_class;
  parent.children.push_back(folder->entry_id);
  parent.change = ++last_change;
  Note(parent.entry_id);
  Note(folder->entry_id);
  Folder& result = *folder;
  folders.emplace(result.entry_id, std::move(folder));
  return result;
}

Folder& Mailbox::AddFolder(Folder& parent, const std::string& element, const std::string& display_name,
                           const std::string& folder_class) {
  Folder& folder = NewFolder(parent, element, display_name, folder_class);
  Tell(StoreChange::Kind::kCreated, folder);
  Tell(StoreChange::Kind::kModified, parent);
  return folder;
}

Item& Mailbox::Put(Folder& folder, std::shared_ptr<Item> item) {
  Reach::Check(*lock);
  item->number = ++last_number;
  item->entry_id = ItemEntryId(guid, folder.number, item->number);
  item->folder = folder.entry_id;
  if (item->created == 0) item->created = Now();
  if (item->modified == 0) item->modified = item->created;
  if (item->received == 0) item->received = item->created;
  if (item->conversation_index.empty()) {
    std::string index(1, '\x01');
    for (int shift = 32; shift >= 0; shift -= 8) index += static_cast<char>(item->created >> shift & 0xff);
    index += item->entry_id.substr(item->entry_id.size() - 24, 16);
    item->conversation_index = index;
  }
  item->change = ++last_change;
  item->born = item->change;
  item->deleted_from.clear();
  Adopt(*item);
  folder.content_change = last_change;
  folder.committed = Now();
  Note(item->entry_id);
  Note(folder.entry_id);
  Item& result = *item;
  folder.items.emplace(item->number, item);
  items.emplace(result.entry_id, std::move(item));
  return result;
}

Folder* Mailbox::Take(const std::string& entry_id) {
  Reach::Check(*lock);
  const auto found = items.find(entry_id);
  if (found == items.end()) return nullptr;
  Folder* folder = FindFolder(found->second->folder);
  if (folder != nullptr) {
    folder->items.erase(found->second->number);
    folder->content_change = ++last_change;
    folder->committed = Now();
    Note(folder->entry_id);
    tombstones.push_back(
        {last_change, found->second->born, false, folder->entry_id, IdOf(*found->second), KeyOf(*found->second)});
    folder->search = {};
  }
  Note(found->first);
  items.erase(found);
  return folder;
}

Item& Mailbox::AddItem(Folder& folder, std::shared_ptr<Item> item) {
  Item& result = Put(folder, std::move(item));
  Tell(StoreChange::Kind::kCreated, result);
  Tell(StoreChange::Kind::kModified, folder);
  return result;
}

Item& Mailbox::Deliver(std::shared_ptr<Item> item) {
  Folder& inbox = *Distinguished("inbox");
  Item& result = Put(inbox, std::move(item));
  Tell(StoreChange::Kind::kNewMail, result);
  Tell(StoreChange::Kind::kCreated, result);
  Tell(StoreChange::Kind::kModified, inbox);
  return result;
}

void Mailbox::RemoveItem(const std::string& entry_id) {
  const std::shared_ptr<Item> item = FindItem(entry_id);
  if (item == nullptr) return;
  Folder* folder = Take(item->entry_id);
  Tell(StoreChange::Kind::kDeleted, *item);
  if (folder != nullptr) Tell(StoreChange::Kind::kModified, *folder);
}

Item& Mailbox::MoveItem(const std::shared_ptr<Item>& item, Mailbox& to, Folder& folder) {
  const std::shared_ptr<Item> moved = Copy(*item);
  moved->exceptions = item->exceptions;
  if (&to != this) {
    // Two mailboxes are two stores: the one loses an item, the other gets one.
    RemoveItem(item->entry_id);
    return to.AddItem(folder, moved);
  }
  const StoreChange::Place before = PlaceOf(*item);
  Folder* from = Take(item->entry_id);
  Item& result = Put(folder, moved);
  Tell(StoreChange::Kind::kMoved, result, before);
  if (from != nullptr) Tell(StoreChange::Kind::kModified, *from);
  if (from != &folder) Tell(StoreChange::Kind::kModified, folder);
  return result;
}

Item& Mailbox::CopyItem(const Item& item, Mailbox& to, Folder& folder) const {
  const std::shared_ptr<Item> copy = Copy(item);
  copy->exceptions = item.exceptions;
  copy->created = 0;
  if (&to != this) return to.AddItem(folder, copy);
  Item& result = to.Put(folder, copy);
  to.Tell(StoreChange::Kind::kCopied, result, PlaceOf(item));
  to.Tell(StoreChange::Kind::kModified, folder);
  return result;
}

void Mailbox::RemoveTree(const Folder& folder) {
  tombstones.push_back({++last_change, folder.born, true, folder.parent, IdOf(folder), KeyOf(folder)});
  for (const std::string& child : folder.children) RemoveTree(*FindFolder(child));
  for (const auto& [number, item] : folder.items) {
    Note(item->entry_id);
    items.erase(item->entry_id);
  }
  Note(folder.entry_id);
  folders.erase(std::string(folder.entry_id));
}

void Mailbox::RemoveFolder(const std::string& entry_id) {
  Folder* folder = FindFolder(entry_id);
  if (folder == nullptr) return;
  const StoreChange::Place before = PlaceOf(*folder);
  Folder* parent = FindFolder(folder->parent);
  if (parent != nullptr) std::erase(parent->children, folder->entry_id);
  RemoveTree(*folder);
  if (observers != nullptr) observers->Tell({*this, StoreChange::Kind::kDeleted, true, before, {}, nullptr, Now()});
  if (parent != nullptr) Touch(*parent);
}

void Mailbox::MoveFolder(Folder& folder, Folder& parent) {
  const StoreChange::Place before = PlaceOf(folder);
  Folder* old = FindFolder(folder.parent);
  if (old != nullptr) std::erase(old->children, folder.entry_id);
  tombstones.push_back({++last_change, folder.born, true, folder.parent, IdOf(folder), KeyOf(folder)});
  folder.deleted_from.clear();
  folder.parent = parent.entry_id;
  parent.children.push_back(folder.entry_id);
  folder.change = ++last_change;
  Note(folder.entry_id);
  Tell(StoreChange::Kind::kMoved, folder, before);
  if (old != nullptr) Touch(*old);
  if (old != &parent) Touch(parent);
}

Folder& Mailbox::CopyTree(const Folder& folder, Mailbox& to, Folder& parent) const {
  Folder& copy = to.NewFolder(parent, folder.element, folder.display_name, folder.folder_class);
  copy.extended = folder.extended;
  if (&to == this) {
    copy.search_parameters = folder.search_parameters;
    copy.live = folder.live;
  }
  for (const auto& [number, item] : folder.items) {
    const std::shared_ptr<Item> duplicate = Copy(*item);
    duplicate->exceptions = item->exceptions;
    to.Put(copy, duplicate);
  }
  // A copy into the folder itself would otherwise find itself among its children.
  for (const std::string& child : std::vector<std::string>(folder.children)) CopyTree(*FindFolder(child), to, copy);
  return copy;
}

Folder& Mailbox::CopyFolder(const Folder& folder, Mailbox& to, Folder& parent) const {
  Folder& copy = CopyTree(folder, to, parent);
  if (&to == this)
    to.Tell(StoreChange::Kind::kCopied, copy, PlaceOf(folder));
  else
    to.Tell(StoreChange::Kind::kCreated, copy);
  to.Tell(StoreChange::Kind::kModified, parent);
  return copy;
}

void Mailbox::Touch(Item& item, const std::string& by) {
  Reach::Check(*lock);
  item.change = ++last_change;
  item.modified = Now();
  item.modified_by = by;
  Note(item.entry_id);
  if (Folder* folder = FindFolder(item.folder)) {
    Note(folder->entry_id);
    folder->content_change = last_change;
    folder->committed = item.modified;
  }
  Tell(StoreChange::Kind::kModified, item);
}

void Mailbox::Replace(Item& item, Item&& with, const std::string& by) {
  const bool counted = item.IsUnread() != with.IsUnread();
  item = std::move(with);
  Touch(item, by);
  if (const Folder* folder = FindFolder(item.folder); counted && folder != nullptr)
    Tell(StoreChange::Kind::kModified, *folder);
}

void Mailbox::Touch(Folder& folder) {
  Reach::Check(*lock);
  folder.change = ++last_change;
  Note(folder.entry_id);
  Tell(StoreChange::Kind::kModified, folder);
}

void Mailbox::Adopt(Item& item) {
  for (Attachment& attachment : item.attachments) {
    if (attachment.number.empty()) {
      attachment.number.assign("\x10\0", 2);
      const std::uint64_t value = ++last_number;
      for (int shift = 56; shift >= 0; shift -= 8) attachment.number += static_cast<char>(value >> shift & 0xff);
      attachment.number += guid.substr(0, 8);
    }
    if (attachment.item == nullptr) continue;
    attachment.item->entry_id = item.entry_id;
    attachment.item->id_tail = attachment.number;
    attachment.item->folder = item.folder;
    attachment.item->change = item.change;
    Adopt(*attachment.item);
  }
}

void Mailbox::CheckQuota(std::size_t more) const {
  Reach::Check(*lock);
  if (owner.quota_bytes == 0) return;
  std::uint64_t size = more;
  for (const auto& [id, item] : items) size += item->Size();
  if (size > owner.quota_bytes) throw EwsError("ErrorQuotaExceeded");
}

std::string Mailbox::IdOf(const Item& item) const {
  return EwsId(guid, item.entry_id, item.id_tail);
}
std::string Mailbox::IdOf(const Folder& folder) const {
  return EwsId(guid, folder.entry_id);
}
std::string Mailbox::KeyOf(const Item& item) const {
  return ChangeKey(guid, KindOf(item), item.change);
}
std::string Mailbox::KeyOf(const Folder& folder) const {
  const unsigned char kind = folder.element == "CalendarFolder"   ? 2
                             : folder.element == "ContactsFolder" ? 3
                             : folder.element == "TasksFolder"    ? 4
                             : folder.element == "SearchFolder"   ? 7
                                                                  : 1;
  return ChangeKey(guid, kind, folder.change);
}

}  // namespace velmore::simulator
