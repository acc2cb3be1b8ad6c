#include <algorithm>
#include <charconv>
#include <chrono>
#include <ctime>

#include "platform/http/uVqHTTPEngine_p.h"
#include "platform/http/uVqURL.h"

namespace velmore {

namespace {

std::string_view Trimmed(std::string_view text) {
  while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
  while (!text.empty() && (text.back() == ' ' || text.back() == '\t')) text.remove_suffix(1);
  return text;
}

std::int64_t Now() {
  return std::chrono::duration_cast<std::chrono::seconds>(std::chrono::system_clock::now().time_since_epoch()).count();
}

// The three date forms of cookies have in common: a day, a month's name, a year and hh:mm:ss, in this order but for the
// asctime form. -1 when the text is no date.
std::int64_t ParseDate(std::string_view text) {
  static constexpr std::string_view Months[] = {"jan", "feb", "mar", "apr", "may", "jun",
                                                "jul", "aug", "sep", "oct", "nov", "dec"};
  int day = 0, month = 0, year = -1, hour = -1, minute = 0, second = 0;
  std::size_t at = 0;
  while (at < text.size()) {
    const auto isWord = [](char c) {
      return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == ':';
    };
    if (!isWord(text[at])) {
      ++at;
      continue;
    }
    std::size_t end = at;
    while (end < text.size() && isWord(text[end])) ++end;
    const std::string_view word = text.substr(at, end - at);
    at = end;
    const auto number = [](std::string_view digits) {
      int value = -1;
      const auto [stop, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
      return error == std::errc() && stop == digits.data() + digits.size() ? value : -1;
    };
    if (word.size() == 8 && word[2] == ':' && word[5] == ':') {
      hour = number(word.substr(0, 2));
      minute = number(word.substr(3, 2));
      second = number(word.substr(6, 2));
    } else if (word[0] >= '0' && word[0] <= '9') {
      const int value = number(word);
      if (value < 0) continue;
      if (day == 0 && word.size() <= 2) {
        day = value;
      } else if (year < 0) {
        year = value < 70 ? 2000 + value : value < 100 ? 1900 + value : value;
      }
    } else if (word.size() >= 3 && month == 0) {
      for (int m = 0; m < 12; ++m) {
        if (VqSameAscii(word.substr(0, 3), Months[m])) month = m + 1;
      }
    }
  }
  if (hour < 0 || hour > 23 || minute < 0 || minute > 59 || second < 0 || second > 60) return -1;
  const std::chrono::year_month_day date{std::chrono::year(year), std::chrono::month(static_cast<unsigned>(month)),
                                         std::chrono::day(static_cast<unsigned>(day))};
  if (year < 1601 || !date.ok()) return -1;
  const std::chrono::seconds time = std::chrono::sys_days(date).time_since_epoch() + std::chrono::hours(hour) +
                                    std::chrono::minutes(minute) + std::chrono::seconds(second);
  return time.count();
}

bool IsAddress(std::string_view host) {
  return host.find(':') != std::string_view::npos || host.find_first_not_of("0123456789.") == std::string_view::npos;
}

bool DomainMatches(std::string_view host, std::string_view domain) {
  if (host == domain) return true;
  return host.size() > domain.size() && host.ends_with(domain) && host[host.size() - domain.size() - 1] == '.' &&
         !IsAddress(host);
}

bool PathMatches(std::string_view path, std::string_view prefix) {
  if (!path.starts_with(prefix)) return false;
  return path.size() == prefix.size() || prefix.ends_with('/') || path[prefix.size()] == '/';
}

std::string LowerAscii(std::string text) {
  for (char& c : text) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return text;
}

}  // namespace

void TVqHTTPCookies::Add(const string& AURL, const string& ACookie) {
  const std::string text = ACookie.utf8();
  std::string_view rest = text;
  const auto next = [&rest] {
    const std::size_t end = rest.find(';');
    const std::string_view part = Trimmed(rest.substr(0, end));
    rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
    return part;
  };
  const std::string_view pair = next();
  const std::size_t mark = pair.find('=');
  if (mark == std::string_view::npos || mark == 0) return;
  Cookie cookie;
  cookie.Name = Trimmed(pair.substr(0, mark));
  cookie.Value = Trimmed(pair.substr(mark + 1));
  const auto isControl = [](char c) { return static_cast<unsigned char>(c) < ' ' || c == 0x7F; };
  if (std::any_of(pair.begin(), pair.end(), isControl)) return;

  if (!AURL.empty()) {
    const TVqURLData url = VqDecodeURL(AURL);
    if (!url.IsValid) return;
    cookie.Domain = LowerAscii(url.Host.utf8());
    cookie.Path = url.Path.utf8();
    cookie.Path.resize(cookie.Path.empty() ? 0 : cookie.Path.rfind('/'));
    if (cookie.Path.empty()) cookie.Path = "/";
  }
  bool maxAge = false;
  while (!rest.empty()) {
    const std::string_view attribute = next();
    const std::size_t equals = attribute.find('=');
    const std::string_view name = Trimmed(attribute.substr(0, equals));
    const std::string_view value =
        equals == std::string_view::npos ? std::string_view() : Trimmed(attribute.substr(equals + 1));
    if (VqSameAscii(name, "Secure")) {
      cookie.Secure = true;
    } else if (VqSameAscii(name, "Path") && value.starts_with('/')) {
      cookie.Path = value;
    } else if (VqSameAscii(name, "Domain") && !value.empty()) {
      const std::string domain = LowerAscii(std::string(value.starts_with('.') ? value.substr(1) : value));
      // A server speaks for itself and what is above it, but not for a whole top-level domain.
      if (domain == cookie.Domain) {
        cookie.HostOnly = false;
      } else if (domain.find('.') != std::string::npos && DomainMatches(cookie.Domain, domain)) {
        cookie.Domain = domain;
        cookie.HostOnly = false;
      } else if (!cookie.Domain.empty()) {
        return;
      }
    } else if (VqSameAscii(name, "Max-Age")) {
      std::int64_t seconds = 0;
      const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), seconds);
      if (error == std::errc::result_out_of_range && value.starts_with('-')) seconds = -1;
      if (error == std::errc::invalid_argument) continue;
      maxAge = true;
      constexpr std::int64_t Longest = std::int64_t{400} * 86400;
      cookie.ExpiresAt = seconds <= 0 ? 1 : Now() + std::min(seconds, Longest);
    } else if (VqSameAscii(name, "Expires") && !maxAge) {
      const std::int64_t end = ParseDate(value);
      if (end >= 0) cookie.ExpiresAt = std::max<std::int64_t>(end, 1);
    }
  }

