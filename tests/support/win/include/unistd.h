#pragma once

#include_next <unistd.h>

#include <sys/stat.h>

#include <csignal>

// Signals, other users and special files: what needs them is a test that the list of skipped ones names.
#ifndef SIGPIPE
#define SIGPIPE 13
#endif
constexpr int SIGKILL = 9, SIGXFSZ = 25;

extern "C" int close(int number);
inline int geteuid() {
  return 1000;
}
inline int getuid() {
  return 1000;
}
inline int setuid(int) {
  return -1;
}
inline int setgid(int) {
  return -1;
}
inline int chown(const char*, int, int) {
  return -1;
}
inline int mkfifo(const char*, int) {
  return -1;
}
inline int pipe(int*) {
  return -1;
}
inline int kill(pid_t, int) {
  return -1;
}
