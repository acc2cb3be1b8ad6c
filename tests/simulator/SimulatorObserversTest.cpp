// The store tells of every change after it has happened.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "SimulatorTestSupport.h"
#include "simulator/mailbox/ids.h"
#include "simulator/mailbox/model.h"
#include "simulator/protocol/service.h"

namespace velmore::simulator::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Kind = StoreChange::Kind;

class SimulatorObservers : public ::testing::Test {
 protected:
  SimulatorObservers() {
    for (const User& user : TestOptions().users) store.AddMailbox(user);
    store.GetObservers().Add([this](const StoreChange& change) {
      static const char* const kNames[] = {"new mail", "created", "modified", "moved", "copied", "deleted"};
      std::string text = kNames[static_cast<int>(change.kind)] + std::string(change.of_folder ? " folder" : " item");
      if (change.of_folder) text += " " + NameOf(change.now.id);
      if (!change.before.id.empty()) text += " from " + NameOf(change.before.parent);
      if (change.kind == Kind::kModified && change.of_folder) text += " unread " + std::to_string(change.Unread());
      told.push_back(change.mailbox.owner.name + ": " + text);
      last.emplace(change);
    });
  }

  /// Display name of a folder; "gone" when it is no more.
  std::string NameOf(const std::string& id) const {
    const auto parsed = ParseEwsId(id);
    const Mailbox* mailbox = parsed ? store.ByGuid(parsed->mailbox) : nullptr;
    const Folder* folder = mailbox != nullptr ? mailbox->FindFolder(parsed->entry) : nullptr;
    return folder != nullptr ? folder->display_name : "gone";
  }

  Element Call(const std::string& operation) {
    std::map<std::string, std::uint64_t> departures;
    bool refused = false;
    const std::string envelope = "<s:Envelope xmlns:s=\"" + std::string(kSoapNamespace) + "\" xmlns:m=\"" +
                                 kMessagesNamespace + "\" xmlns:t=\"" + kTypesNamespace + "\"><s:Header>" +
                                 "<t:RequestServerVersion Version=\"Exchange2016\"/></s:Header><s:Body>" + operation +
                                 "</s:Body></s:Envelope>";
    SoapRequest request = service.Read(envelope);
    told.clear();
    return ParseXml(service.Execute(request, alice().owner, departures, refused).body);
  }

  Mailbox& alice() { return *store.ByLogon("alice"); }
  Folder& FolderOf(const char* name) { return *alice().Distinguished(name); }
  std::shared_ptr<Item> NewItem(bool read = false) {
    auto item = std::make_shared<Item>();
    item->element = "Message";
    item->SetFlag("IsRead", read);
    return item;
  }
  std::shared_ptr<Item> Added(const char* folder = "inbox") {
    const std::shared_ptr<Item> item = alice().FindItem(alice().AddItem(FolderOf(folder), NewItem()).entry_id);
    told.clear();
    return item;
  }

  Options options = TestOptions();
  Store store{kExchange2016};
  Service service{store, options};
  std::vector<std::string> told;
  std::optional<StoreChange> last;
};

TEST_F(SimulatorObservers, TellOfItems) {
  const Item& item = alice().AddItem(FolderOf("inbox"), NewItem());
  EXPECT_THAT(told, ElementsAre("alice: created item", "alice: modified folder Inbox unread 1"));
  told.clear();
  alice().Touch(*alice().FindItem(item.entry_id), "Alice");
  EXPECT_THAT(told, ElementsAre("alice: modified item"));
  EXPECT_EQ(last->now.id, alice().IdOf(item));
  EXPECT_EQ(last->now.key, alice().KeyOf(item)) << "the key after the change";
  EXPECT_EQ(last->now.parent, alice().IdOf(FolderOf("inbox")));
  EXPECT_EQ(last->now.parent_key, alice().KeyOf(FolderOf("inbox")));
  told.clear();
  const std::string id = alice().IdOf(item);
  alice().RemoveItem(item.entry_id);
  EXPECT_THAT(told, ElementsAre("alice: deleted item", "alice: modified folder Inbox unread 0"));
}

TEST_F(SimulatorObservers, TellWhereSomethingCameFrom) {
  const std::shared_ptr<Item> item = Added();
  const std::string id = alice().IdOf(*item);
  const std::string key = alice().KeyOf(*item);
  std::vector<StoreChange> changes;
  store.GetObservers().Add([&](const StoreChange& change) { changes.push_back(change); });
  const Item& copy = alice().CopyItem(*item, alice(), FolderOf("drafts"));
  EXPECT_THAT(told, ElementsAre("alice: copied item from Inbox", "alice: modified folder Drafts unread 1"));
  EXPECT_EQ(changes.front().before.id, id);
  EXPECT_EQ(changes.front().before.key, key);
  EXPECT_EQ(changes.front().now.id, alice().IdOf(copy));
  told.clear();
  changes.clear();
  const Item& moved = alice().MoveItem(item, alice(), FolderOf("drafts"));
  EXPECT_THAT(told, ElementsAre("alice: moved item from Inbox", "alice: modified folder Inbox unread 0",
                                "alice: modified folder Drafts unread 2"));
  EXPECT_EQ(changes.front().before.id, id);
  EXPECT_EQ(changes.front().before.parent, alice().IdOf(FolderOf("inbox")));
  EXPECT_EQ(changes.front().now.id, alice().IdOf(moved));
  EXPECT_EQ(changes.front().now.parent, alice().IdOf(FolderOf("drafts")));
}

