#pragma once

/// Jobs that run later on the application's main thread: the bridge from the threads of the library to an application
/// that wants to hear of things on its own thread.
///
///     // a program with a loop of its own                  // a program with a window
///     while (running)                                      VqSetMainThreadWakeUp([] { PostMessageToMyWindow(); });
///       VqProcessMainThreadQueue(100ms);                   ... on that message: VqProcessMainThreadQueue();
///
/// The main thread is whichever thread processes the queue. An application that never does it lets the jobs pile up.

#include <chrono>

#include "platform/common/uVqTypes.h"

namespace velmore {

/// Puts a job after those that wait and returns at once. Jobs of one thread run in the order in which it queued them.
/// May be called from any thread, by jobs too. What the job holds lives until it has run.
void VqQueueToMainThread(std::function<void()> AJob);

/// Runs the jobs that wait, in their order, and gives their number. When none waits, waits for the first one as long as
/// `ATimeout` says; a negative one waits without end. Jobs that are queued while it runs are left for the next call, so
/// that this one returns. An exception of a job leaves through here: the job is done, the others go on waiting. To be
/// called from one thread, the main one; a job may call it again, as a modal dialog does.
std::int32_t VqProcessMainThreadQueue(std::chrono::milliseconds ATimeout = std::chrono::milliseconds(0));

/// Sets what is called after each job that is queued, on the thread that queues it: post a message to the main loop
/// there, nothing more. It must not call the functions of this file; what it raises is lost. When this returns, the
/// earlier one is not running any more and will not be called again. An empty function switches it off.
void VqSetMainThreadWakeUp(std::function<void()> AWakeUp);

/// Number of jobs that wait.
std::int32_t VqMainThreadQueueLength();
/// Forgets the jobs that wait, without running them.
void VqClearMainThreadQueue();

}  // namespace velmore
