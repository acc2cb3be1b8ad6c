#pragma once

// The engine over WinHTTP, which works in the background: the thread of the request asks for one step after the other
// and waits for each, so that limits, deadlines and cancellations are kept whatever WinHTTP is at.
//
// uVqWinHTTPEngine.cpp   one exchange, from the settings to the reply or the failure
// uVqWinHTTPCall.cpp     one request of WinHTTP's: steps, waiting, what it reports

#include <windows.h>
// After windows.h, which it needs.
#include <winhttp.h>

#include <condition_variable>

#include "platform/http/uVqHTTPIntake_p.h"
#include "platform/http/win/uVqWinTrust_p.h"

#pragma GCC visibility push(hidden)

namespace velmore {

/// For exceptions: where a wait was.
inline constexpr const char* kVqWinHTTPName = "WinHttpReceiveResponse";

std::wstring VqWide(std::string_view utf8);
/// Overwrites what was secret.
void VqWipeWide(std::wstring& text) noexcept;

/// A handle of WinHTTP's that closes itself.
class TVqWinHTTPHandle {
 public:
  TVqWinHTTPHandle() = default;
  ~TVqWinHTTPHandle() { Reset(); }
  TVqWinHTTPHandle(const TVqWinHTTPHandle&) = delete;
  TVqWinHTTPHandle& operator=(const TVqWinHTTPHandle&) = delete;

  HINTERNET Get() const noexcept { return FValue; }
  void Reset(HINTERNET value = nullptr) noexcept {
    if (FValue) WinHttpCloseHandle(FValue);
    FValue = value;
  }

 private:
  HINTERNET FValue = nullptr;
};

/// One request of WinHTTP's. Shared with WinHTTP, whose threads report until the handle is gone for good: what they
/// write to belongs to this.
class TVqWinHTTPCall {
 public:
  enum class TStep { none, sent, written, headers, available, read, failed };

  /// Any thread; the callback of all requests of a session.
  static void CALLBACK OnStatus(HINTERNET handle, DWORD_PTR context, DWORD status, void* information, DWORD length);

  /// Opens the request. The context that WinHTTP reports with keeps `call` alive until the handle is gone.
  static void Open(const std::shared_ptr<TVqWinHTTPCall>& call, HINTERNET connect, const wchar_t* verb,
                   const wchar_t* target, const wchar_t* version, bool secure);
  /// Ends whatever is under way.
  void Close() noexcept;
  /// Null once it is closed.
  HINTERNET Handle() const;

  /// Has a wait look again. Any thread.
  void Wake() noexcept;
  /// Waits for a step or a failure, or until `stop` gives true, which is asked again after `Wake` and when `until` has
  /// come. False when it was stopped.
  bool Wait(TStep step, const std::function<std::chrono::steady_clock::time_point()>& until,
            const std::function<bool()>& stop);
  /// The number of what failed; 0 when nothing did.
  DWORD Error() const;
  DWORD Count() const;     // of the last step: bytes
  bool Connected() const;  // the request has begun to go out
  DWORD SecureFailure() const;
  std::uint32_t Distrust() const;  // the number of a certificate that the files refuse

  std::string Piece;                                  // of the body that is being written; WinHTTP reads it
  std::vector<char> Room = std::vector<char>(65536);  // WinHTTP writes here
  const TVqWinTrust* Trust = nullptr;                 // outlives the connection
  std::wstring Host;

 private:
  void Report(HINTERNET handle, DWORD status, void* information, DWORD length);

  mutable std::mutex FMutex;  // protects everything below
  std::condition_variable FChanged;
  HINTERNET FHandle = nullptr;
  TStep FStep = TStep::none;
  DWORD FError = 0, FCount = 0, FSecureFailure = 0;
  std::uint32_t FDistrust = 0;
  bool FConnected = false;
  bool FWoken = false;
};

}  // namespace velmore

#pragma GCC visibility pop
