#pragma once

// The engine over libcurl: one multi handle, which keeps the connections, and an easy handle, driven by the thread of
// the request.
//
// uVqCurlEngine.cpp    one exchange, from the settings to the reply or the failure
// uVqCurlHandshake.cpp an exchange of tokens, which are ours and not libcurl's
// uVqCurlSetUp.cpp     what libcurl is told
// uVqCurlTransfer.cpp  what happens while it runs: callbacks, time-outs, bounds

#include <curl/curl.h>

#include <exception>
#include <optional>
#include <set>

#include "platform/http/curl/uVqCurlTrust_p.h"
#include "platform/http/curl/uVqGssTokens_p.h"
#include "platform/http/uVqHTTPEngine_p.h"
#include "platform/http/uVqHTTPIntake_p.h"

#pragma GCC visibility push(hidden)

namespace velmore {

/// A list of texts in libcurl's form, kept from one request to the next: most have those of the last one.
class TVqCurlList {
 public:
  TVqCurlList() = default;
  ~TVqCurlList() { Clear(); }
  TVqCurlList(const TVqCurlList&) = delete;
  TVqCurlList& operator=(const TVqCurlList&) = delete;

  /// Raises EVqHTTPApiException 8 when there is no memory.
  void Set(std::vector<std::string> lines);
  curl_slist* Head() const { return FHead; }

 private:
  void Clear() noexcept;  // overwrites what is secret

  std::vector<std::string> FLines;
  curl_slist* FHead = nullptr;
};

class TVqCurlEngine final : public TVqHTTPEngine {
 public:
  TVqCurlEngine();
  ~TVqCurlEngine() override { Close(); }

  TVqEngineReply Perform(const TVqEngineRequest& request) override;
  void Wake() noexcept override;
  void DropConnections() noexcept override;
  void CloseConnections() noexcept override;
  unsigned Schemes() const noexcept override;
  TVqTicket PrepareNegotiate(const TVqEngineRequest& request) override;

 private:
  using Clock = TVqHTTPClock;

  /// What one step of an exchange has of its own.
  struct TLeg {
    std::string Authorization;  // the header's value; empty sends none
    bool BodyAtHome = false;    // a step that opens a handshake
    int Port = 0;               // the connection to go out on, by its port here; 0 is any
    std::string Binding;        // what the token was bound to; the connection must have the same
    bool Bound = false;

    ~TLeg() { VqWipe(Authorization); }
  };

  // uVqCurlEngine.cpp
  void Open();
  void OpenEasy();
  void Close() noexcept;
  void RenewMulti();
  void Settle() noexcept;
  bool PrepareTrust(const TVqEngineRequest& request);
  bool PerformLeg(const TLeg& leg);
  bool PerformOnce(const TLeg& leg);
  CURLcode Transfer(const TLeg& leg);
  bool WasLostUnheard(CURLcode code) const;
  [[noreturn]] void RaiseFailure(CURLcode code);
  [[noreturn]] void RaiseCancelled();
  void CollectHeaders(bool ofProxy);

  // uVqCurlHandshake.cpp
  bool UsesTokens(unsigned scheme) const noexcept;
  void PerformHandshake();
  bool TryHandshake();
  bool SpeaksForUs(int port) const noexcept;
  std::string ChallengeOf(const char* scheme) const;
  std::string HeaderOf(const char* name) const;

  // uVqCurlSetUp.cpp
  void SetUp(const TLeg& leg);
  void SetUpAddress(const std::string& address);
  void SetUpHeaders(const TLeg& leg, bool post);
  void SetUpRoute();
  void SetUpTls();
  void SetUpCredentials();
  void SetUpCallbacks();
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

  // uVqCurlTransfer.cpp
  CURLcode Drive();
  void CheckProgress();
  void CheckStall();
  bool HasUnreadBytes() const noexcept;
  bool MayResend() const;
  std::size_t TakeHeader(std::string_view line);
  void TakeStatus(std::string_view line);
  std::size_t TakeBody(std::string_view bytes);
  int BeforeSending(int port);
  void KnowSocket(int port) noexcept;
  curl_socket_t OpenSocket(const curl_sockaddr& address);
  int BeforeClosing(curl_socket_t socket);
  void LookForCredentials(std::string_view headers);
  std::string_view Origin() const;
  string Host() const;

  std::mutex FHandleMutex;  // protects FMulti against Wake while it is exchanged
  CURLM* FMulti = nullptr;
  CURLSH* FShare = nullptr;
  CURL* FEasy = nullptr;
  TVqCurlTrust FTrust;
  TVqGssCredentials FTickets;
  // Those of connections that requests went out on; and those that were opened for this exchange, of which libcurl
  // closes without a word what never became a connection.
  std::set<curl_socket_t> FSockets, FOpened;
  // What FEasy was told last.
  TVqCurlList FHeaders, FConnectTo;
  CURLU* FAddress = nullptr;
  std::string FAddressText, FUserAgent, FCookies;
  std::atomic<bool> FRunning{false};
  std::atomic<bool> FDrop{false}, FCloseKept{false};

  // Who the server takes the kept connection for.
  unsigned FSpeaksScheme = schemeNone;
  int FSpeaksPort = 0;
  bool FOldNtlm = false;  // the server writes NTLM in a form that libcurl alone can read
  // The proxy that took the name and password, which it is told without being asked again.
  std::string FProxyTakesBasic;
  // The certificate that an origin was seen with last, as tokens are bound to it.
  std::string FBoundOrigin, FBinding;

  // Of the exchange under way.
  const TVqEngineRequest* FRequest = nullptr;
  const TLeg* FLeg = nullptr;
  TVqEngineReply FReply;
  TVqHTTPIntake FIntake;
  std::exception_ptr FRaised;
  char FErrorText[CURL_ERROR_SIZE] = {};
  bool FInHeaders = false;
  std::uint64_t FHeaderBytes = 0;
  int FPort = 0;              // of the connection that it goes out on
  bool FSent = false;         // a request has begun to go out ...
  bool FAnswered = false;     // ... and something of its reply came in
  bool FLostUnheard = false;  // ... or its connection went, and the server had not got all of it
  bool FRefusedResend = false;
  std::string FProxy;             // its address
  bool FProxyKnown = false;       // to take the name and password, which were sent at once
  bool FProxyBasicSent = false;   // the name and password went out to the proxy
  bool FOtherConnection = false;  // than the one that the leg is for
  int FResends = 0;
  int FReplies = 0;  // that have begun to come in, a handshake's and a proxy's among them
  curl_off_t FUploaded = -1;
  bool FAllUploaded = false;
  Clock::time_point FProgress;
};

/// Whether libcurl was built with NTLM.
bool VqHasCurlNtlm() noexcept;
/// For exceptions: the operation that failed.
inline constexpr const char* kVqCurlApiName = "curl_multi_perform";
/// Challenges that are answered for one request: a server that goes on challenging would be given the proof of the
/// password for ever.
inline constexpr int kVqMostChallenges = 5;

}  // namespace velmore

#pragma GCC visibility pop
