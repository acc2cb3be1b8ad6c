#include "ews/bulk/uVqEWSBulkRun_p.h"

#include <algorithm>
#include <condition_variable>

#include "platform/soap/internal/uVqSOAPOwnPace.h"
#include "platform/soap/uVqSOAPClient.h"

namespace velmore {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kFirstWait{1000};
constexpr milliseconds kBetweenReports{100};
// A size that was too large is tried again in steps, each after so many requests that went well.
constexpr int kBeforeGrowth = 8;
// When so many single items in a row fail with their whole request, what follows would fare no better.
constexpr int kMostAloneInRow = 3;

/// What a failed exchange says about the other requests. `none`: no request will do better. `later`: the server is busy
/// and did nothing. `smaller`: nothing was done, fewer items may do. `items`: it is the affair of these items.
enum class TOutlook { none, later, smaller, items };

struct TVerdict {
  TOutlook Outlook = TOutlook::none;
  milliseconds RetryAfter{0};
  /// Whether the server was asked.
  bool Sent = true;
};

/// The failure itself knows most of it; what it does not know is whether fewer items would do better.
TVerdict VerdictOf(const std::exception_ptr& failure) {
  TVerdict verdict;
  try {
    std::rethrow_exception(failure);
  } catch (const EVqException& told) {
    const auto* client = dynamic_cast<const EVqHTTPClientApiException*>(&told);
    // An answer that is too long, among others.
    const bool unreadable = client && client->GetNumber() == VqErrInvalidServerResponse && !told.MayHaveHappened();
    verdict.Sent = typeid(told) != typeid(EVqException) || told.MayHaveHappened();  // plain ones are of misuse
    if (dynamic_cast<const EVqServerBusy*>(&told)) {
      verdict.Outlook = TOutlook::later;
      verdict.RetryAfter = told.RetryAfter();
    } else if (!told.SessionUsable() || dynamic_cast<const EVqOAuthException*>(&told) || (client && !unreadable)) {
      verdict.Outlook = TOutlook::none;
    } else {
      verdict.Outlook = told.MayHaveHappened() ? TOutlook::items : TOutlook::smaller;
    }
  } catch (...) {
    // Whatever it is: not for the library to go on behind it.
  }
  return verdict;
}

/// The failure that ends an operation, as those have it that were not sent: a lost answer leaves nothing open for them.
std::exception_ptr ForTheUnsent(const std::exception_ptr& failure) {
  try {
    std::rethrow_exception(failure);
  } catch (const EVqException& told) {
    if (!told.MayHaveHappened()) return failure;
    const auto closed = [](auto copy) {
      copy.NoteMayHaveHappened(false);
      return std::make_exception_ptr(copy);
    };
    if (const auto* engine = dynamic_cast<const EVqHTTPApiException*>(&told)) return closed(*engine);
    if (const auto* client = dynamic_cast<const EVqHTTPClientApiException*>(&told)) return closed(*client);
    return failure;
  } catch (...) {
    return failure;
  }
}

string CodeOf(const IVqDOMElement& message) {
  if (message.GetAttribute("ResponseClass") == "Success") return {};
  return message.SelectSingleElement("ResponseCode", kSelectQuiet).GetText();
}

}  // namespace

TVqEWSBulkRun::TVqEWSBulkRun(TVqEWSBaseSession& ASession, const TVqEWSBulkSettings& ASettings, std::size_t ATotal,
                             std::size_t AUsualSize)
    : FSession(ASession),
      FSettings(ASettings),
      FLargestSize(ASettings.RequestSize ? ASettings.RequestSize : AUsualSize),
      FSize(FLargestSize),
      FLanesInUse(static_cast<std::size_t>(ASettings.Connections)) {
  FProgress.Total = ATotal;
  FSession.BeginOperation(FStop);
  FSessionStop.emplace(FSession.GetStopToken(), [stop = FStop]() mutable { stop.request_stop(); });
}

TVqEWSBulkRun::~TVqEWSBulkRun() {
  FExchanges.clear();  // waits for what is under way
  FSession.EndOperation(FStop);
}

// ---- One job

