// What the inbox has by sender, dates, category or size, all together: search from=bob since=2026-01-01

#include <map>

#include "job.h"

const char* const kUsage = "search [from=TEXT] [since=DAY] [before=DAY] [category=TEXT] [larger=BYTES]";

const std::map<string, TVqEWSFilter (*)(const string& value)> kConditions = {
    {"from", [](const string& value) { return VqContains(FLD_MESSAGE_FROM, value); }},
    {"since", [](const string& value) { return VqField(FLD_ITEM_DATETIMERECEIVED) >= VqXMLToDateTime(value); }},
    {"before", [](const string& value) { return VqField(FLD_ITEM_DATETIMERECEIVED) < VqXMLToDateTime(value); }},
    {"category", [](const string& value) { return VqField(FLD_ITEM_CATEGORIES) == value; }},
    {"larger", [](const string& value) { return VqField(FLD_ITEM_SIZE) > VqXMLToInt(value); }}};

void Job(IVqEWSMsgStore& store, std::span<char*> arguments) {
  TVqEWSFilter filter;
  for (const string argument : arguments) {
    const auto condition = kConditions.find(argument.Copy(0, argument.Pos("=")));
    if (condition == kConditions.end()) throw EVqException("\"" + argument + "\" is no condition.");
    filter = filter && condition->second(argument.Copy(argument.Pos("=") + 1));
  }
  const auto items =
      VqItemsOf(*store.GetFolder(dfininbox, ""), FLD_ITEM_DATETIMERECEIVED, FLD_MESSAGE_FROM, FLD_ITEM_SUBJECT);
  VqFilter(*items, filter);
  for (const auto row : items)
    std::cout << row[FLD_ITEM_DATETIMERECEIVED] << "  " << row.Sender().Name << ": " << row[FLD_ITEM_SUBJECT] << '\n';
}
