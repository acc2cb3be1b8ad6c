#include "platform/http/uVqHTTPOAuthGrants_p.h"

#include <algorithm>
#include <limits>

#include "platform/common/uVqDateTimeUtils.h"
#include "platform/common/uVqJSON.h"
#include "platform/common/uVqNetEncoding.h"
#include "platform/crypt/internal/uVqDigest.h"
#include "platform/crypt/uVqCNG.h"
#include "platform/http/internal/uVqHTTPText.h"
#include "platform/http/uVqHTTPEngine_p.h"
#include "platform/http/uVqURL.h"

namespace velmore {
namespace {

constexpr std::size_t kVerifierBytes = 32;  // 43 characters, the least that RFC 7636 allows
constexpr std::size_t kStateBytes = 16;
constexpr std::size_t kShortestSecret = 4;  // what is shorter stands in any text
constexpr std::size_t kLongestWord = 200;   // of a server, in a text for people
constexpr std::size_t kLongestDescription = 2000;
constexpr double kSecond = 1.0 / (24 * 60 * 60);
constexpr double kLongestLife = 100.0 * 365 * 24 * 60 * 60;  // in seconds: no token, and no date, goes farther

bool IsUnreserved(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
         std::string_view("-._~").find(c) != std::string_view::npos;
}

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

std::string Decoded(std::string_view text) {
  std::string decoded;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const bool escape =
        text[at] == '%' && at + 2 < text.size() && HexDigit(text[at + 1]) >= 0 && HexDigit(text[at + 2]) >= 0;
    if (escape) {
      decoded += static_cast<char>(HexDigit(text[at + 1]) * 16 + HexDigit(text[at + 2]));
      at += 2;
    } else {
      decoded += text[at] == '+' ? ' ' : text[at];
    }
  }
  return decoded;
}

/// A word of the server's as it may be shown: without what was sent, and without what would break a line.
string Shown(const string& text, const std::vector<std::string>& secrets, std::size_t most) {
  std::string shown = text.utf8();
  for (const std::string& secret : secrets) {
    for (const std::string& form : {secret, VqFormEncode(secret)}) {
      if (form.size() < kShortestSecret) continue;
      static constexpr std::string_view kMask = "****";
      for (std::size_t at = 0; (at = shown.find(form, at)) != std::string::npos; at += kMask.size())
        shown.replace(at, form.size(), kMask);
    }
  }
  return VqShownText(shown, most);
}

string Refusal(const TVqOAuthQuestion& question, const string& why) {
  return Format("The OAuth grant \"%s\" got no access token from \"%s\": %s",
                {VqOAuthGrantName(question.Grant), VqShownAddress(question.Endpoint, kLongestWord), why});
}

[[noreturn]] void Refuse(const TVqOAuthQuestion& question, const string& why, std::uint32_t number) {
  throw EVqOAuthException(Refusal(question, why), number);
}

/// Raises with what the server said: "invalid_grant (The password is wrong.)."
[[noreturn]] void RefuseWith(const TVqOAuthQuestion& question, const string& error, const string& description,
                             const string& uri, std::uint32_t number) {
  const string code = Shown(error, question.Secrets, kLongestWord);
  const string words = Shown(description, question.Secrets, kLongestDescription);
  throw EVqOAuthException(Refusal(question, words.empty() ? code + "." : code + " (" + words + ")."), number, code,
                          words, Shown(uri, question.Secrets, kLongestWord));
}

bool IsHeaderText(const string& text) {
  const auto plain = [](char16_t c) { return c > u' ' && c <= u'~'; };
  return std::all_of(text.view().begin(), text.view().end(), plain);
}

/// When a token ends that is good for so many seconds from now on.
TDateTime EndOf(const TVqJSONValue& seconds) {
  if (!seconds || seconds.IsNull()) return {};
  const double life = std::clamp(seconds.AsDouble(0), 0.0, kLongestLife);
  return TDateTime(VqNow() + life * kSecond);
}

const std::string* FieldOf(const TVqFormFields& fields, std::string_view name) {
  const auto found = std::find_if(fields.begin(), fields.end(), [&](const auto& field) { return field.first == name; });
  return found == fields.end() ? nullptr : &found->second;
}

string TextOf(const TVqFormFields& fields, std::string_view name) {
  const std::string* value = FieldOf(fields, name);
  return value ? string(*value) : string();
}

/// Secrets that are gone with their block, whatever becomes of it.
struct TWipedFields {
  TVqFormFields Fields;
  ~TWipedFields() {
    for (auto& field : Fields) VqWipe(field.second);
  }
};

/// A page that a person's browser is sent to, and a redirect of it, must not be read on the way.
bool IsSafePage(const string& url) {
  const TVqURLData parts = VqDecodeURL(url);
  return parts.IsHttps() || (parts.Scheme == u"http" && VqIsLoopbackHost(parts.Host));
}

}  // namespace

