#include "programs/velmore-mail/Progress.h"

#include <unistd.h>

#include <algorithm>
#include <iostream>

#include "programs/velmore-mail/Text.h"

namespace mail {

using namespace std::chrono_literals;

Progress::Progress(std::uint64_t total, bool shown) : total_(total), shown_(shown) {
  Draw(true);
}

void Progress::End() {
  Draw(true);
  if (shown_) std::cerr << std::endl;
  shown_ = false;
}

bool Progress::OnTerminal() {
  return ::isatty(STDERR_FILENO) == 1;
}

void Progress::Step(std::uint64_t bytes) {
  ++done_;
  if (bytes > 0) ++moved_;
  bytes_ += bytes;
  Draw(done_ == total_);
}

void Progress::Say(const std::string& line) {
  // The bar is longer than most lines: what would stay of it is wiped out.
  std::cerr << (shown_ ? "\r\x1b[K" : "") << line << std::endl;
  Draw(true);
}

void Progress::Draw(bool anyway) {
  const auto now = std::chrono::steady_clock::now();
  if (!shown_ || (!anyway && now - drawn_ < 100ms)) return;
  drawn_ = now;
  constexpr std::size_t kWidth = 30;
  const std::size_t full = total_ == 0 ? 0 : static_cast<std::size_t>(std::min(done_, total_) * kWidth / total_);
  std::cerr << "\r[" << std::string(full, '#') << std::string(kWidth - full, '.') << "] " << done_ << " of " << total_
            << ", " << SizeText(bytes_);
  // What was there already took no time, so the pace is that of what was moved.
  if (moved_ > 0 && done_ < total_) {
    const double seconds = std::chrono::duration<double>(now - begun_).count();
    std::cerr << ", "
              << static_cast<std::uint64_t>(
                     seconds / static_cast<double>(moved_) * static_cast<double>(total_ - done_) + 0.5)
              << " s left";
  }
  std::cerr << "\x1b[K" << std::flush;
}

}  // namespace mail
