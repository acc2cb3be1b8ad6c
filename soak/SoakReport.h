#pragma once

// What came out: per job the successes and the failures by class, and every rule that was broken.

#include <cstdint>
#include <exception>
#include <map>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

namespace soak {

/// A job found something that no fault of the server explains.
class RuleBroken : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Every operation may be called from any thread.
class Report {
 public:
  void Succeeded(const std::string& job);
  /// Judges the exception: one that docs/errors.md does not have for such a case breaks a rule.
  void Failed(const std::string& job, const std::exception& failure);
  void Broken(const std::string& rule);

  std::uint64_t Successes(const std::string& job) const;
  std::uint64_t Failures() const;
  bool Clean() const;
  /// The tables. `verbose` adds a text of each kind of failure.
  void Print(bool verbose) const;

 private:
  struct Outcomes {
    std::uint64_t Successes = 0;
    std::map<std::string, std::uint64_t> Failures;  // by class
  };
  mutable std::mutex FMutex;  // protects all below
  std::map<std::string, Outcomes> FJobs;
  std::map<std::string, std::pair<std::uint64_t, std::string>> FTexts;  // "class: text without its numbers", an example
  std::map<std::string, std::uint64_t> FBroken;
};

/// What this process holds.
struct Holdings {
  std::size_t Heap = 0;      // bytes from the allocator
  std::size_t Resident = 0;  // bytes of memory
  int Descriptors = 0;
  int Threads = 0;
  std::int64_t Objects = 0;  // of the library
};
Holdings TakeStock();

}  // namespace soak
