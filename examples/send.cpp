// Sends a message: plain text, HTML with pictures inside, attachments.
//
//   send --to bob@example.com --subject Report --text "See the file." report.pdf
//   send --to bob@example.com --html page.html     (pictures of the page that are "data:" or local files travel inside)

#include <fstream>
#include <iostream>
#include <sstream>

#include "ews/VelmoreEWS.h"
#include "ews/items/uVqEWSAttachments.h"
#include "support/ExampleServer.h"

using namespace velmore;

namespace {

/// A picture of one red dot, for the message that is sent when nothing else is told.
constexpr const char* kDemo =
    "<p>Hello, this is <b>HTML</b> with a picture: "
    "<img src=\"data:image/gif;base64,R0lGODlhAQABAIAAAP8AAP///yH5BAAAAAAALAAAAAABAAEAAAICRAEAOw==\"></p>";

std::string ReadText(const std::string& name) {
  std::ifstream file(name, std::ios::binary);
  if (!file) throw EVqException("\"" + string(name) + "\" cannot be read.");
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

string BodyOf(const ExampleServer& server) {
  if (server.HasOption("html")) return ReadText(server.Option("html"));
  return server.Option("text", kDemo);
}

}  // namespace

int main(int argc, char** argv) try {
  const ExampleServer server(
      argc, argv,
      "send [--to ADDRESSES] [--cc ADDRESSES] [--subject TEXT] [--text TEXT | --html FILE] [FILE...]: sends a "
      "message with the files attached");

  TVqEWSServiceSession session;
  server.Configure(session);
  session.SetActive(true);
  auto drafts = session.OpenDefaultMsgStore()->GetFolder(dfindrafts, "");

  auto mail = Supports<IVqEWSEMail>(drafts->CreateItem(tMessage));
  mail->SetSubject(server.Option("subject", "Sent by an example"));
  mail->GetToRecipients()->SetAsString(
      server.Option("to", server.Address()));  // "Bob <bob@example.com>; carol@example.com"
  if (server.HasOption("cc")) mail->GetCcRecipients()->SetAsString(server.Option("cc"));
  mail->SetBodyText(BodyOf(server));  // text that begins with "<" is HTML
  for (const std::string& file : server.Arguments()) mail->GetAttachments().AddAttachment(file);

  mail->SaveChanges(soAutoResolve);  // as a draft: this is what moves the pictures of an HTML body into attachments
  const std::int32_t attachments = mail->GetAttachments().Count();
  const string subject = mail->GetSubject();
  mail->SubmitMessage(true);  // a copy stays in the sent items
  std::cout << "Sent \"" << subject << "\" to " << mail->GetToRecipients()->GetAsString()
            << ", attachments: " << attachments << "\n";
} catch (const std::exception& failure) {
  std::cerr << failure.what() << '\n';
  return 1;
}
