#pragma once

// One request from the caller's point of view: one or more exchanges of the engine, until the server's challenge is
// answered or cannot be.

#include "platform/http/uVqHTTPIntake_p.h"
#include "platform/http/uVqHTTPOAuthGrants_p.h"
#include "platform/http/uVqHTTPRequest_p.h"
#include "platform/http/uVqURL.h"

#pragma GCC visibility push(hidden)

namespace velmore {

class [[gnu::visibility("hidden")]] TVqHTTPExchange;  // named by a public header

class TVqHTTPExchange {
 public:
  TVqHTTPExchange(TVqHTTPClientBase& client, TVqHTTPRequest& request, TVqHTTPSessionState& session);
  TVqRef<IVqHTTPResponse> Run();
  /// Another exchange on the way to the request's own: with the token endpoint, over the client's connections and
  /// settings, by nobody's name. Ends when the request is cancelled.
  TVqOAuthAnswer PostForm(const string& url, std::string_view form, const std::string& authorization);

 private:
  void TakeSettings();
  void TakeTarget();
  void TakeHeaders();
  void TakeCookies();
  void TakeCredentials();
  void TakeToken();
  void TakeProxy();
  TVqEngineReply Perform(unsigned scheme);
  TVqEngineReply AnswerChallenge();
  unsigned KnownScheme() const;
  bool Ready(unsigned scheme);
  std::string Hint(const std::vector<std::string>& offered) const;

  TVqHTTPClientBase& FClient;
  TVqHTTPRequest& FRequest;
  TVqHTTPSessionState& FSession;
  TVqHTTPDataEvent FOnData;  // a copy: the handler may take itself away while it runs
  TVqEngineRequest FEngineRequest;
  std::shared_ptr<const TVqHTTPTarget> FTarget;
  bool FPlainText = false;  // credentials would be readable on the way
  unsigned FAllowed = schemeNone;
  unsigned FTried = schemeNone;
  TVqTicket FTicket = TVqTicket::none;
  std::uint64_t FIdentity = 0;
  bool FTokenHeldBack = false;
  bool FBearer = false;
  TVqHTTPReplyStream FStream;  // what the data event sees
  TVqHTTPBodyPieces FBody;     // without an event
  bool FToEvent = false;
  bool FForToken = false;
};

}  // namespace velmore

#pragma GCC visibility pop
