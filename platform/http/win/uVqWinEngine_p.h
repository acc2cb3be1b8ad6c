#pragma once

// What the engines over WinHTTP and over WinINet share, which is all but the calls themselves. Both stacks work in the
// background: the thread of the request asks for one step after the other and waits for each, so that limits, deadlines
// and cancellations are kept whatever the stack is at.
//
// uVqWinEngine.cpp       one exchange, from the settings to the reply or the failure
// uVqWinCall.cpp         one request of a stack's: steps, waiting, what it reports
// uVqWinHTTPEngine.cpp   the calls of WinHTTP
// uVqWinINetEngine.cpp   the calls of WinINet

#include <windows.h>

#include <condition_variable>

#include "platform/http/uVqHTTPIntake_p.h"
#include "platform/http/uVqURL.h"
#include "platform/http/win/uVqWinTrust_p.h"

#pragma GCC visibility push(hidden)

namespace velmore {

std::wstring VqWide(std::string_view utf8);
/// Overwrites what was secret.
void VqWipeWide(std::wstring& text) noexcept;

/// The headers of the two stacks cannot be included together; both say HINTERNET.
using TVqWinHandleValue = void*;
using TVqWinCloseHandle = BOOL(WINAPI*)(TVqWinHandleValue);

/// A handle of a stack's that closes itself.
class TVqWinHandle {
 public:
  explicit TVqWinHandle(TVqWinCloseHandle close) noexcept : FClose(close) {}
  ~TVqWinHandle() { Reset(); }
  TVqWinHandle(const TVqWinHandle&) = delete;
  TVqWinHandle& operator=(const TVqWinHandle&) = delete;

  TVqWinHandleValue Get() const noexcept { return FValue; }
  void Reset(TVqWinHandleValue value = nullptr) noexcept {
    if (FValue) FClose(FValue);
    FValue = value;
  }

 private:
  TVqWinCloseHandle FClose;
  TVqWinHandleValue FValue = nullptr;
};

/// One request of a stack's. Shared with the stack, whose threads report until the handle is gone for good: what they
/// write to belongs to this.
class TVqWinCall {
 public:
  enum class TStep { none, sent, written, headers, available, read, failed };

  explicit TVqWinCall(TVqWinCloseHandle close) noexcept : FClose(close) {}

  // ---- Numbers that a stack reports with

  /// Keeps `call` until Forget.
  static DWORD_PTR Register(std::shared_ptr<TVqWinCall> call);
  /// Null for the number of none.
  static std::shared_ptr<TVqWinCall> Of(DWORD_PTR number);
  static void Forget(DWORD_PTR number) noexcept;

  // ---- The handle

  void SetHandle(TVqWinHandleValue value) noexcept { FHandle = value; }
  /// Null once it is closed.
  TVqWinHandleValue Handle() const;
  /// Ends whatever is under way.
  void Close() noexcept;

  // ---- What the stack reports, on any thread

  void Connecting();
  /// The connection stands and nothing has gone out. A `distrust` ends the request.
  void Connected(std::uint32_t distrust);
  /// The whole request has gone out.
  void Sent();
  void Reach(TStep step, DWORD count = 0);
  /// Reaches what was last expected, with the count that stands in Number.
  void ReachExpected();
  void Fail(DWORD error);
  void AddSecureFailure(DWORD bits);

  // ---- What the thread of the request asks

  /// Names the step that a report without a name of its own stands for.
  void Expect(TStep step);
  /// Has a wait look again. Any thread.
  void Wake() noexcept;
  /// Waits for a step or a failure, or until `stop` gives true, which is asked again after `Wake` and when `until` has
  /// come. False when it was stopped.
  bool Wait(TStep step, const std::function<std::chrono::steady_clock::time_point()>& until,
            const std::function<bool()>& stop);
  /// The number of what failed; 0 when nothing did.
  DWORD Error() const;
  DWORD Count() const;       // of the last step: bytes
  bool IsConnected() const;  // the request has begun to go out
  bool IsSent() const;
  DWORD SecureFailure() const;
  std::uint32_t Distrust() const;  // the number of a certificate that is refused here

  std::string Piece;                                  // of the body that is being written; the stack reads it
  std::vector<char> Room = std::vector<char>(65536);  // the stack writes here
  DWORD Number = 0;                                   // and here
  std::shared_ptr<const TVqWinTrust> Trust;           // null where nothing is judged here
  std::wstring Host;

 private:
  void Tell(TStep step, DWORD count, DWORD error);

