#include "Foundation/internal/DispatchScheduler.h"

#include <algorithm>
#include <stdexcept>

#include "Foundation/NSThread.h"
#include "Foundation/Platform/PlatformEnvironment.h"

namespace platform::internal {

namespace {

// The queues whose blocks the calling thread is running, innermost last.
thread_local std::vector<const dispatch_queue_s*> tRunningQueues;

class RunningOn {
 public:
  explicit RunningOn(const dispatch_queue_s* queue) { tRunningQueues.push_back(queue); }
  ~RunningOn() { tRunningQueues.pop_back(); }
  RunningOn(const RunningOn&) = delete;
  RunningOn& operator=(const RunningOn&) = delete;
};

// Shuts the scheduler down during static destruction, so that no worker outlives main().
class ShutdownAtExit {
 public:
  explicit ShutdownAtExit(DispatchScheduler& scheduler) : scheduler_(scheduler) {}
  ~ShutdownAtExit() { scheduler_.shutdown(); }
  ShutdownAtExit(const ShutdownAtExit&) = delete;
  ShutdownAtExit& operator=(const ShutdownAtExit&) = delete;

 private:
  DispatchScheduler& scheduler_;
};

}  // namespace

DispatchScheduler& DispatchScheduler::shared() {
  // Never freed: queues held by objects destroyed after the shutdown may still be submitted to
  // (and drop their blocks) without touching a destroyed scheduler.
  static DispatchScheduler* const scheduler = new DispatchScheduler();
  static ShutdownAtExit shutdownAtExit(*scheduler);
  return *scheduler;
}

DispatchScheduler::DispatchScheduler()
    : main_(std::make_shared<dispatch_queue_s>("com.apple.main-thread",
                                               dispatch_queue_s::Kind::main)) {
  // Blocks read the clock; the environment must outlive the workers, so it is created first
  // and therefore destroyed after the shutdown.
  Environment::shared();
}

void DispatchScheduler::requireMainThread(const char* function) const {
  if (!NSThread::isMainThread()) {
    throw std::logic_error(std::string(function) + " must be called on the main thread");
  }
  if (mainDraining_) {
    throw std::logic_error(std::string(function) +
                           " called from a main-queue block: the main queue runs one block at a "
                           "time");
  }
}

bool DispatchScheduler::submit(const dispatch_queue_t& queue, dispatch_block_t block) {
  std::unique_lock lock(mutex_);
  if (shutdown_) {
    lock.unlock();  // the block's captures are released outside the lock
    return false;
  }
  queue->pending.push_back(std::move(block));
  if (queue->kind == dispatch_queue_s::Kind::main) {
    progress_.notify_all();
    return true;
  }
  ++outstanding_;
  if (!queue->scheduled) {
    queue->scheduled = true;
    makeReady(queue);
  }
  return true;
}

void DispatchScheduler::makeReady(const dispatch_queue_t& queue) {
  ready_.push_back(queue);
  if (ready_.size() > idleWorkers_ && workers_.size() < kMaxWorkers) {
    workers_.emplace_back([this] { workerLoop(); });
  } else {
    workAvailable_.notify_one();
  }
}

void DispatchScheduler::run(dispatch_queue_s* queue, dispatch_block_t& block) {
  RunningOn runningOn(queue);
  block();
}

void DispatchScheduler::workerLoop() {
  std::unique_lock lock(mutex_);
  for (;;) {
    ++idleWorkers_;
    workAvailable_.wait(lock, [this] { return shutdown_ || !ready_.empty(); });
    --idleWorkers_;
    if (shutdown_) return;

    dispatch_queue_t queue = std::move(ready_.front());
    ready_.pop_front();
    dispatch_block_t block = std::move(queue->pending.front());
    queue->pending.pop_front();
    const bool serial = queue->kind == dispatch_queue_s::Kind::serial;
    if (!serial) {
      // A concurrent queue stays ready while it has blocks, so other workers take them.
      if (queue->pending.empty()) {
        queue->scheduled = false;
      } else {
        makeReady(queue);
      }
    }
    lock.unlock();

    run(queue.get(), block);
    block = nullptr;  // release the captures before the block counts as finished

    lock.lock();
    if (serial) {
      if (shutdown_) {
        // Blocks queued behind this one are dropped like every other unstarted block, and
        // released outside the lock.
        std::deque<dispatch_block_t> dropped = std::move(queue->pending);
        queue->pending.clear();
        queue->scheduled = false;
        lock.unlock();
        dropped.clear();
        queue.reset();
        lock.lock();
      } else if (queue->pending.empty()) {
        queue->scheduled = false;
      } else {
        makeReady(queue);
      }
    }
    if (--outstanding_ == 0) progress_.notify_all();
  }
}

std::size_t DispatchScheduler::drainMainQueue() {
  requireMainThread("drainMainQueue");
  mainDraining_ = true;
  struct Reset {
    bool& flag;
    ~Reset() { flag = false; }
  } reset{mainDraining_};

  std::size_t count = 0;
  for (;;) {
    dispatch_block_t block;
    {
      std::lock_guard lock(mutex_);
      if (main_->pending.empty()) return count;
      block = std::move(main_->pending.front());
      main_->pending.pop_front();
    }
    run(main_.get(), block);
    ++count;
  }
}

void DispatchScheduler::runUntilIdle() {
  requireMainThread("runUntilIdle");
  for (;;) {
    drainMainQueue();
    std::unique_lock lock(mutex_);
    progress_.wait(lock, [this] { return !main_->pending.empty() || outstanding_ == 0; });
    if (main_->pending.empty()) return;
  }
}

void DispatchScheduler::waitForWorkers() {
  requireMainThread("waitForWorkers");
  std::unique_lock lock(mutex_);
  progress_.wait(lock, [this] { return outstanding_ == 0; });
}

bool DispatchScheduler::isRunningOn(const dispatch_queue_s* queue) {
  return std::find(tRunningQueues.begin(), tRunningQueues.end(), queue) != tRunningQueues.end();
}

void DispatchScheduler::shutdown() {
  std::vector<dispatch_block_t> dropped;
  std::vector<std::thread> workers;
  {
    std::lock_guard lock(mutex_);
    if (shutdown_) return;
    shutdown_ = true;
    auto takePending = [&dropped](dispatch_queue_s& queue) {
      for (auto& block : queue.pending) dropped.push_back(std::move(block));
      queue.pending.clear();
    };
    takePending(*main_);
    for (auto& queue : ready_) {
      takePending(*queue);
      queue->scheduled = false;
    }
    ready_.clear();
    workers.swap(workers_);
  }
  workAvailable_.notify_all();
  // Dropping a block releases what it captured; a dispatch_sync waiting on it returns.
  dropped.clear();
  for (auto& worker : workers) worker.join();
}

}  // namespace platform::internal
