#include "ews/session/uVqEWSTraffic.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace velmore {
namespace {

constexpr const char* kMask = "****";
constexpr std::size_t kShortestSecret = 4;
constexpr auto kNone = std::string::npos;

std::string Lower(std::string_view text) {
  std::string lower(text);
  for (char& c : lower) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return lower;
}

bool SpeaksOfASecret(std::string_view name) {
  const std::string lower = Lower(name);
  return std::ranges::any_of(std::array{"password", "secret", "token", "cookie"},
                             [&](const char* word) { return lower.find(word) != kNone; });
}

bool IsBlank(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

std::string_view LocalName(std::string_view qualified) {
  const std::size_t colon = qualified.find(':');
  return colon == kNone ? qualified : qualified.substr(colon + 1);
}

/// The name that begins at a position of a text.
std::string_view NameAt(std::string_view text, std::size_t at) {
  std::size_t end = at;
  while (end < text.size() && !IsBlank(text[end]) && text[end] != '>' && text[end] != '/' && text[end] != '=') ++end;
  return text.substr(at, end - at);
}

/// A start tag from "<" to ">", its secret attributes masked.
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
    masked.append(SpeaksOfASecret(LocalName(name)) ? std::string_view(kMask) : tag.substr(quote + 1, end - quote - 1));
    at = end;
    if (at < tag.size()) masked += tag[at++];
  }
  return masked;
}

/// The position behind the tag that begins at `start`: ">" may stand in an attribute.
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
  return kNone;
}

/// The position of an element's end tag, from behind its start tag on; the end of the text when there is none.
std::size_t EndOfContent(std::string_view text, std::string_view name, std::size_t at) {
  const std::string tag = "</" + std::string(name);
  for (;;) {
    const std::size_t end = text.find(tag, at);
    const std::size_t data = text.find("<![CDATA[", at);
    if (end <= data) return std::min(end, text.size());
    at = std::min(text.find("]]>", data), text.size());
  }
}

}  // namespace

std::string EwsMaskHeader(const std::string& AName, const std::string& AValue) {
  const std::string name = Lower(AName);
  if (name == "cookie" || name == "set-cookie") return AValue.substr(0, AValue.find('=')) + "=" + kMask;
  if (name.find("authorization") == kNone && name.find("authenticat") == kNone && !SpeaksOfASecret(name)) return AValue;
  const std::size_t blank = AValue.find(' ');
  return blank == kNone ? kMask : AValue.substr(0, blank + 1) + kMask;
}

std::string EwsMaskBody(std::string ABody) {
  const std::string_view body = ABody;
  std::string masked;
  masked.reserve(body.size());
  std::size_t at = 0;
  while (at < body.size()) {
    const std::size_t open = body.find('<', at);
    masked.append(body.substr(at, open - at));
    if (open == kNone) break;
    if (body.substr(open, 9) == "<![CDATA[") {
      at = std::min(body.find("]]>", open), body.size());
      masked.append(body.substr(open, at - open));
      continue;
    }
    at = EndOfTag(body, open);
    if (at == kNone) return masked + MaskTag(body.substr(open));
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

std::string EwsMaskTexts(std::string AText, const std::vector<std::string>& ASecrets) {
  for (const std::string& secret : ASecrets) {
    if (secret.size() < kShortestSecret) continue;
    for (std::size_t at = 0; (at = AText.find(secret, at)) != kNone; at += std::string_view(kMask).size())
      AText.replace(at, secret.size(), kMask);
  }
  return AText;
}

std::string EwsOperationOf(const std::string& ABody) {
  for (std::size_t open = ABody.find('<'); open != kNone; open = ABody.find('<', open + 1)) {
    if (LocalName(NameAt(ABody, open + 1)) != "Body") continue;
    const std::size_t end = EndOfTag(ABody, open);
    const std::size_t method = end == kNone ? kNone : ABody.find_first_not_of(" \t\r\n", end);
    if (method == kNone || ABody[method] != '<') return {};
    return std::string(LocalName(NameAt(ABody, method + 1)));
  }
  return {};
}

}  // namespace velmore
