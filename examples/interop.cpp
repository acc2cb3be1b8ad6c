// Tries everything that the library can do against a server, in each form that requests can have, and prints what
// worked, what was refused in which words, and how many round trips it took. The last lines are the verdict.
//
//   interop --url https://mail.example.com/EWS/Exchange.asmx --user ann@example.com    reads only
//   interop --url ... --user ... --write           works in a folder of its own, too
//   interop --url ... --user ... --write --send    and sends messages to the user, two a form
//
// The mailbox is left as it was: what the tour makes it takes away again, also after a failure or Ctrl-C. Exit codes: 0
// the library works with this server, 1 something was refused that an application would meet, 3 something was left
// behind (the last lines tell what), 130 interrupted.

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <functional>
#include <iostream>
#include <map>
#include <thread>

#include "ews/VelmoreEWS.h"
#include "ews/items/uVqEWSAttachments.h"
#include "ews/schema/uVqEWSPropsEPR.h"
#include "ews/schema/uVqEWSPropsFLD.h"
#include "ews/schema/uVqEWSPropsMFLD.h"
#include "ews/schema/uVqEWSPropsPR.h"
#include "ews/values/uVqEWSStrings.h"
#include "platform/common/uVqDateTimeUtils.h"
#include "platform/http/uVqHTTPClient.h"
#include "platform/soap/uVqSOAPClient.h"
#include "support/ExampleServer.h"

using namespace velmore;

namespace {

std::atomic<bool> interrupted = false;

extern "C" void Interrupt(int) {
  interrupted = true;  // the step under way ends, then the tour cleans up
}

struct Interrupted {};
/// Why a step cannot be tried here.
struct Skip {
  std::string Why;
};

/// Counts what goes over the wire.
class CountingSession : public TVqEWSServiceSession {
 public:
  void LogOn() {
    SetActive(true);
    TVqHTTPClientBase* client = GetHTTPClient();
    client->SetOnRequest(
        [this, before = client->GetOnRequest()](TVqComponent& sender, const TVqRef<IVqHTTPRequest>& request) {
          ++RoundTrips;
          if (before) before(sender, request);
        });
  }
  int RoundTrips = 0;
};

/// The forms that requests can have: what an application meets that sets nothing, then each of the two alone.
constexpr const char* kForms[] = {"default", "own", "schema"};

/// What became of each operation in each form.
class Report {
 public:
  static constexpr const char* kWorked = "worked";
  static constexpr const char* kRefused = "refused";

  void Add(const std::string& form, const std::string& name, const std::string& how) {
    FOutcomes[form].emplace_back(name, how);
  }
  int Count(const std::string& form, const std::string& how) {
    return static_cast<int>(std::ranges::count(FOutcomes[form], how, &std::pair<std::string, std::string>::second));
  }
  /// Operations that one form was refused, and that worked in the other; with an empty `other`, whatever the other
  /// said.
  std::vector<std::string> Refused(const std::string& form, const std::string& other = {}) {
    std::vector<std::string> names;
    for (const auto& [name, how] : FOutcomes[form]) {
      if (how == kRefused && (other.empty() || Worked(other, name))) names.push_back(name);
    }
    return names;
  }
  bool Tried(const std::string& form) const { return FOutcomes.contains(form); }

  /// Prints the verdict, and gives the exit code.
  int Judge();

 private:
  bool Worked(const std::string& form, const std::string& name) {
    return std::ranges::count(FOutcomes[form], std::pair<std::string, std::string>(name, kWorked)) > 0;
  }
  static void Print(const char* what, const std::vector<std::string>& names) {
    std::cout << what << '\n';
    for (const std::string& name : names) std::cout << "  " << name << '\n';
  }

