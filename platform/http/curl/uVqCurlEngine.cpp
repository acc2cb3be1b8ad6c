// The engine over libcurl: one multi handle with one easy handle, driven by the thread of the request.

#include <curl/curl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <exception>
#include <optional>

#include "platform/http/curl/uVqCurlErrors_p.h"
#include "platform/http/curl/uVqCurlResend_p.h"
#include "platform/http/curl/uVqCurlTrust_p.h"
#include "platform/http/curl/uVqKerberos_p.h"
#include "platform/http/uVqHTTPEngine_p.h"

namespace velmore {

namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* kApiName = "curl_multi_perform";
// That are answered for one request.
constexpr int kMostChallenges = 5;

void StartLibrary() {
  static const CURLcode started = curl_global_init(CURL_GLOBAL_DEFAULT);
  if (started != CURLE_OK) throw EVqHTTPApiException("curl_global_init", curl_easy_strerror(started), VqErrInternal);
}

long CurlSchemes(unsigned schemes) {
  unsigned long bits = CURLAUTH_NONE;
#define VELMORE_HTTP_SCHEME(name, bit, library, setting, takesName, readable) \
  if (schemes & scheme##name) bits |= CURLAUTH_##library;
  VELMORE_HTTP_SCHEMES(VELMORE_HTTP_SCHEME)
#undef VELMORE_HTTP_SCHEME
  return static_cast<long>(bits);
}

// The header lines of a request in libcurl's form. Most requests have those of the last one.
class TVqCurlHeaders {
 public:
  TVqCurlHeaders() = default;
  ~TVqCurlHeaders() { curl_slist_free_all(Head); }
  TVqCurlHeaders(const TVqCurlHeaders&) = delete;
  TVqCurlHeaders& operator=(const TVqCurlHeaders&) = delete;

  void Prepare(const std::vector<std::string>& lines, bool post) {
    if (Head && post == Post && lines == Lines) return;
    curl_slist_free_all(std::exchange(Head, nullptr));
    Lines.clear();
    Post = post;
    Last = false;
    bool typed = false;
    for (const std::string& line : lines) {
      Last = Last || VqSameAscii(line, "Connection: close");
      typed = typed || VqSameAscii(std::string_view(line).substr(0, 13), "Content-Type:");
      Add(line.c_str());
    }
    if (post && !typed) Add("Content-Type:");
    // Waiting for "100 Continue" costs a second with every server that does not know it.
    if (post) Add("Expect:");
    Lines = lines;
  }
  curl_slist* List() const { return Head; }
  // The request is the last one of its connection.
  bool LastOfConnection() const { return Last; }

 private:
  void Add(const char* line) {
    curl_slist* const longer = curl_slist_append(Head, line);
    if (!longer) throw EVqHTTPApiException("curl_slist_append", "There is not enough memory.", VqErrNotEnoughMemory);
    Head = longer;
  }

  std::vector<std::string> Lines;
  bool Post = false;
  bool Last = false;
  curl_slist* Head = nullptr;
};

// "mail.example.com:8443" of an address, for messages.
std::string HostOf(const std::string& url) {
  const std::size_t start = url.find("://");
  if (start == std::string::npos) return {};
  return url.substr(start + 3, url.find('/', start + 3) - start - 3);
}

class TVqCurlEngine final : public TVqHTTPEngine {
 public:
  TVqCurlEngine() {
    StartLibrary();
    Open();
  }
  ~TVqCurlEngine() override { Close(); }

  TVqEngineReply Perform(const TVqEngineRequest& request) override;
  void Wake() noexcept override {
    const std::scoped_lock lock(FHandleMutex);
    if (FMulti) curl_multi_wakeup(FMulti);
  }
  void DropConnections() noexcept override;
  unsigned Schemes() const noexcept override;
  TVqTicket PrepareNegotiate(const std::string& user, const std::string& password) override {
    return FTickets.Prepare(user, password);
  }

 private:
  void Open();
  void Close() noexcept;
  bool PrepareTrust(const TVqEngineRequest& request);
  void SetUp(const TVqEngineRequest& request);
  void SetUpAddress(const std::string& address);
  void SetUpCredentials(const TVqEngineRequest& request);
  CURLcode Transfer();
  CURLcode Drive();
  bool WasLostUnheard(CURLcode code) const;
  void CheckStall();
  void CheckProgress();
  [[noreturn]] void RaiseFailure(CURLcode code);
  bool MayResend() const;

  template <typename T>
  void Set(CURLoption option, T value) {
    const CURLcode code = curl_easy_setopt(FEasy, option, value);
    if (code == CURLE_OK) return;
    throw EVqHTTPApiException("curl_easy_setopt", curl_easy_strerror(code), VqErrInvalidOption);
  }

  // For texts that seldom change: libcurl copies what it is given. An empty one is none.
  void SetText(CURLoption option, std::string& standing, const std::string& value) {
    if (value == standing) return;
    Set(option, value.empty() ? nullptr : value.c_str());
    standing = value;
  }

  static std::size_t OnHeader(char* data, std::size_t size, std::size_t count, void* self) {
    return static_cast<TVqCurlEngine*>(self)->TakeHeader({data, size * count});
  }
  static std::size_t OnBody(char* data, std::size_t size, std::size_t count, void* self) {
    return static_cast<TVqCurlEngine*>(self)->TakeBody({data, size * count});
  }
  static int OnPrerequisite(void* self, char*, char*, int, int) {
    return static_cast<TVqCurlEngine*>(self)->BeforeSending();
  }
  static int OnCloseSocket(void* self, curl_socket_t socket) {
    return static_cast<TVqCurlEngine*>(self)->BeforeClosing(socket);
  }
  static CURLcode OnSslContext(CURL*, void* context, void* self) {
    return static_cast<TVqCurlEngine*>(self)->FTrust.Apply(context) ? CURLE_OK : CURLE_SSL_CONNECT_ERROR;
  }
  static int OnDebug(CURL*, curl_infotype type, char* data, std::size_t size, void* self) {
    if (type == CURLINFO_HEADER_OUT) static_cast<TVqCurlEngine*>(self)->LookForCredentials({data, size});
    return 0;
  }

  std::size_t TakeHeader(std::string_view line);
  void TakeStatus(std::string_view line);
  void CollectHeaders(bool ofProxy);
  std::size_t TakeBody(std::string_view bytes);
  int BeforeSending();
  int BeforeClosing(curl_socket_t socket);
  void LookForCredentials(std::string_view headers);

  std::mutex FHandleMutex;  // protects FMulti against Wake while it is exchanged
  CURLM* FMulti = nullptr;
  CURL* FEasy = nullptr;
  TVqCurlTrust FTrust;
  TVqKerberosTickets FTickets;
  TVqCurlHeaders FHeaders;
  // What FEasy was told last.
  CURLU* FAddress = nullptr;
  std::string FAddressText, FUserAgent, FCookies;
  std::atomic<bool> FRunning{false};
  std::atomic<bool> FDrop{false};

  // Of the exchange under way.
  const TVqEngineRequest* FRequest = nullptr;
  TVqEngineReply FReply;
  std::exception_ptr FRaised;
  char FErrorText[CURL_ERROR_SIZE] = {};
  bool FInHeaders = false;
  bool FSent = false;         // a request has begun to go out ...
  bool FAnswered = false;     // ... and something of its reply came in
  bool FLostUnheard = false;  // ... or its connection went, and the server had not got all of it
  bool FRefusedResend = false;
  int FResends = 0;
  curl_off_t FUploaded = -1;
  bool FAllUploaded = false;
  Clock::time_point FProgress;
};

void TVqCurlEngine::Open() {
  CURLM* const multi = curl_multi_init();
  FEasy = curl_easy_init();
  if (!multi || !FEasy) {
    curl_multi_cleanup(multi);
    curl_easy_cleanup(FEasy);
    FEasy = nullptr;
    throw EVqHTTPApiException("curl_multi_init", "The HTTP engine could not be started.", VqErrInternal);
  }
  {
    const std::scoped_lock lock(FHandleMutex);
    FMulti = multi;
  }
  Set(CURLOPT_NOSIGNAL, 1L);
  Set(CURLOPT_ERRORBUFFER, FErrorText);
  Set(CURLOPT_HEADERFUNCTION, &OnHeader);
  Set(CURLOPT_HEADERDATA, this);
  Set(CURLOPT_WRITEFUNCTION, &OnBody);
  Set(CURLOPT_WRITEDATA, this);
  Set(CURLOPT_PREREQFUNCTION, &OnPrerequisite);
  Set(CURLOPT_PREREQDATA, this);
  Set(CURLOPT_CLOSESOCKETFUNCTION, &OnCloseSocket);
  Set(CURLOPT_CLOSESOCKETDATA, this);
  Set(CURLOPT_DEBUGFUNCTION, &OnDebug);
  Set(CURLOPT_DEBUGDATA, this);
  Set(CURLOPT_FOLLOWLOCATION, 0L);
  // libcurl counts each challenge that it answers as a redirection. A server that goes on challenging would be given the
  // proof of the password for ever.
  Set(CURLOPT_MAXREDIRS, static_cast<long>(kMostChallenges));
  Set(CURLOPT_TCP_KEEPALIVE, 1L);
  Set(CURLOPT_HEADEROPT, static_cast<long>(CURLHEADER_SEPARATE));
  Set(CURLOPT_ACCEPT_ENCODING, "gzip, deflate");
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
  curl_easy_cleanup(FEasy);
  FEasy = nullptr;
  curl_url_cleanup(std::exchange(FAddress, nullptr));
  for (std::string* text : {&FAddressText, &FUserAgent, &FCookies}) text->clear();
  CURLM* multi = nullptr;
  {
    const std::scoped_lock lock(FHandleMutex);
    multi = std::exchange(FMulti, nullptr);
  }
  curl_multi_cleanup(multi);
}

void TVqCurlEngine::DropConnections() noexcept {
  FDrop = true;
  if (FRunning.exchange(true)) return;  // the exchange under way looks at FDrop when it is through
  if (FDrop.exchange(false)) {
    // The easy handle goes too: it remembers TLS sessions, whose resumption would skip the checks of a certificate.
    Close();
    try {
      Open();
    } catch (const std::exception&) {
      Close();  // told by the next request
    }
  }
  FRunning = false;
}

unsigned TVqCurlEngine::Schemes() const noexcept {
  static const curl_version_info_data* const info = curl_version_info(CURLVERSION_NOW);
  unsigned schemes = schemeBasic;
  if (info->features & CURL_VERSION_NTLM) schemes |= schemeNTLM;
  if (info->features & CURL_VERSION_SPNEGO) schemes |= schemeNegotiate;
  return schemes;
}

TVqEngineReply TVqCurlEngine::Perform(const TVqEngineRequest& request) {
  if (FRunning.exchange(true)) throw EVqException("The HTTP client is busy with another request.");
  struct Running {
    TVqCurlEngine& Engine;
    ~Running() {
      Engine.FRequest = nullptr;
      Engine.FRunning = false;
      if (Engine.FDrop) Engine.DropConnections();
    }
  } running{*this};

  if (request.Cancelled && *request.Cancelled) {
    throw EVqHTTPApiException(kApiName, "The request was cancelled.", VqErrCancelled);
  }
  FRequest = &request;
  FReply = {};
  FRaised = nullptr;
  FErrorText[0] = '\0';
  FInHeaders = FSent = FAnswered = FLostUnheard = FRefusedResend = FAllUploaded = false;
  FResends = 0;
  FUploaded = -1;
  FTrust.ForgetFailure();

  bool fresh = !FEasy || FDrop.exchange(false);
  if (request.URL.starts_with("https:")) fresh = PrepareTrust(request) || fresh;
  if (fresh) {
    Close();
    Open();
  }

  SetUp(request);
  SetUpCredentials(request);
  CURLcode code = Transfer();
  if (WasLostUnheard(code)) {
    ++FResends;
    FSent = false;
    code = Transfer();
  }
  long connectStatus = 0;
  curl_easy_getinfo(FEasy, CURLINFO_HTTP_CONNECTCODE, &connectStatus);

  if (FRaised) std::rethrow_exception(FRaised);
  if (code != CURLE_OK) {
    // The proxy's own refusal: a reply like the server's 401, which the caller answers or is given.
    const bool refusedByProxy = connectStatus == 407 && FReply.Status == 407;
    if (refusedByProxy || code == CURLE_TOO_MANY_REDIRECTS) {  // one challenge too many: refused
      CollectHeaders(refusedByProxy);
      return std::move(FReply);
    }
    if (connectStatus >= 300 && !FSent) {
      throw EVqHTTPApiException(kApiName,
                                Format("The proxy refused the connection to \"%s\" with status %d.",
                                       {string(HostOf(request.URL)), static_cast<std::int32_t>(connectStatus)}),
                                VqErrCannotConnect);
    }
    RaiseFailure(code);
  }
  CollectHeaders(false);
  return std::move(FReply);
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
  return FTrust.Prepare(request.SecurityFlags, request.Session.CAFile, request.Session.CRLFile, systemFile,
                        systemFolder);
}

CURLcode TVqCurlEngine::Transfer() {
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

// libcurl would take the address apart and put it together again for each request.
void TVqCurlEngine::SetUpAddress(const std::string& address) {
  if (FAddress && address == FAddressText) return;
  CURLU* const parsed = curl_url();
  if (!parsed || curl_url_set(parsed, CURLUPART_URL, address.c_str(), 0) != CURLUE_OK) {
    curl_url_cleanup(parsed);
    RaiseFailure(CURLE_URL_MALFORMAT);
  }
  // Set before the old one goes, which libcurl still points to.
  Set(CURLOPT_URL, static_cast<const char*>(nullptr));
  Set(CURLOPT_CURLU, parsed);
  curl_url_cleanup(std::exchange(FAddress, parsed));
  FAddressText = address;
}

void TVqCurlEngine::SetUp(const TVqEngineRequest& request) {
  SetUpAddress(request.URL);
  Set(CURLOPT_HTTP_VERSION, static_cast<long>(request.HTTP11 ? CURL_HTTP_VERSION_1_1 : CURL_HTTP_VERSION_1_0));
  const std::string verb(request.Verb);
  const bool head = verb == "HEAD";
  Set(CURLOPT_NOBODY, head ? 1L : 0L);
  const bool post = request.HasBody || verb == "POST";
  if (post) {
    Set(CURLOPT_POST, 1L);
    Set(CURLOPT_POSTFIELDS, request.Body.empty() ? "" : request.Body.data());
    Set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request.Body.size()));
  } else if (!head) {
    Set(CURLOPT_HTTPGET, 1L);
  }
  const bool usual = verb == (post ? "POST" : "GET") || head;
  Set(CURLOPT_CUSTOMREQUEST, usual ? static_cast<const char*>(nullptr) : verb.c_str());

  FHeaders.Prepare(request.Headers, post);
  Set(CURLOPT_HTTPHEADER, FHeaders.List());
  Set(CURLOPT_FORBID_REUSE, FHeaders.LastOfConnection() ? 1L : 0L);
  SetText(CURLOPT_USERAGENT, FUserAgent, request.Session.UserAgent);
  SetText(CURLOPT_COOKIE, FCookies, request.Cookies);

  const long connectLimit = request.TimeOuts.GetConnect() > 0 ? request.TimeOuts.GetConnect() : 0x7FFFFFFFL;
  Set(CURLOPT_CONNECTTIMEOUT_MS, connectLimit);

  using Kind = TVqHTTPRouteKind;
  const char* const proxy = request.Route.Kind == Kind::system   ? nullptr
                            : request.Route.Kind == Kind::direct ? ""
                                                                 : request.Route.Proxy.c_str();
  Set(CURLOPT_PROXY, proxy);
  Set(CURLOPT_NOPROXY, request.Route.Kind == Kind::system ? static_cast<const char*>(nullptr) : "");

  if (!request.URL.starts_with("https:")) return;
  Set(CURLOPT_SSL_VERIFYPEER, 1L);
  Set(CURLOPT_SSL_VERIFYHOST, request.SecurityFlags.Contains(TVqHTTPSecurityFlag::IgnoreInvalidCommonName) ? 0L : 2L);
  // The authorities are those of FTrust; libcurl shall not read the machine's list for each connection again.
  Set(CURLOPT_CAINFO, static_cast<const char*>(nullptr));
  Set(CURLOPT_CAPATH, static_cast<const char*>(nullptr));
  const CURLcode code = curl_easy_setopt(FEasy, CURLOPT_SSL_CTX_FUNCTION, &OnSslContext);
  if (code != CURLE_OK) {
    throw EVqHTTPApiException("curl_easy_setopt",
                              "This libcurl was not built with OpenSSL, without which certificates cannot be checked.",
                              VqErrSecureFailure);
  }
  Set(CURLOPT_SSL_CTX_DATA, this);
}

void TVqCurlEngine::SetUpCredentials(const TVqEngineRequest& request) {
  const bool named = request.Scheme != schemeNone;
  Set(CURLOPT_HTTPAUTH, CurlSchemes(request.Scheme));
  Set(CURLOPT_USERNAME, named ? request.User.c_str() : nullptr);
  Set(CURLOPT_PASSWORD, named ? request.Password.c_str() : nullptr);
  const bool proxyNamed = request.ProxySchemes != schemeNone;
  // Without credentials of ours those that a proxy's address in the environment may hold are still good for Basic.
  Set(CURLOPT_PROXYAUTH, proxyNamed ? CurlSchemes(request.ProxySchemes) : static_cast<long>(CURLAUTH_BASIC));
  Set(CURLOPT_PROXYUSERNAME, proxyNamed ? request.ProxyUser.c_str() : nullptr);
  Set(CURLOPT_PROXYPASSWORD, proxyNamed ? request.ProxyPassword.c_str() : nullptr);
  FReply.CredentialsSent = request.Scheme == schemeBasic || request.Scheme == schemeNTLM;
  // Whether a ticket was found shows only in what goes out.
  Set(CURLOPT_VERBOSE, request.Scheme == schemeNegotiate || proxyNamed ? 1L : 0L);
}

CURLcode TVqCurlEngine::Drive() {
  std::optional<TVqKerberosTickets::Use> tickets;
  if (FRequest->Scheme == schemeNegotiate) tickets.emplace(FTickets);
  FProgress = Clock::now();
  for (;;) {
    int running = 0;
    CURLMcode result = curl_multi_perform(FMulti, &running);
    if (result != CURLM_OK) throw EVqHTTPApiException(kApiName, curl_multi_strerror(result), VqErrInternal);
    int left = 0;
    while (const CURLMsg* const message = curl_multi_info_read(FMulti, &left)) {
      if (message->msg == CURLMSG_DONE) return message->data.result;
    }
    if (FRaised) return CURLE_OK;
    if (FRequest->Cancelled && *FRequest->Cancelled) {
      throw EVqHTTPApiException(kApiName, "The request was cancelled.", VqErrCancelled);
    }
    CheckProgress();
    CheckStall();
    std::int64_t wait = 1000;
    if (FSent) {
      const int limit = FAllUploaded ? FRequest->TimeOuts.GetReceive() : FRequest->TimeOuts.GetSend();
      const auto since = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - FProgress).count();
      if (limit > 0) wait = std::clamp<std::int64_t>(limit - since + 1, 1, 1000);
    }
    result = curl_multi_poll(FMulti, nullptr, 0, static_cast<int>(wait), nullptr);
    if (result != CURLM_OK) throw EVqHTTPApiException("curl_multi_poll", curl_multi_strerror(result), VqErrInternal);
  }
}

