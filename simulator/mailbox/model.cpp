#include "simulator/mailbox/model.h"

#include <algorithm>
#include <charconv>

#include "simulator/mailbox/ids.h"
#include "simulator/protocol/texts.h"

namespace velmore::simulator {

namespace {

const std::string kEmpty;

struct DistinguishedRow {
  const char* name;
  const char* parent;  // distinguished name, "" below the root
  const char* element;
  const char* folder_class;
  const char* display_name;  // null: a name of the protocol that this server has no folder for
  int since;
};

constexpr DistinguishedRow kDistinguished[] = {
    {"root", "", "Folder", "", "", 0},
    {"msgfolderroot", "root", "Folder", "", "Top of Information Store", 0},
    {"inbox", "msgfolderroot", "Folder", "IPF.Note", "Inbox", 0},
    {"drafts", "msgfolderroot", "Folder", "IPF.Note", "Drafts", 0},
    {"sentitems", "msgfolderroot", "Folder", "IPF.Note", "Sent Items", 0},
    {"deleteditems", "msgfolderroot", "Folder", "IPF.Note", "Deleted Items", 0},
    {"outbox", "msgfolderroot", "Folder", "IPF.Note", "Outbox", 0},
    {"junkemail", "msgfolderroot", "Folder", "IPF.Note", "Junk Email", 0},
    {"calendar", "msgfolderroot", "CalendarFolder", "IPF.Appointment", "Calendar", 0},
    {"contacts", "msgfolderroot", "ContactsFolder", "IPF.Contact", "Contacts", 0},
    {"tasks", "msgfolderroot", "TasksFolder", "IPF.Task", "Tasks", 0},
    {"notes", "msgfolderroot", "Folder", "IPF.StickyNote", "Notes", 0},
    {"journal", "msgfolderroot", "Folder", "IPF.Journal", "Journal", 0},
    {"searchfolders", "root", "Folder", "", "Finder", 0},
    {"voicemail", "root", "SearchFolder", "IPF.Note.Microsoft.Voicemail", "Voice Mail", 0},
    {"publicfoldersroot", "", "", "", nullptr, 0},
    {"recoverableitemsroot", "root", "Folder", "", "Recoverable Items", 4},
    {"recoverableitemsdeletions", "recoverableitemsroot", "Folder", "", "Deletions", 4},
    {"recoverableitemsversions", "recoverableitemsroot", "Folder", "", "Versions", 4},
    {"recoverableitemspurges", "recoverableitemsroot", "Folder", "", "Purges", 4},
    {"recoverableitemsdiscoveryholds", "recoverableitemsroot", "Folder", "", "DiscoveryHolds", 10},
    {"archiveroot", "", "", "", nullptr, 4},
    {"archivemsgfolderroot", "", "", "", nullptr, 4},
    {"archivedeleteditems", "", "", "", nullptr, 4},
    {"archiveinbox", "", "", "", nullptr, 10},
    {"archiverecoverableitemsroot", "", "", "", nullptr, 4},
    {"archiverecoverableitemsdeletions", "", "", "", nullptr, 4},
    {"archiverecoverableitemsversions", "", "", "", nullptr, 4},
    {"archiverecoverableitemspurges", "", "", "", nullptr, 4},
    {"archiverecoverableitemsdiscoveryholds", "", "", "", nullptr, 10},
    {"syncissues", "msgfolderroot", "Folder", "IPF.Note", "Sync Issues", 7},
    {"conflicts", "syncissues", "Folder", "IPF.Note", "Conflicts", 7},
    {"localfailures", "syncissues", "Folder", "IPF.Note", "Local Failures", 7},
    {"serverfailures", "syncissues", "Folder", "IPF.Note", "Server Failures", 7},
    {"recipientcache", "contacts", "ContactsFolder", "IPF.Contact.RecipientCache", "Recipient Cache", 7},
    {"quickcontacts", "contacts", "ContactsFolder", "IPF.Contact.MOC.QuickContacts", "Quick Contacts", 7},
    {"conversationhistory", "msgfolderroot", "Folder", "IPF.Note", "Conversation History", 7},
    {"adminauditlogs", "", "", "", nullptr, 7},
    {"todosearch", "root", "SearchFolder", "IPF.Task", "To-Do Search", 7},
    {"mycontacts", "root", "SearchFolder", "IPF.Contact", "MyContacts", 7},
    {"directory", "", "", "", nullptr, 8},
    {"imcontactlist", "contacts", "ContactsFolder", "IPF.Contact.MOC.ImContactList",
     "{A9E2BC46-B3A0-4243-B315-60D991004455}", 8},
    {"peopleconnect", "contacts", "ContactsFolder", "IPF.Contact.PeopleConnect", "PeopleConnect", 8},
    {"favorites", "root", "SearchFolder", "IPF.Note", "Favorites", 8},
    {"mecontact", "", "", "", nullptr, 10},
    {"personmetadata", "", "", "", nullptr, 10},
    {"teamspaceactivity", "", "", "", nullptr, 10},
    {"teamspacemessaging", "", "", "", nullptr, 10},
    {"teamspaceworkitems", "", "", "", nullptr, 10},
    {"scheduled", "", "", "", nullptr, 10},
};

struct SetRow {
  const char* name;
  const char* guid;
};
constexpr SetRow kDistinguishedSets[] = {
    {"Meeting", "6ed8da90-450b-101b-98da-00aa003f1305"},
    {"Appointment", "00062002-0000-0000-c000-000000000046"},
    {"Common", "00062008-0000-0000-c000-000000000046"},
    {"PublicStrings", "00020329-0000-0000-c000-000000000046"},
    {"Address", "00062004-0000-0000-c000-000000000046"},
    {"InternetHeaders", "00020386-0000-0000-c000-000000000046"},
    {"CalendarAssistant", "11000e07-b51b-40d6-af21-caa85edab1d0"},
    {"UnifiedMessaging", "4442858e-a9e3-4e80-b900-317a210cc15b"},
    {"Task", "00062003-0000-0000-c000-000000000046"},
    {"Sharing", "00062040-0000-0000-c000-000000000046"},
};

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

std::string Lower(std::string_view text) {
  std::string out(text);
  for (char& c : out)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + 32);
  return out;
}

bool SameText(std::string_view a, std::string_view b) {
  return a.size() == b.size() && Lower(a) == Lower(b);
}

EwsError::EwsError(std::string error_code, const std::string& text)
    : std::runtime_error(text.empty() ? std::string(DefaultText(error_code)) : text), code(std::move(error_code)) {}

ValueKind ExtendedKey::Kind() const {
  std::string_view base = type;
  if (IsArray()) base.remove_suffix(5);
  if (base == "Boolean") return ValueKind::kBoolean;
  if (base == "Integer" || base == "Long" || base == "Short" || base == "Error") return ValueKind::kInteger;
  if (base == "SystemTime") return ValueKind::kDateTime;
  if (base == "Double" || base == "Float" || base == "Currency" || base == "ApplicationTime") return ValueKind::kDouble;
  if (base == "Binary") return ValueKind::kBinary;
  return ValueKind::kString;
}

ExtendedKey ParseExtendedKey(const Element& uri) {
  const std::string* tag = uri.Attribute("PropertyTag");
  const std::string* set = uri.Attribute("PropertySetId");
  const std::string* distinguished = uri.Attribute("DistinguishedPropertySetId");
  const std::string* name = uri.Attribute("PropertyName");
  const std::string* id = uri.Attribute("PropertyId");
  const auto refuse = [](const char* text) { return EwsError("ErrorInvalidExtendedProperty", text); };
  ExtendedKey key;
  key.type = uri.AttributeText("PropertyType");
  if (key.type.starts_with("Object") || key.type == "Null" || key.type == "Error")
    throw EwsError("ErrorUnsupportedMapiPropertyType", "This property type is not supported.");
  if (tag != nullptr) {
    if (set != nullptr || distinguished != nullptr || name != nullptr || id != nullptr)
      throw refuse(
          "PropertyTag cannot be used with DistinguishedPropertySetId, PropertySetId, PropertyName or PropertyId.");
    std::string_view digits = *tag;
    int base = 10;
    if (digits.starts_with("0x") || digits.starts_with("0X")) {
      digits.remove_prefix(2);
      base = 16;
    }
    const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), key.number, base);
    if (digits.empty() || result.ec != std::errc() || result.ptr != digits.data() + digits.size() || key.number < 0 ||
        key.number > 0xffff)
      throw SchemaViolation("The 'PropertyTag' attribute is invalid - The value '" + *tag +
                                "' is invalid according to its datatype '" + std::string(kTypesNamespace) +
                                ":PropertyTagType'.",
                            uri.line, uri.column);
    if (key.number >= 0x8000)
      throw EwsError("ErrorNoPropertyTagForCustomProperties", "Custom properties cannot be accessed by property tag.");
    return key;
  }
  if ((set != nullptr) == (distinguished != nullptr))
    throw refuse(
        "An extended property needs exactly one of PropertyTag, PropertySetId and DistinguishedPropertySetId.");
  if ((name != nullptr) == (id != nullptr))
    throw refuse("An extended property of a property set needs exactly one of PropertyName and PropertyId.");
  if (set != nullptr) {
    key.set = Lower(*set);
  } else {
    for (const SetRow& row : kDistinguishedSets)
      if (*distinguished == row.name) key.set = row.guid;
  }
  if (name != nullptr) {
    key.name = *name;
    if (key.set == "00020386-0000-0000-c000-000000000046") key.name = Lower(key.name);
  } else {
    std::from_chars(id->data(), id->data() + id->size(), key.number);
  }
  return key;
}