TEST_F(SimulatorObservers, AnotherMailboxIsAnotherStore) {
  const std::shared_ptr<Item> item = Added();
  Mailbox& bob = *store.ByLogon("bob");
  alice().CopyItem(*item, bob, *bob.Distinguished("inbox"));
  EXPECT_THAT(told, ElementsAre("bob: created item", "bob: modified folder Inbox unread 1"));
  told.clear();
  alice().MoveItem(item, bob, *bob.Distinguished("inbox"));
  EXPECT_THAT(told, ElementsAre("alice: deleted item", "alice: modified folder Inbox unread 0", "bob: created item",
                                "bob: modified folder Inbox unread 2"));
}

TEST_F(SimulatorObservers, TellOfFolders) {
  Folder& top = FolderOf("msgfolderroot");
  Folder& folder = alice().AddFolder(top, "Folder", "Papers", "IPF.Note");
  EXPECT_THAT(told,
              ElementsAre("alice: created folder Papers", "alice: modified folder Top of Information Store unread 0"));
  alice().AddItem(folder, NewItem());
  Folder& below = alice().AddFolder(folder, "Folder", "Old", "IPF.Note");
  told.clear();
  alice().MoveFolder(below, FolderOf("drafts"));
  EXPECT_THAT(told, ElementsAre("alice: moved folder Old from Papers", "alice: modified folder Papers unread 1",
                                "alice: modified folder Drafts unread 0"));
  told.clear();
  alice().MoveFolder(below, folder);
  told.clear();
  alice().CopyFolder(folder, alice(), FolderOf("drafts"));
  EXPECT_THAT(told, ElementsAre("alice: copied folder Papers from Top of Information Store",
                                "alice: modified folder Drafts unread 0"))
      << "one change, whatever is in it";
  told.clear();
  const std::string gone = below.entry_id;
  alice().RemoveFolder(std::string(folder.entry_id));
  EXPECT_THAT(told,
              ElementsAre("alice: deleted folder gone", "alice: modified folder Top of Information Store unread 0"));
  EXPECT_EQ(alice().FindFolder(gone), nullptr);
}

TEST_F(SimulatorObservers, NewMailIsToldBesideItsCreation) {
  Call(CreateItemXml(MessageXml("Hello", "bob@example.com"), "SendOnly"));
  EXPECT_THAT(told, ElementsAre("bob: new mail item", "bob: created item", "bob: modified folder Inbox unread 1"));
}

TEST_F(SimulatorObservers, OperationsAreToldByTheStore) {
  const std::shared_ptr<Item> item = Added();
  const std::string id = "<t:ItemId Id=\"" + alice().IdOf(*item) + "\"/>";
  const auto update = [&](const std::string& field, const std::string& value) {
    return "<m:UpdateItem ConflictResolution=\"AlwaysOverwrite\" MessageDisposition=\"SaveOnly\"><m:ItemChanges>"
           "<t:ItemChange>" +
           id + "<t:Updates><t:SetItemField><t:FieldURI FieldURI=\"" + field + "\"/><t:Message>" + value +
           "</t:Message></t:SetItemField></t:Updates></t:ItemChange></m:ItemChanges></m:UpdateItem>";
  };
  Call(update("item:Subject", "<t:Subject>New</t:Subject>"));
  EXPECT_THAT(told, ElementsAre("alice: modified item"));
  Call(update("message:IsRead", "<t:IsRead>true</t:IsRead>"));
  EXPECT_THAT(told, ElementsAre("alice: modified item", "alice: modified folder Inbox unread 0"));
  Call("<m:CopyItem><m:ToFolderId>" + Distinguished("drafts") + "</m:ToFolderId><m:ItemIds>" + id +
       "</m:ItemIds></m:CopyItem>");
  EXPECT_THAT(told, ElementsAre("alice: copied item from Inbox", "alice: modified folder Drafts unread 0"));
  Call("<m:DeleteItem DeleteType=\"MoveToDeletedItems\"><m:ItemIds>" + id + "</m:ItemIds></m:DeleteItem>");
  EXPECT_THAT(told, ElementsAre("alice: moved item from Inbox", "alice: modified folder Inbox unread 0",
                                "alice: modified folder Deleted Items unread 0"));
  Call("<m:EmptyFolder DeleteType=\"HardDelete\" DeleteSubFolders=\"false\"><m:FolderIds>" +
       Distinguished("deleteditems") + "</m:FolderIds></m:EmptyFolder>");
  EXPECT_THAT(told, ElementsAre("alice: deleted item", "alice: modified folder Deleted Items unread 0"));
  Call("<m:CreateFolder><m:ParentFolderId>" + Distinguished("inbox") + "</m:ParentFolderId><m:Folders><t:Folder>" +
       "<t:DisplayName>New</t:DisplayName></t:Folder></m:Folders></m:CreateFolder>");
  EXPECT_THAT(told, ElementsAre("alice: created folder New", "alice: modified folder Inbox unread 0"));
  Call(GetFolderXml(Distinguished("inbox")));
  EXPECT_THAT(told, IsEmpty()) << "looking is no change";
}

TEST_F(SimulatorObservers, ARemovedObserverHearsNothing) {
  int heard = 0;
  const std::uint64_t number = store.GetObservers().Add([&](const StoreChange&) { ++heard; });
  alice().AddItem(FolderOf("inbox"), NewItem());
  EXPECT_EQ(heard, 2);
  store.GetObservers().Remove(number);
  alice().AddItem(FolderOf("inbox"), NewItem());
  EXPECT_EQ(heard, 2);
  EXPECT_EQ(told.size(), 4u) << "others go on";
}

}  // namespace
}  // namespace velmore::simulator::testing
