// Which folder belongs to which subscription, and which subscription to which group.

#include <gmock/gmock.h>

#include "EventsTestSupport.h"

namespace velmore::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// Folders of Alice, and a component that subscribes nothing.
class EventGroups : public EventsTest {
 protected:
  TVqEWSEventGroups& Groups() { return Component.GetEventGroups(); }
  Names Codes() {
    Names codes;
    for (const auto& [code, group] : Groups()) codes.push_back(code.utf8() + " " + std::to_string(group->Count()));
    return codes;
  }
  std::vector<TVqRef<IVqEWSFolder>> Folders() {
    return {Folder(dfininbox), Folder(dfindrafts), Folder(dfinsentitems), Folder(dfincalendar)};
  }

  TVqEWSSingleStoreFolderEvents Component;
};

TEST_F(EventGroups, FoldersAreToldApartByTheirIds) {
  TVqEWSEventSubscription subscription(Groups().GetGroup("G"), kAlice);
  const auto inbox = Folder(dfininbox), again = Folder(dfininbox), drafts = Folder(dfindrafts);
  ASSERT_NE(inbox, again);
  subscription.Add(inbox);
  subscription.Add(again);
  EXPECT_EQ(subscription.Count(), 1);
  EXPECT_TRUE(subscription.HasFolder(again));
  EXPECT_FALSE(subscription.HasFolder(drafts));
  EXPECT_EQ(subscription.FindFolder(again->GetID().Id), inbox) << "the one that was added";
  EXPECT_EQ(subscription.FindFolder("x"), nullptr);
  subscription.Remove(drafts);
  EXPECT_EQ(subscription.Count(), 1);
  subscription.Remove(again);
  EXPECT_EQ(subscription.Count(), 0);
  EXPECT_THROW(subscription.GetItem(0), EListError);
  EXPECT_THROW(subscription.GetItem(-1), EListError);
  EXPECT_EQ(subscription.GetStoreIdentity(), kAlice);
  EXPECT_EQ(subscription.GetSubscriptionId(), "");
  EXPECT_EQ(&subscription.GetGroup(), &Groups().GetGroup("G"));
}

TEST_F(EventGroups, AGroupHasOneSubscriptionAStore) {
  TVqEWSEventGroup& group = Groups().GetGroup("G");
  const auto folders = Folders();
  group.AddFolder("a@example.com", folders[0]);
  group.AddFolder("A@example.com", folders[1]);
  group.AddFolder("a@example.com", folders[2]);
  group.AddFolder("a@example.com", folders[0]);
  ASSERT_EQ(group.Count(), 2) << "addresses are compared exactly";
  EXPECT_EQ(group.GetItem(0).Count(), 2);
  EXPECT_EQ(group.GetItem(1).GetStoreIdentity(), "A@example.com");
  EXPECT_EQ(group.FindFolder(folders[1]), &group.GetItem(1));
  EXPECT_EQ(group.FindFolder(folders[3]), nullptr);
  EXPECT_EQ(group.IndexOf(group.GetItem(1)), 1);
  EXPECT_EQ(group.IndexOf(TVqEWSEventSubscription(group, "x")), -1);
  group.RemoveFolder(folders[3]);
  group.RemoveFolder(folders[0]);
  EXPECT_EQ(group.Count(), 2);
  group.RemoveFolder(folders[2]);
  ASSERT_EQ(group.Count(), 1) << "a subscription without a folder goes";
  EXPECT_EQ(group.GetItem(0).GetStoreIdentity(), "A@example.com");
  EXPECT_THROW(group.GetItem(1), EListError);
  EXPECT_EQ(group.GetGroupCode(), "G");
}

TEST_F(EventGroups, SortingIsByCodeUnits) {
  TVqEWSEventGroup& group = Groups().GetGroup("G");
  const auto folders = Folders();
  const char* const addresses[] = {"b@example.com", "a@example.com", "B@example.com", "\xC3\xA4@example.com"};
  for (std::size_t i = 0; i < folders.size(); ++i) group.AddFolder(addresses[i], folders[i]);
  group.SortByAddress();
  Names sorted;
  for (std::int32_t i = 0; i < group.Count(); ++i) sorted.push_back(group.GetItem(i).GetStoreIdentity().utf8());
  EXPECT_THAT(sorted, ElementsAre("B@example.com", "a@example.com", "b@example.com", "\xC3\xA4@example.com"));
}

