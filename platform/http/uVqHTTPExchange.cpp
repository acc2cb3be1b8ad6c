#include "platform/http/uVqHTTPExchange_p.h"

#include <algorithm>

#include "platform/http/internal/uVqHTTPText.h"

namespace velmore {

namespace {

constexpr unsigned kAllSchemes = VqHTTPSchemesWith([](const auto&) { return true; });

bool Offers(const std::vector<std::string>& offered, const char* name) {
  return std::any_of(offered.begin(), offered.end(), [&](const std::string& one) { return VqSameAscii(one, name); });
}

// Bytes outside ASCII as "%XX"; everything else stands as it was written.
std::string EncodeNonAscii(const string& text) {
  static constexpr char Digits[] = "0123456789ABCDEF";
  std::string encoded;
  for (const char c : text.utf8()) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x80) {
      encoded += c;
    } else {
      encoded += '%';
      encoded += Digits[byte >> 4];
      encoded += Digits[byte & 15];
    }
  }
  return encoded;
}

// Of an address that a server gave, in the texts of exceptions.
constexpr std::size_t kLongestAddress = 500;

// Raises for what is no address that a request can go to.
TVqHTTPTarget TargetOf(const string& url) {
  if (url.Trim().empty()) throw EVqHTTPApiException("VqDecodeURL", "The address is empty.", VqErrInvalidUrl);
  const TVqURLData parts = VqDecodeURL(url);
  if (!parts.IsValid) {
    // What cannot be taken apart may hold a password anywhere: it is not shown beyond an "@".
    const bool secret = url.Contains(u"@");
    throw EVqHTTPApiException("VqDecodeURL",
                              secret ? string("The address is not valid.")
                                     : Format("The address \"%s\" is not valid.", {VqShownText(url, kLongestAddress)}),
                              VqErrInvalidUrl);
  }
  if (parts.Scheme != u"http" && parts.Scheme != u"https") {
    throw EVqHTTPApiException(
        "VqDecodeURL",
        Format("The scheme \"%s\" is not one of http and https.", {VqShownText(parts.Scheme, kLongestAddress)}),
        VqErrUnrecognizedScheme);
  }
  if (!parts.UserInfo.empty()) {
    throw EVqHTTPApiException("VqDecodeURL",
                              Format("The address of \"%s\" holds a user name; credentials are set apart.",
                                     {VqShownText(parts.Host, kLongestAddress)}),
                              VqErrInvalidUrl);
  }
  TVqHTTPTarget target;
  target.URL = url;
  target.Scheme = parts.Scheme.utf8();
  target.Host = parts.Host.utf8();
  const bool brackets = parts.Host.Contains(u":");
  const std::string name = target.Scheme + "://" + (brackets ? "[" : "") + target.Host + (brackets ? "]" : "");
  target.Origin = name + ":" + std::to_string(parts.Port);
  const std::uint16_t usual = parts.IsHttps() ? 443 : 80;
  target.Address = parts.Port == usual ? name : target.Origin;
  target.Place = target.Address.substr(target.Scheme.size() + 3);
  target.Address += parts.Path.empty() ? "/" : EncodeNonAscii(parts.Path);
  if (!parts.Query.empty()) target.Address += "?" + EncodeNonAscii(parts.Query);
  target.Port = parts.Port;
  return target;
}

// Puts a line in, in place of one of the same name.
void SetHeaderLine(std::vector<std::string>& lines, std::string_view name, std::string_view value) {
  const std::size_t length = name.size();
  std::erase_if(lines, [&](const std::string& line) {
    return line.size() > length && (line[length] == ':' || line[length] == ';') &&
           VqSameAscii(std::string_view(line).substr(0, length), name);
  });
  std::string& line = lines.emplace_back();
  line.reserve(length + 2 + value.size());
  line.append(name);
  if (value.empty()) {
    line += ';';  // the engines' form of a header without a value
  } else {
    line.append(": ").append(value);
  }
}

