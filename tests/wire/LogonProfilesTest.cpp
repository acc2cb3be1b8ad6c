// Profiles at logon: every branch, with a container in memory.

#include <algorithm>
#include <map>
#include <optional>

#include "SessionTestSupport.h"

namespace velmore::testing {
namespace {

/// Profiles in memory: each is a service URL.
class TMemoryContainer : public TVqEWSProfileCustomContainer {
 public:
  TMemoryContainer() : TVqEWSProfileCustomContainer(nullptr) {}

  string GetDefaultProfileName() override {
    Calls.push_back("GetDefaultProfileName");
    return Default;
  }
  bool GetPromptForProfile() override { return Prompt; }
  void SetPromptForProfile(bool AValue) override {
    Calls.push_back(AValue ? "SetPromptForProfile(true)" : "SetPromptForProfile(false)");
    Prompt = AValue;
  }
  void SetDefaultProfileName(const string& AValue) override {
    Calls.push_back("SetDefaultProfileName(" + AValue.utf8() + ")");
    Default = AValue;
  }
  std::int32_t GetProfileNames(TVqStrings& AStrings) override {
    Calls.push_back("GetProfileNames");
    AStrings.Clear();
    for (const auto& [name, url] : Profiles) AStrings.Add(string(name));
    return AStrings.Count();
  }
  void SaveProfile(TVqEWSCustomSession& ASession, const string& AProfileName) override {
    Calls.push_back("SaveProfile(" + AProfileName.utf8() + ")");
    if (Saves) Profiles[AProfileName.utf8()] = ASession.GetServiceUrl().utf8();
  }
  void DeleteProfile(const string& AProfileName) override { Profiles.erase(AProfileName.utf8()); }
  bool LoadProfile(TVqEWSCustomSession& ASession, const string& AProfileName) override {
    Calls.push_back("LoadProfile(" + AProfileName.utf8() + ")");
    const auto found = Profiles.find(AProfileName.utf8());
    if (found == Profiles.end()) return false;
    ASession.SetServiceUrl(string(found->second));
    ASession.SetAutodiscoverEMail("");
    TVqEWSProfileCustomContainer::LoadProfile(ASession, AProfileName);
    return true;
  }

  std::map<std::string, std::string> Profiles;
  string Default;
  bool Prompt = true;
  bool Saves = true;
  std::vector<std::string> Calls;
};

class LogonProfiles : public SessionTest {
 protected:
  LogonProfiles() {
    Session.SetProfileContainer(&Container);
    Session.SetLogonDialog(true);
    Session.OnCreateProfile = [this](const string& name) {
      Session.SetServiceUrl(Server.Url("/created"));
      return name.empty() ? string("New") : name;
    };
  }
  void AddProfile(const char* name) { Container.Profiles[name] = Server.Url(std::string("/") + name); }
  /// Logs on; gives the path that was probed.
  std::string Probed() {
    Server.Then(ProbeAnswer({}));
    Session.SetActive(true);
    return LastRequest().Target();
  }
  void ExpectRefused(const std::string& text) {
    ExpectRaised<EEWSException>([&] { Session.SetActive(true); },
                                [&](const EEWSException& failure) {
                                  EXPECT_EQ(failure.Message(), text);
                                  EXPECT_EQ(failure.EWSErrorCode(), "");
                                  EXPECT_EQ(failure.HTTPErrorCode(), 0u);
                                });
    EXPECT_FALSE(Session.GetActive());
    EXPECT_TRUE(Server.Requests().empty());
    EXPECT_EQ(std::count(Session.Calls.begin(), Session.Calls.end(), "SetWaitCursor(true)"), 0)
        << "the profile comes before the cursor";
  }

