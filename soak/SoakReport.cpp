#include "SoakReport.h"

#include <cxxabi.h>
#include <dirent.h>
#include <malloc.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <typeinfo>

#include "platform/common/uVqClasses.h"
#include "platform/common/uVqSysUtils.h"
#include "tests/support/ServerFailures.h"

#ifdef __SANITIZE_ADDRESS__
extern "C" std::size_t __sanitizer_get_current_allocated_bytes();  // its header is not installed everywhere
#endif

namespace soak {
namespace {

constexpr std::size_t kTexts = 500;  // kept at most, so that the report itself does not grow

std::string ClassOf(const std::exception& failure) {
  int status = 0;
  const std::unique_ptr<char, void (*)(void*)> name(
      abi::__cxa_demangle(typeid(failure).name(), nullptr, nullptr, &status), std::free);
  std::string text = status == 0 ? name.get() : typeid(failure).name();
  // What std::throw_with_nested makes is the class that it was given, and more.
  for (const std::string before : {"std::_Nested_exception<", "velmore::"})
    if (text.starts_with(before)) text.erase(0, before.size());
  if (text.ends_with('>')) text.pop_back();
  return text;
}

std::string WithoutNumbers(const std::string& text) {
  std::string plain;
  for (const char c : text.substr(0, 160)) {
    const bool digit = c >= '0' && c <= '9';
    if (!digit)
      plain += c;
    else if (plain.empty() || plain.back() != '#')
      plain += '#';
  }
  return plain;
}

}  // namespace

void Report::Succeeded(const std::string& job) {
  const std::lock_guard lock(FMutex);
  ++FJobs[job].Successes;
}

void Report::Failed(const std::string& job, const std::exception& failure) {
  const std::string name = ClassOf(failure);
  const std::lock_guard lock(FMutex);
  ++FJobs[job].Failures[name];
  const std::string text = name + ": " + WithoutNumbers(failure.what());
  if (FTexts.size() < kTexts || FTexts.contains(text)) {
    auto& [count, example] = FTexts[text];
    if (++count == 1) example = job + ": " + failure.what();
  }
  if (!velmore::testing::IsDocumentedOfServers(failure)) ++FBroken[job + " raised " + text];
}

void Report::Broken(const std::string& rule) {
  const std::lock_guard lock(FMutex);
  ++FBroken[rule];
}

std::uint64_t Report::Successes(const std::string& job) const {
  const std::lock_guard lock(FMutex);
  const auto found = FJobs.find(job);
  return found == FJobs.end() ? 0 : found->second.Successes;
}

std::uint64_t Report::Failures() const {
  const std::lock_guard lock(FMutex);
  std::uint64_t all = 0;
  for (const auto& [job, outcomes] : FJobs)
    for (const auto& [name, count] : outcomes.Failures) all += count;
  return all;
}

bool Report::Clean() const {
  const std::lock_guard lock(FMutex);
  return FBroken.empty();
}

void Report::Print(bool verbose) const {
  const std::lock_guard lock(FMutex);
  std::map<std::string, std::uint64_t> classes;
  std::uint64_t successes = 0, failures = 0;
  std::printf("\n%-16s %10s %10s   by class\n", "job", "succeeded", "failed");
  for (const auto& [job, outcomes] : FJobs) {
    std::uint64_t failed = 0;
    std::string list;
    for (const auto& [name, count] : outcomes.Failures) {
      failed += count;
      classes[name] += count;
      list += (list.empty() ? "" : ", ") + name + " " + std::to_string(count);
    }
    successes += outcomes.Successes;
    failures += failed;
    std::printf("%-16s %10llu %10llu   %s\n", job.c_str(), static_cast<unsigned long long>(outcomes.Successes),
                static_cast<unsigned long long>(failed), list.c_str());
  }
  std::printf("%-16s %10llu %10llu\n\nfailures by class\n", "all", static_cast<unsigned long long>(successes),
              static_cast<unsigned long long>(failures));
  for (const auto& [name, count] : classes)
    std::printf("%10llu  %s\n", static_cast<unsigned long long>(count), name.c_str());
  if (verbose) {
    std::printf("\nfailures by text, with an example\n");
    for (const auto& [text, what] : FTexts)
      std::printf("%10llu  %s\n            %s\n", static_cast<unsigned long long>(what.first), text.c_str(),
                  what.second.c_str());
  }
  if (!FBroken.empty()) std::printf("\nBROKEN RULES\n");
  for (const auto& [rule, count] : FBroken)
    std::printf("%10llu  %s\n", static_cast<unsigned long long>(count), rule.c_str());
}

Holdings TakeStock() {
  Holdings held;
#ifdef __SANITIZE_ADDRESS__
  held.Heap = ::__sanitizer_get_current_allocated_bytes();
#else
  ::malloc_trim(0);
  held.Heap = ::mallinfo2().uordblks + ::mallinfo2().hblkhd;
#endif
  if (std::FILE* const file = std::fopen("/proc/self/statm", "r")) {
    unsigned long size = 0, resident = 0;
    if (std::fscanf(file, "%lu %lu", &size, &resident) == 2)
      held.Resident = resident * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
    std::fclose(file);
  }
  const auto entries = [](const char* folder) {
    int count = 0;
    if (DIR* const list = ::opendir(folder)) {
      while (::readdir(list) != nullptr) ++count;
      ::closedir(list);
    }
    return count - 2;  // "." and ".."
  };
  held.Descriptors = entries("/proc/self/fd") - 1;  // the one that counts
  held.Threads = entries("/proc/self/task");
  held.Objects = velmore::VqLiveObjectCount();
  return held;
}

}  // namespace soak
