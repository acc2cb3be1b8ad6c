// A letter with a picture in it and a paper beside it to each line of a list, "Ann Arden <ann@example.com>". Started
// again, it goes on behind the last one who got it; at most that one gets it twice.

#include <fstream>

#include "job.h"

const char* const kUsage = "newsletter LIST SUBJECT LETTER.html PICTURE PAPER";

void Job(IVqEWSMsgStore& store, std::span<char*> arguments) {
  const string note = string(arguments[0]) + ".sent", letter = VqReadFile(arguments[2]);
  const int before = VqXMLToInt(VqTryReadFile(note).value_or("0"));
  const auto drafts = store.GetFolder(dfindrafts, "");
  std::ifstream list(arguments[0]);
  int sent = 0;
  for (std::string address; std::getline(list, address);) {
    if (++sent <= before) continue;
    const auto mail = Supports<IVqEWSEMail>(drafts->CreateItem(tMessage));
    mail->SetSubject(arguments[1]);
    mail->GetToRecipients()->SetAsString(address);
    mail->SetBodyText("<p><img src=\"file://" + fs::absolute(arguments[3]).string() + "\"></p>" + letter);
    mail->GetAttachments().AddAttachment(arguments[4]);
    mail->SubmitMessage(true);
    VqReplaceFile(note, std::to_string(sent));
  }
  std::cout << sent - before << " sent\n";
}