void TVqEWSBulkRun::Run(const TVqEWSBulkJob& AJob) {
  FJob = &AJob;
  FNext = 0;
  FPending.resize(AJob.Count);
  for (std::size_t i = 0; i < AJob.Count; ++i) FPending[i] = i;
  if (const std::exception_ptr ended = Ended()) LeaveRest(ended);
  for (;;) {
    Deliver();
    Fill();
    if (FExchanges.empty()) break;
    Settle();
    if (FLanesInUse > 1) Fill();  // the connections go on while the answer is read
  }
  Deliver();
  FJob = nullptr;
}

void TVqEWSBulkRun::RunAlone(std::size_t AItem, const TVqEWSBulkJob& AJob, const std::function<void()>& AAction) {
  FJob = &AJob;
  CheckStopped();
  if (const std::exception_ptr ended = Ended()) {
    Fail({&AItem, 1}, ended, false);
  } else {
    try {
      AAction();
      FArrived[AItem] = {};
    } catch (...) {
      const std::exception_ptr failure = std::current_exception();
      Fail({&AItem, 1}, failure, true);
      if (VerdictOf(failure).Outlook == TOutlook::none) End(failure);
    }
  }
  FNext = AItem;
  Deliver();
  if (AJob.IsLast) Report();
  FJob = nullptr;
}

void TVqEWSBulkRun::Fill() {
  CheckStopped();
  // What was under way at the end and is to be made again was put back since.
  if (const std::exception_ptr ended = Ended(); ended && !FPending.empty()) LeaveRest(ended);
  while (!FPending.empty() && FExchanges.size() < FLanesInUse) Start();
}

/// A connection of its own for each request that is under way; the session's where there is one at a time only.
TVqEWSBulkRun::TLane& TVqEWSBulkRun::FreeLane() {
  for (const auto& lane : FLanes) {
    if (!lane->Busy) return *lane;
  }
  auto lane = std::make_unique<TLane>();
  if (FSettings.Connections > 1) {
    lane->HTTP = FSession.CreateWorkingClient();
    lane->HTTP->GetComponent()->SetStopToken(FStop.get_token());
    lane->SOAP.reset(FSession.CreateSOAPClient(lane->HTTP));
  }
  FLanes.push_back(std::move(lane));
  return *FLanes.back();
}

void TVqEWSBulkRun::Start() {
  TLane& lane = FreeLane();
  TExchange exchange;
  exchange.Lane = &lane;
  const std::size_t most = std::min(FSize, FPending.size());
  const std::vector<std::size_t> offered(FPending.begin(), FPending.begin() + static_cast<std::ptrdiff_t>(most));
  const std::size_t taken = FJob->Compose(offered, lane.SOAP.get(), exchange.Request);
  FPending.erase(FPending.begin(), FPending.begin() + static_cast<std::ptrdiff_t>(taken));
  for (const std::size_t item : exchange.Request.Skipped) FArrived[item] = {};
  for (const auto& [item, failure] : exchange.Request.Refused) Fail({&item, 1}, failure, false);
  if (exchange.Request.Items.empty()) return Deliver();
  // A busy server is waited for here, where fewer items can be asked for and the application is told.
  if (auto* pace = dynamic_cast<IVqSOAPOwnPace*>(exchange.Request.Call->Request().get())) pace->KeepOwnPace();
  const auto send = [call = exchange.Request.Call, factory = FJob->Factory] { call->Exchange(factory); };
  if (lane.SOAP) {
    FSession.SettleRequest(*exchange.Request.Call->Request());
    lane.Busy = true;
    exchange.Sent = std::async(std::launch::async, send);
  } else {
    std::packaged_task<void()> here(send);
    exchange.Sent = here.get_future();
    here();
  }
  FExchanges.push_back(std::move(exchange));
}

// ---- Answers

