#include "ews/session/uVqEWSRetry.h"

#include <algorithm>
#include <optional>
#include <random>

#include "ews/model/internal/uVqEWSCall.h"
#include "platform/soap/internal/uVqSOAPOwnPace.h"
#include "platform/xml/uVqXMLUtils.h"

namespace velmore {
namespace {

using std::chrono::milliseconds;

/// What watches for events waits at the server, and its reader has its own way of coming back.
bool MayBeRepeated(const string& operation) {
  return EwsOnlyReads(operation) && operation != "GetStreamingEvents" && operation != "GetEvents";
}

bool MayPass(const EVqException& failure) {
  if (dynamic_cast<const EVqServerBusy*>(&failure)) return true;
  if (!failure.ResponseCode().empty()) return VqSOAPMayPass(failure.ResponseCode());
  const auto* transport = dynamic_cast<const EVqHTTPException*>(&failure);
  return transport && VqHTTPMayPass(transport->GetNumber());
}

/// Whether a busy server is the affair of whoever made the request.
bool KeepsOwnPace(const IVqSOAPRequest& request) {
  const auto* pace = dynamic_cast<const IVqSOAPOwnPace*>(&request);
  return pace && pace->KeepsOwnPace();
}

/// The refusal of an answer all of whose messages tell of something that may pass, or none.
std::optional<EEWSServerBusy> RefusalOf(IVqSOAPResponse& response, bool withBusy) {
  const IVqDOMElement messages =
      response.GetBody().GetFirstChildElement().SelectSingleElement("ResponseMessages", kSelectQuiet);
  if (!messages.HasChildElements()) return std::nullopt;
  string code;
  std::int32_t hint = 0;
  for (const IVqDOMElement& message : messages.GetChildElements()) {
    code = message.SelectSingleElement("ResponseCode", kSelectQuiet).GetText();
    if (!VqSOAPMayPass(code) || (code == "ErrorServerBusy" && !withBusy)) return std::nullopt;
    const IVqDOMElement backOff =
        message.SelectSingleElement("MessageXml/Value[@Name=\"BackOffMilliseconds\"]", kSelectQuiet);
    if (backOff) hint = std::max(hint, VqXMLToIntDef(backOff.GetText(), 0));
  }
  return EEWSServerBusy(code, "The server refused for now", hint);
}

/// A number from 0 to 1.
double ByChance() {
  thread_local std::minstd_rand numbers{std::random_device{}()};
  return std::uniform_real_distribution<double>(0, 1)(numbers);
}

/// The wait before the next attempt; none when the server wants to be left alone for longer than the policy allows.
std::optional<milliseconds> NextWait(const TVqEWSRetryPolicy& policy, std::int32_t attempts, milliseconds asked) {
  if (asked > policy.LongestWait) return std::nullopt;
  milliseconds wait = asked;
  if (wait.count() == 0) {
    wait = std::min(policy.FirstWait, policy.LongestWait);
    for (std::int32_t i = 1; i < attempts && wait < policy.LongestWait; ++i)
      wait = std::min(wait * 2, policy.LongestWait);
  }
  const milliseconds longer(
      static_cast<milliseconds::rep>(static_cast<double>(wait.count()) * policy.Jitter * ByChance()));
  return std::min(wait + longer, policy.LongestWait);
}

}  // namespace

void TVqEWSRetries::SetPolicy(TVqEWSRetryPolicy AValue) {
  if (AValue.Attempts < 1) throw EVqException("A request is sent once at least: a retry policy needs an attempt.");
  if (AValue.FirstWait.count() < 0 || AValue.LongestWait.count() < 0)
    throw EVqException("A retry policy cannot have a negative wait.");
  if (!(AValue.Jitter >= 0 && AValue.Jitter <= 1))
    throw EVqException("The jitter of a retry policy is a part of its waits: from 0 to 1.");
  FPolicy = std::move(AValue);
}

void TVqEWSRetries::Send(IVqSOAPRequest& ARequest, const TVqRef<IVqSOAPResponse>& AResponse,
                         const std::function<void()>& AExchange, const std::function<void(milliseconds)>& AWait) const {
  if (FPolicy.Attempts == 1 || !MayBeRepeated(ARequest.GetMethod().GetLocalName())) return AExchange();
  const bool withBusy = !KeepsOwnPace(ARequest);
  const TVqEWSRetryPolicy policy = FPolicy;  // what is told of a wait may set another one
  for (std::int32_t attempts = 1;; ++attempts) {
    const bool last = attempts >= policy.Attempts;
    std::optional<milliseconds> wait;
    const auto decide = [&](const EVqException& failure) {
      if (!last && MayPass(failure)) wait = NextWait(policy, attempts, failure.RetryAfter());
      if (wait && policy.OnWait) policy.OnWait(failure, attempts, *wait);
    };
    std::optional<EEWSServerBusy> refusal;
    bool answered = false;
    try {
      AExchange();
      answered = true;
      if (!last) refusal = RefusalOf(*AResponse, withBusy);
    } catch (const EVqException& failure) {
      if (withBusy || !dynamic_cast<const EVqServerBusy*>(&failure)) decide(failure);
      if (!wait) throw;
    }
    if (refusal) decide(*refusal);
    if (answered && !wait) return;  // the caller finds a refusal in the answer
    AWait(*wait);
  }
}

}  // namespace velmore
