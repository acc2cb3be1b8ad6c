#include "simulator/mailbox/seed.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <vector>

#include "simulator/mailbox/mime.h"

namespace velmore::simulator {

namespace {

namespace fs = std::filesystem;
using Json = nlohmann::json;

std::string ReadFile(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) throw OptionError("Cannot read " + path.string() + ".");
  std::ostringstream out;
  out << in.rdbuf();
  return std::move(out).str();
}

Json ReadJson(const fs::path& path) {
  try {
    return Json::parse(ReadFile(path));
  } catch (const Json::exception& error) {
    throw OptionError(path.string() + " is no valid JSON: " + error.what());
  }
}

Access AccessNamed(const std::string& name) {
  if (name == "reviewer") return Access::kReviewer;
  if (name == "author") return Access::kAuthor;
  if (name == "editor") return Access::kEditor;
  if (name == "owner") return Access::kOwner;
  throw OptionError("Unknown access \"" + name + "\" in users.json; known are reviewer, author, editor and owner.");
}

/// Messages that carry no date of arrival came one hour after another, the last one just now.
Seconds FallbackTime(std::size_t index, std::size_t count) {
  return Now() - static_cast<Seconds>(count - index) * 3600;
}

/// Puts a generated attachment into the place of "@generate:BYTES@" in a message, so that large samples need no large files.
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
    Folder& parent = folder != nullptr ? *folder : *mailbox.Distinguished("msgfolderroot");
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
  if (directory.empty()) return;
  if (!fs::is_directory(directory)) throw OptionError("There is no seed folder " + directory + ".");
  const fs::path path = fs::path(directory) / "users.json";
  if (!fs::exists(path)) return;
  const Json json = ReadJson(path);
  try {
    for (const Json& entry : json.at("users")) {
      User user;
      user.name = entry.at("name").get<std::string>();
      user.smtp_address = entry.at("smtp").get<std::string>();
      user.display_name = entry.value("displayName", user.name);
      user.password = entry.value("password", std::string());
      user.may_impersonate = entry.value("mayImpersonate", false);
      for (const Json& grant : entry.value("access", Json::array()))
        user.grants.push_back({grant.at("mailbox").get<std::string>(), grant.value("folder", std::string()),
                               AccessNamed(grant.value("rights", std::string("reviewer")))});
      const bool known = std::any_of(options.users.begin(), options.users.end(), [&](const User& other) {
        return SameText(other.smtp_address, user.smtp_address);
      });
      if (!known) options.users.push_back(std::move(user));
    }
    for (const Json& entry : json.value("directory", Json::array()))
      options.directory.push_back(
          {entry.at("smtp").get<std::string>(), entry.value("displayName", entry.at("smtp").get<std::string>())});
  } catch (const Json::exception& error) {
    throw OptionError(path.string() + ": " + error.what());
  }
}

void ReadMessages(const std::string& directory, Store& store, const std::vector<const Mailbox*>& filled,
                  const AddXml& add_xml) {
  if (directory.empty()) return;
  for (const fs::directory_entry& entry : fs::directory_iterator(directory)) {
    if (!entry.is_directory()) continue;
    // A folder of messages bears the log-on name or the address of its mailbox.
    Mailbox* mailbox = store.ByLogon(entry.path().filename().string());
    if (mailbox == nullptr) throw OptionError("There is no user for the seed folder " + entry.path().string() + ".");
    if (std::find(filled.begin(), filled.end(), mailbox) != filled.end()) continue;
    ReadFolder(entry.path(), *mailbox, {}, add_xml);
  }
}

}  // namespace velmore::simulator
