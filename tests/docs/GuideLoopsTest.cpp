// The page on loops that change what they walk: what goes wrong, and the ways that do not.

#include <gtest/gtest.h>

#include "ews/VelmoreEWS.h"
#include "ews/schema/uVqEWSPropsFLD.h"
#include "tests/wire/MailboxTestSupport.h"

namespace velmore::testing {
namespace {

class GuideLoops : public MailboxTest {
 protected:
  GuideLoops() {
    for (int i = 0; i < 40; ++i) AddMessage("Message " + std::to_string(i));
    FItems->SetMaxEntriesPerPage(10);
  }
  std::size_t Left() { return Server().CountItems(kAlice, "inbox"); }

  TVqRef<IVqEWSFolder> FInbox = Inbox();
  TVqRef<IVqEWSItems> FItems = VqItemsOf(*FInbox, FLD_ITEM_SUBJECT);
};

TEST_F(GuideLoops, ALoopThatDeletesSkipsEverySecondPage) {
  const auto& inbox = FInbox;
  const auto& items = FItems;
  for (const auto row : items) inbox->DeleteItem(row.Id(), dtMoveToDeletedItems);  // half of them stay
  EXPECT_EQ(Left(), 20u);
}

TEST_F(GuideLoops, SoDoesOneThatChangesWhatItsFilterAsksFor) {
  const auto& inbox = FInbox;
  const auto& items = FItems;
  VqFilter(*items, VqField(FLD_MESSAGE_ISREAD) == false);
  for (const auto row : items) {
    const auto mail = Supports<IVqEWSEMail>(inbox->GetItem(row.Id()));
    mail->SetIsRead(true);  // and so it leaves the table
    mail->SaveChanges(soAutoResolve);
  }
  EXPECT_EQ(Inbox()->GetUnreadCount(), 20);
}

TEST_F(GuideLoops, CollectFirst) {
  const auto& inbox = FInbox;
  const auto& items = FItems;
  for (const TItemId& id : VqIdsOf(*items)) inbox->DeleteItem(id, dtMoveToDeletedItems);
  EXPECT_EQ(Left(), 0u);
}

TEST_F(GuideLoops, OrTakeTheFirstPageAgainAndAgain) {
  const auto& inbox = FInbox;
  const auto& items = FItems;
  for (items->SetActive(true); !items->Eof(); items->SetActive(true)) {
    inbox->DeleteItem(items->GetItemId(), dtMoveToDeletedItems);  // one that fails must end the loop, or it never ends
  }
  EXPECT_EQ(Left(), 0u);
}

TEST_F(GuideLoops, WhatIsGoneIsNoFailure) {
  const auto& inbox = FInbox;
  const auto& items = FItems;
  int gone = 0;
  const auto ids = VqIdsOf(*items);
  inbox->DeleteItem(ids[7], dtHardDelete);
  for (const TItemId& id : ids) try {
      inbox->DeleteItem(id, dtMoveToDeletedItems);
    } catch (const EEWSException& refusal) {
      if (!refusal.Message().StartsWith("ErrorItemNotFound")) throw;
      ++gone;  // somebody else was quicker
    }
  EXPECT_EQ(gone, 1);
  EXPECT_EQ(Left(), 0u);
}

TEST_F(GuideLoops, ListsAreEmptiedFromTheirEnd) {
  const TVqRef<IVqEWSItem> item = FInbox->GetItem(VqIdsOf(*FItems).front());
  for (const char* category : {"Old", "Kitchen", "Old", "Old"}) item->GetCategories().Add(category);
  TVqEWSStrings& categories = item->GetCategories();
  for (std::int32_t i = categories.Count() - 1; i >= 0; --i) {
    if (categories.GetItem(i) == "Old") categories.Delete(i);
  }
  EXPECT_EQ(categories.AsString(","), "Kitchen");
}

TEST_F(GuideLoops, ATableIsASeriesOfPicturesAndNotOne) {
  std::vector<TItemId> seen;
  bool arrived = false;
  for (const auto row : FItems) {
    if (!arrived && seen.size() == 5) {
      Inbox()->DeleteItem(seen.front(), dtHardDelete);  // by another program, say
      arrived = true;
    }
    seen.push_back(row.Id());
  }
  EXPECT_EQ(seen.size(), 39u);  // one was never shown, though it is there
  EXPECT_EQ(Left(), 39u);
}

}  // namespace
}  // namespace velmore::testing
