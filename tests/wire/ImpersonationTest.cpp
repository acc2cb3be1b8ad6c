// Acting on another user's mailbox.

#include "SessionTestSupport.h"
#include "ews/stores/uVqEWSImpersonation.h"
#include "tests/support/EWSTestSupport.h"

namespace velmore::testing {
namespace {

class Impersonation : public SessionTest {
 protected:
  Impersonation() { LogOn(); }

  void ActAs(const char* address) {
    TVqOAuth oauth;
    oauth.SetGrantType(TVqOAuthGrantType::ClientCredentials);
    Session.SetOAuth(oauth);
    Session.SetConnectingSID(address);
  }
  static string HeaderOfRequest(const TVqRef<IVqSOAPRequest>& request) { return request->GetHeader().GetInnerXML(); }
  static std::string Element(const std::string& address) {
    return "<t:ExchangeImpersonation><t:ConnectingSID><t:PrimarySmtpAddress>" + address +
           "</t:PrimarySmtpAddress></t:ConnectingSID></t:ExchangeImpersonation>";
  }
  static std::string Version() { return "<t:RequestServerVersion Version=\"Exchange2007_SP1\"/>"; }
};

class TSubscriber : public TVqEWSImpersonatedObject {
 public:
  using TVqEWSImpersonatedObject::TVqEWSImpersonatedObject;
};

TEST_F(Impersonation, StoreNamesItsUserInEveryRequest) {
  const auto store = MakeRef<TVqEWSImpersonatedMsgStore>(&Session, "bob@example.com");
  EXPECT_EQ(HeaderOfRequest(store->CreateRequest(nullptr, "m:GetItem", "")), Version() + Element("bob@example.com"));
  EXPECT_EQ(store->GetImpersonatedUser(), "bob@example.com");
  EXPECT_EQ(store->GetDisplayName(), "bob@example.com");
}

TEST_F(Impersonation, UserOfAStoreCanBeChanged) {
  const TVqRef<IVqEWSImpersonatedMsgStore> store = MakeRef<TVqEWSImpersonatedMsgStore>(&Session, "bob@example.com");
  const auto child = MakeRef<TSubscriber>(dynamic_cast<TVqComponent*>(store.get()), true);
  store->SetImpersonatedUser("eve@example.com");
  EXPECT_EQ(store->GetImpersonatedUser(), "eve@example.com");
  EXPECT_EQ(HeaderOfRequest(child->CreateRequest(nullptr, "m:GetItem", "")), Version() + Element("eve@example.com"));
  EXPECT_EQ(store->GetDisplayName(), "bob@example.com") << "the name stays";
  store->SetImpersonatedUser("");
  EXPECT_EQ(HeaderOfRequest(child->CreateRequest(nullptr, "m:GetItem", "")), Version());
}

TEST_F(Impersonation, ObjectsBelowTheStoreGoThroughIt) {
  const auto store = MakeRef<TVqEWSImpersonatedMsgStore>(&Session, "bob@example.com");
  const auto child = MakeRef<TSubscriber>(store.get(), true);
  const auto grandchild = MakeRef<TSubscriber>(child.get(), true);
  EXPECT_EQ(HeaderOfRequest(grandchild->CreateRequest(nullptr, "m:GetItem", "")),
            Version() + Element("bob@example.com"));
}

TEST_F(Impersonation, StoreWithoutAUserSendsNoHeader) {
  const auto store = MakeRef<TVqEWSImpersonatedMsgStore>(&Session, "");
  EXPECT_EQ(HeaderOfRequest(store->CreateRequest(nullptr, "m:GetItem", "")), Version());
}

TEST_F(Impersonation, HeaderOfTheSessionTakesTheUserOfTheStore) {
  ActAs("boss@example.com");
  const auto store = MakeRef<TVqEWSImpersonatedMsgStore>(&Session, "bob@example.com");
  EXPECT_EQ(HeaderOfRequest(store->CreateRequest(nullptr, "m:GetItem", "")), Version() + Element("bob@example.com"))
      << "exactly one";
  const auto nobody = MakeRef<TVqEWSImpersonatedMsgStore>(&Session, "");
  EXPECT_EQ(HeaderOfRequest(nobody->CreateRequest(nullptr, "m:GetItem", "")), Version() + Element("boss@example.com"));
}

TEST_F(Impersonation, ObjectAddsItsHeaderWithoutLooking) {
  ActAs("boss@example.com");
  const auto object = MakeRef<TSubscriber>(&Session, true);
  EXPECT_EQ(object->GetImpersonatedUser(), "");
  EXPECT_EQ(HeaderOfRequest(object->CreateRequest(nullptr, "m:Subscribe", "")),
            Version() + Element("boss@example.com"));
  object->SetImpersonatedUser("bob@example.com");
  EXPECT_EQ(HeaderOfRequest(object->CreateRequest(nullptr, "m:Subscribe", "")),
            Version() + Element("boss@example.com") + Element("bob@example.com"))
      << "two, on purpose";
}

TEST_F(Impersonation, AddressIsWrittenAsText) {
  const auto store = MakeRef<TVqEWSImpersonatedMsgStore>(&Session, "a&b@example.com");
  EXPECT_EQ(HeaderOfRequest(store->CreateRequest(nullptr, "m:GetItem", "")),
            Version() + Element("a&amp;b@example.com"));
}

// ---- Against a server that knows who may

class ImpersonationOnAServer : public EWSTest {
 protected:
  static simulator::Options WithAService() {
    simulator::Options options = TwoUsers();
    options.users.push_back({"service", "service@example.com", "Service", "robot"});
    options.users.back().may_impersonate = true;
    return options;
  }
  ImpersonationOnAServer() : EWSTest(WithAService()) {}
};

TEST_F(ImpersonationOnAServer, ServiceOpensTheMailboxOfAUser) {
  Server().AddMessage(kBob, "inbox", "From: alice@example.com\r\nSubject: For Bob\r\n\r\nHello");
  TVqEWSServiceSession service;
  Configure(service);
  service.GetCredentials().SetUserName("service");
  service.GetCredentials().SetPassword("robot");
  service.SetActive(true);
  EXPECT_EQ(service.OpenMsgStore(kBob)->GetFolder(dfininbox, "")->GetTotalCount(), 1);
  EXPECT_EQ(service.OpenMsgStore(kAlice)->GetFolder(dfininbox, "")->GetTotalCount(), 0);
}

TEST_F(ImpersonationOnAServer, OthersAreRefusedByAFault) {
  const auto store = Session().OpenMsgStore(kBob);
  ExpectRaised<EVqSOAPFault>(
      [&] { store->GetFolderId(dfininbox); },
      [](const EVqSOAPFault& fault) { EXPECT_EQ(fault.ResponseCode(), "ErrorImpersonateUserDenied"); });
  EXPECT_NO_THROW(Session().OpenDefaultMsgStore()->GetFolderId(dfininbox)) << "the session is usable";
}

}  // namespace
}  // namespace velmore::testing
