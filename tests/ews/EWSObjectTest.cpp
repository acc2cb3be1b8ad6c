// Server-side objects, their chain of creators and their session.

#include <gtest/gtest.h>

#include <ctime>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <set>
#include <sstream>

#include "ews/model/uVqEWSBase.h"
#include "ews/model/uVqEWSTimeZones.h"
#include "platform/soap/uVqSOAPClient.h"

namespace velmore {
namespace {

/// A session without a transport: it notes who asked for what.
class TFakeSession : public TVqEWSBaseSession {
 public:
  TFakeSession() : TVqEWSBaseSession(nullptr) {}

  TVqCredentials& GetCredentials() override { return FCredentials; }
  string GetServiceURL() override { return "https://mail.example.com/ews"; }
  TServerVersion GetServerVersion() override { return Exchange2016; }
  TVqRef<IVqHTTPClient> CreateHTTPClient(bool AUseSession) override {
    Calls.push_back(AUseSession ? "CreateHTTPClient(true)" : "CreateHTTPClient(false)");
    return {};
  }
  TVqSOAPClient* CreateSOAPClient(const TVqRef<IVqHTTPClient>&) override {
    Calls.push_back("CreateSOAPClient");
    return nullptr;
  }
  TVqRef<IVqSOAPRequest> CreateRequest(TVqSOAPClient*, const string& AMethod, const string& AResponseName) override {
    Calls.push_back("CreateRequest(" + AMethod.utf8() + ", " + AResponseName.utf8() + ")");
    return FSOAP.CreateRequest(AMethod, AResponseName);
  }
  void CheckResponseError(const IVqDOMElement&) override { Calls.push_back("CheckResponseError"); }

  std::vector<std::string> Calls;

 private:
  TVqCredentials FCredentials;
  TVqSOAPClient FSOAP{nullptr};
};

/// An object that signs each request made below it.
class TSigningObject : public TVqEWSObject {
 public:
  TSigningObject(TVqComponent* ACreator, bool AKeepCreatorAlive, const string& AName)
      : TVqEWSObject(ACreator, AKeepCreatorAlive), FName(AName) {}
  TVqRef<IVqSOAPRequest> CreateRequest(TVqSOAPClient* ASOAPClient, const string& AMethod,
                                       const string& AResponseName) override {
    const TVqRef<IVqSOAPRequest> request = TVqEWSObject::CreateRequest(ASOAPClient, AMethod, AResponseName);
    request->AddSOAPHeader("t:By").SetText(FName);
    return request;
  }

