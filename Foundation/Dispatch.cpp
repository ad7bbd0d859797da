#include "Foundation/Dispatch.h"

#include <array>
#include <condition_variable>
#include <exception>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "Foundation/NSThread.h"
#include "Foundation/internal/DispatchScheduler.h"

using platform::internal::DispatchScheduler;

struct dispatch_group_s {
  std::mutex mutex;  // guards count and notifications
  long count = 0;
  std::vector<std::pair<dispatch_queue_t, dispatch_block_t>> notifications;
};

namespace {

void requireQueue(const dispatch_queue_t& queue, const char* function) {
  if (!queue) throw std::invalid_argument(std::string(function) + ": the queue is null");
}

void requireBlock(const dispatch_block_t& block, const char* function) {
  if (!block) throw std::invalid_argument(std::string(function) + ": the block is empty");
}

void requireGroup(const dispatch_group_t& group, const char* function) {
  if (!group) throw std::invalid_argument(std::string(function) + ": the group is null");
}

dispatch_queue_t makeGlobalQueue(const char* label) {
  return std::make_shared<dispatch_queue_s>(label, dispatch_queue_s::Kind::concurrent);
}

// What a dispatch_sync caller waits for: the block has run (or was dropped at shutdown).
struct SyncState {
  std::mutex mutex;  // guards finished and error
  std::condition_variable finishedChanged;
  bool finished = false;
  std::exception_ptr error;
};

// Captured by the submitted block only; the block's destruction, after it ran or when it was
// dropped, wakes the waiting caller.
class SyncSignal {
 public:
  explicit SyncSignal(std::shared_ptr<SyncState> state) : state_(std::move(state)) {}
  ~SyncSignal() {
    {
      std::lock_guard lock(state_->mutex);
      state_->finished = true;
    }
    state_->finishedChanged.notify_all();
  }
  SyncSignal(const SyncSignal&) = delete;
  SyncSignal& operator=(const SyncSignal&) = delete;

  SyncState& state() { return *state_; }

 private:
  std::shared_ptr<SyncState> state_;
};

}  // namespace

dispatch_queue_t dispatch_get_main_queue() { return DispatchScheduler::shared().mainQueue(); }

dispatch_queue_t dispatch_get_global_queue(long identifier, unsigned long flags) {
  // Never destroyed, so blocks still running at process exit may submit to them.
  static const auto* const queues =
      new std::array<dispatch_queue_t, 4>{makeGlobalQueue("com.apple.root.high-priority"),
                                          makeGlobalQueue("com.apple.root.default-priority"),
                                          makeGlobalQueue("com.apple.root.low-priority"),
                                          makeGlobalQueue("com.apple.root.background-priority")};
  if (flags != 0) {
    throw std::invalid_argument("dispatch_get_global_queue: flags must be 0, got " +
                                std::to_string(flags));
  }
  switch (identifier) {
    case DISPATCH_QUEUE_PRIORITY_HIGH:
      return (*queues)[0];
    case DISPATCH_QUEUE_PRIORITY_DEFAULT:
      return (*queues)[1];
    case DISPATCH_QUEUE_PRIORITY_LOW:
      return (*queues)[2];
    case DISPATCH_QUEUE_PRIORITY_BACKGROUND:
      return (*queues)[3];
    default:
      throw std::invalid_argument("dispatch_get_global_queue: unknown priority " +
                                  std::to_string(identifier));
  }
}

dispatch_queue_t dispatch_queue_create(const char* label, dispatch_queue_attr_t attr) {
  return std::make_shared<dispatch_queue_s>(
      label ? label : "", attr == DISPATCH_QUEUE_CONCURRENT ? dispatch_queue_s::Kind::concurrent
                                                            : dispatch_queue_s::Kind::serial);
}

const char* dispatch_queue_get_label(const dispatch_queue_t& queue) {
  requireQueue(queue, "dispatch_queue_get_label");
  return queue->label.c_str();
}

void dispatch_async(const dispatch_queue_t& queue, dispatch_block_t block) {
  requireQueue(queue, "dispatch_async");
  requireBlock(block, "dispatch_async");
  (void)DispatchScheduler::shared().submit(queue, std::move(block));
}

void dispatch_sync(const dispatch_queue_t& queue, const dispatch_block_t& block) {
  requireQueue(queue, "dispatch_sync");
  requireBlock(block, "dispatch_sync");
  auto& scheduler = DispatchScheduler::shared();
  if (queue == scheduler.mainQueue() && NSThread::isMainThread()) {
    throw std::logic_error("dispatch_sync onto the main queue from the main thread would deadlock");
  }
  if (queue->kind != dispatch_queue_s::Kind::concurrent &&
      DispatchScheduler::isRunningOn(queue.get())) {
    throw std::logic_error("dispatch_sync onto the serial queue \"" + queue->label +
                           "\" from one of its own blocks would deadlock");
  }

  auto state = std::make_shared<SyncState>();
  auto signal = std::make_shared<SyncSignal>(state);
  (void)scheduler.submit(queue, [&block, signal = std::move(signal)] {
    try {
      block();
    } catch (...) {
      std::lock_guard lock(signal->state().mutex);
      signal->state().error = std::current_exception();
    }
  });
  std::unique_lock lock(state->mutex);
  state->finishedChanged.wait(lock, [&state] { return state->finished; });
  if (state->error) std::rethrow_exception(state->error);
}

dispatch_group_t dispatch_group_create() { return std::make_shared<dispatch_group_s>(); }

void dispatch_group_enter(const dispatch_group_t& group) {
  requireGroup(group, "dispatch_group_enter");
  std::lock_guard lock(group->mutex);
  ++group->count;
}

void dispatch_group_leave(const dispatch_group_t& group) {
  requireGroup(group, "dispatch_group_leave");
  std::vector<std::pair<dispatch_queue_t, dispatch_block_t>> due;
  {
    std::lock_guard lock(group->mutex);
    if (group->count == 0) {
      throw std::logic_error("dispatch_group_leave: unbalanced call, the group was not entered");
    }
    if (--group->count == 0) due.swap(group->notifications);
  }
  for (auto& [queue, block] : due) dispatch_async(queue, std::move(block));
}

void dispatch_group_notify(const dispatch_group_t& group, const dispatch_queue_t& queue,
                           dispatch_block_t block) {
  requireGroup(group, "dispatch_group_notify");
  requireQueue(queue, "dispatch_group_notify");
  requireBlock(block, "dispatch_group_notify");
  {
    std::lock_guard lock(group->mutex);
    if (group->count != 0) {
      group->notifications.emplace_back(queue, std::move(block));
      return;
    }
  }
  dispatch_async(queue, std::move(block));
}

void dispatch_group_async(const dispatch_group_t& group, const dispatch_queue_t& queue,
                          dispatch_block_t block) {
  requireGroup(group, "dispatch_group_async");
  requireQueue(queue, "dispatch_group_async");
  requireBlock(block, "dispatch_group_async");
  dispatch_group_enter(group);
  dispatch_async(queue, [group, block = std::move(block)] {
    block();
    dispatch_group_leave(group);
  });
}

void dispatch_once(dispatch_once_t* predicate, const dispatch_block_t& block) {
  if (!predicate) throw std::invalid_argument("dispatch_once: the token is null");
  std::call_once(*predicate, [&block] {
    if (block) block();
  });
}
