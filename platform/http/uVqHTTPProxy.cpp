// Which way a request takes: the session's access type, its proxy list and its bypass list.

#include <algorithm>
#include <charconv>

#include "platform/http/uVqHTTPEngine_p.h"
#include "platform/http/uVqURL.h"

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

bool IsPort(std::string_view text) {
  std::uint16_t port = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
  return error == std::errc() && end == text.data() + text.size() && port != 0;
}

bool IsHost(std::string_view text, std::string_view others) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [&](char c) {
    return (c >= '0' && c <= '9') || (Lower(c) >= 'a' && Lower(c) <= 'z') || others.find(c) != std::string_view::npos;
  });
}

template <std::size_t N>
bool IsOneOf(std::string_view text, const std::string_view (&names)[N]) {
  return std::any_of(std::begin(names), std::end(names),
                     [&](std::string_view name) { return VqSameAscii(name, text); });
}

// "%XX" is a byte.
std::string Decoded(std::string_view text) {
  std::string bytes;
  for (std::size_t i = 0; i < text.size(); ++i) {
    unsigned byte = 0;
    if (text[i] == '%' && i + 2 < text.size()) {
      const auto [end, error] = std::from_chars(text.data() + i + 1, text.data() + i + 3, byte, 16);
      if (error == std::errc() && end == text.data() + i + 3) {
        bytes += static_cast<char>(byte);
        i += 2;
        continue;
      }
    }
    bytes += text[i];
  }
  return bytes;
}

// What proxies speak, and what lists name them for.
constexpr std::string_view kProxySchemes[] = {"http", "https", "socks", "socks4", "socks4a", "socks5", "socks5h"};
constexpr std::string_view kListedSchemes[] = {"http", "https", "ftp", "gopher", "socks"};

}  // namespace

bool VqReadProxyAddress(std::string_view text, TVqHTTPProxyAddress& address) {
  address = {};
  std::string scheme;
  if (const std::size_t mark = text.find("://"); mark != std::string_view::npos) {
    if (!IsOneOf(text.substr(0, mark), kProxySchemes)) return false;
    scheme = text.substr(0, mark + 3);
    text.remove_prefix(mark + 3);
  }
  // From the end: a password may hold anything.
  if (const std::size_t mark = text.rfind('@'); mark != std::string_view::npos) {
    const std::string_view user = text.substr(0, mark);
    const std::size_t colon = user.find(':');
    address.User = Decoded(user.substr(0, colon));
    if (colon != std::string_view::npos) address.Password = Decoded(user.substr(colon + 1));
    text.remove_prefix(mark + 1);
  }
  if (text.ends_with('/')) text.remove_suffix(1);
  std::string_view host = text, port;
  if (text.starts_with('[')) {
    const std::size_t end = text.find(']');
    if (end == std::string_view::npos) return false;
    host = text.substr(1, end - 1);
    if (!IsHost(host, ":.%") || host.find(':') == std::string_view::npos) return false;
    port = text.substr(end + 1);
  } else {
    host = text.substr(0, text.find(':'));
    if (!IsHost(host, ".-_")) return false;
    port = text.substr(host.size());
  }
  if (!port.empty() && (port[0] != ':' || !IsPort(port.substr(1)))) return false;
  address.Host = host;
  address.Address = scheme.append(text);
  return true;
}

void VqCheckProxyServer(std::string_view list) {
  ForEachEntry(list, [](std::string_view entry) {
    TVqHTTPProxyAddress address;
    const std::size_t mark = entry.find('=');
    const bool listed = mark != std::string_view::npos && IsOneOf(entry.substr(0, mark), kListedSchemes);
    const bool good = VqReadProxyAddress(listed ? entry.substr(mark + 1) : entry, address);
    if (entry.find('@') != std::string_view::npos) {
      throw EVqHTTPInvalidArgument("SetProxyServer",
                                   "The address of a proxy holds a user name; credentials are set apart.");
    }
    if (!good) {
      throw EVqHTTPInvalidArgument(
          "SetProxyServer", "An entry of the list of proxies is neither \"host:port\" nor \"scheme=host:port\".");
    }
    return false;
  });
}

bool VqStaysHere(const TVqHTTPSessionSettings& settings, const TVqHTTPRoute& route, const TVqHTTPTarget& target) {
  const auto isHere = [](std::string_view place) {
    TVqHTTPProxyAddress address;
    return VqReadProxyAddress(place, address) && VqIsLoopbackHost(address.Host);
  };
  if (route.Kind == TVqHTTPRouteKind::system) return false;
  if (route.Kind == TVqHTTPRouteKind::proxy && !isHere(route.Proxy)) return false;
  const std::string place = (target.Host.find(':') != std::string::npos ? "[" + target.Host + "]" : target.Host) + ":" +
                            std::to_string(target.Port);
  for (const auto& [from, to] : settings.ConnectTo) {
    if (VqSameAscii(from, place)) return isHere(to);
  }
  return VqIsLoopbackHost(target.Host);
}

TVqHTTPRoute VqHTTPRouteFor(const TVqHTTPSessionSettings& settings, const std::string& scheme,
                            const std::string& host) {
  using Kind = TVqHTTPRouteKind;
  if (settings.AccessType == TVqHTTPAccessType::preConfig) {
    // This machine is not asked for through another one, where "this machine" would be that other one.
    return {VqIsLoopbackHost(host) ? Kind::direct : Kind::system, {}};
  }
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
