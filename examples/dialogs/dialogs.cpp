// A folder picker and an address book in a terminal: what a user-interface layer does with the library's two hooks.
//
//   dialogs [--url URL --user USER]

#include <iostream>

#include "dialogs/AddressBookWindow.h"
#include "dialogs/FolderWindow.h"
#include "dialogs/Screen.h"
#include "ews/VelmoreEWS.h"
#include "support/ExampleServer.h"

using namespace velmore;

namespace {

void Run(Screen& screen, TVqEWSCustomSession& session) {
  // The layer: set once, and nothing else of the program knows of windows.
  CreateFolderDialog = [&](TVqEWSBaseSession& base) { return MakeRef<FolderWindow>(screen, base); };
  CreateAddressBookDialog = [&](TVqEWSAddressBookDialog&, TVqEWSBaseSession& base) {
    return MakeRef<AddressBookWindow>(screen, dynamic_cast<TVqEWSCustomSession&>(base));
  };

  TVqEWSFolderDialog folders;
  folders.SetSession(&session);
  folders.SetTitle("Where to?");
  folders.SetAllowSelectMsgStore(true);
  folders.GetFolderTypes().SetShowJournal(false);
  TVqEWSAddressBookDialog people;
  people.SetSession(&session);

  std::string remark = "Nothing was chosen yet.";
  for (;;) {
    screen.Clear();
    screen.Write(0, 0, "f picks a folder, a opens the address book, q ends");
    screen.Write(2, 0, remark);
    screen.Write(4, 0, "To:  " + people.GetRecipientList(btnTo)->GetAsString().utf8());
    screen.Write(5, 0, "CC:  " + people.GetRecipientList(btnCC)->GetAsString().utf8());
    screen.Write(6, 0, "BCC: " + people.GetRecipientList(btnBCC)->GetAsString().utf8());
    screen.Show();
    const Press press = screen.Read();
    if (press.Is('q') || press.Kind == Key::escape) return;
    try {
      if (press.Is('f'))
        remark = folders.Execute() ? "The folder is " + folders.GetFolderName().utf8() + "."
                                   : std::string("No folder was chosen.");
      if (press.Is('a')) remark = people.Execute(true) ? "The lists are complete." : "The address book was cancelled.";
    } catch (const std::exception& failure) {
      remark = failure.what();
    }
  }
}

}  // namespace

int main(int argc, char** argv) try {
  const ExampleServer server(argc, argv, "dialogs: a folder picker and an address book in a terminal");
  TVqEWSServiceSession session;
  server.Configure(session);
  session.SetActive(true);
  Screen screen;
  Run(screen, session);
  CreateFolderDialog = nullptr;
  CreateAddressBookDialog = nullptr;
  return 0;
} catch (const std::exception& failure) {
  std::cerr << failure.what() << '\n';
  return 1;
}
