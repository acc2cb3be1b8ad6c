// Deep mailboxes: many rows, many folders, content of hundreds of megabytes. What they cost is measured in
// bench/items_bench.cpp; here they must be right.

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "ews/items/uVqEWSAttachments.h"
#include "ews/items/uVqEWSItem.h"
#include "platform/common/uVqNetEncoding.h"
#include "tests/wire/MailboxTestSupport.h"

namespace velmore::testing {
namespace {

class DeepMailbox : public MailboxTest {
 protected:
  DeepMailbox() : MailboxTest(WithoutRecords()) {}
  ~DeepMailbox() override { std::filesystem::remove(FPath); }

  /// Replies are hundreds of megabytes: the simulator keeps none.
  static simulator::Options WithoutRecords() {
    simulator::Options options = TwoUsers();
    options.keep_exchanges = 0;
    return options;
  }
  std::uint64_t Count(const std::string& operation) { return Server().GetCounters().operations[operation]; }

  /// Content of which no piece is like another, so that one that is lost, doubled or out of place is seen.
  static std::string Content(std::size_t size) {
    std::string content;
    content.reserve(size + 32);
    for (std::uint64_t line = 0; content.size() < size; ++line) content += std::to_string(line * line) + "\r\n";
    return content;
  }
  /// Whether the file has this and nothing else. Reads it in pieces.
  bool FileHas(std::string_view expected) {
    std::ifstream file(FPath, std::ios::binary);
    std::string piece(1 << 20, '\0');
    while (file.read(piece.data(), static_cast<std::streamsize>(piece.size())), file.gcount() > 0) {
      const auto count = static_cast<std::size_t>(file.gcount());
      if (!expected.starts_with(std::string_view(piece).substr(0, count))) return false;
      expected.remove_prefix(count);
    }
    return expected.empty();
  }

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  static constexpr int kScale =
      10;  // sanitizers take several times the time and memory: a tenth shows them all they can find
#else
  static constexpr int kScale = 1;
#endif
  static constexpr std::size_t kLarge = 200'000'000 / kScale;
  const std::filesystem::path FPath =
      std::filesystem::temp_directory_path() / ("velmore-deep-" + IntToStr(::getpid()).utf8());
};

TEST_F(DeepMailbox, HundredThousandRowsAreWalkedWithTenFields) {
  constexpr int kRows = 100'000 / kScale;
  for (int i = 0; i < kRows; ++i)
    Server().AddItem(kAlice, "inbox", "<t:Message><t:Subject>" + std::to_string(i) + "</t:Subject></t:Message>");
  auto items = Inbox()->GetItems();
  for (auto* field : {&FLD_ITEM_SUBJECT, &FLD_ITEM_ITEMCLASS, &FLD_ITEM_SENSITIVITY, &FLD_ITEM_DATETIMERECEIVED,
                      &FLD_ITEM_SIZE, &FLD_ITEM_IMPORTANCE, &FLD_ITEM_DATETIMESENT, &FLD_ITEM_HASATTACHMENTS,
                      &FLD_ITEM_DATETIMECREATED, &FLD_MESSAGE_ISREAD})
    items->GetFields().Add(*field);
  items->SetMaxEntriesPerPage(1000);
  std::vector<bool> seen(kRows);
  int rows = 0;
  for (items->Open(); !items->Eof(); items->Next(), ++rows) {
    EXPECT_LE(Supports<TVqEWSTable>(items)->RowCount(), 1000);  // one page is held, however deep the folder
    for (std::int32_t i = 1; i < items->GetFields().Count(); ++i) items->GetFields().GetItem(i).GetAsString();
    seen[static_cast<std::size_t>(items->FieldByName(FLD_ITEM_SUBJECT).GetAsInteger())] = true;
  }
  EXPECT_EQ(rows, kRows);
  EXPECT_EQ(std::count(seen.begin(), seen.end(), true), kRows);
  EXPECT_EQ(Count("FindItem"), 100u / kScale);
}

TEST_F(DeepMailbox, FiveThousandFoldersAreWalked) {
  constexpr int kFolders = 5000 / kScale;
  const auto parent = FolderOfFolders(kFolders);
  EXPECT_EQ(parent->GetChildFolderCount(), kFolders);
  const std::uint64_t before = Count("FindFolder");
  auto folders = parent->GetSubFolders();
  folders->GetFields().Add(FLD_FOLDER_DISPLAYNAME);
  std::vector<bool> seen(kFolders);
  int rows = 0;
  for (folders->Open(); !folders->Eof(); folders->Next(), ++rows)
    seen[static_cast<std::size_t>(folders->FieldByName(FLD_FOLDER_DISPLAYNAME).GetAsInteger())] = true;
  EXPECT_EQ(rows, kFolders);
  EXPECT_EQ(std::count(seen.begin(), seen.end(), true), kFolders);
  EXPECT_EQ(Count("FindFolder") - before, 100u / kScale);
}

TEST_F(DeepMailbox, MessageOf200MegabytesIsSavedToDisk) {
  const std::string mime = MimeOf("Large", Content(kLarge));
  const simulator::Id id = Server().AddMessage(kAlice, "inbox", mime);
  const auto item = Folder(dfindrafts)->CreateItem(tItem);  // stands for the message without loading its body
  Supports<TVqEWSItem>(item)->SetId({id.id, id.change_key});
  item->SaveToFile(FPath.string());
  EXPECT_EQ(std::filesystem::file_size(FPath), mime.size());
  EXPECT_TRUE(FileHas(mime));
  EXPECT_EQ(Count("GetItem"), 1u);
}

TEST_F(DeepMailbox, AttachmentOf200MegabytesIsSavedToDisk) {
  const std::string content = Content(kLarge);
  const simulator::Id id =
      Server().AddItem(kAlice, "inbox",
                       "<t:Message><t:Attachments><t:FileAttachment><t:Name>large.bin</t:Name><t:Content>" +
                           VqBase64Encode(content) + "</t:Content></t:FileAttachment></t:Attachments></t:Message>");
  const auto item = MakeRef<TVqEWSItem>(Supports<TVqEWSMsgStore>(&Store()).get(), TItemId{id.id, id.change_key});
  const auto file = Supports<IVqEWSFileAttachment>(item->GetAttachments().GetAttachment(0));
  file->SaveToFile(FPath.string());
  EXPECT_EQ(std::filesystem::file_size(FPath), content.size());
  EXPECT_TRUE(FileHas(content));
  file->SaveToFile(FPath.string());  // the content stayed: nobody is asked again
  EXPECT_TRUE(FileHas(content));
  EXPECT_EQ(Count("GetAttachment"), 1u);
}

}  // namespace
}  // namespace velmore::testing
