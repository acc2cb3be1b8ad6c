#include "ews/stores/uVqEWSMarks.h"

#include "ews/schema/uVqEWSPropsFLD.h"
#include "ews/values/uVqEWSFields.h"

namespace velmore {

std::vector<TItemId> VqFindByMark(IVqEWSFolder& AFolder, const TVqEWSFieldDef& AField, const string& AMark) {
  if (AMark.empty()) throw EVqException("There is no mark to look for.");
  const TVqRef<IVqEWSItems> items = AFolder.GetItems();
  items->GetFields().Add(FLD_ITEM_ITEMID);
  const auto marked = Supports<IVqEWSRestrictionCompare>(items->CreateRestriction(rtCompare));
  marked->SetFieldDef(AField);
  marked->SetCompareOperator(opIsEqualTo);
  marked->SetValue(AMark);
  items->Filter(marked);
  std::vector<TItemId> found;
  for (items->Open(); !items->Eof(); items->Next()) found.push_back(items->GetItemId());
  return found;
}

}  // namespace velmore
