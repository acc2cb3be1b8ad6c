#include "platform/http/win/uVqWinHTTPEngine_p.h"

namespace velmore {

std::wstring VqWide(std::string_view utf8) {
  const std::u16string text = VqToUtf16(utf8);
  return std::wstring(text.begin(), text.end());
}

void VqWipeWide(std::wstring& text) noexcept {
  SecureZeroMemory(text.data(), text.size() * sizeof(wchar_t));
}

void TVqWinHTTPCall::Open(const std::shared_ptr<TVqWinHTTPCall>& call, HINTERNET connect, const wchar_t* verb,
                          const wchar_t* target, const wchar_t* version, bool secure) {
  call->FHandle = WinHttpOpenRequest(connect, verb, target, version, WINHTTP_NO_REFERER, WINHTTP_DEFAULT_ACCEPT_TYPES,
                                     WINHTTP_FLAG_ESCAPE_DISABLE | (secure ? WINHTTP_FLAG_SECURE : 0U));
  if (!call->FHandle) return;
  auto* holder = new std::shared_ptr<TVqWinHTTPCall>(call);
  auto context = reinterpret_cast<DWORD_PTR>(holder);
  if (!WinHttpSetOption(call->FHandle, WINHTTP_OPTION_CONTEXT_VALUE, &context, sizeof context)) {
    delete holder;
    call->Close();
  }
}

void TVqWinHTTPCall::Close() noexcept {
  HINTERNET handle = nullptr;
  {
    const std::scoped_lock lock(FMutex);
    handle = std::exchange(FHandle, nullptr);
  }
  if (handle) WinHttpCloseHandle(handle);
}

HINTERNET TVqWinHTTPCall::Handle() const {
  const std::scoped_lock lock(FMutex);
  return FHandle;
}

void CALLBACK TVqWinHTTPCall::OnStatus(HINTERNET handle, DWORD_PTR context, DWORD status, void* information,
                                       DWORD length) {
  auto* holder = reinterpret_cast<std::shared_ptr<TVqWinHTTPCall>*>(context);
  if (!holder) return;
  if (status == WINHTTP_CALLBACK_STATUS_HANDLE_CLOSING) {
    delete holder;  // nothing is reported behind this
  } else {
    const std::shared_ptr<TVqWinHTTPCall> call = *holder;  // reporting may close the handle
    call->Report(handle, status, information, length);
  }
}

void TVqWinHTTPCall::Report(HINTERNET handle, DWORD status, void* information, DWORD length) {
  TStep step = TStep::none;
  DWORD count = 0, error = 0;
  std::uint32_t distrust = 0;
  switch (status) {
    case WINHTTP_CALLBACK_STATUS_SENDING_REQUEST: {
      // The connection stands and nothing has gone out: the one moment to look at who is at its other end.
      PCCERT_CONTEXT certificate = nullptr;
      DWORD size = sizeof certificate;
      if (Trust && Trust->IsOpen()) {
        distrust = VqErrSecureFailure;
        if (WinHttpQueryOption(handle, WINHTTP_OPTION_SERVER_CERT_CONTEXT, &certificate, &size) && certificate) {
          distrust = Trust->Judge(certificate, Host);
          CertFreeCertificateContext(certificate);
        }
      }
      const std::scoped_lock lock(FMutex);
      FConnected = true;
      FDistrust = distrust;
      break;
    }
    case WINHTTP_CALLBACK_STATUS_SECURE_FAILURE: {
      const std::scoped_lock lock(FMutex);
      FSecureFailure |= *static_cast<DWORD*>(information);
      return;
    }
    case WINHTTP_CALLBACK_STATUS_REQUEST_SENT:
      break;
    case WINHTTP_CALLBACK_STATUS_SENDREQUEST_COMPLETE:
      step = TStep::sent;
      break;
    case WINHTTP_CALLBACK_STATUS_WRITE_COMPLETE:
      step = TStep::written;
      count = *static_cast<DWORD*>(information);
      break;
    case WINHTTP_CALLBACK_STATUS_HEADERS_AVAILABLE:
      step = TStep::headers;
      break;
    case WINHTTP_CALLBACK_STATUS_DATA_AVAILABLE:
      step = TStep::available;
      count = *static_cast<DWORD*>(information);
      break;
    case WINHTTP_CALLBACK_STATUS_READ_COMPLETE:
      step = TStep::read;
      count = length;
      break;
    case WINHTTP_CALLBACK_STATUS_REQUEST_ERROR:
      step = TStep::failed;
      error = static_cast<WINHTTP_ASYNC_RESULT*>(information)->dwError;
      break;
    default:
      return;
  }
  {
    const std::scoped_lock lock(FMutex);
    // The first failure is the one to tell: a handle that is closed for it fails once more.
    if (FStep != TStep::failed && (step != TStep::none || distrust != 0)) {
      FStep = distrust != 0 ? TStep::failed : step;
      FError = distrust != 0 ? static_cast<DWORD>(ERROR_WINHTTP_SECURE_FAILURE) : error;
      FCount = count;
    }
    FWoken = true;
    FChanged.notify_all();
  }
  // A certificate that is refused ends the request before a byte of it, and of what it says of the user, goes out.
  if (distrust != 0) Close();
}

void TVqWinHTTPCall::Wake() noexcept {
  const std::scoped_lock lock(FMutex);
  FWoken = true;
  FChanged.notify_all();
}

bool TVqWinHTTPCall::Wait(TStep step, const std::function<std::chrono::steady_clock::time_point()>& until,
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

DWORD TVqWinHTTPCall::Error() const {
  const std::scoped_lock lock(FMutex);
  return FError;
}

DWORD TVqWinHTTPCall::Count() const {
  const std::scoped_lock lock(FMutex);
  return FCount;
}

bool TVqWinHTTPCall::Connected() const {
  const std::scoped_lock lock(FMutex);
  return FConnected;
}

DWORD TVqWinHTTPCall::SecureFailure() const {
  const std::scoped_lock lock(FMutex);
  return FSecureFailure;
}

std::uint32_t TVqWinHTTPCall::Distrust() const {
  const std::scoped_lock lock(FMutex);
  return FDistrust;
}

}  // namespace velmore
