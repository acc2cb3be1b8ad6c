#pragma once

// Sessions with every setting of a profile, and stores that are gone with the test.

#include <gtest/gtest.h>

#include <string>

#include "ews/session/uVqEWS.h"
#include "ews/session/uVqEWSProfileFile.h"
#include "ews/session/uVqEWSProfileRegistry.h"
#include "platform/crypt/uVqCNG.h"
#include "platform/os/uVqFileRegistry.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryFolder.h"

namespace velmore::testing {

/// Keys in a folder of the test.
class ProfileTest : public ::testing::Test {
 protected:
  ProfileTest() : FKeyFolders(VqGetKeyFolders()) {
    std::filesystem::create_directory(FFolder.Path("machine-key"));
    VqSetKeyFolders({FFolder.Path("user-key"), FFolder.Path("machine-key")});
  }
  ~ProfileTest() override { VqSetKeyFolders(FKeyFolders); }

  /// A text for each setting, with what markup and formats trip over.
  static string Odd(const char* name) { return string(name) + u" & <\"\\%41\x00E4\xD83D\xDE00>"; }

  static void Fill(TVqEWSCustomSession& session) {
    session.SetUseAutoDiscover(false);
    session.SetAutodiscoverEMail("anna@example.com");
    session.SetServiceUrl("https://mail.example.com/EWS/Exchange.asmx?a=1&b=%20");
    session.GetCredentials().SetUserName(Odd("CONTOSO\\anna"));
    session.GetCredentials().SetPassword(Odd("password"));
    session.SetConnectingSIDType(csPrincipalName);
    session.SetConnectingSID(Odd("sid"));
    session.SetUserAgent(Odd("agent"));
    session.SetAccessType(TVqHTTPAccessType::proxy);
    session.SetSecurityFlags({TVqHTTPSecurityFlag::IgnoreInvalidCertDate, TVqHTTPSecurityFlag::IgnoreWrongUsage});
    session.SetProxyServer(Odd("proxy"));
    session.GetProxyCredentials().SetUserName(Odd("proxy-user"));
    session.GetProxyCredentials().SetPassword(Odd("proxy-password"));
    session.GetOAuth().SetGrantType(TVqOAuthGrantType::ClientCredentials);
    session.GetOAuth().SetClientId(Odd("id"));
    session.GetOAuth().SetClientSecret(Odd("secret"));
    session.GetOAuth().SetRedirectURI(Odd("redirect"));
    session.GetOAuth().SetAuthorizationEndpoint(Odd("authorize"));
    session.GetOAuth().SetTokenEndpoint(Odd("token"));
    session.GetOAuth().SetScope(Odd("scope"));
    TVqStrings mailboxes;
    mailboxes.Add("team@example.com");
    mailboxes.Add(Odd("room@example.com"));
    session.SetAdditionalMailboxes(mailboxes);
  }

  /// Everything of a session that a profile holds, a line each.
  static std::string Settings(TVqEWSCustomSession& session) {
    string text;
    const auto add = [&text](const char* name, const string& value) { text += string(name) + "=" + value + "\n"; };
    add("UseAutoDiscover", session.GetUseAutoDiscover() ? "yes" : "no");
    add("AutodiscoverEMail", session.GetAutodiscoverEMail());
    add("ServiceUrl", session.GetServiceUrl());
    add("UserName", session.GetCredentials().GetUserName());
    add("Password", session.GetCredentials().GetPassword());
    add("ConnectingSIDType", IntToStr(session.GetConnectingSIDType()));
    add("ConnectingSID", session.GetConnectingSID());
    add("UserAgent", session.GetUserAgent());
    add("AccessType", VqHTTPAccessTypeText(session.GetAccessType()));
    add("SecurityFlags", IntToStr(session.GetSecurityFlags().Bits()));
    add("ProxyServer", session.GetProxyServer());
    add("ProxyUserName", session.GetProxyCredentials().GetUserName());
    add("ProxyPassword", session.GetProxyCredentials().GetPassword());
    add("GrantType", IntToStr(static_cast<int>(session.GetOAuth().GetGrantType())));
    add("ClientId", session.GetOAuth().GetClientId());
    add("ClientSecret", session.GetOAuth().GetClientSecret());
    add("RedirectURI", session.GetOAuth().GetRedirectURI());
    add("AuthorizationEndpoint", session.GetOAuth().GetAuthorizationEndpoint());
    add("TokenEndpoint", session.GetOAuth().GetTokenEndpoint());
    add("Scope", session.GetOAuth().GetScope());
    for (const string& mailbox : session.GetAdditionalMailboxes()) add("Mailbox", mailbox);
    return text.utf8();
  }

  static std::vector<string> NamesOf(TVqEWSProfileCustomContainer& profiles) {
    TVqStrings names;
    const std::int32_t count = profiles.GetProfileNames(names);
    EXPECT_EQ(count, names.Count());
    return {names.begin(), names.end()};
  }
  /// Saves a profile with nothing in it but an address.
  static void SaveSimple(TVqEWSProfileCustomContainer& profiles, const string& name,
                         const string& url = "https://mail.example.com/") {
    TVqEWSServiceSession session;
    session.SetServiceUrl(url);
    profiles.SaveProfile(session, name);
  }
  /// The bytes behind a protected text, and its scope.
  static TVqBytes PlainOf(const string& text) { return TVqDataProtection().Decrypt(TVqBytes::Decode(text.utf8())); }
  static bool IsForMachine(const string& text) {
    return TVqBytes::Decode(text.utf8()).View().substr(0, 6) == std::string_view("VqDP\x01\x02");
  }

  template <typename T, typename TAction>
  static std::string TextOf(TAction action) {
    try {
      action();
    } catch (const T& failure) {
      EXPECT_STREQ(typeid(failure).name(), typeid(T).name());
      return failure.what();
    }
    ADD_FAILURE() << "no exception";
    return {};
  }

  TemporaryFolder FFolder;
  TVqKeyFolders FKeyFolders;
  TVqEWSServiceSession FSession;
};

}  // namespace velmore::testing
