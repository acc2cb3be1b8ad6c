#pragma once

// Work done in other processes: several at once, or without the rights of the administrator.

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <exception>
#include <functional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

/// A process of its own, forked from this one. The work's result, or 99 after an exception, is its exit code.
class ChildProcess {
 public:
  explicit ChildProcess(const std::function<int()>& work) {
    std::fflush(nullptr);
    FPid = ::fork();
    if (FPid < 0) throw std::runtime_error("no process for a test");
    if (FPid > 0) return;
    int code = 99;
    try {
      code = work();
    } catch (const std::exception& failure) {
      std::fprintf(stderr, "in a child process: %s\n", failure.what());
    }
    ::_exit(code);
  }
  ~ChildProcess() {
    if (FPid > 0) Wait();
  }
  ChildProcess(ChildProcess&& other) noexcept : FPid(std::exchange(other.FPid, 0)) {}
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  int Wait() {
    int status = 0;
    ::waitpid(FPid, &status, 0);
    FPid = 0;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 100;
  }

 private:
  pid_t FPid;
};

/// Runs the work in a process that is not the administrator's, whoever runs the tests.
inline int RunUnprivileged(const std::function<int()>& work) {
  return ChildProcess([&] {
           if (::geteuid() == 0 && (::setgid(65534) != 0 || ::setuid(65534) != 0)) return 98;
           return work();
         })
      .Wait();
}

/// This test program anew, in a process of its own: a fork beside threads would have their locks. Its exit code.
/// The environment's lines ("TZ=UTC") come before those of this process.
inline int RunThisProgram(std::vector<std::string> arguments, std::vector<std::string> environment) {
  const auto pointers = [](std::vector<std::string>& texts) {
    std::vector<char*> result;
    for (std::string& text : texts) result.push_back(text.data());
    result.push_back(nullptr);
    return result;
  };
  arguments.insert(arguments.begin(), "this test program");
  // Where tests are dealt out to several runs, all of this one are meant.
  environment.insert(environment.end(), {"GTEST_TOTAL_SHARDS=1", "GTEST_SHARD_INDEX=0"});
  for (char** line = ::environ; *line != nullptr; ++line) environment.emplace_back(*line);
  pid_t pid = 0;
  if (::posix_spawn(&pid, "/proc/self/exe", nullptr, nullptr, pointers(arguments).data(),
                    pointers(environment).data()) != 0) {
    return 99;
  }
  int status = 0;
  ::waitpid(pid, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 100;
}
