#pragma once

// Runs programs: the simulator as a person starts it, and a browser.

#include <sys/types.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

namespace velmore::simulator::testing {

/// A folder for one test, gone afterwards.
class Folder {
 public:
  Folder();
  ~Folder();
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;
  std::string Path(const std::string& name = {}) const { return name.empty() ? path_ : path_ + "/" + name; }
  /// Writes a file and returns its path.
  std::string Write(const std::string& name, const std::string& content) const;

 private:
  std::string path_;
};

std::string ReadFile(const std::string& path);

/// A child process whose output is read. Killed by the destructor when it still runs.
class Program {
 public:
  explicit Program(const std::vector<std::string>& arguments);
  ~Program();
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  /// Reads until the output holds a text, or ends; true when it does.
  bool ReadUntil(const std::string& text, std::chrono::seconds patience = std::chrono::seconds(60));
  void Signal(int number);
  /// Waits for the end; the exit code, or -1 when a signal ended it or patience did.
  int Wait(std::chrono::seconds patience = std::chrono::seconds(60));
  const std::string& Output() const { return output_; }  // standard output and standard error together
  /// What stands behind a word at the begin of a line of the output: "HTTP".
  std::string Line(const std::string& word) const;

 private:
  bool ReadSome(std::chrono::steady_clock::time_point until);
  pid_t process_ = -1;
  int pipe_ = -1;
  std::string output_;
};

/// The simulator with these options; alice, bob and carol are there unless `users` is false.
std::vector<std::string> SimulatorProgram(std::vector<std::string> options, bool users = true);

}  // namespace velmore::simulator::testing
