#pragma once

// A bar that shows how far a long piece of work has come, where somebody sees it.

#include <chrono>
#include <cstdint>
#include <string>

namespace mail {

/// Writes "[#####.....] 12 of 25, 3.2 MB, 4 s left" to standard error, over itself, while that is a terminal (or when
/// it is told to).
class Progress {
 public:
  /// `total` may be 0 when nobody knows it.
  Progress(std::uint64_t total, bool shown);
  ~Progress() { End(); }
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  /// One more is done; `bytes` were moved for it, none for what was there already.
  void Step(std::uint64_t bytes);
  /// Writes a line of its own without tearing the bar apart.
  void Say(const std::string& line);
  /// Ends the bar's line; nothing is drawn from then on.
  void End();
  std::uint64_t Bytes() const { return bytes_; }

  /// Whether standard error is a terminal.
  static bool OnTerminal();

 private:
  void Draw(bool anyway);

  std::uint64_t total_, done_ = 0, moved_ = 0, bytes_ = 0;
  bool shown_;
  std::chrono::steady_clock::time_point begun_ = std::chrono::steady_clock::now(), drawn_{};
};

}  // namespace mail
