// The mailboxes of a session.

#include "SessionTestSupport.h"
#include "platform/os/uVqEnvironment.h"

namespace velmore::testing {
namespace {

class SessionStores : public SessionTest {
 protected:
  SessionStores() {
    Session.OnAutodiscover = [this](const string&) { return VqCreateDOM(Settings); };
  }
  /// Sets the address without losing the URL.
  void Discover(const char* address) {
    Session.SetAutodiscoverEMail(address);
    Session.SetServiceUrl(Server.Url("/EWS/Exchange.asmx"));
  }
  Names Mailboxes() {
    Names names;
    for (const string& name : Session.GetAdditionalMailboxes()) names.push_back(name.utf8());
    return names;
  }
  static std::string Mailbox(const std::string& type, const std::string& content) {
    return "<AlternativeMailbox><Type>" + type + "</Type>" + content + "</AlternativeMailbox>";
  }
  static std::string Autodiscovered(const std::string& account) {
    return "<Autodiscover xmlns=\"urn:a\"><Response xmlns=\"urn:b\"><Account>" + account +
           "</Account></Response></Autodiscover>";
  }

  std::string Settings = Autodiscovered(
      Mailbox("Delegate",
              "<SmtpAddress>smtp@example.com</SmtpAddress><OwnerSmtpAddress>owner@example.com</OwnerSmtpAddress>") +
      Mailbox("Archive", "<SmtpAddress>archive@example.com</SmtpAddress>") +
      Mailbox("Delegate", "<SmtpAddress>bob@example.com</SmtpAddress>") + Mailbox("Delegate", "") +
      Mailbox("Delegate", "<SmtpAddress/>") + Mailbox("Delegate", "<SmtpAddress>BOB@example.com</SmtpAddress>"));
};

TEST_F(SessionStores, DefaultStoreIsTheAddressElseTheUserElseThePersonAtTheMachine) {
  EXPECT_EQ(Session.GetDefaultMsgStore(), VqGetUserName());
  Session.GetCredentials().SetUserName("ann");
  EXPECT_EQ(Session.GetDefaultMsgStore(), "ann");
  Discover("ann@example.com");
  EXPECT_EQ(Session.GetDefaultMsgStore(), "ann@example.com");
}

TEST_F(SessionStores, AdditionalMailboxesComeFromAutodiscoverOnceInALife) {
  Discover("ann@example.com");
  LogOn();
  Session.Calls.clear();
  EXPECT_EQ(Mailboxes(), (Names{"owner@example.com", "bob@example.com"}))
      << "delegates only; the owner's address first; none twice, whatever its case";
  EXPECT_EQ(Session.Calls, Names{"Autodiscover(ann@example.com)"});
  Mailboxes();
  Session.GetMsgStores().Count();
  EXPECT_EQ(Session.Calls.size(), 1u);
  Session.SetActive(false);
  LogOn();
  Settings = Autodiscovered(Mailbox("Delegate", "<SmtpAddress>late@example.com</SmtpAddress>"));
  Session.Calls.clear();
  EXPECT_EQ(Mailboxes(), (Names{"owner@example.com", "bob@example.com"}));
  EXPECT_TRUE(Session.Calls.empty()) << "logging off does not reset it";
}

TEST_F(SessionStores, EntriesOfTheApplicationStay) {
  Discover("ann@example.com");
  LogOn();
  TVqStrings mine;
  mine.Add("Bob@Example.com");
  Session.SetAdditionalMailboxes(mine);
  EXPECT_EQ(Mailboxes(), (Names{"Bob@Example.com", "owner@example.com"}));
}

TEST_F(SessionStores, NothingIsAskedWhileLoggedOffOrWithoutAnAddress) {
  Discover("ann@example.com");
  EXPECT_EQ(Mailboxes(), Names{});
  Session.SetAutodiscoverEMail("");
  LogOn();
  EXPECT_EQ(Mailboxes(), Names{});
  EXPECT_EQ(Session.Calls, (Names{"SetWaitCursor(true)", "SetWaitCursor(false)"}));
}

TEST_F(SessionStores, FailureOfAutodiscoverIsToldAndTriedAgain) {
  Discover("ann@example.com");
  LogOn();
  const auto works = std::exchange(Session.OnAutodiscover, [](const string&) -> IVqDOMDocument {
    throw EEWSException("ErrorAutoDiscoverFailed", "No.", 0);
  });
  EXPECT_THROW(Session.GetAdditionalMailboxes(), EEWSException);
  EXPECT_THROW(Session.GetMsgStores().Count(), EEWSException);
  EXPECT_THROW(Session.GetMsgStores().GetName(0), EEWSException);
  Session.OnAutodiscover = works;
  EXPECT_EQ(Mailboxes().size(), 2u);
}

TEST_F(SessionStores, ListHasTheDefaultStoreFirst) {
  Discover("ann@example.com");
  LogOn();
  auto& stores = Session.GetMsgStores();
  EXPECT_EQ(stores.GetName(1), "owner@example.com") << "reading a name reads the mailboxes";
  EXPECT_EQ(stores.Count(), 3);
  EXPECT_EQ(stores.GetName(0), "ann@example.com");
  EXPECT_EQ(stores.GetName(2), "bob@example.com");
  EXPECT_THROW(stores.GetName(3), EListError);
  EXPECT_THROW(stores.GetName(-1), EListError);
}

TEST_F(SessionStores, OpenMsgStoreMindsTheCaseOfTheAddress) {
  Discover("ann@example.com");
  LogOn();
  Server.Always([](const ScriptedServer::Request& request) { return StoreAnswer(request, "ann@example.com"); });
  for (const char* same : {"", "ann@example.com"})
    EXPECT_FALSE(Supports<IVqEWSImpersonatedMsgStore>(Session.OpenMsgStore(same))) << same;
  for (const char* other : {"Ann@example.com", "bob@example.com"}) {
    const auto store = Supports<IVqEWSImpersonatedMsgStore>(Session.OpenMsgStore(other));
    ASSERT_TRUE(store) << other;
    EXPECT_EQ(store->GetImpersonatedUser(), other);
    EXPECT_EQ(store->GetDisplayName(), other);
  }
}

TEST_F(SessionStores, OpeningAnotherMailboxTalksToNobody) {
  LogOn();
  Session.OpenMsgStore("bob@example.com");
  EXPECT_EQ(Server.Requests().size(), 1u) << "the probe alone";
}

TEST_F(SessionStores, EachCallOpensANewObjectAndAsksForTheOwnerOnce) {
  LogOn();
  Server.Always([](const ScriptedServer::Request& request) { return StoreAnswer(request, "ann@example.com"); });
  const auto one = Session.OpenDefaultMsgStore();
  const std::size_t asked = Server.Requests().size();
  EXPECT_GT(asked, 1u);
  const auto two = Session.OpenDefaultMsgStore();
  EXPECT_FALSE(one == two);
  EXPECT_EQ(Server.Requests().size(), asked) << "the address is known by then";
}

// The address goes into a header of every later request.
TEST_F(SessionStores, AnOwnerThatIsNoAddressIsNotLearnt) {
  LogOn();
  for (const std::string& owner : {std::string(1 << 20, 'x'), std::string("ann@example.com&#13;&#10;X-Evil: 1")}) {
    Server.Always([&](const ScriptedServer::Request& request) { return StoreAnswer(request, owner); });
    Session.OpenDefaultMsgStore();
    EXPECT_EQ(Session.OpenDefaultMsgStore()->GetFolderId(dfininbox).Id, "inbox");
    EXPECT_EQ(Server.Requests().back().Header("X-AnchorMailbox"), "");
  }
  Server.Always([](const ScriptedServer::Request& request) { return StoreAnswer(request, "ann@example.com"); });
  Session.OpenDefaultMsgStore()->GetFolderId(dfininbox);
  EXPECT_EQ(Server.Requests().back().Header("X-AnchorMailbox"), "ann@example.com");
}

TEST_F(SessionStores, FailureToLearnTheOwnerOpensNothing) {
  LogOn();
  Server.Then(Reply("GetFolder", Refusal("GetFolder", "ErrorAccessDenied", "Access is denied.")));
  ExpectRaised<EEWSException>(
      [&] { Session.OpenDefaultMsgStore(); },
      [](const EEWSException& failure) { EXPECT_EQ(failure.Message(), "ErrorAccessDenied (Access is denied.)."); });
  ExpectUsable();
}

TEST_F(SessionStores, ClosedSessionOpensNoDefaultStore) {
  EXPECT_EQ(PlainMessageOf([&] { Session.OpenDefaultMsgStore(); }), "You must logon first!");
}

TEST_F(SessionStores, RecipientsCanBeMadeBeforeLogon) {
  const auto recipients = Session.CreateRecipients();
  EXPECT_EQ(recipients->Count(), 0);
  recipients->Add("Bob Birch <bob@example.com>");
  EXPECT_EQ(recipients->GetItem(0)->GetEmailAddress(), "bob@example.com");
}

// ---- Servers that echo the mailbox of a conversion

class EchoingServer : public SessionStores {
 protected:
  EchoingServer() {
    Server.Always([this](const ScriptedServer::Request& request) {
      const auto between = [&](const std::string& before, const char* after) {
        const std::size_t at = request.Body.find(before) + before.size();
        return request.Body.substr(at, request.Body.find(after, at) - at);
      };
      if (request.Body.find("Id=\"00\"") != std::string::npos) return ProbeAnswer({});
      if (request.Body.find("<m:ConvertId ") != std::string::npos)
        return StoreAnswer(request, Sent = between("Mailbox=\"", "\""));
      return StoreAnswer(request, between("<m:UnresolvedEntry>", "<"));
    });
  }
  string Identity(const char* address = "") { return Session.OpenMsgStore(address)->GetIdentity()->GetEmailAddress(); }
  void LogOnAnew() {
    const string url = Server.Url("/");
    Session.SetActive(false);
    Session.SetServiceUrl(url);
    Session.SetActive(true);
  }
  std::string Sent;
};

TEST_F(EchoingServer, GivesTheAddressThatTheSessionKnows) {
  Session.SetAutodiscoverEMail("auto@example.com");
  Session.GetCredentials().SetUserName("ann@example.com");
  LogOnAnew();
  EXPECT_EQ(Identity(), "ann@example.com");
  Session.GetCredentials().SetUserName("EXAMPLE\\ann");
  LogOnAnew();
  EXPECT_EQ(Identity(), "auto@example.com") << "a user name that is no address tells nothing";
  TVqOAuth oauth;
  oauth.SetGrantType(TVqOAuthGrantType::ClientCredentials);
  Session.SetOAuth(oauth);
  Session.SetConnectingSID("sid@example.com");
  LogOnAnew();
  EXPECT_EQ(Identity(), "sid@example.com") << "the user whom the session acts as";
  EXPECT_EQ(Identity("bob@example.com"), "bob@example.com") << "the user whom the store acts as";
}

TEST_F(EchoingServer, NobodyIsNoIdentity) {
  Session.SetActive(true);
  ExpectRaised<EEWSException>(
      [&] { Session.OpenDefaultMsgStore(); },
      [](const EEWSException& failure) {
        EXPECT_EQ(failure.Message(),
                  "The server does not tell whose mailbox this is. Set AutodiscoverEMail to its address.");
      });
  EXPECT_EQ(Sent, "nobody@example.com");
  const auto request = Session.CreateRequest(nullptr, "m:GetItem", "");
  TVqRef<IVqSOAPResponse> response;
  request->Send(response);
  EXPECT_EQ(LastRequest().Header("X-AnchorMailbox"), "") << "no request is anchored on a dummy";
}

}  // namespace
}  // namespace velmore::testing
