// Calls by chance, with a plain model beside them: what an application does with messages,
// contacts, tasks and appointments, objects that it holds for
// long, other writers, and a failure at any request. After each call the server holds what the model says; after one
// that failed nothing is lost or doubled, and doing it again brings about what was wanted. VELMORE_SEED plays a round
// again, VELMORE_SECONDS searches for longer.

#include <algorithm>
#include <functional>
#include <iostream>

#include "tests/support/ServerFailures.h"
#include "tests/wire/RandomCallsTestSupport.h"
#include "tests/wire/RandomRunTestSupport.h"

namespace velmore::testing {
namespace {

/// How a session sends its requests, and what its server takes.
enum class Form { own, schema, healing };

constexpr int kSteps = 60;
constexpr std::size_t kMostItems = 25;
constexpr std::size_t kMostHeld = 6;

struct TPlace {
  const char* Name;
  TDistinguishedFolderIdName Id;
  TKind Kind;
  TItemType Type;
};
constexpr TPlace kPlaces[] = {{"drafts", dfindrafts, TKind::mail, tMessage},
                              {"inbox", dfininbox, TKind::mail, tMessage},
                              {"junkemail", dfinjunkemail, TKind::mail, tMessage},
                              {"contacts", dfincontacts, TKind::contact, tContact},
                              {"tasks", dfintasks, TKind::task, tTask},
                              {"calendar", dfincalendar, TKind::appointment, tCalendarItem}};

simulator::Options OptionsOf(Form form) {
  simulator::Options options = TwoUsers();
  options.accept_departures = form != Form::healing;
  options.keep_exchanges = 50;
  return options;
}

class RandomCalls : public SaveTest, public ::testing::WithParamInterface<Form> {
 protected:
  RandomCalls() : SaveTest(OptionsOf(GetParam())) {
    Configure(FObserver);
    FObserver.SetStrictSchema(true);
    FObserver.SetActive(true);
    FTruth = FObserver.OpenDefaultMsgStore();
  }

  void Play(unsigned seed);

  int FCalls = 0, FFailed = 0;

  using Id = std::string;

  // ---- Chance

  unsigned Below(std::size_t count) { return static_cast<unsigned>(FRandom() % count); }
  bool OneIn(unsigned count) { return Below(count) == 0; }
  const TPlace& AnyPlace() { return kPlaces[Below(std::size(kPlaces))]; }
  /// One where an item may go.
  const TPlace& AnyPlace(TKind kind) {
    for (;;)
      if (const TPlace& place = AnyPlace(); place.Kind == kind) return place;
  }
  static const TPlace& Place(const std::string& name) {
    return *std::ranges::find_if(kPlaces, [&](const TPlace& place) { return place.Name == name; });
  }
  /// Any of the items; there must be one.
  Id AnyItem() { return std::next(FItems.begin(), Below(FItems.size()))->first; }
  std::string Name(const char* kind) { return kind + std::to_string(++FSerial); }

  // ---- The truth, seen by a session that nothing happens to

