// The road that messages took, by their headers, and the named properties that programs left on them.

#include "job.h"

const char* const kUsage = "analyse SUBJECT";

void Job(IVqEWSMsgStore& store, std::span<char*> arguments) {
  std::vector<string> named;  // all that the library has a name for; one request asks for them
  ForEachPropDef([&](const TVqEWSPropDef& def) {
    if (def.PropDefName.view().starts_with("EPR_")) named.push_back("PROPDEF:" + def.PropDefName.ToString());
    return true;
  });
  const auto items = VqItemsOf(*store.GetFolder(dfininbox, ""), FLD_ITEM_SUBJECT);
  VqFilter(*items, VqContains(FLD_ITEM_SUBJECT, arguments[0]));
  for (const auto row : items) {
    const auto item = store.GetItem(row.Id());
    item->GetAdditionalProperties(named);
    std::cout << row[FLD_ITEM_SUBJECT].GetAsString() << '\n';
    for (TEwsInternetHeader& header : item->GetInternetMessageHeaders().GetInternetMessageHeader())
      std::cout << "  " << header.GetHeaderName() << ": " << header.GetValue() << '\n';
    for (TVqEWSProperty& property : item->GetProperties())
      if (property.GetRow().Extended)
        std::cout << "  " << property.GetName() << " = " << property.GetAsString() << '\n';
  }
}
