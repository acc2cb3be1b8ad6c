#include <windows.h>

#include <atomic>
#include <chrono>
#include <limits>
#include <system_error>
#include <thread>

#include "platform/os/uVqEnvironment.h"
#include "platform/os/uVqFiles.h"

namespace velmore {
namespace {

[[noreturn]] void Raise(const string& path, const char* what, DWORD error) {
  const auto reason = error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND ? EVqFileError::TReason::missing
                      : error == ERROR_ACCESS_DENIED || error == ERROR_WRITE_PROTECT
                          ? EVqFileError::TReason::accessDenied
                          : EVqFileError::TReason::other;
  throw EVqFileError("The file \"" + path + "\" could not be " + what + ": " +
                         std::system_category().message(static_cast<int>(error)) + ".",
                     reason);
}

/// The path as the system takes it, which would end at a zero.
std::wstring Native(const string& path) {
  const string native = VqNativePath(path);
  std::wstring wide(native.begin(), native.end());
  if (wide.find(L'\0') != std::wstring::npos) Raise(path, "opened", ERROR_INVALID_NAME);
  return wide;
}

struct TFile {
  HANDLE Value;
  explicit TFile(HANDLE value) noexcept : Value(value) {}
  ~TFile() { Close(); }
  TFile(const TFile&) = delete;
  TFile& operator=(const TFile&) = delete;
  explicit operator bool() const noexcept { return Value != INVALID_HANDLE_VALUE; }
  void Close() noexcept {
    if (*this) CloseHandle(Value);
    Value = INVALID_HANDLE_VALUE;
  }
};

}  // namespace

bool VqPathExists(const string& APath) {
  return GetFileAttributesW(Native(APath).c_str()) != INVALID_FILE_ATTRIBUTES;
}

std::optional<std::string> VqTryReadFile(const string& APath) {
  // Who replaces the file meanwhile is not to be kept from it.
  const TFile file(CreateFileW(Native(APath).c_str(), GENERIC_READ,
                               FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                               FILE_ATTRIBUTE_NORMAL, nullptr));
  if (!file) {
    const DWORD error = GetLastError();
    if (error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND) return {};
    Raise(APath, "opened", error);
  }
  std::string bytes;
  for (;;) {
    char buffer[65536];
    DWORD got = 0;
    if (!ReadFile(file.Value, buffer, sizeof buffer, &got, nullptr)) Raise(APath, "read", GetLastError());
    if (got == 0) return bytes;
    bytes.append(buffer, got);
  }
}

void VqReplaceFile(const string& APath, std::string_view ABytes, TVqFileModes) {
  static std::atomic<unsigned> number{0};
  const std::wstring path = Native(APath);
  const std::wstring name =
      path + L"." + std::to_wstring(GetCurrentProcessId()) + L"-" + std::to_wstring(number++) + L".new";
  if (ABytes.size() > std::numeric_limits<DWORD>::max()) Raise(APath, "written", ERROR_FILE_TOO_LARGE);
  TFile file(CreateFileW(name.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
  if (!file) Raise(APath, "written", GetLastError());
  DWORD written = 0, error = 0;
  if (!WriteFile(file.Value, ABytes.data(), static_cast<DWORD>(ABytes.size()), &written, nullptr) ||
      !FlushFileBuffers(file.Value))
    error = GetLastError();
  if (error == 0 && written != ABytes.size()) error = ERROR_DISK_FULL;
  file.Close();
  if (error == 0 && !MoveFileExW(name.c_str(), path.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH))
    error = GetLastError();
  if (error != 0) {
    DeleteFileW(name.c_str());
    Raise(APath, "written", error);
  }
}

bool VqDeleteFile(const string& APath) {
  if (DeleteFileW(Native(APath).c_str())) return true;
  const DWORD error = GetLastError();
  if (error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND) return false;
  Raise(APath, "deleted", error);
}

void VqMakeFolders(const string& APath, unsigned AMode) {
  const std::wstring path = Native(APath);
  const auto isFolder = [&] {
    const DWORD attributes = GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY);
  };
  if (path.empty() || isFolder()) return;
  VqMakeFolders(VqFolderOf(APath), AMode);
  if (CreateDirectoryW(path.c_str(), nullptr) || isFolder()) return;
  const DWORD error = GetLastError();
  throw EVqFileError("The folder \"" + APath +
                         "\" could not be made: " + std::system_category().message(static_cast<int>(error)) + ".",
                     error == ERROR_ACCESS_DENIED ? EVqFileError::TReason::accessDenied : EVqFileError::TReason::other);
}

string VqFolderOf(const string& APath) {
  const std::u16string_view path = APath.view();
  const std::size_t slash = path.find_last_of(u"\\/");
  if (slash == std::u16string_view::npos) return {};
  const bool root = slash == 0 || path[slash - 1] == u':';
  return std::u16string(path.substr(0, root ? slash + 1 : slash));
}

TVqFileLock::TVqFileLock(const string& APath, std::uint32_t AMilliseconds, unsigned) {
  const std::wstring name = Native(APath + ".lock");
  const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(AMilliseconds);
  for (;;) {
    const HANDLE file = CreateFileW(name.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_ALWAYS,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file != INVALID_HANDLE_VALUE) {
      FHandle = reinterpret_cast<std::intptr_t>(file);
      return;
    }
    const DWORD error = GetLastError();
    if (error != ERROR_SHARING_VIOLATION) Raise(APath + ".lock", "opened", error);
    if (std::chrono::steady_clock::now() >= end) {
      throw EVqFileError("The file \"" + APath + "\" is being changed by another process.",
                         EVqFileError::TReason::other);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
}

TVqFileLock::~TVqFileLock() {
  CloseHandle(reinterpret_cast<HANDLE>(FHandle));
}

}  // namespace velmore