  std::map<std::string, std::vector<std::pair<std::string, std::string>>> FOutcomes;
};

int Report::Judge() {
  std::cout << "Verdict: ";
  if (Tried("own") && Tried("schema")) {
    const auto own = Refused("own", "schema"), schema = Refused("schema", "own");
    if (own.empty() && schema.empty())
      std::cout << "both forms of requests are the same to this server.\n";
    else if (schema.empty())
      Print("this server wants the form of the schema. In the library's own form it refuses", own);
    else
      Print("this server refuses in the form of the schema what it takes in the library's own", schema);
  } else {
    std::cout << "of the forms that were tried.\n";
  }
  std::vector<std::string> met = FOutcomes.size() == 1 ? Refused(FOutcomes.begin()->first) : Refused("default");
  if (met.empty()) {
    std::cout << "The library works with it" << (Tried("default") ? ", without a setting.\n" : ".\n");
    return 0;
  }
  Print(Tried("default") ? "An application that sets nothing is refused" : "An application is refused", met);
  return 1;
}

class Tour {
 public:
  Tour(const ExampleServer& server, CountingSession& session, const char* form, Report& report)
      : FServer(server), FSession(session), FForm(form), FReport(report) {}

  /// False when it was interrupted.
  bool Run();
  /// What could not be taken away.
  const std::vector<std::string>& Left() const { return FLeft; }

 private:
  template <typename TAction>
  bool Step(const char* name, TAction action);
  void Line(const char* name, const char* how, const std::string& why);

  void Read();
  void Services(const string& address);
  void Write();
  void Send();
  void CleanUp();
  void Delete(const char* what, const std::function<void()>& action);

  TVqRef<IVqEWSFolder> Folder(TDistinguishedFolderIdName name) { return FStore->GetFolder(name, ""); }
  TVqRef<IVqEWSEMail> NewMail(const char* subject);
  TVqRef<IVqEWSItems> Marked(IVqEWSFolder& folder);
  void DeleteMarked(TDistinguishedFolderIdName name);
  IVqDOMElement Ask(IVqSOAPRequest& request, const string& operation);
  void DeleteFolder();

