#pragma once

#include <unistd.h>

// Windows has no processes of this kind: what would make one is a test that the list of skipped ones names.

#include <stdexcept>

#include <sys/types.h>

inline pid_t fork() {
  throw std::runtime_error("Windows does not fork");
}
inline pid_t waitpid(pid_t, int*, int) {
  return -1;
}
constexpr bool WIFEXITED(int) {
  return false;
}
constexpr int WEXITSTATUS(int) {
  return -1;
}
constexpr bool WIFSIGNALED(int) {
  return false;
}
constexpr int WTERMSIG(int) {
  return 0;
}
constexpr int WNOHANG = 1;
