#include "simulator/protocol/locks.h"

#include <algorithm>
#include <set>
#include <string_view>

#include "simulator/mailbox/ids.h"

namespace velmore::simulator {

namespace {

/// An operation that stays where its ids lead, unless one of its attributes says that something is sent.
struct Row {
  const char* operation;
  const char* attribute = "";
  const char* stays = "";  // the value with which, or without the attribute, nothing is sent
};
constexpr Row kRows[] = {
    {"CopyItem"},
    {"CreateAttachment"},
    {"CreateItem", "MessageDisposition", "SaveOnly"},
    {"CreateItem", "SendMeetingInvitations", "SendToNone"},
    {"DeleteAttachment"},
    {"DeleteItem", "SendMeetingCancellations", "SendToNone"},
    {"FindFolder"},
    {"FindItem"},
    {"GetAttachment"},
    {"GetFolder"},
    {"GetItem"},
    {"GetServerTimeZones"},
    {"MarkAllItemsAsRead"},
    {"MoveItem"},
    {"SyncFolderHierarchy"},
    {"SyncFolderItems"},
    {"UpdateItem", "MessageDisposition", "SaveOnly"},
    {"UpdateItem", "SendMeetingInvitationsOrCancellations", "SendToNone"},
};

constexpr std::string_view kItems[] = {"Contact", "DistributionList", "Item", "Message", "PostItem", "Task"};

/// Items that are kept and nothing else. Responses change what they answer, and meetings may tell somebody.
bool AreKept(const Element& request) {
  const Element* items = request.Child("Items");
  return items == nullptr || std::all_of(items->children.begin(), items->children.end(), [](const Element& item) {
           return std::find(std::begin(kItems), std::end(kItems), item.name) != std::end(kItems);
         });
}

void Collect(const Store& store, const Element& element, std::set<Mailbox*>& found) {
  const auto add = [&](Mailbox* mailbox) {
    if (mailbox != nullptr) found.insert(mailbox);
  };
  for (const auto& [name, value] : element.attributes) {
    if (!name.ends_with("Id")) continue;
    if (const auto parsed = ParseEwsId(value)) add(store.ByGuid(parsed->mailbox));
  }
  if (element.name == "DistinguishedFolderId") {
    if (element.AttributeText("Id") == "publicfoldersroot") add(store.ByGuid(store.PublicFolders().guid));
    if (const Element* mailbox = element.Child("Mailbox")) add(store.ByAddress(mailbox->ChildText("EmailAddress")));
  }
  for (const Element& child : element.children) Collect(store, child, found);
}

}  // namespace

bool StaysInMailboxes(const std::string& operation, const Element& request) {
  bool known = false;
  for (const Row& row : kRows) {
    if (operation != row.operation) continue;
    known = true;
    const std::string* value = *row.attribute != '\0' ? request.Attribute(row.attribute) : nullptr;
    if (value != nullptr && *value != row.stays) return false;
  }
  return known && AreKept(request);
}

OperationLock::OperationLock(Store& store, bool whole) : store_(store) {
  if (whole) {
    whole_ = std::unique_lock(store.mutex);
  } else {
    shared_ = std::shared_lock(store.mutex);
    reach_.emplace();
  }
}

void OperationLock::TakeMailboxes(const Element& request, const std::vector<Mailbox*>& of_users) {
  if (whole_) return;
  std::set<Mailbox*> found;
  Collect(store_, request, found);
  for (Mailbox* mailbox : of_users)
    if (mailbox != nullptr) found.insert(mailbox);
  // In one order for all, so that two operations never wait for each other; an archive has the lock of its mailbox.
  std::set<std::mutex*> locks;
  for (const Mailbox* mailbox : found) locks.insert(mailbox->lock.get());
  for (std::mutex* lock : locks) {
    mailboxes_.emplace_back(*lock);
    reach_->Allow(*lock);
  }
}

}  // namespace velmore::simulator