  TVqRef<IVqEWSItem> Fresh(const Id& id) { return FTruth->GetItem(TItemId{id, ""}); }
  std::optional<TItemState> TruthOf(const Id& id) {
    try {
      return StateOf(*Fresh(id));
    } catch (const EEWSException& refusal) {
      EXPECT_TRUE(refusal.Message().StartsWith("ErrorItemNotFound")) << refusal.what();
      return {};
    }
  }
  /// What every write moves.
  std::string KeyOf(const Id& id) { return Fresh(id)->GetID().ChangeKey.utf8(); }
  /// An object as it is loaded.
  THeldItem Loaded(const TVqRef<IVqEWSItem>& item, const Id& id) {
    THeldItem held;
    held.Item = item;
    held.Id = id;
    held.Loaded = FItems.at(id).State.Values;
    held.LoadedFiles = FItems.at(id).State.Files;
    held.Key = KeyOf(id);
    return held;
  }
  std::set<Id> IdsIn(const std::string& folder) {
    const auto items = FTruth->GetFolder(Place(folder).Id, "")->GetItems();
    items->GetFields().Add(FLD_ITEM_ITEMID);
    items->SetMaxEntriesPerPage(100);
    std::set<Id> ids;
    for (items->Open(); !items->Eof(); items->Next()) ids.insert(items->GetItemId().Id.utf8());
    return ids;
  }
  /// Items of a folder that the model does not know: what came of a call whose answer was lost.
  std::set<Id> Strangers(const std::string& folder) {
    std::set<Id> ids = IdsIn(folder);
    std::erase_if(ids, [&](const Id& id) { return FItems.contains(id); });
    return ids;
  }
  void ExpectTruth(const Id& id, const char* what) {
    const auto now = TruthOf(id);
    ASSERT_TRUE(now) << what << ": the item is gone";
    EXPECT_EQ(Shown(*now), Shown(FItems.at(id).State)) << what;
  }
  void CheckAll() {
    for (const TPlace& place : kPlaces) {
      std::set<Id> expected;
      for (const auto& [id, mail] : FItems)
        if (mail.Folder == place.Name) expected.insert(id);
      EXPECT_EQ(IdsIn(place.Name), expected) << place.Name;
    }
    for (const auto& [id, mail] : FItems) ExpectTruth(id, "the whole mailbox");
  }
  /// The model takes over what the server has.
  void Adopt(const Id& id, const std::string& folder) {
    const auto now = TruthOf(id);
    ASSERT_TRUE(now);
    TModelItem& mail = FItems[id];
    mail = {folder, *now};
  }
  void Forget(const Id& id) {
    FItems.erase(id);
    std::erase_if(FHeld, [&](const THeldItem& held) { return held.Id == id; });
  }

  // ---- Failures

  /// One of the next requests fails, or none does.
  void DrawFault() {
    if (!OneIn(3)) return;
    simulator::Fault fault;
    fault.skip = static_cast<int>(Below(6));
    fault.execute = OneIn(2);
    switch (Below(7)) {
      case 0:
      case 1:
        fault.close_before_reply = true;
        break;
      case 2:
        fault.execute = true;
        fault.cut_at_byte = 200 + static_cast<std::int64_t>(Below(400));
        break;
      case 3:
        fault.http_status = OneIn(2) ? 503 : 502;
        break;
      case 4:
        fault.execute = false;  // a refusal carries nothing out
        fault.soap_fault_code = OneIn(2) ? "ErrorServerBusy" : "ErrorInternalServerError";
        break;
      case 5:
        fault.execute = false;
        fault.response_code = "ErrorInternalServerTransientError";
        break;
      default:
        fault.replace_body = true;
        fault.body = OneIn(2) ? "" : "<html><body>Log on</body></html>";
    }
    Server().AddFault(fault);
    FDrawn = true;
  }
  enum class Outcome { done, failed };
  /// Does something that may fail when a failure was drawn, or be refused with a code.
  Outcome Call(const std::function<void()>& action, const std::set<std::string>& refusals = {}) {
    ++FCalls;
    Outcome outcome = Outcome::done;
    try {
      action();
    } catch (const std::exception& failure) {
      outcome = Outcome::failed;
      ++FFailed;
      const std::string text = failure.what();
      const bool played = FDrawn && Server().PendingFaults() == 0;
      EXPECT_TRUE(played || refusals.contains(text.substr(0, text.find(" (")))) << FStep << ": " << text;
      EXPECT_TRUE(IsDocumentedOfServers(failure)) << FStep << ": " << text;
    }
    Server().ClearFaults();
    FDrawn = false;
    return outcome;
  }

  // ---- What an application does

