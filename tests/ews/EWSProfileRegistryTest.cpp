// What is the registry's own: its layout, the rights with which keys are opened, the default that keeps itself.

#include "EWSProfileTestSupport.h"

namespace velmore::testing {
namespace {

/// Writes down with which rights keys are opened, and refuses what it is told to.
class TWatchedRegistry final : public TVqObject, public IVqRegistry {
 public:
  explicit TWatchedRegistry(TVqRef<IVqRegistry> inner) : FInner(std::move(inner)) {}

  TVqRef<IVqRegistryKey> OpenKey(TVqRegistryRoot ARoot, const string& APath, std::uint32_t AAccess,
                                 bool ACreate) override {
    Seen.push_back((ARoot == TVqRegistryRoot::currentUser ? "user " : "machine ") + APath.utf8() + " " +
                   std::to_string(AAccess) + (ACreate ? " create" : ""));
    if (Refused) throw EVqRegistryError("refused", kVqRegistryAccessDenied);
    return FInner->OpenKey(ARoot, APath, AAccess, ACreate);
  }
  bool DeleteKey(TVqRegistryRoot ARoot, const string& APath, std::uint32_t AAccess) override {
    Seen.push_back("delete " + APath.utf8() + " " + std::to_string(AAccess));
    return FInner->DeleteKey(ARoot, APath, AAccess);
  }

  std::vector<std::string> Seen;
  bool Refused = false;

 private:
  TVqRef<IVqRegistry> FInner;
};

class ProfileRegistry : public ProfileTest {
 protected:
  ProfileRegistry()
      : FRegistry(MakeRef<TWatchedRegistry>(
            TVqRef<IVqRegistry>(MakeRef<TVqFileRegistry>(FFolder.Path("user.txt"), FFolder.Path("machine.txt"))))) {
    FProfiles.SetRegistry(FRegistry);
    FProfiles.SetKey("P");
  }

  TVqRef<IVqRegistryKey> Key(const string& path) {
    return FRegistry->OpenKey(TVqRegistryRoot::currentUser, path, kVqKeyRead | kVqKeyWrite, false);
  }
  /// The rights since the last call.
  std::vector<std::string> Seen() { return std::exchange(FRegistry->Seen, {}); }

