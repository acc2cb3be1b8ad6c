#include "ews/items/uVqEWSTask.h"

#include "ews/items/uVqEWSMemberRows_p.h"

namespace velmore {
namespace {

using namespace detail::members;

constinit const TVqEWSMemberInfo kMembers[] = {
#define VQ_MEMBER(access, ...) VQ_ROW_##access(__VA_ARGS__)
#include "ews/tables/MemberRowsTask.inc"
};

}  // namespace

TVqEWSTask::TVqEWSTask(TVqComponent* ACreator, const TItemId& AItemId) : TVqEWSBaseItem(ACreator) {
  Initialize(AItemId);
  // Said in every new task, on purpose: servers that are told nothing leave the member out of their answers.
  if (AItemId.Id.empty() && NewItemRequest()) NewData().SetPercentComplete(0);
}

TVqEWSTask::TVqEWSTask(TVqComponent* ACreator, const TVqEWSLoadedItem& ALoaded) : TVqEWSBaseItem(ACreator) {
  Initialize(ALoaded);
}

const TVqEWSMemberTable& TVqEWSTask::MemberTable() const {
  static const TVqEWSMemberTable table{"TVqEWSTask", &TVqEWSItemCore::MemberTable(), kMembers};
  return table;
}

#define VQ_MEMBER(access, ...) VQ_FORWARD_##access(TVqEWSTask, NewData, __VA_ARGS__)
#include "ews/tables/MemberRowsTask.inc"

string TVqEWSTask::GetTaskOwner() {
  return NewData().GetOwner();
}

// A date that is still in hand was not written yet, although the task may be on the server: a save was cut in between.
bool TVqEWSTask::HoldsDueDateBack() {
  return ServerVersion() < Exchange2013 && (GetIsNewItem() || FDueDateNewItem);
}

TDateTime TVqEWSTask::GetDueDate() {
  return HoldsDueDateBack() ? FDueDateNewItem.value_or(TDateTime()) : NewData().GetDueDate();
}

void TVqEWSTask::SetDueDate(TDateTime AValue) {
  if (HoldsDueDateBack()) {
    FDueDateNewItem = AValue;
  } else {
    NewData().SetDueDate(AValue);
  }
}

void TVqEWSTask::SaveChanges(TVqEWSSaveOption ASaveOption) {
  const bool twice = HoldsDueDateBack();
  TVqEWSBaseItem::SaveChanges(ASaveOption);
  if (!twice) return;
  if (FDueDateNewItem) {
    NewData().SetDueDate(*FDueDateNewItem);
    FDueDateNewItem.reset();
  }
  // Without a date, too, on purpose: who reads the requests finds the same two for every new task.
  TVqEWSBaseItem::SaveChanges(ASaveOption);
}

}  // namespace velmore