// ---- Forms

std::string VqFormEncode(std::string_view text) {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  std::string encoded;
  for (const char c : text) {
    if (IsUnreserved(c)) {
      encoded += c;
    } else {
      const auto byte = static_cast<unsigned char>(c);
      encoded += {'%', kDigits[byte >> 4], kDigits[byte & 15]};
    }
  }
  return encoded;
}

std::string VqFormEncode(const TVqFormFields& fields) {
  std::string text;
  for (const auto& [name, value] : fields) {
    text.append(text.empty() ? "" : "&").append(VqFormEncode(name)).append("=").append(VqFormEncode(value));
  }
  return text;
}

TVqFormFields VqFormDecode(std::string_view text) {
  TVqFormFields fields;
  while (!text.empty()) {
    const std::string_view one = text.substr(0, text.find('&'));
    text.remove_prefix(std::min(one.size() + 1, text.size()));
    if (one.empty()) continue;
    const std::size_t mark = std::min(one.find('='), one.size());
    fields.emplace_back(Decoded(one.substr(0, mark)), Decoded(one.substr(std::min(mark + 1, one.size()))));
  }
  return fields;
}

const char* VqOAuthGrantName(TVqOAuthGrantType grant) noexcept {
  switch (grant) {
    case TVqOAuthGrantType::none:
      break;
    case TVqOAuthGrantType::Authorize:
      return "Authorize";
    case TVqOAuthGrantType::Password:
      return "Password";
    case TVqOAuthGrantType::ClientCredentials:
      return "ClientCredentials";
  }
  return "none";
}

std::string VqBearerError(std::string_view header) {
  bool bearer = false;
  std::size_t at = 0;
  while (at < header.size()) {
    bool quoted = false;
    std::size_t end = at;
    for (; end < header.size() && (quoted || header[end] != ','); ++end) {
      if (header[end] == '"') quoted = !quoted;
      if (quoted && header[end] == '\\') ++end;
    }
    end = std::min(end, header.size());
    std::string_view part = VqTrimBlanks(header.substr(at, end - at));
    at = end + 1;
    // "Bearer realm=..." begins a challenge; "error=..." goes on with one.
    const std::size_t word = part.find_first_of(" =");
    if (word == std::string_view::npos || part[word] == ' ') {
      if (part.empty()) continue;
      const std::string_view scheme = part.substr(0, word);
      part = word == std::string_view::npos ? std::string_view() : VqTrimBlanks(part.substr(word));
      if (!part.starts_with('=')) {
        bearer = VqSameAscii(scheme, "Bearer");
      } else {
        continue;  // a parameter with blanks around its "=", which no server writes
      }
    }
    const std::size_t mark = part.find('=');
    if (!bearer || mark == std::string_view::npos || !VqSameAscii(VqTrimBlanks(part.substr(0, mark)), "error"))
      continue;
    std::string_view value = VqTrimBlanks(part.substr(mark + 1));
    if (value.size() >= 2 && value.front() == '"' && value.back() == '"') value = value.substr(1, value.size() - 2);
    return std::string(value);
  }
  return {};
}

// ---- Answers

