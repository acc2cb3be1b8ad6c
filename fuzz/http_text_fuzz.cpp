// The small languages of HTTP: addresses, proxies, cookies, dates, challenges, packed bodies, and what is shown of
// them. The first byte says which one the rest is.

#include <cstdlib>
#include <string>
#include <string_view>

#include "platform/http/internal/uVqHTTPDate.h"
#include "platform/http/internal/uVqHTTPText.h"
#include "platform/http/uVqHTTPEngine_p.h"
#include "platform/http/uVqHTTPIntake_p.h"
#include "platform/http/uVqHTTPLook.h"
#include "platform/http/uVqHTTPRequest_p.h"
#include "platform/http/uVqURL.h"

namespace {

using namespace velmore;

void Check(bool condition) {
  if (!condition) std::abort();
}

void Url(std::string_view text) {
  const TVqURLData url = VqDecodeURL(text);
  if (!url.IsValid) {
    Check(url.Host.empty() && url.Scheme.empty());
    return;
  }
  Check(!url.Host.empty() && !url.Scheme.empty());
  // Put together again it reads the same.
  const bool brackets = url.Host.Contains(u":");
  string again = url.Scheme + u"://" + (url.UserInfo.empty() ? string() : url.UserInfo + u"@");
  again += (brackets ? string(u"[") : string()) + url.Host + (brackets ? string(u"]") : string());
  if (url.Port != 0) again += u":" + string(std::to_string(url.Port));
  again += url.Path + (url.Query.empty() ? string() : u"?" + url.Query);
  const TVqURLData second = VqDecodeURL(again);
  Check(second.IsValid && second.Host == url.Host && second.Path == url.Path && second.Port == url.Port);
  static_cast<void>(VqIsLoopbackHost(url.Host));
}

void Proxy(std::string_view text) {
  TVqHTTPProxyAddress address;
  if (VqReadProxyAddress(text, address)) {
    Check(!address.Host.empty() && address.Address.find('@') == std::string::npos);
    TVqHTTPProxyAddress again;
    Check(VqReadProxyAddress(address.Address, again) && again.Host == address.Host && again.User.empty());
  }
  try {
    VqCheckProxyServer(text);
    TVqHTTPSessionSettings settings;
    settings.AccessType = TVqHTTPAccessType::proxy;
    settings.ProxyServer = text;
    const TVqHTTPRoute route = VqHTTPRouteFor(settings, "https", "mail.example.com");
    Check(route.Kind == TVqHTTPRouteKind::direct || VqReadProxyAddress(route.Proxy, address));
  } catch (const EVqHTTPInvalidArgument&) {
  }
}

void Cookies(std::string_view text) {
  TVqHTTPCookies cookies;
  cookies.Add("https://mail.example.com/ews/x", text);
  Check(cookies.Count() <= 1);
  const std::string header = cookies.HeaderFor("https://mail.example.com/ews/x");
  Check(header.find('\r') == std::string::npos && header.find('\n') == std::string::npos && header.size() <= 4096);
  Check(cookies.HeaderFor("https://example.com/ews/x").empty());
}

void Challenge(std::string_view text) {
  TVqEngineReply reply;
  reply.Status = 401;
  reply.Headers.emplace_back("WWW-Authenticate", text);
  for (const std::string& scheme : VqOfferedSchemes(reply)) Check(!scheme.empty());
}

void Packed(std::string_view text) {
  if (text.empty()) return;
  static constexpr const char* kEncodings[] = {"gzip", "deflate", ""};
  const char* const encoding = kEncodings[static_cast<unsigned char>(text[0]) % 3];
  text.remove_prefix(1);
  TVqHTTPLimits limits;
  limits.UnpackedBytes = 1 << 20;
  // However it is cut, it is the same.
  std::string results[3];
  std::uint32_t numbers[3] = {};
  const std::size_t sizes[] = {1, 7, text.size() + 1};
  for (int i = 0; i < 3; ++i) {
    TVqHTTPIntake intake;
    try {
      intake.Begin("h", encoding, limits, true);
      for (std::size_t at = 0; at < text.size(); at += sizes[i])
        intake.Take(text.substr(at, sizes[i]), [&](std::string_view bytes) { results[i] += bytes; });
      intake.End();
    } catch (const EVqHTTPApiException& failure) {
      numbers[i] = failure.GetNumber();
    }
    Check(results[i].size() <= (1 << 20));
  }
  Check(numbers[0] == numbers[1] && numbers[1] == numbers[2]);
  if (numbers[0] == 0) Check(results[0] == results[1] && results[1] == results[2]);
}

void Shown(std::string_view text) {
  Check(!VqShownAddress(text, 100).Contains(u"@"));
  Check(VqShownText(text, 50).size() <= 53);
  static_cast<void>(VqHTTPMaskedAddress(text));
  for (const char* type : {"application/json", "text/xml", "application/x-www-form-urlencoded"})
    static_cast<void>(VqHTTPMaskedBody(text, type));
  for (const char* name : {"Authorization", "Cookie", "Set-Cookie", "WWW-Authenticate", "Location"})
    static_cast<void>(VqHTTPMaskedHeader(name, text));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::string_view text(reinterpret_cast<const char*>(data) + 1, size - 1);
  switch (data[0]) {
    case 'u':
      Url(text);
      break;
    case 'p':
      Proxy(text);
      break;
    case 'c':
      Cookies(text);
      break;
    case 'a':
      Challenge(text);
      break;
    case 'z':
      Packed(text);
      break;
    case 's':
      Shown(text);
      break;
    case 'b':
      static_cast<void>(VqDecodeBody(text, "text/xml; charset=utf-16"));
      static_cast<void>(VqDecodeBody(text, text));
      break;
    default:
      if (const auto date = VqHTTPDate(text)) Check(*date > -11644473601);
  }
  return 0;
}
