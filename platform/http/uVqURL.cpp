#include "platform/http/uVqURL.h"

#include <algorithm>
#include <charconv>

#include "platform/common/uVqSysUtils.h"

namespace velmore {

namespace {

bool IsLetter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}
bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

// 0 when the text is no port.
std::uint16_t ParsePort(std::string_view text) {
  std::uint16_t port = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
  return error == std::errc() && end == text.data() + text.size() ? port : std::uint16_t{0};
}

}  // namespace

TVqURLData VqDecodeURL(const string& AURL) {
  const std::string text = AURL.utf8();
  const auto bad = [](char c) { return static_cast<unsigned char>(c) <= ' ' || c == '\x7F'; };
  if (std::any_of(text.begin(), text.end(), bad)) return {};

  std::string_view rest = text;
  const std::size_t colon = rest.find("://");
  if (colon == std::string_view::npos || colon == 0 || !IsLetter(rest[0])) return {};
  TVqURLData url;
  std::string scheme(rest.substr(0, colon));
  for (char& c : scheme) {
    if (!IsLetter(c) && !IsDigit(c) && c != '+' && c != '-' && c != '.') return {};
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  url.Scheme = scheme;
  rest.remove_prefix(colon + 3);

  if (const std::size_t mark = rest.find('#'); mark != std::string_view::npos) {
    url.Fragment = rest.substr(mark + 1);
    rest = rest.substr(0, mark);
  }
  if (const std::size_t mark = rest.find('?'); mark != std::string_view::npos) {
    url.Query = rest.substr(mark + 1);
    rest = rest.substr(0, mark);
  }
  if (const std::size_t mark = rest.find('/'); mark != std::string_view::npos) {
    url.Path = rest.substr(mark);
    rest = rest.substr(0, mark);
  }
  if (const std::size_t mark = rest.rfind('@'); mark != std::string_view::npos) {
    url.UserInfo = rest.substr(0, mark);
    rest = rest.substr(mark + 1);
  }

  std::string_view port;
  if (rest.starts_with('[')) {
    const std::size_t end = rest.find(']');
    if (end == std::string_view::npos) return {};
    const std::string_view address = rest.substr(1, end - 1);
    const auto fits = [](char c) {
      return IsLetter(c) || IsDigit(c) || c == ':' || c == '.' || c == '%' || c == '-' || c == '_';
    };
    if (address.find(':') == std::string_view::npos || !std::all_of(address.begin(), address.end(), fits)) return {};
    url.Host = address;
    rest = rest.substr(end + 1);
    if (!rest.empty() && rest[0] != ':') return {};
    if (!rest.empty()) port = rest.substr(1);
  } else {
    const std::size_t mark = rest.find(':');
    url.Host = rest.substr(0, mark);
    if (mark != std::string_view::npos) port = rest.substr(mark + 1);
  }
  constexpr std::size_t longest = 255;  // no name that can be looked up is longer
  if (url.Host.empty() || url.Host.size() > longest) return {};
  if (rest.find_first_of("<>\"\\^`{|}") != std::string_view::npos) return {};
  url.Port = scheme == "https" ? 443 : scheme == "http" ? 80 : 0;
  if (!port.empty()) {
    url.Port = ParsePort(port);
    if (url.Port == 0) return {};
  }
  url.IsValid = true;
  return url;
}

bool VqIsLoopbackHost(const string& AHost) {
  std::string host = AHost.utf8();
  for (char& c : host)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c | 0x20);
  if (host.ends_with('.')) host.pop_back();
  if (host == "localhost" || host.ends_with(".localhost") || host == "::1") return true;
  // 127.0.0.0/8 in its full form only: short and octal forms are read differently by different resolvers.
  int parts = 0;
  std::string_view rest = host;
  for (;;) {
    const std::size_t dot = rest.find('.');
    const std::string_view part = rest.substr(0, dot);
    if (part.empty() || part.size() > 3 || !std::all_of(part.begin(), part.end(), IsDigit)) return false;
    if (parts == 0 && part != "127") return false;
    if (part.size() > 1 && part[0] == '0') return false;
    ++parts;
    if (dot == std::string_view::npos) break;
    rest.remove_prefix(dot + 1);
  }
  return parts == 4;
}

}  // namespace velmore