// Sending makes progress with each byte that the system takes; once all are taken, the reply's limit begins to run.
void TVqCurlEngine::CheckProgress() {
  if (!FSent || FAllUploaded) return;
  curl_off_t total = 0, done = 0;
  curl_easy_getinfo(FEasy, CURLINFO_CONTENT_LENGTH_UPLOAD_T, &total);
  curl_easy_getinfo(FEasy, CURLINFO_SIZE_UPLOAD_T, &done);
  if (total <= 0 || done >= total) {
    FAllUploaded = true;
    FProgress = Clock::now();
  } else if (done != FUploaded) {
    FUploaded = done;
    FProgress = Clock::now();
  }
}

void TVqCurlEngine::CheckStall() {
  if (!FSent) return;  // connecting: libcurl's own limit
  const int limit = FAllUploaded ? FRequest->TimeOuts.GetReceive() : FRequest->TimeOuts.GetSend();
  if (limit <= 0 || Clock::now() - FProgress <= std::chrono::milliseconds(limit)) return;
  const string host = HostOf(FRequest->URL);
  throw EVqHTTPApiException(
      kApiName,
      FAllUploaded ? Format("The server \"%s\" sent nothing for %d ms.", {host, static_cast<std::int32_t>(limit)})
                   : Format("The server \"%s\" took nothing of the request for %d ms.",
                            {host, static_cast<std::int32_t>(limit)}),
      VqErrTimeOut);
}

