// The mailboxes together: who has one, which folders it begins with, who may do what in it.

#include "simulator/mailbox/model.h"

#include <algorithm>

#include "simulator/mailbox/ids.h"

namespace velmore::simulator {

namespace {

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

}  // namespace

Store::Store(int version) : server_version(version) {
  public_folders_ = std::make_unique<Mailbox>();
  public_folders_->observers = &observers_;
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
    // An archive has the folders that the protocol has names for.
    if (mailbox.is_archive && DistinguishedSince("archive" + std::string(row.name)) < 0 &&
        row.name != std::string("root"))
      continue;
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
  mailbox->observers = &observers_;
  mailboxes_.push_back(std::move(mailbox));
}

void Store::RestorePublicFolders(std::unique_ptr<Mailbox> mailbox) {
  mailbox->observers = &observers_;
  public_folders_ = std::move(mailbox);
}

void Store::SendOutside(std::shared_ptr<const std::string> mime) {
  constexpr std::size_t kKept = 1000;
  if (sent_outside_.size() == kKept) sent_outside_.erase(sent_outside_.begin());
  sent_outside_.push_back(std::move(mime));
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
  mailbox->observers = &observers_;
  Mailbox& made = *mailboxes_.emplace_back(std::move(mailbox));
  if (user.archive) AddArchive(made);
  return made;
}

Mailbox* Store::ByAddress(std::string_view smtp_address) const {
  for (const auto& mailbox : mailboxes_)
    if (SameText(mailbox->owner.smtp_address, smtp_address)) return mailbox.get();
  return nullptr;
}

Mailbox* Store::ArchiveOf(const Mailbox& mailbox) const {
  for (const auto& archive : archives_)
    if (SameText(archive->owner.smtp_address, mailbox.owner.smtp_address)) return archive.get();
  return nullptr;
}

Mailbox& Store::AddArchive(const Mailbox& mailbox) {
  auto archive = std::make_unique<Mailbox>();
  archive->is_archive = true;
  archive->owner = mailbox.owner;
  archive->guid = NewGuid();
  MakeFolders(*archive);
  RestoreArchive(std::move(archive));
  return *archives_.back();
}

void Store::RestoreArchive(std::unique_ptr<Mailbox> archive) {
  archive->observers = &observers_;
  if (const Mailbox* mailbox = ByAddress(archive->owner.smtp_address)) archive->lock = mailbox->lock;
  archives_.push_back(std::move(archive));
}

Mailbox* Store::ByGuid(std::string_view guid) const {
  for (const auto& mailbox : mailboxes_)
    if (mailbox->guid == guid) return mailbox.get();
  for (const auto& archive : archives_)
    if (archive->guid == guid) return archive.get();
  return public_folders_->guid == guid ? public_folders_.get() : nullptr;
}

Mailbox* Store::ByEntry(std::string_view entry_id) const {
  for (const auto& mailbox : mailboxes_)
    if (mailbox->FindFolder(entry_id) != nullptr || mailbox->FindItem(entry_id) != nullptr) return mailbox.get();
  for (const auto& archive : archives_)
    if (archive->FindFolder(entry_id) != nullptr || archive->FindItem(entry_id) != nullptr) return archive.get();
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

Rights Store::AccessTo(const Mailbox& mailbox, const Folder& folder, const User& user) const {
  if (&mailbox != public_folders_.get() && SameText(mailbox.owner.smtp_address, user.smtp_address))
    return Access::kOwner;
  const std::string address = Lower(user.smtp_address);
  Rights access = &mailbox == public_folders_.get() ? Access::kAuthor : Access::kNone;
  const auto raise = [&](const std::string& granted_mailbox, const std::string& granted_folder, Access granted) {
    const bool is_public = &mailbox == public_folders_.get();
    if (is_public ? granted_mailbox != "public" : !SameText(granted_mailbox, mailbox.owner.smtp_address)) return;
    if (!granted_folder.empty()) {
      // A right in a folder holds for what is below it.
      const Folder* at = &folder;
      while (at != nullptr && at->distinguished != granted_folder) at = mailbox.FindFolder(at->parent);
      if (at == nullptr) return;
    }
    access |= granted;
  };
  const Mailbox* own = ByAddress(user.smtp_address);
  for (const Grant& grant : own != nullptr ? own->owner.grants : user.grants)
    raise(grant.mailbox, grant.folder, grant.access);
  if (const auto found = mailbox.access.find(address); found != mailbox.access.end()) access |= found->second;
  // Who is not named in a folder has what all have there.
  if (folder.permission_set) access |= RightsIn(*folder.permission_set, address);
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
