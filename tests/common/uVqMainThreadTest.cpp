#include "platform/common/uVqMainThread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>

#include "platform/common/uVqSysUtils.h"

namespace velmore {
namespace {

using namespace std::chrono_literals;

class MainThread : public testing::Test {
 protected:
  ~MainThread() override {
    VqSetMainThreadWakeUp({});
    VqClearMainThreadQueue();
  }
};

TEST_F(MainThread, RunsJobsInTheirOrderOnTheThreadThatProcesses) {
  std::vector<int> order;
  std::thread::id where;
  std::thread([&] {
    for (int i = 0; i < 3; ++i) {
      VqQueueToMainThread([&, i] {
        order.push_back(i);
        where = std::this_thread::get_id();
      });
    }
  }).join();
  EXPECT_TRUE(order.empty());
  EXPECT_EQ(VqMainThreadQueueLength(), 3);
  EXPECT_EQ(VqProcessMainThreadQueue(), 3);
  EXPECT_EQ(order, (std::vector<int>{0, 1, 2}));
  EXPECT_EQ(where, std::this_thread::get_id());
  EXPECT_EQ(VqProcessMainThreadQueue(), 0);
  EXPECT_EQ(VqMainThreadQueueLength(), 0);
}

TEST_F(MainThread, WaitsForTheFirstJobAndNoLonger) {
  std::thread later([] { VqQueueToMainThread([] {}); });
  EXPECT_EQ(VqProcessMainThreadQueue(60s), 1);
  later.join();
  std::thread again([] { VqQueueToMainThread([] {}); });
  EXPECT_EQ(VqProcessMainThreadQueue(-1ms), 1);
  again.join();
  std::thread longest([] { VqQueueToMainThread([] {}); });
  EXPECT_EQ(VqProcessMainThreadQueue(std::chrono::milliseconds::max()), 1);
  longest.join();
}

TEST_F(MainThread, GivesUpWhenTheTimeIsOver) {
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(VqProcessMainThreadQueue(20ms), 0);
  EXPECT_GE(std::chrono::steady_clock::now() - start, 20ms);
}

TEST_F(MainThread, JobsThatQueueJobsLeaveThemForTheNextCall) {
  int runs = 0;
  std::function<void()> again = [&] {
    ++runs;
    VqQueueToMainThread(again);
  };
  VqQueueToMainThread(again);
  EXPECT_EQ(VqProcessMainThreadQueue(), 1);
  EXPECT_EQ(VqProcessMainThreadQueue(1s), 1);
  EXPECT_EQ(runs, 2);
}

TEST_F(MainThread, AnExceptionLeavesTheOthersWaiting) {
  std::vector<int> order;
  VqQueueToMainThread([&] { order.push_back(1); });
  VqQueueToMainThread([] { throw EVqException("a handler failed"); });
  VqQueueToMainThread([&] { order.push_back(3); });
  try {
    VqProcessMainThreadQueue();
    FAIL();
  } catch (const EVqException& error) {
    EXPECT_STREQ(error.what(), "a handler failed");
  }
  EXPECT_EQ(order, std::vector<int>{1});
  EXPECT_EQ(VqProcessMainThreadQueue(), 1);
  EXPECT_EQ(order, (std::vector<int>{1, 3}));
}

TEST_F(MainThread, AJobMayProcessTheQueueItself) {
  std::vector<int> order;
  VqQueueToMainThread([&] {
    order.push_back(1);
    EXPECT_EQ(VqProcessMainThreadQueue(), 2);  // as a modal dialog does
    order.push_back(4);
  });
  VqQueueToMainThread([&] { order.push_back(2); });
  VqQueueToMainThread([&] { order.push_back(3); });
  EXPECT_EQ(VqProcessMainThreadQueue(), 1);
  EXPECT_EQ(order, (std::vector<int>{1, 2, 3, 4}));
}

TEST_F(MainThread, WakesUpTheLoopForEachJob) {
  std::atomic<int> calls = 0;
  std::thread::id where;
  VqSetMainThreadWakeUp([&] {
    ++calls;
    where = std::this_thread::get_id();
  });
  std::thread::id queued;
  std::thread([&] {
    queued = std::this_thread::get_id();
    VqQueueToMainThread([] {});
    VqQueueToMainThread([] {});
  }).join();
  EXPECT_EQ(calls, 2);
  EXPECT_EQ(where, queued);
  VqSetMainThreadWakeUp({});
  VqQueueToMainThread([] {});
  EXPECT_EQ(calls, 2);
}

TEST_F(MainThread, AWakeUpThatFailsDoesNotHarmTheJob) {
  VqSetMainThreadWakeUp([] { throw EVqException("the window is gone"); });
  EXPECT_NO_THROW(VqQueueToMainThread([] {}));
  EXPECT_EQ(VqProcessMainThreadQueue(), 1);
}

TEST_F(MainThread, AReplacedWakeUpIsNotCalledAnyMore) {
  // What the first one refers to goes as soon as it is replaced: a sanitizer sees a late call.
  std::atomic<bool> stop = false;
  std::thread queueing([&] {
    while (!stop) VqQueueToMainThread([] {});
  });
  for (int i = 0; i < 200; ++i) {
    auto window = std::make_unique<std::atomic<int>>(0);
    VqSetMainThreadWakeUp([raw = window.get()] { ++*raw; });
    VqProcessMainThreadQueue();
    VqSetMainThreadWakeUp({});
  }
  stop = true;
  queueing.join();
}

TEST_F(MainThread, WhatAJobHoldsGoesWhenItHasRun) {
  auto held = std::make_shared<int>(1);
  VqQueueToMainThread([held] {});
  EXPECT_EQ(held.use_count(), 2);
  VqProcessMainThreadQueue();
  EXPECT_EQ(held.use_count(), 1);
  VqQueueToMainThread([held] {});
  VqClearMainThreadQueue();
  EXPECT_EQ(held.use_count(), 1);
  EXPECT_EQ(VqProcessMainThreadQueue(), 0);
}

TEST_F(MainThread, EmptyJobsAreRefused) {
  EXPECT_THROW(VqQueueToMainThread({}), EVqException);
  EXPECT_EQ(VqMainThreadQueueLength(), 0);
}

TEST_F(MainThread, KeepsTheOrderOfEachOfManyThreads) {
  constexpr int kThreads = 4, kJobs = 2000;
  std::vector<std::vector<int>> seen(kThreads);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&seen, t] {
      for (int i = 0; i < kJobs; ++i) {
        VqQueueToMainThread([&seen, t, i] { seen[static_cast<std::size_t>(t)].push_back(i); });
      }
    });
  }
  int done = 0;
  while (done < kThreads * kJobs) done += VqProcessMainThreadQueue(60s);
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(VqProcessMainThreadQueue(), 0);
  for (const std::vector<int>& jobs : seen) {
    ASSERT_EQ(jobs.size(), static_cast<std::size_t>(kJobs));
    EXPECT_TRUE(std::is_sorted(jobs.begin(), jobs.end()));
  }
}

}  // namespace
}  // namespace velmore
