#pragma once

// Request and response as objects.

#include "platform/http/internal/uVqHTTPBody.h"
#include "platform/http/uVqHTTPEngine_p.h"

#pragma GCC visibility push(hidden)

namespace velmore {

class [[gnu::visibility("hidden")]] TVqHTTPRequest;  // named by a public header

class TVqHTTPResponse final : public TVqObject, public virtual IVqHTTPResponse, public IVqHTTPBodyOwner {
 public:
  TVqHTTPResponse(std::string url, TVqEngineReply reply, std::string body);

  TVqHTTPStatus GetStatus() const override;
  string GetHeader(const string& AName) const override;
  string GetCookie(const string& AName) const override;
  string GetText() const override;
  const std::string& GetBody() const override { return FBody; }
  std::string TakeBody() noexcept override { return std::exchange(FBody, {}); }
  const std::vector<std::pair<string, string>>& GetHeaders() const override;
  string GetURL() const override;
  const std::vector<string>& GetOfferedSchemes() const override { return FOffered; }
  string GetTriedScheme() const override;
  string GetAuthenticationHint() const override;

  void SetAuthenticationResult(std::string tried, std::string hint);

 protected:
  ~TVqHTTPResponse() override = default;

 private:
  std::string FURL;
  TVqHTTPStatus FStatus;
  std::vector<std::pair<std::string, std::string>> FLines;  // as they came
  mutable std::vector<std::pair<string, string>> FHeaders;  // the same as texts, made when they are asked for
  std::string FBody;
  std::vector<string> FOffered;
  std::string FTried, FHint;
};

class TVqHTTPRequest final : public TVqObject, public virtual IVqHTTPRequestEx {
 public:
  TVqHTTPRequest(TVqHTTPClientBase* client, TVqHTTPVerb verb, const string& url, bool hasBody, std::string body);

  TVqRef<IVqHTTPClient> GetClient() const override { return TVqRef<IVqHTTPClient>(FClient.get()); }
  TVqHTTPVerb GetVerb() const override { return FVerb; }
  string GetURL() const override { return FURL; }
  string GetHeader(const string& AName) const override;
  std::vector<std::pair<string, string>> GetHeaders() const override;
  std::string_view GetBody() const override { return FBody; }
  void SetHeader(const string& AName, const string& AValue) override;
  void SetCookie(const string& AName, const string& AValue) override;
  void SetResponseHandler(TVqHTTPResponseHandler AHandler) override { FHandler = std::move(AHandler); }
  TVqRef<IVqHTTPResponse> Execute() override;
  void Cancel() noexcept override;

  /// This execution was cancelled.
  bool IsEnding() const noexcept { return FEnding; }
  /// While it stands, a cancellation wakes what the request waits for besides its engine; an inner one takes the place
  /// of an outer one. On the thread of the request. Whoever sets it looks at `IsEnding` afterwards.
  class TStopHook {
   public:
    TStopHook(TVqHTTPRequest& request, std::function<void()> wake);
    ~TStopHook();
    TStopHook(const TStopHook&) = delete;
    TStopHook& operator=(const TStopHook&) = delete;

   private:
    TVqHTTPRequest& FRequest;
    std::function<void()> FOther;  // the one that stood before
  };

 protected:
  ~TVqHTTPRequest() override = default;

 private:
  friend class TVqHTTPClientBase;
  friend class TVqHTTPExchange;

  TVqRef<TVqHTTPClientBase> FClient;
  TVqHTTPVerb FVerb;
  string FURL;
  bool FHasBody;
  std::string FBody;
  std::vector<std::pair<std::string, std::string>> FHeaders;
  std::vector<std::pair<std::string, std::string>> FCookies;
  TVqHTTPResponseHandler FHandler;
  void Begin() noexcept;
  void Stop() noexcept;
  bool FHasNewToken = false;            // got for this execution: its life is the server's to judge
  std::atomic<bool> FCancelled{false};  // for ever
  std::atomic<bool> FEnding{false};     // this execution, by Cancel or by the client's stop token
  std::mutex FHookMutex;                // protects FHook
  std::function<void()> FHook;
};

/// The schemes that the "WWW-Authenticate" or "Proxy-Authenticate" values of a reply offer, in order, each once.
std::vector<std::string> VqOfferedSchemes(const TVqEngineReply& reply);
/// The value of the cookie `name` in a "Set-Cookie" header value; false when it is another cookie.
bool VqCookieValue(std::string_view setCookie, std::string_view name, std::string& value);
/// Raises EVqHTTPInvalidArgument for what cannot be a header.
void VqCheckHeader(std::string_view name, std::string_view value);

}  // namespace velmore

#pragma GCC visibility pop
