// Every member of what is kept, set to something, written and read. The bindings below name all members of each record:
// with a new one they do not compile until somebody has decided whether it is kept, and if it is, the walk fails until
// it really is.

#include <gtest/gtest.h>

#include <tuple>

#include "ProgramTestSupport.h"
#include "SimulatorTestSupport.h"
#include "simulator/mailbox/state_keeper.h"
#include "simulator/types/versions.h"

namespace velmore::simulator::testing {
namespace {

// ---- The members that are kept. What is bound and not given is not: the comment beside it says why.

auto Kept(ExtendedKey& key) {
  auto& [set, name, number, type] = key;
  return std::tie(set, name, number, type);
}
auto Kept(ExtendedValue& value) {
  auto& [key, values] = value;
  return std::tie(key, values);
}
auto Kept(Element& element) {
  // line, column: where a request had it, of use until the request is answered
  auto& [space, name, text, attributes, children, base64, line, column] = element;
  return std::tie(space, name, text, attributes, children, base64);
}
auto Kept(Attachment& attachment) {
  auto& [number, is_item, name, content_type, content_id, content_location, is_inline, is_contact_photo, modified,
         content, item] = attachment;
  return std::tie(number, is_item, name, content_type, content_id, content_location, is_inline, is_contact_photo,
                  modified, content, item);
}
auto Kept(Item& item) {
  auto& [entry_id, number, change, folder, born, deleted_from, element, received, sent, created, modified, modified_by,
         conversation_index, properties, extended, html, text, attachments, mime, headers, id_tail, written,
         exceptions] = item;
  return std::tie(entry_id, number, change, folder, born, deleted_from, element, received, sent, created, modified,
                  modified_by, conversation_index, properties, extended, html, text, attachments, mime, headers,
                  id_tail, written, exceptions);
}
auto Kept(simulator::Folder& folder) {
  // live: made anew from the search's parameters; search: the last page, made anew by the next request
  auto& [entry_id, number, change, parent, element, folder_class, display_name, distinguished, born, deleted_from,
         permission_set, search_parameters, live, extended, items, children, search, content_change, committed] =
      folder;
  return std::tie(entry_id, number, change, parent, element, folder_class, display_name, distinguished, born,
                  deleted_from, permission_set, search_parameters, extended, items, children, content_change,
                  committed);
}
auto Kept(Tombstone& stone) {
  auto& [change, born, of_folder, folder, id, key] = stone;
  return std::tie(change, born, of_folder, folder, id, key);
}
auto Kept(Grant& grant) {
  auto& [mailbox, folder, access] = grant;
  return std::tie(mailbox, folder, access);
}
auto Kept(DeliveryRules& rules) {
  auto& [mail_tip, moderated, accepts_from, max_message_bytes] = rules;
  return std::tie(mail_tip, moderated, accepts_from, max_message_bytes);
}
auto Kept(WorkHours& hours) {
  auto& [days, start, end, bias] = hours;
  return std::tie(days, start, end, bias);
}
auto Kept(User& user) {
  auto& [name, smtp_address, display_name, password, grants, may_impersonate, archive, quota_bytes, site, back_end,
         room, delivery, work_hours, outside_answers, photo] = user;
  return std::tie(name, smtp_address, display_name, password, grants, may_impersonate, archive, quota_bytes, site,
                  back_end, room, delivery, work_hours, outside_answers, photo);
}
auto Kept(DirectoryContact& contact) {
  auto& [smtp_address, display_name] = contact;
  return std::tie(smtp_address, display_name);
}
auto Kept(DirectoryList& list) {
  auto& [smtp_address, display_name, members, of_rooms, delivery] = list;
  return std::tie(smtp_address, display_name, members, of_rooms, delivery);
}
auto Kept(Mailbox& mailbox) {
  // observers, noted, lock: of the running server
  auto& [owner, is_archive, guid, root, folders, items, distinguished, access, settings, last_change, last_number,
         tombstones, delegates, meeting_delivery, observers, noted, lock] = mailbox;
  return std::tie(owner, is_archive, guid, root, folders, items, distinguished, access, settings, last_change,
                  last_number, tombstones, delegates, meeting_delivery);
}
// Of a Store: mailboxes, archives, public folders, contacts, lists. Not kept: what was sent outside, which tests look
// at and nobody asks for, the observers, and the version, which must be the same.

template <typename T>
concept Record = requires(T& record) {
  Kept(record);
};

// ---- Setting

/// Gives every value another one: no two members have the same, and none what it has when nothing is set.
class Filler {
 public:
  void operator()(std::string& text) {
    ++last_;
    // Texts, and bytes that are none.
    text = last_ % 2 == 0 ? "text " + std::to_string(last_) : "\xff" + std::to_string(last_) + std::string(1, '\0');
  }
  void operator()(bool& value) { value = !value; }
  template <typename T>
  requires std::is_integral_v<T>
  void operator()(T& value) { value = static_cast<T>(++last_); }
  template <typename T>
  requires std::is_enum_v<T>
  void operator()(T& value) {
    value = static_cast<T>(static_cast<int>(value) == 0 ? 1 : static_cast<int>(value) - 1);  // stays in its range
  }
  template <typename T>
  void operator()(std::optional<T>& value) {
    (*this)(value.emplace());
  }
  void operator()(std::shared_ptr<const std::string>& value) {
    std::string text;
    (*this)(text);
    value = std::make_shared<const std::string>(text);
  }
  void operator()(std::shared_ptr<Item>& value) {
    value = std::make_shared<Item>();
    if (++depth_ < 3) (*this)(*value);
    --depth_;
  }
  template <typename A, typename B>
  void operator()(std::pair<A, B>& value) {
    (*this)(value.first);
    (*this)(value.second);
  }
  template <typename T>
  void operator()(std::vector<T>& list) {
    if (++depth_ < 4)
      for (int i = 0; i < 2; ++i) (*this)(list.emplace_back());
    --depth_;
  }
  template <typename K, typename T>
  void operator()(std::map<K, T>& entries) {
    for (int i = 0; i < 2; ++i) {
      K key{};
      (*this)(key);
      (*this)(entries[key]);
    }
  }
  void operator()(Record auto& record) {
    std::apply([this](auto&... members) { ((*this)(members), ...); }, Kept(record));
  }

