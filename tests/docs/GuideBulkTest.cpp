// The code on the page about many items at once.

#include <filesystem>
#include <iostream>

#include "ews/schema/uVqEWSPropsFLD.h"
#include "tests/support/EWSTestSupport.h"

namespace velmore::testing {
namespace {

class GuideBulk : public EWSTest {
 protected:
  std::vector<TItemId> AddMessages(int count) {
    std::vector<TItemId> ids;
    for (int i = 0; i < count; ++i) {
      const simulator::Id id = Server().AddMessage(
          kAlice, "inbox",
          "From: bob@example.com\r\nTo: alice@example.com\r\nSubject: Message " + std::to_string(i) + "\r\n\r\nHello");
      ids.push_back({id.id, id.change_key});
    }
    return ids;
  }
};

TEST_F(GuideBulk, LoadingSavingExporting) {
  auto ids = AddMessages(5);
  ids.push_back({"no id", ""});
  const auto store = Session().OpenDefaultMsgStore();
  ::testing::internal::CaptureStdout();
  ::testing::internal::CaptureStderr();
  TVqEWSBulk bulk(store);
  for (const auto& result : bulk.GetItems(ids)) {
    if (result) {
      std::cout << result.Value()->GetSubject() << '\n';
    } else {
      std::cerr << result.FailureText() << '\n';
    }
  }
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "Message 0\nMessage 1\nMessage 2\nMessage 3\nMessage 4\n");
  EXPECT_NE(::testing::internal::GetCapturedStderr(), "");

  std::int64_t total = 0;
  bulk.GetItems(ids, [&](std::size_t, const TVqEWSItemResult& result) {
    if (result) total += result.Value()->GetSize();
  });
  EXPECT_GT(total, 0);

  const string folder = (std::filesystem::temp_directory_path() / ("many" + std::to_string(getpid()))).string();
  std::filesystem::create_directories(folder.utf8());
  bulk.ExportItems(ids, [&](std::size_t index, const TVqEWSMimeText& mime) {
    mime.SaveToFile(folder + "/" + IntToStr(static_cast<std::int64_t>(index)) + ".eml");
  });
  EXPECT_TRUE(std::filesystem::exists((folder + "/4.eml").utf8()));
  EXPECT_FALSE(std::filesystem::exists((folder + "/5.eml").utf8()));
  const auto inbox = store->GetFolder(dfininbox, "");
  std::vector<TVqEWSItemFile> files;
  for (const auto row : VqItemsOf(*inbox, FLD_ITEM_SUBJECT)) {
    files.push_back({row.Id(), folder + "/" + VqItemFileName(row.Id(), row[FLD_ITEM_SUBJECT].GetAsString())});
  }
  for (const auto& file : bulk.ExportItems(files)) {
    if (!file) std::cerr << file.FileName << ": " << file.FailureText() << '\n';
  }
  EXPECT_EQ(files.size(), 5u);
  for (const TVqEWSItemFile& file : files) EXPECT_TRUE(std::filesystem::exists(file.FileName.utf8()));
  EXPECT_TRUE(bulk.ExportItems(files).empty()) << "started again, there is nothing to be done";
  std::filesystem::remove_all(folder.utf8());

  bool stopped = false;
  ::testing::internal::CaptureStdout();
  bulk.SetOnProgress([&](const TVqEWSBulkProgress& at) {
    std::cout << at.Done << " of " << at.Total << '\n';
    return !stopped;
  });
  bulk.SetConnections(3);
  std::vector<TVqRef<IVqEWSItem>> items;
  for (const auto& result : bulk.GetItems(std::span(ids).first(5))) items.push_back(result.Value());
  for (const auto& item : items) item->GetCategories().Add("Seen");
  const auto saved = bulk.SaveItems(items);
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "5 of 5\n0 of 5\n5 of 5\n");
  for (const auto& result : saved) EXPECT_TRUE(result);

  stopped = true;
  bulk.SetRequestSize(2);
  bulk.SetConnections(1);
  ::testing::internal::CaptureStdout();
  const auto results = bulk.MarkAsRead(ids);
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "2 of 6\n");
  std::vector<TItemId> left;
  for (std::size_t i = 0; i < ids.size(); ++i) {
    if (!results[i] && !results[i].MayHaveHappened()) left.push_back(ids[i]);
  }
  EXPECT_EQ(left.size(), 4u);
}

}  // namespace
}  // namespace velmore::testing
