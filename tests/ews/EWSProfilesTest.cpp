// What holds for profiles wherever they are kept: each test runs over the file and over the registry, for the user and
// for the machine.

#include "EWSProfileTestSupport.h"

#include "platform/crypt/uVqCNG_p.h"
#include "platform/os/uVqFiles.h"

namespace velmore::testing {
namespace {

enum class TStore { File, UserRegistry, MachineRegistry };

class Profiles : public ProfileTest, public ::testing::WithParamInterface<TStore> {
 protected:
  Profiles()
      : FRegistry(MakeRef<TVqFileRegistry>(FFolder.Path("user.txt"), FFolder.Path("machine.txt"))),
        FStore(NewContainer()) {}

  /// Another container over the same store, as another program has it.
  std::unique_ptr<TVqEWSProfileCustomContainer> NewContainer() {
    if (GetParam() == TStore::File) {
      auto file = std::make_unique<TVqEWSProfileConfigFileContainer>(nullptr);
      file->SetFilename(FFolder.Path("profiles/Profiles.config"));
      return file;
    }
    auto registry = std::make_unique<TVqEWSProfileRegistryContainer>(nullptr);
    registry->SetRegistry(FRegistry);
    registry->SetRootKey(GetParam() == TStore::UserRegistry ? rkCurrentUser : rkLocalMachine);
    return registry;
  }
  TVqEWSProfileCustomContainer& Store() { return *FStore; }

  /// A secret as a profile has it that was made where secrets are protected in another way.
  static string FromTheOtherSystem() {
    const TVqBytes here = TVqDataProtection().Encrypt(TVqBytes(TBytes{1}), false);
    const std::string_view mark = here.View().starts_with(kVqBlobMark) ? kVqWindowsBlobMark : kVqBlobMark;
    return TVqBytes(TBytes(mark.begin(), mark.end())).Encode();
  }

  /// A setting as it stands in the store; nothing when it is not there.
  std::optional<string> Stored(const string& profile, const string& name) {
    if (GetParam() == TStore::File) {
      const IVqDOMElement element = Element(profile).SelectSingleElement(name, kSelectQuiet);
      return element ? std::optional(element.GetText()) : std::nullopt;
    }
    const auto key = Key(profile);
    return key->ValueExists(name) ? std::optional(key->ReadString(name)) : std::nullopt;
  }
  void SetStored(const string& profile, const string& name, const std::optional<string>& value) {
    if (GetParam() == TStore::File) {
      const IVqDOMElement element = Element(profile).SelectSingleElement(name, kSelectCreate);
      if (value) {
        element.SetText(*value);
      } else {
        element.GetParentElement().RemoveChild(element);
      }
      element.GetOwnerDocument().SaveToFile(FFolder.Path("profiles/Profiles.config"), true, false);
      return;
    }
    const auto key = Key(profile);
    if (value) {
      key->WriteString(name, *value);
    } else {
      key->DeleteValue(name);
    }
    key->Close();
  }

 private:
  IVqDOMElement Element(const string& profile) const {
    const TVqDOMDocument document;
    document.LoadFromFile(FFolder.Path("profiles/Profiles.config"));
    return document.SelectSingleElement("/profiles/Profile[@name=\"" + profile + "\"]", kSelectRequired);
  }
  TVqRef<IVqRegistryKey> Key(const string& profile) const {
    return FRegistry->OpenKey(
        GetParam() == TStore::UserRegistry ? TVqRegistryRoot::currentUser : TVqRegistryRoot::localMachine,
        "SOFTWARE\\Velmore\\EWS\\Profiles\\" + profile, kVqKeyRead | kVqKeyWrite, false);
  }

