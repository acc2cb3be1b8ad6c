// Answers every message of the inbox once, however often and however many times at once it is started. Run it by a
// clock.
//
//   auto-responder --text "I am away until Monday."

#include <iostream>

#include "ews/VelmoreEWS.h"
#include "ews/schema/uVqEWSPropsFLD.h"
#include "support/ExampleServer.h"

using namespace velmore;

namespace {

constexpr const char* kAnswered = "Auto-answered";

/// Whether a person wrote it. An answer to a machine is answered by the machine, and so on.
bool IsFromAPerson(IVqEWSEMail& mail, const string& own) {
  const string sender = mail.GetFrom()->GetEmailAddress();
  if (sender.empty() || SameText(sender, own) || !SameText(mail.GetItemClass(), "IPM.Note")) return false;
  for (const char* machine : {"noreply", "no-reply", "mailer-daemon", "postmaster"})
    if (UpperCase(sender).StartsWith(UpperCase(machine))) return false;
  for (TEwsInternetHeader& header : mail.GetInternetMessageHeaders().GetInternetMessageHeader()) {
    const string name = header.GetHeaderName(), value = header.GetValue().Trim();
    if (SameText(name, "Auto-Submitted") && !SameText(value, "no")) return false;
    if (SameText(name, "List-Id") || SameText(name, "X-Auto-Response-Suppress")) return false;
    if (SameText(name, "Precedence") && (SameText(value, "bulk") || SameText(value, "list"))) return false;
  }
  return true;
}

/// Marks the message as answered. False when somebody else changed it meanwhile: another run of this program, say,
/// which then answers it.
bool Claim(IVqEWSEMail& mail) try {
  mail.GetCategories().Add(kAnswered);
  mail.SaveChanges(soNeverOverwrite);
  return true;
} catch (const EEWSException& failure) {
  if (failure.Message().StartsWith("ErrorIrresolvableConflict")) return false;
  throw;
}

}  // namespace

int main(int argc, char** argv) try {
  const ExampleServer server(argc, argv, "auto-responder [--text TEXT]: answers every message of the inbox once");
  TVqEWSServiceSession session;
  server.Configure(session);
  session.SetActive(true);
  const auto store = session.OpenDefaultMsgStore();
  const string own = store->GetIdentity()->GetEmailAddress();
  const auto inbox = store->GetFolder(dfininbox, "");

  std::vector<TItemId> messages;
  const auto items = inbox->GetItems();
  for (items->Open(); !items->Eof(); items->Next()) messages.push_back(items->GetItemId());

  int answered = 0;
  for (const TItemId& id : messages) {
    const auto mail = Supports<IVqEWSEMail>(inbox->GetItem(id));
    if (!mail || mail->GetCategories().IndexOf(kAnswered) >= 0 || !IsFromAPerson(*mail, own)) continue;
    // The mark comes first: a program that ends between the two leaves one message without an answer, and sends none
    // twice.
    if (!Claim(*mail)) continue;
    const auto reply = mail->CreateReply(false);
    reply->SetBodyText(server.Option("text", "Thank you. I read it when I am back."));
    reply->SubmitMessage(true);
    ++answered;
  }
  std::cout << answered << " of " << messages.size() << " messages answered\n";
} catch (const std::exception& failure) {
  std::cerr << failure.what() << '\n';
  return 1;
}
