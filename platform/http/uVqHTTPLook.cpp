#include "platform/http/uVqHTTPLook.h"

#include <algorithm>

#include "platform/http/uVqHTTPEngine_p.h"
#include "platform/http/uVqHTTPRequest_p.h"

namespace velmore {

namespace {

constexpr std::string_view kMask = "****";

// Fields of forms, queries and JSON whose values are secrets: those of OAuth (RFC 6749, 7521, 7636) and what people
// call so.
constexpr std::string_view kSecretNames[] = {
    "access_token", "assertion", "client_assertion", "client_secret", "code",  "code_verifier", "device_code",
    "id_token",     "passwd",    "password",         "refresh_token", "token", "secret",        "sig"};

bool IsSecretName(std::string_view name) {
  return std::any_of(std::begin(kSecretNames), std::end(kSecretNames),
                     [&](std::string_view secret) { return VqSameAscii(secret, name); });
}

// "a=1&password=2", or a header's "a=1; b=2", each `name=value` looked at by `secret`.
template <typename TSecret>
std::string MaskedPairs(std::string_view text, char separator, TSecret secret) {
  std::string masked;
  for (;;) {
    const std::size_t end = text.find(separator);
    const std::string_view one = text.substr(0, end);
    const std::size_t mark = one.find('=');
    if (mark != std::string_view::npos && secret(VqTrimBlanks(one.substr(0, mark)))) {
      masked.append(one.substr(0, mark + 1)).append(kMask);
    } else {
      masked.append(one);
    }
    if (end == std::string_view::npos) return masked;
    masked += separator;
    text.remove_prefix(end + 1);
  }
}

// The scheme stays. Of a challenge its parameters do, too ("realm"), but not a token.
std::string MaskedCredentials(std::string_view value, bool challenge) {
  const std::size_t space = value.find(' ');
  if (space == std::string_view::npos) return std::string(challenge ? value : kMask);
  if (challenge && value.find('"', space) != std::string_view::npos) return std::string(value);
  return std::string(value.substr(0, space + 1)).append(kMask);
}

std::size_t EndOfString(std::string_view text, std::size_t at) {
  while (at < text.size() && text[at] != '"') at += text[at] == '\\' ? 2 : 1;
  return std::min(at, text.size());
}

// Every member with a secret's name, wherever it stands: its text, or whatever else up to the next comma or bracket.
std::string MaskedJson(std::string_view text) {
  std::string masked;
  std::size_t at = 0;
  while (at < text.size()) {
    const std::size_t quote = text.find('"', at);
    if (quote == std::string_view::npos) break;
    const std::size_t end = EndOfString(text, quote + 1);
    const std::string_view name = text.substr(quote + 1, end - quote - 1);
    const std::size_t colon = text.find_first_not_of(" \t\r\n", std::min(end + 1, text.size()));
    masked.append(text.substr(at, std::min(end + 1, text.size()) - at));
    at = std::min(end + 1, text.size());
    if (colon == std::string_view::npos || text[colon] != ':' || !IsSecretName(name)) continue;
    const std::size_t value = std::min(text.find_first_not_of(" \t\r\n", colon + 1), text.size());
    masked.append(text.substr(at, value - at)).append("\"").append(kMask).append("\"");
    at = value < text.size() && text[value] == '"' ? std::min(EndOfString(text, value + 1) + 1, text.size())
                                                   : std::min(text.find_first_of(",]}", value), text.size());
  }
  return masked.append(text.substr(at));
}

// What elements, attributes and headers of one's own making are called that carry secrets.
bool SpeaksOfASecret(std::string_view name) {
  const auto holds = [&](std::string_view word) {
    return std::search(name.begin(), name.end(), word.begin(), word.end(), [](char a, char b) {
             return VqSameAscii({&a, 1}, {&b, 1});
           }) != name.end();
  };
  return holds("password") || holds("secret") || holds("token") || holds("cookie");
}

bool IsBlank(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

std::string_view LocalName(std::string_view qualified) {
  const std::size_t colon = qualified.find(':');
  return colon == std::string_view::npos ? qualified : qualified.substr(colon + 1);
}

// The name that begins at a position of markup.
std::string_view NameAt(std::string_view text, std::size_t at) {
  std::size_t end = at;
  while (end < text.size() && !IsBlank(text[end]) && text[end] != '>' && text[end] != '/' && text[end] != '=') ++end;
  return text.substr(at, end - at);
}

// A start tag from "<" to ">", its secret attributes masked.
std::string MaskTag(std::string_view tag) {
  std::string masked;
  std::size_t at = 1 + NameAt(tag, 1).size();
  masked.append(tag.substr(0, at));
  while (at < tag.size()) {
    const std::string_view name = NameAt(tag, at);
    std::size_t quote = at + name.size();
    while (quote < tag.size() && (IsBlank(tag[quote]) || tag[quote] == '=')) ++quote;
    if (name.empty() || quote >= tag.size() || (tag[quote] != '"' && tag[quote] != '\'')) {
      masked += tag[at++];
      continue;
    }
    const std::size_t end = std::min(tag.find(tag[quote], quote + 1), tag.size());
    masked.append(tag.substr(at, quote + 1 - at));
    masked.append(SpeaksOfASecret(LocalName(name)) ? kMask : tag.substr(quote + 1, end - quote - 1));
    at = end;
    if (at < tag.size()) masked += tag[at++];
  }
  return masked;
}

// The position behind the tag that begins at `start`: ">" may stand in an attribute.
std::size_t EndOfTag(std::string_view text, std::size_t start) {
  char quote = '\0';
  for (std::size_t at = start; at < text.size(); ++at) {
    if (quote != '\0') {
      if (text[at] == quote) quote = '\0';
    } else if (text[at] == '"' || text[at] == '\'') {
      quote = text[at];
    } else if (text[at] == '>') {
      return at + 1;
    }
  }
  return std::string_view::npos;
}

// The position of an element's end tag, from behind its start tag on; the end of the text when there is none.
std::size_t EndOfContent(std::string_view text, std::string_view name, std::size_t at) {
  const std::string tag = "</" + std::string(name);
  for (;;) {
    const std::size_t end = text.find(tag, at);
    const std::size_t data = text.find("<![CDATA[", at);
    if (end <= data) return std::min(end, text.size());
    at = std::min(text.find("]]>", data), text.size());
  }
}

// The content of elements and the values of attributes that carry secrets. What cannot be read to its end is masked to
// the end.
std::string MaskedXml(std::string_view body) {
  std::string masked;
  masked.reserve(body.size());
  std::size_t at = 0;
  while (at < body.size()) {
    const std::size_t open = body.find('<', at);
    masked.append(body.substr(at, open - at));
    if (open == std::string_view::npos) break;
    if (body.substr(open, 9) == "<![CDATA[") {
      at = std::min(body.find("]]>", open), body.size());
      masked.append(body.substr(open, at - open));
      continue;
    }
    at = EndOfTag(body, open);
    if (at == std::string_view::npos) return masked + MaskTag(body.substr(open));
    const std::string_view tag = body.substr(open, at - open);
    if (tag[1] == '/' || tag[1] == '?' || tag[1] == '!') {
      masked.append(tag);
      continue;
    }
    masked.append(MaskTag(tag));
    const std::string_view name = NameAt(tag, 1);
    if (tag.ends_with("/>") || !SpeaksOfASecret(LocalName(name))) continue;
    const std::size_t end = EndOfContent(body, name, at);
    if (end != at) masked += kMask;
    at = end;
  }
  return masked;
}

std::string Look(const string& firstLine, const std::vector<std::pair<string, string>>& headers, const string& type,
                 std::string_view body, std::size_t most) {
  std::string text = firstLine.utf8() + "\n";
  for (const auto& [name, value] : headers) text += name.utf8() + ": " + VqHTTPMaskedHeader(name, value).utf8() + "\n";
  if (body.empty()) return text;
  // Cut behind the masking: a secret that is cut in two is one still.
  std::string shown = VqHTTPMaskedBody(body, type).utf8();
  if (shown.size() > most) {
    shown.resize(most);
    shown += "...";
  }
  return text + "\n" + shown + "\n";
}

}  // namespace

string VqHTTPMaskedHeader(const string& AName, const string& AValue) {
  const std::string name = AName.utf8(), value = AValue.utf8();
  if (VqSameAscii(name, "Authorization") || VqSameAscii(name, "Proxy-Authorization"))
    return MaskedCredentials(value, false);
  if (VqSameAscii(name, "WWW-Authenticate") || VqSameAscii(name, "Proxy-Authenticate"))
    return MaskedCredentials(value, true);
  if (VqSameAscii(name, "Cookie")) return MaskedPairs(value, ';', [](std::string_view) { return true; });
  if (VqSameAscii(name, "Set-Cookie")) {
    bool first = true;
    return MaskedPairs(value, ';', [&](std::string_view) { return std::exchange(first, false); });
  }
  if (VqSameAscii(name, "Location")) return VqHTTPMaskedAddress(AValue);
  if (SpeaksOfASecret(name)) return kMask;
  return AValue;
}

string VqHTTPMaskedAddress(const string& AURL) {
  std::string text = AURL.utf8();
  const std::size_t query = std::min(text.find_first_of("?#"), text.size());
  if (const std::size_t at = text.rfind('@', query); at != std::string::npos && at < query) {
    const std::size_t scheme = text.find("//");
    const std::size_t start = scheme == std::string::npos || scheme > at ? 0 : scheme + 2;
    text.replace(start, at - start, kMask);
  }
  const std::size_t mark = text.find_first_of("?#");
  if (mark == std::string::npos) return text;
  return text.substr(0, mark + 1) + MaskedPairs(std::string_view(text).substr(mark + 1), '&', IsSecretName);
}

string VqHTTPMaskedBody(std::string_view ABody, const string& AContentType) {
  const std::string type = AContentType.utf8();
  const auto is = [&](std::string_view part) {
    return std::search(type.begin(), type.end(), part.begin(), part.end(), [](char a, char b) {
             return VqSameAscii({&a, 1}, {&b, 1});
           }) != type.end();
  };
  if (is("x-www-form-urlencoded")) return MaskedPairs(ABody, '&', IsSecretName);
  if (is("json")) return MaskedJson(ABody);
  if (is("xml")) return MaskedXml(ABody);
  return ABody;
}

string VqHTTPLook(const IVqHTTPRequest& ARequest, std::size_t AMost) {
  return Look(string(VqHTTPVerbText(ARequest.GetVerb())) + u" " + VqHTTPMaskedAddress(ARequest.GetURL()),
              ARequest.GetHeaders(), ARequest.GetHeader("Content-Type"), ARequest.GetBody(), AMost);
}

string VqHTTPLook(const IVqHTTPResponse& AResponse, std::size_t AMost) {
  const TVqHTTPStatus status = AResponse.GetStatus();
  return Look(IntToStr(status.Code) + u" " + status.Text + u" " + VqHTTPMaskedAddress(AResponse.GetURL()),
              AResponse.GetHeaders(), AResponse.GetHeader("Content-Type"), AResponse.GetBody(), AMost);
}

}  // namespace velmore
