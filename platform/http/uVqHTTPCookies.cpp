#include <algorithm>
#include <charconv>

#include "platform/http/internal/uVqHTTPDate.h"
#include "platform/http/uVqHTTPEngine_p.h"
#include "platform/http/uVqURL.h"

namespace velmore {

namespace {

// What a client need not exceed, by RFC 6265: a server that sends more than that is a hostile or a broken one, and its
// cookies would fill up every request.
constexpr std::size_t kMostBytes = 4096;  // of one cookie
constexpr std::ptrdiff_t kMostOfHost = 50;
constexpr std::size_t kMost = 3000;

constexpr std::int64_t kLongest = std::int64_t{400} * 86400;  // seconds

bool PathMatches(std::string_view path, std::string_view prefix) {
  if (!path.starts_with(prefix)) return false;
  return path.size() == prefix.size() || prefix.ends_with('/') || path[prefix.size()] == '/';
}

// Whether a server may speak for `domain` at all.
bool IsWithin(std::string_view host, std::string_view domain) {
  if (VqSameAscii(host, domain)) return true;
  return host.size() > domain.size() && VqSameAscii(host.substr(host.size() - domain.size()), domain) &&
         host[host.size() - domain.size() - 1] == '.';
}

// The parts of a "Set-Cookie" value, one after the other.
class TVqCookieParts {
 public:
  explicit TVqCookieParts(std::string_view text) : FRest(text) {}
  bool AtEnd() const { return FRest.empty(); }
  std::string_view Next() {
    const std::size_t end = FRest.find(';');
    const std::string_view part = VqTrimBlanks(FRest.substr(0, end));
    FRest.remove_prefix(end == std::string_view::npos ? FRest.size() : end + 1);
    return part;
  }

 private:
  std::string_view FRest;
};

}  // namespace

bool TVqHTTPCookies::Cookie::Expired(std::int64_t now) const {
  return ExpiresAt != 0 && ExpiresAt <= now;
}

// False for an attribute that says that the cookie is another server's.
bool TVqHTTPCookies::Cookie::Take(std::string_view attribute, bool& maxAge) {
  const std::size_t equals = attribute.find('=');
  const std::string_view name = VqTrimBlanks(attribute.substr(0, equals));
  std::string_view value = equals == std::string_view::npos ? "" : VqTrimBlanks(attribute.substr(equals + 1));
  if (VqSameAscii(name, "Secure")) {
    Secure = true;
  } else if (VqSameAscii(name, "Path") && value.starts_with('/')) {
    Path = value;
  } else if (VqSameAscii(name, "Domain") && !value.empty()) {
    if (value.starts_with('.')) value.remove_prefix(1);
    return Host.empty() || IsWithin(Host, value);
  } else if (VqSameAscii(name, "Max-Age")) {
    std::int64_t seconds = 0;
    const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), seconds);
    if (error == std::errc::invalid_argument) return true;
    if (error == std::errc::result_out_of_range) seconds = value.starts_with('-') ? -1 : kLongest;
    maxAge = true;
    ExpiresAt = seconds <= 0 ? 1 : VqHTTPNow() + std::min(seconds, kLongest);
  } else if (VqSameAscii(name, "Expires") && !maxAge) {
    if (const auto end = VqHTTPDate(value)) ExpiresAt = std::max<std::int64_t>(*end, 1);
  }
  return true;
}

void TVqHTTPCookies::Add(const string& AURL, const string& ACookie) {
  AddOf(0, AURL, ACookie.utf8());
}

void TVqHTTPCookies::AddOf(std::uint64_t AIdentity, const string& AURL, std::string_view ACookie) {
  TVqCookieParts parts(ACookie);
  const std::string_view pair = parts.Next();
  const std::size_t mark = pair.find('=');
  if (mark == std::string_view::npos || mark == 0 || pair.size() > kMostBytes) return;
  Cookie cookie;
  cookie.Identity = AIdentity;
  cookie.Name = VqTrimBlanks(pair.substr(0, mark));
  cookie.Value = VqTrimBlanks(pair.substr(mark + 1));
  const auto isControl = [](char c) { return static_cast<unsigned char>(c) < ' ' || c == 0x7F; };
  if (std::any_of(pair.begin(), pair.end(), isControl)) return;

  if (!AURL.empty()) {
    const TVqURLData url = VqDecodeURL(AURL);
    if (!url.IsValid) return;
    cookie.Host = LowerCase(url.Host).utf8();
    cookie.Path = url.Path.utf8();
    cookie.Path.resize(cookie.Path.empty() ? 0 : cookie.Path.rfind('/'));
    if (cookie.Path.empty()) cookie.Path = "/";
  }
  bool maxAge = false;
  while (!parts.AtEnd()) {
    if (!cookie.Take(parts.Next(), maxAge)) return;
  }
  if (cookie.Path.size() > kMostBytes) return;

  const std::int64_t now = VqHTTPNow();
  const std::scoped_lock lock(FMutex);
  std::erase_if(FCookies, [&](const Cookie& known) {
    return known.Identity == cookie.Identity && known.Name == cookie.Name && known.Host == cookie.Host &&
           known.Path == cookie.Path;
  });
  if (!cookie.Expired(now)) Keep(std::move(cookie), now);
}