// A token endpoint says little. What is longer is none.
constexpr std::uint64_t kLongestTokenAnswer = std::uint64_t{1} << 20;
constexpr std::chrono::milliseconds kTokenTime = std::chrono::minutes(1);

}  // namespace

const char* VqHTTPSchemeName(unsigned scheme) noexcept {
  for (const TVqHTTPSchemeRow& row : kVqHTTPSchemes) {
    if (row.Scheme == scheme) return row.Name;
  }
  return "";
}

TVqHTTPExchange::TVqHTTPExchange(TVqHTTPClientBase& client, TVqHTTPRequest& request, TVqHTTPSessionState& session)
    : FClient(client), FRequest(request), FSession(session), FOnData(client.FOnDataReceived) {}

void TVqHTTPExchange::TakeSettings() {
  const std::scoped_lock lock(FSession.Mutex);
  FSession.Active = true;
  FEngineRequest.Session = FSession.Settings;
  FEngineRequest.HTTP11 = FClient.FHTTPVersion == TVqHTTPVersion::http11;
  FEngineRequest.TimeOuts = FClient.FTimeOuts;
  FEngineRequest.SecurityFlags = FClient.EffectiveSecurityFlags();
  FEngineRequest.Cancelled = &FRequest.FEnding;
}

TVqRef<IVqHTTPResponse> TVqHTTPExchange::Run() {
  TakeSettings();
  TakeTarget();
  TakeProxy();
  // First of all: a new token may mean another identity, and a person who logs on is no part of the call's time.
  if (FClient.FAuthentication == TVqHTTPAuthentication::oAuth && !FPlainText) FClient.CheckToken(FRequest);
  FIdentity = FClient.Identify();
  const TVqHTTPLimits& limits = FEngineRequest.Session.Limits;
  if (limits.TotalTime.count() > 0) FEngineRequest.Deadline = TVqHTTPClock::now() + limits.TotalTime;
  TakeCredentials();
  TakeHeaders();
  TakeCookies();
  FEngineRequest.Verb = VqHTTPVerbText(FRequest.FVerb);
  FEngineRequest.Body = FRequest.FBody;
  FEngineRequest.HasBody = FRequest.FHasBody;
  FEngineRequest.OnHeaders = [this](std::uint16_t status) {
    FStream.Clear();
    FBody.Clear();
    // A refusal is no part of the stream that the event waits for.
    FToEvent = FOnData && status != 401 && status != 407;
    return !FToEvent;
  };
  FEngineRequest.OnBody = [this](std::string_view bytes) {
    if (!FToEvent) return FBody.Append(bytes);
    FStream.Append(bytes);
    FOnData(FClient, FStream);
    const std::uint64_t most = FEngineRequest.Session.Limits.UnpackedBytes;
    if (most != 0 && FStream.GetSize() > most) VqRaiseTooLong(FTarget->Place, most, true);
  };

  TVqEngineReply reply = AnswerChallenge();
  const std::uint16_t status = reply.Status;
  // What refuses a request may have left a part of it unread, or say more than was asked.
  if (status >= 400) FClient.FEngine->CloseConnections();
  std::string hint;
  std::string tried;
  if (status == 401) {
    tried = FBearer ? "Bearer" : VqHTTPSchemeName(FTried);
    hint = Hint(VqOfferedSchemes(reply));
  } else if (status == 407) {
    if (reply.ProxyCredentialsSent) {
      const auto offered = VqOfferedSchemes(reply);
      for (const TVqHTTPSchemeRow& row : kVqHTTPSchemes) {
        if ((FEngineRequest.ProxySchemes & row.Scheme) == 0 || !Offers(offered, row.Name)) continue;
        tried = row.Name;
        break;
      }
    } else if (FEngineRequest.ProxyUser.empty()) {
      hint = "No user name is set for the proxy.";
    }
  }
  auto response =
      MakeRef<TVqHTTPResponse>(FRequest.FURL.utf8(), std::move(reply), FToEvent ? FStream.TakeBytes() : FBody.Take());
  response->SetAuthenticationResult(std::move(tried), std::move(hint));
  return response;
}

