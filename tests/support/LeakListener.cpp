// Holds the number of live library objects after each test against the number before it. Weak, so that programs that
// do not link the library (the simulator's tests) can carry it too.

#include <gtest/gtest.h>

#include <cstdint>

namespace velmore {
[[gnu::weak]] std::int64_t VqLiveObjectCount() noexcept;
}

namespace {

class LeakListener : public testing::EmptyTestEventListener {
  void OnTestStart(const testing::TestInfo&) override { FBefore = Count(); }
  void OnTestEnd(const testing::TestInfo& info) override {
    if (info.result()->Passed()) {
      EXPECT_EQ(Count(), FBefore) << "objects that outlived the test";
    }
  }
  static std::int64_t Count() { return velmore::VqLiveObjectCount ? velmore::VqLiveObjectCount() : 0; }

  std::int64_t FBefore = 0;
};

const bool Installed = [] {
  testing::UnitTest::GetInstance()->listeners().Append(new LeakListener);
  return true;
}();

}  // namespace

#ifdef __SANITIZE_ADDRESS__
// Where gss-ntlmssp is installed, GSSAPI asks it for credentials too, and it loses a name each time.
extern "C" const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions() {
  return "leak:gssntlmssp.so\n";
}
#endif
