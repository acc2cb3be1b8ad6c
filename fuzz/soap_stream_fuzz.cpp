// A stream of envelopes from a hostile server, cut anywhere: after every piece the cutter must give what the plain rule
// gives. The first byte says how the rest is cut.

#include <cstdlib>

#include "platform/soap/uVqSOAPStreamCutter.h"
#include "tests/soap/StreamCutterReference.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  std::uint32_t random = data[0];
  const std::string_view stream(reinterpret_cast<const char*>(data) + 1, size - 1);
  velmore::TVqSOAPStreamCutter cutter;
  std::string plain;
  for (std::size_t at = 0; at < stream.size();) {
    random = random * 1664525u + 1013904223u;
    const std::size_t longest = data[0] % 2 ? 3 : 64;
    const std::string_view piece = stream.substr(at, 1 + (random >> 16) % longest);
    at += piece.size();
    plain += piece;
    cutter.Add(piece);
    if (cutter.Take() != CutPlainly(plain)) std::abort();
    if (cutter.Held() > plain.size()) std::abort();
  }
  for (;;) {
    const std::optional<std::string> expected = CutPlainly(plain);
    if (cutter.Take() != expected) std::abort();
    if (!expected) return 0;
  }
}