/// The oldest request: answers are read in the order in which requests went out.
void TVqEWSBulkRun::Settle() {
  TExchange exchange = std::move(FExchanges.front());
  FExchanges.pop_front();
  exchange.Sent.wait();
  exchange.Lane->Busy = false;
  ++FProgress.Requests;
  try {
    exchange.Sent.get();
    Read(exchange.Request);
  } catch (...) {
    Failed(exchange.Request, std::current_exception());
  }
  Deliver();
  Report();
  if (FWanted > milliseconds(0)) Wait(std::exchange(FWanted, milliseconds(0)));
}

void TVqEWSBulkRun::Read(TVqEWSBulkRequest& ARequest) {
  const TVqDOMElementList messages = ARequest.Call->Messages().GetChildElements();
  const auto count = static_cast<std::size_t>(messages.Count());
  if (count != ARequest.Items.size()) {
    // Nobody can tell whose they are.
    const string text = Format("The answer to \"%s\" has %d response messages for %d items.",
                               {FJob->Operation, count, ARequest.Items.size()});
    if (OnlyReads()) throw EVqXMLError(text, 0, 0);
    throw EVqEWSUnclearAnswer(Format("%s It may have been carried out.", {text}));
  }
  std::vector<std::size_t> busy;
  std::vector<std::size_t> stopped;
  std::exception_ptr refusal;
  milliseconds retryAfter{0};
  std::size_t hopeless = 0;
  for (std::size_t i = 0; i < count; ++i) {
    const IVqDOMElement message = messages.GetItem(static_cast<std::int32_t>(i));
    const string code = CodeOf(message);
    if (!VqSOAPLeavesSessionUsable(code)) ++hopeless;
    if (code == "ErrorServerBusy") {
      try {
        ARequest.Call->Check(message);
      } catch (const EEWSServerBusy& failure) {
        refusal = std::current_exception();
        retryAfter = std::max(retryAfter, failure.RetryAfter());
      }
      busy.push_back(ARequest.Items[i]);
    } else if (code == "ErrorBatchProcessingStopped") {
      // An item before it ended the batch; these were not looked at.
      stopped.push_back(ARequest.Items[i]);
    } else {
      FArrived[ARequest.Items[i]] = {ARequest.Call, message, nullptr, true};
    }
  }
  if (stopped.size() == count) {
    // None of them is the cause, so that nothing would become of another attempt.
    for (std::size_t i = 0; i < count; ++i)
      FArrived[ARequest.Items[i]] = {ARequest.Call, messages.GetItem(static_cast<std::int32_t>(i)), nullptr, true};
    stopped.clear();
  }
  if (busy.size() < count) Succeeded();
  if (!busy.empty()) {
    busy.insert(busy.end(), stopped.begin(), stopped.end());
    std::ranges::sort(busy);
    AgainLater(busy, refusal, retryAfter);
  } else {
    FPending.insert(FPending.begin(), stopped.begin(), stopped.end());
  }
  if (hopeless == count) EndBy(*ARequest.Call, messages.GetItem(0));  // an account that was closed, and its like
}

void TVqEWSBulkRun::EndBy(const TVqEWSCall& ACall, const IVqDOMElement& ARefusal) {
  try {
    ACall.Check(ARefusal);
  } catch (const EVqException&) {
    End(std::current_exception());
  }
}

void TVqEWSBulkRun::Succeeded() {
  FBusyInRow = FAloneInRow = 0;
  if (FSize == FLargestSize || ++FSuccessesInRow < kBeforeGrowth) return;
  FSize = std::min(FLargestSize, FSize * 2);
  FSuccessesInRow = 0;
}

void TVqEWSBulkRun::Failed(const TVqEWSBulkRequest& ARequest, const std::exception_ptr& AFailure) {
  const TVerdict verdict = VerdictOf(AFailure);
  switch (verdict.Outlook) {
    case TOutlook::later:
      return AgainLater(ARequest.Items, AFailure, verdict.RetryAfter);
    case TOutlook::smaller:
      if (ARequest.Items.size() > 1) return AgainSmaller(ARequest.Items);
      Fail(ARequest.Items, AFailure, verdict.Sent);
      if (verdict.Sent && ++FAloneInRow == kMostAloneInRow) End(AFailure);
      return;
    case TOutlook::items:
      return Fail(ARequest.Items, AFailure, true);
    case TOutlook::none:
      Fail(ARequest.Items, AFailure, verdict.Sent);
      return End(AFailure);
  }
}

