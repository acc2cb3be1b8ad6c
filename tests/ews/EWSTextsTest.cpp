// The texts for a dialog, byte by byte: programs compare them, and translations are keyed by them.

#include <gtest/gtest.h>

#include "ews/session/uVqEWS.h"
#include "platform/common/uVqSysUtils.h"

namespace velmore {
namespace {

TEST(DialogTexts, AreTheseToTheLetter) {
  EXPECT_STREQ(_SEWSAuthorizeHint,
               "As an administrator, you can grant consent on behalf of all users in the active directory."
               "\r\n\r\n"
               "Granting admin consent for all users means that end users will not be shown a consent screen when "
               "using the application."
               "\r\n\r\n"
               "You can grant this permission on the \"Azure Active Directory Admin Center\" website.");
  EXPECT_STREQ(_SEWSAuthorizeItem, "Authorize (Desktop Applications, no credentials required)");
  EXPECT_STREQ(_SEWSPasswordItem, "Password (Desktop/Services, uses specified credentials)");
  EXPECT_STREQ(_SEWSClientCredentialsItem, "ClientCredentials (NT-Service Applications, uses impersonation)");
  EXPECT_STREQ(_SEWSCredentialsRequiredAD, "Credentials are required when using Autodiscover!");
  EXPECT_STREQ(_SEWSCredentialsRequiredPG, "Credentials are required when using the Password grant!");
  EXPECT_STREQ(_SEWSClientCredentialsGrantNoSMTP,
               "You must specify the SMTP address of a user whose messagestore you wish to open when using "
               "ClientCredentials grant!\r\nEither specify an ImpersonationId or use the Autodiscover E-Mail.");
  EXPECT_STREQ(_SEWSClientCredentialsGrantSMTPRequired,
               "Either a UserId or a Autodiscover E-Mail is required when using the ClientCredentials grant!");
  EXPECT_STREQ(_SEWSPasswordGrantNoCredentials,
               "You must specify logon credentials when using the Password grant!\r\n"
               "Both a username and password are required.");
  EXPECT_STREQ(_SEWSNoAuthEndpoint, "You must specify an Authorization Endpoint!");
  EXPECT_STREQ(_SEWSNoRedirectURI, "You must specify a redirect URI when using the Authorize grant!");
  EXPECT_STREQ(_SEWSNoTokenEndpoint, "You must specify a Token Endpoint!");
  EXPECT_STREQ(_SEWSNoClientID, "You must specify a ClientId/AppId when using OAuth!");
  EXPECT_STREQ(_SEWSNoScope, "You must specify a Scope when using OAuth!");
  EXPECT_STREQ(_SEWSNoGrantType, "You must specify a GrantType when using OAuth!");
  EXPECT_STREQ(_SEWSRedirectURIError, "The specified RedirectURI is invalid.\r\n%s");
  EXPECT_STREQ(_SEWSProfileOk, "The profile data is correct.\r\nPress OK to continue.");
  EXPECT_STREQ(_SEWSAdditionalStoreError,
               "Failed to open the additional store \"%s\"\r\n"
               "The following error occurred while trying to open the mailbox: %s");
}

TEST(DialogTexts, HintsAreOfReservedDomainsAndShowTheForm) {
  EXPECT_STREQ(_SEWSDefAutoDiscover, "Example: user@example.com");
  EXPECT_STREQ(_SEWSDefServiceUrl, "Example: https://mail.example.com/ews/exchange.asmx");
  EXPECT_STREQ(_SEWSDefRedirectUri, "http://localhost:<port>/<appname>");
  EXPECT_STREQ(_SEWSDefAuthEndPoint, "https://login.example.com/<tenant>/oauth2/v2.0/authorize");
  EXPECT_STREQ(_SEWSDefTokenEndPoint, "https://login.example.com/<tenant>/oauth2/v2.0/token");
}

TEST(DialogTexts, ValidRedirectURIIsMisspelledInNameAndText) {
  EXPECT_STREQ(_SWESSValidRedirectURI, "\"%s\" can be used a RedirectURI!");
  EXPECT_EQ(Format(_SWESSValidRedirectURI, {"http://localhost/app"}),
            "\"http://localhost/app\" can be used a RedirectURI!");
}

}  // namespace
}  // namespace velmore
