#include "ews/session/uVqEWSProfileSettings_p.h"

#include "ews/session/uVqEWS.h"
#include "platform/crypt/uVqCNG.h"

namespace velmore {
namespace {

using TSession = TVqEWSCustomSession;

/// What is special about a row.
enum class TRowKind { Text, Boolean, Flag, Password, PasswordWord, ProxyPassword, Secret, SecretWord };

struct TRow {
  std::string_view Name;
  TRowKind Kind;
  string (*Get)(TSession&);
  void (*Set)(TSession&, const string&);
  TVqHTTPSecurityFlag Flag{};

  bool IsBoolean() const { return Kind == TRowKind::Boolean || Kind == TRowKind::Flag; }
};

constexpr std::string_view kGrantTexts[] = {"none", "Authorize", "Password", "ClientCredentials"};
constexpr TVqEnumInfo kGrants{"TVqOAuthGrantType", kGrantTexts, 4};

// Getter and setter of a property of the session, or of one of its parts.
#define VQ_TEXT(part, property)                                              \
  [](TSession& session) -> string { return (session)part.Get##property(); }, \
      [](TSession& session, const string& text) { (session) part.Set##property(text); }

constexpr TRow kRows[] = {
    {"UseAutoDiscover", TRowKind::Boolean,
     [](TSession& session) -> string { return session.GetUseAutoDiscover() ? "1" : ""; },
     [](TSession& session, const string& text) { session.SetUseAutoDiscover(!text.empty()); }},
    {"AutodiscoverEMail", TRowKind::Text, VQ_TEXT(, AutodiscoverEMail)},
    {"ServiceURL", TRowKind::Text, VQ_TEXT(, ServiceUrl)},
    {"UserName", TRowKind::Text, VQ_TEXT(.GetCredentials(), UserName)},
    {"Password", TRowKind::Password, VQ_TEXT(.GetCredentials(), Password)},
    {"PasswordEncryption", TRowKind::PasswordWord, nullptr, nullptr},
    {"ConnectingSIDType", TRowKind::Text,
     [](TSession& session) { return VqEnumToText(session.GetConnectingSIDType()); },
     [](TSession& session, const string& text) {
       session.SetConnectingSIDType(VqTextToEnum<TConnectingSIDType>(text));
     }},
    {"ConnectingSID", TRowKind::Text, VQ_TEXT(, ConnectingSID)},
    {"UserAgent", TRowKind::Text, VQ_TEXT(, UserAgent)},
    {"AccessType", TRowKind::Text, [](TSession& session) { return VqHTTPAccessTypeText(session.GetAccessType()); },
     [](TSession& session, const string& text) {
       TVqHTTPAccessType type{};
       VqTryHTTPAccessType(text, type);
       session.SetAccessType(type);
     }},
    {"IgnoreUnknownCA", TRowKind::Flag, nullptr, nullptr, TVqHTTPSecurityFlag::IgnoreUnknownCA},
    {"IgnoreInvalidCommonName", TRowKind::Flag, nullptr, nullptr, TVqHTTPSecurityFlag::IgnoreInvalidCommonName},
    {"IgnoreInvalidCertDate", TRowKind::Flag, nullptr, nullptr, TVqHTTPSecurityFlag::IgnoreInvalidCertDate},
    {"IgnoreRevocation", TRowKind::Flag, nullptr, nullptr, TVqHTTPSecurityFlag::IgnoreRevocation},
    {"IgnoreWrongUsage", TRowKind::Flag, nullptr, nullptr, TVqHTTPSecurityFlag::IgnoreWrongUsage},
    {"ProxyServer", TRowKind::Text, VQ_TEXT(, ProxyServer)},
    {"ProxyUserName", TRowKind::Text, VQ_TEXT(.GetProxyCredentials(), UserName)},
    {"ProxyPassword", TRowKind::ProxyPassword, VQ_TEXT(.GetProxyCredentials(), Password)},
    {"GrantType", TRowKind::Text,
     [](TSession& session) -> string {
       return VqEnumTextOf(kGrants, static_cast<std::int32_t>(session.GetOAuth().GetGrantType()));
     },
     [](TSession& session, const string& text) {
       const std::int32_t value = VqEnumValueOf(kGrants, text.utf8());
       session.GetOAuth().SetGrantType(value < 0 ? TVqOAuthGrantType::none : static_cast<TVqOAuthGrantType>(value));
     }},
    {"AppID", TRowKind::Text, VQ_TEXT(.GetOAuth(), ClientId)},
    {"ClientSecret", TRowKind::Secret, VQ_TEXT(.GetOAuth(), ClientSecret)},
    {"ClientSecretEncryption", TRowKind::SecretWord, nullptr, nullptr},
    {"RedirectURI", TRowKind::Text, VQ_TEXT(.GetOAuth(), RedirectURI)},
    {"AuthEndpoint", TRowKind::Text, VQ_TEXT(.GetOAuth(), AuthorizationEndpoint)},
    {"TokenEndpoint", TRowKind::Text, VQ_TEXT(.GetOAuth(), TokenEndpoint)},
    {"Scope", TRowKind::Text, VQ_TEXT(.GetOAuth(), Scope)},
};
#undef VQ_TEXT

/// Of UTF-16, as all passwords of profiles are.
string ProtectedPassword(const string& password, bool machine) {
  if (!machine) return TVqEWSProfileCustomContainer::EncryptPassword(password);
  if (password.Trim().empty()) return {};
  TVqBytes plain(password, true);
  const TVqWiped wiped(plain);
  return TVqDataProtection().Encrypt(plain, true).Encode();
}

/// Of UTF-8. Without a secret there is nothing to protect, and no key needs to be there.
string ProtectedSecret(const string& secret, bool machine) {
  if (secret.empty()) return {};
  TVqBytes plain(secret, false);
  const TVqWiped wiped(plain);
  return TVqDataProtection().Encrypt(plain, machine).Encode();
}

string PlainSecret(const string& text, const string& word) {
  if (text.empty() || word.empty()) return text;
  TVqBytes plain = TVqDataProtection().Decrypt(TVqBytes::Decode(text.utf8()));
  const TVqWiped wiped(plain);
  return plain.AsString(false);
}

}  // namespace

std::vector<TVqEWSProfileValue> EwsProfileOf(TVqEWSCustomSession& session,
                                             const TVqEWSProfileCustomContainer& container,
                                             const TVqEWSProfileScopes& scopes) {
  std::vector<TVqEWSProfileValue> values;
  for (const TRow& row : kRows) {
    TVqEWSProfileValue& value = values.emplace_back(TVqEWSProfileValue{row.Name, row.IsBoolean(), false, {}});
    switch (row.Kind) {
      case TRowKind::Text:
        value.Text = row.Get(session);
        break;
      case TRowKind::Boolean:
        value.Boolean = !row.Get(session).empty();
        break;
      case TRowKind::Flag:
        value.Boolean = session.GetSecurityFlags().Contains(row.Flag);
        break;
      case TRowKind::Password:
        if (container.GetStoreCredentials())
          value.Text = ProtectedPassword(row.Get(session), scopes.PasswordForMachine);
        break;
      case TRowKind::PasswordWord:
        if (container.GetStoreCredentials()) value.Text = scopes.PasswordForMachine ? "Machine" : "User";
        break;
      case TRowKind::ProxyPassword:
        if (container.GetStoreProxyCredentials()) value.Text = ProtectedPassword(row.Get(session), false);
        break;
      case TRowKind::Secret:
        value.Text = ProtectedSecret(row.Get(session), scopes.SecretForMachine);
        break;
      case TRowKind::SecretWord:
        value.Text = scopes.SecretWord;
        break;
    }
  }
  return values;
}

std::exception_ptr EwsApplyProfile(TVqEWSCustomSession& session, const TVqEWSProfileReader& reader, bool resetFlags) {
  std::exception_ptr foreign;
  const auto readable = [&foreign](auto secret) -> string {
    try {
      return secret();
    } catch (const EVqDataProtection& failure) {
      if (failure.GetFailure() != TVqProtectionFailure::otherSystem) throw;
      foreign = std::current_exception();
      return {};  // never the session's own, which may be of another account
    }
  };
  struct TFound {
    const TRow* Row;
    TVqEWSProfileValue Value;
  };
  std::vector<TFound> found;
  TFound* secret = nullptr;
  found.reserve(std::size(kRows));  // the secret stays where it is
  for (const TRow& row : kRows) {
    TVqEWSProfileValue value{row.Name, row.IsBoolean(), false, {}};
    if (!reader(value)) continue;
    if (row.Kind == TRowKind::SecretWord && secret)
      secret->Value.Text = readable([&] { return PlainSecret(secret->Value.Text, value.Text); });
    if (row.Kind == TRowKind::PasswordWord || row.Kind == TRowKind::SecretWord) continue;
    if (row.Kind == TRowKind::Password || row.Kind == TRowKind::ProxyPassword) {
      value.Text = readable([&] { return TVqEWSProfileCustomContainer::DecryptPassword(value.Text.utf8()); });
    }
    found.push_back({&row, std::move(value)});
    if (row.Kind == TRowKind::Secret) secret = &found.back();
  }

  if (resetFlags) session.SetSecurityFlags({});
  for (TFound& setting : found) {
    TVqEWSProfileValue& value = setting.Value;
    if (setting.Row->Kind == TRowKind::Flag) {
      const TVqHTTPSecurityFlags flags = session.GetSecurityFlags();
      session.SetSecurityFlags(value.Boolean ? flags + setting.Row->Flag : flags - setting.Row->Flag);
    } else {
      setting.Row->Set(session, value.IsBoolean ? string(value.Boolean ? "1" : "") : value.Text);
    }
    VqWipe(value.Text);  // some of them are secrets
  }
  return foreign;
}

void EwsCheckProfileName(const string& name, bool inRegistry) {
  if (name.empty()) throw EVqException("A profile needs a name.");
  if (inRegistry && name.Contains("\\"))
    throw EVqException("The name of a profile in the registry must not contain a backslash.");
}

}  // namespace velmore
