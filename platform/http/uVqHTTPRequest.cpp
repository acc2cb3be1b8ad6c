#include "platform/http/uVqHTTPRequest_p.h"

#include <algorithm>

#include "platform/http/internal/uVqHTTPText.h"

namespace velmore {

namespace {

// Of the words behind a status, which are a few.
constexpr std::size_t kLongestReason = 200;

char Lower(char c) noexcept {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool IsTokenChar(char c) {
  return (c >= '0' && c <= '9') || (Lower(c) >= 'a' && Lower(c) <= 'z') ||
         (c != '\0' && std::string_view("!#$%&'*+-.^_`|~").find(c) != std::string_view::npos);
}

// Header bytes have no charset; servers write UTF-8 or Latin-1.
string HeaderText(std::string_view bytes) {
  if (VqIsUtf8(bytes)) return bytes;
  std::u16string text;
  for (const char c : bytes) text += static_cast<char16_t>(static_cast<unsigned char>(c));
  return text;
}

}  // namespace

bool VqSameAscii(std::string_view a, std::string_view b) noexcept {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) { return Lower(x) == Lower(y); });
}

void VqCheckHeader(std::string_view name, std::string_view value) {
  if (name.empty() || !std::all_of(name.begin(), name.end(), IsTokenChar)) {
    throw EVqHTTPInvalidArgument("SetHeader", Format("\"%s\" is not the name of a header.", {string(name)}));
  }
  const auto bad = [](char c) { return static_cast<unsigned char>(c) < ' ' && c != '\t'; };
  if (std::any_of(value.begin(), value.end(), bad)) {
    throw EVqHTTPInvalidArgument("SetHeader",
                                 Format("The value of the header \"%s\" holds a control character.", {string(name)}));
  }
}

bool VqCookieValue(std::string_view setCookie, std::string_view name, std::string& value) {
  const std::string_view pair = setCookie.substr(0, setCookie.find(';'));
  const std::size_t mark = pair.find('=');
  if (mark == std::string_view::npos || !VqSameAscii(VqTrimBlanks(pair.substr(0, mark)), name)) return false;
  value = VqTrimBlanks(pair.substr(mark + 1));
  if (value.size() >= 2 && value.front() == '"' && value.back() == '"') value = value.substr(1, value.size() - 2);
  return true;
}

std::vector<std::string> VqOfferedSchemes(const TVqEngineReply& reply) {
  const std::string_view header = reply.Status == 407 ? "Proxy-Authenticate" : "WWW-Authenticate";
  std::vector<std::string> schemes;
  const auto add = [&](std::string_view scheme) {
    const auto same = [&](const std::string& known) { return VqSameAscii(known, scheme); };
    if (!scheme.empty() && std::none_of(schemes.begin(), schemes.end(), same)) schemes.emplace_back(scheme);
  };
  for (const auto& [name, value] : reply.Headers) {
    if (!VqSameAscii(name, header)) continue;
    // Several challenges may share a line: a scheme is the token at the start of a comma-separated part that does not
    // go on with "=". Commas within quoted strings part nothing.
    std::size_t at = 0;
    while (at < value.size()) {
      bool quoted = false;
      std::size_t end = at;
      for (; end < value.size() && (quoted || value[end] != ','); ++end) {
        if (value[end] == '"') quoted = !quoted;
        if (quoted && value[end] == '\\') ++end;
      }
      end = std::min(end, value.size());
      const std::string_view part = VqTrimBlanks(std::string_view(value).substr(at, end - at));
      std::size_t length = 0;
      while (length < part.size() && IsTokenChar(part[length])) ++length;
      const bool parameter = length < part.size() && part[length] == '=';
      if (!parameter && (length == part.size() || part[length] == ' ')) add(part.substr(0, length));
      at = end + 1;
    }
  }
  return schemes;
}

TVqHTTPResponse::TVqHTTPResponse(std::string url, TVqEngineReply reply, std::string body)
    : FURL(std::move(url)), FBody(std::move(body)) {
  FStatus.Code = reply.Status;
  FStatus.Text = VqShownText(HeaderText(reply.Reason), kLongestReason);
  if (reply.Status == 401 || reply.Status == 407) {
    for (const std::string& scheme : VqOfferedSchemes(reply)) FOffered.emplace_back(scheme);
  }
  FLines = std::move(reply.Headers);
}

TVqHTTPStatus TVqHTTPResponse::GetStatus() const {
  return FStatus;
}

