// The cutter of streams: one envelope of 10 MB in one piece, in pieces of a network's size and byte by byte, beside the
// floor, which is one look for the last closing tag over bytes that are all there.

#include <benchmark/benchmark.h>

#include <string>

#include "platform/soap/uVqSOAPStreamCutter.h"

namespace {

const std::string& Envelope() {
  static const std::string envelope = [] {
    std::string text =
        "<soap:Envelope "
        "xmlns:soap=\"http://schemas.xmlsoap.org/soap/envelope/\"><soap:Body><m:GetStreamingEventsResponse>";
    const std::string event =
        "<t:NewMailEvent><t:TimeStamp>2026-11-21T12:00:00.123456789Z</t:TimeStamp><t:ItemId "
        "Id=\"AAMkADRiMGE0YzQxLTNjYzEtNGU3/5pbQm9AAAAAAEMAAD=\"/>"
        "<t:ParentFolderId Id=\"AAMkADRiMGE0YzQxLTNjYzEtNGU3/5pbQm9AAAAAAEMAAD=\"/></t:NewMailEvent>";
    while (text.size() < 10'000'000) text += event;
    return text + "</m:GetStreamingEventsResponse></soap:Body></soap:Envelope>";
  }();
  return envelope;
}

void InPieces(benchmark::State& state) {
  const std::string_view envelope = Envelope();
  const auto size = static_cast<std::size_t>(state.range(0));
  for (auto _ : state) {
    velmore::TVqSOAPStreamCutter cutter;
    std::optional<std::string> taken;
    for (std::size_t at = 0; at < envelope.size(); at += size) {
      cutter.Add(envelope.substr(at, size));
      taken = cutter.Take();
    }
    if (!taken || taken->size() != envelope.size()) state.SkipWithError("not cut");
    benchmark::DoNotOptimize(taken);
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(envelope.size()));
}
BENCHMARK(InPieces)->Arg(1 << 30)->Arg(16384)->Arg(1400)->Arg(1)->Unit(benchmark::kMillisecond);

void Floor(benchmark::State& state) {
  const std::string_view envelope = Envelope();
  for (auto _ : state) {
    std::string copy(envelope);
    std::size_t tags = 0;
    for (std::size_t at = copy.find('<'); at != std::string::npos; at = copy.find('<', at + 1))
      tags += copy.compare(at, 7, "</soap:") == 0;
    benchmark::DoNotOptimize(tags);
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(envelope.size()));
}
BENCHMARK(Floor)->Unit(benchmark::kMillisecond);

}  // namespace
