#pragma once

/// Tasks.

#include <optional>

#include "ews/items/uVqEWSItem.h"

namespace velmore {

/// A task. See TVqEWSItemCore for what it owns, its threads and failures, and IVqEWSTask for each operation.
class TVqEWSTask : public TVqEWSBaseItem<TEwsTask>, public virtual IVqEWSTask {
 public:
  /// An empty id makes a new task in `ACreator` (a folder, for its place), of which 0 percent are done; any other loads
  /// the task (m:GetItem).
  TVqEWSTask(TVqComponent* ACreator, const TItemId& AItemId);
  /// The task that an answer to m:GetItem holds. Asks nothing.
  TVqEWSTask(TVqComponent* ACreator, const TVqEWSLoadedItem& ALoaded);

  TItemType GetItemType() override { return tTask; }
  /// Servers before Exchange2013: of a new task as m:CreateItem, and then always an m:UpdateItem, with the due date if
  /// one was set.
  void SaveChanges(TVqEWSSaveOption ASaveOption) override;
  TDateTime GetDueDate() override;
  void SetDueDate(TDateTime AValue) override;
  string GetTaskOwner() override;

  const TVqEWSMemberTable& MemberTable() const override;

 protected:
  ~TVqEWSTask() override = default;

 private:
  bool HoldsDueDateBack();

  std::optional<TDateTime> FDueDateNewItem;  // held back until after the first save

 public:
  // The published properties that have no rules of their own.
#define VQ_MEMBER(access, ...) VQ_DECLARE_##access(__VA_ARGS__)
#include "ews/tables/MemberRowsTask.inc"
};

}  // namespace velmore
