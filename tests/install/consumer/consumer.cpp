// What a user of the installed tree writes: the library against the embedded simulator.

#include <ews/VelmoreEWS.h>
#include <ews/uVqEWSPropsFLD.h>
#include <simulator/simulator.h>

#include <iostream>

int main() {
  velmore::simulator::Options options;
  options.users = {{"alice", "alice@example.com", "Alice Arden", "wonder"}};
  velmore::simulator::Simulator server(options);
  server.Start();
  server.AddMessage("alice@example.com", "inbox", "From: bob@example.com\r\nSubject: Hello\r\n\r\nHello Alice");

  velmore::TVqEWSServiceSession session;
  session.SetServiceUrl(server.HttpUrl());
  session.GetCredentials().SetUserName("alice");
  session.GetCredentials().SetPassword("wonder");
  session.SetActive(true);
  auto items = session.OpenDefaultMsgStore()->GetFolder(velmore::dfininbox, "")->GetItems();
  items->GetFields().Add(velmore::FLD_ITEM_SUBJECT);
  items->Open();
  std::cout << items->FieldByName(velmore::FLD_ITEM_SUBJECT).GetAsString() << '\n';
  return items->FieldByName(velmore::FLD_ITEM_SUBJECT).GetAsString() == "Hello" ? 0 : 1;
}
