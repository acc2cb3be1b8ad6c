// Changes subject and categories of the messages that a search finds.
//
//   edit --find invoice --prefix "[paid] " --category Paid

#include <iostream>
#include <vector>

#include "ews/VelmoreEWS.h"
#include "ews/schema/uVqEWSPropsFLD.h"
#include "ews/values/uVqEWSStrings.h"
#include "support/ExampleServer.h"

using namespace velmore;

namespace {

/// Ids of all messages of a folder whose subject has a text in it, whatever its case. Collected first, as saving
/// changes the table.
std::vector<TItemId> Find(IVqEWSFolder& folder, const string& text) {
  auto items = folder.GetItems();
  items->GetFields().Add(FLD_ITEM_SUBJECT);
  auto filter = Supports<IVqEWSRestrictionContent>(items->CreateRestriction(rtContent));
  filter->SetFieldDef(FLD_ITEM_SUBJECT);
  filter->SetContainmentMode(cmSubstring);
  filter->SetContainmentComparison(ccIgnoreCase);
  filter->SetTextValue(text);
  items->Filter(filter);
  std::vector<TItemId> ids;
  for (items->Open(); !items->Eof(); items->Next()) ids.push_back(items->GetItemId());
  return ids;
}

/// False when somebody else changed the same message meanwhile; it is then left as it is.
bool Edit(IVqEWSFolder& folder, const TItemId& id, const string& prefix, const string& category) try {
  auto item = folder.GetItem(id);
  if (!item->GetSubject().StartsWith(prefix)) item->SetSubject(prefix + item->GetSubject());
  if (item->GetCategories().IndexOf(category) < 0) item->GetCategories().Add(category);
  item->SaveChanges(soAutoResolve);  // sends what changed, and only that
  std::cout << item->GetSubject() << "  [" << item->GetCategories().AsString(", ") << "]\n";
  return true;
} catch (const EEWSException& failure) {
  if (failure.Message().StartsWith("ErrorIrresolvableConflict")) return false;
  throw;
}

}  // namespace

int main(int argc, char** argv) try {
  const ExampleServer server(
      argc, argv,
      "edit [--find TEXT] [--prefix TEXT] [--category NAME]: changes subject and categories of the messages "
      "in the inbox whose subject has the text in it");

  TVqEWSServiceSession session;
  server.Configure(session);
  session.SetActive(true);
  auto inbox = session.OpenDefaultMsgStore()->GetFolder(dfininbox, "");

  int changed = 0, left = 0;
  for (const TItemId& id : Find(*inbox, server.Option("find", "e")))
    ++(Edit(*inbox, id, server.Option("prefix", "[seen] "), server.Option("category", "Seen")) ? changed : left);
  std::cout << changed << " changed, " << left << " left to whoever else changed them\n";
} catch (const std::exception& failure) {
  std::cerr << failure.what() << '\n';
  return 1;
}
