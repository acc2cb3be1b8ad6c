// The session's look for a server by a mailbox address: the exchange in XML with its candidates, and the service that
// answers in JSON.

#include <algorithm>
#include <set>

#include "ews/session/uVqEWS.h"
#include "ews/session/uVqEWSAutodiscoverAnswer_p.h"
#include "platform/common/uVqJSON.h"
#include "platform/http/internal/uVqHTTPText.h"
#include "platform/http/uVqURL.h"
#include "platform/xml/uVqXMLUtils.h"

namespace velmore {
namespace {

constexpr const char* kPath = "/autodiscover/autodiscover.xml";
constexpr std::int32_t kTimeOut = 1000;  // a candidate that does not answer must not cost more
constexpr int kMostRedirects = 3;        // of one candidate
constexpr int kMostReferrals = 5;        // from one answer to the next

[[noreturn]] void Fail(const string& text, std::uint32_t number = 0) {
  EwsFailAutodiscover(text, number);
}

bool IsAuthenticationFailure(const EEWSException& failure) {
  return failure.Message() == kEwsAuthenticationFailure || failure.EWSErrorCode() == kEwsAuthenticationFailure;
}

bool IsRefusedLogon(std::uint32_t number) {
  return number == VqErrIncorrectUserName || number == VqErrIncorrectPassword || number == VqErrLoginFailure;
}

string DomainOf(const string& address) {
  return address.Copy(address.Pos(u"@") + 1);  // without an "@" the whole address
}

bool IsPlainHttp(const string& url) {
  return !VqDecodeURL(url).IsHttps();
}

/// An address as it stands in a path: what would end the path is encoded.
string InPath(const string& address) {
  static constexpr std::u16string_view kMarks = u"%?#/ ";
  static constexpr const char* kEncoded[] = {"%25", "%3F", "%23", "%2F", "%20"};
  string path;
  for (const char16_t c : address.view()) {
    const std::size_t mark = kMarks.find(c);
    path += mark == kMarks.npos ? string(std::u16string(1, c)) : string(kEncoded[mark]);
  }
  return path;
}

/// A text as markup.
string AsText(const string& text) {
  const TVqDOMDocument document;
  const IVqDOMElement element = document.CreateRootNode("a");
  element.SetText(text);
  return element.GetInnerXML();
}

std::string RequestBody(const string& address) {
  return "<?xml version=\"1.0\" encoding=\"utf-8\"?><Autodiscover "
         "xmlns=\"http://schemas.microsoft.com/exchange/autodiscover/outlook/requestschema/"
         "2006\"><Request><EMailAddress>" +
         address.utf8() +
         "</EMailAddress><AcceptableResponseSchema>"
         "http://schemas.microsoft.com/exchange/autodiscover/outlook/responseschema/2006a"
         "</AcceptableResponseSchema></Request></Autodiscover>";
}

}  // namespace

/// A pair of clients that fails fast stands in the place of the session's own, which come back by whatever road it
/// ends.
class TVqEWSCustomSession::TThrowAwayClients {
 public:
  explicit TThrowAwayClients(TVqEWSCustomSession& session)
      : FSession(session),
        FHTTPSession(std::move(session.FHTTPSession)),
        FHTTPClient(session.ReplaceHTTPClient(nullptr)) {
    try {
      session.CheckHTTPClient();
    } catch (...) {
      Restore();
      throw;
    }
    TVqHTTPClientBase& client = Client();
    // A candidate is not given a password unasked.
    if (session.LogonScheme() == TVqHTTPAuthentication::basic)
      client.SetAuthentication(TVqHTTPAuthentication::byChallenge);
    client.SetOnError([](TVqComponent&, const TVqRef<IVqHTTPRequest>&, std::uint32_t error) {
      // A transport error is the quiet failure of one candidate; who cancels means them all.
      if (error != VqErrCancelled) throw EAbort(Format("Error: %d", {static_cast<std::int32_t>(error)}));
    });
    client.SetTimeOuts(TVqHTTPTimeOuts(kTimeOut, kTimeOut, kTimeOut));
    client.GetRequestHeaders().SetConnection(static_cast<TVqHTTPConnectionHeader>(1));
  }
  ~TThrowAwayClients() {
    Client().SetOnError(nullptr);
    Restore();
  }
  TThrowAwayClients(const TThrowAwayClients&) = delete;
  TThrowAwayClients& operator=(const TThrowAwayClients&) = delete;