TVqOAuthAccessToken VqReadTokenAnswer(const TVqOAuthAnswer& answer, const TVqOAuthQuestion& question) {
  const bool ok = answer.Status == 200;
  const string status = Format("the answer has the status %d and ", {static_cast<std::int32_t>(answer.Status)});
  TVqJSONValue json;
  try {
    json = VqParseJSON(answer.Body);
  } catch (const EConvertError&) {
    // Told below: its text would show the answer.
  }
  if (json.Kind() != TVqJSONKind::jkObject) {
    const string type = Shown(string(answer.ContentType), question.Secrets, kLongestWord);
    const string what = answer.Body.empty() ? string("is empty") : string("is no JSON object");
    Refuse(question, status + what + (type.empty() ? string(".") : " (" + type + ")."), answer.Status);
  }
  const string error = json.Member("error").AsString();
  if (!error.empty()) {
    RefuseWith(question, error, json.Member("error_description").AsString(), json.Member("error_uri").AsString(),
               answer.Status);
  }
  if (!ok) Refuse(question, status + "does not say why.", answer.Status);
  TVqOAuthAccessToken token;
  token.Token = json.Member("access_token").AsString();
  if (json.Member("access_token").Kind() != TVqJSONKind::jkString || token.Token.empty())
    Refuse(question, "the answer holds no access token.", answer.Status);
  token.TokenType = json.Member("token_type").AsString();
  if (!token.TokenType.empty() && !SameText(token.TokenType, "Bearer")) {
    std::vector<std::string> secrets = question.Secrets;
    secrets.push_back(token.Token.utf8());
    const string type = Shown(token.TokenType, secrets, kLongestWord);
    Refuse(question, "the token is of the type \"" + type + "\"; only \"Bearer\" is known.", answer.Status);
  }
  if (!IsHeaderText(token.Token)) Refuse(question, "the token holds characters that no header can.", answer.Status);
  token.RefreshToken = json.Member("refresh_token").AsString();
  token.Scope = json.Member("scope").AsString();
  token.ExpiresAt = EndOf(json.Member("expires_in"));
  return token;
}

// ---- Grants

void TVqOAuthGrant::Fail(const string& why) const {
  throw EVqOAuthException(Format("The OAuth grant \"%s\" %s", {VqOAuthGrantName(FSettings.GetGrantType()), why}), 0);
}

void TVqOAuthGrant::Need(const string& value, const char* what) const {
  if (value.Trim().empty()) Fail(string("needs ") + what + ".");
}

TVqOAuthAccessToken TVqOAuthGrant::Run(const TVqOAuthAccessToken& last, bool mayAsk) {
  Need(FSettings.GetClientId(), "a client id");
  Need(FSettings.GetTokenEndpoint(), "a token endpoint");
  const TVqOAuthGrantType grant = FSettings.GetGrantType();
  // A refresh token stands for a person; without one the grant is as good.
  if (!last.RefreshToken.empty() && grant != TVqOAuthGrantType::ClientCredentials) {
    try {
      return Refresh(last);
    } catch (const EVqOAuthException& failure) {
      const bool over = failure.GetError() == "invalid_grant" || failure.GetError() == "interaction_required";
      if (!over || (grant == TVqOAuthGrantType::Authorize && !mayAsk)) throw;
    }
  }
  const std::string scope = FSettings.GetScope().utf8();
  TWipedFields form;
  switch (grant) {
    case TVqOAuthGrantType::none:
      break;
    case TVqOAuthGrantType::Authorize:
      return Authorize();
    case TVqOAuthGrantType::Password:
      Need(FCredentials.GetUserName(), "a user name");
      Need(FCredentials.GetPassword(), "a password");
      form.Fields = {{"grant_type", "password"},
                     {"username", FCredentials.GetLogonName().utf8()},
                     {"password", FCredentials.GetPassword().utf8()}};
      break;
    case TVqOAuthGrantType::ClientCredentials:
      Need(FSettings.GetClientSecret(), "a client secret");
      form.Fields = {{"grant_type", "client_credentials"}};
      break;
  }
  if (!scope.empty()) form.Fields.emplace_back("scope", scope);
  return Ask(std::move(form.Fields));
}

TVqOAuthAccessToken TVqOAuthGrant::Refresh(const TVqOAuthAccessToken& last) {
  TVqOAuthAccessToken token = Ask({{"grant_type", "refresh_token"}, {"refresh_token", last.RefreshToken.utf8()}});
  if (token.RefreshToken.empty()) token.RefreshToken = last.RefreshToken;  // it goes on being good
  if (token.Scope.empty()) token.Scope = last.Scope;
  return token;
}

