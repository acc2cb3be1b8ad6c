// Several threads protect and read while the key comes into being and the folders are replaced.

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "platform/crypt/uVqCNG.h"
#include "tests/support/TemporaryFolder.h"

namespace velmore {
namespace {

TEST(DataProtectionThreads, AllGetTheSameKey) {
  const TVqKeyFolders before = VqGetKeyFolders();
  for (int round = 0; round < 10; ++round) {
    const TemporaryFolder folder;
    const TVqKeyFolders folders{folder.Path("keys"), folder.Path("keys")};
    VqSetKeyFolders(folders);
    std::vector<TVqBytes> blobs(4);
    std::vector<std::thread> threads;
    for (TVqBytes& blob : blobs) {
      threads.emplace_back([&blob] { blob = TVqDataProtection().Encrypt(TVqBytes(string("secret")), false); });
    }
    for (int n = 0; n < 20; ++n) VqSetKeyFolders(folders);
    for (std::thread& thread : threads) thread.join();
    for (const TVqBytes& blob : blobs) EXPECT_EQ(TVqDataProtection().Decrypt(blob).AsString(), "secret");
  }
  VqSetKeyFolders(before);
}

}  // namespace
}  // namespace velmore
