#pragma once

// platform::DispatchRuntime: the host's side of Grand Central Dispatch (see Dispatch.h). On a
// device the main run loop drains the main queue; here the process's main thread does it by
// calling these functions: the test thread in tests, the command-line tool's main loop.
//
// These functions must be called on the main thread, and not from inside a main-queue block (the
// main queue never runs two blocks at once); otherwise they throw std::logic_error.
//
//   dispatch_async(worker, [] { dispatch_async(dispatch_get_main_queue(), [] { ... }); });
//   platform::DispatchRuntime::shared().runUntilIdle();  // both blocks have run

#include <cstddef>

namespace platform {

class DispatchRuntime {
 public:
  static DispatchRuntime& shared();

  // Runs the blocks on the main queue now, and those they enqueue there, until it is empty.
  // Returns how many ran. Does not wait for worker queues.
  std::size_t drainMainQueue();

  // Drains the main queue, waits (without polling) for worker blocks, and repeats until no
  // worker block is running or queued and the main queue is empty. A block that never finishes
  // makes this wait forever: there is no time-out.
  void runUntilIdle();

  // Waits (without polling) until no worker block is running or queued, without running the
  // main queue: what the workers put there stays there. For a host that lets background work
  // settle before its main thread reacts. A worker block that waits for the main queue
  // (dispatch_sync) makes this wait forever.
  void waitForWorkers();

 private:
  DispatchRuntime() = default;
};

}  // namespace platform
