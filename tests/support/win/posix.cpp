// What the tests take from POSIX, by Windows.

#include <winsock2.h>
// After winsock2.h.
#include <fcntl.h>
#include <io.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <atomic>
#include <cstring>
#include <string>

namespace {

struct Start {
  Start() {
    WSADATA data;
    WSAStartup(MAKEWORD(2, 2), &data);
  }
} const started;

// A number of a socket is its handle: Windows keeps them small.
SOCKET Of(int socket) {
  return static_cast<SOCKET>(socket);
}
int Number(SOCKET socket) {
  return socket == INVALID_SOCKET ? -1 : static_cast<int>(socket);
}

constexpr int kNonBlocking = 0x1000;

std::string Filled(std::string pattern) {
  static std::atomic<unsigned> next{0};
  static constexpr char kLetters[] = "abcdefghijklmnopqrstuvwxyz0123456789";
  unsigned long long value = GetCurrentProcessId() * 100003ULL + next++ * 7919ULL + GetTickCount64() % 7919;
  for (std::size_t i = pattern.size() - 6; i < pattern.size(); ++i) {
    pattern[i] = kLetters[value % 36];
    value /= 36;
  }
  return pattern;
}

}  // namespace

// Linked by the names that the shims declare, which are C++ there, and POSIX' own where tests see the compiler's
// headers.

extern "C" {

int setenv(const char* name, const char* value, int) {
  // Both copies: that of the C library and the process's own.
  SetEnvironmentVariableA(name, value);
  return _putenv_s(name, value);
}

int unsetenv(const char* name) {
  _putenv_s(name, "");
  SetEnvironmentVariableA(name, nullptr);
  return 0;
}

char* mkdtemp(char* pattern) {
  for (int attempt = 0; attempt < 100; ++attempt) {
    const std::string name = Filled(pattern);
    if (CreateDirectoryA(name.c_str(), nullptr)) {
      std::memcpy(pattern, name.c_str(), name.size());
      return pattern;
    }
    if (GetLastError() != ERROR_ALREADY_EXISTS) return nullptr;
  }
  return nullptr;
}

int mkstemp(char* pattern) {
  const std::string name = Filled(pattern);
  std::memcpy(pattern, name.c_str(), name.size());
  return _open(pattern, _O_CREAT | _O_EXCL | _O_RDWR | _O_BINARY, _S_IREAD | _S_IWRITE);
}

/// In place of the C library's: of sockets, too.
int close(int number) {
  int type = 0, size = sizeof type;
  if (number > 2 && getsockopt(Of(number), SOL_SOCKET, SO_TYPE, reinterpret_cast<char*>(&type), &size) == 0)
    return closesocket(Of(number));
  return _close(number);
}

}  // extern "C"

#include "tests/support/win/posix_sockets.h"

namespace velmore_posix {

int Socket(int family, int type, int protocol) {
  const SOCKET made = ::socket(family, type & ~kNonBlocking, protocol);
  u_long on = 1;
  if (type & kNonBlocking) ioctlsocket(made, FIONBIO, &on);
  return Number(made);
}
int Bind(int socket, const void* address, int size) {
  return ::bind(Of(socket), static_cast<const sockaddr*>(address), size);
}
int Listen(int socket, int backlog) {
  return ::listen(Of(socket), backlog);
}
int Accept(int socket) {
  return Number(::accept(Of(socket), nullptr, nullptr));
}
int Connect(int socket, const void* address, int size) {
  return ::connect(Of(socket), static_cast<const sockaddr*>(address), size);
}
int GetSockName(int socket, void* address, int* size) {
  return ::getsockname(Of(socket), static_cast<sockaddr*>(address), size);
}
int SetSockOpt(int socket, int level, int option, const void* value, int size) {
  return ::setsockopt(Of(socket), level, option, static_cast<const char*>(value), size);
}
int Shutdown(int socket, int how) {
  // Of a socket that listens Windows does not end the wait for a connection; closing it does.
  BOOL listens = FALSE;
  int size = sizeof listens;
  if (getsockopt(Of(socket), SOL_SOCKET, SO_ACCEPTCONN, reinterpret_cast<char*>(&listens), &size) == 0 && listens)
    return closesocket(Of(socket));
  const int done = ::shutdown(Of(socket), how);
  // Nor does it end a wait for bytes.
  if (how == SD_BOTH) CancelIoEx(reinterpret_cast<HANDLE>(Of(socket)), nullptr);
  return done;
}
long long Send(int socket, const void* bytes, std::size_t count, int flags) {
  return ::send(Of(socket), static_cast<const char*>(bytes), static_cast<int>(count), flags);
}
long long Receive(int socket, void* bytes, std::size_t count, int flags) {
  u_long waiting = 0;
  if (flags & 0x1000) {  // without waiting
    if (ioctlsocket(Of(socket), FIONREAD, &waiting) != 0 || waiting == 0) return -1;
    flags &= ~0x1000;
  }
  return ::recv(Of(socket), static_cast<char*>(bytes), static_cast<int>(count), flags);
}
int Poll(int socket, bool readable, int milliseconds) {
  fd_set set;
  FD_ZERO(&set);
  FD_SET(Of(socket), &set);
  timeval limit = {milliseconds / 1000, milliseconds % 1000 * 1000};
  const int ready = ::select(0, &set, nullptr, nullptr, &limit);
  if (ready <= 0 || readable) return ready;
  char byte;
  if (::recv(Of(socket), &byte, 1, MSG_PEEK) <= 0) return 1;
  Sleep(static_cast<DWORD>(milliseconds));  // bytes wait that nobody reads
  return 0;
}

}  // namespace velmore_posix