TEST_F(EventGroups, AFolderHasOneEntryWhateverTheCode) {
  const auto inbox = Folder(dfininbox);
  Groups().AddFolder("G", kAlice, inbox);
  Groups().AddFolder("G", kAlice, inbox);
  Groups().AddFolder("H", kAlice, Folder(dfininbox));
  Groups().AddFolder("H", kBob, inbox);
  EXPECT_THAT(Codes(), ElementsAre("G 1"));
  EXPECT_EQ(Groups().SubscriptionCount(), 1);
}

TEST_F(EventGroups, TheTwoHundredAndFirstStoreOverflows) {
  Folder(dfininbox);
  std::vector<TVqRef<IVqEWSFolder>> folders;
  const auto add = [&](int store) { Server().AddItem(kAlice, "F" + std::to_string(store), "<t:Message/>"); };
  for (int i = 0; i < 405; ++i) add(i);
  const auto table = Folder(dfinmsgfolderroot)->GetSubFolders();
  table->GetFields().Add(FLD_FOLDER_FOLDERID);
  std::vector<TItemId> ids;
  for (table->Open(); !table->Eof(); table->Next())
    ids.push_back(table->FieldByName(FLD_FOLDER_FOLDERID).GetValue<TItemId>());
  ASSERT_GE(ids.size(), 403u);
  for (int i = 0; i < 403; ++i) {
    folders.push_back(MakeRef<TVqEWSFolder>(&dynamic_cast<TVqComponent&>(Store()), ids[static_cast<std::size_t>(i)]));
    if (i < 401) Groups().AddFolder("Default", "user" + string(std::to_string(i)) + "@example.com", folders.back());
  }
  EXPECT_THAT(Codes(), ElementsAre("Default 200", "Default1 200", "Default2 1"));
  EXPECT_EQ(Groups().SubscriptionCount(), 401);
  // On purpose also for a store that has its subscription in the full group.
  Groups().AddFolder("Default", "user7@example.com", folders[401]);
  EXPECT_THAT(Codes(), ElementsAre("Default 200", "Default1 200", "Default2 2"));
  Groups().AddFolder("Default", "user400@example.com", folders[402]);
  EXPECT_THAT(Codes(), ElementsAre("Default 200", "Default1 200", "Default2 2")) << "that group has room";
}

TEST_F(EventGroups, SubscriptionsAreFoundAndRemovedByTheServersId) {
  const auto folders = Folders();
  Groups().AddFolder("G", "a@example.com", folders[0]);
  Groups().AddFolder("G", "b@example.com", folders[1]);
  Groups().AddFolder("H", "c@example.com", folders[2]);
  Groups().GetGroup("G").GetItem(1).SetSubscriptionId("one");
  Groups().GetGroup("H").GetItem(0).SetSubscriptionId("One");
  TVqEWSEventSubscription* found = &Groups().GetGroup("G").GetItem(0);
  EXPECT_FALSE(Groups().FindSubscription("two", found));
  EXPECT_EQ(found, nullptr);
  EXPECT_TRUE(Groups().FindSubscription("One", found));
  EXPECT_EQ(found->GetStoreIdentity(), "c@example.com") << "compared exactly";
  Groups().RemoveSubscription("two");
  EXPECT_EQ(Groups().SubscriptionCount(), 3);
  Groups().GetGroup("H").GetItem(0).SetSubscriptionId("one");
  Groups().RemoveSubscription("one");
  EXPECT_THAT(Codes(), ElementsAre("G 1", "H 0")) << "it goes on with the other groups";
  Groups().Clear();
  EXPECT_THAT(Codes(), IsEmpty());
}

}  // namespace
}  // namespace velmore::testing
