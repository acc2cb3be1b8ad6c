#include "SoakJobs.h"

#include <set>
#include <thread>

#include "SoakReport.h"
#include "ews/items/uVqEWSAttachments.h"
#include "ews/schema/uVqEWSPropsEPR.h"
#include "ews/schema/uVqEWSPropsFLD.h"
#include "ews/schema/uVqEWSPropsPR.h"
#include "ews/stores/uVqEWSFolder.h"
#include "ews/stores/uVqEWSImpersonation.h"
#include "ews/values/uVqEWSStrings.h"
#include "platform/soap/uVqSOAPClient.h"

namespace soak {

using namespace velmore;

namespace {

void Require(bool holds, const std::string& rule) {
  if (!holds) throw RuleBroken(rule);
}

/// A server may lie once; three times the same is the truth.
template <typename TLook>
void RequireStanding(TLook look, const std::string& rule) {
  for (int i = 0; i < 3; ++i)
    if (look()) return;
  throw RuleBroken(rule);
}

TVqRef<IVqEWSFolder> FolderOf(Desk& desk, TDistinguishedFolderIdName name) {
  return desk.Store.GetFolder(name, "");
}

/// Ids of the items of a folder, a page after the other.
std::vector<TItemId> IdsOf(Desk& desk, IVqEWSFolder& folder) {
  const auto items = folder.GetItems();
  for (const auto* field :
       {&FLD_ITEM_SUBJECT, &FLD_ITEM_DATETIMERECEIVED, &FLD_MESSAGE_FROM, &FLD_ITEM_SIZE, &FLD_MESSAGE_ISREAD})
    if (desk.Chance(60)) items->GetFields().Add(*field);
  items->SetMaxEntriesPerPage(desk.Number(1, 40));
  std::vector<TItemId> ids;
  for (items->Open(); !items->Eof() && ids.size() < 1000; items->Next()) {
    for (std::int32_t i = 0; i < items->GetFields().Count(); ++i) items->GetFields().GetItem(i).GetAsString();
    ids.push_back(items->GetItemId());
  }
  return ids;
}

TVqRef<IVqEWSItem> AnyItem(Desk& desk, TDistinguishedFolderIdName name) {
  const auto folder = FolderOf(desk, name);
  const auto ids = IdsOf(desk, *folder);
  if (ids.empty()) return {};
  return desk.Store.GetItem(ids[desk.Random() % ids.size()]);
}

TVqRef<IVqEWSEMail> NewMail(Desk& desk) {
  const auto drafts = FolderOf(desk, dfindrafts);
  return Supports<IVqEWSEMail>(drafts->CreateItem(tMessage));
}

// ---- Reading

void Read(Desk& desk) {
  const auto mail = Supports<IVqEWSEMail>(AnyItem(desk, dfininbox));
  if (!mail) return;
  mail->GetSubject();
  mail->GetBodyText();
  mail->GetFrom()->GetEmailAddress();
  mail->GetToRecipients()->GetAsString();
  mail->GetCategories().AsString(";");
  mail->GetAllowedResponseTypes();
  if (desk.Chance(30)) mail->GetInternetMessageHeaders().AsElement().GetText();
  if (desk.Chance(30)) mail->GetParentFolder()->GetDisplayName();
}

TVqRef<IVqEWSRestriction> DrawFilter(Desk& desk, IVqEWSItems& items, int depth) {
  const auto of = [&](TVqEWSRestrictionType type) { return items.CreateRestriction(type); };
  switch (desk.Number(depth > 2 ? 3 : 0, 5)) {
    case 0:
    case 1: {
      const auto list = Supports<IVqEWSRestrictionList>(of(desk.Chance(50) ? rtAnd : rtOr));
      for (int i = desk.Number(2, 3); i > 0; --i) list->AddRestriction(DrawFilter(desk, items, depth + 1));
      return list;
    }
    case 2: {
      const auto negation = Supports<IVqEWSRestrictionNot>(of(rtNot));
      negation->SetRestriction(DrawFilter(desk, items, depth + 1));
      return negation;
    }
    case 3: {
      const auto exists = Supports<IVqEWSRestrictionExists>(of(rtExists));
      exists->SetFieldDef(FLD_ITEM_SUBJECT);
      return exists;
    }
    case 4: {
      const auto content = Supports<IVqEWSRestrictionContent>(of(rtContent));
      content->SetFieldDef(FLD_ITEM_SUBJECT);
      content->SetContainmentMode(cmSubstring);
      content->SetContainmentComparison(ccIgnoreCase);
      content->SetValue("seed 1");
      return content;
    }
    default: {
      const auto compare = Supports<IVqEWSRestrictionCompare>(of(rtCompare));
      compare->SetFieldDef(FLD_ITEM_SIZE);
      compare->SetCompareOperator(desk.Chance(50) ? opIsGreaterThan : opIsLessThanOrEqualTo);
      compare->SetValue(desk.Number(0, 5000));
      return compare;
    }
  }
}

void Search(Desk& desk) {
  const auto items = FolderOf(desk, dfininbox)->GetItems();
  items->GetFields().Add(FLD_ITEM_SUBJECT);
  items->SetMaxEntriesPerPage(desk.Number(1, 20));
  items->Filter(DrawFilter(desk, *items, 0));
  int rows = 0;
  for (items->Open(); !items->Eof() && rows < 1000; items->Next(), ++rows)
    items->FieldByName(FLD_ITEM_SUBJECT).GetAsString();
  if (desk.Chance(30)) items->First();
}

void Calendar(Desk& desk) {
  const auto calendar = Supports<IVqEWSCalendarFolder>(FolderOf(desk, dfincalendar));
  Require(calendar != nullptr, "the calendar is a calendar folder");
  const TDateTime start = VqXMLToDateTime("2026-03-01T00:00:00Z") + desk.Number(0, 20);
  const auto view = calendar->GetCalendarView(start, start + desk.Number(1, 10), desk.Number(1, 30));
  view->GetFields().Add(FLD_CALENDAR_START);
  for (view->Open(); !view->Eof(); view->Next()) view->FieldByName(FLD_CALENDAR_START).GetAsString();
}

void LazyLoad(Desk& desk) {
  const auto item = AnyItem(desk, dfininbox);
  if (!item) return;
  if (desk.Chance(50)) item->GetAdditionalProperties({"Subject", "DisplayTo", "Culture"});
  item->PropertyByName(EPR_COMMON_PRIVATE).GetAsBoolean();
  item->PropertyByName(PR_DISPLAYTO).GetAsString();
  item->GetLastModifiedName();
  item->GetSize();
  item->GetTextBody();
  if (desk.Session.GetServerVersion() >= Exchange2013) {
    item->GetPreview();
    item->GetFlag();
  }
}

void Export(Desk& desk) {
  const auto item = AnyItem(desk, dfininbox);
  if (!item) return;
  TVqMemoryStream stream;
  item->SaveToStream(stream);
}

// ---- Writing

void Create(Desk& desk) {
  const auto mail = NewMail(desk);
  const std::string subject = desk.Token("Draft");
  mail->SetSubject(subject);
  mail->SetBodyText(
      "<p>Gr\xC3\xBC\xC3\x9F"
      "e</p>");
  mail->SetImportance(icHigh);
  mail->GetToRecipients()->Add("Somebody <somebody@elsewhere.example>");
  mail->GetCategories().Add("Soak");
  if (desk.Chance(30)) mail->PropertyByName(EPR_COMMON_PRIVATE).SetAsBoolean(true);
  mail->SaveChanges(soAutoResolve);
  const TItemId id = mail->GetID();
  RequireStanding([&] { return desk.Store.GetItem(id)->GetSubject() == string(subject); }, "what was created is there");
}

void Update(Desk& desk) {
  const auto mail = Supports<IVqEWSEMail>(AnyItem(desk, dfindrafts));
  if (!mail) return;
  const std::string subject = desk.Token("Draft");
  mail->SetSubject(subject);
  if (desk.Chance(50)) mail->SetBodyText(std::string(static_cast<std::size_t>(desk.Number(0, 20000)), 'b'));
  if (desk.Chance(50)) mail->SetSensitivity(scPersonal);
  if (desk.Chance(30) && mail->GetCategories().Count() > 0) mail->DeleteProperty(PR_CATEGORIES);
  if (desk.Chance(30)) mail->GetCcRecipients()->Add(Address(desk.Number(0, kUsers - 1)));
  mail->SaveChanges(static_cast<TVqEWSSaveOption>(desk.Number(0, 2)));
  const TItemId id = mail->GetID();
  RequireStanding([&] { return desk.Store.GetItem(id)->GetSubject() == string(subject); }, "what was saved is there");
}

void Conflict(Desk& desk) {
  const auto one = AnyItem(desk, dfindrafts);
  if (!one) return;
  const auto other = desk.Store.GetItem(one->GetID());
  one->SetSubject(desk.Token("Draft"));
  one->SaveChanges(soAlwaysOverwrite);
  other->SetSubject(desk.Token("Draft"));
  try {
    other->SaveChanges(soNeverOverwrite);
  } catch (const EEWSException& refusal) {
    if (refusal.Message().Contains("ErrorIrresolvableConflict")) return;
    throw;
  }
  throw RuleBroken("the second of two writers is refused");
}

std::string ContentOf(IVqEWSItem& item, std::int32_t at) {
  const auto file = Supports<IVqEWSFileAttachment>(item.GetAttachments().GetAttachment(at));
  if (!file) return "no file";
  TVqMemoryStream stream;
  file->SaveToStream(stream);
  return stream.TakeBytes();
}

void Attach(Desk& desk) {
  const auto mail = NewMail(desk);
  mail->SetSubject(desk.Token("Draft"));
  std::vector<std::string> contents;
  for (int i = desk.Number(1, 3); i > 0; --i) {
    contents.emplace_back(static_cast<std::size_t>(desk.Chance(5) ? 1 << 20 : desk.Number(0, 50000)),
                          static_cast<char>(desk.Number(0, 255)));
    TVqMemoryStream stream(contents.back());
    mail->GetAttachments().AddAttachment("file " + std::to_string(i) + ".bin", "application/octet-stream", stream);
  }
  // Pictures need a server that knows inline attachments.
  if (desk.Chance(50) && desk.Session.GetServerVersion() >= Exchange2010)
    mail->SetBodyText("<p>Hi<img src=\"data:image/png;base64,YWJj\"></p>");
  mail->SaveChanges(soAutoResolve);
  const TItemId id = mail->GetID();
  const auto fresh = desk.Store.GetItem(id);
  if (fresh->GetAttachments().Count() < static_cast<std::int32_t>(contents.size())) return;  // a lie, or one got lost
  RequireStanding([&] { return ContentOf(*desk.Store.GetItem(id), 0) == contents[0]; }, "a file comes back as it went");
  if (desk.Chance(50)) fresh->GetAttachments().DeleteAttachment(0);
  if (desk.Chance(50) && fresh->GetAttachments().Count() > 0)
    fresh->GetAttachments().GetAttachment(0)->SetName("renamed.bin");
  fresh->SaveChanges(soAutoResolve);
}

void Send(Desk& desk) {
  const auto mail = NewMail(desk);
  mail->SetSubject(desk.Token("Sent"));
  mail->GetToRecipients()->Add(Address(desk.Number(0, kUsers - 1)));
  mail->SetBodyText("On its way");
  if (desk.Chance(30)) {
    TVqMemoryStream stream("attached");
    mail->GetAttachments().AddAttachment("a.txt", "text/plain", stream);
  }
  mail->SubmitMessage(desk.Chance(50));
}

void Import(Desk& desk) {
  const auto drafts = FolderOf(desk, dfindrafts);
  TVqMemoryStream stream("From: " + Address(0) + "\r\nSubject: " + desk.Token("Import") + "\r\n\r\nHello");
  drafts->ImportItem(stream, {});
}

// ---- Folders

void Folders(Desk& desk) {
  static constexpr TDistinguishedFolderIdName kNames[] = {dfincontacts, dfinsentitems, dfintasks, dfinjournal,
                                                          dfinjunkemail};
  TItemId id;
  desk.Store.GetFolderId(kNames[desk.Random() % std::size(kNames)]);
  desk.Store.FindFolderId(dfinarchiveinbox, id);  // there is none; no failure of it comes out
  const auto root = FolderOf(desk, dfinmsgfolderroot);
  std::set<std::string> names;
  const auto folders = root->GetSubFolders();
  folders->GetFields().Add(FLD_FOLDER_DISPLAYNAME);
  for (folders->Open(); !folders->Eof() && names.size() < 1000; folders->Next())
    names.insert(folders->FieldByName(FLD_FOLDER_DISPLAYNAME).GetAsString().utf8());
  const std::string name = "Soak " + std::to_string(desk.Number(0, 9));
  if (!names.contains(name)) {
    const TItemId made = root->CreateFolder(sffFolder, name);
    RequireStanding([&] { return desk.Store.GetFolder(made)->GetDisplayName() == string(name); },
                    "a folder that was made is there");
  }
  try {
    root->DeleteFolder(root->GetID(), dtHardDelete);
    throw RuleBroken("DeleteFolder says that it is not carried out");
  } catch (const EVqEWSNotCarriedOut&) {
  }
}

void CopyMoveDelete(Desk& desk) {
  const auto inbox = FolderOf(desk, dfininbox);
  const auto ids = IdsOf(desk, *inbox);
  if (ids.empty()) return;
  const TItemId target = desk.Store.GetFolderId(dfinjunkemail);
  const TItemId copy = inbox->CopyItem(ids[desk.Random() % ids.size()], target);
  const auto junk = desk.Store.GetFolder(target);
  const TItemId moved = junk->MoveItem(copy, desk.Store.GetFolderId(dfindeleteditems));
  FolderOf(desk, dfindeleteditems)->DeleteItem(moved, desk.Chance(50) ? dtHardDelete : dtMoveToDeletedItems);
}

/// Keeps the mailboxes small, and looks whether anything was done twice.
void Tidy(Desk& desk) {
  for (const auto name : {dfininbox, dfindrafts, dfinsentitems, dfindeleteditems, dfinjunkemail}) {
    const auto folder = FolderOf(desk, name);
    const auto items = folder->GetItems();
    items->GetFields().Add(FLD_ITEM_SUBJECT);
    items->SetMaxEntriesPerPage(100);
    std::vector<TItemId> ids;
    std::set<std::string> subjects;
    for (items->Open(); !items->Eof() && ids.size() < 1000; items->Next()) {
      ids.push_back(items->GetItemId());
      const std::string subject = items->FieldByName(FLD_ITEM_SUBJECT).GetAsString().utf8();
      const bool once = name == dfininbox || name == dfinsentitems || name == dfindrafts;
      if (once && (subject.starts_with("Sent ") || subject.starts_with("Draft ") || subject.starts_with("Import ")))
        Require(subjects.insert(subject).second, "nothing is carried out twice: \"" + subject + "\"");
    }
    constexpr std::size_t kKeep = 60;
    for (std::size_t i = kKeep; i < ids.size(); ++i) folder->DeleteItem(ids[i], dtHardDelete);
  }
}

// ---- Beside mailboxes

void Impersonate(Desk& desk) {
  TVqEWSServiceSession service;
  Configure(service, desk.Server, "service", desk.Random);
  service.SetActive(true);
  const std::string address = Address(desk.Number(0, kUsers - 1));
  const auto store = desk.Chance(50) ? service.OpenMsgStore(address)
                                     : TVqRef<IVqEWSMsgStore>(MakeRef<TVqEWSImpersonatedMsgStore>(&service, address));
  Desk other{desk.Server, service, *store, desk.User, desk.Random, desk.Serial};
  const auto item = AnyItem(other, dfininbox);
  if (item) item->GetSubject();
}

void Names(Desk& desk) {
  const auto found = desk.Session.ResolveName("user", scActiveDirectory);
  for (std::int32_t i = 0; i < found->Count(); ++i) found->GetItem(i)->GetRecipient().GetEmailAddress();
  const auto recipients = desk.Session.CreateRecipients();
  recipients->Add(UserName(desk.Number(0, kUsers - 1)));
  recipients->Add("nobody of that name");
  desk.Session.ResolveNames(recipients, false);
}

void ConvertIds(Desk& desk) {
  const string id = desk.Store.GetFolderId(dfininbox).Id;
  const string mailbox = Address(desk.User);
  const auto told = [](const TVqRef<IVqEwsNonEmptyArrayOfAlternateIds>& answer) {
    auto& ids = answer->GetAlternateIds().GetAlternateId();
    return ids.Count() == 1 ? ids.GetItem(0).GetId() : string();  // anything else is a lie
  };
  const string hex = told(desk.Session.ConvertId(ifEwsId, id, mailbox, ifHexEntryId));
  if (hex.empty()) return;
  const string back = told(desk.Session.ConvertId(ifHexEntryId, hex, mailbox, ifEwsId));
  if (!back.empty()) Require(back == id, "an id that went there and back is the same");
}

/// The session's owner works while another thread has clients of its own; sometimes it is cancelled.
void Beside(Desk& desk) {
  const auto http = desk.Session.CreateHTTPClient(desk.Chance(50));
  const std::unique_ptr<TVqSOAPClient> soap(desk.Session.CreateSOAPClient(http));
  const int requests = desk.Number(1, 5);
  const int patience = desk.Number(0, 20);
  const bool cancelled = desk.Chance(50);
  std::exception_ptr failure;
  std::thread worker([&] {
    try {
      for (int i = 0; i < requests; ++i) {
        const auto request = desk.Session.CreateRequest(soap.get(), "m:GetFolder", "m:GetFolderResponse");
        request->GetMethod().AddElement("m:FolderShape").AddElement("t:BaseShape").SetText("IdOnly");
        request->GetMethod()
            .AddElement("m:FolderIds")
            .AddElement("t:DistinguishedFolderId")
            .SetAttribute("Id", "inbox");
        TVqRef<IVqSOAPResponse> response;
        request->Send(response);
      }
    } catch (...) {
      failure = std::current_exception();
    }
  });
  try {
    if (cancelled) {
      std::this_thread::sleep_for(std::chrono::milliseconds(patience));
      http->GetComponent()->Cancel();
    } else {
      desk.Store.GetFolderId(dfininbox);
    }
  } catch (...) {
    worker.join();
    throw;
  }
  worker.join();
  if (failure) std::rethrow_exception(failure);
}

}  // namespace

const std::vector<Job>& Jobs() {
  static const std::vector<Job> jobs = {{"read", 10, Read},
                                        {"search", 6, Search},
                                        {"calendar", 3, Calendar},
                                        {"lazy load", 6, LazyLoad},
                                        {"export", 3, Export},
                                        {"create", 6, Create},
                                        {"update", 8, Update},
                                        {"conflict", 3, Conflict},
                                        {"attach", 5, Attach},
                                        {"send", 6, Send},
                                        {"import", 3, Import},
                                        {"folders", 3, Folders},
                                        {"copy/move", 4, CopyMoveDelete},
                                        {"tidy", 4, Tidy},
                                        {"impersonate", 3, Impersonate},
                                        {"names", 3, Names},
                                        {"convert ids", 3, ConvertIds},
                                        {"beside", 3, Beside}};
  return jobs;
}

void Configure(TVqEWSServiceSession& session, const SoakServer& server, const std::string& user, std::mt19937& random) {
  static constexpr const char* kZones[] = {"", "W. Europe Standard Time", "Pacific Standard Time", "UTC"};
  session.SetServiceUrl(random() % 2 == 0 ? server.HttpUrl() : server.HttpsUrl());
  session.SetCAFile(server.CAFile());
  session.SetStrictSchema(random() % 2 == 0);
  session.SetCurrentTimeZoneContext(kZones[random() % std::size(kZones)]);
  session.SetTimeOuts({2000, 2000, 2000});
  session.GetCredentials().SetUserName(user);
  session.GetCredentials().SetPassword(kPassword);
}

}  // namespace soak