  const ExampleServer& FServer;
  CountingSession& FSession;
  std::string FForm;
  Report& FReport;
  TVqRef<IVqEWSMsgStore> FStore;
  TVqRef<IVqEWSFolder> FOwn;                           // the folder that the tour works in
  std::vector<TDistinguishedFolderIdName> FElsewhere;  // where else items of the tour may stand
  string FMark;                                        // in the names of all that the tour makes
  int FTrips = 0;
  std::vector<std::string> FLeft;
};

void Tour::Line(const char* name, const char* how, const std::string& why) {
  // Logging on makes the client that is counted on: its own round trips are not.
  const int trips = FSession.RoundTrips - FTrips;
  std::printf("%-44s %-8s %-8s %5s  %s\n", name, FForm.c_str(), how, trips == 0 ? "-" : std::to_string(trips).c_str(),
              why.c_str());
  std::fflush(stdout);
  FReport.Add(FForm, name, how);
  FTrips = FSession.RoundTrips;
}

/// Tries one operation and prints its line; false when it did not work.
template <typename TAction>
bool Tour::Step(const char* name, TAction action) {
  if (interrupted) throw Interrupted();
  try {
    action();
  } catch (const Skip& skip) {
    Line(name, "skipped", skip.Why);
    return false;
  } catch (const std::exception& failure) {
    Line(name, Report::kRefused, failure.what());
    return false;
  }
  Line(name, Report::kWorked, "");
  return true;
}

// ---- Reading

void Tour::Read() {
  string address;
  TItemId inboxId;
  TVqRef<IVqEWSFolder> inbox;
  if (!Step("open the mailbox", [&] {
        FStore = FSession.OpenDefaultMsgStore();
        address = FStore->GetIdentity()->GetEmailAddress();
      }))
    return;
  Step("resolve a name (ResolveNames)", [&] { FSession.ResolveName(address, scActiveDirectoryContacts)->Count(); });
  Step("complete a recipient (ResolveNames)",
       [&] { FSession.ResolveName(FSession.CreateRecipients()->Add(address), true); });
  Step("find a folder's id (GetFolder)", [&] { inboxId = FStore->GetFolderId(dfininbox); });
  Step("convert an id (ConvertId)", [&] { FSession.ConvertId(ifEwsId, inboxId.Id, address, ifHexEntryId); });
  Step("load a folder (GetFolder)", [&] { inbox = Folder(dfininbox); });
  const auto needsInbox = [&] {
    if (!inbox) throw Skip{"the inbox was not loaded"};
  };
  Step("load a folder by mailbox (GetFolder)", [&] { FStore->GetFolder(dfininbox, address); });
  Step("list folders (FindFolder)", [&] { Folder(dfinmsgfolderroot)->GetSubFolders()->Open(); });

  TVqRef<IVqEWSItems> items;
  Step("list items (FindItem)", [&] {
    needsInbox();
    const auto table = inbox->GetItems();
    for (const auto& field : {&FLD_ITEM_SUBJECT, &FLD_MESSAGE_FROM, &FLD_ITEM_HASATTACHMENTS, &MFLD_SUBJECT})
      table->GetFields().Add(*field);
    table->SetMaxEntriesPerPage(10);
    table->Open();
    items = table;
  });
  const auto needsItems = [&] {
    if (!items) throw Skip{"no items were listed"};
  };
  Step("list items with a filter (FindItem)", [&] {
    needsInbox();
    const auto filtered = inbox->GetItems();
    filtered->GetFields().Add(FLD_ITEM_SUBJECT);
    const auto both = Supports<IVqEWSRestrictionAnd>(filtered->CreateRestriction(rtAnd));
    const auto exists = Supports<IVqEWSRestrictionExists>(filtered->CreateRestriction(rtExists));
    exists->SetFieldDef(FLD_ITEM_SUBJECT);
    both->AddRestriction(exists);
    const auto compare = Supports<IVqEWSRestrictionCompare>(filtered->CreateRestriction(rtCompare));
    compare->SetFieldDef(FLD_ITEM_SUBJECT);
    compare->SetCompareOperator(opIsNotEqualTo);
    compare->SetTextValue("Tom & \"Jerry\"");
    both->AddRestriction(compare);
    filtered->Filter(both);
    filtered->Open();
  });
  Step("look at a calendar (FindItem)", [&] {
    const auto calendar = Supports<IVqEWSCalendarFolder>(Folder(dfincalendar));
    if (!calendar) throw Skip{"the calendar is no calendar folder"};
    const TDateTime today = VqNow();
    calendar->GetCalendarView(today - 7, today + 7, 10)->Open();
  });

  TVqRef<IVqEWSItem> item;
  Step("load an item (GetItem)", [&] {
    needsItems();
    if (items->Eof()) throw Skip{"the inbox is empty"};
    item = FStore->GetItem(items->GetItemId());
  });
  const auto needsItem = [&] {
    if (!item) throw Skip{"no item was loaded"};
  };
  Step("load more members (GetItem)", [&] { needsItem(), item->GetAdditionalProperties({"Body", "Categories"}); });
  Step("load an extended property (GetItem)", [&] { needsItem(), item->HasProperty(EPR_COMMON_PRIVATE); });
  Step("load the MIME content (GetItem)", [&] {
    needsItem();
    TVqMemoryStream mime;
    item->SaveToStream(mime);
  });
  Step("load an attachment (GetAttachment)", [&] {
    needsItems();
    for (; !items->Eof(); items->Next()) {
      if (!items->FieldByName(FLD_ITEM_HASATTACHMENTS).GetAsBoolean()) continue;
      const auto message = FStore->GetItem(items->GetItemId());
      auto& list = message->GetAttachments();
      if (list.Count() == 0) continue;
      if (const auto file = Supports<IVqEWSFileAttachment>(list.GetAttachment(0))) {
        TVqMemoryStream content;
        file->SaveToStream(content);
      } else {
        Supports<IVqEWSItemAttachment>(list.GetAttachment(0))->GetItemAttachmentType();
      }
      return;
    }
    throw Skip{"no message of the inbox has an attachment"};
  });
  Services(address);
  Step("open another mailbox (impersonation)", [&] {
    if (!FServer.HasOption("impersonate")) throw Skip{"give an address with --impersonate"};
    FSession.OpenMsgStore(FServer.Option("impersonate"))->GetFolder(dfininbox, "");
  });
}

// ---- The services beside mailboxes

void Tour::Services(const string& address) {
  const auto since = [&](TServerVersion version, const char* name) {
    if (FSession.GetServerVersion() < version) throw Skip{std::string("servers have it since ") + name};
  };
  // What a mailbox or an organisation need not have.
  const auto unlessMissing = [](const char* what, const auto& action) {
    try {
      action();
    } catch (const EEWSException& refusal) {
      if (!refusal.Message().Contains(u"ErrorItemNotFound")) throw;
      throw Skip{what};
    }
  };
  Step("free and busy times (GetUserAvailability)", [&] {
    const TDateTime today = VqDateOf(VqNow());
    const auto found =
        FSession.GetUserAvailibility({address, atRequired, false}, today, today + 1, 30, fbvtFreeBusyMerged);
    if (found->GetHasError()) throw EVqException(found->GetError());
  });
  Step("mail tips (GetMailTips)", [&] {
    since(Exchange2010, "Exchange2010");
    FSession.GetMailTips(address);
  });
  Step("absence (GetUserOofSettings)", [&] { FStore->GetOOF()->GetState(); });
  Step("set an absence (SetUserOofSettings)", [] { throw Skip{"it would touch what the user has set"}; });
  Step("categories (GetUserConfiguration)", [&] {
    since(Exchange2013, "Exchange2013");
    unlessMissing("the mailbox has no list of categories", [&] { FStore->GetCategories(); });
  });
  string list;
  Step("lists of rooms (GetRoomLists)", [&] {
    since(Exchange2010, "Exchange2010");
    const auto lists = FStore->GetRoomLists();
    if (lists->Count() > 0) list = lists->GetItem(0)->GetEmailAddress();
  });
  Step("rooms of a list (GetRooms)", [&] {
    if (list.empty()) throw Skip{"there are no lists of rooms"};
    FStore->GetRooms(list);
  });
  Step("a photo (GetUserPhoto)", [&] {
    since(Exchange2013, "Exchange2013");
    TVqMemoryStream photo;
    unlessMissing("the user has no photo", [&] { FStore->GetUserPhoto(photo, HR96X96); });
  });
}

// ---- Writing

TVqRef<IVqEWSEMail> Tour::NewMail(const char* subject) {
  const auto mail = Supports<IVqEWSEMail>(FOwn->CreateItem(tMessage));
  mail->SetSubject(FMark + " " + subject);
  return mail;
}

void Tour::Write() {
  Step("make a folder (CreateFolder)",
       [&] { FOwn = FStore->GetFolder(Folder(dfinmsgfolderroot)->CreateFolder(sffFolder, FMark)); });
  const auto needsFolder = [&] {
    if (!FOwn) throw Skip{"there is no folder to work in"};
  };
  TItemId below;
  Step("make a folder below it (CreateFolder)",
       [&] { needsFolder(), below = FOwn->CreateFolder(sffFolder, FMark + " below"); });
  Step("make a calendar (CreateFolder)",
       [&] { needsFolder(), FOwn->CreateFolder(sffCalendarFolder, FMark + " calendar"); });

  TVqRef<IVqEWSEMail> mail;
  Step("save a new message (CreateItem)", [&] {
    needsFolder();
    const auto made = NewMail("draft");
    made->GetToRecipients()->AddMailbox("Nobody", "nobody@example.com");
    made->SetBodyText("Made by a tour.");
    made->GetCategories().Add("Tour");
    made->PropertyByName(EPR_COMMON_PRIVATE).SetAsBoolean(true);
    made->SaveChanges(soAutoResolve);
    mail = made;
  });
  const auto needsMail = [&] {
    if (!mail) throw Skip{"no message was saved"};
  };
  Step("save changes (UpdateItem)", [&] {
    needsMail();
    mail->SetImportance(icHigh);
    mail->GetCcRecipients()->AddMailbox("Nobody else", "else@example.com");
    mail->GetCategories().Clear();
    mail->DeleteProperty(EPR_COMMON_PRIVATE);
    mail->SaveChanges(soAutoResolve);
  });
  Step("save without changes (UpdateItem)", [&] { needsMail(), mail->SaveChanges(soAutoResolve); });
  Step("attach a file (CreateAttachment)", [&] {
    needsMail();
    TVqMemoryStream text("Enclosed.");
    mail->GetAttachments().AddAttachment("tour.txt", "text/plain", text);
    mail->SaveChanges(soAutoResolve);
  });
  Step("attach an item (CreateAttachment)", [&] {
    needsMail();
    const auto inner = NewMail("inner");
    inner->SetBodyText("Inside.");
    mail->GetAttachments().AddAttachment("inner", TVqRef<IVqEWSItem>(inner));
    mail->SaveChanges(soAutoResolve);
  });
  Step("take an attachment away (DeleteAttachment)", [&] {
    needsMail();
    if (mail->GetAttachments().Count() == 0) throw Skip{"there is none"};
    mail->GetAttachments().DeleteAttachment(0);
    mail->SaveChanges(soAutoResolve);
  });
  Step("save a body with a picture", [&] {
    needsMail();
    if (FSession.GetServerVersion() < Exchange2010) throw Skip{"the server knows no pictures in a body"};
    mail->SetBodyText("<p>See <img src=\"data:image/png;base64,iVBORw0KGgo=\"></p>");
    mail->SaveChanges(soAutoResolve);
  });
  const auto belowOwn = [&](TSetFolderFieldType type, const char* name) {
    needsFolder();
    return FStore->GetFolder(FOwn->CreateFolder(type, FMark + " " + name));
  };
  TVqRef<IVqEWSFolder> people;
  Step("save a contact, and a number of it", [&] {
    people = belowOwn(sffContactsFolder, "contacts");
    const auto contact = Supports<IVqEWSContact>(people->CreateItem(tContact));
    contact->SetSurname("Tour");
    contact->GetEmailAddresses().GetEntry(eakEmailAddress1).SetValue("nobody@example.com");
    contact->SaveChanges(soAutoResolve);
    contact->GetPhoneNumbers().GetEntry(pnkHomePhone).SetValue("1");
    contact->GetPhysicalAddresses().GetEntry(pakHome).SetCity("Graz");
    contact->SaveChanges(soAutoResolve);
  });
  Step("save a distribution list", [&] {
    if (!people) throw Skip{"there is no folder of contacts to work in"};
    const auto list = people->CreateDistributionList();
    list->SetDisplayName("Tour");
    list->GetMembers()->AddMailbox("Nobody", "nobody@example.com");
    list->SaveChanges(soAutoResolve);
  });
  Step("save a task", [&] {
    const auto task = Supports<IVqEWSTask>(belowOwn(sffTasksFolder, "tasks")->CreateItem(tTask));
    task->SetSubject("Tour");
    task->SetDueDate(std::chrono::sys_days(std::chrono::year(2025) / 12 / 9));
    task->SaveChanges(soAutoResolve);
    task->SetStatus(tsCompleted);
    task->SaveChanges(soAutoResolve);
  });
  Step("import a message (CreateItem)", [&] {
    needsFolder();
    TVqMemoryStream mime("Subject: " + FMark.utf8() + " imported\r\n\r\nText");
    FOwn->ImportItem(mime, {});
  });
  Step("copy an item (CopyItem)", [&] {
    needsMail();
    if (below.Id.empty()) throw Skip{"there is no folder to copy to"};
    FOwn->CopyItem(mail->GetID(), below);
  });
  Step("move an item (CopyItem, DeleteItem)", [&] {
    needsMail();
    if (below.Id.empty()) throw Skip{"there is no folder to move to"};
    const auto moved = NewMail("moved");
    moved->SaveChanges(soAutoResolve);
    FOwn->MoveItem(moved->GetID(), below);
  });
  Step("delete for good (DeleteItem)", [&] { needsMail(), FOwn->DeleteItem(mail->GetID(), dtHardDelete); });
  Step("move to the deleted items (DeleteItem)", [&] {
    needsFolder();
    const auto thrown = NewMail("thrown away");
    thrown->SaveChanges(soAutoResolve);
    FElsewhere.push_back(dfindeleteditems);
    FOwn->DeleteItem(thrown->GetID(), dtMoveToDeletedItems);
  });
  Step("delete softly (DeleteItem)", [] { throw Skip{"it would leave the item among the recoverable ones"}; });
  Step("delete a meeting (DeleteItem)", [] { throw Skip{"the library makes none that could be deleted"}; });
  Send();
}

void Tour::Send() {
  const auto send = [&](bool copy, bool saved) {
    if (!FServer.HasOption("send")) throw Skip{"allow it with --send"};
    if (!FOwn) throw Skip{"there is no folder to work in"};
    const auto mail = NewMail("sent");
    mail->GetToRecipients()->AddMailbox("", FStore->GetIdentity()->GetEmailAddress());
    if (saved) mail->SaveChanges(soAutoResolve);
    FElsewhere.insert(FElsewhere.end(), {dfininbox, dfinsentitems});
    mail->SubmitMessage(copy);
    // Waits for it, as it is to be taken away again.
    const auto inbox = Folder(dfininbox);
    for (int i = 0; i < 60; ++i) {
      if (interrupted) throw Interrupted();
      const auto arrived = Marked(*inbox);
      if (!arrived->Eof()) return DeleteMarked(dfininbox);
      std::this_thread::sleep_for(std::chrono::seconds(1));
    }
    FLeft.push_back("the message \"" + mail->GetSubject().utf8() + "\", which may still arrive");
    throw EVqException("It did not arrive within a minute.");
  };
  Step("send, with a copy (CreateItem)", [&] { send(true, false); });
  Step("send what was saved (SendItem)", [&] { send(false, true); });
}

// ---- Leaving it as it was

/// The items of the tour in a folder.
TVqRef<IVqEWSItems> Tour::Marked(IVqEWSFolder& folder) {
  const auto items = folder.GetItems();
  items->GetFields().Add(FLD_ITEM_SUBJECT);
  const auto marked = Supports<IVqEWSRestrictionContent>(items->CreateRestriction(rtContent));
  marked->SetFieldDef(FLD_ITEM_SUBJECT);
  marked->SetContainmentMode(cmPrefixed);
  marked->SetTextValue(FMark);
  items->Filter(marked);
  items->Open();
  return items;
}

void Tour::DeleteMarked(TDistinguishedFolderIdName name) {
  const auto folder = Folder(name);
  std::vector<TItemId> ids;  // first all of them, as deleting changes the list
  const auto items = Marked(*folder);
  for (; !items->Eof(); items->Next()) ids.push_back(items->GetItemId());
  for (const TItemId& id : ids) folder->DeleteItem(id, dtHardDelete);
}

/// Sends a request that the library has no operation for, and gives the response message.
IVqDOMElement Tour::Ask(IVqSOAPRequest& request, const string& operation) {
  TVqRef<IVqSOAPResponse> response;
  request.Send(response);
  const IVqDOMElement message = response->GetDocument().SelectSingleElement(
      "/Envelope/Body/" + operation + "Response/ResponseMessages/" + operation + "ResponseMessage", kSelectRequired);
  FSession.CheckResponseError(message);
  return message;
}

/// Looked for by name, as the answer to its creation may have been lost. The library's DeleteFolder sends nothing, so
/// the requests are made by hand.
void Tour::DeleteFolder() {
  const auto find = FSession.CreateRequest(nullptr, "m:FindFolder", "");
  find->GetMethod().SetAttribute("Traversal", "Shallow");
  find->GetMethod().AddElement("m:FolderShape").AddElement("t:BaseShape").SetText("Default");
  find->GetMethod()
      .AddElement("m:ParentFolderIds")
      .AddElement("t:DistinguishedFolderId")
      .SetAttribute("Id", "msgfolderroot");
  for (const IVqDOMElement& folder : Ask(*find, "FindFolder").CreateElementList("RootFolder/Folders/*", kSelectQuiet)) {
    if (folder.SelectSingleElement("DisplayName", kSelectQuiet).GetText() != FMark) continue;
    const auto request = FSession.CreateRequest(nullptr, "m:DeleteFolder", "");
    request->GetMethod().SetAttribute("DeleteType", "HardDelete");
    request->GetMethod()
        .AddElement("m:FolderIds")
        .AddElement("t:FolderId")
        .SetAttribute("Id", folder.SelectSingleElement("FolderId", kSelectRequired).GetAttribute("Id"));
    Ask(*request, "DeleteFolder");
  }
}

/// Tries a deletion several times: a server may be busy just now.
void Tour::Delete(const char* what, const std::function<void()>& action) {
  for (int attempt = 1;; ++attempt) {
    try {
      return action();
    } catch (const std::exception& failure) {
      if (attempt == 3) {
        FLeft.push_back(std::string(what) + ": " + failure.what());
        return;
      }
      std::this_thread::sleep_for(std::chrono::seconds(attempt));
    }
  }
}

void Tour::CleanUp() {
  if (!FStore) return;
  Delete("the folder of the tour", [&] { DeleteFolder(); });
  for (const TDistinguishedFolderIdName name : FElsewhere)
    Delete(("items in " + VqEnumToText(name).utf8()).c_str(), [&] { DeleteMarked(name); });
}

bool Tour::Run() {
  FMark = "Velmore tour " + IntToStr(static_cast<std::int64_t>(std::time(nullptr))) + " " + FForm;
  bool stopped = false;
  try {
    if (!Step("log on (ConvertId, GetServerTimeZones)", [&] { FSession.LogOn(); })) return true;
    Read();
    if (FServer.HasOption("write") && FStore) Write();
  } catch (const Interrupted&) {
    stopped = true;
  }
  if (FServer.HasOption("write")) {
    CleanUp();
    Line("take away what the tour made (DeleteFolder)", FLeft.empty() ? Report::kWorked : Report::kRefused, "");
  }
  for (std::string& left : FLeft) left = "LEFT BEHIND (" + FMark.utf8() + "): " + left;
  std::cout << FForm << ": " << FReport.Count(FForm, Report::kWorked) << " worked, "
            << FReport.Count(FForm, Report::kRefused) << " refused, " << FReport.Count(FForm, "skipped") << " skipped; "
            << FSession.GetServerDescription() << "\n\n";
  return !stopped;
}

}  // namespace