  void DrawEdits(THeldItem& held, unsigned most) {
    for (unsigned i = 1 + Below(most); i > 0; --i) {
      const std::vector<TItemField>& fields = FieldsOf(KindOf(*held.Item));
      const TItemField& field = fields[Below(fields.size())];
      const std::string value = field.Draw(FRandom);
      if (held.Id.empty() && value.empty()) continue;  // a new item has nothing to be taken away
      field.Write(*held.Item, value);
      held.Pending[field.Name] = value;
    }
  }
  void DrawFiles(THeldItem& held) {
    for (unsigned i = Below(3); i > 0; --i) {
      const std::string name = Name("file "), content = Name("content ") + std::string(Below(2000), 'x');
      Attach(*held.Item, name, content);
      held.Added[name] = content;
    }
    TVqEWSAttachments& list = held.Item->GetAttachments();
    for (std::int32_t i = list.Count() - 1; i >= 0 && !held.Id.empty(); --i) {
      const std::string name = list.GetAttachment(i)->GetName().utf8();
      if (held.Added.contains(name)) continue;
      const auto renamed = std::ranges::find(held.Renamed, name, [](const auto& pair) { return pair.second; });
      const std::string before = renamed == held.Renamed.end() ? name : renamed->first;
      if (OneIn(5)) {
        list.DeleteAttachment(i);
        held.Removed.insert(before);
        held.Renamed.erase(before);
      } else if (OneIn(5)) {
        held.Renamed[before] = Name("renamed ");
        list.GetAttachment(i)->SetName(held.Renamed[before]);
      }
    }
  }

  /// A file that was renamed here, and that somebody else took away before it was ever read, cannot be had.
  std::set<std::string> RefusalsOf(const THeldItem& held) {
    const TFiles& files = FItems.at(held.Id).State.Files;
    const bool gone = std::ranges::any_of(held.Renamed, [&](const auto& pair) { return !files.contains(pair.first); });
    return gone ? std::set<std::string>{"ErrorItemNotFound"} : std::set<std::string>{};
  }

  void Create();
  void Save(THeldItem& held, TVqEWSSaveOption option);
  void SaveUntilDone(THeldItem held);
  void Edit();
  void Hold();
  void Others();
  void Read();
  void List();
  void Copy();
  void Move();
  void Delete();
  void Send();
  void Import();