TVqOAuthAnswer TVqHTTPExchange::PostForm(const string& url, std::string_view form, const std::string& authorization) {
  FForToken = true;
  TakeSettings();
  TVqHTTPLimits& limits = FEngineRequest.Session.Limits;
  for (std::uint64_t* bytes : {&limits.ReplyBytes, &limits.UnpackedBytes}) {
    if (*bytes == 0 || *bytes > kLongestTokenAnswer) *bytes = kLongestTokenAnswer;
  }
  const bool shorter = limits.TotalTime.count() > 0 && limits.TotalTime < kTokenTime;
  FEngineRequest.Deadline = TVqHTTPClock::now() + (shorter ? limits.TotalTime : kTokenTime);
  FTarget = std::make_shared<const TVqHTTPTarget>(TargetOf(url));
  FEngineRequest.URL = FTarget->Address;
  TakeProxy();
  if (FPlainText) {
    throw EVqHTTPApiException("PostForm", "Secrets are not sent over plain HTTP to another machine.",
                              VqErrUnrecognizedScheme);
  }
  FEngineRequest.Verb = VqHTTPVerbText(TVqHTTPVerb::post);
  FEngineRequest.Body = form;
  FEngineRequest.HasBody = true;
  FEngineRequest.Headers = {"Accept: application/json", "Content-Type: application/x-www-form-urlencoded"};
  if (!authorization.empty()) FEngineRequest.Headers.push_back("Authorization: " + authorization);
  FEngineRequest.OnHeaders = [this](std::uint16_t) {
    FBody.Clear();
    return true;
  };
  FEngineRequest.OnBody = [this](std::string_view bytes) { FBody.Append(bytes); };
  const TVqEngineReply reply = Perform(schemeNone);
  if (reply.Status >= 400) FClient.FEngine->CloseConnections();
  TVqOAuthAnswer answer;
  answer.Status = reply.Status;
  for (const auto& [name, value] : reply.Headers) {
    if (VqSameAscii(name, "Content-Type")) answer.ContentType = value;
  }
  answer.Body = FBody.Take();
  return answer;
}

void TVqHTTPExchange::TakeTarget() {
  if (FRequest.FVerb == TVqHTTPVerb::none || VqHTTPVerbText(FRequest.FVerb).empty()) {
    throw EVqHTTPInvalidArgument("CreateRequest", "The request has no verb.");
  }
  std::shared_ptr<const TVqHTTPTarget>& last = FClient.FEngine->Target;
  if (!last || last->URL != FRequest.FURL) last = std::make_shared<const TVqHTTPTarget>(TargetOf(FRequest.FURL));
  FTarget = last;
  FEngineRequest.URL = FTarget->Address;
}

void TVqHTTPExchange::TakeCredentials() {
  const TVqCredentials& credentials = FClient.FCredentials;
  FEngineRequest.User = credentials.GetLogonName().utf8();
  FEngineRequest.Password = credentials.GetPassword().utf8();
  const TVqHTTPAuthentication setting = FClient.FAuthentication;
  if (setting == TVqHTTPAuthentication::oAuth) return TakeToken();
  const bool byChallenge = setting == TVqHTTPAuthentication::byChallenge;
  FAllowed = FClient.FEngine->Schemes() & VqHTTPSchemesWith([&](const TVqHTTPSchemeRow& row) {
               if (!byChallenge && row.Setting != setting) return false;
               return !(FPlainText && row.Readable) && !(FEngineRequest.User.empty() && row.NeedsName);
             });
}

void TVqHTTPExchange::TakeToken() {
  FTokenHeldBack = FPlainText;
  if (FPlainText) return;
  const TVqOAuthAccessToken& token = FClient.TokenInForce();
  const std::string value = "Bearer " + token.Token.utf8();
  for (const char c : value) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < ' ' || byte > '~') throw EVqHTTPInvalidArgument("SetAccessToken", "The access token is malformed.");
  }
  FBearer = true;
  FEngineRequest.Headers.push_back("Authorization: " + value);
}

