// What has changed among the folders of a mailbox since last time, and what servers do with a folder as a whole.

#include "tests/wire/SyncTestSupport.h"
#include "tests/wire/WireFormsTestSupport.h"

namespace velmore::testing {
namespace {

class SyncFolders : public SyncTest {
 protected:
  using SyncTest::SyncTest;
};

TEST_F(SyncFolders, OfAStoreAreAllFoldersOfTheMailbox) {
  const auto changes = Store().SyncFolders("");
  std::string told;
  EXPECT_EQ(Sent([&] { told = Told(changes); }), Names{"SyncFolderHierarchy"});
  EXPECT_NE(told.find("+ Inbox"), std::string::npos) << told;
  EXPECT_NE(told.find("+ Calendar"), std::string::npos) << told;
  EXPECT_EQ(Request("SyncFolderHierarchy"),
            "<m:SyncFolderHierarchy><m:FolderShape><t:BaseShape>AllProperties</t:BaseShape></m:FolderShape>"
            "<m:SyncFolderId><t:DistinguishedFolderId Id=\"msgfolderroot\"/></m:SyncFolderId></m:SyncFolderHierarchy>");
  EXPECT_EQ(Told(changes), "") << "nothing happened since";
  EXPECT_NE(Request("SyncFolderHierarchy").find("</m:SyncFolderId><m:SyncState>"), std::string::npos);
}

TEST_F(SyncFolders, OfAFolderAreThoseBelowItAtAnyDepth) {
  const auto inbox = Inbox();
  const TItemId below = inbox->CreateFolder(sffFolder, "Below");
  Store().GetFolder(below)->CreateFolder(sffTasksFolder, "Deeper");
  const auto changes = inbox->SyncFolders("");
  EXPECT_EQ(Told(changes), "+ Below, + Deeper");
  EXPECT_EQ(Request("SyncFolderHierarchy"),
            "<m:SyncFolderHierarchy><m:FolderShape><t:BaseShape>AllProperties</t:BaseShape></m:FolderShape>"
            "<m:SyncFolderId>" +
                IdElement("FolderId", inbox->GetID()) + "</m:SyncFolderId></m:SyncFolderHierarchy>");
}

TEST_F(SyncFolders, EachChangeHasItsFolder) {
  const auto inbox = Inbox();
  const auto changes = Store().SyncFolders("");
  Told(changes);
  const string state = changes->GetState();
  const TItemId below = inbox->CreateFolder(sffFolder, "Below");
  AddMessage("One", "Inbox/Below");
  bool seen = false;
  for (const auto change : Store().SyncFolders(state)) {
    if (change.Kind() != TVqEWSChangeKind::created) continue;
    seen = true;
    EXPECT_EQ(change.Id().Id, below.Id);
    EXPECT_EQ(change.ParentId().Id, inbox->GetID().Id);
    EXPECT_EQ(change.DisplayName(), "Below");
    EXPECT_EQ(change.Element().GetLocalName(), "Folder");
    EXPECT_EQ(TEwsFolder(change.Element()).GetChildFolderCount(), 0);
    TVqRef<IVqEWSFolder> folder;
    EXPECT_EQ(Sent([&] { folder = change.Folder(); }), Names{"GetFolder"});
    EXPECT_EQ(folder->GetID().Id, below.Id);
  }
  EXPECT_TRUE(seen);

  Told(changes);
  inbox->RemoveFolder(below, dtHardDelete);
  seen = false;
  for (const auto change : changes) {
    if (change.Kind() != TVqEWSChangeKind::deleted) continue;
    seen = true;
    EXPECT_EQ(change.Id().Id, below.Id);
    EXPECT_EQ(change.ParentId(), TItemId());
    EXPECT_EQ(change.DisplayName(), "");
    EXPECT_FALSE(change.Element());
  }
  EXPECT_TRUE(seen);
}

TEST_F(SyncFolders, AStateThatTheServerDoesNotTakeHasAnExceptionOfItsOwn) {
  for (const auto& changes : {Store().SyncFolders("nonsense"), Inbox()->SyncFolders("nonsense")}) {
    EXPECT_EQ(MessageOf<EVqEWSSyncStateInvalid>([&] { changes->Open(); }),
              "ErrorInvalidSyncStateData (Synchronization state data is corrupt or otherwise invalid.).");
    changes->SetState("");
    EXPECT_NO_THROW(Told(changes));
  }
}

TEST_F(SyncFolders, MoreThatFollowsIsFetched) {
  const auto page = [](const char* state, const char* last, const char* name) {
    return ReplyOf("SyncFolderHierarchy", std::string("<m:SyncState>") + state +
                                              "</m:SyncState><m:IncludesLastFolderInRange>" + last +
                                              "</m:IncludesLastFolderInRange><m:Changes><t:Create><t:Folder>"
                                              "<t:FolderId Id=\"f\" ChangeKey=\"k\"/><t:DisplayName>" +
                                              name + "</t:DisplayName></t:Folder></t:Create></m:Changes>");
  };
  const auto changes = Store().SyncFolders("");
  AnswerNext("SyncFolderHierarchy", page("a", "false", "One"));
  AnswerNext("SyncFolderHierarchy", page("b", "true", "Two"));
  EXPECT_EQ(Told(changes), "+ One, + Two");
  EXPECT_EQ(changes->GetState(), "b");
}

TEST_F(SyncFolders, OfAnImpersonatingStoreAreThoseOfItsMailbox) {
  simulator::User service{"service", "service@example.com", "Service", "robot"};
  service.may_impersonate = true;
  Server().AddUser(service);
  AddMessage("One", "Only Alice has it");
  TVqEWSServiceSession session;
  Configure(session);
  session.GetCredentials().SetUserName("service");
  session.GetCredentials().SetPassword("robot");
  session.SetActive(true);
  EXPECT_NE(Told(session.OpenMsgStore(kAlice)->SyncFolders("")).find("+ Only Alice has it"), std::string::npos);
}

// ---- A folder as a whole

class WholeFolders : public SyncTest, public ::testing::WithParamInterface<bool> {
 protected:
  WholeFolders() : SyncTest(GetParam() ? Refusing("Exchange2016") : TwoUsers()) {
    Session().SetStrictSchema(GetParam());
  }
  ~WholeFolders() override {
    if (!GetParam()) return;
    EXPECT_TRUE(Server().GetCounters().departures.empty());
    if (!HasPublishedSchema()) return;
    for (const auto& exchange : Server().Exchanges()) {
      if (exchange.operation.empty()) continue;
      EXPECT_EQ(SchemaProblemsOf(exchange.request_body), "") << exchange.request_body;
    }
  }
  std::string FolderIds(const TItemId& id) { return "<m:FolderIds>" + IdElement("FolderId", id) + "</m:FolderIds>"; }
};

TEST_P(WholeFolders, ContentsAreRemoved) {
  const auto top = Folder(dfinmsgfolderroot);
  const auto papers = Store().GetFolder(top->CreateFolder(sffFolder, "Papers"));
  const auto fill = [&] {
    AddMessage("One", "Papers");
    AddMessage("Two", "Papers");
    if (Server().CountItems(kAlice, "Papers/Old") == 0) AddMessage("Three", "Papers/Old");
  };
  fill();
  const auto papersId = papers->GetID();
  EXPECT_EQ(Sent([&] { papers->RemoveContents(dtHardDelete, false); }), Names{"EmptyFolder"});
  EXPECT_EQ(Request("EmptyFolder"), "<m:EmptyFolder DeleteType=\"HardDelete\" DeleteSubFolders=\"false\">" +
                                        FolderIds(papersId) + "</m:EmptyFolder>");
  EXPECT_EQ(Server().CountItems(kAlice, "Papers"), 0u);
  EXPECT_EQ(Server().CountItems(kAlice, "Papers/Old"), 1u);
  EXPECT_EQ(Server().CountItems(kAlice, "deleteditems"), 0u);

  fill();
  papers->RemoveContents(dtMoveToDeletedItems, true);
  EXPECT_EQ(Request("EmptyFolder"), "<m:EmptyFolder DeleteType=\"MoveToDeletedItems\" DeleteSubFolders=\"true\">" +
                                        FolderIds(papersId) + "</m:EmptyFolder>");
  EXPECT_EQ(Server().CountItems(kAlice, "deleteditems"), 2u);
  EXPECT_EQ(Server().CountItems(kAlice, "Deleted Items/Old"), 1u);
  EXPECT_EQ(Store().GetFolder(papersId)->GetChildFolderCount(), 0);

  fill();
  papers->RemoveContents(dtSoftDelete, true);
  EXPECT_EQ(Server().CountItems(kAlice, "Papers"), 0u);
  EXPECT_EQ(Server().CountItems(kAlice, "Papers/Old"), 0u);
  EXPECT_EQ(Server().CountItems(kAlice, "deleteditems"), 2u);
  EXPECT_EQ(CodeOf([&] { Folder(dfincalendar)->RemoveContents(dtHardDelete, false); }), "ErrorCannotEmptyFolder");
}

TEST_P(WholeFolders, FoldersAreRemoved) {
  const auto inbox = Inbox();
  const std::pair<TVqEWSFolderDeleteType, const char*> kinds[] = {
      {dtHardDelete, "HardDelete"}, {dtSoftDelete, "SoftDelete"}, {dtMoveToDeletedItems, "MoveToDeletedItems"}};
  for (const auto& [kind, text] : kinds) {
    const TItemId below = inbox->CreateFolder(sffFolder, "Below");
    AddMessage("One", "Inbox/Below");
    EXPECT_EQ(Sent([&] { inbox->RemoveFolder(below, kind); }), Names{"DeleteFolder"});
    EXPECT_EQ(Request("DeleteFolder"),
              std::string("<m:DeleteFolder DeleteType=\"") + text + "\">" + FolderIds(below) + "</m:DeleteFolder>");
    EXPECT_EQ(Server().CountItems(kAlice, "Inbox/Below"), 0u) << text;
  }
  EXPECT_EQ(Server().CountItems(kAlice, "Deleted Items/Below"), 1u);
  EXPECT_EQ(CodeOf([&] { inbox->RemoveFolder(inbox->GetID(), dtHardDelete); }), "ErrorDeleteDistinguishedFolder");
}

TEST_P(WholeFolders, AllItemsAreMarkedAsReadAndAsUnread) {
  for (int i = 0; i < 3; ++i) AddMessage(std::to_string(i));
  const auto inbox = Inbox();
  const auto unread = [&] { return Inbox()->GetUnreadCount(); };
  const auto request = [&](const char* isRead, const char* suppress) {
    return std::string("<m:MarkAllItemsAsRead><m:ReadFlag>") + isRead + "</m:ReadFlag><m:SuppressReadReceipts>" +
           suppress + "</m:SuppressReadReceipts>" + FolderIds(inbox->GetID()) + "</m:MarkAllItemsAsRead>";
  };
  inbox->MarkAllAsUnread();
  EXPECT_EQ(Request("MarkAllItemsAsRead"), request("false", "true"));
  EXPECT_EQ(unread(), 3);
  EXPECT_EQ(Sent([&] { inbox->MarkAllAsRead(false); }), Names{"MarkAllItemsAsRead"});
  EXPECT_EQ(Request("MarkAllItemsAsRead"), request("true", "true"));
  EXPECT_EQ(unread(), 0);
  inbox->MarkAllAsRead(true);
  EXPECT_EQ(Request("MarkAllItemsAsRead"), request("true", "false"));
}

TEST_P(WholeFolders, ChangesHaveOneFormForAllServers) {
  AddMessage("One");
  const TItemId two = AddMessage("Two");
  const auto inbox = Inbox();
  // Columns of which the forms have different names.
  const auto changes = VqChangesOf(*inbox, "", FLD_ITEM_SUBJECT, FLD_MESSAGE_ISREAD, FLD_ITEM_DATETIMERECEIVED);
  changes->SetMaxChangesPerPage(1);
  changes->SetWithAssociated(true);
  const TItemId ignored[] = {two};
  changes->SetIgnored(ignored);
  EXPECT_EQ(Told(changes), "+ One");
  AddMessage("Three");
  EXPECT_EQ(Told(changes), "+ Three");
  Told(Store().SyncFolders(""));
  const auto below = inbox->SyncFolders("");
  EXPECT_EQ(Told(below), "");
  EXPECT_EQ(Told(below), "");
}

INSTANTIATE_TEST_SUITE_P(OfBothForms, WholeFolders, ::testing::Bool());

struct TGuardCase {
  const char* Version;
  const char* Refused;  // the operations that it lacks
};

class WholeFoldersByVersion : public SyncTest, public ::testing::WithParamInterface<TGuardCase> {
 protected:
  WholeFoldersByVersion() : SyncTest(GetParam().Version) {}
};

TEST_P(WholeFoldersByVersion, HaveWhatTheirServerHas) {
  AddMessage("One");
  const auto inbox = Inbox();
  const TItemId below = inbox->CreateFolder(sffFolder, "Below");
  std::string refused;
  const auto attempt = [&](const std::string& name, const std::string& since, const std::function<void()>& call) {
    Forget();
    try {
      call();
    } catch (const EVqException& failure) {
      refused += name + " ";
      EXPECT_EQ(failure.what(), "\"" + name + "\" is not supported by " + GetParam().Version +
                                    ". This feature requires Exchange " + since + "!");
      EXPECT_EQ(Operations(), Names{});
    }
  };
  attempt("MarkAllAsRead", "Exchange2013", [&] { inbox->MarkAllAsRead(false); });
  attempt("MarkAllAsUnread", "Exchange2013", [&] { inbox->MarkAllAsUnread(); });
  attempt("RemoveContents", "Exchange2010_SP1", [&] { inbox->RemoveContents(dtHardDelete, false); });
  attempt("RemoveFolder", "", [&] { inbox->RemoveFolder(below, dtHardDelete); });
  attempt("SyncItems", "", [&] { Told(VqChangesOf(*inbox, "", FLD_ITEM_SUBJECT)); });
  attempt("SyncFolders", "", [&] { Told(Store().SyncFolders("")); });
  EXPECT_EQ(refused, GetParam().Refused);
}

INSTANTIATE_TEST_SUITE_P(
    Versions, WholeFoldersByVersion,
    ::testing::Values(TGuardCase{"Exchange2007_SP1", "MarkAllAsRead MarkAllAsUnread RemoveContents "},
                      TGuardCase{"Exchange2010", "MarkAllAsRead MarkAllAsUnread RemoveContents "},
                      TGuardCase{"Exchange2010_SP1", "MarkAllAsRead MarkAllAsUnread "}, TGuardCase{"Exchange2013", ""}),
    [](const auto& info) { return std::string(info.param.Version); });

}  // namespace
}  // namespace velmore::testing
