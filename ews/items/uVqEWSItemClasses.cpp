#include "ews/items/uVqEWSItemClasses.h"

#include <algorithm>

#include "ews/items/internal/uVqEWSItemCalls.h"
#include "ews/items/uVqEWSContact.h"
#include "ews/items/uVqEWSMessage.h"
#include "ews/items/uVqEWSMessageEx.h"
#include "ews/items/uVqEWSTask.h"

namespace velmore {
namespace {

using TMake = TVqRef<IVqEWSItem> (*)(TVqComponent* creator, const TItemId& id);
using TTake = TVqRef<IVqEWSItem> (*)(TVqComponent* creator, const TVqEWSLoadedItem& loaded);

template <typename T>
TVqRef<IVqEWSItem> Make(TVqComponent* creator, const TItemId& id) {
  return MakeRef<T>(creator, id);
}
template <typename T>
TVqRef<IVqEWSItem> Take(TVqComponent* creator, const TVqEWSLoadedItem& loaded) {
  return MakeRef<T>(creator, loaded);
}

/// A kind of item, the class that opens one of the server's, with and without a load, and the class that makes a new
/// one. What is not listed is
/// opened as a plain item, and made by nobody: a plain item would go out under another element's name.
constexpr struct {
  TItemType Type;
  TMake Open;
  TTake Take;
  TMake New;
} kItemClasses[] = {
    {tItem, Make<TVqEWSItem>, Take<TVqEWSItem>, Make<TVqEWSItem>},
    {tMessage, Make<TVqEWSEMail>, Take<TVqEWSEMail>, Make<TVqEWSEMail>},
    {tCalendarItem, Make<TVqEWSCalendarItemEx>, Take<TVqEWSCalendarItemEx>, Make<TVqEWSCalendarItemEx>},
    {tContact, Make<TVqEWSContact>, Take<TVqEWSContact>, Make<TVqEWSContact>},
    {tDistributionList, Make<TVqEWSDistributionList>, Take<TVqEWSDistributionList>,
     Make<TVqEWSItem>},  // made as a plain item, on purpose
    {tTask, Make<TVqEWSTask>, Take<TVqEWSTask>, Make<TVqEWSTask>},
};

const auto& ClassOf(const string& elementName) {
  const auto itemClass = std::ranges::find_if(
      kItemClasses, [&](const auto& row) { return SameText(VqEnumToText(row.Type), elementName); });
  return itemClass == std::end(kItemClasses) ? kItemClasses[0] : *itemClass;
}

}  // namespace

TVqRef<IVqEWSItem> EwsOpenItem(const string& AElementName, TVqComponent* ACreator, const TItemId& AItemId) {
  return ClassOf(AElementName).Open(ACreator, AItemId);
}

TVqRef<IVqEWSItem> EwsOpenItem(TVqComponent* ACreator, const TVqEWSLoadedItem& ALoaded) {
  return ClassOf(ALoaded.Element.GetLocalName()).Take(ACreator, ALoaded);
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