  TVqRef<IVqRegistry> FRegistry;
  std::unique_ptr<TVqEWSProfileCustomContainer> FStore;
};

INSTANTIATE_TEST_SUITE_P(, Profiles, ::testing::Values(TStore::File, TStore::UserRegistry, TStore::MachineRegistry),
                         [](const auto& store) {
                           return store.param == TStore::File           ? "File"
                                  : store.param == TStore::UserRegistry ? "UserRegistry"
                                                                        : "MachineRegistry";
                         });

TEST_P(Profiles, EverySettingComesBack) {
  Fill(FSession);
  Store().SaveProfile(FSession, "Anna");
  TVqEWSServiceSession loaded;
  EXPECT_TRUE(Store().LoadProfile(loaded, "Anna"));
  EXPECT_EQ(Settings(loaded), Settings(FSession));
  EXPECT_EQ(loaded.GetSecurityFlags().Bits(), 17);
}

TEST_P(Profiles, EmptySettingsComeBackOverThoseThatWereThere) {
  FSession.SetServiceUrl("https://mail.example.com/");
  Store().SaveProfile(FSession, "Anna");
  TVqEWSServiceSession loaded;
  Fill(loaded);
  loaded.SetSecurityFlags(TVqHTTPSecurityFlags::FromBits(0x1F));
  Store().LoadProfile(loaded, "Anna");
  EXPECT_EQ(Settings(loaded), Settings(FSession));
}

TEST_P(Profiles, EachSettingStandsUnderItsName) {
  FSession.SetServiceUrl("https://mail.example.com/");
  FSession.GetCredentials().SetPassword("p");
  Store().SaveProfile(FSession, "Anna");
  const char* texts[] = {
      "AutodiscoverEMail",      "ServiceURL",    "UserName",     "Password",      "PasswordEncryption",
      "ConnectingSIDType",      "ConnectingSID", "UserAgent",    "AccessType",    "ProxyServer",
      "ProxyUserName",          "ProxyPassword", "GrantType",    "AppID",         "ClientSecret",
      "ClientSecretEncryption", "RedirectURI",   "AuthEndpoint", "TokenEndpoint", "Scope"};
  for (const char* name : texts) EXPECT_TRUE(Stored("Anna", name)) << name;
  EXPECT_EQ(Stored("Anna", "ConnectingSIDType"), "SmtpAddress");
  EXPECT_EQ(Stored("Anna", "GrantType"), "none");
  EXPECT_EQ(Stored("Anna", "AccessType"), "preConfig");
  EXPECT_EQ(Stored("Anna", "UserAgent"), "Velmore EWS Client");
  for (const char* name :
       {"ProxyServerBypass", "TimeOuts", "NTService", "LogonDialog", "PasswordDialog", "CAFile", "StrictSchema"}) {
    EXPECT_EQ(Stored("Anna", name), std::nullopt) << name;
  }
}

TEST_P(Profiles, WhatIsNotPartOfAProfileStays) {
  Fill(FSession);
  Store().SaveProfile(FSession, "Anna");
  TVqEWSServiceSession loaded;
  loaded.SetProxyServerBypass("localhost");
  loaded.SetTimeOuts(TVqHTTPTimeOuts{1, 2, 3});
  loaded.SetCAFile("ca.pem");
  Store().LoadProfile(loaded, "Anna");
  EXPECT_EQ(loaded.GetProxyServerBypass(), "localhost");
  EXPECT_EQ(loaded.GetTimeOuts().GetSend(), 2);
  EXPECT_EQ(loaded.GetCAFile(), "ca.pem");
}

TEST_P(Profiles, ASettingThatIsNotThereLeavesTheSessionsValue) {
  FSession.SetServiceUrl("https://mail.example.com/");
  FSession.GetCredentials().SetUserName("saved");
  Store().SaveProfile(FSession, "Anna");
  for (const char* name :
       {"UserName", "Password", "AccessType", "Scope", "ClientSecret", "ConnectingSIDType", "GrantType"})
    SetStored("Anna", name, std::nullopt);
  TVqEWSServiceSession loaded;
  Fill(loaded);
  Store().LoadProfile(loaded, "Anna");
  EXPECT_EQ(loaded.GetCredentials().GetUserName(), Odd("CONTOSO\\anna"));
  EXPECT_EQ(loaded.GetCredentials().GetPassword(), Odd("password"));
  EXPECT_EQ(loaded.GetAccessType(), TVqHTTPAccessType::proxy);
  EXPECT_EQ(loaded.GetOAuth().GetScope(), Odd("scope"));
  EXPECT_EQ(loaded.GetOAuth().GetClientSecret(), Odd("secret"));
  EXPECT_EQ(loaded.GetConnectingSIDType(), csPrincipalName);
  EXPECT_EQ(loaded.GetOAuth().GetGrantType(), TVqOAuthGrantType::ClientCredentials);
}

TEST_P(Profiles, AnAddressClearsTheURLAndTheProfilesOwnURLIsSetBehindIt) {
  FSession.SetAutodiscoverEMail("anna@example.com");
  Store().SaveProfile(FSession, "Address");
  TVqEWSServiceSession loaded;
  loaded.SetServiceUrl("https://old.example.com/");
  Store().LoadProfile(loaded, "Address");
  EXPECT_EQ(loaded.GetServiceUrl(), "");
  SetStored("Address", "ServiceURL", std::nullopt);
  loaded.SetServiceUrl("https://old.example.com/");
  Store().LoadProfile(loaded, "Address");
  EXPECT_EQ(loaded.GetServiceUrl(), "") << "the address alone clears it";
  SetStored("Address", "ServiceURL", "https://new.example.com/");
  Store().LoadProfile(loaded, "Address");
  EXPECT_EQ(loaded.GetServiceUrl(), "https://new.example.com/");
  EXPECT_EQ(loaded.GetAutodiscoverEMail(), "anna@example.com");
}

TEST_P(Profiles, PasswordsAreProtectedInTheirScopes) {
  Fill(FSession);
  Store().SaveProfile(FSession, "Anna");
  const bool machine = GetParam() != TStore::UserRegistry;
  const string password = *Stored("Anna", "Password"), proxy = *Stored("Anna", "ProxyPassword"),
               secret = *Stored("Anna", "ClientSecret");
  EXPECT_EQ(IsForMachine(password), machine);
  EXPECT_EQ(Stored("Anna", "PasswordEncryption"), machine ? "Machine" : "User");
  EXPECT_FALSE(IsForMachine(proxy)) << "always for the user";
  EXPECT_EQ(IsForMachine(secret), machine);
  EXPECT_EQ(PlainOf(password).AsString(true), Odd("password")) << "16-bit units";
  EXPECT_EQ(PlainOf(proxy).AsString(true), Odd("proxy-password")) << "16-bit units";
  EXPECT_EQ(PlainOf(secret).AsString(false), Odd("secret")) << "UTF-8";
  // The two words are crossed in the registry, and right in the file.
  EXPECT_EQ(Stored("Anna", "ClientSecretEncryption"), GetParam() == TStore::MachineRegistry ? "User" : "Machine");
}

TEST_P(Profiles, PasswordsThatAreNotToBeStoredAreWrittenEmptyAndReadEmpty) {
  Fill(FSession);
  Store().SetStoreCredentials(false);
  Store().SetStoreProxyCredentials(false);
  Store().SaveProfile(FSession, "Anna");
  EXPECT_EQ(Stored("Anna", "Password"), "");
  EXPECT_EQ(Stored("Anna", "PasswordEncryption"), "");
  EXPECT_EQ(Stored("Anna", "ProxyPassword"), "");
  EXPECT_EQ(PlainOf(*Stored("Anna", "ClientSecret")).AsString(false), Odd("secret"))
      << "protected whatever StoreCredentials says";
  TVqEWSServiceSession loaded;
  loaded.GetCredentials().SetPassword("of the session");
  loaded.GetProxyCredentials().SetPassword("of the session");
  Store().LoadProfile(loaded, "Anna");
  EXPECT_EQ(loaded.GetCredentials().GetPassword(), "");
  EXPECT_EQ(loaded.GetProxyCredentials().GetPassword(), "");
  EXPECT_EQ(loaded.GetOAuth().GetClientSecret(), Odd("secret"));
}

TEST_P(Profiles, EachPasswordHasItsOwnSwitch) {
  Fill(FSession);
  Store().SetStoreCredentials(false);
  Store().SaveProfile(FSession, "Anna");
  EXPECT_EQ(Stored("Anna", "Password"), "");
  EXPECT_NE(Stored("Anna", "ProxyPassword"), "");
  Store().SetStoreCredentials(true);
  Store().SetStoreProxyCredentials(false);
  Store().SaveProfile(FSession, "Anna");
  EXPECT_NE(Stored("Anna", "Password"), "");
  EXPECT_NE(Stored("Anna", "PasswordEncryption"), "");
  EXPECT_EQ(Stored("Anna", "ProxyPassword"), "");
}

TEST_P(Profiles, APasswordOfBlanksIsNone) {
  Fill(FSession);
  FSession.GetCredentials().SetPassword(" \t ");
  FSession.GetProxyCredentials().SetPassword("  ");
  Store().SaveProfile(FSession, "Anna");
  EXPECT_EQ(Stored("Anna", "Password"), "");
  EXPECT_EQ(Stored("Anna", "ProxyPassword"), "");
  EXPECT_NE(Stored("Anna", "PasswordEncryption"), "") << "credentials are stored, empty as they are";
  SetStored("Anna", "Password", "   ");
  Store().LoadProfile(FSession, "Anna");
  EXPECT_EQ(FSession.GetCredentials().GetPassword(), "");
}

TEST_P(Profiles, TheWordBesideThePasswordIsNotRead) {
  Fill(FSession);
  Store().SaveProfile(FSession, "Anna");
  for (const char* word : {"", "User", "Machine", "nonsense"}) {
    SetStored("Anna", "PasswordEncryption", word);
    TVqEWSServiceSession loaded;
    Store().LoadProfile(loaded, "Anna");
    EXPECT_EQ(loaded.GetCredentials().GetPassword(), Odd("password"));
  }
}

TEST_P(Profiles, ASecretIsTakenAsItStandsWhenNoWordStandsBesideIt) {
  Fill(FSession);
  Store().SaveProfile(FSession, "Anna");
  for (const char* word : {"User", "Machine", "nonsense"}) {
    SetStored("Anna", "ClientSecretEncryption", word);
    TVqEWSServiceSession loaded;
    Store().LoadProfile(loaded, "Anna");
    EXPECT_EQ(loaded.GetOAuth().GetClientSecret(), Odd("secret")) << word;
  }
  SetStored("Anna", "ClientSecret", "plain");
  for (const std::optional<string>& word : {std::optional<string>(""), std::optional<string>()}) {
    SetStored("Anna", "ClientSecretEncryption", word);
    Store().LoadProfile(FSession, "Anna");
    EXPECT_EQ(FSession.GetOAuth().GetClientSecret(), "plain");
  }
  SetStored("Anna", "ClientSecretEncryption", "User");
  EXPECT_THROW(Store().LoadProfile(FSession, "Anna"), EConvertError) << "no base64";
}

TEST_P(Profiles, WithoutASecretNoKeyIsNeeded) {
  std::filesystem::remove_all(FFolder.Path("machine-key"));
  SaveSimple(Store(), "Anna");
  EXPECT_EQ(Stored("Anna", "ClientSecret"), "");
  TVqEWSServiceSession loaded;
  EXPECT_TRUE(Store().LoadProfile(loaded, "Anna"));
}

TEST_P(Profiles, AKeyThatIsMissingKeepsTheProfileFromBeingWritten) {
  SaveSimple(Store(), "Anna");
  Fill(FSession);
  std::filesystem::remove_all(FFolder.Path("machine-key"));
  ::mkdir(FFolder.Path("user-key").c_str(), 0777);
  ::chmod(FFolder.Path("user-key").c_str(), 0777);
  EXPECT_THROW(Store().SaveProfile(FSession, "Anna"), EVqDataProtection);
  EXPECT_EQ(Stored("Anna", "UserName"), "") << "as it was";
  EXPECT_THROW(Store().SaveProfile(FSession, "New"), EVqDataProtection);
  EXPECT_EQ(NamesOf(Store()), std::vector<string>{"Anna"});
}

TEST_P(Profiles, ASecretThatCannotBeReadLeavesTheSessionAsItWas) {
  Fill(FSession);
  Store().SaveProfile(FSession, "Anna");
  const std::pair<const char*, string> damages[] = {
      {"Password", "VqDP"}, {"Password", "?"}, {"ProxyPassword", "VnFEUAEB"}, {"ClientSecret", "VnFEUAEB"}};
  for (const auto& [name, text] : damages) {
    const string before = *Stored("Anna", name);
    SetStored("Anna", name, text);
    TVqEWSServiceSession loaded;
    loaded.SetServiceUrl("https://own.example.com/");
    const std::string settings = Settings(loaded);
    EXPECT_THROW(Store().LoadProfile(loaded, "Anna"), EVqException) << name;
    EXPECT_EQ(Settings(loaded), settings);
    SetStored("Anna", name, before);
  }
}

TEST_P(Profiles, OfAProfileFromAnotherSystemAllButTheSecretsIsRead) {
  Fill(FSession);
  Store().SaveProfile(FSession, "Anna");
  const std::string all = Settings(FSession);
  for (const char* name : {"Password", "ProxyPassword", "ClientSecret"}) {
    SCOPED_TRACE(name);
    const string before = *Stored("Anna", name);
    SetStored("Anna", name, FromTheOtherSystem());
    TVqEWSServiceSession loaded;
    loaded.GetCredentials().SetPassword("of another account");
    loaded.GetProxyCredentials().SetPassword("of another account");
    loaded.GetOAuth().SetClientSecret("of another account");
    try {
      Store().LoadProfile(loaded, "Anna");
      ADD_FAILURE() << "it was read";
    } catch (const EVqDataProtection& failure) {
      EXPECT_EQ(failure.GetFailure(), TVqProtectionFailure::otherSystem);
      EXPECT_TRUE(string(failure.what()).EndsWith("cannot be read here. Enter the secret anew.")) << failure.what();
    }
    const string secret = Odd(name == std::string("Password")        ? "password"
                              : name == std::string("ProxyPassword") ? "proxy-password"
                                                                     : "secret");
    std::string rest = all;
    const std::string line = std::string(name) + "=" + secret.utf8() + "\n";
    const std::size_t at = rest.find("\n" + line);
    ASSERT_NE(at, std::string::npos);
    rest.replace(at + 1, line.size(), std::string(name) + "=\n");
    EXPECT_EQ(Settings(loaded), rest) << "all else is there, and no secret of before";
    SetStored("Anna", name, before);
  }
}

TEST_P(Profiles, AnUnknownWordReadsAsTheFirst) {
  Fill(FSession);
  Store().SaveProfile(FSession, "Anna");
  for (const char* name : {"ConnectingSIDType", "AccessType", "GrantType"}) SetStored("Anna", name, "FromTheFuture");
  Store().LoadProfile(FSession, "Anna");
  EXPECT_EQ(FSession.GetConnectingSIDType(), csPrincipalName);
  EXPECT_EQ(FSession.GetAccessType(), TVqHTTPAccessType::preConfig);
  EXPECT_EQ(FSession.GetOAuth().GetGrantType(), TVqOAuthGrantType::none);
}

TEST_P(Profiles, EachWordOfAnEnumerationComesBack) {
  FSession.SetServiceUrl("https://mail.example.com/");
  const char* sids[] = {"PrincipalName", "SID", "PrimarySmtpAddress", "SmtpAddress"};
  const char* grants[] = {"none", "Authorize", "Password", "ClientCredentials"};
  const char* accesses[] = {"preConfig", "direct", "proxy"};
  for (int i = 0; i < 4; ++i) {
    FSession.SetConnectingSIDType(static_cast<TConnectingSIDType>(i));
    FSession.GetOAuth().SetGrantType(static_cast<TVqOAuthGrantType>(i));
    FSession.SetAccessType(static_cast<TVqHTTPAccessType>(i % 3));
    FSession.SetSecurityFlags(TVqHTTPSecurityFlags::FromBits(static_cast<std::uint8_t>(1 << i)));
    Store().SaveProfile(FSession, "Anna");
    EXPECT_EQ(Stored("Anna", "ConnectingSIDType"), sids[i]);
    EXPECT_EQ(Stored("Anna", "GrantType"), grants[i]);
    EXPECT_EQ(Stored("Anna", "AccessType"), accesses[i % 3]);
    TVqEWSServiceSession loaded;
    Store().LoadProfile(loaded, "Anna");
    EXPECT_EQ(Settings(loaded), Settings(FSession));
  }
}

TEST_P(Profiles, AProfileThatLeadsNowhereIsCorrupted) {
  Store().SaveProfile(FSession, "Anna");
  EXPECT_EQ(TextOf<EEWSException>([&] { Store().LoadProfile(FSession, "Anna"); }),
            "The \"Anna\" profile is corrupted.\r\nIt does not contain a ServiceUrl, nor an Autodiscover email "
            "address.\r\nPlease fix the profile "
            "information and try it again.");
}

TEST_P(Profiles, AStoreWithoutProfilesIsEmpty) {
  EXPECT_EQ(Store().GetDefaultProfileName(), "");
  EXPECT_TRUE(Store().GetPromptForProfile());
  TVqStrings names;
  names.Add("of the caller");
  EXPECT_EQ(Store().GetProfileNames(names), 0);
  EXPECT_EQ(names.Count(), 0);
  EXPECT_FALSE(Store().ProfileExists("Anna"));
  Store().DeleteProfile("Anna");
}

TEST_P(Profiles, ProfilesAreListedFoundAndDeleted) {
  for (const char* name : {"Zoe", "Anna", "Bob"}) SaveSimple(Store(), name);
  SaveSimple(Store(), "Anna", "https://again.example.com/");
  EXPECT_EQ(NamesOf(Store()), (std::vector<string>{"Zoe", "Anna", "Bob"}));
  EXPECT_TRUE(Store().ProfileExists("Anna"));
  EXPECT_EQ(Stored("Anna", "ServiceURL"), "https://again.example.com/");
  Store().DeleteProfile("Anna");
  EXPECT_FALSE(Store().ProfileExists("Anna"));
  EXPECT_EQ(NamesOf(Store()), (std::vector<string>{"Zoe", "Bob"}));
  Store().DeleteProfile("Anna");
  EXPECT_EQ(NamesOf(Store()).size(), 2U);
}

TEST_P(Profiles, TheDefaultIsEmptyOnceItsProfileIsGone) {
  for (const char* name : {"Anna", "Bob", "Carl"}) SaveSimple(Store(), name);
  Store().SetDefaultProfileName("Bob");
  Store().SetPromptForProfile(true);
  EXPECT_EQ(Store().GetDefaultProfileName(), "Bob");
  EXPECT_TRUE(Store().GetPromptForProfile());
  Store().SetPromptForProfile(false);
  EXPECT_FALSE(Store().GetPromptForProfile());
  Store().DeleteProfile("Bob");
  EXPECT_EQ(Store().GetDefaultProfileName(), "");
  Store().SetDefaultProfileName("Nobody");
  EXPECT_EQ(Store().GetDefaultProfileName(), "");
  Store().SetDefaultProfileName("");
  EXPECT_EQ(Store().GetDefaultProfileName(), "");
}

TEST_P(Profiles, MailboxesAreReplacedAsAWhole) {
  Fill(FSession);
  Store().SaveProfile(FSession, "Anna");
  TVqStrings fewer;
  fewer.Add("one@example.com");
  FSession.SetAdditionalMailboxes(fewer);
  Store().SaveProfile(FSession, "Anna");
  TVqEWSServiceSession loaded;
  Fill(loaded);
  Store().LoadProfile(loaded, "Anna");
  EXPECT_EQ(loaded.GetAdditionalMailboxes().GetText(), "one@example.com\r\n");
}

TEST_P(Profiles, NamesMayHoldWhatMarkupTripsOver) {
  const string names[] = {
      u"Grüße", u"\xD83D\xDE00", "a&b <c> 'd'", "say \"hello\"", "x\"]/../Profile[@name=\"y", "a/b", "100%", " ",
      "[0]"};
  for (const string& name : names)
    SaveSimple(Store(), name, "https://" + IntToStr(static_cast<std::int64_t>(name.Length())) + ".example.com/");
  SaveSimple(Store(), "y");
  for (const string& name : names) {
    TVqEWSServiceSession loaded;
    EXPECT_TRUE(Store().LoadProfile(loaded, name));
    EXPECT_EQ(loaded.GetServiceUrl(), "https://" + IntToStr(static_cast<std::int64_t>(name.Length())) + ".example.com/")
        << name;
    EXPECT_TRUE(Store().ProfileExists(name));
    Store().DeleteProfile(name);
    EXPECT_FALSE(Store().ProfileExists(name));
  }
  EXPECT_EQ(NamesOf(Store()), std::vector<string>{"y"});
}

TEST_P(Profiles, AProfileNeedsAName) {
  SaveSimple(Store(), "Anna");
  EXPECT_EQ(TextOf<EVqException>([&] { SaveSimple(Store(), ""); }), "A profile needs a name.");
  if (GetParam() != TStore::File) {
    EXPECT_EQ(TextOf<EVqException>([&] { Store().DeleteProfile(""); }), "A profile needs a name.")
        << "it would be the key of all";
    EXPECT_EQ(TextOf<EVqException>([&] { SaveSimple(Store(), "a\\b"); }),
              "The name of a profile in the registry must not contain a backslash.");
    EXPECT_EQ(TextOf<EVqException>([&] { Store().DeleteProfile("Anna\\AdditionalMailboxes"); }),
              "The name of a profile in the registry must not contain a backslash.");
  } else {
    Store().DeleteProfile("");
  }
  EXPECT_EQ(NamesOf(Store()), std::vector<string>{"Anna"});
}

TEST_P(Profiles, WhatAnotherProcessDidIsSeenAtTheNextCall) {
  SaveSimple(Store(), "Anna");
  const auto inAnother = [&](const std::function<void(TVqEWSProfileCustomContainer&)>& work) {
    EXPECT_EQ(ChildProcess([&] {
                work(*NewContainer());
                return 0;
              }).Wait(),
              0);
  };
  inAnother([](TVqEWSProfileCustomContainer& other) { SaveSimple(other, "Anna", "https://other.example.com/"); });
  Store().LoadProfile(FSession, "Anna");
  EXPECT_EQ(FSession.GetServiceUrl(), "https://other.example.com/");
  inAnother([](TVqEWSProfileCustomContainer& other) {
    SaveSimple(other, "Bob");
    other.SetDefaultProfileName("Bob");
    other.SetPromptForProfile(false);
  });
  EXPECT_EQ(NamesOf(Store()), (std::vector<string>{"Anna", "Bob"}));
  EXPECT_EQ(Store().GetDefaultProfileName(), "Bob");
  EXPECT_FALSE(Store().GetPromptForProfile());
  inAnother([](TVqEWSProfileCustomContainer& other) { other.DeleteProfile("Anna"); });
  EXPECT_EQ(NamesOf(Store()), std::vector<string>{"Bob"});
  SaveSimple(Store(), "Carl");
  EXPECT_EQ(NamesOf(Store()), (std::vector<string>{"Bob", "Carl"})) << "what the other one did is not taken back";
}

TEST_P(Profiles, ProcessesThatSaveAtOnceLoseNothing) {
  constexpr int kProcesses = 4, kProfiles = 3;
  std::vector<ChildProcess> children;
  for (int process = 0; process < kProcesses; ++process) {
    children.emplace_back([&, process] {
      const auto profiles = NewContainer();
      for (int i = 0; i < kProfiles; ++i)
        SaveSimple(*profiles, IntToStr(process) + "-" + IntToStr(i), "https://" + IntToStr(process) + ".example.com/");
      return 0;
    });
  }
  for (ChildProcess& child : children) EXPECT_EQ(child.Wait(), 0);
  EXPECT_EQ(NamesOf(Store()).size(), std::size_t{kProcesses * kProfiles});
  for (int process = 0; process < kProcesses; ++process) {
    for (int i = 0; i < kProfiles; ++i) {
      Store().LoadProfile(FSession, IntToStr(process) + "-" + IntToStr(i));
      EXPECT_EQ(FSession.GetServiceUrl(), "https://" + IntToStr(process) + ".example.com/");
    }
  }
}

TEST_P(Profiles, ASessionReachesThemThroughItsContainer) {
  FSession.SetServiceUrl("https://mail.example.com/");
  FSession.SetProfileContainer(&Store());
  FSession.SaveProfile("Anna");
  TVqStrings names;
  EXPECT_EQ(FSession.GetProfileNames(&names), 1);
  EXPECT_EQ(names.GetItem(0), "Anna");
  FSession.SetServiceUrl("");
  EXPECT_TRUE(FSession.LoadProfile("Anna"));
  EXPECT_EQ(FSession.GetServiceUrl(), "https://mail.example.com/");
  FSession.SetProfileContainer(nullptr);
}

TEST_P(Profiles, NoSecretStandsInTheStoreOrInATextOfAFailure) {
  Fill(FSession);
  Store().SaveProfile(FSession, "Anna");
  std::string all;
  for (const auto& file : std::filesystem::recursive_directory_iterator(FFolder.Path())) {
    if (file.is_regular_file()) all += TemporaryFolder::Read(file.path());
  }
  for (const char* secret : {"password & <", "password &amp;", "proxy-password", "secret &"})
    EXPECT_EQ(all.find(secret), std::string::npos) << secret;
}

TEST(ProfilePasswords, AreReadFromEitherScope) {
  const TemporaryFolder folder;
  const TVqKeyFolders before = VqGetKeyFolders();
  VqSetKeyFolders({folder.Path("user"), folder.Path()});
  const std::string text = TVqEWSProfileCustomContainer::EncryptPassword(u"Grüße");
  EXPECT_EQ(TVqEWSProfileCustomContainer::DecryptPassword(text), u"Grüße");
  EXPECT_EQ(TVqEWSProfileCustomContainer::DecryptPassword(
                TVqDataProtection().Encrypt(TVqBytes(string(u"Grüße"), true), true).Encode()),
            u"Grüße");
  for (const char* blank : {"", " ", "\r\n\t"}) {
    EXPECT_EQ(TVqEWSProfileCustomContainer::EncryptPassword(blank), "");
    EXPECT_EQ(TVqEWSProfileCustomContainer::DecryptPassword(blank), "");
  }
  VqSetKeyFolders(before);
}

}  // namespace
}  // namespace velmore::testing
