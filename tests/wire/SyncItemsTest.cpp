// What has changed among the items of a folder since last time: requests, pages, states, failures.

#include <random>

#include "tests/wire/RandomRunTestSupport.h"
#include "tests/wire/SyncTestSupport.h"

namespace velmore::testing {
namespace {

class SyncItems : public SyncTest {
 protected:
  using SyncTest::SyncTest;

  std::string RequestFor(const std::string& state, const std::string& rest = {}) {
    return "<m:SyncFolderItems><m:ItemShape><t:BaseShape>IdOnly</t:BaseShape><t:AdditionalProperties><t:FieldURI "
           "FieldURI=\"item:Subject\"/></t:AdditionalProperties></m:ItemShape><m:SyncFolderId>" +
           IdElement("FolderId", Inbox()->GetID()) + "</m:SyncFolderId>" +
           (state.empty() ? "" : "<m:SyncState>" + state + "</m:SyncState>") + rest + "</m:SyncFolderItems>";
  }
  /// One page of an answer.
  static std::string Page(const std::string& state, bool last, const std::string& changes) {
    return ReplyOf("SyncFolderItems", "<m:SyncState>" + state + "</m:SyncState><m:IncludesLastItemInRange>" +
                                          (last ? "true" : "false") + "</m:IncludesLastItemInRange><m:Changes>" +
                                          changes + "</m:Changes>");
  }
  static std::string Created(const std::string& id, const std::string& subject) {
    return "<t:Create><t:Message><t:ItemId Id=\"" + id + "\" ChangeKey=\"k\"/><t:Subject>" + subject +
           "</t:Subject></t:Message></t:Create>";
  }
};

TEST_F(SyncItems, TheBeginningTellsEverythingAsCreatedAndAsksForTheColumns) {
  AddMessage("One");
  AddMessage("Two");
  const auto changes = VqChangesOf(*Inbox(), "", FLD_ITEM_SUBJECT);
  EXPECT_EQ(Sent([&] { EXPECT_EQ(Told(changes), "+ One, + Two"); }), Names{"SyncFolderItems"});
  EXPECT_EQ(Request("SyncFolderItems"), RequestFor("", "<m:MaxChangesReturned>512</m:MaxChangesReturned>"));
  EXPECT_NE(changes->GetState(), "");
}

TEST_F(SyncItems, NothingIsAskedBeforeItIsOpened) {
  const auto inbox = Inbox();
  EXPECT_EQ(Sent([&] {
              const auto changes = inbox->SyncItems("state");
              EXPECT_EQ(changes->GetState(), "state");
              EXPECT_TRUE(changes->Eof());
              EXPECT_EQ(changes->GetMaxChangesPerPage(), 512);
              changes->Next();
              EXPECT_TRUE(changes->Eof());
            }),
            Names{});
}

TEST_F(SyncItems, WithoutColumnsTheIdsAloneAreAskedFor) {
  const TItemId id = AddMessage("One");
  const auto changes = Inbox()->SyncItems("");
  changes->Open();
  EXPECT_NE(Request("SyncFolderItems").find("<m:ItemShape><t:BaseShape>IdOnly</t:BaseShape></m:ItemShape>"),
            std::string::npos);
  EXPECT_EQ(changes->GetItemId(), id);
}

TEST_F(SyncItems, EachKindOfChangeIsToldAsWhatItIs) {
  const TItemId one = AddMessage("One"), two = AddMessage("Two"), three = AddMessage("Three");
  const auto changes = VqChangesOf(*Inbox(), "", FLD_ITEM_SUBJECT);
  Told(changes);
  const string state = changes->GetState();
  Rename(one, "One, changed");
  Read(two, true);
  Delete(three);
  AddMessage("Four");
  EXPECT_EQ(Told(VqChangesOf(*Inbox(), state, FLD_ITEM_SUBJECT)), "~ One, changed, read, -, + Four");
  Read(two, false);
  EXPECT_EQ(Told(VqChangesOf(*Inbox(), state, FLD_ITEM_SUBJECT)), "~ One, changed, -, + Four, unread");

  // The ids, and what there is of each.
  const auto again = VqChangesOf(*Inbox(), state, FLD_ITEM_SUBJECT, FLD_MESSAGE_ISREAD);
  again->Open();
  EXPECT_EQ(again->GetItemId().Id, one.Id);
  EXPECT_NE(again->GetItemId().ChangeKey, one.ChangeKey);
  EXPECT_EQ(again->GetElement().GetLocalName(), "Message");
  EXPECT_TRUE(again->HasField(FLD_ITEM_SUBJECT));
  EXPECT_FALSE(again->HasField(FLD_ITEM_SIZE));
  EXPECT_EQ(TEwsMessage(again->GetElement()).GetSubject(), "One, changed");
  EXPECT_EQ(MessageOf<EVqException>([&] { again->GetIsRead(); }),
            "The change does not tell by itself whether the item was read: ask for the column.");
  again->Next();
  EXPECT_EQ(again->GetKind(), TVqEWSChangeKind::deleted);
  EXPECT_EQ(again->GetItemId().Id, three.Id);
  EXPECT_FALSE(again->GetElement());
  EXPECT_FALSE(again->HasField(FLD_ITEM_SUBJECT));
  EXPECT_EQ(MessageOf<EVqException>([&] { again->FieldByName(FLD_ITEM_SUBJECT).GetAsString(); }), "There is no data!");
  again->Next();
  again->Next();
  EXPECT_EQ(again->GetKind(), TVqEWSChangeKind::readChanged);
  EXPECT_EQ(again->GetItemId().Id, two.Id);
  EXPECT_FALSE(again->GetIsRead());
  EXPECT_FALSE(again->HasField(FLD_MESSAGE_ISREAD));
  again->Next();
  EXPECT_TRUE(again->Eof());
  EXPECT_EQ(MessageOf<EVqException>([&] { again->GetKind(); }), "There is no data!");
  EXPECT_EQ(MessageOf<EVqException>([&] { again->GetItemId(); }), "There is no data!");
  EXPECT_FALSE(again->HasField(FLD_ITEM_SUBJECT));
}

TEST_F(SyncItems, AnItemIsLoadedWhenItIsAskedFor) {
  AddMessage("Hello");
  const auto inbox = Inbox();
  for (const auto change : VqChangesOf(*inbox, "")) {
    TVqRef<IVqEWSItem> item;
    EXPECT_EQ(Sent([&] { item = change.Item(); }), (Names{"GetItem", "GetItem"}));
    EXPECT_TRUE(Supports<IVqEWSEMail>(item));
    EXPECT_EQ(item->GetSubject(), "Hello");
  }
}

TEST_F(SyncItems, ItemsOfEveryKindHaveTheirColumns) {
  AddItem("contacts",
          "<t:Contact><t:FileAs>Birch</t:FileAs><t:GivenName>Bob</t:GivenName><t:Subject>B</t:Subject></t:Contact>");
  const auto contacts = Folder(dfincontacts);
  for (const auto change : VqChangesOf(*contacts, "", FLD_CONTACTS_GIVENNAME, FLD_ITEM_SUBJECT, FLD_MESSAGE_ISREAD)) {
    EXPECT_EQ(change.Element().GetLocalName(), "Contact");
    EXPECT_EQ(change[FLD_CONTACTS_GIVENNAME].GetAsString(), "Bob");
    EXPECT_FALSE(change.Has(FLD_MESSAGE_ISREAD));
    EXPECT_FALSE(change[FLD_MESSAGE_ISREAD].GetAsBoolean());  // what it lacks is empty, and making it is no change
    EXPECT_FALSE(change.Has(FLD_MESSAGE_ISREAD));
  }
}

// ---- Pages

TEST_F(SyncItems, PagesFollowEachOtherUntilTheEndAndOneIsHeldAtATime) {
  for (int i = 0; i < 5; ++i) AddMessage(std::to_string(i));
  const auto changes = VqChangesOf(*Inbox(), "", FLD_ITEM_SUBJECT);
  changes->SetMaxChangesPerPage(2);
  EXPECT_EQ(Sent([&] { EXPECT_EQ(Told(changes), "+ 0, + 1, + 2, + 3, + 4"); }), Names(3, "SyncFolderItems"));
  const Names requests = Requests("SyncFolderItems");
  EXPECT_EQ(requests[0], RequestFor("", "<m:MaxChangesReturned>2</m:MaxChangesReturned>"));
  EXPECT_NE(requests[1].find("<m:SyncState>"), std::string::npos);
  EXPECT_NE(requests[1], requests[2]);
}

TEST_F(SyncItems, TheStateCoversThePagesThatWereGonePast) {
  for (int i = 0; i < 4; ++i) AddMessage(std::to_string(i));
  const auto changes = VqChangesOf(*Inbox(), "", FLD_ITEM_SUBJECT);
  changes->SetMaxChangesPerPage(2);
  changes->Open();
  EXPECT_EQ(changes->GetState(), "");
  changes->Next();
  EXPECT_EQ(changes->GetState(), "") << "in the middle of a page";
  changes->Next();
  const string first = changes->GetState();
  EXPECT_NE(first, "");
  changes->Next();
  EXPECT_EQ(changes->GetState(), first);
  // A loop that was left begins again where the state stands, without a request.
  EXPECT_EQ(Sent([&] { EXPECT_EQ(Told(changes), "+ 2, + 3"); }), Names{});
  EXPECT_NE(changes->GetState(), first);
  // And so does another run that has the state.
  EXPECT_EQ(Told(VqChangesOf(*Inbox(), first, FLD_ITEM_SUBJECT)), "+ 2, + 3");
}

TEST_F(SyncItems, ASecondLoopAsksWhatCameSince) {
  AddMessage("One");
  const auto changes = VqChangesOf(*Inbox(), "", FLD_ITEM_SUBJECT);
  EXPECT_EQ(Told(changes), "+ One");
  EXPECT_EQ(Sent([&] { EXPECT_EQ(Told(changes), ""); }), Names{"SyncFolderItems"});
  AddMessage("Two");
  EXPECT_EQ(Told(changes), "+ Two");
}

TEST_F(SyncItems, APageThatCannotBeFetchedCostsNothing) {
  for (int i = 0; i < 4; ++i) AddMessage(std::to_string(i));
  const auto changes = VqChangesOf(*Inbox(), "", FLD_ITEM_SUBJECT);
  changes->SetMaxChangesPerPage(2);
  RefuseNext("SyncFolderItems", "ErrorInternalServerTransientError", 1);
  RefuseNext("SyncFolderItems", "ErrorInternalServerTransientError", 1);
  changes->Open();
  changes->Next();
  EXPECT_EQ(CodeOf([&] { changes->Next(); }), "ErrorInternalServerTransientError");
  EXPECT_FALSE(changes->Eof());
  EXPECT_EQ(changes->FieldByName(FLD_ITEM_SUBJECT).GetAsString(), "1") << "the last one stays";
  const string state = changes->GetState();
  EXPECT_NE(state, "") << "the page was gone past";
  EXPECT_EQ(CodeOf([&] { changes->Next(); }), "ErrorInternalServerTransientError");
  EXPECT_EQ(changes->GetState(), state);
  EXPECT_EQ(Told(changes), "+ 2, + 3");
}

TEST_F(SyncItems, ANewStateGoesOnFromThere) {
  AddMessage("One");
  const auto changes = VqChangesOf(*Inbox(), "", FLD_ITEM_SUBJECT);
  Told(changes);
  const string state = changes->GetState();
  AddMessage("Two");
  changes->Open();
  changes->SetState("");
  EXPECT_TRUE(changes->Eof());
  EXPECT_EQ(Told(changes), "+ One, + Two");
  changes->SetState(state);
  EXPECT_EQ(Told(changes), "+ Two");
}

TEST_F(SyncItems, PagesHaveFrom1To512Changes) {
  const auto changes = Inbox()->SyncItems("");
  for (const int wrong : {0, -1, 513})
    EXPECT_EQ(MessageOf<EVqException>([&] { changes->SetMaxChangesPerPage(wrong); }),
              "A page has from 1 to 512 changes, not " + std::to_string(wrong) + ".");
  EXPECT_EQ(changes->GetMaxChangesPerPage(), 512);
  changes->SetMaxChangesPerPage(1);
  EXPECT_EQ(changes->GetMaxChangesPerPage(), 1);
}

TEST_F(SyncItems, PagesWithoutChangesAreGonePast) {
  const auto changes = VqChangesOf(*Inbox(), "", FLD_ITEM_SUBJECT);
  AnswerNext("SyncFolderItems", Page("a", false, ""));
  AnswerNext("SyncFolderItems", Page("b", false, "<t:Nonsense/>"));  // of a newer server
  AnswerNext("SyncFolderItems", Page("c", false, Created("1", "One")));
  AnswerNext("SyncFolderItems", Page("d", true, ""));
  EXPECT_EQ(Told(changes), "+ One");
  EXPECT_EQ(changes->GetState(), "d");
}

TEST_F(SyncItems, APageBehindAnEmptyOneThatCannotBeFetchedIsTriedAgain) {
  const auto changes = VqChangesOf(*Inbox(), "", FLD_ITEM_SUBJECT);
  AnswerNext("SyncFolderItems", Page("a", false, Created("1", "One")));
  AnswerNext("SyncFolderItems", Page("b", false, ""));
  changes->Open();
  RefuseNext("SyncFolderItems", "ErrorInternalServerTransientError", 0);
  EXPECT_EQ(CodeOf([&] { changes->Next(); }), "ErrorInternalServerTransientError");
  EXPECT_FALSE(changes->Eof()) << "the end was not reached";
  EXPECT_EQ(changes->FieldByName(FLD_ITEM_SUBJECT).GetAsString(), "One") << "the last one stays";
  EXPECT_EQ(changes->GetState(), "b");
  AnswerNext("SyncFolderItems", Page("c", true, Created("2", "Two")));
  changes->Next();
  ASSERT_FALSE(changes->Eof());
  EXPECT_EQ(changes->FieldByName(FLD_ITEM_SUBJECT).GetAsString(), "Two");
  changes->Next();
  EXPECT_TRUE(changes->Eof());
  EXPECT_EQ(changes->GetState(), "c");
}

TEST_F(SyncItems, AServerThatDoesNotMoveOnIsToldAsThat) {
  for (const std::string& content : {std::string(), Created("1", "One")}) {
    const auto changes = VqChangesOf(*Inbox(), "a", FLD_ITEM_SUBJECT);
    AnswerNext("SyncFolderItems", Page("a", false, content));
    EXPECT_EQ(MessageOf<EVqException>([&] { changes->Open(); }),
              "The server says that more changes follow, and does not move on.");
    EXPECT_TRUE(changes->Eof());
    EXPECT_EQ(changes->GetState(), "a");
  }
}

TEST_F(SyncItems, WhatTheLibraryDoesNotKnowIsAnItemAllTheSame) {
  const auto changes = VqChangesOf(*Inbox(), "", FLD_ITEM_SUBJECT);
  AnswerNext("SyncFolderItems",
             Page("a", true,
                  "<t:Create><t:Hologram><t:ItemId Id=\"h\" ChangeKey=\"k\"/><t:Subject>Light</t:Subject>"
                  "</t:Hologram></t:Create>"));
  changes->Open();
  EXPECT_EQ(changes->GetItemId(), (TItemId{"h", "k"}));
  EXPECT_EQ(changes->FieldByName(FLD_ITEM_SUBJECT).GetAsString(), "Light");
}

TEST_F(SyncItems, AnAnswerWithoutItsPartsIsRefused) {
  const auto changes = VqChangesOf(*Inbox(), "before", FLD_ITEM_SUBJECT);
  for (const char* content : {"<m:IncludesLastItemInRange>true</m:IncludesLastItemInRange><m:Changes/>",
                              "<m:SyncState>a</m:SyncState><m:Changes/>"}) {
    AnswerNext("SyncFolderItems", ReplyOf("SyncFolderItems", content));
    EXPECT_THROW(changes->Open(), EVqXMLError) << content;
    EXPECT_EQ(changes->GetState(), "before");
    EXPECT_TRUE(changes->Eof());
  }
  AnswerNext("SyncFolderItems",
             ReplyOf("SyncFolderItems",
                     "<m:SyncState>a</m:SyncState><m:IncludesLastItemInRange>true</m:IncludesLastItemInRange>"));
  changes->Open();
  EXPECT_TRUE(changes->Eof());
  EXPECT_EQ(changes->GetState(), "a");
}

// ---- States

TEST_F(SyncItems, AStateSurvivesTheSession) {
  AddMessage("One");
  const auto changes = VqChangesOf(*Inbox(), "", FLD_ITEM_SUBJECT);
  Told(changes);
  const std::string kept = changes->GetState().utf8();
  AddMessage("Two");
  TVqEWSServiceSession session;
  Configure(session);
  session.SetActive(true);
  const auto inbox = session.OpenDefaultMsgStore()->GetFolder(dfininbox, "");
  EXPECT_EQ(Told(VqChangesOf(*inbox, kept, FLD_ITEM_SUBJECT)), "+ Two");
}

TEST_F(SyncItems, AStateThatTheServerDoesNotTakeHasAnExceptionOfItsOwn) {
  AddMessage("One");
  const string ofFolders = [&] {
    const auto folders = Inbox()->SyncFolders("");
    Told(folders);
    return folders->GetState();
  }();
  for (const string& wrong : {string("nonsense"), string("QUJD"), ofFolders}) {
    const auto changes = VqChangesOf(*Inbox(), wrong, FLD_ITEM_SUBJECT);
    EXPECT_EQ(MessageOf<EVqEWSSyncStateInvalid>([&] { changes->Open(); }),
              "ErrorInvalidSyncStateData (Synchronization state data is corrupt or otherwise invalid.).");
    EXPECT_EQ(changes->GetState(), wrong);
    changes->SetState("");
    EXPECT_EQ(Told(changes), "+ One");
  }
}

TEST_F(SyncItems, AStateThatIsRefusedByAFaultIsToldAsThatToo) {
  const auto changes = VqChangesOf(*Inbox(), "", FLD_ITEM_SUBJECT);
  simulator::Fault fault;
  fault.operation = "SyncFolderItems";
  fault.soap_fault_code = "ErrorInvalidSyncStateData";
  fault.message_text = "It is old.";
  Server().AddFault(fault);
  EXPECT_EQ(MessageOf<EVqEWSSyncStateInvalid>([&] { changes->Open(); }), "ErrorInvalidSyncStateData (It is old.).");
}

TEST_F(SyncItems, OtherRefusalsAreOtherExceptions) {
  const auto changes = VqChangesOf(*Inbox(), "", FLD_ITEM_SUBJECT);
  RefuseNext("SyncFolderItems", "ErrorFolderNotFound");
  try {
    changes->Open();
    FAIL();
  } catch (const EVqEWSSyncStateInvalid&) {
    FAIL();
  } catch (const EEWSException&) {
  }
  simulator::Fault fault;
  fault.operation = "SyncFolderItems";
  fault.soap_fault_code = "ErrorInternalServerError";
  Server().AddFault(fault);
  EXPECT_THROW(changes->Open(), EVqSOAPFault);
}

TEST_F(SyncItems, AFolderThatIsGoneIsToldAsThat) {
  const auto inbox = Inbox();
  const TItemId below = inbox->CreateFolder(sffFolder, "Below");
  const auto changes = Store().GetFolder(below)->SyncItems("");
  inbox->RemoveFolder(below, dtHardDelete);
  EXPECT_EQ(CodeOf([&] { changes->Open(); }), "ErrorSyncFolderNotFound");
}

// ---- What else can be asked

TEST_F(SyncItems, HiddenItemsAreToldWhenAsked) {
  Server().SetUserConfiguration(kAlice, "inbox", "Settings", "<a/>");
  AddMessage("One");
  const auto inbox = Inbox();
  EXPECT_EQ(Told(VqChangesOf(*inbox, "", FLD_ITEM_SUBJECT)), "+ One");
  const auto all = inbox->SyncItems("");
  all->SetWithAssociated(true);
  EXPECT_TRUE(all->GetWithAssociated());
  int count = 0;
  for ([[maybe_unused]] const auto change : all) ++count;
  EXPECT_EQ(count, 2);
  EXPECT_NE(Request("SyncFolderItems").find("<m:SyncScope>NormalAndAssociatedItems</m:SyncScope></m:SyncFolderItems>"),
            std::string::npos);
}

TEST_F(SyncItems, ItemsThatAreIgnoredAreNotToldOf) {
  const TItemId one = AddMessage("One"), two = AddMessage("Two");
  AddMessage("Three");
  const auto changes = VqChangesOf(*Inbox(), "", FLD_ITEM_SUBJECT);
  const TItemId ignored[] = {one, two};
  changes->SetIgnored(ignored);
  EXPECT_EQ(Told(changes), "+ Three");
  EXPECT_EQ(Request("SyncFolderItems"),
            RequestFor("", "<m:Ignore>" + IdElement("ItemId", one) + IdElement("ItemId", two) +
                               "</m:Ignore><m:MaxChangesReturned>512</m:MaxChangesReturned>"));
  changes->SetIgnored({});
  Told(changes);
  EXPECT_EQ(Request("SyncFolderItems").find("<m:Ignore>"), std::string::npos);
}

class SyncItemsOfExchange2007 : public SyncItems {
 protected:
  SyncItemsOfExchange2007() : SyncItems("Exchange2007_SP1") {}
};

TEST_F(SyncItemsOfExchange2007, HasNoReadFlagsAndNoHiddenItems) {
  const TItemId one = AddMessage("One");
  const auto changes = VqChangesOf(*Inbox(), "", FLD_ITEM_SUBJECT);
  EXPECT_EQ(MessageOf<EVqException>([&] { changes->SetWithAssociated(true); }),
            "\"SetWithAssociated\" is not supported by Exchange2007_SP1. This feature requires Exchange Exchange2010!");
  EXPECT_FALSE(changes->GetWithAssociated());
  changes->SetWithAssociated(false);
  EXPECT_EQ(Told(changes), "+ One");
  EXPECT_EQ(Request("SyncFolderItems").find("ChangeKey"), std::string::npos);
  Read(one, true);
  EXPECT_EQ(Told(changes), "~ One");
}

// ---- What outlives what

TEST_F(SyncItems, TheSessionMayGoFirst) {
  TVqRef<IVqEWSItemChanges> changes;
  AddMessage("One");
  {
    TVqEWSServiceSession session;
    Configure(session);
    session.SetActive(true);
    changes = VqChangesOf(*session.OpenDefaultMsgStore()->GetFolder(dfininbox, ""), "", FLD_ITEM_SUBJECT);
    changes->Open();
  }
  EXPECT_EQ(changes->FieldByName(FLD_ITEM_SUBJECT).GetAsString(), "One") << "the page in hand stays";
  EXPECT_EQ(MessageOf<EVqException>([&] { changes->GetItem(); }), "There is no active EWS Session!");
  changes->Next();
  EXPECT_TRUE(changes->Eof());
  EXPECT_EQ(MessageOf<EVqException>([&] { changes->Open(); }), "There is no active EWS Session!");
}

TEST_F(SyncItems, ReadingSendsAndChangesNothing) {
  AddMessage("One");
  AddMessage("Two");
  const auto changes = VqChangesOf(*Inbox(), "", FLD_ITEM_SUBJECT, FLD_MESSAGE_ISREAD);
  changes->Open();
  const string before = changes->GetElement().GetXML();
  EXPECT_EQ(Sent([&] {
              changes->GetKind();
              changes->GetItemId();
              changes->GetState();
              changes->HasField(FLD_ITEM_SUBJECT);
              changes->FieldByName(FLD_MESSAGE_ISREAD).GetAsBoolean();
              changes->GetElement();
              changes->Next();
            }),
            Names{});
  changes->Open();
  EXPECT_EQ(changes->GetElement().GetXML(), before);
}

// ---- By chance: a program that follows changes page by page has what is there, whatever happens between the pages

class SyncByChance : public SyncTest {
 protected:
  void Play(unsigned seed) {
    std::mt19937 dice(seed);
    const auto upTo = [&](std::size_t count) { return static_cast<std::size_t>(dice() % count); };
    const std::string name = "Round " + std::to_string(seed);
    const auto folder = Store().GetFolder(Folder(dfinmsgfolderroot)->CreateFolder(sffFolder, name));
    std::vector<TItemId> items;
    const auto happen = [&] {
      const std::size_t at = items.empty() ? 0 : upTo(items.size());
      switch (items.size() < 3 ? 0 : upTo(5)) {
        case 0:
        case 1:
          items.push_back(AddMessage("Message " + std::to_string(upTo(1000)), name));
          break;
        case 2:
          Rename(items[at], "Renamed " + std::to_string(upTo(1000)));
          break;
        case 3:
          Read(items[at], upTo(2) == 0);
          break;
        default:
          folder->DeleteItem(items[at], dtHardDelete);
          items.erase(items.begin() + static_cast<std::ptrdiff_t>(at));
      }
    };
    TMirror mirror, kept;  // the second as it stands beside the state
    string state;
    auto changes = VqChangesOf(*folder, state, FLD_ITEM_SUBJECT);
    for (int round = 0; round < 6; ++round) {
      for (std::size_t i = upTo(6); i > 0; --i) happen();
      changes->SetMaxChangesPerPage(static_cast<std::int32_t>(1 + upTo(3)));
      const auto keep = [&] {
        state = changes->GetState();
        kept = mirror;
      };
      bool whole = true;
      for (const auto change : changes) {
        if (changes->GetState() != state) keep();
        Follow(mirror, change);
        if (upTo(4) == 0) happen();
        if (upTo(8) != 0) continue;
        whole = false;
        break;
      }
      if (whole) keep();
      if (upTo(3) != 0) continue;
      // It was stopped, and begins again with what it kept.
      mirror = kept;
      changes = VqChangesOf(*folder, state, FLD_ITEM_SUBJECT);
    }
    for (const auto change : changes) Follow(mirror, change);
    for (const auto change : changes) Follow(mirror, change);  // the first loop may have begun in an old page
    EXPECT_EQ(mirror, Contents(*folder)) << "seed " << seed;
    EXPECT_EQ(mirror.size(), items.size());
  }
};

TEST_F(SyncByChance, WhoFollowsChangesHasWhatIsThere) {
  for (TRandomRun run(8); run.GoesOn();) Play(run.NextSeed());
}

}  // namespace
}  // namespace velmore::testing
