#include "ews/idioms/uVqEWSConflicts.h"

#include "ews/model/uVqEWSFolderInterfaces.h"

namespace velmore {

TVqRef<IVqEWSItem> VqEditItem(const TVqRef<IVqEWSItem>& AItem, const std::function<void(IVqEWSItem&)>& AEdit,
                              TVqEWSSaveOption ASaveOption, std::int32_t AAttempts) {
  TVqRef<IVqEWSItem> item = AItem;
  for (std::int32_t attempt = 1;; ++attempt) {
    AEdit(*item);
    try {
      item->SaveChanges(ASaveOption);
      return item;
    } catch (const EEWSException& refusal) {
      if (refusal.ResponseCode() != "ErrorIrresolvableConflict" || attempt >= AAttempts) throw;
    }
    item = item->GetMsgStore()->GetItem(item->GetID());
  }
}

}  // namespace velmore
