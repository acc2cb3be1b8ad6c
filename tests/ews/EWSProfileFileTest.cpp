// What is the file's own: its text, its versions, what keeps it whole.

#include "EWSProfileTestSupport.h"

#include <sys/resource.h>

#include <csignal>
#include <set>

#include "platform/os/uVqFiles.h"

namespace velmore::testing {
namespace {

class ProfileFile : public ProfileTest {
 protected:
  ProfileFile() { FProfiles.SetFilename(Name()); }

  std::string Name() const { return FFolder.Path("profiles/Profiles.config"); }
  std::string Text() const { return TemporaryFolder::Read(Name()); }
  void SetText(const std::string& text) {
    std::filesystem::create_directories(FFolder.Path("profiles"));
    TemporaryFolder::Write(Name(), text);
  }
  /// The names of the files beside the profiles' own.
  std::set<std::string> Beside() const {
    std::set<std::string> names;
    for (const auto& file : std::filesystem::directory_iterator(FFolder.Path("profiles")))
      names.insert(file.path().filename());
    names.erase("Profiles.config");
    names.erase("Profiles.config.lock");
    return names;
  }

  TVqEWSProfileConfigFileContainer FProfiles{nullptr};
};

constexpr char kDeclaration[] = "<?xml version=\"1.0\" encoding=\"utf-8\"?>";

TEST_F(ProfileFile, IsInTheUsersDataFolderUnlessToldOtherwise) {
  const TVqEWSProfileConfigFileContainer profiles(nullptr);
  EXPECT_EQ(profiles.GetFilename(), "%LOCALAPPDATA%\\Velmore\\EWS\\Profiles.config");
  ::setenv("LOCALAPPDATA", FFolder.Path("data").c_str(), 1);
  EXPECT_EQ(profiles.ExpandConfigFileName(), FFolder.Path("data/Velmore/EWS/Profiles.config"));
  ::unsetenv("LOCALAPPDATA");
  FProfiles.SetFilename("%VELMORE_NO_SUCH_VARIABLE%\\a");
  EXPECT_EQ(FProfiles.ExpandConfigFileName(), "%VELMORE_NO_SUCH_VARIABLE%/a") << "an unknown name stays as it stands";
}

TEST_F(ProfileFile, ANewOneHasAnEmptyRoot) {
  FProfiles.SetDefaultProfileName("EWS");
  EXPECT_EQ(Text(), std::string(kDeclaration) +
                        "<profiles xmlns=\"urn:velmore:ews:profiles\" version=\"1.0\" default=\"EWS\"/>");
  IVqDOMDocument document;
  FProfiles.DeleteConfig();
  EXPECT_FALSE(std::filesystem::exists(Name()));
  FProfiles.DeleteConfig();
  EXPECT_TRUE(FProfiles.GetConfig(true, document));
  EXPECT_EQ(document.GetXML(), "<profiles xmlns=\"urn:velmore:ews:profiles\" version=\"1.0\" default=\"EWS\"/>");
  EXPECT_FALSE(std::filesystem::exists(Name())) << "only its folders are made";
  EXPECT_FALSE(FProfiles.GetConfig(false, document));
  EXPECT_FALSE(document);
}

TEST_F(ProfileFile, HoldsEverySettingInItsOrder) {
  FSession.SetServiceUrl("https://mail.example.com/?a&b");
  FSession.SetSecurityFlags({TVqHTTPSecurityFlag::IgnoreUnknownCA});
  TVqStrings mailboxes;
  mailboxes.Add("team@example.com");
  FSession.SetAdditionalMailboxes(mailboxes);
  FProfiles.SetStoreCredentials(false);
  FProfiles.SaveProfile(FSession, "Anna");
  EXPECT_EQ(
      Text(),
      std::string(kDeclaration) +
          "<profiles xmlns=\"urn:velmore:ews:profiles\" version=\"1.0\" default=\"EWS\"><Profile "
          "name=\"Anna\"><UseAutoDiscover>false</UseAutoDiscover>"
          "<AutodiscoverEMail/><ServiceURL>https://mail.example.com/?a&amp;b</ServiceURL><UserName/><Password/"
          "><PasswordEncryption/>"
          "<ConnectingSIDType>SmtpAddress</ConnectingSIDType><ConnectingSID/><UserAgent>Velmore EWS Client</UserAgent>"
          "<AccessType>preConfig</AccessType><IgnoreUnknownCA>true</IgnoreUnknownCA><IgnoreInvalidCommonName>false</"
          "IgnoreInvalidCommonName>"
          "<IgnoreInvalidCertDate>false</IgnoreInvalidCertDate><IgnoreRevocation>false</"
          "IgnoreRevocation><IgnoreWrongUsage>false</IgnoreWrongUsage>"
          "<ProxyServer/><ProxyUserName/><ProxyPassword/><GrantType>none</GrantType><AppID/><ClientSecret/>"
          "<ClientSecretEncryption>Machine</ClientSecretEncryption><RedirectURI/><AuthEndpoint/><TokenEndpoint/><Scope/"
          ">"
          "<AdditionalMailboxes><Mailbox "
          "PrimarySMTPAddress=\"team@example.com\"/></AdditionalMailboxes></Profile></profiles>");
  EXPECT_EQ(TemporaryFolder::Mode(Name()), 0600U);
  EXPECT_EQ(TemporaryFolder::Mode(FFolder.Path("profiles")), 0700U);
}

TEST_F(ProfileFile, NamesAreFoundInWhateverCaseTheyStand) {
  SetText(
      "<profiles version='1.0' default='Bob'><Profile "
      "name='Anna'><serviceurl>https://a/</serviceurl><AdditionalMailboxes/></Profile>"
      "<profile Name='Bob'><ServiceURL>https://b/</ServiceURL><ADDITIONALMAILBOXES><any "
      "primarysmtpaddress='x@y'/></ADDITIONALMAILBOXES></profile></profiles>");
  EXPECT_EQ(NamesOf(FProfiles), (std::vector<string>{"Anna", "Bob"}));
  EXPECT_EQ(FProfiles.GetDefaultProfileName(), "Bob");
  FProfiles.SetDefaultProfileName("Anna");
  EXPECT_EQ(FProfiles.GetDefaultProfileName(), "Anna");
  EXPECT_NE(Text().find("default=\"Anna\""), std::string::npos) << "the attribute that was there";
  EXPECT_EQ(Text().find("Default"), std::string::npos);
  FProfiles.SetPromptForProfile(false);
  EXPECT_NE(Text().find(" PromptForProfile=\"false\""), std::string::npos);
  FProfiles.LoadProfile(FSession, "Bob");
  EXPECT_EQ(FSession.GetServiceUrl(), "https://b/");
  EXPECT_EQ(FSession.GetAdditionalMailboxes().GetText(), "x@y\r\n");
  SaveSimple(FProfiles, "Anna");
  EXPECT_EQ(Text().find("<ServiceURL>https://mail"), std::string::npos) << "the element that was there";
  EXPECT_NE(Text().find("<serviceurl>https://mail.example.com/</serviceurl>"), std::string::npos);
}

TEST_F(ProfileFile, WhatIsNotOursStays) {
  SetText(
      "<?xml version=\"1.0\"?><!-- by hand --><p:profiles xmlns:p=\"urn:velmore:ews:profiles\" version=\"1.0\" "
      "owner=\"me\"><p:Profile name=\"Anna\" note=\"x\">"
      "<p:Own>mine</p:Own><p:ServiceURL>https://a/</p:ServiceURL></p:Profile><p:Other/></p:profiles>");
  SaveSimple(FProfiles, "Anna");
  SaveSimple(FProfiles, "Bob");
  for (const char* kept : {"<!-- by hand -->", "owner=\"me\"", "note=\"x\"", "<p:Own>mine</p:Own>", "<p:Other/>",
                           "<p:Profile name=\"Bob\">", "<p:UserName/>"}) {
    EXPECT_NE(Text().find(kept), std::string::npos) << kept << " in " << Text();
  }
  EXPECT_EQ(NamesOf(FProfiles), (std::vector<string>{"Anna", "Bob"}));
}

TEST_F(ProfileFile, TheNameIsExpandedForGoodBySaving) {
  ::setenv("VELMORE_TEST_FOLDER", FFolder.Path().c_str(), 1);
  FProfiles.SetFilename("%VELMORE_TEST_FOLDER%\\profiles\\Profiles.config");
  EXPECT_EQ(NamesOf(FProfiles).size(), 0U);
  EXPECT_EQ(FProfiles.GetFilename(), "%VELMORE_TEST_FOLDER%\\profiles\\Profiles.config");
  SaveSimple(FProfiles, "Anna");
  EXPECT_EQ(FProfiles.GetFilename(), Name());
  ::unsetenv("VELMORE_TEST_FOLDER");
}

TEST_F(ProfileFile, ThePasswordOfAPersonIsForThatPerson) {
  const std::pair<TVqOAuthGrantType, const char*> grants[] = {{TVqOAuthGrantType::none, "Machine"},
                                                              {TVqOAuthGrantType::Authorize, "User"},
                                                              {TVqOAuthGrantType::Password, "Machine"},
                                                              {TVqOAuthGrantType::ClientCredentials, "Machine"}};
  Fill(FSession);
  for (const auto& [grant, word] : grants) {
    FSession.GetOAuth().SetGrantType(grant);
    FProfiles.SaveProfile(FSession, "Anna");
    IVqDOMDocument document;
    ASSERT_TRUE(FProfiles.GetConfig(false, document));
    const auto text = [&](const char* name) {
      return document.SelectSingleElement(string("/profiles/Profile/") + name, kSelectRequired).GetText();
    };
    EXPECT_EQ(text("PasswordEncryption"), word);
    EXPECT_EQ(IsForMachine(text("Password")), word == std::string("Machine"));
    EXPECT_TRUE(IsForMachine(text("ClientSecret"))) << "whatever the grant";
    EXPECT_EQ(text("ClientSecretEncryption"), "Machine");
  }
}

TEST_F(ProfileFile, ASettingsPresenceDecidesOverTheFlags) {
  SetText(
      "<profiles version='1.0'><Profile "
      "name='A'><ServiceURL>https://a/</ServiceURL><IgnoreUnknownCA>false</IgnoreUnknownCA>"
      "<IgnoreRevocation>true</IgnoreRevocation><AdditionalMailboxes/></Profile></profiles>");
  FSession.SetSecurityFlags({TVqHTTPSecurityFlag::IgnoreUnknownCA, TVqHTTPSecurityFlag::IgnoreWrongUsage});
  FProfiles.LoadProfile(FSession, "A");
  EXPECT_EQ(FSession.GetSecurityFlags(),
            TVqHTTPSecurityFlags({TVqHTTPSecurityFlag::IgnoreRevocation, TVqHTTPSecurityFlag::IgnoreWrongUsage}));
}

TEST_F(ProfileFile, WhyItCountsAsAbsentIsTold) {
  EXPECT_EQ(TextOf<EVqException>([&] { FProfiles.CheckConfig(); }), "The ConfigFile does not exist!");
  const std::pair<const char*, const char*> files[] = {{"", "No rootnode detected"},
                                                       {"<profiles version='2.0'/>", "Incorrect version"},
                                                       {"<profiles/>", "Incorrect version"},
                                                       {"<profiles version='1.0 '/>", "Incorrect version"}};
  for (const auto& [text, reason] : files) {
    SetText(text);
    EXPECT_EQ(TextOf<EVqException>([&] { FProfiles.CheckConfig(); }), reason) << text;
  }
  SetText("<profiles version='1.0'>");
  EXPECT_NE(TextOf<EVqException>([&] { FProfiles.CheckConfig(); }).find("line 1"), std::string::npos);
  SetText("<profiles version='1.0'/>");
  FProfiles.CheckConfig();
}

TEST_F(ProfileFile, AnotherVersionIsAbsentForReadersAndReplacedByASave) {
  const std::string old =
      "<profiles version=\"2.0\" default=\"Anna\" PromptForProfile=\"false\"><Profile "
      "name=\"Anna\"><ServiceURL>https://a/</ServiceURL><AdditionalMailboxes/></Profile></profiles>";
  SetText(old);
  EXPECT_EQ(FProfiles.GetDefaultProfileName(), "");
  EXPECT_TRUE(FProfiles.GetPromptForProfile());
  EXPECT_TRUE(NamesOf(FProfiles).empty());
  EXPECT_FALSE(FProfiles.LoadProfile(FSession, "Anna"));
  FProfiles.DeleteProfile("Anna");
  EXPECT_EQ(Text(), old);

  SaveSimple(FProfiles, "Bob");
  EXPECT_EQ(NamesOf(FProfiles), std::vector<string>{"Bob"}) << "its profiles are lost here";
  EXPECT_EQ(Beside(), std::set<std::string>{"Profiles.config.version-2.0"}) << "and not lost";
  EXPECT_EQ(TemporaryFolder::Read(FFolder.Path("profiles/Profiles.config.version-2.0")), old);
}

TEST_F(ProfileFile, WhatWasReplacedIsKeptUnderANameOfItsOwn) {
  const std::pair<std::string, std::string> files[] = {{"<profiles version='2.0'/>", "version-2.0"},
                                                       {"<profiles version='2.0' x=''/>", "version-2.0-2"},
                                                       {"<profiles version='2.0'/>", "version-2.0"},
                                                       {"<profiles/>", "version-none"},
                                                       {"<profiles version='../../x y'/>", "version-.._.._x_y"},
                                                       {"<profiles version='1.0'>", "damaged"},
                                                       {"no xml", "damaged-2"},
                                                       {"", ""}};
  std::set<std::string> expected;
  for (const auto& [text, suffix] : files) {
    SetText(text);
    FProfiles.SetPromptForProfile(true);
    if (!suffix.empty()) expected.insert("Profiles.config." + suffix);
    EXPECT_EQ(Beside(), expected);
    EXPECT_TRUE(suffix.empty() || TemporaryFolder::Read(Name() + "." + suffix) == text) << suffix;
    EXPECT_TRUE(FProfiles.GetPromptForProfile());
  }
}

TEST_F(ProfileFile, AFileThatIsNoXMLIsAnErrorForWhoLoadsFromIt) {
  SetText("<profiles version='1.0'><Profile");
  EXPECT_THROW(FProfiles.LoadProfile(FSession, "Anna"), EVqXMLError);
  EXPECT_TRUE(NamesOf(FProfiles).empty());
  SetText("<!DOCTYPE profiles SYSTEM 'http://example.com/'><profiles version='1.0'/>");
  EXPECT_THROW(FProfiles.LoadProfile(FSession, "Anna"), EVqXMLError);
}

TEST_F(ProfileFile, AnAbsentProfileRaisesAndAnAbsentFileDoesNot) {
  EXPECT_FALSE(FProfiles.LoadProfile(FSession, "Anna"));
  SaveSimple(FProfiles, "Bob");
  EXPECT_EQ(TextOf<EVqXMLError>([&] { FProfiles.LoadProfile(FSession, "Anna"); }),
            "There is no \"/Profiles/Profile[@name=\"Anna\"]\" in the document.");
  EXPECT_EQ(TextOf<EVqXMLError>([&] { FProfiles.LoadProfile(FSession, "bob"); }),
            "There is no \"/Profiles/Profile[@name=\"bob\"]\" in the document.")
      << "the case of a profile's name counts";
}

TEST_F(ProfileFile, TheListOfMailboxesMustBeThere) {
  SetText("<profiles version='1.0'><Profile name='A'><ServiceURL>https://a/</ServiceURL></Profile></profiles>");
  EXPECT_EQ(TextOf<EVqXMLError>([&] { FProfiles.LoadProfile(FSession, "A"); }),
            "There is no \"AdditionalMailboxes\" in \"Profile\".");
  EXPECT_EQ(FSession.GetServiceUrl(), "") << "and nothing was set";
}

TEST_F(ProfileFile, ATruthValueThatIsNoneLeavesTheSessionAsItWas) {
  SetText(
      "<profiles version='1.0' PromptForProfile='maybe'><Profile "
      "name='A'><ServiceURL>https://a/</ServiceURL><IgnoreUnknownCA>maybe</IgnoreUnknownCA>"
      "<AdditionalMailboxes/></Profile></profiles>");
  EXPECT_THROW(FProfiles.LoadProfile(FSession, "A"), EConvertError);
  EXPECT_EQ(FSession.GetServiceUrl(), "");
  EXPECT_THROW(FProfiles.GetPromptForProfile(), EConvertError);
}

TEST_F(ProfileFile, AFullDiskLeavesTheOldFile) {
  SaveSimple(FProfiles, "Anna");
  const std::string before = Text();
  const int code = ChildProcess([&] {
                     std::signal(SIGXFSZ, SIG_IGN);
                     const rlimit little{100, 100};
                     ::setrlimit(RLIMIT_FSIZE, &little);
                     try {
                       SaveSimple(FProfiles, "Bob");
                     } catch (const EVqFileError&) {
                       return 0;
                     }
                     return 1;
                   }).Wait();
  EXPECT_EQ(code, 0);
  EXPECT_EQ(Text(), before);
  EXPECT_TRUE(Beside().empty());
}

TEST_F(ProfileFile, WhatTheSystemDoesNotLetUsReadIsNotReplaced) {
  SaveSimple(FProfiles, "Anna");
  for (const char* folder : {"", "profiles"}) ::chmod(FFolder.Path(folder).c_str(), 0777);
  std::filesystem::remove(Name() + ".lock");  // which is its user's, too, and would be the first to be refused
  ::chmod(Name().c_str(), 0);
  const int code = RunUnprivileged([&] {
    IVqDOMDocument document;
    if (FProfiles.GetConfig(false, document) || !NamesOf(FProfiles).empty()) return 1;
    int refused = 0;
    const auto refuses = [&](const std::function<void()>& action) {
      try {
        action();
      } catch (const EVqFileError& failure) {
        refused += failure.Reason() == EVqFileError::TReason::accessDenied;
      }
    };
    refuses([&] { FProfiles.GetConfig(true, document); });
    refuses([&] { SaveSimple(FProfiles, "Bob"); });
    refuses([&] { FProfiles.SetPromptForProfile(true); });
    refuses([&] { FProfiles.LoadProfile(FSession, "Anna"); });
    return refused == 4 ? 0 : 2;
  });
  EXPECT_EQ(code, 0);
  ::chmod(Name().c_str(), 0600);
  EXPECT_EQ(NamesOf(FProfiles), std::vector<string>{"Anna"});
}

TEST_F(ProfileFile, AFolderThatCannotBeMadeIsAnError) {
  TemporaryFolder::Write(FFolder.Path("profiles"), "a file");
  EXPECT_THROW(SaveSimple(FProfiles, "Anna"), EVqFileError);
  IVqDOMDocument document;
  EXPECT_THROW(FProfiles.GetConfig(true, document), EVqFileError);
}

TEST_F(ProfileFile, AnotherProgramMayEditItInPlace) {
  SaveSimple(FProfiles, "Anna");
  std::string text = Text();
  text.replace(text.find("https://mail"), 12, "https://edit");  // the same length, at once
  SetText(text);
  FProfiles.LoadProfile(FSession, "Anna");
  EXPECT_EQ(FSession.GetServiceUrl(), "https://edit.example.com/");
}

TEST_F(ProfileFile, AssigningCopiesTheName) {
  FProfiles.SetStoreCredentials(false);
  FProfiles.SetStoreProxyCredentials(false);
  TVqEWSProfileConfigFileContainer other(nullptr);
  FProfiles.AssignTo(&other);
  EXPECT_EQ(other.GetFilename(), Name());
  EXPECT_FALSE(other.GetStoreCredentials());
  EXPECT_FALSE(other.GetStoreProxyCredentials());
  TVqEWSProfileRegistryContainer registry(nullptr);
  FProfiles.AssignTo(&registry);
  EXPECT_FALSE(registry.GetStoreCredentials()) << "what both have";
  TVqComponent component;
  EXPECT_THROW(FProfiles.AssignTo(&component), EVqException);
}

}  // namespace
}  // namespace velmore::testing
