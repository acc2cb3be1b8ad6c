// The code of the pages on what has changed since last time, and on whole folders.

#include <iostream>

#include "tests/wire/MailboxTestSupport.h"

namespace velmore::testing {
namespace {

using GuideSynchronizing = MailboxTest;

TEST_F(GuideSynchronizing, ACopyOfAFolder) {
  const TItemId one = AddMessage("One"), two = AddMessage("Two");
  AddMessage("Three");
  const auto inbox = Inbox();
  string state;
  std::map<string, string> copy;
  const auto synchronize = [&] {
    const auto changes = VqChangesOf(*inbox, state, FLD_ITEM_SUBJECT);  // the empty state is the beginning
    for (const auto change : changes) {
      switch (change.Kind()) {
        case TVqEWSChangeKind::created:
        case TVqEWSChangeKind::updated:
          copy[change.Id().Id] = change[FLD_ITEM_SUBJECT].GetAsString();
          break;
        case TVqEWSChangeKind::deleted:
          copy.erase(change.Id().Id);
          break;
        case TVqEWSChangeKind::readChanged:
          std::cout << copy[change.Id().Id] << (change.IsRead() ? " was read\n" : " was marked as unread\n");
          break;
      }
    }
    state = changes->GetState();
  };
  synchronize();
  EXPECT_EQ(copy.size(), 3u);
  inbox->DeleteItem(one, dtHardDelete);
  inbox->MarkAllAsRead(false);
  AddMessage("Four");
  ::testing::internal::CaptureStdout();
  synchronize();
  EXPECT_NE(::testing::internal::GetCapturedStdout().find("Two was read\n"), std::string::npos);
  EXPECT_EQ(copy.size(), 3u);
  EXPECT_FALSE(copy.contains(one.Id));
  EXPECT_EQ(copy[two.Id], "Two");
}

TEST_F(GuideSynchronizing, TheStateAndWhatItCovers) {
  for (int i = 0; i < 5; ++i) AddMessage(std::to_string(i));
  const auto inbox = Inbox();
  string state;
  std::map<string, string> copy;
  std::vector<std::size_t> kept;
  const auto Keep = [&](const std::map<string, string>& all, const string&) { kept.push_back(all.size()); };
  const auto Follow = [&](const TVqEWSItemChange& change) {
    copy[change.Id().Id] = change[FLD_ITEM_SUBJECT].GetAsString();
  };
  const auto changes = VqChangesOf(*inbox, state, FLD_ITEM_SUBJECT);
  changes->SetMaxChangesPerPage(2);
  for (const auto change : changes) {
    if (changes->GetState() != state) Keep(copy, state = changes->GetState());  // a page is done
    Follow(change);
  }
  Keep(copy, state = changes->GetState());
  EXPECT_EQ(kept, (std::vector<std::size_t>{2, 4, 5}));
}

TEST_F(GuideSynchronizing, AStateThatIsForgotten) {
  AddMessage("One");
  std::map<string, string> copy{{"old", "Old"}};
  const auto inbox = Inbox();
  const auto changes = VqChangesOf(*inbox, "expired", FLD_ITEM_SUBJECT);
  const auto Follow = [&](const TVqEWSItemChange& change) {
    copy[change.Id().Id] = change[FLD_ITEM_SUBJECT].GetAsString();
  };
  try {
    for (const auto change : changes) Follow(change);
  } catch (const EVqEWSSyncStateInvalid&) {
    copy.clear();
    changes->SetState("");  // everything is told as created
    for (const auto change : changes) Follow(change);
  }
  EXPECT_EQ(copy.size(), 1u);
  EXPECT_EQ(copy.begin()->second, "One");
}

TEST_F(GuideSynchronizing, WhatElseCanBeAskedFor) {
  const std::vector<TItemId> mine{AddMessage("Mine")};
  AddMessage("Another's");
  const auto inbox = Inbox();
  const auto changes = VqChangesOf(*inbox, "", FLD_ITEM_SUBJECT);
  changes->SetMaxChangesPerPage(100);  // 512 at most, which is what it is at first; one page is held at a time
  changes->SetWithAssociated(true);    // settings that programs keep in the folder, since Exchange 2010
  changes->SetIgnored(mine);           // ids that need not be told, since this program changed them itself
  int count = 0;
  for (const auto change : changes) {
    EXPECT_EQ(change[FLD_ITEM_SUBJECT].GetAsString(), "Another's");
    ++count;
  }
  EXPECT_EQ(count, 1);
}

TEST_F(GuideSynchronizing, Folders) {
  const auto store = Session().OpenDefaultMsgStore();
  string folderState;
  std::map<string, string> folders;
  for (const auto change : store->SyncFolders(folderState)) {
    if (change.Kind() == TVqEWSChangeKind::deleted) {
      folders.erase(change.Id().Id);
    } else {
      folders[change.Id().Id] = change.DisplayName();  // below change.ParentId()
    }
  }
  EXPECT_EQ(folders[store->GetFolderId(dfininbox).Id], "Inbox");
}

TEST_F(GuideSynchronizing, WholeFolders) {
  const auto inbox = Inbox();
  AddMessage("One", "Inbox/Papers");
  AddMessage("Two", "Inbox/Papers");
  const auto papers = [&] {
    TVqRef<IVqEWSFolder> found;
    for (const auto row : inbox->GetSubFolders()) found = Store().GetFolder(row.Id());
    return found;
  }();
  const TItemId below = inbox->CreateFolder(sffFolder, "Below");
  inbox->MarkAllAsRead(false);                         // without receipts; MarkAllAsUnread takes it back
  papers->RemoveContents(dtMoveToDeletedItems, true);  // with its subfolders
  inbox->RemoveFolder(below, dtHardDelete);
  EXPECT_EQ(Server().CountItems(kAlice, "deleteditems"), 2u);
  EXPECT_EQ(Store().GetFolder(inbox->GetID())->GetChildFolderCount(), 1);
}

}  // namespace
}  // namespace velmore::testing