  const std::scoped_lock lock(FMutex);
  std::erase_if(FCookies, [&](const Cookie& known) {
    return known.Name == cookie.Name && known.Domain == cookie.Domain && known.Path == cookie.Path;
  });
  if (cookie.ExpiresAt == 0 || cookie.ExpiresAt > Now()) FCookies.push_back(std::move(cookie));
}

std::vector<const TVqHTTPCookies::Cookie*> TVqHTTPCookies::Matching(const std::string& AURL) const {
  std::vector<const Cookie*> matching;
  if (FCookies.empty()) return matching;
  const TVqURLData url = VqDecodeURL(AURL);
  if (!url.IsValid) return matching;
  const std::string host = LowerAscii(url.Host.utf8());
  const std::string path = url.Path.empty() ? "/" : url.Path.utf8();
  const std::int64_t now = Now();
  for (const Cookie& cookie : FCookies) {
    if (cookie.ExpiresAt != 0 && cookie.ExpiresAt <= now) continue;
    if (cookie.Secure && !url.IsHttps() && !VqIsLoopbackHost(url.Host)) continue;
    const bool everywhere = cookie.Domain.empty();
    if (!everywhere && (cookie.HostOnly ? host != cookie.Domain : !DomainMatches(host, cookie.Domain))) continue;
    if (!everywhere && !PathMatches(path, cookie.Path)) continue;
    matching.push_back(&cookie);
  }
  // Longer paths first, then as they came.
  std::stable_sort(matching.begin(), matching.end(),
                   [](const Cookie* a, const Cookie* b) { return a->Path.size() > b->Path.size(); });
  // What was added for every host says less than what the host itself set under that name.
  std::erase_if(matching, [&](const Cookie* cookie) {
    return cookie->Domain.empty() && std::any_of(matching.begin(), matching.end(), [&](const Cookie* other) {
             return other->Name == cookie->Name && !other->Domain.empty();
           });
  });
  return matching;
}

string TVqHTTPCookies::GetValue(const string& AURL, const string& AName) const {
  const std::string name = AName.utf8();
  const std::scoped_lock lock(FMutex);
  for (const Cookie* cookie : Matching(AURL.utf8())) {
    if (cookie->Name == name) return cookie->Value;
  }
  return {};
}

std::string TVqHTTPCookies::HeaderFor(const std::string& AURL) const {
  const std::scoped_lock lock(FMutex);
  std::string header;
  for (const Cookie* cookie : Matching(AURL)) {
    header.append(header.empty() ? "" : "; ").append(cookie->Name).append("=").append(cookie->Value);
  }
  return header;
}

std::int32_t TVqHTTPCookies::Count() const {
  const std::scoped_lock lock(FMutex);
  return static_cast<std::int32_t>(FCookies.size());
}

void TVqHTTPCookies::Clear() {
  const std::scoped_lock lock(FMutex);
  FCookies.clear();
}

}  // namespace velmore
