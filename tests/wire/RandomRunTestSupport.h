#pragma once

// How long a test by chance runs, and with which seeds: a few rounds as one of the tests, for VELMORE_SECONDS as a
// search. VELMORE_SEED plays one round again.

#include <chrono>
#include <cstdlib>
#include <optional>
#include <string>

namespace velmore::testing {

/// Texts that markup, blanks and encodings are easily lost in.
inline constexpr const char* kOddTexts[] = {"plain",
                                            "Gr\xC3\xBC\xC3\x9F"
                                            "e & <tags>",
                                            "  blanks  inside  ",
                                            "\xF0\x9F\x98\x80 \xE2\x82\xAC",
                                            "\"quotes\" 'and' ]]>",
                                            "line\none",
                                            "&amp; &#10;",
                                            "</t:Subject><x/>"};

class TRandomRun {
 public:
  /// So many rounds when nothing else is told.
  explicit TRandomRun(int rounds = 3) : FRounds(rounds) {
    if (const char* seed = std::getenv("VELMORE_SEED")) {
      FSeed = static_cast<unsigned>(std::strtoul(seed, nullptr, 10));
      FRounds = 1;
    }
    if (const char* seconds = std::getenv("VELMORE_SECONDS"))
      FEnd = std::chrono::steady_clock::now() + std::chrono::seconds(std::strtol(seconds, nullptr, 10));
  }

  std::string Name() const { return "seeds from " + std::to_string(FSeed); }
  /// Of the round that begins.
  unsigned NextSeed() {
    --FRounds;
    return FSeed++;
  }
  bool GoesOn() const { return FEnd ? std::chrono::steady_clock::now() < *FEnd : FRounds > 0; }

 private:
  unsigned FSeed = 20261122;
  int FRounds;
  std::optional<std::chrono::steady_clock::time_point> FEnd;
};

}  // namespace velmore::testing