  TVqEWSServiceSession FObserver;
  TVqRef<IVqEWSMsgStore> FTruth;
  std::mt19937 FRandom;
  std::map<Id, TModelItem> FItems;
  std::vector<THeldItem> FHeld;
  unsigned FSerial = 0;
  bool FDrawn = false;
  const char* FStep = "";
};

// A new item that fails to be saved stands on the server once or not at all, and has what was set.
void RandomCalls::Create() {
  // A message goes to the drafts wherever it is made; half of what is made are messages.
  const TPlace& place = OneIn(2) ? kPlaces[0] : AnyPlace();
  const std::string at = place.Kind == TKind::mail ? "drafts" : place.Name;
  THeldItem held;
  held.Item = Folder(Place(at).Id)->CreateItem(place.Type);
  DrawEdits(held, 6);
  DrawFiles(held);
  DrawFault();
  const bool done = Call([&] { held.Item->SaveChanges(soAutoResolve); }) == Outcome::done;
  held.Id = held.Item->GetID().Id.utf8();
  const std::set<Id> made = Strangers(at);
  ASSERT_LE(made.size(), 1u) << "made twice";
  if (done || !held.Id.empty()) {
    ASSERT_EQ(made, std::set<Id>{held.Id});
  }
  if (made.empty()) return;
  const Id id = *made.begin();
  Adopt(id, at);
  const TItemState& state = FItems[id].State;
  for (const auto& [name, value] : held.Pending) EXPECT_EQ(state.Values.at(name), value) << name;
  for (const auto& [name, content] : state.Files) EXPECT_EQ(held.Added.at(name), content) << name;
  if (done) {
    EXPECT_EQ(state.Files, held.Added);
    EXPECT_EQ(Shown(StateOf(*held.Item)), Shown(state)) << "the object says what the server has";
  }
  if (held.Id.empty()) return;
  held.Unsure = !done;
  if (done) {
    held = Loaded(held.Item, id);
    if (OneIn(2)) FHeld.push_back(held);
  } else {
    SaveUntilDone(held);
  }
}

void RandomCalls::Save(THeldItem& held, TVqEWSSaveOption option) {
  TModelItem& mail = FItems.at(held.Id);
  const TItemState before = mail.State;
  const bool stale = held.Key != KeyOf(held.Id);
  const bool mayConflict = stale && option != soAlwaysOverwrite;
  std::set<std::string> refusals = RefusalsOf(held);
  if (mayConflict) refusals.insert("ErrorIrresolvableConflict");
  bool conflict = false;
  const auto save = [&] {
    try {
      held.Item->SaveChanges(option);
    } catch (const EEWSException& refusal) {
      conflict = refusal.Message().StartsWith("ErrorIrresolvableConflict");
      throw;
    }
  };
  const bool done = Call(save, refusals) == Outcome::done;
  const auto now = TruthOf(held.Id);
  ASSERT_TRUE(now) << "the item is gone";
  const TItemState after = held.After(before, *now);
  if (done) {
    TItemState expected = after;
    // A deletion that the server refused is told, and the file stays as it is.
    if (!held.Item->GetRefusedDeletions().empty()) {
      EXPECT_EQ(ViolationOfFailedSave(held, before, *now), "");
      expected.Files = now->Files;
    }
    // A file that somebody else took away meanwhile, and that was renamed here, is there under its new name.
    for (const auto& [from, to] : held.Renamed)
      if (!before.Files.contains(from) && now->Files.contains(to)) expected.Files[to] = held.LoadedFiles.at(from);
    EXPECT_EQ(Shown(*now), Shown(expected))
        << "loaded: " << Shown({held.Loaded, held.LoadedFiles}) << "\nset: " << Shown({held.Pending, held.Added});
    EXPECT_EQ(Shown(StateOf(*held.Item)), Shown(*now)) << "the object says what the server has";
    if (stale && option == soNeverOverwrite && !held.Unsure) {
      EXPECT_EQ(held.Changes(), TFieldValues{}) << "the second of two writers is refused";
    }
    mail.State = *now;
    held = Loaded(held.Item, held.Id);
    return;
  }
  EXPECT_EQ(ViolationOfFailedSave(held, before, *now), "")
      << "before: " << Shown(before) << "\nnow: " << Shown(*now) << "\nwanted: " << Shown(after);
  if (conflict && !held.Unsure) {
    EXPECT_EQ(Shown(*now), Shown(before)) << "a refused save changes nothing";
  }
  mail.State = *now;
  held.Unsure = true;
}

// What the guide teaches: the object that failed is saved again, and all is as it was to be.
void RandomCalls::SaveUntilDone(THeldItem held) {
  for (int i = 0; i < 2; ++i) {
    if (i == 0 && OneIn(2)) DrawFault();
    TModelItem& mail = FItems.at(held.Id);
    const TItemState before = mail.State;
    // Files that were made by the failed save are there already.
    bool done = false;
    std::string refused;
    const auto save = [&] {
      held.Item->SaveChanges(soAlwaysOverwrite);
      if (!held.Item->GetRefusedDeletions().empty()) refused = "some";
    };
    done = Call(save, RefusalsOf(held)) == Outcome::done;
    const auto now = TruthOf(held.Id);
    ASSERT_TRUE(now);
    TItemState wanted = held.After(before, *now);
    if (done && refused.empty()) {
      // A renamed file may be on its new place already.
      for (const auto& [from, to] : held.Renamed) {
        const auto file = now->Files.find(to);
        if (file != now->Files.end()) wanted.Files[to] = file->second;
      }
      EXPECT_EQ(Shown(*now), Shown(wanted));
      EXPECT_EQ(Shown(StateOf(*held.Item)), Shown(*now));
    }
    mail.State = *now;
    if (done) return;
  }
}

void RandomCalls::Edit() {
  if (FHeld.empty()) return Hold();
  const std::size_t at = Below(FHeld.size());
  THeldItem held = FHeld[at];
  FHeld.erase(FHeld.begin() + static_cast<std::ptrdiff_t>(at));
  DrawEdits(held, 4);
  DrawFiles(held);
  if (OneIn(3)) {  // not saved yet
    FHeld.push_back(held);
    return;
  }
  Save(held, static_cast<TVqEWSSaveOption>(Below(3)));
  if (HasFatalFailure()) return;
  if (!held.Unsure) {
    if (OneIn(2)) FHeld.push_back(held);
    return;
  }
  if (OneIn(4)) return;  // the application gives up
  SaveUntilDone(held);
}

void RandomCalls::Hold() {
  if (FItems.empty() || FHeld.size() >= kMostHeld) return;
  const Id id = AnyItem();
  TVqRef<IVqEWSItem> item;
  DrawFault();
  if (Call([&] { item = Store().GetItem(TItemId{id, ""}); }) == Outcome::failed) return;
  FHeld.push_back(Loaded(item, id));
}

// Somebody else writes to a message.
void RandomCalls::Others() {
  if (FItems.empty()) return;
  const Id id = AnyItem();
  THeldItem theirs = Loaded(Fresh(id), id);
  DrawEdits(theirs, 2);
  theirs.Item->SaveChanges(soAlwaysOverwrite);
  FItems[id].State = theirs.After(FItems[id].State, *TruthOf(id));
  ExpectTruth(id, "written by somebody else");
}

// Reading gives what is there, and a save behind it changes nothing.
void RandomCalls::Read() {
  if (FItems.empty()) return;
  const Id id = AnyItem();
  DrawFault();
  TItemState state;
  TVqRef<IVqEWSItem> item;
  const auto read = [&] {
    item = Store().GetItem(TItemId{id, ""});
    state = StateOf(*item);
  };
  if (Call(read) == Outcome::failed) return;
  EXPECT_EQ(Shown(state), Shown(FItems[id].State));
  if (!OneIn(3)) return;
  item->SaveChanges(soNeverOverwrite);
  ExpectTruth(id, "saved without a change");
}

void RandomCalls::List() {
  const TPlace& place = AnyPlace();
  const std::string value = OneIn(2) ? "High" : "";
  std::multiset<std::string> found, expected;
  DrawFault();
  const auto list = [&] {
    const auto items = Folder(place.Id)->GetItems();
    items->GetFields().Add(FLD_ITEM_SUBJECT);
    items->SetMaxEntriesPerPage(1 + static_cast<std::int32_t>(Below(7)));
    if (!value.empty()) {
      const auto filter = Supports<IVqEWSRestrictionCompare>(items->CreateRestriction(rtCompare));
      filter->SetFieldDef(FLD_ITEM_IMPORTANCE);
      filter->SetCompareOperator(opIsEqualTo);
      filter->SetTextValue(value);
      items->Filter(filter);
    }
    for (items->Open(); !items->Eof(); items->Next())
      found.insert(items->GetItemId().Id.utf8() + " " +
                   (place.Kind == TKind::contact ? "" : items->FieldByName(FLD_ITEM_SUBJECT).GetAsString().utf8()));
  };
  if (Call(list) == Outcome::failed) return;
  for (const auto& [id, mail] : FItems) {
    if (mail.Folder != place.Name || (!value.empty() && mail.State.Values.at("Importance") != value)) continue;
    // A contact is named by its server.
    expected.insert(id + " " + (place.Kind == TKind::contact ? "" : mail.State.Values.at("Subject")));
  }
  EXPECT_EQ(found, expected) << place.Name;
}

// A copy stands there once, or not at all when the copying failed; the original stays as it is.
void RandomCalls::Copy() {
  if (FItems.empty() || FItems.size() >= kMostItems) return;
  const Id id = AnyItem();
  const std::string target = AnyPlace(Place(FItems[id].Folder).Kind).Name;
  DrawFault();
  Id told;
  const auto copy = [&] {
    const TItemId folder = Folder(Place(target).Id)->GetID();
    told = Folder(Place(FItems[id].Folder).Id)->CopyItem(TItemId{id, ""}, folder).Id.utf8();
  };
  const bool done = Call(copy) == Outcome::done;
  const std::set<Id> made = Strangers(target);
  if (done) {
    ASSERT_EQ(made, std::set<Id>{told});
  }
  ASSERT_LE(made.size(), 1u);
  for (const Id& each : made) {
    Adopt(each, target);
    EXPECT_EQ(Shown(FItems[each].State), Shown(FItems[id].State)) << "the copy";
  }
  ExpectTruth(id, "the original");
}

// A move that failed leaves the item at its place, at the other, or at both.
void RandomCalls::Move() {
  if (FItems.empty()) return;
  const Id id = AnyItem();
  const TModelItem before = FItems[id];
  const std::string target = AnyPlace(Place(before.Folder).Kind).Name;
  DrawFault();
  Id told;
  const auto move = [&] {
    const TItemId folder = Folder(Place(target).Id)->GetID();
    told = Folder(Place(before.Folder).Id)->MoveItem(TItemId{id, ""}, folder).Id.utf8();
  };
  const bool done = Call(move) == Outcome::done;
  const std::set<Id> made = Strangers(target);
  const bool stays = TruthOf(id).has_value();
  ASSERT_LE(made.size(), 1u);
  EXPECT_TRUE(stays || !made.empty()) << "the item is lost";
  if (done) {
    EXPECT_FALSE(stays);
    EXPECT_EQ(made, std::set<Id>{told});
  }
  if (!stays) Forget(id);
  for (const Id& each : made) {
    Adopt(each, target);
    EXPECT_EQ(Shown(FItems[each].State), Shown(before.State)) << "the moved item";
  }
}

void RandomCalls::Delete() {
  if (FItems.empty()) return;
  const Id id = AnyItem();
  DrawFault();
  const bool done = Call([&] {
                      Folder(Place(FItems[id].Folder).Id)->DeleteItem(TItemId{id, ""}, dtHardDelete);
                    }) == Outcome::done;
  const auto now = TruthOf(id);
  EXPECT_FALSE(done && now);
  if (now) {
    ExpectTruth(id, "a deletion that failed");
  } else {
    Forget(id);
  }
}

// A message that is saved goes out once; when sending failed it went out and its draft is gone, or it did not and the
// draft is there.
void RandomCalls::Send() {
  const TVqRef<IVqEWSEMail> mail = NewMail();
  THeldItem held;
  held.Item = mail;
  DrawEdits(held, 3);
  DrawFiles(held);
  const auto to = mail->GetToRecipients();
  to->Clear();
  to->AddMailbox("", kBob);
  held.Pending["To"] = kBob;
  const bool savedFirst = OneIn(2);
  if (savedFirst) {
    held.Item->SaveChanges(soAutoResolve);
    held.Id = held.Item->GetID().Id.utf8();
    Adopt(held.Id, "drafts");
  }
  const std::size_t before = Server().CountItems(kBob, "inbox"), sent = Server().CountItems(kAlice, "sentitems");
  const bool copy = OneIn(2);
  DrawFault();
  const bool done = Call([&] { mail->SubmitMessage(copy); }) == Outcome::done;
  const std::size_t arrived = Server().CountItems(kBob, "inbox") - before;
  ASSERT_LE(arrived, 1u) << "it went out twice";
  if (done) {
    EXPECT_EQ(arrived, 1u);
    EXPECT_EQ(Server().CountItems(kAlice, "sentitems") - sent, copy ? 1u : 0u);
  }
  const std::set<Id> left = Strangers("drafts");
  ASSERT_LE(left.size(), 1u);
  for (const Id& id : left) {  // saved on the way, and not sent
    EXPECT_EQ(arrived, 0u);
    EXPECT_FALSE(done);
    Adopt(id, "drafts");
  }
  if (!savedFirst) return;
  const auto draft = TruthOf(held.Id);
  EXPECT_EQ(draft.has_value(), arrived == 0u);
  if (draft) {
    EXPECT_EQ(Shown(*draft), Shown(FItems[held.Id].State));
  } else {
    Forget(held.Id);
  }
}

void RandomCalls::Import() {
  if (FItems.size() >= kMostItems) return;
  const TPlace& place = AnyPlace(TKind::mail);
  const std::string subject = Name("Import ");
  DrawFault();
  const bool done = Call([&] {
                      TVqMemoryStream stream(MimeOf(subject));
                      TVqEWSMessageFlags flags;
                      flags.Include(msgflgUnsent);  // a draft, whose recipients can be changed
                      Folder(place.Id)->ImportItem(stream, flags);
                    }) == Outcome::done;
  const std::set<Id> made = Strangers(place.Name);
  ASSERT_LE(made.size(), 1u);
  EXPECT_FALSE(done && made.empty());
  for (const Id& id : made) {
    Adopt(id, place.Name);
    EXPECT_EQ(FItems[id].State.Values["Subject"], subject);
  }
}

void RandomCalls::Play(unsigned seed) {
  Session().SetStrictSchema(GetParam() == Form::schema);
  Session().SetSchemaFallback(GetParam() == Form::healing);
  Store();
  FRandom.seed(seed);
  static constexpr struct {
    const char* Name;
    void (RandomCalls::*Do)();
    int Weight;
  } kCalls[] = {
      {"create", &RandomCalls::Create, 3}, {"edit", &RandomCalls::Edit, 8},    {"hold", &RandomCalls::Hold, 4},
      {"others", &RandomCalls::Others, 2}, {"read", &RandomCalls::Read, 3},    {"list", &RandomCalls::List, 2},
      {"copy", &RandomCalls::Copy, 2},     {"move", &RandomCalls::Move, 2},    {"delete", &RandomCalls::Delete, 2},
      {"send", &RandomCalls::Send, 2},     {"import", &RandomCalls::Import, 1}};
  int all = 0;
  for (const auto& call : kCalls) all += call.Weight;
  for (int step = 0; step < kSteps && !HasFailure(); ++step) {
    int drawn = static_cast<int>(Below(static_cast<std::size_t>(all)));
    const auto* call = kCalls;
    while ((drawn -= call->Weight) >= 0) ++call;
    FStep = call->Name;
    SCOPED_TRACE("step " + std::to_string(step) + ": " + call->Name);
    if (call->Do == &RandomCalls::Create && FItems.size() >= kMostItems) continue;
    (this->*call->Do)();
  }
  if (!HasFailure()) CheckAll();
  FHeld.clear();
}

TEST_P(RandomCalls, DoWhatTheModelSays) {
  TRandomRun run(2);
  do {
    const unsigned seed = run.NextSeed();
    SCOPED_TRACE("VELMORE_SEED=" + std::to_string(seed));
    Play(seed);
    if (HasFailure()) break;
    // The mailbox of the next round is another one.
    for (const TPlace& place : kPlaces)
      for (const std::string& id : IdsIn(place.Name))
        FTruth->GetFolder(place.Id, "")->DeleteItem(TItemId{id, ""}, dtHardDelete);
    FItems.clear();
  } while (run.GoesOn());
  std::cout << "[  NOTE    ] " << FCalls << " calls, " << FFailed << " of them failed\n";
  EXPECT_GT(FFailed * 10, FCalls) << "failures are played";
}

std::string NameOf(const ::testing::TestParamInfo<Form>& form) {
  static constexpr const char* kNames[] = {"Own", "Schema", "Healing"};
  return kNames[static_cast<int>(form.param)];
}

void PrintTo(Form form, std::ostream* out) {
  *out << static_cast<int>(form);
}

INSTANTIATE_TEST_SUITE_P(Forms, RandomCalls, ::testing::Values(Form::own, Form::schema, Form::healing), NameOf);

}  // namespace
}  // namespace velmore::testing
