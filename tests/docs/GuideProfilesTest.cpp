// The code of the page on profiles, run.

#include <gtest/gtest.h>

#include "ews/VelmoreEWS.h"
#include "platform/crypt/uVqCNG.h"
#include "tests/support/EWSTestSupport.h"
#include "tests/support/TemporaryFolder.h"

using namespace velmore;

namespace velmore::testing {
namespace {

/// Folders of the test in place of the user's and the machine's.
class GuideProfiles : public EWSTest {
 protected:
  GuideProfiles() {
    ::setenv("LOCALAPPDATA", FFolder.Path("user").c_str(), 1);
    ::setenv("PROGRAMDATA", FFolder.Path("machine").c_str(), 1);
    std::filesystem::create_directories(FFolder.Path("machine/Velmore/EWS/Keys"));
  }
  ~GuideProfiles() override {
    ::unsetenv("LOCALAPPDATA");
    ::unsetenv("PROGRAMDATA");
  }

  TemporaryFolder FFolder;
};

TEST_F(GuideProfiles, AProfileIsMadeOnceAndNeedsItsNameAloneFromThenOn) {
  TVqEWSServiceSession alice;
  Configure(alice);
  const string url = alice.GetServiceUrl(), user = alice.GetCredentials().GetUserName(),
               password = alice.GetCredentials().GetPassword();

  TVqEWSProfileConfigFileContainer profiles(nullptr);
  TVqEWSServiceSession settings;
  settings.SetServiceUrl(url);
  settings.GetCredentials().SetUserName(user);
  settings.GetCredentials().SetPassword(password);
  profiles.SaveProfile(settings, "Anna");

  TVqEWSServiceSession session;
  session.SetProfileContainer(&profiles);
  session.SetProfileName("Anna");
  session.SetActive(true);  // loads the profile, then logs on
  EXPECT_TRUE(session.GetActive());
  EXPECT_EQ(session.OpenDefaultMsgStore()->GetFolder(dfininbox, "")->GetDisplayName(), "Inbox");
  EXPECT_TRUE(std::filesystem::exists(FFolder.Path("user/Velmore/EWS/Profiles.config")));
  session.SetActive(false);

  std::filesystem::remove_all(FFolder.Path("machine/Velmore/EWS/Keys"));
  std::filesystem::create_directories(FFolder.Path("machine/Velmore/EWS/Keys"));
  bool asked = false;
  const auto askForThePassword = [&] { asked = true; };
  TVqDataProtection().Encrypt(TVqBytes(string("another key")), true);
  try {
    session.LoadProfile("Anna");
  } catch (const EVqDataProtection& failure) {
    std::cerr << failure.what() << '\n';  // what to do, down to the command
    if (failure.GetFailure() == TVqProtectionFailure::otherKey) askForThePassword();
  }
  EXPECT_TRUE(asked);
}

TEST_F(GuideProfiles, KeysMayStandElsewhere) {
  const TVqKeyFolders before = VqGetKeyFolders();
  VqSetKeyFolders({"%LOCALAPPDATA%\\Contoso\\Keys", "/run/secrets/mail"});
  TVqDataProtection().Encrypt(TVqBytes(string("secret")), false);
  EXPECT_TRUE(std::filesystem::exists(FFolder.Path("user/Contoso/Keys/user.key")));
  VqSetKeyFolders(before);
}

TEST_F(GuideProfiles, AProfileByHandIsRead) {
  std::filesystem::create_directories(FFolder.Path("user/Velmore/EWS"));
  TemporaryFolder::Write(FFolder.Path("user/Velmore/EWS/Profiles.config"), R"(
<profiles xmlns="urn:velmore:ews:profiles" version="1.0" default="Backup">
  <Profile name="Backup">
    <ServiceURL>https://mail.example.com/EWS/Exchange.asmx</ServiceURL>
    <GrantType>ClientCredentials</GrantType>
    <AppID>11111111-2222-3333-4444-555555555555</AppID>
    <ClientSecret>in plain text</ClientSecret>
    <AdditionalMailboxes/>
  </Profile>
</profiles>
)");
  TVqEWSProfileConfigFileContainer profiles(nullptr);
  TVqEWSServiceSession session;
  EXPECT_EQ(profiles.GetDefaultProfileName(), "Backup");
  EXPECT_TRUE(profiles.LoadProfile(session, "Backup"));
  EXPECT_EQ(session.GetOAuth().GetClientSecret(), "in plain text");
  EXPECT_EQ(session.GetOAuth().GetGrantType(), TVqOAuthGrantType::ClientCredentials);
  profiles.SaveProfile(session, "Backup");
  EXPECT_EQ(TemporaryFolder::Read(FFolder.Path("user/Velmore/EWS/Profiles.config")).find("in plain text"),
            std::string::npos);
}

}  // namespace
}  // namespace velmore::testing