// Only what libcurl does not keep: the words of the status line, and the moment when the body begins.
std::size_t TVqCurlEngine::TakeHeader(std::string_view line) {
  FAnswered = FAnswered || FSent;
  FProgress = Clock::now();
  try {
    const bool atEnd = line.find_first_not_of("\r\n") == std::string_view::npos;
    if (line.starts_with("HTTP/")) {
      FInHeaders = true;
      TakeStatus(line);
    } else if (atEnd && std::exchange(FInHeaders, false) && FReply.Status >= 200 && FRequest->OnHeaders) {
      FRequest->OnHeaders(FReply.Status);
    }
    return line.size();
  } catch (...) {
    FRaised = std::current_exception();
    return 0;
  }
}

void TVqCurlEngine::TakeStatus(std::string_view line) {
  line = line.substr(0, line.find_first_of("\r\n"));
  const std::size_t space = line.find(' ');
  std::string_view rest = space == std::string_view::npos ? std::string_view() : line.substr(space + 1);
  unsigned code = 0;
  while (!rest.empty() && rest[0] >= '0' && rest[0] <= '9' && code < 1000) {
    code = code * 10 + static_cast<unsigned>(rest[0] - '0');
    rest.remove_prefix(1);
  }
  FReply.Status = static_cast<std::uint16_t>(code);
  FReply.Reason = VqTrimBlanks(rest);
}

