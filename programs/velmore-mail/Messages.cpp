// list, read and send.

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <iterator>

#include "ews/bulk/uVqEWSBulk.h"
#include "ews/idioms/uVqEWSFileNames.h"
#include "ews/idioms/uVqEWSFilters.h"
#include "ews/items/uVqEWSAttachments.h"
#include "ews/schema/uVqEWSPropsFLD.h"
#include "ews/values/uVqEWSStrings.h"
#include "platform/os/uVqSafeFileName.h"
#include "platform/xml/uVqXMLUtils.h"
#include "programs/velmore-mail/Commands.h"
#include "programs/velmore-mail/Folders.h"
#include "programs/velmore-mail/Text.h"

namespace mail {

using namespace velmore;

namespace {

/// "2026-03-01", or a time of that day as ISO 8601 has it.
TDateTime DayOf(const char* option, const std::string& text) {
  try {
    return VqXMLToDateTime(text);
  } catch (const EVqException&) {
    throw UsageError(string(option) + " takes a day such as 2026-03-01, not \"" + text + "\".");
  }
}

TVqEWSFilter FilterOf(const ListOptions& options) {
  TVqEWSFilter filter;
  if (!options.from.empty()) filter = filter && VqContains(FLD_MESSAGE_FROM, options.from);
  if (!options.subject.empty()) filter = filter && VqContains(FLD_ITEM_SUBJECT, options.subject);
  if (!options.category.empty()) filter = filter && VqField(FLD_ITEM_CATEGORIES) == options.category;
  if (!options.since.empty()) filter = filter && VqField(FLD_ITEM_DATETIMERECEIVED) >= DayOf("--since", options.since);
  if (!options.before.empty())
    filter = filter && VqField(FLD_ITEM_DATETIMERECEIVED) < DayOf("--before", options.before);
  if (options.larger > 0) filter = filter && VqField(FLD_ITEM_SIZE) > options.larger;
  if (options.unread) filter = filter && VqField(FLD_MESSAGE_ISREAD) == false;
  return filter;
}

int ListFolders(IVqEWSMsgStore& store) {
  for (const Place& place : TreeOf(*store.GetFolder(dfinmsgfolderroot, ""))) {
    if (place.path.empty()) continue;
    std::cout << Column(place.path, 50) << place.total << " items, " << place.unread << " unread\n";
  }
  return 0;
}

/// The item that the first digits of a handle name.
TItemId Named(IVqEWSFolder& folder, const std::string& handle) {
  TItemId found;
  const auto items = VqItemsOf(folder, FLD_ITEM_ITEMID);
  items->SetMaxEntriesPerPage(1000);
  for (const auto row : items) {
    CheckInterrupted();
    if (!VqItemHandle(row.Id()).utf8().starts_with(handle)) continue;
    if (!found.Id.empty())
      throw UsageError("\"" + string(handle) + "\" names more than one message: more digits, please.");
    found = row.Id();
  }
  if (found.Id.empty())
    throw UsageError("There is no message \"" + string(handle) +
                     "\" in that folder. \"velmore-mail list\" tells which there are.");
  return found;
}

void Head(const char* name, const string& text) {
  if (!text.empty()) std::cout << Column(name, 10) << Printable(text) << '\n';
}

void SaveAttachments(IVqEWSItem& item, const std::string& target) {
  std::filesystem::create_directories(target);
  for (const auto& attachment : item.GetAttachments()) {
    const auto file = Supports<IVqEWSFileAttachment>(attachment);
    if (!file) {
      std::cout << "left: " << Printable(attachment->GetName()) << ", which is no file\n";
      continue;
    }
    const std::filesystem::path name = VqSafeFileName(file->GetName()).utf8();
    auto path = std::filesystem::path(target) / name;
    for (int number = 2; std::filesystem::exists(path); ++number)
      path = std::filesystem::path(target) /
             (name.stem().string() + " (" + std::to_string(number) + ")" + name.extension().string());
    file->SaveToFile(path.string());
    std::cout << "saved: " << path.string() << '\n';
  }
}

/// "Ann Arden <ann@example.com>" or an address alone, as it is: what a person types reads otherwise and loses quotes.
void AddRecipient(IVqEWSRecipients& recipients, const std::string& text) {
  const std::size_t open = text.rfind('<');
  if (open == std::string::npos || !text.ends_with('>')) {
    recipients.AddMailbox("", string(text).Trim());
    return;
  }
  recipients.AddMailbox(string(text.substr(0, open)).Trim(),
                        string(text.substr(open + 1, text.size() - open - 2)).Trim());
}

}  // namespace

int List(Account& account, const ListOptions& options) {
  const TVqEWSFilter filter = FilterOf(options);
  if (options.folders) return ListFolders(account.Store());
  const auto folder = FolderOf(account.Store(), options.folder);
  const auto items = VqItemsOf(*folder, FLD_ITEM_DATETIMERECEIVED, FLD_MESSAGE_FROM, FLD_ITEM_SUBJECT, FLD_ITEM_SIZE,
                               FLD_MESSAGE_ISREAD, FLD_ITEM_HASATTACHMENTS);
  VqFilter(*items, filter);
  if (options.limit > 0) items->SetMaxEntriesPerPage(std::min(options.limit, 500));
  int shown = 0;
  for (const auto row : items) {
    CheckInterrupted();
    const TVqEWSAddress sender = row.Sender();
    // What is no message has no mark of having been read.
    const bool unread = row.Has(FLD_MESSAGE_ISREAD) && !row[FLD_MESSAGE_ISREAD].GetAsBoolean();
    std::cout << VqItemHandle(row.Id()).utf8().substr(0, kShownDigits) << (unread ? " *" : "  ")
              << (row[FLD_ITEM_HASATTACHMENTS].GetAsBoolean() ? "@ " : "  ")
              << Column(Printable(row[FLD_ITEM_DATETIMERECEIVED].GetAsString()).substr(0, 16), 18)
              << Column(Printable(sender.Name.empty() ? sender.Address : sender.Name), 24)
              << Column(SizeText(static_cast<std::uint64_t>(row[FLD_ITEM_SIZE].GetAsInteger())), 11)
              << Printable(row[FLD_ITEM_SUBJECT].GetAsString()) << '\n';
    if (++shown == options.limit) break;
  }
  std::cout << shown << " of " << items->Count() << " in \"" << Printable(folder->GetDisplayName()) << "\"\n";
  return 0;
}

int Read(Account& account, const ReadOptions& options) {
  const auto folder = FolderOf(account.Store(), options.folder);
  const auto item = folder->GetItem(Named(*folder, options.handle));
  if (options.raw) {
    TVqMemoryStream text;
    item->SaveToStream(text);
    std::cout << text.Bytes();
    return 0;
  }
  const auto mail = Supports<IVqEWSEMail>(item);
  if (mail) {
    const auto from = mail->GetFrom();
    Head("From:",
         from->GetEmailAddress().empty() ? from->GetName() : from->GetName() + " <" + from->GetEmailAddress() + ">");
    Head("To:", mail->GetToRecipients()->GetAsString());
    Head("Cc:", mail->GetCcRecipients()->GetAsString());
  }
  Head("Date:", VqDateTimeToXML(item->GetDateTimeReceived()));
  Head("Subject:", item->GetSubject());
  Head("Marked:", item->GetCategories().AsString(", "));
  if (item->GetHasAttachments())
    for (const auto& attachment : item->GetAttachments())
      Head("With:", attachment->GetName() + " (" + SizeText(static_cast<std::uint64_t>(attachment->GetSize())) + ")");
  if (options.headers)
    for (TEwsInternetHeader& header : item->GetInternetMessageHeaders().GetInternetMessageHeader())
      std::cout << Printable(header.GetHeaderName()) << ": " << Printable(header.GetValue()) << '\n';
  std::cout << '\n' << Printable(item->GetTextBody().Value, true) << '\n';
  if (!options.attachments.empty()) SaveAttachments(*item, options.attachments);
  if (options.mark && mail && !mail->GetIsRead())
    VqCheckResults(TVqEWSBulk(account.Store()).MarkAsRead(std::span(&item, 1)));
  return 0;
}

int Send(Account& account, const SendOptions& options) {
  if (options.to.empty() && options.cc.empty() && options.bcc.empty())
    throw UsageError("To whom? Give --to, --cc or --bcc.");
  for (const std::string& file : options.attachments)
    if (!std::filesystem::is_regular_file(file))
      throw UsageError("There is no file \"" + string(file) + "\" to attach.");
  const std::string text = options.text ? *options.text : std::string(std::istreambuf_iterator<char>(std::cin), {});
  const auto mail = Supports<IVqEWSEMail>(account.Store().GetFolder(dfindrafts, "")->CreateItem(tMessage));
  mail->SetSubject(options.subject);
  for (const auto& [list, texts] :
       {std::pair(mail->GetToRecipients(), &options.to), std::pair(mail->GetCcRecipients(), &options.cc),
        std::pair(mail->GetBccRecipients(), &options.bcc)})
    for (const std::string& each : *texts) AddRecipient(*list, each);
  mail->GetBody().SetBodyType(options.html ? btHTML : btText);
  mail->GetBody().SetValue(text);
  for (const std::string& file : options.attachments) mail->GetAttachments().AddAttachment(file);
  mail->SaveChanges(soAutoResolve);
  try {
    mail->SubmitMessage(true);
  } catch (const EEWSException&) {
    std::cerr << "It was not sent, and stays in the drafts.\n";
    throw;
  } catch (const EVqException&) {
    std::cerr << "It may have been sent: look into the sent items. If it was not, it is in the drafts.\n";
    throw;
  }
  std::cout << "Sent \"" << Printable(options.subject) << "\".\n";
  return 0;
}

}  // namespace mail
