// Proving who we are by tokens of GSSAPI: Negotiate with Kerberos, and NTLM where there is a module for it. The tokens
// are ours and not libcurl's, so that they are bound to the server's certificate and made for the one user that was
// named.

#include "platform/http/curl/uVqCurlEngine_p.h"

namespace velmore {

bool TVqCurlEngine::UsesTokens(unsigned scheme) const noexcept {
  return (scheme == schemeNegotiate && VqHasGssKerberos()) || (scheme == schemeNTLM && VqHasGssNtlm() && !FOldNtlm);
}

bool TVqCurlEngine::SpeaksForUs(int port) const noexcept {
  return FSpeaksScheme == FRequest->Scheme && FSpeaksPort == port && port != 0;
}

std::string TVqCurlEngine::HeaderOf(const char* name) const {
  curl_header* header = nullptr;
  if (curl_easy_header(FEasy, name, 0, CURLH_HEADER, -1, &header) != CURLHE_OK) return {};
  return header->value;
}

// The token that the server answered with; empty when it begins anew, or refuses.
std::string TVqCurlEngine::ChallengeOf(const char* scheme) const {
  const std::size_t length = std::string_view(scheme).size();
  for (const auto& [name, value] : FReply.Headers) {
    if (!VqSameAscii(name, "WWW-Authenticate")) continue;
    const std::string_view text = value;
    if (text.size() <= length || text[length] != ' ' || !VqSameAscii(text.substr(0, length), scheme)) continue;
    std::string token;
    if (VqDecodeToken(VqTrimBlanks(text.substr(length)), token)) return token;
  }
  return {};
}

void TVqCurlEngine::PerformHandshake() {
  // A connection that speaks for us already is asked without a word.
  if (FSpeaksScheme == FRequest->Scheme && FSpeaksPort != 0) {
    TLeg known;
    known.Port = FSpeaksPort;
    if (PerformLeg(known)) {
      if (FReply.Status != 401) return;
    }
    FSpeaksPort = 0;
  }
  // Without a certificate seen there is nothing to bind a token to: it is asked for by the request itself.
  if (FRequest->URL.starts_with("https:") && FBoundOrigin != Origin()) {
    PerformLeg({});
    if (FReply.Status != 401) return;
  }
  // Once more when the connection went in the middle, or had another certificate.
  for (int attempt = 0; attempt < 3; ++attempt) {
    if (TryHandshake()) return;
  }
  throw EVqHTTPApiException(kVqCurlApiName, Format("The server \"%s\" broke off the log-on again and again.", {Host()}),
                            VqErrConnectionAborted);
}

// False when the connection was another one than the proof was made for.
bool TVqCurlEngine::TryHandshake() {
  const char* const scheme = VqHTTPSchemeName(FRequest->Scheme);
  TVqGssHandshake handshake(FTickets, FRequest->Scheme, FBinding);
  std::string challenge;
  int port = 0;
  for (int step = 0; step < kVqMostChallenges; ++step) {
    TLeg leg;
    std::string token;
    if (!handshake.Step(*FRequest, challenge, token)) {
      if (FRequest->IsCancelled()) RaiseCancelled();
      // A challenge in the short form of old servers, which libcurl understands. Over TLS that would be a way round the
      // binding to the certificate, which libcurl's messages lack.
      if (step == 1 && FRequest->Scheme == schemeNTLM && !FRequest->URL.starts_with("https:") && VqHasCurlNtlm()) {
        FOldNtlm = true;
        PerformLeg({});
        return true;
      }
      // No token for this server: it is asked without one, and its refusal is what the caller is told.
      if (step == 0) PerformLeg({});
      return true;
    }
    leg.Authorization = std::string(scheme) + " " + VqEncodeToken(token);
    VqWipe(token);
    leg.BodyAtHome = FRequest->Scheme == schemeNTLM && step == 0;
    leg.Port = port;
    leg.Binding = FBinding;
    leg.Bound = true;
    if (!PerformLeg(leg)) return false;
    port = FPort;
    challenge = ChallengeOf(scheme);
    if (FReply.Status != 401) {
      const std::string persistent = HeaderOf("Persistent-Auth");
      // NTLM proves itself for the connection; Negotiate where the server says so, or needed more than one step.
      const bool kept = FRequest->Scheme == schemeNTLM || VqSameAscii(persistent, "true") ||
                        (step > 0 && !VqSameAscii(persistent, "false"));
      FSpeaksScheme = kept ? FRequest->Scheme : 0U;
      FSpeaksPort = kept ? port : 0;
      return true;
    }
    if (challenge.empty()) return true;  // refused
  }
  return true;
}

}  // namespace velmore
