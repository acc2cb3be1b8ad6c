#pragma once

// A simulator in a process of its own, so that what the client holds can be told from what the server holds. While it
// is rough there is always one fault waiting for a request.

#include <sys/types.h>

#include <cstdint>
#include <cstdio>
#include <map>
#include <string>

namespace soak {

constexpr int kUsers = 8;
/// Users are called "user0" to "user7", and "service", who may act as any of them.
std::string UserName(int number);
std::string Address(int number);
constexpr const char* kPassword = "soak";

class SoakServer {
 public:
  struct Summary {
    std::map<std::string, std::uint64_t> Requests;  // by operation
    std::map<std::string, std::uint64_t> Faults;    // by kind
    bool Clean = false;                             // ended by itself, with exit code 0
  };

  /// Starts the process. The calling process must have one thread only.
  SoakServer(std::string version, unsigned seed);
  ~SoakServer();
  SoakServer(const SoakServer&) = delete;
  SoakServer& operator=(const SoakServer&) = delete;

  const std::string& Version() const { return FVersion; }
  const std::string& HttpUrl() const { return FHttpUrl; }
  const std::string& HttpsUrl() const { return FHttpsUrl; }
  const std::string& CAFile() const { return FCAFile; }
  std::size_t ResidentBytes() const;

  /// Starts with the faults.
  void BeRough() { Tell("rough"); }
  /// No more faults; all is as it should be when this returns.
  void BeCalm() { Tell("calm"); }
  Summary Stop();

 private:
  std::string Read();
  void Tell(const std::string& word);

  std::string FVersion, FHttpUrl, FHttpsUrl, FCAFile;
  pid_t FProcess = -1;
  std::FILE* FFrom = nullptr;
  std::FILE* FTo = nullptr;
};

}  // namespace soak
