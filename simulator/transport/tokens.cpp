#include "simulator/transport/tokens.h"

#include <openssl/evp.h>
#include <openssl/rand.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <stdexcept>

#include "simulator/types/text.h"
#include "simulator/xml/element.h"

namespace velmore::simulator {

namespace {

using Form = std::map<std::string, std::string>;

constexpr std::chrono::minutes kCodeLifetime{10};

std::string Decoded(std::string_view text) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '+') {
      out += ' ';
    } else if (text[i] == '%' && i + 2 < text.size()) {
      out += static_cast<char>(std::strtol(std::string(text.substr(i + 1, 2)).c_str(), nullptr, 16));
      i += 2;
    } else {
      out += text[i];
    }
  }
  return out;
}

std::string Encoded(std::string_view text) {
  std::string out;
  for (const char c : text) {
    if (std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '-' || c == '.' || c == '_') {
      out += c;
    } else {
      std::array<char, 8> hex{};
      std::snprintf(hex.data(), hex.size(), "%%%02X", static_cast<unsigned>(static_cast<unsigned char>(c)));
      out += hex.data();
    }
  }
  return out;
}

/// The parameters of a form; nothing when one stands twice, which a request must not have.
std::optional<Form> FormOf(std::string_view text) {
  Form form;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('&'), text.size());
    const std::string_view pair = text.substr(0, end);
    const std::size_t equals = std::min(pair.find('='), pair.size());
    const std::string value = equals < pair.size() ? Decoded(pair.substr(equals + 1)) : std::string();
    if (!pair.empty() && !form.emplace(Decoded(pair.substr(0, equals)), value).second) return std::nullopt;
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return form;
}

std::string Value(const Form& form, const char* name) {
  const auto found = form.find(name);
  return found != form.end() ? found->second : std::string();
}

/// Base64 for addresses.
std::string UrlBase64(std::string_view bytes) {
  std::string text = EncodeBase64(bytes);
  std::replace(text.begin(), text.end(), '+', '-');
  std::replace(text.begin(), text.end(), '/', '_');
  while (text.ends_with('=')) text.pop_back();
  return text;
}

