#pragma once

/// What a dialog for the settings of a session says: hints, names of choices, and what is missing. In English, UTF-8,
/// lines end with CR LF; "%s" stands for what `Format` fills in.
///
///     if (oauth.GetScope().empty()) ShowMessage(_SEWSNoScope);
///
/// The library itself says none of this and checks nothing by it: a logon tells what is missing in its own words.
/// The names are reserved by the letter of the language, and are kept: programs and translations use them. Nothing here
/// raises or talks to a server.

namespace velmore {

// The names stay as they are, reserved or not.
// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp,readability-identifier-naming)

/// What an administrator can spare the users.
inline constexpr const char* _SEWSAuthorizeHint =
    "As an administrator, you can grant consent on behalf of all users in the active directory.\r\n\r\n"
    "Granting admin consent for all users means that end users will not be shown a consent screen when using the "
    "application.\r\n\r\n"
    "You can grant this permission on the \"Azure Active Directory Admin Center\" website.";

/// Hints in empty fields: an address, a service URL.
inline constexpr const char* _SEWSDefAutoDiscover = "Example: user@example.com";
inline constexpr const char* _SEWSDefServiceUrl = "Example: https://mail.example.com/ews/exchange.asmx";
/// A redirect URI.
inline constexpr const char* _SEWSDefRedirectUri = "http://localhost:<port>/<appname>";
/// The page of a log-on.
inline constexpr const char* _SEWSDefAuthEndPoint = "https://login.example.com/<tenant>/oauth2/v2.0/authorize";
/// Where tokens are asked for.
inline constexpr const char* _SEWSDefTokenEndPoint = "https://login.example.com/<tenant>/oauth2/v2.0/token";

/// A redirect URI is good. The name and the text are spelled so on purpose.
inline constexpr const char* _SWESSValidRedirectURI = "\"%s\" can be used a RedirectURI!";

/// The choices of a grant.
inline constexpr const char* _SEWSAuthorizeItem = "Authorize (Desktop Applications, no credentials required)";
inline constexpr const char* _SEWSPasswordItem = "Password (Desktop/Services, uses specified credentials)";
inline constexpr const char* _SEWSClientCredentialsItem =
    "ClientCredentials (NT-Service Applications, uses impersonation)";

/// What is missing, with Autodiscover and with each grant.
inline constexpr const char* _SEWSCredentialsRequiredAD = "Credentials are required when using Autodiscover!";
inline constexpr const char* _SEWSCredentialsRequiredPG = "Credentials are required when using the Password grant!";
inline constexpr const char* _SEWSClientCredentialsGrantNoSMTP =
    "You must specify the SMTP address of a user whose messagestore you wish to open when using ClientCredentials "
    "grant!\r\nEither specify an ImpersonationId or use the Autodiscover E-Mail.";
inline constexpr const char* _SEWSClientCredentialsGrantSMTPRequired =
    "Either a UserId or a Autodiscover E-Mail is required when using the ClientCredentials grant!";
inline constexpr const char* _SEWSPasswordGrantNoCredentials =
    "You must specify logon credentials when using the Password grant!\r\nBoth a username and password are required.";
inline constexpr const char* _SEWSNoAuthEndpoint = "You must specify an Authorization Endpoint!";
inline constexpr const char* _SEWSNoRedirectURI = "You must specify a redirect URI when using the Authorize grant!";
inline constexpr const char* _SEWSNoTokenEndpoint = "You must specify a Token Endpoint!";
inline constexpr const char* _SEWSNoClientID = "You must specify a ClientId/AppId when using OAuth!";
inline constexpr const char* _SEWSNoScope = "You must specify a Scope when using OAuth!";
inline constexpr const char* _SEWSNoGrantType = "You must specify a GrantType when using OAuth!";
inline constexpr const char* _SEWSRedirectURIError = "The specified RedirectURI is invalid.\r\n%s";

/// The outcome of a check; the additional mailbox that could not be opened, and why.
inline constexpr const char* _SEWSProfileOk = "The profile data is correct.\r\nPress OK to continue.";
inline constexpr const char* _SEWSAdditionalStoreError =
    "Failed to open the additional store \"%s\"\r\n"
    "The following error occurred while trying to open the mailbox: %s";

// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp,readability-identifier-naming)

}  // namespace velmore
