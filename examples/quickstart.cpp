// Logs on, lists the inbox, reads a message, sends one and sees it arrive.

#include <chrono>
#include <iomanip>
#include <iostream>
#include <thread>

#include "ews/VelmoreEWS.h"
#include "ews/schema/uVqEWSPropsFLD.h"
#include "support/ExampleServer.h"

using namespace velmore;

namespace {

/// A text cut or filled up to the width of a column.
string Column(const string& text, std::size_t width) {
  string column = text.Copy(0, width - 1);
  while (column.Length() < width) column += u' ';
  return column;
}

/// The inbox as a table: date, sender, subject and size of every message. Pages are fetched while we walk.
TItemId ListInbox(IVqEWSFolder& inbox) {
  auto items = inbox.GetItems();
  for (auto* field : {&FLD_ITEM_DATETIMERECEIVED, &FLD_MESSAGE_FROM, &FLD_ITEM_SUBJECT, &FLD_ITEM_SIZE})
    items->GetFields().Add(*field);
  items->SetMaxEntriesPerPage(20);
  TItemId first;
  for (items->Open(); !items->Eof(); items->Next()) {
    if (first.Id.empty()) first = items->GetItemId();
    const auto from = items->FieldByName(FLD_MESSAGE_FROM)
                          .GetValue<IVqDOMElement>()
                          .SelectSingleElement("Mailbox/Name", kSelectQuiet);
    std::cout << items->FieldByName(FLD_ITEM_DATETIMERECEIVED).GetAsString() << "  " << Column(from.GetText(), 24)
              << Column(items->FieldByName(FLD_ITEM_SUBJECT).GetAsString(), 52) << std::setw(9)
              << items->FieldByName(FLD_ITEM_SIZE).GetAsInteger() << '\n';
  }
  std::cout << items->Count() << " messages\n\n";
  return first;
}

void ReadMessage(IVqEWSMsgStore& store, const TItemId& id) {
  auto mail = Supports<IVqEWSEMail>(store.GetItem(id));
  std::cout << "Subject: " << mail->GetSubject() << "\nFrom:    " << mail->GetFrom()->GetName()
            << "\nTo:      " << mail->GetToRecipients()->GetAsString() << "\n\n"
            << mail->GetTextBody().Value << "\n\n";
}

void Send(IVqEWSMsgStore& store, const string& to, const string& subject) {
  auto mail = Supports<IVqEWSEMail>(store.GetFolder(dfindrafts, "")->CreateItem(tMessage));
  mail->SetSubject(subject);
  mail->GetToRecipients()->AddMailbox("", to);
  mail->SetBodyText("Sent by the quickstart. Grüße!");
  mail->SubmitMessage(true);
  std::cout << "Sent \"" << subject << "\" to " << to << '\n';
}

/// Waits until the server has delivered a message with that subject.
bool Arrived(IVqEWSFolder& inbox, const string& subject) {
  auto items = inbox.GetItems();
  items->GetFields().Add(FLD_ITEM_SUBJECT);
  auto filter = Supports<IVqEWSRestrictionCompare>(items->CreateRestriction(rtCompare));
  filter->SetFieldDef(FLD_ITEM_SUBJECT);
  filter->SetTextValue(subject);
  items->Filter(filter);
  for (int attempt = 0; attempt < 20; ++attempt) {
    items->SetActive(true);
    if (items->Count() > 0) return true;
    std::this_thread::sleep_for(std::chrono::seconds(1));
  }
  return false;
}

}  // namespace

int main(int argc, char** argv) try {
  const ExampleServer server(argc, argv, "quickstart: lists the inbox, reads a message, sends one and sees it arrive");

  TVqEWSServiceSession session;
  server.Configure(session);  // ServiceUrl, Credentials
  session.SetActive(true);
  std::cout << session.GetServerDescription() << "\n\n";

  auto store = session.OpenDefaultMsgStore();
  auto inbox = store->GetFolder(dfininbox, "");
  const TItemId first = ListInbox(*inbox);
  if (!first.Id.empty()) ReadMessage(*store, first);

  const string subject = "Quickstart " + IntToStr(std::chrono::system_clock::now().time_since_epoch().count());
  Send(*store, server.Address(), subject);
  if (!Arrived(*inbox, subject)) throw EVqException("The message did not arrive within 20 seconds.");
  std::cout << "It arrived.\n";
} catch (const std::exception& failure) {
  std::cerr << failure.what() << '\n';
  return 1;
}