std::string Secret() {
  std::array<unsigned char, 32> bytes{};
  if (RAND_bytes(bytes.data(), static_cast<int>(bytes.size())) != 1)
    throw SimulatorError("There are no random numbers.");
  return UrlBase64({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
}

std::string Hash(const std::string& text) {
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
  unsigned size = 0;
  EVP_Digest(text.data(), text.size(), digest.data(), &size, EVP_sha256(), nullptr);
  return UrlBase64({reinterpret_cast<const char*>(digest.data()), size});
}

HttpResponse Json(int status, std::string body) {
  HttpResponse response;
  response.status = status;
  response.body = std::move(body);
  response.headers = {{"Content-Type", "application/json; charset=utf-8"}, {"Cache-Control", "no-store"}};
  return response;
}

/// Does an address lead to this machine?
bool IsLocal(std::string_view address) {
  for (const std::string_view host : {"http://127.0.0.1", "http://localhost", "http://[::1]"})
    if (address == host || (address.starts_with(host) && (address[host.size()] == ':' || address[host.size()] == '/')))
      return address.find('@') == std::string_view::npos;
  return false;
}

/// Name and password of an Authorization header; nothing for any other scheme.
std::optional<std::pair<std::string, std::string>> BasicOf(const HttpRequest& request) {
  const std::string* header = request.Header("Authorization");
  if (header == nullptr || !Lower(*header).starts_with("basic ")) return std::nullopt;
  try {
    const std::string text = DecodeBase64(header->substr(6));
    const std::size_t colon = text.find(':');
    if (colon != std::string::npos) return std::pair(text.substr(0, colon), text.substr(colon + 1));
  } catch (const std::invalid_argument&) {
    // No name, then.
  }
  return std::nullopt;
}

}  // namespace

HttpResponse Tokens::Refused(const std::string& error, const std::string& description) {
  HttpResponse response =
      Json(error == "invalid_client" ? 401 : 400,
           "{\"error\":" + JsonText(error) +
               (description.empty() ? "" : ",\"error_description\":" + JsonText(description)) + "}");
  // Who showed a name and password in a header is told how; for who did not it does no harm.
  if (response.status == 401)
    response.headers.emplace_back("WWW-Authenticate", "Basic realm=\"Velmore EWS Simulator\"");
  return response;
}

const char* Tokens::NameOf(const HttpRequest& request) {
  return Lower(request.target).starts_with("/oauth2/authorize") ? "Authorize" : "Token";
}

bool Tokens::Serves(const HttpRequest& request) {
  return Lower(request.target.substr(0, request.target.find('?'))).starts_with("/oauth2/");
}

HttpResponse Tokens::Answer(const HttpRequest& request) {
  const std::string path = Lower(request.target.substr(0, request.target.find('?')));
  if (path == "/oauth2/token" && request.method == "POST") return Grant(request);
  if (path == "/oauth2/authorize" && request.method == "GET") return Authorize(request);
  return Json(404, "{\"error\":\"invalid_request\"}");
}

std::optional<User> Tokens::LoggedOn(const std::string& name, const std::string& password) const {
  std::optional<User> user = find_(name);
  if (user && (user->password.empty() || user->password != password)) user.reset();
  return user;
}

HttpResponse Tokens::Give(const Refresh& grant, bool refreshable) {
  const std::string token = Secret();
  const std::string refresh = refreshable ? Secret() : std::string();
  const std::lock_guard lock(mutex_);
  const auto now = std::chrono::steady_clock::now();
  std::erase_if(tokens_, [now](const auto& entry) { return entry.second.end <= now; });
  tokens_[token] = {grant.user, now + lifetime_};
  if (refreshable) refresh_[refresh] = grant;
  return Json(200, "{\"token_type\":\"Bearer\",\"expires_in\":" + std::to_string(lifetime_.count()) +
                       (grant.scope.empty() ? "" : ",\"scope\":" + JsonText(grant.scope)) + ",\"access_token\":\"" +
                       token + "\"" + (refreshable ? ",\"refresh_token\":\"" + refresh + "\"" : "") + "}");
}

HttpResponse Tokens::Grant(const HttpRequest& request) {
  const std::string* type = request.Header("Content-Type");
  if (type == nullptr || !Lower(*type).starts_with("application/x-www-form-urlencoded"))
    return Refused("invalid_request", "The parameters must come as a form.");
  const auto parameters = FormOf(request.body);
  if (!parameters) return Refused("invalid_request", "A parameter stands twice.");
  const Form& form = *parameters;
  const std::string grant = Value(form, "grant_type");
  const std::string scope = Value(form, "scope");
  const auto basic = BasicOf(request);
  const std::string client = basic ? Decoded(basic->first) : Value(form, "client_id");
  if (grant.empty()) return Refused("invalid_request", "There is no grant_type.");
  if (grant == "password") {
    const auto user = LoggedOn(Value(form, "username"), Value(form, "password"));
    return user ? Give({user->smtp_address, client, scope}, true)
                : Refused("invalid_grant", "The user name or password is wrong.");
  }
  if (grant == "client_credentials") {
    const auto user = LoggedOn(client, basic ? Decoded(basic->second) : Value(form, "client_secret"));
    return user ? Give({user->smtp_address, {}, scope}, false)
                : Refused("invalid_client", "The client or its secret is wrong.");
  }
  if (grant == "refresh_token") {
    Refresh refresh;
    {
      const std::lock_guard lock(mutex_);
      const auto found = refresh_.find(Value(form, "refresh_token"));
      if (found == refresh_.end()) return Refused("invalid_grant", "The refresh token is unknown or was used.");
      refresh = found->second;
      if (refresh.client != client) return Refused("invalid_grant", "The refresh token is another client's.");
      refresh_.erase(found);  // the answer has another one
    }
    return Give(refresh, true);
  }
  if (grant == "authorization_code") return Redeem(form, client);
  return Refused("unsupported_grant_type", "There is no such grant here.");
}

HttpResponse Tokens::Redeem(const Form& form, const std::string& client) {
  Code code;
  {
    const std::lock_guard lock(mutex_);
    const auto found = codes_.find(Value(form, "code"));
    if (found == codes_.end()) return Refused("invalid_grant", "The code is unknown or was used.");
    code = found->second;
    codes_.erase(found);
  }
  const std::string verifier = Value(form, "code_verifier");
  if (code.end <= std::chrono::steady_clock::now()) return Refused("invalid_grant", "The code is too old.");
  if (code.client != client) return Refused("invalid_grant", "The code is another client's.");
  if (code.redirect != Value(form, "redirect_uri"))
    return Refused("invalid_grant", "The redirect address is not that of the authorization.");
  if (code.challenge != (code.hashed ? Hash(verifier) : verifier))
    return Refused("invalid_grant", "The proof key does not fit.");
  return Give({code.user, code.client, code.scope}, true);
}

HttpResponse Tokens::Authorize(const HttpRequest& request) {
  const std::size_t question = request.target.find('?');
  const auto parameters = FormOf(question == std::string::npos ? std::string_view()
                                                               : std::string_view(request.target).substr(question + 1));
  if (!parameters) return Refused("invalid_request", "A parameter stands twice.");
  const Form& form = *parameters;
  const std::string redirect = Value(form, "redirect_uri");
  // Nobody is sent elsewhere with a code in hand.
  if (!IsLocal(redirect) || redirect.find_first_of("\r\n") != std::string::npos)
    return Refused("invalid_request", "The redirect address must be on this machine.");
  const auto sent_back = [&](const std::string& with) {
    HttpResponse response;
    response.status = 302;
    response.headers.emplace_back("Location", redirect + (redirect.find('?') == std::string::npos ? "?" : "&") + with +
                                                  "&state=" + Encoded(Value(form, "state")));
    return response;
  };
  if (Value(form, "response_type") != "code") return sent_back("error=unsupported_response_type");
  const std::string method = Value(form, "code_challenge_method");
  if (!method.empty() && method != "S256" && method != "plain") return sent_back("error=invalid_request");
  const auto basic = BasicOf(request);
  const auto user = basic ? LoggedOn(basic->first, basic->second) : std::nullopt;
  if (!user) {
    // The browser asks its user, as a page to sign in would.
    HttpResponse response = Refused("access_denied", "Please sign in.");
    response.status = 401;
    response.headers.emplace_back("WWW-Authenticate", "Basic realm=\"Velmore EWS Simulator\"");
    return response;
  }
  const std::string code = Secret();
  {
    const std::lock_guard lock(mutex_);
    codes_[code] = {user->smtp_address,
                    redirect,
                    Value(form, "code_challenge"),
                    method == "S256",
                    Value(form, "client_id"),
                    Value(form, "scope"),
                    std::chrono::steady_clock::now() + kCodeLifetime};
  }
  return sent_back("code=" + Encoded(code));
}

std::optional<User> Tokens::UserOf(const std::string& token) const {
  std::string user;
  {
    const std::lock_guard lock(mutex_);
    const auto found = tokens_.find(token);
    if (found == tokens_.end() || found->second.end <= std::chrono::steady_clock::now()) return std::nullopt;
    user = found->second.user;
  }
  return find_(user);
}

}  // namespace velmore::simulator