// The oldest ones make room.
void TVqHTTPCookies::Keep(Cookie ACookie, std::int64_t ANow) {
  const auto sameHost = [&](const Cookie& known) {
    return known.Identity == ACookie.Identity && known.Host == ACookie.Host;
  };
  const auto ofHost = [&] { return std::count_if(FCookies.begin(), FCookies.end(), sameHost); };
  const auto full = [&](std::ptrdiff_t count) { return count >= kMostOfHost || FCookies.size() >= kMost; };
  if (full(ofHost())) {
    std::erase_if(FCookies, [&](const Cookie& known) { return known.Expired(ANow); });
    if (ofHost() >= kMostOfHost) FCookies.erase(std::find_if(FCookies.begin(), FCookies.end(), sameHost));
    if (FCookies.size() >= kMost) FCookies.erase(FCookies.begin());
  }
  FCookies.push_back(std::move(ACookie));
}

std::vector<const TVqHTTPCookies::Cookie*> TVqHTTPCookies::Matching(std::uint64_t AIdentity,
                                                                    const std::string& AURL) const {
  std::vector<const Cookie*> matching;
  if (FCookies.empty()) return matching;
  const TVqURLData url = VqDecodeURL(AURL);
  if (!url.IsValid) return matching;
  const std::string host = LowerCase(url.Host).utf8();
  const std::string path = url.Path.empty() ? "/" : url.Path.utf8();
  const std::int64_t now = VqHTTPNow();
  for (const Cookie& cookie : FCookies) {
    if (cookie.Identity != 0 && cookie.Identity != AIdentity) continue;
    if (cookie.Expired(now)) continue;
    if (cookie.Secure && !url.IsHttps() && !VqIsLoopbackHost(url.Host)) continue;
    if (!cookie.Host.empty() && (host != cookie.Host || !PathMatches(path, cookie.Path))) continue;
    matching.push_back(&cookie);
  }
  // Longer paths first, then as they came.
  std::stable_sort(matching.begin(), matching.end(),
                   [](const Cookie* a, const Cookie* b) { return a->Path.size() > b->Path.size(); });
  // What was added for every host says less than what the host itself set under that name.
  std::erase_if(matching, [&](const Cookie* cookie) {
    return cookie->Host.empty() && std::any_of(matching.begin(), matching.end(), [&](const Cookie* other) {
             return other->Name == cookie->Name && !other->Host.empty();
           });
  });
  return matching;
}

string TVqHTTPCookies::GetValue(const string& AURL, const string& AName) const {
  const std::string name = AName.utf8();
  const std::scoped_lock lock(FMutex);
  for (const Cookie* cookie : Matching(0, AURL.utf8())) {
    if (cookie->Name == name) return cookie->Value;
  }
  return {};
}

std::string TVqHTTPCookies::HeaderFor(const std::string& AURL) const {
  return HeaderOf(0, AURL);
}

std::string TVqHTTPCookies::HeaderOf(std::uint64_t AIdentity, const std::string& AURL) const {
  const std::scoped_lock lock(FMutex);
  std::string header;
  for (const Cookie* cookie : Matching(AIdentity, AURL)) {
    header.append(header.empty() ? "" : "; ").append(cookie->Name).append("=").append(cookie->Value);
  }
  return header;
}

void TVqHTTPCookies::Remove(const string& AName) {
  const std::string name = AName.utf8();
  const std::scoped_lock lock(FMutex);
  std::erase_if(FCookies, [&](const Cookie& cookie) { return cookie.Name == name; });
}

std::int32_t TVqHTTPCookies::Count() const {
  const std::scoped_lock lock(FMutex);
  return static_cast<std::int32_t>(FCookies.size());
}

void TVqHTTPCookies::Clear() {
  const std::scoped_lock lock(FMutex);
  FCookies.clear();
}

void TVqHTTPCookies::ForgetAllBut(const std::vector<std::uint64_t>& AIdentities) {
  const std::scoped_lock lock(FMutex);
  std::erase_if(FCookies, [&](const Cookie& cookie) {
    return cookie.Identity != 0 &&
           std::find(AIdentities.begin(), AIdentities.end(), cookie.Identity) == AIdentities.end();
  });
}

}  // namespace velmore
