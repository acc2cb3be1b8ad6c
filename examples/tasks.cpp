// A task list for the command line.
//
//   tasks                                   what is to be done, by its day
//   tasks add "Water the plants" --due 2026-03-09
//   tasks done 2                            the second of the list
//   tasks remove 2

#include <algorithm>
#include <cstdlib>
#include <iomanip>
#include <iostream>

#include "ews/VelmoreEWS.h"
#include "ews/schema/uVqEWSPropsFLD.h"
#include "platform/xml/uVqXMLUtils.h"
#include "support/ExampleServer.h"

using namespace velmore;

namespace {

struct TEntry {
  TItemId Id;
  string Subject;
  string Due;  // "2026-03-09", empty without one
  bool Done = false;
};

/// What is to be done comes first, by its day; what has none, and what is done, behind it.
std::vector<TEntry> List(IVqEWSFolder& folder) {
  const auto items = folder.GetItems();
  for (const TVqEWSFieldDef* field : {&FLD_ITEM_SUBJECT, &FLD_TASK_DUEDATE, &FLD_TASK_STATUS})
    items->GetFields().Add(*field);
  std::vector<TEntry> entries;
  for (items->Open(); !items->Eof(); items->Next())
    entries.push_back({items->GetItemId(), items->FieldByName(FLD_ITEM_SUBJECT).GetAsString(),
                       items->FieldByName(FLD_TASK_DUEDATE).GetAsString().Copy(0, 10),
                       items->FieldByName(FLD_TASK_STATUS).GetAsString() == "Completed"});
  std::ranges::stable_sort(entries, [](const TEntry& a, const TEntry& b) {
    if (a.Done != b.Done) return b.Done;
    if (a.Due.empty() != b.Due.empty()) return b.Due.empty();
    return a.Due.utf8() < b.Due.utf8();
  });
  return entries;
}

void Print(const std::vector<TEntry>& entries) {
  int number = 0;
  for (const TEntry& entry : entries)
    std::cout << std::setw(3) << ++number << (entry.Done ? " [x] " : " [ ] ") << std::left << std::setw(12)
              << entry.Due.utf8() << std::right << entry.Subject << '\n';
  if (entries.empty()) std::cout << "Nothing to do.\n";
}

TItemId Pick(IVqEWSFolder& folder, const std::vector<std::string>& arguments) {
  const std::vector<TEntry> entries = List(folder);
  const long number = arguments.size() > 1 ? std::strtol(arguments[1].c_str(), nullptr, 10) : 0;
  if (number < 1 || number > static_cast<long>(entries.size()))
    throw EVqException("Which one? The list has " + std::to_string(entries.size()) + ".");
  return entries[static_cast<std::size_t>(number) - 1].Id;
}

}  // namespace

int main(int argc, char** argv) try {
  const ExampleServer server(argc, argv,
                             "tasks [add TEXT [--due YYYY-MM-DD] | done NUMBER | remove NUMBER]: a task list");
  TVqEWSServiceSession session;
  server.Configure(session);
  session.SetActive(true);
  const auto folder = session.OpenDefaultMsgStore()->GetFolder(dfintasks, "");

  const std::vector<std::string>& arguments = server.Arguments();
  const std::string command = arguments.empty() ? "list" : arguments[0];
  if (command == "add" && arguments.size() > 1) {
    const auto task = Supports<IVqEWSTask>(folder->CreateItem(tTask));
    task->SetSubject(arguments[1]);
    if (server.HasOption("due")) task->SetDueDate(VqXMLToDateTime(server.Option("due") + "T00:00:00Z"));
    task->SaveChanges(soAutoResolve);
  } else if (command == "done") {
    const auto task = Supports<IVqEWSTask>(folder->GetItem(Pick(*folder, arguments)));
    task->SetStatus(tsCompleted);
    task->SaveChanges(soAutoResolve);
  } else if (command == "remove") {
    folder->DeleteItem(Pick(*folder, arguments), dtMoveToDeletedItems);
  } else if (command != "list") {
    throw EVqException("\"" + string(command) + "\" is no command: add, done, remove, or none.");
  }
  Print(List(*folder));
} catch (const std::exception& failure) {
  std::cerr << failure.what() << '\n';
  return 1;
}
