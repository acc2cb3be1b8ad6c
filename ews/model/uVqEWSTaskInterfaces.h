#pragma once

/// Tasks as the application sees them.
///
///     auto task = Supports<IVqEWSTask>(tasks->CreateItem(tTask));
///     task->SetSubject("Water the plants");
///     task->SetDueDate(VqEncodeDateTime({.Year = 2026, .Month = 3, .Day = 2}));
///     task->SaveChanges(soAutoResolve);

#include "ews/model/uVqEWSBaseItemInterfaces.h"

namespace velmore {

/// A task. Its days are times in UTC, and 0 when the task has none.
class IVqEWSTask : public virtual IVqEWSItem {
 public:
  // ---- When

  /// The day to begin on.
  virtual TDateTime GetStartDate() = 0;
  virtual void SetStartDate(TDateTime AValue) = 0;
  /// The day to be done by. Servers before Exchange2013 take none when a task is made: there it is held back, and the
  /// first save writes it in an update of its own (m:UpdateItem).
  virtual TDateTime GetDueDate() = 0;
  virtual void SetDueDate(TDateTime AValue) = 0;
  /// The day on which it was done. Servers derive it from the status, and the status from it.
  virtual TDateTime GetCompleteDate() = 0;
  virtual void SetCompleteDate(TDateTime AValue) = 0;
  /// How the task comes back, filled in place; and whether it does, as the server counts.
  virtual TEwsTaskRecurrence& GetRecurrence() = 0;
  virtual bool GetIsRecurring() = 0;

  // ---- How far

  /// Not started, in progress, done, waiting, put off.
  virtual TTaskStatus GetStatus() = 0;
  virtual void SetStatus(TTaskStatus AValue) = 0;
  /// The same in words, made by the server.
  virtual string GetStatusDescription() = 0;
  virtual void SetStatusDescription(const string& AValue) = 0;
  /// 0 to 100. A new task says 0 from the start.
  virtual double GetPercentComplete() = 0;
  virtual void SetPercentComplete(double AValue) = 0;
  /// Whether it is done.
  virtual bool GetIsComplete() = 0;
  virtual void SetIsComplete(bool AValue) = 0;
  /// Minutes of work, done and planned.
  virtual std::int32_t GetActualWork() = 0;
  virtual void SetActualWork(std::int32_t AValue) = 0;
  virtual std::int32_t GetTotalWork() = 0;
  virtual void SetTotalWork(std::int32_t AValue) = 0;
  /// How many versions of the task there were.
  virtual std::int32_t GetChangeCount() = 0;

  // ---- Whose

  /// Display name of the person who is to do it. Called so because "owner" is another word for what made an object.
  virtual string GetTaskOwner() = 0;
  /// Who gave the task away, when, and what became of that.
  virtual string GetDelegator() = 0;
  virtual void SetDelegator(const string& AValue) = 0;
  virtual TDateTime GetAssignedTime() = 0;
  virtual void SetAssignedTime(TDateTime AValue) = 0;
  virtual TTaskDelegateState GetDelegationState() = 0;
  virtual void SetDelegationState(TTaskDelegateState AValue) = 0;
  /// A number of the server that says who may change the assignment.
  virtual std::int32_t GetIsAssignmentEditable() = 0;
  virtual void SetIsAssignmentEditable(std::int32_t AValue) = 0;
  /// Whether it is a task of a team.
  virtual bool GetIsTeamTask() = 0;
  virtual void SetIsTeamTask(bool AValue) = 0;
  /// Names of contacts and companies that have to do with it.
  virtual TEwsArrayOfStrings& GetContacts() = 0;
  virtual TEwsArrayOfStrings& GetCompanies() = 0;
  /// Free texts, kept as they are.
  virtual string GetBillingInformation() = 0;
  virtual void SetBillingInformation(const string& AValue) = 0;
  virtual string GetMileage() = 0;
  virtual void SetMileage(const string& AValue) = 0;

 protected:
  ~IVqEWSTask() = default;
};

}  // namespace velmore