  TVqHTTPClientBase& Client() const { return *FSession.FHTTPClient; }
  /// Before any candidate is asked: who gets no token from one endpoint gets none for the next candidate, and a log-on
  /// takes longer than a candidate may.
  void AcquireToken() const {
    Client().SetTimeOuts(FSession.FTimeOuts);
    Client().AcquireToken();
    Client().SetTimeOuts(TVqHTTPTimeOuts(kTimeOut, kTimeOut, kTimeOut));
  }
  /// So that a token that was just got is not got again.
  void GiveOAuthToSaved() const {
    if (FHTTPClient) FHTTPClient->GetOAuth().Assign(Client().GetOAuth());
  }

 private:
  void Restore() noexcept {
    const auto client = FSession.ReplaceHTTPClient(std::move(FHTTPClient));
    FSession.FHTTPSession.swap(FHTTPSession);
  }

  TVqEWSCustomSession& FSession;
  std::unique_ptr<TVqHTTPSessionBase> FHTTPSession;
  std::unique_ptr<TVqHTTPClientBase> FHTTPClient;
};

TVqEWSOnlineHosts& TVqEWSCustomSession::OnlineHosts() noexcept {
  static TVqEWSOnlineHosts hosts;
  return hosts;
}

// ---- The service that answers in JSON

string TVqEWSCustomSession::AutodiscoverV2(const string& AEMail, const string& AProtocol) {
  const string address = AEMail.empty() ? FAutodiscoverEMail : AEMail;
  if (address.empty()) throw EVqException("No EMail address specified!");
  const auto known = FAutodiscoverResults.find(address);
  if (AProtocol == "Ews" && known != FAutodiscoverResults.end() && known->second) return EwsUrlOf(known->second);
  const TThrowAwayClients clients(*this);
  clients.Client().SetAuthentication(
      TVqHTTPAuthentication::anonymous);  // the service wants nobody's, whatever the session uses
  const string url =
      OnlineHosts().Json + "/autodiscover/autodiscover.json/v1.0/" + InPath(address) + "?Protocol=" + AProtocol;
  TVqRef<IVqHTTPResponse> response;
  clients.Client().Request(response, TVqHTTPVerb::get, url);
  if (response->GetStatus().Code != 200 || !response->GetHeader("content-type").Contains(u"json")) return {};
  return VqParseJSON(response->GetBody()).Member("Url").AsString();
}

// ---- The exchange in XML

string TVqEWSCustomSession::EwsUrlOf(const IVqDOMDocument& AAnswer) {
  return AAnswer.SelectSingleElement("/Autodiscover/Response/Account/Protocol[Type=\"EXPR\"]/EwsUrl", kSelectRequired)
      .GetText();
}

std::vector<string> TVqEWSCustomSession::AutodiscoverCandidates(const string& AAddress) const {
  const string domain = DomainOf(AAddress);
  std::vector<string> urls{"https://" + domain + kPath, "https://autodiscover." + domain + kPath,
                           "https://www." + domain + kPath};
  if (FServiceUrl.Contains(u"office365")) {  // the service, not the domain, decides
    const std::size_t dot = domain.Pos(u".");
    const string tenant = (dot == string::npos ? string() : domain.Copy(0, dot)) + OnlineHosts().TenantSuffix;
    urls.push_back("https://" + OnlineHosts().Soap + kPath);
    urls.push_back("https://autodiscover." + tenant + kPath);
    urls.push_back("https://" + tenant + kPath);
  }
  urls.push_back("http://autodiscover." + domain + kPath);
  urls.push_back("http://www." + domain + kPath);
  return urls;
}

IVqDOMDocument TVqEWSCustomSession::Autodiscover(const string& AEMail) {
  const string address = AEMail.empty() ? FAutodiscoverEMail : AEMail;
  if (address.empty()) throw EVqException("No EMail address specified!");
  if (const auto known = FAutodiscoverResults.find(address); known != FAutodiscoverResults.end() && known->second)
    return known->second;
  FAutodiscoverReport.clear();
  const TThrowAwayClients clients(*this);
  TVqHTTPClientBase& client = clients.Client();
  const TVqHTTPAuthentication scheme = client.GetAuthentication();
  const bool oauth = scheme == TVqHTTPAuthentication::oAuth;
  if (!oauth && (GetCredentials().GetUserName().empty() || GetCredentials().GetPassword().empty()))
    throw EAbort("Cannot Autodiscover because of missing credentials!");
  if (oauth) clients.AcquireToken();

  string asked = address;
  std::set<string> seen;
  string url;  // empty: to be looked for
  for (;;) {
    if (!seen.insert(url.empty() ? LowerCase(asked) : url).second)
      Fail("The servers refer to each other: \"" + VqCutText(url.empty() ? asked : url, FLimits.TextLength) +
           "\" was asked already.");
    if (seen.size() > kMostReferrals + 1) Fail("The servers refer to each other more than five times.");
    if (url.empty()) {
      client.SetAuthentication(scheme);
      url = FindAutodiscover(client, asked);
      if (oauth) clients.GiveOAuthToSaved();
    }
    const IVqDOMDocument answer = PostAutodiscover(client, url, asked);
    const TEwsReferral referral = EwsReferralOf(answer);
    if (!referral.Address.empty()) {
      asked = referral.Address;
      url.clear();
      continue;
    }
    if (!referral.URL.empty()) {
      if (const string why = RefusedTarget(url, referral.URL); !why.empty())
        Fail("The server refers to \"" + VqCutText(referral.URL, FLimits.TextLength) + "\": " + why);
      client.SetAuthentication(scheme);
      url = referral.URL;
      continue;
    }
    FAutodiscoverResults[address] = answer;
    return answer;
  }
}

string TVqEWSCustomSession::FindAutodiscover(TVqHTTPClientBase& AClient, const string& AAddress) {
  std::vector<string> urls = AutodiscoverCandidates(AAddress);
  if (AClient.GetAuthentication() == TVqHTTPAuthentication::oAuth && FAutodisoverURL.empty()) {
    FAutodisoverURL = AutodiscoverV2(AAddress, "Autodiscoverv1");
  } else {
    FAutodisoverURL.clear();  // what an earlier look has found is not carried into this one
  }
  if (!FAutodisoverURL.empty()) {
    // One that stood first is there twice then. Meant so: the letter, and a second question harms nobody.
    const auto found = std::ranges::find(urls, FAutodisoverURL);
    if (found != urls.end() && found != urls.begin()) urls.erase(found);
    urls.insert(urls.begin(), FAutodisoverURL);
  }
  const TVqHTTPAuthentication scheme = AClient.GetAuthentication();
  for (string& url : urls) {
    AClient.SetAuthentication(scheme);
    if (!ProbeAutodiscover(AClient, url, 0)) continue;
    FAutodisoverURL = url;
    return url;
  }
  Fail("Failed to determine the Autodiscover URL!");
}

string TVqEWSCustomSession::RefusedTarget(const string& AFrom, const string& ATo) {
  if (const string why = EwsWhyNoTarget(ATo); !why.empty()) return why;
  const TVqEWSAutodiscoverRedirectEvent handler = FOnAutodiscoverRedirect;
  if (handler && !handler(*this, AFrom, ATo)) return "the application refused it.";
  return {};
}

bool TVqEWSCustomSession::ProbeAutodiscover(TVqHTTPClientBase& AClient, string& AURL, int ADepth) {
  const std::size_t at = FAutodiscoverReport.size();
  FAutodiscoverReport.emplace_back().URL = AURL;
  // By position: what follows a redirect is reported behind it.
  const auto told = [&](const string& outcome, bool answered = false) {
    FAutodiscoverReport[at].Outcome = outcome;
    return answered;
  };
  const auto failed = [&](const string& why, std::uint32_t number = 0) {
    FAutodiscoverReport[at].Error = number;
    return told("failed: " + why);
  };
  const auto get = [&] {
    TVqRef<IVqHTTPResponse> response;
    AClient.Request(response, TVqHTTPVerb::get, AURL);
    FAutodiscoverReport[at].Status = response->GetStatus().Code;
    return response;
  };
  const TVqHTTPAuthentication scheme = AClient.GetAuthentication();
  const bool plain = IsPlainHttp(AURL);
  try {
    // Nobody's password or token goes where everybody can read it; such a candidate is there to send the look
    // elsewhere.
    if (plain) AClient.SetAuthentication(TVqHTTPAuthentication::anonymous);
    TVqRef<IVqHTTPResponse> response = get();
    if (response->GetStatus().Code == 500) {
      // Some servers answer so to who does not say who it is. Twice, on purpose.
      AClient.SetAuthentication(TVqHTTPAuthentication::byChallenge);
      AClient.SetAuthentication(TVqHTTPAuthentication::byChallenge);
      if (plain) AClient.SetAuthentication(TVqHTTPAuthentication::anonymous);
      response = get();
    }
    const std::int32_t status = response->GetStatus().Code;
    if (status == 301 || status == 302) {
      const string target = EwsRedirectTarget(AURL, response->GetHeader("Location"));
      if (EwsIsHomePage(VqDecodeURL(target))) return failed("redirected to the home page " + target);
      if (target == AURL) return failed("redirected to itself");
      if (ADepth >= kMostRedirects) return failed("redirected too often");
      if (const string why = RefusedTarget(AURL, target); !why.empty())
        return failed("redirected to " + target + ": " + why);
      told("redirected to " + target);
      if (plain) AClient.SetAuthentication(scheme);
      AURL = target;
      return ProbeAutodiscover(AClient, AURL, ADepth + 1);
    }
    if (status == 401) {
      failed(plain ? "it wants credentials, which go nowhere without TLS" : "the credentials were refused");
      Fail(kEwsAuthenticationFailure);
    }
    if (status >= 400) return failed("status " + IntToStr(status));
    return told("answered", true);
  } catch (const EVqHTTPInvalidArgument&) {
    throw;
  } catch (const EVqOAuthException&) {
    throw;  // a token that could not be renewed: another candidate would only ask again
  } catch (const EAbort& failure) {
    failed(failure.Message());
  } catch (const EEWSException& failure) {
    if (IsAuthenticationFailure(failure)) throw;
    failed(failure.Message());
  } catch (const EVqHTTPClientApiException& failure) {
    failed(failure.Message(), failure.GetNumber());
    if (failure.GetNumber() == VqErrCancelled) throw;
    if (IsRefusedLogon(failure.GetNumber())) Fail(kEwsAuthenticationFailure);
  } catch (const EVqHTTPException& failure) {
    failed(failure.Message(), failure.GetNumber());
    if (failure.GetNumber() == 401) Fail(kEwsAuthenticationFailure);
  } catch (const std::exception& failure) {
    failed(failure.what());
  }
  AClient.GetSession()->SetActive(false);
  return false;
}

IVqDOMDocument TVqEWSCustomSession::PostAutodiscover(TVqHTTPClientBase& AClient, const string& AURL,
                                                     const string& AAddress) {
  TVqRef<IVqHTTPResponse> response;
  try {
    AClient.Request(response, TVqHTTPVerb::post, AURL, RequestBody(GetStrictSchema() ? AsText(AAddress) : AAddress),
                    "text/xml; charset=utf-8");
  } catch (const EVqHTTPInvalidArgument&) {
    throw;
  } catch (const EVqHTTPApiException& failure) {
    const std::uint32_t number = failure.GetNumber();
    string text = failure.Message();
    if (number == VqErrNameNotResolved)
      text = "NAME_NOT_RESOLVED: The specified host \"" + VqCutText(DomainOf(AAddress), FLimits.TextLength) +
             "\" could not be found!";
    if (number == VqErrLoginFailure) text = "LOGIN_FAILURE: Either an invalid name and/or password were provided!";
    std::throw_with_nested(EEWSException(kEwsAutodiscoverFailed, text, number));
  } catch (const std::exception& failure) {
    std::throw_with_nested(EEWSException(kEwsAutodiscoverFailed, failure.what(), 0));
  }
  return EwsReadAutodiscoverAnswer(response->GetStatus(), response->GetBody(), FLimits.TextLength);
}

}  // namespace velmore