Element WriteExtendedKey(const ExtendedKey& key) {
  Element uri = Types("ExtendedFieldURI");
  if (key.set.empty()) {
    std::string digits;
    for (std::int64_t rest = key.number; rest > 0 || digits.empty(); rest /= 16)
      digits.insert(digits.begin(), "0123456789abcdef"[rest % 16]);
    uri.Set("PropertyTag", "0x" + digits);
  } else {
    const char* distinguished = nullptr;
    for (const SetRow& row : kDistinguishedSets)
      if (key.set == row.guid) distinguished = row.name;
    if (distinguished != nullptr)
      uri.Set("DistinguishedPropertySetId", distinguished);
    else
      uri.Set("PropertySetId", key.set);
    if (key.name.empty())
      uri.Set("PropertyId", std::to_string(key.number));
    else
      uri.Set("PropertyName", key.name);
  }
  uri.Set("PropertyType", key.type);
  return uri;
}

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

Folder* Mailbox::FindFolder(std::string_view entry_id) const {
  const auto found = folders.find(std::string(entry_id));
  return found != folders.end() ? found->second.get() : nullptr;
}

std::shared_ptr<Item> Mailbox::FindItem(std::string_view entry_id) const {
  const auto found = items.find(std::string(entry_id));
  return found != items.end() ? found->second : nullptr;
}