  TVqWinCloseHandle FClose;
  mutable std::mutex FMutex;  // protects everything below
  std::condition_variable FChanged;
  TVqWinHandleValue FHandle = nullptr;
  TStep FStep = TStep::none, FExpected = TStep::none;
  DWORD FError = 0, FCount = 0, FSecureFailure = 0;
  std::uint32_t FDistrust = 0;
  bool FConnected = false, FSent = false;
  bool FWoken = false;
};

class TVqWinEngine : public TVqHTTPEngine {
 public:
  TVqEngineReply Perform(const TVqEngineRequest& request) final;
  void Wake() noexcept final;
  void DropConnections() noexcept final;
  // Connections belong to the session's handle, or to the process: there is no closing them alone.
  void CloseConnections() noexcept final { DropConnections(); }
  unsigned Schemes() const noexcept final { return schemeBasic | schemeNTLM | schemeNegotiate; }
  // The system has its own tickets and takes the name that it is given.
  TVqTicket PrepareNegotiate(const TVqEngineRequest&) final { return TVqTicket::ready; }

 protected:
  using Clock = TVqHTTPClock;
  using TStep = TVqWinCall::TStep;
  enum class TPhase { connecting, sending, receiving };

  /// `name` is a wait's in exceptions.
  TVqWinEngine(const char* name, TVqWinCloseHandle close) noexcept
      : FSession(close), FConnect(close), FName(name), FClose(close) {}

  // ---- What a stack does. Null and false say that GetLastError tells more.

  /// Names the session's handle FSession.
  virtual void OpenSession() = 0;
  virtual TVqWinHandleValue OpenConnect(const std::wstring& host, std::uint16_t port) = 0;
  virtual TVqWinHandleValue OpenRequest(const std::wstring& verb, const std::wstring& target, DWORD_PTR context) = 0;
  /// Everything that is set before the headers; `close` where the connection shall end.
  virtual void SetUp(bool close) = 0;
  virtual bool AddHeaders(const std::wstring& lines) = 0;
  /// From the connection to the head of the reply, the answers to challenges included.
  virtual void Send() = 0;
  /// The head of the reply, from its first line on.
  virtual std::wstring Head() = 0;
  virtual void AskAvailable() = 0;
  virtual void Read(DWORD count) = 0;
  /// The number for a certificate that the stack refused; 0 for any other failure.
  virtual std::uint32_t CertificateNumber(DWORD error) = 0;
  /// Whether certificates are judged here even where the machine's authorities decide.
  virtual bool JudgesAlways() const noexcept { return false; }

  // ---- What a stack's engine uses

  void TakeHead();
  void Await(TStep step);
  /// The body in pieces, each written by `write` and awaited here.
  void WritePieces(const std::function<void(const std::string& piece)>& write);
  void Enter(TPhase phase) noexcept;
  [[noreturn]] void RaiseLast(const char* api) { Raise(api, GetLastError()); }
  [[noreturn]] void Raise(const char* api, DWORD error);
  TVqWinHandleValue Request() const { return FCall->Handle(); }

  TVqWinHandle FSession;
  TVqWinHandle FConnect;
  std::shared_ptr<const TVqWinTrust> FTrust;
  std::shared_ptr<TVqWinCall> FCall;
  // Of the exchange under way.
  const TVqEngineRequest* FRequest = nullptr;
  TVqURLData FUrl;
  TVqEngineReply FReply;

 private:
  void CloseHandles() noexcept;
  void OpenHandles();
  void NewCall();
  void SetUpHeaders();
  void TakeHeaderLines(std::string_view text);
  void TakeBody();
  Clock::time_point LimitAt() const;
  [[noreturn]] void RaiseTimeOut();
  [[noreturn]] void RaiseCancelled();
  std::string Host() const;

  const char* FName;
  TVqWinCloseHandle FClose;
  std::string FKey, FConnectKey;  // what FSession and FConnect were opened for
  std::mutex FCallMutex;          // protects FCall against Wake
  std::atomic<bool> FRunning{false};
  std::atomic<bool> FDrop{false};
  TVqHTTPIntake FIntake;
  TPhase FPhase = TPhase::connecting;
  Clock::time_point FProgress;
  bool FAnswered = false;
};

std::shared_ptr<TVqHTTPEngine> VqCreateWinHTTPEngine();
std::shared_ptr<TVqHTTPEngine> VqCreateWinINetEngine();

}  // namespace velmore

#pragma GCC visibility pop
