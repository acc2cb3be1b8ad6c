#include "simulator/mailbox/state.h"

#include <map>
#include <nlohmann/json.hpp>

#include "simulator/mailbox/ids.h"
#include "simulator/mailbox/search.h"

namespace velmore::simulator {

namespace {

using Json = nlohmann::json;

bool IsUtf8(std::string_view text) {
  for (std::size_t i = 0; i < text.size();) {
    const auto lead = static_cast<unsigned char>(text[i]);
    const std::size_t length = lead < 0x80   ? 1
                               : lead < 0xc2 ? 0
                               : lead < 0xe0 ? 2
                               : lead < 0xf0 ? 3
                               : lead < 0xf5 ? 4
                                             : 0;
    if (length == 0 || i + length > text.size()) return false;
    for (std::size_t k = 1; k < length; ++k)
      if ((static_cast<unsigned char>(text[i + k]) & 0xc0) != 0x80) return false;
    if (length > 2) {
      const auto second = static_cast<unsigned char>(text[i + 1]);
      if ((lead == 0xe0 && second < 0xa0) || (lead == 0xed && second > 0x9f) || (lead == 0xf0 && second < 0x90) ||
          (lead == 0xf4 && second > 0x8f))
        return false;
    }
    i += length;
  }
  return true;
}

// Texts stay readable; bytes that are none go as base64.

Json Pack(const std::string& bytes) {
  if (IsUtf8(bytes)) return bytes;
  return Json{{"base64", EncodeBase64(bytes)}};
}

std::string Unpack(const Json& json) {
  return json.is_object() ? DecodeBase64(json.at("base64").get_ref<const std::string&>()) : json.get<std::string>();
}

Json PackShared(const std::shared_ptr<const std::string>& bytes) {
  return bytes != nullptr ? Pack(*bytes) : Json();
}

std::shared_ptr<const std::string> UnpackShared(const Json& json) {
  return json.is_null() ? nullptr : std::make_shared<const std::string>(Unpack(json));
}

Json PackElement(const Element& element) {
  Json json{{"name", Pack(element.name)}};
  if (element.space != Space::kTypes) json["space"] = static_cast<int>(element.space);
  if (!element.text.empty()) json["text"] = Pack(element.text);
  if (element.base64 != nullptr) json["bytes"] = Pack(*element.base64);
  for (const auto& [name, value] : element.attributes) json["attributes"].push_back({Pack(name), Pack(value)});
  for (const Element& child : element.children) json["children"].push_back(PackElement(child));
  return json;
}

Element UnpackElement(const Json& json) {
  Element element;
  element.name = Unpack(json.at("name"));
  const int space = json.value("space", static_cast<int>(Space::kTypes));
  if (space < 0 || space > static_cast<int>(Space::kOther)) throw std::out_of_range("an unknown namespace");
  element.space = static_cast<Space>(space);
  if (json.contains("text")) element.text = Unpack(json["text"]);
  if (json.contains("bytes")) element.base64 = UnpackShared(json["bytes"]);
  if (json.contains("attributes"))
    for (const Json& attribute : json["attributes"])
      element.attributes.emplace_back(Unpack(attribute.at(0)), Unpack(attribute.at(1)));
  if (json.contains("children"))
    for (const Json& child : json["children"]) element.children.push_back(UnpackElement(child));
  return element;
}

Json PackExtended(const std::vector<ExtendedValue>& list) {
  Json json = Json::array();
  for (const ExtendedValue& value : list) {
    Json values = Json::array();
    for (const std::string& text : value.values) values.push_back(Pack(text));
    json.push_back({{"set", Pack(value.key.set)},
                    {"name", Pack(value.key.name)},
                    {"number", value.key.number},
                    {"type", Pack(value.key.type)},
                    {"values", std::move(values)}});
  }
  return json;
}

std::vector<ExtendedValue> UnpackExtended(const Json& json) {
  std::vector<ExtendedValue> list;
  for (const Json& entry : json) {
    ExtendedValue value;
    value.key = {Unpack(entry.at("set")), Unpack(entry.at("name")), entry.at("number").get<std::int64_t>(),
                 Unpack(entry.at("type"))};
    for (const Json& text : entry.at("values")) value.values.push_back(Unpack(text));
    list.push_back(std::move(value));
  }
  return list;
}

Json PackAccess(const std::map<std::string, Access>& access) {
  Json json = Json::array();
  for (const auto& [address, right] : access) json.push_back({Pack(address), static_cast<int>(right)});
  return json;
}

Access UnpackRight(const Json& json) {
  const int right = json.get<int>();
  if (right < static_cast<int>(Access::kNone) || right > static_cast<int>(Access::kOwner))
    throw std::out_of_range("an unknown right");
  return static_cast<Access>(right);
}

std::map<std::string, Access> UnpackAccess(const Json& json) {
  std::map<std::string, Access> access;
  for (const Json& entry : json) access[Unpack(entry.at(0))] = UnpackRight(entry.at(1));
  return access;
}

Json PackItem(const Item& item) {
  Json json{{"id", Pack(item.entry_id)},
            {"number", item.number},
            {"change", item.change},
            {"folder", Pack(item.folder)},
            {"element", Pack(item.element)},
            {"born", item.born},
            {"deletedFrom", Pack(item.deleted_from)},
            {"received", item.received},
            {"sent", item.sent},
            {"created", item.created},
            {"modified", item.modified},
            {"modifiedBy", Pack(item.modified_by)},
            {"conversation", Pack(item.conversation_index)},
            {"extended", PackExtended(item.extended)},
            {"html", Pack(item.html)},
            {"text", Pack(item.text)},
            {"mime", PackShared(item.mime)},
            {"headers", Pack(item.headers)},
            {"tail", Pack(item.id_tail)},
            {"properties", Json::array()},
            {"attachments", Json::array()},
            {"written", Json::array()},
            {"exceptions", Json::array()}};
  for (const Element& property : item.properties) json["properties"].push_back(PackElement(property));
  for (const Attachment& attachment : item.attachments)
    json["attachments"].push_back({{"number", Pack(attachment.number)},
                                   {"isItem", attachment.is_item},
                                   {"name", Pack(attachment.name)},
                                   {"contentType", Pack(attachment.content_type)},
                                   {"contentId", Pack(attachment.content_id)},
                                   {"contentLocation", Pack(attachment.content_location)},
                                   {"isInline", attachment.is_inline},
                                   {"isContactPhoto", attachment.is_contact_photo},
                                   {"modified", attachment.modified},
                                   {"content", PackShared(attachment.content)},
                                   {"item", attachment.item != nullptr ? PackItem(*attachment.item) : Json()}});
  for (const auto& [name, change] : item.written) json["written"].push_back({Pack(name), change});
  for (const auto& [start, exception] : item.exceptions)
    json["exceptions"].push_back({start, exception != nullptr ? PackItem(*exception) : Json()});
  return json;
}

std::shared_ptr<Item> UnpackItem(const Json& json) {
  auto item = std::make_shared<Item>();
  item->entry_id = Unpack(json.at("id"));
  item->number = json.at("number").get<std::uint64_t>();
  item->change = json.at("change").get<std::uint64_t>();
  item->folder = Unpack(json.at("folder"));
  item->element = Unpack(json.at("element"));
  item->born = json.value("born", item->change);
  if (json.contains("deletedFrom")) item->deleted_from = Unpack(json["deletedFrom"]);
  item->received = json.at("received").get<Seconds>();
  item->sent = json.at("sent").get<Seconds>();
  item->created = json.at("created").get<Seconds>();
  item->modified = json.at("modified").get<Seconds>();
  item->modified_by = Unpack(json.at("modifiedBy"));
  item->conversation_index = Unpack(json.at("conversation"));
  item->extended = UnpackExtended(json.at("extended"));
  item->html = Unpack(json.at("html"));
  item->text = Unpack(json.at("text"));
  item->mime = UnpackShared(json.at("mime"));
  item->headers = Unpack(json.at("headers"));
  item->id_tail = Unpack(json.at("tail"));
  for (const Json& property : json.at("properties")) item->properties.push_back(UnpackElement(property));
  for (const Json& entry : json.at("attachments")) {
    Attachment attachment;
    attachment.number = Unpack(entry.at("number"));
    attachment.is_item = entry.at("isItem").get<bool>();
    attachment.name = Unpack(entry.at("name"));
    attachment.content_type = Unpack(entry.at("contentType"));
    attachment.content_id = Unpack(entry.at("contentId"));
    attachment.content_location = Unpack(entry.at("contentLocation"));
    attachment.is_inline = entry.at("isInline").get<bool>();
    attachment.is_contact_photo = entry.at("isContactPhoto").get<bool>();
    attachment.modified = entry.at("modified").get<Seconds>();
    attachment.content = UnpackShared(entry.at("content"));
    if (!entry.at("item").is_null()) attachment.item = UnpackItem(entry["item"]);
    item->attachments.push_back(std::move(attachment));
  }
  for (const Json& entry : json.at("written")) item->written[Unpack(entry.at(0))] = entry.at(1).get<std::uint64_t>();
  for (const Json& entry : json.at("exceptions"))
    item->exceptions[entry.at(0).get<Seconds>()] = entry.at(1).is_null() ? nullptr : UnpackItem(entry[1]);
  return item;
}

Json PackFolder(const Folder& folder) {
  Json json{{"id", Pack(folder.entry_id)},
            {"number", folder.number},
            {"change", folder.change},
            {"contentChange", folder.content_change},
            {"parent", Pack(folder.parent)},
            {"element", Pack(folder.element)},
            {"class", Pack(folder.folder_class)},
            {"displayName", Pack(folder.display_name)},
            {"distinguished", Pack(folder.distinguished)},
            {"extended", PackExtended(folder.extended)},
            {"born", folder.born},
            {"committed", folder.committed},
            {"deletedFrom", Pack(folder.deleted_from)},
            {"children", Json::array()}};
  if (folder.search_parameters) json["search"] = PackElement(*folder.search_parameters);
  if (folder.permission_set) json["permissions"] = PackElement(*folder.permission_set);
  for (const std::string& child : folder.children) json["children"].push_back(Pack(child));
  return json;
}

Json PackRules(const DeliveryRules& rules) {
  Json json{{"tip", Pack(rules.mail_tip)},
            {"moderated", rules.moderated},
            {"from", Json::array()},
            {"max", rules.max_message_bytes}};
  for (const std::string& address : rules.accepts_from) json["from"].push_back(Pack(address));
  return json;
}

DeliveryRules UnpackRules(const Json& json) {
  DeliveryRules rules;
  if (!json.is_object()) return rules;
  rules.mail_tip = Unpack(json.at("tip"));
  rules.moderated = json.at("moderated").get<bool>();
  for (const Json& address : json.at("from")) rules.accepts_from.push_back(Unpack(address));
  rules.max_message_bytes = json.at("max").get<std::uint64_t>();
  return rules;
}

Json PackMailbox(const Mailbox& mailbox) {
  Json json{{"name", Pack(mailbox.owner.name)},
            {"smtp", Pack(mailbox.owner.smtp_address)},
            {"displayName", Pack(mailbox.owner.display_name)},
            {"password", Pack(mailbox.owner.password)},
            {"mayImpersonate", mailbox.owner.may_impersonate},
            {"archive", mailbox.owner.archive},
            {"quota", mailbox.owner.quota_bytes},
            {"site", Pack(mailbox.owner.site)},
            {"backEnd", mailbox.owner.back_end},
            {"room", mailbox.owner.room},
            {"delivery", PackRules(mailbox.owner.delivery)},
            {"work",
             {Pack(mailbox.owner.work_hours.days), mailbox.owner.work_hours.start, mailbox.owner.work_hours.end,
              mailbox.owner.work_hours.bias}},
            {"photo", Pack(mailbox.owner.photo)},
            {"outsideAnswers", static_cast<int>(mailbox.owner.outside_answers)},
            {"guid", mailbox.guid},
            {"root", Pack(mailbox.root)},
            {"access", PackAccess(mailbox.access)},
            {"settings", Json::object()},
            {"lastChange", mailbox.last_change},
            {"lastNumber", mailbox.last_number},
            {"delegates", Json::array()},
            {"meetingDelivery", mailbox.meeting_delivery},
            {"grants", Json::array()}};
  for (const Grant& grant : mailbox.owner.grants)
    json["grants"].push_back({Pack(grant.mailbox), Pack(grant.folder), static_cast<int>(grant.access)});
  for (const auto& [name, setting] : mailbox.settings) json["settings"][name] = PackElement(setting);
  for (const Element& delegate : mailbox.delegates) json["delegates"].push_back(PackElement(delegate));
  return json;
}

std::unique_ptr<Mailbox> UnpackMailbox(const Json& json) {
  auto mailbox = std::make_unique<Mailbox>();
  mailbox->owner.name = Unpack(json.at("name"));
  mailbox->owner.smtp_address = Unpack(json.at("smtp"));
  mailbox->owner.display_name = Unpack(json.at("displayName"));
  mailbox->owner.password = Unpack(json.at("password"));
  mailbox->owner.may_impersonate = json.at("mayImpersonate").get<bool>();
  mailbox->owner.archive = json.value("archive", false);
  mailbox->owner.quota_bytes = json.value("quota", std::uint64_t{0});
  if (json.contains("site")) mailbox->owner.site = Unpack(json.at("site"));
  mailbox->owner.back_end = json.value("backEnd", 0);
  mailbox->owner.room = json.value("room", false);
  mailbox->owner.delivery = UnpackRules(json.value("delivery", Json()));
  if (json.contains("work"))
    mailbox->owner.work_hours = {Unpack(json["work"].at(0)), json["work"].at(1).get<int>(),
                                 json["work"].at(2).get<int>(), json["work"].at(3).get<int>()};
  if (json.contains("photo")) mailbox->owner.photo = Unpack(json["photo"]);
  const int outside = json.value("outsideAnswers", static_cast<int>(OutsideAnswers::kAll));
  if (outside < static_cast<int>(OutsideAnswers::kNone) || outside > static_cast<int>(OutsideAnswers::kAll))
    throw std::out_of_range("an unknown reach of answers");
  mailbox->owner.outside_answers = static_cast<OutsideAnswers>(outside);
  mailbox->guid = json.at("guid").get<std::string>();
  mailbox->root = Unpack(json.at("root"));
  mailbox->access = UnpackAccess(json.at("access"));
  const Json settings = json.value("settings", Json::object());
  for (const auto& [name, setting] : settings.items()) mailbox->settings.emplace(name, UnpackElement(setting));
  mailbox->last_change = json.at("lastChange").get<std::uint64_t>();
  mailbox->last_number = json.at("lastNumber").get<std::uint64_t>();
  for (const Json& grant : json.at("grants"))
    mailbox->owner.grants.push_back({Unpack(grant.at(0)), Unpack(grant.at(1)), UnpackRight(grant.at(2))});
  for (const Json& delegate : json.value("delegates", Json::array()))
    mailbox->delegates.push_back(UnpackElement(delegate));
  mailbox->meeting_delivery = json.value("meetingDelivery", mailbox->meeting_delivery);
  return mailbox;
}

std::unique_ptr<Folder> UnpackFolder(const Json& entry) {
  auto folder = std::make_unique<Folder>();
  folder->entry_id = Unpack(entry.at("id"));
  folder->number = entry.at("number").get<std::uint64_t>();
  folder->change = entry.at("change").get<std::uint64_t>();
  folder->content_change = entry.at("contentChange").get<std::uint64_t>();
  folder->parent = Unpack(entry.at("parent"));
  folder->element = Unpack(entry.at("element"));
  folder->folder_class = Unpack(entry.at("class"));
  folder->display_name = Unpack(entry.at("displayName"));
  folder->distinguished = Unpack(entry.at("distinguished"));
  folder->extended = UnpackExtended(entry.at("extended"));
  folder->born = entry.value("born", folder->change);
  folder->committed = entry.value("committed", Seconds{0});
  if (entry.contains("deletedFrom")) folder->deleted_from = Unpack(entry["deletedFrom"]);
  if (entry.contains("search")) folder->search_parameters = UnpackElement(entry["search"]);
  if (entry.contains("permissions")) folder->permission_set = UnpackElement(entry["permissions"]);
  for (const Json& child : entry.at("children")) folder->children.push_back(Unpack(child));
  return folder;
}

Tombstone UnpackStone(const Json& stone) {
  return {stone.at(0).get<std::uint64_t>(), stone.at(1).get<std::uint64_t>(),
          stone.at(2).get<bool>(),          Unpack(stone.at(3)),
          stone.at(4).get<std::string>(),   stone.at(5).get<std::string>()};
}

/// What was read of a mailbox must hang together: what is named and not there would be met much later, and without a
/// word of where it comes from.
void CheckWhole(Mailbox& mailbox) {
  for (const auto& [id, folder] : mailbox.folders) {
    if (!folder->distinguished.empty()) mailbox.distinguished[folder->distinguished] = id;
    if (folder->search_parameters) BindSearch(mailbox, *folder);
    if (!folder->parent.empty() && mailbox.FindFolder(folder->parent) == nullptr)
      throw std::out_of_range("a folder without its parent");
    for (const std::string& child : folder->children)
      if (mailbox.FindFolder(child) == nullptr) throw std::out_of_range("a folder without one below it");
  }
  if (mailbox.FindFolder(mailbox.root) == nullptr) throw std::out_of_range("a mailbox without its root");
}

}  // namespace

std::string ItemText(const Item& item) {
  return PackItem(item).dump();
}

std::shared_ptr<Item> ItemFromText(const std::string& text) {
  return UnpackItem(Json::parse(text));
}

std::string FolderText(const Folder& folder) {
  return PackFolder(folder).dump();
}

std::string StoneText(const Tombstone& stone) {
  return Json{stone.change, stone.born, stone.of_folder, Pack(stone.folder), stone.id, stone.key}.dump();
}

std::string MailboxText(const Mailbox& mailbox, MailboxKind kind, std::size_t place) {
  Json json = PackMailbox(mailbox);
  json["kind"] = static_cast<int>(kind);
  json["place"] = place;
  return json.dump();
}

std::string DirectoryText(const Store& store) {
  Json json{{"version", VersionNames()[static_cast<std::size_t>(store.server_version)]},
            {"contacts", Json::array()},
            {"lists", Json::array()}};
  for (const DirectoryList& list : store.lists)
    json["lists"].push_back(
        {Pack(list.smtp_address), Pack(list.display_name), list.members, list.of_rooms, PackRules(list.delivery)});
  for (const DirectoryContact& contact : store.contacts)
    json["contacts"].push_back({Pack(contact.smtp_address), Pack(contact.display_name)});
  return json.dump();
}

std::string VersionOfDirectory(const std::string& text) {
  return Json::parse(text).at("version").get<std::string>();
}

void RestoreStore(const StateEntries& entries, Store& store) {
  std::map<std::string, std::unique_ptr<Mailbox>, std::less<>> mailboxes;  // by guid
  std::map<std::pair<int, std::size_t>, std::string> order;                // guids by kind and place
  std::vector<DirectoryContact> contacts;
  std::vector<DirectoryList> lists;
  const auto mailbox_of = [&](std::string_view key) -> Mailbox& {
    const auto found = mailboxes.find(key.substr(1, 36));
    if (found == mailboxes.end()) throw std::out_of_range("something of a mailbox that is not there");
    return *found->second;
  };
  // In the order of their letters: the directory, folders behind mailboxes, items behind folders.
  const auto of_kind = [&entries](char kind, const auto& take) {
    for (auto entry = entries.lower_bound(std::string(1, kind)); entry != entries.end() && entry->first[0] == kind;
         ++entry)
      take(entry->first, Json::parse(entry->second));
  };
  of_kind(kDirectoryEntry, [&](const std::string&, const Json& json) {
    for (const Json& list : json.at("lists"))
      lists.push_back({Unpack(list.at(0)), Unpack(list.at(1)), list.at(2).get<std::vector<std::string>>(),
                       list.at(3).get<bool>(), UnpackRules(list.at(4))});
    for (const Json& contact : json.at("contacts")) contacts.push_back({Unpack(contact.at(0)), Unpack(contact.at(1))});
  });
  of_kind(kMailboxEntry, [&](const std::string& key, const Json& json) {
    auto mailbox = UnpackMailbox(json);
    if (key != EntryKey(kMailboxEntry, *mailbox)) throw std::out_of_range("a mailbox under another name");
    order[{json.at("kind").get<int>(), json.at("place").get<std::size_t>()}] = mailbox->guid;
    mailboxes.emplace(mailbox->guid, std::move(mailbox));
  });
  of_kind(kFolderEntry, [&](const std::string& key, const Json& json) {
    auto folder = UnpackFolder(json);
    std::string id = folder->entry_id;
    mailbox_of(key).folders.emplace(std::move(id), std::move(folder));
  });
  of_kind(kItemEntry, [&](const std::string& key, const Json& json) {
    Mailbox& mailbox = mailbox_of(key);
    std::shared_ptr<Item> item = UnpackItem(json);
    Folder* folder = mailbox.FindFolder(item->folder);
    if (folder == nullptr) throw std::out_of_range("an item without its folder");
    folder->items.emplace(item->number, item);
    mailbox.items.emplace(item->entry_id, std::move(item));
  });
  of_kind(kStoneEntry,
          [&](const std::string& key, const Json& json) { mailbox_of(key).tombstones.push_back(UnpackStone(json)); });
  for (const auto& [guid, mailbox] : mailboxes) CheckWhole(*mailbox);
  bool has_public = false;
  for (const auto& [where, guid] : order) {
    auto mailbox = std::move(mailboxes.find(guid)->second);
    if (where.first == static_cast<int>(MailboxKind::kUser)) {
      store.Restore(std::move(mailbox));
    } else if (where.first == static_cast<int>(MailboxKind::kArchive)) {
      mailbox->is_archive = true;
      store.RestoreArchive(std::move(mailbox));
    } else {
      has_public = true;
      store.RestorePublicFolders(std::move(mailbox));
    }
  }
  if (!has_public) throw std::out_of_range("there are no public folders");
  store.lists = std::move(lists);
  store.contacts = std::move(contacts);
}

std::string EntryKey(char kind, const Mailbox& mailbox, std::string_view rest) {
  return kind + mailbox.guid + ToHex(rest);
}

}  // namespace velmore::simulator