  TMemoryContainer Container;
};

// ---- Without a name

TEST_F(LogonProfiles, RequiredWithoutADialogToAskIsRefused) {
  AddProfile("A");
  Session.SetProfileRequired(true);
  Session.SetLogonDialog(false);
  ExpectRefused("One or more logon-parameters were invalid.");
  EXPECT_EQ(Container.Calls, Names{});
}

TEST_F(LogonProfiles, RequiredIsAskedForAndTheDefaultIsNotRead) {
  AddProfile("A");
  AddProfile("B");
  Container.Default = "A";
  Session.SetProfileRequired(true);
  Session.OnSelectProfile = [] { return string("B"); };
  EXPECT_EQ(Probed(), "/B");
  EXPECT_EQ(Container.Calls, (Names{"GetProfileNames", "LoadProfile(B)"}));
}

TEST_F(LogonProfiles, WithoutADefaultAPersonIsAsked) {
  AddProfile("A");
  Session.SetLogonDialog(false);  // counts only where a profile is required
  Session.OnSelectProfile = [] { return string("A"); };
  EXPECT_EQ(Probed(), "/A");
}

TEST_F(LogonProfiles, NothingSelected) {
  AddProfile("A");
  ExpectRefused("No profile selected!");
  EXPECT_EQ(Session.Calls, Names{"SelectProfile"});
}

TEST_F(LogonProfiles, SelectedProfileThatDoesNotLoad) {
  AddProfile("A");
  Session.OnSelectProfile = [] { return string("Gone \"x\""); };
  ExpectRefused("Failed to load profile \"Gone \"x\"\"!");
}

TEST_F(LogonProfiles, FirstProfileIsCreatedSavedAndMadeTheDefault) {
  EXPECT_EQ(Probed(), "/created");
  EXPECT_EQ(Session.Calls[0], "CreateProfile()");
  EXPECT_EQ(Container.Calls, (Names{"GetDefaultProfileName", "GetProfileNames", "SaveProfile(New)",
                                    "SetDefaultProfileName(New)", "SetPromptForProfile(false)"}));
  EXPECT_EQ(Container.Profiles.count("New"), 1u);
}

TEST_F(LogonProfiles, FirstProfileIsCreatedAlsoWhenOneIsRequired) {
  Session.SetProfileRequired(true);
  EXPECT_EQ(Probed(), "/created");
}

TEST_F(LogonProfiles, FirstProfileWithoutAName) {
  Session.OnCreateProfile = [](const string&) { return string(); };
  ExpectRefused("Failed to create a profile!");
  EXPECT_TRUE(Container.Profiles.empty());
}

TEST_F(LogonProfiles, SessionWithoutAUserInterfaceCreatesNone) {
  Session.OnCreateProfile = nullptr;
  ExpectRefused("Failed to create a profile!");
}

// ---- The default

TEST_F(LogonProfiles, DefaultIsLoaded) {
  AddProfile("A");
  Container.Default = "A";
  EXPECT_EQ(Probed(), "/A");
  EXPECT_EQ(Container.Calls, (Names{"GetDefaultProfileName", "LoadProfile(A)"}));
}

TEST_F(LogonProfiles, DefaultThatIsGoneIsCreatedAnewUnderItsName) {
  Container.Default = "A";
  EXPECT_EQ(Probed(), "/created");
  EXPECT_EQ(Session.Calls[0], "CreateProfile(A)");
  EXPECT_EQ(Container.Calls, (Names{"GetDefaultProfileName", "LoadProfile(A)", "SaveProfile(A)", "LoadProfile(A)"}));
}

TEST_F(LogonProfiles, DefaultThatStaysGone) {
  Container.Default = "A";
  Container.Saves = false;
  ExpectRefused("Failed to load profile \"A\"!");
}

TEST_F(LogonProfiles, NameThatTheCreationGivesDoesNotMatterForTheDefault) {
  Container.Default = "A";
  Session.OnCreateProfile = [this](const string&) {
    Session.SetServiceUrl(Server.Url("/created"));
    return string("Other");
  };
  EXPECT_EQ(Probed(), "/created");
  EXPECT_EQ(Container.Profiles.count("A"), 1u);
  EXPECT_EQ(Container.Profiles.count("Other"), 0u);
}

// ---- By name

TEST_F(LogonProfiles, NamedOneIsLoadedAndNobodyIsAsked) {
  AddProfile("A");
  AddProfile("B");
  Container.Default = "A";
  Session.SetProfileName("B");
  for (const bool required : {false, true}) {
    Session.SetProfileRequired(required);
    Session.SetLogonDialog(false);
    EXPECT_EQ(Probed(), "/B");
    Session.SetActive(false);
  }
  EXPECT_EQ(Container.Calls, (Names{"LoadProfile(B)", "LoadProfile(B)"}));
}

TEST_F(LogonProfiles, NamedOneThatIsGone) {
  Session.SetProfileName("B");
  ExpectRefused("Failed to load profile \"B\"!");
}

// ---- The rest

TEST_F(LogonProfiles, ProfileWithoutAnyAddressIsCorrupted) {
  Container.Profiles["A"] = "";
  Session.SetProfileName("A");
  ExpectRefused(
      "The \"A\" profile is corrupted.\r\nIt does not contain a ServiceUrl, nor an Autodiscover email address.\r\n"
      "Please fix the profile information and try it again.");
}

TEST_F(LogonProfiles, LoadedValuesStayAfterAFailedLogon) {
  AddProfile("A");
  Session.SetProfileName("A");
  Server.Then("HTTP/1.1 500 Broken\r\nContent-Length: 0\r\n\r\n");
  EXPECT_THROW(Session.SetActive(true), EVqHTTPException);
  EXPECT_EQ(Session.GetProfileName(), "A");
  EXPECT_EQ(Session.GetServiceUrl(), "") << "but the URL, as ever";
  EXPECT_EQ(Probed(), "/A") << "the next logon loads it again";
}

TEST_F(LogonProfiles, WithoutAContainerThereAreNone) {
  Session.SetProfileContainer(nullptr);
  TVqStrings names;
  names.Add("untouched");
  EXPECT_EQ(Session.GetProfileNames(&names), 0);
  EXPECT_EQ(names.Count(), 1);
  EXPECT_EQ(Session.GetProfileNames(nullptr), 0);
  EXPECT_FALSE(Session.LoadProfile("A"));
  Session.SaveProfile("A");
  Session.SetProfileName("A");
  Session.SetProfileRequired(true);
  Session.SetLogonDialog(false);
  EXPECT_EQ(Probed(), "/EWS/Exchange.asmx") << "logon asks for none";
}

TEST_F(LogonProfiles, NamesAreThoseOfTheContainer) {
  AddProfile("A");
  AddProfile("B");
  TVqStrings names;
  EXPECT_EQ(Session.GetProfileNames(&names), 2);
  EXPECT_EQ(names.GetItem(1), "B");
  EXPECT_EQ(Session.GetProfileNames(nullptr), 2);
  EXPECT_TRUE(Container.ProfileExists("A"));
  EXPECT_FALSE(Container.ProfileExists("C"));
}

TEST_F(LogonProfiles, ContainerThatGoesAwayIsForgotten) {
  auto container = std::make_unique<TMemoryContainer>();
  Session.SetProfileContainer(container.get());
  EXPECT_EQ(Session.GetProfileContainer(), container.get());
  container.reset();
  EXPECT_EQ(Session.GetProfileContainer(), nullptr);
}

TEST_F(LogonProfiles, ContainerThatWasReplacedIsNotListenedTo) {
  auto old = std::make_unique<TMemoryContainer>();
  Session.SetProfileContainer(old.get());
  Session.SetProfileContainer(&Container);
  old.reset();
  EXPECT_EQ(Session.GetProfileContainer(), &Container);
}

TEST(ProfileHooks, DefaultsOfASessionWithoutAUserInterface) {
  class TOpen : public TVqEWSCustomSession {
   public:
    using TVqEWSCustomSession::CreateProfile;
    using TVqEWSCustomSession::EditProfile;
    using TVqEWSCustomSession::SelectProfile;
    using TVqEWSCustomSession::SetWaitCursor;
    using TVqEWSCustomSession::TVqEWSCustomSession;
  } session(nullptr);
  session.SetWaitCursor(true);
  session.SetWaitCursor(false);
  EXPECT_EQ(session.SelectProfile(), "");
  EXPECT_FALSE(session.EditProfile("A"));
  ExpectRaised<EEWSException>(
      [&] { session.CreateProfile("A"); },
      [](const EEWSException& failure) { EXPECT_EQ(failure.Message(), "Failed to create a profile!"); });
}

}  // namespace
}  // namespace velmore::testing
