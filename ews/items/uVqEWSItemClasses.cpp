#include "ews/items/uVqEWSItemClasses.h"

#include <algorithm>

#include "ews/items/uVqEWSContact.h"
#include "ews/items/uVqEWSMessage.h"
#include "ews/items/uVqEWSMessageEx.h"
#include "ews/items/uVqEWSTask.h"

namespace velmore {
namespace {

using TMake = TVqRef<IVqEWSItem> (*)(TVqComponent* creator, const TItemId& id);

template <typename T>
TVqRef<IVqEWSItem> Make(TVqComponent* creator, const TItemId& id) {
  return MakeRef<T>(creator, id);
}

/// A kind of item, the class that opens one of the server's, and the class that makes a new one. What is not listed is
/// opened as a plain item, and made by nobody: a plain item would go out under another element's name.
constexpr struct {
  TItemType Type;
  TMake Open, New;
} kItemClasses[] = {
    {tItem, Make<TVqEWSItem>, Make<TVqEWSItem>},
    {tMessage, Make<TVqEWSEMail>, Make<TVqEWSEMail>},
    {tCalendarItem, Make<TVqEWSCalendarItemEx>, Make<TVqEWSCalendarItemEx>},
    {tContact, Make<TVqEWSContact>, Make<TVqEWSContact>},
    {tDistributionList, Make<TVqEWSDistributionList>, Make<TVqEWSItem>},  // made as a plain item, on purpose
    {tTask, Make<TVqEWSTask>, Make<TVqEWSTask>},
};

}  // namespace

TVqRef<IVqEWSItem> EwsOpenItem(const string& AElementName, TVqComponent* ACreator, const TItemId& AItemId) {
  const auto itemClass = std::ranges::find_if(
      kItemClasses, [&](const auto& row) { return SameText(VqEnumToText(row.Type), AElementName); });
  return (itemClass == std::end(kItemClasses) ? Make<TVqEWSItem> : itemClass->Open)(ACreator, AItemId);
}

TVqRef<IVqEWSItem> EwsOpenAnsweredItem(const TVqRef<IVqSOAPEnvelope>& AAnswer, const IVqDOMElement& AItem,
                                       TVqComponent* ACreator, const TItemId& AItemId) {
  TVqRef<IVqEWSItem> item = EwsOpenItem(AItem.GetLocalName(), ACreator, AItemId);
  dynamic_cast<TVqEWSItemCore&>(*item).TakeLoad(AAnswer, AItem);
  return item;
}

TVqRef<IVqEWSItem> EwsMakeItem(TItemType AItemType, TVqComponent* ACreator) {
  const auto itemClass = std::ranges::find(kItemClasses, AItemType, [](const auto& row) { return row.Type; });
  if (itemClass == std::end(kItemClasses))
    throw EVqNotSupported("Items of the kind \"" + VqEnumToText(AItemType) + "\" cannot be made here.");
  return itemClass->New(ACreator, TItemId());
}

TVqRef<IVqEWSDistributionList> EwsMakeDistributionList(TVqComponent* ACreator) {
  return MakeRef<TVqEWSDistributionList>(ACreator, TItemId());
}

}  // namespace velmore
