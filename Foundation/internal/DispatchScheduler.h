#pragma once

// The machinery behind Dispatch.h: the queue objects, the main queue and a pool of worker
// threads. Only Dispatch.cpp and DispatchRuntime.cpp use it.
//
// Thread-safe. One scheduler per process, created on first use and never freed; at process exit
// an object with static storage duration shuts it down: blocks not yet started are dropped,
// running ones finish, the workers are joined, and later submissions are dropped.

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "Foundation/Dispatch.h"

struct dispatch_queue_s {
  enum class Kind { main, serial, concurrent };

  dispatch_queue_s(std::string queueLabel, Kind queueKind)
      : label(std::move(queueLabel)), kind(queueKind) {}

  const std::string label;
  const Kind kind;

  // Both guarded by the scheduler's mutex_.
  std::deque<dispatch_block_t> pending;
  // Worker queues: listed in the ready list, or (serial) one of its blocks is running.
  bool scheduled = false;
};

namespace platform::internal {

class DispatchScheduler {
 public:
  static DispatchScheduler& shared();

  const dispatch_queue_t& mainQueue() const { return main_; }

  // Appends the block to the queue. Returns false (and drops the block) after shutdown.
  bool submit(const dispatch_queue_t& queue, dispatch_block_t block);

  std::size_t drainMainQueue();
  void runUntilIdle();
  void waitForWorkers();

  // Whether the calling thread is running a block of the queue (possibly further out, when
  // blocks wait in dispatch_sync).
  static bool isRunningOn(const dispatch_queue_s* queue);

  void shutdown();

 private:
  DispatchScheduler();

  void requireMainThread(const char* function) const;
  // Under mutex_: lists a worker queue as ready and makes sure a worker will take it.
  void makeReady(const dispatch_queue_t& queue);
  void workerLoop();
  static void run(dispatch_queue_s* queue, dispatch_block_t& block);

  // Upper bound on worker threads. Blocks that wait (dispatch_sync, a lock) hold a worker, so
  // the pool grows on demand rather than being sized to the cores.
  static constexpr std::size_t kMaxWorkers = 64;

  const dispatch_queue_t main_;

  // guards every queue's pending and scheduled, ready_, outstanding_, idleWorkers_, shutdown_
  // and workers_
  std::mutex mutex_;
  std::condition_variable workAvailable_;  // workers wait for ready_ or shutdown_
  std::condition_variable progress_;       // the main thread waits for main work or idle workers
  std::deque<dispatch_queue_t> ready_;     // worker queues with a block to start
  std::size_t outstanding_ = 0;            // worker-queue blocks submitted and not finished
  std::size_t idleWorkers_ = 0;
  bool shutdown_ = false;
  std::vector<std::thread> workers_;

  // Only the main thread touches this.
  bool mainDraining_ = false;
};

}  // namespace platform::internal
