// Base64 of an attachment: encoding and decoding beside OpenSSL's EVP_EncodeBlock and EVP_DecodeBlock. Ends in failure
// when ours is not twice as fast.

#include <openssl/evp.h>

#include <cstdio>
#include <random>

#include "bench/BestTimes.h"
#include "platform/common/uVqBase64_p.h"
#include "platform/common/uVqNetEncoding.h"

namespace {

constexpr std::size_t kBytes = 3 << 20;

const std::string& Bytes() {
  static const std::string bytes = [] {
    std::mt19937 random(1);
    std::string made(kBytes, '\0');
    for (char& byte : made) byte = static_cast<char>(random());
    return made;
  }();
  return bytes;
}

const std::string& Text() {
  static const std::string text = velmore::VqBase64Encode(Bytes());
  return text;
}

std::string Lines() {
  std::string lines;
  for (std::size_t i = 0; i < Text().size(); i += 76) lines += Text().substr(i, 76) + "\r\n";
  return lines;
}

unsigned char* Unsigned(std::string& text) {
  return reinterpret_cast<unsigned char*>(text.data());
}
const unsigned char* Unsigned(const std::string& text) {
  return reinterpret_cast<const unsigned char*>(text.data());
}

void EncodeOurs(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(velmore::VqBase64Encode(Bytes()));
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kBytes));
}
BENCHMARK(EncodeOurs)->Name("encode/ours");

void EncodeFloor(benchmark::State& state) {
  for (auto _ : state) {
    std::string text(Text().size() + 1, '\0');
    EVP_EncodeBlock(Unsigned(text), Unsigned(Bytes()), static_cast<int>(kBytes));
    benchmark::DoNotOptimize(text);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kBytes));
}
BENCHMARK(EncodeFloor)->Name("encode/floor");

void DecodeOurs(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(velmore::VqBase64Decode(Text()));
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kBytes));
}
BENCHMARK(DecodeOurs)->Name("decode/ours");

void DecodeFloor(benchmark::State& state) {
  for (auto _ : state) {
    std::string bytes(kBytes, '\0');
    EVP_DecodeBlock(Unsigned(bytes), Unsigned(Text()), static_cast<int>(Text().size()));
    benchmark::DoNotOptimize(bytes);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kBytes));
}
BENCHMARK(DecodeFloor)->Name("decode/floor");

void DecodeLines(benchmark::State& state) {
  const std::string lines = Lines();
  for (auto _ : state) benchmark::DoNotOptimize(velmore::VqBase64Decode(lines));
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kBytes));
}
BENCHMARK(DecodeLines)->Name("decode lines of 76/ours");

void DecodeStream(benchmark::State& state) {
  velmore::TVqMemoryStream target;
  for (auto _ : state) {
    target.SetPosition(0);
    velmore::VqBase64Decode(Text(), target);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kBytes));
}
BENCHMARK(DecodeStream)->Name("decode into a stream/ours");

void EncodeStream(benchmark::State& state) {
  velmore::TVqMemoryStream source(Bytes());
  for (auto _ : state) {
    source.SetPosition(0);
    benchmark::DoNotOptimize(velmore::VqBase64Encode(source));
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kBytes));
}
BENCHMARK(EncodeStream)->Name("encode from a stream/ours");

}  // namespace

int main(int argc, char** argv) {
  for (const velmore::TVqBase64Kernel& kernel : velmore::VqBase64Kernels()) {
    const std::string name = std::string("kernel ") + kernel.Name;
    benchmark::RegisterBenchmark((name + "/encode").c_str(), [&kernel](benchmark::State& state) {
      std::string text(Text().size(), '\0');
      for (auto _ : state) kernel.Encode(Unsigned(Bytes()), kBytes, text.data());
      state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kBytes));
    });
    benchmark::RegisterBenchmark((name + "/decode").c_str(), [&kernel](benchmark::State& state) {
      std::string bytes(kBytes, '\0');
      for (auto _ : state) kernel.Decode(Text().data(), Text().size(), Unsigned(bytes));
      state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kBytes));
    });
  }
  benchmark::Initialize(&argc, argv);
  TBestTimes reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  bool fast = true;
  for (const char* job : {"encode", "decode"}) {
    const auto ours = reporter.Best.find(std::string(job) + "/ours");
    const auto floor = reporter.Best.find(std::string(job) + "/floor");
    if (ours == reporter.Best.end() || floor == reporter.Best.end()) continue;  // filtered out
    const double ratio = floor->second / ours->second;
    std::printf("%s: %.1f times as fast as the floor (wanted: 2)\n", job, ratio);
    fast = fast && ratio >= 2;
  }
  return fast ? 0 : 1;
}
