#include "platform/common/uVqMainThread.h"

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <mutex>

#include "platform/common/uVqSysUtils.h"

namespace velmore {
namespace {

struct TQueue {
  std::mutex JobsMutex;  // protects Jobs
  std::condition_variable JobsCame;
  std::deque<std::function<void()>> Jobs;

  std::mutex WakeUpMutex;  // protects WakeUp, also while it runs
  std::function<void()> WakeUp;
};

TQueue& Queue() {
  // Never destroyed: threads may still queue while the process ends.
  static TQueue& queue = *new TQueue;
  return queue;
}

}  // namespace

void VqQueueToMainThread(std::function<void()> AJob) {
  if (!AJob) throw EVqException("An empty job cannot be queued.");
  TQueue& queue = Queue();
  {
    const std::lock_guard lock(queue.JobsMutex);
    queue.Jobs.push_back(std::move(AJob));
  }
  queue.JobsCame.notify_all();
  const std::lock_guard lock(queue.WakeUpMutex);
  try {
    if (queue.WakeUp) queue.WakeUp();
  } catch (...) {
    // The job is queued; whoever queued it cannot help a loop that fails to wake up.
  }
}

std::int32_t VqProcessMainThreadQueue(std::chrono::milliseconds ATimeout) {
  TQueue& queue = Queue();
  std::unique_lock lock(queue.JobsMutex);
  const auto came = [&] { return !queue.Jobs.empty(); };
  if (ATimeout.count() < 0) {
    queue.JobsCame.wait(lock, came);
  } else if (ATimeout.count() > 0) {
    // A day is as good as any longer time here and does not overflow the clock.
    queue.JobsCame.wait_for(lock, std::min<std::chrono::milliseconds>(ATimeout, std::chrono::hours(24)), came);
  }
  std::int32_t done = 0;
  for (std::size_t left = queue.Jobs.size(); left > 0 && came(); --left) {
    {
      const std::function<void()> job = std::move(queue.Jobs.front());
      queue.Jobs.pop_front();
      lock.unlock();
      job();
      ++done;
    }  // what the job held goes before the lock is taken again
    lock.lock();
  }
  return done;
}

void VqSetMainThreadWakeUp(std::function<void()> AWakeUp) {
  TQueue& queue = Queue();
  const std::lock_guard lock(queue.WakeUpMutex);
  queue.WakeUp.swap(AWakeUp);
}

std::int32_t VqMainThreadQueueLength() {
  TQueue& queue = Queue();
  const std::lock_guard lock(queue.JobsMutex);
  return static_cast<std::int32_t>(queue.Jobs.size());
}

void VqClearMainThreadQueue() {
  TQueue& queue = Queue();
  std::deque<std::function<void()>> jobs;  // goes last: what the jobs hold may queue others when it goes
  const std::lock_guard lock(queue.JobsMutex);
  jobs.swap(queue.Jobs);
}

}  // namespace velmore