 private:
  int last_ = 0;
  int depth_ = 0;
};

// ---- Comparing

template <typename T>
void ExpectSame(T& expected, T& found, const std::string& where) {
  if constexpr (Record<T>) {
    const auto left = Kept(expected);
    const auto right = Kept(found);
    [&]<std::size_t... I>(std::index_sequence<I...>) {
      (ExpectSame(std::get<I>(left), std::get<I>(right), where + "/" + std::to_string(I)), ...);
    }
    (std::make_index_sequence<std::tuple_size_v<decltype(left)>>());
  } else if constexpr (requires { *expected, expected == nullptr; }) {
    ASSERT_EQ(expected == nullptr, found == nullptr) << where;
    if (expected != nullptr) ExpectSame(*expected, *found, where + "*");
  } else if constexpr (requires { *expected, expected.has_value(); }) {
    ASSERT_EQ(expected.has_value(), found.has_value()) << where;
    if (expected) ExpectSame(*expected, *found, where + "?");
  } else if constexpr (requires { expected.first; }) {
    ExpectSame(expected.first, found.first, where + ".first");
    ExpectSame(expected.second, found.second, where + ".second");
  } else if constexpr (std::is_same_v<std::remove_const_t<T>, std::string>) {
    EXPECT_EQ(expected, found) << where;
  } else if constexpr (requires { expected.extract(expected.begin()); }) {
    ASSERT_EQ(expected.size(), found.size()) << where;
    for (auto& [key, value] : expected) {
      const auto other = found.find(key);
      ASSERT_NE(other, found.end()) << where;
      ExpectSame(value, other->second, where + "{}");
    }
  } else if constexpr (requires { expected.begin(); }) {
    ASSERT_EQ(expected.size(), found.size()) << where;
    for (std::size_t i = 0; i < expected.size(); ++i)
      ExpectSame(expected[i], found[i], where + "[" + std::to_string(i) + "]");
  } else {
    EXPECT_EQ(expected, found) << where;
  }
}

/// No member of a record is what it is when nothing is set.
template <Record T>
void ExpectAllSet(T& record, const std::string& where) {
  T untouched{};
  const auto left = Kept(record);
  const auto right = Kept(untouched);
  const auto differs = [&](auto& set, auto& unset, std::size_t number) {
    using Member = std::remove_reference_t<decltype(set)>;
    if constexpr (Record<Member>) {
      ExpectAllSet(set, where + "/" + std::to_string(number));
    } else if constexpr (requires { set.has_value(); }) {
      EXPECT_TRUE(set.has_value()) << where << "/" << number;
    } else if constexpr (requires { set.empty(); }) {
      EXPECT_TRUE(!set.empty()) << where << "/" << number;
    } else {
      EXPECT_FALSE(set == unset) << where << "/" << number;
    }
  };
  [&]<std::size_t... I>(std::index_sequence<I...>) {
    (differs(std::get<I>(left), std::get<I>(right), I), ...);
  }
  (std::make_index_sequence<std::tuple_size_v<decltype(left)>>());
}

// ---- The walks

TEST(SimulatorKeptMembers, OfAnItem) {
  Item item;
  Filler{}(item);
  item.exceptions[-5] = nullptr;  // an occurrence that was deleted
  ExpectAllSet(item, "item");
  ExpectAllSet(item.attachments.front(), "attachment");
  ExpectAllSet(item.properties.front(), "element");
  ExpectAllSet(item.extended.front(), "extended");
  const std::shared_ptr<Item> read = ItemFromText(ItemText(item));
  ExpectSame(item, *read, "item");
}

class KeptStore : public ::testing::Test {
 protected:
  KeptStore() : store(static_cast<int>(VersionNames().size()) - 1), again(store.server_version) {
    User user;
    fill(user);
    user.smtp_address = "alice@example.com";
    alice = &store.AddMailbox(user);
    Fill(*alice);
    Fill(*store.ArchiveOf(*alice));
    Fill(store.PublicFolders());
    fill(store.contacts);
    fill(store.lists);
    // Addresses and names of settings are texts.
    for (DirectoryList& list : store.lists) list.members = {"one@example.com", "two@example.com"};
  }
  /// All members of a mailbox but those that say what it is and how its folders hang together.
  void Fill(Mailbox& mailbox) {
    fill(mailbox.access);
    for (auto& [address, right] : mailbox.access) right = Access::kAuthor;
    for (const char* name : {"OofSettings", "Other"}) fill(mailbox.settings[name]);
    fill(mailbox.tombstones);
    for (Tombstone& stone : mailbox.tombstones) stone.id = "id", stone.key = "key";
    fill(mailbox.delegates);
    mailbox.meeting_delivery = "DelegatesOnly";
    simulator::Folder& parent = *mailbox.FindFolder(mailbox.root);
    simulator::Folder& folder = mailbox.AddFolder(parent, "Folder", "F", "IPF.Note");
    mailbox.AddFolder(folder, "Folder", "G", "IPF.Note");
    auto item = std::make_shared<Item>();
    fill(*item);
    mailbox.AddItem(folder, item);
    for (std::string* text : {&folder.element, &folder.folder_class, &folder.display_name, &folder.deleted_from})
      fill(*text);
    folder.distinguished = "own";
    mailbox.distinguished["own"] = folder.entry_id;
    fill(folder.permission_set);
    fill(folder.extended);
    Element& search = folder.search_parameters.emplace(Types("SearchParameters").Set("Traversal", "Deep"));
    search.Add("Restriction").Add("Exists").Add("FieldURI").Set("FieldURI", "item:Subject");
    search.Add("BaseFolderIds");
    for (std::uint64_t* number : {&folder.change, &folder.born, &folder.content_change, &folder.number}) fill(*number);
    fill(folder.committed);
    mailbox.last_change = 1u << 30;
    mailbox.last_number = 1u << 31;
    ExpectAllSet(folder, "folder");
  }
  void Restart() {
    {
      StateKeeper keeper(files.Path("state"), store);
      keeper.Read();
      keeper.Stop();
    }
    StateKeeper keeper(files.Path("state"), again);
    keeper.Read();
  }

  testing::Folder files;  // of the machine
  Filler fill;
  Store store;
  Store again;
  Mailbox* alice = nullptr;
};

TEST_F(KeptStore, EveryMemberOfMailboxesFoldersAndUsersIsKept) {
  ExpectAllSet(alice->owner, "user");
  ExpectAllSet(*store.ArchiveOf(*alice), "archive");
  Restart();
  ASSERT_EQ(again.Mailboxes().size(), 1u);
  ASSERT_EQ(again.Archives().size(), 1u);
  ExpectSame(*alice, *again.Mailboxes().front(), "mailbox");
  ExpectSame(*store.Archives().front(), *again.Archives().front(), "archive");
  ExpectSame(store.PublicFolders(), again.PublicFolders(), "public");
  ExpectSame(store.contacts, again.contacts, "contacts");
  ExpectSame(store.lists, again.lists, "lists");
}

TEST_F(KeptStore, ASearchFolderFindsAgainAfterARestart) {
  Restart();
  for (const auto& [id, folder] : again.Mailboxes().front()->folders)
    EXPECT_EQ(folder->search_parameters.has_value(), folder->live != nullptr) << folder->display_name;
}

}  // namespace
}  // namespace velmore::simulator::testing
