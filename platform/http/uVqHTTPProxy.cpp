// Which way a request takes: the session's access type, its proxy list and its bypass list.

#include <algorithm>

#include "platform/http/uVqHTTPEngine_p.h"

namespace velmore {

namespace {

char Lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool IsSeparator(char c) {
  return c == ';' || c == ' ' || c == '\t' || c == ',' || c == '\r' || c == '\n';
}

// Calls `take` with each entry until it gives true.
template <typename Take>
bool ForEachEntry(std::string_view list, Take take) {
  std::size_t at = 0;
  while (at < list.size()) {
    if (IsSeparator(list[at])) {
      ++at;
      continue;
    }
    std::size_t end = at;
    while (end < list.size() && !IsSeparator(list[end])) ++end;
    if (take(list.substr(at, end - at))) return true;
    at = end;
  }
  return false;
}

// "*" stands for any number of characters.
bool Matches(std::string_view pattern, std::string_view text) {
  std::size_t p = 0, t = 0, star = std::string_view::npos, resume = 0;
  while (t < text.size()) {
    if (p < pattern.size() && pattern[p] == '*') {
      star = p++;
      resume = t;
    } else if (p < pattern.size() && Lower(pattern[p]) == Lower(text[t])) {
      ++p;
      ++t;
    } else if (star != std::string_view::npos) {
      p = star + 1;
      t = ++resume;
    } else {
      return false;
    }
  }
  while (p < pattern.size() && pattern[p] == '*') ++p;
  return p == pattern.size();
}

bool IsBypassed(std::string_view list, std::string_view scheme, std::string_view host) {
  return ForEachEntry(list, [&](std::string_view entry) {
    if (VqSameAscii(entry, "<local>")) return host.find_first_of(".:") == std::string_view::npos;
    if (const std::size_t mark = entry.find("://"); mark != std::string_view::npos) {
      if (!VqSameAscii(entry.substr(0, mark), scheme)) return false;
      entry.remove_prefix(mark + 3);
    }
    if (entry.starts_with('[') && entry.ends_with(']')) entry = entry.substr(1, entry.size() - 2);
    return Matches(entry, host);
  });
}

}  // namespace

TVqHTTPRoute VqHTTPRouteFor(const TVqHTTPSessionSettings& settings, const std::string& scheme,
                            const std::string& host) {
  using Kind = TVqHTTPRouteKind;
  if (settings.AccessType == TVqHTTPAccessType::preConfig) return {Kind::system, {}};
  if (settings.AccessType == TVqHTTPAccessType::direct) return {Kind::direct, {}};
  if (IsBypassed(settings.ProxyServerBypass, scheme, host)) return {Kind::direct, {}};
  std::string forAll, forScheme;
  ForEachEntry(settings.ProxyServer, [&](std::string_view entry) {
    const std::size_t mark = entry.find('=');
    if (mark == std::string_view::npos) {
      if (forAll.empty()) forAll = entry;
    } else if (VqSameAscii(entry.substr(0, mark), scheme)) {
      forScheme = entry.substr(mark + 1);
    }
    return !forScheme.empty();
  });
  std::string proxy = forScheme.empty() ? forAll : forScheme;
  if (proxy.empty()) return {Kind::direct, {}};
  return {Kind::proxy, std::move(proxy)};
}

}  // namespace velmore