void TVqHTTPExchange::TakeHeaders() {
  std::vector<std::string>& lines = FEngineRequest.Headers;
  // What the token wrote already stands; a second line of that name would be ambiguous.
  const auto add = [&](std::string_view name, std::string_view value) {
    if (!FBearer || !VqSameAscii(name, "Authorization")) SetHeaderLine(lines, name, value);
  };
  const auto addChecked = [&](const std::string& name, const std::string& value) {
    VqCheckHeader(name, value);
    add(name, value);
  };
  const TVqHTTPRequestHeaders& own = FClient.FRequestHeaders;
  if (own.GetAccept().empty()) {
    add("Accept", "*/*");
  } else {
    addChecked("Accept", own.GetAccept().utf8());
  }
  if (own.GetConnection() == TVqHTTPConnectionHeader::close) add("Connection", "close");
  if (own.GetConnection() == TVqHTTPConnectionHeader::keepAlive) add("Connection", "Keep-Alive");
  for (const string& line : FClient.FAdditionalHeaders) {
    const std::size_t mark = line.Pos(u"=");
    if (mark == string::npos) {
      throw EVqHTTPInvalidArgument("GetAdditionalHeaders", "An additional header is not of the form \"Name=value\".");
    }
    addChecked(line.Copy(0, mark).Trim().utf8(), line.Copy(mark + 1).Trim().utf8());
  }
  for (const auto& [name, value] : FRequest.FHeaders) add(name, value);  // checked when they were set
}

void TVqHTTPExchange::TakeCookies() {
  std::string all = FClient.FUseCookies ? FSession.Cookies.HeaderOf(FIdentity, FEngineRequest.URL) : std::string();
  if (!FRequest.FCookies.empty()) {
    std::string others;
    std::string_view rest = all;
    while (!rest.empty()) {
      const std::size_t end = rest.find("; ");
      const std::string_view one = rest.substr(0, end);
      rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 2);
      const std::string_view name = one.substr(0, one.find('='));
      const auto same = [&](const auto& cookie) { return cookie.first == name; };
      if (std::any_of(FRequest.FCookies.begin(), FRequest.FCookies.end(), same)) continue;
      others.append(others.empty() ? "" : "; ").append(one);
    }
    for (const auto& [name, value] : FRequest.FCookies) {
      others.append(others.empty() ? "" : "; ").append(name).append("=").append(value);
    }
    all = std::move(others);
  }
  FEngineRequest.Cookies = std::move(all);
}

void TVqHTTPExchange::TakeProxy() {
  FEngineRequest.Route = VqHTTPRouteFor(FEngineRequest.Session, FTarget->Scheme, FTarget->Host);
  FPlainText = FTarget->Scheme == "http" && !FClient.FAllowPlainTextPassword &&
               !VqStaysHere(FEngineRequest.Session, FEngineRequest.Route, *FTarget);
  if (FEngineRequest.Route.Kind == TVqHTTPRouteKind::direct) return;
  FEngineRequest.ProxyUser = FClient.FProxyCredentials.GetLogonName().utf8();
  FEngineRequest.ProxyPassword = FClient.FProxyCredentials.GetPassword().utf8();
  if (!FEngineRequest.ProxyUser.empty()) FEngineRequest.ProxySchemes = FClient.FEngine->Schemes() & kAllSchemes;
}