 private:
  string FName;
};

class TObject : public TVqEWSObject {
 public:
  using TVqEWSObject::TVqEWSObject;
};

template <typename TAction>
std::string PlainMessageOf(TAction action) {
  try {
    action();
  } catch (const EEWSException& failure) {
    ADD_FAILURE() << "an EEWSException: " << failure.what();
  } catch (const EVqException& failure) {
    return failure.what();
  }
  return {};
}

TEST(EWSObject, CreatorOfAnotherKindFailsAtOnce) {
  TVqComponent stranger;
  EXPECT_EQ(PlainMessageOf([&] { MakeRef<TObject>(&stranger, true); }), "Failed to find the EWS Session!");
}

TEST(EWSObject, EmptyCreatorFailsAtOnce) {
  EXPECT_EQ(PlainMessageOf([] { MakeRef<TObject>(nullptr, false); }), "Failed to find the EWS Session!");
}

TEST(EWSObject, LongChainFindsTheSession) {
  TFakeSession session;
  TVqRef<TObject> object = MakeRef<TObject>(&session, true);
  for (int i = 0; i < 1000; ++i) object = MakeRef<TObject>(object.get(), true);
  EXPECT_EQ(object->GetSession(), &session);
  object->CreateRequest(nullptr, "m:GetItem", "m:GetItemResponse");
  EXPECT_EQ(session.Calls, std::vector<std::string>{"CreateRequest(m:GetItem, m:GetItemResponse)"});
}

TEST(EWSObject, RequestPassesEveryCreatorOnItsWayOut) {
  TFakeSession session;
  const auto store = MakeRef<TSigningObject>(&session, true, "store");
  const auto folder = MakeRef<TSigningObject>(store.get(), true, "folder");
  const auto item = MakeRef<TObject>(folder.get(), true);
  const auto request = item->CreateRequest(nullptr, "m:GetItem", "");
  EXPECT_EQ(request->GetHeader().GetInnerXML(), "<t:By>store</t:By><t:By>folder</t:By>");
}

TEST(EWSObject, ForwardsToTheSession) {
  TFakeSession session;
  const auto object = MakeRef<TObject>(&session, false);
  object->CreateHTTPClient(true);
  object->CreateHTTPClient(false);
  object->CreateSOAPClient({});
  object->CheckResponseError({});
  EXPECT_EQ(session.Calls, (std::vector<std::string>{"CreateHTTPClient(true)", "CreateHTTPClient(false)",
                                                     "CreateSOAPClient", "CheckResponseError"}));
}

TEST(EWSObject, OutlivesItsSessionAndSaysSo) {
  auto session = std::make_unique<TFakeSession>();
  const auto parent = MakeRef<TObject>(session.get(), true);
  const auto object = MakeRef<TObject>(parent.get(), true);
  object->SetId({"AAMk", "CQAA"});
  session.reset();
  EXPECT_EQ(object->GetSession(), nullptr);
  const std::string gone = "There is no active EWS Session!";
  for (const auto& one : {parent, object}) {
    EXPECT_EQ(PlainMessageOf([&] { one->CreateRequest(nullptr, "m:GetItem", ""); }), gone);
    EXPECT_EQ(PlainMessageOf([&] { one->CreateHTTPClient(true); }), gone);
    EXPECT_EQ(PlainMessageOf([&] { one->CreateSOAPClient({}); }), gone);
    EXPECT_EQ(PlainMessageOf([&] { one->CheckResponseError({}); }), gone);
  }
  EXPECT_EQ(object->GetID(), (TItemId{"AAMk", "CQAA"}));
}

TEST(EWSObject, IdIsCopiedInAndOut) {
  TFakeSession session;
  const auto object = MakeRef<TObject>(&session, false);
  EXPECT_EQ(object->GetID(), TItemId{});
  TItemId id{"a", "b"};
  object->SetId(id);
  id.Id = "changed";
  EXPECT_EQ(object->GetID(), (TItemId{"a", "b"}));
}

TEST(EWSObject, KeptCreatorLivesAsLongAsItsChild) {
  TFakeSession session;
  session.CreateRequest(nullptr, "m:GetItem", "");  // what the session keeps of its first request is not counted
  const std::int64_t before = VqLiveObjectCount();
  auto parent = MakeRef<TObject>(&session, true);
  TVqComponent* const address = parent.get();
  auto child = MakeRef<TObject>(parent.get(), true);
  parent = nullptr;
  EXPECT_EQ(VqLiveObjectCount(), before + 2) << "the parent is kept";
  EXPECT_EQ(child->GetCreatedBy(), address);
  child->CreateRequest(nullptr, "m:GetItem", "");
  child = nullptr;
  EXPECT_EQ(VqLiveObjectCount(), before) << "and goes with the child";
}

TEST(EWSObject, CreatorThatIsNotKeptMayGoFirstAndIsNoticed) {
  TFakeSession session;
  auto parent = MakeRef<TObject>(&session, true);
  const std::int64_t withParent = VqLiveObjectCount();
  const auto child = MakeRef<TObject>(parent.get(), false);
  parent = nullptr;
  EXPECT_EQ(VqLiveObjectCount(), withParent) << "no reference was counted: the parent is gone, the child is there";
  EXPECT_EQ(child->GetCreatedBy(), nullptr);
  EXPECT_EQ(PlainMessageOf([&] { child->CreateRequest(nullptr, "m:GetItem", ""); }),
            "The object that made this one is gone.");
  child->CreateHTTPClient(true);  // what asks the session alone still works
}

TEST(EWSObject, SessionIsNeverCounted) {
  TFakeSession session;
  const auto object = MakeRef<TObject>(&session, true);
  EXPECT_EQ(session._AddRef(), 2) << "its own count and this one";
  session._Release();
}

TEST(EWSObject, FiftyThousandObjectsOnOneSessionComeAndGoInLinearTime) {
  const auto seconds = [](int count) {
    TFakeSession session;
    const auto store = MakeRef<TObject>(&session, true);
    std::vector<TVqRef<TObject>> objects;
    const std::clock_t start = std::clock();  // of the processor: a machine with other work to do is no search
    for (int i = 0; i < count; ++i) objects.push_back(MakeRef<TObject>(store.get(), true));
    for (int i = 0; i < count; ++i) objects[static_cast<std::size_t>(i)] = nullptr;  // oldest first
    return static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
  };
  seconds(1000);
  const double small = seconds(5000), large = seconds(50000);
  // Ten times the work; a search among the others would make it a hundred times.
  EXPECT_LT(large, std::max(small, 0.002) * 40) << small << " s for 5,000, " << large << " s for 50,000";
}

TEST(EWSObject, FiftyThousandObjectsHearThatTheSessionIsGone) {
  auto session = std::make_unique<TFakeSession>();
  std::vector<TVqRef<TObject>> objects;
  for (int i = 0; i < 50000; ++i) objects.push_back(MakeRef<TObject>(session.get(), false));
  session.reset();
  for (const auto& object : objects) ASSERT_EQ(object->GetSession(), nullptr);
}

TEST(BaseSession, CookieAndTokenAreStored) {
  TFakeSession session;
  session.SetExchangeCookie("abc");
  EXPECT_EQ(session.GetExchangeCookie(), "abc");
  EXPECT_TRUE(session.GetAccessToken().GetExpired());
  TVqOAuthAccessToken token;
  token.Token = "t";
  session.SetAccessToken(token);
  token.Token = "other";
  EXPECT_EQ(session.GetAccessToken().Token, "t");
}

TEST(BaseSession, TimeZoneTableIsOpenToApplications) {
  TFakeSession session;
  EXPECT_EQ(session.TimezoneCount(), 134);
  std::set<string> ids;
  for (std::int32_t i = 0; i < session.TimezoneCount(); ++i) {
    const string id = session.GetTimezoneId(i);
    EXPECT_EQ(session.GetTimezoneOffset(id), EwsTimeZoneOffset(id)) << id;
    EXPECT_TRUE(ids.insert(id).second) << id;
  }
  EXPECT_EQ(session.GetTimezoneId(0), "AUS Central Standard Time") << "the dictionary has an order of its own";
  EXPECT_EQ(session.GetTimezoneId(133), "Yakutsk Standard Time");
  EXPECT_THROW(session.GetTimezoneId(134), EListError);
  EXPECT_THROW(session.GetTimezoneId(-1), EListError);
  EXPECT_EQ(session.GetTimezoneOffset("UTC+12"), 720);
  EXPECT_EQ(session.GetTimezoneOffset("Newfoundland Standard Time"), -210);
  EXPECT_EQ(session.GetTimezoneOffset("Nepal Standard Time"), 345);
  try {
    session.GetTimezoneOffset("Nowhere Standard Time");
    FAIL();
  } catch (const EEWSException& failure) {
    EXPECT_EQ(failure.Message(), "The specified TimezoneId is not valid!");
    EXPECT_EQ(failure.EWSErrorCode(), "");
    EXPECT_EQ(failure.HTTPErrorCode(), 0u);
  }
}

/// The places of these words in a header of the library, in the order of the words; they must rise.
void ExpectOrder(const char* header, const std::string& from, const std::vector<std::string>& words) {
  const auto root = std::filesystem::path(VELMORE_SOURCE_DIR);
  std::ifstream file(root / header);
  std::stringstream content;
  content << file.rdbuf();
  const std::string text = content.str();
  std::size_t at = text.find(from);
  ASSERT_NE(at, std::string::npos) << header;
  for (const std::string& word : words) {
    at = text.find(word + "(", at);
    ASSERT_NE(at, std::string::npos) << word << " is missing or out of its place in " << header;
    ++at;
  }
}

TEST(BaseSession, OrderOfDeclarationDiffersFromTheInterfaces) {
  ExpectOrder("ews/model/uVqEWSBase.h", "class TVqEWSBaseSession :",
              {"GetCredentials", "GetServiceURL", "GetServerVersion", "CreateHTTPClient", "CreateSOAPClient",
               "CreateRequest", "SetExchangeCookie", "SetAccessToken", "CheckResponseError"});
  ExpectOrder("ews/model/uVqEWSInterfaces.h", "class IVqEWSSession :",
              {"GetServiceURL", "GetCredentials", "GetServerVersion", "CreateHTTPClient", "CreateSOAPClient",
               "CreateRequest", "CheckResponseError"});
}

TEST(EWSObject, OrderOfDeclaration) {
  ExpectOrder("ews/model/uVqEWSInterfaces.h", "class IVqEWSObject :", {"GetID", "GetCreatedBy"});
  ExpectOrder("ews/model/uVqEWSBase.h", "class TVqEWSObject :", {"CreateRequest", "GetID", "SetId"});
}

}  // namespace
}  // namespace velmore