TVqOAuthAccessToken TVqOAuthGrant::Ask(TVqFormFields fields) {
  TWipedFields form{std::move(fields)};
  const std::string id = FSettings.GetClientId().utf8();
  std::string secret = FSettings.GetClientSecret().utf8();
  const TVqWiped wipedSecret(secret);
  std::string authorization;
  const TVqWiped wipedAuthorization(authorization);
  const bool basic = FSettings.GetClientAuthentication() == TVqOAuthClientAuthentication::basic;
  if (!secret.empty() && basic) {
    // Encoded as in a form first: RFC 6749, 2.3.1.
    std::string pair = VqFormEncode(id) + ":" + VqFormEncode(secret);
    const TVqWiped wipedPair(pair);
    authorization = "Basic " + VqBase64Encode(pair);
  } else {
    form.Fields.emplace_back("client_id", id);
    if (!secret.empty()) form.Fields.emplace_back("client_secret", secret);
  }
  TVqOAuthQuestion question{FSettings.GetGrantType(), FSettings.GetTokenEndpoint(), {secret}};
  for (const char* name : {"password", "code", "code_verifier", "refresh_token"}) {
    if (const std::string* value = FieldOf(form.Fields, name)) question.Secrets.push_back(*value);
  }
  std::string body = VqFormEncode(form.Fields);
  const TVqWiped wipedBody(body);
  TVqOAuthAnswer answer;
  const TVqWiped wipedAnswer(answer.Body);
  try {
    answer = FPost(FSettings.GetTokenEndpoint(), body, authorization);
  } catch (const EVqHTTPApiException& failure) {
    if (failure.GetNumber() == VqErrCancelled) throw;
    std::throw_with_nested(EVqOAuthException(Refusal(question, failure.Message()), failure.GetNumber()));
  }
  TVqOAuthAccessToken token = VqReadTokenAnswer(answer, question);
  for (std::string& one : question.Secrets) VqWipe(one);
  return token;
}

TVqOAuthAccessToken TVqOAuthGrant::Authorize() {
  Need(FSettings.GetAuthorizationEndpoint(), "an authorization endpoint");
  Need(FSettings.GetRedirectURI(), "a redirect URI");
  const string endpoint = FSettings.GetAuthorizationEndpoint();
  if (!IsSafePage(endpoint) || endpoint.Contains(u"#"))
    Fail("cannot use the authorization endpoint \"" + VqShownAddress(endpoint, kLongestWord) + "\": it must be https.");
  TVqRef<IVqHTTPOAuthAutorizeForm> form;
  if (const TVqGetOAuthAuthorizeFormEvent event = VqOnGetOAuthAuthorizeForm) {
    form = event(FSettings);
    if (!form) Fail("needs a person to log on, and the application gives no form for it.");
  } else {
    form = VqOAuthLoopbackForm();
  }
  const string redirect = form->UseRedirectURI(FSettings.GetRedirectURI());
  std::string verifier = VqBase64UrlEncode(VqRandomBytes(kVerifierBytes));
  const TVqWiped wipedVerifier(verifier);
  const std::string state = VqBase64UrlEncode(VqRandomBytes(kStateBytes));
  TVqFormFields query{{"response_type", "code"},
                      {"client_id", FSettings.GetClientId().utf8()},
                      {"redirect_uri", redirect.utf8()},
                      {"state", state},
                      {"code_challenge", VqBase64UrlEncode(VqSha256(verifier))},
                      {"code_challenge_method", "S256"}};
  if (!FSettings.GetScope().empty()) query.emplace_back("scope", FSettings.GetScope().utf8());
  const string url = endpoint + (endpoint.Contains(u"?") ? "&" : "?") + string(VqFormEncode(query));
  const string code = CodeOf(FShow(form, url, redirect), redirect, state);
  return Ask({{"grant_type", "authorization_code"},
              {"code", code.utf8()},
              {"redirect_uri", redirect.utf8()},
              {"code_verifier", verifier}});
}

string TVqOAuthGrant::CodeOf(const string& answer, const string& redirect, std::string_view state) {
  if (answer.empty()) Fail("was given up by the person who was to log on.");
  const std::string text = answer.utf8(), start = redirect.utf8();
  const char* ends = redirect.Contains(u"?") ? "&#" : "?#";
  const bool here = text.starts_with(start) && text.find_first_of(ends, start.size()) == start.size();
  if (!here) Fail("got an answer that leads elsewhere than to the redirect URI.");
  const std::string_view rest = std::string_view(text).substr(text.find_first_of("?#") + 1);
  const TVqFormFields fields = VqFormDecode(rest.substr(0, rest.find('#')));
  // Before anything else is believed: another page may have sent the browser here.
  if (TextOf(fields, "state") != string(state)) Fail("got an answer to another question: its state differs.");
  if (const string error = TextOf(fields, "error"); !error.empty()) {
    const TVqOAuthQuestion question{FSettings.GetGrantType(), FSettings.GetAuthorizationEndpoint(), {}};
    RefuseWith(question, error, TextOf(fields, "error_description"), TextOf(fields, "error_uri"), 0);
  }
  const string code = TextOf(fields, "code");
  if (code.empty()) Fail("got an answer without a code.");
  return code;
}

}  // namespace velmore