TVqEngineReply TVqHTTPExchange::Perform(unsigned scheme) {
  FEngineRequest.Scheme = scheme;
  TVqEngineReply reply = FClient.FEngine->Perform(FEngineRequest);
  if (reply.Status == 407 && !reply.ProxyCredentialsSent) {
    const unsigned schemes = FEngineRequest.ProxySchemes;
    const auto offered = VqOfferedSchemes(reply);
    const bool negotiate = Offers(offered, VqHTTPSchemeName(schemeNegotiate));
    // Without a name: with the ticket at hand. With one: if there was no ticket, the proxy's other offers are open.
    FEngineRequest.ProxySchemes = schemes == schemeNone ? FClient.FEngine->Schemes() & schemeNegotiate
                                                        : schemes & ~static_cast<unsigned>(schemeNegotiate);
    if (negotiate && FEngineRequest.ProxySchemes != schemeNone && schemes != schemeNegotiate) {
      reply = FClient.FEngine->Perform(FEngineRequest);
    }
  }
  if (FClient.FUseCookies && !FForToken) {
    for (const std::string& cookie : reply.SetCookies) FSession.Cookies.AddOf(FIdentity, FEngineRequest.URL, cookie);
  }
  if (reply.CredentialsSent) FTried = scheme;
  return reply;
}

bool TVqHTTPExchange::Ready(unsigned scheme) {
  if (scheme != schemeNegotiate) return true;
  FTicket = FClient.FEngine->PrepareNegotiate(FEngineRequest);
  if (FTicket == TVqTicket::refused) FTried = schemeNegotiate;
  return FTicket == TVqTicket::ready;
}

unsigned TVqHTTPExchange::KnownScheme() const {
  return FClient.FKnownOrigin == FTarget->Origin ? static_cast<unsigned>(FClient.FKnownScheme) & FAllowed : 0U;
}

TVqEngineReply TVqHTTPExchange::AnswerChallenge() {
  if (FClient.FAuthentication != TVqHTTPAuthentication::byChallenge) return Perform(Ready(FAllowed) ? FAllowed : 0U);

  const unsigned known = KnownScheme();
  TVqEngineReply reply = Perform(Ready(known) ? known : 0U);
  if (reply.Status != 401) return reply;
  FClient.FKnownScheme = schemeNone;
  // A password that was refused is not offered again in another form: each refusal counts towards a locked account.
  if (FTried != schemeNone) return reply;

  const std::vector<std::string> offered = VqOfferedSchemes(reply);
  for (const TVqHTTPSchemeRow& row : kVqHTTPSchemes) {
    if ((FAllowed & row.Scheme) == 0 || !Offers(offered, row.Name)) continue;
    if (!Ready(row.Scheme)) {
      if (FTicket == TVqTicket::refused) return reply;
      continue;
    }
    reply = Perform(row.Scheme);
    if (reply.Status != 401) {
      FClient.FKnownOrigin = FTarget->Origin;
      FClient.FKnownScheme = row.Scheme;
      return reply;
    }
    if (FTried != schemeNone) return reply;
  }
  return reply;
}

std::string TVqHTTPExchange::Hint(const std::vector<std::string>& offered) const {
  if (FTicket == TVqTicket::refused) return "The Kerberos server refused the password.";
  if (FTried != schemeNone || FBearer) return {};
  if (FTokenHeldBack) return "An access token is not sent over plain HTTP to another machine.";
  if (FClient.FAuthentication == TVqHTTPAuthentication::anonymous) return "The client is set to send no credentials.";
  const auto offersAny = [&](auto condition) {
    return std::any_of(std::begin(kVqHTTPSchemes), std::end(kVqHTTPSchemes),
                       [&](const TVqHTTPSchemeRow& row) { return condition(row) && Offers(offered, row.Name); });
  };
  if (FEngineRequest.User.empty() && offersAny([](const auto& row) { return row.NeedsName; })) {
    return "No user name is set.";
  }
  if (FPlainText && offersAny([](const auto& row) { return row.Readable; })) {
    return "A password is not sent over plain HTTP to another machine.";
  }
  if (FTicket == TVqTicket::silent) return "The Kerberos server did not answer.";
  if (Offers(offered, VqHTTPSchemeName(schemeNegotiate))) return "There is no Kerberos ticket for this server.";
  if (!offered.empty()) return "None of the schemes offered is supported.";
  return "The server did not say how to log on.";
}

}  // namespace velmore
