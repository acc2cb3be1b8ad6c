// Shows all properties of a message with name, type, value and status, and finds definitions by a part of their name.
//
//   properties                   the properties of the newest message
//   properties --find private    the rows of the dictionary with "private" in their name

#include <iomanip>
#include <iostream>

#include "ews/VelmoreEWS.h"
#include "ews/schema/uVqEWSPropsPR.h"
#include "support/ExampleServer.h"

using namespace velmore;

namespace {

void FindRows(const string& part) {
  const string wanted = UpperCase(part);
  int found = 0;
  ForEachPropDef([&](const TVqEWSPropDef& row) {
    if (!row.PropDefName.ToString().Contains(wanted)) return true;
    std::cout << std::left << std::setw(48) << row.PropDefName.ToString().utf8()
              << (row.Extended ? PropTypeToString(row.PropType) : row.NodeName.ToString()) << '\n';
    ++found;
    return true;
  });
  std::cout << found << " rows\n";
}

const char* StatusText(TVqEWSDataUpdateStatus status) {
  static constexpr const char* kTexts[] = {"", "modified", "inserted", "deleted"};
  return kTexts[status];
}

void ShowProperties(IVqEWSPropObject& object) {
  TVqEWSProperties& properties = object.GetProperties();
  for (std::int32_t i = 0; i < properties.Count(); ++i) {
    TVqEWSProperty& property = properties.GetItem(i);
    string value = property.GetAsString().Replace("\r\n", " ").Replace("\n", " ");
    if (value.Length() > 60) value = value.Copy(0, 57) + "...";
    std::cout << std::left << std::setw(34) << property.GetName().utf8() << std::setw(34)
              << std::string(property.GetTypeInfo().Name) << std::setw(10) << StatusText(property.GetUpdateStatus())
              << value << '\n';
  }
}

}  // namespace

int main(int argc, char** argv) try {
  const ExampleServer server(argc, argv,
                             "properties: shows all properties of the newest message of the inbox\n"
                             "  --find PART   shows the definitions with PART in their name instead");
  if (server.HasOption("find")) {
    FindRows(server.Option("find"));
    return 0;
  }
  TVqEWSServiceSession session;
  server.Configure(session);
  session.SetActive(true);
  auto inbox = session.OpenDefaultMsgStore()->GetFolder(dfininbox, "");
  auto items = inbox->GetItems();
  items->Open();
  if (items->Eof()) {
    std::cout << "The inbox is empty.\n";
    return 0;
  }
  auto item = inbox->GetItem(items->GetItemId());
  // A change in memory, to see a status: nothing is saved.
  item->PropertyByName(PR_SUBJECT).SetAsString(item->GetSubject() + " (changed here)");
  ShowProperties(*item);
} catch (const std::exception& failure) {
  std::cerr << failure.what() << '\n';
  return 1;
}
