// What came into the inbox before a year goes into the folders Archive/2024/03 and their like.

#include <map>

#include "job.h"

const char* const kUsage = "archive YEAR";

void Job(IVqEWSMsgStore& store, std::span<char*> arguments) {
  const auto items = VqItemsOf(*store.GetFolder(dfininbox, ""), FLD_ITEM_DATETIMERECEIVED);
  VqFilter(*items, VqField(FLD_ITEM_DATETIMERECEIVED) < VqXMLToDateTime(string(arguments[0]) + "-01-01"));
  std::map<string, std::vector<TItemId>> months;  // first all, as moving changes what is walked
  for (const auto row : items) months[row[FLD_ITEM_DATETIMERECEIVED].GetAsString().Copy(0, 7)].push_back(row.Id());
  for (const auto& [month, ids] : months) {
    const auto target = VqMakeFolder(store, "Archive/" + month.Replace("-", "/"));
    VqCheckResults(TVqEWSBulk(store).MoveItems(ids, target->GetID()));
    std::cout << month << ": " << ids.size() << '\n';
  }
}