// The headers of the reply that counts, and the cookies of those before it in a handshake.
void TVqCurlEngine::CollectHeaders(bool ofProxy) {
  const auto forEach = [&](unsigned origin, int request, auto take) {
    for (const curl_header* one = nullptr;
         (one = curl_easy_nextheader(FEasy, origin, request, const_cast<curl_header*>(one)));)
      take(*one);
  };
  forEach(ofProxy ? CURLH_CONNECT : CURLH_HEADER, -1,
          [&](const curl_header& one) { FReply.Headers.emplace_back(one.name, one.value); });
  for (int request = 0; request <= kMostChallenges; ++request) {
    forEach(CURLH_HEADER, request, [&](const curl_header& one) {
      if (VqSameAscii(one.name, "Set-Cookie")) FReply.SetCookies.emplace_back(one.value);
    });
  }
}

std::size_t TVqCurlEngine::TakeBody(std::string_view bytes) {
  try {
    if (FRequest->OnBody) FRequest->OnBody(bytes);
    // After the caller's work: the time that it takes is not the server's.
    FProgress = Clock::now();
    return bytes.size();
  } catch (...) {
    FRaised = std::current_exception();
    return 0;
  }
}

// libcurl sends a request again by itself when a kept connection was closed without a byte of a reply. That is right
// only as long as the server cannot have acted on it.
bool TVqCurlEngine::MayResend() const {
  if (FResends > 0) return false;
  if (FRequest->Verb == "GET" || FRequest->Verb == "HEAD" || FRequest->Verb == "OPTIONS" || FRequest->Verb == "TRACE") {
    return true;
  }
  return FLostUnheard;
}