Folder* Mailbox::Distinguished(std::string_view name) const {
  const auto found = distinguished.find(std::string(name));
  return found != distinguished.end() ? FindFolder(found->second) : nullptr;
}

Folder& Mailbox::AddFolder(Folder& parent, const std::string& element, const std::string& display_name,
                           const std::string& folder_class) {
  auto folder = std::make_unique<Folder>();
  folder->number = ++last_number;
  folder->entry_id = FolderEntryId(guid, folder->number);
  folder->change = ++last_change;
  folder->parent = parent.entry_id;
  folder->element = element;
  folder->display_name = display_name;
  folder->folder_class = folder_class;
  parent.children.push_back(folder->entry_id);
  Touch(parent);
  Folder& result = *folder;
  folders.emplace(result.entry_id, std::move(folder));
  return result;
}

Item& Mailbox::AddItem(Folder& folder, std::shared_ptr<Item> item) {
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
  Adopt(*item);
  folder.content_change = last_change;
  Item& result = *item;
  folder.items.emplace(item->number, item);
  items.emplace(result.entry_id, std::move(item));
  return result;
}

void Mailbox::RemoveItem(const std::string& entry_id) {
  const auto found = items.find(entry_id);
  if (found == items.end()) return;
  if (Folder* folder = FindFolder(found->second->folder)) {
    folder->items.erase(found->second->number);
    folder->content_change = ++last_change;
    folder->search = {};
  }
  items.erase(found);
}

void Mailbox::RemoveFolder(const std::string& entry_id) {
  Folder* folder = FindFolder(entry_id);
  if (folder == nullptr) return;
  for (const std::string& child : std::vector<std::string>(folder->children)) RemoveFolder(child);
  for (const auto& [number, item] : folder->items) items.erase(item->entry_id);
  if (Folder* parent = FindFolder(folder->parent)) {
    std::erase(parent->children, entry_id);
    Touch(*parent);
  }
  folders.erase(entry_id);
}

