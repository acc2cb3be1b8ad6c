// What a client does for its token: looks at it before each request, and gets another one.

#include "platform/http/uVqHTTPBase.h"
#include "platform/http/uVqHTTPExchange_p.h"
#include "platform/http/uVqHTTPOAuthShare_p.h"

namespace velmore {
namespace {

/// Whose token it is, as far as the grant sends a name: clients with other credentials get other tokens.
TVqCredentials PersonOf(const TVqOAuth& oauth, const TVqCredentials& credentials) {
  return oauth.GetGrantType() == TVqOAuthGrantType::Password ? credentials : TVqCredentials();
}

[[noreturn]] void RaiseCancelled() {
  throw EVqHTTPApiException("GetAccessToken", "The request was cancelled.", VqErrCancelled);
}

}  // namespace

const TVqOAuthAccessToken& TVqHTTPClientBase::TokenInForce() const {
  const TVqOAuthAccessToken& token = FOAuth.GetAccessToken();
  // With a grant it is as new as can be, and the server's to judge.
  if (!token.GetExpired() || (FOAuth.GetGrantType() != TVqOAuthGrantType::none && !token.Token.empty())) return token;
  throw EVqOAuthException(token.Token.empty()
                              ? "OAuth is in use, but there is no access token and no grant to get one."
                              : "The OAuth access token has expired and there is no grant to get another.",
                          0);
}

void TVqHTTPClientBase::CheckToken(TVqHTTPRequest& ARequest) {
  if (FOAuth.GetGrantType() == TVqOAuthGrantType::none || ARequest.FHasNewToken) return;
  if (!FOAuth.FShare) FOAuth.Separate();
  const TVqOAuthAccessToken& token = FOAuth.GetAccessToken();
  const TVqCredentials person = PersonOf(FOAuth, FCredentials);
  const bool needsPerson = FOAuth.GetGrantType() == TVqOAuthGrantType::Authorize && token.RefreshToken.empty();
  if (!FOAuth.FShare->IsWorn(person, token, needsPerson)) return;
  if (token.GetExpired()) return RenewToken(ARequest, true);
  try {
    RenewToken(ARequest, false);
  } catch (const EVqOAuthException& failure) {
    FOAuth.FShare->Pause(person, !failure.GetError().empty());  // the token that there is does until its end
  }
}

void TVqHTTPClientBase::RenewToken(TVqHTTPRequest& ARequest, bool AMayAsk) {
  if (!FOAuth.FShare) FOAuth.Separate();
  const std::shared_ptr<TVqOAuthShare> share = FOAuth.FShare;
  const auto post = [&](const string& url, std::string_view form, const std::string& authorization) {
    return TVqHTTPExchange(*this, ARequest, *FSession).PostForm(url, form, authorization);
  };
  const auto show = [&](const TVqRef<IVqHTTPOAuthAutorizeForm>& form, const string& url, const string& redirect) {
    const TVqHTTPRequest::TStopHook stop(ARequest, [form] { form->Cancel(); });
    if (ARequest.IsEnding()) RaiseCancelled();
    const string answer = form->Authorize(url, redirect, WindowOfForms());
    if (ARequest.IsEnding()) RaiseCancelled();
    return answer;
  };
  const auto ending = [&] { return ARequest.IsEnding(); };
  const auto grant = [&](const TVqOAuthAccessToken& last) {
    return TVqOAuthGrant(FOAuth, FCredentials, post, show).Run(last, AMayAsk);
  };
  const auto renew = [&](TVqOAuthAccessToken& token) {
    const TVqHTTPRequest::TStopHook stop(ARequest, [share] { share->Wake(); });
    return share->Renew(PersonOf(FOAuth, FCredentials), FOAuth.GetAccessToken(), grant, ending, token);
  };
  TVqOAuthAccessToken token;
  if (!renew(token)) RaiseCancelled();
  FOAuth.FAccessToken = token;
  ARequest.FHasNewToken = true;
}

bool TVqHTTPClientBase::RenewRefusedToken(TVqHTTPRequest& ARequest, const IVqHTTPResponse& AResponse) {
  if (FAuthentication != TVqHTTPAuthentication::oAuth || FOAuth.GetGrantType() == TVqOAuthGrantType::none) return false;
  if (AResponse.GetTriedScheme() != "Bearer") return false;
  if (VqBearerError(AResponse.GetHeader("WWW-Authenticate").utf8()) != "invalid_token") return false;
  RenewToken(ARequest, true);
  return true;
}

}  // namespace velmore