  TVqRef<TWatchedRegistry> FRegistry;
  TVqEWSProfileRegistryContainer FProfiles{nullptr};
};

TEST_F(ProfileRegistry, IsTheUsersUnlessToldOtherwise) {
  const TVqEWSProfileRegistryContainer profiles(nullptr);
  EXPECT_EQ(profiles.GetRootKey(), rkCurrentUser);
  EXPECT_EQ(profiles.GetKey(), "SOFTWARE\\Velmore\\EWS\\Profiles");
  EXPECT_FALSE(profiles.GetRegistry());
  EXPECT_TRUE(profiles.GetStoreCredentials());
  EXPECT_TRUE(profiles.GetStoreProxyCredentials());
}

TEST_F(ProfileRegistry, HasAKeyForEachProfileWithItsValuesInTheirOrder) {
  Fill(FSession);
  FProfiles.SaveProfile(FSession, "Anna");
  EXPECT_EQ(Key("P\\Anna")->GetValueNames(), (std::vector<string>{"UseAutoDiscover",
                                                                  "AutodiscoverEMail",
                                                                  "ServiceURL",
                                                                  "UserName",
                                                                  "Password",
                                                                  "PasswordEncryption",
                                                                  "ConnectingSIDType",
                                                                  "ConnectingSID",
                                                                  "UserAgent",
                                                                  "AccessType",
                                                                  "IgnoreUnknownCA",
                                                                  "IgnoreInvalidCommonName",
                                                                  "IgnoreInvalidCertDate",
                                                                  "IgnoreRevocation",
                                                                  "IgnoreWrongUsage",
                                                                  "ProxyServer",
                                                                  "ProxyUserName",
                                                                  "ProxyPassword",
                                                                  "GrantType",
                                                                  "AppID",
                                                                  "ClientSecret",
                                                                  "ClientSecretEncryption",
                                                                  "RedirectURI",
                                                                  "AuthEndpoint",
                                                                  "TokenEndpoint",
                                                                  "Scope"}));
  const auto key = Key("P\\Anna");
  EXPECT_FALSE(key->ReadBoolean("UseAutoDiscover"));
  EXPECT_TRUE(key->ReadBoolean("IgnoreInvalidCertDate"));
  EXPECT_TRUE(key->ReadBoolean("IgnoreWrongUsage"));
  EXPECT_FALSE(key->ReadBoolean("IgnoreUnknownCA"));
  EXPECT_EQ(key->GetKeyNames(), std::vector<string>{"AdditionalMailboxes"});
  const auto mailboxes = Key("P\\Anna\\AdditionalMailboxes");
  EXPECT_EQ(mailboxes->GetValueNames(), (std::vector<string>{"team@example.com", Odd("room@example.com")}));
  EXPECT_TRUE(mailboxes->ReadBoolean("team@example.com"));
  EXPECT_EQ(Key("P")->GetValueNames(), (std::vector<string>{"DefaultProfileName", "PromptForProfile"}));
}

TEST_F(ProfileRegistry, UseAutoDiscoverIsWrittenAsTheSessionTellsIt) {
  FSession.SetUseAutoDiscover(false);  // the field
  FSession.SetAutodiscoverEMail("anna@example.com");
  FProfiles.SaveProfile(FSession, "Anna");
  EXPECT_TRUE(Key("P\\Anna")->ReadBoolean("UseAutoDiscover")) << "without a URL it is true, whatever the field says";
}

TEST_F(ProfileRegistry, RightsAreThoseOfEachOperation) {
  SaveSimple(FProfiles, "Anna");
  EXPECT_EQ(Seen(),
            (std::vector<std::string>{"user P\\Anna 132127 create", "user P\\Anna\\AdditionalMailboxes 132127 create",
                                      "user P 131609", "user P 131615 create"}));
  FProfiles.LoadProfile(FSession, "Anna");
  EXPECT_EQ(Seen(),
            (std::vector<std::string>{"user P\\Anna 132121", "user P\\Anna\\AdditionalMailboxes 132121 create"}));
  NamesOf(FProfiles);
  FProfiles.GetDefaultProfileName();
  FProfiles.GetPromptForProfile();
  EXPECT_EQ(Seen(), (std::vector<std::string>{"user P 131609", "user P 131609", "user P 131609"}));
  FProfiles.SetDefaultProfileName("Anna");
  FProfiles.SetPromptForProfile(true);
  EXPECT_EQ(Seen(), (std::vector<std::string>{"user P 131615 create", "user P 131615 create"}));
  SaveSimple(FProfiles, "Bob");
  Seen();
  FProfiles.DeleteProfile("Anna");
  EXPECT_EQ(Seen(), (std::vector<std::string>{"delete P\\Anna 131615", "user P 131615", "user P 131609",
                                              "user P 131615 create"}));
  FProfiles.SetKey("Q");
  NamesOf(FProfiles);
  EXPECT_EQ(Seen(), (std::vector<std::string>{"user Q 131609", "user Q 131615 create", "user Q 131609"}))
      << "a right to read makes no key";
  FProfiles.SetRootKey(rkLocalMachine);
  FProfiles.GetPromptForProfile();
  EXPECT_EQ(Seen(), std::vector<std::string>{"machine Q 131609"});
}

TEST_F(ProfileRegistry, TheOnlyProfileIsTheDefault) {
  SaveSimple(FProfiles, "Anna");
  EXPECT_EQ(FProfiles.GetDefaultProfileName(), "Anna");
  EXPECT_FALSE(FProfiles.GetPromptForProfile());
  FProfiles.SetPromptForProfile(true);
  SaveSimple(FProfiles, "Bob");
  EXPECT_EQ(FProfiles.GetDefaultProfileName(), "Anna") << "a second one changes nothing of it";
  EXPECT_TRUE(FProfiles.GetPromptForProfile());
  FProfiles.DeleteProfile("Bob");
  EXPECT_FALSE(FProfiles.GetPromptForProfile()) << "alone again";
}

TEST_F(ProfileRegistry, DeletingTheDefaultLeavesNoneUnlessOneRemains) {
  for (const char* name : {"Anna", "Bob", "Carl"}) SaveSimple(FProfiles, name);
  FProfiles.SetPromptForProfile(true);
  EXPECT_EQ(FProfiles.GetDefaultProfileName(), "Anna");
  FProfiles.DeleteProfile("anna");
  EXPECT_EQ(Key("P")->ReadString("DefaultProfileName"), "") << "the registry does not mind case";
  EXPECT_TRUE(FProfiles.GetPromptForProfile());
  FProfiles.DeleteProfile("Bob");
  EXPECT_EQ(FProfiles.GetDefaultProfileName(), "Carl");
  EXPECT_FALSE(FProfiles.GetPromptForProfile());
  FProfiles.DeleteProfile("Carl");
  EXPECT_EQ(FProfiles.GetDefaultProfileName(), "");
}

TEST_F(ProfileRegistry, AProfileThatIsNotThereLeavesTheSessionToBeLookedAt) {
  FSession.SetServiceUrl("https://own.example.com/");
  for (const char* name : {"Nobody", "", "a\\b"}) {
    EXPECT_TRUE(FProfiles.LoadProfile(FSession, name)) << "nothing was set, and the session leads somewhere";
    EXPECT_EQ(FSession.GetServiceUrl(), "https://own.example.com/");
  }
  EXPECT_FALSE(Key("P")) << "no key was made by looking";
  FSession.SetServiceUrl("");
  EXPECT_EQ(TextOf<EEWSException>([&] { FProfiles.LoadProfile(FSession, "Nobody"); }).substr(0, 34),
            "The \"Nobody\" profile is corrupted.");
}

TEST_F(ProfileRegistry, LoadingMakesTheListOfMailboxes) {
  const auto key = FRegistry->OpenKey(TVqRegistryRoot::currentUser, "P\\ByHand", kVqKeyRead | kVqKeyWrite, true);
  key->WriteString("ServiceURL", "https://hand.example.com/");
  key->Close();
  Fill(FSession);
  FProfiles.LoadProfile(FSession, "ByHand");
  EXPECT_EQ(FSession.GetServiceUrl(), "https://hand.example.com/");
  EXPECT_EQ(FSession.GetAdditionalMailboxes().Count(), 0);
  EXPECT_EQ(FSession.GetSecurityFlags().Bits(), 0) << "the flags are cleared even when the profile has none of them";
  EXPECT_TRUE(Key("P\\ByHand\\AdditionalMailboxes"));
}

TEST_F(ProfileRegistry, WhatCannotBeOpenedIsEmptyAndAsksForAProfile) {
  SaveSimple(FProfiles, "Anna");
  FRegistry->Refused = true;
  EXPECT_EQ(FProfiles.GetDefaultProfileName(), "");
  EXPECT_TRUE(FProfiles.GetPromptForProfile());
  EXPECT_TRUE(NamesOf(FProfiles).empty());
  FSession.SetServiceUrl("https://own.example.com/");
  EXPECT_TRUE(FProfiles.LoadProfile(FSession, "Anna"));
  EXPECT_EQ(FSession.GetServiceUrl(), "https://own.example.com/");
  EXPECT_EQ(TextOf<EVqRegistryError>([&] { FProfiles.SetPromptForProfile(true); }), "refused");
  EXPECT_EQ(TextOf<EVqRegistryError>([&] { SaveSimple(FProfiles, "Bob"); }), "refused");
}

TEST_F(ProfileRegistry, ADamagedRegistryIsAnErrorAndNoEmptyOne) {
  TemporaryFolder::Write(FFolder.Path("user.txt"), "something else");
  TVqStrings names;
  EXPECT_THROW(FProfiles.GetDefaultProfileName(), EVqRegistryError);
  EXPECT_THROW(FProfiles.GetPromptForProfile(), EVqRegistryError);
  EXPECT_THROW(FProfiles.GetProfileNames(names), EVqRegistryError);
  EXPECT_THROW(FProfiles.LoadProfile(FSession, "Anna"), EVqRegistryError);
  EXPECT_THROW(SaveSimple(FProfiles, "Anna"), EVqRegistryError);
  EXPECT_EQ(TemporaryFolder::Read(FFolder.Path("user.txt")), "something else");
}

TEST_F(ProfileRegistry, AValueOfAnotherKindLeavesTheSessionAsItWas) {
  SaveSimple(FProfiles, "Anna");
  const auto key = Key("P\\Anna");
  key->WriteString("IgnoreUnknownCA", "true");
  key->Close();
  EXPECT_THROW(FProfiles.LoadProfile(FSession, "Anna"), EVqRegistryError);
  EXPECT_EQ(FSession.GetServiceUrl(), "");
}

TEST_F(ProfileRegistry, AssigningCopiesRootAndKey) {
  FProfiles.SetRootKey(rkLocalMachine);
  FProfiles.SetStoreCredentials(false);
  TVqEWSProfileRegistryContainer other(nullptr);
  FProfiles.AssignTo(&other);
  EXPECT_EQ(other.GetRootKey(), rkLocalMachine);
  EXPECT_EQ(other.GetKey(), "P");
  EXPECT_EQ(other.GetRegistry(), FProfiles.GetRegistry());
  EXPECT_FALSE(other.GetStoreCredentials());
  TVqComponent component;
  EXPECT_THROW(FProfiles.AssignTo(&component), EVqException);
}

TEST_F(ProfileRegistry, TheSystemsOwnIsUsedUnlessThereIsAnother) {
  ::setenv("LOCALAPPDATA", FFolder.Path("data").c_str(), 1);
  TVqEWSProfileRegistryContainer profiles(nullptr);
  SaveSimple(profiles, "Anna");
  EXPECT_TRUE(profiles.ProfileExists("Anna"));
  EXPECT_TRUE(std::filesystem::exists(FFolder.Path("data/Velmore/EWS/Registry.txt")));
  ::unsetenv("LOCALAPPDATA");
}

}  // namespace
}  // namespace velmore::testing
