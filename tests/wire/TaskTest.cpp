// Tasks over a real socket; the due date that old servers do not take with a creation.

#include "tests/wire/PeopleTestSupport.h"

namespace velmore::testing {
namespace {

constexpr TDateTime kDay = 46000.0, kOtherDay = 46010.0;

class Tasks : public PeopleTest {
 protected:
  using PeopleTest::PeopleTest;
};
class TasksOf2013 : public Tasks {
 protected:
  TasksOf2013() : Tasks("Exchange2013") {}
};
class OldTasks : public Tasks {
 protected:
  OldTasks() : Tasks("Exchange2010") {}
};

TEST_F(Tasks, AreMadeLoadedChangedAndSaved) {
  const auto task = NewTask();
  EXPECT_EQ(task->GetItemType(), tTask);
  EXPECT_EQ(task->GetPercentComplete(), 0);
  task->SetSubject("Water the plants");
  task->SetStatus(tsInProgress);
  task->SetPercentComplete(25);
  task->SetStartDate(kDay);
  task->SetDueDate(kOtherDay);
  task->SetTotalWork(90);
  task->GetCompanies().GetString_().Add("Velmore");
  task->SaveChanges(soAutoResolve);
  const auto fresh = Fresh(*task);
  EXPECT_EQ(fresh->GetSubject(), "Water the plants");
  EXPECT_EQ(fresh->GetStatus(), tsInProgress);
  EXPECT_EQ(fresh->GetPercentComplete(), 25);
  EXPECT_EQ(fresh->GetStartDate(), kDay);
  EXPECT_EQ(fresh->GetDueDate(), kOtherDay);
  EXPECT_EQ(fresh->GetTotalWork(), 90);
  fresh->SetPercentComplete(50);
  fresh->SaveChanges(soNeverOverwrite);
  EXPECT_EQ(Updates(), SetField("task:PercentComplete", "<t:PercentComplete>50</t:PercentComplete>", "t:Task"));
  EXPECT_EQ(Fresh(*task)->GetPercentComplete(), 50);
}

// Meant so: servers that are told nothing leave the member out.
TEST_F(Tasks, EveryNewTaskSaysThatNothingIsDone) {
  const auto task = NewTask();
  task->SaveChanges(soAutoResolve);
  EXPECT_EQ(Part("CreateItem", "Items"),
            "<m:Items><t:Task><t:PercentComplete>0</t:PercentComplete></t:Task></m:Items>");
  EXPECT_EQ(Task("<t:Subject>S</t:Subject>")->GetPercentComplete(), 0);
}

TEST_F(Tasks, TheOwnerIsReadUnderAnotherName) {
  const auto task = NewTask();
  EXPECT_EQ(task->GetTaskOwner(), "");
  TEwsTask(task->AsElement()).SetOwner("Ann");
  EXPECT_EQ(task->GetTaskOwner(), "Ann");
}

TEST_F(Tasks, ARecurrenceIsFilledInPlace) {
  const auto task = NewTask();
  task->SetSubject("Every day");
  TEwsTaskRecurrence& recurrence = task->GetRecurrence();
  recurrence.GetDailyRecurrence().SetInterval(2);
  recurrence.GetNumberedRecurrence().SetStartDate(kDay);
  recurrence.GetNumberedRecurrence().SetNumberOfOccurrences(3);
  task->SaveChanges(soAutoResolve);
  const auto fresh = Fresh(*task);
  EXPECT_TRUE(fresh->GetIsRecurring());
  EXPECT_EQ(fresh->GetRecurrence().GetDailyRecurrence().GetInterval(), 2);
  fresh->GetRecurrence().GetDailyRecurrence().SetInterval(5);
  fresh->SaveChanges(soAutoResolve);
  EXPECT_EQ(Fresh(*task)->GetRecurrence().GetDailyRecurrence().GetInterval(), 5);
}

// ---- The due date

TEST_F(TasksOf2013, TheDueDateGoesWithTheCreation) {
  const auto task = NewTask();
  task->SetSubject("S");
  task->SetDueDate(kDay);
  EXPECT_EQ(Sent([&] { task->SaveChanges(soAutoResolve); }), (Names{"CreateItem", "GetItem"}));
  EXPECT_NE(Request("CreateItem").find("<t:DueDate>"), std::string::npos);
}

TEST_F(OldTasks, TheDueDateIsHeldBackAndWrittenInASecondSave) {
  const auto task = NewTask();
  task->SetSubject("S");
  task->SetDueDate(kDay);
  Forget();
  EXPECT_EQ(task->GetDueDate(), kDay);
  EXPECT_EQ(Operations(), Names{});
  EXPECT_EQ(Sent([&] { task->SaveChanges(soNeverOverwrite); }),
            (Names{"CreateItem", "GetItem", "UpdateItem", "GetItem"}));
  EXPECT_EQ(Request("CreateItem").find("DueDate"), std::string::npos);
  EXPECT_EQ(Updates().find("<t:SetItemField><t:FieldURI FieldURI=\"task:DueDate\"/>"), 0u) << Updates();
  EXPECT_NE(Request("UpdateItem").find("ConflictResolution=\"NeverOverwrite\""), std::string::npos);
  EXPECT_EQ(task->GetDueDate(), kDay);
  EXPECT_EQ(Fresh(*task)->GetDueDate(), kDay);
  task->SetDueDate(kOtherDay);
  EXPECT_EQ(Sent([&] { task->SaveChanges(soNeverOverwrite); }), (Names{"UpdateItem", "GetItem"}));
  EXPECT_EQ(Fresh(*task)->GetDueDate(), kOtherDay);
}

// Meant so: the second save comes always, and writes nothing when there is no date.
TEST_F(OldTasks, TheSecondSaveComesWithoutADateToo) {
  const auto task = NewTask();
  task->SetSubject("S");
  EXPECT_EQ(task->GetDueDate(), 0);
  EXPECT_EQ(Sent([&] { task->SaveChanges(soAutoResolve); }), (Names{"CreateItem", "GetItem", "UpdateItem", "GetItem"}));
  EXPECT_EQ(Updates(), "");
  EXPECT_EQ(Fresh(*task)->GetDueDate(), 0);
}

TEST_F(OldTasks, TheDueDateIsNotLostWhenASaveIsCut) {
  const std::vector<std::pair<const char*, int>> cuts = {
      {"CreateItem", 0}, {"GetItem", 0}, {"UpdateItem", 0}, {"GetItem", 1}};
  for (const auto& [operation, skip] : cuts) {
    SCOPED_TRACE(std::string(operation) + std::to_string(skip));
    const auto task = NewTask();
    task->SetSubject("S");
    task->SetDueDate(kDay);
    RefuseNext(operation, "ErrorInternalServerError", skip);
    EXPECT_THROW(task->SaveChanges(soAutoResolve), EEWSException);
    EXPECT_EQ(task->GetDueDate(), kDay);
    task->SaveChanges(soAutoResolve);
    EXPECT_EQ(task->GetDueDate(), kDay);
    EXPECT_EQ(Fresh(*task)->GetDueDate(), kDay);
  }
}

}  // namespace
}  // namespace velmore::testing
