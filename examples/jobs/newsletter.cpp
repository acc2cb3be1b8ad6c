// A letter with a picture in it and a paper beside it to each line of a list, "Ann Arden <ann@example.com>". Started
// again, it goes on behind the last one who got it; at most that one gets it twice.

#include <fstream>
#include <iterator>

#include "job.h"

const char* const kUsage = "newsletter LIST SUBJECT LETTER.html PICTURE PAPER";

void Job(IVqEWSMsgStore& store, std::span<char*> arguments) {
  const std::string note = std::string(arguments[0]) + ".sent";
  std::ifstream list(arguments[0]), letter(arguments[2]);
  const std::string text{std::istreambuf_iterator<char>(letter), {}};
  int sent = 0, before = 0;
  std::ifstream(note) >> before;
  const auto drafts = store.GetFolder(dfindrafts, "");
  for (std::string address; std::getline(list, address);) {
    if (++sent <= before) continue;
    const auto mail = Supports<IVqEWSEMail>(drafts->CreateItem(tMessage));
    mail->SetSubject(arguments[1]);
    mail->GetToRecipients()->SetAsString(address);
    mail->SetBodyText("<p><img src=\"file://" + fs::absolute(arguments[3]).string() + "\"></p>" + text);
    mail->GetAttachments().AddAttachment(arguments[4]);
    mail->SubmitMessage(true);
    std::ofstream(note) << sent;
  }
  std::cout << sent - before << " sent\n";
}
