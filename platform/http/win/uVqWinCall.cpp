#include <map>

#include "platform/http/win/uVqWinEngine_p.h"

namespace velmore {

namespace {

struct TCalls {
  std::mutex Mutex;  // protects everything below
  std::map<DWORD_PTR, std::shared_ptr<TVqWinCall>> ByNumber;
  DWORD_PTR Last = 0;
};

/// Never taken down: the stacks' threads report while the process ends.
TCalls& Calls() {
  static TCalls& calls = *new TCalls;
  return calls;
}

}  // namespace

std::wstring VqWide(std::string_view utf8) {
  const std::u16string text = VqToUtf16(utf8);
  return std::wstring(text.begin(), text.end());
}

void VqWipeWide(std::wstring& text) noexcept {
  SecureZeroMemory(text.data(), text.size() * sizeof(wchar_t));
}

DWORD_PTR TVqWinCall::Register(std::shared_ptr<TVqWinCall> call) {
  TCalls& calls = Calls();
  const std::scoped_lock lock(calls.Mutex);
  const DWORD_PTR number = ++calls.Last;
  calls.ByNumber.emplace(number, std::move(call));
  return number;
}

std::shared_ptr<TVqWinCall> TVqWinCall::Of(DWORD_PTR number) {
  TCalls& calls = Calls();
  const std::scoped_lock lock(calls.Mutex);
  const auto found = calls.ByNumber.find(number);
  return found == calls.ByNumber.end() ? nullptr : found->second;
}

void TVqWinCall::Forget(DWORD_PTR number) noexcept {
  TCalls& calls = Calls();
  std::shared_ptr<TVqWinCall> last;  // ends outside the lock
  const std::scoped_lock lock(calls.Mutex);
  const auto found = calls.ByNumber.find(number);
  if (found == calls.ByNumber.end()) return;
  last = std::move(found->second);
  calls.ByNumber.erase(found);
}

void TVqWinCall::Close() noexcept {
  TVqWinHandleValue handle = nullptr;
  {
    const std::scoped_lock lock(FMutex);
    handle = std::exchange(FHandle, nullptr);
  }
  if (handle) FClose(handle);
}

TVqWinHandleValue TVqWinCall::Handle() const {
  const std::scoped_lock lock(FMutex);
  return FHandle;
}

void TVqWinCall::Connecting() {
  const std::scoped_lock lock(FMutex);
  FConnected = false;
}

void TVqWinCall::Connected(std::uint32_t distrust) {
  {
    const std::scoped_lock lock(FMutex);
    FConnected = true;
    FDistrust = distrust;
    FWoken = true;
    FChanged.notify_all();
  }
  if (distrust == 0) return;
  // A certificate that is refused ends the request before a byte of it, and of what it says of the user, goes out.
  Tell(TStep::failed, 0, VqErrSecureFailure);
  Close();
}

void TVqWinCall::Sent() {
  const std::scoped_lock lock(FMutex);
  FSent = true;
  FWoken = true;
  FChanged.notify_all();
}

void TVqWinCall::Reach(TStep step, DWORD count) {
  Tell(step, count, 0);
}

void TVqWinCall::ReachExpected() {
  TStep step = TStep::none;
  {
    const std::scoped_lock lock(FMutex);
    step = std::exchange(FExpected, TStep::none);
  }
  Tell(step, Number, 0);
}

void TVqWinCall::Fail(DWORD error) {
  Tell(TStep::failed, 0, error);
}

void TVqWinCall::AddSecureFailure(DWORD bits) {
  const std::scoped_lock lock(FMutex);
  FSecureFailure |= bits;
}

void TVqWinCall::Tell(TStep step, DWORD count, DWORD error) {
  const std::scoped_lock lock(FMutex);
  // The first failure is the one to tell: a handle that is closed for it fails once more.
  if (FStep != TStep::failed && step != TStep::none) {
    FStep = step;
    FError = error;
    FCount = count;
  }
  FWoken = true;
  FChanged.notify_all();
}

void TVqWinCall::Expect(TStep step) {
  const std::scoped_lock lock(FMutex);
  FExpected = step;
}

void TVqWinCall::Wake() noexcept {
  const std::scoped_lock lock(FMutex);
  FWoken = true;
  FChanged.notify_all();
}

bool TVqWinCall::Wait(TStep step, const std::function<std::chrono::steady_clock::time_point()>& until,
                      const std::function<bool()>& stop) {
  std::unique_lock lock(FMutex);
  for (;;) {
    if (FStep == TStep::failed) return true;  // stays so
    if (FStep == step) {
      FStep = TStep::none;
      FError = 0;
      return true;
    }
    FWoken = false;
    lock.unlock();
    const bool stopped = stop();
    const auto end = until();
    lock.lock();
    if (stopped) return false;
    FChanged.wait_until(lock, end, [this] { return FWoken; });
  }
}

DWORD TVqWinCall::Error() const {
  const std::scoped_lock lock(FMutex);
  return FError;
}

DWORD TVqWinCall::Count() const {
  const std::scoped_lock lock(FMutex);
  return FCount;
}

bool TVqWinCall::IsConnected() const {
  const std::scoped_lock lock(FMutex);
  return FConnected;
}

bool TVqWinCall::IsSent() const {
  const std::scoped_lock lock(FMutex);
  return FSent;
}

DWORD TVqWinCall::SecureFailure() const {
  const std::scoped_lock lock(FMutex);
  return FSecureFailure;
}

std::uint32_t TVqWinCall::Distrust() const {
  const std::scoped_lock lock(FMutex);
  return FDistrust;
}

}  // namespace velmore
