#include "simulator/mailbox/seed.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <vector>

#include "simulator/mailbox/ids.h"
#include "simulator/mailbox/mime.h"
#include "simulator/mailbox/settings.h"

namespace velmore::simulator {

namespace {

namespace fs = std::filesystem;

std::string ReadFile(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) throw OptionError("Cannot read " + path.string() + ".");
  std::ostringstream out;
  out << in.rdbuf();
  return std::move(out).str();
}

/// Messages that carry no date of arrival came one hour after another, the last one just now.
Seconds FallbackTime(std::size_t index, std::size_t count) {
  return Now() - static_cast<Seconds>(count - index) * 3600;
}

/// Puts a generated attachment into the place of "@generate:BYTES@" in a message, so that large samples need no large
/// files.
std::string Generated(std::string text) {
  static const std::string kMark = "@generate:";
  const std::size_t at = text.find(kMark);
  if (at == std::string::npos) return text;
  const std::size_t end = text.find('@', at + kMark.size());
  if (end == std::string::npos) return text;
  const std::size_t size =
      std::min<std::size_t>(std::strtoull(text.c_str() + at + kMark.size(), nullptr, 10), 256u << 20);
  std::string bytes(size, '\0');
  std::uint32_t state = 2463534242u;
  for (char& c : bytes) {
    state ^= state << 13;
    state ^= state >> 17;
    state ^= state << 5;
    c = static_cast<char>(state >> 11);
  }
  const std::string base64 = EncodeBase64(bytes);
  std::string lines;
  for (std::size_t i = 0; i < base64.size(); i += 76) lines += base64.substr(i, 76) + "\r\n";
  text.replace(at, end + 1 - at, lines);
  return text;
}

using AddXml = std::function<void(Mailbox&, Folder&, const std::string& xml)>;

void ReadFolder(const fs::path& directory, Mailbox& mailbox, const std::string& name, const AddXml& add_xml) {
  std::vector<fs::path> files;
  std::vector<fs::path> folders;
  for (const fs::directory_entry& entry : fs::directory_iterator(directory)) {
    if (entry.is_directory()) folders.push_back(entry.path());
    if (entry.path().extension() == ".eml" || entry.path().extension() == ".xml") files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  std::sort(folders.begin(), folders.end());
  Folder* folder = name.empty() ? nullptr : &FolderByPath(mailbox, name, true);
  for (std::size_t i = 0; i < files.size(); ++i) {
    if (folder == nullptr)
      throw OptionError("Messages stand in the folders of a mailbox, not beside them: " + files[i].string() + ".");
    if (files[i].extension() == ".xml") {
      try {
        add_xml(mailbox, *folder, ReadFile(files[i]));
      } catch (const std::runtime_error& error) {
        throw OptionError(files[i].string() + ": " + error.what());
      }
      continue;
    }
    // A name may say what a MIME text cannot: "03-invitation.read.eml", "07-budget.flagged.eml".
    Item& item = SeedMessage(mailbox, *folder, std::make_shared<const std::string>(Generated(ReadFile(files[i]))),
                             FallbackTime(i, files.size()));
    const std::string file = files[i].filename().string();
    if (file.find(".read.") != std::string::npos) item.SetFlag("IsRead", true);
    if (file.find(".flagged.") != std::string::npos) {
      Element flag = Types("Flag");
      flag.Add("FlagStatus", "Flagged");
      item.Set(std::move(flag));
    }
  }
  for (const fs::path& child : folders)
    ReadFolder(child, mailbox, name.empty() ? child.filename().string() : name + "/" + child.filename().string(),
               add_xml);
}

}  // namespace

Folder& FolderByPath(Mailbox& mailbox, const std::string& path, bool create) {
  Folder* folder = nullptr;
  std::size_t at = 0;
  while (at <= path.size()) {
    const std::size_t end = std::min(path.find('/', at), path.size());
    const std::string part = path.substr(at, end - at);
    at = end + 1;
    if (part.empty()) continue;
    if (folder == nullptr && mailbox.Distinguished(part) != nullptr) {
      folder = mailbox.Distinguished(part);
      continue;
    }
    Folder* top = mailbox.Distinguished("msgfolderroot");
    Folder& parent = folder != nullptr ? *folder : top != nullptr ? *top : *mailbox.FindFolder(mailbox.root);
    Folder* found = nullptr;
    for (const std::string& child : parent.children)
      if (SameText(mailbox.FindFolder(child)->display_name, part)) found = mailbox.FindFolder(child);
    if (found == nullptr && !create)
      throw SimulatorError("There is no folder \"" + path + "\" in the mailbox of " + mailbox.owner.smtp_address + ".");
    folder = found != nullptr ? found : &mailbox.AddFolder(parent, "Folder", part, "IPF.Note");
  }
  if (folder == nullptr) throw SimulatorError("A folder needs a name.");
  return *folder;
}

Item& SeedMessage(Mailbox& mailbox, Folder& folder, std::shared_ptr<const std::string> mime, Seconds received) {
  std::shared_ptr<Item> item = ImportMime(std::move(mime), received);
  const bool drafts = folder.distinguished == "drafts" || folder.distinguished == "outbox";
  const bool sent = folder.distinguished == "sentitems";
  item->SetFlag("IsDraft", drafts || item->IsDraft());
  item->SetFlag("IsRead", drafts || sent);
  item->SetFlag("IsFromMe", sent);
  item->SetFlag("IsUnmodified", true);
  if (!drafts && !sent) {
    for (const char* property : {"ReceivedBy", "ReceivedRepresenting"}) {
      Element recipient = Types(property);
      recipient.Add(MailboxElement(mailbox.owner.display_name, mailbox.owner.smtp_address, "Mailbox"));
      item->Set(std::move(recipient));
    }
  }
  item->created = item->modified = item->received;
  item->modified_by = mailbox.owner.display_name;
  return mailbox.AddItem(folder, std::move(item));
}

void ReadUsers(const std::string& directory, Options& options) {
  if (!options.settings_file.empty()) ReadSettings(options.settings_file, options);
  if (directory.empty()) return;
  if (!fs::is_directory(directory)) throw OptionError("There is no seed folder " + directory + ".");
  const fs::path path = fs::path(directory) / "users.json";
  if (fs::exists(path)) ReadSettings(path.string(), options);
}

void FillFolder(Mailbox& mailbox, Folder& folder, std::size_t count, std::uint64_t seed) {
  static constexpr const char* kWords[] = {"lamp",  "glass", "stone", "harbour", "tide",   "rope",  "signal", "storm",
                                           "paint", "stair", "gull",  "fog",     "engine", "chart", "oil",    "bell"};
  static constexpr const char* kPeople[] = {"Ada Alder", "Ben Beech", "Cleo Cypress", "Dan Dogwood", "Eve Elm"};
  constexpr Seconds kBegin = 1767225600;  // 2026-01-01, so that the same items come today and tomorrow
  std::uint64_t state = seed * 0x9e3779b97f4a7c15u + 1;
  const auto next = [&state](std::size_t below) {
    state ^= state << 13;
    state ^= state >> 7;
    state ^= state << 17;
    return static_cast<std::size_t>(state >> 16) % below;
  };
  for (std::size_t i = 0; i < count; ++i) {
    auto item = std::make_shared<Item>();
    const std::string person = kPeople[next(std::size(kPeople))];
    const std::string address = Lower(person.substr(0, person.find(' '))) + "@example.net";
    const std::string words = std::string(kWords[next(16)]) + " " + kWords[next(16)] + " " + std::to_string(i);
    item->created = item->modified = item->received = item->sent = kBegin + static_cast<Seconds>(i) * 60;
    item->modified_by = person;
    item->text = "About the " + words + ".";
    item->Set("Subject", words);
    item->Set("Importance", next(10) == 0 ? "High" : "Normal");
    item->Set("Sensitivity", "Normal");
    if (folder.element == "ContactsFolder") {
      item->element = "Contact";
      item->Set("ItemClass", "IPM.Contact");
      item->Set("DisplayName", words);
    } else if (folder.element == "TasksFolder") {
      item->element = "Task";
      item->Set("ItemClass", "IPM.Task");
      item->Set("Status", next(2) == 0 ? "NotStarted" : "InProgress");
      item->Set("DueDate", TimeText(item->created + 86400));
    } else if (folder.element == "CalendarFolder") {
      item->element = "CalendarItem";
      item->Set("ItemClass", "IPM.Appointment");
      item->Set("CalendarItemType", "Single");
      item->Set("Start", TimeText(item->created));
      item->Set("End", TimeText(item->created + 1800 * static_cast<Seconds>(1 + next(4))));
      item->Set("LegacyFreeBusyStatus", "Busy");
    } else {
      item->element = "Message";
      item->Set("ItemClass", "IPM.Note");
      item->Set("ConversationTopic", words);
      item->SetFlag("IsRead", next(3) != 0);
      item->Set("InternetMessageId", "<" + std::to_string(seed) + "." + std::to_string(i) + "@example.net>");
      for (const char* name : {"From", "Sender"}) {
        Element holder = Types(name);
        holder.Add(MailboxElement(person, address));
        item->Set(std::move(holder));
      }
      Element to = Types("ToRecipients");
      to.Add(MailboxElement(mailbox.owner.display_name, mailbox.owner.smtp_address, "Mailbox"));
      item->Set(std::move(to));
    }
    mailbox.AddItem(folder, std::move(item));
  }
}

Mailbox& MailboxNamed(Store& store, const std::string& name) {
  if (name == "public") return store.PublicFolders();
  const std::string base = name.ends_with("/archive") ? name.substr(0, name.size() - 8) : name;
  Mailbox* mailbox = store.ByAddress(base);
  if (mailbox == nullptr) mailbox = store.ByLogon(base);
  if (mailbox != nullptr && base != name) mailbox = store.ArchiveOf(*mailbox);
  if (mailbox == nullptr) throw SimulatorError("There is no mailbox " + name + ".");
  return *mailbox;
}

void ReadMessages(const std::string& directory, Store& store, const std::vector<const Mailbox*>& filled,
                  const AddXml& add_xml) {
  if (directory.empty()) return;
  for (const fs::directory_entry& entry : fs::directory_iterator(directory)) {
    if (!entry.is_directory()) continue;
    // A folder of messages bears the log-on name or the address of its mailbox, with ".archive" behind it for the
    // archive.
    std::string name = entry.path().filename().string();
    if (name.ends_with(".archive")) name.replace(name.size() - 8, 1, "/");
    Mailbox* mailbox = nullptr;
    try {
      mailbox = &MailboxNamed(store, name);
    } catch (const SimulatorError&) {
      throw OptionError("There is no user for the seed folder " + entry.path().string() + ".");
    }
    if (std::find(filled.begin(), filled.end(), mailbox) != filled.end()) continue;
    ReadFolder(entry.path(), *mailbox, {}, add_xml);
  }
}

}  // namespace velmore::simulator