string TVqHTTPResponse::GetURL() const {
  return FURL;
}

string TVqHTTPResponse::GetTriedScheme() const {
  return FTried;
}

string TVqHTTPResponse::GetAuthenticationHint() const {
  return FHint;
}

string TVqHTTPResponse::GetHeader(const string& AName) const {
  const std::string wanted = AName.utf8();
  string value;
  bool found = false;
  for (const auto& [name, text] : FLines) {
    if (!VqSameAscii(name, wanted)) continue;
    if (found) value += u", ";
    value += HeaderText(text);
    found = true;
  }
  return value;
}

string TVqHTTPResponse::GetCookie(const string& AName) const {
  const std::string wanted = AName.utf8();
  std::string value;
  for (const auto& [name, text] : FLines) {
    if (VqSameAscii(name, "Set-Cookie")) VqCookieValue(text, wanted, value);  // the last one counts
  }
  return HeaderText(value);
}

const std::vector<std::pair<string, string>>& TVqHTTPResponse::GetHeaders() const {
  if (FHeaders.empty()) {
    FHeaders.reserve(FLines.size());
    for (const auto& [name, value] : FLines) FHeaders.emplace_back(HeaderText(name), HeaderText(value));
  }
  return FHeaders;
}

string TVqHTTPResponse::GetText() const {
  return VqDecodeBody(FBody, GetHeader(u"Content-Type").utf8());
}

void TVqHTTPResponse::SetAuthenticationResult(std::string tried, std::string hint) {
  FTried = std::move(tried);
  FHint = std::move(hint);
}

TVqHTTPRequest::TVqHTTPRequest(TVqHTTPClientBase* client, TVqHTTPVerb verb, const string& url, bool hasBody,
                               std::string body)
    : FClient(client), FVerb(verb), FURL(url), FHasBody(hasBody), FBody(std::move(body)) {
  FHeaders.reserve(8);
}

string TVqHTTPRequest::GetHeader(const string& AName) const {
  const std::string wanted = AName.utf8();
  for (const auto& [name, value] : FHeaders) {
    if (VqSameAscii(name, wanted)) return value;
  }
  return {};
}

std::vector<std::pair<string, string>> TVqHTTPRequest::GetHeaders() const {
  return {FHeaders.begin(), FHeaders.end()};
}

void TVqHTTPRequest::SetHeader(const string& AName, const string& AValue) {
  const std::string name = AName.utf8();
  std::string value = AValue.utf8();
  VqCheckHeader(name, value);
  std::erase_if(FHeaders, [&](const auto& header) { return VqSameAscii(header.first, name); });
  if (!value.empty()) FHeaders.emplace_back(name, std::move(value));
}

void TVqHTTPRequest::SetCookie(const string& AName, const string& AValue) {
  const std::string name = AName.utf8();
  std::string value = AValue.utf8();
  VqCheckHeader(name, value);
  if (value.find(';') != std::string::npos) {
    throw EVqHTTPInvalidArgument("SetCookie", Format("The value of the cookie \"%s\" holds a \";\".", {AName}));
  }
  std::erase_if(FCookies, [&](const auto& cookie) { return cookie.first == name; });
  if (!value.empty()) FCookies.emplace_back(name, std::move(value));
}

TVqRef<IVqHTTPResponse> TVqHTTPRequest::Execute() {
  return FClient->Execute(*this);
}

void TVqHTTPRequest::Cancel() noexcept {
  FCancelled = true;
  Stop();
}

void TVqHTTPRequest::Stop() noexcept {
  FEnding = true;
  FClient->FEngine->Wake();
  const std::scoped_lock lock(FHookMutex);
  if (FHook) FHook();
}

TVqHTTPRequest::TStopHook::TStopHook(TVqHTTPRequest& request, std::function<void()> wake)
    : FRequest(request), FOther(std::move(wake)) {
  const std::scoped_lock lock(FRequest.FHookMutex);
  FRequest.FHook.swap(FOther);
}

TVqHTTPRequest::TStopHook::~TStopHook() {
  const std::scoped_lock lock(FRequest.FHookMutex);
  FRequest.FHook.swap(FOther);
}

// In this order: a Cancel in between is seen either here or by its own store.
void TVqHTTPRequest::Begin() noexcept {
  FHasNewToken = false;
  FEnding = false;
  if (FCancelled) FEnding = true;
}

}  // namespace velmore
