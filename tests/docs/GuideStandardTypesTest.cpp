// What the pages show of the standard library's types: points in time, streams, paths.

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iostream>

#include "ews/VelmoreEWS.h"
#include "ews/schema/uVqEWSPropsFLD.h"
#include "ews/schema/uVqEWSPropsPR.h"
#include "tests/support/EWSTestSupport.h"
#include "tests/support/TemporaryFolder.h"

namespace velmore::testing {
namespace {

class GuideStandardTypes : public EWSTest {};

TEST_F(GuideStandardTypes, Dates) {
  const auto store = Session().OpenDefaultMsgStore();
  const auto tasks = store->GetFolder(dfintasks, "");
  const auto task = Supports<IVqEWSTask>(tasks->CreateItem(tTask));
  task->SetSubject("Report");

  using namespace std::chrono;
  task->SetStartDate(system_clock::now());  // any point on the system's clock is a date
  task->SetDueDate(sys_days(year(2026) / 11 / 30));
  task->SaveChanges(soAutoResolve);

  const auto due = VqToSysTime(task->GetDueDate());  // and back, in milliseconds
  const auto day = VqToSysTime<days>(task->GetDueDate());
  const year_month_day date = day;
  EXPECT_EQ(due, day);
  EXPECT_EQ(date, year(2026) / 11 / 30);

  ::testing::internal::CaptureStdout();
  if (const auto start = VqIfSet(task->GetStartDate())) std::cout << "starts " << *start << '\n';
  for (const auto row : VqItemsOf(*tasks, FLD_ITEM_SUBJECT, FLD_TASK_DUEDATE)) {
    const auto due = VqIfSet(row[FLD_TASK_DUEDATE].GetAsDateTime());
    std::cout << row[FLD_ITEM_SUBJECT].GetAsString() << (due ? " is due " + VqToIso8601(*due) : " can wait") << '\n';
  }
  const std::string told = ::testing::internal::GetCapturedStdout();
  EXPECT_EQ(told.find("starts 20"), 0u) << told;
  EXPECT_NE(told.find("Report is due 2026-11-30T00:00:00Z\n"), std::string::npos) << told;

  ::testing::internal::CaptureStdout();
  std::cout << task->GetDueDate() << '\n';                              // 2026-11-30T00:00:00Z
  const TDateTime read = VqXMLToDateTime("2026-11-30T09:00:00+01:00");  // 2026-11-30T08:00:00Z
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "2026-11-30T00:00:00Z\n");
  EXPECT_EQ(VqToIso8601(read), "2026-11-30T08:00:00Z");
  EXPECT_EQ(VqToIso8601(task->GetDueDate() + 7), "2026-12-07T00:00:00Z");

  task->DeleteProperty(PR_DUEDATE);
  task->SaveChanges(soAutoResolve);
  EXPECT_FALSE(VqIfSet(Supports<IVqEWSTask>(store->GetItem(task->GetID()))->GetDueDate()));

  const std::time_t seconds = 1'800'000'000;
  task->SetDueDate(system_clock::from_time_t(seconds));  // seconds since 1970
  task->SetDueDate(TDateTime(46356));                    // days since 30 December 1899
  EXPECT_EQ(task->GetDueDate(), VqEncodeDate(2026, 11, 30));
  EXPECT_EQ(VqToIso8601(system_clock::from_time_t(seconds)), "2027-01-15T08:00:00Z");
  EXPECT_EQ(VqEncodeDateTime({2026, 11, 30, 8, 30}), VqEncodeDate(2026, 11, 30) + 8.5 / 24);
}

TEST_F(GuideStandardTypes, StreamsAndPaths) {
  const TemporaryFolder temporary;
  const std::filesystem::path folder = temporary.Path();
  std::ofstream(folder / "report.pdf") << "%PDF";
  const auto store = Session().OpenDefaultMsgStore();
  const auto mail = store->GetFolder(dfindrafts, "")->CreateItem(tMessage);

  TVqEWSAttachments& attachments = mail->GetAttachments();
  attachments.AddAttachment(folder / "report.pdf");  // a std::filesystem::path
  std::ifstream picture(folder / "report.pdf", std::ios::binary);
  attachments.AddAttachment("copy.pdf", "application/pdf", VqReadFrom(picture));
  mail->SaveChanges(soAutoResolve);
  std::ofstream whole(folder / "mail.eml", std::ios::binary);
  mail->SaveToStream(VqWriteTo(whole));

  whole.close();
  const auto read = store->GetItem(store->GetFolder(dfininbox, "")->ImportItem(folder / "mail.eml", 0, {}));
  EXPECT_EQ(read->GetAttachments().Count(), 2);
}

}  // namespace
}  // namespace velmore::testing
