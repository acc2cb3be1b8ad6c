// Look-ups of several threads while the functions behind them are replaced.

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "platform/os/uVqDns.h"
#include "tests/support/TestDnsServer.h"

namespace velmore {
namespace {

TEST(DnsThreads, LookUpsGoOnWhileTheFunctionsAreReplaced) {
  const TVqDnsFunctions own = {[](const std::string&, std::uint16_t, const TVqDnsOptions&, TVqDnsRecord*& records) {
                                 records = new TVqDnsRecord{nullptr, "a.test", 0, 0, 443};
                                 return kVqDnsFound;
                               },
                               [](TVqDnsRecord* records, std::int32_t) { delete records; }};
  VqSetDnsFunctions(own);
  std::atomic<int> found{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int n = 0; n < 200; ++n) found += VqLookUpService("_x._tcp.contoso.test").Status == kVqDnsFound;
    });
  }
  for (int n = 0; n < 200; ++n) VqSetDnsFunctions(own);
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(found, 800);
  VqSetDnsFunctions({});
}

TEST(DnsThreads, EachLookUpHasItsOwnEnd) {
  const SilentPort silent;
  std::stop_source sources[4];
  std::vector<std::thread> threads;
  std::atomic<int> cancelled{0};
  for (std::stop_source& source : sources) {
    threads.emplace_back([&] {
      TVqDnsOptions options;
      options.Servers = {silent.Address()};
      options.TimeOut = options.ServerTimeOut = 60000;
      options.Stop = source.get_token();
      cancelled += VqLookUpService("_x._tcp.contoso.test", options).Status == kVqDnsCancelled;
    });
  }
  for (std::stop_source& source : sources) source.request_stop();
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(cancelled, 4);
}

}  // namespace
}  // namespace velmore
