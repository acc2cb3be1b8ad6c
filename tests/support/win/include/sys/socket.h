#pragma once

// Sockets as POSIX has them, over Windows' (posix.cpp). Numbers and layouts are those of winsock2.h, which stays away
// with its macros.

#include <cstddef>
#include <cstdint>

#include "tests/support/win/posix_sockets.h"

using socklen_t = int;
using in_addr_t = std::uint32_t;

struct sockaddr {
  std::uint16_t sa_family;
  char sa_data[14];
};
struct in_addr {
  in_addr_t s_addr;
};
struct sockaddr_in {
  std::uint16_t sin_family;
  std::uint16_t sin_port;
  in_addr sin_addr;
  char sin_zero[8];
};
struct linger {
  std::uint16_t l_onoff;
  std::uint16_t l_linger;
};
struct timeval;

constexpr int AF_INET = 2;
constexpr int SOCK_STREAM = 1, SOCK_DGRAM = 2, SOCK_CLOEXEC = 0, SOCK_NONBLOCK = 0x1000;
constexpr int SOL_SOCKET = 0xFFFF, SO_LINGER = 0x0080, SO_RCVBUF = 0x1002, SO_SNDBUF = 0x1001, SO_REUSEADDR = 0x0004,
              SO_RCVTIMEO = 0x1006;
constexpr int SHUT_RD = 0, SHUT_WR = 1, SHUT_RDWR = 2;
constexpr int MSG_NOSIGNAL = 0, MSG_PEEK = 2, MSG_DONTWAIT = 0x1000;

static inline int socket(int family, int type, int protocol) {
  return velmore_posix::Socket(family, type, protocol);
}
static inline int bind(int socket, const sockaddr* address, socklen_t size) {
  return velmore_posix::Bind(socket, address, size);
}
static inline int listen(int socket, int backlog) {
  return velmore_posix::Listen(socket, backlog);
}
static inline int accept(int socket, sockaddr*, socklen_t*) {
  return velmore_posix::Accept(socket);
}
static inline int accept4(int socket, sockaddr*, socklen_t*, int) {
  return velmore_posix::Accept(socket);
}
static inline int connect(int socket, const sockaddr* address, socklen_t size) {
  return velmore_posix::Connect(socket, address, size);
}
static inline int getsockname(int socket, sockaddr* address, socklen_t* size) {
  return velmore_posix::GetSockName(socket, address, size);
}
static inline int setsockopt(int socket, int level, int option, const void* value, socklen_t size) {
  return velmore_posix::SetSockOpt(socket, level, option, value, size);
}
static inline int shutdown(int socket, int how) {
  return velmore_posix::Shutdown(socket, how);
}
static inline long long send(int socket, const void* bytes, std::size_t count, int flags) {
  return velmore_posix::Send(socket, bytes, count, flags);
}
static inline long long recv(int socket, void* bytes, std::size_t count, int flags) {
  return velmore_posix::Receive(socket, bytes, count, flags);
}
static inline long long sendto(int, const void*, std::size_t, int, const sockaddr*, socklen_t) {
  return -1;
}
static inline long long recvfrom(int, void*, std::size_t, int, sockaddr*, socklen_t*) {
  return -1;
}
