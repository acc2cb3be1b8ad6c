#pragma once

#include <unistd.h>

// Windows has no limits of this kind: what would set one is a test that the list of skipped ones names.

using rlim_t = unsigned long long;
struct rlimit {
  rlim_t rlim_cur, rlim_max;
};
constexpr int RLIMIT_NOFILE = 7, RLIMIT_FSIZE = 1, RLIMIT_AS = 9, RLIMIT_CORE = 4;
constexpr rlim_t RLIM_INFINITY = ~0ULL;

inline int getrlimit(int, rlimit*) {
  return -1;
}
inline int setrlimit(int, const rlimit*) {
  return -1;
}