void TVqEWSBulkRun::Fail(std::span<const std::size_t> AItems, const std::exception_ptr& AFailure, bool ASent) {
  for (const std::size_t item : AItems) FArrived[item] = {nullptr, {}, AFailure, ASent};
}

void TVqEWSBulkRun::AgainSmaller(std::span<const std::size_t> AItems) {
  FPending.insert(FPending.begin(), AItems.begin(), AItems.end());
  FSize = std::max<std::size_t>(1, std::min(FSize, AItems.size()) / 2);
  FSuccessesInRow = 0;
}

void TVqEWSBulkRun::AgainLater(std::span<const std::size_t> AItems, const std::exception_ptr& AFailure,
                               milliseconds ARetryAfter) {
  const milliseconds time = ARetryAfter.count() > 0 ? ARetryAfter : kFirstWait * (1 << std::min(FBusyInRow, 16));
  if (++FBusyInRow > FSettings.BusyRetries || time > FSettings.LongestWait) {
    Fail(AItems, AFailure, true);
    return End(AFailure);
  }
  AgainSmaller(AItems);
  FLanesInUse = std::max<std::size_t>(1, FLanesInUse / 2);
  FWanted = time;
}

// ---- In order

void TVqEWSBulkRun::Deliver() {
  while (!FArrived.empty() && FArrived.begin()->first == FNext) {
    const TArrived arrived = std::move(FArrived.begin()->second);
    FArrived.erase(FArrived.begin());
    const std::size_t item = FNext++;
    std::exception_ptr failure = arrived.Failure;
    if (arrived.Call) {
      try {
        arrived.Call->Check(arrived.Message);
        FJob->Read(item, *arrived.Call, arrived.Message);
      } catch (...) {
        failure = std::current_exception();
      }
    }
    if (failure) {
      FJob->Fail(item, failure, arrived.Sent);
      ++FProgress.Failed;
    }
    if (failure || FJob->IsLast) ++FProgress.Done;
    if (FJob->Tell) FJob->Tell(item);
  }
}

// ---- The end, and waits

std::exception_ptr TVqEWSBulkRun::Ended() const {
  return FEnd || FJob->Finishes ? FEnd : FStopAsked;
}

void TVqEWSBulkRun::End(const std::exception_ptr& AFailure) {
  FEnd = ForTheUnsent(AFailure);
  LeaveRest(FEnd);
}

void TVqEWSBulkRun::LeaveRest(const std::exception_ptr& AFailure) {
  const std::vector<std::size_t> left(FPending.begin(), FPending.end());
  FPending.clear();
  Fail(left, AFailure, false);
}

void TVqEWSBulkRun::CheckStopped() {
  if (FEnd || !FStop.stop_requested()) return;
  End(std::make_exception_ptr(EVqHTTPApiException("Cancel", "The operation was cancelled.", VqErrCancelled)));
}

void TVqEWSBulkRun::Report(milliseconds AWaiting) {
  if (!FSettings.OnProgress) return;
  FProgress.RequestSize = FSize;
  FProgress.Waiting = AWaiting;
  if (FSettings.OnProgress(FProgress) || FStopAsked) return;
  FStopAsked = std::make_exception_ptr(EAbort("The operation was stopped before the turn of this item came."));
  if (!FJob->Finishes) LeaveRest(FStopAsked);
}

void TVqEWSBulkRun::Wait(milliseconds ATime) {
  std::mutex mutex;  // protects nothing: there is nothing to wait for but the stop
  std::condition_variable_any never;
  std::unique_lock lock(mutex);
  const auto until = std::chrono::steady_clock::now() + ATime;
  for (;;) {
    CheckStopped();
    const auto left = std::chrono::ceil<milliseconds>(until - std::chrono::steady_clock::now());
    if (Ended() || left <= milliseconds(0)) return;
    Report(left);
    if (Ended()) return;
    never.wait_for(lock, FStop.get_token(), std::min(left, kBetweenReports), [] { return false; });
  }
}

}  // namespace velmore