int TVqCurlEngine::BeforeSending() {
  if (FSent && !FAnswered) {
    if (!MayResend()) {
      FRefusedResend = true;
      return CURL_PREREQFUNC_ABORT;
    }
    ++FResends;
  }
  FSent = true;
  FAnswered = FLostUnheard = FAllUploaded = false;
  FUploaded = -1;
  FProgress = Clock::now();
  return CURL_PREREQFUNC_OK;
}

int TVqCurlEngine::BeforeClosing(curl_socket_t socket) {
  if (FRequest && FSent && !FAnswered) {
    curl_off_t total = 0, done = 0;
    curl_easy_getinfo(FEasy, CURLINFO_CONTENT_LENGTH_UPLOAD_T, &total);
    curl_easy_getinfo(FEasy, CURLINFO_SIZE_UPLOAD_T, &done);
    TVqLostConnection lost;
    lost.BodyTotal = static_cast<std::uint64_t>(std::max<curl_off_t>(total, 0));
    lost.BodyTaken = static_cast<std::uint64_t>(std::max<curl_off_t>(done, 0));
    lost.BodyAtHome = total == 0 && !FRequest->Body.empty();
    lost.Tls = FRequest->URL.starts_with("https:");
    VqAskTcp(socket, lost);
    FLostUnheard = !VqMayHaveBeenRead(lost);
  }
  return close(socket);
}

