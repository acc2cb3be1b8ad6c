// Sends a message with attachments to oneself, lists what arrived, and saves it.

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <thread>

#include "ews/VelmoreEWS.h"
#include "ews/schema/uVqEWSPropsFLD.h"
#include "support/ExampleServer.h"

using namespace velmore;

namespace {

void Send(IVqEWSFolder& drafts, const string& to, const string& subject, const std::filesystem::path& directory) {
  std::ofstream(directory / "notes.txt") << "Some notes, to be attached.\n";
  auto mail = Supports<IVqEWSEMail>(drafts.CreateItem(tMessage));
  mail->SetSubject(subject);
  mail->GetToRecipients()->AddMailbox("", to);
  mail->SetBodyText("Two attachments: a file from the disk and one from memory.");
  mail->GetAttachments().AddAttachment((directory / "notes.txt").string());
  TVqMemoryStream numbers("1;2;3\r\n");
  mail->GetAttachments().AddAttachment("numbers.csv", "text/csv", numbers);
  mail->SubmitMessage(true);
}

TVqRef<IVqEWSItem> WaitFor(IVqEWSFolder& inbox, const string& subject) {
  auto items = inbox.GetItems();
  auto filter = Supports<IVqEWSRestrictionCompare>(items->CreateRestriction(rtCompare));
  filter->SetFieldDef(FLD_ITEM_SUBJECT);
  filter->SetTextValue(subject);
  items->Filter(filter);
  for (int attempt = 0; attempt < 20; ++attempt) {
    items->SetActive(true);
    if (items->Count() > 0) return inbox.GetItem(items->GetItemId());
    std::this_thread::sleep_for(std::chrono::seconds(1));
  }
  throw EVqException("The message did not arrive within 20 seconds.");
}

}  // namespace

int main(int argc, char** argv) try {
  const ExampleServer server(argc, argv,
                             "attachments: sends a message with attachments and saves what arrives\n"
                             "  --to DIRECTORY   where to save, \"attachments\" when left out");
  TVqEWSServiceSession session;
  server.Configure(session);
  session.SetActive(true);
  const std::filesystem::path target = server.Option("to", "attachments");
  std::filesystem::create_directories(target);

  auto store = session.OpenDefaultMsgStore();
  const string subject = "Attachments " + IntToStr(std::chrono::system_clock::now().time_since_epoch().count());
  Send(*store->GetFolder(dfindrafts, ""), server.Address(), subject, target);
  auto item = WaitFor(*store->GetFolder(dfininbox, ""), subject);

  TVqEWSAttachments& attachments = item->GetAttachments();
  for (std::int32_t i = 0; i < attachments.Count(); ++i) {
    auto attachment = attachments.GetAttachment(i);
    std::cout << attachment->GetName() << "  " << attachment->GetContentType() << "  " << attachment->GetSize()
              << " bytes\n";
    if (auto file = Supports<IVqEWSFileAttachment>(attachment)) {
      // The name comes from the sender.
      file->SaveToFile((target / ("received-" + VqSafeFileName(file->GetName()).utf8())).string());
    } else if (auto inner = Supports<IVqEWSItemAttachment>(attachment)) {
      if (inner->GetItemAttachmentType() == iaMessage)
        std::cout << "  a message: " << inner->GetMessage().GetSubject() << '\n';
    }
  }
  std::cout << attachments.Count() << " attachments saved to " << target << '\n';
} catch (const std::exception& failure) {
  std::cerr << failure.what() << '\n';
  return 1;
}
