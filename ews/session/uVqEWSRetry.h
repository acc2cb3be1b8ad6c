#pragma once

/// Asking again: what a session does when a request that only reads meets a failure that may pass by itself. Off at
/// first, since an application that is told of a failure at once can do better things than wait.
///
///     session.SetRetryPolicy({.Attempts = 5, .LongestWait = std::chrono::seconds(60)});

#include <chrono>
#include <functional>

#include "platform/soap/uVqSOAPTypes.h"

namespace velmore {

/// How often and after which waits a request that only reads is sent again. A plain value.
///
/// Repeated are requests that change nothing, after: a busy server, in each of its forms; a status of 408, 429, 502,
/// 503 or 504; a time-out, a name that was not found, a server that was not reached, a connection that was cut; and
/// codes of the service that tell of load or of a mailbox that is not reached just now. What changes something is never
/// sent again: see MayHaveHappened of the failure. Operations on many wait for a busy server by themselves.
///
/// A wait begins with the time that the server asks for, or else with FirstWait, doubled after each further attempt,
/// and gets longer by chance, so that many clients do not come back at once. It blocks the thread of the operation;
/// Cancel and the stop token end it, and the operation raises EVqHTTPApiException 6.
struct TVqEWSRetryPolicy {
  std::int32_t Attempts = 1;                     ///< in all, with the first one; 1: never again
  std::chrono::milliseconds FirstWait{1000};     ///< where the server does not ask for a time of its own
  std::chrono::milliseconds LongestWait{30000};  ///< of one wait; a server that asks for more is not asked again
  double Jitter = 0.25;                          ///< by which part of itself a wait gets longer at most
  /// Told before each wait, on the thread that sends: the failure, the number of attempts so far, the wait. What it
  /// raises ends the operation. An operation with several connections (uVqEWSBulk.h) sends on as many threads, of which
  /// several may wait at a time.
  std::function<void(const EVqException& AFailure, std::int32_t AAttempts, std::chrono::milliseconds AWait)> OnWait =
      nullptr;
};

/// Sends with a policy. Owns it. Any thread may send; the policy is set before they do. Raises what the exchange raises
/// at the last attempt.
class TVqEWSRetries {
 public:
  /// The policy, which sends nothing again until another one is set.
  const TVqEWSRetryPolicy& GetPolicy() const noexcept { return FPolicy; }
  /// Raises a plain exception for fewer attempts than one, a negative wait, or a jitter below 0 or above 1.
  void SetPolicy(TVqEWSRetryPolicy AValue);
  /// Has `AExchange` fill `AResponse`, several times if need be. `AWait` blocks for so long, or raises.
  void Send(IVqSOAPRequest& ARequest, const TVqRef<IVqSOAPResponse>& AResponse, const std::function<void()>& AExchange,
            const std::function<void(std::chrono::milliseconds)>& AWait) const;

 private:
  TVqEWSRetryPolicy FPolicy;
};

}  // namespace velmore
