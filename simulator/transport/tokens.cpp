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

Form FormOf(std::string_view text) {
  Form form;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('&'), text.size());
    const std::string_view pair = text.substr(0, end);
    const std::size_t equals = std::min(pair.find('='), pair.size());
    form[Decoded(pair.substr(0, equals))] = equals < pair.size() ? Decoded(pair.substr(equals + 1)) : std::string();
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

HttpResponse Refused(const char* error, const std::string& description) {
  return Json(std::string_view(error) == "invalid_client" ? 401 : 400,
              "{\"error\":\"" + std::string(error) + "\",\"error_description\":\"" + description + "\"}");
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

HttpResponse Tokens::Give(const std::string& user, bool refreshable) {
  const std::string token = Secret();
  const std::string refresh = refreshable ? Secret() : std::string();
  const std::lock_guard lock(mutex_);
  tokens_[token] = {user, std::chrono::steady_clock::now() + lifetime_};
  if (refreshable) refresh_[refresh] = user;
  return Json(200, "{\"token_type\":\"Bearer\",\"expires_in\":" + std::to_string(lifetime_.count()) +
                       ",\"access_token\":\"" + token + "\"" +
                       (refreshable ? ",\"refresh_token\":\"" + refresh + "\"" : "") + "}");
}

HttpResponse Tokens::Grant(const HttpRequest& request) {
  const Form form = FormOf(request.body);
  const std::string grant = Value(form, "grant_type");
  if (grant == "password") {
    const auto user = LoggedOn(Value(form, "username"), Value(form, "password"));
    return user ? Give(user->smtp_address, true) : Refused("invalid_grant", "The user name or password is wrong.");
  }
  if (grant == "client_credentials") {
    const auto basic = BasicOf(request);
    const auto user = basic ? LoggedOn(Decoded(basic->first), Decoded(basic->second))
                            : LoggedOn(Value(form, "client_id"), Value(form, "client_secret"));
    return user ? Give(user->smtp_address, false) : Refused("invalid_client", "The client or its secret is wrong.");
  }
  if (grant == "refresh_token") {
    std::string user;
    {
      const std::lock_guard lock(mutex_);
      const auto found = refresh_.find(Value(form, "refresh_token"));
      if (found != refresh_.end()) {
        user = found->second;
        refresh_.erase(found);  // the answer has another one
      }
    }
    return user.empty() ? Refused("invalid_grant", "The refresh token is unknown or was used.") : Give(user, true);
  }
  if (grant == "authorization_code") {
    Code code;
    {
      const std::lock_guard lock(mutex_);
      const auto found = codes_.find(Value(form, "code"));
      if (found == codes_.end()) return Refused("invalid_grant", "The code is unknown or was used.");
      code = found->second;
      codes_.erase(found);
    }
    const std::string verifier = Value(form, "code_verifier");
    if (code.redirect != Value(form, "redirect_uri"))
      return Refused("invalid_grant", "The redirect address is not that of the authorization.");
    if (code.challenge != (code.hashed ? Hash(verifier) : verifier))
      return Refused("invalid_grant", "The proof key does not fit.");
    return Give(code.user, true);
  }
  return Refused("unsupported_grant_type", "There is no such grant here.");
}

HttpResponse Tokens::Authorize(const HttpRequest& request) {
  const std::size_t question = request.target.find('?');
  const Form form = FormOf(question == std::string::npos ? std::string_view()
                                                         : std::string_view(request.target).substr(question + 1));
  const std::string redirect = Value(form, "redirect_uri");
  // Nobody is sent elsewhere with a code in hand.
  if (!IsLocal(redirect) || redirect.find_first_of("\r\n") != std::string::npos)
    return Refused("invalid_request", "The redirect address must be on this machine.");
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
    codes_[code] = {user->smtp_address, redirect, Value(form, "code_challenge"),
                    Value(form, "code_challenge_method") == "S256"};
  }
  HttpResponse response;
  response.status = 302;
  response.headers.emplace_back("Location", redirect + (redirect.find('?') == std::string::npos ? "?" : "&") +
                                                "code=" + Encoded(code) + "&state=" + Encoded(Value(form, "state")));
  return response;
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
