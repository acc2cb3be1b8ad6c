// The standard library's points in time, file names, streams and bytes in the operations that people use them for.

#include <gmock/gmock.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <unordered_set>

#include "ews/idioms/uVqEWSRanges.h"
#include "platform/common/uVqDateTimeUtils.h"
#include "platform/common/uVqStdStreams.h"
#include "tests/wire/PeopleTestSupport.h"

namespace velmore::testing {
namespace {

using namespace std::chrono;

class StandardTypes : public PeopleTest {
 protected:
  StandardTypes() {
    FFolder = std::filesystem::temp_directory_path() / ("velmore-standard-types-" + std::to_string(::getpid()));
    std::filesystem::create_directories(FFolder);
  }
  ~StandardTypes() override { std::filesystem::remove_all(FFolder); }

  std::filesystem::path FFolder;
};

TEST_F(StandardTypes, ATaskIsDueAtAPointOnTheSystemsClock) {
  const auto task = NewTask();
  EXPECT_FALSE(VqIfSet(task->GetDueDate())) << "not yet";
  const sys_days day = year(2026) / 11 / 30;
  task->SetSubject("Report");
  task->SetDueDate(day);
  task->SaveChanges(soAutoResolve);
  EXPECT_THAT(Request("CreateItem"), ::testing::HasSubstr("<t:DueDate>2026-11-30T00:00:00Z</t:DueDate>"));

  const auto fresh = Fresh(*task);
  const auto due = VqIfSet(fresh->GetDueDate());
  ASSERT_TRUE(due);
  EXPECT_EQ(VqToSysTime(*due), day);
  EXPECT_FALSE(VqIfSet(fresh->GetStartDate())) << "the server has none";
}

TEST_F(StandardTypes, ARowWithoutADateSaysSo) {
  Task("<t:Subject>With</t:Subject><t:DueDate>2026-11-30T08:00:00Z</t:DueDate>");
  Task("<t:Subject>Without</t:Subject>");
  std::string seen;
  for (const auto row : VqItemsOf(*Folder(dfintasks), FLD_ITEM_SUBJECT, FLD_TASK_DUEDATE)) {
    const auto due = VqIfSet(row[FLD_TASK_DUEDATE].GetAsDateTime());
    std::ostringstream line;
    line << row[FLD_ITEM_SUBJECT].GetAsString() << ": ";
    if (due) line << *due;
    seen = line.str() + ";" + seen;
  }
  EXPECT_THAT(seen, ::testing::HasSubstr("With: 2026-11-30T08:00:00Z;"));
  EXPECT_THAT(seen, ::testing::HasSubstr("Without: ;"));
}

TEST_F(StandardTypes, AMessageGoesIntoAStreamAndComesOutOfOne) {
  const std::string mime = MimeOf("Streamed", "Grüße");
  std::istringstream in(mime);
  const TItemId id = Inbox()->ImportItem(VqReadFrom(in), {});
  std::ostringstream out;
  Store().GetItem(id)->SaveToStream(VqWriteTo(out));
  EXPECT_THAT(out.str(), ::testing::HasSubstr("Subject: Streamed"));

  const auto bytes = std::as_bytes(std::span(mime));
  EXPECT_EQ(Store().GetItem(Inbox()->ImportItem(VqReadFrom(bytes), {}))->GetSubject(), "Streamed");
}

TEST_F(StandardTypes, AFileIsNamedByItsPath) {
  const std::filesystem::path path = FFolder / u8"Grüße \U0001F600.eml";
  Store().GetItem(AddMessage("On disk"))->SaveToFile(path);
  ASSERT_TRUE(std::filesystem::exists(path));

  const auto mail = Store().GetItem(Inbox()->ImportItem(path, 0, {}));
  EXPECT_EQ(mail->GetSubject(), "On disk");
  mail->GetAttachments().AddAttachment(path);
  mail->SaveChanges(soAutoResolve);
  const auto file = Supports<IVqEWSFileAttachment>(mail->GetAttachments().GetAttachment(0));
  EXPECT_EQ(file->GetName(), path.filename());
  const std::filesystem::path copy = FFolder / "copy.eml";
  file->SaveToFile(copy);
  EXPECT_EQ(std::filesystem::file_size(copy), std::filesystem::file_size(path));
  file->LoadFromFile(copy);
  std::ostringstream out;
  file->SaveToStream(VqWriteTo(out));
  EXPECT_EQ(out.str().size(), std::filesystem::file_size(path));
  const std::byte bytes[] = {std::byte{1}, std::byte{0}, std::byte{255}};
  file->LoadFromStream(VqReadFrom(bytes));
  std::ostringstream again;
  file->SaveToStream(VqWriteTo(again));
  EXPECT_EQ(again.str(), std::string("\x01\0\xFF", 3));
}

TEST_F(StandardTypes, IdsOfRowsAreKeys) {
  const TItemId first = AddMessage("One"), second = AddMessage("Two");
  std::unordered_set<TItemId> ids;
  for (const auto row : VqItemsOf(*Inbox(), FLD_ITEM_SUBJECT)) ids.insert(row.Id());
  EXPECT_TRUE(ids.contains(first));
  EXPECT_TRUE(ids.contains(second));
}

}  // namespace
}  // namespace velmore::testing
