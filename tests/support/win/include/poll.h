#pragma once

#include "tests/support/win/posix_sockets.h"

struct pollfd {
  int fd;
  short events;
  short revents;
};
constexpr short POLLIN = 1, POLLRDHUP = 0x2000;

/// Of one socket: whether its peer has gone, or (POLLIN) whether there is something to read.
static inline int poll(pollfd* sockets, unsigned long, int milliseconds) {
  return velmore_posix::Poll(sockets->fd, (sockets->events & POLLIN) != 0, milliseconds);
}
