#pragma once

// What the tests' own code takes from POSIX, for their programs on Windows. Included before everything else in each of
// them; windows.h is not, so that its macros leave the names of the library alone. The library itself never sees this.

#include <pthread.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/types.h>

#include <cstddef>
#include <cstdint>

extern "C" {
int setenv(const char* name, const char* value, int overwrite);
int unsetenv(const char* name);
char* mkdtemp(char* pattern);
int mkstemp(char* pattern);
}

// Signals do not end programs there.
using sigset_t = _sigset_t;
#ifndef SIG_BLOCK
constexpr int SIG_BLOCK = 0;
#endif
inline int sigemptyset(sigset_t*) {
  return 0;
}
inline int sigaddset(sigset_t*, int) {
  return 0;
}
#ifndef pthread_sigmask
inline int pthread_sigmask(int, const sigset_t*, sigset_t*) {
  return 0;
}
#endif
// A name that is a macro there cannot be asked for with "::".
#undef environ
inline char**& environ = _environ;