void TVqCurlEngine::LookForCredentials(std::string_view headers) {
  if (headers.find("\r\nAuthorization: ") != std::string_view::npos) FReply.CredentialsSent = true;
  if (headers.find("\r\nProxy-Authorization: ") != std::string_view::npos) FReply.ProxyCredentialsSent = true;
}

void TVqCurlEngine::RaiseFailure(CURLcode code) {
  const std::string host = HostOf(FRequest->URL);
  if (FRefusedResend) {
    throw EVqHTTPApiException(kApiName,
                              Format("The server \"%s\" closed the connection without a reply. The request may have "
                                     "reached it and was not sent again.",
                                     {string(host)}),
                              VqErrConnectionAborted);
  }
  if (FTrust.Failure() != 0) {
    throw EVqHTTPApiException(
        kApiName,
        Format("The certificate of \"%s\" is not accepted: %s.", {string(host), string(FTrust.FailureText())}),
        FTrust.Failure());
  }
  if (code == CURLE_PEER_FAILED_VERIFICATION) {
    // Every other check is ours and would have said so: what is left is libcurl's check of the name.
    throw EVqHTTPApiException(kApiName,
                              Format("The certificate of \"%s\" is made out to another name.", {string(host)}),
                              VqErrCertCommonNameInvalid);
  }
  // A server that insists on a certificate says so in an alert at best; some just hang up after the handshake.
  if (FTrust.AskedForCertificate() && !FAnswered && code != CURLE_OPERATION_TIMEDOUT) code = CURLE_SSL_CLIENTCERT;
  if (code == CURLE_UNSUPPORTED_PROTOCOL && FSent) code = CURLE_WEIRD_SERVER_REPLY;  // an answer without a status line
  const TVqCurlErrorRow* const row = VqFindCurlError(code);
  if (!row) throw EVqHTTPApiException(kApiName, curl_easy_strerror(code), VqErrInternal);
  if (code == CURLE_OPERATION_TIMEDOUT) {
    throw EVqHTTPApiException(
        kApiName,
        Format("No connection to \"%s\" came about within %d ms.", {string(host), FRequest->TimeOuts.GetConnect()}),
        VqErrTimeOut);
  }
  throw EVqHTTPApiException(kApiName, VqCurlErrorText(*row, host, FErrorText), row->Number);
}

}  // namespace

std::shared_ptr<TVqHTTPEngine> VqCreateHTTPEngine(bool) {
  return std::make_shared<TVqCurlEngine>();
}

}  // namespace velmore
