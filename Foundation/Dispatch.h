#pragma once

// Grand Central Dispatch: serial and concurrent queues, the main queue, dispatch groups and
// one-time initialisation, with the C-style names and the behaviour of the real thing.
//
// Used by the HealthKit simulator (its handlers run on worker queues) and by the sync engine
// (it hops to the main queue before touching its state, joins fan-outs with groups and makes its
// singleton with dispatch_once). Every function here is thread-safe.
//
// - The main queue is serial and runs only on the main thread, which here is the process's main
//   thread: blocks run when that thread calls platform::DispatchRuntime's drainMainQueue() or
//   runUntilIdle() (on a device the main run loop does this). Never two at once, always in FIFO
//   order, including blocks enqueued while it drains.
// - Every other queue runs its blocks on worker threads owned by the runtime. A serial queue runs
//   one block at a time, in order; a concurrent queue may run several at once. Queues are
//   reference counted: a queue with blocks still pending stays alive until they have run.
// - Programming errors that libdispatch answers with a crash (dispatch_sync onto the serial
//   queue the caller is running on, more leaves than enters) throw std::logic_error; thrown from
//   a block on a worker thread this terminates the process. A block must not throw otherwise.
// - At process exit the runtime drops the blocks that have not started, lets running ones finish
//   and joins its workers. Blocks still running then may use only objects that outlive the
//   runtime (platform::Environment does).
//
//   dispatch_group_t group = dispatch_group_create();
//   dispatch_group_enter(group);
//   dispatch_async(dispatch_get_global_queue(DISPATCH_QUEUE_PRIORITY_DEFAULT, 0), [group] {
//     ...  // work on a worker thread
//     dispatch_group_leave(group);
//   });
//   dispatch_group_notify(group, dispatch_get_main_queue(), [] { /* on the main thread */ });

#include <functional>
#include <memory>
#include <mutex>

using dispatch_block_t = std::function<void()>;

struct dispatch_queue_s;
struct dispatch_group_s;

// Shared references: the queue or group lives while anyone holds it (or, for a queue, while it
// has blocks to run).
using dispatch_queue_t = std::shared_ptr<dispatch_queue_s>;
using dispatch_group_t = std::shared_ptr<dispatch_group_s>;

enum dispatch_queue_attr_t {
  DISPATCH_QUEUE_SERIAL = 0,
  DISPATCH_QUEUE_CONCURRENT = 1,
};

// Priorities of the global concurrent queues. They all share one pool of workers.
inline constexpr long DISPATCH_QUEUE_PRIORITY_HIGH = 2;
inline constexpr long DISPATCH_QUEUE_PRIORITY_DEFAULT = 0;
inline constexpr long DISPATCH_QUEUE_PRIORITY_LOW = -2;
inline constexpr long DISPATCH_QUEUE_PRIORITY_BACKGROUND = -32768;

// The serial queue of the main thread.
dispatch_queue_t dispatch_get_main_queue();

// The global concurrent queue of a priority above; flags must be 0. Anything else throws
// std::invalid_argument.
dispatch_queue_t dispatch_get_global_queue(long identifier, unsigned long flags);

// A new queue; label may be null.
dispatch_queue_t dispatch_queue_create(const char* label, dispatch_queue_attr_t attr);

// The label given at creation ("" when none).
const char* dispatch_queue_get_label(const dispatch_queue_t& queue);

// Submits a block to run later on the queue and returns at once. A null queue or an empty block
// throws std::invalid_argument.
void dispatch_async(const dispatch_queue_t& queue, dispatch_block_t block);

// Submits a block and waits until it has run on the queue. Targeting the main queue from the
// main thread, or a serial queue from one of its own blocks, would deadlock and throws
// std::logic_error instead. Exceptions the block throws reach the caller.
void dispatch_sync(const dispatch_queue_t& queue, const dispatch_block_t& block);

// Groups count outstanding work: enter adds one, leave removes one. When the count reaches zero
// every notify block registered until then is submitted, once, to its queue.
dispatch_group_t dispatch_group_create();
void dispatch_group_enter(const dispatch_group_t& group);
// Throws std::logic_error when the group has no matching enter.
void dispatch_group_leave(const dispatch_group_t& group);
// Runs the block once on the queue when the count is next zero; at once (submitted, not called)
// when it is zero already. Several blocks may be registered; all of them run.
void dispatch_group_notify(const dispatch_group_t& group, const dispatch_queue_t& queue,
                           dispatch_block_t block);
// dispatch_async with an enter before submitting and a leave after the block has run.
void dispatch_group_async(const dispatch_group_t& group, const dispatch_queue_t& queue,
                          dispatch_block_t block);

// One-time initialisation: the first call runs the block; concurrent first calls wait until it
// has finished; every later call returns at once. The token must have static storage duration
// (or at least outlive every call), as with libdispatch:
//
//   static dispatch_once_t onceToken;
//   dispatch_once(&onceToken, [] { instance = new Engine(); });
using dispatch_once_t = std::once_flag;
void dispatch_once(dispatch_once_t* predicate, const dispatch_block_t& block);
