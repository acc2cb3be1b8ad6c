// A job and its test: the job is what a program does with a mailbox, the test runs it against the embedded simulator.

#include <ews/schema/uVqEWSPropsFLD.h>
#include <velmore/ews.h>
#include <velmore/simulator.h>

#include <iostream>
#include <vector>

using namespace velmore;

// The job. It takes a session and knows nothing of the simulator.

std::vector<std::string> UnreadSubjects(TVqEWSServiceSession& session) {
  auto items = session.OpenDefaultMsgStore()->GetFolder(dfininbox, "")->GetItems();
  items->GetFields().Add(FLD_ITEM_SUBJECT);
  items->GetFields().Add(FLD_MESSAGE_ISREAD);
  std::vector<std::string> subjects;
  for (items->Open(); !items->Eof(); items->Next())
    if (!items->FieldByName(FLD_MESSAGE_ISREAD).GetAsBoolean())
      subjects.push_back(items->FieldByName(FLD_ITEM_SUBJECT).GetAsString().utf8());
  return subjects;
}

// The test.

int failures = 0;

void Check(bool condition, const char* what) {
  std::cout << (condition ? "ok      " : "FAILED  ") << what << '\n';
  if (!condition) ++failures;
}

int main() {
  simulator::Options options;
  options.users = {{"alice", "alice@example.com", "Alice Arden", "wonder"}};
  simulator::Simulator server(options);
  server.Start();  // on ports that the system chooses, so that tests run side by side
  server.AddMessage("alice@example.com", "inbox", "From: bob@example.com\r\nSubject: Hello\r\n\r\nHello Alice");

  TVqEWSServiceSession session;
  session.SetServiceUrl(server.HttpUrl());
  session.GetCredentials().SetUserName("alice");
  session.GetCredentials().SetPassword("wonder");
  session.SetActive(true);

  Check(UnreadSubjects(session) == std::vector<std::string>{"Hello"}, "lists the message that nobody has read");

  server.Deliver("alice@example.com", "From: carol@example.com\r\nSubject: Lunch?\r\n\r\nToday?");
  Check(UnreadSubjects(session).size() == 2, "sees a message that has just arrived");

  simulator::Fault busy;
  busy.operation = "FindItem";
  busy.http_status = 503;
  server.AddFault(busy);
  bool refused = false;
  try {
    UnreadSubjects(session);
  } catch (const EVqException& failure) {
    refused = true;
    std::cout << "        " << failure.what() << '\n';
  }
  Check(refused, "tells that the server is not available");
  Check(UnreadSubjects(session).size() == 2, "works again afterwards");

  Check(server.GetCounters().operations["FindItem"] == 4, "asks once for each list");
  return failures == 0 ? 0 : 1;
}
