// Mailboxes that are used at the same time: what stays in its mailboxes does not wait for the others, and nothing of it
// is lost.

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <shared_mutex>
#include <thread>

#include "SimulatorTestSupport.h"
#include "simulator/mailbox/ids.h"
#include "simulator/mailbox/store_lock.h"
#include "simulator/protocol/locks.h"

namespace velmore::simulator::testing {
namespace {

Element Request(const std::string& xml) {
  return ParseXml("<r xmlns:m=\"" + std::string(kMessagesNamespace) + "\" xmlns:t=\"" + kTypesNamespace + "\">" + xml +
                  "</r>")
      .children.front();
}
bool Stays(const std::string& xml) {
  const Element request = Request(xml);
  return StaysInMailboxes(request.name, request);
}

TEST(SimulatorLocks, WhatSendsOrReachesOutHoldsAllOfTheStore) {
  EXPECT_TRUE(Stays("<m:GetItem/>"));
  EXPECT_TRUE(Stays("<m:CreateItem><m:Items><t:Message/></m:Items></m:CreateItem>"));
  EXPECT_TRUE(
      Stays("<m:CreateItem MessageDisposition=\"SaveOnly\"><m:Items><t:Contact/><t:Task/></m:Items></m:CreateItem>"));
  EXPECT_FALSE(Stays("<m:CreateItem MessageDisposition=\"SendOnly\"><m:Items><t:Message/></m:Items></m:CreateItem>"));
  EXPECT_FALSE(Stays("<m:CreateItem MessageDisposition=\"SendAndSaveCopy\"><m:Items/></m:CreateItem>"));
  EXPECT_FALSE(
      Stays("<m:CreateItem SendMeetingInvitations=\"SendToNone\"><m:Items><t:CalendarItem/></m:Items></m:CreateItem>"));
  EXPECT_FALSE(
      Stays("<m:CreateItem MessageDisposition=\"SaveOnly\"><m:Items><t:ReplyToItem/></m:Items></m:CreateItem>"));
  EXPECT_TRUE(Stays("<m:UpdateItem MessageDisposition=\"SaveOnly\"/>"));
  EXPECT_FALSE(Stays("<m:UpdateItem MessageDisposition=\"SendOnly\"/>"));
  EXPECT_FALSE(Stays("<m:UpdateItem SendMeetingInvitationsOrCancellations=\"SendToAllAndSaveCopy\"/>"));
  EXPECT_TRUE(Stays("<m:DeleteItem SendMeetingCancellations=\"SendToNone\"/>"));
  EXPECT_FALSE(Stays("<m:DeleteItem SendMeetingCancellations=\"SendOnlyToAll\"/>"));
  for (const char* operation : {"SendItem", "ConvertId", "AddDelegate", "Subscribe", "GetStreamingEvents", "Nonsense"})
    EXPECT_FALSE(Stays("<m:" + std::string(operation) + "/>")) << operation;
}

class TwoMailboxes : public ::testing::Test {
 protected:
  TwoMailboxes() : store(VersionIndexOfNewest()) {
    for (const User& user : TestOptions().users) store.AddMailbox(user);
    alice = store.ByAddress("alice@example.com");
    bob = store.ByAddress("bob@example.com");
  }
  static int VersionIndexOfNewest() { return static_cast<int>(VersionNames().size()) - 1; }
  static bool IsFree(std::mutex& mutex) {
    return std::async(std::launch::async,
                      [&mutex] {
                        const std::unique_lock lock(mutex, std::try_to_lock);
                        return lock.owns_lock();
                      })
        .get();
  }
  Store store;
  Mailbox* alice;
  Mailbox* bob;
};

TEST_F(TwoMailboxes, OnlyThoseThatARequestNamesAreHeld) {
  OperationLock own(store, false);
  own.TakeMailboxes(Request("<m:GetFolder/>"), {alice, alice, nullptr});
  EXPECT_FALSE(IsFree(*alice->lock));
  EXPECT_TRUE(IsFree(*bob->lock));
  // Another one's, beside it: by an id and by an address.
  for (const std::string& names :
       {"<m:GetItem><t:ItemId Id=\"" + EwsId(bob->guid, bob->root) + "\"/></m:GetItem>",
        std::string("<m:GetFolder><t:DistinguishedFolderId Id=\"inbox\"><t:Mailbox><t:EmailAddress>BOB@example.com"
                    "</t:EmailAddress></t:Mailbox></t:DistinguishedFolderId></m:GetFolder>"),
        "<m:GetItem><t:OccurrenceItemId RecurringMasterId=\"" + EwsId(bob->guid, bob->root) + "\"/></m:GetItem>"}) {
    OperationLock other(store, false);
    other.TakeMailboxes(Request(names), {});
    EXPECT_FALSE(IsFree(*bob->lock)) << names;
    EXPECT_FALSE(IsFree(*alice->lock)) << "held by the first";
  }
  EXPECT_TRUE(IsFree(*bob->lock)) << "let go at the end";
}

// Only the right place would be a lucky one: an operation that goes elsewhere fails, whoever runs beside it.
TEST_F(TwoMailboxes, WhatIsNotHeldIsOutOfReach) {
  Mailbox& archive = store.AddArchive(*alice);
  {
    OperationLock lock(store, false);
    EXPECT_THROW(alice->Distinguished("inbox"), std::logic_error) << "not taken yet";
    lock.TakeMailboxes(Request("<m:GetFolder/>"), {alice});
    Folder* const inbox = alice->Distinguished("inbox");
    ASSERT_NE(inbox, nullptr);
    EXPECT_NE(archive.FindFolder(archive.root), nullptr);
    for (Mailbox* other : {bob, &store.PublicFolders()}) {
      EXPECT_THROW(other->FindFolder(other->root), std::logic_error);
      EXPECT_THROW(other->FindItem("item"), std::logic_error);
      EXPECT_THROW(other->Distinguished("inbox"), std::logic_error);
      EXPECT_THROW(other->Touch(*inbox), std::logic_error);
      EXPECT_THROW(other->AddItem(*inbox, std::make_shared<Item>()), std::logic_error);
      EXPECT_THROW(other->Deliver(std::make_shared<Item>()), std::logic_error);
      EXPECT_THROW(other->CheckQuota(1), std::logic_error);
    }
    {
      const OperationLock inner(store, false);
      EXPECT_THROW(alice->Distinguished("inbox"), std::logic_error) << "each has its own";
    }
    EXPECT_NE(alice->Distinguished("inbox"), nullptr);
  }
  EXPECT_NE(bob->Distinguished("inbox"), nullptr) << "alone with the store";
  const OperationLock whole(store, true);
  EXPECT_NE(bob->Distinguished("inbox"), nullptr);
}

TEST_F(TwoMailboxes, AnArchiveHasTheLockOfItsMailbox) {
  EXPECT_EQ(store.AddArchive(*alice).lock, alice->lock);
  EXPECT_NE(alice->lock, bob->lock);
}

TEST_F(TwoMailboxes, PublicFoldersAreNamedByTheirName) {
  OperationLock lock(store, false);
  lock.TakeMailboxes(Request("<m:GetFolder>" + Distinguished("publicfoldersroot") + "</m:GetFolder>"), {});
  EXPECT_FALSE(IsFree(*store.PublicFolders().lock));
}

TEST(SimulatorStoreLock, IsHeldWholeByOneAndSharedByMany) {
  StoreLock lock;
  int number = 0;
  std::atomic<int> sharing = 0;
  std::atomic<bool> wrong = false;
  std::vector<std::thread> threads;
  for (int t = 0; t < 8; ++t)
    threads.emplace_back([&, t] {
      for (int i = 0; i < 500; ++i) {
        if ((i + t) % 4 == 0) {
          const std::lock_guard whole(lock);
          if (sharing != 0) wrong = true;
          ++number;
        } else {
          const std::shared_lock shared(lock);
          ++sharing;
          if (number < 0) wrong = true;
          --sharing;
        }
      }
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_FALSE(wrong);
  EXPECT_EQ(number, 1000);
}

TEST(SimulatorStoreLock, NeitherSortKeepsTheOtherWaitingForEver) {
  StoreLock lock;
  std::atomic<bool> done = false;
  // Somebody shares it at every moment, and somebody wants it whole at every moment.
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&] {
      while (!done) const std::shared_lock shared(lock);
    });
  for (int t = 0; t < 2; ++t)
    threads.emplace_back([&] {
      while (!done) const std::lock_guard whole(lock);
    });
  for (int i = 0; i < 50; ++i) {
    { const std::lock_guard whole(lock); }
    { const std::shared_lock shared(lock); }
  }
  done = true;
  for (std::thread& thread : threads) thread.join();
}

TEST(SimulatorLocks, ManyClientsLoseNothing) {
  Options options = TestOptions();
  options.users.clear();
  constexpr int kMailboxes = 6;
  for (int i = 0; i < kMailboxes; ++i) {
    const std::string name = "u" + std::to_string(i);
    options.users.push_back({name, name + "@example.com", name, "p"});
  }
  // Everybody may write into the next one's drafts.
  for (int i = 0; i < kMailboxes; ++i)
    options.users[static_cast<std::size_t>(i)].grants = {
        {"u" + std::to_string((i + 1) % kMailboxes) + "@example.com", "drafts", Access::kEditor}};
  const Started server(options);
  constexpr int kRounds = 12;
  std::vector<std::thread> threads;
  for (int i = 0; i < kMailboxes; ++i)
    threads.emplace_back([&, i] {
      const std::string next = "u" + std::to_string((i + 1) % kMailboxes) + "@example.com";
      Client client(server, "u" + std::to_string(i), "p");
      for (int round = 0; round < kRounds; ++round) {
        EXPECT_EQ(client.Call(CreateItemXml(MessageXml("own", next))).Code(), "NoError");
        EXPECT_EQ(client.Call(CreateItemXml(MessageXml("sent", next), "SendAndSaveCopy")).Code(), "NoError");
        EXPECT_EQ(client
                      .Call(CreateItemXml(MessageXml("theirs", next), "SaveOnly",
                                          "<t:DistinguishedFolderId Id=\"drafts\"><t:Mailbox><t:EmailAddress>" + next +
                                              "</t:EmailAddress></t:Mailbox></t:DistinguishedFolderId>"))
                      .Code(),
                  "NoError");
        EXPECT_EQ(client.Call(FindItemXml("drafts")).Code(), "NoError");
        EXPECT_EQ(client
                      .Call("<m:MarkAllItemsAsRead><m:ReadFlag>true</m:ReadFlag><m:SuppressReadReceipts>true"
                            "</m:SuppressReadReceipts><m:FolderIds>" +
                            Distinguished("inbox") + "</m:FolderIds></m:MarkAllItemsAsRead>")
                      .Code(),
                  "NoError");
      }
    });
  for (std::thread& thread : threads) thread.join();
  for (int i = 0; i < kMailboxes; ++i) {
    const std::string address = "u" + std::to_string(i) + "@example.com";
    EXPECT_EQ(server.CountItems(address, "drafts"), 2u * kRounds) << address;
    EXPECT_EQ(server.CountItems(address, "inbox"), 1u * kRounds) << address;
    EXPECT_EQ(server.CountItems(address, "sentitems"), 1u * kRounds) << address;
  }
}

}  // namespace
}  // namespace velmore::simulator::testing
