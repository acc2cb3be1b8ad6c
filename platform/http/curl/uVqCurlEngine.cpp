#include "platform/http/curl/uVqCurlEngine_p.h"

#include "platform/http/curl/uVqCurlErrors_p.h"

namespace velmore {

namespace {

void StartLibrary() {
  static const CURLcode started = curl_global_init(CURL_GLOBAL_DEFAULT);
  if (started != CURLE_OK) throw EVqHTTPApiException("curl_global_init", curl_easy_strerror(started), VqErrInternal);
}

// Of the reply's headers libcurl keeps one line at most this long, and calls a longer one a lack of memory.
constexpr const char* kLongLine = "The reply of \"%s\" has a header line that is too long.";

int LibraryFeatures() noexcept {
  static const curl_version_info_data* const info = curl_version_info(CURLVERSION_NOW);
  return info->features;
}

// Before release 8.1.1 an easy handle that is used again remembers the last header of its former reply, which is freed:
// a reply that begins with a folded line would be written there.
bool HasStaleHeaders() noexcept {
  static const bool stale = curl_version_info(CURLVERSION_NOW)->version_num < 0x080101;
  return stale;
}

}  // namespace

bool VqHasCurlNtlm() noexcept {
  return (LibraryFeatures() & CURL_VERSION_NTLM) != 0;
}

TVqCurlEngine::TVqCurlEngine() {
  StartLibrary();
  Open();
}

void TVqCurlEngine::Open() {
  CURLM* const multi = curl_multi_init();
  {
    const std::scoped_lock lock(FHandleMutex);
    FMulti = multi;
  }
  FShare = curl_share_init();
  if (!FMulti || !FShare || curl_share_setopt(FShare, CURLSHOPT_SHARE, CURL_LOCK_DATA_SSL_SESSION) != CURLSHE_OK) {
    Close();
    throw EVqHTTPApiException("curl_multi_init", "The HTTP engine could not be started.", VqErrInternal);
  }
  OpenEasy();
}

void TVqCurlEngine::OpenEasy() {
  curl_easy_cleanup(std::exchange(FEasy, nullptr));
  for (std::string* text : {&FUserAgent, &FCookies}) text->clear();
  FEasy = curl_easy_init();
  if (!FEasy) throw EVqHTTPApiException("curl_easy_init", "The HTTP engine could not be started.", VqErrInternal);
  SetUpCallbacks();
  if (FAddress) Set(CURLOPT_CURLU, FAddress);  // taken apart already, and mostly that of the next request, too
  Set(CURLOPT_SHARE, FShare);
  Set(CURLOPT_NOSIGNAL, 1L);
  Set(CURLOPT_FOLLOWLOCATION, 0L);
  Set(CURLOPT_MAXREDIRS, static_cast<long>(kVqMostChallenges));  // libcurl counts its own answers to challenges as such
  Set(CURLOPT_TCP_KEEPALIVE, 1L);
  Set(CURLOPT_HEADEROPT, static_cast<long>(CURLHEADER_SEPARATE));
#if LIBCURL_VERSION_NUM >= 0x075500
  Set(CURLOPT_PROTOCOLS_STR, "http,https");
#else
  Set(CURLOPT_PROTOCOLS, static_cast<long>(CURLPROTO_HTTP | CURLPROTO_HTTPS));
#endif
#if LIBCURL_VERSION_NUM >= 0x075700
  // A name look-up that hangs must not hold up a cancelled request.
  Set(CURLOPT_QUICK_EXIT, 1L);
#endif
}

void TVqCurlEngine::Close() noexcept {
  curl_easy_cleanup(std::exchange(FEasy, nullptr));
  curl_url_cleanup(std::exchange(FAddress, nullptr));
  for (std::string* text : {&FAddressText, &FUserAgent, &FCookies}) text->clear();
  FSpeaksPort = 0;
  FOldNtlm = false;
  FBoundOrigin.clear();
  FProxyTakesBasic.clear();
  FTickets.Forget();
  CURLM* multi = nullptr;
  {
    const std::scoped_lock lock(FHandleMutex);
    multi = std::exchange(FMulti, nullptr);
  }
  curl_multi_cleanup(multi);
  curl_share_cleanup(std::exchange(FShare, nullptr));  // behind the connections, which use it
}

// The connections belong to the multi handle, the TLS sessions to the share.
void TVqCurlEngine::RenewMulti() {
  CURLM* const fresh = curl_multi_init();
  if (!fresh) throw EVqHTTPApiException("curl_multi_init", "The HTTP engine could not be started.", VqErrInternal);
  CURLM* old = nullptr;
  {
    const std::scoped_lock lock(FHandleMutex);
    old = std::exchange(FMulti, fresh);
  }
  FSpeaksPort = 0;
  curl_multi_cleanup(old);
}

void TVqCurlEngine::Wake() noexcept {
  const std::scoped_lock lock(FHandleMutex);
  if (FMulti) curl_multi_wakeup(FMulti);
}

void TVqCurlEngine::DropConnections() noexcept {
  FDrop = true;
  Settle();
}

void TVqCurlEngine::CloseConnections() noexcept {
  FCloseKept = true;
  Settle();
}

// Does what was asked for from outside, unless an exchange is under way: that looks when it is through.
void TVqCurlEngine::Settle() noexcept {
  while (FDrop || FCloseKept) {
    if (FRunning.exchange(true)) return;
    try {
      if (FDrop.exchange(false)) {
        FCloseKept = false;
        // The share goes too: it remembers TLS sessions, whose resumption would skip the checks of a certificate.
        Close();
        Open();
      } else if (FCloseKept.exchange(false) && FMulti) {
        RenewMulti();
      }
    } catch (const std::exception&) {
      Close();  // told by the next request
    }
    FRunning = false;
  }
}

unsigned TVqCurlEngine::Schemes() const noexcept {
  unsigned schemes = schemeBasic;
  if (VqHasCurlNtlm() || VqHasGssNtlm()) schemes |= schemeNTLM;
  if ((LibraryFeatures() & CURL_VERSION_SPNEGO) || VqHasGssKerberos()) schemes |= schemeNegotiate;
  return schemes;
}

TVqTicket TVqCurlEngine::PrepareNegotiate(const TVqEngineRequest& request) {
  const TVqTicket ticket = FTickets.Prepare(request);
  if (request.IsCancelled()) RaiseCancelled();
  return ticket;
}

TVqEngineReply TVqCurlEngine::Perform(const TVqEngineRequest& request) {
  if (FRunning.exchange(true)) throw EVqException("The HTTP client is busy with another request.");
  struct Running {
    TVqCurlEngine& Engine;
    ~Running() {
      Engine.FRequest = nullptr;
      Engine.FRunning = false;
      Engine.Settle();
    }
  } running{*this};

  if (request.IsCancelled()) RaiseCancelled();
  FRequest = &request;
  FReply = {};
  FTrust.ForgetFailure();

  bool fresh = !FEasy || FDrop.exchange(false);
  if (request.URL.starts_with("https:")) fresh = PrepareTrust(request) || fresh;
  if (fresh) {
    Close();
    Open();
  } else if (FCloseKept.exchange(false)) {
    RenewMulti();
  }

  if (UsesTokens(request.Scheme)) {
    PerformHandshake();
  } else {
    PerformLeg({});
  }
  return std::move(FReply);
}

// One request and its reply, in FReply. False when the connection was another one than the leg is for, and nothing was
// sent.
bool TVqCurlEngine::PerformLeg(const TLeg& leg) {
  if (!PerformOnce(leg)) return false;
  if (FReply.Status != 407 || !FProxyKnown) return true;
  FProxyTakesBasic.clear();  // it wants another proof now: it is asked which
  return PerformOnce(leg);
}

bool TVqCurlEngine::PerformOnce(const TLeg& leg) {
  struct Current {
    TVqCurlEngine& Engine;
    ~Current() { Engine.FLeg = nullptr; }
  } current{*this};
  FLeg = &leg;
  std::vector<std::string> cookies = std::move(FReply.SetCookies);
  const bool sentBefore = FReply.CredentialsSent;
  FReply = {};
  FReply.SetCookies = std::move(cookies);
  FReply.CredentialsSent = sentBefore;
  FRaised = nullptr;
  FErrorText[0] = '\0';
  FProxyKnown = FProxyBasicSent = false;
  FInHeaders = FSent = FAnswered = FLostUnheard = FRefusedResend = FAllUploaded = FOtherConnection = false;
  FResends = FReplies = 0;
  FUploaded = -1;
  FHeaderBytes = 0;
  FPort = 0;
  FOpened.clear();
  if (HasUnreadBytes()) RenewMulti();

  CURLcode code = Transfer(leg);
  if (WasLostUnheard(code)) {
    ++FResends;
    FSent = false;
    code = Transfer(leg);
  }
  if (FOtherConnection) return false;
  long connectStatus = 0;
  curl_easy_getinfo(FEasy, CURLINFO_HTTP_CONNECTCODE, &connectStatus);

  if (FRaised) std::rethrow_exception(FRaised);
  if (code != CURLE_OK) {
    // The proxy's own refusal: a reply like the server's 401, which the caller answers or is given.
    const bool refusedByProxy = connectStatus == 407 && FReply.Status == 407;
    if (refusedByProxy || code == CURLE_TOO_MANY_REDIRECTS) {  // one challenge too many: refused
      CollectHeaders(refusedByProxy);
      return true;
    }
    if (connectStatus >= 300 && !FSent) {
      throw EVqHTTPApiException(kVqCurlApiName,
                                Format("The proxy refused the connection to \"%s\" with status %d.",
                                       {Host(), static_cast<std::int32_t>(connectStatus)}),
                                VqErrCannotConnect);
    }
    RaiseFailure(code);
  }
  FIntake.End();
  CollectHeaders(false);
  if (FProxyBasicSent && FReply.Status != 407) FProxyTakesBasic = FProxy;
  return true;
}

// True when the connections made so far were made under other settings.
bool TVqCurlEngine::PrepareTrust(const TVqEngineRequest& request) {
  char* systemFile = nullptr;
  char* systemFolder = nullptr;
#if LIBCURL_VERSION_NUM >= 0x075400
  if (FEasy) {
    curl_easy_getinfo(FEasy, CURLINFO_CAINFO, &systemFile);
    curl_easy_getinfo(FEasy, CURLINFO_CAPATH, &systemFolder);
  }
#endif
  return FTrust.Prepare(request.SecurityFlags, request.Session, systemFile, systemFolder);
}

CURLcode TVqCurlEngine::Transfer(const TLeg& leg) {
  if (HasStaleHeaders()) OpenEasy();
  SetUp(leg);
  const CURLMcode added = curl_multi_add_handle(FMulti, FEasy);
  if (added != CURLM_OK) {
    throw EVqHTTPApiException("curl_multi_add_handle", curl_multi_strerror(added), VqErrInternal);
  }
  struct Added {
    TVqCurlEngine& Engine;
    ~Added() { curl_multi_remove_handle(Engine.FMulti, Engine.FEasy); }
  } remove{*this};
  return Drive();
}

// libcurl sees to a kept connection that was closed before the request or instead of the reply, but not to one that
// breaks while the request goes out.
bool TVqCurlEngine::WasLostUnheard(CURLcode code) const {
  if (code != CURLE_SEND_ERROR && code != CURLE_RECV_ERROR && code != CURLE_GOT_NOTHING) return false;
  long connects = 0;
  curl_easy_getinfo(FEasy, CURLINFO_NUM_CONNECTS, &connects);
  return connects == 0 && !FRaised && FSent && !FAnswered && !FRefusedResend && MayResend();
}

// The headers of the reply that counts, and the cookies of those before it in a handshake of libcurl's.
void TVqCurlEngine::CollectHeaders(bool ofProxy) {
  const auto forEach = [&](unsigned origin, int request, auto take) {
    curl_header* one = nullptr;
    while ((one = curl_easy_nextheader(FEasy, origin, request, one)) != nullptr) take(*one);
  };
  forEach(ofProxy ? CURLH_CONNECT : CURLH_HEADER, -1,
          [&](const curl_header& one) { FReply.Headers.emplace_back(one.name, one.value); });
  if (FReplies == 1 && !ofProxy) {  // no handshake: those that stand there already
    for (const auto& [name, value] : FReply.Headers) {
      if (VqSameAscii(name, "Set-Cookie")) FReply.SetCookies.push_back(value);
    }
    return;
  }
  for (int request = 0; request <= kVqMostChallenges; ++request) {
    forEach(CURLH_HEADER, request, [&](const curl_header& one) {
      if (VqSameAscii(one.name, "Set-Cookie")) FReply.SetCookies.emplace_back(one.value);
    });
  }
}

std::string_view TVqCurlEngine::Origin() const {
  const std::string_view url = FRequest->URL;
  return url.substr(0, url.find('/', url.find("://") + 3));
}

// "mail.example.com:8443", for messages.
string TVqCurlEngine::Host() const {
  const std::string_view origin = Origin();
  return origin.substr(origin.find("://") + 3);
}

void TVqCurlEngine::RaiseCancelled() {
  throw EVqHTTPApiException(kVqCurlApiName, "The request was cancelled.", VqErrCancelled);
}

void TVqCurlEngine::RaiseFailure(CURLcode code) {
  const string host = Host();
  const auto raise = [](const string& text, std::uint32_t number) {
    throw EVqHTTPApiException(kVqCurlApiName, text, number);
  };
  if (FRefusedResend) {
    raise(Format("The server \"%s\" closed the connection without a reply. The request may have reached it and was not "
                 "sent again.",
                 {host}),
          VqErrConnectionAborted);
  }
  if (FTrust.Failure() != 0) {
    raise(Format("The certificate of \"%s\" is not accepted: %s.", {host, string(FTrust.FailureText())}),
          FTrust.Failure());
  }
  if (code == CURLE_PEER_FAILED_VERIFICATION) {
    // Every other check is ours and would have said so: what is left is libcurl's check of the name.
    raise(Format("The certificate of \"%s\" is made out to another name.", {host}), VqErrCertCommonNameInvalid);
  }
  // A server that insists on a certificate says so in an alert at best; some just hang up after the handshake.
  if (FTrust.AskedForCertificate() && !FAnswered && code != CURLE_OPERATION_TIMEDOUT) code = CURLE_SSL_CLIENTCERT;
  if (code == CURLE_UNSUPPORTED_PROTOCOL && FSent) code = CURLE_WEIRD_SERVER_REPLY;  // an answer without a status line
  if (code == CURLE_BAD_FUNCTION_ARGUMENT && FSent && FInHeaders)
    code = CURLE_WEIRD_SERVER_REPLY;  // a header without name
  if (code == CURLE_OUT_OF_MEMORY && FSent && FInHeaders) raise(Format(kLongLine, {host}), VqErrInvalidServerResponse);
  if (code == CURLE_OPERATION_TIMEDOUT) {
    EVqHTTPApiException failure(
        kVqCurlApiName,
        Format("No connection to \"%s\" came about within %d ms.", {host, FRequest->TimeOuts.GetConnect()}),
        VqErrTimeOut);
    if (FResends == 0) failure.NoteMayHaveHappened(false);  // unlike other time-outs, and told apart by nothing else
    throw failure;
  }
  const TVqCurlErrorRow* const row = VqFindCurlError(code);
  if (!row) raise(curl_easy_strerror(code), VqErrInternal);
  raise(VqCurlErrorText(*row, host.utf8(), FErrorText), row->Number);
  std::abort();  // raised
}

std::shared_ptr<TVqHTTPEngine> VqCreateHTTPEngine(bool) {
  return std::make_shared<TVqCurlEngine>();
}

}  // namespace velmore
