// The road that messages took, by their headers, and the named properties that programs left on them.

#include "job.h"

const char* const kUsage = "analyse SUBJECT";

void Job(IVqEWSMsgStore& store, std::span<char*> arguments) {
  std::vector<string> named;  // all that the library has a name for; one request a message asks for them
  ForEachPropDef([&](const TVqEWSPropDef& def) {
    if (def.PropDefName.view().starts_with("EPR_")) named.push_back("PROPDEF:" + def.PropDefName.ToString());
    return true;
  });
  const auto found = VqItemsOf(*store.GetFolder(dfininbox, ""));
  VqFilter(*found, VqContains(FLD_ITEM_SUBJECT, arguments[0]));
  TVqEWSBulk(store).GetItems(VqIdsOf(*found), [&](std::size_t, const TVqEWSItemResult& result) {
    const auto& item = result.Value();
    item->GetAdditionalProperties(named);
    std::cout << item->GetSubject() << '\n';
    for (TEwsInternetHeader& header : item->GetInternetMessageHeaders().GetInternetMessageHeader())
      std::cout << "  " << header.GetHeaderName() << ": " << header.GetValue() << '\n';
    for (TVqEWSProperty& property : item->GetProperties())
      if (property.GetRow().Extended) std::cout << "  " << property.GetName() << " = " << property << '\n';
  });
}
