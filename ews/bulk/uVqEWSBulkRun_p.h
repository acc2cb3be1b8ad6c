#pragma once

// How the operations on many make their requests: how many items go into one, what becomes of a request that fails, and
// in which order results are told.

#include <deque>
#include <future>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <stop_token>
#include <vector>

#include "ews/bulk/uVqEWSBulkTypes.h"
#include "ews/model/internal/uVqEWSCall.h"

#pragma GCC visibility push(hidden)

namespace velmore {

/// The settings of TVqEWSBulk as they are for one operation.
struct TVqEWSBulkSettings {
  std::size_t RequestSize = 0;
  std::int32_t Connections = 1;
  std::int32_t BusyRetries = 0;
  std::chrono::milliseconds LongestWait{0};
  TVqEWSBulkProgressEvent OnProgress;
};

/// One request on its way: what is in it, by position, in the order of the request.
struct TVqEWSBulkRequest {
  std::shared_ptr<TVqEWSCall> Call;
  std::vector<std::size_t> Items;
  /// Items for which nothing has to be sent.
  std::vector<std::size_t> Skipped;
  /// Items that could not be composed.
  std::vector<std::pair<std::size_t, std::exception_ptr>> Refused;
};

/// What is to be known of one kind of request.
struct TVqEWSBulkJob {
  const char* Operation;  ///< "GetItem"
  std::size_t Count = 0;
  /// Puts items from the front of those offered into a request, and gives how many it has dealt with; one at least.
  std::function<std::size_t(std::span<const std::size_t> AOffered, TVqSOAPClient* AClient, TVqEWSBulkRequest& ARequest)>
      Compose;
  TVqSOAPResponseFactory Factory = nullptr;
  /// Reads what stands in a message that is no refusal; what it raises is the item's failure.
  std::function<void(std::size_t AItem, const TVqEWSCall& ACall, const IVqDOMElement& AMessage)> Read;
  /// Takes a failure.
  std::function<void(std::size_t AItem, const std::exception_ptr& AFailure, bool ASent)> Fail;
  /// Called behind each Read and Fail, in the order of the items; what it raises comes out of the operation.
  std::function<void(std::size_t AItem)> Tell = nullptr;
  /// Whether a success is the item's result, and not one of several steps.
  bool IsLast = true;
  /// Whether it ends what was begun, and is not left out when the progress handler asks for a stop.
  bool Finishes = false;
};

/// One operation on many: its connections, its waits and its progress, through one job or several.
///
/// Owns the connections, with a thread each while a request is under way; the caller's thread composes all requests and
/// reads all answers. No copies. One thread, that of the session.
class TVqEWSBulkRun {
 public:
  TVqEWSBulkRun(TVqEWSBaseSession& ASession, const TVqEWSBulkSettings& ASettings, std::size_t ATotal,
                std::size_t AUsualSize);
  ~TVqEWSBulkRun();
  TVqEWSBulkRun(const TVqEWSBulkRun&) = delete;
  TVqEWSBulkRun& operator=(const TVqEWSBulkRun&) = delete;

  /// Runs a job to its end: each of its items was read, or has failed.
  void Run(const TVqEWSBulkJob& AJob);
  /// The same for one item that has requests of its own.
  void RunAlone(std::size_t AItem, const TVqEWSBulkJob& AJob, const std::function<void()>& AAction);

  /// Items in the next request at most.
  std::size_t Size() const noexcept { return FSize; }

 private:
  /// A pair of clients, and the request that it is busy with.
  struct TLane {
    TVqRef<IVqHTTPClient> HTTP;
    std::unique_ptr<TVqSOAPClient> SOAP;
    bool Busy = false;
  };
  struct TExchange {
    TVqEWSBulkRequest Request;
    TLane* Lane = nullptr;
    std::future<void> Sent;
  };
  /// A message that came in, or a failure, until its turn comes.
  struct TArrived {
    std::shared_ptr<TVqEWSCall> Call;
    IVqDOMElement Message;
    std::exception_ptr Failure;
    bool Sent = true;
  };

  TLane& FreeLane();
  void Fill();
  void Start();
  void Settle();
  void Read(TVqEWSBulkRequest& ARequest);
  void EndBy(const TVqEWSCall& ACall, const IVqDOMElement& ARefusal);
  void Failed(const TVqEWSBulkRequest& ARequest, const std::exception_ptr& AFailure);
  void Fail(std::span<const std::size_t> AItems, const std::exception_ptr& AFailure, bool ASent);
  void AgainSmaller(std::span<const std::size_t> AItems);
  void AgainLater(std::span<const std::size_t> AItems, const std::exception_ptr& AFailure,
                  std::chrono::milliseconds ARetryAfter);
  void Succeeded();
  void Deliver();
  std::exception_ptr Ended() const;
  void LeaveRest(const std::exception_ptr& AFailure);
  void End(const std::exception_ptr& AFailure);
  void CheckStopped();
  void Report(std::chrono::milliseconds AWaiting = {});
  void Wait(std::chrono::milliseconds ATime);
  bool OnlyReads() const { return EwsOnlyReads(FJob->Operation); }

  TVqEWSBaseSession& FSession;
  const TVqEWSBulkSettings FSettings;
  const std::size_t FLargestSize;
  std::size_t FSize;
  std::size_t FLanesInUse;
  std::chrono::milliseconds FWanted{0};  // the wait that a busy server has asked for
  int FSuccessesInRow = 0;               // requests, since the size was changed
  int FBusyInRow = 0;                    // requests and messages, since anything was done
  int FAloneInRow = 0;                   // requests with one item that failed as a whole, since one did not
  TVqEWSBulkProgress FProgress;
  std::exception_ptr FEnd;        // why nothing more is sent
  std::exception_ptr FStopAsked;  // the same, but for what ends what was begun
  std::stop_source FStop;
  std::optional<std::stop_callback<std::function<void()>>> FSessionStop;
  std::vector<std::unique_ptr<TLane>> FLanes;

  // Of the job that runs.
  const TVqEWSBulkJob* FJob = nullptr;
  std::deque<std::size_t> FPending;
  std::map<std::size_t, TArrived> FArrived;
  std::size_t FNext = 0;  // whose turn it is
  std::deque<TExchange> FExchanges;
};

}  // namespace velmore

#pragma GCC visibility pop