int main(int argc, char** argv) try {
  const ExampleServer server(
      argc, argv,
      "interop [--write [--send]] [--form NAME] [--impersonate ADDRESS]: tries every operation "
      "in each form of requests and prints what worked.\n"
      "  --write          works in a folder of its own, too, and takes it away again\n"
      "  --send           also sends two messages a form to the user, and takes them away\n"
      "  --form NAME      one form alone: default (what a session does that nothing is set on),\n"
      "                   own (the library's own), schema (that of the published schema)");
  const std::string wanted = server.Option("form");
  if (!wanted.empty() && std::ranges::find(kForms, wanted) == std::end(kForms)) {
    std::cerr << "There is no form \"" << wanted << "\": default, own, schema\n";
    return 2;
  }
  std::signal(SIGINT, Interrupt);
  std::signal(SIGTERM, Interrupt);
  std::printf("%-44s %-8s %-8s %5s  %s\n", "operation", "form", "", "trips", "the server's words");
  Report report;
  std::vector<std::string> left;
  bool stopped = false;
  for (const std::string form : kForms) {
    if (stopped || (!wanted.empty() && form != wanted)) continue;
    CountingSession session;
    server.Configure(session);
    session.SetStrictSchema(form == "schema");
    session.SetSchemaFallback(form == "default");
    Tour tour(server, session, form.c_str(), report);
    stopped = !tour.Run();
    left.insert(left.end(), tour.Left().begin(), tour.Left().end());
  }
  if (!server.HasOption("write")) std::cout << "Nothing was written. --write works in a folder of its own as well.\n";
  const int verdict = stopped ? 130 : report.Judge();
  for (const std::string& line : left) std::cout << line << '\n';
  return left.empty() ? verdict : 3;
} catch (const std::exception& failure) {
  std::cerr << failure.what() << '\n';
  return 1;
}