void Mailbox::Touch(Item& item, const std::string& by) {
  item.change = ++last_change;
  item.modified = Now();
  item.modified_by = by;
  if (Folder* folder = FindFolder(item.folder)) folder->content_change = last_change;
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

Store::Store(int version) : server_version(version) {
  public_folders_ = std::make_unique<Mailbox>();
  public_folders_->guid = NewGuid();
  public_folders_->owner.display_name = "Public Folders";
  auto root = std::make_unique<Folder>();
  root->number = 1;
  root->entry_id = FolderEntryId(public_folders_->guid, 1);
  root->change = 1;
  root->element = "Folder";
  root->display_name = "IPM_SUBTREE";
  root->distinguished = "publicfoldersroot";
  public_folders_->root = root->entry_id;
  public_folders_->distinguished["publicfoldersroot"] = root->entry_id;
  public_folders_->folders.emplace(root->entry_id, std::move(root));
}

void Store::MakeFolders(Mailbox& mailbox) const {
  for (const DistinguishedRow& row : kDistinguished) {
    if (row.display_name == nullptr || row.since > server_version) continue;
    Folder* folder = nullptr;
    if (*row.parent == '\0') {
      auto root = std::make_unique<Folder>();
      root->number = ++mailbox.last_number;
      root->entry_id = FolderEntryId(mailbox.guid, root->number);
      root->change = ++mailbox.last_change;
      root->element = row.element;
      mailbox.root = root->entry_id;
      folder = mailbox.folders.emplace(root->entry_id, std::move(root)).first->second.get();
    } else {
      folder = &mailbox.AddFolder(*mailbox.Distinguished(row.parent), row.element, row.display_name, row.folder_class);
    }
    folder->distinguished = row.name;
    mailbox.distinguished[row.name] = folder->entry_id;
  }
}

void Store::SetOwner(Mailbox& mailbox, const User& user) {
  mailbox.owner = user;
  if (mailbox.owner.name.empty()) mailbox.owner.name = user.smtp_address.substr(0, user.smtp_address.find('@'));
  if (mailbox.owner.display_name.empty()) mailbox.owner.display_name = mailbox.owner.name;
}

void Store::Restore(std::unique_ptr<Mailbox> mailbox) {
  if (ByAddress(mailbox->owner.smtp_address) != nullptr)
    throw SimulatorError("There are two mailboxes of " + mailbox->owner.smtp_address + ".");
  mailboxes_.push_back(std::move(mailbox));
}

Mailbox& Store::AddMailbox(const User& user) {
  if (user.smtp_address.find('@') == std::string::npos)
    throw OptionError("The address of a user must be an SMTP address: \"" + user.smtp_address + "\".");
  if (ByAddress(user.smtp_address) != nullptr)
    throw OptionError("There are two users with the address " + user.smtp_address + ".");
  auto mailbox = std::make_unique<Mailbox>();
  SetOwner(*mailbox, user);
  mailbox->guid = NewGuid();
  MakeFolders(*mailbox);
  return *mailboxes_.emplace_back(std::move(mailbox));
}

Mailbox* Store::ByAddress(std::string_view smtp_address) const {
  for (const auto& mailbox : mailboxes_)
    if (SameText(mailbox->owner.smtp_address, smtp_address)) return mailbox.get();
  return nullptr;
}

Mailbox* Store::ByGuid(std::string_view guid) const {
  for (const auto& mailbox : mailboxes_)
    if (mailbox->guid == guid) return mailbox.get();
  return public_folders_->guid == guid ? public_folders_.get() : nullptr;
}

Mailbox* Store::ByEntry(std::string_view entry_id) const {
  for (const auto& mailbox : mailboxes_)
    if (mailbox->FindFolder(entry_id) != nullptr || mailbox->FindItem(entry_id) != nullptr) return mailbox.get();
  if (public_folders_->FindFolder(entry_id) != nullptr || public_folders_->FindItem(entry_id) != nullptr)
    return public_folders_.get();
  return nullptr;
}

Mailbox* Store::ByLogon(std::string_view name) const {
  if (const std::size_t slash = name.find('\\'); slash != std::string_view::npos) name.remove_prefix(slash + 1);
  for (const auto& mailbox : mailboxes_)
    if (SameText(mailbox->owner.name, name) || SameText(mailbox->owner.smtp_address, name)) return mailbox.get();
  return nullptr;
}

Access Store::AccessTo(const Mailbox& mailbox, const Folder& folder, const User& user) const {
  if (SameText(mailbox.owner.smtp_address, user.smtp_address)) return Access::kOwner;
  const std::string address = Lower(user.smtp_address);
  Access access = &mailbox == public_folders_.get() ? Access::kAuthor : Access::kNone;
  const auto raise = [&](const std::string& granted_mailbox, const std::string& granted_folder, Access granted) {
    if (!SameText(granted_mailbox, mailbox.owner.smtp_address)) return;
    if (!granted_folder.empty()) {
      // A right in a folder holds for what is below it.
      const Folder* at = &folder;
      while (at != nullptr && at->distinguished != granted_folder) at = mailbox.FindFolder(at->parent);
      if (at == nullptr) return;
    }
    access = std::max(access, granted);
  };
  const Mailbox* own = ByAddress(user.smtp_address);
  for (const Grant& grant : own != nullptr ? own->owner.grants : user.grants)
    raise(grant.mailbox, grant.folder, grant.access);
  if (const auto found = mailbox.access.find(address); found != mailbox.access.end())
    access = std::max(access, found->second);
  if (const auto found = folder.access.find(address); found != folder.access.end())
    access = std::max(access, found->second);
  return access;
}

std::vector<std::string> DistinguishedNames(int since) {
  std::vector<std::string> names;
  for (const DistinguishedRow& row : kDistinguished)
    if (row.display_name != nullptr && row.since >= since) names.emplace_back(row.name);
  return names;
}

int DistinguishedSince(std::string_view name) {
  for (const DistinguishedRow& row : kDistinguished)
    if (name == row.name) return row.since;
  return -1;
}

}  // namespace velmore::simulator
